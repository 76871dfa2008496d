#include "tests/imaging/jpeg_pictures.h"

#include <filesystem>

namespace scantk::testing {
namespace {

// Catches: a path of a processor for which there is no library to compare with, that decodes
// differently; a scan that is not taken up as it was left. Some pictures are longer than what is
// gathered before the first row.
TEST(JpegPictures, EveryPathAndEveryChunkingMakesWhatTheLibraryMade) {
  const std::pair<size_t, size_t> chunkings[] = {
      {SIZE_MAX, SIZE_MAX}, {1, 64000}, {13, 149}, {3649, 1}, {17000, 64000}, {62000, 149}};
  for (const JpegPicture& picture : kJpegPictures) {
    const Bytes stream = picture.Stream();
    const auto check = [&](const Chunks& chunks) {
      const Outcome outcome = DecodeJpeg(stream, chunks);
      EXPECT_EQ(outcome.result, IP_FINISHED) << picture.name;
      EXPECT_EQ(Sum(outcome.output), picture.sum) << picture.name;
    };
    for (const auto& [in, out] : chunkings) check({{in}, {out}});
    OnEveryPath([&] { check({{700, 1}, {}}); });
  }
}

// Catches: a legal stream that is refused or decoded otherwise, a malformed one that is decoded.
TEST(JpegPictures, EveryFormIsAcceptedAndEveryMistakeRefused) {
  for (const char* folder : {"/forms", "/refused"}) {
    const bool legal = folder[1] == 'f';
    int files = 0;
    for (const auto& file :
         std::filesystem::directory_iterator(SCANTK_PICTURES + std::string(folder))) {
      const std::string path = file.path().string();
      for (const size_t piece : {size_t{1}, size_t{1000}, SIZE_MAX}) {
        const Outcome outcome = DecodeJpeg(ReadBytes(path), {{piece}, {5000}});
        EXPECT_EQ(outcome.result, legal ? IP_FINISHED : kMalformed) << path;
        if (legal) {
          EXPECT_EQ(Sum(outcome.output), std::end(kJpegPictures)[-1].sum) << path;
        }
      }
      ++files;
    }
    EXPECT_GT(files, 0) << folder;
  }
}

}  // namespace
}  // namespace scantk::testing
