#include "platform/in_use.h"

#include <shlobj.h>

#include <cstdio>

#include "platform/windows/handle.h"

namespace scantk {
namespace {

std::string ModuleFileName(HMODULE module) {
  constexpr size_t kLongest = 32768;  // the system's limit, in bytes
  for (std::string path(MAX_PATH, '\0'); path.size() <= kLongest; path.resize(path.size() * 2)) {
    const DWORD length = GetModuleFileNameA(module, path.data(), static_cast<DWORD>(path.size()));
    if (length < path.size()) return path.substr(0, length);
  }
  return std::string();
}

struct StreamTraits {
  using Value = std::FILE*;
  static Value Invalid() { return nullptr; }
  static void Close(Value stream) { std::fclose(stream); }
};

// As text: the C runtime writes the line breaks.
bool AppendText(const std::string& path, const void* text, size_t size) {
  Owner<StreamTraits> stream(std::fopen(path.c_str(), "a"));
  return stream && std::fwrite(text, 1, size, stream.Get()) == size &&
         std::fflush(stream.Get()) == 0;
}

struct FileTraits {
  using Value = HANDLE;
  static Value Invalid() { return INVALID_HANDLE_VALUE; }
  static void Close(Value file) { CloseHandle(file); }
};

bool AppendBytes(const std::string& path, const void* data, DWORD size) {
  Owner<FileTraits> file(CreateFileA(path.c_str(), GENERIC_READ | GENERIC_WRITE, 0, nullptr,
                                     OPEN_ALWAYS, FILE_ATTRIBUTE_NORMAL, nullptr));
  DWORD written = 0;
  return file && SetFilePointer(file.Get(), 0, nullptr, FILE_END) != INVALID_SET_FILE_POINTER &&
         WriteFile(file.Get(), data, size, &written, nullptr) && written == size;
}

}  // namespace

const char kPathSeparator = '\\';

uint32_t ProcessId() {
  return GetCurrentProcessId();
}

uint32_t ThreadId() {
  return GetCurrentThreadId();
}

OsVersion TrueSystemVersion() {
  OSVERSIONINFOA version = {};
  version.dwOSVersionInfoSize = sizeof version;
  GetVersionExA(&version);
  return {version.dwPlatformId, version.dwMajorVersion, version.dwMinorVersion};
}

uint32_t LastError() {
  return GetLastError();
}

void SetLastError(uint32_t number) {
  ::SetLastError(number);
}

std::string ExecutablePath() {
  return ModuleFileName(nullptr);
}

std::string ModulePath(const void* address) {
  HMODULE module = nullptr;
  const DWORD how =
      GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS | GET_MODULE_HANDLE_EX_FLAG_UNCHANGED_REFCOUNT;
  if (!GetModuleHandleExA(how, static_cast<LPCSTR>(address), &module)) return std::string();
  return ModuleFileName(module);
}

std::string TemporaryFolder() {
  char path[MAX_PATH + 1];
  const DWORD length = GetTempPathA(sizeof path, path);
  return length < sizeof path ? std::string(path, length) : std::string();
}

std::string CommonDataFolder() {
  char path[MAX_PATH];
  const HRESULT result =
      SHGetFolderPathA(nullptr, CSIDL_COMMON_APPDATA, nullptr, SHGFP_TYPE_CURRENT, path);
  return result == S_OK ? path : std::string();
}

std::string CreateTemporaryFile(const std::string& folder, const char* prefix) {
  char path[MAX_PATH];
  return GetTempFileNameA(folder.c_str(), prefix, 0, path) != 0 ? path : std::string();
}

void DebugOutput(const char* text) {
  OutputDebugStringA(text);
}

std::string Narrow(const WideChar* wide) {
  if (!wide) return std::string();
  const int size = WideCharToMultiByte(CP_ACP, 0, wide, -1, nullptr, 0, "?", nullptr);
  std::string narrow(static_cast<size_t>(size > 0 ? size : 1), '\0');
  WideCharToMultiByte(CP_ACP, 0, wide, -1, narrow.data(), size, "?", nullptr);
  narrow.pop_back();  // the NUL
  return narrow;
}

std::u16string Utf16(const std::string& narrow) {
  const int length = static_cast<int>(narrow.size());
  const int size = MultiByteToWideChar(CP_ACP, 0, narrow.data(), length, nullptr, 0);
  std::u16string wide(static_cast<size_t>(size), u'\0');
  MultiByteToWideChar(CP_ACP, 0, narrow.data(), length, reinterpret_cast<wchar_t*>(wide.data()),
                      size);
  return wide;
}

// Text may be open in a viewer at the same time; other data is nobody else's while it is written.
bool AppendToFile(const std::string& path, const void* data, size_t size, bool translate_newlines) {
  return translate_newlines ? AppendText(path, data, size)
                            : AppendBytes(path, data, static_cast<DWORD>(size));
}

}  // namespace scantk
