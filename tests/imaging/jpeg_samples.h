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

inline constexpr IpResult kMalformed = IP_INPUT_ERROR | IP_FATAL_ERROR;

// Input by pieces of this size.
inline Chunks By(size_t piece) {
  return {{piece}, {5000}};
}

Bytes EncodeJpeg(const JpegRecipe& recipe);

// What the library makes of a stream by its accurate transform: interleaved rows of full
// resolution, each sample repeated.
Bytes DecodeByLibrary(const Bytes& stream);

// A stream taken apart, for tests that put it together differently.
struct JpegParts {
  struct Segment {
    uint8_t marker;
    Bytes body;
    Bytes Whole() const;
  };
  std::vector<Segment> head;  // from behind SOI to SOS
  Bytes scan;                 // coded data with its restart markers
  Bytes tail = {0xFF, 0xD9};

  explicit JpegParts(const Bytes& stream);
  Bytes Join() const;
  Bytes& Body(uint8_t marker);  // of the first such segment
};

}  // namespace scantk::testing

#endif  // SCANTK_TESTS_IMAGING_JPEG_SAMPLES_H_
