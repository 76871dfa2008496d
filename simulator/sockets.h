// What the lines of a device and the tap need of the system: stream sockets that never block, and a
// wait for several of them that another thread can end.
#ifndef SCANTK_SIMULATOR_SOCKETS_H_
#define SCANTK_SIMULATOR_SOCKETS_H_

#include <cstdint>
#include <span>
#include <string>
#include <vector>

#include "platform/owner.h"

namespace scantk::sim {

struct SocketTraits {
  using Value = intptr_t;  // a descriptor, or a socket of Windows
  static Value Invalid() { return -1; }
  static void Close(Value socket);
};
using Socket = Owner<SocketTraits>;

// Listens on a local IPv4 address. Throws std::invalid_argument (no address) or std::runtime_error
// (in use) with a text for people.
Socket ListenOn(const std::string& address, uint16_t port);
// The next connection that waits; empty when none does.
Socket Accept(const Socket& listener);

// An IPv4 address that was looked up.
struct FarEnd {
  uint8_t bytes[16];  // as the system lays it out
};
// Throws std::runtime_error.
FarEnd LookUp(const std::string& name, uint16_t port);
// Begins to connect; empty when that fails at once. A later failure shows as a broken socket.
Socket Connect(const FarEnd& far_end);

// The bytes moved, or one of these. Receive answers 0 when the far end has ended in good order.
inline constexpr int kNothingNow = -1;
inline constexpr int kBroken = -2;
int Receive(const Socket& socket, uint8_t* to, size_t size);
int Send(const Socket& socket, std::span<const uint8_t> bytes);

// Closes a socket so that its far end finds an end behind the last byte, or the connection reset.
void EndAndClose(Socket socket);
void ResetAndClose(Socket socket);

// A socket, or another file of the system that can be waited for; -1 is never ready.
struct Watched {
  intptr_t file = -1;
  bool reads = false;  // what to wait for; the end of the far side is seen in any case
  bool writes = false;
  bool readable = false;  // what was found
  bool ended = false;
};
// Waits until one of them is ready, at most `milliseconds` (-1: without a limit; the owner of the
// wait puts a Waker among them).
void WaitFor(std::vector<Watched>& watched, int milliseconds);

// Ends a wait. Wake may be called by any thread.
class Waker {
 public:
  Waker();
  intptr_t file() const { return reads_.Get(); }
  void Wake();
  void Clear();

 private:
  Socket reads_;
  Socket writes_;
};

}  // namespace scantk::sim

#endif  // SCANTK_SIMULATOR_SOCKETS_H_
