#include "Shells/CommandLine/HomeBackups.h"

#include <chrono>
#include <exception>
#include <functional>

#include "TolvanderApp/AppDiagnostics.h"
#include "TolvanderCore/DayText.h"
#include "TolvanderCore/HistoryBackup.h"

namespace tolvander::shell {

namespace {

void attempt(DiagnosticLog& log, const std::function<void()>& backup) {
  try {
    backup();
  } catch (const std::exception& error) {
    log.record(DiagnosticLog::Event::operationFailed, app::AppDiagnostics::errorMetrics(error));
  }
}

std::string today() { return dayText(std::chrono::system_clock::now(), TimeZone::current()); }

}  // namespace

HomeBackups::HomeBackups(const HomeFiles& files, DiagnosticLog& log)
    : history_(files.history), catalogue_(files.library), log_(&log) {}

void HomeBackups::make() noexcept {
  const Date now = std::chrono::system_clock::now();
  dayOfLastAttempt_ = today();
  attempt(*log_, [&] { backUpHistory(history_, now); });
  attempt(*log_, [&] { catalogue_.makeIfDue(now); });
}

void HomeBackups::makeOnNewDay() noexcept {
  if (today() != dayOfLastAttempt_) {
    make();
  }
}

}  // namespace tolvander::shell
