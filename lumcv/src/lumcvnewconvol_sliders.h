// The fixed filters as sliders: source rows go in from the top of a block of columns, output rows come out. For the
// kernels of one level; included once per level.
#pragma once
#include <utility>

#include "core/vec.h"
#include "lumcvnewconvol_kernels.h"

namespace lum::LUM_LEVEL {
namespace {

// ---- blocks of pixels ----

// Bytes as they are computed with: the even pixels of a block and the odd ones, as a load of two bytes to a lane gives
// them with a mask and a shift.
struct Pair {
  I16 even, odd;
};
inline Pair operator+(Pair a, Pair b) { return {a.even + b.even, a.odd + b.odd}; }
inline Pair operator-(Pair a, Pair b) { return {a.even - b.even, a.odd - b.odd}; }
inline Pair operator-(Pair a) { return {-a.even, -a.odd}; }

inline auto twice(auto a) { return a + a; }
// A whole factor.
inline F32 times(F32 a, int n) { return a * f32(Lum32f(n)); }
inline Pair times(Pair a, int n) { return {a.even * i16(Lum16s(n)), a.odd * i16(Lum16s(n))}; }
template <int Bits>
inline Pair shift_left(Pair a) {
  return {shift_left<Bits>(a.even), shift_left<Bits>(a.odd)};
}

enum class Side { kLeft, kRight };

// The pixels of a block, or those k to the right of them. Bytes are loaded once for each k: the odd pixels are the even
// ones of k + 1, which costs no instruction of its own where a mask takes its operand from memory.
class AroundBytes {
 public:
  explicit AroundBytes(const Lum8u* p) : p_(p) {}
  LUM_INLINE Pair operator()(int k) const { return {low_bytes(bytes(k)), low_bytes(bytes(k + 1))}; }
  // Two to a lane.
  LUM_INLINE I16 bytes(int k) const { return load_bytes(p_ + k); }

  // Of a block at a side of the image; `outside` holds the two pixels that stand there, in every lane.
  template <Side side>
  class AtSide {
   public:
    AtSide(const Lum8u* p, I16 outside) : p_(p), here_(load_bytes(p)), outside_(outside) {}
    LUM_INLINE Pair operator()(int k) const { return {low_bytes(bytes(k)), low_bytes(bytes(k + 1))}; }
    LUM_INLINE I16 bytes(int k) const {
      constexpr int n = 2 * I16::lanes;
      if (k == 0) return here_;
      if ((k > 0) == (side == Side::kLeft)) return load_bytes(p_ + k);
      switch (k) {
        case -2: return window_bytes<n - 2>(outside_, here_);
        case -1: return window_bytes<n - 1>(outside_, here_);
        case 1: return window_bytes<1>(here_, outside_);
        case 2: return window_bytes<2>(here_, outside_);
        default: return window_bytes<3>(here_, outside_);
      }
    }

   private:
    const Lum8u* p_;
    I16 here_, outside_;
  };
  template <Side side>
  static AtSide<side> at(const Lum8u* p, I16 outside) {
    return {p, outside};
  }

 private:
  const Lum8u* p_;
};

class AroundFloats {
 public:
  explicit AroundFloats(const Lum32f* p) : p_(p) {}
  LUM_INLINE F32 operator()(int k) const { return load(p_ + k); }

  template <Side side>
  class AtSide {
   public:
    AtSide(const Lum32f* p, F32 outside) : p_(p), here_(load(p)), outside_(outside) {}
    LUM_INLINE F32 operator()(int k) const {
      constexpr int n = F32::lanes;
      if (k == 0) return here_;
      if ((k > 0) == (side == Side::kLeft)) return load(p_ + k);
      switch (k) {
        case -4: return window<n - 4>(outside_, here_);
        case -3: return window<n - 3>(outside_, here_);
        case -2: return window<n - 2>(outside_, here_);
        case -1: return window<n - 1>(outside_, here_);
        case 1: return window<1>(here_, outside_);
        case 2: return window<2>(here_, outside_);
        case 3: return window<3>(here_, outside_);
        default: return window<4>(here_, outside_);
      }
    }

