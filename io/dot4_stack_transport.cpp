// The operations of the DOT4 transport.
#include "io/dot4_stack_transport.h"

#include "io/traced_bytes.h"

namespace scantk {
namespace {

constexpr int kOpenAttempts = 5;
constexpr int kReconnectAttempts = 2;
constexpr int kReadPasses = 10;
constexpr int kServiceNameTraced = 9;

}  // namespace

Dot4StackTransport::Dot4StackTransport() {
  trace_->Print(TRACE_INFO, "mxvdot4: MXVIO_DOT4MS constructor");
  trace_->Print(TRACE_INFO,
                "mxvdot4: sizeof(DOT4_SERVICE_NAME) / sizeof(TCHAR) %d, sizeof(DOT4_SERVICE_NAME) "
                "%d",
                kServiceNameTraced, kServiceNameTraced);
}

Dot4StackTransport::~Dot4StackTransport() {
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

IoResult Dot4StackTransport::OpenIO(const char* name) {
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

IoResult Dot4StackTransport::ConnectToIO() {
  trace_->Print(TRACE_API, "mxvdot4: ConnectToIO ");
  if (name_ && file_.IsInvalid() && OpenDOT4() != S_OK) return E_FAIL;
  const IoResult hr = ConnectToDOT4();
  if (hr >= 0 || hr == kNoAnswer) return hr;
  trace_->Print(TRACE_INFO, " ConnectToIO: failed - try to reconnect");
  if (ReConnectToDOT4(kReconnectAttempts) == S_OK) return S_OK;
  trace_->Print(TRACE_CLASS_ERROR, " DOT4: ConnectToIO: Reconnection to DOT4 failed,");
  return E_FAIL;
}

IoResult Dot4StackTransport::DisConnectFromIO() {
  trace_->Print(TRACE_API, "mxvdot4: DisConnectFromIO ");
  return CloseDOT4Channel();
}

IoResult Dot4StackTransport::CloseIO() {
  trace_->Print(TRACE_API, "mxvdot4: CloseIO ");
  const IoResult hr = CloseDOT4();
  name_.reset();
  return hr;
}

IoResult Dot4StackTransport::ReadData(void* buffer, uint32_t* length, Overlapped*) {
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

IoResult Dot4StackTransport::ReadUntilSomethingComes(void* buffer, uint32_t wanted, uint32_t* got) {
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

IoResult Dot4StackTransport::WriteData(const void* buffer, uint32_t length, uint32_t* written,
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

}  // namespace scantk
