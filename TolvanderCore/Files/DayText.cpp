#include "TolvanderCore/Files/DayText.h"

#include <algorithm>

namespace tolvander {

std::string dayText(Date date, const TimeZone& zone) {
  constexpr std::size_t lengthOfDay = 10;
  std::string day = exifDateText(date, zone).substr(0, lengthOfDay);
  std::replace(day.begin(), day.end(), ':', '-');
  return day;
}

}  // namespace tolvander
