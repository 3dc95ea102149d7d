// Canny edges: one pass over the derivatives leaves two maps of bits, hysteresis works on those, and the edge bytes are
// written once, from the bits.
//
// The work buffer, whatever its alignment, from its first byte on:
//   weak map    height + 2 rows of bits, a guard word before and behind them. Bit x of row y + 1 is set while pixel
//               (y, x) is a candidate but no edge. A row has width / 32 + 1 words, so that at least one bit behind its
//               last pixel stays 0; standing before the first pixel of the next row too, it is all the frame needed.
//   edge map    the same for the pixels that are edges.
//   magnitudes  three rows of elements with an outside element at both ends; images narrower than a word need none.
//   stack       (row, column) pairs. A push takes its pixel out of the weak map, so width x height pairs are enough.
// The maps take (height + 2) (width / 4 + 8) + 16 bytes and the magnitudes 12 width + 24, or less. These and the stack
// leave at least 3/4 width x height of the bytes that the caller provides.
#include "lumcv/src/lumcvcanny_kernels.h"

#include <stdint.h>

#include <initializer_list>

#include "core/vec.h"

namespace lum::LUM_LEVEL {
namespace {

// ---- Vector operations ----

using Bits = unsigned long long __attribute__((vector_size(sizeof(I16::v))));

I32 as_i32(F32 a) { return {(decltype(I32::v))a.v}; }
F32 as_f32(I32 a) { return {(decltype(F32::v))a.v}; }
#ifdef __AVX2__
I16 add_unsigned(I16 a, I16 b) { return {_mm256_adds_epu16(a.v, b.v)}; }
I16 abs(I16 a) { return {_mm256_abs_epi16(a.v)}; }
I16 above(I16 a, I16 b) { return {_mm256_cmpgt_epi16(a.v, b.v)}; }
I32 above(I32 a, I32 b) { return {_mm256_cmpgt_epi32(a.v, b.v)}; }
F32 above(F32 a, F32 b) { return {_mm256_cmp_ps(a.v, b.v, _CMP_GT_OQ)}; }
F32 not_above(F32 a, F32 b) { return {_mm256_cmp_ps(a.v, b.v, _CMP_NGT_UQ)}; }
I16 select(I16 mask, I16 a, I16 b) { return {_mm256_blendv_epi8(b.v, a.v, mask.v)}; }
// A mask for select() of the lanes whose sign bit is set.
I16 negative(I16 a) { return {_mm256_srai_epi16(a.v, 15)}; }
F32 negative(F32 a) { return a; }
bool any(Bits a) { return !_mm256_testz_si256((__m256i)a, (__m256i)a); }
uint32_t lane_bits(F32 mask) { return _mm256_movemask_ps(mask.v); }
uint32_t word(const I16 (&mask)[2]) {
  return _mm256_movemask_epi8(_mm256_permute4x64_epi64(_mm256_packs_epi16(mask[0].v, mask[1].v), 0xD8));
}

// A byte for every bit: 255 where it is set, else 0.
void expand(uint32_t bits, Lum8u* out) {
  const __m256i byte_of_bit = _mm256_set_epi64x(0x0303030303030303, 0x0202020202020202, 0x0101010101010101, 0);
  const __m256i bit = _mm256_set1_epi64x((long long)0x8040201008040201);
  const __m256i bytes = _mm256_shuffle_epi8(_mm256_set1_epi32((int)bits), byte_of_bit);
  _mm256_storeu_si256((__m256i*)out, _mm256_cmpeq_epi8(_mm256_and_si256(bytes, bit), bit));
}
#else
I16 add_unsigned(I16 a, I16 b) { return {_mm_adds_epu16(a.v, b.v)}; }
I16 abs(I16 a) { return {_mm_max_epi16(a.v, _mm_sub_epi16(_mm_setzero_si128(), a.v))}; }
I16 above(I16 a, I16 b) { return {_mm_cmpgt_epi16(a.v, b.v)}; }
I32 above(I32 a, I32 b) { return {_mm_cmpgt_epi32(a.v, b.v)}; }
F32 above(F32 a, F32 b) { return {_mm_cmpgt_ps(a.v, b.v)}; }
F32 not_above(F32 a, F32 b) { return {_mm_cmpngt_ps(a.v, b.v)}; }
I16 select(I16 mask, I16 a, I16 b) { return {(mask.v & a.v) | (~mask.v & b.v)}; }
I16 negative(I16 a) { return {_mm_srai_epi16(a.v, 15)}; }
F32 negative(F32 a) { return as_f32({_mm_srai_epi32(as_i32(a).v, 31)}); }
bool any(Bits a) { return _mm_movemask_epi8(_mm_cmpeq_epi8((__m128i)a, _mm_setzero_si128())) != 0xFFFF; }
uint32_t lane_bits(F32 mask) { return _mm_movemask_ps(mask.v); }
uint32_t word(const I16 (&mask)[4]) {
  return _mm_movemask_epi8(_mm_packs_epi16(mask[0].v, mask[1].v)) |
         _mm_movemask_epi8(_mm_packs_epi16(mask[2].v, mask[3].v)) << 16;
}

void expand(uint32_t bits, Lum8u* out) {
  const __m128i bit = _mm_set1_epi64x((long long)0x8040201008040201);
  const __m128i bytes = _mm_cvtsi32_si128((int)bits);
  const __m128i twice = _mm_unpacklo_epi8(bytes, bytes), four_times = _mm_unpacklo_epi16(twice, twice);
  const __m128i low = _mm_shuffle_epi32(four_times, 0x50), high = _mm_shuffle_epi32(four_times, 0xFA);
  _mm_storeu_si128((__m128i*)out, _mm_cmpeq_epi8(_mm_and_si128(low, bit), bit));
  _mm_storeu_si128((__m128i*)out + 1, _mm_cmpeq_epi8(_mm_and_si128(high, bit), bit));
}
#endif

I16 splat(Lum16s a) { return i16(a); }
F32 splat(Lum32f a) { return f32(a); }
I16 operator^(I16 a, I16 b) { return {a.v ^ b.v}; }
F32 operator&(F32 a, F32 b) { return as_f32({as_i32(a).v & as_i32(b).v}); }
F32 operator|(F32 a, F32 b) { return as_f32({as_i32(a).v | as_i32(b).v}); }
F32 operator^(F32 a, F32 b) { return as_f32({as_i32(a).v ^ as_i32(b).v}); }
F32 abs(F32 a) { return a & as_f32(i32(0x7FFFFFFF)); }
bool any(I16 a) { return any((Bits)a.v); }
bool any(F32 a) { return any((Bits)a.v); }
bool any(uint32_t a) { return a != 0; }

constexpr int kWord = 32;  // pixels that a word of bits stands for

uint32_t word(const F32 (&mask)[kWord / F32::lanes]) {
  uint32_t bits = 0;
#pragma GCC unroll 8
  for (int i = 0; i < kWord / F32::lanes; ++i) bits |= lane_bits(mask[i]) << i * F32::lanes;
  return bits;
}

// Rows have a word or more. One that ends inside a word gets there by a word that overlaps the one before.
int word_start(int x, int n) { return x <= n - kWord ? x : n - kWord; }

// ---- Magnitudes ----

// Those of 16s are stored relative to the low threshold, so that 0 stands for all that are not above it, and with the
// top bit inverted, so that signed comparisons order them. No magnitude exceeds 65535: neither does a bigger threshold
// that is cut to it let one pass.
template <class T>
struct Rule;
template <>
struct Rule<Lum16s> {
  static constexpr Lum16s nothing = -32768;
  Lum16s low, high;
  static int truncated(Lum32f threshold) { return threshold < 65535 ? int(threshold) : 65535; }
  Rule(Lum32f low_threshold, Lum32f high_threshold)
      : low(Lum16s(truncated(low_threshold))),
        high(Lum16s(truncated(high_threshold) - truncated(low_threshold) + nothing)) {}
};
template <>
struct Rule<Lum32f> {
  static constexpr Lum32f nothing = 0;
  Lum32f low, high;
};

I16 magnitude(I16 dx, I16 dy, I16 low) {
  return subtract_unsigned(add_unsigned(abs(dx), abs(dy)), low) ^ i16(Rule<Lum16s>::nothing);
}
F32 magnitude(F32 dx, F32 dy, F32 low) {
  const F32 m = abs(dx) + abs(dy);
  return m & not_above(low, m);  // a NaN stays
}

template <class T>
LUM_INLINE void magnitude_word(const T* dx, const T* dy, T* out, int x, int n, T low) {
  x = word_start(x, n);
#pragma GCC unroll 8
  for (int end = x + kWord; x < end; x += Vector<T>::lanes)
    store(out + x, magnitude(load(dx + x), load(dy + x), splat(low)));
}

// ---- Non-maximum suppression ----

// Where a gradient points: not steep is horizontal, steep without being vertical is diagonal.
template <class V>
struct Sector {
  V steep, vertical;
};

Sector<F32> sector(F32 dx, F32 dy) {
  const F32 ax = abs(dx), ay = abs(dy);
  constexpr Lum32f kTan22 = 0x1.a8279ap-2f, kTan67 = 0x1.3504f4p+1f;
  return {not_above(ax * f32(kTan22), ay), above(ay, ax * f32(kTan67))};
}

Sector<I16> sector(I16 dx, I16 dy) {
  const I16 ax = abs(dx), ay = abs(dy);
  // Up to 1023, which no 3x3 derivative of bytes exceeds, floor(ax 27146 / 65536) is the largest integer below the
  // product with tan 22.5, and twice ax more is the largest one that is not above the product with tan 67.5.
  if (!any((ax | ay) & i16(~1023))) [[likely]] {
    const I16 limit = multiply_high_unsigned(ax, i16(27146));
    return {above(ay, limit), above(ay, ax + ax + limit)};
  }
  const I16 zero = i16(0);
  const auto low = [zero](I16 a) { return to_float(as_i32(unpack_low(a, zero))); };
  const auto high = [zero](I16 a) { return to_float(as_i32(unpack_high(a, zero))); };
  const Sector<F32> s = sector(low(ax), low(ay)), t = sector(high(ax), high(ay));
  return {pack(as_i32(s.steep), as_i32(t.steep)), pack(as_i32(s.vertical), as_i32(t.vertical))};
}

// Along an axis a plateau belongs to its first pixel. Float magnitudes have no sign, which orders them like their bits,
// NaNs above all others. m itself is no NaN: that would be in the diagonal sector.
I16 peak(I16 before, I16 m, I16 after) { return {above(m, before).v & ~above(after, m).v}; }
F32 peak(F32 before, F32 m, F32 after) {
  return as_f32({above(as_i32(m), as_i32(before)).v & ~above(as_i32(after), as_i32(m)).v});
}
// On a diagonal a plateau belongs to nobody.
I16 above_both(I16 m, I16 a, I16 b) { return above(m, max(a, b)); }
F32 above_both(F32 m, F32 a, F32 b) { return above(m, a) & above(m, b); }  // the larger one would lose a NaN

// What a row is suppressed with. The magnitudes below are made on the way, unless next_dx is null: then they are ready.
template <class T>
struct Lines {
  const T *dx, *dy, *above, *here;
  T* below;
  const T *next_dx, *next_dy;
};

template <class T>
LUM_INLINE Vector<T> candidates(const Lines<T>& line, int x, Vector<T> m) {
  using V = Vector<T>;
  const V dx = load(line.dx + x), dy = load(line.dy + x);
  const T *up = line.above + x, *here = line.here + x, *down = line.below + x;
  const Sector<V> s = sector(dx, dy);
  const V horizontal = peak(load(here - 1), m, load(here + 1));
  const V vertical = peak(load(up), m, load(down));
  const V opposite = negative(dx ^ dy);
  const V diagonal =
      above_both(m, select(opposite, load(up + 1), load(up - 1)), select(opposite, load(down - 1), load(down + 1)));
  return select(s.steep, select(s.vertical, vertical, diagonal), horizontal);
}

struct Found {
  uint32_t weak, seeds;
};

template <class T>
LUM_INLINE Found suppress_word(const Lines<T>& line, int x, Vector<T> high) {
  using V = Vector<T>;
  constexpr int n = kWord / V::lanes;
  const V nothing = splat(Rule<T>::nothing);
  V m[n], all = nothing ^ nothing;
#pragma GCC unroll 8
  for (int i = 0; i < n; ++i) {
    m[i] = load(line.here + x + i * V::lanes);
    all = all | (m[i] ^ nothing);
  }
  if (!any(all)) return {0, 0};
  V found[n], seeds[n];
#pragma GCC unroll 8
  for (int i = 0; i < n; ++i) {
    found[i] = candidates(line, x + i * V::lanes, m[i]);
    seeds[i] = found[i] & above(m[i], high);
  }
  const uint32_t seed_bits = word(seeds);
  return {word(found) & ~seed_bits, seed_bits};
}

// The words of a row. The magnitudes below run two words ahead of their use: a load that needs bytes of a store which
// has not left the processor yet would wait for it.
template <class T>
void suppress_row(const Lines<T>& line, int width, const Rule<T>& rule, uint32_t* weak, uint32_t* edge) {
  constexpr int kFetch = 2048 / sizeof(T);  // about as far as memory is away
  const int n = width < kWord ? kWord : width;
  const Vector<T> high = splat(rule.high);
  const auto next = [&](int x) { magnitude_word(line.next_dx, line.next_dy, line.below, x, n, rule.low); };
  if (line.next_dx) next(0), next(kWord);
  for (int x = 0; x < n; x += kWord) {
    if (line.next_dx) {
      for (const T* fetched : {line.next_dx, line.next_dy})
        for (int i = 0; i < kWord; i += 64 / (int)sizeof(T)) __builtin_prefetch(fetched + x + kFetch + i);
      next(x + 2 * kWord);
    }
    const int at = word_start(x, n);
    const Found found = suppress_word(line, at, high);
    put(weak++, found.weak >> (x - at));
    put(edge++, found.seeds >> (x - at));
  }
  if (width % kWord == 0) put(weak, 0u), put(edge, 0u);
}

// ---- Hysteresis ----

struct Maps {
  Lum8u *weak, *edge;  // the first row of pixels
  ptrdiff_t stride;    // bytes from row to row
  ptrdiff_t size;      // bytes of all rows of pixels
};

template <class V>
V bits_at(const Lum8u* p) {
  return get((const V*)p);
}

// Bits and the neighbours on both sides of each; loads moved by a byte bring those across the ends of the lanes.
template <class V>
V spread(const Lum8u* p) {
  const V bits = bits_at<V>(p);
  return bits | bits << 1 | bits >> 1 | bits_at<V>(p - 1) >> 7 | bits_at<V>(p + 1) << 7;
}

// Weak pixels below or above edges become edges (`from` leads to those), and so do the runs of weak pixels beside them.
// This finds nearly all at a price that does not depend on their number. What it misses, such as the rest of a run that
// leaves its lane or is long, is left to the stack.
template <class V>
void grow(const Maps& map, ptrdiff_t at, ptrdiff_t from) {
  const V weak = bits_at<V>(map.weak + at);
  if (!any(weak)) return;
  const V edge = bits_at<V>(map.edge + at), candidates = weak | edge;
  V grown = edge | (weak & spread<V>(map.edge + at + from));
  // To the right, an addition carries from every bit through the rest of its run.
  grown |= candidates & ~(candidates + grown);
  V run = candidates;
#pragma GCC unroll 3
  for (int step = 1; step <= 4; step *= 2) {
    grown |= run & grown >> step;
    run &= run >> step;
  }
  put((V*)(map.edge + at), grown);
  put((V*)(map.weak + at), candidates & ~grown);
}

template <class Index>
struct Stack {
  struct Pair {
    Index row, column;
  };
  Pair* pairs;
  size_t count;
  void push(ptrdiff_t row, ptrdiff_t column) { put(pairs + count++, Pair{Index(row), Index(column)}); }
  Pair pop() { return get(pairs + --count); }
};

// Makes the weak pixels that touch an edge edges and pushes them.
template <class V, class Index>
void push_contacts(const Maps& map, ptrdiff_t at, Stack<Index>& stack) {
  const Lum8u* const edge = map.edge + at;
  const V weak = bits_at<V>(map.weak + at);
  const V found = weak & (spread<V>(edge - map.stride) | spread<V>(edge) | spread<V>(edge + map.stride));
  if (!any(found)) return;
  put((V*)(map.weak + at), weak & ~found);
  put((V*)(map.edge + at), bits_at<V>(edge) | found);
  uint32_t words[sizeof(V) / 4];
  memcpy(words, &found, sizeof found);
  for (uint32_t left : words) {
    for (; left; left &= left - 1) stack.push(at / map.stride, at % map.stride * 8 + __builtin_ctz(left));
    at += sizeof(uint32_t);
  }
}

// Pops a pixel, makes its weak neighbours edges and pushes them, until the stack is empty.
template <class Index>
void follow(const Maps& map, Stack<Index>& stack) {
  while (stack.count) {
    const auto pixel = stack.pop();
    const ptrdiff_t left = ptrdiff_t(pixel.column) - 1;  // the first of three bits, which two bytes hold
    for (ptrdiff_t row = ptrdiff_t(pixel.row) - 1; row <= ptrdiff_t(pixel.row) + 1; ++row) {
      const ptrdiff_t at = row * map.stride + (left >> 3);
      const unsigned weak = bits_at<Lum16u>(map.weak + at);
      unsigned found = weak & 7u << (left & 7);
      if (!found) continue;
      put((Lum16u*)(map.weak + at), Lum16u(weak & ~found));
      put((Lum16u*)(map.edge + at), Lum16u(bits_at<Lum16u>(map.edge + at) | found));
      for (; found; found &= found - 1) stack.push(row, (left & ~7) + __builtin_ctz(found));
    }
  }
}

// The rows lie behind each other without a gap, so vectors pass over their ends.
template <class Index>
void hysteresis(const Maps& map, Lum8u* pairs) {
  constexpr ptrdiff_t kWide = sizeof(Bits), kNarrow = sizeof(uint32_t);
  ptrdiff_t at = 0;
  for (; at <= map.size - kWide; at += kWide) grow<Bits>(map, at, -map.stride);
  for (; at < map.size; at += kNarrow) grow<uint32_t>(map, at, -map.stride);
  for (; at >= kWide; at -= kWide) grow<Bits>(map, at - kWide, map.stride);
  for (; at > 0; at -= kNarrow) grow<uint32_t>(map, at - kNarrow, map.stride);
  Stack<Index> stack = {(typename Stack<Index>::Pair*)pairs, 0};
  for (; at <= map.size - kWide; at += kWide) push_contacts<Bits>(map, at, stack);
  for (; at < map.size; at += kNarrow) push_contacts<uint32_t>(map, at, stack);
  follow(map, stack);
}

void ownHysteresisThresholding_16u(const Maps& map, Lum8u* pairs) { hysteresis<Lum16u>(map, pairs); }
void ownHysteresisThresholding_32s(const Maps& map, Lum8u* pairs) { hysteresis<Lum32s>(map, pairs); }

// ---- Planes ----

template <class T>
void fill(T* out, int n, T value) {
  constexpr int kLanes = Vector<T>::lanes;
  for (int x = 0; x < n; x += kLanes) store(out + (x <= n - kLanes ? x : n - kLanes), splat(value));
}

// The rows of a plane. Those shorter than a word are copied in front of zeros, whose magnitude makes no candidate; a
// copy lives until the row after the next one is asked for.
template <class T>
struct Rows {
  Image<const T> image;
  int width;
  T copies[2][kWord];
  Rows(Image<const T> image_, int width_) : image(image_), width(width_) {
    if (width < kWord) fill(copies[0], 2 * kWord, T(0));
  }
  const T* operator()(int y) {
    if (width >= kWord) return image.row(y);
    return (const T*)memcpy(copies[y & 1], image.row(y), size_t(width) * sizeof(T));
  }
};

// Fills both maps.
template <class T>
void suppress(Rows<T>&& dx, Rows<T>&& dy, LumSize roi, const Rule<T>& rule, const Maps& map, T* ring) {
  T narrow_ring[3 * (kWord + 2)];
  if (roi.width < kWord) ring = narrow_ring;
  const int n = roi.width < kWord ? kWord : roi.width;
  T *above = ring + 1, *here = above + n + 2, *below = here + n + 2;
  fill(above - 1, n + 2, Rule<T>::nothing);
  for (T* outside : {here - 1, here + n, below - 1, below + n}) put(outside, Rule<T>::nothing);
  const T *this_dx = dx(0), *this_dy = dy(0);
  for (int x = 0; x < n; x += kWord) magnitude_word(this_dx, this_dy, here, x, n, rule.low);
  for (int y = 0; y < roi.height; ++y) {
    const bool last = y + 1 == roi.height;
    if (last) fill(below, n, Rule<T>::nothing);
    const T *const next_dx = last ? nullptr : dx(y + 1), *const next_dy = last ? nullptr : dy(y + 1);
    suppress_row({this_dx, this_dy, above, here, below, next_dx, next_dy}, roi.width, rule,
                 (uint32_t*)(map.weak + y * map.stride), (uint32_t*)(map.edge + y * map.stride));
    T* const free_row = above;
    above = here, here = below, below = free_row;
    this_dx = next_dx, this_dy = next_dy;
  }
}

// The bytes of a row, padding included.
void edge_row(const Lum8u* map, Lum8u* out, int width, int step) {
  int x = 0;
  for (; x <= width - kWord; x += kWord) expand(bits_at<uint32_t>(map + x / 8), out + x);
  Lum8u rest[kWord];
  expand(bits_at<uint32_t>(map + x / 8), rest);
  memcpy(out + x, rest, size_t(width - x));
  memset(out + width, 0, size_t(step - width));
}

// Clears what surrounds the rows of a map and returns the first of them.
Lum8u* framed_map(Lum8u* buffer, ptrdiff_t stride, ptrdiff_t size) {
  const ptrdiff_t frame = stride + (ptrdiff_t)sizeof(uint32_t);
  memset(buffer, 0, frame);
  memset(buffer + frame + size, 0, frame);
  return buffer + frame;
}

}  // namespace

template <class T>
void canny(Image<const T> dx, Image<const T> dy, Image<Lum8u> edges, LumSize roi, Lum32f low, Lum32f high,
           Lum8u* buffer) {
  const ptrdiff_t stride = (roi.width / kWord + 1) * (ptrdiff_t)sizeof(uint32_t), size = stride * roi.height;
  const ptrdiff_t framed_size = size + 2 * (stride + (ptrdiff_t)sizeof(uint32_t));
  const Maps map = {framed_map(buffer, stride, size), framed_map(buffer + framed_size, stride, size), stride, size};
  T* const ring = (T*)(buffer + 2 * framed_size);
  suppress(Rows<T>(dx, roi.width), Rows<T>(dy, roi.width), roi, Rule<T>{low, high}, map, ring);
  Lum8u* const pairs = (Lum8u*)(ring + (roi.width < kWord ? 0 : 3 * (ptrdiff_t(roi.width) + 2)));
  const bool short_pairs = roi.width < 65533 && roi.height < 65533;
  (short_pairs ? ownHysteresisThresholding_16u : ownHysteresisThresholding_32s)(map, pairs);
  for (int y = 0; y < roi.height; ++y) edge_row(map.edge + y * stride, edges.row(y), roi.width, edges.step);
}

template void canny<Lum16s>(Image<const Lum16s>, Image<const Lum16s>, Image<Lum8u>, LumSize, Lum32f, Lum32f, Lum8u*);
template void canny<Lum32f>(Image<const Lum32f>, Image<const Lum32f>, Image<Lum8u>, LumSize, Lum32f, Lum32f, Lum8u*);

}  // namespace lum::LUM_LEVEL
