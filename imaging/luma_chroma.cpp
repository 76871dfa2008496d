#include "imaging/luma_chroma.h"

#include <algorithm>
#include <array>

#include "imaging/cpu.h"

#if SCANTK_X86
#include <immintrin.h>
#endif

namespace scantk {
namespace {

struct Tables {
  std::array<int16_t, 256> cr_red;
  std::array<int16_t, 256> cb_blue;
  std::array<int16_t, 256> cb_green;  // x 16
  std::array<int16_t, 256> cr_green;  // x 16
};

constexpr int16_t Floor(float value) {
  const int truncated = static_cast<int>(value);
  return static_cast<int16_t>(static_cast<float>(truncated) > value ? truncated - 1 : truncated);
}

// Built by the compiler: no processor's fused multiply-add can round them differently.
constexpr Tables kTables = [] {
  Tables tables{};
  for (int v = 0; v < 256; ++v) {
    const size_t i = static_cast<size_t>(v);
    const float d = static_cast<float>(v - 128);
    tables.cr_red[i] = Floor(1.39946f * d + 0.5f);
    tables.cb_blue[i] = Floor(1.77243f * d + 0.5f);
    tables.cb_green[i] = static_cast<int16_t>(-0.344228f * d * 16.0f);
    tables.cr_green[i] = static_cast<int16_t>(-0.717202f * d * 16.0f);
  }
  return tables;
}();

uint8_t Clamp(int value) {
  return static_cast<uint8_t>(std::clamp(value, 0, 255));
}

void ToRgbPlain(const uint8_t* input, uint8_t* output, size_t pixels) {
  for (size_t i = 0; i < pixels; ++i, input += 3, output += 3) {
    const int y = input[0];
    const uint8_t cb = input[1];
    const uint8_t cr = input[2];
    output[0] = Clamp(y + kTables.cr_red[cr]);
    output[1] = Clamp(y + ((kTables.cr_green[cr] + kTables.cb_green[cb] + 8) >> 4));
    output[2] = Clamp(y + kTables.cb_blue[cb]);
  }
}

#if SCANTK_X86

// The tables as 16-bit arithmetic, equal for every d from -128 to 127:
//   floor(c d + 0.5) = d + ((d k + 0x4000) >> 15)    k near (c - 1) 2^15
//   trunc(-c 16 d)   = -sign(d) (((|d| << s) k) >> 16)    k near c 2^(20-s)
constexpr int16_t kCrRed = 13090;
constexpr int16_t kCbBlue = 25314;
constexpr uint16_t kCbGreen = 45118;
constexpr int kCbGreenShift = 3;
constexpr uint16_t kCrGreen = 47002;
constexpr int kCrGreenShift = 4;

struct Planes {
  __m256i a, b, c;
};

SCANTK_TARGET_AVX2 inline __m256i Load2(const uint8_t* low, const uint8_t* high) {
  const __m128i* from_low = reinterpret_cast<const __m128i*>(low);
  const __m128i* from_high = reinterpret_cast<const __m128i*>(high);
  return _mm256_inserti128_si256(_mm256_castsi128_si256(_mm_loadu_si128(from_low)),
                                 _mm_loadu_si128(from_high), 1);
}

SCANTK_TARGET_AVX2 inline void Store2(__m256i value, uint8_t* low, uint8_t* high) {
  _mm_storeu_si128(reinterpret_cast<__m128i*>(low), _mm256_castsi256_si128(value));
  _mm_storeu_si128(reinterpret_cast<__m128i*>(high), _mm256_extracti128_si256(value, 1));
}

// 0xFF at the bytes i of a lane with i % 3 == kRemainder.
template <int kRemainder>
SCANTK_TARGET_AVX2 inline __m256i EveryThird() {
  constexpr auto kByte = [](int i) { return static_cast<char>(i % 3 == kRemainder ? -1 : 0); };
  return _mm256_broadcastsi128_si256(_mm_setr_epi8(
      kByte(0), kByte(1), kByte(2), kByte(3), kByte(4), kByte(5), kByte(6), kByte(7), kByte(8),
      kByte(9), kByte(10), kByte(11), kByte(12), kByte(13), kByte(14), kByte(15)));
}

// In each lane 48 bytes of triples lie in three registers, so component c is at the bytes i with
// (i + 16 r) % 3 == c of register r: three blends gather a component, one shuffle orders it, since
// its sample j then stands at byte (3 j + c) % 16. Interleaving runs the same way back.
template <int kComponent>
SCANTK_TARGET_AVX2 inline __m256i OrderOfSamples() {
  constexpr auto kFrom = [](int j) { return static_cast<char>((3 * j + kComponent) % 16); };
  return _mm256_broadcastsi128_si256(_mm_setr_epi8(
      kFrom(0), kFrom(1), kFrom(2), kFrom(3), kFrom(4), kFrom(5), kFrom(6), kFrom(7), kFrom(8),
      kFrom(9), kFrom(10), kFrom(11), kFrom(12), kFrom(13), kFrom(14), kFrom(15)));
}

// Byte i receives sample j with (3 j + c) % 16 == i; 11 is the inverse of 3 modulo 16.
template <int kComponent>
SCANTK_TARGET_AVX2 inline __m256i PlacesOfSamples() {
  constexpr auto kFrom = [](int i) { return static_cast<char>((i + 16 - kComponent) * 11 % 16); };
  return _mm256_broadcastsi128_si256(_mm_setr_epi8(
      kFrom(0), kFrom(1), kFrom(2), kFrom(3), kFrom(4), kFrom(5), kFrom(6), kFrom(7), kFrom(8),
      kFrom(9), kFrom(10), kFrom(11), kFrom(12), kFrom(13), kFrom(14), kFrom(15)));
}

SCANTK_TARGET_AVX2 inline __m256i Pick(__m256i at0, __m256i at1, __m256i at2) {
  const __m256i two = _mm256_blendv_epi8(at0, at1, EveryThird<1>());
  return _mm256_blendv_epi8(two, at2, EveryThird<2>());
}

SCANTK_TARGET_AVX2 inline Planes Deinterleave(const uint8_t* from) {
  const __m256i r0 = Load2(from, from + 48);
  const __m256i r1 = Load2(from + 16, from + 64);
  const __m256i r2 = Load2(from + 32, from + 80);
  return {_mm256_shuffle_epi8(Pick(r0, r2, r1), OrderOfSamples<0>()),
          _mm256_shuffle_epi8(Pick(r1, r0, r2), OrderOfSamples<1>()),
          _mm256_shuffle_epi8(Pick(r2, r1, r0), OrderOfSamples<2>())};
}

SCANTK_TARGET_AVX2 inline void Interleave(const Planes& planes, uint8_t* to) {
  const __m256i a = _mm256_shuffle_epi8(planes.a, PlacesOfSamples<0>());
  const __m256i b = _mm256_shuffle_epi8(planes.b, PlacesOfSamples<1>());
  const __m256i c = _mm256_shuffle_epi8(planes.c, PlacesOfSamples<2>());
  Store2(Pick(a, b, c), to, to + 48);
  Store2(Pick(b, c, a), to + 16, to + 64);
  Store2(Pick(c, a, b), to + 32, to + 80);
}

// 16-bit samples of Y and d = Cb - 128, Cr - 128 in; red, green, blue out, not yet clamped.
SCANTK_TARGET_AVX2 inline Planes Convert16(__m256i y, __m256i cb, __m256i cr) {
  const __m256i red = _mm256_add_epi16(cr, _mm256_mulhrs_epi16(cr, _mm256_set1_epi16(kCrRed)));
  const __m256i blue = _mm256_add_epi16(cb, _mm256_mulhrs_epi16(cb, _mm256_set1_epi16(kCbBlue)));
  const __m256i cb_size = _mm256_slli_epi16(_mm256_abs_epi16(cb), kCbGreenShift);
  const __m256i cr_size = _mm256_slli_epi16(_mm256_abs_epi16(cr), kCrGreenShift);
  const __m256i cb_green = _mm256_sign_epi16(
      _mm256_mulhi_epu16(cb_size, _mm256_set1_epi16(static_cast<int16_t>(kCbGreen))), cb);
  const __m256i cr_green = _mm256_sign_epi16(
      _mm256_mulhi_epu16(cr_size, _mm256_set1_epi16(static_cast<int16_t>(kCrGreen))), cr);
  const __m256i rounding = _mm256_sub_epi16(_mm256_set1_epi16(8), cb_green);
  const __m256i green = _mm256_srai_epi16(_mm256_sub_epi16(rounding, cr_green), 4);
  return {_mm256_add_epi16(y, red), _mm256_add_epi16(y, green), _mm256_add_epi16(y, blue)};
}

SCANTK_TARGET_AVX2 void ToRgbAvx2(const uint8_t* input, uint8_t* output, size_t pixels) {
  const __m256i zero = _mm256_setzero_si256();
  const __m256i middle = _mm256_set1_epi16(128);
  size_t i = 0;
  for (; i + 32 <= pixels; i += 32) {
    const Planes in = Deinterleave(input + 3 * i);
    const Planes low = Convert16(_mm256_unpacklo_epi8(in.a, zero),
                                 _mm256_sub_epi16(_mm256_unpacklo_epi8(in.b, zero), middle),
                                 _mm256_sub_epi16(_mm256_unpacklo_epi8(in.c, zero), middle));
    const Planes high = Convert16(_mm256_unpackhi_epi8(in.a, zero),
                                  _mm256_sub_epi16(_mm256_unpackhi_epi8(in.b, zero), middle),
                                  _mm256_sub_epi16(_mm256_unpackhi_epi8(in.c, zero), middle));
    const Planes out = {_mm256_packus_epi16(low.a, high.a), _mm256_packus_epi16(low.b, high.b),
                        _mm256_packus_epi16(low.c, high.c)};
    Interleave(out, output + 3 * i);
  }
  ToRgbPlain(input + 3 * i, output + 3 * i, pixels - i);
}

#endif

}  // namespace

TripleFunction ChooseLumaChromaToRgb() {
#if SCANTK_X86
  if (HasAvx2()) return ToRgbAvx2;
#endif
  return ToRgbPlain;
}

}  // namespace scantk
