// What is done with a file whose structures contradict each other: Documentation/avi.md, "Which reading is
// taken", for every combination of them.

#include <gtest/gtest.h>

#include <array>
#include <cstddef>
#include <filesystem>
#include <functional>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

#include "Samples/AVIWriter.h"
#include "Samples/JPEGFrame.h"
#include "Tests/Support/Machine/TemporaryFolder.h"
#include "Tests/Support/Media/AVIReaders.h"
#include "Tests/Support/Media/IndexHonouringReader.h"
#include "Tests/Support/Media/QuickTimeTables.h"
#include "TolvanderCore/CharmeraVideoProcessingError.h"
#include "TolvanderCore/NativeCharmeraVideoProcessor.h"

namespace tolvander::tests {

namespace {

enum class Walk { whole, cut, lost };

enum class Index {
  whole,
  repeats,       // the walk's chunks, and two more entries that repeat frames
  withoutEmpty,  // the walk's chunks without two empty ones
  half,          // the first half of the walk's chunks
  halfRepeats,   // the same, and two entries that repeat frames
  shortSizes,    // the walk's places; the index cuts each frame off
  trueSizes,     // the walk's places; the chunk headers count bytes behind each frame, which are no zeros
  paddedSizes,   // the walk's places; the chunk headers count zeros behind each frame
  otherSizes,    // the walk's places; the frames are whole in neither
  hiddenChunk,   // one more chunk, within one that the walk steps over
  none,
  garbage,  // entries that lead to no chunk
};

enum class Header {
  walks,    // the walk's count
  indexes,  // the index's count
  zero,
  low,
  high,
};

enum class Pictures { whole, cut };

// What is shown in the end.
enum class Reading { walk, index, refused };

struct Combination {
  Walk walk;
  Index index;
  Header header;
  Pictures pictures;
};

constexpr std::array allWalks{Walk::whole, Walk::cut, Walk::lost};
constexpr std::array allIndexes{Index::whole,       Index::repeats,     Index::withoutEmpty,
                                Index::half,        Index::halfRepeats, Index::shortSizes,
                                Index::trueSizes,   Index::paddedSizes, Index::otherSizes,
                                Index::hiddenChunk, Index::none,        Index::garbage};
constexpr std::array allHeaders{Header::walks, Header::indexes, Header::zero, Header::low, Header::high};
constexpr std::array allPictures{Pictures::whole, Pictures::cut};

std::vector<Combination> allCombinations() {
  std::vector<Combination> combinations;
  for (const Walk walk : allWalks) {
    for (const Index index : allIndexes) {
      for (const Header header : allHeaders) {
        for (const Pictures pictures : allPictures) {
          combinations.push_back({walk, index, header, pictures});
        }
      }
    }
  }
  return combinations;
}

std::string nameOf(const Combination& combination) {
  constexpr std::array walks{"walkWhole", "walkCut", "walkLost"};
  constexpr std::array indexes{"indexWhole",       "indexRepeats",     "indexWithoutEmpty",
                               "indexHalf",        "indexHalfRepeats", "indexShortSizes",
                               "indexTrueSizes",   "indexPaddedSizes", "indexOtherSizes",
                               "indexHiddenChunk", "indexNone",        "indexGarbage"};
  constexpr std::array headers{"headerOfWalk", "headerOfIndex", "headerZero", "headerLow", "headerHigh"};
  constexpr std::array pictures{"picturesWhole", "picturesCut"};
  const auto at = [](const auto& names, auto value) {
    return std::string(names[static_cast<std::size_t>(value)]);
  };
  return at(walks, combination.walk) + "_" + at(indexes, combination.index) + "_" +
         at(headers, combination.header) + "_" + at(pictures, combination.pictures);
}

constexpr unsigned frames = 8;
constexpr unsigned cutFrame = 1;     // within the first half, so that each index names it
constexpr unsigned specialSlot = 5;  // where repeats, empty chunks and strange bytes stand
constexpr unsigned extraSlots = 2;

bool isEmptyIndex(Index index) { return index == Index::none || index == Index::garbage; }

unsigned countOfWalk(Index index) { return frames + (index == Index::withoutEmpty ? extraSlots : 0); }

unsigned countOfIndex(Index index) {
  switch (index) {
    case Index::repeats:
      return frames + extraSlots;
    case Index::half:
      return frames / 2;
    case Index::halfRepeats:
      return frames / 2 + extraSlots;
    case Index::hiddenChunk:
      return frames + 1;
    default:
      return frames;
  }
}

std::uint32_t claimOf(const Combination& combination) {
  switch (combination.header) {
    case Header::walks:
      return countOfWalk(combination.index);
    case Header::indexes:
      return countOfIndex(combination.index);
    case Header::zero:
      return 0;
    case Header::low:
      return 1;
    case Header::high:
      return 1000;
  }
  throw std::runtime_error("no such header");
}

struct Decision {
  Reading reading;
  const char* why;
};

// The table, row by row: the first that applies.
Decision decisionFor(const Combination& c) {
  const std::uint32_t claim = claimOf(c);
  const bool saysWalk = claim == countOfWalk(c.index);
  const bool saysIndex = claim == countOfIndex(c.index) && !isEmptyIndex(c.index);
  const bool isBroken = !saysWalk && !saysIndex;
  if (c.walk == Walk::lost) {
    if (isEmptyIndex(c.index)) {
      return {Reading::refused, "nothing leads to the chunks"};
    }
    const bool areWhole =
        c.pictures == Pictures::whole && c.index != Index::shortSizes && c.index != Index::otherSizes;
    if (saysIndex && areWhole) {
      return {Reading::index, "the index leads to whole pictures, as many as the header says"};
    }
    return {Reading::refused, "nothing supports the index"};
  }
  switch (c.index) {
    case Index::none:
    case Index::garbage:
      if (saysWalk) {
        return {Reading::walk, "the header says that the walk has found all"};
      }
      if (c.walk == Walk::whole && claim < countOfWalk(c.index) && c.pictures == Pictures::whole) {
        return {Reading::walk, "the header was never brought up to date"};
      }
      return {Reading::refused, "frames or repeats may be missing"};
    case Index::whole:
      return {Reading::walk, "walk and index agree"};
    case Index::repeats:
      if (saysIndex || isBroken) {
        return {Reading::index, "the walk can't see repeats"};
      }
      return {Reading::refused, "two readings"};
    case Index::withoutEmpty:
      if (saysWalk || isBroken) {
        return {Reading::walk, "empty chunks are not in the index"};
      }
      return {Reading::refused, "two readings"};
    case Index::half:
      if (c.walk == Walk::whole && (saysWalk || isBroken)) {
        return {Reading::walk, "half an index"};
      }
      return {Reading::refused, "chunks may be missing, or the index is meant"};
    case Index::halfRepeats:
      return {Reading::refused, "half an index, with repeats that the walk can't see"};
    case Index::shortSizes:
      if (c.pictures == Pictures::whole) {
        return {Reading::walk, "only the walk's frames are whole pictures"};
      }
      return {Reading::refused, "no size gives whole pictures"};
    case Index::trueSizes:
    case Index::paddedSizes:
      if (c.pictures == Pictures::whole) {
        return {Reading::index, "the index's frames are whole pictures"};
      }
      return {Reading::refused, "no size gives whole pictures"};
    case Index::otherSizes:
      return {Reading::refused, "no size gives whole pictures"};
    case Index::hiddenChunk:
      return {Reading::refused, "the index names a chunk that the walk can't see"};
  }
  throw std::runtime_error("no such index");
}

// A file of such a combination, with what the walk and the index show of it.
class ContradictoryFile {
 public:
  ContradictoryFile(const FileURL& url, const Combination& combination)
      : combination_(combination), writer_(url, header()) {
    for (unsigned slot = 0; slot < frames; ++slot) {
      if (slot == specialSlot && combination.walk == Walk::lost) {
        writer_.raw("\xF1\xF2\xF3\xF4\xF5\xF6\xF7\xF8\xF9\xFA\xFB\xFC");
      }
      if (slot == specialSlot && combination.index == Index::hiddenChunk) {
        putHiddenChunk();
      }
      putFrame(slot);
      if (slot == frames / 2 - 1 && combination.index == Index::halfRepeats) {
        repeat();
      }
      if (slot == specialSlot) {
        putSpecialSlots();
      }
      const std::string sound(40, static_cast<char>('a' + slot));
      writer_.audio(sound);
      sound_ += sound;
      if (isInIndex(slot)) {
        indexedSound_ += sound;
      }
    }
    writer_.finish();
  }

