// What is measured: every pixel function that the library exports, in a few settings each, and the memory for a call.
#pragma once
#include <string>
#include <vector>

#include "job.h"

namespace bench {

struct Member {
  std::string function, size_function, family;     // no size function: no buffer
  int channels, src_planes, src_bytes, dst_bytes;  // bytes of an element
  LumStatus (*call)(void* function, const Job&);

  std::string setting = "";  // tells the settings of one function apart
  int taps = 3;
  int size_argument = 0;  // the mask or the number of taps, where the size of the buffer depends on it
  int factor = 1;         // of the integer taps 1 2 1, 1 2 3 2 1 and so on
  int divisor = 1;
  bool derivatives = false;  // of a photograph, instead of noise
  bool masked = false;
  bool in_place = false;  // the destination is read too
  int scale = 0;
  int results = 0;           // numbers that it writes in place of a destination
  bool proportional = true;  // its time, to the number of rows

  double bytes(LumSize roi) const {
    const int element = src_planes * src_bytes + (in_place ? 2 : 1) * dst_bytes;
    return double(roi.width) * roi.height * (channels * element + masked);
  }
};

// In the order in which they are shown.
const std::vector<Member>& members();

// A library: "sse3" and "avx2" are pinned to one level, "shipped" chooses.
struct Library {
  std::string level;
  void* handle;
  void* find(const std::string& function) const;
};
const std::vector<Library>& libraries();

constexpr LumSize kLargest = {3840, 2160};

// A call with its planes, taps and work buffer, valid until the next one is made. The memory lasts and has been touched
// before: page faults belong to no line.
Job make_job(const Member& member, LumSize roi, const Library& library);
// What the destination holds before a call: noise where the call reads it.
void fill_destination(const Job& job, const Member& member);

// Two blocks to copy between, as large as half the planes of any call.
struct Blocks {
  void* to;
  const void* from;
};
Blocks copy_blocks();

}  // namespace bench
