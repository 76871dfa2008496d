#include "scanner/scanner_object.h"

#include <new>

namespace scantk {

// The rows of the interface map, in the order in which QueryInterface searches them.
struct InterfaceMap {
  template <class Table>
  static uintptr_t Offset() {
    // A pointer that is no object, far from null so that the cast moves it.
    constexpr uintptr_t kAnywhere = 0x10000;
    auto* object = reinterpret_cast<ScannerObject*>(kAnywhere);
    return reinterpret_cast<uintptr_t>(static_cast<Table*>(object)) - kAnywhere;
  }
  static const InterfaceMapEntry* Rows() {
    static const InterfaceMapEntry rows[] = {
        {&IID_IScanner, Offset<IScanner>(), kPlainInterface},
        {&IID_IADF, Offset<IADF3>(), kPlainInterface},
        {&IID_IADF2, Offset<IADF3>(), kPlainInterface},
        {&IID_IADF3, Offset<IADF3>(), kPlainInterface},
        {&IID_ICompression, Offset<ICompression>(), kPlainInterface},
        {&IID_IHWProperty, Offset<IHWProperty>(), kPlainInterface},
        {&IID_IControlPanel, Offset<IControlPanel>(), kPlainInterface},
        {&IID_IReserve, Offset<IReserve>(), kPlainInterface},
        {&IID_ISPF, Offset<ISPF>(), kPlainInterface},
        {nullptr, 0, 0},
    };
    return rows;
  }
};

ScannerObject::SettingsReference::SettingsReference() {
  AcquireTraceSettings(CLSID_scanner);
}
ScannerObject::SettingsReference::~SettingsReference() {
  ReleaseTraceSettings();
}

ScannerObject::ScannerObject(IUnknown* outer) : inner_(this), outer_(outer ? outer : &inner_) {
  LockModule();
  trace_.Print(TRACE_API, "scantk::Constructor");
}

ScannerObject::~ScannerObject() {
  trace_.Print(TRACE_API, "scantk::Destructor");
  UnlockModule();
}

HRESULT SCANTK_SUPPORT_CALL ScannerObject::Create(void* outer, REFIID iid, void** object) {
  if (!object) return E_POINTER;
  *object = nullptr;
  // An aggregating object must hold the inner unknown, or it could never be let go of.
  if (outer && iid != IID_IUnknown) return CLASS_E_NOAGGREGATION;
  try {
    auto* made = new ScannerObject(static_cast<IUnknown*>(outer));
    made->inner_.AddRef();
    HRESULT result = made->inner_.QueryInterface(iid, object);
    made->inner_.Release();
    return result;
  } catch (...) {
    return E_OUTOFMEMORY;
  }
}

HRESULT STDMETHODCALLTYPE ScannerObject::Inner::QueryInterface(REFIID iid, void** out) {
  if (!out) return E_POINTER;
  *out = nullptr;
  // Within an aggregate the inner unknown must be told from the outer object's.
  if (object->outer_ != this && iid == IID_IUnknown) {
    AddRef();
    *out = this;
    return S_OK;
  }
  return AtlInternalQueryInterface(object, InterfaceMap::Rows(), iid, out);
}

ULONG STDMETHODCALLTYPE ScannerObject::Inner::AddRef() {
  return ++object->references_;
}

ULONG STDMETHODCALLTYPE ScannerObject::Inner::Release() {
  ULONG left = --object->references_;
  if (left == 0) delete object;
  return left;
}

HRESULT STDMETHODCALLTYPE ScannerObject::QueryInterface(REFIID iid, void** object) {
  return outer_->QueryInterface(iid, object);
}
ULONG STDMETHODCALLTYPE ScannerObject::AddRef() {
  return outer_->AddRef();
}
ULONG STDMETHODCALLTYPE ScannerObject::Release() {
  return outer_->Release();
}

DeviceSwitches ScannerObject::Switches() const {
  std::lock_guard guard(switches_mutex_);
  return switches_;
}

}  // namespace scantk
