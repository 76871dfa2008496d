// The far end of a connection on real TCP, made with the system's own calls: what the network
// transport talks to in its tests, on both systems.
#ifndef SCANTK_TESTS_DOUBLES_FAR_END_H_
#define SCANTK_TESTS_DOUBLES_FAR_END_H_

#include <cstdint>
#include <string>

namespace scantk {

// One accepted connection; blocking, for ten seconds at most.
class Peer {
 public:
  explicit Peer(uintptr_t socket) : socket_(socket) {}
  Peer(Peer&& other) noexcept : socket_(other.socket_) { other.socket_ = ~uintptr_t{0}; }
  ~Peer() { Close(); }

  void Send(const std::string& bytes);
  // Up to `size` bytes; fewer when the connection ended before.
  std::string Receive(size_t size);
  void Close();

 protected:
  uintptr_t socket_;
};

// Listens at a loopback address.
class FarEnd : private Peer {
 public:
  FarEnd(const char* address, uint16_t port);
  // Ends the test program when nobody connects.
  Peer Accept();
};

// Whether a program that this one starts would hold the socket open, too.
bool IsInherited(uintptr_t socket);

}  // namespace scantk

#endif  // SCANTK_TESTS_DOUBLES_FAR_END_H_
