// The fixed filters and the Gaussian with arguments of every kind, right and wrong, against a scalar model.
#include "fuzz.h"
#include "tests/filter_rules.h"

namespace {

using fuzz::Content, fuzz::Input, fuzz::Memory, fuzz::Plane;

// ---- members ----

enum Kernel { kDx, kDxNeg, kD2x, kSobel, kSobelNeg, kScharr, kAvr, kLaplacian };
constexpr int kTaps[][2][5] = {
    {{-1, 0, 1}, {-1, -2, 0, 2, 1}},       // Dx
    {{1, 0, -1}, {1, 2, 0, -2, -1}},       // DxNeg
    {{1, -2, 1}, {1, 0, -2, 0, 1}},        // D2x
    {{1, 2, 1}, {1, 4, 6, 4, 1}},          // Sobel
    {{-1, -2, -1}, {-1, -4, -6, -4, -1}},  // SobelNeg
    {{3, 10, 3}, {}},                      // Scharr
    {{1, 1, 1}, {1, 1, 1, 1, 1}},          // Avr
};

template <class S, class D>
struct Member {
  const char* name;
  Kernel row, column;
  LumStatus (*size)(LumSize, LumMaskSize, int*);
  LumStatus (*run)(const S*, int, D*, int, LumSize, LumMaskSize, LumBorderType, S, int, Lum8u*);
  bool has_mask;
  static constexpr bool divides = std::is_same_v<D, Lum8s>;
};

// One form for all: an argument that a function does not take is dropped.
template <auto Function, class S, class D>
LumStatus masked(const S* src, int step, D* dst, int dst_step, LumSize roi, LumMaskSize mask, LumBorderType border,
                 S value, [[maybe_unused]] int divisor, Lum8u* buffer) {
  if constexpr (Member<S, D>::divides)
    return Function(src, step, dst, dst_step, roi, mask, border, value, divisor, buffer);
  else
    return Function(src, step, dst, dst_step, roi, mask, border, value, buffer);
}
template <auto Function, class S, class D>
LumStatus unmasked(const S* src, int step, D* dst, int dst_step, LumSize roi, LumMaskSize, LumBorderType border,
                   S value, [[maybe_unused]] int divisor, Lum8u* buffer) {
  if constexpr (Member<S, D>::divides)
    return Function(src, step, dst, dst_step, roi, border, value, divisor, buffer);
  else
    return Function(src, step, dst, dst_step, roi, border, value, buffer);
}
template <LumStatus (*Function)(LumSize, int*)>
LumStatus unmasked_size(LumSize roi, LumMaskSize, int* size) {
  return Function(roi, size);
}

#define MASKED(filter, row, column, types, S, D)                                      \
  Member<S, D> {                                                                      \
#filter " " #types, row, column, lumiFilter##filter##GetBufferSize_##types##_C1R, \
        masked < lumiFilter##filter##Border_##types##_C1R, S, D>, true                \
  }
#define UNMASKED(filter, row, column, types, S, D)                                                     \
  Member<S, D> {                                                                                       \
#filter " " #types, row, column, unmasked_size < lumiFilter##filter##GetBufferSize_##types##_C1R>, \
        unmasked < lumiFilter##filter##Border_##types##_C1R, S, D>, false                              \
  }
#define DERIVATIVES(...)                                                                                         \
  MASKED(SobelHoriz, kSobel, kDx, __VA_ARGS__), MASKED(SobelVert, kDxNeg, kSobel, __VA_ARGS__),                  \
      MASKED(SobelNegVert, kDxNeg, kSobelNeg, __VA_ARGS__), MASKED(SobelHorizSecond, kSobel, kD2x, __VA_ARGS__), \
      MASKED(SobelVertSecond, kD2x, kSobel, __VA_ARGS__), MASKED(SobelCross, kDxNeg, kDx, __VA_ARGS__),          \
      MASKED(Laplacian, kLaplacian, kLaplacian, __VA_ARGS__), UNMASKED(ScharrHoriz, kScharr, kDx, __VA_ARGS__),  \
      UNMASKED(ScharrVert, kDx, kScharr, __VA_ARGS__)
const Member<Lum8u, Lum16s> kTo16s[] = {DERIVATIVES(8u16s, Lum8u, Lum16s)};
const Member<Lum8u, Lum8s> kTo8s[] = {DERIVATIVES(8u8s, Lum8u, Lum8s)};
const Member<Lum8u, Lum8u> kTo8u[] = {MASKED(Lowpass, kAvr, kAvr, 8u, Lum8u, Lum8u)};
const Member<Lum32f, Lum32f> kTo32f[] = {DERIVATIVES(32f, Lum32f, Lum32f),
                                         MASKED(Lowpass, kAvr, kAvr, 32f, Lum32f, Lum32f)};

// ---- arguments ----

// Small images, a few wider than a strip or just large enough to be cut into slices.
LumSize roi_of(Input& in, int threads) {
  const int kind = in.number(0, 255);
  if (kind < 228) return {in.number(1, 80), in.number(1, in.one_in(4) ? 40 : 5)};
  if (kind < 240) return {in.number(1000, 4200), in.number(1, 3)};
  return {in.number(256, 290), (in.one_in(4) ? 256 : 128) * threads + in.number(0, 9)};
}

struct Shape {
  LumSize roi;
  int mask, border, divisor, padding, shift;

