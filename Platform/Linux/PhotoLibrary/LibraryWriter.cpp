#include "Platform/Linux/PhotoLibrary/LibraryWriter.h"

#include "Platform/Linux/PhotoLibrary/LibrarySweep.h"
#include "Platform/Linux/PhotoLibrary/OriginalPlacement.h"
#include "Platform/Linux/PhotoLibrary/OriginalPresence.h"
#include "TolvanderApp/Platform/PhotosPlatformError.h"
#include "TolvanderCore/Platform/AtomicFile.h"

namespace tolvander::platform::linux_ {

using app::PhotosPlatformError;

namespace {

void record(const RecordedChange& change, const std::vector<PlacedOriginal>& originals,
            Catalogue& catalogue) {
  for (const PlacedOriginal& original : originals) {
    catalogue.insertAsset(original.asset, original.resource);
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

// A commit that failed may come back after a crash all the same, unless another one has taken its place.
bool isCertainlyUndone(Catalogue& catalogue) {
  try {
    catalogue.settle();
    return true;
  } catch (const DatabaseError&) {
    return false;
  }
}

}  // namespace

void LibraryWriter::createLibrary() const {
  createDirectories(folder_.url(), Durability::survivesPowerLoss);
  const LibraryLock lock(folder_, patience_);
  std::vector<std::string> made;
  folder_.makeFolder(LibraryFolder::incoming, made);
  Catalogue::createOrUpgrade(folder_.catalogueFile(), patience_);
  makeDurable(folder_.open(), folder_.url());
}

ChangeOutcome LibraryWriter::carryOut(const RecordedChange& change) const {
  std::exception_ptr error;
  try {
    const LibraryLock lock(folder_, patience_);
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
  if (!change.originals.empty() && !catalogue.isEmpty()) {
    OriginalPresence(folder_).requireOriginals();
  }
  OriginalPlacement placement(folder_, catalogue);
  const std::vector<PlacedOriginal> originals = placement.place(change.originals);
  std::exception_ptr error;
  {
    Transaction transaction = catalogue.change();
    record(change, originals, catalogue);
    placement.forgetPlacements();
    // Another process that found no lock may have swept the files of this change.
    lock.requireHeld();
    try {
      transaction.commit();
      placement.keep();
      return {true, nullptr};
    } catch (const DatabaseError&) {
      error = std::current_exception();
    }
  }
  if (isCertainlyUndone(catalogue)) {
    return {false, std::move(error)};
  }
  placement.keep();
  return {true, std::move(error)};
}

}  // namespace tolvander::platform::linux_
