// The internal thread functions: teams, decisions.
#include <gtest/gtest.h>
#include <limits.h>
#include <omp.h>

#include <algorithm>
#include <atomic>
#include <string>
#include <vector>

#include "core/parallel.h"
#include "lumcore/processors.h"

namespace {

struct Threads : testing::Test {
  Threads() { lumGetNumThreads(&at_start); }
  ~Threads() override {
    lumSetNumThreads(at_start);
    omp_set_dynamic(dynamic);
    lum::facts = facts;
  }
  int at_start;
  const int dynamic = omp_get_dynamic();
  const lum::Facts facts = lum::facts;
};

// Empty if every slice ran exactly once, else what happened.
std::string run_slices(int slices) {
  std::vector<std::atomic<int>> runs(slices);
  lum::for_each_slice(slices, [&](int slice) { ++runs.at(slice); });
  std::string wrong;
  for (int i = 0; i < slices; ++i)
    if (runs[i] != 1) wrong += " slice " + std::to_string(i) + ": " + std::to_string(runs[i]);
  return wrong;
}

TEST_F(Threads, EverySliceRunsOnce) {
  for (const int dynamic_teams : {0, 1})
    for (const int count : {0, INT_MIN, 1, 2, 7})
      for (const int slices : {1, 2, 3, 7, 40}) {
        omp_set_dynamic(dynamic_teams);
        threads_omp_of_n_lum = count;
        EXPECT_EQ(run_slices(slices), "") << "count " << count << ", dynamic " << dynamic_teams;
        std::string in_region[3];
#pragma omp parallel for num_threads(3)
        for (int i = 0; i < 3; ++i) in_region[i] = run_slices(slices);
        for (const std::string& wrong : in_region) EXPECT_EQ(wrong, "") << "inside a caller's region";
      }
}

TEST_F(Threads, TeamsHaveTheExportedCount) {
  omp_set_dynamic(0);
  for (const int count : {7, 2, 1, 0, -3, 2000}) {  // but never more threads than slices
    threads_omp_of_n_lum = count;
    std::atomic<int> team = 0;
    int ids[7];
    lum::for_each_slice(7, [&](int slice) { team = omp_get_num_threads(), ids[slice] = lum::owncvGetIdThreads(); });
    EXPECT_EQ(team, std::clamp(count, 1, 7));
    EXPECT_EQ(*std::max_element(ids, ids + 7), std::clamp(count, 1, 7) - 1);
  }
  EXPECT_EQ(lum::owncvGetIdThreads(), 0) << "outside a region";
}

TEST_F(Threads, AnswersOfTheCompanionLibrary) {
  for (const int count : {6, 1}) {
    lumSetNumThreads(count);
    threads_omp_of_n_lum = 3;
    EXPECT_EQ(lum::owncvGetNumThreads(), count);
    EXPECT_EQ(lum::owncvGetMaxNumThreads(), count);
  }
  lum::facts.cache_bytes = 12345;
  EXPECT_EQ(lum::owncvGetCacheSize(), 12345);
  for (const int cores : {1, 2, 3, 8}) {
    lum::facts.cores = cores;
    EXPECT_EQ(lum::runomp(), cores == 1 ? 0 : cores);
    for (const int taps : {1, 2, 3, 4, 5, 6, 7})
      EXPECT_EQ(lum::runsepomp(taps) != 0, cores > 1 || (taps != 3 && taps != 5)) << cores << " cores, " << taps;
  }
}

TEST(RowAlignment, FirstRowsOnly) {
  alignas(16) static char plane[64];
  for (int offset = 0; offset < 16; ++offset) {
    const void* const rows[] = {plane, plane + 16, plane + 32 + offset, plane + 48};
    for (const int n : {INT_MIN, 0, 1, 2, 3, 4}) EXPECT_EQ(lum::owncvRowMatrAlErr(rows, n), n > 2 && offset != 0);
  }
}

}  // namespace
