// The rules of the filters for their models: borders spelled out as a walk, scaling of integer sums. Not only for
// GoogleTest.
#pragma once
#include <algorithm>
#include <cmath>
#include <limits>

#include "lumcv_types.h"

namespace test {

// The index that stands for i under a border rule, found by walking; -1 for the border value.
inline int border_walk(int i, int n, LumBorderType border) {
  if (border == lumBorderConst && (i < 0 || i >= n)) return -1;
  if (border == lumBorderRepl) return std::clamp(i, 0, n - 1);
  while (i < 0 || i >= n) {
    if (border == lumBorderWrap)
      i += i < 0 ? n : -n;
    else if (border == lumBorderMirr)
      i = n == 1 ? 0 : i < 0 ? -i : 2 * (n - 1) - i;
    else
      i = i < 0 ? -i - 1 : 2 * n - 1 - i;
  }
  return i;
}

// An integer result: rounded to nearest, ties to even, in the columns below width - width mod 16; truncated behind.
template <class D>
D scaled(float sum, int divisor, int x, int width) {
  float v = sum * (1.0f / float(divisor));
  v = std::clamp(v, float(std::numeric_limits<D>::min()), float(std::numeric_limits<D>::max()));
  return D(x < width / 16 * 16 ? std::nearbyint(v) : std::trunc(v));
}

constexpr int kBorders[] = {lumBorderConst, lumBorderRepl, lumBorderWrap, lumBorderMirr, lumBorderMirrR};

}  // namespace test
