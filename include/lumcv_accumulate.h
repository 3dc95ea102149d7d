/**
 * @file
 * @brief Statistics of a sequence of frames: accumulators and absolute differences.
 */
#ifndef LUMCV_ACCUMULATE_H
#define LUMCV_ACCUMULATE_H

#include "lumcv_types.h"

#ifdef __cplusplus
extern "C" {
#endif

/**
 * @defgroup accumulate Accumulators and absolute differences
 * @brief Per-pixel statistics of a video stream in a single-precision plane, and how far two frames differ.
 *
 * All images have one channel and one size. Each operation is rounded to single precision, none is fused, and every
 * pixel is independent of the others. The functions run on the calling thread and may be called from any thread.
 *
 * A mask byte that is not 0 selects its pixel.
 *
 * Checks, in order: ::lumStatusNullPointer if a pointer is null; ::lumStatusBadSize if width or height is below 1; then
 * the steps. Where all images have elements of one size (32f sources, the differences) first ::lumStatusBadStep if any
 * step, a mask's included, is below its row's length, then ::lumStatusStepNotPixelMultiple if any is not a multiple of
 * its element size. Otherwise image by image in the order of the arguments: first its length, then its multiple. On an
 * error nothing is written.
 *
 * The accumulator may be a source of the same call if they are the same plane (same pointer, step and element type), and
 * a difference may be written over a source. Planes must not overlap otherwise.
 * @{
 */

/**
 * @name Sum of frames
 * @brief acc = acc + src.
 * @param pSrc frame. @param srcStep its row step in bytes.
 * @param pSrcDst accumulator. @param srcDstStep its row step in bytes.
 * @param roiSize size of all images in pixels.
 * @return A status as the group describes.
 * @{
 */
LUM_API LumStatus lumiAdd_8u32f_C1IR(const Lum8u* pSrc, int srcStep, Lum32f* pSrcDst, int srcDstStep, LumSize roiSize);
LUM_API LumStatus lumiAdd_8s32f_C1IR(const Lum8s* pSrc, int srcStep, Lum32f* pSrcDst, int srcDstStep, LumSize roiSize);
LUM_API LumStatus lumiAdd_16u32f_C1IR(const Lum16u* pSrc, int srcStep, Lum32f* pSrcDst, int srcDstStep,
                                      LumSize roiSize);
/** @} */

/**
 * @name Sum of frames under a mask
 * @brief acc = acc + src where the mask selects; other pixels keep every bit.
 * @param pSrc frame. @param srcStep its row step in bytes.
 * @param pMask mask. @param maskStep its row step in bytes.
 * @param pSrcDst accumulator. @param srcDstStep its row step in bytes.
 * @param roiSize size of all images in pixels.
 * @return A status as the group describes.
 * @{
 */
LUM_API LumStatus lumiAdd_8u32f_C1IMR(const Lum8u* pSrc, int srcStep, const Lum8u* pMask, int maskStep, Lum32f* pSrcDst,
                                      int srcDstStep, LumSize roiSize);
LUM_API LumStatus lumiAdd_8s32f_C1IMR(const Lum8s* pSrc, int srcStep, const Lum8u* pMask, int maskStep, Lum32f* pSrcDst,
                                      int srcDstStep, LumSize roiSize);
LUM_API LumStatus lumiAdd_16u32f_C1IMR(const Lum16u* pSrc, int srcStep, const Lum8u* pMask, int maskStep,
                                       Lum32f* pSrcDst, int srcDstStep, LumSize roiSize);
LUM_API LumStatus lumiAdd_32f_C1IMR(const Lum32f* pSrc, int srcStep, const Lum8u* pMask, int maskStep, Lum32f* pSrcDst,
                                    int srcDstStep, LumSize roiSize);
/** @} */

/**
 * @name Sum of squares
 * @brief acc = acc + src x src, the square in single precision.
 * @param pSrc frame. @param srcStep its row step in bytes.
 * @param pSrcDst accumulator. @param srcDstStep its row step in bytes.
 * @param roiSize size of all images in pixels.
 * @return A status as the group describes.
 * @{
 */
LUM_API LumStatus lumiAddSquare_8u32f_C1IR(const Lum8u* pSrc, int srcStep, Lum32f* pSrcDst, int srcDstStep,
                                           LumSize roiSize);
LUM_API LumStatus lumiAddSquare_8s32f_C1IR(const Lum8s* pSrc, int srcStep, Lum32f* pSrcDst, int srcDstStep,
                                           LumSize roiSize);
LUM_API LumStatus lumiAddSquare_16u32f_C1IR(const Lum16u* pSrc, int srcStep, Lum32f* pSrcDst, int srcDstStep,
                                            LumSize roiSize);
LUM_API LumStatus lumiAddSquare_32f_C1IR(const Lum32f* pSrc, int srcStep, Lum32f* pSrcDst, int srcDstStep,
                                         LumSize roiSize);
/** @} */

/**
 * @name Sum of squares under a mask
 * @brief acc = acc + src x src where the mask selects; other pixels keep every bit.
 * @param pSrc frame. @param srcStep its row step in bytes.
 * @param pMask mask. @param maskStep its row step in bytes.
 * @param pSrcDst accumulator. @param srcDstStep its row step in bytes.
 * @param roiSize size of all images in pixels.
 * @return A status as the group describes.
 * @{
 */
LUM_API LumStatus lumiAddSquare_8u32f_C1IMR(const Lum8u* pSrc, int srcStep, const Lum8u* pMask, int maskStep,
                                            Lum32f* pSrcDst, int srcDstStep, LumSize roiSize);
LUM_API LumStatus lumiAddSquare_8s32f_C1IMR(const Lum8s* pSrc, int srcStep, const Lum8u* pMask, int maskStep,
                                            Lum32f* pSrcDst, int srcDstStep, LumSize roiSize);
LUM_API LumStatus lumiAddSquare_16u32f_C1IMR(const Lum16u* pSrc, int srcStep, const Lum8u* pMask, int maskStep,
                                             Lum32f* pSrcDst, int srcDstStep, LumSize roiSize);
LUM_API LumStatus lumiAddSquare_32f_C1IMR(const Lum32f* pSrc, int srcStep, const Lum8u* pMask, int maskStep,
                                          Lum32f* pSrcDst, int srcDstStep, LumSize roiSize);
/** @} */

/**
 * @name Sum of products
 * @brief acc = acc + src1 x src2; the product of integers is exact before it is rounded once.
 * @param pSrc1 first frame. @param src1Step its row step in bytes.
 * @param pSrc2 second frame. @param src2Step its row step in bytes.
 * @param pSrcDst accumulator. @param srcDstStep its row step in bytes.
 * @param roiSize size of all images in pixels.
 * @return A status as the group describes.
 * @{
 */
LUM_API LumStatus lumiAddProduct_8u32f_C1IR(const Lum8u* pSrc1, int src1Step, const Lum8u* pSrc2, int src2Step,
                                            Lum32f* pSrcDst, int srcDstStep, LumSize roiSize);
LUM_API LumStatus lumiAddProduct_8s32f_C1IR(const Lum8s* pSrc1, int src1Step, const Lum8s* pSrc2, int src2Step,
                                            Lum32f* pSrcDst, int srcDstStep, LumSize roiSize);
LUM_API LumStatus lumiAddProduct_16u32f_C1IR(const Lum16u* pSrc1, int src1Step, const Lum16u* pSrc2, int src2Step,
                                             Lum32f* pSrcDst, int srcDstStep, LumSize roiSize);
LUM_API LumStatus lumiAddProduct_32f_C1IR(const Lum32f* pSrc1, int src1Step, const Lum32f* pSrc2, int src2Step,
                                          Lum32f* pSrcDst, int srcDstStep, LumSize roiSize);
/** @} */

/**
 * @name Sum of products under a mask
 * @brief acc = acc + (src1 x src2 where the mask selects, else 0).
 * @param pSrc1 first frame. @param src1Step its row step in bytes.
 * @param pSrc2 second frame. @param src2Step its row step in bytes.
 * @param pMask mask. @param maskStep its row step in bytes.
 * @param pSrcDst accumulator. @param srcDstStep its row step in bytes.
 * @param roiSize size of all images in pixels.
 * @return A status as the group describes.
 *
 * Zero is added to the other pixels: their -0 becomes +0.
 * @{
 */
LUM_API LumStatus lumiAddProduct_8u32f_C1IMR(const Lum8u* pSrc1, int src1Step, const Lum8u* pSrc2, int src2Step,
                                             const Lum8u* pMask, int maskStep, Lum32f* pSrcDst, int srcDstStep,
                                             LumSize roiSize);
LUM_API LumStatus lumiAddProduct_8s32f_C1IMR(const Lum8s* pSrc1, int src1Step, const Lum8s* pSrc2, int src2Step,
                                             const Lum8u* pMask, int maskStep, Lum32f* pSrcDst, int srcDstStep,
                                             LumSize roiSize);
LUM_API LumStatus lumiAddProduct_16u32f_C1IMR(const Lum16u* pSrc1, int src1Step, const Lum16u* pSrc2, int src2Step,
                                              const Lum8u* pMask, int maskStep, Lum32f* pSrcDst, int srcDstStep,
                                              LumSize roiSize);
LUM_API LumStatus lumiAddProduct_32f_C1IMR(const Lum32f* pSrc1, int src1Step, const Lum32f* pSrc2, int src2Step,
                                           const Lum8u* pMask, int maskStep, Lum32f* pSrcDst, int srcDstStep,
                                           LumSize roiSize);
/** @} */

/**
 * @name Running average
 * @brief acc = acc + (src - acc) x alpha.
 * @param pSrc frame. @param srcStep its row step in bytes.
 * @param pSrcDst accumulator. @param srcDstStep its row step in bytes.
 * @param roiSize size of all images in pixels.
 * @param alpha weight of the frame, any value.
 * @return A status as the group describes.
 * @{
 */
LUM_API LumStatus lumiAddWeighted_8u32f_C1IR(const Lum8u* pSrc, int srcStep, Lum32f* pSrcDst, int srcDstStep,
                                             LumSize roiSize, Lum32f alpha);
LUM_API LumStatus lumiAddWeighted_8s32f_C1IR(const Lum8s* pSrc, int srcStep, Lum32f* pSrcDst, int srcDstStep,
                                             LumSize roiSize, Lum32f alpha);
LUM_API LumStatus lumiAddWeighted_16u32f_C1IR(const Lum16u* pSrc, int srcStep, Lum32f* pSrcDst, int srcDstStep,
                                              LumSize roiSize, Lum32f alpha);
LUM_API LumStatus lumiAddWeighted_32f_C1IR(const Lum32f* pSrc, int srcStep, Lum32f* pSrcDst, int srcDstStep,
                                           LumSize roiSize, Lum32f alpha);
/** @} */

/**
 * @name Running average under a mask
 * @brief acc = acc + (src - acc) x (alpha where the mask selects, else 0).
 * @param pSrc frame. @param srcStep its row step in bytes.
 * @param pMask mask. @param maskStep its row step in bytes.
 * @param pSrcDst accumulator. @param srcDstStep its row step in bytes.
 * @param roiSize size of all images in pixels.
 * @param alpha weight of the frame, any value.
 * @return A status as the group describes.
 *
 * The formula is evaluated on every pixel: one that the mask leaves out keeps a finite value (unless src - acc exceeds
 * single precision), and becomes NaN if it is infinite. The 32f function computes in extended precision (64 bits of
 * mantissa) and rounds once, when it stores.
 * @{
 */
LUM_API LumStatus lumiAddWeighted_8u32f_C1IMR(const Lum8u* pSrc, int srcStep, const Lum8u* pMask, int maskStep,
                                              Lum32f* pSrcDst, int srcDstStep, LumSize roiSize, Lum32f alpha);
LUM_API LumStatus lumiAddWeighted_8s32f_C1IMR(const Lum8s* pSrc, int srcStep, const Lum8u* pMask, int maskStep,
                                              Lum32f* pSrcDst, int srcDstStep, LumSize roiSize, Lum32f alpha);
LUM_API LumStatus lumiAddWeighted_16u32f_C1IMR(const Lum16u* pSrc, int srcStep, const Lum8u* pMask, int maskStep,
                                               Lum32f* pSrcDst, int srcDstStep, LumSize roiSize, Lum32f alpha);
LUM_API LumStatus lumiAddWeighted_32f_C1IMR(const Lum32f* pSrc, int srcStep, const Lum8u* pMask, int maskStep,
                                            Lum32f* pSrcDst, int srcDstStep, LumSize roiSize, Lum32f alpha);
/** @} */

/**
 * @name Absolute difference of two frames
 * @brief dst = |src1 - src2|.
 * @param pSrc1 first frame. @param src1Step its row step in bytes.
 * @param pSrc2 second frame. @param src2Step its row step in bytes.
 * @param pDst difference. @param dstStep its row step in bytes.
 * @param roiSize size of all images in pixels.
 * @return A status as the group describes.
 *
 * Exact for integers; 32f subtracts in single precision and clears the sign, a NaN stays one.
 * @{
 */
LUM_API LumStatus lumiAbsDiff_8u_C1R(const Lum8u* pSrc1, int src1Step, const Lum8u* pSrc2, int src2Step, Lum8u* pDst,
                                     int dstStep, LumSize roiSize);
LUM_API LumStatus lumiAbsDiff_16u_C1R(const Lum16u* pSrc1, int src1Step, const Lum16u* pSrc2, int src2Step,
                                      Lum16u* pDst, int dstStep, LumSize roiSize);
LUM_API LumStatus lumiAbsDiff_32f_C1R(const Lum32f* pSrc1, int src1Step, const Lum32f* pSrc2, int src2Step,
                                      Lum32f* pDst, int dstStep, LumSize roiSize);
/** @} */

/**
 * @name Absolute difference of a frame and a constant
 * @brief dst = |src - value|.
 * @param pSrc frame. @param srcStep its row step in bytes.
 * @param pDst difference. @param dstStep its row step in bytes.
 * @param roiSize size of all images in pixels.
 * @param value constant; for integers it is first clamped to the range of the elements.
 * @return A status as the group describes.
 * @{
 */
LUM_API LumStatus lumiAbsDiffC_8u_C1R(const Lum8u* pSrc, int srcStep, Lum8u* pDst, int dstStep, LumSize roiSize,
                                      int value);
LUM_API LumStatus lumiAbsDiffC_16u_C1R(const Lum16u* pSrc, int srcStep, Lum16u* pDst, int dstStep, LumSize roiSize,
                                       int value);
LUM_API LumStatus lumiAbsDiffC_32f_C1R(const Lum32f* pSrc, int srcStep, Lum32f* pDst, int dstStep, LumSize roiSize,
                                       Lum32f value);
/** @} */
/** @} */

#ifdef __cplusplus
}
#endif
#endif
