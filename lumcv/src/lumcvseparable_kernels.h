// Kernels of the separable passes: a band of rows in, nothing but data across the border of a level.
#pragma once
#include "core/level.h"
#include "core/parallel.h"

namespace lum {

// Element types of the taps and of the rows between the two passes.
template <class S>
struct Intermediate {
  using type = Lum16s;
};
template <>
struct Intermediate<Lum32f> {
  using type = Lum32f;
};
template <class S>
using Mid = typename Intermediate<S>::type;

// How an integer sum becomes an element; unused for floats. Where the divisor is 1, scaling changes nothing. Where all
// sums stay below 2^31 in magnitude, as floats too, they need no clamp before they become integers again.
struct Scale {
  Lum32f reciprocal = 1;
  bool unit = true;
  bool clamp = true;
  int shift = 0;  // of a divisor that is a power of two up to 1 << kMostShift
  // Of an odd divisor: 2 sum * odd_factor / 2^(16 + odd_shift) is off by less than its distance from the next half for
  // all sums up to kMostOddSum in magnitude; so is sum * near_factor / 2^15 for the sums of this pass.
  Lum16s odd_factor = 0;
  int odd_shift = 0;
  Lum16s near_factor = 0;
};
constexpr int kMostShift = 8;
constexpr int kMostOddSum = 16383;
constexpr int kMostSum = 32767 - (1 << kMostShift >> 1);  // with half a power of two it still fits 16 bits

constexpr int kMostByteTaps = 31, kMostNarrowTaps = 31, kMostNarrow = 16383;

template <class S>
struct RowPass {
  Image<const S> src;
  Mid<S>* const* dst;
  LumSize roi;
  const Mid<S>* kernel;
  int taps, anchor;
  LumBorderType border;
  S border_value;
  Scale scale;
  Rows columns;        // the columns that are made; the destination pointers name the first of them
  bool small = false;  // of 8u: up to kMostByteTaps taps, whose magnitudes add up to less than 128
  int narrow = 0;      // see ColumnPass
};

template <class S, class D>
struct ColumnPass {
  const S* const* src;
  Image<D> dst;
  int width, channels;
  const S* kernel;
  int taps;
  Scale scale;
  int exact;       // sums of elements up to this magnitude are exact in single precision: 32-bit integers give the same
  int narrow = 0;  // sums of elements up to this magnitude fit 16 bits; 0: not worth looking
};

// Bytes of one end of a row with its border, as the outputs there see it, and of a vector behind. Up to kRowStack the
// kernel has room itself.
template <class S, int C>
constexpr long long row_scratch(int taps) {
  return 2LL * (taps - 1) * C * (int)sizeof(S) + 32;
}
constexpr int kRowStack = 8192;

}  // namespace lum

// clang-format off
LUM_FOR_LEVELS(
  // scratch: row_scratch() bytes, used above kRowStack.
  template <class S, int C>
  void row_band(const RowPass<S>& pass, Rows rows, Lum8u* scratch);
  template <class S, class D>
  void column_band(const ColumnPass<S, D>& pass, Rows rows);
)
// clang-format on
