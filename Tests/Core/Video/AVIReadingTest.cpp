#include "TolvanderCore/Video/AVIReading.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <functional>
#include <limits>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "Samples/TestClip.h"
#include "Tests/Support/Machine/TemporaryFolder.h"
#include "TolvanderCore/Platform/Movie.h"

namespace tolvander::tests {

namespace {

using Texts = std::vector<std::string>;
using Slots = std::vector<std::uint32_t>;

std::string little(std::uint64_t value, unsigned count) {
  std::string bytes;
  for (unsigned index = 0; index < count; ++index) {
    bytes += static_cast<char>(value >> 8 * index & 0xFFU);
  }
  return bytes;
}

std::string little16(std::uint64_t value) { return little(value, 2); }
std::string little32(std::uint64_t value) { return little(value, 4); }

std::string chunk(std::string_view name, std::string_view data) {
  return std::string(name) + little32(data.size()) + std::string(data) + std::string(data.size() % 2, '\0');
}

std::string list(std::string_view type, std::string_view data) {
  return chunk("LIST", std::string(type) + std::string(data));
}

std::string repeated(std::string_view bytes, std::size_t count) {
  std::string all;
  all.reserve(bytes.size() * count);
  for (std::size_t index = 0; index < count; ++index) {
    all += bytes;
  }
  return all;
}

std::string picture(std::string_view content) { return "\xFF\xD8" + std::string(content) + "\xFF\xD9"; }

struct PCM {
  std::uint32_t tag = 1;
  std::uint32_t channels = 1;
  std::uint32_t rate = 8000;
  std::uint32_t bytesPerSecond = 16000;
  std::uint32_t blockAlign = 2;
  std::uint32_t bits = 16;
};

struct Stream {
  std::string type = "vids";
  std::string handler = "MJPG";
  std::string compression = "MJPG";
  std::uint32_t scale = 1;
  std::uint32_t rate = 30;
  PCM sound = {};
  std::optional<std::uint32_t> length = {};  // absent: its slots by the index, or by the chunks without one
  std::string further = {};                  // chunks behind strf

  std::string format() const {
    if (type == "vids") {
      return little32(40) + little32(64) + little32(48) + little16(1) + little16(24) + compression +
             std::string(20, '\0');
    }
    return little16(sound.tag) + little16(sound.channels) + little32(sound.rate) +
           little32(sound.bytesPerSecond) + little16(sound.blockAlign) + little16(sound.bits);
  }

  std::string list(std::uint32_t counted) const {
    const std::string header = type + handler + std::string(12, '\0') + little32(scale) + little32(rate) +
                               little32(0) + little32(length.value_or(counted)) + std::string(20, '\0');
    return tests::list("strl", chunk("strh", header) + chunk("strf", format()) + further);
  }
};

// A chunk of the movie list.
struct Piece {
  std::string name = "00dc";
  std::string data = {};
  std::optional<std::uint32_t> claimedSize = {};  // in the chunk's own header
  std::string pad = std::string(1, '\0');         // behind data of an odd size
  bool isIndexed = true;
};

struct Entry {
  std::string name;
  std::uint64_t offset = 0;  // of the chunk's header, from the start of the file
  std::uint32_t size = 0;
};

enum class Base { movieWord, behindMovieWord, startOfFile };

// An AVI of which everything can be wrong.
struct SmallAVI {
  std::vector<Stream> streams = {{}};
  std::vector<Piece> pieces = {};
  std::optional<std::uint32_t> totalFrames = {};  // absent: as the first stream's length
  std::uint32_t microseconds = 33'333;
  bool hasIndex = true;
  Base base = Base::movieWord;
  std::function<void(std::vector<Entry>&)> editIndex = {};
  std::function<std::uint32_t(std::uint32_t)> claimedMovieSize = {};
  std::string behindStreams = {};  // in the headers
  std::string behindChunks = {};   // in the movie list
  std::string behindMovie = {};    // before the index
  std::string behindIndex = {};

  std::string bytes() const {
    const std::string movie = movieList();
    std::vector<Entry> entries = this->entries(headers(0).size());
    if (editIndex) {
      editIndex(entries);
    }
    const std::string head = headers(countOf(entries));
    std::string file = head + movie + behindMovie;
    if (hasIndex) {
      file += chunk("idx1", index(entries, head.size() + 8));
    }
    file += behindIndex;
    return file.replace(4, 4, little32(file.size() - 8));
  }

  // Of the data of the numbered piece.
  std::uint64_t offsetOf(std::size_t piece) const {
    std::uint64_t offset = headers(0).size() + 12;
    for (std::size_t index = 0; index < piece; ++index) {
      offset += bytesOf(pieces[index]).size();
    }
    return offset + 8;
  }

 private:
  static std::string bytesOf(const Piece& piece) {
    if (piece.name.empty()) {
      return piece.data;
    }
    return piece.name + little32(piece.claimedSize.value_or(static_cast<std::uint32_t>(piece.data.size()))) +
           piece.data + (piece.data.size() % 2 == 1 ? piece.pad : "");
  }

  std::string headers(std::uint32_t counted) const {
    std::string lists;
    for (const Stream& stream : streams) {
      lists += stream.list(counted);
    }
    const std::uint32_t total = totalFrames.value_or(streams.front().length.value_or(counted));
    const std::string main = little32(microseconds) + std::string(12, '\0') + little32(total) +
                             std::string(4, '\0') + little32(streams.size()) + std::string(28, '\0');
    return "RIFF" + little32(0) + "AVI " + list("hdrl", chunk("avih", main) + lists + behindStreams);
  }

  std::string movieList() const {
    std::string content = "movi";
    for (const Piece& piece : pieces) {
      content += bytesOf(piece);
    }
    content += behindChunks;
    const auto size = static_cast<std::uint32_t>(content.size());
    return "LIST" + little32(claimedMovieSize ? claimedMovieSize(size) : size) + content;
  }

  std::vector<Entry> entries(std::size_t movieOffset) const {
    std::vector<Entry> entries;
    std::uint64_t offset = movieOffset + 12;
    for (const Piece& piece : pieces) {
      if (piece.isIndexed && !piece.name.empty()) {
        entries.push_back({piece.name, offset, static_cast<std::uint32_t>(piece.data.size())});
      }
      offset += bytesOf(piece).size();
    }
    return entries;
  }

  std::uint32_t countOf(const std::vector<Entry>& entries) const {
    std::uint32_t count = 0;
    for (const Entry& entry : entries) {
      count += entry.name == "00dc" ? 1 : 0;
    }
    return count;
  }

  std::string index(const std::vector<Entry>& entries, std::uint64_t movieWord) const {
    std::string content;
    for (const Entry& entry : entries) {
      const std::uint64_t origin = base == Base::movieWord         ? movieWord
                                   : base == Base::behindMovieWord ? movieWord + 4
                                                                   : 0;
      content += entry.name + little32(0x10) + little32(entry.offset - origin) + little32(entry.size);
    }
    return content;
  }
};

Stream soundStream() { return {.type = "auds", .handler = std::string(4, '\0'), .scale = 1, .rate = 8000}; }

// Three frames, each followed by two samples of sound.
SmallAVI plainAVI() {
  SmallAVI avi;
  avi.streams = {{}, soundStream()};
  for (const std::string name : {"one", "second", "third"}) {
    avi.pieces.push_back({.name = "00dc", .data = picture(name)});
    avi.pieces.push_back({.name = "01wb", .data = name.substr(0, 2) + "xy"});
  }
  return avi;
}

// The same without sound.
SmallAVI silentAVI() {
  SmallAVI avi;
  for (const std::string name : {"one", "second", "third"}) {
    avi.pieces.push_back({.name = "00dc", .data = picture(name)});
  }
  return avi;
}

const Texts plainFrames = {picture("one"), picture("second"), picture("third")};
const Texts plainSound = {"onxy", "sexy", "thxy"};

class AVIReadingTest : public testing::Test {
 protected:
  AVIReading read(const std::string& bytes) {
    bytes_ = bytes;
    writeFile(url_, bytes);
    return AVIReading::of(FileReader(url_));
  }
  AVIReading read(const SmallAVI& avi) { return read(avi.bytes()); }

