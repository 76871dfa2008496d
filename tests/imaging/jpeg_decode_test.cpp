// The decoder's samples, compared with those of the established library.
#include <array>

#include "tests/imaging/jpeg_pictures.h"
#include "tests/imaging/jpeg_samples.h"

namespace scantk::testing {
namespace {

// Every path against the library.
void ExpectSameAsLibrary(const JpegRecipe& recipe) {
  const Bytes stream = EncodeJpeg(recipe);
  const Bytes expected = DecodeByLibrary(stream);
  OnEveryPath([&] {
    const Outcome outcome = DecodeJpeg(stream);
    EXPECT_EQ(outcome.result, IP_FINISHED) << recipe.Name();
    EXPECT_EQ(outcome.used, stream.size()) << recipe.Name();
    ASSERT_TRUE(outcome.output == expected) << recipe.Name();
  });
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
  const std::pair<int, int> sizes[] = {{1, 1}, {7, 5}, {8, 8}, {17, 33}, {40, 30}, {67, 50}};
  size_t turn = 0;
  for (const auto& factors : kFactors) {
    for (const auto& [width, height] : sizes) {
      ExpectSameAsLibrary({width, height, factors, std::array{75, 95, 30, 100, 5}[turn % 5],
                           std::array{0, 1, 3, 7}[turn % 4],
                           turn % 3 ? Content::kSmooth : Content::kNoise, turn % 2 == 0});
      ++turn;
    }
  }
  for (const auto& factors : {kFactors[0], kFactors[4], kFactors[5], kFactors[6], kFactors[11]}) {
    for (const bool own_tables : {false, true}) {
      ExpectSameAsLibrary({640, 333, factors, 80, 40, Content::kSmooth, own_tables});
      ExpectSameAsLibrary({640, 133, factors, 98, 0, Content::kNoise, own_tables});
      ExpectSameAsLibrary({640, 133, factors, 80, 0, Content::kExtreme, own_tables});
    }
  }
  ExpectSameAsLibrary({65500, 17, kFactors[6]});
  for (const JpegPicture& picture : kJpegPictures) {
    EXPECT_EQ(Sum(DecodeByLibrary(picture.Stream())), picture.sum) << picture.name;
  }
}

// Fused or one after the other, the two make the same rows; a callback between them keeps them
// apart.
TEST(JpegDecode, ColourConversionFusedOrNot) {
  const std::vector<XformDescriptor> chain = {BuiltIn(XFORM_JPEG_DECODE, {0}),
                                              BuiltIn(XFORM_COLOR_SPACE, {2}),
                                              BuiltIn(XFORM_FLIP, {1, 1, 50})};
  for (const auto& factors : kFactors) {
    const Bytes stream = EncodeJpeg({67, 50, factors});
    OnEveryPath([&] {
      const Outcome apart = RunWhole(chain, Traits(1, 8), stream);
      std::vector<XformDescriptor> watched = chain;
      size_t seen = 0;
      watched[1].clientData = &seen;
      watched[1].outputCallback = [](IpHandle, const ImageTraits* traits, size_t bytes,
                                     const uint8_t*, uint64_t, void* client) {
        *static_cast<size_t*>(client) += bytes == RowBytes(*traits);
      };
      Harness fused(watched, Traits(1, 8), false);
      fused.Feed(stream);
      EXPECT_EQ(ipApplyXformParams(1, fused.handle()), IP_FINISHED);
      fused.Drain();
      ASSERT_EQ(fused.outcome().result, apart.result);
      ASSERT_TRUE(fused.outcome().output == apart.output) << factors.size();
      EXPECT_EQ(seen, factors.size() < 4 ? 50u : 0u);
      EXPECT_EQ(ipSetXformParam(1, 0, 3, fused.handle()), IP_FINISHED);
      EXPECT_EQ(ipApplyXformParams(1, fused.handle()), IP_FATAL_ERROR) << "too late";
    });
  }
}

}  // namespace
}  // namespace scantk::testing
