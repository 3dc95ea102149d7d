// Compiled once per level.
//
// One pass without intermediate rows in memory: a block of columns goes down some rows at a time. Each source row is
// filtered once into registers, a slider keeps what the last K-1 rows gave, and every new row yields one output row. The
// rows filtered again where the next rows begin cost less than stores and loads of all, and walking several rows side by
// side keeps more of the memory's streams busy than one row after the other.
#include "lumcvnewconvol_kernels.h"

#include "core/border.h"
#include "lumcvnewconvol_sliders.h"

namespace lum::LUM_LEVEL {
namespace {

// ---- sweeps: a slider down every block of a stretch of columns ----

template <class S, class D>
struct Stretch {
  const S* const* rows;  // the source rows; null where the border value stands
  int count;             // of output rows
  int regular;           // so many of them, from the top, end in source rows that are `step` bytes apart
  ptrdiff_t step;
  S border_value;
  Image<D> dst;    // the first output row, from column `begin`
  int begin, end;  // columns, whole blocks
  int shift;       // what Shifted divides by, as a power of two
  const F32* kernel;
};
template <class S, class D>
using Sweep = void (*)(const Stretch<S, D>&);

struct Plain {
  explicit Plain(int) {}
  LUM_INLINE void operator()(auto* d, Pair v) const { store_interleaved(d, v.even, v.odd); }
  LUM_INLINE void operator()(Lum32f* d, F32 v) const { store(d, v); }
};

class Shifted {
 public:
  explicit Shifted(int bits) : nearest_(bits) {}
  LUM_INLINE void operator()(Lum8s* d, Pair v) const { store_interleaved(d, nearest_(v.even), nearest_(v.odd)); }

