#include <gtest/gtest.h>

#include <array>
#include <string>

#include "imaging/blend.h"
#include "imaging/cpu.h"
#include "tests/imaging/pipeline_harness.h"

namespace scantk::testing {
namespace {

int64_t Factor(double factor) {
  return static_cast<int64_t>(factor * (1 << 24) + 0.5);
}

Outcome Scale(double x, double y, bool fast, const ImageTraits& traits, const Bytes& input,
              const Chunks& chunks = {}) {
  const XformDescriptor scale = BuiltIn(XFORM_SCALE, {Factor(x), Factor(y), fast});
  return RunWhole({scale}, traits, input, chunks);
}

// The arithmetic of an enlarged image, written down once more as plainly as possible.
class EnlargingModel {
 public:
  EnlargingModel(double x, double y, size_t pixels, size_t components)
      : x_((Factor(x) + 128) >> 8), y_((Factor(y) + 128) >> 8), pixels_(pixels), n_(components) {}

  Bytes Row(const uint8_t* in) const {
    const auto sample = [&](size_t i, size_t c) { return in[std::min(i, pixels_ - 1) * n_ + c]; };
    const int64_t s = 0x80000000LL / x_ * 2 + 1;
    Bytes out;
    size_t i = 0;
    int64_t p = 0;
    for (int64_t j = 0; j < x_ * static_cast<int64_t>(pixels_) >> 16; ++j) {
      const int w = static_cast<int>(p >> 8);
      for (size_t c = 0; c < n_; ++c) {
        out.push_back(static_cast<uint8_t>(((256 - w) * sample(i, c) + w * sample(i + 1, c)) >> 8));
      }
      p += s;
      if (p >= 0x10000) ++i;
      p &= 0xFFFF;
    }
    return out;
  }

  Bytes Image(const Bytes& in) const {
    const int64_t step = 0x80000000LL / y_ * 2 + 1;
    const size_t row_bytes = pixels_ * n_;
    Bytes out, older, newer;
    int64_t a = 0, q = step;
    for (size_t at = 0; at < in.size(); at += row_bytes) {
      newer = Row(in.data() + at);
      if (at == 0) older = newer;
      for (a += y_; a >= 0x10000; a -= 0x10000, q += step) {
        const int64_t w = std::clamp<int64_t>(0x10000 - q, 0, 0x10000);
        const int k = static_cast<int>((w + 4096) >> 13);
        for (size_t i = 0; i < newer.size(); ++i) out.push_back(Blended(older[i], newer[i], k));
      }
      q -= 0x10000;
      older = newer;
    }
    return out;
  }

  static uint8_t Blended(int a, int b, int k) {
    const int values[] = {b,
                          (a >> 3) + b - (b >> 3),
                          (a >> 2) + b - (b >> 2),
                          (a >> 2) + (a >> 3) + (b >> 1) + (b >> 3),
                          (a >> 1) + (b >> 1),
                          (a >> 1) + (a >> 3) + (b >> 2) + (b >> 3),
                          a - (a >> 2) + (b >> 2),
                          a - (a >> 3) + (b >> 3),
                          a};
    return static_cast<uint8_t>(values[k]);
  }

