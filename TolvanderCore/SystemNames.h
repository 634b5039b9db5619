#pragma once

#include <optional>
#include <string>

namespace tolvander {

// What the texts for people call the system that the program runs on, its places and the parts of its screen.
// Texts are put together from these, so that a text never sends a person to a place that their system doesn't
// have. All in English, UTF-8. Nouns come in the form that they have within a sentence; one that begins a
// line or is a heading has its own field. A sentence that leads the user somewhere is here as a whole, since
// its places differ and not only their names. "Photos" alone is this program's word for the library, on every
// system.
struct SystemNames {
  // Nouns
  std::string photoLibrary;       // "… into {photoLibrary}."
  std::string photoLibraryTitle;  // a heading
  std::string trash;              // "Moved to {trash}"
  std::string shortTrash;         // where the text has named it before: "until {shortTrash} is emptied"
  std::string trashTitle;         // at the start of a line
  std::string fileManager;        // "can be restored in {fileManager}"
  std::string computer;           // "originals available on {computer}"

  // Access to the photo library. Each is empty or a sentence that follows another one.
  std::string photosAccessAdvice;  // after "Full access is needed …" and "… until Photos access is enabled."
  std::string photosRestricted;    // the whole explanation
  std::string photosDeniedLabel;   // the state in a word or two
  bool hasPhotosSettings = false;  // there is a place where the user changes the access. Without one the
                                   // user is asked again.

  // Access to removable drives
  std::string removableVolumeAdvice;                         // after "Tolvander cannot read {volume}."
  std::string volumeRetryAdvice;                             // after "Can’t read {volume}."
  std::string waitingForCameraChoice;                        // a label while the system asks for the drive
  std::optional<std::string> removableVolumeSettingsButton;  // absent where there is no such place

  // Notifications
  std::string notificationsAdvice;       // after "… but sync notifications are off."
  bool hasNotificationSettings = false;  // there is a place where the user switches them on

  // The system's settings
  std::string systemSettingsFailure;  // they could not be opened

  // Start at login
  std::string launchAtLoginHelp;      // what switching it on does
  std::string approveLoginItem;       // a button that opens the place where the user approves it
  std::string loginItemNotInstalled;  // what to do where the system doesn't find the program

  friend bool operator==(const SystemNames&, const SystemNames&) = default;
};

}  // namespace tolvander
