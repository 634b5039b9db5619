#pragma once

#include <cstddef>
#include <string>

#include "TolvanderApp/Platform/Dialogs.h"
#include "TolvanderCore/SystemNames.h"

// The questions and failures of a cleanup: moving synced camera files to the Trash, deleting them for good,
// and putting them back. All counts are of files.
namespace tolvander::app::CleanupText {

// "3 files"; with `kind` "file" or that word with an adjective, which gains the plural.
std::string files(std::size_t count, const std::string& kind = "file");

Alert moveQuestion(std::size_t count, const std::string& deviceName, const SystemNames& names);
Alert deleteQuestion(std::size_t count, const std::string& deviceName, const SystemNames& names);

// Failures

// `count` files were moved and couldn't be put back, and nothing is known of their place.
std::string recoveryNeeded(std::size_t count, const SystemNames& names);
std::string notAllMoved(const SystemNames& names);
// `remaining` of the moved files couldn't be put back.
std::string movedButNotRecorded(std::size_t remaining, const SystemNames& names);
std::string notAllDeleted(const SystemNames& names);
std::string deletedButNotRecorded(std::size_t deleted, const SystemNames& names);
// Deleting ended after `deleted` files, since the copy of the next one isn't in the library.
std::string noLongerInLibrary(std::size_t deleted, const SystemNames& names);
std::string notAllRestored(const SystemNames& names);

}  // namespace tolvander::app::CleanupText
