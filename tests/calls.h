// What the tests of all functions share: the thread count, arguments by name, the order of the checks.
#pragma once
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
  Lum8u* buffer = nullptr;
  int* bytes = nullptr;  // of the functions that tell a buffer's size
  Lum64f *mean = nullptr, *deviation = nullptr;
  Lum32f *least = nullptr, *greatest = nullptr;
  LumPoint *least_at = nullptr, *greatest_at = nullptr;

  LumSize roi() const { return {width, height}; }
  void set_roi(LumSize roi) { width = roi.width, height = roi.height; }
  template <class S, class D>
  void set_planes(const Plane<S>& from, const Plane<D>& to, const Block& work) {
    src = from.data(), step = from.step(), dst = to.data(), dst_step = to.step(), buffer = work.bytes();
    set_roi(to.roi());
  }
};

using A = Arguments;

// A function of the library; `arguments` tells which of them each of its parameters is.
using Function = std::function<LumStatus(const Arguments&)>;
template <class... P, class... Argument>
Function function(LumStatus (*f)(P...), Argument... arguments) {
  return [=](const Arguments& a) { return f((P)std::invoke(arguments, a)...); };
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
constexpr auto bad_argument = wrong<lumStatusBadArgument>;
constexpr auto bad_channel = wrong<lumStatusBadChannelOfInterest>;

// A width whose row of pixels takes so many bytes that a product of 32 bits would accept any step.
constexpr int wrapping_width(int pixel_bytes) {
  return pixel_bytes == 1 ? INT32_MAX : int((pixel_bytes == 2 ? 1LL << 31 : 1LL << 32) / pixel_bytes) + 1;
}

// Every wrong argument alone and every two of them: the one that stands first in the list decides.
inline void expect_check_order(const std::string& name, const Function& function, const Arguments& good,
                               std::vector<Fault> faults) {
  std::erase_if(faults, [](const Fault& fault) { return fault.status == lumStatusOk; });
  for (size_t i = 0; i < faults.size(); ++i)
    for (size_t j = i; j < faults.size(); ++j) {
      Arguments a = good;
      faults[j].make(a);
      faults[i].make(a);
      EXPECT_EQ(faults[i].status, function(a)) << name << ", faults " << i << " and " << j;
    }
}

}  // namespace test
