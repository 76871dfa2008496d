// IHWProperty: a few named properties, as a number or as text.
#include <algorithm>
#include <string>

#include "features/capability_learner.h"
#include "platform/component.h"
#include "platform/system.h"
#include "scanner/method.h"
#include "scanner/scanner_object.h"

namespace scantk {
namespace {

// The sensor codes of "CCD Type", by the device's answer; any other answer is the first.
constexpr char kSensorCodes[] = {'t', 't', 'n', 's', 'l', 'c'};

char SensorCode(int32_t vendor) {
  const bool known = vendor > 0 && vendor < static_cast<int32_t>(sizeof kSensorCodes);
  return kSensorCodes[known ? vendor : 0];
}

// Tags are compared exactly; no tag holds more than these characters.
bool TagIs(const WideChar* tag, const char* name) {
  for (; *name; ++tag, ++name)
    if (*tag != static_cast<WideChar>(*name)) return false;
  return *tag == 0;
}

}  // namespace

HRESULT STDMETHODCALLTYPE ScannerObject::GetHWPropValue(uint32_t hSession,
                                                        const WideChar* pszTagString,
                                                        uint32_t* pdwValue,
                                                        uint32_t* pdwErrorCode) {
  return Method("scantk::GetHWPropValue", TRACE_API, hSession, pdwErrorCode)
      .Requires({pszTagString, pdwValue})
      .Run([&] { *pdwValue = 0; },
           [&](SessionEntry& entry) -> HRESULT {
             constexpr char kTraced[] = "GetHWPropValue pszTagString %s pdwValue %d";
             constexpr char kTracedXpa[] = "GetHWPropValue XPA pszTagString %s pdwValue %d";
             if (TagIs(pszTagString, "HardwareProperty")) return S_OK;
             if (TagIs(pszTagString, "ADF")) {
               if (FAILED(FillOutCapabilities(entry, Switches(), trace_, pdwErrorCode)))
                 return Fail(pdwErrorCode, TERR_SCANNER_COMMUNICATION_FAILED);
               *pdwValue = entry.state.adf.byHasADF;
               trace_.Print(kTracedXpa, "ADF", *pdwValue);
               return S_OK;
             }
             if (TagIs(pszTagString, "XPA")) {
               trace_.Print(kTracedXpa, "XPA", *pdwValue);
               return S_OK;
             }
             if (TagIs(pszTagString, "CCD Type")) {
               trace_.Print(kTraced, "CCD Type", *pdwValue);
               return S_OK;
             }
             return Fail(pdwErrorCode, TERR_INVALID_PROPERTY);
           });
}

HRESULT STDMETHODCALLTYPE ScannerObject::GetHWPropString(uint32_t hSession,
                                                         const WideChar* pszTagString,
                                                         WideChar** ppszString,
                                                         uint32_t* pdwErrorCode) {
  return Method("scantk::GetHWPropString", TRACE_API, hSession, pdwErrorCode)
      .Requires({pszTagString, ppszString})
      .Run([&] { *ppszString = nullptr; },
           [&](SessionEntry& entry) -> HRESULT {
             if (!TagIs(pszTagString, "CCD Type")) return Fail(pdwErrorCode, TERR_INVALID_PROPERTY);
             trace_.Print("GetHWPropValue pszTagString %ws", pszTagString);
             int32_t vendor = 0;
             const QrlStatus status =
                 entry.state.engine->exchange.InquireNumber(SL_SCANNER_VENDOR, kCurrent, &vendor);
             if (status != SL_OK) {
               vendor = 0;
               trace_.Print(
                   TRACE_CLASS_ERROR,
                   "GetHWPropString: ERROR: SL_SCANNER_VENDOR %d Failed, QRL Error Code = %d",
                   vendor, status);
             }
             trace_.Print("GetHWPropString SL_SCANNER_VENDOR %d ", vendor);
             const WideChar code[] = {static_cast<WideChar>(SensorCode(vendor)), 0};
             auto* text = static_cast<WideChar*>(TaskAlloc(sizeof code));
             if (!text) return Fail(pdwErrorCode, TERR_OUT_OF_MEMORY);
             std::copy(std::begin(code), std::end(code), text);
             *ppszString = text;
             return S_OK;
           });
}

}  // namespace scantk
