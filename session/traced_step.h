// A part of a method that the trace shows as a method of its own.
#ifndef SCANTK_SESSION_TRACED_STEP_H_
#define SCANTK_SESSION_TRACED_STEP_H_

#include <cstdint>

#include "diag/function_trace.h"
#include "session/outcome.h"
#include "session/session_registry.h"

namespace scantk {

// Runs `body` () -> HRESULT between the entry and the exit line of `name`, from error code 0 on.
// Throws nothing.
template <class Body>
HRESULT TracedStep(const char* name, uint32_t category, const SessionEntry& entry,
                   uint32_t* error_code, Body body) {
  FunctionTrace trace(name, entry.handle, error_code, category);
  *error_code = TERR_NONE;
  const HRESULT result = Guarded(error_code, body);
  trace.SetResult(result);
  return result;
}

}  // namespace scantk

#endif  // SCANTK_SESSION_TRACED_STEP_H_
