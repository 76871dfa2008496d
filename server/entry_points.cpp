// The entry points of the component library.
#include "platform/component_support.h"

#define SCANTK_ENTRY_POINT extern "C" SCANTK_LIBRARY_EXPORT HRESULT SCANTK_SUPPORT_CALL

using scantk::TheModule;

SCANTK_ENTRY_POINT DllCanUnloadNow() {
  return scantk::ModuleLockCount() == 0 ? S_OK : S_FALSE;
}

SCANTK_ENTRY_POINT DllGetClassObject(REFCLSID clsid, REFIID iid, void** object) {
  if (!object) return E_POINTER;
  *object = nullptr;
  return scantk::AtlModuleGetClassObject(&TheModule(), clsid, iid, object);
}

SCANTK_ENTRY_POINT DllRegisterServer() {
  return scantk::AtlModuleRegisterServer(&TheModule(), true, nullptr);
}

SCANTK_ENTRY_POINT DllUnregisterServer() {
  return scantk::UnregisterModule();
}
