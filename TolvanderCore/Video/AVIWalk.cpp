#include "TolvanderCore/Video/AVIWalk.h"

#include <algorithm>
#include <limits>

namespace tolvander {

namespace {

constexpr std::uint64_t listHeadSize = 12;  // name, size, the list's type
constexpr std::uint64_t tolerance = 16;     // bytes by which the size of a list may be wrong

class Walker {
 public:
  Walker(AVIBytes& bytes, const AVIHeaders& headers, const FileURL& url, const CancellationToken& token)
      : bytes_(bytes), headers_(headers), url_(url), token_(token) {
    walk_.streams.resize(headers.streams.size());
  }

  AVIWalk run() {
    std::uint64_t offset = walkMovie(headers_.movie);
    if (walk_.state == AVIWalk::State::lost) {
      findOldIndex();
    } else {
      walkFurtherMovies(offset);
      if (awaitsMovie_) {
        walk_.state = State::lost;
      }
    }
    return std::move(walk_);
  }

 private:
  using State = AVIWalk::State;

  void count() {
    token_.throwIfCancelled();
    if (++chunks_ > AVIReading::maximumChunks) {
      refuseAVI(url_, "it has too many chunks");
    }
  }

  bool isMovieList(const AVIChunkHead& head, std::uint64_t offset) {
    return head.name() == "LIST" && bytes_.at(offset + AVIChunkHead::size, 4) == "movi";
  }

  // Reads the list with its header at `list`. Returns the offset of its end.
  std::uint64_t walkMovie(std::uint64_t list) {
    const auto end = declaredEnd(list);
    std::uint64_t offset = list + listHeadSize;
    std::uint64_t dataEnd = offset;
    while (true) {
      offset = bytes_.skipZeros(offset);
      // A list whose size a camera didn't write may end within the header of a chunk that was never written.
      const std::uint64_t needed = end ? 1 : AVIChunkHead::size;
      if (bytes_.fileSize() - offset < needed) {
        break;
      }
      const auto head = bytes_.chunkHead(offset);
      const AVIChunkRole role = head ? headers_.roleOf(head->name()) : AVIChunkRole();
      const bool isData = role.kind != AVIChunkRole::Kind::noData;
      if ((head && (head->name() == "idx1" || head->name() == "RIFF")) ||
          (end && offset >= *end && dataEnd <= *end + tolerance && !isData)) {
        break;
      }
      if (!head || isMovieList(*head, offset)) {
        return lose(offset);
      }
      count();
      if (head->name() == "LIST" && bytes_.at(offset + AVIChunkHead::size, 4) == "rec ") {
        offset += listHeadSize;
        continue;
      }
      if (!bytes_.holds(offset, head->dataSize)) {
        return lose(offset);
      }
      take(role, offset + AVIChunkHead::size, head->dataSize);
      if (!isData && head->name() != "JUNK" && head->name() != "LIST" && !indexedStream(head->name())) {
        walk_.hasUnknownChunks = true;
      }
      if (isData) {
        dataEnd = offset + AVIChunkHead::size + head->dataSize;
      }
      offset = bytes_.behind(offset + AVIChunkHead::size, head->dataSize);
    }
    const bool endsThere =
        !end || (*end <= bytes_.fileSize() && *end + tolerance >= dataEnd && *end <= offset + tolerance);
    if (!endsThere) {
      walk_.state = std::max(walk_.state, State::cut);
    }
    return offset;
  }

  // The end of the list by its size. Absent if the camera didn't write the size.
  std::optional<std::uint64_t> declaredEnd(std::uint64_t list) {
    const auto head = bytes_.chunkHead(list);
    if (!head || head->dataSize == 0 || head->dataSize == std::numeric_limits<std::uint32_t>::max()) {
      return std::nullopt;
    }
    return list + AVIChunkHead::size + head->dataSize;
  }

