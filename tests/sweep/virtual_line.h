// A line between the toolkit and a simulated device inside the process, whatever carries it, with a
// clock that moves only when somebody waits. One thing goes wrong at a place that is set
// beforehand.
#ifndef SCANTK_TESTS_SWEEP_VIRTUAL_LINE_H_
#define SCANTK_TESTS_SWEEP_VIRTUAL_LINE_H_

#include <cstdint>
#include <optional>
#include <string_view>

#include "platform/clock.h"
#include "simulator/responder.h"

namespace scantk::test {

// What went over the line since Begin.
struct LineCounts {
  int64_t to_host = 0, to_device = 0;  // bytes
  int64_t connections = 0;             // that were asked for
  int64_t calls = 0;
};

// The process's clock while it lives. One thread.
class VirtualLine : public Clock {
 public:
  VirtualLine();
  ~VirtualLine() override;
  // The one that lives.
  static VirtualLine& Current();

  int64_t Milliseconds() const { return now_; }
  uint32_t TickCount() override { return static_cast<uint32_t>(now_); }
  int64_t SecondsSince1970() override { return 1'000'000'000 + now_ / 1000; }
  LocalTime Now() override { return {2001, 9, 9, 1, 46, 40, static_cast<int>(now_ % 1000)}; }
  void Sleep(uint32_t milliseconds) override { now_ += milliseconds; }

  // From now on `device` answers, and `fault` strikes at the place `at`, the first being 0. No
  // connection is open. Faults are
  //   at a byte on its way to the host, counted over all connections:
  //     drop: it is lost; corrupt: it is inverted; stall: it and what follows come ten seconds
  //     later; silence: it and what follows on this connection never come; close, reset: the device
  //     has ended the connection before it; split: what came before it comes by itself
  //   at a byte on its way to the device:
  //     sent-drop; sent-corrupt; sent-short: the send ends before it; sent-reset: the connection is
  //     reset before it
  //   at a connection that is asked for:
  //     refuse; unreachable: nobody answers
  //   at a call of the system:
  //     call: it fails
  void Begin(sim::Responder* device, std::string_view fault = "", int64_t at = 0);
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
  std::optional<int64_t> Strikes(std::string_view kind, int64_t begin, int64_t end) const;

  int64_t now_ = 1000;
  sim::Responder* device_ = nullptr;
  std::string_view fault_;
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

  // Asks for a connection; Meet makes it, and lets the device greet its host.
  void Ask();
  void Meet(bool greeted = false);
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
