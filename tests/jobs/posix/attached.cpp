#include <fstream>

#include "simulator/dot4_device.h"
#include "simulator/usb_device.h"
#include "tests/jobs/far_side_of.h"

namespace scantk::test {
namespace {

template <class Device>
class AttachedFarSide : public FarSideOf<Device> {
 public:
  using FarSideOf<Device>::FarSideOf;
  std::string Path() const override { return this->device_->path(); }
  void Unplug() override { this->device_->Unplug(); }
  void Plug() override { this->device_->Plug(); }
};

class StackFarSide : public AttachedFarSide<sim::Dot4Device> {
 public:
  using AttachedFarSide::AttachedFarSide;
  int Connections() const override { return device_->open_channels(); }
  void LoseHandles() override { device_->LoseHandles(); }
  void FailRequests(const std::string& kind, const std::vector<uint32_t>& errors) override {
    for (const auto code :
         {sim::Dot4Code::kOpenChannel, sim::Dot4Code::kCloseChannel, sim::Dot4Code::kRead,
          sim::Dot4Code::kWrite, sim::Dot4Code::kCreateSocket, sim::Dot4Code::kDestroySocket}) {
      if (sim::Dot4Name(static_cast<uint32_t>(code)) == kind)
        return device_->FailRequests(code, {errors.begin(), errors.end()});
    }
    NotHere("a request called " + kind);
  }
  std::vector<std::string> LayoutFaults() const override { return device_->layout_faults(); }
};

}  // namespace

std::shared_ptr<void> TellDiscovery(const std::string& identity, const std::string& address,
                                    const std::string& folder) {
  std::ofstream(folder + "/devices.txt") << "guid=" << identity << " address=" << address << "\n";
  return nullptr;
}

std::vector<Medium> Media() {
  return {Medium::kNetwork, Medium::kUsb, Medium::kDot4};
}

std::unique_ptr<FarSide> StartAttached(Medium medium, const sim::DeviceConfig& config,
                                       const std::string& path) {
  if (medium == Medium::kDot4)
    return std::make_unique<StackFarSide>(std::make_unique<sim::Dot4Device>(config, path));
  return std::make_unique<AttachedFarSide<sim::UsbDevice>>(
      std::make_unique<sim::UsbDevice>(config, path));
}

}  // namespace scantk::test
