#include "TolvanderApp/ChosenCameras.h"

#include <algorithm>
#include <utility>

#include "TolvanderApp/AppModel.h"

namespace tolvander::app {

namespace {

using Kind = SyncObstacle::Kind;

// What adding the chosen volumes came to.
struct Adding {
  ChosenSync result{};
  bool hasSynced = false;  // with the volumes that were added
};

Task<Adding> addVolumes(AppModel* model, std::vector<FileURL> volumes, CancellationToken stop) {
  Adding adding;
  for (const FileURL& volume : volumes) {
    if (isConnected(*model, volume) || stop.isCancelled()) {
      continue;
    }
    const bool syncsWhenAdded = model->settings().onboardingCompleted();
    AddedCamera added;
    if (const auto started = model->addDevice(volume)) {
      auto ended = started->value();
      added = co_await ended;
    }
    adding.result.summary.append(std::move(added.sync));
    if (!added.volume) {
      adding.result.obstacle = SyncObstacle{Kind::notRemembered, volume};
      co_return adding;
    }
    if (!isConnected(*model, volume) && !model->cameraWentAway) {
      adding.result.obstacle = SyncObstacle{Kind::notACamera, volume};
      co_return adding;
    }
    adding.hasSynced = syncsWhenAdded;
  }
  co_return adding;
}

// Setup is completed by the first sync of a camera.
Task<SyncSummary> syncOrCompleteSetup(AppModel* model) {
  if (!model->settings().onboardingCompleted() && !model->connectedDevices->empty()) {
    SyncSummary summary;
    if (const auto started = model->completeOnboardingAndSync()) {
      auto ended = started->value();
      summary = co_await ended;
    }
    co_return summary;
  }
  auto sync = model->syncAllConnected(false);
  co_return co_await sync;
}

Task<ChosenSync> addAndSync(AppModel* model, std::vector<FileURL> volumes, CancellationToken stop) {
  auto adding = addVolumes(model, std::move(volumes), stop);
  Adding added = co_await adding;
  ChosenSync result = std::move(added.result);
  if (result.obstacle || added.hasSynced || stop.isCancelled()) {
    co_return result;
  }
  const bool hadCamera = !model->connectedDevices->empty();
  auto syncing = syncOrCompleteSetup(model);
  result.summary.append(co_await syncing);
  if (result.summary.cameras.empty() && !model->cameraWentAway && !stop.isCancelled()) {
    result.obstacle = SyncObstacle{hadCamera ? Kind::cameraWentAway : Kind::noCameraConnected};
  }
  co_return result;
}

}  // namespace

Task<ChosenSync> syncChosenCameras(AppModel* model, ChosenSyncRequest request) {
  auto idle = model->untilIdle();
  co_await idle;
  if (request.volumes.empty() && model->settings().authorizedDeviceProfiles().empty()) {
    if (const auto completing = model->completeInterruptedImports()) {
      auto completed = completing->join();
      co_await completed;
    }
    co_return ChosenSync{.obstacle = SyncObstacle{Kind::noCameraSaved}};
  }
  auto preparing = request.prepareLibrary();
  const bool hasLibrary = co_await preparing;
  if (!hasLibrary || request.stop.isCancelled()) {
    co_return ChosenSync();
  }
  auto syncing = addAndSync(model, std::move(request.volumes), request.stop);
  ChosenSync result = co_await syncing;
  if (model->failure() && result.obstacle) {
    result.obstacle.reset();  // the model says why
  }
  co_return result;
}

std::optional<ConnectedDeviceSummary> connectedDevice(const AppModel& model, const FileURL& volume) {
  const auto& devices = model.connectedDevices.value();
  const auto found = std::ranges::find_if(devices, [&](const ConnectedDeviceSummary& device) {
    return device.volumeURL.resolvingSymlinks() == volume.resolvingSymlinks();
  });
  return found == devices.end() ? std::nullopt : std::optional(*found);
}

bool isConnected(const AppModel& model, const FileURL& volume) {
  return connectedDevice(model, volume).has_value();
}

}  // namespace tolvander::app
