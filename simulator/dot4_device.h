// A device behind an IEEE 1284.4 (DOT4) stack: a local socket that answers device-control requests.
#ifndef SCANTK_SIMULATOR_DOT4_DEVICE_H_
#define SCANTK_SIMULATOR_DOT4_DEVICE_H_

#include <deque>
#include <string>
#include <vector>

#include "simulator/dot4_records.h"
#include "simulator/line.h"
#include "simulator/simulated_device.h"

namespace scantk::sim {

// The stack has one channel to the scanner; a channel is a conversation, and goes with the file
// that it was opened on. Sockets outlive files. A fault that ends a connection closes the file
// with the channel. Attach listens at `path`.
MakeLine Dot4Line(const std::string& path);

class Dot4Device : public SimulatedDevice {
 public:
  // Instead of an error number: no answer is given; the file is closed.
  static constexpr uint32_t kSilence = 0xFFFFFFFF;
  static constexpr uint32_t kHangUp = 0xFFFFFFFE;

  // Returns once the stack listens at `path`. Throws what SimulatedDevice does.
  Dot4Device(DeviceConfig config, const std::string& path)
      : SimulatedDevice(std::move(config), Dot4Line(path), path) {}

  // The next requests of this kind end with these system error numbers, 0 being as usual.
  void FailRequests(Dot4Code code, std::deque<uint32_t> errors);
  // Every open file is closed at this end; they can be opened again.
  void LoseHandles();
  // What was wrong with the layout of requests so far, one text each (the first 100).
  std::vector<std::string> layout_faults() const;
  int open_channels() const;
  int open_sockets() const;
};

}  // namespace scantk::sim

#endif  // SCANTK_SIMULATOR_DOT4_DEVICE_H_
