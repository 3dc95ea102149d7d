#include "alone.h"

#include <algorithm>
#include <chrono>

namespace bench {
namespace {

constexpr int kRounds = 500, kPerRound = 16;

template <class Round>
double seconds_of(const Round& round) {
  const auto start = std::chrono::steady_clock::now();
  for (int i = 0; i < kRounds; ++i) round();
  return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

// One cycle each, whoever else is there: every addition waits for the one before.
double chained_additions() {
  long sum = 0;
  return seconds_of([&] { asm volatile(".rept %c1\n\tadd $1, %0\n\t.endr" : "+r"(sum) : "i"(kPerRound)); });
}

// As many at a time as there are units for them.
double vector_additions() {
  return seconds_of([] {
    asm volatile(
        ".rept %c0\n\tpaddw %%xmm0, %%xmm1\n\tpaddw %%xmm0, %%xmm2\n\tpaddw %%xmm0, %%xmm3\n\t"
        "paddw %%xmm0, %%xmm4\n\t.endr" ::"i"(kPerRound)
        : "xmm1", "xmm2", "xmm3", "xmm4");
  });
}

double vectors_per_cycle() {
  const double before = chained_additions(), vectors = vector_additions(), after = chained_additions();
  return 4 * std::min(before, after) / vectors;
}

}  // namespace

bool alone_on_core() {
  static double most = 0;
  const double now = vectors_per_cycle();
  most = std::max(most, now);
  return now > 0.95 * most;
}

}  // namespace bench
