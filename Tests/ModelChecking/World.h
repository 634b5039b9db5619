#pragma once

#include <array>
#include <functional>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "Tests/ModelChecking/Choices.h"
#include "Tests/ModelChecking/State.h"
#include "Tests/Support/Machine/TemporaryFolder.h"
#include "TolvanderCore/MediaImportTransaction.h"
#include "TolvanderCore/OfflinePhotoRecognizer.h"
#include "TolvanderCore/SyncCoordinator.h"

namespace tolvander::tests {

class World;

// How a command ends.
enum class Ending {
  completed,
  stopped,      // the process
  notSaved,     // the history couldn't be written
  interrupted,  // an import was interrupted earlier and isn't resolved
  unchecked,    // the search left files without a verdict
  incomplete,   // the library took a part of a batch
  refused,      // the library took nothing and says so
  unknown,      // the library failed without saying what it took
};
inline constexpr std::size_t endingCount = 8;

// What happened during one command, for the judgement of its outcome.
struct Conduct {
  bool isRun = false;  // and not a command of Check Photos
  bool isRestoration = false;
  Ending ending = Ending::completed;
  std::vector<FingerprintedMediaFile> scanned;
  std::set<std::string> foundByContent;
  std::set<std::string> foundByMetadata;
  std::set<std::string> unchecked;  // at the end of the last search
  std::set<std::string> marked;     // as an import began
  std::set<std::string> handed;     // to the library
  std::set<std::string> answered;   // by the library, with an asset
  std::set<std::string> refused;    // by the library, definitely
  std::set<std::string> skipped;    // named to the user as likely duplicates, and left out
  bool wasCutShort = false;         // the user stopped the import between two batches
  std::vector<Bytes> cameraAfter;   // all files of all cards
  std::string story;                // for people
};

struct Transition {
  State after;
  Conduct conduct;
};

// A fault put into the program on purpose. Each function is given the real thing and makes it wrong.
struct Fault {
  std::function<void(World& world, SyncCoordinator::Dependencies& dependencies)> dependencies{};
  std::function<void(World& world, MediaImportTransaction::Steps& steps)> steps{};
  std::function<void(World& world, const std::function<void()>& run)> run{};
};

// What a search can overlook without saying so.
enum class Search {
  overlooksNothing,
  overlooksUnlessBroader,  // the first, bounded search can overlook items
  overlooks,               // so can the broader one
};

// What is given in a world and doesn't change.
struct Setting {
  std::vector<std::vector<Bytes>> cards;
  // Whether the cards count as those of a Charmera; with both, sometimes the one and sometimes the other.
  // Only a Charmera's files have a payload fingerprint.
  std::vector<bool> isCharmera = {true};
  std::set<Bytes> itemsOfTheUser{};     // in the library from the start
  std::set<Bytes> itemsToCome{};        // that the user puts into the library at any time
  std::vector<ImportRecord> records{};  // in the history from the start
  Search search = Search::overlooksNothing;
  // The real recognizer searches, and what is left open is only how each read of an item ends. Otherwise what
  // a search finds is left open too.
  bool usesRecognizer = false;
  std::int64_t batchSize = 2;
  Fault fault{};
};

// Cameras, a library, a history file, a user and a process that can stop. Everything that the program does
// is done by the real coordinator, transaction and history, and in some worlds by the real recognizer; the
// rest is decided by choices.
//
// The process stops by an exception that nothing above it knows. All that outlives it is the history's file
// and the library, so that it is enough to stop it once after each change of one of them: any later stop
// before the next change leaves the same behind, and so does a failure of anything else that the program
// asks for. A failed save is a real one: there is a file where the history's folder should be.
class World {
 public:
  explicit World(Setting setting);

  const Setting& setting() const { return setting_; }

  State start() const;

  // Gives the state to a new process and lets the user give it one command. Nothing, if these choices don't
  // fit together.
  std::optional<Transition> step(const State& from, Choices& choices);

  // The camera's files as they were made.
  const std::vector<Bytes>& camera() const { return camera_; }

  // For faults
  SyncHistoryStore& history() { return *history_; }
  const Conduct& conduct() const { return conduct_; }
  void import(const std::vector<FingerprintedMediaFile>& files);
  FileURL fileOnCard(std::size_t card, std::size_t index) const;

  // What the library throws when it doesn't know what it has taken.
  struct UnknownOutcome {};

 private:
  using Files = std::vector<FingerprintedMediaFile>;
  using Batch = MediaImportTransaction::Batch;
  using AssetIdentifiers = MediaImportTransaction::AssetIdentifiers;

  struct Stop {};        // the process is no more
  struct Impossible {};  // the choices don't fit together
  struct Refusal {};

  void placeHistory(const HistoryDatabase& history);
  State leftBehind() const;
  std::vector<Bytes> readCamera() const;

  void command();
  void runOrReview();
  void answerReview();
  void deleteItem();
  void addItem(const Bytes& bytes);
  Ending endingOf(const std::function<void()>& work);

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

  // What can happen between two steps.
  void betweenSteps();
  void canStop();
  void canFailToSave();
  void save(const std::function<void()>& change);
  void breakHistory();
  void mendHistory();
  Date now();
  void say(const std::string& text) { conduct_.story += text + "; "; }

  Setting setting_;
  TemporaryFolder folder_;
  const FileURL historyFolder_ = folder_ / "history";
  const FileURL historyFile_ = historyFolder_.appending("history.json");
  std::vector<Bytes> camera_;

  // Of the process and of the command that it carries out
  Choices* choices_ = nullptr;
  std::shared_ptr<SyncHistoryStore> history_;
  std::map<std::string, Item> library_;
  std::optional<OpenReview> review_;
  Conduct conduct_;
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
