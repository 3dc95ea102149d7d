// Compiled once per level.
#include "core/border.h"
#include "lumcvseparable_sums.h"

namespace lum::LUM_LEVEL {
namespace {

template <class S, int C>
struct AlongRow {
  const S* e;
  AlongRow from(int x) const { return {e + x}; }
  const S* at(int k, int x) const { return e + x + C * k; }
};

// What few taps see of a row from p on, in as few loads as there can be: half of those at an odd place reach over the end
// of a cache line, and take as long as three.
template <class S, int N>
struct SeenPairs {
  LUM_INLINE explicit SeenPairs(const S* p) {
    static_assert(N == 3 || N == 5);
    v[0] = renewed(load(p));
    v[N / 2] = renewed(load(p + N - 1));
    if constexpr (N == 5) v[1] = between(v[0], v[2]);
  }
  I16 v[N / 2 + 1];
};

template <class S, int C, int N>
struct RowSums {
  using V = I16;
  static constexpr int kVectors = kIntegerVectors<N>, kBits = 32;
  const S* e;  // e[x + C k] is what tap k of output x sees
  Taps<N> taps;

  RowSums from(int x) const { return {e + x, taps}; }

  template <int B, class Finish>
  LUM_INLINE void compute(V* v, int x, const Finish& finish) const {
    if constexpr (C == 1)
      neighbours<B>(v, e + x, finish);
    else
      paired_sums<B>(
          v, taps, [&](int k, int i) LUM_INLINE_LAMBDA { return load(e + x + C * k + i * V::lanes); }, finish);
  }

  // One channel: neighbouring elements are neighbouring taps. Of few taps even and odd outputs pair the same elements.
  // Of many, where there is no room for pairs of two kinds, even outputs start theirs at an even element, odd ones at an
  // odd element. The last tap of an odd count takes both from one load, so no element behind it is read.
  template <int B, class Finish>
  LUM_INLINE void neighbours(V* v, const S* p, const Finish& finish) const {
    I32 even[B], odd[B];
    if constexpr (N > 0) {
      repeat<B>(B, [&](int i) LUM_INLINE_LAMBDA {
        const SeenPairs<S, N> seen(p + i * V::lanes);
        even[i] = multiply_pairs(seen.v[N / 2], taps.last);
        odd[i] = multiply_pairs(seen.v[N / 2], taps.odd_pairs[N / 2]);
        repeat<N / 2>(0, [&](int j) LUM_INLINE_LAMBDA {
          even[i] = even[i] + multiply_pairs(seen.v[j], taps.pairs[j]);
          odd[i] = odd[i] + multiply_pairs(seen.v[j], taps.odd_pairs[j]);
        });
      });
    } else {
      repeat<B>(B, [&](int i) LUM_INLINE_LAMBDA { even[i] = odd[i] = i32(0); });
      for (int j = 0; j < taps.count() / 2; ++j) {
        const I32 t = taps.at(j);
        repeat<B>(B, [&](int i) LUM_INLINE_LAMBDA {
          even[i] = even[i] + multiply_pairs(load(p + i * V::lanes + 2 * j), t);
          odd[i] = odd[i] + multiply_pairs(load(p + i * V::lanes + 2 * j + 1), t);
        });
      }
      if (taps.count() % 2)
        repeat<B>(B, [&](int i) LUM_INLINE_LAMBDA {
          const I16 a = load(p + i * V::lanes + taps.count() - 1);
          even[i] = even[i] + multiply_pairs(a, taps.last);
          odd[i] = odd[i] + multiply_pairs(a, taps.last_for_odd);
        });
    }
    repeat<B>(B, [&](int i) LUM_INLINE_LAMBDA { v[i] = pack_even_odd(finish(even[i]), finish(odd[i])); });
  }

  template <class Finish>
  void element(Lum16s* d, int x, const Finish& finish) const {
    unsigned sum = 0;  // wraps as the vectors do
    for (int k = 0; k < taps.count(); ++k) sum += unsigned(get(taps.taps + k) * get(e + x + C * k));
    put_saturated(d, finish(int(sum)));
  }
};

// One channel of bytes whose sums fit 16 bits: two elements to a lane, the even outputs' sums and the odd ones'.
template <int N>
struct ByteRowSums {
  using V = I16;
  static constexpr int kVectors = 2, kBits = 16;
  RowSums<Lum8u, 1, N> wide;
  std::conditional_t<N == 0, const ByteTaps<N>&, ByteTaps<N>> taps;  // a count known at compile time: in registers

