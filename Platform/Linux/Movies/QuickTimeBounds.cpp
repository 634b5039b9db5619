#include "Platform/Linux/Movies/QuickTimeBounds.h"

#include <sys/stat.h>

#include <algorithm>
#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

namespace tolvander::platform::linux_ {

namespace {

// The densest codecs of QuickTime store 6 samples per byte.
constexpr std::int64_t samplesPerByte = 8;

class TableScan {
 public:
  TableScan(const MovieFile& file, const CancellationToken& token) : file_(file), token_(token) {}

  bool isBounded() {
    struct stat status {};
    if (fstat(file_.descriptor(), &status) != 0) {
      return false;
    }
    const std::int64_t end = status.st_size;
    budget_ = end * samplesPerByte;
    for (std::int64_t offset = 0; offset + 8 <= end;) {
      const auto atom = atomAt(offset, end);
      if (!atom || (atom->mayHoldTables && !isBounded(offset, offset + atom->size))) {
        return false;
      }
      offset += atom->size;
    }
    return true;
  }

 private:
  struct Atom {
    std::int64_t size = 0;
    bool mayHoldTables = false;
  };

  std::optional<Atom> atomAt(std::int64_t offset, std::int64_t end) const {
    const std::string head = bytesAt(offset, 16);
    if (head.size() < 8) {
      return std::nullopt;
    }
    const std::uint32_t shortSize = AV_RB32(head.data());
    std::uint64_t size = shortSize;
    // ISO/IEC 14496-12, 4.2: 1 says that the size follows in 8 bytes, 0 that the box reaches to the end of
    // the file.
    if (shortSize == 1 && head.size() == 16) {
      size = AV_RB64(head.data() + 8);
    } else if (shortSize < 8) {
      size = static_cast<std::uint64_t>(end - offset);
    }
    const std::string_view type = std::string_view(head).substr(4, 4);
    const auto left = static_cast<std::uint64_t>(end - offset);
    return Atom{.size = static_cast<std::int64_t>(std::clamp<std::uint64_t>(size, 8, left)),
                .mayHoldTables = type != "mdat" && type != "free" && type != "skip"};
  }

  // Searches for the tables anywhere, because readers accept them in unexpected places.
  bool isBounded(std::int64_t begin, std::int64_t end) {
    constexpr std::int64_t window = 65'536;
    constexpr std::int64_t overlap = 16;  // bytes; more than a type and its count
    for (std::int64_t offset = begin; offset < end; offset += window) {
      token_.throwIfCancelled();
      const std::string bytes = bytesAt(offset, std::min(window + overlap, end - offset));
      if (bytes.empty() || !areBounded(bytes)) {
        return false;
      }
    }
    return true;
  }

  // The counts of ISO/IEC 14496-12, 8.7.3.2 (stsz), 8.7.3.3 (stz2) and 8.8.8 (trun), and of the QuickTime
  // File Format, "Metadata Item Keys Atom" (keys).
  bool areBounded(std::string_view bytes) {
    return bytes.find("cmov") == std::string_view::npos && countsAreBounded(bytes, "stsz", 12) &&
           countsAreBounded(bytes, "stz2", 12) && countsAreBounded(bytes, "trun", 8) &&
           countsAreBounded(bytes, "keys", 8);
  }

  bool countsAreBounded(std::string_view bytes, std::string_view tag, std::size_t countOffset) {
    for (std::size_t at = bytes.find(tag); at != std::string_view::npos; at = bytes.find(tag, at + 1)) {
      if (at + countOffset + 4 > bytes.size()) {
        break;  // in the next window, or truncated
      }
      budget_ -= AV_RB32(bytes.data() + at + countOffset);
      if (budget_ < 0) {
        return false;
      }
    }
    return true;
  }

  // Fewer bytes at the end of the file; none on an error.
  std::string bytesAt(std::int64_t offset, std::int64_t count) const {
    std::string bytes(static_cast<std::size_t>(count), '\0');
    const ssize_t read =
        retryOnEINTR([&] { return pread(file_.descriptor(), bytes.data(), bytes.size(), offset); });
    bytes.resize(static_cast<std::size_t>(std::max<ssize_t>(read, 0)));
    return bytes;
  }

  const MovieFile& file_;
  const CancellationToken& token_;
  std::int64_t budget_ = 0;
};

}  // namespace

bool hasBoundedTables(const MovieFile& file, const CancellationToken& token) {
  return TableScan(file, token).isBounded();
}

}  // namespace tolvander::platform::linux_
