// The allocator of what the toolkit hands out, exported so that a host that knows nothing but the
// library can free it.
#include <cstddef>

#include "platform/component.h"
#include "platform/component_support.h"

extern "C" SCANTK_LIBRARY_EXPORT void* CoTaskMemAlloc(size_t bytes) {
  return scantk::TaskAlloc(bytes);
}

extern "C" SCANTK_LIBRARY_EXPORT void CoTaskMemFree(void* memory) {
  scantk::TaskFree(memory);
}
