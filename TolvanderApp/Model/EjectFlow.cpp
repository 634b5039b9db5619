#include "TolvanderApp/Model/EjectFlow.h"

#include <utility>

#include "TolvanderApp/AppDiagnostics.h"
#include "TolvanderApp/Concurrency/Background.h"
#include "TolvanderApp/Presentation/FailureText.h"
#include "TolvanderCore/Platform/FileSystem.h"

namespace tolvander::app {

namespace {

// For so long an unmount of the path counts as the consequence of our eject.
constexpr std::chrono::seconds ownUnmountTime(300);

}  // namespace

Started<FlowOutcome> EjectFlow::ejectDevice(ConnectedDeviceSummary device) {
  if (!model_.settings().onboardingCompleted() || fields_.isEjecting) {
    return std::nullopt;
  }
  const bool isFlowRunning = context_.gate.isOpen();
  if (isFlowRunning) {
    fields_.statusMessage =
        context_.gate.isCleaningUp() ? "Stopping cleanup before eject…" : "Canceling sync…";
    context_.gate.stopForEject(device);
  }
  const auto started =
      context_.tasks.start(isFlowRunning ? ejectAfterFlow(std::move(device)) : eject(std::move(device)));
  task_ = started;
  return started;
}

Task<FlowOutcome> EjectFlow::eject(ConnectedDeviceSummary device) {
  auto ejecting = ejectVolume(device.volumeURL, device.displayName, device.isCharmera, true);
  const bool isGone = co_await ejecting;
  model_.changes.changed();  // isIdle
  co_return isGone ? FlowOutcome() : FlowOutcome{.end = FlowEnd::failed, .failure = model_.failure()};
}

Task<FlowOutcome> EjectFlow::ejectAfterFlow(ConnectedDeviceSummary device) {
  auto waiting = context_.gate.untilEjectIsDue(device);
  const bool isDue = co_await waiting;
  if (!isDue) {
    co_return FlowOutcome{.end = FlowEnd::stopped};
  }
  auto ejecting = eject(std::move(device));
  co_return co_await ejecting;
}

Task<bool> EjectFlow::ejectVolume(FileURL url, std::string displayName, bool isCharmera,
                                  bool notifyOnSuccess) {
  if (!model_.settings().onboardingCompleted() || fields_.isEjecting) {
    co_return false;
  }
  if (!fileExists(url)) {
    auto devices = model_.refreshConnectedDevices();
    co_await devices;
    co_return true;
  }
  const bool hadCheckmark = fields_.showsCompletionCheckmark;
  fields_.showsCompletionCheckmark = false;
  fields_.isEjecting = true;
  fields_.statusMessage = "Ejecting " + displayName + "…";
  std::exception_ptr failure;
  auto ejecting = background([&ejector = context_.platform.ejector, url] { ejector.unmountAndEject(url); });
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
  auto devices = model_.refreshConnectedDevices();
  co_await devices;
  if (!failure) {
    auto presenting = presentEject(std::move(displayName), isCharmera, hadCheckmark, notifyOnSuccess);
    co_await presenting;
  }
  fields_.isEjecting = false;
  co_return !failure;
}

void EjectFlow::showEjectFailure(const std::string& displayName, const std::exception_ptr& failure) {
  context_.showFailure(displayName +
                       " could not be ejected: " + failureText(failure, context_.platform.systemNames));
  context_.record(DiagnosticLog::Event::operationFailed, AppDiagnostics::errorMetrics(failure));
  fields_.statusMessage = "Eject needs attention";
}

bool EjectFlow::isOwnUnmount(const FileURL& standardizedURL) const {
  const auto ejected = recentlyEjectedVolumes_.find(standardizedURL.path());
  return fields_.isEjecting || (ejected != recentlyEjectedVolumes_.end() &&
                                ejected->second > context_.platform.mainThread.wallNow());
}

void EjectFlow::rememberOwnUnmount(const FileURL& url) {
  const Date now = context_.platform.mainThread.wallNow();
  std::erase_if(recentlyEjectedVolumes_, [&](const auto& entry) { return entry.second <= now; });
  recentlyEjectedVolumes_.insert_or_assign(url.standardized().path(), now + ownUnmountTime);
}

// The unmount that we caused is told at any wait in here, and must find `isEjecting` still true.
Task<> EjectFlow::presentEject(std::string displayName, bool isCharmera, bool hadCheckmark,
                               bool notifyOnSuccess) {
  if (!model_.lastError->has_value()) {
    context_.showReceipt({.message = "Ejected " + displayName,
                          .completedAt = context_.platform.mainThread.wallNow(),
                          .metadataSkippedCount = 0,
                          .metadataSkippedFiles = {},
                          .minimumDisplayDuration = StatusReceipt::afterEject,
                          .id = UUID::random()});
  }
  context_.record(DiagnosticLog::Event::ejectFinished, {{"success", 1}});
  if (hadCheckmark) {
    context_.showCompletionIndicator(StatusReceipt::afterEject);
  }
  if (notifyOnSuccess) {
    auto notifying = context_.notifications.sendDeviceEjected(isCharmera);
    co_await notifying;
  }
}

}  // namespace tolvander::app
