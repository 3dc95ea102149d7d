// The fixed filters with border from outside: sizes, results, arguments.
#include "filter_model.h"

namespace {

using test::Block;
using test::Placement;
using test::Plane;
using test::Threads;

// ---- members ----

// A filter as its two rows of taps; the Laplacian adds a second pair.
struct Kernels {
  std::vector<int> row, column, row2, column2;
};
const std::vector<int> kDx3 = {-1, 0, 1}, kDxNeg3 = {1, 0, -1}, kD2x3 = {1, -2, 1}, kSobel3 = {1, 2, 1},
                       kSobelNeg3 = {-1, -2, -1}, kScharr3 = {3, 10, 3}, kAvr3 = {1, 1, 1};
const std::vector<int> kDx5 = {-1, -2, 0, 2, 1}, kDxNeg5 = {1, 2, 0, -2, -1}, kD2x5 = {1, 0, -2, 0, 1},
                       kSobel5 = {1, 4, 6, 4, 1}, kSobelNeg5 = {-1, -4, -6, -4, -1}, kAvr5 = {1, 1, 1, 1, 1};

enum class Family { ordinary, laplacian, lowpass, scharr };

template <class S, class D>
struct Member {
  const char* name;
  LumStatus (*masked)(const S*, int, D*, int, LumSize, LumMaskSize, LumBorderType, S, Lum8u*) = nullptr;
  LumStatus (*masked_divided)(const S*, int, D*, int, LumSize, LumMaskSize, LumBorderType, S, int, Lum8u*) = nullptr;
  LumStatus (*plain)(const S*, int, D*, int, LumSize, LumBorderType, S, Lum8u*) = nullptr;
  LumStatus (*plain_divided)(const S*, int, D*, int, LumSize, LumBorderType, S, int, Lum8u*) = nullptr;
  LumStatus (*masked_size)(LumSize, LumMaskSize, int*) = nullptr;
  LumStatus (*plain_size)(LumSize, int*) = nullptr;
  Family family;
  Kernels taps3, taps5;

