#include "Platform/Linux/Movies/AVIReading.h"

#include <algorithm>
#include <array>
#include <optional>
#include <utility>

#include "Platform/Linux/Movies/AVIBytes.h"
#include "Platform/Linux/Movies/AVIIndex.h"
#include "Platform/Linux/Movies/AVIParameters.h"
#include "Platform/Linux/Movies/AVIWalk.h"
#include "Platform/Linux/Movies/LibAV.h"
#include "Platform/Linux/Movies/SampleLayout.h"

namespace tolvander::platform::linux_ {

namespace {

using Chunks = std::vector<AVIChunk>;
using State = AVIWalk::State;

// The result of comparing an index with the walk, per stream.
enum class Relation { sameChunks, someChunks, otherSizes, different };

bool isSamePlace(const AVIChunk& left, const AVIChunk& right) { return left.offset == right.offset; }
bool isSameChunk(const AVIChunk& left, const AVIChunk& right) {
  return left.offset == right.offset && left.size == right.size;
}

Relation relation(const Chunks& walk, const Chunks& index) {
  if (std::ranges::equal(walk, index, isSameChunk)) {
    return Relation::sameChunks;
  }
  if (std::ranges::equal(walk, index, isSamePlace)) {
    return Relation::otherSizes;
  }
  auto next = walk.begin();
  for (const AVIChunk& chunk : index) {
    next = std::find_if(next, walk.end(), [&](const AVIChunk& one) { return isSameChunk(one, chunk); });
    if (next == walk.end()) {
      return Relation::different;
    }
    ++next;
  }
  return Relation::someChunks;
}

// Whether no chunk of `some` lasts longer than the same chunk in `all`.
bool isNowhereLonger(const Chunks& some, const Chunks& all) {
  auto one = all.begin();
  return std::ranges::all_of(some, [&](const AVIChunk& chunk) {
    one = std::find_if(one, all.end(), [&](const AVIChunk& other) { return isSamePlace(other, chunk); });
    return one != all.end() && chunk.slots <= one->slots;
  });
}

class Decision {
 public:
  Decision(const MovieFile& file, const CancellationToken& token)
      : bytes_(file, token),
        headers_(readAVIHeaders(bytes_)),
        walk_(walkAVI(bytes_, headers_)),
        index_(readAVIIndex(file, headers_, walk_, token)) {
    for (const AVIStreamHeader& stream : headers_.streams) {
      require(stream.type == AVIStreamType::ignored || aviParameters(stream) != nullptr,
              "the header of a stream is damaged");
    }
  }

  AVIReading reading() {
    std::vector<AVIStreamChunks*> chosen(headers_.streams.size());
    const AVIStreamChunks* firstVideo = nullptr;
    for (std::size_t stream = 0; stream < chosen.size(); ++stream) {
      if (headers_.streams[stream].type == AVIStreamType::video) {
        chosen[stream] = &videoReading(stream, firstVideo == nullptr);
        firstVideo = firstVideo != nullptr ? firstVideo : chosen[stream];
      }
    }
    require(firstVideo != nullptr, "it has no video stream");
    // Audio comes last: no header counts its chunks. A structure that is reliable for the video is reliable
    // for the audio too.
    for (std::size_t stream = 0; stream < chosen.size(); ++stream) {
      if (headers_.streams[stream].type == AVIStreamType::audio) {
        chosen[stream] = &audioReading(stream);
      }
    }
    AVIReading reading{.headers = std::move(headers_), .streams = {}};
    for (AVIStreamChunks* stream : chosen) {
      reading.streams.push_back(stream != nullptr ? std::move(*stream) : AVIStreamChunks());
    }
    return reading;
  }

 private:
  // The frame counts of the headers for one video stream.
  struct Counts {
    std::int64_t stream = 0;            // strh
    std::optional<std::int64_t> movie;  // dmlh or avih, which count the first video stream

    bool say(std::int64_t slots, std::int64_t otherSlots) const {
      return stream == slots || (stream != otherSlots && movie == slots);
    }
    bool areBroken(std::int64_t slots, std::int64_t otherSlots) const {
      return !say(slots, otherSlots) && !say(otherSlots, slots);
    }
    bool areLessThan(std::int64_t slots) const { return stream < slots && movie.value_or(0) < slots; }
  };

