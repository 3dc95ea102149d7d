// Vector functions: exported functions and argument checks. The work is in lumcvvector_kernels.cpp and
// lumcvvector_sort_kernels.cpp.
#include "lumcv_vector.h"

#include <bit>

#include "core/check.h"
#include "lumcvvector_kernels.h"

namespace lum {
namespace {

// Arrays reach 2^31 - 1 elements, so their bytes are counted in the word size of their addresses.
template <class T>
size_t bytes(const T*, int len) {
  return size_t(len) * sizeof(T);
}

template <class... P>
LumStatus array_error(int len, const P*... array) {
  return first_error(pointers(array...), fails_if(len < 1, lumStatusBadSize));
}

LumStatus warns_if(bool negative) { return negative ? lumStatusWarnSqrtNegative : lumStatusOk; }

void set(Lum8u value, Lum8u* dst, int len) { memset(dst, value, bytes(dst, len)); }
void set(Lum32f value, Lum32f* dst, int len) { LUM_PICK(level(), set_every)(value, dst, len); }

// By their bits: a NaN may not survive a register of the floating-point unit. Inlined, 32-bit code would read every
// element of the loop below as an integer first.
[[gnu::noinline]] void swap_bits(Lum64f* a, Lum64f* b) {
  using Bits = unsigned long long;
  const Bits bits = get((const Bits*)a);
  put((Bits*)a, get((const Bits*)b));
  put((Bits*)b, bits);
}

// Moves NaNs behind everything else, and turns every -0 into +0.
struct Ordered {
  ptrdiff_t count;  // of elements that are no NaN
  ptrdiff_t minus_zeros;
  bool sorted;
};
Ordered part_unordered(Lum64f* p, ptrdiff_t n) {
  Ordered found = {n, 0, true};
  Lum64f last = -__builtin_inf();
  for (ptrdiff_t i = 0; i < found.count;) {
    const Lum64f value = get(p + i);
    if (value != value) {
      swap_bits(p + i, p + --found.count);
      continue;
    }
    if (value == 0 && __builtin_signbit(value)) {
      put(p + i, 0.0);
      ++found.minus_zeros;
    }
    found.sorted &= last <= value;
    last = value;
    ++i;
  }
  return found;
}

bool descends(const Lum64f* p, ptrdiff_t n) {
  for (ptrdiff_t i = 1; i < n; ++i)
    if (get(p + i - 1) < get(p + i)) return false;
  return true;
}
void reverse(Lum64f* p, ptrdiff_t n) {
  for (ptrdiff_t i = 0; i < n - 1 - i; ++i) swap_bits(p + i, p + n - 1 - i);
}

// The signs of the zeros, in an array that is sorted.
void restore_minus_zeros(Lum64f* p, Ordered found) {
  if (found.minus_zeros == 0) return;
  ptrdiff_t begin = 0, end = found.count;
  while (begin < end) {
    const ptrdiff_t middle = begin + (end - begin) / 2;
    if (get(p + middle) < 0)
      begin = middle + 1;
    else
      end = middle;
  }
  for (ptrdiff_t i = 0; i < found.minus_zeros; ++i) put(p + begin + i, -0.0);
}

}  // namespace
}  // namespace lum

#define LUM_VECTOR_COPY(name, T)                                           \
  LumStatus name(const T* pSrc, T* pDst, int len) {                        \
    const LumStatus status = lum::array_error(len, pSrc, pDst);            \
    if (status == lumStatusOk) memmove(pDst, pSrc, lum::bytes(pSrc, len)); \
    return status;                                                         \
  }
#define LUM_VECTOR_SET(name, T)                            \
  LumStatus name(T value, T* pDst, int len) {              \
    const LumStatus status = lum::array_error(len, pDst);  \
    if (status == lumStatusOk) lum::set(value, pDst, len); \
    return status;                                         \
  }
#define LUM_VECTOR_ZERO(name, T)                                       \
  LumStatus name(T* pDst, int len) {                                   \
    const LumStatus status = lum::array_error(len, pDst);              \
    if (status == lumStatusOk) memset(pDst, 0, lum::bytes(pDst, len)); \
    return status;                                                     \
  }
#define LUM_VECTOR_EVERY(name, T, Op)                                                                \
  LumStatus name(const T* pSrc, T* pSrcDst, int len) {                                               \
    const LumStatus status = lum::array_error(len, pSrc, pSrcDst);                                   \
    if (status == lumStatusOk) LUM_PICK(lum::level(), update_every<lum::Op, T>)(pSrc, pSrcDst, len); \
    return status;                                                                                   \
  }
#include "lumcvvector.inc"

LumStatus lumsMulC_32f_I(Lum32f value, Lum32f* pSrcDst, int len) {
  const LumStatus status = lum::array_error(len, pSrcDst);
  if (status == lumStatusOk) LUM_PICK(lum::level(), multiply_every)(value, pSrcDst, len);
  return status;
}

LumStatus lumsMulC_16s_ISfs(Lum16s value, Lum16s* pSrcDst, int len, int scaleFactor) {
  const LumStatus status = lum::array_error(len, pSrcDst);
  if (status != lumStatusOk) return status;
  if (scaleFactor >= lum::kScaledProductGone)
    memset(pSrcDst, 0, lum::bytes(pSrcDst, len));
  else
    LUM_PICK(lum::level(), multiply_every_scaled)(value, pSrcDst, len, scaleFactor);
  return status;
}

LumStatus lumsSqrt_32f_I(Lum32f* pSrcDst, int len) {
  const LumStatus status = lum::array_error(len, pSrcDst);
  if (status != lumStatusOk) return status;
  return lum::warns_if(LUM_PICK(lum::level(), square_root_every)(pSrcDst, len));
}

LumStatus lumsSqrt_32s16s_Sfs(const Lum32s* pSrc, Lum16s* pDst, int len, int scaleFactor) {
  const LumStatus status = lum::array_error(len, pSrc, pDst);
  if (status != lumStatusOk) return status;
  if (scaleFactor < lum::kScaledRootGone)
    return lum::warns_if(LUM_PICK(lum::level(), square_root_every_scaled)(pSrc, pDst, len, scaleFactor));
  memset(pDst, 0, lum::bytes(pDst, len));
  return lum::warns_if(LUM_PICK(lum::level(), any_negative)(pSrc, len));
}

LumStatus lumsSortAscend_64f_I(Lum64f* pSrcDst, int len) {
  const LumStatus status = lum::array_error(len, pSrcDst);
  if (status != lumStatusOk) return status;
  const lum::Ordered found = lum::part_unordered(pSrcDst, len);
  const int divisions = 2 * std::bit_width(unsigned(len));
  if (!found.sorted && lum::descends(pSrcDst, found.count))
    lum::reverse(pSrcDst, found.count);
  else if (!found.sorted)
    LUM_PICK(lum::level(), sort_ascending)(pSrcDst, found.count, divisions);
  lum::restore_minus_zeros(pSrcDst, found);
  return lumStatusOk;
}

LumStatus lumsConvert_16u32f(const Lum16u* pSrc, Lum32f* pDst, int len) {
  const LumStatus status = lum::array_error(len, pSrc, pDst);
  if (status == lumStatusOk) LUM_PICK(lum::level(), convert_every)(pSrc, pDst, len);
  return status;
}
