// JPEG streams for the tests, made and read back by the established library.
#ifndef SCANTK_TESTS_IMAGING_JPEG_SAMPLES_H_
#define SCANTK_TESTS_IMAGING_JPEG_SAMPLES_H_

#include <string>

#include "tests/imaging/pipeline_harness.h"

namespace scantk::testing {

enum class Content { kSmooth, kNoise, kExtreme };

struct JpegRecipe {
  int width = 40, height = 30;
  std::string factors = "11";     // a word per component: horizontal, vertical
  int quality = 75, restart = 0;  // MCUs
  Content content = Content::kSmooth;
  bool own_tables = false;  // Huffman tables made for this picture
};

// 4:2:0, restart markers, a picture of 50x41 in 4x3 MCUs.
inline const JpegRecipe kUsual{50, 41, "22 11 11", 75, 2};

// Input by pieces of this size.
inline Chunks By(size_t piece) {
  return {{piece}, {5000}};
}

Bytes EncodeJpeg(const JpegRecipe& recipe);

// What the library makes of a stream by its accurate transform: interleaved rows of full
// resolution, each sample repeated.
Bytes DecodeByLibrary(const Bytes& stream);

// Where the first marker of this kind stands in a stream.
size_t Find(const Bytes& stream, uint8_t marker);

}  // namespace scantk::testing

#endif  // SCANTK_TESTS_IMAGING_JPEG_SAMPLES_H_
