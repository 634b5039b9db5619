#include "TolvanderCore/Picture/TIFFWriter.h"

#include <gtest/gtest.h>

#include <array>

#include "TolvanderCore/Picture/TIFF.h"
#include "TolvanderCore/Picture/TIFFReader.h"

namespace tolvander {
namespace {

TIFFReader readerOf(const TIFFWriter& writer) { return {writer.bytes(), 0, writer.bytes().size()}; }

TEST(TIFFWriter, writesWhatTheReaderReads) {
  const std::array fields{
      TIFFField::ascii(tiff::tag::make, "maker"), TIFFField::ascii(tiff::tag::model, "abc"),
      TIFFField::shortInteger(tiff::tag::orientation, 6), TIFFField::rational(tiff::tag::fNumber, 24, 10),
      TIFFField::longInteger(tiff::tag::pixelXDimension, 0xFEDCBA98U)};
  TIFFWriter writer;
  writer.appendDirectory(fields);

  const TIFFReader reader = readerOf(writer);
  ASSERT_TRUE(reader.magicIsValid());
  EXPECT_EQ(reader.byteOrder, TIFFReader::ByteOrder::little);
  const auto entries = reader.entries(reader.uint32Absolute(4));
  ASSERT_EQ(entries.size(), fields.size());
  EXPECT_EQ(reader.asciiValue(tiff::tag::make, entries), "maker");
  EXPECT_EQ(reader.asciiValue(tiff::tag::model, entries), "abc");
  EXPECT_EQ(reader.uint16Absolute(entries[2].valueFieldOffset), 6);
  EXPECT_EQ(reader.uint32Absolute(entries[4].valueFieldOffset), 0xFEDCBA98U);
  const std::size_t ratio = reader.uint32Absolute(entries[3].valueFieldOffset);
  EXPECT_EQ(reader.uint32Absolute(ratio), 24U);
  EXPECT_EQ(reader.uint32Absolute(ratio + 4), 10U);
}

TEST(TIFFWriter, putsEachLongValueAtAnEvenOffset) {
  TIFFWriter writer;
  writer.appendDirectory(std::array{TIFFField::ascii(1, "1234"), TIFFField::ascii(2, "1234")});
  const TIFFReader reader = readerOf(writer);
  for (const auto& entry : reader.entries(tiff::headerSize)) {
    EXPECT_EQ(reader.uint32Absolute(entry.valueFieldOffset) % 2, 0U);
  }
  EXPECT_EQ(writer.bytes().size() % 2, 0U);
}

TEST(TIFFWriter, knowsTheSizeOfADirectoryBeforehand) {
  for (const std::string_view text : {"", "123", "1234", "12345"}) {
    const std::array fields{TIFFField::ascii(1, text), TIFFField::shortInteger(2, 3)};
    TIFFWriter writer;
    const std::size_t begin = writer.bytes().size();
    writer.appendDirectory(fields);
    EXPECT_EQ(writer.bytes().size() - begin, TIFFWriter::directorySize(fields)) << text;
  }
}

TEST(TIFFWriter, pointsToNoNextDirectory) {
  TIFFWriter writer;
  writer.appendDirectory(std::array{TIFFField::shortInteger(1, 1)});
  EXPECT_EQ(readerOf(writer).uint32Absolute(tiff::headerSize + 2 + 12), 0U);
}

}  // namespace
}  // namespace tolvander
