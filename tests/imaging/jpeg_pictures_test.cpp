#include "tests/imaging/jpeg_pictures.h"

namespace scantk::testing {
namespace {

// Catches: a path of a processor for which there is no library to compare with, that decodes
// differently. In pieces, so that the scan is taken up in many places.
TEST(JpegPictures, EveryPathMakesWhatTheLibraryMade) {
  for (const JpegPicture& picture : kJpegPictures) {
    const Bytes stream = picture.Stream();
    for (const Piece& piece : {Piece{}, Piece{700, 1}}) {
      OnEveryPath([&] {
        const Outcome outcome =
            RunWhole({BuiltIn(XFORM_JPEG_DECODE, {})}, Traits(1, 8), stream, {piece, {}});
        EXPECT_EQ(outcome.result, IP_FINISHED) << picture.name;
        EXPECT_EQ(Sum(outcome.output), picture.sum) << picture.name;
      });
    }
  }
}

}  // namespace
}  // namespace scantk::testing
