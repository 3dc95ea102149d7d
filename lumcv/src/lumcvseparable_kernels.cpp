// Compiled once per level.
#include "lumcvseparable_kernels.h"

#include <utility>

#include "core/border.h"
#include "core/vec.h"

namespace lum::LUM_LEVEL {
namespace {

#define LUM_INLINE_LAMBDA __attribute__((always_inline))

constexpr Lum32f kTop = 32767;  // a float above it must not reach the conversion; below, saturation does the rest

// What becomes of a sum. All of them leave values that the saturating stores bring into range.
struct Saturate {
  I32 operator()(I32 sum) const { return sum; }
  int operator()(int sum) const { return sum; }
};
template <bool Clamp>
struct Scaled {
  Lum32f reciprocal;
  F32 operator()(F32 sum) const {
    const F32 v = sum * f32(reciprocal);
    return Clamp ? min(v, f32(kTop)) : v;
  }
  __m128 operator()(Lum32f sum) const {
    const __m128 v = _mm_set_ss(sum * reciprocal);
    return Clamp ? _mm_min_ss(v, _mm_set_ss(kTop)) : v;
  }
  F32 operator()(I32 sum) const { return (*this)(to_float(sum)); }
  __m128 operator()(int sum) const { return (*this)(Lum32f(sum)); }
};
template <bool Clamp>
struct Nearest {
  Scaled<Clamp> scaled;
  I32 operator()(F32 sum) const { return round_nearest(scaled(sum)); }
  I32 operator()(I32 sum) const { return round_nearest(scaled(sum)); }
  int operator()(Lum32f sum) const { return _mm_cvtss_si32(scaled(sum)); }
  int operator()(int sum) const { return _mm_cvtss_si32(scaled(sum)); }
};
template <bool Clamp>
struct Truncate {
  Scaled<Clamp> scaled;
  I32 operator()(F32 sum) const { return truncate(scaled(sum)); }
  I32 operator()(I32 sum) const { return truncate(scaled(sum)); }
  int operator()(Lum32f sum) const { return _mm_cvttss_si32(scaled(sum)); }
  int operator()(int sum) const { return _mm_cvttss_si32(scaled(sum)); }
};

// The same as Nearest for sums of 16 bits and powers of two.
struct NearestByShift {
  ShiftNearest of_16_bits;
  Nearest<false> nearest;
  auto operator()(auto sum) const { return nearest(sum); }
};

inline int clamp(int v, int low, int high) { return v < low ? low : v > high ? high : v; }
inline void put_saturated(Lum16s* d, int v) { put(d, Lum16s(clamp(v, -32768, 32767))); }
inline void put_saturated(Lum8u* d, int v) { *d = Lum8u(clamp(v, 0, 255)); }
inline void put_saturated(Lum8s* d, int v) { *d = Lum8s(clamp(v, -128, 127)); }

// body(k) for every k below n. A count N known at compile time is written out, so that tables of it stay in registers.
template <class Body, int... K>
LUM_INLINE void repeat(const Body& body, std::integer_sequence<int, K...>) {
  (body(K), ...);
}
template <int N, class Body>
LUM_INLINE void repeat(int n, const Body& body) {
  if constexpr (N > 0)
    repeat(body, std::make_integer_sequence<int, N>());
  else
    for (int k = 0; k < n; ++k) body(k);
}

// What may be computed, though not stored, beside the elements that are asked for: `before` elements in front of them,
// and, if `behind`, a vector of elements behind.
struct Margin {
  int before;
  bool behind;
};

// n elements to d, some vectors at a time, then one. Where the last vector reaches beyond the elements, only theirs of
// its lanes are stored: the others may be rounded otherwise, or junk.
template <class D, class Kernel, class Finish>
LUM_INLINE void run(const Kernel& kernel, D* d, int n, Margin margin, const Finish& finish) {
  using V = typename Kernel::V;
  constexpr int kBlock = Kernel::kVectors * V::lanes;
  int x = 0;
  for (; x <= n - kBlock; x += kBlock) {
    V v[Kernel::kVectors];
    kernel.template compute<Kernel::kVectors>(v, x, finish);
    repeat<Kernel::kVectors>(0, [&](int i) LUM_INLINE_LAMBDA { store(d + x + i * V::lanes, v[i]); });
  }
  V v[1];
  for (; x < n && n >= V::lanes; x += V::lanes) {
    if (x > n - V::lanes) x = n - V::lanes;  // some elements once more, with the same result
    kernel.template compute<1>(v, x, finish);
    store(d + x, v[0]);
  }
  if (x >= n) return;
  const bool before = margin.before + n >= V::lanes;
  if (n > 2 && (before || margin.behind)) {
    kernel.template compute<1>(v, before ? n - V::lanes : 0, finish);
    before ? store_last(d, v[0], n) : store_first(d, v[0], n);
  } else {
    for (; x < n; ++x) kernel.element(d + x, x, finish);
  }
}

// The same where the first `bulk` elements are rounded and the rest truncated.
// A kernel's kBits is what its sums need: 16 fit a 16-bit integer, 24 a float, 32 may be anything.
template <class D, class Kernel, class Nearest, class Truncate>
LUM_INLINE void run_rounded(const Kernel& kernel, D* d, int n, int bulk, Margin margin, const Nearest& nearest,
                            const Truncate& truncate) {
  bulk = clamp(bulk, 0, n);
  run(kernel, d, bulk, margin, nearest);
  margin.before += bulk;
  run(kernel.from(bulk), d + bulk, n - bulk, margin, truncate);
}
template <class D, class Kernel>
LUM_INLINE void run_scaled(const Kernel& kernel, D* d, int n, int bulk, Margin margin, Scale scale) {
  const Lum32f r = scale.reciprocal;
  if (scale.unit) return run(kernel, d, n, margin, Saturate{});
  if constexpr (Kernel::kBits == 16)
    if (scale.shift)
      return run_rounded(kernel, d, n, bulk, margin, NearestByShift{ShiftNearest(scale.shift), {r}},
                         Truncate<false>{r});
  if (Kernel::kBits == 32 && scale.clamp)
    run_rounded(kernel, d, n, bulk, margin, Nearest<true>{r}, Truncate<true>{r});
  else
    run_rounded(kernel, d, n, bulk, margin, Nearest<false>{r}, Truncate<false>{r});
}

// Pairs of integer taps. A count known at compile time keeps them in registers; 0 leaves them in the caller's memory.
template <int N>
struct Taps {
  static_assert(N % 2 == 1);
  I32 pairs[N / 2], last, last_for_odd;
  const Lum16s* taps;
  Taps(const Lum16s* kernel, int)
      : last(pair(get(kernel + N - 1), 0)), last_for_odd(pair(0, get(kernel + N - 1))), taps(kernel) {
    for (int j = 0; j < N / 2; ++j) pairs[j] = pair(get(kernel + 2 * j), get(kernel + 2 * j + 1));
  }
  static constexpr int count() { return N; }
  I32 at(int j) const { return pairs[j]; }
};
template <>
struct Taps<0> {
  I32 last, last_for_odd;
  const Lum16s* taps;
  int n;
  Taps(const Lum16s* kernel, int count)
      : last(pair(get(kernel + count - 1), 0)), last_for_odd(pair(0, get(kernel + count - 1))), taps(kernel), n(count) {
  }
  int count() const { return n; }
  I32 at(int j) const { return i32(get((const int*)(taps + 2 * j))); }
};

// The same as factors of bytes.
template <int N>
struct ByteTaps : Taps<N> {
  BytePair byte_pairs[(N ? N : kMostByteTaps) / 2], byte_last, byte_last_for_odd;
  ByteTaps(const Lum16s* kernel, int count)
      : Taps<N>(kernel, count), byte_last(byte_pair(get(kernel + count - 1), 0)),
        byte_last_for_odd(byte_pair(0, get(kernel + count - 1))) {
    for (int j = 0; j < count / 2; ++j) byte_pairs[j] = byte_pair(get(kernel + 2 * j), get(kernel + 2 * j + 1));
  }
};

template <int N>
struct FloatTaps {
  F32 taps[N];
  const Lum32f* memory;
  FloatTaps(const Lum32f* kernel, int) : memory(kernel) {
    for (int k = 0; k < N; ++k) taps[k] = f32(get(kernel + k));
  }
  static constexpr int count() { return N; }
  F32 at(int k) const { return taps[k]; }
};
template <>
struct FloatTaps<0> {
  const Lum32f* memory;
  int n;
  FloatTaps(const Lum32f* kernel, int count) : memory(kernel), n(count) {}
  int count() const { return n; }
  F32 at(int k) const { return f32(get(memory + k)); }
};

// Vectors whose sums run side by side. With many taps the additions of one sum wait for each other.
template <int N>
constexpr int kIntegerVectors = N == 0 ? 2 : 1;
template <int N>
constexpr int kFloatVectors = N == 0 ? 4 : 1;

// Integer sums of operand(k, i) times tap k for vector i, two operands to a multiplication.
template <int B, int N, class Operand, class Finish>
LUM_INLINE void paired_sums(I16* v, const Taps<N>& taps, const Operand& operand, const Finish& finish) {
  I32 low[B], high[B];
  repeat<B>(B, [&](int i) LUM_INLINE_LAMBDA { low[i] = high[i] = i32(0); });
  repeat<N / 2>(taps.count() / 2, [&](int j) LUM_INLINE_LAMBDA {
    const I32 t = taps.at(j);
    repeat<B>(B, [&](int i) LUM_INLINE_LAMBDA {
      const I16 a = operand(2 * j, i), b = operand(2 * j + 1, i);
      low[i] = low[i] + multiply_pairs(unpack_low(a, b), t);
      high[i] = high[i] + multiply_pairs(unpack_high(a, b), t);
    });
  });
  repeat<B>(B, [&](int i) LUM_INLINE_LAMBDA {
    if (taps.count() % 2) {
      const I16 a = operand(taps.count() - 1, i);
      low[i] = low[i] + multiply_pairs(unpack_low(a, a), taps.last);
      high[i] = high[i] + multiply_pairs(unpack_high(a, a), taps.last);
    }
    v[i] = pack(finish(low[i]), finish(high[i]));
  });
}

// Float sums of operand(k, i) times tap k for vector i, in ascending k.
template <int B, int N, class Operand>
LUM_INLINE void ascending_sums(F32* v, const FloatTaps<N>& taps, const Operand& operand) {
  repeat<B>(B, [&](int i) LUM_INLINE_LAMBDA { v[i] = operand(0, i) * taps.at(0); });
  repeat<N - 1>(taps.count() - 1, [&](int k) LUM_INLINE_LAMBDA {
    const F32 t = taps.at(k + 1);
    repeat<B>(B, [&](int i) LUM_INLINE_LAMBDA { v[i] = v[i] + operand(k + 1, i) * t; });
  });
}

// ---- row pass ----

template <class S, int C, int N>
struct RowSums {
  using V = I16;
  static constexpr int kVectors = kIntegerVectors<N>, kBits = 32;
  const S* e;  // e[x + C k] is what tap k of output x sees
  Taps<N> taps;

