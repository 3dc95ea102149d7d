// Row and column passes with arguments of every kind, right and wrong, against a scalar model.
#include "fuzz.h"
#include "tests/filter_rules.h"

namespace {

using fuzz::Array, fuzz::Content, fuzz::Input, fuzz::Memory, fuzz::Plane;

// ---- members ----

using SizeFunction = LumStatus (*)(LumSize, int, int*);

template <class S, class M>
struct RowMember {
  const char* name;
  int channels;
  SizeFunction size;
  LumStatus (*integer)(const S*, int, M* const*, LumSize, const M*, int, int, LumBorderType, S, int, Lum8u*);
  LumStatus (*real)(const S*, int, M* const*, LumSize, const M*, int, int, LumBorderType, S, Lum8u*) = nullptr;
};
template <class S, class D>
struct ColumnMember {
  const char* name;
  int channels;
  SizeFunction size;
  LumStatus (*integer)(const S* const*, D*, int, LumSize, const S*, int, int, Lum8u*);
  LumStatus (*real)(const S* const*, D*, int, LumSize, const S*, int, Lum8u*) = nullptr;
};
#define ROW(type, c, ...) \
  { "row " #type, c, lumiFilterRowBorderPipelineGetBufferSize_##type, __VA_ARGS__ lumiFilterRowBorderPipeline_##type }
#define COLUMN(type, c, ...) \
  { "column " #type, c, lumiFilterColumnPipelineGetBufferSize_##type, __VA_ARGS__ lumiFilterColumnPipeline_##type }
const RowMember<Lum8u, Lum16s> kRows8u[] = {ROW(8u16s_C1R, 1), ROW(8u16s_C3R, 3)};
const RowMember<Lum16s, Lum16s> kRows16s[] = {ROW(16s_C1R, 1), ROW(16s_C3R, 3), ROW(Low_16s_C1R, 1),
                                              ROW(Low_16s_C3R, 3)};
const RowMember<Lum32f, Lum32f> kRows32f[] = {ROW(32f_C1R, 1, nullptr, ), ROW(32f_C3R, 3, nullptr, )};
const ColumnMember<Lum16s, Lum16s> kColumns16s[] = {COLUMN(16s_C1R, 1), COLUMN(16s_C3R, 3), COLUMN(Low_16s_C1R, 1),
                                                    COLUMN(Low_16s_C3R, 3)};
const ColumnMember<Lum16s, Lum8u> kColumns8u[] = {COLUMN(16s8u_C1R, 1), COLUMN(16s8u_C3R, 3)};
const ColumnMember<Lum16s, Lum8s> kColumns8s[] = {COLUMN(16s8s_C1R, 1), COLUMN(16s8s_C3R, 3)};
const ColumnMember<Lum32f, Lum32f> kColumns32f[] = {COLUMN(32f_C1R, 1, nullptr, ), COLUMN(32f_C3R, 3, nullptr, )};

// ---- arguments ----

// What both passes take. Small images with kernels shorter and longer than a row; some just large enough to be cut into
// slices.
struct Shape {
  LumSize roi;
  int taps, anchor, border, divisor, padding, shift;

  Shape(Input& in, int threads) {
    const int kind = in.number(0, 255);
    if (kind < 220) {
      roi = {in.number(1, 80), in.number(1, in.one_in(4) ? 40 : 4)}, taps = in.number(1, in.one_in(4) ? 40 : 7);
    } else if (kind < 238) {
      roi = {in.number(1, 30), in.number(1, 3)}, taps = in.number(41, 300);
    } else {
      const int height = in.one_in(6) ? in.number(1, 5) : in.number(200, 600);
      roi = {32768 * threads / height + in.number(0, 20), height}, taps = in.number(1, 6);
    }
    if (kind >= 254) taps = in.number(80, 180);  // slices that share the work buffer
    anchor = in.number(0, taps - 1);
    border = in.number(0, 4);
    divisor = in.pick({1, 2, 3, 9, -1, -7, 256, 16384, 1 << 20, INT32_MIN, INT32_MAX});
    padding = in.pick({0, 1, 2, 5, 33});
    shift = in.number(0, 15);
  }
};

template <class M>
std::vector<M> kernel_of(int taps, Input& in) {
  Content content(in);
  const int range = in.pick({1, 5, 100, 512, 4096, 32767});
  std::vector<M> kernel;
  for (int k = 0; k < taps; ++k) {
    const M tap = content.next<M>();
    kernel.push_back(std::is_floating_point_v<M> ? tap : M(int(tap) % (range + 1)));
  }
  return kernel;
}

// ---- models ----

Lum32f correlate(const std::vector<Lum32f>& kernel, const Lum32f* e) {
  Lum32f sum = kernel[0] * e[0];
  for (size_t k = 1; k < kernel.size(); ++k) sum += kernel[k] * e[k];
  return sum;
}
Lum32f finish_row(const std::vector<Lum32f>& kernel, const Lum32f* e, int, int, int) { return correlate(kernel, e); }
template <class S>
Lum16s finish_row(const std::vector<Lum16s>& kernel, const S* e, int divisor, int x, int width) {
  unsigned sum = 0;  // wraps
  for (size_t k = 0; k < kernel.size(); ++k) sum += unsigned(kernel[k] * e[k]);
  return test::scaled<Lum16s>(Lum32f(int(sum)), divisor, x, width);
}
template <class D>
D finish_column(const std::vector<Lum32f>& kernel, const Lum32f* e, int, int, int) {
  return correlate(kernel, e);
}
template <class D>
D finish_column(const std::vector<Lum16s>& kernel, const Lum16s* e, int divisor, int x, int width) {
  Lum32f sum = 0;
  for (size_t k = 0; k < kernel.size(); ++k) sum += Lum32f(kernel[k] * e[k]);
  return test::scaled<D>(sum, divisor, x, width);
}

template <class S, class M>
std::vector<M> row_model(const Plane<S>& src, const Shape& shape, int channels, const std::vector<M>& kernel, S value) {
  const int width = shape.roi.width, n = width + shape.taps - 1;
  std::vector<S> extended(n);
  std::vector<M> result((size_t)width * channels * shape.roi.height);
  for (int y = 0; y < shape.roi.height; ++y)
    for (int c = 0; c < channels; ++c) {
      for (int i = 0; i < n; ++i) {
        const int x = test::border_walk(i - shape.anchor, width, shape.border);
        extended[i] = x < 0 ? value : src.get(x * channels + c, y);
      }
      for (int x = 0; x < width; ++x)
        result[((size_t)y * width + x) * channels + c] = finish_row(kernel, &extended[x], shape.divisor, x, width);
    }
  return result;
}

template <class D, class S>
std::vector<D> column_model(const Plane<S>& src, const std::vector<int>& order, const Shape& shape, int channels,
                            const std::vector<S>& kernel) {
  std::vector<S> column(order.size());
  std::vector<D> result((size_t)src.elements() * shape.roi.height);
  for (int x = 0; x < src.elements(); ++x) {
    for (size_t y = 0; y < order.size(); ++y) column[y] = src.get(x, order[y]);
    for (int y = 0; y < shape.roi.height; ++y)
      result[(size_t)y * src.elements() + x] =
          finish_column<D>(kernel, &column[y], shape.divisor, x / channels, shape.roi.width);
  }
  return result;
}

// ---- calls ----

template <class Member>
Memory work_buffer(const Member& member, const Shape& shape, Input& in) {
  int size = 0;
  fuzz::probe_size(in, member.name, [&](LumSize roi, int* bytes) { return member.size(roi, shape.taps, bytes); });
  fuzz::expect_status(lumStatusOk, member.size(shape.roi, shape.taps, &size), member.name);
  if (in.one_in(4)) fuzz::set_threads(in);  // any buffer serves any count
  return Memory(size, in.number(0, 15));
}

template <class S, class M>
struct RowCall {
  const S* src;
  int step;
  M* const* dst;
  LumSize roi;
  const M* kernel;
  int taps, anchor, border, divisor;
  Lum8u* buffer;

  LumStatus operator()(const RowMember<S, M>& m, S value) const {
    return m.integer ? m.integer(src, step, dst, roi, kernel, taps, anchor, border, value, divisor, buffer)
                     : m.real(src, step, dst, roi, kernel, taps, anchor, border, value, buffer);
  }
  LumStatus status(const RowMember<S, M>& m) const {
    if (!src || !dst || !kernel || !buffer) return lumStatusNullPointer;
    if (roi.width < 1 || roi.height < 1 || taps < 1) return lumStatusBadSize;
    if (anchor < 0 || anchor >= taps) return lumStatusBadAnchor;
    if (step < (long long)roi.width * m.channels * (int)sizeof(S)) return lumStatusBadStep;
    if (step % sizeof(S) != 0) return lumStatusStepNotPixelMultiple;
    if (border < 0 || border > 4 || (m.integer && divisor == 0)) return lumStatusBadArgument;
    return lumStatusOk;
  }
  void damage(Input& in) {
    switch (in.number(0, 9)) {
      case 0: src = nullptr; break;
      case 1: dst = nullptr; break;
      case 2: kernel = nullptr; break;
      case 3: buffer = nullptr; break;
      case 4: (in.one_in(2) ? roi.width : roi.height) = in.number(-2, 0); break;
      case 5: roi.width |= 1 << 30; break;
      case 6: taps = in.number(-2, 0); break;
      case 7: anchor = in.one_in(2) ? -1 : taps; break;
      case 8: step = sizeof(S) > 1 && in.one_in(2) ? step | 1 : step - 100000; break;
      default: border = in.number(-3, 8); break;
    }
    if (in.one_in(4)) divisor = 0;
  }
};

template <class S, class D>
struct ColumnCall {
  const S* const* src;
  D* dst;
  int step;
  LumSize roi;
  const S* kernel;
  int taps, divisor;
  Lum8u* buffer;
  bool null_row;

  LumStatus operator()(const ColumnMember<S, D>& m) const {
    return m.integer ? m.integer(src, dst, step, roi, kernel, taps, divisor, buffer)
                     : m.real(src, dst, step, roi, kernel, taps, buffer);
  }
  LumStatus status(const ColumnMember<S, D>& m) const {
    if (!src || !dst || !kernel) return lumStatusNullPointer;
    if (roi.width < 1 || roi.height < 1 || taps < 1) return lumStatusBadSize;
    if (step < (long long)roi.width * m.channels * (int)sizeof(D)) return lumStatusBadStep;
    if (step % sizeof(D) != 0) return lumStatusStepNotPixelMultiple;
    if (!buffer) return lumStatusNullPointer;
    if (m.integer && divisor == 0) return lumStatusBadArgument;
    return null_row ? lumStatusNullPointer : lumStatusOk;
  }
  void damage(Input& in) {
    switch (in.number(0, 7)) {
      case 0: src = nullptr; break;
      case 1: dst = nullptr; break;
      case 2: kernel = nullptr; break;
      case 3: buffer = nullptr; break;
      case 4: (in.one_in(2) ? roi.width : roi.height) = in.number(-2, 0); break;
      case 5: roi.width |= 1 << 30; break;
      case 6: taps = in.number(-2, 0); break;
      default: step = sizeof(D) > 1 && in.one_in(2) ? step | 1 : step - 100000; break;
    }
    if (in.one_in(4)) divisor = 0;
  }
};

void describe(const char* name, const Shape& shape) {
  int threads = 0;
  lumGetNumThreads(&threads);
  fprintf(stderr, "\n%s, %s, %d threads, %dx%d, %d taps, anchor %d, border %d, divisor %d, padding %d, shift %d\n",
          name, fuzz::level == lum::Level::avx2 ? "avx2" : "sse3", threads, shape.roi.width, shape.roi.height,
          shape.taps, shape.anchor, shape.border, shape.divisor, shape.padding, shape.shift);
}

template <class S, class M>
void row_pass(const RowMember<S, M>& member, Input& in) {
  const Shape shape(in, fuzz::set_threads(in));
  const auto kernel = kernel_of<M>(shape.taps, in);
  const Array<M> kernel_memory(kernel, in.number(0, 15));
  const Memory buffer = work_buffer(member, shape, in);
  const int wrong = in.one_in(8) ? in.number(1, 2) : 0;
  Plane<S> src(shape.roi, member.channels, shape.padding * sizeof(S), shape.shift);
  Content content(in);
  const S value = content.next<S>();
  src.fill(content);
  const auto expected = wrong ? std::vector<M>() : row_model(src, shape, member.channels, kernel, value);
  fuzz::on_each_level([&] {
    Plane<M> dst(shape.roi, member.channels, shape.padding, 15 - shape.shift);
    std::vector<M*> rows;
    for (int y = 0; y < shape.roi.height; ++y) rows.push_back(dst.row(y));
    const Array<M*> row_memory(rows, shape.shift);
    RowCall<S, M> call = {src.data(), src.step(),   row_memory.data(), shape.roi,     kernel_memory.data(),
                          shape.taps, shape.anchor, shape.border,      shape.divisor, buffer.bytes()};
    Input damages = in;
    for (int i = 0; i < wrong; ++i) call.damage(damages);
    const LumStatus status = wrong ? call.status(member) : lumStatusOk;
    fuzz::expect_status(status, call(member, value), member.name);
    if (status != lumStatusOk) return dst.expect_untouched();
    if (!wrong) dst.expect(expected, [&] { describe(member.name, shape); });
  });
}

template <class S, class D>
void column_pass(const ColumnMember<S, D>& member, Input& in) {
  const Shape shape(in, fuzz::set_threads(in));
  const auto kernel = kernel_of<S>(shape.taps, in);
  const Array<S> kernel_memory(kernel, in.number(0, 15));
  const Memory buffer = work_buffer(member, shape, in);
  const int wrong = in.one_in(8) ? in.number(1, 2) : 0;
  // A plane of all rows, or a ring of fewer, in any direction.
  const int count = shape.roi.height + shape.taps - 1;
  Plane<S> src({shape.roi.width, in.one_in(4) ? in.number(1, count) : count}, member.channels, shape.padding,
               shape.shift);
  src.fill(Content(in));
  std::vector<int> order;
  for (int y = 0; y < count; ++y) order.push_back(y % src.height());
  if (in.one_in(4)) std::reverse(order.begin(), order.end());
  std::vector<const S*> rows;
  for (int y : order) rows.push_back(src.row(y));
  const bool null_row = wrong && in.one_in(3);
  if (null_row) rows[in.number(0, count - 1)] = nullptr;
  const Array<const S*> row_memory(rows, shape.shift);
  const auto expected = wrong ? std::vector<D>() : column_model<D>(src, order, shape, member.channels, kernel);
  fuzz::on_each_level([&] {
    Plane<D> dst(shape.roi, member.channels, shape.padding * sizeof(D), 15 - shape.shift);
    ColumnCall<S, D> call = {row_memory.data(), dst.data(),    dst.step(),     shape.roi, kernel_memory.data(),
                             shape.taps,        shape.divisor, buffer.bytes(), null_row};
    Input damages = in;
    for (int i = null_row; i < wrong; ++i) call.damage(damages);
    const LumStatus status = wrong ? call.status(member) : lumStatusOk;
    fuzz::expect_status(status, call(member), member.name);
    if (status != lumStatusOk) return dst.expect_untouched();
    if (!wrong) dst.expect(expected, [&] { describe(member.name, shape); });
  });
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  Input in(data, size);
  switch (in.number(0, 6)) {
    case 0: row_pass(in.pick(kRows8u), in); break;
    case 1: row_pass(in.pick(kRows16s), in); break;
    case 2: row_pass(in.pick(kRows32f), in); break;
    case 3: column_pass(in.pick(kColumns16s), in); break;
    case 4: column_pass(in.pick(kColumns8u), in); break;
    case 5: column_pass(in.pick(kColumns8s), in); break;
    default: column_pass(in.pick(kColumns32f), in); break;
  }
  return 0;
}
