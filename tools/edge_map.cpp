#include "edge_map.h"

#include <algorithm>
#include <chrono>
#include <memory>
#include <new>

#include "library.h"

namespace tool {
namespace {

// Along the rows or down the columns, both growing with the brightness: Canny compares the signs of the two.
enum class Axis { x, y };

LumStatus buffer_size(const EdgeSettings& s, Axis axis, LumSize roi, int* size) {
  if (s.op == Operator::scharr)
    return axis == Axis::x ? lumiFilterScharrVertGetBufferSize_8u16s_C1R(roi, size)
                           : lumiFilterScharrHorizGetBufferSize_8u16s_C1R(roi, size);
  return axis == Axis::x ? lumiFilterSobelNegVertGetBufferSize_8u16s_C1R(roi, s.mask, size)
                         : lumiFilterSobelHorizGetBufferSize_8u16s_C1R(roi, s.mask, size);
}

LumStatus filter(const EdgeSettings& s, Axis axis, const Picture& grey, Lum16s* derivative, Lum8u* buffer) {
  const LumSize roi = size_of(grey);
  const Lum8u* const src = grey.pixels.data();
  const int step = roi.width, derivative_step = roi.width * int(sizeof(Lum16s));
  if (s.op == Operator::scharr) {
    const auto function =
        axis == Axis::x ? lumiFilterScharrVertBorder_8u16s_C1R : lumiFilterScharrHorizBorder_8u16s_C1R;
    return function(src, step, derivative, derivative_step, roi, s.border, s.border_value, buffer);
  }
  const auto function = axis == Axis::x ? lumiFilterSobelNegVertBorder_8u16s_C1R : lumiFilterSobelHorizBorder_8u16s_C1R;
  return function(src, step, derivative, derivative_step, roi, s.mask, s.border, s.border_value, buffer);
}

struct Release {
  void operator()(Lum8u* block) const { lumsFree(block); }
};
using Buffer = std::unique_ptr<Lum8u, Release>;

Buffer new_buffer(int size) {
  Buffer buffer(lumsMalloc_8u(size));
  if (!buffer) throw std::bad_alloc();
  return buffer;
}

using Derivative = std::unique_ptr<Lum16s[]>;

Result<Derivative> derive(const Picture& grey, const EdgeSettings& settings, Axis axis) {
  int size = 0;
  if (Status s = check(buffer_size(settings, axis, size_of(grey), &size), "filter"); !s) return s.failure();
  const Buffer buffer = new_buffer(size);
  Derivative derivative = std::make_unique_for_overwrite<Lum16s[]>(grey.pixels.size());
  if (Status s = check(filter(settings, axis, grey, derivative.get(), buffer.get()), "filter"); !s) return s.failure();
  return derivative;
}

Result<Picture> canny(const Derivative& dx, const Derivative& dy, LumSize roi, const EdgeSettings& settings) {
  int size = 0;
  if (Status s = check(lumiCannyGetSize(roi, &size), "edge detector"); !s) return s.failure();
  const Buffer buffer = new_buffer(size);
  Picture edges{roi.width, roi.height, 1, Bytes(size_t(roi.width) * unsigned(roi.height))};
  const int step = roi.width * int(sizeof(Lum16s));
  const LumStatus status = lumiCanny_16s8u_C1R(dx.get(), step, dy.get(), step, edges.pixels.data(), roi.width, roi,
                                               settings.low, settings.high, buffer.get());
  if (Status s = check(status, "edge detector"); !s) return s.failure();
  return edges;
}

class Stopwatch {
 public:
  // Milliseconds since the start or the last call.
  double lap() {
    const auto now = Clock::now();
    return std::chrono::duration<double, std::milli>(now - std::exchange(last_, now)).count();
  }

 private:
  using Clock = std::chrono::steady_clock;
  Clock::time_point last_ = Clock::now();
};

}  // namespace

Result<EdgeMap> find_edges(const Picture& grey, const EdgeSettings& settings) {
  Stopwatch watch;
  Result<Derivative> dx = derive(grey, settings, Axis::x);
  if (!dx) return dx.failure();
  Result<Derivative> dy = derive(grey, settings, Axis::y);
  if (!dy) return dy.failure();
  const double filter_ms = watch.lap();
  Result<Picture> edges = canny(*dx, *dy, size_of(grey), settings);
  if (!edges) return edges.failure();
  const double canny_ms = watch.lap();
  const size_t count = size_t(std::count(edges->pixels.begin(), edges->pixels.end(), 255));
  return EdgeMap{std::move(*edges), count, filter_ms, canny_ms};
}

}  // namespace tool
