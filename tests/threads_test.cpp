#include <gtest/gtest.h>
#include <limits.h>
#include <omp.h>

#include <atomic>
#include <string>
#include <thread>
#include <vector>

#include "core/parallel.h"
#include "lumcore/processors.h"

namespace {

struct Threads : testing::Test {
  ~Threads() override {
    lumSetNumThreads(at_start);
    omp_set_dynamic(dynamic);
    lum::facts = facts;
  }
  static int get() {
    int count;
    lumGetNumThreads(&count);
    return count;
  }
  const int at_start = get();
  const int dynamic = omp_get_dynamic();
  const lum::Facts facts = lum::facts;
};

TEST(SliceRows, EveryRowOnceAndTheRemainderLast) {
  for (const int height : {1, 2, 5, 7, 12, 100, 65536, INT_MAX})
    for (const int slices : {1, 2, 3, 5, 7, 13, 100}) {
      int row = 0;
      for (int slice = 0; slice < slices; ++slice) {
        const lum::Rows rows = lum::slice_rows(height, slices, slice);
        EXPECT_EQ(rows.begin, row);
        EXPECT_EQ(rows.end, slice == slices - 1 ? height : row + height / slices);
        row = rows.end;
      }
    }
}

// Empty if every slice ran exactly once, else what happened.
std::string run_slices(int slices) {
  std::vector<std::atomic<int>> runs(slices);
  std::atomic<int> strangers = 0;
  lum::for_each_slice(slices, [&](int slice) {
    if (slice < 0 || slice >= slices)
      ++strangers;
    else
      ++runs[slice];
  });
  std::string wrong = strangers ? "a slice that does not exist" : "";
  for (int i = 0; i < slices; ++i)
    if (runs[i] != 1) wrong += " slice " + std::to_string(i) + ": " + std::to_string(runs[i]);
  return wrong;
}

TEST_F(Threads, EverySliceRunsOnce) {
  for (const int dynamic_teams : {0, 1})
    for (const int count : {0, -3, INT_MIN, 1, 2, 7})
      for (const int slices : {1, 2, 3, 7, 40}) {
        SCOPED_TRACE(testing::Message() << "count " << count << ", slices " << slices << ", dynamic " << dynamic_teams);
        omp_set_dynamic(dynamic_teams);
        threads_omp_of_n_lum = count;
        EXPECT_EQ(run_slices(slices), "");

        std::string in_region[3];
#pragma omp parallel for num_threads(3)
        for (int i = 0; i < 3; ++i) in_region[i] = run_slices(slices);
        for (const std::string& wrong : in_region) EXPECT_EQ(wrong, "") << "inside a caller's region";
      }
}

TEST_F(Threads, EverySliceRunsOnceForConcurrentCallers) {
  std::string wrong[4];
  std::vector<std::thread> callers;
  for (std::string& result : wrong)
    callers.emplace_back([&result] {
      for (int i = 0; i < 50; ++i) result += run_slices(1 + i % 9);
    });
  for (int i = 0; i < 200; ++i) lumSetNumThreads(1 + i % 5);
  for (std::thread& caller : callers) caller.join();
  for (const std::string& result : wrong) EXPECT_EQ(result, "");
}

TEST_F(Threads, TeamsHaveTheExportedCount) {
  omp_set_dynamic(0);
  for (const int count : {7, 2, 1, 0, -3}) {
    threads_omp_of_n_lum = count;
    const int expected = count > 1 ? count : 1;
    std::atomic<int> most = 0;
    std::vector<std::atomic<int>> seen(7);
    lum::for_each_slice(7, [&](int) {
      most = omp_get_num_threads();
      ++seen[lum::owncvGetIdThreads() % 7];
    });
    EXPECT_EQ(most, expected);
    for (int id = 0; id < 7; ++id) EXPECT_EQ(seen[id] > 0, id < expected) << "thread " << id << ", count " << count;
  }
  EXPECT_EQ(lum::owncvGetIdThreads(), 0) << "outside a region";
}

TEST_F(Threads, CountsOfTheCompanionLibrary) {
  for (const int count : {6, 1}) {
    lumSetNumThreads(count);
    threads_omp_of_n_lum = 3;
    EXPECT_EQ(lum::owncvGetNumThreads(), count);
    EXPECT_EQ(lum::owncvGetMaxNumThreads(), count);
  }
  EXPECT_GT(lum::owncvGetCacheSize(), 0);
  lum::facts.cache_bytes = 12345;
  EXPECT_EQ(lum::owncvGetCacheSize(), 12345);
}

TEST_F(Threads, ParallelWhereWorthwhile) {
  for (const int cores : {1, 2, 3, 8}) {
    lum::facts.cores = cores;
    EXPECT_EQ(lum::runomp(), cores == 1 ? 0 : cores);
    for (const int size : {3, 5}) EXPECT_EQ(lum::runsepomp(size), lum::runomp());
    for (const int size : {1, 2, 4, 6, 7, 9, 33}) EXPECT_NE(lum::runsepomp(size), 0) << cores << " cores, " << size;
  }
}

TEST(RowAlignment, FirstRowsOnly) {
  alignas(16) static char plane[64];
  const void* rows[] = {plane, plane + 16, plane + 8, plane + 48};
  EXPECT_EQ(lum::owncvRowMatrAlErr(rows, 4), 1);
  EXPECT_EQ(lum::owncvRowMatrAlErr(rows, 3), 1);
  for (const int n : {2, 1, 0, -1, INT_MIN}) EXPECT_EQ(lum::owncvRowMatrAlErr(rows, n), 0) << n;
  for (int offset = 0; offset < 16; ++offset) {
    rows[2] = plane + 32 + offset;
    EXPECT_EQ(lum::owncvRowMatrAlErr(rows, 4), offset != 0) << offset;
  }
}

}  // namespace
