#include <array>
#include <cmath>
#include <string>

#include "imaging/kernels.h"
#include "tests/imaging/pipeline_harness.h"

namespace scantk::testing {
namespace {

int64_t Factor(double factor) {
  return std::lround(factor * (1 << 24));
}

Outcome Scale(double x, double y, bool fast, const ImageTraits& traits, const Bytes& input,
              const Chunks& chunks = {}) {
  const XformDescriptor scale = BuiltIn(XFORM_SCALE, {Factor(x), Factor(y), fast});
  return RunWhole({scale}, traits, input, chunks);
}

// A factor that is the nearest for a whole number of pixels asks for that number.
int64_t Width(double x, int64_t pixels) {
  const int64_t whole = std::llround(static_cast<double>(Factor(x) * pixels) / (1 << 24));
  const bool asked = Factor(static_cast<double>(whole) / static_cast<double>(pixels)) == Factor(x);
  return asked ? whole : ((Factor(x) + 128) >> 8) * pixels >> 16;
}

// The arithmetic of an enlarged image, written down once more as plainly as possible.
struct EnlargingModel {
  EnlargingModel(double factor_x, double factor_y, int64_t width, size_t components)
      : x((Factor(factor_x) + 128) >> 8),
        y((Factor(factor_y) + 128) >> 8),
        out(Width(factor_x, width)),
        pixels(static_cast<size_t>(width)),
        n(components) {
    if (x * width >> 16 != out) x = (Factor(factor_x) + 255) >> 8;
  }

  Bytes Row(const uint8_t* in) const {
    const auto sample = [&](size_t i, size_t c) { return in[std::min(i, pixels - 1) * n + c]; };
    Bytes row;
    size_t i = 0;
    for (int64_t j = 0, p = 0; j < out; ++j) {
      const int w = static_cast<int>(p >> 8);
      for (size_t c = 0; c < n; ++c) {
        row.push_back(static_cast<uint8_t>(((256 - w) * sample(i, c) + w * sample(i + 1, c)) >> 8));
      }
      p += 0x80000000LL / x * 2 + 1;
      if (p >= 0x10000) ++i;
      p &= 0xFFFF;
    }
    return row;
  }

  Bytes Image(const Bytes& in) const {
    const int64_t step = 0x80000000LL / y * 2 + 1;
    Bytes image, older, newer;
    int64_t a = 0, q = step;
    for (size_t at = 0; at < in.size(); at += pixels * n) {
      newer = Row(in.data() + at);
      if (at == 0) older = newer;
      for (a += y; a >= 0x10000; a -= 0x10000, q += step) {
        const int64_t w = std::clamp<int64_t>(0x10000 - q, 0, 0x10000);
        image.resize(image.size() + newer.size());
        BlendPlain(older.data(), newer.data(), static_cast<int>((w + 4096) >> 13),
                   &image[image.size() - newer.size()], newer.size());
      }
      q -= 0x10000;
      older = newer;
    }
    return image;
  }

