#include "Platform/Linux/Notifications/DesktopNotifications.h"

#include <gtest/gtest.h>

#include <chrono>
#include <cstdlib>
#include <optional>
#include <string>

#include "Platform/Linux/Notifications/DesktopNotificationError.h"
#include "Tests/Support/Application/TaskResult.h"
#include "Tests/Support/Doubles/FakeDesktop.h"
#include "Tests/Support/Doubles/VirtualMainThread.h"
#include "Tests/Support/Machine/ChildProcess.h"
#include "Tests/Support/Machine/PrivateBus.h"
#include "Tests/Support/Machine/TemporaryFolder.h"

namespace tolvander::tests {

using app::NotificationAuthorizationStatus;
using app::NotificationRequest;
using platform::linux_::DesktopNotificationError;
using platform::linux_::DesktopNotifications;
using Behaviour = FakeDesktop::Behaviour;

namespace {

const NotificationRequest request{"an identifier", "3 photos synced", "Added to Apple Photos."};

// On a separate bus, which is the session bus while a test runs.
class DesktopNotificationsTest : public testing::Test {
 protected:
  void SetUp() override {
    if (const auto reason = PrivateBus::reasonAgainst()) {
      GTEST_SKIP() << "needs " << *reason;
    }
    bus_.emplace();
    setenv(sessionBus, address().c_str(), 1);
  }

  void TearDown() override { usersBus_ ? setenv(sessionBus, usersBus_->c_str(), 1) : unsetenv(sessionBus); }

  std::string address() const { return bus_->address(); }

  // The one notification that the desktop shows for this request.
  ShownNotification shown(const NotificationRequest& asked, std::vector<std::string> capabilities = {}) {
    const FakeDesktop desktop(address(), Behaviour::answers, std::move(capabilities));
    DesktopNotifications notifications;
    runToEnd(mainThread_, notifications.add(asked));
    const auto all = desktop.shown();
    EXPECT_EQ(all.size(), 1U);
    return all.at(0);
  }

  static constexpr const char* sessionBus = "DBUS_SESSION_BUS_ADDRESS";

