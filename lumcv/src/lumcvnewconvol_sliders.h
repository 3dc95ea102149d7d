// The fixed filters as sliders: source rows go in from the top of a block of columns, output rows come out. For the
// kernels of one level; included once per level.
#pragma once
#include <utility>

#include "core/vec.h"
#include "lumcvnewconvol_kernels.h"

namespace lum::LUM_LEVEL {
namespace {

// ---- blocks of pixels ----

// Bytes as they are computed with: a block of them in two vectors, in either order.
enum class Order {
  kEvenOdd,  // the even pixels, the odd ones, as loads of two bytes to a lane give them
  kEights,   // of every sixteen pixels the first eight, the others
};
template <Order>
struct Pair {
  I16 first, second;
};
using EvenOdd = Pair<Order::kEvenOdd>;
using Eights = Pair<Order::kEights>;
template <Order O>
inline Pair<O> operator+(Pair<O> a, Pair<O> b) {
  return {a.first + b.first, a.second + b.second};
}

// A whole factor.
inline F32 times(F32 a, int n) { return a * f32(Lum32f(n)); }
template <Order O>
inline Pair<O> times(Pair<O> a, int n) {
  return {a.first * i16(Lum16s(n)), a.second * i16(Lum16s(n))};
}
template <class V>
inline V twice(V a) {
  return a + a;
}
// The same by a product, if there is a register for the factor: the units for products have nothing else to do where
// kernels of three taps are sums.
inline F32 doubled(F32 a) { return sizeof(void*) == 8 ? a * renewed(f32(2)) : twice(a); }
inline Eights widened(I16 a) { return {unpack_low_bytes(a, i16(0)), unpack_high_bytes(a, i16(0))}; }

enum class Side { kLeft, kRight };

// The pixels of a block, or those k to the right of them; bytes two to a lane. The odd pixels are the even ones of k + 1,
// which costs no instruction of its own where a mask takes its operand from memory.
class AroundBytes {
 public:
  explicit AroundBytes(const Lum8u* p) : p_(p) {}
  LUM_INLINE I16 operator()(int k) const { return load_bytes(p_ + k); }

