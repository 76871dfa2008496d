// Runs a pipeline with pieces of chosen sizes and records everything that a caller can see.
#ifndef SCANTK_TESTS_IMAGING_PIPELINE_HARNESS_H_
#define SCANTK_TESTS_IMAGING_PIPELINE_HARNESS_H_

#include <cstring>
#include <functional>
#include <memory>
#include <ostream>
#include <random>
#include <vector>

#include "imaging/image_pipeline.h"

namespace scantk::testing {

using Bytes = std::vector<uint8_t>;

// One callback. Events are compared whole, in the order in which all stages gave them.
struct Event {
  size_t stage;
  bool output;
  uint64_t position;
  Bytes data;
  int32_t pixels;
  bool operator==(const Event&) const = default;
};

inline std::ostream& operator<<(std::ostream& out, const Event& event) {
  return out << "stage " << event.stage << (event.output ? " out" : " in") << " at "
             << event.position << ", " << event.data.size() << " bytes";
}

struct Outcome {
  Bytes output;
  IpResult result = 0;  // of the last call
  size_t used = 0;      // of all calls
  std::vector<Event> events;
};

// Sizes of the pieces in which a run goes.
struct Chunks {
  std::function<size_t()> input = [] { return SIZE_MAX; };
  std::function<size_t()> output = [] { return SIZE_MAX; };

  static std::function<size_t()> Random(size_t greatest, uint32_t seed) {
    return [greatest, engine = std::mt19937(seed)]() mutable { return engine() % greatest + 1; };
  }
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

struct PipelineCloser {
  void operator()(ImagePipeline* pipeline) const { ipDestroyPipeline(pipeline); }
};
using PipelineOwner = std::unique_ptr<ImagePipeline, PipelineCloser>;

class Harness {
 public:
  Harness(std::vector<XformDescriptor> chain, const ImageTraits& traits, bool record_events = true)
      : taps_(chain.size()) {
    for (size_t i = 0; i < chain.size() && record_events; ++i) {
      taps_[i] = {this, i};
      chain[i].inputCallback = OnInput;
      chain[i].outputCallback = OnOutput;
      chain[i].clientData = &taps_[i];
    }
    IpHandle handle = nullptr;
    const int count = static_cast<int>(chain.size());
    if (ipCreatePipeline(count, chain.data(), 0, &handle) == IP_FINISHED) pipeline_.reset(handle);
    ipSetInputTraits(handle, &traits);
  }

  IpHandle handle() { return pipeline_.get(); }
  Outcome& outcome() { return outcome_; }

  // Gives `input` in pieces until it is used up or a result bit comes up.
  void Feed(const Bytes& input, const Chunks& chunks = {}) {
    size_t at = 0;
    while (at < input.size() && !outcome_.result) {
      const size_t piece = std::min(input.size() - at, chunks.input());
      // Exactly as large as announced, so that a sanitizer sees every byte beyond.
      const Bytes given(input.begin() + static_cast<ptrdiff_t>(at),
                        input.begin() + static_cast<ptrdiff_t>(at + piece));
      at += Call(given.data(), given.size(), chunks.output());
    }
  }

  // Says that the input is over and takes what is left.
  void Drain(const Chunks& chunks = {}) {
    while (!outcome_.result) Call(nullptr, 0, chunks.output());
  }

  // One ipConvert, all of it recorded. Returns the bytes used.
  size_t Call(const uint8_t* input, size_t available, size_t space) {
    Bytes room(std::min<size_t>(space, size_t{1} << 20));
    size_t used = 0, produced = 0;
    uint64_t next = 0, position = 0;
    const bool has_room = !room.empty();
    uint8_t nothing = 0;
    outcome_.result = ipConvert(handle(), available, input, &used, &next, room.size(),
                                has_room ? room.data() : &nothing, &produced, &position);
    outcome_.used += used;
    positions_agree_ &= next == outcome_.used || outcome_.result != 0;
    positions_agree_ &= produced == 0 || position == outcome_.output.size();
    outcome_.output.insert(outcome_.output.end(), room.begin(),
                           room.begin() + static_cast<ptrdiff_t>(produced));
    return used;
  }

  // The positions that every call reported were those of the bytes that it moved.
  bool positions_agree() const { return positions_agree_; }

 private:
  struct Tap {
    Harness* harness;
    size_t stage;
  };
  static void Record(bool output, const ImageTraits* traits, size_t bytes, const uint8_t* data,
                     uint64_t position, void* client) {
    const Tap& tap = *static_cast<Tap*>(client);
    tap.harness->outcome_.events.push_back(
        {tap.stage, output, position, Bytes(data, data + bytes), traits->pixelsPerRow});
  }
  static void OnInput(IpHandle, const ImageTraits* traits, size_t bytes, const uint8_t* data,
                      uint64_t position, void* client) {
    Record(false, traits, bytes, data, position, client);
  }
  static void OnOutput(IpHandle, const ImageTraits* traits, size_t bytes, const uint8_t* data,
                       uint64_t position, void* client) {
    Record(true, traits, bytes, data, position, client);
  }

  std::vector<Tap> taps_;
  PipelineOwner pipeline_;
  Outcome outcome_;
  bool positions_agree_ = true;
};

// A whole image through a chain.
inline Outcome RunWhole(const std::vector<XformDescriptor>& chain, const ImageTraits& traits,
                        const Bytes& input, const Chunks& chunks = {}) {
  Harness harness(chain, traits);
  harness.Feed(input, chunks);
  harness.Drain(chunks);
  return harness.outcome();
}

}  // namespace scantk::testing

#endif  // SCANTK_TESTS_IMAGING_PIPELINE_HARNESS_H_
