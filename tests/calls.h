// What the tests of all functions share: the thread count, arguments by name, the order of the checks.
#pragma once
#include <cpuid.h>

#include <functional>
#include <numeric>

#include "filter_rules.h"
#include "lumcore.h"
#include "planes.h"

namespace test {

// Sets the library's thread count for one scope.
struct Threads {
  explicit Threads(int n) {
    lumGetNumThreads(&before);
    lumSetNumThreads(n);
  }
  ~Threads() { lumSetNumThreads(before); }
  int before = 1;
};

// The arguments of any function, by name.
struct Arguments {
  const void *src = nullptr, *src2 = nullptr, *mask_plane = nullptr, *kernel = nullptr;
  void* dst = nullptr;
  int step = 0, step2 = 0, mask_step = 0, dst_step = 0;
  int width = 1, height = 1;
  int taps = 3, anchor = 0, mask = 33, border = lumBorderRepl, divisor = 1, coi = 1;
  double border_value = 0, value = 0;
  float sigma = 1, low = 10, high = 20;
  int scale = 0, comparison = 0;                           // of scaled differences and of thresholds
  int from_width = 1, from_height = 1, top = 0, left = 0;  // of an image within the one of width and height
  Lum8u* buffer = nullptr;
  int* bytes = nullptr;  // of the functions that tell a buffer's size
  Lum64f *mean = nullptr, *deviation = nullptr;
  Lum32f *least = nullptr, *greatest = nullptr;
  LumPoint *least_at = nullptr, *greatest_at = nullptr;

