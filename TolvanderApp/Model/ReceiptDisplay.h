#pragma once

#include <chrono>
#include <optional>

#include "TolvanderApp/Model/ModelContext.h"

namespace tolvander::app {

// Shows the result of finished work for its time, and removes it then. The time doesn't end while a flow or
// an eject runs, or while the settings window or the status menu is open.
class ReceiptDisplay {
 public:
  explicit ReceiptDisplay(ModelContext& context)
      : context_(context), model_(context.model), fields_(context.fields) {}

  void show(StatusReceipt receipt);
  void discard();
  // The checkmark of the completion, where the result allows one. `clearAfter`: how long the result of an
  // eject stays at least.
  void showCheckmark(std::optional<std::chrono::duration<double>> clearAfter);
  // Removes the result when its time is over, else waits for that.
  void update();
  void setSettingsWindowOpen(bool isOpen);
  void setStatusMenuOpen(bool isOpen);

 private:
  bool isHeld() const;
  void scheduleExpiry();
  Task<> expire(std::chrono::nanoseconds delay, UUID receiptID);
  void cancelExpiry();

  ModelContext& context_;
  AppModel& model_;
  const ModelFields& fields_;
  std::optional<TaskHandle> expiry_;
  bool settingsWindowOpen_ = false;
  bool statusMenuOpen_ = false;
};

}  // namespace tolvander::app
