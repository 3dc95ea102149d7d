// A value, or the reason why there is none.
#pragma once
#include <string>
#include <utility>
#include <variant>

namespace tool {

// What is wrong, worded to follow "lumcv: NAME: ".
struct Failure {
  std::string message;
};

template <class T>
class [[nodiscard]] Result {
 public:
  Result(T value) : content_(std::move(value)) {}
  Result(Failure failure) : content_(std::move(failure)) {}

  explicit operator bool() const { return std::holds_alternative<T>(content_); }
  T& operator*() { return *std::get_if<T>(&content_); }
  T* operator->() { return std::get_if<T>(&content_); }
  const Failure& failure() const { return *std::get_if<Failure>(&content_); }

 private:
  std::variant<T, Failure> content_;
};

struct Done {};
using Status = Result<Done>;

}  // namespace tool
