// Compiled once per level.
#include "lumcvseparable_sums.h"

namespace lum::LUM_LEVEL {
namespace {

// Rows of 16 bits whose sums are exact: pairs of rows meet in one multiplication.
template <int N>
struct ExactColumn {
  using V = I16;
  static constexpr int kVectors = kIntegerVectors<N>, kBits = 24;
  const Lum16s* const* rows;
  int x0;
  Taps<N> taps;

  ExactColumn from(int x) const { return {rows, x0 + x, taps}; }

  template <int B, class Finish>
  LUM_INLINE void compute(V* v, int x, const Finish& finish) const {
    const auto operand = [&](int k, int i) LUM_INLINE_LAMBDA { return load(get(rows + k) + x0 + x + i * V::lanes); };
    paired_sums<B>(v, taps, operand, finish);
  }
  template <class D, class Finish>
  void element(D* d, int x, const Finish& finish) const {
    int sum = 0;
    for (int k = 0; k < taps.count(); ++k) sum += get(taps.taps + k) * get(get(rows + k) + x0 + x);
    put_saturated(d, finish(sum));
  }
};

// Rows of 16 bits under any taps: every product is rounded to single precision, and so is every partial sum.
struct RoundedColumn {
  using V = I16;
  static constexpr int kVectors = kIntegerVectors<0>;
  const Lum16s* const* rows;
  int x0;
  const Lum16s* taps;
  int count;

  RoundedColumn from(int x) const { return {rows, x0 + x, taps, count}; }

  template <int B, class Finish>
  LUM_INLINE void compute(V* v, int x, const Finish& finish) const {
    F32 low[B], high[B];
    repeat<B>(B, [&](int i) LUM_INLINE_LAMBDA { low[i] = high[i] = f32(0); });
    for (int k = 0; k < count; ++k) {
      const Lum16s* const row = get(rows + k) + x0 + x;
      const I16 t = i16(get(taps + k));
      repeat<B>(B, [&](int i) LUM_INLINE_LAMBDA {
        const I16 a = load(row + i * V::lanes), product = a * t, product_high = multiply_high(a, t);
        low[i] = low[i] + to_float(as_i32(unpack_low(product, product_high)));
        high[i] = high[i] + to_float(as_i32(unpack_high(product, product_high)));
      });
    }
    repeat<B>(B, [&](int i) LUM_INLINE_LAMBDA { v[i] = pack(finish(low[i]), finish(high[i])); });
  }
  template <class D, class Finish>
  void element(D* d, int x, const Finish& finish) const {
    Lum32f sum = 0;
    for (int k = 0; k < count; ++k) sum += Lum32f(get(taps + k) * get(get(rows + k) + x0 + x));
    put_saturated(d, finish(sum));
  }
};

template <int N>
struct FloatColumn {
  using V = F32;
  static constexpr int kVectors = kFloatVectors<N>;
  const Lum32f* const* rows;
  int x0;
  FloatTaps<N> taps;

  template <int B>
  LUM_INLINE void compute(V* v, int x, Saturate) const {
    const auto operand = [&](int k, int i) LUM_INLINE_LAMBDA { return load(get(rows + k) + x0 + x + i * V::lanes); };
    ascending_sums<B>(v, taps, operand);
  }
  void element(Lum32f* d, int x, Saturate) const {
    Lum32f sum = get(get(rows) + x0 + x) * get(taps.memory);
    for (int k = 1; k < taps.count(); ++k) sum += get(get(rows + k) + x0 + x) * get(taps.memory + k);
    put(d, sum);
  }
};

// Several output rows at a time, a vector of columns going down: what rows have in common is loaded and prepared once,
// and walking several rows side by side keeps more of the memory's streams busy than one row after the other.

// A slider holds what the last rows gave; fill() takes the first N - 1 of them, down() those behind. Its factors are the
// same for all columns. Some sliders leave registers for another one beside them: `beside` of them.

// Two output rows a step. Source rows meet in fixed pairs; the second row's taps are shifted by one against them.
template <int N>
class PairSlider {
 public:
  using V = I16;
  static constexpr int rows_per_step = 2, beside = 0;
  struct Factors {
    explicit Factors(const Taps<N>& taps) {
      const auto tap = [&](int k) { return k < 0 || k >= N ? Lum16s(0) : get(taps.taps + k); };
      for (int j = 0; j < kPairs; ++j) {
        first[j] = pair(tap(2 * j), tap(2 * j + 1));
        second[j] = pair(tap(2 * j - 1), tap(2 * j));
      }
    }
    I32 first[N / 2 + 1], second[N / 2 + 1];
  };

