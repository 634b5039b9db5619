#pragma once

#include <set>
#include <string>
#include <vector>

#include "TolvanderApp/Platform/PhotoLibrary.h"
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
  // and what the library throws where it can't be read.
  static PausedImports of(SyncHistoryStore& history, PhotoLibrary& library);
};

// Takes those of the source fingerprints that are among the files out of `sources`, and gives the files. To
// read little, files that have a record of their path and size for another source are passed over. Reads the
// others, until all are found; one that can't be read isn't found. Blocks. Throws CancellationError.
std::vector<CameraMediaFile> takePausedFiles(const std::vector<CameraMediaFile>& files,
                                             std::set<std::string>& sources, const ImportRecords& records,
                                             const CancellationToken& token);

}  // namespace tolvander::app
