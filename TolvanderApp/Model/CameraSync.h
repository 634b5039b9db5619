#pragma once

#include <functional>
#include <memory>
#include <set>
#include <string>
#include <vector>

#include "TolvanderApp/Concurrency/MainThread.h"
#include "TolvanderApp/Import/CameraImport.h"
#include "TolvanderApp/Library/PhotoLibraryService.h"
#include "TolvanderApp/Platform/PhotoLibrary.h"
#include "TolvanderApp/Platform/Volumes.h"
#include "TolvanderCore/Concurrency/Cancellation.h"
#include "TolvanderCore/MediaStagingService.h"
#include "TolvanderCore/SyncCoordinator.h"
#include "TolvanderCore/SyncHistoryStore.h"

namespace tolvander::app {

// What the engine's coordinator needs for one camera, made of the application's services. Each function is a
// dependency of the coordinator under the same name. All are called on a worker and block; they watch the
// token, and know nothing of the model but the observer.
class CameraSync {
 public:
  struct Services {
    std::shared_ptr<MediaStagingService> mediaStaging;
    std::shared_ptr<PhotoLibraryService> photos;
    std::shared_ptr<SyncHistoryStore> history;
    PhotoLibrary& library;  // these three outlive the coordinator
    const Volumes& volumes;
    MainThread& mainThread;
  };

  struct Observer {
    CameraImport::Observer import;
    std::function<void(const SyncPhase& phase)> phase;
  };

  // A coordinator for the camera on this volume.
  static SyncCoordinator coordinator(Services services, const FileURL& volumeURL, Observer observer,
                                     const CancellationToken& token);

  // Completes what interrupted imports left prepared in the library. Gives the processed fingerprints that
  // the library holds now. Throws SyncHistoryError where the history can't be read, since nothing of it is
  // known then, and what PhotoLibraryService::completeInterruptedImports throws.
  static std::set<std::string> completeImports(PhotoLibraryService& photos, SyncHistoryStore& history);

 private:
  using CameraFiles = std::vector<CameraMediaFile>;
  using Files = std::vector<FingerprintedMediaFile>;
  using Identifiers = std::vector<std::string>;

  CameraSync(Services services, FileURL volumeURL, Observer observer, CancellationToken token);

  // Throws CancellationError where the run is to stop or the camera is gone, which is a stop and not a
  // failure, and PhotoLibraryError accessDenied.
  void checkAccess() const;
  void requireLibraryAccess() const;
  Files fingerprint(const CameraFiles& files, bool isCharmera) const;
  LibraryReconciliation reconcile(const Files& files, bool broader) const;
  std::set<std::string> existingIdentifiers(const Identifiers& identifiers) const;
  // Into no album: the album is filled once, at the end of the run, with every recorded item of the card.
  Files importFiles(const Files& files, bool isCharmera) const;
  void addToAlbum(const Identifiers& identifiers, const std::string& album) const;
  Date now() const { return services_.mainThread.wallNow(); }

  // Does what reads the camera. What fails for want of the camera is a stop and not a failure; what the
  // library and the history say is a failure without it too.
  template <typename Work>
  auto stoppingWithTheCamera(Work work) const;

  const Services services_;
  const FileURL volumeURL_;
  const Observer observer_;
  const CancellationToken token_;
  const CameraImport import_;
};

}  // namespace tolvander::app
