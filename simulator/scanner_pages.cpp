#include <algorithm>
#include <stdexcept>

#include "simulator/scanner_core.h"

namespace scantk::sim {
namespace {

using namespace number;

constexpr int kJpeg = 2;
constexpr int kPacketized = 2;
constexpr int kDownloadedMap = -1;
constexpr int kTurnByHost = 2;  // answers to SL_DUPLEX_FLIP
constexpr int kRowsByHost = 1;
constexpr int kWhole = 1 << 30;     // rows: more than any page has
constexpr size_t kHeaderBytes = 8;  // of a block, and its fields
constexpr size_t kOffsetAt = 4;
constexpr size_t kStartRecordBytes = 36;
constexpr size_t kLengthAt = 2;  // in a record

}  // namespace

bool ScannerCore::HasMoreSides() const {
  const bool back_waits = side_.loaded && !side_.back && variables.Get(kDuplex) == 1;
  return back_waits || (sheets > 0 && !Rests(AtRest::State::kEmpty));
}

// Brings the next side under the sensor.
bool ScannerCore::Advance() {
  if (side_.loaded && !side_.back && side_.scanned && variables.Get(kDuplex) == 1) {
    side_.back = true;
    side_.scanned = false;
    return true;
  }
  if (sheets == 0 || Rests(AtRest::State::kEmpty)) {
    side_.loaded = false;
    return false;
  }
  --sheets;
  side_ = {true, false, false, side_.sheet + 1};
  return true;
}

void ScannerCore::Eject(Conversation&, const Command&) {
  side_.loaded = false;
  feeder_status_ = 0;
}

void ScannerCore::Feed(Conversation& host, const Command&) {
  FaultMoment& now = host.now;
  feeder_status_ = 0;
  if (Rests(AtRest::State::kJam)) return;  // nothing moves
  const FaultMoment before = now;
  now.page = stats.pages_started + 1;
  if (Strike(FaultKind::kJam, FaultStage::kFeed, host)) {
    feeder_status_ = error::kJam;
    errors.push_back(error::kJam);
    sheets = std::max(sheets - 1, 0);  // the sheet that jammed is pulled out by hand
    side_.loaded = false;
  } else if (Strike(FaultKind::kEmpty, FaultStage::kFeed, host) || !Advance()) {
    feeder_status_ = error::kEmpty;
  }
  now = before;
}

PageSettings ScannerCore::Settings() const {
  PageSettings settings = PageOf(variables);
  if (variables.Get(kCompression) == kJpeg) {  // is a matter of 8-bit samples
    if (settings.data_type == DataType::kColor) settings.bits_per_pixel = 24;
    if (settings.data_type == DataType::kGray) settings.bits_per_pixel = 8;
  }
  if (variables.Get(kToneMap) == kDownloadedMap) settings.tone_map = tone_map_;
  if (side_.loaded) {
    settings.side = {side_.sheet, side_.back};
    if (config_.sheet_height > 0)
      settings.height = std::min(settings.height, std::max(config_.sheet_height - settings.top, 0));
    if (side_.back) settings.flip = BackFlip();
  }
  return settings;
}

// Backs lie turned by 180 degrees. Of turning them the device does what it was told to and is able
// to: what it answers to SL_DUPLEX_FLIP remains to the host.
Flip ScannerCore::BackFlip() const {
  const int64_t by_host = variables.Get(kDuplexFlip);
  const bool mirrors = by_host != kTurnByHost && variables.Get(kDuplexHFlip) == 1;
  const bool reverses =
      by_host != kTurnByHost && by_host != kRowsByHost && variables.Get(kDuplexVFlip) == 1;
  if (mirrors) return reverses ? Flip::kNone : Flip::kVertical;
  return reverses ? Flip::kMirror : Flip::kTurn180;
}

// The error with which the device refuses a scan; 0 when nothing stands in its way.
int ScannerCore::WhyNoScan(const Conversation& host) const {
  if (Rests(AtRest::State::kJam)) return error::kJam;
  if (Rests(AtRest::State::kBusy)) return error::kLocked;
  if (lock_holder != 0 && lock_holder != host.id) return error::kLocked;
  if (side_.loaded ? side_.scanned : !variables.has_flatbed()) return error::kEmpty;
  const int64_t bits = PageOf(variables).bits_per_pixel;
  return variables.Get(kBitsPerPixel, bits) == bits ? 0 : error::kSettings;
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

void ScannerCore::StartScan(Conversation& host, const Command&) {
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
    errors.push_back(error::kLocked);
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

// A page that is cancelled at the device, or jams, before this block.
bool ScannerCore::EndsEarly(Conversation& host) {
  if (Strike(FaultKind::kCancel, FaultStage::kBlock, host)) {
    errors.push_back(error::kCancelled);
    AbortPage(host, "cancelled at the device");
    return true;
  }
  if (!Strike(FaultKind::kJam, FaultStage::kBlock, host)) return false;
  errors.push_back(error::kJam);
  feeder_status_ = error::kJam;
  AbortPage(host, "jammed");
  return true;
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
    if (EndsEarly(host) || DropInBlock(host)) return;
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
  const auto put = [&](size_t at, int64_t value, size_t bytes) {
    for (size_t i = 0; i < bytes; ++i)
      if (at + i < block->size()) (*block)[at + i] = static_cast<uint8_t>(value >> (8 * i));
  };
  const size_t first_record = kHeaderBytes + (host.now.block == 1 ? kStartRecordBytes : 0);
  if (auto type = strike(FaultKind::kRecordType)) put(first_record, *type, 1);
  if (auto length = strike(FaultKind::kRecordLength)) put(first_record + kLengthAt, *length, 2);
  if (auto offset = strike(FaultKind::kRecordOffset)) put(kOffsetAt, *offset, 2);
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
