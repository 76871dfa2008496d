// The program's command line: one table of commands and options, from which parsing, help, man page
// and completion come.
#ifndef SCANTK_HOST_COMMAND_LINE_H_
#define SCANTK_HOST_COMMAND_LINE_H_

#include <string>
#include <vector>

namespace scanhost {

// Runs what the words behind the program's name ask for and gives the exit status. Throws
// UsageError for words that cannot be meant, and what the commands throw.
int RunCommandLine(std::vector<std::string> words);

}  // namespace scanhost

#endif  // SCANTK_HOST_COMMAND_LINE_H_
