// Canny edges with arguments of every kind, right and wrong, against a scalar model.
#include <cmath>

#include "fuzz.h"

namespace {

using fuzz::Content, fuzz::Input, fuzz::Memory, fuzz::Plane;

template <class T>
struct Call {
  const T* dx;
  int dx_step;
  const T* dy;
  int dy_step;
  Lum8u* edges;
  int step;
  LumSize roi;
  Lum32f low, high;
  Lum8u* buffer;

  LumStatus operator()() const {
    if constexpr (std::is_same_v<T, Lum16s>)
      return lumiCanny_16s8u_C1R(dx, dx_step, dy, dy_step, edges, step, roi, low, high, buffer);
    else
      return lumiCanny_32f8u_C1R(dx, dx_step, dy, dy_step, edges, step, roi, low, high, buffer);
  }
  LumStatus status() const {
    const long long row = roi.width * (long long)sizeof(T);
    if (!dx || !dy || !edges || !buffer) return lumStatusNullPointer;
    if (roi.width < 1 || roi.height < 1) return lumStatusBadSize;
    if (dx_step < row || dy_step < row || step < roi.width) return lumStatusBadStep;
    if (dx_step % sizeof(T) != 0 || dy_step % sizeof(T) != 0) return lumStatusStepNotPixelMultiple;
    return low >= 0 && high >= low ? lumStatusOk : lumStatusBadArgument;
  }
  void damage(Input& in) {
    switch (in.number(0, 9)) {
      case 0: dx = nullptr; break;
      case 1: dy = nullptr; break;
      case 2: edges = nullptr; break;
      case 3: buffer = nullptr; break;
      case 4: (in.one_in(2) ? roi.width : roi.height) = in.number(-2, 0); break;
      case 5: roi.width |= 1 << 30; break;
      case 6: dx_step = in.one_in(2) ? dx_step | 1 : dx_step - 10000; break;
      case 7: dy_step = in.one_in(2) ? dy_step | 1 : dy_step - 10000; break;
      case 8: step = -step; break;
      default: (in.one_in(2) ? low : high) = in.pick({-1.0f, NAN, -INFINITY}); break;
    }
  }
};

// The rule, pixel by pixel.
template <class T>
class Model {
 public:
  Model(const Plane<T>& dx, const Plane<T>& dy, Lum32f low, Lum32f high)
      : dx_(dx), dy_(dy), width_(dx.elements()), height_(dx.height()), magnitudes_((size_t)width_ * height_) {
    for (int y = 0; y < height_; ++y)
      for (int x = 0; x < width_; ++x) magnitudes_[(size_t)y * width_ + x] = magnitude(x, y, low);
    if (kInteger) high = std::min(std::trunc(high), 65535.0f);
    edges_.resize(magnitudes_.size());
    for (int y = 0; y < height_; ++y)
      for (int x = 0; x < width_; ++x) edges_[(size_t)y * width_ + x] = candidate(x, y) ? kCandidate : 0;
    for (int i = 0; i < int(edges_.size()); ++i)
      if (edges_[i] == kCandidate && magnitudes_[i] > high) follow(i);
    std::replace(edges_.begin(), edges_.end(), kCandidate, Lum8u(0));
  }
  const std::vector<Lum8u>& edges() const { return edges_; }

 private:
  static constexpr bool kInteger = std::is_same_v<T, Lum16s>;
  static constexpr Lum8u kCandidate = 1, kEdge = 255;

  // Integer magnitudes fit single precision as well. What the low threshold excludes counts as 0.
  Lum32f magnitude(int x, int y, Lum32f low) const {
    const Lum32f m = std::abs(Lum32f(dx_.get(x, y))) + std::abs(Lum32f(dy_.get(x, y)));
    if (!kInteger) return m < low ? 0 : m;
    return std::min(m, 65535.0f) > std::min(std::trunc(low), 65535.0f) ? std::min(m, 65535.0f) : 0;
  }
  Lum32f at(int x, int y) const {
    return x < 0 || y < 0 || x >= width_ || y >= height_ ? 0 : magnitudes_[(size_t)y * width_ + x];
  }
  bool candidate(int x, int y) const {
    const Lum32f m = at(x, y), dx = dx_.get(x, y), dy = dy_.get(x, y);
    if (m == 0) return false;
    if (std::abs(dy) < std::abs(dx) * 0.41421357f) return m > at(x - 1, y) && m >= at(x + 1, y);
    if (std::abs(dx) * 2.4142137f < std::abs(dy)) return m > at(x, y - 1) && m >= at(x, y + 1);
    const int side = std::signbit(dx) == std::signbit(dy) ? 1 : -1;
    return m > at(x - side, y - 1) && m > at(x + side, y + 1);
  }
  void follow(int seed) {
    std::vector<int> stack = {seed};
    edges_[seed] = kEdge;
    while (!stack.empty()) {
      const int x = stack.back() % width_, y = stack.back() / width_;
      stack.pop_back();
      for (int v = std::max(y - 1, 0); v <= std::min(y + 1, height_ - 1); ++v)
        for (int u = std::max(x - 1, 0); u <= std::min(x + 1, width_ - 1); ++u)
          if (Lum8u& edge = edges_[v * width_ + u]; edge == kCandidate) {
            edge = kEdge;
            stack.push_back(v * width_ + u);
          }
    }
  }

