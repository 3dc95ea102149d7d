// PNG through libpng.
#include "codecs.h"

#if LUM_TOOL_PNG
#include <png.h>

#include <memory>

namespace tool {
namespace {

// Every chunk lies inside the file, up to the end mark. The library stops after the last row and would not notice.
bool is_complete(ByteView file) {
  constexpr size_t kSignature = 8, kAroundData = 12;  // length, type and checksum
  constexpr uint32_t kEnd = 0x49454E44;               // "IEND"
  const auto word = [&](size_t at) {
    return uint32_t(file[at]) << 24 | uint32_t(file[at + 1]) << 16 | uint32_t(file[at + 2]) << 8 | file[at + 3];
  };
  for (size_t at = kSignature; file.size() - at >= kAroundData;) {
    const uint32_t length = word(at);
    if (length > file.size() - at - kAroundData) return false;
    if (word(at + 4) == kEnd) return true;
    at += kAroundData + length;
  }
  return false;
}

}  // namespace

Result<Picture> decode_png(ByteView file) {
  if (!is_complete(file)) return Failure{"the PNG file is cut short"};
  png_image image{};
  image.version = PNG_IMAGE_VERSION;
  const std::unique_ptr<png_image, void (*)(png_image*)> owner(&image, png_image_free);
  if (!png_image_begin_read_from_memory(&image, file.data(), file.size())) return Failure{image.message};
  const bool colour = image.format & PNG_FORMAT_FLAG_COLOR;
  image.format = colour ? PNG_FORMAT_RGB : PNG_FORMAT_GRAY;
  image.flags |= PNG_IMAGE_FLAG_16BIT_sRGB;  // else 16-bit files without a gamma would be taken for linear light
  Result<Picture> picture = new_picture(image.width, image.height, colour ? 3 : 1);
  if (!picture) return picture;
  const png_color white = {255, 255, 255};  // behind transparent pixels
  if (!png_image_finish_read(&image, &white, picture->pixels.data(), 0, nullptr)) return Failure{image.message};
  return picture;
}

Result<Bytes> encode_png(const Picture& picture) {
  png_image image{};
  image.version = PNG_IMAGE_VERSION;
  image.width = png_uint_32(picture.width);
  image.height = png_uint_32(picture.height);
  image.format = picture.channels == 1 ? PNG_FORMAT_GRAY : PNG_FORMAT_RGB;
  // The bound of the size saves compressing twice, once only to learn the size.
  Bytes file(PNG_IMAGE_PNG_SIZE_MAX(image));
  png_alloc_size_t size = file.size();
  if (!png_image_write_to_memory(&image, file.data(), &size, 0, picture.pixels.data(), 0, nullptr))
    return Failure{image.message};
  file.resize(size);
  return file;
}

}  // namespace tool

#else

namespace tool {

Result<Picture> decode_png(ByteView) { return Failure{"PNG support is not built in"}; }
Result<Bytes> encode_png(const Picture&) { return Failure{"PNG support is not built in"}; }

}  // namespace tool

#endif