  LumStatus operator()(const S* src, int step, D* dst, int dst_step, LumSize roi, int mask, int border, S value,
                       int divisor, Lum8u* buffer) const {
    if (masked) return masked(src, step, dst, dst_step, roi, mask, border, value, buffer);
    if (masked_divided) return masked_divided(src, step, dst, dst_step, roi, mask, border, value, divisor, buffer);
    if (plain) return plain(src, step, dst, dst_step, roi, border, value, buffer);
    return plain_divided(src, step, dst, dst_step, roi, border, value, divisor, buffer);
  }
  LumStatus size(LumSize roi, int mask, int* bytes) const {
    return masked_size ? masked_size(roi, mask, bytes) : plain_size(roi, bytes);
  }
  bool has_mask() const { return masked_size != nullptr; }
  bool divides() const { return masked_divided || plain_divided; }
};

#define MASKED(filter, type, kind, ...)                                                                \
  {                                                                                                    \
    .name = #filter "_" #type, .masked = lumiFilter##filter##Border_##type##_C1R,                      \
    .masked_size = lumiFilter##filter##GetBufferSize_##type##_C1R, .family = Family::kind, __VA_ARGS__ \
  }
#define DIVIDED(filter, kind, ...)                                                                 \
  {                                                                                                \
    .name = #filter "_8u8s", .masked_divided = lumiFilter##filter##Border_8u8s_C1R,                \
    .masked_size = lumiFilter##filter##GetBufferSize_8u8s_C1R, .family = Family::kind, __VA_ARGS__ \
  }
#define SCHARR(filter, type, ...)                                                                       \
  {                                                                                                     \
    .name = #filter "_" #type, .plain = lumiFilter##filter##Border_##type##_C1R,                        \
    .plain_size = lumiFilter##filter##GetBufferSize_##type##_C1R, .family = Family::scharr, __VA_ARGS__ \
  }
#define SCHARR_DIVIDED(filter, ...)                                                                 \
  {                                                                                                 \
    .name = #filter "_8u8s", .plain_divided = lumiFilter##filter##Border_8u8s_C1R,                  \
    .plain_size = lumiFilter##filter##GetBufferSize_8u8s_C1R, .family = Family::scharr, __VA_ARGS__ \
  }
#define TAPS(r3, c3, r5, c5) .taps3 = {r3, c3, {}, {}}, .taps5 = {r5, c5, {}, {}}
#define SOBELS(MEMBER)                                                                                                 \
  MEMBER(SobelHoriz, TAPS(kSobel3, kDx3, kSobel5, kDx5)), MEMBER(SobelVert, TAPS(kDxNeg3, kSobel3, kDxNeg5, kSobel5)), \
      MEMBER(SobelNegVert, TAPS(kDxNeg3, kSobelNeg3, kDxNeg5, kSobelNeg5)),                                            \
      MEMBER(SobelHorizSecond, TAPS(kSobel3, kD2x3, kSobel5, kD2x5)),                                                  \
      MEMBER(SobelVertSecond, TAPS(kD2x3, kSobel3, kD2x5, kSobel5)),                                                   \
      MEMBER(SobelCross, TAPS(kDxNeg3, kDx3, kDxNeg5, kDx5))
#define LAPLACIAN .taps3 = {kSobel3, kD2x3, kD2x3, kSobel3}, .taps5 = {kSobel5, kD2x5, kD2x5, kSobel5}
#define TO_16S(filter, ...) MASKED(filter, 8u16s, ordinary, __VA_ARGS__)
#define TO_32F(filter, ...) MASKED(filter, 32f, ordinary, __VA_ARGS__)
#define TO_8S(filter, ...) DIVIDED(filter, ordinary, __VA_ARGS__)

const Member<Lum8u, Lum16s> kTo16s[] = {SOBELS(TO_16S), MASKED(Laplacian, 8u16s, laplacian, LAPLACIAN),
                                        SCHARR(ScharrHoriz, 8u16s, TAPS(kScharr3, kDx3, {}, {})),
                                        SCHARR(ScharrVert, 8u16s, TAPS(kDx3, kScharr3, {}, {}))};
const Member<Lum8u, Lum8s> kTo8s[] = {SOBELS(TO_8S), DIVIDED(Laplacian, laplacian, LAPLACIAN),
                                      SCHARR_DIVIDED(ScharrHoriz, TAPS(kScharr3, kDx3, {}, {})),
                                      SCHARR_DIVIDED(ScharrVert, TAPS(kDx3, kScharr3, {}, {}))};
const Member<Lum8u, Lum8u> kTo8u[] = {MASKED(Lowpass, 8u, lowpass, TAPS(kAvr3, kAvr3, kAvr5, kAvr5))};
const Member<Lum32f, Lum32f> kTo32f[] = {SOBELS(TO_32F), MASKED(Laplacian, 32f, laplacian, LAPLACIAN),
                                         SCHARR(ScharrHoriz, 32f, TAPS(kScharr3, kDx3, {}, {})),
                                         SCHARR(ScharrVert, 32f, TAPS(kDx3, kScharr3, {}, {})),
                                         MASKED(Lowpass, 32f, lowpass, TAPS(kAvr3, kAvr3, kAvr5, kAvr5))};

template <class Body>
void each_member(const Body& body) {
  for (const auto& m : kTo16s) body(m, Lum8u(), Lum16s());
  for (const auto& m : kTo8s) body(m, Lum8u(), Lum8s());
  for (const auto& m : kTo8u) body(m, Lum8u(), Lum8u());
  for (const auto& m : kTo32f) body(m, Lum32f(), Lum32f());
}
template <class M, class Body>
void each_mask(const M& member, const Body& body) {
  body(33);
  if (member.has_mask()) body(55);
}

// ---- models ----

// One correlation of taps and values; integers exactly, floats in ascending order. 5-tap Dx cancels in pairs.
int correlate(const std::vector<int>& taps, const std::vector<int>& e) {
  int sum = 0;
  for (size_t k = 0; k < taps.size(); ++k) sum += taps[k] * e[k];
  return sum;
}
Lum32f correlate(const std::vector<int>& taps, const std::vector<Lum32f>& e) {
  if (taps == kDx5) return (e[4] - e[0]) + 2 * (e[3] - e[1]);
  if (taps == kDxNeg5) return (e[0] - e[4]) + 2 * (e[1] - e[3]);
  if (taps == kSobelNeg3) return -correlate(kSobel3, e);
  if (taps == kSobelNeg5) return -correlate(kSobel5, e);
  bool first = true;
  Lum32f sum = 0;
  for (size_t k = 0; k < taps.size(); ++k) {
    if (taps[k] == 0) continue;
    const Lum32f product = Lum32f(taps[k]) * e[k];
    sum = first ? product : sum + product;
    first = false;
  }
  return sum;
}

template <class S>
using Sum = decltype(S() + S());

// The sum at (x, y): row taps on every row, then column taps; a row outside a constant border is value x tap sum.
template <class S>
Sum<S> two_passes(const Plane<S>& src, int x, int y, const std::vector<int>& row, const std::vector<int>& column,
                  int border, S value) {
  const int half = int(row.size()) / 2, width = src.roi().width, height = src.roi().height;
  std::vector<Sum<S>> sums;
  for (int i = -half; i <= half; ++i) {
    const int at_y = test::border_walk(y + i, height, border);
    if (at_y < 0) {
      int taps = 0;
      for (int t : row) taps += t;
      sums.push_back(value * taps);
      continue;
    }
    std::vector<Sum<S>> e;
    for (int j = -half; j <= half; ++j) {
      const int at_x = test::border_walk(x + j, width, border);
      e.push_back(at_x < 0 ? value : src.get(at_x, at_y));
    }
    sums.push_back(correlate(row, e));
  }
  return correlate(column, sums);
}

template <class D>
D result(int sum, Family family, int taps, int divisor, int x, int width) {
  if (family == Family::lowpass) return D(std::min(255, taps == 3 ? (sum + 5) * 7280 >> 16 : sum * 2621 >> 16));
  return sizeof(D) == 1 ? test::scaled<D>(float(sum), divisor, x, width) : D(sum);
}
template <class D>
Lum32f result(Lum32f sum, Family family, int taps, int, int, int) {
  return family != Family::lowpass ? sum : sum * (taps == 3 ? 1.0f / 9 : 1.0f / 25);
}

template <class S, class D>
D model(const Member<S, D>& member, const Plane<S>& src, int x, int y, int mask, int border, S value, int divisor) {
  const Kernels& k = mask == 33 ? member.taps3 : member.taps5;
  Sum<S> sum = two_passes(src, x, y, k.row, k.column, border, value);
  if (!k.row2.empty()) sum = sum + two_passes(src, x, y, k.row2, k.column2, border, value);
  return result<D>(sum, member.family, int(k.row.size()), divisor, x, src.roi().width);
}

// ---- results ----

template <class S, class D>
void run(const Member<S, D>& member, const Plane<S>& src, const Plane<D>& dst, int mask, int border, S value,
         int divisor, int shift = 0) {
  int bytes = -1;
  ASSERT_EQ(lumStatusOk, member.size(src.roi(), mask, &bytes));
  const Block buffer(bytes, shift);
  ASSERT_EQ(lumStatusOk, member(src.data(), src.step(), dst.data(), dst.step(), src.roi(), mask, border, value, divisor,
                                buffer.bytes()));
}

template <class S, class D>
void check(const Member<S, D>& member, LumSize roi, int mask, int border, int divisor, Placement place,
           std::mt19937& random) {
  Plane<S> src(roi, 1, {place.padding * int(sizeof(S)), place.shift});
  Plane<D> dst(roi, 1, {place.padding * int(sizeof(D)), 15 - place.shift});
  const int kind = random() % 4;  // random, or extremes whose sums reach furthest
  src.fill([&](int, int) {
    return kind || sizeof(S) > 1 ? test::random_element<S>(random)
                                 : S(random() % 2 ? std::numeric_limits<S>::max() : 0);
  });
  const S value = test::random_element<S>(random);
  run(member, src, dst, mask, border, value, divisor, place.shift);
  ASSERT_TRUE(dst.equals([&](int x, int y) { return model(member, src, x, y, mask, border, value, divisor); }))
      << member.name << ", mask " << mask << ", border " << border << ", value " << +value << ", divisor " << divisor;
}

TEST(FixedFilters, EqualModel) {
  constexpr int kDivisors[] = {1, 2, 3, 8, 16, -5, 100, -1, 2147483647};
  std::mt19937 random(1);
  each_member([&](const auto& member, auto, auto) {
    each_mask(member, [&](int mask) {
      for (int width = 1; width <= 70; ++width)
        for (int i = 0; i < 2; ++i)
          check(member, {width, 1 + int(random() % 6)}, mask, random() % 5, kDivisors[random() % std::size(kDivisors)],
                {int(random() % 3), int(random() % 16)}, random);
      for (int border : test::kBorders)
        for (LumSize roi : {LumSize{1, 1}, {2, 1}, {1, 2}, {2, 2}, {3, 3}, {33, 9}})
          check(member, roi, mask, border, 4, {}, random);
      for (int width : {2049, 4097, 4099})  // around the strips that wide images are cut into
        check(member, {width, 3}, mask, random() % 5, 6, {}, random);
    });
  });
}

TEST(FixedFilters, ThreadsDoNotChangeResults) {
  std::mt19937 random(2);
  const LumSize roi = {261, 1283};
  each_member([&](const auto& member, auto s, auto d) {
    Plane<decltype(s)> src(roi);
    src.fill([&](int, int) { return test::random_element<decltype(s)>(random); });
    each_mask(member, [&](int mask) {
      for (int border : {lumBorderConst, lumBorderWrap}) {
        Plane<decltype(d)> serial(roi);
        {
          const Threads scope(1);
          run(member, src, serial, mask, border, decltype(s)(7), 3);
        }
        for (int threads : {2, 3, 5}) {
          const Threads scope(threads);
          Plane<decltype(d)> dst(roi);
          run(member, src, dst, mask, border, decltype(s)(7), 3);
          ASSERT_TRUE(dst.equals([&](int x, int y) { return serial.get(x, y); })) << member.name << ", " << threads;
        }
      }
    });
  });
}

TEST(FixedFilters, ConstantImages) {
  // Every derivative of a constant image is exactly 0, floats included; the 5x5 mean of 255 is 254 and that of 1 is 0.
  each_member([&](const auto& member, auto s, auto d) {
    using S = decltype(s);
    using D = decltype(d);
    for (double v : {1.0, 255.0, 254.3}) {
      const S value = S(v);
      Plane<S> src({37, 5});
      src.fill([&](int, int) { return value; });
      each_mask(member, [&](int mask) {
        if (member.family == Family::lowpass && sizeof(D) == 4) return;
        const int mean = mask == 33 ? int(value) : value == 255 ? 254 : 253 * (value > 1);
        const D expected = D(member.family == Family::lowpass ? mean : 0);
        for (int border : test::kBorders) {
          // The tap sum of a constant border times 254.3 is rounded once, the row sums at every tap.
          if (border == lumBorderConst && v == 254.3) continue;
          Plane<D> dst({37, 5});
          run(member, src, dst, mask, border, value, 1);
          for (int y = 0; y < 5; ++y)
            for (int x = 0; x < 37; ++x) ASSERT_EQ(expected, dst.get(x, y)) << member.name << " of " << +value;
        }
      });
    }
  });
}

// ---- sizes and arguments ----

TEST(FixedFilters, BufferSizes) {
  const LumSize roi = {21, 11};  // c16 = 2, c4 = 6
  for (int threads : {1, 3}) {
    const Threads scope(threads);
    each_member([&](const auto& member, auto s, auto d) {
      const bool real = sizeof(s) == 4, laplacian = member.family == Family::laplacian;
      each_mask(member, [&](int mask) {
        const int taps = mask / 11, rows = taps == 3 ? 21 : 25, slack = taps == 3 ? 156 : 180;
        int ring = (real ? 16 * 6 : 32 * 2) * rows + slack + 64;
        if (laplacian) ring = (real ? 128 : 64) * 2 * rows + 2 * slack + 96;
        if (laplacian && taps == 5 && std::is_same_v<decltype(d), Lum8s>) ring += 2 * 16 * 2 * 11 + 32;
        const int row = threads * (32 + 4 * (11 + taps) + (real ? 64 * taps + 64 : 36 * taps + 112));
        const int column = real ? 32 : threads * (32 + 4 * (11 + taps) + 12 * 24 + 32);
        int bytes = -1;
        EXPECT_EQ(lumStatusOk, member.size(roi, mask, &bytes)) << member.name;
        EXPECT_EQ(threads * (ring + row + column + 32), bytes) << member.name << ", mask " << mask;
      });
    });
  }
  each_member([&](const auto& member, auto, auto) {
    int bytes = -1;
    EXPECT_EQ(lumStatusNullPointer, member.size({0, 0}, 1, nullptr));
    EXPECT_EQ(lumStatusBadSize, member.size({0, 5}, 1, &bytes));
    EXPECT_EQ(lumStatusBadSize, member.size({5, 0}, 1, &bytes));
    if (member.has_mask()) {
      EXPECT_EQ(lumStatusBadMaskSize, member.size({5, 5}, 35, &bytes));
      EXPECT_EQ(lumStatusBadMaskSize, member.size({INT32_MAX, INT32_MAX}, 53, &bytes));
    }
    EXPECT_EQ(lumStatusBadSize, member.size({INT32_MAX, INT32_MAX}, 33, &bytes)) << member.name;
    EXPECT_EQ(lumStatusBadSize, member.size({INT32_MAX, 1}, 33, &bytes)) << member.name;
    EXPECT_EQ(-1, bytes);
  });
}

// The arguments of any fixed filter, and what can be wrong with them in check order.
template <class S, class D>
struct Arguments {
  const S* src;
  int step;
  D* dst;
  int dst_step;
  LumSize roi;
  int mask, border, divisor;
  Lum8u* buffer;
};
template <class S, class D>
struct Fault {
  LumStatus status;
  void (*make)(Arguments<S, D>&);
};

template <class S, class D>
std::vector<Fault<S, D>> faults_of(const Member<S, D>& member) {
  using A = Arguments<S, D>;
  std::vector<Fault<S, D>> faults = {
      {lumStatusNullPointer, [](A& a) { a.src = nullptr; }},
      {lumStatusNullPointer, [](A& a) { a.dst = nullptr; }},
      {lumStatusNullPointer, [](A& a) { a.buffer = nullptr; }},
      {lumStatusBadSize, [](A& a) { a.roi.width = 0; }},
      {lumStatusBadSize, [](A& a) { a.roi.height = -1; }},
      {lumStatusBadStep, [](A& a) { a.step -= sizeof(S); }},
      {lumStatusBadStep, [](A& a) { a.dst_step -= sizeof(D); }},
      {lumStatusBadStep,
       [](A& a) {
         if (sizeof(S) > 1 && a.roi.width > 0)
           a.roi.width |= 0x40000000;
         else
           a.step = 0;
       }},
  };
  if (sizeof(S) > 1) faults.push_back({lumStatusStepNotPixelMultiple, [](A& a) { a.step += 2; }});
  if (sizeof(D) > 1) faults.push_back({lumStatusStepNotPixelMultiple, [](A& a) { a.dst_step += 1; }});
  faults.push_back({lumStatusBadArgument, [](A& a) { a.border = 5; }});
  faults.push_back({lumStatusBadArgument, [](A& a) { a.border = -1; }});
  if (member.divides()) faults.push_back({lumStatusBadArgument, [](A& a) { a.divisor = 0; }});
  if (member.has_mask()) {
    faults.push_back({lumStatusBadMaskSize, [](A& a) { a.mask = 35; }});
    faults.push_back({lumStatusBadMaskSize, [](A& a) { a.mask = 0; }});
  }
  return faults;
}

TEST(FixedFilters, Arguments) {
  each_member([](const auto& member, auto s, auto d) {
    using S = decltype(s);
    using D = decltype(d);
    const LumSize roi = {8, 2};
    Plane<S> src(roi);
    Plane<D> dst(roi);
    Lum8u buffer[16384];
    const Arguments<S, D> good = {src.data(), src.step(), dst.data(), dst.step(), roi, 33, lumBorderRepl, 1, buffer};
    const auto call = [&](const Arguments<S, D>& a) {
      return member(a.src, a.step, a.dst, a.dst_step, a.roi, a.mask, a.border, S(0), a.divisor, a.buffer);
    };
    const auto faults = faults_of(member);
    for (size_t i = 0; i < faults.size(); ++i)
      for (size_t j = i; j < faults.size(); ++j) {
        Arguments<S, D> a = good;
        if (j != i) faults[j].make(a);
        faults[i].make(a);
        EXPECT_EQ(faults[i].status, call(a)) << member.name << ", faults " << i << " and " << j;
      }
    EXPECT_TRUE(dst.untouched()) << member.name;
    EXPECT_EQ(lumStatusOk, call(good)) << member.name;
  });
}

// ---- Gaussian ----

std::vector<Lum32f> gauss_taps(int n, Lum32f sigma) {
  std::vector<Lum64f> taps;
  Lum64f sum = 0;
  for (int i = 0; i < n; ++i) {
    const Lum64f x = i - (n - 1) / 2;
    taps.push_back(std::exp(-x * x / (2 * Lum64f(sigma) * sigma)));
    sum += taps.back();
  }
  std::vector<Lum32f> result;
  for (Lum64f t : taps) result.push_back(Lum32f(t / sum));
  return result;
}

// Row sums of every row of the extended image, kept for the columns.
struct GaussModel {
  std::vector<Lum32f> taps;
  std::vector<std::vector<Lum32f>> rows;  // from height -half to height + half

