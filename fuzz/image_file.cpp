// The reader of PGM and PPM files: any bytes give a picture that can be written and read again, or a failure.
#include "image_file.h"

#include <stdio.h>
#include <stdlib.h>

namespace {

using tool::ByteView, tool::Bytes, tool::Format, tool::Picture;

void require(bool condition, const char* what) {
  if (condition) return;
  fprintf(stderr, "\nfuzz: %s\n", what);
  abort();
}

bool equal(const Picture& a, const Picture& b) {
  return a.width == b.width && a.height == b.height && a.channels == b.channels && a.pixels == b.pixels;
}

void check_round_trip(const Picture& picture, Format format) {
  tool::Result<Bytes> file = tool::encode_picture(picture, format);
  require(bool(file), "a picture was read that cannot be written");
  tool::Result<Picture> copy = tool::decode_picture(*file);
  require(copy && equal(*copy, picture), "a picture written and read is another one");
}

void check(ByteView file, const Picture& picture) {
  require(picture.channels == 1 || picture.channels == 3, "a picture has neither 1 nor 3 channels");
  const size_t samples = (size_t)picture.width * picture.height * picture.channels;
  require(picture.width > 0 && picture.height > 0 && picture.pixels.size() == samples, "pixels do not fit the size");
  require(file.size() > samples, "a file holds more samples than bytes");
  check_round_trip(picture, picture.channels == 1 ? Format::pgm : Format::ppm);
  const Picture grey = tool::to_grey(picture);
  require(grey.channels == 1 && grey.pixels.size() * picture.channels == samples, "the grey picture has another size");
  check_round_trip(grey, Format::pgm);
  // Of a binary file every byte counts.
  if (file[1] < '5') return;
  require(!tool::decode_picture(file.first(file.size() - 1)), "a file that is cut short was read");
  Bytes longer(file.begin(), file.end());
  longer.push_back(' ');
  require(!tool::decode_picture(longer), "a file with more than a picture was read");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const ByteView file(data, size);
  tool::Result<Picture> picture = tool::decode_picture(file);
  if (picture)
    check(file, *picture);
  else
    require(!picture.failure().message.empty(), "a failure without a reason");
  return 0;
}
