#include "TolvanderCore/DailyBackups.h"

#include <algorithm>
#include <functional>
#include <string_view>

#include "TolvanderCore/DayText.h"
#include "TolvanderCore/FileOperations.h"
#include "TolvanderCore/Platform/FileSystem.h"
#include "TolvanderCore/SystemErrors.h"
#include "TolvanderCore/WallClock.h"

namespace tolvander {

namespace {

bool isDay(std::string_view text) {
  return wallClockTimeFromText(std::string(text) + "T00:00:00Z", "0000-00-00T00:00:00Z").has_value();
}

}  // namespace

DailyBackups::DailyBackups(const FileURL& file)
    : folder_(file.deletingLastPathComponent().appending("Backups")),
      prefix_(std::string(file.stem()) + " "),
      suffix_("." + std::string(file.pathExtension())) {}

FileURL DailyBackups::ofDay(Date date) const {
  return folder_.appending(prefix_ + dayText(date, TimeZone::current()) + suffix_);
}

std::vector<FileURL> DailyBackups::all() const {
  std::vector<FileURL> found;
  try {
    found = contentsOfDirectory(folder_);
  } catch (const PosixError&) {
    return {};
  }
  std::erase_if(found, [this](const FileURL& file) {
    const std::string_view name = file.lastPathComponent();
    return name.size() < prefix_.size() + suffix_.size() || !name.starts_with(prefix_) ||
           !name.ends_with(suffix_) ||
           !isDay(name.substr(prefix_.size(), name.size() - prefix_.size() - suffix_.size()));
  });
  std::ranges::sort(found, std::greater());
  return found;
}

std::optional<FileURL> DailyBackups::newest() const {
  const std::vector<FileURL> found = all();
  return found.empty() ? std::nullopt : std::optional(found.front());
}

void DailyBackups::removeOldOnes() const {
  const std::vector<FileURL> found = all();
  for (std::size_t index = mostKept; index < found.size(); ++index) {
    removeItemIgnoringErrors(found[index]);
  }
}

}  // namespace tolvander
