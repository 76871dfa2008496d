// The per-user settings key, where rediscovery keeps what it may not write into the device's key.
#ifndef SCANTK_CONFIG_SETTINGS_KEY_H_
#define SCANTK_CONFIG_SETTINGS_KEY_H_

#include <cstdint>
#include <string>

#include "diag/trace_log.h"
#include "platform/registry.h"

namespace scantk {

// Opens Software\<vendor>\Imvanta\RIX Settings of the current user, made when absent; the vendor is
// that of the device's instance key `instance` under `class_key`. 0, or a system error number and
// `key` is not open.
uint32_t OpenSettingsKey(TraceLog& trace, const RegistryKey& class_key, const std::string& instance,
                         RegistryKey* key);

}  // namespace scantk

#endif  // SCANTK_CONFIG_SETTINGS_KEY_H_