  RowSums<Lum8u, 1, N> from(int x) const { return wide.from(x); }

  template <int B, class Finish>
  LUM_INLINE void compute(V* v, int x, const Finish& finish) const {
    if constexpr (B == 1) return wide.template compute<1>(v, x, finish);
    const Lum8u* const p = wide.e + x;
    I16 even, odd;
    if constexpr (N > 0 && !kMultipliesBytes) {
      I16 seen[N + 1];
      repeat<N / 2 + 1>(0, [&](int j) LUM_INLINE_LAMBDA {
        const I16 bytes = renewed(load_bytes(p + 2 * j));
        seen[2 * j] = low_bytes(bytes);
        seen[2 * j + 1] = high_bytes(bytes);
      });
      even = seen[0] * taps.word(0);
      odd = seen[1] * taps.word(0);
      repeat<N - 1>(0, [&](int k) LUM_INLINE_LAMBDA {
        even = even + seen[k + 1] * taps.word(k + 1);
        odd = odd + seen[k + 2] * taps.word(k + 1);
      });
    } else if constexpr (N > 0) {
      const I16 end = renewed(load_bytes(p + N - 1));
      even = multiply_bytes(end, taps.byte_last);
      odd = multiply_bytes(end, taps.byte_odd_pairs[N / 2]);
      repeat<N / 2>(0, [&](int j) LUM_INLINE_LAMBDA {
        const I16 bytes = renewed(load_bytes(p + 2 * j));
        even = even + multiply_bytes(bytes, taps.byte_pairs[j]);
        odd = odd + multiply_bytes(bytes, taps.byte_odd_pairs[j]);
      });
    } else {
      even = odd = i16(0);
      for (int j = 0; j < taps.count() / 2; ++j) {
        even = even + multiply_bytes(load_bytes(p + 2 * j), taps.byte_pairs[j]);
        odd = odd + multiply_bytes(load_bytes(p + 2 * j + 1), taps.byte_pairs[j]);
      }
      if (taps.count() % 2) {
        const I16 end = load_bytes(p + taps.count() - 1);
        even = even + multiply_bytes(end, taps.byte_last);
        odd = odd + multiply_bytes(end, taps.byte_last_for_odd);
      }
    }
    interleave(finished(even, finish), finished(odd, finish), v);
  }
  template <class Finish>
  void element(Lum16s* d, int x, const Finish& finish) const {
    wide.element(d, x, finish);
  }
};

template <int C, int N>
struct FloatRowSums {
  using V = F32;
  static constexpr int kVectors = kFloatVectors<N>;
  static constexpr int kAhead = 512;  // bytes that the processor does not ask for by itself, from page to page
  const Lum32f* e;
  FloatTaps<N> taps;

