// Variables of the environment, as far as they may be believed.
#ifndef SCANTK_PLATFORM_POSIX_ENVIRONMENT_H_
#define SCANTK_PLATFORM_POSIX_ENVIRONMENT_H_

#include <cstdlib>

namespace scantk {

// The value of `name`; null when it is unset or empty, and in a program whose privileges were
// raised above those of the user who started it and chose its environment.
inline const char* Environment(const char* name) {
  const char* value = secure_getenv(name);
  return value && *value ? value : nullptr;
}

}  // namespace scantk

#endif  // SCANTK_PLATFORM_POSIX_ENVIRONMENT_H_
