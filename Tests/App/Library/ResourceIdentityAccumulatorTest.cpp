#include "TolvanderApp/Library/ResourceIdentityAccumulator.h"

#include <gtest/gtest.h>

#include <algorithm>

#include "Samples/JPEGBuilder.h"
#include "TolvanderCore/CharmeraMediaProcessor.h"
#include "TolvanderCore/Files/FileFingerprinter.h"

namespace tolvander::tests {
namespace {

using namespace tolvander::app;

constexpr std::size_t limit = ResourceIdentityAccumulator::maximumPayloadBytes;

// A whole picture of exactly this size.
Bytes pictureOfSize(std::size_t size) {
  const JPEGBuilder head = JPEGBuilder().jfif().quantisationTable().huffmanTable().frame(640, 480);
  const std::size_t scanHead = JPEGBuilder(head).scan(Bytes()).size();
  constexpr std::size_t endOfImage = 2;
  const Bytes scan(size - scanHead - endOfImage, std::byte{0x11});
  return JPEGBuilder(head).scan(scan).endOfImage().build();
}

OfflinePhotoRecognizer::Identity identityOf(const Bytes& content, bool isJPEG, std::size_t chunkSize) {
  ResourceIdentityAccumulator accumulator(isJPEG);
  for (std::size_t offset = 0; offset < content.size(); offset += chunkSize) {
    accumulator.append(std::span(content).subspan(offset, std::min(chunkSize, content.size() - offset)));
  }
  return accumulator.finalize();
}

TEST(ResourceIdentityAccumulator, hashesTheBytesAsTheyArrive) {
  const Bytes content = bytes("abc");
  EXPECT_EQ(identityOf(content, false, 1).sourceFingerprint,
            "ba7816bf8f01cfea414140de5dae2223b00361a396177a9cb410ff61f20015ad");
  EXPECT_EQ(identityOf(content, false, 1), identityOf(content, false, 3));
}

TEST(ResourceIdentityAccumulator, hashesNothingToo) {
  EXPECT_EQ(identityOf({}, false, 1).sourceFingerprint,
            "e3b0c44298fc1c149afbf4c8996fb92427ae41e4649b934ca495991b7852b855");
}

TEST(ResourceIdentityAccumulator, hasThePayloadOfAJPEGOnly) {
  const Bytes picture = pictureOfSize(5000);
  const auto identity = identityOf(picture, true, 999);
  EXPECT_EQ(identity.sourceFingerprint, FileFingerprinter::sha256(picture));
  EXPECT_EQ(identity.mediaPayloadFingerprint, CharmeraMediaProcessor::jpegMediaPayloadFingerprint(picture));
  EXPECT_EQ(identityOf(picture, false, 999).mediaPayloadFingerprint, std::nullopt);
}

TEST(ResourceIdentityAccumulator, hasNoPayloadOfADamagedJPEG) {
  const Bytes content = bytes("no picture at all");
  const auto identity = identityOf(content, true, 4);
  EXPECT_EQ(identity.sourceFingerprint, FileFingerprinter::sha256(content));
  EXPECT_EQ(identity.mediaPayloadFingerprint, std::nullopt);
}

TEST(ResourceIdentityAccumulator, hasThePayloadOfAJPEGOf32MiB) {
  const Bytes picture = pictureOfSize(limit);
  ASSERT_EQ(picture.size(), limit);
  const auto identity = identityOf(picture, true, 1'048'576);
  EXPECT_EQ(identity.sourceFingerprint, FileFingerprinter::sha256(picture));
  EXPECT_TRUE(identity.mediaPayloadFingerprint.has_value());
}

TEST(ResourceIdentityAccumulator, hasTheSourceAndNoPayloadOfAJPEGAbove32MiB) {
  const Bytes picture = pictureOfSize(limit + 1);
  for (const std::size_t chunkSize : {std::size_t{1'048'576}, picture.size()}) {
    const auto identity = identityOf(picture, true, chunkSize);
    EXPECT_EQ(identity.sourceFingerprint, FileFingerprinter::sha256(picture));
    EXPECT_EQ(identity.mediaPayloadFingerprint, std::nullopt);
  }
}

// A sound picture behind the drop must not pass for the resource.
TEST(ResourceIdentityAccumulator, dropsThePayloadForGood) {
  const Bytes picture = pictureOfSize(5000);
  ResourceIdentityAccumulator accumulator(true);
  accumulator.append(Bytes(limit + 1));
  accumulator.append(picture);
  EXPECT_EQ(accumulator.finalize().mediaPayloadFingerprint, std::nullopt);
}

}  // namespace
}  // namespace tolvander::tests
