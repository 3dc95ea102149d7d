/**
 * @file
 * @brief Linear filters: the separable row/column pipeline and the fixed filters with border.
 */
#ifndef LUMCV_FILTERS_H
#define LUMCV_FILTERS_H

#include "lumcv_types.h"

#ifdef __cplusplus
extern "C" {
#endif

/**
 * @defgroup separable Separable filter pipeline
 *
 * A row pass filters each source row horizontally and writes row y wherever `ppDst[y]` says; a column pass reads K
 * consecutive filtered rows through `ppSrc` and writes one destination row. A caller who keeps a ring of K rows never
 * holds a whole intermediate image. Both are correlations: the taps are not reversed.
 *
 * **Rounding of the integer passes.** A sum is multiplied by the single-precision reciprocal of the divisor and clamped
 * to the range of the destination. Columns x below width - width mod 16 round to nearest, ties to even; the last width
 * mod 16 columns of a row truncate towards zero.
 * @{
 */

/**
 * @name Buffer sizes of the row pass
 * @brief Size in bytes of the work buffer of the row pass of the same types and channels.
 * @param roiSize size of the region in pixels.
 * @param kernelSize number of taps K.
 * @param pBufferSize receives the size. It grows with the thread count (lumGetNumThreads()).
 * @return In check order: ::lumStatusNullPointer if @p pBufferSize is null; ::lumStatusBadSize if width, height or
 * @p kernelSize is below 1, or if the size does not fit 32 bits (nothing is written then); else ::lumStatusOk.
 *
 * With T threads and height H: 32 T + 4 T (H + K) + T P, where P is, by types: 8u16s C1 36 K + 112, C3
 * 12 K + 16 (3 K + 2) + 80; 16s C1 32 K + 16 (K + 1) + 64, C3 40 K + 64; Low_16s C1 16 (K + 2) + 8 K + 32, C3
 * 192 K + 16 (K + 2) + 32; 32f C1 64 K + 64, C3 192 K + 32.
 * @{
 */
LUM_API LumStatus lumiFilterRowBorderPipelineGetBufferSize_8u16s_C1R(LumSize roiSize, int kernelSize, int* pBufferSize);
LUM_API LumStatus lumiFilterRowBorderPipelineGetBufferSize_8u16s_C3R(LumSize roiSize, int kernelSize, int* pBufferSize);
LUM_API LumStatus lumiFilterRowBorderPipelineGetBufferSize_16s_C1R(LumSize roiSize, int kernelSize, int* pBufferSize);
LUM_API LumStatus lumiFilterRowBorderPipelineGetBufferSize_16s_C3R(LumSize roiSize, int kernelSize, int* pBufferSize);
LUM_API LumStatus lumiFilterRowBorderPipelineGetBufferSize_Low_16s_C1R(LumSize roiSize, int kernelSize,
                                                                       int* pBufferSize);
LUM_API LumStatus lumiFilterRowBorderPipelineGetBufferSize_Low_16s_C3R(LumSize roiSize, int kernelSize,
                                                                       int* pBufferSize);
LUM_API LumStatus lumiFilterRowBorderPipelineGetBufferSize_32f_C1R(LumSize roiSize, int kernelSize, int* pBufferSize);
LUM_API LumStatus lumiFilterRowBorderPipelineGetBufferSize_32f_C3R(LumSize roiSize, int kernelSize, int* pBufferSize);
/** @} */

/**
 * @name Row pass
 * @brief dst[y][x] = sum over k of pKernel[k] * e[x - xAnchor + k], where e is source row y extended by the border rule;
 * channels are filtered each on its own.
 * @param pSrc source plane. @param srcStep its row step in bytes.
 * @param ppDst `roiSize.height` pointers to the destination rows, of `roiSize.width` pixels each. With several threads,
 * rows must not share memory.
 * @param roiSize size of the region in pixels.
 * @param pKernel @p kernelSize taps. @param kernelSize number of taps K, 1 or more.
 * @param xAnchor tap that lies on the output pixel, 0 to K - 1.
 * @param borderType rule for the pixels left and right of a row; any distance beyond the row is served.
 * @param borderValue the border pixels of ::lumBorderConst, for every channel.
 * @param divisor divides the integer sums, by its single-precision reciprocal; may be negative.
 * @param pBuffer work buffer of the companion size function, of any alignment and content.
 * @return In check order: ::lumStatusNullPointer if @p pSrc, @p ppDst, @p pKernel or @p pBuffer is null;
 * ::lumStatusBadSize if height, width or @p kernelSize is below 1; ::lumStatusBadAnchor if @p xAnchor is outside the
 * kernel; ::lumStatusBadStep if @p srcStep is below the row's length; ::lumStatusStepNotPixelMultiple if it is not a
 * multiple of the element size; ::lumStatusBadArgument if @p borderType is not 0 to 4; ::lumStatusBadArgument if
 * @p divisor is 0; else ::lumStatusOk. On an error nothing is written. The entries of @p ppDst are not checked.
 *
 * Integer sums are formed in 32 bits and wrap. 32f sums run in ascending k in single precision, each product rounded.
 * The `Low` forms equal the plain ones. Source and destination rows must not overlap. From 32768 pixels per thread up
 * the rows are split over the library's threads (16s only from 4 taps up).
 * @{
 */
LUM_API LumStatus lumiFilterRowBorderPipeline_8u16s_C1R(const Lum8u* pSrc, int srcStep, Lum16s* const* ppDst,
                                                        LumSize roiSize, const Lum16s* pKernel, int kernelSize,
                                                        int xAnchor, LumBorderType borderType, Lum8u borderValue,
                                                        int divisor, Lum8u* pBuffer);
LUM_API LumStatus lumiFilterRowBorderPipeline_8u16s_C3R(const Lum8u* pSrc, int srcStep, Lum16s* const* ppDst,
                                                        LumSize roiSize, const Lum16s* pKernel, int kernelSize,
                                                        int xAnchor, LumBorderType borderType, Lum8u borderValue,
                                                        int divisor, Lum8u* pBuffer);
LUM_API LumStatus lumiFilterRowBorderPipeline_16s_C1R(const Lum16s* pSrc, int srcStep, Lum16s* const* ppDst,
                                                      LumSize roiSize, const Lum16s* pKernel, int kernelSize,
                                                      int xAnchor, LumBorderType borderType, Lum16s borderValue,
                                                      int divisor, Lum8u* pBuffer);
LUM_API LumStatus lumiFilterRowBorderPipeline_16s_C3R(const Lum16s* pSrc, int srcStep, Lum16s* const* ppDst,
                                                      LumSize roiSize, const Lum16s* pKernel, int kernelSize,
                                                      int xAnchor, LumBorderType borderType, Lum16s borderValue,
                                                      int divisor, Lum8u* pBuffer);
LUM_API LumStatus lumiFilterRowBorderPipeline_Low_16s_C1R(const Lum16s* pSrc, int srcStep, Lum16s* const* ppDst,
                                                          LumSize roiSize, const Lum16s* pKernel, int kernelSize,
                                                          int xAnchor, LumBorderType borderType, Lum16s borderValue,
                                                          int divisor, Lum8u* pBuffer);
LUM_API LumStatus lumiFilterRowBorderPipeline_Low_16s_C3R(const Lum16s* pSrc, int srcStep, Lum16s* const* ppDst,
                                                          LumSize roiSize, const Lum16s* pKernel, int kernelSize,
                                                          int xAnchor, LumBorderType borderType, Lum16s borderValue,
                                                          int divisor, Lum8u* pBuffer);
LUM_API LumStatus lumiFilterRowBorderPipeline_32f_C1R(const Lum32f* pSrc, int srcStep, Lum32f* const* ppDst,
                                                      LumSize roiSize, const Lum32f* pKernel, int kernelSize,
                                                      int xAnchor, LumBorderType borderType, Lum32f borderValue,
                                                      Lum8u* pBuffer);
LUM_API LumStatus lumiFilterRowBorderPipeline_32f_C3R(const Lum32f* pSrc, int srcStep, Lum32f* const* ppDst,
                                                      LumSize roiSize, const Lum32f* pKernel, int kernelSize,
                                                      int xAnchor, LumBorderType borderType, Lum32f borderValue,
                                                      Lum8u* pBuffer);
/** @} */

/**
 * @name Buffer sizes of the column pass
 * @brief Size in bytes of the work buffer of the column pass of the same types and channels.
 * @param roiSize size of the region in pixels.
 * @param kernelSize number of taps K.
 * @param pBufferSize receives the size. It grows with the thread count (lumGetNumThreads()).
 * @return In check order: ::lumStatusNullPointer if @p pBufferSize is null; ::lumStatusBadSize if width, height or
 * @p kernelSize is below 1, or if the size does not fit 32 bits (nothing is written then); else ::lumStatusOk.
 *
 * 32f: 32. Else, with T threads, height H and width W: 32 T + 4 T (H + K) + T P, where P is 12 W' + 32 for C1 and
 * 36 W' + 32 for C3; W' is W rounded up to a multiple of 4 (Low_16s: of 8).
 * @{
 */
LUM_API LumStatus lumiFilterColumnPipelineGetBufferSize_16s_C1R(LumSize roiSize, int kernelSize, int* pBufferSize);
LUM_API LumStatus lumiFilterColumnPipelineGetBufferSize_16s_C3R(LumSize roiSize, int kernelSize, int* pBufferSize);
LUM_API LumStatus lumiFilterColumnPipelineGetBufferSize_Low_16s_C1R(LumSize roiSize, int kernelSize, int* pBufferSize);
LUM_API LumStatus lumiFilterColumnPipelineGetBufferSize_Low_16s_C3R(LumSize roiSize, int kernelSize, int* pBufferSize);
LUM_API LumStatus lumiFilterColumnPipelineGetBufferSize_16s8u_C1R(LumSize roiSize, int kernelSize, int* pBufferSize);
LUM_API LumStatus lumiFilterColumnPipelineGetBufferSize_16s8u_C3R(LumSize roiSize, int kernelSize, int* pBufferSize);
LUM_API LumStatus lumiFilterColumnPipelineGetBufferSize_16s8s_C1R(LumSize roiSize, int kernelSize, int* pBufferSize);
LUM_API LumStatus lumiFilterColumnPipelineGetBufferSize_16s8s_C3R(LumSize roiSize, int kernelSize, int* pBufferSize);
LUM_API LumStatus lumiFilterColumnPipelineGetBufferSize_32f_C1R(LumSize roiSize, int kernelSize, int* pBufferSize);
LUM_API LumStatus lumiFilterColumnPipelineGetBufferSize_32f_C3R(LumSize roiSize, int kernelSize, int* pBufferSize);
/** @} */

/**
 * @name Column pass
 * @brief dst[y][x] = sum over k of pKernel[k] * ppSrc[y + k][x].
 * @param ppSrc `roiSize.height` + @p kernelSize - 1 pointers to filtered rows of `roiSize.width` pixels each; several
 * may name the same row, which is how a caller makes the borders above and below.
 * @param pDst destination plane. @param dstStep its row step in bytes.
 * @param roiSize size of the destination in pixels.
 * @param pKernel @p kernelSize taps. @param kernelSize number of taps K, 1 or more.
 * @param divisor divides the integer sums, by its single-precision reciprocal; may be negative.
 * @param pBuffer work buffer of the companion size function, of any alignment and content.
 * @return In check order: ::lumStatusNullPointer if @p ppSrc, @p pDst or @p pKernel is null; ::lumStatusBadSize if
 * height, width or @p kernelSize is below 1; ::lumStatusBadStep if @p dstStep is below the row's length;
 * ::lumStatusStepNotPixelMultiple if it is not a multiple of the element size; ::lumStatusNullPointer if @p pBuffer is
 * null; ::lumStatusBadArgument if @p divisor is 0; ::lumStatusNullPointer if any of the entries of @p ppSrc is null;
 * else ::lumStatusOk. On an error nothing is written.
 *
 * Integer products are exact, each is converted to single precision, and the sum runs in ascending k in single
 * precision; so does the 32f sum. The `Low` forms equal the plain ones. Source rows and destination must not overlap.
 * From 32768 pixels per thread up the rows are split over the library's threads.
 * @{
 */
LUM_API LumStatus lumiFilterColumnPipeline_16s_C1R(const Lum16s* const* ppSrc, Lum16s* pDst, int dstStep,
                                                   LumSize roiSize, const Lum16s* pKernel, int kernelSize, int divisor,
                                                   Lum8u* pBuffer);
LUM_API LumStatus lumiFilterColumnPipeline_16s_C3R(const Lum16s* const* ppSrc, Lum16s* pDst, int dstStep,
                                                   LumSize roiSize, const Lum16s* pKernel, int kernelSize, int divisor,
                                                   Lum8u* pBuffer);
LUM_API LumStatus lumiFilterColumnPipeline_Low_16s_C1R(const Lum16s* const* ppSrc, Lum16s* pDst, int dstStep,
                                                       LumSize roiSize, const Lum16s* pKernel, int kernelSize,
                                                       int divisor, Lum8u* pBuffer);
LUM_API LumStatus lumiFilterColumnPipeline_Low_16s_C3R(const Lum16s* const* ppSrc, Lum16s* pDst, int dstStep,
                                                       LumSize roiSize, const Lum16s* pKernel, int kernelSize,
                                                       int divisor, Lum8u* pBuffer);
LUM_API LumStatus lumiFilterColumnPipeline_16s8u_C1R(const Lum16s* const* ppSrc, Lum8u* pDst, int dstStep,
                                                     LumSize roiSize, const Lum16s* pKernel, int kernelSize,
                                                     int divisor, Lum8u* pBuffer);
LUM_API LumStatus lumiFilterColumnPipeline_16s8u_C3R(const Lum16s* const* ppSrc, Lum8u* pDst, int dstStep,
                                                     LumSize roiSize, const Lum16s* pKernel, int kernelSize,
                                                     int divisor, Lum8u* pBuffer);
LUM_API LumStatus lumiFilterColumnPipeline_16s8s_C1R(const Lum16s* const* ppSrc, Lum8s* pDst, int dstStep,
                                                     LumSize roiSize, const Lum16s* pKernel, int kernelSize,
                                                     int divisor, Lum8u* pBuffer);
LUM_API LumStatus lumiFilterColumnPipeline_16s8s_C3R(const Lum16s* const* ppSrc, Lum8s* pDst, int dstStep,
                                                     LumSize roiSize, const Lum16s* pKernel, int kernelSize,
                                                     int divisor, Lum8u* pBuffer);
LUM_API LumStatus lumiFilterColumnPipeline_32f_C1R(const Lum32f* const* ppSrc, Lum32f* pDst, int dstStep,
                                                   LumSize roiSize, const Lum32f* pKernel, int kernelSize,
                                                   Lum8u* pBuffer);
LUM_API LumStatus lumiFilterColumnPipeline_32f_C3R(const Lum32f* const* ppSrc, Lum32f* pDst, int dstStep,
                                                   LumSize roiSize, const Lum32f* pKernel, int kernelSize,
                                                   Lum8u* pBuffer);
/** @} */
/** @} */

/**
 * @defgroup fixed Fixed filters with border
 *
 * Derivative, smoothing and Laplacian filters on one channel. Each is a row kernel r and a column kernel c of 3 or 5
 * taps: dst[y][x] = sum over i, j of c[i] * r[j] * src[y + i - a][x + j - a], a = 1 (3x3) or 2 (5x5), with src extended
 * by the border rule on all four sides; the taps are not reversed. The kernels:
 *
 * | kernel | 3 taps | 5 taps |
 * |---|---|---|
 * | Dx | -1 0 1 | -1 -2 0 2 1 |
 * | DxNeg | 1 0 -1 | 1 2 0 -2 -1 |
 * | D2x | 1 -2 1 | 1 0 -2 0 1 |
 * | Sobel | 1 2 1 | 1 4 6 4 1 |
 * | Scharr | 3 10 3 | |
 * | Avr | 1 1 1 | 1 1 1 1 1 |
 *
 * **Types.** 8u16s: exact sums. 8u8s: the same sums times the single-precision reciprocal of the divisor, saturated to
 * -128..127; columns x below width - width mod 16 round to nearest, ties to even, the last width mod 16 truncate
 * towards zero. 32f: single-precision sums in ascending tap order, row sums first; 5-tap Dx is (e - a) + 2 (d - b) for
 * the taps a b c d e in order.
 *
 * **Borders.** Under ::lumBorderConst a row above or below the image is, after the row kernel, the border value times
 * the sum of the row kernel's taps.
 * @{
 */

/**
 * @name Buffer sizes of the fixed filters
 * @brief Size in bytes of the work buffer of the filter of the same name and types.
 * @param roiSize size of the region in pixels.
 * @param maskSize 3x3 or 5x5; the Scharr filters are always 3x3.
 * @param pBufferSize receives the size. It grows with the thread count (lumGetNumThreads()).
 * @return In check order: ::lumStatusNullPointer if @p pBufferSize is null; ::lumStatusBadSize if width or height is
 * below 1; ::lumStatusBadMaskSize if @p maskSize is neither; ::lumStatusBadSize if the size does not fit 32 bits
 * (nothing is written then); else ::lumStatusOk.
 *
 * T (A + R + C + 32) with T threads, R and C the sizes of the row and the column pass for the types and K taps, and A
 * by filter, with c16 = ceil(width / 16) and c4 = ceil(width / 4):
 *
 * | filter | A for 3x3 | A for 5x5 |
 * |---|---|---|
 * | Sobel 8u16s and 8u8s, Lowpass 8u | 672 c16 + 220 | 800 c16 + 244 |
 * | Sobel and Lowpass 32f | 336 c4 + 220 | 400 c4 + 244 |
 * | Laplacian 8u16s | 1344 c16 + 408 | 1600 c16 + 456 |
 * | Laplacian 8u8s | 1344 c16 + 408 | 1600 c16 + 456 + 32 c16 height + 32 |
 * | Laplacian 32f | 2688 c16 + 408 | 3200 c16 + 456 |
 * | Scharr 8u16s and 8u8s | 672 c16 + 220 | |
 * | Scharr 32f | 336 c4 + 220 | |
 * @{
 */
LUM_API LumStatus lumiFilterSobelHorizGetBufferSize_8u16s_C1R(LumSize roiSize, LumMaskSize maskSize, int* pBufferSize);
LUM_API LumStatus lumiFilterSobelHorizGetBufferSize_8u8s_C1R(LumSize roiSize, LumMaskSize maskSize, int* pBufferSize);
LUM_API LumStatus lumiFilterSobelHorizGetBufferSize_32f_C1R(LumSize roiSize, LumMaskSize maskSize, int* pBufferSize);
LUM_API LumStatus lumiFilterSobelVertGetBufferSize_8u16s_C1R(LumSize roiSize, LumMaskSize maskSize, int* pBufferSize);
LUM_API LumStatus lumiFilterSobelVertGetBufferSize_8u8s_C1R(LumSize roiSize, LumMaskSize maskSize, int* pBufferSize);
LUM_API LumStatus lumiFilterSobelVertGetBufferSize_32f_C1R(LumSize roiSize, LumMaskSize maskSize, int* pBufferSize);
LUM_API LumStatus lumiFilterSobelNegVertGetBufferSize_8u16s_C1R(LumSize roiSize, LumMaskSize maskSize,
                                                                int* pBufferSize);
LUM_API LumStatus lumiFilterSobelNegVertGetBufferSize_8u8s_C1R(LumSize roiSize, LumMaskSize maskSize, int* pBufferSize);
LUM_API LumStatus lumiFilterSobelNegVertGetBufferSize_32f_C1R(LumSize roiSize, LumMaskSize maskSize, int* pBufferSize);
LUM_API LumStatus lumiFilterSobelHorizSecondGetBufferSize_8u16s_C1R(LumSize roiSize, LumMaskSize maskSize,
                                                                    int* pBufferSize);
LUM_API LumStatus lumiFilterSobelHorizSecondGetBufferSize_8u8s_C1R(LumSize roiSize, LumMaskSize maskSize,
                                                                   int* pBufferSize);
LUM_API LumStatus lumiFilterSobelHorizSecondGetBufferSize_32f_C1R(LumSize roiSize, LumMaskSize maskSize,
                                                                  int* pBufferSize);
LUM_API LumStatus lumiFilterSobelVertSecondGetBufferSize_8u16s_C1R(LumSize roiSize, LumMaskSize maskSize,
                                                                   int* pBufferSize);
LUM_API LumStatus lumiFilterSobelVertSecondGetBufferSize_8u8s_C1R(LumSize roiSize, LumMaskSize maskSize,
                                                                  int* pBufferSize);
LUM_API LumStatus lumiFilterSobelVertSecondGetBufferSize_32f_C1R(LumSize roiSize, LumMaskSize maskSize,
                                                                 int* pBufferSize);
LUM_API LumStatus lumiFilterSobelCrossGetBufferSize_8u16s_C1R(LumSize roiSize, LumMaskSize maskSize, int* pBufferSize);
LUM_API LumStatus lumiFilterSobelCrossGetBufferSize_8u8s_C1R(LumSize roiSize, LumMaskSize maskSize, int* pBufferSize);
LUM_API LumStatus lumiFilterSobelCrossGetBufferSize_32f_C1R(LumSize roiSize, LumMaskSize maskSize, int* pBufferSize);
LUM_API LumStatus lumiFilterScharrHorizGetBufferSize_8u16s_C1R(LumSize roiSize, int* pBufferSize);
LUM_API LumStatus lumiFilterScharrHorizGetBufferSize_8u8s_C1R(LumSize roiSize, int* pBufferSize);
LUM_API LumStatus lumiFilterScharrHorizGetBufferSize_32f_C1R(LumSize roiSize, int* pBufferSize);
LUM_API LumStatus lumiFilterScharrVertGetBufferSize_8u16s_C1R(LumSize roiSize, int* pBufferSize);
LUM_API LumStatus lumiFilterScharrVertGetBufferSize_8u8s_C1R(LumSize roiSize, int* pBufferSize);
LUM_API LumStatus lumiFilterScharrVertGetBufferSize_32f_C1R(LumSize roiSize, int* pBufferSize);
LUM_API LumStatus lumiFilterLaplacianGetBufferSize_8u16s_C1R(LumSize roiSize, LumMaskSize maskSize, int* pBufferSize);
LUM_API LumStatus lumiFilterLaplacianGetBufferSize_8u8s_C1R(LumSize roiSize, LumMaskSize maskSize, int* pBufferSize);
LUM_API LumStatus lumiFilterLaplacianGetBufferSize_32f_C1R(LumSize roiSize, LumMaskSize maskSize, int* pBufferSize);
LUM_API LumStatus lumiFilterLowpassGetBufferSize_8u_C1R(LumSize roiSize, LumMaskSize maskSize, int* pBufferSize);
LUM_API LumStatus lumiFilterLowpassGetBufferSize_32f_C1R(LumSize roiSize, LumMaskSize maskSize, int* pBufferSize);
/** @} */

/**
 * @name Fixed filters
 * @param pSrc source plane. @param srcStep its row step in bytes.
 * @param pDst destination plane. @param dstStep its row step in bytes.
 * @param roiSize size of both planes in pixels; one row or one column is enough.
 * @param maskSize 3x3 or 5x5; the Scharr filters are always 3x3.
 * @param borderType rule for the pixels outside the image.
 * @param borderValue the outside pixels of ::lumBorderConst.
 * @param divisor 8u8s only: divides the sums; may be negative.
 * @param pBuffer work buffer of the companion size function, of any alignment and content.
 * @return In check order: ::lumStatusNullPointer if @p pSrc, @p pDst or @p pBuffer is null; ::lumStatusBadSize if width
 * or height is below 1; ::lumStatusBadStep if @p srcStep or @p dstStep is below its row's length;
 * ::lumStatusStepNotPixelMultiple if a 16s destination's or a 32f plane's step is not a multiple of its element size;
 * ::lumStatusBadArgument if @p borderType is not 0 to 4; ::lumStatusBadArgument if @p divisor is 0;
 * ::lumStatusBadMaskSize if @p maskSize is neither; else ::lumStatusOk. On an error nothing is written.
 *
 * Source and destination must not overlap. Every thread that takes part needs 90 KB of stack. From 256 columns and 128
 * rows per thread up the rows are split over the library's threads.
 * @{
 */
/** @brief Sobel down the columns: row Sobel, column Dx. Answers to horizontal edges. */
LUM_API LumStatus lumiFilterSobelHorizBorder_8u16s_C1R(const Lum8u* pSrc, int srcStep, Lum16s* pDst, int dstStep,
                                                       LumSize roiSize, LumMaskSize maskSize, LumBorderType borderType,
                                                       Lum8u borderValue, Lum8u* pBuffer);
/** @copybrief lumiFilterSobelHorizBorder_8u16s_C1R */
LUM_API LumStatus lumiFilterSobelHorizBorder_8u8s_C1R(const Lum8u* pSrc, int srcStep, Lum8s* pDst, int dstStep,
                                                      LumSize roiSize, LumMaskSize maskSize, LumBorderType borderType,
                                                      Lum8u borderValue, int divisor, Lum8u* pBuffer);
/** @copybrief lumiFilterSobelHorizBorder_8u16s_C1R */
LUM_API LumStatus lumiFilterSobelHorizBorder_32f_C1R(const Lum32f* pSrc, int srcStep, Lum32f* pDst, int dstStep,
                                                     LumSize roiSize, LumMaskSize maskSize, LumBorderType borderType,
                                                     Lum32f borderValue, Lum8u* pBuffer);
/**
 * @brief Sobel across the rows: row DxNeg, column Sobel. Answers to vertical edges; positive where brightness falls
 * to the right.
 */
LUM_API LumStatus lumiFilterSobelVertBorder_8u16s_C1R(const Lum8u* pSrc, int srcStep, Lum16s* pDst, int dstStep,
                                                      LumSize roiSize, LumMaskSize maskSize, LumBorderType borderType,
                                                      Lum8u borderValue, Lum8u* pBuffer);
/** @copybrief lumiFilterSobelVertBorder_8u16s_C1R */
LUM_API LumStatus lumiFilterSobelVertBorder_8u8s_C1R(const Lum8u* pSrc, int srcStep, Lum8s* pDst, int dstStep,
                                                     LumSize roiSize, LumMaskSize maskSize, LumBorderType borderType,
                                                     Lum8u borderValue, int divisor, Lum8u* pBuffer);
/** @copybrief lumiFilterSobelVertBorder_8u16s_C1R */
LUM_API LumStatus lumiFilterSobelVertBorder_32f_C1R(const Lum32f* pSrc, int srcStep, Lum32f* pDst, int dstStep,
                                                    LumSize roiSize, LumMaskSize maskSize, LumBorderType borderType,
                                                    Lum32f borderValue, Lum8u* pBuffer);
/**
 * @brief Negated Sobel across the rows: row DxNeg, column -Sobel. Positive where brightness rises to the right.
 */
LUM_API LumStatus lumiFilterSobelNegVertBorder_8u16s_C1R(const Lum8u* pSrc, int srcStep, Lum16s* pDst, int dstStep,
                                                         LumSize roiSize, LumMaskSize maskSize,
                                                         LumBorderType borderType, Lum8u borderValue, Lum8u* pBuffer);
/** @copybrief lumiFilterSobelNegVertBorder_8u16s_C1R */
LUM_API LumStatus lumiFilterSobelNegVertBorder_8u8s_C1R(const Lum8u* pSrc, int srcStep, Lum8s* pDst, int dstStep,
                                                        LumSize roiSize, LumMaskSize maskSize, LumBorderType borderType,
                                                        Lum8u borderValue, int divisor, Lum8u* pBuffer);
/** @copybrief lumiFilterSobelNegVertBorder_8u16s_C1R */
LUM_API LumStatus lumiFilterSobelNegVertBorder_32f_C1R(const Lum32f* pSrc, int srcStep, Lum32f* pDst, int dstStep,
                                                       LumSize roiSize, LumMaskSize maskSize, LumBorderType borderType,
                                                       Lum32f borderValue, Lum8u* pBuffer);
/** @brief Second derivative down the columns: row Sobel, column D2x. */
LUM_API LumStatus lumiFilterSobelHorizSecondBorder_8u16s_C1R(const Lum8u* pSrc, int srcStep, Lum16s* pDst, int dstStep,
                                                             LumSize roiSize, LumMaskSize maskSize,
                                                             LumBorderType borderType, Lum8u borderValue,
                                                             Lum8u* pBuffer);
/** @copybrief lumiFilterSobelHorizSecondBorder_8u16s_C1R */
LUM_API LumStatus lumiFilterSobelHorizSecondBorder_8u8s_C1R(const Lum8u* pSrc, int srcStep, Lum8s* pDst, int dstStep,
                                                            LumSize roiSize, LumMaskSize maskSize,
                                                            LumBorderType borderType, Lum8u borderValue, int divisor,
                                                            Lum8u* pBuffer);
/** @copybrief lumiFilterSobelHorizSecondBorder_8u16s_C1R */
LUM_API LumStatus lumiFilterSobelHorizSecondBorder_32f_C1R(const Lum32f* pSrc, int srcStep, Lum32f* pDst, int dstStep,
                                                           LumSize roiSize, LumMaskSize maskSize,
                                                           LumBorderType borderType, Lum32f borderValue,
                                                           Lum8u* pBuffer);
/** @brief Second derivative across the rows: row D2x, column Sobel. */
LUM_API LumStatus lumiFilterSobelVertSecondBorder_8u16s_C1R(const Lum8u* pSrc, int srcStep, Lum16s* pDst, int dstStep,
                                                            LumSize roiSize, LumMaskSize maskSize,
                                                            LumBorderType borderType, Lum8u borderValue,
                                                            Lum8u* pBuffer);
/** @copybrief lumiFilterSobelVertSecondBorder_8u16s_C1R */
LUM_API LumStatus lumiFilterSobelVertSecondBorder_8u8s_C1R(const Lum8u* pSrc, int srcStep, Lum8s* pDst, int dstStep,
                                                           LumSize roiSize, LumMaskSize maskSize,
                                                           LumBorderType borderType, Lum8u borderValue, int divisor,
                                                           Lum8u* pBuffer);
/** @copybrief lumiFilterSobelVertSecondBorder_8u16s_C1R */
LUM_API LumStatus lumiFilterSobelVertSecondBorder_32f_C1R(const Lum32f* pSrc, int srcStep, Lum32f* pDst, int dstStep,
                                                          LumSize roiSize, LumMaskSize maskSize,
                                                          LumBorderType borderType, Lum32f borderValue, Lum8u* pBuffer);
/** @brief Mixed second derivative: row DxNeg, column Dx. */
LUM_API LumStatus lumiFilterSobelCrossBorder_8u16s_C1R(const Lum8u* pSrc, int srcStep, Lum16s* pDst, int dstStep,
                                                       LumSize roiSize, LumMaskSize maskSize, LumBorderType borderType,
                                                       Lum8u borderValue, Lum8u* pBuffer);
/** @copybrief lumiFilterSobelCrossBorder_8u16s_C1R */
LUM_API LumStatus lumiFilterSobelCrossBorder_8u8s_C1R(const Lum8u* pSrc, int srcStep, Lum8s* pDst, int dstStep,
                                                      LumSize roiSize, LumMaskSize maskSize, LumBorderType borderType,
                                                      Lum8u borderValue, int divisor, Lum8u* pBuffer);
/** @copybrief lumiFilterSobelCrossBorder_8u16s_C1R */
LUM_API LumStatus lumiFilterSobelCrossBorder_32f_C1R(const Lum32f* pSrc, int srcStep, Lum32f* pDst, int dstStep,
                                                     LumSize roiSize, LumMaskSize maskSize, LumBorderType borderType,
                                                     Lum32f borderValue, Lum8u* pBuffer);
/** @brief Scharr down the columns, 3x3: row Scharr, column Dx. */
LUM_API LumStatus lumiFilterScharrHorizBorder_8u16s_C1R(const Lum8u* pSrc, int srcStep, Lum16s* pDst, int dstStep,
                                                        LumSize roiSize, LumBorderType borderType, Lum8u borderValue,
                                                        Lum8u* pBuffer);
/** @copybrief lumiFilterScharrHorizBorder_8u16s_C1R */
LUM_API LumStatus lumiFilterScharrHorizBorder_8u8s_C1R(const Lum8u* pSrc, int srcStep, Lum8s* pDst, int dstStep,
                                                       LumSize roiSize, LumBorderType borderType, Lum8u borderValue,
                                                       int divisor, Lum8u* pBuffer);
/** @copybrief lumiFilterScharrHorizBorder_8u16s_C1R */
LUM_API LumStatus lumiFilterScharrHorizBorder_32f_C1R(const Lum32f* pSrc, int srcStep, Lum32f* pDst, int dstStep,
                                                      LumSize roiSize, LumBorderType borderType, Lum32f borderValue,
                                                      Lum8u* pBuffer);
/** @brief Scharr across the rows, 3x3: row Dx, column Scharr. */
LUM_API LumStatus lumiFilterScharrVertBorder_8u16s_C1R(const Lum8u* pSrc, int srcStep, Lum16s* pDst, int dstStep,
                                                       LumSize roiSize, LumBorderType borderType, Lum8u borderValue,
                                                       Lum8u* pBuffer);
/** @copybrief lumiFilterScharrVertBorder_8u16s_C1R */
LUM_API LumStatus lumiFilterScharrVertBorder_8u8s_C1R(const Lum8u* pSrc, int srcStep, Lum8s* pDst, int dstStep,
                                                      LumSize roiSize, LumBorderType borderType, Lum8u borderValue,
                                                      int divisor, Lum8u* pBuffer);
/** @copybrief lumiFilterScharrVertBorder_8u16s_C1R */
LUM_API LumStatus lumiFilterScharrVertBorder_32f_C1R(const Lum32f* pSrc, int srcStep, Lum32f* pDst, int dstStep,
                                                     LumSize roiSize, LumBorderType borderType, Lum32f borderValue,
                                                     Lum8u* pBuffer);
/**
 * @brief Laplacian: row Sobel with column D2x plus row D2x with column Sobel. The 3x3 mask is 2 0 2 / 0 -8 0 / 2 0
 * 2.
 */
LUM_API LumStatus lumiFilterLaplacianBorder_8u16s_C1R(const Lum8u* pSrc, int srcStep, Lum16s* pDst, int dstStep,
                                                      LumSize roiSize, LumMaskSize maskSize, LumBorderType borderType,
                                                      Lum8u borderValue, Lum8u* pBuffer);
/** @copybrief lumiFilterLaplacianBorder_8u16s_C1R */
LUM_API LumStatus lumiFilterLaplacianBorder_8u8s_C1R(const Lum8u* pSrc, int srcStep, Lum8s* pDst, int dstStep,
                                                     LumSize roiSize, LumMaskSize maskSize, LumBorderType borderType,
                                                     Lum8u borderValue, int divisor, Lum8u* pBuffer);
/** @copybrief lumiFilterLaplacianBorder_8u16s_C1R */
LUM_API LumStatus lumiFilterLaplacianBorder_32f_C1R(const Lum32f* pSrc, int srcStep, Lum32f* pDst, int dstStep,
                                                    LumSize roiSize, LumMaskSize maskSize, LumBorderType borderType,
                                                    Lum32f borderValue, Lum8u* pBuffer);
/**
 * @brief Box mean: row Avr, column Avr of sum S. 8u: min(255, ((S + 5) * 7280) >> 16) for 3x3 and (S * 2621) >> 16
 * for 5x5. 32f: S times 1.0f/9 or 1.0f/25.
 */
LUM_API LumStatus lumiFilterLowpassBorder_8u_C1R(const Lum8u* pSrc, int srcStep, Lum8u* pDst, int dstStep,
                                                 LumSize roiSize, LumMaskSize maskSize, LumBorderType borderType,
                                                 Lum8u borderValue, Lum8u* pBuffer);
/** @copybrief lumiFilterLowpassBorder_8u_C1R */
LUM_API LumStatus lumiFilterLowpassBorder_32f_C1R(const Lum32f* pSrc, int srcStep, Lum32f* pDst, int dstStep,
                                                  LumSize roiSize, LumMaskSize maskSize, LumBorderType borderType,
                                                  Lum32f borderValue, Lum8u* pBuffer);
/** @} */

/**
 * @brief Size in bytes of the work buffer of lumiFilterGaussBorder_32f_C1R().
 * @param roiSize size of the region in pixels.
 * @param kernelSize number of taps K per direction.
 * @param pBufferSize receives the size.
 * @return In check order: ::lumStatusNullPointer if @p pBufferSize is null; ::lumStatusBadSize if height or width is
 * below 1; ::lumStatusBadArgument if @p kernelSize is below 3 or even; ::lumStatusBadSize if the size does not fit 32
 * bits (nothing is written then); else ::lumStatusOk.
 *
 * ((W + K)(height + K) + K) x 4 + 64, where W is the width rounded up to a multiple of 4.
 */
LUM_API LumStatus lumiFilterGaussGetBufferSize_32f_C1R(LumSize roiSize, int kernelSize, int* pBufferSize);

/**
 * @brief Gaussian smoothing with the same K taps in both directions.
 * @param pSrc source plane. @param srcStep its row step in bytes.
 * @param pDst destination plane. @param dstStep its row step in bytes.
 * @param roiSize size of both planes in pixels.
 * @param kernelSize number of taps K, odd, 3 or more.
 * @param sigma standard deviation in pixels, above 0.
 * @param borderType rule for the pixels outside the image.
 * @param borderValue the outside pixels of ::lumBorderConst.
 * @param pBuffer work buffer of lumiFilterGaussGetBufferSize_32f_C1R() bytes, of any alignment and content.
 * @return In check order: ::lumStatusNullPointer if @p pSrc, @p pDst or @p pBuffer is null; ::lumStatusBadSize if height
 * or width is below 1; ::lumStatusBadStep if a step, in bytes, is below the width in pixels (only this is checked);
 * ::lumStatusBadArgument if @p kernelSize is below 3 or even, if @p sigma is not above 0 (a NaN fails), or if
 * @p borderType is not 0 to 4; else ::lumStatusOk. On an error nothing is written.
 *
 * Tap i is exp(-(i - (K - 1) / 2)^2 / (2 sigma^2)), formed in double precision, normalised to sum 1, then rounded to
 * single. Row sums, then column sums, in ascending tap order in single precision, each product rounded; the result is
 * that of an image extended by the border rule on all four sides. Steps need not be multiples of 4. Source and
 * destination must not overlap. From 256 columns and 128 rows per thread up the rows are split over the library's
 * threads.
 */
LUM_API LumStatus lumiFilterGaussBorder_32f_C1R(const Lum32f* pSrc, int srcStep, Lum32f* pDst, int dstStep,
                                                LumSize roiSize, int kernelSize, Lum32f sigma, LumBorderType borderType,
                                                Lum32f borderValue, Lum8u* pBuffer);

/** @} */

#ifdef __cplusplus
}
#endif
#endif
