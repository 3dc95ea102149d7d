// Compiled once per level.
#include "lumcvaccum_kernels.h"

#include <type_traits>

#include "core/vec.h"

namespace lum::LUM_LEVEL {
namespace {

// ---- accumulators ----

// One pixel to a lane. Pixels that a mask leaves out are lanes without bits, never products with 0.
struct Operands {
  F32 a, b, mask, alpha;
  bool has_sign;  // of integers
};
template <bool Masked>
LUM_INLINE F32 masked(F32 v, const Operands& o) {
  return Masked ? and_bits(v, o.mask) : v;
}
// Left out pixels keep their bits: adding 0 would turn -0 into +0.
template <bool Masked>
LUM_INLINE F32 update(Add, F32 acc, const Operands& o) {
  return Masked ? select(o.mask, acc + o.a, acc) : acc + o.a;
}
template <bool Masked>
LUM_INLINE F32 update(AddSquare, F32 acc, const Operands& o) {
  return Masked ? select(o.mask, acc + o.a * o.a, acc) : acc + o.a * o.a;
}
// Single precision rounds the product of two integers of up to 16 bits once, like the exact product. A product of 0 with
// a negative one is 0, not -0.
template <bool Masked>
LUM_INLINE F32 update(AddProduct, F32 acc, const Operands& o) {
  const F32 product = o.a * o.b;
  return acc + masked<Masked>(o.has_sign ? product + f32(0) : product, o);
}
template <bool Masked>
LUM_INLINE F32 update(AddWeighted, F32 acc, const Operands& o) {
  return acc + (o.a - acc) * masked<Masked>(o.alpha, o);
}

template <class Op>
constexpr bool kTwoSources = false;
template <>
constexpr bool kTwoSources<AddProduct> = true;

template <class Op, bool Masked, class S>
LUM_INLINE void accumulate_vector(const S* a, const S* b, const Lum8u* mask, Lum32f* acc, F32 alpha) {
  Operands o = {widen(a), {}, {}, alpha, std::is_same_v<S, Lum8s>};
  if constexpr (kTwoSources<Op>) o.b = widen(b);
  if constexpr (Masked) o.mask = nonzero(mask);
  store(acc, update<Masked>(Op{}, load(acc), o));
}

template <class T>
LUM_INLINE void copy_elements(T* to, const T* from, int n) {
  if (n < 0 || n > F32::lanes) __builtin_unreachable();
  memcpy(to, from, n * sizeof(T));
}

// Takes no vector as an argument: behind such calls GCC 12 leaves the upper halves of the registers in use.
template <class Op, bool Masked, class S>
void accumulate_row(const S* a, const S* b, const Lum8u* mask, Lum32f* acc, int n, Lum32f weight) {
  const F32 alpha = f32(weight);
  int x = 0;
  for (; x <= n - F32::lanes; x += F32::lanes) accumulate_vector<Op, Masked>(a + x, b + x, mask + x, acc + x, alpha);
  if (x == n) return;
  S last_a[F32::lanes] = {}, last_b[F32::lanes] = {};
  Lum8u last_mask[F32::lanes] = {};
  Lum32f last_acc[F32::lanes] = {};
  copy_elements(last_a, a + x, n - x);
  if constexpr (kTwoSources<Op>) copy_elements(last_b, b + x, n - x);
  if constexpr (Masked) copy_elements(last_mask, mask + x, n - x);
  copy_elements(last_acc, acc + x, n - x);
  accumulate_vector<Op, Masked>(last_a, last_b, last_mask, last_acc, alpha);
  copy_elements(acc + x, last_acc, n - x);
}

// The x87 unit's precision: 64 bits of mantissa, one rounding when the result is stored.
void accumulate_extended(const Lum32f* a, const Lum8u* mask, Lum32f* acc, int n, Lum32f alpha) {
  const Lum32f weights[] = {0, alpha};
  for (int x = 0; x < n; ++x) {
    const long double old = get(acc + x), weight = weights[mask[x] != 0];
    put(acc + x, Lum32f(old + (get(a + x) - old) * weight));
  }
}
// Double precision comes so close to that result that both ends of what it leaves open mostly round to the same value
// in single precision. Where they do not, or are no numbers, the unit decides.
void accumulate_extended_row(const Lum32f* a, const Lum8u* mask, Lum32f* acc, int n, Lum32f alpha) {
  // Each of the three operations is off by 2^-53 of its result at most.
  const F64 weight = f64(alpha), open = f64(0x1p-50);
  int x = 0;
  for (; x <= n - F64::lanes; x += F64::lanes) {
    const F64 old = widen_twice(acc + x);
    const F64 added = (widen_twice(a + x) - old) * and_bits(weight, nonzero_twice(mask + x)), result = old + added;
    const F64 error = (absolute(old) + absolute(added)) * open;
    if (!store_where_equal(acc + x, result - error, result + error)) [[unlikely]]
      accumulate_extended(a + x, mask + x, acc + x, F64::lanes, alpha);
  }
  accumulate_extended(a + x, mask + x, acc + x, n - x, alpha);
}

// ---- absolute differences ----

// second(x) is the second operand of the vector at x; second.first(x, n) that of the last n elements.
template <class S, class Second>
LUM_INLINE void abs_diff_row(const S* a, const Second& second, S* d, int n) {
  using V = decltype(load_all(a));
  int x = 0;
  for (; x <= n - V::lanes; x += V::lanes) store(d + x, absolute_difference(load_all(a + x), second(x)));
  if (x == n) return;
  S last[V::lanes] = {};
  memcpy(last, a + x, (n - x) * sizeof(S));
  store_first(d + x, absolute_difference(load_all(last), second.first(x, n - x)), n - x);
}

template <class S>
struct Plane {
  const S* row;
  LUM_INLINE auto operator()(int x) const { return load_all(row + x); }
  LUM_INLINE auto first(int x, int n) const {
    S last[decltype(load_all(row))::lanes] = {};
    memcpy(last, row + x, n * sizeof(S));
    return load_all(last);
  }
};
template <class V>
struct Constant {
  V value;
  LUM_INLINE V operator()(int) const { return value; }
  LUM_INLINE V first(int, int) const { return value; }
};

}  // namespace

template <class Op, bool Masked, class S>
void accumulate(const Accumulation<S>& job) {
  for (int y = 0; y < job.roi.height; ++y) {
    // What an operation has no use for is never loaded.
    const S* const a = job.src.row(y);
    const S* const b = kTwoSources<Op> ? job.src2.row(y) : a;
    const Lum8u* const mask = Masked ? job.mask.row(y) : (const Lum8u*)a;
    Lum32f* const acc = job.acc.row(y);
    if constexpr (std::is_same_v<Op, AddWeighted> && Masked && sizeof(S) == sizeof(Lum32f))
      accumulate_extended_row(a, mask, acc, job.roi.width, job.alpha);
    else
      accumulate_row<Op, Masked>(a, b, mask, acc, job.roi.width, job.alpha);
  }
}

template <class S>
void abs_diff(Image<const S> src1, Image<const S> src2, Image<S> dst, LumSize roi) {
  for (int y = 0; y < roi.height; ++y) abs_diff_row(src1.row(y), Plane<S>{src2.row(y)}, dst.row(y), roi.width);
}

template <class S>
void abs_diff_constant(Image<const S> src, S value, Image<S> dst, LumSize roi) {
  const Constant<decltype(splat(value))> constant = {splat(value)};
  for (int y = 0; y < roi.height; ++y) abs_diff_row(src.row(y), constant, dst.row(y), roi.width);
}

#define LUM_ACCUM(name, S, Op) template void accumulate<Op, false>(const Accumulation<S>&);
#define LUM_ACCUM_MASKED(name, S, Op) template void accumulate<Op, true>(const Accumulation<S>&);
#define LUM_ACCUM_PRODUCT(name, S) LUM_ACCUM(name, S, AddProduct)
#define LUM_ACCUM_PRODUCT_MASKED(name, S) LUM_ACCUM_MASKED(name, S, AddProduct)
#define LUM_ACCUM_WEIGHTED(name, S) LUM_ACCUM(name, S, AddWeighted)
#define LUM_ACCUM_WEIGHTED_MASKED(name, S) LUM_ACCUM_MASKED(name, S, AddWeighted)
#define LUM_ABS_DIFF(name, S) template void abs_diff(Image<const S>, Image<const S>, Image<S>, LumSize);
#define LUM_ABS_DIFF_C(name, S, V) template void abs_diff_constant(Image<const S>, S, Image<S>, LumSize);
#include "lumcvaccum.inc"

}  // namespace lum::LUM_LEVEL