   private:
    const Lum32f* p_;
    F32 here_, outside_;
  };
  // Of a block at a side of the image; `outside` holds the four pixels that stand there, in every four lanes.
  template <Side side>
  static AtSide<side> at(const Lum32f* p, F32 outside) {
    return {p, outside};
  }

 private:
  const Lum32f* p_;
};

template <class S>
struct BlockOf {
  using V = Pair;
  using Around = AroundBytes;
  static constexpr int columns = 2 * I16::lanes;
  static constexpr int sides = 2;  // pixels that a block looks at on either side of it, at most
  static Pair all(int v) { return {i16(Lum16s(v)), i16(Lum16s(v))}; }
  // Pixels outside of the image as Around::at() takes them.
  static I16 outside(const Lum8u* v) { return i16(Lum16s(v[0] | v[1] << 8)); }
};
template <>
struct BlockOf<Lum32f> {
  using V = F32;
  using Around = AroundFloats;
  static constexpr int columns = F32::lanes;
  static constexpr int sides = kMostGaussTaps / 2;
  static F32 all(Lum32f v) { return f32(v); }
  static F32 outside(const Lum32f* v) { return f32(v[0], v[1], v[2], v[3]); }
};
template <class S>
constexpr int kColumns = BlockOf<S>::columns;

// ---- kernels ----
//
// Float sums run in ascending order; where the order written here differs, it is the rule (5-tap Dx cancels exactly on
// equal pixels) or exact (doubling). Integer sums are exact in any order: theirs is the shortest.

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
  auto operator()(auto a, auto b, auto c) const { return a - twice(b) + c; }
};
struct Sobel3 {
  static constexpr int taps = 3, sum = 4;
  F32 operator()(F32 a, F32 b, F32 c) const { return a + twice(b) + c; }
  Pair operator()(Pair a, Pair b, Pair c) const { return (a + b) + (b + c); }  // along a row, neighbours share sums
};
struct Scharr3 {
  static constexpr int taps = 3, sum = 16;
  F32 operator()(F32 a, F32 b, F32 c) const { return times(a, 3) + times(b, 10) + times(c, 3); }
  Pair operator()(Pair a, Pair b, Pair c) const { return times(a + c, 3) + times(b, 10); }
};
struct Avr3 {
  static constexpr int taps = 3, sum = 3;
  F32 operator()(F32 a, F32 b, F32 c) const { return a + b + c; }
  // Along a row, the even pixels' b + c is the odd ones' a + b.
  Pair operator()(Pair a, Pair b, Pair c) const { return {a.even + (b.even + c.even), (a.odd + b.odd) + c.odd}; }
};
struct Dx5 {
  static constexpr int taps = 5, sum = 0;
  auto operator()(auto a, auto b, auto, auto d, auto e) const { return (e - a) + twice(d - b); }
};
struct DxNeg5 {
  static constexpr int taps = 5, sum = 0;
  auto operator()(auto a, auto b, auto, auto d, auto e) const { return (a - e) + twice(b - d); }
};
struct D2x5 {
  static constexpr int taps = 5, sum = 0;
  auto operator()(auto a, auto, auto c, auto, auto e) const { return a - twice(c) + e; }
};
struct Sobel5 {
  static constexpr int taps = 5, sum = 16;
  F32 operator()(F32 a, F32 b, F32 c, F32 d, F32 e) const { return a + times(b, 4) + times(c, 6) + times(d, 4) + e; }
  Pair operator()(Pair a, Pair b, Pair c, Pair d, Pair e) const {
    const Sobel3 sobel3;
    return sobel3(sobel3(a, b, c), sobel3(b, c, d), sobel3(c, d, e));
  }
};
struct Avr5 {
  static constexpr int taps = 5, sum = 5;
  F32 operator()(F32 a, F32 b, F32 c, F32 d, F32 e) const { return a + b + c + d + e; }
  Pair operator()(Pair a, Pair b, Pair c, Pair d, Pair e) const {
    return {a.even + ((b.even + c.even) + (d.even + e.even)), ((a.odd + b.odd) + (c.odd + d.odd)) + e.odd};
  }
};
template <class Rule>
struct Negated {
  static constexpr int taps = Rule::taps;
  auto operator()(auto... v) const { return -Rule{}(v...); }
};

// A kernel on as many values as it has taps.
template <class Rule, class Fetch, int... K>
LUM_INLINE auto apply(const Fetch& fetch, std::integer_sequence<int, K...>) {
  return Rule{}(fetch(K)...);
}
template <class Rule, class Fetch>
LUM_INLINE auto apply(const Fetch& fetch) {
  return apply<Rule>(fetch, std::make_integer_sequence<int, Rule::taps>());
}

// A kernel along a row.
template <class Rule>
LUM_INLINE auto filter_row(const auto& around) {
  return apply<Rule>([&](int k) { return around(k - Rule::taps / 2); });
}
template <class Rule, class Around>
requires(kMultipliesBytes&& std::is_same_v<Rule, Sobel5>&& requires(Around around) { around.bytes(0); }) LUM_INLINE Pair
    filter_row(const Around& around) {
  const BytePair first = byte_pair(1, 4), second = byte_pair(6, 4);
  const auto sum = [&](int k) {
    return multiply_bytes(around.bytes(k - 2), first) + multiply_bytes(around.bytes(k), second) +
           low_bytes(around.bytes(k + 2));
  };
  return {sum(0), sum(1)};
}

// ---- sliders ----
//
// down() takes the next source row, as the pixels around a block, and gives the output row whose last source row that
// is; the first K-1 outputs are junk. down_border() takes a row outside of the image that is all border value.

template <class S, class OfRow, class OfColumn>
class Separable {
 public:
  using V = typename BlockOf<S>::V;
  static constexpr int taps = OfRow::taps;

