// The text of a registry file: the form that the Windows registry editor exports. Reading and
// changing it are pure functions of bytes. The text is held as it came; a change replaces or adds
// single lines, so that everything else, understood or not, survives byte for byte.
#ifndef SCANTK_PLATFORM_STAND_INS_REGISTRY_TEXT_H_
#define SCANTK_PLATFORM_STAND_INS_REGISTRY_TEXT_H_

#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "platform/stand_ins/registry_lines.h"

namespace scantk {

// Larger files are not read.
inline constexpr size_t kMaxRegistryBytes = 16u << 20;

struct RegistryReport {
  size_t line;  // from 1
  std::string text;
};

// Copies are deep. One thread may change it; any number may read an unchanged one.
class RegistryText {
 public:
  // An empty registry.
  RegistryText() : RegistryText(std::string_view()) {}
  // Reads a file's bytes: UTF-8, or UTF-16 with a byte-order mark. No bytes at all are an empty
  // registry.
  explicit RegistryText(std::string_view bytes);
  RegistryText(const RegistryText& other);
  RegistryText& operator=(const RegistryText&) = delete;

  // False: the bytes are no registry file (wrong first line, too large, undecodable). Then it holds
  // no keys and must not be written back.
  bool IsRegistry() const { return is_registry_; }

  // What was not understood, in order of lines; the first hundred places are kept.
  const std::vector<RegistryReport>& Reports() const { return reports_; }

  // The bytes of the file, in the encoding in which it came.
  std::string Bytes() const;

  // Paths are full ("HKEY_LOCAL_MACHINE\Software\..."), without regard to case.
  bool HasKey(std::string_view path) const;
  // The names of a key's subkeys in the order of the file; empty for a missing key.
  std::vector<std::string> Subkeys(std::string_view path) const;
  // Null: no such key or value. The default value's name is empty. Valid until the next change.
  const RegistryValue* FindValue(std::string_view path, std::string_view name) const;

  // Names and paths that the text cannot carry: control characters, empty folders, damaged UTF-8,
  // more than 255 bytes in one name, 16,000 in a path, or 512 folders; an unknown root.
  static bool IsValidName(std::string_view name);
  static bool IsValidPath(std::string_view path);

  // The path or name must be valid. CreateKey does nothing when the key exists; SetValue creates
  // the key; a string's data may come with or without its NUL.
  void CreateKey(std::string_view path);
  void SetValue(std::string_view path, std::string_view name, const RegistryValue& value);
  // Removes the key and everything below it. False when there is none.
  bool DeleteKey(std::string_view path);

 private:
  static constexpr std::string_view kFirstLine = "Windows Registry Editor Version 5.00";

  enum class Encoding { kUtf8, kUtf8Mark, kUtf16Little, kUtf16Big };

  // A stretch of text_: from `begin` to before `end`.
  struct Span {
    size_t begin = 0, end = 0;
  };
  struct PlacedValue {
    Span lines;  // with the line break
    RegistryValue value;
  };
  // One key. It exists because a section names it or a key below it.
  struct Key {
    std::string name;
    std::vector<Key*> children;  // in order of appearance
    std::map<std::string, std::unique_ptr<Key>, std::less<>> child_by_folded_name;
    std::vector<Span> sections;  // header line to before the next header
    size_t insert_at = 0;        // behind the last value (or the header) of the last section
    std::map<std::string, PlacedValue, std::less<>> value_by_folded_name;
  };

  class Reader;

  bool Decode(std::string_view bytes);
  void Index();
  void Refuse(size_t line, const char* why);
  const Key* Find(std::string_view path) const;
  static void CollectSections(const Key& key, std::vector<Span>* spans);
  void Replace(Span span, std::string_view with);
  void Append(const std::string& lines);

  Encoding encoding_ = Encoding::kUtf8;
  bool is_registry_ = true;
  std::string text_;  // UTF-8, line breaks as they came
  const char* line_break_ = "\r\n";
  std::unique_ptr<Key> root_;
  std::vector<RegistryReport> reports_;
};

}  // namespace scantk

#endif  // SCANTK_PLATFORM_STAND_INS_REGISTRY_TEXT_H_
