#include "host/simulation.h"

#include <cstdio>
#include <filesystem>

#include "host/device_registry.h"
#include "host/devices_command.h"
#include "host/error_advice.h"
#include "host/program_folder.h"
#include "host/trace_command.h"
#include "platform/system.h"

namespace scanhost {
namespace {

// How long scantk-sim may take to listen.
constexpr uint32_t kStartMs = 10000;
// Addresses tried: another process may hold the first one.
constexpr uint32_t kAttempts = 8;

// A loopback address that this process is likely to have for itself.
std::string Address(uint32_t attempt) {
  const uint32_t number = scantk::ProcessId() + attempt * 7919;
  char text[32];
  std::snprintf(text, sizeof text, "127.%u.%u.%u", 80 + attempt, (number >> 8) & 255,
                1 + number % 254);
  return text;
}

// The line that scantk-sim prints for a device that listens begins with this.
constexpr char kListening[] = "listening ";

}  // namespace

Simulation::Simulation(const std::vector<std::string>& arguments, const std::string& trace_file) {
  const std::string program = FindProgram("scantk-sim");
  if (program.empty())
    throw HostFailure("scantk-sim is not beside this program; build it, or add a device instead");
  std::string address;
  for (uint32_t attempt = 0; !process_; ++attempt) {
    address = Address(attempt);
    std::vector<std::string> words = {"--address", address};
    words.insert(words.end(), arguments.begin(), arguments.end());
    std::string error;
    process_ = scantk::ChildProcess::Start(program, words, &error);
    if (!process_) throw HostFailure("cannot start " + program + ": " + error);
    std::string line;
    while (process_->ReadLine(kStartMs, &line) && !line.starts_with(kListening)) {
    }
    if (!line.starts_with(kListening)) process_.reset();
    if (!process_ && attempt + 1 == kAttempts)
      throw HostFailure("the simulated device did not start; its words are those of scantk-sim");
  }
  // The name is taken with an empty file; the registry lies beside it.
  registry_file_ = scantk::CreateTemporaryFile(scantk::TemporaryFolder(), "scn");
  if (registry_file_.empty()) throw HostFailure("no temporary file for the simulated device");
  scantk::SetEnvironment("SCANTK_REGISTRY", registry_file_ + ".reg");
  AddDevice(NetworkDeviceValues("simulated device", address, true, "1", "", ""));
  if (!trace_file.empty())
    WriteTraceSettings(
        {true, ParseTraceLevel("flow"), 1, std::filesystem::absolute(trace_file).string()});
}

Simulation::~Simulation() {
  if (registry_file_.empty()) return;
  std::error_code ignored;
  std::filesystem::remove(registry_file_, ignored);
  std::filesystem::remove(registry_file_ + ".reg", ignored);
}

}  // namespace scanhost
