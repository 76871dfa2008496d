// The decoder's conduct: pieces of every size, and input that lies.
#include "tests/imaging/jpeg_samples.h"

namespace scantk::testing {
namespace {

TEST(JpegStream, GivesSamplesAsTheyAreCoded) {
  const Bytes stream = EncodeJpeg({37, 21, "22 11 12"});
  const Bytes pixels = DecodeByLibrary(stream);
  Bytes expected;
  for (size_t y = 0; y < 21; ++y) {
    for (size_t x = 0; x < 37; ++x) expected.push_back(pixels[3 * (37 * y + x)]);
    for (size_t c = y % 2 + 1; c < 3; ++c) {
      for (size_t x = 0; x < 37; x += 2) expected.push_back(pixels[3 * (37 * y + x) + c]);
    }
  }
  EXPECT_TRUE(DecodeJpeg(stream, {}, 1).output == expected);
}

TEST(JpegStream, TruncatedAnywhereGivesItsRowsAndEnds) {
  const Bytes stream = EncodeJpeg({50, 41, kUsual.factors, 75, 2, Content::kNoise});
  const Bytes expected = DecodeByLibrary(stream);
  const size_t header = Find(stream, 0xDA) + 14;
  size_t rows = 0;
  for (size_t size = 0; size < stream.size(); ++size) {
    const Bytes cut(stream.begin(), stream.begin() + static_cast<ptrdiff_t>(size));
    Outcome outcome = DecodeJpeg(cut, By(SIZE_MAX));
    ASSERT_EQ(outcome.result & kMalformed, size < header ? kMalformed : IP_INPUT_ERROR) << size;
    ASSERT_GE(outcome.output.size(), rows) << size;
    rows = outcome.output.size();
    ASSERT_TRUE(std::equal(outcome.output.begin(), outcome.output.end(), expected.begin()));
  }
  EXPECT_EQ(rows, expected.size());
  Harness harness({BuiltIn(XFORM_JPEG_DECODE, {})}, Traits(1, 8));
  harness.Feed(Bytes(stream.begin(), stream.end() - 2));
  for (int i = 0; i < 3; ++i) harness.Call(nullptr, 0, 5000);
  EXPECT_TRUE(harness.outcome().result & IP_FINISHED)
      << "a caller who asks on hears that it is over";
}

// Every path makes the same of every damaged stream, and ends.
TEST(JpegStream, SurvivesEveryChangeOfAByte) {
  Bytes stream = EncodeJpeg({19, 17, "21 11 11", 75, 1});
  for (size_t at = 0; at < stream.size(); ++at) {
    const uint8_t was = stream[at];
    const bool in_table = at > 150 && at + 150 < stream.size();
    for (int step = 1; step < 256; step += in_table ? 37 : 9) {
      stream[at] = static_cast<uint8_t>(was + step);
      Bytes first;
      OnEveryPath([&] {
        const Outcome outcome = DecodeJpeg(stream, By(SIZE_MAX));
        EXPECT_EQ(outcome.result & ~(IP_FINISHED | kMalformed), 0);
        if (ChosenPath() == CpuPath::kPlain) first = outcome.output;
        ASSERT_TRUE(outcome.output == first) << at << " " << step;
      });
    }
    stream[at] = was;
  }
}

}  // namespace
}  // namespace scantk::testing
