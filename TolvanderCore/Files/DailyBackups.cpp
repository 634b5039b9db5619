#include "TolvanderCore/Files/DailyBackups.h"

#include <algorithm>
#include <functional>
#include <string_view>
#include <utility>

#include "TolvanderCore/Files/DayText.h"
#include "TolvanderCore/Files/FileOperations.h"
#include "TolvanderCore/Foundation/LocalDateTime.h"
#include "TolvanderCore/Foundation/SystemErrors.h"
#include "TolvanderCore/Platform/FileSystem.h"

namespace tolvander {

namespace {

bool isDay(std::string_view text) {
  return localDateTimeFromText(std::string(text) + "T00:00:00Z", "0000-00-00T00:00:00Z").has_value();
}

// The earliest date for a file that was removed in the meantime.
Date modificationDate(const FileURL& file) {
  try {
    return fileResourceValues(file).contentModificationDate.value_or(Date());
  } catch (const PosixError&) {
    return {};
  }
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
  std::ranges::sort(found, std::greater(),
                    [](const FileURL& file) { return std::pair(modificationDate(file), file.path()); });
  return found;
}

std::optional<FileURL> DailyBackups::newest() const {
  const std::vector<FileURL> found = all();
  return found.empty() ? std::nullopt : std::optional(found.front());
}

bool DailyBackups::isDue(Date day, Date changed, BackupRule rule) const {
  const FileURL backup = ofDay(day);
  return !fileExists(backup) || (rule == BackupRule::afterChanges && changed > modificationDate(backup));
}

void DailyBackups::removeOldOnes(const FileURL& made) const {
  std::vector<FileURL> others = all();
  std::erase(others, made);
  const Date now = modificationDate(made);
  std::stable_partition(others.begin(), others.end(),
                        [now](const FileURL& file) { return modificationDate(file) <= now; });
  for (std::size_t index = mostKept - 1; index < others.size(); ++index) {
    removeItemIgnoringErrors(others[index]);
  }
}

}  // namespace tolvander
