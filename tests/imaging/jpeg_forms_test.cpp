// What a stream says of its picture, in front of it and behind.
#include "tests/imaging/jpeg_samples.h"

namespace scantk::testing {
namespace {

// With the number of lines behind the scan; -1: with none.
Bytes Behind(const Bytes& stream, int lines) {
  Bytes changed(stream.begin(), stream.end() - 2);
  if (lines >= 0) Append(changed, {0xFF, 0xDC, 0, 4, 0, static_cast<uint8_t>(lines)});
  Append(changed, {0xFF, 0xD9});
  return changed;
}

TEST(JpegForms, TellsWhatItIs) {
  const auto told = [](const Bytes& application) {
    Bytes stream = EncodeJpeg(kUsual);
    stream.insert(stream.begin() + 2, application.begin(), application.end());
    Harness harness({BuiltIn(XFORM_JPEG_DECODE, {})}, Traits(1, 8));
    ImageTraits traits{};
    EXPECT_EQ(ipGetOutputTraits(harness.handle(), &traits), IP_NEED_INPUT);
    harness.Feed(stream);
    harness.Drain();
    EXPECT_EQ(ipGetOutputTraits(harness.handle(), &traits), IP_FINISHED);
    return traits;
  };
  const ImageTraits usual = told({});
  EXPECT_EQ(std::tuple(usual.pixelsPerRow, usual.componentsPerPixel, usual.bitsPerPixel,
                       usual.rowCount, usual.xDpi),
            std::tuple(50, 3, 24, 41, 300 << 16));
  const std::tuple<Bytes, int, int> resolutions[] = {
      {{0xFF, 0xE0, 0, 16, 'j', 'F', 'i', 'F', 0, 1, 2, 1, 0, 200, 1, 44, 0, 0}, 200, 300},
      {{0xFF, 0xE0, 0, 16, 'J', 'F', 'I', 'F', 0, 1, 2, 2, 0, 100, 0, 100, 0, 0}, 254, 254},
      {{0xFF, 0xE1, 0, 14, 'G', '3', 'F', 'A', 'X', 0, 7, 0xCA, 0, 200, 0, 0}, 200, 200},
      {{0xFF, 0xE0, 0, 5, 'J', 'F', 'I'}, 300, 300}};
  for (const auto& [application, x, y] : resolutions) {
    const ImageTraits traits = told(application);
    EXPECT_EQ(std::pair(traits.xDpi, traits.yDpi), std::pair(x << 16, y << 16));
  }
}

TEST(JpegForms, EndsWhereTheNumberOfLinesSays) {
  const Bytes original = EncodeJpeg(kUsual);
  const std::tuple<int, int, int> cases[] = {
      // lines in the frame and behind the scan, -1: none; rows. 48 are coded.
      {0, 41, 41}, {0, 48, 48}, {0, 33, 33},  {41, 35, 35}, {41, 41, 41}, {41, 0, 0},
      {0, -1, 48}, {0, 49, 48}, {41, 42, 41}, {60, -1, 48}, {0, 20, 32}};  // 32 were given away
  for (const auto& [frame, lines, rows] : cases) {
    Bytes stream = Behind(original, lines);
    stream[Find(stream, 0xC0) + 6] = static_cast<uint8_t>(frame);
    const Outcome outcome = DecodeJpeg(stream);
    EXPECT_EQ(outcome.result, rows ? IP_FINISHED : kMalformed) << frame << " " << lines;
    if (rows == 0) continue;
    EXPECT_EQ(outcome.output.size(), 150u * static_cast<size_t>(rows)) << frame << " " << lines;
  }
  Bytes early = original;  // EOI where a restart is due, between MCU rows
  early.resize(Find(early, 0xD1));
  Append(early, {0xFF, 0xD9});
  EXPECT_EQ(DecodeJpeg(early).output.size(), 150u * 16);

  // The last MCU row in less than a byte: gray blocks of 6 bits, one a row. DC 0 (00) and EOB
  // (1010), five times; then ones.
  Bytes tiny = EncodeJpeg({8, 8});
  tiny[Find(tiny, 0xC0) + 6] = 0;
  tiny.resize(Find(tiny, 0xDA) + 10);
  Bytes rows = tiny;
  Append(rows, {0x28, 0xA2, 0x8A, 0x2B, 0xFF, 0xD9});
  for (const int lines : {40, 33, 41, -1}) {
    const Outcome outcome = DecodeJpeg(Behind(rows, lines));
    EXPECT_EQ(outcome.result, IP_FINISHED) << lines;
    EXPECT_EQ(outcome.output, Bytes(lines == 33 ? 264u : 320u, 128)) << lines;
  }
  // More rows than any picture has, of a height that nobody told.
  for (int i = 0; i < 2200; ++i) Append(tiny, {0x28, 0xA2, 0x8A});
  Append(tiny, {0xFF, 0xD9});
  EXPECT_EQ(DecodeJpeg(tiny).result, kMalformed);
}

}  // namespace
}  // namespace scantk::testing
