// lumcv edges: edge maps of pictures.
#pragma once
#include <CLI/CLI.hpp>

namespace tool {

// Adds the subcommand; when it has run, `exit_status` is 0, or 1 if pictures failed.
void add_edges_command(CLI::App& app, int& exit_status);

}  // namespace tool
