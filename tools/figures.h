// Statistics of a picture by the library.
#pragma once
#include <optional>

#include "image_file.h"
#include "lumcv.h"

namespace tool {

struct Extreme {
  Lum32f value;
  LumPoint at;
};

struct Norms {
  double inf, l1, l2;
};

// Of one channel.
struct Figures {
  double mean, deviation;
  Extreme minimum, maximum;
  Norms norm;
  // Of the difference from another picture, and relative to that one: infinite or NaN where that is black.
  std::optional<Norms> difference, relative;
};

// `mask` is grey; its pixels that are not 0 select. `other`, which may be null, and the mask have the picture's size, and
// `other` its channels. `channel` counts from 1.
Result<Figures> measure(const Picture& picture, const Picture& mask, const Picture* other, int channel);

}  // namespace tool
