#include "TolvanderApp/Model/CameraRuns.h"

#include <algorithm>
#include <utility>

#include "TolvanderApp/AppDiagnostics.h"
#include "TolvanderApp/Concurrency/Background.h"
#include "TolvanderApp/Model/CameraSync.h"

namespace tolvander::app {

namespace {

std::string importingStatus(std::int64_t completed, std::int64_t total) {
  return std::to_string(completed) + " of " + std::to_string(total) + " synced…";
}

// Absent where the phase leaves the status line as it is.
std::optional<std::string> statusOf(const SyncPhase& phase) {
  switch (phase.kind) {
    case SyncPhase::Kind::checkingAccess:
      return "Checking access…";
    case SyncPhase::Kind::fingerprinting:
      return "Reading camera files…";
    case SyncPhase::Kind::recognizing:
      return "Checking Photos…";
    case SyncPhase::Kind::preparing:
      return "Preparing imports…";
    case SyncPhase::Kind::importing:
      return importingStatus(phase.completed, phase.total);
    case SyncPhase::Kind::album:
      return "Checking album…";
    case SyncPhase::Kind::finished:
      break;
  }
  return std::nullopt;
}

CameraRun::End runEnd(FlowEnd end) {
  switch (end) {
    case FlowEnd::done:
    case FlowEnd::declined:
      return CameraRun::End::done;
    case FlowEnd::stopped:
      return CameraRun::End::stopped;
    case FlowEnd::cameraWentAway:
      return CameraRun::End::cameraWentAway;
    case FlowEnd::failed:
      break;
  }
  return CameraRun::End::failed;
}

}  // namespace

SyncCoordinator CameraRuns::coordinator(const DetectedDevice& device, const CancellationToken& token) {
  const Platform& platform = context_.platform;
  const auto showPhase = [this, weak = model_.weak_from_this(),
                          &mainThread = platform.mainThread](const SyncPhase& phase) {
    mainThread.post([this, weak, phase] {
      if (const auto model = weak.lock()) {
        setSyncPhase(phase);
      }
    });
  };
  return CameraSync::coordinator({.mediaStaging = context_.services.mediaStaging,
                                  .photos = context_.photos,
                                  .history = context_.services.history,
                                  .library = platform.photoLibrary,
                                  .volumes = platform.volumes,
                                  .mainThread = platform.mainThread},
                                 device.volumeURL, {.import = importObserver(), .phase = showPhase}, token);
}

// Where no camera is connected, whose run would do so first. A failure is shown by the next run of a camera,
// which completes first.
Task<> CameraRuns::finishPreparedImports() {
  auto completing = background([photos = context_.photos, history = context_.services.history] {
    if (history->knownIdentity()) {  // nothing was prepared before it was made
      CameraSync::completeImports(*photos, *history);
    }
  });
  try {
    co_await completing;
  } catch (const std::exception&) {
  }
}

LastSyncReceipt CameraRuns::saveReceipt(const DetectedDevice& device,
                                        const std::vector<FingerprintedMediaFile>& imported) {
  LastSyncReceipt receipt{
      .count = static_cast<std::int64_t>(imported.size()),
      .deviceName = device.displayName,
      .completedAt = context_.platform.mainThread.wallNow(),
      .videoCount = std::ranges::count_if(imported, [](const auto& file) { return file.file.isVideo(); })};
  context_.storeSettings([&] { model_.settings().setLastSyncReceipt(receipt); });
  return receipt;
}

CameraImport::Observer CameraRuns::importObserver() {
  const auto callModel = [this, weak = model_.weak_from_this(),
                          &mainThread = context_.platform.mainThread](auto function) {
    return mainThread.call([&] {
      const auto model = weak.lock();  // which owns this object
      return model ? function(*this) : false;
    });
  };
  return {
      .mayGoOn =
          [callModel] {
            return callModel([](const CameraRuns& runs) { return !runs.context_.gate.isStopRequested(); });
          },
      .progress =
          [callModel](std::int64_t completed, std::int64_t total) {
            return callModel(
                [completed, total](CameraRuns& runs) { return runs.showImportProgress(completed, total); });
          },
      .imported =
          [callModel](const MediaCounts& counts) {
            callModel([counts](CameraRuns& runs) {
              runs.change([counts](CameraRun& run) {
                run.imported.photos += counts.photos;
                run.imported.videos += counts.videos;
              });
              return true;
            });
          },
      .failedFile = failedFileObserver()};
}

std::function<void(const CameraMediaFile& file)> CameraRuns::failedFileObserver() {
  context_.setFailedFile(std::nullopt);
  return [this, weak = model_.weak_from_this(),
          &mainThread = context_.platform.mainThread](const CameraMediaFile& file) {
    mainThread.call([&] {
      if (const auto model = weak.lock()) {
        context_.setFailedFile(file.filename);
      }
    });
  };
}

void CameraRuns::begin(const DetectedDevice& device, const std::vector<std::string>& setAside) {
  fields_.cameraRuns.update([&](auto& runs) {
    runs.push_back({.volumeURL = device.volumeURL,
                    .name = device.displayName,
                    .fileCount = static_cast<std::int64_t>(device.files.size()),
                    .newCount = std::nullopt,
                    .imported = {},
                    .setAside = setAside,
                    .likelyCopies = {},
                    .end = CameraRun::End::running});
  });
}

void CameraRuns::change(const std::function<void(CameraRun& run)>& change) {
  fields_.cameraRuns.update([&](auto& runs) {
    if (!runs.empty()) {
      change(runs.back());
    }
  });
}

void CameraRuns::end(FlowEnd end) {
  change([end](CameraRun& run) { run.end = runEnd(end); });
}

bool CameraRuns::showImportProgress(std::int64_t completed, std::int64_t total) {
  fields_.syncPhase = SyncPhase::importing(completed, total);
  change([total](CameraRun& run) { run.newCount = total; });
  fields_.statusMessage =
      context_.gate.isStopRequested() ? "Finishing before eject…" : importingStatus(completed, total);
  return !context_.gate.isStopRequested();
}

void CameraRuns::setSyncPhase(const SyncPhase& phase) {
  context_.record(DiagnosticLog::Event::syncPhaseChanged, AppDiagnostics::phaseMetrics(phase));
  fields_.syncPhase = phase;
  if (phase.kind == SyncPhase::Kind::album) {
    change([](CameraRun& run) { run.newCount = run.newCount.value_or(0); });  // nothing was new
  }
  if (auto status = statusOf(phase)) {
    fields_.statusMessage = std::move(*status);
  }
}

}  // namespace tolvander::app
