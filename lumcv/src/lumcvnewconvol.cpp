// Fixed filters with border: exported functions, argument checks, row splitting. The pixel work is in
// lumcvnewconvol_kernels.cpp, that of the Gaussian in the separable kernels.
#include <math.h>

#include "core/border.h"
#include "core/check.h"
#include "lumcv_filters.h"
#include "lumcvnewconvol_kernels.h"
#include "lumcvseparable.h"
#include "lumcvseparable_kernels.h"

namespace lum {
namespace {

using enum FixedFilter;

// ---- buffer sizes ----

// The ring of rows and its alignment, per thread.
template <class S, class D>
Bytes ring_size(FixedFilter filter, LumSize roi, int taps) {
  const Bytes c16 = ((long long)roi.width + 15) / 16, c4 = ((long long)roi.width + 3) / 4;
  const int rows = taps == 3 ? 21 : 25, slack = taps == 3 ? 156 : 180;
  if (filter != kLaplacian) return (sizeof(S) == 4 ? c4 * 16 : c16 * 32) * rows + slack + 64;
  const Bytes ring = c16 * (sizeof(S) == 4 ? 128 : 64) * rows + 2 * slack + 96;
  // 5x5 into 8s: a whole intermediate image.
  return sizeof(D) == 1 && taps == 5 ? ring + c16 * 32 * roi.height + 32 : ring;
}

template <class S, class D>
LumStatus fixed_size(FixedFilter filter, LumSize roi, int mask, int* out) {
  const LumStatus status = first_error(
      pointers(out), size(roi), fails_if(mask != lumMaskSize3x3 && mask != lumMaskSize5x5, lumStatusBadMaskSize));
  if (status != lumStatusOk) return status;
  const int taps = mask / 11;
  const Bytes row = row_buffer_size(sizeof(S) == 4 ? RowArea{64, 64} : RowArea{36, 112}, roi, taps);
  const Bytes column = sizeof(S) == 4 ? Bytes(kColumnBufferSizeFloat) : column_buffer_size({12, 4}, roi, taps);
  return store_size(Bytes(owncvGetMaxNumThreads()) * (ring_size<S, D>(filter, roi, taps) + row + column + 32), out);
}

// ---- the engine ----
//
// Nothing depends on the caller's buffer: it is sized for a thread count that may have changed since.

#define LUM_ENGINE(name, name_omp, S, D)                                                                        \
  void name(const Convolution<S, D>& job) { LUM_PICK(level(), convolve_band<S, D>)(job, {0, job.roi.height}); } \
  void name_omp(const Convolution<S, D>& job, int slices) {                                                     \
    const auto band = LUM_PICK(level(), convolve_band<S, D>);                                                   \
    for_each_slice(slices, [&](int slice) { band(job, slice_rows(job.roi.height, slices, slice)); });           \
  }                                                                                                             \
  void run_engine(const Convolution<S, D>& job, int slices) { slices == 1 ? name(job) : name_omp(job, slices); }
LUM_ENGINE(ownFilterConvolution_8u16s_C1R, ownFilterConvolution_8u16s_C1R_omp, Lum8u, Lum16s)
LUM_ENGINE(ownFilterConvolution_8u8s_C1R, ownFilterConvolution_8u8s_C1R_omp, Lum8u, Lum8s)
LUM_ENGINE(ownFilterConvolution_8u_C1R, ownFilterConvolution_8u_C1R_omp, Lum8u, Lum8u)
LUM_ENGINE(ownFilterConvolution_32f_C1R, ownFilterConvolution_32f_C1R_omp, Lum32f, Lum32f)
#undef LUM_ENGINE

// How many slices of rows a filter makes; 5x5 SobelHoriz also goes parallel where the processor has one core, on taller
// images.
int slices_for(LumSize roi, FixedFilter filter, int taps) {
  const int threads = owncvGetMaxNumThreads();
  if (threads == 1 || roi.width < 256) return 1;
  const bool tall = roi.height >= 128LL * threads && runsepomp(taps) != 0;
  return tall || (filter == kSobelHoriz && taps == 5 && roi.height >= 256LL * threads) ? threads : 1;
}

template <class S, class D>
LumStatus fixed_filter(FixedFilter filter, Image<const S> src, Image<D> dst, LumSize roi, int mask,
                       LumBorderType border, S border_value, int divisor, const Lum8u* buffer) {
  const LumStatus status =
      first_error(pointers(src.data, dst.data, buffer), size(roi), step_size(roi, src.step, sizeof(S)),
                  step_size(roi, dst.step, sizeof(D)), step_multiple(src.step, sizeof(S)),
                  step_multiple(dst.step, sizeof(D)), border_type(border), fails_if(divisor == 0, lumStatusBadArgument),
                  fails_if(mask != lumMaskSize3x3 && mask != lumMaskSize5x5, lumStatusBadMaskSize));
  if (status != lumStatusOk) return status;
  const int taps = mask / 11;
  run_engine({src, dst, roi, filter, taps, border, border_value, divisor, nullptr}, slices_for(roi, filter, taps));
  return lumStatusOk;
}

// ---- Gaussian ----

constexpr int kRingBytes = 128 << 10;  // what a ring of rows may take of the second-level cache

Bytes gauss_size(LumSize roi, int taps) {
  const Bytes columns = ((long long)roi.width + 3) / 4 * 4;
  return ((columns + taps) * (Bytes(roi.height) + taps) + taps) * 4 + 64;
}

LumStatus gauss_taps(int taps) { return fails_if(taps < 3 || taps % 2 == 0, lumStatusBadArgument); }

// The caller's buffer: the taps, then for each slice a ring of K rows of one strip of columns, the ring's row pointers
// twice over (so that any K in a row are in order), and the row pass's scratch. One slice always fits: the size counts
// a whole framed image.
struct GaussBuffer {
  Lum32f* taps;
  Lum8u* slices;
  int count, strip;
  long long slice_bytes;

