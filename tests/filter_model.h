// What the filter tests share.
#pragma once
#include "filter_rules.h"
#include "lumcore.h"
#include "planes.h"

namespace test {

// Sets the library's thread count for one scope.
struct Threads {
  explicit Threads(int n) {
    lumGetNumThreads(&before);
    lumSetNumThreads(n);
  }
  ~Threads() { lumSetNumThreads(before); }
  int before = 1;
};

}  // namespace test
