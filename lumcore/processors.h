// What the machine and the limits of the process allow. The files and calls that answer are arguments, so that tests
// can stand in for machines that are not at hand.
#pragma once
#include <sched.h>
#include <stddef.h>
#include <sys/types.h>

namespace lum {

// Facts read at load time: the kernel's files and, in a virtual machine, cpuid are too slow to ask at every call.
struct Facts {
  int cache_bytes;
  int cores;
};
extern Facts facts;

// Thread count that a value of OMP_NUM_THREADS asks for; 0 where the OpenMP runtime ignores the value.
int threads_from_environment(const char* value);

// Processors in the affinity mask of the process, 1 or more.
int affinity_processors(int (*get_mask)(pid_t, size_t, cpu_set_t*) = sched_getaffinity);

// Processors that the control groups named in group_file (form of /proc/self/cgroup) grant, 1 or more; INT_MAX where
// nothing limits them. mount is where the control groups are mounted.
int quota_processors(const char* group_file, const char* mount);

// Thread count for a process that has not set one.
int default_threads();

// Bytes of the largest cache.
int largest_cache();

// Cores that share a die, 1 or more, from a folder of the form of /sys/devices/system/cpu.
int cores_on_die(const char* folder);

}  // namespace lum
