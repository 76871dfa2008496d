#include "host/trace_command.h"

#include <cstdio>
#include <filesystem>

#include "host/arguments.h"
#include "host/device_registry.h"
#include "host/help.h"
#include "platform/component.h"
#include "platform/error_codes.h"
#include "platform/registry.h"
#include "platform/system.h"
#include "server/contract/interfaces.h"

namespace scanhost {
namespace {

using scantk::RegistryKey;
using scantk::RegistryRoot;

// Masks of the trace: classes in the top four bits, categories below. A line passes when the level
// has every bit of it; errors pass whenever the level has their class.
struct Level {
  const char* name;
  uint32_t mask;
  const char* help;
};
constexpr Level kLevels[] = {
    {"errors", 0x80000040, "errors alone"},
    {"calls", 0xB0000042, "and every method call with its result"},
    {"flow", 0xB000005F, "and locks, scan flow, record dumps"},
    {"data", 0xB800007F, "and the bytes on the wire"},
    {"all", 0xBF00007F, "and everything else"},
};

constexpr uint32_t kToFile = 1;
constexpr uint32_t kToDebugger = 2;
constexpr uint32_t kToCollector = 4;

// The trace takes names of up to this many bytes, with the NUL.
constexpr size_t kMaxFileName = 260;

constexpr Option kOptions[] = {
    {"--level", "LEVEL", "errors, calls, flow (default), data, all, or a mask such as 0xB0000042"},
    {"--file", "FILE", "default velkan.log in the temporary folder"},
    {"--debugger", "", "show the lines to a debugger as well"},
    {"--collector", "", "hand the lines to the log collector component as well"},
};

std::string KeyPath() {
  return "Software\\Orvane\\Lumora\\Velkan\\" + scantk::GuidText(CLSID_scanner);
}

void Show(const TraceSettings& settings) {
  if (!settings.enabled || settings.destination == 0) {
    std::printf("trace: off\n");
    return;
  }
  std::printf("trace: on, level 0x%08X", settings.level);
  if (settings.destination & kToFile)
    std::printf(", file %s", settings.file.empty()
                                 ? (scantk::TemporaryFolder() + "velkan.log").c_str()
                                 : settings.file.c_str());
  if (settings.destination & kToDebugger) std::printf(", debugger");
  if (settings.destination & kToCollector) std::printf(", log collector");
  std::printf("\n");
}

}  // namespace

uint32_t ParseTraceLevel(const std::string& text) {
  for (const Level& level : kLevels)
    if (text == level.name) return level.mask;
  return ParseNumber(text, 0, 0xFFFFFFFF, "the trace level");
}

void WriteTraceSettings(const TraceSettings& settings) {
  if (settings.file.size() >= kMaxFileName)
    throw UsageError("the trace file's name is longer than 259 bytes");
  RegistryKey key;
  const std::string path = KeyPath();
  CheckRegistry(RegistryKey::Create(RegistryRoot::kLocalMachine, path, &key, nullptr), path);
  CheckRegistry(key.SetDword("LogEnabled", settings.enabled ? 1 : 0), path);
  CheckRegistry(key.SetDword("LogLevel", settings.level), path);
  CheckRegistry(key.SetDword("LogDestination", settings.destination), path);
  CheckRegistry(key.SetString("LogFile", settings.file.c_str(),
                              static_cast<uint32_t>(settings.file.size() + 1)),
                path);
}

TraceSettings ReadTraceSettings() {
  TraceSettings settings;
  RegistryKey key;
  const uint32_t error = RegistryKey::Open(RegistryRoot::kLocalMachine, KeyPath(),
                                           scantk::RegistryAccess::kRead, &key);
  if (error == scantk::error::kFileNotFound) return settings;
  CheckRegistry(error, KeyPath());
  settings.enabled = ReadNumber(key, "LogEnabled").value_or(0) != 0;
  settings.level = ReadNumber(key, "LogLevel").value_or(kLevels[0].mask);
  settings.destination = ReadNumber(key, "LogDestination").value_or(0);
  settings.file = ReadText(key, "LogFile").value_or("");
  return settings;
}

int RunTraceCommand(std::span<const std::string> words) {
  const Arguments arguments = Arguments::Parse(words, kOptions);
  const std::string action =
      arguments.Positional().empty() ? "show" : arguments.Positional().front();
  TraceSettings settings = ReadTraceSettings();
  if (action == "on") {
    settings.enabled = true;
    settings.level = ParseTraceLevel(arguments.Value("--level", "flow"));
    settings.destination = kToFile | (arguments.Has("--debugger") ? kToDebugger : 0) |
                           (arguments.Has("--collector") ? kToCollector : 0);
    settings.file = arguments.Value("--file");
    // The toolkit's processes have working folders of their own.
    if (!settings.file.empty()) settings.file = std::filesystem::absolute(settings.file).string();
    WriteTraceSettings(settings);
  } else if (action == "off") {
    settings.enabled = false;
    WriteTraceSettings(settings);
  } else if (action != "show") {
    throw UsageError("`scanhost trace` takes on or off, not \"" + action + "\"");
  }
  Show(settings);
  return 0;
}

std::string TraceHelp() {
  std::string text = "scanhost trace [on|off] [options]\n" + OptionsHelp(kOptions) + "  levels:\n";
  for (const Level& level : kLevels)
    text += "    " + std::string(level.name) + ": " + level.help + "\n";
  return text;
}

}  // namespace scanhost
