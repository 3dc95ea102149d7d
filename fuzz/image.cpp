// Copies, borders, differences and thresholds with arguments of every kind, right and wrong, against scalar models that
// work row by row on a copy of the memory.
#include "fuzz.h"

namespace {

using fuzz::Content, fuzz::Input, fuzz::Memory;

struct Call {
  const void *src, *src2;
  void* dst;
  int step, step2, dst_step;
  LumSize roi, from;  // `from` of an image that is copied into the one of `roi`
  int top, left, scale, comparison;
  Lum32f limit;
  Lum8u threshold, value;
};

enum Kind { kFree, kSteps, kModeFirst, kModeLast, kBorder };
struct Member {
  const char* name;
  Kind kind;
  int sources, element, channels, comparison;
  LumStatus (*run)(const Call&);
  void (*rule)(const Call&, const uint8_t* a, const uint8_t* b, uint8_t* d);  // of one element
  bool constant() const { return kind == kBorder && rule; }
};

template <class T, auto f>
void apply(const Call& call, const uint8_t* a, const uint8_t* b, uint8_t* d) {
  T x, y;
  memcpy(&x, a, sizeof x);
  memcpy(&y, b, sizeof y);
  const T result = T(f(call, x, y));
  memcpy(d, &result, sizeof result);
}
constexpr auto same = [](const Call&, auto a, auto) { return a; };
constexpr auto filled = [](const Call& call, auto, auto) { return call.value; };
constexpr auto difference = [](const Call&, auto a, auto b) { return b - a; };
constexpr auto limited = [](const Call& call, Lum32f a, Lum32f) {
  return (call.comparison == 0 ? a > call.limit : a < call.limit) ? a : call.limit;
};
constexpr auto replaced = [](const Call& call, int a, int) {
  return (call.comparison == 0 ? a < call.threshold : a > call.threshold) ? int(call.value) : a;
};
constexpr auto scaled = [](const Call& call, int a, int b) {
  const long long d = std::max(b - a, 0), s = call.scale;
  if (s > 8) return 0LL;
  if (s < 0) return std::min(d << std::min(-s, 20LL), 255LL);
  const long long rest = d & ((1LL << s) - 1), twice = 2 * rest - (1LL << s), whole = d >> s;
  return whole + (s > 0 && (twice > 0 || (twice == 0 && whole % 2 == 1)));
};

#define CALL(name, ...) [](const Call& c) { return name(__VA_ARGS__); }
#define SOURCE(T) (const T*)c.src, c.step
#define SOURCES(T) SOURCE(T), (const T*)c.src2, c.step2
#define TARGET(T) (T*)c.dst, c.dst_step, c.roi
const Member kMembers[] = {
#define LUM_COPY(name, T, C) {#name, kFree, 1, sizeof(T), C, 0, CALL(name, SOURCE(T), TARGET(T)), apply<T, same>},
#define LUM_SET(name) {#name, kFree, 0, 1, 1, 0, CALL(name, c.value, TARGET(Lum8u)), apply<Lum8u, filled>},
#define LUM_COPY_REPLICATE(name, T, C) \
  {#name, kBorder, 1, sizeof(T), C, 0, CALL(name, SOURCE(T), c.from, TARGET(T), c.top, c.left), nullptr},
#define LUM_COPY_REPLICATE_I(name, T, C) \
  {#name, kBorder, 0, sizeof(T), C, 0, CALL(name, (T*)c.src, c.step, c.from, c.roi, c.top, c.left), nullptr},
#define LUM_COPY_CONST(name)                                                 \
  {#name,                                                                    \
   kBorder,                                                                  \
   1,                                                                        \
   1,                                                                        \
   1,                                                                        \
   0,                                                                        \
   CALL(name, SOURCE(Lum8u), c.from, TARGET(Lum8u), c.top, c.left, c.value), \
   apply<Lum8u, filled>},
#include "lumcv/src/lumcvcopy.inc"
#define LUM_SUB(name, T, C) {#name, kFree, 2, 4, C, 0, CALL(name, SOURCES(T), TARGET(T)), apply<T, difference>},
#define LUM_SUB_I(name, T, C) {#name, kFree, 1, 4, C, 0, CALL(name, SOURCE(T), TARGET(T)), apply<T, difference>},
#define LUM_SUB_SCALED(name, T, C) \
  {#name, kFree, 2, 1, C, 0, CALL(name, SOURCES(T), TARGET(T), c.scale), apply<T, scaled>},
#define LUM_SUB_SCALED_I(name, T, C) \
  {#name, kFree, 1, 1, C, 0, CALL(name, SOURCE(T), TARGET(T), c.scale), apply<T, scaled>},
#define LUM_THRESHOLD(name, T) \
  {#name, kModeLast, 1, 4, 1, 0, CALL(name, SOURCE(T), TARGET(T), c.limit, c.comparison), apply<T, limited>},
#define LUM_THRESHOLD_LT(name, T) \
  {#name, kSteps, 1, 4, 1, 0, CALL(name, SOURCE(T), TARGET(T), c.limit), apply<T, limited>},
#define LUM_THRESHOLD_LT_I(name, T) {#name, kSteps, 0, 4, 1, 0, CALL(name, TARGET(T), c.limit), apply<T, limited>},
#define LUM_THRESHOLD_VAL(name, T)                                       \
  {#name,                                                                \
   kModeFirst,                                                           \
   1,                                                                    \
   1,                                                                    \
   1,                                                                    \
   0,                                                                    \
   CALL(name, SOURCE(T), TARGET(T), c.threshold, c.value, c.comparison), \
   apply<T, replaced>},
#define LUM_THRESHOLD_GTVAL(name, T) \
  {#name, kSteps, 1, 1, 1, 4, CALL(name, SOURCE(T), TARGET(T), c.threshold, c.value), apply<T, replaced>},
#define LUM_THRESHOLD_GTVAL_I(name, T) \
  {#name, kSteps, 0, 1, 1, 4, CALL(name, TARGET(T), c.threshold, c.value), apply<T, replaced>},
#include "lumcv/src/lumcvarithm.inc"
};

LumStatus expected_status(const Member& m, const Call& c) {
  const bool border = m.kind == kBorder, mode = c.comparison == 0 || c.comparison == 4;
  const bool reads = m.sources > 0 || border, writes = m.sources > 0 || !border;
  const auto empty = [](LumSize size) { return size.width < 1 || size.height < 1; };
  if (m.kind == kModeFirst && !mode) return lumStatusUnsupportedMode;
  if ((reads && !c.src) || (m.sources > 1 && !c.src2) || (writes && !c.dst)) return lumStatusNullPointer;
  if (!border && empty(c.roi)) return lumStatusBadSize;
  if (m.kind != kFree && ((reads && c.step < 1) || (writes && c.dst_step < 1))) return lumStatusBadStep;
  if (border && (empty(c.roi) || empty(c.from) || c.top < 0 || c.left < 0 ||
                 (long long)c.from.width + c.left > c.roi.width || (long long)c.from.height + c.top > c.roi.height))
    return lumStatusBadSize;
  return m.kind == kModeLast && !mode ? lumStatusUnsupportedMode : lumStatusOk;
}

// Rows in exactly the bytes that they cover.
struct Rows {
  Rows(Input& in, size_t row_bytes, int height, bool positive)
      : step(any_step(in, int(row_bytes), positive)), first(step < 0 ? -(ptrdiff_t)step * (height - 1) : 0),
        memory(row_bytes + (size_t)std::abs(step) * (height - 1), in.number(0, 15)) {
    Content content(in);
    for (size_t i = 0; i < memory.size(); i += 4) {
      const Lum32f number = content.next<Lum32f>();
      const Lum8u bytes[] = {content.next<Lum8u>(), content.next<Lum8u>(), content.next<Lum8u>(), 0};
      memcpy(memory.bytes() + i, row_bytes % 4 == 0 ? (const void*)&number : bytes,
             std::min<size_t>(4, memory.size() - i));
    }
  }
  static int any_step(Input& in, int row, bool positive) {
    const int step = in.pick({row, row, row + 4, row + 33, row / 2, 1, 0, -row, -row - 5});
    return positive ? std::max(step, 1) : step;
  }
  uint8_t* data() const { return memory.bytes() + first; }
  int step;
  ptrdiff_t first;
  Memory memory;
};

using Row = std::vector<uint8_t>;
uint8_t* row_at(const void* plane, int step, int y) { return (uint8_t*)plane + (ptrdiff_t)y * step; }

// The models; `c` points into copies.
void elements(const Member& m, const Call& c) {
  const size_t bytes = (size_t)c.roi.width * m.channels * m.element;
  for (int y = 0; y < c.roi.height; ++y) {
    uint8_t* const d = row_at(c.dst, c.dst_step, y);
    const uint8_t* const first = m.sources > 0 ? row_at(c.src, c.step, y) : d;
    const uint8_t* const second = m.sources > 1 ? row_at(c.src2, c.step2, y) : d;
    const Row a(first, first + bytes), b(second, second + bytes);
    for (size_t i = 0; i < bytes; i += m.element) m.rule(c, &a[i], &b[i], d + i);
  }
}
void extend(const Member& m, const Call& c) {
  const int pixel = m.channels * m.element;
  const size_t bytes = (size_t)c.roi.width * pixel;
  for (int i = 0; i < c.roi.height; ++i) {
    // Rows of the source, below, above.
    const int y = i + c.top < c.roi.height ? i + c.top : i + c.top - c.roi.height, from = y - c.top;
    const bool inside = from >= 0 && from < c.from.height;
    Row row(bytes, c.value);
    if (inside)
      for (int x = 0; x < c.roi.width; ++x) {
        const int at = std::clamp(x - c.left, 0, c.from.width - 1);
        if (!m.constant() || at == x - c.left)
          memcpy(&row[(size_t)x * pixel], row_at(c.src, c.step, from) + (ptrdiff_t)at * pixel, pixel);
      }
    else if (!m.constant())
      memcpy(row.data(), row_at(c.dst, c.dst_step, from < 0 ? c.top : y - 1), bytes);
    memcpy(row_at(c.dst, c.dst_step, y), row.data(), bytes);
  }
}

void damage(Input& in, Call& c) {
  switch (in.number(0, 8)) {
    case 0: c.src = nullptr; break;
    case 1: c.src2 = nullptr; break;
    case 2: c.dst = nullptr; break;
    case 3: (in.one_in(2) ? c.roi.width : c.roi.height) = in.number(-2, 0); break;
    case 4: (in.one_in(2) ? c.from.width : c.from.height) = in.pick({-1, 0, INT32_MAX}); break;
    case 5: (in.one_in(2) ? c.top : c.left) = in.pick({-1, INT32_MAX}); break;
    case 6: c.step = in.pick({0, -1, -100}); break;
    case 7: c.dst_step = in.pick({0, -1, -100}); break;
    default: c.comparison = in.pick({-1, 1, 2, 3, 5}); break;
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  Input in(data, size);
  const Member& m = in.pick(kMembers);
  const bool border = m.kind == kBorder, positive = m.kind != kFree;
  const int pixel = m.channels * m.element;
  Call call = {};
  // Some are so large that they bypass the cache.
  call.from = in.one_in(200) ? LumSize{in.number(1500, 1600), 1400} : LumSize{in.number(1, 200), in.number(1, 5)};
  call.top = border ? in.number(0, 5) : 0, call.left = border ? in.number(0, 70) : 0;
  call.roi = {call.from.width + call.left + (border ? in.number(0, 70) : 0),
              call.from.height + call.top + (border ? in.number(0, 5) : 0)};
  call.scale = in.one_in(4) ? in.number(INT32_MIN, INT32_MAX) : in.number(-10, 10);
  call.comparison = m.kind == kSteps ? m.comparison : 4 * in.number(0, 1);
  call.limit = Content(in).next<Lum32f>();
  call.threshold = Lum8u(in.number(0, 255)), call.value = Lum8u(in.number(0, 255));
  const Rows a(in, (size_t)call.from.width * pixel, call.from.height, positive);
  const Rows b(in, (size_t)call.from.width * pixel, call.from.height, positive);
  const Rows d(in, (size_t)call.roi.width * pixel, call.roi.height, positive);
  const ptrdiff_t inside = (ptrdiff_t)call.top * d.step + (ptrdiff_t)call.left * pixel;
  const bool own1 = m.sources == 0 || (!border && in.one_in(4)), own2 = m.sources < 2 || in.one_in(4);
  const auto aim = [&](uint8_t* dst) {
    call.dst = dst, call.dst_step = d.step;
    call.src = own1 ? dst + inside : a.data(), call.step = own1 ? d.step : a.step;
    call.src2 = own2 ? dst : b.data(), call.step2 = own2 ? d.step : b.step;
  };
  const Row before(d.memory.bytes(), d.memory.bytes() + d.memory.size());
  Row expected = before;
  aim(expected.data() + d.first);
  border ? extend(m, call) : elements(m, call);
  const int wrong = in.one_in(6) ? in.number(1, 2) : 0;
  fuzz::on_each_level([&] {
    memcpy(d.memory.bytes(), before.data(), before.size());
    aim(d.data());
    Call damaged = call;
    Input damages = in;
    for (int i = 0; i < wrong; ++i) damage(damages, damaged);
    const LumStatus status = expected_status(m, damaged);
    if (wrong && status == lumStatusOk) return;  // what was damaged is no argument of this function
    fuzz::expect_status(status, m.run(damaged), m.name);
    const Row& want = wrong ? before : expected;
    if (const auto at = std::mismatch(want.begin(), want.end(), d.memory.bytes()); at.first != want.end())
      fuzz::fail("%s, %dx%d, steps %d %d %d, scale %d, comparison %d, level %d: byte %td is %d, expected %d", m.name,
                 call.roi.width, call.roi.height, call.step, call.step2, call.dst_step, call.scale, call.comparison,
                 int(fuzz::level), at.first - want.begin(), *at.second, *at.first);
  });
  return 0;
}
