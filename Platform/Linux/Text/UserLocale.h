#pragma once

#include <unicode/locid.h>

namespace tolvander::platform::linux_ {

// The user's locale for one category ("LC_COLLATE"), by the precedence of the environment variables
// (POSIX.1-2017, Base Definitions, 8.2). The root locale where they name no language: unset, "C" and "POSIX".
icu::Locale userLocale(const char* category);

}  // namespace tolvander::platform::linux_
