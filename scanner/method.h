// The skeleton of every interface method, written once: function trace, pointer checks, error code
// 0, session look-up, lock test, caught exceptions, result into the trace. A method says what
// differs.
#ifndef SCANTK_SCANNER_METHOD_H_
#define SCANTK_SCANNER_METHOD_H_

#include <cstdint>
#include <initializer_list>

#include "diag/function_trace.h"
#include "session/outcome.h"
#include "session/session_registry.h"

namespace scantk {

// A step that does nothing, and the body of a method that only tests its session.
inline constexpr auto kNothing = [] {};
inline constexpr auto NothingToDo = [](SessionEntry&) { return S_OK; };

// The category of methods whose traces carry none.
inline constexpr uint32_t kNoCategory = 0;

class Method {
 public:
  enum class Needs { kSession, kLock };

  // `name` and `category` as the trace shows them.
  Method(const char* name, uint32_t category, uint32_t session, uint32_t* error_code)
      : trace_(name, session, error_code, category), session_(session), error_code_(error_code) {}

  // The caller's pointers that must not be null, beside the error code.
  Method& Requires(std::initializer_list<const void*> pointers) {
    for (const void* pointer : pointers) pointers_given_ = pointers_given_ && pointer != nullptr;
    return *this;
  }
  Method& Needing(Needs needs) {
    needs_ = needs;
    return *this;
  }
  // The error code is written on failure only (SetCodePage).
  Method& KeepingErrorCode() {
    clears_error_code_ = false;
    return *this;
  }

  // `prepare` runs once the pointers are known to be good (what the caller gets even when the
  // session is not), `body` (SessionEntry& -> HRESULT) does the work.
  template <class Prepare, class Body>
  HRESULT Run(Prepare prepare, Body body) {
    HRESULT result = Guarded(error_code_, [&] { return Checked(prepare, body); });
    trace_.SetResult(result);
    return result;
  }
  template <class Body>
  HRESULT Run(Body body) {
    return Run(kNothing, body);
  }
  // A method that needs no session: `body` () -> HRESULT.
  template <class Body>
  HRESULT RunWithoutSession(Body body) {
    HRESULT result = Guarded(error_code_, [&]() -> HRESULT {
      if (!PointersGood()) return E_POINTER;
      *error_code_ = TERR_NONE;
      return body();
    });
    trace_.SetResult(result);
    return result;
  }

 private:
  bool PointersGood() const { return error_code_ && pointers_given_; }

  template <class Prepare, class Body>
  HRESULT Checked(Prepare& prepare, Body& body) {
    if (!PointersGood()) return E_POINTER;
    if (clears_error_code_) *error_code_ = TERR_NONE;
    prepare();
    SessionPtr entry = Sessions().Lookup(session_);
    if (!entry) return Fail(error_code_, TERR_INVALID_SESSION);
    if (needs_ == Needs::kLock && !entry->lock.IsLockedByCaller())
      return Fail(error_code_, TERR_SCANNER_NOT_LOCKED);
    return body(*entry);
  }

  FunctionTrace trace_;
  uint32_t session_;
  uint32_t* error_code_;
  bool pointers_given_ = true;
  bool clears_error_code_ = true;
  Needs needs_ = Needs::kLock;
};

}  // namespace scantk

#endif  // SCANTK_SCANNER_METHOD_H_
