// Compiled once per level.
//
// One pass without intermediate rows in memory: a block of columns goes down some rows at a time. Each source row is
// filtered once into registers, a slider keeps what the last K-1 rows gave, and every new row yields one output row.
// Then comes the next block; sliders are put by until it is their turn again with the rows below. Walking several rows
// side by side keeps more of the memory's streams busy than one row after the other.
#include "lumcvnewconvol_kernels.h"

#include "core/border.h"
#include "lumcvnewconvol_sliders.h"

namespace lum::LUM_LEVEL {
namespace {

// ---- the sides of an image ----

// What stands left and right of it: columns of it, or -1 for the border value.
template <class S>
class Sides {
 public:
  static constexpr int kMost = BlockOf<S>::sides;
  // Every block looks at so many pixels left and right of it.
  static constexpr int margin(int taps) { return taps / 2 + (sizeof(S) == 1); }
  // An image too narrow for blocks that see nothing but the image, framed by what stands around it. Blocks that begin in
  // it may look at a byte more than there is outside of it.
  static constexpr int kNarrow = kColumns<S> + 2 * margin(2 * kMost + 1);
  static constexpr int kFrame = kNarrow + kColumns<S> + 2 * kMost + 1;

  template <class D>
  explicit Sides(const Convolution<S, D>& job) : width_(job.roi.width), value_(job.border_value) {
    for (int i = 0; i < kMost; ++i) {
      left_[i] = border_index(i - kMost, width_, job.border);
      right_[i] = border_index((long long)width_ + i, width_, job.border);
    }
  }
  template <Side side>
  LUM_INLINE auto around(const S* row, ptrdiff_t x) const {
    const int* const columns = side == Side::kLeft ? left_ : right_;
    S outside[kMost];
#pragma GCC unroll 4
    for (int i = 0; i < kMost; ++i) outside[i] = at(row, columns[i]);
    return BlockOf<S>::Around::template at<side>(row + x, BlockOf<S>::outside(outside));
  }
  // So that column 0 is at *out. What whole blocks load behind may be junk.
  LUM_INLINE void frame(const S* row, S* out) const {
    for (int x = 0; x < width_; ++x) out[x] = get(row + x);
    for (int i = 0; i < kMost; ++i) {
      out[i - kMost] = at(row, left_[i]);
      out[width_ + i] = at(row, right_[i]);
    }
  }

 private:
  LUM_INLINE S at(const S* row, int x) const { return x < 0 ? value_ : get(row + x); }
  int width_;
  S value_;
  int left_[kMost], right_[kMost];
};

// ---- sweeps: a slider down every block of a stretch of columns ----

// The processor does not follow so many streams through memory by itself. What the next rows need is asked for below the
// rows at hand, for the second level of the cache; bytes of the source so far ahead, for the first. (Asking for a line
// once instead of once for each of its blocks takes longer; for each of four blocks it does not pay. Not to ask for the
// lines of results saves 3 percent of the time in the cache, and takes 1.5 times as long beyond it.)
constexpr int kSourceAhead = 256;
template <class S>
constexpr bool kAsks = sizeof(S) == 1 || F32::lanes == 8;

enum class Place { kInside, kLeft, kRight };

// What is put by of the blocks of a tile: 4096 bytes of a row, of which it stays in the first two levels of the cache.
constexpr int kTileBlocks = 4096 / sizeof(F32);
struct Sliders {
  static constexpr int kMostBytes = 10 * sizeof(F32);  // of one
  alignas(64) char bytes[kTileBlocks * kMostBytes];
};

// Output rows that go down at a time: the more, the less often sliders are kept and taken up again, and the more rows
// compete for the same lines of the first-level cache.
constexpr int kMostRows = 32;
template <class S, class D>
constexpr int rows_at_once(int taps) {
  if (sizeof(S) == 4) return 8;
  return sizeof(D) == 1 && taps == 5 ? kMostRows : 16;
}

template <class S, class D>
struct Stretch {
  Place place;
  const S* const* rows;  // the source rows; null where the border value stands
  int count;             // of output rows
  int regular;           // so many of them, from the top, end in source rows that are `step` bytes apart
  ptrdiff_t step;
  S border_value;
  Image<D> dst;    // the first output row, from column `begin`
  int begin, end;  // columns, whole blocks; one at a side of the image
  const Sides<S>* sides;
  int shift;  // what Shifted divides by, as a power of two
  const F32* kernel;
  Sliders* sliders;  // where they are put by; null: they are not
  int first_slider;  // that of the first block
  bool resume;       // with what has been put by
};
template <class S, class D>
using Sweep = void (*)(const Stretch<S, D>&);

struct Plain {
  explicit Plain(int) {}
  LUM_INLINE void operator()(auto* d, EvenOdd v) const { store_interleaved(d, v.first, v.second); }
  LUM_INLINE void operator()(auto* d, Eights v) const { store_eights(d, v.first, v.second); }
  LUM_INLINE void operator()(Lum32f* d, F32 v) const { store(d, v); }
};

class Shifted {
 public:
  explicit Shifted(int bits) : nearest_(bits) {}
  template <Order O>
  LUM_INLINE void operator()(Lum8s* d, Pair<O> v) const {
    Plain(0)(d, Pair<O>{nearest_(v.first), nearest_(v.second)});
  }

