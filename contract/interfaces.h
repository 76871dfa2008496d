// The nine interfaces of the component class `scanner`. One object serves all of them, so pointers
// obtained from one another act on the same sessions.
//
// Every method takes the session handle first (OpenScannerSession makes it), writes a toolkit error
// code (codes.h) through its last parameter and answers a result code:
//   - a null pointer that the method must write or read through: E_POINTER, nothing is written;
//   - otherwise the error code becomes 0 first;
//   - a handle that names no open session: E_FAIL and TERR_INVALID_SESSION;
//   - a device method while the caller does not hold the lock: E_FAIL and TERR_SCANNER_NOT_LOCKED;
//   - a failed exchange with the device: E_FAIL and TERR_SCANNER_COMMUNICATION_FAILED;
//   - no memory: E_FAIL and TERR_OUT_OF_MEMORY.
// A few conditions come as S_OK with a non-zero error code: test both.
//
// Threads: any method may be called on any thread. The lock of LockScanner is what keeps callers of
// one device apart; without it two threads must not call device methods of one session at once.
// An object counts the lines of one page at a time: scan from two devices at once through two
// objects.
// Time: every wait for a byte of the device is bounded (30 s), but an answer is waited for six
// times: a device that has gone silent holds a method for up to three minutes for each answer it
// needs.
#ifndef SCANTK_CONTRACT_INTERFACES_H_
#define SCANTK_CONTRACT_INTERFACES_H_

#include "contract/codes.h"
#include "contract/component_types.h"
#include "contract/records.h"

// clang-format off
inline constexpr GUID LIBID_DRIVERLib = {0x3C9E5B21, 0x8A74, 0x4D0F, {0xB6, 0xE2, 0x91, 0xF0, 0x7A, 0x3C, 0x5D, 0x48}};
inline constexpr GUID CLSID_scanner = {0x7A41C0D2, 0x5E3B, 0x4F19, {0x9C, 0x6A, 0x2B, 0x8D, 0x0E, 0x4F, 0x1A, 0x37}};
inline constexpr GUID IID_IScanner = {0x5E2A7C93, 0x1B6D, 0x4E85, {0xA0, 0xF4, 0x3D, 0x9C, 0x8B, 0x7E, 0x2A, 0x16}};
inline constexpr GUID IID_IADF = {0x8B4F1D62, 0x7C3A, 0x4A29, {0x95, 0xE0, 0x6F, 0x1B, 0x2C, 0x8D, 0x4E, 0x73}};
inline constexpr GUID IID_IADF2 = {0x2D7E9A45, 0x6F18, 0x4C3B, {0x8A, 0x5D, 0xE0, 0x9B, 0x4C, 0x7F, 0x12, 0x36}};
inline constexpr GUID IID_IADF3 = {0x9F3B6E18, 0x4D2C, 0x47A5, {0xB1, 0xE8, 0x5C, 0x7A, 0x0D, 0x9F, 0x3B, 0x62}};
inline constexpr GUID IID_ICompression = {0x61C8A3F4, 0x2E9D, 0x4B70, {0x8F, 0x15, 0xA4, 0xD6, 0xE2, 0xB9, 0xC0, 0x53}};
inline constexpr GUID IID_IHWProperty = {0xC4A1E7B9, 0x5F26, 0x4D83, {0x9E, 0x0C, 0x7B, 0x3F, 0x1A, 0x6D, 0x8E, 0x25}};
inline constexpr GUID IID_IControlPanel = {0x1E6D4B8A, 0x9C37, 0x4F52, {0xA8, 0xB3, 0x2D, 0x5E, 0x7C, 0x1F, 0x9A, 0x64}};
inline constexpr GUID IID_IReserve = {0xB7F2C5D1, 0x3A84, 0x4E69, {0x9D, 0x27, 0x8C, 0x1E, 0x6F, 0x4A, 0x0B, 0x39}};
inline constexpr GUID IID_ISPF = {0x4A9E2F73, 0x6B15, 0x4C8D, {0xB3, 0xA0, 0xE5, 0xD7, 0xF2, 0xC9, 0xA1, 0x48}};
// clang-format on

