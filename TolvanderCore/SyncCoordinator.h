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

// Decides which files of a card are in the library already, which are new and which may not be touched. A
// file is imported only if nothing known or findable says that it is in the library; any doubt stops the
// import.
//
// A value that holds nothing between calls. Every operation blocks, runs its steps one after another on the
// calling thread, and looks for cancellation at its gates only, each time just before `checkAccess`. The
// first failure ends the operation and is thrown unchanged: CancellationError, SyncHistoryError,
// RecognitionError, the errors of the history's writes, and whatever a dependency throws. What was recorded
// before it stays recorded.
class SyncCoordinator {
 public:
  // The world outside the history. All but `phase` may throw. A dependency that takes long watches the token
  // that its maker gave it.
  struct Dependencies {
    // Throws if the camera can no longer be read or the library no longer be written.
    std::function<void()> checkAccess;
    // The identities of the files, in the order of the scan.
    std::function<std::vector<FingerprintedMediaFile>(const std::vector<CameraMediaFile>& files,
                                                      bool isCharmera)>
        fingerprint;
    // Searches the library: the normal bounded pass, or the broader one.
    std::function<LibraryReconciliation(const std::vector<FingerprintedMediaFile>& files, bool broader)>
        reconcile;
    // Those of the assets that are still in the library.
    std::function<std::set<std::string>(const std::vector<std::string>& assetIdentifiers)>
        existingIdentifiers;
    // Imports through MediaImportTransaction; gives the files that were imported.
    std::function<std::vector<FingerprintedMediaFile>(const std::vector<FingerprintedMediaFile>& files,
                                                      bool isCharmera)>
        importFiles;
    // Makes the assets members of the album.
    std::function<void(const std::vector<std::string>& assetIdentifiers, const std::string& albumName)>
        addToAlbum;
    std::function<void(const SyncPhase& phase)> phase;
    // Optional. Lets the library complete what interrupted imports began. Gives those of the history's
    // pending processed fingerprints that the library says it holds now; where there is none, interrupted
    // imports are looked for like any other file.
    std::function<std::set<std::string>()> completeInterruptedImports = {};
  };

  // Gives the present time.
  using Clock = std::function<Date()>;

  SyncCoordinator(
      std::shared_ptr<SyncHistoryStore> history, Dependencies dependencies,
      Clock clock = [] { return Date(std::chrono::system_clock::now()); });

  // `run`, `restore`, `reviewBeforeChange` and `rememberRecognizedImports` let the library complete
  // interrupted imports before they look for anything.

  // Syncs a card: imports what is new and makes every recorded asset of the card a member of the album, if
  // one is named. Nothing of the card is imported while one file of it has no verdict (RecognitionError), or
  // was left by an interrupted import and isn't found by content (SyncHistoryError::unresolvedImport).
  SyncResult run(const std::vector<CameraMediaFile>& files, bool isCharmera,
                 const std::optional<std::string>& album, const CancellationToken& token) const;

  // Compares a card with the library, importing nothing and recording nothing. A search that stops at its
  // limits is no failure here; the review says so.
  CameraLibraryReview review(const std::vector<CameraMediaFile>& files, bool isCharmera, bool broader,
                             const CancellationToken& token) const;

  // A broader review for one who is about to change something.
  CameraLibraryReview reviewBeforeChange(const std::vector<CameraMediaFile>& files, bool isCharmera,
                                         const CancellationToken& token) const;

  // Records what a review recognised, as far as it is still in the library.
  void rememberRecognizedImports(const CameraLibraryReview& review, const CancellationToken& token) const;

  // Imports what a card holds and the library lacks, also files with a record, after a fresh and broader
  // review of the files of the one given. Throws as `run` does where a file is in doubt.
  SyncResult restore(const CameraLibraryReview& review, bool isCharmera,
                     const std::optional<std::string>& album, const CancellationToken& token) const;

 private:
  using Files = std::vector<FingerprintedMediaFile>;

  struct Standing;  // what the history alone says of the files of a card

  static Files filesWhere(const Files& files,
                          const std::function<bool(const FingerprintedMediaFile& file)>& holds);

  // Throws the failure of a search that left files without a verdict.
  static void requireVerdicts(bool areAllThere, bool budgetExceeded);

  // The files that are looked at: of files that share a source or a payload the first one, and none of
  // those that are recorded. What the library holds of an interrupted import comes before all others of its
  // payload, so that its mark is settled. In the order of the scan.
  static Files uniqueFiles(const Files& scanned, std::unordered_set<std::string_view> recordedSources,
                           std::unordered_set<std::string_view> recordedPayloads,
                           const std::set<std::string>& heldFingerprints);
  static Files undecided(const Files& scanned, const ImportRecords& records,
                         const std::set<std::string>& heldFingerprints);

  std::set<std::string> completeInterruptedImports() const;
  CameraLibraryReview review(const std::vector<CameraMediaFile>& files, bool isCharmera, bool broader,
                             const std::set<std::string>& heldFingerprints,
                             const CancellationToken& token) const;
  void remember(const CameraLibraryReview& review) const;

  void passGate(const CancellationToken& token) const;
  void report(SyncPhase::Kind kind) const;

  // The files, each with what the history holds of an interrupted import of it.
  Files withPendingIdentities(Files files) const;

  void recordMatches(const Files& files, const std::map<std::string, LibraryMatch>& matches) const;
  // Skips files of interrupted imports: metadata never settles one.
  void recordMetadataMatches(const Files& files, const std::map<std::string, std::string>& matches) const;

  // What the library holds of the files; recorded at once, so that it isn't lost when the sync fails later.
  LibraryReconciliation recognize(const Files& files, const CancellationToken& token) const;
  LibraryReconciliation recognizeOnce(const Files& files, bool broader, const CancellationToken& token) const;

  void requireNoInterruptedImport(const Files& scanned,
                                  const std::map<std::string, LibraryMatch>& matches) const;

  // Fills in the review what a search of the library for the candidates adds to their standing.
  static void settle(CameraLibraryReview& review, const Standing& recorded, const Files& candidates,
                     LibraryReconciliation found, const std::set<std::string>& pending);

  // The import and album stages.
  Files importMissing(const Files& files, bool isCharmera, const CancellationToken& token) const;
  void completeAlbum(const Files& scanned, const std::optional<std::string>& album,
                     const CancellationToken& token) const;

  std::shared_ptr<SyncHistoryStore> history_;
  Dependencies dependencies_;
  Clock clock_;
};

}  // namespace tolvander
