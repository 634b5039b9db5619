#include <algorithm>
#include <optional>

#include "Tests/App/Model/AppModelFlowTest.h"
#include "Tests/Support/Application/TaskResult.h"

namespace tolvander::tests {
namespace {

// What holds for every flow alike.
struct FlowKind {
  const char* name;
  void (*begin)(AppModelFlowTest& test, app::AppModel& model);
};

class AppModelFlowRulesTest : public AppModelFlowTest, public testing::WithParamInterface<FlowKind> {
 public:
  // A card with two pictures in the Trash and one that is new, a check of it, and an album.
  AppModelFlowRulesTest() {
    const Camera camera = plugInCharmera(2);
    world.settings().setDeleteAfterSync(true);
    launch();
    world.dialogs.answers = {0};
    sync();
    EXPECT_FALSE(model().deviceTrashSummaries->empty());
    world.settings().setDeleteAfterSync(false);
    world.settings().setAddToAlbum(true);
    world.settings().setAlbumName("Before");
    world.addPhoto(camera, "PICT0009.JPG", 90);
    run([this] { model().verifyCameraInPhotos(); });
    EXPECT_EQ(model().libraryReviews->size(), 1U);
    world.dialogs.answers = {0, 0};
    world.dialogs.texts = {"New"};
    syncsBefore_ = syncCount();
  }

  void askForASync() { begin(model().syncAllConnected(false)); }
  // A sync is under way once it has looked whether it may begin.
  void beginSync() {
    askForASync();
    world.mainThread.runUntil([this] { return model().isSyncing.value(); });
  }

 protected:
  // Begins the flow, and asks for a sync before it ends.
  void beginFlowAndAskForASync() {
    GetParam().begin(*this, model());
    askForASync();
  }
  // Syncs that ran since the test began, but for the flow itself where it is one.
  std::size_t followingSyncs() {
    const std::size_t own = std::string_view(GetParam().name) == "sync" ? 1 : 0;
    const std::size_t count = syncCount() - syncsBefore_;
    return count - std::min(count, own);  // it may have been stopped before it began with a camera
  }

 private:
  std::size_t syncCount() { return world.logLines("syncStarted").size(); }

