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

// The destination may be a source. Its last vector overlaps the one before, so it is computed before anything is written.
template <class T, class Op>
LUM_INLINE void write_row(const T* a, const T* b, T* d, ptrdiff_t n, const Op& op) {
  using V = decltype(load_all(a));
  const ptrdiff_t behind = n - V::lanes;
  if (behind < 0) {
    T first_a[V::lanes] = {}, first_b[V::lanes] = {};
    memcpy(first_a, a, n * sizeof(T));
    memcpy(first_b, b, n * sizeof(T));
    return store_first(d, op(load_all(first_a), load_all(first_b)), int(n));
  }
  const V last = op(load_all(a + behind), load_all(b + behind));
  for (ptrdiff_t x = 0; x < behind; x += V::lanes) store(d + x, op(load_all(a + x), load_all(b + x)));
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
