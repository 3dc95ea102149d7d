/* A caller like an old 32-bit program: its stack is aligned to 4 bytes only (-mpreferred-stack-boundary=2). Calls every
   kind of function from each of the four alignments, on one thread and on several; a crash fails the test. */
#include <alloca.h>
#include <stdio.h>

#include "lumcore.h"
#include "lumcv.h"

enum { kWidth = 300, kHeight = 700, kPixels = kWidth * kHeight, kWordStep = 2 * kWidth, kFloatStep = 4 * kWidth };
static Lum8u bytes[kPixels], edges[kPixels];
static Lum16s words[kPixels], words2[kPixels], *rows[kHeight];
static Lum32f floats[kPixels], floats2[kPixels], *float_rows[kHeight];
static int failures;
#define EXPECT_OK(call) \
  if ((call) != lumStatusOk) printf("failed: %s\n", #call), ++failures

/* The stack pointer has moved by 4 x shift bytes. */
static void __attribute__((noinline)) call_all(int shift) {
  const LumSize roi = {kWidth, kHeight}, shorter = {kWidth, kHeight - 6};
  const Lum16s taps[7] = {1, 2, 3, 4, 3, 2, 1};
  const Lum32f float_taps[7] = {1, 2, 3, 4, 3, 2, 1};
  volatile char* gap = alloca(4 * shift + 4);
  int size = 0;
  Lum8u* buffer;
  gap[0] = 0;
  EXPECT_OK(lumGetNumThreads(&size));
  EXPECT_OK(lumGetMaxCacheSizeB(&size));
  EXPECT_OK(lumcvGetLibVersion()->major == 5 && lumGetNumCoresOnDie() > 0 ? lumStatusOk : lumStatusFailure);
  EXPECT_OK(lumiCannyGetSize(roi, &size)); /* the others need less */
  buffer = lumsMalloc_8u(size);
  EXPECT_OK(lumiFilterSobelHorizBorder_8u16s_C1R(bytes, kWidth, words, kWordStep, roi, lumMaskSize5x5, lumBorderMirr, 0,
                                                 buffer));
  EXPECT_OK(lumiFilterLaplacianBorder_8u8s_C1R(bytes, kWidth, (Lum8s*)edges, kWidth, roi, lumMaskSize5x5, lumBorderWrap,
                                               0, 7, buffer));
  EXPECT_OK(lumiFilterScharrVertBorder_32f_C1R(floats, kFloatStep, floats2, kFloatStep, roi, lumBorderMirr, 0, buffer));
  EXPECT_OK(
      lumiFilterGaussBorder_32f_C1R(floats, kFloatStep, floats2, kFloatStep, roi, 9, 2, lumBorderMirr, 0, buffer));
  EXPECT_OK(lumiFilterRowBorderPipeline_8u16s_C1R(bytes, kWidth, rows, roi, taps, 7, 3, lumBorderMirrR, 0, 16, buffer));
  EXPECT_OK(
      lumiFilterColumnPipeline_16s8u_C1R((const Lum16s* const*)rows, edges, kWidth, shorter, taps, 7, 16, buffer));
  EXPECT_OK(lumiFilterRowBorderPipeline_32f_C1R(floats, kFloatStep, float_rows, roi, float_taps, 7, 3, lumBorderRepl, 0,
                                                buffer));
  EXPECT_OK(lumiCanny_32f8u_C1R(floats, kFloatStep, floats2, kFloatStep, edges, kWidth, roi, 5, 20, buffer));
  lumsFree(buffer);
}

int main(void) {
  int i;
  for (i = 0; i < kPixels; ++i) bytes[i] = (Lum8u)(i * 31 % 251), floats[i] = (Lum32f)(i * 17 % 1009);
  for (i = 0; i < kHeight; ++i) rows[i] = words2 + i * kWidth, float_rows[i] = floats2 + i * kWidth;
  for (i = 0; i < 8; ++i) {
    lumSetNumThreads(i < 4 ? 1 : 4);
    call_all(i % 4);
  }
  return failures != 0;
}
