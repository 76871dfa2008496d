#include <gtest/gtest.h>

#include "imaging/cpu.h"
#include "imaging/mirror.h"
#include "tests/imaging/pipeline_harness.h"

namespace scantk::testing {
namespace {

Outcome Flip(std::initializer_list<int64_t> params, int pixels, int bits, const Bytes& input,
             int rows = -1) {
  return RunWhole({BuiltIn(XFORM_FLIP, params)}, Traits(pixels, bits, rows), input);
}

// Pixel by pixel, bit by bit for bilevel rows.
Bytes Mirrored(const Bytes& row, int bits) {
  Bytes mirrored(row.size());
  if (bits == 1) {
    const size_t count = row.size() * 8;
    for (size_t i = 0; i < count; ++i) {
      const size_t j = count - 1 - i;
      if (row[i / 8] >> (7 - i % 8) & 1) mirrored[j / 8] |= static_cast<uint8_t>(128 >> j % 8);
    }
    return mirrored;
  }
  const size_t size = static_cast<size_t>(bits) / 8;
  for (size_t at = 0; at < row.size(); ++at) {
    mirrored[row.size() - size - at / size * size + at % size] = row[at];
  }
  return mirrored;
}

TEST(Flip, TurnsAndReverses) {
  const Bytes abcdef = {1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15, 16, 17, 18};
  EXPECT_EQ(Flip({1, 1, 3}, 2, 24, abcdef).output,
            (Bytes{16, 17, 18, 13, 14, 15, 10, 11, 12, 7, 8, 9, 4, 5, 6, 1, 2, 3}));
  EXPECT_EQ(Flip({0, 1, 3}, 2, 24, abcdef).output,
            (Bytes{13, 14, 15, 16, 17, 18, 7, 8, 9, 10, 11, 12, 1, 2, 3, 4, 5, 6}));
  EXPECT_EQ(Flip({1, 0, 0}, 16, 1, {0x80, 0x01, 0xF0, 0x00}).output, (Bytes{0x80, 1, 0, 0x0F}));
}

TEST(Flip, RowCountAgainstRowsThatCome) {
  const Bytes three = {1, 2, 3};
  const struct {
    const char* what;
    std::initializer_list<int64_t> params;
    Bytes output;
  } cases[] = {
      {"reversed, two missing", {0, 1, 5}, {255, 255, 3, 2, 1}},
      {"reversed, one too many", {0, 1, 2}, {2, 1}},
      {"mirrored, two missing", {1, 0, 5}, {1, 2, 3, 255, 255}},
      {"mirrored, one too many", {1, 0, 2}, {1, 2}},
      {"mirrored, unlimited", {1, 0, 0}, {1, 2, 3}},
      {"neither", {0, 0, 0}, {1, 2, 3}},
  };
  for (const auto& test : cases) {
    const Outcome outcome = Flip(test.params, 1, 8, three);
    EXPECT_EQ(outcome.output, test.output) << test.what;
    EXPECT_EQ(outcome.result, IP_FINISHED) << test.what;
    EXPECT_EQ(outcome.used, 3u) << test.what;
  }
  EXPECT_EQ(Flip({0, 1, 2}, 1, 8, {}).output, (Bytes{255, 255})) << "no row at all";
}

TEST(Flip, TheRowCountChangesDuringThePage) {
  const struct {
    const char* what;
    int64_t rows;
    int64_t later;  // set when three rows have come
    Bytes more;
    Bytes output;
  } cases[] = {
      {"lowered to what has come", 5, 3, {}, {3, 2, 1}},
      {"lowered below it", 5, 2, {}, {2, 1}},
      {"lowered, more come", 5, 4, {4, 5}, {4, 3, 2, 1}},
      {"raised beyond the places", 4, 9, {4, 5}, {4, 3, 2, 1}},
      {"the same", 4, 4, {4}, {4, 3, 2, 1}},
      {"the same, all have come", 3, 3, {}, {3, 2, 1}},
  };
  for (const auto& test : cases) {
    Harness harness({BuiltIn(XFORM_FLIP, {0, 1, test.rows})}, Traits(1, 8));
    harness.Feed({1, 2, 3});
    EXPECT_EQ(ipSetXformParam(0, 2, test.later, harness.handle()), IP_FINISHED);
    EXPECT_EQ(ipApplyXformParams(0, harness.handle()), IP_FINISHED);
    harness.Feed(test.more);
    harness.Drain();
    EXPECT_EQ(harness.outcome().output, test.output) << test.what;
    EXPECT_EQ(harness.outcome().result, IP_FINISHED) << test.what;
  }
}

// Memory follows the rows that come: the greatest count that can be announced costs nothing.
TEST(Flip, AHostileRowCountCostsNothing) {
  Harness harness({BuiltIn(XFORM_FLIP, {0, 1, INT64_MAX})}, Traits(100000, 24, INT32_MAX));
  harness.Feed(Bytes(600000, 7));
  uint8_t row[300000];
  for (int i = 0; i < 3; ++i) {
    size_t used = 0, produced = 0;
    uint64_t next = 0, position = 0;
    EXPECT_EQ(ipConvert(harness.handle(), 0, nullptr, &used, &next, sizeof row, row, &produced,
                        &position),
              0);
    EXPECT_EQ(produced, sizeof row);
    EXPECT_EQ(row[299999], 255);
  }
}

TEST(Flip, RefusedParametersAndPixelSizes) {
  EXPECT_EQ(Flip({0, 1, 0}, 4, 8, Bytes(4)).result, IP_FATAL_ERROR) << "reversing needs a count";
  EXPECT_EQ(Flip({0, 0, -1}, 4, 8, Bytes(4)).result, IP_FATAL_ERROR);
  EXPECT_EQ(Flip({1, 0, 0}, 4, 32, Bytes(16)).result, IP_FATAL_ERROR) << "nothing mirrors 32 bits";
  EXPECT_EQ(Flip({0, 1, 1}, 4, 32, Bytes(16)).result, IP_FINISHED);
  EXPECT_EQ(Flip({0, 1, 9}, 4, 8, Bytes(7)).result, IP_FATAL_ERROR) << "part of a row";
}

TEST(Flip, TheTraitsNameTheSmallerCount) {
  for (const auto& [announced, asked, told] :
       {std::tuple{10, 4, 4}, std::tuple{3, 4, 3}, std::tuple{-1, 4, -1}}) {
    int32_t seen = 0;
    XformDescriptor flip = BuiltIn(XFORM_FLIP, {0, 1, asked});
    flip.clientData = &seen;
    flip.outputCallback = [](IpHandle, const ImageTraits* traits, size_t, const uint8_t*, uint64_t,
                             void* client) { *static_cast<int32_t*>(client) = traits->rowCount; };
    Harness harness({flip}, Traits(1, 8, announced), false);
    harness.Feed({1});
    harness.Drain();
    EXPECT_EQ(seen, told);
  }
}

TEST(Mirror, PathsAgreeWithTheModelOnEveryLength) {
  for (const bool plain : {true, false}) {
    ForcePlainPath(plain);
    for (const int bits : {1, 8, 16, 24, 48}) {
      const MirrorFunction mirror = ChooseMirror(bits);
      const size_t size = bits == 1 ? 1 : static_cast<size_t>(bits) / 8;
      for (size_t pixels = 1; pixels < 120; ++pixels) {
        const Bytes row = RandomBytes(pixels * size, static_cast<uint32_t>(pixels));
        Bytes output(row.size());
        mirror(row.data(), output.data(), row.size(), row.data());
        ASSERT_EQ(output, Mirrored(row, bits)) << bits << " bits, " << pixels << " pixels";
      }
    }
  }
  EXPECT_EQ(ChooseMirror(12), nullptr);
}

}  // namespace
}  // namespace scantk::testing
