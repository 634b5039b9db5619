#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

namespace tolvander {

// Collects the beginning of a file that is read in parts, so that the headers of a picture can be read from
// it.
//
// It holds the whole file for all pictures that cameras make. The rest of a larger file is dropped: a JPEG
// has its size and Exif at the front, and a PNG or HEIC that has them after the first 64 MiB counts as one
// without.
class PictureHead {
 public:
  static constexpr std::uint64_t maximumBytes = std::uint64_t{64} << 20U;

  // For a file of `byteCount` bytes, of which at most `limit` are kept.
  explicit PictureHead(std::uint64_t byteCount, std::uint64_t limit = maximumBytes)
      : limit_(static_cast<std::size_t>(std::min(byteCount, limit))) {
    bytes_.reserve(limit_);
  }

  // The file's next bytes.
  void append(std::span<const std::byte> part) {
    const auto kept = part.first(std::min(part.size(), limit_ - bytes_.size()));
    bytes_.insert(bytes_.end(), kept.begin(), kept.end());
  }

  std::span<const std::byte> bytes() const { return bytes_; }

 private:
  std::size_t limit_;
  std::vector<std::byte> bytes_;
};

}  // namespace tolvander
