#pragma once

#include <chrono>
#include <exception>
#include <mutex>

#include "Platform/Linux/PhotoLibrary/CataloguePool.h"
#include "Platform/Linux/PhotoLibrary/ChangeRecorder.h"
#include "Platform/Linux/PhotoLibrary/DataRequests.h"
#include "Platform/Linux/PhotoLibrary/LibraryFolder.h"
#include "Platform/Linux/PhotoLibrary/LibraryListing.h"
#include "Platform/Linux/PhotoLibrary/LibraryWriter.h"
#include "TolvanderApp/Platform/PhotoLibrary.h"
#include "TolvanderCore/Concurrency/Cancellation.h"
#include "TolvanderCore/Concurrency/SerialQueue.h"
#include "TolvanderCore/Platform/StandardDirectories.h"

namespace tolvander::platform::linux_ {

// A photo library of ordinary files: `Originals/2026/2026-11-20/PICT0001.JPG`, by the day on which a picture
// was taken where the user is, and `Library.sqlite`, the catalogue of them. Any viewer opens the files;
// people may move, change and delete them, and add others, which are never touched.
//
// An asset is in the library only while each of its originals is a regular file of the size that it had when
// it came. Links to folders and files are followed. Where a link leads nowhere, or the system refuses to
// look, nothing is known of the original: its asset is in the library, and its data is not on this machine.
// Where the folder of originals itself can't be read, nothing is known of any of them, and the fetches that
// would have to look at one throw PhotosPlatformError networkAccessRequired.
//
// Authorisation is the user's, who has said yes when the library was made: until there is a catalogue it is
// not determined, and requestAuthorization, which asks nobody, makes it. Where the folder can't be changed it
// is denied. A fault while it is made (requestFailure) leaves it not determined.
//
// A folder that has pictures, and a catalogue that is missing, empty or names none of them, is refused: no
// catalogue is made there (requestFailure), and fetches and changes fail. LibraryRebuild makes it anew.
//
// Changes are durable when their completion says so. They are made one after the other on one thread, data
// requests are answered on another one, and fetches on the caller's; none waits for the others. One process
// on the machine changes the library at a time: another one waits for its turn, and after `busyTimeout` its
// change has failed. After a crash the library is true: what was not completed is in no fetch. What was
// prepared for a history is completed or dropped when that history asks (completeImports), and the incoming
// files of other changes are swept when the library is next changed. What only looks changes nothing, and
// nothing that has its name among the originals is ever removed.
//
// The asset's creation date is the one that was asked for, or the one in the file, or the file's modification
// date. A picture that can't be understood is kept like every other, without a size.
//
// Safe on every thread. Not to be destroyed by a handler. Destroying it completes the changes that were asked
// for and cancels the data requests.
class EmbeddedPhotoLibrary final : public app::PhotoLibrary {
 public:
  static constexpr std::chrono::seconds defaultBusyTimeout{5};

  // Nothing is opened or made yet.
  explicit EmbeddedPhotoLibrary(const FileURL& folder,
                                std::chrono::milliseconds busyTimeout = defaultBusyTimeout);
  ~EmbeddedPhotoLibrary() override;

  // Where the user's library is: "Tolvander" among the pictures. Absent where the user has no place for them.
  static std::optional<FileURL> folderOfUser(const StandardDirectories& directories);

  app::PhotosAuthorizationStatus authorizationStatus() override;
  void requestAuthorization(std::function<void(app::PhotosAuthorizationStatus)> handler) override;
  void prepareImport(const app::PhotosImportPreparation& preparation) override;
  std::vector<app::PhotosHeldContent> completeImports(const app::PhotosInterruptedImports& imports) override;
  std::set<std::string> preparedFingerprints(const app::PhotosInterruptedImports& imports) override;
  std::exception_ptr requestFailure() override;
  void performChanges(ChangeBlock block, ChangeCompletion completion) override;

  std::vector<app::PhotosAsset> fetchAssets(const app::PhotosFetchOptions& options) override;
  std::vector<app::PhotosAsset> fetchAssets(const std::vector<std::string>& localIdentifiers) override;
  std::vector<app::PhotosAsset> fetchAssets(const app::PhotosAlbum& album) override;
  std::vector<app::PhotosAlbum> fetchAlbums(const std::optional<std::string>& title) override;
  std::vector<app::PhotosAlbum> fetchAlbumsWithLocalIdentifiers(
      const std::vector<std::string>& localIdentifiers) override;
  // Reads an original as a regular file that is reached without links below the library's folder: where a
  // link leads to may be the very file that is about to be deleted.
  bool proveOriginal(const std::string& localIdentifier, const std::string& sha256,
                     const CancellationToken& token) override;
  std::vector<app::PhotosAssetResource> assetResources(const app::PhotosAsset& asset) override;
  // An edit that leaves size and modification date as they were isn't noticed. Links are followed.
  std::optional<std::vector<app::PhotosUnchangedOriginal>> unchangedOriginals(
      const std::vector<std::string>& localIdentifiers) override;

  RequestID requestData(const app::PhotosAssetResource& resource, DataHandler dataReceived,
                        DataCompletion completion) override;
  void cancelDataRequest(RequestID request) override;

  // Throws PhotosPlatformError where there are pictures whose catalogue can't be used: it is missing, empty,
  // damaged, of a newer version, or names none of them. Does nothing where there is no library yet.
  void requireCatalogue();

  // For people who want to see what is there. All throw PhotosPlatformError.

  // Every asset that is in the library, oldest first, of one state of the catalogue.
  void forEachAsset(const AssetVisitor& visit);
  std::vector<ListedAlbum> albumsWithCounts();
  // Reads the whole catalogue and, unless asked for sizes only, every original. Keeps the hashes of originals
  // that had none, where no other process is changing the library. Throws CancellationError.
  LibraryVerification verify(const CancellationToken& token = {}, const VerificationOptions& options = {});

 private:
  void requireAccess();
  CataloguePool::Lease catalogue();
  Catalogue::OriginalTest originalTest() const;
  ChangeOutcome change(const ChangeBlock& block);
  app::PhotosAuthorizationStatus makeLibrary();

  const LibraryFolder folder_;
  CataloguePool catalogues_;
  PreparedFiles prepared_;
  const LibraryWriter writer_;
  DataRequests requests_;
  std::mutex requestFailureLock_;
  std::exception_ptr requestFailure_;
  SerialQueue changes_;  // last, because its jobs need the others
};

}  // namespace tolvander::platform::linux_
