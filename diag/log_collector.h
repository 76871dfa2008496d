// The log collector: another component that receives the trace lines of all processes. The toolkit
// uses one of its operations; what is registered under CLSID_LogCollector provides it.
#ifndef SCANTK_DIAG_LOG_COLLECTOR_H_
#define SCANTK_DIAG_LOG_COLLECTOR_H_

#include <cstdint>

#include "contract/component_types.h"

namespace scantk {

// clang-format off
inline constexpr GUID CLSID_LogCollector = {0x3F7B2A91, 0xC4E6, 0x4D18, {0x8B, 0x5A, 0x0E, 0x9D, 0x7C, 0x2F, 0x6B, 0x43}};
inline constexpr GUID IID_ILogCollector = {0xA2C95E07, 0x7B13, 0x4F6D, {0x9E, 0x48, 0x5D, 0x1B, 0x3A, 0x7C, 0x0F, 0x92}};
// clang-format on

struct ILogCollector : IUnknown {
  // Not used here; keeps WriteLine at its place in the table.
  virtual HRESULT STDMETHODCALLTYPE Reserved3() = 0;
  // One line (or block of lines) of the process `process`. `length` is that of `text` in bytes with
  // its terminating NUL. The text is borrowed for the call.
  virtual HRESULT STDMETHODCALLTYPE WriteLine(uint32_t process, const char* text,
                                              uint32_t length) = 0;
};

}  // namespace scantk

#endif  // SCANTK_DIAG_LOG_COLLECTOR_H_
