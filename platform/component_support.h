// The component support library: the generic work of a component server, done from tables. On
// Windows these are the functions of ATL.DLL, entered by ordinal; on Linux the few that the server
// calls are implemented here. The tables' layouts are the support library's.
#ifndef SCANTK_PLATFORM_COMPONENT_SUPPORT_H_
#define SCANTK_PLATFORM_COMPONENT_SUPPORT_H_

#include <cstddef>
#include <cstdint>

#include "contract/component_types.h"

#ifdef _WIN32
#define SCANTK_SUPPORT_CALL __stdcall
#define SCANTK_LIBRARY_EXPORT  // the module-definition file exports, by ordinal
#else
#define SCANTK_SUPPORT_CALL
#define SCANTK_LIBRARY_EXPORT __attribute__((visibility("default")))
#endif

namespace scantk {

// One row of an object's interface map; a row without a kind ends it. IUnknown is answered with the
// table of the first row.
struct InterfaceMapEntry {
  const GUID* iid;
  uintptr_t offset;  // of the interface's table within the object
  uintptr_t kind;    // kPlainInterface, 0 at the end
};
static_assert(sizeof(InterfaceMapEntry) == 24);
inline constexpr uintptr_t kPlainInterface = 1;

// One row of a class's category map; kind 0 ends it.
struct CategoryMapEntry {
  int32_t kind;
  const GUID* category;
};
static_assert(sizeof(CategoryMapEntry) == 16);
inline constexpr int32_t kImplementedCategory = 1;

using ObjectCreator = HRESULT(SCANTK_SUPPORT_CALL*)(void* argument, REFIID iid, void** object);

// One class of the server; a row without a class identifier ends the map.
struct ObjectMapEntry {
  const GUID* clsid;
  HRESULT(SCANTK_SUPPORT_CALL* updateRegistry)(BOOL do_register);
  ObjectCreator createClassObject;  // its argument is createInstance
  ObjectCreator createInstance;     // its argument is the outer object
  IUnknown* classObject;            // made on the first request, kept
  uint32_t registerCookie;
  const char*(SCANTK_SUPPORT_CALL* description)();
  const CategoryMapEntry*(SCANTK_SUPPORT_CALL* categories)();
  void(SCANTK_SUPPORT_CALL* classMain)(BOOL starting);
};
static_assert(sizeof(ObjectMapEntry) == 72);

// The module record; the support library owns what it does not name here.
struct ModuleRecord {
  uint32_t size;  // of this record, in bytes
  void* instance;
  void* resourceInstance;
  void* typeLibraryInstance;
  ObjectMapEntry* objectMap;
  int32_t lockCount;  // live objects and server locks; changed atomically
  void* heap;
  uint8_t criticalSections[3][40];
  uint32_t buildVersion;
  void* windowList;
  int32_t destroyHeap;
  const GUID* versionGuid;
  uint32_t heapCount;
  void* heaps;
  int32_t heapIndex;
  void* termFunctions;
};
static_assert(sizeof(ModuleRecord) == 240);
static_assert(offsetof(ModuleRecord, lockCount) == 40);

extern "C" {
HRESULT SCANTK_SUPPORT_CALL AtlModuleInit(ModuleRecord* module, ObjectMapEntry* map,
                                          void* instance);
HRESULT SCANTK_SUPPORT_CALL AtlModuleTerm(ModuleRecord* module);
HRESULT SCANTK_SUPPORT_CALL AtlModuleGetClassObject(ModuleRecord* module, REFCLSID clsid,
                                                    REFIID iid, void** object);
HRESULT SCANTK_SUPPORT_CALL AtlModuleRegisterServer(ModuleRecord* module, BOOL type_library,
                                                    const GUID* clsid);
HRESULT SCANTK_SUPPORT_CALL AtlModuleUnregisterServerEx(ModuleRecord* module, BOOL type_library,
                                                        const GUID* clsid);
// Runs the registration script `resource` (ResourceName), or undoes it.
HRESULT SCANTK_SUPPORT_CALL AtlModuleUpdateRegistryFromResourceD(ModuleRecord* module,
                                                                 const WideChar* resource,
                                                                 BOOL do_register,
                                                                 void* replacements,
                                                                 void* registrar);
HRESULT SCANTK_SUPPORT_CALL AtlInternalQueryInterface(void* object, const InterfaceMapEntry* map,
                                                      REFIID iid, void** out);
HRESULT SCANTK_SUPPORT_CALL AtlRegisterClassCategoriesHelper(REFCLSID clsid,
                                                             const CategoryMapEntry* map,
                                                             BOOL do_register);
}

// The one module of the process.
ModuleRecord& TheModule();
// Count a live object or a server lock. Any thread.
void LockModule();
void UnlockModule();
int32_t ModuleLockCount();

// Keeps the module in memory while it lives, even when its host forgets that it is in use, and is
// counted like a live object.
class ModulePin {
 public:
  ModulePin();
  ModulePin(const ModulePin&) = delete;
  ModulePin& operator=(const ModulePin&) = delete;
  ~ModulePin();

 private:
  void* library_;  // a reference to it; null where the module is part of the program
};

// Takes everything out of the registry that AtlModuleRegisterServer wrote, also where the support
// library leaves some of it.
HRESULT UnregisterModule();

// The instance handle of the library that holds the code at `address`.
void* ModuleInstance(const void* address);

// Has the system tell the library at `instance` nothing of threads that begin and end. A library
// with thread-local data is told nevertheless.
void IgnoreThreads(void* instance);

// The name under which resource number `id` is asked for.
const WideChar* ResourceName(int id);
// Gives the module the text of resource `id`, on systems whose libraries carry no resources; does
// nothing elsewhere. `text` is borrowed for good.
void SetTextResource(int id, const char* text);

}  // namespace scantk

#endif  // SCANTK_PLATFORM_COMPONENT_SUPPORT_H_
