#include <libheif/heif.h>

#include <algorithm>
#include <memory>
#include <vector>

#include "Platform/Linux/Images/ImageHeaders.h"
#include "TolvanderCore/Foundation/Endian.h"

namespace tolvander::platform::linux_ {

namespace {

// The input of libheif, with limits. The items of a HEIF file list the byte ranges that they consist of
// (ISO/IEC 14496-12, 8.11.3, iloc). Thousands of items can refer to the whole file again and again, which
// libheif would copy into gigabytes of memory; and its time grows with the square of the number of items, to
// 20 seconds per megabyte. So after twice the file's size, 8 MiB, 2,048 pieces or 32,768 reads the input
// pretends to end, and libheif finds no image. That takes at most a quarter of a second. The headers and
// metadata of a valid file are read about once; an item takes about 20 reads and one piece, and an image of
// 200 megapixels has about 800 items.
class LimitedReader {
 public:
  explicit LimitedReader(Bytes data) : data_(data), bytesLeft_(std::min(2 * data.size(), maximumBytes)) {}

  static const heif_reader& operations() {
    static const heif_reader reader = [] {
      heif_reader version1{};  // members of later versions stay zero
      version1.reader_api_version = 1;
      version1.get_position = [](void* self) { return static_cast<int64_t>(of(self).position_); };
      version1.read = [](void* target, size_t size, void* self) {
        return of(self).read(target, size) ? 0 : -1;
      };
      version1.seek = [](int64_t position, void* self) { return of(self).seek(position) ? 0 : -1; };
      version1.wait_for_file_size = [](int64_t size, void* self) {
        return of(self).reaches(size) ? heif_reader_grow_status_size_reached
                                      : heif_reader_grow_status_size_beyond_eof;
      };
      return version1;
    }();
    return reader;
  }

 private:
  static LimitedReader& of(void* self) { return *static_cast<LimitedReader*>(self); }

  // libheif calls this before it seeks and reads, and ignores errors of those; so the limits are applied
  // here.
  bool reaches(int64_t size) const {
    return bytesLeft_ > 0 && piecesLeft_ > 0 && readsLeft_ > 0 && size <= static_cast<int64_t>(data_.size());
  }

  // Also succeeds beyond the end, where reads return nothing: libheif 1.19 aborts if this fails.
  bool seek(int64_t position) {
    if (position < 0) {
      return false;
    }
    position_ = static_cast<std::size_t>(position);
    piecesLeft_ -= std::min(piecesLeft_, 1);
    return true;
  }

  bool read(void* target, std::size_t size) {
    if (position_ > data_.size() || size > data_.size() - position_) {
      return false;
    }
    std::ranges::copy(data_.subspan(position_, size), static_cast<std::byte*>(target));
    position_ += size;
    bytesLeft_ -= std::min(bytesLeft_, size);
    readsLeft_ -= std::min(readsLeft_, 1);
    return true;
  }

  static constexpr std::size_t maximumBytes = std::size_t{8} << 20U;

  Bytes data_;
  std::size_t position_ = 0;
  std::size_t bytesLeft_;
  int piecesLeft_ = 2048;
  int readsLeft_ = 32'768;
};

struct Free {
  void operator()(heif_context* context) const { heif_context_free(context); }
};

struct Release {
  void operator()(const heif_image_handle* handle) const { heif_image_handle_release(handle); }
};

using ImageHandle = std::unique_ptr<heif_image_handle, Release>;

bool succeeded(const heif_error& error) { return error.code == heif_error_Ok; }

ImageHandle primaryImage(heif_context* context) {
  heif_image_handle* handle = nullptr;
  return ImageHandle(succeeded(heif_context_get_primary_image_handle(context, &handle)) ? handle : nullptr);
}

// The date in the first metadata item of type "Exif": a 32-bit big-endian offset, then as many bytes to
// skip, then the TIFF header (ISO/IEC 23008-12, annex A).
std::optional<std::string> dateTimeOriginal(const heif_image_handle* image) {
  constexpr std::size_t lengthSize = 4;
  heif_item_id item = 0;
  if (heif_image_handle_get_list_of_metadata_block_IDs(image, "Exif", &item, 1) != 1) {
    return std::nullopt;
  }
  std::vector<std::byte> metadata(heif_image_handle_get_metadata_size(image, item));
  if (metadata.size() < lengthSize ||
      !succeeded(heif_image_handle_get_metadata(image, item, metadata.data()))) {
    return std::nullopt;
  }
  const Bytes content = Bytes(metadata).subspan(lengthSize);
  const std::size_t leftOut = bigEndian32(metadata, 0);
  return leftOut < content.size() ? exifDateTimeOriginal(content.subspan(leftOut)) : std::nullopt;
}

}  // namespace

std::optional<ImageProperties> heicProperties(Bytes data) {
  LimitedReader reader(data);  // must outlive the context, which reads from it
  const std::unique_ptr<heif_context, Free> context(heif_context_alloc());
  if (context == nullptr || !succeeded(heif_context_read_from_reader(
                                context.get(), &LimitedReader::operations(), &reader, nullptr))) {
    return std::nullopt;
  }
  const ImageHandle image = primaryImage(context.get());
  if (image == nullptr) {
    return std::nullopt;
  }
  const int width = heif_image_handle_get_ispe_width(image.get());
  const int height = heif_image_handle_get_ispe_height(image.get());
  if (width < 1 || height < 1) {
    return std::nullopt;
  }
  return ImageProperties{
      .pixelWidth = width, .pixelHeight = height, .exifDateTimeOriginal = dateTimeOriginal(image.get())};
}

}  // namespace tolvander::platform::linux_
