#include "platform/stand_ins/registry_text.h"

#include <algorithm>
#include <iterator>
#include <optional>

#include "platform/posix/unicode.h"

namespace scantk {
namespace {

constexpr std::string_view kRoots[] = {"hkey_classes_root", "hkey_current_user",
                                       "hkey_local_machine", "hkey_users", "hkey_current_config"};
constexpr size_t kMaxNameBytes = 255;
constexpr size_t kMaxPathBytes = 16000;
constexpr size_t kMaxDepth = 512;
constexpr size_t kMaxReports = 100;

// The folders of a path, one at a time. False at the end.
bool NextFolder(std::string_view* path, std::string_view* folder) {
  if (path->data() == nullptr) return false;
  const size_t end = path->find('\\');
  *folder = path->substr(0, end);
  *path = end == std::string_view::npos ? std::string_view() : path->substr(end + 1);
  return true;
}

}  // namespace

// Walks the text once and builds the tree over it.
class RegistryText::Reader {
 public:
  explicit Reader(RegistryText* text) : text_(*text), all_(text->text_) {}

  void Read() {
    if (all_.empty()) return;
    const std::string_view first = Take();
    if (TrimBlanks(first) != kFirstLine) {
      text_.Refuse(1, "the first line is not \"Windows Registry Editor Version 5.00\"");
      return;
    }
    if (first.find('\r') == std::string_view::npos) text_.line_break_ = "\n";
    while (position_ < all_.size()) ReadLine();
    EndSection(all_.size());
  }

 private:
  // The next line with its line break.
  std::string_view Peek() const {
    const size_t end = all_.find('\n', position_);
    return all_.substr(position_, end == std::string_view::npos ? end : end + 1 - position_);
  }

  std::string_view Take() {
    const std::string_view line = Peek();
    position_ += line.size();
    ++line_;
    return line;
  }

  void Report(const char* what) {
    if (text_.reports_.size() < kMaxReports) text_.reports_.push_back({line_, what});
  }

  void ReadLine() {
    const size_t begin = position_;
    const std::string_view content = TrimBlanks(Take());
    if (content.empty() || content.front() == ';') return;
    if (!IsCleanText(content)) {
      Report("bytes that are no text");
    } else if (content.front() == '[') {
      ReadHeader(content, begin);
    } else {
      ReadValue(content, begin);
    }
  }

  void ReadHeader(std::string_view content, size_t begin) {
    EndSection(begin);
    key_ = nullptr;
    const std::string_view path = content.substr(1, content.size() - 2);
    if (content.back() != ']' || !IsValidPath(path)) {
      Report("not a key that can be read; its values are passed over");
      return;
    }
    key_ = Reach(path);
    key_->sections.push_back({begin, position_});
    key_->insert_at = position_;
  }

  void EndSection(size_t end) {
    if (key_) key_->sections.back().end = end;
  }

  // The key of a path, made with all above it.
  Key* Reach(std::string_view path) {
    Key* key = text_.root_.get();
    for (std::string_view folder; NextFolder(&path, &folder);) {
      std::unique_ptr<Key>& child = key->child_by_folded_name[FoldCase(folder)];
      if (!child) {
        child = std::make_unique<Key>();
        child->name = folder;
        key->children.push_back(child.get());
      }
      key = child.get();
    }
    return key;
  }

  void ReadValue(std::string_view content, size_t begin) {
    const std::optional<NamedData> start = SplitValueLine(content);
    const std::optional<RegistryValue> value =
        start ? ParseData(JoinContinued(start->data)) : std::nullopt;
    if (!value) {
      Report("not a value that can be read");
    } else if (key_) {
      key_->value_by_folded_name[FoldCase(start->name)] = {{begin, position_}, *value};
      key_->insert_at = position_;
    }
  }

  // A hex value goes on in the next line when its line ends in a backslash. What looks like the
  // start of something else is left alone, so that one damaged line does not swallow its successor.
  std::string JoinContinued(std::string_view first) {
    std::string data(first);
    while (IsHexData(first) && !data.empty() && data.back() == '\\') {
      const std::string_view next = TrimBlanks(Peek());
      if (next.empty() || next.find_first_of("[\"@;=") != std::string_view::npos) break;
      data.pop_back();
      data += next;
      Take();
    }
    return data;
  }

