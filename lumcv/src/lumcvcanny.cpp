// Canny edges: exported functions.
#include "core/check.h"
#include "lumcv/src/lumcvcanny_kernels.h"
#include "lumcv_features.h"

namespace lum {
namespace {

// Negated comparisons: a NaN must fail.
LumStatus thresholds(Lum32f low, Lum32f high) { return fails_if(!(low >= 0) || !(high >= low), lumStatusBadArgument); }

template <class T>
LumStatus canny(Image<const T> dx, Image<const T> dy, Image<Lum8u> edges, LumSize roi, Lum32f low, Lum32f high,
                Lum8u* buffer) {
  const LumStatus status =
      first_error(pointers(dx.data, dy.data, edges.data, buffer), size(roi), step_size(roi, dx.step, sizeof(T)),
                  step_size(roi, dy.step, sizeof(T)), step_size(roi, edges.step, 1), step_multiple(dx.step, sizeof(T)),
                  step_multiple(dy.step, sizeof(T)), thresholds(low, high));
  if (status == lumStatusOk) LUM_PICK(level(), canny<T>)(dx, dy, edges, roi, low, high, buffer);
  return status;
}

}  // namespace
}  // namespace lum

LumStatus lumiCannyGetSize(LumSize roiSize, int* pBufferSize) {
  const LumStatus status = lum::first_error(lum::pointers(pBufferSize), lum::size(roiSize));
  if (status != lumStatusOk) return status;
  const lum::Bytes width = roiSize.width, height = roiSize.height;
  const lum::Bytes slack = (4 * width + 24) * 4 + 64;
  // A map of one byte per pixel of the framed image and a stack pair of twice two or twice four bytes for each.
  const bool narrow_pairs = roiSize.width < 65533 && roiSize.height < 65533;
  const lum::Bytes maps = narrow_pairs ? (5 * height + 10) * (width + 2) : 9 * width * (height + 2) + 18 * (height + 2);
  return lum::store_size(maps + slack, pBufferSize);
}

LumStatus lumiCanny_16s8u_C1R(const Lum16s* pSrcDx, int srcDxStep, const Lum16s* pSrcDy, int srcDyStep,
                              Lum8u* pDstEdges, int dstEdgeStep, LumSize roiSize, Lum32f lowThresh, Lum32f highThresh,
                              Lum8u* pBuffer) {
  return lum::canny<Lum16s>({pSrcDx, srcDxStep}, {pSrcDy, srcDyStep}, {pDstEdges, dstEdgeStep}, roiSize, lowThresh,
                            highThresh, pBuffer);
}

LumStatus lumiCanny_32f8u_C1R(const Lum32f* pSrcDx, int srcDxStep, const Lum32f* pSrcDy, int srcDyStep,
                              Lum8u* pDstEdges, int dstEdgeStep, LumSize roiSize, Lum32f lowThresh, Lum32f highThresh,
                              Lum8u* pBuffer) {
  return lum::canny<Lum32f>({pSrcDx, srcDxStep}, {pSrcDy, srcDyStep}, {pDstEdges, dstEdgeStep}, roiSize, lowThresh,
                            highThresh, pBuffer);
}
