// lumcv: the library on the command line.
#include <string.h>
#include <sys/platform/x86.h>

#include <cstdio>
#include <exception>
#include <new>

#include "commands.h"
#include "console.h"
#include "files.h"
#include "image_file.h"
#include "lumcore.h"
#include "lumcv.h"

namespace tool {
namespace {

constexpr int kPicturesFailed = 1, kUsageError = 2;

std::string version_text() {
  const LumLibraryVersion& version = *lumcvGetLibVersion();
  int threads = 0;
  lumGetNumThreads(&threads);
  const std::string target(version.targetCpu, strnlen(version.targetCpu, sizeof version.targetCpu));
  return std::string("lumcv ") + version.Version + " (" + version.Name + ", build " +
         std::to_string(version.majorBuild) + "." + std::to_string(version.build) + ", " + version.BuildDate +
         ")\ntarget processor: " + target +
         // The record that the library itself asks.
         "\nlevel: " + (CPU_FEATURE_ACTIVE(AVX2) ? "avx2" : "sse3") + "\nthreads: " + std::to_string(threads) +
         "\nreads: PGM PPM" + (kHasPng ? " PNG" : "") + (kHasJpeg ? " JPEG" : "") + "\nwrites: PGM PPM" +
         (kHasPng ? " PNG" : "");
}

int run(int argc, char** argv) {
  int exit_status = 0;
  CLI::App app("Computer vision from the command line.", "lumcv");
  app.set_version_flag("--version", version_text, "Print version, instruction-set level and thread count");
  app.require_subcommand(1);
  app.failure_message([](const CLI::App*, const CLI::Error& error) {
    return std::string("lumcv: ") + error.what() + "\nRun with --help for the usage.\n";
  });
  add_edges_command(app, exit_status);
  add_background_command(app, exit_status);
  add_pad_command(app, exit_status);
  add_stats_command(app, exit_status);
  try {
    app.parse(argc, argv);
  } catch (const CLI::ParseError& error) {
    return app.exit(error) == 0 ? 0 : kUsageError;
  }
  return exit_status;
}

}  // namespace
}  // namespace tool

int main(int argc, char** argv) {
  tool::install_signal_handlers();
  int status = tool::kPicturesFailed;
  try {
    status = tool::run(argc, argv);
  } catch (const std::bad_alloc&) {
    tool::print_error("cannot go on", "not enough memory");
  } catch (const std::exception& error) {
    tool::print_error("cannot go on", error.what());
  }
  if (std::fflush(stdout) != 0) {
    tool::print_error("standard output", "cannot be written");
    return tool::kPicturesFailed;
  }
  return status;
}
