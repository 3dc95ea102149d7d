// Compiled once per level.
#include "lumcvarithm_kernels.h"

#include "core/vec.h"

namespace lum::LUM_LEVEL {
namespace {

// What the functions compute of vectors of their sources. Thresholds use the first only, and the other is not loaded.
struct Difference {
  LUM_INLINE F32 operator()(F32 a, F32 b) const { return b - a; }
  LUM_INLINE U8 operator()(U8 a, U8 b) const { return subtract_saturated(b, a); }
};

// 1 to 8 bits, halves to even. A remainder of more than a half rounds up, one of a half where the quotient is odd.
struct DividedDifference {
  int bits;
  U8 rest = splat(Lum8u((1 << bits) - 1)), half = splat(Lum8u(1 << bits >> 1)), one = splat(Lum8u(1));
  LUM_INLINE U8 operator()(U8 a, U8 b) const {
    const U8 d = subtract_saturated(b, a), quotient = shift_right(d, bits);
    return quotient + min(subtract_saturated((d & rest) + (quotient & one), half), one);
  }
};

// 1 to 8 bits, saturated.
struct MultipliedDifference {
  int bits;
  U8 largest = splat(Lum8u(0xFF >> bits)), saturated = splat(Lum8u(0xFF));
  LUM_INLINE U8 operator()(U8 a, U8 b) const {
    const U8 d = subtract_saturated(b, a);
    return select(equal(min(d, largest), d), shift_left(d, bits), saturated);
  }
};

struct AtLeast {
  F32 limit;
  LUM_INLINE F32 operator()(F32 a, F32) const { return max(a, limit); }
};
struct AtMost {
  F32 limit;
  LUM_INLINE F32 operator()(F32 a, F32) const { return min(a, limit); }
};

struct ReplacedBelow {
  U8 threshold, value;
  LUM_INLINE U8 operator()(U8 a, U8) const { return select(equal(max(a, threshold), a), a, value); }
};
struct ReplacedAbove {
  U8 threshold, value;
  LUM_INLINE U8 operator()(U8 a, U8) const { return select(equal(min(a, threshold), a), a, value); }
};

template <class T, class Op>
LUM_INLINE auto compute(const T* a, const T* b, ptrdiff_t x, const Op& op) {
  return op(load_all(a + x), load_all(b + x));
}

// The destination may be a source: its last vector, which overlaps the one before, is computed before that is written.
template <class T, class Op>
LUM_INLINE void write_row(const T* a, const T* b, T* d, ptrdiff_t n, const Op& op) {
  using V = decltype(load_all(a));
  constexpr int step = V::lanes;
  const ptrdiff_t behind = n - step;
  if (behind < 0) {
    T first_a[step] = {}, first_b[step] = {};
    memcpy(first_a, a, n * sizeof(T));
    memcpy(first_b, b, n * sizeof(T));
    return store_first(d, compute(first_a, first_b, 0, op), int(n));
  }
  ptrdiff_t x = 0;
  for (; x <= behind - 2 * step; x += 2 * step) {
    const V v = compute(a, b, x, op), next = compute(a, b, x + step, op);
    store(d + x, v);
    store(d + x + step, next);
  }
  if (x <= behind - step) {
    store(d + x, compute(a, b, x, op));
    x += step;
  }
  const V last = compute(a, b, behind, op);
  if (x < behind) store(d + x, compute(a, b, x, op));
  store(d + behind, last);
}

template <class T, class Op>
LUM_INLINE void write_rows(const Planes<T>& planes, const Op op) {
  for (int y = 0; y < planes.height; ++y)
    write_row(planes.src1.row(y), planes.src2.row(y), planes.dst.row(y), planes.length, op);
}

}  // namespace

void subtract(const Planes<Lum32f>& planes) { write_rows(planes, Difference{}); }

void subtract_scaled(const Planes<Lum8u>& planes, int scale) {
  if (scale == 0) return write_rows(planes, Difference{});
  if (scale > 0) return write_rows(planes, DividedDifference{scale});
  write_rows(planes, MultipliedDifference{-scale});
}

void limit_below(const Planes<Lum32f>& planes, Lum32f limit) { write_rows(planes, AtLeast{f32(limit)}); }
void limit_above(const Planes<Lum32f>& planes, Lum32f limit) { write_rows(planes, AtMost{f32(limit)}); }

void replace_below(const Planes<Lum8u>& planes, Lum8u threshold, Lum8u value) {
  write_rows(planes, ReplacedBelow{splat(threshold), splat(value)});
}
void replace_above(const Planes<Lum8u>& planes, Lum8u threshold, Lum8u value) {
  write_rows(planes, ReplacedAbove{splat(threshold), splat(value)});
}

}  // namespace lum::LUM_LEVEL
