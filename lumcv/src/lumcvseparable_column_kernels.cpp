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

// Two output rows a step. Source rows meet in fixed pairs; the second row's taps are shifted by one against them.
template <int N>
class PairSlider {
 public:
  using V = I16;
  static constexpr int rows_per_step = 2;
  explicit PairSlider(const Taps<N>& taps) {
    const auto tap = [&](int k) { return k < 0 || k >= N ? Lum16s(0) : get(taps.taps + k); };
    for (int j = 0; j < kPairs; ++j) {
      first_[j] = pair(tap(2 * j), tap(2 * j + 1));
      second_[j] = pair(tap(2 * j - 1), tap(2 * j));
    }
  }
  LUM_INLINE void fill(const auto& row) {
    repeat<kPairs - 1>(0, [&](int j) LUM_INLINE_LAMBDA { set(j, row(2 * j), row(2 * j + 1)); });
  }
  // The rows behind those before; results for two output rows.
  LUM_INLINE void down(I16 a, I16 b, I16* results, const auto& finish) {
    set(kPairs - 1, a, b);
    results[0] = pack(finish(sum(low_, first_)), finish(sum(high_, first_)));
    results[1] = pack(finish(sum(low_, second_)), finish(sum(high_, second_)));
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
  I32 first_[kPairs], second_[kPairs];
  I16 low_[kPairs], high_[kPairs];
};

// Integer rows under any taps: as floats, whose products round as the whole products do when they become floats.
template <int N>
class RoundedSlider {
 public:
  using V = I16;
  static constexpr int rows_per_step = 1;
  explicit RoundedSlider(const Lum16s* taps) {
    for (int k = 0; k < N; ++k) taps_[k] = f32(get(taps + k));
  }
  LUM_INLINE void fill(const auto& row) {
    repeat<N - 1>(0, [&](int k) LUM_INLINE_LAMBDA { set(k, row(k)); });
  }
  LUM_INLINE void down(I16 row, I16, I16* results, const auto& finish) {
    set(N - 1, row);
    results[0] = pack(finish(sum(low_)), finish(sum(high_)));
    repeat<N - 1>(0, [&](int k) LUM_INLINE_LAMBDA { low_[k] = low_[k + 1], high_[k] = high_[k + 1]; });
  }

 private:
  LUM_INLINE void set(int k, I16 row) {
    low_[k] = to_float(widen_low(row));
    high_[k] = to_float(widen_high(row));
  }
  LUM_INLINE F32 sum(const F32* rows) const {
    F32 s = rows[0] * taps_[0];
    repeat<N - 1>(0, [&](int k) LUM_INLINE_LAMBDA { s = s + rows[k + 1] * taps_[k + 1]; });
    return s;
  }
  F32 taps_[N], low_[N], high_[N];
};

template <int N>
class FloatSlider {
 public:
  using V = F32;
  static constexpr int rows_per_step = 1;
  explicit FloatSlider(const FloatTaps<N>& taps) : taps_(taps) {}
  LUM_INLINE void fill(const auto& row) {
    repeat<N - 1>(0, [&](int k) LUM_INLINE_LAMBDA { rows_[k] = row(k); });
  }
  LUM_INLINE void down(F32 row, F32, F32* results, Saturate) {
    rows_[N - 1] = row;
    ascending_sums<1>(results, taps_, [&](int k, int) LUM_INLINE_LAMBDA { return rows_[k]; });
    repeat<N - 1>(0, [&](int k) LUM_INLINE_LAMBDA { rows_[k] = rows_[k + 1]; });
  }

