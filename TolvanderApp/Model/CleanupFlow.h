#pragma once

#include <optional>
#include <set>
#include <string>
#include <vector>

#include "TolvanderApp/Model/CameraAccessFlow.h"
#include "TolvanderApp/Model/ModelContext.h"
#include "TolvanderApp/Trash/TrashDeleteResult.h"
#include "TolvanderApp/Trash/TrashMoveResult.h"
#include "TolvanderCore/FingerprintedMediaFile.h"
#include "TolvanderCore/ManagedTrashRecord.h"

namespace tolvander::app {

// What a sync's offer to move the imported files to the Trash came to.
struct CleanupOutcome {
  bool safeToEject = false;
  bool didNotify = false;
};

// Moves imported camera files to the Trash, deletes them for good, and puts them back. Everything here is
// destructive and guarded alike: the user is asked, access to the right volume is proven again, and every
// file must be shown to be in the library at that very moment.
class CleanupFlow {
 public:
  CleanupFlow(ModelContext& context, CameraAccessFlow& access)
      : context_(context),
        model_(context.model),
        fields_(context.fields),
        names_(context.platform.systemNames),
        access_(access) {}

  Started<CleanupResult> clearManagedTrash(DeviceTrashSummary device);
  Started<CleanupResult> restoreManagedTrash(DeviceTrashSummary device,
                                             std::optional<std::set<std::string>> filenames);
  // As a part of a sync. Shows what goes wrong, and never throws.
  Task<CleanupOutcome> offerToTrash(std::vector<FingerprintedMediaFile> files, DetectedDevice device);
  // Brings the history up to date with the Trash. What can't be looked at or saved is settled another time.
  Task<> settleTrash();
  // Those whose volume is mounted, is the device that was recorded, and may be used.
  std::vector<ManagedTrashRecord> authorizedTrashRecords(
      const std::vector<ManagedTrashRecord>& records) const;

 private:
  std::optional<FileURL> authorizedVolume(const std::optional<std::string>& deviceIdentifier,
                                          const std::string& trashedPath,
                                          const std::vector<FileURL>& mounted) const;
  // Both throw CancellationError where the flow is to stop, and CocoaError fileReadNoPermission.
  void requireCleanupAccess(const FileURL& volume, const CancellationToken& token) const;
  void requireCleanupAccess(const std::vector<ManagedTrashRecord>& records, const CancellationToken& token);
  void showCleanupFailure(std::string message);
  Task<CleanupOutcome> askToTrash(std::vector<FingerprintedMediaFile> files, DetectedDevice device);
  Task<CleanupOutcome> moveToTrash(std::vector<FingerprintedMediaFile> files, DetectedDevice device);
  Task<CleanupOutcome> finishMove(TrashMoveResult result, std::string deviceName, CancellationToken token);
  Task<> undoMove(TrashMoveResult result);
  Started<CleanupResult> startCleanup(Task<CleanupResult> cleanup);
  Task<CleanupResult> runCleanup(Task<CleanupResult> cleanup);
  Task<std::vector<ManagedTrashRecord>> managedTrash(DeviceTrashSummary device);
  Task<CleanupResult> clearTrash(DeviceTrashSummary device);
  Task<> finishDelete(TrashDeleteResult result, std::string deviceName, CancellationToken token);
  Task<CleanupResult> restoreTrash(DeviceTrashSummary device, std::optional<std::set<std::string>> filenames);

  ModelContext& context_;
  AppModel& model_;
  const ModelFields& fields_;
  const SystemNames& names_;
  CameraAccessFlow& access_;
};

}  // namespace tolvander::app