  LUM_INLINE void fill(const Factors&, const auto& row) {
    repeat<kPairs - 1>(0, [&](int j) LUM_INLINE_LAMBDA { set(j, row(2 * j), row(2 * j + 1)); });
  }
  // Results for two output rows.
  LUM_INLINE void down(const Factors& factors, I16 a, I16 b, I16* results, const auto& finish) {
    set(kPairs - 1, a, b);
    results[0] = packed(sum(low_, factors.first), sum(high_, factors.first), finish);
    results[1] = packed(sum(low_, factors.second), sum(high_, factors.second), finish);
    repeat<kPairs - 1>(0, [&](int j) LUM_INLINE_LAMBDA { low_[j] = low_[j + 1], high_[j] = high_[j + 1]; });
  }

 private:
  static constexpr int kPairs = N / 2 + 1;
  LUM_INLINE void set(int j, I16 a, I16 b) {
    low_[j] = unpack_low(a, b);
    high_[j] = unpack_high(a, b);
  }
  LUM_INLINE static I32 sum(const I16* rows, const I32* taps) {
    I32 s = multiply_pairs(rows[0], taps[0]);
    repeat<kPairs - 1>(0, [&](int j) LUM_INLINE_LAMBDA { s = s + multiply_pairs(rows[j + 1], taps[j + 1]); });
    return s;
  }
  I16 low_[kPairs], high_[kPairs];
};

// The same for sums that fit 16 bits, one row a step. The sums that a row takes part in grow side by side.
template <int N>
class NarrowSlider {
 public:
  using V = I16;
  static constexpr int rows_per_step = 1, beside = N == 3 && sizeof(void*) == 8;
  struct Factors {
    NarrowTaps<N> taps;
    Limit limit;
  };

  LUM_INLINE void fill(const Factors& factors, const auto& row) {
    repeat<N - 1>(0, [&](int k) LUM_INLINE_LAMBDA { push(factors, row(k)); });
  }
  LUM_INLINE void down(const Factors& factors, I16 row, I16, I16* results, const auto& finish) {
    results[0] = finished(push(factors, row), finish);
  }
  const Range& range() const { return range_; }

 private:
  LUM_INLINE I16 push(const Factors& factors, I16 row) {
    const I16* const taps = factors.taps.words;
    range_.add(row, factors.limit);
    const I16 result = sums_[0] + row * taps[N - 1];
    repeat<N - 2>(0, [&](int k) LUM_INLINE_LAMBDA { sums_[k] = sums_[k + 1] + row * taps[N - 2 - k]; });
    sums_[N - 2] = row * taps[0];
    return result;
  }
  Range range_;
  I16 sums_[N - 1] = {};
};

// Integer rows under any taps: as floats, whose products round as the whole products do when they become floats.
template <int N>
class RoundedSlider {
 public:
  using V = I16;
  static constexpr int rows_per_step = 1, beside = 0;
  struct Factors {
    explicit Factors(const Lum16s* kernel) {
      for (int k = 0; k < N; ++k) taps[k] = f32(get(kernel + k));
    }
    F32 taps[N];
  };

  LUM_INLINE void fill(const Factors&, const auto& row) {
    repeat<N - 1>(0, [&](int k) LUM_INLINE_LAMBDA { set(k, row(k)); });
  }
  LUM_INLINE void down(const Factors& factors, I16 row, I16, I16* results, const auto& finish) {
    set(N - 1, row);
    results[0] = pack(finish(sum(low_, factors)), finish(sum(high_, factors)));
    repeat<N - 1>(0, [&](int k) LUM_INLINE_LAMBDA { low_[k] = low_[k + 1], high_[k] = high_[k + 1]; });
  }

