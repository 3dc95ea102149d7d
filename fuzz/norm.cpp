// Masked norms with arguments of every kind, right and wrong, against a scalar model.
#include "fuzz.h"
#include "tests/statistics_rules.h"

namespace {

using fuzz::Content, fuzz::Input, fuzz::Memory, fuzz::Plane;
using test::Norm, test::Measured;
using enum Norm;
using enum Measured;

struct Call {
  const void *src, *src2;
  int step, step2;
  const Lum8u* mask;
  int mask_step;
  LumSize roi;
  int coi;
  Lum64f* result;
};

constexpr int kSerial = 40;

template <class S>
struct Member {
  const char* name;
  Measured measured;
  Norm norm;
  int channels, exponent;
  LumStatus (*run)(const Call&);

  LumStatus status(const Call& c) const {
    const long long row = c.roi.width * (long long)sizeof(S) * channels;
    const bool two = measured != OneImage;
    if (!c.src || (two && !c.src2) || !c.mask || !c.result) return lumStatusNullPointer;
    if (c.roi.width < 1 || c.roi.height < 1) return lumStatusBadSize;
    if (c.step < row || (two && c.step2 < row) || c.mask_step < c.roi.width) return lumStatusBadStep;
    if (c.step % sizeof(S) != 0 || (two && c.step2 % sizeof(S) != 0)) return lumStatusStepNotPixelMultiple;
    return channels == 3 && (c.coi < 1 || c.coi > 3) ? lumStatusBadChannelOfInterest : lumStatusOk;
  }
};

template <class S>
std::vector<Member<S>> members() {
  std::vector<Member<S>> list;
  const auto add = [&]<class T>(const Member<T>& member) {
    if constexpr (std::is_same_v<S, T>) list.push_back(member);
  };
#define SOURCE(T, n) (const T*)c.src##n, c.step##n
#define MASK c.mask, c.mask_step, c.roi
#define MEMBER(name, T, measured, norm, channels, k, ...) \
  add(Member<T>{#name, measured, norm, channels, k, [](const Call& c) { return name(__VA_ARGS__, c.result); }});
#define LUM_NORM_C1(name, T, norm, k) MEMBER(name, T, OneImage, norm, 1, k, SOURCE(T, ), MASK)
#define LUM_NORM_C3C(name, T, norm, k) MEMBER(name, T, OneImage, norm, 3, k, SOURCE(T, ), MASK, c.coi)
#define LUM_NORM_DIFF_C1(name, T, norm, k) MEMBER(name, T, Difference, norm, 1, k, SOURCE(T, ), SOURCE(T, 2), MASK)
#define LUM_NORM_DIFF_C3C(name, T, norm, k) \
  MEMBER(name, T, Difference, norm, 3, k, SOURCE(T, ), SOURCE(T, 2), MASK, c.coi)
#define LUM_NORM_REL_C1(name, T, norm, k) MEMBER(name, T, Relative, norm, 1, k, SOURCE(T, ), SOURCE(T, 2), MASK)
#define LUM_NORM_REL_C3C(name, T, norm, k) MEMBER(name, T, Relative, norm, 3, k, SOURCE(T, ), SOURCE(T, 2), MASK, c.coi)
#include "lumcv/src/lumcvnorm.inc"
  return list;
}

template <class S>
void damage(Call& call, Input& in) {
  switch (in.number(0, 9)) {
    case 0: call.src = nullptr; break;
    case 1: call.src2 = nullptr; break;
    case 2: call.mask = nullptr; break;
    case 3: call.result = nullptr; break;
    case 4: (in.one_in(2) ? call.roi.width : call.roi.height) = in.number(-2, 0); break;
    case 5: call.roi.width |= 1 << 30; break;
    case 6: call.step = sizeof(S) > 1 && in.one_in(2) ? call.step | 1 : -call.step; break;
    case 7: call.step2 = sizeof(S) > 1 && in.one_in(2) ? call.step2 | 1 : -call.step2; break;
    case 8: call.mask_step = call.roi.width - 1; break;
    default: call.coi = in.pick({0, 4, -1, INT32_MAX}); break;
  }
}

// Mostly small images, few that are large enough to be cut into bands.
LumSize roi_of(Input& in, int threads, int exponent) {
  const int kind = in.number(0, 255);
  if (kind < 240) return {in.number(1, 80), in.number(1, 5)};
  if (kind < 250) return {in.number(256, 1200), in.number(1, 3)};
  const int height = in.number(1, 4) * threads + in.number(0, 2), pixels = threads << std::min(exponent, 17);
  return {std::max(1, pixels / height + in.number(-1, 1)), height};
}

template <class S>
void norm(const Member<S>& m, Input& in) {
  const int threads = fuzz::set_threads(in);
  const LumSize roi = roi_of(in, threads, m.exponent);
  const int padding = in.pick({0, 1, 2, 5, 33}), shift = in.number(0, 15), coi = in.number(1, m.channels);
  const int wrong = in.one_in(8) ? in.number(1, 2) : 0;
  Plane<S> src(roi, m.channels, padding * int(sizeof(S)), shift), src2(roi, m.channels, 0, 15 - shift);
  Plane<Lum8u> mask(roi, 1, padding, shift);
  mask.fill(Content(in));
  src.fill(Content(in));
  src2.fill(Content(in));
  const bool parallel = lumGetNumCoresOnDie() > 1 && (long long)roi.width * roi.height >= (long long)threads
                                                                                              << m.exponent;
  const auto plane = [&](const Plane<S>& p) {
    return [&](int x, int y) { return p.get(x * m.channels + coi - 1, y); };
  };
  const auto selected = [&](int x, int y) { return mask.get(x, y) != 0; };
  const test::NormResult expected =
      test::masked_norm<S>(m.measured, m.norm, roi, parallel ? threads : 1, plane(src), plane(src2), selected);
  fuzz::on_each_level([&] {
    const Memory result(sizeof(Lum64f), shift);
    Call call = {
        src.data(), src2.data(), src.step(), src2.step(), mask.data(), mask.step(), roi, coi, (Lum64f*)result.bytes()};
    Input damages = in;
    for (int i = 0; i < wrong; ++i) damage<S>(call, damages);
    const LumStatus status = m.status(call);
    if (status != lumStatusOk) {
      fuzz::expect_status(status, m.run(call), m.name);
      if (!result.untouched()) fuzz::fail("%s: a call that failed wrote its result", m.name);
    } else if (!wrong) {
      fuzz::expect_status(expected.status, m.run(call), m.name);
      Lum64f got;
      memcpy(&got, result.bytes(), sizeof got);
      if (!fuzz::equal(got, expected.value))
        fuzz::fail("%s, %d threads, %dx%d: %.17g, expected %.17g", m.name, threads, roi.width, roi.height, got,
                   expected.value);
    }
  });
}

template <class S>
void any_norm(Input& in) {
  static const std::vector<Member<S>> list = members<S>();
  norm(list[in.number(0, int(list.size()) - 1)], in);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  Input in(data, size);
  switch (in.number(0, 3)) {
    case 0: any_norm<Lum8u>(in); break;
    case 1: any_norm<Lum8s>(in); break;
    case 2: any_norm<Lum16u>(in); break;
    default: any_norm<Lum32f>(in); break;
  }
  return 0;
}
