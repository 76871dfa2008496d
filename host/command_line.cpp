#include "host/command_line.h"

#include <CLI/CLI.hpp>
#include <cstdio>
#include <map>

#include "host/commands.h"
#include "host/error_advice.h"
#include "host/exit_status.h"
#include "host/help_pages.h"
#include "host/setup/devices_command.h"
#include "host/setup/trace_command.h"
#include "host/version.h"

namespace scanhost {
namespace {

constexpr char kExitHelp[] =
    "exit status: 0 done, 1 failed, 2 not understood, 3 a page was cut short, 4 --strict and\n"
    "something differs, 130 Ctrl-C (128 and the signal's number); `doctor` has one for each step";

// "500ms", "30s", "2m"; a plain number is of `unit` milliseconds.
uint32_t Duration(const std::string& text, uint32_t unit) {
  size_t end = 0;
  double number = -1;
  try {
    number = std::stod(text, &end);
  } catch (const std::logic_error&) {
  }
  const std::map<std::string, double> units = {{"", unit}, {"ms", 1}, {"s", 1000}, {"m", 60000}};
  const auto found = units.find(text.substr(end));
  if (!(number >= 0) || found == units.end() || number * found->second > 0x7FFFFFFF)
    throw UsageError("\"" + text + "\" is no time: 500ms, 30s and 2m are");
  return static_cast<uint32_t>(number * found->second);
}

void ParseResolution(const std::string& text, ScanRequest* request) {
  char more = 0;
  unsigned x = 0, y = 0;
  const int got = std::sscanf(text.c_str(), "%5ux%5u%c", &x, &y, &more);
  const bool one = text.find_first_not_of("0123456789") == std::string::npos;
  if (got < 1 || got > 2 || (got == 1 && !one) || x == 0 || (got == 2 && y == 0) || x > 65535 ||
      y > 65535)
    throw UsageError("the resolution is N or NxM, numbers from 1 to 65535, not \"" + text + "\"");
  request->x_resolution = x;
  request->y_resolution = got == 2 ? y : x;
}

class CommandLine {
 public:
  CommandLine() : app_("configures scanners, shows what they can do, scans", "scanhost") {
    app_.require_subcommand(1);
    app_.set_version_flag("--version", VersionText());
    app_.footer(kExitHelp);
    AddScan();
    AddDoctor();
    AddDeviceCommands();
    AddSetup();
    AddHelp();
  }

  int Run(std::vector<std::string> words) {
    TakeSimulatorWords(&words);
    GiveWaitItsValue(&words);
    std::reverse(words.begin(), words.end());  // as the library takes them
    try {
      app_.parse(words);
    } catch (const CLI::CallForHelp&) {
      std::printf("%s", app_.help().c_str());
    } catch (const CLI::CallForVersion&) {
      std::printf("%s\n", VersionText().c_str());
    } catch (const CLI::ParseError& error) {
      throw UsageError(error.what());
    }
    return run_ ? run_() : kExitDone;
  }

 private:
  using Action = std::function<int()>;

  CLI::App* Command(const std::string& name, const std::string& help, Action action) {
    CLI::App* command = app_.add_subcommand(name, help);
    command->callback([this, action] { run_ = action; });
    return command;
  }

  // Words behind "--" are scantk-sim's.
  void TakeSimulatorWords(std::vector<std::string>* words) {
    const auto dashes = std::find(words->begin(), words->end(), "--");
    if (dashes == words->end()) return;
    device_.simulator_words.assign(dashes + 1, words->end());
    words->erase(dashes, words->end());
  }

  // "--wait" may stand alone, also before the device's name.
  static void GiveWaitItsValue(std::vector<std::string>* words) {
    for (size_t i = 0; i < words->size(); ++i) {
      if ((*words)[i] != "--wait") continue;
      const bool own = i + 1 < words->size() && !(*words)[i + 1].empty() &&
                       std::isdigit(static_cast<unsigned char>((*words)[i + 1][0]));
      (*words)[i] += "=" + (own ? (*words)[i + 1] : "60s");
      if (own) words->erase(words->begin() + static_cast<ptrdiff_t>(i) + 1);
    }
  }