// The tables begin with the three methods of IUnknown and hold no destructor.

// Sessions, the lock, and the scan itself. The usual order: OpenScannerSession, LockScanner,
// GetScannerCapabilities, SetScannerParameters, GetBufferInfo, StartScan, ReadScanEx until
// TERR_SCANNER_END_OF_PAGE, StopScan, UnlockScanner, CloseScannerSession.
struct IScanner : IUnknown {
  // Opens the device named `pszDevName` (null or empty: "LM_QRL"; at most 259 bytes as narrow text)
  // by way of `dwDevIOType` (T_IO_USB, T_IO_DOT4, T_IO_NETWORK). A second opening of the same name
  // in the process gives the same handle. No connection is made yet.
  virtual HRESULT STDMETHODCALLTYPE OpenScannerSession(const WideChar* pszDevName,
                                                       uint32_t dwDevIOType, uint32_t* phSession,
                                                       uint32_t* pdwErrorCode) = 0;
  // Gives one opening back; the last one shuts the device down and releases every hold of its lock.
  virtual HRESULT STDMETHODCALLTYPE CloseScannerSession(uint32_t hSession,
                                                        uint32_t* pdwErrorCode) = 0;
  // Takes the device for this process (T_LOCK_PROCESS) or thread (T_LOCK_THREAD), waiting at most
  // `dwTimeout` ms (0xFFFFFFFF: without limit). Holds nest; the first connects to the device.
  // TERR_SCANNER_LOCK_FAILED: another process or thread holds it. TERR_NET_SOCKET_BUSY: the device
  // serves another computer. VELKAN_E_SCONF_FIREWALL, VELKAN_E_SCONF_REJECTED: no connection.
  virtual HRESULT STDMETHODCALLTYPE LockScanner(uint32_t hSession, uint16_t wLockType,
                                                uint32_t dwTimeout, uint32_t* pdwErrorCode) = 0;
  // Gives one hold back; the last one disconnects. Without a hold: S_OK, TERR_SCANNER_NOT_LOCKED.
  virtual HRESULT STDMETHODCALLTYPE UnlockScanner(uint32_t hSession, uint32_t* pdwErrorCode) = 0;
  // The lamp is the device's own business: always on, and the next two do nothing.
  virtual HRESULT STDMETHODCALLTYPE GetLampStatus(uint32_t hSession, uint8_t* pbLampOn,
                                                  uint32_t* pdwErrorCode) = 0;
  virtual HRESULT STDMETHODCALLTYPE LampOn(uint32_t hSession, uint32_t* pdwErrorCode) = 0;
  virtual HRESULT STDMETHODCALLTYPE LampOff(uint32_t hSession, uint32_t* pdwErrorCode) = 0;
  // Learnt once per session; later calls do not ask the device again.
  virtual HRESULT STDMETHODCALLTYPE GetScannerCapabilities(
      uint32_t hSession, SCANNER_CAPABILITIES* pScannerCapabilities, uint32_t* pdwErrorCode) = 0;
  // Tells the device the geometry of `pScanParam` and reports the image that it would give. While a
  // scan is under way: S_OK, TERR_CANCEL_PRESSED, nothing written.
  virtual HRESULT STDMETHODCALLTYPE GetBufferInfo(uint32_t hSession, SCANNER_PARAMETERS* pScanParam,
                                                  BUFFER_INFO* pBufferInfo,
                                                  uint32_t* pdwdErrorCode) = 0;
  virtual HRESULT STDMETHODCALLTYPE InitializeScanner(uint32_t hSession,
                                                      uint32_t* pdwErrorCode) = 0;
  // Clears the device's errors and resets it.
  virtual HRESULT STDMETHODCALLTYPE ResetScanner(uint32_t hSession, uint32_t* pdwErrorCode) = 0;
  // Keeps a copy for every later StartScan; the values are tested there.
  virtual HRESULT STDMETHODCALLTYPE SetScannerParameters(uint32_t hSession,
                                                         SCANNER_PARAMETERS* pScanParam,
                                                         uint32_t* pdwErrorCode) = 0;
  // One tone map for all channels: 256 bytes are taken from `pbyRed`. `uSz` must be the device's
  // gamma entries per channel.
  virtual HRESULT STDMETHODCALLTYPE SetGammaTable(uint32_t hSession, uint32_t uSz, uint8_t* pbyRed,
                                                  uint8_t* pbyGreen, uint8_t* pbyBlue,
                                                  uint32_t* pdwErrorCode) = 0;
  // Prepares the device for a page. TERR_RESERVE_BUSY: the device is reserved by another computer.
  virtual HRESULT STDMETHODCALLTYPE StartScan(uint32_t hSession, uint32_t* pdwErrorCode) = 0;
  // Ends the page, drained and released whatever state it was in.
  virtual HRESULT STDMETHODCALLTYPE StopScan(uint32_t hSession, uint32_t* pdwErrorCode) = 0;
  // Fills all `dwBytes` (whole lines) or fails; behind the end of the page the buffer is white.
  virtual HRESULT STDMETHODCALLTYPE ReadScan(uint32_t hSession, uint8_t* pbyBuffer,
                                             uint32_t dwBytes, uint32_t* pdwErrorCode) = 0;
  // Reads up to `dwBytes` (whole lines). At the end of the page: S_OK, TERR_SCANNER_END_OF_PAGE and
  // the bytes that were left, trimmed to the row count that the device reports.
  virtual HRESULT STDMETHODCALLTYPE ReadScanEx(uint32_t hSession, uint8_t* pbyBuffer,
                                               uint32_t dwBytes, uint32_t* pdwBytesRead,
                                               uint32_t* pdwErrorCode) = 0;
};

