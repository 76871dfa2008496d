// A simulated multifunction device on the network: what a test starts, looks at and disturbs.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "simulator/faults.h"
#include "simulator/paper.h"

namespace scantk::sim {

/// Changes one variable of the model's profile. Fields that are not set keep the profile's value.
struct VariableOverride {
  int number = 0;                     ///< as on the wire: 10323 is the X resolution
  std::optional<int64_t> value = {};  ///< current value, also after a reset
  std::optional<int64_t> minimum = {};
  std::optional<int64_t> maximum = {};
  std::optional<std::string> text = {};  ///< for the variables whose value is a string
  bool null = false;                     ///< the device has no such variable
};

/// How a page is wrapped and compressed.
struct DeliveryOptions {
  size_t block_bytes = 61440;     ///< longest block, its header included; at least 64
  size_t record_bytes = 30000;    ///< image bytes in a raster record, 1 to 32767
  bool end_in_own_block = false;  ///< the end-of-page record comes in a block of its own
  int jpeg_horizontal = 2;        ///< luminance sampling factors, 1 to 4; 2 x 2 is "4:2:0"
  int jpeg_vertical = 2;
  int jpeg_quality = 0;  ///< 1 to 100; 0 follows the level that the host sends
  int jpeg_restart = 0;  ///< MCUs between restart markers, 0 for none
};

struct DeviceConfig {
  std::string address = "127.0.0.1";  ///< local IPv4 address; tests use one each in 127.0.0.0/8
  uint16_t port = 9290;               ///< a print server's scan ports are 9290, 9291 and 9292
  std::string model = "ZM-16";        ///< a row of ModelNames()
  std::string paper = "chart";        ///< see MakePaper; on the glass and on every sheet
  int sheets = 0;                     ///< sheets in the feeder
  int sheet_height = 0;     ///< length of a feeder sheet in 1/300 inch, 0 for as long as the window
  int max_connections = 1;  ///< one more is greeted as busy
  std::vector<VariableOverride> overrides;
  std::vector<Fault> faults;
  DeliveryOptions delivery;
  bool keep_log = true;     ///< keep the conversation for log()
  std::string log_path;     ///< also write it to this file, "-" for standard error
  std::string record_path;  ///< record every byte of it to this file, on the network only
};

/// The configuration; throws std::invalid_argument when no page could be delivered with it.
DeviceConfig CheckedConfig(DeviceConfig config);

/// Counted since the device started; a connection counts once it is greeted.
struct Stats {
  int64_t connections = 0;
  int64_t busy_greetings = 0;
  int64_t commands = 0;
  int64_t inquiries = 0;
  int64_t bytes_received = 0;
  int64_t bytes_sent = 0;
  int64_t pages_started = 0;
  int64_t pages_finished = 0;  ///< delivered to their end, faults included
  int64_t pages_aborted = 0;   ///< ended early: cancel, jam, reset by the host, lost connection
  int64_t blocks = 0;
};

/// The names that DeviceConfig::model takes: "ZM-11" to "ZM-16", "alternative", "unknown".
std::vector<std::string> ModelNames();

/// The built-in settings of a model for a page on the glass: 300 dpi, 24-bit colour, whole window.
PageSettings DefaultPage(const std::string& model);

/// A device that listens from construction to destruction, on a thread of its own. Every method may
/// be called from any thread while it works.
class SimulatedDevice {
 public:
  /// Returns once the device listens. Throws std::runtime_error (address in use) or
  /// std::invalid_argument (no such model, variable or paper) with a text for people.
  explicit SimulatedDevice(DeviceConfig config);
  /// Drops every connection and joins the thread.
  ~SimulatedDevice();
  SimulatedDevice(const SimulatedDevice&) = delete;
  SimulatedDevice& operator=(const SimulatedDevice&) = delete;

  Stats stats() const;
  /// The conversation so far, a line per command, answer and block (the last 20000 lines).
  std::vector<std::string> log() const;
  /// The log lines that contain `text`.
  int CountInLog(const std::string& text) const;
  void ClearLog();

  /// The connection (1 is the first) that holds the device's lock; 0 nobody, -1 another computer.
  int lock_holder() const;
  bool locked() const { return lock_holder() != 0; }
  /// Another computer takes the lock, or gives it back.
  void ReserveElsewhere(bool reserved);
  /// Connections that are open now.
  int open_connections() const;

  void AddFault(const Fault& fault);
  void AddFault(const std::string& text);  ///< see ParseFault
  void ClearFaults();
  /// Adds a pending device error, as a cover opened in idle would.
  void RaiseError(int code);

  void SetSheets(int sheets);
  int sheets() const;
  /// The current value of a number variable; nothing when the device has none.
  std::optional<int64_t> Variable(int number) const;
  void SetVariable(const VariableOverride& change);
  void SetPaper(const std::string& paper);
  /// The settings and row count of the page that was started last, for RenderPage.
  std::optional<PageSettings> last_page() const;

  const DeviceConfig& config() const;

 private:
  class Impl;
  std::unique_ptr<Impl> impl_;
};

}  // namespace scantk::sim
