// What programs do to the library beside calling it: fork, threads of their own, planes beyond 2 GiB.
#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <filesystem>
#include <thread>

#include "calls.h"

namespace {

using namespace test;

#define PLANES &A::src, &A::step, &A::dst, &A::dst_step, &A::roi
const Function kSobelSize = function(lumiFilterSobelVertGetBufferSize_8u16s_C1R, &A::roi, &A::mask, &A::bytes);
const Function kSobel =
    function(lumiFilterSobelVertBorder_8u16s_C1R, PLANES, &A::mask, &A::border, &A::border_value, &A::buffer);

// Whether a call makes what a single thread makes, whatever the count is now, with the buffer of a single thread.
bool is_right() {
  static const struct Serial {
    Serial() {
      const Threads scope(1);
      std::mt19937 random(1);
      src.fill(random);
      A a;
      a.set_roi(roi), a.mask = lumMaskSize5x5;
      bytes = buffer_bytes(kSobelSize, a);
      EXPECT_TRUE(run(result));
    }
    bool run(const Plane<Lum16s>& dst) const {
      const Block buffer(bytes);
      A a;
      a.set_source(src), a.set_target(dst), a.mask = lumMaskSize5x5, a.buffer = buffer.bytes();
      return kSobel(a) == lumStatusOk;
    }
    const LumSize roi = {257, 390};  // enough for three threads
    int bytes = 0;
    Plane<Lum8u> src{roi};
    Plane<Lum16s> result{roi};
  } serial;
  const Plane<Lum16s> dst(serial.roi);
  return serial.run(dst) && dst.equals(serial.result);
}

// Whether body() is true in a forked child. A child that hangs is killed.
template <class Body>
bool true_in_child(const Body& body) {
  const pid_t child = fork();
  if (child == 0) {
    alarm(30);
    _exit(body() ? 0 : 1);
  }
  int status = -1;
  return child > 0 && waitpid(child, &status, 0) == child && status == 0;
}

int thread_count() {
  int count = 0;
  lumGetNumThreads(&count);
  return count;
}

// What a child of three threads may do with the thread count, and a child of its own.
bool child_works() {
  if (thread_count() != 1 || threads_omp_of_n_lum != 1 || !is_right()) return false;
  if (lumSetNumThreads(3) != lumStatusOk || thread_count() != 3 || threads_omp_of_n_lum != 1) return false;
  return is_right() && true_in_child([] { return threads_omp_of_n_lum == 1 && is_right(); });
}

TEST(Fork, ChildrenOfAThreadedProgramRunOnOneThread) {
  const Threads scope(3);
  for (int i = 0; i < 30; ++i) {
    ASSERT_TRUE(is_right()) << "in the parent";
    bool works = false;
    const auto fork_and_call = [&] { works = true_in_child(child_works); };
    if (i % 5 == 1) {
      std::thread(fork_and_call).join();
    } else if (i % 5 == 2) {
      // As many threads as there are: one that is dismissed may hold a lock of the sanitizers at the fork.
#pragma omp parallel num_threads(3)
#pragma omp single
      fork_and_call();
    } else {
      fork_and_call();
    }
    ASSERT_TRUE(works) << "round " << i;
  }
  EXPECT_EQ(threads_omp_of_n_lum, 3) << "in the parent";
}

// A server that starts its workers before it does anything else.
bool parallel_children_of_a_single_thread() {
  using Folder = std::filesystem::directory_iterator;
  lumSetNumThreads(3);
  for (int i = 0; i < 2; ++i)
    if (!true_in_child([] {
          return thread_count() == 3 && is_right() && std::distance(Folder("/proc/self/task"), Folder()) >= 3;
        }))
      return false;
  return is_right();
}

TEST(NewProcess, ForkedBeforeAnyThread) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  EXPECT_EXIT(_exit(parallel_children_of_a_single_thread() ? 0 : 1), testing::ExitedWithCode(0), "");
}

TEST(Concurrent, CallersOwnThreadsWhileTheCountChanges) {
  const Threads scope(1);
  std::atomic<int> running = 4, wrong = 0;
  std::vector<std::thread> callers;
  for (int caller = 0; caller < 4; ++caller)
    callers.emplace_back([&] {
      for (int i = 0; i < 20; ++i) wrong += !is_right();
      --running;
    });
  for (int i = 0; running; ++i) {
    lumSetNumThreads(1 + i % 4);
    std::this_thread::yield();
  }
  for (std::thread& caller : callers) caller.join();
  EXPECT_EQ(wrong, 0);
}

constexpr LumSize kFar = {70, 5};

