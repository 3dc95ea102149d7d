#include "batch.h"

#include <algorithm>
#include <cstdio>
#include <new>

#include "console.h"
#include "jobs.h"
#include "options.h"

namespace tool {
namespace {

Result<std::string> process(const Job& job, const Transform& transform, size_t name_width) {
  Result<Picture> picture = read_picture(job.input);
  if (!picture) return picture.failure();
  Result<Transformed> result = transform(std::move(*picture));
  if (!result) return result.failure();
  if (const Status written = write_output(job.output, result->picture, job.format); !written) return written.failure();
  char size[40];
  std::snprintf(size, sizeof size, "  %5dx%-5d", result->picture.width, result->picture.height);
  std::string name = printable(job.input);
  name.resize(std::max(name.size(), name_width), ' ');
  return name + size + result->facts;
}

Result<std::string> process_or_refuse(const Job& job, const Transform& transform, size_t name_width) {
  if (!job.refusal.empty()) return Failure{job.refusal};
  try {
    return process(job, transform, name_width);
  } catch (const std::bad_alloc&) {
    return Failure{"not enough memory for this picture"};
  }
}

// True if all went well.
bool run_jobs(const std::vector<Job>& jobs, const Transform& transform) {
  size_t name_width = 0;
  for (const Job& job : jobs) name_width = std::max(name_width, job.input.size());
  Console console(jobs.size());
  bool all_good = true;
  for (const Job& job : jobs) {
    console.start(job.input);
    Result<std::string> line = process_or_refuse(job, transform, name_width);
    if (line)
      console.result(*line);
    else
      console.error(job.input, line.failure().message);
    all_good = all_good && line;
  }
  return all_good;
}

}  // namespace

int transform_pictures(const std::vector<std::string>& paths, std::optional<Format> format,
                       const Transform& transform) {
  Result<Plan> plan = plan_jobs(paths, format);
  if (!plan) usage_error(plan.failure().message);
  std::error_code error;
  if (!plan->folder.empty()) std::filesystem::create_directories(plan->folder, error);
  if (error) {
    print_error(plan->folder.string(), error.message());
    return 1;
  }
  return run_jobs(plan->jobs, transform) ? 0 : 1;
}

}  // namespace tool
