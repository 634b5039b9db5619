#pragma once

#include "TolvanderApp/Model/AlbumFlow.h"
#include "TolvanderApp/Model/CameraAccessFlow.h"
#include "TolvanderApp/Model/CameraRuns.h"
#include "TolvanderApp/Model/CleanupFlow.h"
#include "TolvanderApp/Model/EjectFlow.h"
#include "TolvanderApp/Model/FailureDisplay.h"
#include "TolvanderApp/Model/LoginItemFlow.h"
#include "TolvanderApp/Model/MachineEvents.h"
#include "TolvanderApp/Model/ModelContext.h"
#include "TolvanderApp/Model/PermissionRequests.h"
#include "TolvanderApp/Model/PermissionsFlow.h"
#include "TolvanderApp/Model/PhotosCheckFlow.h"
#include "TolvanderApp/Model/ReceiptDisplay.h"
#include "TolvanderApp/Model/Refreshes.h"
#include "TolvanderApp/Model/SettingsFlow.h"
#include "TolvanderApp/Model/SyncFlow.h"
#include "TolvanderApp/Model/SystemSettingsFlow.h"

namespace tolvander::app {

// What the model is made of, each part with those that it calls.
struct AppModel::Parts {
  Parts(AppModel& model, const ModelFields& fields) : context(model, fields) {}

  ModelContext context;
  PermissionRequests requests{context};
  CameraAccessFlow access{context, requests};
  CameraRuns runs{context};
  CleanupFlow cleanup{context, access};
  EjectFlow eject{context};
  SyncFlow sync{context, access, runs, cleanup, eject};
  PhotosCheckFlow check{context, access, runs};
  AlbumFlow album{context};
  ReceiptDisplay receipts{context};
  PermissionsFlow permissions{context, receipts, requests};
  SettingsFlow settings{context};
  LoginItemFlow loginItem{context};
  SystemSettingsFlow systemSettings{context};
  Refreshes refreshes{context, access, cleanup};
  MachineEvents events{context, access, cleanup, eject};
  FailureDisplay failures{context, access, events, receipts};
};

}  // namespace tolvander::app
