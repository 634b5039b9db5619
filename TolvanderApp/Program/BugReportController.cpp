#include "TolvanderApp/Program/BugReportController.h"

#include <utility>

#include "TolvanderApp/Concurrency/Background.h"
#include "TolvanderCore/Foundation/Error.h"

namespace tolvander::app {

namespace {

constexpr std::size_t showLogsButton = 0;
constexpr std::size_t copyEmailButton = 1;

}  // namespace

AlertPanel bugReportPanel(const LogFiles& files, const std::string& supportAddress) {
  return {.style = Alert::Style::informational,
          .message = "Report a bug",
          .informativeText = files
                                 ? "Email " + supportAddress +
                                       " with a description and your logs. Logs exclude media and filenames."
                                 : "Logs couldn’t be opened. Describe the issue to " + supportAddress + ".",
          .buttons = {{.title = "Show Logs", .isEnabled = files && !files->empty()},
                      {.title = "Copy Email", .accessibilityLabel = "Copy support email address"},
                      {.title = "Cancel", .isCancel = true}}};
}

BugReportController::BugReportController(Surroundings surroundings, std::shared_ptr<DiagnosticLog> log,
                                         std::string supportAddress)
    : surroundings_(surroundings),
      log_(std::move(log)),
      supportAddress_(std::move(supportAddress)),
      tasks_(surroundings.mainThread) {}

void BugReportController::show() {
  if (std::exchange(isPresenting_, true)) {
    return;
  }
  log_->record(DiagnosticLog::Event::reportOpened);
  tasks_.start(present());
}

Task<> BugReportController::present() {
  auto listing = listFiles(log_);
  const LogFiles files = co_await listing;
  auto running = surroundings_.panels.run(panel(files));
  std::optional<std::size_t> button;  // absent where the panel went without an answer
  try {
    button = co_await running;
  } catch (const std::exception&) {
  }
  isPresenting_ = false;
  if (button == showLogsButton && files) {
    surroundings_.fileViewer.reveal(*files);
  }
}

// On a worker, because another process that writes to the log can hold it up.
Task<LogFiles> BugReportController::listFiles(std::shared_ptr<DiagnosticLog> log) {
  auto listing = background([log = std::move(log)] { return log->files(); });
  try {
    co_return co_await listing;
  } catch (const Error&) {
  }
  co_return std::nullopt;
}

AlertPanel BugReportController::panel(const LogFiles& files) {
  AlertPanel panel = bugReportPanel(files, supportAddress_);
  // The panel may be on the screen for longer than this object lives.
  panel.buttons.at(copyEmailButton).action = [&clipboard = surroundings_.clipboard,
                                              address = supportAddress_] {
    clipboard.setText(address);
    return std::string("Copied");
  };
  panel.sheetOf = windowForSheet();
  return panel;
}

std::shared_ptr<Window> BugReportController::windowForSheet() {
  const auto window = surroundings_.application.keyWindow();
  return window && !window->hasAttachedSheet() ? window : nullptr;
}

}  // namespace tolvander::app
