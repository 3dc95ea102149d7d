// Kernels of the extrema: the smallest and the largest value of a band and the first rows that hold them.
#pragma once
#include "core/level.h"
#include "lumcvstatistics.h"

namespace lum {

// Both rows are the first one that was selected while no number was met: then min and max are NaN.
struct Extremes {
  bool seen;  // any pixel
  Lum32f min, max;
  int min_row, max_row;
};

}  // namespace lum

// clang-format off
LUM_FOR_LEVELS(
  template <class S, int Channels, bool Masked>
  Extremes extremes(const Pixels& band);
  // The first selected pixel of a row that equals the value, or any where that is NaN; there is one.
  template <class S, int Channels, bool Masked>
  int first_of_row(const Pixels& pixels, int y, Lum32f value);
)
// clang-format on
