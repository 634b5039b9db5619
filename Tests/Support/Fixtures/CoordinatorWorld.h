#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "Tests/Support/Machine/TemporaryFolder.h"
#include "TolvanderCore/SyncCoordinator.h"

namespace tolvander::tests {

// A file of a card as fingerprinting gives it. Its name is its source fingerprint and ".JPG".
FingerprintedMediaFile mediaFile(const std::string& source, std::optional<std::string> payload = {});

// A record of such a file.
ImportRecord recordOf(const FingerprintedMediaFile& file, std::optional<std::string> asset,
                      std::optional<ImportEvidence> evidence = {});

// A staged copy of such a file. Its processed fingerprint is its source fingerprint and "-processed".
PreparedMediaFile preparedFile(const FingerprintedMediaFile& file);

// An item "asset-SOURCE" that holds the file of this source.
LibraryMatch matchOf(const std::string& source);

std::vector<std::string> sourcesOf(const std::vector<FingerprintedMediaFile>& files);

// A camera, a library and a history for a coordinator, with one log of all that it does to them, in order:
//
//   access                          a gate's look at camera and library
//   complete
//   phase NAME
//   fingerprint PATH... [charmera]
//   reconcile SOURCE... [broader]
//   exist ASSET...
//   import SOURCE... [charmera]
//   album NAME: ASSET...
//   record SOURCE content|metadata  a record added or replaced
//   mark SOURCE, unmark SOURCE      a pending import begun, or settled
//
// What the coordinator does to the history shows in front of the next thing that it does.
class CoordinatorWorld {
 public:
  CoordinatorWorld();

  SyncCoordinator coordinator();

  // Puts records and marks into the history before anything is logged.
  void given(const std::vector<ImportRecord>& records, const std::vector<std::string>& pending = {});
  // Takes what the history holds for given, so that only what happens from now on is logged.
  void forgetHistoryChanges();
  // The log, with what was done to the history since its last entry.
  std::vector<std::string> finishedLog();
  // The entries of the log that begin so.
  std::vector<std::string> entries(const std::string& prefix);

  ImportRecord record(const std::string& source) const;
  std::vector<CameraMediaFile> cameraFiles() const;

  SyncResult run(const std::optional<std::string>& album = {}, bool isCharmera = false);
  CameraLibraryReview review(bool broader = false, bool isCharmera = false);
  void remember(const CameraLibraryReview& review);
  SyncResult restore(const CameraLibraryReview& review, const std::optional<std::string>& album = {},
                     bool isCharmera = false);

  TemporaryFolder folder;
  const FileURL historyFile = folder / "Tolvander/history.json";
  std::shared_ptr<SyncHistoryStore> history = std::make_shared<SyncHistoryStore>(historyFile);

  std::vector<FingerprintedMediaFile> card;
  std::vector<LibraryReconciliation> searches;  // what each search finds, in order; then nothing is found
  std::vector<std::vector<FingerprintedMediaFile>> searched;  // what each search was given
  std::set<std::string> assets;                               // in the library
  // The fingerprints that the library holds once it has completed imports; absent where it can't do that.
  std::optional<std::set<std::string>> held;
  std::vector<std::string> log;
  std::function<void(const std::string& entry)> onEntry = [](const std::string&) {};
  CancellationSource cancellation;
  Date now = Date(std::chrono::seconds(1'800'000'000));  // a second later with each look at the clock

 private:
  void logHistoryChanges();
  void add(const std::string& entry);

  ImportRecords lastRecords_;
  std::set<std::string> lastPending_;
};

// The name of the case with which `work` fails, "cancelled" for a cancellation; empty when it doesn't fail.
// Any other error gets past.
std::string failureOf(const std::function<void()>& work);

// What is done to a world, before the log begins and then.
using WorldStep = std::function<void(CoordinatorWorld& world)>;

// Expects this log, and, each time in a new world, that a failure of any one of its dependencies ends it
// there and reaches the caller as it is.
void expectStepsAndFailures(const WorldStep& prepare, const WorldStep& operation,
                            const std::vector<std::string>& log);

// Expects that a cancellation after any one of its steps takes effect at the next gate, before the gate looks
// at the camera, and nowhere else.
void expectCancellationAtGatesOnly(const WorldStep& prepare, const WorldStep& operation);

}  // namespace tolvander::tests
