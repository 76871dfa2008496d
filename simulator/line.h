// What carries bytes between hosts and the device that answers them: one thread, one pace, one
// record of what passed. The network, a cable and a DOT4 stack are derived from it.
#ifndef SCANTK_SIMULATOR_LINE_H_
#define SCANTK_SIMULATOR_LINE_H_

#include <functional>
#include <memory>
#include <mutex>
#include <span>

#include "simulator/device_log.h"
#include "simulator/recording.h"
#include "simulator/responder.h"
#include "simulator/service.h"

namespace scantk::sim {

// What a line belongs to. All of it lives longer than the line, and is used with the mutex held.
struct LineEnds {
  std::mutex& mutex;
  Responder& device;
  DeviceLog& log;
  Recorder* recorder;  // null: nothing is recorded
};

class Line : public Service {
 public:
  // Attaches and serves, or throws what Attach does; serves no more and detaches.
  void Start();
  void Stop();

  // Hosts can reach the device from now on, or no more: those that are connected find out. Called
  // with the mutex held. Attach throws std::runtime_error or std::invalid_argument with a text for
  // people; Detach may be called at any time.
  virtual void Attach() = 0;
  virtual void Detach() = 0;
  // Hosts that keep others out.
  virtual int OpenConnections() const = 0;

  // For an owner that has changed what the thread waits for.
  using Service::Wake;

 protected:
  explicit Line(const LineEnds& ends) : Service(ends.mutex), ends_(ends) {}

  // A conversation begins, and ends: the device forgets it.
  std::unique_ptr<Conversation> Open();
  void End(Conversation& host, RecordedKind how);

  // The device hears what came, or as much as it takes now; the rest stays in `host.unheard`.
  void Hear(Conversation& host, std::span<const uint8_t> bytes);
  // Whether more may be read from the host.
  static bool Listens(const Conversation& host) { return !host.deaf && host.unheard.empty(); }

  // The bytes that may leave now: some of what the device says, none while the line stalls. What
  // has left is then reported.
  std::span<const uint8_t> Due(Conversation& host);
  void Sent(Conversation& host, size_t bytes);
  // Milliseconds until something is due: 0 now, -1 not before the host speaks.
  int Delay(Conversation& host);
  // The line is due to break: all that was to be sent before it is.
  static bool Breaks(const Conversation& host);

  const LineEnds ends_;

 private:
  int64_t next_id_ = 0;
};

using MakeLine = std::function<std::unique_ptr<Line>(const LineEnds&)>;

}  // namespace scantk::sim

#endif  // SCANTK_SIMULATOR_LINE_H_
