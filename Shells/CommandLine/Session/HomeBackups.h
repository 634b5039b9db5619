#pragma once

#include <string>

#include "Platform/Linux/PhotoLibrary/CatalogueBackups.h"
#include "Shells/CommandLine/Session/HomeFiles.h"
#include "TolvanderCore/DiagnosticLog.h"

namespace tolvander::shell {

// The daily backups of one home: of the import history and of the photo library's catalogue. They are made
// when a session begins, on a new day in between, and when it ends, then also in place of those that lack
// what the session has changed. They are no reason for anything to fail: the log has what went wrong. To be
// used by the owner of the home, on one thread.
class HomeBackups {
 public:
  HomeBackups(const HomeFiles& files, DiagnosticLog& log);

  // Makes those of today that are not there yet.
  void makeAtStart() noexcept;
  // The same, once on each day.
  void makeOnNewDay() noexcept;
  // Makes those of today that are not there yet or lack changes. One that failed is not tried again.
  void makeAtEnd() noexcept;

 private:
  void makeMissing(Date now);
  void make(Date now, BackupRule rule);

  FileURL history_;
  platform::linux_::CatalogueBackups catalogue_;
  DiagnosticLog* log_;
  std::string dayOfLastAttempt_;
  bool historyFails_ = false;
  bool catalogueFails_ = false;
};

}  // namespace tolvander::shell