  template <int B>
  LUM_INLINE void compute(V* v, int x, Saturate) const {
    if (B == kVectors) __builtin_prefetch(ahead(e + x, kAhead));
    ascending_sums<B>(v, taps, [&](int k, int i) LUM_INLINE_LAMBDA { return load(e + x + C * k + i * V::lanes); });
  }
  void element(Lum32f* d, int x, Saturate) const {
    Lum32f sum = get(e + x) * get(taps.memory);
    for (int k = 1; k < taps.count(); ++k) sum += get(e + x + C * k) * get(taps.memory + k);
    put(d, sum);
  }
};

// Some rows of outputs, of columns [begin, end).
template <class S>
struct Span {
  Image<const S> seen;  // from what tap 0 of column `begin` sees
  Mid<S>* const* dst;   // of the first row, where the pass begins
  int count;            // of rows
  int begin, end;
  bool behind;  // a vector of elements may be read behind what the last column sees
};
template <int C, class S, class Body>
LUM_INLINE void each_row(const RowPass<S>& pass, const Span<S>& span, const Body& body) {
  for (int i = 0; i < span.count; ++i)
    body(span.seen.row(i), get(span.dst + i) + (ptrdiff_t)(span.begin - pass.columns.begin) * C);
}
// Each in a function of its own, for its own taps in registers.
template <int C, int N, class S>
[[gnu::noinline]] void narrow_row(const RowPass<S>& pass, const S* e, Lum16s* d, int n, int bulk, bool behind,
                                  const NarrowTaps<N>& taps) {
  run_scaled(NarrowSums<AlongRow<S, C>, N>{{e}, taps}, d, n, bulk, {0, behind}, pass.scale);
}
template <int C, int N, class S>
[[gnu::noinline]] void wide_row(const RowPass<S>& pass, const S* e, Lum16s* d, int n, int bulk, bool behind,
                                const Taps<N>& taps) {
  run_scaled(RowSums<S, C, N>{e, taps}, d, n, bulk, {0, behind}, pass.scale);
}
template <int C, int N, class S>
void row_span(const RowPass<S>& pass, const Span<S>& span, const WideOrNarrowTaps<N>& taps) {
  const int bulk = (pass.roi.width / 16 * 16 - span.begin) * C, n = (span.end - span.begin) * C;
  each_row<C>(pass, span, [&](const S* e, Lum16s* d) {
    if constexpr (sizeof(S) == 1 ? C > 1 : kLooksForNarrow) {
      bool narrow = pass.narrow > 0;
      if constexpr (sizeof(S) == 2) narrow = narrow && within(e, n + (pass.taps - 1) * C, pass.narrow);
      if (narrow) return narrow_row<C>(pass, e, d, n, bulk, span.behind, taps.narrow);
    }
    wide_row<C, N>(pass, e, d, n, bulk, span.behind, taps);
  });
}
template <int C, int N>
[[gnu::noinline]] void row_span(const RowPass<Lum8u>& pass, const Span<Lum8u>& span, const ByteTaps<N>& taps) {
  const int bulk = pass.roi.width / 16 * 16 - span.begin, n = span.end - span.begin;
  each_row<C>(pass, span, [&](const Lum8u* e, Lum16s* d) LUM_INLINE_LAMBDA {
    run_scaled(ByteRowSums<N>{{e, taps}, taps}, d, n, bulk, {0, span.behind}, pass.scale);
  });
}
template <int C, int N>
[[gnu::noinline]] void row_span(const RowPass<Lum32f>& pass, const Span<Lum32f>& span, const FloatTaps<N>& taps) {
  each_row<C>(pass, span, [&](const Lum32f* e, Lum32f* d) LUM_INLINE_LAMBDA {
    run(FloatRowSums<C, N>{e, taps}, d, (span.end - span.begin) * C, {0, span.behind}, Saturate{});
  });
}

// As memcpy, which a call takes longer than rows of a few vectors do.
LUM_INLINE void copy_bytes(void* to, const void* from, int n) {
  constexpr int kStep = sizeof(I16);
  if (n < kStep || n > 8 * kStep) {
    memcpy(to, from, n);
    return;
  }
  for (int i = 0; i < n; i += kStep) {
    if (i > n - kStep) i = n - kStep;  // some bytes once more
    store((Lum16s*)((char*)to + i), load((const Lum16s*)((const char*)from + i)));
  }
}

// What the outputs of some columns see, border included.
template <int C, class S>
class Stretch {
 public:
  Stretch(const RowPass<S>& pass, int begin, int end)
      : pass_(pass), first_((long long)begin - pass.anchor), n_(end - begin + pass.taps - 1) {
    const int width = pass.roi.width;
    inside_ = first_ < 0 ? clamp(pass.anchor - begin, 0, n_) : 0;
    outside_ = first_ + n_ > width ? int(width - first_ > inside_ ? width - first_ : inside_) : n_;
    const int known = begin == end ? 0 : n_ - (outside_ - inside_);
    for (int i = 0; i < kKnown && i < known; ++i) known_[i] = column(i);
  }
  // Of some rows. Border pixels go one after the other, each down all rows.
  void operator()(Image<const S> rows, int count, S* stretches, ptrdiff_t pitch) const {
    const int width = outside_ - inside_;
    const auto fill = [&](int i, int border) LUM_INLINE_LAMBDA {
      const int x = border < kKnown ? known_[border] : column(border);
      S* to = stretches + i * C;
      for (int y = 0; y < count; ++y, to += pitch) {
        const S* const from = rows.row(y) + (ptrdiff_t)(x < 0 ? 0 : x) * C;
        for (int c = 0; c < C; ++c) put(to + c, x < 0 ? pass_.border_value : get(from + c));
      }
    };
    for (int i = 0; i < inside_; ++i) fill(i, i);
    if (width > 0)
      for (int y = 0; y < count; ++y)
        copy_bytes(stretches + inside_ * C + y * pitch, rows.row(y) + (ptrdiff_t)(first_ + inside_) * C,
                   width * C * (int)sizeof(S));
    for (int i = outside_; i < n_; ++i) fill(i, i - width);
  }

