#include "TolvanderApp/Model/PermissionRequests.h"

namespace tolvander::app {

PermissionRequests::PermissionRequests(ModelContext& context)
    : application_(context.platform.application),
      focusRecovery_(application_, context.platform.mainThread,
                     [&context](DiagnosticLog::Event event, const DiagnosticLog::Metrics& metrics) {
                       context.record(event, metrics);
                     }) {}

UUID PermissionRequests::begin() {
  const UUID requestID = focusRecovery_.begin(askingWindow());
  if (!application_.isActive()) {
    application_.activate();
  }
  return requestID;
}

PresentationState PermissionRequests::presentationState() {
  return application_.presentationState(askingWindow().get());
}

std::shared_ptr<Window> PermissionRequests::askingWindow() {
  const auto key = application_.keyWindow();
  return key ? key : application_.mainWindow();
}

}  // namespace tolvander::app
