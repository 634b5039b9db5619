#include "Shells/CommandLine/Arguments.h"

#include <algorithm>
#include <cerrno>
#include <filesystem>

#include "TolvanderCore/Foundation/InternetDateTime.h"
#include "TolvanderCore/Platform/FileSystem.h"

namespace tolvander::shell {

FileURL fileURLFromArgument(const std::string& path) {
  const std::filesystem::path absolute = std::filesystem::absolute(path);
  const FileURL url(absolute.string());
  // Behind a link ".." leads elsewhere than its text says. Without it, only what a shell's completion adds
  // goes.
  const bool goesUp = std::ranges::find(absolute, "..") != absolute.end();
  return goesUp ? url.resolvingSymlinks() : url.standardized();
}

FileURL existingFolder(const std::string& path) {
  FileURL url = fileURLFromArgument(path);
  if (!fileResourceValues(url.resolvingSymlinks()).isDirectory) {
    throw PosixError(ENOTDIR, "open", url);
  }
  return url;
}

std::optional<Date> dateFromArgument(std::string_view text) {
  const auto date = dateFromInternetDateTime(text);
  return date ? date : dateFromInternetDateTimeWithFractionalSeconds(text);
}

}  // namespace tolvander::shell