  LUM_INLINE V down(const auto& around) { return push(filter_row<OfRow>(around)); }
  LUM_INLINE V down_border(S value) { return push(BlockOf<S>::all(value * OfRow::sum)); }

 private:
  LUM_INLINE V push(V row) {
#pragma GCC unroll 16
    for (int k = 0; k < taps - 1; ++k) rows_[k] = rows_[k + 1];
    rows_[taps - 1] = row;
    return apply<OfColumn>([&](int k) { return rows_[k]; });
  }
  V rows_[taps] = {};
};

// The same for integers with sums 1 2 1 or 1 4 6 4 1 down the columns: K-1 times the sum of two neighbours.
template <class OfRow, int Taps>
class Binomial {
 public:
  static constexpr int taps = Taps;
  LUM_INLINE Pair down(const auto& around) { return push(filter_row<OfRow>(around)); }
  LUM_INLINE Pair down_border(Lum8u value) { return push(BlockOf<Lum8u>::all(value * OfRow::sum)); }

 private:
  LUM_INLINE Pair push(Pair row) {
#pragma GCC unroll 16
    for (Pair& last : last_) {
      const Pair sum = row + last;
      last = row;
      row = sum;
    }
    return row;
  }
  Pair last_[taps - 1] = {};
};
template <class OfRow>
class Separable<Lum8u, OfRow, Sobel3> : public Binomial<OfRow, 3> {};
template <class OfRow>
class Separable<Lum8u, OfRow, Sobel5> : public Binomial<OfRow, 5> {};

// The same for integers with sums of all ones down the columns: what comes in is added, what goes out is taken away.
template <class OfRow, int Taps>
class Running {
 public:
  static constexpr int taps = Taps;
  LUM_INLINE Pair down(const auto& around) { return push(filter_row<OfRow>(around)); }
  LUM_INLINE Pair down_border(Lum8u value) { return push(BlockOf<Lum8u>::all(value * OfRow::sum)); }

 private:
  LUM_INLINE Pair push(Pair row) {
    const Pair result = sum_ + row;
    sum_ = result - rows_[0];
#pragma GCC unroll 16
    for (int k = 0; k < taps - 2; ++k) rows_[k] = rows_[k + 1];
    rows_[taps - 2] = row;
    return result;
  }
  Pair sum_ = {}, rows_[taps - 1] = {};
};
template <class OfRow>
class Separable<Lum8u, OfRow, Avr5> : public Running<OfRow, 5> {};

template <class A, class B>
class Sum {
 public:
  static constexpr int taps = A::taps;
  LUM_INLINE auto down(const auto& around) { return a_.down(around) + b_.down(around); }
  LUM_INLINE auto down_border(auto value) { return a_.down_border(value) + b_.down_border(value); }

