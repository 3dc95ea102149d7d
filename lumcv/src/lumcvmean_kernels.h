// Kernels of the means and deviations: sums over a band of rows.
#pragma once
#include "core/level.h"
#include "lumcvstatistics.h"

namespace lum {

// What is summed. Distances are those of 32f from a mean.
struct Values {};
struct ValuesAndSquares {};
struct SquaredDistances {};

struct Summation {
  bool whole;   // 32f: all rows in the same lanes
  Lum32f mean;  // of distances
};

// What a band holds; distances are squares.
struct Sums {
  Lum64f values, squares;
  long long pixels;  // that the mask selects; the functions without one know their number
};
using SumKernel = Sums (*)(const Pixels& band, const Summation& how);

}  // namespace lum

// clang-format off
LUM_FOR_LEVELS(
  template <class What, class S, int Channels, bool Masked>
  Sums sums(const Pixels& band, const Summation& how);
)
// clang-format on
