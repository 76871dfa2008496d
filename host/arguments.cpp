#include "host/arguments.h"

#include <algorithm>
#include <charconv>

namespace scanhost {

Arguments Arguments::Parse(std::span<const std::string> words, std::span<const Option> options) {
  Arguments result;
  for (size_t i = 0; i < words.size(); ++i) {
    const std::string& word = words[i];
    if (word == "--") {
      result.rest_.assign(words.begin() + static_cast<ptrdiff_t>(i) + 1, words.end());
      break;
    }
    if (word.size() < 2 || word[0] != '-') {
      result.positional_.push_back(word);
      continue;
    }
    const size_t equals = word.find('=');
    const std::string name = word.substr(0, equals);
    const auto option = std::find_if(options.begin(), options.end(),
                                     [&](const Option& known) { return known.name == name; });
    if (option == options.end()) throw UsageError("unknown option " + name);
    if (option->value.empty()) {
      if (equals != std::string::npos) throw UsageError(name + " takes no value");
      result.values_[name] = "";
    } else if (equals != std::string::npos) {
      result.values_[name] = word.substr(equals + 1);
    } else {
      if (i + 1 == words.size())
        throw UsageError(name + " needs a value: " + std::string(option->value));
      result.values_[name] = words[++i];
    }
  }
  return result;
}

std::string Arguments::Value(std::string_view name, const std::string& otherwise) const {
  const auto found = values_.find(name);
  return found == values_.end() ? otherwise : found->second;
}

uint32_t ParseNumber(const std::string& text, uint32_t low, uint32_t high, std::string_view what) {
  const bool hexadecimal = text.starts_with("0x") || text.starts_with("0X");
  const char* begin = text.data() + (hexadecimal ? 2 : 0);
  const char* end = text.data() + text.size();
  uint32_t number = 0;
  const auto [stop, error] = std::from_chars(begin, end, number, hexadecimal ? 16 : 10);
  if (begin == end || error != std::errc() || stop != end || number < low || number > high)
    throw UsageError(std::string(what) + " must be a number from " + std::to_string(low) + " to " +
                     std::to_string(high) + ", not \"" + text + "\"");
  return number;
}

}  // namespace scanhost
