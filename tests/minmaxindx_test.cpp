// Extrema with their positions from outside: results, ties, masks, bands, arguments.
#include "calls.h"
#include "moments_rules.h"

namespace test {
bool operator==(const Extreme& a, const Extreme& b) {
  const bool same_value = memcmp(&a.value, &b.value, sizeof a.value) == 0 || (a.value != a.value && b.value != b.value);
  return same_value && a.at.x == b.at.x && a.at.y == b.at.y;
}
std::ostream& operator<<(std::ostream& out, const Extreme& e) {
  return out << e.value << " at (" << e.at.x << ", " << e.at.y << ")";
}
}  // namespace test

namespace {

using namespace test;

template <class S>
struct Member {
  std::string name;
  int channels;
  bool masked;
  Function call;
};

// body(member) for every member.
template <class Body>
void each_member(const Body& body) {
#define RESULTS &A::least, &A::greatest, &A::least_at, &A::greatest_at
#define MEMBER(name, S, channels, masked, ...) \
  body(Member<S>{#name, channels, masked, function(name, &A::src, &A::step, __VA_ARGS__, RESULTS)});
#define LUM_EXTREMA_C1(name, S) MEMBER(name, S, 1, false, &A::roi)
#define LUM_EXTREMA_C3C(name, S) MEMBER(name, S, 3, false, &A::roi, &A::coi)
#define LUM_EXTREMA_MASKED_C1(name, S) MEMBER(name, S, 1, true, &A::mask_plane, &A::mask_step, &A::roi)
#define LUM_EXTREMA_MASKED_C3C(name, S) MEMBER(name, S, 3, true, &A::mask_plane, &A::mask_step, &A::roi, &A::coi)
#include "lumcv/src/lumcvminmaxindx.inc"
}

void set_results(A& a, Extremes& e) {
  a.least = &e.least.value, a.greatest = &e.greatest.value, a.least_at = &e.least.at, a.greatest_at = &e.greatest.at;
}

// What the elements of a plane are drawn from.
enum Content { kAny, kFewValues, kTop, kBottom, kSpecial, kNan, kContents };
template <class S>
S element(Content content, bool late, std::mt19937& random) {
  using Limits = std::numeric_limits<S>;
  if (content == kFewValues) return S(random() % 3);
  if constexpr (std::is_floating_point_v<S>) {
    constexpr S special[] = {0.0f, -0.0f, NAN, 1e-40f, INFINITY, -INFINITY};
    if (content == kTop || content == kBottom) return content == kTop ? INFINITY : -INFINITY;
    if (content == kSpecial) return special[random() % (1 + random() % std::size(special))];
    if (content == kNan) return random() % 500 || !late ? NAN : S(random() % 2);
  }
  return content == kTop ? Limits::max() : content == kBottom ? Limits::min() : random_element<S>(random);
}

template <class S>
void check(const Member<S>& m, LumSize roi, Content content, unsigned selected, std::mt19937& random) {
  const int coi = m.channels == 1 ? 1 : 1 + int(random() % 3);
  Plane<S> src(roi, m.channels, {int(random() % 3 * sizeof(S)), int(random() % 17) - 1});
  Plane<Lum8u> mask(roi, 1, {int(random() % 3), int(random() % 17) - 1});
  src.fill([&](int, int y) { return element<S>(content, y > roi.height / 2, random); });
  mask.fill([&](int, int) { return random() % 1000 < selected ? 1 << random() % 8 : 0; });
  const Extremes expected = extremes(
      roi, [&](int x, int y) { return Lum32f(src.get(x * m.channels + coi - 1, y)); },
      [&](int x, int y) { return !m.masked || mask.get(x, y); });
  Extremes got;
  A a;
  a.set_roi(roi);
  a.src = src.data(), a.step = src.step(), a.mask_plane = mask.data(), a.mask_step = mask.step(), a.coi = coi;
  set_results(a, got);
  ASSERT_EQ(lumStatusOk, m.call(a)) << m.name;
  const auto call = [&] {
    return m.name + ", " + std::to_string(roi.width) + "x" + std::to_string(roi.height) + ", content " +
           std::to_string(content) + ", channel " + std::to_string(coi);
  };
  ASSERT_EQ(expected.least, got.least) << call();
  ASSERT_EQ(expected.greatest, got.greatest) << call();
}

TEST(Extrema, EqualModel) {
  std::mt19937 random(1);
  const LumSize in_bands[] = {{131, 127}, {16383, 1}, {128, 128}, {3, 7001}, {17000, 2}};
  each_member([&]<class S>(const Member<S>& m) {
    for (int content = 0; content < kContents; ++content)
      for (unsigned selected : {0u, 2u, 500u, 1000u}) {
        for (int width = 1; width <= 70; width += 1 + int(random() % 5))
          check(m, {width, 1 + int(random() % 3)}, Content(content), selected, random);
        if (random() % 4) continue;
        const Threads threads(random() % 16 == 0 ? 300 : 2 + int(random() % 4));
        check(m, in_bands[random() % std::size(in_bands)], Content(content), selected, random);
      }
  });
}

TEST(Extrema, WrongArguments) {
  each_member([]<class S>(const Member<S>& m) {
    const LumSize roi = {8, 1};
    const Plane<S> src(roi, m.channels);
    const Plane<Lum8u> mask(roi);
    const Extreme before = {7, {7, 7}};
    Extremes results = {before, before};
    A good;
    good.set_roi(roi);
    good.src = src.data(), good.step = src.step(), good.mask_plane = mask.data(), good.mask_step = mask.step();
    set_results(good, results);
    const bool wide = sizeof(S) > 1, coi = m.channels == 3;
    expect_check_order(
        m.name, m.call, good,
        {null(&A::src), null(&A::mask_plane, m.masked), bad_size(&A::width, 0), bad_size(&A::height, -1),
         bad_step(&A::width, wrapping_width(sizeof(S) * m.channels)), bad_step(&A::step, good.step - 1),
         bad_step(&A::mask_step, 7, m.masked), odd_step(&A::step, good.step + 1, wide), bad_channel(&A::coi, 0, coi),
         bad_channel(&A::coi, INT32_MIN, coi), bad_channel(&A::coi, 4, coi)});
    EXPECT_EQ(before, results.least);
    EXPECT_EQ(before, results.greatest);
  });
}

}  // namespace
