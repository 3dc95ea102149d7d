// Vector functions from outside: results, arguments.
#include "calls.h"

namespace {

using namespace test;

constexpr auto Max = [](auto a, auto b) { return a > b ? a : b; };
constexpr auto Min = [](auto a, auto b) { return a < b ? a : b; };

Lum16s saturated(long long v) { return Lum16s(std::clamp(v, -32768LL, 32767LL)); }

Lum16s scaled(long long v, int scale) {
  if (scale <= 0) return saturated(v * (1LL << std::min(-(long long)scale, 31LL)));
  const long long unit = 1LL << std::min(scale, 40), floor = (v - (v % unit + unit) % unit) / unit;
  const long long twice = 2 * (v - floor * unit);
  return saturated(floor + (twice > unit || (twice == unit && floor % 2 != 0)));
}

// The greatest n up to 32767 that the scaled root, rounded, reaches: the root is above n - 1/2, or equal and n is even.
Lum16s scaled_root(long long x, int scale) {
  if (x <= 0 || scale > 16) return 0;
  if (scale < -15) return 32767;
  const auto reaches = [&](unsigned long long n) {
    const unsigned long long half = (2 * n - 1) * (2 * n - 1), least = scale > 0 ? half << 2 * scale : half;
    const unsigned long long root = (unsigned long long)x << (scale < 0 ? 2 - 2 * scale : 2);
    return root > least || (root == least && n % 2 == 0);
  };
  int n = 0;
  for (int step = 1 << 14; step > 0; step /= 2)
    if (reaches(n + step)) n += step;
  return Lum16s(n);
}

// One that makes dst[i] = model(src[i], dst[i]).
template <class S, class D>
struct Member {
  std::string name;
  Function call;
  std::function<D(S, D, const A&)> model;
  bool has_source, warns = false;
};

template <class Body>
void each_member(const Body& body) {
#define VALUE(T) [](const A& a) { return T(a.value); }
#define MODEL(S, D, ...) \
  [](S s [[maybe_unused]], D d [[maybe_unused]], const A& a [[maybe_unused]]) -> D { return __VA_ARGS__; }
#define MEMBER(name, S, D, model, has_source, warns, ...) \
  body(Member<S, D>{#name, function(name, __VA_ARGS__), MODEL(S, D, model), has_source, warns});
#define SOURCE &A::src
#define TARGET &A::dst, &A::width
#define LUM_VECTOR_COPY(name, T) MEMBER(name, T, T, s, true, false, SOURCE, TARGET)
#define LUM_VECTOR_SET(name, T) MEMBER(name, T, T, T(a.value), false, false, VALUE(T), TARGET)
#define LUM_VECTOR_ZERO(name, T) MEMBER(name, T, T, 0, false, false, TARGET)
#define LUM_VECTOR_EVERY(name, T, Op) MEMBER(name, T, T, Op(d, s), true, false, SOURCE, TARGET)
#include "lumcv/src/lumcvvector.inc"
  MEMBER(lumsMulC_32f_I, Lum32f, Lum32f, a.value == a.value ? d * Lum32f(a.value) : Lum32f(a.value), false, false,
         VALUE(Lum32f), TARGET)
  MEMBER(lumsMulC_16s_ISfs, Lum16s, Lum16s, scaled((long long)d * Lum16s(a.value), a.divisor), false, false,
         VALUE(Lum16s), TARGET, &A::divisor)
  MEMBER(lumsSqrt_32f_I, Lum32f, Lum32f, std::sqrt(d), false, true, TARGET)
  MEMBER(lumsSqrt_32s16s_Sfs, Lum32s, Lum16s, scaled_root(s, a.divisor), true, true, SOURCE, TARGET, &A::divisor)
  MEMBER(lumsConvert_16u32f, Lum16u, Lum32f, s, true, false, SOURCE, TARGET)
}

template <class T>
std::vector<T> elements(int n, bool positive, std::mt19937& random) {
  std::vector<T> values(n);
  for (T& value : values) {
    value = any_element<T>(random);
    if (positive && value < 0) value = T(-(value + 1));
  }
  return values;
}

// Calls with `a`, of which the arrays are still missing.
template <class S, class D>
void check(const Member<S, D>& m, const std::vector<S>& from, const std::vector<D>& to, A a, int shift) {
  const Array<S> src(from, shift);
  const Array<D> dst(to, 16 - shift);
  a.src = src.data(), a.dst = dst.data(), a.width = int(to.size());
  LumStatus status = lumStatusOk;
  for (size_t i = 0; m.warns && i < to.size(); ++i)
    if (m.has_source ? from[i] < 0 : to[i] < 0) status = lumStatusWarnSqrtNegative;
  ASSERT_EQ(status, m.call(a)) << m.name << ", " << a.width << " elements";
  for (size_t i = 0; i < to.size(); ++i) {
    D got;
    memcpy(&got, dst.bytes() + i * sizeof(D), sizeof got);
    const D want = m.model(from[i], to[i], a);
    if (memcmp(&want, &got, sizeof want) != 0)
      FAIL() << m.name << ", element " << i << " of " << a.width << ": got " << +got << ", expected " << +want
             << " from " << +from[i] << " and " << +to[i] << ", value " << a.value << ", scale " << a.divisor;
  }
  EXPECT_TRUE(memcmp(src.bytes(), from.data(), src.size()) == 0) << m.name << " changed its source";
}

TEST(Vector, EqualModel) {
  std::mt19937 random(1);
  const double values[] = {0, 1, -1, 255, -32768, 32767, 3, -7, 1e-3};
  const int scales[] = {0,  1,  2,  5,  8,   15,  16,  17,  29,  30,  31,  32,      33,
                        64, -1, -2, -7, -14, -15, -16, -17, -31, -32, -33, INT_MAX, INT_MIN};
  each_member([&]<class S, class D>(const Member<S, D>& m) {
    for (int n = 1; n <= 140; ++n)
      for (int i = 0; i < 4; ++i) {
        const bool positive = i % 2;
        std::vector<S> from = elements<S>(n, positive, random);
        std::vector<D> to = elements<D>(n, positive, random);
        if (i == 1) from[random() % n] = S(-1), to[random() % n] = D(-1);  // one negative is enough for a warning
        A a;
        a.value = values[random() % std::size(values)];
        if constexpr (std::is_same_v<D, Lum8u>) a.value = std::clamp(a.value, 0.0, 255.0);
        if constexpr (std::is_same_v<D, Lum32f>)
          if (random() % 6 == 0) a.value = random() % 2 ? NAN : INFINITY;
        a.divisor = scales[random() % std::size(scales)];
        check(m, from, to, a, int(random() % 17));
      }
  });
}

// Every product next to a half or to an end of the range, with every scale factor.
TEST(Vector, ScaledProducts) {
  each_member([&]<class S, class D>(const Member<S, D>& m) {
    if (m.name != "lumsMulC_16s_ISfs") return;
    A a;
    for (a.divisor = -18; a.divisor <= 33; ++a.divisor)
      for (const int value : {-32768, -3, -1, 1, 2, 32767}) {
        std::vector<D> all;
        for (int v = -32768; v < 32768; v += 1 + (std::abs(v) % 4096 > 80)) all.push_back(D(v));
        a.value = value;
        check(m, std::vector<S>(all.size()), all, a, 2);
      }
  });
}

// The numbers on both sides of every half, with every scale factor that leaves something.
TEST(Vector, ScaledRoots) {
  each_member([&]<class S, class D>(const Member<S, D>& m) {
    if constexpr (std::is_same_v<D, Lum16s> && std::is_same_v<S, Lum32s>)
      for (int scale = -16; scale <= 17; ++scale) {
        std::vector<Lum32s> numbers = {INT_MAX, INT_MAX - 1, 1 << 30, 46340 * 46340};
        for (long long n = 0; n <= 32767; ++n) {
          const long long half = (2 * n + 1) * (2 * n + 1), bits = 2 * scale - 2;
          const long long x = bits >= 0 ? half << std::min(bits, 31LL) : half >> -bits;
          for (long long near = x - 1; near <= x + 2; ++near)
            if (near >= 0 && near <= INT_MAX && near != numbers.back()) numbers.push_back(Lum32s(near));
        }
        A a;
        a.divisor = scale;
        check(m, numbers, std::vector<D>(numbers.size()), a, 4);
      }
  });
}

TEST(Vector, WrongArguments) {
  each_member([]<class S, class D>(const Member<S, D>& m) {
    const Block src(64), dst(64);
    A good;
    good.src = src.bytes(), good.dst = dst.bytes(), good.width = 4;
    expect_check_order(
        m.name, m.call, good,
        {null(&A::src, m.has_source), null(&A::dst), bad_size(&A::width, 0), bad_size(&A::width, INT_MIN)}, dst);
  });
  Lum64f one = 1;
  EXPECT_EQ(lumStatusNullPointer, lumsSortAscend_64f_I(nullptr, 0));
  EXPECT_EQ(lumStatusBadSize, lumsSortAscend_64f_I(&one, 0));
}

// ---- sort ----

// Bits that are ordered as integers: -0 before +0, NaNs last.
long long sort_key(Lum64f v) {
  const long long bits = std::bit_cast<long long>(v);
  return v != v ? LLONG_MAX : bits ^ (bits >> 63 & LLONG_MAX);
}

void check_sort(std::vector<Lum64f> values, int shift) {
  const Array<Lum64f> array(values, shift);
  ASSERT_EQ(lumStatusOk, lumsSortAscend_64f_I(array.data(), int(values.size())));
  std::vector<long long> before(values.size()), after(values.size());
  memcpy(before.data(), values.data(), array.size());
  memcpy(values.data(), array.bytes(), array.size());
  memcpy(after.data(), array.bytes(), array.size());
  ASSERT_TRUE(std::ranges::is_sorted(values, {}, sort_key)) << values.size() << " elements";
  std::ranges::sort(before);
  std::ranges::sort(after);
  ASSERT_TRUE(before == after) << values.size() << " elements";
}

TEST(Sort, EqualModel) {
  std::mt19937 random(2);
  const Lum64f special[] = {0, -0.0, 1, -1, INFINITY, -INFINITY, 5e-324, std::bit_cast<Lum64f>(0xFFF8000000000001)};
  const std::function<Lum64f(int, int)> orders[] = {
      [&](int, int) { return Lum64f(int(random())) / 7; },
      [&](int, int) { return Lum64f(random() % 4); },
      [&](int, int) { return special[random() % 8]; },
      [&](int i, int) { return random() % 50 ? i : special[random() % 8]; },
      [](int i, int n) { return Lum64f(n - i); },
      [](int i, int n) { return Lum64f(i == n % 2 * (n - 1) ? n / 2 : n - i); },  // but for the first or the last
      [](int i, int n) { return Lum64f(std::min(i, n - i)); },
      [](int, int) { return -1.5; },
      [](int, int) { return -0.0; },
      [](int, int) { return -NAN; },
      [](int i, int) { return Lum64f(std::popcount(unsigned(i))); }};
  for (int n = 1; n <= 5000; n += n < 150 ? 1 : n / 5)
    for (const auto& order : orders) {
      std::vector<Lum64f> values(n);
      for (int i = 0; i < n; ++i) values[i] = order(i, n);
      check_sort(values, int(random() % 17));
    }
}

}  // namespace
