#pragma once

#include <chrono>
#include <exception>

#include "Platform/Linux/PhotoLibrary/CataloguePool.h"
#include "Platform/Linux/PhotoLibrary/ChangeRecorder.h"
#include "Platform/Linux/PhotoLibrary/LibraryFolder.h"
#include "Platform/Linux/PhotoLibrary/LibraryLock.h"

namespace tolvander::platform::linux_ {

// How a change ended. Success without an error: it is done, durably. No success: nothing of it is. Success
// with an error: it can't be known until the library is opened anew.
struct ChangeOutcome {
  bool success = false;
  std::exception_ptr error;
};

// Carries changes out, each as a whole or not at all. One process on the machine does so at a time.
//
// The order is what makes it hold through a power loss: the originals are durable under their names before
// the catalogue's transaction is committed, and until then its intents tell which files a crash left.
class LibraryWriter {
 public:
  LibraryWriter(LibraryFolder folder, CataloguePool& catalogues, std::chrono::milliseconds busyTimeout)
      : folder_(std::move(folder)), catalogues_(&catalogues), busyTimeout_(busyTimeout) {}

  // Makes the library, durably, where there is none. Throws PosixError, DatabaseError and
  // PhotosPlatformError, that one also where there are pictures without a catalogue.
  void createLibrary() const;

  // All of these block on the disk, and for at most the busyTimeout on another process that is writing.

  // Takes the files in, for the change that is to follow. Throws PosixError, DatabaseError and
  // PhotosPlatformError.
  void prepare(const std::vector<NewOriginal>& originals, const UUID& history,
               const std::optional<std::string>& album) const;

  // What PhotoLibrary::completeImports says. Throws as above.
  std::vector<app::PhotosHeldContent> complete(const app::PhotosInterruptedImports& imports) const;

  ChangeOutcome carryOut(const RecordedChange& change) const;

 private:
  ChangeOutcome carryOut(const RecordedChange& change, Catalogue& catalogue, const LibraryLock& lock) const;
  // A missing folder of originals is not made anew where it had pictures.
  void requireOriginals(Catalogue& catalogue) const;

  LibraryFolder folder_;
  CataloguePool* catalogues_;
  std::chrono::milliseconds busyTimeout_;
};

}  // namespace tolvander::platform::linux_
