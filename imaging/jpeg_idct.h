// From coefficients to samples: the accurate integer transform, for blocks that were collected.
#ifndef SCANTK_IMAGING_JPEG_IDCT_H_
#define SCANTK_IMAGING_JPEG_IDCT_H_

#include <cstddef>
#include <cstdint>
#include <cstring>

namespace scantk {

// Where the 8x8 samples of a block go: `stride` bytes from row to row.
struct JpegTarget {
  uint8_t* samples;
  ptrdiff_t stride;
};

// Dequantised blocks that wait for the transform, so that it can take them by two, and small ones
// with small ones. All coefficients of the free places are zero.
struct JpegBlockQueue {
  static constexpr int kCapacity = 32;
  static constexpr int kScratch = 64;      // index for what is stored behind a block
  static constexpr int kBlockStride = 80;  // coefficients; keeps blocks on 32-byte boundaries

  alignas(32) int16_t coefficients[kCapacity + 1][kBlockStride] = {};
  JpegTarget targets[kCapacity];
  uint8_t places[2][kCapacity + 1];  // of the large blocks and of the small ones
  int counts[2] = {};
  int used = 0;

  // The place for the next block; also there, for nothing, when the queue is full.
  int16_t* Next() { return coefficients[used]; }

  // Takes in the block at Next(). `small`: all is zero but its upper left 4x4.
  void Add(const JpegTarget& target, bool small) {
    targets[used] = target;
    places[small][counts[small]++] = static_cast<uint8_t>(used++);
  }
};

// Makes the samples of all blocks in the queue and empties it.
using JpegTransform = void (*)(JpegBlockQueue& queue);

// A transform and the order in which it wants coefficients: `order` leads from a zigzag index to
// the place in the block, from indices 64 to 127 to kScratch.
struct JpegTransformKind {
  JpegTransform run;
  const uint8_t* order;
  uint8_t outside;  // these bits are zero in all places of the upper left 4x4 and in kScratch only
};

// The plain one wants natural order.
JpegTransformKind PlainJpegTransform();

// Null members where the processor or the build has none.
JpegTransformKind Avx2JpegTransform();

// Zigzag index to natural order.
extern const uint8_t kJpegNaturalOrder[64];

// A block of nothing but the DC `dc`, dequantised.
inline void FillJpegBlock(const JpegTarget& target, int16_t dc) {
  const int sample = ((dc * 4 + 16) >> 5) + 128;
  const uint64_t clamped = sample < 0 ? 0 : sample > 255 ? 255 : static_cast<uint64_t>(sample);
  const uint64_t row = clamped * 0x0101010101010101;
  for (int y = 0; y < 8; ++y) std::memcpy(target.samples + y * target.stride, &row, 8);
}

}  // namespace scantk

#endif  // SCANTK_IMAGING_JPEG_IDCT_H_