  // The frame of each slot.
  const std::vector<std::string>& shown(Reading reading) const {
    return reading == Reading::walk ? walked_ : indexed_;
  }
  const std::string& sound(Reading reading) const {
    return reading == Reading::walk ? sound_ : indexedSound_;
  }

 private:
  AVIHeader header() {
    AVIHeader header{.width = 16, .height = 16, .audio = {AVIAudioFormat::pcm16()}};
    header.claimedFrames = claimOf(combination_);
    if (combination_.walk == Walk::cut) {
      header.claimedMovieSize = 0x01000000;
    }
    if (combination_.index == Index::none) {
      header.index = AVIIndex::none;
    }
    header.changeIndex = [this](std::vector<AVIIndexEntry>& entries) { changeIndex(entries); };
    return header;
  }

  bool isInIndex(unsigned slot) const {
    return (combination_.index != Index::half && combination_.index != Index::halfRepeats) ||
           slot < frames / 2;
  }

  void putFrame(unsigned slot) {
    const std::string picture = jpegFrame(16, 16, slot + 1);
    std::string frame = picture;
    if (slot == cutFrame && combination_.pictures == Pictures::cut) {
      frame.resize(frame.size() - 2);
    }
    std::string inChunk = frame;
    std::string inIndex = frame;
    switch (combination_.index) {
      case Index::shortSizes:
        inIndex.resize(inIndex.size() - 4);
        break;
      case Index::trueSizes:
        inChunk += "rest";
        break;
      case Index::paddedSizes:
        inChunk += std::string(4, '\0');
        break;
      case Index::otherSizes:
        inChunk += "rest";
        inIndex.resize(inIndex.size() - 4);
        break;
      default:
        break;
    }
    writer_.video(inChunk);
    walked_.push_back(inChunk);
    if (isInIndex(slot)) {
      indexed_.push_back(inIndex);
      removedInIndex_ = static_cast<std::uint32_t>(inChunk.size() - inIndex.size());
    }
  }

