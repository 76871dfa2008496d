// Image pipelines: pieces of any size give what one whole buffer gives.
//
// Input: a byte for what the image is. 1: a JPEG stream; flags (1: colour conversion, 2: samples as
// coded), input piece, output piece, stream. Otherwise rows, through a chain of transforms: width
// (2 bytes), depth, announced rows, input piece, output piece, length of the chain; for each
// transform its kind and parameters; image.
#include <span>

#include "fuzz/fuzz_input.h"
#include "tests/imaging/pipeline_harness.h"

using namespace scantk;
using namespace scantk::fuzz;
using namespace scantk::testing;

namespace {

// A run stops when it has given this much; a header may announce any size.
constexpr size_t kMostOutput = size_t{512} << 10;
constexpr int64_t kScaleOne = 1 << 24;
constexpr uint8_t kWildParameters = 0x80;
constexpr int64_t kMostMadeUpRows = 16;

Outcome RunPipeline(const std::vector<XformDescriptor>& chain, const ImageTraits& traits,
                    const Bytes& image, const Chunks& chunks = {}) {
  Harness harness(chain, traits, false);
  harness.most = kMostOutput;
  harness.Feed(image, chunks);
  harness.Drain(chunks);
  Require(harness.sound, "a call moves what it was given, and says known bits");
  Require(harness.positions_agree, "the output's position is its place");
  return harness.outcome();
}

// What comes out depends on the image alone. A run that stopped at the limit is compared that far.
void RequireSame(const std::vector<XformDescriptor>& chain, const ImageTraits& traits,
                 const Bytes& image, size_t input_piece, size_t output_piece) {
  Outcome whole = RunPipeline(chain, traits, image, {});
  Outcome pieces = RunPipeline(chain, traits, image, {{input_piece}, {output_piece}});
  const size_t common = std::min(whole.output.size(), pieces.output.size());
  if (std::max(whole.output.size(), pieces.output.size()) < kMostOutput)
    Require(whole.output.size() == pieces.output.size() && whole.result == pieces.result,
            "pieces change neither the output's size nor the result");
  whole.output.resize(common);
  pieces.output.resize(common);
  Require(whole.output == pieces.output, "pieces do not change the output");
}

void DecodeJpeg(FuzzInput& input) {
  const uint8_t flags = input.Byte();
  const size_t input_piece = input.PieceSize();
  // A byte at a time out of a picture that a header made large would only cost time.
  const size_t output_piece = input.PieceSize() + 63;
  std::vector<XformDescriptor> chain = {BuiltIn(XFORM_JPEG_DECODE, {flags >> 1 & 1}),
                                        BuiltIn(XFORM_COLOR_SPACE, {2})};
  chain.resize(1 + (flags & 1));
  RequireSame(chain, Traits(1, 8), input.Rest(size_t{1} << 16), input_piece, output_piece);
}

// One wild factor is enough: two of them make minutes of work out of a few rows; eight that enlarge
// turn a pixel into a gigabyte.
XformDescriptor TakeXform(FuzzInput& input, bool is_last, bool* is_wild, int* enlarging) {
  const uint8_t kind = input.Byte();
  constexpr XformId kIds[] = {XFORM_SCALE, XFORM_COLOR_SPACE, XFORM_TABLE, XFORM_FLIP};
  XformDescriptor xform = BuiltIn(kIds[kind & 3], {});
  const bool wild = kind & kWildParameters, scales = xform.builtInId == XFORM_SCALE;
  *is_wild |= wild;
  for (int64_t& param : std::span(xform.params).first(4))
    param = static_cast<int64_t>(input.Number(wild ? 8 : 1));
  if (xform.builtInId == XFORM_FLIP) {
    if (!wild) xform.params[1] &= 1;
    // Rows that never came are made up. Two thousand million of them are for the host to refuse,
    // and not for another transform to store.
    if (!is_last) xform.params[2] = std::min(xform.params[2], wild ? kMostMadeUpRows : 255);
  }
  for (int64_t& factor : std::span(xform.params).first(scales ? 2 : 0)) {
    if (!wild) factor = (factor + 1) * kScaleOne / 48;
    if (*enlarging >= (wild ? 1 : 2)) factor = std::min(factor, kScaleOne);
  }
  if (scales && !wild) xform.params[2] &= 1;
  *enlarging += scales && (wild || xform.params[0] > kScaleOne || xform.params[1] > kScaleOne);
  return xform;
}

void RunChain(FuzzInput& input) {
  const int32_t pixels = static_cast<int32_t>(input.Number(2) % 700);
  constexpr int32_t kDepths[] = {24, 8, 1, 16, 48};
  const int32_t bits = kDepths[input.Byte() % std::size(kDepths)];
  const int32_t rows = (input.Byte() ^ 0x80) - 0x80;  // as a signed byte
  const size_t input_piece = input.PieceSize(), output_piece = input.PieceSize();
  bool is_wild = false;
  int enlarging = 0;
  std::vector<XformDescriptor> chain(input.Byte() % IP_MAX_XFORMS + 1u);
  for (XformDescriptor& xform : chain)
    xform = TakeXform(input, &xform == &chain.back(), &is_wild, &enlarging);
  // A wild factor makes rows as long as the transform allows: few of them will do.
  RequireSame(chain, Traits(pixels, bits, rows), input.Rest(is_wild ? 64 : 4096), input_piece,
              output_piece);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  FuzzInput input(data, size);
  input.Byte() == 1 ? DecodeJpeg(input) : RunChain(input);
  return 0;
}
