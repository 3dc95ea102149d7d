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

// ---- sums ----

// Rows are taken in runs of at most `pixels`. A Run takes blocks of as many values as V has lanes, the last one of a row
// filled up with zeros; pixels that the mask leaves out come as zeros too. Runs are joined from top to bottom and from
// left to right.

// Bytes, exactly. Signed ones are summed as b = value + 128, so that a filled up or left out lane counts 128. Where there
// are no products of bytes, it is b that is squared.
template <class What, class S>
class ByteSums {
  static constexpr bool kSigned = std::is_same_v<S, Lum8s>, kSquaresValues = kSigned && kMultipliesBytes;

 public:
  using V = U8;
  static constexpr int pixels = V::lanes * 255;  // sums of squares are below 2^26
  struct Run {
    I64 values = {};
    I32 squares = {};
    LUM_INLINE void add(V v) {
      const V b = kSigned ? v ^ splat(Lum8u(0x80)) : v;
      values = values + neighbour_sums(b);
      if constexpr (kSquares<What>)
        squares = squares + (kSquaresValues ? small_square_sums(signed_magnitude(v)) : square_sums(b));
    }
    LUM_INLINE void add_last(V v, int) { add(v); }
  };
  LUM_INLINE void join(const Run& run, int n) {
    lanes_ += lanes_of<V>(n);
    values_ = values_ + run.values;
    squares_ = squares_ + neighbour_sums(run.squares);
  }
  Sums total() const {
    const long long b = sum(values_), squares = sum(squares_);
    if constexpr (!kSigned) return {Lum64f(b), Lum64f(squares), 0};
    const long long of_values = kSquaresValues ? squares : squares - 256 * b + 16384 * lanes_;
    return {Lum64f(b - 128 * lanes_), Lum64f(of_values), 0};
  }

 private:
  I64 values_ = {}, squares_ = {};
  long long lanes_ = 0;
};

// Words. The sums of a run are below 2^49, so double precision holds them exactly, whatever their order; the runs are
// added in double precision. So all of the sum of values is exact (any 2^31 pixels stay below 2^47), and that of squares
// up to 2^53, which takes more than 2^21 pixels to pass; from there the order of the runs counts. Pairs of products take
// signed factors: s = value - 32768, value^2 = s^2 + 65536 value - 2^30.
template <class What>
class WordSums {
 public:
  using V = U16;
  static constexpr int pixels = 1 << 17;  // 2^14 blocks or fewer
  struct Run {
    I32 values = {};                           // below 2^30
    I32 squares = {}, squares_by_131072 = {};  // modulo 2^32; below 2^29, and up to one a block too high
    LUM_INLINE void add(V v) {
      const I32 two = add_values(v);
      if constexpr (kSquares<What>) add_squares(two, two, I32{});
    }
    LUM_INLINE void add_two(V v, V w) {
      const I32 a = add_values(v), b = add_values(w);
      if constexpr (kSquares<What>) add_squares(a + b, a, b);
    }
    LUM_INLINE void add_last(V v, int) { add(v); }

   private:
    // Returns sums of two squares, up to 2^31.
    LUM_INLINE I32 add_values(V v) {
      const I16 s = {(v ^ splat(Lum16u(0x8000))).v};
      values = values + multiply_pairs(s, pair(1, 1));
      return multiply_pairs(s, as_i32(s));
    }
    LUM_INLINE void add_squares(I32 sums, I32 a, I32 b) {
      squares = squares + sums;
      squares_by_131072 = squares_by_131072 + average_of_upper_words(a, b);
    }
  };
  LUM_INLINE void join(const Run& run, int n) {
    const long long lanes = lanes_of<V>(n), values = sum(run.values) + (lanes << 15);
    values_ += Lum64f(values);
    if constexpr (kSquares<What>) {
      // What that is off by is from -2^30 to 2^30 in each lane: the sum modulo 2^32 tells it.
      const I32 high = shift_left<17>(run.squares_by_131072);
      const long long squares = (sum(run.squares_by_131072) << 17) + sum(run.squares - high);
      squares_ += Lum64f(squares + 65536 * values - (lanes << 30));
    }
  }
  Sums total() const { return {values_, squares_, 0}; }

 private:
  Lum64f values_ = 0, squares_ = 0;
};

// Single precision; how a row is folded stands at LaneSum.
template <class What>
class FloatSums {
 public:
  using V = Eight;
  static constexpr int pixels = INT_MAX;
  struct Run {
    LaneSum values, squares;
    LUM_INLINE void add(V v) {
      values.add(v);
      if constexpr (kSquares<What>) squares.add(v * v);
    }
    LUM_INLINE void add_last(V v, int n) {
      values.add_last(v, n);
      if constexpr (kSquares<What>) squares.add_last(v * v, n);
    }
  };
  LUM_INLINE void join(const Run& run, int) {
    values_ = values_ + run.values.fold();
    if constexpr (kSquares<What>) squares_ = squares_ + run.squares.fold();
  }
  Sums total() const { return {sum(values_), sum(squares_), 0}; }

