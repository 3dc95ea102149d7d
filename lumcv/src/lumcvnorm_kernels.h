// Kernels of the masked norms: a band of rows, nothing but data and empty tags across the border of a level.
#pragma once
#include "core/level.h"
#include "lumcvstatistics.h"

namespace lum {

// The norms. What bands measure is joined to the greatest or to a sum.
struct Inf {
  static constexpr bool greatest = true, root = false;
};
struct L1 {
  static constexpr bool greatest = false, root = false;
};
struct L2 {
  static constexpr bool greatest = false, root = true;
};

// What is measured: one image, the difference of two, or that difference and the second image.
struct OneImage {
  static constexpr bool two_images = false, relative = false;
};
struct Difference {
  static constexpr bool two_images = true, relative = false;
};
struct Relative {
  static constexpr bool two_images = true, relative = true;
};

// Writes one result, two of Relative. That of L2 is the sum of squares.
using NormKernel = void (*)(const Pixels& band, Lum64f* results);

}  // namespace lum

// clang-format off
LUM_FOR_LEVELS(
  template <class Measured, class Norm, class S, int Channels>
  void norm(const Pixels& band, Lum64f* results);
)
// clang-format on
