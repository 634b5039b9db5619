#include "TolvanderApp/Notifications/NotificationService.h"

#include <algorithm>
#include <exception>

#include "TolvanderCore/Counted.h"
#include "TolvanderCore/Foundation/UUID.h"
#include "TolvanderCore/MediaCounts.h"

namespace tolvander::app {

namespace {

std::string cameraName(bool isCharmera) { return isCharmera ? "Charmera" : "Camera"; }

std::string ejectedText(bool isCharmera) { return cameraName(isCharmera) + " safely ejected"; }

}  // namespace

Task<> NotificationService::sendSyncStarted(bool isCharmera) {
  return send(isCharmera ? "Syncing your Charmera" : "Syncing your camera",
              "Keep it connected. Tolvander will let you know when it’s finished.");
}

Task<> NotificationService::sendSyncFinished(std::int64_t count, std::int64_t videoCount, bool isCharmera,
                                             bool ejected) {
  const std::int64_t videos = std::max<std::int64_t>(std::min(count, videoCount), 0);
  const MediaCounts counts{.photos = std::max<std::int64_t>(count - videos, 0), .videos = videos};
  std::string body = (isCharmera ? "Added from your Charmera to " : "Added to ") + names_.photoLibrary + ".";
  if (ejected) {
    body += " " + ejectedText(isCharmera) + ".";
  }
  return send(counts.description() + " synced", std::move(body));
}

Task<> NotificationService::sendNoNewFiles(bool isCharmera, bool ejected) {
  std::string body = "Nothing new to sync.";
  if (ejected) {
    body += " " + ejectedText(isCharmera) + ".";
  }
  return send(cameraName(isCharmera) + " is up to date", std::move(body));
}

Task<> NotificationService::sendMovedToTrash(std::int64_t count, std::string deviceName) {
  return send("Moved to " + names_.trash, countedInDigits(count, "file", "files") + " from " + deviceName +
                                              ". Restore in " + names_.fileManager + " until " +
                                              names_.shortTrash + " is emptied.");
}

Task<> NotificationService::sendTrashCleared(std::int64_t count, std::string deviceName) {
  return send(countedInDigits(count, "trashed file", "trashed files") + " deleted",
              countedInDigits(count, "file", "files") + " permanently deleted from " + deviceName + ".");
}

Task<> NotificationService::sendDeviceEjected(bool isCharmera) {
  return send(ejectedText(isCharmera), "You can disconnect it.");
}

// Under a new identifier, so that none replaces another.
Task<> NotificationService::send(std::string title, std::string body) {
  return sendIfAuthorized(UUID::random().text(), std::move(title), std::move(body));
}

Task<> NotificationService::sendIfAuthorized(std::string identifier, std::string title, std::string body) {
  if (!isEnabled_()) {
    co_return;
  }
  try {
    auto authorization = delivery_.isAuthorized();
    const bool isAuthorized = co_await authorization;
    if (!isAuthorized) {
      co_return;
    }
    NotificationRequest request{std::move(identifier), std::move(title), std::move(body)};
    auto delivered = delivery_.add(std::move(request));
    co_await delivered;
  } catch (const std::exception&) {
    co_return;  // lost
  }
}

}  // namespace tolvander::app