  void repeat() {
    for (unsigned slot = 0; slot < extraSlots; ++slot) {
      writer_.repeatByIndex();
      indexed_.push_back(std::string(indexed_.back()));
    }
  }

  void putSpecialSlots() {
    if (combination_.index == Index::repeats) {
      repeat();
    } else if (combination_.index == Index::withoutEmpty) {
      for (unsigned slot = 0; slot < extraSlots; ++slot) {
        writer_.video("");
        walked_.push_back(std::string(walked_.back()));
      }
    }
  }

  void putHiddenChunk() {
    const std::string frame = jpegFrame(16, 16, 99);
    const auto little32 = [](std::size_t value) {
      return std::string{static_cast<char>(value & 0xFFU), static_cast<char>(value >> 8U), '\0', '\0'};
    };
    hidden_ = {"00dc", writer_.position() + 8, static_cast<std::uint32_t>(frame.size())};
    const std::string padded = frame + std::string(frame.size() % 2, '\0');
    writer_.raw("hide" + little32(padded.size() + 8) + "00dc" + little32(frame.size()) + padded);
    indexed_.push_back(frame);
  }

  void changeIndex(std::vector<AVIIndexEntry>& entries) const {
    switch (combination_.index) {
      case Index::withoutEmpty:
        std::erase_if(entries, [](const AVIIndexEntry& entry) { return entry.size == 0; });
        break;
      case Index::half:
        entries.resize(frames);
        break;
      case Index::halfRepeats:
        entries.resize(frames + extraSlots);
        break;
      case Index::garbage:
        for (AVIIndexEntry& entry : entries) {
          entry.offset += 6;
        }
        break;
      case Index::hiddenChunk:
        entries.insert(entries.begin() + std::size_t{2} * specialSlot, hidden_);
        break;
      default:
        for (AVIIndexEntry& entry : entries) {
          entry.size -= entry.chunk == "00dc" ? removedInIndex_ : 0;
        }
    }
  }