  GaussBuffer(Lum8u* buffer, LumSize roi, int count_taps, int wanted_slices)
      : taps((Lum32f*)buffer), slices(buffer + 4LL * count_taps), count(wanted_slices) {
    const int columns = kRingBytes / 4 / count_taps;
    strip = columns > 256 ? columns : 256;
    if (strip > roi.width) strip = roi.width;
    slice_bytes = 4LL * count_taps * strip + 2LL * count_taps * (int)sizeof(void*) + row_scratch<Lum32f, 1>(count_taps);
    const long long room =
        (((long long)roi.width + count_taps) * ((long long)roi.height + count_taps)) * 4 / slice_bytes;
    if (count > room) count = room > 1 ? int(room) : 1;
  }
  Lum32f* ring(int slice) const { return (Lum32f*)(slices + slice * slice_bytes); }
};

// Writes the K normalised taps; `work` has room for K doubles.
void make_gauss_taps(Lum32f sigma, int n, Lum64f* work, Lum32f* taps) {
  const Lum64f denominator = 2 * (Lum64f)sigma * sigma;
  const int half = n / 2;
  for (int i = 0; i <= half; ++i) {
    const Lum64f distance = i - half, tap = exp(-(distance * distance) / denominator);
    put(work + i, tap);
    put(work + n - 1 - i, tap);
  }
  Lum64f sum = 0;
  for (int i = 0; i < n; ++i) sum += get(work + i);
  for (int i = 0; i <= half; ++i) {
    const Lum32f tap = Lum32f(get(work + i) / sum);
    put(taps + i, tap);
    put(taps + n - 1 - i, tap);
  }
}

struct GaussFilter {
  Image<const Lum32f> src;
  Image<Lum32f> dst;
  LumSize roi;
  const Lum32f* taps;
  int count;
  LumBorderType border;
  Lum32f border_value;
  Level level;
};

// The columns [begin, end) of one source row, filtered into a row of the ring. A row outside the image is made of border
// values, and is filtered like any other.
void ownRowConvolution(const GaussFilter& job, long long y, Rows columns, Lum32f* out, Lum8u* scratch) {
  const int source = border_index(y, job.roi.height, job.border);
  if (source < 0) {
    Lum32f sum = get(job.taps) * job.border_value;
    for (int k = 1; k < job.count; ++k) sum += get(job.taps + k) * job.border_value;
    for (int x = 0; x < columns.end - columns.begin; ++x) put(out + x, sum);
    return;
  }
  const RowPass<Lum32f> pass = {{job.src.row(source), 0},
                                &out,
                                {job.roi.width, 1},
                                job.taps,
                                job.count,
                                job.count / 2,
                                job.border,
                                job.border_value,
                                {},
                                columns,
                                false};
  LUM_PICK(job.level, row_band<Lum32f, 1>)(pass, {0, 1}, scratch);
}

// K rows of the ring, filtered into the columns [begin, end) of one destination row.
void ownColConvolution(const GaussFilter& job, const Lum32f* const* window, int y, Rows columns) {
  const ColumnPass<Lum32f, Lum32f> pass = {
      window, {job.dst.row(y) + columns.begin, 0}, columns.end - columns.begin, 1, job.taps, job.count, {}, false};
  LUM_PICK(job.level, column_band<Lum32f, Lum32f>)(pass, {0, 1});
}

void gauss_rows(const GaussFilter& job, Rows rows, Lum32f* ring, int strip) {
  const int taps = job.count, half = taps / 2;
  Lum32f** const pointers = (Lum32f**)(ring + (ptrdiff_t)taps * strip);
  Lum8u* const scratch = (Lum8u*)(pointers + 2LL * taps);
  for (int i = 0; i < 2 * taps; ++i) put(pointers + i, ring + (ptrdiff_t)(i % taps) * strip);
  Rows columns = {0, 0};
  for (; columns.begin < job.roi.width; columns.begin = columns.end) {
    columns.end = job.roi.width - columns.begin > strip ? columns.begin + strip : job.roi.width;
    int slot = 0;
    for (long long y = (long long)rows.begin - half; y < (long long)rows.end + half; ++y) {
      ownRowConvolution(job, y, columns, get(pointers + slot), scratch);
      slot = slot + 1 == taps ? 0 : slot + 1;
      if (y >= (long long)rows.begin + half) ownColConvolution(job, pointers + slot, int(y - half), columns);
    }
  }
}

LumStatus gauss_filter(GaussFilter&& job, Lum32f sigma, Lum8u* buffer) {
  const LumStatus status =
      first_error(pointers(job.src.data, job.dst.data, buffer), size(job.roi), step_size(job.roi, job.src.step, 1),
                  step_size(job.roi, job.dst.step, 1), gauss_taps(job.count),
                  fails_if(!(sigma > 0), lumStatusBadArgument), border_type(job.border));
  if (status != lumStatusOk) return status;
  const int slices = slices_for(job.roi, kGauss, 5);
  if (job.count <= kMostGaussTaps) {
    Lum64f work[kMostGaussTaps];
    Lum32f taps[kMostGaussTaps];
    make_gauss_taps(sigma, job.count, work, taps);
    run_engine({job.src, job.dst, job.roi, kGauss, job.count, job.border, job.border_value, 1, taps}, slices);
    return lumStatusOk;
  }
  const GaussBuffer areas(buffer, job.roi, job.count, slices);
  make_gauss_taps(sigma, job.count, (Lum64f*)areas.slices, areas.taps);
  job.taps = areas.taps;
  job.level = level();
  for_each_slice(areas.count, [&](int slice) {
    gauss_rows(job, slice_rows(job.roi.height, areas.count, slice), areas.ring(slice), areas.strip);
  });
  return lumStatusOk;
}

}  // namespace
}  // namespace lum

