#include "members.h"

#include <dlfcn.h>

#include <cstdio>
#include <cstdlib>
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
                           kHighThreshold, j.buffer)});
  LUM_CANNY(lumiCanny_16s8u_C1R, Lum16s)
  LUM_CANNY(lumiCanny_32f8u_C1R, Lum32f)
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
#define LUM_IMAGE j.src, j.src_step
#define LUM_MASK j.mask, j.roi.width, j.roi
#define LUM_NORM(name, S, C, planes, ...) \
  add_norm(list, {#name, "", "", C, planes, sizeof(S), 0, LUM_CALL(name, __VA_ARGS__, j.dst)});
#define LUM_NORM_C1(name, S, Norm, k) LUM_NORM(name, S, 1, 1, LUM_IMAGE, LUM_MASK)
#define LUM_NORM_C3C(name, S, Norm, k) LUM_NORM(name, S, 3, 1, LUM_IMAGE, LUM_MASK, kChannel)
#define LUM_NORM_DIFF_C1(name, S, Norm, k) LUM_NORM(name, S, 1, 2, LUM_IMAGE, j.src2, j.src_step, LUM_MASK)
#define LUM_NORM_DIFF_C3C(name, S, Norm, k) LUM_NORM(name, S, 3, 2, LUM_IMAGE, j.src2, j.src_step, LUM_MASK, kChannel)
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
#define LUM_MEAN(name, S, C, ...) LUM_STATISTIC(name, S, C, "Means", 1, true, LUM_IMAGE, LUM_MASK, __VA_ARGS__)
#define LUM_MEAN_C1(name, S, k) LUM_MEAN(name, S, 1, j.dst)
#define LUM_MEAN_C3C(name, S, k) LUM_MEAN(name, S, 3, kChannel, j.dst)
#define LUM_TWO j.dst, j.result<Lum64f>(1)
#define LUM_DEVIATION(name, S, C, ...) LUM_STATISTIC(name, S, C, "Deviations", 2, __VA_ARGS__, LUM_TWO)
#define LUM_DEVIATION_C1(name, S, k) LUM_DEVIATION(name, S, 1, false, LUM_IMAGE, j.roi)
#define LUM_DEVIATION_C3C(name, S, k) LUM_DEVIATION(name, S, 3, false, LUM_IMAGE, j.roi, kChannel)
#define LUM_DEVIATION_MASKED_C1(name, S, k) LUM_DEVIATION(name, S, 1, true, LUM_IMAGE, LUM_MASK)
#define LUM_DEVIATION_MASKED_C3C(name, S, k) LUM_DEVIATION(name, S, 3, true, LUM_IMAGE, LUM_MASK, kChannel)
#include "lumcv/src/lumcvmean.inc"
#define LUM_FOUR j.dst, j.result<Lum32f>(1), j.result<LumPoint>(1), j.result<LumPoint>(2)
#define LUM_EXTREMA(name, S, C, ...) LUM_STATISTIC(name, S, C, "Extrema", 3, __VA_ARGS__, LUM_FOUR)
#define LUM_EXTREMA_C1(name, S) LUM_EXTREMA(name, S, 1, false, LUM_IMAGE, j.roi)
#define LUM_EXTREMA_C3C(name, S) LUM_EXTREMA(name, S, 3, false, LUM_IMAGE, j.roi, kChannel)
#define LUM_EXTREMA_MASKED_C1(name, S) LUM_EXTREMA(name, S, 1, true, LUM_IMAGE, LUM_MASK)
#define LUM_EXTREMA_MASKED_C3C(name, S) LUM_EXTREMA(name, S, 3, true, LUM_IMAGE, LUM_MASK, kChannel)
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
