// The filters with border from outside, fixed and Gaussian: results, sizes, arguments.
#include "calls.h"

namespace {

using namespace test;

// A filter as its rows of taps; the Laplacian adds a second pair.
using Taps = std::vector<int>;
struct Kernels {
  Taps row, column, row2 = {}, column2 = {};
};
const Taps kDx3 = {-1, 0, 1}, kDxNeg3 = {1, 0, -1}, kD2x3 = {1, -2, 1}, kSobel3 = {1, 2, 1}, kSobelNeg3 = {-1, -2, -1},
           kScharr3 = {3, 10, 3}, kAvr3 = {1, 1, 1}, kDx5 = {-1, -2, 0, 2, 1}, kDxNeg5 = {1, 2, 0, -2, -1},
           kD2x5 = {1, 0, -2, 0, 1}, kSobel5 = {1, 4, 6, 4, 1}, kSobelNeg5 = {-1, -4, -6, -4, -1},
           kAvr5 = {1, 1, 1, 1, 1};

struct Filter {
  std::string name;
  Kernels taps3, taps5;
};
const Filter kFilters[] = {
    {"SobelHoriz", {kSobel3, kDx3}, {kSobel5, kDx5}},
    {"SobelVert", {kDxNeg3, kSobel3}, {kDxNeg5, kSobel5}},
    {"SobelNegVert", {kDxNeg3, kSobelNeg3}, {kDxNeg5, kSobelNeg5}},
    {"SobelHorizSecond", {kSobel3, kD2x3}, {kSobel5, kD2x5}},
    {"SobelVertSecond", {kD2x3, kSobel3}, {kD2x5, kSobel5}},
    {"SobelCross", {kDxNeg3, kDx3}, {kDxNeg5, kDx5}},
    {"Laplacian", {kSobel3, kD2x3, kD2x3, kSobel3}, {kSobel5, kD2x5, kD2x5, kSobel5}},
    {"Lowpass", {kAvr3, kAvr3}, {kAvr5, kAvr5}},
    {"ScharrHoriz", {kScharr3, kDx3}, {}},
    {"ScharrVert", {kDx3, kScharr3}, {}},
};

template <class S, class D>
struct Member {
  std::string name;
  bool divides;
  Function call, size;

