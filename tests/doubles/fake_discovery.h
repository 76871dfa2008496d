// A discovery component that does as the test says.
#ifndef SCANTK_TESTS_DOUBLES_FAKE_DISCOVERY_H_
#define SCANTK_TESTS_DOUBLES_FAKE_DISCOVERY_H_

#include <map>
#include <string>

#include "platform/component.h"
#include "platform/discovery_interfaces.h"
#include "platform/system.h"

namespace scantk {

// Broker, store and device in one: what they answer, and what they were asked.
class FakeDiscovery final : public IDiscoveryBroker, public INetDeviceStore, public INetDevice {
 public:
  HRESULT STDMETHODCALLTYPE QueryInterface(REFIID iid, void** object) override {
    *object = iid == hidden                ? nullptr
              : iid == IID_INetDeviceStore ? static_cast<INetDeviceStore*>(this)
              : iid == IID_INetDevice      ? static_cast<INetDevice*>(this)
                                      : static_cast<void*>(static_cast<IDiscoveryBroker*>(this));
    if (!*object) return E_NOINTERFACE;
    AddRef();
    return S_OK;
  }
  ULONG STDMETHODCALLTYPE AddRef() override { return ++references; }
  ULONG STDMETHODCALLTYPE Release() override { return --references; }
  HRESULT STDMETHODCALLTYPE GetStore(IUnknown** store) override {
    if (pending-- > 0) return E_PENDING;
    return FAILED(get_store) ? get_store
                             : QueryInterface(IID_IUnknown, reinterpret_cast<void**>(store));
  }
  HRESULT STDMETHODCALLTYPE FindDevice(WideChar* a, WideChar* b, WideChar* c, WideChar* d,
                                       WideChar* guid, WideChar* mac, WideChar* g,
                                       IUnknown** device) override {
    for (const WideChar* text : {a, b, c, d, guid, mac, g}) searches += Narrow(text) + "|";
    const auto found = addresses.find(Narrow(guid) + Narrow(mac));
    if (found == addresses.end()) return E_FAIL;
    address_ = found->second;
    return QueryInterface(IID_IUnknown, reinterpret_cast<void**>(device));
  }
  HRESULT STDMETHODCALLTYPE get_Address(WideChar** address) override {
    if (SUCCEEDED(get_address)) *address = AllocSystemString(address_.c_str());
    return get_address;
  }

  // The factory of its class.
  static HRESULT Create(const GUID& iid, void** object);

  HRESULT create = S_OK;
  int pending = 0;           // so many pending answers first
  HRESULT get_store = S_OK;  // then this one
  GUID hidden = {};          // an interface that none of them has
  HRESULT get_address = S_OK;
  std::map<std::string, std::string> addresses;  // by GUID and by MAC
  std::string searches;                          // the seven criteria of each, '|' behind each
  ULONG references = 0;

 private:
  std::string address_;
};

inline FakeDiscovery discovery;

inline HRESULT FakeDiscovery::Create(const GUID& iid, void** object) {
  return FAILED(discovery.create) ? discovery.create : discovery.QueryInterface(iid, object);
}

}  // namespace scantk

#endif  // SCANTK_TESTS_DOUBLES_FAKE_DISCOVERY_H_
