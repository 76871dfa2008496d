// The far end of a connection on real TCP, made with the system's own calls: what the network
// transport talks to in its tests, on both systems.
#ifndef SCANTK_TESTS_DOUBLES_FAR_END_H_
#define SCANTK_TESTS_DOUBLES_FAR_END_H_

#include <cstdint>
#include <memory>
#include <string>

namespace scantk {

// One accepted connection; blocking, for ten seconds at most.
class Peer {
 public:
  explicit Peer(uintptr_t socket) : socket_(socket) {}
  ~Peer() { Close(); }
  Peer(const Peer&) = delete;
  Peer& operator=(const Peer&) = delete;

  bool Send(const std::string& bytes);
  // Up to `size` bytes; fewer when the connection ended before.
  std::string Receive(size_t size);
  void Close();
  // Ends the connection with a reset.
  void Reset();

 private:
  uintptr_t socket_;
};

// Listens at a loopback address; at a free port without one.
class FarEnd {
 public:
  explicit FarEnd(const char* address = "127.0.0.1", uint16_t port = 0);
  ~FarEnd() { Close(); }
  FarEnd(const FarEnd&) = delete;
  FarEnd& operator=(const FarEnd&) = delete;

  // In network byte order.
  uint16_t Port() const { return port_; }
  // Ends the test program when nobody connects.
  std::unique_ptr<Peer> Accept();
  void Close();

 private:
  uintptr_t socket_;
  uint16_t port_ = 0;
};

// The next connect of this program fails with this number of the system's own, which may be 0.
void FailNextConnect(int number);
// Whether a program that this one starts would hold the socket open, too.
bool IsInherited(uintptr_t socket);

}  // namespace scantk

#endif  // SCANTK_TESTS_DOUBLES_FAR_END_H_
