#include <memory>

#include "batch.h"
#include "codecs.h"
#include "commands.h"
#include "library.h"
#include "options.h"

namespace tool {
namespace {

struct Options {
  std::vector<std::string> paths;
  int top = 0, left = 0, bottom = 0, right = 0;
  std::string border = "replicate";
  std::optional<int> value;
  std::optional<Format> format;
};

constexpr char kPathsHelp[] =
    "Pictures or folders of pictures, and where the larger ones go:\n"
    "for one picture a file (.pgm, .ppm or .png), else a folder, which is created";
constexpr char kBorderHelp[] = "What is added: the nearest pixel (replicate, the default) or one value (const)";

LumStatus copy(const Picture& from, Picture& to, const Options& options) {
  const int step = step_of(from), padded_step = step_of(to);
  if (options.border == "replicate") {
    const auto function = from.channels == 1 ? lumiCopyReplicateBorder_8u_C1R : lumiCopyReplicateBorder_8u_C3R;
    return function(from.pixels.data(), step, size_of(from), to.pixels.data(), padded_step, size_of(to), options.top,
                    options.left);
  }
  // One value for all channels: colour is a grey picture three times as wide.
  return lumiCopyConstBorder_8u_C1R(from.pixels.data(), step, {step, from.height}, to.pixels.data(), padded_step,
                                    {padded_step, to.height}, options.top, options.left * from.channels,
                                    Lum8u(options.value.value_or(0)));
}

Result<Transformed> pad(const Picture& picture, const Options& options) {
  Result<Picture> padded =
      new_picture(uint64_t(picture.width) + unsigned(options.left) + unsigned(options.right),
                  uint64_t(picture.height) + unsigned(options.top) + unsigned(options.bottom), picture.channels);
  if (!padded) return padded.failure();
  if (Status s = check(copy(picture, *padded, options), "border"); !s) return s.failure();
  return Transformed{std::move(*padded), " from " + text_of_size(picture)};
}

int run(const Options& options) {
  if (options.value && options.border != "const") usage_error("--value needs --border const");
  return transform_pictures(options.paths, options.format,
                            [&](const Picture& picture) { return pad(picture, options); });
}

}  // namespace

void add_pad_command(CLI::App& app, int& exit_status) {
  CLI::App* const pad = add_command(app, "pad", "Add a border to pictures");
  const auto options = std::make_shared<Options>();
  add_paths(pad, options->paths, kPathsHelp);
  const auto add_side = [pad](const char* name, int& count, const char* help) {
    pad->add_option(name, count, help)->option_text("N")->check(CLI::Range(0, 65535));
  };
  add_side("--top", options->top, "Rows above the picture (default: 0)");
  add_side("--left", options->left, "Columns to its left (default: 0)");
  add_side("--bottom", options->bottom, "Rows below it (default: 0)");
  add_side("--right", options->right, "Columns to its right (default: 0)");
  pad->add_option("--border", options->border, kBorderHelp)
      ->option_text("const|replicate")
      ->check(CLI::IsMember({"const", "replicate"}));
  pad->add_option("--value", options->value, "The value of --border const, for all channels (default: 0)")
      ->option_text("N")
      ->check(CLI::Range(0, 255));
  add_format_option(pad, options->format);
  pad->callback([options, &exit_status] { exit_status = run(*options); });
}

}  // namespace tool
