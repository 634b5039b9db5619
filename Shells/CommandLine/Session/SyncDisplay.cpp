#include "Shells/CommandLine/Session/SyncDisplay.h"

#include <unistd.h>

#include <iostream>

#include "Shells/CommandLine/Reports/SyncReport.h"
#include "TolvanderApp/Presentation/Wording.h"

namespace tolvander::shell {

SyncDisplay::SyncDisplay(app::AppModel& model, bool json)
    : model_(model), json_(json), isTerminal_(isatty(STDOUT_FILENO) == 1) {
  statuses_ = model.statusMessage.observe([this](const std::string& status) { show(status); });
  phases_ = model.syncPhase.observe([this](const SyncPhase& phase) { show(phase); });
}

SyncDisplay::~SyncDisplay() { clearBar(); }

void SyncDisplay::showNotification(const app::NotificationRequest& notification, bool json) {
  std::cout << (json ? app::notificationJSON(notification) + "\n" : app::notificationText(notification))
            << std::flush;
}

void SyncDisplay::show(const std::string& status) {
  if (status == lastStatus_) {
    return;
  }
  lastStatus_ = status;
  if (json_) {
    std::cout << app::statusJSON(status) << std::endl;
  } else if (isTerminal_ && importBegan_) {
    showBar(status);
  } else {
    clearBar();
    std::cout << app::printable(status) << std::endl;
  }
}

void SyncDisplay::show(const SyncPhase& phase) {
  if (phase.kind != SyncPhase::Kind::importing) {
    importBegan_.reset();
  } else if (!importBegan_) {
    importBegan_ = Clock::now();
  }
  if (json_) {
    std::cout << app::phaseJSON(phase) << std::endl;
  }
}

void SyncDisplay::showBar(const std::string& status) {
  clearBar();
  std::cout << app::progressBar(model_.syncPhase, status, Clock::now() - *importBegan_) << std::flush;
  hasBar_ = true;
}

void SyncDisplay::clearBar() {
  if (hasBar_) {
    std::cout << "\r\x1b[K" << std::flush;
    hasBar_ = false;
  }
}

}  // namespace tolvander::shell
