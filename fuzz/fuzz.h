// What the fuzz targets share: arguments out of bytes, the caller's memory, and calls on every level.
#pragma once
#include <sanitizer/asan_interface.h>
#include <stdarg.h>
#include <stdint.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include <algorithm>
#include <array>
#include <limits>
#include <span>
#include <type_traits>
#include <vector>

#include "core/level.h"
#include "lumcore.h"
#include "lumcore/processors.h"
#include "lumcv.h"

namespace fuzz {

// The level that the library takes for the processor's.
extern lum::Level level;

[[noreturn, gnu::format(printf, 1, 2)]] inline void fail(const char* format, ...) {
  va_list arguments;
  va_start(arguments, format);
  fputs("\nfuzz: ", stderr);
  vfprintf(stderr, format, arguments);
  fputs("\n", stderr);
  abort();
}

// Arguments drawn from the fuzzer's bytes; from where they end on, the lowest of each range.
class Input {
 public:
  Input(const uint8_t* data, size_t size) : bytes_(data, size) {}

  int number(int low, int high) {
    const unsigned long long range = (long long)high - low + 1;
    unsigned value = 0;
    for (unsigned long long reach = 1; reach < range; reach *= 256) value = value * 256 + byte();
    return int(low + (long long)(value % range));
  }
  bool one_in(int n) { return number(1, n) == n; }
  template <class T, size_t N>
  const T& pick(const T (&values)[N]) {
    return values[number(0, N - 1)];
  }
  std::span<const uint8_t> rest() const { return bytes_; }

 private:
  uint8_t byte() {
    if (bytes_.empty()) return 0;
    const uint8_t first = bytes_[0];
    bytes_ = bytes_.subspan(1);
    return first;
  }
  std::span<const uint8_t> bytes_;
};

// Elements of a plane. Beside noise: the fuzzer's own bytes, both ends of the range, few or equal values, which make ties
// and plateaus, and small values with a great one now and then.
class Content {
 public:
  explicit Content(Input& in) : kind_(in.number(0, 5)), state_(unsigned(in.number(0, 0xFFFF)) | 1u), bytes_(in.rest()) {
    if (!bytes_.empty()) at_ = state_ % bytes_.size();
  }

  template <class T>
  T next() {
    if (kind_ == 0 && !bytes_.empty()) return raw<T>();
    const unsigned r = random();
    if (kind_ == 2 && r % 4 == 0) return extreme<T>(r / 4);
    if (kind_ == 3) return T(r % 3);
    if (kind_ == 4) return T(7);
    if (kind_ == 5 && r % 509 != 0) return T(int(r % 4001) - 2000);
    if constexpr (std::is_floating_point_v<T>) return T(int(r % 20001) - 10000) / T(1u << random() % 16);
    return T(r);
  }

 private:
  unsigned random() {
    state_ = state_ * 1664525u + 1013904223u;
    return state_ >> 8 ^ state_ << 7;
  }
  template <class T>
  T raw() {
    std::array<uint8_t, sizeof(T)> bytes;
    for (uint8_t& byte : bytes) {
      byte = bytes_[at_++];
      if (at_ == bytes_.size()) at_ = 0;
    }
    T value;
    memcpy(&value, &bytes, sizeof value);
    return value;
  }
  template <class T>
  static T extreme(unsigned r) {
    using Limits = std::numeric_limits<T>;
    constexpr T values[] = {Limits::lowest(), Limits::max(), Limits::min(), T(0)};
    return values[r % 4];
  }

  int kind_;
  unsigned state_;
  std::span<const uint8_t> bytes_;
  size_t at_ = 0;
};

constexpr uint8_t kJunk = 0xA5;

// `size` bytes of junk at any alignment. AddressSanitizer watches the byte behind the last one, and the bytes in front
// are verified.
class Memory {
 public:
  Memory(size_t size, int shift) : start_((uint8_t*)malloc(shift + size)), shift_(shift), size_(size) {
    memset(start_, kJunk, shift + size);
    __asan_poison_memory_region(start_, shift);
  }
  Memory(const Memory&) = delete;
  Memory& operator=(const Memory&) = delete;
  ~Memory() {
    __asan_unpoison_memory_region(start_, shift_ + size_);
    for (int i = 0; i < shift_; ++i)
      if (start_[i] != kJunk) fail("%d bytes in front of %zu bytes were written", shift_ - i, size_);
    free(start_);
  }
  uint8_t* bytes() const { return start_ + shift_; }
  size_t size() const { return size_; }
  bool untouched() const {
    return std::all_of(bytes(), bytes() + size_, [](uint8_t byte) { return byte == kJunk; });
  }

