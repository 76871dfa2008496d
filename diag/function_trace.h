// The entry and exit lines of a method: made at its head, written out when it goes out of scope.
#ifndef SCANTK_DIAG_FUNCTION_TRACE_H_
#define SCANTK_DIAG_FUNCTION_TRACE_H_

#include <cstdint>

#include "diag/trace_log.h"

namespace scantk {

// Writes through GlobalTrace(). One thread.
class FunctionTrace {
 public:
  // `name` and `error_code` (may be null) are borrowed until destruction; session 0 means none.
  // `category` is added to the masks of both lines.
  FunctionTrace(const char* name, uint32_t session, const uint32_t* error_code, uint32_t category);
  FunctionTrace(const FunctionTrace&) = delete;
  FunctionTrace& operator=(const FunctionTrace&) = delete;
  ~FunctionTrace();

  // What the exit line shows as the method's result.
  void SetResult(HRESULT result) { result_ = result; }

 private:
  // The lines, and with them the depth.
  void WriteEntry();
  void WriteExit();
  void AppendHead(TraceLine& line, const char* sign, int depth) const;

  HRESULT result_ = S_OK;
  const char* name_;
  uint32_t start_tick_ = 0;
  uint32_t session_;
  const uint32_t* error_code_;
  uint32_t category_;
};

}  // namespace scantk

#endif  // SCANTK_DIAG_FUNCTION_TRACE_H_
