#include "TolvanderCore/Video/AVIIndex.h"

#include <algorithm>
#include <array>
#include <functional>
#include <queue>
#include <string>
#include <utility>

#include "TolvanderCore/Foundation/Endian.h"

namespace tolvander {

namespace {

constexpr std::uint64_t listHeadSize = 12;  // name, size, the list's type

using Accounts = std::vector<AVIAccount>;

// Collects the entries of an index. A function that returns false makes the index unusable.
class EntryCollector {
 public:
  EntryCollector(AVIBytes& chunkBytes, const AVIHeaders& headers)
      : bytes_(chunkBytes), headers_(headers), accounts_(headers.streams.size()) {}

  // `header` is the offset of the chunk's header.
  bool add(std::size_t stream, std::string_view name, std::uint64_t header, std::uint32_t size) {
    AVIAccount& account = accounts_[stream];
    const std::uint64_t data = header + AVIChunkHead::size;
    if (size == 0) {
      account.add(data, size);
      return true;
    }
    if (header < headers_.movie + listHeadSize || !bytes_.holds(header, size) ||
        bytes_.at(header, name.size()) != name) {
      return false;
    }
    if (account.chunks.empty() || data > account.chunks.back().offset) {
      account.add(data, size);
      return true;
    }
    const AVIChunk& last = account.chunks.back();
    const bool isRepeat =
        headers_.streams[stream].kind == AVIStream::Kind::video && data == last.offset && size == last.size;
    if (isRepeat) {
      account.repeat();
    }
    return isRepeat;
  }

  // The entries added. Absent if there are none, and if chunks overlap.
  std::optional<Accounts> finish() {
    const bool isEmpty =
        std::ranges::all_of(accounts_, [](const AVIAccount& account) { return account.chunks.empty(); });
    if (isEmpty || overlap()) {
      return std::nullopt;
    }
    return std::move(accounts_);
  }

 private:
  // Merges the streams, each of which is in ascending order.
  bool overlap() const {
    using Next = std::pair<std::uint64_t, std::size_t>;  // place, stream
    std::priority_queue<Next, std::vector<Next>, std::greater<>> next;
    std::vector<std::size_t> positions(accounts_.size());
    const auto push = [&](std::size_t stream) {
      if (positions[stream] < accounts_[stream].chunks.size()) {
        next.emplace(accounts_[stream].chunks[positions[stream]].offset, stream);
      }
    };
    for (std::size_t stream = 0; stream < accounts_.size(); ++stream) {
      push(stream);
    }
    std::uint64_t end = 0;
    while (!next.empty()) {
      const auto [offset, stream] = next.top();
      next.pop();
      if (offset < end) {
        return true;
      }
      // A chunk may reach up to the data of the next one.
      end = offset + accounts_[stream].chunks[positions[stream]].size + AVIChunkHead::size;
      ++positions[stream];
      push(stream);
    }
    return false;
  }

  AVIBytes& bytes_;
  const AVIHeaders& headers_;
  Accounts accounts_;
};

class IndexReader {
 public:
  IndexReader(AVIBytes& chunkBytes, AVIBytes& indexBytes, const AVIHeaders& headers, const FileURL& url,
              const CancellationToken& token)
      : chunks_(chunkBytes), bytes_(indexBytes), headers_(headers), url_(url), token_(token) {}

  // The indexes of the OpenDML AVI File Format Extensions 1.02: a super index `indx` in each stream's header
  // leads to standard indexes `ix##`, which have 32-bit offsets from a base offset.
  std::optional<Accounts> openDML() {
    EntryCollector entries(chunks_, headers_);
    std::size_t count = 0;
    for (std::size_t stream = 0; stream < headers_.streams.size(); ++stream) {
      const AVIStream& header = headers_.streams[stream];
      if (header.kind != AVIStream::Kind::ignored &&
          (!header.index || !addStreamIndex(*header.index, stream, entries, count))) {
        return std::nullopt;
      }
    }
    return entries.finish();
  }