  // Of a block at a side of the image; `outside` holds the two pixels that stand there, in every lane.
  template <Side side>
  class AtSide {
   public:
    AtSide(const Lum8u* p, I16 outside) : p_(p), here_(load_bytes(p)), outside_(outside) {}
    LUM_INLINE I16 operator()(int k) const {
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
  using Around = AroundBytes;
  static constexpr int columns = 2 * I16::lanes;
  static constexpr int sides = 2;  // pixels that a block looks at on either side of it, at most
  // Pixels outside of the image as Around::at() takes them.
  static I16 outside(const Lum8u* v) { return i16(Lum16s(v[0] | v[1] << 8)); }
};
template <>
struct BlockOf<Lum32f> {
  using Around = AroundFloats;
  static constexpr int columns = F32::lanes;
  static constexpr int sides = kMostGaussTaps / 2;
  static F32 outside(const Lum32f* v) { return f32(v[0], v[1], v[2], v[3]); }
};
template <class S>
constexpr int kColumns = BlockOf<S>::columns;

// ---- kernels ----
//
// Float sums run in ascending order; where the order written here differs, it is the rule (5-tap Dx cancels exactly on
// equal pixels) or exact (doubling). Integer sums are exact in any order: theirs is the shortest.
//
// A kernel on floats; on bytes along a row, where at(k) gives the block's bytes k to the right; on integers down the
// columns.

// Of two blocks of bytes.
template <int A, int B>
LUM_INLINE Eights weighted(I16 a, I16 b) {
  if constexpr (kMultipliesBytes)
    return {multiply_bytes(unpack_low_bytes(a, b), byte_pair(A, B)),
            multiply_bytes(unpack_high_bytes(a, b), byte_pair(A, B))};
  else if constexpr (A == B)
    return times(widened(a) + widened(b), A);
  else
    return times(widened(a), A) + times(widened(b), B);
}
// Of the two bytes in a lane.
template <int A, int B>
LUM_INLINE I16 weighted(I16 a) {
  if constexpr (A == 0 && B == 0) return i16(0);
  if constexpr (A == 1 && B == 0) return low_bytes(a);
  if constexpr (A == 0 && B == 1) return high_bytes(a);
  return multiply_bytes(a, byte_pair(A, B));
}
// Of the even pixels k to the right and their right neighbours.
LUM_INLINE I16 neighbour_sums(const auto& at, int k) {
  return kMultipliesBytes ? multiply_bytes(at(k), byte_pair(1, 1)) : low_bytes(at(k)) + low_bytes(at(k + 1));
}
// Of the even pixels k to the right: 1 2 0 -2 -1 times the sign.
template <int Sign>
LUM_INLINE I16 differences(const auto& at, int k) {
  if constexpr (kMultipliesBytes)
    return multiply_bytes(at(k - 2), byte_pair(Sign, 2 * Sign)) +
           multiply_bytes(at(k + 1), byte_pair(-2 * Sign, -Sign));
  const I16 outer = low_bytes(at(k - 2)) - low_bytes(at(k + 2)), inner = low_bytes(at(k - 1)) - low_bytes(at(k + 1));
  return (outer + twice(inner)) * i16(Sign);
}
// What both the even and the odd pixels look at, in as few loads as there can be: half of those at an odd place reach
// over the end of a cache line, and take as long as three.
template <int Taps>
struct Windows {
  LUM_INLINE explicit Windows(const auto& at) {
#pragma GCC unroll 16
    for (int i = 0; i < kCount; ++i) v[i] = renewed(at(2 * i - Taps / 2));  // and not loaded again for every use
  }
  static constexpr int kCount = (Taps + 1) / 2;
  I16 v[kCount];
};
// A kernel along a row, where bytes are multiplied.
template <bool Odd, int... W, int... I>
LUM_INLINE I16 sum(const I16* windows, std::integer_sequence<int, I...>) {
  constexpr int weights[] = {0, W..., 0};
  return (weighted<weights[2 * I + 1 - Odd], weights[2 * I + 2 - Odd]>(windows[I]) + ...);
}
template <int... W>
LUM_INLINE EvenOdd sums(const auto& at) {
  using Around = Windows<sizeof...(W)>;
  const Around around(at);
  constexpr std::make_integer_sequence<int, Around::kCount> all;
  return {sum<false, W...>(around.v, all), sum<true, W...>(around.v, all)};
}
// Where they are not: the pixels that the even ones look at, of which those from the second on are what the odd ones
// look at.
template <int Taps>
struct Neighbours {
  LUM_INLINE explicit Neighbours(const auto& at) {
    const Windows<Taps> around(at);
#pragma GCC unroll 16
    for (int i = 0; i < around.kCount; ++i) {
      v[2 * i] = low_bytes(around.v[i]);
      v[2 * i + 1] = high_bytes(around.v[i]);
    }
  }
  I16 v[Taps + 1];
};

// Stages that a column goes through, from the top: what they give belongs to the last row.
class Add {  // 1 1
 public:
  LUM_INLINE I16 operator()(I16 row) {
    const I16 result = last_ + row;
    last_ = row;
    return result;
  }

 private:
  I16 last_ = {};
};
class Subtract {  // -1 1
 public:
  LUM_INLINE I16 operator()(I16 row) {
    const I16 result = row - last_;
    last_ = row;
    return result;
  }

 private:
  I16 last_ = {};
};
class SubtractAcross {  // -1 0 1
 public:
  LUM_INLINE I16 operator()(I16 row) {
    const I16 result = row - rows_[0];
    rows_[0] = rows_[1];
    rows_[1] = row;
    return result;
  }

 private:
  I16 rows_[2] = {};
};
class Box3 {  // 1 1 1
 public:
  LUM_INLINE I16 operator()(I16 row) {
    const I16 result = last_two_ + row;
    last_two_ = last_ + row;
    last_ = row;
    return result;
  }

 private:
  I16 last_two_ = {}, last_ = {};
};
class Box5 {  // 1 1 1 1 1: what comes in is added, what goes out is taken away
 public:
  LUM_INLINE I16 operator()(I16 row) {
    const I16 result = sum_ + row;
    sum_ = result - rows_[0];
#pragma GCC unroll 16
    for (int k = 0; k < 3; ++k) rows_[k] = rows_[k + 1];
    rows_[3] = row;
    return result;
  }

 private:
  I16 sum_ = {}, rows_[4] = {};
};
// One stage after the other.
template <class... Stages>
class Column;
template <class Last>
class Column<Last> : public Last {};
template <class First, class... Rest>
class Column<First, Rest...> {
 public:
  LUM_INLINE I16 operator()(I16 row) { return rest_(first_(row)); }

