#include "options.h"

#include "lumcore.h"

namespace tool {
namespace {

constexpr const char* kFormatHelp = kHasPng ? "File type in an output folder (default: png)"
                                            : "File type in an output folder (default: pgm; png is not built in)";

// Usage lines without the dots that mark a list: the names have them where they belong.
struct PlainNames : CLI::Formatter {
  std::string make_option_usage(const CLI::Option* option) const override { return make_option_name(option, true); }
};

}  // namespace

CLI::App* add_command(CLI::App& app, const std::string& name, const std::string& description) {
  CLI::App* const command = app.add_subcommand(name, description);
  command->formatter(std::make_shared<PlainNames>());
  return command;
}

void add_paths(CLI::App* command, std::vector<std::string>& paths, const std::string& help) {
  command->add_option("IN... OUT", paths, help)->option_text(" ")->required()->expected(2, -1);
}

void add_threads_option(CLI::App* command, std::optional<int>& threads) {
  command->add_option("--threads", threads, "Threads of the library (default: as many as processors)")
      ->option_text("N")
      ->check(CLI::Range(1, 1024));
}

void add_format_option(CLI::App* command, std::optional<Format>& format) {
  const auto set = [&format](const std::string& name) {
    format = name == "png" ? Format::png : name == "pgm" ? Format::pgm : Format::ppm;
  };
  command->add_option_function<std::string>("--format", set, kFormatHelp)
      ->option_text("png|pgm|ppm")
      ->check(CLI::IsMember({"png", "pgm", "ppm"}));
}

void usage_error(const std::string& message) { throw CLI::ValidationError(message); }

}  // namespace tool
