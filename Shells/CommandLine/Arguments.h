#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "TolvanderCore/Foundation/Date.h"
#include "TolvanderCore/Foundation/FileURL.h"

namespace tolvander::shell {

// A path as a person types it: relative paths count from the current folder.
FileURL fileURLFromArgument(const std::string& path);

// The same for a folder that has to be there. Throws PosixError (ENOENT, ENOTDIR).
FileURL existingFolder(const std::string& path);

// An instant as a person types it: InternetDateTime.h's forms, with a fraction of a second or without. Absent
// for any other text.
std::optional<Date> dateFromArgument(std::string_view text);

}  // namespace tolvander::shell
