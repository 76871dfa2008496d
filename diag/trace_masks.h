// Trace masks: what a line is about. The top four bits are its class, the other 28 its category;
// the registry's "LogLevel" has the same form. The bits and names are listed in docs/trace.md.
#ifndef SCANTK_DIAG_TRACE_MASKS_H_
#define SCANTK_DIAG_TRACE_MASKS_H_

#include <cstdint>

namespace scantk {

inline constexpr uint32_t TRACE_PANEL = 0x00000001;    // front-panel variable values
inline constexpr uint32_t TRACE_API = 0x00000002;      // function traces, transport calls
inline constexpr uint32_t TRACE_LOCK = 0x00000004;     // scanner lock and device lock
inline constexpr uint32_t TRACE_FLOW = 0x00000008;     // scan flow, packet records; the default
inline constexpr uint32_t TRACE_DUMP = 0x00000010;     // record dumps
inline constexpr uint32_t TRACE_IO_DATA = 0x00000020;  // bytes sent and received, image log
inline constexpr uint32_t TRACE_INFO = 0x00000040;     // general information
inline constexpr uint32_t TRACE_SPF = 0x01000000;      // SPF data
inline constexpr uint32_t TRACE_BUFFERS = 0x02000000;  // scan buffer and pipeline accounting
inline constexpr uint32_t TRACE_CACHE = 0x04000000;    // command value cache, low-level writes
inline constexpr uint32_t TRACE_FLUSH = 0x08000000;    // draining the device

inline constexpr uint32_t TRACE_CLASS_INFO = 0x10000000;
inline constexpr uint32_t TRACE_CLASS_WARNING = 0x20000000;
inline constexpr uint32_t TRACE_CLASS_ERROR = 0x80000000;

// The mask of a line for which none is given.
inline constexpr uint32_t TRACE_DEFAULT = TRACE_CLASS_INFO | TRACE_INFO;

}  // namespace scantk

#endif  // SCANTK_DIAG_TRACE_MASKS_H_
