// What the component server needs beside ATL.DLL, whose functions are entered by ordinal (atl.def).
#include "platform/component_support.h"

#include <oleauto.h>

#include "platform/component.h"
#include "platform/registry.h"

namespace scantk {
namespace {

bool IsRegistered(const GUID& clsid) {
  RegistryKey key;
  return RegistryKey::Open(RegistryRoot::kClassesRoot, "CLSID\\" + GuidText(clsid),
                           RegistryAccess::kRead, &key) == 0;
}

// The type library that this module's file carries.
void UnregisterTypeLibrary(HMODULE module) {
  wchar_t path[MAX_PATH];
  const DWORD length = GetModuleFileNameW(module, path, MAX_PATH);
  if (length == 0 || length == MAX_PATH) return;
  ITypeLib* library = nullptr;
  if (FAILED(LoadTypeLibEx(path, REGKIND_NONE, &library))) return;
  TLIBATTR* attributes = nullptr;
  if (SUCCEEDED(library->GetLibAttr(&attributes))) {
    UnRegisterTypeLib(attributes->guid, attributes->wMajorVerNum, attributes->wMinorVerNum,
                      attributes->lcid, attributes->syskind);
    library->ReleaseTLibAttr(attributes);
  }
  library->Release();
}

}  // namespace

HRESULT UnregisterModule() {
  ModuleRecord& module = TheModule();
  HRESULT result = AtlModuleUnregisterServerEx(&module, TRUE, nullptr);
  // Some support libraries answer success and leave everything. The order matters: a key is only
  // taken out once the keys below it are gone.
  for (ObjectMapEntry* entry = module.objectMap; entry->clsid; ++entry) {
    if (!IsRegistered(*entry->clsid)) continue;
    AtlRegisterClassCategoriesHelper(*entry->clsid, entry->categories(), FALSE);
    result = entry->updateRegistry(FALSE);
    UnregisterTypeLibrary(static_cast<HMODULE>(module.typeLibraryInstance));
  }
  return result;
}

ModuleRecord& TheModule() {
  static ModuleRecord module = {};
  return module;
}

void LockModule() {
  InterlockedIncrement(reinterpret_cast<LONG*>(&TheModule().lockCount));
}
void UnlockModule() {
  InterlockedDecrement(reinterpret_cast<LONG*>(&TheModule().lockCount));
}
int32_t ModuleLockCount() {
  return InterlockedOr(reinterpret_cast<LONG*>(&TheModule().lockCount), 0);
}

ModulePin::ModulePin() : library_(nullptr) {
  LockModule();
  HMODULE module = nullptr;
  if (GetModuleHandleExA(GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS,
                         reinterpret_cast<const char*>(&TheModule()), &module))
    library_ = module;
}
ModulePin::~ModulePin() {
  UnlockModule();
  if (library_) FreeLibrary(static_cast<HMODULE>(library_));
}

void* ModuleInstance(const void* address) {
  HMODULE module = nullptr;
  GetModuleHandleExA(
      GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS | GET_MODULE_HANDLE_EX_FLAG_UNCHANGED_REFCOUNT,
      static_cast<const char*>(address), &module);
  return module;
}

void IgnoreThreads(void* instance) {
  DisableThreadLibraryCalls(static_cast<HMODULE>(instance));
}

const WideChar* ResourceName(int id) {
  return MAKEINTRESOURCEW(id);
}

void SetTextResource(int, const char*) {}

}  // namespace scantk
