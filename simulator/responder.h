// What a host talks to, whatever carries the bytes: a scanner, or the recording of one.
#ifndef SCANTK_SIMULATOR_RESPONDER_H_
#define SCANTK_SIMULATOR_RESPONDER_H_

#include <cstddef>
#include <cstdint>
#include <deque>
#include <memory>
#include <string>
#include <vector>

#include "simulator/command_parser.h"
#include "simulator/device_config.h"
#include "simulator/faults.h"
#include "simulator/page_job.h"

namespace scantk::sim {

// One host's conversation with the device.
class Conversation {
 public:
  int64_t id = 0;
  CommandParser parser;
  std::deque<std::vector<uint8_t>> out;  // bytes for the host, oldest first
  size_t out_bytes = 0;
  // More waits for the host to read than a device keeps; it is not listened to meanwhile.
  bool Flooded() const { return out_bytes > (4 << 20); }
  size_t sent_of_first = 0;
  std::unique_ptr<PageJob> page;
  FaultMoment now;
  bool drop_when_sent = false;  // close once everything in `out` is sent
  bool reset_when_sent = false;
  int64_t stalled_until = 0;  // milliseconds of the device's clock
  int64_t bytes_per_ms = 0;   // 0: as fast as it goes
  int64_t paced_at = 0;       // when bytes last left, for slow lines
  bool deaf = false;
  std::vector<uint8_t> unheard;  // came while the device took nothing

  void Send(std::vector<uint8_t> bytes);
  void SendText(const std::string& text);
};

// One thread at a time.
class Responder {
 public:
  virtual ~Responder() = default;

  // What the device says to a new host on the network, and whether it then stays.
  virtual bool Greet(Conversation& host, bool busy) = 0;
  // A new host on a line where nobody is greeted.
  virtual void Meet(Conversation&) { ++stats.connections; }
  // Returns the bytes taken: fewer than `size` when the answers so far wait for the host to read.
  virtual size_t Receive(Conversation& host, const uint8_t* bytes, size_t size) = 0;
  // Puts what comes next by itself, a page's block for one, into `out` when that is empty.
  virtual void Produce(Conversation& host) = 0;
  // The connection is gone.
  virtual void Leave(Conversation& host) = 0;

  Stats stats;
};

}  // namespace scantk::sim

#endif  // SCANTK_SIMULATOR_RESPONDER_H_