 private:
  First first_;
  Column<Rest...> rest_;
};

// Kernels on floats, along a row, where at(k) gives the floats under tap k, and down the columns, a row at a time.

// A weighted sum in ascending order; the first weight is positive.
template <int... W>
struct FloatSum {
  static constexpr int taps = sizeof...(W), sum = (W + ...);
  LUM_INLINE static F32 along(const auto& at) { return sum_along<taps - 1>(at); }

  // The sums that a row takes part in grow side by side: else each addition waited for the one before.
  class Down {
   public:
    LUM_INLINE F32 operator()(F32 row) {
      const F32 result = plus<taps - 1>(sums_[taps - 2], row);
      grow<taps - 2>(row);
      return result;
    }

   private:
    template <int K>
    LUM_INLINE void grow(F32 row) {
      if constexpr (K == 0) {
        sums_[0] = weighed<0>(row);
      } else {
        sums_[K] = plus<K>(sums_[K - 1], row);
        grow<K - 1>(row);
      }
    }
    F32 sums_[taps - 1] = {};  // of the outputs to come; that of the next one last
  };

 private:
  static constexpr int weight(int k) {
    const int all[] = {W...};
    return all[k];
  }
  template <int K>
  LUM_INLINE static F32 sum_along(const auto& at) {
    if constexpr (K == 0)
      return weighed<0>(at(0));
    else
      return plus<K>(sum_along<K - 1>(at), at(K));
  }
  template <int K>
  LUM_INLINE static F32 plus(F32 so_far, F32 a) {
    if constexpr (weight(K) == 0) return so_far;
    if constexpr (weight(K) < 0) return so_far - weighed<K>(a);
    return so_far + weighed<K>(a);
  }
  // By the magnitude.
  template <int K>
  LUM_INLINE static F32 weighed(F32 a) {
    constexpr int n = weight(K) < 0 ? -weight(K) : weight(K);
    if constexpr (n == 1) return a;
    if constexpr (n == 2) return doubled(a);
    return times(a, n);
  }
};

// Whatever Rule makes of the floats under its taps.
template <class Rule, int Taps>
struct FloatRule {
  static constexpr int taps = Taps, sum = 0;
  LUM_INLINE static F32 along(const auto& at) { return apply(at, std::make_integer_sequence<int, taps>()); }

  class Down {
   public:
    LUM_INLINE F32 operator()(F32 row) {
#pragma GCC unroll 16
      for (int k = 0; k < taps - 1; ++k) rows_[k] = rows_[k + 1];
      rows_[taps - 1] = row;
      return along([&](int k) { return rows_[k]; });
    }

   private:
    F32 rows_[taps] = {};
  };

