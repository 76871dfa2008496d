// A simulated device, however a host reaches it.
#ifndef SCANTK_TESTS_JOBS_FAR_SIDE_H_
#define SCANTK_TESTS_JOBS_FAR_SIDE_H_

#include <memory>
#include <optional>
#include <string>
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

// What a test can do to a device and ask of it. What a medium's device cannot, throws
// std::runtime_error.
class FarSide {
 public:
  // On the network `config.address` is where it listens; the file of the others is made in
  // `folder`.
  static std::unique_ptr<FarSide> Start(Medium medium, const sim::DeviceConfig& config,
                                        const std::string& folder);
  virtual ~FarSide() = default;

  virtual std::string Path() const = 0;  // the file, "" on the network
  virtual const sim::DeviceConfig& Config() const = 0;
  virtual std::vector<std::string> Log() const = 0;
  virtual bool Locked() const = 0;
  virtual int Connections() const = 0;
  virtual int Sheets() const = 0;
  virtual sim::Stats Stats() const = 0;
  virtual std::optional<int64_t> Variable(int number) const = 0;
  virtual std::optional<sim::PageSettings> LastPage() const = 0;

  virtual void AddFault(const std::string& fault) = 0;
  virtual void ClearFaults() = 0;
  virtual void RaiseError(int code) = 0;
  virtual void SetSheets(int sheets) = 0;
  virtual void TakePaperOut() = 0;
  virtual void SetVariable(const sim::VariableOverride& change) = 0;
  virtual void ReserveElsewhere(bool reserved) = 0;
  virtual void Unplug() = 0;  // hosts find it gone, until
  virtual void Plug() = 0;
  // The DOT4 stack: closes every file at its end; fails the next requests of a kind.
  virtual void LoseHandles() = 0;
  virtual void FailRequests(const std::string& kind, const std::vector<uint32_t>& errors) = 0;
  virtual std::vector<std::string> LayoutFaults() const = 0;
};

// A device at an address or file of its own, installed under a name.
struct Place {
  Place(Sandbox& sandbox, Medium on, sim::DeviceConfig config = {});
  Medium medium;
  std::unique_ptr<FarSide> device;
  std::string name;
};

}  // namespace scantk::test

#endif  // SCANTK_TESTS_JOBS_FAR_SIDE_H_
