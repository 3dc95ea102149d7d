// Extrema with their positions from outside: results, ties, masks, bands, arguments.
#include "moments_rules.h"
#include "statistics_calls.h"

namespace test {
bool operator==(const Extreme& a, const Extreme& b) {
  return same(a.value, b.value) && a.at.x == b.at.x && a.at.y == b.at.y;
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
  Images<S> images(roi, m.channels, 1 + int(random() % 3), any_placement(random));
  images.a.fill([&](int, int y) { return element<S>(content, y > roi.height / 2, random); });
  images.select(selected, random);
  const auto values = [&](int x, int y) { return Lum32f(images.values_of(images.a)(x, y)); };
  const Extremes expected = extremes(roi, values, images.selected(m.masked));
  Extremes got;
  A a = images.arguments();
  set_results(a, got);
  ASSERT_EQ(lumStatusOk, m.call(a)) << m.name;
  const std::string call = m.name + ", " + std::to_string(roi.width) + "x" + std::to_string(roi.height) + ", content " +
                           std::to_string(content) + ", channel " + std::to_string(images.coi);
  ASSERT_EQ(expected.least, got.least) << call;
  ASSERT_EQ(expected.greatest, got.greatest) << call;
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
    const Images<S> images({8, 1}, m.channels);
    const Block results(sizeof(Extremes));
    A good = images.arguments();
    set_results(good, *(Extremes*)results.bytes());
    expect_image_checks<S>(m.name, m.call, good, m.channels, false, m.masked, null(&A::dst, false), results);
  });
}

}  // namespace
