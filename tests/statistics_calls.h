// What the tests of all statistics share: the planes of a call, the checks, memory for the results of bands.
#pragma once
#include "calls.h"
#include "statistics_rules.h"

namespace test {

constexpr int kSerial = 40;  // in place of an exponent

// `good` is a call on images of width 8.
template <class S>
void expect_image_checks(const std::string& name, const Function& call, const Arguments& good, int channels, bool two,
                         bool masked, const Fault& null_result, const Block& results) {
  const int element = sizeof(S);
  const bool wide = element > 1, coi = channels == 3;
  expect_check_order(
      name, call, good,
      {null(&A::src), null(&A::src2, two), null(&A::mask_plane, masked), null_result, bad_size(&A::width, 0),
       bad_size(&A::height, -1), bad_step(&A::width, wrapping_width(element * channels)),
       bad_step(&A::step, good.step - 1), bad_step(&A::step2, good.step2 - element, two),
       bad_step(&A::mask_step, 7, masked), odd_step(&A::step, good.step + 1, wide),
       odd_step(&A::step2, good.step2 + element / 2, two && wide), bad_channel(&A::coi, 0, coi),
       bad_channel(&A::coi, 4, coi), bad_channel(&A::coi, INT32_MIN, coi)},
      results);
}

// Above 32 threads the bands of one sum need memory, so the allocation hook tells whether a function goes parallel.
struct ManyThreads : testing::Test {
  ManyThreads() {
    i_malloc = [](size_t size) { return ++allocations == failing ? nullptr : malloc(size); };
    i_free = [](void* block) { ++releases, free(block); };
  }
  ~ManyThreads() override { std::tie(i_malloc, i_free) = hooks_; }

  // From 2^exponent pixels a thread; with so many allocations.
  void expect_parallel_from(int exponent, int expected, const std::string& name, const Function& call, Arguments a,
                            int pixel_bytes) const {
    const bool may = exponent < kSerial && lumGetNumCoresOnDie() > 1;
    const int enough = 1 << (exponent < kSerial ? exponent : 17);
    a.src = a.src2 = a.mask_plane = plane_.bytes();
    for (const LumSize roi : {LumSize{enough / 32, 33 * 32}, {enough * 3 - 1, 11}}) {
      a.set_roi(roi);
      a.step = a.step2 = roi.width * pixel_bytes, a.mask_step = roi.width;
      allocations = releases = 0;
      EXPECT_EQ(lumStatusOk, call(a)) << name;
      EXPECT_EQ(may && roi.height > 11 ? expected : 0, allocations) << name;
      EXPECT_EQ(allocations, releases) << name;
    }
  }
  // Each of so many allocations fails once.
  static void expect_no_memory(const Function& call, const Arguments& a, int count) {
    for (failing = 1; failing <= count; ++failing) {
      allocations = releases = 0;
      EXPECT_EQ(lumStatusNoMemory, call(a)) << failing;
      EXPECT_EQ(failing, allocations) << "none after the one that failed";
      EXPECT_EQ(failing - 1, releases) << failing;
    }
    failing = 0;
  }

 private:
  static inline int allocations, releases, failing;
  const Block plane_{size_t(33 << 17) * 3 * sizeof(Lum32f)};
  const std::pair<decltype(i_malloc), decltype(i_free)> hooks_{i_malloc, i_free};
  const Threads threads_{33};
};

}  // namespace test
