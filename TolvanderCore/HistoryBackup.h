#pragma once

#include "TolvanderCore/Files/DailyBackups.h"
#include "TolvanderCore/Foundation/Date.h"
#include "TolvanderCore/Foundation/FileURL.h"

namespace tolvander {

// Makes the backup of the history file for the day of `now` (DailyBackups) where the rule asks for one, and
// removes old ones. The file is read whole first; one that can't be read is an error, and nothing is made of
// it. Nothing is made of a history that isn't there or in which nothing is yet. Durable when it returns.
// Throws PosixError and DecodingError, and has then left the backups as they were.
void backUpHistory(const FileURL& historyFile, Date now, BackupRule rule = BackupRule::onceADay);

}  // namespace tolvander
