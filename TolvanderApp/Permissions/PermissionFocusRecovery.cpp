#include "TolvanderApp/PermissionFocusRecovery.h"

#include <cstdint>
#include <utility>

#include "TolvanderApp/Concurrency/Sleep.h"

namespace tolvander::app {

namespace {

using std::chrono::milliseconds;

constexpr milliseconds promptClosingTime(100);
constexpr milliseconds attemptInterval(200);
constexpr int maximumRounds = 6;

}  // namespace

PermissionFocusRecovery::PermissionFocusRecovery(Application& application, MainThread& mainThread,
                                                 Record record)
    : application_(application), record_(std::move(record)), tasks_(mainThread) {}

UUID PermissionFocusRecovery::begin(const std::shared_ptr<Window>& window) {
  if (recoveryTask_) {
    recoveryTask_->cancel();
  }
  const UUID requestID = UUID::random();
  requestID_ = requestID;
  window_ = window;
  if (window) {
    window->setHidesOnDeactivate(false);
  }
  return requestID;
}

void PermissionFocusRecovery::complete(const UUID& requestID) {
  if (requestID_ != requestID || window_.expired()) {
    return;
  }
  if (recoveryTask_) {
    recoveryTask_->cancel();
  }
  recoveryTask_ = tasks_.start(recover());
}

Task<> PermissionFocusRecovery::recover() {
  auto focusing = focus();
  const Result result = co_await focusing;
  record_(DiagnosticLog::Event::permissionFocusRecovery, {{"result", static_cast<std::int64_t>(result)}});
  auto current = currentToken();
  const CancellationToken token = co_await current;
  if (!token.isCancelled()) {  // else another request or recovery has taken its place
    requestID_.reset();
    recoveryTask_.reset();
  }
}

Task<PermissionFocusRecovery::Result> PermissionFocusRecovery::focus() {
  auto closing = sleepOrCancellation(promptClosingTime);
  bool goesOn = co_await closing;
  for (int round = 1; goesOn && isWanted(); ++round) {
    if (!hasFocus()) {
      attempt(round);
    }
    auto pause = sleepOrCancellation(attemptInterval);
    goesOn = co_await pause;
    if (!goesOn || !isWanted()) {
      break;
    }
    if (hasFocus()) {
      co_return Result::focused;
    }
    if (round == maximumRounds) {
      co_return Result::givenUp;
    }
  }
  co_return Result::notWanted;
}

bool PermissionFocusRecovery::isWanted() const {
  const auto window = window_.lock();
  return window && window->isVisible() && !window->isMiniaturized() && !application_.isHidden();
}

bool PermissionFocusRecovery::hasFocus() const {
  const auto window = window_.lock();
  return window && application_.isActive() && window->isKey();
}

void PermissionFocusRecovery::attempt(int number) {
  const auto window = window_.lock();
  application_.activate();
  window->makeKeyAndOrderFront();
  window->orderFrontRegardless();
  record_(DiagnosticLog::Event::permissionFocusRecovery,
          {{"attempt", number}, {"app_active", application_.isActive()}, {"window_key", window->isKey()}});
}

}  // namespace tolvander::app
