// Copies, borders, differences and thresholds from outside: results, arguments.
#include "calls.h"

namespace {

using namespace test;
using Bytes = std::vector<Lum8u>;

// Rows in exactly the bytes that they cover at their step, which may be negative, 0 or shorter than a row.
struct Rows {
  Rows(ptrdiff_t row_bytes, int height, int lowest_step, std::mt19937& random)
      : step_(any_step(int(row_bytes), lowest_step, random)),
        first(std::max<ptrdiff_t>(0, -ptrdiff_t(step_) * (height - 1))),
        block(std::abs(ptrdiff_t(step_)) * (height - 1) + row_bytes, int(random() % 17)) {}
  static int any_step(int row, int lowest, std::mt19937& random) {
    const int steps[] = {row, row, row + 1, row + 64, row / 2, 1, 0, -1, -row, -row - 7};
    return std::max(lowest, steps[random() % std::size(steps)]);
  }
  Lum8u* data() const { return block.bytes() + first; }
  int step() const { return step_; }
  Bytes copy() const { return {block.bytes(), block.bytes() + block.size()}; }
  // Noise, few values that are often equal, or single-precision numbers of every kind.
  void fill(std::mt19937& random) const {
    constexpr Lum8u few[] = {0, 1, 2, 127, 128, 129, 254, 255};
    const unsigned kind = random() % 3;
    for (size_t i = 0; i < block.size(); i += 4) {
      Lum32f number = any_element<Lum32f>(random);
      if (kind < 2)
        for (int k = 0; k < 4; ++k) ((Lum8u*)&number)[k] = kind == 0 ? Lum8u(random()) : few[random() % 8];
      memcpy(block.bytes() + i, &number, std::min<size_t>(4, block.size() - i));
    }
  }
  const int step_;
  const ptrdiff_t first;
  const Block block;
};

testing::AssertionResult equal(const Bytes& want, const Bytes& got) {
  const auto at = std::mismatch(want.begin(), want.end(), got.begin());
  if (at.first == want.end()) return testing::AssertionSuccess();
  return testing::AssertionFailure() << "byte " << at.first - want.begin() << " of " << want.size() << " is "
                                     << int(*at.second) << ", expected " << int(*at.first);
}

Lum8u* row_of(const void* data, int step, int y) { return (Lum8u*)data + (ptrdiff_t)y * step; }

// ---- one element after the other ----

// Writes the element d that belongs to the elements a and b, the destination's own where there is no source.
using Rule = std::function<void(const A&, const Lum8u* a, const Lum8u* b, Lum8u* d)>;
enum Kind { kCopy, kNoStepChecked, kThreshold, kComparisonFirst, kComparisonLast };
struct Member {
  std::string name;
  Kind kind;
  int sources, element_bytes, channels, comparison;
  Function call;
  Rule rule;
  bool compares() const { return kind == kComparisonFirst || kind == kComparisonLast; }
};

template <class T, class F>
Rule rule(F f) {
  return [f](const A& arguments, const Lum8u* a, const Lum8u* b, Lum8u* d) {
    T values[2];
    memcpy(&values[0], a, sizeof(T));
    memcpy(&values[1], b, sizeof(T));
    values[0] = f(arguments, values[0], values[1]);
    memcpy(d, &values[0], sizeof(T));
  };
}
constexpr auto copied = [](const A&, auto a, auto) { return a; };
constexpr auto constant = [](const A& arguments, Lum8u, Lum8u) { return Lum8u(arguments.value); };
constexpr auto difference = [](const A&, Lum32f a, Lum32f b) { return b - a; };
// In double precision, which holds it exactly and rounds it to even.
constexpr auto scaled_difference = [](const A& arguments, Lum8u a, Lum8u b) {
  const double exact = std::ldexp(std::max(b - a, 0), -std::clamp(arguments.scale, -100, 100));
  return Lum8u(std::min(std::nearbyint(exact), 255.0));
};
constexpr auto limited = [](const A& arguments, Lum32f a, Lum32f) {
  const Lum32f limit = Lum32f(arguments.value);
  return (arguments.comparison == 0 ? a > limit : a < limit) ? a : limit;
};
constexpr auto replaced = [](const A& arguments, Lum8u a, Lum8u) {
  const Lum8u threshold = Lum8u(arguments.value);
  return (arguments.comparison == 0 ? a < threshold : a > threshold) ? Lum8u(arguments.border_value) : a;
};

#define SOURCE &A::src, &A::step
#define SOURCES SOURCE, &A::src2, &A::step2
#define IN_PLACE &A::dst, &A::dst_step, &A::roi
#define TARGET IN_PLACE
const std::vector<Member>& members() {
  static const std::vector<Member> list = {
#define MEMBER(name, kind, sources, T, C, comparison, rule_of, ...) \
  {#name, kind, sources, sizeof(T), C, comparison, function(name, __VA_ARGS__), rule<T>(rule_of)},
#define LUM_COPY(name, T, C) MEMBER(name, kCopy, 1, T, C, 0, copied, SOURCE, TARGET)
#define LUM_SET(name) MEMBER(name, kNoStepChecked, 0, Lum8u, 1, 0, constant, &A::value, TARGET)
#define LUM_COPY_REPLICATE(...)
#define LUM_COPY_REPLICATE_I(...)
#define LUM_COPY_CONST(...)
#include "lumcv/src/lumcvcopy.inc"
#define LUM_SUB(name, T, C) MEMBER(name, kNoStepChecked, 2, T, C, 0, difference, SOURCES, TARGET)
#define LUM_SUB_I(name, T, C) MEMBER(name, kNoStepChecked, 1, T, C, 0, difference, SOURCE, IN_PLACE)
#define LUM_SUB_SCALED(name, T, C) \
  MEMBER(name, kNoStepChecked, 2, T, C, 0, scaled_difference, SOURCES, TARGET, &A::scale)
#define LUM_SUB_SCALED_I(name, T, C) \
  MEMBER(name, kNoStepChecked, 1, T, C, 0, scaled_difference, SOURCE, IN_PLACE, &A::scale)
#define LUM_THRESHOLD(name, T) \
  MEMBER(name, kComparisonLast, 1, T, 1, 0, limited, SOURCE, TARGET, &A::value, &A::comparison)
#define LUM_THRESHOLD_LT(name, T) MEMBER(name, kThreshold, 1, T, 1, 0, limited, SOURCE, TARGET, &A::value)
#define LUM_THRESHOLD_LT_I(name, T) MEMBER(name, kThreshold, 0, T, 1, 0, limited, IN_PLACE, &A::value)
#define LUM_THRESHOLD_VAL(name, T) \
  MEMBER(name, kComparisonFirst, 1, T, 1, 0, replaced, SOURCE, TARGET, &A::value, &A::border_value, &A::comparison)
#define LUM_THRESHOLD_GTVAL(name, T) \
  MEMBER(name, kThreshold, 1, T, 1, 4, replaced, SOURCE, TARGET, &A::value, &A::border_value)
#define LUM_THRESHOLD_GTVAL_I(name, T) \
  MEMBER(name, kThreshold, 0, T, 1, 4, replaced, IN_PLACE, &A::value, &A::border_value)
#include "lumcv/src/lumcvarithm.inc"
  };
  return list;
}

// A region within memory, and a model of the call on a copy of that memory, row by row.
void check(const Member& m, A arguments, LumSize roi, std::mt19937& random) {
  const ptrdiff_t row = (ptrdiff_t)roi.width * m.channels * m.element_bytes;
  const int lowest = m.kind >= kThreshold ? 1 : INT32_MIN;
  // A copy within one image: both regions anywhere in it, at the same step or at others.
  const bool within = m.kind == kCopy && random() % 4 == 0;
  const Rows d(row + 9 * within, roi.height + 2 * within, lowest, random);
  const Rows a(row, roi.height, lowest, random), b(row, roi.height, lowest, random);
  const auto inside = [&] { return d.data() + (within ? ptrdiff_t(random() % 3) * d.step() + random() % 10 : 0); };
  arguments.set_roi(roi);
  arguments.set_source(a), arguments.set_source2(b);
  arguments.dst = inside(), arguments.dst_step = d.step();
  if (within || m.sources == 0 || random() % 4 == 0) arguments.src = inside(), arguments.step = d.step();
  if (m.sources < 2 || random() % 4 == 0) arguments.src2 = arguments.dst, arguments.step2 = d.step();
  for (const Rows* rows : {&a, &b, &d}) rows->fill(random);

  Bytes want = d.copy();
  const auto elements = [&](const void* data, int step, int y) {
    const ptrdiff_t offset = (const Lum8u*)data - d.block.bytes();
    const bool own = offset >= 0 && offset < ptrdiff_t(want.size());
    return row_of(own ? want.data() + offset : data, step, y);
  };
  for (int y = 0; y < roi.height; ++y) {
    const Lum8u* const first = elements(arguments.src, arguments.step, y);
    const Lum8u* const second = elements(arguments.src2, arguments.step2, y);
    const Bytes row_a(first, first + row), row_b(second, second + row);
    Lum8u* const to = elements(arguments.dst, arguments.dst_step, y);
    for (ptrdiff_t i = 0; i < row; i += m.element_bytes) m.rule(arguments, &row_a[i], &row_b[i], to + i);
  }
  ASSERT_EQ(lumStatusOk, m.call(arguments)) << m.name;
  ASSERT_TRUE(equal(want, d.copy())) << m.name << ' ' << roi.width << 'x' << roi.height << ", steps " << arguments.step
                                     << ' ' << arguments.step2 << ' ' << d.step() << ", scale " << arguments.scale
                                     << ", comparison " << arguments.comparison;
}

A any_arguments(const Member& m, std::mt19937& random) {
  constexpr double limits[] = {0, -0.0, 1, -3.25, 1e30, INFINITY, NAN};
  constexpr Lum8u values[] = {0, 1, 127, 128, 254, 255};
  constexpr int scales[] = {9, 10, 31, 32, 1000, INT32_MAX, -9, -31, -32, -1000, INT32_MIN};
  A arguments;
  arguments.value = m.element_bytes == 4 ? limits[random() % std::size(limits)] : values[random() % std::size(values)];
  arguments.border_value = random() % 256;
  arguments.scale = random() % 4 ? int(random() % 19) - 9 : scales[random() % std::size(scales)];
  arguments.comparison = m.compares() ? random() % 2 * 4 : m.comparison;
  return arguments;
}

TEST(Image, EqualsModelRowByRow) {
  std::mt19937 random(1);
  for (const Member& m : members()) {
    for (int width = 1; width <= 150; ++width)
      for (int i = 0; i < 6; ++i) check(m, any_arguments(m, random), {width, 1 + int(random() % 5)}, random);
    for (int i = 0; i < 40; ++i) check(m, any_arguments(m, random), {300, 3}, random);
  }
}

// Regions on both sides of the sizes from which the cache is bypassed, in one run and in rows.
TEST(Image, LargeRegions) {
  std::mt19937 random(2);
  for (const Member& m : members()) {
    if (m.kind != kCopy && m.name != "lumiSet_8u_C1R") continue;
    const int width = 1023 / (m.channels * m.element_bytes) + int(random() % 9), height = m.kind == kCopy ? 1040 : 2100;
    for (int i = 0; i < 4; ++i) check(m, any_arguments(m, random), {width, height}, random);
    check(m, any_arguments(m, random), {21, height * 50 / (m.channels * m.element_bytes)}, random);
  }
}

// Rows are moved one after the other where a region overlaps its copy, and streamed where it only stands beside it.
TEST(Image, CopiesWithinOneImage) {
  std::mt19937 random(3);
  std::vector<Lum8u> image(4 << 20), expected;
  for (int i = 0; i < 400; ++i) {
    const bool large = i % 50 == 0;
    const int step = large ? 4000 : 500, margin = large ? 200000 : 3000;
    const LumSize roi = large ? LumSize{1 + int(random() % 2200), 690} : LumSize{1 + int(random() % 300), 9};
    const int near = (roi.width - 2 + int(random() % 3)) * (random() % 2 ? 1 : -1) + step * (int(random() % 5) - 2);
    const int distance = random() % 2 ? near : int(random() % (2 * margin + 1)) - margin;
    const int other = step - (random() % 4 == 0);
    if (i < 2) std::generate(image.begin(), image.end(), random);
    expected = image;
    Lum8u* const from = image.data() + margin;
    Lum8u* const to = expected.data() + margin;
    for (int y = 0; y < roi.height; ++y) memmove(to + distance + y * other, to + y * step, roi.width);
    ASSERT_EQ(lumStatusOk, lumiCopy_8u_C1R(from, step, from + distance, other, roi));
    ASSERT_EQ(expected, image) << roi.width << "x" << roi.height << ", " << distance << " bytes away";
  }
}

TEST(Image, WrongArguments) {
  const Plane<Lum32f> src({32, 1}), src2({32, 1}), dst({32, 1});
  for (const Member& m : members()) {
    A good;
    good.set_source(src), good.set_source2(src2), good.set_target(dst);
    good.set_roi({8, 1});
    const bool steps = m.kind >= kThreshold;
    const auto mode = [&](Kind kind) { return bad_mode(&A::comparison, 2, m.kind == kind); };
    expect_check_order(
        m.name, m.call, good,
        {mode(kComparisonFirst), null(&A::src, m.sources > 0), null(&A::src2, m.sources > 1), null(&A::dst),
         bad_size(&A::width, 0), bad_size(&A::height, -1), bad_step(&A::step, 0, steps && m.sources > 0),
         bad_step(&A::dst_step, -128, steps), mode(kComparisonLast)},
        dst);
  }
}

// ---- borders ----

#define FROM SOURCE, &A::from_roi
#define INTO &A::dst, &A::dst_step, &A::roi
struct Extension {
  std::string name;
  int pixel_bytes;
  bool in_place, constant;
  Function call;
};
const Extension kExtensions[] = {
#define LUM_COPY(...)
#define LUM_SET(...)
#define LUM_COPY_REPLICATE(name, T, C) \
  {#name, C * sizeof(T), false, false, function(name, FROM, INTO, &A::top, &A::left)},
#define LUM_COPY_REPLICATE_I(name, T, C) \
  {#name, C * sizeof(T), true, false, function(name, &A::src, &A::step, &A::from_roi, &A::roi, &A::top, &A::left)},
#define LUM_COPY_CONST(name) {#name, 1, false, true, function(name, FROM, INTO, &A::top, &A::left, &A::value)},
#include "lumcv/src/lumcvcopy.inc"
};

// Rows in the documented order; `from` and `to` are the first pixels of the source and of the larger image.
void extend(const Extension& e, const A& a, const Lum8u* from, Lum8u* to) {
  const int P = e.pixel_bytes, below = a.top + a.from_height;
  const Bytes value(size_t(P) * a.width, Lum8u(a.value));
  const auto write = [&](int y, const Bytes& row) { memcpy(row_of(to, a.dst_step, y), row.data(), row.size()); };
  const auto copy = [&](int y) { return Bytes(row_of(to, a.dst_step, y), row_of(to, a.dst_step, y) + P * a.width); };
  for (int y = 0; y < a.from_height; ++y) {
    Bytes row;
    for (int x = -a.left; x < a.width - a.left; ++x) {
      const bool border = x < 0 || x >= a.from_width;
      const Lum8u* const pixel = row_of(from, a.step, y) + P * std::clamp(x, 0, a.from_width - 1);
      for (int i = 0; i < P; ++i) row.push_back(border && e.constant ? Lum8u(a.value) : pixel[i]);
    }
    write(a.top + y, row);
  }
  for (int y = below; y < a.height; ++y) write(y, e.constant ? value : copy(y - 1));
  for (int y = 0; y < a.top; ++y) write(y, e.constant ? value : copy(a.top));
}

void check(const Extension& e, A a, std::mt19937& random) {
  const Rows src(a.from_width * e.pixel_bytes, a.from_height, 1, random);
  const Rows dst(a.width * e.pixel_bytes, a.height, 1, random);
  src.fill(random);
  dst.fill(random);
  a.set_source(src), a.dst = dst.data(), a.dst_step = dst.step();
  const ptrdiff_t offset = (ptrdiff_t)a.top * dst.step() + a.left * e.pixel_bytes;
  if (e.in_place) a.src = dst.data() + offset, a.step = dst.step();
  Bytes want = dst.copy();
  extend(e, a, e.in_place ? want.data() + offset : src.data(), want.data());
  ASSERT_EQ(lumStatusOk, e.call(a)) << e.name;
  ASSERT_TRUE(equal(want, dst.copy())) << e.name << ", " << a.from_width << 'x' << a.from_height << " at column "
                                       << a.left << ", row " << a.top << " of " << a.width << 'x' << a.height
                                       << ", steps " << a.step << ' ' << a.dst_step;
}

TEST(CopyBorder, EqualsModel) {
  std::mt19937 random(3);
  const auto border = [&] { return int(random() % (random() % 8 ? 6 : 90)); };
  for (const Extension& e : kExtensions)
    for (int i = 0; i < 600; ++i) {
      A a;
      a.value = random() % 256;
      a.from_width = 1 + int(random() % (i % 8 ? 40 : 300)), a.from_height = 1 + int(random() % 4);
      a.left = border(), a.top = border();
      a.width = a.left + a.from_width + border(), a.height = a.top + a.from_height + border();
      check(e, a, random);
    }
}

TEST(CopyBorder, WrongArguments) {
  const Plane<Lum32s> src({32, 1}), dst({32, 1});
  for (const Extension& e : kExtensions) {
    A good;
    good.src = src.data(), good.dst = dst.data(), good.step = good.dst_step = 128;
    good.set_roi({4, 4});
    good.top = good.left = 2;
    expect_check_order(
        e.name, e.call, good,
        {null(&A::src), null(&A::dst, !e.in_place), bad_step(&A::step, 0), bad_step(&A::dst_step, -128, !e.in_place),
         bad_size(&A::from_width, 0), bad_size(&A::from_height, -1), bad_size(&A::width, 0), bad_size(&A::height, 0),
         bad_size(&A::top, -1), bad_size(&A::left, -1), bad_size(&A::width, 2), bad_size(&A::height, 2),
         bad_size(&A::top, INT32_MAX), bad_size(&A::left, INT32_MAX)},
        src, dst);
  }
}

}  // namespace
