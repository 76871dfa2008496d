#include "tests/imaging/jpeg_pictures.h"

namespace scantk::testing {
namespace {

// Catches: a path of a processor for which there is no library to compare with, that decodes
// differently; a scan that is not taken up as it was left. Some pictures are longer than what is
// gathered before the first row.
TEST(JpegPictures, EveryPathAndEveryChunkingMakesWhatTheLibraryMade) {
  const Chunks chunkings[] = {{},
                              {{1}, {64000}},
                              {{13}, {149}},
                              {{1823, 1}, {900}},
                              {{3649}, {1}},
                              {{17000}, {64000}},
                              {{62000}, {149}}};
  for (const JpegPicture& picture : kJpegPictures) {
    const Bytes stream = picture.Stream();
    const auto check = [&](const Chunks& chunks) {
      Harness harness({BuiltIn(XFORM_JPEG_DECODE, {})}, Traits(1, 8), false);
      harness.Feed(stream, chunks);
      harness.Drain(chunks);
      EXPECT_EQ(harness.outcome().result, IP_FINISHED) << picture.name;
      EXPECT_EQ(Sum(harness.outcome().output), picture.sum) << picture.name;
    };
    for (const Chunks& chunks : chunkings) check(chunks);
    OnEveryPath([&] { check({{700, 1}, {}}); });
  }
}

}  // namespace
}  // namespace scantk::testing
