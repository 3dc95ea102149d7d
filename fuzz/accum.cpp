// Accumulators and absolute differences with arguments of every kind, right and wrong, against a scalar model.
#include <math.h>

#include "fuzz.h"

namespace {

using fuzz::Content, fuzz::Input, fuzz::Plane;

template <class S, class D>
struct Call {
  const S *src, *src2;
  const Lum8u* mask;
  D* dst;
  int step, step2, mask_step, dst_step;
  LumSize roi;
  double value;
};

enum Op { Add, AddSquare, AddProduct, AddWeighted, AbsDiff };

template <class S, class D>
struct Member {
  const char* name;
  Op op;
  bool two, masked;
  LumStatus (*run)(const Call<S, D>&);
};

#define SOURCE c.src, c.step
#define SOURCES SOURCE, c.src2, c.step2
#define MASK c.mask, c.mask_step
#define TARGET c.dst, c.dst_step, c.roi
// For the macros of the list.
#define MEMBER(name, op, S, D, two, masked, ...) \
  take(Member<S, D>{#name, op, two, masked, [](const Call<S, D>& c) { return name(__VA_ARGS__); }});
#define LUM_ACCUM(name, S, op) MEMBER(name, op, S, Lum32f, false, false, SOURCE, TARGET)
#define LUM_ACCUM_MASKED(name, S, op) MEMBER(name, op, S, Lum32f, false, true, SOURCE, MASK, TARGET)
#define LUM_ACCUM_PRODUCT(name, S) MEMBER(name, AddProduct, S, Lum32f, true, false, SOURCES, TARGET)
#define LUM_ACCUM_PRODUCT_MASKED(name, S) MEMBER(name, AddProduct, S, Lum32f, true, true, SOURCES, MASK, TARGET)
#define LUM_ACCUM_WEIGHTED(name, S) MEMBER(name, AddWeighted, S, Lum32f, false, false, SOURCE, TARGET, Lum32f(c.value))
#define LUM_ACCUM_WEIGHTED_MASKED(name, S) \
  MEMBER(name, AddWeighted, S, Lum32f, false, true, SOURCE, MASK, TARGET, Lum32f(c.value))
#define LUM_ABS_DIFF(name, S) MEMBER(name, AbsDiff, S, S, true, false, SOURCES, TARGET)
#define LUM_ABS_DIFF_C(name, S, V) MEMBER(name, AbsDiff, S, S, false, false, SOURCE, TARGET, V(c.value))
template <class Take>
void each_member(const Take& take) {
#include "lumcv/src/lumcvaccum.inc"
}

// ---- model ----

template <class S, class D>
D model(const Member<S, D>& m, S a, S b, bool selected, D acc, double value) {
  constexpr bool kFloats = sizeof(S) == 4;
  const Lum32f x = Lum32f(a), old = Lum32f(acc), weight = selected ? Lum32f(value) : 0;
  switch (m.op) {
    case Add: return D(selected ? old + x : old);
    case AddSquare: return D(selected ? old + x * x : old);
    case AddProduct: return D(old + (!selected ? 0 : kFloats ? x * Lum32f(b) : Lum32f((long long)a * (long long)b)));
    case AddWeighted:
      if (kFloats && m.masked) return D(Lum32f(old + ((long double)x - old) * weight));
      return D(old + (x - old) * weight);
    default: break;
  }
  const double top = double(std::numeric_limits<S>::max());
  if (kFloats) return D(fabsf(x - (m.two ? Lum32f(b) : Lum32f(value))));
  return D(fabs(double(a) - (m.two ? double(b) : std::clamp(value, 0.0, top))));
}

template <class S, class D>
LumStatus expected_status(const Member<S, D>& m, const Call<S, D>& c) {
  if (!c.src || !c.dst || (m.two && !c.src2) || (m.masked && !c.mask)) return lumStatusNullPointer;
  if (c.roi.width < 1 || c.roi.height < 1) return lumStatusBadSize;
  const auto size = [&](int step, size_t bytes) { return step < (long long)c.roi.width * (long long)bytes; };
  const auto multiple = [](int step, size_t bytes) { return step % int(bytes) != 0; };
  const bool by_image = sizeof(S) != sizeof(D);
  if (size(c.step, sizeof(S))) return lumStatusBadStep;
  if (by_image && multiple(c.step, sizeof(S))) return lumStatusStepNotPixelMultiple;
  if (m.two && size(c.step2, sizeof(S))) return lumStatusBadStep;
  if (by_image && m.two && multiple(c.step2, sizeof(S))) return lumStatusStepNotPixelMultiple;
  if ((m.masked && size(c.mask_step, 1)) || size(c.dst_step, sizeof(D))) return lumStatusBadStep;
  if (multiple(c.step, sizeof(S)) || (m.two && multiple(c.step2, sizeof(S))) || multiple(c.dst_step, sizeof(D)))
    return lumStatusStepNotPixelMultiple;
  return lumStatusOk;
}

template <class S, class D>
void damage(Call<S, D>& c, Input& in) {
  switch (in.number(0, 8)) {
    case 0: c.src = nullptr; break;
    case 1: c.src2 = nullptr; break;
    case 2: c.mask = nullptr; break;
    case 3: c.dst = nullptr; break;
    case 4: (in.one_in(2) ? c.roi.width : c.roi.height) = in.number(-2, 0); break;
    case 5: c.roi.width |= 1 << 30; break;
    case 6: in.one_in(2) ? c.step -= in.number(1, 9) : c.step += in.number(1, 9); break;
    case 7: in.one_in(2) ? c.step2 -= in.number(1, 9) : c.mask_step -= in.number(1, 9); break;
    default: in.one_in(2) ? c.dst_step -= in.number(1, 9) : c.dst_step += in.number(1, 9); break;
  }
}

template <class S, class D>
void run(const Member<S, D>& m, Input& in) {
  const LumSize roi = {in.number(1, in.one_in(8) ? 600 : 70), in.number(1, 4)};
  const int padding = in.number(0, 3), shift = in.number(0, 15), wrong = in.one_in(8) ? in.number(1, 2) : 0;
  const double value = in.one_in(8)   ? double(INFINITY)
                       : in.one_in(2) ? in.number(-100000, 100000)
                                      : in.number(-99, 99) / 128.0;
  const bool in_place = std::is_same_v<S, D> && in.one_in(4);
  Plane<S> src(roi, 1, padding * int(sizeof(S)), shift), src2(roi, 1, 0, 15 - shift);
  Plane<Lum8u> mask(roi, 1, padding, shift / 2);
  src.fill(Content(in));
  src2.fill(Content(in));
  mask.fill(Content(in));
  const Content before(in);
  fuzz::on_each_level([&] {
    Plane<D> dst(roi, 1, padding * int(sizeof(D)), 15 - shift);
    Call<S, D> c = {in_place ? (const S*)dst.data() : src.data(),
                    src2.data(),
                    mask.data(),
                    dst.data(),
                    in_place ? dst.step() : src.step(),
                    src2.step(),
                    mask.step(),
                    dst.step(),
                    roi,
                    value};
    if (std::is_same_v<D, Lum8u> || std::is_same_v<D, Lum16u>) c.value = trunc(std::clamp(value, -1e9, 1e9));
    if (wrong) {
      Input damages = in;
      for (int i = 0; i < wrong; ++i) damage(c, damages);
      const LumStatus status = expected_status(m, c);
      if (status == lumStatusOk) return;  // of something that the function does not take
      fuzz::expect_status(status, m.run(c), m.name);
      return dst.expect_untouched();
    }
    dst.fill(before);
    std::vector<D> expected;
    for (int y = 0; y < roi.height; ++y)
      for (int x = 0; x < roi.width; ++x)
        expected.push_back(model(m, in_place ? S(dst.get(x, y)) : src.get(x, y), src2.get(x, y),
                                 !m.masked || mask.get(x, y) != 0, dst.get(x, y), c.value));
    fuzz::expect_status(lumStatusOk, m.run(c), m.name);
    dst.expect(expected, [&] {
      fprintf(stderr, "%s, %dx%d, value %g, shift %d%s\n", m.name, roi.width, roi.height, c.value, shift,
              in_place ? ", in place" : "");
    });
  });
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  Input in(data, size);
  int chosen = 0;
  each_member([&](const auto&) { ++chosen; });
  chosen = in.number(1, chosen);
  each_member([&](const auto& member) {
    if (--chosen == 0) run(member, in);
  });
  return 0;
}
