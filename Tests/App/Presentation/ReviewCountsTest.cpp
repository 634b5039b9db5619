#include "TolvanderApp/ReviewCounts.h"

#include <gtest/gtest.h>

#include <string>

#include "Tests/Support/Application/AppModelValues.h"

namespace tolvander::app {
namespace {

const FileURL card("/media/CARD");

FingerprintedMediaFile file(const std::string& name) {
  FingerprintedMediaFile file = tests::anyMediaFile(card);
  file.sourceFingerprint = "fingerprint of " + name;
  return file;
}

TEST(ReviewCounts, countsEachListOfAReview) {
  DeviceLibraryReview entry = tests::emptyReview(card);
  CameraLibraryReview& review = entry.review;
  review.files = {file("a"), file("b"), file("c"), file("d"), file("e"), file("f"), file("g"), file("h")};
  review.represented = {file("a"), file("b")};
  review.metadataRepresented = {file("c")};
  review.recognized = {{"fingerprint of a", {}}};
  review.metadataRecognized = {{"fingerprint of c", "asset"}, {"fingerprint of x", "asset"}};
  review.missingRecorded = {file("d")};
  review.newFiles = {file("e"), file("f"), file("g")};
  review.unchecked = {file("h")};
  review.uncertain = {file("i"), file("j")};
  review.budgetExceeded = true;
  entry.setAside = {"DCIM/K.JPG"};
  entry.finishedByNextSync = {"fingerprint of i", "fingerprint of another camera's file"};
  const ReviewCounts expected = {.files = 8,
                                 .inLibrary = 2,
                                 .likelyDuplicates = 1,
                                 .recognized = 3,
                                 .missing = 1,
                                 .newFiles = 3,
                                 .unchecked = 1,
                                 .interrupted = 2,
                                 .finishedByNextSync = 1,
                                 .setAside = 1,
                                 .reachedLimits = true};
  EXPECT_EQ(ReviewCounts::of(entry), expected);
  EXPECT_EQ(expected.importable(), 4);
  EXPECT_EQ(expected.paused(), 1);
}

TEST(ReviewCounts, countsAFileThatIsFoundByContentAndByMetadataOnce) {
  DeviceLibraryReview entry = tests::emptyReview(card);
  entry.review.represented = {file("a")};
  entry.review.metadataRepresented = {file("a"), file("b")};
  EXPECT_EQ(ReviewCounts::of(entry).inLibrary, 1);
  EXPECT_EQ(ReviewCounts::of(entry).likelyDuplicates, 1);
}

TEST(ReviewCounts, isCompleteWithAVerdictForEveryFile) {
  EXPECT_TRUE((ReviewCounts{.missing = 1, .newFiles = 1}.isComplete()));
  EXPECT_FALSE((ReviewCounts{.unchecked = 1}.isComplete()));
  EXPECT_FALSE((ReviewCounts{.interrupted = 1, .finishedByNextSync = 1}.isComplete()));
}

}  // namespace
}  // namespace tolvander::app
