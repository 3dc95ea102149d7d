// What programs do to the library beside calling it: fork, threads of their own, limits on threads, planes beyond 2 GiB.
#include <sys/wait.h>

#include <atomic>
#include <filesystem>
#include <thread>

#include "calls.h"

namespace {

using namespace test;

#ifdef __SANITIZE_ADDRESS__
constexpr bool kSanitized = true;
#else
constexpr bool kSanitized = false;
#endif

// ---- one call of each kind ----

constexpr LumSize kRoi = {257, 390};  // enough for three threads
constexpr size_t kPixels = (size_t)kRoi.width * kRoi.height;

template <class T>
const T* input() {
  static const std::vector<T> values = [] {
    std::mt19937 random(1);
    std::vector<T> all(3 * kPixels);
    for (T& value : all) value = random_element<T>(random);
    return all;
  }();
  return values.data();
}
template <class T>
std::vector<T*> rows_of(T* plane, int elements) {
  std::vector<T*> rows;
  for (int y = 0; y < kRoi.height; ++y) rows.push_back(plane + (size_t)y * elements);
  return rows;
}

// Tells the buffer's size if `bytes` is given, else makes the result.
struct Call {
  const char* name;
  LumStatus (*run)(int* bytes, Lum8u* out, Lum8u* buffer);
};
#define CALL(name, size, run)                                                                                        \
  {                                                                                                                  \
    name, [](int* bytes, [[maybe_unused]] Lum8u* out, [[maybe_unused]] Lum8u* buffer) { return bytes ? size : run; } \
  }
const Call kCalls[] = {
    CALL("row pass whose slices share the buffer", lumiFilterRowBorderPipelineGetBufferSize_16s_C3R(kRoi, 171, bytes),
         lumiFilterRowBorderPipeline_16s_C3R(input<Lum16s>(), 6 * 257, rows_of((Lum16s*)out, 3 * 257).data(), kRoi,
                                             input<Lum16s>(), 171, 80, lumBorderWrap, 0, 777, buffer)),
    CALL("Sobel", lumiFilterSobelHorizGetBufferSize_8u16s_C1R(kRoi, lumMaskSize5x5, bytes),
         lumiFilterSobelHorizBorder_8u16s_C1R(input<Lum8u>(), 257, (Lum16s*)out, 2 * 257, kRoi, lumMaskSize5x5,
                                              lumBorderWrap, 0, buffer)),
    CALL("Gauss", lumiFilterGaussGetBufferSize_32f_C1R(kRoi, 7, bytes),
         lumiFilterGaussBorder_32f_C1R(input<Lum32f>(), 4 * 257, (Lum32f*)out, 4 * 257, kRoi, 7, 2, lumBorderMirrR, 0,
                                       buffer))};

using Bytes = std::vector<Lum8u>;

// The bytes that a call writes; none if it fails.
Bytes result_of(const Call& call, int buffer_size) {
  const Block buffer(buffer_size);
  Bytes out(kPixels * 6);
  return call.run(nullptr, out.data(), buffer.bytes()) == lumStatusOk ? out : Bytes();
}

// Whether a call makes what a single thread makes, whatever the count is now, with the buffer of a single thread.
bool is_right(size_t i) {
  static const auto serial = [] {
    const Threads scope(1);
    std::vector<std::pair<int, Bytes>> calls;
    for (const Call& call : kCalls) {
      int size = 0;
      EXPECT_EQ(lumStatusOk, call.run(&size, nullptr, nullptr)) << call.name;
      calls.emplace_back(size, result_of(call, size));
    }
    return calls;
  }();
  const auto& [size, expected] = serial[i];
  const Bytes result = result_of(kCalls[i], size);
  return !result.empty() && result == expected;
}

std::string wrong_calls() {
  std::string wrong;
  for (size_t i = 0; i < std::size(kCalls); ++i)
    if (!is_right(i)) wrong += std::string(kCalls[i].name) + ", ";
  return wrong;
}

// ---- fork ----

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
bool child_works(size_t call) {
  if (thread_count() != 1 || threads_omp_of_n_lum != 1 || !is_right(call)) return false;
  if (lumSetNumThreads(3) != lumStatusOk || thread_count() != 3 || threads_omp_of_n_lum != 1) return false;
  return is_right(call) && true_in_child([&] { return threads_omp_of_n_lum == 1 && is_right(call); });
}

TEST(Fork, ChildrenOfAThreadedProgramRunOnOneThread) {
  const Threads scope(3);
  for (size_t i = 0; i < (kSanitized ? 16 : 100); ++i) {
    const size_t call = i % std::size(kCalls);
    ASSERT_TRUE(is_right(call)) << "in the parent";
    bool works = false;
    const auto fork_and_call = [&] { works = true_in_child([=] { return child_works(call); }); };
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
    ASSERT_TRUE(works) << "round " << i << ", " << kCalls[call].name;
  }
  EXPECT_EQ(threads_omp_of_n_lum, 3) << "in the parent";
}

// A server that starts its workers before it does anything else.
bool parallel_children_of_a_single_thread() {
  using Folder = std::filesystem::directory_iterator;
  lumSetNumThreads(3);
  for (int i = 0; i < 2; ++i)
    if (!true_in_child([] {
          return thread_count() == 3 && wrong_calls() == "" && std::distance(Folder("/proc/self/task"), Folder()) >= 3;
        }))
      return false;
  return wrong_calls() == "";
}

TEST(NewProcess, ForkedBeforeAnyThread) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  EXPECT_EXIT(_exit(parallel_children_of_a_single_thread() ? 0 : 1), testing::ExitedWithCode(0), "");
}