  AVIStreamChunks& videoReading(std::size_t number, bool isFirst) {
    const AVIStreamHeader& header = headers_.streams[number];
    Counts counts{.stream = header.length, .movie = {}};
    if (isFirst && headers_.frames) {
      counts.movie = *headers_.frames;
    }
    const bool isMotionJPEG = aviParameters(header)->codec_id == AV_CODEC_ID_MJPEG;
    AVIStreamChunks& walk = walk_.streams[number];
    if (!index_) {
      const bool isUnfinished = walk_.state == State::whole && counts.areLessThan(walk.slots) &&
                                isMotionJPEG && areWholePictures(walk.chunks);
      require(walk_.state != State::lost, "its chunks are damaged and it has no usable index");
      require(counts.say(walk.slots, walk.slots) || isUnfinished,
              "it has no usable index, and the header counts another number of frames than it has");
      return walk;
    }
    AVIStreamChunks& index = (*index_)[number];
    if (walk_.state == State::lost) {
      require(isMotionJPEG && counts.say(index.slots, index.slots) && areWholePictures(index.chunks),
              "its chunks are damaged, and the index can't be confirmed");
      return index;
    }
    switch (relation(walk.chunks, index.chunks)) {
      case Relation::sameChunks:
        return videoOfSameChunks(walk, index, counts);
      case Relation::someChunks:
        require(walk_.state == State::whole && isNowhereLonger(index.chunks, walk.chunks) &&
                    (counts.say(walk.slots, index.slots) || counts.areBroken(walk.slots, index.slots)),
                "the index lists only some of its frames");
        return walk;
      case Relation::otherSizes:
        require(isMotionJPEG && haveSameSlots(walk.chunks, index.chunks),
                "the index and the chunks differ in size");
        if (areWholePictures(index.chunks)) {
          return index;
        }
        require(areWholePictures(walk.chunks), "the index and the chunks differ in size");
        return walk;
      case Relation::different:
        break;
    }
    bytes_.fail("the index lists other frames than it has");
  }

  AVIStreamChunks& videoOfSameChunks(AVIStreamChunks& walk, AVIStreamChunks& index, const Counts& counts) {
    if (walk.slots == index.slots) {
      require(haveSameSlots(walk.chunks, index.chunks), "the index repeats other frames than the chunks");
      return walk;
    }
    const bool indexHasMore = index.slots > walk.slots;
    AVIStreamChunks& longer = indexHasMore ? index : walk;
    AVIStreamChunks& shorter = indexHasMore ? walk : index;
    require(counts.say(longer.slots, shorter.slots) || counts.areBroken(longer.slots, shorter.slots),
            "the index and the header count different numbers of frames");
    require(isNowhereLonger(shorter.chunks, longer.chunks), "the index repeats other frames than the chunks");
    return longer;
  }

  AVIStreamChunks& audioReading(std::size_t number) {
    AVIStreamChunks& walk = walk_.streams[number];
    if (!index_) {
      require(!maySoundBeMissing(number), "the header counts more sound than it has");
      return walk;
    }
    AVIStreamChunks& index = (*index_)[number];
    if (walk_.state == State::lost) {
      require(!index.chunks.empty() && haveTheirHeadersSizes(index.chunks) && !hasSoundBesidesIndex(),
              "its chunks of sound are damaged");
      return index;
    }
    const Relation how = relation(walk.chunks, index.chunks);
    require(how == Relation::sameChunks ||
                (how == Relation::someChunks && walk_.state == State::whole && !maySoundBeMissing(number)),
            "the index lists other sound than it has");
    return walk;
  }

  static bool haveSameSlots(const Chunks& walk, const Chunks& index) {
    return std::ranges::equal(walk, index, {}, &AVIChunk::slots, &AVIChunk::slots);
  }

  bool areWholePictures(const Chunks& chunks) {
    return std::ranges::all_of(chunks, [this](const AVIChunk& chunk) { return isWholePicture(chunk); });
  }

