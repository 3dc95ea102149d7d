// Compiled once per level.
#include "lumcvnorm_kernels.h"

#include <limits.h>

#include "core/pixels.h"

namespace lum::LUM_LEVEL {
namespace {

// ---- the value of a pixel ----

template <class S, class V>
LUM_INLINE V magnitude(V a) {
  if constexpr (std::is_same_v<S, Lum8s>)
    return signed_magnitude(a);
  else if constexpr (std::is_same_v<S, Lum32f>)
    return absolute(a);
  else
    return a;
}
template <class S, class V>
LUM_INLINE V difference(V a, V b) {
  if constexpr (std::is_same_v<V, Eight>)
    return absolute(a - b);
  else if constexpr (std::is_same_v<S, Lum8s>)
    return signed_difference(a, b);
  else
    return absolute_difference(a, b);
}

// ---- what becomes of the values ----

// Each takes the values of a row in runs: blocks of as many as Vector has lanes, at the end of a row of n. Values that
// the mask leaves out are 0.

// A maximum. NaN never is one.
template <class V, class Element>
class Largest {
 public:
  using Vector = V;
  static constexpr int run = INT_MAX;
  LUM_INLINE void add(V v, int) { largest_ = max(v, largest_); }
  LUM_INLINE void end_run() {}
  LUM_INLINE Lum64f total() const {
    Element lanes[V::lanes], most = 0;
    store(lanes, largest_);
    for (const Element lane : lanes) most = lane > most ? lane : most;
    return most;
  }

 private:
  V largest_ = {};
};

// The sum of bytes in 32 bits, which may wrap; what the signed integer says then is the result.
class ByteSum {
 public:
  using Vector = U8;
  static constexpr int run = INT_MAX;
  LUM_INLINE void add(U8 v, int) { sum_ = sum_ + neighbour_sums(v); }
  LUM_INLINE void end_run() {}
  LUM_INLINE Lum64f total() const { return Lum32s(sum(sum_)); }

 private:
  I64 sum_ = {};
};

// Exact sums: of the squares of bytes; of words, since the sum of 256 of them is below 2^24 and passes through single
// precision unchanged.
template <class V, I32 partial_sums(V)>
class IntegerSum {
 public:
  using Vector = V;
  static constexpr int run = V::lanes << 14;  // partial sums are below 2^18: they fit 32 bits
  LUM_INLINE void add(V v, int) { run_ = run_ + partial_sums(v); }
  LUM_INLINE void end_run() {
    sum_ = sum_ + neighbour_sums(run_);
    run_ = I32{};
  }
  LUM_INLINE Lum64f total() const { return Lum64f(sum(sum_)); }

 private:
  I32 run_ = {};
  I64 sum_ = {};
};

// The sum of the squares of words, which have more digits than single precision. Each is rounded to it; runs of a row are
// summed in sixteen lanes, pixel x in lane x mod 16. At the end of a run each odd lane goes onto the even one before it,
// the upper four of those eight onto the lower four, and these are added in double.
class WordSquares {
 public:
  using Vector = Sixteen;
  static constexpr int run = 512;
  LUM_INLINE void add(Sixteen v, int) {
    const Eight even = even_words(v), odd = odd_words(v);
    even_ = even_ + even * even;
    odd_ = odd_ + odd * odd;
  }
  LUM_INLINE void end_run() {
    sum_ = sum_ + widened_sum(even_ + odd_);
    even_ = odd_ = Eight{};
  }
  LUM_INLINE Lum64f total() const { return sum(sum_); }

 private:
  Eight even_ = {}, odd_ = {};
  Two sum_ = {};
};

// Sums of single-precision values or their squares: rows in single precision, added in double, the total rounded.
template <class Norm>
class FloatSum {
 public:
  using Vector = Eight;
  static constexpr int run = INT_MAX;
  LUM_INLINE void add(Eight v, int n) {
    if constexpr (Norm::root) v = v * v;
    n == Eight::lanes ? run_.add(v) : run_.add_last(v, n);
  }
  LUM_INLINE void end_run() {
    sum_ = sum_ + run_.fold();
    run_ = LaneSum{};
  }
  LUM_INLINE Lum64f total() const { return single_sum(sum_); }

