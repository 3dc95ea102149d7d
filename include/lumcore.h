/**
 * @file
 * @brief The companion library: thread count, processor facts, special constants. Plain C99.
 */
#ifndef LUMCORE_H
#define LUMCORE_H

#include "lumcv_types.h"

#ifdef __cplusplus
extern "C" {
#endif

/**
 * @defgroup core Companion library
 * @{
 */

/**
 * @brief The thread count that the library's parallel functions use.
 * @param pNumThreads receives the count, 1 or more.
 * @return ::lumStatusNullPointer if @p pNumThreads is null, else ::lumStatusOk.
 *
 * At start the count is what `OMP_NUM_THREADS` says, read as the OpenMP runtime reads it, or else the number of
 * processors that the process may run on: its affinity mask, cut to the processor quota of its control group (rounded
 * up to whole processors). Callable from any thread.
 */
LUM_API LumStatus lumGetNumThreads(int* pNumThreads);

/**
 * @brief Sets the thread count, and ::threads_omp_of_n_lum with it.
 * @param numThreads 1 or more.
 * @return ::lumStatusBadSize if @p numThreads is below 1 (nothing is changed then), else ::lumStatusOk.
 *
 * Callable from any thread; calls that run meanwhile finish with the count they started with. Query buffer sizes after
 * setting the count: they grow with it.
 *
 * A child of fork() whose parent had threads starts with a count of 1, because the OpenMP runtime would wait for threads
 * that stayed with the parent. A count set there sizes buffers and cuts images as usual, but ::threads_omp_of_n_lum
 * stays 1 and all runs on the calling thread. A child of a single-threaded parent keeps the count and runs parallel.
 */
LUM_API LumStatus lumSetNumThreads(int numThreads);

/**
 * @brief Size in bytes of the processor's largest cache.
 * @param pSize receives the size.
 * @return ::lumStatusNullPointer if @p pSize is null, else ::lumStatusOk.
 */
LUM_API LumStatus lumGetMaxCacheSizeB(int* pSize);

/**
 * @brief Number of processor cores on one die.
 * @return The number, 1 or more.
 *
 * Small filters go parallel only where it is above 1.
 */
LUM_API int lumGetNumCoresOnDie(void);

/** Number of threads that every parallel region of the library asks for. Not to be raised in a forked child. */
extern LUM_DATA int threads_omp_of_n_lum;

extern LUM_DATA const Lum64f lumConstantOfINF_64f;     /**< plus infinity */
extern LUM_DATA const Lum64f lumConstantOfINF_NEG_64f; /**< minus infinity */
extern LUM_DATA const Lum64f lumConstantOfNAN_64f;     /**< a quiet NaN */

/** @} */

#ifdef __cplusplus
}
#endif
#endif
