#include "host/setup/trace_command.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <filesystem>

#include "contract/interfaces.h"
#include "host/error_advice.h"
#include "host/setup/device_registry.h"
#include "platform/component.h"
#include "platform/error_codes.h"
#include "platform/registry.h"
#include "platform/system.h"

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

std::string KeyPath() {
  return "Software\\Orvane\\Lumora\\Velkan\\" + scantk::GuidText(CLSID_scanner);
}

std::string TraceFile(const TraceSettings& settings) {
  return settings.file.empty() ? scantk::TemporaryFolder() + "velkan.log" : settings.file;
}

void Show(const TraceSettings& settings) {
  if (!settings.enabled || settings.destination == 0) {
    std::printf("trace: off\n");
    return;
  }
  std::printf("trace: on, level 0x%08X", settings.level);
  if (settings.destination & kToFile) std::printf(", file %s", TraceFile(settings).c_str());
  if (settings.destination & kToDebugger) std::printf(", debugger");
  if (settings.destination & kToCollector) std::printf(", log collector");
  std::printf("\n");
}

}  // namespace

uint32_t ParseTraceLevel(const std::string& text) {
  for (const Level& level : kLevels)
    if (text == level.name) return level.mask;
  return ParseNumber(text, "the trace level, when it is not errors, calls, flow, data or all,");
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

void SwitchTraceOn(const std::string& level, const std::string& file, bool debugger,
                   bool collector) {
  TraceSettings settings;
  settings.enabled = true;
  settings.level = ParseTraceLevel(level);
  settings.destination = kToFile | (debugger ? kToDebugger : 0) | (collector ? kToCollector : 0);
  // The toolkit's processes have working folders of their own.
  if (!file.empty()) settings.file = std::filesystem::absolute(file).string();
  WriteTraceSettings(settings);
  const std::string target = TraceFile(settings);
  std::FILE* probe = std::fopen(target.c_str(), "a");
  if (probe) {
    std::fclose(probe);
  } else {
    std::fprintf(stderr, "warning: the trace file %s cannot be written: %s\n", target.c_str(),
                 std::strerror(errno));
  }
}

int RunTrace(const TraceRequest& request) {
  if (request.action == "on") {
    SwitchTraceOn(request.level, request.file, request.debugger, request.collector);
  } else if (request.action == "off") {
    TraceSettings settings = ReadTraceSettings();
    settings.enabled = false;
    WriteTraceSettings(settings);
  }
  Show(ReadTraceSettings());
  return 0;
}

std::string TraceLevelHelp() {
  std::string text = "a mask such as 0xB0000042, or";
  for (const Level& level : kLevels)
    text += std::string(" ") + level.name + ": " + level.help + ";";
  return text + " (data)";
}

}  // namespace scanhost
