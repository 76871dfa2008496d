// Facts about the process and the system, folders and temporary names, debugger output, text
// conversion, and the thread's last error number.
#ifndef SCANTK_PLATFORM_SYSTEM_H_
#define SCANTK_PLATFORM_SYSTEM_H_

#include <cstdint>
#include <string>

#include "contract/component_types.h"

namespace scantk {

uint32_t ProcessId();
uint32_t ThreadId();

// The version that the system reports. On Linux it is that of the target's current generation, so
// that one set of rules serves both.
struct OsVersion {
  uint32_t platform;  // 2: the NT line
  uint32_t major;
  uint32_t minor;
};
OsVersion SystemVersion();
// For tests: what SystemVersion answers from now on; null restores the truth.
void OverrideSystemVersion(const OsVersion* version);

// The last error number of the calling thread, in the target's numbers (error_codes.h).
uint32_t LastError();
void SetLastError(uint32_t number);

// Leaves the thread's last error as it was found; for tracing and destructors.
class LastErrorKeeper {
 public:
  LastErrorKeeper() : saved_(LastError()) {}
  ~LastErrorKeeper() { SetLastError(saved_); }
  LastErrorKeeper(const LastErrorKeeper&) = delete;
  LastErrorKeeper& operator=(const LastErrorKeeper&) = delete;

 private:
  uint32_t saved_;
};

// Full path of the running program, or empty when it cannot be told.
std::string ExecutablePath();

// Full path of the library (or program) that holds the code at `address`, or empty.
std::string ModulePath(const void* address);

// The temporary folder, ending in a separator.
std::string TemporaryFolder();

// The folder for data shared by all users, without a separator at its end; empty when there is
// none. On Linux /var/lib/scantk, or what SCANTK_COMMON_DATA names.
std::string CommonDataFolder();

// Creates an empty file of a new name in `folder`, beginning with `prefix` (at most three
// characters count). Empty when that failed; LastError tells why.
std::string CreateTemporaryFile(const std::string& folder, const char* prefix);

// The separator between folders, "/" or "\".
extern const char kPathSeparator;

// Shows `text` to a debugger, when one listens (on Linux: the system's journal socket is not used;
// the text goes to standard error when SCANTK_DEBUG_OUTPUT is set).
void DebugOutput(const char* text);

// Conversion between wide text and the system's narrow text (UTF-8 on Linux, the ANSI code page on
// Windows). Characters that have no counterpart become '?'. May throw std::bad_alloc.
std::string Narrow(const WideChar* wide);
std::u16string Utf16(const std::string& narrow);

// Appends `size` bytes to the file at `path`, creating it when missing. `translate_newlines` writes
// each line break as CR LF. False when the file could not be opened or written.
bool AppendToFile(const std::string& path, const void* data, size_t size, bool translate_newlines);

}  // namespace scantk

#endif  // SCANTK_PLATFORM_SYSTEM_H_
