// Edges of a picture by the library.
#pragma once
#include "image_file.h"
#include "lumcv.h"

namespace tool {

enum class Operator { sobel, scharr };

struct EdgeSettings {
  Operator op = Operator::sobel;
  LumMaskSize mask = lumMaskSize3x3;
  LumBorderType border = lumBorderRepl;
  Lum8u border_value = 0;
  float low = 0, high = 0;  // thresholds of |dx| + |dy|
};

struct EdgeMap {
  Picture picture;  // grey, 255 on edges and 0 elsewhere
  size_t edge_pixels;
  double filter_ms, canny_ms;
};

Result<EdgeMap> find_edges(const Picture& grey, const EdgeSettings& settings);

}  // namespace tool
