// The two ends of a pipeline: the window onto the input in front of the first transform and the
// staged output behind the last one. Both stand in for the caller's memory where they can, so that
// bytes are copied only when a piece straddles two calls.
#ifndef SCANTK_IMAGING_PIPELINE_BUFFERS_H_
#define SCANTK_IMAGING_PIPELINE_BUFFERS_H_

#include <algorithm>

#include "imaging/byte_buffer.h"

namespace scantk {

// What one ipConvert was given and what it has used of it.
struct PipelineCall {
  const uint8_t* input;  // null: the stream has ended
  size_t available;
  size_t used = 0;
  uint8_t* output;  // null: output is discarded
  size_t space;
  size_t produced = 0;
  uint64_t output_position = 0;
  bool input_is_elsewhere = false;  // a transform asked for another position: the rest is not it
};

// The gathered input: `held` bytes of which the first is at `position` of the stream. While every
// held byte was taken from the current call's input they are not copied but looked at in place;
// Settle() copies them before the caller's memory goes away. `start` moves on as if they were
// copied, so that the amount taken from a caller never depends on where the bytes are.
class InputWindow {
 public:
  const uint8_t* data() const { return in_place_ ? in_place_ : buffer_.data() + start_; }
  size_t held() const { return held_; }
  uint64_t position() const { return position_; }

  bool Grow(size_t capacity) {
    if (capacity <= buffer_.capacity()) return true;
    if (!buffer_.Grow(capacity, start_, in_place_ ? 0 : held_)) return false;
    start_ = 0;
    return true;
  }

  // Takes as much of the call's input as fits. `wanted`: the piece that the transform works with.
  void TakeFrom(PipelineCall& call, size_t wanted) {
    if (Free() < wanted && start_ > 0) {
      if (!in_place_ && held_ > 0) std::memmove(buffer_.data(), data(), held_);
      start_ = 0;
    }
    const size_t count = std::min(Free(), call.available - call.used);
    if (count == 0) return;
    if (!in_place_ && held_ <= call.used) in_place_ = call.input + (call.used - held_);
    if (!in_place_) {
      std::memcpy(buffer_.data() + start_ + held_, call.input + call.used, count);
    }
    held_ += count;
    call.used += count;
  }

  // Drops `count` bytes from the front.
  void Drop(size_t count) {
    start_ += count;
    held_ -= count;
    position_ += count;
    if (in_place_) in_place_ += count;
  }

  // Drops everything; the next byte taken is the one at `position`.
  void JumpTo(uint64_t position) {
    start_ = held_ = 0;
    in_place_ = nullptr;
    position_ = position;
  }

  // Ends the look at the caller's memory.
  void Settle() {
    if (in_place_ && held_ > 0) std::memcpy(buffer_.data() + start_, in_place_, held_);
    in_place_ = nullptr;
  }

 private:
  size_t Free() const { return buffer_.capacity() - start_ - held_; }

  ByteBuffer buffer_;
  const uint8_t* in_place_ = nullptr;
  size_t start_ = 0;
  size_t held_ = 0;
  uint64_t position_ = 0;
};

// The staged output: bytes made and not yet taken by the caller.
class OutputStage {
 public:
  bool Grow(size_t capacity) { return buffer_.Grow(capacity, start_, held_); }
  size_t held() const { return held_; }
  size_t capacity() const { return buffer_.capacity(); }

  // Where the last transform writes its next piece, capacity() bytes: straight to the caller where
  // a whole piece fits, else here. Only while nothing is held.
  uint8_t* PieceTarget(const PipelineCall& call) {
    const bool fits = call.output && call.space - call.produced >= capacity();
    return fits ? call.output + call.produced : buffer_.data();
  }

  // Accounts for `count` bytes that a transform wrote at `target`, the first one at `position`.
  void Accept(const uint8_t* target, size_t count, uint64_t position, PipelineCall& call) {
    start_ = 0;
    held_ = count;
    position_ = position;
    if (target == buffer_.data()) return;
    if (call.produced == 0) call.output_position = position;
    if (!ContinuesOutputOf(call)) {
      std::memcpy(buffer_.data(), target, count);
      return;
    }
    Deliver(count, call);
  }

  // Moves what is held to the caller. False when some remains: the caller has no room, or the bytes
  // do not continue what it was given in this call.
  bool DrainTo(PipelineCall& call) {
    if (call.produced == 0) call.output_position = position_;
    if (held_ == 0) return true;
    if (!ContinuesOutputOf(call)) return false;
    const size_t count = std::min(held_, call.space - call.produced);
    if (call.output && count > 0) {
      std::memcpy(call.output + call.produced, buffer_.data() + start_, count);
    }
    Deliver(count, call);
    return held_ == 0;
  }

 private:
  bool ContinuesOutputOf(const PipelineCall& call) const {
    return position_ == call.output_position + call.produced;
  }
  void Deliver(size_t count, PipelineCall& call) {
    start_ += count;
    held_ -= count;
    position_ += count;
    call.produced += count;
  }

  ByteBuffer buffer_;
  size_t start_ = 0;
  size_t held_ = 0;
  uint64_t position_ = 0;
};

}  // namespace scantk

#endif  // SCANTK_IMAGING_PIPELINE_BUFFERS_H_
