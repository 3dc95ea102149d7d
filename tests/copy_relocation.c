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

#define CHECK(right) \
  if (!(right)) printf("failed: %s\n", #right), ++failures

static int has_bits(const Lum64f* value, unsigned long long bits) { return memcmp(value, &bits, sizeof bits) == 0; }

int main(void) {
  int i, count = 0;
  CHECK(lumGetNumThreads(&count) == lumStatusOk && threads_omp_of_n_lum == count);
  CHECK(lumSetNumThreads(count + 1) == lumStatusOk && threads_omp_of_n_lum == count + 1);
  i_malloc = counting_malloc;
  i_free = counting_free;
  lumsFree(lumsMalloc_8u(100));
  CHECK(allocations == 1 && releases == 1);
  for (i = 0; i < 144; ++i) CHECK(lumcvCoiMaskA[i] == (i % 3 == i / 48 ? 0xFF : 0));
  CHECK(i_version == 1 && i_min_version == 0);
  CHECK(has_bits(&lumConstantOfINF_64f, 0x7FF0000000000000));
  CHECK(has_bits(&lumConstantOfINF_NEG_64f, 0xFFF0000000000000));
  CHECK(has_bits(&lumConstantOfNAN_64f, 0x7FF8000000000000));
  return failures != 0;
}