 private:
  const FloatTaps<N>& taps_;
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

// Whole vectors of the first n columns; returns how many columns that makes.
template <int N, class Slider, class S, class D, class Finish>
int slide(const Slider& at_top, const ColumnPass<S, D>& pass, Rows rows, int n, const Finish& finish) {
  using V = typename Slider::V;
  constexpr int kRows = 8, kStep = Slider::rows_per_step;
  const int columns = n / V::lanes * V::lanes;
  if (columns == 0 || aliased<N>(pass, rows)) return 0;
  for (int y = rows.begin, count; y < rows.end; y += count) {
    count = rows.end - y < kRows ? rows.end - y : kRows;
    const S* source[kRows + N];
    for (int i = 0; i < count + N - 1; ++i) source[i] = get(pass.src + y + i);
    source[count + N - 1] = source[count + N - 2];  // of a step that makes one row more than wanted
    const ptrdiff_t step = pass.dst.step;
    for (ptrdiff_t x = 0; x < columns; x += V::lanes) {
      Slider slider = at_top;
      slider.fill([&](int k) LUM_INLINE_LAMBDA { return load(source[k] + x); });
      D* d = pass.dst.row(y) + x;
      for (int i = N - 1; i < count + N - 1; i += kStep) {
        V results[kStep];
        slider.down(load(source[i] + x), load(source[i + 1] + x), results, finish);
        store(d, results[0]);
        if (kStep == 2 && i + 1 < count + N - 1) store((D*)((char*)d + step), results[kStep - 1]);
        d = (D*)((char*)d + kStep * step);
      }
    }
  }
  return columns;
}

}  // namespace

template <class S, class D>
void column_band(const ColumnPass<S, D>& pass, Rows rows) {
  const int n = pass.width * pass.channels, bulk = pass.width / 16 * 16 * pass.channels;
  if (!pass.exact) {
    const Nearest<true> nearest{pass.scale.reciprocal};
    const int x = pass.taps == 3   ? slide<3>(RoundedSlider<3>(pass.kernel), pass, rows, bulk, nearest)
                  : pass.taps == 5 ? slide<5>(RoundedSlider<5>(pass.kernel), pass, rows, bulk, nearest)
                                   : 0;
    if (x == n) return;
    for (int y = rows.begin; y < rows.end; ++y) {
      const RoundedColumn column{pass.src + y, 0, pass.kernel, pass.taps};
      D* const d = pass.dst.row(y);
      run(column.from(x), d + x, bulk - x, {x, false}, nearest);
      run(column.from(bulk), d + bulk, n - bulk, {bulk, false}, Truncate<true>{pass.scale.reciprocal});
    }
    return;
  }
  TapsOf<S>::with(pass.kernel, pass.taps, [&]<int N>(const Taps<N>& taps) {
    int x = 0;
    if constexpr (N > 0)
      x = pass.scale.unit ? slide<N>(PairSlider<N>(taps), pass, rows, n, Saturate{})
                          : slide<N>(PairSlider<N>(taps), pass, rows, bulk, Nearest<false>{pass.scale.reciprocal});
    if (x == n) return;
    for (int y = rows.begin; y < rows.end; ++y)
      run_scaled(ExactColumn<N>{pass.src + y, x, taps}, pass.dst.row(y) + x, n - x, bulk - x, {x, false}, pass.scale);
  });
}

template <>
void column_band(const ColumnPass<Lum32f, Lum32f>& pass, Rows rows) {
  const int n = pass.width * pass.channels;
  TapsOf<Lum32f>::with(pass.kernel, pass.taps, [&]<int N>(const FloatTaps<N>& taps) {
    int x = 0;
    if constexpr (N > 0) x = slide<N>(FloatSlider<N>(taps), pass, rows, n, Saturate{});
    if (x == n) return;
    for (int y = rows.begin; y < rows.end; ++y)
      run(FloatColumn<N>{pass.src + y, x, taps}, pass.dst.row(y) + x, n - x, {x, false}, Saturate{});
  });
}

template void column_band(const ColumnPass<Lum16s, Lum16s>&, Rows);
template void column_band(const ColumnPass<Lum16s, Lum8u>&, Rows);
template void column_band(const ColumnPass<Lum16s, Lum8s>&, Rows);

}  // namespace lum::LUM_LEVEL
