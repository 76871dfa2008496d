// Where the toolkit is registered.
#ifndef SCANTK_HOST_SETUP_REGISTRATION_H_
#define SCANTK_HOST_SETUP_REGISTRATION_H_

#include <string>

namespace scanhost {

// The library that the registry names for the toolkit's class; empty when it names none.
std::string RegisteredLibrary();

}  // namespace scanhost

#endif  // SCANTK_HOST_SETUP_REGISTRATION_H_
