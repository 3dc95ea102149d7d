// What row and column passes share: how sums become elements, runs over the elements of a row, taps, sums of products.
// For the kernels of one level; included once per file and level.
#pragma once
#include "core/vec.h"
#include "lumcvseparable_kernels.h"

namespace lum::LUM_LEVEL {
namespace {

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

// The same as Nearest for sums of 16 bits and odd divisors: no sum lies in the middle of two integers. Sums above
// kMostOddSum are taken for kMostOddSum.
class OddNearest {
 public:
  explicit OddNearest(Scale scale)
      : factor_(i16(scale.odd_factor)), half_(i16(Lum16s(1 << scale.odd_shift >> 1))), shift_(scale.odd_shift) {}
  I16 operator()(I16 sum) const { return shift_right(multiply_high(add_saturated(sum, sum), factor_) + half_, shift_); }

 private:
  I16 factor_, half_;
  int shift_;
};
// The same where the divisor has a factor that is near enough.
#if defined(__AVX2__)
class FactorNearest {
 public:
  explicit FactorNearest(Scale scale) : factor_(i16(scale.near_factor)) {}
  I16 operator()(I16 sum) const { return multiply_high_rounded(sum, factor_); }

 private:
  I16 factor_;
};
#else
using FactorNearest = OddNearest;
#endif
template <class Of16Bits>
struct NearestOf {
  Of16Bits of_16_bits;
  Nearest<false> nearest;
  auto operator()(auto sum) const { return nearest(sum); }
};
// body(finish) for the shortest way to divide sums of 16 bits, if there is one. Tells whether there is.
template <class Body>
inline bool with_nearest_of_16_bits(Scale scale, const Body& body) {
  const Nearest<false> nearest{{scale.reciprocal}};
  if (scale.shift)
    body(NearestOf<ShiftNearest>{ShiftNearest(scale.shift), nearest});
  else if (scale.near_factor)
    body(NearestOf<FactorNearest>{FactorNearest(scale), nearest});
  else if (scale.odd_factor)
    body(NearestOf<OddNearest>{OddNearest(scale), nearest});
  else
    return false;
  return true;
}
// Sums of 32 bits become elements of 16.
LUM_INLINE I16 packed(I32 low, I32 high, const auto& finish) { return pack(finish(low), finish(high)); }
// Only for what ends up as bytes: all greater sums do.
template <class Of16Bits>
LUM_INLINE I16 packed(I32 low, I32 high, const NearestOf<Of16Bits>& finish) {
  return finish.of_16_bits(pack(low, high));
}

inline int clamp(int v, int low, int high) { return v < low ? low : v > high ? high : v; }
inline void put_saturated(Lum16s* d, int v) { put(d, Lum16s(clamp(v, -32768, 32767))); }
inline void put_saturated(Lum8u* d, int v) { *d = Lum8u(clamp(v, 0, 255)); }
inline void put_saturated(Lum8s* d, int v) { *d = Lum8s(clamp(v, -128, 127)); }

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

// For the few elements behind: one copy for all kinds of nearest.
template <class D, class Kernel, class Truncate>
[[gnu::noinline]] void run_truncated(const Kernel& kernel, D* d, int n, Margin margin, const Truncate& truncate) {
  run(kernel, d, n, margin, truncate);
}

// The same where the first `bulk` elements are rounded and the rest truncated.
// A kernel's kBits is what its sums need: 16 fit a 16-bit integer, 24 a float, 32 may be anything.
template <class D, class Kernel, class Nearest, class Truncate>
LUM_INLINE void run_rounded(const Kernel& kernel, D* d, int n, int bulk, Margin margin, const Nearest& nearest,
                            const Truncate& truncate) {
  bulk = clamp(bulk, 0, n);
  run(kernel, d, bulk, margin, nearest);
  if (bulk == n) return;
  margin.before += bulk;
  run_truncated(kernel.from(bulk), d + bulk, n - bulk, margin, truncate);
}
template <class D, class Kernel>
LUM_INLINE void run_scaled(const Kernel& kernel, D* d, int n, int bulk, Margin margin, Scale scale) {
  const Lum32f r = scale.reciprocal;
  if (scale.unit) return run(kernel, d, n, margin, Saturate{});
  if constexpr (Kernel::kBits == 16 || (Kernel::kBits == 24 && sizeof(D) == 1)) {
    const auto rounded = [&](const auto& nearest) {
      run_rounded(kernel, d, n, bulk, margin, nearest, Truncate<false>{r});
    };
    if (with_nearest_of_16_bits(scale, rounded)) return;
  }
  if (Kernel::kBits == 32 && scale.clamp)
    run_rounded(kernel, d, n, bulk, margin, Nearest<true>{r}, Truncate<true>{r});
  else
    run_rounded(kernel, d, n, bulk, margin, Nearest<false>{r}, Truncate<false>{r});
}

// Taps that a loop works with.
template <int N, class V>
LUM_INLINE void copy(V* to, const V* from) {
  repeat<N>(0, [&](int i) LUM_INLINE_LAMBDA { to[i] = renewed(from[i]); });
}

// Pairs of integer taps, and pairs of which the first tap belongs to the element in front. A count known at compile time
// keeps them in registers; 0 leaves them in the caller's memory.
template <int N>
struct Taps {
  static_assert(N % 2 == 1);
  I32 pairs[N / 2], last, odd_pairs[N / 2 + 1];
  const Lum16s* taps;
  Taps(const Lum16s* kernel, int) : last(pair(get(kernel + N - 1), 0)), taps(kernel) {
    odd_pairs[0] = pair(0, get(kernel));
    for (int j = 0; j < N / 2; ++j) {
      pairs[j] = pair(get(kernel + 2 * j), get(kernel + 2 * j + 1));
      odd_pairs[j + 1] = pair(get(kernel + 2 * j + 1), get(kernel + 2 * j + 2));
    }
  }
  Taps(const Taps& o) : last(renewed(o.last)), taps(o.taps) {
    copy<N / 2>(pairs, o.pairs);
    copy<N / 2 + 1>(odd_pairs, o.odd_pairs);
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

// The same taps one by one.
template <int N>
struct NarrowTaps {
  I16 words[N ? N : kMostNarrowTaps];
  const Lum16s* taps;
  int n;
  NarrowTaps(const Lum16s* kernel, int count) : taps(kernel), n(count) {
    for (int k = 0; k < count && k < kMostNarrowTaps; ++k) words[k] = i16(get(kernel + k));
  }
  NarrowTaps(const NarrowTaps& o) : taps(o.taps), n(o.n) { copy<N ? N : kMostNarrowTaps>(words, o.words); }
  int count() const { return N ? N : n; }
};
template <int N>
struct WideOrNarrowTaps : Taps<N> {
  NarrowTaps<N> narrow;
  WideOrNarrowTaps(const Lum16s* kernel, int count) : Taps<N>(kernel, count), narrow(kernel, count) {}
};

// The same as factors of bytes.
template <int N>
struct ByteTaps : Taps<N> {
  BytePair byte_pairs[N / 2], byte_last, byte_odd_pairs[N / 2 + 1];
  ByteTaps(const Lum16s* kernel, int count) : Taps<N>(kernel, count), byte_last(byte_pair(get(kernel + N - 1), 0)) {
    byte_odd_pairs[0] = byte_pair(0, get(kernel));
    for (int j = 0; j < N / 2; ++j) {
      byte_pairs[j] = byte_pair(get(kernel + 2 * j), get(kernel + 2 * j + 1));
      byte_odd_pairs[j + 1] = byte_pair(get(kernel + 2 * j + 1), get(kernel + 2 * j + 2));
    }
  }
  ByteTaps(const ByteTaps& o) : Taps<N>(o), byte_last(renewed(o.byte_last)) {
    copy<N / 2>(byte_pairs, o.byte_pairs);
    copy<N / 2 + 1>(byte_odd_pairs, o.byte_odd_pairs);
  }
  // Where bytes are not multiplied in pairs: one tap.
  I16 word(int k) const { return word(k == N - 1 ? byte_last : byte_pairs[k / 2], k % 2); }

 private:
  static I16 word(const auto& pair, bool second) { return second ? pair.second : pair.first; }
};
template <>
struct ByteTaps<0> : Taps<0> {
  BytePair byte_pairs[kMostByteTaps / 2], byte_last, byte_last_for_odd;
  ByteTaps(const Lum16s* kernel, int count)
      : Taps<0>(kernel, count), byte_last(byte_pair(get(kernel + count - 1), 0)),
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
  FloatTaps(const FloatTaps& o) : memory(o.memory) { copy<N>(taps, o.taps); }
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
constexpr int kFloatVectors = N == 0 ? 4 : 2;

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
    v[i] = packed(low[i], high[i], finish);
  });
}

// What becomes of sums of 16 bits.
LUM_INLINE I16 finished(I16 sums, Saturate) { return sums; }
template <class Of16Bits>
LUM_INLINE I16 finished(I16 sums, const NearestOf<Of16Bits>& finish) {
  return finish.of_16_bits(sums);
}
LUM_INLINE I16 finished(I16 sums, const auto& finish) {
  return pack(finish(widen_low(sums)), finish(widen_high(sums)));
}

// To look at elements for sums of 16 bits costs more than it saves where products overwrite a factor.
constexpr bool kLooksForNarrow = F32::lanes == 8;

// Whether magnitudes of elements exceed a limit of up to kMostNarrow.
struct Limit {
  explicit Limit(int limit) : from_least(i16(Lum16s(limit))), most(i16(Lum16s(2 * limit))) {}
  I16 from_least, most;
};
class Range {
 public:
  LUM_INLINE void add(I16 v, const Limit& limit) { highest_ = max_unsigned(highest_, v + limit.from_least); }
  LUM_INLINE void add(const Range& other) { highest_ = max_unsigned(highest_, other.highest_); }
  LUM_INLINE bool exceeds(const Limit& limit) const { return any_bit(subtract_unsigned(highest_, limit.most)); }

