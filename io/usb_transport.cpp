#include "io/usb_transport.h"

#include <optional>

#include "io/traced_bytes.h"
#include "platform/system.h"

namespace scantk {
namespace {

constexpr uint32_t kWriteWaitMs = 30000;
constexpr uint32_t kLongWrite = 200;  // bytes; more than a command has
constexpr uint32_t kErrorInBuffers = TRACE_CLASS_ERROR | TRACE_BUFFERS;

}  // namespace

UsbTransport::~UsbTransport() {
  name_.reset();
  if (!file_.IsNull()) {
    file_.Close();
    trace_->Print(TRACE_INFO, "mxvusb::Destructor free m_DeviceDefaultDataHandle");
  }
  trace_->Print(TRACE_API, "mxvusb::Destructor");
  trace_.reset();
}

IoResult UsbTransport::OpenIO(const char* name) {
  if (!name_) {
    if (const IoResult hr = TakeName(name); hr != S_OK) return hr;
    trace_->Print(TRACE_INFO, "OpenIO: DeviceName %s", DevName());
  }
  return OpenUSB();
}

IoResult UsbTransport::OpenUSB() {
  if (file_.IsUsable()) {
    trace_->Print(TRACE_CLASS_ERROR, "ERROR: OpenUSB IO m_DeviceDefaultDataHandle != NULL");
    return S_OK;
  }
  if (!name_) {
    trace_->Print(TRACE_CLASS_ERROR, "ERROR: OpenUSB NULL == m_pszDevName");
    return E_FAIL;
  }
  if (!file_.Open(DevName())) {
    const IoResult hr = error::ToResult(LastError());
    trace_->Print(TRACE_CLASS_ERROR,
                  file_.IsNull() ? "ERROR: CreateFile failed NULL hr %d $%x"
                                 : "ERROR: CreateFile failed INVALID_HANDLE_VALUE %d %x",
                  hr, hr);
    return hr;
  }
  trace_->Print(TRACE_INFO, "CreateFile suceeded");
  return S_OK;
}

IoResult UsbTransport::ConnectToIO() {
  return S_OK;
}

IoResult UsbTransport::DisConnectFromIO() {
  return S_OK;
}

IoResult UsbTransport::CloseIO() {
  if (file_.IsUsable()) file_.Close();
  name_.reset();
  return S_OK;
}

IoResult UsbTransport::ReadData(void* buffer, uint32_t* length, Overlapped* overlapped) {
  if (!file_.IsUsable()) {
    trace_->Print(TRACE_CLASS_ERROR, "ERROR: STI: Invalid or null devicedefaultDataHandle");
    return E_FAIL;
  }
  std::optional<Overlapped> own;
  if (!overlapped) overlapped = &own.emplace();
  overlapped->limit = timeouts_.read;
  uint32_t got = 0;
  IoResult hr = S_OK;
  if (!file_.Read(buffer, *length, &got, overlapped))
    hr = WaitForIO(overlapped, timeouts_.read, &got);
  if (hr == kIoTimeout) {
    trace_->Print(TRACE_CLASS_ERROR,
                  "ReadData Rec : err timeout hit  m_ulReadTimeout %d  dwBytesRead %d",
                  timeouts_.read, got);
  } else if (hr != S_OK) {
    trace_->Print(kErrorInBuffers,
                  "ReadData Rec : error no timeout hit  m_ulReadTimeout %d  dwBytesRead %d",
                  timeouts_.read, got);
  }
  TraceRead(hr, buffer, *length, got);
  *length = got;
  return hr;
}

void UsbTransport::TraceRead(IoResult hr, const void* buffer, uint32_t wanted, uint32_t got) {
  const TracedBytes bytes(buffer, got);
  if (hr == S_OK) {
    trace_->Print(got > 0 ? TRACE_BUFFERS : TRACE_INFO,
                  "IOUSB: ReadRawData Wanted %d, Got %d, Buf: %hs", wanted, got, bytes.Text());
  } else if (hr == kIoTimeout) {
    trace_->Print(TRACE_CLASS_ERROR,
                  "ERROR: STI: WAIT_TIMEOUT: ReadRawData Asked %d, Got %d, Buf: %hs hr %x", wanted,
                  got, bytes.Text(), hr);
  } else {
    trace_->Print(TRACE_CLASS_ERROR,
                  "ERROR: STI: Problem: ReadRawData Asked %d, Got %d, Buf: %hs hr %x", wanted, got,
                  bytes.Text(), hr);
  }
}

IoResult UsbTransport::WriteData(const void* buffer, uint32_t length, uint32_t* written,
                                 Overlapped* overlapped) {
  const TracedBytes bytes(buffer, length);
  if (length > kLongWrite) {
    trace_->Print(TRACE_FLOW, "lpBuffer = %x, dwNumberOfBytes = %d Buf: %hs", TracedAddress(buffer),
                  length, bytes.BehindEscape());
  }
  trace_->Print(TRACE_CACHE,
                "WriteData m_DeviceDefaultDataHandle %x lpBuffer = %x, dwNumberOfBytes = %d Buf: "
                "%hs",
                file_.Number(), TracedAddress(buffer), length, bytes.BehindEscape());
  *written = 0;
  if (file_.IsInvalid()) {
    trace_->Print(TRACE_CLASS_ERROR, "ERROR: USB WriteData : m_DeviceDefaultDataHandle ");
    return E_FAIL;
  }
  file_.Flush();
  std::optional<Overlapped> own;
  if (!overlapped) {
    overlapped = &own.emplace();
    trace_->Print(TRACE_CACHE, "WriteData Rec : overlapp created: dwNumberOfBytes %d", length);
  }
  overlapped->limit = kWriteWaitMs;
  IoResult hr = S_OK;
  if (!file_.Write(buffer, length, written, overlapped))
    hr = WaitForIO(overlapped, kWriteWaitMs, written);
  TraceWrite(hr, bytes.Text(), length, *written);
  return hr;
}

void UsbTransport::TraceWrite(IoResult hr, const char* text, uint32_t length, uint32_t written) {
  if (hr == S_OK) {
    trace_->Print(TRACE_BUFFERS, "STI: USB WriteData Asked %d, Sent %d, Buf: %hs", length, written,
                  text);
  } else if (hr == kIoTimeout) {
    trace_->Print(TRACE_CLASS_ERROR,
                  "ERROR: USB: WriteData : WAIT_TIMEOUT:  Asked %d, Sent %d, Buf: %hs hr %x",
                  length, written, text, hr);
  } else {
    trace_->Print(TRACE_CLASS_ERROR,
                  "ERROR: USB WriteData : Problem:  Asked %d, Sent %d, Buf: %hs hr %x", length,
                  written, text, hr);
  }
}

IoResult UsbTransport::Escape(uint32_t function, void* buffer, uint32_t length, void* output,
                              uint32_t output_length, uint32_t* returned) {
  if (file_.IsInvalid()) return E_FAIL;
  if (function == GET_TIMEOUTS) return GetTimeouts(buffer, length);
  if (function == SET_TIMEOUTS) return SetTimeouts(buffer, length);
  const DeviceRequest request = {function, buffer,       length, DeviceRequest::Data::kFilled,
                                 output,   output_length};
  return file_.Control(request, returned, nullptr) ? S_OK : error::ToResult(LastError());
}

}  // namespace scantk
