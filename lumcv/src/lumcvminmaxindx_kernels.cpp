// Compiled once per level.
#include "lumcvminmaxindx_kernels.h"

#include <math.h>

#include <type_traits>

#include "core/pixels.h"

namespace lum::LUM_LEVEL {
namespace {

// ---- vectors ----

#ifdef __AVX2__
inline U8 or_not(U8 a, U8 b) { return {_mm256_or_si256(a.v, ~b.v)}; }
inline U16 or_not(U16 a, U16 b) { return {_mm256_or_si256(a.v, ~b.v)}; }
inline Eight operator|(Eight a, Eight b) { return {_mm256_or_ps(a.v, b.v)}; }
inline Eight operator~(Eight a) { return {_mm256_castsi256_ps(~_mm256_castps_si256(a.v))}; }
inline bool any_bit(__m256i a) { return !_mm256_testz_si256(a, a); }
// Whether a > b in any lane.
inline bool any_above(U8 a, U8 b) { return any_bit(_mm256_subs_epu8(a.v, b.v)); }
inline bool any_above(U16 a, U16 b) { return any_bit(_mm256_subs_epu16(a.v, b.v)); }
inline Eight above(Eight a, Eight b) { return {_mm256_cmp_ps(a.v, b.v, _CMP_GT_OQ)}; }
inline U16 equal(U16 a, U16 b) { return {_mm256_cmpeq_epi16(a.v, b.v)}; }
inline Eight equal(Eight a, Eight b) { return {_mm256_cmp_ps(a.v, b.v, _CMP_EQ_OQ)}; }
#else
inline U8 or_not(U8 a, U8 b) { return {_mm_or_si128(a.v, ~b.v)}; }
inline U16 or_not(U16 a, U16 b) { return {_mm_or_si128(a.v, ~b.v)}; }
inline F32 operator|(F32 a, F32 b) { return {_mm_or_ps(a.v, b.v)}; }
inline F32 operator~(F32 a) { return {_mm_castsi128_ps(~_mm_castps_si128(a.v))}; }
inline Eight operator|(Eight a, Eight b) { return {a.low | b.low, a.high | b.high}; }
inline Eight operator~(Eight a) { return {~a.low, ~a.high}; }
inline bool any_bit(__m128i a) { return _mm_movemask_epi8(_mm_cmpeq_epi8(a, _mm_setzero_si128())) != 0xFFFF; }
inline bool any_above(U8 a, U8 b) { return any_bit(_mm_subs_epu8(a.v, b.v)); }
inline bool any_above(U16 a, U16 b) { return any_bit(_mm_subs_epu16(a.v, b.v)); }
inline Eight above(Eight a, Eight b) { return {{_mm_cmpgt_ps(a.low.v, b.low.v)}, {_mm_cmpgt_ps(a.high.v, b.high.v)}}; }
inline U16 equal(U16 a, U16 b) { return {_mm_cmpeq_epi16(a.v, b.v)}; }
inline Eight equal(Eight a, Eight b) { return {{_mm_cmpeq_ps(a.low.v, b.low.v)}, {_mm_cmpeq_ps(a.high.v, b.high.v)}}; }
#endif
// The least and the greatest of lanes that are turned, in their order: SSE3 has those of words for signed ones only.
inline U8 turned(U8 a) { return a; }
inline U8 least(U8 a, U8 b) { return min(a, b); }
inline U8 greatest(U8 a, U8 b) { return max(a, b); }
#ifdef __AVX2__
inline U16 turned(U16 a) { return a; }
inline U16 least(U16 a, U16 b) { return min(a, b); }
inline U16 greatest(U16 a, U16 b) { return max(a, b); }
#else
inline U16 turned(U16 a) { return a ^ splat(Lum16u(0x8000)); }
inline U16 least(U16 a, U16 b) { return {_mm_min_epi16(a.v, b.v)}; }
inline U16 greatest(U16 a, U16 b) { return {_mm_max_epi16(a.v, b.v)}; }
#endif
inline bool any_sign(Eight a) { return _mm_movemask_ps(_mm_or_ps(low_half(a), high_half(a))) != 0; }
inline bool any_above(Eight a, Eight b) { return any_sign(above(a, b)); }
inline bool any(U8 lanes) { return any_bit(lanes.v); }
inline bool any(U16 lanes) { return any_bit(lanes.v); }
inline bool any(Eight lanes) { return any_sign(lanes); }

inline U8 all_lanes(Lum8u a) { return splat(a); }
inline U16 all_lanes(Lum16u a) { return splat(a); }
inline Eight all_lanes(Lum32f a) { return eight(a); }

// How elements lie in lanes, in the order of unsigned numbers: signed bytes with the sign bit flipped.
template <class S>
struct Lanes {
  using Lane = S;
  using V = decltype(all_lanes(S()));
  LUM_INLINE static V ordered(V v) { return v; }
  LUM_INLINE static Lum32f value(Lane lane) { return lane; }
};
template <>
struct Lanes<Lum8s> {
  using Lane = Lum8u;
  using V = U8;
  LUM_INLINE static V ordered(V v) { return v ^ splat(Lum8u(0x80)); }
  LUM_INLINE static Lum32f value(Lane lane) { return Lum8s(lane ^ 0x80); }
};
template <class S>
constexpr bool kFloat = sizeof(S) == sizeof(Lum32f);

// ---- rows ----

// The least and the greatest value of each lane; low > high where it has met none.
template <class S>
struct Range {
  using Lane = typename Lanes<S>::Lane;
  using V = typename Lanes<S>::V;
  static constexpr Lane kTop = kFloat<S> ? Lane(INFINITY) : Lane(-1), kBottom = kFloat<S> ? Lane(-INFINITY) : Lane(0);

