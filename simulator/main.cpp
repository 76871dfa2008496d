// scantk-sim: simulated devices, and recorded ones, on the network.
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <charconv>
#include <cstdio>
#include <fstream>
#include <functional>
#include <iostream>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#include "simulator/dot4_device.h"
#include "simulator/replay_device.h"
#include "simulator/simulated_device.h"
#include "simulator/tap.h"
#include "simulator/usb_device.h"
#include "simulator/variables.h"

namespace {

using namespace scantk::sim;

std::string Help() {
  std::string models, text;
  for (const std::string& name : ModelNames()) models += " " + name;
  text = R"(scantk-sim: simulated multifunction devices

  scantk-sim [options] [--device options]...   serves until it is ended
  scantk-sim [options] run -- COMMAND...       serves while COMMAND runs, and leaves with its code

  --usb PATH        no network: a link to a pseudo-terminal, which is the device's file
  --dot4 PATH       no network: a local socket, at which a DOT4 stack answers requests
  --address A       local IPv4 address (127.0.0.1)
  --port P          9290, 9291 or 9292 (9290)
  --model NAME      one of)" +
         models + R"( (ZM-16)
  --paper WHAT      chart, pattern, white, or a PNG or PNM file (chart)
  --sheets N        sheets in the feeder (0)
  --sheet-height H  length of a sheet in 1/300 inch
  --hosts N         connections at once; one more is greeted as busy (1)
  --set N=VALUE     variable N (number, or name as in the log): a number, null, min:V, max:V or
                    text:T
  --jpeg HxV        luminance sampling of JPEG pages (2x2)
  --quality Q       JPEG quality, 1 to 100 (0 follows the host's level)
  --restart N       MCUs between restart markers (0: none)
  --block BYTES     longest block (61440)
  --raster BYTES    image bytes in a raster record (30000)
  --fault F         name[@moment][=value][*times]; moments: connection:N, command:N, answer:N,
                    variable:N, page:N, block:N
  --log FILE        the conversation, - for standard error
  --record FILE     every byte of the conversation with its time, as --replay reads it
  --replay FILE     no simulated device: the one that was recorded, as long as its hosts ask what
                    was asked then
  --pauses PERCENT  of the recorded pauses, for --replay (100); 0 plays without pauses
  --tap HOST[:PORT] no device: what passes between hosts and that device goes to --record FILE
  --device          the options that follow are another device's
  --render FILE     writes the raw bytes of the page that a host would get, and ends

Faults:
)" + FaultHelp();
  return text;
}

int64_t Number(const std::string& text) {
  int64_t value = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
  if (error != std::errc() || end != text.data() + text.size())
    throw std::invalid_argument("\"" + text + "\" is no number");
  return value;
}

VariableOverride ParseSet(const std::string& text) {
  const size_t equals = text.find('=');
  if (equals == std::string::npos) throw std::invalid_argument("--set takes NUMBER=VALUE");
  VariableOverride change;
  change.number = FindVariable(text.substr(0, equals));
  if (change.number == 0)
    throw std::invalid_argument("no variable is called \"" + text.substr(0, equals) + "\"");
  const std::string value = text.substr(equals + 1);
  const auto after = [&value](const char* prefix) {
    return value.substr(std::string(prefix).size());
  };
  if (value == "null")
    change.null = true;
  else if (value.starts_with("min:"))
    change.minimum = Number(after("min:"));
  else if (value.starts_with("max:"))
    change.maximum = Number(after("max:"));
  else if (value.starts_with("text:"))
    change.text = after("text:");
  else
    change.value = Number(value);
  return change;
}

// A device, and what it is when it is not a simulated one on the network.
struct DeviceOrder : DeviceConfig {
  std::string usb;
  std::string dot4;
  std::string replay;
  int pauses = 100;
  std::string tap;
};

struct Option {
  const char* name;
  std::function<void(DeviceOrder&, const std::string&)> apply;
};

int Count(const std::string& text, int64_t least, int64_t most) {
  const int64_t value = Number(text);
  if (value < least || value > most)
    throw std::invalid_argument(text + " is not between " + std::to_string(least) + " and " +
                                std::to_string(most));
  return static_cast<int>(value);
}

