// The device of a job, whatever carries its bytes, and what happens to it.
#ifndef SCANTK_TESTS_RELIABILITY_SOAK_DEVICE_H_
#define SCANTK_TESTS_RELIABILITY_SOAK_DEVICE_H_

#include <memory>
#include <optional>
#include <string>

#include "simulator/dot4_device.h"
#include "simulator/simulated_device.h"
#include "simulator/usb_device.h"
#include "tests/reliability/soak_plan.h"

namespace scantk::test {

class SoakDevice {
 public:
  // `place`: an address of 127.0.0.0/8, or the path of the file to make.
  SoakDevice(const SoakPlan& plan, const std::string& place);

  void AddFault(const std::string& fault);
  void Disturb(Disturbance disturbance, int64_t value);
  // A person puts everything right: switched on, plugged in, no fault, no error, reserved by
  // nobody, `sheets` in the feeder.
  void Heal(int sheets);

  // Returns once the device knows that nobody has its file open any more: a terminal does not tell
  // its far side that one host took over from another.
  void AwaitHostGone() const;

  // By a host of this computer.
  bool locked() const {
    return network_ ? network_->lock_holder() > 0 : attached_ && attached_->locked();
  }
  std::optional<sim::PageSettings> last_page() const;
  // How often something in the device went wrong on purpose.
  int strikes() const { return strikes_ + CountNow(); }
  // What a stack saw that no host may ask for; empty: nothing.
  std::string layout_faults() const;

 private:
  int CountNow() const;
  void Remember();

  sim::DeviceConfig config_;
  std::unique_ptr<sim::SimulatedDevice> network_;
  std::unique_ptr<sim::AttachedDevice> attached_;
  sim::Dot4Device* stack_ = nullptr;
  std::optional<sim::PageSettings> last_page_;  // of a network device before it was off
  bool plugged_ = true;
  int strikes_ = 0;
};

}  // namespace scantk::test

#endif  // SCANTK_TESTS_RELIABILITY_SOAK_DEVICE_H_