  std::uint64_t lose(std::uint64_t offset) {
    walk_.state = State::lost;
    return offset;
  }

  void take(const AVIChunkRole& role, std::uint64_t dataOffset, std::uint32_t size) {
    if (role.kind == AVIChunkRole::Kind::contradiction) {
      refuseAVI(url_, "a chunk contradicts its stream");
    }
    if (role.kind == AVIChunkRole::Kind::sample) {
      walk_.streams[role.stream].add(dataOffset, size);
    }
  }

  // Reads the index, and the further RIFF lists of a file of more than 1 GB (OpenDML). Bytes that are no
  // chunk end it without an error, because cameras write text there. Data outside of the data lists, and
  // lists of another kind, show that a list ended too early.
  void walkFurtherMovies(std::uint64_t offset) {
    while (walk_.state != State::lost) {
      offset = bytes_.skipZeros(offset);
      const auto head = bytes_.chunkHead(offset);
      if (!head) {
        return;
      }
      count();
      if (isMovieList(*head, offset)) {
        awaitsMovie_ = false;
        offset = walkMovie(offset);
      } else if (head->name() == "RIFF" && bytes_.at(offset + AVIChunkHead::size, 4) == "AVIX" &&
                 !awaitsMovie_) {
        awaitsMovie_ = true;
        offset += listHeadSize;
      } else if (head->name() == "RIFF" || headers_.roleOf(head->name()).kind != AVIChunkRole::Kind::noData) {
        walk_.state = State::lost;
      } else {
        noteOldIndex(*head, offset);
        if (!bytes_.holds(offset, head->dataSize)) {
          return;
        }
        offset = bytes_.behind(offset + AVIChunkHead::size, head->dataSize);
      }
    }
  }

  void noteOldIndex(const AVIChunkHead& head, std::uint64_t offset) {
    if (head.name() == "idx1" && !walk_.oldIndex) {
      walk_.oldIndex = {.offset = offset + AVIChunkHead::size, .size = head.dataSize};
    }
  }

  // If the chunks don't lead to the index, the size of the list does: to the index itself, within a
  // tolerance, or to chunks before it.
  void findOldIndex() {
    const auto end = declaredEnd(headers_.movie);
    if (!end || *end > bytes_.fileSize()) {
      return;
    }
    for (std::uint64_t offset = *end - tolerance; offset <= *end + tolerance; ++offset) {
      const auto head = bytes_.chunkHead(offset);
      if (head && head->name() == "idx1") {
        noteOldIndex(*head, offset);
        return;
      }
    }
    std::uint64_t offset = bytes_.skipZeros(*end);
    for (auto head = bytes_.chunkHead(offset); head && !walk_.oldIndex; head = bytes_.chunkHead(offset)) {
      count();
      noteOldIndex(*head, offset);
      if (!bytes_.holds(offset, head->dataSize)) {
        return;
      }
      offset = bytes_.skipZeros(bytes_.behind(offset + AVIChunkHead::size, head->dataSize));
    }
  }

  AVIBytes& bytes_;
  const AVIHeaders& headers_;
  const FileURL& url_;
  const CancellationToken& token_;
  AVIWalk walk_;
  std::size_t chunks_ = 0;
  bool awaitsMovie_ = false;  // since a further RIFF list began
};

}  // namespace

void AVIAccount::add(std::uint64_t dataOffset, std::uint32_t size) {
  ++slots;
  if (size > 0) {
    chunks.push_back({.offset = dataOffset, .size = size, .slots = chunks.empty() ? slots : 1});
  } else if (!chunks.empty()) {
    ++chunks.back().slots;
  }
}

void AVIAccount::repeat() {
  ++slots;
  ++repeats;
  ++chunks.back().slots;
}

AVIWalk walkAVI(AVIBytes& bytes, const AVIHeaders& headers, const FileURL& url,
                const CancellationToken& token) {
  return Walker(bytes, headers, url, token).run();
}

}  // namespace tolvander