const std::vector<Option>& Options() {
  static const std::vector<Option> options = {
      {"--usb", [](DeviceOrder& c, const std::string& v) { c.usb = v; }},
      {"--dot4", [](DeviceOrder& c, const std::string& v) { c.dot4 = v; }},
      {"--address", [](DeviceOrder& c, const std::string& v) { c.address = v; }},
      {"--port", [](DeviceOrder& c,
                    const std::string& v) { c.port = static_cast<uint16_t>(Count(v, 1, 65535)); }},
      {"--model", [](DeviceOrder& c, const std::string& v) { c.model = v; }},
      {"--paper", [](DeviceOrder& c, const std::string& v) { c.paper = v; }},
      {"--sheets", [](DeviceOrder& c, const std::string& v) { c.sheets = Count(v, 0, 100000); }},
      {"--sheet-height",
       [](DeviceOrder& c, const std::string& v) { c.sheet_height = Count(v, 1, 1 << 20); }},
      {"--hosts",
       [](DeviceOrder& c, const std::string& v) { c.max_connections = Count(v, 1, 1000); }},
      {"--set", [](DeviceOrder& c, const std::string& v) { c.overrides.push_back(ParseSet(v)); }},
      {"--jpeg",
       [](DeviceOrder& c, const std::string& v) {
         if (v.size() != 3 || v[1] != 'x') throw std::invalid_argument("--jpeg takes HxV");
         c.delivery.jpeg_horizontal = Count(v.substr(0, 1), 1, 4);
         c.delivery.jpeg_vertical = Count(v.substr(2), 1, 4);
       }},
      {"--quality",
       [](DeviceOrder& c, const std::string& v) { c.delivery.jpeg_quality = Count(v, 0, 100); }},
      {"--restart",
       [](DeviceOrder& c, const std::string& v) { c.delivery.jpeg_restart = Count(v, 0, 65535); }},
      {"--block",
       [](DeviceOrder& c, const std::string& v) {
         c.delivery.block_bytes = static_cast<size_t>(Count(v, 64, 1 << 26));
       }},
      {"--raster",
       [](DeviceOrder& c, const std::string& v) {
         c.delivery.record_bytes = static_cast<size_t>(Count(v, 1, 32767));
       }},
      {"--fault", [](DeviceOrder& c, const std::string& v) { c.faults.push_back(ParseFault(v)); }},
      {"--log", [](DeviceOrder& c, const std::string& v) { c.log_path = v; }},
      {"--record", [](DeviceOrder& c, const std::string& v) { c.record_path = v; }},
      {"--replay", [](DeviceOrder& c, const std::string& v) { c.replay = v; }},
      {"--pauses", [](DeviceOrder& c, const std::string& v) { c.pauses = Count(v, 0, 1000); }},
      {"--tap", [](DeviceOrder& c, const std::string& v) { c.tap = v; }},
  };
  return options;
}

struct Arguments {
  std::vector<DeviceOrder> devices = {DeviceOrder()};
  std::string render;
  std::vector<std::string> command;
  bool help = false;
};

Arguments Parse(const std::vector<std::string>& words) {
  Arguments arguments;
  arguments.devices[0].keep_log = false;
  for (size_t i = 0; i < words.size(); ++i) {
    const std::string& word = words[i];
    if (word == "--help") {
      arguments.help = true;
      continue;
    }
    if (word == "--device") {
      if (i == 0) continue;  // the first device's options may be marked as such, too
      arguments.devices.push_back(DeviceOrder());
      arguments.devices.back().keep_log = false;
      continue;
    }
    if (word == "run") {
      const size_t first = i + 1 < words.size() && words[i + 1] == "--" ? i + 2 : i + 1;
      if (first >= words.size()) throw std::invalid_argument("run takes a command");
      arguments.command.assign(words.begin() + static_cast<std::ptrdiff_t>(first), words.end());
      break;
    }
    if (i + 1 == words.size()) throw std::invalid_argument(word + " is unknown or lacks its value");
    const std::string& value = words[++i];
    if (word == "--render") {
      arguments.render = value;
      continue;
    }
    bool known = false;
    for (const Option& option : Options()) {
      if (word != option.name) continue;
      option.apply(arguments.devices.back(), value);
      known = true;
    }
    if (!known) throw std::invalid_argument("no option is called " + word);
  }
  return arguments;
}

int Render(const DeviceConfig& config, const std::string& path) {
  PageSettings settings = DefaultPage(config.model);
  for (const VariableOverride& change : config.overrides) {
    const int value = static_cast<int>(change.value.value_or(0));
    if (change.number == 10323) settings.x_dpi = value;
    if (change.number == 10324) settings.y_dpi = value;
    if (change.number == 10489) settings.left = value;
    if (change.number == 10490) settings.top = value;
    if (change.number == 10481) settings.width = value;
    if (change.number == 10482) settings.height = value;
    if (change.number == 10325) settings.data_type = static_cast<DataType>(value);
    if (change.number == 10312) settings.bits_per_pixel = value;
  }
  std::ofstream file(path, std::ios::binary);
  PageRenderer renderer(MakePaper(config.paper), settings);
  for (int row = 0; row < renderer.rows(); ++row)
    file.write(reinterpret_cast<const char*>(renderer.Row(row)),
               static_cast<std::streamsize>(renderer.bytes_per_row()));
  if (!file.flush()) throw std::runtime_error("cannot write " + path);
  return 0;
}

