#include <algorithm>
#include <array>
#include <chrono>
#include <filesystem>
#include <regex>
#include <sstream>
#include <stdexcept>

#include "Tests/App/Model/AppModelFlowTest.h"
#include "Tests/Support/Application/ObservedTestPeer.h"
#include "Tests/Support/Machine/OpenWatch.h"
#include "TolvanderApp/Platform/PhotoLibraryError.h"
#include "TolvanderApp/Platform/PhotosPlatformError.h"
#include "TolvanderCore/Files/FileFingerprinter.h"
#include "TolvanderCore/Platform/FileSystem.h"
#include "TolvanderCore/Platform/Volume.h"

namespace tolvander::tests {
namespace {

using Kind = SyncPhase::Kind;

class AppModelSyncTest : public AppModelFlowTest {
 protected:
  static bool contains(const Texts& texts, const std::string& text) {
    return std::ranges::count(texts, text) > 0;
  }
  std::size_t runCount() const { return world.logLines("syncStarted").size(); }

  // From now on: the camera is away when the question of this number is answered, which counts from 1.
  void unmountAtQuestion(int number, const Camera& camera) {
    world.volumes.beforeAnswer = [this, camera, left = std::make_shared<int>(number)] {
      if (--*left == 0) {
        world.volumes.beforeAnswer = nullptr;
        world.volumes.takeAway(camera.url);
      }
    };
  }
};

}  // namespace

// A whole run

TEST_F(AppModelSyncTest, tellsEachStepInTheStatusLine) {
  plugInCharmera(2);
  launch();
  sync();
  EXPECT_EQ(world.takeStatuses(),
            (Texts{"Scanning camera…", "Scanning Charmera…", "Checking access…", "Reading camera files…",
                   "Checking Photos…", "Preparing imports…", "0 of 2 synced…", "2 of 2 synced…",
                   "Checking album…", "2 photos synced"}));
  expectNoFailure("2 photos synced");
  EXPECT_EQ(model().syncPhase->kind, Kind::finished);
  EXPECT_EQ(recorded(), (Texts{"PICT0001.JPG", "PICT0002.JPG"}));
  EXPECT_TRUE(world.history().pendingImportSources().empty());
}

TEST_F(AppModelSyncTest, namesACameraThatIsNoCharmera) {
  plugInCard(1, "EOS");
  launch();
  sync();
  EXPECT_EQ(world.takeStatuses().at(1), "Scanning EOS…");
  EXPECT_EQ(notes(), (Notes{{"1 photo synced", "Added to Apple Photos."}}));
}

TEST_F(AppModelSyncTest, leavesItsLinesInTheLog) {
  plugInCharmera(1);
  launch();
  sync();
  EXPECT_EQ(world.logLines("syncStarted"),
            (Texts{R"({"event":"syncStarted","metrics":{"camera_files":1}})"}));
  EXPECT_EQ(
      world.logLines("syncFinished"),
      (Texts{
          R"({"event":"syncFinished","metrics":{"imported":1,"metadata_skipped":0,"recognized":0,"scanned":1}})"}));
  EXPECT_EQ(world.logLines("syncPhaseChanged"),
            (Texts{R"({"event":"syncPhaseChanged","metrics":{"access":1}})",
                   R"({"event":"syncPhaseChanged","metrics":{"fingerprinting":1}})",
                   R"({"event":"syncPhaseChanged","metrics":{"recognition":1}})",
                   R"({"event":"syncPhaseChanged","metrics":{"preparing":1}})",
                   R"({"event":"syncPhaseChanged","metrics":{"album":1}})",
                   R"({"event":"syncPhaseChanged","metrics":{"finished":1}})"}));
}

TEST_F(AppModelSyncTest, keepsAReceiptOfWhatItBrought) {
  const Camera camera = plugInCharmera(1);
  world.addFile(camera, "PICT0002.MOV", "a film");
  launch();
  sync();
  const app::LastSyncReceipt receipt{
      .count = 2, .deviceName = "CHARMERA", .completedAt = world.mainThread.wallNow(), .videoCount = 1};
  EXPECT_EQ(world.settings().lastSyncReceipt(), receipt);
  EXPECT_EQ(model().cameraCheckReceipts.value(), (std::map{std::pair(camera.url.standardized(), receipt)}));
  EXPECT_EQ(model().statusMessage.value(), "1 photo and 1 video synced");
  ASSERT_TRUE(model().statusReceipt->has_value());
  const app::StatusReceipt& shown = *model().statusReceipt.value();
  EXPECT_EQ(shown.message, "1 photo and 1 video synced");
  EXPECT_EQ(shown.completedAt, world.mainThread.wallNow());
  EXPECT_EQ(shown.minimumDisplayDuration, std::chrono::seconds(120));
  EXPECT_EQ(shown.metadataSkippedCount, 0);
  EXPECT_TRUE(model().showsCompletionCheckmark);
  EXPECT_EQ(notes(), (Notes{{"1 photo and 1 video synced", "Added from your Charmera to Apple Photos."}}));
  EXPECT_EQ(model().collectedPhotosLabel(), "1 photo and 1 video collected");

  quit();
  world.launch();
  EXPECT_EQ(world.settings().lastSyncReceipt(), receipt) << "saved";
}

TEST_F(AppModelSyncTest, importsEachFileOnce) {
  plugInCharmera(2);
  launch();
  sync();
  world.takeStatuses();
  sync();
  EXPECT_EQ(world.photoLibrary.creations().size(), 2U);
  expectNoFailure("Camera up to date");
  EXPECT_EQ(notes().back(),
            (std::pair<std::string, std::string>("Charmera is up to date", "Nothing new to sync.")));
  EXPECT_EQ(world.settings().lastSyncReceipt()->count, 0);
}

TEST_F(AppModelSyncTest, tellsOfItsStartWhenAskedTo) {
  plugInCharmera(0);
  launch();
  sync(true);
  EXPECT_EQ(
      notes(),
      (Notes{{"Syncing your Charmera", "Keep it connected. Tolvander will let you know when it’s finished."},
             {"Charmera is up to date", "Nothing new to sync."}}));
}

TEST_F(AppModelSyncTest, fillsTheAlbumAfterTheImport) {
  plugInCharmera(2);
  world.settings().setAddToAlbum(true);
  world.settings().setAlbumName("  Summer\n");
  launch();
  sync();
  ASSERT_EQ(world.photoLibrary.albumAdditions().size(), 1U) << "once, and not with each import";
  EXPECT_EQ(world.photoLibrary.albumAdditions().front().size(), 2U);
  EXPECT_EQ(world.photoLibrary.fetchAlbums(std::optional<std::string>("Summer")).size(), 1U);
}

TEST_F(AppModelSyncTest, fillsNoAlbumWithoutTheSettingOrAName) {
  plugInCharmera(1);
  world.settings().setAlbumName("Summer");
  launch();
  sync();
  world.settings().setAddToAlbum(true);
  world.settings().setAlbumName(" \n");
  sync();
  EXPECT_TRUE(world.photoLibrary.albumAdditions().empty());
  EXPECT_TRUE(world.photoLibrary.fetchAlbums(std::nullopt).empty());
}

// What a diagnostic log may hold: events of a closed list, and integers.
TEST_F(AppModelSyncTest, logHoldsNothingOfTheUsersWorld) {
  const Camera camera = world.makeCharmera("Grandmas Card");
  world.addPhoto(camera, "Rimini0001.JPG", 1);
  world.addFile(camera, "Rimini0002.MOV", "a film");
  plugIn(camera);
  world.settings().setAddToAlbum(true);
  world.settings().setAlbumName("Our Summer");
  world.settings().setDeleteAfterSync(true);
  world.settings().setAutoEjectAfterSync(true);
  launch();
  world.dialogs.answers = {0};
  letTheDriveGo(camera);
  sync(true);
  EXPECT_EQ(world.ejector.ejected.size(), 1U);
  EXPECT_EQ(world.history().trashRecords().size(), 2U);
  world.mount(camera);
  world.addFile(camera, "Rimini0003.AVI", "no film");
  sync();
  EXPECT_TRUE(model().lastError->has_value());

  const std::string log = world.logText();
  for (const std::string secret : {"Grandma", "Rimini", "Summer", "DCIM", "JPG", "MOV", "identifier-", "/"}) {
    EXPECT_EQ(log.find(secret), std::string::npos) << secret;
  }
  const std::regex form(
      R"(\{"event":"[A-Za-z]+"(,"metrics":\{("[a-z_]+":-?[0-9]+,?)*\})?,"time":"[-0-9T:.]+Z"\})");
  std::istringstream text(log);
  std::size_t lines = 0;
  for (std::string line; std::getline(text, line); ++lines) {
    EXPECT_TRUE(std::regex_match(line, form)) << line;
  }
  EXPECT_GT(lines, 20U);
}

// What may start one

TEST_F(AppModelSyncTest, needsSetup) {
  plugInCharmera(1);
  launch();
  world.settings().setOnboardingCompleted(false);
  sync();
  run([&] { model().checkNow(); });
  EXPECT_TRUE(world.takeStatuses().empty());
  EXPECT_EQ(world.photoLibrary.changeCount(), 0U);
}

TEST_F(AppModelSyncTest, needsAccessToTheLibrary) {
  plugInCharmera(1);
  launch();
  world.photoLibrary.answerAuthorization({app::PhotosAuthorizationStatus::limited});
  world.run(model().refreshPermissionStatuses());
  world.takeStatuses();
  world.settings().setOnboardingCompleted(true);
  sync();
  EXPECT_EQ(model().statusMessage.value(), "Photos access needed");
  EXPECT_FALSE(world.settings().onboardingCompleted());
  EXPECT_EQ(runCount(), 0U);
}

TEST_F(AppModelSyncTest, checkNowLooksForTheCamera) {
  plugInCharmera(1);
  launch();
  run([&] { model().checkNow(); });
  const Texts statuses = world.takeStatuses();
  EXPECT_EQ(statuses.front(), "Checking for your Charmera…");
  EXPECT_EQ(statuses.back(), "1 photo synced");
}

TEST_F(AppModelSyncTest, checkNowDoesNothingWhileOneRuns) {
  plugInCharmera(1);
  launch();
  whenIn(Kind::recognizing, [&] { model().checkNow(); });
  sync();
  EXPECT_FALSE(contains(world.takeStatuses(), "Checking for your Charmera…"));
  EXPECT_EQ(runCount(), 1U);
}

TEST_F(AppModelSyncTest, completingSetupStartsTheFirstOneAndSaysSo) {
  plugInCharmera(1);
  launch();
  world.settings().setOnboardingCompleted(false);
  run([&] { model().completeOnboardingAndSync(); });
  EXPECT_TRUE(world.settings().onboardingCompleted());
  EXPECT_EQ(world.takeStatuses().front(), "Starting sync…");
  EXPECT_EQ(world.logLines("setupCompleted").size(), 1U);
  EXPECT_EQ(notes().front().first, "Syncing your Charmera");
  EXPECT_EQ(recorded().size(), 1U);
}

TEST_F(AppModelSyncTest, completingSetupNeedsACamera) {
  plugIn(world.makeCharmera());
  launch();
  world.settings().setOnboardingCompleted(false);
  world.volumes.unmount(world.folder / "Volumes/CHARMERA");
  world.runUntilIdle();
  run([&] { model().completeOnboardingAndSync(); });
  EXPECT_FALSE(world.settings().onboardingCompleted());
}

TEST_F(AppModelSyncTest, startsNothingWhenCompletedSetupCannotBeStored) {
  plugInCharmera(1);
  launch();
  world.settings().setOnboardingCompleted(false);
  world.defaults.setFull(true);
  run([&] { model().completeOnboardingAndSync(); });
  EXPECT_TRUE(model().lastError->has_value());
  EXPECT_EQ(model().statusMessage.value(), "Sync needs attention");
  EXPECT_TRUE(world.logLines("setupCompleted").empty());
  EXPECT_EQ(world.logLines("operationFailed").size(), 1U);
}

TEST_F(AppModelSyncTest, saysThatItWaitsWithoutACamera) {
  const Camera camera = plugInCharmera(1);
  world.unmount(camera);
  launch();
  sync();
  expectNoFailure("Waiting for connection");
}

TEST_F(AppModelSyncTest, outdatesACheckAgainstTheLibrary) {
  plugInCharmera(1);
  launch();
  run([&] { model().verifyCameraInPhotos(); });
  ASSERT_EQ(model().libraryReviews->size(), 1U);
  sync();
  EXPECT_TRUE(model().libraryReviews->empty());
  EXPECT_FALSE(model().libraryReviewCompletedAt->has_value());
}

// Syncs that are requested while a flow runs

TEST_F(AppModelSyncTest, syncAskedForDuringASyncSetsPendingAndExactlyOneSilentRunFollows) {
  plugInCharmera(1);
  launch();
  whenIn(Kind::recognizing, [&] {
    begin(model().syncAllConnected(true));
    begin(model().syncAllConnected(true));
  });
  sync();
  EXPECT_EQ(runCount(), 2U);
  EXPECT_EQ(notes(), (Notes{{"1 photo synced", "Added from your Charmera to Apple Photos."},
                            {"Charmera is up to date", "Nothing new to sync."}}));
  EXPECT_TRUE(model().isIdle());
}

TEST_F(AppModelSyncTest, ifTheUserStoppedTheFirstRunNoneFollows) {
  plugInCharmera(1);
  launch();
  whenIn(Kind::recognizing, [&] {
    begin(model().syncAllConnected(true));
    model().stopCheck();
  });
  sync();
  EXPECT_EQ(runCount(), 1U);
  expectNoFailure("Check stopped");
}

TEST_F(AppModelSyncTest, requestDuringARunThatAnEjectStoppedIsForgottenByTheNextRun) {
  plugInCharmera(1);
  launch();
  whenIn(Kind::recognizing, [&] {
    begin(model().syncAllConnected(true));
    world.mainThread.post([&] { model().ejectDevice(model().connectedDevices->front()); });
  });
  sync();
  EXPECT_EQ(runCount(), 1U);
  sync();
  EXPECT_EQ(runCount(), 2U) << "and none for the old request";
  EXPECT_TRUE(model().isIdle());
}

TEST_F(AppModelSyncTest, withIsEjectingSetItReturnsWithoutTouchingTheStatus) {
  const Camera camera = plugInCharmera(1);
  launch();
  world.ejector.eject = [&](const FileURL&) {
    world.mainThread.call([&] { begin(model().syncAllConnected(false)); });
  };
  run([&] { model().ejectDevice(model().connectedDevices->front()); });
  EXPECT_EQ(world.takeStatuses(), (Texts{"Ejecting CHARMERA…", "Ejected CHARMERA"}));
  EXPECT_EQ(runCount(), 0U);
}

TEST_F(AppModelSyncTest, checkNowListsTheVolumesBeforeTheSyncBegins) {
  plugInCharmera(1);
  const Camera card = plugInCard(1, "CARD");
  launch();
  ASSERT_EQ(model().availableRemovableVolumes->size(), 2U);
  world.volumes.takeAway(card.url);
  model().checkNow();
  world.mainThread.runUntil([&] { return bool(model().isSyncing); });
  EXPECT_EQ(model().availableRemovableVolumes->size(), 1U);
}

// Stopping

class AppModelSyncStopTest : public AppModelSyncTest, public testing::WithParamInterface<SyncPhase::Kind> {};

TEST_P(AppModelSyncStopTest, endsWithCheckStopped) {
  plugInCharmera(2);
  world.settings().setAddToAlbum(true);
  world.settings().setAlbumName("Summer");
  launch();
  whenIn(GetParam(), [&] { model().stopCheck(); });
  sync();
  EXPECT_TRUE(contains(world.takeStatuses(), "Finishing the current import before stopping…"));
  expectNoFailure("Check stopped");
  EXPECT_FALSE(model().statusReceipt->has_value());
  EXPECT_FALSE(model().showsCompletionCheckmark);
  EXPECT_FALSE(world.settings().lastSyncReceipt().has_value());
  EXPECT_TRUE(model().cameraCheckReceipts->empty());
  EXPECT_TRUE(notes().empty());
  EXPECT_EQ(world.logLines("syncCancelled").size(), 1U);
  EXPECT_EQ(recorded().size(), GetParam() == Kind::album ? 2U : 0U);
  EXPECT_TRUE(world.history().pendingImportSources().empty());
}

std::string phaseName(const testing::TestParamInfo<SyncPhase::Kind>& tested) {
  constexpr std::array names{"checkingAccess", "fingerprinting", "recognizing",
                             "preparing",      "importing",      "album"};
  return names.at(static_cast<std::size_t>(tested.param));
}

INSTANTIATE_TEST_SUITE_P(InEachPhase, AppModelSyncStopTest,
                         testing::Values(Kind::checkingAccess, Kind::fingerprinting, Kind::recognizing,
                                         Kind::importing, Kind::album),
                         phaseName);

TEST_F(AppModelSyncTest, stopWithNothingNewEndsWithCheckStopped) {
  plugInCharmera(1);
  launch();
  sync();
  whenIn(Kind::preparing, [&] { model().stopCheck(); });
  sync();
  expectNoFailure("Check stopped");
}

TEST_F(AppModelSyncTest, stopBeforeTheFirstCameraCompletesNoInterruptedImports) {
  world.unmount(plugInCharmera(1));
  launch();
  world.history().identity();
  world.volumes.beforeAnswer = [&] {
    if (model().isSyncing) {
      world.volumes.beforeAnswer = nullptr;
      model().stopCheck();
    }
  };
  sync();
  EXPECT_TRUE(world.photoLibrary.completions().empty());
  expectNoFailure("Check stopped");
}

TEST_F(AppModelSyncTest, stopDuringBatch2Of4FilesEndsThatBatch) {
  plugInCharmera(12);
  launch();
  world.photoLibrary.beforeEachChange([&] {
    if (world.photoLibrary.changeCount() == 1) {
      world.mainThread.post([&] { model().stopCheck(); });
    }
  });
  sync();
  EXPECT_TRUE(contains(world.takeStatuses(), "Finishing before eject…"));
  EXPECT_EQ(recorded().size(), 8U);
  EXPECT_TRUE(world.history().pendingImportSources().empty());
  expectNoFailure("Check stopped");

  sync();
  EXPECT_EQ(recorded().size(), 12U) << "the rest comes the next time";
  EXPECT_EQ(world.photoLibrary.creations().size(), 12U);
}

TEST_F(AppModelSyncTest, cameraRemovedDuringASyncEndsWithCheckStoppedNotWithAnError) {
  const Camera camera = plugInCharmera(1);
  launch();
  whenIn(Kind::checkingAccess, [&] { world.unmount(camera); });
  sync();
  expectNoFailure("Check stopped");
  EXPECT_EQ(world.photoLibrary.changeCount(), 0U);
}

TEST_F(AppModelSyncTest, failureOfTheLibraryIsShownAlsoWhereTheCameraIsGone) {
  const Camera camera = plugInCharmera(1);
  launch();
  world.photoLibrary.beforeEachChange([&] { world.volumes.takeAway(camera.url); });
  const app::PhotosPlatformError full(app::PhotosPlatformError::Case::notEnoughSpace, "the disk is full");
  world.photoLibrary.endNextChange(
      {.success = false, .error = std::make_exception_ptr(full), .isApplied = false});
  sync();
  EXPECT_TRUE(model().lastError->has_value());
  EXPECT_FALSE(model().cameraWentAway);
  ASSERT_EQ(model().cameraRuns->size(), 1U);
  EXPECT_EQ(model().cameraRuns->front().end, app::CameraRun::End::failed);
}

TEST_F(AppModelSyncTest, progressOfAnImportThatFailedIsNotThatOfTheNextFlow) {
  plugInCharmera(1);
  launch();
  world.photoLibrary.endNextChange({.success = false, .isApplied = false});
  sync();
  ASSERT_EQ(model().syncPhase->kind, Kind::importing);
  model().addRecordedAssets(std::nullopt, "Charmera");
  EXPECT_EQ(model().syncPhase->kind, Kind::finished);
  world.runUntilIdle();
}

TEST_F(AppModelSyncTest, importOfWhichTheLibraryTellsNothingIsAFailureAlsoWhereTheCameraIsGone) {
  const Camera camera = plugInCharmera(1);
  launch();
  world.photoLibrary.beforeEachChange([&] { world.volumes.takeAway(camera.url); });
  world.photoLibrary.withholdPlaceholder("PICT0001.JPG");
  sync();
  EXPECT_TRUE(model().lastError->has_value());
  EXPECT_FALSE(model().cameraWentAway);
}

TEST_F(AppModelSyncTest, fileOfACameraThatIsGoneIsNoFailureAndIsNotNamedByTheNextOne) {
  const Camera camera = plugInCharmera(1);
  world.addFile(camera, "MOVI0001.AVI", "no film");
  launch();
  whenIn(Kind::checkingAccess, [&] { world.volumes.takeAway(camera.url); });
  sync();
  EXPECT_TRUE(model().cameraWentAway);
  expectNoFailure("Check stopped");

  std::filesystem::remove(camera.file("DCIM/100CHRM/MOVI0001.AVI").path());
  world.mount(camera);
  world.photoLibrary.endNextChange({.success = false, .isApplied = false});
  sync();
  EXPECT_TRUE(model().lastError->has_value());
  EXPECT_EQ(model().lastErrorFile.value(), std::nullopt);
}

// What a sync asks of the mount table: which volumes there are, and of each whether it is still there before
// and after it is looked at.
TEST_F(AppModelSyncTest, cameraThatLeavesBeforeItIsLookedAtIsNotOpened) {
  const Camera camera = plugInCharmera(1);
  launch();
  const OpenWatch watch(camera.url);
  unmountAtQuestion(2, camera);
  sync();
  EXPECT_FALSE(watch.wasOpened());
  EXPECT_EQ(runCount(), 0U);
  expectNoFailure("Waiting for connection");
}

TEST_F(AppModelSyncTest, cameraThatLeavesWhileItIsLookedAtIsNotSynced) {
  const Camera camera = plugInCharmera(1);
  launch();
  const OpenWatch watch(camera.url);
  unmountAtQuestion(3, camera);
  sync();
  EXPECT_TRUE(watch.wasOpened());
  EXPECT_EQ(runCount(), 0U);
  expectNoFailure("Waiting for connection");
}

TEST_F(AppModelSyncTest, cameraRemovedDuringTheSearchEndsWithCheckStopped) {
  const Camera camera = plugInCharmera(1);
  launch();
  whenIn(Kind::recognizing, [&] { world.unmount(camera); });
  sync();
  expectNoFailure("Check stopped");
  EXPECT_EQ(world.photoLibrary.changeCount(), 0U);
}

TEST_F(AppModelSyncTest, cameraRemovedWhileItIsListedEndsWithCheckStopped) {
  const Camera camera = plugInCharmera(1);
  launch();
  std::filesystem::remove_all(camera.file("DCIM").path());
  writeFile(camera.file("DCIM"), "no folder: listing it fails");
  world.begin(model().syncAllConnected(false));
  world.mainThread.runUntil([&] { return *model().statusMessage == "Scanning camera…"; });
  world.unmount(camera);
  world.runUntilIdle();
  expectNoFailure("Check stopped");
  EXPECT_TRUE(model().cameraWentAway);
  EXPECT_TRUE(model().cameraRuns->empty());
}

TEST_F(AppModelSyncTest, cameraThatWentAwayIsNoStopOfTheUsers) {
  const Camera camera = plugInCharmera(1);
  launch();
  whenIn(Kind::recognizing, [&] { world.unmount(camera); });
  sync();
  EXPECT_TRUE(model().cameraWentAway);
  ASSERT_EQ(model().cameraRuns->size(), 1U);
  EXPECT_EQ(model().cameraRuns->front().end, app::CameraRun::End::cameraWentAway);

  world.mount(camera);
  whenIn(Kind::recognizing, [&] { model().stopCheck(); });
  sync();
  EXPECT_FALSE(model().cameraWentAway);
  ASSERT_EQ(model().cameraRuns->size(), 1U);
  EXPECT_EQ(model().cameraRuns->front().end, app::CameraRun::End::stopped);
}

TEST_F(AppModelSyncTest, runKnowsHowMuchWasNewAndHowMuchArrived) {
  const Camera camera = plugInCharmera(6);
  launch();
  world.photoLibrary.beforeEachChange([&] {
    if (world.photoLibrary.changeCount() == 1) {
      world.mainThread.post([&] { model().stopCheck(); });
    }
  });
  sync();
  ASSERT_EQ(model().cameraRuns->size(), 1U);
  const app::CameraRun stopped = model().cameraRuns->front();
  EXPECT_EQ(stopped.name, "CHARMERA");
  EXPECT_EQ(stopped.fileCount, 6);
  EXPECT_EQ(stopped.newCount, 6);
  EXPECT_EQ(stopped.imported, (MediaCounts{.photos = static_cast<std::int64_t>(recorded().size())}));
  EXPECT_EQ(stopped.end, app::CameraRun::End::stopped);
  sync();
  EXPECT_EQ(model().cameraRuns->front().end, app::CameraRun::End::done);
  EXPECT_EQ(model().cameraRuns->front().newCount, 6 - stopped.imported.total());
}

// Failures

TEST_F(AppModelSyncTest, failedCameraDoesNotStopTheOthers) {
  const Camera broken = plugInCharmera(1);
  world.addFile(broken, "MOVI0001.AVI", "no film");
  plugInCard(1, "EOS");
  launch();
  sync();
  EXPECT_EQ(recorded().size(), 1U) << "of the second camera";
  EXPECT_EQ(runCount(), 2U);
  EXPECT_TRUE(model().lastError->has_value());
  EXPECT_TRUE(notes().empty()) << "a failure stands";
  EXPECT_FALSE(model().statusReceipt->has_value());
  EXPECT_FALSE(model().showsCompletionCheckmark);
  EXPECT_TRUE(model().cameraCheckReceipts->empty());
  EXPECT_EQ(world.logLines("operationFailed").size(), 1U);
  EXPECT_TRUE(model().isIdle());

  std::filesystem::remove(broken.file("DCIM/100CHRM/MOVI0001.AVI").path());
  sync();
  EXPECT_FALSE(model().lastError->has_value()) << "cleared by the next run";
  EXPECT_EQ(model().cameraCheckReceipts->size(), 2U);
}

TEST_F(AppModelSyncTest, failureNamesItsFileBesideItsWordsUntilAnotherFlowBegins) {
  const Camera broken = plugInCharmera(2);
  world.addFile(broken, "MOVI0001.AVI", "no film");
  launch();
  sync();
  EXPECT_EQ(model().lastErrorFile.value(), "MOVI0001.AVI");
  EXPECT_EQ(model().lastError->value_or(""),
            "This video could not be read. The camera original is unchanged. Try Check Now again.");
  EXPECT_EQ(world.logText().find("MOVI0001"), std::string::npos);
  assign(model().lastError, "Something else.");
  EXPECT_EQ(model().lastErrorFile.value(), std::nullopt);
  run([&] { model().verifyCameraInPhotos(); });
  EXPECT_EQ(model().lastErrorFile.value(), "MOVI0001.AVI");
  std::filesystem::remove(broken.file("DCIM/100CHRM/MOVI0001.AVI").path());
  sync();
  EXPECT_EQ(model().lastErrorFile.value(), std::nullopt);
}

TEST_F(AppModelSyncTest, failureNamesTheFileThatCannotBeStaged) {
  const Camera broken = plugInCharmera(2);
  world.addFile(broken, "PICT0009.JPG", "no picture");
  launch();
  sync();
  EXPECT_EQ(model().lastErrorFile.value(), "PICT0009.JPG");
}

TEST_F(AppModelSyncTest, fileThatCannotBeReadIsSetAsideOnItsOwnVolumeOnly) {
  const Camera camera = plugInCharmera(2);
  const auto modifiedAt = fileResourceValues(picture(camera, 1)).contentModificationDate;
  const auto setAsideOn = [&](const std::string& volumeUUID) {
    world.settings().setSetAsideFiles(
        {{.relativePath = "DCIM/100CHRM/" + pictureName(1),
          .byteCount = static_cast<std::int64_t>(std::filesystem::file_size(picture(camera, 1).path())),
          .sha256 = std::nullopt,
          .place = app::SetAsideFile::Place{
              .volumeUUID = volumeUUID,
              .modifiedAt = std::chrono::floor<std::chrono::seconds>(modifiedAt.value())}}});
  };
  setAsideOn(volumeResourceValues(camera.url).uuid.value());
  launch();
  sync();
  EXPECT_EQ(model().cameraRuns->front().setAside.size(), 1U);
  setAsideOn("ANOTHER");
  sync();
  EXPECT_TRUE(model().cameraRuns->front().setAside.empty());
}

TEST_F(AppModelSyncTest, filesThatAreSetAsideAreLeftOutAndNamed) {
  const Camera camera = plugInCharmera(2);
  world.addFile(camera, "MOVI0001.AVI", "no film");
  world.settings().setSetAsideFiles(
      {{.relativePath = "anything.avi",
        .byteCount = 7,
        .sha256 = FileFingerprinter::sha256(camera.file("DCIM/100CHRM/MOVI0001.AVI")),
        .place = std::nullopt}});
  launch();
  EXPECT_EQ(world.settings().setAsideFiles().size(), 1U) << "it is stored";
  sync();
  expectNoFailure("2 photos synced");
  ASSERT_EQ(model().cameraRuns->size(), 1U);
  EXPECT_EQ(model().cameraRuns->front().setAside, Texts{"DCIM/100CHRM/MOVI0001.AVI"});
  run([&] { model().verifyCameraInPhotos(); });
  ASSERT_EQ(model().libraryReviews->size(), 1U);
  EXPECT_EQ(model().libraryReviews->front().setAside, Texts{"DCIM/100CHRM/MOVI0001.AVI"});
  EXPECT_EQ(model().libraryReviews->front().review.files.size(), 2U);
}

TEST_F(AppModelSyncTest, failedImportIsShownAndLeavesNoMark) {
  plugInCharmera(1);
  launch();
  world.photoLibrary.endNextChange({.success = false, .isApplied = false});
  sync();
  expectFailure("Photos could not complete the requested change.", "Sync needs attention");
  EXPECT_FALSE(model().offersPhotoReview);
  EXPECT_TRUE(world.history().pendingImportSources().empty());
}

TEST_F(AppModelSyncTest, uncertainImportOffersACheckAndHoldsUpTheCard) {
  plugInCharmera(1);
  launch();
  world.photoLibrary.endNextChange({.error = std::make_exception_ptr(std::runtime_error("odd"))});
  sync();
  expectFailure(
      "Photos returned an uncertain change result. Choose Check Photos to review it before importing again.",
      "Camera check incomplete");
  EXPECT_TRUE(model().offersPhotoReview);
  EXPECT_EQ(world.history().pendingImportSources().size(), 1U);
}

TEST_F(AppModelSyncTest, accessLostDuringASyncReturnsToSetup) {
  plugInCharmera(1);
  launch();
  whenIn(Kind::fingerprinting,
         [&] { world.photoLibrary.answerAuthorization({app::PhotosAuthorizationStatus::denied}); });
  sync();
  EXPECT_FALSE(world.settings().onboardingCompleted());
  EXPECT_EQ(world.photoLibrary.changeCount(), 0U);
  EXPECT_EQ(world.logLines("setupSuspended").size(), 1U);
  EXPECT_TRUE(notes().empty());
  EXPECT_TRUE(model().isIdle());
}

// The run itself meets no refusal: it ends because its task is cancelled.
TEST_F(AppModelSyncTest, accessLostForAMomentCancelsTheWorkInHand) {
  plugInCharmera(1);
  launch();
  whenIn(Kind::fingerprinting, [&] {
    world.photoLibrary.answerAuthorization(
        {app::PhotosAuthorizationStatus::denied, app::PhotosAuthorizationStatus::authorized});
    model().completeOnboardingAndSync();  // which looks at the access
  });
  sync();
  EXPECT_FALSE(world.settings().onboardingCompleted());
  EXPECT_EQ(model().lastError.value(), std::nullopt);
  EXPECT_TRUE(world.logLines("recognitionFinished").empty()) << "the search was cut short";
  EXPECT_TRUE(model().isIdle());
}

// Afterwards

TEST_F(AppModelSyncTest, readsThePermissionsAfterwards) {
  plugInCharmera(1);
  launch();
  world.notifications.status = app::NotificationAuthorizationStatus::denied;
  world.loginItem.currentStatus = app::LoginItemStatus::enabled;
  sync();
  EXPECT_EQ(model().notificationPermissionStatus, app::NotificationPermissionStatus::denied);
  EXPECT_EQ(model().loginStatus, app::LoginItemStatus::enabled);
}

TEST_F(AppModelSyncTest, saysWhatItSkippedAsLikelyDuplicatesInTheLog) {
  const Camera camera = plugInCharmera(3);
  putIntoCloud(camera, 1);
  putIntoCloud(camera, 2);
  launch();
  sync();
  EXPECT_EQ(recorded().size(), 3U);
  EXPECT_EQ(world.photoLibrary.creations().size(), 1U);
  EXPECT_EQ(
      world.logLines("syncFinished"),
      (Texts{
          R"({"event":"syncFinished","metrics":{"imported":1,"metadata_skipped":2,"recognized":0,"scanned":3}})"}));
  const Texts searches = world.logLines("recognitionFinished");
  ASSERT_EQ(searches.size(), 1U);
  EXPECT_NE(searches[0].find(R"("metadata_matched":2)"), std::string::npos) << searches[0];
  EXPECT_NE(searches[0].find(R"("unchecked":0)"), std::string::npos) << searches[0];
}

TEST_F(AppModelSyncTest, saysWhatItCouldNotCheckInTheLog) {
  const Camera camera = plugInCharmera(3);
  putIntoCloud(camera, 1, app::PhotosMediaType::unknown);
  putIntoCloud(camera, 2, app::PhotosMediaType::unknown);
  launch();
  sync();
  EXPECT_TRUE(recorded().empty());
  const Texts searches = world.logLines("recognitionFinished");
  ASSERT_EQ(searches.size(), 1U);
  EXPECT_NE(searches[0].find(R"("unchecked":2)"), std::string::npos) << searches[0];
  EXPECT_NE(searches[0].find(R"("metadata_matched":0)"), std::string::npos) << searches[0];
}

TEST_F(AppModelSyncTest, ejectsAfterwardsWhenTheUserWantsIt) {
  const Camera camera = plugInCharmera(1);
  world.settings().setAutoEjectAfterSync(true);
  launch();
  letTheDriveGo(camera);
  sync();
  const Texts statuses = world.takeStatuses();
  EXPECT_EQ(Texts(statuses.end() - 5, statuses.end()),
            (Texts{"Checking album…", "1 photo synced", "Ejecting CHARMERA…", "Ejected CHARMERA",
                   "1 photo synced & ejected"}));
  EXPECT_EQ(world.ejector.ejected, (std::vector{camera.url}));
  EXPECT_EQ(notes(),
            (Notes{{"1 photo synced", "Added from your Charmera to Apple Photos. Charmera safely ejected."}}))
      << "one, and none of the eject itself";
  ASSERT_TRUE(model().statusReceipt->has_value());
  EXPECT_EQ(model().statusReceipt.value()->minimumDisplayDuration, std::chrono::seconds(300));
  EXPECT_TRUE(model().showsCompletionCheckmark);
  expectNoFailure("1 photo synced & ejected");
}

TEST_F(AppModelSyncTest, ejectsAlsoWithNothingNew) {
  const Camera camera = plugInCharmera(0);
  world.settings().setAutoEjectAfterSync(true);
  launch();
  letTheDriveGo(camera);
  sync();
  expectNoFailure("Checked & ejected");
  EXPECT_EQ(notes(), (Notes{{"Charmera is up to date", "Nothing new to sync. Charmera safely ejected."}}));
}

TEST_F(AppModelSyncTest, failedEjectIsTheResult) {
  plugInCharmera(1);
  world.settings().setAutoEjectAfterSync(true);
  launch();
  world.ejector.failure = app::EjectError(app::EjectError::Case::busy);
  sync();
  expectFailure("CHARMERA could not be ejected: A file on it is still in use. Close it and try again.",
                "Eject needs attention");
  EXPECT_TRUE(notes().empty());
  EXPECT_FALSE(model().showsCompletionCheckmark);
}

TEST_F(AppModelSyncTest, resultFadesAfterItsTime) {
  plugInCharmera(1);
  launch();
  sync();
  world.advance(std::chrono::seconds(119));
  EXPECT_EQ(model().statusMessage.value(), "1 photo synced");
  world.advance(std::chrono::seconds(1));
  EXPECT_EQ(model().statusMessage.value(), "Camera up to date");
  EXPECT_FALSE(model().showsCompletionCheckmark);
}

}  // namespace tolvander::tests
