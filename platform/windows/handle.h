// Owners for this system's handles.
#ifndef SCANTK_PLATFORM_WINDOWS_HANDLE_H_
#define SCANTK_PLATFORM_WINDOWS_HANDLE_H_

#include "contract/component_types.h"
#include "platform/owner.h"

namespace scantk {

struct HandleTraits {
  using Value = HANDLE;
  static Value Invalid() { return nullptr; }
  static void Close(Value handle) { CloseHandle(handle); }
};
using Handle = Owner<HandleTraits>;

struct LocalMemoryTraits {
  using Value = void*;
  static Value Invalid() { return nullptr; }
  static void Close(Value memory) { LocalFree(memory); }
};
using LocalMemory = Owner<LocalMemoryTraits>;

}  // namespace scantk

#endif  // SCANTK_PLATFORM_WINDOWS_HANDLE_H_
