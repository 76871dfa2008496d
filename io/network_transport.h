// The transport for devices on the network: one TCP connection to one of the device's scan ports,
// on which the device greets with two characters. Reads, writes and requests connect when there is
// no connection.
#ifndef SCANTK_IO_NETWORK_TRANSPORT_H_
#define SCANTK_IO_NETWORK_TRANSPORT_H_

#include <cstdint>
#include <memory>

#include "io/network_name.h"
#include "io/transport.h"
#include "platform/network.h"

namespace scantk {

class NetworkTransport : public Transport {
 public:
  // Without a socket library the object can be used, and its connects fail.
  NetworkTransport();
  ~NetworkTransport() override;

  // `name` is a network device name (network_name.h). Makes no connection. E_INVALIDARG without a
  // name, E_FAIL when it is empty.
  IoResult OpenIO(const char* name) override;
  // 0; E_ACCESSDENIED: busy with somebody else, asked five times; E_FAIL: the device refused;
  // E_UNEXPECTED: it did not greet as a device does; a socket error number, positive; E_INVALIDARG:
  // no such port, or a host that cannot be found. Waits at most 10 seconds for the connection and a
  // read time-out for each greeting.
  IoResult ConnectToIO() override;
  // Returns when all the bytes have come, with kIoTimeout when none came for a read time-out, with
  // kSocketShutDown (positive) when the device closed the connection, or with another socket error
  // number. *length tells in each case what came. E_FAIL without a connection, *length untouched.
  IoResult ReadData(void* buffer, uint32_t* length, Overlapped* overlapped) override;
  // The whole buffer; kIoTimeout when the device took nothing for a write time-out. The connection
  // is given up then: half a command may have gone.
  IoResult WriteData(const void* buffer, uint32_t length, uint32_t* written,
                     Overlapped* overlapped) override;
  // Time-outs reach the socket's options with the next connection, the wait of a read at once.
  IoResult Escape(uint32_t function, void* buffer, uint32_t length, void* output,
                  uint32_t output_length, uint32_t* returned) override;
  IoResult DisConnectFromIO() override;
  IoResult CloseIO() override;

 protected:
  //            MakeSocketConnection        connect started            connected
  //  kNoSocket ---------------------> kCreated -------> kConnecting ----------> kConnected
  //      ^                                                                          |
  //      +------------- ClosePortaviaSocket, from any of them -----------------------+
  enum class Connection : int32_t { kNoSocket = -1, kCreated, kConnecting, kConnected };

  // --- connecting (network_connect.cpp, network_address.cpp) ---
  // Makes the socket, connects it and reads the greeting, as far as that is not done yet.
  IoResult MakeSocketConnection();
  IoResult MakeSocketAddress(int family, uint16_t port, SocketAddress* address);
  IoResult CreatePortaviaSocket(int family, std::unique_ptr<StreamSocket>* socket);
  // `port` is the print server's.
  IoResult ConnectPortaviaSocket(int family, uint16_t port);
  // What was written reaches the device before the connection is reset.
  IoResult ClosePortaviaSocket();

  Connection connection_ = Connection::kNoSocket;

 private:
  // Runs an operation whose trace has a line of its own at the end, and tells an error number of
  // the system's that the toolkit has none for.
  template <class Operation>
  IoResult Traced(const char* name, Operation operation);
  IoResult Open(const char* name);
  IoResult ReceiveAll(uint8_t* buffer, uint32_t wanted, uint32_t* total);
  IoResult ReceiveSome(uint8_t* buffer, uint32_t wanted, uint32_t* total);
  IoResult EndUnfinishedReceive(WaitResult wait, uint32_t wanted, uint32_t* total);
  IoResult Send(const void* buffer, uint32_t length, uint32_t* written);
  IoResult FinishWrite(uint32_t length, uint32_t* written);
  IoResult EscapeTimeouts(uint32_t function, void* buffer, uint32_t length);
  IoResult PassControl(uint32_t function, const void* buffer, uint32_t length, void* output,
                       uint32_t output_length, uint32_t* returned);

  IoResult MakeSocket();
  IoResult ReadGreeting();
  IoResult ResolveAddress(HostAddressKind kind, SocketAddress* address);
  IoResult CreateSocket(int family, std::unique_ptr<StreamSocket>* socket);
  IoResult StartConnecting(const SocketAddress& address);
  IoResult ContinueConnecting();
  IoResult WaitConnected();
  IoResult ExplainExpiredConnect();
  IoResult ExplainFailedWait(uint32_t failure);
  IoResult SetSocketOptions();
  void StartSocketLibrary();
  bool EnsureConnected(const char* operation);
  // The socket's number in the trace, 0 without one.
  uintptr_t Number() const { return socket_ ? socket_->Handle() : 0; }

  std::unique_ptr<StreamSocket> socket_;
  bool library_started_ = false;
  bool wrote_ = false;  // something was sent on this connection
  NetworkDeviceId id_ = {};
};

template <class Operation>
IoResult NetworkTransport::Traced(const char* name, Operation operation) {
  const IoResult hr = operation();
  if (const uint32_t number = TheNetwork().TakeUnknownError())
    trace_->Print(TRACE_CLASS_ERROR, "%s: error number %d of the system", name, number);
  trace_->Print(TRACE_API, "%s exit: hr %d", name, hr);
  return hr;
}

}  // namespace scantk

#endif  // SCANTK_IO_NETWORK_TRANSPORT_H_
