// Pictures that every build decodes: what an established library makes of them, as checksums.
#ifndef SCANTK_TESTS_IMAGING_JPEG_PICTURES_H_
#define SCANTK_TESTS_IMAGING_JPEG_PICTURES_H_

#include <fstream>
#include <iterator>
#include <string>

#include "tests/imaging/pipeline_harness.h"

namespace scantk::testing {

inline Bytes ReadBytes(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), {}};
}

struct JpegPicture {
  const char* name;  // in the folder pictures
  uint32_t sum;      // of its samples, interleaved

  Bytes Stream() const { return ReadBytes(SCANTK_PICTURES "/" + std::string(name) + ".jpg"); }
};

inline constexpr JpegPicture kJpegPictures[] = {{"gray", 0xE7FBA6DD},
                                                {"420_restarts", 0x147D9309},
                                                {"422", 0xB4C14073},
                                                {"440", 0x1EC7C6D8},
                                                {"444_own_tables", 0x3C102C19},
                                                {"ratio_3_2", 0x53708CD3},
                                                {"four_components", 0xEAF70BB9},
                                                {"extremes", 0x88530586},
                                                {"forms/usual", 0xDF6105CE}};

inline uint32_t Sum(const Bytes& bytes) {
  uint32_t sum = 2166136261;
  for (const uint8_t byte : bytes) sum = (sum ^ byte) * 16777619;
  return sum;
}

}  // namespace scantk::testing

#endif  // SCANTK_TESTS_IMAGING_JPEG_PICTURES_H_
