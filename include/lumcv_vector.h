/**
 * @file
 * @brief Arrays: copy, fill, extrema, products, square roots, order, conversion.
 */
#ifndef LUMCV_VECTOR_H
#define LUMCV_VECTOR_H

#include "lumcv_types.h"

#ifdef __cplusplus
extern "C" {
#endif

/**
 * @defgroup vector Vector functions
 * @brief Operations on contiguous arrays of `len` elements, a row of a plane or a plane without padding.
 *
 * Arrays may lie at any byte, whatever their element type. The functions run on the calling thread, allocate nothing
 * and may be called from any thread.
 *
 * Checks, in order: ::lumStatusNullPointer if a pointer is null; ::lumStatusBadSize if `len` is below 1. On an error
 * nothing is written.
 *
 * Arrays must not overlap unless a function says so. Where one is read and another updated element by element, both may
 * be the same.
 *
 * Scaled results (`Sfs`) are multiplied by 2^-scaleFactor, rounded to the nearest integer, halves to even, and
 * saturated. Every scale factor is valid.
 * @{
 */

/**
 * @name Copy
 * @brief dst[i] = src[i], bit for bit. The arrays may overlap.
 * @param pSrc source. @param pDst destination. @param len number of elements.
 * @return A status as the group describes.
 * @{
 */
LUM_API LumStatus lumsCopy_8u(const Lum8u* pSrc, Lum8u* pDst, int len);
LUM_API LumStatus lumsCopy_16s(const Lum16s* pSrc, Lum16s* pDst, int len);
LUM_API LumStatus lumsCopy_32f(const Lum32f* pSrc, Lum32f* pDst, int len);
/** @} */

/**
 * @name Fill
 * @brief dst[i] = value.
 * @param value the value. @param pDst destination. @param len number of elements.
 * @return A status as the group describes.
 * @{
 */
LUM_API LumStatus lumsSet_8u(Lum8u value, Lum8u* pDst, int len);
LUM_API LumStatus lumsSet_32f(Lum32f value, Lum32f* pDst, int len);
/** @} */

/**
 * @name Clear
 * @brief dst[i] = 0.
 * @param pDst destination. @param len number of elements.
 * @return A status as the group describes.
 * @{
 */
LUM_API LumStatus lumsZero_8u(Lum8u* pDst, int len);
LUM_API LumStatus lumsZero_16s(Lum16s* pDst, int len);
LUM_API LumStatus lumsZero_32s(Lum32s* pDst, int len);
LUM_API LumStatus lumsZero_32f(Lum32f* pDst, int len);
/** @} */

/**
 * @name Greater of two arrays
 * @brief srcDst[i] = srcDst[i] > src[i] ? srcDst[i] : src[i].
 * @param pSrc source. @param pSrcDst operand and result. @param len number of elements.
 * @return A status as the group describes.
 *
 * Where one of two floats is a NaN, and of two zeros, this is the element of src.
 * @{
 */
LUM_API LumStatus lumsMaxEvery_8u_I(const Lum8u* pSrc, Lum8u* pSrcDst, int len);
LUM_API LumStatus lumsMaxEvery_32f_I(const Lum32f* pSrc, Lum32f* pSrcDst, int len);
/** @} */

/**
 * @name Lesser of two arrays
 * @brief srcDst[i] = srcDst[i] < src[i] ? srcDst[i] : src[i].
 * @param pSrc source. @param pSrcDst operand and result. @param len number of elements.
 * @return A status as the group describes.
 *
 * Where one of two floats is a NaN, and of two zeros, this is the element of src.
 * @{
 */
LUM_API LumStatus lumsMinEvery_8u_I(const Lum8u* pSrc, Lum8u* pSrcDst, int len);
LUM_API LumStatus lumsMinEvery_32f_I(const Lum32f* pSrc, Lum32f* pSrcDst, int len);
/** @} */

/**
 * @brief srcDst[i] = srcDst[i] x value, rounded once.
 * @param value factor, any value. @param pSrcDst operand and result. @param len number of elements.
 * @return A status as the group describes.
 *
 * A factor of 0 is no exception: infinity and NaN become NaN, and negative numbers -0. A factor that is a NaN replaces
 * every element, NaNs too.
 */
LUM_API LumStatus lumsMulC_32f_I(Lum32f value, Lum32f* pSrcDst, int len);

/**
 * @brief srcDst[i] = srcDst[i] x value, scaled.
 * @param value factor. @param pSrcDst operand and result. @param len number of elements.
 * @param scaleFactor the exact product is multiplied by 2^-scaleFactor.
 * @return A status as the group describes.
 */
LUM_API LumStatus lumsMulC_16s_ISfs(Lum16s value, Lum16s* pSrcDst, int len, int scaleFactor);

/**
 * @brief srcDst[i] = square root of srcDst[i], correctly rounded.
 * @param pSrcDst operand and result. @param len number of elements.
 * @return A status as the group describes; ::lumStatusWarnSqrtNegative, with complete output, if an element was below
 * 0.
 *
 * Elements below 0 become NaN. -0 stays -0 and NaN stays NaN, without a warning.
 */
LUM_API LumStatus lumsSqrt_32f_I(Lum32f* pSrcDst, int len);

/**
 * @brief dst[i] = square root of src[i], scaled.
 * @param pSrc source. @param pDst destination. @param len number of elements.
 * @param scaleFactor the root is multiplied by 2^-scaleFactor before it is rounded; all of 17 and more give 0.
 * @return A status as the group describes; ::lumStatusWarnSqrtNegative, with complete output, if an element of src was
 * below 0.
 *
 * The result is what rounding the real number once gives. Elements below 0 become 0.
 */
LUM_API LumStatus lumsSqrt_32s16s_Sfs(const Lum32s* pSrc, Lum16s* pDst, int len, int scaleFactor);

/**
 * @brief Sorts in ascending order.
 * @param pSrcDst array. @param len number of elements.
 * @return A status as the group describes.
 *
 * -0 goes before +0. NaNs go last, in no particular order among themselves, and keep their bits. Takes constant stack
 * and in the order of len x log(len) steps, whatever the order of the elements.
 */
LUM_API LumStatus lumsSortAscend_64f_I(Lum64f* pSrcDst, int len);

/**
 * @brief dst[i] = src[i], exactly.
 * @param pSrc source. @param pDst destination. @param len number of elements.
 * @return A status as the group describes.
 */
LUM_API LumStatus lumsConvert_16u32f(const Lum16u* pSrc, Lum32f* pDst, int len);
/** @} */

#ifdef __cplusplus
}
#endif
#endif
