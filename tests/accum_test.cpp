// Accumulators and absolute differences from outside: results, arguments.
#include "calls.h"

namespace {

using namespace test;

struct Add {};
struct AddSquare {};
struct AddProduct {};
struct AddWeighted {};
struct AbsDiff {};
struct AbsDiffC {};

// A function from elements S to elements D.
template <class Op, class S, class D>
struct Member {
  std::string name;
  bool masked;
  Function call;
  static constexpr bool two = std::is_same_v<Op, AddProduct> || std::is_same_v<Op, AbsDiff>;
};

// body(member) for every member.
template <class Body>
void each_member(const Body& body) {
#define SOURCE &A::src, &A::step
#define SOURCES SOURCE, &A::src2, &A::step2
#define MASK &A::mask_plane, &A::mask_step
#define TARGET &A::dst, &A::dst_step, &A::roi
#define MEMBER(name, Op, S, D, masked, ...) body(Member<Op, S, D>{#name, masked, function(name, __VA_ARGS__)});
#define LUM_ACCUM(name, S, Op) MEMBER(name, Op, S, Lum32f, false, SOURCE, TARGET)
#define LUM_ACCUM_MASKED(name, S, Op) MEMBER(name, Op, S, Lum32f, true, SOURCE, MASK, TARGET)
#define LUM_ACCUM_PRODUCT(name, S) MEMBER(name, AddProduct, S, Lum32f, false, SOURCES, TARGET)
#define LUM_ACCUM_PRODUCT_MASKED(name, S) MEMBER(name, AddProduct, S, Lum32f, true, SOURCES, MASK, TARGET)
#define LUM_ACCUM_WEIGHTED(name, S) MEMBER(name, AddWeighted, S, Lum32f, false, SOURCE, TARGET, &A::value)
#define LUM_ACCUM_WEIGHTED_MASKED(name, S) MEMBER(name, AddWeighted, S, Lum32f, true, SOURCE, MASK, TARGET, &A::value)
#define LUM_ABS_DIFF(name, S) MEMBER(name, AbsDiff, S, S, false, SOURCES, TARGET)
#define LUM_ABS_DIFF_C(name, S, V) MEMBER(name, AbsDiffC, S, S, false, SOURCE, TARGET, &A::value)
#include "lumcv/src/lumcvaccum.inc"
}

// ---- model ----

template <class S>
Lum32f product(S a, S b) {
  if constexpr (sizeof(S) == 4) return a * b;
  return Lum32f((long long)a * b);
}
template <class S>
Lum32f model(Add, S a, S, bool selected, Lum32f acc, double) {
  return selected ? acc + Lum32f(a) : acc;
}
template <class S>
Lum32f model(AddSquare, S a, S, bool selected, Lum32f acc, double) {
  return selected ? acc + Lum32f(a) * Lum32f(a) : acc;
}
template <class S>
Lum32f model(AddProduct, S a, S b, bool selected, Lum32f acc, double) {
  return acc + (selected ? product(a, b) : 0);
}
template <class S>
Lum32f model(AddWeighted, S a, S, bool selected, Lum32f acc, double alpha) {
  return acc + (Lum32f(a) - acc) * (selected ? Lum32f(alpha) : 0);
}
template <class S>
S model(AbsDiff, S a, S b, bool, S, double) {
  if constexpr (sizeof(S) == 4) return std::fabs(a - b);
  return S(std::abs(int(a) - int(b)));
}
template <class S>
S model(AbsDiffC, S a, S b, bool, S, double value) {
  if constexpr (sizeof(S) == 4) return std::fabs(a - Lum32f(value));
  return model(AbsDiff{}, a, S(std::min(std::max(value, 0.0), double(S(-1)))), true, b, 0);
}
// The one that is computed in extended precision.
Lum32f extended_model(Lum32f a, bool selected, Lum32f acc, Lum32f alpha) {
  const long double weight = selected ? alpha : 0;
  return Lum32f(acc + ((long double)a - acc) * weight);
}

template <class T>
T any_element(std::mt19937& random) {
  constexpr float kSpecial[] = {0, -0.0f, 1e-30f, -3e38f, 3e38f, INFINITY, -INFINITY, 16777216};
  if constexpr (sizeof(T) == 4)
    if (random() % 4 == 0) return kSpecial[random() % std::size(kSpecial)];
  return random_element<T>(random);
}

// Bits, but any NaN equals any other.
template <class T>
bool same(T a, T b) {
  return memcmp(&a, &b, sizeof a) == 0 || (a != a && b != b);
}

template <class Op, class S, class D>
void check(const Member<Op, S, D>& m, LumSize roi, Placement place, double value, bool in_place, std::mt19937& random) {
  const auto placed = [&](int size) { return Placement{place.padding * size, place.shift}; };
  Plane<S> a(roi, 1, placed(sizeof(S))), b(roi, 1, placed(sizeof(S)));
  Plane<Lum8u> mask(roi, 1, placed(1));
  Plane<D> dst(roi, 1, placed(sizeof(D)));
  const bool sparse = random() % 2;
  a.fill([&](int, int) { return any_element<S>(random); });
  b.fill([&](int, int) { return any_element<S>(random); });
  mask.fill([&](int, int) { return random() % 2 ? 0 : sparse ? 1 << random() % 8 : 255; });
  dst.fill([&](int, int) { return any_element<D>(random); });
  std::vector<D> expected;
  for (int y = 0; y < roi.height; ++y)
    for (int x = 0; x < roi.width; ++x) {
      const S s = in_place ? S(dst.get(x, y)) : a.get(x, y);
      const bool selected = !m.masked || mask.get(x, y);
      if (std::is_same_v<Op, AddWeighted> && m.masked && sizeof(S) == 4)
        expected.push_back(D(extended_model(Lum32f(s), selected, Lum32f(dst.get(x, y)), Lum32f(value))));
      else
        expected.push_back(model(Op{}, s, b.get(x, y), selected, dst.get(x, y), value));
    }
  A arguments;
  arguments.set_roi(roi);
  arguments.src = in_place ? (const void*)dst.data() : a.data(), arguments.step = in_place ? dst.step() : a.step();
  arguments.src2 = b.data(), arguments.step2 = b.step();
  arguments.mask_plane = mask.data(), arguments.mask_step = mask.step();
  arguments.dst = dst.data(), arguments.dst_step = dst.step();
  arguments.value = value;
  ASSERT_EQ(lumStatusOk, m.call(arguments)) << m.name;
  ASSERT_TRUE(dst.equals([&](int x, int y) {
    const D want = expected[size_t(y) * roi.width + x], got = dst.get(x, y);
    return same(want, got) ? got : want;
  })) << m.name
      << ", value " << value << ", shift " << place.shift << (in_place ? ", in place" : "");
}

TEST(Accumulators, EqualModel) {
  std::mt19937 random(1);
  const double values[] = {0, 1, 0.25, -0.7, 300, -7, 70000, 1e9, 3.5e-6};
  each_member([&]<class Op, class S, class D>(const Member<Op, S, D>& m) {
    for (int width = 1; width <= 70; ++width)
      for (int i = 0; i < 3; ++i) {
        const Placement place = {int(random() % 3), int(random() % 17)};
        check(m, {width, 1 + int(random() % 3)}, place, values[random() % std::size(values)],
              sizeof(S) == sizeof(D) && random() % 4 == 0, random);
      }
    check(m, {700, 5}, {}, -0.5, false, random);
    if constexpr (std::is_same_v<Op, AddWeighted>)
      for (double alpha : {double(INFINITY), double(NAN)}) check(m, {37, 3}, {}, alpha, false, random);
  });
}

// Just below the middle of two floats, which is where double precision would put it.
TEST(Accumulators, ExtendedPrecision) {
  const LumSize roi = {19, 1};
  const Lum32f old = 1 + 0x1p-23f, alpha = 0x1p-24f * (1 + 0x1p-18f);
  Plane<Lum32f> src(roi), acc(roi);
  Plane<Lum8u> mask(roi);
  src.fill([&](int, int) { return old + (1 - 0x1p-18f); });
  mask.fill([](int x, int) { return x % 3; });
  acc.fill([&](int x, int) { return x % 5 ? old : -old; });
  std::vector<Lum32f> expected;
  for (int x = 0; x < roi.width; ++x)
    expected.push_back(extended_model(src.get(x, 0), x % 3 != 0, acc.get(x, 0), alpha));
  ASSERT_EQ(lumStatusOk, lumiAddWeighted_32f_C1IMR(src.data(), src.step(), mask.data(), mask.step(), acc.data(),
                                                   acc.step(), roi, alpha));
  EXPECT_TRUE(acc.equals([&](int x, int) { return expected[x]; }));
}

TEST(Accumulators, WrongArguments) {
  each_member([]<class Op, class S, class D>(const Member<Op, S, D>& m) {
    constexpr bool two = Member<Op, S, D>::two;
    const LumSize roi = {8, 1};
    const Plane<S> a(roi), b(roi);
    const Plane<Lum8u> mask(roi);
    const Plane<D> dst(roi);
    A good;
    good.set_roi(roi);
    good.src = a.data(), good.src2 = b.data(), good.mask_plane = mask.data(), good.dst = dst.data();
    good.step = a.step(), good.step2 = b.step(), good.mask_step = mask.step(), good.dst_step = dst.step();
    std::vector<Fault> faults = {null(&A::src),
                                 null(&A::src2, two),
                                 null(&A::mask_plane, m.masked),
                                 null(&A::dst),
                                 bad_size(&A::width, 0),
                                 bad_size(&A::height, -1),
                                 bad_step(&A::width, wrapping_width(sizeof(S)))};
    const int element = sizeof(S), step = a.step(), dst_step = dst.step();
    const Fault size1 = bad_step(&A::step, step - 1), odd1 = odd_step(&A::step, step + 1, element > 1);
    const Fault size2 = bad_step(&A::step2, step - 1, two), odd2 = odd_step(&A::step2, step + 1, two && element > 1);
    const Fault mask_size = bad_step(&A::mask_step, 7, m.masked);
    const Fault size3 = bad_step(&A::dst_step, dst_step - 1);
    const Fault odd3 = odd_step(&A::dst_step, dst_step + 1, sizeof(D) > 1);
    if (sizeof(S) == sizeof(D))
      faults.insert(faults.end(), {size1, size2, mask_size, size3, odd1, odd2, odd3});
    else
      faults.insert(faults.end(), {size1, odd1, size2, odd2, mask_size, size3, odd3});
    expect_check_order(m.name, m.call, good, faults);
    EXPECT_TRUE(dst.untouched()) << m.name;
  });
}

}  // namespace