 private:
  ShiftNearest nearest_;
};
constexpr int kMostShift = 14;  // sums stay below 2^14, so that the addition cannot overflow

template <class Store, class Slider, class S, class D>
LUM_INLINE void sweep_with(const Slider& at_top, const Stretch<S, D>& stretch) {
  const Store store(stretch.shift);
  // Copies: as far as the compiler knows, the stores below change the original.
  const S* const* const rows = stretch.rows;
  const S border_value = stretch.border_value;
  const ptrdiff_t src_step = stretch.step, dst_step = stretch.dst.step;
  const int count = stretch.count, regular = stretch.regular, end = stretch.end;
  D* column = stretch.dst.data;
  for (ptrdiff_t x = stretch.begin; x < end; x += kColumns<S>, column += kColumns<S>) {
    Slider slider = at_top;
    const auto down = [&](const S* row) __attribute__((always_inline)) {
      return slider.down(typename BlockOf<S>::Around(row));
    };
    const auto down_any = [&](const S* row) __attribute__((always_inline)) {
      return row ? down(row + x) : slider.down_border(border_value);
    };
#pragma GCC unroll 16
    for (int k = 0; k < Slider::taps - 1; ++k) down_any(rows[k]);
    const S* row = rows[Slider::taps - 1] + x;
    D* d = column;
    int y = 0;
    for (; y < regular; ++y) {
      store(d, down(row));
      row = (const S*)((const char*)row + src_step);
      d = (D*)((char*)d + dst_step);
    }
    for (; y < count; ++y, d = (D*)((char*)d + dst_step)) store(d, down_any(rows[Slider::taps - 1 + y]));
  }
}
template <class Slider, class Store, class S, class D>
void sweep(const Stretch<S, D>& stretch) {
  sweep_with<Store>(Slider(), stretch);
}
template <int K>
void gauss_sweep(const Stretch<Lum32f, Lum32f>& stretch) {
  sweep_with<Plain>(Gauss<K>(stretch.kernel), stretch);
}

// Filters that integers have a shorter way to. (Floats have another sign of zero the shorter way round.)
template <class S>
struct Shortest {
  using SobelNegVert3 = Separable<S, Dx3, Sobel3>;
  using SobelNegVert5 = Separable<S, Dx5, Sobel5>;
  using Laplacian3 = IntegerLaplacian3;
  using Laplacian5 = IntegerLaplacian5;
};
template <>
struct Shortest<Lum32f> {
  using SobelNegVert3 = Separable<Lum32f, DxNeg3, Negated<Sobel3>>;
  using SobelNegVert5 = Separable<Lum32f, DxNeg5, Negated<Sobel5>>;
  using Laplacian3 = Sum<Separable<Lum32f, Sobel3, D2x3>, Separable<Lum32f, D2x3, Sobel3>>;
  using Laplacian5 = Sum<Separable<Lum32f, Sobel5, D2x5>, Separable<Lum32f, D2x5, Sobel5>>;
};

// 3x3 and 5x5, in the order of FixedFilter.
template <class S, class D, class Store>
constexpr Sweep<S, D> kDerivatives[][2] = {
    {sweep<Separable<S, Sobel3, Dx3>, Store, S, D>, sweep<Separable<S, Sobel5, Dx5>, Store, S, D>},
    {sweep<Separable<S, DxNeg3, Sobel3>, Store, S, D>, sweep<Separable<S, DxNeg5, Sobel5>, Store, S, D>},
    {sweep<typename Shortest<S>::SobelNegVert3, Store, S, D>, sweep<typename Shortest<S>::SobelNegVert5, Store, S, D>},
    {sweep<Separable<S, Sobel3, D2x3>, Store, S, D>, sweep<Separable<S, Sobel5, D2x5>, Store, S, D>},
    {sweep<Separable<S, D2x3, Sobel3>, Store, S, D>, sweep<Separable<S, D2x5, Sobel5>, Store, S, D>},
    {sweep<Separable<S, DxNeg3, Dx3>, Store, S, D>, sweep<Separable<S, DxNeg5, Dx5>, Store, S, D>},
    {sweep<typename Shortest<S>::Laplacian3, Store, S, D>, sweep<typename Shortest<S>::Laplacian5, Store, S, D>},
    {sweep<Separable<S, Scharr3, Dx3>, Store, S, D>, nullptr},
    {sweep<Separable<S, Dx3, Scharr3>, Store, S, D>, nullptr},
};
template <class S>
constexpr Sweep<S, S> kMeans[] = {sweep<Mean<S, Avr3>, Plain, S, S>, sweep<Mean<S, Avr5>, Plain, S, S>};
constexpr Sweep<Lum32f, Lum32f> kGaussians[] = {gauss_sweep<3>, gauss_sweep<5>, gauss_sweep<7>, gauss_sweep<9>};
static_assert(kMostGaussTaps == 9);

template <class Store, class S, class D>
Sweep<S, D> find_sweep(FixedFilter filter, int taps) {
  if constexpr (sizeof(S) == 4)
    if (filter == FixedFilter::kGauss) return kGaussians[taps / 2 - 1];
  if constexpr (std::is_same_v<S, D>)
    if (filter == FixedFilter::kLowpass) return kMeans<S>[taps / 5];
  if constexpr (sizeof(S) == 4 || !std::is_same_v<S, D>)
    return kDerivatives<S, D, Store>[int(filter)][taps / 5];
  else
    return nullptr;
}

// ---- bands ----

// Output rows that go down at a time: the more, the fewer source rows are filtered twice, and the more compete for the
// same lines of the first-level cache.
constexpr int kMostRows = 16;
constexpr int rows_at_once(int taps, int size) { return taps == 5 && size == 1 ? kMostRows : 8; }

// Rows so far apart that their columns share the low 12 bits of their addresses also share the cache's few ways, and
// loads wait for stores that they do not depend on. Then fewer rows go at a time, and their results take a detour
// through a tile.
constexpr int kAliasedRows = 4;
template <class S, class D>
bool aliased(Image<const S> src, Image<D> dst) {
  if (sizeof(S) != sizeof(D)) return false;
  const auto near = [](long long distance) { return ((distance + 64) & 4095) < 128; };
  const int most = sizeof(S) == 1 ? 1 : 6;  // bytes take longer to come round again
  for (int k = 1; k <= most; ++k)
    if (near((const char*)src.data - (const char*)dst.data + (long long)k * src.step)) return true;
  return false;
}

// What stands left and right of an image: columns of it, or -1 for the border value.
template <class S>
class Sides {
 public:
  // Every block loads so many pixels left and right of it.
  static constexpr int margin(int taps) { return sizeof(S) == 1 || taps < 5 ? 2 : taps / 2; }
  static constexpr int kMostMargin = margin(sizeof(S) == 1 ? 5 : kMostGaussTaps);
  // The longest stretch that is framed, and a frame of it.
  static constexpr int kMostFramed = 256 / sizeof(S);
  static constexpr int kFrame = kMostFramed + 2 * kMostMargin;

  template <class D>
  explicit Sides(const Convolution<S, D>& job)
      : width_(job.roi.width), margin_(margin(job.taps)), value_(job.border_value) {
    for (int i = 0; i < margin_; ++i) {
      left_[i] = border_index(-1 - i, width_, job.border);
      right_[i] = border_index((long long)width_ + i, width_, job.border);
    }
  }

