// Which picture goes where, for subcommands that turn pictures into pictures.
#pragma once
#include <string>
#include <vector>

#include "image_file.h"

namespace tool {

struct Job {
  std::string input;
  std::filesystem::path output;
  Format format;
  std::string refusal;  // if not empty, why nothing is to be done
};

struct Plan {
  std::vector<Job> jobs;
  std::filesystem::path folder;  // to be created; empty if the output is one file
};

// `paths` are the inputs, files or folders, and the output. With one input file the output is a file whose extension
// decides on the format, unless it is an existing folder or ends in a slash; else it is a folder, and `format` decides.
// A failure is a mistake in the command line; what concerns single pictures is a refused job.
Result<Plan> plan_jobs(const std::vector<std::string>& paths, std::optional<Format> format);

}  // namespace tool
