// Which pictures are read, and what is written.
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

// The pictures that the inputs, files or folders, are or hold; what cannot be listed is a refused job. No outputs.
std::vector<Job> list_inputs(const std::vector<std::string>& inputs);

// By the extension; a failure is a mistake in the command line.
Result<Format> format_of_output(const std::string& output);

// Whether a file that exists is an input, whatever the path's spelling.
bool is_input(const std::filesystem::path& output, const std::vector<Job>& jobs);

Status write_output(const std::filesystem::path& output, const Picture& picture, Format format);

}  // namespace tool
