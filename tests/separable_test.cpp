// The separable filter pipeline from outside: results, sizes, arguments.
#include <map>

#include "calls.h"

namespace {

using namespace test;

// A pass from elements S to elements D. A row pass takes its destination, a column pass its source as row pointers.
template <class S, class D>
struct Member {
  std::string name;
  bool column;
  Function call, size = {};

  static constexpr bool divides = !std::is_floating_point_v<S>;
  using Tap = std::conditional_t<std::is_floating_point_v<S>, Lum32f, Lum16s>;
  int channels() const { return name.find("C3") != name.npos ? 3 : 1; }
};

template <class S, class D>
Member<S, D> row_pass(const char* name, auto f, auto... rest) {
  return {name, false,
          function(f, &A::src, &A::step, &A::dst, &A::roi, &A::kernel, &A::taps, &A::anchor, &A::border,
                   &A::border_value, rest..., &A::buffer)};
}
template <class S, class D>
Member<S, D> column_pass(const char* name, auto f, auto... rest) {
  return {name, true, function(f, &A::src, &A::dst, &A::dst_step, &A::roi, &A::kernel, &A::taps, rest..., &A::buffer)};
}

template <class Body>
void each_member(const Body& body) {
  std::map<std::string, Function> sizes;
  const auto add = [&](auto m) {
    std::string size_name = m.name;
    m.size = sizes.at(size_name.insert(size_name.find("Pipeline_") + 8, "GetBufferSize"));
    m.name.erase(0, strlen("lumiFilter"));
    body(m);
  };
#define LUM_ROW_SIZE(name, ...) sizes[#name] = function(name, &A::roi, &A::taps, &A::bytes);
#define LUM_COLUMN_SIZE LUM_ROW_SIZE
#define LUM_COLUMN_SIZE_FLOAT LUM_ROW_SIZE
#define LUM_ROW_INTEGER(name, S, channels) add(row_pass<S, Lum16s>(#name, name, &A::divisor));
#define LUM_ROW_FLOAT(name, channels) add(row_pass<Lum32f, Lum32f>(#name, name));
#define LUM_COLUMN_INTEGER(name, D, channels) add(column_pass<Lum16s, D>(#name, name, &A::divisor));
#define LUM_COLUMN_FLOAT(name, channels) add(column_pass<Lum32f, Lum32f>(#name, name));
#include "lumcv/src/lumcvseparable.inc"
}

// ---- one call, compared with a model ----

struct Case : A {
  int tap_range = 100;
  Placement place = {};
};

// The source and the kernel of one case.
template <class S, class D>
struct Job {
  using Tap = typename Member<S, D>::Tap;
  const Member<S, D>& m;
  Case c;
  Plane<S> src;
  std::vector<Tap> kernel;

  Job(const Member<S, D>& m_, const Case& c_, std::mt19937& random)
      : m(m_), c(c_), src({c.width, m.column ? c.height + c.taps - 1 : c.height}, m.channels(), c.place) {
    const bool extremes = random() % 8 == 0;  // their sums reach furthest
    src.fill([&](int, int) { return extremes ? std::numeric_limits<S>::max() : random_element<S>(random); });
    c.border_value = random_element<S>(random);
    for (int k = 0; k < c.taps; ++k)
      kernel.push_back(sizeof(S) == 4 ? random_element<Tap>(random)
                       : extremes     ? Tap(c.tap_range)
                                      : Tap(int(random() % (2 * c.tap_range + 1)) - c.tap_range));
  }

  void run(const Plane<D>& dst, int buffer_size) const {
    const Block buffer(buffer_size, c.place.shift);
    const Array<Tap> kernel_array(kernel, c.place.shift);
    std::vector<const void*> rows;
    for (int y = 0; y < (m.column ? src.roi() : dst.roi()).height; ++y)
      m.column ? rows.push_back(src.row(y)) : rows.push_back(dst.row(y));
    const Array<const void*> row_array(rows, c.place.shift);
    A a = c;
    a.set_source(src), a.set_target(dst), a.buffer = buffer.bytes();
    a.kernel = kernel_array.data();
    if (m.column)
      a.src = row_array.data();
    else
      a.dst = row_array.data();
    ASSERT_EQ(lumStatusOk, m.call(a)) << text();
  }
  void expect_model() const {
    const Plane<D> dst(c.roi(), m.channels(), c.place);
    run(dst, buffer_bytes(m.size, c));
    ASSERT_TRUE(dst.equals([&](int x, int y) { return model(x, y); })) << text();
  }
  std::string text() const {
    std::ostringstream s;
    s << m.name << ", " << c.taps << " taps up to " << c.tap_range << ", anchor " << c.anchor << ", border " << c.border
      << ", divisor " << c.divisor << ", shift " << c.place.shift;
    return s.str();
  }

