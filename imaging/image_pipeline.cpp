// Creation and the scheduling of the transforms. Two loops are never allowed: one in which no
// transform makes progress, and one over memory that a header asked for.
#include "imaging/image_pipeline.h"

#include <array>
#include <utility>

#include "imaging/pipeline_buffers.h"

namespace scantk {
namespace {

constexpr uint32_t kCheckValue = 0xACEC0DE4;

// The least that the gather and staging buffers hold, in bytes, so that narrow rows travel in
// groups.
constexpr size_t kMinEndBuffer = 1000;

// Converts in a row that neither consume nor produce before the pipeline is held to be stuck. Every
// transform may change its state once or twice without moving a byte.
constexpr int kMaxIdleConverts = 4 * IP_MAX_XFORMS;

//            open, traits           traits known          input over
//   kNotOpened ----> kReadingHeader -----+---> kWantsInput ----> kDraining
//                                        |       ^   |             |
//                                        |       |   v             v
//                                        +---> kCanProduce ---> kFinished
enum class StageState : uint16_t {
  kNotOpened = 0,
  kReadingHeader = 1,
  kWantsInput = 2,
  kCanProduce = 3,
  kDraining = 4,
  kFinished = 5,
};

struct Stage {
  StageState state = StageState::kNotOpened;
  XformOps ops{};
  XformCallback input_callback = nullptr;
  XformCallback output_callback = nullptr;
  void* client_data = nullptr;
  int64_t params[IP_MAX_PARAMS] = {};
  void* instance = nullptr;
  ImageTraits in_traits{};
  ImageTraits out_traits{};
  size_t min_input = 0;  // bytes that must be held before it runs: the header, then one piece
  size_t min_output = 0;
};

// One run of a transform: what it was given and what it answered.
struct Run {
  const uint8_t* input;
  size_t available;
  uint64_t input_position;
  uint8_t* output;
  size_t space;
  size_t used = 0;
  uint64_t next_position = 0;
  size_t produced = 0;
  uint64_t output_position = 0;
  IpResult result = 0;
};

// Every fatal answer passes through here, so that a debugger can stop at one place.
[[gnu::noinline]] IpResult Fatal() {
  asm volatile("");
  return IP_FATAL_ERROR;
}

int32_t FixedPointDpi(int32_t dpi) {
  return dpi < 0x10000 ? static_cast<int32_t>(static_cast<uint32_t>(dpi) << 16) : dpi;
}

}  // namespace

struct ImagePipeline {
 public:
  ~ImagePipeline();

  bool IsValid() const { return check_ == kCheckValue; }
  bool Init(int count, const XformDescriptor* descriptors, size_t client_data_size);
  void* client_data() { return client_data_.get(); }
  IpResult SetInputTraits(const ImageTraits& traits);
  IpResult SetParam(int index, int parameter, int64_t value);
  IpResult ApplyParams(int index);
  IpResult Convert(PipelineCall& call);
  uint64_t NextInputPosition() const { return gather_.position() + gather_.held(); }

 private:
  enum class Step { kGoOn, kStop, kFatal };

  Stage& Last() { return stages_[static_cast<size_t>(count_) - 1]; }
  bool IsLast(int index) const { return index == count_ - 1; }
  IpResult Loop(PipelineCall& call);
  int ChooseStage() const;
  bool OpenStage(int index);
  bool NoMoreInput(int index, const PipelineCall& call) const;
  Step RunStage(int index, PipelineCall& call);
  Run Prepare(int index, const PipelineCall& call);
  void CallTransform(Stage& stage, Run& run);
  void AfterInput(int index, const Run& run, PipelineCall& call);
  bool AfterOutput(int index, const Run& run, PipelineCall& call);
  bool SizeBuffers(int index);
  bool AfterConvert(int index, IpResult result);
  Step CheckProgress(int index, const Run& run, StageState before, const PipelineCall& call);

  uint32_t check_ = kCheckValue;
  int count_ = 0;
  std::array<Stage, IP_MAX_XFORMS> stages_;
  std::unique_ptr<uint8_t[]> client_data_;

  InputWindow gather_;
  OutputStage staging_;
  ByteBuffer buffer_a_;  // holds data waiting for stages_[consumer_]
  ByteBuffer buffer_b_;  // receives the next output
  size_t waiting_ = 0;   // bytes in A
  uint64_t waiting_position_ = 0;
  int consumer_ = -1;  // -1: A is empty

  IpResult collected_ = 0;  // in the current call
  IpResult failure_ = 0;    // the fatal answer, for every later call
  int idle_converts_ = 0;
};

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
  Stage& stage = stages_[static_cast<size_t>(index)];
  if (!stage.instance) return Fatal();
  const IpResult result = stage.ops.setParams(stage.instance, stage.params);
  return (result & IP_FATAL_ERROR) ? static_cast<IpResult>(result | Fatal()) : result;
}

