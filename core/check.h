// Argument checks. Each returns lumStatusOk or the status of what is wrong; they read no pixel, so an exported
// function lists them in the documented order and first_error() picks the first that failed.
#pragma once
#include <limits.h>

#include "core/image.h"

namespace lum {

template <class... Status>
constexpr LumStatus first_error(Status... status) {
  LumStatus result = lumStatusOk;
  (void)((result = status, result != lumStatusOk) || ...);
  return result;
}

constexpr LumStatus fails_if(bool wrong, LumStatus status) { return wrong ? status : LumStatus(lumStatusOk); }

template <class... P>
constexpr LumStatus pointers(const P*... pointer) {
  return fails_if(((pointer == nullptr) || ...), lumStatusNullPointer);
}

constexpr LumStatus size(LumSize roi) { return fails_if(roi.width < 1 || roi.height < 1, lumStatusBadSize); }

// The products of a row's length are formed in 64 bits: in 32 they could wrap into acceptance.
constexpr LumStatus step_size(LumSize roi, int step, int pixel_bytes) {
  return fails_if(step < (long long)roi.width * pixel_bytes, lumStatusBadStep);
}

constexpr LumStatus step_multiple(int step, int element_bytes) {
  return fails_if(step % element_bytes != 0, lumStatusStepNotPixelMultiple);
}

constexpr LumStatus border_type(LumBorderType type) {
  return fails_if(type < lumBorderConst || type > lumBorderMirrR, lumStatusBadArgument);
}

// A byte count that sticks at "too big" instead of wrapping. All terms are counts, so none is negative.
struct Bytes {
  long long count;
  static constexpr long long too_big = 1LL << 31;
  constexpr Bytes(long long n) : count(n < too_big ? n : too_big) {}
  friend constexpr Bytes operator+(Bytes a, Bytes b) { return a.count + b.count; }
  friend constexpr Bytes operator*(Bytes a, Bytes b) { return a.count * b.count; }
};

// Hands a size to the caller; one that 32 bits do not hold is an error, not a small number.
inline LumStatus store_size(Bytes size, int* out) {
  if (size.count > INT_MAX) return lumStatusBadSize;
  put(out, int(size.count));
  return lumStatusOk;
}

}  // namespace lum
