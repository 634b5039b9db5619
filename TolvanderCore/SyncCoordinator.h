#pragma once

#include <chrono>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <unordered_set>
#include <vector>

#include "TolvanderCore/CameraLibraryReview.h"
#include "TolvanderCore/CameraMediaFile.h"
#include "TolvanderCore/Concurrency/Cancellation.h"
#include "TolvanderCore/FingerprintedMediaFile.h"
#include "TolvanderCore/Foundation/Date.h"
#include "TolvanderCore/LibraryReconciliation.h"
#include "TolvanderCore/SyncHistoryStore.h"
#include "TolvanderCore/SyncPhase.h"
#include "TolvanderCore/SyncResult.h"

namespace tolvander {

// Decides which files of a card are already in the library, which are new, and which must not be imported. A
// file is imported only if neither the history nor the search of the library shows it in the library. If any
// file remains undecided, nothing is imported.
//
// The coordinator keeps no state between calls. Every operation blocks and runs its steps one after another
// on the calling thread. It checks for cancellation between the steps, each time just before `checkAccess`.
// The first failure ends the operation and is thrown unchanged: CancellationError, SyncHistoryError,
// RecognitionError, errors of writing the history, and whatever a dependency throws. What was recorded before
// the failure stays recorded.
class SyncCoordinator {
 public:
  // Everything outside the history that the coordinator uses. All functions but `phase` may throw. The
  // coordinator passes them no cancellation token; those that take long must have their own.
  struct Dependencies {
    // Throws if the camera can no longer be read or the library can no longer be written.
    std::function<void()> checkAccess;
    // The identities of the files, in the order of the scan.
    std::function<std::vector<FingerprintedMediaFile>(const std::vector<CameraMediaFile>& files,
                                                      bool isCharmera)>
        fingerprint;
    // Searches the library: the normal bounded pass, or the broader one.
    std::function<LibraryReconciliation(const std::vector<FingerprintedMediaFile>& files, bool broader)>
        reconcile;
    // The subset of the assets that is still in the library.
    std::function<std::set<std::string>(const std::vector<std::string>& assetIdentifiers)>
        existingIdentifiers;
    // Imports through MediaImportTransaction, and returns the files that were imported.
    std::function<std::vector<FingerprintedMediaFile>(const std::vector<FingerprintedMediaFile>& files,
                                                      bool isCharmera)>
        importFiles;
    // Adds the assets to the album.
    std::function<void(const std::vector<std::string>& assetIdentifiers, const std::string& albumName)>
        addToAlbum;
    std::function<void(const SyncPhase& phase)> phase;
    // Optional. Lets the library complete interrupted imports, and returns those of the history's pending
    // processed fingerprints that the library then holds. Files of other interrupted imports are searched for
    // like any other file.
    std::function<std::set<std::string>()> completeInterruptedImports = {};
  };

  // Returns the current time.
  using Clock = std::function<Date()>;

  SyncCoordinator(
      std::shared_ptr<SyncHistoryStore> history, Dependencies dependencies,
      Clock clock = [] { return Date(std::chrono::system_clock::now()); });

  // `run`, `restore`, `reviewBeforeChange` and `rememberRecognizedImports` let the library complete
  // interrupted imports first.

  // Syncs a card: imports the new files, and adds every recorded asset of the card to the album if one is
  // named. Nothing is imported if one file of the card remains undecided (RecognitionError), or belongs to an
  // interrupted import and isn't found by content (SyncHistoryError::unresolvedImport).
  SyncResult run(const std::vector<CameraMediaFile>& files, bool isCharmera,
                 const std::optional<std::string>& album, const CancellationToken& token) const;

  // Compares a card with the library. Imports and records nothing. A search that reaches its limits is not a
  // failure here: CameraLibraryReview::budgetExceeded says so.
  CameraLibraryReview review(const std::vector<CameraMediaFile>& files, bool isCharmera, bool broader,
                             const CancellationToken& token) const;

  // A broader review, made before the card or the library is changed.
  CameraLibraryReview reviewBeforeChange(const std::vector<CameraMediaFile>& files, bool isCharmera,
                                         const CancellationToken& token) const;

  // Records the items that a review recognised, if they are still in the library.
  void rememberRecognizedImports(const CameraLibraryReview& review, const CancellationToken& token) const;

  // Imports the files of a card that are missing in the library, whether they were imported before or not.
  // The decision is made by a new, broader review of the files in `review`. Throws like `run` if a file
  // remains undecided.
  SyncResult restore(const CameraLibraryReview& review, bool isCharmera,
                     const std::optional<std::string>& album, const CancellationToken& token) const;

 private:
  using Files = std::vector<FingerprintedMediaFile>;

  struct RecordedState;  // the files of a card, grouped by what the history says about them

  static Files filesWhere(const Files& files,
                          const std::function<bool(const FingerprintedMediaFile& file)>& holds);

  // Throws RecognitionError if a search left files undecided.
  static void requireVerdicts(bool areAllThere, bool budgetExceeded);

  // The files without those that are recorded, and only the first of several that share a source or a
  // payload. A file of an interrupted import that the library holds takes precedence over others with its
  // payload, so that its mark is resolved. In the order of the scan.
  static Files uniqueFiles(const Files& scanned, std::unordered_set<std::string_view> recordedSources,
                           std::unordered_set<std::string_view> recordedPayloads,
                           const std::set<std::string>& heldFingerprints);
  // The files that have to be searched for in the library.
  static Files needingSearch(const Files& scanned, const ImportRecords& records,
                             const std::set<std::string>& heldFingerprints);

  std::set<std::string> completeInterruptedImports() const;
  CameraLibraryReview review(const std::vector<CameraMediaFile>& files, bool isCharmera, bool broader,
                             const std::set<std::string>& heldFingerprints,
                             const CancellationToken& token) const;
  void remember(const CameraLibraryReview& review) const;

  // Checks for cancellation and for access. Called before each step.
  void checkpoint(const CancellationToken& token) const;
  void report(SyncPhase::Kind kind) const;

  // The files, each with the history's data about an interrupted import of it.
  Files withPendingIdentities(Files files) const;

  void recordMatches(const Files& files, const std::map<std::string, LibraryMatch>& matches) const;
  // Skips files of interrupted imports, which only content can resolve.
  void recordMetadataMatches(const Files& files, const std::map<std::string, std::string>& matches) const;

  // Searches the library for the files. Matches are recorded at once, so that they aren't lost if the sync
  // fails later.
  LibraryReconciliation recognize(const Files& files, const CancellationToken& token) const;
  LibraryReconciliation recognizeOnce(const Files& files, bool broader, const CancellationToken& token) const;

  void requireNoInterruptedImport(const Files& scanned,
                                  const std::map<std::string, LibraryMatch>& matches) const;

  // Fills in the review what a search of the library for the candidates adds to their standing.
  static void fillVerdicts(CameraLibraryReview& review, const RecordedState& recorded,
                           const Files& candidates, LibraryReconciliation found,
                           const std::set<std::string>& pending);

  // The import and album stages.
  Files importMissing(const Files& files, bool isCharmera, const CancellationToken& token) const;
  void completeAlbum(const Files& scanned, const std::optional<std::string>& album,
                     const CancellationToken& token) const;

  std::shared_ptr<SyncHistoryStore> history_;
  Dependencies dependencies_;
  Clock clock_;
};

}  // namespace tolvander
