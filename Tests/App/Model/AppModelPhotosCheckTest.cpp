#include <algorithm>
#include <filesystem>
#include <stdexcept>

#include "Samples/Bytes.h"
#include "Tests/App/Model/AppModelFlowTest.h"
#include "TolvanderCore/Files/FileFingerprinter.h"

namespace tolvander::tests {
namespace {

using Kind = SyncPhase::Kind;

class AppModelPhotosCheckTest : public AppModelFlowTest {
 protected:
  void check() {
    run([&] { model().verifyCameraInPhotos(); });
  }
  app::DeviceLibraryReview review() {
    EXPECT_FALSE(model().libraryReviews->empty());
    return model().libraryReviews->front();
  }
  void restore() {
    const app::DeviceLibraryReview reviewed = review();
    run([&] { model().restoreMissingImports(reviewed); });
  }

  // The picture is in the library, imported by another program.
  void putIntoLibrary(const Camera& camera, int number) {
    const std::string content = readFile(picture(camera, number));
    world.photoLibrary.addAsset({.localIdentifier = {},
                                 .creationDate = world.mainThread.wallNow(),
                                 .mediaType = app::PhotosMediaType::image,
                                 .pixelWidth = 640,
                                 .pixelHeight = 480,
                                 .duration = 0},
                                {{.type = app::PhotosResourceType::photo,
                                  .originalFilename = pictureName(number),
                                  .content = bytesOf(content)}});
  }

  // An import of the picture began, and its end was not recorded.
  void markAsPending(const Camera& camera, int number) {
    world.history().beginImport({FileFingerprinter::sha256(picture(camera, number))});
  }

  // The same, and the library is said to hold the staged file.
  void markAsPrepared(const Camera& camera, int number, const std::string& processed) {
    world.history().beginPreparedImport(
        {{.sourceFile = {.url = picture(camera, number),
                         .volumeURL = camera.url,
                         .relativePath = pictureName(number),
                         .filename = pictureName(number),
                         .byteCount = 1,
                         .modifiedAt = {}},
          .importURL = FileURL("/staged"),
          .sourceFingerprint = FileFingerprinter::sha256(picture(camera, number)),
          .mediaPayloadFingerprint = {},
          .processedFingerprint = processed,
          .processingVersion = {},
          .captureDate = {}}});
  }

