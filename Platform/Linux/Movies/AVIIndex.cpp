#include "Platform/Linux/Movies/AVIIndex.h"

#include <algorithm>
#include <string>
#include <utility>

namespace tolvander::platform::linux_ {

namespace {

using Streams = std::vector<AVIStreamChunks>;

// Whether chunks of different streams overlap. Those of the same stream were checked before.
bool overlap(const Streams& streams) {
  ChunksInFileOrder order(streams);
  std::int64_t end = 0;
  while (const auto next = order.next()) {
    if (next->chunk.offset - AVIChunkHeader::bytes < end) {
      return true;
    }
    end = next->chunk.offset + next->chunk.size;
  }
  return false;
}

// Collects index entries.
class Entries {
 public:
  Entries(AVIBytes& chunks, const AVIHeaders& headers)
      : chunks_(chunks), headers_(headers), streams_(headers.streams.size()) {}

  // Whether a chunk with this name and content is there, judged by the name and the end of the file.
  bool leadsToChunk(std::string_view name, std::int64_t offset, std::int64_t size) {
    const std::int64_t header = offset - AVIChunkHeader::bytes;
    return header >= headers_.movie.offset + AVIChunkHeader::listBytes &&
           size <= chunks_.fileSize() - offset && chunks_.at(header, name.size()) == name;
  }

  // Returns false if the entry isn't valid after the previous ones.
  bool add(std::string_view name, std::int64_t offset, std::uint32_t size) {
    if (++count_ > mostAVIChunks) {
      chunks_.fail("its index has too many entries");
    }
    const auto number = static_cast<std::size_t>(streamNumber(name));
    AVIStreamChunks& stream = streams_[number];
    if (size == 0) {
      stream.addEmpty();
      return true;
    }
    if (!stream.chunks.empty()) {
      const AVIChunk& last = stream.chunks.back();
      if (offset == last.offset && size == last.size &&
          headers_.streams[number].type == AVIStreamType::video) {
        stream.addEmpty();
        return true;
      }
      if (offset - AVIChunkHeader::bytes < last.offset + last.size) {
        return false;
      }
    }
    stream.add(offset, size);
    return true;
  }

  std::optional<Streams> streams() {
    const auto isEmpty = [](const AVIStreamChunks& stream) { return stream.chunks.empty(); };
    if (std::ranges::all_of(streams_, isEmpty) || overlap(streams_)) {
      return std::nullopt;
    }
    return std::move(streams_);
  }

 private:
  AVIBytes& chunks_;
  const AVIHeaders& headers_;
  Streams streams_;
  std::int64_t count_ = 0;
};

// idx1 (AVI RIFF File Reference, AVIOLDINDEX).
class OldIndex {
 public:
  OldIndex(AVIBytes& index, AVIBytes& chunks, const AVIHeaders& headers, const AVIChunkHeader& place)
      : index_(index), chunks_(chunks), headers_(headers), place_(place) {}

  std::optional<Streams> read() {
    if (place_.end() > index_.fileSize() || place_.size % entryBytes != 0) {
      return std::nullopt;
    }
    if (place_.size / entryBytes > mostAVIChunks) {
      index_.fail("its index has too many entries");
    }
    const auto base = findBase();
    if (!base) {
      return std::nullopt;
    }
    Entries entries(chunks_, headers_);
    for (std::int64_t number = 0; number < place_.size / entryBytes; ++number) {
      const Entry entry = entryAt(number);
      if (entry.hasSamples &&
          !entries.add(entry.name, *base + entry.offset + AVIChunkHeader::bytes, entry.size)) {
        return std::nullopt;
      }
    }
    return entries.streams();
  }

 private:
  static constexpr std::int64_t entryBytes = 16;

  struct Entry {
    bool isValid = false;
    bool hasSamples = false;
    std::string name;
    std::int64_t offset = 0;  // of the chunk's header, relative to the base
    std::uint32_t size = 0;
  };

