/**
 * @file
 * @brief Types, status codes and conventions that every function of the library shares.
 */
#ifndef LUMCV_TYPES_H
#define LUMCV_TYPES_H

/* Old 32-bit programs call with a stack aligned to 4 bytes only; vector code needs 16, so every entry point realigns. */
#if defined(__GNUC__) && defined(__i386__)
#define LUM_API __attribute__((visibility("default"), force_align_arg_pointer))
#elif defined(__GNUC__)
#define LUM_API __attribute__((visibility("default")))
#else
#define LUM_API
#endif
#if defined(__GNUC__)
#define LUM_DATA __attribute__((visibility("default")))
#else
#define LUM_DATA
#endif

#ifdef __cplusplus
extern "C" {
#endif

/**
 * @defgroup types Types and conventions
 *
 * **Images.** An image argument is a pointer to the first element of its region of interest and a row step: the signed
 * distance in bytes from the start of one row to the start of the next. Channels of a pixel are interleaved. One
 * `roiSize` serves all images of a call. Pointers need no alignment beyond one byte, whatever the element type.
 *
 * **Names.** `lum` + domain (`i` image, `s` vector, `cv` library) + operation + `_` + element type(s) + `_` +
 * descriptors. A pair of types names source, then destination. Descriptors: `C1`, `C3`, `C4` interleaved channels;
 * `C3C` one channel of interest out of three; `I` in place; `M` under a mask; `R` region of interest; `Sfs` integer
 * result scaled by 2^-scaleFactor.
 *
 * **Checks.** Arguments are checked in the order that each function documents; the first that fails decides the status,
 * and nothing has been written then. Warnings are positive and come with complete output.
 *
 * **Threads.** Every function may be called from any thread at any time, also inside a parallel region of the caller.
 * Results do not depend on the instruction set or the word size, nor, but for sums whose description says so, on the
 * thread count.
 * @{
 */

typedef unsigned char Lum8u;   /**< 8 bits, unsigned */
typedef signed char Lum8s;     /**< 8 bits, signed */
typedef unsigned short Lum16u; /**< 16 bits, unsigned */
typedef short Lum16s;          /**< 16 bits, signed */
typedef int Lum32s;            /**< 32 bits, signed */
typedef float Lum32f;          /**< single precision */
typedef double Lum64f;         /**< double precision */

/** Result of a call: 0 success, negative an error, positive a warning. */
typedef int LumStatus;

/** The status codes. */
enum {
  lumStatusOk = 0,            /**< success */
  lumStatusFailure = -2,      /**< generic failure */
  lumStatusBadArgument = -5,  /**< an argument outside its allowed set or range */
  lumStatusBadSize = -6,      /**< a width, height, length or count below its minimum, or a size above 32 bits */
  lumStatusNullPointer = -8,  /**< a required pointer is null */
  lumStatusNoMemory = -9,     /**< an allocation inside the function failed */
  lumStatusOutOfRange = -11,  /**< a point outside the image or a value outside its range */
  lumStatusBadDataType = -12, /**< an element type that an internal routine does not serve */
  lumStatusBadStep = -14,     /**< a row step below the row's length in bytes, or not positive */
  lumStatusBadMaskSize = -33, /**< a mask or kernel size that the function does not support */
  lumStatusBadAnchor = -34,   /**< an anchor outside the mask */
  lumStatusBadChannelOfInterest = -52,  /**< the channel of interest is not 1, 2 or 3 */
  lumStatusBadChannelCount = -53,       /**< a channel count that an internal routine does not serve */
  lumStatusBadMetric = -56,             /**< a distance metric weight below 1 */
  lumStatusStepNotPixelMultiple = -108, /**< a row step that is not a multiple of the element size */
  lumStatusUnsupportedMode = -9999,     /**< a comparison that the function does not support */
  lumStatusWarnSqrtNegative = 3,        /**< a square root met a negative input */
  lumStatusWarnDivByZero = 6,           /**< a relative norm with denominator zero */
  lumStatusWarnSizeOverflow = 12,       /**< a buffer size above 2147483647 */
  lumStatusWarnOutputTruncated = 33     /**< more results than the output array holds */
};

/** Size of a region of interest in pixels. */
typedef struct {
  int width;  /**< pixels of a row */
  int height; /**< rows */
} LumSize;

/** Pixel coordinate: x to the right, y downwards, origin at the first pixel of the region. */
typedef struct {
  int x; /**< column */
  int y; /**< row */
} LumPoint;

/** Rectangle in pixel coordinates. */
typedef struct {
  int x;      /**< first column */
  int y;      /**< first row */
  int width;  /**< columns */
  int height; /**< rows */
} LumRect;

/** Border rule of a filter: what stands for the pixel at column -j (j >= 1) left of a row; the other sides likewise. */
typedef int LumBorderType;
enum {
  lumBorderConst = 0, /**< the function's border value */
  lumBorderRepl = 1,  /**< src[0], the edge pixel repeated */
  lumBorderWrap = 2,  /**< src[width - j], the row is periodic */
  lumBorderMirr = 3,  /**< src[j], mirrored at the edge pixel */
  lumBorderMirrR = 4  /**< src[j - 1], mirrored with the edge pixel repeated */
};

/** Mask size of the fixed filters. */
typedef int LumMaskSize;
enum {
  lumMaskSize3x3 = 33, /**< 3x3 */
  lumMaskSize5x5 = 55  /**< 5x5 */
};

/** @} */

#ifdef __cplusplus
}
#endif
#endif
