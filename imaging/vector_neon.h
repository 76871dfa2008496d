// The operations of vector.h on ARM64, where every processor has NEON.
#ifndef SCANTK_IMAGING_VECTOR_NEON_H_
#define SCANTK_IMAGING_VECTOR_NEON_H_

#include <arm_neon.h>

#define SCANTK_VECTOR
#define SCANTK_SHUFFLE
#define SCANTK_NEON __attribute__((always_inline)) inline

// An operation of two vectors as elements of a type: "s16", "u8" and so on.
#define SCANTK_OP2(Name, type, intrinsic)                                                  \
  SCANTK_NEON Vector Name(Vector a, Vector b) {                                            \
    return AsBytes(intrinsic(vreinterpretq_##type##_u8(a), vreinterpretq_##type##_u8(b))); \
  }

namespace scantk {
namespace {

using Vector = uint8x16_t;

SCANTK_NEON Vector AsBytes(uint8x16_t v) {
  return v;
}
SCANTK_NEON Vector AsBytes(int8x16_t v) {
  return vreinterpretq_u8_s8(v);
}
SCANTK_NEON Vector AsBytes(int16x8_t v) {
  return vreinterpretq_u8_s16(v);
}
SCANTK_NEON Vector AsBytes(uint16x8_t v) {
  return vreinterpretq_u8_u16(v);
}
SCANTK_NEON Vector AsBytes(int32x4_t v) {
  return vreinterpretq_u8_s32(v);
}
SCANTK_NEON Vector AsBytes(uint32x4_t v) {
  return vreinterpretq_u8_u32(v);
}
SCANTK_NEON Vector AsBytes(uint64x2_t v) {
  return vreinterpretq_u8_u64(v);
}
SCANTK_NEON int16x8_t S16(Vector v) {
  return vreinterpretq_s16_u8(v);
}
SCANTK_NEON uint16x8_t U16(Vector v) {
  return vreinterpretq_u16_u8(v);
}
SCANTK_NEON int32x4_t S32(Vector v) {
  return vreinterpretq_s32_u8(v);
}

SCANTK_OP2(Add16, s16, vaddq_s16)
SCANTK_OP2(Sub16, s16, vsubq_s16)
SCANTK_OP2(AddSaturated16, s16, vqaddq_s16)
SCANTK_OP2(Add32, s32, vaddq_s32)
SCANTK_OP2(Sub32, s32, vsubq_s32)
SCANTK_OP2(UnpackLow16, u16, vzip1q_u16)
SCANTK_OP2(UnpackHigh16, u16, vzip2q_u16)
SCANTK_OP2(UnpackLow32, u32, vzip1q_u32)
SCANTK_OP2(UnpackHigh32, u32, vzip2q_u32)
SCANTK_OP2(UnpackLow64, u64, vzip1q_u64)
SCANTK_OP2(UnpackHigh64, u64, vzip2q_u64)
SCANTK_OP2(Evens32, u32, vuzp1q_u32)
SCANTK_OP2(Odds32, u32, vuzp2q_u32)
SCANTK_OP2(MulRound16, s16, vqrdmulhq_s16)

SCANTK_NEON Vector Add8(Vector a, Vector b) {
  return vaddq_u8(a, b);
}
SCANTK_NEON Vector Sub8(Vector a, Vector b) {
  return vsubq_u8(a, b);
}
SCANTK_NEON Vector And(Vector a, Vector b) {
  return vandq_u8(a, b);
}
SCANTK_NEON Vector Or(Vector a, Vector b) {
  return vorrq_u8(a, b);
}
SCANTK_NEON Vector UnpackLow8(Vector a, Vector b) {
  return vzip1q_u8(a, b);
}
SCANTK_NEON Vector UnpackHigh8(Vector a, Vector b) {
  return vzip2q_u8(a, b);
}
SCANTK_NEON Vector Shuffle(Vector a, Vector control) {
  return vqtbl1q_u8(a, control);
}

SCANTK_NEON Vector MulAdd(Vector a, Vector b) {
  const int32x4_t low = vmull_s16(vget_low_s16(S16(a)), vget_low_s16(S16(b)));
  return AsBytes(vpaddq_s32(low, vmull_high_s16(S16(a), S16(b))));
}
SCANTK_NEON Vector MulHigh16(Vector a, Vector b) {
  const int32x4_t low = vmull_s16(vget_low_s16(S16(a)), vget_low_s16(S16(b)));
  return AsBytes(vuzp2q_s16(vreinterpretq_s16_s32(low),
                            vreinterpretq_s16_s32(vmull_high_s16(S16(a), S16(b)))));
}
SCANTK_NEON Vector MulHighUnsigned16(Vector a, Vector b) {
  const uint32x4_t low = vmull_u16(vget_low_u16(U16(a)), vget_low_u16(U16(b)));
  return AsBytes(vuzp2q_u16(vreinterpretq_u16_u32(low),
                            vreinterpretq_u16_u32(vmull_high_u16(U16(a), U16(b)))));
}
SCANTK_NEON Vector Pack32(Vector a, Vector b) {
  return AsBytes(vqmovn_high_s32(vqmovn_s32(S32(a)), S32(b)));
}
SCANTK_NEON Vector Pack16(Vector a, Vector b) {
  return AsBytes(vqmovn_high_s16(vqmovn_s16(S16(a)), S16(b)));
}
SCANTK_NEON Vector PackUnsigned16(Vector a, Vector b) {
  return vqmovun_high_s16(vqmovun_s16(S16(a)), S16(b));
}
SCANTK_NEON Vector Absolute16(Vector a) {
  return AsBytes(vabsq_s16(S16(a)));
}
SCANTK_NEON Vector WithSign16(Vector a, Vector b) {
  const int16x8_t sign = vshrq_n_s16(S16(b), 15);
  const int16x8_t signed_one = vsubq_s16(veorq_s16(S16(a), sign), sign);
  return AsBytes(vandq_s16(signed_one, vreinterpretq_s16_u16(vtstq_s16(S16(b), S16(b)))));
}

template <int kBits>
SCANTK_NEON Vector Left16(Vector a) {
  return AsBytes(vshlq_n_s16(S16(a), kBits));
}
template <int kBits>
SCANTK_NEON Vector Right16(Vector a) {
  return AsBytes(vshrq_n_u16(U16(a), kBits));
}
template <int kBits>
SCANTK_NEON Vector RightSigned16(Vector a) {
  return AsBytes(vshrq_n_s16(S16(a), kBits));
}
template <int kBits>
SCANTK_NEON Vector RightSigned32(Vector a) {
  return AsBytes(vshrq_n_s32(S32(a), kBits));
}

SCANTK_NEON Vector Zero() {
  return vdupq_n_u8(0);
}
SCANTK_NEON Vector Set8(int value) {
  return vdupq_n_u8(static_cast<uint8_t>(value));
}
SCANTK_NEON Vector Set16(int value) {
  return AsBytes(vdupq_n_s16(static_cast<int16_t>(value)));
}
SCANTK_NEON Vector Set32(uint32_t value) {
  return AsBytes(vdupq_n_u32(value));
}

SCANTK_NEON Vector Load(const void* from) {
  return vld1q_u8(static_cast<const uint8_t*>(from));
}
SCANTK_NEON void Store(void* to, Vector value) {
  vst1q_u8(static_cast<uint8_t*>(to), value);
}
SCANTK_NEON Vector LoadLanes(const void* first, const void*) {
  return Load(first);
}
SCANTK_NEON void StoreLanes(Vector value, void* first, void*) {
  Store(first, value);
}
SCANTK_NEON Vector LoadHalfLanes(const void* from) {
  return vcombine_u8(vld1_u8(static_cast<const uint8_t*>(from)), vdup_n_u8(0));
}
template <int kLane>
SCANTK_NEON void StoreHalves(Vector value, void* lower, void* upper) {
  vst1_u8(static_cast<uint8_t*>(lower), vget_low_u8(value));
  vst1_u8(static_cast<uint8_t*>(upper), vget_high_u8(value));
}

}  // namespace
}  // namespace scantk

#endif  // SCANTK_IMAGING_VECTOR_NEON_H_
