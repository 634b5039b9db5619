#include "Platform/Linux/Text/UserLocale.h"

#include <cstdlib>
#include <string_view>

namespace tolvander::platform::linux_ {

icu::Locale userLocale(const char* category) {
  for (const char* const variable : {"LC_ALL", category, "LANG"}) {
    const char* const value = getenv(variable);
    if (value == nullptr || *value == '\0') {
      continue;
    }
    // "C.UTF-8" and "POSIX" mean byte order and ungrouped digits in the C library. Users expect neither, so
    // the rules of no particular language are used.
    const std::string_view language = std::string_view(value).substr(0, std::string_view(value).find('.'));
    const bool isWithoutLanguage = language == "C" || language == "POSIX" || language == "en_US_POSIX";
    return isWithoutLanguage ? icu::Locale::getRoot() : icu::Locale::createCanonical(value);
  }
  return icu::Locale::getRoot();
}

}  // namespace tolvander::platform::linux_
