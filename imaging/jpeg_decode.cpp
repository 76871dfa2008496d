#include "imaging/jpeg_decode.h"

#include <new>

#include "imaging/jpeg_rows.h"
#include "imaging/jpeg_scan.h"

namespace scantk {
namespace {

constexpr uint32_t kCheckValue = 0x1CE5CA7E;
constexpr size_t kHeaderBytes = JpegHeaderReader::kMostBytes;
constexpr size_t kMinInput = 2 * kJpegMcuReserve;
constexpr IpResult kMalformed = IP_INPUT_ERROR | IP_FATAL_ERROR;

class JpegDecode {
 public:
  explicit JpegDecode(bool to_rgb) : to_rgb_(to_rgb) {}

  bool IsValid() const { return check_ == kCheckValue; }
  void Invalidate() { check_ = 0; }

  void SetInput(const ImageTraits& traits) { in_traits_ = traits; }
  void SetParams(const int64_t* params) { keep_sampling_ = params[0] != 0; }
  IpResult ReadHeader(size_t available, const uint8_t* input, size_t* used);
  bool ready() const { return ready_; }
  const ImageTraits& in_traits() const { return in_traits_; }
  const ImageTraits& out_traits() const { return out_traits_; }

  IpResult Convert(size_t available, const uint8_t* input, size_t* used, size_t space,
                   uint8_t* output, size_t* produced);

  uint64_t in_position = 0;
  uint64_t out_position = 0;

 private:
  IpResult Advance(size_t available, const uint8_t* input, size_t* used);
  IpResult DeliverRow(size_t space, uint8_t* output, size_t* produced);