 private:
  template <int... K>
  LUM_INLINE static F32 apply(const auto& at, std::integer_sequence<int, K...>) {
    return Rule::floats(at(K)...);
  }
};

struct Dx3 : FloatRule<Dx3, 3> {
  using IntegerDown = Column<SubtractAcross>;
  static F32 floats(F32 a, F32, F32 c) { return c - a; }
  LUM_INLINE static Eights row(const auto& at) { return weighted<-1, 1>(at(-1), at(1)); }
};
struct DxNeg3 : FloatRule<DxNeg3, 3> {
  static F32 floats(F32 a, F32, F32 c) { return a - c; }
  LUM_INLINE static Eights row(const auto& at) { return weighted<1, -1>(at(-1), at(1)); }
};
struct D2x3 : FloatSum<1, -2, 1> {
  using IntegerDown = Column<Subtract, Subtract>;
  LUM_INLINE static EvenOdd row(const auto& at) {
    if constexpr (kMultipliesBytes) return sums<1, -2, 1>(at);
    const auto [v] = Neighbours<3>(at);
    const I16 d0 = v[1] - v[0], d1 = v[2] - v[1], d2 = v[3] - v[2];
    return {d1 - d0, d2 - d1};
  }
};
struct Sobel3 : FloatSum<1, 2, 1> {
  using IntegerDown = Column<Add, Add>;
  LUM_INLINE static EvenOdd row(const auto& at) {
    if constexpr (kMultipliesBytes) return sums<1, 2, 1>(at);
    const auto [v] = Neighbours<3>(at);
    const I16 middle = v[1] + v[2];
    return {v[0] + v[1] + middle, middle + (v[2] + v[3])};
  }
};
struct Scharr3 : FloatSum<3, 10, 3> {
  LUM_INLINE static EvenOdd row(const auto& at) {
    if constexpr (kMultipliesBytes) return sums<3, 10, 3>(at);
    const auto [v] = Neighbours<3>(at);
    const auto weigh = [](I16 a, I16 b, I16 c) { return (a + c) * i16(3) + b * i16(10); };
    return {weigh(v[0], v[1], v[2]), weigh(v[1], v[2], v[3])};
  }
};
struct Avr3 : FloatSum<1, 1, 1> {
  using IntegerDown = Column<Box3>;
  LUM_INLINE static EvenOdd row(const auto& at) {
    const I16 middle = neighbour_sums(at, 0);
    return {low_bytes(at(-1)) + middle, middle + low_bytes(at(2))};
  }
};
struct DxNeg5 : FloatRule<DxNeg5, 5> {
  static F32 floats(F32 a, F32 b, F32, F32 d, F32 e) { return (a - e) + twice(b - d); }
  LUM_INLINE static EvenOdd row(const auto& at) { return {differences<1>(at, 0), differences<1>(at, 1)}; }
};
struct Dx5 : FloatRule<Dx5, 5> {
  using IntegerDown = Column<SubtractAcross, Add, Add>;
  static F32 floats(F32 a, F32 b, F32, F32 d, F32 e) { return (e - a) + twice(d - b); }
  LUM_INLINE static EvenOdd row(const auto& at) { return {differences<-1>(at, 0), differences<-1>(at, 1)}; }
};
struct D2x5 : FloatSum<1, 0, -2, 0, 1> {
  using IntegerDown = Column<SubtractAcross, SubtractAcross>;
  LUM_INLINE static Eights row(const auto& at) { return weighted<1, -2>(at(-2), at(0)) + widened(at(2)); }
};
struct Sobel5 : FloatSum<1, 4, 6, 4, 1> {
  using IntegerDown = Column<Add, Add, Add, Add>;
  LUM_INLINE static EvenOdd row(const auto& at) {
    if constexpr (kMultipliesBytes) return sums<1, 4, 6, 4, 1>(at);
    auto [v] = Neighbours<5>(at);
#pragma GCC unroll 16
    for (int n = 5; n > 1; --n)
#pragma GCC unroll 16
      for (int k = 0; k < n; ++k) v[k] = v[k] + v[k + 1];
    return {v[0], v[1]};
  }
};
struct Avr5 : FloatSum<1, 1, 1, 1, 1> {
  using IntegerDown = Column<Box5>;
  LUM_INLINE static EvenOdd row(const auto& at) {
    const I16 middle = neighbour_sums(at, -1) + neighbour_sums(at, 1);
    return {low_bytes(at(-2)) + middle, middle + low_bytes(at(3))};
  }
};
template <class Rule>
struct Negated {
  class Down {
   public:
    LUM_INLINE F32 operator()(F32 row) { return -down_(row); }

   private:
    typename Rule::Down down_;
  };
};

// ---- sliders ----
//
// down() takes the next source row, as the pixels around a block, and gives the output row whose last source row that
// is; the first K-1 outputs are junk. down_border() takes a row outside of the image that is all border value.

template <class S, class OfRow, class OfColumn>
class Separable {
 public:
  static constexpr int taps = OfRow::taps;

  LUM_INLINE F32 down(const auto& around) {
    return column_(OfRow::along([&](int k) { return around(k - taps / 2); }));
  }
  LUM_INLINE F32 down_border(Lum32f value) { return column_(f32(value * OfRow::sum)); }

 private:
  typename OfColumn::Down column_;
};
template <class OfRow, class OfColumn>
class Separable<Lum8u, OfRow, OfColumn> {
 public:
  static constexpr int taps = OfRow::taps;

  LUM_INLINE auto down(const auto& around) { return push(OfRow::row(around)); }
  LUM_INLINE auto down_border(Lum8u value) {
    const I16 row = i16(Lum16s(value * OfRow::sum));
    return push(decltype(OfRow::row(std::declval<AroundBytes>())){row, row});
  }

