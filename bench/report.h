// What was measured, as tables.
#pragma once
#include <map>
#include <ostream>

#include "members.h"

namespace bench {

constexpr LumSize kSizes[] = {kLargest, {1920, 1080}, {640, 480}, {64, 64}};
constexpr LumSize kMain = kSizes[1], kSmall = kSizes[3], kPixel = {1, 1};

// A member on planes of one size at one level ("scalar" is the plain loop), on one thread or on all.
struct Line {
  const Member* member;
  LumSize roi;
  std::string level;
  bool all_threads;

  std::string name() const;
  Line scalar() const { return {member, roi, "scalar", false}; }
};

struct Result {
  double seconds;        // of a call
  double copy_fraction;  // copying as many bytes takes this part of it
  double speedup;        // against one thread, where all were used
  bool alone;            // no other program ran on the core
};
using Results = std::map<std::string, Result>;

double median(std::vector<double> values);

// A row for each line.
void print_lines(std::ostream& out, const std::vector<Line>& lines, const Results& results);
// A complete run: the main size in full, the others by groups of members.
void print_summary(std::ostream& out, const Results& results);

}  // namespace bench