// ---- threads of the caller ----

TEST(Concurrent, CallersOwnThreadsWhileTheCountChanges) {
  const Threads scope(1);
  is_right(0);
  std::string wrong[4];
  std::atomic<int> running = std::size(wrong);
  std::vector<std::thread> callers;
  for (std::string& result : wrong)
    callers.emplace_back([&] {
      for (int i = 0; i < 5; ++i) result += wrong_calls();
      --running;
    });
  for (int i = 0; running; ++i) {
    lumSetNumThreads(1 + i % 4);
    std::this_thread::yield();
  }
  for (std::thread& caller : callers) caller.join();
  for (const std::string& result : wrong) EXPECT_EQ(result, "");
}

// ---- planes beyond 2 and 4 GiB ----

constexpr LumSize kFar = {70, 5};

// Whether filter(src, dst, buffer) makes the same of planes with and without great steps.
template <class S, class D, class Filter>
testing::AssertionResult same_when_far(const Filter& filter, bool far_results = true) {
  const Block buffer(1 << 20);
  Plane<S> near_src(kFar);
  const Plane<D> near_dst(kFar);
  std::mt19937 random(7);
  near_src.fill(random);
  if (filter(near_src, near_dst, buffer.bytes()) != lumStatusOk) return testing::AssertionFailure() << "near";
  for (int step : {(1 << 30) + 64, INT32_MAX - 63}) {  // row 2 lies beyond 2 GiB, row 4 beyond 4 GiB
    Plane<S> src(kFar, 1, {step / int(sizeof(S)) - kFar.width});
    const Plane<D> dst(kFar, 1, {far_results ? step / int(sizeof(D)) - kFar.width : 0});
    src.fill([&](int x, int y) { return near_src.get(x, y); });
    if (filter(src, dst, buffer.bytes()) != lumStatusOk) return testing::AssertionFailure() << "far";
    for (int y = 0; y < kFar.height; ++y)
      if (memcmp(near_dst.row(y), dst.row(y), kFar.width * sizeof(D)) != 0)
        return testing::AssertionFailure() << "row " << y << " differs at step " << step;
  }
  return testing::AssertionSuccess();
}

TEST(HugePlanes, EqualSmallOnes) {
  if (sizeof(void*) < 8) GTEST_SKIP() << "a 32-bit program has no room for them";
  EXPECT_TRUE((same_when_far<Lum8u, Lum16s>([](const auto& src, const auto& dst, Lum8u* buffer) {
    Lum16s* rows[kFar.height];
    for (int y = 0; y < kFar.height; ++y) rows[y] = dst.row(y);
    return lumiFilterRowBorderPipeline_8u16s_C1R(src.data(), src.step(), rows, kFar, input<Lum16s>(), 5, 2,
                                                 lumBorderWrap, 0, 3, buffer);
  })));
  EXPECT_TRUE((same_when_far<Lum8u, Lum16s>([](const auto& src, const auto& dst, Lum8u* buffer) {
    return lumiFilterSobelVertBorder_8u16s_C1R(src.data(), src.step(), dst.data(), dst.step(), kFar, lumMaskSize5x5,
                                               lumBorderMirr, 0, buffer);
  })));
  const auto canny = [](const auto& src, const auto& dst, Lum8u* buffer) {  // would write all padding of far results
    return lumiCanny_16s8u_C1R(src.data(), src.step(), src.data(), src.step(), dst.data(), dst.step(), kFar, 100, 20000,
                               buffer);
  };
  EXPECT_TRUE((same_when_far<Lum16s, Lum8u>(canny, false)));
}

}  // namespace
