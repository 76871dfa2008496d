// ICompression: the host's choice is kept in the session; the parameter download acts on it.
#include "scanner/capability_copy.h"
#include "scanner/method.h"
#include "scanner/scanner_object.h"

namespace scantk {
namespace {

constexpr uint32_t kOptionAcceptedUnused = 2;

}  // namespace

HRESULT STDMETHODCALLTYPE ScannerObject::GetCompressionCapabilities(
    uint32_t hSession, COMPRESSION_CAPABILITIES* pCompressionCapabilities, uint32_t* pdwErrorCode) {
  return CopyCapabilities<COMPRESSION_CAPABILITIES>(
      "scantk::GetCompressionCapabilities", kNoCategory, hSession, pCompressionCapabilities,
      pdwErrorCode, &SessionState::compression, nullptr);
}

HRESULT STDMETHODCALLTYPE ScannerObject::SetCompressionType(uint32_t hSession, uint32_t dwType,
                                                            uint32_t* pdwErrorCode) {
  return Method("scantk::SetCompressionType", kNoCategory, hSession, pdwErrorCode)
      .Run([&](SessionEntry& entry) -> HRESULT {
        SessionState& state = entry.state;
        if (dwType == T_COMPRESSION_NONE) state.jpeg_enabled = 0;
        if (dwType == T_COMPRESSION_JPEG) state.jpeg_enabled = 1;
        trace_.Print("SetCompressionType: Model %ld:  m_bEnableJPEG %d", state.model,
                     state.jpeg_enabled);
        return S_OK;
      });
}

HRESULT STDMETHODCALLTYPE ScannerObject::SetCompressionLongevity(uint32_t hSession, uint32_t,
                                                                 uint32_t* pdwErrorCode) {
  return Method("scantk::SetCompressionLongevity", kNoCategory, hSession, pdwErrorCode)
      .Run(NothingToDo);
}

HRESULT STDMETHODCALLTYPE ScannerObject::SetCompressionOption(uint32_t hSession,
                                                              uint32_t dwCompOption,
                                                              uint32_t dwValue,
                                                              uint32_t* pdwErrorCode) {
  return Method("scantk::SetCompressionOption", kNoCategory, hSession, pdwErrorCode)
      .Run([&](SessionEntry& entry) -> HRESULT {
        SessionState& state = entry.state;
        const COMPRESSION_CAPABILITIES& caps = state.compression;
        if (caps.dwCompressionOptions == 0) return S_OK;
        if ((dwCompOption & caps.dwCompressionOptions) == 0)
          return Fail(pdwErrorCode, TERR_INVALID_PARAMETER);
        if (dwCompOption == T_COMPRESSION_OPTION_JPEG_LEVEL) {
          if (dwValue < caps.dwJPEGLevelMinimum || dwValue > caps.dwJPEGLevelMaximum)
            return Fail(pdwErrorCode, TERR_INVALID_PARAMETER);
          state.jpeg_level = dwValue;
        } else if (dwCompOption != kOptionAcceptedUnused) {
          return Fail(pdwErrorCode, TERR_INVALID_PARAMETER);
        }
        trace_.Print("SetCompressionOption: Model %ld:  m_JPEGCompressionLevel %d", state.model,
                     state.jpeg_level);
        return S_OK;
      });
}

}  // namespace scantk
