// What `scanhost --version` says.
#ifndef SCANTK_HOST_VERSION_H_
#define SCANTK_HOST_VERSION_H_

#include <string>

namespace scanhost {

// Toolkit's version, the library that would be used, and how this program was built.
std::string VersionText();

}  // namespace scanhost

#endif  // SCANTK_HOST_VERSION_H_
