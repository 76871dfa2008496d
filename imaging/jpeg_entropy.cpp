#include "imaging/jpeg_entropy.h"

#include <bit>
#include <cstring>
#include <new>

#include "imaging/kernels.h"

#define SCANTK_INLINE __attribute__((always_inline)) inline

namespace scantk {
namespace {

using State = JpegMcuDecoder::State;
using Block = JpegMcuDecoder::Block;

SCANTK_INLINE uint64_t LoadBigEndian(const uint8_t* from) {
  uint64_t word;
  std::memcpy(&word, from, sizeof(word));
  return std::endian::native == std::endian::little ? __builtin_bswap64(word) : word;
}

// The next bits, the first of them the highest. Lives in registers: it must never be handed to a
// function that is not inlined.
class Bits {
 public:
  SCANTK_INLINE Bits(const uint8_t* bytes, uint64_t bit) : next_(bytes + (bit >> 3)) {
    Refill();
    Skip(static_cast<uint32_t>(bit & 7));
  }

  // At least 56 bits are there afterwards.
  SCANTK_INLINE void Refill() {
    buffer_ |= LoadBigEndian(next_) >> (valid_ & 63);
    next_ += (~valid_ & 63) >> 3;
    valid_ |= 56;
  }

  SCANTK_INLINE uint64_t buffer() const { return buffer_; }

  SCANTK_INLINE uint32_t LookUp(const uint32_t* entries) const {
    return entries[buffer_ >> (64 - kJpegLookUpBits)];
  }

  // Only the low six bits of `count` matter, also in `valid_`: an entry skips its own bits.
  SCANTK_INLINE void Skip(uint32_t count) {
    buffer_ <<= count & 63;
    valid_ -= count;
  }

  SCANTK_INLINE uint64_t Position(const uint8_t* bytes) const {
    return 8 * static_cast<uint64_t>(next_ - bytes) - (valid_ & 63);
  }

  // Gives back up to 8 of the bits skipped last.
  SCANTK_INLINE void GiveBack(const uint8_t* bytes, uint32_t count) {
    *this = Bits(bytes, Position(bytes) - count);
  }

