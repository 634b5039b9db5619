#include "TolvanderCore/Video/AVIBytes.h"

#include <algorithm>
#include <span>
#include <utility>

#include "TolvanderCore/Foundation/Endian.h"

namespace tolvander {

namespace {

// Chunk headers are far apart, so a larger window would read bytes that aren't used.
constexpr std::size_t windowSize = 4096;

bool isPrintable(char character) { return character >= ' ' && character <= '~'; }

// The usual chunk names of AVI files. Other names are possible, but any four printable characters could be
// one.
bool isKnownName(std::string_view name) {
  constexpr std::array<std::string_view, 13> names = {"RIFF", "LIST", "JUNK", "idx1", "avih", "strh", "strf",
                                                      "strd", "strn", "indx", "vprp", "dmlh", "ISFT"};
  constexpr std::array<std::string_view, 5> kinds = {"db", "dc", "pc", "wb", "tx"};
  return std::ranges::find(names, name) != names.end() ||
         (streamNumber(name) && std::ranges::find(kinds, name.substr(2)) != kinds.end()) ||
         indexedStream(name).has_value();
}

}  // namespace

std::optional<std::size_t> streamNumber(std::string_view name) {
  const auto isDigit = [](char character) { return character >= '0' && character <= '9'; };
  if (name.size() < 2 || !isDigit(name[0]) || !isDigit(name[1])) {
    return std::nullopt;
  }
  return static_cast<std::size_t>(name[0] - '0') * 10 + static_cast<std::size_t>(name[1] - '0');
}

std::optional<std::size_t> indexedStream(std::string_view name) {
  if (name.starts_with("ix")) {
    return streamNumber(name.substr(2));
  }
  return name.ends_with("ix") ? streamNumber(name) : std::nullopt;
}

AVIBytes::AVIBytes(const FileReader& file, CancellationToken token)
    : file_(file), token_(std::move(token)), fileSize_(file.size()), window_(windowSize) {}

std::string_view AVIBytes::at(std::uint64_t offset, std::size_t count) {
  if (offset >= fileSize_) {
    return {};
  }
  count = static_cast<std::size_t>(std::min<std::uint64_t>({count, windowSize, fileSize_ - offset}));
  if (offset < windowOffset_ || offset + count > windowOffset_ + windowCount_) {
    token_.throwIfCancelled();
    windowCount_ = file_.readAt(offset, std::as_writable_bytes(std::span(window_)));
    windowOffset_ = offset;
    count = std::min(count, windowCount_);
  }
  return {window_.data() + (offset - windowOffset_), count};
}

std::optional<AVIChunkHead> AVIBytes::chunkHead(std::uint64_t offset) {
  const std::string_view bytes = at(offset, AVIChunkHead::size);
  if (bytes.size() < AVIChunkHead::size || !std::ranges::all_of(bytes.substr(0, 4), isPrintable)) {
    return std::nullopt;
  }
  AVIChunkHead head{.dataSize = littleEndian32(bytes, 4)};
  std::ranges::copy(bytes.substr(0, 4), head.characters.begin());
  return head;
}

std::uint64_t AVIBytes::skipZeros(std::uint64_t offset) {
  std::size_t step = AVIChunkHead::size;  // the first step reads only what is needed next anyway
  while (offset < fileSize_) {
    const std::string_view bytes = at(offset, step);
    step = windowSize;
    const std::size_t zeros = std::min(bytes.find_first_not_of('\0'), bytes.size());
    offset += zeros;
    if (zeros < bytes.size()) {
      return offset;
    }
    if (bytes.empty()) {
      break;  // the file has become shorter
    }
  }
  return fileSize_;
}

std::uint64_t AVIBytes::behind(std::uint64_t dataOffset, std::uint32_t dataSize) {
  const std::uint64_t end = dataOffset + dataSize;
  const std::string_view pad = at(end, 1);
  if (dataSize % 2 == 0 || pad.empty() || pad[0] == '\0') {
    return end;
  }
  const auto padded = chunkHead(end + 1);
  const auto unpadded = chunkHead(end);
  if (padded && isKnownName(padded->name())) {
    return end + 1;
  }
  if (unpadded && (isKnownName(unpadded->name()) || !padded)) {
    return end;
  }
  return end + 1;
}

bool AVIBytes::holds(std::uint64_t offset, std::uint64_t dataSize) const {
  return offset <= fileSize_ && fileSize_ - offset >= AVIChunkHead::size &&
         fileSize_ - offset - AVIChunkHead::size >= dataSize;
}

bool AVIBytes::isWholePicture(std::uint64_t offset, std::uint32_t size) {
  if (at(offset, 2) != "\xFF\xD8") {
    return false;
  }
  std::uint64_t length = size;
  while (length > 2) {
    const auto count = static_cast<std::size_t>(std::min<std::uint64_t>(length - 2, windowSize));
    const std::string_view tail = at(offset + length - count, count);
    const std::size_t last = tail.find_last_not_of(std::string_view("\0\xFF", 2));
    if (tail.size() < count) {
      return false;
    }
    if (last != std::string_view::npos) {
      length -= count - last - 1;
      return at(offset + length - 2, 2) == "\xFF\xD9";
    }
    length -= count;
  }
  return false;
}

}  // namespace tolvander
