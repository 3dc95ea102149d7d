// Whole files in and out.
#pragma once
#include <cstdint>
#include <filesystem>
#include <span>
#include <vector>

#include "result.h"

namespace tool {

using Bytes = std::vector<uint8_t>;
using ByteView = std::span<const uint8_t>;

Result<Bytes> read_file(const std::filesystem::path& path);

// The file appears whole or not at all: it is written under a temporary name beside `path` and renamed at success.
Status replace_file(const std::filesystem::path& path, ByteView content);

// Makes an interrupted program take its temporary file along, and a file that outgrows its limit a failed write.
void install_signal_handlers();

}  // namespace tool
