// Aligned allocation through the hooks, and the library's data.
#include <gtest/gtest.h>
#include <limits.h>
#include <stdint.h>
#include <string.h>

#include <string>
#include <tuple>

#include "lumcv_frame.h"

namespace {

// What the hooks were asked and what i_malloc answers.
struct Asked {
  int allocations, releases;
  size_t size;
  void *released, *answer;
} asked;

struct Function {
  size_t element;
  void* (*call)(int length);
};
#define FUNCTION(type)                                                               \
  {                                                                                  \
    sizeof(Lum##type), [](int length) -> void* { return lumsMalloc_##type(length); } \
  }
const Function functions[] = {FUNCTION(8u), FUNCTION(8s), FUNCTION(16u), FUNCTION(32s), FUNCTION(32f), FUNCTION(64f)};

constexpr size_t kOverhead = sizeof(void*) == 4 ? 36 : 40;

const auto default_hooks = std::tuple(i_malloc, i_calloc, i_realloc, i_free);

// Nothing but lumsMalloc and lumsFree allocates: the hooks of all other tests abort.
struct NoHooks : testing::Environment {
  void SetUp() override {
    i_malloc = [](size_t) -> void* { abort(); };
    i_calloc = [](size_t, size_t) -> void* { abort(); };
    i_realloc = [](void*, size_t) -> void* { abort(); };
    i_free = [](void*) { abort(); };
  }
};
auto* const no_hooks = testing::AddGlobalTestEnvironment(new NoHooks);

struct Hooks : testing::Test {
  Hooks() {
    asked = {};
    i_malloc = [](size_t size) { return ++asked.allocations, asked.size = size, asked.answer; };
    i_free = [](void* block) { ++asked.releases, asked.released = block; };
  }
  ~Hooks() override { no_hooks->SetUp(); }
};

TEST_F(Hooks, LayoutForEveryRawAddress) {
  alignas(32) static char memory[256];
  for (const Function& f : functions)
    for (const int length : {1, 3, 13})
      for (char* raw = memory; raw < memory + 32; ++raw) {
        memset(memory, 0x5A, sizeof memory);
        asked = {};
        asked.answer = raw;
        char* const block = (char*)f.call(length);
        EXPECT_EQ(asked.size, length * f.element + kOverhead);
        ASSERT_EQ(uintptr_t(block), (uintptr_t(raw) + kOverhead - 1) & ~uintptr_t(31)) << raw - memory;
        EXPECT_EQ(memcmp(block - sizeof raw, &raw, sizeof raw), 0);
        for (char* p = memory; p < memory + sizeof memory; ++p)
          ASSERT_TRUE(*p == 0x5A || (p >= block - sizeof raw && p < block)) << "written at " << p - raw;
        lumsFree(block);
        EXPECT_EQ(asked.released, raw);
        EXPECT_TRUE(asked.allocations == 1 && asked.releases == 1);
      }
}

TEST_F(Hooks, NullWithoutABlock) {
  for (const Function& f : functions) {
    asked = {};
    for (const int length : {0, -1, INT_MIN}) EXPECT_EQ(f.call(length), nullptr);
    EXPECT_EQ(asked.allocations, 0);
    // Huge requests are made only where the byte count fits the address space; the hook refuses.
    for (const int length : {1, INT_MAX, INT_MAX / 2, 0x20000000, 0x1FFFFFFF, 0x1FFFFFFB}) {
      asked = {};
      const unsigned long long bytes = length * 1ULL * f.element + kOverhead;
      EXPECT_EQ(f.call(length), nullptr);
      EXPECT_EQ(asked.allocations, bytes <= SIZE_MAX) << length << " x " << f.element;
      EXPECT_EQ(asked.size, bytes <= SIZE_MAX ? size_t(bytes) : 0);
    }
  }
  lumsFree(nullptr);
  EXPECT_EQ(asked.releases, 0);
}

TEST_F(Hooks, DefaultOnesServe) {
  std::tie(i_malloc, i_calloc, i_realloc, i_free) = default_hooks;
  for (const Function& f : functions) {
    void* const block = f.call(1001);
    ASSERT_NE(block, nullptr);
    memset(block, 1, 1001 * f.element);
    lumsFree(block);
  }
  void* const cleared = i_calloc(3, 5);
  EXPECT_EQ(memcmp(cleared, "\0\0\0\0\0\0\0\0\0\0\0\0\0\0", 15), 0);
  i_free(memset(i_realloc(cleared, 100), 1, 100));
}

TEST(Version, Record) {
  const LumLibraryVersion* const v = lumcvGetLibVersion();
  EXPECT_EQ(std::tuple(v->major, v->minor, v->majorBuild, v->build), std::tuple(5, 2, 108, 398));
  EXPECT_EQ(memcmp(v->targetCpu, "t7\0\0", 4), 0);
  EXPECT_EQ(std::string(v->Name) + ", " + v->Version + ", " + v->BuildDate, "liblumcvt7.so.5.2, 5.2, Jul 11 2007");
  EXPECT_EQ(lumcvGetLibVersion(), v);
}

}  // namespace
