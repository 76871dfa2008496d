// What the steps of a conversation act on, and their names.
#ifndef SCANTK_TESTS_JOBS_STAGE_H_
#define SCANTK_TESTS_JOBS_STAGE_H_

#include <functional>
#include <map>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#include "tests/jobs/far_side.h"
#include "tests/jobs/host.h"
#include "tests/jobs/records.h"

namespace scantk::test {

using Words = std::vector<std::string>;

// Thrown by a step that does not come as expected.
struct Mismatch : std::runtime_error {
  Mismatch(const std::string& expected, const std::string& got)
      : std::runtime_error("expected " + expected + ", got " + got) {}
};

struct Stage {
  explicit Stage(Medium played) : medium(played) { sandbox.SwitchTraceOn(); }

  // Those of the conversation; made when they are needed.
  FarSide& Device();
  Host& HostNamed(const std::string& name);
  void StartDevice(const Words& words);
  void Forget();

  const Medium medium;
  Sandbox sandbox;
  std::unique_ptr<FarSide> device;
  std::string device_name;
  std::map<std::string, Host> hosts;
  std::shared_ptr<void> discovery;  // while it lives, the discovery store knows the device
  ScannedPage page;
  std::vector<uint8_t> before;  // the page before it
  std::vector<uint8_t> bytes;   // for methods that take or fill bytes
  std::vector<uint8_t> record;
  const RecordType* record_type = nullptr;
  size_t wire_at = 0, wire_from = 0, trace_at = 0, trace_from = 0;
  uint32_t clock = 0;
};
inline constexpr uint8_t kFill = 0xA5;  // of bytes, before a call

using Steps = std::map<std::string, std::function<void(Stage&, const Words&)>>;
const Steps& PageSteps();
const Steps& DeviceSteps();
const Steps& WrittenSteps();

// A method of the interfaces, with its arguments and what is expected of it.
void TakeCall(Stage& stage, const std::string& host, const std::string& method, Words words);
// The words behind the first that is `mark`, up to the next "="; they are taken out.
Words Cut(Words* words, const std::string& mark);
// Throws unless `got` is what the words say, or `otherwise` where there are none.
void Expect(const std::string& what, const Words& words, const Outcome& otherwise,
            const Outcome& got);

int64_t Number(const std::string& word);
// Of NAME=VALUE among the words, or "".
std::string ValueOf(const Words& words, const std::string& name);
bool Has(const Words& words, const std::string& word);

}  // namespace scantk::test

#endif  // SCANTK_TESTS_JOBS_STAGE_H_
