#include <functional>

#include "Tests/App/Model/AppModelFlowTest.h"

namespace tolvander::tests {
namespace {

// The program may end wherever a flow waits: nothing of the model is used afterwards, and every job that was
// on its way ends by itself. What a memory checker sees here counts as much as the expectations.
class AppModelEndTest : public AppModelFlowTest {
 protected:
  // Each try has a separate world.
  struct Machine : AppModelFlowTest {
    void TestBody() override {}
    using AppModelFlowTest::begin;
    using AppModelFlowTest::launch;
    using AppModelFlowTest::letTheDriveGo;
    using AppModelFlowTest::model;
    using AppModelFlowTest::plugInCharmera;
    using AppModelFlowTest::quit;
    using AppModelFlowTest::sync;
    using AppModelFlowTest::world;
  };

  // Runs the flow again and again, and ends the program one step later each time. A step is a round of
  // functions on the main thread, or one job.
  static void endAfterEachStep(const std::function<void(Machine&)>& prepare,
                               const std::function<void(Machine&)>& begin) {
    for (int steps = 0; steps < 500; ++steps) {
      Machine machine;
      prepare(machine);
      begin(machine);
      int done = 0;
      const bool isUnfinished = machine.world.mainThread.runUntil([&] { return done++ == steps; });
      machine.quit();
      machine.world.runUntilIdle();
      if (!isUnfinished) {
        EXPECT_GT(steps, 3) << "the flow must wait somewhere";
        return;
      }
      expectConsistentHistory(machine);
    }
    ADD_FAILURE() << "the flow never ends";
  }

  // What the next launch finds: no asset in the library of which the history knows nothing.
  static void expectConsistentHistory(Machine& machine) {
    machine.world.launch();
    const std::size_t known = machine.world.history().records().size();
    const std::size_t marks = machine.world.history().pendingImportSources().size();
    EXPECT_GE(known + marks, machine.world.photoLibrary.fetchAssets(app::PhotosFetchOptions()).size());
  }
};

}  // namespace

TEST_F(AppModelEndTest, inTheMiddleOfASyncWithCleanupAndEject) {
  endAfterEachStep(
      [](Machine& machine) {
        machine.letTheDriveGo(machine.plugInCharmera(2));
        machine.world.settings().setDeleteAfterSync(true);
        machine.world.settings().setAutoEjectAfterSync(true);
        machine.world.settings().setAddToAlbum(true);
        machine.world.settings().setAlbumName("Summer");
        machine.launch();
        machine.world.dialogs.answers = {0};
      },
      [](Machine& machine) { machine.begin(machine.model().syncAllConnected(true)); });
}

TEST_F(AppModelEndTest, inTheMiddleOfClearingTheTrash) {
  endAfterEachStep(
      [](Machine& machine) {
        machine.plugInCharmera(1);
        machine.world.settings().setDeleteAfterSync(true);
        machine.launch();
        machine.world.dialogs.answers = {0, 0};
        machine.sync();
      },
      [](Machine& machine) {
        machine.model().clearManagedTrash(machine.model().deviceTrashSummaries->at(0));
      });
}

TEST_F(AppModelEndTest, inTheMiddleOfACheck) {
  endAfterEachStep(
      [](Machine& machine) {
        machine.plugInCharmera(1);
        machine.launch();
      },
      [](Machine& machine) { machine.model().verifyCameraInPhotos(); });
}

TEST_F(AppModelEndTest, inTheMiddleOfARecovery) {
  endAfterEachStep(
      [](Machine& machine) {
        machine.plugInCharmera(1);
        machine.launch();
        machine.model().verifyCameraInPhotos();
        machine.world.runUntilIdle();
        machine.world.dialogs.answers = {0};
      },
      [](Machine& machine) { machine.model().restoreMissingImports(machine.model().libraryReviews->at(0)); });
}

TEST_F(AppModelEndTest, inTheMiddleOfTheCreationOfAnAlbum) {
  endAfterEachStep(
      [](Machine& machine) {
        machine.plugInCharmera(1);
        machine.launch();
        machine.sync();
        machine.world.dialogs.texts = {"Summer"};
        machine.world.dialogs.answers = {0};
      },
      [](Machine& machine) { machine.model().presentCreateAlbum(); });
}

TEST_F(AppModelEndTest, inTheMiddleOfAnEject) {
  endAfterEachStep(
      [](Machine& machine) {
        machine.plugInCharmera(0);
        machine.launch();
      },
      [](Machine& machine) { machine.model().ejectDevice(machine.model().connectedDevices->at(0)); });
}

TEST_F(AppModelEndTest, whileAQuestionIsOpen) {
  plugInCharmera(1);
  world.settings().setDeleteAfterSync(true);
  launch();
  world.dialogs.answers = {0};
  world.dialogs.timeToAnswer = std::chrono::seconds(10);
  sync();
  ASSERT_EQ(world.dialogs.alerts.size(), 1U);
  quit();
  world.advance(std::chrono::seconds(10));
  EXPECT_EQ(world.photoLibrary.creations().size(), 1U);
}

// The job asks the model whether to go on after the model has been destroyed.
TEST_F(AppModelEndTest, whileATransactionRuns) {
  plugInCharmera(8);
  launch();
  world.photoLibrary.beforeEachChange([this] { world.mainThread.post([this] { quit(); }); });
  begin(model().syncAllConnected(false));
  world.runUntilIdle();
  EXPECT_EQ(world.photoLibrary.creations().size(), 4U);
  world.launch();
  EXPECT_EQ(recorded().size(), 4U);
  EXPECT_TRUE(world.history().pendingImportSources().empty());
}

}  // namespace tolvander::tests
