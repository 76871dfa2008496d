// Entropy-coded bits to samples, MCU by MCU.
#ifndef SCANTK_IMAGING_JPEG_ENTROPY_H_
#define SCANTK_IMAGING_JPEG_ENTROPY_H_

#include <cstdint>
#include <memory>

#include "imaging/jpeg_huffman.h"
#include "imaging/jpeg_idct.h"

namespace scantk {

// The samples of one MCU row of one component.
struct JpegStrip {
  uint8_t* samples;
  ptrdiff_t stride;
};

// Where to read and how far to go.
struct JpegRun {
  const uint8_t* bytes;  // readable for JpegScanBytes::kOverrun bytes behind `end_bit`
  uint64_t bit;          // the next bit; moves behind the last MCU that was decoded
  uint64_t end_bit;      // bits that are there
  uint64_t stop_bit;     // no MCU is begun at or behind it
  int mcu;               // index in its row of the next MCU; moves too
  int mcu_end;
};

enum class JpegRunEnd {
  kStopped,    // at `mcu_end` or `stop_bit`
  kOutOfBits,  // the MCU at `bit` does not end within `end_bit`
  kBadCode,    // it has a code that means nothing
};

class JpegMcuDecoder {
 public:
  // Builds the tables for a header that was parsed. False without memory. Chooses the path by what
  // the processor can do at this time.
  bool Init(const JpegHeader& header);

  // Where the MCUs' blocks go: one strip per component, 8 * v rows each.
  void SetStrips(const JpegStrip* strips);

  // Forgets the DC predictions: an interval begins.
  void BeginInterval();

  // On return every MCU before run.mcu has its samples in the strips.
  JpegRunEnd Decode(JpegRun& run) { return decode_(*state_, run); }

  struct Block {
    const JpegHuffmanTable* dc;
    const JpegHuffmanTable* ac;
    const uint16_t* factors;  // dequantisation by zigzag index, 128 of them
    uint8_t* samples;         // of the row's first MCU
    ptrdiff_t stride;
    ptrdiff_t step;  // from MCU to MCU
    int component;
  };

  struct State {
    Block blocks[kJpegMaxBlocksPerMcu];
    int block_count = 0;
    int32_t dc[kJpegMaxComponents] = {};  // predictions
    uint16_t factors[kJpegTables][128] = {};
    JpegHuffmanTable dc_tables[kJpegMaxComponents];  // one for each component
    JpegHuffmanTable ac_tables[kJpegTables];
    JpegTransformKind transform;
    JpegBlockQueue queue;
  };

 private:
  std::unique_ptr<State> state_;
  JpegHeader header_;
  JpegRunEnd (*decode_)(State&, JpegRun&) = nullptr;
};

}  // namespace scantk

#endif  // SCANTK_IMAGING_JPEG_ENTROPY_H_
