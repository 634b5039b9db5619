#pragma once

#include <chrono>
#include <cstdint>
#include <optional>
#include <vector>

#include "TolvanderCore/FingerprintedMediaFile.h"
#include "TolvanderCore/Foundation/Date.h"

namespace tolvander {

// The budget of one search of the library for camera files.
struct RecognitionPolicy {
  std::int64_t maximumResources = 0;           // reads that one search may make
  std::int64_t maximumBytes = 0;               // that all its reads together may consume
  std::int64_t maximumCandidates = 0;          // different assets that may be loaded to search among
  std::int64_t nearbyCandidatesPerFile = 0;    // with another name, that one file may be compared with
  std::int64_t recentCandidateLimit = 0;       // newest assets that may be loaded for files without dates
  bool allowsNetwork = false;                  // always false: originals are never downloaded
  std::chrono::nanoseconds resourceTimeout{};  // of one read
  std::chrono::nanoseconds passTimeout{};      // of the whole search

  static const RecognitionPolicy automatic;  // of every sync
  static const RecognitionPolicy broader;    // of a check that the user asked for

  // An asset is compared with a file if it was created at most this long before or after one of the file's
  // dates.
  static constexpr std::chrono::seconds searchSpan{259'200};

  // This policy for `fileCount` camera files (a number below 0 counts as 0): more reads and more nearby
  // candidates for each file, but not more bytes or time.
  RecognitionPolicy scaled(std::int64_t fileCount) const;

  // The dates near which the library's item of `file` may have been created: its capture date and its
  // modification date, in ascending order and without repetition. At most two; none if the file has neither.
  static std::vector<Date> searchDates(const FingerprintedMediaFile& file);

  // Seconds between `date` and the nearest of the file's search dates. Absent if it has none.
  static std::optional<double> distance(Date date, const FingerprintedMediaFile& file);

  friend bool operator==(const RecognitionPolicy&, const RecognitionPolicy&) = default;
};

inline constexpr RecognitionPolicy RecognitionPolicy::automatic{
    .maximumResources = 256,
    .maximumBytes = 536'870'912,
    .maximumCandidates = 2'000,
    .nearbyCandidatesPerFile = 256,
    .recentCandidateLimit = 1'000,
    .allowsNetwork = false,
    .resourceTimeout = std::chrono::seconds(15),
    .passTimeout = std::chrono::seconds(60),
};

inline constexpr RecognitionPolicy RecognitionPolicy::broader{
    .maximumResources = 1'024,
    .maximumBytes = 2'147'483'648,
    .maximumCandidates = 5'000,
    .nearbyCandidatesPerFile = 1'024,
    .recentCandidateLimit = 3'000,
    .allowsNetwork = false,
    .resourceTimeout = std::chrono::seconds(30),
    .passTimeout = std::chrono::seconds(120),
};

}  // namespace tolvander
