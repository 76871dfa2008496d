#include "platform/registry.h"

#include "contract/component_types.h"
#include "platform/owner.h"
#include "platform/system.h"

#include <setupapi.h>

namespace scantk {
namespace {

struct KeyTraits {
  using Value = HKEY;
  static Value Invalid() { return nullptr; }
  static void Close(Value key) { RegCloseKey(key); }
};

HKEY RootKey(RegistryRoot root) {
  return reinterpret_cast<HKEY>(
      static_cast<ULONG_PTR>(static_cast<LONG>(static_cast<uint32_t>(root))));
}

REGSAM Rights(RegistryAccess access) {
  switch (access) {
    case RegistryAccess::kRead:
      return KEY_READ;
    case RegistryAccess::kWrite:
      return KEY_WRITE;
    default:
      return KEY_READ | KEY_WRITE;
  }
}

}  // namespace

struct RegistryKey::State {
  Owner<KeyTraits> key;

  static HKEY Of(const RegistryKey& key) { return key.state_ ? key.state_->key.Get() : nullptr; }

  static uint32_t Take(HKEY opened, LSTATUS status, RegistryKey* key) {
    key->state_ = status == ERROR_SUCCESS ? std::make_unique<State>(State{Owner<KeyTraits>(opened)})
                                          : nullptr;
    return static_cast<uint32_t>(status);
  }

  static uint32_t Open(HKEY parent, const std::string& path, RegistryAccess access,
                       RegistryKey* key) {
    HKEY opened = nullptr;
    const LSTATUS status = RegOpenKeyExA(parent, path.c_str(), 0, Rights(access), &opened);
    return Take(opened, status, key);
  }

  static uint32_t Create(HKEY parent, const std::string& path, REGSAM rights, RegistryKey* key,
                         bool* created) {
    HKEY opened = nullptr;
    DWORD disposition = 0;
    const LSTATUS status =
        RegCreateKeyExA(parent, path.c_str(), 0, nullptr, REG_OPTION_NON_VOLATILE, rights, nullptr,
                        &opened, &disposition);
    if (created) *created = disposition == REG_CREATED_NEW_KEY;
    return Take(opened, status, key);
  }
};

std::string SystemRegistryPath() {
  return std::string();
}

RegistryKey::RegistryKey() = default;
RegistryKey::RegistryKey(RegistryKey&& other) noexcept = default;
RegistryKey& RegistryKey::operator=(RegistryKey&& other) noexcept = default;
RegistryKey::~RegistryKey() = default;

void RegistryKey::Close() {
  state_.reset();
}

uintptr_t RegistryKey::Handle() const {
  return reinterpret_cast<uintptr_t>(State::Of(*this));
}

uint32_t RegistryKey::Open(RegistryRoot root, const std::string& path, RegistryAccess access,
                           RegistryKey* key) {
  return State::Open(RootKey(root), path, access, key);
}

uint32_t RegistryKey::OpenSubkey(const std::string& path, RegistryAccess access,
                                 RegistryKey* key) const {
  return State::Open(State::Of(*this), path, access, key);
}

uint32_t RegistryKey::Create(RegistryRoot root, const std::string& path, RegistryKey* key,
                             bool* created) {
  return State::Create(RootKey(root), path, KEY_ALL_ACCESS, key, created);
}

uint32_t RegistryKey::CreateSubkey(const std::string& path, RegistryAccess access, RegistryKey* key,
                                   bool* created) const {
  return State::Create(State::Of(*this), path, Rights(access), key, created);
}

uint32_t RegistryKey::OpenImagingClass(RegistryKey* key) {
  const std::string path = kImagingClassPath;
  const std::u16string identifier = Utf16(path.substr(path.rfind('{')));
  GUID imaging = {};
  CLSIDFromString(reinterpret_cast<const wchar_t*>(identifier.c_str()), &imaging);
  HKEY opened = SetupDiOpenClassRegKey(&imaging, KEY_READ);
  const bool failed = opened == INVALID_HANDLE_VALUE;
  return State::Take(opened, failed ? static_cast<LSTATUS>(GetLastError()) : ERROR_SUCCESS, key);
}

uint32_t RegistryKey::EnumerateSubkey(uint32_t index, std::string* name) const {
  char text[256];
  const LSTATUS status = RegEnumKeyA(State::Of(*this), index, text, sizeof text);
  if (status == ERROR_SUCCESS) *name = text;
  return static_cast<uint32_t>(status);
}

uint32_t RegistryKey::QueryValue(const std::string& name, RegistryType* type, void* data,
                                 uint32_t* size) const {
  DWORD number = 0, length = size ? *size : 0;
  const LSTATUS status = RegQueryValueExA(State::Of(*this), name.c_str(), nullptr, &number,
                                          static_cast<BYTE*>(data), size ? &length : nullptr);
  if (type) *type = static_cast<RegistryType>(number);
  if (size) *size = length;
  return static_cast<uint32_t>(status);
}

uint32_t RegistryKey::SetDword(const std::string& name, uint32_t value) {
  return static_cast<uint32_t>(RegSetValueExA(State::Of(*this), name.c_str(), 0, REG_DWORD,
                                              reinterpret_cast<const BYTE*>(&value), sizeof value));
}

uint32_t RegistryKey::SetString(const std::string& name, const char* text, uint32_t length) {
  return static_cast<uint32_t>(RegSetValueExA(State::Of(*this), name.c_str(), 0, REG_SZ,
                                              reinterpret_cast<const BYTE*>(text), length));
}

uint32_t RegistryKey::DeleteSubtree(const std::string& path) {
  return static_cast<uint32_t>(RegDeleteTreeA(State::Of(*this), path.c_str()));
}

}  // namespace scantk
