// One image argument: first pixel of the region, row step in bytes. Shared by all levels, so its functions are always
// inlined: no copy compiled for one level can end up in another.
#pragma once
#include <stddef.h>
#include <stdint.h>
#include <string.h>

#include "lumcv_types.h"

#define LUM_INLINE [[gnu::always_inline]] inline

namespace lum {

template <class T, int Channels = 1>
struct Image {
  T* data;
  int step;
  LUM_INLINE T* row(int y) const { return (T*)((const char*)data + (ptrdiff_t)y * step); }
};

// Elements of a caller's plane, table or array of pointers. Callers may place them at any byte, so they are never
// touched through a typed lvalue: the compiler would take the type's alignment for granted.
template <class T>
LUM_INLINE T get(const T* p) {
  T value;
  memcpy(&value, p, sizeof value);
  return value;
}
template <class T>
LUM_INLINE void put(T* p, T value) {
  memcpy(p, &value, sizeof value);
}

// An address to ask the memory for early, be it outside of everything.
LUM_INLINE const void* ahead(const void* p, size_t bytes) { return (const void*)((uintptr_t)p + bytes); }

}  // namespace lum