 private:
  LUM_INLINE void set(int k, I16 row) {
    low_[k] = to_float(widen_low(row));
    high_[k] = to_float(widen_high(row));
  }
  LUM_INLINE static F32 sum(const F32* rows, const Factors& factors) {
    F32 s = rows[0] * factors.taps[0];
    repeat<N - 1>(0, [&](int k) LUM_INLINE_LAMBDA { s = s + rows[k + 1] * factors.taps[k + 1]; });
    return s;
  }
  F32 low_[N], high_[N];
};

template <int N>
class FloatSlider {
 public:
  using V = F32;
  static constexpr int rows_per_step = 1, beside = 0;
  using Factors = FloatTaps<N>;

  LUM_INLINE void fill(const Factors&, const auto& row) {
    repeat<N - 1>(0, [&](int k) LUM_INLINE_LAMBDA { rows_[k] = row(k); });
  }
  LUM_INLINE void down(const Factors& taps, F32 row, F32, F32* results, Saturate) {
    rows_[N - 1] = row;
    ascending_sums<1>(results, taps, [&](int k, int) LUM_INLINE_LAMBDA { return rows_[k]; });
    repeat<N - 1>(0, [&](int k) LUM_INLINE_LAMBDA { rows_[k] = rows_[k + 1]; });
  }