  // The index `idx1` (AVIOLDINDEX in the AVI RIFF File Reference).
  std::optional<Accounts> old(const AVIWalk::OldIndex& index) {
    const std::uint32_t count = index.size / oldEntrySize;
    if (index.size % oldEntrySize != 0 || index.size > bytes_.fileSize() - index.offset) {
      return std::nullopt;
    }
    limit(count);
    const std::uint64_t movieWord = headers_.movie + AVIChunkHead::size;
    std::optional<std::uint64_t> base;
    for (const std::uint64_t candidate : {movieWord, movieWord + 4, std::uint64_t{0}}) {
      if (leadsToChunks(index, count, candidate)) {
        if (base) {
          return std::nullopt;
        }
        base = candidate;
      }
    }
    if (!base) {
      return std::nullopt;
    }
    EntryCollector entries(chunks_, headers_);
    for (std::uint32_t number = 0; number < count; ++number) {
      const OldEntry entry = oldEntry(index, number);
      if (entry.kind == OldEntry::Kind::unknown ||
          (entry.kind == OldEntry::Kind::sample &&
           !entries.add(entry.stream, entry.name, *base + entry.offset, entry.size))) {
        return std::nullopt;
      }
    }
    return entries.finish();
  }

 private:
  static constexpr std::uint32_t oldEntrySize = 16;  // name, flags, offset, size

  struct OldEntry {
    enum class Kind { sample, passedOver, unknown };
    Kind kind = Kind::unknown;
    std::size_t stream = 0;
    std::string name;
    std::uint32_t offset = 0;
    std::uint32_t size = 0;
  };

  OldEntry oldEntry(const AVIWalk::OldIndex& index, std::uint32_t number) {
    token_.throwIfCancelled();
    const std::string_view bytes =
        bytes_.at(index.offset + std::uint64_t{number} * oldEntrySize, oldEntrySize);
    OldEntry entry;
    if (bytes.size() < oldEntrySize) {
      return entry;  // the file has become shorter
    }
    entry.name = bytes.substr(0, 4);
    entry.offset = littleEndian32(bytes, 8);
    entry.size = littleEndian32(bytes, 12);
    const AVIChunkRole role = headers_.roleOf(entry.name);
    entry.stream = role.stream;
    if (role.kind == AVIChunkRole::Kind::sample) {
      entry.kind = OldEntry::Kind::sample;
    } else if (role.kind == AVIChunkRole::Kind::ignored || entry.name == "rec ") {
      entry.kind = OldEntry::Kind::passedOver;
    }
    return entry;
  }

  bool leadsToChunks(const AVIWalk::OldIndex& index, std::uint32_t count, std::uint64_t base) {
    for (std::uint32_t number = 0; number < count; ++number) {
      const OldEntry entry = oldEntry(index, number);
      if (entry.kind == OldEntry::Kind::sample && entry.size > 0 &&
          chunks_.at(base + entry.offset, entry.name.size()) != entry.name) {
        return false;
      }
    }
    return true;
  }

  static constexpr std::size_t indexHeadSize = 24;  // of `indx` and `ix##`, up to the entries

  static constexpr int indexOfIndexes = 0;  // AVI_INDEX_OF_INDEXES
  static constexpr int indexOfChunks = 1;   // AVI_INDEX_OF_CHUNKS

  // The content of an index chunk.
  struct NewIndex {
    std::uint64_t entries = 0;  // their offset
    std::uint32_t count = 0;
    int type = 0;
    std::string chunkName;   // of the chunks that it lists
    std::uint64_t base = 0;  // of the offsets in an index of chunks
  };

