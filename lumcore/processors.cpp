#include "lumcore/processors.h"

#include <ctype.h>
#include <errno.h>
#include <limits.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <unistd.h>

#include <initializer_list>

namespace lum {
namespace {

int min(int a, int b) { return a < b ? a : b; }
int max(int a, int b) { return a > b ? a : b; }

// A text file of the kernel. One that cannot be opened reads as empty.
class File {
 public:
  explicit File(const char* path) : file_(fopen(path, "re")) {}
  File(const char* folder, const char* name) : file_(nullptr) {
    char path[PATH_MAX];
    if (snprintf(path, sizeof path, "%s/%s", folder, name) < (int)sizeof path) file_ = fopen(path, "re");
  }
  File(const File&) = delete;
  File& operator=(const File&) = delete;
  ~File() {
    if (file_) fclose(file_);
  }
  bool number(long long* value) const { return file_ && fscanf(file_, "%lld", value) == 1; }
  int character() const { return file_ ? fgetc(file_) : EOF; }
  bool line(char** text, size_t* room) const { return file_ && getline(text, room, file_) > 0; }

 private:
  FILE* file_;
};

const char* skip_space(const char* text) {
  while (isspace((unsigned char)*text)) ++text;
  return text;
}

// Moves *text behind one number of the list and the white space around it; 0 if no valid number stands there. The
// runtime takes counts up to LONG_MAX; what strtoul() makes of no number (0) and of overflow (ULONG_MAX) lies outside.
unsigned long take_thread_count(const char** text) {
  char* end;
  const unsigned long count = strtoul(*text, &end, 10);
  *text = skip_space(end);
  return (long)count < 1 ? 0 : count;
}

// Processors that a quota per period is worth. A part of a processor still runs one thread.
int granted_processors(long long quota, long long period) {
  if (quota < 0 || period < 1) return INT_MAX;
  const long long count = quota / period + (quota % period != 0);
  return count > INT_MAX ? INT_MAX : max(int(count), 1);
}

int quota_of_unified_group(const char* folder) {
  const File file(folder, "cpu.max");
  long long quota, period;
  return file.number(&quota) && file.number(&period) ? granted_processors(quota, period) : INT_MAX;
}

int quota_of_controller_group(const char* folder) {
  long long quota, period;
  const bool limited =
      File(folder, "cpu.cfs_quota_us").number(&quota) && File(folder, "cpu.cfs_period_us").number(&period);
  return limited ? granted_processors(quota, period) : INT_MAX;
}

// The smallest quota of a group and its ancestors. A container may see its own group mounted as the root while its path
// still tells the host's place for it: folders that are not there limit nothing, and the root's quota counts.
int smallest_quota(const char* mount, const char* group, int (*quota_of)(const char* folder)) {
  char folder[PATH_MAX];
  const size_t root = strlen(mount);
  size_t end = root + strlen(group);
  // A group outside the root of the container is told as "/../name".
  if (end >= sizeof folder || strstr(group, "/..")) group = "", end = root;
  if (end >= sizeof folder) return INT_MAX;
  memcpy(folder, mount, root);
  memcpy(folder + root, group, end - root);
  int smallest = INT_MAX;
  for (;;) {
    folder[end] = 0;
    smallest = min(smallest, quota_of(folder));
    if (end == root) return smallest;
    while (folder[--end] != '/') {
    }
  }
}

bool names_cpu(char* controllers) {
  while (const char* const name = strsep(&controllers, ","))
    if (strcmp(name, "cpu") == 0) return true;
  return false;
}

int controller_quota(const char* mount, const char* group) {
  int smallest = INT_MAX;
  for (const char* const name : {"cpu", "cpu,cpuacct"}) {
    char folder[PATH_MAX];
    if (snprintf(folder, sizeof folder, "%s/%s", mount, name) >= (int)sizeof folder) continue;
    smallest = min(smallest, smallest_quota(folder, group, quota_of_controller_group));
  }
  return smallest;
}

// One line of the group file: hierarchy:controllers:group. The unified hierarchy lists no controllers.
int quota_of_line(char* line, const char* mount) {
  line[strcspn(line, "\n")] = 0;
  char* group = line;
  strsep(&group, ":");
  char* const controllers = strsep(&group, ":");
  if (!group || *group != '/') return INT_MAX;
  if (*controllers == 0) return smallest_quota(mount, group, quota_of_unified_group);
  return names_cpu(controllers) ? controller_quota(mount, group) : INT_MAX;
}

// A list of processors such as "0-3,8".
struct Processors {
  int count = 0;
  int first = 0;
};

Processors read_list(const File& file) {
  Processors listed;
  for (int next = ','; next == ',';) {
    long long first, last;
    if (!file.number(&first)) return {};
    last = first;
    next = file.character();
    if (next == '-') {
      if (!file.number(&last)) return {};
      next = file.character();
    }
    if (first < 0 || last < first || last - first >= INT_MAX - listed.count) return {};
    if (listed.count == 0) listed.first = int(first);
    listed.count += int(last - first + 1);
    if (next != ',' && next != '\n' && next != EOF) return {};
  }
  return listed;
}

// The kernel renamed these files once and may drop the old names.
int count_listed(const char* folder, const char* name, const char* old_name) {
  const int count = read_list(File(folder, name)).count;
  return count > 0 ? count : read_list(File(folder, old_name)).count;
}

}  // namespace

int threads_from_environment(const char* value) {
  if (!value) return 0;
  const unsigned long first = take_thread_count(&value);
  bool valid = first != 0;
  while (valid && *value == ',') {
    ++value;
    valid = take_thread_count(&value) != 0;
  }
  if (!valid || *value != 0) return 0;
  return first < INT_MAX ? int(first) : INT_MAX;
}

int affinity_processors(int (*get_mask)(pid_t, size_t, cpu_set_t*)) {
  // The call fails while the mask has less room than the kernel has processors.
  for (int room = CPU_SETSIZE; room <= 1 << 20; room *= 2) {
    cpu_set_t* const mask = CPU_ALLOC(room);
    if (!mask) break;
    const size_t bytes = CPU_ALLOC_SIZE(room);
    CPU_ZERO_S(bytes, mask);
    const bool told = get_mask(0, bytes, mask) == 0;
    const int count = told ? CPU_COUNT_S(bytes, mask) : 0;
    const bool too_small = !told && errno == EINVAL;
    CPU_FREE(mask);
    if (count > 0) return count;
    if (!too_small) break;
  }
  return max((int)sysconf(_SC_NPROCESSORS_ONLN), 1);
}

int quota_processors(const char* group_file, const char* mount) {
  const File file(group_file);
  char* line = nullptr;
  size_t room = 0;
  int smallest = INT_MAX;
  while (file.line(&line, &room)) smallest = min(smallest, quota_of_line(line, mount));
  free(line);
  return smallest;
}

int default_threads() {
  const int wanted = threads_from_environment(getenv("OMP_NUM_THREADS"));
  return wanted ? wanted : min(affinity_processors(), quota_processors("/proc/self/cgroup", "/sys/fs/cgroup"));
}

int largest_cache() {
  long largest = 0;
  for (const int name : {_SC_LEVEL1_DCACHE_SIZE, _SC_LEVEL2_CACHE_SIZE, _SC_LEVEL3_CACHE_SIZE, _SC_LEVEL4_CACHE_SIZE}) {
    const long bytes = sysconf(name);
    if (bytes > largest) largest = bytes;
  }
  // A virtual machine may report no cache at all. Nearly every processor served has 512 KiB, and work cut to less than
  // the real size loses little.
  if (largest == 0) return 512 * 1024;
  return largest < INT_MAX ? int(largest) : INT_MAX;
}

int cores_on_die(const char* folder) {
  Processors online = read_list(File(folder, "online"));
  if (online.count == 0) online.count = max((int)sysconf(_SC_NPROCESSORS_ONLN), 1);
  char topology[PATH_MAX];  // of the first processor online: the others are taken to be alike
  if (snprintf(topology, sizeof topology, "%s/cpu%d/topology", folder, online.first) >= (int)sizeof topology)
    return online.count;
  const int in_package = count_listed(topology, "package_cpus_list", "core_siblings_list");
  const int in_core = count_listed(topology, "core_cpus_list", "thread_siblings_list");
  if (in_package == 0 || in_core == 0) return online.count;
  if (in_package > in_core) return in_package / in_core;
  // Virtual machines often present every processor as a package of its own. What callers want to know is whether there
  // are more cores to share the work, so the packages count.
  return max((online.count + in_package - 1) / in_package, 1);
}

}  // namespace lum
