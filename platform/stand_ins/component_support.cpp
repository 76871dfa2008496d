// The component support library where the system brings none.
#include "platform/component_support.h"

#include <dlfcn.h>

#include <atomic>
#include <map>
#include <mutex>
#include <string>
#include <vector>

#include "platform/component.h"
#include "platform/error_codes.h"
#include "platform/registry.h"
#include "platform/stand_ins/registration_script.h"
#include "platform/system.h"

namespace scantk {
namespace {

constexpr char kCategories[] = "Implemented Categories";

std::mutex& ModuleMutex() {
  static std::mutex* mutex = new std::mutex;
  return *mutex;
}

std::map<int, const char*>& Resources() {
  static auto* resources = new std::map<int, const char*>;
  return *resources;
}

HRESULT WriteEntry(const ScriptEntry& entry) {
  RegistryKey root;
  uint32_t error =
      RegistryKey::Open(RegistryRoot::kClassesRoot, "", RegistryAccess::kReadWrite, &root);
  if (!error && entry.removal == ScriptEntry::Removal::kWhole) root.DeleteSubtree(entry.path);
  RegistryKey key;
  if (!error) error = RegistryKey::Create(RegistryRoot::kClassesRoot, entry.path, &key, nullptr);
  if (!error && entry.hasText)
    error = key.SetString(entry.valueName, entry.text.c_str(),
                          static_cast<uint32_t>(entry.text.size() + 1));
  return error ? error::ToResult(error) : S_OK;
}

// Keys are taken out innermost first, so that one whose own keys are gone is empty.
void RemoveEntries(const std::vector<ScriptEntry>& entries) {
  RegistryKey root;
  if (RegistryKey::Open(RegistryRoot::kClassesRoot, "", RegistryAccess::kReadWrite, &root)) return;
  for (auto entry = entries.rbegin(); entry != entries.rend(); ++entry) {
    if (entry->isValue || entry->removal == ScriptEntry::Removal::kNever) continue;
    RegistryKey key;
    if (root.OpenSubkey(entry->path, RegistryAccess::kRead, &key)) continue;
    std::string child;
    const bool empty = key.EnumerateSubkey(0, &child) == error::kNoMoreItems;
    key.Close();
    if (empty || entry->removal == ScriptEntry::Removal::kWhole) root.DeleteSubtree(entry->path);
  }
}

const ObjectMapEntry* FindClass(ModuleRecord* module, const GUID& clsid) {
  for (const ObjectMapEntry* entry = module->objectMap; entry && entry->clsid; ++entry)
    if (*entry->clsid == clsid) return entry;
  return nullptr;
}

template <class Step>
HRESULT ForEachClass(ModuleRecord* module, const GUID* clsid, Step step) {
  for (ObjectMapEntry* entry = module->objectMap; entry && entry->clsid; ++entry) {
    if (clsid && *clsid != *entry->clsid) continue;
    HRESULT result = step(*entry);
    if (FAILED(result)) return result;
  }
  return S_OK;
}

}  // namespace

HRESULT AtlModuleInit(ModuleRecord* module, ObjectMapEntry* map, void* instance) {
  if (!module || module->size != sizeof(ModuleRecord)) return E_INVALIDARG;
  *module = {};
  module->size = sizeof(ModuleRecord);
  module->instance = module->resourceInstance = module->typeLibraryInstance = instance;
  module->objectMap = map;
  return S_OK;
}

HRESULT AtlModuleTerm(ModuleRecord* module) {
  return ForEachClass(module, nullptr, [](ObjectMapEntry& entry) {
    if (entry.classObject) entry.classObject->Release();
    entry.classObject = nullptr;
    return S_OK;
  });
}

HRESULT AtlModuleGetClassObject(ModuleRecord* module, REFCLSID clsid, REFIID iid, void** object) {
  auto* entry = const_cast<ObjectMapEntry*>(FindClass(module, clsid));
  if (!entry) return CLASS_E_CLASSNOTAVAILABLE;
  std::lock_guard guard(ModuleMutex());
  if (!entry->classObject) {
    HRESULT made =
        entry->createClassObject(reinterpret_cast<void*>(entry->createInstance), IID_IUnknown,
                                 reinterpret_cast<void**>(&entry->classObject));
    if (FAILED(made)) return made;
  }
  return entry->classObject->QueryInterface(iid, object);
}

HRESULT AtlInternalQueryInterface(void* object, const InterfaceMapEntry* map, REFIID iid,
                                  void** out) {
  const bool unknown = iid == IID_IUnknown;
  for (const InterfaceMapEntry* entry = map; entry->kind; ++entry) {
    if (!unknown && *entry->iid != iid) continue;
    auto* table = reinterpret_cast<IUnknown*>(reinterpret_cast<uintptr_t>(object) + entry->offset);
    table->AddRef();
    *out = table;
    return S_OK;
  }
  return E_NOINTERFACE;
}

HRESULT AtlModuleUpdateRegistryFromResourceD(ModuleRecord* module, const WideChar* resource,
                                             BOOL do_register, void*, void*) {
  const char* script = nullptr;
  {
    std::lock_guard guard(ModuleMutex());
    auto found = Resources().find(static_cast<int>(reinterpret_cast<uintptr_t>(resource)));
    if (found != Resources().end()) script = found->second;
  }
  std::vector<ScriptEntry> entries;
  if (!script || !ParseRegistrationScript(script, ModulePath(module->instance), &entries))
    return E_FAIL;
  if (!do_register) {
    RemoveEntries(entries);
    return S_OK;
  }
  for (const ScriptEntry& entry : entries)
    if (HRESULT result = WriteEntry(entry); FAILED(result)) return result;
  return S_OK;
}

HRESULT AtlRegisterClassCategoriesHelper(REFCLSID clsid, const CategoryMapEntry* map,
                                         BOOL do_register) {
  const std::string base = "CLSID\\" + GuidText(clsid) + "\\" + kCategories;
  for (; map && map->kind; ++map) {
    if (!do_register) continue;
    RegistryKey key;
    uint32_t error = RegistryKey::Create(RegistryRoot::kClassesRoot,
                                         base + "\\" + GuidText(*map->category), &key, nullptr);
    if (error) return error::ToResult(error);
  }
  if (do_register) return S_OK;
  RegistryKey root;
  if (!RegistryKey::Open(RegistryRoot::kClassesRoot, "", RegistryAccess::kReadWrite, &root))
    root.DeleteSubtree(base);
  return S_OK;
}

// There is no type library here: its part of the registration is left out.
HRESULT AtlModuleRegisterServer(ModuleRecord* module, BOOL, const GUID* clsid) {
  return ForEachClass(module, clsid, [](ObjectMapEntry& entry) {
    HRESULT result = entry.updateRegistry(true);
    return FAILED(result)
               ? result
               : AtlRegisterClassCategoriesHelper(*entry.clsid, entry.categories(), true);
  });
}

HRESULT AtlModuleUnregisterServerEx(ModuleRecord* module, BOOL, const GUID* clsid) {
  return ForEachClass(module, clsid, [](ObjectMapEntry& entry) {
    AtlRegisterClassCategoriesHelper(*entry.clsid, entry.categories(), false);
    return entry.updateRegistry(false);
  });
}

HRESULT UnregisterModule() {
  return AtlModuleUnregisterServerEx(&TheModule(), true, nullptr);
}

ModuleRecord& TheModule() {
  static ModuleRecord module = {};
  return module;
}

void LockModule() {
  std::atomic_ref(TheModule().lockCount).fetch_add(1);
}
void UnlockModule() {
  std::atomic_ref(TheModule().lockCount).fetch_sub(1);
}
int32_t ModuleLockCount() {
  return std::atomic_ref(TheModule().lockCount).load();
}

ModulePin::ModulePin() : library_(nullptr) {
  LockModule();
  Dl_info info;
  if (dladdr(&TheModule(), &info) != 0) library_ = dlopen(info.dli_fname, RTLD_NOW | RTLD_NOLOAD);
}
ModulePin::~ModulePin() {
  UnlockModule();
  if (library_) dlclose(library_);
}

void* ModuleInstance(const void* address) {
  return const_cast<void*>(address);
}

void IgnoreThreads(void*) {}

const WideChar* ResourceName(int id) {
  return reinterpret_cast<const WideChar*>(static_cast<uintptr_t>(id));
}

void SetTextResource(int id, const char* text) {
  std::lock_guard guard(ModuleMutex());
  Resources()[id] = text;
}

}  // namespace scantk
