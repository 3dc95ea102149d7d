// Memory for calls.
#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <map>
#include <utility>

#include "members.h"
#include "scalar.h"

namespace bench {
namespace {

constexpr size_t kPixels = size_t(kLargest.width) * kLargest.height;
constexpr size_t kElements = kPixels * 6;  // of 4 bytes; half of the bytes of three planes with four channels

// At a multiple of a cache line, as careful callers allocate. Never freed: the program holds its planes to the end.
template <class T>
T* allocate(size_t n) {
  void* const block = aligned_alloc(64, (n * sizeof(T) + 63) / 64 * 64);
  if (!block) abort();
  return static_cast<T*>(memset(block, 0, n * sizeof(T)));
}

// Only the time of Canny and of passes of 16s depends on the pixels. 16s and 32f have the range of derivatives of bytes.
template <class T, unsigned Seed = 1>
T* noise() {
  static T* const plane = [] {
    T* const made = allocate<T>(kElements);
    unsigned state = Seed;
    for (size_t i = 0; i < kElements; ++i) {
      state = state * 1664525 + 1013904223;
      made[i] = T(sizeof(T) == 1 ? int(state >> 24) : int(state >> 21) - 1024);
    }
    return made;
  }();
  return plane;
}

Lum8u* mask() {
  static Lum8u* const plane = [] {
    Lum8u* const made = allocate<Lum8u>(kPixels);
    for (size_t i = 0; i < kPixels; ++i) made[i] = i == 0 || noise<Lum8u>()[i] % 2;
    return made;
  }();
  return plane;
}

Lum8u* destination() {
  static Lum8u* const plane = allocate<Lum8u>(kElements * sizeof(Lum32f));
  return plane;
}

struct Photograph {
  int width = 0, height = 0;
  std::vector<Lum8u> pixels;

  Photograph() {
    std::ifstream file(LUM_PHOTOGRAPH, std::ios::binary);
    std::string magic;
    int top = 0;
    file >> magic >> width >> height >> top;
    file.get();
    if (magic == "P5" && top == 255) pixels.resize(size_t(width) * height);
    if (!pixels.empty() && file.read(reinterpret_cast<char*>(pixels.data()), std::streamsize(pixels.size()))) return;
    fprintf(stderr, "cannot read %s\n", LUM_PHOTOGRAPH);
    exit(1);
  }
  // Mirrored over the plane. The first pixel is inside the picture: the small planes would show nothing but sky.
  Lum8u at(int x, int y) const {
    const auto mirrored = [](int i, int n) { return i % (2 * n) < n ? i % n : n - 1 - i % n; };
    return pixels[size_t(mirrored(y + height * 3 / 8, height)) * width + mirrored(x + width * 3 / 8, width)];
  }
};

struct Derivatives {
  Lum16s *dx, *dy;
  Lum32f *dx_float, *dy_float;

