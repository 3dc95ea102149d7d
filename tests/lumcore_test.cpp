#include "lumcore.h"

#include <errno.h>
#include <gtest/gtest.h>
#include <limits.h>
#include <stdlib.h>
#include <string.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <string>

#include "lumcore/processors.h"

namespace {

struct ThreadCount : testing::Test {
  ~ThreadCount() override { lumSetNumThreads(at_start); }
  static int get() {
    int count = -1;
    EXPECT_EQ(lumGetNumThreads(&count), lumStatusOk);
    return count;
  }
  const int at_start = get();
};

TEST_F(ThreadCount, SetsBothCountsOrNone) {
  for (const int count : {1, 5, INT_MAX, 2}) {
    EXPECT_EQ(lumSetNumThreads(count), lumStatusOk);
    EXPECT_EQ(get(), count);
    EXPECT_EQ(threads_omp_of_n_lum, count);
  }
  for (const int count : {0, -1, INT_MIN}) EXPECT_EQ(lumSetNumThreads(count), lumStatusBadSize);
  EXPECT_EQ(get(), 2);
  EXPECT_EQ(threads_omp_of_n_lum, 2);
  threads_omp_of_n_lum = 9;
  EXPECT_EQ(get(), 2) << "the count of regions is not the count that is reported";
  EXPECT_EQ(lumGetNumThreads(nullptr), lumStatusNullPointer);
}

TEST_F(ThreadCount, IsSetBeforeMain) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");  // starts the program anew, with the environment of then
  unsetenv("OMP_NUM_THREADS");
  const int granted = lum::default_threads();
  EXPECT_GE(granted, 1);
  EXPECT_LE(granted, lum::affinity_processors());
  const struct {
    const char* value;
    int count;
  } cases[] = {{"5", 5}, {"6,2", 6}, {"junk", granted}};
  for (const auto& c : cases) {
    setenv("OMP_NUM_THREADS", c.value, 1);
    EXPECT_EXIT(_exit(threads_omp_of_n_lum == at_start ? at_start : 255), testing::ExitedWithCode(c.count), "");
  }
  unsetenv("OMP_NUM_THREADS");
}

TEST(ThreadsFromEnvironment, ReadsWhatTheRuntimeReads) {
  for (const char* value : {"4", "04", "+4", " \t4\n ", "4,2", "4 , 2,\v3\f"})
    EXPECT_EQ(lum::threads_from_environment(value), 4) << value;
  for (const char* value : {"", " ", "0", "-3", "x", "4x", "0x4", "4.5", "4 2", ",4", "4,", "4, ", "4,,2", "4,0",
                            "4,-1", "4,x", "4,2x", "9223372036854775808", "4,99999999999999999999"})
    EXPECT_EQ(lum::threads_from_environment(value), 0) << value;
  EXPECT_EQ(lum::threads_from_environment(nullptr), 0);
  EXPECT_EQ(lum::threads_from_environment("2147483647"), INT_MAX);
  // The runtime reads longs.
  for (const char* value : {"2147483648", "4294967300"})
    EXPECT_EQ(lum::threads_from_environment(value), sizeof(long) == 8 ? INT_MAX : 0) << value;
}

// What the kernel of a machine with `processors` processors answers when the mask allows every third.
template <int processors>
int every_third(pid_t, size_t bytes, cpu_set_t* mask) {
  if (bytes * 8 < processors) {
    errno = EINVAL;
    return -1;
  }
  for (int i = 0; i < processors; i += 3) CPU_SET_S(i, bytes, mask);
  return 0;
}

TEST(AffinityProcessors, CountsTheMask) {
  EXPECT_EQ(lum::affinity_processors(every_third<9>), 3);
  EXPECT_EQ(lum::affinity_processors(every_third<1024>), 342);
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
  void unified(const std::string& group, const std::string& text) { write("fs" + group + "/cpu.max", text); }
  void controller(const std::string& group, const std::string& limit, const std::string& period) {
    write("fs/" + group + "/cpu.cfs_quota_us", limit);
    write("fs/" + group + "/cpu.cfs_period_us", period);
  }
  static constexpr int none = INT_MAX;
};

TEST_F(QuotaProcessors, RoundsUpToWholeProcessors) {
  const auto count = [this](const char* text) {
    unified("/app", text);
    return quota("0::/app\n");
  };
  EXPECT_EQ(count("200000 100000\n"), 2);
  EXPECT_EQ(count("200001 100000\n"), 3);
  EXPECT_EQ(count("150000 50000\n"), 3);
  EXPECT_EQ(count("1000 100000\n"), 1);
  EXPECT_EQ(count("0 100000\n"), 1);
  EXPECT_EQ(count("9223372036854775807 4611686018427387904"), 2);
  for (const char* text :
       {"max 100000\n", "9223372036854775807 1\n", "", "\n", "200000\n", "200000 0\n", "-1 100000\n", "x 100000\n"})
    EXPECT_EQ(count(text), none) << text;
}

TEST_F(QuotaProcessors, SmallestOfAGroupAndItsAncestors) {
  unified("/a/b/c", "700000 100000\n");
  unified("/a", "500000 100000\n");
  EXPECT_EQ(quota("0::/a/b/c\n"), 5);
  EXPECT_EQ(quota("0::/a/b\n"), 5);
  unified("/a/b/c", "300000 100000\n");
  EXPECT_EQ(quota("0::/a/b/c\n"), 3);
  EXPECT_EQ(quota("0::/a/b\n"), 5);
  EXPECT_EQ(quota("0::/\n"), none);
  unified("", "200000 100000\n");
  write("cpu.max", "100000 100000\n");  // above the mount
  for (const char* group : {"/", "/a/b/c", "/not/mounted/here", "/../beside", "/..", "/gone (deleted)", "/a:b"})
    EXPECT_EQ(quota(std::string("0::") + group + "\n"), 2) << group;
  EXPECT_EQ(quota("0::/" + std::string(5000, 'x') + "\n"), 2);
}

