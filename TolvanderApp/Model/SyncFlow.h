#pragma once

#include "TolvanderApp/Model/CameraAccessFlow.h"
#include "TolvanderApp/Model/CameraRuns.h"
#include "TolvanderApp/Model/CleanupFlow.h"
#include "TolvanderApp/Model/EjectFlow.h"
#include "TolvanderApp/Model/ModelContext.h"
#include "TolvanderCore/SyncResult.h"

namespace tolvander::app {

// Syncs all connected cameras.
class SyncFlow {
 public:
  SyncFlow(ModelContext& context, CameraAccessFlow& access, CameraRuns& runs, CleanupFlow& cleanup,
           EjectFlow& eject)
      : context_(context),
        model_(context.model),
        fields_(context.fields),
        access_(access),
        runs_(runs),
        cleanup_(cleanup),
        eject_(eject) {}

  Task<SyncSummary> syncAllConnected(bool notifyWhenStarting);
  Started<SyncSummary> checkNow();
  Started<SyncSummary> completeOnboardingAndSync();
  Started<FlowOutcome> completeInterruptedImports();
  void stopCheck();

 private:
  Task<SyncSummary> performSyncAllConnected(bool notifyWhenStarting);
  Task<FlowOutcome> completeWithoutCamera();
  Task<SyncSummary> lookForVolumesAndSync();
  Task<> syncMountedVolumes(bool notifyWhenStarting);
  Task<> synchronize(FoundCamera camera, bool notifyWhenStarting);
  Task<> presentSyncResult(DetectedDevice device, SyncResult result);
  StatusReceipt syncReceipt(const LastSyncReceipt& receipt, const SyncResult& result, bool ejected) const;

  ModelContext& context_;
  AppModel& model_;
  const ModelFields& fields_;
  CameraAccessFlow& access_;
  CameraRuns& runs_;
  CleanupFlow& cleanup_;
  EjectFlow& eject_;
};

}  // namespace tolvander::app
