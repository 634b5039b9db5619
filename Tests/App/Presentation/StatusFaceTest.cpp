#include "TolvanderApp/Presentation/StatusFace.h"

#include <gtest/gtest.h>

#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "Tests/Support/Application/FaceStates.h"

namespace tolvander::app {
namespace {

using tests::faceAfterSetup;
using tests::onLinux;
using Kind = FaceAction::Kind;
using Buttons = std::vector<FaceButton>;
using Change = std::function<void(FaceState&)>;
using Text = std::optional<std::string>;

constexpr auto countsHelp =
    "Checks supported camera files against originals available on this Mac. An unrecognized item may already "
    "be in Photos. Missing means previously imported but no longer found.";

const ShownDate today = {.time = "14:05", .dateAndTime = "20 Nov 2026, 14:05", .isToday = true};
const ShownDate yesterday = {.time = "09:30", .dateAndTime = "19 Nov 2026, 09:30", .isToday = false};
const FileURL volume("/media/CHARMERA");

FaceState withReview(const ReviewCounts& counts, const std::string& status = "Camera check finished") {
  FaceState state = faceAfterSetup();
  state.statusMessage = status;
  state.libraryReviews = {{.volumeURL = volume, .cameraName = "CHARMERA", .counts = counts}};
  return state;
}

ReviewEntry entry(const FaceState& state) { return reviewEntries(state).at(0); }

FaceButton checkPhotos(bool isEnabled) {
  return {.title = "Check Photos",
          .action = {Kind::checkPhotos},
          .isEnabled = isEnabled,
          .help = "Compare camera files with originals available on this Mac."};
}

const FaceButton checkNow = {.title = "Check Now",
                             .action = {Kind::checkNow},
                             .help = "Import new photos and videos from your camera into Photos."};

// MARK: The row

TEST(StatusFace, showsTheStatusWithItsSymbol) {
  FaceState state = faceAfterSetup();
  state.statusMessage = "12 photos\nsynced";
  state.settingsStatusSymbol = "checkmark.circle";
  const StatusSection section = statusSection(state);
  EXPECT_EQ(section.header, "Status");
  EXPECT_EQ(section.title, "12 photos\uFFFDsynced");
  EXPECT_EQ(section.symbol, "checkmark.circle");
  EXPECT_EQ(section.progress, std::nullopt);
  EXPECT_EQ(section.failure, std::nullopt);
}

TEST(StatusFace, showsProgressInThePlaceOfTheSymbolDuringASync) {
  struct Row {
    SyncPhase phase;
    std::optional<double> share;
  };
  for (const Row& row : {
           Row{SyncPhase::importing(128, 304), 128.0 / 304.0},
           Row{SyncPhase::importing(0, 4), 0.0},
           Row{SyncPhase::importing(4, 4), 1.0},
           Row{SyncPhase::importing(5, 4), 1.0},
           Row{SyncPhase::importing(0, 0), std::nullopt},
           Row{SyncPhase{.kind = SyncPhase::Kind::fingerprinting}, std::nullopt},
           Row{SyncPhase{.kind = SyncPhase::Kind::finished}, std::nullopt},
       }) {
    FaceState state = faceAfterSetup();
    state.isSyncing = true;
    state.settingsStatusSymbol = "exclamationmark.circle.fill";
    state.syncPhase = row.phase;
    const StatusSection section = statusSection(state);
    EXPECT_EQ(section.symbol, std::nullopt);
    EXPECT_EQ(section.progress, FaceProgress{row.share});
  }
}

TEST(StatusFace, showsTheFailureWithItsFile) {
  FaceState state = faceAfterSetup();
  state.lastError = "This picture is damaged.";
  EXPECT_EQ(statusSection(state).failure, "This picture is damaged.");
  state.lastErrorFile = "PICT0001.JPG";
  EXPECT_EQ(statusSection(state).failure, "PICT0001.JPG: This picture is damaged.");
  state.lastErrorFile = std::nullopt;
  state.lastError = "A\nB could not be ejected";
  EXPECT_EQ(statusSection(state).failure, "A\uFFFDB could not be ejected");
}

// MARK: The line below the status

TEST(StatusFace, detailSaysWhenTheResultWasCompleted) {
  FaceState state = faceAfterSetup();
  state.statusMessage = "12 photos synced";
  EXPECT_EQ(statusDetail(state), std::nullopt);
  state.settingsStatusDate = today;
  EXPECT_EQ(statusDetail(state), "Completed at 14:05");
  state.settingsStatusDate = yesterday;
  EXPECT_EQ(statusDetail(state), "Completed 19 Nov 2026, 09:30");
}

TEST(StatusFace, detailTakesTheDateOfTheStatusBeforeThatOfTheReview) {
  FaceState state = faceAfterSetup();
  state.libraryReviewCompletedAt = yesterday;
  EXPECT_EQ(statusDetail(state), "Completed 19 Nov 2026, 09:30");
  state.settingsStatusDate = today;
  EXPECT_EQ(statusDetail(state), "Completed at 14:05");
}

TEST(StatusFace, detailAddsWhatTheStatusSays) {
  FaceState state = faceAfterSetup();
  state.settingsStatusDetail = "1 likely duplicate skipped";
  state.settingsStatusDetailHelp = "Likely already in Photos:\nA.JPG";
  EXPECT_EQ(statusDetail(state), "1 likely duplicate skipped");
  state.settingsStatusDate = today;
  EXPECT_EQ(statusDetail(state), "Completed at 14:05 · 1 likely duplicate skipped");
  EXPECT_EQ(statusSection(state).detail, "Completed at 14:05 · 1 likely duplicate skipped");
  EXPECT_EQ(statusSection(state).detailHelp, "Likely already in Photos:\nA.JPG");
}

TEST(StatusFace, detailHasTheCountsOfTheFirstReviewWhereTheStatusIsAboutACheck) {
  for (const char* const status : {"Camera up to date", "Camera check incomplete"}) {
    FaceState state =
        withReview({.inLibrary = 40, .likelyDuplicates = 2, .missing = 1, .unchecked = 3}, status);
    EXPECT_EQ(statusDetail(state), "40 in Photos · 2 likely duplicates · 1 missing · 3 need review");
    state.libraryReviewCompletedAt = today;
    EXPECT_EQ(statusDetail(state),
              "Checked at 14:05 · 40 in Photos · 2 likely duplicates · 1 missing · 3 need review");
    state.libraryReviewCompletedAt = yesterday;
    EXPECT_TRUE(statusDetail(state)->starts_with("Checked 19 Nov 2026, 09:30 · 40 in Photos · "));
    state.settingsStatusDate = today;  // of a sync before the check
    EXPECT_TRUE(statusDetail(state)->starts_with("Checked 19 Nov 2026, 09:30 · 40 in Photos · "));
    state.settingsStatusDetail = "CHARMERA";
    EXPECT_TRUE(statusDetail(state)->ends_with(" · 3 need review · CHARMERA"));
  }
}

TEST(StatusFace, detailSaysCompletedWhereTheStatusIsNotAboutACheck) {
  FaceState state = withReview({.inLibrary = 40});
  state.libraryReviewCompletedAt = today;
  EXPECT_EQ(statusDetail(state), "Completed at 14:05");
  state.statusMessage = "Camera up to date";
  state.libraryReviews = {};
  EXPECT_EQ(statusDetail(state), "Completed at 14:05");
}

TEST(StatusFace, detailWithCountsHasTheirHelpBelowThatOfTheResult) {
  FaceState state = withReview({.inLibrary = 40}, "Camera up to date");
  EXPECT_EQ(statusSection(state).detailHelp, countsHelp);
  state.settingsStatusDetailHelp = "Matched by filename.";
  EXPECT_EQ(statusSection(state).detailHelp, std::string("Matched by filename.\n\n") + countsHelp);
  state.statusMessage = "Camera check finished";
  EXPECT_EQ(statusSection(state).detailHelp, "Matched by filename.");
}

// MARK: Actions

TEST(StatusFace, checksNowWhileNothingRuns) {
  EXPECT_EQ(statusSection(faceAfterSetup()).actions, Buttons{checkNow});
}

TEST(StatusFace, stopsWhatRuns) {
  FaceState state = faceAfterSetup();
  state.isSyncing = true;
  EXPECT_EQ(statusSection(state).actions, (Buttons{{.title = "Stop Check", .action = {Kind::stopCheck}}}));
  state.isEjecting = true;
  EXPECT_EQ(statusSection(state).actions.at(0).title, "Stop Check");
  state.isUpdatingAlbum = true;
  EXPECT_EQ(statusSection(state).actions, (Buttons{{.title = "Stop", .action = {Kind::stopCheck}}}));
}

TEST(StatusFace, offersNothingDuringAnEject) {
  FaceState state = faceAfterSetup();
  state.isEjecting = true;
  EXPECT_EQ(statusSection(state).actions, Buttons{});
}

TEST(StatusFace, checksPhotosWhereACheckCanHelpOrWasMade) {
  FaceState state = faceAfterSetup();
  state.offersPhotoReview = true;
  EXPECT_EQ(statusSection(state).actions, (Buttons{checkNow, checkPhotos(true)}));
  EXPECT_EQ(statusSection(withReview({})).actions, (Buttons{checkNow, checkPhotos(true)}));
  EXPECT_EQ(statusSection(onLinux(state)).actions.at(1).help,
            "Compare camera files with originals available on this computer.");
}

TEST(StatusFace, canCheckPhotosOnlyWithSetupAccessACameraAndNoWork) {
  EXPECT_TRUE(canReviewPhotos(faceAfterSetup()));
  for (const Change& change : std::vector<Change>{
           [](FaceState& now) { now.onboardingCompleted = false; },
           [](FaceState& now) { now.photosPermissionStatus = PhotosPermissionStatus::limited; },
           [](FaceState& now) { now.connectedDevices = {}; },
           [](FaceState& now) { now.isSyncing = true; },
           [](FaceState& now) { now.isEjecting = true; },
       }) {
    FaceState state = faceAfterSetup();
    state.offersPhotoReview = true;
    change(state);
    EXPECT_FALSE(canReviewPhotos(state));
    EXPECT_EQ(statusSection(state).actions.back(), checkPhotos(false));
  }
}

// MARK: Reviews

TEST(StatusFace, reviewHasItsCountsWithHelp) {
  const FaceState state = withReview({.files = 1, .inLibrary = 1});
  EXPECT_EQ(entry(state).counts, (FaceNote{.text = "The camera item is in Photos", .help = countsHelp}));
  EXPECT_EQ(
      entry(onLinux(state)).counts->help,
      "Checks supported camera files against originals available on this computer. An unrecognized item "
      "may already be in Photos. Missing means previously imported but no longer found.");
}

TEST(StatusFace, reviewWhoseCountsAreInTheStatusDoesNotRepeatThem) {
  const FaceState state = withReview({.inLibrary = 40, .unchecked = 3}, "Camera check incomplete");
  EXPECT_EQ(entry(state).counts, std::nullopt);
  EXPECT_TRUE(entry(state).unchecked);
}

TEST(StatusFace, reviewWithNothingMoreToShowHasNoEntry) {
  EXPECT_TRUE(reviewEntries(withReview({.files = 1, .inLibrary = 1}, "Camera up to date")).empty());
  EXPECT_TRUE(reviewEntries(faceAfterSetup()).empty());
}

TEST(StatusFace, everyReviewHasAnEntryWithTheNameOfItsCameraWhereThereAreSeveral) {
  FaceState state = withReview({.newFiles = 1}, "Camera up to date");
  EXPECT_EQ(entry(state).camera, std::nullopt);
  state.libraryReviews.push_back(
      {.volumeURL = FileURL("/media/CARD"), .cameraName = "CA\nRD", .counts = {.missing = 2}});
  const std::vector<ReviewEntry> entries = reviewEntries(state);
  ASSERT_EQ(entries.size(), 2U);
  EXPECT_EQ(entries.at(0).camera, "CHARMERA");
  EXPECT_EQ(entries.at(0).counts, std::nullopt);
  EXPECT_EQ(entries.at(1).camera, "CA\uFFFDRD");
  EXPECT_EQ(entries.at(1).counts->text, "2 missing");
}

TEST(StatusFace, reviewSaysWhyFilesAreUnchecked) {
  FaceState state = withReview({.unchecked = 2, .reachedLimits = true});
  const std::string help =
      "Only originals available on this Mac can be compared. Nothing is downloaded, and unchecked files are "
      "not imported. If checks remain incomplete, contact help@example.org for help.";
  EXPECT_EQ(entry(state).unchecked, (FaceNote{.text = "2 files still need checking", .help = help}));
  state = withReview({.unchecked = 1});
  EXPECT_EQ(entry(state).unchecked,
            (FaceNote{.text = "1 couldn’t be compared with local originals", .help = help}));
  EXPECT_EQ(entry(onLinux(state)).unchecked->help,
            "Only originals available on this computer can be compared. Nothing is downloaded, and unchecked "
            "files are not imported. If checks remain incomplete, contact help@example.org for help.");
  EXPECT_EQ(entry(withReview({.inLibrary = 1})).unchecked, std::nullopt);
}

TEST(StatusFace, reviewTellsImportsThatTheNextSyncFinishesFromThoseThatNeedRecovery) {
  const ReviewEntry mixed = entry(withReview({.interrupted = 3, .finishedByNextSync = 1}));
  EXPECT_EQ(mixed.interrupted,
            (FaceNote{.text = "1 import was cut short", .help = "The next sync finishes it."}));
  EXPECT_EQ(mixed.recovery,
            (FaceNote{.text = "2 interrupted imports need recovery",
                      .help = "Automatic retry is paused to prevent duplicates. Keep the camera originals "
                              "until these imports are recovered."}));
  const ReviewEntry finished = entry(withReview({.interrupted = 1, .finishedByNextSync = 1}));
  EXPECT_EQ(finished.recovery, std::nullopt);
  const ReviewEntry paused = entry(withReview({.interrupted = 1}));
  EXPECT_EQ(paused.interrupted, std::nullopt);
  EXPECT_EQ(paused.recovery->text, "1 interrupted import needs recovery");
}

TEST(StatusFace, reviewRemembersWhatItRecognized) {
  FaceState state = withReview({.inLibrary = 1, .recognized = 1});
  FaceButton button = {
      .title = "Remember Matches",
      .action = {.kind = Kind::rememberMatches, .argument = volume},
      .help =
          "Save matches to Tolvander’s history without changing Photos. Likely duplicates stay on the "
          "camera.",
      .accessibilityLabel = "Remember Photos matches"};
  EXPECT_EQ(entry(state).buttons, Buttons{button});
  button.isEnabled = false;
  state.isSyncing = true;
  EXPECT_EQ(entry(state).buttons, Buttons{button});
  EXPECT_EQ(entry(withReview({.inLibrary = 1})).buttons, Buttons{});
}

TEST(StatusFace, reviewImportsWhatIsMissingOrNewWhereAllFilesHaveAVerdict) {
  FaceButton button = {.title = "Import Missing Items",
                       .action = {.kind = Kind::importMissingItems, .argument = volume}};
  EXPECT_EQ(entry(withReview({.missing = 1})).buttons, Buttons{button});
  FaceState state = withReview({.newFiles = 1});
  EXPECT_EQ(entry(state).buttons, Buttons{button});
  state.isEjecting = true;
  button.isEnabled = false;
  EXPECT_EQ(entry(state).buttons, Buttons{button});
  EXPECT_EQ(entry(withReview({.missing = 1, .unchecked = 1})).buttons, Buttons{});
  EXPECT_EQ(entry(withReview({.missing = 1, .interrupted = 1})).buttons, Buttons{});
  EXPECT_EQ(entry(withReview({.likelyDuplicates = 1})).buttons, Buttons{});
}

TEST(StatusFace, reviewRemembersBeforeItImports) {
  const Buttons buttons = entry(withReview({.recognized = 1, .missing = 1})).buttons;
  ASSERT_EQ(buttons.size(), 2U);
  EXPECT_EQ(buttons.at(0).title, "Remember Matches");
  EXPECT_EQ(buttons.at(1).title, "Import Missing Items");
}

}  // namespace
}  // namespace tolvander::app
