#include "members.h"

#include <dlfcn.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <initializer_list>

namespace bench {
namespace {

using List = std::vector<Member>;

// What a line calls, and with which arguments of the job.
#define LUM_CALL(name, ...) [](void* f, const Job& j) { return reinterpret_cast<decltype(&name)>(f)(__VA_ARGS__); }
#define LUM_PLANES j.src, j.src_step, j.dst, j.dst_step, j.roi

// ---- fixed filters ----

void add_mask(List& list, Member member, int taps, bool sized_by_mask) {
  member.setting = taps == 3 ? "3x3" : "5x5";
  member.family = "Fixed filters " + member.setting;
  member.taps = taps;
  member.size_argument = sized_by_mask ? taps * 11 : 0;
  member.divisor = 4;
  list.push_back(member);
}

void add_fixed(List& list, int taps) {
#define LUM_MEMBER(name, size_name, S, D, ...) \
  { #name, #size_name, "", 1, 1, sizeof(S), sizeof(D), LUM_CALL(name, LUM_PLANES, __VA_ARGS__, j.buffer) }
#define LUM_FIXED(name, size_name, S, D, filter) \
  add_mask(list, LUM_MEMBER(name, size_name, S, D, j.taps * 11, lumBorderRepl, 0), taps, true);
#define LUM_FIXED_DIVIDED(name, size_name, filter) \
  add_mask(list, LUM_MEMBER(name, size_name, Lum8u, Lum8s, j.taps * 11, lumBorderRepl, 0, j.divisor), taps, true);
#define LUM_SCHARR(name, size_name, S, D, filter) \
  if (taps == 3) add_mask(list, LUM_MEMBER(name, size_name, S, D, lumBorderRepl, 0), taps, false);
#define LUM_SCHARR_DIVIDED(name, size_name, filter) \
  if (taps == 3) add_mask(list, LUM_MEMBER(name, size_name, Lum8u, Lum8s, lumBorderRepl, 0, j.divisor), taps, false);
#include "lumcv/src/lumcvnewconvol.inc"
}

void add_gauss(List& list) {
  for (const int taps : {5, 9}) {
    Member member = LUM_MEMBER(lumiFilterGaussBorder_32f_C1R, lumiFilterGaussGetBufferSize_32f_C1R, Lum32f, Lum32f,
                               j.taps, kSigma, lumBorderRepl, 0);
    member.family = "Gauss";
    member.setting = "K" + std::to_string(taps);
    member.taps = member.size_argument = taps;
    list.push_back(member);
  }
}

// ---- separable passes ----

// Integer passes: without scaling, and scaled by the sum of the taps for each factor.
void add_pass(List& list, Member member, std::initializer_list<int> factors) {
  // The size function of lumiFilterRowBorderPipeline_8u16s_C1R is lumiFilterRowBorderPipelineGetBufferSize_8u16s_C1R.
  member.size_function.insert(member.function.find('_'), "GetBufferSize");
  for (const int taps : {3, 5, 15}) {
    const std::string setting = "K" + std::to_string(taps);
    const int sum = (taps + 1) / 2 * ((taps + 1) / 2);
    const auto add = [&](int factor, int divisor) {
      member.setting = factors.size() ? setting + " /" + std::to_string(divisor) : setting;
      member.taps = member.size_argument = taps;
      member.factor = factor;
      member.divisor = divisor;
      list.push_back(member);
    };
    add(1, 1);
    for (const int factor : factors) add(factor, factor * sum);
  }
}

void add_passes(List& list) {
#define LUM_ROW(name, S, D, C, elements, factors, ...)                                                        \
  add_pass(list,                                                                                              \
           {#name, #name, "Row passes", C, 1, sizeof(S), sizeof(D),                                           \
            LUM_CALL(name, j.src, j.src_step, j.dst_rows, j.roi, elements, j.taps, j.taps / 2, __VA_ARGS__)}, \
           factors);
#define LUM_COLUMN(name, S, D, C, factors, ...)                                 \
  add_pass(list,                                                                \
           {#name, #name, "Column passes", C, 1, sizeof(S), sizeof(D),          \
            LUM_CALL(name, j.src_rows, j.dst, j.dst_step, j.roi, __VA_ARGS__)}, \
           factors);
  // In fixed point the sums outgrow what single precision holds exactly, which matters to column passes.
  const std::initializer_list<int> float_factors = {}, row_factors = {1}, column_factors = {1, 256};
#define LUM_ROW_SIZE(...)
#define LUM_ROW_INTEGER(name, S, C) \
  LUM_ROW(name, S, Lum16s, C, j.taps16, row_factors, lumBorderRepl, 0, j.divisor, j.buffer)
#define LUM_ROW_FLOAT(name, C) LUM_ROW(name, Lum32f, Lum32f, C, j.taps32, float_factors, lumBorderRepl, 0, j.buffer)
#define LUM_COLUMN_SIZE(...)
#define LUM_COLUMN_SIZE_FLOAT(...)
#define LUM_COLUMN_INTEGER(name, D, C) \
  LUM_COLUMN(name, Lum16s, D, C, column_factors, j.taps16, j.taps, j.divisor, j.buffer)
#define LUM_COLUMN_FLOAT(name, C) LUM_COLUMN(name, Lum32f, Lum32f, C, float_factors, j.taps32, j.taps, j.buffer)
#include "lumcv/src/lumcvseparable.inc"
}

// ---- Canny ----

void add_canny(List& list) {
#define LUM_CANNY(name, S)                                                                                       \
  list.push_back({#name, "lumiCannyGetSize", "Canny", 1, 2, sizeof(S), 1,                                        \
                  LUM_CALL(name, j.src, j.src_step, j.src2, j.src_step, j.dst, j.dst_step, j.roi, kLowThreshold, \
                           kHighThreshold, j.buffer)});                                                          \
  list.back().derivatives = true;
  LUM_CANNY(lumiCanny_16s8u_C1R, Lum16s)
  LUM_CANNY(lumiCanny_32f8u_C1R, Lum32f)
}

// ---- accumulators and absolute differences ----

void add_accumulator(List& list, Member member, bool masked) {
  member.family = masked ? "Accumulators under a mask" : "Accumulators";
  member.masked = masked;
  member.in_place = true;
  list.push_back(member);
}

void add_accumulators(List& list) {
#define LUM_SOURCE j.src, j.src_step
#define LUM_SOURCES LUM_SOURCE, j.src2, j.src_step
#define LUM_MASK j.mask, j.mask_step
#define LUM_TARGET j.dst, j.dst_step, j.roi
#define LUM_MEMBER_OF(name, sources, S, D, ...) \
  { #name, "", "", 1, sources, sizeof(S), sizeof(D), LUM_CALL(name, __VA_ARGS__) }
#define LUM_ADDED(name, sources, S, masked, ...) \
  add_accumulator(list, LUM_MEMBER_OF(name, sources, S, Lum32f, __VA_ARGS__), masked);
#define LUM_ACCUM(name, S, Op) LUM_ADDED(name, 1, S, false, LUM_SOURCE, LUM_TARGET)
#define LUM_ACCUM_MASKED(name, S, Op) LUM_ADDED(name, 1, S, true, LUM_SOURCE, LUM_MASK, LUM_TARGET)
#define LUM_ACCUM_PRODUCT(name, S) LUM_ADDED(name, 2, S, false, LUM_SOURCES, LUM_TARGET)
#define LUM_ACCUM_PRODUCT_MASKED(name, S) LUM_ADDED(name, 2, S, true, LUM_SOURCES, LUM_MASK, LUM_TARGET)
#define LUM_ACCUM_WEIGHTED(name, S) LUM_ADDED(name, 1, S, false, LUM_SOURCE, LUM_TARGET, kWeight)
#define LUM_ACCUM_WEIGHTED_MASKED(name, S) LUM_ADDED(name, 1, S, true, LUM_SOURCE, LUM_MASK, LUM_TARGET, kWeight)
#define LUM_ABS_DIFF(name, S)                                            \
  list.push_back(LUM_MEMBER_OF(name, 2, S, S, LUM_SOURCES, LUM_TARGET)); \
  list.back().family = "Absolute differences";
#define LUM_ABS_DIFF_C(name, S, V)                                                 \
  list.push_back(LUM_MEMBER_OF(name, 1, S, S, LUM_SOURCE, LUM_TARGET, kConstant)); \
  list.back().family = "Absolute differences";
#include "lumcv/src/lumcvaccum.inc"
}

void add_scaled(List& list, Member member, const char* family, bool in_place, std::initializer_list<int> scales) {
  member.family = family;
  member.in_place = in_place;
  for (const int scale : scales) {
    if (scales.size() > 1) member.setting = "scale " + std::to_string(scale);
    member.scale = scale;
    list.push_back(member);
  }
}

// ---- copies, borders, differences, thresholds ----

void add_copies(List& list) {
  const std::initializer_list<int> one = {0};
#define LUM_IMAGE(family, name, sources, T, C, in_place, scales, ...)                                                \
  add_scaled(list, {#name, "", "", C, sources, sizeof(T), sizeof(T), LUM_CALL(name, __VA_ARGS__)}, family, in_place, \
             scales);
#define LUM_COPIED(name, sources, T, C, in_place, ...) \
  LUM_IMAGE("Copies and borders", name, sources, T, C, in_place, one, __VA_ARGS__)
#define LUM_INSIDE(plane, step) plane, step, j.inside()
#define LUM_COPY(name, T, C) LUM_COPIED(name, 1, T, C, false, LUM_SOURCE, LUM_TARGET)
#define LUM_COPY_REPLICATE(name, T, C) \
  LUM_COPIED(name, 1, T, C, false, LUM_INSIDE(j.src, j.src_step), LUM_TARGET, j.top(), j.left())
#define LUM_COPY_REPLICATE_I(name, T, C)                                                                              \
  LUM_COPIED(name, 0, T, C, true, j.row<T>(j.dst, j.dst_step, j.top()) + j.left() * C, j.dst_step, j.inside(), j.roi, \
             j.top(), j.left())
#define LUM_SET(name) LUM_COPIED(name, 0, Lum8u, 1, false, kConstant, LUM_TARGET)
#define LUM_COPY_CONST(name) \
  LUM_COPIED(name, 1, Lum8u, 1, false, LUM_INSIDE(j.src, j.src_step), LUM_TARGET, j.top(), j.left(), kConstant)
#include "lumcv/src/lumcvcopy.inc"
}

void add_arithmetic(List& list) {
  const std::initializer_list<int> one = {0}, three = {0, 3, -3};
#define LUM_COMPUTED(name, sources, T, C, in_place, scales, ...) \
  LUM_IMAGE("Differences and thresholds", name, sources, T, C, in_place, scales, __VA_ARGS__)
#define LUM_SUB(name, T, C) LUM_COMPUTED(name, 2, T, C, false, one, LUM_SOURCES, LUM_TARGET)
#define LUM_SUB_I(name, T, C) LUM_COMPUTED(name, 1, T, C, true, one, LUM_SOURCE, LUM_TARGET)
#define LUM_SUB_SCALED(name, T, C) LUM_COMPUTED(name, 2, T, C, false, three, LUM_SOURCES, LUM_TARGET, j.scale)
#define LUM_SUB_SCALED_I(name, T, C) LUM_COMPUTED(name, 1, T, C, true, three, LUM_SOURCE, LUM_TARGET, j.scale)
#define LUM_THRESHOLD(name, T) \
  LUM_COMPUTED(name, 1, T, 1, false, one, LUM_SOURCE, LUM_TARGET, kConstant, lumCompareLess)
#define LUM_THRESHOLD_LT(name, T) LUM_COMPUTED(name, 1, T, 1, false, one, LUM_SOURCE, LUM_TARGET, kConstant)
#define LUM_THRESHOLD_LT_I(name, T) LUM_COMPUTED(name, 0, T, 1, true, one, LUM_TARGET, kConstant)
#define LUM_THRESHOLD_VAL(name, T) \
  LUM_COMPUTED(name, 1, T, 1, false, one, LUM_SOURCE, LUM_TARGET, kConstant, 0, lumCompareGreater)
#define LUM_THRESHOLD_GTVAL(name, T) LUM_COMPUTED(name, 1, T, 1, false, one, LUM_SOURCE, LUM_TARGET, kConstant, 0)
#define LUM_THRESHOLD_GTVAL_I(name, T) LUM_COMPUTED(name, 0, T, 1, true, one, LUM_TARGET, kConstant, 0)
#include "lumcv/src/lumcvarithm.inc"
}

// ---- vector functions ----

// A warning is no failure.
#define LUM_CALL_ARRAY(name, ...)                                               \
  [](void* f, const Job& j) {                                                   \
    const int len = j.roi.width * j.roi.height;                                 \
    return std::min(reinterpret_cast<decltype(&name)>(f)(__VA_ARGS__, len), 0); \
  }
#define LUM_CALL_SCALED(name, ...)                                                                              \
  [](void* f, const Job& j) {                                                                                   \
    return std::min(reinterpret_cast<decltype(&name)>(f)(__VA_ARGS__, j.roi.width * j.roi.height, j.scale), 0); \
  }

void add_vector(List& list, const Member& member, bool in_place, std::initializer_list<int> scales = {0}) {
  add_scaled(list, member, "Vector functions", in_place, scales);
}

void add_vectors(List& list) {
#define LUM_ARRAY(name, sources, S, D, in_place, ...) \
  add_vector(list, {#name, "", "", 1, sources, sizeof(S), sizeof(D), LUM_CALL_ARRAY(name, __VA_ARGS__)}, in_place);
#define LUM_VECTOR_COPY(name, T) LUM_ARRAY(name, 1, T, T, false, j.src, j.dst)
#define LUM_VECTOR_SET(name, T) LUM_ARRAY(name, 0, T, T, false, kConstant, j.dst)
#define LUM_VECTOR_ZERO(name, T) LUM_ARRAY(name, 0, T, T, false, j.dst)
#define LUM_VECTOR_EVERY(name, T, Op) LUM_ARRAY(name, 1, T, T, true, j.src, j.dst)
#include "lumcv/src/lumcvvector.inc"
  LUM_ARRAY(lumsMulC_32f_I, 0, Lum32f, Lum32f, true, kFactor, j.dst)
  LUM_ARRAY(lumsSqrt_32f_I, 0, Lum32f, Lum32f, true, j.dst)
  LUM_ARRAY(lumsConvert_16u32f, 1, Lum16u, Lum32f, false, j.src, j.dst)
  add_vector(list, {"lumsMulC_16s_ISfs", "", "", 1, 0, 2, 2, LUM_CALL_SCALED(lumsMulC_16s_ISfs, kConstant, j.dst)},
             true, {0, 5, -1});
  add_vector(list, {"lumsSqrt_32s16s_Sfs", "", "", 1, 1, 4, 2, LUM_CALL_SCALED(lumsSqrt_32s16s_Sfs, j.src, j.dst)},
             false, {0, 2, -2});
  // A copy, since what is sorted is no work any more.
  add_vector(list,
             {"lumsSortAscend_64f_I", "", "", 1, 1, 8, 8,
              [](void* f, const Job& j) {
                const int len = j.roi.width * j.roi.height;
                memcpy(j.dst, j.src, size_t(len) * sizeof(Lum64f));
                return reinterpret_cast<decltype(&lumsSortAscend_64f_I)>(f)(j.dst, len);
              }},
             false);
  list.back().proportional = false;
}

// ---- norms ----

void add_norm(List& list, Member member) {
  member.family = "Masked norms";
  member.setting = member.channels == 1 ? "C1" : "C3C";
  member.masked = true;
  member.results = 1;
  list.push_back(member);
}

void add_norms(List& list) {
#define LUM_SELECTED LUM_MASK, j.roi
#define LUM_NORM(name, S, C, planes, ...) \
  add_norm(list, {#name, "", "", C, planes, sizeof(S), 0, LUM_CALL(name, __VA_ARGS__, j.dst)});
#define LUM_NORM_C1(name, S, Norm, k) LUM_NORM(name, S, 1, 1, LUM_SOURCE, LUM_SELECTED)
#define LUM_NORM_C3C(name, S, Norm, k) LUM_NORM(name, S, 3, 1, LUM_SOURCE, LUM_SELECTED, kChannel)
#define LUM_NORM_DIFF_C1(name, S, Norm, k) LUM_NORM(name, S, 1, 2, LUM_SOURCES, LUM_SELECTED)
#define LUM_NORM_DIFF_C3C(name, S, Norm, k) LUM_NORM(name, S, 3, 2, LUM_SOURCES, LUM_SELECTED, kChannel)
#define LUM_NORM_REL_C1 LUM_NORM_DIFF_C1
#define LUM_NORM_REL_C3C LUM_NORM_DIFF_C3C
#include "lumcv/src/lumcvnorm.inc"
}

// ---- means, deviations, extrema ----

void add_statistic(List& list, Member member, const char* family, int results, bool masked) {
  member.family = family;
  member.setting = std::string(member.channels == 1 ? "C1" : "C3C") + (masked ? "M" : "");
  member.masked = masked;
  member.results = results;
  list.push_back(member);
}

void add_statistics(List& list) {
#define LUM_STATISTIC(name, S, C, family, results, masked, ...) \
  add_statistic(list, {#name, "", "", C, 1, sizeof(S), 0, LUM_CALL(name, __VA_ARGS__)}, family, results, masked);
#define LUM_MEAN(name, S, C, ...) LUM_STATISTIC(name, S, C, "Means", 1, true, LUM_SOURCE, LUM_SELECTED, __VA_ARGS__)
#define LUM_MEAN_C1(name, S, k) LUM_MEAN(name, S, 1, j.dst)
#define LUM_MEAN_C3C(name, S, k) LUM_MEAN(name, S, 3, kChannel, j.dst)
#define LUM_TWO j.dst, j.result<Lum64f>(1)
#define LUM_DEVIATION(name, S, C, ...) LUM_STATISTIC(name, S, C, "Deviations", 2, __VA_ARGS__, LUM_TWO)
#define LUM_DEVIATION_C1(name, S, k) LUM_DEVIATION(name, S, 1, false, LUM_SOURCE, j.roi)
#define LUM_DEVIATION_C3C(name, S, k) LUM_DEVIATION(name, S, 3, false, LUM_SOURCE, j.roi, kChannel)
#define LUM_DEVIATION_MASKED_C1(name, S, k) LUM_DEVIATION(name, S, 1, true, LUM_SOURCE, LUM_SELECTED)
#define LUM_DEVIATION_MASKED_C3C(name, S, k) LUM_DEVIATION(name, S, 3, true, LUM_SOURCE, LUM_SELECTED, kChannel)
#include "lumcv/src/lumcvmean.inc"
#define LUM_FOUR j.dst, j.result<Lum32f>(1), j.result<LumPoint>(1), j.result<LumPoint>(2)
#define LUM_EXTREMA(name, S, C, ...) LUM_STATISTIC(name, S, C, "Extrema", 3, __VA_ARGS__, LUM_FOUR)
#define LUM_EXTREMA_C1(name, S) LUM_EXTREMA(name, S, 1, false, LUM_SOURCE, j.roi)
#define LUM_EXTREMA_C3C(name, S) LUM_EXTREMA(name, S, 3, false, LUM_SOURCE, j.roi, kChannel)
#define LUM_EXTREMA_MASKED_C1(name, S) LUM_EXTREMA(name, S, 1, true, LUM_SOURCE, LUM_SELECTED)
#define LUM_EXTREMA_MASKED_C3C(name, S) LUM_EXTREMA(name, S, 3, true, LUM_SOURCE, LUM_SELECTED, kChannel)
#include "lumcv/src/lumcvminmaxindx.inc"
}

Library opened(const char* level, const char* file) {
  // Local: each library keeps to its own functions although all export the same names.
  void* const handle = dlopen(file, RTLD_NOW | RTLD_LOCAL);
  if (handle) return {level, handle};
  fprintf(stderr, "%s\n", dlerror());
  exit(1);
}

}  // namespace

const List& members() {
  static const List list = [] {
    List made;
    add_fixed(made, 3);
    add_fixed(made, 5);
    add_gauss(made);
    add_passes(made);
    add_canny(made);
    add_accumulators(made);
    add_copies(made);
    add_arithmetic(made);
    add_vectors(made);
    add_norms(made);
    add_statistics(made);
    return made;
  }();
  return list;
}

const std::vector<Library>& libraries() {
  static const std::vector<Library> list = [] {
    std::vector<Library> made = {opened("shipped", LUM_SHIPPED), opened("sse3", LUM_SSE3)};
    if (__builtin_cpu_supports("avx2")) made.push_back(opened("avx2", LUM_AVX2));
    return made;
  }();
  return list;
}

void* Library::find(const std::string& function) const {
  void* const symbol = dlsym(handle, function.c_str());
  if (symbol) return symbol;
  fprintf(stderr, "%s\n", dlerror());
  exit(1);
}

}  // namespace bench
