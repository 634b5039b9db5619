#pragma once

#include <functional>
#include <optional>
#include <vector>

#include "TolvanderApp/Concurrency/Task.h"
#include "TolvanderApp/FlowResults.h"
#include "TolvanderCore/Concurrency/Cancellation.h"
#include "TolvanderCore/Foundation/FileURL.h"

namespace tolvander::app {

class AppModel;

// Why cameras were not synced, where the model itself shows no failure.
struct SyncObstacle {
  enum class Kind {
    noCameraSaved,
    notRemembered,  // the user doesn't want `volume` to be a camera
    notACamera,     // nothing in `volume` looks like a camera
    noCameraConnected,
    cameraWentAway
  };

  Kind kind;
  std::optional<FileURL> volume{};
};

struct ChosenSync {
  SyncSummary summary{};
  std::optional<SyncObstacle> obstacle{};
};

struct ChosenSyncRequest {
  std::vector<FileURL> volumes;  // those that are no saved cameras are added first; empty: all saved cameras
  CancellationToken stop;        // no step begins after it
  // Sees to it that the library may be used. Called once, before anything is synced or added.
  std::function<Task<bool>()> prepareLibrary;
};

// Syncs every chosen camera once, and completes setup where it is unfinished. A flow that runs comes first. A
// camera that is added while setup is complete is synced when it is added. What interrupted imports left is
// completed also where no camera is saved. The model has been started, and outlives the task.
Task<ChosenSync> syncChosenCameras(AppModel* model, ChosenSyncRequest request);

// The connected camera that is this volume, symbolic links resolved.
std::optional<ConnectedDeviceSummary> connectedDevice(const AppModel& model, const FileURL& volume);
bool isConnected(const AppModel& model, const FileURL& volume);

}  // namespace tolvander::app