  void AddDevice(CLI::App* command) {
    command->add_option("DEVICE", device_.device,
                        "number, name or identity; needed where several are configured");
    command
        ->add_option_function<std::string>(
            "--timeout",
            [this](const std::string& text) { device_.timeout_ms = Duration(text, 1); },
            "how long to wait while another program or computer has the device (30s)")
        ->type_name("TIME");
    command
        ->add_option_function<std::string>(
            "--wait",
            [this](const std::string& text) {
              device_.wait_s = (Duration(text, 1000) + 999) / 1000;
              scan_.wait_s = device_.wait_s;
            },
            "wait for a device that is busy and for paper in the feeder (60s)")
        ->type_name("[TIME]");
    command
        ->add_option("--library", device_.library, "the toolkit's library, not the registered one")
        ->type_name("FILE");
    command->add_flag("--simulate", device_.simulate,
                      "start a simulated device; words after -- are scantk-sim's");
    command
        ->add_option("--trace", device_.trace, "with --simulate: write the toolkit's trace there")
        ->type_name("FILE");
    command
        ->add_option("--trace-level", device_.trace_level,
                     "of --trace: as `scanhost trace` takes it")
        ->type_name("LEVEL");
  }

  void AddScan() {  // NOLINT(readability-function-size): a table, line by line
    CLI::App* command = Command("scan", "scans a page, or the pages of the feeder",
                                [this] { return RunScan(device_, scan_); });
    AddDevice(command);
    command
        ->add_option("-o,--output", scan_.output,
                     "picture to write: .png, .tif, .pdf, .pnm; %03d: the page's number; -: "
                     "standard output (page.png)")
        ->type_name("FILE");
    command->add_option("--format", scan_.format, "png, tiff, pdf or pnm, whatever the name says");
    command->add_flag("--force", scan_.force, "replace files that exist");
    command
        ->add_option_function<std::string>(
            "--resolution", [this](const std::string& text) { ParseResolution(text, &scan_); },
            "dots per inch, N or NxM (300)")
        ->type_name("N");
    AddPicture(command);
    AddSource(command);
    AddTone(command);
  }

  // What of the glass or the sheet, and how fine.
  void AddPicture(CLI::App* command) {
    const std::map<std::string, PixelKind> modes = {{"color", PixelKind::kColor},
                                                    {"colour", PixelKind::kColor},
                                                    {"gray", PixelKind::kGray},
                                                    {"grey", PixelKind::kGray},
                                                    {"bw", PixelKind::kBlackAndWhite}};
    Choice(command, "--mode", modes, &scan_.kind, "color, gray or bw (color)");
    command->add_option("--depth", scan_.depth, "bits of a channel: 8 or 16 (8)")
        ->check(CLI::IsMember({8, 16}));
    auto* area = command->add_option_function<std::string>(
        "--area", [this](const std::string& text) { scan_.area = ParseArea(text); },
        "left, top, width and height in mm (\"in\" or \"u\" behind: inches, 1/300 inch)");
    area->type_name("L,T,W,H");
    command
        ->add_option_function<std::string>(
            "--size",
            [this](const std::string& text) {
              if (text != "max") scan_.area = NamedSize(text);
            },
            "a4, a5, letter, legal, or max: all that the device can scan (max)")
        ->excludes(area);
    command->add_flag("--strict", scan_.strict, "fail where anything differs from what was asked");
    command->add_flag("--json", scan_.json, "one JSON object a page and one for the job");
    command->add_flag("--preview", scan_.preview, "a quick scan");
    auto* raw = command->add_flag_callback(
        "--no-jpeg", [this] { scan_.jpeg = false; }, "have the device send its rows as they are");
    command
        ->add_option_function<uint32_t>(
            "--jpeg", [this](uint32_t level) { scan_.jpeg_level = level; },
            "have the device compress with this level")
        ->type_name("LEVEL")
        ->excludes(raw);
    command
        ->add_option("--quality", scan_.picture.jpeg_quality,
                     "of JPEG pages in a PDF, 1 to 100; without it they are lossless")
        ->check(CLI::Range(1, 100));
  }