  // Whether the chunk has a Motion JPEG frame from SOI (FF D8) to EOI (FF D9, ISO/IEC 10918-1, table B.1).
  // Zeros and FF after it are padding.
  bool isWholePicture(const AVIChunk& chunk) {
    constexpr std::int64_t shortest = 4;
    if (chunk.size < shortest || bytes_.at(chunk.offset, 2) != "\xFF\xD8") {
      return false;
    }
    std::int64_t end = chunk.offset + chunk.size;
    std::int64_t step = 16;  // bytes; padding is rare and short
    while (end > chunk.offset) {
      const std::int64_t begin = std::max(chunk.offset, end - step);
      const std::string_view tail = bytes_.at(begin, static_cast<std::size_t>(end - begin));
      const std::size_t last = tail.find_last_not_of(std::string_view("\0\xFF", 2));
      if (last != std::string_view::npos) {
        const std::int64_t marker = begin + static_cast<std::int64_t>(last) - 1;
        return marker >= chunk.offset + 2 && bytes_.at(marker, 2) == "\xFF\xD9";
      }
      end = begin;
      step = AVIBytes::smallBuffer;
    }
    return false;
  }

  bool haveTheirHeadersSizes(const Chunks& chunks) {
    return std::ranges::all_of(chunks, [this](const AVIChunk& chunk) {
      return chunkHeaderAt(bytes_, chunk.offset - AVIChunkHeader::bytes).size == chunk.size;
    });
  }

  // Whether a chunk of audio that is not in the index directly follows one of the index's chunks.
  bool hasSoundBesidesIndex() {
    ChunksInFileOrder order(*index_);
    std::int64_t offset = headers_.movie.offset + AVIChunkHeader::listBytes;
    while (const auto next = order.next()) {
      if (hasSoundBetween(offset, next->chunk.offset - AVIChunkHeader::bytes)) {
        return true;
      }
      offset = next->chunk.offset + next->chunk.size;
    }
    return hasSoundBetween(offset, bytes_.fileSize());
  }

  // Skips padding, and headers of dropped frames, which have no content although they declare a size.
  bool hasSoundBetween(std::int64_t offset, std::int64_t end) {
    if (offset % 2 == 1 && kindAt(offset) != AVIChunkKind::samples) {
      ++offset;  // a pad byte
    }
    while (offset < end) {
      if (++steps_ > mostAVIChunks) {
        bytes_.fail("it has too many chunks");
      }
      const AVIChunkHeader chunk = chunkHeaderAt(bytes_, offset);
      const AVIChunkKind kind = aviChunkKind(chunk.name, headers_);
      if (chunk.name.starts_with('\0')) {
        offset = bytes_.skipZeros(offset);
      } else if (kind == AVIChunkKind::samples) {
        if (chunk.name.ends_with("wb") && chunk.size > 0) {
          return true;
        }
        offset = chunk.content();
      } else if (kind == AVIChunkKind::other) {
        offset = chunk.paddedEnd();
      } else {
        break;
      }
    }
    return false;
  }

  AVIChunkKind kindAt(std::int64_t offset) {
    return aviChunkKind(chunkHeaderAt(bytes_, offset).name, headers_);
  }

  // Whether a walk that may be incomplete found less audio than the header declares.
  bool maySoundBeMissing(std::size_t number) const {
    const AVIStreamHeader& header = headers_.streams[number];
    const CodecParametersPointer parameters = aviParameters(header);
    const auto layout = sampleLayout(*parameters);
    if ((walk_.state == State::whole && !walk_.hasUnknownChunks) || !layout || header.rate == 0) {
      return false;
    }
    std::int64_t bytes = 0;
    for (const AVIChunk& chunk : walk_.streams[number].chunks) {
      bytes += chunk.size;
    }
    const auto units = bytes / static_cast<std::int64_t>(layout->unitBytes);
    const double found = static_cast<double>(units * layout->samplesPerUnit) / parameters->sample_rate;
    // The length in the header may be rounded up.
    const double claimed = (static_cast<double>(header.length) - 1) * header.scale / header.rate;
    return claimed > found;
  }

  void require(bool holds, std::string_view otherwise) const {
    if (!holds) {
      bytes_.fail(otherwise);
    }
  }

  AVIBytes bytes_;
  AVIHeaders headers_;
  AVIWalk walk_;
  std::optional<std::vector<AVIStreamChunks>> index_;
  std::int64_t steps_ = 0;
};

}  // namespace

AVIReading readAVI(const MovieFile& file, const CancellationToken& token) {
  return Decision(file, token).reading();
}

}  // namespace tolvander::platform::linux_
