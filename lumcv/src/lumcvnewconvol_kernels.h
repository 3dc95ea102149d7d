// Kernels of the fixed filters: a band of rows in, nothing but data across the border of a level.
#pragma once
#include "core/level.h"
#include "core/parallel.h"

namespace lum {

// In the order of the kernels' tables.
// clang-format off
enum class FixedFilter {
  kSobelHoriz, kSobelVert, kSobelNegVert, kSobelHorizSecond, kSobelVertSecond, kSobelCross, kLaplacian,
  kScharrHoriz, kScharrVert, kLowpass, kGauss,
};
// clang-format on

// The Gaussian of up to so many taps is done like the fixed filters.
constexpr int kMostGaussTaps = 9;

template <class S, class D>
struct Convolution {
  Image<const S> src;
  Image<D> dst;
  LumSize roi;
  FixedFilter filter;
  int taps;
  LumBorderType border;
  S border_value;
  int divisor;           // of 8s results
  const Lum32f* kernel;  // the taps of the Gaussian
};

}  // namespace lum

// clang-format off
LUM_FOR_LEVELS(
  template <class S, class D>
  void convolve_band(const Convolution<S, D>& job, Rows rows);
)
// clang-format on