 private:
  LaneSum run_;
  Two sum_ = {};
};

// Of differences, or of values themselves.
template <class Norm, class S, bool Differences>
struct SumOf {
  using type = FloatSum<Norm>;
};
template <bool Differences>
struct SumOf<Inf, Lum32f, Differences> {
  using type = Largest<Eight, Lum32f>;
};
template <bool Differences>
struct SumOf<Inf, Lum16u, Differences> {
  using type = Largest<U16, Lum16u>;
};
template <bool Differences>
struct SumOf<L1, Lum16u, Differences> {
  using type = IntegerSum<U16, neighbour_sums>;
};
template <bool Differences>
struct SumOf<L2, Lum16u, Differences> {
  using type = WordSquares;
};
template <bool Differences>
struct SumOf<Inf, Lum8u, Differences> {
  using type = Largest<U8, Lum8u>;
};
template <bool Differences>
struct SumOf<L1, Lum8u, Differences> {
  using type = ByteSum;
};
template <bool Differences>
struct SumOf<L2, Lum8u, Differences> {
  using type = IntegerSum<U8, square_sums>;
};
template <class Norm, bool Differences>
struct SumOf<Norm, Lum8s, Differences> : SumOf<Norm, Lum8u, Differences> {};  // magnitudes and differences are unsigned
template <>
struct SumOf<L2, Lum8s, false> {
  using type = IntegerSum<U8, small_square_sums>;
};

// ---- bands ----

template <class Measured, class Norm, class S>
struct Sums {
  using Sum = typename SumOf<Norm, S, Measured::two_images>::type;
  using V = typename Sum::Vector;

  // A block of n pixels of one or two images.
  LUM_INLINE void add(V a, V b, auto selected, int n) {
    if constexpr (Measured::two_images)
      first.add(difference<S>(a, b) & selected, n);
    else
      first.add(magnitude<S>(a) & selected, n);
    if constexpr (Measured::relative) second.add(magnitude<S>(b) & selected, n);
  }
  LUM_INLINE void end_run() {
    first.end_run();
    second.end_run();
  }

  Sum first;
  typename SumOf<Norm, S, false>::type second;  // of the second image
};

}  // namespace

template <class Measured, class Norm, class S, int Channels>
void norm(const Pixels& band, Lum64f* results) {
  using All = Sums<Measured, Norm, S>;
  using V = typename All::V;
  All sums;
  for (int y = 0; y < band.size.height; ++y) {
    const S* const a = (const S*)band.src.row(y);
    const S* const b = Measured::two_images ? (const S*)band.src2.row(y) : a;
    const Lum8u* const mask = band.mask.row(y);
    for (int x = 0, n = band.size.width; x < n;) {
      const int end = n - x > All::Sum::run ? x + All::Sum::run : n;
      for (; x <= end - V::lanes; x += V::lanes)
        sums.add(load_pixels<V, Channels>(a + x * Channels), load_pixels<V, Channels>(b + x * Channels),
                 selected<V>(mask + x), V::lanes);
      if (x < end)
        sums.add(load_last_pixels<V, Channels>(a + x * Channels, end - x),
                 load_last_pixels<V, Channels>(b + x * Channels, end - x), selected_last<V>(mask + x, end - x),
                 end - x);
      x = end;
      sums.end_run();
    }
  }
  results[0] = sums.first.total();
  if constexpr (Measured::relative) results[1] = sums.second.total();
}

#define LUM_NORM_KERNEL(Measured, Norm, S, Channels) \
  template void norm<Measured, Norm, S, Channels>(const Pixels&, Lum64f*);
#define LUM_NORM_C1(name, S, Norm, exponent) LUM_NORM_KERNEL(OneImage, Norm, S, 1)
#define LUM_NORM_C3C(name, S, Norm, exponent) LUM_NORM_KERNEL(OneImage, Norm, S, 3)
#define LUM_NORM_DIFF_C1(name, S, Norm, exponent) LUM_NORM_KERNEL(Difference, Norm, S, 1)
#define LUM_NORM_DIFF_C3C(name, S, Norm, exponent) LUM_NORM_KERNEL(Difference, Norm, S, 3)
#define LUM_NORM_REL_C1(name, S, Norm, exponent) LUM_NORM_KERNEL(Relative, Norm, S, 1)
#define LUM_NORM_REL_C3C(name, S, Norm, exponent) LUM_NORM_KERNEL(Relative, Norm, S, 3)
#include "lumcvnorm.inc"

}  // namespace lum::LUM_LEVEL
