// scanhost: a host for the scanner toolkit. It configures devices, shows what they can do, scans.
#include <cstdio>
#include <exception>
#include <span>
#include <string>
#include <vector>

#include "host/arguments.h"
#include "host/devices_command.h"
#include "host/error_advice.h"
#include "host/info_command.h"
#include "host/scan_command.h"
#include "host/scan_job.h"
#include "host/trace_command.h"
#include "platform/console.h"

namespace {

using namespace scanhost;

struct Command {
  const char* name;
  int (*run)(std::span<const std::string> words);
  std::string (*help)();
};

constexpr Command kCommands[] = {
    {"devices", RunDevicesCommand, DevicesHelp},
    {"info", RunInfoCommand, InfoHelp},
    {"scan", RunScanCommand, ScanHelp},
    {"trace", RunTraceCommand, TraceHelp},
};

constexpr int kExitFailed = 1;
constexpr int kExitUsage = 2;

int ShowHelp() {
  std::printf("scanhost: configures scanners, shows what they can do, scans\n");
  for (const Command& command : kCommands) std::printf("\n%s", command.help().c_str());
  return 0;
}

const Command& FindCommand(const std::string& name) {
  for (const Command& command : kCommands)
    if (name == command.name) return command;
  throw UsageError("\"" + name + "\" is not a command; `scanhost --help` lists them");
}

int Run(std::span<const std::string> words) {
  if (words.empty() || words[0] == "--help" || words[0] == "-h" || words[0] == "help")
    return ShowHelp();
  const Command& command = FindCommand(words[0]);
  for (const std::string& word : words.subspan(1)) {
    if (word == "--") break;
    if (word == "--help" || word == "-h") {
      std::printf("%s", command.help().c_str());
      return 0;
    }
  }
  return command.run(words.subspan(1));
}

}  // namespace

int main(int argc, char** argv) {
  const std::vector<std::string> words(argv + (argc > 0 ? 1 : 0), argv + argc);
  const scantk::InterruptWatch watch;
  try {
    return Run(words);
  } catch (const UsageError& error) {
    std::fprintf(stderr, "scanhost: %s\n", error.what());
    return kExitUsage;
  } catch (const Interrupted& interrupted) {
    std::fprintf(stderr, "scanhost: cancelled\n");
    return interrupted.status;
  } catch (const ToolkitFailure& failure) {
    std::fprintf(stderr, "scanhost: %s\n  %s\n", failure.what(),
                 AdviceFor(failure.outcome().result, failure.outcome().code));
  } catch (const std::exception& error) {
    std::fprintf(stderr, "scanhost: %s\n", error.what());
  }
  return kExitFailed;
}
