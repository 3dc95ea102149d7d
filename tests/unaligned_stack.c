/* A caller like an old 32-bit program: its stack is aligned to 4 bytes only (-mpreferred-stack-boundary=2). Calls every
   kind of function from each of the four alignments, on one thread and on several; a crash fails the test. */
#include <alloca.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include "lumcore.h"
#include "lumcv.h"

enum { kWidth = 300, kHeight = 700 };
static Lum8u bytes[kHeight * kWidth], edges[kHeight * kWidth];
static Lum16s words[kHeight * kWidth], words2[kHeight * kWidth];
static Lum32f floats[kHeight * kWidth], floats2[kHeight * kWidth];
static Lum16s* word_rows[kHeight];
static Lum32f* float_rows[kHeight];
static int failures;

static void expect_ok(LumStatus status, const char* what) {
  if (status == lumStatusOk) return;
  printf("%s: status %d\n", what, status);
  ++failures;
}
#define EXPECT_OK(call) expect_ok(call, #call)

/* Each call gets a buffer of its own size; the stack pointer has moved by 4 x shift bytes. */
static void __attribute__((noinline)) call_all(int shift) {
  const LumSize roi = {kWidth, kHeight};
  const Lum16s taps[7] = {1, 2, 3, 4, 3, 2, 1};
  const Lum32f float_taps[7] = {1, 2, 3, 4, 3, 2, 1};
  volatile char* gap = alloca(4 * shift + 4);
  int size = 0, threads = 0;
  Lum8u* buffer;
  gap[0] = 0;

  EXPECT_OK(lumGetNumThreads(&threads));
  EXPECT_OK(lumGetMaxCacheSizeB(&size));
  EXPECT_OK(lumcvGetLibVersion()->major == 5 && lumGetNumCoresOnDie() > 0 ? lumStatusOk : lumStatusFailure);
  EXPECT_OK(lumiFilterLaplacianGetBufferSize_8u8s_C1R(roi, lumMaskSize5x5, &size)); /* larger than all but two */
  buffer = lumsMalloc_8u(size);
  EXPECT_OK(lumiFilterSobelHorizBorder_8u16s_C1R(bytes, kWidth, words, 2 * kWidth, roi, lumMaskSize5x5, lumBorderMirr,
                                                 0, buffer));
  EXPECT_OK(lumiFilterSobelNegVertBorder_8u16s_C1R(bytes, kWidth, words2, 2 * kWidth, roi, lumMaskSize3x3,
                                                   lumBorderRepl, 0, buffer));
  EXPECT_OK(lumiFilterLaplacianBorder_8u8s_C1R(bytes, kWidth, (Lum8s*)edges, kWidth, roi, lumMaskSize5x5, lumBorderWrap,
                                               0, 7, buffer));
  EXPECT_OK(
      lumiFilterLowpassBorder_8u_C1R(bytes, kWidth, edges, kWidth, roi, lumMaskSize5x5, lumBorderConst, 9, buffer));
  EXPECT_OK(
      lumiFilterRowBorderPipeline_8u16s_C1R(bytes, kWidth, word_rows, roi, taps, 7, 3, lumBorderMirrR, 0, 16, buffer));
  EXPECT_OK(lumiFilterColumnPipeline_16s8u_C1R((const Lum16s* const*)word_rows, edges, kWidth,
                                               (LumSize){kWidth, kHeight - 6}, taps, 7, 16, buffer));
  EXPECT_OK(lumiFilterRowBorderPipeline_32f_C1R(floats, 4 * kWidth, float_rows, roi, float_taps, 7, 3, lumBorderRepl, 0,
                                                buffer));
  EXPECT_OK(lumiFilterColumnPipeline_32f_C1R((const Lum32f* const*)float_rows, floats, 4 * kWidth,
                                             (LumSize){kWidth, kHeight - 6}, float_taps, 7, buffer));
  lumsFree(buffer);
  EXPECT_OK(lumiFilterScharrVertGetBufferSize_32f_C1R(roi, &size));
  buffer = lumsMalloc_8u(size);
  EXPECT_OK(lumiFilterScharrVertBorder_32f_C1R(floats, 4 * kWidth, floats2, 4 * kWidth, roi, lumBorderMirr, 0, buffer));
  lumsFree(buffer);
  EXPECT_OK(lumiFilterGaussGetBufferSize_32f_C1R(roi, 9, &size));
  buffer = lumsMalloc_8u(size);
  EXPECT_OK(
      lumiFilterGaussBorder_32f_C1R(floats, 4 * kWidth, floats2, 4 * kWidth, roi, 9, 2, lumBorderMirr, 0, buffer));
  lumsFree(buffer);
  EXPECT_OK(lumiCannyGetSize(roi, &size));
  buffer = lumsMalloc_8u(size);
  EXPECT_OK(lumiCanny_16s8u_C1R(words2, 2 * kWidth, words, 2 * kWidth, edges, kWidth, roi, 50, 200, buffer));
  EXPECT_OK(lumiCanny_32f8u_C1R(floats, 4 * kWidth, floats2, 4 * kWidth, edges, kWidth, roi, 5, 20, buffer));
  lumsFree(buffer);
}

int main(void) {
  int i, shift, threads;
  for (i = 0; i < kWidth * kHeight; ++i) {
    bytes[i] = (Lum8u)(i * 31 % 251);
    floats[i] = (Lum32f)(i * 17 % 1009);
  }
  for (i = 0; i < kHeight; ++i) {
    word_rows[i] = words + i * kWidth;
    float_rows[i] = floats2 + i * kWidth;
  }
  for (threads = 1; threads <= 4; threads += 3) {
    lumSetNumThreads(threads);
    for (shift = 0; shift < 4; ++shift) call_all(shift);
  }
  return failures != 0;
}
