// A discovery component that does as the test says.
#ifndef SCANTK_TESTS_CONFIG_FAKE_DISCOVERY_H_
#define SCANTK_TESTS_CONFIG_FAKE_DISCOVERY_H_

#include <map>
#include <string>
#include <vector>

#include "platform/component.h"
#include "platform/discovery_interfaces.h"
#include "platform/system.h"

namespace scantk {

// What the component answers, and what it was asked. Reset before each test.
struct DiscoveryScript {
  HRESULT create = S_OK;
  int pending = 0;               // so many pending answers first
  HRESULT get_store = S_OK;      // then this one
  bool store_is_store = true;    // the object handed out answers to the store's interface
  bool device_is_device = true;  // the same of found devices
  HRESULT get_address = S_OK;
  std::map<std::string, std::string> addresses;  // by GUID and by MAC

  std::vector<std::string> searches;  // the seven criteria of each, joined by '|'
  int references = 0;                 // of all objects together
};
inline DiscoveryScript& Script() {
  static DiscoveryScript script;
  return script;
}

// Three standard methods for an object that lives on the heap.
template <class Interface, const GUID& kIid>
class FakeObject : public Interface {
 public:
  FakeObject() { ++Script().references; }
  HRESULT STDMETHODCALLTYPE QueryInterface(REFIID iid, void** object) override {
    *object = nullptr;
    if (iid != IID_IUnknown && (iid != kIid || !Answers())) return E_NOINTERFACE;
    *object = this;
    AddRef();
    return S_OK;
  }
  ULONG STDMETHODCALLTYPE AddRef() override {
    ++Script().references;
    return ++count_;
  }
  ULONG STDMETHODCALLTYPE Release() override {
    --Script().references;
    const ULONG left = --count_;
    if (left == 0) delete this;
    return left;
  }

 protected:
  virtual ~FakeObject() = default;
  virtual bool Answers() const { return true; }

 private:
  ULONG count_ = 1;
};

class FakeDevice final : public FakeObject<INetDevice, IID_INetDevice> {
 public:
  explicit FakeDevice(std::string address) : address_(std::move(address)) {}
  HRESULT STDMETHODCALLTYPE get_Address(WideChar** address) override {
    if (FAILED(Script().get_address)) return Script().get_address;
    *address = AllocSystemString(address_.c_str());
    return Script().get_address;
  }

 protected:
  bool Answers() const override { return Script().device_is_device; }

 private:
  std::string address_;
};

class FakeStore final : public FakeObject<INetDeviceStore, IID_INetDeviceStore> {
 public:
  HRESULT STDMETHODCALLTYPE FindDevice(WideChar* a, WideChar* b, WideChar* c, WideChar* d,
                                       WideChar* guid, WideChar* mac, WideChar* g,
                                       IUnknown** device) override {
    std::string search;
    for (const WideChar* text : {a, b, c, d, guid, mac, g}) search += Narrow(text) + "|";
    Script().searches.push_back(search);
    const std::string wanted = Narrow(guid) + Narrow(mac);
    const auto found = Script().addresses.find(wanted);
    if (found == Script().addresses.end()) return E_FAIL;
    *device = new FakeDevice(found->second);
    return S_OK;
  }

 protected:
  bool Answers() const override { return Script().store_is_store; }
};

class FakeBroker final : public FakeObject<IDiscoveryBroker, IID_IDiscoveryBroker> {
 public:
  static HRESULT Create(const GUID& iid, void** object) {
    if (FAILED(Script().create)) return Script().create;
    auto* broker = new FakeBroker;
    const HRESULT result = broker->QueryInterface(iid, object);
    broker->Release();
    return result;
  }
  HRESULT STDMETHODCALLTYPE GetStore(IUnknown** store) override {
    if (Script().pending > 0) {
      --Script().pending;
      return E_PENDING;
    }
    if (FAILED(Script().get_store)) return Script().get_store;
    *store = new FakeStore;
    return S_OK;
  }
};

}  // namespace scantk

#endif  // SCANTK_TESTS_CONFIG_FAKE_DISCOVERY_H_
