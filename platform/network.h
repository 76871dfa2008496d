// Stream sockets, as the network transport needs them: non-blocking connect with readiness waits,
// options, and receives and sends that can be posted, waited for with a time limit, and cancelled.
// Errors are system error numbers (error_codes.h), 0 for success.
#ifndef SCANTK_PLATFORM_NETWORK_H_
#define SCANTK_PLATFORM_NETWORK_H_

#include <cstdint>
#include <memory>
#include <string>

#include "platform/semaphore.h"

namespace scantk {

// What the socket library says of itself when it is started.
struct SocketLibraryInfo {
  uint16_t version;      // low byte major, high byte minor: 0x0202 for 2.2
  uint16_t highVersion;  // the highest that it can do
  std::string description;
  std::string systemStatus;
  uint16_t maxSockets;
  uint16_t maxUdpDatagram;
};

// An IPv4 socket address, laid out as the system lays it out: 16 bytes.
struct SocketAddress {
  uint16_t family;   // 2
  uint16_t port;     // network byte order
  uint32_t address;  // network byte order
  uint8_t zero[8];
};
static_assert(sizeof(SocketAddress) == 16);

inline constexpr int kFamilyInet = 2;
inline constexpr uint32_t kNoAddress = 0xFFFFFFFF;

// One stream socket, non-blocking, closed by its destructor (with a transfer that was still posted
// cancelled and finished first). One thread at a time.
class StreamSocket {
 public:
  virtual ~StreamSocket() = default;

  // The number that the trace shows.
  virtual uintptr_t Handle() const = 0;

  // Starts connecting. 0: connected at once; kSocketWouldBlock: under way; kUnexpectedNetError:
  // failed, and the system gave no number for it (as any operation may).
  virtual uint32_t Connect(const SocketAddress& address) = 0;

  // Waits until the socket is writable, or shows an exception condition. Positive: ready; 0: the
  // time ran out; -1: the wait failed (LastSocketError).
  virtual int WaitWritable(uint32_t milliseconds) = 0;
  virtual int WaitException(uint32_t milliseconds) = 0;

  // The pending error of the socket. Returns 0 when it could be asked, -1 otherwise.
  virtual int PendingError(uint32_t* pending) = 0;

  virtual uint32_t SetLinger(bool on, uint16_t seconds) = 0;
  virtual uint32_t SetReceiveTimeout(uint32_t milliseconds) = 0;
  virtual uint32_t SetSendTimeout(uint32_t milliseconds) = 0;

  // Makes what a transfer waits on. False: LastSocketError tells why.
  virtual bool BeginTransfer() = 0;
  // Posts a receive of up to `size` bytes, or a send of all of them. 0: done; kIoPending: under
  // way; anything else: failed. `data` stays valid until the transfer has finished or was
  // cancelled.
  virtual uint32_t PostReceive(void* data, uint32_t size) = 0;
  virtual uint32_t PostSend(const void* data, uint32_t size) = 0;
  // Waits for the posted transfer to finish, `milliseconds` at most; of a send, since the system
  // last told that some of it went.
  virtual WaitResult WaitTransfer(uint32_t milliseconds) = 0;
  // The bytes that the finished transfer moved; 0 received bytes: the peer closed. Returns 0, or
  // the error with which the transfer ended.
  virtual uint32_t TransferResult(uint32_t* bytes) = 0;
  // Makes ready for the next transfer.
  virtual void ResetTransfer() = 0;
  // Cancels a transfer that is still under way and returns when its buffer is no longer touched.
  // Bytes that arrived before the cancel took hold are reported by `late_bytes`.
  virtual void EndTransfer(uint32_t* late_bytes) = 0;

  // Says that no more will be sent, and lets what was sent arrive: waits until the peer has closed
  // its side, at most `milliseconds`, dropping what it still sends. An abortive close afterwards
  // then throws away nothing of ours.
  virtual void FinishSending(uint32_t milliseconds) = 0;

  // A device-control request on the socket.
  virtual uint32_t Control(uint32_t code, const void* in, uint32_t in_size, void* out,
                           uint32_t out_size, uint32_t* returned) = 0;
};

// The network of this machine. Any thread; the sockets that it makes are independent.
class Network {
 public:
  virtual ~Network() = default;
  // Starts the socket library, asking for version 2.2, and releases it; the calls nest.
  virtual uint32_t StartUp(SocketLibraryInfo* info) = 0;
  virtual void CleanUp() = 0;
  // A new non-blocking IPv4 stream socket without delayed small writes; null: LastSocketError.
  virtual std::unique_ptr<StreamSocket> CreateStreamSocket() = 0;
  // The first IPv4 address of a host name, in network byte order; kNoAddress: LastSocketError.
  virtual uint32_t LookUpHost(const std::string& name) = 0;
  // Dotted text to an address in network byte order, kNoAddress when it is none.
  virtual uint32_t ParseDotted(const std::string& text) = 0;
  // The error of the calling thread's last socket operation.
  virtual uint32_t LastSocketError() = 0;
  // The system's own number of the thread's last error that became kUnexpectedNetError for want of
  // a better one, once; 0: none.
  virtual uint32_t TakeUnknownError() { return 0; }
};

// The network in use: the system's, until a test sets another.
Network& TheNetwork();
// Replaces it; null restores the system's. Not while a socket of the old one exists.
void SetNetwork(Network* network);

}  // namespace scantk

#endif  // SCANTK_PLATFORM_NETWORK_H_
