// Damaged videos: a movie that is made of one shows what players show of it, or none is made.

#include <gtest/gtest.h>
#include <optional>

#include <algorithm>
#include <array>
#include <cstdlib>
#include <filesystem>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include "Samples/CameraClip.h"
#include "Samples/SyntheticPhoto.h"
#include "Tests/Support/Machine/TemporaryFolder.h"
#include "Tests/Support/Media/AVIReaders.h"
#include "Tests/Support/Media/IndexHonouringReader.h"
#include "Tests/Support/Media/QuickTimeTables.h"
#include "TolvanderCore/CharmeraVideoProcessingError.h"
#include "TolvanderCore/NativeCharmeraVideoProcessor.h"

namespace tolvander::tests {

namespace {

std::uint32_t numberAt(std::string_view file, std::size_t at) {
  std::uint32_t value = 0;
  for (std::size_t index = 4; index-- > 0;) {
    value = value << 8U | static_cast<unsigned char>(file.at(at + index));
  }
  return value;
}

void putNumber(std::string& file, std::size_t at, std::uint32_t value) {
  for (std::size_t index = 0; index < 4; ++index) {
    file.at(at + index) = static_cast<char>(value >> 8 * index & 0xFFU);
  }
}

// Where the parts of an undamaged file are.
struct Anatomy {
  explicit Anatomy(std::string_view file) {
    const std::size_t movie = file.find("movi");
    index = file.rfind("idx1");
    for (const std::string_view name : {"RIFF", "LIST", "avih", "strh", "strf", "strd", "ISFT", "JUNK",
                                        "indx", "00dc", "01wb", "02dt", "ix00", "ix01", "idx1"}) {
      for (std::size_t at = file.find(name); at < index; at = file.find(name, at + 1)) {
        headers.push_back(at);
        if (name == "avih") {
          counts.push_back(at + 8 + 16);
        } else if (name == "strh") {
          counts.push_back(at + 8 + 32);
        } else if (at > movie && (name == "00dc" || name == "01wb")) {
          chunks.push_back(at);
        }
      }
    }
    std::ranges::sort(chunks);
    headers.push_back(index);
    for (std::size_t entry = index + 8; entry < index + 8 + numberAt(file, index + 4); entry += 16) {
      entries.push_back(entry);
    }
  }

  std::vector<std::size_t> headers;  // of every chunk and list
  std::vector<std::size_t> chunks;   // headers of the samples' chunks
  std::vector<std::size_t> entries;  // of idx1
  std::vector<std::size_t> counts;   // in the headers
  std::size_t index = 0;
};

// Random numbers that are the same everywhere.
class Random {
 public:
  explicit Random(std::uint64_t seed) : state_(scrambled(seed)) {}

  std::size_t below(std::size_t limit) { return scrambled(state_++) % limit; }
  std::size_t of(const std::vector<std::size_t>& places) { return places[below(places.size())]; }

