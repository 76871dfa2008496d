#include <gtest/gtest.h>

#include "tests/imaging/pipeline_harness.h"

namespace scantk::testing {
namespace {

Bytes LookUp(std::initializer_list<int64_t> params, int pixels, int bits, const Bytes& input) {
  return RunWhole({BuiltIn(XFORM_TABLE, params)}, Traits(pixels, bits), input).output;
}

TEST(Table, PassesRowsOfEveryPixelSize) {
  for (const int bits : {1, 8, 16, 24, 48}) {
    const Bytes input = RandomBytes((static_cast<size_t>(101 * bits) + 7) / 8 * 4, 1);
    EXPECT_EQ(LookUp({1}, 101, bits, input), input) << bits;
  }
}

TEST(Table, Curves) {
  const int64_t kInvert = 255, kTwo = 2 << 16;
  EXPECT_EQ(LookUp({0, 0, 0, 0}, 5, 8, {0, 1, 127, 254, 255}), (Bytes{0, 1, 127, 254, 255}));
  EXPECT_EQ(LookUp({0, kInvert, -1}, 4, 8, {0, 1, 254, 255}), (Bytes{255, 254, 1, 0}));
  EXPECT_EQ(LookUp({0, 50, 150}, 5, 8, {49, 50, 100, 150, 200}), (Bytes{0, 0, 128, 255, 255}));
  EXPECT_EQ(LookUp({0, 0, 255, kTwo}, 3, 8, {0, 64, 255}), (Bytes{0, 128, 255}));
  EXPECT_EQ(LookUp({2, 0, 255, 255, -1, 100, 200}, 2, 24, {10, 10, 10, 200, 200, 200}),
            (Bytes{10, 245, 0, 200, 55, 255}));
}

TEST(Table, WideSamplesFollowTheLineBetweenEntries) {
  Bytes ramp;
  for (unsigned v = 0; v < 65536; ++v) {
    ramp.push_back(static_cast<uint8_t>(v));
    ramp.push_back(static_cast<uint8_t>(v >> 8));
  }
  EXPECT_EQ(LookUp({0, 0, 65535}, 512, 16, ramp), ramp);
  const Bytes inverted = LookUp({0, 65535, -1}, 512, 16, ramp);
  ASSERT_EQ(inverted.size(), ramp.size());
  for (size_t v = 0; v < 65536; ++v) {
    const int value = inverted[2 * v] | inverted[2 * v + 1] << 8;
    ASSERT_NEAR(value, 65535 - static_cast<int>(v), 1) << v;
  }
}

TEST(Table, RefusesKindsAndPixelSizesWithoutATable) {
  const auto result = [](int64_t kind, int bits) {
    return RunWhole({BuiltIn(XFORM_TABLE, {kind})}, Traits(8, bits), Bytes(48)).result;
  };
  EXPECT_EQ(result(5, 8), IP_FATAL_ERROR);
  EXPECT_EQ(result(0, 1), IP_FATAL_ERROR);
  EXPECT_EQ(result(1, 1), IP_FINISHED);
}

}  // namespace
}  // namespace scantk::testing
