#include "simulator/scanner_core.h"

#include <algorithm>
#include <stdexcept>

namespace scantk::sim {
namespace {

using namespace number;

constexpr int kToneMapTable = 1;
constexpr int kJpeg = 2;
constexpr int kPacketized = 2;
constexpr int kErrorJam = 1024;
constexpr int kErrorEmpty = 1026;
constexpr int kErrorCancelled = 502;
constexpr int kErrorLocked = 1025;
constexpr int64_t kLongestAnswer = 64 << 20;
constexpr int kWhole = 1 << 30;  // rows: more than any page has

// The depth that the device scans with when `asked` was set: one that the data type has.
int Depth(DataType type, int asked) {
  if (type == DataType::kThreshold || type == DataType::kDither) return 1;
  const int components = type == DataType::kColor ? 3 : 1;
  for (int bits : {10, 12, 16})
    if (asked == bits * components) return asked;
  return 8 * components;
}

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
      milliseconds_(std::move(milliseconds)) {
  for (const VariableOverride& change : config.overrides) variables.Change(change);
  for (const Fault& fault : config.faults) faults.Add(fault);
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
  } else if (busy || strikes(FaultKind::kBusy)) {
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

void ScannerCore::OnCommand(Conversation& host, const Command& command) {
  ++stats.commands;
  ++host.now.command;
  const CommandName* known = FindCommand(command.group, command.letter);
  host.now.variable = known ? known->number : 0;
  std::string text = known ? known->name : std::string("*") + command.group + command.letter;
  if (command.has_value) text += " " + std::to_string(command.value);
  Log(host, "< " + text);
  if (auto code = Strike(FaultKind::kError, FaultStage::kCommand, host))
    errors.push_back(static_cast<int>(*code));
  if (Strike(FaultKind::kReserved, FaultStage::kCommand, host)) lock_holder = -1;
  if (Strike(FaultKind::kDeaf, FaultStage::kCommand, host)) host.deaf = true;
  StrikeLine(host, FaultStage::kCommand);
  if (!known) return;
  const std::string name = known->name;
  if (name == "SL_RESET") {
    AbortPage(host, "reset");
    variables.Reset();
    tone_map_.reset();
    errors.clear();
  } else if (name == "SL_CLEAR_ERRORS") {
    AbortPage(host, "stopped by its host");
    errors.clear();
  } else if (name == "SL_START_SCAN") {
    StartScan(host);
  } else if (name == "SL_DEVLOCK") {
    Lock(host, command.value != 0);
  } else if (name == "SL_ADF_FEED_PAGE") {
    Feed(host);
  } else if (name == "SL_ADF_EJECT_PAGE") {
    side_.loaded = false;
    feeder_status_ = 0;
  } else if (known->number != 0) {
    variables.Set(known->number, command.value);
    if (const size_t table = TableBytes(command)) host.parser.ExpectData(table);
  }
}

void ScannerCore::OnDownload(Conversation& host) {
  const std::vector<uint8_t> data = host.parser.TakeData();
  Log(host, "< " + std::to_string(data.size()) + " bytes of table " +
                std::to_string(variables.Get(kDownloadType)));
  if (variables.Get(kDownloadType) != kToneMapTable || data.size() != 256) return;
  tone_map_.emplace();
  std::copy(data.begin(), data.end(), tone_map_->begin());
}

void ScannerCore::Lock(Conversation& host, bool take) {
  if (take && lock_holder == 0) lock_holder = host.id;
  if (!take && lock_holder == host.id) lock_holder = 0;
}

// --- inquiries ---

void ScannerCore::OnInquiry(Conversation& host, const Command& command) {
  ++stats.inquiries;
  ++host.now.answer;
  const int number = static_cast<int>(command.value);
  const char kind = command.letter;
  host.now.variable = number;
  const auto strike = [&](FaultKind fault) { return Strike(fault, FaultStage::kAnswer, host); };
  StrikeLine(host, FaultStage::kAnswer);

  std::string answer;
  int64_t value = 0;
  bool known = NumberAnswer(number, kind, &value);
  auto text = TextAnswer(host, number);
  if (auto forced = strike(FaultKind::kAnswer)) {
    value = *forced;
    known = true;
    text.reset();
  }
  if (strike(FaultKind::kNull)) {
    known = false;
    text.reset();
  }
  if (auto bytes = strike(FaultKind::kEndlessString))
    text = std::string(static_cast<size_t>(std::clamp<int64_t>(*bytes, 0, kLongestAnswer)), 'a');
  Command echoed = command;
  if (strike(FaultKind::kWrongEcho)) ++echoed.value;
  const std::string echo = AnswerStart(echoed);
  std::string shown;
  if (text) {
    const auto length = strike(FaultKind::kStringLength);
    shown = "\"" + text->substr(0, 40) + "\"";
    answer =
        echo + std::to_string(length.value_or(static_cast<int64_t>(text->size()))) + "W" + *text;
  } else if (known) {
    shown = std::to_string(value);
    answer = echo + shown + "V";
  } else {
    shown = "null";
    answer = echo + "0N";
  }
  if (strike(FaultKind::kWrongLetter)) answer[echo.size() - 1] = 'q';
  if (strike(FaultKind::kWrongTerminator) && !text) answer.back() = 'X';
  if (auto digits = strike(FaultKind::kEndlessNumber))
    answer =
        echo +
        std::string(static_cast<size_t>(std::clamp<int64_t>(*digits, 0, kLongestAnswer)), '7') +
        "V";
  if (strike(FaultKind::kGarbage)) answer = "\x03\xFF\x80 no answer \x07Z";
  if (auto bytes = strike(FaultKind::kCutAnswer)) {
    answer.resize(std::min(answer.size(), static_cast<size_t>(*bytes)));
    host.drop_when_sent = true;
  }
  if (strike(FaultKind::kSilent)) answer.clear();
  Log(host, "? " + std::string(VariableName(number)) + " " + std::to_string(number) + kind + " = " +
                (answer.empty() ? "(silence)" : shown));
  host.SendText(answer);
}

std::optional<std::string> ScannerCore::TextAnswer(const Conversation& host, int number) const {
  const Variable* variable = variables.Find(number);
  if (variable && variable->is_text) return variable->text;
  if (number != kLockId || variables.Denied(number)) return {};
  return lock_holder == host.id ? std::to_string(host.id) : std::string("0");
}

bool ScannerCore::NumberAnswer(int number, char kind, int64_t* answer) const {
  const Variable* variable = variables.Find(number);
  if (!variable) return !variables.Denied(number) && Computed(number, answer);
  *answer = kind == 'L' ? variable->minimum : kind == 'H' ? variable->maximum : variable->value;
  // Whether a side wants turning is asked while it lies under the sensor; fronts do not.
  if (number == kDuplexFlip && !side_.back) *answer = 0;
  return true;
}

// The values that follow from the device's state.
bool ScannerCore::Computed(int number, int64_t* answer) const {
  switch (number) {
    case kErrorCount:
      *answer = static_cast<int64_t>(errors.size());
      return true;
    case kOldestError:
      *answer = errors.empty() ? 0 : errors.front();
      return true;
    case kFeederStatus:
      *answer = feeder_status_;
      return true;
    case kFeederReady:
      *answer = HasMoreSides();
      return true;
    case kPixelsPerLine:
      *answer = PixelsPerRow(Settings());
      return true;
    case kBytesPerLine:
      *answer = static_cast<int64_t>(BytesPerRow(Settings()));
      return true;
    case kLinesPerScan:
      *answer = RowsPerPage(Settings());
      return true;
    default:
      return false;
  }
}

// --- paper ---

bool ScannerCore::HasMoreSides() const {
  const bool back_waits = side_.loaded && !side_.back && variables.Get(kDuplex) == 1;
  return back_waits || sheets > 0;
}

// Brings the next side under the sensor.
bool ScannerCore::Advance() {
  if (side_.loaded && !side_.back && side_.scanned && variables.Get(kDuplex) == 1) {
    side_.back = true;
    side_.scanned = false;
    return true;
  }
  if (sheets == 0) {
    side_.loaded = false;
    return false;
  }
  --sheets;
  side_ = {true, false, false, side_.sheet + 1};
  return true;
}

void ScannerCore::Feed(Conversation& host) {
  FaultMoment& now = host.now;
  const FaultMoment before = now;
  now.page = stats.pages_started + 1;
  feeder_status_ = 0;
  if (Strike(FaultKind::kJam, FaultStage::kFeed, host)) {
    feeder_status_ = kErrorJam;
    errors.push_back(kErrorJam);
    sheets = std::max(sheets - 1, 0);  // the sheet that jammed is pulled out by hand
    side_.loaded = false;
  } else if (Strike(FaultKind::kEmpty, FaultStage::kFeed, host) || !Advance()) {
    feeder_status_ = kErrorEmpty;
  }
  now = before;
}

PageSettings ScannerCore::Settings() const {
  PageSettings settings;
  const auto get = [this](int number) { return static_cast<int>(variables.Get(number)); };
  settings.x_dpi = get(kXResolution);
  settings.y_dpi = get(kYResolution);
  settings.left = get(kXPosition);
  settings.top = get(kYPosition);
  settings.width = get(kXExtent);
  settings.height = get(kYExtent);
  settings.data_type = static_cast<DataType>(get(kDataType));
  settings.bits_per_pixel = Depth(settings.data_type, get(kBitsPerPixel));
  if (variables.Get(kCompression) == kJpeg)  // is a matter of 8-bit samples
    settings.bits_per_pixel = Depth(settings.data_type, 0);
  if (tone_map_ && get(kToneMap) == -1) settings.tone_map = tone_map_;
  if (side_.loaded) {
    settings.side = {side_.sheet, side_.back};
    if (config_.sheet_height > 0)
      settings.height = std::min(settings.height, std::max(config_.sheet_height - settings.top, 0));
    if (side_.back) settings.flip = static_cast<Flip>(get(kDuplexFlip));
  }
  return settings;
}

// --- the page ---

// The error with which the device refuses a scan; 0 when nothing stands in its way.
int ScannerCore::WhyNoScan(const Conversation& host) {
  if (lock_holder != 0 && lock_holder != host.id) return kErrorLocked;
  if (side_.loaded && side_.scanned && !Advance()) return kErrorEmpty;
  if (!side_.loaded && !variables.has_flatbed()) return kErrorEmpty;
  return 0;
}

PageOrder ScannerCore::Order(Conversation& host) {
  PageOrder order;
  order.settings = Settings();
  order.jpeg = variables.Get(kCompression) == kJpeg && order.settings.bits_per_pixel >= 8;
  order.jpeg_factor = static_cast<int>(variables.Get(kJpegFactor));
  order.packets = variables.Get(kTransferType) == kPacketized;
  order.big_endian_rows = variables.big_endian_rows();
  order.rows = RowsPerPage(order.settings);
  const auto strike = [&](FaultKind kind) { return Strike(kind, FaultStage::kPage, host); };
  if (auto fewer = strike(FaultKind::kShortPage))
    order.rows = static_cast<int>(std::clamp<int64_t>(order.rows - *fewer, 0, kWhole));
  if (auto more = strike(FaultKind::kLongPage))
    order.rows = static_cast<int>(std::clamp<int64_t>(order.rows + *more, 0, kWhole));
  if (auto fewer = strike(FaultKind::kRaggedPage))
    order.bytes_short = static_cast<size_t>(std::max<int64_t>(*fewer, 0));
  order.reported_rows = order.rows;
  if (auto rows = strike(FaultKind::kRowCount)) order.reported_rows = *rows;
  order.end_record = !strike(FaultKind::kNoEnd);
  return order;
}

void ScannerCore::StartScan(Conversation& host) {
  if (host.page) return;
  const int refusal = WhyNoScan(host);
  ++stats.pages_started;
  host.now.page = stats.pages_started;
  host.now.block = 0;
  PageOrder order = Order(host);
  last_page = order.settings;
  Log(host, "page " + std::to_string(host.now.page) + ": " +
                std::to_string(PixelsPerRow(order.settings)) + " x " + std::to_string(order.rows) +
                (order.jpeg ? ", JPEG" : ", raw"));
  try {
    if (refusal == 0) side_.scanned = true;
    host.page = std::make_unique<PageJob>(paper, order, config_.delivery);
    if (refusal != 0) {
      errors.push_back(refusal);
      AbortPage(host, "it cannot start");
    }
  } catch (const std::runtime_error& problem) {  // a page beyond what the codec can take
    order.jpeg = false;
    host.page = std::make_unique<PageJob>(paper, order, config_.delivery);
    errors.push_back(kErrorLocked);
    AbortPage(host, problem.what());
  }
}

void ScannerCore::AbortPage(Conversation& host, const char* why) {
  if (!host.page) return;
  Log(host, std::string("page ended early: ") + why);
  host.Send(host.page->AbortBlock());
  host.page.reset();
  ++stats.pages_aborted;
}

// A connection that breaks before this block, or inside it. True when it does.
bool ScannerCore::DropInBlock(Conversation& host) {
  const auto reset = Strike(FaultKind::kReset, FaultStage::kBlock, host);
  const auto drop = Strike(FaultKind::kDrop, FaultStage::kBlock, host);
  if (!reset && !drop) return false;
  std::vector<uint8_t> block = host.page->NextBlock();
  const int64_t kept = reset ? *reset : *drop;
  block.resize(std::min(block.size(), static_cast<size_t>(std::max<int64_t>(kept, 0))));
  host.Send(std::move(block));
  host.reset_when_sent = reset.has_value();
  host.drop_when_sent = !reset;
  host.page.reset();
  ++stats.pages_aborted;
  return true;
}

void ScannerCore::Produce(Conversation& host) {
  while (host.page && host.out.empty() && !host.drop_when_sent && !host.reset_when_sent) {
    ++host.now.block;
    if (Strike(FaultKind::kCancel, FaultStage::kBlock, host)) {
      errors.push_back(kErrorCancelled);
      AbortPage(host, "cancelled at the device");
      return;
    }
    if (Strike(FaultKind::kJam, FaultStage::kBlock, host)) {
      errors.push_back(kErrorJam);
      feeder_status_ = kErrorJam;
      AbortPage(host, "jammed");
      return;
    }
    if (DropInBlock(host)) return;
    StrikeLine(host, FaultStage::kBlock);
    std::vector<uint8_t> block = host.page->NextBlock();
    ++stats.blocks;
    if (log_) {
      Log(host, "> block " + std::to_string(host.now.block) + ", " + std::to_string(block.size()) +
                    " bytes");
    }
    if (DisturbBlock(host, &block)) host.drop_when_sent = true;
    host.Send(std::move(block));
    if (!host.page || !host.page->over()) continue;
    host.page.reset();
    ++stats.pages_finished;
    Log(host, "page delivered");
  }
}

// Applies the faults of one block. True: the connection ends with it.
bool ScannerCore::DisturbBlock(Conversation& host, std::vector<uint8_t>* block) {
  const auto strike = [&](FaultKind kind) { return Strike(kind, FaultStage::kBlock, host); };
  const auto put = [&](size_t at, int64_t value, int bytes) {
    for (int i = 0; i < bytes; ++i)
      if (at + i < block->size()) (*block)[at + i] = static_cast<uint8_t>(value >> (8 * i));
  };
  const size_t first_record = host.now.block == 1 ? 44 : 8;
  if (auto type = strike(FaultKind::kRecordType)) put(first_record, *type, 1);
  if (auto length = strike(FaultKind::kRecordLength)) put(first_record + 2, *length, 2);
  if (auto offset = strike(FaultKind::kRecordOffset)) put(4, *offset, 2);
  if (auto length = strike(FaultKind::kBlockLength)) put(0, *length, 4);
  if (auto at = strike(FaultKind::kCorrupt))
    if (static_cast<size_t>(*at) < block->size()) (*block)[static_cast<size_t>(*at)] ^= 0xFF;
  if (auto bytes = strike(FaultKind::kTruncate)) {
    block->resize(std::min(block->size(), static_cast<size_t>(std::max<int64_t>(*bytes, 0))));
    ++stats.pages_aborted;
    host.page.reset();
    return true;
  }
  return false;
}

}  // namespace scantk::sim
