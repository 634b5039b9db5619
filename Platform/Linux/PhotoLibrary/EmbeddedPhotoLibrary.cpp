#include "Platform/Linux/PhotoLibrary/EmbeddedPhotoLibrary.h"

#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <memory>
#include <utility>

#include "Platform/Linux/PhotoLibrary/ChangeRecorder.h"
#include "Platform/Linux/PhotoLibrary/InterruptedImports.h"
#include "Platform/Linux/PhotoLibrary/LibraryErrors.h"
#include "Platform/Linux/PhotoLibrary/LibraryVerifier.h"
#include "Platform/Linux/PhotoLibrary/LostCatalogue.h"
#include "Platform/Linux/PhotoLibrary/OriginalContent.h"
#include "Platform/Linux/PhotoLibrary/OriginalPresence.h"
#include "TolvanderCore/Foundation/SystemErrors.h"

namespace tolvander::platform::linux_ {

using app::PhotosAlbum;
using app::PhotosAsset;
using app::PhotosAssetResource;
using app::PhotosAuthorizationStatus;
using app::PhotosFetchOptions;
using app::PhotosPlatformError;
using app::PhotosUnchangedOriginal;

namespace {

bool isAccessRestricted(const std::exception_ptr& failure) {
  try {
    std::rethrow_exception(failure);
  } catch (const PhotosPlatformError& error) {
    return error.kind() == PhotosPlatformError::Case::accessRestricted;
  } catch (...) {
    return false;
  }
}

}  // namespace

EmbeddedPhotoLibrary::EmbeddedPhotoLibrary(const FileURL& folder, std::chrono::milliseconds busyTimeout)
    : folder_(folder),
      catalogues_(folder_, busyTimeout),
      writer_(folder_, catalogues_, busyTimeout),
      requests_(folder_, catalogues_) {}

EmbeddedPhotoLibrary::~EmbeddedPhotoLibrary() = default;

std::optional<FileURL> EmbeddedPhotoLibrary::folderOfUser(const StandardDirectories& directories) {
  return directories.pictures ? std::optional(directories.pictures->appending("Tolvander")) : std::nullopt;
}

PhotosAuthorizationStatus EmbeddedPhotoLibrary::authorizationStatus() {
  struct stat status {};
  if (lstat(folder_.catalogueFile().path().c_str(), &status) != 0 && errno == ENOENT) {
    return PhotosAuthorizationStatus::notDetermined;
  }
  return folder_.isWritable() ? PhotosAuthorizationStatus::authorized : PhotosAuthorizationStatus::denied;
}

std::optional<FileURL> EmbeddedPhotoLibrary::folderOfNewLibrary() {
  if (authorizationStatus() != PhotosAuthorizationStatus::notDetermined) {
    return std::nullopt;
  }
  try {
    requireCatalogue();
    return folder_.url();
  } catch (const Error&) {
    return std::nullopt;
  }
}

void EmbeddedPhotoLibrary::requestAuthorization(std::function<void(PhotosAuthorizationStatus)> handler) {
  changes_.post([this, handler = std::move(handler)] {
    const PhotosAuthorizationStatus status = authorizationStatus();
    handler(status == PhotosAuthorizationStatus::notDetermined ? makeLibrary() : status);
  });
}

void EmbeddedPhotoLibrary::prepareImport(const app::PhotosImportPreparation& preparation) {
  std::vector<NewOriginal> originals;
  for (const app::PhotosImportFile& file : preparation.files) {
    originals.push_back({.identifier = UUID::random().text(),
                         .source = file.file,
                         .type = file.mediaType,
                         .creationDate = file.creationDate,
                         .sha256 = file.fingerprint});
  }
  withLibraryErrors([&] {
    requireAccess();
    writer_.prepare(originals, preparation.history, preparation.albumIdentifier);
  });
  for (const NewOriginal& original : originals) {
    prepared_.add(original.source, original.identifier);
  }
}

std::vector<app::PhotosHeldContent> EmbeddedPhotoLibrary::completeImports(
    const app::PhotosInterruptedImports& imports) {
  return withLibraryErrors([&] {
    requireAccess();
    return writer_.complete(imports);
  });
}

std::set<std::string> EmbeddedPhotoLibrary::preparedFingerprints(
    const app::PhotosInterruptedImports& imports) {
  return withLibraryErrors([&] { return InterruptedImports(folder_, *catalogue()).completable(imports); });
}

PhotosAuthorizationStatus EmbeddedPhotoLibrary::makeLibrary() {
  std::exception_ptr failure;
  try {
    writer_.createLibrary();
  } catch (const std::exception&) {
    failure = libraryError(std::current_exception());
  }
  const bool isDenied = failure && isAccessRestricted(failure);
  {
    const std::lock_guard lock(requestFailureLock_);
    requestFailure_ = isDenied ? nullptr : failure;
  }
  if (failure) {
    return isDenied ? PhotosAuthorizationStatus::denied : PhotosAuthorizationStatus::notDetermined;
  }
  return authorizationStatus();
}

std::exception_ptr EmbeddedPhotoLibrary::requestFailure() {
  const std::lock_guard lock(requestFailureLock_);
  return requestFailure_;
}

void EmbeddedPhotoLibrary::performChanges(ChangeBlock block, ChangeCompletion completion) {
  changes_.post([this, block = std::move(block), completion = std::move(completion)] {
    ChangeOutcome outcome = change(block);
    completion(outcome.success, std::move(outcome.error));
  });
}

ChangeOutcome EmbeddedPhotoLibrary::change(const ChangeBlock& block) {
  ChangeRecorder recorder(catalogues_, prepared_);
  std::exception_ptr error;
  try {
    block(recorder);
  } catch (...) {
    error = std::current_exception();
  }
  if (error) {
    return {false, std::move(error)};
  }
  if (authorizationStatus() != PhotosAuthorizationStatus::authorized) {
    return {false, std::make_exception_ptr(PhotosPlatformError(PhotosPlatformError::Case::accessUserDenied,
                                                               "the photo library may not be changed"))};
  }
  const RecordedChange change = recorder.change();
  if (change.isEmpty()) {
    return {true, nullptr};
  }
  ChangeOutcome outcome = writer_.carryOut(change);
  return {outcome.success, libraryError(outcome.error)};
}

void EmbeddedPhotoLibrary::requireAccess() {
  if (authorizationStatus() != PhotosAuthorizationStatus::authorized) {
    throw PhotosPlatformError(PhotosPlatformError::Case::accessUserDenied,
                              "the photo library may not be read");
  }
}

void EmbeddedPhotoLibrary::requireCatalogue() {
  withLibraryErrors([&] {
    switch (authorizationStatus()) {
      case PhotosAuthorizationStatus::notDetermined:
        return requireNoPictures(folder_, "missing");
      case PhotosAuthorizationStatus::authorized:
        catalogues_.take();
        return;
      default:
        return;
    }
  });
}

CataloguePool::Lease EmbeddedPhotoLibrary::catalogue() {
  requireAccess();
  return catalogues_.take();
}

// A test for one fetch; it keeps the folder of originals open.
Catalogue::OriginalTest EmbeddedPhotoLibrary::originalTest() const {
  return [presence = std::make_shared<OriginalPresence>(folder_)](const std::string& path,
                                                                  std::int64_t byteCount) {
    return presence->stateOf(path, byteCount) != OriginalPresence::State::gone;
  };
}

std::vector<PhotosAsset> EmbeddedPhotoLibrary::fetchAssets(const PhotosFetchOptions& options) {
  return withLibraryErrors([&] { return catalogue()->assets(options, originalTest()); });
}

std::vector<PhotosAsset> EmbeddedPhotoLibrary::fetchAssets(const std::vector<std::string>& localIdentifiers) {
  return withLibraryErrors([&] { return catalogue()->assets(localIdentifiers, originalTest()); });
}

std::vector<PhotosAsset> EmbeddedPhotoLibrary::fetchAssets(const PhotosAlbum& album) {
  return withLibraryErrors([&] { return catalogue()->assetsOfAlbum(album.localIdentifier, originalTest()); });
}

std::vector<PhotosAlbum> EmbeddedPhotoLibrary::fetchAlbums(const std::optional<std::string>& title) {
  return withLibraryErrors([&] { return catalogue()->albums(title); });
}

std::vector<PhotosAlbum> EmbeddedPhotoLibrary::fetchAlbumsWithLocalIdentifiers(
    const std::vector<std::string>& localIdentifiers) {
  return withLibraryErrors([&] { return catalogue()->albumsWithIdentifiers(localIdentifiers); });
}

bool EmbeddedPhotoLibrary::proveOriginal(const std::string& localIdentifier, const std::string& sha256,
                                         const CancellationToken& token) {
  const auto holdsContent = [&](const CataloguedResource& original) {
    try {
      const OwnedDescriptor file = folder_.openFile(original.path, LibraryFolder::Links::refused);
      return sha256Of(file, folder_.url().appending(original.path), token) == sha256;
    } catch (const PosixError&) {
      return false;
    }
  };
  token.throwIfCancelled();
  return withLibraryErrors(
      [&] { return std::ranges::any_of(catalogue()->originals(localIdentifier), holdsContent); });
}

std::vector<PhotosAssetResource> EmbeddedPhotoLibrary::assetResources(const PhotosAsset& asset) {
  return withLibraryErrors([&] { return catalogue()->resources(asset.localIdentifier); });
}

std::optional<std::vector<PhotosUnchangedOriginal>> EmbeddedPhotoLibrary::unchangedOriginals(
    const std::vector<std::string>& localIdentifiers) {
  return withLibraryErrors([&] {
    OriginalPresence presence(folder_);
    std::vector<PhotosUnchangedOriginal> unchanged;
    for (CataloguedOriginal& original : catalogue()->soleOriginals(localIdentifiers)) {
      CataloguedResource& resource = original.resource;
      if (resource.content &&
          presence.isUnchanged(resource.path, resource.byteCount, resource.content->modified)) {
        unchanged.push_back({.resource = {.assetLocalIdentifier = std::move(original.asset),
                                          .index = original.position,
                                          .type = resource.type,
                                          .originalFilename = std::move(resource.originalFilename)},
                             .byteCount = resource.byteCount,
                             .sha256 = std::move(resource.content->sha256)});
      }
    }
    return std::optional(std::move(unchanged));
  });
}

EmbeddedPhotoLibrary::RequestID EmbeddedPhotoLibrary::requestData(const PhotosAssetResource& resource,
                                                                  DataHandler dataReceived,
                                                                  DataCompletion completion) {
  return requests_.add(resource, std::move(dataReceived), std::move(completion));
}

void EmbeddedPhotoLibrary::cancelDataRequest(RequestID request) { requests_.cancel(request); }

void EmbeddedPhotoLibrary::forEachAsset(const AssetVisitor& visit) {
  withLibraryErrors([&] {
    const Catalogue::OriginalTest isThere = originalTest();
    catalogue()->forEachAsset([&](const PhotosAsset& asset, const std::vector<CataloguedResource>& files) {
      ListedAsset listed{asset, {}};
      for (const CataloguedResource& file : files) {
        if (!isThere(file.path, file.byteCount)) {
          return true;
        }
        listed.originals.push_back(
            {folder_.url().appending(file.path), file.originalFilename, file.byteCount});
      }
      return visit(listed);
    });
  });
}

std::vector<ListedAlbum> EmbeddedPhotoLibrary::albumsWithCounts() {
  return withLibraryErrors([&] {
    std::vector<ListedAlbum> listed;
    for (const CataloguedAlbum& album : catalogue()->albumsWithCounts(originalTest())) {
      listed.push_back({album.album, album.assetCount});
    }
    return listed;
  });
}

LibraryVerification EmbeddedPhotoLibrary::verify(const CancellationToken& token,
                                                 const VerificationOptions& options) {
  return withLibraryErrors([&] {
    requireAccess();
    return LibraryVerifier(folder_, catalogues_, options, token).run();
  });
}

}  // namespace tolvander::platform::linux_
