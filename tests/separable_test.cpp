// The separable filter pipeline from outside: sizes, results, arguments.
#include <map>

#include "filter_model.h"

namespace {

using test::Array;
using test::Block;
using test::Placement;
using test::Plane;
using test::Threads;

// ---- members ----

using SizeFunction = LumStatus (*)(LumSize, int, int*);

template <class S, class M>
struct RowMember {
  const char* name;
  LumStatus (*integer)(const S*, int, M* const*, LumSize, const M*, int, int, LumBorderType, S, int, Lum8u*);
  LumStatus (*real)(const S*, int, M* const*, LumSize, const M*, int, int, LumBorderType, S, Lum8u*);
  SizeFunction size;
  int channels;

  LumStatus operator()(const S* src, int step, M* const* dst, LumSize roi, const M* kernel, int taps, int anchor,
                       LumBorderType border, S value, int divisor, Lum8u* buffer) const {
    if (integer) return integer(src, step, dst, roi, kernel, taps, anchor, border, value, divisor, buffer);
    return real(src, step, dst, roi, kernel, taps, anchor, border, value, buffer);
  }
};

template <class S, class D>
struct ColumnMember {
  const char* name;
  LumStatus (*integer)(const S* const*, D*, int, LumSize, const S*, int, int, Lum8u*);
  LumStatus (*real)(const S* const*, D*, int, LumSize, const S*, int, Lum8u*);
  SizeFunction size;
  int channels;

