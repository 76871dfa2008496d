// Of which files the registry is made up, and where in them a key lies.
//
//   the user's file     SCANTK_REGISTRY, or scantk/registry.reg in the user's configuration folder
//   the system's file   SCANTK_SYSTEM_REGISTRY, or /etc/scantk/registry.reg where neither is set
//
// The user's file lies above the system's: what both have is read from the first, what is written
// goes there. The current user's root is the user's own in any case: where SCANTK_REGISTRY may not
// be written, it lies in the configuration folder. A program with raised privileges believes the
// system's file alone.
#ifndef SCANTK_PLATFORM_STAND_INS_REGISTRY_PLACES_H_
#define SCANTK_PLATFORM_STAND_INS_REGISTRY_PLACES_H_

#include <string>
#include <vector>

#include "platform/registry.h"

namespace scantk {

struct RegistryPlace {
  std::string file;  // empty: none; it has no keys and cannot be written
  std::string path;  // of the key in it, with its root
  bool ours;         // false: a file of the system's, which counts as empty when it cannot be read
};
// What is written goes to the first place, what is read comes from the first that has it.
using RegistryPlaces = std::vector<RegistryPlace>;

// The places of a root at this moment.
RegistryPlaces PlacesOf(RegistryRoot root);

// The user's file; empty when no folder for it is known.
std::string UserRegistryPath();

}  // namespace scantk

#endif  // SCANTK_PLATFORM_STAND_INS_REGISTRY_PLACES_H_
