// Canny edges from outside: results against a plain model, the work buffer, arguments.
#include "calls.h"

namespace {

using namespace test;

Function canny(auto f) {
  return function(f, &A::src, &A::step, &A::src2, &A::step2, &A::dst, &A::dst_step, &A::roi, &A::low, &A::high,
                  &A::buffer);
}
template <class T>
const Function kCanny = canny(lumiCanny_32f8u_C1R);
template <>
const Function kCanny<Lum16s> = canny(lumiCanny_16s8u_C1R);
const Function kSize = function(lumiCannyGetSize, &A::roi, &A::bytes);

// Edges grow from the seeds, pixel by pixel. Single precision holds every magnitude and threshold of 16s exactly.
template <class T>
struct Model {
  static constexpr bool kInteger = sizeof(T) == 2;
  const Plane<T>&dx, &dy;
  const LumSize roi = dx.roi();
  const float low, high;
  std::vector<float> magnitudes;
  std::vector<Lum8u> edges;

  Model(const Plane<T>& dx_, const Plane<T>& dy_, float low_, float high_)
      : dx(dx_), dy(dy_), low(kInteger ? std::trunc(low_) : low_), high(kInteger ? std::trunc(high_) : high_),
        edges(size_t(roi.width) * roi.height) {
    for (int y = 0; y < roi.height; ++y)
      for (int x = 0; x < roi.width; ++x) {
        const float m = std::abs(float(dx.get(x, y))) + std::abs(float(dy.get(x, y)));
        magnitudes.push_back(kInteger ? (m > low ? std::min(m, 65535.f) : 0) : m < low ? 0 : m);
      }
    std::vector<LumPoint> stack;
    const auto visit = [&](int x, int y, bool is_edge) {
      if (!is_edge || !candidate(x, y) || edge(x, y)) return;
      edges[size_t(y) * roi.width + x] = 255;
      stack.push_back({x, y});
    };
    for (int y = 0; y < roi.height; ++y)
      for (int x = 0; x < roi.width; ++x)
        for (visit(x, y, at(x, y) > high); !stack.empty();) {
          const LumPoint p = stack.back();
          stack.pop_back();
          for (int i = 0; i < 9; ++i) visit(p.x + i % 3 - 1, p.y + i / 3 - 1, true);
        }
  }
  Lum8u edge(int x, int y) const { return edges[size_t(y) * roi.width + x]; }
  float at(int x, int y) const {
    return x < 0 || y < 0 || x >= roi.width || y >= roi.height ? 0 : magnitudes[size_t(y) * roi.width + x];
  }
  bool candidate(int x, int y) const {
    const float here = at(x, y);
    if (here == 0) return false;
    const float ax = std::abs(float(dx.get(x, y))), ay = std::abs(float(dy.get(x, y)));
    if (ay < ax * 0.41421357f) return at(x - 1, y) < here && at(x + 1, y) <= here;
    if (ax * 2.4142137f < ay) return at(x, y - 1) < here && at(x, y + 1) <= here;
    const int side = std::signbit(float(dx.get(x, y))) == std::signbit(float(dy.get(x, y))) ? 1 : -1;
    return at(x - side, y - 1) < here && at(x + side, y + 1) < here;
  }
};

// Every block lies at a protected page or as far from it as the variation says. gradient(x, y) is the pair of dx and dy.
template <class T, class F>
void check(LumSize roi, float low, float high, F gradient, int variation = 0) {
  const int shift = variation % 17;
  Plane<T> dx(roi, 1, {variation % 3, shift}), dy(roi, 1, {variation % 2, 15 - shift});
  for (int y = 0; y < roi.height; ++y)
    for (int x = 0; x < roi.width; ++x) {
      const std::pair<T, T> value = gradient(x, y);
      dx.set(x, y, value.first), dy.set(x, y, value.second);
    }
  A a;
  a.set_source(dx), a.set_source2(dy), a.set_roi(roi);
  a.low = low, a.high = high, a.dst_step = roi.width + variation * 7 % 23;
  const Block buffer(buffer_bytes(kSize, a), variation * 5 % 17);
  const Block edges(size_t(a.dst_step) * roi.height, variation * 3 % 17);
  a.dst = edges.bytes(), a.buffer = buffer.bytes();
  ASSERT_EQ(kCanny<T>(a), lumStatusOk);
  const Model<T> model(dx, dy, low, high);
  for (int i = 0; i < int(edges.size()); ++i) {
    const int x = i % a.dst_step, y = i / a.dst_step;
    ASSERT_EQ(+edges.bytes()[i], x < roi.width ? +model.edge(x, y) : 0)
        << "column " << x << ", row " << y << " of " << roi.width << "x" << roi.height << ", step " << a.dst_step
        << ", thresholds " << low << ", " << high << ", variation " << variation;
  }
}

// Images of several kinds: any values, plateaus, derivatives of bytes, the ends of the range, long edges.
template <class T>
std::pair<T, T> random_gradient(int kind, int x, int y, std::mt19937& random) {
  static const float kIntegers[] = {0, 1, -32768, 32767, -32767, 16384, -16384, 13573, 27146, 27147};
  const auto few = [&] { return T(100 * (int(random() % 3) - 1)); };
  const auto small = [&] { return T(int(random() % 2041) - 1020); };
  const auto end = [&] { return sizeof(T) == 2 ? T(kIntegers[random() % 10]) : any_element<T>(random); };
  const float wave = 3 * std::sin(x * 0.31f + y * 0.17f) + std::sin(y * 0.7f - x * 0.05f);
  switch (kind) {
    case 0: return {random_element<T>(random), random_element<T>(random)};
    case 1: return {few(), few()};
    case 2: return {small(), small()};
    case 3: return {random() % 2 ? end() : few(), random() % 2 ? end() : few()};
    default: return {T(wave * 100), T(int(random() % 64) - wave * 40)};
  }
}

template <class T>
struct CannyEdges : testing::Test {};
using Elements = testing::Types<Lum16s, Lum32f>;
TYPED_TEST_SUITE(CannyEdges, Elements);

TYPED_TEST(CannyEdges, Sizes) {
  const float thresholds[][2] = {{0, 0},     {50, 150},        {100, 100},  {99.9f, 100.9f}, {30, 280},
                                 {0, 65534}, {65535, 1e9f},    {0.5f, 1},   {50, 70000},     {32767, 32768},
                                 {0, 90},    {1000, INFINITY}, {3e9f, 3e9f}};
  std::vector<LumSize> sizes = {{517, 203}, {1031, 67}, {96, 300}, {20, 700}};
  for (int width = 1; width <= 70; ++width)
    for (int height = 1; height <= 9; ++height) sizes.push_back({width, height});
  std::mt19937 random(1);
  int variation = 0;
  for (const LumSize roi : sizes)
    for (int kind = 0; kind < 5; ++kind, ++variation) {
      const auto& [low, high] = thresholds[variation % std::size(thresholds)];
      const auto gradient = [&](int x, int y) { return random_gradient<TypeParam>(kind, x, y, random); };
      check<TypeParam>(roi, low, high, gradient, variation);
      if (this->HasFatalFailure()) return;
    }
}

// Both sides of the sector borders for every |dx|. Around each tested pixel only what a sector looks at is lower.
TYPED_TEST(CannyEdges, SectorBorders) {
  using T = TypeParam;
  for (const bool vertical : {false, true})
    for (int first = 0; first <= 32768; first += 1024) {
      const int high = first ? 32767 : 1023;  // |dx| and |dy| below 1024 may take a way of their own
      const LumSize roi = {2 * 1024 + 1, 2 * 5 + 1};
      check<T>(roi, 0, 0, [&](int x, int y) -> std::pair<T, T> {
        const bool beside = x % 2 == 0, between = y % 2 == 0;
        if (vertical ? !beside && between : beside && !between) return {0, 0};
        if (beside || between) return {T(high), T(high)};
        const int ax = std::min(first + x / 2, 32768);
        const int ay = int(ax * (vertical ? 2.4142137f : 0.41421357f)) + y / 2 - 2;
        const int sign = x % 4 == 1 ? -1 : 1;
        return {T(-ax), T(sign * std::max(0, std::min({ay, 32767, first ? 32767 : 1023})))};
      });
      if (this->HasFatalFailure()) return;
    }
}

// Ways from a seed that change their direction often: a line one pixel wide that runs to and fro, and an area full of
// candidates that is entered from above by a line that comes from the seed at the bottom.
TYPED_TEST(CannyEdges, LongWays) {
  using Gradient = std::pair<TypeParam, TypeParam>;
  for (const LumSize roi : {LumSize{301, 41}, LumSize{9, 401}, LumSize{64, 65}, LumSize{31, 33}, LumSize{257, 257}}) {
    const int right = roi.width - 1, bottom = roi.height - 1;
    const auto line = [=](int x, int y, int seed_row) -> Gradient {
      if (y % 2 == 1) return {TypeParam(x == (y % 4 == 1 ? right : 0) ? 100 : 0), 0};
      return {0, TypeParam(x == 0 || x == right ? 0 : x == 1 && y == seed_row ? 200 : -100)};
    };
    const auto area = [=](int x, int y) -> Gradient {
      if (y == 0) return {0, TypeParam(x < right ? 100 : 0)};
      if (x == right) return {TypeParam(y == bottom ? 200 : 100), 0};
      if (y == 1 || x > right - 3) return {TypeParam(y == 1 && x == 0 ? 90 : 0), 0};
      return y % 2 ? Gradient{x % 2 ? 0 : 90, 0} : Gradient{0, 100};
    };
    for (const float high : {150.f, 50.f})  // one seed, all pixels seeds
      for (const int seed_row : {0, bottom}) {
        check<TypeParam>(roi, 50, high, [&](int x, int y) { return line(x, y, seed_row); });
        check<TypeParam>({roi.height, roi.width}, 50, high, [&](int x, int y) {  // columns instead of rows
          const auto [dx, dy] = line(y, x, seed_row);
          return Gradient(dy, dx);
        });
      }
    check<TypeParam>(roi, 50, 150, area);
  }
}

TYPED_TEST(CannyEdges, PairsOf16And32Bits) {
  std::mt19937 random(3);
  for (const LumSize roi : {LumSize{65532, 2}, {65533, 1}, {65600, 3}, {1, 65600}, {2, 65532}})
    for (const int kind : {1, 4}) {
      const auto gradient = [&](int x, int y) { return random_gradient<TypeParam>(kind, x, y, random); };
      check<TypeParam>(roi, 50, 190, gradient, kind);
    }
}

TEST(CannySize, FollowsTheFormula) {
  const std::pair<LumSize, int> sizes[] = {{{1, 1}, 15 * 3 + 28 * 4 + 64},
                                           {{1920, 1080}, 5410 * 1922 + 7704 * 4 + 64},
                                           {{65532, 2}, 20 * 65534 + 262152 * 4 + 64},
                                           {{65533, 2}, 9 * 65533 * 4 + 18 * 4 + 262156 * 4 + 64},
                                           {{3, 65533}, 9 * 3 * 65535 + 18 * 65535 + 36 * 4 + 64},
                                           {{2, 59652316}, 2147483640}};
  int size = -1;
  for (const auto& [roi, expected] : sizes) {
    EXPECT_EQ(lumiCannyGetSize(roi, &size), lumStatusOk);
    EXPECT_EQ(size, expected);
  }
  for (const LumSize roi : {LumSize{2, 59652317}, {INT32_MAX, INT32_MAX}, {20000, 30000}, {0, 1}, {1, -1}})
    EXPECT_EQ(lumiCannyGetSize(roi, &size), lumStatusBadSize);
  EXPECT_EQ(lumiCannyGetSize({0, 0}, nullptr), lumStatusNullPointer);
  EXPECT_EQ(size, sizes[5].second) << "written though wrong";
}

TYPED_TEST(CannyEdges, WrongArguments) {
  Plane<TypeParam> dx({5, 3}), dy({5, 3});
  const Plane<Lum8u> edges({5, 3});
  const Block buffer(2000);
  A good;
  good.set_source(dx), good.set_source2(dy), good.set_target(edges), good.buffer = buffer.bytes();
  expect_check_order("Canny", kCanny<TypeParam>, good,
                     {null(&A::src), null(&A::src2), null(&A::dst), null(&A::buffer), bad_size(&A::width, 0),
                      bad_size(&A::height, -3), bad_step(&A::step, dx.step() - 1), bad_step(&A::step2, -dx.step()),
                      bad_step(&A::dst_step, 4), bad_step(&A::width, wrapping_width(sizeof(TypeParam))),
                      odd_step(&A::step, dx.step() + 1), odd_step(&A::step2, dx.step() + 1), bad_argument(&A::low, -1),
                      bad_argument(&A::low, NAN), bad_argument(&A::high, 9.5f), bad_argument(&A::high, NAN)},
                     edges, buffer);
}

}  // namespace