  const std::optional<std::string> usersBus_ =
      getenv(sessionBus) != nullptr ? std::optional<std::string>(getenv(sessionBus)) : std::nullopt;
  std::optional<PrivateBus> bus_;
  VirtualMainThread mainThread_{VirtualMainThread::Jobs::onThreads};
};

}  // namespace

TEST_F(DesktopNotificationsTest, showsTitleAndBodyWithTheDesktopsOwnSound) {
  const ShownNotification notification = shown(request);
  EXPECT_EQ(notification.applicationName, "Tolvander");
  EXPECT_EQ(notification.icon, "com.tolvander.app");
  EXPECT_EQ(notification.title, "3 photos synced");
  EXPECT_EQ(notification.body, "Added to Apple Photos.");
  EXPECT_TRUE(notification.actions.empty());
  EXPECT_EQ(notification.hints, (std::map<std::string, std::string>{{"desktop-entry", "com.tolvander.app"},
                                                                    {"sound-name", "message-new-instant"}}));
  EXPECT_EQ(notification.expiration, -1);
}

TEST_F(DesktopNotificationsTest, replacesNoEarlierNotification) {
  const FakeDesktop desktop(address(), Behaviour::answers);
  DesktopNotifications notifications;
  runToEnd(mainThread_, notifications.add(request));
  runToEnd(mainThread_, notifications.add(request));
  const auto all = desktop.shown();
  ASSERT_EQ(all.size(), 2U);
  EXPECT_EQ(all[0].replacedIdentifier, 0U);
  EXPECT_EQ(all[1].replacedIdentifier, 0U);
}

TEST_F(DesktopNotificationsTest, isShownAsPlainTextByADesktopThatReadsMarkup) {
  const NotificationRequest asked{"", "A & B", "1 file from <b>A & B</b>."};
  EXPECT_EQ(shown(asked, {"body", "body-markup"}).body, "1 file from &lt;b&gt;A &amp; B&lt;/b&gt;.");
  EXPECT_EQ(shown(asked, {"body", "body-markup"}).title, "A & B");
  EXPECT_EQ(shown(asked, {"body"}).body, "1 file from <b>A & B</b>.");
}

TEST_F(DesktopNotificationsTest, passesOnNoTextThatTheBusWouldRefuse) {
  const NotificationRequest asked{"", "caf\xE9 – “ok”", std::string("a\0b", 3)};
  const ShownNotification notification = shown(asked);
  EXPECT_EQ(notification.title, "caf\xEF\xBF\xBD – “ok”");
  EXPECT_EQ(notification.body,
            "a\xEF\xBF\xBD"
            "b");
}

TEST_F(DesktopNotificationsTest, areAuthorizedWhereADesktopAnswers) {
  const FakeDesktop desktop(address(), Behaviour::answers);
  DesktopNotifications notifications;
  EXPECT_EQ(resultOf(mainThread_, notifications.authorizationStatus()),
            NotificationAuthorizationStatus::authorized);
  EXPECT_TRUE(resultOf(mainThread_, notifications.isAuthorized()));
  runToEnd(mainThread_, notifications.requestAuthorization());
  EXPECT_TRUE(desktop.shown().empty());
}

TEST_F(DesktopNotificationsTest, areDeniedOnABusWithoutDesktopUntilOneComes) {
  DesktopNotifications notifications;
  EXPECT_EQ(resultOf(mainThread_, notifications.authorizationStatus()),
            NotificationAuthorizationStatus::denied);
  EXPECT_FALSE(resultOf(mainThread_, notifications.isAuthorized()));
  EXPECT_THROW(runToEnd(mainThread_, notifications.add(request)), DesktopNotificationError);
  const FakeDesktop desktop(address(), Behaviour::answers);
  EXPECT_TRUE(resultOf(mainThread_, notifications.isAuthorized()));
}

TEST_F(DesktopNotificationsTest, areDeniedWithoutABusUntilThereIsOne) {
  bus_->stop();
  DesktopNotifications notifications;
  EXPECT_FALSE(resultOf(mainThread_, notifications.isAuthorized()));
  EXPECT_THROW(runToEnd(mainThread_, notifications.add(request)), DesktopNotificationError);
  bus_->start();
  const FakeDesktop desktop(address(), Behaviour::answers);
  EXPECT_TRUE(resultOf(mainThread_, notifications.isAuthorized()));
}

TEST_F(DesktopNotificationsTest, findANewBusAfterTheirOwnHasEnded) {
  DesktopNotifications notifications;
  {
    const FakeDesktop desktop(address(), Behaviour::answers);
    EXPECT_TRUE(resultOf(mainThread_, notifications.isAuthorized()));
  }
  bus_->stop();
  EXPECT_FALSE(resultOf(mainThread_, notifications.isAuthorized()));
  bus_->start();
  const FakeDesktop desktop(address(), Behaviour::answers);
  EXPECT_TRUE(resultOf(mainThread_, notifications.isAuthorized()));
  runToEnd(mainThread_, notifications.add(request));
  EXPECT_EQ(desktop.shown().size(), 1U);
}

TEST_F(DesktopNotificationsTest, tellOfANotificationThatTheDesktopRefuses) {
  const FakeDesktop desktop(address(), Behaviour::refuses);
  DesktopNotifications notifications;
  EXPECT_TRUE(resultOf(mainThread_, notifications.isAuthorized()));
  EXPECT_THROW(runToEnd(mainThread_, notifications.add(request)), DesktopNotificationError);
}

TEST_F(DesktopNotificationsTest, leaveTheMainThreadFreeWhileTheDesktopIsSilent) {
  FakeDesktop desktop(address(), Behaviour::staysSilent);
  DesktopNotifications notifications(std::chrono::minutes(5));
  app::TaskScope scope(mainThread_);
  const auto task = scope.start(notifications.add(request));
  bool hasRun = false;
  mainThread_.post([&] { hasRun = true; });
  EXPECT_TRUE(mainThread_.runUntil([&] { return hasRun; }));
  EXPECT_FALSE(task.isFinished());
  desktop.beginToAnswer();
  EXPECT_TRUE(mainThread_.runUntil([&] { return task.isFinished(); }));
  EXPECT_EQ(desktop.shown().size(), 1U);
}

TEST_F(DesktopNotificationsTest, areDeniedWhenTheDesktopStaysSilent) {
  const FakeDesktop desktop(address(), Behaviour::staysSilent);
  DesktopNotifications notifications(std::chrono::milliseconds(20));
  EXPECT_FALSE(resultOf(mainThread_, notifications.isAuthorized()));
  EXPECT_THROW(runToEnd(mainThread_, notifications.add(request)), DesktopNotificationError);
}

TEST(DesktopNotifications, areDeniedToAUserWithoutSession) {
  const TemporaryFolder folder;
  inChildProcess([&] {
    unsetenv("DBUS_SESSION_BUS_ADDRESS");
    for (const bool hasRuntimeFolder : {false, true}) {
      hasRuntimeFolder ? setenv("XDG_RUNTIME_DIR", folder.url().path().c_str(), 1)
                       : unsetenv("XDG_RUNTIME_DIR");
      VirtualMainThread mainThread;
      DesktopNotifications notifications;
      EXPECT_FALSE(resultOf(mainThread, notifications.isAuthorized()));
      EXPECT_THROW(runToEnd(mainThread, notifications.add(request)), DesktopNotificationError);
    }
  });
}

}  // namespace tolvander::tests
