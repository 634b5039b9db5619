#pragma once

#include <cstdint>
#include <string>

namespace tolvander {

// So many photos and so many videos.
struct MediaCounts {
  std::int64_t photos = 0;
  std::int64_t videos = 0;

  // So many videos among `total` items. Where there are more videos than items, no photos.
  static MediaCounts ofTotal(std::int64_t total, std::int64_t videos);

  std::int64_t total() const { return photos + videos; }

  // For the user, with numbers as the user's locale has them: "1 photo and 2 videos", "1,200 photos". What
  // there is none of isn't named; "0 items" where there is nothing.
  std::string description() const;

  friend bool operator==(const MediaCounts&, const MediaCounts&) = default;
};

}  // namespace tolvander
