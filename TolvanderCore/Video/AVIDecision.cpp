#include "TolvanderCore/Video/AVIDecision.h"

#include <algorithm>
#include <array>
#include <limits>
#include <optional>
#include <span>
#include <string_view>
#include <utility>

namespace tolvander {

namespace {

enum class Source { walk, index };

// How the chunks of the index are related to those of the walk.
struct Comparison {
  enum class Relation {
    same,
    someOfWalk,  // with the same sizes
    otherSizes,  // the same places
    other,
  };
  Relation relation = Relation::other;

  // For the chunks that both have: whether the index, or the walk, shows none of them longer than the other
  // does.
  bool indexIsNeverLonger = true;
  bool walkIsNeverLonger = true;
};

Comparison compare(const AVIAccount& walk, const AVIAccount& index) {
  using Relation = Comparison::Relation;
  Comparison comparison;
  std::size_t found = 0;
  bool sizesAgree = true;
  auto walked = walk.chunks.begin();
  for (const AVIChunk& chunk : index.chunks) {
    while (walked != walk.chunks.end() && walked->offset < chunk.offset) {
      ++walked;
    }
    if (walked == walk.chunks.end() || walked->offset != chunk.offset) {
      return comparison;
    }
    ++found;
    sizesAgree = sizesAgree && walked->size == chunk.size;
    comparison.indexIsNeverLonger = comparison.indexIsNeverLonger && chunk.slots <= walked->slots;
    comparison.walkIsNeverLonger = comparison.walkIsNeverLonger && walked->slots <= chunk.slots;
  }
  if (found == walk.chunks.size()) {
    comparison.relation = sizesAgree ? Relation::same : Relation::otherSizes;
  } else if (sizesAgree) {
    comparison.relation = Relation::someOfWalk;
  }
  return comparison;
}

// The numbers of frames that the headers have for one video stream.
class HeaderCounts {
 public:
  HeaderCounts(std::uint32_t length, std::optional<std::uint32_t> totalFrames)
      : length_(length), totalFrames_(totalFrames) {}

  // Whether the headers have `slots`, which is one of the counts in question.
  bool say(std::uint32_t slots, std::span<const std::uint32_t> inQuestion) const {
    const bool lengthIsInQuestion = std::ranges::find(inQuestion, length_) != inQuestion.end();
    return length_ == slots || (!lengthIsInQuestion && totalFrames_ == slots);
  }

  bool sayOnly(std::uint32_t slots) const { return say(slots, {&slots, 1}); }

  // Whether the headers have the first of two counts, or neither of them.
  bool allow(std::uint32_t slots, std::uint32_t other) const {
    const std::array<std::uint32_t, 2> inQuestion = {slots, other};
    return say(slots, inQuestion) || !say(other, inQuestion);
  }

  bool areAllLessThan(std::uint32_t slots) const {
    return length_ < slots && (!totalFrames_ || *totalFrames_ < slots);
  }

 private:
  std::uint32_t length_;
  std::optional<std::uint32_t> totalFrames_;
};

class Judge {
 public:
  Judge(AVIBytes& bytes, const AVIHeaders& headers, AVIWalk& walk,
        std::optional<std::vector<AVIAccount>>& index, const FileURL& url, const CancellationToken& token)
      : bytes_(bytes), headers_(headers), walk_(walk), index_(index), url_(url), token_(token) {}

  std::vector<AVIAccount> decide() {
    std::vector<std::optional<Source>> sources(headers_.streams.size());
    std::optional<std::uint32_t> totalFrames = headers_.totalFrames;
    // Sound is decided after video, because it can only be right if the pictures are.
    for (std::size_t stream = 0; stream < sources.size(); ++stream) {
      if (headers_.streams[stream].kind == AVIStream::Kind::video) {
        sources[stream] = video(stream, totalFrames);
        totalFrames.reset();  // they count the frames of the first video stream only
      }
    }
    for (std::size_t stream = 0; stream < sources.size(); ++stream) {
      if (headers_.streams[stream].kind == AVIStream::Kind::sound) {
        sources[stream] = sound(stream);
      }
    }
    return take(sources);
  }

 private:
  using State = AVIWalk::State;
  using Relation = Comparison::Relation;

