// Pixels as statistics read them: a vector at a time of one channel, or of one out of three that are interleaved, and
// what a mask selects of them. Nothing but the elements of those pixels is read, and what lies between them.
#pragma once
#include <type_traits>

#include "core/vec.h"

namespace lum::LUM_LEVEL {

// ---- vectors of integers: U8 and U16 hold as many elements as fit, I32 and I64 sums of them ----

#ifdef __AVX2__

struct I64 {
  __m256i v;
  static constexpr int lanes = 4;
};
inline void store(long long* p, I64 a) { _mm256_storeu_si256((__m256i*)p, a.v); }
inline I64 operator+(I64 a, I64 b) { return {_mm256_add_epi64(a.v, b.v)}; }

inline U8 operator^(U8 a, U8 b) { return {_mm256_xor_si256(a.v, b.v)}; }
inline U8 operator-(U8 a, U8 b) { return {_mm256_sub_epi8(a.v, b.v)}; }
// Of signed bytes; as unsigned ones, among which is 128.
inline U8 signed_magnitude(U8 a) { return {_mm256_abs_epi8(a.v)}; }
inline U8 signed_difference(U8 a, U8 b) {
  return {_mm256_sub_epi8(_mm256_max_epi8(a.v, b.v), _mm256_min_epi8(a.v, b.v))};
}
inline U16 operator&(U16 a, U16 b) { return {_mm256_and_si256(a.v, b.v)}; }
inline U16 operator^(U16 a, U16 b) { return {_mm256_xor_si256(a.v, b.v)}; }
inline U16 operator-(U16 a, U16 b) { return {_mm256_sub_epi16(a.v, b.v)}; }
template <int Bits>
inline I32 shift_left(I32 a) {
  return {_mm256_slli_epi32(a.v, Bits)};
}
template <int Bits>
inline I32 shift_right_unsigned(I32 a) {
  return {_mm256_srli_epi32(a.v, Bits)};
}
// Of the upper halves of the lanes, as unsigned numbers, rounded up.
inline I32 average_of_upper_words(I32 a, I32 b) { return shift_right_unsigned<16>(I32{_mm256_avg_epu16(a.v, b.v)}); }
inline U16 min(U16 a, U16 b) { return {_mm256_min_epu16(a.v, b.v)}; }
inline U16 max(U16 a, U16 b) { return {_mm256_max_epu16(a.v, b.v)}; }

// Sums of eight neighbours.
inline I64 neighbour_sums(U8 a) { return {_mm256_sad_epu8(a.v, _mm256_setzero_si256())}; }
// Sums of four squares, below 2^18 each.
inline I32 square_sums(U8 a) {
  const __m256i even = _mm256_and_si256(a.v, _mm256_set1_epi16(0xFF)), odd = _mm256_srli_epi16(a.v, 8);
  return {_mm256_add_epi32(_mm256_madd_epi16(even, even), _mm256_madd_epi16(odd, odd))};
}
// The same of bytes up to 128: two products with the negative byte are never below -2^15.
inline I32 small_square_sums(U8 a) {
  const __m256i negative = _mm256_sub_epi8(_mm256_setzero_si256(), a.v);
  return {_mm256_madd_epi16(_mm256_maddubs_epi16(a.v, negative), _mm256_set1_epi16(-1))};
}
// Sums of two neighbours, below 2^17 each.
inline I32 neighbour_sums(U16 a) {
  return {_mm256_add_epi32(_mm256_and_si256(a.v, _mm256_set1_epi32(0xFFFF)), _mm256_srli_epi32(a.v, 16))};
}
// Sums of two neighbours, taken as unsigned.
inline I64 neighbour_sums(I32 a) {
  return {_mm256_add_epi64(_mm256_and_si256(a.v, _mm256_set1_epi64x(0xFFFFFFFF)), _mm256_srli_epi64(a.v, 32))};
}

// All bits of a lane where the byte of the mask is not 0.
inline U8 selected(U8, const Lum8u* mask) { return {~_mm256_cmpeq_epi8(load_all(mask).v, _mm256_setzero_si256())}; }
inline U16 selected(U16, const Lum8u* mask) { return {_mm256_cmpgt_epi16(load(mask).v, _mm256_setzero_si256())}; }

#else

struct I64 {
  __m128i v;
  static constexpr int lanes = 2;
};
inline void store(long long* p, I64 a) { _mm_storeu_si128((__m128i*)p, a.v); }
inline I64 operator+(I64 a, I64 b) { return {_mm_add_epi64(a.v, b.v)}; }

inline U8 operator^(U8 a, U8 b) { return {_mm_xor_si128(a.v, b.v)}; }
inline U8 operator-(U8 a, U8 b) { return {_mm_sub_epi8(a.v, b.v)}; }
inline U8 signed_magnitude(U8 a) { return {_mm_min_epu8(a.v, _mm_sub_epi8(_mm_setzero_si128(), a.v))}; }
inline U8 signed_difference(U8 a, U8 b) {
  const __m128i negative = _mm_cmpgt_epi8(b.v, a.v);
  return {_mm_sub_epi8(_mm_sub_epi8(a.v, b.v) ^ negative, negative)};
}
inline U16 operator&(U16 a, U16 b) { return {_mm_and_si128(a.v, b.v)}; }
inline U16 operator^(U16 a, U16 b) { return {_mm_xor_si128(a.v, b.v)}; }
inline U16 operator-(U16 a, U16 b) { return {_mm_sub_epi16(a.v, b.v)}; }
template <int Bits>
inline I32 shift_left(I32 a) {
  return {_mm_slli_epi32(a.v, Bits)};
}
template <int Bits>
inline I32 shift_right_unsigned(I32 a) {
  return {_mm_srli_epi32(a.v, Bits)};
}
inline I32 average_of_upper_words(I32 a, I32 b) { return shift_right_unsigned<16>(I32{_mm_avg_epu16(a.v, b.v)}); }
// The saturating difference is what a exceeds b by.
inline U16 min(U16 a, U16 b) { return {_mm_sub_epi16(a.v, _mm_subs_epu16(a.v, b.v))}; }
inline U16 max(U16 a, U16 b) { return {_mm_add_epi16(b.v, _mm_subs_epu16(a.v, b.v))}; }

inline I64 neighbour_sums(U8 a) { return {_mm_sad_epu8(a.v, _mm_setzero_si128())}; }
inline I32 square_sums(U8 a) {
  const __m128i even = _mm_and_si128(a.v, _mm_set1_epi16(0xFF)), odd = _mm_srli_epi16(a.v, 8);
  return {_mm_add_epi32(_mm_madd_epi16(even, even), _mm_madd_epi16(odd, odd))};
}
inline I32 small_square_sums(U8 a) { return square_sums(a); }
inline I32 neighbour_sums(U16 a) {
  return {_mm_add_epi32(_mm_and_si128(a.v, _mm_set1_epi32(0xFFFF)), _mm_srli_epi32(a.v, 16))};
}
inline I64 neighbour_sums(I32 a) {
  return {_mm_add_epi64(_mm_and_si128(a.v, _mm_set1_epi64x(0xFFFFFFFF)), _mm_srli_epi64(a.v, 32))};
}

inline U8 selected(U8, const Lum8u* mask) { return {~_mm_cmpeq_epi8(load_all(mask).v, _mm_setzero_si128())}; }
inline U16 selected(U16, const Lum8u* mask) { return {_mm_cmpgt_epi16(load(mask).v, _mm_setzero_si128())}; }

#endif

inline U8 load_all(const Lum8s* p) { return load_all((const Lum8u*)p); }  // the bits

inline long long sum(I64 a) {
  long long lanes[I64::lanes], total = 0;
  store(lanes, a);
  for (const long long lane : lanes) total += lane;
  return total;
}

// Of signed lanes.
inline long long sum(I32 a) {
  Lum32s lanes[I32::lanes];
  memcpy(lanes, &a.v, sizeof lanes);
  long long total = 0;
  for (const Lum32s lane : lanes) total += lane;
  return total;
}

// ---- sixteen words, and eight single-precision lanes, at every level ----

#ifdef __AVX2__

using Eight = F32;
inline __m128 low_half(Eight a) { return _mm256_castps256_ps128(a.v); }
inline __m128 high_half(Eight a) { return _mm256_extractf128_ps(a.v, 1); }
inline Eight eight(__m128 low, __m128 high) { return {_mm256_insertf128_ps(_mm256_castps128_ps256(low), high, 1)}; }
inline Eight operator&(Eight a, Eight b) { return and_bits(a, b); }
inline Eight selected(Eight, const Lum8u* mask) { return nonzero(mask); }
inline Eight load_eight(const Lum32f* p) { return load(p); }
inline I32 lanes(Eight mask) { return {_mm256_castps_si256(mask.v)}; }  // -1 where selected

struct Sixteen {
  U16 words;
  static constexpr int lanes = 16;
};
inline Eight even_words(Sixteen v) {
  return {_mm256_cvtepi32_ps(_mm256_and_si256(v.words.v, _mm256_set1_epi32(0xFFFF)))};
}
inline Eight odd_words(Sixteen v) { return {_mm256_cvtepi32_ps(_mm256_srli_epi32(v.words.v, 16))}; }
inline Sixteen absolute_difference(Sixteen a, Sixteen b) { return {absolute_difference(a.words, b.words)}; }
// The bytes of a mask as words: to take the sign of one, zero or plus, is all that a word needs.
struct MaskWords {
  U16 bytes;
};
inline MaskWords selected(Sixteen, const Lum8u* mask) { return {{load(mask).v}}; }
inline Sixteen operator&(Sixteen a, MaskWords mask) { return {{_mm256_sign_epi16(a.words.v, mask.bytes.v)}}; }

#else

struct Eight {
  F32 low, high;
  static constexpr int lanes = 8;
};
inline void store(Lum32f* p, Eight a) { store(p, a.low), store(p + 4, a.high); }
inline __m128 low_half(Eight a) { return a.low.v; }
inline __m128 high_half(Eight a) { return a.high.v; }
inline Eight eight(__m128 low, __m128 high) { return {{low}, {high}}; }
inline Eight operator+(Eight a, Eight b) { return {a.low + b.low, a.high + b.high}; }
inline Eight operator-(Eight a, Eight b) { return {a.low - b.low, a.high - b.high}; }
inline Eight operator*(Eight a, Eight b) { return {a.low * b.low, a.high * b.high}; }
// As integers, so that the compiler finds pandn for what selected() inverts.
inline Eight operator&(Eight a, Eight b) {
  const __m128i low = _mm_castps_si128(a.low.v) & _mm_castps_si128(b.low.v);
  const __m128i high = _mm_castps_si128(a.high.v) & _mm_castps_si128(b.high.v);
  return eight(_mm_castsi128_ps(low), _mm_castsi128_ps(high));
}
inline Eight absolute(Eight a) { return {absolute(a.low), absolute(a.high)}; }
inline Eight min(Eight a, Eight b) { return {min(a.low, b.low), min(a.high, b.high)}; }
inline Eight max(Eight a, Eight b) { return {max(a.low, b.low), max(a.high, b.high)}; }
inline Eight selected(Eight, const Lum8u* mask) {
  const __m128i zero = _mm_cmpeq_epi8(_mm_loadl_epi64((const __m128i*)mask), _mm_setzero_si128());
  const __m128i words = _mm_unpacklo_epi8(zero, zero);
  return eight(_mm_castsi128_ps(~_mm_unpacklo_epi16(words, words)),
               _mm_castsi128_ps(~_mm_unpackhi_epi16(words, words)));
}
inline Eight load_eight(const Lum32f* p) { return {load(p), load(p + 4)}; }
inline I32 lanes(Eight mask) {  // sums of two
  return {_mm_add_epi32(_mm_castps_si128(mask.low.v), _mm_castps_si128(mask.high.v))};
}

struct Sixteen {
  U16 low, high;
  static constexpr int lanes = 16;
};
inline Eight even_words(Sixteen v) {
  const __m128i word = _mm_set1_epi32(0xFFFF);
  return eight(_mm_cvtepi32_ps(_mm_and_si128(v.low.v, word)), _mm_cvtepi32_ps(_mm_and_si128(v.high.v, word)));
}
inline Eight odd_words(Sixteen v) {
  return eight(_mm_cvtepi32_ps(_mm_srli_epi32(v.low.v, 16)), _mm_cvtepi32_ps(_mm_srli_epi32(v.high.v, 16)));
}
inline Sixteen operator&(Sixteen a, Sixteen b) { return {a.low & b.low, a.high & b.high}; }
inline Sixteen absolute_difference(Sixteen a, Sixteen b) {
  return {absolute_difference(a.low, b.low), absolute_difference(a.high, b.high)};
}
inline Sixteen selected(Sixteen, const Lum8u* mask) {
  const __m128i zero = _mm_cmpeq_epi8(load_all(mask).v, _mm_setzero_si128());
  return {{~_mm_unpacklo_epi8(zero, zero)}, {~_mm_unpackhi_epi8(zero, zero)}};
}

#endif

inline Eight eight(Lum32f a) { return eight(_mm_set1_ps(a), _mm_set1_ps(a)); }

// ---- one channel of three: p points to its element of the first pixel ----

// Of four neighbouring elements the first and the last belong to two neighbouring pixels.
inline __m128 four_thirds(const Lum32f* p) {
  return _mm_shuffle_ps(_mm_loadu_ps(p), _mm_loadu_ps(p + 6), _MM_SHUFFLE(3, 0, 3, 0));
}
inline __m128i eight_thirds(const Lum16u* p) {
  const auto four = [](const Lum16u* q) {  // 0 3 . . | 6 9 . .
    const __m128i low = _mm_loadl_epi64((const __m128i*)q), high = _mm_loadl_epi64((const __m128i*)(q + 6));
    const __m128i both = _mm_shufflelo_epi16(_mm_unpacklo_epi64(low, high), _MM_SHUFFLE(3, 0, 3, 0));
    return _mm_castsi128_ps(_mm_shufflehi_epi16(both, _MM_SHUFFLE(3, 0, 3, 0)));
  };
  return _mm_castps_si128(_mm_shuffle_ps(four(p), four(p + 12), _MM_SHUFFLE(2, 0, 2, 0)));
}

#ifdef __AVX2__

inline __m256i load_halves(const void* low, const void* high) {
  const __m256i half = _mm256_castsi128_si256(_mm_loadu_si128((const __m128i*)low));
  return _mm256_inserti128_si256(half, _mm_loadu_si128((const __m128i*)high), 1);
}
inline U16 thirds(const Lum16u* p) {
  return {_mm256_inserti128_si256(_mm256_castsi128_si256(eight_thirds(p)), eight_thirds(p + 24), 1)};
}
// In each half, pixels 0 to 5 are those of the first 16 bytes, 6 to 10 of the next, 11 to 15 end with byte 45.
inline U8 thirds(const Lum8u* p) {
  const __m128i first = _mm_setr_epi8(0, 3, 6, 9, 12, 15, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1);
  const __m128i next = _mm_setr_epi8(-1, -1, -1, -1, -1, -1, 2, 5, 8, 11, 14, -1, -1, -1, -1, -1);
  const __m128i last = _mm_setr_epi8(-1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, 3, 6, 9, 12, 15);
  const auto part = [p](int at, __m128i lanes) {
    return _mm256_shuffle_epi8(load_halves(p + at, p + at + 48), _mm256_broadcastsi128_si256(lanes));
  };
  return {_mm256_or_si256(_mm256_or_si256(part(0, first), part(16, next)), part(30, last))};
}

#else

inline U16 thirds(const Lum16u* p) { return {eight_thirds(p)}; }
inline U8 thirds(const Lum8u* p) {
  const auto eight_pixels = [](const Lum8u* q) {  // 0 . . 3 | 6 . . 9 | 12 . . 15 | 18 . . 21
    const __m128i low = _mm_unpacklo_epi32(four_bytes(q), four_bytes(q + 6));
    return _mm_unpacklo_epi64(low, _mm_unpacklo_epi32(four_bytes(q + 12), four_bytes(q + 18)));
  };
  const __m128i low = eight_pixels(p), high = eight_pixels(p + 24), byte = _mm_set1_epi32(0xFF);
  const __m128i even = _mm_packs_epi32(_mm_and_si128(low, byte), _mm_and_si128(high, byte));
  const __m128i odd = _mm_packs_epi32(_mm_srli_epi32(low, 24), _mm_srli_epi32(high, 24));
  return {_mm_or_si128(even, _mm_slli_epi16(odd, 8))};
}

#endif

inline U8 thirds(const Lum8s* p) { return thirds((const Lum8u*)p); }  // the bits

// ---- blocks of pixels ----

// As many as V has lanes: U8 and U16 as they are (of signed bytes the bits), Eight in single precision.
template <class V, int Channels>
struct Load {
  template <class S>
  static V pixels(const S* p) {
    return Channels == 3 ? thirds(p) : load_all(p);
  }
};
template <>
struct Load<Eight, 1> {
  static Eight pixels(const Lum32f* p) { return load_eight(p); }
};
template <>
struct Load<Eight, 3> {
  static Eight pixels(const Lum32f* p) { return eight(four_thirds(p), four_thirds(p + 12)); }
};
template <int Channels>
struct Load<Sixteen, Channels> {
  static Sixteen pixels(const Lum16u* p) {
    const auto words = [p](int x) { return Load<U16, Channels>::pixels(p + x * Channels); };
#ifdef __AVX2__
    return {words(0)};
#else
    return {words(0), words(U16::lanes)};
#endif
  }
};
template <class V, int Channels, class S>
inline V load_pixels(const S* p) {
  return Load<V, Channels>::pixels(p);
}
template <class V>
inline auto selected(const Lum8u* mask) {
  return selected(V{}, mask);
}

// The last n pixels of a row, fewer than a block; the other lanes are 0, and not selected.
template <class V, int Channels, class S>
inline V load_last_pixels(const S* p, int n) {
  if (n < 1 || n >= V::lanes) __builtin_unreachable();
  S copy[V::lanes * Channels] = {};
  memcpy(copy, p, ((n - 1) * Channels + 1) * sizeof(S));
  return load_pixels<V, Channels>(copy);
}
template <class V>
inline auto selected_last(const Lum8u* mask, int n) {
  if (n < 1 || n >= V::lanes) __builtin_unreachable();
  Lum8u copy[V::lanes] = {};
  memcpy(copy, mask, n);
  return selected<V>(copy);
}

// ---- sums of single-precision values ----

// Two double accumulators.
struct Two {
  __m128d v;
};
inline Two operator+(Two a, Two b) { return {_mm_add_pd(a.v, b.v)}; }
inline __m128d both(Two a) { return _mm_add_sd(a.v, _mm_unpackhi_pd(a.v, a.v)); }
inline Lum64f sum(Two a) { return _mm_cvtsd_f64(both(a)); }
// The high half of the lanes goes onto the low one, and the four that are left are widened.
inline Two widened_sum(Eight a) {
  const __m128 four = _mm_add_ps(low_half(a), high_half(a));
  return Two{_mm_cvtps_pd(four)} + Two{_mm_cvtps_pd(_mm_movehl_ps(four, four))};
}
// Rounded to single precision. GCC 12 drops the cast of a double to single and back where it does so to two at once.
inline Lum32f single_sum(Two a) { return _mm_cvtss_f32(_mm_cvtsd_ss(_mm_setzero_ps(), both(a))); }

// A sum in single precision, lane by lane, of values that come in rows: eight lanes for the 8-wide part of a row, value x
// in lane x mod 8, four for the 4-wide part behind it, one for the last values, fewer than four. The lanes are those of
// the result, not of a register: every level adds the same values in the same order.
class LaneSum {
 public:
  void add(Eight v) { eight_ = eight_ + v; }
  // The last n values of a row, fewer than eight.
  void add_last(Eight v, int n) {
    Lum32f e[Eight::lanes];
    store(e, v);
    if (n >= 4) four_ = _mm_add_ps(four_, low_half(v));
    for (int x = n & 4; x < n; ++x) one_ += e[x];
  }
  // In single precision the high half of the eight lanes goes onto the low one, then the four lanes onto those, the
  // upper two onto the lower two, and the last lane onto the first. The two that remain are widened.
  Two fold() const {
    const __m128 four = _mm_add_ps(_mm_add_ps(low_half(eight_), high_half(eight_)), four_);
    const __m128 two = _mm_add_ps(four, _mm_movehl_ps(four, four));
    return {_mm_cvtps_pd(_mm_add_ss(two, _mm_set_ss(one_)))};
  }

 private:
  Eight eight_ = {};
  __m128 four_ = _mm_setzero_ps();
  Lum32f one_ = 0;
};

}  // namespace lum::LUM_LEVEL