 private:
  A a_;
  B b_;
};

// 3x3 in integers: 2 0 2 / 0 -8 0 / 2 0 2.
class IntegerLaplacian3 {
 public:
  static constexpr int taps = 3;
  LUM_INLINE Pair down(const auto& around) {
    const Pair sides = around(-1) + around(1);
    const Pair corners = sides_[0] + sides, result = corners + corners - shift_left<3>(middle_);
    sides_[0] = sides_[1];
    sides_[1] = sides;
    middle_ = around(0);
    return result;
  }
  LUM_INLINE Pair down_border(Lum8u value) {
    return down([&](int) { return BlockOf<Lum8u>::all(value); });
  }

 private:
  Pair sides_[2] = {}, middle_ = {};
};

// 5x5 in integers, with a = 1 2 2 2 1, b = 2 0 -4 0 2 and c = 2 -4 -12 -4 2: twice a / b / c / b / a. The outputs that a
// row takes part in are summed up side by side; that needs fewer registers than the rows.
class IntegerLaplacian5 {
 public:
  static constexpr int taps = 5;
  LUM_INLINE Pair down(const auto& around) {
    const Pair outer = around(-2) + around(2), inner = around(-1) + around(1), middle = around(0);
    const Pair a = outer + shift_left<1>(inner + middle), b = shift_left<1>(outer - (middle + middle));
    const Pair c = b - shift_left<2>(inner + middle + middle);
    const Pair result = sums_[0] + a;
    sums_[0] = sums_[1] + b;
    sums_[1] = sums_[2] + c;
    sums_[2] = sums_[3] + b;
    sums_[3] = a;
    return result + result;
  }
  LUM_INLINE Pair down_border(Lum8u value) {
    return down([&](int) { return BlockOf<Lum8u>::all(value); });
  }

 private:
  Pair sums_[4] = {};
};

// Box sums become means. The integer forms are the rule, not an approximation: 5x5 has no rounding term.
inline I16 mean9(I16 s) {
#if defined(__AVX2__)
  return multiply_high_rounded(s, i16(3641));  // the same for all sums up to 9 * 255
#else
  return multiply_high_unsigned(s + i16(5), i16(7280));
#endif
}
inline Pair mean9(Pair s) { return {mean9(s.even), mean9(s.odd)}; }
inline Pair mean25(Pair s) {
  const I16 factor = i16(2621);
  return {multiply_high_unsigned(s.even, factor), multiply_high_unsigned(s.odd, factor)};
}
inline F32 mean9(F32 s) { return s * f32(1.0f / 9); }
inline F32 mean25(F32 s) { return s * f32(1.0f / 25); }

template <class S, class Rule>
class Mean {
 public:
  static constexpr int taps = Rule::taps;
  LUM_INLINE auto down(const auto& around) { return mean(sums_.down(around)); }
  LUM_INLINE auto down_border(S value) { return mean(sums_.down_border(value)); }

 private:
  static auto mean(auto sum) {
    if constexpr (taps == 3)
      return mean9(sum);
    else
      return mean25(sum);
  }
  Separable<S, Rule, Rule> sums_;
};

// A pass of K taps along rows, and the same down the columns.
template <int K>
class Gauss {
 public:
  static constexpr int taps = K;
  explicit Gauss(const F32* kernel) : kernel_(kernel) {}

  LUM_INLINE F32 down(const auto& around) {
    return push(sum([&](int k) { return around(k - K / 2); }));
  }
  LUM_INLINE F32 down_border(Lum32f value) {
    return push(sum([&](int) { return f32(value); }));
  }

 private:
  LUM_INLINE F32 sum(const auto& fetch) const {
    F32 s = fetch(0) * kernel_[0];
#pragma GCC unroll 16
    for (int k = 1; k < K; ++k) s = s + fetch(k) * kernel_[k];
    return s;
  }
  LUM_INLINE F32 push(F32 row) {
#pragma GCC unroll 16
    for (int k = 0; k < K - 1; ++k) rows_[k] = rows_[k + 1];
    rows_[K - 1] = row;
    return sum([&](int k) { return rows_[k]; });
  }
  const F32* kernel_;
  F32 rows_[K] = {};
};

}  // namespace
}  // namespace lum::LUM_LEVEL
