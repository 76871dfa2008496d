// The one object behind the component class `scanner`. Its methods are defined in the file that
// owns their subject.
#ifndef SCANTK_SCANNER_SCANNER_OBJECT_H_
#define SCANTK_SCANNER_SCANNER_OBJECT_H_

#include <atomic>
#include <cstdint>
#include <mutex>

#include "config/device_settings.h"
#include "contract/interfaces.h"
#include "diag/trace_log.h"
#include "platform/component_support.h"
#include "session/session_registry.h"
#include "session/session_state.h"

namespace scantk {

// Interface methods: interfaces.h. Sessions are not owned by the object: one that is destroyed with
// sessions open leaves them in the registry. Counts of lines and times belong to the object,
// whatever session it serves.
class ScannerObject final : public IScanner,
                            public IADF3,
                            public ICompression,
                            public IHWProperty,
                            public IControlPanel,
                            public IReserve,
                            public ISPF {
 public:
  // Makes an object, aggregated when `outer` is given, and asks it for `iid`.
  static HRESULT SCANTK_SUPPORT_CALL Create(void* outer, REFIID iid, void** object);

  HRESULT STDMETHODCALLTYPE QueryInterface(REFIID iid, void** object) override;
  ULONG STDMETHODCALLTYPE AddRef() override;
  ULONG STDMETHODCALLTYPE Release() override;

  // IScanner: sessions and the lock (sessions.cpp, device_methods.cpp)
  HRESULT STDMETHODCALLTYPE OpenScannerSession(const WideChar* pszDevName, uint32_t dwDevIOType,
                                               uint32_t* phSession,
                                               uint32_t* pdwErrorCode) override;
  HRESULT STDMETHODCALLTYPE CloseScannerSession(uint32_t hSession, uint32_t* pdwErrorCode) override;
  HRESULT STDMETHODCALLTYPE LockScanner(uint32_t hSession, uint16_t wLockType, uint32_t dwTimeout,
                                        uint32_t* pdwErrorCode) override;
  HRESULT STDMETHODCALLTYPE UnlockScanner(uint32_t hSession, uint32_t* pdwErrorCode) override;
  HRESULT STDMETHODCALLTYPE GetLampStatus(uint32_t hSession, uint8_t* pbLampOn,
                                          uint32_t* pdwErrorCode) override;
  HRESULT STDMETHODCALLTYPE LampOn(uint32_t hSession, uint32_t* pdwErrorCode) override;
  HRESULT STDMETHODCALLTYPE LampOff(uint32_t hSession, uint32_t* pdwErrorCode) override;
  HRESULT STDMETHODCALLTYPE InitializeScanner(uint32_t hSession, uint32_t* pdwErrorCode) override;
  HRESULT STDMETHODCALLTYPE ResetScanner(uint32_t hSession, uint32_t* pdwErrorCode) override;

  // IScanner: the scan job (scan_parameters.cpp, start_scan.cpp, stop_scan.cpp)
  HRESULT STDMETHODCALLTYPE GetBufferInfo(uint32_t hSession, SCANNER_PARAMETERS* pScanParam,
                                          BUFFER_INFO* pBufferInfo,
                                          uint32_t* pdwdErrorCode) override;
  HRESULT STDMETHODCALLTYPE SetScannerParameters(uint32_t hSession, SCANNER_PARAMETERS* pScanParam,
                                                 uint32_t* pdwErrorCode) override;
  HRESULT STDMETHODCALLTYPE SetGammaTable(uint32_t hSession, uint32_t uSz, uint8_t* pbyRed,
                                          uint8_t* pbyGreen, uint8_t* pbyBlue,
                                          uint32_t* pdwErrorCode) override;
  HRESULT STDMETHODCALLTYPE StartScan(uint32_t hSession, uint32_t* pdwErrorCode) override;
  HRESULT STDMETHODCALLTYPE StopScan(uint32_t hSession, uint32_t* pdwErrorCode) override;

  // IScanner: reading (reading.cpp)
  HRESULT STDMETHODCALLTYPE ReadScan(uint32_t hSession, uint8_t* pbyBuffer, uint32_t dwBytes,
                                     uint32_t* pdwErrorCode) override;
  HRESULT STDMETHODCALLTYPE ReadScanEx(uint32_t hSession, uint8_t* pbyBuffer, uint32_t dwBytes,
                                       uint32_t* pdwBytesRead, uint32_t* pdwErrorCode) override;

  // IScanner: capabilities.cpp
  HRESULT STDMETHODCALLTYPE GetScannerCapabilities(uint32_t hSession,
                                                   SCANNER_CAPABILITIES* pScannerCapabilities,
                                                   uint32_t* pdwErrorCode) override;

  // IADF, IADF2, IADF3: feeder.cpp
  HRESULT STDMETHODCALLTYPE GetADFCapabilities(uint32_t hSession,
                                               ADF_CAPABILITIES* pADFCapabilities,
                                               uint32_t* pdwErrorCode) override;
  HRESULT STDMETHODCALLTYPE ADFPaperFeed(uint32_t hSession, uint32_t* pdwErrorCode) override;
  HRESULT STDMETHODCALLTYPE ADFIsReady(uint32_t hSession, uint8_t* pbIsReady,
                                       uint32_t* pdwErrorCode) override;
  HRESULT STDMETHODCALLTYPE GetADF2Capabilities(uint32_t hSession,
                                                ADF2_CAPABILITIES* pADF2Capabilities,
                                                uint32_t* pdwErrorCode) override;
  HRESULT STDMETHODCALLTYPE SetADFOptions(uint32_t hSession, uint32_t dwADFOptionsSelected,
                                          uint32_t* pdwErrorCode) override;
  HRESULT STDMETHODCALLTYPE ADFEjectMedia(uint32_t hSession, uint32_t* pdwErrorCode) override;
  HRESULT STDMETHODCALLTYPE ADF2PaperFeed(uint32_t hSession, uint32_t* pdwLength,
                                          uint32_t* pdwErrorCode) override;
  HRESULT STDMETHODCALLTYPE GetADF3Capabilities(uint32_t hSession,
                                                ADF3_CAPABILITIES* pADF3Capabilities,
                                                uint32_t* pdwErrorCode) override;
  HRESULT STDMETHODCALLTYPE GetHWDuplexToggleState(uint32_t hSession, uint8_t* pbyState,
                                                   uint32_t* pdwErrorCode) override;
  HRESULT STDMETHODCALLTYPE SetHWDuplexToggleState(uint32_t hSession, uint8_t byState,
                                                   uint32_t* pdwErrorCode) override;
  HRESULT STDMETHODCALLTYPE ADFStartJob(uint32_t hSession, uint32_t* pdwErrorCode) override;
  HRESULT STDMETHODCALLTYPE ADFEndJob(uint32_t hSession, uint32_t* pdwErrorCode) override;

  // ICompression: compression.cpp
  HRESULT STDMETHODCALLTYPE
  GetCompressionCapabilities(uint32_t hSession, COMPRESSION_CAPABILITIES* pCompressionCapabilities,
                             uint32_t* pdwErrorCode) override;
  HRESULT STDMETHODCALLTYPE SetCompressionType(uint32_t hSession, uint32_t dwType,
                                               uint32_t* pdwErrorCode) override;
  HRESULT STDMETHODCALLTYPE SetCompressionLongevity(uint32_t hSession, uint32_t dwLongevity,
                                                    uint32_t* pdwErrorCode) override;
  HRESULT STDMETHODCALLTYPE SetCompressionOption(uint32_t hSession, uint32_t dwCompOption,
                                                 uint32_t dwValue, uint32_t* pdwErrorCode) override;

  // IHWProperty: hardware_properties.cpp
  HRESULT STDMETHODCALLTYPE GetHWPropString(uint32_t hSession, const WideChar* pszTagString,
                                            WideChar** ppszString, uint32_t* pdwErrorCode) override;
  HRESULT STDMETHODCALLTYPE GetHWPropValue(uint32_t hSession, const WideChar* pszTagString,
                                           uint32_t* pdwValue, uint32_t* pdwErrorCode) override;

  // IControlPanel: control_panel.cpp
  HRESULT STDMETHODCALLTYPE GetControlPanelCapabilities(uint32_t hSession,
                                                        CONTROL_PANEL_CAPABILITIES* pCapabilities,
                                                        uint32_t* pdwErrorCode) override;
  HRESULT STDMETHODCALLTYPE GetControlPanelValue(uint32_t hSession, uint32_t dwVariable,
                                                 uint32_t* pdwValue,
                                                 uint32_t* pdwErrorCode) override;
  HRESULT STDMETHODCALLTYPE SetControlPanelValue(uint32_t hSession, uint32_t dwVariable,
                                                 uint32_t dwValue, uint32_t* pdwErrorCode) override;
  HRESULT STDMETHODCALLTYPE SetCodePage(uint32_t hSession, uint32_t dwValue,
                                        uint32_t* pdwErrorCode) override;
  HRESULT STDMETHODCALLTYPE GetControlPanelString(uint32_t hSession, uint32_t dwVariable,
                                                  WideChar** ppszString, uint32_t* pdwBytes,
                                                  uint32_t* pdwErrorCode) override;
  HRESULT STDMETHODCALLTYPE SetControlPanelString(uint32_t hSession, uint32_t dwVariable,
                                                  const WideChar* pszString, uint32_t dwBytes,
                                                  uint32_t* pdwErrorCode) override;
  HRESULT STDMETHODCALLTYPE SetControlPanelDestinationString(uint32_t hSession, uint32_t dwIndex,
                                                             const WideChar* pszString,
                                                             uint32_t* pdwErrorCode) override;

  // IReserve: reservation.cpp
  HRESULT STDMETHODCALLTYPE JobReserveHW(uint32_t hSession, uint32_t dwTimeout,
                                         uint32_t* pdwErrorCode) override;
  HRESULT STDMETHODCALLTYPE JobReleaseHW(uint32_t hSession, uint32_t* pdwErrorCode) override;
  HRESULT STDMETHODCALLTYPE GetUserReadyToScanState(uint32_t hSession, URS_STATE* pbyState,
                                                    uint32_t* pdwErrorCode) override;
  HRESULT STDMETHODCALLTYPE SetUserReadyToScanState(uint32_t hSession, URS_STATE byState,
                                                    uint32_t* pdwErrorCode) override;

  // ISPF: spf.cpp
  HRESULT STDMETHODCALLTYPE GetSPFCapabilities(uint32_t hSession, SPF_CAPABILITIES* pSPFcaps,
                                               uint32_t* pdwErrorCode) override;
  HRESULT STDMETHODCALLTYPE GetSPFData(uint32_t hSession, uint32_t dwSize, uint8_t* pbySPFdata,
                                       uint32_t* pdwErrorCode) override;

 private:
  friend struct InterfaceMap;

  // The object's own IUnknown, which an aggregating object holds: the three methods that all
  // interfaces pass to the outer object.
  struct Inner final : IUnknown {
    explicit Inner(ScannerObject* owner) : object(owner) {}
    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID iid, void** out) override;
    ULONG STDMETHODCALLTYPE AddRef() override;
    ULONG STDMETHODCALLTYPE Release() override;
    ScannerObject* object;
  };

