// Every inner loop of every path against its plain twin.
#include "imaging/kernels.h"

#include <array>
#include <cmath>

#include "tests/imaging/pipeline_harness.h"

namespace scantk::testing {
namespace {

// Junk behind the end shows what a loop writes that it should not.
constexpr size_t kGuard = 40;

Bytes Guarded(size_t bytes) {
  return Bytes(bytes + kGuard, 0xA5);
}

// ---- The inverse transform: blocks in natural order in, rows of samples out.

using Block = std::array<int16_t, 64>;
using Samples = std::array<uint8_t, 64>;

std::vector<Samples> Transform(const JpegTransformKind& kind, const std::vector<Block>& blocks,
                               size_t group) {
  const auto queue = std::make_unique<JpegBlockQueue>();
  std::vector<Samples> out(blocks.size());
  for (size_t i = 0; i < blocks.size(); ++i) {
    int16_t* const to = queue->Next();
    int places = 0;
    for (int k = 0; k < 64; ++k) {
      const int16_t value = blocks[i][kJpegNaturalOrder[k]];
      to[kind.order[k]] = value;
      if (value != 0) places |= kind.order[k];
    }
    queue->Add({out[i].data(), 8}, (places & kind.outside) == 0);
    if ((i + 1) % group == 0 || i + 1 == blocks.size()) kind.run(*queue);
  }
  for (const auto& place : queue->coefficients) {
    EXPECT_EQ(std::count(place, place + 64, 0), 64) << "the queue is left clean";
  }
  return out;
}

// Any coefficients, from legal ones to those that only damage makes; many small blocks.
std::vector<Block> RandomBlocks() {
  std::mt19937 random(3);
  std::vector<Block> blocks(20000);
  for (size_t i = 0; i < blocks.size(); ++i) {
    const uint32_t reach = i % 3 == 0 ? 10 : 64;
    for (uint32_t count = random() % 65; count > 0; --count) {
      const int any = static_cast<int16_t>(random());
      const int values[] = {any % 200, any, any & 1 ? 32767 : -32768, any % 4000};
      blocks[i][kJpegNaturalOrder[random() % reach]] = static_cast<int16_t>(values[i % 4]);
    }
  }
  for (int dc = -2100; dc < 2100; ++dc) blocks.push_back({static_cast<int16_t>(dc)});
  return blocks;
}

// ---- All loops of one path; what they make is compared as bytes.

Bytes EveryTransform(const ImageKernels& kernels) {
  Bytes all;
  const std::vector<Block> blocks = RandomBlocks();
  for (const size_t group : {1, 7, 32}) {
    for (const Samples& samples : Transform(kernels.transform, blocks, group)) {
      all.insert(all.end(), samples.begin(), samples.end());
    }
  }
  return all;
}

Bytes EveryRow(const ImageKernels& kernels, size_t pixels) {
  Bytes all;
  const Bytes a = RandomBytes(8 * pixels + kPlaneSlack, static_cast<uint32_t>(pixels));
  const uint8_t* const planes[] = {a.data(), a.data() + pixels, a.data() + 2 * pixels};
  const auto keep = [&](const Bytes& made) { all.insert(all.end(), made.begin(), made.end()); };
  for (const InterleaveFunction function :
       {kernels.interleave[0], kernels.interleave[1], kernels.to_rgb[0], kernels.to_rgb[1]}) {
    Bytes out = Guarded(3 * pixels);
    function(planes, out.data(), pixels);
    keep(out);
  }
  for (const int bits : {1, 8, 16, 24, 48}) {
    const size_t bytes = bits == 1 ? pixels : pixels * static_cast<size_t>(bits) / 8;
    Bytes out = Guarded(bytes);
    kernels.mirror->Choose(bits)(a.data(), out.data(), bytes, a.data());
    keep(out);
  }
  for (int k = 0; k <= 8; ++k) {
    Bytes out = Guarded(pixels);
    kernels.blend(a.data(), a.data() + pixels, k, out.data(), pixels);
    keep(out);
  }
  Bytes out = Guarded(3 * pixels);
  kernels.luma_chroma_to_rgb(a.data(), out.data(), pixels);
  keep(out);
  return all;
}

Bytes EveryEnlargement(size_t pixels) {
  Bytes all;
  for (const size_t components : {1, 3}) {
    for (const int64_t factor : {0x10000, 0x10001, 0x15556, 0x18000, 0x20000, 0x3B000, 0x70000}) {
      ColumnScaler scaler;
      const size_t width = static_cast<size_t>(factor) * pixels >> 16;
      scaler.Init(pixels, width, components, factor, true);
      const Bytes row = RandomBytes(components * pixels, static_cast<uint32_t>(factor));
      Bytes out = Guarded(components * width);
      scaler.Scale(row.data(), out.data());
      all.insert(all.end(), out.begin(), out.end());
    }
  }
  return all;
}

TEST(Kernels, EveryPathMakesTheBytesOfThePlainOne) {
  const Bytes transformed = EveryTransform(kPlainKernels);
  for (const CpuPath path : CpuPaths()) {
    EXPECT_TRUE(EveryTransform(Kernels(path)) == transformed) << PathName(path);
  }
  for (size_t pixels = 1; pixels < 140; ++pixels) {
    const Bytes expected = EveryRow(kPlainKernels, pixels);
    ForcePath(CpuPath::kPlain);
    const Bytes enlarged = EveryEnlargement(pixels);
    for (const CpuPath path : CpuPaths()) {
      ASSERT_TRUE(EveryRow(Kernels(path), pixels) == expected) << PathName(path) << " " << pixels;
      ForcePath(path);
      ASSERT_TRUE(EveryEnlargement(pixels) == enlarged) << PathName(path) << " " << pixels;
    }
    ForcePath({});
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
