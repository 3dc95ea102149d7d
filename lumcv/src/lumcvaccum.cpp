// Accumulators and absolute differences: exported functions and argument checks. The pixel work is in
// lumcvaccum_kernels.cpp.
#include "core/check.h"
#include "lumcv_accumulate.h"
#include "lumcvaccum_kernels.h"

namespace lum {
namespace {

// Images of one element size: all lengths before all multiples, a mask's length among them.
template <class... T>
LumStatus steps_sizes_first(LumSize roi, const Image<T>&... image) {
  return first_error(step_size(roi, image.step, sizeof(T))..., step_multiple(image.step, sizeof(T))...);
}
// Images of several element sizes: one after the other.
template <class... T>
LumStatus steps_image_by_image(LumSize roi, const Image<T>&... image) {
  return first_error(first_error(step_size(roi, image.step, sizeof(T)), step_multiple(image.step, sizeof(T)))...);
}

// `images` are those of the function, in the order of its arguments.
template <class Op, bool Masked, class S, class... T>
LumStatus accumulate(const Accumulation<S>& job, const Image<T>&... images) {
  const LumStatus status = first_error(
      pointers(images.data...), size(job.roi),
      sizeof(S) == sizeof(Lum32f) ? steps_sizes_first(job.roi, images...) : steps_image_by_image(job.roi, images...));
  if (status == lumStatusOk) LUM_PICK(level(), accumulate<Op, Masked, S>)(job);
  return status;
}

template <class S>
LumStatus abs_diff(Image<const S> src1, Image<const S> src2, Image<S> dst, LumSize roi) {
  const LumStatus status =
      first_error(pointers(src1.data, src2.data, dst.data), size(roi), steps_sizes_first(roi, src1, src2, dst));
  if (status == lumStatusOk) LUM_PICK(level(), abs_diff<S>)(src1, src2, dst, roi);
  return status;
}

template <class S>
S clamped(int value) {
  const int top = S(-1);
  return S(value < 0 ? 0 : value > top ? top : value);
}
template <class S>
Lum32f clamped(Lum32f value) {
  return value;
}

template <class S>
LumStatus abs_diff_constant(Image<const S> src, S value, Image<S> dst, LumSize roi) {
  const LumStatus status = first_error(pointers(src.data, dst.data), size(roi), steps_sizes_first(roi, src, dst));
  if (status == lumStatusOk) LUM_PICK(level(), abs_diff_constant<S>)(src, value, dst, roi);
  return status;
}

}  // namespace
}  // namespace lum

#define LUM_ACCUM(name, S, Op)                                                                     \
  LumStatus name(const S* pSrc, int srcStep, Lum32f* pSrcDst, int srcDstStep, LumSize roiSize) {   \
    const lum::Accumulation<S> job = {{pSrc, srcStep}, {}, {}, {pSrcDst, srcDstStep}, roiSize, 0}; \
    return lum::accumulate<lum::Op, false>(job, job.src, job.acc);                                 \
  }
#define LUM_ACCUM_MASKED(name, S, Op)                                                                             \
  LumStatus name(const S* pSrc, int srcStep, const Lum8u* pMask, int maskStep, Lum32f* pSrcDst, int srcDstStep,   \
                 LumSize roiSize) {                                                                               \
    const lum::Accumulation<S> job = {{pSrc, srcStep}, {}, {pMask, maskStep}, {pSrcDst, srcDstStep}, roiSize, 0}; \
    return lum::accumulate<lum::Op, true>(job, job.src, job.mask, job.acc);                                       \
  }
#define LUM_ACCUM_PRODUCT(name, S)                                                                                  \
  LumStatus name(const S* pSrc1, int src1Step, const S* pSrc2, int src2Step, Lum32f* pSrcDst, int srcDstStep,       \
                 LumSize roiSize) {                                                                                 \
    const lum::Accumulation<S> job = {{pSrc1, src1Step}, {pSrc2, src2Step}, {}, {pSrcDst, srcDstStep}, roiSize, 0}; \
    return lum::accumulate<lum::AddProduct, false>(job, job.src, job.src2, job.acc);                                \
  }
#define LUM_ACCUM_PRODUCT_MASKED(name, S)                                                                      \
  LumStatus name(const S* pSrc1, int src1Step, const S* pSrc2, int src2Step, const Lum8u* pMask, int maskStep, \
                 Lum32f* pSrcDst, int srcDstStep, LumSize roiSize) {                                           \
    const lum::Accumulation<S> job = {{pSrc1, src1Step},     {pSrc2, src2Step}, {pMask, maskStep},             \
                                      {pSrcDst, srcDstStep}, roiSize,           0};                            \
    return lum::accumulate<lum::AddProduct, true>(job, job.src, job.src2, job.mask, job.acc);                  \
  }
#define LUM_ACCUM_WEIGHTED(name, S)                                                                            \
  LumStatus name(const S* pSrc, int srcStep, Lum32f* pSrcDst, int srcDstStep, LumSize roiSize, Lum32f alpha) { \
    const lum::Accumulation<S> job = {{pSrc, srcStep}, {}, {}, {pSrcDst, srcDstStep}, roiSize, alpha};         \
    return lum::accumulate<lum::AddWeighted, false>(job, job.src, job.acc);                                    \
  }
#define LUM_ACCUM_WEIGHTED_MASKED(name, S)                                                                            \
  LumStatus name(const S* pSrc, int srcStep, const Lum8u* pMask, int maskStep, Lum32f* pSrcDst, int srcDstStep,       \
                 LumSize roiSize, Lum32f alpha) {                                                                     \
    const lum::Accumulation<S> job = {{pSrc, srcStep}, {}, {pMask, maskStep}, {pSrcDst, srcDstStep}, roiSize, alpha}; \
    return lum::accumulate<lum::AddWeighted, true>(job, job.src, job.mask, job.acc);                                  \
  }
#define LUM_ABS_DIFF(name, S)                                                                                         \
  LumStatus name(const S* pSrc1, int src1Step, const S* pSrc2, int src2Step, S* pDst, int dstStep, LumSize roiSize) { \
    return lum::abs_diff<S>({pSrc1, src1Step}, {pSrc2, src2Step}, {pDst, dstStep}, roiSize);                          \
  }
#define LUM_ABS_DIFF_C(name, S, V)                                                                       \
  LumStatus name(const S* pSrc, int srcStep, S* pDst, int dstStep, LumSize roiSize, V value) {           \
    return lum::abs_diff_constant<S>({pSrc, srcStep}, lum::clamped<S>(value), {pDst, dstStep}, roiSize); \
  }
#include "lumcvaccum.inc"
