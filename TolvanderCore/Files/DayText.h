#pragma once

#include <string>

#include "TolvanderCore/Foundation/Date.h"
#include "TolvanderCore/Platform/Calendar.h"

namespace tolvander {

// The day of `date` in `zone` for names of files and folders: "2026-11-20".
std::string dayText(Date date, const TimeZone& zone);

}  // namespace tolvander
