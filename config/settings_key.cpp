#include "config/settings_key.h"

#include "platform/registry_values.h"

#include <algorithm>

namespace scantk {
namespace {

constexpr char kDefaultVendor[] = "Orvane";
constexpr size_t kMaxPath = 259;  // characters

std::string VendorOf(TraceLog& trace, const RegistryKey& class_key, const std::string& instance) {
  RegistryKey device;
  if (class_key.OpenSubkey(instance, RegistryAccess::kRead, &device) != 0) {
    trace.Print(TRACE_INFO, "OpenSettingsKey: Couldn't open index key %s", instance);
    return kDefaultVendor;
  }
  trace.Print(TRACE_FLOW, "OpenSettingsKey: Opened index key %s", instance);
  char vendor[kMaxPath + 1];
  return QueryText(device, "Vendor", vendor, sizeof vendor) ? vendor : kDefaultVendor;
}

}  // namespace

uint32_t OpenSettingsKey(TraceLog& trace, const RegistryKey& class_key, const std::string& instance,
                         RegistryKey* key) {
  key->Close();
  std::string path = "Software\\" + VendorOf(trace, class_key, instance);
  path += "\\Imvanta\\RIX Settings";
  path.resize(std::min(path.size(), kMaxPath));
  bool created = false;
  const uint32_t error = RegistryKey::Create(RegistryRoot::kCurrentUser, path, key, &created);
  const char* outcome = error != 0 ? "OpenSettingsKey: Couldn't Open key HKCU\\%s"
                        : created  ? "OpenSettingsKey: Created key HKCU\\%s"
                                   : "OpenSettingsKey: Opened key HKCU\\%s";
  trace.Print(TRACE_FLOW, outcome, path);
  return error;
}

}  // namespace scantk
