// Kernels of the copies, which see bytes only.
#pragma once
#include "core/image.h"
#include "core/level.h"

namespace lum {

// Runs of so many bytes, a step apart.
struct Runs {
  ptrdiff_t bytes;
  int count;
  bool bypass;  // the cache
};

// A copy into a larger image.
struct Bordered {
  Image<const Lum8u> src;
  LumSize src_roi;
  Image<Lum8u> dst;  // the larger image
  LumSize dst_roi;
  int top, left;
};

}  // namespace lum

// clang-format off
LUM_FOR_LEVELS(
  // From what does not overlap the destination.
  void copy_runs(Image<const Lum8u> src, Image<Lum8u> dst, Runs runs);
  void set_runs(Lum8u value, Image<Lum8u> dst, Runs runs);
  template <class T, int C>
  void copy_replicate(const Bordered& job);
  void copy_const(const Bordered& job, Lum8u value);
)
// clang-format on
