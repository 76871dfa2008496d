// Texts made from the table of commands.
#ifndef SCANTK_HOST_HELP_PAGES_H_
#define SCANTK_HOST_HELP_PAGES_H_

#include <string>

namespace CLI {
class App;
}

namespace scanhost {

// A bash script that completes commands and options.
std::string CompletionText(const CLI::App& app);
// A page for man, in troff.
std::string ManualText(const CLI::App& app);

}  // namespace scanhost

#endif  // SCANTK_HOST_HELP_PAGES_H_
