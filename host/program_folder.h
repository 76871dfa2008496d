// Where the files that belong to this program lie: beside it, in an installation or a build tree.
#ifndef SCANTK_HOST_PROGRAM_FOLDER_H_
#define SCANTK_HOST_PROGRAM_FOLDER_H_

#include <string>

namespace scanhost {

// The path of a shared library or a program by its plain name ("scantk1", "scantk-sim"); empty when
// it is nowhere near this program.
std::string FindLibrary(const std::string& stem);
std::string FindProgram(const std::string& stem);

}  // namespace scanhost

#endif  // SCANTK_HOST_PROGRAM_FOLDER_H_
