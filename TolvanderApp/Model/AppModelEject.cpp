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

Started<FlowOutcome> AppModel::ejectDevice(ConnectedDeviceSummary device) {
  if (!settings().onboardingCompleted() || isEjecting) {
    return std::nullopt;
  }
  const bool isFlowRunning = gate_.isOpen();
  if (isFlowRunning) {
    statusMessage = gate_.isCleaningUp() ? "Stopping cleanup before eject…" : "Canceling sync…";
    gate_.stopForEject(device);
  }
  const auto started =
      tasks_.start(isFlowRunning ? ejectAfterFlow(std::move(device)) : eject(std::move(device)));
  ejectTask_ = started;
  return started;
}

Task<FlowOutcome> AppModel::eject(ConnectedDeviceSummary device) {
  auto ejecting = ejectVolume(device.volumeURL, device.displayName, device.isCharmera, true);
  const bool isGone = co_await ejecting;
  changes.changed();  // isIdle
  co_return isGone ? FlowOutcome() : FlowOutcome{.end = FlowEnd::failed, .failure = failure()};
}

Task<FlowOutcome> AppModel::ejectAfterFlow(ConnectedDeviceSummary device) {
  auto waiting = gate_.untilEjectIsDue(device);
  const bool isDue = co_await waiting;
  if (!isDue) {
    co_return FlowOutcome{.end = FlowEnd::stopped};
  }
  auto ejecting = eject(std::move(device));
  co_return co_await ejecting;
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
