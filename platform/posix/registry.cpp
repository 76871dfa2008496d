#include "platform/registry.h"

#include <algorithm>
#include <atomic>
#include <cstring>
#include <vector>

#include "platform/error_codes.h"
#include "platform/posix/registry_file.h"
#include "platform/posix/registry_lines.h"
#include "platform/posix/unicode.h"
#include "platform/system.h"

namespace scantk {
namespace {

constexpr char kImagingClass[] =
    "SYSTEM\\CurrentControlSet\\Control\\Class\\{6BDD1FC6-810F-11D0-BEC7-08002BE2092F}";

// The places where a key lies. The classes are one tree over three: what is written goes to the
// first, what is read comes from the first that has it.
using Places = std::vector<std::string>;

Places PlacesOf(RegistryRoot root) {
  switch (root) {
    case RegistryRoot::kClassesRoot:
      return {"HKEY_CLASSES_ROOT", "HKEY_LOCAL_MACHINE\\SOFTWARE\\Classes",
              "HKEY_CURRENT_USER\\Software\\Classes"};
    case RegistryRoot::kCurrentUser:
      return {"HKEY_CURRENT_USER"};
    case RegistryRoot::kLocalMachine:
      return {"HKEY_LOCAL_MACHINE"};
  }
  return {};
}

Places Below(const Places& places, const std::string& path) {
  std::string_view folders = path;
  if (!folders.empty() && folders.back() == '\\') folders.remove_suffix(1);
  if (folders.empty()) return places;
  Places below;
  for (const std::string& place : places) below.push_back(place + "\\" + std::string(folders));
  return below;
}

bool Exists(const RegistryText& text, const Places& places) {
  // A root exists whether or not the file names it.
  return std::any_of(places.begin(), places.end(), [&](const std::string& place) {
    return place.find('\\') == std::string::npos || text.HasKey(place);
  });
}

std::vector<std::string> SubkeysOf(const RegistryText& text, const Places& places) {
  std::vector<std::string> names, folded;
  for (const std::string& place : places) {
    for (std::string& name : text.Subkeys(place)) {
      std::string compared = FoldCase(name);
      if (std::find(folded.begin(), folded.end(), compared) != folded.end()) continue;
      folded.push_back(std::move(compared));
      names.push_back(std::move(name));
    }
  }
  return names;
}

std::atomic<uintptr_t> g_last_handle{0x100};

}  // namespace

struct RegistryKey::State {
  Places places;
  bool writable;
  uintptr_t handle = g_last_handle += 4;

  static uint32_t Open(const Places& places, RegistryAccess access, RegistryKey* key) {
    key->Close();
    std::shared_ptr<const RegistryText> text;
    if (const uint32_t failure = ReadRegistryFile(&text)) return failure;
    if (!Exists(*text, places)) return error::kFileNotFound;
    const bool writable = access != RegistryAccess::kRead;
    if (writable) {
      if (const uint32_t failure = CheckRegistryWritable()) return failure;
    }
    key->state_ = std::make_unique<State>(State{places, writable});
    return 0;
  }

  static uint32_t Create(const Places& places, RegistryKey* key, bool* created) {
    key->Close();
    if (!RegistryText::IsValidPath(places.front())) return error::kInvalidParameter;
    bool made = false;
    const uint32_t opened = Open(places, RegistryAccess::kReadWrite, key);
    if (opened != 0 && opened != error::kFileNotFound) return opened;
    if (opened == error::kFileNotFound) {
      const uint32_t failure = ChangeRegistryFile([&](RegistryText* text) {
        made = !Exists(*text, places);
        if (made) text->CreateKey(places.front());
        return 0u;
      });
      if (failure) return failure;
      key->state_ = std::make_unique<State>(State{places, true});
    }
    if (created) *created = made;
    return 0;
  }