 private:
  Two values_ = {}, squares_ = {};
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

// ---- selected pixels ----

// A lane that is selected counts -1.
template <class V>
class Count {
 public:
  LUM_INLINE void add(V mask) { run_ = run_ - mask; }
  LUM_INLINE void end_run() {
    if constexpr (std::is_same_v<V, U8>)
      count_ = count_ + neighbour_sums(run_);
    else
      count_ = count_ + neighbour_sums(neighbour_sums(run_));
    run_ = V{};
  }
  long long total() const { return sum(count_); }

 private:
  V run_ = {};
  I64 count_ = {};
};
template <>
class Count<Eight> {
 public:
  LUM_INLINE void add(Eight mask) { count_ = count_ + lanes(mask); }
  LUM_INLINE void end_run() {}
  long long total() const { return -sum(count_); }

 private:
  I32 count_ = {};
};

// ---- bands ----

template <class What, class S, int Channels, bool Masked>
class Summing {
 public:
  using All = typename SumsOf<What, S>::type;
  using V = typename All::V;
  using Run = typename All::Run;

  Summing(const Pixels& band, Lum32f mean) : band_(band), mean_(mean) {}

  LUM_INLINE void add_row(int y) {
    for (int x = 0, n = band_.size.width; x < n;) {
      const int begin = x, end = n - x > All::pixels ? x + All::pixels : n;
      Run run;
      add_run(run, y, begin, end);
      all_.join(run, end - begin);
      count_.end_run();
      x = end;
    }
  }
  // Two of floats at a time: each addition in a lane waits for the one before. The processor follows one stream through
  // memory by itself, not two that leap over each other, so the next two rows are asked for early.
  LUM_INLINE void add_two_rows(int y) {
    Run first, second;
    const int n = band_.size.width, blocks = n / V::lanes * V::lanes;
    const int ahead = y + 3 < band_.size.height ? 2 : 0;
    for (int x = 0; x < blocks; x += V::lanes) {
      __builtin_prefetch(pixel(y + ahead, x));
      __builtin_prefetch(pixel(y + ahead + 1, x));
      add_block(first, y, x);
      add_block(second, y + 1, x);
    }
    add_last(first, y, blocks, n);
    add_last(second, y + 1, blocks, n);
    all_.join(first, n);
    all_.join(second, n);
  }
  // All rows as one run.
  void add_whole() {
    Run run;
    for (int y = 0; y < band_.size.height; ++y) add_run(run, y, 0, band_.size.width);
    all_.join(run, 0);
  }
  Sums total() const {
    Sums sums = all_.total();
    if (Masked) sums.pixels = count_.total();
    return sums;
  }

 private:
  LUM_INLINE V value(V v) const {
    if constexpr (!std::is_same_v<What, SquaredDistances>)
      return v;
    else
      return (v - eight(mean_)) * (v - eight(mean_));
  }
  LUM_INLINE V chosen(V v, V mask) {
    count_.add(mask);
    return v & mask;
  }
  LUM_INLINE const S* pixel(int y, int x) const { return (const S*)band_.src.row(y) + x * Channels; }
  LUM_INLINE V block(int y, int x) {
    const V v = value(load_pixels<V, Channels>(pixel(y, x)));
    if constexpr (Masked)
      return chosen(v, selected<V>(band_.mask.row(y) + x));
    else
      return v;
  }
  LUM_INLINE void add_block(Run& run, int y, int x) { run.add(block(y, x)); }
  LUM_INLINE void add_two_blocks(Run& run, int y, int x) {
    if constexpr (requires(V v) { run.add_two(v, v); }) {
      const V first = block(y, x);
      run.add_two(first, block(y, x + V::lanes));
    } else {
      add_block(run, y, x);
      add_block(run, y, x + V::lanes);
    }
  }
  // The pixels that are left of a row, fewer than a block.
  LUM_INLINE void add_last(Run& run, int y, int x, int end) {
    if (x == end) return;
    const V v = value(load_last_pixels<V, Channels>(pixel(y, x), end - x));
    if constexpr (Masked)
      run.add_last(chosen(v, selected_last<V>(band_.mask.row(y) + x, end - x)), end - x);
    else
      run.add_last(v, end - x);
  }
  LUM_INLINE void add_run(Run& run, int y, int x, int end) {
    for (; x <= end - 2 * V::lanes; x += 2 * V::lanes) add_two_blocks(run, y, x);
    if (x <= end - V::lanes) {
      add_block(run, y, x);
      x += V::lanes;
    }
    add_last(run, y, x, end);
  }

  const Pixels band_;
  const Lum32f mean_;
  All all_;
  Count<V> count_;
};

}  // namespace

template <class What, class S, int Channels, bool Masked>
Sums sums(const Pixels& band, const Summation& how) {
  Summing<What, S, Channels, Masked> sums(band, how.mean);
  const int height = band.size.height;
  int y = 0;
  if constexpr (std::is_same_v<S, Lum32f>) {
    if (how.whole) {
      sums.add_whole();
      return sums.total();
    }
    for (; y <= height - 2; y += 2) sums.add_two_rows(y);
  }
  for (; y < height; ++y) sums.add_row(y);
  return sums.total();
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
