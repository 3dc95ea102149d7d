// Vectors of the level this file is compiled for: 16 bytes (sse3) or 32 bytes (avx2). Nothing here may live outside
// namespace lum::LUM_LEVEL: two levels of one inline function with one name would be merged by the linker.
//
// AVX2 works in two halves of 16 bytes. unpack_low/unpack_high keep to their half and pack() undoes them, so a value
// that goes through both comes out in order; in between, the order of the lanes is nobody's business.
#pragma once
#ifdef __AVX2__
#include <immintrin.h>
#else
#include <pmmintrin.h>
#endif

#include <utility>

#include "core/image.h"
#include "core/level.h"

namespace lum::LUM_LEVEL {

#define LUM_INLINE_LAMBDA __attribute__((always_inline))

// body(k) for every k below n. A count N known at compile time is written out, so that tables of it stay in registers.
template <class Body, int... K>
LUM_INLINE void repeat(const Body& body, std::integer_sequence<int, K...>) {
  (body(K), ...);
}
template <int N, class Body>
LUM_INLINE void repeat(int n, const Body& body) {
  if constexpr (N > 0)
    repeat(body, std::make_integer_sequence<int, N>());
  else
    for (int k = 0; k < n; ++k) body(k);
}

inline __m128i four_bytes(const void* p) {
  int bytes;
  memcpy(&bytes, p, sizeof bytes);
  return _mm_cvtsi32_si128(bytes);
}

// A copy that begins to live here: what a loop works with should not stay in memory because of what else there is.
template <class V>
inline V renewed(V a) {
  asm("" : "+x"(a.v));
  return a;
}

#ifdef __AVX2__

struct F32 {
  __m256 v;
  static constexpr int lanes = 8;
};
struct I16 {
  __m256i v;
  static constexpr int lanes = 16;
};
struct I32 {
  __m256i v;
  static constexpr int lanes = 8;
};

inline F32 load(const Lum32f* p) { return {_mm256_loadu_ps(p)}; }
inline I16 load(const Lum16s* p) { return {_mm256_loadu_si256((const __m256i*)p)}; }
inline I16 load(const Lum8u* p) { return {_mm256_cvtepu8_epi16(_mm_loadu_si128((const __m128i*)p))}; }
inline I16 load_bytes(const Lum8u* p) { return {_mm256_loadu_si256((const __m256i*)p)}; }  // two to a lane
inline void store(Lum32f* p, F32 a) { _mm256_storeu_ps(p, a.v); }
inline void store(Lum16s* p, I16 a) { _mm256_storeu_si256((__m256i*)p, a.v); }
inline void store(Lum8u* p, I16 a) {  // saturates
  _mm_storeu_si128((__m128i*)p, _mm_packus_epi16(_mm256_castsi256_si128(a.v), _mm256_extracti128_si256(a.v, 1)));
}
inline void store(Lum8s* p, I16 a) {  // saturates
  _mm_storeu_si128((__m128i*)p, _mm_packs_epi16(_mm256_castsi256_si128(a.v), _mm256_extracti128_si256(a.v, 1)));
}

// The lanes of first, then those of second.
inline void store(Lum8u* p, I16 first, I16 second) {  // saturates
  const __m256i bytes = _mm256_packus_epi16(first.v, second.v);
  _mm256_storeu_si256((__m256i*)p, _mm256_permute4x64_epi64(bytes, 0xD8));
}
inline void store(Lum8s* p, I16 first, I16 second) {  // saturates
  const __m256i bytes = _mm256_packs_epi16(first.v, second.v);
  _mm256_storeu_si256((__m256i*)p, _mm256_permute4x64_epi64(bytes, 0xD8));
}

inline F32 f32(Lum32f a) { return {_mm256_set1_ps(a)}; }
// In every four lanes.
inline F32 f32(Lum32f a, Lum32f b, Lum32f c, Lum32f d) { return {_mm256_setr_ps(a, b, c, d, a, b, c, d)}; }
inline I16 i16(Lum16s a) { return {_mm256_set1_epi16(a)}; }
inline I32 i32(int a) { return {_mm256_set1_epi32(a)}; }

inline F32 operator+(F32 a, F32 b) { return {_mm256_add_ps(a.v, b.v)}; }
inline F32 operator-(F32 a, F32 b) { return {_mm256_sub_ps(a.v, b.v)}; }
inline F32 operator*(F32 a, F32 b) { return {_mm256_mul_ps(a.v, b.v)}; }
inline F32 operator-(F32 a) { return {_mm256_xor_ps(a.v, _mm256_set1_ps(-0.0f))}; }
// The second operand where one is NaN or both are 0.
inline F32 min(F32 a, F32 b) { return {_mm256_min_ps(a.v, b.v)}; }
inline F32 max(F32 a, F32 b) { return {_mm256_max_ps(a.v, b.v)}; }
inline I16 operator+(I16 a, I16 b) { return {_mm256_add_epi16(a.v, b.v)}; }
inline I16 operator-(I16 a, I16 b) { return {_mm256_sub_epi16(a.v, b.v)}; }
inline I16 operator*(I16 a, I16 b) { return {_mm256_mullo_epi16(a.v, b.v)}; }
inline I16 add_saturated(I16 a, I16 b) { return {_mm256_adds_epi16(a.v, b.v)}; }
inline I16 operator-(I16 a) { return {_mm256_sub_epi16(_mm256_setzero_si256(), a.v)}; }
inline I16 multiply_high(I16 a, I16 b) { return {_mm256_mulhi_epi16(a.v, b.v)}; }
inline I16 multiply_high_unsigned(I16 a, I16 b) { return {_mm256_mulhi_epu16(a.v, b.v)}; }
// (a b + 2^14) / 2^15, rounded down; not in SSE3.
inline I16 multiply_high_rounded(I16 a, I16 b) { return {_mm256_mulhrs_epi16(a.v, b.v)}; }
inline I16 equal(I16 a, I16 b) { return {_mm256_cmpeq_epi16(a.v, b.v)}; }
inline I32 operator+(I32 a, I32 b) { return {_mm256_add_epi32(a.v, b.v)}; }
inline I16 operator&(I16 a, I16 b) { return {_mm256_and_si256(a.v, b.v)}; }
template <int Bits>
inline I16 shift_left(I16 a) {
  return {_mm256_slli_epi16(a.v, Bits)};
}
inline I16 shift_right(I16 a, int bits) { return {_mm256_sra_epi16(a.v, _mm_cvtsi32_si128(bits))}; }
// Of two bytes in a lane.
inline I16 low_bytes(I16 a) { return {_mm256_and_si256(a.v, _mm256_set1_epi16(0xFF))}; }
inline I16 high_bytes(I16 a) { return {_mm256_srli_epi16(a.v, 8)}; }
// even[0] odd[0] even[1] odd[1] ...
inline void interleave(I16 even, I16 odd, I16* to) {
  const __m256i low = _mm256_unpacklo_epi16(even.v, odd.v), high = _mm256_unpackhi_epi16(even.v, odd.v);
  to[0] = {_mm256_permute2x128_si256(low, high, 0x20)};
  to[1] = {_mm256_permute2x128_si256(low, high, 0x31)};
}
inline void store_interleaved(Lum8s* p, I16 even, I16 odd) {  // saturates
  const __m256i places = _mm256_setr_epi8(0, 8, 1, 9, 2, 10, 3, 11, 4, 12, 5, 13, 6, 14, 7, 15, 0, 8, 1, 9, 2, 10, 3,
                                          11, 4, 12, 5, 13, 6, 14, 7, 15);
  _mm256_storeu_si256((__m256i*)p, _mm256_shuffle_epi8(_mm256_packs_epi16(even.v, odd.v), places));
}
// Each eight of low, then those of high.
inline void store_eights(Lum16s* p, I16 low, I16 high) {
  _mm256_storeu_si256((__m256i*)p, _mm256_permute2x128_si256(low.v, high.v, 0x20));
  _mm256_storeu_si256((__m256i*)(p + 16), _mm256_permute2x128_si256(low.v, high.v, 0x31));
}
inline void store_eights(Lum8s* p, I16 low, I16 high) {  // saturates
  _mm256_storeu_si256((__m256i*)p, _mm256_packs_epi16(low.v, high.v));
}
inline void store_interleaved(Lum8u* p, I16 even, I16 odd) {  // of values below 256
  _mm256_storeu_si256((__m256i*)p, _mm256_or_si256(even.v, _mm256_slli_epi16(odd.v, 8)));
}

// As many bytes or lanes from the one numbered K of `low` on, `high` behind it.
template <int Bytes>
inline __m256i window(__m256i low, __m256i high) {
  const __m256i middle = _mm256_permute2x128_si256(low, high, 0x21);
  if constexpr (Bytes < 16)
    return _mm256_alignr_epi8(middle, low, Bytes);
  else
    return _mm256_alignr_epi8(high, middle, Bytes - 16);
}
template <int K>
inline I16 window_bytes(I16 low, I16 high) {
  return {window<K>(low.v, high.v)};
}
template <int K>
inline F32 window(F32 low, F32 high) {
  return {_mm256_castsi256_ps(window<4 * K>(_mm256_castps_si256(low.v), _mm256_castps_si256(high.v)))};
}

// Of elements in a row, what begins two elements behind a and two in front of b. (A load there may reach over the end of
// a cache line.)
inline I16 between(I16 a, I16 b) {
  const __m256 low = _mm256_castsi256_ps(a.v), high = _mm256_castsi256_ps(b.v);
  return {_mm256_castps_si256(_mm256_shuffle_ps(low, high, _MM_SHUFFLE(2, 1, 2, 1)))};
}

inline I16 unpack_low(I16 a, I16 b) { return {_mm256_unpacklo_epi16(a.v, b.v)}; }
inline I16 unpack_high(I16 a, I16 b) { return {_mm256_unpackhi_epi16(a.v, b.v)}; }
inline I16 unpack_low_bytes(I16 a, I16 b) { return {_mm256_unpacklo_epi8(a.v, b.v)}; }
inline I16 unpack_high_bytes(I16 a, I16 b) { return {_mm256_unpackhi_epi8(a.v, b.v)}; }
inline I32 as_i32(I16 a) { return {a.v}; }
inline I16 as_i16(I32 a) { return {a.v}; }
// Signed lanes to 32 bits, in the order of unpack_low and unpack_high.
inline I32 widen_low(I16 a) { return {_mm256_srai_epi32(_mm256_unpacklo_epi16(a.v, a.v), 16)}; }
inline I32 widen_high(I16 a) { return {_mm256_srai_epi32(_mm256_unpackhi_epi16(a.v, a.v), 16)}; }
// Sums of neighbouring products: lane i is a[2i] b[2i] + a[2i+1] b[2i+1].
inline I32 multiply_pairs(I16 a, I32 b) { return {_mm256_madd_epi16(a.v, b.v)}; }
// Saturates; undoes unpack_low and unpack_high.
inline I16 pack(I32 low, I32 high) { return {_mm256_packs_epi32(low.v, high.v)}; }
// Saturates; even[0] odd[0] even[1] odd[1] ...
inline I16 pack_even_odd(I32 even, I32 odd) {
  const __m256i halves = _mm256_packs_epi32(even.v, odd.v);
  return {_mm256_unpacklo_epi16(halves, _mm256_unpackhi_epi64(halves, halves))};
}

// Two factors for the two bytes in a lane; magnitudes of all factors of a sum add up to less than 128.
constexpr bool kMultipliesBytes = true;  // in one instruction
struct BytePair {
  I16 factors;
};
inline BytePair byte_pair(int first, int second) { return {i16(Lum16s((first & 0xFF) | (unsigned)second << 8))}; }
inline BytePair renewed(BytePair b) { return {renewed(b.factors)}; }
inline I16 multiply_bytes(I16 a, BytePair b) { return {_mm256_maddubs_epi16(a.v, b.factors.v)}; }

inline F32 to_float(I32 a) { return {_mm256_cvtepi32_ps(a.v)}; }
inline I32 round_nearest(F32 a) { return {_mm256_cvtps_epi32(a.v)}; }
inline I32 truncate(F32 a) { return {_mm256_cvttps_epi32(a.v)}; }

// Elements as floats, one to a lane.
inline F32 widen(const Lum8u* p) {
  return {_mm256_cvtepi32_ps(_mm256_cvtepu8_epi32(_mm_loadl_epi64((const __m128i*)p)))};
}
inline F32 widen(const Lum8s* p) {
  return {_mm256_cvtepi32_ps(_mm256_cvtepi8_epi32(_mm_loadl_epi64((const __m128i*)p)))};
}
inline F32 widen(const Lum16u* p) {
  return {_mm256_cvtepi32_ps(_mm256_cvtepu16_epi32(_mm_loadu_si128((const __m128i*)p)))};
}
inline F32 widen(const Lum32f* p) { return load(p); }
// All bits of a lane where the byte is not 0.
inline F32 nonzero(const Lum8u* p) {
  const __m256i bytes = _mm256_cvtepu8_epi32(_mm_loadl_epi64((const __m128i*)p));
  return {_mm256_castsi256_ps(_mm256_cmpgt_epi32(bytes, _mm256_setzero_si256()))};
}
inline F32 and_bits(F32 a, F32 b) { return {_mm256_and_ps(a.v, b.v)}; }
inline F32 select(F32 mask, F32 a, F32 b) { return {_mm256_blendv_ps(b.v, a.v, mask.v)}; }
inline F32 absolute(F32 a) { return {_mm256_andnot_ps(_mm256_set1_ps(-0.0f), a.v)}; }

// As many unsigned elements as a vector holds.
struct U8 {
  __m256i v;
  static constexpr int lanes = 32;
};
struct U16 {
  __m256i v;
  static constexpr int lanes = 16;
};
inline U8 load_all(const Lum8u* p) { return {_mm256_loadu_si256((const __m256i*)p)}; }
inline U16 load_all(const Lum16u* p) { return {_mm256_loadu_si256((const __m256i*)p)}; }
inline F32 load_all(const Lum32f* p) { return load(p); }
inline void store(Lum8u* p, U8 a) { _mm256_storeu_si256((__m256i*)p, a.v); }
inline void store(Lum16u* p, U16 a) { _mm256_storeu_si256((__m256i*)p, a.v); }
inline U8 splat(Lum8u a) { return {_mm256_set1_epi8((char)a)}; }
inline U16 splat(Lum16u a) { return {_mm256_set1_epi16((short)a)}; }
inline U8 absolute_difference(U8 a, U8 b) {
  return {_mm256_or_si256(_mm256_subs_epu8(a.v, b.v), _mm256_subs_epu8(b.v, a.v))};
}
inline U16 absolute_difference(U16 a, U16 b) {
  return {_mm256_or_si256(_mm256_subs_epu16(a.v, b.v), _mm256_subs_epu16(b.v, a.v))};
}
inline U8 operator+(U8 a, U8 b) { return {_mm256_add_epi8(a.v, b.v)}; }
inline U8 operator&(U8 a, U8 b) { return {_mm256_and_si256(a.v, b.v)}; }
inline U8 operator|(U8 a, U8 b) { return {_mm256_or_si256(a.v, b.v)}; }
inline U8 min(U8 a, U8 b) { return {_mm256_min_epu8(a.v, b.v)}; }
inline U8 max(U8 a, U8 b) { return {_mm256_max_epu8(a.v, b.v)}; }
inline U8 subtract_saturated(U8 a, U8 b) { return {_mm256_subs_epu8(a.v, b.v)}; }
inline U8 equal(U8 a, U8 b) { return {_mm256_cmpeq_epi8(a.v, b.v)}; }  // all bits of a lane
inline U8 select(U8 mask, U8 a, U8 b) { return {_mm256_blendv_epi8(b.v, a.v, mask.v)}; }
// By 0 to 8 bits.
inline U8 shift_left(U8 a, int bits) {
  return splat(Lum8u(0xFF << bits)) & U8{_mm256_sll_epi16(a.v, _mm_cvtsi32_si128(bits))};
}
inline U8 shift_right(U8 a, int bits) {
  return splat(Lum8u(0xFF >> bits)) & U8{_mm256_srl_epi16(a.v, _mm_cvtsi32_si128(bits))};
}
// To a multiple of the vector's bytes.
inline void store_aligned(Lum8u* p, U8 a) { _mm256_store_si256((__m256i*)p, a.v); }
inline void store_bypassing(Lum8u* p, U8 a) { _mm256_stream_si256((__m256i*)p, a.v); }

inline F32 square_root(F32 a) { return {_mm256_sqrt_ps(a.v)}; }
inline F32 less(F32 a, F32 b) { return {_mm256_cmp_ps(a.v, b.v, _CMP_LT_OQ)}; }
inline F32 or_bits(F32 a, F32 b) { return {_mm256_or_ps(a.v, b.v)}; }
inline I16 max(I16 a, I16 b) { return {_mm256_max_epi16(a.v, b.v)}; }
inline I16 operator|(I16 a, I16 b) { return {_mm256_or_si256(a.v, b.v)}; }
inline I16 subtract_unsigned(I16 a, I16 b) { return {_mm256_subs_epu16(a.v, b.v)}; }  // saturates at 0
inline I16 max_unsigned(I16 a, I16 b) { return {_mm256_max_epu16(a.v, b.v)}; }
inline bool any_bit(I16 a) { return !_mm256_testz_si256(a.v, a.v); }

inline I32 load(const Lum32s* p) { return {_mm256_loadu_si256((const __m256i*)p)}; }
inline I32 operator-(I32 a, I32 b) { return {_mm256_sub_epi32(a.v, b.v)}; }
inline I32 operator&(I32 a, I32 b) { return {_mm256_and_si256(a.v, b.v)}; }
inline I32 operator|(I32 a, I32 b) { return {_mm256_or_si256(a.v, b.v)}; }
inline I32 operator>(I32 a, I32 b) { return {_mm256_cmpgt_epi32(a.v, b.v)}; }
inline I32 equal(I32 a, I32 b) { return {_mm256_cmpeq_epi32(a.v, b.v)}; }
inline I32 not_negative(I32 a) { return {_mm256_max_epi32(a.v, _mm256_setzero_si256())}; }  // 0 instead
inline I32 shift_left(I32 a, int bits) { return {_mm256_sll_epi32(a.v, _mm_cvtsi32_si128(bits))}; }
inline I32 shift_right(I32 a, int bits) { return {_mm256_sra_epi32(a.v, _mm_cvtsi32_si128(bits))}; }
inline I32 square(I32 a) { return {_mm256_mullo_epi32(a.v, a.v)}; }  // of lanes from 0 to 65535, modulo 2^32
inline I32 sign(I32 a) { return {_mm256_sign_epi32(_mm256_set1_epi32(1), a.v)}; }  // -1, 0 or 1
// Saturates; all of first, then all of second.
inline I16 pack_in_order(I32 first, I32 second) {
  return {_mm256_permute4x64_epi64(_mm256_packs_epi32(first.v, second.v), 0xD8)};
}
inline int sign_bits(F32 a) { return _mm256_movemask_ps(a.v); }
inline int sign_bits(I32 a) { return _mm256_movemask_ps(_mm256_castsi256_ps(a.v)); }

struct F64 {
  __m256d v;
  static constexpr int lanes = 4;
};
inline F64 load(const Lum64f* p) { return {_mm256_loadu_pd(p)}; }
inline void store(Lum64f* p, F64 a) { _mm256_storeu_pd(p, a.v); }
inline F64 f64(Lum64f a) { return {_mm256_set1_pd(a)}; }
inline F64 operator+(F64 a, F64 b) { return {_mm256_add_pd(a.v, b.v)}; }
inline F64 operator-(F64 a, F64 b) { return {_mm256_sub_pd(a.v, b.v)}; }
inline F64 operator*(F64 a, F64 b) { return {_mm256_mul_pd(a.v, b.v)}; }
inline F64 and_bits(F64 a, F64 b) { return {_mm256_and_pd(a.v, b.v)}; }
inline F64 absolute(F64 a) { return {_mm256_andnot_pd(_mm256_set1_pd(-0.0), a.v)}; }
inline F64 widen_twice(const Lum32f* p) { return {_mm256_cvtps_pd(_mm_loadu_ps(p))}; }
// All bits of a lane where the byte is not 0.
inline F64 nonzero_twice(const Lum8u* p) {
  const __m256i zero = _mm256_cmpeq_epi64(_mm256_cvtepu8_epi64(four_bytes(p)), _mm256_setzero_si256());
  return {_mm256_castsi256_pd(~zero)};
}
// Stores both rounded to single precision, where the bits of all lanes agree.
inline bool store_where_equal(Lum32f* p, F64 a, F64 b) {
  const __m128i first = _mm_castps_si128(_mm256_cvtpd_ps(a.v)), second = _mm_castps_si128(_mm256_cvtpd_ps(b.v));
  if (_mm_movemask_epi8(_mm_cmpeq_epi32(first, second)) != 0xFFFF) return false;
  _mm_storeu_si128((__m128i*)p, first);
  return true;
}
inline F64 min(F64 a, F64 b) { return {_mm256_min_pd(a.v, b.v)}; }
inline F64 max(F64 a, F64 b) { return {_mm256_max_pd(a.v, b.v)}; }
inline F64 less(F64 a, F64 b) { return {_mm256_cmp_pd(a.v, b.v, _CMP_LT_OQ)}; }
inline F64 less_equal(F64 a, F64 b) { return {_mm256_cmp_pd(a.v, b.v, _CMP_LE_OQ)}; }
inline F64 reverse(F64 a) { return {_mm256_permute4x64_pd(a.v, 0x1B)}; }
// Rows become columns, of as many rows as there are lanes.
inline void transpose(F64* row) {
  const __m256d a = _mm256_unpacklo_pd(row[0].v, row[1].v), b = _mm256_unpackhi_pd(row[0].v, row[1].v);
  const __m256d c = _mm256_unpacklo_pd(row[2].v, row[3].v), d = _mm256_unpackhi_pd(row[2].v, row[3].v);
  row[0] = {_mm256_permute2f128_pd(a, c, 0x20)};
  row[1] = {_mm256_permute2f128_pd(b, d, 0x20)};
  row[2] = {_mm256_permute2f128_pd(a, c, 0x31)};
  row[3] = {_mm256_permute2f128_pd(b, d, 0x31)};
}
// Where the chosen quarters and then the others are, in 32-bit lanes, a byte each; for move_first().
constexpr unsigned long long kMovedFirst[16] = {
    0x0706050403020100, 0x0706050403020100, 0x0706050401000302, 0x0706050403020100,
    0x0706030201000504, 0x0706030205040100, 0x0706010005040302, 0x0706050403020100,
    0x0504030201000706, 0x0504030207060100, 0x0504010007060302, 0x0504070603020100,
    0x0302010007060504, 0x0302070605040100, 0x0100070605040302, 0x0706050403020100};
// The lanes that are chosen (all bits) first, then the others. Tells how many are chosen.
inline int move_first(F64 chosen, F64* a) {
  const int mask = _mm256_movemask_pd(chosen.v);
  const __m256i order = _mm256_cvtepu8_epi32(_mm_loadl_epi64((const __m128i*)(kMovedFirst + mask)));
  a->v = _mm256_castps_pd(_mm256_permutevar8x32_ps(_mm256_castpd_ps(a->v), order));
  return __builtin_popcount(mask);
}

#else

struct F32 {
  __m128 v;
  static constexpr int lanes = 4;
};
struct I16 {
  __m128i v;
  static constexpr int lanes = 8;
};
struct I32 {
  __m128i v;
  static constexpr int lanes = 4;
};

inline F32 load(const Lum32f* p) { return {_mm_loadu_ps(p)}; }
inline I16 load(const Lum16s* p) { return {_mm_loadu_si128((const __m128i*)p)}; }
inline I16 load(const Lum8u* p) { return {_mm_unpacklo_epi8(_mm_loadl_epi64((const __m128i*)p), _mm_setzero_si128())}; }
inline I16 load_bytes(const Lum8u* p) { return {_mm_loadu_si128((const __m128i*)p)}; }
inline void store(Lum32f* p, F32 a) { _mm_storeu_ps(p, a.v); }
inline void store(Lum16s* p, I16 a) { _mm_storeu_si128((__m128i*)p, a.v); }
inline void store(Lum8u* p, I16 a) { _mm_storel_epi64((__m128i*)p, _mm_packus_epi16(a.v, a.v)); }  // saturates
inline void store(Lum8s* p, I16 a) { _mm_storel_epi64((__m128i*)p, _mm_packs_epi16(a.v, a.v)); }   // saturates
inline void store(Lum8u* p, I16 first, I16 second) {
  _mm_storeu_si128((__m128i*)p, _mm_packus_epi16(first.v, second.v));
}
inline void store(Lum8s* p, I16 first, I16 second) {
  _mm_storeu_si128((__m128i*)p, _mm_packs_epi16(first.v, second.v));
}

inline F32 f32(Lum32f a) { return {_mm_set1_ps(a)}; }
inline F32 f32(Lum32f a, Lum32f b, Lum32f c, Lum32f d) { return {_mm_setr_ps(a, b, c, d)}; }
inline I16 i16(Lum16s a) { return {_mm_set1_epi16(a)}; }
inline I32 i32(int a) { return {_mm_set1_epi32(a)}; }

inline F32 operator+(F32 a, F32 b) { return {_mm_add_ps(a.v, b.v)}; }
inline F32 operator-(F32 a, F32 b) { return {_mm_sub_ps(a.v, b.v)}; }
inline F32 operator*(F32 a, F32 b) { return {_mm_mul_ps(a.v, b.v)}; }
inline F32 operator-(F32 a) { return {_mm_xor_ps(a.v, _mm_set1_ps(-0.0f))}; }
inline F32 min(F32 a, F32 b) { return {_mm_min_ps(a.v, b.v)}; }
inline F32 max(F32 a, F32 b) { return {_mm_max_ps(a.v, b.v)}; }
inline I16 operator+(I16 a, I16 b) { return {_mm_add_epi16(a.v, b.v)}; }
inline I16 operator-(I16 a, I16 b) { return {_mm_sub_epi16(a.v, b.v)}; }
inline I16 operator*(I16 a, I16 b) { return {_mm_mullo_epi16(a.v, b.v)}; }
inline I16 add_saturated(I16 a, I16 b) { return {_mm_adds_epi16(a.v, b.v)}; }
inline I16 operator-(I16 a) { return {_mm_sub_epi16(_mm_setzero_si128(), a.v)}; }
inline I16 multiply_high(I16 a, I16 b) { return {_mm_mulhi_epi16(a.v, b.v)}; }
inline I16 multiply_high_unsigned(I16 a, I16 b) { return {_mm_mulhi_epu16(a.v, b.v)}; }
inline I32 operator+(I32 a, I32 b) { return {_mm_add_epi32(a.v, b.v)}; }
inline I16 operator&(I16 a, I16 b) { return {_mm_and_si128(a.v, b.v)}; }
template <int Bits>
inline I16 shift_left(I16 a) {
  return {_mm_slli_epi16(a.v, Bits)};
}
inline I16 shift_right(I16 a, int bits) { return {_mm_sra_epi16(a.v, _mm_cvtsi32_si128(bits))}; }
inline I16 low_bytes(I16 a) { return {_mm_and_si128(a.v, _mm_set1_epi16(0xFF))}; }
inline I16 high_bytes(I16 a) { return {_mm_srli_epi16(a.v, 8)}; }
inline void interleave(I16 even, I16 odd, I16* to) {
  to[0] = {_mm_unpacklo_epi16(even.v, odd.v)};
  to[1] = {_mm_unpackhi_epi16(even.v, odd.v)};
}
inline void store_interleaved(Lum8s* p, I16 even, I16 odd) {  // saturates
  const __m128i low = _mm_unpacklo_epi16(even.v, odd.v), high = _mm_unpackhi_epi16(even.v, odd.v);
  _mm_storeu_si128((__m128i*)p, _mm_packs_epi16(low, high));
}
inline void store_eights(Lum16s* p, I16 low, I16 high) {
  _mm_storeu_si128((__m128i*)p, low.v);
  _mm_storeu_si128((__m128i*)(p + 8), high.v);
}
inline void store_eights(Lum8s* p, I16 low, I16 high) {  // saturates
  _mm_storeu_si128((__m128i*)p, _mm_packs_epi16(low.v, high.v));
}
inline void store_interleaved(Lum8u* p, I16 even, I16 odd) {  // of values below 256
  _mm_storeu_si128((__m128i*)p, _mm_or_si128(even.v, _mm_slli_epi16(odd.v, 8)));
}

template <int Bytes>
inline __m128i window(__m128i low, __m128i high) {
  return _mm_or_si128(_mm_srli_si128(low, Bytes), _mm_slli_si128(high, 16 - Bytes));
}
template <int K>
inline I16 window_bytes(I16 low, I16 high) {
  return {window<K>(low.v, high.v)};
}
template <int K>
inline F32 window(F32 low, F32 high) {
  return {_mm_castsi128_ps(window<4 * K>(_mm_castps_si128(low.v), _mm_castps_si128(high.v)))};
}

inline I16 between(I16 a, I16 b) {
  const __m128 low = _mm_castsi128_ps(a.v), high = _mm_castsi128_ps(b.v);
  return {_mm_castps_si128(_mm_shuffle_ps(low, high, _MM_SHUFFLE(2, 1, 2, 1)))};
}

inline I16 unpack_low(I16 a, I16 b) { return {_mm_unpacklo_epi16(a.v, b.v)}; }
inline I16 unpack_high(I16 a, I16 b) { return {_mm_unpackhi_epi16(a.v, b.v)}; }
inline I16 unpack_low_bytes(I16 a, I16 b) { return {_mm_unpacklo_epi8(a.v, b.v)}; }
inline I16 unpack_high_bytes(I16 a, I16 b) { return {_mm_unpackhi_epi8(a.v, b.v)}; }
inline I32 as_i32(I16 a) { return {a.v}; }
inline I16 as_i16(I32 a) { return {a.v}; }
inline I32 widen_low(I16 a) { return {_mm_srai_epi32(_mm_unpacklo_epi16(a.v, a.v), 16)}; }
inline I32 widen_high(I16 a) { return {_mm_srai_epi32(_mm_unpackhi_epi16(a.v, a.v), 16)}; }
inline I32 multiply_pairs(I16 a, I32 b) { return {_mm_madd_epi16(a.v, b.v)}; }
inline I16 pack(I32 low, I32 high) { return {_mm_packs_epi32(low.v, high.v)}; }
inline I16 pack_even_odd(I32 even, I32 odd) {
  const __m128i halves = _mm_packs_epi32(even.v, odd.v);
  return {_mm_unpacklo_epi16(halves, _mm_unpackhi_epi64(halves, halves))};
}

constexpr bool kMultipliesBytes = false;
struct BytePair {
  I16 first, second;
};
inline BytePair byte_pair(int first, int second) { return {i16(Lum16s(first)), i16(Lum16s(second))}; }
inline BytePair renewed(BytePair b) { return {renewed(b.first), renewed(b.second)}; }
inline I16 multiply_bytes(I16 a, BytePair b) { return low_bytes(a) * b.first + high_bytes(a) * b.second; }

inline F32 to_float(I32 a) { return {_mm_cvtepi32_ps(a.v)}; }
inline I32 round_nearest(F32 a) { return {_mm_cvtps_epi32(a.v)}; }
inline I32 truncate(F32 a) { return {_mm_cvttps_epi32(a.v)}; }

inline F32 widen_words(__m128i words) { return {_mm_cvtepi32_ps(_mm_unpacklo_epi16(words, _mm_setzero_si128()))}; }
inline F32 widen(const Lum8u* p) { return widen_words(_mm_unpacklo_epi8(four_bytes(p), _mm_setzero_si128())); }
inline F32 widen(const Lum8s* p) {
  const __m128i bytes = four_bytes(p), words = _mm_unpacklo_epi8(bytes, bytes);
  return {_mm_cvtepi32_ps(_mm_srai_epi32(_mm_unpacklo_epi16(words, words), 24))};
}
inline F32 widen(const Lum16u* p) { return widen_words(_mm_loadl_epi64((const __m128i*)p)); }
inline F32 widen(const Lum32f* p) { return load(p); }
inline F32 nonzero(const Lum8u* p) {
  const __m128i bytes = four_bytes(p), words = _mm_unpacklo_epi8(bytes, bytes);
  const __m128i zero = _mm_cmpeq_epi32(_mm_unpacklo_epi16(words, words), _mm_setzero_si128());
  return {_mm_castsi128_ps(_mm_xor_si128(zero, _mm_set1_epi32(-1)))};
}
inline F32 and_bits(F32 a, F32 b) { return {_mm_and_ps(a.v, b.v)}; }
inline F32 select(F32 mask, F32 a, F32 b) { return {_mm_or_ps(_mm_and_ps(mask.v, a.v), _mm_andnot_ps(mask.v, b.v))}; }
inline F32 absolute(F32 a) { return {_mm_andnot_ps(_mm_set1_ps(-0.0f), a.v)}; }

struct U8 {
  __m128i v;
  static constexpr int lanes = 16;
};
struct U16 {
  __m128i v;
  static constexpr int lanes = 8;
};
inline U8 load_all(const Lum8u* p) { return {_mm_loadu_si128((const __m128i*)p)}; }
inline U16 load_all(const Lum16u* p) { return {_mm_loadu_si128((const __m128i*)p)}; }
inline F32 load_all(const Lum32f* p) { return load(p); }
inline void store(Lum8u* p, U8 a) { _mm_storeu_si128((__m128i*)p, a.v); }
inline void store(Lum16u* p, U16 a) { _mm_storeu_si128((__m128i*)p, a.v); }
inline U8 splat(Lum8u a) { return {_mm_set1_epi8((char)a)}; }
inline U16 splat(Lum16u a) { return {_mm_set1_epi16((short)a)}; }
inline U8 absolute_difference(U8 a, U8 b) { return {_mm_or_si128(_mm_subs_epu8(a.v, b.v), _mm_subs_epu8(b.v, a.v))}; }
inline U16 absolute_difference(U16 a, U16 b) {
  return {_mm_or_si128(_mm_subs_epu16(a.v, b.v), _mm_subs_epu16(b.v, a.v))};
}
inline U8 operator+(U8 a, U8 b) { return {_mm_add_epi8(a.v, b.v)}; }
inline U8 operator&(U8 a, U8 b) { return {_mm_and_si128(a.v, b.v)}; }
inline U8 operator|(U8 a, U8 b) { return {_mm_or_si128(a.v, b.v)}; }
inline U8 min(U8 a, U8 b) { return {_mm_min_epu8(a.v, b.v)}; }
inline U8 max(U8 a, U8 b) { return {_mm_max_epu8(a.v, b.v)}; }
inline U8 subtract_saturated(U8 a, U8 b) { return {_mm_subs_epu8(a.v, b.v)}; }
inline U8 equal(U8 a, U8 b) { return {_mm_cmpeq_epi8(a.v, b.v)}; }
inline U8 select(U8 mask, U8 a, U8 b) {
  return {_mm_xor_si128(_mm_and_si128(_mm_xor_si128(a.v, b.v), mask.v), b.v)};  // fewer copies than with and-not
}
inline U8 shift_left(U8 a, int bits) {
  return splat(Lum8u(0xFF << bits)) & U8{_mm_sll_epi16(a.v, _mm_cvtsi32_si128(bits))};
}
inline U8 shift_right(U8 a, int bits) {
  return splat(Lum8u(0xFF >> bits)) & U8{_mm_srl_epi16(a.v, _mm_cvtsi32_si128(bits))};
}
inline void store_aligned(Lum8u* p, U8 a) { _mm_store_si128((__m128i*)p, a.v); }
inline void store_bypassing(Lum8u* p, U8 a) { _mm_stream_si128((__m128i*)p, a.v); }

inline F32 square_root(F32 a) { return {_mm_sqrt_ps(a.v)}; }
inline F32 less(F32 a, F32 b) { return {_mm_cmplt_ps(a.v, b.v)}; }
inline F32 or_bits(F32 a, F32 b) { return {_mm_or_ps(a.v, b.v)}; }
inline I16 max(I16 a, I16 b) { return {_mm_max_epi16(a.v, b.v)}; }
inline I16 operator|(I16 a, I16 b) { return {_mm_or_si128(a.v, b.v)}; }
inline I16 subtract_unsigned(I16 a, I16 b) { return {_mm_subs_epu16(a.v, b.v)}; }  // saturates at 0
inline I16 max_unsigned(I16 a, I16 b) { return {_mm_adds_epu16(_mm_subs_epu16(a.v, b.v), b.v)}; }
inline bool any_bit(I16 a) { return _mm_movemask_epi8(_mm_cmpeq_epi8(a.v, _mm_setzero_si128())) != 0xFFFF; }

inline I32 load(const Lum32s* p) { return {_mm_loadu_si128((const __m128i*)p)}; }
inline I32 operator-(I32 a, I32 b) { return {_mm_sub_epi32(a.v, b.v)}; }
inline I32 operator&(I32 a, I32 b) { return {_mm_and_si128(a.v, b.v)}; }
inline I32 operator|(I32 a, I32 b) { return {_mm_or_si128(a.v, b.v)}; }
inline I32 operator>(I32 a, I32 b) { return {_mm_cmpgt_epi32(a.v, b.v)}; }
inline I32 equal(I32 a, I32 b) { return {_mm_cmpeq_epi32(a.v, b.v)}; }
inline I32 not_negative(I32 a) { return {_mm_andnot_si128(_mm_srai_epi32(a.v, 31), a.v)}; }
inline I32 shift_left(I32 a, int bits) { return {_mm_sll_epi32(a.v, _mm_cvtsi32_si128(bits))}; }
inline I32 shift_right(I32 a, int bits) { return {_mm_sra_epi32(a.v, _mm_cvtsi32_si128(bits))}; }
inline I32 square(I32 a) {
  return {_mm_or_si128(_mm_mullo_epi16(a.v, a.v), _mm_slli_epi32(_mm_mulhi_epu16(a.v, a.v), 16))};
}
inline I32 sign(I32 a) { return {_mm_sub_epi32(_mm_srai_epi32(a.v, 31), _mm_cmpgt_epi32(a.v, _mm_setzero_si128()))}; }
inline I16 pack_in_order(I32 first, I32 second) { return pack(first, second); }
inline int sign_bits(F32 a) { return _mm_movemask_ps(a.v); }
inline int sign_bits(I32 a) { return _mm_movemask_ps(_mm_castsi128_ps(a.v)); }

struct F64 {
  __m128d v;
  static constexpr int lanes = 2;
};
inline F64 load(const Lum64f* p) { return {_mm_loadu_pd(p)}; }
inline void store(Lum64f* p, F64 a) { _mm_storeu_pd(p, a.v); }
inline F64 f64(Lum64f a) { return {_mm_set1_pd(a)}; }
inline F64 operator+(F64 a, F64 b) { return {_mm_add_pd(a.v, b.v)}; }
inline F64 operator-(F64 a, F64 b) { return {_mm_sub_pd(a.v, b.v)}; }
inline F64 operator*(F64 a, F64 b) { return {_mm_mul_pd(a.v, b.v)}; }
inline F64 and_bits(F64 a, F64 b) { return {_mm_and_pd(a.v, b.v)}; }
inline F64 absolute(F64 a) { return {_mm_andnot_pd(_mm_set1_pd(-0.0), a.v)}; }
inline F64 widen_twice(const Lum32f* p) { return {_mm_cvtps_pd(_mm_castsi128_ps(_mm_loadl_epi64((const __m128i*)p)))}; }
inline F64 nonzero_twice(const Lum8u* p) {
  const __m128i zero = _mm_cmpeq_epi32(_mm_setr_epi32(p[0], p[0], p[1], p[1]), _mm_setzero_si128());
  return {_mm_castsi128_pd(~zero)};
}
inline bool store_where_equal(Lum32f* p, F64 a, F64 b) {
  const __m128i first = _mm_castps_si128(_mm_cvtpd_ps(a.v)), second = _mm_castps_si128(_mm_cvtpd_ps(b.v));
  if (_mm_movemask_epi8(_mm_cmpeq_epi32(first, second)) != 0xFFFF) return false;
  _mm_storel_epi64((__m128i*)p, first);
  return true;
}
inline F64 min(F64 a, F64 b) { return {_mm_min_pd(a.v, b.v)}; }
inline F64 max(F64 a, F64 b) { return {_mm_max_pd(a.v, b.v)}; }
inline F64 less(F64 a, F64 b) { return {_mm_cmplt_pd(a.v, b.v)}; }
inline F64 less_equal(F64 a, F64 b) { return {_mm_cmple_pd(a.v, b.v)}; }
inline F64 reverse(F64 a) { return {_mm_shuffle_pd(a.v, a.v, 1)}; }
inline void transpose(F64* row) {
  const __m128d a = row[0].v;
  row[0] = {_mm_unpacklo_pd(a, row[1].v)};
  row[1] = {_mm_unpackhi_pd(a, row[1].v)};
}
inline int move_first(F64 chosen, F64* a) {
  const int mask = _mm_movemask_pd(chosen.v);
  const __m128d swapped = _mm_andnot_pd(_mm_unpacklo_pd(chosen.v, chosen.v), _mm_unpackhi_pd(chosen.v, chosen.v));
  a->v = _mm_xor_pd(a->v, _mm_and_pd(swapped, _mm_xor_pd(a->v, reverse(*a).v)));
  return (mask & 1) + (mask >> 1);
}

#endif

inline F32 splat(Lum32f a) { return f32(a); }
inline F32 absolute_difference(F32 a, F32 b) { return absolute(a - b); }

inline void store_interleaved(Lum16s* p, I16 even, I16 odd) {
  I16 v[2];
  interleave(even, odd, v);
  store(p, v[0]);
  store(p + I16::lanes, v[1]);
}

// Divides by a power of two from 2 to 2^14, halves to even: what a product with its reciprocal rounds to. The quotient may
// be one too low where the value and half the divisor add up to more than 16 bits hold.
#if defined(__AVX2__)
class ShiftNearest {
 public:
  explicit ShiftNearest(int bits)
      : factor_(i16(Lum16s(1 << (15 - bits)))), low_bits_(i16(Lum16s((2 << bits) - 1))),
        half_(i16(Lum16s(1 << bits >> 1))) {}
  // Halves are rounded up, and taken back where the quotient was even before.
  I16 operator()(I16 v) const { return multiply_high_rounded(v, factor_) + equal(v & low_bits_, half_); }

