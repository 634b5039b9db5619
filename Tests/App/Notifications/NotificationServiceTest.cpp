#include "TolvanderApp/Notifications/NotificationService.h"

#include <gtest/gtest.h>

#include <functional>
#include <ostream>
#include <string>
#include <vector>

#include "Tests/Support/Application/TaskResult.h"
#include "Tests/Support/Doubles/RecordedNotifications.h"
#include "Tests/Support/Doubles/VirtualMainThread.h"
#include "Tests/Support/Fixtures/KnownSystems.h"
#include "TolvanderCore/Foundation/UUID.h"

namespace tolvander::tests {

using app::NotificationAuthorizationStatus;
using app::NotificationService;
using app::Task;

namespace {

struct Text {
  std::function<Task<>(NotificationService&)> send;
  std::string title;
  std::string body;
  SystemNames names = macOS;
};

std::ostream& operator<<(std::ostream& stream, const Text& text) { return stream << text.title; }

class NotificationTexts : public testing::TestWithParam<Text> {};

constexpr bool charmera = true;
constexpr bool ejected = true;

std::vector<Text> allTexts() {
  using Service = NotificationService;
  return {
      {[](Service& service) { return service.sendSyncStarted(charmera); }, "Syncing your Charmera",
       "Keep it connected. Tolvander will let you know when it’s finished."},
      {[](Service& service) { return service.sendSyncStarted(!charmera); }, "Syncing your camera",
       "Keep it connected. Tolvander will let you know when it’s finished."},

      {[](Service& service) { return service.sendSyncFinished(5, 2, charmera, !ejected); },
       "3 photos and 2 videos synced", "Added from your Charmera to Apple Photos."},
      {[](Service& service) { return service.sendSyncFinished(2, 1, charmera, ejected); },
       "1 photo and 1 video synced", "Added from your Charmera to Apple Photos. Charmera safely ejected."},
      {[](Service& service) { return service.sendSyncFinished(1, 0, !charmera, !ejected); }, "1 photo synced",
       "Added to Apple Photos."},
      {[](Service& service) { return service.sendSyncFinished(12, 0, !charmera, ejected); },
       "12 photos synced", "Added to Apple Photos. Camera safely ejected."},
      {[](Service& service) { return service.sendSyncFinished(5, 2, charmera, !ejected); },
       "3 photos and 2 videos synced", "Added from your Charmera to your photo library.", linuxDesktop},
      {[](Service& service) { return service.sendSyncFinished(12, 0, !charmera, ejected); },
       "12 photos synced", "Added to your photo library. Camera safely ejected.", linuxDesktop},
      {[](Service& service) { return service.sendSyncFinished(3, 3, charmera, !ejected); }, "3 videos synced",
       "Added from your Charmera to Apple Photos."},
      {[](Service& service) { return service.sendSyncFinished(3, 8, charmera, !ejected); }, "3 videos synced",
       "Added from your Charmera to Apple Photos."},
      {[](Service& service) { return service.sendSyncFinished(3, -1, charmera, !ejected); },
       "3 photos synced", "Added from your Charmera to Apple Photos."},
      {[](Service& service) { return service.sendSyncFinished(0, 0, charmera, !ejected); }, "0 items synced",
       "Added from your Charmera to Apple Photos."},
      {[](Service& service) { return service.sendSyncFinished(-2, 4, charmera, !ejected); }, "0 items synced",
       "Added from your Charmera to Apple Photos."},

      {[](Service& service) { return service.sendNoNewFiles(charmera, !ejected); }, "Charmera is up to date",
       "Nothing new to sync."},
      {[](Service& service) { return service.sendNoNewFiles(!charmera, !ejected); }, "Camera is up to date",
       "Nothing new to sync."},
      {[](Service& service) { return service.sendNoNewFiles(charmera, ejected); }, "Charmera is up to date",
       "Nothing new to sync. Charmera safely ejected."},
      {[](Service& service) { return service.sendNoNewFiles(!charmera, ejected); }, "Camera is up to date",
       "Nothing new to sync. Camera safely ejected."},

      {[](Service& service) { return service.sendMovedToTrash(1, "My card"); }, "Moved to macOS Trash",
       "1 file from My card. Restore in Finder until Trash is emptied."},
      {[](Service& service) { return service.sendMovedToTrash(0, "Charmera"); }, "Moved to macOS Trash",
       "0 files from Charmera. Restore in Finder until Trash is emptied."},
      {[](Service& service) { return service.sendMovedToTrash(1200, "Charmera"); }, "Moved to macOS Trash",
       "1200 files from Charmera. Restore in Finder until Trash is emptied."},
      {[](Service& service) { return service.sendMovedToTrash(1, "My card"); }, "Moved to the Trash",
       "1 file from My card. Restore in your file manager until the Trash is emptied.", linuxDesktop},

      {[](Service& service) { return service.sendTrashCleared(1, "Charmera"); }, "1 trashed file deleted",
       "1 file permanently deleted from Charmera."},
      {[](Service& service) { return service.sendTrashCleared(2, "My card"); }, "2 trashed files deleted",
       "2 files permanently deleted from My card."},
      {[](Service& service) { return service.sendTrashCleared(0, "My card"); }, "0 trashed files deleted",
       "0 files permanently deleted from My card."},

      {[](Service& service) { return service.sendDeviceEjected(charmera); }, "Charmera safely ejected",
       "You can disconnect it."},
      {[](Service& service) { return service.sendDeviceEjected(!charmera); }, "Camera safely ejected",
       "You can disconnect it."},
  };
}

class NotificationServiceTest : public testing::Test {
 protected:
  void sendTwice() {
    runToEnd(mainThread_, service_.sendDeviceEjected(charmera));
    runToEnd(mainThread_, service_.sendDeviceEjected(charmera));
  }