  uint32_t Set(const std::string& name, const RegistryValue& value) const {
    if (!writable) return error::kAccessDenied;
    if (!RegistryText::IsValidName(name)) return error::kInvalidParameter;
    return ChangeRegistryFile([&](RegistryText* text) {
      text->SetValue(places.front(), name, value);
      return 0u;
    });
  }
};

RegistryKey::RegistryKey() = default;
RegistryKey::RegistryKey(RegistryKey&& other) noexcept = default;
RegistryKey& RegistryKey::operator=(RegistryKey&& other) noexcept = default;
RegistryKey::~RegistryKey() = default;

bool RegistryKey::IsOpen() const {
  return state_ != nullptr;
}

void RegistryKey::Close() {
  state_.reset();
}

uintptr_t RegistryKey::Handle() const {
  return state_ ? state_->handle : 0;
}

uint32_t RegistryKey::Open(RegistryRoot root, const std::string& path, RegistryAccess access,
                           RegistryKey* key) {
  return State::Open(Below(PlacesOf(root), path), access, key);
}

uint32_t RegistryKey::OpenSubkey(const std::string& path, RegistryAccess access,
                                 RegistryKey* key) const {
  if (!state_) return error::kInvalidHandle;
  return State::Open(Below(state_->places, path), access, key);
}

uint32_t RegistryKey::Create(RegistryRoot root, const std::string& path, RegistryKey* key,
                             bool* created) {
  return State::Create(Below(PlacesOf(root), path), key, created);
}

uint32_t RegistryKey::CreateSubkey(const std::string& path, RegistryKey* key, bool* created) const {
  if (!state_) return error::kInvalidHandle;
  return State::Create(Below(state_->places, path), key, created);
}

uint32_t RegistryKey::OpenImagingClass(RegistryKey* key) {
  const uint32_t failure =
      Open(RegistryRoot::kLocalMachine, kImagingClass, RegistryAccess::kRead, key);
  if (failure) SetLastError(failure);
  return failure;
}

uint32_t RegistryKey::EnumerateSubkey(uint32_t index, std::string* name) const {
  if (!state_) return error::kInvalidHandle;
  std::shared_ptr<const RegistryText> text;
  if (const uint32_t failure = ReadRegistryFile(&text)) return failure;
  std::vector<std::string> names = SubkeysOf(*text, state_->places);
  if (index >= names.size()) return error::kNoMoreItems;
  *name = std::move(names[index]);
  return 0;
}

uint32_t RegistryKey::QueryValue(const std::string& name, RegistryType* type, void* data,
                                 uint32_t* size) const {
  if (!state_) return error::kInvalidHandle;
  if (data && !size) return error::kInvalidParameter;
  std::shared_ptr<const RegistryText> text;
  if (const uint32_t failure = ReadRegistryFile(&text)) return failure;
  const RegistryValue* value = nullptr;
  for (const std::string& place : state_->places) {
    if ((value = text->FindValue(place, name))) break;
  }
  if (!value) return error::kFileNotFound;
  if (type) *type = static_cast<RegistryType>(value->type);
  if (!size) return 0;
  const uint32_t room = *size;
  *size = static_cast<uint32_t>(value->data.size());
  if (!data) return 0;
  if (room < *size) return error::kMoreData;
  std::memcpy(data, value->data.data(), *size);
  return 0;
}

uint32_t RegistryKey::SetDword(const std::string& name, uint32_t value) {
  if (!state_) return error::kInvalidHandle;
  RegistryValue stored{kRegDword, {}};
  for (int shift = 0; shift < 32; shift += 8) {
    stored.data.push_back(static_cast<char>(value >> shift & 0xFF));
  }
  return state_->Set(name, stored);
}

uint32_t RegistryKey::SetString(const std::string& name, const char* text, uint32_t length) {
  if (!state_) return error::kInvalidHandle;
  if (!text && length > 0) return error::kInvalidParameter;
  // Stored as text: bytes that are none become '?'.
  return state_->Set(name, {kRegString, Utf8FromUtf16(Utf16FromUtf8({text, length}))});
}

uint32_t RegistryKey::DeleteSubtree(const std::string& path) {
  if (!state_) return error::kInvalidHandle;
  if (path.empty()) return error::kInvalidParameter;
  return ChangeRegistryFile([&](RegistryText* text) {
    bool deleted = false;
    for (const std::string& place : Below(state_->places, path)) {
      deleted |= text->DeleteKey(place);
    }
    return deleted ? 0u : error::kFileNotFound;
  });
}

}  // namespace scantk