 private:
  template <Order O>
  LUM_INLINE Pair<O> push(Pair<O> row) {
    return {first_(row.first), second_(row.second)};
  }
  typename OfColumn::IntegerDown first_, second_;
};

template <class A, class B>
class Sum {
 public:
  static constexpr int taps = A::taps;
  LUM_INLINE F32 down(const auto& around) { return a_.down(around) + b_.down(around); }
  LUM_INLINE F32 down_border(Lum32f value) { return a_.down_border(value) + b_.down_border(value); }

 private:
  A a_;
  B b_;
};

// The bytes of a row that is all border value, as a block has them around it.
LUM_INLINE auto bytes_of(Lum8u value) {
  return [bytes = i16(Lum16s(value * 0x101))](int) { return bytes; };
}

// 3x3 in integers: Dx along the row, 3 10 3 down the columns.
class IntegerScharrVert {
 public:
  static constexpr int taps = 3;
  LUM_INLINE Eights down(const auto& at) {
    const I16 a = at(-1), b = at(1);
    if constexpr (kMultipliesBytes) return push(weighted<-3, 3>(a, b), weighted<-10, 10>(a, b));
    const Eights dx = weighted<-1, 1>(a, b);
    const I16 three = renewed(i16(3)), ten = renewed(i16(10));  // else they become shifts and additions
    return push({dx.first * three, dx.second * three}, {dx.first * ten, dx.second * ten});
  }
  LUM_INLINE Eights down_border(Lum8u) { return push({i16(0), i16(0)}, {i16(0), i16(0)}); }

 private:
  LUM_INLINE Eights push(Eights outer, Eights inner) {
    return {first_.push(outer.first, inner.first), second_.push(outer.second, inner.second)};
  }
  struct Down {
    LUM_INLINE I16 push(I16 outer, I16 inner) {
      const I16 result = sum_ + outer;
      sum_ = outer_ + inner;
      outer_ = outer;
      return result;
    }
    I16 sum_ = {}, outer_ = {};
  };
  Down first_, second_;
};

// 3x3 in integers: 2 0 2 / 0 -8 0 / 2 0 2.
class IntegerLaplacian3 {
 public:
  static constexpr int taps = 3;
  LUM_INLINE Eights down(const auto& at) {
    const Eights sides = weighted<2, 2>(at(-1), at(1)), middle = widened(at(0));
    return {first_.push(sides.first, middle.first), second_.push(sides.second, middle.second)};
  }
  LUM_INLINE Eights down_border(Lum8u value) { return down(bytes_of(value)); }

 private:
  struct Down {
    LUM_INLINE I16 push(I16 sides, I16 middle) {
      const I16 result = before_ + sides;
      before_ = last_ - shift_left<3>(middle);
      last_ = sides;
      return result;
    }
    I16 before_ = {}, last_ = {};
  };
  Down first_, second_;
};

// 5x5 in integers: the 3x3 one of what 1 2 1 along the rows and down the columns makes of the image. The last step here
// is the latter.
class IntegerLaplacian5 {
 public:
  static constexpr int taps = 5;
  LUM_INLINE EvenOdd down(const auto& at) {
    I16 smooth[4];  // 1 2 1, from the left neighbours of the even pixels to the right ones of the odd
    if constexpr (kMultipliesBytes) {
      const auto [v] = Windows<5>(at);
      smooth[0] = weighted<1, 2>(v[0]) + weighted<1, 0>(v[1]);
      smooth[1] = weighted<0, 1>(v[0]) + weighted<2, 1>(v[1]);
      smooth[2] = weighted<1, 2>(v[1]) + weighted<1, 0>(v[2]);
      smooth[3] = weighted<0, 1>(v[1]) + weighted<2, 1>(v[2]);
    } else {
      auto [v] = Neighbours<5>(at);
#pragma GCC unroll 16
      for (int k = 0; k < 5; ++k) v[k] = v[k] + v[k + 1];
#pragma GCC unroll 16
      for (int k = 0; k < 4; ++k) smooth[k] = v[k] + v[k + 1];
    }
    return {first_.push(smooth[0] + smooth[2], smooth[1]), second_.push(smooth[1] + smooth[3], smooth[2])};
  }
  LUM_INLINE EvenOdd down_border(Lum8u value) { return down(bytes_of(value)); }

