#include "io/dot4_silent_transport.h"

namespace scantk {
namespace {

constexpr int kReopenAttempts = 2;

}  // namespace

Dot4SilentTransport::~Dot4SilentTransport() {
  name_.reset();
  ForgetConnection();
  file_.Close();
}

void Dot4SilentTransport::ForgetConnection() {
  channel_ = 0;
  socket_id_ = 0;
}

IoResult Dot4SilentTransport::OpenIO(const char* name) {
  const IoResult hr = TakeName(name);
  if (hr != S_OK || file_.IsUsable()) return hr;
  return error::ToResult(OpenFile());
}

IoResult Dot4SilentTransport::ConnectToIO() {
  if (name_ && file_.IsInvalid() && OpenFile() != 0) return E_FAIL;
  if (!file_.IsUsable() && OpenFile() != 0) return E_FAIL;
  return S_OK;
}

IoResult Dot4SilentTransport::RecoverFile() {
  for (int i = 0; i < kReopenAttempts && file_.IsInvalid(); ++i) {
    ForgetConnection();
    OpenFile();
  }
  return file_.IsInvalid() ? E_FAIL : S_OK;
}

IoResult Dot4SilentTransport::ReadData(void*, uint32_t* length, Overlapped*) {
  const uint32_t wanted = *length;
  *length = 0;
  IoResult hr = RecoverFile();
  if (hr == S_OK && channel_ == 0) hr = OpenIO(nullptr);
  if (hr != S_OK) return hr;
  return wanted < 2 ? S_OK : error::ToResult(error::kTimeout);
}

IoResult Dot4SilentTransport::WriteData(const void*, uint32_t, uint32_t* written, Overlapped*) {
  *written = 0;
  const IoResult hr = RecoverFile();
  if (hr != S_OK) return hr;
  file_.Flush();
  return channel_ == 0 ? OpenIO(nullptr) : S_OK;
}

IoResult Dot4SilentTransport::DisConnectFromIO() {
  ForgetConnection();
  file_.Close();
  return S_OK;
}

IoResult Dot4SilentTransport::CloseIO() {
  if (file_.IsUsable()) file_.Close();
  name_.reset();
  return S_OK;
}

}  // namespace scantk