 private:
  F32 rows_[N];
};

// Loads wait for stores just before them to addresses with the same low 12 bits. Planes with such rows go row by row.
template <int N, class S, class D>
bool aliased(const ColumnPass<S, D>& pass, Rows rows) {
  if (sizeof(S) != sizeof(D)) return false;
  const char* const d = (const char*)pass.dst.row(rows.begin);
  for (int k = N; k < N + 3 && k < rows.end - rows.begin + N - 1; ++k)
    if ((((const char*)get(pass.src + rows.begin + k) - d + 64) & 4095) < 128) return true;
  return false;
}

constexpr int kRowsAtOnce = 8;

// Rows are asked for so many bytes ahead: the processor does not follow so many streams through memory by itself.
constexpr int kSourceAhead = 256, kDestinationAhead = 512;
template <class S>
constexpr bool kAsks = sizeof(S) == 4 || F32::lanes == 8;

// Whole blocks of the first n columns; returns how many columns that makes. Calls at_bottom(slider) for every slider that
// has come down. (Results of one byte fill a vector only from two sliders side by side.)
constexpr auto kNothing = [](const auto&) {};
template <int N, class Slider, class S, class D, class Finish, class AtBottom = decltype(kNothing)>
int slide(const typename Slider::Factors& factors, const ColumnPass<S, D>& pass, Rows rows, int n, const Finish& finish,
          const AtBottom& at_bottom = kNothing) {
  using V = typename Slider::V;
  constexpr int kRows = kRowsAtOnce, kStep = Slider::rows_per_step;
  constexpr int kSliders = sizeof(D) == 1 ? 1 + Slider::beside : 1, kBlock = kSliders * V::lanes;
  const int columns = n / kBlock * kBlock;
  if (columns == 0 || aliased<N>(pass, rows)) return 0;
  for (int y = rows.begin, count; y < rows.end; y += count) {
    count = rows.end - y < kRows ? rows.end - y : kRows;
    const S* source[kRows + N];
    for (int i = 0; i < count + N - 1; ++i) source[i] = get(pass.src + y + i);
    source[count + N - 1] = source[count + N - 2];  // of a step that makes one row more than wanted
    const ptrdiff_t step = pass.dst.step;
    for (ptrdiff_t x = 0; x < columns; x += kBlock) {
      const auto at = [&](int i, int s) LUM_INLINE_LAMBDA { return load(source[i] + x + s * V::lanes); };
      Slider sliders[kSliders];
      repeat<kSliders>(0, [&](int s) LUM_INLINE_LAMBDA {
        sliders[s].fill(factors, [&](int k) LUM_INLINE_LAMBDA { return at(k, s); });
      });
      D* d = pass.dst.row(y) + x;
      for (int i = N - 1; i < count + N - 1; i += kStep) {
        repeat<kStep>(0, [&](int k) LUM_INLINE_LAMBDA {
          if (kAsks<S>) __builtin_prefetch(ahead(source[i + k] + x, kSourceAhead));
          if (sizeof(S) == 4) __builtin_prefetch(ahead(d, kDestinationAhead));
        });
        V results[kSliders][kStep];
        repeat<kSliders>(
            0, [&](int s) LUM_INLINE_LAMBDA { sliders[s].down(factors, at(i, s), at(i + 1, s), results[s], finish); });
        const auto put = [&](D* to, int k) LUM_INLINE_LAMBDA {
          if constexpr (kSliders == 2)
            store(to, results[0][k], results[1][k]);
          else
            store(to, results[0][k]);
        };
        put(d, 0);
        if (kStep == 2 && i + 1 < count + N - 1) put((D*)((char*)d + step), kStep - 1);
        d = (D*)((char*)d + kStep * step);
      }
      repeat<kSliders>(0, [&](int s) LUM_INLINE_LAMBDA { at_bottom(sliders[s]); });
    }
  }
  return columns;
}

// The same under any number of taps: two output rows share what pairs of source rows need to meet.
template <class D, class Finish>
int two_by_two(const ColumnPass<Lum16s, D>& pass, Rows rows, int n, const Finish& finish) {
  constexpr int kLanes = I16::lanes, kBlock = 2 * kLanes, kMostPairs = kMostNarrowTaps / 2 + 1;
  constexpr int kAtOnce = sizeof(void*) == 8 ? 2 : 1;  // vectors that there are registers for
  const int columns = n / kBlock * kBlock, taps = pass.taps, pairs = taps / 2 + 1;
  if (columns == 0 || pairs > kMostPairs || rows.end - rows.begin < 2) return 0;
  struct Pair {
    I32 first, second;  // taps of the two output rows
    const Lum16s *upper, *lower;
  };
  Pair all[kMostPairs];
  const auto tap = [&](int k) { return k < 0 || k >= taps ? Lum16s(0) : get(pass.kernel + k); };
  for (int j = 0; j < pairs; ++j) {
    all[j].first = pair(tap(2 * j), tap(2 * j + 1));
    all[j].second = pair(tap(2 * j - 1), tap(2 * j));
  }
  for (int at = rows.begin; at < rows.end; at += 2) {
    const int y = at + 2 > rows.end ? at - 1 : at;  // the last row of an odd number together with the one before it
    for (int j = 0; j < pairs; ++j) {
      all[j].upper = get(pass.src + y + 2 * j);
      all[j].lower = get(pass.src + y + (2 * j + 1 > taps ? taps : 2 * j + 1));
    }
    for (ptrdiff_t x = 0; x < columns; x += kBlock) {
      I16 results[2][2];  // of the two rows, of the two vectors
      repeat<2 / kAtOnce>(0, [&](int turn) LUM_INLINE_LAMBDA {
        I32 low[2][kAtOnce], high[2][kAtOnce];
        repeat<kAtOnce>(0, [&](int i) LUM_INLINE_LAMBDA { low[0][i] = high[0][i] = low[1][i] = high[1][i] = i32(0); });
        for (const Pair* p = all; p < all + pairs; ++p) {
          const I32 first = p->first, second = p->second;
          const Lum16s *const a = p->upper + turn * kLanes, *const b = p->lower + turn * kLanes;
          repeat<kAtOnce>(0, [&](int i) LUM_INLINE_LAMBDA {
            const I16 upper = renewed(load(a + x + i * kLanes)), lower = renewed(load(b + x + i * kLanes));
            const I16 l = unpack_low(upper, lower), h = unpack_high(upper, lower);
            // Else the compiler moves each sum to another register and back.
            const auto add_to = [](I32& sum, I32 v) LUM_INLINE_LAMBDA { sum = renewed(sum + v); };
            add_to(low[0][i], multiply_pairs(l, first));
            add_to(high[0][i], multiply_pairs(h, first));
            add_to(low[1][i], multiply_pairs(l, second));
            add_to(high[1][i], multiply_pairs(h, second));
          });
        }
        repeat<2 * kAtOnce>(0, [&](int k) LUM_INLINE_LAMBDA {
          results[k % 2][turn + k / 2] = packed(low[k % 2][k / 2], high[k % 2][k / 2], finish);
        });
      });
      repeat<2>(0, [&](int k) LUM_INLINE_LAMBDA {
        D* const d = pass.dst.row(y + k) + x;
        if constexpr (sizeof(D) == 1) {
          store(d, results[k][0], results[k][1]);
        } else {
          store(d, results[k][0]);
          store(d + kLanes, results[k][1]);
        }
      });
    }
  }
  return columns;
}

// Integer rows under any taps, as floats (see RoundedSlider): some output rows share what becomes of a source row.
template <class D, class Finish>
int rounded_together(const ColumnPass<Lum16s, D>& pass, Rows rows, int n, const Finish& finish) {
  constexpr int kRows = sizeof(void*) == 8 ? 4 : 2, kMostTaps = 63;
  const int columns = n / I16::lanes * I16::lanes, taps = pass.taps;
  if (columns == 0 || taps > kMostTaps || rows.end - rows.begin < kRows) return 0;
  F32 padded[kMostTaps + 2 * (kRows - 1)];  // with zeros, for the source rows that not all output rows see
  for (int k = 0; k < taps + 2 * (kRows - 1); ++k) {
    const int tap = k - (kRows - 1);
    padded[k] = f32(tap < 0 || tap >= taps ? 0 : get(pass.kernel + tap));
  }
  for (int at = rows.begin; at < rows.end; at += kRows) {
    const int y = at + kRows > rows.end ? rows.end - kRows : at;  // the last rows together with some before them
    for (ptrdiff_t x = 0; x < columns; x += I16::lanes) {
      F32 low[kRows], high[kRows];
      repeat<kRows>(0, [&](int r) LUM_INLINE_LAMBDA { low[r] = high[r] = f32(0); });
      for (int i = 0; i < taps + kRows - 1; ++i) {
        const I16 row = load(get(pass.src + y + i) + x);
        const F32 l = to_float(widen_low(row)), h = to_float(widen_high(row));
        repeat<kRows>(0, [&](int r) LUM_INLINE_LAMBDA {
          const F32 tap = padded[i - r + kRows - 1];
          low[r] = low[r] + l * tap;
          high[r] = high[r] + h * tap;
        });
      }
      repeat<kRows>(
          0, [&](int r) LUM_INLINE_LAMBDA { store(pass.dst.row(y + r) + x, pack(finish(low[r]), finish(high[r]))); });
    }
  }
  return columns;
}

// Rows of floats under more taps than a slider holds: some output rows share the loads of what they see, for source rows
// of so many do not stay in the first-level cache from one output row to the next.
int floats_together(const ColumnPass<Lum32f, Lum32f>& pass, Rows rows, int n) {
  constexpr int kRows = sizeof(void*) == 8 ? 4 : 2, kVectors = 2, kLanes = F32::lanes, kBlock = kVectors * kLanes;
  constexpr int kMostTaps = 63;
  const int columns = n / kBlock * kBlock, taps = pass.taps;
  if (columns == 0 || taps < kRows || taps > kMostTaps || rows.end - rows.begin < kRows) return 0;
  F32 factors[kMostTaps];
  for (int k = 0; k < taps; ++k) factors[k] = f32(get(pass.kernel + k));
  for (int at = rows.begin; at < rows.end; at += kRows) {
    const int y = at + kRows > rows.end ? rows.end - kRows : at;  // the last rows together with some before them
    const Lum32f* source[kMostTaps + kRows - 1];
    for (int i = 0; i < taps + kRows - 1; ++i) source[i] = get(pass.src + y + i);
    for (ptrdiff_t x = 0; x < columns; x += kBlock) {
      F32 sums[kRows][kVectors];
      // Source row i goes to the output rows from `first` to `last`; the last of them may begin with it.
      const auto add = [&](int i, int first, int last, bool begins) LUM_INLINE_LAMBDA {
        F32 row[kVectors];
        repeat<kVectors>(0, [&](int v) LUM_INLINE_LAMBDA { row[v] = load(source[i] + x + v * kLanes); });
        __builtin_prefetch(ahead(source[i] + x, kSourceAhead));
        repeat<kRows>(0, [&](int r) LUM_INLINE_LAMBDA {
          if (r < first || r > last) return;
          const F32 factor = factors[i - r];
          repeat<kVectors>(0, [&](int v) LUM_INLINE_LAMBDA {
            const F32 product = row[v] * factor;
            sums[r][v] = renewed(begins && r == last ? product : sums[r][v] + product);
          });
        });
      };
      repeat<kRows>(0, [&](int i) LUM_INLINE_LAMBDA { add(i, 0, i, true); });
      for (int i = kRows; i < taps; ++i) add(i, 0, kRows - 1, false);
      repeat<kRows - 1>(0, [&](int i) LUM_INLINE_LAMBDA { add(taps + i, i + 1, kRows - 1, false); });
      repeat<kRows>(0, [&](int r) LUM_INLINE_LAMBDA {
        repeat<kVectors>(0, [&](int v) LUM_INLINE_LAMBDA { store(pass.dst.row(y + r) + x + v * kLanes, sums[r][v]); });
      });
    }
  }
  return columns;
}

template <class D>
int bulk_of(const ColumnPass<Lum16s, D>& pass) {  // the elements that are rounded
  return pass.width / 16 * 16 * pass.channels;
}

// Return how many columns they make.
template <int N, class D>
[[gnu::noinline]] int narrow_columns(const ColumnPass<Lum16s, D>& pass, Rows rows, const NarrowTaps<N>& taps) {
  int x = 0;
  const Limit limit(pass.narrow);
  Range range;
  const auto by_rows = [&](int columns, const auto& finish) {
    x = slide<N, NarrowSlider<N>>({taps, limit}, pass, rows, columns, finish,
                                  [&](const auto& slider) LUM_INLINE_LAMBDA { range.add(slider.range()); });
  };
  if (pass.scale.unit)
    by_rows(pass.width * pass.channels, Saturate{});
  else if (!with_nearest_of_16_bits(pass.scale, [&](const auto& nearest) { by_rows(bulk_of(pass), nearest); }))
    by_rows(bulk_of(pass), Nearest<false>{pass.scale.reciprocal});
  return range.exceeds(limit) ? 0 : x;  // what a great element has spoilt is made again
}
template <int N, class D>
[[gnu::noinline]] int wide_columns(const ColumnPass<Lum16s, D>& pass, Rows rows, const Taps<N>& taps) {
  int x = 0;
  const auto by_rows = [&](int columns, const auto& finish) {
    if constexpr (N > 0)
      x = slide<N, PairSlider<N>>(typename PairSlider<N>::Factors(taps), pass, rows, columns, finish);
    else
      x = two_by_two(pass, rows, columns, finish);
  };
  if (pass.scale.unit)
    by_rows(pass.width * pass.channels, Saturate{});
  else if (sizeof(D) == 2 ||
           !with_nearest_of_16_bits(pass.scale, [&](const auto& nearest) { by_rows(bulk_of(pass), nearest); }))
    by_rows(bulk_of(pass), Nearest<false>{pass.scale.reciprocal});
  return x;
}
// The columns from x on, row by row.
template <int N, class D>
[[gnu::noinline]] void last_columns(const ColumnPass<Lum16s, D>& pass, Rows rows, const Taps<N>& taps, int x) {
  const int n = pass.width * pass.channels, bulk = bulk_of(pass);
  for (int y = rows.begin; y < rows.end && x < n; ++y)
    run_scaled(ExactColumn<N>{pass.src + y, x, taps}, pass.dst.row(y) + x, n - x, bulk - x, {x, false}, pass.scale);
}

// All columns of sums that may round at every tap.
template <class D>
[[gnu::noinline]] void rounded_columns(const ColumnPass<Lum16s, D>& pass, Rows rows) {
  const int n = pass.width * pass.channels, bulk = bulk_of(pass);
  const Nearest<true> nearest{pass.scale.reciprocal};
  const int x =
      pass.taps == 3   ? slide<3, RoundedSlider<3>>(RoundedSlider<3>::Factors(pass.kernel), pass, rows, bulk, nearest)
      : pass.taps == 5 ? slide<5, RoundedSlider<5>>(RoundedSlider<5>::Factors(pass.kernel), pass, rows, bulk, nearest)
                       : rounded_together(pass, rows, bulk, nearest);
  if (x == n) return;
  for (int y = rows.begin; y < rows.end; ++y) {
    const RoundedColumn column{pass.src + y, 0, pass.kernel, pass.taps};
    D* const d = pass.dst.row(y);
    run(column.from(x), d + x, bulk - x, {x, false}, nearest);
    run(column.from(bulk), d + bulk, n - bulk, {bulk, false}, Truncate<true>{pass.scale.reciprocal});
  }
}

// Tells of groups of rows, from top to bottom, whether their sums are exact. Looks at every source row once, and at none
// of those that a group with a great element has besides.
template <class D>
class ExactRows {
 public:
  explicit ExactRows(const ColumnPass<Lum16s, D>& pass) : pass_(pass) {}
  bool all(Rows rows) {
    constexpr int kAnyElement = 32768, kBytes = 255;  // rarely are all elements smaller than bytes
    if (pass_.exact == kAnyElement) return true;
    if (pass_.exact < kBytes || rows.begin <= great_) return false;
    if (seen_ < rows.begin) seen_ = rows.begin;
    for (; seen_ < rows.end + pass_.taps - 1; ++seen_)
      if (!within(get(pass_.src + seen_), pass_.width * pass_.channels, pass_.exact)) {
        great_ = seen_++;
        return false;
      }
    return true;
  }