  // The columns [x, x + n) of a row, and their neighbours on either side, so that x is at *out. What whole blocks load
  // behind may be junk.
  LUM_INLINE void frame(const S* row, int x, int n, S* out) const {
    constexpr int kBlock = kColumns<S>;
    const int begin = x < margin_ ? 0 : x - margin_;
    const int end = width_ - x < n + margin_ ? width_ : x + n + margin_;
    S* const inside = out + (begin - x);
    if (end - begin >= kBlock) {
      for (int i = 0; i < end - begin - kBlock; i += kBlock) memcpy(inside + i, row + begin + i, kBlock * sizeof(S));
      memcpy(inside + (end - begin) - kBlock, row + end - kBlock, kBlock * sizeof(S));
    } else {
      for (int i = 0; i < end - begin; ++i) put(inside + i, get(row + begin + i));
    }
    if (x == 0)
      for (int i = 0; i < margin_; ++i) put(out - 1 - i, at(row, left_[i]));
    for (int i = 0; i < margin_ && width_ + i < x + n + margin_; ++i) put(out + (width_ - x) + i, at(row, right_[i]));
  }

 private:
  LUM_INLINE S at(const S* row, int x) const { return x < 0 ? value_ : get(row + x); }
  int width_, margin_;
  S value_;
  int left_[kMostMargin], right_[kMostMargin];
};

inline int clamp(int v, int low, int high) { return v < low ? low : v > high ? high : v; }

// Sums times the reciprocal of a divisor, rounded in the first `rounded` of n columns, truncated in the others. The sums
// go on to a whole block.
inline void divide_row(const Lum16s* sums, Lum8s* d, int n, int rounded, Lum32f reciprocal) {
  const F32 r = f32(reciprocal);
  for (int x = 0; x < n; x += I16::lanes) {
    const I16 s = load(sums + x);
    const F32 low = to_float(widen_low(s)) * r, high = to_float(widen_high(s)) * r;
    const I16 v = x < rounded ? pack(round_nearest(low), round_nearest(high)) : pack(truncate(low), truncate(high));
    n - x < I16::lanes ? store_first(d + x, v, n - x) : store(d + x, v);
  }
}

// Results on their way to the destination: rows of a tile that stays in the first-level cache.
template <class T>
struct Tile {
  static constexpr int columns = 2048 / sizeof(T);
  static constexpr int pitch = columns + 64 / sizeof(T);
  T rows[kMostRows][pitch];
};

// Makes the outputs of one filter: stretches of whole blocks that see only the image, and framed stretches, whose source
// rows are copies from column x on, and of which the first n columns are wanted.
template <class S, class D>
class Painter {
 public:
  explicit Painter(const Convolution<S, D>& job)
      : sweep_(find_sweep<Plain, S, D>(job.filter, job.taps)), by_tile_(aliased(job.src, job.dst)) {
    if constexpr (sizeof(S) == 4)
      if (job.filter == FixedFilter::kGauss)
        for (int k = 0; k < job.taps; ++k) kernel_[k] = f32(get(job.kernel + k));
  }
  void blocks(Stretch<S, D> stretch) const {
    stretch.kernel = kernel_;
    if (!by_tile_) return sweep_(stretch);
    const int end = stretch.end;
    for (; stretch.begin < end; stretch.begin = stretch.end) {
      const int n = end - stretch.begin < Tile<D>::columns ? end - stretch.begin : Tile<D>::columns;
      stretch.end = stretch.begin + n;
      through_tile(stretch, n);
      stretch.dst.data += n;
    }
  }
  void framed(Stretch<S, D> stretch, int /*x*/, int n) const {
    stretch.kernel = kernel_;
    stretch.end = n / kColumns<S> * kColumns<S>;
    sweep_(stretch);
    if (stretch.end == n) return;
    stretch.begin = stretch.end;
    stretch.end += kColumns<S>;
    stretch.dst.data += stretch.begin;
    through_tile(stretch, n - stretch.begin);
  }

