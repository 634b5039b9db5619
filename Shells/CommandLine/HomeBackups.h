#pragma once

#include <string>

#include "Platform/Linux/PhotoLibrary/CatalogueBackups.h"
#include "Shells/CommandLine/HomeFiles.h"
#include "TolvanderCore/DiagnosticLog.h"

namespace tolvander::shell {

// The daily backups of one home: of the import history and of the photo library's catalogue. They are made
// when a session begins and when it ends, and on a new day in between, and are no reason for anything to
// fail: the log has what went wrong. To be used by the owner of the home, on one thread.
class HomeBackups {
 public:
  HomeBackups(const HomeFiles& files, DiagnosticLog& log);

  // Makes those of today that are not there yet.
  void make() noexcept;
  // The same, once on each day.
  void makeOnNewDay() noexcept;

 private:
  FileURL history_;
  platform::linux_::CatalogueBackups catalogue_;
  DiagnosticLog* log_;
  std::string dayOfLastAttempt_;
};

}  // namespace tolvander::shell
