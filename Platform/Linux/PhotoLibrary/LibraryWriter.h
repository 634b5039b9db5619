#pragma once

#include <chrono>
#include <exception>

#include "Platform/Linux/PhotoLibrary/CataloguePool.h"
#include "Platform/Linux/PhotoLibrary/ChangeRecorder.h"
#include "Platform/Linux/PhotoLibrary/LibraryFolder.h"
#include "Platform/Linux/PhotoLibrary/LibraryLock.h"

namespace tolvander::platform::linux_ {

// The result of a change. Success without an error: all of it is done, durably. No success: none of it is
// done. Success with an error: unknown until the library is opened again.
struct ChangeOutcome {
  bool success = false;
  std::exception_ptr error;
};

// Carries out changes, each completely or not at all. Only one process on the machine does so at a time.
//
// A change survives a power loss because of the order: the originals are durable under their final names
// before the catalogue's transaction is committed, and until then its intents (a write-ahead log) name all
// files of the change.
class LibraryWriter {
 public:
  LibraryWriter(LibraryFolder folder, CataloguePool& catalogues, std::chrono::milliseconds busyTimeout)
      : folder_(std::move(folder)), catalogues_(&catalogues), busyTimeout_(busyTimeout) {}

  // Creates the library, durably, unless it exists. Throws PosixError, DatabaseError and
  // PhotosPlatformError, the last also if there are pictures without a catalogue.
  void createLibrary() const;

  // The following operations block: on the disk, and at most `busyTimeout` while another process is writing.

  // Copies the files to the folder for incoming files, for the change that follows. Throws PosixError,
  // DatabaseError and PhotosPlatformError.
  void prepare(const std::vector<NewOriginal>& originals, const UUID& history,
               const std::optional<std::string>& album) const;

  // Implements PhotoLibrary::completeImports. Throws as above.
  std::vector<app::PhotosHeldContent> complete(const app::PhotosInterruptedImports& imports) const;

  ChangeOutcome carryOut(const RecordedChange& change) const;

 private:
  ChangeOutcome carryOut(const RecordedChange& change, Catalogue& catalogue, const LibraryLock& lock) const;
  // Throws if the folder of originals is missing although pictures are catalogued: creating it would make
  // all of them count as deleted.
  void requireOriginals(Catalogue& catalogue) const;

  LibraryFolder folder_;
  CataloguePool* catalogues_;
  std::chrono::milliseconds busyTimeout_;
};

}  // namespace tolvander::platform::linux_
