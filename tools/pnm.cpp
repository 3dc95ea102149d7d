// PGM and PPM: plain (P2, P3) and binary (P5, P6), read strictly, written binary.
#include <array>
#include <cstring>

#include "codecs.h"

namespace tool {
namespace {

constexpr uint32_t kMaxSample = 255;

class Scanner {
 public:
  explicit Scanner(ByteView rest) : rest_(rest) {}

  ByteView rest() const { return rest_; }

  bool skip_space() {
    if (rest_.empty() || !is_space(rest_[0])) return false;
    rest_ = rest_.subspan(1);
    return true;
  }

  // White space and comments, which run from # to the end of their line; false if there is neither.
  bool skip_separator() {
    const size_t before = rest_.size();
    while (!rest_.empty()) {
      if (rest_[0] == '#')
        while (!rest_.empty() && rest_[0] != '\n' && rest_[0] != '\r') rest_ = rest_.subspan(1);
      else if (!skip_space())
        break;
    }
    return rest_.size() != before;
  }

  // The number behind a separator; all above kCap count as kCap.
  std::optional<uint32_t> number() {
    if (!skip_separator() || rest_.empty() || !is_digit(rest_[0])) return std::nullopt;
    uint32_t value = 0;
    for (; !rest_.empty() && is_digit(rest_[0]); rest_ = rest_.subspan(1))
      value = std::min(kCap, 10 * value + (rest_[0] - '0'));
    return value;
  }

 private:
  static constexpr uint32_t kCap = 1000000;  // above all that is allowed
  static bool is_space(uint8_t c) { return c == ' ' || (c >= '\t' && c <= '\r'); }
  static bool is_digit(uint8_t c) { return c >= '0' && c <= '9'; }

  ByteView rest_;
};

struct Header {
  uint32_t width, height, maximum;
};

Result<Header> read_header(Scanner& in) {
  const auto width = in.number();
  if (!width) return Failure{"the header lacks the width"};
  const auto height = in.number();
  if (!height) return Failure{"the header lacks the height"};
  const auto maximum = in.number();
  if (!maximum) return Failure{"the header lacks the maximum sample value"};
  if (*maximum > kMaxSample && *maximum <= 65535) return Failure{"16-bit samples are not supported"};
  if (*maximum < 1 || *maximum > 65535) return Failure{"the maximum sample value is not in 1 to 255"};
  return Header{*width, *height, *maximum};
}

Failure bad_sample(uint32_t maximum) { return {"a sample is above the maximum of " + std::to_string(maximum)}; }

Status read_binary(Scanner& in, uint32_t maximum, Picture& picture) {
  const size_t count = picture.pixels.size();
  if (!in.skip_space()) return Failure{"no white space between header and samples"};
  if (in.rest().size() > count) return Failure{"more data than one picture"};
  std::memcpy(picture.pixels.data(), in.rest().data(), count);
  if (maximum < kMaxSample)
    for (const uint8_t sample : picture.pixels)
      if (sample > maximum) return bad_sample(maximum);
  return Done{};
}

Status read_plain(Scanner& in, uint32_t maximum, Picture& picture) {
  for (uint8_t& sample : picture.pixels) {
    const auto value = in.number();
    if (!value) return Failure{in.rest().empty() ? "the samples are cut short" : "a sample is not a number"};
    if (*value > maximum) return bad_sample(maximum);
    sample = uint8_t(*value);
  }
  in.skip_separator();
  if (!in.rest().empty()) return Failure{"more data than one picture"};
  return Done{};
}

void scale_to_full_range(Picture& picture, uint32_t maximum) {
  std::array<uint8_t, kMaxSample + 1> scaled{};
  for (uint32_t value = 0; value <= maximum; ++value)
    scaled[value] = uint8_t((value * kMaxSample + maximum / 2) / maximum);
  for (uint8_t& sample : picture.pixels) sample = scaled[sample];
}

}  // namespace

Result<Picture> decode_pnm(ByteView file) {
  const bool plain = file[1] == '2' || file[1] == '3';
  const int channels = file[1] == '3' || file[1] == '6' ? 3 : 1;
  Scanner in(file.subspan(2));
  Result<Header> header = read_header(in);
  if (!header) return header.failure();

  const Status size = check_size(header->width, header->height, channels);
  if (!size) return size.failure();
  // Before memory is spent on what a short file announces: a plain sample takes a separator and a digit, a binary one a
  // byte, and a separator stands before the first.
  const size_t samples = size_t(header->width) * header->height * unsigned(channels);
  if (in.rest().size() < (plain ? 2 * samples : 1 + samples)) return Failure{"the samples are cut short"};
  Result<Picture> picture = new_picture(header->width, header->height, channels);
  if (!picture) return picture;

  const Status status = plain ? read_plain(in, header->maximum, *picture) : read_binary(in, header->maximum, *picture);
  if (!status) return status.failure();
  if (header->maximum < kMaxSample) scale_to_full_range(*picture, header->maximum);
  return picture;
}

Result<Bytes> encode_pnm(const Picture& picture, Format format) {
  const bool grey = format == Format::pgm;
  if (grey && picture.channels != 1) return Failure{"a PGM file cannot hold colour"};
  const std::string header = std::string(grey ? "P5" : "P6") + "\n" + std::to_string(picture.width) + " " +
                             std::to_string(picture.height) + "\n255\n";
  const int copies = !grey && picture.channels == 1 ? 3 : 1;
  Bytes file(header.begin(), header.end());
  file.reserve(file.size() + picture.pixels.size() * unsigned(copies));
  if (copies == 1)
    file.insert(file.end(), picture.pixels.begin(), picture.pixels.end());
  else
    for (const uint8_t sample : picture.pixels) file.insert(file.end(), 3, sample);
  return file;
}

}  // namespace tool
