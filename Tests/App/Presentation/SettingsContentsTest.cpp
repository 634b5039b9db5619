#include "TolvanderApp/SettingsContents.h"

#include <gtest/gtest.h>

#include <functional>
#include <optional>
#include <string>
#include <variant>
#include <vector>

#include "Tests/Support/Application/FaceStates.h"

namespace tolvander::app {
namespace {

using tests::faceAfterSetup;
using tests::faceBeforeSetup;
using tests::onLinux;
using Kind = FaceAction::Kind;
using Control = KeyboardFocus::Control;
using Change = std::function<void(FaceState&)>;
using Focus = std::vector<KeyboardFocus>;

PanelContents panel(const FaceState& state) {
  return std::get<PanelContents>(SettingsContents::of(state).face);
}

const std::vector<Change>& everyKindOfWork() {
  static const std::vector<Change> kinds = {[](FaceState& now) { now.isSyncing = true; },
                                            [](FaceState& now) { now.isEjecting = true; }};
  return kinds;
}

CameraAccessGrant grant(const std::string& name, std::uint8_t number) {
  return {.id = UUID{.bytes = {number}},
          .profileID = {},
          .name = name,
          .volumeUUID = {},
          .volumeNames = {},
          .bookmark = {},
          .isEnabled = true};
}

// Everything that the panel can show is there.
FaceState full() {
  FaceState state = faceAfterSetup();
  state.notificationPermissionStatus = NotificationPermissionStatus::denied;
  state.addToAlbum = true;
  state.availableAlbumNames = {"Summer", "Win\nter"};
  state.deviceTrashSummaries = {{.id = "b", .displayName = "CHARMERA", .count = 1},
                                {.id = "a", .displayName = "CA\nRD", .count = 1'400}};
  state.cameraGrants = {grant("CHARMERA", 1), grant("CARD", 2)};
  return state;
}

// MARK: Status and reviews

TEST(SettingsContents, panelHasStatusAndReviews) {
  FaceState state = faceAfterSetup();
  state.libraryReviews = {
      {.volumeURL = FileURL("/media/CHARMERA"), .cameraName = "CHARMERA", .counts = {.newFiles = 2}}};
  state.statusMessage = "Camera check finished";
  EXPECT_EQ(panel(state).status.title, "Camera check finished");
  EXPECT_EQ(panel(state).reviews.at(0).counts->text, "2 new");
}

// MARK: Permissions

TEST(SettingsContents, permissionsAreShownWhereOneNeedsAttention) {
  EXPECT_EQ(panel(faceAfterSetup()).permissions, std::nullopt);

  FaceState state = faceAfterSetup();
  state.photosPermissionStatus = PhotosPermissionStatus::denied;
  ASSERT_EQ(panel(state).permissions->rows.size(), 1U);
  EXPECT_EQ(panel(state).permissions->header, "Permissions");
  EXPECT_EQ(panel(state).permissions->rows.at(0).title, "Photos");
  EXPECT_EQ(panel(state).permissions->rows.at(0).label, "Declined");

  for (const auto status :
       {NotificationPermissionStatus::denied, NotificationPermissionStatus::notDetermined}) {
    state = faceAfterSetup();
    state.notificationPermissionStatus = status;
    ASSERT_EQ(panel(state).permissions->rows.size(), 2U);
    EXPECT_EQ(panel(state).permissions->rows.at(0).label, "Allowed");
    EXPECT_EQ(panel(state).permissions->rows.at(1).title, "Notifications (Optional)");
    EXPECT_EQ(panel(state).permissions->rows.at(1).label,
              status == NotificationPermissionStatus::denied ? "Off" : "Not Requested");
  }
}

// MARK: Settings

TEST(SettingsContents, launchAtLoginFollowsTheSystem) {
  const FaceButton approve = {.title = "Approve in Login Items", .action = {Kind::approveLoginItem}};
  struct Row {
    LoginItemStatus status;
    bool isOn;
    bool isEnabled;
    const char* help;
    std::optional<FaceButton> button;
  };
  for (const Row& row : {
           Row{LoginItemStatus::notRegistered, false, true,
               "Start Tolvander in the menu bar when you log in.", std::nullopt},
           Row{LoginItemStatus::enabled, true, true, "Start Tolvander automatically when you log in.",
               std::nullopt},
           Row{LoginItemStatus::requiresApproval, true, true,
               "Start Tolvander automatically when you log in.", approve},
           Row{LoginItemStatus::notFound, false, false,
               "Install Tolvander in Applications to use Launch at Login.", std::nullopt},
       }) {
    FaceState state = faceAfterSetup();
    state.loginStatus = row.status;
    const FaceToggle expected = {.title = "Launch at Login",
                                 .action = Kind::setLaunchAtLogin,
                                 .isOn = row.isOn,
                                 .isEnabled = row.isEnabled,
                                 .help = row.help,
                                 .button = row.button,
                                 .focus = {Control::launchAtLogin}};
    EXPECT_EQ(panel(state).settings.toggles.at(0), expected) << row.help;
    state.isSyncing = true;
    EXPECT_EQ(panel(state).settings.toggles.at(0), expected) << row.help;
  }
}

TEST(SettingsContents, launchAtLoginSaysOnLinuxWhatIsTrueThere) {
  FaceState state = onLinux(faceAfterSetup());
  EXPECT_EQ(panel(state).settings.toggles.at(0).help, "Start Tolvander in the background when you log in.");
  state.loginStatus = LoginItemStatus::requiresApproval;
  EXPECT_EQ(panel(state).settings.toggles.at(0).button->title, "Approve in Startup Settings");
  state.loginStatus = LoginItemStatus::notFound;
  EXPECT_EQ(panel(state).settings.toggles.at(0).help, "Install Tolvander to use Launch at Login.");
}

TEST(SettingsContents, settingsHaveFourRows) {
  const TogglesSection section = panel(faceAfterSetup()).settings;
  EXPECT_EQ(section.header, "Settings");
  ASSERT_EQ(section.toggles.size(), 4U);
  const FaceToggle trash = {.title = "Ask to move synced files to Trash",
                            .action = Kind::setDeleteAfterSync,
                            .help =
                                "Moves copies from the camera to macOS Trash. You can restore them in "
                                "Finder until Trash is emptied.",
                            .focus = {Control::deleteAfterSync}};
  const FaceToggle eject = {.title = "Automatically eject after sync",
                            .action = Kind::setAutoEjectAfterSync,
                            .help = "Safely eject after every successful check.",
                            .focus = {Control::autoEjectAfterSync}};
  const FaceToggle album = {.title = "Add synced items to an album",
                            .action = Kind::setAddToAlbum,
                            .focus = {Control::albumAutomation}};
  EXPECT_EQ(section.toggles.at(1), trash);
  EXPECT_EQ(section.toggles.at(2), eject);
  EXPECT_EQ(section.toggles.at(3), album);
  EXPECT_EQ(panel(onLinux(faceAfterSetup())).settings.toggles.at(1).help,
            "Moves copies from the camera to the Trash. You can restore them in your file manager until the "
            "Trash is emptied.");
}

TEST(SettingsContents, settingsAreOnWhereTheyAreStored) {
  struct Row {
    bool FaceState::*setting;
    std::size_t row;
  };
  for (const Row& row : {Row{&FaceState::deleteAfterSync, 1}, Row{&FaceState::autoEjectAfterSync, 2},
                         Row{&FaceState::addToAlbum, 3}}) {
    FaceState state = faceAfterSetup();
    state.*row.setting = true;
    for (const std::size_t index : {1U, 2U, 3U}) {
      EXPECT_EQ(panel(state).settings.toggles.at(index).isOn, index == row.row);
    }
  }
}

TEST(SettingsContents, settingsOfASyncAreOffDuringWork) {
  for (const Change& work : everyKindOfWork()) {
    FaceState state = faceAfterSetup();
    work(state);
    for (const std::size_t index : {1U, 2U, 3U}) {
      EXPECT_FALSE(panel(state).settings.toggles.at(index).isEnabled);
    }
  }
}

// MARK: Album

TEST(SettingsContents, albumIsChosenWhereSyncsFillOne) {
  EXPECT_EQ(panel(faceAfterSetup()).album, std::nullopt);
  const AlbumSection expected = {
      .header = "Photos Album",
      .title = "Album",
      .selected = "Choose an album",
      .choices = {{.title = "Summer", .name = "Summer"}, {.title = "Win\uFFFDter", .name = "Win\nter"}},
      .action = Kind::selectAlbum,
      .isEnabled = true,
      .focus = {Control::albumPicker},
      .create = {.title = "Create Album",
                 .action = {Kind::createAlbum},
                 .focus = KeyboardFocus{Control::createAlbum}}};
  FaceState state = full();
  EXPECT_EQ(panel(state).album, expected);
  state.albumName = "Win\nter";
  EXPECT_EQ(panel(state).album->selected, "Win\uFFFDter");
}

TEST(SettingsContents, albumCanNotBeChangedDuringWork) {
  std::vector<Change> obstacles = everyKindOfWork();
  obstacles.emplace_back([](FaceState& now) { now.isUpdatingAlbum = true; });
  for (const Change& obstacle : obstacles) {
    FaceState state = full();
    obstacle(state);
    EXPECT_FALSE(panel(state).album->isEnabled);
    EXPECT_FALSE(panel(state).album->create.isEnabled);
  }
}

// MARK: Trash

TEST(SettingsContents, trashListsTheFilesOfEachCamera) {
  EXPECT_EQ(panel(faceAfterSetup()).trash, std::nullopt);
  const FaceState state = full();
  const TrashSection section = *panel(state).trash;
  EXPECT_EQ(section.header, "Camera Files in Trash");
  EXPECT_EQ(section.footnote,
            "Clears only files Tolvander moved from each camera, not everything in macOS Trash.");
  const TrashSection::Row first = {
      .name = "CHARMERA",
      .count = "1 item",
      .clear = {.title = "Clear…",
                .action = {.kind = Kind::clearTrash, .argument = state.deviceTrashSummaries.at(0)},
                .accessibilityLabel = "Clear CHARMERA",
                .focus = KeyboardFocus{.control = Control::clearTrash, .id = "b"}}};
  ASSERT_EQ(section.rows.size(), 2U);
  EXPECT_EQ(section.rows.at(0), first);
  EXPECT_EQ(section.rows.at(1).name, "CA\uFFFDRD");
  EXPECT_EQ(section.rows.at(1).count, "1,400 items");
  EXPECT_EQ(panel(onLinux(state)).trash->footnote,
            "Clears only files Tolvander moved from each camera, not everything in the Trash.");
}

TEST(SettingsContents, trashCanNotBeClearedDuringWork) {
  for (const Change& work : everyKindOfWork()) {
    FaceState state = full();
    work(state);
    EXPECT_FALSE(panel(state).trash->rows.at(1).clear.isEnabled);
  }
}

// MARK: Saved cameras

TEST(SettingsContents, savedCamerasAreManagedEach) {
  const CamerasSection section = panel(full()).cameras;
  EXPECT_EQ(section.header, "Saved Cameras");
  EXPECT_EQ(section.placeholder, std::nullopt);
  ASSERT_EQ(section.rows.size(), 2U);
  const CamerasSection::Row card = {
      .name = "CARD",
      .menuTitle = "Manage",
      .menuAccessibilityLabel = "Manage CARD",
      .items = {{.title = "Reconnect Camera", .action = {Kind::addDevice}},
                {.title = "Forget Camera",
                 .action = {.kind = Kind::removeDevice, .argument = UUID{.bytes = {2}}}}}};
  EXPECT_EQ(section.rows.at(1), card);
}

TEST(SettingsContents, savedCameraWithoutANameHasALabelForScreenReaders) {
  FaceState state = full();
  state.cameraGrants = {grant("", 1)};
  EXPECT_EQ(panel(state).cameras.rows.at(0).menuAccessibilityLabel, "Manage saved camera");
}

TEST(SettingsContents, savedCamerasCanBeAdded) {
  const FaceButton add = {.title = "Add camera",
                          .action = {Kind::addDevice},
                          .help = "Add or reconnect a camera",
                          .focus = KeyboardFocus{Control::addDevice}};
  EXPECT_EQ(panel(full()).cameras.add, add);
  EXPECT_EQ(panel(faceAfterSetup()).cameras.placeholder, "No saved cameras");
}

TEST(SettingsContents, savedCamerasSayWhyTheyCanNotBeRead) {
  FaceState state = faceAfterSetup();
  EXPECT_EQ(panel(state).cameras.failure, std::nullopt);
  state.savedCameraAccessError = "Saved cameras couldn’t be read.";
  EXPECT_EQ(panel(state).cameras.failure, "Saved cameras couldn’t be read.");
  state.onboardingCompleted = false;
  const auto setup = std::get<SetupContents>(SettingsContents::of(state).face);
  EXPECT_EQ(setup.camera.failure, "Saved cameras couldn’t be read.");
}

TEST(SettingsContents, savedCamerasCanNotBeChangedDuringWorkAndWhileADriveIsChosen) {
  std::vector<Change> obstacles = everyKindOfWork();
  obstacles.emplace_back([](FaceState& now) { now.isRequestingCameraAccess = true; });
  for (const Change& obstacle : obstacles) {
    FaceState state = full();
    obstacle(state);
    const CamerasSection section = panel(state).cameras;
    EXPECT_FALSE(section.add.isEnabled);
    for (const FaceButton& item : section.rows.at(0).items) {
      EXPECT_FALSE(item.isEnabled);
    }
  }
}

// MARK: Footer

TEST(SettingsContents, footerHasTheTotalTheVersionAndTheReport) {
  FaceState state = faceAfterSetup();
  state.collectedPhotosLabel = "1,234 photos and 56 videos collected";
  const FooterSection expected = {
      .collected = FaceNote{.text = "1,234 photos and 56 videos collected",
                            .help = "Your running total includes photos and videos imported by Tolvander or "
                                    "recognized from earlier imports, including likely duplicates. Removing "
                                    "them doesn’t reduce this total."},
      .version = "Tolvander v1.4.2",
      .update = std::nullopt,
      .reportBug = {.title = "Report a bug", .action = {Kind::reportBug}}};
  EXPECT_EQ(panel(state).footer, expected);
}

TEST(SettingsContents, footerWithoutATotalAndAVersionSaysSo) {
  FaceState state = faceAfterSetup();
  state.version = {};
  EXPECT_EQ(panel(state).footer.collected, std::nullopt);
  EXPECT_EQ(panel(state).footer.version, "Unknown version");
}

TEST(SettingsContents, footerOffersAnUpdateWhileNothingRuns) {
  FaceState state = faceAfterSetup();
  state.availableUpdateVersion = "2.0";
  const FaceButton update = {.title = "2.0 update available", .action = {Kind::showAvailableUpdate}};
  EXPECT_EQ(panel(state).footer.update, update);
  for (const Change& work : everyKindOfWork()) {
    FaceState working = state;
    work(working);
    EXPECT_EQ(panel(working).footer.update, std::nullopt);
  }
}

// MARK: Keyboard focus

TEST(SettingsContents, keyboardReachesTheControlsOfThePanelInOrder) {
  FaceState state = full();
  state.photosPermissionStatus = PhotosPermissionStatus::denied;
  EXPECT_EQ(SettingsContents::of(state).keyboardFocusOrder(),
            (Focus{{.control = Control::clearTrash, .id = "b"},
                   {.control = Control::clearTrash, .id = "a"},
                   {Control::launchAtLogin},
                   {Control::deleteAfterSync},
                   {Control::autoEjectAfterSync},
                   {Control::albumAutomation},
                   {Control::albumPicker},
                   {Control::createAlbum},
                   {Control::addDevice},
                   {Control::photosPermission},
                   {Control::notificationPermission}}));
}

TEST(SettingsContents, keyboardReachesOnlyTheControlsThatAreThere) {
  EXPECT_EQ(SettingsContents::of(faceAfterSetup()).keyboardFocusOrder(), (Focus{{Control::launchAtLogin},
                                                                                {Control::deleteAfterSync},
                                                                                {Control::autoEjectAfterSync},
                                                                                {Control::albumAutomation},
                                                                                {Control::addDevice}}));
}

TEST(SettingsContents, keyboardReachesTheDriveOfSetupBeforeThePermissions) {
  FaceState state = faceBeforeSetup();
  state.removableVolumeAccessIssue = RemovableVolumeAccessIssue{.volumeName = "CHARMERA"};
  EXPECT_EQ(SettingsContents::of(state).keyboardFocusOrder(), (Focus{{Control::addDevice},
                                                                     {Control::photosPermission},
                                                                     {Control::removableVolumePermission},
                                                                     {Control::notificationPermission}}));
}

}  // namespace
}  // namespace tolvander::app
