#include "io/file_transport.h"

#include "platform/system.h"

namespace scantk {
namespace {

constexpr IoTimeouts kFileTimeouts = {30000, 30000, 500};

}  // namespace

FileTransport::FileTransport() : Transport(kFileTimeouts) {}

FileTransport::~FileTransport() {
  if (file_.IsNull()) return;
  if (trace_) {
    trace_->Print(TRACE_FLOW,
                  "MXVWIA_STI::STI: ~CWIAScannerDevice Close m_DeviceDefaultDataHandle %x",
                  file_.Number());
  }
  file_.Close();
}

IoResult FileTransport::TakeName(const char* name) {
  if (name_) return S_OK;
  if (!name) return E_INVALIDARG;
  return KeepName(name) ? S_OK : E_OUTOFMEMORY;
}

IoResult FileTransport::WaitForIO(Overlapped* record, uint32_t timeout, uint32_t* count) {
  const uint32_t failure = LastError();
  if (failure == error::kTimeout) return kIoTimeout;
  if (failure != error::kIoPending) return error::ToResult(failure);
  if (file_.Wait(record, timeout) == WaitResult::kTimeout) {
    file_.Cancel(record);
    DeviceFile::ResetEvent(record);
    *count = 0;
    return kIoTimeout;
  }
  const IoResult hr = file_.Result(record, count, false) ? S_OK : error::ToResult(LastError());
  DeviceFile::ResetEvent(record);
  return hr;
}

}  // namespace scantk