  void AddSource(CLI::App* command) {
    const std::map<std::string, Source> sources = {{"auto", Source::kAuto},
                                                   {"glass", Source::kGlass},
                                                   {"feeder", Source::kFeeder},
                                                   {"transparency", Source::kTransparency},
                                                   {"negative", Source::kNegative}};
    Choice(command, "--source", sources, &scan_.source,
           "auto (the feeder when paper is loaded, else the glass), glass, feeder, transparency, "
           "negative");
    command->add_flag_callback(
        "--feeder", [this] { scan_.source = Source::kFeeder; }, "short for --source feeder");
    command->add_flag("--duplex", scan_.duplex, "both sides of each sheet");
    command->add_option("--pages", scan_.pages, "end a feeder job after this many pages")
        ->check(CLI::Range(1, 1000000));
  }

  void AddTone(CLI::App* command) {
    auto* file = command->add_option("--tone", scan_.tone_file,
                                     "tone table: 256 numbers from 0 to 255, one a line");
    file->type_name("FILE");
    command->add_option("--brightness", scan_.brightness, "-100 to 100 (0)")
        ->check(CLI::Range(-100, 100))
        ->excludes(file);
    command->add_option("--contrast", scan_.contrast, "-100 to 100 (0)")
        ->check(CLI::Range(-100, 100))
        ->excludes(file);
    command->add_option("--gamma", scan_.gamma, "0.1 to 10 (1)")
        ->check(CLI::Range(0.1, 10.0))
        ->excludes(file);
  }

  template <class Value>
  static void Choice(CLI::App* command, const char* name,
                     const std::map<std::string, Value>& values, Value* value, const char* help) {
    command
        ->add_option_function<std::string>(
            name, [values, value](const std::string& text) { *value = values.at(text); }, help)
        ->check(CLI::IsMember(values));
  }

  void AddDoctor() {
    CLI::App* command = Command("doctor", "finds out what is wrong with a device",
                                [this] { return RunDoctor(device_, doctor_); });
    AddDevice(command);
    command->add_flag("--feeder", doctor_.feeder, "scan a sheet instead of a piece of the glass");
    command->add_flag("--json", doctor_.json, "one JSON object");
    command
        ->add_option("--report", doctor_.report,
                     "ZIP file for the driver's makers: trace, registry entry, this text")
        ->type_name("FILE");
    command->footer(DoctorExitHelp());
  }

  void AddDeviceCommands() {
    const auto add = [this](const char* name, const char* help, int (*run)(const DeviceOptions&)) {
      CLI::App* command = Command(name, help, [this, run] { return run(device_); });
      AddDevice(command);
      return command;
    };
    add("info", "shows what a device can do", RunInfo);
    add("properties", "shows a device's hardware properties", RunProperties);
    add("reset", "clears a device's errors and resets it", RunReset);
    add("lamp", "shows the lamp", RunLamp);
    CLI::App* panel = Command("panel", "shows or sets the control panel",
                              [this] { return RunPanel(device_, panel_); });
    AddDevice(panel);
    panel->add_option("--value", panel_.get_value, "shows a variable by number");
    panel->add_option("--set-value", panel_.set_value, "NUMBER=VALUE sets a variable");
    panel->add_option("--string", panel_.get_string, "shows a text by number");
    panel->add_option("--set-string", panel_.set_string, "NUMBER=TEXT sets a text");
    panel->add_option("--set-destination", panel_.set_destination,
                      "INDEX=TEXT names a destination");
    panel->add_option("--code-page", panel_.code_page, "sets the code page");
    CLI::App* spf = Command("spf", "shows or saves the device's SPF data",
                            [this] { return RunSpf(device_, spf_file_, scan_.force); });
    AddDevice(spf);
    spf->add_option("-o,--output", spf_file_, "file for the data");
    spf->add_flag("--force", scan_.force, "replace a file that exists");
    CLI::App* reserve = Command("reserve", "reserves a device until Ctrl-C, or for a time",
                                [this] { return RunReserve(device_, reserve_ms_); });
    AddDevice(reserve);
    reserve
        ->add_option_function<std::string>(
            "--for", [this](const std::string& text) { reserve_ms_ = Duration(text, 1000); },
            "give it back after this time")
        ->type_name("TIME");
  }

