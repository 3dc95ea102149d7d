#include "files.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <csignal>
#include <cstdio>
#include <cstring>

namespace tool {
namespace {

// The largest picture and room for any header and metadata; keeps a wrong name such as an endless device harmless.
constexpr size_t kMaxFileBytes = (size_t(1) << 30) + (size_t(1) << 24);

Failure system_failure() { return {std::strerror(errno)}; }

class Descriptor {
 public:
  explicit Descriptor(int fd) : fd_(fd) {}
  Descriptor(const Descriptor&) = delete;
  Descriptor& operator=(const Descriptor&) = delete;
  ~Descriptor() {
    if (fd_ >= 0) ::close(fd_);
  }
  int get() const { return fd_; }
  // Some file systems report a failed write only here.
  bool close() { return ::close(std::exchange(fd_, -1)) == 0; }

 private:
  int fd_;
};

// The temporary file, in plain memory so that a signal handler can remove it; empty if there is none.
char pending_name[PATH_MAX];

void remove_pending_and_die(int signal) {
  if (pending_name[0]) unlink(pending_name);
  raise(signal);  // back to its default action, see SA_RESETHAND
}

// A file under a temporary name beside its target, removed again unless published.
class PendingFile {
 public:
  explicit PendingFile(const std::filesystem::path& target) : target_(target), file_(create(target)) {}
  PendingFile(const PendingFile&) = delete;
  PendingFile& operator=(const PendingFile&) = delete;
  ~PendingFile() {
    if (pending_name[0]) unlink(pending_name);
    pending_name[0] = 0;
  }

  bool opened() const { return file_.get() >= 0; }

  bool write(ByteView content) {
    while (!content.empty()) {
      const ssize_t count = ::write(file_.get(), content.data(), std::min(content.size(), size_t(1) << 24));
      if (count < 0 && errno == EINTR) continue;
      if (count < 0) return false;
      content = content.subspan(size_t(count));
    }
    return true;
  }

  bool publish() {
    if (!file_.close() || rename(pending_name, target_.c_str()) != 0) return false;
    pending_name[0] = 0;
    return true;
  }

 private:
  static int create(const std::filesystem::path& target) {
    for (int attempt = 0;; ++attempt) {
      const std::string leaf = ".lumcv-" + std::to_string(getpid()) + "-" + std::to_string(attempt);
      const std::string name = (target.parent_path() / leaf).string();
      if (name.size() >= sizeof pending_name) {
        errno = ENAMETOOLONG;
        return -1;
      }
      std::memcpy(pending_name, name.c_str(), name.size() + 1);
      const int fd = open(pending_name, O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0666);
      if (fd >= 0) return fd;
      pending_name[0] = 0;
      if (errno != EEXIST) return fd;
    }
  }

  const std::filesystem::path target_;
  Descriptor file_;
};

}  // namespace

Result<Bytes> read_file(const std::filesystem::path& path) {
  const Descriptor file(open(path.c_str(), O_RDONLY | O_CLOEXEC));
  struct stat facts;
  if (file.get() < 0 || fstat(file.get(), &facts) != 0) return system_failure();
  // One byte more than the file has, so that the read that meets its end needs no larger buffer.
  Bytes content(S_ISREG(facts.st_mode) ? size_t(std::clamp<off_t>(facts.st_size, 0, kMaxFileBytes)) + 1 : 65536);
  for (size_t filled = 0;;) {
    if (filled == content.size()) content.resize(filled + std::clamp<size_t>(filled, 65536, size_t(1) << 24));
    const ssize_t count = read(file.get(), content.data() + filled, content.size() - filled);
    if (count < 0 && errno == EINTR) continue;
    if (count < 0) return system_failure();
    filled += size_t(count);
    if (filled > kMaxFileBytes) return Failure{"the file is too large"};
    if (count == 0) {
      content.resize(filled);
      return content;
    }
  }
}

Status replace_file(const std::filesystem::path& path, ByteView content) {
  PendingFile file(path);
  if (!file.opened() || !file.write(content) || !file.publish()) return system_failure();
  return Done{};
}

void install_signal_handlers() {
  struct sigaction action = {};
  action.sa_handler = remove_pending_and_die;
  action.sa_flags = SA_RESETHAND;
  for (const int signal : {SIGINT, SIGTERM, SIGHUP}) {
    struct sigaction old;
    // What the caller ignores, as nohup does, stays ignored.
    if (sigaction(signal, nullptr, &old) == 0 && old.sa_handler != SIG_IGN) sigaction(signal, &action, nullptr);
  }
  std::signal(SIGXFSZ, SIG_IGN);
}

}  // namespace tool
