/* A program that is not position-independent: the loader moves the libraries' data objects into it, and the libraries
 * have to use them there. */
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include "lumcore.h"
#include "lumcv_frame.h"

static int allocations, releases, failures;

static void* counting_malloc(size_t size) {
  ++allocations;
  return malloc(size);
}

static void counting_free(void* block) {
  ++releases;
  free(block);
}

static void check(int right, const char* what) {
  if (right) return;
  fprintf(stderr, "failed: %s\n", what);
  ++failures;
}

static void check_hooks(void) {
  Lum8u* block;
  i_malloc = counting_malloc;
  i_free = counting_free;
  block = lumsMalloc_8u(100);
  check(block != NULL, "a block through the program's hook");
  check(allocations == 1, "lumsMalloc_8u calls the hook once");
  lumsFree(block);
  check(releases == 1, "lumsFree calls the hook once");
}

static void check_data(void) {
  int i;
  for (i = 0; i < 144; ++i) check(lumcvCoiMaskA[i] == (i % 3 == i / 48 ? 0xFF : 0), "lumcvCoiMaskA");
  check(i_version == 1, "i_version");
  check(i_min_version == 0, "i_min_version");
  check(lumConstantOfINF_64f > 1e308 && lumConstantOfINF_NEG_64f < -1e308, "infinities");
  check(lumConstantOfNAN_64f != lumConstantOfNAN_64f, "NaN");
}

static void check_threads(void) {
  int count = 0;
  check(lumGetNumThreads(&count) == lumStatusOk && threads_omp_of_n_lum == count, "thread count at start");
  check(lumSetNumThreads(count + 1) == lumStatusOk && threads_omp_of_n_lum == count + 1, "thread count when set");
}

int main(void) {
  check_hooks();
  check_data();
  check_threads();
  return failures != 0;
}
