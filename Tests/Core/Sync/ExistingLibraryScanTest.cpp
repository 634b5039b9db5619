#include "TolvanderCore/Sync/ExistingLibraryScan.h"

#include <gtest/gtest.h>

namespace tolvander {
namespace {

using Disposition = ExistingLibraryDisposition;

TEST(ExistingLibraryDisposition, hasTheNameOfTheCaseForItsText) {
  EXPECT_EQ(rawText(Disposition::alreadyRecognized), "alreadyRecognized");
  EXPECT_EQ(rawText(Disposition::newOnCamera), "newOnCamera");
  EXPECT_EQ(rawText(Disposition::repairableExistingPhoto), "repairableExistingPhoto");
  EXPECT_EQ(rawText(Disposition::charmeraVideo), "charmeraVideo");
  EXPECT_EQ(rawText(Disposition::ambiguous), "ambiguous");
}

TEST(ExistingLibraryScanSummary, countsEachDisposition) {
  std::vector<ExistingLibraryCandidate> candidates;
  const auto add = [&candidates](int count, Disposition disposition) {
    for (int index = 0; index < count; ++index) {
      candidates.push_back({.identifier = std::to_string(candidates.size()), .disposition = disposition});
    }
  };
  add(1, Disposition::ambiguous);
  add(2, Disposition::alreadyRecognized);
  add(3, Disposition::charmeraVideo);
  add(4, Disposition::newOnCamera);
  add(5, Disposition::repairableExistingPhoto);
  add(1, Disposition::ambiguous);
  EXPECT_EQ(ExistingLibraryScanSummary::of(candidates),
            (ExistingLibraryScanSummary{.alreadyRecognized = 2,
                                        .newOnCamera = 4,
                                        .repairableExistingPhotos = 5,
                                        .charmeraVideos = 3,
                                        .ambiguous = 2}));
}

TEST(ExistingLibraryScanSummary, ofNothingIsZero) {
  EXPECT_EQ(ExistingLibraryScanSummary::of({}), ExistingLibraryScanSummary());
}

TEST(ExistingLibraryOperation, onlyRecognizingLeavesTheLibraryAsItIs) {
  EXPECT_TRUE(ExistingLibraryOperation::recognizeExistingCharmeraPhotos().isReadOnly());
  EXPECT_FALSE(ExistingLibraryOperation::createRepairedCopies().isReadOnly());
  EXPECT_FALSE(ExistingLibraryOperation::addRecognizedPhotosToAlbum("Camera").isReadOnly());
}

TEST(ExistingLibraryOperation, onlyRepairedCopiesAreNewItems) {
  EXPECT_TRUE(ExistingLibraryOperation::createRepairedCopies().createsPhotosAssets());
  EXPECT_FALSE(ExistingLibraryOperation::recognizeExistingCharmeraPhotos().createsPhotosAssets());
  EXPECT_FALSE(ExistingLibraryOperation::addRecognizedPhotosToAlbum("Camera").createsPhotosAssets());
}

TEST(ExistingLibraryOperation, comparesByKindAndAlbum) {
  const auto operation = ExistingLibraryOperation::addRecognizedPhotosToAlbum("Camera");
  EXPECT_EQ(operation.kind(), ExistingLibraryOperation::Kind::addRecognizedPhotosToAlbum);
  EXPECT_EQ(operation.albumName(), "Camera");
  EXPECT_EQ(operation, ExistingLibraryOperation::addRecognizedPhotosToAlbum("Camera"));
  EXPECT_NE(operation, ExistingLibraryOperation::addRecognizedPhotosToAlbum("Other"));
  EXPECT_NE(ExistingLibraryOperation::createRepairedCopies(),
            ExistingLibraryOperation::recognizeExistingCharmeraPhotos());
}

}  // namespace
}  // namespace tolvander
