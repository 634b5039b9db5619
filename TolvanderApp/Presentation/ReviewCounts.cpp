#include "TolvanderApp/ReviewCounts.h"

#include <algorithm>
#include <iterator>
#include <string_view>
#include <unordered_set>

namespace tolvander::app {

namespace {

// A file that is found by content as well counts as represented.
std::int64_t likelyDuplicates(const CameraLibraryReview& review) {
  std::unordered_set<std::string_view> represented;
  for (const FingerprintedMediaFile& file : review.represented) {
    represented.insert(file.sourceFingerprint);
  }
  return std::ranges::count_if(review.metadataRepresented, [&](const FingerprintedMediaFile& file) {
    return !represented.contains(file.sourceFingerprint);
  });
}

}  // namespace

ReviewCounts ReviewCounts::of(const DeviceLibraryReview& entry) {
  const CameraLibraryReview& review = entry.review;
  return {.files = std::ssize(review.files),
          .inLibrary = std::ssize(review.represented),
          .likelyDuplicates = app::likelyDuplicates(review),
          .recognized = std::ssize(review.recognized) + std::ssize(review.metadataRecognized),
          .missing = std::ssize(review.missingRecorded),
          .newFiles = std::ssize(review.newFiles),
          .unchecked = std::ssize(review.unchecked),
          .interrupted = std::ssize(review.uncertain),
          .finishedByNextSync =
              std::ranges::count_if(review.uncertain,
                                    [&](const FingerprintedMediaFile& file) {
                                      return entry.finishedByNextSync.contains(file.sourceFingerprint);
                                    }),
          .setAside = std::ssize(entry.setAside),
          .reachedLimits = review.budgetExceeded};
}

}  // namespace tolvander::app
