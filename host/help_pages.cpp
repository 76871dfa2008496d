#include "host/help_pages.h"

#include <CLI/CLI.hpp>

namespace scanhost {
namespace {

using Apps = std::vector<const CLI::App*>;

Apps Parts(const CLI::App& app) {
  return app.get_subcommands([](const CLI::App*) { return true; });
}

// The command's own options and those of its groups.
std::vector<const CLI::Option*> Options(const CLI::App& app) {
  std::vector<const CLI::Option*> options = app.get_options();
  for (const CLI::App* group : Parts(app))
    if (group->get_name().empty())
      for (const CLI::Option* option : group->get_options()) options.push_back(option);
  return options;
}

std::string Troff(const std::string& text) {
  std::string safe;
  for (char c : text) safe += c == '-' ? "\\-" : c == '\\' ? "\\e" : std::string(1, c);
  return safe[0] == '.' || safe[0] == '\'' ? "\\&" + safe : safe;
}

void Describe(const CLI::App& app, const std::string& title, std::string* text) {
  *text += ".SS " + Troff(title) + "\n" + Troff(app.get_description()) + "\n";
  for (const CLI::Option* option : Options(app)) {
    if (option->get_name() == "--help") continue;
    *text += ".TP\n\\fB" + Troff(option->get_name(false, true)) + "\\fR " +
             Troff(option->get_items_expected_max() > 0 ? option->get_type_name() : "") + "\n" +
             Troff(option->get_description()) + "\n";
  }
  for (const CLI::App* part : Parts(app))
    if (!part->get_name().empty()) Describe(*part, title + " " + part->get_name(), text);
}

}  // namespace

std::string CompletionText(const CLI::App& app) {
  std::string commands, cases;
  for (const CLI::App* command : Parts(app)) {
    commands += command->get_name() + " ";
    std::string words;
    for (const CLI::Option* option : Options(*command))
      for (const std::string& name : option->get_lnames()) words += "--" + name + " ";
    for (const CLI::App* part : Parts(*command)) words += part->get_name() + " ";
    cases += "    " + command->get_name() + ") words=\"" + words + "\" ;;\n";
  }
  return "_scanhost() {\n  local words=\"" + commands +
         "\"\n  [ \"$COMP_CWORD\" -le 1 ] || case ${COMP_WORDS[1]} in\n" + cases +
         "  esac\n  COMPREPLY=($(compgen -W \"$words\" -- \"${COMP_WORDS[COMP_CWORD]}\"))\n}\n"
         "complete -o default -F _scanhost scanhost\n";
}

std::string ManualText(const CLI::App& app) {
  std::string text = ".TH SCANHOST 1\n.SH NAME\nscanhost \\- " + Troff(app.get_description()) +
                     "\n.SH SYNOPSIS\nscanhost COMMAND [DEVICE] [options] [\\-\\- words for "
                     "scantk\\-sim]\n.SH COMMANDS\n";
  for (const CLI::App* command : Parts(app)) Describe(*command, command->get_name(), &text);
  return text + ".SH EXIT STATUS\n" + Troff(app.get_footer()) + "\n";
}

}  // namespace scanhost
