// The command line: a list of options per command, and what the user gave of them.
#ifndef SCANTK_HOST_ARGUMENTS_H_
#define SCANTK_HOST_ARGUMENTS_H_

#include <map>
#include <span>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

namespace scanhost {

// A command line that cannot be meant. The text says what is wrong with which word.
class UsageError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

struct Option {
  std::string_view name;   // with its dashes: "--resolution"
  std::string_view value;  // what its value is called in the help; empty: it takes none
  std::string_view help;
};

class Arguments {
 public:
  // Takes `words` (without the program's and the command's name) apart. An option's value is the
  // next word or stands behind '='. Words after "--" are kept for others (Rest). Throws UsageError
  // for an option that is not in `options`, a missing value or one too many.
  static Arguments Parse(std::span<const std::string> words, std::span<const Option> options);

  bool Has(std::string_view name) const { return values_.contains(name); }
  // The option's value; the last one counts when it was given twice. `otherwise` without it.
  std::string Value(std::string_view name, const std::string& otherwise = "") const;
  const std::vector<std::string>& Positional() const { return positional_; }
  const std::vector<std::string>& Rest() const { return rest_; }

 private:
  std::map<std::string, std::string, std::less<>> values_;
  std::vector<std::string> positional_;
  std::vector<std::string> rest_;
};

// A whole number within [low, high], decimal or 0x hexadecimal; `what` names it in the UsageError.
uint32_t ParseNumber(const std::string& text, uint32_t low, uint32_t high, std::string_view what);

}  // namespace scanhost

#endif  // SCANTK_HOST_ARGUMENTS_H_
