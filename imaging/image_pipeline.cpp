// The calls on a pipeline, its creation and its parameters.
#include "imaging/image_pipeline.h"

#include "imaging/pipeline_schedule.h"

namespace scantk {
namespace {

int32_t FixedPointDpi(int32_t dpi) {
  return dpi < 0x10000 ? static_cast<int32_t>(static_cast<uint32_t>(dpi) << 16) : dpi;
}

bool IsValid(IpHandle handle) {
  return handle && handle->IsValid();
}

}  // namespace

ImagePipeline::~ImagePipeline() {
  for (Stage& stage : stages_) {
    if (stage.instance) stage.ops.close(stage.instance);
  }
  check_ = 0;
}

bool ImagePipeline::Init(int count, const XformDescriptor* descriptors, size_t client_data_size) {
  for (int i = 0; i < count; ++i) {
    const XformDescriptor& from = descriptors[i];
    const XformOps* ops = from.ops ? from.ops : BuiltInXform(from.builtInId);
    if (!ops) return false;
    Stage& stage = stages_[static_cast<size_t>(i)];
    stage.ops = *ops;
    stage.input_callback = from.inputCallback;
    stage.output_callback = from.outputCallback;
    stage.client_data = from.clientData;
    std::copy(std::begin(from.params), std::end(from.params), stage.params);
  }
  count_ = count;
  if (client_data_size > 0) {
    client_data_.reset(new (std::nothrow) uint8_t[client_data_size]());
    if (!client_data_) return false;
  }
  return true;
}

IpResult ImagePipeline::SetInputTraits(const ImageTraits& traits) {
  if (stages_[0].state != StageState::kNotOpened) return Fatal();
  stages_[0].in_traits = traits;
  stages_[0].in_traits.xDpi = FixedPointDpi(traits.xDpi);
  stages_[0].in_traits.yDpi = FixedPointDpi(traits.yDpi);
  return IP_FINISHED;
}

IpResult ImagePipeline::SetParam(int index, int parameter, int64_t value) {
  if (index < 0 || index >= count_ || parameter < 0 || parameter >= IP_MAX_PARAMS) return Fatal();
  stages_[static_cast<size_t>(index)].params[parameter] = value;
  return IP_FINISHED;
}

IpResult ImagePipeline::ApplyParams(int index) {
  if (index < 0 || index >= count_) return Fatal();
  if (fused_ && index < 2) {
    return AskForFusion(stages_[0], stages_[1]) ? IP_FINISHED : Fatal();
  }
  Stage& stage = stages_[static_cast<size_t>(index)];
  if (!stage.instance) return Fatal();
  const IpResult result = stage.ops.setParams(stage.instance, stage.params);
  return (result & IP_FATAL_ERROR) ? static_cast<IpResult>(result | Fatal()) : result;
}

// Asks instances of its own for what the transforms that are not open yet would give: they open
// with their first row, and behind a flip that is at the end of the page.
IpResult ImagePipeline::OutputTraits(ImageTraits* traits) const {
  ImageTraits now = stages_[0].in_traits;
  for (int i = 0; i < count_; i = Next(i)) {
    const Stage& stage = stages_[static_cast<size_t>(i)];
    if (stage.state >= StageState::kWantsInput) {
      now = stage.out_traits;
      continue;
    }
    const IpResult result = AskTraits(stage, &now);
    if (result != IP_FINISHED) return result;
  }
  *traits = now;
  return IP_FINISHED;
}

IpResult ipCreatePipeline(int count, const XformDescriptor* descriptors, int clientDataSize,
                          IpHandle* handle) {
  if (!handle) return Fatal();
  *handle = nullptr;
  if (count < 1 || count > IP_MAX_XFORMS || !descriptors || clientDataSize < 0) return Fatal();
  std::unique_ptr<ImagePipeline> pipeline(new (std::nothrow) ImagePipeline);
  if (!pipeline || !pipeline->Init(count, descriptors, static_cast<size_t>(clientDataSize))) {
    return Fatal();
  }
  *handle = pipeline.release();
  return IP_FINISHED;
}

void* ipClientData(IpHandle handle) {
  return IsValid(handle) ? handle->client_data() : nullptr;
}

IpResult ipSetInputTraits(IpHandle handle, const ImageTraits* traits) {
  return IsValid(handle) && traits ? handle->SetInputTraits(*traits) : Fatal();
}

IpResult ipGetOutputTraits(IpHandle handle, ImageTraits* traits) {
  return IsValid(handle) && traits ? handle->OutputTraits(traits) : Fatal();
}

IpResult ipConvert(IpHandle handle, size_t inputAvailable, const uint8_t* input, size_t* inputUsed,
                   uint64_t* inputNextPosition, size_t outputAvailable, uint8_t* output,
                   size_t* outputUsed, uint64_t* outputPosition) {
  if (!IsValid(handle) || !inputUsed || !inputNextPosition || !outputUsed || !outputPosition) {
    return Fatal();
  }
  PipelineCall call{};
  call.input = input;
  call.available = input ? inputAvailable : 0;
  call.output = output;
  call.space = output ? outputAvailable : SIZE_MAX;
  const IpResult result = handle->Convert(call);
  *inputUsed = call.used;
  *inputNextPosition = handle->NextInputPosition();
  *outputUsed = call.produced;
  *outputPosition = call.output_position;
  return result;
}

IpResult ipSetXformParam(int index, int parameter, int64_t value, IpHandle handle) {
  return IsValid(handle) ? handle->SetParam(index, parameter, value) : Fatal();
}

IpResult ipApplyXformParams(int index, IpHandle handle) {
  return IsValid(handle) ? handle->ApplyParams(index) : Fatal();
}

IpResult ipDestroyPipeline(IpHandle handle) {
  if (!IsValid(handle)) return Fatal();
  delete handle;
  return IP_FINISHED;
}

}  // namespace scantk
