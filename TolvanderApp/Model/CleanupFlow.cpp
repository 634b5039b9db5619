#include "TolvanderApp/Model/CleanupFlow.h"

#include <algorithm>
#include <iterator>
#include <utility>

#include "TolvanderApp/CameraVolumeDiscovery.h"
#include "TolvanderApp/Concurrency/Background.h"
#include "TolvanderApp/Presentation/CleanupText.h"
#include "TolvanderApp/Trash/CleanupProof.h"
#include "TolvanderCore/Foundation/AbsolutePath.h"
#include "TolvanderCore/Foundation/SystemErrors.h"
#include "TolvanderCore/Platform/Volume.h"

namespace tolvander::app {

namespace {

using Records = std::vector<ManagedTrashRecord>;

// A volume without a UUID is imported from and never managed in the Trash.
std::optional<std::string> volumeUUID(const FileURL& volume) {
  try {
    return volumeResourceValues(volume).uuid;
  } catch (const Error&) {
    return std::nullopt;
  }
}

// The volume that holds a file of the history; absent where it isn't mounted, and for a path that is none.
std::optional<FileURL> volumeAround(const std::string& recordedPath, const std::vector<FileURL>& mounted) {
  const auto url = urlOfAbsolutePath(recordedPath);
  return url ? CameraVolumeDiscovery::containingVolume(*url, mounted) : std::nullopt;
}

// Intents that stay are dropped at the next start, for their files are on the camera.
void forgetIntents(SyncHistoryStore& history, const std::set<UUID>& ids) {
  try {
    history.forgetTrashIntents(ids);
  } catch (const Error&) {
    return;
  }
}

[[noreturn]] void throwNoPermission() { throw CocoaError(CocoaError::Code::fileReadNoPermission); }

}  // namespace

// MARK: Access

// The volume around a recorded path where it is mounted, is the device that was recorded, and may be used.
std::optional<FileURL> CleanupFlow::authorizedVolume(const std::optional<std::string>& deviceIdentifier,
                                                     const std::string& trashedPath,
                                                     const std::vector<FileURL>& mounted) const {
  if (!deviceIdentifier) {
    return std::nullopt;
  }
  const auto volume = volumeAround(trashedPath, mounted);
  if (!volume || volumeUUID(*volume) != deviceIdentifier ||
      context_.securityScopedAccess.authorizedProfiles(*volume, model_.settings().authorizedDeviceProfiles())
          .empty()) {
    return std::nullopt;
  }
  return volume;
}

Records CleanupFlow::authorizedTrashRecords(const Records& records) const {
  const auto mounted = CameraVolumeDiscovery::mountedURLs(context_.platform.volumes);
  Records authorized;
  std::ranges::copy_if(records, std::back_inserter(authorized), [&](const ManagedTrashRecord& record) {
    return authorizedVolume(record.deviceIdentifier, record.trashedPath, mounted).has_value();
  });
  return authorized;
}

void CleanupFlow::requireCleanupAccess(const FileURL& volume, const CancellationToken& token) const {
  token.throwIfCancelled();
  if (!context_.gate.isOpen() || context_.gate.isStopRequested() || !access_.isStillMounted(volume)) {
    throw CancellationError();
  }
  const auto uuid = volumeUUID(volume);
  const auto profiles =
      context_.securityScopedAccess.authorizedProfiles(volume, model_.settings().authorizedDeviceProfiles());
  const bool isTheSame = uuid && std::ranges::any_of(profiles, [&](const DeviceProfile& profile) {
                           return profile.matchRules.volumeUUID == uuid;
                         });
  if (!isTheSame) {
    throwNoPermission();
  }
}

void CleanupFlow::requireCleanupAccess(const Records& records, const CancellationToken& token) {
  access_.refreshSecurityScopedAccess();
  const auto mounted = CameraVolumeDiscovery::mountedURLs(context_.platform.volumes);
  for (const auto& record : records) {
    const auto volume = volumeAround(record.trashedPath, mounted);
    if (!volume) {
      throw CancellationError();
    }
    requireCleanupAccess(*volume, token);
  }
  if (authorizedTrashRecords(records).size() != records.size()) {
    throwNoPermission();
  }
}

// MARK: What an earlier run left

// Before anything is shown of the Trash: a process that died while it moved files has not recorded them, and
// the user may have emptied the Trash since. What can't be looked at or saved now is settled another time.
Task<> CleanupFlow::settleTrash() {
  if (model_.photosPermissionStatus != PhotosPermissionStatus::authorized || model_.isSyncing) {
    co_return;
  }
  access_.refreshSecurityScopedAccess();
  const auto cleanupsBefore = context_.gate.cleanupCount();
  try {
    auto reading = background([history = context_.services.history] {
      return std::pair(history->trashRecords(), history->unsettledTrashIntents());
    });
    auto [records, intents] = co_await reading;
    records = authorizedTrashRecords(records);
    const auto mounted = CameraVolumeDiscovery::mountedURLs(context_.platform.volumes);
    std::erase_if(intents, [&](const TrashIntent& intent) {
      return !authorizedVolume(intent.deviceIdentifier, intent.trashDirectoryPath, mounted);
    });
    auto looking =
        background([trash = context_.trash, moved = std::move(records), begun = std::move(intents)](
                       const CancellationToken& stop) { return trash.settlement(moved, begun, stop); });
    auto settlement = co_await looking;
    // What a cleanup does in the meantime makes the look out of date.
    if (!settlement.changesNothing() && context_.gate.cleanupCount() == cleanupsBefore) {
      auto recording = background([history = context_.services.history, settlement = std::move(settlement)] {
        history->settleTrash(settlement);
      });
      co_await recording;
    }
  } catch (const Error&) {
  }
}

// MARK: Moving to the Trash

void CleanupFlow::showCleanupFailure(std::string message) {
  context_.showFailure(std::move(message));
  fields_.statusMessage = "Cleanup needs attention";
}

Task<CleanupOutcome> CleanupFlow::offerToTrash(std::vector<FingerprintedMediaFile> files,
                                               DetectedDevice device) {
  context_.gate.beginCleanup();
  auto offering = context_.gate.attempt(askToTrash(std::move(files), std::move(device)), "Cleanup stopped");
  const Attempt<CleanupOutcome> offered = co_await offering;
  context_.gate.endCleanup();
  co_return offered.value.value_or(CleanupOutcome());
}

Task<CleanupOutcome> CleanupFlow::askToTrash(std::vector<FingerprintedMediaFile> files,
                                             DetectedDevice device) {
  auto question =
      context_.platform.dialogs.ask(CleanupText::moveQuestion(files.size(), device.displayName, names_));
  const auto answer = co_await question;
  if (answer != 0) {
    co_return CleanupOutcome{.safeToEject = true, .didNotify = false};
  }
  auto moving = moveToTrash(std::move(files), std::move(device));
  co_return co_await moving;
}

Task<CleanupOutcome> CleanupFlow::moveToTrash(std::vector<FingerprintedMediaFile> files,
                                              DetectedDevice device) {
  auto current = currentToken();
  const CancellationToken token = co_await current;
  access_.refreshSecurityScopedAccess();
  requireCleanupAccess(device.volumeURL, token);
  auto proving = background([history = context_.services.history, photos = context_.photos,
                             files](const CancellationToken& stop) {
    auto assets = CleanupProof::recordedAssets(files, history->records());
    const auto existing = photos->existingAssetIdentifiers(CleanupProof::identifiers(assets), stop);
    return CleanupProof::allExist(files, assets, existing) ? std::optional(std::move(assets)) : std::nullopt;
  });
  auto assets = co_await proving;
  if (!assets) {
    showCleanupFailure(
        "Some newly imported items no longer appear in Photos. The camera originals were kept.");
    co_return CleanupOutcome();
  }
  requireCleanupAccess(device.volumeURL, token);
  fields_.statusMessage = "Moving synced files to Trash…";
  auto moving =
      background([trash = context_.trash, files = std::move(files), device, assets = std::move(*assets),
                  intents = TrashIntentLog::of(context_.services.history)](const CancellationToken& stop) {
        return trash.moveToTrash(files, device.volumeURL, volumeUUID(device.volumeURL).value_or(""),
                                 device.displayName, assets, intents, stop);
      });
  const TrashMoveResult result = co_await moving;
  context_.record(DiagnosticLog::Event::cleanupFinished,
                  {{"moved_to_trash", static_cast<std::int64_t>(result.records.size())},
                   {"failures", static_cast<std::int64_t>(result.failures.size())},
                   {"recovery_needed", static_cast<std::int64_t>(result.recoveryPaths.size())}});
  auto finishing = finishMove(result, device.displayName, token);
  co_return co_await finishing;
}

Task<CleanupOutcome> CleanupFlow::finishMove(TrashMoveResult result, std::string deviceName,
                                             CancellationToken token) {
  bool isRecorded = true;
  auto recording =
      background([history = context_.services.history, result] { history->addTrash(result.records); });
  try {
    co_await recording;
  } catch (const Error&) {
    isRecorded = false;
  }
  if (!isRecorded) {
    auto undoing = undoMove(std::move(result));
    co_await undoing;
    co_return CleanupOutcome();
  }
  auto trashCount = model_.refreshTrashCount();
  co_await trashCount;
  CleanupOutcome outcome;
  if (!result.recoveryPaths.empty()) {
    showCleanupFailure(CleanupText::recoveryNeeded(result.recoveryPaths.size(), names_));
  } else if (!result.failures.empty()) {
    showCleanupFailure(CleanupText::notAllMoved(names_));
  } else if (result.cancelled || context_.gate.isStopRequested() || token.isCancelled()) {
    context_.showStopped("Cleanup stopped");
  } else {
    outcome.safeToEject = true;
  }
  if (!result.records.empty()) {
    auto notifying =
        context_.notifications.sendMovedToTrash(static_cast<std::int64_t>(result.records.size()), deviceName);
    co_await notifying;
    outcome.didNotify = true;
  }
  co_return outcome;
}

// What can't be tracked goes back. Files that the move itself could not put back remain as well.
Task<> CleanupFlow::undoMove(TrashMoveResult result) {
  auto restoring =
      background([trash = context_.trash, history = context_.services.history, records = result.records] {
        const TrashRestoreResult restored = trash.restoreToOriginalLocations(records);
        forgetIntents(*history, restored.restored);
        return restored;
      });
  const TrashRestoreResult restored = co_await restoring;
  const std::size_t remaining =
      result.records.size() - restored.restored.size() + result.recoveryPaths.size();
  showCleanupFailure(CleanupText::movedButNotRecorded(remaining, names_));
  auto trashCount = model_.refreshTrashCount();
  co_await trashCount;
}

// MARK: Deleting for good, and putting back

Started<CleanupResult> CleanupFlow::clearManagedTrash(DeviceTrashSummary device) {
  return startCleanup(clearTrash(std::move(device)));
}

Started<CleanupResult> CleanupFlow::restoreManagedTrash(DeviceTrashSummary device,
                                                        std::optional<std::set<std::string>> filenames) {
  return startCleanup(restoreTrash(std::move(device), std::move(filenames)));
}

Started<CleanupResult> CleanupFlow::startCleanup(Task<CleanupResult> cleanup) {
  if (!model_.canStartFlow()) {
    return std::nullopt;
  }
  auto started = context_.gate.start(runCleanup(std::move(cleanup)));
  context_.gate.beginCleanup();
  return started;
}

Task<CleanupResult> CleanupFlow::runCleanup(Task<CleanupResult> cleanup) {
  auto attempt = context_.gate.attempt(std::move(cleanup), "Cleanup stopped");
  Attempt<CleanupResult> ended = co_await attempt;
  if (!ended.value && model_.lastError->has_value()) {
    fields_.statusMessage = "Cleanup needs attention";
  }
  co_return std::move(ended).merged();
}

// The files of one device that still lie in the Trash and whose volume may be used.
Task<Records> CleanupFlow::managedTrash(DeviceTrashSummary device) {
  access_.refreshSecurityScopedAccess();
  auto reading = background([history = context_.services.history] { return history->trashRecords(); });
  auto records = co_await reading;
  std::erase_if(records, [&](const ManagedTrashRecord& record) {
    return record.deviceIdentifier.value_or(record.volumeName) != device.id;
  });
  auto checking = background([trash = context_.trash, authorized = authorizedTrashRecords(records)] {
    return trash.availableRecords(authorized);
  });
  co_return co_await checking;
}

Task<CleanupResult> CleanupFlow::clearTrash(DeviceTrashSummary device) {
  auto current = currentToken();
  const CancellationToken token = co_await current;
  auto reading = managedTrash(device);
  auto records = co_await reading;
  if (records.empty()) {
    auto trashCount = model_.refreshTrashCount();
    co_await trashCount;
    fields_.statusMessage = "No tracked camera files to clear";
    co_return CleanupResult();
  }
  token.throwIfCancelled();
  auto question =
      context_.platform.dialogs.ask(CleanupText::deleteQuestion(records.size(), device.displayName, names_));
  const auto answer = co_await question;
  if (answer != 0) {
    fields_.statusMessage = "Camera files kept in Trash";
    co_return CleanupResult{.outcome = {.end = FlowEnd::declined}};
  }
  requireCleanupAccess(records, token);
  auto proving = background([photos = context_.photos, records](const CancellationToken& stop) {
    const auto existing = photos->existingAssetIdentifiers(CleanupProof::identifiers(records), stop);
    return CleanupProof::allExist(records, existing);
  });
  const bool areAllInLibrary = co_await proving;
  if (!areAllInLibrary) {
    showCleanupFailure(CleanupText::noLongerInLibrary(0, names_));
    co_return CleanupResult();
  }
  requireCleanupAccess(records, token);
  fields_.statusMessage = "Clearing camera files from Trash…";
  auto deleting = background([trash = context_.trash, photos = context_.photos,
                              history = context_.services.history,
                              records = std::move(records)](const CancellationToken& stop) {
    const auto imported = history->records();
    const auto isInLibrary = [&](const ManagedTrashRecord& record, const CancellationToken& cancellation) {
      const auto content = CleanupProof::contentInLibrary(record, imported);
      return content && record.photosAssetIdentifier &&
             photos->proveOriginal(*record.photosAssetIdentifier, *content, cancellation);
    };
    return trash.permanentlyDelete(records, isInLibrary, stop);
  });
  TrashDeleteResult result = co_await deleting;
  const auto deletedCount = static_cast<std::int64_t>(result.deleted.size());
  auto finishing = finishDelete(std::move(result), device.displayName, token);
  co_await finishing;
  co_return CleanupResult{.fileCount = deletedCount};
}

Task<> CleanupFlow::finishDelete(TrashDeleteResult result, std::string deviceName, CancellationToken token) {
  context_.record(DiagnosticLog::Event::cleanupFinished,
                  {{"deleted", static_cast<std::int64_t>(result.deleted.size())},
                   {"failures", static_cast<std::int64_t>(result.failures.size() + result.unproven.size())}});
  auto recording = background([history = context_.services.history, result] {
    history->updateTrash(result.deleted, result.relocated);
  });
  try {
    co_await recording;
  } catch (const Error&) {
    context_.showFailure(CleanupText::deletedButNotRecorded(result.deleted.size(), names_));
  }
  auto trashCount = model_.refreshTrashCount();
  co_await trashCount;
  if (!result.unproven.empty()) {
    showCleanupFailure(CleanupText::noLongerInLibrary(result.deleted.size(), names_));
  } else if (!result.failures.empty()) {
    showCleanupFailure(CleanupText::notAllDeleted(names_));
  } else if (result.cancelled || context_.gate.isStopRequested() || token.isCancelled()) {
    context_.showStopped("Cleanup stopped");
  } else {
    auto notifying =
        context_.notifications.sendTrashCleared(static_cast<std::int64_t>(result.deleted.size()), deviceName);
    co_await notifying;
    fields_.statusMessage = std::to_string(result.deleted.size()) + " camera files cleared from Trash";
  }
}

Task<CleanupResult> CleanupFlow::restoreTrash(DeviceTrashSummary device,
                                              std::optional<std::set<std::string>> filenames) {
  auto current = currentToken();
  const CancellationToken token = co_await current;
  auto reading = managedTrash(device);
  auto records = co_await reading;
  if (filenames) {
    std::erase_if(records, [&](const ManagedTrashRecord& record) {
      return !filenames->contains(record.originalFilename);
    });
  }
  if (records.empty()) {
    auto trashCount = model_.refreshTrashCount();
    co_await trashCount;
    fields_.statusMessage = "No tracked camera files to restore";
    co_return CleanupResult();
  }
  requireCleanupAccess(records, token);
  fields_.statusMessage = "Restoring camera files from Trash…";
  auto restoring = background([trash = context_.trash, records = std::move(records)] {
    return trash.restoreToOriginalLocations(records);
  });
  const TrashRestoreResult result = co_await restoring;
  auto recording = background(
      [history = context_.services.history, restored = result.restored] { history->removeTrash(restored); });
  co_await recording;
  auto trashCount = model_.refreshTrashCount();
  co_await trashCount;
  if (!result.failures.empty()) {
    showCleanupFailure(CleanupText::notAllRestored(names_));
  } else {
    fields_.statusMessage = CleanupText::files(result.restored.size()) + " restored to the camera";
  }
  co_return CleanupResult{.fileCount = static_cast<std::int64_t>(result.restored.size())};
}

}  // namespace tolvander::app
