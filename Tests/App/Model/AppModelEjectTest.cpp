#include <algorithm>
#include <filesystem>

#include "Tests/App/Model/AppModelFlowTest.h"

namespace tolvander::tests {
namespace {

using Kind = SyncPhase::Kind;

class AppModelEjectTest : public AppModelFlowTest {
 protected:
  void eject() {
    ASSERT_FALSE(model().connectedDevices->empty());
    run([&] { model().ejectDevice(model().connectedDevices->front()); });
  }
};

}  // namespace

TEST_F(AppModelEjectTest, tellsThatTheCameraIsGone) {
  const Camera camera = plugInCharmera(0);
  launch();
  letTheDriveGo(camera);
  eject();
  EXPECT_EQ(world.takeStatuses(), (Texts{"Ejecting CHARMERA…", "Ejected CHARMERA"}));
  EXPECT_EQ(world.ejector.ejected, (std::vector{camera.url}));
  EXPECT_TRUE(model().connectedDevices->empty());
  EXPECT_EQ(notes(), (Notes{{"Charmera safely ejected", "You can disconnect it."}}));
  EXPECT_EQ(world.logLines("ejectFinished"), (Texts{R"({"event":"ejectFinished","metrics":{"success":1}})"}));
  ASSERT_TRUE(model().statusReceipt->has_value());
  EXPECT_EQ(model().statusReceipt.value()->minimumDisplayDuration, std::chrono::seconds(300));
  expectNoFailure("Ejected CHARMERA");
}

TEST_F(AppModelEjectTest, resultStaysWhenTheUnmountIsToldLate) {
  const Camera camera = plugInCharmera(0);
  launch();
  eject();  // and the system takes its time
  world.advance(std::chrono::seconds(299));
  run([&] { world.unmount(camera); });
  EXPECT_EQ(model().statusMessage.value(), "Ejected CHARMERA");
  EXPECT_TRUE(model().statusReceipt->has_value());
}

TEST_F(AppModelEjectTest, namesACameraThatIsNoCharmera) {
  letTheDriveGo(plugInCard(0, "EOS"));
  launch();
  eject();
  EXPECT_EQ(notes(), (Notes{{"Camera safely ejected", "You can disconnect it."}}));
}

TEST_F(AppModelEjectTest, fromTheMenuDuringASyncTheSyncStopsAndTheEjectFollows) {
  const Camera camera = plugInCharmera(2);
  launch();
  letTheDriveGo(camera);
  whenIn(Kind::recognizing, [&] { model().ejectDevice(model().connectedDevices->front()); });
  sync();
  const Texts statuses = world.takeStatuses();
  EXPECT_EQ(std::ranges::count(statuses, "Canceling sync…"), 1);
  EXPECT_EQ(Texts(statuses.end() - 3, statuses.end()),
            (Texts{"Check stopped", "Ejecting CHARMERA…", "Ejected CHARMERA"}));
  EXPECT_EQ(world.photoLibrary.changeCount(), 0U);
  EXPECT_EQ(notes(), (Notes{{"Charmera safely ejected", "You can disconnect it."}}));
  expectNoFailure("Ejected CHARMERA");
}

TEST_F(AppModelEjectTest, neverCutsATransaction) {
  const Camera camera = plugInCharmera(8);
  launch();
  letTheDriveGo(camera);
  world.photoLibrary.beforeEachChange(
      [&] { world.mainThread.post([&] { model().ejectDevice(model().connectedDevices->front()); }); });
  sync();
  EXPECT_EQ(recorded().size(), 4U);
  EXPECT_TRUE(world.history().pendingImportSources().empty());
  EXPECT_EQ(world.ejector.ejected.size(), 1U);
  const Texts statuses = world.takeStatuses();
  EXPECT_EQ(std::ranges::count(statuses, "Finishing before eject…"), 1);
}

TEST_F(AppModelEjectTest, fromTheMenuDuringCleanupStopsTheCleanup) {
  const Camera camera = plugInCharmera(1);
  world.settings().setDeleteAfterSync(true);
  launch();
  letTheDriveGo(camera);
  world.dialogs.answers = {0};
  world.dialogs.whileOpen = [&] { model().ejectDevice(model().connectedDevices->front()); };
  sync();
  const Texts statuses = world.takeStatuses();
  EXPECT_EQ(Texts(statuses.end() - 5, statuses.end()),
            (Texts{"Stopping cleanup before eject…", "Cleanup stopped", "Check stopped", "Ejecting CHARMERA…",
                   "Ejected CHARMERA"}));
  EXPECT_TRUE(world.history().trashRecords().empty());
}

TEST_F(AppModelEjectTest, whileTheCompletionBadgeIsUpWithSuccessTheBadgeIsBackForAtLeast300Seconds) {
  const Camera camera = plugInCharmera(1);
  launch();
  sync();
  ASSERT_TRUE(model().showsCompletionCheckmark);
  letTheDriveGo(camera);
  eject();
  EXPECT_TRUE(model().showsCompletionCheckmark);
  world.advance(std::chrono::seconds(299));
  EXPECT_TRUE(model().showsCompletionCheckmark);
  world.advance(std::chrono::seconds(1));
  EXPECT_FALSE(model().showsCompletionCheckmark);
  EXPECT_EQ(model().statusMessage.value(), "Waiting for connection");
}

TEST_F(AppModelEjectTest, thatFailsWhileTheBadgeIsUpTheBadgeStaysOff) {
  plugInCharmera(1);
  launch();
  sync();
  ASSERT_TRUE(model().showsCompletionCheckmark);
  world.ejector.failure = app::EjectError(app::EjectError::Case::notPermitted);
  eject();
  EXPECT_FALSE(model().showsCompletionCheckmark);
  expectFailure("CHARMERA could not be ejected: You don’t have permission to eject it.",
                "Eject needs attention");
  EXPECT_EQ(model().connectedDevices->size(), 1U);
  EXPECT_FALSE(model().offersPhotoReview);
  EXPECT_FALSE(model().isEjecting);
  EXPECT_EQ(world.logLines("operationFailed").size(), 1U);
  EXPECT_TRUE(world.logLines("ejectFinished").empty());
}

TEST_F(AppModelEjectTest, thatSucceedsWhileAnOlderErrorStandsKeepsItsProgressText) {
  const Camera camera = plugInCharmera(0);
  launch();
  world.ejector.failure = app::EjectError(app::EjectError::Case::busy);
  eject();
  const auto error = model().lastError.value();
  ASSERT_TRUE(error.has_value());
  world.ejector.failure.reset();
  letTheDriveGo(camera);
  eject();
  EXPECT_EQ(model().lastError.value(), error);
  EXPECT_FALSE(model().statusReceipt->has_value());
  EXPECT_EQ(model().statusMessage.value(), "Ejecting CHARMERA…");
}

TEST_F(AppModelEjectTest, ofAVolumeWhosePathIsGoneGivesNoEjectedMessage) {
  const Camera camera = plugInCharmera(0);
  launch();
  std::filesystem::remove_all(camera.url.path());
  eject();
  EXPECT_TRUE(world.ejector.ejected.empty());
  EXPECT_TRUE(notes().empty());
  EXPECT_FALSE(model().statusReceipt->has_value());
  EXPECT_EQ(std::ranges::count(world.takeStatuses(), "Ejected CHARMERA"), 0);
}

TEST_F(AppModelEjectTest, secondEjectDuringAnEjectDoesNothing) {
  const Camera camera = plugInCharmera(0);
  launch();
  world.ejector.eject = [&](const FileURL&) {
    world.mainThread.call([&] {
      EXPECT_TRUE(model().isEjecting);
      model().ejectDevice(model().connectedDevices->front());
      world.unmount(camera);
    });
  };
  eject();
  EXPECT_EQ(world.ejector.ejected.size(), 1U);
  expectNoFailure("Ejected CHARMERA");
}

TEST_F(AppModelEjectTest, needsSetup) {
  plugInCharmera(0);
  launch();
  world.settings().setOnboardingCompleted(false);
  eject();
  EXPECT_TRUE(world.ejector.ejected.empty());
  EXPECT_TRUE(world.takeStatuses().empty());
}

}  // namespace tolvander::tests
