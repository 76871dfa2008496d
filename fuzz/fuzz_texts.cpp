// Everything that takes texts apart: answers of a device, names of network devices, registry files,
// registration scripts, the store of discovered devices, recordings of conversations.
//
// Input: a byte that chooses the parser, and what that one reads.
#include <cstring>
#include <stdexcept>

#include "fuzz/fuzz_input.h"
#include "io/network_name.h"
#include "platform/stand_ins/discovery_store.h"
#include "platform/stand_ins/registration_script.h"
#include "platform/stand_ins/registry_text.h"
#include "protocol/answer_parser.h"
#include "simulator/recording.h"
#include "simulator/replay_core.h"

using namespace scantk;
using namespace scantk::fuzz;

namespace {

// A line with an inquiry, the terminator, a line with the answer.
void Answers(FuzzInput& input) {
  const std::vector<char> asked = Terminated(input.Line());
  const char terminator = static_cast<char>(input.Byte());
  const std::vector<char> answered = Terminated(input.Line());
  const Answer parsed = ParseAnswer(asked.data(), answered.data(), terminator);
  Require(
      parsed.status == SL_OK || parsed.status == SL_NULLRESPONSE || parsed.status == SL_BADRESPONSE,
      "an answer has one of three statuses");
  const char* end = nullptr;
  const int32_t value = ParseDecimal(answered.data(), &end);
  Require(end >= answered.data() && end < answered.data() + answered.size(),
          "a number ends within its text");
  // strtoll takes blanks and a plus sign, too, and no lone minus sign.
  const char first = answered[answered[0] == '-' ? 1 : 0];
  if (first < '0' || first > '9') return Require(value == 0, "no digits, no value");
  const long long reference = std::strtoll(answered.data(), nullptr, 10);
  Require(value == std::clamp<long long>(reference, INT32_MIN, INT32_MAX),
          "a number is right, or the end of the range");
}

template <size_t kSize>
void RequireText(const char (&text)[kSize]) {
  const char* end = std::find(std::begin(text), std::end(text), '\0');
  Require(end != std::end(text) && std::all_of(end, std::end(text), [](char c) { return c == 0; }),
          "a text is terminated, and there is nothing behind it");
}

void NetworkName(FuzzInput& input) {
  const std::vector<char> text = Terminated(input.Text());
  NetworkDeviceId id, again;
  std::memset(&id, 0x5A, sizeof id);
  const int32_t result = ParseNetworkDeviceName(text.data(), &id);
  Require((result != 0) == (text[0] == '\0'), "every name but the empty one is taken apart");
  if (result != 0) return;
  RequireText(id.host);
  RequireText(id.macaddr);
  RequireText(id.guid);
  Require((ScanPort(id.port) != 0) == (id.port <= 3), "no port beyond three scans");
  const std::vector<char> host = Terminated(id.host);
  Require(ClassifyHostAddress(host.data()) != HostAddressKind::kDotted ||
              std::count(host.begin(), host.end(), '.') == 3,
          "four numbers have three dots");
  const std::string with_port = "\\guid:x\\port:" + std::to_string(id.port);
  Require(ParseNetworkDeviceName(with_port.c_str(), &again) == 0 && again.port == id.port,
          "a port is read back");
}

// Looks at every key, as long as `budget` lasts.
void Walk(const RegistryText& text, const std::string& path, int* budget) {
  for (const std::string& name : text.Subkeys(path)) {
    if (--*budget < 0) return;
    const std::string below = path + "\\" + name;
    Require(text.HasKey(below), "a key that is listed exists");
    text.FindValue(below, "");
    Walk(text, below, budget);
  }
}

// A line with a key, a line with a value's name, type, a line with its data, then the file.
void Registry(FuzzInput& input) {
  const std::string path = input.Line(), name = input.Line();
  const uint32_t type = input.Byte() % 8;
  const RegistryValue value = {type, input.Line()};
  const std::string bytes = input.Text();
  RegistryText text(bytes);
  int budget = 500;
  for (const char* root : {"HKEY_LOCAL_MACHINE", "HKEY_CURRENT_USER", "HKEY_CLASSES_ROOT"})
    Walk(text, root, &budget);
  if (!text.IsRegistry()) return Require(budget == 500, "what is no registry is empty");
  Require(bytes.empty() || text.Bytes() == bytes, "a file survives byte for byte");
  if (!RegistryText::IsValidPath(path) || !RegistryText::IsValidName(name)) return;
  text.SetValue(path, name, value);
  RegistryText again(text.Bytes());
  Require(again.IsRegistry() && again.Bytes() == text.Bytes(), "reading changes nothing");
  const RegistryValue* set = text.FindValue(path, name);
  const RegistryValue* found = again.FindValue(path, name);
  Require(set && found && found->type == set->type && found->data == set->data,
          "a value that was set is found, here and in the file");
  Require(again.DeleteKey(path) && !RegistryText(again.Bytes()).HasKey(path),
          "a deleted key is gone from the file");
}

void RegistrationScript(FuzzInput& input) {
  const std::string script = input.Text();
  std::vector<ScriptEntry> entries, again;
  const bool is_sound = ParseRegistrationScript(script, "/lib/%MODULE%.so", &entries);
  for (const ScriptEntry& entry : entries)
    Require(entry.isValue ? entry.hasText : entry.valueName.empty(), "a value has a text");
  Require(!is_sound ||
              (ParseRegistrationScript("\r\n\t " + script + " \n", "/lib/%MODULE%.so", &again) &&
               again.size() == entries.size()),
          "blanks around a script do not count");
}

void RequireDevice(const StoredDevice& device) {
  constexpr size_t kMostCharacters = 79;
  Require(device.mac.empty() || device.mac == NormalMac(device.mac), "a MAC is in normal form");
  Require(device.guid.size() <= kMostCharacters && device.address.size() <= kMostCharacters &&
              device.address.find_first_of("\\ \n") == std::string::npos,
          "an address can stand in a device name");
}

// The store, a line with a plus sign alone, the table.
void DeviceStore(FuzzInput& input) {
  const std::string both = input.Text();
  const size_t cut = std::min(both.find("\n+\n"), both.size());
  const std::string table = both.substr(std::min(cut + 3, both.size()));
  const std::vector<StoredDevice> devices = ParseDeviceStore(both.substr(0, cut));
  StoredDevice found;
  for (const StoredDevice& device : devices) {
    RequireDevice(device);
    Require(FindStoredDevice(devices, table, device.guid, device.mac, &found),
            "a device that is stored is found");
    RequireDevice(found);
    NeighbourAddress(table, device.mac);
  }
  if (FindStoredDevice(devices, table, "", "00:11:22:33:44:55", &found)) RequireDevice(found);
}

using Kind = sim::RecordedKind;
using Sent = std::vector<uint8_t>;

// A host that takes what there is before it speaks.
void Play(sim::ReplayCore& core, int64_t id, const sim::RecordedConversation& events) {
  sim::Conversation host;
  host.id = id;
  core.Greet(host, false);
  Sent expected, heard;
  const auto listen = [&] {
    for (core.Produce(host); !host.out.empty(); host.out.pop_front(), core.Produce(host))
      heard.insert(heard.end(), host.out.front().begin(), host.out.front().end());
  };
  for (const auto& [kind, pause_ms, bytes] : events) {
    if (kind == Kind::kDevice) expected.insert(expected.end(), bytes.begin(), bytes.end());
    for (size_t at = 0; kind == Kind::kHost && at < bytes.size(); listen())
      at += core.Receive(host, bytes.data() + at, bytes.size() - at);
    listen();
  }
  Require(heard == expected, "the same host is answered the same");
  core.Leave(host);
}

// Taking a recording apart, writing it, and playing it to the host that what was written is of.
void Recordings(FuzzInput& input) {
  sim::Recording recording;
  try {
    recording = sim::ParseRecording(input.Text(), size_t{1} << 20);
  } catch (const std::invalid_argument& problem) {
    return Require(std::string(problem.what()).starts_with("line "), "a refusal names the line");
  }
  std::string text = "scantk conversation 1\n";
  int64_t id = 0;
  for (const sim::RecordedConversation& events : recording.conversations) {
    text += sim::RecordingLines(++id, Kind::kOpen, 0, {});
    for (const sim::RecordedEvent& event : events)
      text += sim::RecordingLines(id, event.kind, event.pause_ms, event.bytes);
  }
  const sim::Recording again = sim::ParseRecording(text);
  Require(again.conversations.size() == recording.conversations.size(), "none is lost");
  sim::ReplayCore core(recording, 0, nullptr, [] { return 0; });
  for (const sim::RecordedConversation& events : again.conversations) Play(core, id++, events);
  Require(core.departures == 0, "a recording's own host does not depart from it");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  FuzzInput input(data, std::min(size, size_t{16384}));
  constexpr decltype(&Answers) kParsers[] = {
      &Answers, &NetworkName, &Registry, &RegistrationScript, &DeviceStore, &Recordings};
  kParsers[input.Byte() % std::size(kParsers)](input);
  return 0;
}
