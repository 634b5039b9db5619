#pragma once

#include <string>

#include "TolvanderCore/FileURL.h"

// What helps where a file of ours can't be read: sentences for people, without a line end.
namespace tolvander::app {

std::string historyBackupText(const FileURL& backup);
std::string catalogueBackupText(const FileURL& backup);
std::string catalogueRebuildText();

}  // namespace tolvander::app
