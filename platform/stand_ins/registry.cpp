#include "platform/registry.h"

#include <algorithm>
#include <atomic>
#include <cstring>
#include <vector>

#include "platform/error_codes.h"
#include "platform/posix/unicode.h"
#include "platform/stand_ins/registry_file.h"
#include "platform/stand_ins/registry_places.h"
#include "platform/system.h"

namespace scantk {
namespace {

RegistryPlaces Below(const RegistryPlaces& places, const std::string& path) {
  std::string_view folders = path;
  if (!folders.empty() && folders.back() == '\\') folders.remove_suffix(1);
  RegistryPlaces below = places;
  if (folders.empty()) return below;
  for (RegistryPlace& place : below) place.path.append("\\").append(folders);
  return below;
}

// Shows `step` (const RegistryText&, const std::string& path) the places in turn until it answers
// true.
template <class Step>
uint32_t Visit(const RegistryPlaces& places, Step step) {
  for (const RegistryPlace& place : places) {
    std::shared_ptr<const RegistryText> text;
    const uint32_t failure = ReadRegistryFile(place.file, &text);
    if (failure && place.ours) return failure;
    if (!failure && step(*text, place.path)) break;
  }
  return 0;
}

bool HasKey(const RegistryText& text, const std::string& path) {
  // A root exists whether or not the file names it.
  return path.find('\\') == std::string::npos || text.HasKey(path);
}

std::atomic<uintptr_t> g_last_handle{0x100};

}  // namespace

struct RegistryKey::State {
  RegistryPlaces places;
  bool writable;
  uintptr_t handle = g_last_handle += 4;

  static uint32_t Open(const RegistryPlaces& places, RegistryAccess access, RegistryKey* key) {
    key->Close();
    bool found = false;
    const uint32_t failure = Visit(places, [&](const RegistryText& text, const std::string& path) {
      return found = HasKey(text, path);
    });
    if (failure) return failure;
    if (!found) return error::kFileNotFound;
    const bool writable = access != RegistryAccess::kRead;
    if (writable) {
      if (const uint32_t refused = CheckRegistryWritable(places.front().file)) return refused;
    }
    key->state_ = std::make_unique<State>(State{places, writable});
    return 0;
  }

  static uint32_t Make(const RegistryPlaces& places, bool* made) {
    const RegistryPlace& first = places.front();
    return ChangeRegistryFile(first.file, [&](RegistryText* text) {
      *made = !HasKey(*text, first.path);
      if (*made) text->CreateKey(first.path);
      return 0u;
    });
  }

  static uint32_t Create(const RegistryPlaces& places, RegistryKey* key, bool* created) {
    key->Close();
    if (!RegistryText::IsValidPath(places.front().path)) return error::kInvalidParameter;
    bool made = false;
    uint32_t failure = Open(places, RegistryAccess::kReadWrite, key);
    if (failure == error::kFileNotFound) failure = Make(places, &made);
    // The user's own keys can be had where nothing can be written; then it is the writes that fail.
    const bool borne = places.front().path.starts_with("HKEY_CURRENT_USER");
    if (failure == error::kBadFormat || (failure && !borne)) return failure;
    key->state_ = std::make_unique<State>(State{places, true});
    if (created) *created = made;
    return 0;
  }

  uint32_t Set(const std::string& name, const RegistryValue& value) const {
    if (!writable) return error::kAccessDenied;
    if (!RegistryText::IsValidName(name)) return error::kInvalidParameter;
    return ChangeRegistryFile(places.front().file, [&](RegistryText* text) {
      text->SetValue(places.front().path, name, value);
      return 0u;
    });
  }
};

RegistryKey::RegistryKey() = default;
RegistryKey::RegistryKey(RegistryKey&& other) noexcept = default;
RegistryKey& RegistryKey::operator=(RegistryKey&& other) noexcept = default;
RegistryKey::~RegistryKey() = default;

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

uint32_t RegistryKey::CreateSubkey(const std::string& path, RegistryAccess, RegistryKey* key,
                                   bool* created) const {
  if (!state_) return error::kInvalidHandle;
  return State::Create(Below(state_->places, path), key, created);
}

uint32_t RegistryKey::OpenImagingClass(RegistryKey* key) {
  const uint32_t failure =
      Open(RegistryRoot::kLocalMachine, kImagingClassPath, RegistryAccess::kRead, key);
  if (failure) SetLastError(failure);
  return failure;
}

uint32_t RegistryKey::EnumerateSubkey(uint32_t index, std::string* name) const {
  if (!state_) return error::kInvalidHandle;
  std::vector<std::string> names, folded;
  const auto collect = [&](const RegistryText& text, const std::string& path) {
    for (std::string& subkey : text.Subkeys(path)) {
      std::string compared = FoldCase(subkey);
      if (std::find(folded.begin(), folded.end(), compared) != folded.end()) continue;
      folded.push_back(std::move(compared));
      names.push_back(std::move(subkey));
    }
    return false;
  };
  if (const uint32_t failure = Visit(state_->places, collect)) return failure;
  if (index >= names.size()) return error::kNoMoreItems;
  *name = std::move(names[index]);
  return 0;
}

uint32_t RegistryKey::QueryValue(const std::string& name, RegistryType* type, void* data,
                                 uint32_t* size) const {
  if (!state_) return error::kInvalidHandle;
  if (data && !size) return error::kInvalidParameter;
  uint32_t result = error::kFileNotFound;
  const auto take = [&](const RegistryText& text, const std::string& path) {
    const RegistryValue* value = text.FindValue(path, name);
    if (!value) return false;
    result = 0;
    if (type) *type = static_cast<RegistryType>(value->type);
    if (!size) return true;
    const uint32_t room = *size;
    *size = static_cast<uint32_t>(value->data.size());
    if (data && room < *size) result = error::kMoreData;
    if (data && result == 0) std::memcpy(data, value->data.data(), *size);
    return true;
  };
  const uint32_t failure = Visit(state_->places, take);
  return failure ? failure : result;
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
  uint32_t result = error::kFileNotFound;
  for (const RegistryPlace& place : Below(state_->places, path)) {
    if (!place.ours) continue;  // what lies below the user's file is not the user's to remove
    const uint32_t failure = ChangeRegistryFile(place.file, [&](RegistryText* text) {
      return text->DeleteKey(place.path) ? 0u : error::kFileNotFound;
    });
    if (failure == 0 || result != 0) result = failure == 0 ? 0 : failure;
  }
  return result;
}

}  // namespace scantk