TEST_F(QuotaProcessors, ControllerHierarchy) {
  const std::string groups = "12:cpuset:/s\n4:cpu,cpuacct:/app/job\n2:cpuacct:/t\n1:name=systemd:/n\n0::/u\n";
  for (const char* mount : {"cpu", "cpu,cpuacct"}) {
    const std::string job = std::string(mount) + "/app/job";
    controller(job, "-1\n", "100000\n");
    EXPECT_EQ(quota(groups), none) << mount;
    controller(job, "250000\n", "100000\n");
    EXPECT_EQ(quota(groups), 3) << mount;
    EXPECT_EQ(quota("1:cpuset:/app/job\n2:cpuacct:/app/job\n3:name=cpu:/app/job\n"), none) << mount;
    EXPECT_EQ(quota("4:cpuacct,cpu:/elsewhere\n"), none) << mount;
    controller(mount, "200000\n", "100000\n");
    EXPECT_EQ(quota(groups), 2) << mount;
    EXPECT_EQ(quota("4:cpuacct,cpu:/elsewhere\n"), 2) << mount;
    clear();
  }
}

TEST_F(QuotaProcessors, JunkLimitsNothing) {
  unified("", "100000 100000\n");
  for (const char* groups : {"", "\n", "junk\n", "0:\n", "0::", "::\n", "0::app\n", "1:cpu\n"})
    EXPECT_EQ(quota(groups), none) << groups;
  EXPECT_EQ(quota("junk\n\n0::/"), 1) << "a line behind junk, without a line end";
  EXPECT_EQ(lum::quota_processors((root + "/missing").c_str(), root.c_str()), none);
}

struct CoresOnDie : Folder {
  int cores(const std::string& online, const std::string& package, const std::string& core,
            const std::string& topology = "cpu0/topology/", bool old_names = false) {
    clear();
    write("online", online);
    write(topology + (old_names ? "core_siblings_list" : "package_cpus_list"), package);
    write(topology + (old_names ? "thread_siblings_list" : "core_cpus_list"), core);
    return lum::cores_on_die(root.c_str());
  }
};

TEST_F(CoresOnDie, DividesThePackageByTheThreadsOfACore) {
  EXPECT_EQ(cores("0-7\n", "0-7\n", "0,4\n"), 4);
  EXPECT_EQ(cores("0-7\n", "0-7\n", "0,4\n", "cpu0/topology/", true), 4) << "the old file names";
  EXPECT_EQ(cores("0-63\n", "0-15,32-47\n", "0,32\n"), 16) << "two packages";
  EXPECT_EQ(cores("2-5\n", "2-5\n", "2-3\n", "cpu2/topology/"), 2) << "the first processor is offline";
  EXPECT_EQ(cores("0\n", "0\n", "0\n"), 1);
  EXPECT_EQ(cores("0-1\n", "0-1\n", "0-1\n"), 1) << "one core of two threads";
}

TEST_F(CoresOnDie, PackagesOfOneCoreCountAsCores) {
  EXPECT_EQ(cores("0-3\n", "0\n", "0\n"), 4);
  EXPECT_EQ(cores("0-5\n", "0-1\n", "0-1\n"), 3);
}

TEST_F(CoresOnDie, ProcessorsOnlineWithoutAnswer) {
  EXPECT_EQ(cores("0,2-5\n", "junk", "0"), 5);
  EXPECT_EQ(cores("0,2-5\n", "0-5", ""), 5);
  EXPECT_EQ(cores("0-2", "0-5x", "0"), 3);
  EXPECT_EQ(cores("0-2", "0-", "0"), 3);
  EXPECT_EQ(cores("0-2", "0-7,2-0", "0"), 3);
  EXPECT_EQ(cores("0-2", "0-4294967303", "0"), 3);
  const int online = sysconf(_SC_NPROCESSORS_ONLN);
  EXPECT_EQ(cores("x", "x", "x"), online);
  EXPECT_EQ(lum::cores_on_die((root + "/missing").c_str()), online);
}

TEST(ProcessorFacts, OfThisMachine) {
  int bytes = 0;
  EXPECT_EQ(lumGetMaxCacheSizeB(&bytes), lumStatusOk);
  EXPECT_EQ(bytes, lum::largest_cache());
  EXPECT_GE(bytes, 8 * 1024);
  EXPECT_GE(bytes, sysconf(_SC_LEVEL1_DCACHE_SIZE));
  EXPECT_GE(bytes, sysconf(_SC_LEVEL2_CACHE_SIZE));
  EXPECT_EQ(lumGetMaxCacheSizeB(nullptr), lumStatusNullPointer);
  EXPECT_EQ(lumGetNumCoresOnDie(), lum::cores_on_die("/sys/devices/system/cpu"));
  EXPECT_GE(lumGetNumCoresOnDie(), 1);
}

TEST(Constants, Bits) {
  const auto bits = [](const Lum64f& value) {
    unsigned long long result;
    memcpy(&result, &value, sizeof result);
    return result;
  };
  EXPECT_EQ(bits(lumConstantOfINF_64f), 0x7FF0000000000000);
  EXPECT_EQ(bits(lumConstantOfINF_NEG_64f), 0xFFF0000000000000);
  EXPECT_EQ(bits(lumConstantOfNAN_64f), 0x7FF8000000000000);
}

}  // namespace