  const Filter& filter() const {
    const auto is_this = [&](const Filter& f) { return name.starts_with("lumiFilter" + f.name + "Border_"); };
    return *std::find_if(std::begin(kFilters), std::end(kFilters), is_this);
  }
  bool is(const char* filter_name) const { return filter().name == filter_name; }
  std::vector<int> masks() const { return filter().taps5.row.empty() ? std::vector{33} : std::vector{33, 55}; }
};

template <class S, class D>
Member<S, D> member(const char* name, bool divides, Function size, auto f, auto... rest) {
  return {name, divides, function(f, &A::src, &A::step, &A::dst, &A::dst_step, &A::roi, rest..., &A::buffer), size};
}
const auto size_of = [](auto f, auto... rest) { return function(f, &A::roi, rest..., &A::bytes); };

template <class Body>
void each_member(const Body& body) {
#define LUM_FIXED(name, size, S, D, filter) \
  body(member<S, D>(#name, false, size_of(size, &A::mask), name, &A::mask, &A::border, &A::border_value));
#define LUM_FIXED_DIVIDED(name, size, filter)                                                                   \
  body(member<Lum8u, Lum8s>(#name, true, size_of(size, &A::mask), name, &A::mask, &A::border, &A::border_value, \
                            &A::divisor));
#define LUM_SCHARR(name, size, S, D, filter) \
  body(member<S, D>(#name, false, size_of(size), name, &A::border, &A::border_value));
#define LUM_SCHARR_DIVIDED(name, size, filter) \
  body(member<Lum8u, Lum8s>(#name, true, size_of(size), name, &A::border, &A::border_value, &A::divisor));
#include "lumcv/src/lumcvnewconvol.inc"
}

// ---- models ----

template <class S>
using Sum = decltype(S() + S());

// One correlation; floats in ascending order, without taps of 0. 5-tap Dx cancels in pairs.
template <class Tap, class T>
T correlate(const std::vector<Tap>& taps, const std::vector<T>& e) {
  constexpr bool kFixed = std::is_same_v<Tap, int>;
  if constexpr (kFixed && std::is_same_v<T, Lum32f>) {
    if (taps == kDx5) return (e[4] - e[0]) + 2 * (e[3] - e[1]);
    if (taps == kDxNeg5) return (e[0] - e[4]) + 2 * (e[1] - e[3]);
    if (taps == kSobelNeg3) return -correlate(kSobel3, e);
    if (taps == kSobelNeg5) return -correlate(kSobel5, e);
  }
  T sum = T(taps[0]) * e[0];
  for (size_t k = 1; k < taps.size(); ++k)
    if (taps[k] != 0 || !kFixed) sum += T(taps[k]) * e[k];
  return sum;
}

// Row taps on every row of the extended image, column taps on the sums.
template <class S, class Tap>
struct TwoPasses {
  std::vector<Tap> column;
  std::vector<std::vector<Sum<S>>> rows;  // the first one stands for row -half

  TwoPasses(const Plane<S>& src, const std::vector<Tap>& row, const std::vector<Tap>& column_, int border, S value)
      : column(column_) {
    const int n = int(row.size()), half = n / 2, width = src.roi().width, height = src.roi().height;
    std::vector<Sum<S>> e(n, value);
    // The row sum of nothing but the border value; the fixed filters multiply by the sum of their taps.
    const Sum<S> outside =
        std::is_same_v<Tap, int> ? value * int(std::accumulate(row.begin(), row.end(), Tap(0))) : correlate(row, e);
    for (int y = -half; y < height + half; ++y) {
      const int at_y = border_walk(y, height, border);
      auto& sums = rows.emplace_back(width, outside);
      for (int x = 0; x < width && at_y >= 0; ++x) {
        for (int k = 0; k < n; ++k) {
          const int at_x = border_walk(x + k - half, width, border);
          e[k] = at_x < 0 ? value : src.get(at_x, at_y);
        }
        sums[x] = correlate(row, e);
      }
    }
  }
  Sum<S> operator()(int x, int y) const {
    std::vector<Sum<S>> e;
    for (size_t k = 0; k < column.size(); ++k) e.push_back(rows[y + k][x]);
    return correlate(column, e);
  }
};

template <class S, class D>
void run(const Function& call, const Function& size, A a, const Plane<S>& src, const Plane<D>& dst, int shift = 0) {
  a.set_source(src), a.set_target(dst);
  const Block buffer(buffer_bytes(size, a), shift);
  a.buffer = buffer.bytes();
  ASSERT_EQ(lumStatusOk, call(a));
}

template <class S, class D>
void check(const Member<S, D>& m, LumSize roi, A a, std::mt19937& random, Placement place = {}) {
  Plane<S> src(roi, 1, place);
  const Plane<D> dst(roi, 1, {place.padding, 15 - place.shift});
  const bool extremes = sizeof(S) == 1 && random() % 4 == 0;  // their sums reach furthest
  src.fill([&](int, int) { return extremes ? S(random() % 2 ? 255 : 0) : random_element<S>(random); });
  const S value = random_element<S>(random);
  a.border_value = value;
  run(m.call, m.size, a, src, dst, place.shift);
  const Kernels& k = a.mask == 33 ? m.filter().taps3 : m.filter().taps5;
  std::vector<TwoPasses<S, int>> passes = {{src, k.row, k.column, a.border, value}};
  if (!k.row2.empty()) passes.emplace_back(src, k.row2, k.column2, a.border, value);
  const bool mean = m.is("Lowpass"), small = a.mask == 33;
  const auto model = [&](int x, int y) {
    const Sum<S> sum = passes.size() == 1 ? passes[0](x, y) : passes[0](x, y) + passes[1](x, y);
    if constexpr (sizeof(D) == 4) return !mean ? sum : sum * (small ? 1.0f / 9 : 1.0f / 25);
    if constexpr (sizeof(D) == 2) return D(sum);
    if (mean) return D(std::min(255, small ? int(sum + 5) * 7280 >> 16 : int(sum) * 2621 >> 16));
    return scaled<D>(float(sum), a.divisor, x, roi.width);
  };
  ASSERT_TRUE(dst.equals(model)) << m.name << ", mask " << a.mask << ", border " << a.border << ", value " << +value
                                 << ", divisor " << a.divisor;
}

TEST(FixedFilters, EqualModel) {
  constexpr int kDivisors[] = {1, 2, 3, 8, 16, -5, 100, -1, -2, 256, 16384, 32768, 1 << 30, 2147483647};
  std::mt19937 random(1);
  each_member([&](const auto& m) {
    A a;
    for (int mask : m.masks()) {
      a.mask = mask;
      const auto check_any = [&](LumSize roi, Placement place) {
        a.border = random() % 5, a.divisor = kDivisors[random() % std::size(kDivisors)];
        check(m, roi, a, random, place);
      };
      for (int i = 0; i < 140; ++i) check_any({1 + i / 2, 1 + int(random() % (i % 4 ? 6 : 40))}, any_placement(random));
      for (int width : {1024, 2049, 4099}) check_any({width, 18}, {});  // wide, also with rows 4096 bytes apart
      for (int border : kBorders)
        for (LumSize roi : {LumSize{1, 1}, {2, 1}, {1, 2}, {2, 2}, {3, 3}, {33, 9}}) {
          a.border = border, a.divisor = 4;
          check(m, roi, a, random);
        }
    }
  });
}

TEST(FixedFilters, ThreadsDoNotChangeResults) {
  std::mt19937 random(2);
  const LumSize roi = {261, 1283};
  each_member([&]<class S, class D>(const Member<S, D>& m) {
    Plane<S> src(roi);
    src.fill(random);
    A a;
    a.border_value = 7, a.divisor = 3;
    for (int mask : m.masks())
      for (int border : {lumBorderConst, lumBorderWrap}) {
        a.mask = mask, a.border = border;
        expect_equal_on_threads<D>(m.name, roi, 1, [&](const Plane<D>& dst) { run(m.call, m.size, a, src, dst); });
      }
  });
}

// ---- sizes and arguments ----

TEST(FixedFilters, BufferSizes) {
  each_member([&]<class S, class D>(const Member<S, D>& m) {
    const bool real = sizeof(S) == 4, masked = m.masks().size() == 2;
    A a;
    a.width = 21, a.height = 11;  // ceil(width / 16) = 2, ceil(width / 4) = 6
    for (int threads : {1, 3})
      for (int mask : m.masks()) {
        const Threads scope(threads);
        const int taps = mask / 11, rows = taps == 3 ? 21 : 25, slack = taps == 3 ? 156 : 180;
        int ring = (real ? 16 * 6 : 32 * 2) * rows + slack + 64;
        if (m.is("Laplacian")) ring = (real ? 128 : 64) * 2 * rows + 2 * slack + 96;
        if (m.is("Laplacian") && taps == 5 && m.divides) ring += 2 * 16 * 2 * 11 + 32;
        const int row = threads * (32 + 4 * (11 + taps) + (real ? 64 * taps + 64 : 36 * taps + 112));
        const int column = real ? 32 : threads * (32 + 4 * (11 + taps) + 12 * 24 + 32);
        a.mask = mask;
        EXPECT_EQ(threads * (ring + row + column + 32), buffer_bytes(m.size, a)) << m.name << ", mask " << mask;
      }
    const Plane<int> bytes({1, 1});
    a.mask = 33, a.bytes = bytes.data();
    expect_check_order(
        m.name, m.size, a,
        {null(&A::bytes), bad_size(&A::width, 0), bad_size(&A::height, 0), bad_mask(&A::mask, 35, masked),
         bad_mask(&A::mask, 53, masked), bad_size(&A::width, INT32_MAX), bad_size(&A::height, INT32_MAX)},
        bytes);
  });
}

TEST(FixedFilters, WrongArguments) {
  each_member([]<class S, class D>(const Member<S, D>& m) {
    const LumSize roi = {8, 2};
    Plane<S> src(roi);
    const Plane<D> dst(roi);
    const Block buffer(16384);
    src.fill([](int, int) { return 1; });
    A good;
    good.set_source(src), good.set_target(dst), good.buffer = buffer.bytes();
    const bool masked = m.masks().size() == 2;
    expect_check_order(
        m.name, m.call, good,
        {null(&A::src), null(&A::dst), null(&A::buffer), bad_size(&A::width, 0), bad_size(&A::height, -1),
         bad_step(&A::step, src.step() - 1), bad_step(&A::dst_step, dst.step() - 1),
         bad_step(&A::width, wrapping_width(sizeof(S))), odd_step(&A::step, src.step() + 1, sizeof(S) > 1),
         odd_step(&A::dst_step, dst.step() + 1, sizeof(D) > 1), bad_argument(&A::border, 5),
         bad_argument(&A::border, -1), bad_argument(&A::divisor, 0, m.divides), bad_mask(&A::mask, 0, masked),
         bad_mask(&A::mask, 35, masked)},
        dst, buffer);
    EXPECT_EQ(lumStatusOk, m.call(good)) << m.name;
  });
}

// ---- Gaussian ----

const Function kGauss = function(lumiFilterGaussBorder_32f_C1R, &A::src, &A::step, &A::dst, &A::dst_step, &A::roi,
                                 &A::taps, &A::sigma, &A::border, &A::border_value, &A::buffer);
const Function kGaussSize = function(lumiFilterGaussGetBufferSize_32f_C1R, &A::roi, &A::taps, &A::bytes);

std::vector<Lum32f> gauss_taps(int n, Lum32f sigma) {
  std::vector<Lum64f> taps;
  for (int i = 0; i < n; ++i) {
    const Lum64f x = i - (n - 1) / 2;
    taps.push_back(std::exp(-x * x / (2 * Lum64f(sigma) * sigma)));
  }
  const Lum64f sum = std::accumulate(taps.begin(), taps.end(), 0.0);
  for (Lum64f& tap : taps) tap /= sum;
  return {taps.begin(), taps.end()};
}

// At steps that need not be multiples of 4 here.
void check_gauss(LumSize roi, int taps, Lum32f sigma, int border, std::mt19937& random) {
  const int padding = int(random() % 7), shift = int(random() % 17);
  Plane<Lum32f> src(roi, 1, {0, shift, padding}), dst(roi, 1, {0, 15 - shift, padding});
  src.fill(random);
  const Lum32f value = random_element<Lum32f>(random);
  A a;
  a.set_roi(roi), a.taps = taps, a.sigma = sigma, a.border = border, a.border_value = value;
  EXPECT_EQ((((roi.width + 3) / 4 * 4 + taps) * (roi.height + taps) + taps) * 4 + 64, buffer_bytes(kGaussSize, a));
  run(kGauss, kGaussSize, a, src, dst, shift);
  const auto kernel = gauss_taps(taps, sigma);
  ASSERT_TRUE(dst.equals(TwoPasses<Lum32f, Lum32f>(src, kernel, kernel, border, value)))
      << roi.width << "x" << roi.height << ", " << taps << " taps, sigma " << sigma << ", border " << border;
}

TEST(Gauss, EqualsModel) {
  std::mt19937 random(3);
  for (int border : kBorders)
    for (int taps : {3, 5, 7, 9, 31})
      for (int width : {1, 2, 3, 7, 8, 9, 30, 31, 33, 64})
        check_gauss({width, 1 + int(random() % 20)}, taps, 0.4f + taps / 7.0f, border, random);
  check_gauss({5, 2}, 601, 80, lumBorderMirr, random);
  check_gauss({300, 2}, 601, 1e-30f, lumBorderWrap, random);
  for (int taps : {31, 101}) check_gauss({2000, 3}, taps, 1.5f, lumBorderMirr, random);  // several strips
  for (int threads : {2, 3, 5}) {
    const Threads scope(threads);
    for (int border : {lumBorderConst, lumBorderMirrR}) check_gauss({257, 641}, 5, 1, border, random);
  }
}

// So many threads and taps that the buffer does not hold a part for every thread.
TEST(Gauss, PartsOfTheBufferAreLimited) {
  const LumSize roi = {257, 2048};
  std::mt19937 random(4);
  Plane<Lum32f> src(roi);
  src.fill(random);
  A a;
  a.taps = 725, a.sigma = 100;
  const auto make = [&](const Plane<Lum32f>& dst) { run(kGauss, kGaussSize, a, src, dst); };
  expect_equal_on_threads<Lum32f>("Gauss", roi, 1, make, {16});
}

TEST(Gauss, WrongArguments) {
  const Plane<Lum32f> src({8, 2}), dst({8, 2});
  const Block buffer(4096);
  const Plane<int> bytes({1, 1});
  A good;
  good.set_source(src), good.set_target(dst), good.buffer = buffer.bytes();
  good.step = good.dst_step = 8, good.bytes = bytes.data();  // the bytes of a step are compared with pixels
  expect_check_order("Gauss", kGauss, good,
                     {null(&A::src), null(&A::dst), null(&A::buffer), bad_size(&A::height, 0), bad_size(&A::width, 0),
                      bad_step(&A::step, 7), bad_step(&A::dst_step, 7), bad_argument(&A::taps, 4),
                      bad_argument(&A::taps, 1), bad_argument(&A::sigma, 0), bad_argument(&A::sigma, NAN),
                      bad_argument(&A::border, 5), bad_argument(&A::border, -1)},
                     dst, buffer);
  expect_check_order("Gauss size", kGaussSize, good,
                     {null(&A::bytes), bad_size(&A::width, 0), bad_size(&A::height, 0), bad_argument(&A::taps, 2),
                      bad_argument(&A::taps, 1), bad_size(&A::height, 1 << 27)},
                     bytes);
  good.width = INT32_MAX - 3, good.taps = 5;  // 2^64 + 80 bytes
  expect_check_order("Gauss size", kGaussSize, good, {bad_size(&A::height, INT32_MAX - 5)}, bytes);
}

}  // namespace
