// The commands that use a device. Each gives the program's exit status, and throws ToolkitFailure,
// HostFailure, UsageError or Interrupted.
#ifndef SCANTK_HOST_COMMANDS_H_
#define SCANTK_HOST_COMMANDS_H_

#include <cstdint>
#include <string>

#include "contract/records.h"
#include "host/device_context.h"
#include "host/scan_request.h"

namespace scanhost {

int RunScan(const DeviceOptions& device, const ScanRequest& request);
int RunInfo(const DeviceOptions& device);
int RunProperties(const DeviceOptions& device);
int RunReset(const DeviceOptions& device);
int RunLamp(const DeviceOptions& device);

struct PanelRequest {
  std::string get_value, get_string;                   // a number
  std::string set_value, set_string, set_destination;  // NUMBER=TEXT
  std::string code_page;
};
int RunPanel(const DeviceOptions& device, const PanelRequest& request);

int RunSpf(const DeviceOptions& device, const std::string& file, bool force);

struct ReserveRequest {
  uint32_t milliseconds = 0;  // 0: until Ctrl-C
  URS_STATE state{};          // to be set once the device is reserved; 0 sets none
};
int RunReserve(const DeviceOptions& device, const ReserveRequest& request);

struct DoctorRequest {
  bool feeder = false;
  bool json = false;
  std::string report;
};
int RunDoctor(const DeviceOptions& device, const DoctorRequest& request);
// The exit status of each step.
std::string DoctorExitHelp();

}  // namespace scanhost

#endif  // SCANTK_HOST_COMMANDS_H_
