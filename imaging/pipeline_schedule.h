// The scheduling of the transforms.
#ifndef SCANTK_IMAGING_PIPELINE_SCHEDULE_H_
#define SCANTK_IMAGING_PIPELINE_SCHEDULE_H_

#include <array>

#include "imaging/pipeline_buffers.h"
#include "imaging/pipeline_stage.h"

namespace scantk {

struct ImagePipeline {
 public:
  ~ImagePipeline();

  bool IsValid() const { return check_ == kCheckValue; }
  bool Init(int count, const XformDescriptor* descriptors, size_t client_data_size);
  void* client_data() { return client_data_.get(); }
  IpResult SetInputTraits(const ImageTraits& traits);
  IpResult SetParam(int index, int parameter, int64_t value);
  IpResult ApplyParams(int index);
  IpResult OutputTraits(ImageTraits* traits) const;
  IpResult Convert(PipelineCall& call);
  uint64_t NextInputPosition() const { return gather_.position() + gather_.held(); }

 private:
  static constexpr uint32_t kCheckValue = 0xACEC0DE4;
  enum class Step { kGoOn, kStop, kFatal };

  // Behind and before a stage in the chain. The second one is left out when the first does its
  // work.
  int Next(int index) const { return index + (index == 0 && fused_ ? 2 : 1); }
  int Before(int index) const { return index - (index == 2 && fused_ ? 2 : 1); }
  bool IsLast(int index) const { return Next(index) == count_; }
  IpResult Loop(PipelineCall& call);
  int ChooseStage() const;
  bool OpenStage(int index);
  bool NoMoreInput(int index, const PipelineCall& call) const;
  Step RunStage(int index, PipelineCall& call);
  Run Prepare(int index, const PipelineCall& call);
  void AfterInput(int index, const Run& run, PipelineCall& call);
  bool AfterOutput(int index, const Run& run, PipelineCall& call);
  bool SizeBuffers(int index);
  bool AfterConvert(int index, IpResult result);
  Step CheckProgress(int index, const Run& run, StageState before, const PipelineCall& call);

  uint32_t check_ = kCheckValue;
  int count_ = 0;
  bool fused_ = false;
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

}  // namespace scantk

#endif  // SCANTK_IMAGING_PIPELINE_SCHEDULE_H_
