// A simulated multifunction device: what a test starts, looks at and disturbs.
#ifndef SCANTK_SIMULATOR_SIMULATED_DEVICE_H_
#define SCANTK_SIMULATOR_SIMULATED_DEVICE_H_

#include <cstdint>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "simulator/device_config.h"
#include "simulator/line.h"

namespace scantk::sim {

// A device that serves from construction to destruction, on a thread of its own. Every method may
// be called from any thread meanwhile.
class SimulatedDevice {
 public:
  // Returns once the device listens. Throws std::runtime_error (address in use) or
  // std::invalid_argument (no such model, variable or paper) with a text for people.
  explicit SimulatedDevice(const DeviceConfig& config);
  // On a line that is reached through the file `path`; address and port mean nothing.
  SimulatedDevice(DeviceConfig config, const MakeLine& make_line, std::string path);
  // Drops every connection and joins the thread.
  virtual ~SimulatedDevice();
  SimulatedDevice(const SimulatedDevice&) = delete;
  SimulatedDevice& operator=(const SimulatedDevice&) = delete;

  Stats stats() const;
  // The conversation so far, a line per command, answer and block (the last 20000 lines).
  std::vector<std::string> log() const;
  // The log lines that contain `text`.
  int CountInLog(const std::string& text) const;
  void ClearLog();

  // The connection (1 is the first) that holds the device's lock; 0 nobody, -1 another computer.
  int lock_holder() const;
  bool locked() const { return lock_holder() != 0; }
  // Another computer takes the lock, or gives it back.
  void ReserveElsewhere(bool reserved);
  // Connections that are open now.
  int open_connections() const;

  void AddFault(const Fault& fault);
  void AddFault(const std::string& text);  // see ParseFault
  void ClearFaults();
  // Adds a pending device error, as a cover opened in idle would.
  void RaiseError(int code);

  void SetSheets(int sheets);
  int sheets() const;
  // Whether a sheet lies in the path: fed, and neither ejected nor pushed out by the next.
  bool paper_in_path() const;
  // A person takes every sheet out, also the one in the path.
  void TakePaperOut();
  // The current value of a number variable; nothing when the device has none.
  std::optional<int64_t> Variable(int number) const;
  void SetVariable(const VariableOverride& change);
  void SetPaper(const std::string& paper);
  // The settings and row count of the page that was started last, for RenderPage.
  std::optional<PageSettings> last_page() const;

  const DeviceConfig& config() const;
  // The file that hosts open; "" on the network.
  const std::string& path() const { return path_; }

  // Nobody can reach it any more; hosts find out, and once this returns nobody is served.
  void Unplug();
  // It can be reached again. Throws std::runtime_error when it cannot.
  void Plug();

 protected:
  // For what only one kind of line has; `mutex` guards it.
  Line& line() const;
  std::mutex& mutex() const;

 private:
  class Impl;
  const std::string path_;
  std::unique_ptr<Impl> impl_;
};

}  // namespace scantk::sim

#endif  // SCANTK_SIMULATOR_SIMULATED_DEVICE_H_
