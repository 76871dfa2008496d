// Reading single values of the registry, whatever their type. A value that is missing, does not
// fit, or cannot be read is "not there" to the callers.
#ifndef SCANTK_PLATFORM_REGISTRY_VALUES_H_
#define SCANTK_PLATFORM_REGISTRY_VALUES_H_

#include <cstdint>
#include <string>

#include "platform/registry.h"

namespace scantk {

// Of an open key. The text is zero-terminated in any case, and empty when the value is not there; a
// stored text of `size` bytes without its terminator loses its last character.
bool QueryText(const RegistryKey& key, const char* name, char* buffer, uint32_t size);
// The value's bytes, at most four, low byte first, whatever its type: a shorter value leaves the
// high bytes of *value as they are, a longer one and a missing one leave all of them.
bool QueryDword(const RegistryKey& key, const char* name, uint32_t* value);

// The same of the subkey `path`, opened for reading.
bool ReadText(const RegistryKey& key, const std::string& path, const char* name, char* buffer,
              uint32_t size);
bool ReadDword(const RegistryKey& key, const std::string& path, const char* name, uint32_t* value);

}  // namespace scantk

#endif  // SCANTK_PLATFORM_REGISTRY_VALUES_H_
