/* A program as a user of an installed library writes it. Prints the version and a sum over its results, which must be
   the same for every way of linking and every word size. */
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include <lumcore.h>
#include <lumcv.h>

enum { kWidth = 301, kHeight = 203 };
static Lum8u frame[kHeight][kWidth], edges[kHeight][kWidth];
static Lum16s dx[kHeight][kWidth], dy[kHeight][kWidth];
static int allocations, releases;

static void* counting_malloc(size_t size) {
  ++allocations;
  return malloc(size);
}

static void counting_free(void* block) {
  ++releases;
  free(block);
}

static int fail(const char* what) {
  fprintf(stderr, "failed: %s\n", what);
  return 1;
}

static unsigned add(unsigned sum, const void* plane, size_t bytes) {
  const unsigned char* p = plane;
  while (bytes-- > 0) sum = sum * 31 + *p++;
  return sum;
}

int main(void) {
  const LumSize roi = {kWidth, kHeight};
  int x, y, size = 0, threads = 0, edge_pixels = 0;
  Lum8u* buffer;

  for (y = 0; y < kHeight; ++y)
    for (x = 0; x < kWidth; ++x)
      frame[y][x] = (Lum8u)((x - 150) * (x - 150) + (y - 100) * (y - 100) < 6400 ? 200 : x / 8 + y / 8);

  /* The library's own copy of the count is what the program sees. */
  if (lumSetNumThreads(3) || lumGetNumThreads(&threads) || threads != 3 || threads_omp_of_n_lum != 3)
    return fail("thread count");

  if (lumiFilterSobelHorizGetBufferSize_8u16s_C1R(roi, lumMaskSize5x5, &size)) return fail("buffer size");
  if (lumiCannyGetSize(roi, &x)) return fail("buffer size");
  if (x > size) size = x;

  /* So are the hooks. */
  i_malloc = counting_malloc;
  i_free = counting_free;
  buffer = lumsMalloc_8u(size);
  if (!buffer || allocations != 1) return fail("i_malloc");

  if (lumiFilterSobelHorizBorder_8u16s_C1R(&frame[0][0], kWidth, &dy[0][0], (int)sizeof dy[0], roi, lumMaskSize3x3,
                                           lumBorderRepl, 0, buffer) ||
      lumiFilterSobelNegVertBorder_8u16s_C1R(&frame[0][0], kWidth, &dx[0][0], (int)sizeof dx[0], roi, lumMaskSize3x3,
                                             lumBorderRepl, 0, buffer))
    return fail("filter");
  if (lumiCanny_16s8u_C1R(&dx[0][0], (int)sizeof dx[0], &dy[0][0], (int)sizeof dy[0], &edges[0][0], kWidth, roi, 100,
                          300, buffer))
    return fail("Canny");
  lumsFree(buffer);
  if (releases != 1) return fail("i_free");

  for (y = 0; y < kHeight; ++y)
    for (x = 0; x < kWidth; ++x) edge_pixels += edges[y][x] == 255;
  if (edge_pixels < 400 || edge_pixels > 700) return fail("the outline of a disc");

  printf("%s %s: %d edge pixels, sum %08x\n", lumcvGetLibVersion()->Name, lumcvGetLibVersion()->Version, edge_pixels,
         add(add(add(0, edges, sizeof edges), dx, sizeof dx), dy, sizeof dy));
  return 0;
}
