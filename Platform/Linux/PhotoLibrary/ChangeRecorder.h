#pragma once

#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "Platform/Linux/PhotoLibrary/CataloguePool.h"
#include "TolvanderApp/Platform/PhotoLibrary.h"

namespace tolvander::platform::linux_ {

// An asset to be created from a file.
struct NewOriginal {
  std::string identifier;
  FileURL source;
  app::PhotosMediaType type = app::PhotosMediaType::image;
  std::optional<Date> creationDate;  // replaces the one in the file
  // The fingerprint (FileFingerprinter) that the file must have.
  std::optional<std::string> sha256 = std::nullopt;
};

// The identifiers of the assets that files were prepared as. Safe on every thread.
class PreparedFiles {
 public:
  void add(const FileURL& file, const std::string& assetIdentifier);
  // The asset that the file was prepared as, and forgets it. A new identifier if it wasn't prepared.
  std::string assetIdentifierFor(const FileURL& file);

 private:
  std::mutex mutex_;
  std::map<std::string, std::string> assetIdentifiers_;  // by path
};

struct AlbumAddition {
  std::string album;
  std::vector<std::string> assets;
};

// The requests of a change block, in their order.
struct RecordedChange {
  std::vector<NewOriginal> originals;
  std::vector<app::PhotosAlbum> albums;
  std::vector<AlbumAddition> additions;

  bool isEmpty() const { return originals.empty() && albums.empty() && additions.empty(); }
};

// Records the requests of a change block. Refuses files that can't be read and albums that don't exist.
class ChangeRecorder final : public app::PhotosChanges {
 public:
  ChangeRecorder(CataloguePool& catalogues, PreparedFiles& prepared);
  ~ChangeRecorder() override;

  app::PhotosAssetCreationRequest* creationRequestForAssetFromImage(const FileURL& file) override;
  app::PhotosAssetCreationRequest* creationRequestForAssetFromVideo(const FileURL& file) override;
  app::PhotosAlbumCreationRequest* creationRequestForAlbum(const std::string& title) override;
  app::PhotosAlbumChangeRequest* changeRequest(const app::PhotosAlbum& album,
                                               const std::vector<app::PhotosAsset>& assets) override;

  RecordedChange change() const;

 private:
  class AssetRequest;
  class AlbumRequest;
  class AdditionRequest;

  app::PhotosAssetCreationRequest* assetRequest(const FileURL& file, app::PhotosMediaType type);
  bool isAlbum(const std::string& identifier);

  CataloguePool* catalogues_;
  PreparedFiles* prepared_;
  std::vector<std::unique_ptr<AssetRequest>> assets_;
  std::vector<std::unique_ptr<AlbumRequest>> albums_;
  std::vector<std::unique_ptr<AdditionRequest>> additions_;
};

}  // namespace tolvander::platform::linux_
