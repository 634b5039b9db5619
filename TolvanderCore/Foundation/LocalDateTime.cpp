#include "TolvanderCore/Foundation/LocalDateTime.h"

#include <cstddef>

namespace tolvander {

namespace {

bool isDigit(char character) { return character >= '0' && character <= '9'; }

bool hasForm(std::string_view text, std::string_view form) {
  if (text.size() != form.size()) {
    return false;
  }
  for (std::size_t index = 0; index < form.size(); ++index) {
    if (form[index] == '0' ? !isDigit(text[index]) : text[index] != form[index]) {
      return false;
    }
  }
  return true;
}

unsigned number(std::string_view digits) {
  unsigned value = 0;
  for (const char digit : digits) {
    value = value * 10 + static_cast<unsigned>(digit - '0');
  }
  return value;
}

void put(char* last, std::size_t count, unsigned value) {
  for (; count > 0; --count, value /= 10) {
    *last-- = static_cast<char>('0' + value % 10);
  }
}

}  // namespace

std::string localDateTimeText(LocalDateTime time, std::string_view form) {
  const auto midnight = std::chrono::floor<std::chrono::days>(time);
  const std::chrono::year_month_day day(midnight);
  const std::chrono::hh_mm_ss<std::chrono::seconds> timeOfDay(time - midnight);

  std::string text(form);
  put(&text[3], 4, static_cast<unsigned>(static_cast<int>(day.year())));
  put(&text[6], 2, static_cast<unsigned>(day.month()));
  put(&text[9], 2, static_cast<unsigned>(day.day()));
  put(&text[12], 2, static_cast<unsigned>(timeOfDay.hours().count()));
  put(&text[15], 2, static_cast<unsigned>(timeOfDay.minutes().count()));
  put(&text[18], 2, static_cast<unsigned>(timeOfDay.seconds().count()));
  return text;
}

std::optional<LocalDateTime> localDateTimeFromText(std::string_view text, std::string_view form) {
  if (!hasForm(text, form)) {
    return std::nullopt;
  }
  const std::chrono::year_month_day day(std::chrono::year(static_cast<int>(number(text.substr(0, 4)))),
                                        std::chrono::month(number(text.substr(5, 2))),
                                        std::chrono::day(number(text.substr(8, 2))));
  const unsigned hour = number(text.substr(11, 2));
  const unsigned minute = number(text.substr(14, 2));
  const unsigned second = number(text.substr(17, 2));
  if (!day.ok() || hour > 23 || minute > 59 || second > 59) {
    return std::nullopt;
  }
  return std::chrono::sys_days(day) + std::chrono::hours(hour) + std::chrono::minutes(minute) +
         std::chrono::seconds(second);
}

}  // namespace tolvander