  LumStatus operator()(const S* const* src, D* dst, int step, LumSize roi, const S* kernel, int taps, int divisor,
                       Lum8u* buffer) const {
    if (integer) return integer(src, dst, step, roi, kernel, taps, divisor, buffer);
    return real(src, dst, step, roi, kernel, taps, buffer);
  }
};

#define ROW(type, channels)                                                                                    \
  {                                                                                                            \
#type, lumiFilterRowBorderPipeline_##type##R, nullptr, lumiFilterRowBorderPipelineGetBufferSize_##type##R, \
        channels                                                                                               \
  }
#define COLUMN(type, channels) \
  { #type, lumiFilterColumnPipeline_##type##R, nullptr, lumiFilterColumnPipelineGetBufferSize_##type##R, channels }
const RowMember<Lum8u, Lum16s> kRows8u[] = {ROW(8u16s_C1, 1), ROW(8u16s_C3, 3)};
const RowMember<Lum16s, Lum16s> kRows16s[] = {ROW(16s_C1, 1), ROW(16s_C3, 3), ROW(Low_16s_C1, 1), ROW(Low_16s_C3, 3)};
const RowMember<Lum32f, Lum32f> kRows32f[] = {
    {"32f_C1", nullptr, lumiFilterRowBorderPipeline_32f_C1R, lumiFilterRowBorderPipelineGetBufferSize_32f_C1R, 1},
    {"32f_C3", nullptr, lumiFilterRowBorderPipeline_32f_C3R, lumiFilterRowBorderPipelineGetBufferSize_32f_C3R, 3}};
const ColumnMember<Lum16s, Lum16s> kColumns16s[] = {COLUMN(16s_C1, 1), COLUMN(16s_C3, 3), COLUMN(Low_16s_C1, 1),
                                                    COLUMN(Low_16s_C3, 3)};
const ColumnMember<Lum16s, Lum8u> kColumns8u[] = {COLUMN(16s8u_C1, 1), COLUMN(16s8u_C3, 3)};
const ColumnMember<Lum16s, Lum8s> kColumns8s[] = {COLUMN(16s8s_C1, 1), COLUMN(16s8s_C3, 3)};
const ColumnMember<Lum32f, Lum32f> kColumns32f[] = {
    {"32f_C1", nullptr, lumiFilterColumnPipeline_32f_C1R, lumiFilterColumnPipelineGetBufferSize_32f_C1R, 1},
    {"32f_C3", nullptr, lumiFilterColumnPipeline_32f_C3R, lumiFilterColumnPipelineGetBufferSize_32f_C3R, 3}};

// body(member) for every member of a pass.
template <class Body>
void each_row(const Body& body) {
  for (const auto& m : kRows8u) body(m, Lum8u(), Lum16s());
  for (const auto& m : kRows16s) body(m, Lum16s(), Lum16s());
  for (const auto& m : kRows32f) body(m, Lum32f(), Lum32f());
}
template <class Body>
void each_column(const Body& body) {
  for (const auto& m : kColumns16s) body(m, Lum16s(), Lum16s());
  for (const auto& m : kColumns8u) body(m, Lum16s(), Lum8u());
  for (const auto& m : kColumns8s) body(m, Lum16s(), Lum8s());
  for (const auto& m : kColumns32f) body(m, Lum32f(), Lum32f());
}

// ---- models ----

Lum32f sum_of_products(const std::vector<Lum32f>& kernel, const std::vector<Lum32f>& values) {
  Lum32f sum = kernel[0] * values[0];
  for (size_t k = 1; k < kernel.size(); ++k) sum += kernel[k] * values[k];
  return sum;
}
template <class S>
std::vector<S> window(const Plane<S>& src, int x, int y, int channels, int taps, int anchor, int border, S value) {
  std::vector<S> e;
  const int width = src.roi().width;
  for (int k = 0; k < taps; ++k) {
    const int at = test::border_walk(x / channels - anchor + k, width, border);
    e.push_back(at < 0 ? value : src.get(at * channels + x % channels, y));
  }
  return e;
}
Lum32f row_model(const std::vector<Lum32f>& kernel, const std::vector<Lum32f>& e, int, int, int) {
  return sum_of_products(kernel, e);
}
template <class S>
Lum16s row_model(const std::vector<Lum16s>& kernel, const std::vector<S>& e, int divisor, int x, int width) {
  unsigned sum = 0;  // 32 bits that wrap
  for (size_t k = 0; k < kernel.size(); ++k) sum += unsigned(kernel[k] * e[k]);
  return test::scaled<Lum16s>(float(int(sum)), divisor, x, width);
}
template <class D>
D column_model(const std::vector<Lum16s>& kernel, const std::vector<Lum16s>& e, int divisor, int x, int width) {
  Lum32f sum = 0;
  for (size_t k = 0; k < kernel.size(); ++k) sum += Lum32f(kernel[k] * e[k]);
  return test::scaled<D>(sum, divisor, x, width);
}
template <class D>
D column_model(const std::vector<Lum32f>& kernel, const std::vector<Lum32f>& e, int, int, int) {
  return sum_of_products(kernel, e);
}

// ---- one call each, compared with the model ----

struct Case {
  LumSize roi;
  int taps, anchor, border, divisor, tap_range;
  Placement place;
};

template <class M>
std::vector<M> random_kernel(std::mt19937& random, const Case& c) {
  std::vector<M> kernel;
  for (int k = 0; k < c.taps; ++k)
    kernel.push_back(std::is_floating_point_v<M> ? test::random_element<M>(random)
                                                 : M(int(random() % (2 * c.tap_range + 1)) - c.tap_range));
  return kernel;
}

int buffer_bytes(SizeFunction size, LumSize roi, int taps) {
  int bytes = -1;
  EXPECT_EQ(lumStatusOk, size(roi, taps, &bytes));
  return bytes;
}

template <class S, class M>
void check_row(const RowMember<S, M>& member, const Case& c, std::mt19937& random) {
  const std::vector<M> kernel = random_kernel<M>(random, c);
  const S value = test::random_element<S>(random);
  Plane<S> src(c.roi, member.channels, {c.place.padding * int(sizeof(S)), c.place.shift});
  src.fill([&](int, int) { return test::random_element<S>(random); });
  Plane<M> dst(c.roi, member.channels, c.place);
  std::vector<M*> rows;
  for (int y = 0; y < c.roi.height; ++y) rows.push_back(dst.row(y));
  const Array<M*> row_array(rows, c.place.shift);
  const Array<M> kernel_array(kernel, c.place.shift);
  const Block buffer(buffer_bytes(member.size, c.roi, c.taps), c.place.shift);
  ASSERT_EQ(lumStatusOk, member(src.data(), src.step(), row_array.data(), c.roi, kernel_array.data(), c.taps, c.anchor,
                                c.border, value, c.divisor, buffer.bytes()));
  const auto expected = [&](int x, int y) {
    return row_model(kernel, window(src, x, y, member.channels, c.taps, c.anchor, c.border, value), c.divisor,
                     x / member.channels, c.roi.width);
  };
  ASSERT_TRUE(dst.equals(expected)) << member.name << ", " << c.taps << " taps, anchor " << c.anchor << ", border "
                                    << c.border << ", divisor " << c.divisor << ", taps up to " << c.tap_range
                                    << ", shift " << c.place.shift;
}

template <class S, class D>
void check_column(const ColumnMember<S, D>& member, const Case& c, std::mt19937& random) {
  const std::vector<S> kernel = random_kernel<S>(random, c);
  Plane<S> src({c.roi.width, c.roi.height + c.taps - 1}, member.channels, {c.place.padding, c.place.shift});
  src.fill([&](int, int) { return test::random_element<S>(random); });
  std::vector<const S*> rows;
  for (int y = 0; y < src.roi().height; ++y) rows.push_back(src.row(y));
  const Array<const S*> row_array(rows, c.place.shift);
  const Array<S> kernel_array(kernel, c.place.shift);
  Plane<D> dst(c.roi, member.channels, {c.place.padding * int(sizeof(D)), c.place.shift});
  const Block buffer(buffer_bytes(member.size, c.roi, c.taps), c.place.shift);
  ASSERT_EQ(lumStatusOk, member(row_array.data(), dst.data(), dst.step(), c.roi, kernel_array.data(), c.taps, c.divisor,
                                buffer.bytes()));
  const auto expected = [&](int x, int y) {
    std::vector<S> e;
    for (int k = 0; k < c.taps; ++k) e.push_back(src.get(x, y + k));
    return column_model<D>(kernel, e, c.divisor, x / member.channels, c.roi.width);
  };
  ASSERT_TRUE(dst.equals(expected)) << member.name << ", " << c.taps << " taps, divisor " << c.divisor
                                    << ", taps up to " << c.tap_range << ", shift " << c.place.shift;
}

// Divisors and tap magnitudes that reach every path: sums that are exact, that are not, that wrap, that saturate.
constexpr int kDivisors[] = {1, 2, 3, 10, -1, -7, 256, 16384, 1 << 20, -2147483647 - 1, 2147483647};
constexpr int kTapRanges[] = {1, 5, 100, 512, 4096, 32767};
constexpr int kTapCounts[] = {1, 2, 3, 4, 5, 6, 7, 9, 15, 16, 33};

Case random_case(std::mt19937& random, int width, int height) {
  const auto pick = [&](const auto& values) { return values[random() % std::size(values)]; };
  Case c = {{width, height}, pick(kTapCounts), 0, int(random() % 5), pick(kDivisors), pick(kTapRanges), {}};
  c.anchor = random() % c.taps;
  c.place = {int(random() % 3) * 2, int(random() % 16)};
  return c;
}

TEST(Separable, RowPassEqualsModel) {
  std::mt19937 random(1);
  each_row([&](const auto& member, auto, auto) {
    for (int width = 1; width <= 70; ++width)
      for (int i = 0; i < 4; ++i) check_row(member, random_case(random, width, 1 + i % 2), random);
    for (int border : test::kBorders)  // kernels far wider than the row: wrap and mirror go round several times
      for (int taps : {3, 64, 201, 700}) check_row(member, {{3, 2}, taps, taps / 3, border, 9, 100, {}}, random);
  });
}

TEST(Separable, EveryAnchorAndBorderOfShortKernels) {
  std::mt19937 random(2);
  each_row([&](const auto& member, auto, auto) {
    for (int taps : {1, 2, 3, 4, 5})
      for (int anchor = 0; anchor < taps; ++anchor)
        for (int border : test::kBorders)
          for (int width : {1, 2, 3, 4, 17, 40})
            check_row(member, {{width, 1}, taps, anchor, border, 3, 40, {}}, random);
  });
}

TEST(Separable, ColumnPassEqualsModel) {
  std::mt19937 random(3);
  each_column([&](const auto& member, auto, auto) {
    for (int width = 1; width <= 70; ++width)
      for (int i = 0; i < 6; ++i) check_column(member, random_case(random, width, 1 + i % 3), random);
    for (int range : kTapRanges)
      for (int divisor : kDivisors) check_column(member, {{37, 2}, 3, 0, 0, divisor, range, {}}, random);
  });
}

// One call of a member on given planes; the buffer is sized for `sized_for` threads and used by `threads`.
template <class S, class M>
void run_row(const RowMember<S, M>& member, const Plane<S>& src, const Plane<M>& dst, const std::vector<M>& kernel,
             int sized_for, int threads) {
  const Threads scope(sized_for);
  const int taps = int(kernel.size());
  const Block buffer(buffer_bytes(member.size, src.roi(), taps));
  std::vector<M*> rows;
  for (int y = 0; y < src.roi().height; ++y) rows.push_back(dst.row(y));
  lumSetNumThreads(threads);
  ASSERT_EQ(lumStatusOk, member(src.data(), src.step(), rows.data(), src.roi(), kernel.data(), taps, taps / 3,
                                lumBorderMirr, S(1), 5, buffer.bytes()));
}
template <class S, class D>
void run_column(const ColumnMember<S, D>& member, const Plane<S>& src, const Plane<D>& dst,
                const std::vector<S>& kernel, int threads) {
  const Threads scope(threads);
  const Block buffer(buffer_bytes(member.size, dst.roi(), int(kernel.size())));
  std::vector<const S*> rows;
  for (int y = 0; y < src.roi().height; ++y) rows.push_back(src.row(y));
  ASSERT_EQ(lumStatusOk, member(rows.data(), dst.data(), dst.step(), dst.roi(), kernel.data(), int(kernel.size()), 5,
                                buffer.bytes()));
}

TEST(Separable, ThreadsDoNotChangeResults) {
  std::mt19937 random(4);
  const LumSize roi = {1101, 160};  // enough for five threads
  // The longest kernel shares the caller's buffer among the slices of a row pass.
  for (int taps : {3, 4, 401}) {
    const Case c = {roi, taps, 0, 0, 0, 90, {}};
    each_row([&](const auto& member, auto s, auto m) {
      Plane<decltype(s)> src(roi, member.channels);
      src.fill([&](int, int) { return test::random_element<decltype(s)>(random); });
      const auto kernel = random_kernel<decltype(m)>(random, c);
      Plane<decltype(m)> serial(roi, member.channels);
      run_row(member, src, serial, kernel, 1, 1);
      for (int threads : {2, 3, 5})
        for (int sized_for : {1, threads}) {  // the count may have grown since the size was asked for
          Plane<decltype(m)> dst(roi, member.channels);
          run_row(member, src, dst, kernel, sized_for, threads);
          ASSERT_TRUE(dst.equals([&](int x, int y) { return serial.get(x, y); })) << member.name << ", " << threads;
        }
    });
    if (taps == 401) continue;
    each_column([&](const auto& member, auto s, auto d) {
      Plane<decltype(s)> src({roi.width, roi.height + taps - 1}, member.channels);
      src.fill([&](int, int) { return test::random_element<decltype(s)>(random); });
      const auto kernel = random_kernel<decltype(s)>(random, c);
      Plane<decltype(d)> serial(roi, member.channels);
      run_column(member, src, serial, kernel, 1);
      for (int threads : {2, 3, 5}) {
        Plane<decltype(d)> dst(roi, member.channels);
        run_column(member, src, dst, kernel, threads);
        ASSERT_TRUE(dst.equals([&](int x, int y) { return serial.get(x, y); })) << member.name << ", " << threads;
      }
    });
  }
}

TEST(Separable, BufferSizes) {
  // Work area per thread for 7 taps, by hand: P of the row pass, P of the column pass at 21 columns.
  const std::map<std::string, int> row_area = {{"8u16s_C1", 364}, {"8u16s_C3", 532},   {"16s_C1", 416},
                                               {"16s_C3", 344},   {"Low_16s_C1", 232}, {"Low_16s_C3", 1520},
                                               {"32f_C1", 512},   {"32f_C3", 1376}};
  const std::map<std::string, int> column_area = {{"16s_C1", 320},     {"16s_C3", 896},    {"16s8u_C1", 320},
                                                  {"16s8u_C3", 896},   {"16s8s_C1", 320},  {"16s8s_C3", 896},
                                                  {"Low_16s_C1", 320}, {"Low_16s_C3", 896}};
  for (int threads : {1, 3}) {
    const Threads scope(threads);
    const auto total = [&](int area) { return threads * (32 + 4 * (11 + 7) + area); };
    each_row([&](const auto& m, auto, auto) {
      EXPECT_EQ(total(row_area.at(m.name)), buffer_bytes(m.size, {21, 11}, 7)) << m.name;
    });
    each_column([&](const auto& m, auto, auto) {
      const bool real = m.real != nullptr, low = m.name[0] == 'L';
      EXPECT_EQ(real ? 32 : total(column_area.at(m.name)), buffer_bytes(m.size, {21, 11}, 7)) << m.name;
      // Low rounds the columns up to 8, the others to 4.
      EXPECT_EQ(real ? 32 : total(m.channels * 12 * (low ? 24 : 20) + 32), buffer_bytes(m.size, {20, 11}, 7)) << m.name;
    });
  }
  const auto check = [](const auto& m, auto, auto) {
    int bytes = -1;
    EXPECT_EQ(lumStatusNullPointer, m.size({0, 0}, 0, nullptr)) << m.name;
    EXPECT_EQ(lumStatusBadSize, m.size({0, 1}, 1, &bytes)) << m.name;
    EXPECT_EQ(lumStatusBadSize, m.size({1, -1}, 1, &bytes)) << m.name;
    EXPECT_EQ(lumStatusBadSize, m.size({1, 1}, 0, &bytes)) << m.name;
    if (!std::string(m.name).starts_with("32f")) {
      EXPECT_EQ(lumStatusBadSize, m.size({INT32_MAX, INT32_MAX}, INT32_MAX, &bytes)) << m.name;
      EXPECT_EQ(lumStatusBadSize, m.size({1, 1 << 30}, 1, &bytes)) << m.name;
    }
    EXPECT_EQ(-1, bytes) << m.name;
  };
  each_row(check);
  each_column(check);
}

// Every argument wrong alone, and every pair of wrong arguments: the earlier check decides.
TEST(Separable, RowArguments) {
  each_row([](const auto& member, auto s, auto m) {
    using S = decltype(s);
    using M = decltype(m);
    struct Arguments {
      const S* src;
      int step;
      M* const* dst;
      LumSize roi;
      const M* kernel;
      int taps, anchor, border, divisor;
      Lum8u* buffer;
    };
    const LumSize roi = {8, 1};
    Plane<S> src(roi, member.channels);
    Plane<M> dst(roi, member.channels);
    M* rows[] = {dst.data()};
    M kernel[3] = {};
    Lum8u buffer[4096];
    const int row_bytes = 8 * member.channels * int(sizeof(S));
    struct Fault {
      LumStatus status;
      void (*make)(Arguments&);
    };
    std::vector<Fault> faults = {
        {lumStatusNullPointer, [](Arguments& a) { a.src = nullptr; }},
        {lumStatusNullPointer, [](Arguments& a) { a.dst = nullptr; }},
        {lumStatusNullPointer, [](Arguments& a) { a.kernel = nullptr; }},
        {lumStatusNullPointer, [](Arguments& a) { a.buffer = nullptr; }},
        {lumStatusBadSize, [](Arguments& a) { a.roi.height = 0; }},
        {lumStatusBadSize, [](Arguments& a) { a.roi.width = -1; }},
        {lumStatusBadSize, [](Arguments& a) { a.taps = 0; }},
        {lumStatusBadAnchor, [](Arguments& a) { a.anchor = -1; }},
        {lumStatusBadAnchor, [](Arguments& a) { a.anchor = a.taps > 0 ? a.taps : 3; }},
        {lumStatusBadStep, [](Arguments& a) { a.step -= sizeof(S); }},
        {lumStatusBadStep,
         [](Arguments& a) {
           if (a.roi.width == 8) a.roi.width = 0x40000008;
         }},
        {lumStatusStepNotPixelMultiple, [](Arguments& a) { a.step += 1; }},
        {lumStatusBadArgument, [](Arguments& a) { a.border = 5; }},
        {lumStatusBadArgument, [](Arguments& a) { a.border = -1; }},
        {lumStatusBadArgument, [](Arguments& a) { a.divisor = 0; }},
    };
    if (sizeof(S) == 1) std::erase_if(faults, [](auto& f) { return f.status == lumStatusStepNotPixelMultiple; });
    if (member.real) faults.pop_back();
    const Arguments good = {src.data(), row_bytes, rows, roi, kernel, 3, 1, lumBorderRepl, 1, buffer};
    const auto call = [&](const Arguments& a) {
      return member(a.src, a.step, a.dst, a.roi, a.kernel, a.taps, a.anchor, a.border, S(0), a.divisor, a.buffer);
    };
    for (size_t i = 0; i < faults.size(); ++i)
      for (size_t j = i; j < faults.size(); ++j) {
        Arguments a = good;
        if (j != i) faults[j].make(a);
        faults[i].make(a);
        EXPECT_EQ(faults[i].status, call(a)) << member.name << ", faults " << i << " and " << j;
      }
    EXPECT_TRUE(dst.untouched()) << member.name;
    EXPECT_EQ(lumStatusOk, call(good)) << member.name;
  });
}

TEST(Separable, ColumnArguments) {
  each_column([](const auto& member, auto s, auto d) {
    using S = decltype(s);
    using D = decltype(d);
    struct Arguments {
      const S** src;
      D* dst;
      int step;
      LumSize roi;
      const S* kernel;
      int taps, divisor;
      Lum8u* buffer;
    };
    const LumSize roi = {8, 2};
    Plane<S> src(roi, member.channels);
    Plane<D> dst(roi, member.channels);
    S kernel[3] = {};
    Lum8u buffer[4096];
    const S* rows[4] = {src.data(), src.data(), src.data(), src.data()};
    const S* last_null[4] = {src.data(), src.data(), src.data(), nullptr};
    struct Fault {
      LumStatus status;
      std::function<void(Arguments&)> make;
    };
    std::vector<Fault> faults = {
        {lumStatusNullPointer, [](Arguments& a) { a.src = nullptr; }},
        {lumStatusNullPointer, [](Arguments& a) { a.dst = nullptr; }},
        {lumStatusNullPointer, [](Arguments& a) { a.kernel = nullptr; }},
        {lumStatusBadSize, [](Arguments& a) { a.roi.height = -5; }},
        {lumStatusBadSize, [](Arguments& a) { a.roi.width = 0; }},
        {lumStatusBadSize, [](Arguments& a) { a.taps = 0; }},
        {lumStatusBadStep, [](Arguments& a) { a.step -= sizeof(D); }},
        {lumStatusBadStep,
         [](Arguments& a) {
           if (a.roi.width == 8) a.roi.width = 0x60000008;
         }},
        {lumStatusStepNotPixelMultiple, [](Arguments& a) { a.step += 1; }},
        {lumStatusNullPointer, [](Arguments& a) { a.buffer = nullptr; }},
        {lumStatusBadArgument, [](Arguments& a) { a.divisor = 0; }},
        {lumStatusNullPointer,
         [&](Arguments& a) {
           if (a.src) a.src = last_null;
         }},
    };
    if (sizeof(D) == 1) std::erase_if(faults, [](auto& f) { return f.status == lumStatusStepNotPixelMultiple; });
    if (member.real) faults.erase(faults.end() - 2);
    const Arguments good = {rows, dst.data(), dst.step(), roi, kernel, 3, 1, buffer};
    const auto call = [&](const Arguments& a) {
      return member(a.src, a.dst, a.step, a.roi, a.kernel, a.taps, a.divisor, a.buffer);
    };
    for (size_t i = 0; i < faults.size(); ++i)
      for (size_t j = i; j < faults.size(); ++j) {
        Arguments a = good;
        if (j != i) faults[j].make(a);
        faults[i].make(a);
        EXPECT_EQ(faults[i].status, call(a)) << member.name << ", faults " << i << " and " << j;
      }
    EXPECT_TRUE(dst.untouched()) << member.name;
    EXPECT_EQ(lumStatusOk, call(good)) << member.name;
  });
}

}  // namespace
