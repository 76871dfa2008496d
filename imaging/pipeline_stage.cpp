#include "imaging/pipeline_stage.h"

#include "imaging/built_in_xforms.h"
#include "imaging/jpeg_decode.h"

namespace scantk {

[[gnu::noinline]] IpResult Fatal() {
  asm volatile("");
  return IP_FATAL_ERROR;
}

bool OpenInstance(const Stage& stage, const ImageTraits& in_traits, void** instance,
                  size_t* header) {
  const XformOps& ops = stage.ops;
  return (*instance || ops.open(instance) == IP_FINISHED) &&
         ops.setInputTraits(*instance, &in_traits) == IP_FINISHED &&
         ops.setParams(*instance, stage.params) == IP_FINISHED &&
         ops.getHeaderSize(*instance, header) == IP_FINISHED;
}

IpResult AskTraits(const Stage& stage, ImageTraits* traits) {
  void* instance = nullptr;
  size_t header = 0, used = 0;
  uint64_t next_position = 0;
  ImageTraits in = *traits;
  IpResult result = IP_FATAL_ERROR;
  if (OpenInstance(stage, in, &instance, &header)) {
    result = IP_NEED_INPUT;
    if (header == 0) {
      result = stage.ops.getActualTraits(instance, 0, nullptr, &used, &next_position, &in, traits) &
               (IP_FINISHED | IP_FATAL_ERROR);
    }
  }
  if (instance) stage.ops.close(instance);
  return result;
}

void CallTransform(Stage& stage, Run& run) {
  if (stage.state == StageState::kReadingHeader) {
    run.result = stage.ops.getActualTraits(stage.instance, run.available, run.input, &run.used,
                                           &run.next_position, &stage.in_traits, &stage.out_traits);
  } else {
    run.result =
        stage.ops.convert(stage.instance, run.available, run.input, &run.used, &run.next_position,
                          run.space, run.output, &run.produced, &run.output_position);
  }
}

bool AskForFusion(const Stage& decode, const Stage& convert) {
  return decode.params[0] == 0 && convert.params[0] == kLumaChromaToRgb;
}

bool CanFuse(const Stage& decode, const Stage& convert) {
  return decode.ops.open == kJpegDecodeOps.open && convert.ops.open == kColorSpaceOps.open &&
         AskForFusion(decode, convert) && !decode.output_callback && !convert.input_callback;
}

}  // namespace scantk
