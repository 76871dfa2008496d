#include "tests/jobs/stage.h"

#include <algorithm>

#include "tests/jobs/methods.h"
#include "tests/jobs/outcome_text.h"

namespace scantk::test {
namespace {

void Configure(const std::string& name, const std::string& value, sim::DeviceConfig* config) {
  if (name == "sheets")
    config->sheets = static_cast<int>(Number(value));
  else if (name == "paper")
    config->paper = value;
  else if (name == "block")
    config->delivery.block_bytes = static_cast<size_t>(Number(value));
  else if (name == "raster")
    config->delivery.record_bytes = static_cast<size_t>(Number(value));
  else
    throw std::runtime_error("a device has no " + name);
}

}  // namespace

int64_t Number(const std::string& word) {
  size_t used = 0;
  const int64_t value = std::stoll(word, &used, 0);
  if (used != word.size()) throw std::runtime_error(word + " is no number");
  return value;
}

std::string ValueOf(const Words& words, const std::string& name) {
  for (const std::string& word : words)
    if (word.starts_with(name + "=")) return word.substr(name.size() + 1);
  return "";
}

bool Has(const Words& words, const std::string& word) {
  return std::find(words.begin(), words.end(), word) != words.end();
}

FarSide& Stage::Device() {
  if (!device) StartDevice({});
  return *device;
}

Host& Stage::HostNamed(const std::string& name) {
  Device();
  return hosts.try_emplace(name, device_name, IoType(medium)).first->second;
}

void Stage::StartDevice(const Words& words) {
  sim::DeviceConfig config;
  for (const std::string& word : words) {
    const size_t equals = word.find('=');
    if (equals == std::string::npos)
      config.model = word;
    else
      Configure(word.substr(0, equals), word.substr(equals + 1), &config);
  }
  Place place(sandbox, medium, config);
  device = std::move(place.device);
  device_name = std::move(place.name);
  Forget();
}

void Stage::Forget() {
  wire_at = wire_from = Device()->log().size();
  trace_at = trace_from = sandbox.TraceLines().size();
}

Words Cut(Words* words, const std::string& mark) {
  const auto begin = std::find(words->begin(), words->end(), mark);
  if (begin == words->end()) return {};
  const auto end = std::find(begin + 1, words->end(), "=");
  Words cut(begin + 1, end);
  words->erase(begin, end);
  return cut;
}

void Expect(const std::string& what, const Words& words, const Outcome& otherwise,
            const Outcome& got) {
  if (!words.empty() && words[0] == "any") return;
  const Outcome expected = words.empty() ? otherwise : OutcomeNamed(words);
  if (expected != got) throw Mismatch(what + " -> " + Text(expected), Text(got));
}

void TakeCall(Stage& stage, const std::string& host_name, const std::string& method, Words words) {
  Host& host = stage.HostNamed(host_name);
  const Words outcome = Cut(&words, "->");
  const Words value = Cut(&words, "=");
  MethodCall call;
  call.session = host.session;
  call.words = words;
  call.page = &stage.page.asked;
  if (method != "SetGammaTable") stage.bytes.assign(1 << 20, kFill);
  call.bytes = stage.bytes.data();
  if (method == "OpenScannerSession" && words.empty())
    call.words = {stage.device_name, std::to_string(IoType(stage.medium))};
  CallMethod(host.toolkit, method, &call);
  // Also that of a refused open, which must be nobody's.
  if (method == "OpenScannerSession") host.session = static_cast<uint32_t>(Number(call.value));
  if (method == "SetGammaTable" && call.outcome == kOk)
    std::copy_n(stage.bytes.begin(), 256, stage.page.tone_map.emplace().begin());
  Expect(method, outcome, kOk, call.outcome);
  if (!value.empty() && value[0] != call.value)
    throw Mismatch(method + " = " + value[0], call.value);
  if (method == "ReadScan")
    stage.page.bytes.assign(stage.bytes.begin(), stage.bytes.begin() + Number(words.at(0)));
  stage.record = call.record;
  stage.record_type = call.record_type;
  if (method == "CloseScannerSession" && call.outcome == kOk) host.session = 0;
}

}  // namespace scantk::test
