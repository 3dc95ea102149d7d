#include <gtest/gtest.h>
#include <limits.h>
#include <stdint.h>
#include <string.h>

#include "lumcv_frame.h"

namespace {

// What the hooks were asked and what i_malloc answers.
struct Hooks {
  int allocations, releases;
  size_t size;
  void* released;
  void* answer;
} hooks;

void* counting_malloc(size_t size) {
  ++hooks.allocations;
  hooks.size = size;
  return hooks.answer;
}
void* unexpected_calloc(size_t, size_t) {
  ADD_FAILURE() << "i_calloc was called";
  return nullptr;
}
void* unexpected_realloc(void*, size_t) {
  ADD_FAILURE() << "i_realloc was called";
  return nullptr;
}
void counting_free(void* block) {
  ++hooks.releases;
  hooks.released = block;
}

struct Function {
  const char* name;
  size_t element;
  void* (*call)(int length);
};
#define FUNCTION(type)                                                                      \
  {                                                                                         \
#type, sizeof(Lum##type), [](int length) -> void* { return lumsMalloc_##type(length); } \
  }
const Function functions[] = {FUNCTION(8u), FUNCTION(8s), FUNCTION(16u), FUNCTION(32s), FUNCTION(32f), FUNCTION(64f)};

constexpr size_t kOverhead = sizeof(void*) == 4 ? 36 : 40;

struct Allocation : testing::Test {
  Allocation() { hooks = {}; }
  ~Allocation() override {
    i_malloc = malloc_before;
    i_calloc = calloc_before;
    i_realloc = realloc_before;
    i_free = free_before;
  }
  void count() {
    i_malloc = counting_malloc;
    i_calloc = unexpected_calloc;
    i_realloc = unexpected_realloc;
    i_free = counting_free;
  }
  void* (*const malloc_before)(size_t) = i_malloc;
  void* (*const calloc_before)(size_t, size_t) = i_calloc;
  void* (*const realloc_before)(void*, size_t) = i_realloc;
  void (*const free_before)(void*) = i_free;
};

TEST_F(Allocation, LayoutForEveryRawAddress) {
  count();
  alignas(32) static char memory[256];
  for (const Function& f : functions)
    for (const int length : {1, 3, 13})
      for (int offset = 0; offset < 32; ++offset) {
        SCOPED_TRACE(testing::Message() << f.name << ", length " << length << ", raw address at " << offset);
        char* const raw = memory + offset;
        memset(memory, 0x5A, sizeof memory);
        hooks = {};
        hooks.answer = raw;
        void* const block = f.call(length);
        EXPECT_EQ(hooks.allocations, 1);
        EXPECT_EQ(hooks.size, length * f.element + kOverhead);
        ASSERT_EQ(uintptr_t(block), (uintptr_t(raw) + kOverhead - 1) & ~uintptr_t(31));
        EXPECT_EQ(memcmp((char*)block - sizeof raw, &raw, sizeof raw), 0);
        for (char* p = memory; p < memory + sizeof memory; ++p)
          ASSERT_TRUE(*p == 0x5A || (p >= (char*)block - sizeof raw && p < block)) << "written at " << p - raw;

        lumsFree(block);
        EXPECT_EQ(hooks.releases, 1);
        EXPECT_EQ(hooks.released, raw);
        EXPECT_EQ(hooks.allocations, 1);
      }
}

TEST_F(Allocation, NullWithoutABlock) {
  count();
  for (const Function& f : functions) {
    SCOPED_TRACE(f.name);
    for (const int length : {0, -1, INT_MIN}) EXPECT_EQ(f.call(length), nullptr);
    EXPECT_EQ(hooks.allocations, 0);

    // Huge requests are asked for only where the byte count fits the address space; the hook refuses.
    for (const int length : {1, INT_MAX, INT_MAX / 2, 0x20000000, 0x1FFFFFFF, 0x1FFFFFFB}) {
      SCOPED_TRACE(length);
      hooks = {};
      const unsigned long long bytes = length * 1ULL * f.element + kOverhead;
      const bool fits = bytes <= SIZE_MAX;
      EXPECT_EQ(f.call(length), nullptr);
      EXPECT_EQ(hooks.allocations, fits);
      EXPECT_EQ(hooks.size, fits ? size_t(bytes) : 0);
    }
    hooks = {};
  }
  lumsFree(nullptr);
  EXPECT_EQ(hooks.releases, 0);
}

TEST_F(Allocation, DefaultHooksServe) {
  for (const Function& f : functions) {
    const int length = 1001;
    void* const block = f.call(length);
    ASSERT_NE(block, nullptr);
    EXPECT_EQ(uintptr_t(block) % 32, 0);
    memset(block, 1, length * f.element);
    lumsFree(block);
  }
  void* cleared = i_calloc(3, 5);
  EXPECT_EQ(memcmp(cleared, "\0\0\0\0\0\0\0\0\0\0\0\0\0\0", 15), 0);
  cleared = i_realloc(cleared, 100);
  memset(cleared, 1, 100);
  i_free(cleared);
}

TEST(Version, Record) {
  const LumLibraryVersion* const version = lumcvGetLibVersion();
  ASSERT_NE(version, nullptr);
  EXPECT_EQ(version->major, 5);
  EXPECT_EQ(version->minor, 2);
  EXPECT_EQ(version->majorBuild, 108);
  EXPECT_EQ(version->build, 398);
  EXPECT_EQ(memcmp(version->targetCpu, "t7\0\0", 4), 0);
  EXPECT_STREQ(version->Name, "liblumcvt7.so.5.2");
  EXPECT_STREQ(version->Version, "5.2");
  EXPECT_STREQ(version->BuildDate, "Jul 11 2007");
  EXPECT_EQ(lumcvGetLibVersion(), version);
  EXPECT_EQ(i_version, 1);
  EXPECT_EQ(i_min_version, 0);
}

TEST(CoiMask, OneChannelPerBlock) {
  for (int i = 0; i < 144; ++i) EXPECT_EQ(lumcvCoiMaskA[i], i % 3 == i / 48 ? 0xFF : 0) << i;
}

}  // namespace
