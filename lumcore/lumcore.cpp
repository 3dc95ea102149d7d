#include "lumcore.h"

#include <pthread.h>
#include <sys/single_threaded.h>

#include "core/image.h"
#include "lumcore/processors.h"

// A program that is not position-independent holds its own copy of this, made before load() runs; both this library and
// the others reach it through the global offset table.
int threads_omp_of_n_lum = 1;

const Lum64f lumConstantOfINF_64f = __builtin_inf();
const Lum64f lumConstantOfINF_NEG_64f = -__builtin_inf();
const Lum64f lumConstantOfNAN_64f = __builtin_nan("");

namespace lum {

Facts facts = {1, 1};

namespace {

int threads = 1;

// A child of fork() has one thread only, but the OpenMP runtime in it still counts on the threads of its parent: a
// region of more than one thread would wait for them for ever. A parent without threads leaves nothing to wait for.
bool threaded_at_fork = false;
bool threads_lost = false;

void set_threads(int count) {
  __atomic_store_n(&threads, count, __ATOMIC_RELAXED);
  __atomic_store_n(&threads_omp_of_n_lum, threads_lost ? 1 : count, __ATOMIC_RELAXED);
}

void before_fork() { __atomic_store_n(&threaded_at_fork, !__libc_single_threaded, __ATOMIC_RELAXED); }

void in_forked_child() {
  if (!threaded_at_fork) return;
  threads_lost = true;
  set_threads(1);
}

#ifdef __i386__
[[gnu::force_align_arg_pointer]]  // a program with a 4-byte aligned stack may load the library
#endif
[[gnu::constructor]] void
load() {
  set_threads(default_threads());
  facts = {largest_cache(), cores_on_die("/sys/devices/system/cpu")};
  // The C library takes the handlers away when this library is unloaded. It fails only without memory.
  pthread_atfork(before_fork, nullptr, in_forked_child);
}

}  // namespace
}  // namespace lum

LumStatus lumGetNumThreads(int* pNumThreads) {
  if (!pNumThreads) return lumStatusNullPointer;
  lum::put(pNumThreads, __atomic_load_n(&lum::threads, __ATOMIC_RELAXED));
  return lumStatusOk;
}

LumStatus lumSetNumThreads(int numThreads) {
  if (numThreads < 1) return lumStatusBadSize;
  lum::set_threads(numThreads);
  return lumStatusOk;
}

LumStatus lumGetMaxCacheSizeB(int* pSize) {
  if (!pSize) return lumStatusNullPointer;
  lum::put(pSize, lum::facts.cache_bytes);
  return lumStatusOk;
}

int lumGetNumCoresOnDie() { return lum::facts.cores; }
