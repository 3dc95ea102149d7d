/**
 * @file
 * @brief Everything that the library offers. Plain C99.
 */
#ifndef LUMCV_H
#define LUMCV_H

#include "lumcv_accumulate.h"
#include "lumcv_features.h"
#include "lumcv_filters.h"
#include "lumcv_frame.h"
#include "lumcv_statistics.h"
#include "lumcv_types.h"

#endif
