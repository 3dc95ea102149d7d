// Rules of the statistics as plain loops, for tests and fuzz targets.
#pragma once
#include <algorithm>
#include <array>
#include <climits>
#include <cmath>
#include <type_traits>

#include "lumcv.h"

namespace test {

// Single-precision sums of values that come in rows: eight lanes for what is a multiple of eight, four for what is one
// of four behind it, one for the rest.
struct LaneSums {
  Lum32f eight[8] = {}, four[4] = {}, one = 0;
  template <class Value>
  void add_row(int n, const Value& value) {
    for (int x = 0; x < n; ++x) (x < n / 8 * 8 ? eight[x % 8] : x < n / 4 * 4 ? four[x % 4] : one) += value(x);
  }
  std::array<Lum32f, 2> folded() const {
    Lum32f lanes[4];
    for (int i = 0; i < 4; ++i) lanes[i] = (eight[i] + eight[i + 4]) + four[i];
    return {(lanes[0] + lanes[2]) + one, lanes[1] + lanes[3]};
  }
};
// Of one row.
template <class Value>
std::array<Lum32f, 2> lane_sums(int n, const Value& value) {
  LaneSums sums;
  sums.add_row(n, value);
  return sums.folded();
}
// Of n values in sixteen lanes, each odd one of which goes onto an even one, then the upper four of those onto the lower.
template <class Value>
std::array<Lum64f, 2> wide_lane_sums(int n, const Value& value) {
  Lum32f lanes[16] = {};
  for (int x = 0; x < n; ++x) lanes[x % 16] += value(x);
  Lum64f four[4];
  for (int i = 0; i < 4; ++i) {
    const Lum32f* const low = lanes + 2 * i;
    four[i] = (low[0] + low[1]) + (low[8] + low[9]);
  }
  return {four[0] + four[2], four[1] + four[3]};
}

enum Norm { Inf, L1, L2 };
enum Measured { OneImage, Difference, Relative };

// Bytes and words as integers, |-128| is 128.
template <class S>
using Magnitude = std::conditional_t<std::is_floating_point_v<S>, S, long long>;
template <class S>
Magnitude<S> magnitude(Magnitude<S> value) {
  return std::abs(value);
}

// What a band of rows measures; value(x, y) is a magnitude, 0 where the mask leaves the pixel out.
template <class S, class Value>
Lum64f band_norm(Norm norm, int width, int begin, int end, const Value& value) {
  constexpr int run = sizeof(S) == 2 ? 512 : INT_MAX;
  Magnitude<S> largest = 0;
  long long sum = 0;
  Lum64f sums[2] = {0, 0};
  for (int y = begin; y < end; ++y) {
    if (norm != Inf && (sizeof(S) == 4 || (sizeof(S) == 2 && norm == L2))) {
      for (int first = 0; first < width; first += std::min(run, width - first)) {
        const auto term = [&](int x) {
          const Lum32f v = Lum32f(value(first + x, y));
          return norm == L2 ? v * v : v;
        };
        const int n = std::min(run, width - first);
        const auto add = [&](const auto& two) { sums[0] += two[0], sums[1] += two[1]; };
        sizeof(S) == 2 ? add(wide_lane_sums(n, term)) : add(lane_sums(n, term));
      }
      continue;
    }
    for (int x = 0; x < width; ++x) {
      const Magnitude<S> v = value(x, y);
      if (v > largest) largest = v;
      if constexpr (sizeof(S) < 4) sum += norm == L2 ? v * v : v;
    }
  }
  if (norm == Inf) return Lum64f(largest);
  if (sizeof(S) == 4) return Lum32f(sums[0] + sums[1]);
  if (sizeof(S) == 2) return norm == L2 ? sums[0] + sums[1] : Lum64f(sum);
  return norm == L2 ? Lum64f(sum) : Lum64f(int(sum));
}

struct NormResult {
  LumStatus status;
  Lum64f value;
};

// The whole norm in so many bands. first(x, y) and second(x, y) are elements, selected(x, y) is the mask.
template <class S, class First, class Second, class Selected>
NormResult masked_norm(Measured measured, Norm norm, LumSize roi, int bands, const First& first, const Second& second,
                       const Selected& selected) {
  const auto joined = [&](const auto& value) {
    const auto chosen = [&](int x, int y) { return selected(x, y) ? value(x, y) : 0; };
    Lum64f all = 0;
    for (int band = 0, rows = roi.height / bands; band < bands; ++band) {
      const int end = band == bands - 1 ? roi.height : (band + 1) * rows;
      const Lum64f one = band_norm<S>(norm, roi.width, band * rows, end, chosen);
      all = norm == Inf ? std::max(all, one) : all + one;
    }
    return all;
  };
  const auto one = [&](const auto& plane) { return [&](int x, int y) { return magnitude<S>(plane(x, y)); }; };
  const auto difference = [&](int x, int y) {
    return magnitude<S>(Magnitude<S>(first(x, y)) - Magnitude<S>(second(x, y)));
  };
  const Lum64f dividend = measured == OneImage ? joined(one(first)) : joined(difference);
  const Lum64f divisor = measured == Relative ? joined(one(second)) : 1;
  if (divisor == 0) return {lumStatusWarnDivByZero, dividend > 0 ? INFINITY : dividend < 0 ? -INFINITY : NAN};
  return {lumStatusOk, norm == L2 ? std::sqrt(dividend / divisor) : dividend / divisor};
}

}  // namespace test
