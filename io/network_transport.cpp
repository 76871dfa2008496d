// Life, transfers and requests of the network transport.
#include "io/network_transport.h"

#include <cstring>

namespace scantk {
namespace {

constexpr uint16_t kWantedLibraryVersion = 0x0202;
constexpr int kConnectAttempts = 5;  // while the device says that it is busy

// Of an operation that failed.
IoResult LastSocketResult() {
  return static_cast<IoResult>(error::OfFailure(TheNetwork().LastSocketError()));
}

}  // namespace

NetworkTransport::NetworkTransport() {
  trace_->Print(TRACE_API, "MXVIO_NET Constructor entry");
  StartSocketLibrary();
}

void NetworkTransport::StartSocketLibrary() {
  SocketLibraryInfo info = {};
  const uint32_t failure = TheNetwork().StartUp(&info);
  trace_->Print(TRACE_FLOW, "WinSock Startup WSAData - Version %d, HighVersion %d", info.version,
                info.highVersion);
  trace_->Print(TRACE_FLOW, "WinSock Startup WSAData - Description %s", info.description);
  trace_->Print(TRACE_FLOW, "WinSock Startup WSAData - SystemStatus %s", info.systemStatus);
  trace_->Print(TRACE_FLOW, "WinSock Startup WSAData - MaxSockets %d, MaxUdpDg %d", info.maxSockets,
                info.maxUdpDatagram);
  if (failure != 0) {
    trace_->Print(TRACE_CLASS_ERROR, "WinSock Startup failed - err %d", failure);
    return;
  }
  if (info.version != kWantedLibraryVersion) {
    trace_->Print(TRACE_CLASS_ERROR, "WinSock Startup failed - Incorrect WinSock version");
    TheNetwork().CleanUp();
    return;
  }
  library_started_ = true;
  trace_->Print(TRACE_API, "MXVIO_NET Constructor exit");
}

NetworkTransport::~NetworkTransport() {
  trace_->Print(TRACE_API, "MXVIO_NET Destructor entry");
  name_.reset();
  if (socket_) ClosePortaviaSocket();
  if (library_started_) TheNetwork().CleanUp();
  trace_->Print(TRACE_API, "MXVIO_NET Destructor exit");
  trace_.reset();
}

IoResult NetworkTransport::OpenIO(const char* name) {
  trace_->Print(TRACE_API, "OpenIO entry: DeviceName %s", name);
  return Traced("OpenIO", [&]() -> IoResult { return name_ ? S_OK : Open(name); });
}

IoResult NetworkTransport::Open(const char* name) {
  if (!name) {
    trace_->Print(TRACE_CLASS_ERROR, "OpenIO: Invalid DeviceName");
    return E_INVALIDARG;
  }
  if (ParseNetworkDeviceName(name, &id_) != S_OK) {
    trace_->Print(TRACE_CLASS_ERROR, "OpenIO: Invalid Network ID");
    return E_FAIL;
  }
  if (id_.host[0] != '\0' && !KeepName(id_.host)) {
    trace_->Print(TRACE_CLASS_ERROR, "OpenIO: Memory Error1");
    return E_FAIL;
  }
  trace_->Print(TRACE_INFO, "OpenIO: DeviceName %s", DevName());
  return S_OK;
}

IoResult NetworkTransport::ConnectToIO() {
  trace_->Print(TRACE_API, "ConnectToIO entry");
  return Traced("ConnectToIO", [&]() -> IoResult {
    IoResult hr = E_ACCESSDENIED;
    for (int attempt = 1; attempt <= kConnectAttempts && hr == E_ACCESSDENIED; ++attempt) {
      hr = MakeSocketConnection();
      if (hr == E_ACCESSDENIED)
        trace_->Print(TRACE_CLASS_ERROR, "ConnectToIO: Retrying %d", attempt);
    }
    return hr;
  });
}

IoResult NetworkTransport::DisConnectFromIO() {
  trace_->Print(TRACE_API, "DisConnectFromIO entry");
  return Traced("DisConnectFromIO", [&]() -> IoResult {
    if (socket_) ClosePortaviaSocket();
    trace_->Print(TRACE_INFO, "DisConnectFromIO");
    return S_OK;
  });
}

IoResult NetworkTransport::CloseIO() {
  trace_->Print(TRACE_API, "CloseIO entry");
  return Traced("CloseIO", [&]() -> IoResult {
    if (socket_) ClosePortaviaSocket();
    name_.reset();
    trace_->Print(TRACE_INFO, "CloseIO");
    return S_OK;
  });
}

bool NetworkTransport::EnsureConnected(const char* operation) {
  if (connection_ != Connection::kConnected) ConnectToIO();
  if (connection_ == Connection::kConnected) return true;
  trace_->Print(TRACE_CLASS_ERROR, "%s: Socket not connected", operation);
  return false;
}

// --- reading ---

IoResult NetworkTransport::ReadData(void* buffer, uint32_t* length, Overlapped*) {
  trace_->Print(TRACE_API, "ReadData entry");
  return Traced("ReadData", [&]() -> IoResult {
    if (!EnsureConnected("ReadData")) return E_FAIL;
    if (!socket_->BeginTransfer()) {
      const IoResult hr = LastSocketResult();
      trace_->Print(TRACE_CLASS_ERROR, "ReadData: Unable to create event: %d", hr);
      return hr;
    }
    const uint32_t wanted = *length;
    return ReceiveAll(static_cast<uint8_t*>(buffer), wanted, length);
  });
}

IoResult NetworkTransport::ReceiveAll(uint8_t* buffer, uint32_t wanted, uint32_t* total) {
  *total = 0;
  IoResult hr = S_OK;
  uint32_t passes = 0;
  while (*total < wanted && hr == S_OK) {
    ++passes;
    hr = ReceiveSome(buffer, wanted, total);
    if (socket_) socket_->ResetTransfer();
  }
  if (passes > 1) {
    trace_->Print(TRACE_FLOW, "ReadData: Asked %d, Read %d, looped %d", wanted, *total, passes - 1);
  }
  return hr;
}

// One pass: whatever comes first, counted in *total.
IoResult NetworkTransport::ReceiveSome(uint8_t* buffer, uint32_t wanted, uint32_t* total) {
  const uint32_t failure = socket_->PostReceive(buffer + *total, wanted - *total);
  if (failure != error::kSuccess && failure != error::kIoPending) {
    trace_->Print(TRACE_CLASS_ERROR, "ReadData: WSARecv error: %d  Call DisConnectFromIO", failure);
    DisConnectFromIO();
    return static_cast<IoResult>(failure);
  }
  const WaitResult wait = socket_->WaitTransfer(timeouts_.read);
  if (wait != WaitResult::kSignalled) return EndUnfinishedReceive(wait, wanted, total);
  uint32_t received = 0;
  // A receive that failed has brought nothing, which is what a device that closed looks like.
  if (socket_->TransferResult(&received) != error::kSuccess) received = 0;
  if (received == 0) {
    trace_->Print(TRACE_CLASS_ERROR,
                  "ReadData: Socket closed by device - Asked %d, Read %d Call DisConnectFromIO",
                  wanted, *total);
    DisConnectFromIO();
    return static_cast<IoResult>(error::kSocketShutDown);
  }
  *total += received;
  return S_OK;
}

// The receive is still posted: it must be ended before the caller's buffer goes out of scope, and
// what came meanwhile counts.
IoResult NetworkTransport::EndUnfinishedReceive(WaitResult wait, uint32_t wanted, uint32_t* total) {
  IoResult hr = wait == WaitResult::kTimeout ? kIoTimeout : LastSocketResult();
  uint32_t late_bytes = 0;
  socket_->EndTransfer(&late_bytes);
  *total += late_bytes;
  if (*total == wanted) return S_OK;
  if (wait == WaitResult::kTimeout) {
    trace_->Print(TRACE_CLASS_ERROR, "ReadData: Timed Out - Asked %d, Read %d, Timedout %d", wanted,
                  *total, timeouts_.read);
  } else {
    trace_->Print(TRACE_CLASS_ERROR, "ReadData: Error - Asked %d, Read %d, hr %d", wanted, *total,
                  hr);
  }
  return hr;
}

// --- writing ---

IoResult NetworkTransport::WriteData(const void* buffer, uint32_t length, uint32_t* written,
                                     Overlapped*) {
  trace_->Print(TRACE_API, "WriteData entry");
  return Traced("WriteData", [&]() -> IoResult {
    *written = 0;
    if (!EnsureConnected("WriteData")) return E_FAIL;
    if (!socket_->BeginTransfer()) return LastSocketResult();
    return Send(buffer, length, written);
  });
}

IoResult NetworkTransport::Send(const void* buffer, uint32_t length, uint32_t* written) {
  wrote_ = true;
  const uint32_t failure = socket_->PostSend(buffer, length);
  if (failure != error::kSuccess && failure != error::kIoPending) {
    trace_->Print(TRACE_CLASS_ERROR, "WriteData: WSASend error: %d  Call DisconnectFromIO",
                  failure);
    if (failure == error::kIoIncomplete) {
      socket_->ResetTransfer();
    } else {
      DisConnectFromIO();
    }
    return static_cast<IoResult>(failure);
  }
  const IoResult hr = FinishWrite(length, written);
  if (socket_) socket_->ResetTransfer();
  return hr;
}

IoResult NetworkTransport::FinishWrite(uint32_t length, uint32_t* written) {
  IoResult hr = S_OK;
  const WaitResult wait = socket_->WaitTransfer(timeouts_.write);
  if (wait == WaitResult::kSignalled) {
    hr = static_cast<IoResult>(socket_->TransferResult(written));
  } else {
    hr = wait == WaitResult::kTimeout ? kIoTimeout : LastSocketResult();
    socket_->EndTransfer(written);
  }
  if (hr == kIoTimeout && *written == length) hr = S_OK;
  if (hr == kIoTimeout) {
    trace_->Print(TRACE_CLASS_ERROR,
                  "WriteData: Timed Out - Asked %d, Sent %d, Timedout %d Call DisConnectFromIO",
                  length, *written, timeouts_.write);
    DisConnectFromIO();
  }
  if (hr != S_OK) {
    trace_->Print(TRACE_CLASS_ERROR, "WriteData: error %d:  Asked %d, Sent %d", hr, length,
                  *written);
  } else if (*written == length) {
    trace_->Print(TRACE_FLOW, "WriteData: Asked %d, Sent %d", length, *written);
  } else {
    trace_->Print(TRACE_CLASS_ERROR, "WriteData: error - Asked %d, Sent %d", length, *written);
  }
  return hr;
}

// --- requests ---

IoResult NetworkTransport::Escape(uint32_t function, void* buffer, uint32_t length, void* output,
                                  uint32_t output_length, uint32_t* returned) {
  trace_->Print(TRACE_API, "Escape entry: EscapeFn 0x%x", function);
  return Traced("Escape", [&]() -> IoResult {
    return function == GET_TIMEOUTS || function == SET_TIMEOUTS
               ? EscapeTimeouts(function, buffer, length)
               : PassControl(function, buffer, length, output, output_length, returned);
  });
}

IoResult NetworkTransport::EscapeTimeouts(uint32_t function, void* buffer, uint32_t length) {
  const bool get = function == GET_TIMEOUTS;
  const IoResult hr = get ? GetTimeouts(buffer, length) : SetTimeouts(buffer, length);
  const char* name = get ? "GET_TIMEOUTS" : "SET_TIMEOUTS";
  if (hr != S_OK) {
    trace_->Print(TRACE_INFO, "Escape: %s - Invalid Args", name);
    return hr;
  }
  IoTimeouts shown;  // of a SET: what was asked for
  std::memcpy(&shown, buffer, sizeof shown);
  trace_->Print(TRACE_INFO, "Escape: %s - Read %d, Write %d, Flush %d", name, shown.read,
                shown.write, shown.flush);
  return hr;
}

IoResult NetworkTransport::PassControl(uint32_t function, const void* buffer, uint32_t length,
                                       void* output, uint32_t output_length, uint32_t* returned) {
  trace_->Print(TRACE_INFO, "Escape: Function Code 0x%X", function);
  if (!EnsureConnected("Escape")) return E_FAIL;
  const uint32_t failure =
      socket_->Control(function, buffer, length, output, output_length, returned);
  if (failure == error::kSuccess) return S_OK;
  const IoResult hr = error::ToResult(failure);
  trace_->Print(TRACE_CLASS_ERROR, "Escape: : Function Code 0x%X, result %d", function, hr);
  return hr;
}

}  // namespace scantk
