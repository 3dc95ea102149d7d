/**
 * @file
 * @brief Feature detection: Canny edges.
 */
#ifndef LUMCV_FEATURES_H
#define LUMCV_FEATURES_H

#include "lumcv_types.h"

#ifdef __cplusplus
extern "C" {
#endif

/**
 * @defgroup canny Canny edges
 * @{
 */

/**
 * @brief Size in bytes of the work buffer of both Canny functions.
 * @param roiSize size of the region in pixels.
 * @param pBufferSize receives the size.
 * @return In check order: ::lumStatusNullPointer if @p pBufferSize is null; ::lumStatusBadSize if width or height is
 * below 1, or if the size does not fit 32 bits (nothing is written then); else ::lumStatusOk.
 *
 * (5 height + 10)(width + 2) + (4 width + 24) x 4 + 64 bytes; from a width or height of 65533 up
 * 9 width (height + 2) + 18 (height + 2) + (4 width + 24) x 4 + 64.
 */
LUM_API LumStatus lumiCannyGetSize(LumSize roiSize, int* pBufferSize);

/**
 * @name Canny edge detector
 * @brief Binary edge map of a pair of first derivatives: 255 on edge pixels, 0 elsewhere.
 * @param pSrcDx horizontal derivative. @param srcDxStep its row step in bytes.
 * @param pSrcDy vertical derivative. @param srcDyStep its row step in bytes.
 * @param pDstEdges edge map. @param dstEdgeStep its row step in bytes, any value from the width up.
 * @param roiSize size of the three planes in pixels.
 * @param lowThresh magnitude that a candidate must exceed (16s) or reach (32f).
 * @param highThresh magnitude that a seed must exceed.
 * @param pBuffer work buffer of lumiCannyGetSize() bytes, of any alignment and content.
 * @return In check order: ::lumStatusNullPointer if a pointer is null; ::lumStatusBadSize if width or height is below
 * 1; ::lumStatusBadStep if a step is below its row's length; ::lumStatusStepNotPixelMultiple if a step of a derivative
 * is not a multiple of its element size; ::lumStatusBadArgument unless 0 <= lowThresh <= highThresh (a NaN fails);
 * else ::lumStatusOk. On an error nothing is written.
 *
 * Magnitude: |dx| + |dy|, saturated at 65535 (16s, where |-32768| is 32768) or in single precision (32f), and 0 outside
 * the image. 16s truncates both thresholds to integers and keeps magnitudes strictly above the low one; 32f keeps those
 * that are not below it.
 *
 * Non-maxima are suppressed along the gradient, quantised with single-precision products: horizontal where
 * |dy| < |dx| x 0.41421357, else vertical where |dx| x 2.4142137 < |dy|, else diagonal (up-left and down-right where the
 * signs of dx and dy agree, 0 counting as positive). A candidate is strictly above its left or upper neighbour and not
 * below its right or lower one; on a diagonal it is strictly above both.
 *
 * Edges are the candidates that are 8-connected, through candidates, to one strictly above the high threshold.
 *
 * The whole block of height x dstEdgeStep bytes is written: the padding between and behind the rows becomes 0.
 * No plane may overlap another or the buffer. Runs on the calling thread; callable from any thread.
 * @{
 */
LUM_API LumStatus lumiCanny_16s8u_C1R(const Lum16s* pSrcDx, int srcDxStep, const Lum16s* pSrcDy, int srcDyStep,
                                      Lum8u* pDstEdges, int dstEdgeStep, LumSize roiSize, Lum32f lowThresh,
                                      Lum32f highThresh, Lum8u* pBuffer);
LUM_API LumStatus lumiCanny_32f8u_C1R(const Lum32f* pSrcDx, int srcDxStep, const Lum32f* pSrcDy, int srcDyStep,
                                      Lum8u* pDstEdges, int dstEdgeStep, LumSize roiSize, Lum32f lowThresh,
                                      Lum32f highThresh, Lum8u* pBuffer);
/** @} */
/** @} */

#ifdef __cplusplus
}
#endif
#endif
