// The internal copies with a border around them.
#include "core/bordered.h"

#include "filter_rules.h"
#include "lumcv_frame.h"
#include "planes.h"

namespace {

using namespace test;

int index_of(int i, int n, int border) {
  if (border == lum::kBorderMirrThenMirrR) border = i < 0 ? lumBorderMirr : lumBorderMirrR;
  return border_walk(i, n, border);
}

// Of any type: 6 stands for those that leave the border alone.
template <class T, int C, class F>
void check(const char* name, F function, LumSize roi, int border, int left, int right, int top, int bottom,
           std::mt19937& random) {
  Plane<T> src(roi, C, any_placement(random));
  src.fill(random);
  const T value = random_element<T>(random);
  T* const image = function(src.data(), src.step(), roi.width, roi.height, border, value, left, right, top, bottom);
  ASSERT_NE(nullptr, image) << name;
  const T* next = image;
  for (int y = -top; y < roi.height + bottom; ++y)
    for (int x = -left; x < roi.width + right; ++x)
      for (int c = 0; c < C; ++c, ++next) {
        const bool inside = x >= 0 && x < roi.width && y >= 0 && y < roi.height;
        if (border > lum::kBorderMirrThenMirrR && !inside) continue;
        const int from_x = inside ? x : index_of(x, roi.width, border);
        const int from_y = inside ? y : index_of(y, roi.height, border);
        const T want = from_x < 0 || from_y < 0 ? value : src.get(from_x * C + c, from_y);
        ASSERT_EQ(want, *next) << name << ", " << roi.width << 'x' << roi.height << ", border " << border << ", column "
                               << x << ", row " << y;
      }
  lumsFree(image);
}

TEST(CopyWithBorder, EqualsModel) {
  std::mt19937 random(1);
  const auto width = [&] { return int(random() % (random() % 4 ? 4 : 20)); };
  for (int border = 0; border <= 6; ++border)
    for (int i = 0; i < 100; ++i) {
      const LumSize roi = {1 + width(), 1 + width()};
#define LUM_BORDERED(name, T, C) check<T, C>(#name, lum::name, roi, border, width(), width(), width(), width(), random);
#include "core/bordered.inc"
    }
}

TEST(CopyWithBorder, NullWithoutMemory) {
  static int calls;
  calls = 0;
  const Lum32f pixel[3] = {};
  i_malloc = [](size_t) -> void* { return ++calls, nullptr; };
  EXPECT_EQ(nullptr, lum::ownCopyWithBorder_32f_C3R(pixel, 12, 1, 1, 3, 0, 1, 1, 1, 1));
  EXPECT_EQ(1, calls);
  // 2^32 + 8 bytes.
  EXPECT_EQ(nullptr, lum::ownCopyWithBorder_32f_C3R(pixel, 12, 1, 1, 3, 0, 357913941, 0, 0, 0));
  EXPECT_EQ(1, calls);
  i_malloc = malloc;
}

}  // namespace
