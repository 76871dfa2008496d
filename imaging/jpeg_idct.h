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

// Zigzag index to natural order.
inline constexpr uint8_t kJpegNaturalOrder[64] = {
    0,  1,  8,  16, 9,  2,  3,  10, 17, 24, 32, 25, 18, 11, 4,  5,  12, 19, 26, 33, 40, 48,
    41, 34, 27, 20, 13, 6,  7,  14, 21, 28, 35, 42, 49, 56, 57, 50, 43, 36, 29, 22, 15, 23,
    30, 37, 44, 51, 58, 59, 52, 45, 38, 31, 39, 46, 53, 60, 61, 54, 47, 55, 62, 63};

// An order, from the place in the block of each row and column.
struct JpegOrder {
  template <class Place>
  constexpr explicit JpegOrder(Place place) : places() {
    for (int i = 0; i < 128; ++i) {
      places[i] = i < 64 ? place(kJpegNaturalOrder[i] / 8, kJpegNaturalOrder[i] % 8)
                         : uint8_t{JpegBlockQueue::kScratch};
    }
  }
  uint8_t places[128];
};

// The plain one wants natural order.
void RunPlainJpegTransform(JpegBlockQueue& queue);
inline constexpr JpegOrder kPlainJpegOrder([](int row, int column) {
  return static_cast<uint8_t>(8 * row + column);
});
inline constexpr JpegTransformKind kPlainJpegTransform = {RunPlainJpegTransform,
                                                          kPlainJpegOrder.places, 0x24};

// A block of nothing but the DC `dc`, dequantised.
inline void FillJpegBlock(const JpegTarget& target, int16_t dc) {
  const int sample = ((dc * 4 + 16) >> 5) + 128;
  const uint64_t clamped = sample < 0 ? 0 : sample > 255 ? 255 : static_cast<uint64_t>(sample);
  const uint64_t row = clamped * 0x0101010101010101;
  for (int y = 0; y < 8; ++y) std::memcpy(target.samples + y * target.stride, &row, 8);
}

}  // namespace scantk

#endif  // SCANTK_IMAGING_JPEG_IDCT_H_
