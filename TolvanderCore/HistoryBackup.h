#pragma once

#include "TolvanderCore/Files/DailyBackups.h"
#include "TolvanderCore/Foundation/Date.h"
#include "TolvanderCore/Foundation/FileURL.h"

namespace tolvander {

// Makes the backup of the history file for the day of `now` if the rule requires one (see DailyBackups), and
// removes old backups. The history is read completely first; an unreadable one is an error and is not backed
// up. A missing or empty history is not backed up either, which is no error. Durable when it returns. Throws
// PosixError and DecodingError; the backups are then unchanged.
void backUpHistory(const FileURL& historyFile, Date now, BackupRule rule = BackupRule::onceADay);

}  // namespace tolvander
