#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "TolvanderApp/Import/CameraImport.h"
#include "TolvanderApp/Model/ModelContext.h"
#include "TolvanderCore/DetectedDevice.h"
#include "TolvanderCore/SyncCoordinator.h"

namespace tolvander::app {

// What syncs, checks and restorations of a camera share: the coordinator that does the work, and the display
// of how it goes, in `cameraRuns`, `syncPhase` and the status line.
class CameraRuns {
 public:
  explicit CameraRuns(ModelContext& context)
      : context_(context), model_(context.model), fields_(context.fields) {}

  // For a worker. It watches the token and holds the model weakly.
  SyncCoordinator coordinator(const DetectedDevice& device, const CancellationToken& token);
  void begin(const DetectedDevice& device, const std::vector<std::string>& setAside);
  // Both change the last one.
  void change(const std::function<void(CameraRun& run)>& change);
  void end(FlowEnd end);
  // Stores the receipt of what was imported. Where that fails, the failure is shown.
  LastSyncReceipt saveReceipt(const DetectedDevice& device,
                              const std::vector<FingerprintedMediaFile>& imported);
  // Completes interrupted imports where no camera is connected, whose run would do so first. A failure is
  // shown by the next run of a camera, which completes first.
  Task<> finishPreparedImports();

 private:
  CameraImport::Observer importObserver();
  // For a worker: keeps the file's name for the failure that follows.
  std::function<void(const CameraMediaFile& file)> failedFileObserver();
  bool showImportProgress(std::int64_t completed, std::int64_t total);
  void setSyncPhase(const SyncPhase& phase);

  ModelContext& context_;
  AppModel& model_;
  const ModelFields& fields_;
};

}  // namespace tolvander::app
