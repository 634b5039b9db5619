#include <gtest/gtest.h>

#include <functional>
#include <string>
#include <variant>
#include <vector>

#include "Tests/Support/Application/FaceStates.h"
#include "TolvanderApp/SettingsContents.h"

namespace tolvander::app {
namespace {

using tests::connectedCharmera;
using tests::faceBeforeSetup;
using tests::onLinux;
using Kind = FaceAction::Kind;
using Control = KeyboardFocus::Control;
using Buttons = std::vector<FaceButton>;
using Change = std::function<void(FaceState&)>;

constexpr auto attention = "exclamationmark.circle.fill";
constexpr auto satisfied = "checkmark.circle.fill";

SetupContents setup(const FaceState& state) {
  return std::get<SetupContents>(SettingsContents::of(state).face);
}
PermissionRow cameraRow(const FaceState& state) { return setup(state).camera.row; }

// A camera is saved, connected, and nothing runs.
FaceState ready() {
  FaceState state = faceBeforeSetup();
  state.photosPermissionStatus = PhotosPermissionStatus::authorized;
  state.hasAuthorizedProfiles = true;
  state.hasAvailableRemovableVolumes = true;
  state.connectedDevices = {connectedCharmera()};
  state.canStartFirstSync = true;
  return state;
}

void withDeniedVolume(FaceState& state) {
  state.removableVolumeAccessIssue = RemovableVolumeAccessIssue{.volumeName = "CHARMERA"};
}

FaceButton focused(const std::string& title, Kind action, Control focus) {
  return {.title = title, .action = {action}, .focus = KeyboardFocus{focus}};
}

// MARK: Header

TEST(SetupFace, isShownUntilSetupIsComplete) {
  FaceState state = ready();
  EXPECT_TRUE(std::holds_alternative<SetupContents>(SettingsContents::of(state).face));
  state.onboardingCompleted = true;
  EXPECT_TRUE(std::holds_alternative<PanelContents>(SettingsContents::of(state).face));
}

TEST(SetupFace, welcomesAndSaysWhatTheProgramDoes) {
  const SetupContents contents = setup(faceBeforeSetup());
  EXPECT_EQ(contents.title, "Welcome to Tolvander");
  EXPECT_EQ(contents.line, "Automatically import photos and videos from your Charmera into Apple Photos.");
  EXPECT_EQ(setup(onLinux(faceBeforeSetup())).line,
            "Automatically import photos and videos from your Charmera into your photo library.");
}

TEST(SetupFace, numbersItsSteps) {
  const SetupContents contents = setup(faceBeforeSetup());
  EXPECT_EQ(contents.photos.header, "1. Apple Photos");
  EXPECT_EQ(contents.camera.header, "2. Your Camera");
  EXPECT_EQ(contents.notifications.header, "3. Notifications (Optional)");
  EXPECT_EQ(setup(onLinux(faceBeforeSetup())).photos.header, "1. Photo Library");
}

// MARK: Photos

TEST(SetupFace, photosStepIsThatOfThePermission) {
  const FaceButton ask = focused("Allow Photos Access", Kind::requestPhotosAccess, Control::photosPermission);
  const FaceButton settings = focused("Photos Settings", Kind::openPhotosSettings, Control::photosPermission);
  struct Row {
    PhotosPermissionStatus status;
    const char* label;
    const char* symbol;
    const char* explanation;
    Buttons buttons;
    const char* linuxLabel;
    const char* linuxExplanation;
    Buttons linuxButtons;
  };
  for (const Row& row : {
           Row{PhotosPermissionStatus::authorized,
               "Allowed",
               satisfied,
               "Tolvander can import photos and videos and check for duplicates.",
               {},
               "Allowed",
               "Tolvander can import photos and videos and check for duplicates.",
               {}},
           Row{PhotosPermissionStatus::limited,
               "Limited",
               attention,
               "Tolvander has limited Photos access. Full access is needed to reliably find previous imports "
               "and manage albums. In System Settings, choose Privacy & Security → Photos.",
               {settings},
               "Limited",
               "Tolvander has limited Photos access. Full access is needed to reliably find previous imports "
               "and manage albums. Check that you may read and write the folder of your photo library.",
               {ask}},
           Row{PhotosPermissionStatus::notDetermined,
               "Not Requested",
               attention,
               "Allow Tolvander to import photos and videos and skip previous imports.",
               {ask},
               "Not Requested",
               "Allow Tolvander to import photos and videos and skip previous imports.",
               {ask}},
           Row{PhotosPermissionStatus::denied,
               "Declined",
               attention,
               "Tolvander cannot import until Photos access is enabled. In System Settings, choose Privacy & "
               "Security → Photos.",
               {settings},
               "No Access",
               "Tolvander cannot import until Photos access is enabled. Check that you may read and write "
               "the folder of your photo library.",
               {ask}},
           Row{PhotosPermissionStatus::restricted,
               "Restricted",
               attention,
               "Photos access is restricted by this Mac. Check Privacy & Security → Photos, Screen Time, or "
               "device-management settings.",
               {settings},
               "Restricted",
               "Photos access is restricted on this computer. Check that you may read and write the folder "
               "of your photo library.",
               {ask}},
       }) {
    FaceState state = faceBeforeSetup();
    state.photosPermissionStatus = row.status;
    PermissionRow expected = {.title = "Photos",
                              .symbol = "photo.on.rectangle",
                              .label = row.label,
                              .labelSymbol = row.symbol,
                              .explanation = row.explanation,
                              .buttons = row.buttons};
    EXPECT_EQ(setup(state).photos.row, expected) << row.label;
    expected.label = row.linuxLabel;
    expected.explanation = row.linuxExplanation;
    expected.buttons = row.linuxButtons;
    EXPECT_EQ(setup(onLinux(state)).photos.row, expected) << row.label;
  }
}

// MARK: Camera

TEST(SetupFace, cameraStepHasItsTitleAndSymbol) {
  EXPECT_EQ(cameraRow(ready()).title, "Charmera");
  EXPECT_EQ(cameraRow(ready()).symbol, "externaldrive");
}

// Each row adds a condition that goes before those of the rows above it.
TEST(SetupFace, cameraLabelIsThatOfTheFirstConditionThatHolds) {
  struct Row {
    Change add;
    const char* label;
    const char* symbol;
  };
  FaceState state = faceBeforeSetup();
  for (const Row& row : {
           Row{[](FaceState&) {}, "Waiting for connection", attention},
           Row{[](FaceState& now) { now.hasAvailableRemovableVolumes = true; }, "Ready to Connect",
               attention},
           Row{[](FaceState& now) { now.hasAuthorizedProfiles = true; }, "Drive Saved", attention},
           Row{[](FaceState& now) { now.connectedDevices = {connectedCharmera()}; }, "Ready", satisfied},
           Row{withDeniedVolume, "Access Needed", attention},
           Row{[](FaceState& now) { now.isRequestingCameraAccess = true; }, "Waiting for macOS…", attention},
       }) {
    row.add(state);
    EXPECT_EQ(cameraRow(state).label, row.label);
    EXPECT_EQ(cameraRow(state).labelSymbol, row.symbol) << row.label;
  }
  EXPECT_EQ(cameraRow(onLinux(state)).label, "Waiting for your choice…");
}

TEST(SetupFace, cameraWithoutASavedDriveIsNotReady) {
  FaceState state = ready();
  state.hasAuthorizedProfiles = false;
  EXPECT_EQ(cameraRow(state).label, "Ready to Connect");
  EXPECT_EQ(cameraRow(state).explanation, "Select your Charmera’s drive. Tolvander will remember it.");
}

TEST(SetupFace, cameraIsNotSatisfiedWhileADriveIsChosen) {
  FaceState state = ready();
  state.isRequestingCameraAccess = true;
  EXPECT_EQ(cameraRow(state).labelSymbol, attention);
}

TEST(SetupFace, cameraExplanationIsThatOfTheFirstConditionThatHolds) {
  struct Row {
    Change add;
    const char* explanation;
  };
  FaceState state = faceBeforeSetup();
  for (const Row& row : {
           Row{[](FaceState&) {}, "Connect your Charmera via USB."},
           Row{[](FaceState& now) { now.hasAvailableRemovableVolumes = true; },
               "Select your Charmera’s drive. Tolvander will remember it."},
           Row{[](FaceState& now) {
                 now.hasAuthorizedProfiles = true;
                 now.connectedDevices = {connectedCharmera()};
               },
               "Tolvander will remember this drive."},
           Row{[](FaceState& now) { now.connectedDevices = {}; },
               "Select your Charmera’s drive again to reconnect."},
           Row{withDeniedVolume,
               "Can’t read CHARMERA. Try again, or allow Removable Volumes in System Settings."},
       }) {
    row.add(state);
    EXPECT_EQ(cameraRow(state).explanation, row.explanation);
  }
  EXPECT_EQ(cameraRow(onLinux(state)).explanation,
            "Can’t read CHARMERA. Try again, or check that you are allowed to read this drive.");
}

TEST(SetupFace, cameraHasToBeSelectedAgainWhenAnotherVolumeIsThere) {
  FaceState state = ready();
  EXPECT_FALSE(needsCameraSelection(state));
  state.connectedDevices = {};
  EXPECT_TRUE(needsCameraSelection(state));
  for (const Change& change : std::vector<Change>{
           [](FaceState& now) { now.hasAuthorizedProfiles = false; },
           [](FaceState& now) { now.hasAvailableRemovableVolumes = false; },
           [](FaceState& now) { now.isSyncing = true; },
           [](FaceState& now) { now.isEjecting = true; },
       }) {
    FaceState changed = state;
    change(changed);
    EXPECT_FALSE(needsCameraSelection(changed));
  }
}

TEST(SetupFace, cameraButtonChoosesADriveForTheFirstTimeOrAgain) {
  FaceState state = faceBeforeSetup();
  const Buttons first = {focused("Choose Charmera Drive", Kind::addDevice, Control::addDevice)};
  const Buttons again = {focused("Choose Drive Again", Kind::addDevice, Control::addDevice)};
  EXPECT_EQ(cameraRow(state).buttons, first);
  state.hasAuthorizedProfiles = true;
  EXPECT_EQ(cameraRow(state).buttons, again);
}

TEST(SetupFace, cameraButtonIsOffWhileADriveIsChosenAndDuringWork) {
  for (const Change& change : std::vector<Change>{
           [](FaceState& now) { now.isRequestingCameraAccess = true; },
           [](FaceState& now) { now.isSyncing = true; },
           [](FaceState& now) { now.isEjecting = true; },
       }) {
    FaceState state = faceBeforeSetup();
    change(state);
    EXPECT_FALSE(cameraRow(state).buttons.at(0).isEnabled);
  }
}

TEST(SetupFace, deniedVolumeLeadsToTheSystemsSettingsWhereThereAreSuch) {
  FaceState state = faceBeforeSetup();
  withDeniedVolume(state);
  const FaceButton again = focused("Choose Drive Again", Kind::addDevice, Control::addDevice);
  const FaceButton settings =
      focused("System Settings", Kind::openRemovableVolumeSettings, Control::removableVolumePermission);
  EXPECT_EQ(cameraRow(state).buttons, (Buttons{again, settings}));
  EXPECT_EQ(cameraRow(onLinux(state)).buttons, Buttons{again});
}

TEST(SetupFace, controlCharactersOfAVolumesNameAreReplaced) {
  FaceState state = faceBeforeSetup();
  state.removableVolumeAccessIssue = RemovableVolumeAccessIssue{.volumeName = "A\nB"};
  EXPECT_TRUE(cameraRow(state).explanation.starts_with("Can’t read A\uFFFDB. "));
}

// MARK: Notifications

TEST(SetupFace, notificationsStepIsThatOfThePermission) {
  const FaceButton ask =
      focused("Allow Notifications", Kind::requestNotificationPermission, Control::notificationPermission);
  const FaceButton settings =
      focused("Notification Settings", Kind::openNotificationSettings, Control::notificationPermission);
  struct Row {
    NotificationPermissionStatus status;
    const char* label;
    std::optional<std::string> symbol;
    const char* explanation;
    Buttons buttons;
  };
  for (const Row& row : {
           Row{NotificationPermissionStatus::authorized,
               "Allowed",
               satisfied,
               "Get notified when syncing starts or finishes.",
               {}},
           Row{NotificationPermissionStatus::notDetermined,
               "Not Requested",
               std::nullopt,
               "Get notified when syncing starts or finishes.",
               {ask}},
           Row{NotificationPermissionStatus::denied,
               "Off",
               std::nullopt,
               "Tolvander still works, but sync notifications are off. In System Settings, choose "
               "Notifications → Tolvander.",
               {settings}},
       }) {
    FaceState state = faceBeforeSetup();
    state.notificationPermissionStatus = row.status;
    const PermissionRow expected = {.title = "Notifications",
                                    .symbol = "bell",
                                    .label = row.label,
                                    .labelSymbol = row.symbol,
                                    .explanation = row.explanation,
                                    .buttons = row.buttons};
    EXPECT_EQ(setup(state).notifications.row, expected) << row.label;
  }
  FaceState denied = onLinux(faceBeforeSetup());
  denied.notificationPermissionStatus = NotificationPermissionStatus::denied;
  EXPECT_EQ(setup(denied).notifications.row.explanation,
            "Tolvander still works, but sync notifications are off. Your desktop has no service that shows "
            "them.");
  EXPECT_EQ(setup(denied).notifications.row.buttons, Buttons());
}

// MARK: Finish

TEST(SetupFace, finishesWhenTheFirstSyncCanStart) {
  FaceState state = ready();
  const FaceButton finish = {.title = "Finish and sync", .action = {Kind::finishAndSync}};
  EXPECT_EQ(setup(state).finish, finish);
  state.canStartFirstSync = false;
  EXPECT_FALSE(setup(state).finish.isEnabled);
}

// Each row adds a condition that goes before those of the rows above it.
TEST(SetupFace, hintIsThatOfTheFirstConditionThatHolds) {
  struct Row {
    Change add;
    const char* hint;
  };
  FaceState state = ready();
  state.canStartFirstSync = false;
  state.hasAuthorizedProfiles = false;
  state.hasAvailableRemovableVolumes = false;
  for (const Row& row : {
           Row{[](FaceState&) {}, "Connect your Charmera to continue."},
           Row{[](FaceState& now) { now.hasAvailableRemovableVolumes = true; },
               "Choose your Charmera’s drive to continue."},
           Row{[](FaceState& now) { now.hasAuthorizedProfiles = true; },
               "Wait for the current operation to finish."},
           Row{[](FaceState& now) { now.photosPermissionStatus = PhotosPermissionStatus::limited; },
               "Allow Photos access to continue."},
           Row{[](FaceState& now) { now.canStartFirstSync = true; },
               "Previously imported photos and videos will be skipped."},
       }) {
    row.add(state);
    EXPECT_EQ(setup(state).hint, row.hint);
  }
}

TEST(SetupFace, hintAsksForASavedDriveThatIsNotConnected) {
  FaceState state = ready();
  state.canStartFirstSync = false;
  state.connectedDevices = {};
  EXPECT_EQ(firstSyncHint(state), "Choose your Charmera’s drive to continue.");
}

TEST(SetupFace, withoutADriveAllTextsAskForOne) {
  FaceState state = faceBeforeSetup();
  state.photosPermissionStatus = PhotosPermissionStatus::authorized;
  EXPECT_EQ(cameraRow(state).label, "Waiting for connection");
  EXPECT_EQ(cameraRow(state).explanation, "Connect your Charmera via USB.");
  EXPECT_EQ(setup(state).hint, "Connect your Charmera to continue.");
}

TEST(SetupFace, showsTheFailureWithItsFile) {
  FaceState state = ready();
  EXPECT_EQ(setup(state).failure, std::nullopt);
  state.lastError = "This picture is damaged.";
  EXPECT_EQ(setup(state).failure, "This picture is damaged.");
  state.lastErrorFile = "PICT\n.JPG";
  EXPECT_EQ(setup(state).failure, "PICT\uFFFD.JPG: This picture is damaged.");
}

}  // namespace
}  // namespace tolvander::app
