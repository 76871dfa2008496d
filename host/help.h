// The help texts.
#ifndef SCANTK_HOST_HELP_H_
#define SCANTK_HOST_HELP_H_

#include <span>
#include <string>

#include "host/arguments.h"

namespace scanhost {

// One line per option, indented and aligned.
std::string OptionsHelp(std::span<const Option> options);

}  // namespace scanhost

#endif  // SCANTK_HOST_HELP_H_
