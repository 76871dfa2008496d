// The transform XFORM_JPEG_DECODE: a sequential, Huffman-coded JPEG stream of 8 bits becomes rows
// of interleaved samples, in the stream's own colour space.
//
// Parameter 0: 0 gives every component repeated to full resolution, components * width bytes a row.
// Any other value gives the samples as they are coded: each call delivers, for one row of the
// image, the sample rows that begin there, component behind component, ceil(width * h / h_max)
// bytes each.
//
// Memory: one MCU row of samples, whatever the header announces.
#ifndef SCANTK_IMAGING_JPEG_DECODE_H_
#define SCANTK_IMAGING_JPEG_DECODE_H_

#include "imaging/image_pipeline.h"

namespace scantk {

extern const XformOps kJpegDecodeOps;

// The same with XFORM_COLOR_SPACE of kind 2 behind it, in one: Y, Cb, Cr never go through memory.
// Refuses four components, as that does.
extern const XformOps kJpegToRgbOps;

}  // namespace scantk

#endif  // SCANTK_IMAGING_JPEG_DECODE_H_
