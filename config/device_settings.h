// Per-device settings in the registry keys of the imaging device class: how a device is reached,
// the switches for this toolkit, and what the toolkit learnt about it, written back.
#ifndef SCANTK_CONFIG_DEVICE_SETTINGS_H_
#define SCANTK_CONFIG_DEVICE_SETTINGS_H_

#include <cstddef>
#include <cstdint>
#include <string>

#include "contract/records.h"
#include "diag/trace_log.h"

namespace scantk {

inline constexpr size_t kDeviceNameSize = 260;

// How the transport reaches the device of a session.
struct DeviceSettings {
  char io_device_name[kDeviceNameSize] = {};  // what the transport opens, zero-terminated
};

// The device's key and its switches, which the registry has as MaskADF, ScrollCap0 and so on. A
// value that the registry lacks leaves its field as it is.
struct DeviceSwitches {
  char device_key_name[5] = {};  // first four characters of the instance key's name
  uint32_t mask_adf = 0;         // non-zero hides a feeder that the device reports
  uint32_t scroll_cap0 = 0;      // 1: a feeder-only device reports zero flatbed limits
  uint32_t device_bw = 0;        // non-zero adds black-and-white to the scan modes
  uint32_t urs_counter = 0;
  uint32_t img_log = 0;  // 1: keep the raw scan data in an image log
};

// The name by which the network transport opens a device: \name:10.1.2.3\port:1.
std::string NetworkDeviceName(const std::string& address, const std::string& port);

// Finds the device whose stored name begins with `wanted`, without regard to case, reads its
// switches and tells the name that the transport must open; a network device's address is
// rediscovered. 1 on success, 0 otherwise; settings->io_device_name is set in either case.
uint32_t GetDIScannerDeviceSettings(TraceLog& trace, const char* wanted, DeviceSettings* settings,
                                    DeviceSwitches* switches);

// What the capability fill-in learnt, as StoreVelkanCaps reads it.
struct LearntCapabilities {
  const SCANNER_CAPABILITIES& scanner;
  const ADF_CAPABILITIES& adf;
  const ADF2_CAPABILITIES& adf2;
  const ADF3_CAPABILITIES& adf3;
  const COMPRESSION_CAPABILITIES& compression;
  const CONTROL_PANEL_CAPABILITIES& panel;
};

// Writes what was learnt into the device's DeviceData key, when the model changed. 1 when that key
// could be opened for reading and writing, 0 otherwise.
uint32_t StoreVelkanCaps(TraceLog& trace, const char* device_key_name,
                         const LearntCapabilities& learnt);

}  // namespace scantk

#endif  // SCANTK_CONFIG_DEVICE_SETTINGS_H_