 private:
  std::uint64_t state_;
};

// A number close to another one, or far from it.
std::uint32_t changed(std::uint32_t value, Random& random) {
  switch (random.below(4)) {
    case 0:
      return value + 1 + static_cast<std::uint32_t>(random.below(16));
    case 1:
      return value - 1 - static_cast<std::uint32_t>(random.below(16));
    case 2:
      return static_cast<std::uint32_t>(random.below(1'000'000));
    default:
      return value ^ 1U << random.below(32);
  }
}

using Mutation = void (*)(std::string& file, const Anatomy& anatomy, Random& random);

void flipByte(std::string& file, const Anatomy&, Random& random) {
  file[random.below(file.size())] ^= static_cast<char>(1 + random.below(255));
}

void flipHeaderByte(std::string& file, const Anatomy& anatomy, Random& random) {
  file.at(random.below(anatomy.chunks.front())) ^= static_cast<char>(1U << random.below(8));
}

void renameChunk(std::string& file, const Anatomy& anatomy, Random& random) {
  file.at(random.of(anatomy.headers) + random.below(4)) ^= static_cast<char>(1U << random.below(8));
}

void changeSize(std::string& file, const Anatomy& anatomy, Random& random) {
  const std::size_t at = random.of(anatomy.headers) + 4;
  putNumber(file, at, changed(numberAt(file, at), random));
}

void changeChunkSize(std::string& file, const Anatomy& anatomy, Random& random) {
  const std::size_t at = random.of(anatomy.chunks) + 4;
  putNumber(file, at, random.below(4) == 0 ? 0 : changed(numberAt(file, at), random));
}

void changeCount(std::string& file, const Anatomy& anatomy, Random& random) {
  const std::size_t at = random.of(anatomy.counts);
  putNumber(file, at, changed(numberAt(file, at), random));
}

void changeEntry(std::string& file, const Anatomy& anatomy, Random& random) {
  const std::size_t at = random.of(anatomy.entries) + 4 * random.below(4);
  putNumber(file, at, random.below(4) == 0 ? 0 : changed(numberAt(file, at), random));
}

void copyEntry(std::string& file, const Anatomy& anatomy, Random& random) {
  const std::string entry = file.substr(random.of(anatomy.entries), 16);
  file.replace(random.of(anatomy.entries), 16, entry);
}

void addEntry(std::string& file, const Anatomy& anatomy, Random& random) {
  const std::string entry = file.substr(random.of(anatomy.entries), 16);
  file.insert(random.of(anatomy.entries), entry);
  putNumber(file, anatomy.index + 4, numberAt(file, anatomy.index + 4) + 16);
}

void removeEntry(std::string& file, const Anatomy& anatomy, Random& random) {
  file.erase(random.of(anatomy.entries), 16);
  putNumber(file, anatomy.index + 4, numberAt(file, anatomy.index + 4) - 16);
}

void removeIndex(std::string& file, const Anatomy& anatomy, Random&) { file.resize(anatomy.index); }

void cutEnd(std::string& file, const Anatomy&, Random& random) {
  file.resize(file.size() - 1 - random.below(file.size() / 2));
}

void removeBlock(std::string& file, const Anatomy&, Random& random) {
  constexpr std::size_t sector = 512;
  file.erase(random.below(file.size() / sector) * sector, sector);
}

void repeatBlock(std::string& file, const Anatomy&, Random& random) {
  constexpr std::size_t sector = 512;
  const std::size_t at = random.below(file.size() / sector) * sector;
  file.insert(at, file.substr(at, sector));
}

void zeroBlock(std::string& file, const Anatomy&, Random& random) {
  constexpr std::size_t sector = 512;
  file.replace(random.below(file.size() / sector) * sector, sector, sector, '\0');
}

void removeChunk(std::string& file, const Anatomy& anatomy, Random& random) {
  const std::size_t chunk = random.below(anatomy.chunks.size() - 1);
  file.erase(anatomy.chunks[chunk], anatomy.chunks[chunk + 1] - anatomy.chunks[chunk]);
}

void repeatChunk(std::string& file, const Anatomy& anatomy, Random& random) {
  const std::size_t chunk = random.below(anatomy.chunks.size() - 1);
  file.insert(anatomy.chunks[chunk],
              file.substr(anatomy.chunks[chunk], anatomy.chunks[chunk + 1] - anatomy.chunks[chunk]));
}

void swapChunks(std::string& file, const Anatomy& anatomy, Random& random) {
  const std::size_t first = random.below(anatomy.chunks.size() - 2);
  const std::size_t begin = anatomy.chunks[first];
  const std::size_t middle = anatomy.chunks[first + 1];
  const std::size_t end = anatomy.chunks[first + 2];
  file.replace(begin, end - begin, file.substr(middle, end - middle) + file.substr(begin, middle - begin));
}

constexpr std::array mutations{flipByte,    flipHeaderByte, renameChunk, changeSize,  changeChunkSize,
                               changeCount, changeEntry,    copyEntry,   addEntry,    removeEntry,
                               removeIndex, cutEnd,         removeBlock, repeatBlock, zeroBlock,
                               removeChunk, repeatChunk,    swapChunks};

// One mutation, or now and then up to three, each where the undamaged file had its parts.
std::string mutated(const std::string& original, std::uint64_t seed) {
  Random random(seed);
  const Anatomy anatomy(original);
  std::string file = original;
  const std::size_t count = random.below(2) == 0 ? 1 : 1 + random.below(3);
  for (std::size_t made = 0; made < count; ++made) {
    const Mutation mutation = mutations[random.below(mutations.size())];
    try {
      mutation(file, anatomy, random);
    } catch (const std::out_of_range&) {
      // An earlier mutation has cut this place off.
    }
  }
  return file;
}

class MutatedAVI : public testing::Test {
 protected:
  std::vector<std::string> originals() const {
    std::vector<std::string> files;
    const auto add = [&](const CameraClip& clip) {
      CameraClip small = clip;
      small.header.width = 16;
      small.header.height = 16;
      small.slots = 10;
      small.missing = {2, 5, 6, 9};
      small.soundRate = 4000;
      small.bufferSize = 2048;
      writeCameraClip(source_, small);
      files.push_back(readFile(source_));
    };
    for (const AVIPacker packer : bothAVIPackers) {
      CameraClip clip{.packer = packer};
      add(clip);
      clip.soundAmidRepeats = true;
      clip.header.indexBase = AVIIndexBase::fileStart;
      add(clip);
      clip.header.dataStreams = {"dats"};
      clip.header.alignment = 4;
      add(clip);
    }
    add({.header = {.chunksPerRIFF = 8}});
    return files;
  }

