// Accumulators and absolute differences from outside: results, arguments.
#include "calls.h"

namespace {

using namespace test;

enum Op { Add, AddSquare, AddProduct, AddWeighted, AbsDiff, AbsDiffC };

// A function from elements S to elements D.
template <class S, class D>
struct Member {
  std::string name;
  Op op;
  bool masked;
  Function call;
  bool two() const { return op == AddProduct || op == AbsDiff; }
};

template <class Body>
void each_member(const Body& body) {
#define SOURCE &A::src, &A::step
#define SOURCES SOURCE, &A::src2, &A::step2
#define MASK &A::mask_plane, &A::mask_step
#define TARGET &A::dst, &A::dst_step, &A::roi
#define MEMBER(name, Op, S, D, masked, ...) body(Member<S, D>{#name, Op, masked, function(name, __VA_ARGS__)});
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

template <class S, class D>
D model(const Member<S, D>& m, S a, S b, bool selected, D d, double value) {
  constexpr bool real = sizeof(S) == 4;
  using Wide = std::conditional_t<real, Lum32f, long long>;
  const Lum32f acc = Lum32f(d), v = Lum32f(a), alpha = selected ? Lum32f(value) : 0;
  switch (m.op) {
    case Add: return D(selected ? acc + v : acc);
    case AddSquare: return D(selected ? acc + v * v : acc);
    case AddProduct: return D(acc + (selected ? Lum32f(Wide(a) * Wide(b)) : 0));
    case AddWeighted:
      if (real && m.masked) return D(acc + ((long double)v - acc) * alpha);  // the one in extended precision
      return D(acc + (v - acc) * alpha);
    case AbsDiff: return D(std::abs(Wide(a) - Wide(b)));
    default: return D(std::abs(Wide(a) - Wide(real ? value : std::clamp(value, 0.0, double(S(-1))))));
  }
}

template <class S, class D>
void expect_model(const Member<S, D>& m, const Images<S>& images, const Plane<D>& dst, double value, bool in_place) {
  const LumSize roi = dst.roi();
  std::vector<D> expected;
  for (int y = 0; y < roi.height; ++y)
    for (int x = 0; x < roi.width; ++x) {
      const S a = in_place ? S(dst.get(x, y)) : images.a.get(x, y);
      expected.push_back(model(m, a, images.b.get(x, y), images.selected(m.masked)(x, y), dst.get(x, y), value));
    }
  A arguments = images.arguments();
  arguments.set_target(dst);
  if (in_place) arguments.set_source(dst);
  arguments.value = value;
  ASSERT_EQ(lumStatusOk, m.call(arguments)) << m.name;
  ASSERT_TRUE(dst.equals([&](int x, int y) {
    const D want = expected[size_t(y) * roi.width + x], got = dst.get(x, y);
    return same(want, got) ? got : want;
  })) << m.name
      << ", value " << value << (in_place ? ", in place" : "");
}

template <class S, class D>
void check(const Member<S, D>& m, LumSize roi, Placement place, double value, bool in_place, std::mt19937& random) {
  Images<S> images(roi, 1, 1, place);
  Plane<D> dst(roi, 1, place);
  images.select(500, random);
  for (Plane<S>* plane : {&images.a, &images.b}) plane->fill([&](int, int) { return any_element<S>(random); });
  dst.fill([&](int, int) { return any_element<D>(random); });
  expect_model(m, images, dst, value, in_place);
}

TEST(Accumulators, EqualModel) {
  std::mt19937 random(1);
  const double values[] = {0, 1, 0.25, -0.7, 300, -7, 70000, 1e9, 3.5e-6};
  each_member([&]<class S, class D>(const Member<S, D>& m) {
    for (int width = 1; width <= 70; ++width)
      for (int i = 0; i < 3; ++i)
        check(m, {width, 1 + int(random() % 3)}, any_placement(random), values[random() % std::size(values)],
              sizeof(S) == sizeof(D) && random() % 4 == 0, random);
    check(m, {700, 5}, {}, -0.5, false, random);
    for (double alpha : {double(INFINITY), double(NAN)})
      if (m.op == AddWeighted) check(m, {37, 3}, {}, alpha, false, random);
  });
}

// Just below the middle of two floats, which is where double precision would put it.
TEST(Accumulators, ExtendedPrecision) {
  const Lum32f old = 1 + 0x1p-23f;
  each_member([&]<class S, class D>(const Member<S, D>& m) {
    if (m.op != AddWeighted || !m.masked || sizeof(S) < 4) return;
    Images<S> images({19, 1}, 1);
    Plane<D> acc({19, 1});
    images.a.fill([&](int, int) { return old + (1 - 0x1p-18f); });
    images.mask.fill([](int x, int) { return x % 3; });
    acc.fill([&](int x, int) { return x % 5 ? old : -old; });
    expect_model(m, images, acc, 0x1p-24f * (1 + 0x1p-18f), false);
  });
}

TEST(Accumulators, WrongArguments) {
  each_member([]<class S, class D>(const Member<S, D>& m) {
    const LumSize roi = {8, 1};
    const Images<S> images(roi, 1);
    const Plane<D> dst(roi);
    A good = images.arguments();
    good.set_target(dst);
    // Multiples are checked after all sizes of steps where source and destination have the same type.
    const bool two = m.two(), odd = sizeof(S) > 1, early = odd && sizeof(S) != sizeof(D), late = odd && !early;
    expect_check_order(
        m.name, m.call, good,
        {null(&A::src), null(&A::src2, two), null(&A::mask_plane, m.masked), null(&A::dst), bad_size(&A::width, 0),
         bad_size(&A::height, -1), bad_step(&A::width, wrapping_width(sizeof(S))), bad_step(&A::step, good.step - 1),
         odd_step(&A::step, good.step + 1, early), bad_step(&A::step2, good.step2 - 1, two),
         odd_step(&A::step2, good.step2 + 1, two && early), bad_step(&A::mask_step, 7, m.masked),
         bad_step(&A::dst_step, good.dst_step - 1), odd_step(&A::step, good.step + 1, late),
         odd_step(&A::step2, good.step2 + 1, two && late), odd_step(&A::dst_step, good.dst_step + 1, sizeof(D) > 1)},
        dst);
  });
}

}  // namespace
