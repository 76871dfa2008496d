// JPEG streams for the tests, made and read back by the established library.
#ifndef SCANTK_TESTS_IMAGING_JPEG_SAMPLES_H_
#define SCANTK_TESTS_IMAGING_JPEG_SAMPLES_H_

#include <string>

#include "tests/imaging/pipeline_harness.h"

namespace scantk::testing {

struct Factors {
  int h, v;
};

enum class Content { kSmooth, kNoise, kExtreme };

struct JpegRecipe {
  int width = 40;
  int height = 30;
  std::vector<Factors> factors = {{1, 1}};  // one per component
  int quality = 75;
  int restart = 0;  // MCUs
  Content content = Content::kSmooth;
  bool own_tables = false;  // Huffman tables made for this picture

  std::string Name() const;
};

// 4:2:0, restart markers, a picture of 50x41 in 4x3 MCUs.
inline const JpegRecipe kUsual{50, 41, {{2, 2}, {1, 1}, {1, 1}}, 75, 2};

inline constexpr IpResult kMalformed = IP_INPUT_ERROR | IP_FATAL_ERROR;

// Input by pieces of this size.
inline Chunks By(size_t piece) {
  return {{piece}, {5000}};
}

Bytes EncodeJpeg(const JpegRecipe& recipe);

// What the library makes of a stream: the planes of the components, as far as the picture reaches,
// by the accurate transform; and interleaved rows of full resolution, each sample repeated.
std::vector<Bytes> PlanesByLibrary(const Bytes& stream);
Bytes DecodeByLibrary(const Bytes& stream);

// Our decoder alone in a pipeline.
inline Outcome DecodeJpeg(const Bytes& stream, const Chunks& chunks = {},
                          int64_t keep_sampling = 0) {
  Harness harness({BuiltIn(XFORM_JPEG_DECODE, {keep_sampling})}, Traits(1, 8), false);
  harness.Feed(stream, chunks);
  harness.Drain(chunks);
  return harness.outcome();
}

// A stream taken apart, for tests that put it together differently.
struct JpegParts {
  struct Segment {
    uint8_t marker;
    Bytes body;
  };
  std::vector<Segment> head;  // from behind SOI to SOS
  Bytes scan;                 // coded data with its restart markers
  Bytes tail = {0xFF, 0xD9};

  explicit JpegParts(const Bytes& stream);
  Bytes Join() const;
  Bytes& Body(uint8_t marker);  // of the first such segment
};

Bytes JpegSegmentBytes(uint8_t marker, const Bytes& body);

}  // namespace scantk::testing

#endif  // SCANTK_TESTS_IMAGING_JPEG_SAMPLES_H_