 private:
  void through_tile(Stretch<S, D> stretch, int n) const {
    Tile<D> tile;
    const Image<D> dst = stretch.dst;
    stretch.dst = {tile.rows[0], sizeof tile.rows[0]};
    sweep_(stretch);
    for (int y = 0; y < stretch.count; ++y) memcpy(dst.row(y), tile.rows[y], n * sizeof(D));
  }
  Sweep<S, D> sweep_;
  bool by_tile_;
  F32 kernel_[sizeof(S) == 4 ? kMostGaussTaps : 1];
};

template <>
class Painter<Lum8u, Lum8s> {
 public:
  explicit Painter(const Convolution<Lum8u, Lum8s>& job)
      : sums_(find_sweep<Plain, Lum8u, Lum16s>(job.filter, job.taps)), reciprocal_(1.0f / Lum32f(job.divisor)),
        rounded_(job.roi.width / 16 * 16) {
    if (job.divisor == 1)
      direct_ = find_sweep<Plain, Lum8u, Lum8s>(job.filter, job.taps);
    else if (job.divisor > 1 && (job.divisor & (job.divisor - 1)) == 0 && job.divisor <= 1 << kMostShift) {
      direct_ = find_sweep<Shifted, Lum8u, Lum8s>(job.filter, job.taps);
      shift_ = __builtin_ctz(unsigned(job.divisor));
    }
  }
  void blocks(Stretch<Lum8u, Lum8s> stretch) const {
    stretch.shift = shift_;
    if (direct_) return direct_(stretch);
    const int end = stretch.end;
    for (; stretch.begin < end; stretch.begin = stretch.end) {
      const int n = end - stretch.begin < Tile<Lum16s>::columns ? end - stretch.begin : Tile<Lum16s>::columns;
      stretch.end = stretch.begin + n;
      divided(stretch, n, n);
      stretch.dst.data += n;
    }
  }
  void framed(Stretch<Lum8u, Lum8s> stretch, int x, int n) const {
    const int rounded = clamp(rounded_ - x, 0, n);
    stretch.shift = shift_;
    if (direct_) {
      stretch.end = rounded / kColumns<Lum8u> * kColumns<Lum8u>;
      direct_(stretch);
      stretch.begin = stretch.end;
      stretch.dst.data += stretch.begin;
    }
    if (stretch.begin == n) return;
    stretch.end = (n + kColumns<Lum8u> - 1) / kColumns<Lum8u> * kColumns<Lum8u>;
    divided(stretch, n - stretch.begin, rounded - stretch.begin);
  }

 private:
  void divided(const Stretch<Lum8u, Lum8s>& s, int n, int rounded) const {
    Tile<Lum16s> tile;
    sums_({s.rows, s.count, s.regular, s.step, s.border_value, {tile.rows[0], sizeof tile.rows[0]}, s.begin, s.end, 0,
           nullptr});
    for (int y = 0; y < s.count; ++y) divide_row(tile.rows[y], s.dst.row(y), n, rounded, reciprocal_);
  }
  Sweep<Lum8u, Lum16s> sums_;
  Sweep<Lum8u, Lum8s> direct_ = nullptr;
  int shift_ = 0;
  Lum32f reciprocal_;
  int rounded_;  // the columns behind are truncated
};

}  // namespace

template <class S, class D>
void convolve_band(const Convolution<S, D>& job, Rows rows) {
  constexpr int kBlock = kColumns<S>, kMostOutside = Sides<S>::kMostMargin;
  const Painter<S, D> painter(job);
  const Sides<S> sides(job);
  const int margin = sides.margin(job.taps), half = job.taps / 2, width = job.roi.width;
  const int at_once = aliased(job.src, job.dst) ? kAliasedRows : rows_at_once(job.taps, sizeof(S));
  constexpr int kMostSources = kMostRows + 2 * kMostOutside;
  alignas(64) S frames[kMostSources][Sides<S>::kFrame];
  const S *source[kMostSources], *framed[kMostSources];

  for (int y = rows.begin, count; y < rows.end; y += count) {
    count = rows.end - y < at_once ? rows.end - y : at_once;
    for (int i = 0; i < count + 2 * half; ++i) {
      const int index = border_index((long long)y - half + i, job.roi.height, job.border);
      source[i] = index < 0 ? nullptr : job.src.row(index);
    }
    const int regular = clamp(job.roi.height - half - y, 0, count);
    const Image<D> dst = {job.dst.row(y), job.dst.step};
    for (int x = 0; x < width;) {
      const int inside = x < margin ? 0 : (width - x - margin) / kBlock * kBlock;
      Stretch<S, D> stretch = {source, count,      regular, job.src.step, job.border_value, {dst.data + x, dst.step},
                               x,      x + inside, 0,       nullptr};
      if (inside > 0) {
        painter.blocks(stretch);
        x += inside;
        continue;
      }
      const int n = width - x <= Sides<S>::kMostFramed ? width - x : kBlock;
      for (int i = 0; i < count + 2 * half; ++i) {
        framed[i] = source[i] ? frames[i] + kMostOutside : nullptr;
        if (source[i]) sides.frame(source[i], x, n, frames[i] + kMostOutside);
      }
      stretch.rows = framed;
      stretch.step = sizeof frames[0];
      stretch.begin = 0;
      painter.framed(stretch, x, n);
      x += n;
    }
  }
}

template void convolve_band(const Convolution<Lum8u, Lum16s>&, Rows);
template void convolve_band(const Convolution<Lum8u, Lum8s>&, Rows);
template void convolve_band(const Convolution<Lum8u, Lum8u>&, Rows);
template void convolve_band(const Convolution<Lum32f, Lum32f>&, Rows);

}  // namespace lum::LUM_LEVEL
