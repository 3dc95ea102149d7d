/* A program as a user of an installed library writes it. Prints the version and a sum over its results, which must be
   the same for every way of linking and every word size. */
#include <stdio.h>
#include <stdlib.h>

#include <lumcore.h>
#include <lumcv.h>

enum { kWidth = 301, kHeight = 203 };
static Lum8u frame[kHeight][kWidth], edges[kHeight][kWidth];
static Lum16s dx[kHeight][kWidth], dy[kHeight][kWidth];
static int allocations;

static void* counting_malloc(size_t size) {
  ++allocations;
  return malloc(size);
}

static int fail(const char* what) {
  fprintf(stderr, "failed: %s\n", what);
  return 1;
}

int main(void) {
  const LumSize roi = {kWidth, kHeight};
  const int step = kWidth * (int)sizeof(Lum16s);
  int x, y, size = 0, threads = 0, edge_pixels = 0;
  unsigned sum = 0;
  Lum8u* buffer;

  for (y = 0; y < kHeight; ++y) /* a bright disc */
    for (x = 0; x < kWidth; ++x)
      frame[y][x] = (Lum8u)((x - 150) * (x - 150) + (y - 100) * (y - 100) < 6400 ? 200 : x / 8 + y / 8);

  /* The library's data is the program's. */
  if (lumSetNumThreads(3) || lumGetNumThreads(&threads) || threads != 3 || threads_omp_of_n_lum != 3)
    return fail("thread count");
  i_malloc = counting_malloc;
  if (lumiCannyGetSize(roi, &size)) return fail("buffer size"); /* larger than those of the filters */
  buffer = lumsMalloc_8u(size);
  if (!buffer || allocations != 1) return fail("i_malloc");

  if (lumiFilterSobelHorizBorder_8u16s_C1R(frame[0], kWidth, dy[0], step, roi, lumMaskSize3x3, lumBorderRepl, 0,
                                           buffer))
    return fail("filter");
  if (lumiFilterSobelNegVertBorder_8u16s_C1R(frame[0], kWidth, dx[0], step, roi, lumMaskSize3x3, lumBorderRepl, 0,
                                             buffer))
    return fail("filter");
  if (lumiCanny_16s8u_C1R(dx[0], step, dy[0], step, edges[0], kWidth, roi, 100, 300, buffer)) return fail("Canny");
  lumsFree(buffer);

  for (y = 0; y < kHeight; ++y)
    for (x = 0; x < kWidth; ++x) {
      edge_pixels += edges[y][x] == 255;
      sum = ((sum * 31 + edges[y][x]) * 31 + (Lum16u)dx[y][x]) * 31 + (Lum16u)dy[y][x];
    }
  if (edge_pixels < 400 || edge_pixels > 700) return fail("the outline of the disc");
  printf("%s %s: %d edge pixels, sum %08x\n", lumcvGetLibVersion()->Name, lumcvGetLibVersion()->Version, edge_pixels,
         sum);
  return 0;
}