  Texts textsOf(const std::vector<AVIChunk>& chunks) const {
    Texts texts;
    for (const AVIChunk& chunk : chunks) {
      texts.push_back(bytes_.substr(chunk.offset, chunk.size));
    }
    return texts;
  }

  static Slots slotsOf(const AVIVideoTrack& video) {
    Slots slots;
    for (const AVIChunk& frame : video.frames) {
      slots.push_back(frame.slots);
    }
    return slots;
  }

  void expectPlain(const SmallAVI& avi, const Slots& slots = {1, 1, 1}) {
    SCOPED_TRACE("plain");
    try {
      const AVIReading reading = read(avi);
      ASSERT_EQ(reading.video.size(), 1);
      EXPECT_EQ(textsOf(reading.video[0].frames), plainFrames);
      EXPECT_EQ(slotsOf(reading.video[0]), slots);
      std::uint32_t sum = 0;
      for (const std::uint32_t count : slots) {
        sum += count;
      }
      EXPECT_EQ(reading.video[0].slots, sum);
      if (avi.streams.size() == 2 && avi.streams[1].type == "auds") {
        ASSERT_EQ(reading.sound.size(), 1);
        EXPECT_EQ(textsOf(reading.sound[0].chunks), plainSound);
        EXPECT_EQ(reading.sound[0].byteCount, 12);
      }
    } catch (const MovieError& error) {
      ADD_FAILURE() << error.what();
    }
  }

  void expectRefused(const std::string& bytes, std::string_view reason) {
    try {
      read(bytes);
      ADD_FAILURE() << "accepted, not: " << reason;
    } catch (const MovieError& error) {
      EXPECT_EQ(error.kind(), MovieError::Case::unreadable);
      EXPECT_NE(std::string_view(error.what()).find(reason), std::string_view::npos) << error.what();
    }
  }
  void expectRefused(const SmallAVI& avi, std::string_view reason) { expectRefused(avi.bytes(), reason); }

  // What the whole of a JPEG stream is, seen in a file whose chunk headers are no help.
  bool isWholePicture(const std::string& data) {
    SmallAVI avi = lyingAVI();
    avi.pieces[2].data = data;
    try {
      read(avi);
      return true;
    } catch (const MovieError&) {
      return false;
    }
  }

  // Each chunk header of video has the size of the camera's buffer.
  static SmallAVI lyingAVI() {
    SmallAVI avi = plainAVI();
    for (Piece& piece : avi.pieces) {
      if (piece.name == "00dc") {
        piece.claimedSize = 153'600;
      }
    }
    return avi;
  }

  // The third frame is shown twice, by the index.
  static SmallAVI repeatingAVI() {
    SmallAVI avi = plainAVI();
    avi.editIndex = [](std::vector<Entry>& entries) { entries.insert(entries.begin() + 3, entries[2]); };
    return avi;
  }

  // The index has lost its last entries.
  static SmallAVI halfIndexedAVI() {
    SmallAVI avi = plainAVI();
    avi.streams[0].length = 3;
    avi.editIndex = [](std::vector<Entry>& entries) { entries.resize(3); };
    return avi;
  }

  // Without any index, and with zeros in the header where the counts should be.
  static SmallAVI unfinishedAVI() {
    SmallAVI avi = plainAVI();
    avi.hasIndex = false;
    avi.streams[0].length = 0;
    return avi;
  }

  // The camera's buffer is in the file with all that was in it before.
  static SmallAVI bufferAVI() {
    SmallAVI avi = silentAVI();
    for (Piece& piece : avi.pieces) {
      piece.data += std::string(20 - piece.data.size(), 'b');
    }
    avi.editIndex = [](std::vector<Entry>& entries) {
      for (std::size_t index = 0; index < entries.size(); ++index) {
        entries[index].size = static_cast<std::uint32_t>(plainFrames[index].size());
      }
    };
    return avi;
  }

