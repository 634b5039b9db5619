#include "TolvanderCore/Sync/ExistingLibraryScan.h"

#include <algorithm>
#include <utility>

namespace tolvander {

std::string_view rawText(ExistingLibraryDisposition disposition) {
  using Disposition = ExistingLibraryDisposition;
  switch (disposition) {
    case Disposition::alreadyRecognized:
      return "alreadyRecognized";
    case Disposition::newOnCamera:
      return "newOnCamera";
    case Disposition::repairableExistingPhoto:
      return "repairableExistingPhoto";
    case Disposition::charmeraVideo:
      return "charmeraVideo";
    case Disposition::ambiguous:
      break;
  }
  return "ambiguous";
}

ExistingLibraryScanSummary ExistingLibraryScanSummary::of(
    const std::vector<ExistingLibraryCandidate>& candidates) {
  const auto count = [&candidates](ExistingLibraryDisposition disposition) -> std::int64_t {
    return std::count_if(
        candidates.begin(), candidates.end(),
        [=](const ExistingLibraryCandidate& candidate) { return candidate.disposition == disposition; });
  };
  return {.alreadyRecognized = count(ExistingLibraryDisposition::alreadyRecognized),
          .newOnCamera = count(ExistingLibraryDisposition::newOnCamera),
          .repairableExistingPhotos = count(ExistingLibraryDisposition::repairableExistingPhoto),
          .charmeraVideos = count(ExistingLibraryDisposition::charmeraVideo),
          .ambiguous = count(ExistingLibraryDisposition::ambiguous)};
}

ExistingLibraryOperation ExistingLibraryOperation::addRecognizedPhotosToAlbum(std::string name) {
  return ExistingLibraryOperation(Kind::addRecognizedPhotosToAlbum, std::move(name));
}

ExistingLibraryOperation ExistingLibraryOperation::recognizeExistingCharmeraPhotos() {
  return ExistingLibraryOperation(Kind::recognizeExistingCharmeraPhotos);
}

ExistingLibraryOperation ExistingLibraryOperation::createRepairedCopies() {
  return ExistingLibraryOperation(Kind::createRepairedCopies);
}

ExistingLibraryOperation::ExistingLibraryOperation(Kind kind, std::string albumName)
    : kind_(kind), albumName_(std::move(albumName)) {}

}  // namespace tolvander
