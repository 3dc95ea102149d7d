#include "console.h"

#include <sys/ioctl.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>

namespace tool {
namespace {

size_t terminal_columns() {
  struct winsize size = {};
  return ioctl(STDERR_FILENO, TIOCGWINSZ, &size) == 0 && size.ws_col > 0 ? size.ws_col : 80;
}

}  // namespace

std::string printable(std::string name) {
  for (char& c : name)
    if ((c >= 0 && c < ' ') || c == 127) c = '?';
  return name;
}

void print_error(const std::string& name, const std::string& message) {
  std::fflush(stdout);  // keeps the order where both go to one place
  std::fprintf(stderr, "lumcv: %s: %s\n", printable(name).c_str(), printable(message).c_str());
}

Console::Console(size_t total) : total_(total), terminal_(isatty(STDERR_FILENO)) {}

Console::~Console() { clear_bar(); }

void Console::start(const std::string& name) {
  draw_bar(printable(name));
  ++started_;
}

void Console::result(const std::string& line) {
  clear_bar();
  std::printf("%s\n", line.c_str());
  if (terminal_) std::fflush(stdout);  // before the next bar is drawn
}

void Console::error(const std::string& name, const std::string& message) {
  clear_bar();
  print_error(name, message);
}

void Console::draw_bar(const std::string& name) const {
  constexpr size_t kCells = 24;
  if (!terminal_) return;
  const size_t full = kCells * started_ / std::max<size_t>(total_, 1);
  std::string line = "[" + std::string(full, '#') + std::string(kCells - full, '.') + "] " + std::to_string(started_) +
                     "/" + std::to_string(total_) + " " + name;
  line.resize(std::min(line.size(), terminal_columns() - 1));  // a line that wraps could not be cleared
  std::fprintf(stderr, "\r\033[K%s", line.c_str());
}

void Console::clear_bar() const {
  if (terminal_) std::fputs("\r\033[K", stderr);
}

}  // namespace tool