IpResult ImagePipeline::Convert(PipelineCall& call) {
  if (failure_) return failure_;
  collected_ = 0;
  idle_converts_ = 0;
  const IpResult result = Loop(call) & IP_RESULT_MASK;
  gather_.Settle();
  if (result & IP_FATAL_ERROR) failure_ = result;
  return result;
}

IpResult ImagePipeline::Loop(PipelineCall& call) {
  for (;;) {
    if (!staging_.DrainTo(call)) return collected_;
    const int index = ChooseStage();
    if (index < 0) {
      collected_ |= IP_FINISHED;
      call.used = call.available;
    }
    if (collected_ & IP_RESULT_MASK) return collected_;
    const Step step = RunStage(index, call);
    if (step == Step::kStop) return collected_;
    if (step == Step::kFatal) return static_cast<IpResult>(collected_ | Fatal());
  }
}

// The transform that must run next; -1 when all have finished.
int ImagePipeline::ChooseStage() const {
  if (consumer_ >= 0) return consumer_;
  int first_unfinished = -1;
  for (int i = count_ - 1; i >= 0; --i) {
    const StageState state = stages_[static_cast<size_t>(i)].state;
    if (state == StageState::kCanProduce) return i;
    if (state != StageState::kFinished) first_unfinished = i;
  }
  return first_unfinished;
}

bool ImagePipeline::OpenStage(int index) {
  Stage& stage = stages_[static_cast<size_t>(index)];
  if (index > 0) {
    const Stage& before = stages_[static_cast<size_t>(index) - 1];
    if (before.state < StageState::kWantsInput) return false;
    stage.in_traits = before.out_traits;
  }
  const XformOps& ops = stage.ops;
  size_t header = 0;
  if (!stage.instance && ops.open(&stage.instance) != IP_FINISHED) return false;
  if (ops.setInputTraits(stage.instance, &stage.in_traits) != IP_FINISHED ||
      ops.setParams(stage.instance, stage.params) != IP_FINISHED ||
      ops.getHeaderSize(stage.instance, &header) != IP_FINISHED) {
    return false;
  }
  if (index > 0 && header != 0) return false;
  stage.min_input = std::max<size_t>(header, 1);
  if (index == 0 && !gather_.Grow(stage.min_input)) return false;
  stage.state = StageState::kReadingHeader;
  return true;
}

bool ImagePipeline::NoMoreInput(int index, const PipelineCall& call) const {
  if (index == 0) return !call.input && gather_.held() == 0;
  return stages_[static_cast<size_t>(index) - 1].state == StageState::kFinished && consumer_ < 0;
}

ImagePipeline::Step ImagePipeline::RunStage(int index, PipelineCall& call) {
  Stage& stage = stages_[static_cast<size_t>(index)];
  if (stage.state == StageState::kFinished) {  // it is done, so what waits for it is superfluous
    consumer_ = -1;
    return Step::kGoOn;
  }
  if (stage.state == StageState::kNotOpened && !OpenStage(index)) return Step::kFatal;
  if (stage.state == StageState::kWantsInput && NoMoreInput(index, call)) {
    stage.state = StageState::kDraining;
  }
  const StageState before = stage.state;
  if (before == StageState::kReadingHeader || before == StageState::kWantsInput) {
    if (index > 0 && consumer_ < 0) return Step::kFatal;
    if (index == 0 && call.input) {
      if (!call.input_is_elsewhere) gather_.TakeFrom(call, stage.min_input);
      if (gather_.held() < stage.min_input) return Step::kStop;
    }
  }

  Run run = Prepare(index, call);
  CallTransform(stage, run);
  collected_ |= run.result & (IP_FATAL_ERROR | IP_INPUT_ERROR);
  if (run.result & IP_FATAL_ERROR) return Step::kFatal;
  if (run.used > run.available || run.produced > run.space) return Step::kFatal;
  AfterInput(index, run, call);
  if (run.produced > 0 && !AfterOutput(index, run, call)) return Step::kFatal;
  if (before == StageState::kReadingHeader) {
    if ((run.result & IP_FINISHED) && !SizeBuffers(index)) return Step::kFatal;
    if (run.result & IP_FINISHED) {
      stage.state =
          (run.result & IP_NEED_INPUT) ? StageState::kWantsInput : StageState::kCanProduce;
    }
  } else if (!AfterConvert(index, run.result)) {
    return Step::kFatal;
  }
  return CheckProgress(index, run, before, call);
}