 private:
  I16 factor_, low_bits_, half_;
};
#else
class ShiftNearest {
 public:
  explicit ShiftNearest(int bits) : bits_(bits), below_half_(i16(Lum16s((1 << bits >> 1) - 1))), one_(i16(1)) {}
  I16 operator()(I16 v) const {
    return shift_right(add_saturated(add_saturated(v, below_half_), shift_right(v, bits_) & one_), bits_);
  }

 private:
  int bits_;
  I16 below_half_, one_;
};
#endif

// The vector that holds an element type while it is computed with.
template <class T>
struct VectorOf {
  using type = I16;
};
template <>
struct VectorOf<Lum32f> {
  using type = F32;
};
template <class T>
using Vector = typename VectorOf<T>::type;

// Two 16-bit factors as multiply_pairs() takes them.
inline I32 pair(Lum16s first, Lum16s second) {
  return i32(int((unsigned)(Lum16u)first | (unsigned)(Lum16u)second << 16));
}

// Stores the last n lanes only, so that they end where a full vector would end.
template <class T, class V>
inline void store_last(T* p, V a, int n) {
  if (n < 0 || n > V::lanes) __builtin_unreachable();
  T lanes[V::lanes];
  store(lanes, a);
  memcpy(p, lanes + V::lanes - n, n * sizeof(T));
}

// Stores the first n lanes only.
template <class T, class V>
inline void store_first(T* p, V a, int n) {
  if (n < 0 || n > V::lanes) __builtin_unreachable();
  T lanes[V::lanes];
  store(lanes, a);
  memcpy(p, lanes, n * sizeof(T));
}

}  // namespace lum::LUM_LEVEL
