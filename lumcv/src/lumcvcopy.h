// Filling a region, for the families whose results can be one value.
#pragma once
#include "core/check.h"

namespace lum {

// Every byte of all rows. The pixels of a row may be more than 32 bits hold: channels count as pixels.
void set_region(Lum8u value, Image<Lum8u> dst, long long row_bytes, int height);

}  // namespace lum
