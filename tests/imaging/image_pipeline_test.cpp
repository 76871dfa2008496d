#include "imaging/image_pipeline.h"

#include "imaging/row_xform.h"
#include "tests/imaging/pipeline_harness.h"

namespace scantk::testing {
namespace {

const XformDescriptor kPass = BuiltIn(XFORM_TABLE, {1});

// A transform that passes rows, but for what its parameter 0 says.
enum Misconduct : int64_t {
  kNone,
  kStarves,        // never consumes anything, always wants more
  kSpins,          // claims to be able to produce and does not
  kInputError,     // reports malformed input with its third row, which it delivers
  kFatalError,     // fails at its third row
  kOverclaims,     // says that it used more than there was
  kFinishesEarly,  // is finished after its second row
  kJumps,          // wants to go on at position 1000 after its first row
  kGaps,           // leaves 100 positions out before its second output row
  kHeader,         // reads one of ten bytes
};

struct Scripted : RowXform {
  static constexpr uint32_t kCheckValue = 1;
  using Ops = RowXformOps<Scripted>;
  inline static int new_pages = 0;

  static XformDescriptor Make(Misconduct misconduct) {
    static const XformOps ops = [] {
      XformOps table = Ops::kTable;
      table.getHeaderSize = [](void* self, size_t* bytes) {
        *bytes = static_cast<Scripted*>(self)->misconduct == kHeader ? 10 : 0;
        return IP_FINISHED;
      };
      table.convert = [](void* self, size_t available, const uint8_t* input, size_t* used,
                         uint64_t* next, size_t space, uint8_t* output, size_t* produced,
                         uint64_t* position) {
        const IpResult result =
            Ops::Convert(self, available, input, used, next, space, output, produced, position);
        const Scripted& xform = *static_cast<Scripted*>(self);
        if (xform.misconduct == kJumps && xform.rows == 1) *next = 1000;
        if (xform.misconduct == kGaps && *position > 0) *position += 100;
        return result;
      };
      table.newPage = [](void*) -> IpResult { return ++new_pages, IP_FINISHED; };
      return table;
    }();
    XformDescriptor descriptor = BuiltIn(0, {misconduct});
    descriptor.ops = &ops;
    return descriptor;
  }

  bool AcceptParams(const int64_t* params) {
    misconduct = params[0];
    return true;
  }
  IpResult Convert(RowCall& call) {
    if (misconduct == kStarves) return IP_NEED_INPUT;
    if (misconduct == kSpins) return 0;
    if (!call.input) return IP_FINISHED;
    const size_t row = RowBytes(in_traits_);
    if (!HasInputRow(call, row) || !HasOutputRow(call, row)) return IP_FATAL_ERROR;
    std::memcpy(call.output, call.input, row);
    call.used = misconduct == kOverclaims ? call.available + 1 : row;
    call.produced = row;
    ++rows;
    IpResult result = IP_ROW_IN | IP_ROW_OUT | IP_NEED_INPUT;
    if (rows == 2) result |= misconduct == kFinishesEarly ? IP_FINISHED : IP_PAGE_BREAK;
    if (rows == 3 && misconduct == kInputError) result |= IP_INPUT_ERROR;
    if (rows == 3 && misconduct == kFatalError) result |= IP_FATAL_ERROR;
    return result;
  }

