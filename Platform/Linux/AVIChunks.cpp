#include "Platform/Linux/AVIChunks.h"

#include <sys/stat.h>

#include <algorithm>
#include <limits>
#include <string_view>

#include "Platform/Linux/LibAV.h"

namespace tolvander::platform::linux_ {

namespace {

constexpr std::int64_t chunkHeader = 8;  // name, size
constexpr std::int64_t listHeader = 12;  // and the list's type

std::optional<std::size_t> number(std::string_view digits) {
  const auto isDigit = [](char character) { return character >= '0' && character <= '9'; };
  if (!std::ranges::all_of(digits, isDigit)) {
    return std::nullopt;
  }
  return static_cast<std::size_t>(digits[0] - '0') * 10 + static_cast<std::size_t>(digits[1] - '0');
}

// Video uncompressed and compressed, a change of palette, sound, text.
bool isData(std::string_view name) {
  constexpr std::array<std::string_view, 5> kinds = {"db", "dc", "pc", "wb", "tx"};
  return number(name.substr(0, 2)) && std::ranges::find(kinds, name.substr(2)) != kinds.end();
}

bool isIndex(std::string_view name) {
  return name == "idx1" || name == "indx" || (name.starts_with("ix") && number(name.substr(2))) ||
         (name.ends_with("ix") && number(name.substr(0, 2)));
}

class ChunkWalk {
 public:
  ChunkWalk(const MovieFile& file, const CancellationToken& token) : file_(file), token_(token) {}

  std::optional<AVIChunks> sums() {
    struct stat status {};
    if (fstat(file_.descriptor(), &status) != 0) {
      return std::nullopt;
    }
    end_ = status.st_size;
    while (end_ - offset_ >= chunkHeader) {
      token_.throwIfCancelled();
      if (!step()) {
        return std::nullopt;
      }
    }
    return sums_;
  }

 private:
  // Past one chunk, or into one list. False where it is damaged.
  bool step() {
    if (movieEnd_ && offset_ >= *movieEnd_) {
      movieEnd_.reset();
    }
    std::array<char, listHeader> head{};
    const ssize_t count =
        uninterrupted([&] { return pread(file_.descriptor(), head.data(), head.size(), offset_); });
    if (count < chunkHeader) {
      return false;
    }
    const std::string_view text(head.data(), static_cast<std::size_t>(count));
    const std::string_view name = text.substr(0, 4);
    const std::int64_t size = AV_RL32(head.data() + 4);
    if (name == "RIFF" || name == "LIST") {
      return stepIntoList(name, text.substr(chunkHeader), size);
    }
    if (name == "idx1" && movieEnd_ == end_) {
      movieEnd_.reset();
    }
    if (isData(name)) {
      return size <= movieEnd_.value_or(end_) - offset_ - chunkHeader && stepOverData(name, size);
    }
    if (movieEnd_ && ((name != "JUNK" && !isIndex(name)) || size > *movieEnd_ - offset_ - chunkHeader)) {
      return false;
    }
    stepOver(size);
    return true;
  }

  bool stepIntoList(std::string_view name, std::string_view type, std::int64_t size) {
    if (name == "RIFF" || type == "rec ") {
      offset_ += listHeader;
      return true;
    }
    if (type != "movi") {
      stepOver(size);
      return !movieEnd_;
    }
    const bool isOpen = size == 0 || size == std::numeric_limits<std::uint32_t>::max();
    movieEnd_ = isOpen ? end_ : offset_ + chunkHeader + size;
    offset_ += listHeader;
    return *movieEnd_ <= end_;
  }

  bool stepOverData(std::string_view name, std::int64_t size) {
    AVIStreamChunks& stream = sums_[*number(name.substr(0, 2))];
    stream.chunks += size > 0 ? 1 : 0;
    stream.bytes += size;
    stepOver(size);
    return true;
  }

  void stepOver(std::int64_t size) { offset_ += chunkHeader + size + size % 2; }

  const MovieFile& file_;
  const CancellationToken& token_;
  std::int64_t end_ = 0;
  std::int64_t offset_ = 0;
  std::optional<std::int64_t> movieEnd_;  // within a movi list; the file's where the list doesn't say
  AVIChunks sums_{};
};

}  // namespace

std::optional<AVIChunks> aviChunks(const MovieFile& file, const CancellationToken& token) {
  return ChunkWalk(file, token).sums();
}

}  // namespace tolvander::platform::linux_
