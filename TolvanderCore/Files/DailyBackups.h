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
  onceADay,      // where its day has none
  afterChanges,  // also in place of its day's, where the file was changed after that was made
};

// Where the daily copies of one file lie: in the folder "Backups" beside it, under its name with the day in
// the user's zone, such as "history 2026-11-20.json". Other files there are left alone. A value; safe on
// every thread.
class DailyBackups {
 public:
  static constexpr std::size_t mostKept = 7;

  explicit DailyBackups(const FileURL& file);

  const FileURL& folder() const { return folder_; }

  // The copy of that day, whether it is there or not.
  FileURL ofDay(Date date) const;

  // The newest first, by modification date and then by name. None where the folder can't be read.
  std::vector<FileURL> all() const;
  std::optional<FileURL> newest() const;

  // Whether the backup of that day is to be made of a file that was changed at `changed`.
  bool isDue(Date day, Date changed, BackupRule rule) const;

  // Removes all but the newest seven, of which `made`, just made, is the newest. Those that are dated later
  // come from a time when the clock was ahead, and count as the oldest. One that can't be removed stays.
  void removeOldOnes(const FileURL& made) const;

 private:
  FileURL folder_;
  std::string prefix_;
  std::string suffix_;
};

}  // namespace tolvander
