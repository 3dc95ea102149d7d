// Separable filter pipeline: exported functions and argument checks. The pixel work is in lumcvseparable_kernels.cpp.
#include "lumcvseparable.h"

#include "lumcv_filters.h"
#include "lumcvseparable_kernels.h"

namespace lum {

Bytes row_buffer_size(RowArea area, LumSize roi, int taps) {
  const Bytes threads = owncvGetMaxNumThreads();
  return threads * 32 + threads * 4 * (Bytes(roi.height) + taps) + threads * (Bytes(area.tap) * taps + area.constant);
}

Bytes column_buffer_size(ColumnArea area, LumSize roi, int taps) {
  const Bytes threads = owncvGetMaxNumThreads();
  const Bytes columns = ((long long)roi.width + area.multiple - 1) / area.multiple * area.multiple;
  return threads * 32 + threads * 4 * (Bytes(roi.height) + taps) + threads * (columns * area.column + 32);
}

namespace {

constexpr long long kPixelsPerThread = 32768;

LumStatus buffer_arguments(LumSize roi, int taps, const int* out) {
  return first_error(pointers(out), size(roi), fails_if(taps < 1, lumStatusBadSize));
}

LumStatus row_size(RowArea area, LumSize roi, int taps, int* out) {
  const LumStatus status = buffer_arguments(roi, taps, out);
  return status == lumStatusOk ? store_size(row_buffer_size(area, roi, taps), out) : status;
}

LumStatus column_size(ColumnArea area, LumSize roi, int taps, int* out) {
  const LumStatus status = buffer_arguments(roi, taps, out);
  return status == lumStatusOk ? store_size(column_buffer_size(area, roi, taps), out) : status;
}

LumStatus column_size_float(LumSize roi, int taps, int* out) {
  const LumStatus status = buffer_arguments(roi, taps, out);
  return status == lumStatusOk ? store_size(kColumnBufferSizeFloat, out) : status;
}

Scale scale_by(int divisor) { return {divisor ? 1.0f / Lum32f(divisor) : 0, divisor == 1}; }

// Room for taps that are not the caller's.
constexpr int kMostReduced = 31;
using ReducedTaps = Lum16s[kMostReduced];

// Takes the powers of two out that the taps and the divisor have in common. As long as sums do not wrap, all that is
// computed from them changes by a power of two, rounding errors included, so that results stay the same; the smaller the
// sums, the more of the short ways are open to them.
void reduce(const Lum16s*& kernel, int taps, int& divisor, ReducedTaps& room) {
  if (divisor % 2 != 0 || taps > kMostReduced) return;
  unsigned bits = unsigned(divisor) | 1U << 15;  // where all taps are 0
  for (int k = 0; k < taps; ++k) bits |= unsigned(int(get(kernel + k)));
  const int common = __builtin_ctz(bits);
  if (common == 0) return;
  for (int k = 0; k < taps; ++k) room[k] = Lum16s(get(kernel + k) >> common);
  kernel = room;
  divisor >>= common;
}

// Sums of 16 bits, up to `most` in magnitude, have shorter ways to some quotients.
void choose_division(Scale& scale, int divisor, long long most) {
  if (divisor > 1 && divisor <= 1 << kMostShift && (divisor & (divisor - 1)) == 0) {
    scale.shift = __builtin_ctz(unsigned(divisor));
  } else if (divisor > 1 && divisor < 1 << 15 && divisor % 2 == 1 && most <= kMostOddSum) {
    // The greatest factor of 15 bits: 2^(15 + shift) / divisor is above kMostOddSum, and the sum times what rounding
    // the factor takes or adds, a half at most, stays below half of one divisor-th of 2^(15 + shift).
    scale.odd_shift = 31 - __builtin_clz(unsigned(divisor));
    scale.odd_factor = Lum16s(((2LL << (15 + scale.odd_shift)) / divisor + 1) / 2);
    const int factor = ((1 << 16) / divisor + 1) / 2, error = factor * divisor - (1 << 15);
    if (most * (error < 0 ? -error : error) < 1 << 14) scale.near_factor = Lum16s(factor);
  }
}

// The greatest sum of 16 bits for which choose_division() finds what there is to find, if its quotient has 16 bits, too.
int most_narrow_sum(int divisor) { return divisor > 1 && divisor % 2 == 1 ? kMostOddSum : kMostSum; }

// The greatest elements whose sums stay below that, or 0 where they would have to be smaller than bytes are, or where rows
// are so short that looking takes longer; `sum` is the magnitude of all taps.
int narrow_elements(long long sum, int taps, int divisor, int width) {
  constexpr int kLeastWidth = 16;
  const int most = most_narrow_sum(divisor);
  if (width < kLeastWidth || taps > kMostNarrowTaps || sum == 0 || sum > most / 255) return 0;
  return most / sum < kMostNarrow ? int(most / sum) : kMostNarrow;
}

int slices_for(LumSize roi, bool worthwhile) {
  const int threads = owncvGetMaxNumThreads();
  if (threads == 1 || !worthwhile || (long long)roi.width * roi.height < threads * kPixelsPerThread) return 1;
  return threads < roi.height ? threads : roi.height;
}

// The tap counts for which a row pass goes parallel.
bool worthwhile_row_pass(const Lum8u*, int) { return true; }
bool worthwhile_row_pass(const Lum16s*, int taps) { return taps >= 4; }
bool worthwhile_row_pass(const Lum32f*, int taps) { return runsepomp(taps) != 0; }

// The magnitudes of integer taps added up.
long long magnitude(const Lum16s* kernel, int taps) {
  long long sum = 0;
  for (int k = 0; k < taps; ++k) {
    const int tap = get(kernel + k);
    sum += tap < 0 ? -tap : tap;
  }
  return sum;
}
void choose_arithmetic(RowPass<Lum32f>&, int, ReducedTaps&) {}
template <class S>
void choose_arithmetic(RowPass<S>& pass, int divisor, ReducedTaps& room) {
  long long sum = magnitude(pass.kernel, pass.taps);
  const bool great = sum * (sizeof(S) == 1 ? 255 : 32768) > 0x7FFFFF00;
  if (!great) {
    const int given = divisor;
    reduce(pass.kernel, pass.taps, divisor, room);
    sum /= given / divisor;
  }
  pass.scale = scale_by(divisor);
  pass.scale.clamp = great;
  pass.small = sizeof(S) == 1 && sum < 128 && pass.taps <= kMostByteTaps;
  pass.narrow = narrow_elements(sum, pass.taps, divisor, pass.roi.width);
  if (pass.small || pass.narrow)
    choose_division(pass.scale, divisor, sizeof(S) == 1 ? sum * 255 : most_narrow_sum(divisor));
}
void choose_arithmetic(ColumnPass<Lum32f, Lum32f>&, int, ReducedTaps&) {}
template <class D>
void choose_arithmetic(ColumnPass<Lum16s, D>& pass, int divisor, ReducedTaps& room) {
  reduce(pass.kernel, pass.taps, divisor, room);
  pass.scale = scale_by(divisor);
  const long long sum = magnitude(pass.kernel, pass.taps), most = (1 << 24) / (sum + (sum == 0));
  pass.exact = most < 32768 ? int(most) : 32768;  // every partial sum is a whole number that single precision holds
  pass.narrow = narrow_elements(sum, pass.taps, divisor, pass.width);
  constexpr long long kMostQuotient = 256;
  if (sizeof(D) == 2)
    choose_division(pass.scale, divisor, most_narrow_sum(divisor));
  else if (divisor <= (1 << 15) / kMostQuotient)  // sums of more than 16 bits exceed a byte after division, too
    choose_division(pass.scale, divisor, kMostQuotient * divisor);
}

template <class S, int C>
LumStatus row_pass(RowPass<S>&& pass, int divisor, Lum8u* buffer) {
  const LumStatus status = first_error(
      pointers(pass.src.data, pass.dst, pass.kernel, buffer), size(pass.roi), fails_if(pass.taps < 1, lumStatusBadSize),
      fails_if(pass.anchor < 0 || pass.anchor >= pass.taps, lumStatusBadAnchor),
      step_size(pass.roi, pass.src.step, C * sizeof(S)), step_multiple(pass.src.step, sizeof(S)),
      border_type(pass.border), fails_if(divisor == 0, lumStatusBadArgument));
  if (status != lumStatusOk) return status;

  ReducedTaps reduced;
  choose_arithmetic(pass, divisor, reduced);
  int slices = slices_for(pass.roi, worthwhile_row_pass(pass.src.data, pass.taps));
  // Long kernels need the caller's buffer. The thread count may have grown since its size was asked for, so the slices
  // share what a buffer for one thread holds for certain: 12 bytes a tap and byte of a pixel (16s C3: 40 a tap).
  const long long scratch = row_scratch<S, C>(pass.taps);
  if (scratch > kRowStack && slices > 1) {
    const long long room = (C * sizeof(S) == 6 ? 40LL : 12LL * C * sizeof(S)) * pass.taps;
    if (slices > room / scratch) slices = int(room / scratch);
  }
  const auto band = LUM_PICK(level(), row_band<S, C>);
  for_each_slice(slices,
                 [&](int slice) { band(pass, slice_rows(pass.roi.height, slices, slice), buffer + slice * scratch); });
  return lumStatusOk;
}

template <class S>
LumStatus row_entries(const S* const* rows, long long n) {
  for (long long i = 0; i < n; ++i)
    if (!get(rows + i)) return lumStatusNullPointer;
  return lumStatusOk;
}

template <class S, class D>
LumStatus column_pass(ColumnPass<S, D>&& pass, LumSize roi, int divisor, const Lum8u* buffer) {
  LumStatus status = first_error(
      pointers(pass.src, pass.dst.data, pass.kernel), size(roi), fails_if(pass.taps < 1, lumStatusBadSize),
      step_size(roi, pass.dst.step, pass.channels * (int)sizeof(D)), step_multiple(pass.dst.step, sizeof(D)),
      pointers(buffer), fails_if(divisor == 0, lumStatusBadArgument));
  if (status == lumStatusOk) status = row_entries(pass.src, (long long)roi.height + pass.taps - 1);
  if (status != lumStatusOk) return status;

  ReducedTaps reduced;
  choose_arithmetic(pass, divisor, reduced);
  const int slices = slices_for(roi, runsepomp(pass.taps) != 0);
  const auto band = LUM_PICK(level(), column_band<S, D>);
  for_each_slice(slices, [&](int slice) { band(pass, slice_rows(roi.height, slices, slice)); });
  return lumStatusOk;
}

}  // namespace
}  // namespace lum

