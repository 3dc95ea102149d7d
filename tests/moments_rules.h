// Rules of means, deviations and extrema as plain loops, for tests and fuzz targets.
#pragma once
#include "statistics_rules.h"

namespace test {

// The sum of term(x, y) over so many bands of rows; whole: in the same lanes.
template <class Term>
Lum64f sum_of(LumSize roi, int bands, bool whole, const Term& term) {
  using T = decltype(term(0, 0));
  Lum64f all = 0;
  for (int band = 0, rows = roi.height / bands; band < bands; ++band) {
    const int end = band == bands - 1 ? roi.height : (band + 1) * rows;
    LaneSums lanes;
    Lum64f two[2] = {}, words = 0;
    for (int y = band * rows; y < end; ++y) {
      if constexpr (std::is_same_v<T, Lum32f>) {
        lanes.add_row(roi.width, [&](int x) { return term(x, y); });
        if (whole && y < end - 1) continue;
        for (int i : {0, 1}) two[i] += lanes.folded()[i];
        lanes = {};
      } else {
        long long row = 0;
        for (int x = 0; x < roi.width; ++x) row += term(x, y);
        words += Lum64f(row);
      }
    }
    all += std::is_same_v<T, Lum32f> ? two[0] + two[1] : words;
  }
  return all;
}

// Whether a region of floats is so small that all rows are summed in the same lanes.
inline bool is_whole(LumSize roi, int channels, bool masked) {
  return !masked && (long long)roi.width * roi.height < (channels == 1 ? 100000 : 5000);
}

struct Moments {
  Lum64f mean = 0, deviation = 0;
};

// Of the elements value(x, y) where selected(x, y).
template <class S, class Value, class Selected>
Moments moments(LumSize roi, int bands, bool whole, const Value& value, const Selected& selected) {
  using T = std::conditional_t<std::is_same_v<S, Lum32f>, Lum32f, long long>;
  const auto sum = [&](const auto& term) {
    return sum_of(roi, bands, whole, [&](int x, int y) { return selected(x, y) ? term(T(value(x, y))) : T(0); });
  };
  long long n = 0;
  for (int y = 0; y < roi.height; ++y)
    for (int x = 0; x < roi.width; ++x) n += selected(x, y) ? 1 : 0;
  if (n == 0) return {};
  Moments m;
  m.mean = sum([](T v) { return v; }) / Lum64f(n);
  m.deviation = std::sqrt(std::fabs(sum([](T v) { return v * v; }) / Lum64f(n) - m.mean * m.mean));
  if (std::is_same_v<S, Lum32f> && 0.05 * m.mean * m.mean > m.deviation * m.deviation) {
    const T mean = T(m.mean);
    m.deviation = std::sqrt(sum([&](T v) { return (v - mean) * (v - mean); }) / Lum64f(n));
  }
  return m;
}

struct Extreme {
  Lum32f value = 0;
  LumPoint at = {0, 0};
};
struct Extremes {
  Extreme least, greatest;
};

template <class Value, class Selected>
Extremes extremes(LumSize roi, const Value& value, const Selected& selected) {
  Extremes e;
  bool seen = false;
  for (int y = 0; y < roi.height; ++y)
    for (int x = 0; x < roi.width; ++x) {
      if (!selected(x, y)) continue;
      const Lum32f v = value(x, y);
      const auto counts = [&](bool nearer, Lum32f old) {
        return !seen || nearer || (std::isnan(old) && !std::isnan(v));
      };
      if (counts(v < e.least.value, e.least.value)) e.least = {v, {x, y}};
      if (counts(v > e.greatest.value, e.greatest.value)) e.greatest = {v, {x, y}};
      seen = true;
    }
  return e;
}

}  // namespace test
