#include "tests/jobs/far_side.h"

#include "platform/system.h"

namespace scantk::test {
namespace {

// "Unplugged" is switched off: it can be switched on at the same address.
class NetworkFarSide : public FarSide {
 public:
  explicit NetworkFarSide(const sim::DeviceConfig& config)
      : FarSide(std::make_unique<sim::SimulatedDevice>(config)), config_(config) {}
  void Unplug() override { device_.reset(); }
  void Plug() override { device_ = std::make_unique<sim::SimulatedDevice>(config_); }

 private:
  const sim::DeviceConfig config_;
};

constexpr const char* kNames[] = {"network", "usb", "dot4"};

}  // namespace

const char* Name(Medium medium) {
  return kNames[static_cast<int>(medium)];
}

std::optional<Medium> MediumNamed(const std::string& name) {
  for (const Medium medium : {Medium::kNetwork, Medium::kUsb, Medium::kDot4})
    if (name == Name(medium)) return medium;
  return {};
}

uint32_t IoType(Medium medium) {
  return medium == Medium::kNetwork ? T_IO_NETWORK : medium == Medium::kUsb ? T_IO_USB : T_IO_DOT4;
}

std::string FreshAddress() {
  static int count = 0;
  const uint32_t process = ProcessId();
  return "127." + std::to_string(32 + (process >> 8) % 200) + "." + std::to_string(process & 0xFF) +
         "." + std::to_string(1 + count++ % 250);
}

std::unique_ptr<FarSide> FarSide::Start(Medium medium, const sim::DeviceConfig& config,
                                        const std::string& folder) {
  if (medium == Medium::kNetwork) return std::make_unique<NetworkFarSide>(config);
  static int count = 0;
  return StartAttached(medium, config, folder + "/device" + std::to_string(count++));
}

Place::Place(Sandbox& sandbox, Medium on, sim::DeviceConfig config) : medium(on) {
  config.address = FreshAddress();
  device = FarSide::Start(medium, config, sandbox.Folder());
  name = medium == Medium::kNetwork ? sandbox.AddNetworkDevice(config.address)
                                    : sandbox.AddAttachedDevice(device->Path(), IoType(medium));
}

}  // namespace scantk::test
