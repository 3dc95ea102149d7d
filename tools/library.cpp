#include "library.h"

namespace tool {
std::string text_of_size(const Picture& picture) {
  return std::to_string(picture.width) + "x" + std::to_string(picture.height);
}

Status check(LumStatus status, const char* step) {
  if (status == lumStatusOk) return Done{};
  if (status == lumStatusBadSize) return Failure{std::string("the picture is too large for the ") + step};
  return Failure{std::string("the ") + step + " failed with status " + std::to_string(status)};
}

Status check_same_size(const Picture& picture, const Picture& other, const std::string& other_name) {
  if (picture.width == other.width && picture.height == other.height) return Done{};
  return Failure{"its size of " + text_of_size(picture) + " differs from that of " + other_name + ", " +
                 text_of_size(other)};
}

}  // namespace tool
