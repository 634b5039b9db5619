#pragma once

#include <cstddef>
#include <functional>
#include <set>
#include <string>
#include <vector>

#include "TolvanderApp/Library/PhotoLibraryService.h"
#include "TolvanderCore/CameraMediaFile.h"
#include "TolvanderCore/Concurrency/Cancellation.h"
#include "TolvanderCore/Foundation/UUID.h"
#include "TolvanderCore/ImportRecords.h"
#include "TolvanderCore/SyncHistoryStore.h"

namespace tolvander::app {

// What the history says of the imports that were begun, for a library to complete. `identity` is the
// history's. `history` must outlive the value. Throws like the history.
PhotosInterruptedImports interruptedImports(SyncHistoryStore& history, const UUID& identity);

// How the marks of imports that were cut short will be cleared. Source fingerprints.
struct PausedImports {
  std::set<std::string> finishedByNextSync;  // the library has what the import began
  std::set<std::string> paused;              // the others, which hold up their cards

  // Looks, and changes nothing. Blocks. Throws SyncHistoryError for a history that can't be read, PosixError,
  // and what the service throws where the library can't be read.
  static PausedImports of(SyncHistoryStore& history, PhotoLibraryService& photos);
};

// Called before a file is read: its number, from 1, among the files that may have to be read.
using PausedFileProgress = std::function<void(std::size_t number, std::size_t total)>;

// Takes those of the source fingerprints that are among the files out of `sources`, and gives the files. A
// mark has neither name nor size, so that files are read and hashed until all are found: seconds to minutes
// for a full card. Files that have a record of their path and size for another source are passed over. One
// that can't be read isn't found. Blocks. Throws CancellationError.
std::vector<CameraMediaFile> takePausedFiles(const std::vector<CameraMediaFile>& files,
                                             std::set<std::string>& sources, const ImportRecords& records,
                                             const PausedFileProgress& progress,
                                             const CancellationToken& token);

}  // namespace tolvander::app
