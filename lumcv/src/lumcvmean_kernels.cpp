// Compiled once per level.
#include "lumcvmean_kernels.h"

#include <limits.h>

#include <type_traits>

#include "core/pixels.h"

namespace lum::LUM_LEVEL {
namespace {

template <class What>
constexpr bool kSquares = std::is_same_v<What, ValuesAndSquares>;

// Of the blocks that n pixels fill.
template <class V>
constexpr int lanes_of(int n) {
  return (n + V::lanes - 1) / V::lanes * V::lanes;
}

// Each takes the values of a row in runs: blocks of as many as V has lanes, the last one of a row filled up with zeros.
// Pixels that the mask leaves out come as zeros too.

// Bytes, exactly. Signed ones are summed as b = value + 128, so that a filled up or left out lane counts 128.
template <class What, class S>
class ByteSums {
 public:
  using V = U8;
  static constexpr int run = V::lanes << 14;  // partial sums of squares are below 2^18: they fit 32 bits
  explicit ByteSums(const Summation&) {}
  LUM_INLINE void add(V v, int) {
    if constexpr (kSigned) v = v ^ splat(Lum8u(0x80));
    values_ = values_ + neighbour_sums(v);
    if constexpr (kSquares<What>) run_ = run_ + square_sums(v);
  }
  LUM_INLINE void end_run(int n) {
    lanes_ += lanes_of<V>(n);
    squares_ = squares_ + neighbour_sums(run_);
    run_ = I32{};
  }
  LUM_INLINE Sums total() const {
    const long long b = sum(values_), squares = sum(squares_);
    if constexpr (kSigned) return {Lum64f(b - 128 * lanes_), Lum64f(squares - 256 * b + 16384 * lanes_), 0};
    return {Lum64f(b), Lum64f(squares), 0};
  }

 private:
  static constexpr bool kSigned = std::is_same_v<S, Lum8s>;
  I64 values_ = {}, squares_ = {};
  I32 run_ = {};
  long long lanes_ = 0;
};

// Words. The sums of a run are below 2^49, so double precision holds them exactly, whatever their order; the runs are
// added in double precision from top to bottom and from left to right. Pairs of products take signed factors:
// s = value - 32768, value^2 = s^2 + 65536 value - 2^30.
template <class What>
class WordSums {
 public:
  using V = U16;
  static constexpr int run = 1 << 17;  // pairs of |s| are at most 2^16: their sums fit 32 bits, eight lanes to a vector
  explicit WordSums(const Summation&) {}
  LUM_INLINE void add(V v, int) {
    const I16 s = {(v ^ splat(Lum16u(0x8000))).v};
    run_ = run_ + multiply_pairs(s, pair(1, 1));
    if constexpr (kSquares<What>) squares_run_ = squares_run_ + neighbour_sums(multiply_pairs(s, as_i32(s)));
  }
  LUM_INLINE void end_run(int n) {
    const long long lanes = lanes_of<V>(n), values = sum(run_) + (lanes << 15);
    values_ += Lum64f(values);
    if constexpr (kSquares<What>) squares_ += Lum64f(sum(squares_run_) + 65536 * values - (lanes << 30));
    run_ = I32{};
    squares_run_ = I64{};
  }
  LUM_INLINE Sums total() const { return {values_, squares_, 0}; }

 private:
  Lum64f values_ = 0, squares_ = 0;
  I32 run_ = {};
  I64 squares_run_ = {};
};

// Single precision: each row in lanes of its own, the rows added in double precision; or all rows in the same lanes.
template <class What>
class FloatSums {
 public:
  using V = Eight;
  static constexpr int run = INT_MAX;
  explicit FloatSums(const Summation& how) : whole_(how.whole) {}
  LUM_INLINE void add(V v, int n) {
    add_to(run_, v, n);
    if constexpr (kSquares<What>) add_to(squares_run_, v * v, n);
  }
  LUM_INLINE void end_run(int) {
    if (!whole_) fold();
  }
  LUM_INLINE Sums total() {
    if (whole_) fold();
    return {sum(values_), sum(squares_), 0};
  }

