#include "platform/stand_ins/registration_script.h"

namespace scantk {
namespace {

constexpr int kDeepest = 32;  // keys within keys; a script that goes deeper is not ours

class Parser {
 public:
  Parser(const std::string& script, const std::string& module, std::vector<ScriptEntry>* entries)
      : script_(script), module_(module), entries_(entries) {}

  bool Parse() {
    std::string root;
    return Word(&root) && root == "HKCR" && Is('{') && Keys("", 0) && AtEnd();
  }

 private:
  // Everything up to the closing brace.
  bool Keys(const std::string& parent, int depth) {
    if (depth > kDeepest) return false;
    while (!Is('}')) {
      ScriptEntry entry;
      std::string name;
      if (!Word(&name)) return false;
      if (name == "NoRemove" || name == "ForceRemove") {
        entry.removal =
            name == "NoRemove" ? ScriptEntry::Removal::kNever : ScriptEntry::Removal::kWhole;
        if (!Word(&name)) return false;
      } else if (name == "val") {
        entry.isValue = true;
        if (!Word(&name)) return false;
      }
      if (entry.isValue) {
        entry.path = parent;
        entry.valueName = name;
      } else {
        entry.path = parent.empty() ? name : parent + "\\" + name;
      }
      if (Is('=') && !Text(&entry)) return false;
      if (entry.isValue && !entry.hasText) return false;
      entries_->push_back(entry);
      if (!entry.isValue && Is('{') && !Keys(entry.path, depth + 1)) return false;
    }
    return true;
  }

  // s 'text'
  bool Text(ScriptEntry* entry) {
    std::string kind;
    if (!Word(&kind) || kind != "s" || !Word(&entry->text)) return false;
    entry->hasText = true;
    const std::string variable = "%MODULE%";
    for (size_t at = 0; (at = entry->text.find(variable, at)) != std::string::npos;
         at += module_.size())
      entry->text.replace(at, variable.size(), module_);
    return true;
  }

  void SkipBlanks() {
    while (at_ < script_.size() && IsBlank(script_[at_])) ++at_;
  }
  static bool IsBlank(char c) { return c == ' ' || c == '\t' || c == '\r' || c == '\n'; }

  bool AtEnd() {
    SkipBlanks();
    return at_ == script_.size();
  }

  bool Is(char mark) {
    SkipBlanks();
    if (at_ == script_.size() || script_[at_] != mark) return false;
    ++at_;
    return true;
  }

  // A bare word, or a text in apostrophes. A class identifier is a word that begins with a brace.
  bool Word(std::string* word) {
    SkipBlanks();
    if (at_ == script_.size()) return false;
    const bool quoted = script_[at_] == '\'';
    const size_t start = quoted ? ++at_ : at_;
    while (at_ < script_.size() && (quoted ? script_[at_] != '\'' : !IsBlank(script_[at_]))) ++at_;
    *word = script_.substr(start, at_ - start);
    if (quoted && at_++ == script_.size()) return false;
    return quoted || (!word->empty() && *word != "{" && *word != "}");
  }

  const std::string& script_;
  const std::string& module_;
  std::vector<ScriptEntry>* entries_;
  size_t at_ = 0;
};

}  // namespace

bool ParseRegistrationScript(const std::string& script, const std::string& module,
                             std::vector<ScriptEntry>* entries) {
  entries->clear();
  return Parser(script, module, entries).Parse();
}

}  // namespace scantk
