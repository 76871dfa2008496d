#include "host/setup/simulation.h"

#include <filesystem>

#include "host/error_advice.h"
#include "host/program_folder.h"
#include "host/setup/device_registry.h"
#include "host/setup/devices_command.h"
#include "host/setup/trace_command.h"
#include "platform/system.h"

namespace scanhost {
namespace {

// How long scantk-sim may take to listen.
constexpr uint32_t kStartMs = 10000;
// A loopback address that no other process of this machine makes: its digits are the process's
// number.
std::string Address() {
  const uint32_t number = scantk::ProcessId();
  return "127." + std::to_string(80 + (number >> 16) % 128) + "." +
         std::to_string(number >> 8 & 255) + "." + std::to_string(number & 255);
}

// The line that scantk-sim prints for a device that listens begins with this.
constexpr char kListening[] = "listening ";

}  // namespace

Simulation::Simulation(const std::vector<std::string>& arguments, const std::string& trace_file,
                       const std::string& trace_level) {
  const std::string program = FindProgram("scantk-sim");
  if (program.empty())
    throw HostFailure("scantk-sim is not beside this program; build it, or add a device instead");
  const std::string address = Address();
  std::vector<std::string> words = {"--address", address};
  words.insert(words.end(), arguments.begin(), arguments.end());
  std::string error;
  process_ = ChildProcess::Start(program, words, &error);
  if (!process_) throw HostFailure("cannot start " + program + ": " + error);
  std::string line;
  while (process_->ReadLine(kStartMs, &line) && !line.starts_with(kListening)) {
  }
  if (!line.starts_with(kListening))
    throw HostFailure("the simulated device did not start; words after -- are scantk-sim's");

  // The name is taken with an empty file; the registry and its lock lie in a folder beside it.
  taken_file_ = scantk::CreateTemporaryFile(scantk::TemporaryFolder(), "scn");
  if (taken_file_.empty()) throw HostFailure("no temporary file for the simulated device");
  std::filesystem::create_directories(Folder());
  SetEnvironment("SCANTK_REGISTRY", Folder() + "/registry.reg");
  guard_ = std::make_unique<Interruption::Guard>([this] { Remove(); });
  NewDevice device;
  device.name = "simulated device";
  device.address = address;
  device.fixed = true;
  auto values = DeviceValues(device);
  values.emplace_back("DeviceBW", "1");  // it can
  AddDevice(values);
  if (!trace_file.empty()) SwitchTraceOn(trace_level, trace_file);
}

Simulation::~Simulation() {
  Remove();
}

void Simulation::Remove() const {
  if (taken_file_.empty()) return;
  std::error_code ignored;
  std::filesystem::remove_all(Folder(), ignored);
  std::filesystem::remove(taken_file_, ignored);
}

std::string Simulation::Folder() const {
  return taken_file_ + ".d";
}

}  // namespace scanhost
