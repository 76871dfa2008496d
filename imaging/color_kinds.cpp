#include "imaging/color_kinds.h"

#include <algorithm>
#include <array>
#include <cstdlib>

namespace scantk {
namespace {

uint8_t Clamp(int value) {
  return static_cast<uint8_t>(std::clamp(value, 0, 255));
}

constexpr int kFractionBits = 16;

constexpr int Fixed(double value) {
  const double scaled = value * (1 << kFractionBits);
  return static_cast<int>(scaled < 0 ? scaled - 0.5 : scaled + 0.5);
}

// A 3 x 3 matrix as nine tables: entry [row][column][sample] is the sample's share of output `row`,
// 16 fraction bits. The shares of the first column hold the rounding and the offset of the output.
using MatrixTables = std::array<std::array<std::array<int32_t, 256>, 3>, 3>;

struct Matrix {
  double weights[3][3];
  int in_middle[3];   // the neutral value of each input byte
  int out_middle[3];  // and of each output byte
};

constexpr MatrixTables Build(const Matrix& matrix) {
  MatrixTables tables{};
  for (size_t row = 0; row < 3; ++row) {
    for (size_t column = 0; column < 3; ++column) {
      const int weight = Fixed(matrix.weights[row][column]);
      for (int v = 0; v < 256; ++v) {
        tables[row][column][static_cast<size_t>(v)] = (v - matrix.in_middle[column]) * weight;
      }
    }
    const int32_t offset =
        matrix.out_middle[row] * (1 << kFractionBits) + (1 << (kFractionBits - 1));
    for (int32_t& share : tables[row][0]) share += offset;
  }
  return tables;
}

// Y = r R + g G + b B; Cb and Cr are (B - Y) and (R - Y), scaled to the range of a byte.
constexpr Matrix ToLuma(double r, double b) {
  const double g = 1 - r - b;
  const double cb = 0.5 / (1 - b);
  const double cr = 0.5 / (1 - r);
  return {{{r, g, b}, {-r * cb, -g * cb, 0.5}, {0.5, -g * cr, -b * cr}}, {0, 0, 0}, {0, 128, 128}};
}

constexpr Matrix FromLuma(double r, double b) {
  const double g = 1 - r - b;
  const double cb = 2 * (1 - b);
  const double cr = 2 * (1 - r);
  return {{{1, 0, cr}, {1, -b * cb / g, -r * cr / g}, {1, cb, 0}}, {0, 128, 128}, {0, 0, 0}};
}

constexpr MatrixTables kToLuma601 = Build(ToLuma(0.299, 0.114));
constexpr MatrixTables kToLuma709 = Build(ToLuma(0.2126, 0.0722));
constexpr MatrixTables kFromLuma601 = Build(FromLuma(0.299, 0.114));
constexpr MatrixTables kFromLuma709 = Build(FromLuma(0.2126, 0.0722));

template <const MatrixTables& kTables>
void ApplyTables(const uint8_t* input, uint8_t* output, size_t pixels) {
  for (size_t i = 0; i < pixels; ++i, input += 3, output += 3) {
    for (size_t row = 0; row < 3; ++row) {
      const auto& shares = kTables[row];
      output[row] =
          Clamp((shares[0][input[0]] + shares[1][input[1]] + shares[2][input[2]]) >> kFractionBits);
    }
  }
}

uint8_t NeutralWhenNear(int chroma) {
  return std::abs(chroma - 128) <= 4 ? uint8_t{128} : Clamp(chroma);
}

}  // namespace

TripleFunction ChooseTableToLuma(int64_t table) {
  if (table == 0) return ApplyTables<kToLuma601>;
  return table == 1 ? ApplyTables<kToLuma709> : nullptr;
}

TripleFunction ChooseTableFromLuma(int64_t table) {
  if (table == 0) return ApplyTables<kFromLuma601>;
  return table == 1 ? ApplyTables<kFromLuma709> : nullptr;
}

void RgbToLumaChroma(const uint8_t* input, uint8_t* output, size_t pixels) {
  constexpr int kRed = Fixed(0.3031589673913043);
  constexpr int kGreen = Fixed(0.5905694169960474);
  constexpr int kBlue = Fixed(0.11417675395256917);
  constexpr int kCb = Fixed(1 / 1.77243);
  constexpr int kCr = Fixed(1 / 1.39946);
  constexpr int kHalf = 1 << (kFractionBits - 1);
  for (size_t i = 0; i < pixels; ++i, input += 3, output += 3) {
    const int red = input[0];
    const int green = input[1];
    const int blue = input[2];
    // The weights add up to a little more than 1, so white needs the clamp.
    const int y = Clamp((kRed * red + kGreen * green + kBlue * blue + kHalf) >> kFractionBits);
    output[0] = static_cast<uint8_t>(y);
    output[1] = NeutralWhenNear(128 + ((kCb * (blue - y) + kHalf) >> kFractionBits));
    output[2] = NeutralWhenNear(128 + ((kCr * (red - y) + kHalf) >> kFractionBits));
  }
}

// The colour is the strongest component, the weakest and one between them; the hue says which is
// which and how far up the middle one lies: six sectors of the circle, 256 steps in each.
void LightnessHueSaturationToRgb(const uint8_t* input, uint8_t* output, size_t pixels) {
  for (size_t i = 0; i < pixels; ++i, input += 3, output += 3) {
    const int lightness = input[0];
    const int sector = input[1] * 6 / 256;
    const int step = input[1] * 6 % 256;
    const int saturation = input[2];
    const int room = std::min(lightness, 255 - lightness);
    const int spread = (2 * room * saturation + 127) / 255;
    const int low = lightness - spread / 2;
    const int high = low + spread;
    const int rising = low + (spread * step + 128) / 256;
    const int falling = high - (spread * step + 128) / 256;
    const int colors[6][3] = {{high, rising, low},  {falling, high, low}, {low, high, rising},
                              {low, falling, high}, {rising, low, high},  {high, low, falling}};
    for (int c = 0; c < 3; ++c) output[c] = Clamp(colors[sector][c]);
  }
}

void RgbToLightnessHueSaturation(const uint8_t* input, uint8_t* output, size_t pixels) {
  for (size_t i = 0; i < pixels; ++i, input += 3, output += 3) {
    const int red = input[0];
    const int green = input[1];
    const int blue = input[2];
    const int high = std::max({red, green, blue});
    const int low = std::min({red, green, blue});
    const int spread = high - low;
    const int lightness = (high + low + 1) / 2;
    const int room = std::min(high + low, 510 - high - low);
    int hue = 0;  // in steps of 1/1536 of the circle
    if (spread > 0) {
      if (high == red) {
        hue = (green - blue) * 256 / spread;
      } else if (high == green) {
        hue = 512 + (blue - red) * 256 / spread;
      } else {
        hue = 1024 + (red - green) * 256 / spread;
      }
    }
    output[0] = static_cast<uint8_t>(lightness);
    output[1] = static_cast<uint8_t>((hue + 1536 + 3) / 6 % 256);
    output[2] = room > 0 ? Clamp((spread * 255 + room / 2) / room) : uint8_t{0};
  }
}

void SwapFirstAndThird(const uint8_t* input, uint8_t* output, size_t pixels) {
  for (size_t i = 0; i < pixels; ++i, input += 3, output += 3) {
    const uint8_t first = input[0];
    output[0] = input[2];
    output[1] = input[1];
    output[2] = first;
  }
}

}  // namespace scantk
