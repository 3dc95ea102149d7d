// Compiled once per level. Quicksort that divides by whole vectors, without branches on what it compares, down to
// windows of one size that a network sorts.
#include "core/vec.h"
#include "lumcvvector_kernels.h"

namespace lum::LUM_LEVEL {
namespace {

constexpr int kLanes = F64::lanes;

// ---- windows ----

constexpr int kWindow = 16, kRows = kWindow / kLanes;

LUM_INLINE void exchange(F64& a, F64& b) {
  const F64 lesser = min(a, b);
  b = max(a, b);
  a = lesser;
}

// In every column: compares the rows that are `Distance` apart, then those half as far, down to neighbours.
template <int Rows, int Distance>
LUM_INLINE void clean(F64* row) {
  if constexpr (Distance > 0) {
#pragma GCC unroll 8
    for (int r = 0; r < Rows; ++r)
      if (r / Distance % 2 == 0) exchange(row[r], row[r + Distance]);
    clean<Rows, Distance / 2>(row);
  }
}

// Sorts blocks of which the halves are sorted. The first half meets the second in reverse, which leaves the lesser half
// of the elements in front and both halves bitonic. Distances within a row are those between rows once it is a column.
template <int Block>
LUM_INLINE void merge(F64* row) {
  constexpr int kSpan = Block / kLanes;
#pragma GCC unroll 8
  for (int r = 0; r < kRows; ++r) {
    const int mirrored = r / kSpan * kSpan + kSpan - 1 - r % kSpan;
    if (mirrored < r) continue;
    row[mirrored] = reverse(row[mirrored]);
    exchange(row[r], row[mirrored]);
  }
  clean<kRows, kSpan / 4>(row);
#pragma GCC unroll 8
  for (int r = 0; r < kRows; r += kLanes) {
    transpose(row + r);
    clean<kLanes, kLanes / 2>(row + r);
    transpose(row + r);
  }
  if constexpr (Block < kWindow) merge<2 * Block>(row);
}

void sort_window(Lum64f* p) {
  F64 row[kRows];
#pragma GCC unroll 8
  for (int r = 0; r < kRows; ++r) row[r] = load(p + r * kLanes);
#pragma GCC unroll 8
  for (int r = 0; r < kRows; r += kLanes) {
    clean<kLanes, kLanes / 2>(row + r);
    if constexpr (kLanes == 4) exchange(row[r + 1], row[r + 2]);
    transpose(row + r);
  }
  merge<2 * kLanes>(row);
#pragma GCC unroll 8
  for (int r = 0; r < kRows; ++r) store(p + r * kLanes, row[r]);
}

// ---- division ----

enum class First { less, less_or_equal };

// Hands out the ends of a gap.
struct Gap {
  Lum64f *begin, *end;

  // Both ends have room for a vector.
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

LUM_INLINE void copy(Lum64f* to, const Lum64f* from, int n) {
  for (int i = 0; i < n; i += kLanes) store(to + i, load(from + i));
}

// What is divided at a time. Two blocks at least are in a range.
constexpr int kLongBlock = 16 * kLanes, kShortBlock = 2 * kLanes;
static_assert(kWindow >= 2 * kShortBlock);

// Moves the elements that are less than the pivot (or equal) to the front and tells how many they are. The blocks at
// the ends are held back, so that there is a gap of two blocks; the next block is read beside its smaller part.
template <First first>
ptrdiff_t divide(Lum64f* p, ptrdiff_t n, Lum64f pivot) {
  const F64 pivots = f64(pivot);
  const int block = n < 8 * kLongBlock ? kShortBlock : kLongBlock;
  Lum64f held[3 * kLongBlock];
  copy(held, p, block);
  copy(held + block, p + n - block, block);
  const Lum64f *left = p + block, *right = p + n - block;
  Gap gap = {p, p + n};
  while (right - left >= block) {
    if (left - gap.begin <= gap.end - right)
      for (const Lum64f* const end = left + block; left < end; left += kLanes) gap.fill<first>(load(left), pivots);
    else
      for (const Lum64f* const end = right - block; right > end;) gap.fill<first>(load(right -= kLanes), pivots);
  }
  // The rest lies in one piece, with at least a block behind it.
  copy(held + 2 * block, left, block);
  const ptrdiff_t count = 2 * block + (right - left);
  ptrdiff_t i = 0;
  for (; i <= count - 2 * kLanes; i += kLanes) gap.fill<first>(load(held + i), pivots);
  for (; i < count; ++i) gap.fill<first>(held[i], pivot);
  return gap.begin - p;
}

// The middle of three elements, or of as many as a window has.
Lum64f pivot_of(const Lum64f* p, ptrdiff_t n) {
  if (n < 16 * kWindow) {
    F64 a = f64(get(p + n / 4)), b = f64(get(p + n / 2)), c = f64(get(p + n - n / 4));
    exchange(a, b);
    exchange(b, c);
    Lum64f middle[kLanes];
    store(middle, max(a, b));
    return middle[0];
  }
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
