#include "host/version.h"

#include "host/session.h"

namespace scanhost {

std::string VersionText() {
  const FoundLibrary library = FindToolkit("");
  return "scanhost and toolkit " SCANTK_VERSION "\nlibrary " +
         (library.path.empty() ? "none found" : library.path + ", " + library.how) +
         "\nbuilt by " SCANTK_COMPILER;
}

}  // namespace scanhost
