// Other components' objects: creation by class identifier, memory that crosses the interface, and
// the table by which a pointer reaches another thread.
#ifndef SCANTK_PLATFORM_COMPONENT_H_
#define SCANTK_PLATFORM_COMPONENT_H_

#include <cstddef>
#include <cstdint>
#include <string>

#include "contract/component_types.h"

namespace scantk {

// Creates an object of the class `clsid` in any server context and asks it for `iid`. On Linux the
// class is looked up under CLSID\{...}\InprocServer32 of the registry file (machine classes, then
// the user's). A class that is not registered is looked for among the built-in ones
// (RegisterBuiltInClass). REGDB_E_CLASSNOTREG: no such class.
HRESULT CreateComponent(const GUID& clsid, const GUID& iid, void** object);

// Loads the component library at `path` and asks its class object for `clsid`: for hosts and tests
// that know where the library lies. The library stays loaded until the process ends.
HRESULT CreateComponentFrom(const std::string& path, const GUID& clsid, const GUID& iid,
                            void** object);

// The class object itself, from the library at `path`.
HRESULT GetClassObjectFrom(const std::string& path, const GUID& clsid, const GUID& iid,
                           void** object);

// Prepares the calling thread for components (multi-threaded), and undoes it.
HRESULT InitializeComponents();
void UninitializeComponents();

// A class that this process serves itself; CreateComponent finds it when the registry names no
// other. `factory` is called for every object.
using BuiltInFactory = HRESULT (*)(const GUID& iid, void** object);
void RegisterBuiltInClass(const GUID& clsid, BuiltInFactory factory);

// Memory for what is handed to the host; the host frees it with CoTaskMemFree.
void* TaskAlloc(size_t bytes);
void TaskFree(void* memory);

// The process's global interface table.
class GlobalInterfaceTable {
 public:
  // False when the table cannot be had.
  static bool Available();
  static HRESULT Register(IUnknown* object, const GUID& iid, uint32_t* cookie);
  static HRESULT Revoke(uint32_t cookie);
  static HRESULT Get(uint32_t cookie, const GUID& iid, void** object);
};

// System strings (counted UTF-16 text, as automation passes it), made and freed here.
WideChar* AllocSystemString(const char* narrow);
void FreeSystemString(WideChar* text);

// "{7A41C0D2-5E3B-4F19-9C6A-2B8D0E4F1A37}", upper-case.
std::string GuidText(const GUID& guid);

}  // namespace scantk

#endif  // SCANTK_PLATFORM_COMPONENT_H_