#define LUM_ROW_SIZE(name, tap, constant)                                    \
  LumStatus name(LumSize roiSize, int kernelSize, int* pBufferSize) {        \
    return lum::row_size({tap, constant}, roiSize, kernelSize, pBufferSize); \
  }
#define LUM_ROW_INTEGER(name, S, C)                                                                                   \
  LumStatus name(const S* pSrc, int srcStep, Lum16s* const* ppDst, LumSize roiSize, const Lum16s* pKernel,            \
                 int kernelSize, int xAnchor, LumBorderType borderType, S borderValue, int divisor, Lum8u* pBuffer) { \
    return lum::row_pass<S, C>({{pSrc, srcStep},                                                                      \
                                ppDst,                                                                                \
                                roiSize,                                                                              \
                                pKernel,                                                                              \
                                kernelSize,                                                                           \
                                xAnchor,                                                                              \
                                borderType,                                                                           \
                                borderValue,                                                                          \
                                {},                                                                                   \
                                {0, roiSize.width},                                                                   \
                                false},                                                                               \
                               divisor, pBuffer);                                                                     \
  }
#define LUM_ROW_FLOAT(name, C)                                                                                  \
  LumStatus name(const Lum32f* pSrc, int srcStep, Lum32f* const* ppDst, LumSize roiSize, const Lum32f* pKernel, \
                 int kernelSize, int xAnchor, LumBorderType borderType, Lum32f borderValue, Lum8u* pBuffer) {   \
    return lum::row_pass<Lum32f, C>({{pSrc, srcStep},                                                           \
                                     ppDst,                                                                     \
                                     roiSize,                                                                   \
                                     pKernel,                                                                   \
                                     kernelSize,                                                                \
                                     xAnchor,                                                                   \
                                     borderType,                                                                \
                                     borderValue,                                                               \
                                     {},                                                                        \
                                     {0, roiSize.width},                                                        \
                                     false},                                                                    \
                                    1, pBuffer);                                                                \
  }
