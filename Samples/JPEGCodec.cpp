#include "Samples/JPEGCodec.h"

#include <cstdio>
// Needs the declarations of <cstdio>.
#include <jpeglib.h>

#include <array>
#include <csetjmp>
#include <cstdlib>
#include <stdexcept>
#include <string>

namespace tolvander::tests {

namespace {

// The library reports an error by a call that must not return. `escape` is where its caller goes on then; no
// frame that the jump skips may hold anything with a destructor.
struct ErrorHandler : jpeg_error_mgr {
  std::jmp_buf escape;
  std::array<char, JMSG_LENGTH_MAX> message;
};

[[noreturn]] void leave(j_common_ptr info) {
  auto* handler = static_cast<ErrorHandler*>(info->err);
  handler->format_message(info, handler->message.data());
  std::longjmp(handler->escape, 1);
}

void leaveOnWarning(j_common_ptr info, int messageLevel) {
  if (messageLevel < 0) {
    leave(info);
  }
}

void prepare(ErrorHandler& errors) {
  jpeg_std_error(&errors);
  errors.error_exit = leave;
  errors.emit_message = leaveOnWarning;
}

class Compressor {
 public:
  Compressor() {
    prepare(errors_);
    info_.err = &errors_;
  }
  ~Compressor() {
    jpeg_destroy_compress(&info_);
    std::free(output_);
  }
  Compressor(const Compressor&) = delete;
  Compressor& operator=(const Compressor&) = delete;

  bool compress(const RGBImage& image, int quality) {
    if (setjmp(errors_.escape) != 0) {
      return false;
    }
    jpeg_create_compress(&info_);
    jpeg_mem_dest(&info_, &output_, &outputSize_);
    info_.image_width = image.width;
    info_.image_height = image.height;
    info_.input_components = 3;
    info_.in_color_space = JCS_RGB;
    jpeg_set_defaults(&info_);
    jpeg_set_quality(&info_, quality, TRUE);
    info_.dct_method = JDCT_ISLOW;
    info_.write_JFIF_header = FALSE;
    jpeg_start_compress(&info_, TRUE);
    while (info_.next_scanline < info_.image_height) {
      // The library doesn't write to its input, and yet doesn't say so.
      auto* row =
          const_cast<JSAMPROW>(image.pixels.data() + std::size_t{info_.next_scanline} * image.width * 3);
      jpeg_write_scanlines(&info_, &row, 1);
    }
    jpeg_finish_compress(&info_);
    return true;
  }

  std::span<const std::byte> output() const { return std::as_bytes(std::span(output_, outputSize_)); }
  std::string message() const { return errors_.message.data(); }

 private:
  ErrorHandler errors_ = {};
  jpeg_compress_struct info_ = {};
  unsigned char* output_ = nullptr;
  unsigned long outputSize_ = 0;
};

class Decompressor {
 public:
  Decompressor() {
    prepare(errors_);
    info_.err = &errors_;
  }
  ~Decompressor() { jpeg_destroy_decompress(&info_); }
  Decompressor(const Decompressor&) = delete;
  Decompressor& operator=(const Decompressor&) = delete;

  bool decompress(std::span<const std::byte> file, RGBImage& image) {
    if (setjmp(errors_.escape) != 0) {
      return false;
    }
    jpeg_create_decompress(&info_);
    jpeg_mem_src(&info_, reinterpret_cast<const unsigned char*>(file.data()), file.size());
    jpeg_read_header(&info_, TRUE);
    info_.out_color_space = JCS_RGB;
    info_.dct_method = JDCT_ISLOW;
    jpeg_start_decompress(&info_);
    image.width = info_.output_width;
    image.height = info_.output_height;
    image.pixels.resize(std::size_t{image.width} * image.height * 3);
    while (info_.output_scanline < info_.output_height) {
      JSAMPROW row = image.pixels.data() + std::size_t{info_.output_scanline} * image.width * 3;
      jpeg_read_scanlines(&info_, &row, 1);
    }
    jpeg_finish_decompress(&info_);
    return true;
  }

  std::string message() const { return errors_.message.data(); }

 private:
  ErrorHandler errors_ = {};
  jpeg_decompress_struct info_ = {};
};

}  // namespace

Bytes encodeJPEG(const RGBImage& image, int quality) {
  Compressor compressor;
  if (!compressor.compress(image, quality)) {
    throw std::runtime_error("the picture can't be compressed: " + compressor.message());
  }
  const auto output = compressor.output();
  return {output.begin(), output.end()};
}

RGBImage decodeJPEG(std::span<const std::byte> file) {
  Decompressor decompressor;
  RGBImage image;
  if (!decompressor.decompress(file, image)) {
    throw std::runtime_error("the picture can't be read: " + decompressor.message());
  }
  return image;
}

}  // namespace tolvander::tests
