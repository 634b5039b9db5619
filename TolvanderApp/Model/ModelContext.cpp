#include "TolvanderApp/Model/ModelContext.h"

#include "TolvanderApp/AppDiagnostics.h"
#include "TolvanderApp/Model/ModelParts.h"
#include "TolvanderApp/Model/StatusPresentation.h"

namespace tolvander::app {

ModelContext::ModelContext(AppModel& owner, const ModelFields& ownerFields)
    : model(owner),
      fields(ownerFields),
      platform(owner.platform_),
      services(owner.services_),
      photos(owner.photos_),
      trash(owner.trash_),
      notifications(owner.notifications_),
      securityScopedAccess(owner.securityScopedAccess_),
      gate(owner.gate_),
      tasks(owner.tasks_) {}

void ModelContext::record(DiagnosticLog::Event event, const DiagnosticLog::Metrics& metrics) const {
  model.record(event, metrics);
}

StatusState ModelContext::statusState() const { return model.statusState(); }

void ModelContext::show(const std::exception_ptr& failure) const { model.parts_->failures.show(failure); }

void ModelContext::showFailure(std::string text) const { model.parts_->failures.showText(std::move(text)); }

void ModelContext::showStopped(const std::string& stopped) const {
  model.parts_->failures.showStopped(stopped);
}

void ModelContext::clearFailureAndReceipt() const { model.parts_->failures.clearFailureAndReceipt(); }

void ModelContext::setFailedFile(std::optional<std::string> name) const {
  model.parts_->failures.setFailedFile(std::move(name));
}

void ModelContext::showReceipt(StatusReceipt receipt) const {
  model.parts_->receipts.show(std::move(receipt));
}

void ModelContext::showCompletionIndicator(std::optional<std::chrono::duration<double>> clearAfter) const {
  model.parts_->receipts.showCheckmark(clearAfter);
}

void ModelContext::storeSettings(const std::function<void()>& change) const {
  try {
    change();
  } catch (const Error& error) {
    // Not through `show`: the loss of access that it looks for is itself stored, and would fail here again.
    record(DiagnosticLog::Event::operationFailed, AppDiagnostics::errorMetrics(error));
    model.parts_->failures.present(error);
  }
}

void ModelContext::applyPhotosPermissionStatus(PhotosPermissionStatus status) const {
  model.parts_->permissions.applyPhotosPermissionStatus(status);
}

void ModelContext::requireSetupAfterAccessLoss() const {
  model.parts_->permissions.requireSetupAfterAccessLoss();
}

}  // namespace tolvander::app
