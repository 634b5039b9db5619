#pragma once

#include <chrono>
#include <optional>
#include <string>

#include "TolvanderApp/AppModel.h"
#include "TolvanderApp/Concurrency/Subscription.h"
#include "TolvanderApp/Platform/NotificationDelivery.h"

namespace tolvander::shell {

// Shows on the standard output what the model does: each status line once, as text or as JSON, and on a
// terminal a bar for the import, which leaves nothing behind. Nothing is held back, for who reads along.
class SyncDisplay {
 public:
  // The model outlives this object.
  SyncDisplay(app::AppModel& model, bool json);
  ~SyncDisplay();
  SyncDisplay(const SyncDisplay&) = delete;
  SyncDisplay& operator=(const SyncDisplay&) = delete;

  static void showNotification(const app::NotificationRequest& notification, bool json);

 private:
  using Clock = std::chrono::steady_clock;

  void show(const std::string& status);
  void show(const SyncPhase& phase);
  void showBar(const std::string& status);
  void clearBar();

  app::AppModel& model_;
  const bool json_;
  const bool isTerminal_;
  std::string lastStatus_;
  std::optional<Clock::time_point> importBegan_;
  bool hasBar_ = false;
  app::Subscription statuses_;
  app::Subscription phases_;
};

}  // namespace tolvander::shell
