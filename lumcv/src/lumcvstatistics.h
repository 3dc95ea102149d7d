// What the statistics of images share outside their kernels: the planes of a call, checks, results of bands.
#pragma once
#include "core/check.h"
#include "core/parallel.h"
#include "lumcv_frame.h"

namespace lum {

// The planes of a call, whatever their elements: checks and bands are compiled once, only kernels know the type.
struct Pixels {
  LumSize size;
  Image<const void> src, src2;  // src2 where two images are compared
  Image<const Lum8u> mask;      // where there is one
  int element;                  // bytes
  int channels;

  // The rows of one slice.
  LUM_INLINE Pixels rows(Rows rows) const {
    return {{size.width, rows.end - rows.begin},
            {src.row(rows.begin), src.step},
            {src2.data ? src2.row(rows.begin) : nullptr, src2.step},
            {mask.data ? mask.row(rows.begin) : nullptr, mask.step},
            element,
            channels};
  }
  // Planes that begin with their channel of interest, 1 or more.
  LUM_INLINE Pixels channel(int coi) const {
    Pixels p = *this;
    p.src.data = (const char*)src.data + (coi - 1) * element;
    if (src2.data) p.src2.data = (const char*)src2.data + (coi - 1) * element;
    return p;
  }
};

// All pointers, of the planes and of the `results` that must be there, the size, all steps (the mask's included), then
// their multiples, then the channel of interest (1 where there is no choice).
struct Checked {
  bool two_images, masked;
};
template <class... Results>
LumStatus check_pixels(const Pixels& p, Checked what, int coi, const Results*... results) {
  const int pixel = p.element * p.channels, step2 = what.two_images ? p.src2.step : p.src.step;
  return first_error(pointers(p.src.data, results...), fails_if(what.two_images && !p.src2.data, lumStatusNullPointer),
                     fails_if(what.masked && !p.mask.data, lumStatusNullPointer), size(p.size),
                     step_size(p.size, p.src.step, pixel), step_size(p.size, step2, pixel),
                     what.masked ? step_size(p.size, p.mask.step, 1) : LumStatus(lumStatusOk),
                     step_multiple(p.src.step, p.element), step_multiple(step2, p.element),
                     fails_if(coi < 1 || coi > 3, lumStatusBadChannelOfInterest));
}

// Bands to cut an image into: one a thread if it has 2^exponent pixels for each of them and threads are worthwhile.
inline int bands_of(LumSize roi, int exponent) {
  const int threads = owncvGetMaxNumThreads();
  return (long long)roi.width * roi.height < (long long)threads << exponent || !runomp() ? 1 : threads;
}

// One double for each band, on the stack for as many as most machines have threads.
class BandResults {
 public:
  BandResults() = default;
  BandResults(const BandResults&) = delete;
  BandResults& operator=(const BandResults&) = delete;
  ~BandResults() {
    if (values_ != on_stack_) lumsFree(values_);
  }
  // Before anything else. False where there is no memory.
  bool allocate(int bands) {
    if (bands > kOnStack) values_ = lumsMalloc_64f(bands);
    return values_;
  }
  Lum64f& operator[](int band) { return values_[band]; }

 private:
  static constexpr int kOnStack = 32;
  Lum64f on_stack_[kOnStack];
  Lum64f* values_ = on_stack_;
};

}  // namespace lum
