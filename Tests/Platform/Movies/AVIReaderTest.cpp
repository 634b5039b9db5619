// What is read where walk, index, headers and pictures agree or don't: Documentation/avi.md.

#include <chrono>

#include "Tests/Platform/Movies/AVIReaderFixture.h"

namespace tolvander::tests {

namespace {

class AVIReaderTest : public AVIReaderFixture {};

constexpr std::uint32_t broken = 77;  // a count that is none of those in question

SmallAVI counting(SmallAVI avi, std::uint32_t streamFrames, std::uint32_t movieFrames) {
  avi.streamFrames = streamFrames;
  avi.movieFrames = movieFrames;
  return avi;
}

SmallAVI withoutIndex(SmallAVI avi = SmallAVI::plain()) {
  avi.hasIndex = false;
  return avi;
}

// A walk that is cut: the list declares an end far behind the file's.
SmallAVI cut(SmallAVI avi) {
  avi.declaredSize = 1'000'000;
  return avi;
}

// The frame b is shown for two slots by the index alone.
SmallAVI withRepeat() {
  SmallAVI avi;
  avi.add("00dc", picture('a'));
  avi.add("01wb", "AAAA");
  avi.add("00dc", picture('b'));
  avi.repeat();
  avi.add("01wb", "BBBB");
  avi.add("00dc", picture('c'));
  avi.add("01wb", "CCCC");
  return counting(avi, 4, 4);
}

// The frame b is shown for two slots by a chunk without bytes, which the index may have or not.
SmallAVI withEmptyChunk(bool isIndexed) {
  SmallAVI avi = SmallAVI::plain();
  const std::size_t place = avi.samples.find("01wb", avi.samples.find(picture('b')));
  avi.samples.insert(place, riffChunk("00dc", ""));
  for (SmallAVI::Entry& entry : avi.entries) {
    entry.offset += entry.offset > place + 3 ? 8 : 0;
  }
  if (isIndexed) {
    avi.entries.insert(avi.entries.begin() + 3, SmallAVI::Entry{"00dc", 0, 0});
  }
  return counting(avi, 4, 4);
}

// Chunk headers of video that all name the size of the camera's buffer, beside a true index.
SmallAVI withBufferSizes() {
  SmallAVI avi;
  for (const char letter : {'a', 'b', 'c'}) {
    avi.addClaiming(153'600, "00dc", picture(letter));
    avi.add("01wb", std::string(4, static_cast<char>(letter - 'a' + 'A')));
  }
  return avi;
}

SmallAVI withHalfAnIndex() {
  SmallAVI avi = SmallAVI::plain();
  avi.entries.resize(3);  // a, its sound, b
  return avi;
}

const std::vector<ShownChunk> longerB = {{picture('a'), 1}, {picture('b'), 2}, {picture('c'), 1}};

}  // namespace

// Walk whole or cut, no index.

TEST_F(AVIReaderTest, readsByTheWalkWithoutAnIndexWhereTheHeaderCountsItsFrames) {
  expectFrames(withoutIndex(), plainFrames_);
  expectFrames(cut(withoutIndex()), plainFrames_);
  expectFrames(counting(withoutIndex(), 3, broken), plainFrames_);
  expectFrames(counting(withoutIndex(), broken, 3), plainFrames_);
  SmallAVI garbage = SmallAVI::plain();
  garbage.entries[0].offset = 5;
  expectFrames(garbage, plainFrames_);
}

TEST_F(AVIReaderTest, readsByTheWalkWhereTheHeaderWasNeverBroughtUpToDate) {
  for (const std::uint32_t count : {0U, 1U, 2U}) {
    expectFrames(counting(withoutIndex(), count, 0), plainFrames_);
    expectRefused(cut(counting(withoutIndex(), count, 0)), "another number of frames");
  }
  SmallAVI notWhole = counting(withoutIndex(), 0, 0);
  notWhole.samples.replace(notWhole.samples.find(picture('c')) + 18, 2, "cc");
  expectRefused(notWhole, "another number of frames");
}

TEST_F(AVIReaderTest, refusesAWalkWithoutAnIndexWhereTheHeaderCountsMoreFrames) {
  expectRefused(counting(withoutIndex(), 4, 4), "another number of frames");
  expectRefused(counting(withoutIndex(), 0, 4), "another number of frames");
  expectRefused(counting(withoutIndex(), 4, 0), "another number of frames");
}

// Walk and index have the same chunks.

TEST_F(AVIReaderTest, ignoresTheHeaderWhereWalkAndIndexAgree) {
  for (const std::uint32_t count : {0U, 3U, 4U, broken}) {
    expectFrames(counting(SmallAVI::plain(), count, count), plainFrames_);
    expectFrames(cut(counting(SmallAVI::plain(), count, count)), plainFrames_);
    expectFrames(counting(withEmptyChunk(true), count, count), longerB);
  }
}

TEST_F(AVIReaderTest, refusesWhereWalkAndIndexRepeatDifferentFrames) {
  SmallAVI avi = withEmptyChunk(false);
  avi.entries.insert(avi.entries.begin() + 1, avi.entries[0]);
  expectRefused(avi, "the index repeats other frames");
}

TEST_F(AVIReaderTest, showsTheRepeatsOfTheIndexWhereTheHeaderCountsThemOrNothingThatIsThere) {
  expectFrames(withRepeat(), longerB);
  expectFrames(counting(withRepeat(), broken, 4), longerB);
  expectFrames(counting(withRepeat(), 4, 3), longerB);
  expectFrames(counting(withRepeat(), broken, broken), longerB);
  expectFrames(counting(withRepeat(), 0, 0), longerB);
  expectFrames(cut(withRepeat()), longerB);
}

TEST_F(AVIReaderTest, refusesTheRepeatsOfTheIndexWhereTheHeaderCountsTheChunks) {
  expectRefused(counting(withRepeat(), 3, 4), "the index and the header count different numbers of frames");
  expectRefused(counting(withRepeat(), broken, 3), "count different numbers");
}

TEST_F(AVIReaderTest, refusesRepeatsOfTheIndexThatShortenAnotherFrame) {
  SmallAVI avi = withEmptyChunk(false);
  avi.entries.insert(avi.entries.begin() + 1, 2, avi.entries[0]);
  expectRefused(counting(avi, 5, 5), "the index repeats other frames");
}

TEST_F(AVIReaderTest, showsEmptyChunksThatAreNotInTheIndexWhereTheHeaderCountsThemOrNothingThatIsThere) {
  expectFrames(withEmptyChunk(false), longerB);
  expectFrames(counting(withEmptyChunk(false), broken, broken), longerB);
  expectRefused(counting(withEmptyChunk(false), 3, 3), "count different numbers");
}

TEST_F(AVIReaderTest, letsTheFirstFrameBeginAtOnce) {
  SmallAVI avi;
  avi.drop();
  avi.drop();
  avi.add("00dc", picture('a'));
  avi.add("01wb", "AAAA");
  avi.repeat();
  expectFrames(counting(avi, 4, 4), {{picture('a'), 4}}, "AAAA");
}

// The index has some of the walk's chunks.

TEST_F(AVIReaderTest, readsByAWholeWalkWhereTheIndexIsHalf) {
  expectFrames(withHalfAnIndex(), plainFrames_);
  expectFrames(counting(withHalfAnIndex(), broken, broken), plainFrames_);
  expectRefused(counting(withHalfAnIndex(), 2, 2), "the index lists only some");
  expectRefused(cut(withHalfAnIndex()), "the index lists only some");
}

TEST_F(AVIReaderTest, refusesHalfAnIndexThatRepeatsFrames) {
  SmallAVI avi = withHalfAnIndex();
  avi.repeat();
  expectRefused(avi, "the index lists only some");
}

TEST_F(AVIReaderTest, readsSoundByAWholeWalkWhereOnlyTheIndexOfPicturesIsWhole) {
  SmallAVI avi = SmallAVI::plain();
  std::erase_if(avi.entries, [](const SmallAVI::Entry& entry) { return entry.name == "01wb"; });
  expectFrames(avi, plainFrames_);
  expectRefused(cut(avi), "the index lists other sound");
}

TEST_F(AVIReaderTest, refusesAnIndexOfChunksThatTheWalkDoesNotHave) {
  SmallAVI avi;
  avi.add("00dc", picture('a'));
  avi.addUnindexed("JUNK" + little32(28));
  avi.add("00dc", picture('b'));
  avi.add("01wb", "AAAABBBBCCCC");
  expectRefused(counting(avi, 2, 2), "the index lists other frames");
}

// The index has other sizes.

TEST_F(AVIReaderTest, takesTheSizesWithWhichThePicturesAreWhole) {
  SmallAVI walkIsRight = SmallAVI::plain();
  walkIsRight.entries[2].size -= 1;
  expectFrames(walkIsRight, plainFrames_);
  walkIsRight.streamFrames = broken;
  expectFrames(walkIsRight, plainFrames_);

  SmallAVI indexIsRight = SmallAVI::plain();
  const std::size_t place = indexIsRight.samples.find(picture('b')) - 8;
  indexIsRight.samples.insert(place + 28, "xx");
  indexIsRight.samples.replace(place + 4, 4, little32(22));
  for (std::size_t entry = 3; entry < 6; ++entry) {
    indexIsRight.entries[entry].offset += 2;
  }
  expectFrames(indexIsRight, plainFrames_);

  SmallAVI both = indexIsRight;
  both.samples.replace(place + 28, 2, std::string("\xFF\0", 2));
  expectFrames(both, plainFrames_);

  SmallAVI none = indexIsRight;
  none.entries[0].size -= 1;
  expectRefused(none, "the index and the chunks differ in size");
  SmallAVI noJPEG = walkIsRight;
  noJPEG.videoFormat = "H264";
  expectRefused(noJPEG, "the index and the chunks differ in size");
  SmallAVI repeated = counting(walkIsRight, 4, 4);
  repeated.entries.insert(repeated.entries.begin() + 1, repeated.entries[0]);
  expectRefused(repeated, "the index and the chunks differ in size");
}

TEST_F(AVIReaderTest, refusesSoundOfTwoSizes) {
  SmallAVI avi = SmallAVI::plain();
  avi.entries[1].size -= 2;
  expectRefused(avi, "the index lists other sound");
}

// The walk is lost.

TEST_F(AVIReaderTest, readsByTheIndexWhereChunkHeadersNameTheBuffersSize) {
  expectFrames(withBufferSizes(), plainFrames_);
  expectFrames(counting(withBufferSizes(), broken, 3), plainFrames_);
  SmallAVI dropped = withBufferSizes();
  dropped.entries.insert(dropped.entries.begin() + 2, SmallAVI::Entry{"00dc", 0, 0});
  dropped.repeat();
  expectFrames(counting(dropped, 5, 5), {{picture('a'), 2}, {picture('b'), 1}, {picture('c'), 2}});
}

TEST_F(AVIReaderTest, refusesALostWalkWithoutThreeOtherWitnesses) {
  expectRefused(counting(withBufferSizes(), broken, broken), "the index can't be confirmed");
  expectRefused(withoutIndex(withBufferSizes()), "no usable index");
  SmallAVI noJPEG = withBufferSizes();
  noJPEG.videoFormat = "H264";
  expectRefused(noJPEG, "the index can't be confirmed");
  for (const std::size_t damaged : {std::size_t{0}, std::size_t{1}, std::size_t{18}, std::size_t{19}}) {
    SmallAVI notWhole = withBufferSizes();
    notWhole.samples[notWhole.samples.find(picture('b')) + damaged] = 'x';
    expectRefused(notWhole, "the index can't be confirmed");
  }
}

TEST_F(AVIReaderTest, acceptsFillingBehindAPictureButNothingElse) {
  for (const std::size_t length : {1U, 20U, 5000U}) {
    SmallAVI avi;
    avi.addClaiming(153'600, "00dc", picture('a') + std::string(length, '\0'));
    avi.addClaiming(153'600, "00dc", picture('b') + std::string(length, '\xFF'));
    avi.add("01wb", "AAAA");
    EXPECT_EQ(refusal(counting(avi, 2, 2)), "");
    avi.samples[avi.samples.find(picture('a')) + 20] = 'x';
    expectRefused(counting(avi, 2, 2), "the index can't be confirmed");
  }
}

TEST_F(AVIReaderTest, refusesALostWalkWhereChunksOfSoundMayBeMissing) {
  SmallAVI otherSize = withBufferSizes();
  otherSize.entries[3].size -= 2;
  expectRefused(otherSize, "its chunks of sound are damaged");
  SmallAVI noEntries = withBufferSizes();
  std::erase_if(noEntries.entries, [](const SmallAVI::Entry& entry) { return entry.name == "01wb"; });
  expectRefused(noEntries, "its chunks of sound are damaged");
  for (const std::ptrdiff_t missing : {1, 3, 5}) {
    SmallAVI oneMissing = withBufferSizes();
    oneMissing.entries.erase(oneMissing.entries.begin() + missing);
    expectRefused(oneMissing, "its chunks of sound are damaged");
  }
  SmallAVI behindADroppedFrame;
  behindADroppedFrame.addClaiming(153'600, "00dc", picture('a', 21));
  behindADroppedFrame.add("01wb", "AAAA");
  behindADroppedFrame.addUnindexed("00dc" + little32(153'600) + std::string(3, '\0'));
  behindADroppedFrame.drop();
  EXPECT_EQ(refusal(counting(behindADroppedFrame, 2, 2)), "");
  behindADroppedFrame.addUnindexed(riffChunk("JUNK", "xyz") + riffChunk("01wb", "BBBB"));
  expectRefused(counting(behindADroppedFrame, 2, 2), "its chunks of sound are damaged");
}

// Sound that no other structure counts.

TEST_F(AVIReaderTest, asksTheHeaderForTheLengthOfSoundWhereChunksMayBeMissing) {
  SmallAVI renamed = SmallAVI::plain();
  renamed.samples.replace(renamed.samples.rfind("01wb"), 4, "ZZZZ");
  expectRefused(renamed, "the header counts more sound");
  expectRefused(withoutIndex(renamed), "the header counts more sound");
  renamed.soundLength = 5;  // rounded up
  EXPECT_EQ(refusal(renamed), "");

  SmallAVI shortened = cut(withoutIndex());
  shortened.samples.resize(shortened.samples.rfind("01wb"));
  expectRefused(shortened, "the header counts more sound");
}

// The whole file.

TEST_F(AVIReaderTest, refusesAFileWithoutVideo) {
  const std::string bytes = SmallAVI::plain().bytes();
  write(std::string(bytes).replace(bytes.find("vids"), 4, "txts"));
  EXPECT_THROW(readAVI(file(), token_), MovieError);
}

TEST_F(AVIReaderTest, stopsWhenCancelled) {
  write(SmallAVI::plain());
  CancellationSource source;
  source.cancel();
  EXPECT_THROW(readAVI(file(), source.token()), CancellationError);
}

TEST_F(AVIReaderTest, refusesEveryLengthToWhichAFileWithoutAnIndexIsCut) {
  const std::string whole = withoutIndex().bytes();
  for (std::size_t length = 12; length < whole.size(); ++length) {
    write(whole.substr(0, length));
    EXPECT_THROW(readAVI(file(), token_), MovieError) << length << " of " << whole.size();
  }
}

}  // namespace tolvander::tests
