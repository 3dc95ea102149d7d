// Kernels of the copies, which see bytes only.
#pragma once
#include <stdint.h>

#include "core/image.h"
#include "core/level.h"

namespace lum {

// Whether two blocks of n bytes have any in common.
LUM_INLINE bool overlap(const void* a, const void* b, size_t n) {
  return (uintptr_t)a - (uintptr_t)b + n - 1 < 2 * n - 1;
}

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
  void copy_runs(Image<const Lum8u> src, Image<Lum8u> dst, Runs runs);
  void set_runs(Lum8u value, Image<Lum8u> dst, Runs runs);
  template <class T, int C>
  void copy_replicate(const Bordered& job);
  void copy_const(const Bordered& job, Lum8u value);
)
// clang-format on
