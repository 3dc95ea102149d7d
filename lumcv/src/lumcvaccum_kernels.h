// Kernels of the accumulators and the absolute differences: whole regions, nothing but data and empty tags across the
// border of a level.
#pragma once
#include "core/image.h"
#include "core/level.h"

namespace lum {

// What is added to the accumulator.
struct Add {};
struct AddSquare {};
struct AddProduct {};
struct AddWeighted {};

template <class S>
struct Accumulation {
  Image<const S> src, src2;  // src2 of products
  Image<const Lum8u> mask;   // of masked ones
  Image<Lum32f> acc;
  LumSize roi;
  Lum32f alpha;  // of weighted ones
};

}  // namespace lum

// clang-format off
LUM_FOR_LEVELS(
  template <class Op, bool Masked, class S>
  void accumulate(const Accumulation<S>& job);
  template <class S>
  void abs_diff(Image<const S> src1, Image<const S> src2, Image<S> dst, LumSize roi);
  template <class S>
  void abs_diff_constant(Image<const S> src, S value, Image<S> dst, LumSize roi);
)
// clang-format on
