#include "TolvanderCore/Picture/TIFFReader.h"

#include <gtest/gtest.h>

#include "Samples/JPEGBuilder.h"
#include "TolvanderCore/MediaProcessingError.h"

namespace tolvander::tests {

namespace {

using ByteOrder = TIFFReader::ByteOrder;

TIFFReader readerOf(const Bytes& block) { return {block, 0, block.size()}; }

template <typename Read>
void expectMalformed(Read read) {
  try {
    read();
    FAIL() << "nothing was thrown";
  } catch (const MediaProcessingError& error) {
    EXPECT_EQ(error.kind(), MediaProcessingError::Case::malformedJPEG);
  }
}

// A little-endian block with one text entry (tag 306) of `count` bytes and the value field `field`. The
// bytes `behind` follow the directory, at offset 26.
Bytes blockWithText(std::uint32_t count, const Bytes& field, const Bytes& behind) {
  const TIFFBuilder builder;
  return bytes("II") + builder.integer16(42) + builder.integer32(8) + builder.integer16(1) +
         builder.integer16(306) + builder.integer16(2) + builder.integer32(count) + field +
         builder.integer32(0) + behind;
}

std::optional<std::string> textOf(const Bytes& block) {
  const TIFFReader reader = readerOf(block);
  return reader.asciiValue(306, reader.entries(8));
}

const Bytes offset26 = bytes({26, 0, 0, 0});

}  // namespace

TEST(TIFFReader, isLittleEndianOnlyBehindTwoIs) {
  EXPECT_EQ(readerOf(bytes("II")).byteOrder, ByteOrder::little);
  EXPECT_EQ(readerOf(bytes("MM")).byteOrder, ByteOrder::big);
  EXPECT_EQ(readerOf(bytes("IM")).byteOrder, ByteOrder::big);
  EXPECT_EQ(readerOf(bytes("ii")).byteOrder, ByteOrder::big);
  EXPECT_EQ(readerOf(bytes("I")).byteOrder, ByteOrder::big);
  EXPECT_EQ(readerOf({}).byteOrder, ByteOrder::big);
}

TEST(TIFFReader, takesTheByteOrderAtItsStartAndInsideItsEnd) {
  const Bytes data = bytes("xxII*");
  EXPECT_EQ(TIFFReader(data, 2, 5).byteOrder, ByteOrder::little);
  EXPECT_EQ(TIFFReader(data, 2, 3).byteOrder, ByteOrder::big);
}

TEST(TIFFReader, acceptsTheMagicOfBothByteOrders) {
  EXPECT_TRUE(readerOf(bytes({'I', 'I', 42, 0, 8, 0, 0, 0})).magicIsValid());
  EXPECT_TRUE(readerOf(bytes({'M', 'M', 0, 42, 0, 0, 0, 8})).magicIsValid());
}

TEST(TIFFReader, refusesEveryOtherMagic) {
  EXPECT_FALSE(readerOf({}).magicIsValid());
  EXPECT_FALSE(readerOf(bytes({'I', 'I', 42, 0, 8, 0, 0})).magicIsValid()) << "seven bytes";
  EXPECT_FALSE(readerOf(bytes({'M', 'M', 42, 0, 8, 0, 0, 0})).magicIsValid()) << "42 of the other order";
  EXPECT_FALSE(readerOf(bytes({'I', 'M', 0, 42, 8, 0, 0, 0})).magicIsValid());
  EXPECT_FALSE(readerOf(bytes({'X', 'X', 0, 42, 8, 0, 0, 0})).magicIsValid());
  EXPECT_FALSE(readerOf(bytes({'I', 'I', 43, 0, 8, 0, 0, 0})).magicIsValid());
}

TEST(TIFFReader, countsTheMagicFromItsStart) {
  const Bytes data = bytes({'I', 'I', 42, 0, 8, 0, 0, 0, 'M', 'M', 0, 42, 0, 0, 0, 8});
  EXPECT_TRUE(TIFFReader(data, 8, 16).magicIsValid());
  EXPECT_FALSE(TIFFReader(data, 8, 15).magicIsValid());
  EXPECT_FALSE(TIFFReader(data, 1, 16).magicIsValid());
}

TEST(TIFFReader, readsIntegersInTheBlocksByteOrder) {
  const Bytes little = bytes({'I', 'I', 0x12, 0x34, 0x56, 0x78});
  EXPECT_EQ(readerOf(little).uint16Absolute(2), 0x3412);
  EXPECT_EQ(readerOf(little).uint32Absolute(2), 0x78563412U);
  const Bytes big = bytes({'M', 'M', 0x92, 0x34, 0x56, 0x78});
  EXPECT_EQ(readerOf(big).uint16Absolute(2), 0x9234);
  EXPECT_EQ(readerOf(big).uint32Absolute(2), 0x92345678U);
}

TEST(TIFFReader, readsIntegersUpToItsEndAndNoFurther) {
  const Bytes data(12, std::byte{1});
  const TIFFReader reader(data, 2, 10);
  EXPECT_EQ(reader.uint16Absolute(2), 0x0101);
  EXPECT_EQ(reader.uint16Absolute(8), 0x0101);
  EXPECT_EQ(reader.uint32Absolute(6), 0x01010101U);
  expectMalformed([&] { reader.uint16Absolute(9); });
  expectMalformed([&] { reader.uint32Absolute(7); });
  expectMalformed([&] { reader.uint16Absolute(1); });
  expectMalformed([&] { reader.uint32Absolute(1); });
  expectMalformed([&] { reader.uint16Absolute(11); });
  expectMalformed([&] { reader.uint32Absolute(SIZE_MAX); });
}

TEST(TIFFReader, readsEntriesWithTheirAbsoluteValueFields) {
  const Bytes block =
      TIFFBuilder(TIFFBuilder::ByteOrder::big).orientation(6).modifiedDate("2026:11:20 10:30:00").build();
  const Bytes data = bytes("prefix") + block;
  const auto entries = TIFFReader(data, 6, data.size()).entries(8);
  ASSERT_EQ(entries.size(), 2U);
  EXPECT_EQ(entries[0], (TIFFReader::Entry{.tag = 274, .type = 3, .count = 1, .valueFieldOffset = 24}));
  EXPECT_EQ(entries[1], (TIFFReader::Entry{.tag = 306, .type = 2, .count = 20, .valueFieldOffset = 36}));
}

TEST(TIFFReader, givesAnEmptyListForACountOfZero) {
  EXPECT_TRUE(readerOf(TIFFBuilder().build()).entries(8).empty());
}

TEST(TIFFReader, checksTheBoundsOfAnEmptyDirectoryToo) {
  Bytes block = TIFFBuilder().build();
  ASSERT_EQ(block.size(), 14U);
  block.pop_back();
  expectMalformed([&] { readerOf(block).entries(8); });
}

TEST(TIFFReader, refusesADirectoryWithoutThePointerToTheNext) {
  Bytes block = TIFFBuilder().orientation(1).build();
  EXPECT_EQ(readerOf(block).entries(8).size(), 1U);
  block.resize(block.size() - 4);
  expectMalformed([&] { readerOf(block).entries(8); });
}

TEST(TIFFReader, refusesADirectoryWhoseEntriesLeaveTheBlock) {
  const Bytes block = TIFFBuilder().orientation(1).claimingEntries(2).build();
  expectMalformed([&] { readerOf(block).entries(8); });
}

TEST(TIFFReader, refusesADirectoryWhoseCountLeavesTheBlock) {
  const Bytes block = TIFFBuilder().build();
  expectMalformed([&] { readerOf(block).entries(13); });
  expectMalformed([&] { readerOf(block).entries(14); });
  expectMalformed([&] { readerOf(block).entries(0xFFFFFFFFU); });
}

TEST(TIFFReader, reads256EntriesWhereTheBoundsHold) {
  TIFFBuilder builder;
  for (int count = 0; count < 256; ++count) {
    builder.orientation(1);
  }
  EXPECT_EQ(readerOf(builder.build()).entries(8).size(), 256U);
  Bytes cut = builder.build();
  cut.pop_back();
  expectMalformed([&] { readerOf(cut).entries(8); });
}

TEST(TIFFReader, refuses257EntriesAlthoughTheBoundsHold) {
  TIFFBuilder builder;
  for (int count = 0; count < 257; ++count) {
    builder.orientation(1);
  }
  expectMalformed([&] { readerOf(builder.build()).entries(8); });
}

TEST(TIFFReader, hasNoTextWithoutTheTag) {
  const Bytes block = TIFFBuilder().orientation(1).build();
  EXPECT_EQ(textOf(block), std::nullopt);
}

TEST(TIFFReader, takesTheFirstEntryOfATag) {
  EXPECT_EQ(textOf(TIFFBuilder().ascii(306, "one").ascii(306, "two").build()), "one");
  EXPECT_EQ(textOf(TIFFBuilder().shortInteger(306, 1).ascii(306, "two").build()), std::nullopt);
}

TEST(TIFFReader, hasNoTextForAnotherType) {
  for (const std::uint16_t type :
       {std::uint16_t{1}, std::uint16_t{3}, std::uint16_t{7}, std::uint16_t{129}}) {
    EXPECT_EQ(textOf(TIFFBuilder().entry(306, type, 4, bytes("2026")).build()), std::nullopt) << type;
  }
}

TEST(TIFFReader, hasNoTextForACountOfZero) {
  EXPECT_EQ(textOf(blockWithText(0, bytes("abcd"), {})), std::nullopt);
}

TEST(TIFFReader, readsATextOf128BytesAndNotOneOf129) {
  EXPECT_EQ(textOf(TIFFBuilder().ascii(306, std::string(128, 'x')).build()), std::string(128, 'x'));
  EXPECT_EQ(textOf(TIFFBuilder().ascii(306, std::string(129, 'x')).build()), std::nullopt);
}

TEST(TIFFReader, findsATooLongTextAbsentWithoutLookingWhereItLies) {
  EXPECT_EQ(textOf(blockWithText(129, bytes({0xFF, 0xFF, 0xFF, 0xFF}), {})), std::nullopt);
}

TEST(TIFFReader, readsATextOfFourBytesFromTheEntryAndOneOfFiveThroughTheOffset) {
  EXPECT_EQ(textOf(blockWithText(1, bytes("abcd"), {})), "a");
  EXPECT_EQ(textOf(blockWithText(4, bytes("abcd"), {})), "abcd");
  EXPECT_EQ(textOf(blockWithText(5, offset26, bytes("vwxyz"))), "vwxyz");
}

TEST(TIFFReader, countsTheOffsetOfATextFromItsStart) {
  const Bytes data = bytes("prefix") + blockWithText(5, offset26, bytes("vwxyz"));
  const TIFFReader reader(data, 6, data.size());
  EXPECT_EQ(reader.asciiValue(306, reader.entries(8)), "vwxyz");
}

TEST(TIFFReader, readsATextThatEndsWithTheBlockAndRefusesOneThatLeavesIt) {
  EXPECT_EQ(textOf(blockWithText(6, offset26, bytes("uvwxyz"))), "uvwxyz");
  expectMalformed([] { textOf(blockWithText(7, offset26, bytes("uvwxyz"))); });
  expectMalformed([] { textOf(blockWithText(5, bytes({0xFF, 0xFF, 0xFF, 0xFF}), bytes("vwxyz"))); });
}

TEST(TIFFReader, refusesATextBehindItsEndAlthoughTheDataGoesOn) {
  const Bytes data = blockWithText(5, offset26, bytes("vwxyz"));
  const TIFFReader reader(data, 0, data.size() - 1);
  expectMalformed([&] { reader.asciiValue(306, reader.entries(8)); });
}

TEST(TIFFReader, cutsATextAtItsFirstNUL) {
  EXPECT_EQ(textOf(TIFFBuilder().ascii(306, std::string("ab\0cd\0", 6)).build()), "ab");
  EXPECT_EQ(textOf(TIFFBuilder().ascii(306, std::string(6, '\0')).build()), "");
}

TEST(TIFFReader, hasNoTextWhereItIsNotASCII) {
  EXPECT_EQ(textOf(TIFFBuilder().ascii(306, "ab\x80").build()), std::nullopt);
  EXPECT_EQ(textOf(TIFFBuilder().ascii(306, "caf\xC3\xA9!").build()), std::nullopt);
}

TEST(TIFFReader, doesNotMindWhatStandsBehindTheNUL) {
  EXPECT_EQ(textOf(TIFFBuilder().ascii(306, std::string("ab\0\xFF\xFE", 5)).build()), "ab");
}

TEST(TIFFReaderDeathTest, refusesABlockOutsideItsBytes) {
  const Bytes data(4);
  EXPECT_DEATH(TIFFReader(data, 0, 5), "precondition");
  EXPECT_DEATH(TIFFReader(data, 3, 2), "precondition");
}

}  // namespace tolvander::tests
