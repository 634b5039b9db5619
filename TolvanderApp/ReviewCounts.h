#pragma once

#include <cstdint>

#include "TolvanderApp/DeviceSummaries.h"

namespace tolvander::app {

// How many files of a camera a check against the library found in which state. Files that are the same
// picture or video count once. A plain value; made on any thread, in a time that grows with the number of
// files.
struct ReviewCounts {
  std::int64_t files = 0;               // all that were looked at
  std::int64_t inLibrary = 0;           // by a record or by content
  std::int64_t likelyDuplicates = 0;    // in the library as far as name and date tell
  std::int64_t recognized = 0;          // found by this check, and worth remembering
  std::int64_t missing = 0;             // recorded once, and gone from the library
  std::int64_t newFiles = 0;            // neither recorded nor found
  std::int64_t unchecked = 0;           // without a verdict
  std::int64_t interrupted = 0;         // of an import that was cut short, and not found in the library
  std::int64_t finishedByNextSync = 0;  // those of the interrupted ones that the library holds prepared
  std::int64_t setAside = 0;            // left out by the user, and not looked at
  bool reachedLimits = false;           // why files are without a verdict: there was no time to look for all

  static ReviewCounts of(const DeviceLibraryReview& entry);

  // How many files could be imported.
  std::int64_t importable() const { return missing + newFiles; }
  // The interrupted ones that the next sync can't finish.
  std::int64_t paused() const { return interrupted - finishedByNextSync; }
  // The model imports nothing from a camera with files that it can't tell.
  bool isComplete() const { return unchecked == 0 && interrupted == 0; }

  friend bool operator==(const ReviewCounts&, const ReviewCounts&) = default;
};

}  // namespace tolvander::app
