#pragma once

#include <string>

#include "TolvanderApp/Concurrency/Task.h"

namespace tolvander::app {

// What the user lets the program do with notifications, in the platform's own vocabulary.
enum class NotificationAuthorizationStatus {
  notDetermined,
  denied,
  authorized,
  provisional,  // delivered quietly, without having been asked for
  ephemeral     // for a limited time
};

// One notification, shown at once with the system's default sound.
struct NotificationRequest {
  std::string identifier;  // one with the identifier of an earlier one may replace that
  std::string title;       // both UTF-8, plain text without markup
  std::string body;

  friend bool operator==(const NotificationRequest&, const NotificationRequest&) = default;
};

// The way from the program to the system's notifications. Belongs to the main thread, which no operation
// blocks. It outlives the tasks that it gives.
class NotificationDelivery {
 public:
  virtual ~NotificationDelivery() = default;

  virtual Task<NotificationAuthorizationStatus> authorizationStatus() = 0;

  // Asks the user for sound and alerts, if that was never done, and returns when that is answered. Throws
  // where the question can't be put.
  virtual Task<> requestAuthorization() = 0;

  // Whether something that is added now would be shown.
  virtual Task<bool> isAuthorized() {
    auto status = authorizationStatus();
    const NotificationAuthorizationStatus current = co_await status;
    co_return current == NotificationAuthorizationStatus::authorized ||
        current == NotificationAuthorizationStatus::provisional;
  }

  // Throws where the system doesn't take it.
  virtual Task<> add(NotificationRequest request) = 0;
};

}  // namespace tolvander::app
