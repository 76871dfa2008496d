// A class that this process serves to itself, as an installed component would be.
#ifndef SCANTK_TESTS_WINDOWS_COM_CLASS_H_
#define SCANTK_TESTS_WINDOWS_COM_CLASS_H_

#include <objbase.h>

#include "contract/component_types.h"

namespace scantk::test {

// The component runtime finds the class `clsid` here while this lives; `create` makes its objects.
class ServedClass final : public IClassFactory {
 public:
  using Create = HRESULT (*)(const GUID& iid, void** object);

  ServedClass(const CLSID& clsid, Create create) : create_(create) {
    CoRegisterClassObject(clsid, this, CLSCTX_INPROC_SERVER, REGCLS_MULTIPLEUSE, &cookie_);
  }
  ~ServedClass() { CoRevokeClassObject(cookie_); }
  ServedClass(const ServedClass&) = delete;
  ServedClass& operator=(const ServedClass&) = delete;

  HRESULT STDMETHODCALLTYPE QueryInterface(REFIID iid, void** object) override {
    const bool known = iid == IID_IUnknown || iid == IID_IClassFactory;
    *object = known ? this : nullptr;
    return known ? S_OK : E_NOINTERFACE;
  }
  // It lives as long as its owner says.
  ULONG STDMETHODCALLTYPE AddRef() override { return 2; }
  ULONG STDMETHODCALLTYPE Release() override { return 1; }
  HRESULT STDMETHODCALLTYPE CreateInstance(IUnknown* outer, REFIID iid, void** object) override {
    return outer ? CLASS_E_NOAGGREGATION : create_(iid, object);
  }
  HRESULT STDMETHODCALLTYPE LockServer(BOOL) override { return S_OK; }

 private:
  Create create_;
  DWORD cookie_ = 0;
};

}  // namespace scantk::test

#endif  // SCANTK_TESTS_WINDOWS_COM_CLASS_H_
