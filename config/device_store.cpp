#include "config/device_store.h"

#include "config/rediscovery.h"
#include "platform/clock.h"
#include "platform/component.h"
#include "platform/error_codes.h"
#include "platform/owner.h"

namespace scantk {
namespace {

// A store that is not ready: the time between two questions, and after which it is given up.
constexpr uint32_t kPendingSleepMs = 200;
constexpr uint32_t kPendingLimitMs = 60000;

struct SystemStringTraits {
  using Value = WideChar*;
  static Value Invalid() { return nullptr; }
  static void Close(Value text) { FreeSystemString(text); }
};
using SystemString = Owner<SystemStringTraits>;

HRESULT FindDevice(INetDeviceStore* store, const std::string& guid, const std::string& mac,
                   ComPtr<IUnknown>* device) {
  const SystemString empty(AllocSystemString(""));
  const SystemString guid_text(AllocSystemString(guid.c_str()));
  const SystemString mac_text(AllocSystemString(mac.c_str()));
  if (!empty || !guid_text || !mac_text) return E_OUTOFMEMORY;
  const HRESULT result =
      store->FindDevice(empty.Get(), empty.Get(), empty.Get(), empty.Get(), guid_text.Get(),
                        mac_text.Get(), empty.Get(), device->Out());
  return SUCCEEDED(result) && !*device ? E_FAIL : result;
}

HRESULT FindByEither(INetDeviceStore* store, const std::string& guid, const std::string& mac,
                     ComPtr<IUnknown>* device, TraceLog& trace) {
  HRESULT result = E_FAIL;
  if (!guid.empty()) {
    result = FindDevice(store, guid, "", device);
    trace.PrintText(TRACE_DEFAULT,
                    SUCCEEDED(result) ? "Find by GUID SUCCEEDED" : "Find by GUID FAILED");
  }
  if (FAILED(result) && !mac.empty()) {
    trace.PrintText(TRACE_DEFAULT, "Find by GUID FAILED, trying MAC");
    result = FindDevice(store, "", mac, device);
    trace.PrintText(TRACE_DEFAULT,
                    SUCCEEDED(result) ? "Find by MAC SUCCEEDED" : "Find by MAC FAILED");
  }
  return result;
}

// A found object that is no device record passes its own refusal on: it has told no address.
HRESULT AddressOf(IUnknown* found, std::string* address, TraceLog& trace) {
  ComPtr<INetDevice> device;
  HRESULT result = found->QueryInterface(IID_INetDevice, device.OutVoid());
  if (FAILED(result) || !device) return FAILED(result) ? result : E_NOINTERFACE;
  WideChar* raw = nullptr;
  result = device->get_Address(&raw);
  const SystemString text(raw);
  if (FAILED(result)) {
    trace.PrintText(TRACE_DEFAULT, "get_Address FAILED");
    trace.Print("0x%08X", result);
    return result;
  }
  const std::string narrow = text ? Narrow(text.Get()) : std::string();
  if (narrow.empty()) {
    trace.PrintText(TRACE_DEFAULT, "get_Address FAILED");
    return result;
  }
  *address = narrow.substr(0, kRediscoveryValueSize - 1);
  trace.PrintText(TRACE_DEFAULT, "get_Address returned:");
  trace.PrintText(TRACE_DEFAULT, address->c_str());
  return result;
}

}  // namespace

uint32_t AskDeviceStore(const std::string& guid, const std::string& mac, std::string* address,
                        TraceLog& trace) {
  ComPtr<INetDeviceStore> store;
  if (const uint32_t failure = GetDeviceStore(store.Out(), 0, trace); failure != 0) return failure;
  trace.PrintText(TRACE_DEFAULT, "Able to access pINetDeviceStore");
  ComPtr<IUnknown> found;
  const HRESULT result = FindByEither(store.Get(), guid, mac, &found, trace);
  return static_cast<uint32_t>(FAILED(result) ? result : AddressOf(found.Get(), address, trace));
}

uint32_t GetDeviceStore(INetDeviceStore** store, uint32_t limit_ms, TraceLog& trace) {
  const uint32_t start = TheClock().TickCount();
  if (!store) return static_cast<uint32_t>(E_POINTER);
  *store = nullptr;
  ComPtr<IDiscoveryBroker> broker;
  const HRESULT created =
      CreateComponent(CLSID_DiscoveryBroker, IID_IDiscoveryBroker, broker.OutVoid());
  if (FAILED(created)) return static_cast<uint32_t>(created);
  if (!broker) return static_cast<uint32_t>(E_FAIL);
  for (;;) {
    ComPtr<IUnknown> object;
    const HRESULT result = broker->GetStore(object.Out());
    const uint32_t passed = TheClock().TickCount() - start;
    if (result == E_PENDING && passed >= kPendingLimitMs) {
      trace.Print(TRACE_CLASS_ERROR, "GetDeviceStore: still pending after %d ms", passed);
      return error::kStoreTimeout;
    } else if (result == E_PENDING) {
      TheClock().Sleep(kPendingSleepMs);
    } else if (SUCCEEDED(result) && object) {
      // An object that is no store would be none the next time either.
      const HRESULT query =
          object->QueryInterface(IID_INetDeviceStore, reinterpret_cast<void**>(store));
      return static_cast<uint32_t>(SUCCEEDED(query) && !*store ? E_NOINTERFACE : query);
    } else if (passed > limit_ms) {
      return error::kStoreTimeout;
    }
  }
}

}  // namespace scantk
