#pragma once

#include <exception>
#include <optional>
#include <string>

#include "TolvanderApp/Model/CameraAccessFlow.h"
#include "TolvanderApp/Model/MachineEvents.h"
#include "TolvanderApp/Model/ModelContext.h"
#include "TolvanderApp/Model/ReceiptDisplay.h"

namespace tolvander::app {

// Shows what went wrong, and does what a loss of access requires. A cancellation is no failure.
class FailureDisplay {
 public:
  FailureDisplay(ModelContext& context, CameraAccessFlow& access, MachineEvents& events,
                 ReceiptDisplay& receipts)
      : context_(context),
        model_(context.model),
        fields_(context.fields),
        access_(access),
        events_(events),
        receipts_(receipts) {}

  void show(const std::exception_ptr& failure);
  // A text of the flow's own, which no check against the library can settle.
  void showText(std::string text);
  // The status line of a flow that was stopped; where it was stopped by a loss of access, that is shown
  // instead. With an empty text the status line stays.
  void showStopped(const std::string& stopped);
  void showStoppedOrFailure(const std::exception_ptr& failure, const std::string& stopped);
  // Shows the failure and does nothing about a loss of access.
  void present(const std::exception& error);
  void clearFailureAndReceipt();
  // The name of the file that the next failure is about.
  void setFailedFile(std::optional<std::string> name) { failedFile_ = std::move(name); }
  // See AppModel.
  std::optional<FlowFailure> failure() const;
  void lastErrorDidChange();

 private:
  void show(const std::exception& error);
  void showDeniedVolume(const std::string& volumeName);
  bool isVolumeMounted(const std::string& name);

  ModelContext& context_;
  AppModel& model_;
  const ModelFields& fields_;
  CameraAccessFlow& access_;
  MachineEvents& events_;
  ReceiptDisplay& receipts_;
  std::optional<std::string> failedFile_;  // until the failure of its flow is shown
};

}  // namespace tolvander::app
