// The companion library: thread count, and what it makes of the machine's and the control groups' files.
#include "lumcore.h"

#include <errno.h>
#include <gtest/gtest.h>
#include <limits.h>
#include <stdlib.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <string>

#include "lumcore/processors.h"

namespace {

int thread_count() {
  int count = -1;
  EXPECT_EQ(lumGetNumThreads(&count), lumStatusOk);
  return count;
}

TEST(ThreadCount, SetsBothCountsOrNone) {
  const int at_start = thread_count();
  for (const int count : {1, 5, INT_MAX, 2}) {
    EXPECT_EQ(lumSetNumThreads(count), lumStatusOk);
    EXPECT_EQ(thread_count(), count);
    EXPECT_EQ(threads_omp_of_n_lum, count);
  }
  for (const int count : {0, -1, INT_MIN}) EXPECT_EQ(lumSetNumThreads(count), lumStatusBadSize);
  EXPECT_EQ(threads_omp_of_n_lum, 2);
  threads_omp_of_n_lum = 9;
  EXPECT_EQ(thread_count(), 2) << "the count of regions is not the count that is reported";
  EXPECT_EQ(lumGetNumThreads(nullptr), lumStatusNullPointer);
  lumSetNumThreads(at_start);
}

TEST(ThreadCount, IsSetBeforeMain) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");  // starts the program anew, with the environment of then
  const int at_start = thread_count();
  unsetenv("OMP_NUM_THREADS");
  const int granted = lum::default_threads();
  EXPECT_GE(granted, 1);
  EXPECT_LE(granted, lum::affinity_processors());
  for (const auto& [value, count] : {std::pair("5", 5), {"6,2", 6}, {"junk", granted}}) {
    setenv("OMP_NUM_THREADS", value, 1);
    EXPECT_EXIT(_exit(threads_omp_of_n_lum == at_start ? at_start : 255), testing::ExitedWithCode(count), "");
  }
  unsetenv("OMP_NUM_THREADS");
}

TEST(ThreadsFromEnvironment, ReadsWhatTheRuntimeReads) {
  for (const char* value : {"4", "+4", " \t4\n ", "4,2", "4 , 2,\v3\f"})
    EXPECT_EQ(lum::threads_from_environment(value), 4) << value;
  for (const char* value : {"", "0", "-3", "4x", "4 2", ",4", "4, ", "4,,2", "4,0", "4,x", "4,2x",
                            "9223372036854775808", "4,99999999999999999999"})
    EXPECT_EQ(lum::threads_from_environment(value), 0) << value;
  EXPECT_EQ(lum::threads_from_environment(nullptr), 0);
  // The runtime reads longs.
  EXPECT_EQ(lum::threads_from_environment("2147483648"), sizeof(long) == 8 ? INT_MAX : 0);
}

// What the kernel of a machine with `processors` processors answers when the mask allows every third.
template <int processors>
int every_third(pid_t, size_t bytes, cpu_set_t* mask) {
  if (bytes * 8 < processors) return errno = EINVAL, -1;
  for (int i = 0; i < processors; i += 3) CPU_SET_S(i, bytes, mask);
  return 0;
}

TEST(AffinityProcessors, CountsTheMask) {
  EXPECT_EQ(lum::affinity_processors(every_third<9>), 3);
  EXPECT_EQ(lum::affinity_processors(every_third<6000>), 2000);
  const int online = sysconf(_SC_NPROCESSORS_ONLN);
  EXPECT_EQ(lum::affinity_processors([](pid_t, size_t, cpu_set_t*) { return errno = EINVAL, -1; }), online);
  EXPECT_EQ(lum::affinity_processors([](pid_t, size_t, cpu_set_t*) { return errno = ENOSYS, -1; }), online);
}

// A folder of files that dies with its test.
struct Folder : testing::Test {
  Folder() {
    root = testing::TempDir() + "lumcore_test.XXXXXX";
    if (!mkdtemp(root.data())) abort();
  }
  ~Folder() override { clear(); }
  void clear() { std::filesystem::remove_all(root); }
  std::string write(const std::string& file, const std::string& text) {
    const std::filesystem::path path = root + "/" + file;
    std::filesystem::create_directories(path.parent_path());
    std::ofstream(path) << text;
    return path;
  }
  std::string root;
};

struct QuotaProcessors : Folder {
  int quota(const std::string& groups) {
    return lum::quota_processors(write("cgroup", groups).c_str(), (root + "/fs").c_str());
  }
  void controller(const std::string& group, const std::string& limit) {
    write("fs/" + group + "/cpu.cfs_quota_us", limit);
    write("fs/" + group + "/cpu.cfs_period_us", "100000\n");
  }
  static constexpr int none = INT_MAX;
};

TEST_F(QuotaProcessors, RoundsUpToWholeProcessors) {
  const std::pair<const char*, int> cases[] = {{"200000 100000\n", 2},
                                               {"200001 100000\n", 3},
                                               {"150000 50000\n", 3},
                                               {"0 100000\n", 1},
                                               {"9223372036854775807 4611686018427387904", 2},
                                               {"max 100000\n", none},
                                               {"9223372036854775807 1\n", none},
                                               {"", none},
                                               {"200000\n", none},
                                               {"200000 0\n", none},
                                               {"-1 100000\n", none},
                                               {"x 100000\n", none}};
  for (const auto& [text, count] : cases) {
    write("fs/app/cpu.max", text);
    EXPECT_EQ(quota("0::/app\n"), count) << text;
  }
}

