#pragma once

#include <optional>

#include "Platform/Linux/PhotoLibrary/LibraryFolder.h"
#include "TolvanderCore/Files/DailyBackups.h"
#include "TolvanderCore/Foundation/Date.h"

namespace tolvander::platform::linux_ {

// Daily copies of a library's catalogue, in the library's folder "Backups" (DailyBackups). They contain no
// intents, because an intent is only valid together with the incoming files of that moment.
class CatalogueBackups {
 public:
  explicit CatalogueBackups(const FileURL& library);

  // Makes the backup for the day of `now` if the rule requires one, and removes old ones. The backup gets
  // its name only after it was verified. Does nothing if the catalogue is missing or has no assets, or while
  // another process is changing the library. Durable when it returns. Throws DatabaseError, PosixError and
  // PhotosPlatformError, and then leaves the existing backups unchanged.
  void makeIfDue(Date now, BackupRule rule = BackupRule::onceADay) const;

  std::optional<FileURL> newest() const { return backups_.newest(); }
  // Newest first.
  std::vector<FileURL> all() const { return backups_.all(); }

 private:
  void make(const FileURL& backup) const;
  Date dateOfLastChange() const;

  LibraryFolder folder_;
  DailyBackups backups_;
};

}  // namespace tolvander::platform::linux_
