// scantk-sim: simulated devices, and recorded ones.
#include <cstdio>
#include <fstream>
#include <iostream>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#include "simulator/attached_lines.h"
#include "simulator/options.h"
#include "simulator/replay_device.h"
#include "simulator/simulated_device.h"
#include "simulator/tap.h"
#include "simulator/task.h"
#include "simulator/variables.h"

namespace {

using namespace scantk::sim;

// Writes the rows of the page that the device's variables describe.
int Render(const DeviceConfig& config, const std::string& path) {
  Variables variables(config.model);
  for (const VariableOverride& change : config.overrides) variables.Change(change);
  std::ofstream file(path, std::ios::binary);
  PageRenderer renderer(MakePaper(config.paper), PageOf(variables));
  for (int row = 0; row < renderer.rows(); ++row)
    file.write(reinterpret_cast<const char*>(renderer.Row(row)),
               static_cast<std::streamsize>(renderer.bytes_per_row()));
  if (!file.flush()) throw std::runtime_error("cannot write " + path);
  return 0;
}

// A device that serves, of whatever kind, until it is destroyed.
class Served {
 public:
  explicit Served(const DeviceOrder& order)
      : place_(order.address + ":" + std::to_string(order.port)), what_(order.model) {
    if (!order.usb.empty() + !order.dot4.empty() + !order.tap.empty() > 1 ||
        (!order.replay.empty() && !order.tap.empty()))
      throw std::invalid_argument(
          "one of --usb, --dot4 and --tap at a device, --replay not with --tap");
    MakeLine line;
    if (!order.usb.empty()) line = AttachedLine(AttachedBy::kUsb, place_ = order.usb);
    if (!order.dot4.empty()) line = AttachedLine(AttachedBy::kDot4, place_ = order.dot4);
    if (!order.replay.empty())
      StartReplay(order, line);
    else if (!order.tap.empty())
      StartTap(order);
    else
      simulated_ = line ? std::make_unique<SimulatedDevice>(order, line, place_)
                        : std::make_unique<SimulatedDevice>(order);
  }

  std::string Text() const { return "listening on " + place_ + " as " + what_; }

 private:
  void StartReplay(const DeviceOrder& order, const MakeLine& line) {
    what_ = order.replay;
    ReplayConfig config;
    config.address = order.address;
    config.port = order.port;
    config.pauses = order.pauses;
    config.keep_log = false;
    config.log_path = order.log_path;
    config.record_path = order.record_path;
    const Recording recording = ReadRecording(order.replay);
    replay_ = line ? std::make_unique<ReplayDevice>(recording, config, line)
                   : std::make_unique<ReplayDevice>(recording, config);
  }

  void StartTap(const DeviceOrder& order) {
    if (order.record_path.empty()) throw std::invalid_argument("--tap needs --record FILE");
    what_ = "tap of " + order.tap;
    tap_ = std::make_unique<Tap>(
        TapConfig{order.address, order.port, order.tap, order.tap_port, order.record_path});
  }

  std::string place_;
  std::string what_;
  std::unique_ptr<SimulatedDevice> simulated_;
  std::unique_ptr<ReplayDevice> replay_;
  std::unique_ptr<Tap> tap_;
};

int Serve(const Arguments& arguments) {
  Task task(arguments.command);
  std::vector<std::unique_ptr<Served>> devices;
  for (const DeviceOrder& order : arguments.devices) {
    devices.push_back(std::make_unique<Served>(order));
    if (!arguments.command.empty()) continue;  // standard output is the command's
    std::printf("%s\n", devices.back()->Text().c_str());
  }
  std::fflush(stdout);
  return task.Run();
}

}  // namespace

int main(int argc, char** argv) {
  try {
    const Arguments arguments = ParseArguments({argv + 1, argv + argc});
    if (arguments.help) {
      std::cout << Help();
      return 0;
    }
    if (arguments.version) {
      std::cout << "scantk-sim " SCANTK_VERSION "\n";
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
