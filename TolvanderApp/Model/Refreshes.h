#pragma once

#include <optional>

#include "TolvanderApp/Model/CameraAccessFlow.h"
#include "TolvanderApp/Model/CleanupFlow.h"
#include "TolvanderApp/Model/ModelContext.h"

namespace tolvander::app {

// Brings the fields of the model up to date with the cameras, the history and the library.
class Refreshes {
 public:
  Refreshes(ModelContext& context, CameraAccessFlow& access, CleanupFlow& cleanup)
      : context_(context),
        model_(context.model),
        fields_(context.fields),
        access_(access),
        cleanup_(cleanup) {}

  Task<> refreshConnectedDevices();
  Task<> refreshTrashCount();
  Task<> refreshAlbumNames();
  Task<> refreshPhotoHistoryCount();

 private:
  ModelContext& context_;
  AppModel& model_;
  const ModelFields& fields_;
  CameraAccessFlow& access_;
  CleanupFlow& cleanup_;
  std::optional<TaskHandle> deviceRefreshTask_;
};

}  // namespace tolvander::app