  const Plane<T>&dx_, &dy_;
  int width_, height_;
  std::vector<Lum32f> magnitudes_;
  std::vector<Lum8u> edges_;
};

// The whole block is written: edges, and zeros between and behind the rows.
template <class T>
void expect_edges(const Call<T>& call, const Memory& edges, const std::vector<Lum8u>& expected) {
  for (size_t i = 0; i < edges.size(); ++i) {
    const int x = int(i % call.step), y = int(i / call.step);
    const int want = x < call.roi.width ? expected[(size_t)y * call.roi.width + x] : 0;
    if (edges.bytes()[i] != want)
      fuzz::fail("Canny %zu bits, %s, %dx%d, step %d, thresholds %.9g %.9g: byte %d of row %d is %d, expected %d",
                 8 * sizeof(T), fuzz::level == lum::Level::avx2 ? "avx2" : "sse3", call.roi.width, call.roi.height,
                 call.step, double(call.low), double(call.high), x, y, edges.bytes()[i], want);
  }
}

// Small, or long in one direction.
LumSize roi_of(Input& in) {
  LumSize roi = {in.number(1, 80), in.number(1, 40)};
  if (in.one_in(8)) roi = {in.number(1, 700), in.number(1, 4)};
  if (in.one_in(256)) roi = {in.number(65520, 65550), in.number(1, 2)};  // around the end of 16-bit coordinates
  if (in.one_in(2)) std::swap(roi.width, roi.height);
  return roi;
}

// Any float of the input at times, so that thresholds meet magnitudes and reach odd values.
Lum32f threshold_of(Input& in) {
  if (in.one_in(2)) return in.pick({0.0f, 1.0f, 2.0f, 6.5f, 300.0f, 40000.0f, 65534.9f, 65535.0f, 1e20f, INFINITY});
  const int bits = in.number(INT32_MIN, INT32_MAX);
  Lum32f value;
  memcpy(&value, &bits, sizeof value);
  return value;
}

template <class T>
void canny(Input& in) {
  const LumSize roi = roi_of(in);
  const int paddings[] = {in.number(0, 3) * int(sizeof(T)), in.number(0, 3) * int(sizeof(T)), in.number(0, 40)};
  const int shift = in.number(0, 15);
  const Lum32f low = threshold_of(in), high = in.one_in(3) ? threshold_of(in) : low * Lum32f(in.number(1, 4));
  int size = 0;
  fuzz::expect_status(lumStatusOk, lumiCannyGetSize(roi, &size), "size of Canny");
  const Memory buffer(size, in.number(0, 15));
  const int wrong = in.one_in(16) ? in.number(1, 2) : 0;
  Plane<T> dx(roi, 1, paddings[0], shift), dy(roi, 1, paddings[1], 15 - shift);
  dx.fill(Content(in));
  dy.fill(Content(in));
  std::vector<Lum8u> expected;
  fuzz::on_each_level([&] {
    const int step = roi.width + paddings[2];
    const Memory edges((size_t)step * roi.height, 15 - shift);
    Call<T> call = {dx.data(), dx.step(), dy.data(), dy.step(), edges.bytes(), step, roi, low, high, buffer.bytes()};
    Input damages = in;
    for (int i = 0; i < wrong; ++i) call.damage(damages);
    const LumStatus status = call.status();
    fuzz::expect_status(status, call(), "Canny");
    if (status != lumStatusOk) {
      if (!edges.untouched()) fuzz::fail("a call of Canny that failed wrote edges");
      return;
    }
    if (expected.empty()) expected = Model<T>(dx, dy, call.low, call.high).edges();
    expect_edges(call, edges, expected);
  });
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  Input in(data, size);
  fuzz::probe_size(in, "size of Canny", lumiCannyGetSize);
  in.one_in(2) ? canny<Lum32f>(in) : canny<Lum16s>(in);
  return 0;
}
