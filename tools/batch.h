// For subcommands that turn every picture into one.
#pragma once
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "image_file.h"

namespace tool {

struct Transformed {
  Picture picture;
  std::string facts;  // what the line on the picture says behind name and size
};
using Transform = std::function<Result<Transformed>(Picture)>;

// Transforms the inputs among `paths` into the output or outputs that the last one names, and says so; the exit status.
int transform_pictures(const std::vector<std::string>& paths, std::optional<Format> format, const Transform& transform);

}  // namespace tool
