// The inverse transform: accuracy against double precision, both paths against each other.
#include "imaging/jpeg_idct.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <memory>
#include <numbers>
#include <random>

namespace scantk {
namespace {

using Block = std::array<int16_t, 64>;    // natural order
using Samples = std::array<uint8_t, 64>;  // rows

// Puts blocks through a queue, `group` at a time.
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
  EXPECT_EQ(queue->used, 0);
  for (const auto& place : queue->coefficients) {
    EXPECT_TRUE(std::all_of(place, place + 64, [](int16_t c) { return c == 0; }));
  }
  return out;
}

double Exact(const Block& block, int x, int y) {
  double sum = 0;
  for (int v = 0; v < 8; ++v) {
    for (int u = 0; u < 8; ++u) {
      const double scale = (u == 0 ? std::sqrt(0.5) : 1) * (v == 0 ? std::sqrt(0.5) : 1) / 4;
      sum += scale * block[static_cast<size_t>(8 * v + u)] *
             std::cos((2 * x + 1) * u * std::numbers::pi / 16) *
             std::cos((2 * y + 1) * v * std::numbers::pi / 16);
    }
  }
  return sum;
}

// Blocks of samples within +-range, transformed and rounded.
std::vector<Block> TransformedNoise(int range, int count, uint32_t seed) {
  std::mt19937 random(seed);
  std::vector<Block> blocks(static_cast<size_t>(count));
  static double cosines[8][8];
  for (int x = 0; x < 8; ++x) {
    for (int u = 0; u < 8; ++u) {
      cosines[x][u] =
          std::cos((2 * x + 1) * u * std::numbers::pi / 16) * (u == 0 ? std::sqrt(0.125) : 0.5);
    }
  }
  for (Block& block : blocks) {
    double samples[8][8], half[8][8] = {};
    for (auto& row : samples) {
      for (double& sample : row) sample = static_cast<int>(random() % (2u * range + 1)) - range;
    }
    for (int y = 0; y < 8; ++y) {
      for (int u = 0; u < 8; ++u) {
        for (int x = 0; x < 8; ++x) half[y][u] += samples[y][x] * cosines[x][u];
      }
    }
    for (int v = 0; v < 8; ++v) {
      for (int u = 0; u < 8; ++u) {
        double sum = 0;
        for (int y = 0; y < 8; ++y) sum += half[y][u] * cosines[y][v];
        block[static_cast<size_t>(8 * v + u)] =
            static_cast<int16_t>(std::clamp(std::lround(sum), -2048L, 2047L));
      }
    }
  }
  return blocks;
}

TEST(JpegIdct, IsAsAccurateAsTheStandardWants) {
  const Samples zeros = Transform(PlainJpegTransform(), {Block{}}, 1)[0];
  EXPECT_EQ(std::count(zeros.begin(), zeros.end(), 128), 64);
  for (const int range : {256, 5, 300}) {
    const int kBlocks = 1000;
    const std::vector<Block> blocks = TransformedNoise(range, kBlocks, 17);
    const std::vector<Samples> out = Transform(PlainJpegTransform(), blocks, 20);
    double square = 0, mean = 0;
    std::array<double, 64> squares{}, means{};
    for (size_t i = 0; i < blocks.size(); ++i) {
      for (size_t at = 0; at < 64; ++at) {
        const double exact = std::clamp(
            std::round(Exact(blocks[i], static_cast<int>(at % 8), static_cast<int>(at / 8))),
            -128.0, 127.0);
        const double error = out[i][at] - 128.0 - exact;
        ASSERT_LE(std::abs(error), 1) << range;
        squares[at] += error * error;
        means[at] += error;
      }
    }
    for (size_t at = 0; at < 64; ++at) {
      EXPECT_LE(squares[at] / kBlocks, 0.06);
      EXPECT_LE(std::abs(means[at]) / kBlocks, 0.015);
      square += squares[at];
      mean += means[at];
    }
    EXPECT_LE(square / kBlocks / 64, 0.02);
    EXPECT_LE(std::abs(mean) / kBlocks / 64, 0.0015);
  }
}

TEST(JpegIdct, PathsAreEqualForAnyCoefficients) {
  const JpegTransformKind vector = Avx2JpegTransform();
  if (!vector.run) GTEST_SKIP() << "no vector code here";
  std::mt19937 random(3);
  std::vector<Block> blocks;
  for (int i = 0; i < 20000; ++i) {
    Block block{};
    const uint32_t count = random() % 65;
    const uint32_t reach = i % 3 == 0 ? 10 : 64;  // many small blocks
    for (uint32_t k = 0; k < count; ++k) {
      int16_t& at = block[kJpegNaturalOrder[random() % reach]];
      switch (i % 4) {
        case 0:
          at = static_cast<int16_t>(random() % 401 - 200);
          break;
        case 1:
          at = static_cast<int16_t>(random());
          break;
        case 2:
          at = random() & 1 ? 32767 : -32768;
          break;
        default:
          at = static_cast<int16_t>(random() % 8001 - 4000);
      }
    }
    blocks.push_back(block);
  }
  const std::vector<Samples> plain = Transform(PlainJpegTransform(), blocks, 1);
  for (const size_t group : {size_t{1}, size_t{7}, size_t{32}}) {
    EXPECT_TRUE(Transform(vector, blocks, group) == plain) << group;
  }
}

TEST(JpegIdct, FilledBlockEqualsTransform) {
  for (int dc = -32768; dc<32768; dc += dc> - 2100 && dc < 2100 ? 1 : 97) {
    Block block{};
    block[0] = static_cast<int16_t>(dc);
    Samples filled;
    FillJpegBlock({filled.data(), 8}, block[0]);
    ASSERT_EQ(Transform(PlainJpegTransform(), {block}, 1)[0], filled) << dc;
  }
}

}  // namespace
}  // namespace scantk
