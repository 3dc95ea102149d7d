// JPEG through libjpeg.
#include "codecs.h"

#if LUM_TOOL_JPEG
#include <csetjmp>
#include <cstdio>

#include <jerror.h>
#include <jpeglib.h>

namespace tool {
namespace {

// libjpeg's default is to end the program on an error and to print warnings and go on with grey areas.
struct ErrorManager {
  jpeg_error_mgr base;  // first, so that the library's pointer to it is one to the whole
  jmp_buf escape;
  char message[JMSG_LENGTH_MAX];
};

[[noreturn]] void fail(j_common_ptr info) {
  ErrorManager* const errors = reinterpret_cast<ErrorManager*>(info->err);
  errors->base.format_message(info, errors->message);
  longjmp(errors->escape, 1);
}

// Warnings mean lost pixels, but for these.
bool is_harmless(int warning) {
  return warning == JWRN_ADOBE_XFORM || warning == JWRN_EXTRANEOUS_DATA || warning == JWRN_JFIF_MAJOR;
}

void on_message(j_common_ptr info, int level) {
  if (level < 0 && !is_harmless(info->err->msg_code)) fail(info);
}

// Thousands of tiny scans over a large picture would keep the program busy for hours.
void limit_scans(j_common_ptr info) {
  constexpr int kMaxScans = 500;
  if (reinterpret_cast<j_decompress_ptr>(info)->input_scan_number <= kMaxScans) return;
  ErrorManager* const errors = reinterpret_cast<ErrorManager*>(info->err);
  std::snprintf(errors->message, sizeof errors->message, "a JPEG file of more than %d scans", kMaxScans);
  longjmp(errors->escape, 1);
}

class Decoder {
 public:
  Decoder() {
    info_.err = jpeg_std_error(&errors_.base);
    errors_.base.error_exit = fail;
    errors_.base.emit_message = on_message;
    progress_.progress_monitor = limit_scans;
  }
  Decoder(const Decoder&) = delete;
  Decoder& operator=(const Decoder&) = delete;
  ~Decoder() { jpeg_destroy_decompress(&info_); }

  Result<Picture> decode(ByteView file) {
    if (!read_header(file)) return Failure{errors_.message};
    if (info_.num_components != 1 && info_.num_components != 3)
      return Failure{"JPEG files with " + std::to_string(info_.num_components) + " channels are not supported"};
    Result<Picture> picture = new_picture(info_.image_width, info_.image_height, info_.num_components);
    if (picture && !read_rows(*picture)) return Failure{errors_.message};
    return picture;
  }

 private:
  // An error jumps back into these two; they hold no objects that a jump would leave undestroyed.
  bool read_header(ByteView file) {
    if (setjmp(errors_.escape)) return false;
    jpeg_create_decompress(&info_);
    info_.progress = &progress_;
    jpeg_mem_src(&info_, file.data(), static_cast<unsigned long>(file.size()));
    jpeg_read_header(&info_, TRUE);
    return true;
  }

  bool read_rows(Picture& picture) {
    if (setjmp(errors_.escape)) return false;
    info_.out_color_space = picture.channels == 1 ? JCS_GRAYSCALE : JCS_RGB;
    jpeg_start_decompress(&info_);
    while (info_.output_scanline < info_.output_height) {
      JSAMPROW row =
          picture.pixels.data() + size_t(info_.output_scanline) * info_.output_width * unsigned(picture.channels);
      jpeg_read_scanlines(&info_, &row, 1);
    }
    jpeg_finish_decompress(&info_);  // reads up to the end mark
    return true;
  }

  jpeg_decompress_struct info_{};
  ErrorManager errors_{};
  jpeg_progress_mgr progress_{};
};

}  // namespace

Result<Picture> decode_jpeg(ByteView file) { return Decoder().decode(file); }

}  // namespace tool

#else

namespace tool {

Result<Picture> decode_jpeg(ByteView) { return Failure{"JPEG support is not built in"}; }

}  // namespace tool

#endif
