#pragma once

#include <cstddef>
#include <cstdint>
#include <deque>
#include <exception>
#include <functional>
#include <map>
#include <mutex>
#include <optional>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "TolvanderApp/Platform/PhotoLibrary.h"
#include "TolvanderCore/Concurrency/SerialQueue.h"

namespace tolvander::tests {

// A photo library in memory that keeps the contract, except where a test tells it otherwise, and remembers
// what it was asked. Changes are made on one thread, data is delivered on another. A script is set
// before the call that it is meant for; what it holds may be told at any time.
class ScriptedPhotoLibrary final : public app::PhotoLibrary {
 public:
  struct Resource {
    app::PhotosResourceType type = app::PhotosResourceType::photo;
    std::string originalFilename;
    std::vector<std::byte> content;
    bool isLocal = true;
    bool isUnchanged = true;  // since it came into the library
  };

  // How a change ends, whatever the block did.
  struct ChangeEnd {
    bool success = true;
    std::exception_ptr error = nullptr;
    bool isApplied = true;
    int extraCompletions = 0;  // of the opposite success
  };

  // Answers a data request in the library's place, on the asking thread, before the call returns.
  using Read = std::function<void(RequestID request, const DataHandler& dataReceived,
                                  const DataCompletion& completion)>;

  // What a test did to it.
  struct Creation {
    app::PhotosMediaType mediaType;
    FileURL file;
    std::optional<Date> creationDate;  // as it was set

    friend bool operator==(const Creation&, const Creation&) = default;
  };

  ScriptedPhotoLibrary();

  // Makes every change and delivers all data that was asked for.
  ~ScriptedPhotoLibrary() override;

  // Adds what is in the library. An empty identifier is replaced by a new one. Returns what was added.
  app::PhotosAsset addAsset(app::PhotosAsset asset, std::vector<Resource> resources = {});
  app::PhotosAlbum addAlbum(std::optional<std::string> title, std::vector<std::string> members = {});
  void removeAsset(const std::string& localIdentifier);
  void removeAlbum(const std::string& localIdentifier);

  // One answer for each question, the last one for all further ones.
  void answerAuthorization(std::vector<app::PhotosAuthorizationStatus> answers);
  // Runs on the asking thread before each question whether there is access, holding no lock.
  void beforeEachAuthorizationQuestion(std::function<void()> function);
  // What the user says when asked; authorized at first.
  void answerRequestForAuthorization(app::PhotosAuthorizationStatus answer);
  // The request for access makes a library here, where there is none yet.
  void makeNewLibraryIn(const FileURL& folder) { folderOfNewLibrary_ = folder; }
  // The request comes to nothing, and the status stays.
  void failRequestForAuthorization(std::exception_ptr failure) { requestFailure_ = std::move(failure); }

  // The library refuses the creation of an asset from a file of this name, or can't tell its identifier.
  void refuseFile(const std::string& filename);
  void withholdPlaceholder(const std::string& filename);
  void refuseAlbumCreation();
  void withholdAlbumPlaceholder();
  void refuseAlbumChanges();
  // What is in albums can't be read.
  void failAlbumAssetFetches();
  // The next change that has no end yet ends like this.
  void endNextChange(ChangeEnd end);
  // Runs on the library's thread before each change block, holding no lock.
  void beforeEachChange(std::function<void()> function);
  // Runs on the asking thread before each fetch by identifiers, holding no lock.
  void beforeEachIdentifierFetch(std::function<void()> function);
  // The original of this asset is proven by this content only; without it the asset's existence is enough.
  void proveOnlyBy(const std::string& localIdentifier, const std::string& sha256);
  // Runs on the asking thread before each proof, holding no lock.
  void beforeEachProof(std::function<void()> function);
  // Files of these contents wait for interrupted imports to be completed.
  void setPreparedFingerprints(std::set<std::string> fingerprints);
  // It keeps hashes of what is local, and so knows which originals are unchanged.
  void keepHashes();
  // Reads of this asset's resources are answered by `read`.
  void answerReads(const std::string& assetIdentifier, Read read);

  // What it was asked so far.
  std::size_t authorizationQuestions() const;
  std::size_t changeCount() const;
  std::vector<std::set<std::string>> completions() const;  // the fingerprints that were marked at each
  std::vector<Creation> creations() const;
  std::vector<std::vector<std::string>> albumAdditions() const;
  std::vector<app::PhotosFetchOptions> fetches() const;
  std::vector<std::vector<std::string>> identifierFetches() const;
  std::size_t albumAssetFetches() const;
  std::map<std::string, int> resourceQuestions() const;             // by asset
  std::vector<std::pair<std::string, std::string>> proofs() const;  // asset and SHA-256
  std::vector<app::PhotosAssetResource> dataRequests() const;
  std::vector<RequestID> cancelledRequests() const;

