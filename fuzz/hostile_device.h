// The simulated device, of which the input says what becomes of its answers on the way.
#ifndef SCANTK_FUZZ_HOSTILE_DEVICE_H_
#define SCANTK_FUZZ_HOSTILE_DEVICE_H_

#include <functional>
#include <vector>

#include "fuzz/fuzz_input.h"
#include "simulator/scanner_core.h"

namespace scantk::fuzz {

// The input is a list: how many messages (greetings, answers, blocks) pass unharmed, what happens
// to the next one with bytes for its details, and so on. Behind its end all pass.
class HostileDevice : public sim::Responder {
 public:
  HostileDevice(const sim::DeviceConfig& config, FuzzInput harm,
                std::function<int64_t()> milliseconds);

  bool Greet(sim::Conversation& host, bool busy) override;
  size_t Receive(sim::Conversation& host, const uint8_t* bytes, size_t size) override;
  void Produce(sim::Conversation& host) override;
  void Leave(sim::Conversation& host) override { core_.Leave(host); }

  // From now on nothing is harmed.
  void Relent() { relented_ = true; }
  sim::ScannerCore& core() { return core_; }

 private:
  using Message = std::vector<uint8_t>;

  void HarmNew(sim::Conversation& host, size_t known);
  void Harm(sim::Conversation& host, Message* message);
  void HarmAnswer(uint8_t kind, Message* message);
  void HarmBlock(uint8_t kind, Message* message);
  void HarmBytes(uint8_t kind, sim::Conversation& host, Message* message);
  void ReplaceNumber(Message* message, int64_t number);

  std::function<int64_t()> milliseconds_;
  FuzzInput harm_;
  uint8_t unharmed_;
  bool relented_ = false;
  sim::ScannerCore core_;
};

}  // namespace scantk::fuzz

#endif  // SCANTK_FUZZ_HOSTILE_DEVICE_H_