  Shape(Input& in, int threads)
      : roi(roi_of(in, threads)), mask(in.one_in(2) ? 33 : 55), border(in.number(0, 4)),
        divisor(in.pick({1, 2, 3, 8, -1, -5, 100, INT32_MAX, INT32_MIN})), padding(in.pick({0, 1, 2, 5, 33})),
        shift(in.number(0, 15)) {}
};

template <class S, class D>
struct Call {
  const S* src;
  int step;
  D* dst;
  int dst_step;
  LumSize roi;
  int mask, border, divisor;
  Lum8u* buffer;

  LumStatus operator()(const Member<S, D>& m, S value) const {
    return m.run(src, step, dst, dst_step, roi, mask, border, value, divisor, buffer);
  }
  LumStatus status(const Member<S, D>& m) const {
    if (!src || !dst || !buffer) return lumStatusNullPointer;
    if (roi.width < 1 || roi.height < 1) return lumStatusBadSize;
    if (step < roi.width * (long long)sizeof(S) || dst_step < roi.width * (long long)sizeof(D)) return lumStatusBadStep;
    if (step % sizeof(S) != 0 || dst_step % sizeof(D) != 0) return lumStatusStepNotPixelMultiple;
    if (border < 0 || border > 4 || (m.divides && divisor == 0)) return lumStatusBadArgument;
    return m.has_mask && mask != 33 && mask != 55 ? lumStatusBadMaskSize : lumStatusOk;
  }
  void damage(Input& in) {
    switch (in.number(0, 9)) {
      case 0: src = nullptr; break;
      case 1: dst = nullptr; break;
      case 2: buffer = nullptr; break;
      case 3: (in.one_in(2) ? roi.width : roi.height) = in.number(-2, 0); break;
      case 4: roi.width |= 1 << 30; break;
      case 5: step = sizeof(S) > 1 && in.one_in(2) ? step | 1 : step - 100000; break;
      case 6: dst_step = sizeof(D) > 1 && in.one_in(2) ? dst_step | 1 : dst_step - 100000; break;
      case 7: border = in.one_in(2) ? 5 : -1; break;
      case 8: mask = in.pick({34, 0, 44, 77}); break;
      default: divisor = 0; break;
    }
  }
};

// ---- model ----

int correlate(Kernel kernel, int taps, const int* e) {
  int sum = 0;
  for (int k = 0; k < taps; ++k) sum += kTaps[kernel][taps == 5][k] * e[k];
  return sum;
}
// In ascending order, but 5-tap Dx in pairs, so that it cancels.
Lum32f correlate(Kernel kernel, int taps, const Lum32f* e) {
  if (kernel == kSobelNeg) return -correlate(kSobel, taps, e);
  if (kernel == kDx && taps == 5) return (e[4] - e[0]) + 2 * (e[3] - e[1]);
  if (kernel == kDxNeg && taps == 5) return (e[0] - e[4]) + 2 * (e[1] - e[3]);
  const int* const t = kTaps[kernel][taps == 5];
  Lum32f sum = Lum32f(t[0]) * e[0];
  for (int k = 1; k < taps; ++k)
    if (t[k] != 0) sum += Lum32f(t[k]) * e[k];
  return sum;
}

template <class S>
using Sum = decltype(S() + S());

// Every row of the image as the columns see it, filtered: half the taps above to half the taps below.
template <class S>
std::vector<Sum<S>> filtered_rows(const Plane<S>& src, Kernel kernel, int taps, int border, S value) {
  const int half = taps / 2, width = src.elements();
  std::vector<Sum<S>> rows, e(width + 2 * half);
  const int* const t = kTaps[kernel][taps == 5];
  for (int y = -half; y < src.height() + half; ++y) {
    const int at_y = test::border_walk(y, src.height(), border);
    for (int i = 0; at_y >= 0 && i < width + 2 * half; ++i) {
      const int x = test::border_walk(i - half, width, border);
      e[i] = x < 0 ? value : src.get(x, at_y);
    }
    for (int x = 0; x < width; ++x)
      rows.push_back(at_y < 0 ? value * Sum<S>(t[0] + t[1] + t[2] + t[3] + t[4]) : correlate(kernel, taps, &e[x]));
  }
  return rows;
}

template <class S>
std::vector<Sum<S>> two_passes(const Plane<S>& src, Kernel row, Kernel column, int taps, int border, S value) {
  const auto rows = filtered_rows(src, row, taps, border, value);
  const int width = src.elements();
  std::vector<Sum<S>> sums;
  for (size_t i = 0; i < (size_t)width * src.height(); ++i) {
    Sum<S> e[5];
    for (int k = 0; k < taps; ++k) e[k] = rows[i + (size_t)k * width];
    sums.push_back(correlate(column, taps, e));
  }
  return sums;
}

template <class D, class T>
D finish(T sum, Kernel kernel, int taps, int divisor, int x, int width) {
  if constexpr (std::is_same_v<T, Lum32f>)
    return kernel == kAvr ? sum * (taps == 3 ? 1.0f / 9 : 1.0f / 25) : sum;
  else if constexpr (std::is_same_v<D, Lum8u>)
    return D(std::min(255, (taps == 3 ? (sum + 5) * 7280 : sum * 2621) >> 16));
  else if constexpr (std::is_same_v<D, Lum8s>)
    return test::scaled<D>(Lum32f(sum), divisor, x, width);
  else
    return D(sum);
}

template <class S, class D>
std::vector<D> model(const Member<S, D>& member, const Plane<S>& src, const Shape& shape, S value) {
  const int taps = member.has_mask ? shape.mask / 11 : 3, width = src.elements();
  const bool laplacian = member.row == kLaplacian;
  auto sums =
      two_passes(src, laplacian ? kSobel : member.row, laplacian ? kD2x : member.column, taps, shape.border, value);
  if (laplacian) {
    const auto others = two_passes(src, kD2x, kSobel, taps, shape.border, value);
    for (size_t i = 0; i < sums.size(); ++i) sums[i] += others[i];
  }
  std::vector<D> result;
  for (size_t i = 0; i < sums.size(); ++i)
    result.push_back(finish<D>(sums[i], member.row, taps, shape.divisor, int(i % width), width));
  return result;
}

// ---- calls ----

void describe(const char* name, const Shape& shape, int taps) {
  int threads = 0;
  lumGetNumThreads(&threads);
  fprintf(stderr, "\n%s, %s, %d threads, %dx%d, %d taps, border %d, divisor %d, padding %d, shift %d\n", name,
          fuzz::level == lum::Level::avx2 ? "avx2" : "sse3", threads, shape.roi.width, shape.roi.height, taps,
          shape.border, shape.divisor, shape.padding, shape.shift);
}

template <class S, class D>
void fixed_filter(const Member<S, D>& member, Input& in) {
  const Shape shape(in, fuzz::set_threads(in));
  int size = 0;
  const auto size_of = [&](LumSize roi, int* bytes) { return member.size(roi, shape.mask, bytes); };
  fuzz::probe_size(in, member.name, size_of);
  fuzz::expect_status(lumStatusOk, size_of(shape.roi, &size), member.name);
  const Memory buffer(size, in.number(0, 15));
  if (in.one_in(4)) fuzz::set_threads(in);  // any buffer serves any count
  const int wrong = in.one_in(8) ? in.number(1, 2) : 0;
  Plane<S> src(shape.roi, 1, shape.padding * sizeof(S), shape.shift);
  Content content(in);
  const S value = content.next<S>();
  src.fill(content);
  const auto expected = wrong ? std::vector<D>() : model(member, src, shape, value);
  fuzz::on_each_level([&] {
    Plane<D> dst(shape.roi, 1, shape.padding * sizeof(D), 15 - shape.shift);
    Call<S, D> call = {src.data(), src.step(),   dst.data(),    dst.step(),    shape.roi,
                       shape.mask, shape.border, shape.divisor, buffer.bytes()};
    Input damages = in;
    for (int i = 0; i < wrong; ++i) call.damage(damages);
    const LumStatus status = call.status(member);
    fuzz::expect_status(status, call(member, value), member.name);
    if (status != lumStatusOk) return dst.expect_untouched();
    if (!wrong) dst.expect(expected, [&] { describe(member.name, shape, shape.mask / 11); });
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
  for (Lum64f tap : taps) result.push_back(Lum32f(tap / sum));
  return result;
}

Lum32f gauss_sum(const std::vector<Lum32f>& taps, const Lum32f* e, size_t stride) {
  Lum32f sum = taps[0] * e[0];
  for (size_t k = 1; k < taps.size(); ++k) sum += taps[k] * e[k * stride];
  return sum;
}

// The image, extended on all sides, filtered along the rows, then along the columns.
std::vector<Lum32f> gauss_model(const Plane<Lum32f>& src, const std::vector<Lum32f>& taps, int border, Lum32f value) {
  const int half = int(taps.size()) / 2, width = src.elements();
  std::vector<Lum32f> rows, e(width + 2 * half), result;
  for (int y = -half; y < src.height() + half; ++y) {
    const int at_y = test::border_walk(y, src.height(), border);
    for (int i = 0; i < width + 2 * half; ++i) {
      const int x = test::border_walk(i - half, width, border);
      e[i] = x < 0 || at_y < 0 ? value : src.get(x, at_y);
    }
    for (int x = 0; x < width; ++x) rows.push_back(gauss_sum(taps, &e[x], 1));
  }
  for (size_t i = 0; i < (size_t)width * src.height(); ++i) result.push_back(gauss_sum(taps, &rows[i], width));
  return result;
}

struct GaussCall {
  const Lum32f* src;
  int step;
  Lum32f* dst;
  int dst_step;
  LumSize roi;
  int taps;
  Lum32f sigma;
  int border;
  Lum8u* buffer;

  LumStatus operator()(Lum32f value) const {
    return lumiFilterGaussBorder_32f_C1R(src, step, dst, dst_step, roi, taps, sigma, border, value, buffer);
  }
  LumStatus status() const {
    if (!src || !dst || !buffer) return lumStatusNullPointer;
    if (roi.width < 1 || roi.height < 1) return lumStatusBadSize;
    if (step < roi.width || dst_step < roi.width) return lumStatusBadStep;
    const bool good = taps >= 3 && taps % 2 == 1 && sigma > 0 && border >= 0 && border <= 4;
    return good ? lumStatusOk : lumStatusBadArgument;
  }
  void damage(Input& in) {
    switch (in.number(0, 7)) {
      case 0: src = nullptr; break;
      case 1: dst = nullptr; break;
      case 2: buffer = nullptr; break;
      case 3: (in.one_in(2) ? roi.width : roi.height) = in.number(-2, 0); break;
      case 4: roi.width |= 1 << 30; break;
      case 5: (in.one_in(2) ? step : dst_step) -= 100000; break;
      case 6: in.one_in(2) ? taps = in.number(-2, 2) : border = 5; break;
      default: sigma = in.pick({0.0f, -1.0f, NAN}); break;
    }
  }
};

void gauss(Input& in) {
  const Shape shape(in, fuzz::set_threads(in));
  const int taps = 3 + 2 * in.number(0, shape.roi.width > 80 ? 3 : in.one_in(8) ? 60 : 6);
  const Lum32f sigma = in.pick({1.0f, 0.3f, 2.5f, 80.0f, 1e-30f, 1e30f, INFINITY});
  int size = 0;
  const auto size_of = [&](LumSize roi, int* bytes) { return lumiFilterGaussGetBufferSize_32f_C1R(roi, taps, bytes); };
  fuzz::probe_size(in, "size of Gauss", size_of);
  fuzz::expect_status(lumStatusOk, size_of(shape.roi, &size), "size of Gauss");
  const Memory buffer(size, in.number(0, 15));
  const int wrong = in.one_in(8) ? in.number(1, 2) : 0;
  Plane<Lum32f> src(shape.roi, 1, shape.padding, shape.shift);
  Content content(in);
  const Lum32f value = content.next<Lum32f>();
  src.fill(content);
  const auto expected = wrong ? std::vector<Lum32f>() : gauss_model(src, gauss_taps(taps, sigma), shape.border, value);
  fuzz::on_each_level([&] {
    Plane<Lum32f> dst(shape.roi, 1, shape.padding, 15 - shape.shift);
    GaussCall call = {src.data(), src.step(), dst.data(),   dst.step(),    shape.roi,
                      taps,       sigma,      shape.border, buffer.bytes()};
    Input damages = in;
    for (int i = 0; i < wrong; ++i) call.damage(damages);
    const LumStatus status = call.status();
    fuzz::expect_status(status, call(value), "Gauss");
    if (status != lumStatusOk) return dst.expect_untouched();
    if (!wrong) dst.expect(expected, [&] { describe("Gauss", shape, taps); });
  });
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  Input in(data, size);
  switch (in.number(0, 4)) {
    case 0: fixed_filter(in.pick(kTo16s), in); break;
    case 1: fixed_filter(in.pick(kTo8s), in); break;
    case 2: fixed_filter(in.pick(kTo8u), in); break;
    case 3: fixed_filter(in.pick(kTo32f), in); break;
    default: gauss(in); break;
  }
  return 0;
}