  VirtualMainThread mainThread_;
  RecordedNotifications delivery_;
  bool isSetUp_ = true;
  NotificationService service_{[this] { return isSetUp_; }, delivery_, macOS};
};

}  // namespace

TEST_P(NotificationTexts, areTheSystemsOwnWords) {
  VirtualMainThread mainThread;
  RecordedNotifications delivery;
  NotificationService service([] { return true; }, delivery, GetParam().names);
  runToEnd(mainThread, GetParam().send(service));
  ASSERT_EQ(delivery.requests.size(), 1U);
  EXPECT_EQ(delivery.requests[0].title, GetParam().title);
  EXPECT_EQ(delivery.requests[0].body, GetParam().body);
  EXPECT_TRUE(UUID::fromText(delivery.requests[0].identifier));
}

INSTANTIATE_TEST_SUITE_P(All, NotificationTexts, testing::ValuesIn(allTexts()));

TEST_F(NotificationServiceTest, asksNotEvenForPermissionBeforeSetupIsComplete) {
  isSetUp_ = false;
  sendTwice();
  EXPECT_EQ(delivery_.statusQueries, 0);
  EXPECT_TRUE(delivery_.requests.empty());
  isSetUp_ = true;
  sendTwice();
  EXPECT_EQ(delivery_.requests.size(), 2U);
}

TEST_F(NotificationServiceTest, deliversOnlyWithAuthorizedOrProvisionalPermission) {
  using Status = NotificationAuthorizationStatus;
  for (const Status status : {Status::notDetermined, Status::denied, Status::ephemeral}) {
    delivery_.status = status;
    sendTwice();
    EXPECT_TRUE(delivery_.requests.empty());
  }
  for (const Status status : {Status::authorized, Status::provisional}) {
    delivery_.status = status;
    delivery_.requests.clear();
    sendTwice();
    EXPECT_EQ(delivery_.requests.size(), 2U);
  }
  EXPECT_EQ(delivery_.authorizationRequests, 0);
}

TEST_F(NotificationServiceTest, dropsAFailureOfDelivery) {
  delivery_.fails = true;
  EXPECT_NO_THROW(sendTwice());
  EXPECT_EQ(delivery_.requests.size(), 2U);
}

TEST_F(NotificationServiceTest, givesIdenticalEventsDifferentIdentifiers) {
  sendTwice();
  ASSERT_EQ(delivery_.requests.size(), 2U);
  EXPECT_EQ(delivery_.requests[0].title, delivery_.requests[1].title);
  EXPECT_NE(delivery_.requests[0].identifier, delivery_.requests[1].identifier);
}

}  // namespace tolvander::tests
