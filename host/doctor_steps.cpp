#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <thread>

#include "host/console.h"
#include "host/crc32.h"
#include "host/doctor.h"
#include "host/exit_status.h"
#include "host/scan_job.h"
#include "host/setup/device_registry.h"

namespace scanhost {
namespace {

namespace fs = std::filesystem;

constexpr uint16_t kFirstScanPort = 9290;
constexpr uint32_t kProbeMs = 5000;
constexpr char kBusy[] = "01";  // a greeting

}  // namespace

const Doctor::Step Doctor::kSteps[] = {
    {"library", 10, &Doctor::Library},
    {"registry entry", 11, &Doctor::Entry},
    {"host name", 12, &Doctor::Name},
    {"route and port", 13, &Doctor::Port},
    {"greeting", 14, &Doctor::Greeting},
    {"lock and connection", 15, &Doctor::Lock},
    {"capabilities", 16, &Doctor::Capabilities},
    {"feeder", 17, &Doctor::Feeder},
    {"scan", 18, &Doctor::Scan},
};
const size_t Doctor::kStepCount = std::size(kSteps);

std::string Doctor::Library() {
  const FoundLibrary found = FindToolkit(options_.library);
  toolkit_.emplace(options_.library);
  if (found.path.empty()) return "found by the loader under its plain name";
  const std::string bytes = FileText(found.path);
  char text[64];
  std::snprintf(text, sizeof text, "%zu bytes, CRC-32 %08x", bytes.size(),
                Crc32(0, bytes.data(), bytes.size()));
  return found.path + ", " + found.how + ", " + text + "; scanhost " SCANTK_VERSION;
}

std::string Doctor::Entry() {
  chosen_.emplace(options_);
  if (options_.simulate) BeginTrace();  // in the simulated device's own registry
  const Device& device = chosen_->device();
  if (device.name.empty())
    throw Finding("the entry " + device.key + " names no device",
                  "`scanhost devices show` and `set` mend it, or add it anew.");
  return device.key + " \"" + device.description + "\", " + IoTypeName(device.io_type) +
         ", opened as \"" + device.name + "\"" +
         (IsNetwork() ? ", " + device.address + ", port " + device.port : "");
}

std::string Doctor::Name() {
  const Device& device = chosen_->device();
  if (!IsNetwork()) {
    std::error_code error;
    if (fs::exists(device.name, error)) return "the device file " + device.name + " is there";
    throw Finding("the device file " + device.name + " is not there",
                  "Switch the device on and check the cable; `ls -l /dev/usb` shows device files.");
  }
  std::string reason;
  address_ = ResolveHost(device.address, &reason);
  if (address_.empty())
    throw Finding("the host name \"" + device.address + "\" cannot be resolved: " + reason,
                  "Check the name, or put the address in its place: `scanhost devices set " +
                      device.key + (device.fixed_address ? " StaticIP" : " PortID") + "=ADDRESS`.");
  return address_ == device.address ? "an address, needs no name service"
                                    : device.address + " is " + address_;
}

std::string Doctor::Port() {
  if (!IsNetwork()) return "not on the network";
  const int number = std::atoi(chosen_->device().port.c_str());
  if (number < 1 || number > 3)
    throw Finding("the port \"" + chosen_->device().port + "\" is not 1, 2 or 3",
                  "`scanhost devices set " + chosen_->device().key + " PortNumber=1`");
  const auto port = static_cast<uint16_t>(kFirstScanPort + number - 1);
  const auto end =
      std::chrono::steady_clock::now() + std::chrono::seconds(options_.wait_s.value_or(0));
  while ((probe_ = ProbePort(address_, port, kProbeMs)).greeting == kBusy &&
         std::chrono::steady_clock::now() < end) {
    Interruption::ThrowIfAsked();
    std::this_thread::sleep_for(std::chrono::milliseconds(500));
  }
  const std::string place = address_ + ", TCP port " + std::to_string(port);
  if (!probe_.connected)
    throw Finding(place + ": " + probe_.reason,
                  "Check that the device is switched on and on this network, that this is its "
                  "address, and that no firewall stands between.");
  return place + " is open";
}

std::string Doctor::Greeting() {
  if (!IsNetwork()) return "not on the network";
  if (probe_.greeting == "00") return "a scanner, and it is free";
  if (probe_.greeting == kBusy) {
    const std::string holder = LockHolder(chosen_->device().name);
    throw Finding("the device is busy: it serves " +
                      (holder.empty() ? "another host" : holder + " on this computer"),
                  "Wait until it has finished (--wait), or find who scans.");
  }
  if (probe_.greeting == "02")
    throw Finding("the device refuses this host",
                  "Look at the device's settings: scanning may be switched off or limited.");
  throw Finding(probe_.greeting.empty() ? "nothing greets there"
                                        : "what answers there is no scanner: it greets with \"" +
                                              probe_.greeting + "\"",
                "Check the address and the port of the device's print server.");
}

std::string Doctor::Lock() {
  const Device& device = chosen_->device();
  const std::string holder = LockHolder(device.name);
  session_.emplace(*toolkit_, device);
  guard_.emplace(nullptr);
  try {
    // The device needs a moment to give up the connection of the step before.
    session_->Lock(options_.wait_s ? *options_.wait_s * 1000 : 3000, [](const Outcome& outcome) {
      return outcome.code == TERR_NET_SOCKET_BUSY && Interruption::Status() == 0;
    });
  } catch (const ToolkitFailure& failure) {
    Interruption::ThrowIfAsked();
    if (failure.outcome().code != TERR_SCANNER_LOCK_FAILED) throw;
    throw Finding("held on this computer by " + (holder.empty() ? "another program" : holder) +
                      " (" + failure.what() + ")",
                  AdviceFor(failure.outcome()));
  }
  return "free, taken, connected";
}

std::string Doctor::Capabilities() {
  SCANNER_CAPABILITIES can = {};
  session_->Do("GetScannerCapabilities", &IScanner::GetScannerCapabilities, &can);
  const char* model = reinterpret_cast<const char*>(can.byModelNumber);
  return "model " + std::string(model, strnlen(model, sizeof can.byModelNumber)) +
         (can.wPaperPath
              ? ", no glass"
              : ", glass " + SizeInMillimetres(can.dwMaximumWidth, can.dwMaximumHeight)) +
         ", " + std::to_string(can.wMinimumResolution) + " to " +
         std::to_string(can.wMaximumXResolution) + " dpi, " + ModeNames(can.dwScanModesSupported);
}

std::string Doctor::Feeder() {
  const auto feeder = toolkit_->Ask<IADF3>(IID_IADF3);
  ADF_CAPABILITIES has = {};
  Call("GetADFCapabilities", feeder.Get(), &IADF3::GetADFCapabilities, session_->handle(), &has);
  if (!has.byHasADF) return "none";
  uint8_t ready = 0;
  const Outcome outcome =
      Try("ADFIsReady", feeder.Get(), &IADF3::ADFIsReady, session_->handle(), &ready);
  if (!outcome.Clean() && outcome.code != TERR_ADF_EMPTY) throw ToolkitFailure(outcome);
  paper_ = ready != 0;
  return paper_ ? "paper is loaded" : "empty";
}

std::string Doctor::Scan() {
  if (paper_ && !request_.feeder)
    throw Finding("paper lies in the feeder, which the device would take",
                  "Take it out, or have a sheet scanned: `scanhost doctor --feeder`.");
  const std::string file =
      (fs::temp_directory_path() / ("scanhost-doctor." + std::to_string(ProcessId()))).string();
  ScanRequest request;
  request.output = file;
  request.format = "pnm";
  request.force = true;
  request.kind = PixelKind::kGray;
  request.x_resolution = request.y_resolution = 100;
  request.source = request_.feeder ? Source::kFeeder : Source::kGlass;
  request.pages = request_.feeder ? 1 : 0;
  if (!request_.feeder) request.area = Area{0, 0, 600, 600};
  std::string text;
  ScanJob job(*toolkit_, *session_, request, chosen_->device().description,
              [&](const Receipt& receipt) { text = ReceiptText(receipt); });
  job.Prepare();
  job.Run();
  std::error_code ignored;
  for (const std::string& made : job.result().files) fs::remove(made, ignored);
  if (job.result().status != kExitDone)
    throw Finding(job.result().reason, "Scan again; `scanhost trace on` records what happens.");
  return "done\n" + text.substr(0, text.size() - 1);
}

}  // namespace scanhost