 private:
  // What stands at a border pixel, numbered from the left.
  int column(int border) const {
    const int i = border < inside_ ? border : border + outside_ - inside_;
    return border_index(first_ + i, pass_.roi.width, pass_.border);
  }
  const RowPass<S>& pass_;
  long long first_;
  int n_;
  int inside_, outside_;  // where the row itself begins and ends in the stretch
  static constexpr int kKnown = 16;
  int known_[kKnown];
};

// The columns whose outputs see the border, at both ends of a row or, in short rows, all of them; `right` to the end and
// the beginning to `left` go by stretches. An end is some vectors long even if few of its outputs see the border.
struct Ends {
  int left, right;
};
template <int C, class S>
inline Ends ends_of(const RowPass<S>& pass) {
  constexpr int kEnd = 32, kShort = 1024;
  const Rows columns = pass.columns;
  if (((long long)columns.end - columns.begin + pass.taps) * C * (int)sizeof(S) <= kShort)
    return {columns.end, columns.end};
  const int last = pass.roi.width - (pass.taps - 1 - pass.anchor);  // sees the border on the right
  Ends ends = {columns.begin, columns.end};
  if (columns.begin < pass.anchor)
    ends.left = clamp(pass.anchor > kEnd ? pass.anchor : kEnd, columns.begin, columns.end);
  if (last < columns.end)
    ends.right = clamp(last < columns.end - kEnd ? last : columns.end - kEnd, ends.left, columns.end);
  return ends;
}

// Rows go some at a time: what is stored into stretches has reached the cache when it is loaded.
template <int C, class S, class T>
inline void row_band_taps(const RowPass<S>& pass, Rows rows, S* stretches, int room, const T& taps) {
  constexpr int kRows = 8;
  const auto [left, right] = ends_of<C>(pass);
  const int begin = pass.columns.begin, end = pass.columns.end;
  const long long longest = (left - begin > end - right ? left - begin : end - right) + pass.taps - 1LL;
  const long long pitch = (longest * C * (int)sizeof(S) + 32 + 15) / 16 * 16 / (int)sizeof(S);
  const int at_once = clamp(int(room / (pitch * (int)sizeof(S))), 1, kRows);

  const int pitch_bytes = int(pitch * (int)sizeof(S));
  const Stretch<C, S> at_left(pass, begin, left), at_right(pass, right, end);
  for (int y = rows.begin, count; y < rows.end; y += count) {
    count = rows.end - y < at_once ? rows.end - y : at_once;
    const auto bordered = [&](const Stretch<C, S>& stretch, int from, int to) {
      if (from == to) return;
      stretch({pass.src.row(y), pass.src.step}, count, stretches, pitch);
      row_span<C>(pass, {{stretches, pitch_bytes}, pass.dst + y, count, from, to, true}, taps);
    };
    bordered(at_left, begin, left);
    bordered(at_right, right, end);
    if (left == right) continue;
    const S* const seen = pass.src.row(y) + (ptrdiff_t)(left - pass.anchor) * C;
    row_span<C>(pass, {{seen, pass.src.step}, pass.dst + y, count, left, right, false}, taps);
  }
}

}  // namespace

template <class S, int C>
void row_band(const RowPass<S>& pass, Rows rows, Lum8u* scratch) {
  alignas(16) Lum8u stack[kRowStack];
  const bool own = row_scratch<S, C>(pass.taps) <= kRowStack;
  S* const stretches = (S*)(own ? stack : scratch);
  const auto band = [&](const auto& taps) { row_band_taps<C>(pass, rows, stretches, own ? kRowStack : 0, taps); };
  if constexpr (sizeof(S) == 1 && C == 1)
    if (pass.small) return with_taps<ByteTaps>(pass.kernel, pass.taps, band);
  if constexpr (sizeof(S) == 4)
    with_taps<FloatTaps>(pass.kernel, pass.taps, band);
  else
    with_taps<WideOrNarrowTaps>(pass.kernel, pass.taps, band);
}

template void row_band<Lum8u, 1>(const RowPass<Lum8u>&, Rows, Lum8u*);
template void row_band<Lum8u, 3>(const RowPass<Lum8u>&, Rows, Lum8u*);
template void row_band<Lum16s, 1>(const RowPass<Lum16s>&, Rows, Lum8u*);
template void row_band<Lum16s, 3>(const RowPass<Lum16s>&, Rows, Lum8u*);
template void row_band<Lum32f, 1>(const RowPass<Lum32f>&, Rows, Lum8u*);
template void row_band<Lum32f, 3>(const RowPass<Lum32f>&, Rows, Lum8u*);

}  // namespace lum::LUM_LEVEL
