#include "imaging/jpeg_entropy.h"

#include <bit>
#include <cstring>
#include <new>

#include "imaging/cpu.h"

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

// The difference to the DC before. Wants kJpegLookUpBits bits, leaves 45.
SCANTK_INLINE bool TakeDc(const JpegHuffmanTable& table, Bits& bits, int32_t& difference) {
  const uint32_t entry = bits.LookUp(table.entries);
  bits.Refill();
  if (AdvanceOf(entry) != 0) {
    JpegSymbol symbol;
    if (!TakeLong<true>(table, entry, bits, symbol)) return false;
    difference = symbol.value;
    bits.Refill();
    return true;
  }
  bits.Skip(entry);
  difference = ValueOf(entry);
  return true;
}

// The coefficients behind the DC. `last` becomes the zigzag index of the last one, 0 if there is
// none. Wants 45 bits, leaves kJpegLookUpBits.
SCANTK_INLINE bool TakeAc(const Block& block, const uint8_t* order, const uint8_t* bytes,
                          Bits& bits, int16_t* coefficients, uint32_t& last) {
  const JpegHuffmanTable& table = *block.ac;
  const uint16_t* const factors = block.factors;
  uint32_t k = 0;
  const auto store = [&](int32_t value) __attribute__((always_inline)) {
    const uint32_t index = k & kJpegIndexMask;
    coefficients[order[index]] = static_cast<int16_t>(value * factors[index]);
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
    if (!TakeLong<false>(table, entry, bits, symbol)) return false;
    k += symbol.advance;
    store(symbol.value);
    bits.Refill();
    if (k >= 63) break;
  }
  if (k & kJpegEnd) {
    last = k - kJpegBehind - kJpegEnd;
    return true;
  }
  last = k & kJpegIndexMask;
  // Nothing ends a block behind its last coefficient: what looked like it belongs to the next one.
  if (last == 63 && (k & kJpegThenEnd)) bits.GiveBack(bytes, table.end_bits);
  return last <= 63;
}

SCANTK_INLINE bool TakeBlock(State& state, const Block& block, int mcu, const uint8_t* order,
                             const uint8_t* bytes, Bits& bits) {
  int32_t difference = 0;
  if (!TakeDc(*block.dc, bits, difference)) return false;
  int32_t& prediction = state.dc[block.component];
  prediction =
      static_cast<int32_t>(static_cast<uint32_t>(prediction) + static_cast<uint32_t>(difference));
  const int16_t dc = static_cast<int16_t>(static_cast<uint32_t>(prediction) * block.factors[0]);

  int16_t* const coefficients = state.queue.Next();
  uint32_t last = 0;
  if (!TakeAc(block, order, bytes, bits, coefficients, last)) return false;
  const JpegTarget target{block.samples + mcu * block.step, block.stride};
  if (last == 0) {
    FillJpegBlock(target, dc);
  } else {
    coefficients[0] = dc;
    state.queue.Add(target, last);
  }
  return true;
}

SCANTK_INLINE JpegRunEnd DecodeRun(State& state, JpegRun& run) {
  const uint8_t* const bytes = run.bytes;
  const uint8_t* const order = state.transform.order;
  Bits bits(bytes, run.bit);
  while (run.mcu < run.mcu_end && run.bit < run.stop_bit) {
    int32_t before[kJpegMaxComponents];
    std::memcpy(before, state.dc, sizeof(before));
    bool good = true;
    for (int i = 0; i < state.block_count && good; ++i) {
      good = TakeBlock(state, state.blocks[i], run.mcu, order, bytes, bits);
    }
    const uint64_t position = bits.Position(bytes);
    // A code that seems bad may be one whose last bits are missing.
    const uint64_t needed = position + (good ? 0 : 16);
    if (!good || needed > run.end_bit) {
      std::memset(state.queue.Next(), 0, sizeof(state.queue.coefficients[0]));
      std::memcpy(state.dc, before, sizeof(before));
      state.transform.run(state.queue);  // now: its blocks will be decoded to the same place again
      return needed > run.end_bit ? JpegRunEnd::kOutOfBits : JpegRunEnd::kBadCode;
    }
    run.bit = position;
    ++run.mcu;
    if (state.queue.used > JpegBlockQueue::kCapacity - kJpegMaxBlocksPerMcu) {
      state.transform.run(state.queue);
    }
  }
  state.transform.run(state.queue);
  return JpegRunEnd::kStopped;
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
  state.transform = PlainJpegTransform();
#if SCANTK_X86
  if (Avx2JpegTransform().run) {
    decode_ = DecodeAvx2;
    state.transform = Avx2JpegTransform();
  }
#endif
  for (int i = 0; i < header.components; ++i) {
    const JpegComponent& component = header.component[i];
    BuildJpegTable(header.dc[component.dc_table], true, &state.dc_tables[component.dc_table]);
    BuildJpegTable(header.ac[component.ac_table], false, &state.ac_tables[component.ac_table]);
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
        state.blocks[state.block_count++] = {&state.dc_tables[component.dc_table],
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
