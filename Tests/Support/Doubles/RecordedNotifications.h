#pragma once

#include <functional>
#include <string>
#include <utility>
#include <vector>

#include "TolvanderApp/Platform/NotificationDelivery.h"
#include "TolvanderCore/Foundation/SystemErrors.h"

namespace tolvander::tests {

// Keeps what would be shown.
class RecordedNotifications final : public app::NotificationDelivery {
 public:
  app::NotificationAuthorizationStatus status = app::NotificationAuthorizationStatus::authorized;
  bool fails = false;
  bool failsToAsk = false;
  std::function<void()> beforeStatus;  // what happens before the status is told
  int statusQueries = 0;
  int authorizationRequests = 0;
  std::vector<app::NotificationRequest> requests;

  app::Task<app::NotificationAuthorizationStatus> authorizationStatus() override {
    ++statusQueries;
    if (const auto act = beforeStatus) {  // a copy, because it may put another in its place
      act();
    }
    co_return status;
  }

  app::Task<> requestAuthorization() override {
    ++authorizationRequests;
    if (failsToAsk) {
      throw CocoaError(CocoaError::Code::fileReadUnknown);
    }
    co_return;
  }

  app::Task<> add(app::NotificationRequest request) override {
    requests.push_back(std::move(request));
    if (fails) {
      throw CocoaError(CocoaError::Code::fileReadUnknown);
    }
    co_return;
  }
};

}  // namespace tolvander::tests