  std::size_t syncsBefore_ = 0;
};

app::DeviceTrashSummary trashed(const app::AppModel& model) { return model.deviceTrashSummaries->front(); }
app::DeviceLibraryReview reviewed(const app::AppModel& model) { return model.libraryReviews->front(); }

const FlowKind kinds[] = {
    {"sync",
     [](AppModelFlowTest& test, app::AppModel&) { dynamic_cast<AppModelFlowRulesTest&>(test).beginSync(); }},
    {"check", [](AppModelFlowTest&, app::AppModel& model) { model.verifyCameraInPhotos(); }},
    {"remember",
     [](AppModelFlowTest&, app::AppModel& model) { model.rememberVerifiedMatches(reviewed(model)); }},
    {"restore",
     [](AppModelFlowTest&, app::AppModel& model) { model.restoreMissingImports(reviewed(model)); }},
    {"clearTrash", [](AppModelFlowTest&, app::AppModel& model) { model.clearManagedTrash(trashed(model)); }},
    {"putBack", [](AppModelFlowTest&,
                   app::AppModel& model) { model.restoreManagedTrash(trashed(model), std::nullopt); }},
    {"selectAlbum", [](AppModelFlowTest&, app::AppModel& model) { model.selectAlbum("Another"); }},
    {"createAlbum", [](AppModelFlowTest&, app::AppModel& model) { model.presentCreateAlbum(); }},
    {"fillAlbum",
     [](AppModelFlowTest&, app::AppModel& model) { model.addRecordedAssets(std::nullopt, "Before"); }},
};

std::string nameOf(const testing::TestParamInfo<FlowKind>& info) { return info.param.name; }

}  // namespace

TEST_P(AppModelFlowRulesTest, oneSyncFollowsThatWasAskedForMeanwhile) {
  beginFlowAndAskForASync();
  world.runUntilIdle();
  EXPECT_EQ(followingSyncs(), 1U);
  EXPECT_TRUE(model().isIdle());
}

TEST_P(AppModelFlowRulesTest, aRunThatTheUserStoppedIsFollowedByNone) {
  beginFlowAndAskForASync();
  world.mainThread.post([this] { model().stopCheck(); });
  world.runUntilIdle();
  EXPECT_EQ(followingSyncs(), 0U);
  EXPECT_TRUE(model().isIdle());
}

TEST_P(AppModelFlowRulesTest, noOtherFlowBeginsMeanwhile) {
  GetParam().begin(*this, model());
  bool hasLooked = false;
  world.mainThread.post([this, &hasLooked] {
    hasLooked = model().isSyncing;
    EXPECT_FALSE(model().canStartFlow());
    EXPECT_FALSE(model().verifyCameraInPhotos().has_value());
    EXPECT_FALSE(model().addRecordedAssets(std::nullopt, "Other").has_value());
    EXPECT_FALSE(model().clearManagedTrash({.id = "any", .displayName = "any", .count = 1}).has_value());
    EXPECT_FALSE(model().checkNow().has_value());
  });
  world.runUntilIdle();
  EXPECT_TRUE(hasLooked);
}

TEST_P(AppModelFlowRulesTest, ejectStopsItAndFollows) {
  letTheDriveGo({.url = world.folder / "Volumes/CHARMERA", .name = "CHARMERA"});
  GetParam().begin(*this, model());
  world.mainThread.post([this] { model().ejectDevice(model().connectedDevices->front()); });
  world.runUntilIdle();
  EXPECT_EQ(world.ejector.ejected.size(), 1U);
  EXPECT_EQ(model().statusMessage.value(), "Ejected CHARMERA");
  EXPECT_TRUE(model().isIdle());
}

INSTANTIATE_TEST_SUITE_P(OfEveryKind, AppModelFlowRulesTest, testing::ValuesIn(kinds), nameOf);

// What flows give back

namespace {

class AppModelFlowResultsTest : public AppModelFlowTest {
 protected:
  template <typename Result>
  Result resultOf(const app::Started<Result>& started) {
    EXPECT_TRUE(started.has_value()) << "refused";
    auto value = started->value();
    return tests::resultOf(world.mainThread, std::move(value));
  }
};

}  // namespace

TEST_F(AppModelFlowResultsTest, syncGivesItsCameras) {
  plugInCharmera(2);
  launch();
  const app::SyncSummary summary = resultOf(model().checkNow());
  EXPECT_EQ(summary.outcome, app::FlowOutcome());
  ASSERT_EQ(summary.cameras.size(), 1U);
  EXPECT_EQ(summary.cameras[0].imported.photos, 2);
  EXPECT_EQ(summary.cameras[0].end, app::CameraRun::End::done);
}

TEST_F(AppModelFlowResultsTest, syncSaysThatItsCameraWentAway) {
  const Camera camera = plugInCharmera(1);
  launch();
  whenIn(SyncPhase::Kind::recognizing, [&] { world.unmount(camera); });
  EXPECT_EQ(resultOf(model().checkNow()).outcome.end, app::FlowEnd::cameraWentAway);
}

TEST_F(AppModelFlowResultsTest, failureHasItsWordsAndItsFile) {
  world.addFile(plugInCharmera(1), "PICT0002.AVI", "no film");
  launch();
  const app::SyncSummary summary = resultOf(model().checkNow());
  EXPECT_EQ(summary.outcome.end, app::FlowEnd::failed);
  ASSERT_TRUE(summary.outcome.failure);
  EXPECT_EQ(summary.outcome.failure->words, model().lastError.value());
  EXPECT_EQ(summary.outcome.failure->file, "PICT0002.AVI");
}

TEST_F(AppModelFlowResultsTest, checkGivesItsReviews) {
  plugInCharmera(1);
  launch();
  const app::CheckResult result = resultOf(model().verifyCameraInPhotos());
  EXPECT_EQ(result.outcome.end, app::FlowEnd::done);
  ASSERT_EQ(result.reviews.size(), 1U);
  EXPECT_EQ(result.reviews[0].review.newFiles.size(), 1U);
}

// The settings only keep the receipt of what was imported.
TEST_F(AppModelFlowResultsTest, restoreGivesWhatItImportedAlsoWhereTheSettingsCannotBeStored) {
  plugInCharmera(2);
  launch();
  const auto reviews = resultOf(model().verifyCameraInPhotos()).reviews;
  world.defaults.setFull(true);
  world.dialogs.answers = {0};
  const app::RestoreResult result = resultOf(model().restoreMissingImports(reviews.at(0)));
  EXPECT_EQ(result.outcome.end, app::FlowEnd::failed);
  ASSERT_TRUE(result.run);
  EXPECT_EQ(result.run->imported.photos, 2);
  EXPECT_EQ(result.run->end, app::CameraRun::End::done);
  EXPECT_EQ(recorded().size(), 2U);
}

TEST_F(AppModelFlowResultsTest, restoreIsDeclinedByTheUser) {
  plugInCharmera(1);
  launch();
  const auto reviews = resultOf(model().verifyCameraInPhotos()).reviews;
  world.dialogs.answers = {1};
  const app::RestoreResult result = resultOf(model().restoreMissingImports(reviews.at(0)));
  EXPECT_EQ(result.outcome.end, app::FlowEnd::declined);
  EXPECT_FALSE(result.run);
}

TEST_F(AppModelFlowResultsTest, cleanupsGiveHowManyFilesTheyMoved) {
  plugInCharmera(3);
  world.settings().setDeleteAfterSync(true);
  launch();
  world.dialogs.answers = {0, 1, 0};
  sync();
  const app::DeviceTrashSummary device = model().deviceTrashSummaries->front();
  EXPECT_EQ(resultOf(model().restoreManagedTrash(device, std::set<std::string>{"PICT0001.JPG"})).fileCount,
            1);
  EXPECT_EQ(resultOf(model().clearManagedTrash(device)).outcome.end, app::FlowEnd::declined);
  EXPECT_EQ(resultOf(model().clearManagedTrash(device)).fileCount, 2);
}

TEST_F(AppModelFlowResultsTest, albumGivesHowManyItemsWereNewInIt) {
  plugInCharmera(2);
  launch();
  sync();
  EXPECT_EQ(resultOf(model().addRecordedAssets(std::nullopt, "Summer")).addedCount, 2);
  EXPECT_EQ(resultOf(model().addRecordedAssets(std::nullopt, "Summer")).addedCount, 0);
}

TEST_F(AppModelFlowResultsTest, ejectGivesWhetherTheCameraIsGone) {
  const Camera camera = plugInCharmera(0);
  launch();
  letTheDriveGo(camera);
  EXPECT_EQ(resultOf(model().ejectDevice(model().connectedDevices->front())), app::FlowOutcome());
}

TEST_F(AppModelFlowResultsTest, ejectThatIsRefusedGivesTheWords) {
  plugInCharmera(0);
  launch();
  world.ejector.eject = [](const FileURL&) { throw std::runtime_error("in use"); };
  const app::FlowOutcome outcome = resultOf(model().ejectDevice(model().connectedDevices->front()));
  EXPECT_EQ(outcome.end, app::FlowEnd::failed);
  EXPECT_EQ(outcome.failure->words, model().lastError.value());
}

TEST_F(AppModelFlowResultsTest, addingACameraGivesItsVolumeAndItsSync) {
  const Camera camera = withPictures(world.makeCharmera(), 1);
  plugIn(world.makeCard("OTHER"));
  world.mount(camera);
  launch();
  world.dialogs.folders = {camera.url, std::nullopt, camera.url};
  const app::AddedCamera added = resultOf(model().addDevice());
  EXPECT_EQ(added.volume, camera.url);
  EXPECT_EQ(added.sync.cameras.size(), 2U);
  EXPECT_EQ(resultOf(model().addDevice()).outcome.end, app::FlowEnd::declined);
  const app::AddedCamera again = resultOf(model().addDevice(camera.url, app::AppModel::AfterAdding::nothing));
  EXPECT_EQ(again.volume, camera.url);
  EXPECT_TRUE(again.sync.cameras.empty());
  EXPECT_EQ(world.dialogs.panels.back().proposed, camera.url);
}

TEST_F(AppModelFlowResultsTest, forgettingACameraGivesWhetherItIsForgotten) {
  plugInCharmera(0);
  plugInCard(0, "OTHER");
  launch();
  const UUID id = world.settings().cameraGrants().front().id;
  world.dialogs.answers = {1, 0};
  EXPECT_EQ(resultOf(model().removeDevice(id)).end, app::FlowEnd::declined);
  EXPECT_EQ(resultOf(model().removeDevice(id)).end, app::FlowEnd::done);
  EXPECT_FALSE(model().removeDevice(id).has_value());
}

}  // namespace tolvander::tests
