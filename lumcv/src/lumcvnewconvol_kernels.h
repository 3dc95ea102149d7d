// Kernels of the fixed filters: a band of rows in, nothing but data across the border of a level.
#pragma once
#include "core/level.h"
#include "core/parallel.h"

namespace lum {

// Row kernels, in the order of their table. The Laplacian ones make two rows at once, Sobel and D2x.
// clang-format off
enum class RowKernel {
  dx3, scharr3, dx_neg3, dx_neg5, d2x3, d2x5, sobel3, sobel5, avr3, avr5, laplacian3, laplacian5,
};
// Column kernels, in the order of their table. The Laplacian ones add D2x of the Sobel rows and Sobel of the D2x rows.
enum class ColumnKernel {
  scharr3, dx3, sobel3, sobel5, dx5, d2x3, d2x5, laplacian3, laplacian5, avr3, avr5, sobel_neg3, sobel_neg5,
};
// clang-format on

template <class S, class D>
struct Convolution {
  Image<const S> src;
  Image<D> dst;
  LumSize roi;
  int taps;
  RowKernel row;
  ColumnKernel column;
  LumBorderType border;
  S border_value;
  Lum32f reciprocal;  // of the divisor, for 8s results; 1 needs no scaling
};

}  // namespace lum

// clang-format off
LUM_FOR_LEVELS(
  template <class S, class D>
  void convolve_band(const Convolution<S, D>& job, Rows rows);
)
// clang-format on
