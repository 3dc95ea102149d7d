#include <algorithm>
#include <cmath>
#include <memory>

#include "commands.h"
#include "console.h"
#include "jobs.h"
#include "library.h"
#include "lumcore.h"
#include "options.h"

namespace tool {
namespace {

struct Options {
  std::vector<std::string> paths;
  float alpha = 0.05f;
  int threshold = 30;
  std::optional<std::string> average;
  std::optional<int> threads;
};

constexpr char kPathsHelp[] =
    "Frames of one size, files or folders, from the first to the last, and the mask of what\n"
    "stands out in the last (.pgm, .ppm or .png): 255 there, 0 elsewhere";
constexpr char kThresholdHelp[] = "Pixels stand out that differ by more from the background (default: 30)";

Result<Picture> read_grey(const Job& job) {
  if (!job.refusal.empty()) return Failure{job.refusal};
  Result<Picture> picture = read_picture(job.input);
  return picture ? to_grey(std::move(*picture)) : picture;
}

// The running average of frames: the first one, to which each further one is added with a weight.
class Average {
 public:
  explicit Average(LumSize size) : size_(size), values_(size_t(size.width) * unsigned(size.height)) {}

  Status add(const Picture& frame, float alpha) {
    const int step = size_.width * int(sizeof(Lum32f));
    const LumStatus status =
        std::exchange(first_, false)
            ? lumiAdd_8u32f_C1IR(frame.pixels.data(), size_.width, values_.data(), step, size_)
            : lumiAddWeighted_8u32f_C1IR(frame.pixels.data(), size_.width, values_.data(), step, size_, alpha);
    return check(status, "running average");
  }

  Picture rounded() const {
    Picture picture{size_.width, size_.height, 1, Bytes(values_.size())};
    std::transform(values_.begin(), values_.end(), picture.pixels.begin(),
                   [](Lum32f value) { return uint8_t(std::lround(value)); });
    return picture;
  }

 private:
  const LumSize size_;
  std::vector<Lum32f> values_;  // zeros until the first frame is added
  bool first_ = true;
};

// 255 where a frame differs by more than the threshold, which is below 255; else 0.
Result<Picture> compare(const Picture& frame, const Picture& background, int threshold) {
  const LumSize size = size_of(frame);
  const int step = size.width;
  Picture mask{size.width, size.height, 1, Bytes(frame.pixels.size())};
  Lum8u* const pixels = mask.pixels.data();
  LumStatus status = lumiAbsDiff_8u_C1R(frame.pixels.data(), step, background.pixels.data(), step, pixels, step, size);
  if (status == lumStatusOk) status = lumiThreshold_GTVal_8u_C1IR(pixels, step, size, Lum8u(threshold), 255);
  if (status == lumStatusOk)
    status = lumiThreshold_Val_8u_C1R(pixels, step, pixels, step, size, 255, 0, lumCompareLess);
  if (Status s = check(status, "comparison"); !s) return s.failure();
  return mask;
}

struct Scene {
  Picture background, last;
};

// The average of all frames but the last, and the last. Says what is wrong with which frame.
std::optional<Scene> read_scene(const std::vector<Job>& jobs, float alpha, Console& console) {
  std::optional<Average> average;
  Picture frame;
  const auto next = [&](const Job& job) -> Status {
    if (average)
      if (Status s = average->add(frame, alpha); !s) return s;
    Result<Picture> picture = read_grey(job);
    if (!picture) return picture.failure();
    if (!average)
      average.emplace(size_of(*picture));
    else if (Status s = check_same_size(*picture, frame, jobs[0].input); !s)
      return s;
    frame = std::move(*picture);
    return Done{};
  };
  for (const Job& job : jobs) {
    console.start(job.input);
    if (const Status s = next(job); !s) {
      console.error(job.input, s.failure().message);
      return std::nullopt;
    }
  }
  return Scene{average->rounded(), std::move(frame)};
}

// True if all went well.
bool model_background(const Options& options, const std::vector<Job>& jobs, const std::string& output, Format format,
                      std::optional<Format> average_format) {
  Console console(jobs.size());
  const auto failed = [&](const std::string& name, const std::string& message) {
    console.error(name, message);
    return false;
  };
  if (jobs.size() < 2 && jobs[0].refusal.empty()) return failed(jobs[0].input, "two frames are needed at least");
  for (const std::string& path : {output, options.average.value_or(output)})
    if (is_input(path, jobs)) return failed(path, "would overwrite an input");

  const std::optional<Scene> scene = read_scene(jobs, options.alpha, console);
  if (!scene) return false;
  Result<Picture> mask = compare(scene->last, scene->background, options.threshold);
  if (!mask) return failed(jobs.back().input, mask.failure().message);
  if (options.average)
    if (const Status s = write_picture(*options.average, scene->background, *average_format); !s)
      return failed(*options.average, s.failure().message);
  if (const Status s = write_picture(output, *mask, format); !s) return failed(output, s.failure().message);
  const auto count = std::count(mask->pixels.begin(), mask->pixels.end(), 255);
  console.result(printable(jobs.back().input) + ": " + std::to_string(count) + " of " +
                 std::to_string(mask->pixels.size()) + " pixels stand out from " + std::to_string(jobs.size() - 1) +
                 (jobs.size() == 2 ? " frame" : " frames"));
  return true;
}

Format format_or_usage_error(const std::string& output) {
  Result<Format> format = format_of_output(output);
  if (!format) usage_error(format.failure().message);
  return *format;
}

int run(const Options& options) {
  if (!(options.alpha >= 0 && options.alpha <= 1)) usage_error("--alpha must be in 0 to 1");
  const std::string& output = options.paths.back();
  const Format format = format_or_usage_error(output);
  std::optional<Format> average_format;
  if (options.average) average_format = format_or_usage_error(*options.average);
  if (options.average &&
      std::filesystem::path(*options.average).lexically_normal() == std::filesystem::path(output).lexically_normal())
    usage_error("--average and OUT are the same file");
  if (options.threads) lumSetNumThreads(*options.threads);
  const std::vector<Job> jobs = list_inputs({options.paths.begin(), options.paths.end() - 1});
  return model_background(options, jobs, output, format, average_format) ? 0 : 1;
}

}  // namespace

void add_background_command(CLI::App& app, int& exit_status) {
  CLI::App* const background = add_command(app, "background", "Find what stands out in the last frame of a sequence");
  const auto options = std::make_shared<Options>();
  add_paths(background, options->paths, kPathsHelp);
  background->add_option("--alpha", options->alpha, "Weight of a frame in the running average (default: 0.05)")
      ->option_text("F");
  background->add_option("--threshold", options->threshold, kThresholdHelp)
      ->option_text("N")
      ->check(CLI::Range(0, 254));
  background->add_option("--average", options->average, "Also write the background, rounded, to this file")
      ->option_text("FILE");
  add_threads_option(background, options->threads);
  background->callback([options, &exit_status] { exit_status = run(*options); });
}

}  // namespace tool
