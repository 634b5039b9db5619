#include "Shells/CommandLine/Arguments.h"

#include <filesystem>

#include "TolvanderCore/InternetDateTime.h"

namespace tolvander::shell {

FileURL fileURLFromArgument(const std::string& path) {
  // The trailing slash that a shell's completion adds is no part of a volume's name.
  return FileURL(std::filesystem::absolute(path).string()).standardized();
}

std::optional<Date> dateFromArgument(std::string_view text) {
  const auto date = dateFromInternetDateTime(text);
  return date ? date : dateFromInternetDateTimeWithFractionalSeconds(text);
}

}  // namespace tolvander::shell
