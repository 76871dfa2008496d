// Runs a pipeline with pieces of chosen sizes and records everything that a caller can see.
#ifndef SCANTK_TESTS_IMAGING_PIPELINE_HARNESS_H_
#define SCANTK_TESTS_IMAGING_PIPELINE_HARNESS_H_

#include <gtest/gtest.h>

#include <cstring>
#include <functional>
#include <memory>
#include <random>
#include <tuple>
#include <vector>

#include "imaging/cpu.h"
#include "imaging/image_pipeline.h"

namespace scantk::testing {

using Bytes = std::vector<uint8_t>;

inline void Append(Bytes& to, const Bytes& more) {
  to.insert(to.end(), more.begin(), more.end());
}

// One callback: stage, whether it is of its output, position, data. Events are compared whole, in
// the order in which all stages gave them.
using Event = std::tuple<size_t, bool, uint64_t, Bytes>;

struct Outcome {
  Bytes output;
  IpResult result = 0;  // of the last call
  size_t used = 0;      // of all calls
  std::vector<Event> events;
};

// The greatest size of a piece: every piece has it, or with a seed a random one up to it.
struct Piece {
  size_t size = SIZE_MAX;
  uint32_t seed = 0;
  std::mt19937 random{seed};
  size_t Next() { return seed ? random() % size + 1 : size; }
};
struct Chunks {
  Piece input, output;
};

inline XformDescriptor BuiltIn(uint32_t id, std::initializer_list<int64_t> params) {
  XformDescriptor descriptor{};
  descriptor.builtInId = id;
  std::copy(params.begin(), params.end(), descriptor.params);
  return descriptor;
}

inline ImageTraits Traits(int pixels, int bits, int rows = -1) {
  return {pixels, bits, bits % 3 == 0 ? 3 : 1, 300, 300, rows, -1, -1};
}

inline Bytes RandomBytes(size_t count, uint32_t seed) {
  std::mt19937 engine(seed);
  Bytes bytes(count);
  for (uint8_t& byte : bytes) byte = static_cast<uint8_t>(engine());
  return bytes;
}

// Does `work` on every path of the processor.
inline void OnEveryPath(const std::function<void()>& work) {
  for (const CpuPath path : CpuPaths()) {
    SCOPED_TRACE(PathName(path));
    ForcePath(path);
    work();
    ForcePath({});
  }
}

class Harness {
 public:
  Harness(std::vector<XformDescriptor> chain, const ImageTraits& traits, bool record_events = true)
      : taps_(chain.size()) {
    for (size_t i = 0; i < chain.size() && record_events; ++i) {
      taps_[i] = {this, i};
      chain[i].inputCallback = Record<false>;
      chain[i].outputCallback = Record<true>;
      chain[i].clientData = &taps_[i];
    }
    ipCreatePipeline(static_cast<int>(chain.size()), chain.data(), 0, &handle_);
    ipSetInputTraits(handle_, &traits);
  }
  Harness(const Harness&) = delete;
  ~Harness() { ipDestroyPipeline(handle_); }

  IpHandle handle() const { return handle_; }
  Outcome& outcome() { return outcome_; }

  // Gives `input` in pieces until it is used up or a result bit comes up.
  void Feed(const Bytes& input, Chunks chunks = {}) {
    size_t at = 0;
    while (at < input.size() && !Over()) {
      // Exactly as large as announced, so that a sanitizer sees every byte beyond.
      const auto from = input.begin() + static_cast<ptrdiff_t>(at);
      const size_t piece = std::min(input.size() - at, chunks.input.Next());
      const Bytes given(from, from + static_cast<ptrdiff_t>(piece));
      at += Call(given.data(), given.size(), chunks.output.Next());
    }
  }

  // Says that the input is over and takes what is left.
  void Drain(Chunks chunks = {}) {
    while (!Over()) Call(nullptr, 0, chunks.output.Next());
  }

  // One ipConvert, all of it recorded. Returns the bytes used.
  size_t Call(const uint8_t* input, size_t available, size_t space) {
    space = std::min(space, size_t{1} << 20);
    Bytes room(std::max<size_t>(space, 1));
    size_t used = 0, produced = 0;
    outcome_.result = ipConvert(handle_, available, input, &used, &next, space, room.data(),
                                &produced, &position);
    sound &= used <= available && produced <= space && (outcome_.result & ~IP_RESULT_MASK) == 0;
    outcome_.used += used;
    positions_agree &= next == outcome_.used || outcome_.result != 0;
    positions_agree &= produced == 0 || position == outcome_.output.size();
    room.resize(produced);
    Append(outcome_.output, room);
    return used;
  }

  uint64_t next = 0, position = 0;  // of the last call
  bool positions_agree = true;      // in every call with the bytes that it moved
  bool sound = true;                // every call moved what it was given, and said known bits
  size_t most = SIZE_MAX;           // output; then no more is asked for

 private:
  bool Over() const { return outcome_.result || outcome_.output.size() >= most; }

  struct Tap {
    Harness* harness;
    size_t stage;
  };
  template <bool kOutput>
  static void Record(IpHandle, const ImageTraits*, size_t bytes, const uint8_t* data,
                     uint64_t position, void* client) {
    const Tap& tap = *static_cast<Tap*>(client);
    tap.harness->outcome_.events.push_back(
        {tap.stage, kOutput, position, Bytes(data, data + bytes)});
  }

  std::vector<Tap> taps_;
  IpHandle handle_ = nullptr;
  Outcome outcome_;
};

// A whole image through a chain.
inline Outcome RunWhole(const std::vector<XformDescriptor>& chain, const ImageTraits& traits,
                        const Bytes& input, const Chunks& chunks = {}) {
  Harness harness(chain, traits);
  harness.Feed(input, chunks);
  harness.Drain(chunks);
  return harness.outcome();
}

inline constexpr IpResult kMalformed = IP_INPUT_ERROR | IP_FATAL_ERROR;

// The decoder alone, by default to pixels.
inline Outcome DecodeJpeg(const Bytes& stream, const Chunks& chunks = {},
                          int64_t keep_sampling = 0) {
  Harness harness({BuiltIn(XFORM_JPEG_DECODE, {keep_sampling})}, Traits(1, 8), false);
  harness.Feed(stream, chunks);
  harness.Drain(chunks);
  return harness.outcome();
}

}  // namespace scantk::testing

#endif  // SCANTK_TESTS_IMAGING_PIPELINE_HARNESS_H_
