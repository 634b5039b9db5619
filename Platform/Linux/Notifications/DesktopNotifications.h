#pragma once

#include <chrono>
#include <memory>

#include "TolvanderApp/Platform/NotificationDelivery.h"

namespace tolvander::platform::linux_ {

// Notifications of the user's desktop, through the service "org.freedesktop.Notifications" on the session
// bus (freedesktop.org Desktop Notifications Specification 1.2).
//
// This service has no permissions. If it answers, or the bus can start it, notifications are authorized;
// otherwise denied: without a session bus, without such a service, and while it doesn't answer. The result
// isn't cached, so that a service that starts later is found.
//
// Calls run on workers of the main thread, one at a time, and wait at most `timeout`. `add` throws
// DesktopNotificationError. Identifiers aren't passed on: every notification is a new one.
class DesktopNotifications final : public app::NotificationDelivery {
 public:
  static constexpr std::chrono::milliseconds standardTimeout = std::chrono::seconds(5);

  // Connects to the bus at the first use.
  explicit DesktopNotifications(std::chrono::milliseconds timeout = standardTimeout);
  ~DesktopNotifications() override;

  app::Task<app::NotificationAuthorizationStatus> authorizationStatus() override;
  app::Task<> requestAuthorization() override;
  app::Task<> add(app::NotificationRequest request) override;

 private:
  class Service;
  std::shared_ptr<Service> service_;  // shared with the jobs on workers
};

}  // namespace tolvander::platform::linux_
