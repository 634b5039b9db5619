#include "TolvanderApp/Model/ReceiptDisplay.h"

#include <algorithm>
#include <utility>

#include "TolvanderApp/Concurrency/Sleep.h"
#include "TolvanderApp/Model/StatusPresentation.h"

namespace tolvander::app {

namespace {

using Seconds = std::chrono::duration<double>;

}  // namespace

void ReceiptDisplay::show(StatusReceipt receipt) {
  fields_.statusMessage = receipt.message;
  fields_.statusReceipt = std::move(receipt);
  scheduleExpiry();
}

void ReceiptDisplay::discard() {
  cancelExpiry();
  fields_.statusReceipt = std::nullopt;
  fields_.showsCompletionCheckmark = false;
}

void ReceiptDisplay::cancelExpiry() {
  if (expiry_) {
    expiry_->cancel();
    expiry_.reset();
  }
}

bool ReceiptDisplay::isHeld() const {
  return model_.isSyncing || model_.isEjecting || settingsWindowOpen_ || statusMenuOpen_;
}

void ReceiptDisplay::update() {
  if (!model_.statusReceipt->has_value()) {
    return;
  }
  const StatusReceipt& receipt = *model_.statusReceipt.value();
  const Seconds age = context_.platform.mainThread.wallNow() - receipt.completedAt;
  if (isHeld() || age < receipt.minimumDisplayDuration) {
    scheduleExpiry();
    return;
  }
  const bool isStillShown = model_.statusMessage.value() == receipt.message;
  discard();
  if (isStillShown) {
    fields_.statusMessage = model_.idleStatus();
  }
}

void ReceiptDisplay::scheduleExpiry() {
  cancelExpiry();
  if (!model_.statusReceipt->has_value() || isHeld()) {
    return;
  }
  const StatusReceipt& receipt = *model_.statusReceipt.value();
  const Seconds age = context_.platform.mainThread.wallNow() - receipt.completedAt;
  const Seconds delay = std::max(receipt.minimumDisplayDuration - age, Seconds(0));
  expiry_ = context_.tasks.start(expire(std::chrono::ceil<std::chrono::nanoseconds>(delay), receipt.id));
}

Task<> ReceiptDisplay::expire(std::chrono::nanoseconds delay, UUID receiptID) {
  auto waiting = sleepOrCancellation(delay);
  const bool isDue = co_await waiting;
  if (isDue && model_.statusReceipt->has_value() && model_.statusReceipt.value()->id == receiptID) {
    update();
  }
}

void ReceiptDisplay::showCheckmark(std::optional<Seconds> clearAfter) {
  const auto completion = completionPresentation(context_.statusState(), clearAfter);
  fields_.showsCompletionCheckmark = completion.showsCheckmark;
  if (!completion.showsCheckmark) {
    return;
  }
  fields_.statusReceipt.update([&](std::optional<StatusReceipt>& receipt) {
    receipt->minimumDisplayDuration = completion.minimumDisplayDuration;
  });
  scheduleExpiry();
}

void ReceiptDisplay::setSettingsWindowOpen(bool isOpen) {
  settingsWindowOpen_ = isOpen;
  update();
}

void ReceiptDisplay::setStatusMenuOpen(bool isOpen) {
  statusMenuOpen_ = isOpen;
  update();
}

}  // namespace tolvander::app
