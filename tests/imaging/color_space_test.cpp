#include <gtest/gtest.h>

#include <cmath>

#include "imaging/cpu.h"
#include "imaging/luma_chroma.h"
#include "tests/imaging/pipeline_harness.h"

namespace scantk::testing {
namespace {

Outcome Convert(std::initializer_list<int64_t> params, const Bytes& input, int bits = 24) {
  const int pixels = static_cast<int>(input.size()) * 8 / bits;
  return RunWhole({BuiltIn(XFORM_COLOR_SPACE, params)}, Traits(pixels, bits), input);
}

// The definition, in single precision; volatile keeps each rounding.
struct Model {
  static int Rounded(float factor, int d) {
    volatile float product = factor * static_cast<float>(d);
    volatile float sum = product + 0.5f;
    return static_cast<int>(std::floor(sum));
  }
  static int Truncated(float factor, int d) {
    volatile float product = factor * static_cast<float>(d);
    volatile float sixteenfold = product * 16.0f;
    return static_cast<int>(sixteenfold);
  }
  static void Pixel(const uint8_t* in, uint8_t* out) {
    const int y = in[0], cb = in[1] - 128, cr = in[2] - 128;
    const int green = (Truncated(-0.717202f, cr) + Truncated(-0.344228f, cb) + 8) >> 4;
    const int values[] = {y + Rounded(1.39946f, cr), y + green, y + Rounded(1.77243f, cb)};
    for (int c = 0; c < 3; ++c) out[c] = static_cast<uint8_t>(std::clamp(values[c], 0, 255));
  }
};

TEST(ColorSpace, KnownPixels) {
  EXPECT_EQ(Convert({2}, {128, 128, 128, 255, 128, 255}).output,
            (Bytes{128, 128, 128, 255, 164, 255}));
  EXPECT_EQ(Convert({100}, {1, 2, 3, 4, 5, 6}).output, (Bytes{3, 2, 1, 6, 5, 4}));
}

// Every pair of chroma values, with lumas that clamp on either side, on both paths.
TEST(ColorSpace, LumaChromaToRgbIsExactEverywhere) {
  Bytes input, expected;
  for (const int y : {0, 1, 16, 127, 128, 200, 254, 255}) {
    for (int cb = 0; cb < 256; ++cb) {
      for (int cr = 0; cr < 256; ++cr) {
        const uint8_t in[] = {static_cast<uint8_t>(y), static_cast<uint8_t>(cb),
                              static_cast<uint8_t>(cr)};
        uint8_t out[3];
        Model::Pixel(in, out);
        input.insert(input.end(), in, in + 3);
        expected.insert(expected.end(), out, out + 3);
      }
    }
  }
  for (const bool plain : {true, false}) {
    ForcePlainPath(plain);
    Bytes output(input.size());
    ChooseLumaChromaToRgb()(input.data(), output.data(), input.size() / 3);
    EXPECT_EQ(output, expected) << (plain ? "plain" : "vectorised");
  }
}

TEST(ColorSpace, PathsAgreeOnEveryLength) {
  for (size_t pixels = 1; pixels < 140; ++pixels) {
    const Bytes input = RandomBytes(3 * pixels, static_cast<uint32_t>(pixels));
    Bytes outputs[2] = {Bytes(3 * pixels), Bytes(3 * pixels)};
    for (const bool plain : {true, false}) {
      ForcePlainPath(plain);
      ChooseLumaChromaToRgb()(input.data(), outputs[plain].data(), pixels);
    }
    ASSERT_EQ(outputs[0], outputs[1]) << pixels;
  }
}

TEST(ColorSpace, OtherKindsComeBackToWhereTheyStarted) {
  const struct {
    int64_t there, back, table;
    int tolerance;
  } pairs[] = {{0, 1, 0, 2}, {0, 1, 1, 2}, {3, 2, 0, 8}, {5, 4, 0, 12}};
  Bytes colors;
  for (int r = 0; r < 256; r += 15) {
    for (int g = 0; g < 256; g += 17) {
      for (const int b : {0, 40, 128, 200, 255}) {
        for (const int c : {r, g, b}) colors.push_back(static_cast<uint8_t>(c));
      }
    }
  }
  for (const auto& pair : pairs) {
    const Bytes there = Convert({pair.there, pair.table}, colors).output;
    const Bytes back = Convert({pair.back, pair.table}, there).output;
    ASSERT_EQ(back.size(), colors.size());
    for (size_t i = 0; i < colors.size(); ++i) {
      ASSERT_NEAR(back[i], colors[i], pair.tolerance) << "kind " << pair.there << ", byte " << i;
    }
  }
}

TEST(ColorSpace, OtherKindsHaveTheirOwnShape) {
  const Bytes white_gray_red = {255, 255, 255, 100, 100, 100, 255, 0, 0};
  EXPECT_EQ(Convert({0, 0}, white_gray_red).output,
            (Bytes{255, 128, 128, 100, 128, 128, 76, 85, 255}));
  EXPECT_EQ(Convert({5}, white_gray_red).output, (Bytes{255, 0, 0, 100, 0, 0, 128, 0, 255}));
  const Bytes luma = Convert({3}, white_gray_red).output;
  EXPECT_EQ(luma[0], 255);
  EXPECT_EQ(luma[6], 77) << "0.30316 of 255";
  EXPECT_EQ(Convert({3}, {100, 104, 100}).output[1], 128) << "nearly gray is gray";
}

TEST(ColorSpace, FewerBitsPassAndUnknownKindsFailAtTheFirstRow) {
  const Bytes gray = RandomBytes(300, 9);
  EXPECT_EQ(Convert({77}, gray, 8).output, gray);
  EXPECT_EQ(Convert({77}, gray).result, IP_FATAL_ERROR);
  EXPECT_EQ(Convert({77}, {}, 24).result, IP_FATAL_ERROR) << "no pixel in a row";
  EXPECT_EQ(Convert({0, 2}, gray).result, IP_FATAL_ERROR) << "no such table";
  EXPECT_EQ(Convert({2}, gray, 48).result, IP_FATAL_ERROR);
  EXPECT_EQ(Convert({2}, Bytes(2)).result, IP_FATAL_ERROR);
}

}  // namespace
}  // namespace scantk::testing
