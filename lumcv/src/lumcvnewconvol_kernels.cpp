// Compiled once per level.
//
// One pass: a ring of K row-filtered rows stays in the caches next to the core, and every new row yields one output row.
// Wide images go through in strips of columns for that.
#include "lumcvnewconvol_kernels.h"

#include <utility>

#include "core/border.h"
#include "core/vec.h"

namespace lum::LUM_LEVEL {
namespace {

// A whole factor on a vector or on an element.
inline I16 times(I16 a, int n) { return a * i16(Lum16s(n)); }
inline F32 times(F32 a, int n) { return a * f32(Lum32f(n)); }
inline int times(int a, int n) { return a * n; }
inline Lum32f times(Lum32f a, int n) { return a * Lum32f(n); }

// ---- the kernels: one text for vectors and elements, integer and float ----
//
// Float sums run in ascending order; where the order written here differs, it is the rule (5-tap Dx cancels exactly on
// equal pixels) or exact (doubling).

struct Dx3 {
  static constexpr int taps = 3, sum = 0;
  auto operator()(auto a, auto, auto c) const { return c - a; }
};
struct DxNeg3 {
  static constexpr int taps = 3, sum = 0;
  auto operator()(auto a, auto, auto c) const { return a - c; }
};
struct D2x3 {
  static constexpr int taps = 3, sum = 0;
  auto operator()(auto a, auto b, auto c) const { return a - (b + b) + c; }
};
struct Sobel3 {
  static constexpr int taps = 3, sum = 4;
  auto operator()(auto a, auto b, auto c) const { return a + (b + b) + c; }
};
struct Scharr3 {
  static constexpr int taps = 3, sum = 16;
  auto operator()(auto a, auto b, auto c) const { return times(a, 3) + times(b, 10) + times(c, 3); }
};
struct Avr3 {
  static constexpr int taps = 3, sum = 3;
  auto operator()(auto a, auto b, auto c) const { return a + b + c; }
};
struct Dx5 {  // of columns only
  static constexpr int taps = 5;
  auto operator()(auto a, auto b, auto, auto d, auto e) const {
    const auto inner = d - b;
    return (e - a) + (inner + inner);
  }
};
struct DxNeg5 {
  static constexpr int taps = 5, sum = 0;
  auto operator()(auto a, auto b, auto, auto d, auto e) const {
    const auto inner = b - d;
    return (a - e) + (inner + inner);
  }
};
struct D2x5 {
  static constexpr int taps = 5, sum = 0;
  auto operator()(auto a, auto, auto c, auto, auto e) const { return a - (c + c) + e; }
};
struct Sobel5 {
  static constexpr int taps = 5, sum = 16;
  auto operator()(auto a, auto b, auto c, auto d, auto e) const {
    return a + times(b, 4) + times(c, 6) + times(d, 4) + e;
  }
};
struct Avr5 {
  static constexpr int taps = 5, sum = 5;
  auto operator()(auto a, auto b, auto c, auto d, auto e) const { return a + b + c + d + e; }
};
template <class Rule>
struct Negated {
  static constexpr int taps = Rule::taps, sum = -Rule::sum;
  auto operator()(auto... v) const { return -Rule{}(v...); }
};

// A kernel on `taps` neighbours, fetched one by one.
template <class Rule, class Fetch, int... K>
LUM_INLINE auto apply(const Fetch& fetch, std::integer_sequence<int, K...>) {
  return Rule{}(fetch(K)...);
}
template <class Rule, class Fetch>
LUM_INLINE auto apply(const Fetch& fetch) {
  return apply<Rule>(fetch, std::make_integer_sequence<int, Rule::taps>());
}

// ---- rows ----

template <class S>
struct IntermediateOf {
  using type = Lum16s;
};
template <>
struct IntermediateOf<Lum32f> {
  using type = Lum32f;
};
template <class S>
using Mid = typename IntermediateOf<S>::type;

// Columns of a strip: 8 KiB of a row, since shorter stretches break up the processor's prefetching. The second row of a
// Laplacian kernel lies kPitch elements behind the first; the pitch is not a power of two, so that rows do not compete
// for the same cache lines.
template <class M>
constexpr int kStrip = 8192 / sizeof(M);
template <class M>
constexpr int kPitch = kStrip<M> + 64 / sizeof(M);

// The columns [begin, end) of an image of some width, and what stands left and right of the image.
template <class S>
struct Strip {
  int begin, end, width;
  int left[2], right[2];  // column that stands at -1, -2 and at width, width + 1; -1 for the border value
  S border_value;

