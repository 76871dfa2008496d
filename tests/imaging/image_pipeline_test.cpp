#include "imaging/image_pipeline.h"

#include <gtest/gtest.h>

#include "tests/imaging/pipeline_harness.h"
#include "tests/imaging/scripted_xform.h"

namespace scantk::testing {
namespace {

const XformDescriptor kPass = BuiltIn(XFORM_TABLE, {1});

// What comes out, what the callbacks are told, where and in which order depends on the image alone,
// never on the sizes of the pieces in which it is given and taken.
TEST(ImagePipeline, EveryChunkingGivesTheSame) {
  std::mt19937 engine(1);
  for (uint32_t round = 0; round < 300; ++round) {
    const int pixels = static_cast<int>(engine() % (round % 3 ? 30 : 900) + 1);
    const size_t row = static_cast<size_t>(pixels) * 3;
    const size_t count = engine() % 4 + 1;
    std::vector<XformDescriptor> chain;
    for (size_t i = 0; i < count; ++i) {
      const int64_t header = i == 0 ? static_cast<int64_t>(engine() % 3 * 40) : 0;
      chain.push_back(engine() % 4 == 0 ? kPass
                                        : ScriptedXform::Make(header, engine() % 3 + (i == 0),
                                                              engine() % 4 == 0));
    }
    const size_t header = chain[0].ops ? static_cast<size_t>(chain[0].params[0]) : 0;
    const size_t rows = engine() % 12 + 1;
    const Bytes input = RandomBytes(header + rows * row, round);

    const Outcome whole = RunWhole(chain, Traits(pixels, 24), input);
    Bytes expected = input;
    bool starves_a_later_one = false;
    for (const XformDescriptor& xform : chain) {
      starves_a_later_one |= expected.empty();
      if (xform.ops) expected = ScriptedXform::Model(xform, row, expected);
    }
    if (starves_a_later_one) {  // a later transform that never sees a row cannot know its traits
      EXPECT_EQ(whole.result, IP_FATAL_ERROR);
      continue;
    }
    ASSERT_EQ(whole.result, IP_FINISHED) << "round " << round;
    ASSERT_EQ(whole.output, expected) << "round " << round;
    ASSERT_EQ(whole.used, input.size());

    const size_t sizes[][2] = {{1, 1}, {3 * row, 2 * row}, {row + 7, 1 << 20}, {1 << 20, row}};
    for (const auto& [in, out] : sizes) {
      Harness harness(chain, Traits(pixels, 24));
      const Chunks chunks{Chunks::Random(in, round), Chunks::Random(out, round + 1)};
      harness.Feed(input, chunks);
      harness.Drain(chunks);
      ASSERT_EQ(harness.outcome().result, IP_FINISHED);
      ASSERT_EQ(harness.outcome().output, expected) << "round " << round << ", pieces " << in;
      ASSERT_EQ(harness.outcome().events, whole.events) << "round " << round << ", pieces " << in;
      ASSERT_TRUE(harness.positions_agree());
    }
  }
  EXPECT_EQ(ScriptedXform::live_instances, 0);
}

// A chain does what its transforms do one after the other, in any pieces.
TEST(ImagePipeline, AChainOfBuiltInsIsTheirComposition) {
  constexpr int kPixels = 431, kRows = 23;
  const auto factor = [](double value) { return static_cast<int64_t>(value * (1 << 24)); };
  const XformDescriptor color = BuiltIn(XFORM_COLOR_SPACE, {2});
  const XformDescriptor flip = BuiltIn(XFORM_FLIP, {1, 1, kRows});
  const XformDescriptor scale = BuiltIn(XFORM_SCALE, {factor(2.5), factor(1.4), 1});
  const ImageTraits traits = Traits(kPixels, 24, kRows);
  const Bytes input = RandomBytes(3 * kPixels * kRows, 11);
  const Bytes flipped = RunWhole({flip}, traits, RunWhole({color}, traits, input).output).output;
  const Bytes expected = RunWhole({scale}, traits, flipped).output;
  ASSERT_EQ(expected.size(), 3u * (kPixels * 5 / 2) * (kRows * 7 / 5));
  for (uint32_t seed = 0; seed < 12; ++seed) {
    const Chunks chunks{Chunks::Random(seed % 2 ? 50 : 5000, seed),
                        Chunks::Random(seed % 3 ? 90 : 40000, seed)};
    const Outcome outcome = RunWhole({color, flip, scale}, traits, input, chunks);
    ASSERT_EQ(outcome.result, IP_FINISHED);
    ASSERT_EQ(outcome.output, expected) << seed;
  }
}

TEST(ImagePipeline, GivesPartOfARowAndTheRestBeforeTakingInput) {
  Harness harness({kPass}, Traits(1500, 8));
  const Bytes input = RandomBytes(4500, 2);
  EXPECT_EQ(harness.Call(input.data(), 4500, 600), 1500u);
  EXPECT_EQ(harness.outcome().output.size(), 600u);
  EXPECT_EQ(harness.Call(input.data() + 1500, 3000, 899), 0u);
  EXPECT_EQ(harness.outcome().output.size(), 1499u);
  EXPECT_EQ(harness.Call(input.data() + 1500, 3000, 1 << 20), 3000u);
  EXPECT_EQ(harness.outcome().output, input);
}

TEST(ImagePipeline, ReturnsWhenNothingCanMove) {
  Harness harness({kPass}, Traits(1500, 8));
  const Bytes input = RandomBytes(3000, 12);
  EXPECT_EQ(harness.Call(input.data(), 0, 5000), 0u) << "no input yet, but more will come";
  EXPECT_EQ(harness.Call(input.data(), 3000, 0), 1500u) << "a row is made ahead";
  EXPECT_EQ(harness.Call(input.data() + 1500, 1500, 0), 0u) << "and waits for room";
  EXPECT_EQ(harness.Call(input.data() + 1500, 1500, 5000), 1500u);
  EXPECT_EQ(harness.outcome().result, 0);
  EXPECT_EQ(harness.outcome().output, input);
}

TEST(ImagePipeline, FinishesOnceAndStaysFinished) {
  Harness harness({kPass}, Traits(10, 8));
  harness.Feed(RandomBytes(100, 3));
  EXPECT_EQ(harness.outcome().result, 0);
  for (int i = 0; i < 3; ++i) {
    EXPECT_EQ(harness.Call(nullptr, 0, 1000), 0u);
    EXPECT_EQ(harness.outcome().result, IP_FINISHED);
  }
  EXPECT_EQ(harness.outcome().output.size(), 100u);
  const uint8_t late[5] = {};
  EXPECT_EQ(harness.Call(late, 5, 1000), 5u) << "input after the end is reported as used";
  EXPECT_EQ(harness.outcome().result, IP_FINISHED);
}

TEST(ImagePipeline, PartOfARowAtTheEndIsFatalAfterTheRowsBeforeIt) {
  const Outcome outcome = RunWhole({kPass}, Traits(700, 24), RandomBytes(2100 * 2 + 5, 4));
  EXPECT_EQ(outcome.result, IP_FATAL_ERROR);
  EXPECT_EQ(outcome.output.size(), 4200u);
}

TEST(ImagePipeline, NoOutputBufferDiscardsEverything) {
  Harness harness({kPass, kPass}, Traits(40, 24));
  const Bytes input = RandomBytes(1200, 5);
  size_t used = 0, produced = 0;
  uint64_t next = 0, position = 0;
  EXPECT_EQ(ipConvert(harness.handle(), 1200, input.data(), &used, &next, 0, nullptr, &produced,
                      &position),
            0);
  EXPECT_EQ(used, 1200u);
  EXPECT_EQ(produced, 1200u);
  EXPECT_EQ(harness.outcome().events.back().data, Bytes(input.end() - 120, input.end()));
}

// What a broken or unhappy transform does reaches the caller, and no call goes round for ever.
TEST(ImagePipeline, Misconduct) {
  const struct {
    Misconduct misconduct;
    IpResult result;
    size_t rows_out;  // delivered up to the first result bit
  } cases[] = {
      {kStarves, IP_FATAL_ERROR, 0},    {kSpins, IP_FATAL_ERROR, 0},
      {kInputError, IP_INPUT_ERROR, 3}, {kFatalError, IP_FATAL_ERROR, 2},
      {kOverclaims, IP_FATAL_ERROR, 0}, {kFinishesEarly, IP_FINISHED, 2},
  };
  for (const auto& test : cases) {
    for (const bool later : {false, true}) {
      std::vector<XformDescriptor> chain = {ScriptedXform::Make(0, 1, 0, test.misconduct)};
      if (later) chain.insert(chain.begin(), kPass);
      const Outcome outcome = RunWhole(chain, Traits(400, 24), RandomBytes(1200 * 5, 6));
      EXPECT_EQ(outcome.result, test.result) << test.misconduct << (later ? " later" : " first");
      EXPECT_EQ(outcome.output.size(), 1200 * test.rows_out) << test.misconduct;
    }
  }
}

TEST(ImagePipeline, AFatalErrorIsFinal) {
  Harness harness({ScriptedXform::Make(0, 1, 0, kFatalError)}, Traits(400, 24));
  harness.Feed(RandomBytes(1200 * 5, 7));
  EXPECT_EQ(harness.outcome().result, IP_FATAL_ERROR);
  EXPECT_EQ(harness.Call(nullptr, 0, 1000), 0u);
  EXPECT_EQ(harness.outcome().result, IP_FATAL_ERROR);
}

TEST(ImagePipeline, AJumpLeavesTheRestOfTheInputAndNamesThePosition) {
  Harness harness({ScriptedXform::Make(0, 1, 0, kJumps)}, Traits(1200, 8));
  const Bytes input = RandomBytes(4000, 8);
  size_t used = 0, produced = 0;
  uint64_t next = 0, position = 0;
  Bytes output(5000);
  EXPECT_EQ(ipConvert(harness.handle(), 4000, input.data(), &used, &next, output.size(),
                      output.data(), &produced, &position),
            0);
  EXPECT_EQ(next, 1000u);
  EXPECT_EQ(produced, 1200u);
}

TEST(ImagePipeline, OutputThatDoesNotContinueWaitsForTheNextCall) {
  Harness harness({ScriptedXform::Make(0, 1, 0, kGaps)}, Traits(1200, 8));
  const Bytes input = RandomBytes(3600, 9);
  Bytes output(5000);
  const uint64_t positions[] = {0, 1300};
  const size_t sizes[] = {1200, 2400};
  size_t at = 0, got = 0;
  for (int call = 0; call < 2; ++call) {
    size_t used = 0, produced = 0;
    uint64_t next = 0, position = 0;
    EXPECT_EQ(ipConvert(harness.handle(), 3600 - at, input.data() + at, &used, &next,
                        output.size() - got, output.data() + got, &produced, &position),
              0);
    EXPECT_EQ(position, positions[call]);
    EXPECT_EQ(produced, sizes[call]);
    at += used;
    got += produced;
  }
  output.resize(got);
  EXPECT_EQ(output, input);
}

TEST(ImagePipeline, APageBreakIsPassedOn) {
  ScriptedXform::new_pages = 0;
  RunWhole({ScriptedXform::Make(0, 1, 0), ScriptedXform::Make(0, 1, 0)}, Traits(10, 8),
           RandomBytes(30, 10));
  EXPECT_EQ(ScriptedXform::new_pages, 1) << "the last transform's break has nobody to go to";
}

TEST(ImagePipeline, OnlyTheFirstTransformMayHaveAHeader) {
  EXPECT_EQ(RunWhole({kPass, ScriptedXform::Make(4, 1, 0)}, Traits(10, 8), Bytes(30)).result,
            IP_FATAL_ERROR);
}

TEST(ImagePipeline, InvalidCalls) {
  XformDescriptor chain[IP_MAX_XFORMS + 1];
  std::fill(std::begin(chain), std::end(chain), kPass);
  IpHandle handle = nullptr;
  EXPECT_EQ(ipCreatePipeline(0, chain, 0, &handle), IP_FATAL_ERROR);
  EXPECT_EQ(ipCreatePipeline(IP_MAX_XFORMS + 1, chain, 0, &handle), IP_FATAL_ERROR);
  EXPECT_EQ(ipCreatePipeline(1, nullptr, 0, &handle), IP_FATAL_ERROR);
  EXPECT_EQ(ipCreatePipeline(1, chain, -1, &handle), IP_FATAL_ERROR);
  EXPECT_EQ(ipCreatePipeline(1, chain, 0, nullptr), IP_FATAL_ERROR);
  for (const uint32_t id : {0u, 3u, 19u, 20u, 0xFFFFFFFFu}) {
    const XformDescriptor empty = BuiltIn(id, {});
    EXPECT_EQ(ipCreatePipeline(1, &empty, 0, &handle), IP_FATAL_ERROR) << id;
    EXPECT_EQ(handle, nullptr);
  }

  ASSERT_EQ(ipCreatePipeline(2, chain, 8, &handle), IP_FINISHED);
  const PipelineOwner owner(handle);
  EXPECT_EQ(Bytes(static_cast<uint8_t*>(ipClientData(handle)),
                  static_cast<uint8_t*>(ipClientData(handle)) + 8),
            Bytes(8));
  EXPECT_EQ(ipSetXformParam(1, 7, 5, handle), IP_FINISHED);
  EXPECT_EQ(ipSetXformParam(1, 8, 5, handle), IP_FATAL_ERROR);
  EXPECT_EQ(ipSetXformParam(2, 0, 5, handle), IP_FATAL_ERROR);
  EXPECT_EQ(ipSetXformParam(-1, 0, 5, handle), IP_FATAL_ERROR);
  EXPECT_EQ(ipApplyXformParams(0, handle), IP_FATAL_ERROR) << "not opened yet";
  EXPECT_EQ(ipApplyXformParams(2, handle), IP_FATAL_ERROR);
  EXPECT_EQ(ipSetInputTraits(handle, nullptr), IP_FATAL_ERROR);

  const ImageTraits traits = Traits(4, 8);
  EXPECT_EQ(ipSetInputTraits(handle, &traits), IP_FINISHED);
  size_t size = 0;
  uint64_t position = 0;
  const uint8_t input[4] = {};
  uint8_t output[4];
  EXPECT_EQ(ipConvert(handle, 4, input, nullptr, &position, 4, output, &size, &position),
            IP_FATAL_ERROR);
  EXPECT_EQ(ipConvert(handle, 4, input, &size, &position, 4, output, &size, &position), 0);
  EXPECT_EQ(ipSetInputTraits(handle, &traits), IP_FATAL_ERROR) << "the first one is open";
  EXPECT_EQ(ipApplyXformParams(0, handle), IP_FINISHED);
  EXPECT_EQ(ipSetXformParam(1, 0, 99, handle), IP_FINISHED);
  EXPECT_EQ(ipApplyXformParams(1, handle), IP_FATAL_ERROR) << "refused by the transform";

  uint32_t no_pipeline[64] = {};
  const IpHandle stale = reinterpret_cast<IpHandle>(no_pipeline);
  for (const IpHandle bad : {IpHandle{}, stale}) {
    EXPECT_EQ(ipSetInputTraits(bad, &traits), IP_FATAL_ERROR);
    EXPECT_EQ(ipSetXformParam(0, 0, 0, bad), IP_FATAL_ERROR);
    EXPECT_EQ(ipApplyXformParams(0, bad), IP_FATAL_ERROR);
    EXPECT_EQ(ipConvert(bad, 4, input, &size, &position, 4, output, &size, &position),
              IP_FATAL_ERROR);
    EXPECT_EQ(ipDestroyPipeline(bad), IP_FATAL_ERROR);
    EXPECT_EQ(ipClientData(bad), nullptr);
  }
}

TEST(ImagePipeline, ResolutionsMayBeWholeNumbers) {
  for (const int32_t dpi : {300, 300 << 16}) {
    ImageTraits traits = Traits(4, 8), seen{};
    traits.xDpi = traits.yDpi = dpi;
    XformDescriptor pass = kPass;
    pass.clientData = &seen;
    pass.outputCallback = [](IpHandle, const ImageTraits* now, size_t, const uint8_t*, uint64_t,
                             void* client) { *static_cast<ImageTraits*>(client) = *now; };
    Harness harness({pass}, traits, false);
    harness.Feed(Bytes(4));
    EXPECT_EQ(seen.xDpi, 300 << 16);
    EXPECT_EQ(seen.yDpi, 300 << 16);
  }
}

TEST(ImagePipeline, RowsBeyondAnyScannerAreRefused) {
  for (const int32_t pixels : {0, -1, INT32_MAX}) {
    ImageTraits traits = Traits(pixels, 24);
    EXPECT_EQ(RunWhole({kPass}, traits, Bytes(10)).result, IP_FATAL_ERROR) << pixels;
    traits = Traits(10, pixels);
    EXPECT_EQ(RunWhole({kPass}, traits, Bytes(10)).result, IP_FATAL_ERROR) << pixels;
  }
}

}  // namespace
}  // namespace scantk::testing
