// Options that several commands share, and those of `scan`, as rows of the command line's table.
#ifndef SCANTK_HOST_COMMAND_OPTIONS_H_
#define SCANTK_HOST_COMMAND_OPTIONS_H_

#include <CLI/CLI.hpp>
#include <cstdint>
#include <map>
#include <string>

#include "host/device_context.h"
#include "host/scan_request.h"

namespace scanhost {

// What is filled in outlives the parsing.
void AddDeviceOptions(CLI::App* command, DeviceOptions* device);
void AddScanOptions(CLI::App* command, ScanRequest* scan);

// "500ms", "30s", "2m" in milliseconds; a plain number is of `unit` milliseconds. Throws
// UsageError.
uint32_t ParseDuration(const std::string& text, uint32_t unit);

// An option whose value is one of these words.
template <class Value>
void AddChoice(CLI::App* command, const char* name, const std::map<std::string, Value>& values,
               Value* value, const char* help) {
  command
      ->add_option_function<std::string>(
          name, [values, value](const std::string& text) { *value = values.at(text); }, help)
      ->check(CLI::IsMember(values));
}

}  // namespace scanhost

#endif  // SCANTK_HOST_COMMAND_OPTIONS_H_
