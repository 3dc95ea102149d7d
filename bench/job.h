// One call as the benchmark makes it: planes, taps and work buffer, in one shape for all functions.
#pragma once
#include "lumcv.h"

namespace bench {

// A few percent of the pixels of a photograph are edges of its Sobel derivatives.
constexpr Lum32f kLowThreshold = 120, kHighThreshold = 300;
constexpr Lum32f kSigma = 1.5f;
constexpr Lum32f kWeight = 0.05f;
constexpr int kConstant = 100;
constexpr Lum32f kFactor = -1;  // after which floats are no smaller, however often
constexpr int kChannel = 2;     // of interest
constexpr int kBorder = 8;      // pixels around an image that is copied into a larger one

// Becomes what the function wants to see.
struct Pointer {
  void* address;
  template <class T>
  operator T*() const {
    return static_cast<T*>(address);
  }
};

// Borders are replicated: by the rows where a function takes those.
struct Job {
  LumSize roi;
  int taps, divisor, scale;
  Pointer src, src2, dst;
  int src_step, dst_step;  // both sources have the same
  const Lum8u* mask;       // a byte a pixel
  int mask_step;
  Pointer src_rows, dst_rows;  // height + taps - 1 and height pointers
  const Lum16s* taps16;
  const Lum32f* taps32;
  Pointer buffer;

  // A border and what is inside of it.
  int left() const { return roi.width > 2 * kBorder ? kBorder : 0; }
  int top() const { return roi.height > 2 * kBorder ? kBorder : 0; }
  LumSize inside() const { return {roi.width - 2 * left(), roi.height - 2 * top()}; }

  template <class T>
  T* row(Pointer plane, int step, int y) const {
    return Pointer{static_cast<char*>(plane.address) + static_cast<long long>(y) * step};
  }
  // Of functions that write a few numbers.
  template <class T>
  T* result(int i) const {
    return static_cast<T*>(dst.address) + i;
  }
};

}  // namespace bench
