#pragma once

#include <optional>
#include <string>

#include "TolvanderCore/Foundation/FileURL.h"

// What helps where a file of ours can't be read: sentences for people, without a line end.
namespace tolvander::app {

std::string historyBackupText(const FileURL& backup);
// `backup` is the newest one of the catalogue, where there is one.
std::string catalogueRebuildText(const std::optional<FileURL>& backup);

}  // namespace tolvander::app
