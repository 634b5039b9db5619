#include "Platform/Linux/PhotoLibrary/LibraryWriter.h"

#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <iterator>
#include <map>
#include <utility>

#include "Platform/Linux/Files/Durable.h"
#include "Platform/Linux/PhotoLibrary/DatabaseFile.h"
#include "Platform/Linux/PhotoLibrary/IncomingCopies.h"
#include "Platform/Linux/PhotoLibrary/InterruptedImports.h"
#include "Platform/Linux/PhotoLibrary/LibrarySweep.h"
#include "Platform/Linux/PhotoLibrary/LostCatalogue.h"
#include "Platform/Linux/PhotoLibrary/OriginalPresence.h"
#include "Platform/Linux/PhotoLibrary/OriginalsImport.h"
#include "TolvanderApp/Platform/PhotosPlatformError.h"
#include "TolvanderCore/Platform/AtomicFile.h"

namespace tolvander::platform::linux_ {

using app::PhotosPlatformError;

namespace {

// The intents of originals that were prepared, updated from the change. The other originals are moved to
// `unprepared`.
std::vector<Intent> preparedIntents(const RecordedChange& change, Catalogue& catalogue,
                                    std::vector<NewOriginal>& unprepared) {
  std::map<std::string, Intent> known;
  for (Intent& intent : catalogue.intents()) {
    if (intent.history && intent.original.content) {
      const std::string identifier = intent.asset.localIdentifier;
      known.emplace(identifier, std::move(intent));
    }
  }
  std::vector<Intent> prepared;
  for (const NewOriginal& original : change.originals) {
    const auto intent = known.find(original.identifier);
    if (intent == known.end()) {
      unprepared.push_back(original);
      continue;
    }
    prepared.push_back(std::move(intent->second));
    if (original.creationDate) {
      prepared.back().asset.creationDate = original.creationDate;
    }
  }
  return prepared;
}

void record(const RecordedChange& change, const std::vector<Intent>& intents,
            const OriginalsImport& originals, Catalogue& catalogue) {
  for (const Intent& intent : intents) {
    catalogue.insertAsset(intent.asset, intent.original);
    if (!originals.isCopied(intent.asset.localIdentifier)) {
      catalogue.removeIntent(intent.asset.localIdentifier);
    }
  }
  for (const app::PhotosAlbum& album : change.albums) {
    catalogue.insertAlbum(album);
  }
  for (const AlbumAddition& addition : change.additions) {
    if (!catalogue.addToAlbum(addition.album, addition.assets)) {
      throw PhotosPlatformError(PhotosPlatformError::Case::identifierNotFound,
                                "the album is no longer in the library");
    }
  }
}

// A failed commit can reappear after a crash unless another commit has overwritten it.
bool isCertainlyUndone(Catalogue& catalogue) {
  try {
    catalogue.commitBarrier();
    return true;
  } catch (const DatabaseError&) {
    return false;
  }
}

}  // namespace

void LibraryWriter::createLibrary() const {
  createDirectories(folder_.url(), Durability::survivesPowerLoss);
  const LibraryLock lock(folder_, busyTimeout_);
  const FileURL catalogue = folder_.catalogueFile();
  struct stat status {};
  const bool isNew = lstat(catalogue.path().c_str(), &status) != 0 && errno == ENOENT;
  if (isNew) {
    requireNoPictures(folder_, "missing");
  }
  std::vector<std::string> made;
  folder_.makeFolder(LibraryFolder::incoming, made);
  try {
    Catalogue::createOrUpgrade(catalogue, busyTimeout_);
  } catch (const std::exception&) {
    if (isNew) {
      DatabaseFile(catalogue).remove();  // a part of it, on a full disk, would count as a library
    }
    throw;
  }
  makeDurable(folder_.open(), folder_.url());
}

void LibraryWriter::requireOriginals(Catalogue& catalogue) const {
  if (!catalogue.isEmpty()) {
    OriginalPresence(folder_).requireOriginals();
  }
}

void LibraryWriter::prepare(const std::vector<NewOriginal>& originals, const UUID& history,
                            const std::optional<std::string>& album) const {
  const LibraryLock lock(folder_, busyTimeout_);
  const CataloguePool::Lease catalogue = catalogues_->takeForChange(lock);
  requireOriginals(*catalogue);
  IncomingCopies copies(folder_, *catalogue);
  copies.make(originals, history.text(), album);
  lock.requireHeld();
  copies.commit();
}

std::vector<app::PhotosHeldContent> LibraryWriter::complete(
    const app::PhotosInterruptedImports& imports) const {
  const auto isAny = [&](Catalogue& catalogue) {
    return std::ranges::any_of(catalogue.intents(), [&](const Intent& intent) {
      return InterruptedImports::isOf(imports.history, intent);
    });
  };
  // Usually there is nothing to do; then no lock is needed.
  if (isAny(*catalogues_->take())) {
    const LibraryLock lock(folder_, busyTimeout_);
    const CataloguePool::Lease catalogue = catalogues_->takeForChange(lock);
    requireOriginals(*catalogue);
    InterruptedImports(folder_, *catalogue).complete(imports, lock);
  }
  const CataloguePool::Lease catalogue = catalogues_->take();
  std::vector<app::PhotosHeldContent> held;
  for (const std::string& fingerprint : imports.pendingFingerprints) {
    for (const auto& [asset, original] : catalogue->assetsWithContent(fingerprint)) {
      held.push_back({.fingerprint = fingerprint, .assetLocalIdentifier = asset.localIdentifier});
    }
  }
  return held;
}

ChangeOutcome LibraryWriter::carryOut(const RecordedChange& change) const {
  std::exception_ptr error;
  try {
    const LibraryLock lock(folder_, busyTimeout_);
    const CataloguePool::Lease catalogue = catalogues_->takeForChange(lock);
    sweepLeftovers(folder_, *catalogue);
    return carryOut(change, *catalogue, lock);
  } catch (const std::exception&) {
    error = std::current_exception();
  }
  return {false, std::move(error)};
}

ChangeOutcome LibraryWriter::carryOut(const RecordedChange& change, Catalogue& catalogue,
                                      const LibraryLock& lock) const {
  if (!change.originals.empty()) {
    requireOriginals(catalogue);
  }
  IncomingCopies copies(folder_, catalogue);
  OriginalsImport originals(folder_, catalogue);
  std::vector<NewOriginal> unprepared;
  std::vector<Intent> intents = preparedIntents(change, catalogue, unprepared);
  std::ranges::move(copies.make(unprepared, std::nullopt, std::nullopt), std::back_inserter(intents));
  lock.requireHeld();
  originals.moveIntoPlace(intents);
  const auto commit = [&] {
    originals.commit();
    copies.commit();
  };
  std::exception_ptr error;
  {
    Transaction transaction = catalogue.change();
    record(change, intents, originals, catalogue);
    // Without this file, another process may have locked a new one and changed the same.
    lock.requireHeld();
    try {
      transaction.commit();
      commit();
      originals.removeIncoming();
      return {true, nullptr};
    } catch (const DatabaseError&) {
      error = std::current_exception();
    }
  }
  if (isCertainlyUndone(catalogue)) {
    return {false, std::move(error)};
  }
  commit();
  return {true, std::move(error)};
}

}  // namespace tolvander::platform::linux_
