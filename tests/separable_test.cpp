// The separable filter pipeline from outside: results, sizes, arguments.
#include <map>

#include "calls.h"

namespace {

using test::Arguments;
using test::Array;
using test::Block;
using test::Fault;
using test::Placement;
using test::Plane;
using test::Threads;

// ---- members ----

using SizeFunction = LumStatus (*)(LumSize, int, int*);

// A pass from elements S to elements D. A row pass takes its destination, a column pass its source as row pointers.
template <class S, class D>
struct Member {
  std::string name;
  bool column, divides;
  std::function<LumStatus(const Arguments&)> call;
  SizeFunction size_function = nullptr;

  using Tap = std::conditional_t<std::is_floating_point_v<S>, Lum32f, Lum16s>;
  int channels() const { return name.find("C3") != name.npos ? 3 : 1; }
  LumStatus size(const Arguments& a) const { return size_function(a.roi(), a.taps, a.bytes); }
};

template <class S, class D>
Member<S, D> member(const char* name, LumStatus (*f)(const S*, int, D* const*, LumSize, const D*, int, int,
                                                     LumBorderType, S, int, Lum8u*)) {
  return {name, false, true, [f](const Arguments& a) {
            return f((const S*)a.src, a.step, (D* const*)a.dst, a.roi(), (const D*)a.kernel, a.taps, a.anchor, a.border,
                     S(a.border_value), a.divisor, a.buffer);
          }};
}
template <class S, class D>
Member<S, D> member(const char* name,
                    LumStatus (*f)(const S*, int, D* const*, LumSize, const D*, int, int, LumBorderType, S, Lum8u*)) {
  return {name, false, false, [f](const Arguments& a) {
            return f((const S*)a.src, a.step, (D* const*)a.dst, a.roi(), (const D*)a.kernel, a.taps, a.anchor, a.border,
                     S(a.border_value), a.buffer);
          }};
}
template <class S, class D>
Member<S, D> member(const char* name, LumStatus (*f)(const S* const*, D*, int, LumSize, const S*, int, int, Lum8u*)) {
  return {name, true, true, [f](const Arguments& a) {
            return f((const S* const*)a.src, (D*)a.dst, a.dst_step, a.roi(), (const S*)a.kernel, a.taps, a.divisor,
                     a.buffer);
          }};
}
template <class S, class D>
Member<S, D> member(const char* name, LumStatus (*f)(const S* const*, D*, int, LumSize, const S*, int, Lum8u*)) {
  return {name, true, false, [f](const Arguments& a) {
            return f((const S* const*)a.src, (D*)a.dst, a.dst_step, a.roi(), (const S*)a.kernel, a.taps, a.buffer);
          }};
}

// body(member) for every member.
template <class Body>
void each_member(const Body& body) {
  std::map<std::string, SizeFunction> sizes;
  const auto add = [&](auto m) {
    std::string size_name = m.name;
    m.size_function = sizes.at(size_name.insert(size_name.find("Pipeline_") + 8, "GetBufferSize"));
    m.name.erase(0, strlen("lumiFilter"));
    body(m);
  };
#define LUM_ROW_SIZE(name, ...) sizes[#name] = name;
#define LUM_COLUMN_SIZE(name, ...) sizes[#name] = name;
#define LUM_COLUMN_SIZE_FLOAT(name) sizes[#name] = name;
#define LUM_ROW_INTEGER(name, ...) add(member(#name, name));
#define LUM_ROW_FLOAT(name, ...) add(member(#name, name));
#define LUM_COLUMN_INTEGER(name, ...) add(member(#name, name));
#define LUM_COLUMN_FLOAT(name, ...) add(member(#name, name));
#include "lumcv/src/lumcvseparable.inc"
}

// ---- one call, compared with a model ----

struct Case : Arguments {
  int tap_range = 100;
  Placement place = {};
};

template <class T>
std::vector<T> random_kernel(const Case& c, std::mt19937& random) {
  std::vector<T> kernel(c.taps);
  for (T& tap : kernel)
    tap = std::is_floating_point_v<T> ? test::random_element<T>(random)
                                      : T(int(random() % (2 * c.tap_range + 1)) - c.tap_range);
  return kernel;
}

// What the taps see at element x of row y.
template <class S, class D>
std::vector<S> window(const Member<S, D>& m, const Plane<S>& src, const Case& c, int x, int y) {
  std::vector<S> e;
  for (int k = 0; k < c.taps; ++k)
    if (m.column) {
      e.push_back(src.get(x, y + k));
    } else {
      const int n = m.channels(), at = test::border_walk(x / n - c.anchor + k, c.width, c.border);
      e.push_back(at < 0 ? S(c.border_value) : src.get(at * n + x % n, y));
    }
  return e;
}
template <class S, class D>
Lum32f model(const Member<S, D>&, const std::vector<Lum32f>& kernel, const std::vector<S>& e, const Case&, int) {
  Lum32f sum = kernel[0] * e[0];
  for (size_t k = 1; k < kernel.size(); ++k) sum += kernel[k] * e[k];
  return sum;
}
// Row sums are 32 bits that wrap, column sums are rounded to single precision at every tap.
template <class S, class D>
D model(const Member<S, D>& m, const std::vector<Lum16s>& kernel, const std::vector<S>& e, const Case& c, int x) {
  unsigned whole = 0;
  Lum32f rounded = 0;
  for (size_t k = 0; k < kernel.size(); ++k) {
    whole += unsigned(kernel[k] * e[k]);
    rounded += Lum32f(kernel[k] * e[k]);
  }
  return test::scaled<D>(m.column ? rounded : Lum32f(int(whole)), c.divisor, x / m.channels(), c.width);
}

int buffer_bytes(const auto& m, Arguments a) {
  int bytes = -1;
  a.bytes = &bytes;
  EXPECT_EQ(lumStatusOk, m.size(a)) << m.name;
  return bytes;
}

// The planes of one case; run() calls with the thread count of now and a buffer of the size for now or for another count.
template <class S, class D>
struct Job {
  using Tap = typename Member<S, D>::Tap;
  const Member<S, D>& m;
  const Case c;
  const std::vector<Tap> kernel;
  Plane<S> src;

