// Extrema with their positions: exported functions, argument checks, bands. The pixel work is in
// lumcvminmaxindx_kernels.cpp.
#include "core/check.h"
#include "core/parallel.h"
#include "lumcv_statistics.h"
#include "lumcvminmaxindx_kernels.h"

namespace lum {
namespace {

constexpr int kMostBands = 256;  // bands do not change the result
constexpr int kParallelPixels = 16384;

// Strictly, and a number always before a NaN.
bool precedes(Lum32f a, Lum32f b) { return a < b || (a == a && b != b); }

// Bands come from top to bottom, so that of equal values the first one stays.
void merge(Extremes& all, const Extremes& band, int first_row) {
  if (!band.seen) return;
  if (!all.seen || precedes(band.min, all.min)) all.min = band.min, all.min_row = first_row + band.min_row;
  if (!all.seen || precedes(-band.max, -all.max)) all.max = band.max, all.max_row = first_row + band.max_row;
  all.seen = true;
}

struct Kernels {
  Extremes (*extremes)(const Pixels&);
  int (*first_of_row)(const Pixels&, int, Lum32f);
};

Extremes in_bands(const Pixels& all, const Kernels& kernels) {
  const LumSize size = all.size;
  int bands = 1;
  if ((long long)size.width * size.height >= kParallelPixels && runomp()) {
    const int threads = owncvGetNumThreads();
    bands = threads < kMostBands ? threads : kMostBands;
  }
  Extremes part[kMostBands];
  for_each_slice(bands, [&](int i) { part[i] = kernels.extremes(all.rows(slice_rows(size.height, bands, i))); });
  Extremes merged = {};
  for (int i = 0; i < bands; ++i) merge(merged, part[i], slice_rows(size.height, bands, i).begin);
  return merged;
}

struct Found {
  Lum32f* value;
  LumPoint* at;
};

// The value of the pixel counts: 0 and -0 are equal.
template <class S>
void find(const Pixels& p, const Kernels& kernels, int y, Lum32f value, Found found) {
  const int x = kernels.first_of_row(p, y, value);
  put(found.value, Lum32f(get((const S*)p.src.row(y) + (ptrdiff_t)x * p.channels)));
  put(found.at, {x, y});
}

template <class S>
void min_max_index(const Pixels& p, const Kernels& kernels, Found min, Found max) {
  const Extremes e = in_bands(p, kernels);
  if (e.seen) {
    find<S>(p, kernels, e.min_row, e.min, min);
    return find<S>(p, kernels, e.max_row, e.max, max);
  }
  put(min.value, 0.0f);
  put(max.value, 0.0f);
  put(min.at, {0, 0});
  put(max.at, {0, 0});
}

template <class S, int Channels, bool Masked>
LumStatus min_max_index(Image<const S> src, Image<const Lum8u> mask, LumSize roi, int coi, Found min, Found max) {
  const Pixels p = {roi, {src.data, src.step}, {}, mask, sizeof(S), Channels};
  const LumStatus status = check_pixels(p, {false, Masked}, coi);
  if (status != lumStatusOk) return status;
  const Kernels kernels = {LUM_PICK(level(), extremes<S, Channels, Masked>),
                           LUM_PICK(level(), first_of_row<S, Channels, Masked>)};
  min_max_index<S>(p.channel(coi), kernels, min, max);
  return lumStatusOk;
}

}  // namespace
}  // namespace lum

#define LUM_RESULTS Lum32f *pMinVal, Lum32f *pMaxVal, LumPoint *pMinIndex, LumPoint *pMaxIndex
#define LUM_FOUND \
  {pMinVal, pMinIndex}, { pMaxVal, pMaxIndex }
#define LUM_EXTREMA_C1(name, S)                                                         \
  LumStatus name(const S* pSrc, int srcStep, LumSize roiSize, LUM_RESULTS) {            \
    return lum::min_max_index<S, 1, false>({pSrc, srcStep}, {}, roiSize, 1, LUM_FOUND); \
  }
#define LUM_EXTREMA_C3C(name, S)                                                          \
  LumStatus name(const S* pSrc, int srcStep, LumSize roiSize, int coi, LUM_RESULTS) {     \
    return lum::min_max_index<S, 3, false>({pSrc, srcStep}, {}, roiSize, coi, LUM_FOUND); \
  }
#define LUM_EXTREMA_MASKED_C1(name, S)                                                                         \
  LumStatus name(const S* pSrc, int srcStep, const Lum8u* pMask, int maskStep, LumSize roiSize, LUM_RESULTS) { \
    return lum::min_max_index<S, 1, true>({pSrc, srcStep}, {pMask, maskStep}, roiSize, 1, LUM_FOUND);          \
  }
#define LUM_EXTREMA_MASKED_C3C(name, S)                                                                  \
  LumStatus name(const S* pSrc, int srcStep, const Lum8u* pMask, int maskStep, LumSize roiSize, int coi, \
                 LUM_RESULTS) {                                                                          \
    return lum::min_max_index<S, 3, true>({pSrc, srcStep}, {pMask, maskStep}, roiSize, coi, LUM_FOUND);  \
  }
#include "lumcvminmaxindx.inc"
