/* A program as a user of an installed library writes it. It may be linked in every way: the loader moves the libraries'
   data objects into a program that is not position-independent, and the libraries have to use them there. Prints the
   version and a sum over its results, which must be the same for every way of linking and every word size. */
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include <lumcore.h>
#include <lumcv.h>
#include <lumcv_frame.h>

enum { kWidth = 301, kHeight = 203, kPixels = kWidth * kHeight };
static Lum8u frame[kPixels];
static Lum16s derivative[kPixels];
static int allocations, releases;

static void* counting_malloc(size_t size) {
  ++allocations;
  return malloc(size);
}
static void counting_free(void* block) {
  ++releases;
  free(block);
}
static int has_bits(const Lum64f* value, unsigned long long bits) { return memcmp(value, &bits, sizeof bits) == 0; }

#define CHECK(right) \
  if (!(right)) return fprintf(stderr, "failed: %s\n", #right), 1

int main(void) {
  const LumSize roi = {kWidth, kHeight};
  const int step = kWidth * (int)sizeof(Lum16s);
  int i, size = 0, threads = 0;
  unsigned sum = 0;
  Lum8u* buffer;

  CHECK(lumGetNumThreads(&threads) == lumStatusOk && threads_omp_of_n_lum == threads);
  CHECK(lumSetNumThreads(threads + 1) == lumStatusOk && threads_omp_of_n_lum == threads + 1);
  for (i = 0; i < 144; ++i) CHECK(lumcvCoiMaskA[i] == (i % 3 == i / 48 ? 0xFF : 0));
  CHECK(i_version == 1 && i_min_version == 0);
  CHECK(has_bits(&lumConstantOfINF_64f, 0x7FF0000000000000));
  CHECK(has_bits(&lumConstantOfINF_NEG_64f, 0xFFF0000000000000));
  CHECK(has_bits(&lumConstantOfNAN_64f, 0x7FF8000000000000));

  i_malloc = counting_malloc;
  i_free = counting_free;
  CHECK(lumiFilterSobelHorizGetBufferSize_8u16s_C1R(roi, lumMaskSize5x5, &size) == lumStatusOk);
  buffer = lumsMalloc_8u(size);
  for (i = 0; i < kPixels; ++i) frame[i] = (Lum8u)(i * 31 % 251);
  CHECK(lumiFilterSobelHorizBorder_8u16s_C1R(frame, kWidth, derivative, step, roi, lumMaskSize5x5, lumBorderRepl, 0,
                                             buffer) == lumStatusOk);
  lumsFree(buffer);
  CHECK(buffer && allocations == 1 && releases == 1);

  for (i = 0; i < kPixels; ++i) sum = sum * 31 + (Lum16u)derivative[i];
  printf("%s %s: sum %08x\n", lumcvGetLibVersion()->Name, lumcvGetLibVersion()->Version, sum);
  return 0;
}
