#include "simulator/options.h"

#include <algorithm>
#include <charconv>
#include <stdexcept>

#include "simulator/variables.h"

namespace scantk::sim {
namespace {

constexpr int kMostPorts = 65535;
constexpr int kMostRestart = 65535;

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

struct Option {
  const char* name;
  void (*apply)(DeviceOrder&, const std::string&);
};

int Count(const std::string& text, int64_t least, int64_t most) {
  const int64_t value = Number(text);
  if (value < least || value > most)
    throw std::invalid_argument(text + " is not between " + std::to_string(least) + " and " +
                                std::to_string(most));
  return static_cast<int>(value);
}

constexpr Option kOptions[] = {
    {"--usb", [](DeviceOrder& c, const std::string& v) { c.usb = v; }},
    {"--dot4", [](DeviceOrder& c, const std::string& v) { c.dot4 = v; }},
    {"--address", [](DeviceOrder& c, const std::string& v) { c.address = v; }},
    {"--port",
     [](DeviceOrder& c, const std::string& v) {
       c.port = static_cast<uint16_t>(Count(v, 1, kMostPorts));
     }},
    {"--model", [](DeviceOrder& c, const std::string& v) { c.model = v; }},
    {"--paper", [](DeviceOrder& c, const std::string& v) { c.paper = v; }},
    {"--sheets", [](DeviceOrder& c, const std::string& v) { c.sheets = Count(v, 0, 100000); }},
    {"--sheet-height",
     [](DeviceOrder& c, const std::string& v) { c.sheet_height = Count(v, 1, 1 << 20); }},
    {"--hosts",
     [](DeviceOrder& c, const std::string& v) { c.max_connections = Count(v, 1, 1000); }},
    {"--at-rest",
     [](DeviceOrder& c, const std::string& v) {
       ParseAtRest(v);
       c.at_rest = v;
     }},
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
     [](DeviceOrder& c, const std::string& v) {
       c.delivery.jpeg_restart = Count(v, 0, kMostRestart);
     }},
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
    {"--tap",
     [](DeviceOrder& c, const std::string& v) {
       const size_t colon = std::min(v.find(':'), v.size());
       c.tap = v.substr(0, colon);
       if (colon < v.size())
         c.tap_port = static_cast<uint16_t>(Count(v.substr(colon + 1), 1, kMostPorts));
     }},
};

// Takes the option at words[*i] and its value.
void TakeOption(const std::vector<std::string>& words, size_t* i, Arguments* arguments) {
  const std::string& word = words[*i];
  if (*i + 1 == words.size()) throw std::invalid_argument(word + " is unknown or lacks its value");
  const std::string& value = words[++*i];
  if (word == "--render") {
    arguments->render = value;
    return;
  }
  for (const Option& option : kOptions)
    if (word == option.name) return option.apply(arguments->devices.back(), value);
  throw std::invalid_argument("no option is called " + word);
}

}  // namespace

Arguments ParseArguments(const std::vector<std::string>& words) {
  Arguments arguments;
  DeviceOrder fresh;
  fresh.keep_log = false;
  arguments.devices = {fresh};
  for (size_t i = 0; i < words.size(); ++i) {
    const std::string& word = words[i];
    if (word == "--help") {
      arguments.help = true;
    } else if (word == "--version") {
      arguments.version = true;
    } else if (word == "--device") {
      if (i > 0) arguments.devices.push_back(fresh);  // the first may be marked as such, too
    } else if (word == "run") {
      const size_t first = i + 1 < words.size() && words[i + 1] == "--" ? i + 2 : i + 1;
      if (first >= words.size()) throw std::invalid_argument("run takes a command");
      arguments.command.assign(words.begin() + static_cast<std::ptrdiff_t>(first), words.end());
      break;
    } else {
      TakeOption(words, &i, &arguments);
    }
  }
  return arguments;
}

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
  --at-rest STATE   how hosts find it: jam, empty or busy; STATE:MS until somebody comes
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

}  // namespace scantk::sim