// Runs the command with the devices up and returns its code. Signals that would end this process
// are passed on to the command; `ends` holds them and the one that tells of a child's end, all
// blocked.
int RunCommand(const std::vector<std::string>& command, const sigset_t& ends) {
  std::vector<char*> words;
  words.reserve(command.size() + 1);
  for (const std::string& word : command) words.push_back(const_cast<char*>(word.c_str()));
  words.push_back(nullptr);
  const pid_t child = fork();
  if (child < 0) throw std::runtime_error("cannot start a process");
  if (child == 0) {
    sigset_t none;
    sigemptyset(&none);
    sigprocmask(SIG_SETMASK, &none, nullptr);
    execvp(words[0], words.data());
    std::perror(words[0]);
    _exit(127);
  }
  int status = 0;
  while (waitpid(child, &status, WNOHANG) == 0) {
    int signal = 0;
    sigwait(&ends, &signal);
    if (signal != SIGCHLD) kill(child, signal);
  }
  return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
}

// A device that serves, of whatever kind, until it is destroyed.
class Served {
 public:
  explicit Served(const DeviceOrder& order)
      : place_(order.address + ":" + std::to_string(order.port)), what_(order.model) {
    const bool attached = !order.usb.empty() || !order.dot4.empty();
    if (!order.usb.empty() + !order.dot4.empty() + !order.replay.empty() + !order.tap.empty() > 1)
      throw std::invalid_argument("one of --usb, --dot4, --replay and --tap at a device");
    if (attached && !order.record_path.empty())
      throw std::invalid_argument("--record is for devices on the network");
    if (!order.usb.empty())
      attached_ = std::make_unique<UsbDevice>(order, place_ = order.usb);
    else if (!order.dot4.empty())
      attached_ = std::make_unique<Dot4Device>(order, place_ = order.dot4);
    else if (!order.replay.empty())
      StartReplay(order);
    else if (!order.tap.empty())
      StartTap(order);
    else
      simulated_ = std::make_unique<SimulatedDevice>(order);
  }

  std::string Text() const { return "listening on " + place_ + " as " + what_; }

 private:
  void StartReplay(const DeviceOrder& order) {
    what_ = order.replay;
    ReplayConfig config;
    config.address = order.address;
    config.port = order.port;
    config.pauses = order.pauses;
    config.keep_log = false;
    config.log_path = order.log_path;
    config.record_path = order.record_path;
    replay_ = std::make_unique<ReplayDevice>(ReadRecording(order.replay), config);
  }

  void StartTap(const DeviceOrder& order) {
    if (order.record_path.empty()) throw std::invalid_argument("--tap needs --record FILE");
    what_ = "tap of " + order.tap;
    TapConfig config;
    config.address = order.address;
    config.port = order.port;
    config.record_path = order.record_path;
    const size_t colon = std::min(order.tap.find(':'), order.tap.size());
    config.device = order.tap.substr(0, colon);
    if (colon < order.tap.size())
      config.device_port = static_cast<uint16_t>(Count(order.tap.substr(colon + 1), 1, 65535));
    tap_ = std::make_unique<Tap>(config);
  }

  std::string place_;
  std::string what_;
  std::unique_ptr<SimulatedDevice> simulated_;
  std::unique_ptr<AttachedDevice> attached_;
  std::unique_ptr<ReplayDevice> replay_;
  std::unique_ptr<Tap> tap_;
};

int Serve(const Arguments& arguments) {
  // Blocked before any thread starts, so that the wait below is what gets them.
  sigset_t ends;
  sigemptyset(&ends);
  for (int signal : {SIGTERM, SIGINT, SIGHUP}) sigaddset(&ends, signal);
  if (!arguments.command.empty()) sigaddset(&ends, SIGCHLD);
  sigprocmask(SIG_BLOCK, &ends, nullptr);
  std::vector<std::unique_ptr<Served>> devices;
  for (const DeviceOrder& order : arguments.devices) {
    devices.push_back(std::make_unique<Served>(order));
    if (!arguments.command.empty()) continue;  // standard output is the command's
    std::printf("%s\n", devices.back()->Text().c_str());
  }
  std::fflush(stdout);
  if (!arguments.command.empty()) return RunCommand(arguments.command, ends);
  int signal = 0;
  sigwait(&ends, &signal);
  return 0;
}

}  // namespace

int main(int argc, char** argv) {
  try {
    const Arguments arguments = Parse({argv + 1, argv + argc});
    if (arguments.help) {
      std::cout << Help();
      return 0;
    }
    if (!arguments.render.empty()) return Render(arguments.devices[0], arguments.render);
    return Serve(arguments);
  } catch (const std::invalid_argument& problem) {
    std::fprintf(stderr, "scantk-sim: %s (--help tells more)\n", problem.what());
    return 2;
  } catch (const std::exception& problem) {
    std::fprintf(stderr, "scantk-sim: %s\n", problem.what());
    return 1;
  }
}
