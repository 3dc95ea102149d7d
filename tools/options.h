// What the command lines of several subcommands share.
#pragma once
#include <CLI/CLI.hpp>
#include <optional>
#include <string>
#include <vector>

#include "image_file.h"

namespace tool {

CLI::App* add_command(CLI::App& app, const std::string& name, const std::string& description);
// IN... OUT
void add_paths(CLI::App* command, std::vector<std::string>& paths, const std::string& help);
void add_threads_option(CLI::App* command, std::optional<int>& threads);
void add_format_option(CLI::App* command, std::optional<Format>& format);

// Ends the program as a mistake in the command line does.
[[noreturn]] void usage_error(const std::string& message);

}  // namespace tool
