// A line between the toolkit and a simulated device inside the process, whatever carries it: waits
// take no time but that of a virtual clock, and one thing goes wrong at a place that is set
// beforehand.
#ifndef SCANTK_TESTS_SWEEP_VIRTUAL_LINE_H_
#define SCANTK_TESTS_SWEEP_VIRTUAL_LINE_H_

#include <cstdint>
#include <optional>

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
  // At a call of the system:
  kCall,  // it fails
};

// What went over the line since Begin.
struct LineCounts {
  int64_t to_host = 0, to_device = 0;  // bytes
  int64_t connections = 0;             // that were asked for
  int64_t calls = 0;
};

// One thread.
class VirtualLine {
 public:
  explicit VirtualLine(VirtualClock* clock);
  ~VirtualLine();
  // The one that lives.
  static VirtualLine& Current();

  // From now on `device` answers, and `fault` strikes at the place `at`, the first being 0. No
  // connection is open.
  void Begin(sim::Responder* device, LineFault fault = LineFault::kNone, int64_t at = 0);
  const LineCounts& Counts() const { return counts_; }
  // A wait without end on a device that will never speak: it was given up.
  bool Hung() const { return hung_; }
  // Sockets or files that were not closed, and transfers that were neither finished nor ended.
  int open_ends = 0, open_transfers = 0;

  // Counts a call; true when it is the one that fails.
  bool CallFails();

 private:
  friend class VirtualConnection;

  // The place of the fault, when it is of this kind and lies in [begin, end).
  std::optional<int64_t> Strikes(LineFault kind, int64_t begin, int64_t end) const;

  VirtualClock* const clock_;
  sim::Responder* device_ = nullptr;
  LineFault fault_ = LineFault::kNone;
  int64_t at_ = 0;
  LineCounts counts_;
  int64_t next_id_ = 0;
  bool hung_ = false;
  bool struck_ = false;  // a fault that ends or holds up a connection has
};

class VirtualConnection {
 public:
  enum class State { kNew, kRefused, kUnreachable, kConnected, kClosed, kReset };
  enum class Received { kBytes, kTimeout, kEnd };

  VirtualConnection() : line_(VirtualLine::Current()) { ++line_.open_ends; }
  ~VirtualConnection();

  // Asks for a connection; it is made by Greet, which lets the device greet its host, or by Meet.
  void Ask();
  void Greet();
  void Meet();
  State state() const { return state_; }

  // As many bytes as the line takes; false: the connection is over.
  bool Send(const uint8_t* data, uint32_t size, uint32_t* sent);
  // Waits for the bytes that are there next, or the connection's end.
  Received Receive(uint8_t* data, uint32_t size, uint32_t milliseconds, uint32_t* moved);
  // The host ends it and waits so long for the device to do the same.
  void Finish(uint32_t milliseconds);

 private:
  void Lose(State how);
  int64_t Delay();
  bool TryReceive(uint8_t* data, uint32_t size, uint32_t* moved);
  int64_t Available() const;
  int64_t Interrupt(int64_t begin, int64_t end);
  void CopyOut(int64_t begin, int64_t end, uint8_t* data, uint32_t* moved);

  VirtualLine& line_;
  sim::Conversation host_;
  State state_ = State::kNew;
  bool mute_ = false;
  int64_t silent_until_ = 0;
};

}  // namespace scantk::test

#endif  // SCANTK_TESTS_SWEEP_VIRTUAL_LINE_H_
