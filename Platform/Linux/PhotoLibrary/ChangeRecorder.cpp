#include "Platform/Linux/PhotoLibrary/ChangeRecorder.h"

#include <algorithm>
#include <utility>

#include "TolvanderCore/Files/FileReader.h"
#include "TolvanderCore/Foundation/UUID.h"
#include "TolvanderCore/Platform/FileSystem.h"

namespace tolvander::platform::linux_ {

class ChangeRecorder::AssetRequest final : public app::PhotosAssetCreationRequest {
 public:
  AssetRequest(std::string identifier, FileURL source, app::PhotosMediaType type)
      : original{.identifier = std::move(identifier),
                 .source = std::move(source),
                 .type = type,
                 .creationDate = {}} {}
  void setCreationDate(Date date) override { original.creationDate = date; }
  std::optional<std::string> placeholderForCreatedAsset() override { return original.identifier; }

  NewOriginal original;
};

class ChangeRecorder::AlbumRequest final : public app::PhotosAlbumCreationRequest {
 public:
  explicit AlbumRequest(const std::string& title)
      : album{.localIdentifier = UUID::random().text(), .localizedTitle = title} {}
  std::optional<std::string> placeholderForCreatedAlbum() override { return album.localIdentifier; }

  app::PhotosAlbum album;
};

class ChangeRecorder::AdditionRequest final : public app::PhotosAlbumChangeRequest {
 public:
  explicit AdditionRequest(const std::string& album) : addition{.album = album, .assets = {}} {}
  void addAssets(const std::vector<std::string>& localIdentifiers) override {
    addition.assets.insert(addition.assets.end(), localIdentifiers.begin(), localIdentifiers.end());
  }

  AlbumAddition addition;
};

namespace {

bool isReadableFile(const FileURL& file) {
  try {
    const FileReader reader(file);
    return fileResourceValues(file.resolvingSymlinks()).isRegularFile;
  } catch (const PosixError&) {
    return false;
  }
}

}  // namespace

void PreparedFiles::add(const FileURL& file, const std::string& assetIdentifier) {
  const std::lock_guard guard(mutex_);
  assetIdentifiers_.insert_or_assign(file.path(), assetIdentifier);
}

std::string PreparedFiles::assetIdentifierFor(const FileURL& file) {
  const std::lock_guard guard(mutex_);
  const auto prepared = assetIdentifiers_.extract(file.path());
  return prepared ? prepared.mapped() : UUID::random().text();
}

ChangeRecorder::ChangeRecorder(CataloguePool& catalogues, PreparedFiles& prepared)
    : catalogues_(&catalogues), prepared_(&prepared) {}

ChangeRecorder::~ChangeRecorder() = default;

app::PhotosAssetCreationRequest* ChangeRecorder::assetRequest(const FileURL& file,
                                                              app::PhotosMediaType type) {
  if (!isReadableFile(file)) {
    return nullptr;
  }
  return assets_.emplace_back(std::make_unique<AssetRequest>(prepared_->assetIdentifierFor(file), file, type))
      .get();
}

app::PhotosAssetCreationRequest* ChangeRecorder::creationRequestForAssetFromImage(const FileURL& file) {
  return assetRequest(file, app::PhotosMediaType::image);
}

app::PhotosAssetCreationRequest* ChangeRecorder::creationRequestForAssetFromVideo(const FileURL& file) {
  return assetRequest(file, app::PhotosMediaType::video);
}

app::PhotosAlbumCreationRequest* ChangeRecorder::creationRequestForAlbum(const std::string& title) {
  return albums_.emplace_back(std::make_unique<AlbumRequest>(title)).get();
}

app::PhotosAlbumChangeRequest* ChangeRecorder::changeRequest(const app::PhotosAlbum& album,
                                                             const std::vector<app::PhotosAsset>&) {
  if (!isAlbum(album.localIdentifier)) {
    return nullptr;
  }
  return additions_.emplace_back(std::make_unique<AdditionRequest>(album.localIdentifier)).get();
}

bool ChangeRecorder::isAlbum(const std::string& identifier) {
  const bool isNew = std::any_of(albums_.begin(), albums_.end(), [&](const auto& request) {
    return request->album.localIdentifier == identifier;
  });
  if (isNew) {
    return true;
  }
  try {
    return !catalogues_->take()->albumsWithIdentifiers({identifier}).empty();
  } catch (const Error&) {
    return false;  // the change itself reports that the library can't be read
  }
}

RecordedChange ChangeRecorder::change() const {
  RecordedChange change;
  for (const auto& request : assets_) {
    change.originals.push_back(request->original);
  }
  for (const auto& request : albums_) {
    change.albums.push_back(request->album);
  }
  for (const auto& request : additions_) {
    change.additions.push_back(request->addition);
  }
  return change;
}

}  // namespace tolvander::platform::linux_
