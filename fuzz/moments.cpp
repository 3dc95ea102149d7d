// Means, deviations and extrema with arguments of every kind, right and wrong, against a scalar model.
#include "fuzz.h"
#include "tests/moments_rules.h"

namespace {

using fuzz::Content, fuzz::Input, fuzz::Memory, fuzz::Plane;

struct Results {
  Lum64f mean, deviation;
  Lum32f least, greatest;
  LumPoint least_at, greatest_at;
};

struct Call {
  const void* src;
  int step;
  const Lum8u* mask;
  int mask_step;
  LumSize roi;
  int coi;
  Lum64f *mean, *deviation;
  Results* results;
};

constexpr int kSerial = 40;
enum Family { kMean, kDeviation, kExtrema };

template <class S>
struct Member {
  const char* name;
  Family family;
  int channels, exponent;
  bool masked;
  LumStatus (*run)(const Call&);

  LumStatus status(const Call& c) const {
    if (!c.src || (masked && !c.mask) || (family == kMean && !c.mean)) return lumStatusNullPointer;
    if (c.roi.width < 1 || c.roi.height < 1) return lumStatusBadSize;
    if (c.step < c.roi.width * (long long)sizeof(S) * channels) return lumStatusBadStep;
    if (masked && c.mask_step < c.roi.width) return lumStatusBadStep;
    if (c.step % int(sizeof(S)) != 0) return lumStatusStepNotPixelMultiple;
    return channels == 3 && (c.coi < 1 || c.coi > 3) ? lumStatusBadChannelOfInterest : lumStatusOk;
  }
};

template <class S>
std::vector<Member<S>> members() {
  std::vector<Member<S>> list;
  const auto add = [&]<class T>(const Member<T>& member) {
    if constexpr (std::is_same_v<S, T>) list.push_back(member);
  };
#define MASK c.mask, c.mask_step
#define MEMBER(name, T, family, channels, k, masked, ...) \
  add(Member<T>{#name, family, channels, k, masked,       \
                [](const Call& c) { return name((const T*)c.src, c.step, __VA_ARGS__); }});
#define LUM_MEAN_C1(name, T, k) MEMBER(name, T, kMean, 1, k, true, MASK, c.roi, c.mean)
#define LUM_MEAN_C3C(name, T, k) MEMBER(name, T, kMean, 3, k, true, MASK, c.roi, c.coi, c.mean)
#define TWO c.mean, c.deviation
#define LUM_DEVIATION_C1(name, T, k) MEMBER(name, T, kDeviation, 1, k, false, c.roi, TWO)
#define LUM_DEVIATION_C3C(name, T, k) MEMBER(name, T, kDeviation, 3, k, false, c.roi, c.coi, TWO)
#define LUM_DEVIATION_MASKED_C1(name, T, k) MEMBER(name, T, kDeviation, 1, k, true, MASK, c.roi, TWO)
#define LUM_DEVIATION_MASKED_C3C(name, T, k) MEMBER(name, T, kDeviation, 3, k, true, MASK, c.roi, c.coi, TWO)
#include "lumcv/src/lumcvmean.inc"
#define FOUR &c.results->least, &c.results->greatest, &c.results->least_at, &c.results->greatest_at
#define LUM_EXTREMA_C1(name, T) MEMBER(name, T, kExtrema, 1, 14, false, c.roi, FOUR)
#define LUM_EXTREMA_C3C(name, T) MEMBER(name, T, kExtrema, 3, 14, false, c.roi, c.coi, FOUR)
#define LUM_EXTREMA_MASKED_C1(name, T) MEMBER(name, T, kExtrema, 1, 14, true, MASK, c.roi, FOUR)
#define LUM_EXTREMA_MASKED_C3C(name, T) MEMBER(name, T, kExtrema, 3, 14, true, MASK, c.roi, c.coi, FOUR)
#include "lumcv/src/lumcvminmaxindx.inc"
  return list;
}

template <class S>
void damage(Call& call, Input& in) {
  switch (in.number(0, 7)) {
    case 0: call.src = nullptr; break;
    case 1: call.mask = nullptr; break;
    case 2: call.mean = nullptr; break;
    case 3: (in.one_in(2) ? call.roi.width : call.roi.height) = in.number(-2, 0); break;
    case 4: call.roi.width |= 1 << 30; break;
    case 5: call.step = sizeof(S) > 1 && in.one_in(2) ? call.step | 1 : -call.step; break;
    case 6: call.mask_step = call.roi.width - 1; break;
    default: call.coi = in.pick({0, 4, INT32_MIN, INT32_MAX}); break;
  }
}

// Mostly small images, few of the sizes at which bands begin and small regions end.
LumSize roi_of(Input& in, int threads, int exponent) {
  const int kind = in.number(0, 255), height = in.number(1, 4) * threads + in.number(0, 2);
  if (kind < 240) return {in.number(1, 80), in.number(1, 5)};
  if (kind < 248) return {in.number(256, 9000), in.number(1, 3)};
  const int pixels = kind < 250 ? 5000 : kind < 252 ? 100000 : threads << std::min(exponent, 17);
  return {std::max(1, pixels / height + in.number(-1, 1)), height};
}

bool same(const test::Extreme& expected, Lum32f value, LumPoint at) {
  return fuzz::equal(expected.value, value) && expected.at.x == at.x && expected.at.y == at.y;
}

template <class S>
void statistic(const Member<S>& m, Input& in) {
  const int threads = fuzz::set_threads(in);
  const LumSize roi = roi_of(in, threads, m.exponent);
  const int padding = in.pick({0, 1, 2, 5, 33}), shift = in.number(0, 15), coi = in.number(1, m.channels);
  const int wrong = in.one_in(8) ? in.number(1, 2) : 0;
  const bool no_mean = m.family == kDeviation && in.one_in(4), no_deviation = in.one_in(4);
  Plane<S> src(roi, m.channels, padding * int(sizeof(S)), shift);
  Plane<Lum8u> mask(roi, 1, padding, 15 - shift);
  mask.fill(Content(in));
  src.fill(Content(in));
  const bool parallel = lumGetNumCoresOnDie() > 1 && (long long)roi.width * roi.height >= (long long)threads
                                                                                              << m.exponent;
  const auto value = [&](int x, int y) { return src.get(x * m.channels + coi - 1, y); };
  const auto selected = [&](int x, int y) { return !m.masked || mask.get(x, y) != 0; };
  test::Moments moments;
  test::Extremes extremes;
  if (m.family == kExtrema)
    extremes = test::extremes(roi, value, selected);
  else
    moments = test::moments<S>(roi, parallel ? threads : 1, test::is_whole(roi, m.channels, m.masked), value, selected);
  fuzz::on_each_level([&] {
    const Memory memory(sizeof(Results), shift);
    Results* const results = (Results*)memory.bytes();
    Call call = {src.data(),
                 src.step(),
                 mask.data(),
                 mask.step(),
                 roi,
                 coi,
                 no_mean ? nullptr : &results->mean,
                 no_deviation ? nullptr : &results->deviation,
                 results};
    Input damages = in;
    for (int i = 0; i < wrong; ++i) damage<S>(call, damages);
    const LumStatus status = m.status(call);
    if (status == lumStatusOk && wrong) return;
    fuzz::expect_status(status, m.run(call), m.name);
    if (status != lumStatusOk) {
      if (!memory.untouched()) fuzz::fail("%s: a call that failed wrote its results", m.name);
      return;
    }
    Results got;
    memcpy(&got, results, sizeof got);
    const bool equal =
        m.family == kExtrema
            ? same(extremes.least, got.least, got.least_at) && same(extremes.greatest, got.greatest, got.greatest_at)
            : (no_mean || fuzz::equal(moments.mean, got.mean)) &&
                  (m.family == kMean || no_deviation || fuzz::equal(moments.deviation, got.deviation));
    if (!equal) fuzz::fail("%s, %d threads, %dx%d: other results", m.name, threads, roi.width, roi.height);
  });
}

template <class S>
void any_statistic(Input& in) {
  static const std::vector<Member<S>> list = members<S>();
  statistic(list[in.number(0, int(list.size()) - 1)], in);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  Input in(data, size);
  switch (in.number(0, 3)) {
    case 0: any_statistic<Lum8u>(in); break;
    case 1: any_statistic<Lum8s>(in); break;
    case 2: any_statistic<Lum16u>(in); break;
    default: any_statistic<Lum32f>(in); break;
  }
  return 0;
}