  TemporaryFolder folder_;
  FileURL url_ = folder_ / "file.avi";
  std::string bytes_;
};

constexpr std::string_view damagedHeaders = "the headers are damaged";
constexpr std::string_view noIndex = "frames may be missing, and it has no usable index";
constexpr std::string_view otherTimes = "the index and the chunks show frames for different times";
constexpr std::string_view fewerFrames = "the index has fewer frames than the file";
constexpr std::string_view otherFrames = "the index has other frames than the file";
constexpr std::string_view otherSizes = "the index and the chunks have frames of other sizes";
constexpr std::string_view otherSound = "the index has other sound than the file";
constexpr std::string_view damagedChunks = "its chunks are damaged and it has no usable index";
constexpr std::string_view otherCounts = "the index and the header count different numbers of frames";
constexpr std::string_view noPictures = "the index doesn't lead to whole pictures";
constexpr std::string_view contradiction = "a chunk contradicts its stream";

}  // namespace

TEST_F(AVIReadingTest, readsFramesAndSoundOfAPlainFile) {
  const AVIReading reading = read(plainAVI());
  ASSERT_EQ(reading.video.size(), 1);
  EXPECT_EQ(textsOf(reading.video[0].frames), plainFrames);
  EXPECT_EQ(slotsOf(reading.video[0]), Slots({1, 1, 1}));
  EXPECT_EQ(reading.video[0].rate, 30);
  EXPECT_EQ(reading.video[0].scale, 1);
  EXPECT_TRUE(reading.video[0].isMotionJPEG);
  EXPECT_EQ(reading.video[0].seconds(15), 0.5);
  ASSERT_EQ(reading.sound.size(), 1);
  EXPECT_EQ(textsOf(reading.sound[0].chunks), plainSound);
  EXPECT_EQ(reading.sound[0].format, (AVISoundFormat{.encoding = AVISoundEncoding::pcm,
                                                     .sampleRate = 8000,
                                                     .bitsPerSample = 16,
                                                     .unitBytes = 2,
                                                     .samplesPerUnit = 1}));
}

TEST_F(AVIReadingTest, knowsAnAVIByItsStart) {
  writeFile(url_, plainAVI().bytes());
  EXPECT_TRUE(AVIReading::isAVI(FileReader(url_)));
  for (const std::string& other : {std::string(), std::string("RIFF"), "RIFF" + little32(4) + "WAVE",
                                   std::string("\0\0\0\x14"
                                               "ftypqt  ",
                                               12)}) {
    writeFile(url_, other);
    EXPECT_FALSE(AVIReading::isAVI(FileReader(url_)));
    expectRefused(other, "it is no AVI");
  }
}

TEST_F(AVIReadingTest, readsEveryKindOfClipThatTheTestsMake) {
  for (const AVIIndex index : {AVIIndex::whole, AVIIndex::half, AVIIndex::none}) {
    for (const std::uint32_t chunksPerRIFF : {0U, 4U}) {
      const TestClip clip = {.header = {.videoStreams = 2,
                                        .audio = {AVIAudioFormat::pcm16(2), AVIAudioFormat::imaADPCM()},
                                        .textStream = true,
                                        .index = index,
                                        .chunksPerRIFF = chunksPerRIFF},
                             .frames = 6,
                             .repeatedFrames = {0, 3, 5},
                             .audioChunkBytes = 256};
      const TestClipContent content = writeClip(url_, clip);
      const AVIReading reading = AVIReading::of(FileReader(url_));
      bytes_ = readFile(url_);
      ASSERT_EQ(reading.video.size(), 2);
      ASSERT_EQ(reading.sound.size(), 2);
      for (std::size_t stream = 0; stream < 2; ++stream) {
        EXPECT_EQ(slotsOf(reading.video[stream]), Slots({2, 2, 2}));
        std::string frames;
        for (const std::string& text : textsOf(reading.video[stream].frames)) {
          frames += text;
        }
        EXPECT_TRUE(frames == content.video[stream]);
        std::string sound;
        for (const std::string& text : textsOf(reading.sound[stream].chunks)) {
          sound += text;
        }
        EXPECT_TRUE(sound == content.audio[stream]);
      }
    }
  }
}

// The walk

TEST_F(AVIReadingTest, passesOverZerosBetweenChunks) {
  for (const std::size_t zeros : {4U, 512U, 5000U}) {
    SmallAVI avi = plainAVI();
    avi.pieces.insert(avi.pieces.begin() + 3, {.name = "", .data = std::string(zeros, '\0')});
    avi.behindChunks = std::string(zeros, '\0');
    avi.behindMovie = std::string(zeros, '\0');
    expectPlain(avi);
    avi.hasIndex = false;
    expectPlain(avi);
  }
}

TEST_F(AVIReadingTest, passesOverChunksThatHoldNoSamples) {
  for (const std::string& other :
       {chunk("JUNK", "abc"), list("INFO", chunk("ISFT", "camera")), chunk("ix00", "abcd"),
        chunk("00ix", "abcd"), chunk("Cam!", "abcdef"), chunk("JUNK", chunk("00dc", picture("x")))}) {
    SmallAVI avi = plainAVI();
    avi.hasIndex = false;
    avi.pieces.insert(avi.pieces.begin() + 3, {.name = "", .data = other});
    avi.behindChunks = other;
    avi.behindMovie = other;
    expectPlain(avi);
  }
}

TEST_F(AVIReadingTest, entersListsOfRecords) {
  SmallAVI avi = silentAVI();
  avi.hasIndex = false;
  avi.streams[0].length = 3;
  avi.pieces.insert(avi.pieces.begin() + 1, {.name = "", .data = "LIST" + little32(4 + 8 + 10) + "rec "});
  expectPlain(avi);
}

TEST_F(AVIReadingTest, findsTheNextChunkWithoutAPadByte) {
  for (const std::string pad : {"", "x", "0", "L"}) {
    SmallAVI avi = plainAVI();
    ASSERT_EQ(avi.pieces[0].data.size() % 2, 1);
    for (Piece& piece : avi.pieces) {
      piece.pad = pad;
    }
    expectPlain(avi);
    avi.hasIndex = false;
    expectPlain(avi);
  }
}

// "1wb " and " 00d" would do as the names of chunks.
TEST_F(AVIReadingTest, prefersAKnownNameWhereAPadByteMayBe) {
  SmallAVI avi = plainAVI();
  avi.hasIndex = false;
  avi.pieces[0].pad = "";
  avi.pieces[1].data = std::string(0x20, 's');
  EXPECT_EQ(read(avi).sound[0].byteCount, 0x20 + 8);
  avi.pieces[0].pad = " ";
  EXPECT_EQ(read(avi).sound[0].byteCount, 0x20 + 8);
}

TEST_F(AVIReadingTest, ignoresStreamsThatAreNeitherPictureNorSound) {
  for (const std::string type : {"txts", "mids", "dats"}) {
    for (const std::string data : {"02tx", "02dc", "02wb", "02pc", "02xy"}) {
      SmallAVI avi = plainAVI();
      avi.streams.push_back({.type = type});
      avi.pieces.insert(avi.pieces.begin() + 2, {.name = data, .data = "anything"});
      const AVIReading reading = read(avi);
      EXPECT_EQ(textsOf(reading.video[0].frames), plainFrames);
      EXPECT_EQ(textsOf(reading.sound[0].chunks), plainSound);
    }
  }
}

TEST_F(AVIReadingTest, refusesDataThatNoStreamCanHave) {
  for (const std::string name : {"00pc", "00wb", "01dc", "01db", "01pc", "02dc", "02wb", "99db", "07pc"}) {
    SmallAVI avi = plainAVI();
    avi.pieces.insert(avi.pieces.begin() + 2, {.name = name, .data = "data"});
    expectRefused(avi, contradiction);
  }
}

TEST_F(AVIReadingTest, takesAnyOfTheTwoNamesOfPictures) {
  SmallAVI avi = plainAVI();
  avi.pieces[2].name = "00db";
  avi.streams[0].length = 3;
  expectPlain(avi);
}

TEST_F(AVIReadingTest, toleratesAMovieListThatMissesItsEndByAFewBytes) {
  for (const int error : {-8, -4, -1, 1, 4, 8}) {
    SmallAVI avi = halfIndexedAVI();  // which asks for a whole walk
    avi.behindIndex = std::string(40, '\0');
    avi.claimedMovieSize = [&](std::uint32_t size) { return size + static_cast<std::uint32_t>(error); };
    expectPlain(avi);
  }
}

TEST_F(AVIReadingTest, countsTheEndOfTheMovieListToTheByte) {
  const auto claim = [](int error) {
    SmallAVI avi = halfIndexedAVI();
    avi.claimedMovieSize = [error](std::uint32_t size) { return size + static_cast<std::uint32_t>(error); };
    return avi;
  };
  expectPlain(claim(16));
  expectRefused(claim(17), fewerFrames);
  expectPlain(claim(-16));
  expectRefused(claim(-17), fewerFrames);
}

TEST_F(AVIReadingTest, measuresFromTheLastDataToTheEndOfWhatFollows) {
  SmallAVI avi = halfIndexedAVI();
  avi.behindChunks = chunk("JUNK", std::string(100, 'j'));
  expectPlain(avi);
  avi.claimedMovieSize = [](std::uint32_t size) { return size - 108; };
  expectPlain(avi);
  avi.claimedMovieSize = [](std::uint32_t size) { return size - 50; };
  expectPlain(avi);
  avi.claimedMovieSize = [](std::uint32_t size) { return size - 108 - 17; };
  expectRefused(avi, fewerFrames);
}

TEST_F(AVIReadingTest, goesOnWhereTheMovieListEndsAmongChunks) {
  SmallAVI avi = plainAVI();
  avi.hasIndex = false;
  avi.claimedMovieSize = [](std::uint32_t) { return 4 + 8 + 7 + 1; };
  avi.streams[0].length = 3;
  expectPlain(avi);
}

TEST_F(AVIReadingTest, readsAListLeftOpenThatEndsWithinAChunkHeader) {
  SmallAVI avi = unfinishedAVI();
  avi.behindChunks = "00dc";
  expectRefused(avi, damagedChunks);
  avi.claimedMovieSize = [](std::uint32_t) { return 0; };
  expectPlain(avi);
  avi.behindChunks += std::string("\x01\0\0", 3);
  expectPlain(avi);
  avi.behindChunks += '\0';
  expectRefused(avi, damagedChunks);
}

TEST_F(AVIReadingTest, callsAMovieListCutThatGoesBeyondTheFileByAFewBytes) {
  SmallAVI avi = unfinishedAVI();  // which asks for a whole walk
  expectPlain(avi);
  avi.claimedMovieSize = [](std::uint32_t size) { return size + 4; };
  expectRefused(avi, noIndex);
  avi.streams[0].length = 3;
  expectPlain(avi);
}

TEST_F(AVIReadingTest, takesAMovieListOfNoSizeToGoOnToItsEnd) {
  for (const std::uint32_t size : {0U, std::numeric_limits<std::uint32_t>::max()}) {
    SmallAVI avi = unfinishedAVI();  // which asks for a whole walk
    avi.claimedMovieSize = [size](std::uint32_t) { return size; };
    expectPlain(avi);
  }
}

TEST_F(AVIReadingTest, readsTextBehindTheMovieListAndTheIndex) {
  for (const std::string text : {"written by a camera", "\x01\x02", "G"}) {
    SmallAVI avi = plainAVI();
    avi.behindIndex = text;
    expectPlain(avi);
    avi.hasIndex = false;
    expectPlain(avi);
  }
}

TEST_F(AVIReadingTest, readsTheFurtherListsOfALongFile) {
  SmallAVI avi = silentAVI();
  avi.streams[0].length = 5;
  avi.hasIndex = false;
  const std::string further =
      "RIFF" + little32(0) + "AVIX" +
      list("movi", chunk("00dc", picture("fourth")) + chunk("00dc", picture("fifth")));
  avi.behindMovie = further;
  EXPECT_EQ(read(avi).video[0].frames.size(), 5);
  avi.behindMovie = chunk("JUNK", "x") + further;
  EXPECT_EQ(read(avi).video[0].frames.size(), 5);
  avi.streams[0].length = 6;
  expectRefused(avi, noIndex);
}

TEST_F(AVIReadingTest, judgesTheFurtherListsToo) {
  SmallAVI avi = silentAVI();
  avi.streams[0].length = 4;
  avi.hasIndex = false;
  avi.behindMovie =
      "RIFF" + little32(0) + "AVIX" + list("movi", chunk("00dc", picture("four")) + "\x01\x02\x03");
  expectRefused(avi, damagedChunks);
  avi.streams[0].length = 0;
  avi.behindMovie =
      "RIFF" + little32(0) + "AVIX" + "LIST" + little32(90) + "movi" + chunk("00dc", picture("four"));
  expectRefused(avi, noIndex);  // since the list is cut
}

TEST_F(AVIReadingTest, losesItselfInDataOutsideOfMovieLists) {
  SmallAVI avi = silentAVI();
  avi.streams[0].length = 3;
  avi.hasIndex = false;
  avi.behindMovie = chunk("JUNK", "x");
  expectPlain(avi);
  avi.behindMovie += chunk("00dc", picture("more"));
  expectRefused(avi, damagedChunks);
  avi.behindMovie = "RIFF" + little32(4) + "WAVE";
  expectRefused(avi, damagedChunks);
}

TEST_F(AVIReadingTest, losesItselfInAMovieListWithinAnother) {
  SmallAVI avi = silentAVI();
  avi.hasIndex = false;
  avi.streams[0].length = 3;
  avi.pieces.push_back({.name = "", .data = list("movi", chunk("00dc", picture("hidden")))});
  expectRefused(avi, damagedChunks);
}

// The index

TEST_F(AVIReadingTest, findsTheBaseOfTheIndex) {
  for (const Base base : {Base::movieWord, Base::behindMovieWord, Base::startOfFile}) {
    SmallAVI avi = repeatingAVI();
    avi.base = base;
    expectPlain(avi, {1, 2, 1});
  }
}

// The name of the frame's chunk is there twice, in the place of its size as well. So it is found four bytes
// apart, and the walk is lost.
TEST_F(AVIReadingTest, callsAnIndexGarbageOfWhichTwoBasesFit) {
  SmallAVI avi;
  avi.pieces = {{.name = "00dc", .data = picture("one"), .claimedSize = 0x63643030}};
  expectRefused(avi, damagedChunks);
  avi.pieces[0].claimedSize = 0x7FFFFFFF;
  EXPECT_EQ(textsOf(read(avi).video[0].frames), Texts({picture("one")}));
}

TEST_F(AVIReadingTest, lengthensAFrameByEntriesThatRepeatIt) {
  SmallAVI avi = plainAVI();
  avi.editIndex = [](std::vector<Entry>& entries) {
    // Also behind the sound that follows, and at the end.
    entries = {entries[0], entries[0], entries[0], entries[1], entries[2],
               entries[3], entries[2], entries[4], entries[5], entries[4]};
  };
  expectPlain(avi, {3, 2, 2});
}

TEST_F(AVIReadingTest, lengthensAFrameByEntriesOfNoBytesWhereverTheyLead) {
  SmallAVI avi = plainAVI();
  avi.editIndex = [](std::vector<Entry>& entries) {
    entries = {{"00dc", entries[0].offset, 0},
               {"00dc", 0xFFFFFFF0, 0},
               entries[0],
               entries[1],
               entries[2],
               {"00dc", entries[0].offset, 0},
               entries[2],
               entries[3],
               entries[4],
               entries[5],
               {"00dc", entries[4].offset, 0}};
  };
  expectPlain(avi, {3, 3, 2});
}

TEST_F(AVIReadingTest, passesOverEntriesOfListsAndOtherStreams) {
  SmallAVI avi = repeatingAVI();
  avi.streams.push_back({.type = "txts"});
  avi.streams[0].length = 4;
  const auto edit = avi.editIndex;
  avi.editIndex = [&](std::vector<Entry>& entries) {
    edit(entries);
    entries.insert(entries.begin(), {{"rec ", 12, 100}, {"02tx", 3, 5}});
  };
  EXPECT_EQ(slotsOf(read(avi).video[0]), Slots({1, 2, 1}));
}

// All of them are usable but for one thing, and without an index the repeat would be missing.
TEST_F(AVIReadingTest, callsAnIndexGarbageForOneWrongEntry) {
  const auto expectGarbage = [&](const std::function<void(std::vector<Entry>&)>& spoil) {
    SmallAVI avi = repeatingAVI();
    const auto edit = avi.editIndex;
    avi.editIndex = [&](std::vector<Entry>& entries) {
      edit(entries);
      spoil(entries);
    };
    expectRefused(avi, noIndex);
  };
  expectGarbage([](auto& entries) { entries[3].size -= 1; });                   // repeats another size
  expectGarbage([](auto& entries) { entries[3].offset = entries[0].offset; });  // and another frame
  expectGarbage([](auto& entries) { entries.back().size = 1'000'000; });        // beyond the file
  expectGarbage([](auto& entries) { entries[5].size += 20; });                  // into the next one
  expectGarbage([](auto& entries) { entries[5].offset += 1; });                 // to no chunk
  expectGarbage([](auto& entries) { entries[1].name = "00dc"; });               // to a chunk of another name
  expectGarbage([](auto& entries) { std::swap(entries[2], entries[5]); });      // backward
  expectGarbage([](auto& entries) { entries.push_back({"02dc", 0, 0}); });      // of no stream
  expectGarbage([](auto& entries) { entries.push_back({"00pc", 0, 0}); });
  expectGarbage([](auto& entries) { entries.push_back({"00wb", 0, 0}); });
  expectGarbage([](auto& entries) { entries.push_back({"7Fxx", 0, 0}); });
  expectGarbage([](auto& entries) { entries.insert(entries.begin() + 2, entries[1]); });  // repeats sound
}

TEST_F(AVIReadingTest, callsAnIndexGarbageThatIsNoWholeNumberOfEntriesOrTooLong) {
  std::string file = repeatingAVI().bytes();
  const std::size_t size = file.rfind("idx1") + 4;
  const std::string truth = little32(7 * 16);
  ASSERT_EQ(file.substr(size, 4), truth);
  for (const std::uint32_t claim : {7U * 16 - 1, 7U * 16 + 1, 8U * 16, 6U * 16 + 8}) {
    expectRefused(file.replace(size, 4, little32(claim)), noIndex);
  }
  EXPECT_EQ(read(file.replace(size, 4, truth)).video[0].slots, 4);
}

TEST_F(AVIReadingTest, takesAnIndexForGarbageAndNotForLongThatGoesBeyondTheFile) {
  std::string file = plainAVI().bytes();
  file.replace(file.rfind("idx1") + 4, 4, little32(0x40000000));
  EXPECT_EQ(read(file).video[0].slots, 3);
}

TEST_F(AVIReadingTest, callsAnIndexGarbageThatLeadsBeforeTheMovieList) {
  SmallAVI avi = repeatingAVI();
  avi.base = Base::startOfFile;
  avi.behindStreams = chunk("JUNK", chunk("00dc", "data"));
  const auto edit = avi.editIndex;
  avi.editIndex = [&](std::vector<Entry>& entries) {
    edit(entries);
    entries.insert(entries.begin(), {"00dc", entries[0].offset - 12 - 12, 4});
  };
  avi.streams[0].length = 3;
  expectPlain(avi);  // by the walk, which sees what the header counts
}

std::string newIndex(int type, std::string_view chunkName, std::uint64_t base, std::uint32_t count,
                     const std::string& entries) {
  return little16(type == 0 ? 4 : 2) + std::string(1, '\0') + static_cast<char>(type) + little32(count) +
         std::string(chunkName) + little(base, 8) + little32(0) + entries;
}

// A file whose `indx` chunks lead to `ix##` chunks behind the data, and which repeats its second frame.
struct OpenDML {
  SmallAVI avi = plainAVI();
  std::vector<Entry> video;  // with the offsets of the data
  std::vector<Entry> sound;
  std::string name = "ix0";
  std::uint32_t superEntries = 1;

