#include "TolvanderApp/Model/LoginItemFlow.h"

#include <optional>
#include <string>

#include "TolvanderApp/AppDiagnostics.h"
#include "TolvanderApp/Permissions/LaunchAtLoginService.h"
#include "TolvanderApp/Presentation/FailureText.h"

namespace tolvander::app {

void LoginItemFlow::setEnabled(bool enabled) {
  std::optional<std::string> failure;
  try {
    if (const auto olderFailure = LaunchAtLoginService::setEnabled(context_.platform.loginItem, enabled)) {
      // The user has what they asked for, but may see a window at login that the older item opens.
      context_.record(DiagnosticLog::Event::operationFailed, AppDiagnostics::errorMetrics(olderFailure));
    }
  } catch (const Error& error) {
    failure = "Launch at Login could not be changed: " + failureText(error, context_.platform.systemNames);
  }
  refresh();
  if (failure) {
    context_.showFailure(*failure);
  }
}

void LoginItemFlow::refresh() {
  const LoginItemStatus status = context_.platform.loginItem.status();
  context_.fields.loginStatus = status;
  const bool isOn = LaunchAtLoginService::isOn(status);
  AppSettings& settings = context_.model.settings();
  if (settings.launchAtLogin() != isOn) {
    context_.storeSettings([&] { settings.setLaunchAtLogin(isOn); });
  }
}

}  // namespace tolvander::app
