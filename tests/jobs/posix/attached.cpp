#include <fstream>

#include "simulator/dot4_device.h"
#include "simulator/usb_device.h"
#include "tests/jobs/far_side.h"

namespace scantk::test {
namespace {

class StackFarSide : public FarSide {
 public:
  explicit StackFarSide(std::unique_ptr<sim::Dot4Device> device)
      : FarSide(std::move(device)), stack_(static_cast<sim::Dot4Device&>(*operator->())) {}
  int Connections() const override { return stack_.open_channels(); }
  void LoseHandles() override { stack_.LoseHandles(); }
  void FailRequests(const std::string& kind, const std::vector<uint32_t>& errors) override {
    for (const auto code :
         {sim::Dot4Code::kOpenChannel, sim::Dot4Code::kCloseChannel, sim::Dot4Code::kRead,
          sim::Dot4Code::kWrite, sim::Dot4Code::kCreateSocket, sim::Dot4Code::kDestroySocket}) {
      if (sim::Dot4Name(static_cast<uint32_t>(code)) == kind)
        return stack_.FailRequests(code, {errors.begin(), errors.end()});
    }
    NotHere("a request called " + kind);
  }
  std::vector<std::string> LayoutFaults() const override { return stack_.layout_faults(); }

 private:
  sim::Dot4Device& stack_;
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
  return std::make_unique<FarSide>(std::make_unique<sim::UsbDevice>(config, path));
}

}  // namespace scantk::test
