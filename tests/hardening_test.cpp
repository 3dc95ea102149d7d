// What programs do to the library beside calling it: fork, threads of their own, limits on threads, planes beyond 2 GiB.
#include <omp.h>
#include <sys/wait.h>

#include <atomic>
#include <filesystem>
#include <thread>

#include "calls.h"

namespace {

using test::Block;
using test::Threads;

#ifdef __SANITIZE_ADDRESS__
constexpr bool kSanitized = true;
#else
constexpr bool kSanitized = false;
#endif

// ---- one call of each kind ----

constexpr LumSize kRoi = {257, 390};  // enough for three threads
constexpr size_t kPixels = (size_t)kRoi.width * kRoi.height;

struct Inputs {
  std::vector<Lum8u> bytes = random<Lum8u>(1);
  std::vector<Lum16s> words = random<Lum16s>(2), more_words = random<Lum16s>(3);
  std::vector<Lum32f> floats = random<Lum32f>(4), more_floats = random<Lum32f>(5);
  std::vector<Lum16s> taps = std::vector<Lum16s>(171, 3);
  std::vector<const Lum16s*> rows;

  Inputs() {
    for (int y = -2; y < kRoi.height + 2; ++y)
      rows.push_back(words.data() + std::clamp(y, 0, kRoi.height - 1) * kRoi.width);
  }
  template <class T>
  static std::vector<T> random(unsigned seed) {
    std::mt19937 source(seed);
    std::vector<T> values(3 * kPixels);
    for (T& value : values) value = test::random_element<T>(source);
    return values;
  }
};
const Inputs& inputs() {
  static const Inputs once;
  return once;
}

std::vector<Lum16s*> row_pointers(void* out, int channels) {
  std::vector<Lum16s*> rows;
  for (int y = 0; y < kRoi.height; ++y) rows.push_back((Lum16s*)out + (size_t)y * kRoi.width * channels);
  return rows;
}

struct Call {
  const char* name;
  LumStatus (*size)(int* bytes);
  LumStatus (*run)(const Inputs& in, void* out, Lum8u* buffer);
};
const Call kCalls[] = {
    {"row pass", [](int* bytes) { return lumiFilterRowBorderPipelineGetBufferSize_8u16s_C1R(kRoi, 5, bytes); },
     [](const Inputs& in, void* out, Lum8u* buffer) {
       return lumiFilterRowBorderPipeline_8u16s_C1R(in.bytes.data(), kRoi.width, row_pointers(out, 1).data(), kRoi,
                                                    in.taps.data(), 5, 2, lumBorderMirr, 0, 7, buffer);
     }},
    {"row pass of many taps",  // its slices share the caller's buffer
     [](int* bytes) { return lumiFilterRowBorderPipelineGetBufferSize_16s_C3R(kRoi, 171, bytes); },
     [](const Inputs& in, void* out, Lum8u* buffer) {
       return lumiFilterRowBorderPipeline_16s_C3R(in.words.data(), kRoi.width * 6, row_pointers(out, 3).data(), kRoi,
                                                  in.taps.data(), 171, 80, lumBorderWrap, 0, 777, buffer);
     }},
    {"column pass", [](int* bytes) { return lumiFilterColumnPipelineGetBufferSize_16s_C1R(kRoi, 5, bytes); },
     [](const Inputs& in, void* out, Lum8u* buffer) {
       return lumiFilterColumnPipeline_16s_C1R(in.rows.data(), (Lum16s*)out, kRoi.width * 2, kRoi, in.taps.data(), 5, 9,
                                               buffer);
     }},
    {"Sobel", [](int* bytes) { return lumiFilterSobelHorizGetBufferSize_8u16s_C1R(kRoi, lumMaskSize5x5, bytes); },
     [](const Inputs& in, void* out, Lum8u* buffer) {
       return lumiFilterSobelHorizBorder_8u16s_C1R(in.bytes.data(), kRoi.width, (Lum16s*)out, kRoi.width * 2, kRoi,
                                                   lumMaskSize5x5, lumBorderWrap, 0, buffer);
     }},
    {"Laplacian", [](int* bytes) { return lumiFilterLaplacianGetBufferSize_32f_C1R(kRoi, lumMaskSize3x3, bytes); },
     [](const Inputs& in, void* out, Lum8u* buffer) {
       return lumiFilterLaplacianBorder_32f_C1R(in.floats.data(), kRoi.width * 4, (Lum32f*)out, kRoi.width * 4, kRoi,
                                                lumMaskSize3x3, lumBorderRepl, 0, buffer);
     }},
    {"Gauss", [](int* bytes) { return lumiFilterGaussGetBufferSize_32f_C1R(kRoi, 7, bytes); },
     [](const Inputs& in, void* out, Lum8u* buffer) {
       return lumiFilterGaussBorder_32f_C1R(in.floats.data(), kRoi.width * 4, (Lum32f*)out, kRoi.width * 4, kRoi, 7, 2,
                                            lumBorderMirrR, 0, buffer);
     }},
    {"Canny 16s", [](int* bytes) { return lumiCannyGetSize(kRoi, bytes); },
     [](const Inputs& in, void* out, Lum8u* buffer) {
       return lumiCanny_16s8u_C1R(in.words.data(), kRoi.width * 2, in.more_words.data(), kRoi.width * 2, (Lum8u*)out,
                                  kRoi.width, kRoi, 9000, 50000, buffer);
     }},
    {"Canny 32f", [](int* bytes) { return lumiCannyGetSize(kRoi, bytes); },
     [](const Inputs& in, void* out, Lum8u* buffer) {
       return lumiCanny_32f8u_C1R(in.floats.data(), kRoi.width * 4, in.more_floats.data(), kRoi.width * 4, (Lum8u*)out,
                                  kRoi.width, kRoi, 1, 3000, buffer);
     }},
};

using Bytes = std::vector<Lum8u>;

// The bytes that a call writes; none if it fails.
Bytes result_of(const Call& call, int buffer_size) {
  const Block buffer(buffer_size);
  Bytes out(kPixels * 6);
  return call.run(inputs(), out.data(), buffer.bytes()) == lumStatusOk ? out : Bytes();
}

struct Serial {
  int buffer_size;
  Bytes result;
};
const std::vector<Serial>& serial() {
  static const std::vector<Serial> once = [] {
    const Threads scope(1);
    std::vector<Serial> calls;
    for (const Call& call : kCalls) {
      int size = 0;
      EXPECT_EQ(lumStatusOk, call.size(&size)) << call.name;
      calls.push_back({size, result_of(call, size)});
    }
    return calls;
  }();
  return once;
}

// Whether a call makes what a single thread makes, whatever the count is now, with the buffer of a single thread.
bool is_right(size_t i) {
  const Bytes result = result_of(kCalls[i], serial()[i].buffer_size);
  return !result.empty() && result == serial()[i].result;
}

std::string wrong_calls() {
  std::string wrong;
  for (size_t i = 0; i < std::size(kCalls); ++i)
    if (!is_right(i)) wrong += std::string(kCalls[i].name) + ", ";
  return wrong;
}

int thread_count() {
  int count = 0;
  lumGetNumThreads(&count);
  return count;
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

// What a child of three threads may do with the thread count, and a child of its own.
bool child_works(size_t call) {
  if (thread_count() != 1 || threads_omp_of_n_lum != 1 || !is_right(call)) return false;
  if (lumSetNumThreads(3) != lumStatusOk || thread_count() != 3 || threads_omp_of_n_lum != 1) return false;
  return is_right(call) && true_in_child([&] { return threads_omp_of_n_lum == 1 && is_right(call); });
}

TEST(Fork, ChildrenOfAThreadedProgramRunOnOneThread) {
  const Threads scope(3);
  for (size_t i = 0; i < (kSanitized ? 16 : 200); ++i) {
    const size_t call = i % std::size(kCalls);
    ASSERT_TRUE(is_right(call)) << "in the parent";
    const auto fork_and_call = [=] {
      return true_in_child([=] { return i < 32 ? child_works(call) : is_right(call); });
    };
    bool works = false;
    if (i % 5 == 1) {
      std::thread([&] { works = fork_and_call(); }).join();
    } else if (i % 5 == 2) {
      // As many threads as there are: one that is dismissed may hold a lock of the sanitizers at the fork.
#pragma omp parallel num_threads(3)
#pragma omp single
      works = fork_and_call();
    } else {
      works = fork_and_call();
    }
    ASSERT_TRUE(works) << "round " << i << ", " << kCalls[call].name;
  }
  EXPECT_EQ(threads_omp_of_n_lum, 3) << "in the parent";
}

long running_threads() {
  using Folder = std::filesystem::directory_iterator;
  return std::distance(Folder("/proc/self/task"), Folder());
}

// A server that starts its workers before it does anything else.
bool parallel_children_of_a_single_thread() {
  lumSetNumThreads(3);
  for (int i = 0; i < 2; ++i)
    if (!true_in_child([] { return thread_count() == 3 && wrong_calls() == "" && running_threads() >= 3; }))
      return false;
  return wrong_calls() == "";
}

struct NewProcess : testing::Test {
  NewProcess() { GTEST_FLAG_SET(death_test_style, "threadsafe"); }
};

TEST_F(NewProcess, ForkedBeforeAnyThread) {
  EXPECT_EXIT(_exit(parallel_children_of_a_single_thread() ? 0 : 1), testing::ExitedWithCode(0), "");
}

// ---- threads of the caller ----

std::string wrong_calls_of_all_counts() {
  std::string wrong;
  for (int count : {1, 2, 3}) {
    const Threads scope(count);
    wrong += wrong_calls();
  }
  return wrong;
}

TEST_F(NewProcess, LimitedByTheEnvironment) {
  const char* const limits[][2] = {
      {"OMP_THREAD_LIMIT", "1"}, {"OMP_THREAD_LIMIT", "2"}, {"OMP_THREAD_LIMIT", "4"}, {"OMP_DYNAMIC", "true"}};
  for (const auto& [name, value] : limits) {
    setenv(name, value, 1);
    EXPECT_EXIT(_exit(wrong_calls_of_all_counts() == "" ? 0 : 1), testing::ExitedWithCode(0), "") << name << value;
    unsetenv(name);
  }
}

TEST(Concurrent, CallersOwnThreadsWhileTheCountChanges) {
  const Threads scope(1);
  serial();
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

TEST(Concurrent, InsideACallersParallelRegion) {
  const int dynamic = omp_get_dynamic(), levels = omp_get_max_active_levels();
  serial();
  for (int dynamic_teams : {0, 1})
    for (int nesting : {1, 2}) {
      omp_set_dynamic(dynamic_teams);
      omp_set_max_active_levels(nesting);
      const Threads scope(3);
      std::string wrong[3];
#pragma omp parallel for num_threads(3)
      for (int i = 0; i < 3; ++i) wrong[i] = wrong_calls();
      for (const std::string& result : wrong) EXPECT_EQ(result, "") << dynamic_teams << nesting;
    }
  omp_set_dynamic(dynamic);
  omp_set_max_active_levels(levels);
}

// ---- allocation ----

std::atomic<int> hook_calls = 0;

TEST(Hooks, NoFilterAllocates) {
  const auto saved = std::tuple(i_malloc, i_calloc, i_realloc, i_free);
  i_malloc = [](size_t size) { return ++hook_calls, malloc(size); };
  i_calloc = [](size_t n, size_t size) { return ++hook_calls, calloc(n, size); };
  i_realloc = [](void* block, size_t size) { return ++hook_calls, realloc(block, size); };
  i_free = [](void* block) { ++hook_calls, free(block); };
  EXPECT_EQ(wrong_calls_of_all_counts(), "");
  EXPECT_EQ(hook_calls, 0);
  lumsFree(lumsMalloc_8u(1));
  EXPECT_EQ(hook_calls, 2) << "the count does not count";
  std::tie(i_malloc, i_calloc, i_realloc, i_free) = saved;
}

// ---- planes beyond 2 and 4 GiB ----

// Address space that reads as zeros and takes memory only where it is written.
class Space {
 public:
  explicit Space(size_t size) : size_(size) {
    bytes_ = map(nullptr, size, MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1);
  }
  Space(const Space&) = delete;
  Space& operator=(const Space&) = delete;
  ~Space() { munmap(bytes_, size_); }
  Lum8u* bytes() const { return bytes_; }

  // Makes all of it a repetition of a few pages, so that all of it can be written.
  void fold() {
    constexpr size_t kFold = 2 << 20;
    const int file = memfd_create("fold", 0);
    if (file < 0 || ftruncate(file, kFold) != 0) throw std::bad_alloc();
    for (size_t at = 0; at < size_; at += kFold)
      map(bytes_ + at, std::min(kFold, size_ - at), MAP_SHARED | MAP_FIXED, file);
    close(file);
  }
  // Gives the page at an offset its own memory again.
  void unfold(size_t at) { map(bytes_ + at, 1, MAP_PRIVATE | MAP_ANONYMOUS | MAP_FIXED, -1); }

 private:
  static Lum8u* map(void* at, size_t size, int flags, int file) {
    void* const mapping = mmap(at, size, PROT_READ | PROT_WRITE, flags, file, 0);
    if (mapping == MAP_FAILED) throw std::bad_alloc();
    return (Lum8u*)mapping;
  }

  size_t size_;
  Lum8u* bytes_;
};

// A plane with any step (0: no padding), black but for its last 30 rows.
template <class T>
class FarPlane {
 public:
  FarPlane(LumSize roi, int step)
      : roi_(roi), step_(step ? step : roi.width * int(sizeof(T))), space_((size_t)step_ * roi.height) {}
  T* row(int y) const { return (T*)(space_.bytes() + (size_t)y * step_); }
  T* data() const { return row(0); }
  int step() const { return step_; }
  // The last rows from value(x, y), y counting them.
  template <class F>
  void fill(F value) {
    const int first = std::max(0, roi_.height - kEnd);
    for (int y = first; y < roi_.height; ++y)
      for (int x = 0; x < roi_.width; ++x) row(y)[x] = value(x, y - first);
  }
  void fill() {
    std::mt19937 random(7);
    fill([&](int, int) { return test::random_element<T>(random); });
  }
  bool ends_like(const FarPlane& other) const {
    for (int i = 1; i <= std::min(roi_.height, kEnd); ++i)
      if (memcmp(row(roi_.height - i), other.row(other.roi_.height - i), roi_.width * sizeof(T)) != 0) return false;
    return true;
  }
  // The padding may be written from now on, and is not kept. For steps of whole pages.
  void drop_padding() {
    space_.fold();
    for (int y = 0; y < roi_.height; ++y) space_.unfold((size_t)y * step_);
  }

 private:
  static constexpr int kEnd = 30;
  LumSize roi_;
  int step_;
  Space space_;
};

struct HugePlanes : testing::Test {
  void SetUp() override {
    if (sizeof(void*) < 8) GTEST_SKIP() << "a 32-bit program has no room for them";
  }
};

constexpr LumSize kFewRows = {70, 5};
constexpr int kGreatStep = (1 << 30) + 64;  // row 2 lies beyond 2 GiB, row 4 beyond 4 GiB
constexpr int kGreatestStep = INT32_MAX - 63;

// Whether filter(roi, src, dst, buffer) makes of the end of a plane with great steps what it makes of a small plane.
template <class S, class D, class Filter, class... Content>
testing::AssertionResult same_when_far(LumSize roi, int src_step, int dst_step, const Filter& filter,
                                       const Content&... content) {
  const LumSize near_roi = {roi.width, std::min(roi.height, 40)};
  FarPlane<S> src(near_roi, 0), far_src(roi, src_step);
  FarPlane<D> dst(near_roi, 0), far_dst(roi, dst_step);
  src.fill(content...), far_src.fill(content...);
  const Space buffer(256 << 20);
  const LumStatus status = filter(near_roi, src, dst, buffer.bytes());
  const LumStatus far_status = filter(roi, far_src, far_dst, buffer.bytes());
  if (status != lumStatusOk || far_status != lumStatusOk)
    return testing::AssertionFailure() << "status " << status << " and " << far_status;
  return dst.ends_like(far_dst) ? testing::AssertionSuccess() : testing::AssertionFailure() << "results differ";
}

TEST_F(HugePlanes, SeparablePasses) {
  const auto rows = [](LumSize roi, const auto& src, const auto& dst, Lum8u* buffer) {
    std::vector<Lum16s*> targets;
    for (int y = 0; y < roi.height; ++y) targets.push_back(dst.row(y));
    return lumiFilterRowBorderPipeline_8u16s_C1R(src.data(), src.step(), targets.data(), roi, inputs().taps.data(), 5,
                                                 2, lumBorderWrap, 0, 3, buffer);
  };
  const auto columns = [](LumSize roi, const auto& src, const auto& dst, Lum8u* buffer) {
    std::vector<const Lum16s*> sources;
    for (int y = 0; y < roi.height + 2; ++y) sources.push_back(src.row(y % roi.height));
    return lumiFilterColumnPipeline_16s8u_C1R(sources.data(), dst.data(), dst.step(), roi, inputs().taps.data(), 3, 3,
                                              buffer);
  };
  for (int step : {kGreatStep, kGreatestStep}) {
    EXPECT_TRUE((same_when_far<Lum8u, Lum16s>(kFewRows, step, step, rows)));
    EXPECT_TRUE((same_when_far<Lum16s, Lum8u>(kFewRows, step, step, columns)));
  }
}

// Rows of 16 bits that take more than 2 GiB; what stands at their ends is what a short row has there.
TEST_F(HugePlanes, WideRows) {
  if (kSanitized) GTEST_SKIP() << "a thousand million pixels take a minute";
  constexpr LumSize roi = {(1 << 30) + 1600, 1}, end = {1600, 1};
  constexpr size_t before = roi.width - end.width;
  const Space src(roi.width), buffer(1 << 16);
  Space dst(roi.width * 2ULL);
  dst.fold();
  for (int x = 0; x < end.width; ++x) src.bytes()[before + x] = inputs().bytes[x];
  std::vector<Lum16s> expected(end.width);
  const auto row = [&](const Lum8u* source, Lum16s* target, LumSize size) {
    return lumiFilterRowBorderPipeline_8u16s_C1R(source, size.width, &target, size, inputs().taps.data(), 3, 0,
                                                 lumBorderRepl, 0, 7, buffer.bytes());
  };
  EXPECT_EQ(lumStatusOk, row(src.bytes(), (Lum16s*)dst.bytes(), roi));
  EXPECT_EQ(lumStatusOk, row(src.bytes() + before, expected.data(), end));
  EXPECT_EQ(0, memcmp((Lum16s*)dst.bytes() + before, expected.data(), end.width * 2));
}

TEST_F(HugePlanes, FixedFilters) {
  const auto sobel = [](LumSize roi, const auto& src, const auto& dst, Lum8u* buffer) {
    return lumiFilterSobelVertBorder_8u16s_C1R(src.data(), src.step(), dst.data(), dst.step(), roi, lumMaskSize5x5,
                                               lumBorderMirr, 0, buffer);
  };
  const auto laplacian = [](LumSize roi, const auto& src, const auto& dst, Lum8u* buffer) {
    return lumiFilterLaplacianBorder_32f_C1R(src.data(), src.step(), dst.data(), dst.step(), roi, lumMaskSize3x3,
                                             lumBorderWrap, 0, buffer);
  };
  const auto gauss = [](LumSize roi, const auto& src, const auto& dst, Lum8u* buffer) {
    return lumiFilterGaussBorder_32f_C1R(src.data(), src.step(), dst.data(), dst.step(), roi, 5, 1, lumBorderMirrR, 0,
                                         buffer);
  };
  for (int step : {kGreatStep, kGreatestStep}) {
    EXPECT_TRUE((same_when_far<Lum8u, Lum16s>(kFewRows, step, step, sobel)));
    EXPECT_TRUE((same_when_far<Lum32f, Lum32f>(kFewRows, step, step, laplacian)));
    EXPECT_TRUE((same_when_far<Lum32f, Lum32f>(kFewRows, step, step, gauss)));
  }
  const Threads scope(3);
  EXPECT_TRUE((same_when_far<Lum8u, Lum16s>({256, 70000}, 1 << 16, 0, sobel)));
  EXPECT_TRUE((same_when_far<Lum32f, Lum32f>({256, 40000}, 1 << 17, 0, gauss)));
}

// Derivatives, side by side, of one thin line that winds up and down and starts with a strong pixel.
Lum16s winding_line(int x, int y) {
  const bool of_dx = x < 200;
  if (!of_dx) x -= 200;
  if (x % 4 == 0) return !of_dx || y == 0 || y == 29 ? 0 : x == 0 && y == 15 ? 30000 : 500;  // up or down
  return !of_dx && y == (x / 4 % 2 ? 29 : 0) ? 500 : 0;                                      // to the next
}

TEST_F(HugePlanes, Canny) {
  const auto edges = [](LumSize roi, const auto& src, const auto& dst, Lum8u* buffer) {
    return lumiCanny_16s8u_C1R(src.data(), src.step(), src.data() + roi.width / 2, src.step(), dst.data(), dst.step(),
                               {roi.width / 2, roi.height}, 100, 20000, buffer);
  };
  for (int step : {kGreatStep, kGreatestStep}) EXPECT_TRUE((same_when_far<Lum16s, Lum8u>(kFewRows, step, 0, edges)));
  EXPECT_TRUE((same_when_far<Lum16s, Lum8u>({400, 66000}, 1 << 16, 0, edges, winding_line)));

  // Of the edges all is written, the padding too.
  constexpr LumSize roi = {40, 18};
  FarPlane<Lum16s> src(roi, 0);
  src.fill();
  FarPlane<Lum8u> dst(roi, 0), far_dst(roi, (1 << 27) + (1 << 16));
  far_dst.drop_padding();
  const Space buffer(1 << 20);
  EXPECT_EQ(lumStatusOk, edges(roi, src, dst, buffer.bytes()));
  EXPECT_EQ(lumStatusOk, edges(roi, src, far_dst, buffer.bytes()));
  EXPECT_TRUE(dst.ends_like(far_dst));
}

}  // namespace
