#include "TolvanderApp/MenuContents.h"

#include <gtest/gtest.h>

#include <optional>
#include <string>
#include <vector>

#include "Platform/Linux/Text/LinuxNames.h"
#include "Tests/Support/Application/FaceStates.h"

namespace tolvander::app {
namespace {

using tests::connectedCharmera;
using tests::faceAfterSetup;
using tests::faceBeforeSetup;
using Kind = FaceAction::Kind;
using Titles = std::vector<std::string>;

constexpr auto separator = "-";

Titles titles(const FaceState& state) {
  Titles titles;
  for (const MenuItem& item : MenuContents::of(state).items) {
    titles.push_back(item.isSeparator ? separator : item.title);
  }
  return titles;
}

MenuItem firstItem(const FaceState& state) { return MenuContents::of(state).items.at(0); }

MenuItem itemWithTitle(const FaceState& state, const std::string& title) {
  for (const MenuItem& item : MenuContents::of(state).items) {
    if (item.title == title) {
      return item;
    }
  }
  ADD_FAILURE() << "no item has the title " << title;
  return {};
}

MenuItem enabledItem(const std::string& title, const std::string& symbol, Kind action) {
  return {.title = title, .symbol = symbol, .action = FaceAction{action}};
}

// MARK: Which items

TEST(MenuContents, hasThreeLinesUntilSetupIsComplete) {
  FaceState state = faceBeforeSetup();
  state.connectedDevices = {connectedCharmera()};
  state.updateReminder.version = "2.0";
  const MenuContents menu = MenuContents::of(state);
  EXPECT_EQ(titles(state), (Titles{"Finish Setup…", separator, "Quit Tolvander"}));
  EXPECT_EQ(menu.items.at(0), enabledItem("Finish Setup…", "checklist", Kind::openSettings));
  EXPECT_TRUE(menu.menuDevices.empty());
}

TEST(MenuContents, hasEveryItemInItsOrderAfterSetup) {
  FaceState state = faceAfterSetup();
  state.connectedDevices = {connectedCharmera(), connectedCharmera("CARD")};
  state.updateReminder.version = "2.0";
  EXPECT_EQ(titles(state),
            (Titles{"Camera up to date", separator, "Eject “CHARMERA”", "Eject “CARD”", "Check Now",
                    "Open Tolvander…", "Update Tolvander…", separator, "Quit Tolvander"}));
}

TEST(MenuContents, stopsTheSyncWithAnEjectAndOffersNothingElseThatWorks) {
  FaceState state = faceAfterSetup();
  state.isSyncing = true;
  state.lastError = "The camera could not be read.";
  state.updateReminder.version = "2.0";
  EXPECT_EQ(titles(state), (Titles{"Camera up to date", separator, "Stop & Eject “CHARMERA”",
                                   "Open Tolvander…", separator, "Quit Tolvander"}));
}

TEST(MenuContents, offersNoEjectAndNoCheckDuringAnEject) {
  FaceState state = faceAfterSetup();
  state.isEjecting = true;
  state.updateReminder.version = "2.0";
  EXPECT_EQ(titles(state),
            (Titles{"Camera up to date", separator, "Open Tolvander…", separator, "Quit Tolvander"}));
  EXPECT_TRUE(MenuContents::of(state).menuDevices.empty());
}

TEST(MenuContents, offersNoEjectWithoutACamera) {
  FaceState state = faceAfterSetup();
  state.connectedDevices = {};
  EXPECT_EQ(titles(state), (Titles{"Camera up to date", separator, "Check Now", "Open Tolvander…", separator,
                                   "Quit Tolvander"}));
}

// MARK: The first line

TEST(MenuContents, beginsWithWhatTheLibraryNeedsWhereItMayNotBeUsed) {
  const MenuItem ask = enabledItem("Allow Photos Access…", "photo.badge.exclamationmark", Kind::openSettings);
  const MenuItem settings =
      enabledItem("Open Photos Settings…", "photo.badge.exclamationmark", Kind::openPhotosSettings);
  FaceState state = faceAfterSetup();
  state.photosPermissionStatus = PhotosPermissionStatus::notDetermined;
  EXPECT_EQ(firstItem(state), ask);
  for (const auto status : {PhotosPermissionStatus::limited, PhotosPermissionStatus::denied,
                            PhotosPermissionStatus::restricted}) {
    state.photosPermissionStatus = status;
    EXPECT_EQ(firstItem(state), settings);
  }
}

TEST(MenuContents, asksForTheLibraryAgainWhereTheSystemHasNoPlaceToAllowIt) {
  FaceState state = faceAfterSetup();
  state.names = platform::linux_::systemNames();
  state.photosPermissionStatus = PhotosPermissionStatus::denied;
  EXPECT_EQ(firstItem(state),
            enabledItem("Allow Photos Access…", "photo.badge.exclamationmark", Kind::openSettings));
}

TEST(MenuContents, beginsWithTheStatusWhichCanNotBeChosen) {
  const MenuItem status = {.title = "Camera up to date", .isEnabled = false};
  EXPECT_EQ(firstItem(faceAfterSetup()), status);
}

TEST(MenuContents, beginsWithTheCameraWhereNoneIsSaved) {
  constexpr auto symbol = "externaldrive.badge.questionmark";
  FaceState state = faceAfterSetup();
  state.hasAuthorizedProfiles = false;
  EXPECT_EQ(firstItem(state), enabledItem("Connect Your Charmera…", symbol, Kind::openSettings));
  state.hasAvailableRemovableVolumes = false;
  EXPECT_EQ(firstItem(state), enabledItem("Plug in Your Charmera…", symbol, Kind::openSettings));
}

// MARK: The other lines

TEST(MenuContents, ejectItemsSayWhichCameraTheyAreAbout) {
  FaceState state = faceAfterSetup();
  state.connectedDevices = {connectedCharmera(), connectedCharmera("CARD")};
  const MenuContents menu = MenuContents::of(state);
  EXPECT_EQ(menu.menuDevices, state.connectedDevices);
  const MenuItem expected = {
      .title = "Eject “CARD”",
      .symbol = "eject",
      .action = FaceAction{.kind = Kind::ejectDevice, .argument = connectedCharmera("CARD")},
      .tag = 1};
  EXPECT_EQ(itemWithTitle(state, "Eject “CARD”"), expected);
  EXPECT_EQ(itemWithTitle(state, "Eject “CHARMERA”").tag, 0U);
}

TEST(MenuContents, otherItemsHaveTheirSymbolsAndActions) {
  FaceState state = faceAfterSetup();
  state.updateReminder.version = "2.0";
  for (const MenuItem& item :
       {enabledItem("Check Now", "arrow.clockwise", Kind::checkNow),
        enabledItem("Open Tolvander…", "macwindow", Kind::openSettings),
        enabledItem("Update Tolvander…", "exclamationmark.circle.fill", Kind::showAvailableUpdate)}) {
    EXPECT_EQ(itemWithTitle(state, item.title), item);
  }
}

TEST(MenuContents, endsWithQuit) {
  const MenuItem quit = {.title = "Quit Tolvander", .action = FaceAction{Kind::quit}, .keyEquivalent = "q"};
  EXPECT_EQ(MenuContents::of(faceBeforeSetup()).items.back(), quit);
  EXPECT_EQ(MenuContents::of(faceAfterSetup()).items.back(), quit);
}

TEST(MenuContents, programsMenuOpensTheWindowWithAComma) {
  const MenuItem command = {
      .title = "Open Tolvander…", .action = FaceAction{Kind::openSettings}, .keyEquivalent = ","};
  EXPECT_EQ(openSettingsCommand(), command);
}

// MARK: Long titles

TEST(MenuContents, titleOf48CharactersStaysWhole) {
  FaceState state = faceAfterSetup();
  state.statusMessage = std::string(48, 'x');
  EXPECT_EQ(firstItem(state).title, std::string(48, 'x'));
  EXPECT_EQ(firstItem(state).toolTip, std::nullopt);
}

TEST(MenuContents, titleOf49CharactersIsCutTo47AndIsWholeInTheToolTip) {
  FaceState state = faceAfterSetup();
  state.statusMessage = std::string(49, 'x');
  EXPECT_EQ(firstItem(state).title, std::string(47, 'x') + "…");
  EXPECT_EQ(firstItem(state).toolTip, std::string(49, 'x'));
}

TEST(MenuContents, cutTitleHasNoBlankBeforeItsEllipsis) {
  FaceState state = faceAfterSetup();
  state.statusMessage = " " + std::string(44, 'x') + "  " + std::string(9, 'y');
  EXPECT_EQ(firstItem(state).title, std::string(44, 'x') + "…");
}

TEST(MenuContents, titleIsMeasuredInCharactersOfAReader) {
  const std::string accented = "e\u0301";  // one character, two code points, three bytes
  FaceState state = faceAfterSetup();
  state.statusMessage.clear();
  for (int count = 0; count < 48; ++count) {
    state.statusMessage += accented;
  }
  EXPECT_EQ(firstItem(state).toolTip, std::nullopt);
  state.statusMessage += accented;
  EXPECT_EQ(firstItem(state).title, state.statusMessage.substr(0, 47 * accented.size()) + "…");
}

TEST(MenuContents, longNameOfACameraTakesTheClosingQuoteAway) {
  FaceState state = faceAfterSetup();
  const std::string name(60, 'n');
  state.connectedDevices = {connectedCharmera(name)};
  const MenuItem eject = MenuContents::of(state).items.at(2);
  EXPECT_EQ(eject.title, "Eject “" + std::string(40, 'n') + "…");
  EXPECT_EQ(eject.toolTip, "Eject “" + name + "”");
}

TEST(MenuContents, controlCharactersOfANameAreReplaced) {
  FaceState state = faceAfterSetup();
  state.statusMessage = "Reading A\nB";
  state.connectedDevices = {connectedCharmera("A\nB")};
  EXPECT_EQ(firstItem(state).title, "Reading A\uFFFDB");
  EXPECT_EQ(MenuContents::of(state).items.at(2).title, "Eject “A\uFFFDB”");
}

}  // namespace
}  // namespace tolvander::app