  // The process-wide trace settings, made by the first object. Stands before the trace log, which
  // finds them.
  struct SettingsReference {
    SettingsReference();
    ~SettingsReference();
  };

  explicit ScannerObject(IUnknown* outer);
  ~ScannerObject();

  HRESULT OpenDevice(SessionEntry& entry, uint32_t dwDevIOType, uint32_t* pdwErrorCode);
  HRESULT SkipHandshake(SessionEntry& entry, uint32_t* pdwErrorCode);
  HRESULT BeginHandshake(SessionEntry& entry, int32_t urs, uint32_t* pdwErrorCode);
  template <class Record>
  HRESULT CopyCapabilities(const char* name, uint32_t category, uint32_t hSession, Record* out,
                           uint32_t* pdwErrorCode, Record SessionState::*record,
                           void (*dump)(TraceLog&, const Record*, uint32_t));

  DeviceSwitches Switches() const;

  SettingsReference settings_;
  TraceLog trace_;
  std::atomic<uint32_t> scan_lines_{0};  // lines delivered since the last StartScan
  mutable std::mutex switches_mutex_;
  DeviceSwitches switches_;
  std::atomic<int64_t> scan_start_time_{0};  // seconds since 1970
  std::atomic<uint32_t> references_{0};
  Inner inner_;
  IUnknown* outer_;  // the aggregating object, not owned; &inner_ for a plain one
};

}  // namespace scantk

#endif  // SCANTK_SCANNER_SCANNER_OBJECT_H_