// The document feeder. Feeding and ejecting are requests, carried out when a feeder scan starts and
// stops.
struct IADF : IUnknown {
  virtual HRESULT STDMETHODCALLTYPE GetADFCapabilities(uint32_t hSession,
                                                       ADF_CAPABILITIES* pADFCapabilities,
                                                       uint32_t* pdwErrorCode) = 0;
  virtual HRESULT STDMETHODCALLTYPE ADFPaperFeed(uint32_t hSession, uint32_t* pdwErrorCode) = 0;
  // *pbIsReady 1: paper is waiting. An empty feeder: S_OK, TERR_ADF_EMPTY.
  virtual HRESULT STDMETHODCALLTYPE ADFIsReady(uint32_t hSession, uint8_t* pbIsReady,
                                               uint32_t* pdwErrorCode) = 0;
};

struct IADF2 : IADF {
  virtual HRESULT STDMETHODCALLTYPE GetADF2Capabilities(uint32_t hSession,
                                                        ADF2_CAPABILITIES* pADF2Capabilities,
                                                        uint32_t* pdwErrorCode) = 0;
  // T_ADF_DUPLEX or T_ADF_MULTIPAGE_FLOW must be among the options.
  virtual HRESULT STDMETHODCALLTYPE SetADFOptions(uint32_t hSession, uint32_t dwADFOptionsSelected,
                                                  uint32_t* pdwErrorCode) = 0;
  virtual HRESULT STDMETHODCALLTYPE ADFEjectMedia(uint32_t hSession, uint32_t* pdwErrorCode) = 0;
  // As ADFPaperFeed; the length reported is 0, since nothing has moved yet.
  virtual HRESULT STDMETHODCALLTYPE ADF2PaperFeed(uint32_t hSession, uint32_t* pdwLength,
                                                  uint32_t* pdwErrorCode) = 0;
};

