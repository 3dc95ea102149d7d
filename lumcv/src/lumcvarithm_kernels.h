// Kernels of the differences and the thresholds: whole regions, rows from the first to the last.
#pragma once
#include "core/image.h"
#include "core/level.h"

namespace lum {

// Rows of so many elements: pixels times channels.
template <class T>
struct Planes {
  Image<const T> src1, src2;  // of thresholds both the same
  Image<T> dst;
  ptrdiff_t length;
  int height;
};

}  // namespace lum

// clang-format off
LUM_FOR_LEVELS(
  // src2 - src1
  void subtract(const Planes<Lum32f>& planes);
  // ... times 2 to the power of -scale, -8 to 8
  void subtract_scaled(const Planes<Lum8u>& planes, int scale);
  // Raises to the limit what is below, or lowers what is above.
  void limit_below(const Planes<Lum32f>& planes, Lum32f limit);
  void limit_above(const Planes<Lum32f>& planes, Lum32f limit);
  // Replaces what is below the threshold, or above.
  void replace_below(const Planes<Lum8u>& planes, Lum8u threshold, Lum8u value);
  void replace_above(const Planes<Lum8u>& planes, Lum8u threshold, Lum8u value);
)
// clang-format on
