// Registration scripts: nested keys with values, written in braces under a root. The parser is a
// pure function of the text.
#ifndef SCANTK_PLATFORM_STAND_INS_REGISTRATION_SCRIPT_H_
#define SCANTK_PLATFORM_STAND_INS_REGISTRATION_SCRIPT_H_

#include <string>
#include <vector>

namespace scantk {

// One key or value of a script.
struct ScriptEntry {
  enum class Removal {
    kWhenEmpty,  // taken out on unregistration unless others keep something in it
    kNever,      // NoRemove
    kWhole,      // ForceRemove: made anew, taken out with all below it
  };
  std::string path;       // of the key, below the root
  std::string valueName;  // empty: the key's default value
  std::string text;       // its value
  bool hasText = false;   // false: the key alone
  bool isValue = false;   // a value of the key at `path`, not the key itself
  Removal removal = Removal::kWhenEmpty;
};

// Parses `script` (its one root is HKCR), with %MODULE% replaced by `module`. False: malformed;
// `entries` holds what came before the mistake.
bool ParseRegistrationScript(const std::string& script, const std::string& module,
                             std::vector<ScriptEntry>* entries);

}  // namespace scantk

#endif  // SCANTK_PLATFORM_STAND_INS_REGISTRATION_SCRIPT_H_
