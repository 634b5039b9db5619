#include "TolvanderApp/SettingsContents.h"

#include <algorithm>
#include <iterator>
#include <utility>

#include "TolvanderApp/Presentation/PermissionRows.h"
#include "TolvanderApp/Presentation/SetupFace.h"
#include "TolvanderApp/Presentation/StatusFace.h"
#include "TolvanderApp/Presentation/Wording.h"
#include "TolvanderCore/Counted.h"

namespace tolvander::app {

namespace {

using Kind = FaceAction::Kind;
using Control = KeyboardFocus::Control;

// MARK: Sections of the panel

std::optional<PermissionsSection> permissionsSection(const FaceState& state) {
  const bool offersNotifications =
      state.notificationPermissionStatus != NotificationPermissionStatus::authorized;
  if (state.hasPhotosAccess() && !offersNotifications) {
    return std::nullopt;
  }
  PermissionsSection section = {.header = "Permissions", .rows = {photosRow(state)}};
  if (offersNotifications) {
    section.rows.push_back(notificationsRow(state, "Notifications (Optional)"));
  }
  return section;
}

FaceToggle launchAtLoginToggle(const FaceState& state) {
  const bool isInstalled = state.loginStatus != LoginItemStatus::notFound;
  const bool isOn =
      state.loginStatus == LoginItemStatus::enabled || state.loginStatus == LoginItemStatus::requiresApproval;
  FaceToggle toggle = {
      .title = "Launch at Login",
      .action = Kind::setLaunchAtLogin,
      .isOn = isOn,
      .isEnabled = isInstalled,
      .help = isOn ? "Start Tolvander automatically when you log in." : state.names.launchAtLoginHelp,
      .focus = {Control::launchAtLogin}};
  if (!isInstalled) {
    toggle.help = state.names.loginItemNotInstalled;
  }
  if (state.loginStatus == LoginItemStatus::requiresApproval) {
    toggle.button = FaceButton{.title = state.names.approveLoginItem, .action = {Kind::approveLoginItem}};
  }
  return toggle;
}

TogglesSection togglesSection(const FaceState& state) {
  return {.header = "Settings",
          .toggles = {
              launchAtLoginToggle(state),
              {.title = "Ask to move synced files to Trash",
               .action = Kind::setDeleteAfterSync,
               .isOn = state.deleteAfterSync,
               .isEnabled = !state.isWorking(),
               .help = "Moves copies from the camera to " + state.names.trash + ". You can restore them in " +
                       state.names.fileManager + " until " + state.names.shortTrash + " is emptied.",
               .focus = {Control::deleteAfterSync}},
              {.title = "Automatically eject after sync",
               .action = Kind::setAutoEjectAfterSync,
               .isOn = state.autoEjectAfterSync,
               .isEnabled = !state.isWorking(),
               .help = "Safely eject after every successful check.",
               .focus = {Control::autoEjectAfterSync}},
              {.title = "Add synced items to an album",
               .action = Kind::setAddToAlbum,
               .isOn = state.addToAlbum,
               .isEnabled = !state.isWorking(),
               .focus = {Control::albumAutomation}}}};
}

// The model refuses another album during any work, not only while it updates one.
std::optional<AlbumSection> albumSection(const FaceState& state) {
  if (!state.addToAlbum) {
    return std::nullopt;
  }
  const bool isEnabled = !state.isUpdatingAlbum && !state.isWorking();
  AlbumSection section = {
      .header = "Photos Album",
      .title = "Album",
      .selected = state.albumName.empty() ? "Choose an album" : printable(state.albumName),
      .choices = {},
      .action = Kind::selectAlbum,
      .isEnabled = isEnabled,
      .focus = {Control::albumPicker},
      .create = {.title = "Create Album",
                 .action = {Kind::createAlbum},
                 .isEnabled = isEnabled,
                 .focus = KeyboardFocus{Control::createAlbum}}};
  for (const std::string& name : state.availableAlbumNames) {
    section.choices.push_back({.title = printable(name), .name = name});
  }
  return section;
}

TrashSection::Row trashRow(const DeviceTrashSummary& device, bool isEnabled) {
  return {.name = printable(device.displayName),
          .count = counted(device.count, "item", "items"),
          .clear = {.title = "Clear…",
                    .action = {.kind = Kind::clearTrash, .argument = device},
                    .isEnabled = isEnabled,
                    .accessibilityLabel = "Clear " + printable(device.displayName),
                    .focus = KeyboardFocus{.control = Control::clearTrash, .id = device.id}}};
}

std::optional<TrashSection> trashSection(const FaceState& state) {
  if (state.deviceTrashSummaries.empty()) {
    return std::nullopt;
  }
  TrashSection section = {
      .header = "Camera Files in Trash",
      .rows = {},
      .footnote =
          "Clears only files Tolvander moved from each camera, not everything in " + state.names.trash + "."};
  for (const DeviceTrashSummary& device : state.deviceTrashSummaries) {
    section.rows.push_back(trashRow(device, !state.isWorking()));
  }
  return section;
}

CamerasSection::Row cameraRow(const CameraAccessGrant& grant, bool isEnabled) {
  const std::string name = printable(grant.name);
  return {.name = name,
          .menuTitle = "Manage",
          .menuAccessibilityLabel = name.empty() ? "Manage saved camera" : "Manage " + name,
          .items = {{.title = "Reconnect Camera", .action = {Kind::addDevice}, .isEnabled = isEnabled},
                    {.title = "Forget Camera",
                     .action = {.kind = Kind::removeDevice, .argument = grant.id},
                     .isEnabled = isEnabled}}};
}

CamerasSection camerasSection(const FaceState& state) {
  const bool isEnabled = !state.isRequestingCameraAccess && !state.isWorking();
  CamerasSection section = {.header = "Saved Cameras",
                            .rows = {},
                            .placeholder = std::nullopt,
                            .failure = state.savedCameraAccessError,
                            .add = {.title = "Add camera",
                                    .action = {Kind::addDevice},
                                    .isEnabled = isEnabled,
                                    .help = "Add or reconnect a camera",
                                    .focus = KeyboardFocus{Control::addDevice}}};
  for (const CameraAccessGrant& grant : state.cameraGrants) {
    section.rows.push_back(cameraRow(grant, isEnabled));
  }
  if (section.rows.empty()) {
    section.placeholder = "No saved cameras";
  }
  return section;
}

FooterSection footerSection(const FaceState& state) {
  FooterSection section = {
      .collected = std::nullopt,
      .version = state.version.shortVersion ? "Tolvander v" + *state.version.shortVersion : "Unknown version",
      .update = std::nullopt,
      .reportBug = {.title = "Report a bug", .action = {Kind::reportBug}}};
  if (state.collectedPhotosLabel) {
    section.collected = FaceNote{
        .text = *state.collectedPhotosLabel,
        .help =
            "Your running total includes photos and videos imported by Tolvander or recognized from "
            "earlier imports, including likely duplicates. Removing them doesn’t reduce this total."};
  }
  if (state.availableUpdateVersion && !state.isWorking()) {
    section.update = FaceButton{.title = printable(*state.availableUpdateVersion) + " update available",
                                .action = {Kind::showAvailableUpdate}};
  }
  return section;
}

PanelContents panelContents(const FaceState& state) {
  return {.status = statusSection(state),
          .reviews = reviewEntries(state),
          .permissions = permissionsSection(state),
          .settings = togglesSection(state),
          .album = albumSection(state),
          .trash = trashSection(state),
          .cameras = camerasSection(state),
          .footer = footerSection(state)};
}

// MARK: Focus

using FocusOrder = std::vector<KeyboardFocus>;

void add(const FaceButton& button, FocusOrder& order) {
  if (button.focus) {
    order.push_back(*button.focus);
  }
}

void add(const PermissionRow& row, FocusOrder& order) {
  for (const FaceButton& button : row.buttons) {
    add(button, order);
  }
}

// In any order of the controls, but with the rows of the Trash in theirs.
FocusOrder focusable(const SetupContents& setup) {
  FocusOrder order;
  for (const SetupStep* const step : {&setup.photos, &setup.camera, &setup.notifications}) {
    add(step->row, order);
  }
  return order;
}

FocusOrder focusable(const PanelContents& panel) {
  FocusOrder order;
  if (panel.trash) {
    for (const TrashSection::Row& row : panel.trash->rows) {
      add(row.clear, order);
    }
  }
  for (const FaceToggle& toggle : panel.settings.toggles) {
    order.push_back(toggle.focus);
  }
  if (panel.album) {
    order.push_back(panel.album->focus);
    add(panel.album->create, order);
  }
  add(panel.cameras.add, order);
  if (panel.permissions) {
    for (const PermissionRow& row : panel.permissions->rows) {
      add(row, order);
    }
  }
  return order;
}

}  // namespace

SettingsContents SettingsContents::of(const FaceState& state) {
  if (state.onboardingCompleted) {
    return {.face = panelContents(state)};
  }
  return {.face = setupContents(state)};
}

std::vector<KeyboardFocus> SettingsContents::keyboardFocusOrder() const {
  FocusOrder order = std::visit([](const auto& contents) { return focusable(contents); }, face);
  std::stable_sort(order.begin(), order.end(), [](const KeyboardFocus& left, const KeyboardFocus& right) {
    return left.control < right.control;
  });
  return order;
}

}  // namespace tolvander::app