LumStatus lumiFilterGaussGetBufferSize_32f_C1R(LumSize roiSize, int kernelSize, int* pBufferSize) {
  const LumStatus status =
      lum::first_error(lum::pointers(pBufferSize), lum::size(roiSize), lum::gauss_taps(kernelSize));
  return status == lumStatusOk ? lum::store_size(lum::gauss_size(roiSize, kernelSize), pBufferSize) : status;
}

LumStatus lumiFilterGaussBorder_32f_C1R(const Lum32f* pSrc, int srcStep, Lum32f* pDst, int dstStep, LumSize roiSize,
                                        int kernelSize, Lum32f sigma, LumBorderType borderType, Lum32f borderValue,
                                        Lum8u* pBuffer) {
  return lum::gauss_filter(
      {{pSrc, srcStep}, {pDst, dstStep}, roiSize, nullptr, kernelSize, borderType, borderValue, lum::Level::sse3},
      sigma, pBuffer);
}

#define LUM_FIXED(name, size_name, S, D, filter)                                                                 \
  LumStatus size_name(LumSize roiSize, LumMaskSize maskSize, int* pBufferSize) {                                 \
    return lum::fixed_size<S, D>(lum::filter, roiSize, maskSize, pBufferSize);                                   \
  }                                                                                                              \
  LumStatus name(const S* pSrc, int srcStep, D* pDst, int dstStep, LumSize roiSize, LumMaskSize maskSize,        \
                 LumBorderType borderType, S borderValue, Lum8u* pBuffer) {                                      \
    return lum::fixed_filter<S, D>(lum::filter, {pSrc, srcStep}, {pDst, dstStep}, roiSize, maskSize, borderType, \
                                   borderValue, 1, pBuffer);                                                     \
  }