  void require(bool holds, std::string_view otherwise) const {
    if (!holds) {
      refuseAVI(url_, otherwise);
    }
  }

  // Moves the accounts, so it must be called after all decisions.
  std::vector<AVIAccount> take(const std::vector<std::optional<Source>>& sources) {
    std::vector<AVIAccount> accounts(sources.size());
    for (std::size_t stream = 0; stream < sources.size(); ++stream) {
      if (sources[stream]) {
        accounts[stream] =
            std::move(sources[stream] == Source::walk ? walk_.streams[stream] : (*index_)[stream]);
      }
    }
    return accounts;
  }

  Source video(std::size_t stream, std::optional<std::uint32_t> totalFrames) {
    const HeaderCounts counts(headers_.streams[stream].length, totalFrames);
    if (walk_.state == State::lost) {
      return videoOfLostWalk(stream, counts);
    }
    return index_ ? videoOfBoth(stream, counts) : videoWithoutIndex(stream, counts);
  }

  Source videoOfLostWalk(std::size_t stream, const HeaderCounts& counts) {
    require(index_.has_value(), "its chunks are damaged and it has no usable index");
    const AVIAccount& index = (*index_)[stream];
    require(counts.sayOnly(index.slots), "the index and the header count different numbers of frames");
    require(arePictures(stream, index), "the index doesn't lead to whole pictures");
    return Source::index;
  }

  Source videoWithoutIndex(std::size_t stream, const HeaderCounts& counts) {
    const AVIAccount& walk = walk_.streams[stream];
    // A header with fewer frames than the file has was written before the last frames.
    require(counts.sayOnly(walk.slots) || (walk_.state == State::whole && counts.areAllLessThan(walk.slots) &&
                                           arePictures(stream, walk)),
            "frames may be missing, and it has no usable index");
    return Source::walk;
  }

  Source videoOfBoth(std::size_t stream, const HeaderCounts& counts) {
    const AVIAccount& walk = walk_.streams[stream];
    const AVIAccount& index = (*index_)[stream];
    const Comparison comparison = compare(walk, index);
    switch (comparison.relation) {
      case Relation::same:
        return videoOfSameChunks(comparison, walk.slots, index.slots, counts);
      case Relation::someOfWalk:
        require(walk_.state == State::whole && index.repeats == 0 && comparison.indexIsNeverLonger &&
                    counts.allow(walk.slots, index.slots),
                "the index has fewer frames than the file");
        return Source::walk;
      case Relation::otherSizes:
        require(comparison.indexIsNeverLonger && comparison.walkIsNeverLonger,
                "the index and the chunks have frames of other sizes");
        if (arePictures(stream, index)) {
          return Source::index;
        }
        require(arePictures(stream, walk), "the index and the chunks have frames of other sizes");
        return Source::walk;
      case Relation::other:
        break;
    }
    refuseAVI(url_, "the index has other frames than the file");
  }

  // Repeats are in the index only. Some writers leave chunks without data out of the index.
  Source videoOfSameChunks(const Comparison& comparison, std::uint32_t walk, std::uint32_t index,
                           const HeaderCounts& counts) const {
    constexpr std::string_view reason = "the index and the chunks show frames for different times";
    if (walk <= index) {
      require(comparison.walkIsNeverLonger && (walk == index || counts.allow(index, walk)), reason);
      return Source::index;
    }
    require(comparison.indexIsNeverLonger && counts.allow(walk, index), reason);
    return Source::walk;
  }

  Source sound(std::size_t stream) {
    if (walk_.state == State::lost) {
      require(index_.has_value(), "its chunks are damaged and it has no usable index");
      require(!(*index_)[stream].chunks.empty(), "its chunks are damaged and its index has no sound");
      require(haveTheirSizes((*index_)[stream]), "the index and the chunks have sound of other sizes");
      require(!hasSoundBehind((*index_)), "there is sound that is not in the index");
      return Source::index;
    }
    bool isConfirmed = false;
    if (index_) {
      const Relation relation = compare(walk_.streams[stream], (*index_)[stream]).relation;
      require(relation == Relation::same || (relation == Relation::someOfWalk && walk_.state == State::whole),
              "the index has other sound than the file");
      isConfirmed = relation == Relation::same;
    }
    const bool mayBeIncomplete = walk_.state == State::cut || walk_.hasUnknownChunks;
    require(isConfirmed || !mayBeIncomplete || !headerHasMoreSound(stream),
            "the header counts more sound than there is");
    return Source::walk;
  }

