#include "TolvanderCore/RecognitionPolicy.h"

#include <algorithm>
#include <chrono>

namespace tolvander {

RecognitionPolicy RecognitionPolicy::scaled(std::int64_t fileCount) const {
  constexpr std::int64_t countedFiles = 2'048;  // the limits don't rise for more files
  const std::int64_t readsPerFile = recentCandidateLimit > automatic.recentCandidateLimit ? 4 : 2;
  const std::int64_t files = std::clamp<std::int64_t>(fileCount, 0, countedFiles);
  RecognitionPolicy scaled = *this;
  scaled.maximumResources = std::max(files * readsPerFile, maximumResources);
  scaled.nearbyCandidatesPerFile = std::max(scaled.maximumResources, nearbyCandidatesPerFile);
  scaled.allowsNetwork = false;
  return scaled;
}

std::vector<Date> RecognitionPolicy::searchDates(const FingerprintedMediaFile& file) {
  std::vector<Date> dates;
  for (const std::optional<Date>& date : {file.captureDate, file.file.modifiedAt}) {
    if (date) {
      dates.push_back(*date);
    }
  }
  std::sort(dates.begin(), dates.end());
  dates.erase(std::unique(dates.begin(), dates.end()), dates.end());
  return dates;
}

std::optional<double> RecognitionPolicy::distance(Date date, const FingerprintedMediaFile& file) {
  std::optional<double> nearest;
  for (const Date other : searchDates(file)) {
    const double seconds = std::chrono::duration<double>(distanceBetween(date, other)).count();
    nearest = std::min(seconds, nearest.value_or(seconds));
  }
  return nearest;
}

}  // namespace tolvander
