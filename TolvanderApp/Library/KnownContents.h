#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <unordered_set>
#include <vector>

#include "TolvanderApp/Platform/PhotoLibrary.h"
#include "TolvanderCore/Concurrency/Cancellation.h"
#include "TolvanderCore/ImportRecords.h"
#include "TolvanderCore/OfflinePhotoRecognizer.h"

namespace tolvander::app {

// What the history knows of the bytes of assets, so that they needn't be read. The content of an asset is
// known if a record that was made by content holds the hash of its bytes, and the library says that its only
// file still has that hash and is unchanged. Used by one thread at a time.
class KnownContents {
 public:
  // What a read of an asset's one file would give.
  struct Content {
    OfflinePhotoRecognizer::Identity identity;
    std::int64_t byteCount = 0;

    friend bool operator==(const Content&, const Content&) = default;
  };

  // `library` must outlive this. Where payloads are compared, a JPEG is known only with its payload: without
  // it a file of the same picture would be taken for another.
  KnownContents(PhotoLibrary& library, ImportRecords records, bool comparesPayloads);

  // Asks the library about those of the assets that are recorded, each once. Throws PhotosPlatformError and
  // CancellationError.
  void learn(const std::vector<PhotosAsset>& assets, const CancellationToken& token);

  // Whether the library has answered at all.
  bool canBeKnown() const { return isAnswered_; }

  // Of the asset's one file, which has this place; null where it isn't known.
  const Content* find(const std::string& assetIdentifier, std::int64_t resourceIndex) const;
  bool isKnown(const std::string& assetIdentifier) const { return contents_.contains(assetIdentifier); }

  // What a read of the original would give; the payload may be missing where payloads aren't compared. Absent
  // where this record doesn't tell.
  static std::optional<OfflinePhotoRecognizer::Identity> identity(const ImportRecord& record,
                                                                  const PhotosUnchangedOriginal& original,
                                                                  bool comparesPayloads);

 private:
  void indexRecords();
  void learn(const std::vector<std::string>& recorded);

  struct Known {
    std::int64_t resourceIndex = 0;
    Content content;
  };

  PhotoLibrary& library_;
  const ImportRecords records_;
  const bool comparesPayloads_;
  std::unordered_multimap<std::string_view, const ImportRecord*> byAsset_;  // into records_
  bool isAnswered_ = false;
  std::unordered_set<std::string> asked_;  // assets
  std::unordered_map<std::string, Known> contents_;
};

}  // namespace tolvander::app
