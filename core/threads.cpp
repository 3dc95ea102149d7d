#include <omp.h>
#include <stdint.h>

#include "core/parallel.h"

namespace lum {

int owncvGetNumThreads() {
  int count = 1;
  lumGetNumThreads(&count);
  return count > 1 ? count : 1;
}

int owncvGetMaxNumThreads() { return owncvGetNumThreads(); }

int owncvGetIdThreads() { return omp_get_thread_num(); }

int owncvGetCacheSize() {
  int bytes = 0;
  lumGetMaxCacheSizeB(&bytes);
  return bytes;
}

int runomp() {
  const int cores = lumGetNumCoresOnDie();
  return cores == 1 ? 0 : cores;
}

int runsepomp(int kernel_size) {
  if (kernel_size == 3 || kernel_size == 5) return runomp();
  return runomp() | 1;
}

int owncvRowMatrAlErr(const void* const* rows, int n) {
  for (int i = 0; i < n; ++i)
    if ((uintptr_t)get(rows + i) % 16 != 0) return 1;
  return 0;
}

int region_threads() {
  const int count = __atomic_load_n(&threads_omp_of_n_lum, __ATOMIC_RELAXED);
  return count > 1 ? count : 1;
}

}  // namespace lum
