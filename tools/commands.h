// The subcommands, each in a file of its name.
#pragma once
#include <CLI/CLI.hpp>

namespace tool {

// Each adds a subcommand; when it has run, `exit_status` is 0, or 1 if pictures failed.
void add_edges_command(CLI::App& app, int& exit_status);
void add_background_command(CLI::App& app, int& exit_status);
void add_pad_command(CLI::App& app, int& exit_status);
void add_stats_command(CLI::App& app, int& exit_status);

}  // namespace tool
