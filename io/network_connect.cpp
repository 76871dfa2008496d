// How the network transport gets its connection, and how it gives it up.
#include <cstring>

#include "io/network_transport.h"

namespace scantk {
namespace {

constexpr int kStreamType = 1;
constexpr int kDefaultProtocol = 0;
constexpr uint32_t kConnectWaitMs = 10000;
constexpr uint32_t kPendingWaitMs = 1000;  // for a connect that an earlier call started
// How long a device may take to read what was written last and to close its side. It only bounds
// the close of a device that does not close its own: others end at once.
constexpr uint32_t kFinishSendingMs = 200;

constexpr uint32_t kGreetingSize = 2;

IoResult LastSocketResult() {
  return static_cast<IoResult>(TheNetwork().LastSocketError());
}

IoResult GreetingResult(const char* greeting) {
  if (std::strcmp(greeting, "00") == 0) return S_OK;
  if (std::strcmp(greeting, "01") == 0) return E_ACCESSDENIED;
  if (std::strcmp(greeting, "02") == 0) return E_FAIL;
  return E_UNEXPECTED;
}

}  // namespace

IoResult NetworkTransport::MakeSocketConnection() {
  trace_->Print(TRACE_API, "MakeSocketConnection entry");
  return Traced("MakeSocketConnection", [&]() -> IoResult {
    if (connection_ == Connection::kNoSocket)
      if (const IoResult hr = MakeSocket(); hr != S_OK) return hr;
    if (connection_ == Connection::kConnected) return S_OK;
    const IoResult hr = ConnectPortaviaSocket(kFamilyInet, id_.port);
    if (hr == S_OK) return ReadGreeting();
    trace_->Print(TRACE_CLASS_ERROR, "MakeSocketConnection: Connect failed - hr %d", hr);
    ClosePortaviaSocket();
    return hr;
  });
}

IoResult NetworkTransport::MakeSocket() {
  if (!name_) {
    trace_->Print(TRACE_CLASS_ERROR, "MakeSocketConnection: Invalid Device ID");
    return E_FAIL;
  }
  const IoResult hr = CreatePortaviaSocket(kFamilyInet, &socket_);
  if (hr != S_OK) {
    trace_->Print(TRACE_CLASS_ERROR, "MakeSocketConnection: CreatePortaviaSocket failed hr %d", hr);
    return hr;
  }
  if (!socket_) {
    trace_->Print(TRACE_CLASS_ERROR, "MakeSocketConnection: CreatePortaviaSocket failed - skt = 0");
    return E_FAIL;
  }
  connection_ = Connection::kCreated;
  return S_OK;
}

IoResult NetworkTransport::ReadGreeting() {
  char greeting[kGreetingSize + 3] = {};
  uint32_t length = kGreetingSize;
  // However the read ends, the characters that came decide.
  ReadData(greeting, &length, nullptr);
  const IoResult hr = GreetingResult(greeting);
  if (hr != S_OK) {
    trace_->Print(TRACE_CLASS_ERROR, "MakeSocketConnection: Connect failed - Status %hs", greeting);
    ClosePortaviaSocket();
    return hr;
  }
  trace_->Print(TRACE_INFO, "MakeSocketConnection: Connected - read %d bytes, Status %hs", length,
                greeting);
  return S_OK;
}

IoResult NetworkTransport::CreatePortaviaSocket(int family, std::unique_ptr<StreamSocket>* socket) {
  trace_->Print(TRACE_API, "CreatePortaviaSocket entry: lAddressFamily %d", family);
  socket->reset();
  const IoResult hr = CreateSocket(family, socket);
  trace_->Print(TRACE_API, "CreatePortaviaSocket exit: skt %d", *socket ? (*socket)->Handle() : 0);
  return hr;
}

IoResult NetworkTransport::CreateSocket(int family, std::unique_ptr<StreamSocket>* socket) {
  if (family != kFamilyInet) {
    trace_->Print(TRACE_CLASS_ERROR, "CreatePortaviaSocket: Unknown address family %d", family);
    return E_INVALIDARG;
  }
  trace_->Print(TRACE_FLOW, "CreatePortaviaSocket: Opening socket af %d, type %d, protocol %d",
                family, kStreamType, kDefaultProtocol);
  uint32_t failure = error::kSocketNotStarted;
  if (library_started_) {
    *socket = TheNetwork().CreateStreamSocket();
    if (!*socket) failure = TheNetwork().LastSocketError();
  }
  if (!*socket) {
    trace_->Print(TRACE_CLASS_ERROR, "CreatePortaviaSocket: Unable to create socket: %d", failure);
    return static_cast<IoResult>(failure);
  }
  trace_->Print(TRACE_INFO, "CreatePortaviaSocket: Created socket %d", (*socket)->Handle());
  return S_OK;
}

IoResult NetworkTransport::ConnectPortaviaSocket(int family, uint16_t port) {
  trace_->Print(TRACE_API, "ConnectPortaviaSocket entry: lAddressFamily %d, port %d", family, port);
  return Traced("ConnectPortaviaSocket", [&]() -> IoResult {
    if (family != kFamilyInet) {
      trace_->Print(TRACE_CLASS_ERROR, "ConnectPortaviaSocket: Unknown address family %d", family);
      return E_INVALIDARG;
    }
    const uint16_t scan_port = ScanPort(port);
    if (scan_port == 0) return E_INVALIDARG;
    SocketAddress address;
    IoResult hr = MakeSocketAddress(family, scan_port, &address);
    if (hr != S_OK) return hr;
    hr = connection_ == Connection::kConnecting ? ContinueConnecting() : StartConnecting(address);
    if (hr != S_OK) return hr;
    connection_ = Connection::kConnected;
    wrote_ = false;
    trace_->Print(TRACE_INFO, "ConnectPortaviaSocket: Connected socket: %d", Number());
    return SetSocketOptions();
  });
}

// A connect that an earlier call started: an exception shows that it failed, writability that it
// succeeded.
IoResult NetworkTransport::ContinueConnecting() {
  const int exception = socket_->WaitException(kPendingWaitMs);
  const uint32_t failure = error::OfFailure(TheNetwork().LastSocketError());
  trace_->Print(TRACE_FLOW, "ConnectPortaviaSocket: SOCKET_PENDING - Select  returns %d",
                exception);
  if (exception < 0) {
    trace_->Print(TRACE_CLASS_ERROR,
                  "ConnectPortaviaSocket: SOCKET_PENDING Select returns SOCKET_ERROR %d", failure);
    return static_cast<IoResult>(failure);
  }
  trace_->Print(TRACE_FLOW, "ConnectPortaviaSocket: Select not Socket Error - write returns %d",
                exception);
  const int writable = socket_->WaitWritable(kPendingWaitMs);
  const IoResult hr = writable == 0 ? LastSocketResult() : S_OK;
  trace_->Print(TRACE_FLOW, "ConnectPortaviaSocket: Select (2nd time) write returns %d", writable);
  trace_->Print(TRACE_CLASS_ERROR,
                "ConnectPortaviaSocket: SOCKET_PENDING Select (2nd time) returns (0 may be a "
                "timeout) %d %d",
                writable, hr);
  return hr;
}

IoResult NetworkTransport::StartConnecting(const SocketAddress& address) {
  connection_ = Connection::kConnecting;
  trace_->Print(TRACE_FLOW, "ConnectPortaviaSocket: Connecting to socket %d", Number());
  const uint32_t failure = socket_->Connect(address);
  if (failure == error::kSuccess) return S_OK;
  if (failure == error::kSocketWouldBlock) return WaitConnected();
  const auto hr = static_cast<IoResult>(failure);
  if (IsConnectionRefusal(failure)) {
    trace_->Print(TRACE_CLASS_ERROR,
                  "ConnectPortaviaSocket: Unable to connect socket: probably firewall%d", hr);
  } else if (failure == error::kUnexpectedNetError) {
    trace_->Print(TRACE_CLASS_ERROR,
                  "ConnectPortaviaSocket: connect failed; but WSAGetLastError was 0; setting error "
                  "to ERROR_UNEXP_NET_ERR %d",
                  hr);
  } else {
    trace_->Print(TRACE_CLASS_ERROR, "ConnectPortaviaSocket: Unable to connect socket: %d", hr);
  }
  return hr;
}

IoResult NetworkTransport::WaitConnected() {
  const int writable = socket_->WaitWritable(kConnectWaitMs);
  const uint32_t failure = TheNetwork().LastSocketError();
  trace_->Print(TRACE_FLOW,
                "ConnectPortaviaSocket: WSAEWOULDBLOCK Select :socket handles = %d  (0 = time "
                "limit expired, -1 = SocketError)",
                writable);
  if (writable == 0) return ExplainExpiredConnect();
  if (writable < 0) return ExplainFailedWait(error::OfFailure(failure));
  trace_->Print(TRACE_FLOW,
                "ConnectPortaviaSocket: Connected socket after select (WSAWOULDBLOCK): %d",
                Number());
  return S_OK;
}

IoResult NetworkTransport::ExplainExpiredConnect() {
  trace_->Print(TRACE_INFO,
                "ConnectPortaviaSocket: WSAEWOULDBLOCK Select time limit expired call getsockopt");
  uint32_t pending = 0;
  const int asked = socket_->PendingError(&pending);
  IoResult hr = LastSocketResult();
  // The connect has not succeeded, whether or not the system remembers why.
  if (hr == S_OK) hr = static_cast<IoResult>(error::kSocketWouldBlock);
  trace_->Print(TRACE_INFO,
                "ConnectPortaviaSocket: WSAEWOULDBLOCK  getsockopt iSockoptResult %d SO_ERROR %d ",
                asked, pending);
  trace_->Print(TRACE_FLOW,
                "ConnectPortaviaSocket: WSAEWOULDBLOCK  getsockopt WSAGetLastError %d  SO_ERROR "
                "%d ",
                hr, pending);
  if (IsConnectionRefusal(pending)) {
    hr = static_cast<IoResult>(pending);
    trace_->Print(TRACE_CLASS_ERROR,
                  "ConnectPortaviaSocket: WSAEWOULDBLOCK Unable to connect socket: set hr = error "
                  "(likely firewall) %d",
                  hr);
  }
  return hr;
}

IoResult NetworkTransport::ExplainFailedWait(uint32_t failure) {
  trace_->Print(TRACE_CLASS_ERROR,
                "ConnectPortaviaSocket: Unable to connect socket (WSAWOULDBLOCK): %d", failure);
  uint32_t pending = 0;
  if (socket_->PendingError(&pending) == 0 && pending == 0 && socket_->WaitWritable(0) > 0) {
    trace_->Print(TRACE_FLOW,
                  "ConnectPortaviaSocket: Connected socket after getsockopt (WSAWOULDBLOCK): %d",
                  Number());
    return S_OK;
  }
  trace_->Print(TRACE_CLASS_ERROR,
                "ConnectPortaviaSocket: Unable to connect socket after getsockopt "
                "(WSAWOULDBLOCK): %d",
                failure);
  return static_cast<IoResult>(failure);
}

IoResult NetworkTransport::SetSocketOptions() {
  const auto failed = [this](const char* option, uint32_t failure) {
    trace_->Print(TRACE_CLASS_ERROR, "ConnectPortaviaSocket: Unable to setsockopt() for %s: %d",
                  option, failure);
    return static_cast<IoResult>(failure);
  };
  // A close resets the connection at once: the device serves one host at a time, and a connection
  // that lingers would keep the next one out.
  trace_->Print(TRACE_FLOW, "ConnectPortaviaSocket: Disabling SO_LINGER");
  if (const uint32_t failure = socket_->SetLinger(true, 0)) return failed("linger", failure);
  trace_->Print(TRACE_FLOW, "ConnectPortaviaSocket: Setting RecvTimeout %d", timeouts_.read);
  if (const uint32_t failure = socket_->SetReceiveTimeout(timeouts_.read))
    return failed("RecvTimeout", failure);
  trace_->Print(TRACE_FLOW, "ConnectPortaviaSocket: Setting SendTimeout %d", timeouts_.write);
  if (const uint32_t failure = socket_->SetSendTimeout(timeouts_.write))
    return failed("SendTimeout", failure);
  return S_OK;
}

IoResult NetworkTransport::ClosePortaviaSocket() {
  const uintptr_t number = Number();
  trace_->Print(TRACE_API, "ClosePortaviaSocket entry: skt %d", number);
  if (socket_) {
    if (connection_ == Connection::kConnected && wrote_) socket_->FinishSending(kFinishSendingMs);
    socket_.reset();
    trace_->Print(TRACE_INFO, "ClosePortaviaSocket: Closed Socket %d", number);
    connection_ = Connection::kNoSocket;
  }
  trace_->Print(TRACE_API, "ClosePortaviaSocket exit");
  return S_OK;
}

}  // namespace scantk
