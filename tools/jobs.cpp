#include "jobs.h"

#include <sys/stat.h>

#include <algorithm>
#include <map>
#include <set>

namespace fs = std::filesystem;

namespace tool {
namespace {

bool is_folder(const std::string& path) {
  std::error_code ignored;
  return fs::is_directory(path, ignored);
}

// The pictures in a folder, by extension, in the order of their names.
void add_folder(const std::string& folder, std::vector<Job>& jobs) {
  std::error_code error;
  std::vector<std::string> pictures;
  for (fs::directory_iterator entry(folder, error), end; !error && entry != end; entry.increment(error))
    if (has_picture_extension(entry->path()) && !is_folder(entry->path())) pictures.push_back(entry->path().string());
  if (error || pictures.empty()) {
    jobs.push_back({folder, {}, {}, error ? error.message() : "no pictures in this folder"});
    return;
  }
  std::sort(pictures.begin(), pictures.end());
  for (const std::string& picture : pictures) jobs.push_back({picture, {}, {}, {}});
}

using FileId = std::pair<dev_t, ino_t>;

std::optional<FileId> file_id(const fs::path& path) {
  struct stat facts;
  if (stat(path.c_str(), &facts) != 0) return std::nullopt;
  return FileId(facts.st_dev, facts.st_ino);
}

std::set<FileId> input_ids(const std::vector<Job>& jobs) {
  std::set<FileId> ids;
  for (const Job& job : jobs)
    if (const auto id = file_id(job.input)) ids.insert(*id);
  return ids;
}

// Files are compared by identity, which no spelling of a path and no link can hide.
void refuse_overwritten_inputs(std::vector<Job>& jobs) {
  const std::set<FileId> inputs = input_ids(jobs);
  for (Job& job : jobs) {
    if (!job.refusal.empty()) continue;
    const auto id = file_id(job.output);
    if (id && inputs.count(*id)) job.refusal = "the output " + job.output.string() + " would overwrite an input";
  }
}

void refuse_equal_outputs(std::vector<Job>& jobs) {
  std::map<fs::path, std::string> inputs;
  for (Job& job : jobs) {
    if (!job.refusal.empty()) continue;
    const auto [other, added] = inputs.emplace(job.output, job.input);
    if (!added) job.refusal = "the output " + job.output.string() + " is that of " + other->second + " already";
  }
}

Result<Plan> plan_file(const std::string& input, const std::string& output, std::optional<Format> format) {
  if (format) return Failure{"--format is for an output folder; the extension of an output file decides"};
  Result<Format> by_extension = format_of_output(output);
  if (!by_extension) return by_extension.failure();
  return Plan{{Job{input, output, *by_extension, {}}}, {}};
}

Result<Plan> plan_folder(const std::vector<std::string>& inputs, const std::string& output,
                         std::optional<Format> format) {
  if (fs::path(output).has_filename() && !is_folder(output) && file_id(output))
    return Failure{output + ": not a folder, as several inputs or a folder of them need"};
  if (format == Format::png && !kHasPng) return Failure{"PNG support is not built in"};
  Plan plan{list_inputs(inputs), output};
  for (Job& job : plan.jobs) {
    job.format = format.value_or(kHasPng ? Format::png : Format::pgm);
    job.output = plan.folder / fs::path(job.input).stem();
    job.output += extension(job.format);
  }
  return plan;
}

}  // namespace

std::vector<Job> list_inputs(const std::vector<std::string>& inputs) {
  std::vector<Job> jobs;
  for (const std::string& input : inputs) {
    if (is_folder(input))
      add_folder(input, jobs);
    else
      jobs.push_back({input, {}, {}, {}});
  }
  return jobs;
}

Result<Format> format_of_output(const std::string& output) {
  const std::optional<Format> format = output_format(output);
  if (!format) return Failure{output + ": the extension of an output file is .pgm, .ppm or .png"};
  if (*format == Format::png && !kHasPng) return Failure{"PNG support is not built in"};
  return *format;
}

bool is_input(const fs::path& output, const std::vector<Job>& jobs) {
  const auto id = file_id(output);
  return id && input_ids(jobs).count(*id);
}

Status write_output(const fs::path& output, const Picture& picture, Format format) {
  const Status written = write_picture(output, picture, format);
  return written ? Done{} : Status(Failure{"cannot write " + output.string() + ": " + written.failure().message});
}

Result<Plan> plan_jobs(const std::vector<std::string>& paths, std::optional<Format> format) {
  const std::vector<std::string> inputs(paths.begin(), paths.end() - 1);
  const std::string& output = paths.back();
  if (output.empty()) return Failure{"the name of the output is empty"};
  const bool one_file =
      inputs.size() == 1 && !is_folder(inputs[0]) && !is_folder(output) && fs::path(output).has_filename();
  Result<Plan> plan = one_file ? plan_file(inputs[0], output, format) : plan_folder(inputs, output, format);
  if (!plan) return plan;
  refuse_overwritten_inputs(plan->jobs);
  refuse_equal_outputs(plan->jobs);
  return plan;
}

}  // namespace tool
