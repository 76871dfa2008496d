#include "imaging/luma_chroma.h"

#include <algorithm>
#include <array>

namespace scantk {
namespace {

struct Tables {
  std::array<int16_t, 256> cr_red;
  std::array<int16_t, 256> cb_blue;
  std::array<int16_t, 256> cb_green;  // x 16
  std::array<int16_t, 256> cr_green;  // x 16
};

constexpr int16_t Floor(float value) {
  const int truncated = static_cast<int>(value);
  return static_cast<int16_t>(static_cast<float>(truncated) > value ? truncated - 1 : truncated);
}

// Built by the compiler: no processor's fused multiply-add can round them differently.
constexpr Tables kTables = [] {
  Tables tables{};
  for (int v = 0; v < 256; ++v) {
    const size_t i = static_cast<size_t>(v);
    const float d = static_cast<float>(v - 128);
    tables.cr_red[i] = Floor(1.39946f * d + 0.5f);
    tables.cb_blue[i] = Floor(1.77243f * d + 0.5f);
    tables.cb_green[i] = static_cast<int16_t>(-0.344228f * d * 16.0f);
    tables.cr_green[i] = static_cast<int16_t>(-0.717202f * d * 16.0f);
  }
  return tables;
}();

// Every sum of a luma and an offset, clamped: faster than two comparisons.
constexpr std::array<uint8_t, 768> kClamped = [] {
  std::array<uint8_t, 768> table{};
  for (int i = 0; i < 768; ++i) {
    table[static_cast<size_t>(i)] = static_cast<uint8_t>(std::clamp(i - 256, 0, 255));
  }
  return table;
}();

uint8_t Clamp(int value) {
  return kClamped[static_cast<size_t>(value) + 256];
}

// What chroma adds to luma.
struct Offsets {
  Offsets(uint8_t cb, uint8_t cr)
      : red(kTables.cr_red[cr]),
        green((kTables.cr_green[cr] + kTables.cb_green[cb] + 8) >> 4),
        blue(kTables.cb_blue[cb]) {}
  int red, green, blue;
};

// What is written for a pixel: itself, or its colour.
struct AsItIs {
  void Write(uint8_t y, uint8_t* out) const {
    out[0] = y;
    out[1] = cb;
    out[2] = cr;
  }
  uint8_t cb, cr;
};

struct AsRgb {
  AsRgb(uint8_t cb, uint8_t cr) : offsets(cb, cr) {}
  void Write(uint8_t y, uint8_t* out) const {
    out[0] = Clamp(y + offsets.red);
    out[1] = Clamp(y + offsets.green);
    out[2] = Clamp(y + offsets.blue);
  }
  Offsets offsets;
};

template <class Pixel>
void Interleave(const uint8_t* const* planes, uint8_t* out, size_t width) {
  for (size_t x = 0; x < width; ++x) {
    Pixel{planes[1][x], planes[2][x]}.Write(planes[0][x], out + 3 * x);
  }
}

template <class Pixel>
void InterleaveHalf(const uint8_t* const* planes, uint8_t* out, size_t width) {
  const uint8_t* const luma = planes[0];
  for (size_t x = 0; x < width; x += 2) {
    const Pixel pixel{planes[1][x / 2], planes[2][x / 2]};
    pixel.Write(luma[x], out + 3 * x);
    if (x + 1 < width) pixel.Write(luma[x + 1], out + 3 * x + 3);
  }
}

}  // namespace

void LumaChromaToRgbPlain(const uint8_t* input, uint8_t* output, size_t pixels) {
  for (size_t i = 0; i < 3 * pixels; i += 3) {
    AsRgb(input[i + 1], input[i + 2]).Write(input[i], output + i);
  }
}

void InterleavePlain(const uint8_t* const* planes, uint8_t* out, size_t width) {
  Interleave<AsItIs>(planes, out, width);
}

void InterleaveHalfPlain(const uint8_t* const* planes, uint8_t* out, size_t width) {
  InterleaveHalf<AsItIs>(planes, out, width);
}

void InterleaveToRgbPlain(const uint8_t* const* planes, uint8_t* out, size_t width) {
  Interleave<AsRgb>(planes, out, width);
}

void InterleaveHalfToRgbPlain(const uint8_t* const* planes, uint8_t* out, size_t width) {
  InterleaveHalf<AsRgb>(planes, out, width);
}

}  // namespace scantk