  int64_t x, y, out;
  size_t pixels, n;
};

// The last ones are long enough that the rounded steps drift: past the end of wide rows, ahead of
// the rows below.
TEST(Scale, EnlargesExactlyOnEveryPath) {
  std::mt19937 engine(1);
  const double factors[] = {1.0, 1.0001, 1.25, 4.0 / 3, 1.5, 2.0, 2.0000001, 3.7, 4.0, 7.0};
  const auto check = [](double x, double y, int pixels, int bits, size_t rows) {
    const size_t components = static_cast<size_t>(bits) / 8;
    const Bytes input = RandomBytes(static_cast<size_t>(pixels) * components * rows, 2);
    const Bytes expected = EnlargingModel(x, y, pixels, components).Image(input);
    OnEveryPath([&] {
      ASSERT_TRUE(Scale(x, y, true, Traits(pixels, bits), input).output == expected)
          << x << " x " << y << ", " << pixels << " pixels of " << bits << " bits";
    });
  };
  for (const double x : factors) {
    for (const double y : factors) {
      if (y > 1.0) check(x, y, static_cast<int>(engine() % 300 + 1), engine() % 2 ? 24 : 8, 4);
    }
  }
  check(7.0, 2.0, 20000, 8, 1);
  check(1.0, 2.0, 70000, 24, 1);
  check(2.0, 2.0, 3, 8, 40000);
  check(1.0, 4.0 / 3, 3, 8, 3200);  // a weight in the very middle between two eighths
  EXPECT_EQ(Scale(2.0, 1.0, true, Traits(2, 8), {0, 255}).output, (Bytes{0, 127, 255, 255}));
  EXPECT_EQ(Scale(1.0, 2.0, true, Traits(1, 8), {100, 200}).output, (Bytes{100, 100, 150, 200}));
  for (int pair = 0; pair < 65536 * 9; ++pair) {
    const uint8_t a = static_cast<uint8_t>(pair), b = static_cast<uint8_t>(pair >> 8);
    uint8_t out = 0;
    BlendPlain(&a, &b, pair >> 16, &out, 1);
    ASSERT_NEAR(out, (a * (pair >> 16) + b * (8 - (pair >> 16))) / 8.0, 3.0) << pair;
  }
}

// Rows and columns come in the number that the factors promise, whatever the kind of row. White
// stays white to the last bit: half of the widths are those that a device of 300 dpi announces.
TEST(Scale, CountsAndSizes) {
  std::mt19937 engine(5);
  for (uint32_t round = 1; round < 400; ++round) {
    const int bits = std::array{1, 8, 24}[engine() % 3];
    const int pixels = round == 1 ? 2550 : static_cast<int>(engine() % 900 + 50);
    const double announced =
        std::floor((round == 1 ? 400 : engine() % 900 + 300) / 300.0 * pixels + 0.5);
    const double x =
        round % 2 ? announced / pixels : static_cast<double>(engine() % 500 + 20) / 100;
    const double y = static_cast<double>(engine() % 680 + 20) / 100;
    const bool fast = round % 2 || engine() % 2;
    const size_t rows = engine() % 20 + 1;
    const size_t row = static_cast<size_t>(pixels * bits + 7) / 8;
    const int64_t out_pixels = round % 2 ? static_cast<int64_t>(announced) : Width(x, pixels);
    const int64_t out_rows = ((Factor(y) + 128) >> 8) * static_cast<int64_t>(rows) >> 16;
    const size_t out_bytes = static_cast<size_t>((out_pixels * bits + 7) / 8 * out_rows);
    const Bytes input = RandomBytes(row * rows, round);
    const Outcome whole = Scale(x, y, fast, Traits(pixels, bits), input);
    ASSERT_EQ(whole.result, IP_FINISHED);
    ASSERT_EQ(whole.output.size(), out_bytes)
        << x << " x " << y << ", " << pixels << " x " << rows << ", " << bits << " bits";
    const Chunks chunks{{2 * row, round}, {3 * row, round}};
    ASSERT_TRUE(Scale(x, y, fast, Traits(pixels, bits), input, chunks).output == whole.output);
    if (y < 1.0 || round % 2 == 0 || bits > 1) continue;
    const Bytes white(row * rows, 255);
    ASSERT_TRUE(Scale(x, y, fast, Traits(pixels, bits), white).output == Bytes(out_bytes, 255));
    const Bytes black = Scale(x, y, fast, Traits(pixels, bits), Bytes(row * rows)).output;
    const int padding = x > 1.0 && out_pixels % 8 ? 0xFF >> out_pixels % 8 : 0;
    ASSERT_EQ(black.back() & padding, padding) << out_pixels << " pixels and white";
  }
}

TEST(Scale, ShrinksByDroppingOrByAveraging) {
  const Bytes ramp = {10, 21, 30, 41, 50, 61, 70, 81};  // halves are rounded up
  EXPECT_EQ(Scale(0.5, 1.0, true, Traits(8, 8), ramp).output, (Bytes{10, 30, 50, 70}));
  EXPECT_EQ(Scale(0.5, 1.0, false, Traits(8, 8), ramp).output, (Bytes{16, 36, 56, 76}));
  EXPECT_EQ(Scale(1.0, 0.5, true, Traits(1, 8), ramp).output, (Bytes{21, 41, 61, 81}));
  EXPECT_EQ(Scale(1.0, 0.5, false, Traits(1, 8), ramp).output, (Bytes{16, 36, 56, 76}));
  EXPECT_EQ(Scale(1.0, 1.0, false, Traits(4, 8), ramp).output, ramp);
  const Bytes flat(3 * 97 * 40, 200);
  EXPECT_EQ(Scale(0.37, 0.61, false, Traits(97, 24), flat).output, Bytes(3 * 35 * 24, 200));
}

// Rows as text, a digit per pixel.
TEST(Scale, BilevelBytesAreStretched) {
  const std::tuple<double, int, Bytes, std::string> cases[] = {
      {0.5, 16, {0xAF, 0x0C}, "11110010"},
      {1.0, 8, {0xA5}, "10100101"},
      {2.0, 8, {0xA5}, "1100110000110011"},
      {1.5, 16, {0xA5, 0xFF}, "100100011011111111111111"},  // pixels 2, 4, 6, 8 of each byte twice
      {1.25, 32, {0xA5, 0x00, 0, 0}, "1010001011" + std::string(30, '0')},      // 4 and 8
      {1.75, 32, {0xA5, 0x00, 0, 0}, "10011000110011" + std::string(42, '0')},  // all but 1 and 5
      {3.0, 8, {0xA5}, "111000111000000111000111"},
      {4.0, 8, {0xA5}, "11110000111100000000111100001111"},
      // Half pixels carry over to the next byte of four; the first of the row takes what remains.
      {1.1, 40, {0x7F, 0xFF, 0xFF, 0xFF, 0xFF}, "0" + std::string(47, '1')},
      // Ten pixels and what fills the second byte make 24, of which 15 are asked for.
      {1.5, 10, {0x80, 0x3F}, "1000000000000001"},
      // 40 pixels make 52 by pairs of pixels; 53 are asked for.
      {1.325, 40, Bytes(5), std::string(52, '0') + "1111"},
  };
  for (const auto& [factor, pixels, row, bits] : cases) {
    std::string text;
    for (const uint8_t byte : Scale(factor, 1.0, true, Traits(pixels, 1), row).output) {
      for (int bit = 7; bit >= 0; --bit) text += byte >> bit & 1 ? '1' : '0';
    }
    EXPECT_EQ(text, bits) << factor;
  }
  EXPECT_EQ(Scale(1.0, 2.5, true, Traits(8, 1), {1, 2}).output, (Bytes{1, 1, 2, 2, 2}));
  const Bytes smooth = Scale(2.0, 2.0, false, Traits(8, 1), {0xF0, 0xF0, 0xFF, 0xFF}).output;
  EXPECT_EQ(Bytes(smooth.begin() + 6, smooth.begin() + 8), (Bytes{0xFF, 0x80}))
      << "a filled corner";
}

TEST(Scale, RefusedFormatsAndFactors) {
  const auto result = [](double x, double y, const ImageTraits& traits) {
    return Scale(x, y, true, traits, Bytes(64)).result;
  };
  const std::pair<double, double> factors[] = {{1.0, 8.0},  {1.0, 7.01}, {0.0, 1.0},
                                               {-1.0, 1.0}, {1.0, 0.0},  {0.1, 1.0}};
  for (const auto& [x, y] : factors) {
    EXPECT_EQ(result(x, y, Traits(8, 8)), IP_FATAL_ERROR) << x << " x " << y;
  }
  EXPECT_EQ(result(1.0, 1.0, Traits(8, 8)), IP_FINISHED);
  EXPECT_EQ(result(1.0, 1.0, Traits(8, 16)), IP_FATAL_ERROR);
  EXPECT_EQ(result(1.0, 1.0, Traits(8, 48)), IP_FATAL_ERROR);
  EXPECT_EQ(result(1e6, 1.0, Traits(1 << 20, 8)), IP_FATAL_ERROR);
  EXPECT_EQ(result(1.0, 1.0, {8, 24, 1, 300, 300, -1, -1, -1}), IP_FATAL_ERROR);
}

}  // namespace
}  // namespace scantk::testing
