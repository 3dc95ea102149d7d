// Masked norms from outside: results, bands, arguments.
#include "calls.h"
#include "statistics_rules.h"

namespace {

using namespace test;

constexpr int kSerial = 40;  // in place of an exponent

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

// body(member) for every member.
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

// The planes of a call.
template <class S>
struct Images {
  Images(LumSize roi, int channels, Placement place = {})
      : a(roi, channels, {place.padding * int(sizeof(S)), place.shift}),
        b(roi, channels, {2 * place.padding * int(sizeof(S)), place.shift}), mask(roi, 1, place),
        result({1, 1}, 1, place) {}
  Arguments arguments(int coi) const {
    Arguments args;
    args.set_roi(mask.roi());
    args.src = a.data(), args.step = a.step(), args.src2 = b.data(), args.step2 = b.step();
    args.mask_plane = mask.data(), args.mask_step = mask.step();
    args.dst = result.data(), args.coi = coi;
    return args;
  }
  Plane<S> a, b;
  Plane<Lum8u> mask;
  Plane<Lum64f> result;
};

// Calls a member on planes that are filled and compares it with the model in so many bands.
template <class S>
void expect_model(const Member<S>& m, const Images<S>& images, int coi, int bands) {
  const auto element = [&](const Plane<S>& plane) {
    return [&, channels = m.channels](int x, int y) { return plane.get(x * channels + coi - 1, y); };
  };
  const NormResult want = masked_norm<S>(m.measured, m.norm, images.mask.roi(), bands, element(images.a),
                                         element(images.b), [&](int x, int y) { return images.mask.get(x, y) != 0; });
  EXPECT_EQ(want.status, m.call(images.arguments(coi))) << m.name;
  const Lum64f got = images.result.get(0, 0);
  EXPECT_TRUE(memcmp(&want.value, &got, sizeof got) == 0 || (want.value != want.value && got != got))
      << m.name << ": got " << got << ", expected " << want.value << ", " << images.mask.roi().width << "x"
      << images.mask.roi().height << ", " << bands << " bands";
}

// Kinds of content: 0 plain, 1 floats at the ends of the range, 2 any floats, 3 any floats where the mask is 0.
template <class S>
S any_element(int kind, bool selected, std::mt19937& random) {
  constexpr Lum32f kFinite[] = {0, -0.0f, 1e-30f, -1e20f, 3e38f, -1e-44f}, kAny[] = {INFINITY, -INFINITY, NAN};
  if constexpr (std::is_floating_point_v<S>) {
    if (kind == 1 && random() % 8 == 0) return kFinite[random() % std::size(kFinite)];
    if ((kind == 2 && random() % 16 == 0) || (kind == 3 && !selected)) return kAny[random() % std::size(kAny)];
  }
  return random_element<S>(random);
}

template <class S>
void fill(Images<S>& images, int channels, int kind, std::mt19937& random) {
  const int few = 1 + random() % 3;
  images.mask.fill([&](int, int) { return int(random() % 4) < few ? 1 << random() % 8 : 0; });
  for (Plane<S>* plane : {&images.a, &images.b})
    plane->fill([&](int x, int y) { return any_element<S>(kind, images.mask.get(x / channels, y), random); });
}

TEST(Norms, EqualModel) {
  const Threads one(1);
  std::mt19937 random(1);
  each_member([&]<class S>(const Member<S>& m) {
    for (int width = 1; width <= 70; ++width) {
      Images<S> images({width, 1 + int(random() % 3)}, m.channels, {int(random() % 3), int(random() % 17)});
      fill(images, m.channels, width % 4, random);
      expect_model(m, images, m.channels == 1 ? 1 : 1 + width % 3, 1);
    }
    Images<S> images({1000 + int(random() % 64), 3}, m.channels);
    fill(images, m.channels, 0, random);
    expect_model(m, images, 1, 1);
    images.mask.fill([](int, int) { return 0; });
    expect_model(m, images, 1, 1);
    images.mask.fill([](int, int) { return 255; });
    images.b.fill([](int, int) { return 0; });
    expect_model(m, images, 1, 1);
  });
}

TEST(Norms, Values) {
  const Threads one(1);
  const auto norm = [](auto function, auto a, auto b) {
    const Lum8u mask = 4;
    Lum64f result = 0;
    const LumStatus status = function(&a, int(sizeof a), &b, int(sizeof b), &mask, 1, {1, 1}, &result);
    return std::pair(status, result);
  };
  using Result = std::pair<LumStatus, Lum64f>;
  EXPECT_EQ(Result(lumStatusOk, 255), norm(lumiNormDiff_Inf_8s_C1MR, Lum8s(127), Lum8s(-128)));
  EXPECT_EQ(Result(lumStatusOk, 1), norm(lumiNormRel_L1_8s_C1MR, Lum8s(0), Lum8s(-128)));
  EXPECT_EQ(Result(lumStatusOk, 0.5), norm(lumiNormRel_L2_8u_C1MR, Lum8u(3), Lum8u(2)));
  EXPECT_EQ(Result(lumStatusWarnDivByZero, INFINITY), norm(lumiNormRel_L2_16u_C1MR, Lum16u(1), Lum16u(0)));
  EXPECT_TRUE(std::isnan(norm(lumiNormRel_Inf_32f_C1MR, 0.0f, -0.0f).second));
  EXPECT_FALSE(std::signbit(norm(lumiNormDiff_L1_32f_C1MR, -0.0f, 0.0f).second));
  EXPECT_EQ(Result(lumStatusOk, INFINITY), norm(lumiNormDiff_L2_32f_C1MR, 1e20f, 0.0f));
  EXPECT_EQ(Result(lumStatusOk, 0), norm(lumiNormDiff_L2_32f_C1MR, 1e-30f, 0.0f));
  // Squares of words are rounded to single precision one by one.
  EXPECT_EQ(Result(lumStatusOk, std::sqrt(4294705152.0)), norm(lumiNormDiff_L2_16u_C1MR, Lum16u(65534), Lum16u(0)));
}

// Each band rounds for itself, so the result tells where it ends. Fewer rows than bands leave all to the last.
TEST(Norms, Bands) {
  if (lumGetNumCoresOnDie() == 1) GTEST_SKIP();
  const Threads three(3);
  std::mt19937 random(2);
  each_member([&]<class S>(const Member<S>& m) {
    if (m.exponent != 15 && (m.exponent != 17 || sizeof(S) < 4)) return;
    for (const LumSize roi : {LumSize{(1 << m.exponent) / 32 + 1, 3 * 32 + 2}, {(3 << 15) / 2, 2}}) {
      if (m.exponent > 15 && roi.height < 3) continue;
      Images<S> images(roi, m.channels);
      fill(images, m.channels, 0, random);
      expect_model(m, images, 1, 3);
    }
  });
}

// Sums of bytes wrap at 32 bits in one band.
TEST(Norms, ByteSumsWrap) {
  const LumSize roi = {4096, 2057};
  Images<Lum8u> images(roi, 1);
  images.a.fill([](int, int) { return 255; });
  images.b.fill([](int, int) { return 0; });
  images.mask.fill([](int, int) { return 1; });
  each_member([&]<class S>(const Member<S>& m) {
    if (m.norm != L1 || m.channels != 1 || !std::is_same_v<S, Lum8u>) return;
    for (const int threads : {1, 2}) {
      const Threads so_many(threads);
      const bool parallel = threads == 2 && m.exponent < kSerial && lumGetNumCoresOnDie() > 1;
      const Lum64f sum = 255.0 * roi.width * roi.height, result = parallel ? sum : sum - 0x1p32;
      EXPECT_EQ(m.measured == Relative ? lumStatusWarnDivByZero : lumStatusOk, m.call(images.arguments(1))) << m.name;
      EXPECT_EQ(m.measured == Relative ? result * INFINITY : result, images.result.get(0, 0)) << m.name;
    }
  });
}

// Above 32 threads the allocation hook tells whether a function goes parallel.
struct ManyThreads : testing::Test {
  ManyThreads() : malloc_(i_malloc), free_(i_free) {
    i_malloc = [](size_t size) { return ++allocations == failing ? nullptr : malloc(size); };
    i_free = [](void* block) {
      ++releases;
      free(block);
    };
    failing = 0;
  }
  ~ManyThreads() override { i_malloc = malloc_, i_free = free_; }
  static inline int allocations, releases, failing;

