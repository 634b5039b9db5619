#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "TolvanderApp/Concurrency/MonotonicTimer.h"
#include "TolvanderApp/Library/LibrarySearchLimits.h"
#include "TolvanderApp/Platform/PhotoLibrary.h"
#include "TolvanderCore/Concurrency/Cancellation.h"
#include "TolvanderCore/Concurrency/FairMutex.h"
#include "TolvanderCore/DiagnosticLog.h"
#include "TolvanderCore/FingerprintedMediaFile.h"
#include "TolvanderCore/Foundation/UUID.h"
#include "TolvanderCore/ImportRecords.h"
#include "TolvanderCore/LibraryReconciliation.h"
#include "TolvanderCore/MediaImportTransaction.h"
#include "TolvanderCore/OfflinePhotoRecognizer.h"
#include "TolvanderCore/PreparedMediaFile.h"

namespace tolvander::app {

// Leaves a line in the diagnostic log. Called on any thread, also after the service is gone; must not throw
// or block.
using DiagnosticRecorder = std::function<void(DiagnosticLog::Event, const DiagnosticLog::Metrics&)>;

struct PhotoImportOutcome {
  std::map<std::string, std::string> assetIdentifiers;  // by source fingerprint

  friend bool operator==(const PhotoImportOutcome&, const PhotoImportOutcome&) = default;
};

// All contact with the user's photo library: imports, the search for what is in it already, albums. Reads
// resources from the local disk only, and counts nothing but full access to read and write as access.
//
// A serialised owner: safe on every thread, one operation at a time, first come first served. Every operation
// blocks and throws PhotoLibraryError accessDenied without access, and PhotosPlatformError where the library
// can't be read. An album operation that changes the library also throws the library's own error for a change
// that it refused, and PhotoLibraryError changeFailed and inconsistentChangeResult.
class PhotoLibraryService {
 public:
  using BatchStep = std::function<void(const MediaImportTransaction::Batch&)>;
  using RecordStep = std::function<void(const MediaImportTransaction::Batch&,
                                        const MediaImportTransaction::AssetIdentifiers&)>;
  using ProgressStep = std::function<bool(std::int64_t completed, std::int64_t total)>;

  // `library` and `timer` must outlive the service.
  PhotoLibraryService(PhotoLibrary& library, MonotonicTimer& timer, DiagnosticRecorder recorder,
                      const LibrarySearchLimits& limits = {});

  // Imports staged files in transactions of 4, so that a crash or a refusal endangers no more than four, and
  // makes them members of the album of that title, which is made first where there is none. An absent or
  // blank title means no album. `begin`, `rollback`, `record` and `progress` are those of
  // MediaImportTransaction, are called on this thread, and must not call this service. Throws what
  // MediaImportTransaction::run throws. Without files: an empty outcome, and nothing is called.
  //
  // With a history each batch is prepared for it before `begin`. A failure of that ends the import as one of
  // `begin` does.
  PhotoImportOutcome importFiles(const std::vector<PreparedMediaFile>& files,
                                 const std::optional<std::string>& album, const BatchStep& begin,
                                 const BatchStep& rollback, const RecordStep& record,
                                 const ProgressStep& progress, const CancellationToken& token = {},
                                 const std::optional<UUID>& history = std::nullopt);

  // Lets the library complete what interrupted imports of this history began. Gives those of the pending
  // fingerprints that the library says it holds now; later searches look at those assets first, outside every
  // limit.
  std::set<std::string> completeInterruptedImports(const PhotosInterruptedImports& imports);

  // Those of the pending fingerprints whose imports completeInterruptedImports would complete, or that an
  // asset holds already. Changes nothing.
  std::set<std::string> preparedFingerprints(const PhotosInterruptedImports& imports);

  // Which of the files are in the library already, as far as a bounded search tells: by the policy `broader`
  // of RecognitionPolicy, or else by `automatic`, scaled to the number of files. Leaves a line in the log
  // at the start, at the end, and for each read that failed. Throws CancellationError, and drops then what
  // was found.
  //
  // `records` are those of the history. An asset whose content they give, while the library says that its
  // file is unchanged, is not read. When a limit of the broader search leaves files unchecked, they are
  // looked for once more, with all such assets outside the limits.
  LibraryReconciliation reconcileExisting(const std::vector<FingerprintedMediaFile>& files, bool broader,
                                          const CancellationToken& token = {},
                                          const ImportRecords& records = {});

  // Those of the identifiers that are in the library. Throws CancellationError, looked for before each 500.
  std::set<std::string> existingAssetIdentifiers(const std::vector<std::string>& identifiers,
                                                 const CancellationToken& token = {});

  // Whether the asset's original in the library has this SHA-256 at this moment, as far as the library can
  // tell. Throws CancellationError.
  bool proveOriginal(const std::string& identifier, const std::string& sha256,
                     const CancellationToken& token = {});

  // The titles of the user's albums, each once, as a file manager sorts.
  std::vector<std::string> albumNames();

  // What is in the first album of exactly this title; nothing where there is none.
  std::set<std::string> assetIdentifiers(const std::string& albumName);

  // Makes an album of this title, without white space at its ends, unless there is one. Throws
  // PhotoLibraryError albumCouldNotBeCreated, for a blank title too.
  void createAlbum(const std::string& name, const CancellationToken& token = {});

  // Makes those assets members of the album that are in the library and aren't members yet, in the order in
  // which they were taken, and returns how many that were. Makes the album where there is none. May be
  // repeated. Throws PhotoLibraryError albumCouldNotBeCreated, and changeFailed where the album can't be
  // changed. Without identifiers: 0, and nothing is asked.
  std::int64_t addAssets(const std::vector<std::string>& identifiers, const std::string& albumName,
                         const CancellationToken& token = {});

 private:
  class Search;

  void requireAccess();
  MediaImportTransaction::AssetIdentifiers commit(const MediaImportTransaction::Batch& batch,
                                                  const std::optional<PhotosAlbum>& album,
                                                  const CancellationToken& token);
  std::vector<PhotosAsset> assetsBeforeCommit(const std::optional<PhotosAlbum>& album);
  void performChanges(PhotoLibrary::ChangeBlock change, bool preservingCommitFailure,
                      const CancellationToken& token);

  void prepare(const MediaImportTransaction::Batch& batch, const std::optional<PhotosAlbum>& album,
               const UUID& history);

  std::map<std::string, LibraryMatch> heldMatches(const std::vector<FingerprintedMediaFile>& files,
                                                  const CancellationToken& token);
  std::optional<LibraryMatch> matchAmong(const std::string& fingerprint, const CancellationToken& token);
  OfflinePhotoRecognizer::ReadResult resourceIdentity(const PhotosAssetResource& resource,
                                                      std::chrono::nanoseconds timeout,
                                                      std::int64_t maximumBytes,
                                                      const CancellationToken& token);

  std::optional<PhotosAlbum> existingAlbum(const std::string& name);
  std::optional<PhotosAlbum> resolvedAlbum(const std::optional<std::string>& name,
                                           const CancellationToken& token);
  std::vector<std::string> inOrderOfCapture(std::vector<PhotosAsset> assets);

  FairMutex mutex_;  // public operations lock it, private ones run under the lock
  PhotoLibrary& library_;
  MonotonicTimer& timer_;
  const DiagnosticRecorder recorder_;
  const LibrarySearchLimits limits_;
  std::vector<PhotosHeldContent> held_;  // what the library said of interrupted imports
};

}  // namespace tolvander::app