  std::vector<std::string> members(const std::string& albumIdentifier) const;

  app::PhotosAuthorizationStatus authorizationStatus() override;
  void requestAuthorization(std::function<void(app::PhotosAuthorizationStatus)> handler) override;
  std::exception_ptr requestFailure() override { return requestFailure_; }
  std::optional<FileURL> folderOfNewLibrary() override { return folderOfNewLibrary_; }
  std::vector<app::PhotosHeldContent> completeImports(const app::PhotosInterruptedImports& imports) override;
  std::set<std::string> preparedFingerprints(const app::PhotosInterruptedImports& imports) override;
  void performChanges(ChangeBlock block, ChangeCompletion completion) override;
  std::vector<app::PhotosAsset> fetchAssets(const app::PhotosFetchOptions& options) override;
  std::vector<app::PhotosAsset> fetchAssets(const std::vector<std::string>& localIdentifiers) override;
  std::vector<app::PhotosAsset> fetchAssets(const app::PhotosAlbum& album) override;
  std::vector<app::PhotosAlbum> fetchAlbums(const std::optional<std::string>& title) override;
  std::vector<app::PhotosAlbum> fetchAlbumsWithLocalIdentifiers(
      const std::vector<std::string>& localIdentifiers) override;
  bool proveOriginal(const std::string& localIdentifier, const std::string& sha256,
                     const CancellationToken& token) override;
  std::vector<app::PhotosAssetResource> assetResources(const app::PhotosAsset& asset) override;
  std::optional<std::vector<app::PhotosUnchangedOriginal>> unchangedOriginals(
      const std::vector<std::string>& localIdentifiers) override;
  RequestID requestData(const app::PhotosAssetResource& resource, DataHandler dataReceived,
                        DataCompletion completion) override;
  void cancelDataRequest(RequestID request) override;

 private:
  std::exception_ptr requestFailure_;
  std::optional<FileURL> folderOfNewLibrary_;

  struct StoredAsset {
    app::PhotosAsset asset;
    std::vector<Resource> resources;
  };
  struct StoredAlbum {
    app::PhotosAlbum album;
    std::vector<std::string> members;
  };

  class Change;
  class AssetCreation;
  class AlbumCreation;
  class AlbumChange;

  void makeChange(const ChangeBlock& block, const ChangeCompletion& completion);
  void deliver(RequestID request, const app::PhotosAssetResource& resource, const DataHandler& dataReceived,
               const DataCompletion& completion);
  bool isCancelled(RequestID request) const;
  std::string newIdentifier();
  StoredAsset* asset(const std::string& localIdentifier);
  StoredAlbum* album(const std::string& localIdentifier);

  mutable std::mutex mutex_;  // guards all below; nothing is called under it
  std::deque<app::PhotosAuthorizationStatus> authorization_{app::PhotosAuthorizationStatus::authorized};
  app::PhotosAuthorizationStatus requestAnswer_ = app::PhotosAuthorizationStatus::authorized;
  std::vector<StoredAsset> assets_;
  std::vector<StoredAlbum> albums_;
  int lastIdentifier_ = 0;

  std::set<std::string> refusedFiles_;
  std::set<std::string> filesWithoutPlaceholder_;
  bool refusesAlbumCreation_ = false;
  bool withholdsAlbumPlaceholder_ = false;
  bool refusesAlbumChanges_ = false;
  bool failsAlbumAssetFetches_ = false;
  bool keepsHashes_ = false;
  std::deque<ChangeEnd> changeEnds_;
  std::function<void()> beforeEachAuthorizationQuestion_;
  std::function<void()> beforeEachChange_;
  std::function<void()> beforeEachIdentifierFetch_;
  std::function<void()> beforeEachProof_;
  std::map<std::string, std::string> provingContents_;  // by asset
  std::map<std::string, Read> reads_;

  std::size_t authorizationQuestions_ = 0;
  std::size_t changeCount_ = 0;
  std::set<std::string> preparedFingerprints_;
  std::vector<std::set<std::string>> completions_;
  std::vector<Creation> creations_;
  std::vector<std::vector<std::string>> albumAdditions_;
  std::vector<app::PhotosFetchOptions> fetches_;
  std::vector<std::vector<std::string>> identifierFetches_;
  std::size_t albumAssetFetches_ = 0;
  std::map<std::string, int> resourceQuestions_;
  std::vector<std::pair<std::string, std::string>> proofs_;
  std::vector<app::PhotosAssetResource> dataRequests_;
  std::vector<RequestID> cancelledRequests_;
  RequestID lastRequest_ = 0;

  SerialQueue changes_;  // last: use all of the above
  SerialQueue deliveries_;
};

}  // namespace tolvander::tests
