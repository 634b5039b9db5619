#include "TolvanderApp/Presentation/PermissionRows.h"

#include <optional>
#include <utility>

#include "TolvanderApp/Presentation/PhotosAccess.h"
#include "TolvanderApp/Presentation/Symbols.h"

namespace tolvander::app {

namespace {

using Kind = FaceAction::Kind;
using Control = KeyboardFocus::Control;

// Two sentences, of which the second may be absent on this system.
std::string sentences(std::string first, const std::string& second) {
  return second.empty() ? first : std::move(first) + " " + second;
}

std::string photosLabel(PhotosPermissionStatus status, const SystemNames& names) {
  switch (status) {
    case PhotosPermissionStatus::authorized:
      return "Allowed";
    case PhotosPermissionStatus::limited:
      return "Limited";
    case PhotosPermissionStatus::notDetermined:
      return "Not Requested";
    case PhotosPermissionStatus::denied:
      return names.photosDeniedLabel;
    case PhotosPermissionStatus::restricted:
      break;
  }
  return "Restricted";
}

std::string photosExplanation(PhotosPermissionStatus status, const SystemNames& names) {
  switch (status) {
    case PhotosPermissionStatus::authorized:
      return "Tolvander can import photos and videos and check for duplicates.";
    case PhotosPermissionStatus::limited:
      return sentences(
          "Tolvander has limited Photos access. Full access is needed to reliably find previous imports and "
          "manage albums.",
          names.photosAccessAdvice);
    case PhotosPermissionStatus::notDetermined:
      return "Allow Tolvander to import photos and videos and skip previous imports.";
    case PhotosPermissionStatus::denied:
      return sentences("Tolvander cannot import until Photos access is enabled.", names.photosAccessAdvice);
    case PhotosPermissionStatus::restricted:
      break;
  }
  return names.photosRestricted;
}

FaceButton photosButton(const FaceState& state) {
  const KeyboardFocus focus{Control::photosPermission};
  if (asksForPhotosAccess(state)) {
    return {.title = "Allow Photos Access", .action = {Kind::requestPhotosAccess}, .focus = focus};
  }
  return {.title = "Photos Settings", .action = {Kind::openPhotosSettings}, .focus = focus};
}

std::string notificationsLabel(NotificationPermissionStatus status) {
  switch (status) {
    case NotificationPermissionStatus::authorized:
      return "Allowed";
    case NotificationPermissionStatus::notDetermined:
      return "Not Requested";
    case NotificationPermissionStatus::denied:
      break;
  }
  return "Off";
}

std::optional<FaceButton> notificationsButton(NotificationPermissionStatus status, const SystemNames& names) {
  const KeyboardFocus focus{Control::notificationPermission};
  switch (status) {
    case NotificationPermissionStatus::authorized:
      return std::nullopt;
    case NotificationPermissionStatus::notDetermined:
      return FaceButton{
          .title = "Allow Notifications", .action = {Kind::requestNotificationPermission}, .focus = focus};
    case NotificationPermissionStatus::denied:
      break;
  }
  if (!names.hasNotificationSettings) {
    return std::nullopt;
  }
  return FaceButton{
      .title = "Notification Settings", .action = {Kind::openNotificationSettings}, .focus = focus};
}

}  // namespace

PermissionRow photosRow(const FaceState& state) {
  PermissionRow row = {.title = "Photos",
                       .symbol = "photo.on.rectangle",
                       .label = photosLabel(state.photosPermissionStatus, state.names),
                       .labelSymbol = state.hasPhotosAccess() ? symbols::done : symbols::attention,
                       .explanation = photosExplanation(state.photosPermissionStatus, state.names)};
  if (!state.hasPhotosAccess()) {
    row.buttons = {photosButton(state)};
  }
  return row;
}

PermissionRow notificationsRow(const FaceState& state, std::string title) {
  const NotificationPermissionStatus status = state.notificationPermissionStatus;
  PermissionRow row = {
      .title = std::move(title),
      .symbol = "bell",
      .label = notificationsLabel(status),
      .explanation = status == NotificationPermissionStatus::denied
                         ? sentences("Tolvander still works, but sync notifications are off.",
                                     state.names.notificationsAdvice)
                         : "Get notified when syncing starts or finishes."};
  if (status == NotificationPermissionStatus::authorized) {
    row.labelSymbol = symbols::done;
  }
  if (const auto button = notificationsButton(status, state.names)) {
    row.buttons = {*button};
  }
  return row;
}

}  // namespace tolvander::app
