#include "image_file.h"

#include <algorithm>
#include <array>
#include <new>
#include <stdexcept>

#include "codecs.h"

namespace tool {
namespace {

bool starts_with(ByteView file, std::string_view magic) {
  return file.size() >= magic.size() &&
         std::equal(magic.begin(), magic.end(), file.begin(), [](char a, uint8_t b) { return uint8_t(a) == b; });
}

Result<Picture> decode_by_content(ByteView file) {
  if (file.empty()) return Failure{"the file is empty"};
  for (const std::string_view magic : {"P2", "P3", "P5", "P6"})
    if (starts_with(file, magic)) return decode_pnm(file);
  if (starts_with(file, "\x89PNG\r\n\x1a\n")) return decode_png(file);
  if (starts_with(file, "\xff\xd8\xff")) return decode_jpeg(file);
  return Failure{"not a PGM, PPM, PNG or JPEG file"};
}

std::string lower_extension(const std::filesystem::path& path) {
  std::string text = path.extension().string();
  for (char& c : text)
    if (c >= 'A' && c <= 'Z') c = char(c - 'A' + 'a');
  return text;
}

}  // namespace

Status check_size(uint64_t width, uint64_t height, int channels) {
  constexpr uint64_t kMaxSide = 65535, kMaxBytes = uint64_t(1) << 30;
  const std::string size = std::to_string(width) + "x" + std::to_string(height);
  if (width < 1 || height < 1 || width > kMaxSide || height > kMaxSide)
    return Failure{"a size of " + size + " is not supported, sides have 1 to 65535 pixels"};
  if (width * height * unsigned(channels) > kMaxBytes)
    return Failure{"a size of " + size + " is not supported, it needs more than 1 GiB"};
  return Done{};
}

Result<Picture> new_picture(uint64_t width, uint64_t height, int channels) {
  const Status status = check_size(width, height, channels);
  if (!status) return status.failure();
  return Picture{int(width), int(height), channels, Bytes(size_t(width * height) * unsigned(channels))};
}

Result<Picture> decode_picture(ByteView file) {
  try {
    return decode_by_content(file);
  } catch (const std::bad_alloc&) {
    return Failure{"not enough memory for the picture"};
  }
}

Result<Picture> read_picture(const std::filesystem::path& path) {
  Result<Bytes> file = read_file(path);
  return file ? decode_picture(*file) : Result<Picture>(file.failure());
}

Result<Bytes> encode_picture(const Picture& picture, Format format) {
  return format == Format::png ? encode_png(picture) : encode_pnm(picture, format);
}

Status write_picture(const std::filesystem::path& path, const Picture& picture, Format format) {
  Result<Bytes> file = encode_picture(picture, format);
  return file ? replace_file(path, *file) : Status(file.failure());
}

Picture to_grey(Picture picture) {
  if (picture.channels == 1) return picture;
  const size_t count = picture.pixels.size() / 3;
  uint8_t* const grey = picture.pixels.data();  // in place: pixel i is read before byte i is written
  for (size_t i = 0; i < count; ++i) {
    const uint8_t* const rgb = picture.pixels.data() + 3 * i;
    // 0.299, 0.587 and 0.114 in 16-bit fractions that add up to 1, so that white stays white.
    grey[i] = uint8_t((19595u * rgb[0] + 38470u * rgb[1] + 7471u * rgb[2] + 32768u) >> 16);
  }
  picture.pixels.resize(count);
  picture.channels = 1;
  return picture;
}

std::optional<Format> output_format(const std::filesystem::path& path) {
  const std::string text = lower_extension(path);
  for (const Format format : {Format::pgm, Format::ppm, Format::png})
    if (text == extension(format)) return format;
  return std::nullopt;
}

bool has_picture_extension(const std::filesystem::path& path) {
  constexpr std::array known{".pgm", ".ppm", ".pnm", ".png", ".jpg", ".jpeg"};
  return std::find(known.begin(), known.end(), lower_extension(path)) != known.end();
}

std::string_view extension(Format format) {
  switch (format) {
    case Format::pgm: return ".pgm";
    case Format::ppm: return ".ppm";
    default: return ".png";
  }
}

}  // namespace tool
