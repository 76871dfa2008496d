// What the row transforms share: the check value, the traits, the stream positions, and the ten
// operations wrapped around a class that only says what differs.
#ifndef SCANTK_IMAGING_ROW_XFORM_H_
#define SCANTK_IMAGING_ROW_XFORM_H_

#include <new>

#include "imaging/byte_buffer.h"
#include "imaging/image_pipeline.h"

namespace scantk {

// One convert() of a row transform.
struct RowCall {
  const uint8_t* input;  // null: no more input will come
  size_t available;
  uint8_t* output;
  size_t space;
  size_t used;      // written by the transform
  size_t produced;  // written by the transform
};

// A transform derives from this, has `static constexpr uint32_t kCheckValue`, and may hide
//   bool AcceptInput()             in_traits_ is set: can this transform work with it?
//   bool AcceptParams(const int64_t* params)
//   bool Prepare()                 derive out_traits_ and allocate
//   IpResult Convert(RowCall&)
// A false answer becomes IP_FATAL_ERROR.
class RowXform {
 public:
  bool AcceptInput() const { return in_traits_.pixelsPerRow >= 1 && in_traits_.bitsPerPixel >= 1; }
  bool AcceptParams(const int64_t*) { return true; }
  bool Prepare() {
    out_traits_ = in_traits_;
    return true;
  }

 protected:
  static bool HasInputRow(const RowCall& call, size_t bytes) {
    return call.input && call.available >= bytes;
  }
  static bool HasOutputRow(const RowCall& call, size_t bytes) {
    return call.output && call.space >= bytes;
  }

  ImageTraits in_traits_{};
  ImageTraits out_traits_{};

 private:
  template <class T>
  friend struct RowXformOps;

  uint32_t check_ = 0;
  bool prepared_ = false;  // the traits are derived and the memory fits them
  uint64_t in_position_ = 0;
  uint64_t out_position_ = 0;
};

template <class T>
struct RowXformOps {
  static IpResult Answer(bool good) { return good ? IP_FINISHED : IP_FATAL_ERROR; }

  static T* Checked(void* instance) {
    T* xform = static_cast<T*>(instance);
    return xform && xform->check_ == T::kCheckValue ? xform : nullptr;
  }

  static IpResult Open(void** instance) {
    if (!instance) return IP_FATAL_ERROR;
    T* xform = new (std::nothrow) T;
    if (xform) xform->check_ = T::kCheckValue;
    *instance = xform;
    return Answer(xform != nullptr);
  }

  static IpResult SetInputTraits(void* instance, const ImageTraits* traits) {
    T* xform = Checked(instance);
    if (!xform || !traits) return IP_FATAL_ERROR;
    xform->in_traits_ = *traits;
    xform->prepared_ = false;
    return Answer(xform->AcceptInput());
  }

  static IpResult SetParams(void* instance, const int64_t* params) {
    T* xform = Checked(instance);
    return Answer(xform && params && xform->AcceptParams(params));
  }

  static IpResult GetHeaderSize(void* instance, size_t* bytes) {
    if (!Checked(instance) || !bytes) return IP_FATAL_ERROR;
    *bytes = 0;
    return IP_FINISHED;
  }

  static IpResult GetActualTraits(void* instance, size_t, const uint8_t*, size_t* used,
                                  uint64_t* next_position, ImageTraits* in_traits,
                                  ImageTraits* out_traits) {
    T* xform = Checked(instance);
    if (!xform || !used || !next_position || !in_traits || !out_traits) return IP_FATAL_ERROR;
    if (RowBytes(xform->in_traits_) > kMaxBufferBytes || !xform->Prepare()) return IP_FATAL_ERROR;
    xform->prepared_ = true;
    *used = 0;
    *next_position = xform->in_position_;
    *in_traits = xform->in_traits_;
    *out_traits = xform->out_traits_;
    return IP_FINISHED | IP_NEED_INPUT;
  }

  static IpResult GetBufferSizes(void* instance, size_t* min_input, size_t* min_output) {
    T* xform = Checked(instance);
    if (!xform || !min_input || !min_output) return IP_FATAL_ERROR;
    *min_input = RowBytes(xform->in_traits_);
    *min_output = RowBytes(xform->out_traits_);
    return IP_FINISHED;
  }

  static IpResult Convert(void* instance, size_t available, const uint8_t* input, size_t* used,
                          uint64_t* next_position, size_t space, uint8_t* output, size_t* produced,
                          uint64_t* output_position) {
    T* xform = Checked(instance);
    if (!xform || !used || !next_position || !produced || !output_position) return IP_FATAL_ERROR;
    if (!xform->prepared_) return IP_FATAL_ERROR;
    RowCall call{input, available, output, space, 0, 0};
    const IpResult result = xform->Convert(call);
    *used = call.used;
    *produced = call.produced;
    *output_position = xform->out_position_;
    xform->in_position_ += call.used;
    xform->out_position_ += call.produced;
    *next_position = xform->in_position_;
    return result;
  }

  static IpResult NewPage(void* instance) { return Answer(Checked(instance) != nullptr); }

  static IpResult Reserved(void*) { return IP_FATAL_ERROR; }

  static IpResult Close(void* instance) {
    T* xform = Checked(instance);
    if (!xform) return IP_FATAL_ERROR;
    xform->check_ = 0;
    delete xform;
    return IP_FINISHED;
  }

  static constexpr XformOps kTable = {
      Open,           SetInputTraits, SetParams, GetHeaderSize, GetActualTraits,
      GetBufferSizes, Convert,        NewPage,   Reserved,      Close};
};

}  // namespace scantk

#endif  // SCANTK_IMAGING_ROW_XFORM_H_
