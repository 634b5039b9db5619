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

// A photo library of ordinary files: `Originals/2026/2026-11-20/PICT0001.JPG`, named after the day on which
// the picture was taken in the user's time zone, and `Library.sqlite`, their catalogue. Any viewer can open
// the files. Users may move, change and delete them; files that they add are never touched.
//
// An asset is in the library only while each of its originals is a regular file of its original size. Links
// to folders and files are followed. If a link is broken, or the system call fails, the state of the
// original is unknown: its asset is in the library, and its data is not on this machine. If the folder of
// originals itself can't be read, the state of all of them is unknown, and fetches that have to look at one
// throw PhotosPlatformError networkAccessRequired.
//
// Authorisation: an existing catalogue means that the user has authorised the program. Without one it is
// notDetermined; requestAuthorization creates the catalogue, without a question. If the folder can't be
// changed, it is denied. After an error during the creation (requestFailure) it stays notDetermined.
//
// A folder that has pictures, but a catalogue that is missing, empty or without assets, is refused: no
// catalogue is created (requestFailure), and fetches and changes fail. LibraryRebuild creates it from the
// files.
//
// Changes are durable when their completion is called. They run one at a time on one thread, data requests
// on another, and fetches on the caller's thread; none waits for the others. Only one process on the machine
// changes the library at a time: others wait, and after `busyTimeout` their change fails. After a crash,
// fetches don't return incomplete changes. Imports that were prepared for a history are completed or dropped
// when that history asks for it (completeImports); the incoming files of other changes are removed at the
// next change. Reading changes nothing. A file that has its final name among the originals is never removed.
//
// An asset's creation date is the requested one, else the one in the file, else the file's modification
// date. A picture that can't be parsed is imported like any other, without dimensions.
//
// Safe on every thread, but a handler must not destroy it. Destroying it completes the pending changes and
// cancels the data requests.
class EmbeddedPhotoLibrary final : public app::PhotoLibrary {
 public:
  static constexpr std::chrono::seconds defaultBusyTimeout{5};

  // Opens and creates nothing yet.
  explicit EmbeddedPhotoLibrary(const FileURL& folder,
                                std::chrono::milliseconds busyTimeout = defaultBusyTimeout);
  ~EmbeddedPhotoLibrary() override;

  // The folder of the user's library: "Tolvander" in the pictures folder. Absent if the user has no pictures
  // folder.
  static std::optional<FileURL> folderOfUser(const StandardDirectories& directories);

  app::PhotosAuthorizationStatus authorizationStatus() override;
  std::optional<FileURL> folderOfNewLibrary() override;
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
  // Doesn't follow links below the library's folder: a link may lead to the very file that is about to be
  // deleted.
  bool proveOriginal(const std::string& localIdentifier, const std::string& sha256,
                     const CancellationToken& token) override;
  std::vector<app::PhotosAssetResource> assetResources(const app::PhotosAsset& asset) override;
  // Compares size and modification date only, and follows links.
  std::optional<std::vector<app::PhotosUnchangedOriginal>> unchangedOriginals(
      const std::vector<std::string>& localIdentifiers) override;

  RequestID requestData(const app::PhotosAssetResource& resource, DataHandler dataReceived,
                        DataCompletion completion) override;
  void cancelDataRequest(RequestID request) override;

  // Throws PhotosPlatformError if the folder has pictures and the catalogue can't be used: it is missing,
  // empty, damaged, of a newer version, or without assets. Does nothing if there is no library.
  void requireCatalogue();

  // For listings and checks by the user. All throw PhotosPlatformError.

  // Calls `visit` with every asset in the library, oldest first, all from one state of the catalogue.
  void forEachAsset(const AssetVisitor& visit);
  std::vector<ListedAlbum> albumsWithCounts();
  // Checks the whole catalogue and, unless only sizes are requested, reads every original. Stores hashes for
  // originals that had none, unless another process is changing the library. Throws CancellationError.
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
  SerialQueue changes_;  // declared last: its jobs use the others
};

}  // namespace tolvander::platform::linux_
