// What a host needs besides the interfaces: making the toolkit's object, holding it, and text.
// Header only, C++17, and nothing of the toolkit is linked: on Linux link dl where the C library
// does not hold it, on Windows ole32 and uuid.
#ifndef SCANTK_CONTRACT_CLIENT_H_
#define SCANTK_CONTRACT_CLIENT_H_

#include <string>
#include <utility>

#include "contract/interfaces.h"

#ifdef _WIN32
#include <objbase.h>
#else
#include <dlfcn.h>
#endif

namespace scantk::client {

// A counted reference to an object. One thread at a time.
template <class Interface>
class Ref {
 public:
  Ref() = default;
  Ref(const Ref& other) : pointer_(other.pointer_) {
    if (pointer_) pointer_->AddRef();
  }
  Ref(Ref&& other) noexcept : pointer_(std::exchange(other.pointer_, nullptr)) {}
  Ref& operator=(Ref other) noexcept {
    std::swap(pointer_, other.pointer_);
    return *this;
  }
  ~Ref() { Reset(); }

  void Reset() {
    if (Interface* old = std::exchange(pointer_, nullptr)) old->Release();
  }
  Interface* Get() const { return pointer_; }
  Interface* operator->() const { return pointer_; }
  explicit operator bool() const { return pointer_ != nullptr; }
  // For functions that hand a reference out; what was held is released.
  void** Out() {
    Reset();
    return reinterpret_cast<void**>(&pointer_);
  }

 private:
  Interface* pointer_ = nullptr;
};

namespace detail {

constexpr HRESULT kModuleNotFound = static_cast<HRESULT>(0x8007007E);
constexpr HRESULT kEntryPointNotFound = static_cast<HRESULT>(0x8007007F);

inline void* g_library = nullptr;  // loaded last

}  // namespace detail

// An object of `clsid` from the library at `path`, which stays loaded until the process ends.
// 0x8007007E: no library there, or one that does not load; CLASS_E_CLASSNOTAVAILABLE: it has no
// such class.
inline HRESULT CreateComponentFrom(const std::string& path, const GUID& clsid, const GUID& iid,
                                   void** object);

#ifdef _WIN32

namespace detail {
inline void* Load(const char* path) {
  return reinterpret_cast<void*>(LoadLibraryA(path));
}
inline void* Entry(void* library, const char* name) {
  return reinterpret_cast<void*>(GetProcAddress(reinterpret_cast<HMODULE>(library), name));
}
}  // namespace detail

// While one lives, the thread that made it can use components.
class ComponentUse {
 public:
  ComponentUse() : result_(CoInitializeEx(nullptr, COINIT_MULTITHREADED)) {}
  ~ComponentUse() {
    if (SUCCEEDED(result_)) CoUninitialize();
  }
  ComponentUse(const ComponentUse&) = delete;
  ComponentUse& operator=(const ComponentUse&) = delete;

