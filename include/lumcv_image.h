/**
 * @file
 * @brief Operations on whole images: copies, values, borders, differences, thresholds.
 */
#ifndef LUMCV_IMAGE_H
#define LUMCV_IMAGE_H

#include "lumcv_types.h"

#ifdef __cplusplus
extern "C" {
#endif

/**
 * @defgroup image Copies, differences and thresholds
 * @brief Regions copied, filled, extended by a border, subtracted and limited.
 *
 * Rows are processed one after the other, from the first to the last. Where rows overlap, as they do if a step is
 * shorter than a row, the result is the one of that order. The functions run on the calling thread and may be called from
 * any thread. On an error nothing is written.
 * @{
 */

/** How a threshold compares. */
typedef int LumComparison;
enum {
  lumCompareLess = 0,   /**< the pixel is less than the threshold */
  lumCompareGreater = 4 /**< the pixel is greater than the threshold */
};

/**
 * @name Copy
 * @brief dst = src.
 * @param pSrc source. @param srcStep its row step in bytes.
 * @param pDst destination. @param dstStep its row step in bytes.
 * @param roiSize size of both images in pixels.
 * @return ::lumStatusNullPointer if a pointer is null; ::lumStatusBadSize if width or height is below 1.
 *
 * No step is checked: negative ones, 0 and ones shorter than a row are taken as they are. The images may overlap in any
 * way: each row is copied as it is when its turn comes. More than 1048576 bytes are written past the cache.
 * @{
 */
LUM_API LumStatus lumiCopy_8u_C1R(const Lum8u* pSrc, int srcStep, Lum8u* pDst, int dstStep, LumSize roiSize);
LUM_API LumStatus lumiCopy_8u_C3R(const Lum8u* pSrc, int srcStep, Lum8u* pDst, int dstStep, LumSize roiSize);
LUM_API LumStatus lumiCopy_8u_C4R(const Lum8u* pSrc, int srcStep, Lum8u* pDst, int dstStep, LumSize roiSize);
LUM_API LumStatus lumiCopy_32f_C1R(const Lum32f* pSrc, int srcStep, Lum32f* pDst, int dstStep, LumSize roiSize);
LUM_API LumStatus lumiCopy_32f_C3R(const Lum32f* pSrc, int srcStep, Lum32f* pDst, int dstStep, LumSize roiSize);
LUM_API LumStatus lumiCopy_32f_C4R(const Lum32f* pSrc, int srcStep, Lum32f* pDst, int dstStep, LumSize roiSize);
/** @} */

/**
 * @brief Sets every pixel to a value.
 * @param value of the pixels.
 * @param pDst destination. @param dstStep its row step in bytes.
 * @param roiSize size in pixels.
 * @return ::lumStatusNullPointer if the pointer is null; ::lumStatusBadSize if width or height is below 1.
 *
 * No step is checked: negative ones, 0 and ones shorter than a row are taken as they are. More than 2097152 bytes are
 * written past the cache.
 */
LUM_API LumStatus lumiSet_8u_C1R(Lum8u value, Lum8u* pDst, int dstStep, LumSize roiSize);

/**
 * @brief Copies an image into a larger one and sets the other pixels of that to a value.
 * @param pSrc source. @param srcStep its row step in bytes. @param srcRoiSize its size in pixels.
 * @param pDst destination. @param dstStep its row step in bytes. @param dstRoiSize its size in pixels.
 * @param topBorderHeight rows above the source. @param leftBorderWidth columns to its left.
 * @param value of the pixels around it.
 * @return ::lumStatusNullPointer if a pointer is null; ::lumStatusBadStep if a step is below 1; ::lumStatusBadSize if a
 * width or height is below 1, the top or left border is negative, or the destination is smaller than these borders and
 * the source.
 *
 * Rows are written in the order of the replicated border. A step may be shorter than a row. The images must not overlap.
 */
LUM_API LumStatus lumiCopyConstBorder_8u_C1R(const Lum8u* pSrc, int srcStep, LumSize srcRoiSize, Lum8u* pDst,
                                             int dstStep, LumSize dstRoiSize, int topBorderHeight, int leftBorderWidth,
                                             Lum8u value);

/**
 * @name Copy with a replicated border
 * @brief Copies an image into a larger one, whose other pixels are copies of the nearest pixel at the edge.
 * @param pSrc source. @param srcStep its row step in bytes. @param srcRoiSize its size in pixels.
 * @param pDst destination. @param dstStep its row step in bytes. @param dstRoiSize its size in pixels.
 * @param topBorderHeight rows above the source. @param leftBorderWidth columns to its left.
 * @return ::lumStatusNullPointer if a pointer is null; ::lumStatusBadStep if a step is below 1; ::lumStatusBadSize if a
 * width or height is below 1, the top or left border is negative, or the destination is smaller than these borders and
 * the source.
 *
 * First the rows of the source, from the first to the last, each with its pixels to the left and right; then the rows
 * below, each a copy of the one before; then those above, from the first on, copies of the row that the source's first
 * is in. A step may be shorter than a row. The images must not overlap.
 * @{
 */
LUM_API LumStatus lumiCopyReplicateBorder_8u_C1R(const Lum8u* pSrc, int srcStep, LumSize srcRoiSize, Lum8u* pDst,
                                                 int dstStep, LumSize dstRoiSize, int topBorderHeight,
                                                 int leftBorderWidth);
LUM_API LumStatus lumiCopyReplicateBorder_8u_C3R(const Lum8u* pSrc, int srcStep, LumSize srcRoiSize, Lum8u* pDst,
                                                 int dstStep, LumSize dstRoiSize, int topBorderHeight,
                                                 int leftBorderWidth);
LUM_API LumStatus lumiCopyReplicateBorder_8u_C4R(const Lum8u* pSrc, int srcStep, LumSize srcRoiSize, Lum8u* pDst,
                                                 int dstStep, LumSize dstRoiSize, int topBorderHeight,
                                                 int leftBorderWidth);
LUM_API LumStatus lumiCopyReplicateBorder_32s_C1R(const Lum32s* pSrc, int srcStep, LumSize srcRoiSize, Lum32s* pDst,
                                                  int dstStep, LumSize dstRoiSize, int topBorderHeight,
                                                  int leftBorderWidth);
LUM_API LumStatus lumiCopyReplicateBorder_32s_C3R(const Lum32s* pSrc, int srcStep, LumSize srcRoiSize, Lum32s* pDst,
                                                  int dstStep, LumSize dstRoiSize, int topBorderHeight,
                                                  int leftBorderWidth);
LUM_API LumStatus lumiCopyReplicateBorder_32s_C4R(const Lum32s* pSrc, int srcStep, LumSize srcRoiSize, Lum32s* pDst,
                                                  int dstStep, LumSize dstRoiSize, int topBorderHeight,
                                                  int leftBorderWidth);
/** @} */

/**
 * @name Replicated border in place
 * @brief Writes the border around an image that is in its place within a larger one.
 * @param pSrcDst first pixel of the source, not of the larger image. @param srcDstStep row step of both in bytes.
 * @param srcRoiSize size of the source in pixels. @param dstRoiSize size of the larger image in pixels.
 * @param topBorderHeight rows of the larger image above the source. @param leftBorderWidth columns to its left.
 * @return ::lumStatusNullPointer if the pointer is null; ::lumStatusBadStep if the step is below 1; ::lumStatusBadSize if
 * a width or height is below 1, the top or left border is negative, or the larger image is smaller than these borders
 * and the source.
 *
 * The order of the rows is that of the copy with a replicated border.
 * @{
 */
LUM_API LumStatus lumiCopyReplicateBorder_8u_C1IR(Lum8u* pSrcDst, int srcDstStep, LumSize srcRoiSize,
                                                  LumSize dstRoiSize, int topBorderHeight, int leftBorderWidth);
LUM_API LumStatus lumiCopyReplicateBorder_8u_C3IR(Lum8u* pSrcDst, int srcDstStep, LumSize srcRoiSize,
                                                  LumSize dstRoiSize, int topBorderHeight, int leftBorderWidth);
LUM_API LumStatus lumiCopyReplicateBorder_8u_C4IR(Lum8u* pSrcDst, int srcDstStep, LumSize srcRoiSize,
                                                  LumSize dstRoiSize, int topBorderHeight, int leftBorderWidth);
LUM_API LumStatus lumiCopyReplicateBorder_32s_C1IR(Lum32s* pSrcDst, int srcDstStep, LumSize srcRoiSize,
                                                   LumSize dstRoiSize, int topBorderHeight, int leftBorderWidth);
LUM_API LumStatus lumiCopyReplicateBorder_32s_C3IR(Lum32s* pSrcDst, int srcDstStep, LumSize srcRoiSize,
                                                   LumSize dstRoiSize, int topBorderHeight, int leftBorderWidth);
LUM_API LumStatus lumiCopyReplicateBorder_32s_C4IR(Lum32s* pSrcDst, int srcDstStep, LumSize srcRoiSize,
                                                   LumSize dstRoiSize, int topBorderHeight, int leftBorderWidth);
/** @} */

/**
 * @name Difference of two images
 * @brief dst = src2 - src1, in single precision.
 * @param pSrc1 what is subtracted. @param src1Step its row step in bytes.
 * @param pSrc2 what it is subtracted from. @param src2Step its row step in bytes.
 * @param pDst difference. @param dstStep its row step in bytes.
 * @param roiSize size of all images in pixels.
 * @return ::lumStatusNullPointer if a pointer is null; ::lumStatusBadSize if width or height is below 1.
 *
 * No step is checked: negative ones, 0, ones shorter than a row and ones that are no multiple of an element are taken as
 * they are. A row of the difference may be the same as the row of a source; it must not overlap it otherwise.
 * @{
 */
LUM_API LumStatus lumiSub_32f_C1R(const Lum32f* pSrc1, int src1Step, const Lum32f* pSrc2, int src2Step, Lum32f* pDst,
                                  int dstStep, LumSize roiSize);
LUM_API LumStatus lumiSub_32f_C3R(const Lum32f* pSrc1, int src1Step, const Lum32f* pSrc2, int src2Step, Lum32f* pDst,
                                  int dstStep, LumSize roiSize);
LUM_API LumStatus lumiSub_32f_C4R(const Lum32f* pSrc1, int src1Step, const Lum32f* pSrc2, int src2Step, Lum32f* pDst,
                                  int dstStep, LumSize roiSize);
/** @} */

/**
 * @name Difference of two images in place
 * @brief srcDst = srcDst - src, in single precision.
 * @param pSrc what is subtracted. @param srcStep its row step in bytes.
 * @param pSrcDst what it is subtracted from, and the difference. @param srcDstStep its row step in bytes.
 * @param roiSize size of both images in pixels.
 * @return ::lumStatusNullPointer if a pointer is null; ::lumStatusBadSize if width or height is below 1.
 *
 * Steps and overlapping rows as for the difference of two images.
 * @{
 */
LUM_API LumStatus lumiSub_32f_C1IR(const Lum32f* pSrc, int srcStep, Lum32f* pSrcDst, int srcDstStep, LumSize roiSize);
LUM_API LumStatus lumiSub_32f_C3IR(const Lum32f* pSrc, int srcStep, Lum32f* pSrcDst, int srcDstStep, LumSize roiSize);
LUM_API LumStatus lumiSub_32f_C4IR(const Lum32f* pSrc, int srcStep, Lum32f* pSrcDst, int srcDstStep, LumSize roiSize);
/** @} */

/**
 * @name Scaled difference of two images
 * @brief dst = (src2 - src1) x 2^-scaleFactor, to the nearest integer, halves to even, and to the range 0 to 255.
 * @param pSrc1 what is subtracted. @param src1Step its row step in bytes.
 * @param pSrc2 what it is subtracted from. @param src2Step its row step in bytes.
 * @param pDst difference. @param dstStep its row step in bytes.
 * @param roiSize size of all images in pixels.
 * @param scaleFactor any value. Above 8 every result is 0; below -7 it is 255 where the difference is positive, else 0.
 * @return ::lumStatusNullPointer if a pointer is null; ::lumStatusBadSize if width or height is below 1.
 *
 * Steps and overlapping rows as for the difference of two images.
 * @{
 */
LUM_API LumStatus lumiSub_8u_C1RSfs(const Lum8u* pSrc1, int src1Step, const Lum8u* pSrc2, int src2Step, Lum8u* pDst,
                                    int dstStep, LumSize roiSize, int scaleFactor);
LUM_API LumStatus lumiSub_8u_C3RSfs(const Lum8u* pSrc1, int src1Step, const Lum8u* pSrc2, int src2Step, Lum8u* pDst,
                                    int dstStep, LumSize roiSize, int scaleFactor);
LUM_API LumStatus lumiSub_8u_C4RSfs(const Lum8u* pSrc1, int src1Step, const Lum8u* pSrc2, int src2Step, Lum8u* pDst,
                                    int dstStep, LumSize roiSize, int scaleFactor);
/** @} */

/**
 * @name Scaled difference of two images in place
 * @brief srcDst = (srcDst - src) x 2^-scaleFactor, to the nearest integer, halves to even, and to the range 0 to 255.
 * @param pSrc what is subtracted. @param srcStep its row step in bytes.
 * @param pSrcDst what it is subtracted from, and the difference. @param srcDstStep its row step in bytes.
 * @param roiSize size of both images in pixels.
 * @param scaleFactor any value. Above 8 every result is 0; below -7 it is 255 where the difference is positive, else 0.
 * @return ::lumStatusNullPointer if a pointer is null; ::lumStatusBadSize if width or height is below 1.
 *
 * Steps and overlapping rows as for the difference of two images.
 * @{
 */
LUM_API LumStatus lumiSub_8u_C1IRSfs(const Lum8u* pSrc, int srcStep, Lum8u* pSrcDst, int srcDstStep, LumSize roiSize,
                                     int scaleFactor);
LUM_API LumStatus lumiSub_8u_C3IRSfs(const Lum8u* pSrc, int srcStep, Lum8u* pSrcDst, int srcDstStep, LumSize roiSize,
                                     int scaleFactor);
LUM_API LumStatus lumiSub_8u_C4IRSfs(const Lum8u* pSrc, int srcStep, Lum8u* pSrcDst, int srcDstStep, LumSize roiSize,
                                     int scaleFactor);
/** @} */

/**
 * @name Limits
 * @brief dst = max(src, threshold) with ::lumCompareLess (what is less is raised) and in the LT functions; dst = min(src,
 * threshold) with ::lumCompareGreater.
 * @param pSrc source. @param srcStep its row step in bytes.
 * @param pDst destination. @param dstStep its row step in bytes.
 * @param roiSize size of both images in pixels.
 * @param threshold limit, any value.
 * @param comparison what is limited.
 * @return ::lumStatusNullPointer if a pointer is null; ::lumStatusBadSize if width or height is below 1;
 * ::lumStatusBadStep if a step is below 1; ::lumStatusUnsupportedMode if the comparison is neither of the two.
 *
 * The threshold is the result where the pixel does not lie strictly on its other side: where they are equal (-0 becomes
 * +0 if the threshold is +0), and where either is NaN. A row of the destination may be the same as the row of the source;
 * it must not overlap it otherwise.
 * @{
 */
LUM_API LumStatus lumiThreshold_32f_C1R(const Lum32f* pSrc, int srcStep, Lum32f* pDst, int dstStep, LumSize roiSize,
                                        Lum32f threshold, LumComparison comparison);
LUM_API LumStatus lumiThreshold_LT_32f_C1R(const Lum32f* pSrc, int srcStep, Lum32f* pDst, int dstStep, LumSize roiSize,
                                           Lum32f threshold);
/** @} */

/**
 * @brief Lower limit in place: srcDst = max(srcDst, threshold).
 * @param pSrcDst image. @param srcDstStep its row step in bytes.
 * @param roiSize size in pixels.
 * @param threshold limit, any value.
 * @return ::lumStatusNullPointer if the pointer is null; ::lumStatusBadSize if width or height is below 1;
 * ::lumStatusBadStep if the step is below 1.
 *
 * Equal pixels and NaN as for the limits with a destination.
 */
LUM_API LumStatus lumiThreshold_LT_32f_C1IR(Lum32f* pSrcDst, int srcDstStep, LumSize roiSize, Lum32f threshold);

/**
 * @brief Replaces pixels that are less or greater than a threshold: dst = src compares true ? value : src.
 * @param pSrc source. @param srcStep its row step in bytes.
 * @param pDst destination. @param dstStep its row step in bytes.
 * @param roiSize size of both images in pixels.
 * @param threshold what the pixels are compared with.
 * @param value what replaces them.
 * @param comparison less or greater.
 * @return ::lumStatusUnsupportedMode if the comparison is neither of the two, before anything else;
 * ::lumStatusNullPointer if a pointer is null; ::lumStatusBadSize if width or height is below 1; ::lumStatusBadStep if a
 * step is below 1.
 *
 * A row of the destination may be the same as the row of the source; it must not overlap it otherwise.
 */
LUM_API LumStatus lumiThreshold_Val_8u_C1R(const Lum8u* pSrc, int srcStep, Lum8u* pDst, int dstStep, LumSize roiSize,
                                           Lum8u threshold, Lum8u value, LumComparison comparison);

/**
 * @brief Replaces pixels that are greater than a threshold: dst = src > threshold ? value : src.
 * @param pSrc source. @param srcStep its row step in bytes.
 * @param pDst destination. @param dstStep its row step in bytes.
 * @param roiSize size of both images in pixels.
 * @param threshold what the pixels are compared with.
 * @param value what replaces them.
 * @return ::lumStatusNullPointer if a pointer is null; ::lumStatusBadSize if width or height is below 1;
 * ::lumStatusBadStep if a step is below 1.
 *
 * A row of the destination may be the same as the row of the source; it must not overlap it otherwise.
 */
LUM_API LumStatus lumiThreshold_GTVal_8u_C1R(const Lum8u* pSrc, int srcStep, Lum8u* pDst, int dstStep, LumSize roiSize,
                                             Lum8u threshold, Lum8u value);

/**
 * @brief Replaces pixels that are greater than a threshold in place: srcDst = srcDst > threshold ? value : srcDst.
 * @param pSrcDst image. @param srcDstStep its row step in bytes.
 * @param roiSize size in pixels.
 * @param threshold what the pixels are compared with.
 * @param value what replaces them.
 * @return ::lumStatusNullPointer if the pointer is null; ::lumStatusBadSize if width or height is below 1;
 * ::lumStatusBadStep if the step is below 1.
 */
LUM_API LumStatus lumiThreshold_GTVal_8u_C1IR(Lum8u* pSrcDst, int srcDstStep, LumSize roiSize, Lum8u threshold,
                                              Lum8u value);
/** @} */

#ifdef __cplusplus
}
#endif
#endif
