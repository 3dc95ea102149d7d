// Compiled once per level.
#include "lumcvvector_kernels.h"

#include "core/vec.h"

namespace lum::LUM_LEVEL {
namespace {

// The vector in which elements of a type are computed with.
LUM_INLINE U8 elements(const Lum8u* p) { return load_all(p); }
LUM_INLINE I16 elements(const Lum16s* p) { return load(p); }
LUM_INLINE F32 elements(const Lum16u* p) { return widen(p); }
LUM_INLINE F32 elements(const Lum32f* p) { return load(p); }

template <class T>
LUM_INLINE auto first_elements(const T* p, ptrdiff_t n) {
  constexpr int kLanes = decltype(elements(p))::lanes;
  if (n < 0 || n > kLanes) __builtin_unreachable();
  T first[kLanes] = {};
  memcpy(first, p, n * sizeof(T));
  return elements(first);
}

// dst[i] = f(src[i]...) for all elements; a source may be the destination.
template <class D, class F, class... S>
LUM_INLINE void map(D* dst, ptrdiff_t n, const F& f, const S*... src) {
  constexpr int kLanes = decltype(f(elements(src)...))::lanes;
  const auto vector = [&](ptrdiff_t at) { store(dst + at, f(elements(src + at)...)); };
  ptrdiff_t x = 0;
  for (; x <= n - 2 * kLanes; x += 2 * kLanes) {
    vector(x);
    vector(x + kLanes);
  }
  if (x <= n - kLanes) {
    vector(x);
    x += kLanes;
  }
  if (x < n) store_first(dst + x, f(first_elements(src + x, n - x)...), int(n - x));
}

// Of two NaNs, of a NaN and a number, and of two zeros the second operand comes out.
template <class V>
LUM_INLINE V operate(Max, V a, V b) {
  return max(a, b);
}
template <class V>
LUM_INLINE V operate(Min, V a, V b) {
  return min(a, b);
}

// ---- products ----

// What becomes of the products of 16-bit elements. To each the product of two constants has been added.
struct Saturated {
  static constexpr int first = 0, second = 0;
  LUM_INLINE I16 operator()(I32 low, I32 high) const { return pack(low, high); }
};
// Adds a half before it takes the integer below. Where it was one that was added to, the bits below the integer are 0
// now, and an odd integer is one too large: halves go to even.
struct ScaledDown {
  int scale;          // 1 to 30
  int first, second;  // - 2^14 x - 2^15 is the largest half
  explicit ScaledDown(int s) : scale(s), first(s > 16 ? -(1 << 14) : -1), second(-(1 << (s > 16 ? s - 15 : s - 1))) {}
  LUM_INLINE I16 operator()(I32 low, I32 high) const { return pack(divided(low), divided(high)); }
  LUM_INLINE I32 divided(I32 v) const {
    return shift_right(v, scale) + equal(v & i32(int((2U << scale) - 1)), i32(1 << scale));
  }
};
struct ScaledUp : Saturated {
  int bits;  // 1 to 16; from 15 on all but 0 saturates
  explicit ScaledUp(int b) : bits(b) {}
  LUM_INLINE I16 operator()(I32 low, I32 high) const {
    const I16 v = pack(low, high), zero = i16(0);  // what saturates here is beyond the range when it is larger
    return pack(shift_right(as_i32(unpack_low(zero, v)), 16 - bits),
                shift_right(as_i32(unpack_high(zero, v)), 16 - bits));
  }
};

template <class Scaled>
void multiply_every(Lum16s value, Lum16s* srcDst, ptrdiff_t n, const Scaled& scaled) {
  const I16 addend = i16(Lum16s(scaled.first));
  const I32 factors = pair(value, Lum16s(scaled.second));
  map(
      srcDst, n,
      [&](I16 v) {
        return scaled(multiply_pairs(unpack_low(v, addend), factors), multiply_pairs(unpack_high(v, addend), factors));
      },
      srcDst);
}

// ---- square roots ----

// To the nearest integer it has an error that matters only next to a half. 0 of negative numbers.
LUM_INLINE F32 rough_root(I32 x) { return square_root(max(to_float(x), f32(0))); }

// 2^bits of the root, bits 0 to 15, is the root of 4^bits of x. A little is added, so that n is the integer next to it or
// one more, which it is where that number is not above n^2 - n; there are no halves. May be -1 instead of 0. From 2^15 on
// the product is wrong, but the result, one too small at most, saturates.
template <bool Scales>
struct RootUp {
  int bits;
  LUM_INLINE I32 operator()(I32 x) const {
    const F32 root = rough_root(x);
    const I32 n = round_nearest((Scales ? root * f32(Lum32f(1 << bits)) : root) + f32(1.0f / 64)), below = n - i32(1);
    return below - ((Scales ? shift_left(not_negative(x), 2 * bits) : x) > multiply_pairs(as_i16(n), below));
  }
};

// 2^-scale of the root, scale 1 to 16. Halves are the roots of squares, so it is enough to know the integer next to the
// root and on which side of it the root is; half of a unit stands for the distance.
struct RootDown {
  int scale;
  LUM_INLINE I32 operator()(I32 x) const {
    const I32 n = round_nearest(rough_root(x));
    return round_nearest(to_float(n + n + sign(x - square(n))) * f32(0.5f / Lum32f(1 << scale)));
  }
};

template <class Scaled>
bool square_root_every(const Lum32s* src, Lum16s* dst, ptrdiff_t n, const Scaled& scaled) {
  I32 all = i32(0);
  const auto rooted = [&](const Lum32s* p) {
    const I32 a = load(p), b = load(p + I32::lanes);
    all = all | a | b;
    return max(pack_in_order(scaled(a), scaled(b)), i16(0));
  };
  ptrdiff_t x = 0;
  for (; x <= n - I16::lanes; x += I16::lanes) store(dst + x, rooted(src + x));
  if (x < n) {
    Lum32s last[I16::lanes] = {};
    memcpy(last, src + x, (n - x) * sizeof(Lum32s));
    store_first(dst + x, rooted(last), int(n - x));
  }
  return sign_bits(all) != 0;
}

}  // namespace

void set_every(Lum32f value, Lum32f* dst, ptrdiff_t n) {
  map(dst, n, [v = f32(value)] { return v; });
}

template <class Op, class T>
void update_every(const T* src, T* srcDst, ptrdiff_t n) {
  map(
      srcDst, n, [](auto a, auto b) { return operate(Op{}, a, b); }, srcDst, src);
}
#define LUM_VECTOR_COPY(...)
#define LUM_VECTOR_SET(...)
#define LUM_VECTOR_ZERO(...)
#define LUM_VECTOR_EVERY(name, T, Op) template void update_every<Op, T>(const T*, T*, ptrdiff_t);
#include "lumcvvector.inc"

void multiply_every(Lum32f value, Lum32f* srcDst, ptrdiff_t n) {
  const F32 v = f32(value);
  // Of two NaNs the first operand comes out, and the compiler chooses which that is.
  if (value != value) return map(srcDst, n, [v] { return v * v; });
  map(
      srcDst, n, [v](F32 a) { return a * v; }, srcDst);
}

void multiply_every_scaled(Lum16s value, Lum16s* srcDst, ptrdiff_t n, int scale) {
  if (scale > 0)
    multiply_every(value, srcDst, n, ScaledDown(scale));
  else if (scale == 0)
    multiply_every(value, srcDst, n, Saturated{});
  else
    multiply_every(value, srcDst, n, ScaledUp(scale < -16 ? 16 : -scale));
}

void convert_every(const Lum16u* src, Lum32f* dst, ptrdiff_t n) {
  map(
      dst, n, [](F32 v) { return v; }, src);
}

bool square_root_every(Lum32f* srcDst, ptrdiff_t n) {
  const F32 zero = f32(0);
  F32 negative = zero;
  map(
      srcDst, n,
      [&](F32 v) {
        negative = or_bits(negative, less(v, zero));
        return square_root(v);
      },
      srcDst);
  return sign_bits(negative) != 0;
}

bool square_root_every_scaled(const Lum32s* src, Lum16s* dst, ptrdiff_t n, int scale) {
  if (scale > 0) return square_root_every(src, dst, n, RootDown{scale});
  if (scale == 0) return square_root_every(src, dst, n, RootUp<false>{0});
  return square_root_every(src, dst, n, RootUp<true>{scale < -15 ? 15 : -scale});
}

bool any_negative(const Lum32s* src, ptrdiff_t n) {
  ptrdiff_t x = 0;
  for (; x <= n - 4 * I32::lanes; x += 4 * I32::lanes) {
    const Lum32s* const p = src + x;
    if (sign_bits(load(p) | load(p + I32::lanes) | load(p + 2 * I32::lanes) | load(p + 3 * I32::lanes))) return true;
  }
  for (; x < n; ++x)
    if (get(src + x) < 0) return true;
  return false;
}

}  // namespace lum::LUM_LEVEL
