// A far side made of one of the simulator's devices; the simulator's classes offer what their
// medium has.
#ifndef SCANTK_TESTS_JOBS_FAR_SIDE_OF_H_
#define SCANTK_TESTS_JOBS_FAR_SIDE_OF_H_

#include <stdexcept>
#include <utility>

#include "tests/jobs/far_side.h"

namespace scantk::test {

template <class Device>
class FarSideOf : public FarSide {
 public:
  explicit FarSideOf(std::unique_ptr<Device> device) : device_(std::move(device)) {}

  std::string Path() const override { return ""; }
  const sim::DeviceConfig& Config() const override { return device_->config(); }
  std::vector<std::string> Log() const override { return device_->log(); }
  bool Locked() const override { return device_->locked(); }
  int Connections() const override {
    if constexpr (requires { device_->open_connections(); }) return device_->open_connections();
    NotHere("connections");
  }
  int Sheets() const override { return device_->sheets(); }
  sim::Stats Stats() const override { return device_->stats(); }
  std::optional<int64_t> Variable(int number) const override { return device_->Variable(number); }
  std::optional<sim::PageSettings> LastPage() const override { return device_->last_page(); }

  void AddFault(const std::string& fault) override { device_->AddFault(fault); }
  void ClearFaults() override { device_->ClearFaults(); }
  void RaiseError(int code) override { device_->RaiseError(code); }
  void SetSheets(int sheets) override { device_->SetSheets(sheets); }
  void TakePaperOut() override { device_->TakePaperOut(); }
  void SetVariable(const sim::VariableOverride& change) override { device_->SetVariable(change); }
  void ReserveElsewhere(bool reserved) override { device_->ReserveElsewhere(reserved); }
  void Unplug() override { NotHere("unplug"); }
  void Plug() override { NotHere("plug"); }
  void LoseHandles() override { NotHere("lose-handles"); }
  void FailRequests(const std::string&, const std::vector<uint32_t>&) override {
    NotHere("fail-requests");
  }
  std::vector<std::string> LayoutFaults() const override { return {}; }

 protected:
  [[noreturn]] static void NotHere(const std::string& what) {
    throw std::runtime_error(what + " is not for this medium");
  }

  std::unique_ptr<Device> device_;
};

// Starts a device behind a file; on systems whose simulator has none, throws.
std::unique_ptr<FarSide> StartAttached(Medium medium, const sim::DeviceConfig& config,
                                       const std::string& path);

}  // namespace scantk::test

#endif  // SCANTK_TESTS_JOBS_FAR_SIDE_OF_H_
