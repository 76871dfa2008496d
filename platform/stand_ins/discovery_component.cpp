#include "platform/stand_ins/discovery_component.h"

#include <atomic>
#include <new>
#include <string>
#include <utility>
#include <vector>

#include "platform/component.h"
#include "platform/discovery_interfaces.h"
#include "platform/stand_ins.h"
#include "platform/stand_ins/discovery_store.h"
#include "platform/system.h"

namespace scantk {
namespace {

// The three standard methods of an object with one interface; made with one reference.
template <class Interface, const GUID& kIid>
class Counted : public Interface {
 public:
  HRESULT QueryInterface(REFIID iid, void** object) override {
    if (!object) return E_POINTER;
    *object = iid == kIid || iid == IID_IUnknown ? static_cast<Interface*>(this) : nullptr;
    if (!*object) return E_NOINTERFACE;
    AddRef();
    return S_OK;
  }
  ULONG AddRef() override { return ++references_; }
  ULONG Release() override {
    const ULONG left = --references_;
    if (left == 0) delete this;
    return left;
  }

 protected:
  virtual ~Counted() = default;

 private:
  std::atomic<ULONG> references_ = 1;
};

class NetDevice final : public Counted<INetDevice, IID_INetDevice> {
 public:
  explicit NetDevice(std::string address) : address_(std::move(address)) {}

  HRESULT get_Address(WideChar** address) override {
    if (!address) return E_POINTER;
    *address = AllocSystemString(address_.c_str());
    return *address ? S_OK : E_OUTOFMEMORY;
  }

 private:
  const std::string address_;
};

class NetDeviceStore final : public Counted<INetDeviceStore, IID_INetDeviceStore> {
 public:
  explicit NetDeviceStore(std::vector<StoredDevice> devices) : devices_(std::move(devices)) {}

  HRESULT FindDevice(WideChar*, WideChar*, WideChar*, WideChar*, WideChar* guid, WideChar* mac,
                     WideChar*, IUnknown** device) override try {
    if (!device) return E_POINTER;
    *device = nullptr;
    const std::string guid_text = guid ? Narrow(guid) : std::string();
    const std::string mac_text = mac ? Narrow(mac) : std::string();
    StoredDevice found;
    if (!FindStoredDevice(devices_, ReadNeighbourTable(), guid_text, mac_text, &found))
      return E_FAIL;
    *device = new NetDevice(std::move(found.address));
    return S_OK;
  } catch (const std::bad_alloc&) {
    return E_OUTOFMEMORY;
  }

 private:
  const std::vector<StoredDevice> devices_;
};

class DiscoveryBroker final : public Counted<IDiscoveryBroker, IID_IDiscoveryBroker> {
 public:
  HRESULT GetStore(IUnknown** store) override try {
    if (!store) return E_POINTER;
    *store = nullptr;
    std::vector<StoredDevice> devices;
    if (!loader_.Load(&devices)) return E_PENDING;
    *store = new NetDeviceStore(std::move(devices));
    return S_OK;
  } catch (const std::bad_alloc&) {
    return E_OUTOFMEMORY;
  }

 private:
  DeviceStoreLoader loader_{DeviceStorePath()};
};

}  // namespace

HRESULT CreateDiscoveryBroker(const GUID& iid, void** object) try {
  if (!object) return E_POINTER;
  auto* broker = new DiscoveryBroker;
  const HRESULT result = broker->QueryInterface(iid, object);
  broker->Release();
  return result;
} catch (const std::bad_alloc&) {
  return E_OUTOFMEMORY;
}

void RegisterPlatformStandIns() {
  RegisterBuiltInClass(CLSID_DiscoveryBroker, CreateDiscoveryBroker);
}

}  // namespace scantk