  RegistryText& text_;
  std::string_view all_;
  size_t position_ = 0;
  size_t line_ = 0;
  Key* key_ = nullptr;  // of the section being read; null when it cannot be read
};

RegistryText::RegistryText(std::string_view bytes) : root_(std::make_unique<Key>()) {
  if (bytes.size() > kMaxRegistryBytes) {
    Refuse(1, "the file is too large");
  } else if (!Decode(bytes)) {
    Refuse(1, "the file ends in the middle of a character");
  } else {
    Index();
  }
}

RegistryText::RegistryText(const RegistryText& other)
    : encoding_(other.encoding_), is_registry_(other.is_registry_), text_(other.text_) {
  Index();
}

bool RegistryText::Decode(std::string_view bytes) {
  const auto starts_with = [&](std::string_view mark) {
    return bytes.substr(0, mark.size()) == mark;
  };
  if (starts_with("\xEF\xBB\xBF")) {
    encoding_ = Encoding::kUtf8Mark;
    text_ = bytes.substr(3);
    return true;
  }
  if (!starts_with("\xFF\xFE") && !starts_with("\xFE\xFF")) {
    text_ = bytes;
    return true;
  }
  encoding_ = bytes[0] == '\xFF' ? Encoding::kUtf16Little : Encoding::kUtf16Big;
  if (bytes.size() % 2 != 0) return false;
  const size_t low = encoding_ == Encoding::kUtf16Little ? 0 : 1;
  const auto byte = [&](size_t i) -> char32_t { return static_cast<uint8_t>(bytes[i]); };
  const auto unit = [&](size_t i) { return byte(i + low) | byte(i + 1 - low) << 8; };
  for (size_t i = 2; i < bytes.size(); i += 2) {
    char32_t c = unit(i);
    if (c >= 0xD800 && c < 0xDC00 && i + 2 < bytes.size()) {
      const char32_t second = unit(i + 2);
      if (second >= 0xDC00 && second <= 0xDFFF) {
        c = 0x10000 + ((c - 0xD800) << 10) + (second - 0xDC00);
        i += 2;
      }
    }
    AppendUtf8(c, &text_);
  }
  return true;
}

std::string RegistryText::Bytes() const {
  if (encoding_ == Encoding::kUtf8) return text_;
  if (encoding_ == Encoding::kUtf8Mark) return "\xEF\xBB\xBF" + text_;
  const bool little = encoding_ == Encoding::kUtf16Little;
  std::string bytes = little ? "\xFF\xFE" : "\xFE\xFF";
  for (char16_t unit : Utf16FromAnyUtf8(text_)) {
    const char low = static_cast<char>(unit & 0xFF), high = static_cast<char>(unit >> 8);
    bytes.push_back(little ? low : high);
    bytes.push_back(little ? high : low);
  }
  return bytes;
}

void RegistryText::Index() {
  root_ = std::make_unique<Key>();
  reports_.clear();
  if (is_registry_) Reader(this).Read();
}

void RegistryText::Refuse(size_t line, const char* why) {
  is_registry_ = false;
  root_ = std::make_unique<Key>();
  reports_.push_back({line, why});
}

const RegistryText::Key* RegistryText::Find(std::string_view path) const {
  const Key* key = root_.get();
  for (std::string_view folder; NextFolder(&path, &folder);) {
    const auto child = key->child_by_folded_name.find(FoldCase(folder));
    if (child == key->child_by_folded_name.end()) return nullptr;
    key = child->second.get();
  }
  return key;
}

bool RegistryText::HasKey(std::string_view path) const {
  return Find(path) != nullptr;
}

std::vector<std::string> RegistryText::Subkeys(std::string_view path) const {
  std::vector<std::string> names;
  if (const Key* key = Find(path)) {
    for (const Key* child : key->children) names.push_back(child->name);
  }
  return names;
}

const RegistryValue* RegistryText::FindValue(std::string_view path, std::string_view name) const {
  const Key* key = Find(path);
  if (!key) return nullptr;
  const auto found = key->value_by_folded_name.find(FoldCase(name));
  return found == key->value_by_folded_name.end() ? nullptr : &found->second.value;
}

bool RegistryText::IsValidName(std::string_view name) {
  return name.size() <= kMaxNameBytes && IsCleanText(name) &&
         name.find('\t') == std::string_view::npos;
}

bool RegistryText::IsValidPath(std::string_view path) {
  if (path.empty() || path.size() > kMaxPathBytes) return false;
  size_t depth = 0;
  for (std::string_view folder; NextFolder(&path, &folder); ++depth) {
    if (folder.empty() || !IsValidName(folder) || depth == kMaxDepth) return false;
    if (depth == 0 &&
        std::find(std::begin(kRoots), std::end(kRoots), FoldCase(folder)) == std::end(kRoots)) {
      return false;
    }
  }
  return true;
}

}  // namespace scantk