struct IADF3 : IADF2 {
  virtual HRESULT STDMETHODCALLTYPE GetADF3Capabilities(uint32_t hSession,
                                                        ADF3_CAPABILITIES* pADF3Capabilities,
                                                        uint32_t* pdwErrorCode) = 0;
  // No device of this toolkit has the switch: E_FAIL, TERR_INVALID_PARAMETER.
  virtual HRESULT STDMETHODCALLTYPE GetHWDuplexToggleState(uint32_t hSession, uint8_t* pbyState,
                                                           uint32_t* pdwErrorCode) = 0;
  virtual HRESULT STDMETHODCALLTYPE SetHWDuplexToggleState(uint32_t hSession, uint8_t byState,
                                                           uint32_t* pdwErrorCode) = 0;
  virtual HRESULT STDMETHODCALLTYPE ADFStartJob(uint32_t hSession, uint32_t* pdwErrorCode) = 0;
  virtual HRESULT STDMETHODCALLTYPE ADFEndJob(uint32_t hSession, uint32_t* pdwErrorCode) = 0;
};

// Whether the device compresses colour and grey scans as JPEG on the wire, and how much. The host
// always reads raster lines.
struct ICompression : IUnknown {
  virtual HRESULT STDMETHODCALLTYPE
  GetCompressionCapabilities(uint32_t hSession, COMPRESSION_CAPABILITIES* pCompressionCapabilities,
                             uint32_t* pdwErrorCode) = 0;
  // T_COMPRESSION_NONE or T_COMPRESSION_JPEG; anything else changes nothing.
  virtual HRESULT STDMETHODCALLTYPE SetCompressionType(uint32_t hSession, uint32_t dwType,
                                                       uint32_t* pdwErrorCode) = 0;
  virtual HRESULT STDMETHODCALLTYPE SetCompressionLongevity(uint32_t hSession, uint32_t dwLongevity,
                                                            uint32_t* pdwErrorCode) = 0;
  // T_COMPRESSION_OPTION_JPEG_LEVEL takes a level within the capabilities' range.
  virtual HRESULT STDMETHODCALLTYPE SetCompressionOption(uint32_t hSession, uint32_t dwCompOption,
                                                         uint32_t dwValue,
                                                         uint32_t* pdwErrorCode) = 0;
};

// Named hardware properties; an unknown tag gives TERR_INVALID_PROPERTY.
struct IHWProperty : IUnknown {
  // The host frees *ppszString with CoTaskMemFree.
  virtual HRESULT STDMETHODCALLTYPE GetHWPropString(uint32_t hSession, const WideChar* pszTagString,
                                                    WideChar** ppszString,
                                                    uint32_t* pdwErrorCode) = 0;
  virtual HRESULT STDMETHODCALLTYPE GetHWPropValue(uint32_t hSession, const WideChar* pszTagString,
                                                   uint32_t* pdwValue, uint32_t* pdwErrorCode) = 0;
};