  // A movie was made, of the same frames, slots and sound as a player shows.
  bool isAccepted(const std::string& file) const {
    writeFile(source_, file);
    std::filesystem::remove(movie_.path());
    try {
      NativeCharmeraVideoProcessor().rewrap(source_, movie_, std::nullopt, {});
    } catch (const CharmeraVideoProcessingError&) {
      return false;
    }
    return true;
  }

  void expectPlayed(const std::string& file) const {
    try {
      comparePlayed(file);
    } catch (const std::exception& error) {
      ADD_FAILURE() << error.what();
    }
  }

  void comparePlayed(const std::string& file) const {
    const auto played = playedAVI(file);
    ASSERT_TRUE(played) << "players can't read the file";
    const std::vector<QuickTimeTrack> tracks = quickTimeTracks(readFile(movie_));
    for (const char* kind : {"vide", "soun"}) {
      std::vector<QuickTimeTrack> made;
      std::ranges::copy_if(tracks, std::back_inserter(made),
                           [&](const QuickTimeTrack& track) { return track.kind == kind; });
      std::vector<PlayedStream> streams;
      std::ranges::copy_if(played->streams, std::back_inserter(streams), [&](const PlayedStream& stream) {
        return stream.type.substr(0, 3) ==
                   std::string_view(kind == std::string_view("vide") ? "vid" : "aud") &&
               (!stream.shown.empty() || !stream.sound.empty());
      });
      ASSERT_EQ(made.size(), streams.size()) << kind;
      for (std::size_t index = 0; index < made.size(); ++index) {
        expectSame(made[index], streams[index]);
      }
    }
  }

  static void expectSame(const QuickTimeTrack& track, const PlayedStream& stream) {
    EXPECT_FALSE(track.isEdited);
    if (track.kind == "vide") {
      EXPECT_TRUE(track.shown(stream.rate, stream.scale) == stream.shown) << "other frames";
    } else {
      // A sample that the end cuts off is left out.
      EXPECT_TRUE(stream.sound.starts_with(track.bytes)) << "other sound";
      EXPECT_LT(stream.sound.size() - track.bytes.size(), track.sizes.front());
    }
  }

  TemporaryFolder folder_ = TemporaryFolder::inMemory();
  FileURL source_ = folder_ / "mutated.avi";
  FileURL movie_ = folder_ / "movie.mov";
};

// TOLVANDER_AVI_MUTANTS=100000 tries more.
std::size_t mutantCount() {
  const char* const given = std::getenv("TOLVANDER_AVI_MUTANTS");
  return given == nullptr ? 1000 : std::stoul(given);
}

TEST_F(MutatedAVI, becomesAMovieOfWhatPlayersShowOrNone) {
  const std::vector<std::string> files = originals();
  std::size_t accepted = 0;
  const std::size_t count = mutantCount();
  for (std::size_t mutant = 0; mutant < count; ++mutant) {
    const std::string file = mutated(files[mutant % files.size()], mutant);
    if (isAccepted(file)) {
      ++accepted;
      SCOPED_TRACE("mutant " + std::to_string(mutant));
      expectPlayed(file);
    }
  }
  RecordProperty("accepted", std::to_string(accepted));
  // Else the test would judge nothing.
  EXPECT_GT(accepted, count / 10);
  EXPECT_LT(accepted, count);
}

// Feed and proof need not refuse the same files, since one refusal is enough. What both read, they read
// alike.
TEST_F(MutatedAVI, isReadAlikeByFeedAndProof) {
  const std::vector<std::string> files = originals();
  std::size_t readByBoth = 0;
  for (std::size_t mutant = 0; mutant < mutantCount(); ++mutant) {
    writeFile(source_, mutated(files[mutant % files.size()], mutant));
    const auto fed = seenByMovie(source_);
    const auto proven = seenByAVIReading(source_);
    if (fed && proven) {
      ++readByBoth;
      EXPECT_TRUE(*fed == *proven) << "mutant " << mutant;
    }
  }
  EXPECT_GT(readByBoth, mutantCount() / 10);
}

TEST_F(MutatedAVI, isMadeOfFilesThatAreAccepted) {
  for (const std::string& file : originals()) {
    ASSERT_TRUE(isAccepted(file));
    expectPlayed(file);
  }
}

}  // namespace

}  // namespace tolvander::tests
