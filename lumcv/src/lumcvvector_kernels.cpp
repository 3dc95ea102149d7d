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
  ptrdiff_t x = 0;
  for (; x <= n - kLanes; x += kLanes) store(dst + x, f(elements(src + x)...));
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

// Lanes of 32 bits to 16, scaled and saturated, in the order of unpack_low() and unpack_high().
struct ScaledDown {
  int scale;  // 1 to 30
  LUM_INLINE I16 operator()(I32 low, I32 high) const { return pack(divided(low), divided(high)); }
  // Halves to even.
  LUM_INLINE I32 divided(I32 v) const {
    return shift_right(v + i32((1 << (scale - 1)) - 1) + (shift_right(v, scale) & i32(1)), scale);
  }
};
struct ScaledUp {
  int bits;  // 0 to 16; from 15 on all but 0 saturates
  LUM_INLINE I16 operator()(I32 low, I32 high) const {
    const I16 v = pack(low, high);  // no limit for what is within the range when it is larger
    return pack(shift_left(widen_low(v), bits), shift_left(widen_high(v), bits));
  }
};

template <class Scaled>
void multiply_every(I16 value, Lum16s* srcDst, ptrdiff_t n, const Scaled& scaled) {
  map(
      srcDst, n,
      [&](I16 v) {
        const I16 low = v * value, high = multiply_high(v, value);
        return scaled(as_i32(unpack_low(low, high)), as_i32(unpack_high(low, high)));
      },
      srcDst);
}

// ---- square roots ----

// The root to the nearest integer, but for an error of single precision that matters only next to a half, and what is
// left of x (not negative) when the square of that integer is taken from it.
struct Root {
  I32 nearest, rest;
};
LUM_INLINE Root root_of(I32 x) {
  const I32 nearest = round_nearest(square_root(to_float(x)));
  return {nearest, x - square(nearest)};
}

// 2^-scale of the root, scale 1 to 16: halves are roots that are integers, and the sign of the rest tells where next to
// an integer the root is.
struct RootDown {
  int scale;
  LUM_INLINE I32 operator()(I32 x) const {
    const Root root = root_of(x);
    const I32 zero = i32(0), side = (zero > root.rest) - (root.rest > zero);
    const I32 twice = root.nearest + root.nearest + side;
    return shift_right(twice + i32((1 << scale) - 1) + (shift_right(twice, scale + 1) & i32(1)), scale + 1);
  }
};

// 2^bits of the root, bits 0 to 15, is the root of 4^bits of x, which lies between n - 1/2 and n + 1/2 where the rest is
// above -n and not above n: there are no halves. Beyond 2^30 all saturates. May be -1 instead of 0.
struct RootUp {
  int bits;
  LUM_INLINE I32 operator()(I32 x) const {
    const Root root = root_of(shift_left(min(x, i32(1 << (30 - 2 * bits))), 2 * bits));
    return root.nearest - (root.rest > root.nearest) + (i32(1) - root.nearest > root.rest);
  }
};

template <class Scaled>
bool square_root_every(const Lum32s* src, Lum16s* dst, ptrdiff_t n, const Scaled& scaled) {
  I32 all = i32(0);
  const auto rooted = [&](const Lum32s* p) {
    const I32 a = load(p), b = load(p + I32::lanes);
    all = all | a | b;
    const auto root = [&](I32 x) { return scaled(x - (x & shift_right(x, 31))); };
    return max(pack_in_order(root(a), root(b)), i16(0));
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
  map(
      srcDst, n, [v = f32(value)](F32 a) { return a * v; }, srcDst);
}

void multiply_every_scaled(Lum16s value, Lum16s* srcDst, ptrdiff_t n, int scale) {
  if (scale > 0)
    multiply_every(i16(value), srcDst, n, ScaledDown{scale});
  else
    multiply_every(i16(value), srcDst, n, ScaledUp{scale < -16 ? 16 : -scale});
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
  return square_root_every(src, dst, n, RootUp{scale < -15 ? 15 : -scale});
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
