// Chains of row transforms: pieces of any size give what one whole buffer gives.
//
// Input: width (2 bytes), depth, announced rows, input piece, output piece, length of the chain;
// for each transform its kind and parameters; image.
#include "fuzz/pipeline_run.h"

using namespace scantk;
using namespace scantk::fuzz;

namespace {

constexpr int64_t kScaleOne = 1 << 24;
constexpr uint8_t kWildParameters = 0x80;
constexpr int64_t kMostMadeUpRows = 16;

struct Chain {
  std::vector<XformDescriptor> xforms;
  bool is_wild = false;  // a parameter is any number
  int enlarging = 0;
};

void AddXform(FuzzInput& input, bool is_last, Chain* chain) {
  const uint8_t kind = input.Byte();
  constexpr XformId kIds[] = {XFORM_SCALE, XFORM_COLOR_SPACE, XFORM_TABLE, XFORM_FLIP};
  XformDescriptor xform = BuiltIn(kIds[kind & 3]);
  if (kind & kWildParameters) {
    for (int i = 0; i < 4; ++i) xform.params[i] = static_cast<int64_t>(input.Number(8));
    chain->is_wild = true;
    // Rows that never came are made up. Two thousand million of them are for the host to refuse,
    // and not for another transform to store.
    if (xform.builtInId == XFORM_FLIP && !is_last)
      xform.params[2] = std::min(xform.params[2], kMostMadeUpRows);
    // One wild factor is enough: two of them make minutes of work out of a few rows.
    if (xform.builtInId == XFORM_SCALE && chain->enlarging++ > 0)
      for (int i = 0; i < 2; ++i) xform.params[i] = std::min(xform.params[i], kScaleOne);
  } else if (xform.builtInId == XFORM_SCALE) {
    // Two that enlarge are enough: eight of them turn a pixel into a gigabyte.
    for (int i = 0; i < 2; ++i) {
      xform.params[i] = (input.Byte() + int64_t{1}) * kScaleOne / 48;
      if (chain->enlarging >= 2) xform.params[i] = std::min(xform.params[i], kScaleOne);
    }
    chain->enlarging += xform.params[0] > kScaleOne || xform.params[1] > kScaleOne;
    xform.params[2] = input.Byte() & 1;
  } else {
    for (int i = 0; i < 4; ++i) xform.params[i] = input.Byte();
    if (xform.builtInId == XFORM_FLIP) xform.params[1] &= 1;
  }
  chain->xforms.push_back(xform);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  FuzzInput input(data, size);
  const int32_t pixels = static_cast<int32_t>(input.Number(2) % 700);
  constexpr int32_t kDepths[] = {24, 8, 1, 16, 48};
  const int32_t bits = kDepths[input.Byte() % std::size(kDepths)];
  const int32_t rows = static_cast<int8_t>(input.Byte());
  const ImageTraits traits = {pixels, bits, bits % 3 == 0 ? 3 : 1, 300, 300, rows, -1, -1};
  Pieces pieces;
  pieces.input = input.PieceSize();
  pieces.output = input.PieceSize();

  Chain chain;
  const int count = input.Byte() % IP_MAX_XFORMS + 1;
  for (int i = 0; i < count; ++i) AddXform(input, i + 1 == count, &chain);
  // A wild factor makes rows as long as the transform allows: few of them will do.
  const Bytes image = input.Rest(chain.is_wild ? 64 : 4096);
  RequireSame(RunPipeline(chain.xforms, traits, image, {}),
              RunPipeline(chain.xforms, traits, image, pieces));
  return 0;
}
