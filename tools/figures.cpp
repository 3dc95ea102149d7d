#include "figures.h"

#include <algorithm>
#include <climits>

#include "library.h"

namespace tool {
namespace {

// The functions for grey pictures, and those for one channel of three, which take its number.
struct OfOne {
  LumStatus (*grey)(const Lum8u*, int, const Lum8u*, int, LumSize, Lum64f*);
  LumStatus (*colour)(const Lum8u*, int, const Lum8u*, int, LumSize, int, Lum64f*);
};
struct OfTwo {
  LumStatus (*grey)(const Lum8u*, int, const Lum8u*, int, const Lum8u*, int, LumSize, Lum64f*);
  LumStatus (*colour)(const Lum8u*, int, const Lum8u*, int, const Lum8u*, int, LumSize, int, Lum64f*);
};

constexpr OfOne kNormInf = {lumiNorm_Inf_8u_C1MR, lumiNorm_Inf_8u_C3CMR};
constexpr OfOne kNormL1 = {lumiNorm_L1_8u_C1MR, lumiNorm_L1_8u_C3CMR};
constexpr OfOne kNormL2 = {lumiNorm_L2_8u_C1MR, lumiNorm_L2_8u_C3CMR};
constexpr OfTwo kDifferenceInf = {lumiNormDiff_Inf_8u_C1MR, lumiNormDiff_Inf_8u_C3CMR};
constexpr OfTwo kDifferenceL1 = {lumiNormDiff_L1_8u_C1MR, lumiNormDiff_L1_8u_C3CMR};
constexpr OfTwo kDifferenceL2 = {lumiNormDiff_L2_8u_C1MR, lumiNormDiff_L2_8u_C3CMR};
constexpr OfTwo kRelativeInf = {lumiNormRel_Inf_8u_C1MR, lumiNormRel_Inf_8u_C3CMR};
constexpr OfTwo kRelativeL2 = {lumiNormRel_L2_8u_C1MR, lumiNormRel_L2_8u_C3CMR};

// Calls functions with one channel of rows of pictures, and keeps the first error.
class Meter {
 public:
  Meter(const Picture& mask, int channel) : mask_(mask), channel_(channel) {}

  double measure(const OfOne& function, const Picture& picture, int first, int rows) {
    double result = 0;
    const LumSize size{picture.width, rows};
    const int step = step_of(picture);
    const Lum8u* const mask = row(mask_, first);
    keep(picture.channels == 1 ? function.grey(row(picture, first), step, mask, size.width, size, &result)
                               : function.colour(row(picture, first), step, mask, size.width, size, channel_, &result));
    return result;
  }

  double measure(const OfTwo& function, const Picture& picture, const Picture& other, int first, int rows) {
    double result = 0;
    const LumSize size{picture.width, rows};
    const int step = step_of(picture);
    const Lum8u *const a = row(picture, first), *const b = row(other, first), *const mask = row(mask_, first);
    keep(picture.channels == 1 ? function.grey(a, step, b, step, mask, size.width, size, &result)
                               : function.colour(a, step, b, step, mask, size.width, size, channel_, &result));
    return result;
  }

  // The whole of the pictures.
  template <class Function, class... Pictures>
  double whole(const Function& function, const Pictures&... pictures) {
    return measure(function, pictures..., 0, mask_.height);
  }

  // A sum of bytes has 32 bits, which a band of so many rows cannot exceed.
  template <class Function, class... Pictures>
  double sum(const Function& function, const Pictures&... pictures) {
    const int band = INT_MAX / 255 / mask_.width;
    double total = 0;
    for (int first = 0; first < mask_.height; first += band)
      total += measure(function, pictures..., first, std::min(band, mask_.height - first));
    return total;
  }

  void mean_and_extrema(const Picture& picture, Figures& figures) {
    const LumSize size = size_of(picture);
    const Lum8u *const pixels = picture.pixels.data(), *const mask = mask_.pixels.data();
    const int step = step_of(picture);
    Extreme &low = figures.minimum, &high = figures.maximum;
    if (picture.channels == 1) {
      keep(lumiMean_StdDev_8u_C1MR(pixels, step, mask, size.width, size, &figures.mean, &figures.deviation));
      keep(lumiMinMaxIndx_8u_C1MR(pixels, step, mask, size.width, size, &low.value, &high.value, &low.at, &high.at));
    } else {
      keep(lumiMean_StdDev_8u_C3CMR(pixels, step, mask, size.width, size, channel_, &figures.mean, &figures.deviation));
      keep(lumiMinMaxIndx_8u_C3CMR(pixels, step, mask, size.width, size, channel_, &low.value, &high.value, &low.at,
                                   &high.at));
    }
  }

  LumStatus status() const { return status_; }

 private:
  static const Lum8u* row(const Picture& picture, int y) {
    return picture.pixels.data() + size_t(y) * unsigned(step_of(picture));
  }
  void keep(LumStatus status) {
    // The result says that the divisor was 0.
    if (status_ == lumStatusOk && status != lumStatusWarnDivByZero) status_ = status;
  }

  const Picture& mask_;
  const int channel_;
  LumStatus status_ = lumStatusOk;
};

}  // namespace

Result<Figures> measure(const Picture& picture, const Picture& mask, const Picture* other, int channel) {
  Meter meter(mask, channel);
  Figures figures{};
  meter.mean_and_extrema(picture, figures);
  figures.norm = {meter.whole(kNormInf, picture), meter.sum(kNormL1, picture), meter.whole(kNormL2, picture)};
  if (other) {
    figures.difference = {meter.whole(kDifferenceInf, picture, *other), meter.sum(kDifferenceL1, picture, *other),
                          meter.whole(kDifferenceL2, picture, *other)};
    figures.relative = {meter.whole(kRelativeInf, picture, *other), figures.difference->l1 / meter.sum(kNormL1, *other),
                        meter.whole(kRelativeL2, picture, *other)};
  }
  if (Status s = check(meter.status(), "statistics"); !s) return s.failure();
  return figures;
}

}  // namespace tool
