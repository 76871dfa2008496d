#include "tests/reliability/soak_device.h"

#include "platform/clock.h"

namespace scantk::test {

SoakDevice::SoakDevice(const SoakPlan& plan, const std::string& place) : config_(plan.device) {
  switch (plan.io_type) {
    case T_IO_USB:
      attached_ = std::make_unique<sim::UsbDevice>(config_, place);
      break;
    case T_IO_DOT4: {
      auto stack = std::make_unique<sim::Dot4Device>(config_, place);
      stack_ = stack.get();
      attached_ = std::move(stack);
      break;
    }
    default:
      config_.address = place;
      network_ = std::make_unique<sim::SimulatedDevice>(config_);
  }
}

void SoakDevice::AddFault(const std::string& fault) {
  if (network_) network_->AddFault(fault);
  if (attached_) attached_->AddFault(fault);
}

int SoakDevice::CountNow() const {
  constexpr const char* kStrike = " ! ";
  if (network_) return network_->CountInLog(kStrike);
  return attached_ ? attached_->CountInLog(kStrike) : 0;
}

void SoakDevice::Remember() {
  last_page_ = last_page();
  strikes_ += CountNow();
}

std::optional<sim::PageSettings> SoakDevice::last_page() const {
  if (attached_) return attached_->last_page();
  const auto now = network_ ? network_->last_page() : std::nullopt;
  return now ? now : last_page_;
}

void SoakDevice::Disturb(Disturbance disturbance, int64_t value) {
  const auto fail = [&](sim::Dot4Code code) {
    stack_->FailRequests(code, {static_cast<uint32_t>(value), static_cast<uint32_t>(value)});
  };
  ++strikes_;
  switch (disturbance) {
    case Disturbance::kNone:
      break;
    case Disturbance::kPowerOff:
    case Disturbance::kPowerCycle:
      if (attached_) attached_->Unplug();
      plugged_ = false;
      if (network_) {
        Remember();
        network_.reset();
      }
      if (disturbance == Disturbance::kPowerOff) break;
      if (attached_) attached_->Plug();
      plugged_ = true;
      if (!attached_) network_ = std::make_unique<sim::SimulatedDevice>(config_);
      break;
    case Disturbance::kError:
      if (network_) network_->RaiseError(static_cast<int>(value));
      if (attached_) attached_->RaiseError(static_cast<int>(value));
      break;
    case Disturbance::kReserved:
      if (network_) network_->ReserveElsewhere(true);
      break;
    case Disturbance::kLostHandles:
      stack_->LoseHandles();
      break;
    case Disturbance::kFailingReads:
      fail(sim::Dot4Code::kRead);
      break;
    case Disturbance::kFailingWrites:
      fail(sim::Dot4Code::kWrite);
      break;
    case Disturbance::kFailingSockets:
      fail(sim::Dot4Code::kCreateSocket);
      break;
    case Disturbance::kFailingChannels:
      fail(sim::Dot4Code::kOpenChannel);
      break;
    case Disturbance::kFailingCloses:
      fail(sim::Dot4Code::kCloseChannel);
      fail(sim::Dot4Code::kDestroySocket);
      break;
  }
}

void SoakDevice::Heal(int sheets) {
  if (!attached_ && !network_) network_ = std::make_unique<sim::SimulatedDevice>(config_);
  if (network_) {
    network_->ClearFaults();
    network_->ReserveElsewhere(false);
    network_->SetSheets(sheets);
    return;
  }
  attached_->ClearFaults();
  attached_->SetSheets(sheets);
  if (stack_)
    for (sim::Dot4Code code :
         {sim::Dot4Code::kRead, sim::Dot4Code::kWrite, sim::Dot4Code::kCreateSocket,
          sim::Dot4Code::kOpenChannel, sim::Dot4Code::kCloseChannel, sim::Dot4Code::kDestroySocket})
      stack_->FailRequests(code, {});
  if (!plugged_) attached_->Plug();
  plugged_ = true;
}

void SoakDevice::AwaitHostGone() const {
  if (!attached_ || stack_) return;
  TheClock().Sleep(20);  // it looks for hosts every few milliseconds
  for (int wait = 0; wait < 500; ++wait, TheClock().Sleep(10))
    if (attached_->CountInLog(" gone") >= attached_->stats().connections) return;
}

std::string SoakDevice::layout_faults() const {
  std::string all;
  if (stack_)
    for (const std::string& fault : stack_->layout_faults()) all += fault + "; ";
  return all;
}

}  // namespace scantk::test