  static Texts names(const std::vector<FingerprintedMediaFile>& files) {
    Texts result;
    for (const auto& file : files) {
      result.push_back(file.file.filename);
    }
    return result;
  }
};

}  // namespace

// Check

TEST_F(AppModelPhotosCheckTest, tellsWhatIsThereAndWhatIsNotWithoutImporting) {
  plugInCharmera(2);
  launch();
  sync();
  world.addPhoto({.url = world.folder / "Volumes/CHARMERA", .name = "CHARMERA"}, "PICT0003.JPG", 50);
  world.takeStatuses();
  check();
  EXPECT_EQ(names(review().review.represented), (Texts{"PICT0001.JPG", "PICT0002.JPG"}));
  EXPECT_EQ(names(review().review.newFiles), (Texts{"PICT0003.JPG"}));
  EXPECT_EQ(review().device.displayName, "CHARMERA");
  EXPECT_EQ(model().libraryReviewCompletedAt.value(), world.mainThread.wallNow());
  EXPECT_EQ(recorded().size(), 2U);
  EXPECT_FALSE(model().statusReceipt->has_value()) << "the sync's";
  EXPECT_EQ(world.takeStatuses(),
            (Texts{"Reading camera files…", "Checking Photos…", "Camera check finished"}));
  EXPECT_EQ(
      world.logLines("reviewFinished"),
      (Texts{
          R"({"event":"reviewFinished","metrics":{"metadata_matches":0,"missing":0,"represented":2,"uncertain":0,"unchecked":0}})"}));
  expectNoFailure("Camera check finished");
}

TEST_F(AppModelPhotosCheckTest, completesInterruptedImportsBeforeAChangeAndNotForALook) {
  const Camera camera = plugInCharmera(1);
  launch();
  world.history().identity();
  check();
  EXPECT_TRUE(world.photoLibrary.completions().empty());
  const auto completionsBy = [&](const std::function<void()>& command) {
    const std::size_t before = world.photoLibrary.completions().size();
    run(command);
    return world.photoLibrary.completions().size() - before;
  };
  const auto checkBeforeChange = [&] {
    model().verifyCameraInPhotos(app::AppModel::CheckPurpose::beforeChange);
  };
  EXPECT_EQ(completionsBy(checkBeforeChange), 1U);
  EXPECT_EQ(completionsBy([&] { model().rememberVerifiedMatches(review()); }), 1U);
  EXPECT_EQ(completionsBy([&] {
              world.dialogs.answers = {0};
              model().restoreMissingImports(review());
            }),
            1U);
  EXPECT_EQ(world.photoLibrary.creations().size(), 1U) << "the one that was missing";
  EXPECT_EQ(completionsBy([&] { begin(model().syncAllConnected(false)); }), 1U);
  world.unmount(camera);
  EXPECT_EQ(completionsBy(checkBeforeChange), 1U) << "also without a camera";
  EXPECT_EQ(completionsBy([&] { begin(model().syncAllConnected(false)); }), 1U) << "also without a camera";
  EXPECT_EQ(completionsBy([&] { model().verifyCameraInPhotos(); }), 0U) << "a look";
}

TEST_F(AppModelPhotosCheckTest, stopWhileImportsAreCompletedWithoutACameraEndsTheFlow) {
  world.unmount(plugInCharmera(1));
  launch();
  world.history().identity();
  const auto stopWhileCompleting = [&] {
    whenAsking([&] { return model().isSyncing.value(); }, [&] { model().stopCheck(); });
  };
  stopWhileCompleting();
  sync();
  expectNoFailure("Check stopped");
  stopWhileCompleting();
  run([&] { model().verifyCameraInPhotos(app::AppModel::CheckPurpose::beforeChange); });
  expectNoFailure("Camera check stopped");
  EXPECT_FALSE(model().libraryReviewCompletedAt->has_value());
  EXPECT_EQ(world.photoLibrary.completions().size(), 2U);
}

TEST_F(AppModelPhotosCheckTest, remembersWithoutTheSyncThatWasAskedForWhileAnotherOneWasStopped) {
  plugInCharmera(1);
  launch();
  check();
  const app::DeviceLibraryReview reviewed = review();
  whenIn(SyncPhase::Kind::recognizing, [&] {
    model().stopCheck();
    begin(model().syncAllConnected(false));
  });
  sync();
  EXPECT_EQ(world.logLines("syncStarted").size(), 1U);
  run([&] { model().rememberVerifiedMatches(reviewed); });
  EXPECT_EQ(model().statusMessage.value(), "Matches saved");
  EXPECT_EQ(world.logLines("syncStarted").size(), 1U);
}

TEST_F(AppModelPhotosCheckTest, tellsWhichInterruptedImportsTheNextSyncFinishes) {
  const Camera camera = plugInCharmera(2);
  launch();
  markAsPending(camera, 1);
  markAsPending(camera, 2);
  check();
  EXPECT_TRUE(review().finishedByNextSync.empty());
  const std::string source = FileFingerprinter::sha256(picture(camera, 2));
  markAsPrepared(camera, 2, "content");
  world.photoLibrary.setPreparedFingerprints({"content", "of another history"});
  check();
  EXPECT_EQ(names(review().review.uncertain), (Texts{"PICT0001.JPG", "PICT0002.JPG"}));
  EXPECT_EQ(review().finishedByNextSync, std::set<std::string>{source});
  EXPECT_TRUE(world.photoLibrary.completions().empty());
}

TEST_F(AppModelPhotosCheckTest, sumsItsFiguresOverAllCameras) {
  plugInCharmera(1);
  plugInCard(2, "EOS");
  launch();
  sync();
  for (const auto& asset : world.photoLibrary.fetchAssets(app::PhotosFetchOptions())) {
    world.photoLibrary.removeAsset(asset.localIdentifier);
  }
  check();
  EXPECT_EQ(model().libraryReviews->size(), 2U);
  EXPECT_EQ(
      world.logLines("reviewFinished").back(),
      R"({"event":"reviewFinished","metrics":{"metadata_matches":0,"missing":3,"represented":0,"uncertain":0,"unchecked":0}})");
}

TEST_F(AppModelPhotosCheckTest, searchesMoreBroadlyThanASync) {
  plugInCharmera(1);
  launch();
  check();
  ASSERT_EQ(world.logLines("recognitionStarted").size(), 1U);
  EXPECT_NE(world.logLines("recognitionStarted")[0].find(R"("broader":1)"), std::string::npos);
  sync();
  ASSERT_EQ(world.logLines("recognitionStarted").size(), 2U);
  EXPECT_NE(world.logLines("recognitionStarted")[1].find(R"("broader":0)"), std::string::npos);
}

TEST_F(AppModelPhotosCheckTest, countsEachKindOfAnswerInTheLog) {
  const Camera camera = plugInCharmera(8);
  putIntoLibrary(camera, 1);
  for (const int number : {2, 3, 4}) {
    putIntoCloud(camera, number);
  }
  for (const int number : {5, 6}) {
    putIntoCloud(camera, number, app::PhotosMediaType::unknown);
  }
  launch();
  markAsPending(camera, 7);
  check();
  EXPECT_EQ(names(review().review.represented), (Texts{"PICT0001.JPG"}));
  EXPECT_EQ(review().review.metadataRepresented.size(), 3U);
  EXPECT_EQ(names(review().review.unchecked), (Texts{"PICT0005.JPG", "PICT0006.JPG"}));
  EXPECT_EQ(names(review().review.uncertain), (Texts{"PICT0007.JPG"}));
  EXPECT_EQ(names(review().review.newFiles), (Texts{"PICT0008.JPG"}));
  EXPECT_EQ(
      world.logLines("reviewFinished"),
      (Texts{
          R"({"event":"reviewFinished","metrics":{"metadata_matches":3,"missing":0,"represented":1,"uncertain":1,"unchecked":2}})"}));
}

TEST_F(AppModelPhotosCheckTest, isAtRestWithoutACamera) {
  world.unmount(plugInCharmera(1));
  launch();
  check();
  expectNoFailure("Waiting for connection");
  EXPECT_TRUE(model().libraryReviewCompletedAt->has_value());
}

TEST_F(AppModelPhotosCheckTest, isIncompleteWithAFileOfAnInterruptedImport) {
  const Camera camera = plugInCharmera(1);
  launch();
  markAsPending(camera, 1);
  check();
  EXPECT_EQ(names(review().review.uncertain), (Texts{"PICT0001.JPG"}));
  EXPECT_EQ(model().statusMessage.value(), "Camera check incomplete");
  EXPECT_TRUE(model().showsAttentionBadge());
}

TEST_F(AppModelPhotosCheckTest, stopShowsCameraCheckStoppedAndKeepsTheReviewsMadeSoFar) {
  plugInCharmera(1);
  plugInCard(1, "EOS");
  launch();
  whenAsking([&] { return model().libraryReviews->size() == 1; }, [&] { model().stopCheck(); });
  check();
  EXPECT_EQ(model().libraryReviews->size(), 1U);
  EXPECT_FALSE(model().libraryReviewCompletedAt->has_value());
  EXPECT_TRUE(world.logLines("reviewFinished").empty());
  expectNoFailure("Camera check stopped");
}

TEST_F(AppModelPhotosCheckTest, cameraThatLeavesStopsIt) {
  const Camera camera = plugInCharmera(1);
  launch();
  whenIn(Kind::fingerprinting, [&] { world.unmount(camera); });
  check();
  EXPECT_EQ(model().lastError.value(), std::nullopt);
  EXPECT_TRUE(model().cameraWentAway);
  EXPECT_TRUE(model().libraryReviews->empty());
  EXPECT_TRUE(model().isIdle());
}

TEST_F(AppModelPhotosCheckTest, failureIsShown) {
  world.addFile(plugInCharmera(0), "MOVI0001.AVI", "no film");
  launch();
  check();
  EXPECT_TRUE(model().lastError->has_value());
  EXPECT_EQ(model().statusMessage.value(), "Sync needs attention");
  EXPECT_TRUE(model().isIdle());
}

TEST_F(AppModelPhotosCheckTest, doesNothingWhileASyncRunsOrBeforeSetupOrWithoutAccess) {
  plugInCharmera(1);
  launch();
  whenIn(Kind::recognizing, [&] { model().verifyCameraInPhotos(); });
  sync();
  world.settings().setOnboardingCompleted(false);
  check();
  world.photoLibrary.answerAuthorization({app::PhotosAuthorizationStatus::denied});
  world.run(model().refreshPermissionStatuses());
  world.settings().setOnboardingCompleted(true);
  check();
  EXPECT_TRUE(model().libraryReviews->empty());
  EXPECT_FALSE(model().libraryReviewCompletedAt->has_value());
}

TEST_F(AppModelPhotosCheckTest, syncThatIsAskedForMeanwhileFollows) {
  plugInCharmera(1);
  launch();
  whenIn(Kind::fingerprinting, [&] { begin(model().syncAllConnected(true)); });
  check();
  EXPECT_EQ(recorded().size(), 1U);
  EXPECT_EQ(notes().size(), 1U) << "silently";
}

TEST_F(AppModelPhotosCheckTest, syncThatWasAskedForDuringAStoppedFlowDoesNotFollowTheNextCheck) {
  plugInCharmera(1);
  launch();
  whenIn(Kind::recognizing, [&] {
    begin(model().syncAllConnected(false));  // before the stop or after it, as its turn comes
    model().stopCheck();
  });
  sync();
  ASSERT_EQ(*model().statusMessage, "Check stopped");
  check();
  EXPECT_EQ(recorded(), Texts());
  EXPECT_EQ(model().libraryReviews->size(), 1U);
}

TEST_F(AppModelPhotosCheckTest, ejectThatIsAskedForMeanwhileFollows) {
  const Camera camera = plugInCharmera(1);
  launch();
  letTheDriveGo(camera);
  whenIn(Kind::fingerprinting, [&] { model().ejectDevice(model().connectedDevices->front()); });
  check();
  const Texts statuses = world.takeStatuses();
  EXPECT_EQ(Texts(statuses.end() - 3, statuses.end()),
            (Texts{"Camera check stopped", "Ejecting CHARMERA…", "Ejected CHARMERA"}));
}

// Remembering

TEST_F(AppModelPhotosCheckTest, remembersWhatItRecognised) {
  const Camera camera = plugInCharmera(2);
  putIntoLibrary(camera, 1);
  launch();
  markAsPending(camera, 1);
  check();
  EXPECT_EQ(names(review().review.represented), (Texts{"PICT0001.JPG"}));
  EXPECT_TRUE(recorded().empty());
  run([&] { model().rememberVerifiedMatches(review()); });
  EXPECT_EQ(recorded(), (Texts{"PICT0001.JPG"}));
  EXPECT_TRUE(world.history().pendingImportSources().empty()) << "the next sync may go on";
  EXPECT_EQ(model().collectedPhotosLabel(), "1 photo collected");
  expectNoFailure("Matches saved");
}

TEST_F(AppModelPhotosCheckTest, remembersNothingWhileASyncRunsOrBeforeSetup) {
  const Camera camera = plugInCharmera(1);
  putIntoLibrary(camera, 1);
  launch();
  check();
  const app::DeviceLibraryReview reviewed = review();
  world.addPhoto(camera, "PICT0002.JPG", 50);
  whenIn(Kind::recognizing, [&] { model().rememberVerifiedMatches(reviewed); });
  world.takeStatuses();
  sync();
  EXPECT_EQ(std::ranges::count(world.takeStatuses(), "Matches saved"), 0);
  EXPECT_EQ(world.logLines("syncStarted").size(), 1U);
  world.settings().setOnboardingCompleted(false);
  run([&] { model().rememberVerifiedMatches(reviewed); });
  EXPECT_TRUE(world.takeStatuses().empty());
}

TEST_F(AppModelPhotosCheckTest, saysWhenMatchesCannotBeSaved) {
  const Camera camera = plugInCharmera(1);
  putIntoLibrary(camera, 1);
  launch();
  check();
  blockHistory();
  run([&] { model().rememberVerifiedMatches(review()); });
  EXPECT_TRUE(model().lastError->has_value());
  EXPECT_EQ(model().statusMessage.value(), "Sync needs attention");
  EXPECT_TRUE(model().isIdle());
}

// Recovery

TEST_F(AppModelPhotosCheckTest, asksBeforeItImportsWhatIsMissing) {
  plugInCharmera(1);
  launch();
  check();
  restore();
  EXPECT_EQ(world.dialogs.alerts,
            (std::vector{app::Alert{.style = app::Alert::Style::warning,
                                    .message = "Import 1 camera item into Photos?",
                                    .informativeText = "This includes items previously removed from Photos. "
                                                       "Tolvander will check again, then import only "
                                                       "unmatched camera originals. Camera files and "
                                                       "existing Photos items stay untouched. Recognition is "
                                                       "bounded and may miss some existing copies.",
                                    .buttons = {"Import Missing Items", "Cancel"}}}));
  EXPECT_TRUE(recorded().empty());
  EXPECT_TRUE(model().isIdle());
}

TEST_F(AppModelPhotosCheckTest, importsWhatIsNewAndWhatWasRemoved) {
  plugInCharmera(2);
  world.settings().setAddToAlbum(true);
  world.settings().setAlbumName("Summer");
  launch();
  sync();
  const auto assets = world.photoLibrary.fetchAssets(app::PhotosFetchOptions());
  world.photoLibrary.removeAsset(assets.front().localIdentifier);
  world.addPhoto({.url = world.folder / "Volumes/CHARMERA", .name = "CHARMERA"}, "PICT0003.JPG", 50);
  check();
  EXPECT_EQ(review().review.missingRecorded.size(), 1U);
  EXPECT_EQ(review().review.newFiles.size(), 1U);
  world.dialogs.answers = {0};
  restore();
  EXPECT_EQ(world.dialogs.alerts.at(0).message, "Import 2 camera items into Photos?");
  expectNoFailure("2 missing items imported");
  EXPECT_EQ(world.photoLibrary.creations().size(), 4U);
  EXPECT_EQ(world.settings().lastSyncReceipt()->count, 2);
  EXPECT_EQ(world.photoLibrary.albumAdditions().back().size(), 2U);
  EXPECT_EQ(model().collectedPhotosLabel(), "3 photos collected");
}

TEST_F(AppModelPhotosCheckTest, countsOneImportedItem) {
  plugInCharmera(1);
  launch();
  check();
  world.dialogs.answers = {0};
  restore();
  expectNoFailure("1 missing item imported");
}

TEST_F(AppModelPhotosCheckTest, keepsTheLastReceiptWhenNothingWasMissing) {
  const Camera camera = plugInCharmera(1);
  launch();
  check();
  putIntoLibrary(camera, 1);
  world.dialogs.answers = {0};
  restore();
  expectNoFailure("0 missing items imported");
  EXPECT_FALSE(world.settings().lastSyncReceipt().has_value());
}

TEST_F(AppModelPhotosCheckTest, restoreMissingImportsWithOneUncertainFileDoesNothingNotEvenAQuestion) {
  const Camera camera = plugInCharmera(2);
  launch();
  markAsPending(camera, 1);
  check();
  EXPECT_EQ(review().review.newFiles.size(), 1U);
  world.takeStatuses();
  restore();
  EXPECT_TRUE(world.dialogs.alerts.empty());
  EXPECT_TRUE(world.takeStatuses().empty());
}

TEST_F(AppModelPhotosCheckTest, restoreWithUncheckedFilesOrNothingMissingAsksNothing) {
  plugInCharmera(1);
  launch();
  check();
  app::DeviceLibraryReview unchecked = review();
  unchecked.review.unchecked = unchecked.review.newFiles;
  run([&] { model().restoreMissingImports(unchecked); });
  app::DeviceLibraryReview complete = review();
  complete.review.newFiles.clear();
  run([&] { model().restoreMissingImports(complete); });
  EXPECT_TRUE(world.dialogs.alerts.empty());
}

// The sync asks another question, which is still open when the first one is answered.
TEST_F(AppModelPhotosCheckTest, whoWaitsInTheRestoreAlertWhileASyncStartsEndsTheCommandWithoutHarm) {
  plugInCharmera(1);
  world.settings().setDeleteAfterSync(true);
  launch();
  check();
  world.dialogs.answers = {0, 1};
  world.dialogs.timeToAnswer = std::chrono::seconds(10);
  world.dialogs.whileOpen = [&] {
    if (world.dialogs.alerts.size() == 1) {
      begin(model().syncAllConnected(false));
    } else {
      world.dialogs.timeToAnswer = std::chrono::seconds(60);
    }
  };
  restore();
  ASSERT_EQ(world.dialogs.alerts.size(), 2U);
  world.takeStatuses();
  world.advance(std::chrono::seconds(10));
  EXPECT_TRUE(model().isSyncing);
  EXPECT_TRUE(world.takeStatuses().empty());
  world.advance(std::chrono::seconds(60));
  expectNoFailure("1 photo synced");
  EXPECT_EQ(world.photoLibrary.creations().size(), 1U);
}

TEST_F(AppModelPhotosCheckTest, restoreEndsWhenAccessToTheLibraryWasLostDuringTheQuestion) {
  plugInCharmera(1);
  launch();
  check();
  world.dialogs.answers = {0};
  world.dialogs.timeToAnswer = std::chrono::seconds(10);
  restore();
  world.photoLibrary.answerAuthorization({app::PhotosAuthorizationStatus::denied});
  world.run(model().refreshPermissionStatuses());
  world.advance(std::chrono::seconds(10));
  EXPECT_EQ(model().statusMessage.value(), "Photos access needed");
  EXPECT_TRUE(model().isIdle());
}

TEST_F(AppModelPhotosCheckTest, stopShowsRestorationStopped) {
  plugInCharmera(1);
  launch();
  check();
  world.dialogs.answers = {0};
  whenIn(Kind::fingerprinting, [&] { model().stopCheck(); });
  restore();
  expectNoFailure("Restoration stopped");
  EXPECT_TRUE(recorded().empty());
}

TEST_F(AppModelPhotosCheckTest, failedRestoreIsShown) {
  plugInCharmera(1);
  launch();
  check();
  world.dialogs.answers = {0};
  world.photoLibrary.endNextChange({.error = std::make_exception_ptr(std::runtime_error("odd"))});
  restore();
  EXPECT_TRUE(model().offersPhotoReview);
  EXPECT_EQ(model().statusMessage.value(), "Camera check incomplete");
  EXPECT_TRUE(model().isIdle());
}

}  // namespace tolvander::tests