  bool arePictures(std::size_t stream, const AVIAccount& account) {
    return headers_.streams[stream].video.isMotionJPEG &&
           std::ranges::all_of(account.chunks, [&](const AVIChunk& chunk) {
             token_.throwIfCancelled();
             return bytes_.isWholePicture(chunk.offset, chunk.size);
           });
  }

  // Whether the header has more sound, by more than one unit.
  bool headerHasMoreSound(std::size_t stream) const {
    const AVISoundFormat& format = headers_.streams[stream].sound;
    std::uint64_t bytes = 0;
    for (const AVIChunk& chunk : walk_.streams[stream].chunks) {
      bytes += chunk.size;
    }
    const std::uint64_t units = bytes / format.unitBytes + 1;
    return headers_.streams[stream].soundSeconds >
           static_cast<double>(units * format.samplesPerUnit) / format.sampleRate;
  }

  // Whether there are chunks of sound between those of the index that are not in the index.
  bool hasSoundBehind(const std::vector<AVIAccount>& accounts) {
    return std::ranges::any_of(accounts, [&](const AVIAccount& account) {
      return std::ranges::any_of(account.chunks, [&](const AVIChunk& chunk) {
        token_.throwIfCancelled();
        return isFollowedBySound(chunk, nextChunk(accounts, chunk.offset));
      });
    });
  }

  // The first chunk after an offset, of any stream.
  static std::uint64_t nextChunk(const std::vector<AVIAccount>& accounts, std::uint64_t offset) {
    std::uint64_t next = std::numeric_limits<std::uint64_t>::max();
    for (const AVIAccount& account : accounts) {
      const auto found = std::ranges::upper_bound(account.chunks, offset, {}, &AVIChunk::offset);
      if (found != account.chunks.end()) {
        next = std::min(next, found->offset);
      }
    }
    return next;
  }

  // Reads up to the data of the next chunk. Between them there may be padding, and chunks without data whose
  // headers have a size.
  bool isFollowedBySound(const AVIChunk& chunk, std::uint64_t next) {
    std::uint64_t offset = bytes_.behind(chunk.offset, chunk.size);
    while (true) {
      offset = bytes_.skipZeros(offset);
      const auto head = bytes_.chunkHead(offset);
      if (!head || offset + AVIChunkHead::size >= next) {
        return false;
      }
      const AVIChunkRole role = headers_.roleOf(head->name());
      const bool isSample = role.kind == AVIChunkRole::Kind::sample;
      if (isSample && headers_.streams[role.stream].kind == AVIStream::Kind::sound) {
        return head->dataSize > 0;
      }
      if (!isSample && (head->name() != "JUNK" || !bytes_.holds(offset, head->dataSize))) {
        return false;
      }
      offset += AVIChunkHead::size;
      if (!isSample) {
        offset = bytes_.behind(offset, head->dataSize);
      }
    }
  }

  bool haveTheirSizes(const AVIAccount& account) {
    return std::ranges::all_of(account.chunks, [&](const AVIChunk& chunk) {
      token_.throwIfCancelled();
      const auto head = bytes_.chunkHead(chunk.offset - AVIChunkHead::size);
      return head && head->dataSize == chunk.size;
    });
  }

  AVIBytes& bytes_;
  const AVIHeaders& headers_;
  AVIWalk& walk_;
  std::optional<std::vector<AVIAccount>>& index_;
  const FileURL& url_;
  const CancellationToken& token_;
};

}  // namespace

std::vector<AVIAccount> decideAVI(AVIBytes& bytes, const AVIHeaders& headers, AVIWalk& walk,
                                  std::optional<std::vector<AVIAccount>>& index, const FileURL& url,
                                  const CancellationToken& token) {
  return Judge(bytes, headers, walk, index, url, token).decide();
}

}  // namespace tolvander
