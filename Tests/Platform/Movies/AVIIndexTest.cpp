#include "Platform/Linux/Movies/AVIIndex.h"

#include "Tests/Platform/Movies/AVIReaderFixture.h"

namespace tolvander::tests {

namespace {

class AVIIndexTest : public AVIReaderFixture {
 protected:
  void expectUsable(const SmallAVI& avi, const std::vector<ShownChunk>& frames) {
    const auto streams = index(avi);
    ASSERT_TRUE(streams);
    EXPECT_EQ(contents((*streams)[0]), frames);
  }

  void expectGarbage(const SmallAVI& avi) { EXPECT_FALSE(index(avi)); }
};

// An ix## chunk. Its offsets count from `base`.
std::string standardIndex(const std::string& name, std::uint64_t base,
                          const std::vector<std::pair<std::uint64_t, std::uint32_t>>& entries) {
  std::string content =
      little16(2) + std::string("\0\1", 2) + little32(entries.size()) + name + little64(base) + little32(0);
  for (const auto& [offset, size] : entries) {
    content += little32(offset - base) + little32(size);
  }
  return riffChunk("ix" + name.substr(0, 2), content);
}

std::string superIndex(const std::string& name, const std::vector<std::uint64_t>& offsets) {
  std::string content =
      little16(4) + std::string(2, '\0') + little32(offsets.size()) + name + std::string(12, '\0');
  for (const std::uint64_t offset : offsets) {
    content += little64(offset) + little32(0) + little32(0);
  }
  return riffChunk("indx", content);
}

// A plain file with an OpenDML index behind its samples, and none of the old kind.
SmallAVI withOpenDMLIndex() {
  SmallAVI avi = SmallAVI::plain();
  avi.hasIndex = false;
  avi.videoIndex = superIndex("00dc", {0});
  avi.soundIndex = superIndex("01wb", {0});
  const std::uint64_t word = avi.header().size() + 8;
  std::vector<std::pair<std::uint64_t, std::uint32_t>> video;
  std::vector<std::pair<std::uint64_t, std::uint32_t>> sound;
  for (const SmallAVI::Entry& entry : avi.entries) {
    (entry.name == "00dc" ? video : sound).emplace_back(word + entry.offset + 8, entry.size);
  }
  const std::uint64_t place = word + 4 + avi.samples.size();
  const std::string first = standardIndex("00dc", word, video);
  avi.videoIndex = superIndex("00dc", {place});
  avi.soundIndex = superIndex("01wb", {place + first.size()});
  avi.samples += first + standardIndex("01wb", word, sound);
  return avi;
}

}  // namespace

TEST_F(AVIIndexTest, countsFromTheWordFromBehindItAndFromTheFilesStart) {
  for (const auto base : {SmallAVI::Base::word, SmallAVI::Base::behindWord, SmallAVI::Base::file}) {
    SmallAVI avi = SmallAVI::plain();
    avi.base = base;
    expectUsable(avi, plainFrames_);
  }
}

TEST_F(AVIIndexTest, countsRepeatsAndDroppedFramesAsSlots) {
  SmallAVI avi;
  avi.drop();
  avi.add("00dc", picture('a'));
  avi.repeat();
  avi.add("01wb", "AAAA");
  avi.repeat();
  avi.drop();
  avi.add("00dc", picture('b'));
  expectUsable(avi, {{picture('a'), 5}, {picture('b'), 1}});
  EXPECT_EQ((*index(avi))[0].slots, 6);
}

TEST_F(AVIIndexTest, isNothingWithoutEntriesOfChunks) {
  SmallAVI avi = SmallAVI::plain();
  avi.hasIndex = false;
  expectGarbage(avi);
  avi = SmallAVI::plain();
  avi.entries.clear();
  expectGarbage(avi);
  avi.drop();
  expectGarbage(avi);
}

TEST_F(AVIIndexTest, passesOverRecordListsAndIgnoredStreams) {
  SmallAVI avi = SmallAVI::plain();
  avi.entries.push_back({"rec ", 0xFFFFFF00, 77});
  expectUsable(avi, plainFrames_);
  avi.soundType = "txts";
  avi.entries.push_back({"01tx", 0xFFFFFF00, 77});
  expectUsable(avi, plainFrames_);
}

TEST_F(AVIIndexTest, isGarbageWhereAnEntryLeadsToNoChunkOfItsName) {
  for (const SmallAVI::Entry& entry :
       {SmallAVI::Entry{"00dc", 5, 3}, {"00db", 4, 20}, {"01wb", 4, 20}, {"00dc", 0x7FFFFFF0, 20}}) {
    SmallAVI avi = SmallAVI::plain();
    avi.entries[0] = entry;
    expectGarbage(avi);
  }
  for (const char* name : {"00pc", "00wb", "01dc", "02dc", "JUNK", "\1\2\3\4"}) {
    SmallAVI avi = SmallAVI::plain();
    avi.samples += riffChunk(name, "data");
    avi.entries.push_back({name, static_cast<std::uint32_t>(avi.samples.size() - 8), 4});
    avi.declaredSize = 0xFFFFFFFF;
    write(avi);
    const auto opened = file();
    platform::linux_::AVIBytes bytes(opened, token_);
    const auto headers = readAVIHeaders(bytes);
    const std::int64_t place = static_cast<std::int64_t>(bytes_.rfind("idx1"));
    platform::linux_::AVIWalk walked;
    walked.oldIndex = chunkHeaderAt(bytes, place);
    EXPECT_FALSE(readAVIIndex(opened, headers, walked, token_)) << name;
  }
}

TEST_F(AVIIndexTest, isGarbageWhereEntriesOverlapOrGoBack) {
  SmallAVI larger = SmallAVI::plain();
  larger.entries[0].size += 12;  // into the sound behind it, and no further
  expectGarbage(larger);
  SmallAVI back = SmallAVI::plain();
  back.entries.push_back(back.entries[0]);
  expectGarbage(back);
  SmallAVI sound = SmallAVI::plain();
  sound.repeat("01wb");
  expectGarbage(sound);
  SmallAVI otherSize = SmallAVI::plain();
  otherSize.repeat("00dc");
  otherSize.entries.back().size -= 2;
  expectGarbage(otherSize);
}

TEST_F(AVIIndexTest, isGarbageWhereAnEntryLeavesTheFile) {
  SmallAVI avi = SmallAVI::plain();
  avi.entries.back().size = 100'000;
  expectGarbage(avi);
}

TEST_F(AVIIndexTest, isGarbageWhereItsSizeIsWrong) {
  for (const int difference : {8, -8, 1'000}) {
    write(SmallAVI::plain());
    std::string bytes = bytes_;
    bytes.replace(bytes.rfind("idx1") + 4, 4, little32(static_cast<std::uint32_t>(96 + difference)));
    SmallAVI avi = SmallAVI::plain();
    avi.hasIndex = false;
    avi.behindIndex = bytes.substr(bytes.rfind("idx1")) + "and more";
    expectGarbage(avi);
  }
}

TEST_F(AVIIndexTest, isFoundBehindALostWalkAtTheDeclaredEnd) {
  SmallAVI avi;
  for (const char letter : {'a', 'b', 'c'}) {
    avi.addClaiming(153'600, "00dc", picture(letter));
  }
  for (const std::int64_t slip : {-16, -4, 0, 16}) {
    avi.slip = slip;
    expectUsable(avi, plainFrames_);
  }
  avi.slip = 17;
  expectGarbage(avi);
  avi.slip = 0;
  avi.behindSamples = riffChunk("JUNK", "xyz") + std::string(100, '\0');
  expectUsable(avi, plainFrames_);
}

TEST_F(AVIIndexTest, takesTheOpenDMLIndex) {
  expectUsable(withOpenDMLIndex(), plainFrames_);
  EXPECT_EQ((*index(withOpenDMLIndex()))[1].chunks.size(), 3);
}

TEST_F(AVIIndexTest, takesAnOpenDMLIndexOfAnIndexOfChunks) {
  SmallAVI avi = withOpenDMLIndex();
  const std::size_t end = avi.samples.find("ix01");
  const std::size_t start = avi.samples.find("ix00");
  avi.videoIndex = "indx" + avi.samples.substr(start + 4, end - start - 4);
  avi.samples.erase(start, end - start);
  avi.soundIndex.clear();
  avi.soundType = "txts";
  // The place of the samples moved with the length of the header.
  const std::uint64_t word = avi.header().size() + 8;
  avi.videoIndex.replace(8 + 12, 8, little64(word));
  expectUsable(avi, plainFrames_);
}

TEST_F(AVIIndexTest, takesTheOldIndexWhereAStreamHasNoOpenDMLIndexOrADamagedOne) {
  SmallAVI without = withOpenDMLIndex();
  without.soundIndex.clear();
  without.hasIndex = true;
  expectUsable(without, plainFrames_);
  for (const std::size_t offset : {0U, 3U, 4U, 8U, 24U}) {  // of the content of ix00
    SmallAVI damaged = withOpenDMLIndex();
    damaged.samples[damaged.samples.find("ix00") + 8 + offset] = '\x55';
    expectGarbage(damaged);
    damaged.hasIndex = true;
    expectUsable(damaged, plainFrames_);
  }
}

TEST_F(AVIIndexTest, allocatesNothingForEntriesThatAreOnlyClaimed) {
  SmallAVI avi = withOpenDMLIndex();
  avi.samples.replace(avi.samples.find("ix00") + 8 + 4, 4, little32(0x7FFFFFFF));
  expectGarbage(avi);
  avi = withOpenDMLIndex();
  avi.videoIndex.replace(8 + 4, 4, little32(0x7FFFFFFF));
  expectGarbage(avi);
}

}  // namespace tolvander::tests
