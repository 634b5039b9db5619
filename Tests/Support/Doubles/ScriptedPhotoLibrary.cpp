#include "Tests/Support/Doubles/ScriptedPhotoLibrary.h"

#include <algorithm>
#include <filesystem>
#include <iterator>
#include <list>
#include <memory>
#include <span>
#include <utility>

#include "Tests/Support/Machine/TemporaryFolder.h"
#include "TolvanderApp/Platform/PhotosPlatformError.h"
#include "TolvanderCore/Files/FileFingerprinter.h"
#include "TolvanderCore/Platform/ImageProperties.h"

namespace tolvander::tests {

using namespace tolvander::app;

namespace {

constexpr std::size_t chunkSize = 65'536;

std::vector<std::byte> contentOf(const FileURL& file) {
  const std::string text = readFile(file);
  const auto bytes = std::as_bytes(std::span(text));
  return {bytes.begin(), bytes.end()};
}

bool lies(const PhotosAsset& asset, const PhotosFetchOptions::CreationDates& dates) {
  return asset.creationDate && *asset.creationDate >= dates.from && *asset.creationDate <= dates.to;
}

template <typename Value>
bool contains(const std::vector<Value>& values, const Value& value) {
  return std::ranges::find(values, value) != values.end();
}

}  // namespace

// One change while its block runs.

class ScriptedPhotoLibrary::AssetCreation final : public PhotosAssetCreationRequest {
 public:
  AssetCreation(StoredAsset stored, FileURL source, bool hasPlaceholder)
      : asset(std::move(stored)), file(std::move(source)), hasPlaceholder_(hasPlaceholder) {}

  void setCreationDate(Date date) override { setDate = date; }
  std::optional<std::string> placeholderForCreatedAsset() override {
    return hasPlaceholder_ ? std::optional(asset.asset.localIdentifier) : std::nullopt;
  }

  StoredAsset asset;
  FileURL file;
  std::optional<Date> setDate;

 private:
  bool hasPlaceholder_;
};

class ScriptedPhotoLibrary::AlbumCreation final : public PhotosAlbumCreationRequest {
 public:
  AlbumCreation(PhotosAlbum created, bool hasPlaceholder)
      : album(std::move(created)), hasPlaceholder_(hasPlaceholder) {}

  std::optional<std::string> placeholderForCreatedAlbum() override {
    return hasPlaceholder_ ? std::optional(album.localIdentifier) : std::nullopt;
  }

  PhotosAlbum album;

 private:
  bool hasPlaceholder_;
};

class ScriptedPhotoLibrary::AlbumChange final : public PhotosAlbumChangeRequest {
 public:
  explicit AlbumChange(std::string identifier) : albumIdentifier(std::move(identifier)) {}

  void addAssets(const std::vector<std::string>& localIdentifiers) override {
    additions.insert(additions.end(), localIdentifiers.begin(), localIdentifiers.end());
  }

  std::string albumIdentifier;
  std::vector<std::string> additions;
};

class ScriptedPhotoLibrary::Change final : public PhotosChanges {
 public:
  explicit Change(ScriptedPhotoLibrary& library) : library_(library) {}

  PhotosAssetCreationRequest* creationRequestForAssetFromImage(const FileURL& file) override {
    return create(file, PhotosMediaType::image, PhotosResourceType::photo);
  }

  PhotosAssetCreationRequest* creationRequestForAssetFromVideo(const FileURL& file) override {
    return create(file, PhotosMediaType::video, PhotosResourceType::video);
  }

  PhotosAlbumCreationRequest* creationRequestForAlbum(const std::string& title) override {
    const std::lock_guard lock(library_.mutex_);
    if (library_.refusesAlbumCreation_) {
      return nullptr;
    }
    PhotosAlbum album{.localIdentifier = library_.newIdentifier(), .localizedTitle = title};
    return &albumCreations_.emplace_back(std::move(album), !library_.withholdsAlbumPlaceholder_);
  }

  PhotosAlbumChangeRequest* changeRequest(const PhotosAlbum& album,
                                          const std::vector<PhotosAsset>&) override {
    const std::lock_guard lock(library_.mutex_);
    const bool isKnown = library_.album(album.localIdentifier) != nullptr;
    return isKnown && !library_.refusesAlbumChanges_ ? &albumChanges_.emplace_back(album.localIdentifier)
                                                     : nullptr;
  }