  V low = all_lanes(kTop), high = all_lanes(kBottom);
  V chosen = all_lanes(Lane(0));  // by the mask; kept for floats, of which all may be NaN

  LUM_INLINE void add(V v) {
    if constexpr (kFloat<S>) {
      low = min(v, low);  // the second operand where one is NaN: that changes nothing
      high = max(v, high);
    } else {
      v = turned(renewed(v));  // renewed: else it is loaded twice, to be overwritten, instead of low and high
      low = renewed(least(low, v));
      high = renewed(greatest(high, v));
    }
  }
  // To be called before the first of such blocks and after the last one.
  LUM_INLINE void turn() {
    if constexpr (!kFloat<S>) {
      low = turned(low);
      high = turned(high);
    }
  }
  LUM_INLINE void add(V v, V mask) {
    if constexpr (kFloat<S>) {
      add(v | ~mask);  // all bits set is NaN
      chosen = chosen | mask;
    } else {
      low = min(or_not(v, mask), low);
      high = max(v & mask, high);
    }
  }
  LUM_INLINE void add(const Range& other) {
    low = min(other.low, low);
    high = max(other.high, high);
    if constexpr (kFloat<S>) chosen = chosen | other.chosen;
  }
};

template <class S, int Channels, bool Masked>
LUM_INLINE void add_block(Range<S>& range, const S* p, const Lum8u* mask) {
  using V = typename Lanes<S>::V;
  const V v = Lanes<S>::ordered(load_pixels<V, Channels>(p));
  if constexpr (Masked)
    range.add(v, selected<V>(mask));
  else
    range.add(v);
}

template <class S, int Channels, bool Masked>
LUM_INLINE Range<S> range_of_row(const S* p, const Lum8u* mask, int n) {
  using V = typename Lanes<S>::V;
  Range<S> range;
  if (n < V::lanes) {
    Lum8u first[V::lanes] = {};
    memset(first, 1, n);
    range.add(Lanes<S>::ordered(load_last_pixels<V, Channels>(p, n)),
              Masked ? selected_last<V>(mask, n) : selected<V>(first));
    return range;
  }
  if (!Masked) range.turn();
  Range<S> odd = range;
  int x = 0;
  for (; x <= n - 2 * V::lanes; x += 2 * V::lanes) {
    add_block<S, Channels, Masked>(range, p + x * Channels, mask + x);
    add_block<S, Channels, Masked>(odd, p + (x + V::lanes) * Channels, mask + x + V::lanes);
  }
  if (x <= n - V::lanes) add_block<S, Channels, Masked>(range, p + x * Channels, mask + x);
  // Pixels that come twice do no harm.
  if (n % V::lanes != 0) add_block<S, Channels, Masked>(range, p + (n - V::lanes) * Channels, mask + n - V::lanes);
  if (!Masked) range.turn(), odd.turn();
  range.add(odd);
  return range;
}

template <class Lane, class V>
Lane lowest(V v) {
  Lane lanes[V::lanes];
  store(lanes, v);
  Lane least = lanes[0];
  for (const Lane lane : lanes) least = lane < least ? lane : least;
  return least;
}
template <class Lane, class V>
Lane highest(V v) {
  Lane lanes[V::lanes];
  store(lanes, v);
  Lane greatest = lanes[0];
  for (const Lane lane : lanes) greatest = lane > greatest ? lane : greatest;
  return greatest;
}

}  // namespace

template <class S, int Channels, bool Masked>
Extremes extremes(const Pixels& band) {
  using Lane = typename Lanes<S>::Lane;
  Extremes e = {};
  bool number = false;  // met
  Range<S> best;
  for (int y = 0; y < band.size.height; ++y) {
    const S* const p = (const S*)band.src.row(y);
    const Lum8u* const mask = Masked ? band.mask.row(y) : (const Lum8u*)p;  // not read without one
    const Range<S> row = range_of_row<S, Channels, Masked>(p, mask, band.size.width);
    // Most rows bring nothing new.
    if (number && !any_above(best.low, row.low) && !any_above(row.high, best.high)) continue;
    const Lane low = lowest<Lane>(row.low), high = highest<Lane>(row.high);
    if (!(low <= high)) {
      if constexpr (kFloat<S>)
        if (!e.seen && (!Masked || any_sign(row.chosen))) e = {true, NAN, NAN, y, y};
      continue;
    }
    const Lum32f min = Lanes<S>::value(low), max = Lanes<S>::value(high);
    if (!number || min < e.min) e.min = min, e.min_row = y, best.low = all_lanes(low);
    if (!number || max > e.max) e.max = max, e.max_row = y, best.high = all_lanes(high);
    e.seen = number = true;
  }
  return e;
}

template <class S, int Channels, bool Masked>
int first_of_row(const Pixels& pixels, int y, Lum32f value) {
  using V = typename Lanes<S>::V;
  const S* const p = (const S*)pixels.src.row(y);
  const Lum8u* const mask = Masked ? pixels.mask.row(y) : (const Lum8u*)p;  // not read without one
  const int n = pixels.size.width;
  int x = 0;
  if (value == value) {
    const V all = all_lanes(typename Lanes<S>::Lane(S(value)));
    for (; x <= n - V::lanes; x += V::lanes) {
      V found = equal(load_pixels<V, Channels>(p + (ptrdiff_t)x * Channels), all);
      if constexpr (Masked) found = found & selected<V>(mask + x);
      if (any(found)) break;
    }
  }
  const auto is_one = [&](int at) {
    const Lum32f v = get(p + (ptrdiff_t)at * Channels);
    return (!Masked || mask[at]) && (v == value || value != value);
  };
  while (x < n - 1 && !is_one(x)) ++x;
  return x;
}

#define LUM_EXTREMA_KERNELS(S, Channels, Masked)                       \
  template Extremes extremes<S, Channels, Masked>(const Pixels& band); \
  template int first_of_row<S, Channels, Masked>(const Pixels&, int, Lum32f);
#define LUM_EXTREMA_C1(name, S) LUM_EXTREMA_KERNELS(S, 1, false)
#define LUM_EXTREMA_C3C(name, S) LUM_EXTREMA_KERNELS(S, 3, false)
#define LUM_EXTREMA_MASKED_C1(name, S) LUM_EXTREMA_KERNELS(S, 1, true)
#define LUM_EXTREMA_MASKED_C3C(name, S) LUM_EXTREMA_KERNELS(S, 3, true)
#include "lumcvminmaxindx.inc"

}  // namespace lum::LUM_LEVEL