  Combination combination_;
  std::vector<std::string> walked_;
  std::vector<std::string> indexed_;
  std::string sound_;
  std::string indexedSound_;
  std::uint32_t removedInIndex_ = 0;
  AVIIndexEntry hidden_;
  AVIWriter writer_;
};

class AVIReadingTable : public testing::TestWithParam<Combination> {
 protected:
  void expectRefused() const {
    try {
      NativeCharmeraVideoProcessor().rewrap(source_, destination_, std::nullopt, {});
      ADD_FAILURE() << "accepted";
    } catch (const CharmeraVideoProcessingError& error) {
      EXPECT_EQ(error.kind(), CharmeraVideoProcessingError::Case::invalidVideo);
    }
  }

  void expectExported(const std::vector<std::string>& shown, const std::string& sound) const {
    NativeCharmeraVideoProcessor().rewrap(source_, destination_, std::nullopt, {});
    const std::vector<QuickTimeTrack> tracks = quickTimeTracks(readFile(destination_));
    ASSERT_EQ(tracks.size(), 2U);
    EXPECT_TRUE(tracks[0].shown(30) == shown);
    EXPECT_TRUE(tracks[1].bytes == sound);
  }

  TemporaryFolder folder_ = TemporaryFolder::inMemory();
  FileURL source_ = folder_ / "source.avi";
  FileURL destination_ = folder_ / "movie.mov";
};

std::optional<SeenAVI> expected(const ContradictoryFile& file, Reading reading) {
  if (reading == Reading::refused) {
    return std::nullopt;
  }
  return SeenAVI{{file.shown(reading)}, {file.sound(reading)}};
}

TEST_P(AVIReadingTable, isFollowedByTheProof) {
  const ContradictoryFile file(source_, GetParam());
  const Decision decision = decisionFor(GetParam());
  EXPECT_TRUE(seenByAVIReading(source_) == expected(file, decision.reading)) << decision.why;
}

TEST_P(AVIReadingTable, isFollowedByTheFeed) {
  const ContradictoryFile file(source_, GetParam());
  const Decision decision = decisionFor(GetParam());
  EXPECT_TRUE(seenByMovie(source_) == expected(file, decision.reading)) << decision.why;
}

TEST_P(AVIReadingTable, isFollowedByTheExport) {
  const ContradictoryFile file(source_, GetParam());
  const Decision decision = decisionFor(GetParam());
  SCOPED_TRACE(decision.why);
  if (decision.reading == Reading::refused) {
    expectRefused();
    return;
  }
  const auto played = playedAVI(readFile(source_));
  ASSERT_TRUE(played);
  EXPECT_TRUE(played->streams.at(0).shown == file.shown(decision.reading));
  expectExported(file.shown(decision.reading), file.sound(decision.reading));
}

// What the table asks for beside its columns.
class AVIReadingRules : public testing::Test {
 protected:
  void expectRefused() const {
    EXPECT_FALSE(seenByMovie(source_)) << "by the feed";
    EXPECT_FALSE(seenByAVIReading(source_)) << "by the proof";
  }

  void expectSlots(std::size_t slots) const {
    for (const auto& seen : {seenByMovie(source_), seenByAVIReading(source_)}) {
      ASSERT_TRUE(seen);
      EXPECT_EQ(seen->video.at(0).size(), slots);
    }
  }

  void write(const AVIHeader& header, const std::function<void(AVIWriter&)>& putChunks) const {
    AVIWriter writer(source_, header);
    putChunks(writer);
    writer.finish();
  }

  static void putFrames(AVIWriter& writer, unsigned count) {
    for (unsigned frame = 0; frame < count; ++frame) {
      writer.video(jpegFrame(16, 16, frame + 1));
    }
  }

  // Behind it no chunk can be walked to.
  static void losePath(AVIWriter& writer) { writer.raw("\xF1\xF2\xF3\xF4\xF5\xF6\xF7\xF8"); }

