// The requests that the DOT4 stack is sent.
#include <algorithm>
#include <cstring>

#include "io/dot4_stack_transport.h"
#include "platform/system.h"

namespace scantk {
namespace {

using Data = DeviceRequest::Data;

constexpr uint32_t kRequestWaitMs = 30000;
// A stack that loses each write's connection and makes it again would go on for ever.
constexpr int kWriteAttempts = 10;
constexpr int kReconnectAttempts = 2;

// The error number behind a result code.
uint32_t ErrorNumber(IoResult hr) {
  return static_cast<uint32_t>(hr) & 0xFFFF;
}

bool ConnectionLost(IoResult hr) {
  return hr == error::ToResult(error::kInvalidHandle) ||
         hr == error::ToResult(error::kGenFailure) ||
         hr == error::ToResult(error::kInvalidHandleState);
}

dot4::CreateRecord MakeCreateRecord(uint8_t bPsid, const char* service, uint8_t type,
                                    uint32_t buffer_size, uint16_t h2p, uint16_t p2h) {
  dot4::CreateRecord record = {};
  record.bPsid = bPsid;
  if (service) {
    std::memcpy(record.service, service,
                std::min(std::strlen(service), dot4::kServiceNameSize - 1));
  }
  record.type = type;
  record.BuffSz = buffer_size;
  record.H2P = h2p;
  record.P2H = p2h;
  return record;
}

}  // namespace

IoResult Dot4StackTransport::OpeningResult(uint32_t code, uint32_t failure) {
  if (failure == error::kSuccess) return S_OK;
  if (failure != error::kTimeout) return E_FAIL;
  TraceSilence(code);
  return kNoAnswer;
}

bool Dot4StackTransport::Issue(uint32_t code, const dot4::RequestHeader& header, Data direction,
                               void* data, uint32_t size, uint32_t* moved) {
  const DeviceRequest request = {code, &header, sizeof header, direction,
                                 data, size,    kRequestWaitMs};
  return file_.Control(request, moved, &overlapped_);
}

IoResult Dot4StackTransport::IssueAndWait(uint32_t code, const dot4::RequestHeader& header,
                                          Data direction, void* data, uint32_t size,
                                          uint32_t* moved) {
  if (Issue(code, header, direction, data, size, moved)) return S_OK;
  const IoResult hr = WaitForIO(&overlapped_, kRequestWaitMs, moved);
  if (hr != kIoTimeout && hr != kNoAnswer) return hr;
  TraceSilence(code);
  return kIoTimeout;
}

void Dot4StackTransport::TraceSilence(uint32_t code) {
  trace_->Print(TRACE_CLASS_ERROR, "mxvdot4: no answer to request %x for %d ms", code,
                kRequestWaitMs);
}

IoResult Dot4StackTransport::DOT4CreateSocket(uint8_t bPsid, const char* service, uint8_t type,
                                              uint32_t buffer_size, uint16_t h2p, uint16_t p2h,
                                              uint8_t* socket_id) {
  trace_->Print(TRACE_API, "mxvdot4: DOT4CreateSocket ");
  if (!file_.IsUsable()) {
    trace_->Print(TRACE_CLASS_ERROR, "DOT4CreateSocket: Invalid Default Device Data handle");
    return kNoFile;
  }
  const dot4::RequestHeader header = {0, sizeof(dot4::CreateRecord), 0, dot4::kNoTimeLimit};
  dot4::CreateRecord record = MakeCreateRecord(bPsid, service, type, buffer_size, h2p, p2h);
  if (!service) trace_->Print(TRACE_FLOW, "DOT4CreateSocket: Service Name NULL");
  TraceCreate(record);
  uint32_t returned = 0;
  const bool done =
      Issue(dot4::kCreateSocket, header, Data::kSentAndFilled, &record, sizeof record, &returned);
  uint32_t failure = done ? error::kSuccess : LastError();
  trace_->Print(TRACE_FLOW,
                "DOT4CreateSocket DeviceIoControl Results: fResult=%d Err %d bPsid %d type %d "
                "BuffSz=%d H2P=%d  P2H=%d",
                done, failure, record.bPsid, record.type, record.BuffSz, record.H2P, record.P2H);
  if (failure == error::kIoPending) {
    trace_->Print(TRACE_FLOW, "DOT4CreateSocket fResult  ERROR_IO_PENDING");
    failure = ErrorNumber(WaitForIO(&overlapped_, kRequestWaitMs, &returned));
    trace_->Print(TRACE_API, "DOT4CreateSocket: GetOverlappedResult fResult %ddwErr %d ",
                  failure == 0, failure);
  }
  if (failure == error::kSuccess) {
    *socket_id = record.bHsid;
  } else {
    trace_->Print(TRACE_INFO, "DOT4CreateSocket Failed to create DOT4 socket, GetLastError() = %d",
                  failure);
  }
  trace_->Print(TRACE_API, "DOT4CreateSocket: Return fResult %d ", failure == 0);
  return OpeningResult(dot4::kCreateSocket, failure);
}

void Dot4StackTransport::TraceCreate(const dot4::CreateRecord& record) {
  trace_->Print(TRACE_FLOW,
                "DOT4CreateSocket DevIoControl  bPsid %d type %d BuffSz=%ld H2P=%d  P2H=%d Hsid %d",
                record.bPsid, record.type, record.BuffSz, record.H2P, record.P2H, record.bHsid);
  trace_->Print(TRACE_FLOW,
                "DOT4CreateSocket: DevIoControl  bPsid %d type %d BuffSz=%ld H2P=%d  P2H=%d name "
                "%d Hsid %d",
                sizeof record.bPsid, sizeof record.type, sizeof record.BuffSz, sizeof record.H2P,
                sizeof record.P2H, sizeof record.service, sizeof record.bHsid);
}

IoResult Dot4StackTransport::DOT4OpenChannel(uint8_t socket_id, uint32_t* channel) {
  trace_->Print(TRACE_API, "mxvdot4::DOT4OpenChannel");
  const dot4::RequestHeader header = {0, dot4::kOpenReplySize, 0, dot4::kNoTimeLimit};
  dot4::OpenRecord record = {};
  record.bHsid = socket_id;
  uint32_t returned = 0;
  const bool done =
      Issue(dot4::kOpenChannel, header, Data::kSentAndFilled, &record, sizeof record, &returned);
  uint32_t failure = done ? error::kSuccess : LastError();
  trace_->Print(TRACE_FLOW,
                "DOT4OpenChannel  DeviceIoControl Results: fResult=%d dwErr=%d dot4Open.bHsid %d",
                done, failure, record.bHsid);
  if (failure == error::kIoPending)
    failure = ErrorNumber(WaitForIO(&overlapped_, kRequestWaitMs, &returned));
  if (failure == error::kSuccess) {
    *channel = record.channel;
  } else {
    trace_->Print(TRACE_INFO, "DOT4OpenChannel  ailed to open DOT4 Channel, Last Error = %d",
                  failure);
  }
  return OpeningResult(dot4::kOpenChannel, failure);
}

IoResult Dot4StackTransport::DOT4DestroySocket(uint8_t socket_id) {
  trace_->Print(TRACE_API, "mxvdot4::DOT4DestroySocket");
  if (!file_.IsUsable()) {
    trace_->Print(TRACE_INFO, "DOT4DestroySocket Invalid Default Device Data handle");
    return kNoFile;
  }
  const dot4::RequestHeader header = {0, sizeof socket_id, 0, dot4::kNoTimeLimit};
  uint32_t moved = 0;
  const IoResult hr =
      IssueAndWait(dot4::kDestroySocket, header, Data::kSent, &socket_id, sizeof socket_id, &moved);
  if (hr < 0) {
    trace_->Print(TRACE_INFO, "DOT4DestroySocket Failed to destroy DOT4 socket, hr %d bHsid %d", hr,
                  socket_id);
  }
  return hr;
}

IoResult Dot4StackTransport::DOT4CloseChannel(uint32_t channel) {
  trace_->Print(TRACE_API, "mxvdot4::DOT4CloseChannel");
  const dot4::RequestHeader header = {channel, 0, 0, dot4::kNoTimeLimit};
  uint32_t moved = 0;
  return IssueAndWait(dot4::kCloseChannel, header, Data::kNone, nullptr, 0, &moved) == S_OK
             ? S_OK
             : E_FAIL;
}

IoResult Dot4StackTransport::DOT4Read(uint32_t channel, void* buffer, uint32_t wanted,
                                      uint32_t* got, uint32_t timeout) {
  trace_->Print(TRACE_FLOW, "mxvdot4::DOT4Read ulBytesToRead %d ", wanted);
  *got = 0;
  if (!file_.IsUsable()) {
    trace_->Print(TRACE_CLASS_ERROR, "DOT4Read : Invalid Default Device Data handle");
    return kNoFile;
  }
  const dot4::RequestHeader header = {channel, wanted, 0, timeout};
  const IoResult hr = IssueAndWait(dot4::kRead, header, Data::kFilled, buffer, wanted, got);
  if (hr < 0) {
    trace_->Print(TRACE_INFO,
                  "DOT4Read  Abnormal error code returned from GetOverlappedResult(), hr = %ld",
                  hr);
  } else {
    trace_->Print(TRACE_API, "mxvdot4::DOT4Read BytesToRead %d Read %d", wanted, *got);
  }
  return hr == S_OK ? S_OK : E_FAIL;
}

IoResult Dot4StackTransport::DOT4Write(uint32_t channel, const void* data, uint32_t length,
                                       uint32_t* written, uint32_t timeout) {
  trace_->Print(TRACE_FLOW, "mxvdot4::DOT4Write BytesToWrite %ld", length);
  trace_->Print(TRACE_FLOW, "DOT4Write : DefaultDeviceData Handle = %x", file_.Number());
  *written = 0;
  if (!file_.IsUsable()) {
    trace_->Print(TRACE_CLASS_ERROR, "DOT4Write : Invalid Default Device Data handle");
    return kNoFile;
  }
  dot4::RequestHeader header = {channel, length, 0, timeout};
  for (int attempt = 1; attempt <= kWriteAttempts; ++attempt) {
    const IoResult hr =
        IssueAndWait(dot4::kWrite, header, Data::kSent, const_cast<void*>(data), length, written);
    if (hr >= 0) {
      trace_->Print(TRACE_API, "mxvdot4::DOT4Write BytesToWrite %ld bytes written %ld", length,
                    *written);
      return hr == S_OK ? S_OK : E_FAIL;
    }
    trace_->Print(TRACE_INFO, "DOT4Write Abnormal error code, hr %d", hr);
    if (!ConnectionLost(hr)) break;
    trace_->Print(TRACE_INFO, "DOT4Write  Connection lost...Retrying DOT4 Connection");
    if (ReConnectToDOT4(kReconnectAttempts) != S_OK) break;
    header.channel = channel_;  // the stack gave out a new one
  }
  *written = 0;
  return E_FAIL;
}

}  // namespace scantk
