#pragma once

#include <cstdint>

#include "TolvanderCore/RecognitionPolicy.h"

namespace tolvander::app {

// How much of the library one search for camera files looks at.
struct LibrarySearchLimits {
  RecognitionPolicy automatic = RecognitionPolicy::automatic;
  RecognitionPolicy broader = RecognitionPolicy::broader;
  std::int64_t assetsPerWindow = 750;  // created within the search span of the files' dates
  // Assets of a window that are looked through, to leave out those of known content and take the others.
  std::int64_t assetsPerWindowWithKnown = 100'000;
};

}  // namespace tolvander::app