 private:
  I16 highest_ = {};
};
inline bool each_within(const Lum16s* p, int n, int most) {
  for (int x = 0; x < n; ++x)
    if (get(p + x) > most || get(p + x) < -most) return false;
  return true;
}
inline bool within(const Lum16s* p, int n, int most) {
  constexpr int kRanges = 4, kLanes = I16::lanes, kStep = kRanges * kLanes, kBlock = 8 * kStep;
  if (n < kLanes) return each_within(p, n, most);
  const Limit limit(most);
  Range ranges[kRanges];
  for (int x = 0, end; x < n; x = end) {
    end = n - x < kBlock ? n : x + kBlock;
    for (; x <= end - kStep; x += kStep)
      repeat<kRanges>(0, [&](int i) LUM_INLINE_LAMBDA { ranges[i].add(load(p + x + i * kLanes), limit); });
    for (; x <= end - kLanes; x += kLanes) ranges[0].add(load(p + x), limit);
    repeat<kRanges - 1>(0, [&](int i) LUM_INLINE_LAMBDA { ranges[0].add(ranges[i + 1]); });
    if (ranges[0].exceeds(limit) || !each_within(p + x, end - x, most)) return false;
  }
  return true;
}

// Sums that fit 16 bits, of elements that a Source loads.
template <class Source, int N>
struct NarrowSums {
  using V = I16;
  static constexpr int kVectors = 2, kBits = 16;
  Source source;
  std::conditional_t<N == 0, const NarrowTaps<N>&, NarrowTaps<N>> taps;

