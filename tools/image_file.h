// Pictures, in memory and in files.
#pragma once
#include <filesystem>
#include <optional>
#include <string_view>

#include "files.h"
#include "result.h"

namespace tool {

struct Picture {
  int width = 0;
  int height = 0;
  int channels = 0;  // 1 grey, 3 red green blue
  Bytes pixels;      // row by row, without padding
};

enum class Format { pgm, ppm, png };
constexpr bool kHasPng = LUM_TOOL_PNG;
constexpr bool kHasJpeg = LUM_TOOL_JPEG;

// What a file of any supported type holds. The content decides on the type; any bytes at all may be given.
Result<Picture> decode_picture(ByteView file);
Result<Picture> read_picture(const std::filesystem::path& path);

// Grey pictures are stored in ppm as equal channels; pgm takes grey pictures only.
Result<Bytes> encode_picture(const Picture& picture, Format format);
Status write_picture(const std::filesystem::path& path, const Picture& picture, Format format);

// Brightness of a picture, by the weights of broadcast television.
Picture to_grey(Picture picture);

// Extensions with their dot, in any case.
std::optional<Format> output_format(const std::filesystem::path& path);
bool has_picture_extension(const std::filesystem::path& path);
std::string_view extension(Format format);

}  // namespace tool
