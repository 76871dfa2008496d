// The far end of a connection, made with the system's own calls: what the network role is tested
// against.
#ifndef SCANTK_TESTS_PLATFORM_RAW_LISTENER_H_
#define SCANTK_TESTS_PLATFORM_RAW_LISTENER_H_

#include <cstdint>
#include <memory>
#include <string>

namespace scantk {

// One accepted connection; blocking.
class RawPeer {
 public:
  explicit RawPeer(uintptr_t socket) : socket_(socket) {}
  ~RawPeer() { Close(); }
  RawPeer(const RawPeer&) = delete;
  RawPeer& operator=(const RawPeer&) = delete;

  bool Send(const std::string& bytes);
  // Up to `size` bytes; fewer when the connection ended before.
  std::string Receive(size_t size);
  void Close();
  // Ends the connection with a reset.
  void Reset();

 private:
  uintptr_t socket_;
};

// Listens on a free port of 127.0.0.1.
class RawListener {
 public:
  RawListener();
  ~RawListener() { Close(); }
  RawListener(const RawListener&) = delete;
  RawListener& operator=(const RawListener&) = delete;

  // In network byte order.
  uint16_t Port() const { return port_; }
  std::unique_ptr<RawPeer> Accept();
  void Close();

 private:
  uintptr_t socket_;
  uint16_t port_ = 0;
};

}  // namespace scantk

#endif  // SCANTK_TESTS_PLATFORM_RAW_LISTENER_H_
