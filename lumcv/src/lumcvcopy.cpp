// Copies of regions, of values, and into larger images: exported functions and argument checks. The pixel work is in
// lumcvcopy_kernels.cpp.
#include "lumcvcopy.h"

#include <stdint.h>

#include "lumcv_image.h"
#include "lumcvcopy_kernels.h"

namespace lum {
namespace {

// What is larger is not worth keeping in the cache.
constexpr int kCopiedInCache = 1048576, kSetInCache = 2097152;

// The whole region as one run where its rows follow each other without a gap in all images. Where address space has 32
// bits, a run has too: a region that is larger cannot exist.
Runs runs(long long row_bytes, int height, int in_cache, bool gapless) {
  const bool bypass = (Bytes(row_bytes) * height).count > in_cache;
  if (gapless) return {ptrdiff_t(row_bytes * height), 1, bypass};
  return {ptrdiff_t(row_bytes), height, bypass};
}

// Where the rows of an image lie.
struct Extent {
  long long begin, end;
  Extent(Image<const Lum8u> image, long long row_bytes, int height) {
    const long long first = (long long)(uintptr_t)image.data, last = first + (long long)image.step * (height - 1);
    begin = first < last ? first : last;
    end = (first < last ? last : first) + row_bytes;
  }
};

bool overlap(Image<const Lum8u> a, Image<const Lum8u> b, long long row_bytes, int height) {
  const Extent extent(a, row_bytes, height), other(b, row_bytes, height);
  if (extent.end <= other.begin || other.end <= extent.begin) return false;
  if (a.step != b.step || a.step < row_bytes) return true;
  // Rows of the one may stand between rows of the other, as where both are parts of a larger image.
  const long long distance = (extent.begin - other.begin) % a.step, apart = distance < 0 ? distance + a.step : distance;
  return apart < row_bytes || apart > a.step - row_bytes;
}

LumStatus copy(Image<const Lum8u> src, Image<Lum8u> dst, LumSize roi, int pixel_bytes) {
  const LumStatus status = first_error(pointers(src.data, dst.data), size(roi));
  if (status != lumStatusOk) return status;
  const long long row_bytes = (long long)roi.width * pixel_bytes;
  if (overlap(src, {dst.data, dst.step}, row_bytes, roi.height)) {
    for (int y = 0; y < roi.height; ++y) memmove(dst.row(y), src.row(y), size_t(row_bytes));
    return lumStatusOk;
  }
  const bool gapless = src.step == row_bytes && dst.step == row_bytes;
  LUM_PICK(level(), copy_runs)(src, dst, runs(row_bytes, roi.height, kCopiedInCache, gapless));
  return lumStatusOk;
}

LumStatus set(Lum8u value, Image<Lum8u> dst, LumSize roi) {
  const LumStatus status = first_error(pointers(dst.data), size(roi));
  if (status == lumStatusOk) set_region(value, dst, roi.width, roi.height);
  return status;
}

LumStatus check(const Bordered& job) {
  const bool inside = job.top >= 0 && job.left >= 0 && job.dst_roi.width >= (long long)job.src_roi.width + job.left &&
                      job.dst_roi.height >= (long long)job.src_roi.height + job.top;
  return first_error(pointers(job.src.data, job.dst.data),
                     fails_if(job.src.step < 1 || job.dst.step < 1, lumStatusBadStep), size(job.src_roi),
                     size(job.dst_roi), fails_if(!inside, lumStatusBadSize));
}

template <class T, int C>
LumStatus replicate(const Bordered& job) {
  const LumStatus status = check(job);
  if (status == lumStatusOk) LUM_PICK(level(), copy_replicate<T, C>)(job);
  return status;
}

// The larger image begins before the pixels that are in place.
template <class T, int C>
LumStatus replicate_in_place(Image<Lum8u> region, LumSize src_roi, LumSize dst_roi, int top, int left) {
  Bordered job = {{region.data, region.step}, src_roi, region, dst_roi, top, left};
  const LumStatus status = check(job);
  if (status != lumStatusOk) return status;
  job.dst.data = job.dst.row(-top) - (ptrdiff_t)left * C * ptrdiff_t(sizeof(T));
  LUM_PICK(level(), copy_replicate<T, C>)(job);
  return lumStatusOk;
}

LumStatus extend_const(const Bordered& job, Lum8u value) {
  const LumStatus status = check(job);
  if (status == lumStatusOk) LUM_PICK(level(), copy_const)(job, value);
  return status;
}

}  // namespace

void set_region(Lum8u value, Image<Lum8u> dst, long long row_bytes, int height) {
  LUM_PICK(level(), set_runs)(value, dst, runs(row_bytes, height, kSetInCache, dst.step == row_bytes));
}

}  // namespace lum

#define LUM_COPY(name, T, C)                                                                               \
  LumStatus name(const T* pSrc, int srcStep, T* pDst, int dstStep, LumSize roiSize) {                      \
    return lum::copy({(const Lum8u*)pSrc, srcStep}, {(Lum8u*)pDst, dstStep}, roiSize, C * int(sizeof(T))); \
  }
#define LUM_COPY_REPLICATE(name, T, C)                                                                     \
  LumStatus name(const T* pSrc, int srcStep, LumSize srcRoiSize, T* pDst, int dstStep, LumSize dstRoiSize, \
                 int topBorderHeight, int leftBorderWidth) {                                               \
    return lum::replicate<T, C>({{(const Lum8u*)pSrc, srcStep},                                            \
                                 srcRoiSize,                                                               \
                                 {(Lum8u*)pDst, dstStep},                                                  \
                                 dstRoiSize,                                                               \
                                 topBorderHeight,                                                          \
                                 leftBorderWidth});                                                        \
  }
#define LUM_COPY_REPLICATE_I(name, T, C)                                                                         \
  LumStatus name(T* pSrcDst, int srcDstStep, LumSize srcRoiSize, LumSize dstRoiSize, int topBorderHeight,        \
                 int leftBorderWidth) {                                                                          \
    return lum::replicate_in_place<T, C>({(Lum8u*)pSrcDst, srcDstStep}, srcRoiSize, dstRoiSize, topBorderHeight, \
                                         leftBorderWidth);                                                       \
  }
#define LUM_SET(name)                                                      \
  LumStatus name(Lum8u value, Lum8u* pDst, int dstStep, LumSize roiSize) { \
    return lum::set(value, {pDst, dstStep}, roiSize);                      \
  }
#define LUM_COPY_CONST(name)                                                                                       \
  LumStatus name(const Lum8u* pSrc, int srcStep, LumSize srcRoiSize, Lum8u* pDst, int dstStep, LumSize dstRoiSize, \
                 int topBorderHeight, int leftBorderWidth, Lum8u value) {                                          \
    return lum::extend_const(                                                                                      \
        {{pSrc, srcStep}, srcRoiSize, {pDst, dstStep}, dstRoiSize, topBorderHeight, leftBorderWidth}, value);      \
  }
#include "lumcvcopy.inc"
