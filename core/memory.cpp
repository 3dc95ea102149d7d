// Aligned allocation through the hooks.
#include <stdint.h>
#include <stdlib.h>

#include "core/image.h"
#include "lumcv_frame.h"

void* (*i_malloc)(size_t) = malloc;
void* (*i_calloc)(size_t, size_t) = calloc;
void* (*i_realloc)(void*, size_t) = realloc;
void (*i_free)(void*) = free;
int i_version = 1;
int i_min_version = 0;

namespace lum {
namespace {

constexpr size_t kAlignment = 32;
// The raw pointer stands before the block; the rest is what rounding up can cost.
constexpr size_t kOverhead = kAlignment + sizeof(void*);

void* allocate(int length, size_t element_bytes) {
  if (length < 1) return nullptr;
  size_t bytes;
  if (__builtin_mul_overflow((size_t)length, element_bytes, &bytes)) return nullptr;
  if (__builtin_add_overflow(bytes, kOverhead, &bytes)) return nullptr;
  char* const raw = (char*)i_malloc(bytes);
  if (!raw) return nullptr;
  char* const block = raw + (kOverhead - 1) - ((uintptr_t)raw + kOverhead - 1) % kAlignment;
  put((char**)block - 1, raw);
  return block;
}

}  // namespace
}  // namespace lum

Lum8u* lumsMalloc_8u(int length) { return (Lum8u*)lum::allocate(length, sizeof(Lum8u)); }
Lum8s* lumsMalloc_8s(int length) { return (Lum8s*)lum::allocate(length, sizeof(Lum8s)); }
Lum16u* lumsMalloc_16u(int length) { return (Lum16u*)lum::allocate(length, sizeof(Lum16u)); }
Lum32s* lumsMalloc_32s(int length) { return (Lum32s*)lum::allocate(length, sizeof(Lum32s)); }
Lum32f* lumsMalloc_32f(int length) { return (Lum32f*)lum::allocate(length, sizeof(Lum32f)); }
Lum64f* lumsMalloc_64f(int length) { return (Lum64f*)lum::allocate(length, sizeof(Lum64f)); }

void lumsFree(void* block) {
  if (block) i_free(lum::get((void**)block - 1));
}