  RowSums from(int x) const { return {e + x, taps}; }

  template <int B, class Finish>
  LUM_INLINE void compute(V* v, int x, const Finish& finish) const {
    if constexpr (C == 1)
      neighbours<B>(v, e + x, finish);
    else
      paired_sums<B>(
          v, taps, [&](int k, int i) LUM_INLINE_LAMBDA { return load(e + x + C * k + i * V::lanes); }, finish);
  }

  // One channel: neighbouring elements are neighbouring taps. Even outputs start their pairs at an even element, odd
  // ones at an odd element; the last tap of an odd count takes both from one load, so no element behind it is read.
  template <int B, class Finish>
  LUM_INLINE void neighbours(V* v, const S* p, const Finish& finish) const {
    I32 even[B], odd[B];
    repeat<B>(B, [&](int i) LUM_INLINE_LAMBDA { even[i] = odd[i] = i32(0); });
    repeat<N / 2>(taps.count() / 2, [&](int j) LUM_INLINE_LAMBDA {
      const I32 t = taps.at(j);
      repeat<B>(B, [&](int i) LUM_INLINE_LAMBDA {
        even[i] = even[i] + multiply_pairs(load(p + i * V::lanes + 2 * j), t);
        odd[i] = odd[i] + multiply_pairs(load(p + i * V::lanes + 2 * j + 1), t);
      });
    });
    repeat<B>(B, [&](int i) LUM_INLINE_LAMBDA {
      if (taps.count() % 2) {
        const I16 a = load(p + i * V::lanes + taps.count() - 1);
        even[i] = even[i] + multiply_pairs(a, taps.last);
        odd[i] = odd[i] + multiply_pairs(a, taps.last_for_odd);
      }
      v[i] = pack_even_odd(finish(even[i]), finish(odd[i]));
    });
  }

