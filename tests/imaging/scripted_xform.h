// A transform whose conduct a test writes down in the parameters: it can read a header, repeat
// rows, keep them all until the input ends, and fail in the ways that a broken transform would.
#ifndef SCANTK_TESTS_IMAGING_SCRIPTED_XFORM_H_
#define SCANTK_TESTS_IMAGING_SCRIPTED_XFORM_H_

#include <algorithm>
#include <cstring>
#include <deque>

#include "imaging/image_pipeline.h"
#include "tests/imaging/pipeline_harness.h"

namespace scantk::testing {

// Parameter 0 of a scripted transform: its header's bytes.
// Parameter 1: how often it gives every row.
// Parameter 2: 1 keeps every row until the input has ended, then gives them last first.
// Parameter 3: the misconduct.
enum Misconduct : int64_t {
  kNone,
  kStarves,        // never consumes anything, always wants more
  kSpins,          // claims to be able to produce and does not
  kInputError,     // reports malformed input with its third row, which it delivers
  kFatalError,     // fails at its third row
  kJumps,          // wants to go on at position 1000 after its first row
  kOverclaims,     // says that it used more than there was
  kGaps,           // leaves 100 positions out before its second output row
  kFinishesEarly,  // is finished after its second row
};

class ScriptedXform {
 public:
  static XformDescriptor Make(int64_t header, int64_t repeat, int64_t hold,
                              int64_t misconduct = kNone) {
    XformDescriptor descriptor{};
    descriptor.ops = &kOps;
    const int64_t params[] = {header, repeat, hold, misconduct};
    std::copy(std::begin(params), std::end(params), descriptor.params);
    return descriptor;
  }

  // What the rows of `input` become.
  static Bytes Model(const XformDescriptor& descriptor, size_t row, Bytes input) {
    input.erase(input.begin(), input.begin() + descriptor.params[0]);
    Bytes output;
    for (size_t at = 0; at < input.size(); at += row) {
      const Bytes one(input.begin() + static_cast<ptrdiff_t>(at),
                      input.begin() + static_cast<ptrdiff_t>(at + row));
      for (int64_t i = 0; i < descriptor.params[1]; ++i) {
        output.insert(descriptor.params[2] ? output.begin() : output.end(), one.begin(), one.end());
      }
    }
    return output;
  }

  inline static int live_instances = 0;
  inline static int new_pages = 0;

 private:
  static ScriptedXform& Self(void* instance) { return *static_cast<ScriptedXform*>(instance); }

  static IpResult Open(void** instance) {
    ++live_instances;
    *instance = new ScriptedXform;
    return IP_FINISHED;
  }
  static IpResult SetInputTraits(void* instance, const ImageTraits* traits) {
    Self(instance).traits_ = *traits;
    return IP_FINISHED;
  }
  static IpResult SetParams(void* instance, const int64_t* params) {
    std::copy(params, params + 4, Self(instance).params_);
    return IP_FINISHED;
  }
  static IpResult GetHeaderSize(void* instance, size_t* bytes) {
    *bytes = static_cast<size_t>(Self(instance).params_[0]);
    return IP_FINISHED;
  }
  static IpResult GetActualTraits(void* instance, size_t, const uint8_t*, size_t* used,
                                  uint64_t* next, ImageTraits* in, ImageTraits* out) {
    ScriptedXform& self = Self(instance);
    *used = static_cast<size_t>(self.params_[0]);
    *next = self.in_position_ = *used;
    *in = *out = self.traits_;
    return IP_FINISHED | IP_NEED_INPUT;
  }
  static IpResult GetBufferSizes(void* instance, size_t* input, size_t* output) {
    *input = *output = RowBytes(Self(instance).traits_);
    return IP_FINISHED;
  }
  static IpResult Convert(void* instance, size_t available, const uint8_t* input, size_t* used,
                          uint64_t* next, size_t space, uint8_t* output, size_t* produced,
                          uint64_t* position) {
    return Self(instance).Run(available, input, used, next, space, output, produced, position);
  }
  static IpResult NewPage(void*) {
    ++new_pages;
    return IP_FINISHED;
  }
  static IpResult Reserved(void*) { return IP_FATAL_ERROR; }
  static IpResult Close(void* instance) {
    --live_instances;
    delete &Self(instance);
    return IP_FINISHED;
  }

  IpResult Run(size_t available, const uint8_t* input, size_t* used, uint64_t* next, size_t space,
               uint8_t* output, size_t* produced, uint64_t* position) {
    const size_t row = RowBytes(traits_);
    const int64_t misconduct = params_[3];
    *used = *produced = 0;
    *position = out_position_;
    IpResult result = 0;
    if (misconduct == kStarves) return IP_NEED_INPUT;
    if (misconduct == kSpins) return 0;
    if (input && ready_.empty()) {
      if (available < row || space < row) return IP_FATAL_ERROR;
      ++rows_in_;
      for (int64_t i = 0; i < params_[1]; ++i) Queue(Bytes(input, input + row));
      *used = row;
      result |= IP_ROW_IN;
    }
    if (!input && !kept_.empty()) ready_.swap(kept_);
    in_position_ += *used;
    *next = misconduct == kJumps && rows_in_ == 1 ? 1000 : in_position_;
    if (!ready_.empty()) {
      if (misconduct == kGaps && out_position_ == row) *position = out_position_ += 100;
      std::memcpy(output, ready_.front().data(), row);
      ready_.pop_front();
      *produced = row;
      out_position_ += row;
      result |= IP_ROW_OUT;
    }
    if (misconduct == kOverclaims) *used = available + 1;
    if (misconduct == kInputError && rows_in_ == 3) result |= IP_INPUT_ERROR;
    if (misconduct == kFatalError && rows_in_ == 3) result |= IP_FATAL_ERROR;
    if (rows_in_ == 2 && *used > 0) result |= IP_PAGE_BREAK;
    if (misconduct == kFinishesEarly && rows_in_ == 2) return result | IP_FINISHED;
    if (!input && ready_.empty()) return result | IP_FINISHED;
    return ready_.empty() ? static_cast<IpResult>(result | IP_NEED_INPUT) : result;
  }

  void Queue(Bytes row) {
    if (params_[2]) {
      kept_.push_front(std::move(row));
    } else {
      ready_.push_back(std::move(row));
    }
  }

  static constexpr XformOps kOps = {
      Open,           SetInputTraits, SetParams, GetHeaderSize, GetActualTraits,
      GetBufferSizes, Convert,        NewPage,   Reserved,      Close};

  ImageTraits traits_{};
  int64_t params_[4] = {};
  std::deque<Bytes> ready_;
  std::deque<Bytes> kept_;
  int rows_in_ = 0;
  uint64_t in_position_ = 0;
  uint64_t out_position_ = 0;
};

}  // namespace scantk::testing

#endif  // SCANTK_TESTS_IMAGING_SCRIPTED_XFORM_H_
