#include "Shells/CommandLine/Session/HomeBackups.h"

#include <chrono>
#include <exception>
#include <functional>

#include "TolvanderApp/AppDiagnostics.h"
#include "TolvanderCore/Files/DayText.h"
#include "TolvanderCore/HistoryBackup.h"

namespace tolvander::shell {

namespace {

// Whether it fails.
bool fails(DiagnosticLog& log, const std::function<void()>& backup) {
  try {
    backup();
    return false;
  } catch (const std::exception& error) {
    log.record(DiagnosticLog::Event::operationFailed, app::AppDiagnostics::errorMetrics(error));
    return true;
  }
}

std::string dayOf(Date now) { return dayText(now, TimeZone::current()); }

}  // namespace

HomeBackups::HomeBackups(const HomeFiles& files, DiagnosticLog& log)
    : history_(files.history), catalogue_(files.library), log_(&log) {}

void HomeBackups::makeAtStart() noexcept { makeMissing(std::chrono::system_clock::now()); }

void HomeBackups::makeOnNewDay() noexcept {
  const Date now = std::chrono::system_clock::now();
  if (dayOf(now) != dayOfLastAttempt_) {
    makeMissing(now);
  }
}

void HomeBackups::makeAtEnd() noexcept { make(std::chrono::system_clock::now(), BackupRule::afterChanges); }

void HomeBackups::makeMissing(Date now) {
  dayOfLastAttempt_ = dayOf(now);
  historyFails_ = false;
  catalogueFails_ = false;
  make(now, BackupRule::onceADay);
}

void HomeBackups::make(Date now, BackupRule rule) {
  historyFails_ = historyFails_ || fails(*log_, [&] { backUpHistory(history_, now, rule); });
  catalogueFails_ = catalogueFails_ || fails(*log_, [&] { catalogue_.makeIfDue(now, rule); });
}

}  // namespace tolvander::shell
