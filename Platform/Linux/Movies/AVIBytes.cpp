#include "Platform/Linux/Movies/AVIBytes.h"

#include <sys/stat.h>

#include <algorithm>
#include <cstring>

#include "Platform/Linux/Movies/LibAV.h"
#include "TolvanderCore/Foundation/Precondition.h"
#include "TolvanderCore/Platform/Movie.h"

namespace tolvander::platform::linux_ {

namespace {

bool holds(std::string_view bytes, std::size_t offset, std::size_t count) {
  return offset <= bytes.size() && count <= bytes.size() - offset;
}

bool isDigit(char character) { return character >= '0' && character <= '9'; }

}  // namespace

AVIBytes::AVIBytes(const MovieFile& file, const CancellationToken& token, std::size_t bufferSize)
    : file_(file), token_(token), buffer_(bufferSize) {
  struct stat status {};
  if (fstat(file.descriptor(), &status) != 0) {
    fail("its size can't be read");
  }
  fileSize_ = status.st_size;
}

std::string_view AVIBytes::at(std::int64_t offset, std::size_t count) {
  precondition(count <= buffer_.size(), "a piece fits into the buffer");
  token_.throwIfCancelled();
  if (offset < 0 || offset >= fileSize_) {
    return {};
  }
  count = static_cast<std::size_t>(std::min(static_cast<std::int64_t>(count), fileSize_ - offset));
  if (offset < bufferOffset_ ||
      !holds({buffer_.data(), bufferedCount_}, static_cast<std::size_t>(offset - bufferOffset_), count)) {
    const ssize_t read =
        retryOnEINTR([&] { return pread(file_.descriptor(), buffer_.data(), buffer_.size(), offset); });
    if (read < static_cast<ssize_t>(count)) {
      fail("its bytes can't be read");
    }
    bufferOffset_ = offset;
    bufferedCount_ = static_cast<std::size_t>(read);
  }
  return {buffer_.data() + (offset - bufferOffset_), count};
}

std::int64_t AVIBytes::skipZeros(std::int64_t offset) {
  while (offset < fileSize_) {
    at(offset, 1);
    const auto start = static_cast<std::size_t>(offset - bufferOffset_);
    const std::string_view bytes(buffer_.data() + start, bufferedCount_ - start);
    const std::size_t other = bytes.find_first_not_of('\0');
    if (other != std::string_view::npos) {
      return offset + static_cast<std::int64_t>(other);
    }
    offset += static_cast<std::int64_t>(bytes.size());
  }
  return fileSize_;
}

void AVIBytes::fail(std::string_view reason) const {
  throw MovieError(MovieError::Case::unreadable, file_.url(), reason);
}

std::uint16_t littleEndian16(std::string_view bytes, std::size_t offset) {
  return holds(bytes, offset, 2) ? AV_RL16(bytes.data() + offset) : std::uint16_t{0};
}

std::uint32_t littleEndian32(std::string_view bytes, std::size_t offset) {
  return holds(bytes, offset, 4) ? AV_RL32(bytes.data() + offset) : 0;
}

std::uint64_t littleEndian64(std::string_view bytes, std::size_t offset) {
  return holds(bytes, offset, 8) ? AV_RL64(bytes.data() + offset) : 0;
}

AVIChunkHeader chunkHeaderAt(AVIBytes& bytes, std::int64_t offset) {
  const std::string_view head = bytes.at(offset, AVIChunkHeader::listBytes);
  AVIChunkHeader header{.name = {}, .type = {}, .offset = offset};
  if (head.size() < AVIChunkHeader::bytes) {
    return header;
  }
  header.name = head.substr(0, 4);
  header.size = littleEndian32(head, 4);
  if (header.name == "RIFF" || header.name == "LIST") {
    header.type = head.substr(AVIChunkHeader::bytes);
  }
  return header;
}

int streamNumber(std::string_view name, std::size_t offset) {
  if (!holds(name, offset, 2) || !isDigit(name[offset]) || !isDigit(name[offset + 1])) {
    return -1;
  }
  return (name[offset] - '0') * 10 + (name[offset + 1] - '0');
}

}  // namespace tolvander::platform::linux_