#define LUM_COLUMN_SIZE(name, column, multiple)                                    \
  LumStatus name(LumSize roiSize, int kernelSize, int* pBufferSize) {              \
    return lum::column_size({column, multiple}, roiSize, kernelSize, pBufferSize); \
  }
#define LUM_COLUMN_SIZE_FLOAT(name)                                   \
  LumStatus name(LumSize roiSize, int kernelSize, int* pBufferSize) { \
    return lum::column_size_float(roiSize, kernelSize, pBufferSize);  \
  }
#define LUM_COLUMN_INTEGER(name, D, C)                                                                         \
  LumStatus name(const Lum16s* const* ppSrc, D* pDst, int dstStep, LumSize roiSize, const Lum16s* pKernel,     \
                 int kernelSize, int divisor, Lum8u* pBuffer) {                                                \
    return lum::column_pass<Lum16s, D>({ppSrc, {pDst, dstStep}, roiSize.width, C, pKernel, kernelSize, {}, 0}, \
                                       roiSize, divisor, pBuffer);                                             \
  }
#define LUM_COLUMN_FLOAT(name, C)                                                                                   \
  LumStatus name(const Lum32f* const* ppSrc, Lum32f* pDst, int dstStep, LumSize roiSize, const Lum32f* pKernel,     \
                 int kernelSize, Lum8u* pBuffer) {                                                                  \
    return lum::column_pass<Lum32f, Lum32f>({ppSrc, {pDst, dstStep}, roiSize.width, C, pKernel, kernelSize, {}, 0}, \
                                            roiSize, 1, pBuffer);                                                   \
  }
#include "lumcvseparable.inc"
