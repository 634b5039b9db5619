#include <algorithm>
#include <iterator>
#include <tuple>
#include <unordered_set>
#include <utility>

#include "TolvanderApp/Library/PhotoLibraryService.h"
#include "TolvanderApp/Platform/PhotoLibraryError.h"
#include "TolvanderCore/Platform/Text.h"

namespace tolvander::app {

namespace {

std::vector<std::string> withoutDuplicates(std::vector<std::string> texts) {
  std::ranges::sort(texts);
  texts.erase(std::unique(texts.begin(), texts.end()), texts.end());
  return texts;
}

}  // namespace

std::vector<std::string> PhotoLibraryService::albumNames() {
  const std::lock_guard lock(mutex_);
  requireAccess();
  std::vector<std::string> titles;
  for (PhotosAlbum& album : library_.fetchAlbums(std::nullopt)) {
    if (album.localizedTitle) {
      titles.push_back(std::move(*album.localizedTitle));
    }
  }
  titles = withoutDuplicates(std::move(titles));
  std::ranges::stable_sort(
      titles, [](const auto& left, const auto& right) { return standardCompare(left, right) < 0; });
  return titles;
}

std::set<std::string> PhotoLibraryService::assetIdentifiers(const std::string& albumName) {
  const std::lock_guard lock(mutex_);
  requireAccess();
  std::set<std::string> identifiers;
  if (const auto album = existingAlbum(albumName)) {
    for (PhotosAsset& asset : library_.fetchAssets(*album)) {
      identifiers.insert(std::move(asset.localIdentifier));
    }
  }
  return identifiers;
}

void PhotoLibraryService::createAlbum(const std::string& name, const CancellationToken& token) {
  const std::lock_guard lock(mutex_);
  requireAccess();
  if (!resolvedAlbum(name, token)) {
    throw PhotoLibraryError(PhotoLibraryError::Case::albumCouldNotBeCreated);
  }
}

std::int64_t PhotoLibraryService::addAssets(const std::vector<std::string>& identifiers,
                                            const std::string& albumName, const CancellationToken& token) {
  if (identifiers.empty()) {
    return 0;
  }
  const std::lock_guard lock(mutex_);
  requireAccess();
  const std::optional<PhotosAlbum> album = resolvedAlbum(albumName, token);
  if (!album) {
    throw PhotoLibraryError(PhotoLibraryError::Case::albumCouldNotBeCreated);
  }
  std::vector<PhotosAsset> assets = library_.fetchAssets(withoutDuplicates(identifiers));
  const std::vector<PhotosAsset> albumAssets = library_.fetchAssets(*album);
  std::unordered_set<std::string_view> members;
  for (const PhotosAsset& asset : albumAssets) {
    members.insert(asset.localIdentifier);
  }
  std::erase_if(assets, [&](const PhotosAsset& asset) { return members.contains(asset.localIdentifier); });
  if (assets.empty()) {
    return 0;
  }

  const std::vector<std::string> additions = inOrderOfCapture(std::move(assets));
  bool didRequestChange = false;
  const auto change = [&](PhotosChanges& changes) {
    if (PhotosAlbumChangeRequest* const request = changes.changeRequest(*album, albumAssets)) {
      request->addAssets(additions);
      didRequestChange = true;
    }
  };
  performChanges(change, false, token);
  if (!didRequestChange) {
    throw PhotoLibraryError(PhotoLibraryError::Case::changeFailed);
  }
  return std::ssize(additions);
}

// Compares the exact title: titles that differ in case are different albums.
std::optional<PhotosAlbum> PhotoLibraryService::existingAlbum(const std::string& name) {
  std::vector<PhotosAlbum> albums = library_.fetchAlbums(name);
  return albums.empty() ? std::nullopt : std::optional(std::move(albums.front()));
}

// The album with that title (white space at its ends removed), created if missing. Absent for an absent or
// blank title.
std::optional<PhotosAlbum> PhotoLibraryService::resolvedAlbum(const std::optional<std::string>& name,
                                                              const CancellationToken& token) {
  const std::string title(trimmingWhitespaceAndNewlines(name.value_or("")));
  if (title.empty()) {
    return std::nullopt;
  }
  if (auto album = existingAlbum(title)) {
    return album;
  }
  std::optional<std::string> identifier;
  const auto change = [&](PhotosChanges& changes) {
    if (PhotosAlbumCreationRequest* const request = changes.creationRequestForAlbum(title)) {
      identifier = request->placeholderForCreatedAlbum();
    }
  };
  performChanges(change, false, token);
  if (!identifier) {
    throw PhotoLibraryError(PhotoLibraryError::Case::albumCouldNotBeCreated);
  }
  std::vector<PhotosAlbum> albums = library_.fetchAlbumsWithLocalIdentifiers({*identifier});
  return albums.empty() ? std::nullopt : std::optional(std::move(albums.front()));
}

namespace {

// Sorts assets in the order in which they were taken.
class CaptureOrder {
 public:
  explicit CaptureOrder(PhotoLibrary& library) : library_(library) {}

  // By date, assets without a date last; then by the name of the first file, in natural order (2 before 10);
  // then by identifier.
  bool assetComesBefore(const PhotosAsset& left, const PhotosAsset& right) {
    if (left.creationDate != right.creationDate) {
      return left.creationDate && (!right.creationDate || *left.creationDate < *right.creationDate);
    }
    return std::tie(filenameKey(left), left.localIdentifier) <
           std::tie(filenameKey(right), right.localIdentifier);
  }

 private:
  // Asks the library for an asset's name only when dates are equal, and then once.
  const std::string& filenameKey(const PhotosAsset& asset) {
    const auto [known, isNew] = filenameKeys_.try_emplace(asset.localIdentifier);
    if (isNew) {
      const std::vector<PhotosAssetResource> resources = library_.assetResources(asset);
      known->second = standardSortKey(resources.empty() ? "" : resources.front().originalFilename);
    }
    return known->second;
  }

  PhotoLibrary& library_;
  std::map<std::string, std::string> filenameKeys_;  // by identifier
};

}  // namespace

std::vector<std::string> PhotoLibraryService::inOrderOfCapture(std::vector<PhotosAsset> assets) {
  CaptureOrder order(library_);
  std::ranges::sort(assets,
                    [&](const auto& left, const auto& right) { return order.assetComesBefore(left, right); });
  std::vector<std::string> identifiers;
  identifiers.reserve(assets.size());
  for (PhotosAsset& asset : assets) {
    identifiers.push_back(std::move(asset.localIdentifier));
  }
  return identifiers;
}

}  // namespace tolvander::app
