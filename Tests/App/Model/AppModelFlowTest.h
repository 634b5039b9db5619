#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "Samples/Bytes.h"
#include "Tests/Support/Application/AppModelWorld.h"
#include "TolvanderCore/MediaStagingService.h"

namespace tolvander::tests {

// A machine on which setup is done and cameras are plugged in, for the flows of the model.
class AppModelFlowTest : public testing::Test {
 protected:
  using Camera = AppModelWorld::Camera;
  using Texts = std::vector<std::string>;
  using Notes = std::vector<std::pair<std::string, std::string>>;  // title and body

  AppModelFlowTest() {
    // A folder's file system may have no name.
    world.trash.volumeUUID = [](const FileURL&) { return "VOLUME"; };
  }
  ~AppModelFlowTest() override { quit(); }

  // MARK: Cameras

  Camera plugIn(Camera camera) {
    world.remember(camera);
    world.mount(camera);
    return camera;
  }
  // With so many pictures, of which no two are alike.
  Camera plugInCharmera(int pictures, const std::string& name = "CHARMERA") {
    return plugIn(withPictures(world.makeCharmera(name), pictures));
  }
  Camera plugInCard(int pictures, const std::string& name) {
    return plugIn(withPictures(world.makeCard(name), pictures));
  }
  Camera withPictures(Camera camera, int pictures) {
    for (int number = 1; number <= pictures; ++number) {
      world.addPhoto(camera, pictureName(number), nextContent_++);
    }
    return camera;
  }
  static std::string pictureName(int number) {
    return (number < 10 ? "PICT000" : "PICT00") + std::to_string(number) + ".JPG";
  }
  static FileURL picture(const Camera& camera, int number) {
    return camera.file("DCIM/100CHRM/" + pictureName(number));
  }

  // The picture is in the library, by name, date and size, and its bytes are out of reach.
  void putIntoCloud(const Camera& camera, int number,
                    app::PhotosMediaType mediaType = app::PhotosMediaType::image) {
    const auto content = bytesOf(readFile(picture(camera, number)));
    world.photoLibrary.addAsset(
        {.localIdentifier = {},
         .creationDate = MediaStagingService::captureDate(content, TimeZone::current()),
         .mediaType = mediaType,
         .pixelWidth = 640,
         .pixelHeight = 480,
         .duration = 0},
        {{.type = app::PhotosResourceType::photo,
          .originalFilename = pictureName(number),
          .content = content,
          .isLocal = false}});
  }

  // MARK: The program

  // Starts the program without a sync.
  void launch() {
    world.launchAfterSetup();
    tasks_ = std::make_unique<app::TaskScope>(world.mainThread);
    world.takeStatuses();
  }
  void quit() {
    tasks_.reset();
    world.quit();
  }
  app::AppModel& model() { return world.model(); }
  void sync(bool notifyWhenStarting = false) { world.run(model().syncAllConnected(notifyWhenStarting)); }

  // Begins a task, and doesn't run it yet.
  template <typename T>
  void begin(app::Task<T> task) {
    tasks_->start(std::move(task));
  }

  // Runs a command and what follows from it.
  template <typename Command>
  void run(const Command& command) {
    command();
    world.runUntilIdle();
  }

  // Lets something happen, once and on the main thread, when the engine asks for access in this phase.
  void whenIn(SyncPhase::Kind phase, std::function<void()> act) {
    whenAsking([this, phase] { return model().syncPhase->kind == phase; }, std::move(act));
  }
  void whenAsking(std::function<bool()> condition, std::function<void()> act) {
    const auto isDone = std::make_shared<bool>(false);
    world.photoLibrary.beforeEachAuthorizationQuestion(
        [this, isDone, condition = std::move(condition), act = std::move(act)] {
          if (!world.mainThread.isCurrent() && !*isDone) {
            world.mainThread.call([&] {
              if (condition()) {
                *isDone = true;
                act();
              }
            });
          }
        });
  }

  // From within a job or on another thread: the drive of the camera leaves.
  void letTheDriveGo(const Camera& camera) {
    world.ejector.eject = [this, camera](const FileURL&) {
      world.mainThread.call([&] { world.unmount(camera); });
    };
  }

  // From now on no change of the history can be written.
  void blockHistory() const {
    std::filesystem::remove(world.historyFile().path());
    std::filesystem::create_directories(world.historyFile().appending("in the way").path());
  }

  // MARK: What came of it

  Notes notes() const {
    Notes notes;
    for (const auto& request : world.notifications.requests) {
      notes.emplace_back(request.title, request.body);
    }
    return notes;
  }

  Texts recorded() {
    Texts names;
    for (const auto& record : world.history().records()) {
      names.push_back(record.filename);
    }
    std::ranges::sort(names);
    return names;
  }

  void expectFailure(const std::string& message, const std::string& status) {
    EXPECT_EQ(model().lastError.value(), message);
    EXPECT_EQ(model().statusMessage.value(), status);
    EXPECT_FALSE(model().statusReceipt->has_value());
  }
  void expectNoFailure(const std::string& status) {
    EXPECT_EQ(model().lastError.value(), std::nullopt);
    EXPECT_EQ(model().statusMessage.value(), status);
    EXPECT_FALSE(model().isSyncing);
    EXPECT_FALSE(model().isEjecting);
    EXPECT_TRUE(model().isIdle());
  }

  AppModelWorld world;

 private:
  int nextContent_ = 1;
  std::unique_ptr<app::TaskScope> tasks_;
};

}  // namespace tolvander::tests