  // What tap k sees at element x of row y.
  S seen(int x, int y, int k) const {
    if (m.column) return src.get(x, y + k);
    const int n = m.channels(), at = border_walk(x / n - c.anchor + k, c.width, c.border);
    return at < 0 ? S(c.border_value) : src.get(at * n + x % n, y);
  }
  // Sums in single precision, rounded at every tap; but those of integer rows have 32 bits that wrap.
  D model(int x, int y) const {
    Lum32f sum = 0;
    unsigned whole = 0;
    for (int k = 0; k < c.taps; ++k) {
      const auto product = kernel[k] * seen(x, y, k);
      sum = k == 0 ? Lum32f(product) : sum + Lum32f(product);
      if constexpr (sizeof(S) < 4) whole += unsigned(product);
    }
    if constexpr (sizeof(S) == 4) return sum;
    if constexpr (sizeof(S) < 4)
      return scaled<D>(m.column ? sum : Lum32f(int(whole)), c.divisor, x / m.channels(), c.width);
  }
};

template <class S, class D>
void check(const Member<S, D>& m, const Case& c, std::mt19937& random) {
  Job<S, D>(m, c, random).expect_model();
}

// Divisors and tap magnitudes that reach every path: sums that are exact, that are not, that wrap, that saturate.
constexpr int kDivisors[] = {1, 2, 3, 10, -1, -7, 256, 16384, 1 << 20, -2147483647 - 1, 2147483647};
constexpr int kTapRanges[] = {1, 5, 43, 100, 512, 4096, 32767};
constexpr int kTapCounts[] = {1, 2, 3, 4, 5, 6, 7, 9, 15, 16, 33};

TEST(Separable, EqualsModel) {
  std::mt19937 random(1);
  const auto pick = [&](const auto& values) { return values[random() % std::size(values)]; };
  each_member([&](const auto& m) {
    Case c;
    for (c.width = 1; c.width <= 70; ++c.width)
      for (int i = 0; i < 8; ++i) {
        c.height = i ? 1 + i % 3 : 1 + random() % 20;
        c.taps = pick(kTapCounts), c.anchor = random() % c.taps, c.tap_range = pick(kTapRanges);
        c.border = random() % 5, c.divisor = pick(kDivisors);
        c.place = any_placement(random);
        check(m, c, random);
      }
    c.anchor = 1, c.place = {};
    c.width = 2048, c.height = 10;  // rows 4096 bytes apart
    for (int range : {5, 4096}) {
      c.tap_range = range, c.taps = range == 5 ? 5 : 3;
      check(m, c, random);
    }
    if (m.column) return;
    c.height = 1, c.tap_range = 40, c.divisor = 3;
    for (int border : kBorders) {
      c.border = border;
      for (c.taps = 1; c.taps <= 5; ++c.taps)
        for (int width : {1, 2, 3, 4, 17, 40}) {
          c.width = width, c.anchor = random() % c.taps;
          check(m, c, random);
        }
      c.width = 3;
      for (int taps : {64, 201, 700}) {  // far wider than the row: wrap and mirror go round several times
        c.taps = taps, c.anchor = taps / 3;
        check(m, c, random);
      }
    }
  });
}

// Sums beyond 2^24, where single precision drops each 1 that is added to these even numbers: the smallest sum of taps
// that whole numbers would not serve. Wide enough to be rounded, then narrow and truncated, by vectors and one by one.
TEST(Separable, ColumnSumsRoundAtEveryTap) {
  std::mt19937 random(2);
  each_member([&]<class S, class D>(const Member<S, D>& m) {
    Case c;
    c.taps = 4;
    for (const auto& [width, divisor, second] : {std::tuple(16, 1024, 1024), {15, 526, 1116}, {1, 526, 1116}}) {
      c.width = width, c.divisor = divisor;
      Job<S, D> job(m, c, random);
      job.kernel = {512, 1, 1, 1};
      job.src.fill([&](int, int y) { return y > 1 ? 1 : y == 1 ? second : 32767; });
      if (m.column) job.expect_model();
    }
  });
}

// Powers of two that taps and divisor have in common change nothing, unless sums wrap.
TEST(Separable, CommonPowersOfTwo) {
  std::mt19937 random(8);
  each_member([&]<class S, class D>(const Member<S, D>& m) {
    if (sizeof(S) == 4) return;
    for (int taps : {1, 3, 5, 15, 31, 33})
      for (int power : {1, 8, 12})
        for (int divisor : {1 << power, -3 << power, 9 << power, -2147483647 - 1, 9 << power >> 1}) {
          Case c;
          c.width = 45, c.height = 3, c.taps = taps, c.anchor = taps / 2, c.divisor = divisor;
          for (int range : {4, 32767}) {  // small sums, and sums that round or wrap
            c.tap_range = range;
            Job<S, D> job(m, c, random);
            for (auto& tap : job.kernel) tap = Lum16s(range == 4 ? int(tap) << power : int(tap) & -(1 << power));
            job.expect_model();
          }
        }
  });
}

// Minus the least integer has no integer; it saturates.
TEST(Separable, RowSumOfTheLeastInteger) {
  std::mt19937 random(3);
  each_member([&]<class S, class D>(const Member<S, D>& m) {
    Case c;
    c.width = 20, c.divisor = -1;
    Job<S, D> job(m, c, random);
    job.kernel = {32767, 32767, 2};
    job.src.fill([](int, int) { return -32768; });
    if (!m.column) job.expect_model();
  });
}

// All sums for which division has a short way, and some beyond.
TEST(Separable, EverySumIsDivided) {
  std::mt19937 random(4);
  each_member([&]<class S, class D>(const Member<S, D>& m) {
    if (sizeof(S) == 4 || m.channels() > 1) return;
    Case c;
    c.width = sizeof(S) == 1 ? 2 * 63 * 256 : 65536, c.anchor = 0;
    const auto fill = [&](int x) { return sizeof(S) == 1 ? x % 2 ? x / 2 % 63 : x / 2 / 63 : x - 32768; };
    for (int sign : {1, -1})
      for (int divisor : {2, 3, 6, 9, 13, 63, 64, 65, 109, 113, 128, 256, 8191, 16383, 16385, 32767, 32769}) {
        c.divisor = divisor;
        Job<S, D> job(m, c, random);
        job.kernel[0] = sizeof(S) == 1 ? 63 * sign : sign, job.kernel[1] = sizeof(S) == 1 ? sign : 0, job.kernel[2] = 0;
        job.src.fill([&](int x, int) { return fill(x); });
        job.expect_model();
        if (sizeof(S) == 1) continue;
        job.src.fill([&](int x, int) { return std::min(fill(x) / 2, 16383); });  // all sums of small elements
        job.expect_model();
        job.kernel[0] = 3 * sign;  // beyond 16 bits
        job.expect_model();
      }
  });
}

// Sums of small elements need 16 bits only, but one element may be too great for that, wherever it is.
TEST(Separable, FewGreatElements) {
  std::mt19937 random(5);
  each_member([&]<class S, class D>(const Member<S, D>& m) {
    if (sizeof(S) != 2) return;
    Case c;
    c.width = 75, c.height = 150, c.anchor = 1;
    for (int taps : {3, 5, 8})
      for (int divisor : {1, 4, 9, 6})
        for (int great : {0, 1, 30000}) {
          c.taps = taps, c.anchor = taps / 2, c.divisor = divisor;
          Job<S, D> job(m, c, random);
          int sum = 0;
          for (auto& tap : job.kernel) sum += std::abs(int(tap = random() % 8 - 3));
          const int most = std::min((divisor == 9 ? 16383 : 32639) / std::max(sum, 1), 16383);
          const int row = random() % job.src.roi().height, last = c.width * m.channels() - 1;
          const int column = random() % 2 ? last : random() % last;
          job.src.fill([&](int x, int y) {
            const int size = y == row && x == column ? std::min(most + great, 32767) : most;
            return random() % 2 ? size : -size;
          });
          c.border_value = most;
          job.expect_model();
        }
  });
}

// Under great taps the sums of small elements are exact in single precision. Two greater ones, wherever they are, cancel
// each other in the end; between them each tap rounds.
TEST(Separable, FewSumsThatRound) {
  std::mt19937 random(6);
  each_member([&]<class S, class D>(const Member<S, D>& m) {
    if (!m.column || sizeof(S) != 2) return;
    Case c;
    c.width = 75, c.height = 93;
    for (int taps : {3, 5, 8, 15, 70})
      for (int great : {9, 2101, 30001}) {
        c.taps = taps;
        Job<S, D> job(m, c, random);
        for (auto& tap : job.kernel) tap = random() % 2 ? 1 : -1;
        const int first = random() % (taps - 1);
        job.kernel[first] = 8001, job.kernel[first + 1] = -8001;  // exact up to elements of 1048, or a few less
        const int row = random() % c.height, last = c.width * m.channels() - 1;
        const int column = random() % 2 ? last : random() % last;
        job.src.fill(
            [&](int x, int y) { return x == column && (y == row || y == row + 1) ? great : int(random() % 19) - 9; });
        job.expect_model();
      }
  });
}

TEST(Separable, ThreadsDoNotChangeResults) {
  std::mt19937 random(4);
  each_member([&]<class S, class D>(const Member<S, D>& m) {
    Case c;
    c.width = 1101, c.height = 160;  // enough for five threads
    c.border = lumBorderMirr, c.divisor = 5;
    for (int taps : {3, 4, 701}) {  // slices of the longest share the buffer of a row pass
      if (m.column && taps == 701) continue;
      c.taps = taps, c.anchor = taps / 3;
      const Job<S, D> job(m, c, random);
      int bytes = 0;  // of one thread: the count may have grown since the size was told
      expect_equal_on_threads<D>(job.text(), c.roi(), m.channels(), [&](const Plane<D>& dst) {
        if (bytes == 0) bytes = buffer_bytes(m.size, c);
        job.run(dst, bytes);
      });
    }
  });
}

// ---- sizes and arguments ----

TEST(Separable, BufferSizes) {
  // Work area of a row pass per thread for 7 taps, by hand.
  const std::map<std::string, int> areas = {{"8u16s_C1R", 364}, {"8u16s_C3R", 532},   {"16s_C1R", 416},
                                            {"16s_C3R", 344},   {"Low_16s_C1R", 232}, {"Low_16s_C3R", 1520},
                                            {"32f_C1R", 512},   {"32f_C3R", 1376}};
  each_member([&](const auto& m) {
    A a;
    a.height = 11, a.taps = 7;
    for (int threads : {1, 3})
      for (a.width = 17; a.width <= 24; ++a.width) {
        const Threads scope(threads);
        const int columns = a.width > 20 || m.name.find("Low") != m.name.npos ? 24 : 20;
        const int area = m.column ? 12 * m.channels() * columns + 32 : areas.at(m.name.substr(m.name.find('_') + 1));
        const int size = m.column && !m.divides ? 32 : threads * (32 + 4 * (11 + 7) + area);
        EXPECT_EQ(size, buffer_bytes(m.size, a)) << m.name << ", width " << a.width;
      }
    const Plane<int> bytes({1, 1});
    a.bytes = bytes.data();
    expect_check_order(m.name, m.size, a,
                       {null(&A::bytes), bad_size(&A::width, 0), bad_size(&A::height, -1), bad_size(&A::taps, 0),
                        bad_size(&A::height, 1 << 30, m.divides)},
                       bytes);
  });
}

TEST(Separable, WrongArguments) {
  each_member([]<class S, class D>(const Member<S, D>& m) {
    const LumSize roi = {8, 1};
    Plane<S> src(roi, m.channels());
    const Plane<D> dst(roi, m.channels());
    const Block buffer(4096);
    src.fill([](int, int) { return 1; });
    const void *src_rows[] = {src.data(), src.data(), src.data()}, *dst_rows[] = {dst.data()};
    const void* const last_null[] = {src.data(), src.data(), nullptr};
    const typename Member<S, D>::Tap kernel[3] = {};
    A good;
    good.set_source(src), good.set_target(dst), good.buffer = buffer.bytes();
    good.kernel = kernel;
    if (m.column)
      good.src = src_rows;
    else
      good.dst = dst_rows;
    const bool row = !m.column;
    const int element = row ? sizeof(S) : sizeof(D), row_bytes = row ? src.step() : dst.step();
    const auto step = row ? &A::step : &A::dst_step;
    expect_check_order(
        m.name, m.call, good,
        {null(&A::src), null(&A::dst), null(&A::kernel), null(&A::buffer, row), bad_size(&A::height, 0),
         bad_size(&A::width, -1), bad_size(&A::taps, 0), bad_anchor(&A::anchor, -1, row),
         bad_anchor(&A::anchor, 3, row), bad_step(step, row_bytes - 1),
         bad_step(&A::width, wrapping_width(m.channels() * element)), odd_step(step, row_bytes + 1, element > 1),
         null(&A::buffer, m.column), bad_argument(&A::border, 5, row), bad_argument(&A::border, -1, row),
         bad_argument(&A::divisor, 0, m.divides), wrong<lumStatusNullPointer>(&A::src, last_null, m.column)},
        dst, buffer);
    EXPECT_EQ(lumStatusOk, m.call(good)) << m.name;
  });
}

}  // namespace
