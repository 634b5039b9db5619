#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace tolvander {

// What a scan found out about one library item that this program didn't import.
enum class ExistingLibraryDisposition {
  alreadyRecognized,
  newOnCamera,
  repairableExistingPhoto,
  charmeraVideo,
  ambiguous,
};

// The name of the case as text.
std::string_view rawText(ExistingLibraryDisposition disposition);

struct ExistingLibraryCandidate {
  std::string identifier;
  ExistingLibraryDisposition disposition = ExistingLibraryDisposition::ambiguous;

  friend bool operator==(const ExistingLibraryCandidate&, const ExistingLibraryCandidate&) = default;
};

// The number of items of a scan, by disposition.
struct ExistingLibraryScanSummary {
  std::int64_t alreadyRecognized = 0;
  std::int64_t newOnCamera = 0;
  std::int64_t repairableExistingPhotos = 0;
  std::int64_t charmeraVideos = 0;
  std::int64_t ambiguous = 0;

  static ExistingLibraryScanSummary of(const std::vector<ExistingLibraryCandidate>& candidates);

  friend bool operator==(const ExistingLibraryScanSummary&, const ExistingLibraryScanSummary&) = default;
};

// An operation on the items of a scan.
class ExistingLibraryOperation {
 public:
  enum class Kind { addRecognizedPhotosToAlbum, recognizeExistingCharmeraPhotos, createRepairedCopies };

  static ExistingLibraryOperation addRecognizedPhotosToAlbum(std::string name);
  static ExistingLibraryOperation recognizeExistingCharmeraPhotos();
  static ExistingLibraryOperation createRepairedCopies();

  Kind kind() const { return kind_; }

  // The name of the album; empty for operations without one.
  const std::string& albumName() const { return albumName_; }

  // Whether the operation leaves the library unchanged.
  bool isReadOnly() const { return kind_ == Kind::recognizeExistingCharmeraPhotos; }

  // Whether the operation adds items to the library.
  bool createsPhotosAssets() const { return kind_ == Kind::createRepairedCopies; }

  friend bool operator==(const ExistingLibraryOperation&, const ExistingLibraryOperation&) = default;

 private:
  explicit ExistingLibraryOperation(Kind kind, std::string albumName = {});

  Kind kind_;
  std::string albumName_;
};

}  // namespace tolvander