 private:
  HRESULT result_;
};

// An object of the registered class `clsid`. REGDB_E_CLASSNOTREG: it is not registered.
inline HRESULT CreateComponent(const GUID& clsid, const GUID& iid, void** object) {
  return CoCreateInstance(clsid, nullptr, CLSCTX_INPROC_SERVER, iid, object);
}

// Frees text that the toolkit handed out; null is fine.
inline void FreeText(WideChar* text) {
  CoTaskMemFree(text);
}

// Text as main() gets it (the ANSI code page), and the interfaces' UTF-16.
inline std::basic_string<WideChar> Wide(const std::string& narrow) {
  const int length = static_cast<int>(narrow.size());
  std::wstring wide(
      static_cast<size_t>(MultiByteToWideChar(CP_ACP, 0, narrow.data(), length, nullptr, 0)), 0);
  MultiByteToWideChar(CP_ACP, 0, narrow.data(), length, wide.data(), static_cast<int>(wide.size()));
  return wide;
}
inline std::string Narrow(const WideChar* wide) {
  const int size = WideCharToMultiByte(CP_ACP, 0, wide, -1, nullptr, 0, nullptr, nullptr);
  std::string narrow(static_cast<size_t>(size), 0);
  WideCharToMultiByte(CP_ACP, 0, wide, -1, narrow.data(), size, nullptr, nullptr);
  narrow.resize(narrow.size() - 1);
  return narrow;
}

#else

namespace detail {
inline void* Load(const char* path) {
  return dlopen(path, RTLD_NOW | RTLD_LOCAL | RTLD_NODELETE);
}
inline void* Entry(void* library, const char* name) {
  return dlsym(library, name);
}
}  // namespace detail

// Nothing to do here: the same lines serve both systems.
struct [[maybe_unused]] ComponentUse {};

// There is no system-wide table of classes here: the toolkit is the library that the loader finds
// by its plain name. REGDB_E_CLASSNOTREG: it finds none.
inline HRESULT CreateComponent(const GUID& clsid, const GUID& iid, void** object) {
  const HRESULT result = CreateComponentFrom("libscantk1.so", clsid, iid, object);
  return result == detail::kModuleNotFound ? REGDB_E_CLASSNOTREG : result;
}

// Frees text that the toolkit handed out; null is fine.
inline void FreeText(WideChar* text) {
  using Free = void (*)(void*);
  const auto free = reinterpret_cast<Free>(detail::Entry(detail::g_library, "CoTaskMemFree"));
  if (free) free(text);
}

// Text as main() gets it (UTF-8), and the interfaces' UTF-16. What is no character becomes '?'.
inline std::basic_string<WideChar> Wide(const std::string& narrow) {
  std::basic_string<WideChar> wide;
  for (size_t i = 0; i < narrow.size();) {
    const auto lead = static_cast<unsigned char>(narrow[i]);
    const size_t size = lead < 0x80 ? 1 : lead < 0xC2 ? 0 : lead < 0xE0 ? 2 : lead < 0xF0 ? 3 : 4;
    char32_t c = size < 2 ? lead : lead & (0x7Fu >> size);
    size_t taken = 1;
    for (; taken < size && i + taken < narrow.size(); ++taken) {
      if ((narrow[i + taken] & 0xC0) != 0x80) break;
      c = c << 6 | (narrow[i + taken] & 0x3Fu);
    }
    i += taken;
    if (taken != size || c > 0x10FFFF || (c >= 0xD800 && c < 0xE000)) c = '?';
    if (c > 0xFFFF) wide += static_cast<WideChar>(0xD7C0 + (c >> 10));
    wide += static_cast<WideChar>(c > 0xFFFF ? 0xDC00 + (c & 0x3FF) : c);
  }
  return wide;
}
inline std::string Narrow(const WideChar* wide) {
  std::string narrow;
  while (char32_t c = *wide) {
    ++wide;
    if (c >= 0xD800 && c < 0xDC00 && *wide >= 0xDC00 && *wide < 0xE000)
      c = 0x10000 + ((c & 0x3FF) << 10 | (*wide++ & 0x3FFu));
    else if (c >= 0xD800 && c < 0xE000)
      c = '?';
    const int more = c < 0x80 ? 0 : c < 0x800 ? 1 : c < 0x10000 ? 2 : 3;
    narrow += static_cast<char>(more == 0 ? c : (0xFF00u >> (more + 1) & 0xFF) | c >> 6 * more);
    for (int k = more; k-- > 0;) narrow += static_cast<char>(0x80 | (c >> 6 * k & 0x3F));
  }
  return narrow;
}

#endif

inline HRESULT CreateComponentFrom(const std::string& path, const GUID& clsid, const GUID& iid,
                                   void** object) {
  *object = nullptr;
  void* library = detail::Load(path.c_str());
  if (!library) return detail::kModuleNotFound;
  detail::g_library = library;
  using GetClassObject = HRESULT(STDMETHODCALLTYPE*)(REFCLSID, REFIID, void**);
  const auto entry = reinterpret_cast<GetClassObject>(detail::Entry(library, "DllGetClassObject"));
  if (!entry) return detail::kEntryPointNotFound;
  Ref<IClassFactory> factory;
  const HRESULT result = entry(clsid, IID_IClassFactory, factory.Out());
  return FAILED(result) ? result : factory->CreateInstance(nullptr, iid, object);
}

}  // namespace scantk::client

#endif  // SCANTK_CONTRACT_CLIENT_H_