// The front panel. What the capabilities do not offer gives TERR_INVALID_PARAMETER.
struct IControlPanel : IUnknown {
  virtual HRESULT STDMETHODCALLTYPE GetControlPanelCapabilities(
      uint32_t hSession, CONTROL_PANEL_CAPABILITIES* pCapabilities, uint32_t* pdwErrorCode) = 0;
  virtual HRESULT STDMETHODCALLTYPE GetControlPanelValue(uint32_t hSession, uint32_t dwVariable,
                                                         uint32_t* pdwValue,
                                                         uint32_t* pdwErrorCode) = 0;
  virtual HRESULT STDMETHODCALLTYPE SetControlPanelValue(uint32_t hSession, uint32_t dwVariable,
                                                         uint32_t dwValue,
                                                         uint32_t* pdwErrorCode) = 0;
  // Only 1252 is accepted; the error code is written on failure alone.
  virtual HRESULT STDMETHODCALLTYPE SetCodePage(uint32_t hSession, uint32_t dwValue,
                                                uint32_t* pdwErrorCode) = 0;
  virtual HRESULT STDMETHODCALLTYPE GetControlPanelString(uint32_t hSession, uint32_t dwVariable,
                                                          WideChar** ppszString, uint32_t* pdwBytes,
                                                          uint32_t* pdwErrorCode) = 0;
  virtual HRESULT STDMETHODCALLTYPE SetControlPanelString(uint32_t hSession, uint32_t dwVariable,
                                                          const WideChar* pszString,
                                                          uint32_t dwBytes,
                                                          uint32_t* pdwErrorCode) = 0;
  virtual HRESULT STDMETHODCALLTYPE SetControlPanelDestinationString(uint32_t hSession,
                                                                     uint32_t dwIndex,
                                                                     const WideChar* pszString,
                                                                     uint32_t* pdwErrorCode) = 0;
};

// Reserving a networked device for a job, and the handshake with a person at the device. For
// directly attached devices there is nothing to reserve and the state is kept by the toolkit.
struct IReserve : IUnknown {
  // TERR_RESERVE_BUSY: another job holds the device. `dwTimeout` is accepted and not used.
  virtual HRESULT STDMETHODCALLTYPE JobReserveHW(uint32_t hSession, uint32_t dwTimeout,
                                                 uint32_t* pdwErrorCode) = 0;
  virtual HRESULT STDMETHODCALLTYPE JobReleaseHW(uint32_t hSession, uint32_t* pdwErrorCode) = 0;
  virtual HRESULT STDMETHODCALLTYPE GetUserReadyToScanState(uint32_t hSession, URS_STATE* pbyState,
                                                            uint32_t* pdwErrorCode) = 0;
  virtual HRESULT STDMETHODCALLTYPE SetUserReadyToScanState(uint32_t hSession, URS_STATE byState,
                                                            uint32_t* pdwErrorCode) = 0;
};

// The device's SPF data, an opaque block of bytes.
struct ISPF : IUnknown {
  virtual HRESULT STDMETHODCALLTYPE GetSPFCapabilities(uint32_t hSession,
                                                       SPF_CAPABILITIES* pSPFcaps,
                                                       uint32_t* pdwErrorCode) = 0;
  // At most `dwSize` bytes are written to `pbySPFdata`.
  virtual HRESULT STDMETHODCALLTYPE GetSPFData(uint32_t hSession, uint32_t dwSize,
                                               uint8_t* pbySPFdata, uint32_t* pdwErrorCode) = 0;
};

// What __uuidof says of them.
SCANTK_UUID(IScanner, "5E2A7C93-1B6D-4E85-A0F4-3D9C8B7E2A16")
SCANTK_UUID(IADF, "8B4F1D62-7C3A-4A29-95E0-6F1B2C8D4E73")
SCANTK_UUID(IADF2, "2D7E9A45-6F18-4C3B-8A5D-E09B4C7F1236")
SCANTK_UUID(IADF3, "9F3B6E18-4D2C-47A5-B1E8-5C7A0D9F3B62")
SCANTK_UUID(ICompression, "61C8A3F4-2E9D-4B70-8F15-A4D6E2B9C053")
SCANTK_UUID(IHWProperty, "C4A1E7B9-5F26-4D83-9E0C-7B3F1A6D8E25")
SCANTK_UUID(IControlPanel, "1E6D4B8A-9C37-4F52-A8B3-2D5E7C1F9A64")
SCANTK_UUID(IReserve, "B7F2C5D1-3A84-4E69-9D27-8C1E6F4A0B39")
SCANTK_UUID(ISPF, "4A9E2F73-6B15-4C8D-B3A0-E5D7F2C9A148")

#endif  // SCANTK_CONTRACT_INTERFACES_H_
