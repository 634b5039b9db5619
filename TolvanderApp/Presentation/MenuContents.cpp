#include "TolvanderApp/MenuContents.h"

#include <utility>

#include "TolvanderApp/Presentation/PhotosAccess.h"
#include "TolvanderApp/Presentation/Symbols.h"
#include "TolvanderApp/Presentation/Wording.h"
#include "TolvanderCore/Platform/Characters.h"
#include "TolvanderCore/Platform/Text.h"

namespace tolvander::app {

namespace {

using Kind = FaceAction::Kind;

MenuItem item(std::string title, std::string symbol, Kind action) {
  return {.title = std::move(title), .symbol = std::move(symbol), .action = FaceAction{action}};
}

MenuItem separator() { return {.isSeparator = true}; }

// A longer title would make the menu wider than what a reader takes in at once.
MenuItem withBoundedTitle(MenuItem item) {
  constexpr std::size_t longestTitle = 48;  // in characters
  constexpr std::size_t keptOfLonger = 47;
  if (firstCharacters(item.title, longestTitle).size() < item.title.size()) {
    const std::string_view kept = firstCharacters(item.title, keptOfLonger);
    std::string cut = std::string(trimmingWhitespaceAndNewlines(kept)) + "…";
    item.toolTip = std::exchange(item.title, std::move(cut));
  }
  return item;
}

MenuItem photosAccessItem(const FaceState& state) {
  constexpr auto symbol = "photo.badge.exclamationmark";
  return asksForPhotosAccess(state) ? item("Allow Photos Access…", symbol, Kind::openSettings)
                                    : item("Open Photos Settings…", symbol, Kind::openPhotosSettings);
}

MenuItem firstItem(const FaceState& state) {
  if (!state.hasPhotosAccess()) {
    return photosAccessItem(state);
  }
  if (state.hasAuthorizedProfiles) {
    return withBoundedTitle({.title = printable(state.statusMessage), .isEnabled = false});
  }
  return item(state.hasAvailableRemovableVolumes ? "Connect Your Charmera…" : "Plug in Your Charmera…",
              "externaldrive.badge.questionmark", Kind::openSettings);
}

MenuItem ejectItem(const ConnectedDeviceSummary& device, std::size_t tag, bool isSyncing) {
  return withBoundedTitle(
      {.title = (isSyncing ? "Stop & Eject “" : "Eject “") + printable(device.displayName) + "”",
       .symbol = "eject",
       .action = FaceAction{.kind = Kind::ejectDevice, .argument = device},
       .tag = tag});
}

void addItemsAfterSetup(const FaceState& state, MenuContents& menu) {
  menu.items.push_back(firstItem(state));
  menu.items.push_back(separator());
  if (!state.isEjecting) {
    menu.menuDevices = state.connectedDevices;
  }
  for (std::size_t tag = 0; tag < menu.menuDevices.size(); ++tag) {
    menu.items.push_back(ejectItem(menu.menuDevices.at(tag), tag, state.isSyncing));
  }
  if (!state.isWorking()) {
    menu.items.push_back(item("Check Now", "arrow.clockwise", Kind::checkNow));
  }
  menu.items.push_back(item("Open Tolvander…", "macwindow", Kind::openSettings));
  if (state.updateReminder.version && !state.isWorking()) {
    menu.items.push_back(item("Update Tolvander…", symbols::attention, Kind::showAvailableUpdate));
  }
}

}  // namespace

MenuContents MenuContents::of(const FaceState& state) {
  MenuContents menu;
  if (state.onboardingCompleted) {
    addItemsAfterSetup(state, menu);
  } else {
    menu.items.push_back(item("Finish Setup…", "checklist", Kind::openSettings));
  }
  menu.items.push_back(separator());
  menu.items.push_back({.title = "Quit Tolvander", .action = FaceAction{Kind::quit}, .keyEquivalent = "q"});
  return menu;
}

MenuItem openSettingsCommand() {
  return {.title = "Open Tolvander…", .action = FaceAction{Kind::openSettings}, .keyEquivalent = ","};
}

}  // namespace tolvander::app