 private:
  const ColumnPass<Lum16s, D>& pass_;
  int seen_ = 0;    // the source row to look at next
  int great_ = -1;  // the last one that had a great element
};

}  // namespace

template <class S, class D>
void column_band(const ColumnPass<S, D>& pass, Rows rows) {
  ExactRows exact(pass);
  with_taps<WideOrNarrowTaps>(pass.kernel, pass.taps, [&]<int N>(const WideOrNarrowTaps<N>& taps) {
    // Where great elements are found there are often more.
    constexpr int kRowsToNextTry = 8 * kRowsAtOnce;
    int next_try = rows.begin;
    for (int y = rows.begin, end; y < rows.end; y = end) {
      end = rows.end - y < kRowsAtOnce ? rows.end : y + kRowsAtOnce;
      const Rows group = {y, end};
      if (!exact.all(group)) {
        rounded_columns(pass, group);
        continue;
      }
      int x = 0;
      if constexpr (N > 0 && kLooksForNarrow)
        if (pass.narrow && y >= next_try) {
          x = narrow_columns<N>(pass, group, taps.narrow);
          if (x == 0) next_try = y + kRowsToNextTry;
        }
      if (x == 0) x = wide_columns<N>(pass, group, taps);
      last_columns<N>(pass, group, taps, x);
    }
  });
}

template <>
void column_band(const ColumnPass<Lum32f, Lum32f>& pass, Rows rows) {
  const int n = pass.width * pass.channels;
  with_taps<FloatTaps>(pass.kernel, pass.taps, [&]<int N>(const FloatTaps<N>& taps) {
    int x = 0;
    if constexpr (N > 0)
      x = slide<N, FloatSlider<N>>(taps, pass, rows, n, Saturate{});
    else if constexpr (sizeof(void*) == 8 || F32::lanes == 8)  // else there are too few registers for it to pay
      x = floats_together(pass, rows, n);
    if (x == n) return;
    for (int y = rows.begin; y < rows.end; ++y)
      run(FloatColumn<N>{pass.src + y, x, taps}, pass.dst.row(y) + x, n - x, {x, false}, Saturate{});
  });
}

template void column_band(const ColumnPass<Lum16s, Lum16s>&, Rows);
template void column_band(const ColumnPass<Lum16s, Lum8u>&, Rows);
template void column_band(const ColumnPass<Lum16s, Lum8s>&, Rows);

}  // namespace lum::LUM_LEVEL
