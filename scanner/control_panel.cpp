// IControlPanel: every request is gated by what the panel record offers.
#include "scanner/capability_copy.h"
#include "scanner/method.h"
#include "scanner/scanner_object.h"

namespace scantk {

HRESULT STDMETHODCALLTYPE ScannerObject::GetControlPanelCapabilities(
    uint32_t hSession, CONTROL_PANEL_CAPABILITIES* pCapabilities, uint32_t* pdwErrorCode) {
  return CopyCapabilities<CONTROL_PANEL_CAPABILITIES>("scantk::GetControlPanelCapabilities",
                                                      TRACE_API, hSession, pCapabilities,
                                                      pdwErrorCode, &SessionState::panel, nullptr);
}

HRESULT STDMETHODCALLTYPE ScannerObject::GetControlPanelValue(uint32_t hSession,
                                                              uint32_t dwVariable,
                                                              uint32_t* pdwValue,
                                                              uint32_t* pdwErrorCode) {
  return Method("scantk::GetControlPanelValue", TRACE_API, hSession, pdwErrorCode)
      .Requires({pdwValue})
      .Run([&](SessionEntry& entry) -> HRESULT {
        SessionState& state = entry.state;
        if ((dwVariable & state.panel.dwSupportedValues) == 0) {
          trace_.Print(
              "GetControlPanelValue ControlPanelCaps.dwSupportedValues) == 0 dwVariable %d",
              dwVariable);
          return Fail(pdwErrorCode, TERR_INVALID_PARAMETER);
        }
        if (dwVariable == T_CONTROL_PANEL_ZERO) {
          *pdwValue = 0;
        } else if (dwVariable == T_CONTROL_PANEL_SCANTO) {
          int32_t value = 0;
          const QrlStatus status =
              state.engine->exchange.InquireNumber(SL_SCANTO_SETTINGS, kCurrent, &value);
          if (status == SL_NULLRESPONSE) {
            value = kDefaultDestinations;
            trace_.Print("SL_SCANTO_SETTINGS NullResponse, %d, default to 2", status);
          } else if (status != SL_OK) {
            trace_.Print("ERROR: InquireNumber SL_SCANTO_SETTINGS Failed, QRL Error Code = %d",
                         status);
            return Fail(pdwErrorCode, TERR_SCANNER_COMMUNICATION_FAILED);
          }
          *pdwValue = static_cast<uint32_t>(value);
        } else {
          return Fail(pdwErrorCode, TERR_INVALID_PARAMETER);
        }
        trace_.Print(TRACE_PANEL, "Control Panel: Variable %d set to %d", dwVariable, *pdwValue);
        return S_OK;
      });
}

HRESULT STDMETHODCALLTYPE ScannerObject::SetControlPanelValue(uint32_t hSession,
                                                              uint32_t dwVariable, uint32_t,
                                                              uint32_t* pdwErrorCode) {
  return Method("scantk::SetControlPanelValue", TRACE_API, hSession, pdwErrorCode)
      .Run([&](SessionEntry& entry) -> HRESULT {
        if ((dwVariable & entry.state.panel.dwSupportedValues) == 0)
          trace_.Print(
              "SetControlPanelValue ControlPanelCaps.dwSupportedValues) == 0 dwVariable %d",
              dwVariable);
        return Fail(pdwErrorCode, TERR_INVALID_PARAMETER);
      });
}

HRESULT STDMETHODCALLTYPE ScannerObject::SetCodePage(uint32_t hSession, uint32_t dwValue,
                                                     uint32_t* pdwErrorCode) {
  return Method("scantk::SetCodePage", TRACE_API, hSession, pdwErrorCode)
      .KeepingErrorCode()
      .Run([&](SessionEntry&) -> HRESULT {
        return dwValue == T_CODE_PAGE ? S_OK : Fail(pdwErrorCode, TERR_INVALID_PARAMETER);
      });
}

HRESULT STDMETHODCALLTYPE ScannerObject::GetControlPanelString(uint32_t hSession,
                                                               uint32_t dwVariable,
                                                               WideChar** ppszString,
                                                               uint32_t* pdwBytes,
                                                               uint32_t* pdwErrorCode) {
  return Method("scantk::GetControlPanelString", TRACE_API, hSession, pdwErrorCode)
      .Requires({ppszString, pdwBytes})
      .Run([&](SessionEntry& entry) -> HRESULT {
        if ((dwVariable & entry.state.panel.dwSupportedStrings) == 0) {
          trace_.Print(
              "GetControlPanelString ControlPanelCaps.dwSupportedStrings) == 0 dwVariable %d",
              dwVariable);
          return Fail(pdwErrorCode, TERR_INVALID_PARAMETER);
        }
        if (dwVariable != T_CONTROL_PANEL_STRING_LCD1) {
          trace_.Print("GetControlPanelString T_CONTROL_PANEL_STRING_LCD1 !=  dwVariable %d",
                       dwVariable);
          return Fail(pdwErrorCode, TERR_INVALID_PARAMETER);
        }
        return E_FAIL;  // no panel text is read from the device
      });
}

HRESULT STDMETHODCALLTYPE ScannerObject::SetControlPanelString(uint32_t hSession,
                                                               uint32_t dwVariable,
                                                               const WideChar* pszString, uint32_t,
                                                               uint32_t* pdwErrorCode) {
  return Method("scantk::SetControlPanelString", TRACE_API, hSession, pdwErrorCode)
      .Requires({pszString})
      .Run([&](SessionEntry& entry) -> HRESULT {
        const CONTROL_PANEL_CAPABILITIES& panel = entry.state.panel;
        if ((dwVariable & panel.dwSupportedStrings) == 0) {
          trace_.Print(
              "SetControlPanelString ControlPanelCaps.dwSupportedStrings) == 0 dwVariable %d",
              dwVariable);
          return Fail(pdwErrorCode, TERR_INVALID_PARAMETER);
        }
        if (dwVariable != T_CONTROL_PANEL_STRING_LCD1) {
          trace_.Print("SetControlPanelString T_CONTROL_PANEL_STRING_LCD1 !=  dwVariable %d",
                       dwVariable);
          return Fail(pdwErrorCode, TERR_INVALID_PARAMETER);
        }
        return E_FAIL;  // no device takes a text
      });
}

HRESULT STDMETHODCALLTYPE ScannerObject::SetControlPanelDestinationString(uint32_t hSession,
                                                                          uint32_t dwIndex,
                                                                          const WideChar* pszString,
                                                                          uint32_t* pdwErrorCode) {
  return Method("scantk::SetControlPanelDestinationString", TRACE_API, hSession, pdwErrorCode)
      .Requires({pszString})
      .Run([&](SessionEntry& entry) -> HRESULT {
        const CONTROL_PANEL_CAPABILITIES& panel = entry.state.panel;
        if ((panel.dwSupportedValues & T_CONTROL_PANEL_SCANTO) == 0) {
          trace_.Print("SetControlPanelDestinationString not supported dwIndex %d pszString%ws",
                       dwIndex, pszString);
          return Fail(pdwErrorCode, TERR_INVALID_PARAMETER);
        }
        const uint16_t entry_length = panel.dwMaxDestinationListEntryLength;
        if (dwIndex >= panel.dwDestinationListEntries || entry_length == 0)
          return Fail(pdwErrorCode, TERR_INVALID_PARAMETER);
        return E_FAIL;  // no destination is sent to the device
      });
}

}  // namespace scantk