  template <class Finish>
  void element(Lum16s* d, int x, const Finish& finish) const {
    unsigned sum = 0;  // wraps as the vectors do
    for (int k = 0; k < taps.count(); ++k) sum += unsigned(get(taps.taps + k) * get(e + x + C * k));
    put_saturated(d, finish(int(sum)));
  }
};

// One channel of bytes whose sums fit 16 bits: two elements to a lane, the even outputs' sums and the odd ones'.
template <int N>
struct ByteRowSums {
  using V = I16;
  static constexpr int kVectors = 2, kBits = 16;
  RowSums<Lum8u, 1, N> wide;
  const ByteTaps<N>& taps;

  RowSums<Lum8u, 1, N> from(int x) const { return wide.from(x); }

  template <int B, class Finish>
  LUM_INLINE void compute(V* v, int x, const Finish& finish) const {
    if constexpr (B == 1) return wide.template compute<1>(v, x, finish);
    const Lum8u* const p = wide.e + x;
    I16 even = i16(0), odd = even;
    repeat<N / 2>(taps.count() / 2, [&](int j) LUM_INLINE_LAMBDA {
      even = even + multiply_bytes(load_bytes(p + 2 * j), taps.byte_pairs[j]);
      odd = odd + multiply_bytes(load_bytes(p + 2 * j + 1), taps.byte_pairs[j]);
    });
    if (taps.count() % 2) {
      const I16 end = load_bytes(p + taps.count() - 1);
      even = even + multiply_bytes(end, taps.byte_last);
      odd = odd + multiply_bytes(end, taps.byte_last_for_odd);
    }
    interleave(finished(even, finish), finished(odd, finish), v);
  }
  template <class Finish>
  void element(Lum16s* d, int x, const Finish& finish) const {
    wide.element(d, x, finish);
  }

