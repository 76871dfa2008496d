#include "imaging/jpeg_header.h"

#include <algorithm>
#include <cmath>
#include <cstring>

namespace scantk {
namespace {

int Word(const uint8_t* at) {
  return at[0] << 8 | at[1];
}

bool HasNoSegment(uint8_t marker) {
  return marker == kJpegTem || (marker >= kJpegRst0 && marker <= kJpegEoi);
}

bool ReadQuantisation(const uint8_t* at, size_t size, JpegHeader& header) {
  while (size > 0) {
    const int wide = at[0] >> 4;
    const int id = at[0] & 15;
    const size_t needed = wide ? 129 : 65;
    if (wide > 1 || id >= kJpegTables || size < needed) return false;
    JpegQuantisation& table = header.quantisation[id];
    for (int i = 0; i < 64; ++i) {
      table.values[i] = static_cast<uint16_t>(wide ? Word(at + 1 + 2 * i) : at[1 + i]);
    }
    table.defined = true;
    at += needed;
    size -= needed;
  }
  return true;
}

// Codes are handed out in order; one that would need more bits than its length has is too many.
bool FitTheirLengths(const uint8_t counts[17]) {
  int code = 0;
  for (int length = 1; length <= 16; ++length) {
    code = code * 2 + counts[length];
    if (code > 1 << length) return false;
  }
  return true;
}

bool ReadHuffmanCodes(const uint8_t* at, size_t size, JpegHeader& header) {
  while (size > 0) {
    const int kind = at[0] >> 4;
    const int id = at[0] & 15;
    if (kind > 1 || id >= kJpegTables || size < 17) return false;
    JpegHuffmanCodes& table = kind == 0 ? header.dc[id] : header.ac[id];
    table = {};
    size_t count = 0;
    for (int length = 1; length <= 16; ++length) {
      table.counts[length] = at[length];
      count += at[length];
    }
    if (count > 256 || size < 17 + count || !FitTheirLengths(table.counts)) return false;
    std::memcpy(table.symbols, at + 17, count);
    table.defined = true;
    at += 17 + count;
    size -= 17 + count;
  }
  return true;
}

bool ReadFrame(const uint8_t* at, size_t size, JpegHeader& header) {
  if (header.components != 0 || size < 6 || at[0] != 8) return false;
  header.height = Word(at + 1);
  header.width = Word(at + 3);
  const int count = at[5];
  if (header.width == 0 || count < 1 || count > kJpegMaxComponents) return false;
  if (size != 6 + 3 * static_cast<size_t>(count)) return false;
  int blocks = 0;
  for (int i = 0; i < count; ++i) {
    const uint8_t* from = at + 6 + 3 * i;
    const int h = from[1] >> 4;
    const int v = from[1] & 15;
    if (h < 1 || h > 4 || v < 1 || v > 4 || from[2] >= kJpegTables) return false;
    header.component[i] = {from[0], count == 1 ? 1 : h, count == 1 ? 1 : v, from[2], 0, 0};
    header.h_max = std::max(header.h_max, header.component[i].h);
    header.v_max = std::max(header.v_max, header.component[i].v);
    blocks += header.component[i].h * header.component[i].v;
  }
  header.components = count;
  return blocks <= kJpegMaxBlocksPerMcu;
}

bool ReadScan(const uint8_t* at, size_t size, JpegHeader& header) {
  if (size < 1 || header.components == 0 || at[0] != header.components) return false;
  const int count = header.components;
  if (size != 4 + 2 * static_cast<size_t>(count)) return false;
  bool seen[kJpegMaxComponents] = {};
  for (int i = 0; i < count; ++i) {
    const uint8_t* from = at + 1 + 2 * i;
    int index = 0;
    while (index < count && (seen[index] || header.component[index].id != from[0])) ++index;
    if (index == count) return false;
    seen[index] = true;
    header.scan_order[i] = index;
    JpegComponent& component = header.component[index];
    component.dc_table = from[1] >> 4;
    component.ac_table = from[1] & 15;
    if (component.dc_table >= kJpegTables || component.ac_table >= kJpegTables) return false;
    if (!header.dc[component.dc_table].defined || !header.ac[component.ac_table].defined ||
        !header.quantisation[component.quantisation].defined) {
      return false;
    }
  }
  const uint8_t* spectrum = at + 1 + 2 * count;
  return spectrum[0] == 0 && spectrum[1] == 63 && spectrum[2] == 0;
}

int32_t FixedPoint(double dpi) {
  return static_cast<int32_t>(std::lround(std::min(dpi, 32767.0) * 65536));
}

constexpr size_t kResolutionBytes = 12;  // of a segment that tells them

// Resolutions are a courtesy: a segment that is too short for them says nothing.
void ReadResolution(uint8_t marker, const uint8_t* at, size_t size, JpegHeader& header) {
  if (size < kResolutionBytes) return;
  if (marker == kJpegApp0 && (at[0] | 32) == 'j' && (at[1] | 32) == 'f' && (at[2] | 32) == 'i') {
    const double unit = at[7] == 1 ? 1 : at[7] == 2 ? 2.54 : 0;
    header.x_dpi = FixedPoint(Word(at + 8) * unit);
    header.y_dpi = FixedPoint(Word(at + 10) * unit);
  } else if (marker == kJpegApp1 && std::memcmp(at, "G3F", 3) == 0) {
    header.x_dpi = header.y_dpi = FixedPoint(Word(at + 8));  // behind the name and a version
  }
}

bool ReadSegment(const JpegSegment& segment, JpegHeader& header) {
  const uint8_t* body = segment.body;
  const size_t size = segment.body_size;
  switch (segment.marker) {
    case kJpegTem:
      return true;
    case kJpegDht:
      return ReadHuffmanCodes(body, size, header);
    case kJpegDqt:
      return ReadQuantisation(body, size, header);
    case kJpegDri:
      header.restart_interval = size == 2 ? Word(body) : 0;
      return size == 2;
    case kJpegSof0:
    case kJpegSof1:
      return ReadFrame(body, size, header);
    case kJpegDhp:
    case kJpegExp:
      return false;
    default:
      return !HasNoSegment(segment.marker) &&
             (segment.marker <= kJpegSof1 || segment.marker > kJpegSof15);
  }
}

// Whether nothing of the segment is kept but a resolution.
bool IsSkippable(uint8_t marker) {
  return marker >= kJpegApp0;
}

}  // namespace

JpegParse ReadJpegSegment(const uint8_t* bytes, size_t size, JpegSegment* segment) {
  size_t at = 0;
  while (at < size && bytes[at] == 0xFF) ++at;
  if (at == size) return JpegParse::kIncomplete;
  if (at == 0 || bytes[at] == 0) return JpegParse::kMalformed;
  *segment = {bytes[at], nullptr, 0, at + 1};
  if (HasNoSegment(segment->marker)) return JpegParse::kDone;
  if (size - at < 3) return JpegParse::kIncomplete;
  const int length = Word(bytes + at + 1);
  if (length < 2) return JpegParse::kMalformed;
  segment->head = at + 3;
  segment->body = bytes + segment->head;
  segment->body_size = static_cast<size_t>(length) - 2;
  return JpegParse::kDone;
}

int JpegLinesOf(const JpegSegment& dnl) {
  return dnl.body_size == 2 ? Word(dnl.body) : 0;
}

JpegParse JpegHeaderReader::Read(const uint8_t* bytes, size_t size, size_t* used) {
  *used = 0;
  if (!begun_) {
    if (size < 2) return JpegParse::kIncomplete;
    if (bytes[0] != 0xFF || bytes[1] != kJpegSoi) return JpegParse::kMalformed;
    begun_ = true;
    *used = 2;
  }
  JpegParse parse = JpegParse::kIncomplete;
  size_t before;
  do {
    const size_t skipped = std::min(skip_, size - *used);
    skip_ -= skipped;
    *used += skipped;
    before = *used;
    if (skip_ == 0) parse = ReadNext(bytes + *used, size - *used, used);
  } while (parse == JpegParse::kIncomplete && *used > before);
  return parse;
}

// kIncomplete with more bytes used: a segment was read, but not SOS.
JpegParse JpegHeaderReader::ReadNext(const uint8_t* bytes, size_t size, size_t* used) {
  JpegSegment segment;
  const JpegParse parse = ReadJpegSegment(bytes, size, &segment);
  if (parse != JpegParse::kDone) return parse;
  const size_t there = std::min(segment.body_size, size - segment.head);
  if (IsSkippable(segment.marker)) {
    if (there < std::min(segment.body_size, kResolutionBytes)) return JpegParse::kIncomplete;
    ReadResolution(segment.marker, segment.body, there, header_);
    skip_ = segment.body_size;
    *used += segment.head;
    return JpegParse::kIncomplete;
  }
  if (kept_ + segment.head + segment.body_size > kMostBytes) return JpegParse::kMalformed;
  if (there < segment.body_size) return JpegParse::kIncomplete;
  kept_ += segment.head + segment.body_size;
  *used += segment.head + segment.body_size;
  const bool is_scan = segment.marker == kJpegSos;
  const bool good =
      is_scan ? ReadScan(segment.body, segment.body_size, header_) : ReadSegment(segment, header_);
  if (!good) return JpegParse::kMalformed;
  return is_scan ? JpegParse::kDone : JpegParse::kIncomplete;
}

}  // namespace scantk
