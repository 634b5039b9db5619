#include "TolvanderCore/MediaCounts.h"

#include <algorithm>

#include "TolvanderCore/Counted.h"

namespace tolvander {

MediaCounts MediaCounts::ofTotal(std::int64_t total, std::int64_t videos) {
  return {.photos = std::max<std::int64_t>(total - videos, 0), .videos = videos};
}

std::string MediaCounts::description() const {
  const std::string photoText = photos < 1 ? "" : counted(photos, "photo", "photos");
  const std::string videoText = videos < 1 ? "" : counted(videos, "video", "videos");
  if (photoText.empty() && videoText.empty()) {
    return "0 items";
  }
  const bool hasBoth = !photoText.empty() && !videoText.empty();
  return photoText + (hasBoth ? " and " : "") + videoText;
}

}  // namespace tolvander
