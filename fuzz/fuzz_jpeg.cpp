// The JPEG decoder, alone or with a colour conversion behind it, in pieces of chosen sizes.
//
// Input: flags (1: colour conversion, 2: samples as coded), input piece, output piece, stream.
#include "fuzz/pipeline_run.h"

using namespace scantk;
using namespace scantk::fuzz;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  FuzzInput input(data, size);
  const uint8_t flags = input.Byte();
  Pieces pieces;
  pieces.input = input.PieceSize();
  // A byte at a time out of a picture that a header made large would only cost time.
  pieces.output = input.PieceSize() + 63;
  const Bytes stream = input.Rest(size_t{1} << 16);

  std::vector<XformDescriptor> chain = {BuiltIn(XFORM_JPEG_DECODE)};
  chain[0].params[0] = flags >> 1 & 1;
  if (flags & 1) {
    chain.push_back(BuiltIn(XFORM_COLOR_SPACE));
    chain[1].params[0] = 2;
  }
  const ImageTraits traits = {1, 8, 1, 300, 300, -1, -1, -1};
  RequireSame(RunPipeline(chain, traits, stream, {}), RunPipeline(chain, traits, stream, pieces));
  return 0;
}
