#include "TolvanderApp/Permissions/PermissionService.h"

#include <gtest/gtest.h>

#include <optional>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "Tests/Support/Application/TaskResult.h"
#include "Tests/Support/Doubles/RecordedNotifications.h"
#include "Tests/Support/Doubles/VirtualMainThread.h"
#include "Tests/Support/Machine/TemporaryFolder.h"

namespace tolvander::tests {

namespace PermissionService = app::PermissionService;
using app::NotificationAuthorizationStatus;
using app::NotificationPermissionStatus;
using app::PhotosAuthorizationStatus;
using app::PhotosPermissionStatus;

namespace {

// A library that only answers who may use it.
class AskedLibrary final : public app::PhotoLibrary {
 public:
  PhotosAuthorizationStatus authorizationStatus() override {
    return PhotosAuthorizationStatus::notDetermined;
  }
  void requestAuthorization(std::function<void(PhotosAuthorizationStatus)> handler) override {
    handler_ = std::move(handler);
  }
  void answer(PhotosAuthorizationStatus status) { handler_(status); }
  bool wasAsked() const { return handler_ != nullptr; }

  void performChanges(ChangeBlock, ChangeCompletion) override { ADD_FAILURE(); }
  std::vector<app::PhotosAsset> fetchAssets(const app::PhotosFetchOptions&) override { return {}; }
  std::vector<app::PhotosAsset> fetchAssets(const std::vector<std::string>&) override { return {}; }
  std::vector<app::PhotosAsset> fetchAssets(const app::PhotosAlbum&) override { return {}; }
  std::vector<app::PhotosAlbum> fetchAlbums(const std::optional<std::string>&) override { return {}; }
  std::vector<app::PhotosAlbum> fetchAlbumsWithLocalIdentifiers(const std::vector<std::string>&) override {
    return {};
  }
  std::vector<app::PhotosAssetResource> assetResources(const app::PhotosAsset&) override { return {}; }
  RequestID requestData(const app::PhotosAssetResource&, DataHandler, DataCompletion) override { return 0; }
  void cancelDataRequest(RequestID) override {}

 private:
  std::function<void(PhotosAuthorizationStatus)> handler_;
};

}  // namespace

TEST(PhotosPermissionStatus, standsForThePlatformsStatus) {
  const std::pair<int, PhotosPermissionStatus> mapping[] = {
      {0, PhotosPermissionStatus::notDetermined}, {1, PhotosPermissionStatus::restricted},
      {2, PhotosPermissionStatus::denied},        {3, PhotosPermissionStatus::authorized},
      {4, PhotosPermissionStatus::limited},       {5, PhotosPermissionStatus::restricted},
      {99, PhotosPermissionStatus::restricted}};
  for (const auto& [platform, status] : mapping) {
    EXPECT_EQ(app::photosPermissionStatus(static_cast<PhotosAuthorizationStatus>(platform)), status)
        << platform;
  }
}

TEST(NotificationPermissionStatus, standsForThePlatformsStatus) {
  const std::pair<int, NotificationPermissionStatus> mapping[] = {
      {0, NotificationPermissionStatus::notDetermined}, {1, NotificationPermissionStatus::denied},
      {2, NotificationPermissionStatus::authorized},    {3, NotificationPermissionStatus::authorized},
      {4, NotificationPermissionStatus::authorized},    {5, NotificationPermissionStatus::denied}};
  for (const auto& [platform, status] : mapping) {
    EXPECT_EQ(app::notificationPermissionStatus(static_cast<NotificationAuthorizationStatus>(platform)),
              status)
        << platform;
  }
}

TEST(PermissionService, bringsThePhotosAnswerToTheMainThread) {
  VirtualMainThread mainThread;
  AskedLibrary library;
  std::vector<PhotosPermissionStatus> answers;
  PermissionService::requestPhotosAccess(
      [&](std::function<void(PhotosAuthorizationStatus)> handler) {
        library.requestAuthorization(std::move(handler));
      },
      mainThread,
      [&](PhotosPermissionStatus status) {
        EXPECT_TRUE(mainThread.isCurrent());
        answers.push_back(status);
      });
  mainThread.runUntilIdle();
  EXPECT_TRUE(answers.empty());
  std::thread([&] { library.answer(PhotosAuthorizationStatus::limited); }).join();
  EXPECT_TRUE(answers.empty());
  mainThread.runUntilIdle();
  EXPECT_EQ(answers, std::vector{PhotosPermissionStatus::limited});
}

TEST(PermissionService, logsThePromptBeforeItAsksTheLibrary) {
  const TemporaryFolder folder;
  VirtualMainThread mainThread;
  AskedLibrary library;
  DiagnosticLog log(folder / "Logs");
  const app::PresentationState state{.appActive = true,
                                     .windowKey = false,
                                     .windowMain = true,
                                     .activationPolicy = 1,
                                     .workspaceFrontmost = true};
  const auto request = PermissionService::standardPhotosAccessRequest(library, log, mainThread, state);
  EXPECT_FALSE(library.wasAsked());
  request([](PhotosAuthorizationStatus) {});
  EXPECT_TRUE(library.wasAsked());

  log.files();
  const std::string line = readFile(folder / "Logs/Tolvander.log");
  EXPECT_TRUE(line.starts_with(R"({"event":"permissionPromptStarted","metrics":{"activation_policy":1,)"
                               R"("app_active":1,"main_thread":1,"window_key":0,"window_main":1,)"
                               R"("workspace_frontmost":1},"time":")"))
      << line;
}

TEST(PermissionService, tellsOfNoApplicationObjectWhereThereIsNone) {
  const TemporaryFolder folder;
  VirtualMainThread mainThread;
  AskedLibrary library;
  DiagnosticLog log(folder / "Logs");
  const auto request = PermissionService::standardPhotosAccessRequest(library, log, mainThread, {});
  std::thread([&] { request([](PhotosAuthorizationStatus) {}); }).join();
  log.files();
  const std::string line = readFile(folder / "Logs/Tolvander.log");
  EXPECT_NE(line.find(R"("activation_policy":-1,"app_active":0,"main_thread":0,)"), std::string::npos)
      << line;
}

TEST(PermissionService, givesTheStatusOfNotifications) {
  VirtualMainThread mainThread;
  RecordedNotifications delivery;
  delivery.status = NotificationAuthorizationStatus::ephemeral;
  EXPECT_EQ(resultOf(mainThread, PermissionService::notificationStatus(delivery)),
            NotificationPermissionStatus::authorized);
  delivery.status = NotificationAuthorizationStatus::denied;
  EXPECT_EQ(resultOf(mainThread, PermissionService::notificationStatus(delivery)),
            NotificationPermissionStatus::denied);
}

}  // namespace tolvander::tests
