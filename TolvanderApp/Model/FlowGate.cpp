#include "TolvanderApp/Model/FlowGate.h"

namespace tolvander::app {

namespace {

bool isCancellation(const std::exception_ptr& failure) {
  try {
    std::rethrow_exception(failure);
  } catch (const CancellationError&) {
    return true;
  } catch (...) {
    return false;
  }
}

}  // namespace

FlowGate::FlowGate(Observed<bool>& isSyncing, ChangeNotifier& changes, TaskScope& tasks, Owner owner)
    : isSyncing_(isSyncing), changes_(changes), tasks_(tasks), owner_(std::move(owner)) {}

void FlowGate::open(Opening opening) {
  isSyncing_ = true;
  isStopRequested_ = task_ && task_->token().isCancelled();
  isSyncRequested_ = false;  // made before, it is answered by this flow
  if (opening == Opening::clearing) {
    owner_.clearForFlow();
  }
  failureAtOpening_ = owner_.failure();
}

Task<FlowOutcome> FlowGate::attempt(Task<> work, std::string stopped) {
  std::exception_ptr thrown;
  try {
    co_await work;
  } catch (const std::exception&) {
    thrown = std::current_exception();
  }
  co_return conclude(thrown, stopped);
}

FlowOutcome FlowGate::conclude(const std::exception_ptr& thrown, const std::string& stopped) const {
  if (thrown) {
    owner_.show(thrown, stopped);
  }
  if (thrown && !isCancellation(thrown)) {
    return {.end = FlowEnd::failed, .failure = owner_.failure()};
  }
  if (isStopRequested_) {
    return {.end = FlowEnd::stopped};
  }
  return {.end = thrown ? FlowEnd::cameraWentAway : FlowEnd::done};
}

void FlowGate::addShownFailure(FlowOutcome& outcome) const {
  auto failure = owner_.failure();
  if (isOpen() && failure && failure != failureAtOpening_) {
    outcome = {.end = FlowEnd::failed, .failure = std::move(failure)};
  }
}

bool FlowGate::foldSync() {
  isSyncRequested_ = isSyncRequested_ || isBusy();
  return isBusy();
}

void FlowGate::stop() {
  isStopRequested_ = true;
  if (task_) {
    task_->cancel();
  }
}

void FlowGate::stopForEject(const ConnectedDeviceSummary& device) {
  deferredEject_ = device;
  stop();
}

void FlowGate::stopForGood() {
  deferredEject_.reset();
  stop();
}

Task<bool> FlowGate::untilEjectIsDue(ConnectedDeviceSummary device) {
  while (task_) {
    auto ended = task_->join();
    co_await ended;
  }
  const bool isDue = deferredEject_ == device;
  if (isDue) {
    deferredEject_.reset();
  }
  co_return isDue;
}

void FlowGate::beginCleanup() {
  isCleaningUp_ = true;
  ++cleanupCount_;
}

bool FlowGate::close() {
  const bool wasStopped = task_->token().isCancelled();
  isCleaningUp_ = false;
  if (isOpen()) {
    isSyncing_ = false;
  }
  task_.reset();
  changes_.changed();
  return std::exchange(isSyncRequested_, false) && !wasStopped;
}

}  // namespace tolvander::app