 private:
  uint8_t* start_;
  int shift_;
  size_t size_;
};

// A copy of an array in memory of its own.
template <class T>
struct Array : Memory {
  Array(const std::vector<T>& values, int shift) : Memory(values.size() * sizeof(T), shift) {
    memcpy(bytes(), values.data(), size());
  }
  T* data() const { return (T*)bytes(); }
};

inline bool same(const void* a, const void* b, size_t size) { return memcmp(a, b, size) == 0; }
// Which NaN comes out depends on the order of operands, which nobody promises.
template <class T>
bool equal(T a, T b) {
  return same(&a, &b, sizeof a) || (a != a && b != b);
}

// A caller's plane; its padding must be left alone.
template <class T>
class Plane {
 public:
  Plane(LumSize roi, int channels, int padding, int shift)
      : row_(roi.width * channels), height_(roi.height), step_(row_ * int(sizeof(T)) + padding),
        memory_((size_t)step_ * (height_ - 1) + row_ * sizeof(T), shift) {
    for (int y = 0; y + 1 < height_; ++y) __asan_poison_memory_region(row(y) + row_, padding);
  }
  T* data() const { return row(0); }
  T* row(int y) const { return (T*)(memory_.bytes() + (size_t)y * step_); }
  int step() const { return step_; }
  int elements() const { return row_; }
  int height() const { return height_; }

  T get(int x, int y) const {
    T value;
    memcpy(&value, (const uint8_t*)row(y) + x * sizeof(T), sizeof value);
    return value;
  }
  void fill(Content content) {
    for (int y = 0; y < height_; ++y)
      for (int x = 0; x < row_; ++x) {
        const T value = content.next<T>();
        memcpy((uint8_t*)row(y) + x * sizeof(T), &value, sizeof value);
      }
  }

  // Ends the process, with what describe() tells of the call, where an element differs from the expected one.
  template <class Describe>
  void expect(const std::vector<T>& expected, const Describe& describe) {
    __asan_unpoison_memory_region(memory_.bytes(), memory_.size());
    for (int y = 0; y < height_; ++y) {
      const T* const want = expected.data() + (size_t)y * row_;
      for (int x = 0; x < row_; ++x)
        if (const T got = get(x, y); !equal(got, want[x])) {
          describe();
          fail("element %d of row %d is %.9g, expected %.9g", x, y, double(got), double(want[x]));
        }
      const uint8_t* const behind = (const uint8_t*)row(y) + row_ * sizeof(T);
      const size_t padding = y + 1 < height_ ? (const uint8_t*)row(y + 1) - behind : 0;
      if (!std::all_of(behind, behind + padding, [](uint8_t byte) { return byte == kJunk; })) {
        describe();
        fail("the padding behind row %d was written", y);
      }
    }
  }
  void expect_untouched() {
    __asan_unpoison_memory_region(memory_.bytes(), memory_.size());
    if (!memory_.untouched()) fail("a call that failed wrote to its destination");
  }

 private:
  int row_, height_, step_;
  Memory memory_;
};

inline void expect_status(LumStatus expected, LumStatus got, const char* function) {
  if (got != expected) fail("%s: status %d, expected %d", function, got, expected);
}

// A size function, called as size(roi, &bytes), with a region of any size: what does not fit is refused, nothing wraps.
template <class Size>
void probe_size(Input& in, const char* function, const Size& size) {
  const auto side = [&] {
    return in.one_in(4) ? in.number(INT32_MIN, INT32_MAX) : in.number(-1, 1 << in.number(1, 30));
  };
  const LumSize roi = {side(), side()};
  int bytes = 0;
  const LumStatus status = size(roi, &bytes);
  if (status == lumStatusOk ? roi.width < 1 || roi.height < 1 || bytes < 1 : status != lumStatusBadSize || bytes != 0)
    fail("%s: status %d and %d bytes for %dx%d", function, status, bytes, roi.width, roi.height);
}

// A machine with or without a second core, and a thread count.
inline int set_threads(Input& in) {
  lum::facts.cores = 2 - in.one_in(8);
  const int count = in.pick({1, 2, 3, 5});
  lumSetNumThreads(count);
  return count;
}

// body() on every level that the processor runs.
template <class Body>
void on_each_level(const Body& body) {
  for (const lum::Level one : {lum::Level::sse3, lum::Level::avx2}) {
    if (one == lum::Level::avx2 && !__builtin_cpu_supports("avx2")) continue;
    level = one;
    body();
  }
}

}  // namespace fuzz
