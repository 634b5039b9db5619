#include <cstdio>
// Needs the declarations of <cstdio>.
#include <jpeglib.h>

#include <algorithm>
#include <csetjmp>
#include <string_view>

#include "Platform/Linux/ImageHeaders.h"

namespace tolvander::platform::linux_ {

namespace {

// The library reports an error by a call that must not return; `escape` is where readHeader goes on then.
struct ErrorHandler : jpeg_error_mgr {
  std::jmp_buf escape;
};

[[noreturn]] void leave(j_common_ptr info) { std::longjmp(static_cast<ErrorHandler*>(info->err)->escape, 1); }

void keepQuiet(j_common_ptr /*info*/, int /*level*/) {}

class Decompressor {
 public:
  Decompressor() {
    info_.err = jpeg_std_error(&errors_);
    errors_.error_exit = leave;
    errors_.emit_message = keepQuiet;
  }
  ~Decompressor() { jpeg_destroy_decompress(&info_); }
  Decompressor(const Decompressor&) = delete;
  Decompressor& operator=(const Decompressor&) = delete;

  // Reads up to the first scan and keeps the APP1 segments. The library copies no more than stands in `data`,
  // and allocates nothing for the picture.
  bool readHeader(Bytes data) {
    // The jump back skips destructors, so nothing in this frame may have one.
    if (setjmp(errors_.escape) != 0) {
      return false;
    }
    jpeg_create_decompress(&info_);
    jpeg_mem_src(&info_, reinterpret_cast<const unsigned char*>(data.data()), data.size());
    jpeg_save_markers(&info_, JPEG_APP0 + 1, 0xFFFF);
    return jpeg_read_header(&info_, TRUE) == JPEG_HEADER_OK;
  }

  const jpeg_decompress_struct& info() const { return info_; }

 private:
  ErrorHandler errors_ = {};
  jpeg_decompress_struct info_ = {};
};

std::optional<std::string> firstDateTimeOriginal(jpeg_saved_marker_ptr segment) {
  constexpr std::string_view prefix("Exif\0\0", 6);
  // A file made of nothing but Exif blocks must not take an Exif reader's time for each.
  int blocksLeft = 4;
  for (; segment != nullptr && blocksLeft > 0; segment = segment->next) {
    const Bytes payload = std::as_bytes(std::span(segment->data, segment->data_length));
    const bool isExif =
        payload.size() > prefix.size() &&
        std::equal(prefix.begin(), prefix.end(), payload.begin(),
                   [](char character, std::byte byte) { return std::byte(character) == byte; });
    if (!isExif) {
      continue;
    }
    if (auto text = exifDateTimeOriginal(payload.subspan(prefix.size()))) {
      return text;
    }
    --blocksLeft;
  }
  return std::nullopt;
}

}  // namespace

std::optional<ImageProperties> jpegProperties(Bytes data) {
  Decompressor decompressor;
  if (!decompressor.readHeader(data)) {
    return std::nullopt;
  }
  const jpeg_decompress_struct& info = decompressor.info();
  return ImageProperties{.pixelWidth = static_cast<int>(info.image_width),
                         .pixelHeight = static_cast<int>(info.image_height),
                         .exifDateTimeOriginal = firstDateTimeOriginal(info.marker_list)};
}

}  // namespace tolvander::platform::linux_
