// The component model's basic types: result codes, identifiers, IUnknown. The same function tables,
// sizes and memory layouts on every system; wide text is UTF-16 everywhere.
#ifndef SCANTK_CONTRACT_COMPONENT_TYPES_H_
#define SCANTK_CONTRACT_COMPONENT_TYPES_H_

#include <cstdint>
#include <cstring>

#ifdef _WIN32

#ifndef WIN32_LEAN_AND_MEAN
#define WIN32_LEAN_AND_MEAN
#endif
#ifndef NOMINMAX
#define NOMINMAX
#endif
#include <unknwn.h>
#include <windows.h>
#include <winsock2.h>

using WideChar = wchar_t;
static_assert(sizeof(wchar_t) == 2, "wide text is UTF-16");

#else

using HRESULT = int32_t;
using ULONG = uint32_t;
using BOOL = int32_t;
using WideChar = char16_t;

struct GUID {
  uint32_t Data1;
  uint16_t Data2;
  uint16_t Data3;
  uint8_t Data4[8];
};
using IID = GUID;
using CLSID = GUID;
using REFIID = const GUID&;
using REFCLSID = const GUID&;

inline bool operator==(const GUID& a, const GUID& b) {
  return std::memcmp(&a, &b, sizeof a) == 0;
}
inline bool operator!=(const GUID& a, const GUID& b) {
  return !(a == b);
}

#define STDMETHODCALLTYPE

// Result codes: 0 or more is success. What a method answers stands with it; the toolkit's own are
// in codes.h.
inline constexpr HRESULT S_OK = 0;
inline constexpr HRESULT S_FALSE = 1;
inline constexpr HRESULT E_NOTIMPL = static_cast<HRESULT>(0x80004001);
inline constexpr HRESULT E_NOINTERFACE = static_cast<HRESULT>(0x80004002);
inline constexpr HRESULT E_POINTER = static_cast<HRESULT>(0x80004003);
inline constexpr HRESULT E_FAIL = static_cast<HRESULT>(0x80004005);
inline constexpr HRESULT E_PENDING = static_cast<HRESULT>(0x8000000A);
inline constexpr HRESULT E_UNEXPECTED = static_cast<HRESULT>(0x8000FFFF);
inline constexpr HRESULT E_ACCESSDENIED = static_cast<HRESULT>(0x80070005);
inline constexpr HRESULT E_OUTOFMEMORY = static_cast<HRESULT>(0x8007000E);
inline constexpr HRESULT E_INVALIDARG = static_cast<HRESULT>(0x80070057);
inline constexpr HRESULT CLASS_E_NOAGGREGATION = static_cast<HRESULT>(0x80040110);
inline constexpr HRESULT CLASS_E_CLASSNOTAVAILABLE = static_cast<HRESULT>(0x80040111);
inline constexpr HRESULT REGDB_E_CLASSNOTREG = static_cast<HRESULT>(0x80040154);

constexpr bool SUCCEEDED(HRESULT result) {
  return result >= 0;
}
constexpr bool FAILED(HRESULT result) {
  return result < 0;
}

inline constexpr GUID IID_IUnknown = {0x00000000, 0, 0, {0xC0, 0, 0, 0, 0, 0, 0, 0x46}};
inline constexpr GUID IID_IClassFactory = {0x00000001, 0, 0, {0xC0, 0, 0, 0, 0, 0, 0, 0x46}};

// No virtual destructor: the table begins with exactly these three.
struct IUnknown {
  // *object: the same object as `iid`, with a reference that its holder releases; null and
  // E_NOINTERFACE where it is none.
  virtual HRESULT QueryInterface(REFIID iid, void** object) = 0;
  // The references that are left; an object without one is destroyed.
  virtual ULONG AddRef() = 0;
  virtual ULONG Release() = 0;
};

// Makes the objects of a class, as DllGetClassObject hands it out.
struct IClassFactory : IUnknown {
  // `outer`: the object that shall contain the new one, which is asked for IID_IUnknown then; null
  // for one that stands alone.
  virtual HRESULT CreateInstance(IUnknown* outer, REFIID iid, void** object) = 0;
  // Keeps the library from being unloaded, counted.
  virtual HRESULT LockServer(BOOL lock) = 0;
};

#endif  // _WIN32

static_assert(sizeof(GUID) == 16, "identifiers have the usual memory layout");

// SCANTK_UUID(name, text): gives an interface that is declared, and whose IID_ is, its __uuidof.
#if defined(_MSC_VER)
#define SCANTK_UUID(name, text) struct __declspec(uuid(text)) name;
#elif defined(__uuidof)  // a macro, of the compiler's headers
#define SCANTK_UUID(name, text)               \
  template <>                                 \
  inline const GUID& __mingw_uuidof<name>() { \
    return IID_##name;                        \
  }
#else
#define SCANTK_UUID(name, text)
#endif

#endif  // SCANTK_CONTRACT_COMPONENT_TYPES_H_
