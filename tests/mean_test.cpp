// Means and deviations from outside: results in their precision, bands, memory, arguments.
#include "moments_rules.h"
#include "statistics_calls.h"

namespace {

using namespace test;

template <class S>
struct Member {
  std::string name;
  int channels, exponent;
  bool masked, mean_only;
  Function call;
};

template <class Body>
void each_member(const Body& body) {
#define MASK &A::mask_plane, &A::mask_step
#define MEMBER(name, S, channels, k, masked, mean_only, ...) \
  body(Member<S>{#name, channels, k, masked, mean_only, function(name, &A::src, &A::step, __VA_ARGS__)});
#define LUM_MEAN_C1(name, S, k) MEMBER(name, S, 1, k, true, true, MASK, &A::roi, &A::mean)
#define LUM_MEAN_C3C(name, S, k) MEMBER(name, S, 3, k, true, true, MASK, &A::roi, &A::coi, &A::mean)
#define DEVIATION(name, S, channels, k, masked, ...) \
  MEMBER(name, S, channels, k, masked, false, __VA_ARGS__, &A::mean, &A::deviation)
#define LUM_DEVIATION_C1(name, S, k) DEVIATION(name, S, 1, k, false, &A::roi)
#define LUM_DEVIATION_C3C(name, S, k) DEVIATION(name, S, 3, k, false, &A::roi, &A::coi)
#define LUM_DEVIATION_MASKED_C1(name, S, k) DEVIATION(name, S, 1, k, true, MASK, &A::roi)
#define LUM_DEVIATION_MASKED_C3C(name, S, k) DEVIATION(name, S, 3, k, true, MASK, &A::roi, &A::coi)
#include "lumcv/src/lumcvmean.inc"
}

// What the elements of a plane are drawn from. Floats: one magnitude or another in each row, so that double precision
// rounds too; deviations far below the mean, about where a second pass begins, none.
enum Content { kPlain, kWild, kNarrow, kBroad, kConstant, kExtreme, kContents };
template <class S>
S element(Content content, int y, std::mt19937& random) {
  if constexpr (std::is_floating_point_v<S>) {
    const S part = S(random() % 20001) / 10000 - 1;
    if (content == kWild) return std::ldexp(part, y * 37 % 101 - 50);
    if (content == kNarrow || content == kBroad) return 1000 + part * (content == kNarrow ? 50 : 390);
    if (content == kConstant) return 1000;
    if (content == kExtreme) return any_element<S>(random);
  } else if (content == kConstant || content == kExtreme) {
    return content == kConstant ? std::numeric_limits<S>::min() : std::numeric_limits<S>::max();
  }
  return random_element<S>(random);
}

// `selected`: thousandths of the pixels. Floats that the mask leaves out are infinite or no number.
template <class S>
void check(const Member<S>& m, LumSize roi, Content content, unsigned selected, int threads, std::mt19937& random) {
  const Threads set(threads);
  Images<S> images(roi, m.channels, 1 + int(random() % 3), any_placement(random));
  images.select(selected, random);
  images.a.fill([&](int x, int y) {
    if (std::is_floating_point_v<S> && m.masked && !images.mask.get(x / m.channels, y))
      return S(random() % 2 ? NAN : INFINITY);
    return element<S>(content, y, random);
  });
  const long long pixels = (long long)roi.width * roi.height;
  const bool parallel = lumGetNumCoresOnDie() > 1 && m.exponent < kSerial && pixels >= (long long)threads << m.exponent;
  const Moments want = moments<S>(roi, parallel ? threads : 1, is_whole(roi, m.channels, m.masked),
                                  images.values_of(images.a), images.selected(m.masked));
  Moments got = {-7, -7};
  A a = images.arguments();
  const unsigned missing = m.mean_only ? 0 : random() % 8;
  a.mean = missing & 1 && missing < 4 ? nullptr : &got.mean;
  a.deviation = missing & 2 && missing < 4 ? nullptr : &got.deviation;
  ASSERT_EQ(lumStatusOk, m.call(a)) << m.name;
  ASSERT_TRUE(!a.mean || same(want.mean, got.mean)) << m.name << ": mean " << got.mean << ", expected " << want.mean;
  ASSERT_TRUE(m.mean_only || !a.deviation || same(want.deviation, got.deviation))
      << m.name << ": deviation " << got.deviation << ", expected " << want.deviation << ", " << roi.width << "x"
      << roi.height << ", content " << content << ", " << threads << " threads";
}

TEST(Means, EqualModel) {
  std::mt19937 random(1);
  each_member([&]<class S>(const Member<S>& m) {
    for (int content = 0; content < kContents; ++content)
      for (unsigned selected : {0u, 10u, 500u, 1000u}) {
        for (int width = 1; width <= 70; width += 1 + int(random() % 5))
          check(m, {width, 1 + int(random() % 4)}, Content(content), selected, 1, random);
        check(m, {9000, 1 + int(random() % 3)}, Content(content), selected, 1, random);
      }
  });
}

// Where a region is no longer small and where bands begin: values of many magnitudes show by which lanes and in which
// order they were added.
TEST(Means, Thresholds) {
  std::mt19937 random(2);
  each_member([&]<class S>(const Member<S>& m) {
    if (!std::is_floating_point_v<S>) return;
    for (LumSize roi : {LumSize{4999, 1}, {500, 10}, {99999, 1}, {400, 250}, {1000, 99}})
      check(m, roi, kWild, 900, 1, random);
    for (LumSize roi : {LumSize{767, 256}, {768, 256}, {509, 772}, {1024, 384}, {2, 200000}})
      for (Content content : {kWild, kNarrow}) check(m, roi, content, 900, 3, random);
  });
}

// The largest has sums that 32 bits do not hold and squares that double precision does not hold.
TEST(Means, IntegersInBandsAndLongRows) {
  std::mt19937 random(3);
  each_member([&]<class S>(const Member<S>& m) {
    if (std::is_floating_point_v<S>) return;
    check(m, {773, 511}, kPlain, 500, 3, random);
    check(m, {530001, 1}, random() % 2 ? kExtreme : kConstant, 999, 1, random);
    for (int threads : {1, 3})
      if (m.channels == 1 && !m.masked) check(m, {4096, 2049}, kPlain, 1000, threads, random);
  });
}

// Three sums of bands; for deviations far below the mean, which those of one value are, once more.
struct ManyThreadsMeans : ManyThreads {
  ManyThreadsMeans() { a.mean = (Lum64f*)results.bytes(), a.deviation = a.mean + 1; }
  const Block results{2 * sizeof(Lum64f)};
  A a;
};

TEST_F(ManyThreadsMeans, Thresholds) {
  each_member([&]<class S>(const Member<S>& m) {
    // Values and, where they are needed, squares and counts; values and counts again for the second look at floats.
    const bool twice = std::is_floating_point_v<S> && !m.mean_only;
    const int expected = (1 + m.masked) * (1 + twice) + !m.mean_only;
    expect_parallel_from(m.exponent, expected, m.name, m.call, a, m.channels * int(sizeof(S)));
  });
}

TEST_F(ManyThreadsMeans, NoMemory) {
  if (lumGetNumCoresOnDie() == 1) GTEST_SKIP();
  Plane<Lum32f> src({1 << 15, 66});
  src.fill([](int x, int) { return 1000 + x % 2; });
  a.set_source(src), a.set_roi(src.roi());
  const Function call = function(lumiMean_StdDev_32f_C1R, &A::src, &A::step, &A::roi, &A::mean, &A::deviation);
  expect_no_memory(call, a, 3);
  EXPECT_TRUE(results.untouched());
  EXPECT_EQ(lumStatusOk, call(a));
  EXPECT_TRUE(*a.mean == 1000.5 && *a.deviation == 0.5);
}

TEST(Means, WrongArguments) {
  each_member([]<class S>(const Member<S>& m) {
    const Images<S> images({8, 1}, m.channels);
    const Block results(2 * sizeof(Lum64f));
    A good = images.arguments();
    good.mean = (Lum64f*)results.bytes(), good.deviation = good.mean + 1;
    expect_image_checks<S>(m.name, m.call, good, m.channels, false, m.masked, null(&A::mean, m.mean_only), results);
  });
}

}  // namespace