 private:
  int64_t x_, y_;
  size_t pixels_, n_;
};

TEST(Scale, EnlargesExactlyOnBothPaths) {
  std::mt19937 engine(1);
  const double factors[] = {1.0, 1.0001, 1.25, 1.3333333, 1.5, 2.0, 2.0000001, 3.7, 4.0, 7.0};
  for (const double x : factors) {
    for (const double y : factors) {
      if (y <= 1.0) continue;
      const int bits = engine() % 2 ? 24 : 8;
      const int pixels = static_cast<int>(engine() % 700 + 1);
      const size_t rows = engine() % 6 + 1;
      const size_t components = static_cast<size_t>(bits) / 8;
      const Bytes input = RandomBytes(static_cast<size_t>(pixels) * components * rows, engine());
      const EnlargingModel model(x, y, static_cast<size_t>(pixels), components);
      for (const bool plain : {true, false}) {
        ForcePlainPath(plain);
        const Outcome outcome = Scale(x, y, true, Traits(pixels, bits), input);
        ASSERT_EQ(outcome.result, IP_FINISHED);
        ASSERT_EQ(outcome.output, model.Image(input))
            << x << " x " << y << ", " << pixels << " pixels of " << bits << " bits, plain "
            << plain;
      }
    }
  }
}

// Long enough that the rounded steps drift: past the end of wide rows, ahead of the rows below.
TEST(Scale, DriftsExactly) {
  for (const bool plain : {true, false}) {
    ForcePlainPath(plain);
    const Bytes wide = RandomBytes(20000, 2);
    EXPECT_EQ(Scale(7.0, 1.0, true, Traits(20000, 8), wide).output,
              EnlargingModel(7.0, 2.0, 20000, 1).Row(wide.data()));
    const Bytes widest = RandomBytes(70000 * 3, 3);
    EXPECT_EQ(Scale(1.0, 1.0, true, Traits(70000, 24), widest).output,
              EnlargingModel(1.0, 2.0, 70000, 3).Row(widest.data()));
    const Bytes long_one = RandomBytes(40000 * 3, 4);
    EXPECT_EQ(Scale(2.0, 2.0, true, Traits(3, 8), long_one).output,
              EnlargingModel(2.0, 2.0, 3, 1).Image(long_one));
  }
}

TEST(Scale, KnownValues) {
  EXPECT_EQ(Scale(2.0, 1.0, true, Traits(2, 8), {0, 255}).output, (Bytes{0, 127, 255, 255}));
  // The row itself, then half way to the next one.
  EXPECT_EQ(Scale(1.0, 2.0, true, Traits(1, 8), {100, 200}).output, (Bytes{100, 100, 150, 200}));
}

TEST(Blend, PathsAgreeOnAllPairsAndWeights) {
  Bytes a, b;
  for (int i = 0; i < 65536 + 31; ++i) {
    a.push_back(static_cast<uint8_t>(i));
    b.push_back(static_cast<uint8_t>(i >> 8));
  }
  for (int k = 0; k <= 8; ++k) {
    Bytes expected(a.size());
    for (size_t i = 0; i < a.size(); ++i) expected[i] = EnlargingModel::Blended(a[i], b[i], k);
    for (const bool plain : {true, false}) {
      ForcePlainPath(plain);
      Bytes output(a.size());
      ChooseBlend()(a.data(), b.data(), k, output.data(), a.size());
      ASSERT_EQ(output, expected) << k;
    }
  }
}

// Rows and columns come in the number that the factors promise, whatever the kind of row.
TEST(Scale, CountsAndSizes) {
  std::mt19937 engine(5);
  for (int round = 0; round < 400; ++round) {
    const int bits = std::array{1, 8, 24}[engine() % 3];
    const double x = static_cast<double>(engine() % 500 + 20) / 100;
    const double y = static_cast<double>(engine() % 680 + 20) / 100;
    const bool fast = engine() % 2;
    const int pixels = static_cast<int>(engine() % 200 + 50);
    const size_t rows = engine() % 20 + 1;
    const size_t row = (static_cast<size_t>(pixels * bits) + 7) / 8;
    const int64_t out_pixels = ((Factor(x) + 128) >> 8) * pixels >> 16;
    const int64_t out_rows = ((Factor(y) + 128) >> 8) * static_cast<int64_t>(rows) >> 16;
    const Bytes input = RandomBytes(row * rows, engine());
    const Outcome whole = Scale(x, y, fast, Traits(pixels, bits), input);
    ASSERT_EQ(whole.result, IP_FINISHED);
    ASSERT_EQ(whole.output.size(), static_cast<size_t>((out_pixels * bits + 7) / 8 * out_rows))
        << x << " x " << y << ", " << pixels << " x " << rows << ", " << bits << " bits";
    const Chunks chunks{Chunks::Random(2 * row, engine()), Chunks::Random(3 * row, engine())};
    ASSERT_EQ(Scale(x, y, fast, Traits(pixels, bits), input, chunks).output, whole.output);
  }
}

TEST(Scale, ShrinksByDroppingOrByAveraging) {
  const Bytes ramp = {10, 20, 30, 40, 50, 60, 70, 80};
  EXPECT_EQ(Scale(0.5, 1.0, true, Traits(8, 8), ramp).output, (Bytes{10, 30, 50, 70}));
  EXPECT_EQ(Scale(0.5, 1.0, false, Traits(8, 8), ramp).output, (Bytes{15, 35, 55, 75}));
  EXPECT_EQ(Scale(1.0, 0.5, true, Traits(1, 8), ramp).output, (Bytes{20, 40, 60, 80}));
  EXPECT_EQ(Scale(1.0, 0.5, false, Traits(1, 8), ramp).output, (Bytes{15, 35, 55, 75}));
  EXPECT_EQ(Scale(1.0, 1.0, false, Traits(4, 8), ramp).output, ramp);
  const Bytes flat(3 * 97 * 40, 200);
  EXPECT_EQ(Scale(0.37, 0.61, false, Traits(97, 24), flat).output, Bytes(3 * 35 * 24, 200));
}

// Rows as text, a digit per pixel.
std::string Bits(const Bytes& row) {
  std::string text;
  for (const uint8_t byte : row) {
    for (int bit = 7; bit >= 0; --bit) text += byte >> bit & 1 ? '1' : '0';
  }
  return text;
}

TEST(Scale, BilevelBytesAreStretched) {
  const struct {
    double factor;
    Bytes row;
    std::string bits;
  } cases[] = {
      {1.0, {0xA5}, "10100101"},
      {2.0, {0xA5}, "1100110000110011"},
      {1.5, {0xA5, 0xFF}, "100100011011111111111111"},  // pixels 2, 4, 6, 8 of each byte twice
      {1.25, {0xA5, 0x00, 0, 0}, "1010001011" + std::string(30, '0')},      // 4 and 8
      {1.75, {0xA5, 0x00, 0, 0}, "10011000110011" + std::string(42, '0')},  // all but 1 and 5
      {3.0,
       {0xA5},
       "111000111000"
       "000111000111"},
      {4.0, {0xA5}, "11110000111100000000111100001111"},
  };
  for (const auto& test : cases) {
    const int pixels = static_cast<int>(test.row.size()) * 8;
    const Outcome outcome = Scale(test.factor, 1.0, true, Traits(pixels, 1), test.row);
    EXPECT_EQ(Bits(outcome.output), test.bits) << test.factor;
  }
  // Seven bits carry over to the next byte of four; the first of the row takes what remains.
  const Outcome odd = Scale(1.1, 1.0, true, Traits(40, 1), {0xFF, 0xFF, 0xFF, 0xFF, 0xFF});
  EXPECT_EQ(Bits(odd.output), "0000" + std::string(44, '1')) << "44 pixels, from the row's end";
  EXPECT_EQ(Bits(Scale(0.5, 1.0, true, Traits(16, 1), {0xAF, 0x0C}).output), "11110010");
  EXPECT_EQ(Scale(1.0, 2.5, true, Traits(8, 1), {1, 2}).output, (Bytes{1, 1, 2, 2, 2}));
}

TEST(Scale, TheThreeRowScalerSmoothsDiagonals) {
  const Bytes step = {0xF0, 0xF0, 0xFF, 0xFF};
  const Outcome smooth = Scale(2.0, 2.0, false, Traits(8, 1), step);
  ASSERT_EQ(smooth.output.size(), 16u);
  EXPECT_EQ(Bits({smooth.output[6], smooth.output[7]}), "1111111110000000")
      << "the corner of the step is filled";
}

TEST(Scale, RefusedFormatsAndFactors) {
  const auto result = [](double x, double y, const ImageTraits& traits) {
    return Scale(x, y, true, traits, Bytes(64)).result;
  };
  EXPECT_EQ(result(1.0, 8.0, Traits(8, 8)), IP_FATAL_ERROR);
  EXPECT_EQ(result(1.0, 7.01, Traits(8, 8)), IP_FATAL_ERROR);
  EXPECT_EQ(result(0.0, 1.0, Traits(8, 8)), IP_FATAL_ERROR);
  EXPECT_EQ(result(-1.0, 1.0, Traits(8, 8)), IP_FATAL_ERROR);
  EXPECT_EQ(result(1.0, 0.0, Traits(8, 8)), IP_FATAL_ERROR);
  EXPECT_EQ(result(0.1, 1.0, Traits(8, 8)), IP_FATAL_ERROR) << "no pixel is left";
  EXPECT_EQ(result(1e6, 1.0, Traits(1 << 20, 8)), IP_FATAL_ERROR);
  EXPECT_EQ(result(1.0, 1.0, Traits(8, 16)), IP_FATAL_ERROR);
  EXPECT_EQ(result(1.0, 1.0, Traits(8, 48)), IP_FATAL_ERROR);
  EXPECT_EQ(result(1.0, 1.0, {8, 24, 1, 300, 300, -1, -1, -1}), IP_FATAL_ERROR);
  EXPECT_EQ(result(1.0, 1.0, Traits(8, 8)), IP_FINISHED);
}

}  // namespace
}  // namespace scantk::testing
