#pragma once

#include <optional>
#include <string>
#include <variant>
#include <vector>

#include "TolvanderApp/FaceControls.h"
#include "TolvanderApp/FaceState.h"

// What the program's window shows: a welcome with three steps until setup is complete, and the panel with
// status and settings after it. All functions here are pure and may be called on any thread.
namespace tolvander::app {

// MARK: Setup

struct SetupStep {
  std::string header;
  PermissionRow row;
  std::optional<std::string> failure{};  // below the row

  friend bool operator==(const SetupStep&, const SetupStep&) = default;
};

struct SetupContents {
  std::string title;
  std::string line;
  SetupStep photos;
  SetupStep camera;
  SetupStep notifications;
  FaceButton finish;
  std::string hint;                    // below the button
  std::optional<std::string> failure;  // below the hint

  friend bool operator==(const SetupContents&, const SetupContents&) = default;
};

// MARK: Panel

// How far a sync is.
struct FaceProgress {
  std::optional<double> share;  // from 0 to 1; absent where it isn't known how much there is to do

  friend bool operator==(const FaceProgress&, const FaceProgress&) = default;
};

struct StatusSection {
  std::string header;
  std::optional<std::string> symbol;
  std::optional<FaceProgress> progress;  // in the place of the symbol
  std::string title;
  std::optional<std::string> detail;
  std::optional<std::string> detailHelp;  // may have several lines
  std::vector<FaceButton> actions;
  std::optional<std::string> failure;  // below the row

  friend bool operator==(const StatusSection&, const StatusSection&) = default;
};

// What a check found for one camera. Only where there is something to show besides the status row.
struct ReviewEntry {
  std::optional<std::string> camera;  // its name, where several were checked
  std::optional<FaceNote> counts;     // absent where the status row has them; the help is a tool tip
  std::optional<FaceNote> unchecked;  // files without a verdict; the help is a tool tip
  // The help of these two is a second line, which must be seen.
  std::optional<FaceNote> interrupted;  // imports that the next sync finishes
  std::optional<FaceNote> recovery;     // imports that it can't finish
  std::vector<FaceButton> buttons;

  friend bool operator==(const ReviewEntry&, const ReviewEntry&) = default;
};

struct PermissionsSection {
  std::string header;
  std::vector<PermissionRow> rows;

  friend bool operator==(const PermissionsSection&, const PermissionsSection&) = default;
};

struct TogglesSection {
  std::string header;
  std::vector<FaceToggle> toggles;

  friend bool operator==(const TogglesSection&, const TogglesSection&) = default;
};

struct AlbumSection {
  struct Choice {
    std::string title;
    std::string name;  // the argument of the action

    friend bool operator==(const Choice&, const Choice&) = default;
  };

  std::string header;
  std::string title;     // of the menu
  std::string selected;  // what the menu shows while it is closed
  std::vector<Choice> choices;
  FaceAction::Kind action{};
  bool isEnabled = true;
  KeyboardFocus focus{};
  FaceButton create;

  friend bool operator==(const AlbumSection&, const AlbumSection&) = default;
};

struct TrashSection {
  struct Row {
    std::string name;
    std::string count;
    FaceButton clear;

    friend bool operator==(const Row&, const Row&) = default;
  };

  std::string header;
  std::vector<Row> rows;
  std::string footnote;

  friend bool operator==(const TrashSection&, const TrashSection&) = default;
};

struct CamerasSection {
  struct Row {
    std::string name;
    std::string menuTitle;
    std::string menuAccessibilityLabel;
    std::vector<FaceButton> items;  // of the menu

    friend bool operator==(const Row&, const Row&) = default;
  };

  std::string header;
  std::vector<Row> rows;
  std::optional<std::string> placeholder;  // in the place of rows
  std::optional<std::string> failure;      // why the saved cameras can't be read
  FaceButton add;

  friend bool operator==(const CamerasSection&, const CamerasSection&) = default;
};

struct FooterSection {
  std::optional<FaceNote> collected;
  std::string version;
  std::optional<FaceButton> update;
  FaceButton reportBug;

  friend bool operator==(const FooterSection&, const FooterSection&) = default;
};

struct PanelContents {
  StatusSection status;
  std::vector<ReviewEntry> reviews;
  std::optional<PermissionsSection> permissions;
  TogglesSection settings;
  std::optional<AlbumSection> album;
  std::optional<TrashSection> trash;
  CamerasSection cameras;
  FooterSection footer;

  friend bool operator==(const PanelContents&, const PanelContents&) = default;
};

// MARK: All of it

struct SettingsContents {
  std::variant<SetupContents, PanelContents> face;

  static SettingsContents of(const FaceState& state);

  // The controls on show that the keyboard reaches in the order of KeyboardFocus, also disabled ones.
  std::vector<KeyboardFocus> keyboardFocusOrder() const;

  friend bool operator==(const SettingsContents&, const SettingsContents&) = default;
};

// The saved camera isn't connected, but another volume is: it may be the camera with a new name.
bool needsCameraSelection(const FaceState& state);

// A check of the connected camera against the library can begin.
bool canReviewPhotos(const FaceState& state);

// What is missing before setup can be finished, or what finishing does.
std::string firstSyncHint(const FaceState& state);

// The line below the status. Absent where there is nothing to say.
std::optional<std::string> statusDetail(const FaceState& state);

}  // namespace tolvander::app
