// Memory for tests that fails at once when a function leaves what its caller described: blocks between protected
// pages, and planes on them whose bytes outside the region are verified.
#pragma once
#include <gtest/gtest.h>
#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstring>
#include <random>
#include <vector>

#include "lumcv.h"

namespace test {

// `size` bytes between two protected pages, followed by `shift` spare bytes: shift 0 puts the last byte right before
// the page, others up to 15 reach every alignment, and any other puts the first byte right behind the page. Spare bytes
// are verified when the block dies. Starts full of junk, but for blocks that are too large to be written.
class Block {
 public:
  explicit Block(size_t size, int shift = 0) : size_(size), shift_(shift) {
    const size_t page = sysconf(_SC_PAGESIZE);
    room_ = (size + 15 + page - 1) / page * page;
    mapping_size_ = room_ + 2 * page;
    mapping_ =
        (unsigned char*)mmap(nullptr, mapping_size_, PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0);
    if (mapping_ == MAP_FAILED || mprotect(mapping_ + page, room_, PROT_READ | PROT_WRITE) != 0) abort();
    first_ = mapping_ + page;
    if (!is_huge()) memset(first_, kJunk, room_);
  }
  Block(const Block&) = delete;
  Block& operator=(const Block&) = delete;
  ~Block() {
    EXPECT_TRUE(is_huge() || (is_junk(first_, bytes()) && is_junk(bytes() + size_, first_ + room_)))
        << "bytes beside a block of " << size_ << " were written";
    munmap(mapping_, mapping_size_);
  }
  unsigned char* bytes() const { return shift_ < 0 || shift_ > 15 ? first_ : first_ + room_ - shift_ - size_; }
  size_t size() const { return size_; }
  bool untouched() const { return is_junk(bytes(), bytes() + size_); }
  static bool is_junk(const void* begin, const void* end) {
    return std::all_of((const unsigned char*)begin, (const unsigned char*)end, [](auto byte) { return byte == kJunk; });
  }

 private:
  static constexpr unsigned char kJunk = 0xA5;
  bool is_huge() const { return room_ > 1 << 30; }

  unsigned char *mapping_, *first_;
  size_t size_, room_, mapping_size_;
  int shift_;
};

// Where a plane lies: elements (and bytes) between its rows, and the shift of its last byte from the protected page.
struct Placement {
  int padding = 0;
  int shift = 0;
  int padding_bytes = 0;
};
inline Placement any_placement(std::mt19937& random) { return {int(random() % 3), int(random() % 17)}; }

// Random elements that reach both ends of the type's range; floats of mixed magnitude and sign.
template <class T>
T random_element(std::mt19937& random) {
  if constexpr (std::is_floating_point_v<T>) {
    return T(int(random() % 20001) - 10000) / T(1 << random() % 16);
  } else {
    const unsigned kind = random() % 16;
    if (kind == 0) return std::numeric_limits<T>::min();
    if (kind == 1) return std::numeric_limits<T>::max();
    return T(random());
  }
}
// Floats of every kind among them.
template <class T>
T any_element(std::mt19937& random) {
  constexpr Lum32f special[] = {
      0, -0.0f, 1e-30f, -1e-42f, 16777216, -3e38f, 3e38f, INFINITY, -INFINITY, NAN, std::bit_cast<Lum32f>(0xFFC12345)};
  if (std::is_floating_point_v<T> && random() % 4 == 0) return T(special[random() % std::size(special)]);
  return random_element<T>(random);
}

// Bits, but any NaN equals any other.
template <class T>
bool same(T a, T b) {
  return memcmp(&a, &b, sizeof a) == 0 || (a != a && b != b);
}

// A caller's plane whose last pixel ends at a protected page (unless shifted away from it).
template <class T>
class Plane {
 public:
  Plane(LumSize roi, int channels = 1, Placement place = {})
      : roi_(roi), row_(roi.width * channels), step_((row_ + place.padding) * int(sizeof(T)) + place.padding_bytes),
        block_((size_t)step_ * (roi.height - 1) + row_ * sizeof(T), place.shift) {}

  T* data() const { return (T*)block_.bytes(); }
  T* row(int y) const { return (T*)(block_.bytes() + (ptrdiff_t)y * step_); }
  int step() const { return step_; }
  LumSize roi() const { return roi_; }

  T get(int x, int y) const {
    T value;
    memcpy(&value, row(y) + x, sizeof value);
    return value;
  }
  void set(int x, int y, T value) { memcpy((void*)(row(y) + x), &value, sizeof value); }

  // Every element from value(x, y), x counting elements.
  template <class F>
  Plane& fill(F value) {
    for (int y = 0; y < roi_.height; ++y)
      for (int x = 0; x < row_; ++x) set(x, y, T(value(x, y)));
    return *this;
  }

  Plane& fill(std::mt19937& random) {
    return fill([&](int, int) { return random_element<T>(random); });
  }

  // All elements equal, bit for bit, to expected(x, y), and the padding untouched.
  template <class F>
  testing::AssertionResult equals(F expected) const {
    for (int y = 0; y < roi_.height; ++y)
      for (int x = 0; x < row_; ++x) {
        const T want = expected(x, y), got = get(x, y);
        if (memcmp(&want, &got, sizeof(T)) != 0)
          return testing::AssertionFailure()
                 << "at column " << x << ", row " << y << ": got " << +got << ", expected " << +want << " (plane of "
                 << row_ << "x" << roi_.height << ", step " << step_ << ")";
      }
    for (int y = 0; y + 1 < roi_.height; ++y)
      if (!Block::is_junk(row(y) + row_, row(y + 1)))
        return testing::AssertionFailure() << "padding behind row " << y << " was written";
    return testing::AssertionSuccess();
  }
  testing::AssertionResult equals(const Plane& other) const {
    return equals([&](int x, int y) { return other.get(x, y); });
  }
  bool untouched() const { return block_.untouched(); }

 private:
  LumSize roi_;
  int row_, step_;
  Block block_;
};

// A copy of an array (taps, row pointers) that ends at a protected page.
template <class T>
struct Array : Block {
  explicit Array(const std::vector<T>& values, int shift = 0) : Block(values.size() * sizeof(T), shift) {
    memcpy(bytes(), values.data(), size());
  }
  T* data() const { return (T*)bytes(); }
};

}  // namespace test
