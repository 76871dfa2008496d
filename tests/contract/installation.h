// What the system is told of the toolkit: a registry of the test's own, the library and its entry
// points. One implementation for each system.
#ifndef SCANTK_TESTS_CONTRACT_INSTALLATION_H_
#define SCANTK_TESTS_CONTRACT_INSTALLATION_H_

#include <string>

#include "contract/component_types.h"

namespace scantk::test {

// While one lives, the machine's part of the registry is a new one that nobody else sees; on Linux
// it is a file in `folder`, and the class registrations are in it too. One at a time.
class OwnRegistry {
 public:
  explicit OwnRegistry(const std::string& folder);
  ~OwnRegistry();
  OwnRegistry(const OwnRegistry&) = delete;
  OwnRegistry& operator=(const OwnRegistry&) = delete;
};

// The library's full path, as the system writes it.
std::string LibraryPath();

// Calls an entry point without arguments of the library, by its name.
HRESULT CallEntryPoint(const char* name);

}  // namespace scantk::test

#endif  // SCANTK_TESTS_CONTRACT_INSTALLATION_H_
