#include "io/mxvio_dot4ov.h"

namespace scantk {
namespace {

constexpr int kReopenAttempts = 2;

}  // namespace

MXVIO_DOT4OV::~MXVIO_DOT4OV() {
  m_pszDevName.reset();
  ForgetConnection();
  m_DeviceDefaultDataHandle.Close();
}

void MXVIO_DOT4OV::ForgetConnection() {
  m_hChannel = 0;
  m_bSocketId = 0;
}

IoResult MXVIO_DOT4OV::OpenIO(const char* name) {
  const IoResult hr = TakeName(name);
  if (hr != S_OK || m_DeviceDefaultDataHandle.IsUsable()) return hr;
  return error::ToResult(OpenFile());
}

IoResult MXVIO_DOT4OV::ConnectToIO() {
  if (m_pszDevName && m_DeviceDefaultDataHandle.IsInvalid() && OpenFile() != 0) return E_FAIL;
  if (!m_DeviceDefaultDataHandle.IsUsable() && OpenFile() != 0) return E_FAIL;
  return S_OK;
}

IoResult MXVIO_DOT4OV::RecoverFile() {
  for (int i = 0; i < kReopenAttempts && m_DeviceDefaultDataHandle.IsInvalid(); ++i) {
    ForgetConnection();
    OpenFile();
  }
  return m_DeviceDefaultDataHandle.IsInvalid() ? E_FAIL : S_OK;
}

IoResult MXVIO_DOT4OV::ReadData(void*, uint32_t* length, Overlapped*) {
  const uint32_t wanted = *length;
  *length = 0;
  IoResult hr = RecoverFile();
  if (hr == S_OK && m_hChannel == 0) hr = OpenIO(nullptr);
  if (hr != S_OK) return hr;
  return wanted < 2 ? S_OK : error::ToResult(error::kTimeout);
}

IoResult MXVIO_DOT4OV::WriteData(const void*, uint32_t, uint32_t* written, Overlapped*) {
  *written = 0;
  const IoResult hr = RecoverFile();
  if (hr != S_OK) return hr;
  m_DeviceDefaultDataHandle.Flush();
  return m_hChannel == 0 ? OpenIO(nullptr) : S_OK;
}

IoResult MXVIO_DOT4OV::DisConnectFromIO() {
  ForgetConnection();
  m_DeviceDefaultDataHandle.Close();
  return S_OK;
}

IoResult MXVIO_DOT4OV::CloseIO() {
  if (m_DeviceDefaultDataHandle.IsUsable()) m_DeviceDefaultDataHandle.Close();
  m_pszDevName.reset();
  return S_OK;
}

}  // namespace scantk
