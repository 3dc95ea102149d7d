// The vector functions with arguments of every kind, right and wrong, against a scalar model.
#include <math.h>

#include "fuzz.h"
#include "lumcv/src/lumcvvector_kernels.h"

namespace {

using fuzz::Content, fuzz::Input, fuzz::Plane;

struct Scaling {
  int value, scale;
};

// dst[i] = model(src[i], dst[i])
template <class S, class D>
struct Member {
  const char* name;
  LumStatus (*run)(const S*, D*, int len, Scaling);
  D (*model)(S, D, Scaling);
  bool has_source, warns;
};

// Extended precision holds every product, and roots well enough to know on which side of a half they are.
Lum16s scaled(long double v, int scale) {
  const long double r = nearbyintl(ldexpl(v, -std::clamp(scale, -64, 64)));
  return Lum16s(std::clamp(r, -32768.0L, 32767.0L));
}

#define MEMBER(name, S, D, model, has_source, warns, ...)                                                            \
  const Member<S, D> k_##name = {                                                                                    \
      #name,                                                                                                         \
      [](const S* src [[maybe_unused]], D* dst, int len, Scaling by [[maybe_unused]]) { return name(__VA_ARGS__); }, \
      [](S s [[maybe_unused]], D d [[maybe_unused]], Scaling by [[maybe_unused]]) { return D(model); }, has_source,  \
      warns};
MEMBER(lumsMaxEvery_8u_I, Lum8u, Lum8u, std::max(s, d), true, false, src, dst, len)
MEMBER(lumsMinEvery_8u_I, Lum8u, Lum8u, std::min(s, d), true, false, src, dst, len)
MEMBER(lumsMaxEvery_32f_I, Lum32f, Lum32f, d > s ? d : s, true, false, src, dst, len)
MEMBER(lumsMinEvery_32f_I, Lum32f, Lum32f, d < s ? d : s, true, false, src, dst, len)
MEMBER(lumsCopy_16s, Lum16s, Lum16s, s, true, false, src, dst, len)
MEMBER(lumsSet_32f, Lum32f, Lum32f, by.value, false, false, Lum32f(by.value), dst, len)
MEMBER(lumsZero_32s, Lum32s, Lum32s, 0, false, false, dst, len)
MEMBER(lumsMulC_32f_I, Lum32f, Lum32f, d* Lum32f(by.value), false, false, Lum32f(by.value), dst, len)
MEMBER(lumsMulC_16s_ISfs, Lum16s, Lum16s, scaled(d* by.value, by.scale), false, false, Lum16s(by.value), dst, len,
       by.scale)
MEMBER(lumsSqrt_32f_I, Lum32f, Lum32f, sqrtf(d), false, true, dst, len)
MEMBER(lumsSqrt_32s16s_Sfs, Lum32s, Lum16s, s < 0 ? 0 : scaled(sqrtl(s), by.scale), true, true, src, dst, len, by.scale)
MEMBER(lumsConvert_16u32f, Lum16u, Lum32f, s, true, false, src, dst, len)

template <class S, class D>
void call(const Member<S, D>& m, Input& in) {
  const int n = in.one_in(8) ? in.number(100, 3000) : in.number(1, 100), shift = in.number(0, 15);
  const Scaling by = {in.number(-32768, 32767), in.one_in(2) ? in.number(-18, 33) : in.number(INT32_MIN, INT32_MAX)};
  const int wrong = in.one_in(8) ? in.number(1, 3) : 0;
  Plane<S> src({n, 1}, 1, 0, shift);
  src.fill(Content(in));
  fuzz::on_each_level([&] {
    Plane<D> dst({n, 1}, 1, 0, 15 - shift);
    if (wrong) {
      const bool null = wrong == 1 || (wrong == 2 && m.has_source);
      const LumStatus status =
          m.run(wrong == 2 ? nullptr : src.data(), wrong == 1 ? nullptr : dst.data(), -(shift % 3), by);
      fuzz::expect_status(null ? lumStatusNullPointer : lumStatusBadSize, status, m.name);
      return dst.expect_untouched();
    }
    if (!m.has_source || std::is_same_v<S, D>) dst.fill(Content(in));
    std::vector<D> expected;
    LumStatus status = lumStatusOk;
    for (int i = 0; i < n; ++i) {
      expected.push_back(m.model(src.get(i, 0), dst.get(i, 0), by));
      if (m.warns && (m.has_source ? src.get(i, 0) < 0 : dst.get(i, 0) < 0)) status = lumStatusWarnSqrtNegative;
    }
    fuzz::expect_status(status, m.run(src.data(), dst.data(), n, by), m.name);
    dst.expect(expected, [&] { fprintf(stderr, "%s, value %d, scale %d\n", m.name, by.value, by.scale); });
  });
}

// -0 before +0, NaNs last.
bool before(Lum64f a, Lum64f b) { return a < b || (a == a && b != b) || (a == b && signbit(a) && !signbit(b)); }

void sort(Input& in) {
  const int n = in.one_in(4) ? in.number(100, 20000) : in.number(1, 200), shift = in.number(0, 15);
  const Content content(in);
  std::vector<Lum64f> expected;
  fuzz::on_each_level([&] {
    Plane<Lum64f> array({n, 1}, 1, 0, shift);
    array.fill(content);
    if (expected.empty()) {
      for (int i = 0; i < n; ++i) expected.push_back(array.get(i, 0));
      std::sort(expected.begin(), expected.end(), before);
    }
    fuzz::expect_status(lumStatusOk, lumsSortAscend_64f_I(array.data(), n), "lumsSortAscend_64f_I");
    array.expect(expected, [&] { fprintf(stderr, "lumsSortAscend_64f_I, %d elements\n", n); });
  });
}

// With any number of divisions; no NaN and no -0.
void sort_kernel(Input& in) {
  const int n = in.number(0, 3000), divisions = in.number(0, 24);
  Content content(in);
  std::vector<Lum64f> values(n);
  for (Lum64f& v : values) v = content.next<Lum32s>();
  std::vector<Lum64f> expected = values;
  std::sort(expected.begin(), expected.end());
  fuzz::on_each_level([&] {
    std::vector<Lum64f> sorted = values;
    LUM_PICK(fuzz::level, sort_ascending)(sorted.data(), n, divisions);
    if (sorted != expected) fuzz::fail("sort_ascending: %d elements, %d divisions", n, divisions);
  });
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  Input in(data, size);
  switch (in.number(0, 15)) {
    case 0: call(k_lumsMaxEvery_8u_I, in); break;
    case 1: call(k_lumsMinEvery_8u_I, in); break;
    case 2: call(k_lumsMaxEvery_32f_I, in); break;
    case 3: call(k_lumsMinEvery_32f_I, in); break;
    case 4: call(k_lumsCopy_16s, in); break;
    case 5: call(k_lumsSet_32f, in); break;
    case 6: call(k_lumsZero_32s, in); break;
    case 7: call(k_lumsMulC_32f_I, in); break;
    case 8: call(k_lumsMulC_16s_ISfs, in); break;
    case 9: call(k_lumsSqrt_32f_I, in); break;
    case 10: call(k_lumsConvert_16u32f, in); break;
    case 11: sort_kernel(in); break;
    case 12:
    case 13: call(k_lumsSqrt_32s16s_Sfs, in); break;
    default: sort(in); break;
  }
  return 0;
}
