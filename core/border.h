// The border rules as index arithmetic, for rows and columns alike.
#pragma once
#include "core/image.h"

namespace lum {

// The index inside [0, n) that stands for index i under a border rule; -1 where the border value stands. Any distance
// from the image is served: wrap is a modulo, and a mirrored index that leaves on the other side is mirrored again.
LUM_INLINE int border_index(long long i, int n, LumBorderType type) {
  if (i >= 0 && i < n) return int(i);
  if (type == lumBorderConst) return -1;
  if (type == lumBorderRepl) return i < 0 ? 0 : n - 1;
  // What stands right outside of the image, one step of the rule away, needs no division.
  const long long step = type == lumBorderWrap   ? (i < 0 ? i + n : i - n)
                         : type == lumBorderMirr ? (i < 0 ? -i : 2LL * n - 2 - i)
                                                 : (i < 0 ? -i - 1 : 2LL * n - 1 - i);
  if (step >= 0 && step < n) return int(step);
  if (n == 1) return 0;
  const long long period = type == lumBorderWrap ? n : type == lumBorderMirr ? 2LL * n - 2 : 2LL * n;
  const long long phase = (i % period + period) % period;
  if (phase < n) return int(phase);
  return int(type == lumBorderMirr ? period - phase : period - 1 - phase);
}

}  // namespace lum
