#include <gtest/gtest.h>

#include <cmath>
#include <limits>

#include "Tests/Support/Fixtures/KnownSystems.h"
#include "TolvanderCore/FingerprintedMediaFile.h"
#include "TolvanderCore/LibraryReconciliation.h"
#include "TolvanderCore/MediaMetadata.h"
#include "TolvanderCore/MediaSourceError.h"
#include "TolvanderCore/PreparedMediaFile.h"
#include "TolvanderCore/RecognitionError.h"

namespace tolvander {
namespace {

using tests::linuxDesktop;
using tests::macOS;

constexpr auto image = MediaMetadata::Kind::image;
constexpr auto video = MediaMetadata::Kind::video;

TEST(MediaMetadata, matchesTheSameSizeAndThatTurnedByAQuarter) {
  const MediaMetadata landscape{.kind = image, .pixelWidth = 640, .pixelHeight = 480, .duration = {}};
  EXPECT_TRUE(landscape.matches(landscape));
  EXPECT_TRUE(landscape.matches({.kind = image, .pixelWidth = 480, .pixelHeight = 640, .duration = {}}));
  EXPECT_FALSE(landscape.matches({.kind = image, .pixelWidth = 640, .pixelHeight = 481, .duration = {}}));
  EXPECT_FALSE(landscape.matches({.kind = image, .pixelWidth = 640, .pixelHeight = 640, .duration = {}}));
}

TEST(MediaMetadata, anImageNeverMatchesAVideo) {
  const MediaMetadata picture{.kind = image, .pixelWidth = 640, .pixelHeight = 480, .duration = 5};
  const MediaMetadata film{.kind = video, .pixelWidth = 640, .pixelHeight = 480, .duration = 5};
  EXPECT_FALSE(picture.matches(film));
  EXPECT_FALSE(film.matches(picture));
}

TEST(MediaMetadata, sizesBelowOneMatchNothing) {
  for (const MediaMetadata empty :
       {MediaMetadata{.kind = image, .pixelWidth = 0, .pixelHeight = 480, .duration = {}},
        MediaMetadata{.kind = image, .pixelWidth = 640, .pixelHeight = 0, .duration = {}},
        MediaMetadata{.kind = image, .pixelWidth = -1, .pixelHeight = -1, .duration = {}}}) {
    EXPECT_FALSE(empty.matches(empty));
  }
}

MediaMetadata film(std::optional<double> duration) {
  return {.kind = video, .pixelWidth = 640, .pixelHeight = 480, .duration = duration};
}

TEST(MediaMetadata, videosMatchUpToATenthOfASecondApart) {
  EXPECT_TRUE(film(5.0).matches(film(5.1)));
  EXPECT_TRUE(film(1.1).matches(film(1.0)));
  EXPECT_TRUE(film(7199.9).matches(film(7200.0)));
  EXPECT_FALSE(film(5.0).matches(film(5.1001)));
  EXPECT_FALSE(film(5.2).matches(film(5.0)));
}

TEST(MediaMetadata, videosWithoutAUsableDurationNeverMatch) {
  for (const auto& unusable : {std::optional<double>(), std::optional(0.0), std::optional(-1.0),
                               std::optional(std::numeric_limits<double>::infinity()),
                               std::optional(std::numeric_limits<double>::quiet_NaN())}) {
    EXPECT_FALSE(film(unusable).matches(film(unusable)));
    EXPECT_FALSE(film(5.0).matches(film(unusable)));
    EXPECT_FALSE(film(unusable).matches(film(5.0)));
  }
}

TEST(MediaMetadata, imagesIgnoreTheDuration) {
  const MediaMetadata still{.kind = image, .pixelWidth = 640, .pixelHeight = 480, .duration = {}};
  const MediaMetadata live{.kind = image, .pixelWidth = 640, .pixelHeight = 480, .duration = 3.0};
  EXPECT_TRUE(still.matches(live));
  EXPECT_NE(std::hash<MediaMetadata>()(still), std::hash<MediaMetadata>()(live));
}

TEST(RecognitionError, hasItsWordsForTheUser) {
  const RecognitionError budget(RecognitionError::Case::budgetExceeded);
  const std::string limitReached = "The camera check reached its limit. No unchecked files were imported.";
  EXPECT_EQ(budget.describe(macOS), limitReached);
  EXPECT_EQ(budget.describe(linuxDesktop), limitReached);
  const RecognitionError resource(RecognitionError::Case::resourceUnavailable);
  EXPECT_EQ(resource.describe(macOS),
            "Some files couldn’t be compared with originals on this Mac. No unchecked files were imported.");
  EXPECT_EQ(resource.describe(linuxDesktop),
            "Some files couldn’t be compared with originals on this computer. No unchecked files were "
            "imported.");
}

TEST(RecognitionError, comparesAndHashesByItsCase) {
  const RecognitionError budget(RecognitionError::Case::budgetExceeded);
  const RecognitionError resource(RecognitionError::Case::resourceUnavailable);
  EXPECT_EQ(budget, RecognitionError(RecognitionError::Case::budgetExceeded));
  EXPECT_NE(budget, resource);
  EXPECT_NE(std::hash<RecognitionError>()(budget), std::hash<RecognitionError>()(resource));
  EXPECT_EQ(budget.code(), 0);
  EXPECT_EQ(resource.code(), 1);
}

TEST(MediaSourceError, namesTheVolumeThatMayNotBeRead) {
  const auto error = MediaSourceError::volumeAccessDenied("CHARMERA");
  EXPECT_EQ(error.describe(macOS),
            "Tolvander cannot read CHARMERA. Allow removable-volume access in System Settings.");
  EXPECT_EQ(error.describe(linuxDesktop),
            "Tolvander cannot read CHARMERA. Check that you are allowed to read this drive.");
  EXPECT_EQ(error.volumeName(), "CHARMERA");
}

TEST(EngineValues, startWithoutPendingIdentityAndWithoutVerdicts) {
  const CameraMediaFile camera{.url = FileURL("/v/a.jpg"),
                               .volumeURL = FileURL("/v"),
                               .relativePath = "a.jpg",
                               .filename = "a.jpg",
                               .byteCount = 3,
                               .modifiedAt = {}};
  FingerprintedMediaFile file{.file = camera,
                              .sourceFingerprint = "abc",
                              .mediaPayloadFingerprint = {},
                              .captureDate = {},
                              .metadata = {},
                              .pendingProcessedFingerprint = {}};
  EXPECT_FALSE(file.requiresExactReconciliation);
  EXPECT_EQ(&file.fingerprint(), &file.sourceFingerprint);
  EXPECT_FALSE(LibraryReconciliation().budgetExceeded);
  EXPECT_TRUE(LibraryReconciliation().metadataMatches.empty());
}

}  // namespace
}  // namespace tolvander
