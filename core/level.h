// Instruction-set levels. Every *_kernels.cpp is compiled once per level, inside namespace lum::LUM_LEVEL.
#pragma once

#ifndef LUM_LEVEL  // set by the build for the kernel files; an editor reads them as the baseline
#define LUM_LEVEL sse3
#endif

namespace lum {

enum class Level { sse3, avx2 };

// The level this processor runs.
Level level();

}  // namespace lum

// Declares kernels in the namespace of every level.
#define LUM_FOR_LEVELS(...) \
  namespace lum::sse3 {     \
  __VA_ARGS__               \
  }                         \
  namespace lum::avx2 {     \
  __VA_ARGS__               \
  }

// The kernel of one level.
#define LUM_PICK(level, ...) ((level) == ::lum::Level::avx2 ? &::lum::avx2::__VA_ARGS__ : &::lum::sse3::__VA_ARGS__)
