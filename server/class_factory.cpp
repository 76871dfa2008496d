#include "server/class_factory.h"

#include <atomic>
#include <new>

namespace scantk {
namespace {

class ClassFactory final : public IClassFactory {
 public:
  explicit ClassFactory(ObjectCreator creator) : creator_(creator) {}

  HRESULT STDMETHODCALLTYPE QueryInterface(REFIID iid, void** object) override {
    static const InterfaceMapEntry kMap[] = {{&IID_IClassFactory, 0, kPlainInterface},
                                             {nullptr, 0, 0}};
    if (!object) return E_POINTER;
    *object = nullptr;
    return AtlInternalQueryInterface(this, kMap, iid, object);
  }
  ULONG STDMETHODCALLTYPE AddRef() override { return ++references_; }
  ULONG STDMETHODCALLTYPE Release() override {
    ULONG left = --references_;
    if (left == 0) delete this;
    return left;
  }
  HRESULT STDMETHODCALLTYPE CreateInstance(IUnknown* outer, REFIID iid, void** object) override {
    return creator_(outer, iid, object);
  }
  HRESULT STDMETHODCALLTYPE LockServer(BOOL lock) override {
    lock ? LockModule() : UnlockModule();
    return S_OK;
  }

 private:
  ~ClassFactory() = default;

  ObjectCreator creator_;
  std::atomic<ULONG> references_{0};
};

}  // namespace

HRESULT SCANTK_SUPPORT_CALL CreateClassFactory(void* creator, REFIID iid, void** object) {
  if (!object) return E_POINTER;
  *object = nullptr;
  auto* factory = new (std::nothrow) ClassFactory(reinterpret_cast<ObjectCreator>(creator));
  if (!factory) return E_OUTOFMEMORY;
  factory->AddRef();
  HRESULT result = factory->QueryInterface(iid, object);
  factory->Release();
  return result;
}

}  // namespace scantk
