#include "host/command_line.h"

#include <CLI/CLI.hpp>
#include <cstdio>

#include "host/command_options.h"
#include "host/commands.h"
#include "host/error_advice.h"
#include "host/exit_status.h"
#include "host/help_pages.h"
#include "host/setup/devices_command.h"
#include "host/setup/registration.h"
#include "host/setup/trace_command.h"
#include "host/version.h"

namespace scanhost {
namespace {

constexpr char kExitHelp[] =
    "exit status: 0 done, 1 failed, 2 not understood, 3 a page was cut short, 4 --strict and\n"
    "something differs, 130 Ctrl-C (128 and the signal's number); `doctor` has one for each step";

std::string NotEmpty(const std::string& text) {
  return text.empty() ? "it is empty" : "";
}

class CommandLine {
 public:
  CommandLine() : app_("configures scanners, shows what they can do, scans", "scanhost") {
    app_.require_subcommand(0, 1);
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
      return kExitDone;
    } catch (const CLI::CallForVersion&) {
      std::printf("%s\n", VersionText().c_str());
      return kExitDone;
    } catch (const CLI::ParseError& error) {
      const auto given = app_.get_subcommands();
      throw UsageError(error.what() + std::string("; `scanhost help") +
                       (given.empty() ? "" : " " + given.front()->get_name()) + "` explains");
    }
    if (!run_) throw UsageError("name a command; `scanhost --help` lists them");
    return run_();
  }

 private:
  using Action = std::function<int()>;

  CLI::App* Command(const std::string& name, const std::string& help, const Action& action) {
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

  void AddScan() {
    CLI::App* command = Command("scan", "scans a page, or the pages of the feeder", [this] {
      scan_.wait_s = device_.wait_s;
      return RunScan(device_, scan_);
    });
    AddDeviceOptions(command, &device_);
    AddScanOptions(command, &scan_);
  }

  void AddDoctor() {
    CLI::App* command = Command("doctor", "finds out what is wrong with a device",
                                [this] { return RunDoctor(device_, doctor_); });
    AddDeviceOptions(command, &device_);
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
      AddDeviceOptions(command, &device_);
      return command;
    };
    add("info", "shows what a device can do", RunInfo);
    add("properties", "shows a device's hardware properties", RunProperties);
    add("reset", "clears a device's errors and resets it", RunReset);
    add("lamp", "shows the lamp", RunLamp);
    CLI::App* panel = Command("panel", "shows or sets the control panel",
                              [this] { return RunPanel(device_, panel_); });
    AddDeviceOptions(panel, &device_);
    panel->add_option("--value", panel_.get_value, "shows a variable by number");
    panel->add_option("--set-value", panel_.set_value, "NUMBER=VALUE sets a variable");
    panel->add_option("--string", panel_.get_string, "shows a text by number");
    panel->add_option("--set-string", panel_.set_string, "NUMBER=TEXT sets a text");
    panel->add_option("--set-destination", panel_.set_destination,
                      "INDEX=TEXT names a destination");
    panel->add_option("--code-page", panel_.code_page, "sets the code page");
    CLI::App* spf = Command("spf", "shows or saves the device's SPF data",
                            [this] { return RunSpf(device_, spf_file_, scan_.force); });
    AddDeviceOptions(spf, &device_);
    spf->add_option("-o,--output", spf_file_, "file for the data");
    spf->add_flag("--force", scan_.force, "replace a file that exists");
    CLI::App* reserve = Command("reserve", "reserves a device until Ctrl-C, or for a time",
                                [this] { return RunReserve(device_, reserve_); });
    AddDeviceOptions(reserve, &device_);
    reserve
        ->add_option_function<std::string>(
            "--for",
            [this](const std::string& text) { reserve_.milliseconds = ParseDuration(text, 1000); },
            "give it back after this time")
        ->type_name("TIME");
    AddChoice(reserve, "--state",
              {{"default", T_URS_DEFAULT}, {"wait", T_URS_WAIT}, {"start", T_URS_START}},
              &reserve_.state,
              "sets user-ready-to-scan: default, wait (for the user at the device), start");
  }

  void AddSetup() {
    CLI::App* devices =
        Command("devices", "lists, adds and changes devices", [] { return ListDevices(); });
    const auto sub = [&](const char* name, const char* help, const Action& action) {
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
    AddPlace(sub("add", "adds a device", [this] { return AddNewDevice(new_device_); }));
    CLI::App* set =
        sub("set", "changes a device's values", [this] { return SetDevice(name_, words_); });
    set->add_option("DEVICE", name_)->required();
    set->add_option("NAME=VALUE", words_, "`show` prints the names")->required();
    sub("remove", "removes a device", [this] { return RemoveOneDevice(name_); })
        ->add_option("DEVICE", name_)
        ->required();
    AddTrace();
    AddRegistration();
  }

  void AddPlace(CLI::App* add) {
    add->add_option("NAME", new_device_.name, "what users see")->required()->check(NotEmpty);
    CLI::Option_group* kind = add->add_option_group("where it is");
    kind->add_option("--network", new_device_.address, "address or host name")->check(NotEmpty);
    kind->add_option("--usb", new_device_.usb, "device file on USB")->check(NotEmpty);
    kind->add_option("--dot4", new_device_.dot4, "device file of an IEEE 1284.4 stack")
        ->check(NotEmpty);
    kind->require_option(1);
    add->add_option("--port", new_device_.port, "port of the print server: 1, 2 or 3 (1)")
        ->check(CLI::Range(1, 3));
    add->add_flag("--fixed", new_device_.fixed, "never look for another address (StaticIP)");
    add->add_option("--guid", new_device_.guid,
                    "find the device again by this when its address changes");
    add->add_option("--mac", new_device_.mac, "the same, where the GUID does not find it");
    add->add_flag("--force", new_device_.force, "replace the device of that name");
  }

  void AddRegistration() {
    const auto add = [this](const char* name, const char* help,
                            int (*run)(const RegistrationRequest&)) {
      CLI::App* command = Command(name, help, [this, run] { return run(registration_); });
      command->add_option("LIBRARY", registration_.library,
                          "not the one beside scanhost, or the loader's");
      command->add_flag("--system", registration_.system, "for every user; takes root's rights");
    };
    add("register", "writes the toolkit's class into the registry", RunRegister);
    add("unregister", "takes it out", RunUnregister);
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
      const CLI::App* command = &app_;
      std::string title = "scanhost";
      for (const std::string& name : words_) {
        const auto parts = command->get_subcommands(
            [&](const CLI::App* part) { return part->get_name() == name; });
        if (parts.empty())
          throw UsageError("\"" + name + "\" is not a command; `scanhost --help` lists them");
        command = parts.front();
        title += " " + name;
      }
      const auto text = app_.get_formatter()->make_help(command, title, CLI::AppFormatMode::Normal);
      std::printf("%s", text.c_str());
      return int{kExitDone};
    });
    help->add_option("COMMAND", words_);
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
  ReserveRequest reserve_;
  std::string name_;
  NewDevice new_device_;
  std::vector<std::string> words_;
  TraceRequest trace_;
  RegistrationRequest registration_;
};

}  // namespace

int RunCommandLine(std::vector<std::string> words) {
  return CommandLine().Run(std::move(words));
}

}  // namespace scanhost