// Whether a call makes the same of planes with and without great steps.
template <class S, class D>
testing::AssertionResult same_when_far(const Function& call, bool far_results = true) {
  const Lum16s kernel[5] = {1, -2, 3, -4, 5};
  const Block buffer(1 << 20);
  const auto run = [&](const Plane<S>& src, const Plane<D>& dst) {
    A a;
    a.set_source(src), a.set_source2(src), a.set_target(dst), a.buffer = buffer.bytes();
    a.mask = lumMaskSize5x5, a.border = lumBorderMirr, a.high = 20000;
    a.kernel = kernel, a.taps = 5, a.anchor = 2;
    return call(a) == lumStatusOk;
  };
  Plane<S> near_src(kFar);
  const Plane<D> near_dst(kFar);
  std::mt19937 random(7);
  if (!run(near_src.fill(random), near_dst)) return testing::AssertionFailure() << "near";
  for (int step : {(1 << 30) + 64, INT32_MAX - 63}) {  // row 2 lies beyond 2 GiB, row 4 beyond 4 GiB
    Plane<S> src(kFar, 1, {step / int(sizeof(S)) - kFar.width});
    const Plane<D> dst(kFar, 1, {far_results ? step / int(sizeof(D)) - kFar.width : 0});
    src.fill([&](int x, int y) { return near_src.get(x, y); });
    if (!run(src, dst)) return testing::AssertionFailure() << "far";
    for (int y = 0; y < kFar.height; ++y)
      if (memcmp(near_dst.row(y), dst.row(y), kFar.width * sizeof(D)) != 0)
        return testing::AssertionFailure() << "row " << y << " differs at step " << step;
  }
  return testing::AssertionSuccess();
}

TEST(HugePlanes, EqualSmallOnes) {
  if (sizeof(void*) < 8) GTEST_SKIP() << "a 32-bit program has no room for them";
  const Function row_pass =
      function(lumiFilterRowBorderPipeline_8u16s_C1R, &A::src, &A::step, &A::dst, &A::roi, &A::kernel, &A::taps,
               &A::anchor, &A::border, &A::border_value, &A::divisor, &A::buffer);
  EXPECT_TRUE((same_when_far<Lum8u, Lum16s>([&](A a) {
    void* rows[kFar.height];
    for (int y = 0; y < kFar.height; ++y) rows[y] = (char*)a.dst + (ptrdiff_t)y * a.dst_step;
    a.dst = rows;
    return row_pass(a);
  })));
  EXPECT_TRUE((same_when_far<Lum8u, Lum16s>(kSobel)));
  const Function canny = function(lumiCanny_16s8u_C1R, &A::src, &A::step, &A::src2, &A::step2, &A::dst, &A::dst_step,
                                  &A::roi, &A::low, &A::high, &A::buffer);
  EXPECT_TRUE((same_when_far<Lum16s, Lum8u>(canny, false)));  // far results would have all their padding written
}

// So many bytes of addresses, all of one small block of memory.
class Repeated {
 public:
  explicit Repeated(size_t bytes) : bytes_(bytes) {
    const int file = memfd_create("repeated", 0);
    EXPECT_EQ(ftruncate(file, kBlock), 0);
    start_ = (char*)mmap(nullptr, bytes, PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0);
    for (size_t at = 0; at < bytes; at += kBlock)
      mmap(start_ + at, kBlock, PROT_READ | PROT_WRITE, MAP_SHARED | MAP_FIXED, file, 0);
    close(file);
  }
  ~Repeated() { munmap(start_, bytes_); }
  template <class T>
  T* at(size_t i = 0) const {
    return (T*)start_ + i;
  }
  static constexpr size_t kBlock = 4 << 20;

 private:
  size_t bytes_;
  char* start_;
};

TEST(HugePlanes, AsManyColumnsAsThereAre) {
  if (sizeof(void*) < 8) GTEST_SKIP() << "a 32-bit program has no room for them";
  const int width = INT32_MAX;
  const Repeated src((size_t)width + 1), dst(2 * ((size_t)width + 1));
  memset(src.at<char>(), 100, Repeated::kBlock);
  Lum8u buffer[4096];
  ASSERT_EQ(lumStatusOk, lumiFilterLowpassBorder_8u_C1R(src.at<Lum8u>(), width, dst.at<Lum8u>(), width, {width, 1},
                                                        lumMaskSize3x3, lumBorderMirr, 0, buffer));
  EXPECT_EQ(*dst.at<Lum8u>(width - 1), 100);
  ASSERT_EQ(lumStatusOk, lumiFilterSobelHorizBorder_8u8s_C1R(src.at<Lum8u>(), width, dst.at<Lum8s>(), width, {width, 1},
                                                             lumMaskSize5x5, lumBorderRepl, 0, 3, buffer));
  EXPECT_EQ(*dst.at<Lum8s>(width - 1), 0);
  const Lum16s kernel[9] = {1, 1, 1, 1, 1, 1, 1, 1, 1};
  Lum16s* rows[] = {dst.at<Lum16s>()};
  ASSERT_EQ(lumStatusOk, lumiFilterRowBorderPipeline_8u16s_C1R(src.at<Lum8u>(), width, rows, {width, 1}, kernel, 9, 4,
                                                               lumBorderRepl, 0, 1, buffer));
  EXPECT_EQ(*dst.at<Lum16s>(width - 1), 900);
}

}  // namespace
