// The file types one by one.
#pragma once
#include "image_file.h"

namespace tool {

// Sides of 1 to 65535 pixels and at most 1 GiB in all.
Status check_size(uint64_t width, uint64_t height, int channels);
// A black picture, unless its size is out of these bounds.
Result<Picture> new_picture(uint64_t width, uint64_t height, int channels);

Result<Picture> decode_pnm(ByteView file);
Result<Bytes> encode_pnm(const Picture& picture, Format format);

// These fail with one clear message where their library is missing.
Result<Picture> decode_png(ByteView file);
Result<Bytes> encode_png(const Picture& picture);
Result<Picture> decode_jpeg(ByteView file);

}  // namespace tool
