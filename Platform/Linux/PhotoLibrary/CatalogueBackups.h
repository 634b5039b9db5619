#pragma once

#include <optional>

#include "Platform/Linux/PhotoLibrary/LibraryFolder.h"
#include "TolvanderCore/Files/DailyBackups.h"
#include "TolvanderCore/Foundation/Date.h"

namespace tolvander::platform::linux_ {

// Daily copies of a library's catalogue, in the library's folder "Backups" (DailyBackups). They have no
// intents: an intent is true only together with the incoming files of its moment.
class CatalogueBackups {
 public:
  explicit CatalogueBackups(const FileURL& library);

  // Makes the copy for the day of `now` where the rule asks for one, and removes old ones. A copy gets its
  // name only after it was read whole. Nothing is made where there is no catalogue, of one that names no
  // asset, and while another process is changing the library. Durable when it returns. Throws DatabaseError,
  // PosixError and PhotosPlatformError, and has then left the backups as they were.
  void makeIfDue(Date now, BackupRule rule = BackupRule::onceADay) const;

  std::optional<FileURL> newest() const { return backups_.newest(); }
  // The newest first.
  std::vector<FileURL> all() const { return backups_.all(); }

 private:
  void make(const FileURL& backup) const;
  Date dateOfLastChange() const;

  LibraryFolder folder_;
  DailyBackups backups_;
};

}  // namespace tolvander::platform::linux_
