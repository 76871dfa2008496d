// The colour conversion's kinds and the lookups of the table transform.
#include <array>

#include "tests/imaging/pipeline_harness.h"

namespace scantk::testing {
namespace {

Outcome Convert(std::initializer_list<int64_t> params, const Bytes& input, int bits = 24) {
  const int pixels = static_cast<int>(input.size()) * 8 / bits;
  return RunWhole({BuiltIn(XFORM_COLOR_SPACE, params)}, Traits(pixels, bits), input);
}

TEST(ColorSpace, KnownPixels) {
  const Bytes white_gray_red = {255, 255, 255, 100, 100, 100, 255, 0, 0};
  EXPECT_EQ(Convert({2}, {128, 128, 128, 255, 128, 255}).output,
            (Bytes{128, 128, 128, 255, 164, 255}));
  EXPECT_EQ(Convert({100}, {1, 2, 3, 4, 5, 6}).output, (Bytes{3, 2, 1, 6, 5, 4}));
  EXPECT_EQ(Convert({0, 0}, white_gray_red).output,
            (Bytes{255, 128, 128, 100, 128, 128, 76, 85, 255}));
  EXPECT_EQ(Convert({5}, white_gray_red).output, (Bytes{255, 0, 0, 100, 0, 0, 128, 0, 255}));
  EXPECT_EQ(Convert({3}, white_gray_red).output[6], 77) << "0.30316 of 255";
  EXPECT_EQ(Convert({3}, {100, 104, 100}).output[1], 128) << "nearly gray is gray";
}

TEST(ColorSpace, OtherKindsComeBackToWhereTheyStarted) {
  // There, back, table, tolerance.
  const std::array<int, 4> pairs[] = {{0, 1, 0, 2}, {0, 1, 1, 2}, {3, 2, 0, 8}, {5, 4, 0, 12}};
  Bytes colors;
  for (int i = 0; i < 18 * 16 * 5; ++i) {
    for (const int c : {i / 80 * 15, i / 5 % 16 * 17, i % 5 * 63}) {
      colors.push_back(static_cast<uint8_t>(c));
    }
  }
  for (const auto& [there, back, table, tolerance] : pairs) {
    const Bytes other = Convert({there, table}, colors).output;
    const Bytes again = Convert({back, table}, other).output;
    ASSERT_EQ(again.size(), colors.size());
    for (size_t i = 0; i < colors.size(); ++i) {
      ASSERT_NEAR(again[i], colors[i], tolerance) << "kind " << there << ", byte " << i;
    }
  }
}

TEST(ColorSpace, FewerBitsPassAndUnknownKindsFailAtTheFirstRow) {
  const Bytes gray = RandomBytes(300, 9);
  EXPECT_EQ(Convert({77}, gray, 8).output, gray);
  EXPECT_EQ(Convert({77}, gray).result, IP_FATAL_ERROR);
  EXPECT_EQ(Convert({77}, {}, 24).result, IP_FATAL_ERROR) << "no pixel in a row";
  EXPECT_EQ(Convert({0, 2}, gray).result, IP_FATAL_ERROR) << "no such table";
  EXPECT_EQ(Convert({2}, gray, 48).result, IP_FATAL_ERROR);
}

Outcome LookUp(std::initializer_list<int64_t> params, int pixels, int bits, const Bytes& input) {
  return RunWhole({BuiltIn(XFORM_TABLE, params)}, Traits(pixels, bits), input);
}

TEST(Table, PassesRowsAndLooksSamplesUp) {
  for (const int bits : {1, 8, 16, 24, 48}) {
    const Bytes input = RandomBytes(static_cast<size_t>(101 * bits + 7) / 8 * 4, 1);
    EXPECT_EQ(LookUp({1}, 101, bits, input).output, input) << bits;
  }
  EXPECT_EQ(LookUp({0, 0, 0, 0}, 6, 8, {0, 1, 127, 254, 255, 9}).output,
            (Bytes{0, 1, 127, 254, 255, 9}));
  EXPECT_EQ(LookUp({0, 255, -1}, 4, 8, {0, 1, 254, 9}).output, (Bytes{255, 254, 1, 246}));
  EXPECT_EQ(LookUp({0, 50, 150}, 4, 8, {49, 50, 100, 150}).output, (Bytes{0, 0, 128, 255}));
  EXPECT_EQ(LookUp({0, 0, 255, 2 << 16}, 3, 8, {0, 64, 255}).output, (Bytes{0, 128, 255}));
  EXPECT_EQ(LookUp({2, 0, 255, 255, -1, 100, 200}, 1, 24, {10, 10, 10}).output,
            (Bytes{10, 245, 0}));
  EXPECT_EQ(LookUp({5}, 8, 8, Bytes(48)).result, IP_FATAL_ERROR) << "no such kind";
  EXPECT_EQ(LookUp({0}, 8, 1, Bytes(48)).result, IP_FATAL_ERROR) << "bits have no table";
}

TEST(Table, WideSamplesFollowTheLineBetweenEntries) {
  Bytes ramp;
  for (unsigned v = 0; v < 65536; ++v)
    Append(ramp, {static_cast<uint8_t>(v), static_cast<uint8_t>(v >> 8)});
  EXPECT_TRUE(LookUp({0, 0, 65535}, 512, 16, ramp).output == ramp);
  EXPECT_EQ(LookUp({0, 0, 65535, 2 << 16}, 1, 16, {16, 0}).output, (Bytes{0, 4})) << "an entry";
  const Bytes inverted = LookUp({0, 65535, -1}, 512, 16, ramp).output;
  ASSERT_EQ(inverted.size(), ramp.size());
  for (size_t v = 0; v < 65536; ++v) {
    ASSERT_NEAR(inverted[2 * v] | inverted[2 * v + 1] << 8, 65535 - static_cast<int>(v), 1) << v;
  }
}

}  // namespace
}  // namespace scantk::testing
