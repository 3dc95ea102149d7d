// Masked norms: exported functions, bands and what becomes of their results. The pixel work is in
// lumcvnorm_kernels.cpp.
#include <math.h>

#include "lumcv_statistics.h"
#include "lumcvnorm_kernels.h"

namespace lum {
namespace {

constexpr int kSerial = 0;  // in place of an exponent

struct Member {
  NormKernel kernel;
  bool greatest, root, two_images, relative;
  int exponent;
};
template <class Measured, class Norm>
Member member(NormKernel kernel, int exponent) {
  return {kernel, Norm::greatest, Norm::root, Measured::two_images, Measured::relative, exponent};
}

Lum64f joined(bool greatest, BandResults& results, int bands) {
  Lum64f joined = 0;
  for (int band = 0; band < bands; ++band)
    if (!greatest)
      joined += results[band];
    else if (results[band] > joined)
      joined = results[band];
  return joined;
}

// The results of all bands, joined; without a denominator where none is asked for.
LumStatus measure(const Member& m, const Pixels& pixels, Lum64f& numerator, Lum64f& denominator) {
  const int bands = m.exponent == kSerial ? 1 : bands_of(pixels.size, m.exponent);
  BandResults numerators, denominators;
  if (!numerators.allocate(bands) || (m.relative && !denominators.allocate(bands))) return lumStatusNoMemory;
  for_each_slice(bands, [&](int band) {
    Lum64f results[2] = {0, 0};
    const Rows rows = slice_rows(pixels.size.height, bands, band);
    if (rows.begin < rows.end) m.kernel(pixels.rows(rows), results);
    numerators[band] = results[0];
    if (m.relative) denominators[band] = results[1];
  });
  numerator = joined(m.greatest, numerators, bands);
  if (m.relative) denominator = joined(m.greatest, denominators, bands);
  return lumStatusOk;
}

LumStatus norm(const Member& m, const Pixels& pixels, int coi, Lum64f* result) {
  LumStatus status = check_pixels(pixels, {m.two_images, true}, coi, result);
  if (status != lumStatusOk) return status;
  Lum64f numerator = 0, denominator = 1;
  status = measure(m, pixels.channel(coi), numerator, denominator);
  if (status != lumStatusOk) return status;
  if (denominator == 0) {
    put(result, numerator > 0 ? lumConstantOfINF_64f : numerator < 0 ? lumConstantOfINF_NEG_64f : lumConstantOfNAN_64f);
    return lumStatusWarnDivByZero;
  }
  const Lum64f quotient = m.relative ? numerator / denominator : numerator;
  put(result, m.root ? sqrt(quotient) : quotient);
  return lumStatusOk;
}

}  // namespace
}  // namespace lum

using lum::kSerial;  // of the list

#define LUM_MEASURE(Measured, Norm, S, Channels, exponent, coi, ...)                  \
  const lum::Member m = lum::member<lum::Measured, lum::Norm>(                        \
      LUM_PICK(lum::level(), norm<lum::Measured, lum::Norm, S, Channels>), exponent); \
  return lum::norm(m, {roiSize, __VA_ARGS__, {pMask, maskStep}, sizeof(S), Channels}, coi, pNorm);
#define LUM_IMAGES_C1(name, S, ...)                                                                            \
  LumStatus name(const S* pSrc1, int src1Step, const S* pSrc2, int src2Step, const Lum8u* pMask, int maskStep, \
                 LumSize roiSize, Lum64f* pNorm) {                                                             \
    LUM_MEASURE(__VA_ARGS__, 1, {pSrc1, src1Step}, {pSrc2, src2Step})                                          \
  }
#define LUM_IMAGES_C3C(name, S, ...)                                                                           \
  LumStatus name(const S* pSrc1, int src1Step, const S* pSrc2, int src2Step, const Lum8u* pMask, int maskStep, \
                 LumSize roiSize, int coi, Lum64f* pNorm) {                                                    \
    LUM_MEASURE(__VA_ARGS__, coi, {pSrc1, src1Step}, {pSrc2, src2Step})                                        \
  }

#define LUM_NORM_C1(name, S, Norm, exponent)                                                                     \
  LumStatus name(const S* pSrc, int srcStep, const Lum8u* pMask, int maskStep, LumSize roiSize, Lum64f* pNorm) { \
    LUM_MEASURE(OneImage, Norm, S, 1, exponent, 1, {pSrc, srcStep}, {})                                          \
  }
#define LUM_NORM_C3C(name, S, Norm, exponent)                                                            \
  LumStatus name(const S* pSrc, int srcStep, const Lum8u* pMask, int maskStep, LumSize roiSize, int coi, \
                 Lum64f* pNorm) {                                                                        \
    LUM_MEASURE(OneImage, Norm, S, 3, exponent, coi, {pSrc, srcStep}, {})                                \
  }
#define LUM_NORM_DIFF_C1(name, S, Norm, exponent) LUM_IMAGES_C1(name, S, Difference, Norm, S, 1, exponent)
#define LUM_NORM_DIFF_C3C(name, S, Norm, exponent) LUM_IMAGES_C3C(name, S, Difference, Norm, S, 3, exponent)
#define LUM_NORM_REL_C1(name, S, Norm, exponent) LUM_IMAGES_C1(name, S, Relative, Norm, S, 1, exponent)
#define LUM_NORM_REL_C3C(name, S, Norm, exponent) LUM_IMAGES_C3C(name, S, Relative, Norm, S, 3, exponent)
#include "lumcvnorm.inc"
