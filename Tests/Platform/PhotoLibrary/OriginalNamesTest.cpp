#include "Platform/Linux/PhotoLibrary/OriginalNames.h"

#include <gtest/gtest.h>

#include <string>

#include "TolvanderCore/Foundation/UTF8.h"

namespace tolvander::tests {

using platform::linux_::originalName;
using platform::linux_::originalNameKey;

TEST(OriginalNames, keepsTheCamerasName) {
  EXPECT_EQ(originalName("PICT0001.JPG"), "PICT0001.JPG");
  EXPECT_EQ(originalName("Ein schönes Bild.jpeg"), "Ein schönes Bild.jpeg");
  EXPECT_EQ(originalName("without extension"), "without extension");
  EXPECT_EQ(originalName("two.dots.JPG"), "two.dots.JPG");
}

TEST(OriginalNames, countsBeforeTheExtension) {
  EXPECT_EQ(originalName("PICT0001.JPG", 1), "PICT0001.JPG");
  EXPECT_EQ(originalName("PICT0001.JPG", 2), "PICT0001 2.JPG");
  EXPECT_EQ(originalName("PICT0001.JPG", 10), "PICT0001 10.JPG");
  EXPECT_EQ(originalName("PICT0001", 3), "PICT0001 3");
}

TEST(OriginalNames, replacesWhatOtherFileSystemsRefuse) {
  EXPECT_EQ(originalName("a/b\\c:d*e?f\"g<h>i|j\x01k\x7F.JPG"), "a_b_c_d_e_f_g_h_i_j_k_.JPG");
  EXPECT_EQ(originalName("a.JPG. . "), "a.JPG");
}

TEST(OriginalNames, hidesNothing) {
  EXPECT_EQ(originalName(".PICT0001.JPG"), "_PICT0001.JPG");
  EXPECT_EQ(originalName(".JPG"), "_JPG");
}

TEST(OriginalNames, givesANameToWhatHasNone) {
  for (const char* name : {"", ".", "..", "...", " ", ". ."}) {
    EXPECT_EQ(originalName(name), "Original") << name;
  }
}

TEST(OriginalNames, isNeverADevice) {
  EXPECT_EQ(originalName("CON"), "CON_");
  EXPECT_EQ(originalName("con.JPG"), "con_.JPG");
  EXPECT_EQ(originalName("Nul.tar.gz"), "Nul_.tar.gz");
  EXPECT_EQ(originalName("COM1.JPG"), "COM1_.JPG");
  EXPECT_EQ(originalName("lpt9"), "lpt9_");
  EXPECT_EQ(originalName("AUX .JPG"), "AUX_ .JPG");
  EXPECT_EQ(originalName("COM10.JPG"), "COM10.JPG");
  EXPECT_EQ(originalName("CONTACT.JPG"), "CONTACT.JPG");
}

TEST(OriginalNames, isWellFormedWhateverTheBytesAre) {
  EXPECT_EQ(originalName("a\xFF\xC3.JPG"), "a__.JPG");
  EXPECT_EQ(originalName("\xED\xA0\x80"), "___");
}

TEST(OriginalNames, fitsIntoADirectoryEntryAndKeepsTheExtension) {
  const std::string name = originalName(std::string(300, 'a') + ".JPEG");
  EXPECT_EQ(name.size(), 255U);
  EXPECT_TRUE(name.ends_with("a.JPEG"));
  const std::string second = originalName(name, 12);
  EXPECT_EQ(second.size(), 255U);
  EXPECT_TRUE(second.ends_with("a 12.JPEG"));
}

TEST(OriginalNames, isNotCutWithinACharacter) {
  for (std::size_t shift = 0; shift < 4; ++shift) {
    std::string longName(shift, 'a');
    while (longName.size() < 300) {
      longName += "\xF0\x9F\x93\xB7";  // a camera
    }
    const std::string name = originalName(longName + ".JPG");
    std::string_view rest = name;
    EXPECT_LE(name.size(), 255U);
    EXPECT_GT(name.size(), 250U);
    while (!rest.empty()) {
      const UTF8Sequence sequence = firstUTF8Sequence(rest);
      EXPECT_TRUE(sequence.isWellFormed);
      rest.remove_prefix(sequence.length);
    }
  }
}

TEST(OriginalNames, anEndlessExtensionIsPartOfTheName) {
  const std::string name = originalName("a." + std::string(400, 'x'));
  EXPECT_EQ(name.size(), 255U);
  EXPECT_EQ(originalName(name, 2).size(), 255U);
  EXPECT_TRUE(originalName(name, 2).ends_with(" 2"));
}

TEST(OriginalNames, namesThatDifferInCaseAreOne) {
  EXPECT_EQ(originalNameKey("Originals/pict0001.jpg"), originalNameKey("Originals/PICT0001.JPG"));
  EXPECT_EQ(originalNameKey("SCHÖN.JPG"), originalNameKey("schön.jpg"));
  EXPECT_NE(originalNameKey("PICT0001.JPG"), originalNameKey("PICT0002.JPG"));
}

}  // namespace tolvander::tests
