#include "TolvanderApp/Model/CameraSync.h"

#include <utility>

#include "TolvanderApp/CameraVolumeDiscovery.h"
#include "TolvanderApp/Import/MediaFingerprintStage.h"
#include "TolvanderApp/PausedImports.h"
#include "TolvanderApp/Platform/PhotoLibraryError.h"
#include "TolvanderApp/Platform/PhotosPlatformError.h"
#include "TolvanderCore/MediaImportError.h"
#include "TolvanderCore/Platform/Calendar.h"

namespace tolvander::app {

template <typename Work>
auto CameraSync::stoppingWithTheCamera(Work work) const {
  try {
    return work();
  } catch (const PhotoLibraryError&) {
    throw;
  } catch (const PhotosPlatformError&) {
    throw;
  } catch (const MediaImportError&) {
    throw;
  } catch (const std::exception&) {
    if (CameraVolumeDiscovery::isStillMounted(volumeURL_, services_.volumes)) {
      throw;
    }
  }
  throw CancellationError();
}

CameraSync::CameraSync(Services services, FileURL volumeURL, Observer observer, CancellationToken token)
    : services_(std::move(services)),
      volumeURL_(std::move(volumeURL)),
      observer_(std::move(observer)),
      token_(std::move(token)),
      import_(
          {.mediaStaging = services_.mediaStaging, .photos = services_.photos, .history = services_.history},
          observer_.import, [this] { requireLibraryAccess(); }, [this] { return now(); }) {}

SyncCoordinator CameraSync::coordinator(Services services, const FileURL& volumeURL, Observer observer,
                                        const CancellationToken& token) {
  const std::shared_ptr<const CameraSync> sync(
      new CameraSync(std::move(services), volumeURL, std::move(observer), token));
  return SyncCoordinator(
      sync->services_.history,
      {.checkAccess = [sync] { sync->checkAccess(); },
       .fingerprint = [sync](const CameraFiles& files,
                             bool isCharmera) { return sync->fingerprint(files, isCharmera); },
       .reconcile = [sync](const Files& files, bool broader) { return sync->reconcile(files, broader); },
       .existingIdentifiers =
           [sync](const Identifiers& identifiers) { return sync->existingIdentifiers(identifiers); },
       .importFiles = [sync](const Files& files,
                             bool isCharmera) { return sync->importFiles(files, isCharmera); },
       .addToAlbum = [sync](const Identifiers& identifiers,
                            const std::string& album) { sync->addToAlbum(identifiers, album); },
       .phase = sync->observer_.phase,
       .completeInterruptedImports =
           [sync] { return completeImports(*sync->services_.photos, *sync->services_.history); }},
      [sync] { return sync->now(); });
}

std::set<std::string> CameraSync::completeImports(PhotoLibraryService& photos, SyncHistoryStore& history) {
  return photos.completeInterruptedImports(interruptedImports(history, history.identity()));
}

void CameraSync::checkAccess() const {
  token_.throwIfCancelled();
  if (!CameraVolumeDiscovery::isStillMounted(volumeURL_, services_.volumes)) {
    throw CancellationError();
  }
  requireLibraryAccess();
}

void CameraSync::requireLibraryAccess() const {
  if (services_.library.authorizationStatus() != PhotosAuthorizationStatus::authorized) {
    throw PhotoLibraryError(PhotoLibraryError::Case::accessDenied);
  }
}

CameraSync::Files CameraSync::fingerprint(const CameraFiles& files, bool isCharmera) const {
  return stoppingWithTheCamera([&] {
    return MediaFingerprintStage::fingerprint(files, isCharmera, token_, TimeZone::current(),
                                              observer_.import.failedFile);
  });
}

LibraryReconciliation CameraSync::reconcile(const Files& files, bool broader) const {
  return services_.photos->reconcileExisting(files, broader, token_, services_.history->records());
}

std::set<std::string> CameraSync::existingIdentifiers(const Identifiers& identifiers) const {
  return services_.photos->existingAssetIdentifiers(identifiers, token_);
}

CameraSync::Files CameraSync::importFiles(const Files& files, bool isCharmera) const {
  return stoppingWithTheCamera(
      [&] { return import_.importNewFiles(files, isCharmera, std::nullopt, token_); });
}

void CameraSync::addToAlbum(const Identifiers& identifiers, const std::string& album) const {
  services_.photos->addAssets(identifiers, album, token_);
}

}  // namespace tolvander::app
