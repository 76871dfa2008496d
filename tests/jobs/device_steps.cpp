// Steps that do something to the device, or expect something of it and wait for it.
#include "platform/clock.h"
#include "simulator/variables.h"
#include "tests/jobs/stage.h"

namespace scantk::test {
namespace {

// NUMBER=VALUE, null, min:V, max:V or text:T, as scantk-sim takes it.
sim::VariableOverride Override(const std::string& word) {
  const size_t equals = word.find('=');
  sim::VariableOverride change;
  change.number = sim::FindVariable(word.substr(0, equals));
  const std::string value = equals == std::string::npos ? "" : word.substr(equals + 1);
  if (change.number == 0 || value.empty()) throw std::runtime_error("set takes NUMBER=VALUE");
  if (value == "null")
    change.null = true;
  else if (value.starts_with("min:"))
    change.minimum = Number(value.substr(4));
  else if (value.starts_with("max:"))
    change.maximum = Number(value.substr(4));
  else if (value.starts_with("text:"))
    change.text = value.substr(5);
  else
    change.value = Number(value);
  return change;
}

// Looks until it is as expected, and no longer than a while.
void ExpectSoon(const std::string& expected, const std::function<std::string()>& look) {
  constexpr uint32_t kSoonMs = 10000;
  const uint32_t start = TheClock().TickCount();
  for (std::string got; (got = look()) != expected; TheClock().Sleep(2))
    if (TheClock().TickCount() - start > kSoonMs) throw Mismatch(expected, got);
}

auto Soon(int (*look)(FarSide&)) {
  return [look](Stage& stage, const Words& words) {
    ExpectSoon(words.at(0), [&] { return std::to_string(look(stage.Device())); });
  };
}

// Who holds the device.
std::string Holder(Stage& stage) {
  return stage.Device()->locked() ? "a host" : "nobody";
}

void FailRequests(Stage& stage, const Words& words) {
  std::vector<uint32_t> errors;
  for (size_t i = 1; i < words.size(); ++i)
    errors.push_back(static_cast<uint32_t>(Number(words[i])));
  stage.Device().FailRequests(words.at(0), errors);
}

int First(const Words& words) {
  return static_cast<int>(Number(words.at(0)));
}

}  // namespace

const Steps& DeviceSteps() {
  using std::to_string;
  static const Steps steps = {
      {"device", [](Stage& s, const Words& words) { s.StartDevice(words); }},
      {"fault",
       [](Stage& s, const Words& words) {
         for (const std::string& fault : words) s.Device()->AddFault(fault);
       }},
      {"clear-faults", [](Stage& s, const Words&) { s.Device()->ClearFaults(); }},
      {"sheets", [](Stage& s, const Words& words) { s.Device()->SetSheets(First(words)); }},
      {"set",
       [](Stage& s, const Words& words) {
         for (const std::string& word : words) s.Device()->SetVariable(Override(word));
       }},
      {"raise", [](Stage& s, const Words& words) { s.Device()->RaiseError(First(words)); }},
      {"reserved-elsewhere", [](Stage& s, const Words&) { s.Device()->ReserveElsewhere(true); }},
      {"released-elsewhere", [](Stage& s, const Words&) { s.Device()->ReserveElsewhere(false); }},
      {"unplug", [](Stage& s, const Words&) { s.Device().Unplug(); }},
      {"plug", [](Stage& s, const Words&) { s.Device().Plug(); }},
      {"lose-handles", [](Stage& s, const Words&) { s.Device().LoseHandles(); }},
      {"fail-requests", FailRequests},
      {"free", [](Stage& s, const Words&) { ExpectSoon("nobody", [&] { return Holder(s); }); }},
      {"held", [](Stage& s, const Words&) { ExpectSoon("a host", [&] { return Holder(s); }); }},
      {"sheets-left", Soon([](FarSide& device) { return device->sheets(); })},
      {"connections", Soon([](FarSide& device) { return device.Connections(); })},
      {"variable",
       [](Stage& s, const Words& words) {
         ExpectSoon(words.at(1), [&] {
           const auto value = s.Device()->Variable(sim::FindVariable(words[0]));
           return value ? to_string(*value) : "none";
         });
       }},
  };
  return steps;
}

}  // namespace scantk::test