 private:
  ShiftNearest nearest_;
};
constexpr int kMostShift = 14;  // sums stay below 2^14, so that the addition cannot overflow

template <Side side, class Slider, class Store, class S, class D>
LUM_INLINE void sweep_side(Slider slider, const Store& store, const Stretch<S, D>& stretch) {
  const S* const* const rows = stretch.rows;
  const S border_value = stretch.border_value;
  const Sides<S> sides = *stretch.sides;
  const ptrdiff_t x = stretch.begin;
  const int count = stretch.count;
  for (int i = 0; i < count + Slider::taps - 1; ++i) {
    const auto v = rows[i] ? slider.down(sides.template around<side>(rows[i], x)) : slider.down_border(border_value);
    if (i >= Slider::taps - 1) store(stretch.dst.row(i - (Slider::taps - 1)), v);
  }
}

// Whether two sliders go down beside each other, to share what there is to do for a row. Some leave too few of the sixteen
// registers that there are in 64 bits; where bytes become words, at AVX2, it takes as long as it saves.
template <class S, class D, class Slider>
constexpr bool kTwoBeside = sizeof(void*) == 8 && sizeof(Slider) <= (sizeof(S) == 4 ? 5 : 4) * sizeof(F32) &&
                            (sizeof(S) == 4 || !kMultipliesBytes || std::is_same_v<D, Lum8u>);

// Rows that are written out one below the other, so that what a slider keeps of them need not move from register to
// register. Where it keeps more than there are registers, and with the few of 32 bits, that takes longer.
template <class D, class Slider>
constexpr int kWrittenOut = [] {
  if (sizeof(void*) == 4 || sizeof(D) == 4 || std::is_same_v<D, Lum8u> || std::is_same_v<Slider, IntegerLaplacian5>)
    return 1;
  return kMultipliesBytes && Slider::taps == 3 && sizeof(D) == 2 ? 8 : 4;
}();

// How many blocks have the sums along their rows made beside each other before their sliders go down: where such a sum
// is a long chain of additions that wait for each other, the processor runs out of room for those of other rows.
template <class Slider>
constexpr int kRowsFirst = 0;
template <int K>
constexpr int kRowsFirst<Gauss<K>> = K >= 7 ? 6 : 0;

template <class Store, class Make, class S, class D>
LUM_INLINE void sweep_with(const Make& at_top, const Stretch<S, D>& stretch) {
  using Slider = decltype(at_top());
  const Store store(stretch.shift);
  if (stretch.place == Place::kLeft) return sweep_side<Side::kLeft>(at_top(), store, stretch);
  if (stretch.place == Place::kRight) return sweep_side<Side::kRight>(at_top(), store, stretch);
  // Copies: as far as the compiler knows, the stores below change the original.
  const S* const* const rows = stretch.rows;
  const S border_value = stretch.border_value;
  D* const dst = stretch.dst.data;
  const ptrdiff_t src_step = stretch.step, dst_step = stretch.dst.step, begin = stretch.begin;
  const int count = stretch.count, regular = stretch.regular, end = stretch.end;
  const size_t src_below = size_t(src_step) * count, dst_below = size_t(dst_step) * count;
  constexpr int kSecondLevel = 2;  // locality, as the compiler counts it
  static_assert(sizeof(Slider) <= Sliders::kMostBytes);
  Slider* kept = stretch.sliders ? (Slider*)stretch.sliders->bytes + stretch.first_slider : nullptr;
  const bool resume = stretch.resume;
  const auto around = [](const S* row, int block)
                          LUM_INLINE_LAMBDA { return typename BlockOf<S>::Around(row + block * kColumns<S>); };
  const auto ask_for_next_rows = [&](const S* row) LUM_INLINE_LAMBDA {
    if (!kAsks<S>) return;
    if (sizeof(S) == 1)
      __builtin_prefetch(ahead(row, kSourceAhead));
    else
      __builtin_prefetch(ahead(row, src_below), 0, kSecondLevel);
  };
  // N blocks beside each other. Of a regular row, output(i, row, y) is what slider i makes.
  const auto go_down = [&]<int N>(ptrdiff_t x, Slider(&sliders)[N], const auto& output) LUM_INLINE_LAMBDA {
    if (resume) repeat<N>(0, [&](int i) LUM_INLINE_LAMBDA { take_up(sliders[i], kept[i]); });
    const auto down_any = [&](const S* row, int i) LUM_INLINE_LAMBDA {
      return row ? sliders[i].down(around(row + x, i)) : sliders[i].down_border(border_value);
    };
    if (!resume) {
#pragma GCC unroll 16
      for (int k = 0; k < Slider::taps - 1; ++k) repeat<N>(0, [&](int i) LUM_INLINE_LAMBDA { down_any(rows[k], i); });
    }
    const S* row = regular > 0 ? rows[Slider::taps - 1] + x : nullptr;
    D* d = dst + (x - begin);
    int y = 0;
    const auto go_down_regular = [&](int line) LUM_INLINE_LAMBDA {
      if (kAsks<S>) __builtin_prefetch(ahead(d, dst_below), 0, kSecondLevel);
      repeat<N>(0, [&](int i) LUM_INLINE_LAMBDA { store(d + i * kColumns<S>, output(i, row, line)); });
      row = (const S*)((const char*)row + src_step);
      d = (D*)((char*)d + dst_step);
    };
    constexpr int kAtOnce = kWrittenOut<D, Slider>;
    if constexpr (kAtOnce > 1) {
      for (; y + kAtOnce <= regular; y += kAtOnce)
        repeat<kAtOnce>(0, [&](int k) LUM_INLINE_LAMBDA {
          go_down_regular(y + k);
          asm("" : "+r"(row), "+r"(d));  // no pointers to each of the rows, which every block would begin with
        });
      for (; y < regular; ++y) go_down_regular(y);
    } else {
#pragma GCC unroll 4
      for (; y < regular; ++y) go_down_regular(y);
    }
    for (; y < count; ++y, d = (D*)((char*)d + dst_step))
      repeat<N>(0,
                [&](int i) LUM_INLINE_LAMBDA { store(d + i * kColumns<S>, down_any(rows[Slider::taps - 1 + y], i)); });
    if (kept) {
      repeat<N>(0, [&](int i) LUM_INLINE_LAMBDA { take_up(kept[i], sliders[i]); });
      kept += N;
    }
  };
  const auto go_straight_down = [&]<int N>(ptrdiff_t x, Slider(&sliders)[N]) LUM_INLINE_LAMBDA {
    go_down(x, sliders, [&](int i, const S* row, int) LUM_INLINE_LAMBDA {
      if (i == 0) ask_for_next_rows(row);
      return sliders[i].down(around(row, i));
    });
  };
  ptrdiff_t x = begin;
  constexpr int kBeside = kRowsFirst<Slider>;
  if constexpr (kBeside > 0)
    for (; x + kBeside * kColumns<S> <= end; x += kBeside * kColumns<S>) {
      F32 sums[rows_at_once<S, D>(Slider::taps)][kBeside];
      const Slider any = at_top();
      const S* row = regular > 0 ? rows[Slider::taps - 1] + x : nullptr;
      for (int y = 0; y < regular; ++y, row = (const S*)((const char*)row + src_step)) {
        for (int i = 0; i < kBeside; i += 64 / (int)sizeof(F32)) ask_for_next_rows(row + i * kColumns<S>);
        any.template row_sums<kBeside>(sums[y], [&](int i) LUM_INLINE_LAMBDA { return around(row, i); });
      }
      for (int block = 0; block < kBeside; ++block) {
        Slider slider[] = {at_top()};
        go_down(x + block * kColumns<S>, slider,
                [&](int, const S*, int y) LUM_INLINE_LAMBDA { return slider[0].push(sums[y][block]); });
      }
    }
  if constexpr (kTwoBeside<S, D, Slider>)
    for (; x + 2 * kColumns<S> <= end; x += 2 * kColumns<S>) {
      Slider sliders[] = {at_top(), at_top()};
      go_straight_down(x, sliders);
    }
  for (; x < end; x += kColumns<S>) {
    Slider slider[] = {at_top()};
    go_straight_down(x, slider);
  }
}
template <class Slider, class Store, class S, class D>
void sweep(const Stretch<S, D>& stretch) {
  sweep_with<Store>([] { return Slider(); }, stretch);
}
template <int K>
void gauss_sweep(const Stretch<Lum32f, Lum32f>& stretch) {
  if constexpr (kTapsInRegisters<K>) {
    const TapsInRegisters<K> kernel(stretch.kernel);
    sweep_with<Plain>([&] { return Gauss<K>(kernel); }, stretch);
  } else {
    sweep_with<Plain>([kernel = stretch.kernel] { return Gauss<K>(kernel); }, stretch);
  }
}

// Filters that integers have a shorter way to. (Floats have another sign of zero the shorter way round.)
template <class S>
struct Shortest {
  using SobelNegVert3 = Separable<S, Dx3, Sobel3>;
  using SobelNegVert5 = Separable<S, Dx5, Sobel5>;
  using ScharrVert = IntegerScharrVert;
  using Laplacian3 = IntegerLaplacian3;
  using Laplacian5 = IntegerLaplacian5;
};
template <>
struct Shortest<Lum32f> {
  using SobelNegVert3 = Separable<Lum32f, DxNeg3, Negated<Sobel3>>;
  using SobelNegVert5 = Separable<Lum32f, DxNeg5, Negated<Sobel5>>;
  using ScharrVert = Separable<Lum32f, Dx3, Scharr3>;
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
    {sweep<typename Shortest<S>::ScharrVert, Store, S, D>, nullptr},
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

inline int clamp(int v, int low, int high) { return v < low ? low : v > high ? high : v; }

// Sums times the reciprocal of a divisor. The sums go on to a whole block behind the first n.
template <bool Rounded>
inline void divide(const Lum16s* sums, Lum8s* d, int n, F32 reciprocal) {
  for (int x = 0; x < n; x += I16::lanes) {
    const I16 s = load(sums + x);
    const F32 low = to_float(widen_low(s)) * reciprocal, high = to_float(widen_high(s)) * reciprocal;
    const I16 v = Rounded ? pack(round_nearest(low), round_nearest(high)) : pack(truncate(low), truncate(high));
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

// Makes the outputs of one filter, in stretches of whole blocks: of column x and the others up to the end, the first n
// are wanted.
template <class S, class D>
class Painter {
 public:
  explicit Painter(const Convolution<S, D>& job)
      : sweep_(find_sweep<Plain, S, D>(job.filter, job.taps)), rows_(rows_at_once<S, D>(job.taps)),
        by_tile_(aliased(job.src, job.dst)) {
    if constexpr (sizeof(S) == 4)
      if (job.filter == FixedFilter::kGauss)
        for (int k = 0; k < job.taps; ++k) kernel_[k] = f32(get(job.kernel + k));
  }
  int rows() const { return rows_; }
  int shift() const { return 0; }
  const F32* kernel() const { return kernel_; }
  void operator()(Stretch<S, D>& stretch, int /*x*/, int n) const {
    if (!by_tile_ && n == stretch.end - stretch.begin) return sweep_(stretch);
    through_tile(stretch, n);
  }

 private:
  void through_tile(Stretch<S, D>& stretch, int n) const {
    const Image<D> dst = stretch.dst;
    const int begin = stretch.begin, first_slider = stretch.first_slider;
    for (int done = 0; done < n; done += Tile<D>::columns) {
      const int wanted = n - done < Tile<D>::columns ? n - done : Tile<D>::columns;
      Tile<D> tile;
      stretch.begin = begin + done;
      stretch.end = stretch.begin + (wanted + kColumns<S> - 1) / kColumns<S> * kColumns<S>;
      stretch.dst = {tile.rows[0], sizeof tile.rows[0]};
      sweep_(stretch);
      for (int y = 0; y < stretch.count; ++y) memcpy(dst.row(y) + done, tile.rows[y], wanted * sizeof(D));
      stretch.first_slider += Tile<D>::columns / kColumns<S>;
    }
    stretch.dst = dst;
    stretch.first_slider = first_slider;
  }
  Sweep<S, D> sweep_;
  int rows_;
  bool by_tile_;
  F32 kernel_[sizeof(S) == 4 ? kMostGaussTaps : 1];
};

template <>
class Painter<Lum8u, Lum8s> {
 public:
  explicit Painter(const Convolution<Lum8u, Lum8s>& job)
      : sums_(find_sweep<Plain, Lum8u, Lum16s>(job.filter, job.taps)), reciprocal_(1.0f / Lum32f(job.divisor)),
        rounded_(job.divisor == 1 ? job.roi.width : job.roi.width / 16 * 16) {
    if (job.divisor == 1)
      direct_ = find_sweep<Plain, Lum8u, Lum8s>(job.filter, job.taps);
    else if (job.divisor > 1 && (job.divisor & (job.divisor - 1)) == 0 && job.divisor <= 1 << kMostShift) {
      direct_ = find_sweep<Shifted, Lum8u, Lum8s>(job.filter, job.taps);
      shift_ = __builtin_ctz(unsigned(job.divisor));
    }
    rows_ = direct_ ? rows_at_once<Lum8u, Lum8s>(job.taps) : rows_at_once<Lum8u, Lum16s>(job.taps);
  }
  int rows() const { return rows_; }
  int shift() const { return shift_; }
  const F32* kernel() const { return nullptr; }
  void operator()(const Stretch<Lum8u, Lum8s>& stretch, int x, int n) const {
    if (direct_ && n == stretch.end - stretch.begin && x + n <= rounded_) return direct_(stretch);
    divided(stretch, x, n);
  }

 private:
  void divided(const Stretch<Lum8u, Lum8s>& stretch, int x, int n) const {
    for (int done = 0; done < n; done += Tile<Lum16s>::columns) {
      const int wanted = n - done < Tile<Lum16s>::columns ? n - done : Tile<Lum16s>::columns;
      Tile<Lum16s> tile;
      const Image<Lum16s> sums = {tile.rows[0], sizeof tile.rows[0]};
      const int begin = stretch.begin + done, blocks = (wanted + kColumns<Lum8u> - 1) / kColumns<Lum8u>;
      sums_({stretch.place, stretch.rows, stretch.count, stretch.regular, stretch.step, stretch.border_value, sums,
             begin, begin + blocks * kColumns<Lum8u>, stretch.sides, 0, nullptr, stretch.sliders,
             stretch.first_slider + done / kColumns<Lum8u>, stretch.resume});
      const int rounded = clamp(rounded_ - (x + done), 0, wanted);
      for (int y = 0; y < stretch.count; ++y) {
        Lum8s* const d = stretch.dst.row(y) + done;
        divide<true>(tile.rows[y], d, rounded, f32(reciprocal_));
        divide<false>(tile.rows[y] + rounded, d + rounded, wanted - rounded, f32(reciprocal_));
      }
    }
  }
  Sweep<Lum8u, Lum16s> sums_;
  Sweep<Lum8u, Lum8s> direct_ = nullptr;
  int rows_, shift_ = 0;
  Lum32f reciprocal_;
  int rounded_;  // the columns behind are truncated
};

}  // namespace

template <class S, class D>
void convolve_band(const Convolution<S, D>& job, Rows rows) {
  constexpr int kBlock = kColumns<S>;
  const Painter<S, D> painter(job);
  const Sides<S> sides(job);
  const int margin = sides.margin(job.taps), half = job.taps / 2, width = job.roi.width;
  const int at_once = aliased(job.src, job.dst) ? kAliasedRows : painter.rows();
  constexpr int kMostSources = kMostRows + kMostGaussTaps - 1;
  const S* source[kMostSources];
  Sliders sliders;
  // One for all: copies of what has just been written are slow.
  Stretch<S, D> stretch;
  stretch.rows = source;
  stretch.step = job.src.step;
  stretch.border_value = job.border_value;
  stretch.dst.step = job.dst.step;
  stretch.sides = &sides;
  stretch.shift = painter.shift();
  stretch.kernel = painter.kernel();
  stretch.sliders = nullptr;
  stretch.first_slider = 0;
  stretch.resume = false;
  // To output row y and as many below it as go at once.
  const auto go_to = [&](int y) {
    stretch.count = rows.end - y < at_once ? rows.end - y : at_once;
    stretch.regular = clamp(job.roi.height - half - y, 0, stretch.count);
    for (int i = 0; i < stretch.count + 2 * half; ++i) {
      const int index = border_index((long long)y - half + i, job.roi.height, job.border);
      source[i] = index < 0 ? nullptr : job.src.row(index);
    }
  };
  const auto paint = [&](int y, Place place, int x, int n) {
    stretch.place = place;
    stretch.begin = x;
    stretch.end = x + (n + kBlock - 1) / kBlock * kBlock;
    stretch.dst.data = job.dst.row(y) + x;
    painter(stretch, x, n);
  };

  if (width < kBlock + 2 * margin) {
    alignas(64) S frames[kMostSources][Sides<S>::kFrame];
    stretch.step = sizeof frames[0];
    for (int y = rows.begin; y < rows.end; y += stretch.count) {
      go_to(y);
      const S *row = nullptr, *framed = nullptr;  // outside of the image rows repeat
      for (int i = 0; i < stretch.count + 2 * half; ++i) {
        if (!source[i]) continue;
        if (source[i] != row) {
          row = source[i];
          sides.frame(row, frames[i] + sides.kMost);
          framed = frames[i] + sides.kMost;
        }
        source[i] = framed;
      }
      paint(y, Place::kInside, 0, width);
    }
    return;
  }

  // What is no multiple of a block is done by blocks that overlap their neighbours.
  const int right = width - kBlock, whole = right / kBlock * kBlock;
  const int last = right - kBlock > margin ? right - kBlock : margin;
  for (int x = kBlock, next; x != 0; x = next < whole ? next : 0) {
    next = whole - x > kTileBlocks * kBlock ? x + kTileBlocks * kBlock : whole;
    for (int y = rows.begin; y < rows.end; y += stretch.count) {
      go_to(y);
      if (x == kBlock) paint(y, Place::kLeft, 0, kBlock);
      if (x < next) {
        stretch.sliders = &sliders;
        stretch.resume = y > rows.begin;
        paint(y, Place::kInside, x, next - x);
        stretch.sliders = nullptr;
        stretch.resume = false;
      }
      if (next < whole) continue;
      if (whole < right && right > kBlock) paint(y, Place::kInside, last, kBlock);
      paint(y, Place::kRight, right, kBlock);
    }
  }
}

template void convolve_band(const Convolution<Lum8u, Lum16s>&, Rows);
template void convolve_band(const Convolution<Lum8u, Lum8s>&, Rows);
template void convolve_band(const Convolution<Lum8u, Lum8u>&, Rows);
template void convolve_band(const Convolution<Lum32f, Lum32f>&, Rows);

}  // namespace lum::LUM_LEVEL