  uint32_t check_ = kCheckValue;
  ImageTraits in_traits_{};
  ImageTraits out_traits_{};
  const bool to_rgb_;
  bool keep_sampling_ = false;
  bool ready_ = false;   // the header was read
  bool failed_ = false;  // the stream is malformed: every answer says so
  JpegHeaderReader reader_;
  JpegScan scan_;
  JpegRows rows_;
  int next_row_ = 0;         // of the MCU row that is ready
  size_t starved_with_ = 0;  // bytes that did not suffice the last time, 0: they did
};

IpResult JpegDecode::ReadHeader(size_t available, const uint8_t* input, size_t* used) {
  const JpegParse parse = input ? reader_.Read(input, available, used) : JpegParse::kMalformed;
  if (parse == JpegParse::kIncomplete && *used > 0) return IP_NEED_INPUT;
  failed_ = parse != JpegParse::kDone;
  if (failed_) return kMalformed;
  const JpegHeader& header = reader_.header();
  if (to_rgb_ && header.components > 3) return IP_FATAL_ERROR;
  in_traits_.pixelsPerRow = header.width;
  in_traits_.componentsPerPixel = header.components;
  in_traits_.bitsPerPixel = 8 * header.components;
  in_traits_.rowCount = header.height > 0 ? header.height : -1;
  if (header.x_dpi > 0 && header.y_dpi > 0) {
    in_traits_.xDpi = header.x_dpi;
    in_traits_.yDpi = header.y_dpi;
  }
  out_traits_ = in_traits_;
  if (!scan_.Begin(header) || !rows_.Init(header, to_rgb_)) return IP_FATAL_ERROR;
  ready_ = true;
  return IP_FINISHED | IP_NEED_INPUT;
}

IpResult JpegDecode::Convert(size_t available, const uint8_t* input, size_t* used, size_t space,
                             uint8_t* output, size_t* produced) {
  if (failed_) return kMalformed;
  IpResult result = 0;
  if (scan_.RowsReady() == 0) {
    if (input) {
      result = Advance(available, input, used);
      if (*used > 0) result |= IP_ROW_IN;
    } else {
      scan_.EndInput();
    }
  }
  if (scan_.RowsReady() > 0) return result | DeliverRow(space, output, produced);
  if (!input) {
    return scan_.image_ended() ? IP_FINISHED : static_cast<IpResult>(IP_FINISHED | IP_INPUT_ERROR);
  }
  return result;
}

// Decodes until rows are ready or the input does not suffice.
IpResult JpegDecode::Advance(size_t available, const uint8_t* input, size_t* used) {
  // Nothing less than the least is ever handed over but at the end of the input; and who comes
  // again with what did not suffice has no more, or no room for more.
  const bool complete = available < kMinInput || available <= starved_with_;
  JpegInput in{input, available, complete};
  const uint64_t before = scan_.mcus_decoded();
  JpegStep step = scan_.Advance(in);
  while (step == JpegStep::kRow && scan_.RowsReady() == 0) {  // the image ended before it
    scan_.RowDone();
    step = scan_.Advance(in);
  }
  *used = in.used;
  const bool moved = in.used > 0 || scan_.mcus_decoded() != before;
  starved_with_ = step == JpegStep::kNeedInput && !moved ? available : 0;
  switch (step) {
    case JpegStep::kRow:
      rows_.BeginStrips(scan_.strips());
      next_row_ = 0;
      return 0;
    case JpegStep::kNeedInput:
      return IP_NEED_INPUT;
    case JpegStep::kImageEnd:
      return IP_NEED_INPUT | IP_PAGE_BREAK;
    case JpegStep::kTruncated:
      return IP_NEED_INPUT | IP_INPUT_ERROR;
    case JpegStep::kMalformed:
      break;
  }
  failed_ = true;
  return kMalformed;
}

IpResult JpegDecode::DeliverRow(size_t space, uint8_t* output, size_t* produced) {
  const size_t bytes = RowBytes(out_traits_);
  if (!output || space < bytes) return IP_FATAL_ERROR;
  if (keep_sampling_) {
    *produced = rows_.WriteSampled(next_row_, output);
  } else {
    rows_.Write(next_row_, output);
    *produced = bytes;
  }
  ++next_row_;
  if (next_row_ < scan_.RowsReady()) return IP_ROW_IN | IP_ROW_OUT;
  scan_.RowDone();
  return IP_ROW_IN | IP_ROW_OUT | IP_NEED_INPUT;
}

IpResult Answer(bool good) {
  return good ? IP_FINISHED : IP_FATAL_ERROR;
}

JpegDecode* Checked(void* instance) {
  JpegDecode* decode = static_cast<JpegDecode*>(instance);
  return decode && decode->IsValid() ? decode : nullptr;
}

template <bool kToRgb>
IpResult Open(void** instance) {
  if (!instance) return IP_FATAL_ERROR;
  *instance = new (std::nothrow) JpegDecode(kToRgb);
  return Answer(*instance != nullptr);
}

IpResult SetInputTraits(void* instance, const ImageTraits* traits) {
  JpegDecode* decode = Checked(instance);
  if (!decode || !traits) return IP_FATAL_ERROR;
  decode->SetInput(*traits);
  return IP_FINISHED;
}

IpResult SetParams(void* instance, const int64_t* params) {
  JpegDecode* decode = Checked(instance);
  if (!decode || !params) return IP_FATAL_ERROR;
  decode->SetParams(params);
  return IP_FINISHED;
}

IpResult GetHeaderSize(void* instance, size_t* bytes) {
  if (!Checked(instance) || !bytes) return IP_FATAL_ERROR;
  *bytes = kHeaderBytes;
  return IP_FINISHED;
}

IpResult GetActualTraits(void* instance, size_t available, const uint8_t* input, size_t* used,
                         uint64_t* next_position, ImageTraits* in_traits, ImageTraits* out_traits) {
  JpegDecode* decode = Checked(instance);
  if (!decode || !used || !next_position || !in_traits || !out_traits) return IP_FATAL_ERROR;
  if (decode->ready()) return IP_FATAL_ERROR;
  *used = 0;
  const IpResult result = decode->ReadHeader(available, input, used);
  decode->in_position += *used;
  *next_position = decode->in_position;
  *in_traits = decode->in_traits();
  *out_traits = decode->out_traits();
  return result;
}

IpResult GetBufferSizes(void* instance, size_t* min_input, size_t* min_output) {
  JpegDecode* decode = Checked(instance);
  if (!decode || !min_input || !min_output || !decode->ready()) return IP_FATAL_ERROR;
  *min_input = kMinInput;
  *min_output = RowBytes(decode->out_traits());
  return IP_FINISHED;
}

IpResult Convert(void* instance, size_t available, const uint8_t* input, size_t* used,
                 uint64_t* next_position, size_t space, uint8_t* output, size_t* produced,
                 uint64_t* output_position) {
  JpegDecode* decode = Checked(instance);
  if (!decode || !used || !next_position || !produced || !output_position) return IP_FATAL_ERROR;
  *used = *produced = 0;
  if (!decode->ready()) return IP_FATAL_ERROR;
  *output_position = decode->out_position;
  const IpResult result = decode->Convert(available, input, used, space, output, produced);
  decode->in_position += *used;
  decode->out_position += *produced;
  *next_position = decode->in_position;
  return result;
}

IpResult NewPage(void* instance) {
  return Answer(Checked(instance) != nullptr);
}

IpResult Reserved(void*) {
  return IP_FATAL_ERROR;
}

IpResult Close(void* instance) {
  JpegDecode* decode = Checked(instance);
  if (!decode) return IP_FATAL_ERROR;
  decode->Invalidate();
  delete decode;
  return IP_FINISHED;
}

constexpr XformOps Table(IpResult (*open)(void** instance)) {
  return {open,           SetInputTraits, SetParams, GetHeaderSize, GetActualTraits,
          GetBufferSizes, Convert,        NewPage,   Reserved,      Close};
}

}  // namespace

const XformOps kJpegDecodeOps = Table(Open<false>);
const XformOps kJpegToRgbOps = Table(Open<true>);

}  // namespace scantk
