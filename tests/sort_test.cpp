// The sort where its divisions are few: orders that need more than the budget of a call are hard to find.
#include <gtest/gtest.h>

#include <random>

#include "lumcv/src/lumcvvector_kernels.h"

namespace {

TEST(SortKernel, EndsWithAnyNumberOfDivisions) {
  std::mt19937 random(3);
  for (const int n : {0, 1, 15, 16, 17, 40, 1000, 4099})
    for (const int divisions : {0, 1, 2, 5, 20})
      for (const bool avx2 : {false, true}) {
        if (avx2 && !__builtin_cpu_supports("avx2")) continue;
        std::vector<Lum64f> values(n);
        for (Lum64f& v : values) v = random() % (n + 1);
        std::vector<Lum64f> expected = values;
        std::sort(expected.begin(), expected.end());
        (avx2 ? lum::avx2::sort_ascending : lum::sse3::sort_ascending)(values.data(), n, divisions);
        EXPECT_EQ(expected, values) << n << " elements, " << divisions << " divisions";
      }
}

}  // namespace
