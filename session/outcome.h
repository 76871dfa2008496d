// How a step of an interface method ends badly.
#ifndef SCANTK_SESSION_OUTCOME_H_
#define SCANTK_SESSION_OUTCOME_H_

#include <cstdint>

#include "contract/codes.h"

namespace scantk {

// Writes the toolkit error code and answers the result that goes with it.
inline HRESULT Fail(uint32_t* error_code, uint32_t code, HRESULT result = E_FAIL) {
  *error_code = code;
  return result;
}

// Nothing is thrown across the interface: what `step` throws becomes TERR_OUT_OF_MEMORY.
template <class Step>
HRESULT Guarded(uint32_t* error_code, Step step) {
  try {
    return step();
  } catch (...) {
    return error_code ? Fail(error_code, TERR_OUT_OF_MEMORY) : E_FAIL;
  }
}

}  // namespace scantk

#endif  // SCANTK_SESSION_OUTCOME_H_
