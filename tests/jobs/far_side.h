// A simulated device, however a host reaches it.
#ifndef SCANTK_TESTS_JOBS_FAR_SIDE_H_
#define SCANTK_TESTS_JOBS_FAR_SIDE_H_

#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "simulator/simulated_device.h"
#include "tests/contract/toolkit.h"

namespace scantk::test {

enum class Medium { kNetwork, kUsb, kDot4 };
const char* Name(Medium medium);
std::optional<Medium> MediumNamed(const std::string& name);
uint32_t IoType(Medium medium);
// Those that this system's simulator serves.
std::vector<Medium> Media();

// An address of 127.0.0.0/8 that no other test of this run uses.
std::string FreshAddress();

// The discovery store knows a device by this identity at this address while the result lives;
// `folder` is the test's.
std::shared_ptr<void> TellDiscovery(const std::string& identity, const std::string& address,
                                    const std::string& folder);

// What a test can do to a device and ask of it is the simulator's; here is what depends on how
// hosts reach it. What a medium's device cannot, throws std::runtime_error.
class FarSide {
 public:
  // On the network `config.address` is where it listens; the file of the others is made in
  // `folder`.
  static std::unique_ptr<FarSide> Start(Medium medium, const sim::DeviceConfig& config,
                                        const std::string& folder);
  explicit FarSide(std::unique_ptr<sim::SimulatedDevice> device) : device_(std::move(device)) {}
  virtual ~FarSide() = default;
  sim::SimulatedDevice* operator->() const { return device_.get(); }

  virtual std::string Path() const { return device_->path(); }
  virtual int Connections() const { return device_->open_connections(); }
  virtual void Unplug() { device_->Unplug(); }  // hosts find it gone, until
  virtual void Plug() { device_->Plug(); }
  // The DOT4 stack: closes every file at its end; fails the next requests of a kind.
  virtual void LoseHandles() { NotHere("lose-handles"); }
  virtual void FailRequests(const std::string&, const std::vector<uint32_t>&) {
    NotHere("fail-requests");
  }
  virtual std::vector<std::string> LayoutFaults() const { return {}; }

 protected:
  [[noreturn]] static void NotHere(const std::string& what) {
    throw std::runtime_error(what + " is not for this medium");
  }

  std::unique_ptr<sim::SimulatedDevice> device_;
};

// Starts a device behind a file; on systems whose simulator has none, throws.
std::unique_ptr<FarSide> StartAttached(Medium medium, const sim::DeviceConfig& config,
                                       const std::string& path);

// A device at an address or file of its own, installed under a name.
struct Place {
  Place(Sandbox& sandbox, Medium on, sim::DeviceConfig config = {});
  Medium medium;
  std::unique_ptr<FarSide> device;
  std::string name;
};

}  // namespace scantk::test

#endif  // SCANTK_TESTS_JOBS_FAR_SIDE_H_