  LUM_INLINE S at(const S* row, int x) const {
    if (x < 0)
      x = left[-1 - x];
    else if (x >= width)
      x = right[x - width];
    return x < 0 ? border_value : get(row + x);
  }
};

inline int clamp(int v, int low, int high) { return v < low ? low : v > high ? high : v; }

// Columns [begin, end) one by one, across the border if need be.
template <class Rule, class S>
LUM_INLINE void filter_columns(const Strip<S>& strip, const S* row, Mid<S>* out, int begin, int end) {
  using Element = decltype(S() + S());
  for (int x = begin; x < end; ++x)
    out[x - strip.begin] = Mid<S>(apply<Rule>([&](int k) { return Element(strip.at(row, x + k - Rule::taps / 2)); }));
}

template <class Rule, class S>
LUM_INLINE void filter_vector(const S* p, Mid<S>* out) {
  store(out, apply<Rule>([&](int k) { return load(p + k - Rule::taps / 2); }));
}

template <class Rule, class...>
constexpr int kTapsOf = Rule::taps;

// Each rule makes a row of its own.
template <class S, class... Rules>
void filter_row(const Strip<S>& strip, const S* row, Mid<S>* out) {
  using M = Mid<S>;
  constexpr int kLanes = Vector<M>::lanes;
  constexpr int kHalf = kTapsOf<Rules...> / 2;
  const int first = clamp(kHalf, strip.begin, strip.end), last = clamp(strip.width - kHalf, first, strip.end);
  M* target = out;
  ((filter_columns<Rules>(strip, row, target, strip.begin, first), target += kPitch<M>), ...);

  const S* const p = row + first;
  M* const o = out + (first - strip.begin);
  const int n = last - first;
  const auto vector = [&](int x) {
    M* t = o + x;
    ((filter_vector<Rules>(p + x, t), t += kPitch<M>), ...);
  };
  int x = 0;
  for (; x <= n - kLanes; x += kLanes) vector(x);
  if (x < n && n >= kLanes) {
    vector(n - kLanes);  // some columns once more: the same result in the same place
    x = n;
  }
  target = out;
  ((filter_columns<Rules>(strip, row, target, first + x, strip.end), target += kPitch<M>), ...);
}

// What a row of nothing but the border value becomes.
template <class S, class... Rules>
void constant_row(const Strip<S>& strip, Mid<S>* out) {
  const auto fill = [&](int sum) {
    const Mid<S> value = Mid<S>(strip.border_value * sum);
    for (int x = 0; x < strip.end - strip.begin; ++x) out[x] = value;
    out += kPitch<Mid<S>>;
  };
  (fill(Rules::sum), ...);
}

template <class S>
struct RowFunctions {
  void (*filter)(const Strip<S>&, const S*, Mid<S>*);
  void (*constant)(const Strip<S>&, Mid<S>*);
};
template <class S, class... Rules>
constexpr RowFunctions<S> row_functions = {filter_row<S, Rules...>, constant_row<S, Rules...>};

template <class S>
constexpr RowFunctions<S> kRowTable[] = {
    row_functions<S, Dx3>,  row_functions<S, Scharr3>, row_functions<S, DxNeg3>,       row_functions<S, DxNeg5>,
    row_functions<S, D2x3>, row_functions<S, D2x5>,    row_functions<S, Sobel3>,       row_functions<S, Sobel5>,
    row_functions<S, Avr3>, row_functions<S, Avr5>,    row_functions<S, Sobel3, D2x3>, row_functions<S, Sobel5, D2x5>,
};

// ---- columns ----

// The column's neighbours are the same element of K rows.
template <class Rule>
struct Column {
  template <class M>
  LUM_INLINE static auto vector(const M* const* rows, int x) {
    return apply<Rule>([&](int k) { return load(rows[k] + x); });
  }
  template <class M>
  LUM_INLINE static auto element(const M* const* rows, int x) {
    return apply<Rule>([&](int k) { return +rows[k][x]; });
  }
};

template <class OfSobel, class OfD2x>
struct LaplacianColumn {
  template <class M>
  LUM_INLINE static auto vector(const M* const* rows, int x) {
    return apply<OfSobel>([&](int k) { return load(rows[k] + x); }) +
           apply<OfD2x>([&](int k) { return load(rows[k] + kPitch<M> + x); });
  }
  template <class M>
  LUM_INLINE static auto element(const M* const* rows, int x) {
    return apply<OfSobel>([&](int k) { return +rows[k][x]; }) +
           apply<OfD2x>([&](int k) { return +rows[k][kPitch<M> + x]; });
  }
};

// Box sums become means. The integer forms are the rule, not an approximation: 5x5 has no rounding term.
struct MeanColumn3 {
  using Sum = Column<Avr3>;
  static I16 mean(I16 s, Lum8u*) { return multiply_high_unsigned(s + i16(5), i16(7280)); }
  static int mean(int s, Lum8u*) { return (s + 5) * 7280 >> 16; }
  static F32 mean(F32 s, Lum32f*) { return s * f32(1.0f / 9); }
  static Lum32f mean(Lum32f s, Lum32f*) { return s * (1.0f / 9); }
};
struct MeanColumn5 {
  using Sum = Column<Avr5>;
  static I16 mean(I16 s, Lum8u*) { return multiply_high_unsigned(s, i16(2621)); }
  static int mean(int s, Lum8u*) { return s * 2621 >> 16; }
  static F32 mean(F32 s, Lum32f*) { return s * f32(1.0f / 25); }
  static Lum32f mean(Lum32f s, Lum32f*) { return s * (1.0f / 25); }
};
template <class Mean, class D>
struct Scaled {
  template <class M>
  LUM_INLINE static auto vector(const M* const* rows, int x) {
    return Mean::mean(Mean::Sum::vector(rows, x), (D*)nullptr);
  }
  template <class M>
  LUM_INLINE static auto element(const M* const* rows, int x) {
    return Mean::mean(Mean::Sum::element(rows, x), (D*)nullptr);
  }
};

inline void put_result(Lum16s* d, int v) { put(d, Lum16s(v)); }
inline void put_result(Lum8u* d, int v) { *d = Lum8u(v > 255 ? 255 : v); }
inline void put_result(Lum8s* d, int v) { *d = Lum8s(clamp(v, -128, 127)); }
inline void put_result(Lum32f* d, Lum32f v) { put(d, v); }

template <class Sum, class M, class D>
void filter_column(const M* const* rows, D* d, int n, int /*bulk*/, Lum32f /*reciprocal*/) {
  constexpr int kLanes = Vector<M>::lanes;
  int x = 0;
  for (; x <= n - kLanes; x += kLanes) store(d + x, Sum::vector(rows, x));
  if (x == n) return;
  if (n >= kLanes)
    store(d + n - kLanes, Sum::vector(rows, n - kLanes));
  else
    for (; x < n; ++x) put_result(d + x, Sum::element(rows, x));
}

// Sums times the reciprocal of a divisor, rounded in the first `bulk` columns, truncated in the others.
template <class Sum>
void filter_column_divided(const Lum16s* const* rows, Lum8s* d, int n, int bulk, Lum32f reciprocal) {
  if (reciprocal == 1) return filter_column<Sum>(rows, d, n, bulk, reciprocal);
  const F32 r = f32(reciprocal);
  const auto scaled = [&](int x, auto convert) {
    const I16 sum = Sum::vector(rows, x);
    return pack(convert(to_float(widen_low(sum)) * r), convert(to_float(widen_high(sum)) * r));
  };
  for (int x = 0; x < bulk; x += I16::lanes) store(d + x, scaled(x, [](F32 v) { return round_nearest(v); }));
  if (bulk == n) return;
  Lum8s last[16];  // whatever the ring holds behind the row is computed with, and dropped
  for (int x = 0; x < 16; x += I16::lanes) store(last + x, scaled(bulk + x, [](F32 v) { return truncate(v); }));
  memcpy(d + bulk, last, n - bulk);
}

template <class M, class D>
using ColumnFunction = void (*)(const M* const*, D*, int, int, Lum32f);

template <class D, class Sum>
constexpr auto column_function() {
  if constexpr (sizeof(D) == 1 && D(-1) < 0)
    return ColumnFunction<Lum16s, D>(filter_column_divided<Sum>);
  else
    return ColumnFunction<Mid<D>, D>(filter_column<Sum, Mid<D>, D>);
}

template <class D>
constexpr ColumnFunction<Mid<D>, D> kColumnTable[] = {
    column_function<D, Column<Scharr3>>(),
    column_function<D, Column<Dx3>>(),
    column_function<D, Column<Sobel3>>(),
    column_function<D, Column<Sobel5>>(),
    column_function<D, Column<Dx5>>(),
    column_function<D, Column<D2x3>>(),
    column_function<D, Column<D2x5>>(),
    column_function<D, LaplacianColumn<D2x3, Sobel3>>(),
    column_function<D, LaplacianColumn<D2x5, Sobel5>>(),
    nullptr,
    nullptr,
    column_function<D, Column<Negated<Sobel3>>>(),
    column_function<D, Column<Negated<Sobel5>>>(),
};
// Means exist for 8u and 32f only.
template <class D>
ColumnFunction<Mid<D>, D> column_kernel(ColumnKernel kernel) {
  if constexpr (sizeof(D) == 4 || (sizeof(D) == 1 && D(-1) > 0)) {
    if (kernel == ColumnKernel::avr3) return filter_column<Scaled<MeanColumn3, D>, Mid<D>, D>;
    if (kernel == ColumnKernel::avr5) return filter_column<Scaled<MeanColumn5, D>, Mid<D>, D>;
  }
  if constexpr (sizeof(D) == 1 && D(-1) > 0)
    return nullptr;
  else
    return kColumnTable<D>[int(kernel)];
}

}  // namespace

template <class S, class D>
void convolve_band(const Convolution<S, D>& job, Rows rows) {
  using M = Mid<S>;
  constexpr int kMaxTaps = 5;
  alignas(64) M ring[kMaxTaps][2 * kPitch<M>];
  const RowFunctions<S> row = kRowTable<S>[int(job.row)];
  const auto column = column_kernel<D>(job.column);
  const int taps = job.taps, half = taps / 2, width = job.roi.width, height = job.roi.height;

  Strip<S> strip = {0, 0, width, {}, {}, job.border_value};
  for (int i = 0; i < 2; ++i) {
    strip.left[i] = border_index(-1 - i, width, job.border);
    strip.right[i] = border_index((long long)width + i, width, job.border);
  }
  for (int begin = 0; begin < width; begin = strip.end) {
    strip.begin = begin;
    strip.end = width - begin > kStrip<M> ? begin + kStrip<M> : width;
    const int n = strip.end - begin, bulk = clamp(width / 16 * 16 - begin, 0, n);
    const M* window[2 * kMaxTaps];
    for (int i = 0; i < 2 * taps; ++i) window[i] = ring[i % taps];
    int slot = 0;
    for (long long y = (long long)rows.begin - half; y < (long long)rows.end + half; ++y) {
      const int source = border_index(y, height, job.border);
      if (source < 0)
        row.constant(strip, ring[slot]);
      else
        row.filter(strip, job.src.row(source), ring[slot]);
      slot = slot + 1 == taps ? 0 : slot + 1;
      // The ring now holds the rows y - taps + 1 to y, the oldest in the slot that is next.
      if (y >= (long long)rows.begin + half)
        column(window + slot, job.dst.row(int(y - half)) + begin, n, bulk, job.reciprocal);
    }
  }
}

template void convolve_band(const Convolution<Lum8u, Lum16s>&, Rows);
template void convolve_band(const Convolution<Lum8u, Lum8s>&, Rows);
template void convolve_band(const Convolution<Lum8u, Lum8u>&, Rows);
template void convolve_band(const Convolution<Lum32f, Lum32f>&, Rows);

}  // namespace lum::LUM_LEVEL
