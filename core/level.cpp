#include "core/level.h"

#include <sys/platform/x86.h>

namespace lum {

// LUM_PIN_LEVEL builds a library that runs one level only; the tests and benchmarks link such a library per level.
#ifdef LUM_PIN_LEVEL
Level level() { return Level::LUM_PIN_LEVEL; }
#else
// The loader's processor record answers: no state of ours, no start-up code, and a few nanoseconds where the cpuid
// instruction would trap to the hypervisor of a virtual machine.
Level level() { return CPU_FEATURE_ACTIVE(AVX2) ? Level::avx2 : Level::sse3; }
#endif

}  // namespace lum
