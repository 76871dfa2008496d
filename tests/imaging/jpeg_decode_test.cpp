// The decoder's samples, compared with those of the established library.
#include <gtest/gtest.h>

#include "imaging/cpu.h"
#include "tests/imaging/jpeg_samples.h"

namespace scantk::testing {
namespace {

// Both paths against the library.
void ExpectSameAsLibrary(const Bytes& stream, const std::string& what) {
  const Bytes expected = DecodeByLibrary(stream);
  for (const bool plain : {true, false}) {
    ForcePlainPath(plain);
    const Outcome outcome = DecodeJpeg(stream);
    ForcePlainPath(false);
    EXPECT_EQ(outcome.result, IP_FINISHED) << what;
    EXPECT_EQ(outcome.used, stream.size()) << what;
    ASSERT_TRUE(outcome.output == expected) << what << (plain ? " plain" : " vector");
  }
}

const std::vector<std::vector<Factors>> kFactors = {
    {{1, 1}},
    {{2, 2}},  // of a lone component: without meaning
    {{1, 1}, {1, 1}},
    {{2, 2}, {1, 1}},
    {{1, 1}, {1, 1}, {1, 1}},
    {{2, 1}, {1, 1}, {1, 1}},
    {{2, 2}, {1, 1}, {1, 1}},
    {{1, 2}, {1, 1}, {1, 1}},
    {{2, 2}, {1, 2}, {1, 2}},
    {{2, 2}, {2, 1}, {2, 1}},
    {{2, 1}, {2, 1}, {2, 1}},
    {{4, 1}, {1, 1}, {1, 1}},
    {{1, 4}, {1, 1}, {1, 2}},
    {{4, 2}, {1, 1}, {1, 1}},
    {{1, 1}, {2, 2}, {1, 2}},  // chroma larger than luma
    {{3, 1}, {1, 1}, {1, 1}},
    {{1, 3}, {1, 1}, {1, 1}},
    {{3, 1}, {2, 1}, {1, 1}},  // 3:2
    {{1, 3}, {1, 2}, {1, 1}},
    {{4, 1}, {3, 1}, {1, 1}},  // 4:3
    {{1, 4}, {1, 3}, {1, 1}},
    {{3, 2}, {2, 1}, {1, 2}},
    {{1, 1}, {1, 1}, {1, 1}, {1, 1}},
    {{2, 2}, {1, 1}, {1, 1}, {2, 2}},
    {{4, 1}, {1, 1}, {2, 1}, {3, 1}},
};

TEST(JpegDecode, EqualsLibraryForEverySamplingAndSize) {
  const int sizes[][2] = {{1, 1}, {7, 5}, {8, 8}, {17, 33}, {40, 30}, {67, 50}};
  int turn = 0;
  for (const auto& factors : kFactors) {
    for (const auto& size : sizes) {
      JpegRecipe recipe;
      recipe.width = size[0];
      recipe.height = size[1];
      recipe.factors = factors;
      recipe.quality = std::array{75, 95, 30, 100, 5}[static_cast<size_t>(turn % 5)];
      recipe.restart = std::array{0, 1, 3, 7}[static_cast<size_t>(turn % 4)];
      recipe.content = turn % 3 == 0 ? Content::kNoise : Content::kSmooth;
      recipe.own_tables = turn % 2 == 0;
      ++turn;
      ExpectSameAsLibrary(EncodeJpeg(recipe), recipe.Name());
    }
  }
}

TEST(JpegDecode, EqualsLibraryForLargePictures) {
  for (const auto& factors : {kFactors[0], kFactors[4], kFactors[5], kFactors[6], kFactors[11]}) {
    for (const Content content : {Content::kSmooth, Content::kNoise, Content::kExtreme}) {
      JpegRecipe recipe{640, 333, factors};
      recipe.content = content;
      recipe.quality = content == Content::kNoise ? 98 : 80;
      recipe.restart = content == Content::kSmooth ? 40 : 0;
      ExpectSameAsLibrary(EncodeJpeg(recipe), recipe.Name());
      recipe.own_tables = true;
      ExpectSameAsLibrary(EncodeJpeg(recipe), recipe.Name());
    }
  }
  JpegRecipe widest{65500, 17, kFactors[6]};
  ExpectSameAsLibrary(EncodeJpeg(widest), widest.Name());
}

}  // namespace
}  // namespace scantk::testing