  Entry entryAt(std::int64_t number) {
    const std::string_view bytes = index_.at(place_.content() + number * entryBytes, entryBytes);
    Entry entry{.name = std::string(bytes.substr(0, 4)),
                .offset = littleEndian32(bytes, 8),
                .size = littleEndian32(bytes, 12)};
    entry.hasSamples = aviChunkKind(entry.name, headers_) == AVIChunkKind::samples;
    entry.isValid = entry.hasSamples || entry.name == "rec " || isIgnored(streamNumber(entry.name));
    return entry;
  }

  bool isIgnored(int stream) const {
    return stream >= 0 && static_cast<std::size_t>(stream) < headers_.streams.size() &&
           headers_.streams[static_cast<std::size_t>(stream)].type == AVIStreamType::ignored;
  }

  // The base of the offsets: the word "movi", the byte after it, or the start of the file. The one with
  // which every entry points to its chunk.
  std::optional<std::int64_t> findBase() {
    const std::int64_t word = headers_.movie.offset + AVIChunkHeader::bytes;
    std::vector<std::int64_t> bases = {word, word + 4, 0};
    Entries entries(chunks_, headers_);
    for (std::int64_t number = 0; number < place_.size / entryBytes; ++number) {
      const Entry entry = entryAt(number);
      if (!entry.isValid) {
        return std::nullopt;
      }
      if (entry.hasSamples && entry.size > 0) {
        std::erase_if(bases, [&](std::int64_t base) {
          return !entries.leadsToChunk(entry.name, base + entry.offset + AVIChunkHeader::bytes, entry.size);
        });
      }
      if (bases.empty()) {
        return std::nullopt;
      }
    }
    return bases.size() == 1 ? std::optional(bases.front()) : std::nullopt;
  }

  AVIBytes& index_;
  AVIBytes& chunks_;
  const AVIHeaders& headers_;
  const AVIChunkHeader& place_;
};

// indx and the ix## chunks that it lists (OpenDML AVI File Format Extensions 1.02).
class OpenDMLIndex {
 public:
  OpenDMLIndex(AVIBytes& index, AVIBytes& chunks, const AVIHeaders& headers)
      : index_(index), headers_(headers), entries_(chunks, headers) {}

  std::optional<Streams> read() {
    for (std::size_t stream = 0; stream < headers_.streams.size(); ++stream) {
      const AVIStreamHeader& header = headers_.streams[stream];
      if (header.type != AVIStreamType::ignored &&
          (!header.index || !readStream(static_cast<int>(stream), *header.index))) {
        return std::nullopt;
      }
    }
    return entries_.streams();
  }

 private:
  static constexpr std::int64_t headBytes = 24;

  struct Head {
    unsigned longsPerEntry = 0;
    unsigned subtype = 0;  // bIndexSubType; 1: entries of two fields
    unsigned type = 0;     // bIndexType; 0: AVI_INDEX_OF_INDEXES, 1: AVI_INDEX_OF_CHUNKS
    std::int64_t count = 0;
    std::string name;
    std::uint64_t base = 0;
  };

  Head headOf(const AVIChunkHeader& chunk) {
    const std::string_view bytes = index_.at(chunk.content(), headBytes);
    const unsigned types = littleEndian16(bytes, 2);
    return {.longsPerEntry = littleEndian16(bytes, 0),
            .subtype = types % 256,
            .type = types / 256,
            .count = littleEndian32(bytes, 4),
            .name = bytes.size() == headBytes ? std::string(bytes.substr(8, 4)) : std::string(),
            .base = littleEndian64(bytes, 12)};
  }

  static bool hasRoom(const AVIChunkHeader& chunk, std::int64_t count, std::int64_t entryBytes) {
    return chunk.size >= headBytes && count <= (chunk.size - headBytes) / entryBytes;
  }

  static bool isIndexOf(int stream, std::string_view name) {
    return (name.starts_with("ix") && streamNumber(name, 2) == stream) ||
           (name.ends_with("ix") && streamNumber(name) == stream);
  }

