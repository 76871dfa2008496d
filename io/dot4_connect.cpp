// How the DOT4 transport gets its connection, loses it and makes it again.
#include "io/dot4_stack_transport.h"
#include "platform/clock.h"

namespace scantk {
namespace {

constexpr uint8_t kScanSocket = 4;  // the peripheral's
constexpr uint16_t kLargestToPeripheral = 250;
constexpr uint16_t kLargestToHost = 32000;
constexpr int kChannelRetries = 5;
constexpr uint32_t kChannelRetryPauseMs = 10000;

}  // namespace

IoResult Dot4StackTransport::OpenDOT4() {
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

IoResult Dot4StackTransport::ConnectToDOT4() {
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

IoResult Dot4StackTransport::OpenSocketAndChannel() {
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

IoResult Dot4StackTransport::RetryOpenChannel() {
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

IoResult Dot4StackTransport::CloseDOT4Channel() {
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

IoResult Dot4StackTransport::CloseDOT4() {
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

IoResult Dot4StackTransport::ReConnectToDOT4(int attempts) {
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
