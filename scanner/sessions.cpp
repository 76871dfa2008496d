// OpenScannerSession, CloseScannerSession, LockScanner, UnlockScanner.
#include <string>

#include "platform/system.h"
#include "scanner/method.h"
#include "scanner/scanner_object.h"

namespace scantk {
namespace {

constexpr char kDefaultDeviceName[] = "LM_QRL";

// Silence that ends a drain on a network device, in ms. Its transport would wait for a whole read
// time-out each time, and a host that cancels must not.
constexpr uint32_t kNetworkFlushTimeout = 500;

bool IsKnownIoType(uint32_t type) {
  return type == T_IO_USB || type == T_IO_DOT4 || type == T_IO_NETWORK;
}

// The reference of an opening: given back unless the opening comes to its end.
class OpeningReference {
 public:
  explicit OpeningReference(SessionEntry& entry) : entry_(&entry) {}
  ~OpeningReference() {
    int32_t count = 0;
    if (entry_) Sessions().Release(*entry_, &count);
  }
  OpeningReference(const OpeningReference&) = delete;
  OpeningReference& operator=(const OpeningReference&) = delete;
  void Keep() { entry_ = nullptr; }

 private:
  SessionEntry* entry_;
};

void TraceDeviceName(TraceLog& trace, bool found, const DeviceSettings& settings,
                     const SessionEntry& entry) {
  if (found) {
    trace.Print("GetDIScannerDeviceSettings suceeded current  I/O DevName %s ",
                settings.io_device_name);
    trace.Print("GetDIScannerDeviceSettings suceeded original (full) I/O DevName %s ",
                entry.device_name);
  } else {
    trace.Print("GetDIScannerDeviceSettings failed I/O DevName is %s ", settings.io_device_name);
  }
}

HRESULT ConnectFirstHold(SessionEntry& entry, TraceLog& trace, uint32_t* error_code) {
  trace.ReloadSettings();
  const uint32_t status =
      entry.state.engine ? entry.state.engine->channel.ConnectToIO() : SL_NOACCESS;
  if (status != SL_OK) entry.lock.Unlock();
  switch (status) {
    case SL_OK:
      trace.Print(TRACE_FLOW, "Established IO ");
      return S_OK;
    case SL_BUSY:
      trace.Print(TRACE_CLASS_ERROR, "Lock scanner failed device busy ");
      return Fail(error_code, TERR_NET_SOCKET_BUSY);
    case SL_FIREWALL:
      trace.Print(TRACE_INFO, "problem: FIREWALL rejects connection");
      return Fail(error_code, TERR_SCANNER_COMMUNICATION_FAILED, VELKAN_E_SCONF_FIREWALL);
    default:
      trace.Print(TRACE_CLASS_ERROR, "Lock scanner failed to connecttoIO ");
      return Fail(error_code, TERR_SCANNER_COMMUNICATION_FAILED, VELKAN_E_SCONF_REJECTED);
  }
}

}  // namespace

HRESULT STDMETHODCALLTYPE ScannerObject::OpenScannerSession(const WideChar* pszDevName,
                                                            uint32_t dwDevIOType,
                                                            uint32_t* phSession,
                                                            uint32_t* pdwErrorCode) {
  Method method("scantk::OpenScannerSession", TRACE_API, 0, pdwErrorCode);
  return method.Requires({phSession}).RunWithoutSession([&]() -> HRESULT {
    const std::string name =
        pszDevName && *pszDevName ? Narrow(pszDevName) : std::string(kDefaultDeviceName);
    *phSession = 0;
    if (name.size() >= kDeviceNameSize) return Fail(pdwErrorCode, TERR_INVALID_PARAMETER);

    int32_t count = 0;
    SessionPtr entry = Sessions().Acquire(name, &count);
    OpeningReference reference(*entry);
    *phSession = entry->handle;
    trace_.Print(TRACE_FLOW, "Session ID is 0x%lx nSessionReferenceCount %d", entry->handle, count);
    if (entry->handle == 0) return Fail(pdwErrorCode, TERR_INVALID_PARAMETER);
    if (!IsKnownIoType(dwDevIOType)) {
      trace_.Print(TRACE_CLASS_ERROR, "Invalid IO type %d specified", dwDevIOType);
      return Fail(pdwErrorCode, TERR_INVALID_PARAMETER);
    }
    std::lock_guard opening(entry->opening);
    const HRESULT result =  // open already in this process?
        entry->open ? S_OK : OpenDevice(*entry, dwDevIOType, pdwErrorCode);
    entry->open = SUCCEEDED(result);
    reference.Keep();  // a device that could not be opened has given it back itself
    return result;
  });
}

HRESULT ScannerObject::OpenDevice(SessionEntry& entry, uint32_t dwDevIOType,
                                  uint32_t* pdwErrorCode) {
  SessionState& state = entry.state;
  // The close ends the engine, unless another opening of the name waits to try again. It clears the
  // code that it is given, so the failure is written after it.
  auto give_up = [&](uint32_t code) {
    uint32_t ignored = 0;
    CloseScannerSession(entry.handle, &ignored);
    entry.EndEngine();
    return Fail(pdwErrorCode, code);
  };

  DeviceSettings settings;
  trace_.Print("GetDIScannerDeviceSettings call");
  DeviceSwitches switches = Switches();
  const bool found =
      GetDIScannerDeviceSettings(trace_, entry.device_name, &settings, &switches) != 0;
  {
    std::lock_guard guard(switches_mutex_);
    switches_ = switches;
  }
  trace_.Print("GetDIScannerDeviceSettings returned");
  TraceDeviceName(trace_, found, settings, entry);

  try {
    state.engine = std::make_unique<ProtocolEngine>();
  } catch (...) {
    return give_up(TERR_INVALID_TOOLKIT);
  }
  trace_.Print("I/O DevName is %s, DeviceType is %d", settings.io_device_name, dwDevIOType);
  ProtocolEngine* const engine = state.engine.get();
  if (engine->channel.InitIO(settings.io_device_name, dwDevIOType) != SL_OK)
    return give_up(TERR_SCANNER_NOT_FOUND);

  state.scan_phase = kScanIdle;
  trace_.Print("OpenScannerSession: lScanPhase %d", state.scan_phase);
  state.tone_map_pending = 0;
  state.feed_pending = 0;
  state.eject_pending = 0;
  state.io_type = dwDevIOType;
  if (state.IsNetworked()) engine->channel.SetScannerTimeouts(0, 0, kNetworkFlushTimeout);
  engine->scan.SetSwitchValues(switches.img_log);
  return S_OK;
}

HRESULT STDMETHODCALLTYPE ScannerObject::CloseScannerSession(uint32_t hSession,
                                                             uint32_t* pdwErrorCode) {
  Method method("scantk::CloseScannerSession", TRACE_API, hSession, pdwErrorCode);
  return method.Needing(Method::Needs::kSession).Run([&](SessionEntry& entry) -> HRESULT {
    int32_t count = 0;
    const bool released = Sessions().Release(entry, &count);
    if (!released) return Fail(pdwErrorCode, TERR_INVALID_SESSION);
    trace_.Print(TRACE_INFO, "CloseScannerSession: I/O nSessionReferenceCount is %d, bReturn is %d",
                 count, released);
    trace_.Print(TRACE_LOCK, "CloseScannerSession: LockCount %d ", entry.lock.GetLockCount());
    if (count > 0)
      trace_.Print("CloseScannerSession: I/O NOT shut nSessionReferenceCount is %d, bReturn is %d",
                   count, released);
    // After the last close the entry goes, and the engine with it, when the last method that still
    // works on it has returned: usually this one. An opening that failed waits for this one.
    if (count == 0 && !entry.open) entry.EndEngine();
    return S_OK;
  });
}

HRESULT STDMETHODCALLTYPE ScannerObject::LockScanner(uint32_t hSession, uint16_t wLockType,
                                                     uint32_t dwTimeout, uint32_t* pdwErrorCode) {
  Method method("scantk::LockScanner", TRACE_API | TRACE_LOCK, hSession, pdwErrorCode);
  return method.Needing(Method::Needs::kSession).Run([&](SessionEntry& entry) -> HRESULT {
    const uint32_t count = entry.lock.Lock(wLockType, dwTimeout);
    if (count == 0) return Fail(pdwErrorCode, TERR_SCANNER_LOCK_FAILED);
    trace_.Print(TRACE_LOCK, "LockScanner returned ");
    trace_.Print(TRACE_INFO, "LockScanner: LockCount %d ", count);
    // A further hold waits for the first to be connected. It connects where that failed, or where
    // another thread's last hold was just ending.
    std::lock_guard connecting(entry.connecting);
    if (entry.connected) return S_OK;
    const HRESULT result = ConnectFirstHold(entry, trace_, pdwErrorCode);
    entry.connected = SUCCEEDED(result);
    return result;
  });
}

HRESULT STDMETHODCALLTYPE ScannerObject::UnlockScanner(uint32_t hSession, uint32_t* pdwErrorCode) {
  Method method("scantk::UnlockScanner", TRACE_API | TRACE_LOCK, hSession, pdwErrorCode);
  return method.Needing(Method::Needs::kSession).Run([&](SessionEntry& entry) -> HRESULT {
    std::lock_guard connecting(entry.connecting);
    const uint32_t count = entry.lock.GetLockCount();
    trace_.Print(TRACE_INFO, "UnLockScanner: LockCount %d ", count);
    // Only the holder may touch the device; a stranger's call ends at the lock below.
    if (count == 1 && entry.lock.IsLockedByCaller() && entry.state.engine) {
      trace_.Print(TRACE_FLOW, "Disconnect from IO ");
      entry.state.engine->lock.UnLockScanner();
      entry.state.engine->channel.DisConnectFromIO();
      entry.connected = false;
    }
    if (!entry.lock.Unlock()) *pdwErrorCode = TERR_SCANNER_NOT_LOCKED;
    return S_OK;
  });
}

}  // namespace scantk
