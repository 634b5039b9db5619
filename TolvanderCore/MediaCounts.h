#pragma once

#include <cstdint>
#include <string>

namespace tolvander {

// A number of photos and a number of videos.
struct MediaCounts {
  std::int64_t photos = 0;
  std::int64_t videos = 0;

  // `videos` videos among `total` items; no photos if there are more videos than items.
  static MediaCounts ofTotal(std::int64_t total, std::int64_t videos);

  std::int64_t total() const { return photos + videos; }

  // For the user, with numbers as the user's locale has them: "1 photo and 2 videos", "1,200 photos". What
  // there is none of isn't named; "0 items" where there is nothing.
  std::string description() const;

  friend bool operator==(const MediaCounts&, const MediaCounts&) = default;
};

}  // namespace tolvander