 private:
  struct Down {
    LUM_INLINE I16 push(I16 sides, I16 middle) {
      const I16 result = before + sides;
      before = last - shift_left<2>(middle);
      last = sides;
      return smooth(twice(result));
    }
    I16 before = {}, last = {};
    Column<Add, Add> smooth;
  };
  Down first_, second_;
};

// Box sums become means. The integer forms are the rule, not an approximation: 5x5 has no rounding term.
inline I16 mean9(I16 s) {
#if defined(__AVX2__)
  return multiply_high_rounded(s, i16(3641));  // the same for all sums up to 9 * 255
#else
  return multiply_high_unsigned(s + i16(5), i16(7280));
#endif
}
inline EvenOdd mean9(EvenOdd s) { return {mean9(s.first), mean9(s.second)}; }
inline EvenOdd mean25(EvenOdd s) {
  const I16 factor = i16(2621);
  return {multiply_high_unsigned(s.first, factor), multiply_high_unsigned(s.second, factor)};
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

// The taps from the outermost to the one in the middle. Few have room in the registers that there are in 64 bits; the
// compiler loads those in memory again for every row, since it has stored something in between.
template <int K>
class TapsInRegisters {
 public:
  explicit TapsInRegisters(const F32* kernel) {
    repeat<K / 2 + 1>(0, [&](int k) LUM_INLINE_LAMBDA { taps_[k] = renewed(kernel[k]); });
  }
  F32 operator[](int k) const { return taps_[k]; }

 private:
  F32 taps_[K / 2 + 1];
};
template <int K>
constexpr bool kTapsInRegisters = sizeof(void*) == 8 && K <= 5;

// A pass of K taps along rows, and the same down the columns.
template <int K>
class Gauss {
 public:
  static constexpr int taps = K;
  using Kernel = std::conditional_t<kTapsInRegisters<K>, const TapsInRegisters<K>&, const F32*>;
  explicit Gauss(Kernel kernel) : kernel_(kernel) {}
  // All but the kernel, which the compiler then knows not to change.
  LUM_INLINE void take_up(const Gauss& kept) {
#pragma GCC unroll 16
    for (int k = 0; k < K - 1; ++k) sums_[k] = kept.sums_[k];
  }

  LUM_INLINE F32 down(const auto& around) {
    F32 sum;
    row_sums<1>(
        &sum, [&](int) LUM_INLINE_LAMBDA -> const auto& { return around; });
    return push(sum);
  }
  LUM_INLINE F32 down_border(Lum32f value) {
    return down([&](int) { return f32(value); });
  }
  // What a row gives for N blocks beside each other, to be pushed later.
  template <int N>
  LUM_INLINE void row_sums(F32* sums, const auto& around_block) const {
    F32 s[N];
    repeat<N>(0, [&](int i) LUM_INLINE_LAMBDA { s[i] = around_block(i)(-K / 2) * kernel_[0]; });
    repeat<K - 1>(0, [&](int j) LUM_INLINE_LAMBDA {
      const int k = j + 1 - K / 2;
      const F32 tap = kernel_[K / 2 - (k < 0 ? -k : k)];
      repeat<N>(0, [&](int i) LUM_INLINE_LAMBDA { s[i] = s[i] + around_block(i)(k) * tap; });
    });
    repeat<N>(0, [&](int i) LUM_INLINE_LAMBDA { sums[i] = s[i]; });
  }
  // The sums that a row takes part in grow side by side, and the taps on either side of the middle share a product.
  LUM_INLINE F32 push(F32 row) {
    F32 products[K / 2 + 1];
#pragma GCC unroll 16
    for (int k = 0; k <= K / 2; ++k) products[k] = row * kernel_[k];
    const F32 result = sums_[0] + products[0];
#pragma GCC unroll 16
    for (int k = 1; k < K - 1; ++k) sums_[k - 1] = sums_[k] + products[k < K / 2 ? k : K - 1 - k];
    sums_[K - 2] = products[0];
    return result;
  }

 private:
  Kernel kernel_;
  F32 sums_[K - 1] = {};  // of the outputs to come, from the next one on
};

// To put a slider by, and to go on as the one that was.
template <class Slider>
LUM_INLINE void take_up(Slider& slider, const Slider& kept) {
  if constexpr (requires { slider.take_up(kept); })
    slider.take_up(kept);
  else
    slider = kept;
}

}  // namespace
}  // namespace lum::LUM_LEVEL