  void AddSetup() {  // NOLINT(readability-function-size): a table, line by line
    CLI::App* devices =
        Command("devices", "lists, adds and changes devices", [] { return ListDevices(); });
    const auto sub = [&](const char* name, const char* help, Action action) {
      CLI::App* command = devices->add_subcommand(name, help);
      command->callback([this, action] { run_ = action; });
      return command;
    };
    devices->require_subcommand(0, 1);
    // The command's own callback runs after its part's, and must not replace it.
    devices->callback([this, devices] {
      if (devices->get_subcommands().empty()) run_ = [] { return ListDevices(); };
    });
    sub("list", "lists the devices", [] { return ListDevices(); });
    sub("show", "shows a device's values", [this] {
      return ShowDevice(name_);
    })->add_option("DEVICE", name_);
    CLI::App* add = sub("add", "adds a device", [this] { return AddNewDevice(new_device_); });
    add->add_option("NAME", new_device_.name, "what users see")->required();
    CLI::Option_group* kind = add->add_option_group("where it is");
    kind->add_option("--network", new_device_.address, "address or host name")
        ->type_name("ADDRESS");
    kind->add_option("--usb", new_device_.usb, "device file on USB")->type_name("FILE");
    kind->add_option("--dot4", new_device_.dot4, "device file of an IEEE 1284.4 stack")
        ->type_name("FILE");
    kind->require_option(1);
    add->add_option("--port", new_device_.port, "port of the print server: 1, 2 or 3 (1)")
        ->check(CLI::Range(1, 3));
    add->add_flag("--fixed", new_device_.fixed, "never look for another address (StaticIP)");
    add->add_option("--guid", new_device_.guid,
                    "find the device again by this when its address changes");
    add->add_option("--mac", new_device_.mac, "the same, where the GUID does not find it");
    add->add_flag("--force", new_device_.force, "replace the device of that name");
    CLI::App* set =
        sub("set", "changes a device's values", [this] { return SetDevice(name_, assignments_); });
    set->add_option("DEVICE", name_)->required();
    set->add_option("NAME=VALUE", assignments_, "`show` prints the names")->required();
    sub("remove", "removes a device", [this] { return RemoveOneDevice(name_); })
        ->add_option("DEVICE", name_)
        ->required();
    AddTrace();
  }

  void AddTrace() {
    CLI::App* trace =
        Command("trace", "switches the toolkit's trace", [this] { return RunTrace(trace_); });
    trace->add_option("ACTION", trace_.action, "on, off, or nothing to show it")
        ->check(CLI::IsMember({"on", "off", "show"}));
    trace->add_option("--level", trace_.level, TraceLevelHelp());
    trace->add_option("--file", trace_.file, "default velkan.log in the temporary folder");
    trace->add_flag("--debugger", trace_.debugger, "show the lines to a debugger as well");
    trace->add_flag("--collector", trace_.collector,
                    "hand the lines to the log collector component as well");
  }

  void AddHelp() {
    CLI::App* help = Command("help", "explains a command", [this] {
      const auto named = [this](const CLI::App* one) { return one->get_name() == name_; };
      const auto found = std::as_const(app_).get_subcommands(named);
      const CLI::App* command = name_.empty() ? &app_ : found.empty() ? nullptr : found.front();
      if (!command)
        throw UsageError("\"" + name_ + "\" is not a command; `scanhost --help` lists them");
      std::printf("%s", command->help(command == &app_ ? "" : "scanhost").c_str());
      return int{kExitDone};
    });
    help->add_option("COMMAND", name_);
    Command("completion", "prints the completion for bash", [this] {
      std::printf("%s", CompletionText(app_).c_str());
      return int{kExitDone};
    });
    Command("man", "prints the manual page", [this] {
      std::printf("%s", ManualText(app_).c_str());
      return int{kExitDone};
    });
  }

  CLI::App app_;
  Action run_;
  DeviceOptions device_;
  ScanRequest scan_;
  DoctorRequest doctor_;
  PanelRequest panel_;
  std::string spf_file_;
  uint32_t reserve_ms_ = 0;
  std::string name_;
  NewDevice new_device_;
  std::vector<std::string> assignments_;
  TraceRequest trace_;
};

}  // namespace

int RunCommandLine(std::vector<std::string> words) {
  return CommandLine().Run(std::move(words));
}

}  // namespace scanhost
