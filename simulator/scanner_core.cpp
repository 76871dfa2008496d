#include "simulator/scanner_core.h"

#include <algorithm>
#include <iterator>

namespace scantk::sim {
namespace {

using namespace number;

constexpr int kToneMapTable = 1;
constexpr size_t kToneMapBytes = 256;

}  // namespace

void Conversation::Send(std::vector<uint8_t> bytes) {
  if (bytes.empty()) return;
  out_bytes += bytes.size();
  out.push_back(std::move(bytes));
}

void Conversation::SendText(const std::string& text) {
  Send({text.begin(), text.end()});
}

ScannerCore::ScannerCore(const DeviceConfig& config, LogLine log,
                         std::function<int64_t()> milliseconds)
    : variables(config.model),
      sheets(config.sheets),
      paper(MakePaper(config.paper)),
      config_(config),
      log_(std::move(log)),
      milliseconds_(std::move(milliseconds)),
      at_rest_(ParseAtRest(config.at_rest)),
      started_(milliseconds_()) {
  for (const VariableOverride& change : config.overrides) variables.Change(change);
  for (const Fault& fault : config.faults) faults.Add(fault);
  if (Rests(AtRest::State::kJam)) errors.push_back(error::kJam);
}

void ScannerCore::Log(const Conversation& host, const std::string& text) {
  if (log_) log_("host " + std::to_string(host.id) + " " + text);
}

std::optional<int64_t> ScannerCore::Strike(FaultKind kind, FaultStage stage,
                                           const Conversation& host) {
  auto value = faults.Strike(kind, stage, host.now);
  if (value) {
    Fault struck;
    struck.kind = kind;
    struck.value = value;
    Log(host, "! " + FaultText(struck));
  }
  return value;
}

bool ScannerCore::Rests(AtRest::State state) const {
  return at_rest_.state == state &&
         (at_rest_.milliseconds == 0 || milliseconds_() - started_ < at_rest_.milliseconds);
}

// The faults of the line itself, which may strike at any stage. (Inside a page DropInBlock has
// struck before this, so that here only the other two are left.)
void ScannerCore::StrikeLine(Conversation& host, FaultStage stage) {
  if (Strike(FaultKind::kReset, stage, host)) host.reset_when_sent = true;
  if (Strike(FaultKind::kDrop, stage, host)) host.drop_when_sent = true;
  if (auto wait = Strike(FaultKind::kStall, stage, host))
    host.stalled_until = milliseconds_() + *wait;
  if (auto rate = Strike(FaultKind::kSlow, stage, host))
    host.bytes_per_ms = std::max<int64_t>(*rate, 1);
}

bool ScannerCore::Greet(Conversation& host, bool busy) {
  host.now.connection = host.id;
  ++stats.connections;
  const auto strikes = [&](FaultKind kind) {
    return Strike(kind, FaultStage::kConnect, host).has_value();
  };
  std::string greeting = "00";
  if (strikes(FaultKind::kNoGreeting)) {
    greeting.clear();
  } else if (strikes(FaultKind::kShortGreeting)) {
    greeting = "0";
  } else if (strikes(FaultKind::kOddGreeting)) {
    greeting = "XY";
  } else if (strikes(FaultKind::kRefuse)) {
    greeting = "02";
  } else if (busy || Rests(AtRest::State::kBusy) || strikes(FaultKind::kBusy)) {
    greeting = "01";
    ++stats.busy_greetings;
  }
  Log(host, "connected, greeted with \"" + greeting + "\"");
  host.SendText(greeting);
  if (greeting == "01" || greeting == "02") host.drop_when_sent = true;
  return !host.drop_when_sent;
}

size_t ScannerCore::Receive(Conversation& host, const uint8_t* bytes, size_t size) {
  size_t at = 0;
  while (at < size && !host.Flooded()) {
    if (host.drop_when_sent || host.reset_when_sent || host.deaf) {  // nobody listens
      at = size;
      break;
    }
    Command command;
    bool complete = false;
    at += host.parser.Take(bytes + at, size - at, &command, &complete);
    if (!complete) continue;
    if (command.letter == 0)
      OnDownload(host);
    else if (command.IsInquiry())
      OnInquiry(host, command);
    else
      OnCommand(host, command);
  }
  stats.bytes_received += static_cast<int64_t>(at);
  return at;
}

void ScannerCore::Leave(Conversation& host) {
  if (host.page) AbortPage(host, "its host is gone");
  if (lock_holder == host.id) lock_holder = 0;
  Log(host, "gone");
}

// --- commands ---

ScannerCore::Deed ScannerCore::FindDeed(const Command& command) {
  static constexpr struct {
    char group, letter;
    Deed deed;
  } kDeeds[] = {
      {0, 'E', &ScannerCore::Reset},       {'o', 'E', &ScannerCore::ClearErrors},
      {'f', 'S', &ScannerCore::StartScan}, {'f', 'H', &ScannerCore::Lock},
      {'u', 'X', &ScannerCore::Feed},      {'u', 'U', &ScannerCore::Eject},
  };
  const auto row = std::find_if(std::begin(kDeeds), std::end(kDeeds), [&](const auto& one) {
    return one.group == command.group && one.letter == command.letter;
  });
  return row == std::end(kDeeds) ? nullptr : row->deed;
}

void ScannerCore::OnCommand(Conversation& host, const Command& command) {
  ++stats.commands;
  ++host.now.command;
  const auto known = FindCommand(command.group, command.letter);
  host.now.variable = known ? known->number : 0;
  std::string text = known ? known->name : std::string("*") + command.group + command.letter;
  if (command.has_value) text += " " + std::to_string(command.value);
  Log(host, "< " + text);
  if (auto code = Strike(FaultKind::kError, FaultStage::kCommand, host))
    errors.push_back(static_cast<int>(*code));
  if (Strike(FaultKind::kReserved, FaultStage::kCommand, host)) lock_holder = kElsewhere;
  if (Strike(FaultKind::kDeaf, FaultStage::kCommand, host)) host.deaf = true;
  StrikeLine(host, FaultStage::kCommand);
  if (const Deed deed = FindDeed(command)) return (this->*deed)(host, command);
  if (!known) return;
  variables.Set(known->number, command.value);
  if (const size_t table = TableBytes(command)) host.parser.ExpectData(table);
}

void ScannerCore::OnDownload(Conversation& host) {
  const std::vector<uint8_t> data = host.parser.TakeData();
  Log(host, "< " + std::to_string(data.size()) + " bytes of table " +
                std::to_string(variables.Get(kDownloadType)));
  if (variables.Get(kDownloadType) != kToneMapTable || data.size() != kToneMapBytes) return;
  tone_map_.emplace();
  std::copy(data.begin(), data.end(), tone_map_->begin());
}

void ScannerCore::Reset(Conversation& host, const Command&) {
  AbortPage(host, "reset");
  variables.Reset();
  tone_map_.reset();
  errors.clear();
}

void ScannerCore::ClearErrors(Conversation& host, const Command&) {
  AbortPage(host, "stopped by its host");
  errors.clear();
}

void ScannerCore::Lock(Conversation& host, const Command& command) {
  const bool take = command.value != 0;
  if (take && lock_holder == 0 && !Rests(AtRest::State::kBusy)) lock_holder = host.id;
  if (!take && lock_holder == host.id) lock_holder = 0;
}

}  // namespace scantk::sim