  void apply() {
    const std::lock_guard lock(library_.mutex_);
    for (AssetCreation& creation : assetCreations_) {
      creation.asset.asset.creationDate =
          creation.setDate ? creation.setDate : creation.asset.asset.creationDate;
      library_.assets_.push_back(std::move(creation.asset));
    }
    for (AlbumCreation& creation : albumCreations_) {
      library_.albums_.push_back({.album = std::move(creation.album), .members = {}});
    }
    for (const AlbumChange& change : albumChanges_) {
      StoredAlbum* const album = library_.album(change.albumIdentifier);
      for (const std::string& identifier : change.additions) {
        if (album != nullptr && library_.asset(identifier) != nullptr &&
            !contains(album->members, identifier)) {
          album->members.push_back(identifier);
        }
      }
    }
  }

  // Whether or not anything came of it.
  void remember() {
    const std::lock_guard lock(library_.mutex_);
    ++library_.changeCount_;
    for (const AssetCreation& creation : assetCreations_) {
      library_.creations_.push_back({.mediaType = creation.asset.asset.mediaType,
                                     .file = creation.file,
                                     .creationDate = creation.setDate});
    }
    for (const AlbumChange& change : albumChanges_) {
      library_.albumAdditions_.push_back(change.additions);
    }
  }

 private:
  PhotosAssetCreationRequest* create(const FileURL& file, PhotosMediaType mediaType,
                                     PhotosResourceType resourceType) {
    const std::string filename(file.lastPathComponent());
    if (!std::filesystem::is_regular_file(file.path())) {
      return nullptr;
    }
    Resource resource{.type = resourceType, .originalFilename = filename, .content = contentOf(file)};
    const std::lock_guard lock(library_.mutex_);
    if (library_.refusedFiles_.contains(filename)) {
      return nullptr;
    }
    StoredAsset stored;
    stored.asset.localIdentifier = library_.newIdentifier();
    stored.asset.mediaType = mediaType;
    if (const auto properties = imageProperties(resource.content)) {
      stored.asset.pixelWidth = properties->pixelWidth;
      stored.asset.pixelHeight = properties->pixelHeight;
    }
    stored.resources.push_back(std::move(resource));
    return &assetCreations_.emplace_back(std::move(stored), file,
                                         !library_.filesWithoutPlaceholder_.contains(filename));
  }