  bool readStream(int stream, const AVIChunkHeader& chunk) {
    constexpr std::int64_t entryBytes = 16;
    const Head head = headOf(chunk);
    if (head.type == 1) {
      return readChunks(stream, chunk);
    }
    if (head.type != 0 || head.longsPerEntry != 4 || !hasRoom(chunk, head.count, entryBytes)) {
      return false;
    }
    for (std::int64_t number = 0; number < head.count; ++number) {
      const std::string_view entry = index_.at(chunk.content() + headBytes + number * entryBytes, entryBytes);
      const std::uint64_t offset = littleEndian64(entry, 0);
      if (offset >= static_cast<std::uint64_t>(index_.fileSize())) {
        return false;
      }
      const AVIChunkHeader part = chunkHeaderAt(index_, static_cast<std::int64_t>(offset));
      if (!isIndexOf(stream, part.name) || part.end() > index_.fileSize() || !readChunks(stream, part)) {
        return false;
      }
    }
    return true;
  }

  bool readChunks(int stream, const AVIChunkHeader& chunk) {
    constexpr std::uint32_t sizeMask = 0x7FFFFFFF;  // the highest bit: not a key frame
    const Head head = headOf(chunk);
    const unsigned longs = head.subtype == 0 ? 2 : 3;  // with two fields: the offset of the second one
    if (head.type != 1 || head.subtype > 1 || head.longsPerEntry != longs ||
        !hasRoom(chunk, head.count, std::int64_t{4} * longs) || streamNumber(head.name) != stream ||
        aviChunkKind(head.name, headers_) != AVIChunkKind::samples ||
        head.base >= static_cast<std::uint64_t>(index_.fileSize())) {
      return false;
    }
    for (std::int64_t number = 0; number < head.count; ++number) {
      const std::string_view entry = index_.at(chunk.content() + headBytes + number * 4 * longs, 8);
      const std::int64_t offset = static_cast<std::int64_t>(head.base) + littleEndian32(entry, 0);
      const std::uint32_t size = littleEndian32(entry, 4) & sizeMask;
      if ((size > 0 && !entries_.leadsToChunk(head.name, offset, size)) ||
          !entries_.add(head.name, offset, size)) {
        return false;
      }
    }
    return true;
  }

  AVIBytes& index_;
  const AVIHeaders& headers_;
  Entries entries_;
};

// Finds idx1 if the walk didn't reach it: at the declared end of the list, or after padding that follows.
std::optional<AVIChunkHeader> findOldIndex(AVIBytes& bytes, const AVIHeaders& headers) {
  constexpr std::int64_t sizeSlip = 16;
  const std::int64_t end = headers.movie.end();
  for (std::int64_t offset = end - sizeSlip; offset <= end + sizeSlip; ++offset) {
    const AVIChunkHeader chunk = chunkHeaderAt(bytes, offset);
    if (chunk.name == "idx1") {
      return chunk;
    }
  }
  std::int64_t offset = end;
  for (std::int64_t steps = 0; steps < mostAVIChunks; ++steps) {
    offset = bytes.skipZeros(offset);
    const AVIChunkHeader chunk = chunkHeaderAt(bytes, offset);
    const AVIChunkKind kind = aviChunkKind(chunk.name, headers);
    if (chunk.name == "idx1") {
      return chunk;
    }
    if (kind != AVIChunkKind::other && kind != AVIChunkKind::unknown) {
      break;
    }
    offset = chunk.paddedEnd();
  }
  return std::nullopt;
}

}  // namespace

std::optional<Streams> readAVIIndex(const MovieFile& file, const AVIHeaders& headers, const AVIWalk& walk,
                                    const CancellationToken& token) {
  AVIBytes index(file, token, AVIBytes::largeBuffer);
  AVIBytes chunks(file, token);
  if (auto streams = OpenDMLIndex(index, chunks, headers).read()) {
    return streams;
  }
  const bool isLost = walk.state == AVIWalk::State::lost;
  const auto place = !walk.oldIndex && isLost ? findOldIndex(chunks, headers) : walk.oldIndex;
  return place ? OldIndex(index, chunks, headers, *place).read() : std::nullopt;
}

}  // namespace tolvander::platform::linux_