  std::optional<NewIndex> newIndex(std::uint64_t offset) {
    const auto head = bytes_.chunkHead(offset);
    const std::string_view bytes = bytes_.at(offset + AVIChunkHead::size, indexHeadSize);
    if (!head || bytes.size() < indexHeadSize || !bytes_.holds(offset, head->dataSize)) {
      return std::nullopt;
    }
    NewIndex index{.entries = offset + AVIChunkHead::size + indexHeadSize,
                   .count = littleEndian32(bytes, 4),
                   .type = bytes[3],
                   .chunkName = std::string(bytes.substr(8, 4)),
                   .base = littleEndian64(bytes, 12)};
    const bool isKnown = bytes[2] == 0 && ((index.type == indexOfIndexes && littleEndian16(bytes, 0) == 4) ||
                                           (index.type == indexOfChunks && littleEndian16(bytes, 0) == 2));
    const std::uint64_t entrySize = index.type == indexOfIndexes ? 16 : 8;
    if (!isKnown || index.count * entrySize + indexHeadSize > head->dataSize) {
      return std::nullopt;
    }
    return index;
  }

  bool addStreamIndex(std::uint64_t offset, std::size_t stream, EntryCollector& entries, std::size_t& count) {
    const auto index = newIndex(offset);
    if (!index) {
      return false;
    }
    if (index->type == indexOfChunks) {
      return addChunks(*index, stream, entries, count);
    }
    for (std::uint32_t number = 0; number < index->count; ++number) {
      limit(++count);
      const std::string_view entry = bytes_.at(index->entries + std::uint64_t{number} * 16, 16);
      if (entry.size() < 16) {
        return false;
      }
      const std::uint64_t place = littleEndian64(entry, 0);
      const auto part = isIndexOf(stream, place) ? newIndex(place) : std::nullopt;
      if (!part || part->type != indexOfChunks || !addChunks(*part, stream, entries, count)) {
        return false;
      }
    }
    return true;
  }

  // Whether a chunk `ix##` or `##ix` of this stream is there.
  bool isIndexOf(std::size_t stream, std::uint64_t offset) {
    const auto head = bytes_.chunkHead(offset);
    return head && indexedStream(head->name()) == stream;
  }

  bool addChunks(const NewIndex& index, std::size_t stream, EntryCollector& entries, std::size_t& count) {
    constexpr std::uint32_t sizeMask = 0x7FFFFFFF;  // the highest bit marks a frame that is no key frame
    const AVIChunkRole role = headers_.roleOf(index.chunkName);
    if (role.kind != AVIChunkRole::Kind::sample || role.stream != stream) {
      return false;
    }
    for (std::uint32_t number = 0; number < index.count; ++number) {
      token_.throwIfCancelled();
      limit(++count);
      const std::string_view entry = bytes_.at(index.entries + std::uint64_t{number} * 8, 8);
      if (entry.size() < 8) {
        return false;
      }
      const std::uint64_t data = index.base + littleEndian32(entry, 0);
      const std::uint32_t size = littleEndian32(entry, 4) & sizeMask;
      if ((size > 0 && data < AVIChunkHead::size) ||
          !entries.add(stream, index.chunkName, data - AVIChunkHead::size, size)) {
        return false;
      }
    }
    return true;
  }

  void limit(std::size_t count) const {
    if (count > AVIReading::maximumChunks) {
      refuseAVI(url_, "its index has too many entries");
    }
  }

  AVIBytes& chunks_;  // two windows, since the index and the chunks are far apart
  AVIBytes& bytes_;
  const AVIHeaders& headers_;
  const FileURL& url_;
  const CancellationToken& token_;
};

}  // namespace

std::optional<std::vector<AVIAccount>> readAVIIndex(AVIBytes& chunkBytes, AVIBytes& indexBytes,
                                                    const AVIHeaders& headers,
                                                    const std::optional<AVIWalk::OldIndex>& oldIndex,
                                                    const FileURL& url, const CancellationToken& token) {
  IndexReader reader(chunkBytes, indexBytes, headers, url, token);
  if (auto accounts = reader.openDML()) {
    return accounts;
  }
  return oldIndex ? reader.old(*oldIndex) : std::nullopt;
}

}  // namespace tolvander
