#include "Platform/Linux/Movies/AVIWalk.h"

#include <algorithm>
#include <limits>

namespace tolvander::platform::linux_ {

namespace {

// The tolerated error of the declared size of a list, in bytes.
constexpr std::int64_t sizeSlip = 16;

bool isPrintable(std::string_view name) {
  return !name.empty() &&
         std::ranges::all_of(name, [](char character) { return character >= ' ' && character <= '~'; });
}

bool isIndex(std::string_view name) {
  return (name.starts_with("ix") && streamNumber(name, 2) >= 0) ||
         (name.ends_with("ix") && streamNumber(name) >= 0);
}

class Walk {
 public:
  Walk(AVIBytes& bytes, const AVIHeaders& headers) : bytes_(bytes), headers_(headers) {
    walk_.streams.resize(headers.streams.size());
  }

  AVIWalk run() {
    auto end = passSamples(headers_.movie);
    while (end) {
      const auto movie = nextMovie(*end);
      if (!movie) {
        break;
      }
      end = passSamples(*movie);
    }
    return std::move(walk_);
  }

 private:
  using State = AVIWalk::State;

  void worsen(State state) { walk_.state = std::max(walk_.state, state); }

  std::nullopt_t lose() {
    worsen(State::lost);
    return std::nullopt;
  }

  void count() {
    if (++count_ > mostAVIChunks) {
      bytes_.fail("it has too many chunks");
    }
  }

  // Walks through one list of samples, until an index, another RIFF chunk, the end of the file, or an offset
  // without a chunk.
  std::optional<std::int64_t> passSamples(const AVIChunkHeader& movie) {
    std::int64_t offset = movie.offset + AVIChunkHeader::listBytes;
    samplesEnd_ = offset;
    while (true) {
      const AVIChunkHeader chunk = chunkHeaderAt(bytes_, offset);
      if (chunk.name.empty() && isCutOff(movie, offset)) {
        return lose();
      }
      if (chunk.name.empty() || chunk.name == "RIFF" || chunk.name == "idx1") {
        break;
      }
      const AVIChunkKind kind = aviChunkKind(chunk.name, headers_);
      if (chunk.name.front() == '\0') {
        offset = bytes_.skipZeros(offset);
      } else if (chunk.name == "LIST" && chunk.type == "rec ") {
        count();
        offset += AVIChunkHeader::listBytes;
      } else if (kind == AVIChunkKind::misfit) {
        bytes_.fail("a chunk fits no stream");
      } else if (kind != AVIChunkKind::none && chunk.type != "movi" && chunk.end() <= bytes_.fileSize()) {
        count();
        take(chunk, kind, offset < declaredEnd(movie));
        offset = behind(chunk);
      } else if (kind != AVIChunkKind::samples && offset >= declaredEnd(movie) &&
                 isNearEnd(declaredEnd(movie), offset)) {
        break;
      } else {
        return lose();
      }
    }
    if (declaresEnd(movie) &&
        (declaredEnd(movie) > bytes_.fileSize() || !isNearEnd(declaredEnd(movie), offset))) {
      worsen(State::cut);
    }
    return offset;
  }

  // Whether the file ends within a chunk header before the declared end of the list, or far after it, where
  // a chunk with a wrong size has led.
  bool isCutOff(const AVIChunkHeader& movie, std::int64_t offset) {
    const bool isBehindEnd = offset >= declaredEnd(movie) && isNearEnd(declaredEnd(movie), offset);
    return declaresEnd(movie) && !isBehindEnd && bytes_.skipZeros(offset) < bytes_.fileSize();
  }

  // Cameras that never fill in the size leave 0 or the largest number.
  static bool declaresEnd(const AVIChunkHeader& movie) {
    return movie.size != 0 && movie.size != std::numeric_limits<std::uint32_t>::max();
  }

  std::int64_t declaredEnd(const AVIChunkHeader& movie) const {
    return declaresEnd(movie) ? movie.end() : std::numeric_limits<std::int64_t>::max();
  }

  // Whether the declared end is between the last sample and `offset`: there are no samples in between.
  bool isNearEnd(std::int64_t declared, std::int64_t offset) const {
    return declared >= samplesEnd_ - sizeSlip && declared - sizeSlip <= offset;
  }