  LumSize roi() const { return {width, height}; }
  LumSize from_roi() const { return {from_width, from_height}; }
  void set_roi(LumSize roi) { width = roi.width, height = roi.height; }
  void set_source(const auto& plane) { src = plane.data(), step = plane.step(); }
  void set_source2(const auto& plane) { src2 = plane.data(), step2 = plane.step(); }
  void set_mask(const auto& plane) { mask_plane = plane.data(), mask_step = plane.step(); }
  void set_target(const auto& plane) {
    dst = plane.data(), dst_step = plane.step();
    set_roi(plane.roi());
  }
};

using A = Arguments;

// What a call reads: one plane or two, of which one channel is measured, and perhaps a mask.
template <class S>
struct Images {
  Images(LumSize roi, int channel_count, int channel = 1, Placement place = {})
      : channels(channel_count), coi(channels == 1 ? 1 : channel), a(roi, channels, place),
        b(roi, channels, {2 * place.padding, place.shift}), mask(roi, 1, place) {}
  void select(unsigned thousandths, std::mt19937& random) {
    mask.fill([&](int, int) { return random() % 1000 < thousandths ? 1 << random() % 8 : 0; });
  }
  Arguments arguments() const {
    Arguments args;
    args.set_source(a), args.set_source2(b), args.set_mask(mask), args.set_roi(mask.roi()), args.coi = coi;
    return args;
  }
  // For the models.
  auto values_of(const Plane<S>& plane) const {
    return [&](int x, int y) { return plane.get(x * channels + coi - 1, y); };
  }
  auto selected(bool masked = true) const {
    return [this, masked](int x, int y) { return !masked || mask.get(x, y) != 0; };
  }
  const int channels, coi;
  Plane<S> a, b;
  Plane<Lum8u> mask;
};

// The upper halves of the vector registers. A call that leaves them in use makes its caller's SSE code several times as
// slow. In 32 bits there are eight registers that no instruction can clear, so that all of them count as in use.
struct UpperHalves {
  static bool can_tell() {
#ifdef LUM_SANITIZED
    return false;  // sanitizers keep small functions apart, which pass vectors to each other
#endif
    if (sizeof(void*) == 4) return false;
    static const bool result = [] {
      constexpr unsigned kStates = 0xD, kTellsThoseInUse = 1 << 2;
      unsigned a = 0, b, c, d;
      if (!__builtin_cpu_supports("avx") || !__get_cpuid_count(kStates, 1, &a, &b, &c, &d)) return false;
      clear();
      return (a & kTellsThoseInUse) && !in_use();
    }();
    return result;
  }
  static void clear() { asm volatile("vzeroupper"); }
  static bool in_use() {
    unsigned low, high;
    asm volatile("xgetbv" : "=a"(low), "=d"(high) : "c"(1));
    return low & 1 << 2;
  }
};

// A function of the library; `arguments` tells which of them each of its parameters is.
using Function = std::function<LumStatus(const Arguments&)>;
template <class... P, class... Argument>
Function function(LumStatus (*f)(P...), Argument... arguments) {
  return [=](const Arguments& a) {
    if (!UpperHalves::can_tell()) return f((P)std::invoke(arguments, a)...);
    UpperHalves::clear();
    const LumStatus status = f((P)std::invoke(arguments, a)...);
    EXPECT_FALSE(UpperHalves::in_use());
    return status;
  };
}

// make(plane) does the same whatever the thread count.
template <class D, class Make>
void expect_equal_on_threads(const std::string& name, LumSize roi, int channels, const Make& make,
                             std::initializer_list<int> counts = {2, 3, 5}) {
  const Plane<D> serial(roi, channels);
  {
    const Threads scope(1);
    make(serial);
  }
  for (int count : counts) {
    const Threads scope(count);
    const Plane<D> parallel(roi, channels);
    make(parallel);
    ASSERT_TRUE(parallel.equals(serial)) << name << ", " << count << " threads";
  }
}

inline int buffer_bytes(const Function& size, Arguments a) {
  int bytes = -1;
  a.bytes = &bytes;
  EXPECT_EQ(lumStatusOk, size(a));
  return bytes;
}

// A wrong argument and the status it is answered with; Ok where a function does not have the argument.
struct Fault {
  LumStatus status;
  std::function<void(Arguments&)> make;
};
template <LumStatus status>
constexpr auto wrong = []<class T>(T A::*argument, std::type_identity_t<T> value, bool applies = true) {
  return Fault{applies ? status : LumStatus(lumStatusOk), [=](Arguments& a) { a.*argument = value; }};
};
constexpr auto null = [](auto argument, bool applies = true) {
  return wrong<lumStatusNullPointer>(argument, nullptr, applies);
};
constexpr auto bad_size = wrong<lumStatusBadSize>;
constexpr auto bad_step = wrong<lumStatusBadStep>;
constexpr auto odd_step = wrong<lumStatusStepNotPixelMultiple>;
constexpr auto bad_anchor = wrong<lumStatusBadAnchor>;
constexpr auto bad_mask = wrong<lumStatusBadMaskSize>;
constexpr auto bad_mode = wrong<lumStatusUnsupportedMode>;
constexpr auto bad_argument = wrong<lumStatusBadArgument>;
constexpr auto bad_channel = wrong<lumStatusBadChannelOfInterest>;

// A width whose row of pixels takes so many bytes that a product of 32 bits would accept any step.
constexpr int wrapping_width(int pixel_bytes) {
  return pixel_bytes == 1 ? INT32_MAX : int((pixel_bytes == 2 ? 1LL << 31 : 1LL << 32) / pixel_bytes) + 1;
}

// Every wrong argument alone and every two of them: the one that stands first in the list decides, and no output is
// written.
template <class... Outputs>
void expect_check_order(const std::string& name, const Function& function, const Arguments& good,
                        std::vector<Fault> faults, const Outputs&... outputs) {
  std::erase_if(faults, [](const Fault& fault) { return fault.status == lumStatusOk; });
  for (size_t i = 0; i < faults.size(); ++i)
    for (size_t j = i; j < faults.size(); ++j) {
      Arguments a = good;
      faults[j].make(a);
      faults[i].make(a);
      EXPECT_EQ(faults[i].status, function(a)) << name << ", faults " << i << " and " << j;
    }
  EXPECT_TRUE((outputs.untouched() && ...)) << name << " has written";
}

}  // namespace test
