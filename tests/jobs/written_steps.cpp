// Steps that look at what was written: on the wire, into the trace, the registry, the host's
// memory.
#include <filesystem>

#include "platform/clock.h"
#include "platform/system.h"
#include "tests/jobs/golden.h"
#include "tests/jobs/stage.h"

namespace scantk::test {
namespace {

// A line with `text` behind the one that was found last.
bool FindLine(const Words& lines, const std::string& text, size_t* from) {
  for (size_t i = *from; i < lines.size(); ++i) {
    if (lines[i].find(text) == std::string::npos) continue;
    *from = i + 1;
    return true;
  }
  return false;
}

Words LinesWith(const Words& lines, const std::string& text, size_t from) {
  Words found;
  for (size_t at = from; FindLine(lines, text, &at);) found.push_back(lines[at - 1]);
  return found;
}

// The host's last bytes may be on their way yet: looks for a while where a line is missing.
bool Soon(const std::function<bool()>& look) {
  const uint32_t start = TheClock().TickCount();
  bool good = look();
  for (; !good && TheClock().TickCount() - start < 10000; good = look()) TheClock().Sleep(2);
  return good;
}

using Lines = Words (*)(Stage&);

// Behind `from` there is a line with the text.
auto Line(Lines lines, size_t Stage::*from) {
  return [=](Stage& stage, const Words& words) {
    if (!Soon([&] { return FindLine(lines(stage), words.at(0), &(stage.*from)); }))
      throw Mismatch("a line \"" + words[0] + "\"",
                     "none behind line " + std::to_string(stage.*from));
  };
}

// There are so many.
auto Count(Lines lines, size_t Stage::*from) {
  return [=](Stage& stage, const Words& words) {
    Words found;
    if (Soon([&] {
          found = LinesWith(lines(stage), words.at(1), stage.*from);
          return static_cast<int64_t>(found.size()) == Number(words[0]);
        }))
      return;
    std::string got = std::to_string(found.size());
    for (const std::string& line : found) got += "\n    " + line;
    throw Mismatch(words[0] + " lines with \"" + words[1] + "\"", got);
  };
}

// The whole trace since the last "forget".
void CompareTrace(Stage& stage, const Words& words) {
  Words lines = stage.sandbox.TraceLines();
  lines.erase(lines.begin(), lines.begin() + static_cast<ptrdiff_t>(stage.trace_from));
  const std::string& name = stage.device_name;
  const Words own_names = {name,
                           name.substr(name.rfind('\\') + 1),
                           stage.sandbox.Folder(),
                           stage.Device()->config().address,
                           LibraryPath(),
                           ExecutablePath()};
  const std::string difference = GoldenDifference(
      SCANTK_CONVERSATIONS "/golden/" + words.at(0) + "_" + Name(stage.medium) + ".txt",
      MaskedTrace(lines, own_names), std::filesystem::temp_directory_path().string());
  if (!difference.empty()) throw std::runtime_error(difference);
}

void SetRegistry(Stage& stage, const Words& words) {
  stage.Device();
  const std::string& value = words.at(1);
  if (!value.empty() && value.find_first_not_of("0123456789") == std::string::npos)
    stage.sandbox.SetDeviceValue(stage.device_name, words[0], static_cast<uint32_t>(Number(value)));
  else
    stage.sandbox.SetDeviceText(stage.device_name, words[0], value);
}

void ExpectStored(Stage& stage, const Words& words) {
  const std::string got = stage.sandbox.DeviceText(stage.device_name, words.at(0));
  const std::string& expected =
      words.at(1) == "its-address" ? stage.Device()->config().address : words[1];
  if (got != expected) throw Mismatch(words[0] + " " + expected, got);
}

void ExpectWithin(Stage& stage, const Words& words) {
  const uint32_t passed = TheClock().TickCount() - stage.clock;
  if (passed > Number(words.at(0)))
    throw Mismatch("at most " + words[0] + " ms", std::to_string(passed));
}

void ExpectBytes(Stage& stage, const Words& words) {
  const size_t size = words.at(0).size();
  const std::string got(stage.bytes.begin(), stage.bytes.begin() + static_cast<ptrdiff_t>(size));
  if (got != words[0]) throw Mismatch(words[0], got);
  if (stage.bytes[size] != kFill)
    throw Mismatch("nothing behind it", std::to_string(stage.bytes[size]));
}

}  // namespace

const Steps& WrittenSteps() {
  const Lines wire = [](Stage& s) { return s.Device()->log(); };
  const Lines trace = [](Stage& s) { return s.sandbox.TraceLines(); };
  static const Steps steps = {
      {"wire", Line(wire, &Stage::wire_at)},
      {"wires", Count(wire, &Stage::wire_from)},
      {"trace", Line(trace, &Stage::trace_at)},
      {"traces", Count(trace, &Stage::trace_from)},
      {"forget", [](Stage& s, const Words&) { s.Forget(); }},
      {"registry", SetRegistry},
      {"stored", ExpectStored},
      {"discovery",
       [](Stage& s, const Words& words) {
         s.discovery = TellDiscovery(words.at(0), s.Device()->config().address, s.sandbox.Folder());
       }},
      {"clock", [](Stage& s, const Words&) { s.clock = TheClock().TickCount(); }},
      {"within", ExpectWithin},
      {"bytes", ExpectBytes},
      {"golden", CompareTrace},
  };
  return steps;
}

}  // namespace scantk::test
