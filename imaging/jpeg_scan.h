// The way through the coded data behind the header: MCU rows, restart markers, and what follows.
#ifndef SCANTK_IMAGING_JPEG_SCAN_H_
#define SCANTK_IMAGING_JPEG_SCAN_H_

#include "imaging/byte_buffer.h"
#include "imaging/jpeg_entropy.h"
#include "imaging/jpeg_scan_bytes.h"

namespace scantk {

// Input bytes that one MCU is reckoned to need: while as many are left, decoding goes on.
inline constexpr size_t kJpegMcuReserve = 1824;

// The input of one call.
struct JpegInput {
  const uint8_t* bytes;
  size_t available;
  bool complete;  // more will not come, or does not fit where it is gathered
  size_t used = 0;

  const uint8_t* rest() const { return bytes + used; }
  size_t left() const { return available - used; }
};

enum class JpegStep {
  kRow,        // an MCU row is ready, or the image turned out to end before it
  kNeedInput,  // nothing more to be done with this input
  kImageEnd,   // EOI was read, this once
  kTruncated,  // the complete input ends too early; the rest of it was taken
  kMalformed,
};

class JpegScan {
 public:
  // False without memory.
  bool Begin(const JpegHeader& header);

  // Decodes until a step is done. At least one MCU is decoded if there is one.
  JpegStep Advance(JpegInput& input);

  // A decoded MCU row for which it was not yet known whether the image ends in it is ready after
  // all: there is no more input.
  void EndInput();

  // Rows of the MCU row that is ready and belong to the image; 0 when none is ready.
  int RowsReady() const;

  // The MCU row that is ready may be overwritten.
  void RowDone();

  const JpegStrip* strips() const { return strips_; }
  bool image_ended() const { return state_ == State::kEnded; }
  // Counts up with every MCU, to tell whether a call achieved anything.
  uint64_t mcus_decoded() const { return mcus_decoded_; }

 private:
  //  kMcus --> kRowEnd --> kRowReady --+--> kTrailer --> kEnded
  //    ^  |                            |        ^
  //    |  +---- a marker instead ------|--------+
  //    +-------------------------------+        (all but kRowReady, input too short) --> kCut
  enum class State {
    kMcus,      // in an MCU row
    kRowEnd,    // behind one: does a DNL follow?
    kRowReady,  // its rows are wanted
    kTrailer,   // the image is complete: to EOI, whatever stands before
    kEnded,     // whatever comes is ignored
    kCut,       // the input ended before: so is whatever comes now
  };
  enum class Found { kMarker, kData, kUnknown };

  bool AllocateStrips();
  JpegStep DecodeRow(JpegInput& input);
  JpegStep DecodeMcus(JpegInput& input);
  JpegStep Restart(JpegInput& input);
  JpegStep EndRow(JpegInput& input);
  JpegStep EndRowBeforeMarker(JpegInput& input);
  bool EndsBeforeRow(const JpegInput& input) const;
  JpegStep EndScan();
  JpegStep ReadTrailer(JpegInput& input);
  JpegStep Starved(JpegInput& input);
  Found LookForMarker(JpegInput& input);
  uint64_t StopBit(const JpegInput& input) const;
  bool ImageComplete() const { return height_ > 0 && rows_decoded_ >= height_; }

  JpegHeader header_;
  JpegMcuDecoder decoder_;
  JpegScanBytes window_;
  ByteBuffer samples_;
  JpegStrip strips_[kJpegMaxComponents] = {};

  State state_ = State::kMcus;
  int mcus_per_row_ = 0;
  int rows_per_mcu_ = 0;
  int mcu_ = 0;              // in the row
  int mcus_to_restart_ = 0;  // when there is an interval
  int next_restart_ = 0;     // 0 to 7
  int height_ = 0;           // 0: not known
  int rows_decoded_ = 0;     // of whole MCU rows
  size_t skip_ = 0;          // bytes of a segment in the trailer
  uint64_t mcus_decoded_ = 0;
};

}  // namespace scantk

#endif  // SCANTK_IMAGING_JPEG_SCAN_H_
