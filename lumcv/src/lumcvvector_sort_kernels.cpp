// Compiled once per level. Quicksort that divides by whole vectors, without branches on what it compares, down to
// windows of one size that a network sorts.
#include "core/vec.h"
#include "lumcvvector_kernels.h"

namespace lum::LUM_LEVEL {
namespace {

constexpr int kLanes = F64::lanes;

// ---- windows ----

constexpr int kWindow = 16;
struct Window {
  F64 row[kWindow / kLanes];
};

LUM_INLINE void exchange(F64& a, F64& b) {
  const F64 lesser = min(a, b);
  b = max(a, b);
  a = lesser;
}

// Compares elements that are Distance apart, in blocks of twice as many.
template <int Distance>
LUM_INLINE void half_clean(Window& w) {
  constexpr int kRows = Distance / kLanes;
  for (int r = 0; r < kWindow / kLanes; ++r) {
    if constexpr (kRows == 0)
      w.row[r] = exchange<Distance>(w.row[r]);
    else if (r / kRows % 2 == 0)
      exchange(w.row[r], w.row[r + kRows]);
  }
  if constexpr (Distance > 1) half_clean<Distance / 2>(w);
}

// Merges sorted halves of blocks, of which the second counts as reversed: its first element meets the last of the other.
template <int Block>
LUM_INLINE void merge_blocks(Window& w) {
  if constexpr (Block > 2) merge_blocks<Block / 2>(w);
  constexpr int kRows = Block / kLanes;
  for (int r = 0; r < kWindow / kLanes; ++r) {
    if constexpr (kRows <= 1) {
      w.row[r] = exchange<Block - 1>(w.row[r]);
    } else if (r / (kRows / 2) % 2 == 0) {
      F64 &a = w.row[r], &b = w.row[r / kRows * kRows + kRows - 1 - r % kRows];
      b = reverse(b);
      exchange(a, b);
      b = reverse(b);
    }
  }
  if constexpr (Block > 2) half_clean<Block / 4>(w);
}

void sort_window(Lum64f* p) {
  Window w;
  for (int r = 0; r < kWindow / kLanes; ++r) w.row[r] = load(p + r * kLanes);
  merge_blocks<kWindow>(w);
  for (int r = 0; r < kWindow / kLanes; ++r) store(p + r * kLanes, w.row[r]);
}

// ---- division ----

// What is divided at a time. Two blocks at least are in a range.
constexpr int kBlock = 2 * kLanes;
static_assert(kWindow >= 2 * kBlock);

enum class First { less, less_or_equal };

// Hands out the ends of a gap.
struct Gap {
  Lum64f *begin, *end;

