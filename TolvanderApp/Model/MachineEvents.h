#pragma once

#include <vector>

#include "TolvanderApp/Concurrency/Subscription.h"
#include "TolvanderApp/Model/CameraAccessFlow.h"
#include "TolvanderApp/Model/CleanupFlow.h"
#include "TolvanderApp/Model/EjectFlow.h"
#include "TolvanderApp/Model/ModelContext.h"

namespace tolvander::app {

// Turns what happens on the machine into work: the program's start, volumes that come and go, the program
// coming to the front, and its uninstallation.
class MachineEvents {
 public:
  MachineEvents(ModelContext& context, CameraAccessFlow& access, CleanupFlow& cleanup, EjectFlow& eject)
      : context_(context),
        model_(context.model),
        fields_(context.fields),
        access_(access),
        cleanup_(cleanup),
        eject_(eject) {}

  void observe();
  Task<> startUp(AppModel::FirstSync firstSync);
  void prepareUninstall();
  Task<> handleMountedVolume(FileURL url);
  Task<> handleUnmountedVolume(FileURL url);

  // A volume that may not be read suspends setup once the other volumes have had their turn: after the flow
  // that runs, or that is about to.
  void suspendSetupForADeniedVolume();
  // A flow or an eject has ended.
  void workDidEnd();

 private:
  void suspendSetupWhereAVolumeIsDenied();
  Task<> sweepAbandonedStaging();
  Task<> settleAndHandleMountedVolume(FileURL url);
  Task<> useMountedVolume(FileURL url);

  ModelContext& context_;
  AppModel& model_;
  const ModelFields& fields_;
  CameraAccessFlow& access_;
  CleanupFlow& cleanup_;
  EjectFlow& eject_;
  bool isSetupSuspensionDue_ = false;
  bool isFirstFlowAhead_ = false;
  int eventsBeingHandled_ = 0;  // of which each may lead to a flow
  std::vector<Subscription> observers_;
};

}  // namespace tolvander::app
