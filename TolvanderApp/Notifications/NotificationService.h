#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <utility>

#include "TolvanderApp/Concurrency/Task.h"
#include "TolvanderApp/Platform/NotificationDelivery.h"
#include "TolvanderCore/SystemNames.h"

namespace tolvander::app {

// The words of the program's few notifications. Decides nothing about when something happened: the flows call
// it. Nothing is sent before it is enabled, nor without permission. No notification replaces another.
//
// No operation reports a failure: a notification that can't be delivered is lost, and the state of the
// program never depends on one. Belongs to the main thread, and outlives its tasks.
class NotificationService {
 public:
  // `isEnabled` returns whether setup is complete. `delivery` outlives the service.
  NotificationService(std::function<bool()> isEnabled, NotificationDelivery& delivery, SystemNames names)
      : isEnabled_(std::move(isEnabled)), delivery_(delivery), names_(std::move(names)) {}
  NotificationService(const NotificationService&) = delete;
  NotificationService& operator=(const NotificationService&) = delete;

  Task<> sendSyncStarted(bool isCharmera);

  // `videoCount` of the `count` imported items are videos.
  Task<> sendSyncFinished(std::int64_t count, std::int64_t videoCount, bool isCharmera, bool ejected);

  Task<> sendNoNewFiles(bool isCharmera, bool ejected);
  Task<> sendMovedToTrash(std::int64_t count, std::string deviceName);
  Task<> sendTrashCleared(std::int64_t count, std::string deviceName);
  Task<> sendDeviceEjected(bool isCharmera);

 private:
  Task<> send(std::string title, std::string body);
  Task<> sendIfAuthorized(std::string identifier, std::string title, std::string body);

  std::function<bool()> isEnabled_;
  NotificationDelivery& delivery_;
  const SystemNames names_;
};

}  // namespace tolvander::app
