// Masked norms from outside: results, bands, arguments.
#include "statistics_calls.h"

namespace {

using namespace test;

// A function on elements S; parallel from 2^exponent pixels a thread.
template <class S>
struct Member {
  std::string name;
  Measured measured;
  Norm norm;
  int channels, exponent;
  Function call;
  bool two() const { return measured != OneImage; }
};

template <class Body>
void each_member(const Body& body) {
#define IMAGE &A::src, &A::step
#define IMAGES IMAGE, &A::src2, &A::step2
#define MASK &A::mask_plane, &A::mask_step, &A::roi
#define MEMBER(name, S, measured, norm, channels, k, ...) \
  body(Member<S>{#name, measured, norm, channels, k, function(name, __VA_ARGS__, &A::dst)});
#define LUM_NORM_C1(name, S, norm, k) MEMBER(name, S, OneImage, norm, 1, k, IMAGE, MASK)
#define LUM_NORM_C3C(name, S, norm, k) MEMBER(name, S, OneImage, norm, 3, k, IMAGE, MASK, &A::coi)
#define LUM_NORM_DIFF_C1(name, S, norm, k) MEMBER(name, S, Difference, norm, 1, k, IMAGES, MASK)
#define LUM_NORM_DIFF_C3C(name, S, norm, k) MEMBER(name, S, Difference, norm, 3, k, IMAGES, MASK, &A::coi)
#define LUM_NORM_REL_C1(name, S, norm, k) MEMBER(name, S, Relative, norm, 1, k, IMAGES, MASK)
#define LUM_NORM_REL_C3C(name, S, norm, k) MEMBER(name, S, Relative, norm, 3, k, IMAGES, MASK, &A::coi)
#include "lumcv/src/lumcvnorm.inc"
}

// Calls a member on images that are filled and compares it with the model in so many bands.
template <class S>
void expect_model(const Member<S>& m, const Images<S>& images, int bands, int shift = 0) {
  const LumSize roi = images.mask.roi();
  const NormResult want = masked_norm<S>(m.measured, m.norm, roi, bands, images.values_of(images.a),
                                         images.values_of(images.b), images.selected());
  const Plane<Lum64f> result({1, 1}, 1, {0, shift});
  A a = images.arguments();
  a.dst = result.data();
  EXPECT_EQ(want.status, m.call(a)) << m.name;
  const Lum64f got = result.get(0, 0);
  EXPECT_TRUE(same(want.value, got)) << m.name << ": got " << got << ", expected " << want.value << ", " << roi.width
                                     << "x" << roi.height << ", " << bands << " bands";
}

// Kinds of content: 0 plain, 1 floats at the ends of the range, 2 any floats, 3 any floats where the mask is 0.
template <class S>
S element(int kind, bool selected, std::mt19937& random) {
  constexpr Lum32f kFinite[] = {0, -0.0f, 1e-30f, -1e20f, 3e38f, -1e-44f}, kAny[] = {INFINITY, -INFINITY, NAN};
  if constexpr (std::is_floating_point_v<S>) {
    if (kind == 1 && random() % 8 == 0) return kFinite[random() % std::size(kFinite)];
    if ((kind == 2 && random() % 16 == 0) || (kind == 3 && !selected)) return kAny[random() % std::size(kAny)];
  }
  return random_element<S>(random);
}

template <class S>
void fill(Images<S>& images, int kind, std::mt19937& random) {
  images.select(250 * (1 + random() % 3), random);
  for (Plane<S>* plane : {&images.a, &images.b})
    plane->fill([&](int x, int y) { return element<S>(kind, images.mask.get(x / images.channels, y), random); });
}

TEST(Norms, EqualModel) {
  const Threads one(1);
  std::mt19937 random(1);
  each_member([&]<class S>(const Member<S>& m) {
    for (int width = 1; width <= 70; ++width) {
      Images<S> images({width, 1 + int(random() % 3)}, m.channels, 1 + width % 3, any_placement(random));
      fill(images, width % 4, random);
      expect_model(m, images, 1, width % 17);
    }
    Images<S> images({1000 + int(random() % 64), 3}, m.channels);
    fill(images, 0, random);
    expect_model(m, images, 1);
    images.select(0, random);
    expect_model(m, images, 1);
    images.select(1000, random);
    images.b.fill([](int, int) { return 0; });
    expect_model(m, images, 1);
  });
}

// Each band rounds for itself, so the result tells where it ends. Fewer rows than bands leave all to the last.
TEST(Norms, Bands) {
  if (lumGetNumCoresOnDie() == 1) GTEST_SKIP();
  const Threads three(3);
  std::mt19937 random(2);
  each_member([&]<class S>(const Member<S>& m) {
    if (m.exponent != 15 && (m.exponent != 17 || sizeof(S) < 4)) return;
    for (const LumSize roi : {LumSize{(1 << m.exponent) / 32 + 1, 3 * 32 + 2}, {(3 << m.exponent) / 2, 2}}) {
      Images<S> images(roi, m.channels);
      fill(images, 0, random);
      expect_model(m, images, 3);
    }
  });
}

// Sums of bytes wrap at 32 bits in one band.
TEST(Norms, ByteSumsWrap) {
  Images<Lum8u> images({4096, 2057}, 1);
  images.a.fill([](int, int) { return 255; });
  images.b.fill([](int, int) { return 0; });
  images.mask.fill([](int, int) { return 1; });
  each_member([&]<class S>(const Member<S>& m) {
    if constexpr (std::is_same_v<S, Lum8u>)
      for (const int threads : {1, 2}) {
        const Threads so_many(threads);
        const bool parallel = m.exponent < kSerial && lumGetNumCoresOnDie() > 1;
        if (m.norm == L1 && m.channels == 1) expect_model(m, images, parallel ? threads : 1);
      }
  });
}

struct ManyThreadsNorms : ManyThreads {};

TEST_F(ManyThreadsNorms, Thresholds) {
  Lum64f result;
  A a;
  a.dst = &result;
  each_member([&]<class S>(const Member<S>& m) {
    expect_parallel_from(m.exponent, m.measured == Relative ? 2 : 1, m.name, m.call, a, m.channels * int(sizeof(S)));
  });
}

TEST_F(ManyThreadsNorms, NoMemory) {
  if (lumGetNumCoresOnDie() == 1) GTEST_SKIP();
  const Images<Lum32f> images({1 << 15, 33}, 1);
  const Block result(sizeof(Lum64f));
  A a = images.arguments();
  a.dst = result.bytes();
  expect_no_memory(function(lumiNormRel_Inf_32f_C1MR, IMAGES, MASK, &A::dst), a, 2);
  EXPECT_TRUE(result.untouched());
}

TEST(Norms, WrongArguments) {
  each_member([]<class S>(const Member<S>& m) {
    const Images<S> images({8, 1}, m.channels);
    const Block result(sizeof(Lum64f));
    A good = images.arguments();
    good.dst = result.bytes();
    expect_image_checks<S>(m.name, m.call, good, m.channels, m.two(), true, null(&A::dst), result);
  });
}

}  // namespace
