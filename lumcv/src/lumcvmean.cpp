// Means and deviations: exported functions and what becomes of the sums of bands. The pixel work is in
// lumcvmean_kernels.cpp.
#include <math.h>

#include <type_traits>

#include "lumcv_statistics.h"
#include "lumcvmean_kernels.h"

namespace lum {
namespace {

constexpr int kSerial = 0;  // in place of an exponent

struct Member {
  bool masked, squares;
  int exponent;
  int small;              // regions without a mask of fewer pixels are summed as a whole
  SumKernel sum, refine;  // refine: the squared distances from the mean, of 32f
};

LumStatus sum(const Member& m, const Pixels& pixels, int bands, SumKernel kernel, Lum32f mean, Sums& total) {
  const LumSize size = pixels.size;
  const long long count = (long long)size.width * size.height;
  const Summation how = {count < m.small, mean};
  const bool has_squares = m.squares && kernel == m.sum;
  BandResults values, squares, selected;
  if (!values.allocate(bands) || (has_squares && !squares.allocate(bands)) || (m.masked && !selected.allocate(bands)))
    return lumStatusNoMemory;
  for_each_slice(bands, [&](int band) {
    const Sums sums = kernel(pixels.rows(slice_rows(size.height, bands, band)), how);
    values[band] = sums.values;
    if (has_squares) squares[band] = sums.squares;
    if (m.masked) selected[band] = Lum64f(sums.pixels);
  });
  total = {};
  for (int band = 0; band < bands; ++band) {
    total.values += values[band];
    if (has_squares) total.squares += squares[band];
    if (m.masked) total.pixels += (long long)selected[band];
  }
  total.pixels = m.masked ? int(total.pixels) : count;
  return lumStatusOk;
}

// Either result may be null.
LumStatus mean_deviation(const Member& m, const Pixels& pixels, Lum64f* mean_to, Lum64f* deviation_to) {
  if (!mean_to && !deviation_to) return lumStatusOk;
  const int bands = m.exponent == kSerial ? 1 : bands_of(pixels.size, m.exponent);
  Sums sums;
  LumStatus status = sum(m, pixels, bands, m.sum, 0, sums);
  if (status != lumStatusOk) return status;
  Lum64f mean = 0, deviation = 0;
  if (const Lum64f n = Lum64f(sums.pixels); n != 0) {
    mean = sums.values / n;
    deviation = sqrt(fabs(sums.squares / n - mean * mean));
    // The difference of two large numbers: what is left of it is noise.
    if (deviation_to && m.refine && 0.05 * mean * mean > deviation * deviation) {
      status = sum(m, pixels, bands, m.refine, Lum32f(mean), sums);
      if (status != lumStatusOk) return status;
      deviation = sqrt(sums.values / n);
    }
  }
  if (mean_to) put(mean_to, mean);
  if (deviation_to) put(deviation_to, deviation);
  return lumStatusOk;
}

template <class What, class S, int Channels, bool Masked>
Member member(int exponent) {
  SumKernel refine = nullptr;
  if constexpr (std::is_same_v<S, Lum32f>) refine = LUM_PICK(level(), sums<SquaredDistances, S, Channels, Masked>);
  return {Masked,
          std::is_same_v<What, ValuesAndSquares>,
          exponent,
          Masked          ? 0
          : Channels == 1 ? 100000
                          : 5000,
          LUM_PICK(level(), sums<What, S, Channels, Masked>),
          refine};
}

}  // namespace
}  // namespace lum

using lum::kSerial;  // of the list

#define LUM_MEAN(S, Channels, exponent, coi)                                                                    \
  const lum::Pixels pixels = {roiSize, {pSrc, srcStep}, {}, {pMask, maskStep}, sizeof(S), Channels};            \
  const LumStatus status = lum::check_pixels(pixels, {false, true}, coi, pMean);                                \
  if (status != lumStatusOk) return status;                                                                     \
  return lum::mean_deviation(lum::member<lum::Values, S, Channels, true>(exponent), pixels.channel(coi), pMean, \
                             nullptr);
#define LUM_MEAN_C1(name, S, exponent)                                                                           \
  LumStatus name(const S* pSrc, int srcStep, const Lum8u* pMask, int maskStep, LumSize roiSize, Lum64f* pMean) { \
    LUM_MEAN(S, 1, exponent, 1)                                                                                  \
  }
#define LUM_MEAN_C3C(name, S, exponent)                                                                  \
  LumStatus name(const S* pSrc, int srcStep, const Lum8u* pMask, int maskStep, LumSize roiSize, int coi, \
                 Lum64f* pMean) {                                                                        \
    LUM_MEAN(S, 3, exponent, coi)                                                                        \
  }

#define LUM_DEVIATION(S, Channels, Masked, exponent, coi, ...)                                                       \
  const lum::Pixels pixels = {roiSize, {pSrc, srcStep}, {}, __VA_ARGS__, sizeof(S), Channels};                       \
  const LumStatus status = lum::check_pixels(pixels, {false, Masked}, coi);                                          \
  if (status != lumStatusOk) return status;                                                                          \
  return lum::mean_deviation(lum::member<lum::ValuesAndSquares, S, Channels, Masked>(exponent), pixels.channel(coi), \
                             pMean, pStdDev);
#define LUM_DEVIATION_C1(name, S, exponent)                                                     \
  LumStatus name(const S* pSrc, int srcStep, LumSize roiSize, Lum64f* pMean, Lum64f* pStdDev) { \
    LUM_DEVIATION(S, 1, false, exponent, 1, {})                                                 \
  }
#define LUM_DEVIATION_C3C(name, S, exponent)                                                             \
  LumStatus name(const S* pSrc, int srcStep, LumSize roiSize, int coi, Lum64f* pMean, Lum64f* pStdDev) { \
    LUM_DEVIATION(S, 3, false, exponent, coi, {})                                                        \
  }
#define LUM_DEVIATION_MASKED_C1(name, S, exponent)                                                             \
  LumStatus name(const S* pSrc, int srcStep, const Lum8u* pMask, int maskStep, LumSize roiSize, Lum64f* pMean, \
                 Lum64f* pStdDev) {                                                                            \
    LUM_DEVIATION(S, 1, true, exponent, 1, {pMask, maskStep})                                                  \
  }
#define LUM_DEVIATION_MASKED_C3C(name, S, exponent)                                                      \
  LumStatus name(const S* pSrc, int srcStep, const Lum8u* pMask, int maskStep, LumSize roiSize, int coi, \
                 Lum64f* pMean, Lum64f* pStdDev) {                                                       \
    LUM_DEVIATION(S, 3, true, exponent, coi, {pMask, maskStep})                                          \
  }
#include "lumcvmean.inc"