  NarrowSums from(int x) const { return {source.from(x), taps}; }

  template <int B, class Finish>
  LUM_INLINE void compute(V* v, int x, const Finish& finish) const {
    repeat<B>(B, [&](int i) LUM_INLINE_LAMBDA { v[i] = i16(0); });
    repeat<N>(taps.count(), [&](int k) LUM_INLINE_LAMBDA {
      repeat<B>(B,
                [&](int i) LUM_INLINE_LAMBDA { v[i] = v[i] + load(source.at(k, x + i * V::lanes)) * taps.words[k]; });
    });
    repeat<B>(B, [&](int i) LUM_INLINE_LAMBDA { v[i] = finished(v[i], finish); });
  }
  template <class D, class Finish>
  void element(D* d, int x, const Finish& finish) const {
    int sum = 0;
    for (int k = 0; k < taps.count(); ++k) sum += get(taps.taps + k) * get(source.at(k, x));
    put_saturated(d, finish(sum));
  }
};

// Float sums of operand(k, i) times tap k for vector i, in ascending k.
template <int B, int N, class Operand>
LUM_INLINE void ascending_sums(F32* v, const FloatTaps<N>& taps, const Operand& operand) {
  repeat<B>(B, [&](int i) LUM_INLINE_LAMBDA { v[i] = operand(0, i) * taps.at(0); });
  repeat<N - 1>(taps.count() - 1, [&](int k) LUM_INLINE_LAMBDA {
    const F32 t = taps.at(k + 1);
    repeat<B>(B, [&](int i) LUM_INLINE_LAMBDA { v[i] = v[i] + operand(k + 1, i) * t; });
  });
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

}  // namespace
}  // namespace lum::LUM_LEVEL
