#include "edges.h"

#include <cmath>
#include <cstdio>
#include <memory>
#include <new>

#include "console.h"
#include "edge_map.h"
#include "jobs.h"
#include "lumcore.h"

namespace tool {
namespace {

struct Options {
  std::vector<std::string> paths;
  std::string op = "sobel";
  int mask = 3;
  std::optional<float> low, high;
  std::string border = "repl";
  std::optional<int> border_value;
  std::optional<int> threads;
  std::optional<std::string> format;
};

constexpr char kPathsHelp[] =
    "Pictures or folders of pictures, and where the edge maps go:\n"
    "for one picture a file (.pgm, .ppm or .png), else a folder, which is created";
constexpr char kLowHelp[] =
    "Strength |dx| + |dy| above which an edge is followed (default: half of --high,\n"
    "or 120 for Sobel 3x3, 1440 for Sobel 5x5, 480 for Scharr)";
constexpr char kHighHelp[] = "Strength that an edge must exceed at one pixel at least (default: twice --low)";
constexpr char kBorderHelp[] =
    "Pixels outside the picture: the edge pixel repeated (repl, the default), one value (const),\n"
    "periodic (wrap), mirrored without (mirr) or with (mirrr) the edge pixel";
constexpr const char* kFormatHelp = kHasPng ? "File type in an output folder (default: png)"
                                            : "File type in an output folder (default: pgm; png is not built in)";

// Usage lines without the dots that mark a list: the names have them where they belong.
struct PlainNames : CLI::Formatter {
  std::string make_option_usage(const CLI::Option* option) const override { return make_option_name(option, true); }
};

[[noreturn]] void usage_error(const std::string& message) { throw CLI::ValidationError(message); }

// Thresholds that keep outlines and drop most texture of a photograph. A sharp step of brightness answers in the ratio
// 4 : 16 : 48 to Sobel 3x3, Scharr and Sobel 5x5.
float default_low(const EdgeSettings& settings) {
  if (settings.op == Operator::scharr) return 480;
  return settings.mask == lumMaskSize3x3 ? 120 : 1440;
}

void set_thresholds(const Options& options, EdgeSettings& settings) {
  settings.low = options.low.value_or(options.high ? *options.high / 2 : default_low(settings));
  settings.high = options.high.value_or(2 * settings.low);
  if (!std::isfinite(settings.low) || !std::isfinite(settings.high)) usage_error("--low and --high must be finite");
  if (settings.low < 0) usage_error("--low must not be negative");
  if (settings.low > settings.high) usage_error("--low must not be above --high");
}

EdgeSettings edge_settings(const Options& options) {
  EdgeSettings settings;
  settings.op = options.op == "sobel" ? Operator::sobel : Operator::scharr;
  settings.mask = options.mask == 3 ? lumMaskSize3x3 : lumMaskSize5x5;
  if (settings.op == Operator::scharr && options.mask == 5) usage_error("--operator scharr has no --mask 5");
  const std::map<std::string, LumBorderType> borders = {{"const", lumBorderConst},
                                                        {"repl", lumBorderRepl},
                                                        {"wrap", lumBorderWrap},
                                                        {"mirr", lumBorderMirr},
                                                        {"mirrr", lumBorderMirrR}};
  settings.border = borders.at(options.border);
  if (options.border_value && settings.border != lumBorderConst) usage_error("--border-value needs --border const");
  settings.border_value = Lum8u(options.border_value.value_or(0));
  set_thresholds(options, settings);
  return settings;
}

Result<std::string> process(const Job& job, const EdgeSettings& settings, int name_width) {
  Result<Picture> picture = read_picture(job.input);
  if (!picture) return picture.failure();
  const Picture grey = to_grey(std::move(*picture));
  Result<EdgeMap> edges = find_edges(grey, settings);
  if (!edges) return edges.failure();
  if (const Status written = write_picture(job.output, edges->picture, job.format); !written)
    return Failure{"cannot write " + job.output.string() + ": " + written.failure().message};
  char facts[160];
  std::snprintf(facts, sizeof facts, "  %5dx%-5d %9zu edge pixels  filter %8.2f ms  Canny %8.2f ms", grey.width,
                grey.height, edges->edge_pixels, edges->filter_ms, edges->canny_ms);
  std::string name = printable(job.input);
  name.resize(std::max(name.size(), size_t(name_width)), ' ');
  return name + facts;
}

Result<std::string> process_or_refuse(const Job& job, const EdgeSettings& settings, int name_width) {
  if (!job.refusal.empty()) return Failure{job.refusal};
  try {
    return process(job, settings, name_width);
  } catch (const std::bad_alloc&) {
    return Failure{"not enough memory for this picture"};
  }
}

// True if all went well.
bool run_jobs(const std::vector<Job>& jobs, const EdgeSettings& settings) {
  int name_width = 0;
  for (const Job& job : jobs) name_width = std::max(name_width, int(job.input.size()));
  Console console(jobs.size());
  bool all_good = true;
  for (const Job& job : jobs) {
    console.start(job.input);
    Result<std::string> line = process_or_refuse(job, settings, name_width);
    if (line)
      console.result(*line);
    else
      console.error(job.input, line.failure().message);
    all_good = all_good && line;
  }
  return all_good;
}

int run(const Options& options) {
  const EdgeSettings settings = edge_settings(options);
  std::optional<Format> format;
  if (options.format) format = *options.format == "png" ? Format::png : Format::pgm;
  Result<Plan> plan = plan_jobs(options.paths, format);
  if (!plan) usage_error(plan.failure().message);
  if (options.threads) lumSetNumThreads(*options.threads);

  std::error_code error;
  if (!plan->folder.empty()) std::filesystem::create_directories(plan->folder, error);
  if (error) {
    print_error(plan->folder.string(), error.message());
    return 1;
  }
  return run_jobs(plan->jobs, settings) ? 0 : 1;
}

}  // namespace

void add_edges_command(CLI::App& app, int& exit_status) {
  CLI::App* const edges = app.add_subcommand("edges", "Find the edges of pictures (Canny)");
  const auto options = std::make_shared<Options>();
  edges->formatter(std::make_shared<PlainNames>());
  edges->add_option("IN... OUT", options->paths, kPathsHelp)->option_text(" ")->required()->expected(2, -1);
  edges->add_option("--low", options->low, kLowHelp)->option_text("F");
  edges->add_option("--high", options->high, kHighHelp)->option_text("F");
  edges->add_option("--operator", options->op, "Derivative filter (default: sobel)")
      ->option_text("sobel|scharr")
      ->check(CLI::IsMember({"sobel", "scharr"}));
  edges->add_option("--mask", options->mask, "Mask size of Sobel (default: 3)")
      ->option_text("3|5")
      ->check(CLI::IsMember({3, 5}));
  edges->add_option("--border", options->border, kBorderHelp)
      ->option_text("repl|const|wrap|mirr|mirrr")
      ->check(CLI::IsMember({"repl", "const", "wrap", "mirr", "mirrr"}));
  edges->add_option("--border-value", options->border_value, "The value of --border const (default: 0)")
      ->option_text("N")
      ->check(CLI::Range(0, 255));
  edges->add_option("--threads", options->threads, "Threads of the library (default: as many as processors)")
      ->option_text("N")
      ->check(CLI::Range(1, 1024));
  edges->add_option("--format", options->format, kFormatHelp)
      ->option_text("png|pgm")
      ->check(CLI::IsMember({"png", "pgm"}));
  edges->callback([options, &exit_status] { exit_status = run(*options); });
}

}  // namespace tool
