// Tells of a write to the registry that another process held up for too long.
#ifndef SCANTK_CONFIG_REGISTRY_WAIT_H_
#define SCANTK_CONFIG_REGISTRY_WAIT_H_

#include <cstdint>

#include "diag/trace_log.h"
#include "platform/error_codes.h"

namespace scantk {

// `error` is the write's, `name` that of the value.
inline void TraceRegistryWait(TraceLog& trace, uint32_t error, const char* name) {
  if (error == error::kTimeout)
    trace.Print(TRACE_CLASS_ERROR, "Registry: the wait for its lock ended, %s is not written",
                name);
}

}  // namespace scantk

#endif  // SCANTK_CONFIG_REGISTRY_WAIT_H_
