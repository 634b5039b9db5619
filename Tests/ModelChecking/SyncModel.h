#pragma once

#include <array>
#include <functional>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "Tests/ModelChecking/Nondeterminism.h"
#include "Tests/ModelChecking/State.h"
#include "Tests/Support/Machine/TemporaryFolder.h"
#include "TolvanderCore/MediaImportTransaction.h"
#include "TolvanderCore/OfflinePhotoRecognizer.h"
#include "TolvanderCore/SyncCoordinator.h"

namespace tolvander::tests {

class SyncModel;

// How a command ends.
enum class Outcome {
  completed,
  stopped,      // the process was killed
  notSaved,     // the history couldn't be written
  interrupted,  // an import was interrupted earlier and isn't resolved
  unchecked,    // the search left files undecided
  incomplete,   // the library took a part of a batch
  refused,      // the library took nothing and reported that
  unknown,      // the library failed without reporting what it took
};
inline constexpr std::size_t outcomeCount = 8;

// What happened during one command; the invariants are checked on it.
struct Trace {
  bool isRun = false;  // a sync, and not a command of Check Photos
  bool isRestoration = false;
  Outcome outcome = Outcome::completed;
  std::vector<FingerprintedMediaFile> scanned;
  std::set<std::string> foundByContent;
  std::set<std::string> foundByMetadata;
  std::set<std::string> unchecked;  // at the end of the last search
  std::set<std::string> marked;     // before an import
  std::set<std::string> handed;     // to the library
  std::set<std::string> answered;   // by the library, with an asset
  std::set<std::string> refused;    // by the library, definitely
  std::set<std::string> skipped;    // and reported to the user as likely duplicates
  bool wasCutShort = false;         // the user stopped the import between two batches
  std::vector<Bytes> cameraAfter;   // all files of all cards
  std::string log;                  // for the reader of a test's output
};

struct Transition {
  State after;
  Trace trace;
};

// A bug that is put into the program on purpose. Each function changes the real objects.
struct Fault {
  std::function<void(SyncModel& model, SyncCoordinator::Dependencies& dependencies)> dependencies{};
  std::function<void(SyncModel& model, MediaImportTransaction::Steps& steps)> steps{};
  std::function<void(SyncModel& model, const std::function<void()>& run)> run{};
};

// What a search can overlook without reporting it.
enum class Search {
  overlooksNothing,
  overlooksUnlessBroader,  // the first, bounded search can overlook items
  overlooks,               // so can the broader one
};

// The fixed parameters of a model.
struct Configuration {
  std::vector<std::vector<Bytes>> cards;
  // Whether the cards are recognised as those of a Charmera; with two values, either can happen each time.
  // Only a Charmera's files have a payload fingerprint.
  std::vector<bool> isCharmera = {true};
  std::set<Bytes> itemsOfTheUser{};     // in the library from the start
  std::set<Bytes> itemsAddedLater{};    // by the user, at any time
  std::vector<ImportRecord> records{};  // in the history from the start
  Search search = Search::overlooksNothing;
  // Whether the real recognizer searches; only the result of each read of an item is then a choice. Otherwise
  // the result of the search is a choice.
  bool usesRecognizer = false;
  std::int64_t batchSize = 2;
  Fault fault{};
};

// A model of cameras, a library, a history file, a user, and a process that can be killed. The program is the
// real coordinator, transaction and history, in some models also the real recognizer. Everything else is
// decided by Nondeterminism.
//
// The process is killed by an exception that the program doesn't catch. Only the history file and the library
// outlive it, so it is sufficient to kill it once after each change of one of them: a later kill before the
// next change, or a failure of another dependency, leaves the same state. A save fails for a real reason: a
// file is in the place of the history's folder.
class SyncModel {
 public:
  explicit SyncModel(Configuration configuration);

  const Configuration& configuration() const { return configuration_; }

  State start() const;

  // Starts a new process in the state and lets the user give it one command. Absent if the choices are
  // inconsistent.
  std::optional<Transition> step(const State& from, Nondeterminism& choices);

  // The camera's original files.
  const std::vector<Bytes>& camera() const { return camera_; }

  // For faults:
  SyncHistoryStore& history() { return *history_; }
  const Trace& trace() const { return trace_; }
  void import(const std::vector<FingerprintedMediaFile>& files);
  FileURL fileOnCard(std::size_t card, std::size_t index) const;

  // Thrown by the library when it doesn't know what it has taken.
  struct UnknownOutcome {};

 private:
  using Files = std::vector<FingerprintedMediaFile>;
  using Batch = MediaImportTransaction::Batch;
  using AssetIdentifiers = MediaImportTransaction::AssetIdentifiers;

  struct Stop {};        // the process was killed
  struct Impossible {};  // the choices are inconsistent
  struct Refusal {};

  void placeHistory(const HistoryDatabase& history);
  State leftBehind() const;
  std::vector<Bytes> readCamera() const;

  void command();
  void runOrReview();
  void answerReview();
  void deleteItem();
  void addItem(const Bytes& bytes);
  Outcome outcomeOf(const std::function<void()>& work);

  SyncCoordinator::Dependencies dependencies();
  MediaImportTransaction::Steps steps();
  SyncCoordinator coordinator();
  std::vector<CameraMediaFile> cameraFiles() const;
  Files fingerprint(const std::vector<CameraMediaFile>& files, bool isCharmera) const;
  PreparedMediaFile prepared(const FingerprintedMediaFile& file) const;

  LibraryReconciliation search(const Files& files, bool broader);
  void searchFor(const FingerprintedMediaFile& file, bool broader, LibraryReconciliation& found);
  LibraryReconciliation searchByRecognizer(const Files& files, bool broader);
  OfflinePhotoRecognizer::ReadResult readItem(const std::string& asset);
  std::string nameInLibrary(const Item& item) const;
  void noteResult(const SyncResult& result);
  AssetIdentifiers commit(const Batch& batch);
  void record(const Batch& batch, const AssetIdentifiers& assets);
  std::string take(const PreparedMediaFile& file);

  // Events between two steps.
  void betweenSteps();
  void canStop();
  void canFailToSave();
  void save(const std::function<void()>& change);
  void breakHistory();
  void mendHistory();
  Date now();
  void log(const std::string& text) { trace_.log += text + "; "; }

  Configuration configuration_;
  TemporaryFolder folder_;
  const FileURL historyFolder_ = folder_ / "history";
  const FileURL historyFile_ = historyFolder_.appending("history.json");
  std::vector<Bytes> camera_;

  // The state of the process and of its current command
  Nondeterminism* choices_ = nullptr;
  std::shared_ptr<SyncHistoryStore> history_;
  std::map<std::string, Item> library_;
  std::optional<OpenReview> review_;
  Trace trace_;
  std::size_t card_ = 0;
  bool isCharmera_ = true;
  bool historyIsBroken_ = false;
  bool didBreakHistory_ = false;
  bool canStillFailToSave_ = true;
  ImportRecords lastRecords_;
  std::set<std::string> lastMarks_;
  Date now_;
  CancellationSource cancellation_;
};

}  // namespace tolvander::tests
