#include "TolvanderApp/AppDiagnostics.h"
#include "TolvanderApp/AppModel.h"
#include "TolvanderApp/Concurrency/Background.h"
#include "TolvanderApp/Presentation/FailureText.h"
#include "TolvanderCore/Platform/FileSystem.h"

namespace tolvander::app {

namespace {

// For so long an unmount of the path counts as the consequence of our eject.
constexpr std::chrono::seconds ownUnmountTime(300);

}  // namespace

void AppModel::ejectDevice(ConnectedDeviceSummary device) {
  if (!settings().onboardingCompleted() || isEjecting) {
    return;
  }
  if (isSyncing) {
    ejectAfterSync_ = std::move(device);
    statusMessage = isCleaningUp_ ? "Stopping cleanup before eject…" : "Canceling sync…";
    syncCancellationRequested_ = true;
    if (activeSyncTask_) {
      activeSyncTask_->cancel();
    }
    return;
  }
  startEject(std::move(device));
}

void AppModel::startEject(ConnectedDeviceSummary device) {
  ejectTask_ = tasks_.start(eject(std::move(device)));
}

Task<> AppModel::eject(ConnectedDeviceSummary device) {
  auto ejecting = ejectVolume(device.volumeURL, device.displayName, device.isCharmera, true);
  co_await ejecting;
  changes.changed();  // isIdle
}

void AppModel::startDeferredEject() {
  if (ejectAfterSync_ && settings().onboardingCompleted()) {
    auto device = std::move(*ejectAfterSync_);
    ejectAfterSync_.reset();
    startEject(std::move(device));
  }
}

Task<bool> AppModel::ejectVolume(FileURL url, std::string displayName, bool isCharmera,
                                 bool notifyOnSuccess) {
  if (!settings().onboardingCompleted() || isEjecting) {
    co_return false;
  }
  if (!fileExists(url)) {
    auto devices = refreshConnectedDevices();
    co_await devices;
    co_return true;
  }
  const bool hadCheckmark = showsCompletionCheckmark;
  showsCompletionCheckmark = false;
  isEjecting = true;
  statusMessage = "Ejecting " + displayName + "…";
  std::exception_ptr failure;
  auto ejecting = background([&ejector = platform_.ejector, url] { ejector.unmountAndEject(url); });
  try {
    co_await ejecting;
  } catch (const std::exception&) {
    failure = std::current_exception();
  }
  if (failure) {
    showEjectFailure(displayName, failure);
  } else {
    rememberOwnUnmount(url);
  }
  auto devices = refreshConnectedDevices();
  co_await devices;
  if (!failure) {
    auto presenting = presentEject(std::move(displayName), isCharmera, hadCheckmark, notifyOnSuccess);
    co_await presenting;
  }
  isEjecting = false;
  co_return !failure;
}

void AppModel::showEjectFailure(const std::string& displayName, const std::exception_ptr& failure) {
  showFailure(displayName + " could not be ejected: " + failureText(failure));
  record(DiagnosticLog::Event::operationFailed, AppDiagnostics::errorMetrics(failure));
  statusMessage = "Eject needs attention";
}

void AppModel::rememberOwnUnmount(const FileURL& url) {
  const Date now = platform_.mainThread.wallNow();
  std::erase_if(recentlyEjectedVolumes_, [&](const auto& entry) { return entry.second <= now; });
  recentlyEjectedVolumes_.insert_or_assign(url.standardized().path(), now + ownUnmountTime);
}

// The unmount that we caused is told at any wait in here, and must find `isEjecting` still true.
Task<> AppModel::presentEject(std::string displayName, bool isCharmera, bool hadCheckmark,
                              bool notifyOnSuccess) {
  if (!lastError->has_value()) {
    showReceipt({.message = "Ejected " + displayName,
                 .completedAt = platform_.mainThread.wallNow(),
                 .metadataSkippedCount = 0,
                 .metadataSkippedFiles = {},
                 .minimumDisplayDuration = StatusReceipt::afterEject,
                 .id = UUID::random()});
  }
  record(DiagnosticLog::Event::ejectFinished, {{"success", 1}});
  if (hadCheckmark) {
    showCompletionIndicator(StatusReceipt::afterEject);
  }
  if (notifyOnSuccess) {
    auto notifying = notifications_.sendDeviceEjected(isCharmera);
    co_await notifying;
  }
}

}  // namespace tolvander::app