 private:
  LUM_INLINE static I16 finished(I16 sums, Saturate) { return sums; }
  LUM_INLINE static I16 finished(I16 sums, const NearestByShift& finish) { return finish.of_16_bits(sums); }
  LUM_INLINE static I16 finished(I16 sums, const auto& finish) {
    return pack(finish(widen_low(sums)), finish(widen_high(sums)));
  }
};

template <int C, int N>
struct FloatRowSums {
  using V = F32;
  static constexpr int kVectors = kFloatVectors<N>;
  const Lum32f* e;
  FloatTaps<N> taps;

  template <int B>
  LUM_INLINE void compute(V* v, int x, Saturate) const {
    ascending_sums<B>(v, taps, [&](int k, int i) LUM_INLINE_LAMBDA { return load(e + x + C * k + i * V::lanes); });
  }
  void element(Lum32f* d, int x, Saturate) const {
    Lum32f sum = get(e + x) * get(taps.memory);
    for (int k = 1; k < taps.count(); ++k) sum += get(e + x + C * k) * get(taps.memory + k);
    put(d, sum);
  }
};

// The outputs of columns [begin, end) to d; e is what tap 0 of column `begin` sees, `behind` says whether a vector of
// elements may be read behind what the last column sees.
template <int C, int N, class S>
LUM_INLINE void row_span(const RowPass<S>& pass, const S* e, Lum16s* d, int begin, int end, bool behind, Taps<N> taps) {
  const int bulk = pass.roi.width / 16 * 16;
  run_scaled(RowSums<S, C, N>{e, taps}, d, (end - begin) * C, (bulk - begin) * C, {0, behind}, pass.scale);
}
template <int C, int N>
LUM_INLINE void row_span(const RowPass<Lum8u>& pass, const Lum8u* e, Lum16s* d, int begin, int end, bool behind,
                         const ByteTaps<N>& taps) {
  const int bulk = pass.roi.width / 16 * 16;
  run_scaled(ByteRowSums<N>{{e, taps}, taps}, d, end - begin, bulk - begin, {0, behind}, pass.scale);
}
template <int C, int N>
LUM_INLINE void row_span(const RowPass<Lum32f>&, const Lum32f* e, Lum32f* d, int begin, int end, bool behind,
                         FloatTaps<N> taps) {
  run(FloatRowSums<C, N>{e, taps}, d, (end - begin) * C, {0, behind}, Saturate{});
}

// What the outputs [begin, end) see, border included.
template <int C, class S>
inline void bordered_stretch(const RowPass<S>& pass, const S* row, int begin, int end, S* stretch) {
  const long long first = (long long)begin - pass.anchor;
  const int n = end - begin + pass.taps - 1, width = pass.roi.width;
  const int inside = first < 0 ? clamp(pass.anchor - begin, 0, n) : 0;  // where the row itself begins in the stretch
  const int outside = first + n > width ? int(width - first > inside ? width - first : inside) : n;
  const auto copy = [&](int i, long long x) {
    for (int c = 0; c < C; ++c) put(stretch + i * C + c, x < 0 ? pass.border_value : get(row + (ptrdiff_t)x * C + c));
  };
  for (int i = 0; i < inside; ++i) copy(i, border_index(first + i, width, pass.border));
  if (inside < outside)
    memcpy(stretch + inside * C, row + (ptrdiff_t)(first + inside) * C, (outside - inside) * C * sizeof(S));
  for (int i = outside; i < n; ++i) copy(i, border_index(first + i, width, pass.border));
}

// The columns whose outputs see the border, at both ends of a row or, in short rows, all of them; `right` to the end and
// the beginning to `left` go by stretches. An end is some vectors long even if few of its outputs see the border.
struct Ends {
  int left, right;
};
template <int C, class S>
inline Ends ends_of(const RowPass<S>& pass) {
  constexpr int kEnd = 32, kShort = 1024;
  const Rows columns = pass.columns;
  if ((long long)(columns.end - columns.begin + pass.taps) * C * (int)sizeof(S) <= kShort)
    return {columns.end, columns.end};
  const int last = pass.roi.width - (pass.taps - 1 - pass.anchor);  // sees the border on the right
  Ends ends = {columns.begin, columns.end};
  if (columns.begin < pass.anchor)
    ends.left = clamp(pass.anchor > kEnd ? pass.anchor : kEnd, columns.begin, columns.end);
  if (last < columns.end)
    ends.right = clamp(last < columns.end - kEnd ? last : columns.end - kEnd, ends.left, columns.end);
  return ends;
}

// Rows go some at a time: what is stored into stretches has reached the cache when it is loaded.
template <int C, class S, class T>
inline void row_band_taps(const RowPass<S>& pass, Rows rows, S* stretches, int room, const T& taps) {
  constexpr int kRows = 8;
  const auto [left, right] = ends_of<C>(pass);
  const int begin = pass.columns.begin, end = pass.columns.end;
  const long long longest = (left - begin > end - right ? left - begin : end - right) + pass.taps - 1LL;
  const long long pitch = (longest * C * (int)sizeof(S) + 32 + 15) / 16 * 16 / (int)sizeof(S);
  const int at_once = clamp(int(room / (pitch * (int)sizeof(S))), 1, kRows);

  for (int y = rows.begin, count; y < rows.end; y += count) {
    count = rows.end - y < at_once ? rows.end - y : at_once;
    const auto bordered = [&](int from, int to) LUM_INLINE_LAMBDA {
      if (from == to) return;
      for (int i = 0; i < count; ++i) bordered_stretch<C>(pass, pass.src.row(y + i), from, to, stretches + i * pitch);
      for (int i = 0; i < count; ++i) {
        Mid<S>* const d = get(pass.dst + y + i) + (ptrdiff_t)(from - begin) * C;
        row_span<C>(pass, stretches + i * pitch, d, from, to, true, taps);
      }
    };
    bordered(begin, left);
    bordered(right, end);
    for (int i = 0; i < count && left < right; ++i) {
      const S* const seen = pass.src.row(y + i) + (ptrdiff_t)(left - pass.anchor) * C;
      row_span<C>(pass, seen, get(pass.dst + y + i) + (ptrdiff_t)(left - begin) * C, left, right, false, taps);
    }
  }
}

// Taps of a count that most filters have stay in registers.
template <template <int> class T, class M, class Body>
inline void with_taps(const M* kernel, int count, const Body& body) {
  switch (count) {
    case 3: return body(T<3>(kernel, 3));
    case 5: return body(T<5>(kernel, 5));
    default: return body(T<0>(kernel, count));
  }
}

template <class M>
struct TapsOf;
template <>
struct TapsOf<Lum16s> {
  template <class Body>
  static void with(const Lum16s* kernel, int count, const Body& body) {
    with_taps<Taps>(kernel, count, body);
  }
};
template <>
struct TapsOf<Lum32f> {
  template <class Body>
  static void with(const Lum32f* kernel, int count, const Body& body) {
    with_taps<FloatTaps>(kernel, count, body);
  }
};

// ---- column pass ----

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

template <class S, int C>
void row_band(const RowPass<S>& pass, Rows rows, Lum8u* scratch) {
  alignas(16) Lum8u stack[kRowStack];
  const bool own = row_scratch<S, C>(pass.taps) <= kRowStack;
  S* const stretches = (S*)(own ? stack : scratch);
  const auto band = [&](const auto& taps) { row_band_taps<C>(pass, rows, stretches, own ? kRowStack : 0, taps); };
  if constexpr (sizeof(S) == 1 && C == 1)
    if (pass.small) return with_taps<ByteTaps>(pass.kernel, pass.taps, band);
  TapsOf<Mid<S>>::with(pass.kernel, pass.taps, band);
}

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

template void row_band<Lum8u, 1>(const RowPass<Lum8u>&, Rows, Lum8u*);
template void row_band<Lum8u, 3>(const RowPass<Lum8u>&, Rows, Lum8u*);
template void row_band<Lum16s, 1>(const RowPass<Lum16s>&, Rows, Lum8u*);
template void row_band<Lum16s, 3>(const RowPass<Lum16s>&, Rows, Lum8u*);
template void row_band<Lum32f, 1>(const RowPass<Lum32f>&, Rows, Lum8u*);
template void row_band<Lum32f, 3>(const RowPass<Lum32f>&, Rows, Lum8u*);
template void column_band(const ColumnPass<Lum16s, Lum16s>&, Rows);
template void column_band(const ColumnPass<Lum16s, Lum8u>&, Rows);
template void column_band(const ColumnPass<Lum16s, Lum8s>&, Rows);

}  // namespace lum::LUM_LEVEL
