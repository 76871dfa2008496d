#include "platform/component.h"

#include <dlfcn.h>

#include <cstdlib>
#include <map>
#include <mutex>
#include <new>

#include "platform/built_in_classes.h"
#include "platform/owner.h"
#include "platform/posix/unicode.h"
#include "platform/registry_values.h"

namespace scantk {
namespace {

constexpr HRESULT kModuleNotFound = static_cast<HRESULT>(0x8007007E);
constexpr HRESULT kEntryPointNotFound = static_cast<HRESULT>(0x8007007F);

// The library that the registry names for a class; empty when it names none.
std::string RegisteredLibrary(const GUID& clsid) {
  RegistryKey key;
  const std::string path = "CLSID\\" + GuidText(clsid) + "\\InprocServer32";
  if (RegistryKey::Open(RegistryRoot::kClassesRoot, path, RegistryAccess::kRead, &key) != 0) {
    return std::string();
  }
  char library[4096];
  return QueryText(key, "", library, sizeof library) ? library : std::string();
}

struct TableEntry {
  ComPtr<IUnknown> object;
  GUID iid;
};
struct InterfaceTable {
  std::mutex mutex;
  std::map<uint32_t, TableEntry> entries;
  uint32_t last_cookie = 0;
};
InterfaceTable& TheInterfaceTable() {
  static auto* table = new InterfaceTable;
  return *table;
}

// A system string's length prefix lies directly before its text; eight bytes keep both aligned.
constexpr size_t kStringPrefix = 8;

}  // namespace

HRESULT CreateComponent(const GUID& clsid, const GUID& iid, void** object) {
  if (!object) return E_POINTER;
  *object = nullptr;
  const std::string library = RegisteredLibrary(clsid);
  if (!library.empty()) return CreateComponentFrom(library, clsid, iid, object);
  return CreateBuiltIn(clsid, iid, object);
}

HRESULT GetClassObjectFrom(const std::string& path, const GUID& clsid, const GUID& iid,
                           void** object) {
  if (!object) return E_POINTER;
  *object = nullptr;
  void* library = dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL | RTLD_NODELETE);
  if (!library) return kModuleNotFound;
  using GetClassObject = HRESULT (*)(REFCLSID, REFIID, void**);
  auto get_class_object = reinterpret_cast<GetClassObject>(dlsym(library, "DllGetClassObject"));
  return get_class_object ? get_class_object(clsid, iid, object) : kEntryPointNotFound;
}

HRESULT CreateComponentFrom(const std::string& path, const GUID& clsid, const GUID& iid,
                            void** object) {
  if (!object) return E_POINTER;
  *object = nullptr;
  ComPtr<IClassFactory> factory;
  const HRESULT result = GetClassObjectFrom(path, clsid, IID_IClassFactory, factory.OutVoid());
  if (FAILED(result)) return result;
  return factory ? factory->CreateInstance(nullptr, iid, object) : E_UNEXPECTED;
}

HRESULT InitializeComponents() {
  return S_OK;
}

void UninitializeComponents() {}

void* TaskAlloc(size_t bytes) {
  return std::malloc(bytes == 0 ? 1 : bytes);
}

void TaskFree(void* memory) {
  std::free(memory);
}

bool GlobalInterfaceTable::Available() {
  return true;
}

HRESULT GlobalInterfaceTable::Register(IUnknown* object, const GUID& iid, uint32_t* cookie) {
  if (!object || !cookie) return E_INVALIDARG;
  *cookie = 0;
  TableEntry entry = {{}, iid};
  const HRESULT result = object->QueryInterface(iid, entry.object.OutVoid());
  if (FAILED(result)) return result;
  InterfaceTable& table = TheInterfaceTable();
  std::lock_guard<std::mutex> lock(table.mutex);
  try {
    table.entries.emplace(++table.last_cookie, entry);
  } catch (const std::bad_alloc&) {
    return E_OUTOFMEMORY;
  }
  *cookie = table.last_cookie;
  return S_OK;
}

HRESULT GlobalInterfaceTable::Revoke(uint32_t cookie) {
  InterfaceTable& table = TheInterfaceTable();
  ComPtr<IUnknown> object;  // released outside the lock: its destructor may use the table
  std::lock_guard<std::mutex> lock(table.mutex);
  const auto found = table.entries.find(cookie);
  if (found == table.entries.end()) return E_INVALIDARG;
  object = std::move(found->second.object);
  table.entries.erase(found);
  return S_OK;
}

HRESULT GlobalInterfaceTable::Get(uint32_t cookie, const GUID& iid, void** object) {
  if (!object) return E_INVALIDARG;
  *object = nullptr;
  InterfaceTable& table = TheInterfaceTable();
  ComPtr<IUnknown> found;
  {
    std::lock_guard<std::mutex> lock(table.mutex);
    const auto entry = table.entries.find(cookie);
    if (entry == table.entries.end()) return E_INVALIDARG;
    found = entry->second.object;
  }
  return found->QueryInterface(iid, object);
}

WideChar* AllocSystemString(const char* narrow) {
  if (!narrow) return nullptr;
  const std::u16string wide = Utf16FromUtf8(narrow);
  const size_t bytes = wide.size() * sizeof(WideChar);
  if (bytes > UINT32_MAX) return nullptr;
  char* memory = static_cast<char*>(TaskAlloc(kStringPrefix + bytes + sizeof(WideChar)));
  if (!memory) return nullptr;
  char* text = memory + kStringPrefix;
  const uint32_t length = static_cast<uint32_t>(bytes);
  std::memcpy(text - sizeof length, &length, sizeof length);
  std::memcpy(text, wide.c_str(), bytes + sizeof(WideChar));
  return reinterpret_cast<WideChar*>(text);
}

void FreeSystemString(WideChar* text) {
  if (text) TaskFree(reinterpret_cast<char*>(text) - kStringPrefix);
}

}  // namespace scantk
