#include "Platform/Linux/Movies/AVIWalk.h"

#include "Tests/Platform/Movies/AVIReaderFixture.h"

namespace tolvander::tests {

namespace {

using platform::linux_::AVIWalk;
using State = AVIWalk::State;

class AVIWalkTest : public AVIReaderFixture {
 protected:
  void expectPlain(const SmallAVI& avi, State state = State::whole) {
    const AVIWalk walked = walk(avi);
    EXPECT_EQ(walked.state, state);
    EXPECT_EQ(contents(walked.streams[0]), plainFrames_);
    EXPECT_EQ(walked.streams[1].chunks.size(), 3);
  }

  void expectLost(const SmallAVI& avi) { EXPECT_EQ(walk(avi).state, State::lost); }

  void expectRefusedByWalk(const SmallAVI& avi) { EXPECT_THROW(walk(avi), MovieError); }
};

// A plain file with bytes between its second and third frame.
SmallAVI withBytesInside(const std::string& bytes) {
  SmallAVI avi;
  avi.add("00dc", picture('a'));
  avi.add("01wb", "AAAA");
  avi.add("00dc", picture('b'));
  avi.addUnindexed(bytes);
  avi.add("01wb", "BBBB");
  avi.add("00dc", picture('c'));
  avi.add("01wb", "CCCC");
  return avi;
}

}  // namespace

TEST_F(AVIWalkTest, findsEveryChunkAndTheIndexBehind) {
  expectPlain(SmallAVI::plain());
  EXPECT_EQ(walk(SmallAVI::plain()).oldIndex->size, 6 * 16);
  SmallAVI without = SmallAVI::plain();
  without.hasIndex = false;
  expectPlain(without);
  EXPECT_FALSE(walk(without).oldIndex);
}

TEST_F(AVIWalkTest, countsAnEmptyChunkAsASlotOfTheFrameBefore) {
  SmallAVI avi;
  avi.add("00dc", "");
  avi.add("00dc", picture('a'));
  avi.add("00dc", "");
  avi.add("00dc", "");
  avi.add("00dc", picture('b'));
  const AVIWalk walked = walk(avi);
  EXPECT_EQ(contents(walked.streams[0]), (std::vector<ShownChunk>{{picture('a'), 4}, {picture('b'), 1}}));
  EXPECT_EQ(walked.streams[0].slots, 5);
}

TEST_F(AVIWalkTest, stepsOverPaddingListsAndIndexes) {
  for (const std::string& bytes :
       {riffChunk("JUNK", "xyz"), riffList("INFO", riffChunk("ISFT", "text")), riffChunk("ix00", "index"),
        riffChunk("01ix", "index"), std::string(4, '\0'), std::string(511, '\0')}) {
    expectPlain(withBytesInside(bytes));
    EXPECT_FALSE(walk(withBytesInside(bytes)).hasUnknownChunks);
  }
}

TEST_F(AVIWalkTest, notesChunksOfUnknownNames) {
  expectPlain(withBytesInside(riffChunk("GPS0", "position")));
  EXPECT_TRUE(walk(withBytesInside(riffChunk("GPS0", "position"))).hasUnknownChunks);
}

TEST_F(AVIWalkTest, entersRecordLists) {
  SmallAVI avi;
  for (const char letter : {'a', 'b', 'c'}) {
    avi.addUnindexed("LIST" + little32(0) + "rec ");
    avi.add("00dc", picture(letter));
    avi.add("01wb", "sound ");
  }
  expectPlain(avi);
}

TEST_F(AVIWalkTest, stepsOverChunksOfIgnoredStreams) {
  SmallAVI avi = SmallAVI::plain();
  for (const char* type : {"txts", "mids", "dats"}) {
    avi.soundType = type;
    const AVIWalk walked = walk(avi);
    EXPECT_EQ(walked.state, State::whole);
    EXPECT_EQ(contents(walked.streams[0]), plainFrames_);
    EXPECT_TRUE(walked.streams[1].chunks.empty());
    EXPECT_FALSE(walked.hasUnknownChunks);
  }
}

TEST_F(AVIWalkTest, findsTheNextChunkWhereAPadByteIsMissing) {
  for (const bool isPadded : {true, false}) {
    SmallAVI avi;
    for (const char letter : {'a', 'b', 'c'}) {
      avi.addUnindexed("00dc" + little32(21) + picture(letter, 21) + (isPadded ? std::string(1, 'x') : ""));
      avi.add("01wb", "four");
    }
    const AVIWalk walked = walk(avi);
    EXPECT_EQ(walked.state, State::whole);
    EXPECT_EQ(walked.streams[0].chunks.size(), 3);
    EXPECT_EQ(walked.streams[1].chunks.size(), 3);
  }
}

TEST_F(AVIWalkTest, isWholeWhereTheDeclaredEndIsAFewBytesOff) {
  for (const std::int64_t slip : {-16, -8, -4, 4, 16}) {
    SmallAVI avi = SmallAVI::plain();
    avi.slip = slip;
    expectPlain(avi);
  }
  for (const std::uint32_t size : {0U, 0xFFFFFFFFU}) {
    SmallAVI avi = SmallAVI::plain();
    avi.declaredSize = size;
    expectPlain(avi);
  }
  for (const std::string& bytes :
       {std::string(500, '\0'), riffList("INFO", riffChunk("ISFT", "long text"))}) {
    SmallAVI avi = SmallAVI::plain();
    avi.behindSamples = bytes;
    expectPlain(avi);
    avi.slip = static_cast<std::int64_t>(bytes.size());
    expectPlain(avi);
  }
}

TEST_F(AVIWalkTest, isCutWhereTheDeclaredEndIsElsewhere) {
  for (const std::int64_t slip : {-40, 40, 100'000}) {
    SmallAVI avi = SmallAVI::plain();
    avi.slip = slip;
    expectPlain(avi, State::cut);
  }
  SmallAVI avi = SmallAVI::plain();
  avi.hasIndex = false;
  avi.slip = 8;  // beyond the end of the file, if only a little
  expectPlain(avi, State::cut);
}

TEST_F(AVIWalkTest, endsAtTheDeclaredEndWhereNoChunkFollows) {
  SmallAVI avi = SmallAVI::plain();
  avi.hasIndex = false;
  avi.behindSamples = "\x01\x02\x03 no chunk at all";
  expectPlain(avi);
  avi.slip = -40;
  expectLost(avi);
}

TEST_F(AVIWalkTest, isLostWhereNoChunkIs) {
  for (const std::string& bytes :
       {std::string("\x01\x02\x03\x04 and more"), riffList("movi", "list"), "JUNK" + little32(1'000'000)}) {
    expectLost(withBytesInside(bytes));
  }
}

TEST_F(AVIWalkTest, isLostWhereAChunkGoesBeyondTheFile) {
  SmallAVI avi = SmallAVI::plain();
  avi.addClaiming(153'600, "00dc", picture('d'));
  expectLost(avi);
}

TEST_F(AVIWalkTest, isLostWhereTheFileEndsWithinAChunkHeaderOfTheList) {
  SmallAVI avi = SmallAVI::plain();
  avi.hasIndex = false;
  avi.addUnindexed("00dc");
  expectLost(avi);
  avi.declaredSize = 1'000;
  expectLost(avi);
  avi.declaredSize = 0;
  expectPlain(avi);
  avi = SmallAVI::plain();
  avi.hasIndex = false;
  avi.addUnindexed(std::string(7, '\0'));
  expectPlain(avi);
}

TEST_F(AVIWalkTest, refusesChunksThatFitNoStream) {
  for (const char* name : {"00pc", "00wb", "01dc", "01db", "02dc", "77wb"}) {
    expectRefusedByWalk(withBytesInside(riffChunk(name, "data")));
  }
}

TEST_F(AVIWalkTest, goesOnInFurtherRIFFs) {
  SmallAVI avi = SmallAVI::plain();
  const std::string more = riffList("movi", riffChunk("00dc", picture('d')));
  avi.behindIndex = "RIFF" + little32(0) + "AVIX" + riffChunk("JUNK", "") + more;
  const AVIWalk walked = walk(avi);
  EXPECT_EQ(walked.state, State::whole);
  EXPECT_EQ(walked.streams[0].chunks.size(), 4);
  avi.behindIndex += std::string("\x01") + "no chunk";
  EXPECT_EQ(walk(avi).state, State::whole);
  avi.behindIndex = "RIFF" + little32(0) + "AVIX" + riffChunk("JUNK", "");
  expectLost(avi);
  avi.behindIndex = "RIFF" + little32(0) + "AVI " + more;
  expectLost(avi);
}

TEST_F(AVIWalkTest, isNotConfusedByTextBehindTheIndexButBySamples) {
  SmallAVI avi = SmallAVI::plain();
  avi.behindIndex = "some text that a program has put there";
  expectPlain(avi);
  avi.behindIndex = riffChunk("01wb", "late");
  expectLost(avi);
}

TEST_F(AVIWalkTest, refusesMoreChunksThanItHasMemoryFor) {
  SmallAVI avi;
  for (int count = 0; count < 1'048'576; ++count) {
    avi.samples.append("00dc\0\0\0\0", 8);
  }
  EXPECT_EQ(walk(avi).streams[0].slots, 1'048'576);
  avi.add("00dc", "");
  expectRefusedByWalk(avi);
}

}  // namespace tolvander::tests
