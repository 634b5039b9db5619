#include "Shells/CommandLine/Arguments.h"

#include <algorithm>
#include <filesystem>

#include "TolvanderCore/InternetDateTime.h"

namespace tolvander::shell {

FileURL fileURLFromArgument(const std::string& path) {
  const std::filesystem::path absolute = std::filesystem::absolute(path);
  const FileURL url(absolute.string());
  // Behind a link ".." leads elsewhere than its text says. Without it, only what a shell's completion adds
  // goes.
  const bool goesUp = std::ranges::find(absolute, "..") != absolute.end();
  return goesUp ? url.resolvingSymlinks() : url.standardized();
}

std::optional<Date> dateFromArgument(std::string_view text) {
  const auto date = dateFromInternetDateTime(text);
  return date ? date : dateFromInternetDateTimeWithFractionalSeconds(text);
}

}  // namespace tolvander::shell
