// Compiled once per level.
#include "lumcvcopy_kernels.h"

#include <stdint.h>

#include <type_traits>

#include "core/vec.h"

namespace lum::LUM_LEVEL {
namespace {

// ---- runs ----

constexpr int kLine = 64;  // bytes of a line of the cache

// Parts of a run; whole vectors have loads and stores of their own.
struct Half {
  __m128i v;
};
template <class T>
LUM_INLINE T part_at(const Lum8u* p) {
  if constexpr (std::is_same_v<T, U8>)
    return load_all(p);
  else
    return get((const T*)p);
}
template <class T>
LUM_INLINE void put_part(Lum8u* p, T part) {
  if constexpr (std::is_same_v<T, U8>)
    store(p, part);
  else
    put((T*)p, part);
}

// What a run consists of: at<T>(x) are its bytes from x on.
struct Copied {
  const Lum8u* from;
  template <class T>
  LUM_INLINE T at(ptrdiff_t x) const {
    return part_at<T>(from + x);
  }
};
struct Filled {
  U8 all;
  template <class T>
  LUM_INLINE T at(ptrdiff_t) const {
    if constexpr (std::is_same_v<T, U8>)
      return all;
    else
      return get((const T*)&all);
  }
};

// Writers of runs from a source that does not overlap them. As many bytes as T has to twice as many: both ends, which may
// overlap.
template <class T>
struct WriteEnds {
  template <class Source>
  LUM_INLINE void operator()(Lum8u* to, ptrdiff_t n, Source source) const {
    const ptrdiff_t behind = n - ptrdiff_t(sizeof(T));
    const T first = source.template at<T>(0), last = source.template at<T>(behind);
    put_part(to, first);
    put_part(to + behind, last);
  }
};
template <bool Bypass>
LUM_INLINE void store_line(Lum8u* aligned, U8 v) {
  if constexpr (Bypass)
    store_bypassing(aligned, v);
  else
    store_aligned(aligned, v);
}
// More than two vectors. Partial lines are written through the cache also when whole ones bypass it.
template <bool Bypass>
struct WriteLong {
  template <class Source>
  LUM_INLINE void operator()(Lum8u* to, ptrdiff_t n, Source source) const {
    constexpr int step = U8::lanes, block = 4 * step;
    const ptrdiff_t behind = n - step;
    const U8 first = source.template at<U8>(0), last = source.template at<U8>(behind);
    store(to, first);
    ptrdiff_t x = step - ptrdiff_t((uintptr_t)to % step);
    for (; x < behind && (uintptr_t)(to + x) % kLine != 0; x += step) store_aligned(to + x, source.template at<U8>(x));
    for (; x <= n - block; x += block) {
      const U8 v0 = source.template at<U8>(x), v1 = source.template at<U8>(x + step);
      const U8 v2 = source.template at<U8>(x + 2 * step), v3 = source.template at<U8>(x + 3 * step);
      store_line<Bypass>(to + x, v0);
      store_line<Bypass>(to + x + step, v1);
      store_line<Bypass>(to + x + 2 * step, v2);
      store_line<Bypass>(to + x + 3 * step, v3);
    }
    for (; x < behind; x += step) store_aligned(to + x, source.template at<U8>(x));
    store(to + behind, last);
  }
};

// use(writer) with the one for runs of n bytes, none if there are none.
template <bool Bypass, class Use>
LUM_INLINE void with_writer(ptrdiff_t n, const Use& use) {
  if (n > 2 * U8::lanes) return use(WriteLong<Bypass>{});
  if (n > 32) return use(WriteEnds<U8>{});
  if (n > 16) return use(WriteEnds<Half>{});
  if (n >= 8) return use(WriteEnds<unsigned long long>{});
  if (n >= 4) return use(WriteEnds<unsigned>{});
  if (n >= 2) return use(WriteEnds<Lum16u>{});
  if (n == 1) return use(WriteEnds<Lum8u>{});
}

template <class Source>
struct Run {
  Lum8u* to;
  ptrdiff_t n;
  Source source;
  template <class Writer>
  LUM_INLINE void operator()(Writer write) const {
    write(to, n, source);
  }
};
template <class Source>
LUM_INLINE void write_run(Lum8u* to, ptrdiff_t n, Source source) {
  with_writer<false>(n, Run<Source>{to, n, source});
}

template <bool Bypass>
void copy_rows(Image<const Lum8u> src, Image<Lum8u> dst, Runs runs) {
  with_writer<Bypass>(runs.bytes, [=](auto write) {
    for (int y = 0; y < runs.count; ++y) write(dst.row(y), runs.bytes, Copied{src.row(y)});
  });
}
template <bool Bypass>
void set_rows(U8 all, Image<Lum8u> dst, Runs runs) {
  with_writer<Bypass>(runs.bytes, [=](auto write) {
    for (int y = 0; y < runs.count; ++y) write(dst.row(y), runs.bytes, Filled{all});
  });
}

// ---- borders ----

// Pixels one after the other, for a border of ordinary width.
template <int PixelBytes>
LUM_INLINE void repeat(Lum8u* to, ptrdiff_t n, const Lum8u* pixel) {
  struct Pixel {
    Lum8u bytes[PixelBytes];
  };
  const Pixel value = get((const Pixel*)pixel);
  for (ptrdiff_t i = 0; i < n; ++i) put((Pixel*)to + i, value);
}
// A store for a pixel and what the next one overwrites.
template <>
LUM_INLINE void repeat<3>(Lum8u* to, ptrdiff_t n, const Lum8u* pixel) {
  const unsigned value = get((const Lum16u*)pixel) | unsigned(pixel[2]) << 16;
  for (; n > 1; --n, to += 3) put((unsigned*)to, value);
  if (n < 1) return;
  put((Lum16u*)to, Lum16u(value));
  to[2] = Lum8u(value >> 16);
}

// n pixels like the one at `pixel`.
template <int PixelBytes>
LUM_INLINE void fill_pixels(Lum8u* to, ptrdiff_t n, const Lum8u* pixel) {
  if constexpr (PixelBytes == 1) {
    write_run(to, n, Filled{splat(*pixel)});
  } else {
    constexpr ptrdiff_t ordinary = 32;
    repeat<PixelBytes>(to, n < ordinary ? n : ordinary, pixel);
    for (ptrdiff_t done = ordinary; done < n; done *= 2)
      memcpy(to + done * PixelBytes, to, (done < n - done ? done : n - done) * PixelBytes);
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
void replicate(const Bordered job) {
  const Widths w(job, PixelBytes);
  const ptrdiff_t right = job.dst_roi.width - (ptrdiff_t)job.src_roi.width - job.left;
  int y = job.top;
  for (; y < job.top + job.src_roi.height; ++y) {
    Lum8u* const left = job.dst.row(y);
    Lum8u* const middle = left + w.left;
    const Lum8u* const from = job.src.row(y - job.top);
    if (middle != from) write_run(middle, w.middle, Copied{from});
    fill_pixels<PixelBytes>(left, job.left, from);
    fill_pixels<PixelBytes>(middle + w.middle, right, from + w.middle - PixelBytes);
  }
  const auto copy_row = [&](int to, int from) {
    if (job.dst.step < w.all)
      memmove(job.dst.row(to), job.dst.row(from), w.all);
    else
      write_run(job.dst.row(to), w.all, Copied{job.dst.row(from)});
  };
  for (; y < job.dst_roi.height; ++y) copy_row(y, y - 1);
  for (y = 0; y < job.top; ++y) copy_row(y, job.top);
}

}  // namespace

void copy_runs(Image<const Lum8u> src, Image<Lum8u> dst, Runs runs) {
  if (!runs.bypass) return copy_rows<false>(src, dst, runs);
  copy_rows<true>(src, dst, runs);
  _mm_sfence();
}

void set_runs(Lum8u value, Image<Lum8u> dst, Runs runs) {
  if (!runs.bypass) return set_rows<false>(splat(value), dst, runs);
  set_rows<true>(splat(value), dst, runs);
  _mm_sfence();
}

template <class T, int C>
void copy_replicate(const Bordered& job) {
  replicate<C * sizeof(T)>(job);
}

void copy_const(const Bordered& job, Lum8u value) {
  const Widths w(job, 1);
  const Filled filled = {splat(value)};
  int y = job.top;
  for (; y < job.top + job.src_roi.height; ++y) {
    Lum8u* const left = job.dst.row(y);
    Lum8u* const middle = left + w.left;
    write_run(left, w.left, filled);
    write_run(middle, w.middle, Copied{job.src.row(y - job.top)});
    write_run(middle + w.middle, w.all - w.left - w.middle, filled);
  }
  for (; y < job.dst_roi.height; ++y) write_run(job.dst.row(y), w.all, filled);
  for (y = 0; y < job.top; ++y) write_run(job.dst.row(y), w.all, filled);
}

#define LUM_COPY(...)
#define LUM_COPY_REPLICATE(name, T, C) template void copy_replicate<T, C>(const Bordered&);
#define LUM_COPY_REPLICATE_I(...)  // as those before
#define LUM_SET(...)
#define LUM_COPY_CONST(...)
#include "lumcvcopy.inc"

}  // namespace lum::LUM_LEVEL
