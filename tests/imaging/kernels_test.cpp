// The inner loops of every path against their plain twins; the inverse transform and the scaler are
// compared on every path by the tests of whole pictures.
#include "imaging/kernels.h"

#include <cmath>

#include "tests/imaging/pipeline_harness.h"

namespace scantk::testing {
namespace {

// Junk behind the end shows what a loop writes that it should not.
constexpr size_t kGuard = 40;

Bytes Guarded(size_t bytes) {
  return Bytes(bytes + kGuard, 0xA5);
}

Bytes EveryRow(const ImageKernels& kernels, size_t pixels) {
  Bytes all;
  const Bytes a = RandomBytes(8 * pixels + kPlaneSlack, static_cast<uint32_t>(pixels));
  const uint8_t* const planes[] = {a.data(), a.data() + pixels, a.data() + 2 * pixels};
  for (const InterleaveFunction function :
       {kernels.interleave[0], kernels.interleave[1], kernels.to_rgb[0], kernels.to_rgb[1]}) {
    Bytes out = Guarded(3 * pixels);
    function(planes, out.data(), pixels);
    Append(all, out);
  }
  for (const int bits : {1, 8, 16, 24, 48}) {
    const size_t bytes = bits == 1 ? pixels : pixels * static_cast<size_t>(bits) / 8;
    Bytes out = Guarded(bytes);
    kernels.mirror->Choose(bits)(a.data(), out.data(), bytes, a.data());
    Append(all, out);
  }
  for (int k = 0; k <= 8; ++k) {
    Bytes out = Guarded(pixels);
    kernels.blend(a.data(), a.data() + pixels, k, out.data(), pixels);
    Append(all, out);
  }
  Bytes out = Guarded(3 * pixels);
  kernels.luma_chroma_to_rgb(a.data(), out.data(), pixels);
  Append(all, out);
  return all;
}

TEST(Kernels, EveryPathMakesTheBytesOfThePlainOne) {
  for (size_t pixels = 1; pixels < 140; ++pixels) {
    const Bytes expected = EveryRow(kPlainKernels, pixels);
    for (const CpuPath path : CpuPaths()) {
      ASSERT_TRUE(EveryRow(Kernels(path), pixels) == expected) << PathName(path) << " " << pixels;
    }
  }
}

// The definition, in single precision; volatile keeps each rounding.
int Rounded(float factor, int d) {
  volatile float product = factor * static_cast<float>(d);
  volatile float sum = product + 0.5f;
  return static_cast<int>(std::floor(sum));
}
int Truncated(float factor, int d) {
  volatile float product = factor * static_cast<float>(d);
  volatile float sixteenfold = product * 16.0f;
  return static_cast<int>(sixteenfold);
}

// Every pair of chroma values, with lumas that clamp on either side, in vectors and behind them.
TEST(Kernels, LumaChromaToRgbIsExactEverywhere) {
  Bytes input, expected;
  for (const int y : {0, 1, 16, 127, 128, 200, 254, 255}) {
    for (int pair = 0; pair < 65536; ++pair) {
      const int cb = pair >> 8, cr = pair & 255;
      const int green =
          (Truncated(-0.717202f, cr - 128) + Truncated(-0.344228f, cb - 128) + 8) >> 4;
      for (const int v : {y, cb, cr}) input.push_back(static_cast<uint8_t>(v));
      for (const int v :
           {y + Rounded(1.39946f, cr - 128), y + green, y + Rounded(1.77243f, cb - 128)}) {
        expected.push_back(static_cast<uint8_t>(std::clamp(v, 0, 255)));
      }
    }
  }
  for (const CpuPath path : CpuPaths()) {
    Bytes output(input.size());
    Kernels(path).luma_chroma_to_rgb(input.data(), output.data(), input.size() / 3);
    EXPECT_TRUE(output == expected) << PathName(path);
  }
}

}  // namespace
}  // namespace scantk::testing