  ScriptedPhotoLibrary& library_;
  std::list<AssetCreation> assetCreations_;
  std::list<AlbumCreation> albumCreations_;
  std::list<AlbumChange> albumChanges_;
};

void ScriptedPhotoLibrary::performChanges(ChangeBlock block, ChangeCompletion completion) {
  changes_.post([this, block = std::move(block), completion = std::move(completion)] {
    makeChange(block, completion);
  });
}

void ScriptedPhotoLibrary::makeChange(const ChangeBlock& block, const ChangeCompletion& completion) {
  std::function<void()> before;
  ChangeEnd end;
  {
    const std::lock_guard lock(mutex_);
    before = beforeEachChange_;
    if (!changeEnds_.empty()) {
      end = std::move(changeEnds_.front());
      changeEnds_.pop_front();
    }
  }
  if (before) {
    before();
  }
  std::exception_ptr thrown;
  {
    Change change(*this);
    try {
      block(change);
    } catch (...) {
      thrown = std::current_exception();
    }
    change.remember();
    if (!thrown && end.isApplied) {
      change.apply();
    }
  }
  if (thrown) {
    completion(false, std::move(thrown));
    return;
  }
  const bool success = end.success;
  completion(success, std::move(end.error));
  for (int extra = 0; extra < end.extraCompletions; ++extra) {
    completion(!success, nullptr);
  }
}

// The contents.

PhotosAsset ScriptedPhotoLibrary::addAsset(PhotosAsset asset, std::vector<Resource> resources) {
  const std::lock_guard lock(mutex_);
  if (asset.localIdentifier.empty()) {
    asset.localIdentifier = newIdentifier();
  }
  assets_.push_back({.asset = asset, .resources = std::move(resources)});
  return asset;
}

PhotosAlbum ScriptedPhotoLibrary::addAlbum(std::optional<std::string> title,
                                           std::vector<std::string> members) {
  const std::lock_guard lock(mutex_);
  PhotosAlbum album{.localIdentifier = newIdentifier(), .localizedTitle = std::move(title)};
  albums_.push_back({.album = album, .members = std::move(members)});
  return album;
}

void ScriptedPhotoLibrary::removeAsset(const std::string& localIdentifier) {
  const std::lock_guard lock(mutex_);
  std::erase_if(assets_,
                [&](const StoredAsset& stored) { return stored.asset.localIdentifier == localIdentifier; });
  for (StoredAlbum& stored : albums_) {
    std::erase(stored.members, localIdentifier);
  }
}

void ScriptedPhotoLibrary::removeAlbum(const std::string& localIdentifier) {
  const std::lock_guard lock(mutex_);
  std::erase_if(albums_,
                [&](const StoredAlbum& stored) { return stored.album.localIdentifier == localIdentifier; });
}

std::string ScriptedPhotoLibrary::newIdentifier() {
  return "identifier-" + std::to_string(++lastIdentifier_);
}

ScriptedPhotoLibrary::StoredAsset* ScriptedPhotoLibrary::asset(const std::string& localIdentifier) {
  const auto found = std::ranges::find_if(
      assets_, [&](const StoredAsset& stored) { return stored.asset.localIdentifier == localIdentifier; });
  return found == assets_.end() ? nullptr : &*found;
}

ScriptedPhotoLibrary::StoredAlbum* ScriptedPhotoLibrary::album(const std::string& localIdentifier) {
  const auto found = std::ranges::find_if(
      albums_, [&](const StoredAlbum& stored) { return stored.album.localIdentifier == localIdentifier; });
  return found == albums_.end() ? nullptr : &*found;
}

// The script.

ScriptedPhotoLibrary::ScriptedPhotoLibrary() = default;
ScriptedPhotoLibrary::~ScriptedPhotoLibrary() = default;

void ScriptedPhotoLibrary::answerAuthorization(std::vector<PhotosAuthorizationStatus> answers) {
  const std::lock_guard lock(mutex_);
  authorization_ = {answers.begin(), answers.end()};
}

void ScriptedPhotoLibrary::beforeEachAuthorizationQuestion(std::function<void()> function) {
  const std::lock_guard lock(mutex_);
  beforeEachAuthorizationQuestion_ = std::move(function);
}

void ScriptedPhotoLibrary::answerRequestForAuthorization(PhotosAuthorizationStatus answer) {
  const std::lock_guard lock(mutex_);
  requestAnswer_ = answer;
}

void ScriptedPhotoLibrary::refuseFile(const std::string& filename) {
  const std::lock_guard lock(mutex_);
  refusedFiles_.insert(filename);
}

void ScriptedPhotoLibrary::withholdPlaceholder(const std::string& filename) {
  const std::lock_guard lock(mutex_);
  filesWithoutPlaceholder_.insert(filename);
}

void ScriptedPhotoLibrary::refuseAlbumCreation() {
  const std::lock_guard lock(mutex_);
  refusesAlbumCreation_ = true;
}

void ScriptedPhotoLibrary::withholdAlbumPlaceholder() {
  const std::lock_guard lock(mutex_);
  withholdsAlbumPlaceholder_ = true;
}

void ScriptedPhotoLibrary::refuseAlbumChanges() {
  const std::lock_guard lock(mutex_);
  refusesAlbumChanges_ = true;
}

void ScriptedPhotoLibrary::failAlbumAssetFetches() {
  const std::lock_guard lock(mutex_);
  failsAlbumAssetFetches_ = true;
}

void ScriptedPhotoLibrary::endNextChange(ChangeEnd end) {
  const std::lock_guard lock(mutex_);
  changeEnds_.push_back(std::move(end));
}

void ScriptedPhotoLibrary::beforeEachChange(std::function<void()> function) {
  const std::lock_guard lock(mutex_);
  beforeEachChange_ = std::move(function);
}

void ScriptedPhotoLibrary::beforeEachIdentifierFetch(std::function<void()> function) {
  const std::lock_guard lock(mutex_);
  beforeEachIdentifierFetch_ = std::move(function);
}

void ScriptedPhotoLibrary::proveOnlyBy(const std::string& localIdentifier, const std::string& sha256) {
  const std::lock_guard lock(mutex_);
  provingContents_[localIdentifier] = sha256;
}

void ScriptedPhotoLibrary::beforeEachProof(std::function<void()> function) {
  const std::lock_guard lock(mutex_);
  beforeEachProof_ = std::move(function);
}

void ScriptedPhotoLibrary::answerReads(const std::string& assetIdentifier, Read read) {
  const std::lock_guard lock(mutex_);
  reads_[assetIdentifier] = std::move(read);
}

// What it was asked.

std::size_t ScriptedPhotoLibrary::authorizationQuestions() const {
  const std::lock_guard lock(mutex_);
  return authorizationQuestions_;
}

std::size_t ScriptedPhotoLibrary::changeCount() const {
  const std::lock_guard lock(mutex_);
  return changeCount_;
}

std::vector<ScriptedPhotoLibrary::Creation> ScriptedPhotoLibrary::creations() const {
  const std::lock_guard lock(mutex_);
  return creations_;
}

std::vector<std::vector<std::string>> ScriptedPhotoLibrary::albumAdditions() const {
  const std::lock_guard lock(mutex_);
  return albumAdditions_;
}

std::vector<PhotosFetchOptions> ScriptedPhotoLibrary::fetches() const {
  const std::lock_guard lock(mutex_);
  return fetches_;
}

std::vector<std::vector<std::string>> ScriptedPhotoLibrary::identifierFetches() const {
  const std::lock_guard lock(mutex_);
  return identifierFetches_;
}

std::size_t ScriptedPhotoLibrary::albumAssetFetches() const {
  const std::lock_guard lock(mutex_);
  return albumAssetFetches_;
}

std::map<std::string, int> ScriptedPhotoLibrary::resourceQuestions() const {
  const std::lock_guard lock(mutex_);
  return resourceQuestions_;
}

std::vector<std::pair<std::string, std::string>> ScriptedPhotoLibrary::proofs() const {
  const std::lock_guard lock(mutex_);
  return proofs_;
}

std::vector<PhotosAssetResource> ScriptedPhotoLibrary::dataRequests() const {
  const std::lock_guard lock(mutex_);
  return dataRequests_;
}

std::vector<PhotoLibrary::RequestID> ScriptedPhotoLibrary::cancelledRequests() const {
  const std::lock_guard lock(mutex_);
  return cancelledRequests_;
}

std::vector<std::string> ScriptedPhotoLibrary::members(const std::string& albumIdentifier) const {
  const std::lock_guard lock(mutex_);
  for (const StoredAlbum& stored : albums_) {
    if (stored.album.localIdentifier == albumIdentifier) {
      return stored.members;
    }
  }
  return {};
}

// The contract.

PhotosAuthorizationStatus ScriptedPhotoLibrary::authorizationStatus() {
  std::function<void()> before;
  {
    const std::lock_guard lock(mutex_);
    before = beforeEachAuthorizationQuestion_;
  }
  if (before) {
    before();
  }
  const std::lock_guard lock(mutex_);
  ++authorizationQuestions_;
  const PhotosAuthorizationStatus answer = authorization_.front();
  if (authorization_.size() > 1) {
    authorization_.pop_front();
  }
  return answer;
}

void ScriptedPhotoLibrary::setPreparedFingerprints(std::set<std::string> fingerprints) {
  const std::lock_guard lock(mutex_);
  preparedFingerprints_ = std::move(fingerprints);
}

std::vector<std::set<std::string>> ScriptedPhotoLibrary::completions() const {
  const std::lock_guard lock(mutex_);
  return completions_;
}

std::vector<app::PhotosHeldContent> ScriptedPhotoLibrary::completeImports(
    const app::PhotosInterruptedImports& imports) {
  const std::lock_guard lock(mutex_);
  completions_.push_back(imports.pendingFingerprints);
  return {};
}

std::set<std::string> ScriptedPhotoLibrary::preparedFingerprints(
    const app::PhotosInterruptedImports& imports) {
  const std::lock_guard lock(mutex_);
  std::set<std::string> found;
  std::ranges::set_intersection(preparedFingerprints_, imports.pendingFingerprints,
                                std::inserter(found, found.end()));
  return found;
}

void ScriptedPhotoLibrary::requestAuthorization(std::function<void(PhotosAuthorizationStatus)> handler) {
  PhotosAuthorizationStatus status{};
  {
    const std::lock_guard lock(mutex_);
    if (authorization_.front() == PhotosAuthorizationStatus::notDetermined && !requestFailure_) {
      authorization_ = {requestAnswer_};
    }
    status = authorization_.front();
  }
  handler(status);
}

std::vector<PhotosAsset> ScriptedPhotoLibrary::fetchAssets(const PhotosFetchOptions& options) {
  std::vector<PhotosAsset> found;
  {
    const std::lock_guard lock(mutex_);
    fetches_.push_back(options);
    for (const StoredAsset& stored : assets_) {
      if (!options.creationDates || lies(stored.asset, *options.creationDates)) {
        found.push_back(stored.asset);
      }
    }
  }
  if (options.order == PhotosFetchOptions::Order::creationDateAscending) {
    std::ranges::stable_sort(found, {}, &PhotosAsset::creationDate);
  } else {
    std::ranges::stable_sort(found, std::ranges::greater(), &PhotosAsset::creationDate);
  }
  if (options.fetchLimit > 0 && std::ssize(found) > options.fetchLimit) {
    found.resize(static_cast<std::size_t>(options.fetchLimit));
  }
  return found;
}

std::vector<PhotosAsset> ScriptedPhotoLibrary::fetchAssets(const std::vector<std::string>& localIdentifiers) {
  const std::set<std::string> wanted(localIdentifiers.begin(), localIdentifiers.end());
  std::vector<PhotosAsset> found;
  std::function<void()> before;
  {
    const std::lock_guard lock(mutex_);
    identifierFetches_.push_back(localIdentifiers);
    before = beforeEachIdentifierFetch_;
  }
  if (before) {
    before();
  }
  const std::lock_guard lock(mutex_);
  for (const StoredAsset& stored : assets_) {
    if (wanted.contains(stored.asset.localIdentifier)) {
      found.push_back(stored.asset);
    }
  }
  return found;
}

bool ScriptedPhotoLibrary::proveOriginal(const std::string& localIdentifier, const std::string& sha256,
                                         const CancellationToken& token) {
  std::function<void()> before;
  {
    const std::lock_guard lock(mutex_);
    proofs_.emplace_back(localIdentifier, sha256);
    before = beforeEachProof_;
  }
  if (before) {
    before();
  }
  token.throwIfCancelled();
  const std::lock_guard lock(mutex_);
  const auto content = provingContents_.find(localIdentifier);
  return asset(localIdentifier) != nullptr &&
         (content == provingContents_.end() || content->second == sha256);
}

std::vector<PhotosAsset> ScriptedPhotoLibrary::fetchAssets(const PhotosAlbum& wanted) {
  const std::lock_guard lock(mutex_);
  ++albumAssetFetches_;
  if (failsAlbumAssetFetches_) {
    throw PhotosPlatformError(PhotosPlatformError::Case::libraryVolumeOffline, "the library is gone");
  }
  std::vector<PhotosAsset> found;
  if (const StoredAlbum* const stored = album(wanted.localIdentifier)) {
    for (const std::string& member : stored->members) {
      if (const StoredAsset* const storedAsset = asset(member)) {
        found.push_back(storedAsset->asset);
      }
    }
  }
  return found;
}

std::vector<PhotosAlbum> ScriptedPhotoLibrary::fetchAlbums(const std::optional<std::string>& title) {
  const std::lock_guard lock(mutex_);
  std::vector<PhotosAlbum> found;
  for (const StoredAlbum& stored : albums_) {
    if (!title || stored.album.localizedTitle == title) {
      found.push_back(stored.album);
    }
  }
  return found;
}

std::vector<PhotosAlbum> ScriptedPhotoLibrary::fetchAlbumsWithLocalIdentifiers(
    const std::vector<std::string>& localIdentifiers) {
  const std::lock_guard lock(mutex_);
  std::vector<PhotosAlbum> found;
  for (const StoredAlbum& stored : albums_) {
    if (contains(localIdentifiers, stored.album.localIdentifier)) {
      found.push_back(stored.album);
    }
  }
  return found;
}

std::vector<PhotosAssetResource> ScriptedPhotoLibrary::assetResources(const PhotosAsset& wanted) {
  const std::lock_guard lock(mutex_);
  ++resourceQuestions_[wanted.localIdentifier];
  std::vector<PhotosAssetResource> resources;
  if (const StoredAsset* const stored = asset(wanted.localIdentifier)) {
    for (const Resource& resource : stored->resources) {
      resources.push_back({.assetLocalIdentifier = wanted.localIdentifier,
                           .index = std::ssize(resources),
                           .type = resource.type,
                           .originalFilename = resource.originalFilename});
    }
  }
  return resources;
}

void ScriptedPhotoLibrary::keepHashes() {
  const std::lock_guard lock(mutex_);
  keepsHashes_ = true;
}

std::optional<std::vector<PhotosUnchangedOriginal>> ScriptedPhotoLibrary::unchangedOriginals(
    const std::vector<std::string>& localIdentifiers) {
  const std::lock_guard lock(mutex_);
  if (!keepsHashes_) {
    return std::nullopt;
  }
  std::vector<PhotosUnchangedOriginal> unchanged;
  for (const std::string& identifier : localIdentifiers) {
    const StoredAsset* const stored = asset(identifier);
    if (stored == nullptr || stored->resources.size() != 1) {
      continue;
    }
    const Resource& resource = stored->resources.front();
    if (resource.isLocal && resource.isUnchanged) {
      unchanged.push_back({.resource = {.assetLocalIdentifier = identifier,
                                        .index = 0,
                                        .type = resource.type,
                                        .originalFilename = resource.originalFilename},
                           .byteCount = std::ssize(resource.content),
                           .sha256 = FileFingerprinter::sha256(resource.content)});
    }
  }
  return unchanged;
}

PhotoLibrary::RequestID ScriptedPhotoLibrary::requestData(const PhotosAssetResource& resource,
                                                          DataHandler dataReceived,
                                                          DataCompletion completion) {
  RequestID request = 0;
  Read scripted;
  {
    const std::lock_guard lock(mutex_);
    request = ++lastRequest_;
    dataRequests_.push_back(resource);
    if (const auto found = reads_.find(resource.assetLocalIdentifier); found != reads_.end()) {
      scripted = found->second;
    }
  }
  if (scripted) {
    scripted(request, dataReceived, completion);
    return request;
  }
  deliveries_.post(
      [this, request, resource, dataReceived = std::move(dataReceived), completion = std::move(completion)] {
        deliver(request, resource, dataReceived, completion);
      });
  return request;
}

void ScriptedPhotoLibrary::deliver(RequestID request, const PhotosAssetResource& wanted,
                                   const DataHandler& dataReceived, const DataCompletion& completion) {
  const auto end = [&](PhotosPlatformError::Case failure, const char* what) {
    completion(std::make_exception_ptr(PhotosPlatformError(failure, what)));
  };
  std::optional<Resource> resource;
  {
    const std::lock_guard lock(mutex_);
    const StoredAsset* const stored = asset(wanted.assetLocalIdentifier);
    if (stored != nullptr && wanted.index >= 0 && wanted.index < std::ssize(stored->resources)) {
      resource = stored->resources[static_cast<std::size_t>(wanted.index)];
    }
  }
  if (!resource) {
    end(PhotosPlatformError::Case::invalidResource, "the resource is not in the library");
    return;
  }
  if (!resource->isLocal) {
    end(PhotosPlatformError::Case::networkAccessRequired, "the original is not on this machine");
    return;
  }
  for (std::span<const std::byte> left = resource->content; !left.empty();) {
    if (isCancelled(request)) {
      break;
    }
    const auto chunk = left.first(std::min(chunkSize, left.size()));
    dataReceived(chunk);
    left = left.subspan(chunk.size());
  }
  if (isCancelled(request)) {
    end(PhotosPlatformError::Case::userCancelled, "the request was cancelled");
    return;
  }
  completion(nullptr);
}

void ScriptedPhotoLibrary::cancelDataRequest(RequestID request) {
  const std::lock_guard lock(mutex_);
  cancelledRequests_.push_back(request);
}

bool ScriptedPhotoLibrary::isCancelled(RequestID request) const {
  const std::lock_guard lock(mutex_);
  return contains(cancelledRequests_, request);
}

}  // namespace tolvander::tests
