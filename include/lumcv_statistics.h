/**
 * @file
 * @brief Statistics of images: norms, means, deviations and extrema.
 */
#ifndef LUMCV_STATISTICS_H
#define LUMCV_STATISTICS_H

#include "lumcv_types.h"

#ifdef __cplusplus
extern "C" {
#endif

/**
 * @defgroup norms Norms under a mask
 * @brief How large the pixels of an image are, or how far two images differ, where a mask selects.
 *
 * Norms of the magnitudes |v| of the selected pixels:
 * - `Inf`: the largest |v|;
 * - `L1`: the sum of |v|;
 * - `L2`: the square root of the sum of v x v.
 *
 * All are 0 where no pixel is selected. A pixel is selected where the byte at its row and column of the mask is not 0;
 * the others do not matter, not even if they are infinite or no number. Of `C3CMR` functions the images have three
 * channels, of which one takes part, and the mask has one byte for a pixel.
 *
 * |v| is exact for integers: |-128| is 128, and 8s differences reach 255. 32f subtracts in single precision and clears the
 * sign.
 *
 * **Precision.** It depends on the element type, and some of it shows:
 * - 8u, 8s: `Inf` and `L2` are exact (the sum, before its root). `L1` sums in 32 bits for each thread, and a sum above
 *   2147483647 wraps: the result is too small then, perhaps negative.
 * - 16u: `Inf` and `L1` are exact. The squares of `L2` are single precision, so even one may be rounded; runs of 512
 *   pixels of a row are summed in single precision, in sixteen lanes (pixel x in lane x mod 16), the runs in double.
 * - 32f: differences, squares and the sum of a row are single precision, the rows are added in double and the total is
 *   rounded to single precision again. A row is summed in eight lanes (pixel x in lane x mod 8), what is left of it in
 *   four and in one; the lanes are added at its end. A NaN among the selected pixels makes `L1` and `L2` NaN; `Inf`
 *   passes over it.
 *
 * **Threads.** Where width x height reaches the product of thread count and 2^k, each thread takes a band of
 * height / threads rows (the last also the remainder). What the bands measure is combined in their order, sums in double
 * precision; of 32f each band's sum has been rounded to single. So `L1` of bytes, where it wraps, and the last digits of
 * 16u `L2` and 32f depend on the thread count; from call to call, and on every processor, they are the same. The bands'
 * results are on the stack, or above 32 threads in memory of lumsMalloc_64f().
 *
 * Checks, in order: ::lumStatusNullPointer if a pointer is null; ::lumStatusBadSize if width or height is below 1;
 * ::lumStatusBadStep if any step, the mask's included, is below its row's length; ::lumStatusStepNotPixelMultiple if the
 * step of an image is not a multiple of its element size; ::lumStatusBadChannelOfInterest if @p coi is not 1, 2 or 3;
 * ::lumStatusNoMemory if memory for the bands' results is not available. On an error nothing is written. Images and masks
 * may overlap in any way, and the result must not lie in them.
 * @{
 */

/**
 * @name Norm of an image: Inf
 * @brief The largest magnitude of one image.
 * @param pSrc image. @param srcStep its row step in bytes.
 * @param pMask mask. @param maskStep its row step in bytes.
 * @param roiSize size of all of them in pixels.
 * @param coi (C3CMR) channel of interest, 1 to 3.
 * @param pNorm receives the norm.
 * @return A status as the group describes.
 *
 * k is 17, but 19 for 8u_C1MR, 8s_C1MR and 16u_C1MR and 15 for 32f_C3CMR.
 * @{
 */
LUM_API LumStatus lumiNorm_Inf_8u_C1MR(const Lum8u* pSrc, int srcStep, const Lum8u* pMask, int maskStep,
                                       LumSize roiSize, Lum64f* pNorm);
LUM_API LumStatus lumiNorm_Inf_8u_C3CMR(const Lum8u* pSrc, int srcStep, const Lum8u* pMask, int maskStep,
                                        LumSize roiSize, int coi, Lum64f* pNorm);
LUM_API LumStatus lumiNorm_Inf_8s_C1MR(const Lum8s* pSrc, int srcStep, const Lum8u* pMask, int maskStep,
                                       LumSize roiSize, Lum64f* pNorm);
LUM_API LumStatus lumiNorm_Inf_8s_C3CMR(const Lum8s* pSrc, int srcStep, const Lum8u* pMask, int maskStep,
                                        LumSize roiSize, int coi, Lum64f* pNorm);
LUM_API LumStatus lumiNorm_Inf_16u_C1MR(const Lum16u* pSrc, int srcStep, const Lum8u* pMask, int maskStep,
                                        LumSize roiSize, Lum64f* pNorm);
LUM_API LumStatus lumiNorm_Inf_16u_C3CMR(const Lum16u* pSrc, int srcStep, const Lum8u* pMask, int maskStep,
                                         LumSize roiSize, int coi, Lum64f* pNorm);
LUM_API LumStatus lumiNorm_Inf_32f_C1MR(const Lum32f* pSrc, int srcStep, const Lum8u* pMask, int maskStep,
                                        LumSize roiSize, Lum64f* pNorm);
LUM_API LumStatus lumiNorm_Inf_32f_C3CMR(const Lum32f* pSrc, int srcStep, const Lum8u* pMask, int maskStep,
                                         LumSize roiSize, int coi, Lum64f* pNorm);
/** @} */

/**
 * @name Norm of an image: L1
 * @brief The sum of the magnitudes of one image.
 * @param pSrc image. @param srcStep its row step in bytes.
 * @param pMask mask. @param maskStep its row step in bytes.
 * @param roiSize size of all of them in pixels.
 * @param coi (C3CMR) channel of interest, 1 to 3.
 * @param pNorm receives the norm.
 * @return A status as the group describes.
 *
 * k is 17.
 * @{
 */
LUM_API LumStatus lumiNorm_L1_8u_C1MR(const Lum8u* pSrc, int srcStep, const Lum8u* pMask, int maskStep, LumSize roiSize,
                                      Lum64f* pNorm);
LUM_API LumStatus lumiNorm_L1_8u_C3CMR(const Lum8u* pSrc, int srcStep, const Lum8u* pMask, int maskStep,
                                       LumSize roiSize, int coi, Lum64f* pNorm);
LUM_API LumStatus lumiNorm_L1_8s_C1MR(const Lum8s* pSrc, int srcStep, const Lum8u* pMask, int maskStep, LumSize roiSize,
                                      Lum64f* pNorm);
LUM_API LumStatus lumiNorm_L1_8s_C3CMR(const Lum8s* pSrc, int srcStep, const Lum8u* pMask, int maskStep,
                                       LumSize roiSize, int coi, Lum64f* pNorm);
LUM_API LumStatus lumiNorm_L1_16u_C1MR(const Lum16u* pSrc, int srcStep, const Lum8u* pMask, int maskStep,
                                       LumSize roiSize, Lum64f* pNorm);
LUM_API LumStatus lumiNorm_L1_16u_C3CMR(const Lum16u* pSrc, int srcStep, const Lum8u* pMask, int maskStep,
                                        LumSize roiSize, int coi, Lum64f* pNorm);
LUM_API LumStatus lumiNorm_L1_32f_C1MR(const Lum32f* pSrc, int srcStep, const Lum8u* pMask, int maskStep,
                                       LumSize roiSize, Lum64f* pNorm);
LUM_API LumStatus lumiNorm_L1_32f_C3CMR(const Lum32f* pSrc, int srcStep, const Lum8u* pMask, int maskStep,
                                        LumSize roiSize, int coi, Lum64f* pNorm);
/** @} */

/**
 * @name Norm of an image: L2
 * @brief The root of the sum of the squares of one image.
 * @param pSrc image. @param srcStep its row step in bytes.
 * @param pMask mask. @param maskStep its row step in bytes.
 * @param roiSize size of all of them in pixels.
 * @param coi (C3CMR) channel of interest, 1 to 3.
 * @param pNorm receives the norm.
 * @return A status as the group describes.
 *
 * k is 17.
 * @{
 */
LUM_API LumStatus lumiNorm_L2_8u_C1MR(const Lum8u* pSrc, int srcStep, const Lum8u* pMask, int maskStep, LumSize roiSize,
                                      Lum64f* pNorm);
LUM_API LumStatus lumiNorm_L2_8u_C3CMR(const Lum8u* pSrc, int srcStep, const Lum8u* pMask, int maskStep,
                                       LumSize roiSize, int coi, Lum64f* pNorm);
LUM_API LumStatus lumiNorm_L2_8s_C1MR(const Lum8s* pSrc, int srcStep, const Lum8u* pMask, int maskStep, LumSize roiSize,
                                      Lum64f* pNorm);
LUM_API LumStatus lumiNorm_L2_8s_C3CMR(const Lum8s* pSrc, int srcStep, const Lum8u* pMask, int maskStep,
                                       LumSize roiSize, int coi, Lum64f* pNorm);
LUM_API LumStatus lumiNorm_L2_16u_C1MR(const Lum16u* pSrc, int srcStep, const Lum8u* pMask, int maskStep,
                                       LumSize roiSize, Lum64f* pNorm);
LUM_API LumStatus lumiNorm_L2_16u_C3CMR(const Lum16u* pSrc, int srcStep, const Lum8u* pMask, int maskStep,
                                        LumSize roiSize, int coi, Lum64f* pNorm);
LUM_API LumStatus lumiNorm_L2_32f_C1MR(const Lum32f* pSrc, int srcStep, const Lum8u* pMask, int maskStep,
                                       LumSize roiSize, Lum64f* pNorm);
LUM_API LumStatus lumiNorm_L2_32f_C3CMR(const Lum32f* pSrc, int srcStep, const Lum8u* pMask, int maskStep,
                                        LumSize roiSize, int coi, Lum64f* pNorm);
/** @} */

/**
 * @name Norm of the difference of two images: Inf
 * @brief The largest |src1 - src2|.
 * @param pSrc1 first image. @param src1Step its row step in bytes.
 * @param pSrc2 second image. @param src2Step its row step in bytes.
 * @param pMask mask. @param maskStep its row step in bytes.
 * @param roiSize size of all of them in pixels.
 * @param coi (C3CMR) channel of interest, 1 to 3.
 * @param pNorm receives the norm.
 * @return A status as the group describes.
 *
 * They run on the calling thread.
 * @{
 */
LUM_API LumStatus lumiNormDiff_Inf_8u_C1MR(const Lum8u* pSrc1, int src1Step, const Lum8u* pSrc2, int src2Step,
                                           const Lum8u* pMask, int maskStep, LumSize roiSize, Lum64f* pNorm);
LUM_API LumStatus lumiNormDiff_Inf_8u_C3CMR(const Lum8u* pSrc1, int src1Step, const Lum8u* pSrc2, int src2Step,
                                            const Lum8u* pMask, int maskStep, LumSize roiSize, int coi, Lum64f* pNorm);
LUM_API LumStatus lumiNormDiff_Inf_8s_C1MR(const Lum8s* pSrc1, int src1Step, const Lum8s* pSrc2, int src2Step,
                                           const Lum8u* pMask, int maskStep, LumSize roiSize, Lum64f* pNorm);
LUM_API LumStatus lumiNormDiff_Inf_8s_C3CMR(const Lum8s* pSrc1, int src1Step, const Lum8s* pSrc2, int src2Step,
                                            const Lum8u* pMask, int maskStep, LumSize roiSize, int coi, Lum64f* pNorm);
LUM_API LumStatus lumiNormDiff_Inf_16u_C1MR(const Lum16u* pSrc1, int src1Step, const Lum16u* pSrc2, int src2Step,
                                            const Lum8u* pMask, int maskStep, LumSize roiSize, Lum64f* pNorm);
LUM_API LumStatus lumiNormDiff_Inf_16u_C3CMR(const Lum16u* pSrc1, int src1Step, const Lum16u* pSrc2, int src2Step,
                                             const Lum8u* pMask, int maskStep, LumSize roiSize, int coi, Lum64f* pNorm);
LUM_API LumStatus lumiNormDiff_Inf_32f_C1MR(const Lum32f* pSrc1, int src1Step, const Lum32f* pSrc2, int src2Step,
                                            const Lum8u* pMask, int maskStep, LumSize roiSize, Lum64f* pNorm);
LUM_API LumStatus lumiNormDiff_Inf_32f_C3CMR(const Lum32f* pSrc1, int src1Step, const Lum32f* pSrc2, int src2Step,
                                             const Lum8u* pMask, int maskStep, LumSize roiSize, int coi, Lum64f* pNorm);
/** @} */

/**
 * @name Norm of the difference of two images: L1
 * @brief The sum of |src1 - src2|.
 * @param pSrc1 first image. @param src1Step its row step in bytes.
 * @param pSrc2 second image. @param src2Step its row step in bytes.
 * @param pMask mask. @param maskStep its row step in bytes.
 * @param roiSize size of all of them in pixels.
 * @param coi (C3CMR) channel of interest, 1 to 3.
 * @param pNorm receives the norm.
 * @return A status as the group describes.
 *
 * k is 17, but 15 for 8s_C3CMR and 16u_C3CMR; 32f run on the calling thread.
 * @{
 */
LUM_API LumStatus lumiNormDiff_L1_8u_C1MR(const Lum8u* pSrc1, int src1Step, const Lum8u* pSrc2, int src2Step,
                                          const Lum8u* pMask, int maskStep, LumSize roiSize, Lum64f* pNorm);
LUM_API LumStatus lumiNormDiff_L1_8u_C3CMR(const Lum8u* pSrc1, int src1Step, const Lum8u* pSrc2, int src2Step,
                                           const Lum8u* pMask, int maskStep, LumSize roiSize, int coi, Lum64f* pNorm);
LUM_API LumStatus lumiNormDiff_L1_8s_C1MR(const Lum8s* pSrc1, int src1Step, const Lum8s* pSrc2, int src2Step,
                                          const Lum8u* pMask, int maskStep, LumSize roiSize, Lum64f* pNorm);
LUM_API LumStatus lumiNormDiff_L1_8s_C3CMR(const Lum8s* pSrc1, int src1Step, const Lum8s* pSrc2, int src2Step,
                                           const Lum8u* pMask, int maskStep, LumSize roiSize, int coi, Lum64f* pNorm);
LUM_API LumStatus lumiNormDiff_L1_16u_C1MR(const Lum16u* pSrc1, int src1Step, const Lum16u* pSrc2, int src2Step,
                                           const Lum8u* pMask, int maskStep, LumSize roiSize, Lum64f* pNorm);
LUM_API LumStatus lumiNormDiff_L1_16u_C3CMR(const Lum16u* pSrc1, int src1Step, const Lum16u* pSrc2, int src2Step,
                                            const Lum8u* pMask, int maskStep, LumSize roiSize, int coi, Lum64f* pNorm);
LUM_API LumStatus lumiNormDiff_L1_32f_C1MR(const Lum32f* pSrc1, int src1Step, const Lum32f* pSrc2, int src2Step,
                                           const Lum8u* pMask, int maskStep, LumSize roiSize, Lum64f* pNorm);
LUM_API LumStatus lumiNormDiff_L1_32f_C3CMR(const Lum32f* pSrc1, int src1Step, const Lum32f* pSrc2, int src2Step,
                                            const Lum8u* pMask, int maskStep, LumSize roiSize, int coi, Lum64f* pNorm);
/** @} */

/**
 * @name Norm of the difference of two images: L2
 * @brief The root of the sum of the squares of src1 - src2.
 * @param pSrc1 first image. @param src1Step its row step in bytes.
 * @param pSrc2 second image. @param src2Step its row step in bytes.
 * @param pMask mask. @param maskStep its row step in bytes.
 * @param roiSize size of all of them in pixels.
 * @param coi (C3CMR) channel of interest, 1 to 3.
 * @param pNorm receives the norm.
 * @return A status as the group describes.
 *
 * k is 17; 32f run on the calling thread.
 * @{
 */
LUM_API LumStatus lumiNormDiff_L2_8u_C1MR(const Lum8u* pSrc1, int src1Step, const Lum8u* pSrc2, int src2Step,
                                          const Lum8u* pMask, int maskStep, LumSize roiSize, Lum64f* pNorm);
LUM_API LumStatus lumiNormDiff_L2_8u_C3CMR(const Lum8u* pSrc1, int src1Step, const Lum8u* pSrc2, int src2Step,
                                           const Lum8u* pMask, int maskStep, LumSize roiSize, int coi, Lum64f* pNorm);
LUM_API LumStatus lumiNormDiff_L2_8s_C1MR(const Lum8s* pSrc1, int src1Step, const Lum8s* pSrc2, int src2Step,
                                          const Lum8u* pMask, int maskStep, LumSize roiSize, Lum64f* pNorm);
LUM_API LumStatus lumiNormDiff_L2_8s_C3CMR(const Lum8s* pSrc1, int src1Step, const Lum8s* pSrc2, int src2Step,
                                           const Lum8u* pMask, int maskStep, LumSize roiSize, int coi, Lum64f* pNorm);
LUM_API LumStatus lumiNormDiff_L2_16u_C1MR(const Lum16u* pSrc1, int src1Step, const Lum16u* pSrc2, int src2Step,
                                           const Lum8u* pMask, int maskStep, LumSize roiSize, Lum64f* pNorm);
LUM_API LumStatus lumiNormDiff_L2_16u_C3CMR(const Lum16u* pSrc1, int src1Step, const Lum16u* pSrc2, int src2Step,
                                            const Lum8u* pMask, int maskStep, LumSize roiSize, int coi, Lum64f* pNorm);
LUM_API LumStatus lumiNormDiff_L2_32f_C1MR(const Lum32f* pSrc1, int src1Step, const Lum32f* pSrc2, int src2Step,
                                           const Lum8u* pMask, int maskStep, LumSize roiSize, Lum64f* pNorm);
LUM_API LumStatus lumiNormDiff_L2_32f_C3CMR(const Lum32f* pSrc1, int src1Step, const Lum32f* pSrc2, int src2Step,
                                            const Lum8u* pMask, int maskStep, LumSize roiSize, int coi, Lum64f* pNorm);
/** @} */

/**
 * @name Norm of the difference of two images, relative to the second: Inf
 * @brief The largest |src1 - src2| divided by the largest |src2|.
 * @param pSrc1 first image. @param src1Step its row step in bytes.
 * @param pSrc2 second image. @param src2Step its row step in bytes.
 * @param pMask mask. @param maskStep its row step in bytes.
 * @param roiSize size of all of them in pixels.
 * @param coi (C3CMR) channel of interest, 1 to 3.
 * @param pNorm receives the norm.
 * @return A status as the group describes, or ::lumStatusWarnDivByZero if the divisor is 0: the result is plus infinity
 * then, NaN if the dividend is 0 too.
 *
 * k is 17, but 15 for 16u_C3CMR and 32f.
 * @{
 */
LUM_API LumStatus lumiNormRel_Inf_8u_C1MR(const Lum8u* pSrc1, int src1Step, const Lum8u* pSrc2, int src2Step,
                                          const Lum8u* pMask, int maskStep, LumSize roiSize, Lum64f* pNorm);
LUM_API LumStatus lumiNormRel_Inf_8u_C3CMR(const Lum8u* pSrc1, int src1Step, const Lum8u* pSrc2, int src2Step,
                                           const Lum8u* pMask, int maskStep, LumSize roiSize, int coi, Lum64f* pNorm);
LUM_API LumStatus lumiNormRel_Inf_8s_C1MR(const Lum8s* pSrc1, int src1Step, const Lum8s* pSrc2, int src2Step,
                                          const Lum8u* pMask, int maskStep, LumSize roiSize, Lum64f* pNorm);
LUM_API LumStatus lumiNormRel_Inf_8s_C3CMR(const Lum8s* pSrc1, int src1Step, const Lum8s* pSrc2, int src2Step,
                                           const Lum8u* pMask, int maskStep, LumSize roiSize, int coi, Lum64f* pNorm);
LUM_API LumStatus lumiNormRel_Inf_16u_C1MR(const Lum16u* pSrc1, int src1Step, const Lum16u* pSrc2, int src2Step,
                                           const Lum8u* pMask, int maskStep, LumSize roiSize, Lum64f* pNorm);
LUM_API LumStatus lumiNormRel_Inf_16u_C3CMR(const Lum16u* pSrc1, int src1Step, const Lum16u* pSrc2, int src2Step,
                                            const Lum8u* pMask, int maskStep, LumSize roiSize, int coi, Lum64f* pNorm);
LUM_API LumStatus lumiNormRel_Inf_32f_C1MR(const Lum32f* pSrc1, int src1Step, const Lum32f* pSrc2, int src2Step,
                                           const Lum8u* pMask, int maskStep, LumSize roiSize, Lum64f* pNorm);
LUM_API LumStatus lumiNormRel_Inf_32f_C3CMR(const Lum32f* pSrc1, int src1Step, const Lum32f* pSrc2, int src2Step,
                                            const Lum8u* pMask, int maskStep, LumSize roiSize, int coi, Lum64f* pNorm);
/** @} */

/**
 * @name Norm of the difference of two images, relative to the second: L1
 * @brief The sum of |src1 - src2| divided by the sum of |src2|.
 * @param pSrc1 first image. @param src1Step its row step in bytes.
 * @param pSrc2 second image. @param src2Step its row step in bytes.
 * @param pMask mask. @param maskStep its row step in bytes.
 * @param roiSize size of all of them in pixels.
 * @param coi (C3CMR) channel of interest, 1 to 3.
 * @param pNorm receives the norm.
 * @return A status as the group describes, or ::lumStatusWarnDivByZero if the divisor is 0: the result is plus infinity
 * then, minus infinity if the dividend is negative (a sum that wrapped), NaN if it is 0 too.
 *
 * k is 17, but 15 for 16u_C3CMR; 8u_C1MR and 32f run on the calling thread.
 * @{
 */
LUM_API LumStatus lumiNormRel_L1_8u_C1MR(const Lum8u* pSrc1, int src1Step, const Lum8u* pSrc2, int src2Step,
                                         const Lum8u* pMask, int maskStep, LumSize roiSize, Lum64f* pNorm);
LUM_API LumStatus lumiNormRel_L1_8u_C3CMR(const Lum8u* pSrc1, int src1Step, const Lum8u* pSrc2, int src2Step,
                                          const Lum8u* pMask, int maskStep, LumSize roiSize, int coi, Lum64f* pNorm);
LUM_API LumStatus lumiNormRel_L1_8s_C1MR(const Lum8s* pSrc1, int src1Step, const Lum8s* pSrc2, int src2Step,
                                         const Lum8u* pMask, int maskStep, LumSize roiSize, Lum64f* pNorm);
LUM_API LumStatus lumiNormRel_L1_8s_C3CMR(const Lum8s* pSrc1, int src1Step, const Lum8s* pSrc2, int src2Step,
                                          const Lum8u* pMask, int maskStep, LumSize roiSize, int coi, Lum64f* pNorm);
LUM_API LumStatus lumiNormRel_L1_16u_C1MR(const Lum16u* pSrc1, int src1Step, const Lum16u* pSrc2, int src2Step,
                                          const Lum8u* pMask, int maskStep, LumSize roiSize, Lum64f* pNorm);
LUM_API LumStatus lumiNormRel_L1_16u_C3CMR(const Lum16u* pSrc1, int src1Step, const Lum16u* pSrc2, int src2Step,
                                           const Lum8u* pMask, int maskStep, LumSize roiSize, int coi, Lum64f* pNorm);
LUM_API LumStatus lumiNormRel_L1_32f_C1MR(const Lum32f* pSrc1, int src1Step, const Lum32f* pSrc2, int src2Step,
                                          const Lum8u* pMask, int maskStep, LumSize roiSize, Lum64f* pNorm);
LUM_API LumStatus lumiNormRel_L1_32f_C3CMR(const Lum32f* pSrc1, int src1Step, const Lum32f* pSrc2, int src2Step,
                                           const Lum8u* pMask, int maskStep, LumSize roiSize, int coi, Lum64f* pNorm);
/** @} */

/**
 * @name Norm of the difference of two images, relative to the second: L2
 * @brief The root of the quotient of two sums of squares: of src1 - src2, and of src2.
 * @param pSrc1 first image. @param src1Step its row step in bytes.
 * @param pSrc2 second image. @param src2Step its row step in bytes.
 * @param pMask mask. @param maskStep its row step in bytes.
 * @param roiSize size of all of them in pixels.
 * @param coi (C3CMR) channel of interest, 1 to 3.
 * @param pNorm receives the norm.
 * @return A status as the group describes, or ::lumStatusWarnDivByZero if the divisor is 0: the result is plus infinity
 * then, NaN if the dividend is 0 too.
 *
 * k is 17, but 15 for 16u_C3CMR; 32f run on the calling thread.
 * @{
 */
LUM_API LumStatus lumiNormRel_L2_8u_C1MR(const Lum8u* pSrc1, int src1Step, const Lum8u* pSrc2, int src2Step,
                                         const Lum8u* pMask, int maskStep, LumSize roiSize, Lum64f* pNorm);
LUM_API LumStatus lumiNormRel_L2_8u_C3CMR(const Lum8u* pSrc1, int src1Step, const Lum8u* pSrc2, int src2Step,
                                          const Lum8u* pMask, int maskStep, LumSize roiSize, int coi, Lum64f* pNorm);
LUM_API LumStatus lumiNormRel_L2_8s_C1MR(const Lum8s* pSrc1, int src1Step, const Lum8s* pSrc2, int src2Step,
                                         const Lum8u* pMask, int maskStep, LumSize roiSize, Lum64f* pNorm);
LUM_API LumStatus lumiNormRel_L2_8s_C3CMR(const Lum8s* pSrc1, int src1Step, const Lum8s* pSrc2, int src2Step,
                                          const Lum8u* pMask, int maskStep, LumSize roiSize, int coi, Lum64f* pNorm);
LUM_API LumStatus lumiNormRel_L2_16u_C1MR(const Lum16u* pSrc1, int src1Step, const Lum16u* pSrc2, int src2Step,
                                          const Lum8u* pMask, int maskStep, LumSize roiSize, Lum64f* pNorm);
LUM_API LumStatus lumiNormRel_L2_16u_C3CMR(const Lum16u* pSrc1, int src1Step, const Lum16u* pSrc2, int src2Step,
                                           const Lum8u* pMask, int maskStep, LumSize roiSize, int coi, Lum64f* pNorm);
LUM_API LumStatus lumiNormRel_L2_32f_C1MR(const Lum32f* pSrc1, int src1Step, const Lum32f* pSrc2, int src2Step,
                                          const Lum8u* pMask, int maskStep, LumSize roiSize, Lum64f* pNorm);
LUM_API LumStatus lumiNormRel_L2_32f_C3CMR(const Lum32f* pSrc1, int src1Step, const Lum32f* pSrc2, int src2Step,
                                           const Lum8u* pMask, int maskStep, LumSize roiSize, int coi, Lum64f* pNorm);
/** @} */
/** @} */

/**
 * @defgroup moments Means and deviations
 * @brief Mean and population standard deviation of the pixels of a region, of all or of those that a mask selects.
 *
 * A mask byte that is not 0 selects its pixel; what lies under the others, NaN and infinity included, does not matter. The
 * masks have one byte a pixel, also beside three channels. With n pixels, S the sum of their values and Q the sum of
 * their squares, mean = S / n and deviation = sqrt(|Q / n - mean x mean|) in double precision; both are 0 where no pixel
 * is selected. Selected pixels are counted in 32 bits. The precision of the sums belongs to the result:
 *
 * - 8u, 8s: exact integers.
 * - 16u: double precision, row by row: the sums of a row (of runs of 2^17 pixels of a longer one) are exact, and rows are added
 *   from top to bottom. All sums are exact up to 2^53, which squares of 2^21 pixels stay below.
 * - 32f: single precision in eight lanes for each row, pixel x in lane x modulo 8, folded at the row's end, widened and
 *   added in double precision. Squares are single precision. A region without a mask of fewer than 100000 pixels (of one
 *   channel of three: 5000) is summed in these lanes as a whole and widened once.
 *
 * The formula loses digits where the deviation is far below the mean. Where 0.05 x mean x mean > deviation x deviation,
 * the 32f functions read the image again: deviation = sqrt(D / n) with D the sum of (value - mean) squared, all in single
 * precision (the mean rounded to it) and summed like the values.
 *
 * Results are the same on every instruction set and in both word sizes. Those of 8u and 8s do not depend on the thread
 * count, the others only through the order in which sums of bands are added.
 *
 * Checks, in order: ::lumStatusNullPointer if the source, the mask or, of the functions that compute a mean alone, the
 * result is null; ::lumStatusBadSize if width or height is below 1; ::lumStatusBadStep if the step of the source or the
 * mask is below its row's length; ::lumStatusStepNotPixelMultiple if the step of the source is not a multiple of its
 * element size; ::lumStatusBadChannelOfInterest if @p coi is not 1, 2 or 3. Then ::lumStatusNoMemory if more than 32
 * threads are set and an allocation fails. On an error nothing is written.
 *
 * Integers and 32f of one channel: from 131072 pixels times the thread count on (lumiMean_StdDev_32f_C1R: 65536) bands of
 * rows are summed in parallel. 32f of three channels stays on the calling thread. Callable from any thread.
 * @{
 */

/**
 * @name Mean: one channel, under a mask
 * @brief mean = S / n.
 * @param pSrc image. @param srcStep its row step in bytes.
 * @param pMask mask. @param maskStep its row step in bytes.
 * @param roiSize size of the image and the mask in pixels.
 * @param pMean receives the mean.
 * @return A status as the group describes.
 * @{
 */
LUM_API LumStatus lumiMean_8u_C1MR(const Lum8u* pSrc, int srcStep, const Lum8u* pMask, int maskStep, LumSize roiSize,
                                   Lum64f* pMean);
LUM_API LumStatus lumiMean_8s_C1MR(const Lum8s* pSrc, int srcStep, const Lum8u* pMask, int maskStep, LumSize roiSize,
                                   Lum64f* pMean);
LUM_API LumStatus lumiMean_16u_C1MR(const Lum16u* pSrc, int srcStep, const Lum8u* pMask, int maskStep, LumSize roiSize,
                                    Lum64f* pMean);
LUM_API LumStatus lumiMean_32f_C1MR(const Lum32f* pSrc, int srcStep, const Lum8u* pMask, int maskStep, LumSize roiSize,
                                    Lum64f* pMean);
/** @} */

/**
 * @name Mean: one channel of three, under a mask
 * @brief mean = S / n.
 * @param pSrc image. @param srcStep its row step in bytes.
 * @param pMask mask. @param maskStep its row step in bytes.
 * @param roiSize size of the image and the mask in pixels.
 * @param coi channel of interest, 1 to 3.
 * @param pMean receives the mean.
 * @return A status as the group describes.
 * @{
 */
LUM_API LumStatus lumiMean_8u_C3CMR(const Lum8u* pSrc, int srcStep, const Lum8u* pMask, int maskStep, LumSize roiSize,
                                    int coi, Lum64f* pMean);
LUM_API LumStatus lumiMean_8s_C3CMR(const Lum8s* pSrc, int srcStep, const Lum8u* pMask, int maskStep, LumSize roiSize,
                                    int coi, Lum64f* pMean);
LUM_API LumStatus lumiMean_16u_C3CMR(const Lum16u* pSrc, int srcStep, const Lum8u* pMask, int maskStep, LumSize roiSize,
                                     int coi, Lum64f* pMean);
LUM_API LumStatus lumiMean_32f_C3CMR(const Lum32f* pSrc, int srcStep, const Lum8u* pMask, int maskStep, LumSize roiSize,
                                     int coi, Lum64f* pMean);
/** @} */

/**
 * @name Mean and deviation: one channel
 * @brief mean = S / n, deviation = sqrt(|Q / n - mean x mean|).
 * @param pSrc image. @param srcStep its row step in bytes.
 * @param roiSize size of the image in pixels.
 * @param pMean receives the mean; may be null. @param pStdDev receives the deviation; may be null.
 * @return A status as the group describes.
 * @{
 */
LUM_API LumStatus lumiMean_StdDev_8u_C1R(const Lum8u* pSrc, int srcStep, LumSize roiSize, Lum64f* pMean,
                                         Lum64f* pStdDev);
LUM_API LumStatus lumiMean_StdDev_8s_C1R(const Lum8s* pSrc, int srcStep, LumSize roiSize, Lum64f* pMean,
                                         Lum64f* pStdDev);
LUM_API LumStatus lumiMean_StdDev_16u_C1R(const Lum16u* pSrc, int srcStep, LumSize roiSize, Lum64f* pMean,
                                          Lum64f* pStdDev);
LUM_API LumStatus lumiMean_StdDev_32f_C1R(const Lum32f* pSrc, int srcStep, LumSize roiSize, Lum64f* pMean,
                                          Lum64f* pStdDev);
/** @} */

/**
 * @name Mean and deviation: one channel of three
 * @brief mean = S / n, deviation = sqrt(|Q / n - mean x mean|).
 * @param pSrc image. @param srcStep its row step in bytes.
 * @param roiSize size of the image in pixels.
 * @param coi channel of interest, 1 to 3.
 * @param pMean receives the mean; may be null. @param pStdDev receives the deviation; may be null.
 * @return A status as the group describes.
 * @{
 */
LUM_API LumStatus lumiMean_StdDev_8u_C3CR(const Lum8u* pSrc, int srcStep, LumSize roiSize, int coi, Lum64f* pMean,
                                          Lum64f* pStdDev);
LUM_API LumStatus lumiMean_StdDev_8s_C3CR(const Lum8s* pSrc, int srcStep, LumSize roiSize, int coi, Lum64f* pMean,
                                          Lum64f* pStdDev);
LUM_API LumStatus lumiMean_StdDev_16u_C3CR(const Lum16u* pSrc, int srcStep, LumSize roiSize, int coi, Lum64f* pMean,
                                           Lum64f* pStdDev);
LUM_API LumStatus lumiMean_StdDev_32f_C3CR(const Lum32f* pSrc, int srcStep, LumSize roiSize, int coi, Lum64f* pMean,
                                           Lum64f* pStdDev);
/** @} */

/**
 * @name Mean and deviation: one channel, under a mask
 * @brief mean = S / n, deviation = sqrt(|Q / n - mean x mean|).
 * @param pSrc image. @param srcStep its row step in bytes.
 * @param pMask mask. @param maskStep its row step in bytes.
 * @param roiSize size of the image and the mask in pixels.
 * @param pMean receives the mean; may be null. @param pStdDev receives the deviation; may be null.
 * @return A status as the group describes.
 * @{
 */
LUM_API LumStatus lumiMean_StdDev_8u_C1MR(const Lum8u* pSrc, int srcStep, const Lum8u* pMask, int maskStep,
                                          LumSize roiSize, Lum64f* pMean, Lum64f* pStdDev);
LUM_API LumStatus lumiMean_StdDev_8s_C1MR(const Lum8s* pSrc, int srcStep, const Lum8u* pMask, int maskStep,
                                          LumSize roiSize, Lum64f* pMean, Lum64f* pStdDev);
LUM_API LumStatus lumiMean_StdDev_16u_C1MR(const Lum16u* pSrc, int srcStep, const Lum8u* pMask, int maskStep,
                                           LumSize roiSize, Lum64f* pMean, Lum64f* pStdDev);
LUM_API LumStatus lumiMean_StdDev_32f_C1MR(const Lum32f* pSrc, int srcStep, const Lum8u* pMask, int maskStep,
                                           LumSize roiSize, Lum64f* pMean, Lum64f* pStdDev);
/** @} */

/**
 * @name Mean and deviation: one channel of three, under a mask
 * @brief mean = S / n, deviation = sqrt(|Q / n - mean x mean|).
 * @param pSrc image. @param srcStep its row step in bytes.
 * @param pMask mask. @param maskStep its row step in bytes.
 * @param roiSize size of the image and the mask in pixels.
 * @param coi channel of interest, 1 to 3.
 * @param pMean receives the mean; may be null. @param pStdDev receives the deviation; may be null.
 * @return A status as the group describes.
 * @{
 */
LUM_API LumStatus lumiMean_StdDev_8u_C3CMR(const Lum8u* pSrc, int srcStep, const Lum8u* pMask, int maskStep,
                                           LumSize roiSize, int coi, Lum64f* pMean, Lum64f* pStdDev);
LUM_API LumStatus lumiMean_StdDev_8s_C3CMR(const Lum8s* pSrc, int srcStep, const Lum8u* pMask, int maskStep,
                                           LumSize roiSize, int coi, Lum64f* pMean, Lum64f* pStdDev);
LUM_API LumStatus lumiMean_StdDev_16u_C3CMR(const Lum16u* pSrc, int srcStep, const Lum8u* pMask, int maskStep,
                                            LumSize roiSize, int coi, Lum64f* pMean, Lum64f* pStdDev);
LUM_API LumStatus lumiMean_StdDev_32f_C3CMR(const Lum32f* pSrc, int srcStep, const Lum8u* pMask, int maskStep,
                                            LumSize roiSize, int coi, Lum64f* pMean, Lum64f* pStdDev);
/** @} */
/** @} */

/**
 * @defgroup extrema Extrema with their positions
 * @brief Smallest and largest value of a region's pixels, of all or of those that a mask selects, and where they stand.
 *
 * Masks are those of @ref moments. Of equal values the first one counts: the uppermost, and of a row the leftmost; 0 and
 * -0 are equal. Positions are columns and rows of the region. What is written is the value of the pixel found, exact for
 * integers. A NaN is never an extreme beside a number; where all selected pixels are NaN, the first one is both. Where no
 * pixel is selected, both values are 0 and both positions (0, 0).
 *
 * Checks, in order: ::lumStatusNullPointer if the source or the mask is null; then size, steps, multiples and channel of
 * interest as in @ref moments. On an error nothing is written. The pointers to the results must be valid.
 *
 * From 16384 pixels on bands of rows are searched in parallel; the result does not depend on that. Callable from any
 * thread.
 * @{
 */

/**
 * @name Extrema: one channel
 * @brief The first smallest and the first largest pixel.
 * @param pSrc image. @param srcStep its row step in bytes.
 * @param roiSize size of the image in pixels.
 * @param pMinVal receives the smallest value. @param pMaxVal receives the largest value.
 * @param pMinIndex receives the first position of the smallest. @param pMaxIndex receives that of the largest.
 * @return A status as the group describes.
 * @{
 */
LUM_API LumStatus lumiMinMaxIndx_8u_C1R(const Lum8u* pSrc, int srcStep, LumSize roiSize, Lum32f* pMinVal,
                                        Lum32f* pMaxVal, LumPoint* pMinIndex, LumPoint* pMaxIndex);
LUM_API LumStatus lumiMinMaxIndx_8s_C1R(const Lum8s* pSrc, int srcStep, LumSize roiSize, Lum32f* pMinVal,
                                        Lum32f* pMaxVal, LumPoint* pMinIndex, LumPoint* pMaxIndex);
LUM_API LumStatus lumiMinMaxIndx_16u_C1R(const Lum16u* pSrc, int srcStep, LumSize roiSize, Lum32f* pMinVal,
                                         Lum32f* pMaxVal, LumPoint* pMinIndex, LumPoint* pMaxIndex);
LUM_API LumStatus lumiMinMaxIndx_32f_C1R(const Lum32f* pSrc, int srcStep, LumSize roiSize, Lum32f* pMinVal,
                                         Lum32f* pMaxVal, LumPoint* pMinIndex, LumPoint* pMaxIndex);
/** @} */

/**
 * @name Extrema: one channel of three
 * @brief The first smallest and the first largest pixel.
 * @param pSrc image. @param srcStep its row step in bytes.
 * @param roiSize size of the image in pixels.
 * @param coi channel of interest, 1 to 3.
 * @param pMinVal receives the smallest value. @param pMaxVal receives the largest value.
 * @param pMinIndex receives the first position of the smallest. @param pMaxIndex receives that of the largest.
 * @return A status as the group describes.
 * @{
 */
LUM_API LumStatus lumiMinMaxIndx_8u_C3CR(const Lum8u* pSrc, int srcStep, LumSize roiSize, int coi, Lum32f* pMinVal,
                                         Lum32f* pMaxVal, LumPoint* pMinIndex, LumPoint* pMaxIndex);
LUM_API LumStatus lumiMinMaxIndx_8s_C3CR(const Lum8s* pSrc, int srcStep, LumSize roiSize, int coi, Lum32f* pMinVal,
                                         Lum32f* pMaxVal, LumPoint* pMinIndex, LumPoint* pMaxIndex);
LUM_API LumStatus lumiMinMaxIndx_16u_C3CR(const Lum16u* pSrc, int srcStep, LumSize roiSize, int coi, Lum32f* pMinVal,
                                          Lum32f* pMaxVal, LumPoint* pMinIndex, LumPoint* pMaxIndex);
LUM_API LumStatus lumiMinMaxIndx_32f_C3CR(const Lum32f* pSrc, int srcStep, LumSize roiSize, int coi, Lum32f* pMinVal,
                                          Lum32f* pMaxVal, LumPoint* pMinIndex, LumPoint* pMaxIndex);
/** @} */

/**
 * @name Extrema: one channel, under a mask
 * @brief The first smallest and the first largest pixel.
 * @param pSrc image. @param srcStep its row step in bytes.
 * @param pMask mask. @param maskStep its row step in bytes.
 * @param roiSize size of the image and the mask in pixels.
 * @param pMinVal receives the smallest value. @param pMaxVal receives the largest value.
 * @param pMinIndex receives the first position of the smallest. @param pMaxIndex receives that of the largest.
 * @return A status as the group describes.
 * @{
 */
LUM_API LumStatus lumiMinMaxIndx_8u_C1MR(const Lum8u* pSrc, int srcStep, const Lum8u* pMask, int maskStep,
                                         LumSize roiSize, Lum32f* pMinVal, Lum32f* pMaxVal, LumPoint* pMinIndex,
                                         LumPoint* pMaxIndex);
LUM_API LumStatus lumiMinMaxIndx_8s_C1MR(const Lum8s* pSrc, int srcStep, const Lum8u* pMask, int maskStep,
                                         LumSize roiSize, Lum32f* pMinVal, Lum32f* pMaxVal, LumPoint* pMinIndex,
                                         LumPoint* pMaxIndex);
LUM_API LumStatus lumiMinMaxIndx_16u_C1MR(const Lum16u* pSrc, int srcStep, const Lum8u* pMask, int maskStep,
                                          LumSize roiSize, Lum32f* pMinVal, Lum32f* pMaxVal, LumPoint* pMinIndex,
                                          LumPoint* pMaxIndex);
LUM_API LumStatus lumiMinMaxIndx_32f_C1MR(const Lum32f* pSrc, int srcStep, const Lum8u* pMask, int maskStep,
                                          LumSize roiSize, Lum32f* pMinVal, Lum32f* pMaxVal, LumPoint* pMinIndex,
                                          LumPoint* pMaxIndex);
/** @} */

/**
 * @name Extrema: one channel of three, under a mask
 * @brief The first smallest and the first largest pixel.
 * @param pSrc image. @param srcStep its row step in bytes.
 * @param pMask mask. @param maskStep its row step in bytes.
 * @param roiSize size of the image and the mask in pixels.
 * @param coi channel of interest, 1 to 3.
 * @param pMinVal receives the smallest value. @param pMaxVal receives the largest value.
 * @param pMinIndex receives the first position of the smallest. @param pMaxIndex receives that of the largest.
 * @return A status as the group describes.
 * @{
 */
LUM_API LumStatus lumiMinMaxIndx_8u_C3CMR(const Lum8u* pSrc, int srcStep, const Lum8u* pMask, int maskStep,
                                          LumSize roiSize, int coi, Lum32f* pMinVal, Lum32f* pMaxVal,
                                          LumPoint* pMinIndex, LumPoint* pMaxIndex);
LUM_API LumStatus lumiMinMaxIndx_8s_C3CMR(const Lum8s* pSrc, int srcStep, const Lum8u* pMask, int maskStep,
                                          LumSize roiSize, int coi, Lum32f* pMinVal, Lum32f* pMaxVal,
                                          LumPoint* pMinIndex, LumPoint* pMaxIndex);
LUM_API LumStatus lumiMinMaxIndx_16u_C3CMR(const Lum16u* pSrc, int srcStep, const Lum8u* pMask, int maskStep,
                                           LumSize roiSize, int coi, Lum32f* pMinVal, Lum32f* pMaxVal,
                                           LumPoint* pMinIndex, LumPoint* pMaxIndex);
LUM_API LumStatus lumiMinMaxIndx_32f_C3CMR(const Lum32f* pSrc, int srcStep, const Lum8u* pMask, int maskStep,
                                           LumSize roiSize, int coi, Lum32f* pMinVal, Lum32f* pMaxVal,
                                           LumPoint* pMinIndex, LumPoint* pMaxIndex);
/** @} */
/** @} */

#ifdef __cplusplus
}
#endif
#endif
