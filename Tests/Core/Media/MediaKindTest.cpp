#include "TolvanderCore/MediaKind.h"

#include <gtest/gtest.h>

namespace tolvander {
namespace {

TEST(FileType, goesByTheExtensionInAnyCase) {
  EXPECT_EQ(fileTypeOfExtension("jpg"), FileType::jpeg);
  EXPECT_EQ(fileTypeOfExtension("JPEG"), FileType::jpeg);
  EXPECT_EQ(fileTypeOfExtension("Png"), FileType::png);
  EXPECT_EQ(fileTypeOfExtension("HEIC"), FileType::heic);
  EXPECT_EQ(fileTypeOfExtension("heif"), FileType::heic);
  EXPECT_EQ(fileTypeOfExtension("AVI"), FileType::avi);
  EXPECT_EQ(fileTypeOfExtension("mov"), FileType::quickTime);
  EXPECT_EQ(fileTypeOfExtension("mp4"), FileType::mpeg4);
}

TEST(FileType, isOtherForEveryOtherExtension) {
  for (const std::string_view extension : {"", "jp", "jpegx", ".jpg", "m4v", "jpg ", "\xC5\xBFpg"}) {
    EXPECT_EQ(fileTypeOfExtension(extension), FileType::other) << extension;
  }
}

TEST(FileType, ofVideosIsOneOfThree) {
  for (const std::string_view video : {"AVI", "mov", "Mp4"}) {
    EXPECT_TRUE(isVideoExtension(video)) << video;
  }
  for (const std::string_view other : {"jpg", "png", "heic", "m4v", ""}) {
    EXPECT_FALSE(isVideoExtension(other)) << other;
  }
}

}  // namespace
}  // namespace tolvander
