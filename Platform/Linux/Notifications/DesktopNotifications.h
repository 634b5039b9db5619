#pragma once

#include <chrono>
#include <memory>

#include "TolvanderApp/Platform/NotificationDelivery.h"

namespace tolvander::platform::linux_ {

// Notifications of the user's desktop, through the service "org.freedesktop.Notifications" on the session bus
// (Desktop Notifications Specification 1.2, freedesktop.org).
//
// The desktop asks nobody for permission. Where the service answers, or is started by the question,
// notifications are authorized, and otherwise denied: without a session bus, without such a service, and
// while it doesn't answer. Nothing is remembered of that, so a service that comes later is found.
//
// The bus is spoken to on workers of the main thread, one at a time, and no call waits for longer than
// `timeout`. `add` throws DesktopNotificationError. Identifiers are not passed on: every notification is a
// new one.
class DesktopNotifications final : public app::NotificationDelivery {
 public:
  static constexpr std::chrono::milliseconds standardTimeout = std::chrono::seconds(5);

  // Connects to the bus when it is needed for the first time.
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
