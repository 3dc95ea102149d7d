// Compiled without vectors. Each loop is what a careful programmer writes first: two passes with a ring of row sums for
// the masks, constant taps written out, and no allocation once its rows have grown.
#include "scalar.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdlib>
#include <limits>
#include <type_traits>
#include <vector>

#include "tests/moments_rules.h"
#include "tests/statistics_rules.h"

namespace bench {
namespace {

// A row between copies of its first and last pixel.
template <class S>
const S* extended(const S* row, int width, int channels, int half) {
  static std::vector<S> e;
  const int n = width * channels, margin = half * channels;
  e.resize(size_t(n) + 2 * margin);
  std::copy(row, row + n, e.data() + margin);
  for (int i = 0; i < margin; ++i) {
    e[i] = row[i % channels];
    e[margin + n + i] = row[n - channels + i % channels];
  }
  return e.data();
}

// The columns below width - width mod 16 are rounded, the rest truncated. Integers are clamped without branches, which
// would be mispredicted all the time on the noise in the planes.
template <class D, class Sum>
void scaled_row(const Job& job, int channels, D* out, const Sum& sum) {
  constexpr long kMin = std::numeric_limits<D>::min(), kMax = std::numeric_limits<D>::max();
  const Lum32f reciprocal = 1.0f / Lum32f(job.divisor);
  const int n = job.roi.width * channels, rounded = job.roi.width / 16 * 16 * channels;
  int x = 0;
  for (; x < rounded; ++x) out[x] = D(std::clamp(std::lrint(Lum32f(sum(x)) * reciprocal), kMin, kMax));
  for (; x < n; ++x) out[x] = D(std::clamp(long(Lum32f(sum(x)) * reciprocal), kMin, kMax));
}

// ---- separable passes ----

template <class S>
void row_line(const Job& job, const S* row, int channels, Lum16s* out) {
  const S* const e = extended(row, job.roi.width, channels, job.taps / 2);
  scaled_row(job, channels, out, [e, channels, n = job.taps, taps = job.taps16](int x) {
    unsigned sum = 0;
    for (int k = 0; k < n; ++k) sum += unsigned(taps[k] * e[x + k * channels]);
    return int(sum);
  });
}
void row_line(const Job& job, const Lum32f* row, int channels, Lum32f* out) {
  const Lum32f* const e = extended(row, job.roi.width, channels, job.taps / 2);
  for (int x = 0; x < job.roi.width * channels; ++x) {
    Lum32f sum = job.taps32[0] * e[x];
    for (int k = 1; k < job.taps; ++k) sum += job.taps32[k] * e[x + k * channels];
    out[x] = sum;
  }
}

template <class D>
void column_line(const Job& job, const Lum16s* const* rows, int channels, D* out) {
  scaled_row(job, channels, out, [rows, n = job.taps, taps = job.taps16](int x) {
    Lum32f sum = 0;
    for (int k = 0; k < n; ++k) sum += Lum32f(taps[k] * rows[k][x]);
    return sum;
  });
}
void column_line(const Job& job, const Lum32f* const* rows, int channels, Lum32f* out) {
  for (int x = 0; x < job.roi.width * channels; ++x) {
    Lum32f sum = job.taps32[0] * rows[0][x];
    for (int k = 1; k < job.taps; ++k) sum += job.taps32[k] * rows[k][x];
    out[x] = sum;
  }
}

template <class S, class M, int C>
void row_pass(const Job& job) {
  M* const* const out = job.dst_rows;
  for (int y = 0; y < job.roi.height; ++y) row_line(job, job.row<const S>(job.src, job.src_step, y), C, out[y]);
}

template <class S, class D, int C>
void column_pass(const Job& job) {
  const S* const* const rows = job.src_rows;
  for (int y = 0; y < job.roi.height; ++y) column_line(job, rows + y, C, job.row<D>(job.dst, job.dst_step, y));
}

// filter(source row, row of sums) for every row of the extended image; finish(one row of sums for each tap, y) whenever
// they are complete for the output row y.
template <class S, class Sums, class Filter, class Finish>
void two_passes(const Job& job, const Filter& filter, const Finish& finish) {
  static std::vector<Sums> ring;
  static std::vector<Sums*> rows;
  const int half = job.taps / 2, width = job.roi.width, height = job.roi.height;
  ring.resize(size_t(width) * job.taps);
  rows.resize(job.taps);
  for (int k = 0; k < job.taps; ++k) rows[k] = &ring[size_t(k) * width];
  for (int y = -half; y < height + half; ++y) {
    filter(job.row<const S>(job.src, job.src_step, std::clamp(y, 0, height - 1)), rows[0]);
    std::rotate(rows.begin(), rows.begin() + 1, rows.end());
    if (y >= half) finish(rows.data(), y - half);
  }
}

void gauss(const Job& job) {
  const auto weight = [&](int i) {
    const int distance = i - job.taps / 2;
    return std::exp(-Lum64f(distance * distance) / (2 * Lum64f(kSigma) * kSigma));
  };
  Lum64f sum = 0;
  for (int i = 0; i < job.taps; ++i) sum += weight(i);
  std::vector<Lum32f> taps(job.taps);
  for (int i = 0; i < job.taps; ++i) taps[i] = Lum32f(weight(i) / sum);
  Job pass = job;
  pass.taps32 = taps.data();
  two_passes<Lum32f, Lum32f>(
      pass, [&](const Lum32f* row, Lum32f* sums) { row_line(pass, row, 1, sums); },
      [&](Lum32f** rows, int y) { column_line(pass, rows, 1, job.row<Lum32f>(job.dst, job.dst_step, y)); });
}

// ---- fixed filters ----

// The kernels, of the elements e(0), e(1) and so on.
constexpr auto dx3 = [](auto e) { return e(2) - e(0); };
constexpr auto dx_neg3 = [](auto e) { return e(0) - e(2); };
constexpr auto d2x3 = [](auto e) { return e(0) - 2 * e(1) + e(2); };
constexpr auto sobel3 = [](auto e) { return e(0) + 2 * e(1) + e(2); };
constexpr auto sobel_neg3 = [](auto e) { return -sobel3(e); };
constexpr auto scharr3 = [](auto e) { return 3 * e(0) + 10 * e(1) + 3 * e(2); };
constexpr auto avr3 = [](auto e) { return e(0) + e(1) + e(2); };
constexpr auto dx5 = [](auto e) { return (e(4) - e(0)) + 2 * (e(3) - e(1)); };
constexpr auto dx_neg5 = [](auto e) { return (e(0) - e(4)) + 2 * (e(1) - e(3)); };
constexpr auto d2x5 = [](auto e) { return e(0) - 2 * e(2) + e(4); };
constexpr auto sobel5 = [](auto e) { return e(0) + 4 * e(1) + 6 * e(2) + 4 * e(3) + e(4); };
constexpr auto sobel_neg5 = [](auto e) { return -sobel5(e); };
constexpr auto avr5 = [](auto e) { return e(0) + e(1) + e(2) + e(3) + e(4); };
constexpr auto none = [](auto) { return 0; };

// The sum of one or two pairs of kernels.
template <auto Row, auto Column, auto Row2 = none, auto Column2 = none>
struct Mask {
  static constexpr auto row = Row, column = Column;
  static constexpr auto row2 = Row2, column2 = Column2;
  static constexpr int pairs = std::is_same_v<decltype(Row2), decltype(none)> ? 1 : 2;
};
template <class Mask3, class Mask5 = Mask3>
struct Filter {
  using Three = Mask3;
  using Five = Mask5;
};

// Under the names by which the list of members knows them.
using kSobelHoriz = Filter<Mask<sobel3, dx3>, Mask<sobel5, dx5>>;
using kSobelVert = Filter<Mask<dx_neg3, sobel3>, Mask<dx_neg5, sobel5>>;
using kSobelNegVert = Filter<Mask<dx_neg3, sobel_neg3>, Mask<dx_neg5, sobel_neg5>>;
using kSobelHorizSecond = Filter<Mask<sobel3, d2x3>, Mask<sobel5, d2x5>>;
using kSobelVertSecond = Filter<Mask<d2x3, sobel3>, Mask<d2x5, sobel5>>;
using kSobelCross = Filter<Mask<dx_neg3, dx3>, Mask<dx_neg5, dx5>>;
using kScharrHoriz = Filter<Mask<scharr3, dx3>>;
using kScharrVert = Filter<Mask<dx3, scharr3>>;
using kLaplacian = Filter<Mask<sobel3, d2x3, d2x3, sobel3>, Mask<sobel5, d2x5, d2x5, sobel5>>;
using kLowpass = Filter<Mask<avr3, avr3>, Mask<avr5, avr5>>;

template <int K>
int mean(int sum) {
  return std::min(255, K == 3 ? ((sum + 5) * 7280) >> 16 : (sum * 2621) >> 16);
}
template <int K>
Lum32f mean(Lum32f sum) {
  return sum * (1.0f / (K * K));
}

template <class S, class D, class Mask, int K, bool Mean>
void convolve(const Job& job) {
  using M = decltype(S() + S());
  using Sums = std::array<M, Mask::pairs>;
  const int width = job.roi.width;
  const auto filter = [&](const S* row, Sums* sums) {
    const S* const e = extended(row, width, 1, K / 2);
    for (int x = 0; x < width; ++x) {
      const auto at = [&](int k) { return M(e[x + k]); };
      sums[x][0] = Mask::row(at);
      if constexpr (Mask::pairs == 2) sums[x][1] = Mask::row2(at);
    }
  };
  const auto finish = [&](Sums* const* ring, int y) {
    const Sums* rows[K];
    std::copy(ring, ring + K, rows);  // where no store can reach them
    const auto sum = [&](int x) {
      const M first = Mask::column([&](int k) { return rows[k][x][0]; });
      if constexpr (Mask::pairs == 1)
        return first;
      else
        return first + Mask::column2([&](int k) { return rows[k][x][1]; });
    };
    D* const out = job.row<D>(job.dst, job.dst_step, y);
    if constexpr (std::is_same_v<D, Lum8s>) {
      scaled_row(job, 1, out, sum);
    } else {
      for (int x = 0; x < width; ++x) out[x] = D(Mean ? mean<K>(sum(x)) : sum(x));
    }
  };
  two_passes<S, Sums>(job, filter, finish);
}

template <class S, class D, class Filter>
void fixed(const Job& job) {
  constexpr bool kMean = std::is_same_v<Filter, kLowpass>;
  if (job.taps == 5)
    convolve<S, D, typename Filter::Five, 5, kMean>(job);
  else
    convolve<S, D, typename Filter::Three, 3, kMean>(job);
}

// ---- Canny ----

int magnitude(Lum16s dx, Lum16s dy) { return std::min(std::abs(dx) + std::abs(dy), 65535); }
Lum32f magnitude(Lum32f dx, Lum32f dy) { return std::abs(dx) + std::abs(dy); }
bool is_weak(int m) { return m > int(kLowThreshold); }
bool is_weak(Lum32f m) { return m >= kLowThreshold; }

template <class T, class M>
bool is_peak(T dx, T dy, const M* above, const M* here, const M* below) {
  const M m = *here;
  const Lum32f ax = std::abs(Lum32f(dx)), ay = std::abs(Lum32f(dy));
  if (ay < ax * 0.41421357f) return m > here[-1] && m >= here[1];
  if (ax * 2.4142137f < ay) return m > *above && m >= *below;
  const int side = (dx < 0) == (dy < 0) ? -1 : 1;
  return m > above[side] && m > below[-side];
}

// 1 on candidates, 255 on those that start an edge, which also go on the stack.
template <class T>
void mark_candidates(const Job& job, std::vector<LumPoint>& stack) {
  using M = decltype(magnitude(T(), T()));
  static std::vector<M> ring;
  const int width = job.roi.width, height = job.roi.height;
  ring.assign(3 * (size_t(width) + 2), 0);
  M *above = &ring[1], *here = above + width + 2, *below = here + width + 2;
  for (int y = -1; y < height; ++y) {
    const T* const next_dx = job.row<const T>(job.src, job.src_step, std::min(y + 1, height - 1));
    const T* const next_dy = job.row<const T>(job.src2, job.src_step, std::min(y + 1, height - 1));
    for (int x = 0; x < width; ++x) below[x] = y + 1 < height ? magnitude(next_dx[x], next_dy[x]) : 0;
    const T* const dx = job.row<const T>(job.src, job.src_step, y);
    const T* const dy = job.row<const T>(job.src2, job.src_step, y);
    Lum8u* const out = job.row<Lum8u>(job.dst, job.dst_step, y);
    for (int x = 0; y >= 0 && x < width; ++x) {
      out[x] = is_weak(here[x]) && is_peak(dx[x], dy[x], above + x, here + x, below + x);
      if (!out[x] || here[x] <= M(kHighThreshold)) continue;
      out[x] = 255;
      stack.push_back({x, y});
    }
    std::swap(above, here);
    std::swap(here, below);
  }
}

template <class T>
void canny(const Job& job) {
  static std::vector<LumPoint> stack;
  mark_candidates<T>(job, stack);
  const int width = job.roi.width, height = job.roi.height;
  while (!stack.empty()) {
    const LumPoint p = stack.back();
    stack.pop_back();
    for (int y = std::max(p.y - 1, 0); y <= std::min(p.y + 1, height - 1); ++y) {
      Lum8u* const row = job.row<Lum8u>(job.dst, job.dst_step, y);
      for (int x = std::max(p.x - 1, 0); x <= std::min(p.x + 1, width - 1); ++x) {
        if (row[x] != 1) continue;
        row[x] = 255;
        stack.push_back({x, y});
      }
    }
  }
  for (int y = 0; y < height; ++y) {
    Lum8u* const row = job.row<Lum8u>(job.dst, job.dst_step, y);
    for (int x = 0; x < width; ++x) row[x] = row[x] == 255 ? 255 : 0;
  }
}

// ---- norms ----

template <test::Measured Measured, test::Norm Norm, class S, int C>
void norm(const Job& job) {
  const int channel = C == 1 ? 0 : kChannel - 1;
  const auto plane = [&](Pointer p) {
    return [&, p](int x, int y) { return job.row<const S>(p, job.src_step, y)[x * C + channel]; };
  };
  const Lum8u* const mask = job.mask;
  Lum64f* const result = job.dst;
  *result = test::masked_norm<S>(Measured, Norm, job.roi, 1, plane(job.src), plane(job.src2), [&](int x, int y) {
              return mask[size_t(y) * job.roi.width + x] != 0;
            }).value;
}

// ---- means, deviations, extrema ----

// The element of the channel of interest at a pixel, and whether that counts.
template <class S, int C>
auto pixels(const Job& job) {
  return
      [&job](int x, int y) { return job.row<const S>(job.src, job.src_step, y)[x * C + (C == 1 ? 0 : kChannel - 1)]; };
}
template <bool Masked>
auto selection(const Job& job) {
  return [&job, mask = static_cast<const Lum8u*>(job.mask)](int x, int y) {
    return !Masked || mask[size_t(y) * job.roi.width + x] != 0;
  };
}

template <class S, int C, bool Masked, int Results>
void moments(const Job& job) {
  const bool whole = test::is_whole(job.roi, C, Masked);
  const test::Moments m = test::moments<S>(job.roi, 1, whole, pixels<S, C>(job), selection<Masked>(job));
  *job.result<Lum64f>(0) = m.mean;
  if (Results == 2) *job.result<Lum64f>(1) = m.deviation;
}

template <class S, int C, bool Masked>
void extremes(const Job& job) {
  const test::Extremes e = test::extremes(job.roi, pixels<S, C>(job), selection<Masked>(job));
  *job.result<Lum32f>(0) = e.least.value;
  *job.result<Lum32f>(1) = e.greatest.value;
  *job.result<LumPoint>(1) = e.least.at;
  *job.result<LumPoint>(2) = e.greatest.at;
}

struct Named {
  std::string_view function;
  Scalar loop;
};
// clang-format off
const Named kLoops[] = {
#define LUM_FIXED(name, size_name, S, D, filter) {#name, fixed<S, D, filter>},
#define LUM_FIXED_DIVIDED(name, size_name, filter) {#name, fixed<Lum8u, Lum8s, filter>},
#define LUM_SCHARR(name, size_name, S, D, filter) {#name, fixed<S, D, filter>},
#define LUM_SCHARR_DIVIDED(name, size_name, filter) {#name, fixed<Lum8u, Lum8s, filter>},
#include "lumcv/src/lumcvnewconvol.inc"
#define LUM_ROW_SIZE(...)
#define LUM_ROW_INTEGER(name, S, C) {#name, row_pass<S, Lum16s, C>},
#define LUM_ROW_FLOAT(name, C) {#name, row_pass<Lum32f, Lum32f, C>},
#define LUM_COLUMN_SIZE(...)
#define LUM_COLUMN_SIZE_FLOAT(...)
#define LUM_COLUMN_INTEGER(name, D, C) {#name, column_pass<Lum16s, D, C>},
#define LUM_COLUMN_FLOAT(name, C) {#name, column_pass<Lum32f, Lum32f, C>},
#include "lumcv/src/lumcvseparable.inc"
#define LUM_NORM(name, S, Measured, Norm, C) {#name, norm<test::Measured, test::Norm, S, C>},
#define LUM_NORM_C1(name, S, Norm, k) LUM_NORM(name, S, OneImage, Norm, 1)
#define LUM_NORM_C3C(name, S, Norm, k) LUM_NORM(name, S, OneImage, Norm, 3)
#define LUM_NORM_DIFF_C1(name, S, Norm, k) LUM_NORM(name, S, Difference, Norm, 1)
#define LUM_NORM_DIFF_C3C(name, S, Norm, k) LUM_NORM(name, S, Difference, Norm, 3)
#define LUM_NORM_REL_C1(name, S, Norm, k) LUM_NORM(name, S, Relative, Norm, 1)
#define LUM_NORM_REL_C3C(name, S, Norm, k) LUM_NORM(name, S, Relative, Norm, 3)
#include "lumcv/src/lumcvnorm.inc"
#define LUM_MEAN_C1(name, S, k) {#name, moments<S, 1, true, 1>},
#define LUM_MEAN_C3C(name, S, k) {#name, moments<S, 3, true, 1>},
#define LUM_DEVIATION_C1(name, S, k) {#name, moments<S, 1, false, 2>},
#define LUM_DEVIATION_C3C(name, S, k) {#name, moments<S, 3, false, 2>},
#define LUM_DEVIATION_MASKED_C1(name, S, k) {#name, moments<S, 1, true, 2>},
#define LUM_DEVIATION_MASKED_C3C(name, S, k) {#name, moments<S, 3, true, 2>},
#include "lumcv/src/lumcvmean.inc"
#define LUM_EXTREMA_C1(name, S) {#name, extremes<S, 1, false>},
#define LUM_EXTREMA_C3C(name, S) {#name, extremes<S, 3, false>},
#define LUM_EXTREMA_MASKED_C1(name, S) {#name, extremes<S, 1, true>},
#define LUM_EXTREMA_MASKED_C3C(name, S) {#name, extremes<S, 3, true>},
#include "lumcv/src/lumcvminmaxindx.inc"
    {"lumiFilterGaussBorder_32f_C1R", gauss},
    {"lumiCanny_16s8u_C1R", canny<Lum16s>},
    {"lumiCanny_32f8u_C1R", canny<Lum32f>},
};
// clang-format on

}  // namespace

Scalar scalar(std::string_view function) {
  for (const Named& named : kLoops)
    if (named.function == function) return named.loop;
  return nullptr;
}

}  // namespace bench