  Job(const Member<S, D>& m_, const Case& c_, std::mt19937& random)
      : m(m_), c(c_), kernel(random_kernel<Tap>(c, random)),
        src({c.width, m.column ? c.height + c.taps - 1 : c.height}, m.channels(),
            {c.place.padding * int(sizeof(S)), c.place.shift}) {
    src.fill([&](int, int) { return test::random_element<S>(random); });
  }
  Plane<D> destination() const { return {c.roi(), m.channels(), {c.place.padding * int(sizeof(D)), c.place.shift}}; }

  void run(const Plane<D>& dst, int buffer_size) const {
    std::vector<const void*> rows;
    for (int y = 0; y < (m.column ? src.roi() : dst.roi()).height; ++y)
      m.column ? rows.push_back(src.row(y)) : rows.push_back(dst.row(y));
    const Array<const void*> row_array(rows, c.place.shift);
    const Array<Tap> kernel_array(kernel, c.place.shift);
    const Block buffer(buffer_size, c.place.shift);
    Arguments a = c;
    a.src = m.column ? (const void*)row_array.data() : src.data();
    a.dst = m.column ? (void*)dst.data() : row_array.data();
    a.step = src.step(), a.dst_step = dst.step();
    a.kernel = kernel_array.data(), a.buffer = buffer.bytes();
    ASSERT_EQ(lumStatusOk, m.call(a)) << m.name;
  }
  std::string text() const {
    std::ostringstream s;
    s << m.name << ", " << c.taps << " taps up to " << c.tap_range << ", anchor " << c.anchor << ", border " << c.border
      << ", divisor " << c.divisor << ", shift " << c.place.shift;
    return s.str();
  }
};

template <class S, class D>
void check(const Member<S, D>& m, Case c, std::mt19937& random) {
  c.border_value = test::random_element<S>(random);
  const Job<S, D> job(m, c, random);
  const Plane<D> dst = job.destination();
  job.run(dst, buffer_bytes(m, c));
  ASSERT_TRUE(dst.equals([&](int x, int y) { return model(m, job.kernel, window(m, job.src, c, x, y), c, x); }))
      << job.text();
}

// Divisors and tap magnitudes that reach every path: sums that are exact, that are not, that wrap, that saturate.
constexpr int kDivisors[] = {1, 2, 3, 10, -1, -7, 256, 16384, 1 << 20, -2147483647 - 1, 2147483647};
constexpr int kTapRanges[] = {1, 5, 100, 512, 4096, 32767};
constexpr int kTapCounts[] = {1, 2, 3, 4, 5, 6, 7, 9, 15, 16, 33};

TEST(Separable, EqualsModel) {
  std::mt19937 random(1);
  const auto pick = [&](const auto& values) { return values[random() % std::size(values)]; };
  each_member([&](const auto& m) {
    Case c;
    for (c.width = 1; c.width <= 70; ++c.width)
      for (int i = 0; i < 6; ++i) {
        c.height = 1 + i % 3;
        c.taps = pick(kTapCounts), c.anchor = random() % c.taps, c.tap_range = pick(kTapRanges);
        c.border = random() % 5, c.divisor = pick(kDivisors);
        c.place = {int(random() % 3) * 2, int(random() % 16)};
        check(m, c, random);
      }
    c.width = 37, c.taps = 3, c.anchor = 1, c.place = {};
    for (int range : kTapRanges)
      for (int divisor : kDivisors) {
        c.tap_range = range, c.divisor = divisor;
        check(m, c, random);
      }
    if (m.column) return;
    c.tap_range = 40, c.divisor = 3;
    for (int border : test::kBorders) {
      c.border = border;
      for (c.taps = 1; c.taps <= 5; ++c.taps)
        for (c.anchor = 0; c.anchor < c.taps; ++c.anchor)
          for (int width : {1, 2, 3, 4, 17, 40}) {
            c.width = width;
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

TEST(Separable, ThreadsDoNotChangeResults) {
  std::mt19937 random(4);
  each_member([&]<class S, class D>(const Member<S, D>& m) {
    Case c;
    c.width = 1101, c.height = 160;  // enough for five threads
    c.border = lumBorderMirr, c.divisor = 5;
    for (int taps : {3, 4, 401}) {  // slices of the longest share the buffer of a row pass
      if (m.column && taps == 401) continue;
      c.taps = taps, c.anchor = taps / 3;
      const Job<S, D> job(m, c, random);
      const Plane<D> serial = job.destination();
      int serial_bytes;
      {
        const Threads scope(1);
        job.run(serial, serial_bytes = buffer_bytes(m, c));
      }
      for (int threads : {2, 3, 5}) {
        const Threads scope(threads);
        for (int bytes : {serial_bytes, buffer_bytes(m, c)}) {  // the count may have grown since the size was told
          const Plane<D> dst = job.destination();
          job.run(dst, bytes);
          ASSERT_TRUE(dst.equals([&](int x, int y) { return serial.get(x, y); })) << job.text() << ", " << threads;
        }
      }
    }
  });
}

// ---- sizes and arguments ----

TEST(Separable, BufferSizes) {
  // Work area per thread for 7 taps, by hand, of the row passes and of the column passes at 21 columns.
  const std::map<std::string, int> areas = {
      {"RowBorderPipeline_8u16s_C1R", 364},   {"RowBorderPipeline_8u16s_C3R", 532},
      {"RowBorderPipeline_16s_C1R", 416},     {"RowBorderPipeline_16s_C3R", 344},
      {"RowBorderPipeline_Low_16s_C1R", 232}, {"RowBorderPipeline_Low_16s_C3R", 1520},
      {"RowBorderPipeline_32f_C1R", 512},     {"RowBorderPipeline_32f_C3R", 1376}};
  for (int threads : {1, 3}) {
    const Threads scope(threads);
    each_member([&](const auto& m) {
      Arguments a;
      a.width = 21, a.height = 11, a.taps = 7;
      if (!m.column) {
        EXPECT_EQ(threads * (32 + 4 * (11 + 7) + areas.at(m.name)), buffer_bytes(m, a)) << m.name;
        return;
      }
      const bool low = m.name.find("Low") != m.name.npos;
      for (a.width = 20; a.width <= 25; ++a.width) {
        const int columns = a.width == 20 && !low ? 20 : a.width == 25 && !low ? 28 : a.width == 25 ? 32 : 24;
        const int size = threads * (32 + 4 * (11 + 7) + columns * 12 * m.channels() + 32);
        EXPECT_EQ(m.divides ? size : 32, buffer_bytes(m, a)) << m.name << ", width " << a.width;
      }
    });
  }
  each_member([](const auto& m) {
    int bytes = -1;
    Arguments good;
    good.bytes = &bytes;
    std::vector<Fault> faults = {{lumStatusNullPointer, &Arguments::bytes, nullptr},
                                 {lumStatusBadSize, &Arguments::width, 0},
                                 {lumStatusBadSize, &Arguments::height, -1},
                                 {lumStatusBadSize, &Arguments::taps, 0}};
    if (m.divides) faults.push_back({lumStatusBadSize, &Arguments::height, 1 << 30});
    test::expect_check_order(m.name, good, faults, [&](const Arguments& a) { return m.size(a); });
    EXPECT_EQ(-1, bytes) << m.name;
  });
}

TEST(Separable, WrongArguments) {
  each_member([]<class S, class D>(const Member<S, D>& m) {
    Plane<S> src({8, 1}, m.channels());
    const Plane<D> dst({8, 1}, m.channels());
    src.fill([](int, int) { return 1; });
    const S* src_rows[] = {src.data(), src.data(), src.data()};
    const S* last_null[] = {src.data(), src.data(), nullptr};
    D* dst_rows[] = {dst.data()};
    const typename Member<S, D>::Tap kernel[3] = {};
    const Block buffer(4096);
    Arguments good;
    good.src = m.column ? (const void*)src_rows : src.data();
    good.dst = m.column ? (void*)dst.data() : dst_rows;
    good.step = src.step(), good.dst_step = dst.step();
    good.width = 8, good.kernel = kernel, good.buffer = buffer.bytes();

    using A = Arguments;
    const int element = m.column ? sizeof(D) : sizeof(S), row = 8 * m.channels() * element;
    const auto step = m.column ? &A::dst_step : &A::step;
    std::vector<Fault> faults = {{lumStatusNullPointer, &A::src, nullptr},
                                 {lumStatusNullPointer, &A::dst, nullptr},
                                 {lumStatusNullPointer, &A::kernel, nullptr}};
    const auto add = [&](bool applies, const Fault& fault) {
      if (applies) faults.push_back(fault);
    };
    add(!m.column, {lumStatusNullPointer, &A::buffer, nullptr});
    add(true, {lumStatusBadSize, &A::height, 0});
    add(true, {lumStatusBadSize, &A::width, -1});
    add(true, {lumStatusBadSize, &A::taps, 0});
    add(!m.column, {lumStatusBadAnchor, &A::anchor, -1});
    add(!m.column, {lumStatusBadAnchor, &A::anchor, 3});
    add(true, {lumStatusBadStep, step, row - 1});
    add(true, {lumStatusBadStep, &A::width, test::wrapping_width(m.channels() * element)});
    add(element > 1, {lumStatusStepNotPixelMultiple, step, row + 1});
    add(m.column, {lumStatusNullPointer, &A::buffer, nullptr});
    add(!m.column, {lumStatusBadArgument, &A::border, 5});
    add(!m.column, {lumStatusBadArgument, &A::border, -1});
    add(m.divides, {lumStatusBadArgument, &A::divisor, 0});
    add(m.column, {lumStatusNullPointer, &A::src, last_null});
    test::expect_check_order(m.name, good, faults, m.call);
    EXPECT_TRUE(dst.untouched() && buffer.untouched()) << m.name;
    EXPECT_EQ(lumStatusOk, m.call(good)) << m.name;
    EXPECT_TRUE(dst.equals([](int, int) { return 0; })) << m.name;
  });
}

}  // namespace
