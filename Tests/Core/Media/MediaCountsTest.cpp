#include "TolvanderCore/MediaCounts.h"

#include <gtest/gtest.h>

#include <limits>

#include "TolvanderCore/Platform/Text.h"

namespace tolvander {
namespace {

std::string described(std::int64_t photos, std::int64_t videos) {
  return MediaCounts{.photos = photos, .videos = videos}.description();
}

TEST(MediaCounts, describesBothKinds) {
  EXPECT_EQ(described(1, 1), "1 photo and 1 video");
  EXPECT_EQ(described(2, 1), "2 photos and 1 video");
  EXPECT_EQ(described(1, 2), "1 photo and 2 videos");
}

TEST(MediaCounts, doesNotNameWhatThereIsNoneOf) {
  EXPECT_EQ(described(3, 0), "3 photos");
  EXPECT_EQ(described(0, 1), "1 video");
  EXPECT_EQ(described(-1, 2), "2 videos");
  EXPECT_EQ(described(1, -2), "1 photo");
}

TEST(MediaCounts, describesNothingAsNoItems) {
  EXPECT_EQ(described(0, 0), "0 items");
  EXPECT_EQ(described(-1, -1), "0 items");
  EXPECT_EQ(described(0, std::numeric_limits<std::int64_t>::min()), "0 items");
}

TEST(MediaCounts, writesNumbersAsTheUserDoes) {
  EXPECT_EQ(described(1'234'567, 1'000),
            numberText(1'234'567) + " photos and " + numberText(1'000) + " videos");
  EXPECT_NE(described(1'234'567, 0), "1234567 photos");
}

TEST(MediaCounts, ofATotalHasNoPhotosWhereThereAreMoreVideosThanItems) {
  const MediaCounts counts = MediaCounts::ofTotal(3, 5);
  EXPECT_EQ(counts, (MediaCounts{.photos = 0, .videos = 5}));
  EXPECT_EQ(counts.description(), "5 videos");
}

TEST(MediaCounts, ofATotalTakesTheRestForPhotos) {
  EXPECT_EQ(MediaCounts::ofTotal(5, 3), (MediaCounts{.photos = 2, .videos = 3}));
  EXPECT_EQ(MediaCounts::ofTotal(3, 3), (MediaCounts{.photos = 0, .videos = 3}));
  EXPECT_EQ(MediaCounts::ofTotal(0, 0), MediaCounts());
}

TEST(MediaCounts, totalIsTheSum) {
  EXPECT_EQ((MediaCounts{.photos = 2, .videos = 3}).total(), 5);
  EXPECT_EQ(MediaCounts::ofTotal(3, 5).total(), 5);
}

}  // namespace
}  // namespace tolvander
