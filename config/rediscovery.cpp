#include "config/rediscovery.h"

#include <algorithm>
#include <cstring>
#include <utility>

#include "config/device_store.h"
#include "config/registry_wait.h"
#include "platform/registry_values.h"

namespace scantk {
namespace {

constexpr uint32_t kFail = static_cast<uint32_t>(E_FAIL);
constexpr char kPortId[] = "PortID";

void TraceValue(TraceLog& trace, const char* title, const char* value) {
  trace.PrintText(TRACE_DEFAULT, title);
  trace.PrintText(TRACE_DEFAULT, value);
}

// One of the device's texts, with its value in the trace when it is there.
std::string ReadIdentity(const RegistryKey& root, const std::string& path, const char* name,
                         const char* title, TraceLog& trace) {
  char text[kRediscoveryValueSize];
  if (GetRegistryData(root, path, name, text, sizeof text, trace) != 0) return {};
  TraceValue(trace, title, text);
  return text;
}

// A system error number. No more than the right to write is asked for: a device's key may grant
// nothing else.
uint32_t WriteText(const RegistryKey& root, const std::string& path, const char* name,
                   const std::string& text) {
  RegistryKey key;
  const uint32_t error = root.CreateSubkey(path, RegistryAccess::kWrite, &key, nullptr);
  return error ? error : key.SetString(name, text.c_str(), static_cast<uint32_t>(text.size()));
}

// Steps from the stored identity to an address; `address` is the "PortID" on entry.
uint32_t SettleAddress(const RegistryKey& device_root, const std::string& device_path,
                       std::string* address, TraceLog& trace) {
  const std::string fixed =
      ReadIdentity(device_root, device_path, "StaticIP", "GetRegistryData (STATIC_IP):", trace);
  if (!fixed.empty()) {
    *address = fixed;
    return kRediscoveryStaticAssumed;
  }
  const std::string guid =
      ReadIdentity(device_root, device_path, "GUID", "GetRegistryData (GUID):", trace);
  const std::string mac =
      ReadIdentity(device_root, device_path, "MAC", "GetRegistryData (MAC):", trace);
  const bool identified = !guid.empty() || !mac.empty();
  if (address->empty() && !identified) {
    trace.PrintText(TRACE_DEFAULT, "E_NO_NETWORK_DATA");
    return kRediscoveryNoNetworkData;
  }
  if (!address->empty() && !identified) {
    TraceValue(trace, "S_STATIC_IP_ASSUMED, StaticIP:", address->c_str());
    return kRediscoveryStaticAssumed;
  }
  if (!address->empty() && !IsDottedNumber(address->c_str())) {
    TraceValue(trace, "S_DNS_ASSUMED, HostName:", address->c_str());
    return kRediscoveryDnsAssumed;
  }
  return AskDeviceStore(guid, mac, address, trace);
}

}  // namespace

uint32_t GetNetworkPortID(const RegistryKey& device_root, const std::string& device_path,
                          const RegistryKey& user_root, const std::string& user_path, char* address,
                          size_t size, TraceLog& trace) {
  trace.PrintText(TRACE_INFO, "Entry:   GetNetworkPortID");
  char port_id[kRediscoveryValueSize];
  bool from_user = false;
  GetPreferredRegistryData(device_root, device_path, user_root, user_path, kPortId, port_id,
                           sizeof port_id, &from_user, trace);
  TraceValue(trace, "GetRegistryData (PORT_ID):", port_id);

  std::string settled = port_id;
  const uint32_t result = SettleAddress(device_root, device_path, &settled, trace);
  std::string given;
  if (address && size >= 1) {
    given = settled.substr(0, size - 1);
    std::memcpy(address, given.c_str(), given.size() + 1);
  }
  UpdateParameters(device_root, device_path, user_root, user_path, given, from_user, trace);
  trace.PrintText(TRACE_INFO, "Exit:    GetNetworkPortID");
  return result;
}

uint32_t GetRegistryData(const RegistryKey& root, const std::string& path, const char* name,
                         char* buffer, uint32_t size, TraceLog& trace) {
  trace.PrintText(TRACE_INFO, "Entry:   GetRegistryData");
  trace.Print("hKeyRoot: 0x%08X, Path:", root.Handle());
  buffer[0] = '\0';
  RegistryKey key;
  if (root.OpenSubkey(path, RegistryAccess::kRead, &key) != 0) return kFail;
  trace.PrintText(TRACE_DEFAULT, "Keyword:   ");
  if (!QueryText(key, name, buffer, size)) return kFail;
  key.Close();
  trace.PrintText(TRACE_DEFAULT, "Exit:    GetRegistryData");
  return 0;
}

uint32_t GetPreferredRegistryData(const RegistryKey& device_root, const std::string& device_path,
                                  const RegistryKey& user_root, const std::string& user_path,
                                  const char* name, char* buffer, uint32_t size, bool* from_user,
                                  TraceLog& trace) {
  GetRegistryData(user_root, user_path, name, buffer, size, trace);
  *from_user = buffer[0] != '\0';
  if (!*from_user) GetRegistryData(device_root, device_path, name, buffer, size, trace);
  return buffer[0] != '\0' ? 0 : kFail;
}

uint32_t SetRegistryString(const RegistryKey& root, const std::string& path, const char* name,
                           const std::string& text) {
  return WriteText(root, path, name, text) == 0 ? 0 : kFail;
}

uint32_t UpdateParameters(const RegistryKey& device_root, const std::string& device_path,
                          const RegistryKey& user_root, const std::string& user_path,
                          const std::string& text, bool skip_device, TraceLog& trace) {
  trace.PrintText(TRACE_INFO, "Entry:   UpdateParameters");
  uint32_t result = static_cast<uint32_t>(E_INVALIDARG);
  if (!text.empty()) {
    const auto kept = [&](const RegistryKey& root, const std::string& path) {
      const uint32_t error = WriteText(root, path, kPortId, text);
      TraceRegistryWait(trace, error, kPortId);
      return error == 0;
    };
    const bool written =
        (!skip_device && kept(device_root, device_path)) || kept(user_root, user_path);
    result = written ? 0 : kRediscoveryNotWritten;
  }
  trace.PrintText(TRACE_INFO, "Exit:    UpdateParameters");
  return result;
}

bool IsDottedNumber(const char* text) {
  if (!text) return false;
  return std::all_of(text, text + std::strlen(text),
                     [](char c) { return (c >= '0' && c <= '9') || c == '.'; });
}

}  // namespace scantk
