#include "imaging/jpeg_scan.h"

#include <algorithm>

#include "imaging/jpeg_rows.h"

namespace scantk {
namespace {

constexpr int kMaxRows = 65535;

constexpr bool IsRestart(uint8_t marker) {
  return marker >= kJpegRst0 && marker <= kJpegRst7;
}

// May stand between the scan and EOI. Tables for a scan that cannot come do no harm, and devices
// leave restart markers and line counts there that say nothing new.
constexpr bool IsSkippable(uint8_t marker) {
  return marker != kJpegSoi && marker != kJpegSos && marker != kJpegDhp && marker != kJpegExp &&
         (marker < kJpegSof0 || marker > kJpegSof15 || marker == kJpegDht);
}

constexpr bool IsMarker(const uint8_t* bytes) {
  return bytes[0] == 0xFF && bytes[1] != 0 && bytes[1] != 0xFF;
}

// Where an MCU row could begin: the image has no more of them, whatever its height was said to be.
constexpr bool EndsImage(uint8_t marker) {
  return IsSkippable(marker) && !IsRestart(marker);
}

}  // namespace

bool JpegScan::Begin(const JpegHeader& header) {
  header_ = header;
  const int mcu_width = 8 * header.h_max;
  mcus_per_row_ = (header.width + mcu_width - 1) / mcu_width;
  rows_per_mcu_ = 8 * header.v_max;
  height_ = header.height;
  mcus_to_restart_ = header.restart_interval;
  if (!decoder_.Init(header) || !window_.Allocate() || !AllocateStrips()) return false;
  decoder_.SetStrips(strips_);
  return true;
}

bool JpegScan::AllocateStrips() {
  // At most 65535 / 8 MCUs of 10 blocks, which no product below can exceed.
  size_t sizes[kJpegMaxComponents] = {};
  size_t total = 0;
  for (int i = 0; i < header_.components; ++i) {
    const JpegComponent& component = header_.component[i];
    strips_[i].stride = 8 * component.h * mcus_per_row_ + static_cast<ptrdiff_t>(kPlaneSlack);
    sizes[i] = static_cast<size_t>(strips_[i].stride) * static_cast<size_t>(8 * component.v);
    total += sizes[i];
  }
  if (!samples_.Grow(total)) return false;
  size_t at = 0;
  for (int i = 0; i < header_.components; ++i) {
    strips_[i].samples = samples_.data() + at;
    at += sizes[i];
  }
  return true;
}

JpegStep JpegScan::Advance(JpegInput& input) {
  for (;;) {
    const State before = state_;
    JpegStep step = JpegStep::kRow;
    switch (state_) {
      case State::kMcus:
        step = DecodeRow(input);
        break;
      case State::kRowEnd:
        step = EndRow(input);
        break;
      case State::kRowReady:
        return JpegStep::kRow;
      case State::kTrailer:
        step = ReadTrailer(input);
        break;
      case State::kEnded:
      case State::kCut:
        input.used = input.available;
        return JpegStep::kNeedInput;
    }
    if (state_ == before || step != JpegStep::kRow) return step;
  }
}

void JpegScan::EndInput() {
  if (state_ == State::kRowEnd) state_ = State::kRowReady;
}

int JpegScan::RowsReady() const {
  if (state_ != State::kRowReady) return 0;
  const int first = rows_decoded_ - rows_per_mcu_;
  return height_ > 0 ? std::clamp(height_ - first, 0, rows_per_mcu_) : rows_per_mcu_;
}

void JpegScan::RowDone() {
  state_ = State::kMcus;
  mcu_ = 0;
  if (ImageComplete()) EndScan();
}

// The input does not suffice for what comes next.
JpegStep JpegScan::Starved(JpegInput& input) {
  if (!input.complete) return JpegStep::kNeedInput;
  input.used = input.available;
  state_ = State::kCut;
  return JpegStep::kTruncated;
}

JpegStep JpegScan::DecodeRow(JpegInput& input) {
  bool first = true;
  while (mcu_ < mcus_per_row_) {
    if (header_.restart_interval > 0 && mcus_to_restart_ == 0) {
      const JpegStep step = Restart(input);
      if (step != JpegStep::kRow || state_ != State::kMcus) return step;
    }
    if (!first && input.left() < kJpegMcuReserve) return JpegStep::kNeedInput;
    const JpegStep step = DecodeMcus(input);
    if (step != JpegStep::kRow || state_ != State::kMcus) return step;
    first = false;
  }
  rows_decoded_ += rows_per_mcu_;
  state_ = State::kRowEnd;
  return JpegStep::kRow;
}

// Where to stop so that what is left can be looked at: more input may fit the window, or the
// reserve is reached. At least one MCU is begun.
uint64_t JpegScan::StopBit(const JpegInput& input) const {
  const size_t behind = input.left() - window_.covered();
  const size_t reserve = behind >= kJpegMcuReserve && window_.at_marker() ? 0 : kJpegMcuReserve;
  if (reserve == 0) return window_.end_bit();
  const uint64_t kept = 8 * static_cast<uint64_t>(window_.at_marker() ? reserve - behind : reserve);
  const uint64_t stop = window_.end_bit() > kept ? window_.end_bit() - kept : 0;
  return std::max(stop, window_.bit() + 1);
}

// Some MCUs of the row.
JpegStep JpegScan::DecodeMcus(JpegInput& input) {
  window_.Fill(input.rest(), input.left());
  int end = mcus_per_row_;
  if (header_.restart_interval > 0) end = std::min(end, mcu_ + mcus_to_restart_);
  const bool no_row = EndsBeforeRow(input);
  JpegRun run{window_.bytes(), window_.bit(), window_.end_bit(), StopBit(input), mcu_, end};
  const JpegRunEnd run_end = decoder_.Decode(run);
  const int decoded = run.mcu - mcu_;
  if (no_row && run.mcu < mcus_per_row_) return EndScan();
  mcu_ = run.mcu;
  if (header_.restart_interval > 0) mcus_to_restart_ -= decoded;
  mcus_decoded_ += static_cast<uint64_t>(decoded);
  input.used += window_.Advance(run.bit);
  if (run_end == JpegRunEnd::kBadCode) return JpegStep::kMalformed;
  if (decoded > 0) return JpegStep::kRow;
  if (window_.at_marker()) return JpegStep::kMalformed;
  return Starved(input);
}

// Whether a marker, and not another MCU, comes next: the bits that fill the last byte may be there.
JpegScan::Found JpegScan::LookForMarker(JpegInput& input) {
  window_.Fill(input.rest(), input.left());
  if (window_.end_bit() - window_.bit() >= 8) return Found::kData;
  return window_.at_marker() ? Found::kMarker : Found::kUnknown;
}

JpegStep JpegScan::Restart(JpegInput& input) {
  const Found found = LookForMarker(input);
  if (found == Found::kUnknown) return Starved(input);
  if (found == Found::kData) return JpegStep::kMalformed;
  JpegSegment segment;
  const size_t at = window_.covered();
  const JpegParse parse = ReadJpegSegment(input.rest() + at, input.left() - at, &segment);
  if (parse == JpegParse::kIncomplete) return Starved(input);
  if (parse == JpegParse::kMalformed) return JpegStep::kMalformed;
  if (mcu_ == 0 && EndsImage(segment.marker)) return EndScan();
  if (segment.marker != kJpegRst0 + next_restart_) return JpegStep::kMalformed;
  input.used += at + segment.head;
  window_.Reset();
  decoder_.BeginInterval();
  next_restart_ = (next_restart_ + 1) % 8;
  mcus_to_restart_ = header_.restart_interval;
  return JpegStep::kRow;
}

// A DNL may say that the image ends in the MCU row just decoded, so it must be seen before the
// rows are given away.
JpegStep JpegScan::EndRow(JpegInput& input) {
  if (rows_decoded_ > kMaxRows + rows_per_mcu_) return JpegStep::kMalformed;
  const Found found = LookForMarker(input);
  if (found == Found::kMarker) return EndRowBeforeMarker(input);
  if (found == Found::kUnknown && !input.complete) return JpegStep::kNeedInput;
  state_ = State::kRowReady;
  return JpegStep::kRow;
}

JpegStep JpegScan::EndRowBeforeMarker(JpegInput& input) {
  JpegSegment segment;
  const size_t at = window_.covered();
  const size_t left = input.left() - at;
  const JpegParse parse = ReadJpegSegment(input.rest() + at, left, &segment);
  const bool is_dnl = parse == JpegParse::kDone && segment.marker == kJpegDnl;
  if (parse == JpegParse::kIncomplete || (is_dnl && left - segment.head < segment.body_size)) {
    if (!input.complete) return JpegStep::kNeedInput;
    state_ = State::kRowReady;
    return JpegStep::kRow;
  }
  if (is_dnl) {
    const int lines = JpegLinesOf(segment);
    if (lines == 0) return JpegStep::kMalformed;
    // With more lines than that there may be another MCU row in the bits before the marker.
    if (lines <= rows_decoded_ && (height_ == 0 || lines < height_)) height_ = lines;
  }
  state_ = State::kRowReady;
  return JpegStep::kRow;
}

// Whether the image may end here, at the border of an MCU row, although more rows were announced:
// fewer bits are left than may fill a byte. They may as well be another row, which can take six.
bool JpegScan::EndsBeforeRow(const JpegInput& input) const {
  if (mcu_ > 0 || rows_decoded_ == 0 || !window_.at_marker()) return false;
  if (window_.end_bit() - window_.bit() >= 8) return false;
  JpegSegment segment;
  const size_t at = window_.covered();
  return ReadJpegSegment(input.rest() + at, input.left() - at, &segment) == JpegParse::kDone &&
         EndsImage(segment.marker);
}

// The image has the rows that were decoded, and no more.
JpegStep JpegScan::EndScan() {
  const int most = std::min(rows_decoded_, kMaxRows);
  height_ = height_ == 0 ? most : std::min(height_, most);
  window_.Reset();
  state_ = State::kTrailer;
  return JpegStep::kRow;
}

// Skips bytes that are no marker as well: rows beyond the image's height, or what fills a buffer.
JpegStep JpegScan::ReadTrailer(JpegInput& input) {
  for (;;) {
    const size_t skipped = std::min(skip_, input.left());
    input.used += skipped;
    skip_ -= skipped;
    if (skip_ > 0) return Starved(input);
    while (input.left() >= 2 && !IsMarker(input.rest())) ++input.used;
    JpegSegment segment;
    const JpegParse parse = ReadJpegSegment(input.rest(), input.left(), &segment);
    if (parse == JpegParse::kIncomplete || input.left() < 2) return Starved(input);
    if (parse == JpegParse::kMalformed || !IsSkippable(segment.marker)) return JpegStep::kMalformed;
    input.used += segment.head;
    if (segment.marker == kJpegEoi) {
      state_ = State::kEnded;
      return JpegStep::kImageEnd;
    }
    skip_ = segment.body_size;
  }
}

}  // namespace scantk
