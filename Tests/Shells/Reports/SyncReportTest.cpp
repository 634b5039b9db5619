#include "Shells/CommandLine/Reports/SyncReport.h"

#include <gtest/gtest.h>

#include "Samples/Bytes.h"
#include "Tests/Support/Application/AppModelWorld.h"
#include "Tests/Support/Application/ObservedTestPeer.h"
#include "Tests/Support/Application/TaskResult.h"
#include "TolvanderCore/Files/FileFingerprinter.h"
#include "TolvanderCore/JSON/JSONReader.h"

namespace tolvander::app {
namespace {

using tests::AppModelWorld;
using tests::assign;

const FileURL library("/pictures/Tolvander");

CameraRun runOf(const std::string& name, MediaCounts imported, CameraRun::End end = CameraRun::End::done,
                std::optional<std::int64_t> newCount = std::nullopt) {
  return {.volumeURL = FileURL("/media/" + name),
          .name = name,
          .fileCount = 304,
          .newCount = newCount,
          .imported = imported,
          .setAside = {},
          .end = end};
}

TEST(SyncReport, tellsPeopleOfEveryCameraAndWhereThePicturesAre) {
  SyncReport report;
  report.cameras = {runOf("CARD", {.photos = 2, .videos = 1}), runOf("OTHER", {})};
  report.likelyCopies = {"A.JPG", "B.JPG"};
  report.library = library;
  EXPECT_EQ(report.text(),
            "“CARD”: 2 photos and 1 video imported\n"
            "“OTHER”: nothing new\n"
            "2 likely duplicates skipped: A.JPG B.JPG\n"
            "Photo library: /pictures/Tolvander\n");
}

TEST(SyncReport, hasNothingToTellPeopleWhereNoCameraWasSynced) { EXPECT_EQ(SyncReport().text(), ""); }

TEST(SyncReport, givesProgramsOneLine) {
  SyncReport report;
  report.outcome = SyncReport::Outcome::incomplete;
  report.failure = "Some “files”.";
  report.cameras = {runOf("CARD", {.photos = 2, .videos = 1}, CameraRun::End::failed, 5),
                    runOf("OTHER", {}, CameraRun::End::cameraWentAway)};
  const std::string json = report.json();
  EXPECT_EQ(json.find('\n'), std::string::npos);
  const JSONDocument document(tests::bytesOf(json));
  const JSONObject result = document.root().object().required("result").object();
  EXPECT_EQ(result.required("outcome").string(), "incomplete");
  EXPECT_EQ(result.required("failure").string(), "Some “files”.");
  const auto cameras = result.required("cameras").array();
  ASSERT_EQ(cameras.size(), 2U);
  const JSONObject first = cameras[0].object();
  EXPECT_EQ(first.required("outcome").string(), "failed");
  EXPECT_EQ(first.required("files").integer(), 304);
  EXPECT_EQ(first.required("imported").integer(), 3);
  EXPECT_EQ(first.required("videos").integer(), 1);
  EXPECT_EQ(first.required("notImported").integer(), 2);
  EXPECT_EQ(cameras[1].object().required("outcome").string(), "cameraWentAway");
  EXPECT_EQ(cameras[1].object().optionalInteger("notImported"), std::nullopt);
}

TEST(SyncReport, tellsWhatArrivedAndWhatDidNotWhereARunDidNotComeToItsEnd) {
  using End = CameraRun::End;
  EXPECT_EQ(runText(runOf("CARD", {.photos = 170, .videos = 6}, End::cameraWentAway, 304)),
            "“CARD”: 176 items imported; 128 new items were not imported\n");
  EXPECT_EQ(runText(runOf("CARD", {.photos = 1, .videos = 0}, End::failed, 2)),
            "“CARD”: 1 item imported; 1 new item was not imported\n");
  EXPECT_EQ(runText(runOf("CARD", {}, End::stopped)),
            "“CARD”: nothing imported; not all of its 304 files were compared with the library\n");
  EXPECT_EQ(runText(runOf("CARD", {.photos = 2, .videos = 0}, End::stopped, 2)),
            "“CARD”: 2 photos imported\n");
  EXPECT_EQ(runText(runOf("CARD", {}, End::stopped, 0)), "“CARD”: nothing new\n");
}

TEST(SyncReport, givesProgramsWhatGoesOn) {
  EXPECT_EQ(statusJSON("Checking…"), R"({"status":"Checking…"})");
  EXPECT_EQ(phaseJSON({.kind = SyncPhase::Kind::album}), R"({"phase":"album"})");
  EXPECT_EQ(phaseJSON(SyncPhase::importing(3, 12)), R"({"phase":"importing","completed":3,"total":12})");
  EXPECT_EQ(notificationJSON({.identifier = "i", .title = "T", .body = "B"}),
            R"({"notification":{"title":"T","body":"B"}})");
}

TEST(SyncReport, drawsABarWithTheSpeedOnceItIsKnown) {
  using Seconds = std::chrono::duration<double>;
  EXPECT_EQ(progressBar(SyncPhase::importing(0, 12), "0 of 12 synced…", Seconds(9)),
            "[........................] 0 of 12 synced…");
  EXPECT_EQ(progressBar(SyncPhase::importing(6, 12), "6 of 12 synced…", Seconds(0.5)),
            "[############............] 6 of 12 synced…");
  EXPECT_EQ(progressBar(SyncPhase::importing(12, 12), "12 of 12 synced…", Seconds(8)),
            "[########################] 12 of 12 synced…  1.5 files/s");
  EXPECT_EQ(progressBar(SyncPhase::importing(0, 0), "0 of 0 synced…", Seconds(8)),
            "[........................] 0 of 0 synced…");
}

// MARK: Of a model

class SyncReportOfAModel : public testing::Test {
 protected:
  // What a sync came to.
  SyncReport sync(bool wasStopped = false) {
    auto task = world.model().syncAllConnected(false);
    SyncSummary summary = tests::resultOf(world.mainThread, std::move(task));
    return SyncReport::of(world.model(), std::move(summary), library, wasStopped);
  }
  SyncReport report(SyncSummary summary = {}, bool wasStopped = false,
                    std::optional<RunFailure> failure = std::nullopt) {
    return SyncReport::of(world.model(), std::move(summary), library, wasStopped, std::move(failure));
  }

