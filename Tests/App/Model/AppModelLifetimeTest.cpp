#include <gtest/gtest.h>

#include <chrono>
#include <functional>
#include <memory>
#include <optional>

#include "Tests/Support/Application/AppModelValues.h"
#include "Tests/Support/Application/AppModelWorld.h"
#include "Tests/Support/Application/ObservedTestPeer.h"

namespace tolvander::tests {
namespace {

using namespace std::chrono_literals;
using app::AppModel;

// A machine on which the model ends after any one step of a flow.
class AppModelLifetime : public testing::Test {
 protected:
  struct Scene {
    Scene() {
      world.mount(camera);
      world.remember(camera);
    }

    AppModelWorld world;
    AppModelWorld::Camera camera = world.makeCharmera();
    AppModelWorld::Camera card = world.makeCard("CARD");
  };
  using Step = std::function<void(Scene& scene)>;

  // Runs the flow again and again, and ends the model one step later each time, until the flow has come to
  // its end before. What is left of it, on workers and in the loop, then finds no model.
  static void expectHarmlessAtAnyStepOf(const Step& prepare, const Step& flow, int atLeastSteps) {
    for (int steps = 0;; ++steps) {
      Scene scene;
      prepare(scene);
      flow(scene);
      int left = steps;
      const bool isOver = !scene.world.mainThread.runUntil([&] { return left-- == 0; });
      scene.world.quit();
      scene.world.advance(600s);
      for (const auto& [place, count] : scene.world.bookmarks.open) {
        ASSERT_EQ(count, 0) << place.path() << " after " << steps << " steps";
      }
      ASSERT_EQ(scene.world.volumes.observerCount(), 0U);
      ASSERT_FALSE(scene.world.application.didBecomeActive);
      if (isOver) {
        EXPECT_GE(steps, atLeastSteps);
        return;
      }
    }
  }

  static void launchAfterSetup(Scene& scene) { scene.world.launchAfterSetup(); }
};

TEST_F(AppModelLifetime, endsHarmlesslyAtAnyStepOfTheStartAndItsSync) {
  expectHarmlessAtAnyStepOf(
      [](Scene& scene) {
        scene.world.addPhoto(scene.camera, "PICT0001.JPG", 1);
        scene.world.completeSetup();
        scene.world.launch();
      },
      [](Scene& scene) { scene.world.model().start(AppModel::FirstSync::whenSetupIsComplete); }, 20);
}

TEST_F(AppModelLifetime, endsHarmlesslyWhileAVolumeSettles) {
  Scene scene;
  launchAfterSetup(scene);
  scene.world.mount(scene.card);
  scene.world.advance(1s);
  scene.world.quit();
  scene.world.advance(10s);
  EXPECT_EQ(scene.world.mainThread.untilNextTimer(), std::nullopt);
}

TEST_F(AppModelLifetime, endsHarmlesslyAtAnyStepOfAMount) {
  expectHarmlessAtAnyStepOf(
      launchAfterSetup,
      [](Scene& scene) { scene.world.begin(scene.world.model().handleMountedVolume(scene.camera.url)); }, 20);
}

TEST_F(AppModelLifetime, endsHarmlesslyAtAnyStepOfAnUnmount) {
  expectHarmlessAtAnyStepOf(
      launchAfterSetup, [](Scene& scene) { scene.world.unmount(scene.camera); }, 2);
}

TEST_F(AppModelLifetime, endsHarmlesslyAtAnyStepOfAnActivation) {
  expectHarmlessAtAnyStepOf(
      [](Scene& scene) {
        launchAfterSetup(scene);
        scene.world.photoLibrary.answerAuthorization({app::PhotosAuthorizationStatus::denied});
      },
      [](Scene& scene) { scene.world.application.didBecomeActive(); }, 2);
}

TEST_F(AppModelLifetime, endsHarmlesslyAtAnyStepOfAnAddition) {
  expectHarmlessAtAnyStepOf(
      [](Scene& scene) {
        launchAfterSetup(scene);
        scene.world.mount(scene.card);
        scene.world.dialogs.folders = {scene.card.url};
      },
      [](Scene& scene) { scene.world.model().addDevice(); }, 20);
}

TEST_F(AppModelLifetime, endsHarmlesslyWhileAPanelOrAQuestionIsOpen) {
  Scene scene;
  launchAfterSetup(scene);
  scene.world.dialogs.timeToAnswer = 10s;
  scene.world.model().addDevice();
  scene.world.model().removeDevice(scene.world.settings().cameraGrants().at(0).id);
  scene.world.advance(1s);
  EXPECT_EQ(scene.world.dialogs.panels.size() + scene.world.dialogs.alerts.size(), 2U);
  scene.world.quit();
  scene.world.advance(20s);
  EXPECT_EQ(scene.world.mainThread.untilNextTimer(), std::nullopt);
}

TEST_F(AppModelLifetime, endsHarmlesslyAtAnyStepOfAForgetting) {
  expectHarmlessAtAnyStepOf(
      [](Scene& scene) {
        launchAfterSetup(scene);
        scene.world.dialogs.answers = {0};
      },
      [](Scene& scene) { scene.world.model().removeDevice(scene.world.settings().cameraGrants().at(0).id); },
      2);
}

TEST_F(AppModelLifetime, endsHarmlesslyAtAnyStepOfThePermissionRequests) {
  expectHarmlessAtAnyStepOf(
      launchAfterSetup,
      [](Scene& scene) {
        scene.world.model().requestPhotosAccess();
        scene.world.model().requestNotificationPermission(scene.world.model().beginPermissionRequest());
      },
      20);
}

TEST_F(AppModelLifetime, endsTheTimeOfAResult) {
  Scene scene;
  launchAfterSetup(scene);
  auto& model = scene.world.model();
  assign(model.statusReceipt, resultOnShow("1 photo synced", scene.world.mainThread.wallNow(), 120s));
  model.setStatusMenuOpen(false);  // begins its time
  scene.world.runUntilIdle();
  ASSERT_EQ(scene.world.mainThread.untilNextTimer(), 120s);
  scene.world.quit();
  EXPECT_EQ(scene.world.mainThread.untilNextTimer(), std::nullopt);
}

}  // namespace
}  // namespace tolvander::tests
