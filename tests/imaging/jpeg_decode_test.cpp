// The decoder's samples, compared with those of the established library.
#include <array>

#include "tests/imaging/jpeg_pictures.h"
#include "tests/imaging/jpeg_samples.h"

namespace scantk::testing {
namespace {

// A lone component's factors are without meaning; chroma may be larger than luma; 3:2, 4:3.
const std::string kFactors[] = {
    "11",       "22",          "11 11",       "22 11",      "11 11 11", "21 11 11", "22 11 11",
    "12 11 11", "22 12 12",    "22 21 21",    "21 21 21",   "41 11 11", "14 11 12", "42 11 11",
    "11 22 12", "31 11 11",    "13 11 11",    "31 21 11",   "13 12 11", "41 31 11", "14 13 11",
    "32 21 12", "11 11 11 11", "22 11 11 22", "41 11 21 31"};

// Every path against the library.
void ExpectSameAsLibrary(const JpegRecipe& recipe) {
  const Bytes stream = EncodeJpeg(recipe);
  const Bytes expected = DecodeByLibrary(stream);
  OnEveryPath([&] {
    const Outcome outcome = DecodeJpeg(stream);
    EXPECT_EQ(outcome.result, IP_FINISHED) << recipe.factors;
    EXPECT_EQ(outcome.used, stream.size()) << recipe.factors;
    ASSERT_TRUE(outcome.output == expected)
        << recipe.width << "x" << recipe.height << " " << recipe.factors << " quality "
        << recipe.quality << " restart " << recipe.restart;
  });
}

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
  for (const char* factors : {"11", "11 11 11", "21 11 11", "22 11 11", "41 11 11"}) {
    for (const bool own_tables : {false, true}) {
      ExpectSameAsLibrary({640, 333, factors, 80, 40, Content::kSmooth, own_tables});
      ExpectSameAsLibrary({640, 133, factors, 98, 0, Content::kNoise, own_tables});
      ExpectSameAsLibrary({640, 133, factors, 80, 0, Content::kExtreme, own_tables});
    }
  }
  ExpectSameAsLibrary({65500, 17, "22 11 11"});
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
      ASSERT_TRUE(fused.outcome().output == apart.output) << factors;
      EXPECT_EQ(seen, factors.size() < 11 ? 50u : 0u);
      EXPECT_EQ(ipSetXformParam(1, 0, 3, fused.handle()), IP_FINISHED);
      EXPECT_EQ(ipApplyXformParams(1, fused.handle()), IP_FATAL_ERROR) << "too late";
    });
  }
}

}  // namespace
}  // namespace scantk::testing
