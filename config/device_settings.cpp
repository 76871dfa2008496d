#include "config/device_settings.h"

#include <algorithm>
#include <cstring>

#include "config/rediscovery.h"
#include "config/settings_key.h"
#include "platform/registry_values.h"

namespace scantk {
namespace {

constexpr uint32_t kNetworkIo = T_IO_NETWORK;
constexpr uint32_t kPortNumberSize = 8;  // bytes of "PortNumber" with its NUL

// The instance key that is looked at.
struct Candidate {
  uint32_t index = 0;
  std::string key;   // its name
  std::string data;  // path of its DeviceData
  bool network = false;
  char value[kDeviceNameSize] = {};  // what the wanted name is compared with
};

void CopyName(char (&out)[kDeviceNameSize], const std::string& text) {
  const size_t length = std::min(text.size(), sizeof out - 1);
  std::memcpy(out, text.data(), length);
  std::memset(out + length, 0, sizeof out - length);
}

char Lower(char c) {
  return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
}

bool BeginsWith(const char* value, const char* wanted) {
  for (; *wanted; ++wanted, ++value)
    if (Lower(*value) != Lower(*wanted)) return false;
  return true;
}

void ReadCandidate(TraceLog& trace, const RegistryKey& classes, const char* wanted, Candidate* c) {
  uint32_t io_type = 0;
  const bool has_io_type = ReadDword(classes, c->data, "VelkanIOType", &io_type);
  c->network = has_io_type && io_type == kNetworkIo;
  if (c->network) {
    ReadText(classes, c->data, "NetworkDeviceID", c->value, sizeof c->value);
    trace.Print(TRACE_FLOW,
                "GetDIScanDeviceSettings: idx %d - registry %s is %s, desired deviceName is %s",
                c->index, "NetworkDeviceID", c->value, wanted);
    return;
  }
  ReadText(classes, c->key, "CreateFileName", c->value, sizeof c->value);
  trace.Print(TRACE_FLOW,
              has_io_type ? "GetDIScanDeviceSettings: idx %d  registry CreateFilename %s desired "
                            "deviceName is %s"
                          : "idx %d  registry CreateFilename %s desired deviceName is %s",
              c->index, c->value, wanted);
}

// The first instance key whose value begins with the wanted name.
bool FindDevice(TraceLog& trace, const RegistryKey& classes, const char* wanted, Candidate* found) {
  for (uint32_t index = 0;; ++index) {
    Candidate c;
    c.index = index;
    if (classes.EnumerateSubkey(index, &c.key) != 0) return false;
    c.data = c.key + "\\DeviceData";
    ReadCandidate(trace, classes, wanted, &c);
    if (BeginsWith(c.value, wanted)) {
      *found = c;
      return true;
    }
    trace.Print(TRACE_INFO,
                "GetDIScanDeviceSettings:Not a Match  idx %d  Reg CreateFileName  %s  desired "
                "device is %s",
                index, c.value, wanted);
  }
}

// A text that is only traced or kept, with a line for either outcome.
void ReadTracedText(TraceLog& trace, const RegistryKey& classes, const Candidate& c,
                    const char* name, const char* found, const char* missing,
                    char (&text)[kDeviceNameSize]) {
  if (ReadText(classes, c.data, name, text, sizeof text))
    trace.Print(TRACE_INFO, found, text);
  else
    trace.PrintText(TRACE_CLASS_ERROR, missing);
}

struct SwitchValue {
  const char* name;
  uint32_t DeviceSwitches::*field;
  uint32_t found_mask, missing_mask;
  const char *found, *missing;
};

constexpr SwitchValue kImageLogSwitch = {
    "ImgLog",
    &DeviceSwitches::img_log,
    TRACE_INFO,
    TRACE_INFO,
    "GetDIScanDeviceSettings:  Image Logging found ImgLog %d (1=on, 0 off)",
    "GetDIScanDeviceSettings: ImgLog %d, Image Logging not found."};

constexpr SwitchValue kSwitches[] = {
    {"MaskADF", &DeviceSwitches::mask_adf, TRACE_FLOW, TRACE_FLOW,
     " GetDIScanDeviceSettings:m_wMaskADF is %d",
     " GetDIScanDeviceSettings:m_wMaskADF not found, set to %d"},
    {"ScrollCap0", &DeviceSwitches::scroll_cap0, TRACE_FLOW, TRACE_FLOW,
     "GetDIScanDeviceSettings:ScrollCap0 is %d",
     "GetDIScanDeviceSettings:ScrollCap0 not found, set to %d"},
    {"DeviceBW", &DeviceSwitches::device_bw, TRACE_INFO, TRACE_CLASS_ERROR,
     "GetDIScanDeviceSettings:DeviceBW is %d",
     "GetDIScanDeviceSettings:DeviceBW not found, set to %d"},
    {"URS_Counter", &DeviceSwitches::urs_counter, TRACE_FLOW, TRACE_FLOW,
     " GetDIScanDeviceSettings:URS_Counter is %d",
     " GetDIScanDeviceSettings:URS_Counter not found, set to %d"},
};

void ReadSwitch(TraceLog& trace, const RegistryKey& classes, const Candidate& c,
                const SwitchValue& value, DeviceSwitches* switches) {
  uint32_t& field = switches->*value.field;
  const bool found = ReadDword(classes, c.data, value.name, &field);
  trace.Print(found ? value.found_mask : value.missing_mask, found ? value.found : value.missing,
              field);
}

// The switches of the matching key; its model goes to `model`.
void ReadDeviceData(TraceLog& trace, const RegistryKey& classes, const Candidate& c,
                    DeviceSwitches* switches, char (&model)[kDeviceNameSize]) {
  ReadSwitch(trace, classes, c, kImageLogSwitch, switches);
  char class_id[kDeviceNameSize] = {};
  ReadTracedText(trace, classes, c, "VelkanCLSID",
                 "GetDIScanDeviceSettings: CLSID of Velkan driver is %s",
                 " GetDIScanDeviceSettings:Problem: CLSID of Velkan driver not found", class_id);
  ReadTracedText(trace, classes, c, "ModelString", "GetDIScanDeviceSettings: Model is %s",
                 " GetDIScanDeviceSettings:Problem: Model of Velkan driver not found", model);
  for (const SwitchValue& value : kSwitches) ReadSwitch(trace, classes, c, value, switches);
}

// Whether the address that rediscovery settled on can be used.
bool JudgeRediscovery(TraceLog& trace, uint32_t outcome, const char* address) {
  switch (outcome) {
    case 0:
    case kRediscoveryNotWritten:
    case kRediscoveryDnsAssumed:
    case kRediscoveryStaticAssumed:
      return true;
    case kRediscovered:
      trace.Print(TRACE_FLOW, " GetDIScanDeviceSettings:S_REDISCOVERED - %s", address);
      return true;
    case kRediscoveryMutexMissing:
    case kRediscoveryMutexFailed:
      trace.PrintText(TRACE_INFO,
                      " GetDIScanDeviceSettings:REDISCOVERY PROBLEM: E_REDISCOVERY_MUTEX_FAIL");
      return false;
    case kRediscoveryDeviceNotFound:
      trace.PrintText(TRACE_INFO,
                      " GetDIScanDeviceSettings:REDISCOVERY PROBLEM: E_DEVICE_NOT_FOUND");
      return false;
    case kRediscoveryNoNetworkData:
      trace.PrintText(TRACE_INFO,
                      " GetDIScanDeviceSettings:REDISCOVERY PROBLEM: E_NO_NETWORK_DATA");
      return false;
    default:
      trace.Print(TRACE_INFO,
                  " GetDIScanDeviceSettings:REDISCOVERY PROBLEM: Unknown error - %s: %s", "PortID",
                  address);
      return false;
  }
}

// Where a network device is now: its name for the transport, or the wanted one.
uint32_t SettleNetworkName(TraceLog& trace, const RegistryKey& classes, const RegistryKey& user,
                           const Candidate& c, const std::string& rediscovery_key,
                           const char* wanted, DeviceSettings* settings) {
  char address[kDeviceNameSize] = {};
  const uint32_t outcome =
      GetNetworkPortID(classes, c.data, user, rediscovery_key, address, sizeof address, trace);
  bool usable = JudgeRediscovery(trace, outcome, address);

  char port[kPortNumberSize] = {};
  if (ReadText(classes, c.data, "PortNumber", port, sizeof port)) {
    trace.Print(TRACE_FLOW, " GetDIScanDeviceSettings:%s is %s", "PortNumber", port);
  } else {
    trace.Print(TRACE_FLOW, " GetDIScanDeviceSettings:%s not found", "PortNumber");
    usable = false;
  }

  CopyName(settings->io_device_name, usable ? NetworkDeviceName(address, port) : wanted);
  trace.Print(TRACE_INFO,
              usable ? "GetDIScanDeviceSettings: After Rediscovery: pszCreateFileName2: %s"
                     : "GetDIScanDeviceSettings: REDISCOVERY FAILED; original address was: "
                       "pszCreateFileName2: %s",
              settings->io_device_name);
  return usable ? 1 : 0;
}

uint32_t ReadMatch(TraceLog& trace, RegistryKey& classes, const Candidate& c, const char* wanted,
                   DeviceSettings* settings, DeviceSwitches* switches) {
  std::memset(switches->device_key_name, 0, sizeof switches->device_key_name);
  c.key.copy(switches->device_key_name, sizeof switches->device_key_name - 1);

  char friendly[kDeviceNameSize] = {};
  const uint32_t described =
      ReadText(classes, c.key, "DriverDesc", friendly, sizeof friendly) ? 1 : 0;
  trace.Print(TRACE_INFO,
              "GetDIScanDeviceSettings: Match  idx %d  Reg Port  %s  CreateFileName %s "
              "Friendlyname %s",
              c.index, c.value, wanted, friendly);
  trace.Print(TRACE_INFO, "GetDIScanDeviceSettings: DeviceDataPath %s", c.data);
  char model[kDeviceNameSize] = {};
  ReadDeviceData(trace, classes, c, switches, model);

  if (!c.network) {
    CopyName(settings->io_device_name, wanted);
    trace.Print(TRACE_INFO, "GetDIScanDeviceSettings: pszCreateFileName2: %s",
                settings->io_device_name);
    return described;
  }
  RegistryKey user;
  if (OpenSettingsKey(trace, classes, c.key, &user) != 0) return described;
  const std::string rediscovery_key = std::string(switches->device_key_name) + "_" + model;
  const uint32_t result =
      SettleNetworkName(trace, classes, user, c, rediscovery_key, wanted, settings);
  user.Close();
  classes.Close();
  trace.Print(TRACE_API, "scantk: GetDIScanDeviceSettings: before leaving routine: bRet: %d",
              result);
  return result;
}

}  // namespace

std::string NetworkDeviceName(const std::string& address, const std::string& port) {
  return "\\name:" + address + "\\port:" + port;
}

uint32_t GetDIScannerDeviceSettings(TraceLog& trace, const char* wanted, DeviceSettings* settings,
                                    DeviceSwitches* switches) {
  if (!wanted) wanted = "";
  trace.Print(TRACE_INFO, "scantk: GetDIScannerDeviceSettings -  CreateFileName %s", wanted);
  const std::string start = NetworkDeviceName("", "");
  CopyName(settings->io_device_name, start);
  trace.Print(TRACE_INFO,
              "scantk: @@@@@GetDIScannerDeviceSettings NEW temp -  CreateFileName %s , count %d",
              settings->io_device_name, start.size());

  RegistryKey classes;
  if (const uint32_t error = RegistryKey::OpenImagingClass(&classes); error != 0) {
    trace.Print(TRACE_CLASS_ERROR,
                "GetDIScannerDeviceSettings -  SetupDiOpenClassRegKey  KEY_READ problem %ld 0x%X",
                error, error);
    return 0;
  }
  Candidate match;
  if (FindDevice(trace, classes, wanted, &match))
    return ReadMatch(trace, classes, match, wanted, settings, switches);
  classes.Close();
  trace.Print(TRACE_API, "scantk: GetDIScanDeviceSettings: before leaving routine: bRet: %d", 0);
  return 0;
}

}  // namespace scantk
