// A component library of one class, as another maker would write it.
#include <atomic>

#include "platform/component_types.h"
#include "tests/platform/test_component.h"

namespace {

using scantk::kTestClass;
using scantk::kTestInterface;

bool Same(const GUID& a, const GUID& b) {
  return std::memcmp(&a, &b, sizeof a) == 0;
}

class TestObject final : public scantk::ITestNumber {
 public:
  virtual ~TestObject() = default;

  HRESULT STDMETHODCALLTYPE QueryInterface(REFIID iid, void** object) override {
    const bool known = Same(iid, IID_IUnknown) || Same(iid, kTestInterface);
    *object = known ? this : nullptr;
    if (known) AddRef();
    return known ? S_OK : E_NOINTERFACE;
  }
  ULONG STDMETHODCALLTYPE AddRef() override { return ++references_; }
  ULONG STDMETHODCALLTYPE Release() override {
    const ULONG left = --references_;
    if (left == 0) delete this;
    return left;
  }
  uint32_t STDMETHODCALLTYPE Number() override { return 42; }

 private:
  std::atomic<ULONG> references_{1};
};

class TestFactory final : public IClassFactory {
 public:
  virtual ~TestFactory() = default;

  HRESULT STDMETHODCALLTYPE QueryInterface(REFIID iid, void** object) override {
    const bool known = Same(iid, IID_IUnknown) || Same(iid, IID_IClassFactory);
    *object = known ? this : nullptr;
    return known ? S_OK : E_NOINTERFACE;
  }
  ULONG STDMETHODCALLTYPE AddRef() override { return 2; }
  ULONG STDMETHODCALLTYPE Release() override { return 1; }
  HRESULT STDMETHODCALLTYPE CreateInstance(IUnknown* outer, REFIID iid, void** object) override {
    *object = nullptr;
    if (outer) return CLASS_E_NOAGGREGATION;
    auto* made = new TestObject;
    const HRESULT result = made->QueryInterface(iid, object);
    made->Release();
    return result;
  }
  HRESULT STDMETHODCALLTYPE LockServer(BOOL) override { return S_OK; }
};

TestFactory g_factory;

}  // namespace

extern "C" HRESULT STDMETHODCALLTYPE DllGetClassObject(REFCLSID clsid, REFIID iid, void** object) {
  *object = nullptr;
  if (!Same(clsid, kTestClass)) return CLASS_E_CLASSNOTAVAILABLE;
  return g_factory.QueryInterface(iid, object);
}
