#include "core/bordered.h"

#include "core/border.h"
#include "core/check.h"
#include "lumcv_frame.h"

namespace lum {
namespace {

int index_in(int i, int n, int border) {
  if (border == kBorderMirrThenMirrR) border = i < 0 ? lumBorderMirr : lumBorderMirrR;
  return border_index(i, n, border);
}

struct Widths {
  int left, right, top, bottom;
};

template <class T, int C>
struct Pixel {
  T channels[C];
};

// The columns left and right of a row whose middle is complete; of the border value where `inside` is false.
template <class P>
void extend_row(P* middle, int width, int border, P value, bool inside, Widths w) {
  const auto extend = [&](int x) {
    const int from = inside ? index_in(x, width, border) : -1;
    middle[x] = from < 0 ? value : middle[from];
  };
  for (int x = -w.left; x < 0; ++x) extend(x);
  for (int x = width; x < width + w.right; ++x) extend(x);
}

template <class T, int C>
T* copy_with_border(Image<const T> src, LumSize roi, int border, T value, Widths w) {
  using P = Pixel<T, C>;
  const long long width = (long long)w.left + roi.width + w.right, height = (long long)w.top + roi.height + w.bottom;
  const Bytes bytes = Bytes(width) * height * int(sizeof(P));
  P* const image = bytes.count > INT_MAX ? nullptr : (P*)lumsMalloc_8u(int(bytes.count));
  if (!image) return nullptr;
  P edge;
  for (T& channel : edge.channels) channel = value;
  const bool known = border >= lumBorderConst && border <= kBorderMirrThenMirrR;
  for (int y = known ? -w.top : 0; y < roi.height + (known ? w.bottom : 0); ++y) {
    P* const middle = image + (ptrdiff_t)(w.top + y) * width + w.left;
    const int from = index_in(y, roi.height, border);
    if (from >= 0)
      memcpy(middle, src.row(from), roi.width * sizeof(P));
    else
      for (int x = 0; x < roi.width; ++x) middle[x] = edge;
    if (known) extend_row(middle, roi.width, border, edge, from >= 0, w);
  }
  return (T*)image;
}

}  // namespace

#define LUM_BORDERED(name, T, C)                                                                            \
  T* name(const T* src, int step, int width, int height, int border, T value, int left, int right, int top, \
          int bottom) {                                                                                     \
    return copy_with_border<T, C>({src, step}, {width, height}, border, value, {left, right, top, bottom}); \
  }
#include "core/bordered.inc"

}  // namespace lum