  GaussModel(const Plane<Lum32f>& src, int n, Lum32f sigma, int border, Lum32f value) : taps(gauss_taps(n, sigma)) {
    const int half = n / 2, width = src.roi().width, height = src.roi().height;
    for (int y = -half; y < height + half; ++y) {
      const int at_y = test::border_walk(y, height, border);
      rows.emplace_back();
      for (int x = 0; x < width; ++x)
        rows.back().push_back(sum([&](int k) {
          const int at_x = test::border_walk(x + k - half, width, border);
          return at_y < 0 || at_x < 0 ? value : src.get(at_x, at_y);
        }));
    }
  }
  Lum32f operator()(int x, int y) const {
    return sum([&](int k) { return rows[y + k][x]; });
  }
  template <class Value>
  Lum32f sum(const Value& value) const {
    Lum32f s = taps[0] * value(0);
    for (int k = 1; k < int(taps.size()); ++k) s += taps[k] * value(k);
    return s;
  }
};

void check_gauss(LumSize roi, int taps, Lum32f sigma, int border, Placement place, std::mt19937& random) {
  Plane<Lum32f> src(roi, 1, place), dst(roi, 1, {place.padding, 15 - place.shift});
  src.fill([&](int, int) { return test::random_element<Lum32f>(random); });
  const Lum32f value = test::random_element<Lum32f>(random);
  int bytes = -1;
  ASSERT_EQ(lumStatusOk, lumiFilterGaussGetBufferSize_32f_C1R(roi, taps, &bytes));
  const int columns = (roi.width + 3) / 4 * 4;
  ASSERT_EQ(((columns + taps) * (roi.height + taps) + taps) * 4 + 64, bytes);
  const Block buffer(bytes, place.shift);
  ASSERT_EQ(lumStatusOk, lumiFilterGaussBorder_32f_C1R(src.data(), src.step(), dst.data(), dst.step(), roi, taps, sigma,
                                                       border, value, buffer.bytes()));
  ASSERT_TRUE(dst.equals(GaussModel(src, taps, sigma, border, value)))
      << roi.width << "x" << roi.height << ", " << taps << " taps, sigma " << sigma << ", border " << border;
}

TEST(Gauss, EqualsModel) {
  std::mt19937 random(3);
  for (int border : test::kBorders)
    for (int taps : {3, 5, 7, 9, 31}) {
      for (int width : {1, 2, 3, 7, 8, 9, 30, 31, 33, 64}) {
        // Steps need not be multiples of 4 here.
        const Placement place = {int(random() % 7), int(random() % 16)};
        check_gauss({width, 1 + int(random() % 6)}, taps, 0.4f + taps / 7.0f, border, place, random);
      }
    }
  check_gauss({5, 2}, 601, 80, lumBorderMirr, {}, random);
  check_gauss({300, 2}, 601, 1e-30f, lumBorderWrap, {}, random);
  for (int taps : {31, 101}) check_gauss({2000, 3}, taps, 1.5f, lumBorderMirr, {}, random);  // several strips
  for (int threads : {2, 3, 5, 64}) {
    const Threads scope(threads);
    check_gauss({257, 641}, 5, 1, lumBorderConst, {}, random);
    check_gauss({257, 641}, 5, 1, lumBorderMirrR, {}, random);
  }
}

TEST(Gauss, Arguments) {
  Plane<Lum32f> src({8, 2}), dst({8, 2});
  Lum8u buffer[4096];
  struct Arguments {
    const Lum32f* src;
    int step;
    Lum32f* dst;
    int dst_step;
    LumSize roi;
    int taps;
    Lum32f sigma;
    int border;
    Lum8u* buffer;
  };
  const Arguments good = {src.data(), 32, dst.data(), 32, {8, 2}, 5, 1, lumBorderRepl, buffer};
  const std::pair<LumStatus, void (*)(Arguments&)> faults[] = {
      {lumStatusNullPointer, [](Arguments& a) { a.src = nullptr; }},
      {lumStatusNullPointer, [](Arguments& a) { a.dst = nullptr; }},
      {lumStatusNullPointer, [](Arguments& a) { a.buffer = nullptr; }},
      {lumStatusBadSize, [](Arguments& a) { a.roi.height = 0; }},
      {lumStatusBadSize, [](Arguments& a) { a.roi.width = 0; }},
      {lumStatusBadStep, [](Arguments& a) { a.step = 7; }},
      {lumStatusBadStep, [](Arguments& a) { a.dst_step = 7; }},
      {lumStatusBadArgument, [](Arguments& a) { a.taps = 4; }},
      {lumStatusBadArgument, [](Arguments& a) { a.taps = 1; }},
      {lumStatusBadArgument, [](Arguments& a) { a.sigma = 0; }},
      {lumStatusBadArgument, [](Arguments& a) { a.sigma = NAN; }},
      {lumStatusBadArgument, [](Arguments& a) { a.border = 5; }},
      {lumStatusBadArgument, [](Arguments& a) { a.border = -1; }},
  };
  for (size_t i = 0; i < std::size(faults); ++i)
    for (size_t j = i; j < std::size(faults); ++j) {
      Arguments a = good;
      faults[j].second(a);
      faults[i].second(a);
      EXPECT_EQ(faults[i].first, lumiFilterGaussBorder_32f_C1R(a.src, a.step, a.dst, a.dst_step, a.roi, a.taps, a.sigma,
                                                               a.border, 0, a.buffer));
    }
  EXPECT_TRUE(dst.untouched());
  int bytes = -1;
  EXPECT_EQ(lumStatusNullPointer, lumiFilterGaussGetBufferSize_32f_C1R({0, 0}, 2, nullptr));
  EXPECT_EQ(lumStatusBadSize, lumiFilterGaussGetBufferSize_32f_C1R({0, 1}, 2, &bytes));
  EXPECT_EQ(lumStatusBadArgument, lumiFilterGaussGetBufferSize_32f_C1R({1, 1}, 2, &bytes));
  EXPECT_EQ(lumStatusBadArgument, lumiFilterGaussGetBufferSize_32f_C1R({1, 1}, 1, &bytes));
  EXPECT_EQ(lumStatusBadSize, lumiFilterGaussGetBufferSize_32f_C1R({1 << 20, 1 << 20}, 3, &bytes));
  EXPECT_EQ(-1, bytes);
}

}  // namespace
