// Kernels of the vector functions: whole arrays, nothing but data and empty tags across the border of a level.
#pragma once
#include "core/image.h"
#include "core/level.h"

namespace lum {

struct Max {};
struct Min {};

// Scaling by 2^-31 and less leaves nothing of a product of two 16-bit integers, and scaling by 2^-17 nothing of a root.
constexpr int kScaledProductGone = 31, kScaledRootGone = 17;

}  // namespace lum

// clang-format off
LUM_FOR_LEVELS(
  void set_every(Lum32f value, Lum32f* dst, ptrdiff_t n);
  template <class Op, class T>
  void update_every(const T* src, T* srcDst, ptrdiff_t n);
  void multiply_every(Lum32f value, Lum32f* srcDst, ptrdiff_t n);
  // scale < kScaledProductGone
  void multiply_every_scaled(Lum16s value, Lum16s* srcDst, ptrdiff_t n, int scale);
  void convert_every(const Lum16u* src, Lum32f* dst, ptrdiff_t n);
  // These tell whether an element is negative.
  bool square_root_every(Lum32f* srcDst, ptrdiff_t n);
  bool square_root_every_scaled(const Lum32s* src, Lum16s* dst, ptrdiff_t n, int scale);  // scale < kScaledRootGone
  bool any_negative(const Lum32s* src, ptrdiff_t n);
  // No NaN and no -0 among the elements. Where so many divisions in a row have not ended it, heap sort does.
  void sort_ascending(Lum64f* p, ptrdiff_t n, int divisions);
)
// clang-format on