Run ImagePipeline::Prepare(int index, const PipelineCall& call) {
  const Stage& stage = stages_[static_cast<size_t>(index)];
  Run run{};
  if (index == 0) {
    run.input = gather_.data();
    run.available = gather_.held();
    run.input_position = gather_.position();
  } else {
    run.input = buffer_a_.data();
    run.available = consumer_ < 0 ? 0 : waiting_;
    run.input_position = waiting_position_;
  }
  if (stage.state == StageState::kDraining) {
    run.input = nullptr;
    run.available = 0;
  }
  run.next_position = run.input_position;
  if (stage.state == StageState::kReadingHeader) return run;
  run.output = IsLast(index) ? staging_.PieceTarget(call) : buffer_b_.data();
  run.space = IsLast(index) ? staging_.capacity() : buffer_b_.capacity();
  return run;
}

void ImagePipeline::CallTransform(Stage& stage, Run& run) {
  if (stage.state == StageState::kReadingHeader) {
    run.result = stage.ops.getActualTraits(stage.instance, run.available, run.input, &run.used,
                                           &run.next_position, &stage.in_traits, &stage.out_traits);
  } else {
    run.result =
        stage.ops.convert(stage.instance, run.available, run.input, &run.used, &run.next_position,
                          run.space, run.output, &run.produced, &run.output_position);
  }
}

void ImagePipeline::AfterInput(int index, const Run& run, PipelineCall& call) {
  const Stage& stage = stages_[static_cast<size_t>(index)];
  if (run.used > 0 && stage.input_callback) {
    stage.input_callback(this, &stage.in_traits, run.used, run.input, run.input_position,
                         stage.client_data);
  }
  if (index > 0) {
    if (run.used > 0) consumer_ = -1;
    return;
  }
  gather_.Drop(run.used);
  if (run.input && run.next_position != gather_.position()) {
    gather_.JumpTo(run.next_position);
    call.input_is_elsewhere = true;
  }
}

bool ImagePipeline::AfterOutput(int index, const Run& run, PipelineCall& call) {
  const Stage& stage = stages_[static_cast<size_t>(index)];
  if (stage.output_callback) {
    stage.output_callback(this, &stage.out_traits, run.produced, run.output, run.output_position,
                          stage.client_data);
  }
  if (IsLast(index)) {
    staging_.Accept(run.output, run.produced, run.output_position, call);
    return true;
  }
  if (consumer_ >= 0) return false;
  std::swap(buffer_a_, buffer_b_);
  waiting_ = run.produced;
  waiting_position_ = run.output_position;
  consumer_ = index + 1;
  return true;
}

// Gives the buffers around a transform whose traits have become known their sizes.
bool ImagePipeline::SizeBuffers(int index) {
  Stage& stage = stages_[static_cast<size_t>(index)];
  size_t min_input = 0;
  size_t min_output = 0;
  if (stage.ops.getBufferSizes(stage.instance, &min_input, &min_output) != IP_FINISHED) {
    return false;
  }
  stage.min_input = std::max<size_t>(min_input, 1);
  stage.min_output = min_output;
  size_t between = 0;
  if (index > 0) between = min_input;
  if (!IsLast(index)) between = std::max(between, min_output);
  const size_t kept = consumer_ >= 0 ? waiting_ : 0;
  if (!buffer_a_.Grow(between, 0, kept) || !buffer_b_.Grow(between)) return false;
  if (index == 0 && !gather_.Grow(std::max({min_input, kMinEndBuffer, gather_.held()}))) {
    return false;
  }
  return !IsLast(index) || staging_.Grow(std::max(min_output, kMinEndBuffer));
}

bool ImagePipeline::AfterConvert(int index, IpResult result) {
  Stage& stage = stages_[static_cast<size_t>(index)];
  if ((result & IP_PAGE_BREAK) && !IsLast(index)) {
    const Stage& next = stages_[static_cast<size_t>(index) + 1];
    if (next.instance && (next.ops.newPage(next.instance) & IP_FATAL_ERROR)) return false;
  }
  if (result & IP_FINISHED) {
    stage.state = StageState::kFinished;
  } else if (stage.state != StageState::kDraining) {
    stage.state = (result & IP_NEED_INPUT) ? StageState::kWantsInput : StageState::kCanProduce;
  }
  return true;
}

// A transform that moved nothing waits for more input than it was given, or is stuck for good.
ImagePipeline::Step ImagePipeline::CheckProgress(int index, const Run& run, StageState before,
                                                 const PipelineCall& call) {
  const StageState now = stages_[static_cast<size_t>(index)].state;
  if (run.used > 0 || run.produced > 0) {
    idle_converts_ = 0;
    return Step::kGoOn;
  }
  const bool starved = now == before && index == 0 && call.input && call.used == call.available &&
                       (now == StageState::kReadingHeader || now == StageState::kWantsInput);
  if (starved) return Step::kStop;
  return ++idle_converts_ > kMaxIdleConverts ? Step::kFatal : Step::kGoOn;
}

namespace {

bool IsValid(IpHandle handle) {
  return handle && handle->IsValid();
}

}  // namespace

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
