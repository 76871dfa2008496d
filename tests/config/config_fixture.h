// A registry with imaging devices, a discovery component that does as the test says, and a trace of
// every category.
#ifndef SCANTK_TESTS_CONFIG_CONFIG_FIXTURE_H_
#define SCANTK_TESTS_CONFIG_CONFIG_FIXTURE_H_

#include <cstring>
#include <map>
#include <string>
#include <vector>

#include "platform/component.h"
#include "platform/discovery_interfaces.h"
#include "platform/registry.h"
#include "platform/system.h"
#include "tests/diag/trace_fixture.h"

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

class ConfigFixture : public TraceFixture {
 protected:
  // A vendor of the tests' own keeps the per-user key out of everybody's way.
  static constexpr char kVendor[] = "scantk tests";

  ConfigFixture() {
    discovery = {};
    RegisterBuiltInClass(CLSID_DiscoveryBroker, [](const GUID& iid, void** object) {
      return FAILED(discovery.create) ? discovery.create : discovery.QueryInterface(iid, object);
    });
  }
  ~ConfigFixture() override {
    EXPECT_EQ(0u, discovery.references);
    for (const std::string& name : made_) Make(kImagingClassPath).DeleteSubtree(name);
    Make("Software", RegistryRoot::kCurrentUser).DeleteSubtree(kVendor);
  }

  static RegistryKey Make(const std::string& path,
                          RegistryRoot root = RegistryRoot::kLocalMachine) {
    RegistryKey key;
    EXPECT_EQ(0u, RegistryKey::Create(root, path, &key, nullptr)) << path;
    return key;
  }
  // A device's key and its DeviceData.
  RegistryKey Instance(const std::string& name) {
    made_.push_back(name);
    RegistryKey key = Make(std::string(kImagingClassPath) + "\\" + name);
    Set(key, "Vendor", kVendor);
    return key;
  }
  static RegistryKey Data(const std::string& name) {
    return Make(std::string(kImagingClassPath) + "\\" + name + "\\DeviceData");
  }
  static RegistryKey User(const std::string& subkey = "") {
    return Make(std::string("Software\\") + kVendor + "\\Imvanta\\RIX Settings" + subkey,
                RegistryRoot::kCurrentUser);
  }

  static void Set(RegistryKey& key, const char* name, const std::string& text) {
    EXPECT_EQ(0u, key.SetString(name, text.c_str(), static_cast<uint32_t>(text.size()) + 1));
  }
  // A value as text: strings without their terminator, numbers in decimal, "none" when missing.
  static std::string Get(const RegistryKey& key, const char* name) {
    char bytes[600] = {};
    uint32_t size = sizeof bytes - 1, number = 0;
    RegistryType type;
    if (key.QueryValue(name, &type, bytes, &size) != 0) return "none";
    std::memcpy(&number, bytes, sizeof number);
    return type == RegistryType::kDword ? std::to_string(number) : bytes;
  }

 private:
  std::vector<std::string> made_;
};

}  // namespace scantk

#endif  // SCANTK_TESTS_CONFIG_CONFIG_FIXTURE_H_
