#pragma once

#include <string>
#include <variant>

#include "TolvanderApp/DeviceSummaries.h"
#include "TolvanderCore/Foundation/FileURL.h"
#include "TolvanderCore/Foundation/UUID.h"

namespace tolvander::app {

// What a control of the menu or of the window does. A shell gives it back when the user has chosen the
// control.
struct FaceAction {
  enum class Kind {
    openSettings,
    quit,
    showAvailableUpdate,
    reportBug,

    requestPhotosAccess,
    openPhotosSettings,
    openRemovableVolumeSettings,
    requestNotificationPermission,
    openNotificationSettings,
    approveLoginItem,

    finishAndSync,
    checkNow,
    stopCheck,
    checkPhotos,
    rememberMatches,     // FileURL: the volume of the review
    importMissingItems,  // FileURL: the volume of the review
    ejectDevice,         // ConnectedDeviceSummary

    setLaunchAtLogin,       // bool
    setDeleteAfterSync,     // bool
    setAutoEjectAfterSync,  // bool
    setAddToAlbum,          // bool
    selectAlbum,            // std::string: its name
    createAlbum,

    clearTrash,    // DeviceTrashSummary
    addDevice,     // also to reconnect one
    removeDevice,  // UUID: of the grant
  };
  using Argument = std::variant<std::monostate, bool, std::string, FileURL, UUID, ConnectedDeviceSummary,
                                DeviceTrashSummary>;

  Kind kind{};
  Argument argument{};  // of the type that is named above; otherwise empty

  friend bool operator==(const FaceAction&, const FaceAction&) = default;
};

}  // namespace tolvander::app