  int64_t misconduct = kNone;
  int rows = 0;
};

// A chain does what its transforms do one after the other, and tells beforehand what that is. What
// comes out, what the callbacks are told, where and in which order depends on the image alone,
// never on the sizes of the pieces in which it is given and taken.
TEST(ImagePipeline, EveryChunkingOfEveryChainGivesTheSame) {
  std::mt19937 engine(1);
  for (uint32_t round = 1; round < 150; ++round) {
    const int pixels = static_cast<int>(engine() % (round % 3 ? 30 : 700) + 1);
    const int rows = static_cast<int>(engine() % 12 + 1);
    const ImageTraits traits = Traits(pixels, 24, rows);
    const Bytes input = RandomBytes(size_t{3} * pixels * rows, round);
    std::vector<XformDescriptor> chain;
    Bytes expected = input;
    ImageTraits now = traits, told{};
    for (size_t i = 0, count = engine() % 4 + 1; i < count; ++i) {
      const int64_t mirror = engine() % 2, vertical = engine() % 2;
      const XformDescriptor choices[] = {
          BuiltIn(XFORM_SCALE, {5 << 23, 7 * (1 << 24) / 5, 1}), BuiltIn(XFORM_COLOR_SPACE, {2}),
          BuiltIn(XFORM_FLIP, {mirror, vertical, now.rowCount + 1}), kPass, Scripted::Make(kNone)};
      const XformDescriptor& xform = choices[engine() % std::size(choices)];
      chain.push_back(xform);
      Harness alone({xform}, now);
      ASSERT_EQ(ipGetOutputTraits(alone.handle(), &now), IP_FINISHED);
      if (xform.builtInId == XFORM_FLIP) now.rowCount++;  // one is made up
      alone.Feed(expected);
      alone.Drain();
      expected = alone.outcome().output;
    }
    const Outcome whole = RunWhole(chain, traits, input);
    const size_t row = static_cast<size_t>(pixels) * 3;
    const size_t sizes[][2] = {{1, 1}, {3 * row, 2 * row}, {row + 7, 1 << 20}, {1 << 20, row}};
    for (const auto& [in, out] : sizes) {
      Harness harness(chain, traits);
      const Chunks chunks{{in, round}, {out, round + 1}};
      ASSERT_EQ(ipGetOutputTraits(harness.handle(), &told), IP_FINISHED);
      ASSERT_EQ(told.pixelsPerRow, now.pixelsPerRow);
      harness.Feed(input, chunks);
      harness.Drain(chunks);
      ASSERT_EQ(harness.outcome().result, IP_FINISHED);
      ASSERT_EQ(harness.outcome().used, input.size());
      ASSERT_TRUE(harness.outcome().output == expected) << round << ", pieces of " << in;
      ASSERT_TRUE(harness.outcome().events == whole.events) << round << ", pieces of " << in;
      ASSERT_TRUE(harness.positions_agree);
    }
  }
}

TEST(ImagePipeline, TellsItsOutputWhenItCan) {
  ImageTraits told{};
  const Harness refused({BuiltIn(XFORM_SCALE, {1 << 24, 9 << 24})}, Traits(8, 8));
  EXPECT_EQ(ipGetOutputTraits(refused.handle(), &told), IP_FATAL_ERROR);
  EXPECT_EQ(ipGetOutputTraits(refused.handle(), nullptr), IP_FATAL_ERROR);
  Harness headed({Scripted::Make(kHeader)}, Traits(10, 8));
  EXPECT_EQ(ipGetOutputTraits(headed.handle(), &told), IP_NEED_INPUT);
  headed.Feed(Bytes(14));
  EXPECT_EQ(ipGetOutputTraits(headed.handle(), &told), IP_FINISHED);
  EXPECT_EQ(told.xDpi, 300 << 16) << "whole numbers are taken for dots per inch";
}

// Calls with no input yet, with no room, with room for part of a row, at the end and behind it.
TEST(ImagePipeline, MovesWhatACallHasRoomFor) {
  Harness harness({kPass}, Traits(1500, 8));
  const Bytes input = RandomBytes(4500, 2);
  // Begins at, bytes given, room; bytes used, output in all.
  const std::tuple<size_t, size_t, size_t, size_t, size_t> calls[] = {
      {0, 0, 5000, 0, 0},        {0, 4500, 0, 1500, 0},      {1500, 3000, 0, 0, 0},
      {1500, 3000, 600, 0, 600}, {1500, 3000, 899, 0, 1499}, {1500, 3000, 9000, 3000, 4500}};
  for (const auto& [at, given, room, uses, total] : calls) {
    EXPECT_EQ(harness.Call(input.data() + at, given, room), uses);
    EXPECT_EQ(harness.outcome().output.size(), total);
    EXPECT_EQ(harness.outcome().result, 0);
  }
  EXPECT_TRUE(harness.outcome().output == input);
  for (const size_t late : {0, 0, 5}) {
    EXPECT_EQ(harness.Call(late ? input.data() : nullptr, late, 1000), late);
    EXPECT_EQ(harness.outcome().result, IP_FINISHED);
  }
  EXPECT_EQ(harness.outcome().output.size(), 4500u);
}

TEST(ImagePipeline, NoOutputBufferDiscardsEverything) {
  Harness harness({kPass, kPass}, Traits(40, 24));
  const Bytes input = RandomBytes(1200, 5);
  size_t used = 0, produced = 0;
  uint64_t next = 0, position = 0;
  EXPECT_EQ(ipConvert(harness.handle(), 1200, input.data(), &used, &next, 0, nullptr, &produced,
                      &position),
            0);
  EXPECT_EQ(std::pair(used, produced), std::pair(size_t{1200}, size_t{1200}));
  EXPECT_EQ(std::get<Bytes>(harness.outcome().events.back()),
            Bytes(input.end() - 120, input.end()));
}

// What a broken or unhappy transform does reaches the caller and stays, and no call goes round for
// ever. The rows before it are delivered.
TEST(ImagePipeline, Misconduct) {
  const std::tuple<Misconduct, IpResult, size_t> cases[] = {
      {kStarves, IP_FATAL_ERROR, 0},    {kSpins, IP_FATAL_ERROR, 0},
      {kInputError, IP_INPUT_ERROR, 3}, {kFatalError, IP_FATAL_ERROR, 2},
      {kOverclaims, IP_FATAL_ERROR, 0}, {kFinishesEarly, IP_FINISHED, 2},
      {kNone, IP_FATAL_ERROR, 5}};  // part of a row at the end
  for (const auto& [misconduct, result, rows] : cases) {
    for (const bool later : {false, true}) {
      std::vector<XformDescriptor> chain = {Scripted::Make(misconduct)};
      if (later) chain.insert(chain.begin(), kPass);
      Harness harness(chain, Traits(400, 24));
      harness.Feed(RandomBytes(1200 * 5 + (misconduct == kNone), 6));
      harness.Drain();
      EXPECT_EQ(harness.outcome().result, result) << misconduct << (later ? " later" : " first");
      EXPECT_EQ(harness.outcome().output.size(), 1200 * rows) << misconduct;
      if (result != IP_FATAL_ERROR) continue;
      EXPECT_EQ(harness.Call(nullptr, 0, 1000), 0u);
      EXPECT_EQ(harness.outcome().result, IP_FATAL_ERROR);
    }
  }
}

TEST(ImagePipeline, PositionsThatDoNotContinue) {
  const Bytes input = RandomBytes(3600, 8);
  Harness jump({Scripted::Make(kJumps)}, Traits(1200, 8));
  jump.Call(input.data(), 3600, 5000);
  EXPECT_EQ(jump.next, 1000u) << "the rest of the input is not what the transform wants";
  EXPECT_EQ(jump.outcome().output.size(), 1200u);
  Harness gap({Scripted::Make(kGaps)}, Traits(1200, 8));
  const size_t used = gap.Call(input.data(), 3600, 5000);
  EXPECT_EQ(gap.outcome().output.size(), 1200u) << "what does not continue waits for the next call";
  gap.Call(input.data() + used, 3600 - used, 5000);
  EXPECT_EQ(gap.position, 1300u);
  EXPECT_TRUE(gap.outcome().output == input);
}

TEST(ImagePipeline, ChainsAndFormatsThatCannotBe) {
  Scripted::new_pages = 0;
  RunWhole({Scripted::Make(kNone), Scripted::Make(kNone)}, Traits(10, 8), Bytes(30));
  EXPECT_EQ(Scripted::new_pages, 1) << "the last transform's page break has nobody to go to";
  EXPECT_EQ(RunWhole({kPass, Scripted::Make(kHeader)}, Traits(10, 8), Bytes(30)).result,
            IP_FATAL_ERROR)
      << "only the first may have a header";
  for (const int32_t wrong : {0, -1, INT32_MAX}) {
    EXPECT_EQ(RunWhole({kPass}, Traits(wrong, 24), Bytes(10)).result, IP_FATAL_ERROR) << wrong;
    EXPECT_EQ(RunWhole({kPass}, Traits(10, wrong), Bytes(10)).result, IP_FATAL_ERROR) << wrong;
  }
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
  EXPECT_EQ(std::memcmp(ipClientData(handle), "\0\0\0\0\0\0\0", 8), 0);
  EXPECT_EQ(ipSetXformParam(1, 7, 5, handle), IP_FINISHED);
  for (const auto& [index, parameter] : {std::pair{1, 8}, {2, 0}, {-1, 0}}) {
    EXPECT_EQ(ipSetXformParam(index, parameter, 5, handle), IP_FATAL_ERROR) << index;
  }
  EXPECT_EQ(ipApplyXformParams(0, handle), IP_FATAL_ERROR) << "not opened yet";
  EXPECT_EQ(ipApplyXformParams(2, handle), IP_FATAL_ERROR);
  EXPECT_EQ(ipSetInputTraits(handle, nullptr), IP_FATAL_ERROR);
  const ImageTraits traits = Traits(4, 8);
  EXPECT_EQ(ipSetInputTraits(handle, &traits), IP_FINISHED);
  size_t size = 0;
  uint64_t at = 0;
  uint8_t in[4] = {}, out[4];
  EXPECT_EQ(ipConvert(handle, 4, in, nullptr, &at, 4, out, &size, &at), IP_FATAL_ERROR);
  EXPECT_EQ(ipConvert(handle, 4, in, &size, &at, 4, out, &size, &at), 0);
  EXPECT_EQ(ipSetInputTraits(handle, &traits), IP_FATAL_ERROR) << "the first one is open";
  EXPECT_EQ(ipApplyXformParams(0, handle), IP_FINISHED);
  EXPECT_EQ(ipSetXformParam(1, 0, 99, handle), IP_FINISHED);
  EXPECT_EQ(ipApplyXformParams(1, handle), IP_FATAL_ERROR) << "refused by the transform";
  EXPECT_EQ(ipDestroyPipeline(handle), IP_FINISHED);
  uint32_t no_pipeline[64] = {};
  for (const IpHandle bad : {IpHandle{}, reinterpret_cast<IpHandle>(no_pipeline)}) {
    EXPECT_EQ(ipSetInputTraits(bad, &traits), IP_FATAL_ERROR);
    EXPECT_EQ(ipGetOutputTraits(bad, nullptr), IP_FATAL_ERROR);
    EXPECT_EQ(ipSetXformParam(0, 0, 0, bad), IP_FATAL_ERROR);
    EXPECT_EQ(ipApplyXformParams(0, bad), IP_FATAL_ERROR);
    EXPECT_EQ(ipConvert(bad, 4, in, &size, &at, 4, out, &size, &at), IP_FATAL_ERROR);
    EXPECT_EQ(ipDestroyPipeline(bad), IP_FATAL_ERROR);
    EXPECT_EQ(ipClientData(bad), nullptr);
  }
}

}  // namespace
}  // namespace scantk::testing
