#include "imaging/mirror.h"

#include <array>
#include <cstring>

#include "imaging/cpu.h"

#if SCANTK_X86
#include <immintrin.h>
#endif

namespace scantk {
namespace {

template <size_t kPixelBytes>
void MirrorPlain(const uint8_t* input, uint8_t* output, size_t bytes, const uint8_t*) {
  uint8_t* to = output + bytes;
  for (size_t at = 0; at + kPixelBytes <= bytes; at += kPixelBytes) {
    to -= kPixelBytes;
    std::memcpy(to, input + at, kPixelBytes);
  }
}

constexpr uint8_t ReverseBits(unsigned byte) {
  unsigned reversed = 0;
  for (int bit = 0; bit < 8; ++bit) reversed |= (byte >> bit & 1u) << (7 - bit);
  return static_cast<uint8_t>(reversed);
}

constexpr std::array<uint8_t, 256> kReversed = [] {
  std::array<uint8_t, 256> table{};
  for (unsigned byte = 0; byte < 256; ++byte) table[byte] = ReverseBits(byte);
  return table;
}();

void MirrorBitsPlain(const uint8_t* input, uint8_t* output, size_t bytes, const uint8_t*) {
  for (size_t at = 0; at < bytes; ++at) output[bytes - 1 - at] = kReversed[input[at]];
}

#if SCANTK_X86

SCANTK_TARGET_SSSE3 inline __m128i Load(const uint8_t* from) {
  return _mm_loadu_si128(reinterpret_cast<const __m128i*>(from));
}

// Puts the whole pixels of the first 16 bytes, reversed, at the upper end of 16 bytes. The bytes
// below them are rubbish that the next, lower store covers.
template <size_t kPixelBytes>
constexpr std::array<uint8_t, 16> kMirrorControl = [] {
  std::array<uint8_t, 16> control{};
  for (size_t at = 0; at + kPixelBytes <= 16; at += kPixelBytes) {
    for (size_t i = 0; i < kPixelBytes; ++i) {
      control[16 - kPixelBytes - at + i] = static_cast<uint8_t>(at + i);
    }
  }
  return control;
}();

template <size_t kPixelBytes>
SCANTK_TARGET_SSSE3 void MirrorSsse3(const uint8_t* input, uint8_t* output, size_t bytes,
                                     const uint8_t* later) {
  constexpr size_t kStep = 16 / kPixelBytes * kPixelBytes;
  const __m128i control = Load(kMirrorControl<kPixelBytes>.data());
  size_t at = 0;
  for (; at + 64 <= bytes; at += 4 * kStep) {
    _mm_prefetch(reinterpret_cast<const char*>(later + at), _MM_HINT_T0);
    for (size_t i = at; i < at + 4 * kStep; i += kStep) {
      _mm_storeu_si128(reinterpret_cast<__m128i*>(output + bytes - i - 16),
                       _mm_shuffle_epi8(Load(input + i), control));
    }
  }
  MirrorPlain<kPixelBytes>(input + at, output, bytes - at, later);
}

SCANTK_TARGET_SSSE3 void MirrorBitsSsse3(const uint8_t* input, uint8_t* output, size_t bytes,
                                         const uint8_t* later) {
  const __m128i control = Load(kMirrorControl<1>.data());
  const __m128i low_mask = _mm_set1_epi8(0x0F);
  const __m128i reversed =  // the nibbles 0..15, each reversed
      _mm_setr_epi8(0, 8, 4, 12, 2, 10, 6, 14, 1, 9, 5, 13, 3, 11, 7, 15);
  size_t at = 0;
  for (; at + 16 <= bytes; at += 16) {
    const __m128i mirrored = _mm_shuffle_epi8(Load(input + at), control);
    const __m128i low = _mm_and_si128(mirrored, low_mask);
    const __m128i high = _mm_and_si128(_mm_srli_epi16(mirrored, 4), low_mask);
    const __m128i swapped = _mm_or_si128(_mm_slli_epi16(_mm_shuffle_epi8(reversed, low), 4),
                                         _mm_shuffle_epi8(reversed, high));
    _mm_storeu_si128(reinterpret_cast<__m128i*>(output + bytes - at - 16), swapped);
  }
  MirrorBitsPlain(input + at, output, bytes - at, later);
}

template <size_t kPixelBytes>
MirrorFunction Choose() {
  return HasSsse3() ? MirrorSsse3<kPixelBytes> : MirrorPlain<kPixelBytes>;
}

MirrorFunction ChooseBits() {
  return HasSsse3() ? MirrorBitsSsse3 : MirrorBitsPlain;
}

#else

template <size_t kPixelBytes>
MirrorFunction Choose() {
  return MirrorPlain<kPixelBytes>;
}

MirrorFunction ChooseBits() {
  return MirrorBitsPlain;
}

#endif

}  // namespace

MirrorFunction ChooseMirror(int bits_per_pixel) {
  switch (bits_per_pixel) {
    case 1:
      return ChooseBits();
    case 8:
      return Choose<1>();
    case 16:
      return Choose<2>();
    case 24:
      return Choose<3>();
    case 48:
      return Choose<6>();
    default:
      return nullptr;
  }
}

}  // namespace scantk
