// Threads: what a function may use, whether to use it, and the loop over slices of rows.
#pragma once
#include "core/image.h"
#include "lumcore.h"

namespace lum {

// Thread count of the library, 1 or more.
int owncvGetNumThreads();
// The same count, for size formulas and thresholds.
int owncvGetMaxNumThreads();
// Number of the calling thread in the current region, 0 for the master.
int owncvGetIdThreads();
// Largest cache in bytes.
int owncvGetCacheSize();
// Nonzero where parallel execution is worthwhile: the cores of a die, or 0 when there is only one.
int runomp();
// The same for a separable filter of one kernel size: 3 and 5 taps ask runomp(), the rest always goes parallel.
int runsepomp(int kernel_size);
// 1 if any of the first n pointers is not 16-byte aligned, else 0.
int owncvRowMatrAlErr(const void* const* rows, int n);

// Size of the team that a region asks for. A program may write the exported count directly, so anything can stand there.
int region_threads();

// Rows [begin, end) of one slice: equal slices, the remainder to the last.
struct Rows {
  int begin;
  int end;
};
LUM_INLINE Rows slice_rows(int height, int slices, int slice) {
  const int rows = height / slices;
  return {slice * rows, slice == slices - 1 ? height : (slice + 1) * rows};
}

// Runs body(slice) for every slice. The team may be smaller than asked for (inside a caller's own region, under a
// thread limit), so the slices are looped over, never matched to thread numbers.
template <class Body>
void for_each_slice(int slices, const Body& body) {
  if (slices == 1) return body(0);
  const int threads = region_threads() < slices ? region_threads() : slices;
#pragma omp parallel for num_threads(threads) schedule(static, 1)
  for (int slice = 0; slice < slices; ++slice) body(slice);
}

}  // namespace lum
