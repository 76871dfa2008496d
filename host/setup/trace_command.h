// scanhost trace: the toolkit's trace, switched in the registry.
#ifndef SCANTK_HOST_SETUP_TRACE_COMMAND_H_
#define SCANTK_HOST_SETUP_TRACE_COMMAND_H_

#include <cstdint>
#include <string>

namespace scanhost {

struct TraceSettings {
  bool enabled = false;
  uint32_t level = 0;        // mask of line classes and categories
  uint32_t destination = 0;  // 1 file, 2 debugger, 4 log collector; added up
  std::string file;          // empty: velkan.log in the temporary folder
};

// "errors", "calls", "flow", "data", "all", or a mask as a number. Throws UsageError.
uint32_t ParseTraceLevel(const std::string& text);

// Throw HostFailure.
void WriteTraceSettings(const TraceSettings& settings);
TraceSettings ReadTraceSettings();

// Writes them, and warns on standard error when the file cannot be written.
void SwitchTraceOn(const std::string& level, const std::string& file, bool debugger = false,
                   bool collector = false);

struct TraceRequest {
  std::string action = "show";
  std::string level = "data";
  std::string file;
  bool debugger = false;
  bool collector = false;
};
int RunTrace(const TraceRequest& request);
std::string TraceLevelHelp();

}  // namespace scanhost

#endif  // SCANTK_HOST_SETUP_TRACE_COMMAND_H_