TEST_F(QuotaProcessors, SmallestOfAGroupAndItsAncestors) {
  write("cpu.max", "100000 100000\n");  // above the mount
  write("fs/a/cpu.max", "500000 100000\n");
  for (const auto& [own, smallest] : {std::pair("700000 100000\n", 5), {"300000 100000\n", 3}}) {
    write("fs/a/b/c/cpu.max", own);
    EXPECT_EQ(quota("0::/a/b/c\n"), smallest);
    EXPECT_EQ(quota("0::/a/b\n"), 5);
    EXPECT_EQ(quota("0::/\n"), none);
  }
  write("fs/cpu.max", "200000 100000\n");
  for (const std::string group : {"/", "/a/b/c", "/not/mounted/here", "/../beside", "/..", "/gone (deleted)", "/a:b"})
    EXPECT_EQ(quota("0::" + group + "\n"), 2) << group;
  EXPECT_EQ(quota("0::/" + std::string(5000, 'x') + "\n"), 2);
}

TEST_F(QuotaProcessors, ControllerHierarchy) {
  const std::string groups = "12:cpuset:/s\n4:cpu,cpuacct:/app/job\n2:cpuacct:/t\n1:name=systemd:/n\n0::/u\n";
  for (const std::string mount : {"cpu", "cpu,cpuacct"}) {
    controller(mount + "/app/job", "-1\n");
    EXPECT_EQ(quota(groups), none) << mount;
    controller(mount + "/app/job", "250000\n");
    EXPECT_EQ(quota(groups), 3) << mount;
    EXPECT_EQ(quota("1:cpuset:/app/job\n2:cpuacct:/app/job\n3:name=cpu:/app/job\n"), none) << mount;
    controller(mount, "200000\n");
    EXPECT_EQ(quota("4:cpuacct,cpu:/elsewhere\n"), 2) << mount;
    clear();
  }
}

TEST_F(QuotaProcessors, JunkLimitsNothing) {
  write("fs/cpu.max", "100000 100000\n");
  for (const char* groups : {"", "\n", "junk\n", "0:\n", "0::", "::\n", "0::app\n", "1:cpu\n"})
    EXPECT_EQ(quota(groups), none) << groups;
  EXPECT_EQ(quota("junk\n\n0::/"), 1) << "a line behind junk, without a line end";
  EXPECT_EQ(lum::quota_processors((root + "/missing").c_str(), root.c_str()), none);
}

TEST_F(Folder, CoresOnDie) {
  const int online = sysconf(_SC_NPROCESSORS_ONLN);
  const struct {
    const char *online, *package, *core;
    int cores, first = 0;
    bool old_names = false;
  } cases[] = {{"0-7\n", "0-7\n", "0,4\n", 4},
               {"0-7\n", "0-7\n", "0,4\n", 4, 0, true},
               {"0-63\n", "0-15,32-47\n", "0,32\n", 16},  // two packages
               {"2-5\n", "2-5\n", "2-3\n", 2, 2},         // the first processors are offline
               {"0-1\n", "0-1\n", "0-1\n", 1},            // one core of two threads
               {"0-5\n", "0-1\n", "0-1\n", 3},            // packages of one core count as cores
               {"0,2-5\n", "0-5", "", 5},                 // what makes no sense leaves the processors online
               {"0-2", "0-5x", "0", 3},
               {"0-2", "0-", "0", 3},
               {"0-2", "0-7,2-0", "0", 3},
               {"0-2", "0-4294967303", "0", 3},
               {"x", "x", "x", online}};
  for (const auto& c : cases) {
    clear();
    write("online", c.online);
    const std::string topology = "cpu" + std::to_string(c.first) + "/topology/";
    write(topology + (c.old_names ? "core_siblings_list" : "package_cpus_list"), c.package);
    write(topology + (c.old_names ? "thread_siblings_list" : "core_cpus_list"), c.core);
    EXPECT_EQ(lum::cores_on_die(root.c_str()), c.cores) << c.online << c.package << c.core;
  }
  EXPECT_EQ(lum::cores_on_die((root + "/missing").c_str()), online);
}

TEST(ProcessorFacts, OfThisMachine) {
  int bytes = 0;
  EXPECT_EQ(lumGetMaxCacheSizeB(&bytes), lumStatusOk);
  EXPECT_GE(bytes, 8 * 1024);
  for (const int cache : {_SC_LEVEL1_DCACHE_SIZE, _SC_LEVEL2_CACHE_SIZE}) EXPECT_GE(bytes, sysconf(cache));
  EXPECT_EQ(lumGetMaxCacheSizeB(nullptr), lumStatusNullPointer);
  EXPECT_EQ(lumGetNumCoresOnDie(), lum::cores_on_die("/sys/devices/system/cpu"));
}

}  // namespace
