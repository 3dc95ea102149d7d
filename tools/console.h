// What the program says: results on standard output; errors and the progress bar on standard error.
#pragma once
#include <cstddef>
#include <string>

namespace tool {

void print_error(const std::string& name, const std::string& message);

// Results and errors of several pictures, with a progress bar below them if standard error is a terminal.
class Console {
 public:
  explicit Console(size_t total);
  ~Console();
  Console(const Console&) = delete;
  Console& operator=(const Console&) = delete;

  void start(const std::string& name);
  void result(const std::string& line);
  void error(const std::string& name, const std::string& message);

 private:
  void draw_bar(const std::string& name) const;
  void clear_bar() const;

  const size_t total_;
  const bool terminal_;
  size_t started_ = 0;
};

// A name without control characters: a file name must not move the cursor or recolour a terminal.
std::string printable(std::string name);

}  // namespace tool