  TemporaryFolder folder_ = TemporaryFolder::inMemory();
  FileURL source_ = folder_ / "source.avi";
  const AVIHeader silent_{.width = 16, .height = 16};
};

TEST_F(AVIReadingRules, refuseHalfAnIndexOfASilentVideoThatIsCut) {
  AVIHeader header = silent_;
  header.index = AVIIndex::half;
  write(header, [](AVIWriter& writer) { putFrames(writer, 8); });
  expectSlots(8);
  header.claimedMovieSize = 0x01000000;
  write(header, [](AVIWriter& writer) { putFrames(writer, 8); });
  expectRefused();
}

// As many slots by the walk, which has an empty chunk, as by the index, which repeats another frame.
TEST_F(AVIReadingRules, refuseEqualCountsOfSlotsAtOtherFrames) {
  AVIHeader header = silent_;
  header.changeIndex = [](std::vector<AVIIndexEntry>& entries) {
    std::erase_if(entries, [](const AVIIndexEntry& entry) { return entry.size == 0; });
  };
  header.claimedFrames = 6;
  write(header, [](AVIWriter& writer) {
    putFrames(writer, 2);
    writer.video("");
    putFrames(writer, 3);
    writer.repeatByIndex();
  });
  expectRefused();
}

TEST_F(AVIReadingRules, takeTheMoviesCountWhereTheStreamsIsNoneInQuestion) {
  AVIHeader header = silent_;
  header.claimedFrames = 99;
  header.claimedTotalFrames = 7;
  const auto putRepeats = [](AVIWriter& writer) {
    putFrames(writer, 5);
    writer.repeatByIndex();
    writer.repeatByIndex();
  };
  write(header, putRepeats);
  expectSlots(7);
  header.claimedTotalFrames = 5;
  write(header, putRepeats);
  expectRefused();
  header.extendedFrames = 7;
  write(header, putRepeats);
  expectSlots(7);
}

TEST_F(AVIReadingRules, refuseSoundOfOtherSizesWhereTheWalkIsLost) {
  AVIHeader header = silent_;
  header.audio = {AVIAudioFormat::pcm16()};
  const auto putChunks = [](AVIWriter& writer) {
    putFrames(writer, 1);
    losePath(writer);
    writer.audio(std::string(40, 'a'));
    putFrames(writer, 1);
  };
  write(header, putChunks);
  expectSlots(2);
  header.changeIndex = [](std::vector<AVIIndexEntry>& entries) { entries.at(1).size -= 4; };
  write(header, putChunks);
  expectRefused();
}

TEST_F(AVIReadingRules, refuseSoundThatTheIndexLeavesOutWhereTheWalkIsLost) {
  AVIHeader header = silent_;
  header.audio = {AVIAudioFormat::pcm16()};
  const auto putChunks = [](AVIWriter& writer) {
    for (const char sample : {'a', 'b', 'c'}) {
      writer.videoClaiming(0x00FFFFFF, jpegFrame(16, 16, static_cast<unsigned char>(sample)));
      writer.audio(std::string(40, sample));
    }
  };
  write(header, putChunks);
  expectSlots(3);
  for (const std::ptrdiff_t sound : {1, 3, 5}) {
    header.changeIndex = [sound](std::vector<AVIIndexEntry>& entries) {
      entries.erase(entries.begin() + sound);
    };
    write(header, putChunks);
    expectRefused();
  }
}

TEST_F(AVIReadingRules, refuseEncodingsWithoutRecognisablePicturesWhereTheWalkIsLost) {
  AVIHeader header = silent_;
  const auto putChunks = [](AVIWriter& writer) {
    putFrames(writer, 1);
    losePath(writer);
    putFrames(writer, 1);
  };
  write(header, putChunks);
  expectSlots(2);
  header.videoCodec = "XVID";
  write(header, putChunks);
  expectRefused();
}

INSTANTIATE_TEST_SUITE_P(ForEveryCombination, AVIReadingTable, testing::ValuesIn(allCombinations()),
                         [](const auto& combination) { return nameOf(combination.param); });

}  // namespace

}  // namespace tolvander::tests
