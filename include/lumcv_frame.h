/**
 * @file
 * @brief Version record, aligned allocation and its hooks.
 */
#ifndef LUMCV_FRAME_H
#define LUMCV_FRAME_H

#include <stddef.h>

#include "lumcv_types.h"

#ifdef __cplusplus
extern "C" {
#endif

/**
 * @defgroup frame Library frame
 * @{
 */

/** What this library is. Static and read-only. */
typedef struct {
  int major;             /**< 5 */
  int minor;             /**< 2 */
  int majorBuild;        /**< 108 */
  int build;             /**< 398 */
  char targetCpu[4];     /**< processor variant, "t7": the SSE3 generation */
  const char* Name;      /**< "liblumcvt7.so.5.2" */
  const char* Version;   /**< "5.2" */
  const char* BuildDate; /**< date of the interface, not of the compilation */
} LumLibraryVersion;

/**
 * @brief The version record.
 * @return Pointer to the one static record, the same at every call and never null. Neither change nor free it.
 *
 * Callable from any thread.
 */
LUM_API const LumLibraryVersion* lumcvGetLibVersion(void);

/**
 * @name Aligned allocation
 * @brief Block of @p length elements that starts at a multiple of 32 bytes.
 * @param length element count; below 1 gives null without a call of the hook.
 * @return The block, or null when the hook returned null or when the byte count does not fit the address space.
 *
 * One call of ::i_malloc for length x element size + 36 bytes (64 bits: + 40). The bytes directly before the returned
 * block hold the raw pointer that the hook gave (32 bits: 4 bytes, 64 bits: 8). The contents are not initialised.
 * Callable from any thread. Release with lumsFree().
 * @{
 */
LUM_API Lum8u* lumsMalloc_8u(int length);
LUM_API Lum8s* lumsMalloc_8s(int length);
LUM_API Lum16u* lumsMalloc_16u(int length);
LUM_API Lum32s* lumsMalloc_32s(int length);
LUM_API Lum32f* lumsMalloc_32f(int length);
LUM_API Lum64f* lumsMalloc_64f(int length);
/** @} */

/**
 * @brief Releases a block of lumsMalloc_*() by one call of ::i_free.
 * @param block a block of any lumsMalloc_*(), or null, which does nothing.
 */
LUM_API void lumsFree(void* block);

/**
 * @name Allocation hooks
 * The library allocates only through ::i_malloc and releases only through ::i_free, and reads both at every call.
 * A program replaces them by assignment, before any concurrent use; a block must meet the `i_free` that belongs to the
 * `i_malloc` that made it. The library itself never calls ::i_calloc and ::i_realloc.
 * @{
 */
extern LUM_DATA void* (*i_malloc)(size_t);
extern LUM_DATA void* (*i_calloc)(size_t, size_t);
extern LUM_DATA void* (*i_realloc)(void*, size_t);
extern LUM_DATA void (*i_free)(void*);
/** @} */

/** Interface revision for companion libraries: 1. Not read here. */
extern LUM_DATA int i_version;
/** Oldest interface revision that companion libraries may use: 0. Not read here. */
extern LUM_DATA int i_min_version;

/**
 * @brief Masks of the channel of interest for companion libraries.
 *
 * Three blocks of 48 bytes: block c (c = 1, 2, 3, at offset 48 x (c - 1)) repeats the 3-byte pattern of one pixel, 0xFF
 * at channel c and 0 elsewhere, 16 times.
 */
extern LUM_DATA const Lum8u lumcvCoiMaskA[144];

/** @} */

#ifdef __cplusplus
}
#endif
#endif
