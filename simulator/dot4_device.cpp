#include "simulator/dot4_device.h"

#include "simulator/dot4_stack.h"

namespace scantk::sim {
namespace {

Dot4Stack& Stack(Line& line) {
  return static_cast<Dot4Stack&>(line);
}

}  // namespace

MakeLine Dot4Line(const std::string& path) {
  return [path](const LineEnds& ends) { return std::make_unique<Dot4Stack>(ends, path); };
}

void Dot4Device::FailRequests(Dot4Code code, std::deque<uint32_t> errors) {
  std::lock_guard guard(mutex());
  Stack(line()).failures[static_cast<uint32_t>(code)] = std::move(errors);
}

void Dot4Device::LoseHandles() {
  std::lock_guard guard(mutex());
  Stack(line()).LoseHandles();
}

std::vector<std::string> Dot4Device::layout_faults() const {
  std::lock_guard guard(mutex());
  return Stack(line()).layout_faults;
}

int Dot4Device::open_channels() const {
  return open_connections();
}

int Dot4Device::open_sockets() const {
  std::lock_guard guard(mutex());
  return static_cast<int>(Stack(line()).sockets.size());
}

}  // namespace scantk::sim