  explicit Derivatives(LumSize roi) {
    static const Photograph photograph;
    const size_t n = size_t(roi.width) * roi.height;
    std::vector<Lum8u> image;
    for (int y = 0; y < roi.height; ++y)
      for (int x = 0; x < roi.width; ++x) image.push_back(photograph.at(x, y));
    Job job = {};
    job.roi = roi;
    job.taps = 3;
    job.src = {image.data()};
    job.src_step = roi.width;
    job.dst_step = roi.width * int(sizeof(Lum16s));
    job.dst = {dx = allocate<Lum16s>(n)};
    scalar("lumiFilterSobelNegVertBorder_8u16s_C1R")(job);
    job.dst = {dy = allocate<Lum16s>(n)};
    scalar("lumiFilterSobelHorizBorder_8u16s_C1R")(job);
    std::copy(dx, dx + n, dx_float = allocate<Lum32f>(n));
    std::copy(dy, dy + n, dy_float = allocate<Lum32f>(n));
  }
};

template <unsigned Seed>
Pointer noise_of(int element_bytes) {
  if (element_bytes >= 4) return {noise<Lum32f, Seed>()};
  return element_bytes == 2 ? Pointer{noise<Lum16s, Seed>()} : Pointer{noise<Lum8u, Seed>()};
}

void set_sources(Job& job, const Member& member) {
  if (!member.derivatives) {
    job.src = noise_of<1>(member.src_bytes);
    if (member.src_planes == 2) job.src2 = noise_of<2>(member.src_bytes);
    return;
  }
  static std::map<std::pair<int, int>, Derivatives> made;
  const Derivatives& d = made.try_emplace({job.roi.width, job.roi.height}, job.roi).first->second;
  const bool floats = member.src_bytes == 4;
  job.src = floats ? Pointer{d.dx_float} : Pointer{d.dx};
  job.src2 = floats ? Pointer{d.dy_float} : Pointer{d.dy};
}

void set_taps(Job& job, int factor) {
  static Lum16s taps16[15];
  static Lum32f taps32[15];
  const int top = (job.taps + 1) / 2;
  for (int k = 0; k < job.taps; ++k) {
    const int tap = k < top ? k + 1 : job.taps - k;
    taps16[k] = Lum16s(factor * tap);
    taps32[k] = Lum32f(tap) / Lum32f(top * top);
  }
  if (factor > 1) {  // else the library would divide all by the powers of two that they have in common
    ++taps16[0], ++taps16[job.taps - 1];
    taps16[top - 1] = Lum16s(taps16[top - 1] - 2);
  }
  job.taps16 = taps16;
  job.taps32 = taps32;
}

void set_rows(Job& job) {
  static std::vector<void*> src_rows, dst_rows;
  src_rows.clear();
  dst_rows.clear();
  const int height = job.roi.height, half = job.taps / 2;
  for (int y = -half; y < height + half; ++y)
    src_rows.push_back(job.row<void>(job.src, job.src_step, y < 0 ? 0 : y < height ? y : height - 1));
  for (int y = 0; y < height; ++y) dst_rows.push_back(job.row<void>(job.dst, job.dst_step, y));
  job.src_rows = {src_rows.data()};
  job.dst_rows = {dst_rows.data()};
}

void set_buffer(Job& job, const Member& member, const Library& library) {
  if (member.size_function.empty()) return;
  static std::vector<Lum8u> buffer;
  void* const size = library.find(member.size_function);
  const int argument = member.size_argument;
  int bytes = 0;
  if (argument)
    reinterpret_cast<LumStatus (*)(LumSize, int, int*)>(size)(job.roi, argument, &bytes);
  else
    reinterpret_cast<LumStatus (*)(LumSize, int*)>(size)(job.roi, &bytes);
  if (buffer.size() < size_t(bytes)) buffer.resize(bytes);
  job.buffer = {buffer.data()};
}

}  // namespace

Job make_job(const Member& member, LumSize roi, const Library& library) {
  Job job = {};
  job.roi = roi;
  job.taps = member.taps;
  job.divisor = member.divisor;
  job.scale = member.scale;
  job.src_step = roi.width * member.channels * member.src_bytes;
  job.dst_step = roi.width * member.channels * member.dst_bytes;
  job.dst = {destination()};
  if (member.masked) job.mask = mask();
  job.mask_step = roi.width;
  set_sources(job, member);
  set_taps(job, member.factor);
  set_rows(job);
  set_buffer(job, member, library);
  return job;
}

void fill_destination(const Job& job, const Member& member) {
  const size_t bytes = size_t(job.dst_step) * job.roi.height + member.results * sizeof(Lum64f);
  if (member.in_place)
    memcpy(job.dst, noise_of<3>(member.dst_bytes), bytes);
  else
    memset(job.dst, 0xA5, bytes);
}

Blocks copy_blocks() { return {destination(), noise<Lum32f>()}; }

}  // namespace bench
