// How the DOT4 transport gets its connection, loses it and makes it again, and its transfers.
#include "io/dot4_stack_transport.h"

#include "io/traced_bytes.h"
#include "platform/clock.h"

namespace scantk {
namespace {

constexpr uint8_t kScanSocket = 4;  // the peripheral's
constexpr uint16_t kLargestToPeripheral = 250;
constexpr uint16_t kLargestToHost = 32000;
constexpr int kOpenAttempts = 5;
constexpr int kChannelRetries = 5;
constexpr uint32_t kChannelRetryPauseMs = 10000;
constexpr int kReconnectAttempts = 2;
constexpr int kReadPasses = 10;
constexpr int kServiceNameTraced = 9;

}  // namespace

MXVIO_DOT4MS::MXVIO_DOT4MS() {
  trace_->Print(TRACE_INFO, "mxvdot4: MXVIO_DOT4MS constructor");
  trace_->Print(TRACE_INFO,
                "mxvdot4: sizeof(DOT4_SERVICE_NAME) / sizeof(TCHAR) %d, sizeof(DOT4_SERVICE_NAME) "
                "%d",
                kServiceNameTraced, kServiceNameTraced);
}

MXVIO_DOT4MS::~MXVIO_DOT4MS() {
  name_.reset();
  if (channel_ != 0) DOT4CloseChannel(channel_);
  channel_ = 0;
  if (socket_id_ != 0) DOT4DestroySocket(socket_id_);
  socket_id_ = 0;
  if (!file_.IsNull()) {
    trace_->Print(TRACE_INFO, "~CWIAScannerDevice : Close m_DeviceDefaultDataHandle %x",
                  file_.Number());
    file_.Close();
  }
  trace_->Print(TRACE_API, "mxvdot4::Destructor");
  trace_.reset();
}

// --- the transport's operations ---

IoResult MXVIO_DOT4MS::OpenIO(const char* name) {
  trace_->Print(TRACE_API, "mxvdot4: OpenIO ");
  if (name_) {
    trace_->Print(TRACE_INFO, "mxvdot4: OpenIO not null: DeviceName %s", DevName());
  } else {
    const IoResult hr = TakeName(name);
    if (hr != S_OK) return hr;
    trace_->Print(TRACE_INFO, "mxvdot4: OpenIO: DeviceName %s", DevName());
  }
  IoResult hr = S_OK;
  for (int attempt = 1; attempt <= kOpenAttempts; ++attempt) {
    hr = ConnectToDOT4();
    trace_->Print(TRACE_INFO,
                  hr == S_OK ? "mxvdot4: OpenIO ConnectToDOT4 sucessful attempt %d: DeviceName %s"
                             : "mxvdot4: OpenIO ConnectToDOT4 failure attempt %d: DeviceName %s",
                  attempt, DevName());
    if (hr == S_OK || hr == kNoAnswer) break;
  }
  return hr;
}

IoResult MXVIO_DOT4MS::ConnectToIO() {
  trace_->Print(TRACE_API, "mxvdot4: ConnectToIO ");
  if (name_ && file_.IsInvalid() && OpenDOT4() != S_OK) return E_FAIL;
  const IoResult hr = ConnectToDOT4();
  if (hr >= 0 || hr == kNoAnswer) return hr;
  trace_->Print(TRACE_INFO, " ConnectToIO: failed - try to reconnect");
  if (ReConnectToDOT4(kReconnectAttempts) == S_OK) return S_OK;
  trace_->Print(TRACE_CLASS_ERROR, " DOT4: ConnectToIO: Reconnection to DOT4 failed,");
  return E_FAIL;
}

IoResult MXVIO_DOT4MS::DisConnectFromIO() {
  trace_->Print(TRACE_API, "mxvdot4: DisConnectFromIO ");
  return CloseDOT4Channel();
}

IoResult MXVIO_DOT4MS::CloseIO() {
  trace_->Print(TRACE_API, "mxvdot4: CloseIO ");
  const IoResult hr = CloseDOT4();
  name_.reset();
  return hr;
}

IoResult MXVIO_DOT4MS::ReadData(void* buffer, uint32_t* length, Overlapped*) {
  const uint32_t wanted = *length;
  *length = 0;
  IoResult hr = S_OK;
  while (hr == S_OK && file_.IsInvalid()) {
    if (ReConnectToDOT4(kReconnectAttempts) == S_OK) {
      trace_->Print(TRACE_INFO,
                    "DOT4: ReadData Reconnection to DOT4 was successful...retrying full ReadData "
                    "operation");
    } else {
      trace_->Print(TRACE_CLASS_ERROR,
                    " DOT4: ReadData: Reconnection to DOT4 failed, STIERR_NOT_INITIALIZED will be "
                    "returned");
      hr = E_FAIL;
    }
  }
  if (hr == S_OK && channel_ == 0) {
    trace_->Print(TRACE_INFO, "DOT4: ReadData: Need to open IO lpBuffer = %x, dwNumberOfBytes = %d",
                  TracedAddress(buffer), wanted);
    const IoResult opened = OpenIO(nullptr);
    if (opened != S_OK) {
      trace_->Print(TRACE_INFO, "DOT4: ReadData: ReadData, OpenUpIO() Failed");
      return opened;
    }
  }
  if (hr == S_OK) hr = ReadUntilSomethingComes(buffer, wanted, length);
  trace_->Print(TRACE_FLOW, "DOT4: ReadData: Asked %d, Got %d, Buf: %hs", wanted, *length,
                TracedBytes(buffer, *length).Text());
  return hr;
}

IoResult MXVIO_DOT4MS::ReadUntilSomethingComes(void* buffer, uint32_t wanted, uint32_t* got) {
  for (int left = kReadPasses - 1; left >= 0; --left) {
    const IoResult hr = DOT4Read(channel_, buffer, wanted, got, timeouts_.read);
    if (hr < 0 || wanted < 2 || *got > 0) return hr;
    if (left > 0) {
      trace_->Print(TRACE_INFO,
                    "DOT4: ReadData Retrying a read...we asked for %d bytes, and recieved %d bytes "
                    "uiRetry %d",
                    wanted, *got, left);
    }
  }
  return error::ToResult(error::kTimeout);
}

IoResult MXVIO_DOT4MS::WriteData(const void* buffer, uint32_t length, uint32_t* written,
                                 Overlapped*) {
  const TracedBytes bytes(buffer, length);
  *written = 0;
  trace_->Print(TRACE_FLOW,
                "mxvdot4: WriteData: lpBuffer = %x, dwNumberOfBytes = %d Buf: %hs  "
                "m_DeviceDefaultDataHandle %x",
                TracedAddress(buffer), length, bytes.BehindEscape(), file_.Number());
  while (file_.IsInvalid()) {
    trace_->Print(TRACE_INFO,
                  "DOT4: WriteData: Retry to connect to DOT4 because the Data handle was invalid");
    if (ReConnectToDOT4(kReconnectAttempts) != S_OK) {
      trace_->Print(TRACE_INFO, "mxvdot4: WriteData Retry connection failed");
      return E_FAIL;
    }
  }
  if (file_.IsNull()) {
    trace_->Print(TRACE_INFO,
                  "mxvdot4:  WriteData: lpBuffer = %x, dwNumberOfBytes = %d Buf: %hs  "
                  "m_DeviceDefaultDataHandle %x",
                  TracedAddress(buffer), length, bytes.BehindEscape(), file_.Number());
  } else {
    file_.Flush();
  }
  if (channel_ == 0) {
    trace_->Print(TRACE_INFO,
                  "DOT4: WriteData: Need to open IO lpBuffer = %x, dwNumberOfBytes = %d",
                  TracedAddress(buffer), length);
    const IoResult opened = OpenIO(nullptr);
    if (opened != S_OK) {
      trace_->Print(TRACE_INFO, "mxvdot4: WriteData OpenIO: Failed DeviceName %s", DevName());
      return opened;
    }
  }
  return DOT4Write(channel_, buffer, length, written, timeouts_.write);
}

// --- connecting ---

IoResult MXVIO_DOT4MS::OpenDOT4() {
  trace_->Print(TRACE_API, "Dot4: OpenDOT4 : m_DeviceDefaultDataHandle %x", file_.Number());
  if (file_.IsUsable()) {
    trace_->Print(TRACE_INFO, "Dot4:OpenDot4 has a m_DeviceDefaultDataHandle %p",
                  reinterpret_cast<const void*>(file_.Number()));
    return S_OK;
  }
  trace_->Print(TRACE_INFO,
                "Dot4 :OpenDOT4 : NULL == m_DeviceDefaultDataHandle m_DeviceDefaultDataHandle %x",
                file_.Number());
  const uint32_t failure = OpenFile();
  if (failure != error::kSuccess) {
    trace_->Print(TRACE_INFO,
                  "Dot4:OpenDot4 CreateFileA returned a bad HANDLE, CreateFileName = %s, "
                  "GetLastError() = %d",
                  DevName(), failure);
    return static_cast<IoResult>(0x80070000u | failure);
  }
  trace_->Print(TRACE_INFO, "Dot4: OpenDOT4 : CreateFile m_DeviceDefaultDataHandle %x",
                file_.Number());
  return S_OK;
}

IoResult MXVIO_DOT4MS::ConnectToDOT4() {
  trace_->Print(TRACE_API, "Dot4::ConnectToDOT4 m_bSocketId %x", socket_id_);
  if (!file_.IsUsable()) {
    const IoResult opened = OpenDOT4();
    if (opened != S_OK) {
      trace_->Print(TRACE_INFO, "Dot4::OpenDOT4 failed %x", opened);
      return E_FAIL;
    }
  }
  const IoResult hr = OpenSocketAndChannel();
  if (hr >= 0) {
    trace_->Print(TRACE_FLOW, "Dot4: ConnectToIO :ConnectToDOT4 OK %x m_hChannel %0x", hr,
                  channel_);
    return hr;
  }
  trace_->Print(TRACE_CLASS_ERROR, "Dot4: ConnectToIO :ConnectToDOT4 Disconnecting from DOT4");
  CloseDOT4();
  return hr;
}

IoResult MXVIO_DOT4MS::OpenSocketAndChannel() {
  if (socket_id_ != 0) {
    trace_->Print(TRACE_INFO,
                  "Dot4: ConnectToDOT4 DOT4CreateSocket:  socket already exists m_pszDevName: %s "
                  "m_bSocketId %d",
                  DevName(), socket_id_);
  } else {
    const IoResult created = DOT4CreateSocket(kScanSocket, nullptr, socket_type_, buffer_size_,
                                              kLargestToPeripheral, kLargestToHost, &socket_id_);
    trace_->Print(TRACE_INFO,
                  "Dot4: ConnectToDOT4 DOT4CreateSocket: m_pszDevName: %s m_bSocketId %d",
                  DevName(), socket_id_);
    if (created < 0) {
      trace_->Print(TRACE_CLASS_ERROR,
                    "Dot4: ConnectToIO :DOT4CreateSocket() failed, Could not create a DOT4 socket");
      return created;
    }
  }
  if (channel_ != 0) {
    trace_->Print(TRACE_FLOW, "Dot4: ConnectToDOT4 :ConnectToDOT4 : DOT4 channel is already open.");
    return S_OK;
  }
  const IoResult hr = DOT4OpenChannel(socket_id_, &channel_);
  if (hr == S_OK) {
    trace_->Print(TRACE_FLOW,
                  "Dot4: ConnectToDOT4 :DOT4OpenChannel opened : SocketId %d hChannel %0x",
                  socket_id_, channel_);
    return S_OK;
  }
  trace_->Print(TRACE_CLASS_ERROR,
                "Dot4: ConnectToDOT4 :DOT4OpenChannel failed...attempting retries..");
  return hr == kNoAnswer ? hr : RetryOpenChannel();
}

IoResult MXVIO_DOT4MS::RetryOpenChannel() {
  IoResult hr = E_FAIL;
  for (int retry = 1; retry <= kChannelRetries; ++retry) {
    hr = DOT4OpenChannel(socket_id_, &channel_);
    if (hr == S_OK) {
      trace_->Print(TRACE_INFO,
                    "Dot4: ConnectToDOT4 :ConnectToDOT4 : DOT4 channel opened (with %d retry)",
                    retry);
      break;
    }
    if (hr == kNoAnswer) break;
    TheClock().Sleep(kChannelRetryPauseMs);
    trace_->Print(TRACE_CLASS_ERROR,
                  "Dot4: ConnectToDOT4 :DOT4OpenChannel() failed %d retry, could not open DOT4 "
                  "channel",
                  retry);
  }
  return hr;
}

IoResult MXVIO_DOT4MS::CloseDOT4Channel() {
  trace_->Print(TRACE_API, "CloseDOT4Channel : SocketId %d hChannel %0x", socket_id_, channel_);
  IoResult hr = S_OK;
  if (channel_ != 0) {
    hr = DOT4CloseChannel(channel_);
    channel_ = 0;
    trace_->Print(TRACE_INFO, "Dot4: CloseDOT4Channel: Channeled closed");
  } else {
    trace_->Print(TRACE_FLOW, "Dot4: CloseDOT4Channel: DO NOTHING : dot4 chanel not open");
  }
  if (socket_id_ != 0) {
    hr = DOT4DestroySocket(socket_id_);
    socket_id_ = 0;
    trace_->Print(TRACE_INFO, "Dot4: CloseDOT4Channel: Socket closed");
  } else {
    trace_->Print(TRACE_FLOW, "Dot4: CloseDOT4Channel: DO NOTHING : dot4 socket doesn't exist");
  }
  if (!file_.IsNull()) {
    file_.Close();
    trace_->Print(TRACE_INFO, "Dot4: CloseDOT4Channel: m_DeviceDefaultDataHandle closed");
  } else {
    trace_->Print(TRACE_FLOW, "Dot4: CloseDOT4Channel: DO NOTHING : Device handle doesn't exist");
  }
  return hr;
}

IoResult MXVIO_DOT4MS::CloseDOT4() {
  DeviceFile& file = file_;
  trace_->Print(TRACE_API, "Dot4 CWIAScannerDevice::EnterCloseDOT4");
  if (!file.IsNull()) {
    trace_->Print(TRACE_INFO, "Dot4: CloseDOT4: We have a m_DeviceDefaultDataHandle %x",
                  file.Number());
  }
  if (file.IsUsable()) {
    trace_->Print(TRACE_INFO, "Dot4:CloseDOT4: FlushBuf(m_DeviceDefaultDataHandle");
    trace_->Print(TRACE_INFO, "Dot4:CloseDOT4: CloseHandle(m_DeviceDefaultDataHandle %x",
                  file.Number());
    file.Close();
  } else {
    trace_->Print(TRACE_INFO,
                  "Dot4:CloseDOT4: DO NOTHING : no DeviceHandle (ret val from CreatFIleexists");
  }
  return S_OK;
}

IoResult MXVIO_DOT4MS::ReConnectToDOT4(int attempts) {
  trace_->Print(TRACE_API, "dot4::ReConnectToDOT4");
  IoResult hr = E_FAIL;
  while (hr != S_OK && hr != kNoAnswer && attempts > 0) {
    trace_->Print(TRACE_CLASS_ERROR, "Dot4 :ReConnectToDOT4: Total Retrys left = %d", attempts);
    --attempts;
    hr = CloseDOT4Channel();
    if (hr < 0) {
      trace_->Print(TRACE_FLOW, "DisConnectFromDOT4() failed...this may be ok..");
      continue;
    }
    CloseDOT4();
    hr = ConnectToDOT4();
    if (hr == S_OK) {
      trace_->Print(TRACE_FLOW, "Dot4: ReConnectToDOT4: Connection established to DOT4");
    } else {
      trace_->Print(TRACE_FLOW,
                    "Dot4: ReConnectToDOT4:Failed to connect to DOT4...may attempt a retry..");
    }
  }
  return hr;
}

}  // namespace scantk