 private:
  decltype(i_malloc) malloc_;
  decltype(i_free) free_;
  const Threads threads_{33};
};

TEST_F(ManyThreads, Thresholds) {
  const Block plane(size_t(33 << 17) * 3 * sizeof(Lum32f));
  Lum64f result;
  each_member([&]<class S>(const Member<S>& m) {
    const bool may = m.exponent < kSerial && lumGetNumCoresOnDie() > 1;
    const int enough = 1 << (m.exponent < kSerial ? m.exponent : 17);
    for (const LumSize roi : {LumSize{enough / 32, 33 * 32}, {enough * 3 - 1, 11}}) {
      Arguments a;
      a.set_roi(roi);
      a.src = a.src2 = a.mask_plane = plane.bytes(), a.dst = &result;
      a.step = a.step2 = roi.width * m.channels * int(sizeof(S)), a.mask_step = roi.width;
      allocations = releases = 0;
      EXPECT_EQ(lumStatusOk, m.call(a)) << m.name;
      EXPECT_EQ(may && roi.height > 11 ? 1 + (m.measured == Relative) : 0, allocations) << m.name;
      EXPECT_EQ(allocations, releases) << m.name;
    }
  });
}

TEST_F(ManyThreads, NoMemory) {
  if (lumGetNumCoresOnDie() == 1) GTEST_SKIP();
  const LumSize roi = {1 << 15, 33};
  Images<Lum32f> images(roi, 1);
  for (int calls : {1, 2}) {
    failing = calls, allocations = releases = 0;
    const Arguments a = images.arguments(1);
    EXPECT_EQ(lumStatusNoMemory, function(lumiNormRel_Inf_32f_C1MR, IMAGES, MASK, &A::dst)(a));
    EXPECT_EQ(allocations - 1, releases);
  }
  EXPECT_TRUE(images.result.untouched());
}

TEST(Norms, WrongArguments) {
  each_member([]<class S>(const Member<S>& m) {
    const Images<S> images({8, 1}, m.channels);
    const Arguments good = images.arguments(1);
    const bool two = m.two(), wide = sizeof(S) > 1;
    const int element = sizeof(S), pixel = element * m.channels, wrapping = wrapping_width(pixel == 3 ? 1 : pixel);
    expect_check_order(
        m.name, m.call, good,
        {null(&A::src), null(&A::src2, two), null(&A::mask_plane), null(&A::dst), bad_size(&A::width, 0),
         bad_size(&A::height, -1), bad_step(&A::width, wrapping), bad_step(&A::step, good.step - element),
         bad_step(&A::step2, good.step2 - 1, two), bad_step(&A::mask_step, 7), odd_step(&A::step, good.step + 1, wide),
         odd_step(&A::step2, good.step2 + element / 2, two && wide), bad_channel(&A::coi, 4, m.channels == 3),
         bad_channel(&A::coi, 0, m.channels == 3)});
    EXPECT_TRUE(images.result.untouched()) << m.name;
  });
}

}  // namespace