  void take(const AVIChunkHeader& chunk, AVIChunkKind kind, bool isAmongSamples) {
    if (kind == AVIChunkKind::unknown) {
      walk_.hasUnknownChunks = walk_.hasUnknownChunks || isAmongSamples;
    } else if (kind == AVIChunkKind::samples) {
      AVIStreamChunks& stream = walk_.streams[static_cast<std::size_t>(streamNumber(chunk.name))];
      if (chunk.size > 0) {
        stream.add(chunk.content(), static_cast<std::uint32_t>(chunk.size));
      } else {
        stream.addEmpty();
      }
      samplesEnd_ = chunk.end();
    }
  }

  // The offset of the next chunk. RIFF pads odd sizes to an even offset, but some writers omit the pad byte.
  std::int64_t behind(const AVIChunkHeader& chunk) {
    if (chunk.size % 2 == 0 || isKnown(chunk.paddedEnd()) || !isKnown(chunk.end())) {
      return chunk.paddedEnd();
    }
    return chunk.end();
  }

  bool isKnown(std::int64_t offset) {
    const std::string name = chunkHeaderAt(bytes_, offset).name;
    const AVIChunkKind kind = aviChunkKind(name, headers_);
    return name == "RIFF" || name == "idx1" || (kind != AVIChunkKind::unknown && kind != AVIChunkKind::none);
  }

  // The list of samples of the next RIFF chunk (OpenDML 1.02), which may have text and padding before it.
  std::optional<AVIChunkHeader> nextMovie(std::int64_t offset) {
    bool isInRIFF = false;
    while (true) {
      const AVIChunkHeader chunk = chunkHeaderAt(bytes_, offset);
      const AVIChunkKind kind = aviChunkKind(chunk.name, headers_);
      if (chunk.name.starts_with('\0')) {
        offset = bytes_.skipZeros(offset);
      } else if (isInRIFF && chunk.type == "movi") {
        return chunk;
      } else if (chunk.name == "RIFF") {
        if (chunk.type != "AVIX") {
          return lose();
        }
        isInRIFF = true;
        count();
        offset += AVIChunkHeader::listBytes;
      } else if (kind == AVIChunkKind::samples || kind == AVIChunkKind::misfit || chunk.type == "movi") {
        return lose();
      } else {
        if (chunk.name == "idx1" && !walk_.oldIndex) {
          walk_.oldIndex = chunk;
        }
        if (kind == AVIChunkKind::none || chunk.end() > bytes_.fileSize()) {
          return isInRIFF ? lose() : std::nullopt;
        }
        if (chunk.name != "idx1") {
          count();
        }
        offset = chunk.paddedEnd();
      }
    }
  }

  AVIBytes& bytes_;
  const AVIHeaders& headers_;
  AVIWalk walk_;
  std::int64_t samplesEnd_ = 0;  // end of the last samples in the list, or its start
  std::int64_t count_ = 0;
};

}  // namespace

AVIWalk walkAVI(AVIBytes& bytes, const AVIHeaders& headers) { return Walk(bytes, headers).run(); }

AVIChunkKind aviChunkKind(std::string_view name, const AVIHeaders& headers) {
  const int number = streamNumber(name);
  const std::string_view kind = number >= 0 ? name.substr(2) : std::string_view();
  const bool isVideo = kind == "dc" || kind == "db";
  if (number >= 0 && static_cast<std::size_t>(number) < headers.streams.size()) {
    const AVIStreamType type = headers.streams[static_cast<std::size_t>(number)].type;
    if (type == AVIStreamType::ignored) {
      return AVIChunkKind::other;
    }
    if (type == AVIStreamType::video ? isVideo : kind == "wb") {
      return AVIChunkKind::samples;
    }
  }
  if (isVideo || kind == "wb" || kind == "pc") {
    return AVIChunkKind::misfit;
  }
  if (name == "JUNK" || name == "LIST" || isIndex(name)) {
    return AVIChunkKind::other;
  }
  return isPrintable(name) ? AVIChunkKind::unknown : AVIChunkKind::none;
}

}  // namespace tolvander::platform::linux_