#define LUM_FIXED_DIVIDED(name, size_name, filter)                                                                \
  LumStatus size_name(LumSize roiSize, LumMaskSize maskSize, int* pBufferSize) {                                  \
    return lum::fixed_size<Lum8u, Lum8s>(lum::filter, roiSize, maskSize, pBufferSize);                            \
  }                                                                                                               \
  LumStatus name(const Lum8u* pSrc, int srcStep, Lum8s* pDst, int dstStep, LumSize roiSize, LumMaskSize maskSize, \
                 LumBorderType borderType, Lum8u borderValue, int divisor, Lum8u* pBuffer) {                      \
    return lum::fixed_filter<Lum8u, Lum8s>(lum::filter, {pSrc, srcStep}, {pDst, dstStep}, roiSize, maskSize,      \
                                           borderType, borderValue, divisor, pBuffer);                            \
  }
#define LUM_SCHARR(name, size_name, S, D, filter)                                                                      \
  LumStatus size_name(LumSize roiSize, int* pBufferSize) {                                                             \
    return lum::fixed_size<S, D>(lum::filter, roiSize, lumMaskSize3x3, pBufferSize);                                   \
  }                                                                                                                    \
  LumStatus name(const S* pSrc, int srcStep, D* pDst, int dstStep, LumSize roiSize, LumBorderType borderType,          \
                 S borderValue, Lum8u* pBuffer) {                                                                      \
    return lum::fixed_filter<S, D>(lum::filter, {pSrc, srcStep}, {pDst, dstStep}, roiSize, lumMaskSize3x3, borderType, \
                                   borderValue, 1, pBuffer);                                                           \
  }
#define LUM_SCHARR_DIVIDED(name, size_name, filter)                                                                   \
  LumStatus size_name(LumSize roiSize, int* pBufferSize) {                                                            \
    return lum::fixed_size<Lum8u, Lum8s>(lum::filter, roiSize, lumMaskSize3x3, pBufferSize);                          \
  }                                                                                                                   \
  LumStatus name(const Lum8u* pSrc, int srcStep, Lum8s* pDst, int dstStep, LumSize roiSize, LumBorderType borderType, \
                 Lum8u borderValue, int divisor, Lum8u* pBuffer) {                                                    \
    return lum::fixed_filter<Lum8u, Lum8s>(lum::filter, {pSrc, srcStep}, {pDst, dstStep}, roiSize, lumMaskSize3x3,    \
                                           borderType, borderValue, divisor, pBuffer);                                \
  }
#include "lumcvnewconvol.inc"
