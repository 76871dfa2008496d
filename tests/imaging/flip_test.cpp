#include "tests/imaging/pipeline_harness.h"

namespace scantk::testing {
namespace {

Outcome Flip(std::initializer_list<int64_t> params, int pixels, int bits, const Bytes& input) {
  return RunWhole({BuiltIn(XFORM_FLIP, params)}, Traits(pixels, bits), input);
}

TEST(Flip, TurnsAndReverses) {
  const Bytes abcdef = {1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15, 16, 17, 18};
  EXPECT_EQ(Flip({1, 1, 3}, 2, 24, abcdef).output,
            (Bytes{16, 17, 18, 13, 14, 15, 10, 11, 12, 7, 8, 9, 4, 5, 6, 1, 2, 3}));
  EXPECT_EQ(Flip({0, 1, 3}, 2, 24, abcdef).output,
            (Bytes{13, 14, 15, 16, 17, 18, 7, 8, 9, 10, 11, 12, 1, 2, 3, 4, 5, 6}));
  EXPECT_EQ(Flip({1, 0, 0}, 16, 1, {0x80, 0x01, 0xF0, 0x00}).output, (Bytes{0x80, 1, 0, 0x0F}));
  EXPECT_EQ(Flip({1, 0, 0}, 3, 8, {1, 2, 3}).output, (Bytes{3, 2, 1}));
  EXPECT_EQ(Flip({1, 0, 0}, 3, 16, {1, 2, 3, 4, 5, 6}).output, (Bytes{5, 6, 3, 4, 1, 2}));
  EXPECT_EQ(Flip({1, 0, 0}, 2, 48, {1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12}).output,
            (Bytes{7, 8, 9, 10, 11, 12, 1, 2, 3, 4, 5, 6}));
  // What fills the last byte of a bilevel row stays behind the last pixel, white.
  EXPECT_EQ(Flip({1, 1, 1}, 11, 1, {0x80, 0x40}).output, (Bytes{0x40, 0x3F}));
  EXPECT_EQ(Flip({1, 1, 1}, 5, 1, {0xF7}).output, (Bytes{0x7F}));
  EXPECT_EQ(Flip({0, 1, 1}, 5, 1, {0xF0}).output, (Bytes{0xF0})) << "an unturned row is copied";
}

// Rows that never came are white, surplus ones are dropped, whatever stands behind the flip; the
// count may change when the first three have come, never beyond the places for rows.
TEST(Flip, RowCountAgainstRowsThatCome) {
  // Parameters; the count after three rows, -1: unchanged; rows behind them; output.
  const std::tuple<const char*, std::vector<int64_t>, int64_t, Bytes, Bytes> cases[] = {
      {"reversed, two missing", {0, 1, 5}, -1, {}, {255, 255, 3, 2, 1}},
      {"reversed, too many", {0, 1, 2}, -1, {4, 5}, {2, 1}},
      {"mirrored, two missing", {1, 0, 5}, -1, {}, {1, 2, 3, 255, 255}},
      {"mirrored, one too many", {1, 0, 2}, -1, {}, {1, 2}},
      {"mirrored, unlimited", {1, 0, 0}, -1, {4}, {1, 2, 3, 4}},
      {"neither", {0, 0, 0}, -1, {}, {1, 2, 3}},
      {"lowered to what has come", {0, 1, 5}, 3, {}, {3, 2, 1}},
      {"lowered below it", {0, 1, 5}, 2, {}, {2, 1}},
      {"lowered below it, more come", {0, 1, 5}, 2, {4, 5}, {2, 1}},
      {"lowered while rows are given: begins anew", {0, 1, 3}, 2, {}, {3, 2, 1}},
      {"lowered, more come", {0, 1, 5}, 4, {4, 5}, {4, 3, 2, 1}},
      {"raised beyond the places", {0, 1, 4}, 9, {4, 5}, {4, 3, 2, 1}},
      {"the same", {0, 1, 4}, 4, {4}, {4, 3, 2, 1}},
      {"the same, all have come", {0, 1, 3}, 3, {}, {3, 2, 1}},
  };
  for (const auto& [what, params, later, more, output] : cases) {
    for (const bool before_another : {false, true}) {
      std::vector<XformDescriptor> chain = {BuiltIn(XFORM_FLIP, {params[0], params[1], params[2]})};
      if (before_another) chain.push_back(BuiltIn(XFORM_TABLE, {1}));
      Harness harness(chain, Traits(1, 8));
      harness.Feed({1, 2, 3});
      ipSetXformParam(0, 2, later < 0 ? params[2] : later, harness.handle());
      EXPECT_EQ(ipApplyXformParams(0, harness.handle()), IP_FINISHED);
      harness.Feed(more);
      harness.Drain();
      EXPECT_EQ(harness.outcome().output, output) << what;
      EXPECT_EQ(harness.outcome().result, IP_FINISHED) << what;
      EXPECT_EQ(harness.outcome().used, 3 + more.size()) << what;
    }
  }
  EXPECT_EQ(Flip({0, 1, 2}, 1, 8, {}).output, (Bytes{255, 255})) << "no row at all";
}

// Memory follows the rows that come: the greatest count that can be announced costs nothing.
TEST(Flip, AHostileRowCountCostsNothing) {
  Harness harness({BuiltIn(XFORM_FLIP, {0, 1, INT64_MAX})}, Traits(100000, 24, INT32_MAX));
  harness.Feed(Bytes(600000, 7));
  for (int i = 0; i < 3; ++i) harness.Call(nullptr, 0, 300000);
  EXPECT_TRUE(harness.outcome().output == Bytes(900000, 255));
}

TEST(Flip, RefusedParametersAndPixelSizes) {
  EXPECT_EQ(Flip({0, 1, 0}, 4, 8, Bytes(4)).result, IP_FATAL_ERROR) << "reversing needs a count";
  EXPECT_EQ(Flip({0, 0, -1}, 4, 8, Bytes(4)).result, IP_FATAL_ERROR);
  EXPECT_EQ(Flip({1, 0, 0}, 4, 32, Bytes(16)).result, IP_FATAL_ERROR) << "nothing mirrors 32 bits";
  EXPECT_EQ(Flip({0, 1, 1}, 4, 32, Bytes(16)).result, IP_FINISHED);
  EXPECT_EQ(Flip({0, 1, 9}, 4, 8, Bytes(7)).result, IP_FATAL_ERROR) << "part of a row";
  for (const auto& [announced, told] : {std::pair{10, 4}, {3, 3}, {-1, -1}}) {
    ImageTraits traits{};
    const Harness harness({BuiltIn(XFORM_FLIP, {0, 1, 4})}, Traits(1, 8, announced));
    EXPECT_EQ(ipGetOutputTraits(harness.handle(), &traits), IP_FINISHED);
    EXPECT_EQ(traits.rowCount, told);
  }
}

}  // namespace
}  // namespace scantk::testing
