// One call as the benchmark makes it: planes, taps and work buffer, in one shape for all functions.
#pragma once
#include "lumcv.h"

namespace bench {

// A few percent of the pixels of a photograph are edges of its Sobel derivatives.
constexpr Lum32f kLowThreshold = 120, kHighThreshold = 300;
constexpr Lum32f kSigma = 1.5f;
constexpr int kChannel = 2;  // of interest

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
  int taps, divisor;
  Pointer src, src2, dst;  // the second source is Canny's vertical derivative
  int src_step, dst_step;
  Pointer mask;                // selects half of the pixels, in random places; its step is the width
  Pointer src_rows, dst_rows;  // height + taps - 1 and height pointers
  const Lum16s* taps16;
  const Lum32f* taps32;
  Pointer buffer;

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
