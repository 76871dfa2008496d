#include "platform/registry_values.h"

#include <algorithm>
#include <cstring>

namespace scantk {

bool QueryText(const RegistryKey& key, const char* name, char* buffer, uint32_t size) {
  if (size == 0) return false;
  std::memset(buffer, 0, size);
  uint32_t stored = size;
  if (key.QueryValue(name, nullptr, buffer, &stored) != 0) {
    buffer[0] = '\0';
    return false;
  }
  buffer[std::min(stored, size - 1)] = '\0';
  return true;
}

bool QueryDword(const RegistryKey& key, const char* name, uint32_t* value) {
  uint32_t read = *value;
  uint32_t size = sizeof read;
  if (key.QueryValue(name, nullptr, &read, &size) != 0) return false;
  *value = read;
  return true;
}

bool ReadText(const RegistryKey& key, const std::string& path, const char* name, char* buffer,
              uint32_t size) {
  if (size != 0) buffer[0] = '\0';
  RegistryKey subkey;
  return key.OpenSubkey(path, RegistryAccess::kRead, &subkey) == 0 &&
         QueryText(subkey, name, buffer, size);
}

bool ReadDword(const RegistryKey& key, const std::string& path, const char* name, uint32_t* value) {
  RegistryKey subkey;
  return key.OpenSubkey(path, RegistryAccess::kRead, &subkey) == 0 &&
         QueryDword(subkey, name, value);
}

}  // namespace scantk
