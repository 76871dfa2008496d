// A network inside the process: the toolkit's sockets end in a simulated device, waits take no time
// but that of a virtual clock, and one thing goes wrong at a place that is set beforehand.
#ifndef SCANTK_TESTS_SWEEP_VIRTUAL_NETWORK_H_
#define SCANTK_TESTS_SWEEP_VIRTUAL_NETWORK_H_

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "platform/network.h"
#include "simulator/responder.h"
#include "tests/sweep/virtual_clock.h"

namespace scantk::test {

enum class LineFault {
  kNone,
  // At a byte on its way to the host, counted over all connections:
  kDrop,     // it is lost
  kCorrupt,  // it is inverted
  kStall,    // it and what follows come ten seconds later
  kSilence,  // it and what follows on this connection never come
  kClose,    // the device has closed the connection before it
  kReset,    // and reset it
  kSplit,    // what came before it comes by itself
  // At a byte on its way to the device:
  kSentDrop,
  kSentCorrupt,
  kSentShort,  // the send ends before it
  kSentReset,  // the connection is reset before it
  // At a connection:
  kRefuse,
  kUnreachable,  // nobody answers
  // At a call of the network:
  kCall,  // it fails
};

// What went over the network since Begin.
struct LineCounts {
  int64_t to_host = 0, to_device = 0;  // bytes
  int64_t connections = 0;             // that were asked for
  int64_t calls = 0;
};

// The process's network while it lives. One thread.
class VirtualNetwork : public Network {
 public:
  explicit VirtualNetwork(VirtualClock* clock);
  ~VirtualNetwork() override;

  // From now on `device` answers, and `fault` strikes at the place `at`, the first being 0. No
  // connection is open.
  void Begin(sim::Responder* device, LineFault fault = LineFault::kNone, int64_t at = 0);
  const LineCounts& Counts() const { return counts_; }
  // Sockets that were not closed, and transfers that were neither finished nor ended.
  int OpenSockets() const { return open_sockets_; }
  int OpenTransfers() const { return open_transfers_; }
  // A wait without end on a device that will never speak: it was given up.
  bool Hung() const { return hung_; }

  uint32_t StartUp(SocketLibraryInfo* info) override;
  void CleanUp() override {}
  std::unique_ptr<StreamSocket> CreateStreamSocket() override;
  uint32_t LookUpHost(const std::string& name) override;
  uint32_t ParseDotted(const std::string& text) override;
  uint32_t LastSocketError() override { return last_error_; }

 private:
  friend class VirtualSocket;

  // Counts a call; true when it is the one that fails.
  bool CallFails();
  uint32_t Fail(uint32_t error) { return last_error_ = error; }
  // The place of the fault, when it is of this kind and lies in [begin, end).
  std::optional<int64_t> Strikes(LineFault kind, int64_t begin, int64_t end) const;

  VirtualClock* const clock_;
  sim::Responder* device_ = nullptr;
  LineFault fault_ = LineFault::kNone;
  int64_t at_ = 0;
  LineCounts counts_;
  int64_t next_id_ = 0;
  int open_sockets_ = 0;
  int open_transfers_ = 0;
  bool hung_ = false;
  bool struck_ = false;  // a fault that ends or holds up a connection has
  uint32_t last_error_ = 0;
};

}  // namespace scantk::test

#endif  // SCANTK_TESTS_SWEEP_VIRTUAL_NETWORK_H_