  AppModelWorld::Camera readyCamera(const std::string& name = "CHARMERA") {
    auto camera = world.makeCharmera(name);
    world.remember(camera);
    world.mount(camera);
    return camera;
  }

  AppModelWorld world;
};

TEST_F(SyncReportOfAModel, tellsWhatEachCameraBrought) {
  const auto one = readyCamera("ONE");
  const auto two = readyCamera("TWO");
  world.addPhoto(one, "PICT0001.JPG", 1);
  world.addPhoto(two, "PICT0001.JPG", 2);
  world.addPhoto(two, "PICT0002.JPG", 3);
  world.launchAfterSetup();
  const SyncReport report = sync();
  EXPECT_EQ(report.outcome, SyncReport::Outcome::done) << report.failure.value_or("");
  ASSERT_EQ(report.cameras.size(), 2U);
  EXPECT_EQ(report.cameras[0].imported.photos, 1);
  EXPECT_EQ(report.cameras[1].name, "TWO");
  EXPECT_EQ(report.cameras[1].imported.photos, 2);
  EXPECT_EQ(report.status, world.model().statusMessage.value());
}

TEST_F(SyncReportOfAModel, hasFailedWhereTheHistoryIsUnreadable) {
  readyCamera();
  tests::writeFile(world.historyFile(), "broken");
  world.launchAfterSetup();
  const SyncReport report = sync();
  EXPECT_EQ(report.outcome, SyncReport::Outcome::failed);
  EXPECT_TRUE(report.failure.value_or("").starts_with("Tolvander couldn’t read its import history."));
}

TEST_F(SyncReportOfAModel, isIncompleteWhereAnEarlierImportIsUnresolved) {
  const auto camera = readyCamera();
  world.addPhoto(camera, "PICT0001.JPG", 1);
  world.launchAfterSetup();
  world.history().beginImport({FileFingerprinter::sha256(camera.file("DCIM/100CHRM/PICT0001.JPG"))});
  const SyncReport report = sync();
  EXPECT_EQ(report.outcome, SyncReport::Outcome::incomplete);
  EXPECT_TRUE(report.failure);
  ASSERT_EQ(report.cameras.size(), 1U);
  EXPECT_EQ(report.cameras[0].end, CameraRun::End::failed);
  EXPECT_EQ(report.cameras[0].newCount, std::nullopt);
}

TEST_F(SyncReportOfAModel, tellsWhatArrivedBeforeTheCameraWentAway) {
  const auto camera = readyCamera();
  for (int number = 1; number <= 9; ++number) {
    world.addPhoto(camera, "PICT000" + std::to_string(number) + ".JPG", number);
  }
  world.launchAfterSetup();
  world.photoLibrary.beforeEachChange([&] {
    if (world.photoLibrary.changeCount() == 1) {
      world.mainThread.post([&] { world.unmount(camera); });
    }
  });
  const SyncReport report = sync();
  EXPECT_EQ(report.outcome, SyncReport::Outcome::cameraWentAway);
  EXPECT_EQ(report.failure, "The camera went away before everything was done.");
  EXPECT_EQ(report.status, "Check stopped");
  ASSERT_EQ(report.cameras.size(), 1U);
  EXPECT_EQ(report.cameras[0].end, CameraRun::End::cameraWentAway);
  EXPECT_EQ(report.cameras[0].newCount, 9);
  EXPECT_EQ(report.cameras[0].imported.photos, static_cast<std::int64_t>(world.history().records().size()));
  EXPECT_EQ(this->report().outcome, SyncReport::Outcome::cameraWentAway) << "without the sync's own result";
  EXPECT_EQ(this->report({}, true).outcome, SyncReport::Outcome::stopped) << "the user's stop comes first";
}

TEST_F(SyncReportOfAModel, keepsWhatBecameOfEarlierSyncs) {
  const auto camera = readyCamera("ONE");
  world.addPhoto(camera, "PICT0001.JPG", 1);
  world.launchAfterSetup();
  SyncSummary summary{.outcome = {.end = FlowEnd::failed, .failure = FlowFailure{"It broke.", "A.JPG"}},
                      .cameras = {runOf("BROKEN", {}, CameraRun::End::failed)}};
  auto task = world.model().syncAllConnected(false);
  summary.append(tests::resultOf(world.mainThread, std::move(task)));
  ASSERT_FALSE(world.model().lastError->has_value());
  const SyncReport report = this->report(summary);
  EXPECT_EQ(report.outcome, SyncReport::Outcome::failed);
  EXPECT_EQ(report.failure, "A.JPG: It broke.");
  ASSERT_EQ(report.cameras.size(), 2U);
  EXPECT_EQ(report.cameras[0].name, "BROKEN");
  EXPECT_EQ(report.cameras[1].name, "ONE");
  summary.outcome = {.end = FlowEnd::cameraWentAway};
  EXPECT_EQ(this->report(summary).outcome, SyncReport::Outcome::cameraWentAway);
}

TEST_F(SyncReportOfAModel, hasFailedWhereOneCameraWentAwayAndAnotherOneFailed) {
  world.addFile(readyCamera(), "MOVI0001.AVI", "no film");
  world.launchAfterSetup();
  sync();
  const SyncReport report = this->report({.outcome = {.end = FlowEnd::cameraWentAway}});
  EXPECT_EQ(report.outcome, SyncReport::Outcome::failed);
  EXPECT_TRUE(report.failure->starts_with("MOVI0001.AVI: ")) << *report.failure;
}

TEST_F(SyncReportOfAModel, namesLikelyCopiesOnce) {
  world.launchAfterSetup();
  SyncSummary summary{.outcome = {}, .cameras = {runOf("ONE", {}), runOf("TWO", {})}};
  summary.cameras[0].likelyCopies = {"A.JPG", "B.JPG"};
  summary.cameras[1].likelyCopies = {"B.JPG", "C.JPG"};
  EXPECT_EQ(report(summary).likelyCopies, (std::vector<std::string>{"A.JPG", "B.JPG", "C.JPG"}));
}

TEST_F(SyncReportOfAModel, hasFailedWhereTheLibraryMayNotBeUsed) {
  world.photoLibrary.answerAuthorization({PhotosAuthorizationStatus::denied});
  world.launch();
  EXPECT_EQ(report().outcome, SyncReport::Outcome::failed);
  EXPECT_EQ(report().failure, "Photos access was not granted. “/pictures/Tolvander” cannot be changed.");
  assign(world.model().removableVolumeAccessIssue, RemovableVolumeAccessIssue{.volumeName = "CLOSED"});
  EXPECT_EQ(report().failure,
            "Tolvander cannot read CLOSED. Allow removable-volume access in System Settings.");
  assign(world.model().lastError, "It broke.");
  EXPECT_EQ(report().failure, "It broke.");
}

TEST_F(SyncReportOfAModel, tellsOfAVolumeThatMayNotBeReadBesideWhatArrivedFromTheOthers) {
  world.launchAfterSetup();
  assign(world.model().removableVolumeAccessIssue, RemovableVolumeAccessIssue{.volumeName = "CLOSED"});
  assign(world.model().statusMessage, "Ready to sync");
  const SyncReport report = this->report({.outcome = {}, .cameras = {runOf("CARD", {.photos = 1})}});
  EXPECT_EQ(report.outcome, SyncReport::Outcome::failed);
  EXPECT_EQ(report.failure,
            "Tolvander cannot read CLOSED. Allow removable-volume access in System Settings.");
  EXPECT_EQ(report.status, "Camera access needed");
  EXPECT_EQ(report.cameras.size(), 1U);
}

TEST_F(SyncReportOfAModel, wasStoppedWhateverElseHappened) {
  world.launchAfterSetup();
  EXPECT_EQ(report({}, true).outcome, SyncReport::Outcome::stopped);
  EXPECT_EQ(report({}, false, RunFailure{"A failure."}).outcome, SyncReport::Outcome::failed);
  EXPECT_EQ(report({}, false, RunFailure{"A failure."}).failure, "A failure.");
}

TEST(SyncReport, saysWhyCamerasWereNotSynced) {
  using Kind = SyncObstacle::Kind;
  const FileURL volume("/media/CARD");
  EXPECT_EQ(failureOf(SyncObstacle{Kind::notRemembered, volume}).words,
            "“/media/CARD” was not remembered as a camera, and nothing was imported.");
  EXPECT_EQ(failureOf(SyncObstacle{Kind::notACamera, volume}).words, "No camera was found in “/media/CARD”.");
  EXPECT_EQ(failureOf(SyncObstacle{Kind::noCameraSaved}).outcome, RunOutcome::noCamera);
  EXPECT_EQ(failureOf(SyncObstacle{Kind::noCameraConnected}).outcome, RunOutcome::noCamera);
  EXPECT_EQ(failureOf(SyncObstacle{Kind::cameraWentAway}).outcome, RunOutcome::cameraWentAway);
}

}  // namespace
}  // namespace tolvander::app