  OpenDML() {
    avi.hasIndex = false;
    avi.streams[0].length = 4;
    link(0, 0);
    video = {entry(0), entry(2), entry(2), entry(4)};
    sound = {entry(1), entry(3), entry(5)};
  }

  Entry entry(std::size_t piece) const {
    return {avi.pieces[piece].name, avi.offsetOf(piece),
            static_cast<std::uint32_t>(avi.pieces[piece].data.size())};
  }

  void link(std::uint64_t toVideo, std::uint64_t toSound) {
    avi.streams[0].further =
        chunk("indx", newIndex(0, "00dc", 0, superEntries, little(toVideo, 8) + little32(0) + little32(0)));
    avi.streams[1].further =
        chunk("indx", newIndex(0, "01wb", 0, 1, little(toSound, 8) + little32(0) + little32(0)));
  }

  std::string bytes() {
    const auto part = [&](int stream, std::string_view chunkName, const std::vector<Entry>& entries) {
      std::string content;
      const std::uint64_t base = entries.front().offset - 5;
      for (const Entry& one : entries) {
        content += little32(one.offset - base) + little32(one.size | 0x80000000);
      }
      return chunk(name + std::to_string(stream),
                   newIndex(1, chunkName, base, static_cast<std::uint32_t>(entries.size()), content));
    };
    const std::string first = part(0, "00dc", video);
    avi.behindChunks = first + part(1, "01wb", sound);
    const std::uint64_t start = avi.offsetOf(avi.pieces.size()) - 8;
    link(start, start + first.size());
    return avi.bytes();
  }
};

TEST_F(AVIReadingTest, readsTheIndexesOfOpenDML) {
  AVIReading reading = read(OpenDML().bytes());
  EXPECT_EQ(slotsOf(reading.video[0]), Slots({1, 2, 1}));
  EXPECT_EQ(textsOf(reading.video[0].frames), plainFrames);
  OpenDML empty;
  empty.video[2].size = 0;
  empty.video[2].offset = 0;
  EXPECT_EQ(slotsOf(read(empty.bytes()).video[0]), Slots({1, 2, 1}));
}

TEST_F(AVIReadingTest, readsAnIndexOfOpenDMLThatIsWithinTheHeaders) {
  SmallAVI avi = silentAVI();
  avi.hasIndex = false;
  avi.streams[0].length = 4;
  const auto indexed = [&] {
    std::string entries;
    for (const std::size_t piece : {0U, 1U, 1U, 2U}) {
      entries += little32(avi.offsetOf(piece)) + little32(avi.pieces[piece].data.size());
    }
    return chunk("indx", newIndex(1, "00dc", 0, 4, entries));
  };
  avi.streams[0].further = indexed();  // once for its size, which the offsets depend on
  avi.streams[0].further = indexed();
  expectPlain(avi, {1, 2, 1});
}

TEST_F(AVIReadingTest, fallsBackToTheOldIndexWhereAnOpenDMLIndexIsUnusable) {
  const auto expectFallBack = [&](const std::function<void(OpenDML&)>& spoil) {
    OpenDML clip;
    spoil(clip);
    expectRefused(clip.bytes(), noIndex);  // without an old index
    clip.avi.hasIndex = true;
    clip.avi.streams[0].length = 3;
    const AVIReading reading = read(clip.bytes());
    EXPECT_EQ(slotsOf(reading.video[0]), Slots({1, 1, 1}));
  };
  expectFallBack([](OpenDML& clip) { clip.video[3].offset += 1; });
  expectFallBack([](OpenDML& clip) { clip.video[2].size += 1; });
  expectFallBack([](OpenDML& clip) { clip.name = "ax0"; });
  expectFallBack([](OpenDML& clip) { clip.superEntries = 2; });
  expectFallBack([](OpenDML& clip) { clip.sound[1].size = 100'000; });
}

TEST_F(AVIReadingTest, asksForAnOpenDMLIndexOfEveryStream) {
  OpenDML clip;
  std::string file = clip.bytes();
  const std::size_t second = file.find("indx", file.find("indx") + 4);
  expectRefused(file.replace(second, 4, "JUNK"), noIndex);
}

// The headers

TEST_F(AVIReadingTest, takesTheRateFromTheMainHeaderWhereTheStreamHasNone) {
  for (const auto& [scale, rate] : {std::pair(0U, 30U), std::pair(1U, 0U)}) {
    SmallAVI avi = plainAVI();
    avi.streams[0].scale = scale;
    avi.streams[0].rate = rate;
    const AVIReading reading = read(avi);
    EXPECT_EQ(reading.video[0].rate, 1'000'000);
    EXPECT_EQ(reading.video[0].scale, 33'333);
    avi.microseconds = 0;
    expectRefused(avi, "a video stream has no rate");
  }
}

TEST_F(AVIReadingTest, takesTheEncodingFromTheHandlerWhereTheFormatHasNone) {
  const std::string none(4, '\0');
  const auto isMotionJPEG = [&](const std::string& handler, const std::string& compression) {
    SmallAVI avi = plainAVI();
    avi.streams[0].handler = handler;
    avi.streams[0].compression = compression;
    return read(avi).video[0].isMotionJPEG;
  };
  EXPECT_TRUE(isMotionJPEG(none, "MJPG"));
  EXPECT_TRUE(isMotionJPEG("MJPG", none));
  EXPECT_TRUE(isMotionJPEG("mjpg", none));
  EXPECT_TRUE(isMotionJPEG("H264", "mjpg"));
  EXPECT_FALSE(isMotionJPEG("MJPG", "H264"));
  EXPECT_FALSE(isMotionJPEG(none, none));
}

TEST_F(AVIReadingTest, refusesAStreamOfAnUnknownType) {
  SmallAVI avi = plainAVI();
  avi.streams.push_back({.type = "iavs"});
  expectRefused(avi, "a stream is of an unknown type");
}

TEST_F(AVIReadingTest, refusesSoundThatItCannotRead) {
  const auto refuse = [&](const PCM& sound, std::string_view reason, std::uint32_t rate = 8000) {
    SmallAVI avi = plainAVI();
    avi.streams[1].sound = sound;
    avi.streams[1].rate = rate;
    expectRefused(avi, reason);
  };
  constexpr std::string_view damaged = "the format of a sound stream is damaged";
  constexpr std::string_view unknown = "the format of a sound stream is unknown";
  refuse({.channels = 0}, damaged);
  refuse({.rate = 0}, damaged);
  refuse({.bits = 0}, unknown);
  refuse({.bits = 12}, unknown);
  refuse({.tag = 0x55}, unknown);
  refuse({.tag = 0}, unknown);
  refuse({.tag = 2, .blockAlign = 0, .bits = 4}, "the block size of a sound stream is damaged");
  refuse({.tag = 0x11, .blockAlign = 3, .bits = 4}, "the block size of a sound stream is damaged");
  refuse({.rate = 8001}, "the sample rate of a sound stream is damaged");
  refuse({.bytesPerSecond = 16'001}, "the sample rate of a sound stream is damaged", 8001);
}

TEST_F(AVIReadingTest, takesTheSampleRateThatOneOfTwoFieldsConfirms) {
  SmallAVI avi = plainAVI();
  avi.streams[1].rate = 100;
  expectPlain(avi);
  avi = plainAVI();
  avi.streams[1].sound.bytesPerSecond = 5;
  expectPlain(avi);
  avi.streams[1].rate = 24'000;
  avi.streams[1].scale = 3;
  expectPlain(avi);
}

TEST_F(AVIReadingTest, countsTheSamplesOfBlocks) {
  SmallAVI avi = plainAVI();
  avi.streams[1].sound = {.tag = 0x11, .channels = 2, .blockAlign = 12, .bits = 4};
  const auto withBlock = [&](std::size_t bytes) {
    SmallAVI clip = avi;
    clip.pieces[1].data = std::string(bytes - 8, 's');
    return clip;
  };
  AVISoundFormat format = read(withBlock(24)).sound[0].format;
  EXPECT_EQ(format.unitBytes, 12);
  EXPECT_EQ(format.samplesPerUnit, 5);
  expectRefused(withBlock(25), "a block of sound is cut off");
  avi.streams[1].sound = {.tag = 2, .channels = 1, .blockAlign = 12, .bits = 4};
  format = read(withBlock(24)).sound[0].format;
  EXPECT_EQ(format.samplesPerUnit, 12);
}

TEST_F(AVIReadingTest, leavesOutStreamsWithoutSamples) {
  SmallAVI avi = plainAVI();
  avi.streams.push_back({});
  avi.streams[2].length = 0;
  avi.streams.push_back(soundStream());
  avi.pieces.push_back({.name = "03wb", .data = "x"});  // half of a sample
  const AVIReading reading = read(avi);
  EXPECT_EQ(reading.video.size(), 1);
  EXPECT_EQ(reading.sound.size(), 1);
}

TEST_F(AVIReadingTest, refusesAFileWithoutVideo) {
  SmallAVI avi = plainAVI();
  std::erase_if(avi.pieces, [](const Piece& piece) { return piece.name == "00dc"; });
  expectRefused(avi, "it has no video");
  avi.streams.erase(avi.streams.begin());
  avi.pieces = {{.name = "00wb", .data = "sound"}};
  expectRefused(avi, "it has no video");
}

TEST_F(AVIReadingTest, refusesDamagedHeaders) {
  const std::string file = plainAVI().bytes();
  const auto replaced = [&](std::string_view what, std::size_t distance, const std::string& with) {
    std::string copy = file;
    return copy.replace(copy.find(what) + distance, with.size(), with);
  };
  expectRefused(replaced("avih", 4, little32(8)), damagedHeaders);
  expectRefused(replaced("strh", 4, little32(0x7FFFFFFF)), damagedHeaders);
  expectRefused(replaced("strh", 0, "strx"), "a stream has no header");
  expectRefused(replaced("strf", 0, "strh"), "a stream has two headers");
  expectRefused(replaced("strf", 0, "strx"), "a video stream has no format");
  expectRefused(replaced("strf", 0, "\x01\x02\x03\x04"), damagedHeaders);
  expectRefused(replaced("movi", 0, "mowi"), damagedHeaders);
  expectRefused(file.substr(0, 300), damagedHeaders);
  expectRefused(file.substr(0, 12), damagedHeaders);
}

TEST_F(AVIReadingTest, findsTheHeadersWhateverTheSizesOfTheirListsAre) {
  std::string file = plainAVI().bytes();
  for (const std::string_view type : {"hdrl", "strl"}) {
    file.replace(file.find(type) - 4, 4, little32(0));
  }
  EXPECT_EQ(read(file).sound.size(), 1);
}

// The pictures

TEST_F(AVIReadingTest, knowsAWholePicture) {
  const std::string_view longTail("\0\xFF\0\0", 4);
  EXPECT_TRUE(isWholePicture(picture("second")));
  EXPECT_TRUE(isWholePicture(picture("")));
  EXPECT_TRUE(isWholePicture(picture("second") + std::string(longTail)));
  EXPECT_TRUE(isWholePicture(picture("second") + std::string(10'000, '\0')));
  EXPECT_TRUE(isWholePicture(picture(std::string(10'000, '\0')) + std::string(9'000, '\xFF')));
  EXPECT_FALSE(isWholePicture("\xFF\xD8\xD9"));
  EXPECT_FALSE(isWholePicture("\xFF\xD9"));
  EXPECT_FALSE(isWholePicture("x" + picture("second")));
  EXPECT_FALSE(isWholePicture(picture("second") + "x"));
  EXPECT_FALSE(
      isWholePicture("\xFF\xD8"
                     "second"));
  EXPECT_FALSE(isWholePicture("\xFF\xD8" + std::string(10'000, '\0')));
  EXPECT_FALSE(isWholePicture(picture("second") + std::string(10'000, '\0') + "x"));
}

// The table, row by row

TEST_F(AVIReadingTest, takesTheWalkWithoutAnIndexWhereTheHeaderCountsAsMany) {
  SmallAVI avi = plainAVI();
  avi.hasIndex = false;
  expectPlain(avi);
  avi.totalFrames = 7;
  expectPlain(avi);
  avi.totalFrames = 3;
  avi.streams[0].length = 7;
  expectPlain(avi);
  avi.claimedMovieSize = [](std::uint32_t) { return 1'000'000; };
  expectPlain(avi);  // a walk that is cut
}

TEST_F(AVIReadingTest, takesTheWalkWithAnIndexThatIsGarbageWhereTheHeaderCountsAsMany) {
  SmallAVI avi = plainAVI();
  avi.streams[0].length = 3;
  avi.editIndex = [](std::vector<Entry>& entries) { entries[2].offset += 1; };
  expectPlain(avi);
}

TEST_F(AVIReadingTest, takesTheWalkWithoutAnIndexWhereTheHeaderWasNeverBroughtUpToDate) {
  SmallAVI avi = unfinishedAVI();
  expectPlain(avi);
  avi.streams[0].length = 2;
  expectPlain(avi);
}

TEST_F(AVIReadingTest, refusesAFileWithoutAnIndexWhereFramesMayBeMissing) {
  SmallAVI avi = unfinishedAVI();
  avi.streams[0].length = 4;
  expectRefused(avi, noIndex);
  avi = unfinishedAVI();
  avi.totalFrames = 4;
  expectRefused(avi, noIndex);
  avi = unfinishedAVI();
  avi.claimedMovieSize = [](std::uint32_t) { return 1'000'000; };
  expectRefused(avi, noIndex);
  avi = unfinishedAVI();
  avi.claimedMovieSize = [](std::uint32_t size) { return size + 17; };
  expectRefused(avi, noIndex);
  avi = unfinishedAVI();
  avi.pieces[2].data = "no picture";
  expectRefused(avi, noIndex);
  avi = unfinishedAVI();
  avi.streams[0].compression = "H264";
  expectRefused(avi, noIndex);
}

TEST_F(AVIReadingTest, takesWhatWalkAndIndexAgreeOnWhateverTheHeaderCounts) {
  for (const std::uint32_t count : {0U, 2U, 100'000U}) {
    SmallAVI avi = plainAVI();
    avi.streams[0].length = count;
    expectPlain(avi);
    avi.claimedMovieSize = [](std::uint32_t) { return 1'000'000; };
    expectPlain(avi);
  }
}

TEST_F(AVIReadingTest, refusesAsManySlotsOfOtherFrames) {
  SmallAVI avi = silentAVI();
  avi.pieces.insert(avi.pieces.begin() + 1, {.name = "00dc", .isIndexed = false});
  avi.editIndex = [](std::vector<Entry>& entries) { entries.push_back(entries.back()); };
  expectRefused(avi, otherTimes);
}

TEST_F(AVIReadingTest, takesTheRepeatsOfTheIndexWhereTheHeaderCountsThem) {
  expectPlain(repeatingAVI(), {1, 2, 1});
  SmallAVI avi = repeatingAVI();
  avi.streams[0].length = 100;  // none of the counts in question
  avi.totalFrames = 4;
  expectPlain(avi, {1, 2, 1});
  avi.totalFrames = 100;
  expectPlain(avi, {1, 2, 1});  // a broken header
  avi.claimedMovieSize = [](std::uint32_t) { return 1'000'000; };
  expectPlain(avi, {1, 2, 1});
}

TEST_F(AVIReadingTest, refusesRepeatsThatTheHeaderDoesNotCount) {
  SmallAVI avi = repeatingAVI();
  avi.streams[0].length = 3;
  expectRefused(avi, otherTimes);
  avi.totalFrames = 4;
  expectRefused(avi, otherTimes);
  avi.streams[0].length = 100;
  avi.totalFrames = 3;
  expectRefused(avi, otherTimes);
}

TEST_F(AVIReadingTest, refusesRepeatsAtOtherFramesThanTheChunksWithoutData) {
  SmallAVI avi = silentAVI();
  avi.pieces.insert(avi.pieces.begin() + 1, {.name = "00dc", .isIndexed = false});
  avi.editIndex = [](std::vector<Entry>& entries) { entries.insert(entries.end(), 2, entries.back()); };
  expectRefused(avi, otherTimes);
  avi.pieces.insert(avi.pieces.begin() + 1, 2, {.name = "00dc", .isIndexed = false});
  avi.streams[0].length = 6;  // as the walk counts; the index counts 5
  expectRefused(avi, otherTimes);
}

TEST_F(AVIReadingTest, takesChunksWithoutDataThatTheIndexLeavesOut) {
  SmallAVI avi = plainAVI();
  avi.pieces.insert(avi.pieces.begin() + 4, {.name = "00dc", .isIndexed = false});
  avi.streams[0].length = 4;
  expectPlain(avi, {1, 2, 1});
  avi.streams[0].length = 100;
  expectPlain(avi, {1, 2, 1});
  avi.streams[0].length = 3;
  expectRefused(avi, otherTimes);
}

TEST_F(AVIReadingTest, takesTheWalkWithHalfAnIndex) {
  expectPlain(halfIndexedAVI());
  SmallAVI avi = halfIndexedAVI();
  avi.streams[0].length = 100;
  expectPlain(avi);
  avi = plainAVI();
  avi.editIndex = [](std::vector<Entry>& entries) {
    std::erase_if(entries, [](const Entry& entry) { return entry.name == "01wb"; });
  };
  expectPlain(avi);  // of the pictures only
  avi.editIndex = [](std::vector<Entry>& entries) {
    std::erase_if(entries, [](const Entry& entry) { return entry.name == "00dc"; });
  };
  avi.streams[0].length = 3;
  expectPlain(avi);  // of the sound only
}

TEST_F(AVIReadingTest, refusesHalfAnIndexThatContradictsTheWalk) {
  SmallAVI avi = halfIndexedAVI();
  avi.streams[0].length = 2;
  expectRefused(avi, fewerFrames);
  avi = halfIndexedAVI();
  avi.claimedMovieSize = [](std::uint32_t) { return 1'000'000; };
  expectRefused(avi, fewerFrames);
  avi = halfIndexedAVI();
  avi.editIndex = [](std::vector<Entry>& entries) {
    entries.resize(3);
    entries.push_back(entries[2]);  // a repeat
  };
  expectRefused(avi, fewerFrames);
  avi.pieces.insert(avi.pieces.begin() + 3, {.name = "00dc", .isIndexed = false});
  avi.streams[0].length = 4;
  expectRefused(avi, fewerFrames);  // also where the walk shows the frame as long
  avi = halfIndexedAVI();
  avi.editIndex = [](std::vector<Entry>& entries) {
    entries.resize(3);
    entries.push_back({"00dc", 0, 0});  // a frame of the walk was dropped
  };
  expectRefused(avi, fewerFrames);
}

TEST_F(AVIReadingTest, refusesSoundOfHalfAnIndexWhereTheWalkIsCut) {
  SmallAVI avi = plainAVI();
  avi.editIndex = [](std::vector<Entry>& entries) { entries.resize(5); };
  expectPlain(avi);
  avi.claimedMovieSize = [](std::uint32_t) { return 1'000'000; };
  expectRefused(avi, otherSound);
}

TEST_F(AVIReadingTest, takesTheSizesWithWhichTheFramesAreWholePictures) {
  EXPECT_EQ(textsOf(read(bufferAVI()).video[0].frames), plainFrames);  // the index
  SmallAVI avi = silentAVI();
  avi.editIndex = [](std::vector<Entry>& entries) { entries[1].size -= 3; };
  expectPlain(avi);  // the walk
  avi = silentAVI();
  avi.pieces[1].data += std::string(5, '\0');
  avi.editIndex = [](std::vector<Entry>& entries) { entries[1].size -= 5; };
  expectPlain(avi);  // both: the index
}

TEST_F(AVIReadingTest, refusesOtherSizesWhereNeitherGivesWholePictures) {
  SmallAVI avi = bufferAVI();
  avi.pieces[1].data[0] = 'x';
  expectRefused(avi, otherSizes);
  avi = bufferAVI();
  avi.streams[0].compression = "H264";
  expectRefused(avi, otherSizes);
  avi = bufferAVI();
  const auto edit = avi.editIndex;
  avi.editIndex = [&](std::vector<Entry>& entries) {
    edit(entries);
    entries.push_back(entries.back());
  };
  expectRefused(avi, otherSizes);
}

TEST_F(AVIReadingTest, refusesSoundOfOtherSizes) {
  SmallAVI avi = plainAVI();
  avi.editIndex = [](std::vector<Entry>& entries) { entries[1].size -= 2; };
  expectRefused(avi, otherSound);
}

TEST_F(AVIReadingTest, refusesAnIndexOfOtherChunks) {
  SmallAVI avi = silentAVI();
  avi.pieces[0] = {.name = "JUNK", .data = chunk("00dc", picture("hide")), .isIndexed = false};
  avi.editIndex = [&](std::vector<Entry>& entries) {
    entries.insert(entries.begin(), {"00dc", avi.offsetOf(0), 8});
  };
  avi.streams[0].length = 3;
  expectRefused(avi, otherFrames);
  avi.streams[0].length = 2;
  expectRefused(avi, otherFrames);
}

TEST_F(AVIReadingTest, takesTheIndexWhereTheChunkHeadersLie) {
  expectPlain(lyingAVI());
  SmallAVI avi = lyingAVI();
  avi.editIndex = [](std::vector<Entry>& entries) {
    entries.insert(entries.begin() + 3, {"00dc", entries[2].offset, 0});
    entries.insert(entries.begin(), {"00dc", 4, 0});
  };
  expectPlain(avi, {2, 2, 1});
}

TEST_F(AVIReadingTest, refusesAFileOfWhichNeitherWalkNorIndexCanBeRead) {
  SmallAVI avi = lyingAVI();
  avi.hasIndex = false;
  avi.streams[0].length = 3;
  expectRefused(avi, damagedChunks);
  avi = lyingAVI();
  avi.editIndex = [](std::vector<Entry>& entries) { entries[2].offset += 1; };
  expectRefused(avi, damagedChunks);
}

TEST_F(AVIReadingTest, asksTheHeaderAndThePicturesWhereTheChunkHeadersLie) {
  SmallAVI avi = lyingAVI();
  avi.streams[0].length = 4;
  expectRefused(avi, otherCounts);
  avi.totalFrames = 3;
  expectPlain(avi);
  avi = lyingAVI();
  avi.pieces[2].data[1] = 'x';
  expectRefused(avi, noPictures);
  avi = lyingAVI();
  avi.streams[0].compression = "H264";
  expectRefused(avi, noPictures);
}

TEST_F(AVIReadingTest, asksForTheSizesOfSoundWhereTheOtherChunkHeadersLie) {
  SmallAVI avi = lyingAVI();
  avi.pieces[3].claimedSize = 6;
  expectRefused(avi, "the index and the chunks have sound of other sizes");
  avi = lyingAVI();
  avi.editIndex = [](std::vector<Entry>& entries) {
    std::erase_if(entries, [](const Entry& entry) { return entry.name == "01wb"; });
  };
  expectRefused(avi, "its chunks are damaged and its index has no sound");
}

TEST_F(AVIReadingTest, findsTheIndexByTheSizeOfTheMovieListWhereTheWalkIsLost) {
  for (const int error : {-16, -8, 0, 4, 16}) {
    SmallAVI avi = lyingAVI();
    avi.claimedMovieSize = [&](std::uint32_t size) { return size + static_cast<std::uint32_t>(error); };
    expectPlain(avi);
  }
  SmallAVI avi = lyingAVI();
  avi.behindMovie = chunk("JUNK", "between") + list("INFO", "");
  expectPlain(avi);
  avi.behindMovie += "some text, which is no chunk";
  expectRefused(avi, damagedChunks);
  avi = lyingAVI();
  avi.claimedMovieSize = [](std::uint32_t size) { return size + 17; };
  expectRefused(avi, damagedChunks);
  avi.claimedMovieSize = [](std::uint32_t) { return 0; };
  expectRefused(avi, damagedChunks);
}

TEST_F(AVIReadingTest, countsTheSlotsOfEachStreamByItself) {
  SmallAVI avi = silentAVI();
  avi.streams.push_back({});
  avi.hasIndex = false;
  avi.streams[0].length = 3;
  avi.streams[1].length = 1;
  avi.pieces.push_back({.name = "01dc", .data = picture("other")});
  EXPECT_EQ(read(avi).video.size(), 2);
  // The main header counts the first stream's frames and no others.
  avi.streams[0].length = 100;
  avi.totalFrames = 3;
  EXPECT_EQ(read(avi).video.size(), 2);
  avi.streams[1].length = 100;
  avi.totalFrames = 1;
  avi.streams[0].length = 3;
  expectRefused(avi, noIndex);
}

TEST_F(AVIReadingTest, takesTheCountOfTheExtendedHeaderInsteadOfTheMainOnes) {
  SmallAVI avi = repeatingAVI();
  avi.streams[0].length = 100;
  avi.totalFrames = 3;
  avi.behindStreams = list("odml", chunk("dmlh", little32(4)));
  expectPlain(avi, {1, 2, 1});
  avi.totalFrames = 4;
  avi.behindStreams = list("odml", chunk("dmlh", little32(3)));
  expectRefused(avi, otherTimes);
}

TEST_F(AVIReadingTest, refusesSoundThatTheHeaderCountsAndAWalkMayHaveMissed) {
  constexpr std::string_view moreSound = "the header counts more sound than there is";
  SmallAVI avi = plainAVI();
  avi.hasIndex = false;
  avi.streams[0].length = 3;
  avi.streams[1].length = 7;  // of 6 samples; one is no difference
  const auto cut = [](std::uint32_t) { return 1'000'000; };
  avi.claimedMovieSize = cut;
  expectPlain(avi);
  avi.streams[1].length = 8;
  expectRefused(avi, moreSound);
  avi.hasIndex = true;
  expectPlain(avi);
  avi.hasIndex = false;
  avi.claimedMovieSize = {};
  expectPlain(avi);
  avi.pieces.push_back({.name = "JUNK", .data = "harmless"});
  expectPlain(avi);
  avi.pieces.push_back({.name = "01w ", .data = "sound"});
  expectRefused(avi, moreSound);
  avi.streams[1].rate = 0;  // a header that doesn't say
  expectPlain(avi);
}

TEST_F(AVIReadingTest, refusesSoundBetweenTheChunksOfTheIndexWhereTheWalkIsLost) {
  SmallAVI avi = lyingAVI();
  avi.streams[0].length = 3;
  avi.pieces.insert(avi.pieces.begin() + 2, {.name = "00dc", .claimedSize = 153'600, .isIndexed = false});
  avi.pieces.insert(avi.pieces.begin() + 2, {.name = "JUNK", .data = "junk", .isIndexed = false});
  expectPlain(avi);
  for (const std::size_t place : {2U, 4U, 8U}) {
    SmallAVI hidden = avi;
    hidden.pieces.insert(hidden.pieces.begin() + static_cast<std::ptrdiff_t>(place),
                         {.name = "01wb", .data = "more", .isIndexed = false});
    expectRefused(hidden, "there is sound that is not in the index");
  }
  avi.pieces.insert(avi.pieces.begin() + 2, {.name = "01wb", .isIndexed = false});
  expectPlain(avi);
}

TEST_F(AVIReadingTest, losesItselfInAFurtherListWithoutSamples) {
  SmallAVI avi = silentAVI();
  avi.hasIndex = false;
  avi.streams[0].length = 3;
  const std::string further = "RIFF" + little32(4) + "AVIX";
  avi.behindMovie = further;
  expectRefused(avi, damagedChunks);
  avi.behindMovie = further + further + list("movi", "");
  expectRefused(avi, damagedChunks);
  avi.behindMovie = further + list("movi", "");
  expectPlain(avi);
}

TEST_F(AVIReadingTest, refusesAFrameThatIsTooLarge) {
  SmallAVI avi = silentAVI();
  avi.pieces[1].data = std::string(AVIReading::maximumFrameSize, 'x');
  EXPECT_EQ(read(avi).video[0].frames.size(), 3);
  avi.pieces[1].data += 'x';
  expectRefused(avi, "a frame is too large");
}

// A truncated file

TEST_F(AVIReadingTest, refusesAFileThatIsCutOffAnywhereWithinItsData) {
  const SmallAVI avi = plainAVI();
  const std::string file = avi.bytes();
  const std::size_t lastFrame = avi.offsetOf(4) + avi.pieces[4].data.size();
  for (std::size_t size = 0; size < lastFrame; ++size) {
    EXPECT_THROW(read(file.substr(0, size)), MovieError) << size;
  }
}

// Limits

TEST_F(AVIReadingTest, refusesMoreChunksThanItHasMemoryFor) {
  SmallAVI avi;
  avi.hasIndex = false;
  avi.streams[0].length = 1'048'576;
  avi.pieces = {{.name = "00dc", .data = picture("")}};
  avi.claimedMovieSize = [](std::uint32_t) { return 0; };
  const std::string emptyChunk = "00dc" + little32(0);
  const std::string file = avi.bytes() + repeated(emptyChunk, AVIReading::maximumChunks - 1);
  EXPECT_EQ(read(file).video[0].frames[0].slots, 1'048'576);
  expectRefused(file + emptyChunk, "it has too many chunks");
}

TEST_F(AVIReadingTest, refusesMoreEntriesOfAnIndexThanItHasMemoryFor) {
  const std::string file = silentAVI().bytes();
  const std::size_t index = file.rfind("idx1");
  const std::string lastEntry = file.substr(file.size() - 16);
  const auto withEntries = [&](std::size_t count) {
    return file.substr(0, index + 4) + little32(count * 16) + file.substr(index + 8) +
           repeated(lastEntry, count - 3);
  };
  std::string longest = withEntries(AVIReading::maximumChunks);
  const std::size_t length = longest.find("strh") + 8 + 32;
  longest.replace(length, 4, little32(AVIReading::maximumChunks));
  EXPECT_EQ(read(longest).video[0].slots, 1'048'576);
  expectRefused(withEntries(AVIReading::maximumChunks + 1), "its index has too many entries");
}

TEST_F(AVIReadingTest, endsWhenItIsCancelled) {
  writeFile(url_, plainAVI().bytes());
  CancellationSource cancellation;
  cancellation.cancel();
  EXPECT_THROW(AVIReading::of(FileReader(url_), cancellation.token()), CancellationError);
}

}  // namespace tolvander::tests
