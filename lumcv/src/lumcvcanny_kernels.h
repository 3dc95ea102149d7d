// The Canny kernels.
#pragma once
#include "core/image.h"
#include "core/level.h"

// clang-format off
LUM_FOR_LEVELS(
  // Both element types of the derivatives. The arguments have been checked.
  template <class T>
  void canny(Image<const T> dx, Image<const T> dy, Image<Lum8u> edges, LumSize roi, Lum32f low, Lum32f high,
             Lum8u* buffer);
)
// clang-format on