 private:
  uint64_t buffer_ = 0;
  const uint8_t* next_;
  uint32_t valid_ = 0;
};

SCANTK_INLINE uint32_t AdvanceOf(uint32_t entry) {
  return entry >> 6 & 1023;
}

SCANTK_INLINE int32_t ValueOf(uint32_t entry) {
  return static_cast<int32_t>(entry) >> 16;
}

// A symbol that is too long for the table. False: no such code.
template <bool kIsDc>
SCANTK_INLINE bool TakeLong(const JpegHuffmanTable& table, uint32_t entry, Bits& bits,
                            JpegSymbol& symbol) {
  bits.Refill();
  symbol = DecodeLongJpegSymbol<kIsDc>(table, entry, bits.buffer());
  bits.Skip(symbol.bits);
  return symbol.bits != 0;
}

enum class Taken { kBad, kEmpty, kSmall, kLarge };

// The difference to the DC before. Wants kJpegLookUpBits bits, leaves 45. kEmpty: the block's end
// came along; otherwise kSmall.
SCANTK_INLINE Taken TakeDc(const JpegHuffmanTable& table, Bits& bits, int32_t& difference) {
  const uint32_t entry = bits.LookUp(table.entries);
  bits.Refill();
  bits.Skip(entry);
  difference = ValueOf(entry);
  if (AdvanceOf(entry) == 0) return Taken::kSmall;
  if (AdvanceOf(entry) == kJpegThenEnd) return Taken::kEmpty;
  JpegSymbol symbol;
  if (!TakeLong<true>(table, entry, bits, symbol)) return Taken::kBad;
  difference = symbol.value;
  bits.Refill();
  return Taken::kSmall;
}

// The coefficients behind the DC. Wants 45 bits, leaves kJpegLookUpBits.
// One function, for speed. NOLINTNEXTLINE(readability-function-size)
SCANTK_INLINE Taken TakeAc(const Block& block, const JpegTransformKind& transform,
                           const uint8_t* bytes, Bits& bits, int16_t* coefficients) {
  const JpegHuffmanTable& table = *block.ac;
  const uint16_t* const factors = block.factors;
  const uint8_t* const order = transform.order;
  uint32_t k = 0;
  uint32_t places = 0;  // all that were written, in one
  const auto store = [&](int32_t value) __attribute__((always_inline)) {
    const uint32_t index = k & kJpegIndexMask;
    const uint32_t place = order[index];
    places |= place;
    coefficients[place] = static_cast<int16_t>(value * factors[index]);
  };
  const auto use = [&](uint32_t entry) __attribute__((always_inline)) {
    bits.Skip(entry);
    k += AdvanceOf(entry);
    store(ValueOf(entry));
    return k < 63;
  };
  for (;;) {
    // Four symbols of a look-up each take at most 44 of 56 bits, which leaves enough for the next
    // look-up; that one is under way before its refill.
    bool inside = use(bits.LookUp(table.entries)) && use(bits.LookUp(table.entries)) &&
                  use(bits.LookUp(table.entries));
    if (inside) {
      const uint32_t entry = bits.LookUp(table.entries);
      bits.Refill();
      inside = use(entry);
    }
    if (inside) continue;
    if (!(k & kJpegLong)) break;
    k -= kJpegBehind + kJpegLong;
    const uint32_t entry = bits.LookUp(table.entries);
    JpegSymbol symbol;
    if (!TakeLong<false>(table, entry, bits, symbol)) return Taken::kBad;
    k += symbol.advance;
    store(symbol.value);
    bits.Refill();
    if (k >= 63) break;
  }
  if (k == kJpegBehind + kJpegEnd) return Taken::kEmpty;
  if (!(k & kJpegEnd)) {
    const uint32_t last = k & kJpegIndexMask;
    if (last > 63) return Taken::kBad;
    // Nothing ends a block behind its last coefficient: what looked like it is the next block's.
    if (last == 63 && (k & kJpegThenEnd)) bits.GiveBack(bytes, table.end_bits);
  }
  return (places & transform.outside) == 0 ? Taken::kSmall : Taken::kLarge;
}

SCANTK_INLINE bool TakeBlock(State& state, const Block& block, int mcu, const uint8_t* bytes,
                             Bits& bits) {
  int32_t difference = 0;
  Taken taken = TakeDc(*block.dc, bits, difference);
  if (taken == Taken::kBad) return false;
  int32_t& prediction = state.dc[block.component];
  prediction =
      static_cast<int32_t>(static_cast<uint32_t>(prediction) + static_cast<uint32_t>(difference));
  const int16_t dc = static_cast<int16_t>(static_cast<uint32_t>(prediction) * block.factors[0]);
  const JpegTarget target{block.samples + mcu * block.step, block.stride};

  int16_t* const coefficients = state.queue.Next();
  if (taken != Taken::kEmpty) taken = TakeAc(block, state.transform, bytes, bits, coefficients);
  if (taken == Taken::kEmpty) {
    FillJpegBlock(target, dc);
    return true;
  }
  coefficients[0] = dc;
  state.queue.Add(target, taken == Taken::kSmall);
  return taken != Taken::kBad;
}

// Undoes an MCU that was begun.
void AbandonMcu(State& state, const int32_t* dc) {
  std::memcpy(state.dc, dc, sizeof(state.dc));
  // Now, because its blocks may be decoded to the same place again.
  state.transform.run(state.queue);
  std::memset(state.queue.coefficients, 0, sizeof(state.queue.coefficients));
}

SCANTK_INLINE JpegRunEnd DecodeRun(State& state, JpegRun& run) {
  const uint8_t* const bytes = run.bytes;
  const uint64_t end_bit = run.end_bit;
  const uint64_t stop_bit = run.stop_bit;
  const int mcu_end = run.mcu_end;
  const int blocks = state.block_count;
  uint64_t position = run.bit;
  int mcu = run.mcu;
  JpegRunEnd end = JpegRunEnd::kStopped;
  Bits bits(bytes, position);
  while (mcu < mcu_end && position < stop_bit) {
    int32_t before[kJpegMaxComponents];
    std::memcpy(before, state.dc, sizeof(before));
    bool good = true;
    for (int i = 0; i < blocks && good; ++i) {
      good = TakeBlock(state, state.blocks[i], mcu, bytes, bits);
    }
    const uint64_t now = bits.Position(bytes);
    // A code that seems bad may be one whose last bits are missing.
    const bool enough = now + (good ? 0 : 16) <= end_bit;
    if (!good || !enough) {
      AbandonMcu(state, before);
      end = enough ? JpegRunEnd::kBadCode : JpegRunEnd::kOutOfBits;
      break;
    }
    position = now;
    ++mcu;
    if (state.queue.used > JpegBlockQueue::kCapacity - kJpegMaxBlocksPerMcu) {
      state.transform.run(state.queue);
    }
  }
  state.transform.run(state.queue);
  run.bit = position;
  run.mcu = mcu;
  return end;
}

JpegRunEnd DecodePlain(State& state, JpegRun& run) {
  return DecodeRun(state, run);
}

#if SCANTK_X86
SCANTK_TARGET_AVX2 JpegRunEnd DecodeAvx2(State& state, JpegRun& run) {
  return DecodeRun(state, run);
}
#endif

}  // namespace

bool JpegMcuDecoder::Init(const JpegHeader& header) {
  state_.reset(new (std::nothrow) State);
  if (!state_) return false;
  header_ = header;
  State& state = *state_;
  decode_ = DecodePlain;
  state.transform = ChosenKernels().transform;
#if SCANTK_X86
  if (ChosenPath() == CpuPath::kAvx2) decode_ = DecodeAvx2;
#endif
  for (int i = 0; i < header.components; ++i) {
    const JpegComponent& component = header.component[i];
    const JpegHuffmanCodes& ac = header.ac[component.ac_table];
    BuildJpegDcTable(header.dc[component.dc_table], ac, &state.dc_tables[i]);
    BuildJpegAcTable(ac, &state.ac_tables[component.ac_table]);
    const int table = component.quantisation;
    std::memcpy(state.factors[table], header.quantisation[table].values,
                sizeof(header.quantisation[table].values));
  }
  return true;
}

void JpegMcuDecoder::SetStrips(const JpegStrip* strips) {
  State& state = *state_;
  state.block_count = 0;
  for (int i = 0; i < header_.components; ++i) {
    const int index = header_.scan_order[i];
    const JpegComponent& component = header_.component[index];
    const JpegStrip& strip = strips[index];
    for (int y = 0; y < component.v; ++y) {
      for (int x = 0; x < component.h; ++x) {
        state.blocks[state.block_count++] = {&state.dc_tables[index],
                                             &state.ac_tables[component.ac_table],
                                             state.factors[component.quantisation],
                                             strip.samples + 8 * y * strip.stride + 8 * x,
                                             strip.stride,
                                             8 * component.h,
                                             index};
      }
    }
  }
}

void JpegMcuDecoder::BeginInterval() {
  std::memset(state_->dc, 0, sizeof(state_->dc));
}

}  // namespace scantk
