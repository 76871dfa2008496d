#include "imaging/jpeg_rows.h"

#include <cstring>

#include "imaging/kernels.h"

namespace scantk {
namespace {

void InterleaveAny(const uint8_t* const* planes, int components, uint8_t* out, size_t width) {
  for (int i = 0; i < components; ++i) {
    const uint8_t* const from = planes[i];
    uint8_t* to = out + i;
    for (size_t x = 0; x < width; ++x, to += components) *to = from[x];
  }
}

// Repeats samples: every group of `pixels` of them comes from `samples`.
void Expand(const uint8_t* from, int samples, int pixels, size_t width, uint8_t* out) {
  if (samples == 1) {
    for (size_t x = 0; x < width; ++from) {
      for (int i = 0; i < pixels; ++i) out[x++] = *from;
    }
    return;
  }
  int places[4];
  for (int i = 0; i < pixels; ++i) places[i] = JpegSampleAt(i, samples, pixels);
  for (size_t x = 0; x < width; from += samples) {
    for (int i = 0; i < pixels; ++i) out[x++] = from[places[i]];
  }
}

}  // namespace

bool JpegRows::Init(const JpegHeader& header, bool to_rgb) {
  header_ = header;
  const JpegComponent* const parts = header.component;
  half_chroma_ = header.components == 3 && parts[0].h == header.h_max &&
                 2 * parts[1].h == header.h_max && 2 * parts[2].h == header.h_max;
  const ImageKernels& kernels = ChosenKernels();
  interleave_ = (to_rgb ? kernels.to_rgb : kernels.interleave)[half_chroma_];
  if (half_chroma_) return true;
  const size_t room = static_cast<size_t>(header.width) + kPlaneSlack;
  for (int i = 0; i < header.components; ++i) {
    if (parts[i].h != header.h_max && !expanded_[i].Grow(room)) return false;
  }
  return true;
}

void JpegRows::BeginStrips(const JpegStrip* strips) {
  for (int i = 0; i < header_.components; ++i) {
    strips_[i] = strips[i];
    expanded_from_[i] = nullptr;
  }
}

const uint8_t* JpegRows::SampleRow(int component, int y) const {
  const JpegStrip& strip = strips_[component];
  return strip.samples +
         JpegSampleAt(y, header_.component[component].v, header_.v_max) * strip.stride;
}

const uint8_t* JpegRows::FullRow(int component, int y) {
  const uint8_t* const from = SampleRow(component, y);
  const int h = header_.component[component].h;
  if (h == header_.h_max) return from;
  uint8_t* const to = expanded_[component].data();
  if (expanded_from_[component] != from) {
    Expand(from, h, header_.h_max, static_cast<size_t>(header_.width), to);
    expanded_from_[component] = from;
  }
  return to;
}

void JpegRows::Write(int y, uint8_t* out) {
  const size_t width = static_cast<size_t>(header_.width);
  const uint8_t* planes[kJpegMaxComponents];
  for (int i = 0; i < header_.components; ++i) {
    planes[i] = half_chroma_ ? SampleRow(i, y) : FullRow(i, y);
  }
  if (header_.components == 1) {
    std::memcpy(out, planes[0], width);
  } else if (header_.components == 3) {
    interleave_(planes, out, width);
  } else {
    InterleaveAny(planes, header_.components, out, width);
  }
}

size_t JpegRows::WriteSampled(int y, uint8_t* out) const {
  size_t written = 0;
  for (int i = 0; i < header_.components; ++i) {
    const uint8_t* const from = SampleRow(i, y);
    if (y > 0 && from == SampleRow(i, y - 1)) continue;
    const int samples = header_.width * header_.component[i].h;
    const size_t count = static_cast<size_t>((samples + header_.h_max - 1) / header_.h_max);
    std::memcpy(out + written, from, count);
    written += count;
  }
  return written;
}

}  // namespace scantk
