// The image pipeline: a chain of one to eight transforms that turns the byte stream a device
// delivers into the byte stream a host asked for. Input is pushed in pieces of any size, output
// pulled into buffers of any size. This library stands alone: nothing of it knows about scanners.
//
// Shapes: a row takes (pixelsPerRow * bitsPerPixel + 7) / 8 bytes, rows follow one another without
// padding. Errors: every operation answers a word of IP_ bits. Threads: a pipeline is used by one
// thread at a time; different pipelines are independent.
#ifndef SCANTK_IMAGING_IMAGE_PIPELINE_H_
#define SCANTK_IMAGING_IMAGE_PIPELINE_H_

#include <cstddef>
#include <cstdint>

namespace scantk {

using IpResult = uint16_t;

inline constexpr IpResult IP_NEED_INPUT = 0x001;   // wants more input before it can produce
inline constexpr IpResult IP_ROW_IN = 0x004;       // input was consumed
inline constexpr IpResult IP_ROW_OUT = 0x008;      // output was produced
inline constexpr IpResult IP_INPUT_ERROR = 0x010;  // the input is malformed
inline constexpr IpResult IP_FATAL_ERROR = 0x020;  // invalid call, no memory, unrecoverable
inline constexpr IpResult IP_PAGE_BREAK = 0x080;   // the transform has started a new page
inline constexpr IpResult IP_FINISHED = 0x200;     // set-up: success; convert: nothing more comes

// The bits that ipConvert lets through to its caller.
inline constexpr IpResult IP_RESULT_MASK = IP_FINISHED | IP_FATAL_ERROR | IP_INPUT_ERROR;

inline constexpr int IP_MAX_XFORMS = 8;
inline constexpr int IP_MAX_PARAMS = 8;

// One image format. Resolutions are 16.16 fixed point, in dots per inch.
struct ImageTraits {
  int32_t pixelsPerRow;
  int32_t bitsPerPixel;        // 1 bilevel, 8 gray, 24 colour, 16 or 48 for 16-bit samples
  int32_t componentsPerPixel;  // 1 or 3 (a JPEG stream may hold 1 to 4)
  int32_t xDpi;
  int32_t yDpi;
  int32_t rowCount;   // negative: not known in advance
  int32_t pageCount;  // -1: unknown
  int32_t pageIndex;  // -1: unknown
};

// Bytes of one packed row of `traits`; 0 when a field is not positive.
constexpr size_t RowBytes(const ImageTraits& traits) {
  if (traits.pixelsPerRow <= 0 || traits.bitsPerPixel <= 0) return 0;
  return (static_cast<size_t>(traits.pixelsPerRow) * static_cast<size_t>(traits.bitsPerPixel) + 7) /
         8;
}

// The ten operations of a transform. `instance` is what open() made. Set-up operations answer
// IP_FINISHED for success and IP_FATAL_ERROR for failure. No operation keeps the pointers that it
// is given beyond the call.
struct XformOps {
  IpResult (*open)(void** instance);
  IpResult (*setInputTraits)(void* instance, const ImageTraits* traits);
  // May be called again during a page; the transform decides how a change takes effect.
  IpResult (*setParams)(void* instance, const int64_t* params);  // IP_MAX_PARAMS values
  // Input bytes that must be available before the transform can tell its output traits.
  IpResult (*getHeaderSize)(void* instance, size_t* bytes);
  // Reads the header, if any. IP_FINISHED: the traits are known; IP_NEED_INPUT too when the
  // transform then wants input before it can produce. `nextPosition` is the stream position from
  // which the transform wants its next input.
  IpResult (*getActualTraits)(void* instance, size_t available, const uint8_t* input, size_t* used,
                              uint64_t* nextPosition, ImageTraits* inTraits,
                              ImageTraits* outTraits);
  // The smallest input and output pieces that convert() works with, in bytes.
  IpResult (*getBufferSizes)(void* instance, size_t* minInput, size_t* minOutput);
  // Consumes and produces in the transform's own unit (one row, but for the JPEG decoder's input).
  // `input` null: no more input will come. `outputPosition` is the stream position of the first
  // byte produced.
  IpResult (*convert)(void* instance, size_t available, const uint8_t* input, size_t* used,
                      uint64_t* nextPosition, size_t space, uint8_t* output, size_t* produced,
                      uint64_t* outputPosition);
  IpResult (*newPage)(void* instance);   // the transform before has started a new page
  IpResult (*reserved)(void* instance);  // always IP_FATAL_ERROR, never called by the pipeline
  IpResult (*close)(void* instance);     // frees the instance
};

// The transforms that the library brings, by the id that a descriptor names.
enum XformId : uint32_t {
  XFORM_JPEG_DECODE = 7,
  XFORM_SCALE = 9,
  XFORM_COLOR_SPACE = 12,
  XFORM_TABLE = 16,
  XFORM_FLIP = 18,
};

// The operations of a built-in transform, or null when `id` names none.
const XformOps* BuiltInXform(uint32_t id);

struct ImagePipeline;
using IpHandle = ImagePipeline*;

// Told after a transform consumed input or produced output: `bytes` bytes at `data`, the first of
// them at `position` of the stream. The data is valid during the call only.
using XformCallback = void (*)(IpHandle pipeline, const ImageTraits* traits, size_t bytes,
                               const uint8_t* data, uint64_t position, void* clientData);

// One entry of the list from which a pipeline is made.
struct XformDescriptor {
  const XformOps* ops;  // null: use the built-in transform `builtInId`
  uint32_t builtInId;
  XformCallback inputCallback;   // may be null
  XformCallback outputCallback;  // may be null
  void* clientData;
  int64_t params[IP_MAX_PARAMS];
};

// Makes a pipeline of `count` (1 to 8) transforms; the descriptors are copied. On success the
// caller owns *handle and frees it with ipDestroyPipeline.
IpResult ipCreatePipeline(int count, const XformDescriptor* descriptors, int clientDataSize,
                          IpHandle* handle);

// The `clientDataSize` bytes given at creation, zeroed; null when there are none.
void* ipClientData(IpHandle handle);

// The first transform's input format; only before the first ipConvert. An xDpi or yDpi below
// 0x10000 is taken as whole dots per inch.
IpResult ipSetInputTraits(IpHandle handle, const ImageTraits* traits);

// The format of the rows that the last transform gives. IP_NEED_INPUT: not known before the first
// transform has read its header, which it has when it gives the first byte. IP_FATAL_ERROR: a
// transform refuses what it would get. Changes nothing.
IpResult ipGetOutputTraits(IpHandle handle, ImageTraits* traits);

// Takes input and gives output until the output is full, the input is used up, or a bit of
// IP_RESULT_MASK comes up, which is the result. `input` null: the stream has ended, drain. `output`
// null: discard all output. `inputNextPosition` is the stream position from which the caller should
// go on with its input, `outputPosition` that of the first output byte.
IpResult ipConvert(IpHandle handle, size_t inputAvailable, const uint8_t* input, size_t* inputUsed,
                   uint64_t* inputNextPosition, size_t outputAvailable, uint8_t* output,
                   size_t* outputUsed, uint64_t* outputPosition);

// Changes a stored parameter; ipApplyXformParams hands the stored ones to the transform.
IpResult ipSetXformParam(int index, int parameter, int64_t value, IpHandle handle);
IpResult ipApplyXformParams(int index, IpHandle handle);

// Closes every transform and frees the pipeline.
IpResult ipDestroyPipeline(IpHandle handle);

}  // namespace scantk

#endif  // SCANTK_IMAGING_IMAGE_PIPELINE_H_
