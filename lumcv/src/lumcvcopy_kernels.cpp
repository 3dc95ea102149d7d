// Compiled once per level.
#include "lumcvcopy_kernels.h"

#include "core/vec.h"

namespace lum::LUM_LEVEL {
namespace {

// ---- runs ----

constexpr int kLine = 64;  // bytes of a line of the cache

struct Half {
  __m128i v;
};

// What a run consists of: at<T>(x) are its bytes from x on.
struct Copied {
  const Lum8u* from;
  template <class T>
  LUM_INLINE T at(ptrdiff_t x) const {
    return get((const T*)(from + x));
  }
};
struct Filled {
  U8 all;
  template <class T>
  LUM_INLINE T at(ptrdiff_t) const {
    return get((const T*)&all);
  }
};

// As many bytes as T has to twice as many: both ends, which may overlap.
template <class T, class Source>
LUM_INLINE void write_ends(Lum8u* to, ptrdiff_t n, const Source& source) {
  const ptrdiff_t behind = n - ptrdiff_t(sizeof(T));
  const T first = source.template at<T>(0), last = source.template at<T>(behind);
  put((T*)to, first);
  put((T*)(to + behind), last);
}

// The source must not overlap `to`. Partial lines are written through the cache also when whole ones bypass it.
template <bool Bypass, class Source>
LUM_INLINE void write_run(Lum8u* to, ptrdiff_t n, const Source& source) {
  constexpr int step = U8::lanes, block = 4 * step;
  if (n < 8) {
    if (n >= 4) return write_ends<unsigned>(to, n, source);
    if (n >= 2) return write_ends<Lum16u>(to, n, source);
    if (n == 1) *to = source.template at<Lum8u>(0);
    return;
  }
  if (n <= 16) return write_ends<unsigned long long>(to, n, source);
  if (n <= 32) return write_ends<Half>(to, n, source);
  if (n <= 2 * step) return write_ends<U8>(to, n, source);
  const ptrdiff_t behind = n - step;
  const U8 first = source.template at<U8>(0), last = source.template at<U8>(behind);
  put((U8*)to, first);
  ptrdiff_t x = step - ptrdiff_t((uintptr_t)to % step);
  for (; x < behind && (uintptr_t)(to + x) % kLine != 0; x += step) store_aligned(to + x, source.template at<U8>(x));
  for (; x <= n - block; x += block) {
    U8 v[4];
    for (int i = 0; i < 4; ++i) v[i] = source.template at<U8>(x + i * step);
    for (int i = 0; i < 4; ++i)
      if constexpr (Bypass)
        store_bypassing(to + x + i * step, v[i]);
      else
        store_aligned(to + x + i * step, v[i]);
  }
  for (; x < behind; x += step) store_aligned(to + x, source.template at<U8>(x));
  put((U8*)(to + behind), last);
}

// A source that overlaps `to` is taken as it was before.
template <bool Bypass>
void copy_run(Lum8u* to, const Lum8u* from, ptrdiff_t n) {
  if (overlap(to, from, n)) [[unlikely]]
    memmove(to, from, n);
  else
    write_run<Bypass>(to, n, Copied{from});
}
template <bool Bypass>
void fill_run(Lum8u* to, ptrdiff_t n, U8 all) {
  write_run<Bypass>(to, n, Filled{all});
}

// ---- borders ----

// n pixels like the one at `pixel`.
template <int PixelBytes>
LUM_INLINE void fill_pixels(Lum8u* to, ptrdiff_t n, const Lum8u* pixel) {
  if constexpr (PixelBytes == 1) {
    fill_run<false>(to, n, splat(*pixel));
  } else {
    struct Pixel {
      Lum8u bytes[PixelBytes];
    };
    constexpr ptrdiff_t one_by_one = 16;
    const Pixel value = get((const Pixel*)pixel);
    for (ptrdiff_t i = 0; i < n && i < one_by_one; ++i) put((Pixel*)to + i, value);
    for (ptrdiff_t done = one_by_one; done < n; done *= 2)
      copy_run<false>(to + done * PixelBytes, to, (done < n - done ? done : n - done) * PixelBytes);
  }
}

// The parts of a row, in bytes.
struct Widths {
  ptrdiff_t left, middle, all;
  LUM_INLINE Widths(const Bordered& job, ptrdiff_t pixel_bytes)
      : left(job.left * pixel_bytes), middle(job.src_roi.width * pixel_bytes), all(job.dst_roi.width * pixel_bytes) {}
};

// Rows of the destination may overlap, so their order is part of the result: the source's, those below, those above.
template <int PixelBytes>
void replicate(const Bordered& job) {
  const Widths w(job, PixelBytes);
  const ptrdiff_t right = job.dst_roi.width - (ptrdiff_t)job.src_roi.width - job.left;
  int y = job.top;
  for (; y < job.top + job.src_roi.height; ++y) {
    Lum8u* const left = job.dst.row(y);
    Lum8u* const middle = left + w.left;
    const Lum8u* const from = job.src.row(y - job.top);
    if (middle != from) copy_run<false>(middle, from, w.middle);
    fill_pixels<PixelBytes>(left, job.left, middle);
    fill_pixels<PixelBytes>(middle + w.middle, right, middle + w.middle - PixelBytes);
  }
  for (; y < job.dst_roi.height; ++y) copy_run<false>(job.dst.row(y), job.dst.row(y - 1), w.all);
  for (y = 0; y < job.top; ++y) copy_run<false>(job.dst.row(y), job.dst.row(job.top), w.all);
}

}  // namespace

void copy_runs(Image<const Lum8u> src, Image<Lum8u> dst, Runs runs) {
  if (!runs.bypass) {
    for (int y = 0; y < runs.count; ++y) copy_run<false>(dst.row(y), src.row(y), runs.bytes);
    return;
  }
  for (int y = 0; y < runs.count; ++y) copy_run<true>(dst.row(y), src.row(y), runs.bytes);
  _mm_sfence();
}

void set_runs(Lum8u value, Image<Lum8u> dst, Runs runs) {
  const U8 all = splat(value);
  if (!runs.bypass) {
    for (int y = 0; y < runs.count; ++y) fill_run<false>(dst.row(y), runs.bytes, all);
    return;
  }
  for (int y = 0; y < runs.count; ++y) fill_run<true>(dst.row(y), runs.bytes, all);
  _mm_sfence();
}

template <class T, int C>
void copy_replicate(const Bordered& job) {
  replicate<C * sizeof(T)>(job);
}

void copy_const(const Bordered& job, Lum8u value) {
  const Widths w(job, 1);
  const U8 all = splat(value);
  int y = job.top;
  for (; y < job.top + job.src_roi.height; ++y) {
    Lum8u* const left = job.dst.row(y);
    Lum8u* const middle = left + w.left;
    fill_run<false>(left, w.left, all);
    copy_run<false>(middle, job.src.row(y - job.top), w.middle);
    fill_run<false>(middle + w.middle, w.all - w.left - w.middle, all);
  }
  for (; y < job.dst_roi.height; ++y) fill_run<false>(job.dst.row(y), w.all, all);
  for (y = 0; y < job.top; ++y) fill_run<false>(job.dst.row(y), w.all, all);
}

#define LUM_COPY(...)
#define LUM_COPY_REPLICATE(name, T, C) template void copy_replicate<T, C>(const Bordered&);
#define LUM_COPY_REPLICATE_I(...)  // as those before
#define LUM_SET(...)
#define LUM_COPY_CONST(...)
#include "lumcvcopy.inc"

}  // namespace lum::LUM_LEVEL
