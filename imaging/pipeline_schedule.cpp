// Two loops are never allowed: one in which no transform makes progress, and one over memory that a
// header asked for.
#include "imaging/pipeline_schedule.h"

#include <utility>

#include "imaging/jpeg_decode.h"

namespace scantk {
namespace {

// The least that the gather and staging buffers hold, in bytes, so that narrow rows travel in
// groups.
constexpr size_t kMinEndBuffer = 1000;

// Converts in a row that neither consume nor produce before the pipeline is held to be stuck. Every
// transform may change its state once or twice without moving a byte.
constexpr int kMaxIdleConverts = 4 * IP_MAX_XFORMS;

}  // namespace

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
    if (i == 1 && fused_) continue;
    const StageState state = stages_[static_cast<size_t>(i)].state;
    if (state == StageState::kCanProduce) return i;
    if (state != StageState::kFinished) first_unfinished = i;
  }
  return first_unfinished;
}

bool ImagePipeline::OpenStage(int index) {
  Stage& stage = stages_[static_cast<size_t>(index)];
  if (index > 0) {
    const Stage& before = stages_[static_cast<size_t>(Before(index))];
    if (before.state < StageState::kWantsInput) return false;
    stage.in_traits = before.out_traits;
  }
  if (index == 0 && count_ > 1 && CanFuse(stage, stages_[1])) {
    fused_ = true;
    stage.ops = kJpegToRgbOps;
  }
  size_t header = 0;
  if (!OpenInstance(stage, stage.in_traits, &stage.instance, &header)) return false;
  if (index > 0 && header != 0) return false;
  stage.min_input = std::max<size_t>(header, 1);
  if (index == 0 && !gather_.Grow(stage.min_input)) return false;
  stage.state = StageState::kReadingHeader;
  return true;
}

bool ImagePipeline::NoMoreInput(int index, const PipelineCall& call) const {
  if (index == 0) return !call.input && gather_.held() == 0;
  return stages_[static_cast<size_t>(Before(index))].state == StageState::kFinished &&
         consumer_ < 0;
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
  const ImageTraits& traits = stages_[static_cast<size_t>(index)].out_traits;
  const Stage& stage = stages_[static_cast<size_t>(Next(index) - 1)];  // the one left out, if any
  if (stage.output_callback) {
    stage.output_callback(this, &traits, run.produced, run.output, run.output_position,
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
  consumer_ = Next(index);
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
    const Stage& next = stages_[static_cast<size_t>(Next(index))];
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

}  // namespace scantk
