// Means and deviations from outside: results in their precision, bands, memory, arguments.
#include "calls.h"
#include "moments_rules.h"

namespace {

using namespace test;

constexpr int kSerial = 40;  // in place of an exponent

template <class S>
struct Member {
  std::string name;
  int channels, exponent;
  bool masked, mean_only;
  Function call;
};

// body(member) for every member.
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
    constexpr S extreme[] = {1e20f, -1e20f, 1e-30f, 0.0f, -0.0f, 3e38f, INFINITY, NAN};
    const S part = S(random() % 20001) / 10000 - 1;
    if (content == kWild) return std::ldexp(part, y * 37 % 101 - 50);
    if (content == kNarrow || content == kBroad) return 1000 + part * (content == kNarrow ? 50 : 390);
    if (content == kConstant) return 1000;
    if (content == kExtreme && random() % 8 == 0) return extreme[random() % std::size(extreme)];
  } else if (content == kConstant || content == kExtreme) {
    return content == kConstant ? std::numeric_limits<S>::min() : std::numeric_limits<S>::max();
  }
  return random_element<S>(random);
}

// `selected`: thousandths of the pixels. Floats that the mask leaves out are infinite or no number.
template <class S>
void check(const Member<S>& m, LumSize roi, Content content, unsigned selected, int threads, std::mt19937& random) {
  const Threads set(threads);
  const int coi = m.channels == 1 ? 1 : 1 + int(random() % 3);
  Plane<S> src(roi, m.channels, {int(random() % 3 * sizeof(S)), int(random() % 17) - 1});
  Plane<Lum8u> mask(roi, 1, {int(random() % 3), int(random() % 17) - 1});
  mask.fill([&](int, int) { return random() % 1000 < selected ? 1 << random() % 8 : 0; });
  src.fill([&](int x, int y) {
    if (std::is_floating_point_v<S> && m.masked && !mask.get(x / m.channels, y))
      return S(random() % 2 ? NAN : INFINITY);
    return element<S>(content, y, random);
  });
  const long long pixels = (long long)roi.width * roi.height;
  const bool parallel = lumGetNumCoresOnDie() > 1 && m.exponent < kSerial && pixels >= (long long)threads << m.exponent;
  const Moments want = moments<S>(
      roi, parallel ? threads : 1, is_whole(roi, m.channels, m.masked),
      [&](int x, int y) { return src.get(x * m.channels + coi - 1, y); },
      [&](int x, int y) { return !m.masked || mask.get(x, y); });
  Moments got = {-7, -7};
  A a;
  a.set_roi(roi);
  a.src = src.data(), a.step = src.step(), a.mask_plane = mask.data(), a.mask_step = mask.step(), a.coi = coi;
  const unsigned missing = m.mean_only ? 0 : random() % 8;
  a.mean = missing & 1 && missing < 4 ? nullptr : &got.mean;
  a.deviation = missing & 2 && missing < 4 ? nullptr : &got.deviation;
  ASSERT_EQ(lumStatusOk, m.call(a)) << m.name;
  const auto same = [](Lum64f x, Lum64f y) { return memcmp(&x, &y, sizeof x) == 0 || (x != x && y != y); };
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

TEST(Means, IntegersInBandsAndLongRows) {
  std::mt19937 random(3);
  each_member([&]<class S>(const Member<S>& m) {
    if (std::is_floating_point_v<S>) return;
    check(m, {773, 511}, kPlain, 500, 3, random);
    check(m, {530001, 1}, random() % 2 ? kExtreme : kConstant, 999, 1, random);
  });
}

// Sums that 32 bits do not hold, and squares that double precision does not hold.
TEST(Means, LargeSums) {
  const LumSize roi = {4096, 2049};
  Plane<Lum8u> bytes(roi);
  Plane<Lum16u> words(roi);
  bytes.fill([](int, int) { return 255; });
  words.fill([](int x, int y) { return 65535 - (x * 7 + y) % 5; });
  for (int threads : {1, 3}) {
    const Threads set(threads);
    Moments got;
    EXPECT_EQ(lumStatusOk, lumiMean_StdDev_8u_C1R(bytes.data(), bytes.step(), roi, &got.mean, &got.deviation));
    EXPECT_EQ(255, got.mean);
    EXPECT_EQ(0, got.deviation);
    EXPECT_EQ(lumStatusOk, lumiMean_8s_C1MR((Lum8s*)bytes.data(), 4096, bytes.data(), 4096, roi, &got.mean));
    EXPECT_EQ(-1, got.mean);
    const Moments want = moments<Lum16u>(
        roi, lumGetNumCoresOnDie() > 1 ? threads : 1, false, [&](int x, int y) { return words.get(x, y); },
        [](int, int) { return true; });
    EXPECT_EQ(lumStatusOk, lumiMean_StdDev_16u_C1R(words.data(), words.step(), roi, &got.mean, &got.deviation));
    EXPECT_EQ(want.mean, got.mean);
    EXPECT_EQ(want.deviation, got.deviation);
  }
}

// Above 32 threads sums of bands need memory; a second pass does once more.
TEST(Means, Memory) {
  if (lumGetNumCoresOnDie() == 1) GTEST_SKIP();
  static int calls, failing, blocks;
  const Threads many(33);
  const LumSize roi = {1 << 15, 66};
  Plane<Lum32f> src(roi);
  src.fill([](int x, int) { return 1000 + x % 2; });
  const auto hooks = std::pair(i_malloc, i_free);
  i_malloc = [](size_t size) { return ++calls == failing ? nullptr : (++blocks, malloc(size)); };
  i_free = [](void* block) { --blocks, free(block); };
  int failures = 0;
  for (failing = 1; failing < 50; ++failing) {
    calls = 0;
    Moments got = {-7, -7};
    if (lumiMean_StdDev_32f_C1R(src.data(), src.step(), roi, &got.mean, &got.deviation) == lumStatusNoMemory) {
      ++failures;
      EXPECT_TRUE(got.mean == -7 && got.deviation == -7);
    } else {
      EXPECT_LT(calls, failing);
      EXPECT_EQ(1000.5, got.mean);
      EXPECT_EQ(0.5, got.deviation);
    }
    EXPECT_EQ(0, blocks);
  }
  std::tie(i_malloc, i_free) = hooks;
  EXPECT_GE(failures, 2);
}

TEST(Means, WrongArguments) {
  each_member([]<class S>(const Member<S>& m) {
    const Plane<S> src({8, 1}, m.channels);
    const Plane<Lum8u> mask({8, 1});
    Moments results = {-7, -7};
    A good;
    good.set_roi({8, 1});
    good.src = src.data(), good.step = src.step(), good.mask_plane = mask.data(), good.mask_step = mask.step();
    good.mean = &results.mean, good.deviation = &results.deviation;
    const bool wide = sizeof(S) > 1, coi = m.channels == 3;
    expect_check_order(
        m.name, m.call, good,
        {null(&A::src), null(&A::mask_plane, m.masked), null(&A::mean, m.mean_only), bad_size(&A::width, 0),
         bad_size(&A::height, -1), bad_step(&A::width, wrapping_width(sizeof(S) * m.channels)),
         bad_step(&A::step, good.step - 1), bad_step(&A::mask_step, 7, m.masked),
         odd_step(&A::step, good.step + 1, wide), bad_channel(&A::coi, 0, coi), bad_channel(&A::coi, 4, coi)});
    EXPECT_TRUE(results.mean == -7 && results.deviation == -7) << m.name;
  });
}

}  // namespace