 private:
  LUM_INLINE static void add_to(LaneSum& to, V v, int n) { n == V::lanes ? to.add(v) : to.add_last(v, n); }
  LUM_INLINE void fold() {
    values_ = values_ + run_.fold();
    if constexpr (kSquares<What>) squares_ = squares_ + squares_run_.fold();
    run_ = squares_run_ = LaneSum{};
  }

  LaneSum run_, squares_run_;
  Two values_ = {}, squares_ = {};
  bool whole_;
};

template <class What, class S>
struct SumsOf {
  using type = ByteSums<What, S>;
};
template <class What>
struct SumsOf<What, Lum16u> {
  using type = WordSums<What>;
};
template <class What>
struct SumsOf<What, Lum32f> {
  using type = FloatSums<What>;
};

template <bool Masked>
long long selected_pixels(const Lum8u* mask, int n) {
  if (!Masked) return 0;
  I64 count = {};
  const auto add = [&](U8 bytes) { count = count + neighbour_sums(min(bytes, splat(Lum8u(1)))); };
  int x = 0;
  for (; x <= n - U8::lanes; x += U8::lanes) add(load_all(mask + x));
  if (x < n) add(load_last_pixels<U8, 1>(mask + x, n - x));
  return sum(count);
}

}  // namespace

template <class What, class S, int Channels, bool Masked>
Sums sums(const Pixels& band, const Summation& how) {
  using All = typename SumsOf<What, S>::type;
  using V = typename All::V;
  All all(how);
  long long pixels = 0;
  for (int y = 0; y < band.size.height; ++y) {
    const S* const row = (const S*)band.src.row(y);
    const Lum8u* const mask = Masked ? band.mask.row(y) : nullptr;
    const auto value = [&](V v) {
      if constexpr (!std::is_same_v<What, SquaredDistances>)
        return v;
      else
        return (v - eight(how.mean)) * (v - eight(how.mean));
    };
    for (int x = 0, n = band.size.width; x < n;) {
      const int begin = x, end = n - x > All::run ? x + All::run : n;
      for (; x <= end - V::lanes; x += V::lanes) {
        const V v = value(load_pixels<V, Channels>(row + x * Channels));
        all.add(Masked ? v & selected<V>(mask + x) : v, V::lanes);
      }
      if (x < end) {
        const V v = value(load_last_pixels<V, Channels>(row + x * Channels, end - x));
        all.add(Masked ? v & selected_last<V>(mask + x, end - x) : v, end - x);
      }
      all.end_run(end - begin);
      x = end;
    }
    pixels += selected_pixels<Masked>(mask, band.size.width);
  }
  Sums sums = all.total();
  sums.pixels = pixels;
  return sums;
}

#define LUM_SUMS(What, S, Channels, Masked) \
  template Sums sums<What, S, Channels, Masked>(const Pixels&, const Summation&);
#define LUM_MEAN_C1(name, S, exponent) LUM_SUMS(Values, S, 1, true)
#define LUM_MEAN_C3C(name, S, exponent) LUM_SUMS(Values, S, 3, true)
#define LUM_DEVIATION_C1(name, S, exponent) LUM_SUMS(ValuesAndSquares, S, 1, false)
#define LUM_DEVIATION_C3C(name, S, exponent) LUM_SUMS(ValuesAndSquares, S, 3, false)
#define LUM_DEVIATION_MASKED_C1(name, S, exponent) LUM_SUMS(ValuesAndSquares, S, 1, true)
#define LUM_DEVIATION_MASKED_C3C(name, S, exponent) LUM_SUMS(ValuesAndSquares, S, 3, true)
#include "lumcvmean.inc"
LUM_SUMS(SquaredDistances, Lum32f, 1, false)
LUM_SUMS(SquaredDistances, Lum32f, 3, false)
LUM_SUMS(SquaredDistances, Lum32f, 1, true)
LUM_SUMS(SquaredDistances, Lum32f, 3, true)

}  // namespace lum::LUM_LEVEL
