// What a simulated device is made of: its model, paper, faults, and how it delivers.
#ifndef SCANTK_SIMULATOR_DEVICE_CONFIG_H_
#define SCANTK_SIMULATOR_DEVICE_CONFIG_H_

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "simulator/faults.h"
#include "simulator/paper.h"

namespace scantk::sim {

// Changes one variable of the model's profile. Fields that are not set keep the profile's value.
struct VariableOverride {
  int number = 0;                     // as on the wire: 10323 is the X resolution
  std::optional<int64_t> value = {};  // current value, also after a reset
  std::optional<int64_t> minimum = {};
  std::optional<int64_t> maximum = {};
  std::optional<std::string> text = {};  // for the variables whose value is a string
  bool null = false;                     // the device has no such variable
};

// How a page is wrapped and compressed.
struct DeliveryOptions {
  size_t block_bytes = 61440;     // longest block, its header included; at least 64
  size_t record_bytes = 30000;    // image bytes in a raster record, 1 to 32767
  bool end_in_own_block = false;  // the end-of-page record comes in a block of its own
  int jpeg_horizontal = 2;        // luminance sampling factors, 1 to 4; 2 x 2 is "4:2:0"
  int jpeg_vertical = 2;
  int jpeg_quality = 0;  // 1 to 100; 0 follows the level that the host sends
  int jpeg_restart = 0;  // MCUs between restart markers, 0 for none
};

struct DeviceConfig {
  std::string address = "127.0.0.1";  // local IPv4 address; tests use one each in 127.0.0.0/8
  uint16_t port = 9290;               // a print server's scan ports are 9290, 9291 and 9292
  std::string model = "ZM-16";        // a row of ModelNames()
  std::string paper = "chart";        // see MakePaper; on the glass and on every sheet
  int sheets = 0;                     // sheets in the feeder
  int sheet_height = 0;     // length of a feeder sheet in 1/300 inch, 0 for as long as the window
  int max_connections = 1;  // one more is greeted as busy
  std::string at_rest;      // how hosts find the device, see AtRest; "" in order
  std::vector<VariableOverride> overrides;
  std::vector<Fault> faults;
  DeliveryOptions delivery;
  bool keep_log = true;     // keep the conversation for log()
  std::string log_path;     // also write it to this file, "-" for standard error
  std::string record_path;  // record every byte of it to this file
};

// How hosts find a device before they have done anything, and for how long: with a jammed sheet
// ("jam": the error comes back however often it is cleared, and no page is scanned), with an empty
// feeder ("empty"), or at work for somebody else ("busy": the greeting says so, and the lock is
// taken). Then somebody comes and sets it right: pulls the sheet out, loads the paper.
struct AtRest {
  enum class State { kInOrder, kJam, kEmpty, kBusy };
  State state = State::kInOrder;
  int64_t milliseconds = 0;  // since the device started; 0 for ever
};

// Reads "jam", "empty" or "busy", with ":MILLISECONDS" behind it when it ends, or "". Throws
// std::invalid_argument with a text for people.
AtRest ParseAtRest(const std::string& text);

// The configuration; throws std::invalid_argument when no page could be delivered with it.
DeviceConfig CheckedConfig(DeviceConfig config);

// Counted since the device started; a connection counts once it is greeted.
struct Stats {
  int64_t connections = 0;
  int64_t busy_greetings = 0;
  int64_t commands = 0;
  int64_t inquiries = 0;
  int64_t bytes_received = 0;
  int64_t bytes_sent = 0;
  int64_t pages_started = 0;
  int64_t pages_finished = 0;  // delivered to their end, faults included
  int64_t pages_aborted = 0;   // ended early: cancel, jam, reset by the host, lost connection
  int64_t blocks = 0;
};

// The names that DeviceConfig::model takes: "ZM-11" to "ZM-16", "alternative", "unknown".
std::vector<std::string> ModelNames();

// The built-in settings of a model for a page on the glass: 300 dpi, 24-bit colour, whole window.
PageSettings DefaultPage(const std::string& model);

}  // namespace scantk::sim

#endif  // SCANTK_SIMULATOR_DEVICE_CONFIG_H_
