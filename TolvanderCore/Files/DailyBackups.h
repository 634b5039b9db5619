#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <vector>

#include "TolvanderCore/Foundation/Date.h"
#include "TolvanderCore/Foundation/FileURL.h"

namespace tolvander {

// When a backup of a file is made.
enum class BackupRule {
  onceADay,      // if the day has no backup yet
  afterChanges,  // also if the file changed after the backup of the day was made, which is then replaced
};

// The daily backups of one file: in the folder "Backups" beside it, named after the file with the day in the
// user's time zone, such as "history 2026-11-20.json". Other files in that folder are left alone. A value;
// safe on every thread.
class DailyBackups {
 public:
  static constexpr std::size_t mostKept = 7;

  explicit DailyBackups(const FileURL& file);

  const FileURL& folder() const { return folder_; }

  // The path of the backup of that day, whether it exists or not.
  FileURL ofDay(Date date) const;

  // The existing backups, newest first, by modification date and then by name. Empty if the folder can't be
  // read.
  std::vector<FileURL> all() const;
  std::optional<FileURL> newest() const;

  // Whether the backup of `day` is to be made, given when the file was last changed.
  bool isDue(Date day, Date changed, BackupRule rule) const;

  // Removes all backups but `made`, which was just made, and the newest six others. Backups dated after
  // `made` were made while the clock was wrong, and count as the oldest. Ignores failures to remove one.
  void removeOldOnes(const FileURL& made) const;

 private:
  FileURL folder_;
  std::string prefix_;
  std::string suffix_;
};

}  // namespace tolvander