  template <First first>
  LUM_INLINE void fill(F64 v, F64 pivot) {
    const int n = move_first(first == First::less ? less(v, pivot) : less_equal(v, pivot), &v);
    store(begin, v);
    store(end - kLanes, v);
    begin += n;
    end -= kLanes - n;
  }
  template <First first>
  LUM_INLINE void fill(Lum64f v, Lum64f pivot) {
    put(begin, v);
    put(end - 1, v);
    const bool low = first == First::less ? v < pivot : v <= pivot;
    begin += low;
    end -= !low;
  }
};

LUM_INLINE void copy_block(Lum64f* to, const Lum64f* from) {
  for (int i = 0; i < kBlock; i += kLanes) store(to + i, load(from + i));
}

// Moves the elements that are less than the pivot (or equal) to the front and tells how many they are. The blocks at the
// ends are held back, so that there is a gap of two blocks; the next block is read beside its smaller part.
template <First first>
ptrdiff_t divide(Lum64f* p, ptrdiff_t n, Lum64f pivot) {
  const F64 pivots = f64(pivot);
  Lum64f held[3 * kBlock];
  copy_block(held, p);
  copy_block(held + kBlock, p + n - kBlock);
  const Lum64f *left = p + kBlock, *right = p + n - kBlock;
  Gap gap = {p, p + n};
  while (right - left >= kBlock) {
    const Lum64f* block = left;
    if (left - gap.begin <= gap.end - right)
      left += kBlock;
    else
      block = right -= kBlock;
    F64 v[kBlock / kLanes];
    for (int i = 0; i < kBlock / kLanes; ++i) v[i] = load(block + i * kLanes);
    for (const F64 one : v) gap.fill<first>(one, pivots);
  }
  // The rest lies in one piece, with at least a block behind it.
  copy_block(held + 2 * kBlock, left);
  const ptrdiff_t count = 2 * kBlock + (right - left);
  ptrdiff_t i = 0;
  for (; i <= count - 2 * kLanes; i += kLanes) gap.fill<first>(load(held + i), pivots);
  for (; i < count; ++i) gap.fill<first>(held[i], pivot);
  return gap.begin - p;
}

// The middle of as many elements as a window has.
Lum64f pivot_of(const Lum64f* p, ptrdiff_t n) {
  Lum64f samples[kWindow];
  for (int i = 0; i < kWindow; ++i) samples[i] = get(p + n / kWindow * i + n / kWindow / 2);
  sort_window(samples);
  return samples[kWindow / 2];
}

// ---- ranges ----

// Short arrays only.
void insertion_sort(Lum64f* p, ptrdiff_t n) {
  for (ptrdiff_t i = 1; i < n; ++i) {
    const Lum64f value = get(p + i);
    ptrdiff_t at = i;
    for (; at > 0 && get(p + at - 1) > value; --at) put(p + at, get(p + at - 1));
    put(p + at, value);
  }
}

// Lets a value sink below greater ones in a heap whose root is at 0.
void sink(Lum64f* p, ptrdiff_t at, ptrdiff_t n, Lum64f value) {
  for (ptrdiff_t child; (child = 2 * at + 1) < n; at = child) {
    if (child + 1 < n && get(p + child) < get(p + child + 1)) ++child;
    if (get(p + child) <= value) break;
    put(p + at, get(p + child));
  }
  put(p + at, value);
}

void heap_sort(Lum64f* p, ptrdiff_t n) {
  for (ptrdiff_t i = n / 2; i-- > 0;) sink(p, i, n, get(p + i));
  for (ptrdiff_t i = n; --i > 0;) {
    const Lum64f value = get(p + i);
    put(p + i, get(p));
    sink(p, 0, i, value);
  }
}

struct Range {
  Lum64f* begin;
  ptrdiff_t n;
  int divisions;  // that are left
};

}  // namespace

void sort_ascending(Lum64f* p, ptrdiff_t n, int divisions) {
  if (n < kWindow) return insertion_sort(p, n);
  Range waiting[32];  // each at most half as large as the one before
  int count = 0;
  Range range = {p, n, divisions};
  for (;;) {
    while (range.n > kWindow && range.divisions > 0) {
      --range.divisions;
      const Lum64f pivot = pivot_of(range.begin, range.n);
      ptrdiff_t low = divide<First::less>(range.begin, range.n, pivot);
      if (low == 0) {  // the pivot is the least; all its equals are done with
        low = divide<First::less_or_equal>(range.begin, range.n, pivot);
        range.begin += low;
        range.n -= low;
        continue;
      }
      const Range left = {range.begin, low, range.divisions};
      const Range right = {range.begin + low, range.n - low, range.divisions};
      waiting[count++] = low < right.n ? right : left;
      range = low < right.n ? left : right;
    }
    // A window that begins or ends beside the range sorts more, but what is beyond an end of the range belongs there.
    if (range.n > kWindow)
      heap_sort(range.begin, range.n);
    else if (range.n > 1)
      sort_window(range.begin < p + n - kWindow ? range.begin : p + n - kWindow);
    if (count == 0) return;
    range = waiting[--count];
  }
}

}  // namespace lum::LUM_LEVEL
