// Where the toolkit is registered.
#ifndef SCANTK_HOST_SETUP_REGISTRATION_H_
#define SCANTK_HOST_SETUP_REGISTRATION_H_

#include <string>

namespace scanhost {

// The library that the registry names for the toolkit's class; empty when it names none.
std::string RegisteredLibrary();

struct RegistrationRequest {
  std::string library;  // empty: the one beside this program, or the loader's
  bool system = false;  // in the system's file; Windows has one registry
};
// Has the library write its class into the registry, or take it out. Throw HostFailure or
// ToolkitFailure.
int RunRegister(const RegistrationRequest& request);
int RunUnregister(const RegistrationRequest& request);

}  // namespace scanhost

#endif  // SCANTK_HOST_SETUP_REGISTRATION_H_
