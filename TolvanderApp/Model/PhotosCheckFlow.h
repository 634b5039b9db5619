#pragma once

#include "TolvanderApp/Model/CameraAccessFlow.h"
#include "TolvanderApp/Model/CameraRuns.h"
#include "TolvanderApp/Model/ModelContext.h"

namespace tolvander::app {

// Compares the connected cameras with the library, and does what the user wants to follow from that.
class PhotosCheckFlow {
 public:
  PhotosCheckFlow(ModelContext& context, CameraAccessFlow& access, CameraRuns& runs)
      : context_(context), model_(context.model), fields_(context.fields), access_(access), runs_(runs) {}

  Started<CheckResult> verifyCameraInPhotos(AppModel::CheckPurpose purpose);
  Started<FlowOutcome> rememberVerifiedMatches(DeviceLibraryReview review);
  Started<RestoreResult> restoreMissingImports(DeviceLibraryReview review);

 private:
  Task<CheckResult> check(AppModel::CheckPurpose purpose);
  Task<> reviewConnectedCameras(AppModel::CheckPurpose purpose);
  void presentReviews();
  Task<FlowOutcome> remember(DeviceLibraryReview review);
  Task<> saveMatches(DeviceLibraryReview review);
  Task<RestoreResult> askToRestore(DeviceLibraryReview review);
  Task<RestoreResult> restore(DeviceLibraryReview review);
  Task<> importMissing(DeviceLibraryReview review);

  ModelContext& context_;
  AppModel& model_;
  const ModelFields& fields_;
  CameraAccessFlow& access_;
  CameraRuns& runs_;
};

}  // namespace tolvander::app
