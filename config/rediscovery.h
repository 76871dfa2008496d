// Rediscovery: where a network device is now, when its address may have changed since it was
// installed. Decided from what is stored of its identity, and, when that does not settle it, by
// asking the discovery component; the address settled on is written back.
#ifndef SCANTK_CONFIG_REDISCOVERY_H_
#define SCANTK_CONFIG_REDISCOVERY_H_

#include <cstddef>
#include <cstdint>
#include <string>

#include "diag/trace_log.h"
#include "platform/discovery_interfaces.h"
#include "platform/registry.h"

namespace scantk {

inline constexpr uint32_t kRediscoveryValueSize = 80;  // bytes of each stored text, with its NUL

// Outcomes of GetNetworkPortID beside 0 and the discovery component's own results. 256, 257 and the
// three in the middle come from that component only.
inline constexpr uint32_t kRediscoveryNotWritten = 256;     // also: "PortID" could not be kept
inline constexpr uint32_t kRediscovered = 257;              // S_REDISCOVERED
inline constexpr uint32_t kRediscoveryDnsAssumed = 258;     // S_DNS_ASSUMED: a host name, as it is
inline constexpr uint32_t kRediscoveryStaticAssumed = 259;  // S_STATIC_IP_ASSUMED: as it is
inline constexpr uint32_t kRediscoveryMutexMissing = 0x8004FFFC;
inline constexpr uint32_t kRediscoveryMutexFailed = 0x8004FFFD;
inline constexpr uint32_t kRediscoveryDeviceNotFound = 0x8004FFFE;
inline constexpr uint32_t kRediscoveryNoNetworkData = 0x8004FFFF;  // nothing stored at all

// Settles the address of the device whose values lie at `device_path` under `device_root`, and
// writes it back as "PortID": to the per-user key `user_path` under `user_root` when it came from
// there, else to the device's key. `address` (may be null) takes at most `size` - 1 characters and
// a NUL. Runs on the calling thread and may wait for the store.
uint32_t GetNetworkPortID(const RegistryKey& device_root, const std::string& device_path,
                          const RegistryKey& user_root, const std::string& user_path, char* address,
                          size_t size, TraceLog& trace);

// Reads a text of the key `path` under `root`. 0, or E_FAIL and the buffer is empty. `size` is at
// least 1.
uint32_t GetRegistryData(const RegistryKey& root, const std::string& path, const char* name,
                         char* buffer, uint32_t size, TraceLog& trace);

// Reads a text of the per-user key, or of the device's key when that gave none; *from_user tells
// which. 0 when it is not empty, E_FAIL otherwise.
uint32_t GetPreferredRegistryData(const RegistryKey& device_root, const std::string& device_path,
                                  const RegistryKey& user_root, const std::string& user_path,
                                  const char* name, char* buffer, uint32_t size, bool* from_user,
                                  TraceLog& trace);

// Writes a text into the key `path` under `root`, made when absent; stored without its terminator.
// 0 or E_FAIL.
uint32_t SetRegistryString(const RegistryKey& root, const std::string& path, const char* name,
                           const std::string& text);

// Writes `text` back as "PortID": to the device's key unless `skip_device`, and to the per-user key
// when the device's was skipped or could not be written. 0, kRediscoveryNotWritten when neither
// took it, E_INVALIDARG for an empty text.
uint32_t UpdateParameters(const RegistryKey& device_root, const std::string& device_path,
                          const RegistryKey& user_root, const std::string& user_path,
                          const std::string& text, bool skip_device, TraceLog& trace);

// Every character is a decimal digit or a dot: true for the empty text, false for null.
bool IsDottedNumber(const char* text);

// Asks the discovery component for its store of devices. Waits for a pending store for 60 s, other
// failures are tried again for `limit_ms`; then the answer is error::kStoreTimeout. E_POINTER for a
// null `store`; the result of creating the component when there is none.
uint32_t GetDeviceStore(INetDeviceStore** store, uint32_t limit_ms, TraceLog& trace);

}  // namespace scantk

#endif  // SCANTK_CONFIG_REDISCOVERY_H_
