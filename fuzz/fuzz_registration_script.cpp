// Registration scripts.
//
// Input: the script.
#include "fuzz/fuzz_input.h"
#include "platform/posix/registration_script.h"

using namespace scantk;
using namespace scantk::fuzz;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const std::string script(data, data + std::min<size_t>(size, 16384));
  std::vector<ScriptEntry> entries;
  const bool is_sound = ParseRegistrationScript(script, "/lib/%MODULE%.so", &entries);
  Require(entries.size() <= script.size(), "no entry comes from nothing");
  for (const ScriptEntry& entry : entries) {
    Require(!entry.isValue || entry.hasText, "a value has a text");
    Require(entry.isValue || entry.valueName.empty(), "a key has no value's name");
    Require(entry.hasText || entry.text.empty(), "a text that is not there is empty");
    Require(entry.path.size() <= script.size() + 32, "a path is made of the script's words");
  }
  if (!is_sound) return 0;
  // Blanks around a sound script change nothing.
  std::vector<ScriptEntry> again;
  Require(ParseRegistrationScript("\r\n\t " + script + " \n", "/lib/%MODULE%.so", &again) &&
              again.size() == entries.size(),
          "blanks around a script do not count");
  return 0;
}
