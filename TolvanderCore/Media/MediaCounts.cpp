#include "TolvanderCore/MediaCounts.h"

#include <algorithm>
#include <string_view>

#include "TolvanderCore/Platform/Text.h"

namespace tolvander {

namespace {

std::string counted(std::int64_t count, std::string_view thing) {
  if (count < 1) {
    return {};
  }
  return numberText(count).append(" ").append(thing).append(count == 1 ? "" : "s");
}

}  // namespace

MediaCounts MediaCounts::ofTotal(std::int64_t total, std::int64_t videos) {
  return {.photos = std::max<std::int64_t>(total - videos, 0), .videos = videos};
}

std::string MediaCounts::description() const {
  const std::string photoText = counted(photos, "photo");
  const std::string videoText = counted(videos, "video");
  if (photoText.empty() && videoText.empty()) {
    return "0 items";
  }
  const bool hasBoth = !photoText.empty() && !videoText.empty();
  return photoText + (hasBoth ? " and " : "") + videoText;
}

}  // namespace tolvander
