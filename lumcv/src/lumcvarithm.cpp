// Differences and thresholds: exported functions and argument checks. The pixel work is in lumcvarithm_kernels.cpp.
#include "lumcv_image.h"
#include "lumcvarithm_kernels.h"
#include "lumcvcopy.h"

namespace lum {
namespace {

// ---- differences: no step is wrong ----

template <class T>
Planes<T> planes_of(Image<const T> src1, Image<const T> src2, Image<T> dst, LumSize roi, int channels) {
  // A row that is longer than address space cannot exist.
  return {src1, src2, dst, ptrdiff_t((long long)roi.width * channels), roi.height};
}

template <class T>
LumStatus check(const Planes<T>& planes, LumSize roi) {
  return first_error(pointers(planes.src1.data, planes.src2.data, planes.dst.data), size(roi));
}

LumStatus subtract(Image<const Lum32f> src1, Image<const Lum32f> src2, Image<Lum32f> dst, LumSize roi, int channels) {
  const auto planes = planes_of(src1, src2, dst, roi, channels);
  const LumStatus status = check(planes, roi);
  if (status == lumStatusOk) LUM_PICK(level(), subtract)(planes);
  return status;
}

LumStatus subtract(Image<const Lum8u> src1, Image<const Lum8u> src2, Image<Lum8u> dst, LumSize roi, int channels,
                   int scale) {
  const auto planes = planes_of(src1, src2, dst, roi, channels);
  const LumStatus status = check(planes, roi);
  if (status != lumStatusOk) return status;
  // A difference is less than half of 2^9; one that is not 0 exceeds the range when it is multiplied by 2^8.
  if (scale > 8)
    set_region(0, dst, (long long)roi.width * channels, roi.height);
  else
    LUM_PICK(level(), subtract_scaled)(planes, scale < -8 ? -8 : scale);
  return lumStatusOk;
}

// ---- thresholds ----

template <class T>
LumStatus check(Image<const T> src, Image<T> dst, LumSize roi) {
  return first_error(pointers(src.data, dst.data), size(roi), fails_if(src.step < 1 || dst.step < 1, lumStatusBadStep));
}

LumStatus comparison_code(LumComparison comparison) {
  return fails_if(comparison != lumCompareLess && comparison != lumCompareGreater, lumStatusUnsupportedMode);
}

LumStatus limit(Image<const Lum32f> src, Image<Lum32f> dst, LumSize roi, Lum32f threshold, LumComparison comparison) {
  const LumStatus status = first_error(check(src, dst, roi), comparison_code(comparison));
  if (status != lumStatusOk) return status;
  const auto planes = planes_of(src, src, dst, roi, 1);
  if (comparison == lumCompareLess)
    LUM_PICK(level(), limit_below)(planes, threshold);
  else
    LUM_PICK(level(), limit_above)(planes, threshold);
  return lumStatusOk;
}

LumStatus replace(Image<const Lum8u> src, Image<Lum8u> dst, LumSize roi, Lum8u threshold, Lum8u value,
                  LumComparison comparison) {
  const LumStatus status = first_error(comparison_code(comparison), check(src, dst, roi));
  if (status != lumStatusOk) return status;
  const auto planes = planes_of(src, src, dst, roi, 1);
  if (comparison == lumCompareLess)
    LUM_PICK(level(), replace_below)(planes, threshold, value);
  else
    LUM_PICK(level(), replace_above)(planes, threshold, value);
  return lumStatusOk;
}

}  // namespace
}  // namespace lum

#define LUM_SUB(name, T, C)                                                                                           \
  LumStatus name(const T* pSrc1, int src1Step, const T* pSrc2, int src2Step, T* pDst, int dstStep, LumSize roiSize) { \
    return lum::subtract({pSrc1, src1Step}, {pSrc2, src2Step}, {pDst, dstStep}, roiSize, C);                          \
  }
#define LUM_SUB_I(name, T, C)                                                                        \
  LumStatus name(const T* pSrc, int srcStep, T* pSrcDst, int srcDstStep, LumSize roiSize) {          \
    return lum::subtract({pSrc, srcStep}, {pSrcDst, srcDstStep}, {pSrcDst, srcDstStep}, roiSize, C); \
  }
#define LUM_SUB_SCALED(name, T, C)                                                                                  \
  LumStatus name(const T* pSrc1, int src1Step, const T* pSrc2, int src2Step, T* pDst, int dstStep, LumSize roiSize, \
                 int scaleFactor) {                                                                                 \
    return lum::subtract({pSrc1, src1Step}, {pSrc2, src2Step}, {pDst, dstStep}, roiSize, C, scaleFactor);           \
  }
#define LUM_SUB_SCALED_I(name, T, C)                                                                              \
  LumStatus name(const T* pSrc, int srcStep, T* pSrcDst, int srcDstStep, LumSize roiSize, int scaleFactor) {      \
    return lum::subtract({pSrc, srcStep}, {pSrcDst, srcDstStep}, {pSrcDst, srcDstStep}, roiSize, C, scaleFactor); \
  }
#define LUM_THRESHOLD(name, T)                                                                   \
  LumStatus name(const T* pSrc, int srcStep, T* pDst, int dstStep, LumSize roiSize, T threshold, \
                 LumComparison comparison) {                                                     \
    return lum::limit({pSrc, srcStep}, {pDst, dstStep}, roiSize, threshold, comparison);         \
  }
#define LUM_THRESHOLD_LT(name, T)                                                                  \
  LumStatus name(const T* pSrc, int srcStep, T* pDst, int dstStep, LumSize roiSize, T threshold) { \
    return lum::limit({pSrc, srcStep}, {pDst, dstStep}, roiSize, threshold, lumCompareLess);       \
  }
#define LUM_THRESHOLD_LT_I(name, T)                                                                      \
  LumStatus name(T* pSrcDst, int srcDstStep, LumSize roiSize, T threshold) {                             \
    return lum::limit({pSrcDst, srcDstStep}, {pSrcDst, srcDstStep}, roiSize, threshold, lumCompareLess); \
  }
#define LUM_THRESHOLD_VAL(name, T)                                                                        \
  LumStatus name(const T* pSrc, int srcStep, T* pDst, int dstStep, LumSize roiSize, T threshold, T value, \
                 LumComparison comparison) {                                                              \
    return lum::replace({pSrc, srcStep}, {pDst, dstStep}, roiSize, threshold, value, comparison);         \
  }
#define LUM_THRESHOLD_GTVAL(name, T)                                                                        \
  LumStatus name(const T* pSrc, int srcStep, T* pDst, int dstStep, LumSize roiSize, T threshold, T value) { \
    return lum::replace({pSrc, srcStep}, {pDst, dstStep}, roiSize, threshold, value, lumCompareGreater);    \
  }
#define LUM_THRESHOLD_GTVAL_I(name, T)                                                                               \
  LumStatus name(T* pSrcDst, int srcDstStep, LumSize roiSize, T threshold, T value) {                                \
    return lum::replace({pSrcDst, srcDstStep}, {pSrcDst, srcDstStep}, roiSize, threshold, value, lumCompareGreater); \
  }
#include "lumcvarithm.inc"
