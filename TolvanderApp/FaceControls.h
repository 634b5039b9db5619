#pragma once

#include <optional>
#include <string>
#include <vector>

#include "TolvanderApp/FaceAction.h"

// The controls of the window as values. Texts are plain, in English and ready to be drawn; symbols are names
// of system symbols.
namespace tolvander::app {

// The controls that the keyboard reaches in this order. Every other control is reached where it is in the
// window. No control has the focus when the window opens.
struct KeyboardFocus {
  enum class Control {
    clearTrash,
    launchAtLogin,
    deleteAfterSync,
    autoEjectAfterSync,
    albumAutomation,
    albumPicker,
    createAlbum,
    addDevice,
    photosPermission,
    removableVolumePermission,
    notificationPermission,
  };

  Control control{};
  std::string id{};  // of the DeviceTrashSummary; `clearTrash` only

  friend bool operator==(const KeyboardFocus&, const KeyboardFocus&) = default;
};

struct FaceButton {
  std::string title;
  FaceAction action{};
  bool isEnabled = true;
  std::optional<std::string> help{};                // a tool tip
  std::optional<std::string> accessibilityLabel{};  // where a screen reader says more than the title
  std::optional<KeyboardFocus> focus{};

  friend bool operator==(const FaceButton&, const FaceButton&) = default;
};

// A row with a switch.
struct FaceToggle {
  std::string title;
  FaceAction::Kind action{};  // its argument is the new state of the switch
  bool isOn = false;
  bool isEnabled = true;
  std::optional<std::string> help{};   // below the title
  std::optional<FaceButton> button{};  // below the row
  KeyboardFocus focus{};

  friend bool operator==(const FaceToggle&, const FaceToggle&) = default;
};

// A row that says whether something is allowed or there, and what the user can do about it.
struct PermissionRow {
  std::string title;
  std::string symbol;
  std::string label;                         // the state in a word or two
  std::optional<std::string> labelSymbol{};  // satisfied, or needing the user; absent where neither
  std::string explanation;
  std::vector<FaceButton> buttons{};

  friend bool operator==(const PermissionRow&, const PermissionRow&) = default;
};

// A line, and what it means: in a tool tip, or in a second line where the field says so.
struct FaceNote {
  std::string text;
  std::string help;

  friend bool operator==(const FaceNote&, const FaceNote&) = default;
};

}  // namespace tolvander::app
