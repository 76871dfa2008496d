// What writes to the text of a registry file: the lines that a change does not touch stay as they
// are.
#include <algorithm>
#include <string>

#include "platform/stand_ins/registry_lines.h"
#include "platform/stand_ins/registry_text.h"

namespace scantk {

void RegistryText::Replace(Span span, std::string_view with) {
  text_.replace(span.begin, span.end - span.begin, with);
  Index();
}

void RegistryText::Append(const std::string& lines) {
  std::string added;
  if (text_.empty()) added = std::string(kFirstLine) + line_break_;
  if (!text_.empty() && text_.back() != '\n') added += line_break_;
  Replace({text_.size(), text_.size()}, added + line_break_ + lines);
}

void RegistryText::CreateKey(std::string_view path) {
  if (!Find(path)) Append("[" + std::string(path) + "]" + line_break_);
}

void RegistryText::SetValue(std::string_view path, std::string_view name,
                            const RegistryValue& value) {
  const std::string line = FormatValueLine(name, value) + line_break_;
  const Key* key = Find(path);
  if (!key || key->sections.empty()) {
    Append("[" + std::string(path) + "]" + line_break_ + line);
    return;
  }
  const auto old = key->value_by_folded_name.find(FoldCase(name));
  if (old != key->value_by_folded_name.end()) {
    Replace(old->second.lines, line);
    return;
  }
  const size_t at = key->insert_at;
  const bool unfinished = text_[at - 1] != '\n';
  Replace({at, at}, unfinished ? line_break_ + line : line);
}

void RegistryText::CollectSections(const Key& key, std::vector<Span>* spans) {
  spans->insert(spans->end(), key.sections.begin(), key.sections.end());
  for (const Key* child : key.children) CollectSections(*child, spans);
}

bool RegistryText::DeleteKey(std::string_view path) {
  const Key* key = Find(path);
  if (!key || key == root_.get()) return false;
  std::vector<Span> spans;
  CollectSections(*key, &spans);
  std::sort(spans.begin(), spans.end(),
            [](const Span& a, const Span& b) { return a.begin < b.begin; });
  std::string kept;
  size_t from = 0;
  for (const Span& span : spans) {
    kept.append(text_, from, span.begin - from);
    from = span.end;
  }
  kept.append(text_, from);
  text_ = std::move(kept);
  Index();
  return true;
}

}  // namespace scantk
