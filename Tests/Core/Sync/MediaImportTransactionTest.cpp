#include "TolvanderCore/MediaImportTransaction.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>
#include <limits>
#include <stdexcept>

#include "Tests/Support/Fixtures/CoordinatorWorld.h"
#include "Tests/Support/Machine/ChildProcess.h"
#include "TolvanderCore/MediaImportCommitFailure.h"
#include "TolvanderCore/MediaImportError.h"
#include "TolvanderCore/SyncHistoryError.h"

namespace tolvander {
namespace {

using tests::CoordinatorWorld;
using tests::mediaFile;
using tests::recordOf;
using tests::sourcesOf;

using Assets = MediaImportTransaction::AssetIdentifiers;
using Batch = MediaImportTransaction::Batch;
using Texts = std::vector<std::string>;

// A failure that no part of the system knows.
struct UnknownFailure : std::runtime_error {
  using std::runtime_error::runtime_error;
};

Batch filesNamed(const Texts& sources) {
  Batch files;
  for (const std::string& source : sources) {
    files.push_back(tests::preparedFile(mediaFile(source)));
  }
  return files;
}

Assets assetsOf(const Batch& batch) {
  Assets assets;
  for (const PreparedMediaFile& file : batch) {
    assets[file.sourceFingerprint] = "asset-" + file.sourceFingerprint;
  }
  return assets;
}

Assets assetsOf(const Texts& sources) { return assetsOf(filesNamed(sources)); }

// Steps that write down each call, in order, and then do what `onEntry` says.
class Transaction : public testing::Test {
 protected:
  MediaImportTransaction::Steps steps() {
    MediaImportTransaction::Steps steps;
    steps.begin = [this](const Batch& batch) { add("begin", batch); };
    steps.rollback = [this](const Batch& batch) { add("rollback", batch); };
    steps.commit = [this](const Batch& batch) {
      add("commit", batch);
      Assets assets = assetsOf(batch);
      std::erase_if(assets, [&](const auto& asset) { return notTaken.contains(asset.first); });
      return assets;
    };
    steps.record = [this](const Batch& batch, const Assets& assets) {
      std::string entry = "record";
      for (const auto& [source, asset] : assets) {
        entry += " " + source + "=" + asset;
      }
      add(entry + " of", batch);
    };
    steps.progress = [this](std::int64_t completed, std::int64_t total) {
      log.push_back("progress " + std::to_string(completed) + " " + std::to_string(total));
      onEntry(log.back());
      return log.back() != stopAt;
    };
    return steps;
  }

  Assets run(const Texts& sources, std::int64_t batchSize) {
    return MediaImportTransaction::run(filesNamed(sources), batchSize, steps(), cancellation.token());
  }

  // Makes the step of this entry fail with what `fail` throws.
  void failAt(const std::string& failing, std::function<void()> fail) {
    onEntry = [failing, fail](const std::string& entry) {
      if (entry == failing) {
        fail();
      }
    };
  }

  Texts entries(const std::string& prefix) const {
    Texts chosen = log;
    std::erase_if(chosen, [&](const std::string& entry) { return !entry.starts_with(prefix); });
    return chosen;
  }

  Texts log;
  std::set<std::string> notTaken;  // sources that the library silently leaves out
  std::string stopAt;              // the progress entry that is answered with false
  std::function<void(const std::string& entry)> onEntry = [](const std::string&) {};
  CancellationSource cancellation;

 private:
  void add(std::string entry, const Batch& batch) {
    for (const PreparedMediaFile& file : batch) {
      entry += " " + file.sourceFingerprint;
    }
    log.push_back(entry);
    onEntry(entry);
  }
};

using TransactionDeathTest = Transaction;

TEST_F(Transaction, runsItsStepsInOrderBatchByBatch) {
  EXPECT_EQ(run({"a", "b", "c"}, 2), assetsOf({"a", "b", "c"}));
  EXPECT_EQ(log, (Texts{"progress 0 3", "begin a b", "commit a b", "record a=asset-a b=asset-b of a b",
                        "progress 2 3", "begin c", "commit c", "record c=asset-c of c", "progress 3 3"}));
}

TEST_F(Transaction, withoutFilesReportsOnceAndCallsNothingElse) {
  cancellation.cancel();  // not even looked at
  EXPECT_EQ(run({}, 4), Assets());
  EXPECT_EQ(log, Texts{"progress 0 0"});
}

TEST_F(Transaction, reportsSevenFilesInBatchesOfThree) {
  run({"a", "b", "c", "d", "e", "f", "g"}, 3);
  EXPECT_EQ(entries("progress"), (Texts{"progress 0 7", "progress 3 7", "progress 6 7", "progress 7 7"}));
}

TEST_F(Transaction, aBatchLargerThanTheFilesTakesThemAll) {
  run({"a", "b"}, std::numeric_limits<std::int64_t>::max());
  EXPECT_EQ(entries("begin"), Texts{"begin a b"});
}

TEST_F(Transaction, stopsAfterTheBatchAtWhichProgressSaysFalse) {
  stopAt = "progress 3 7";
  EXPECT_EQ(run({"a", "b", "c", "d", "e", "f", "g"}, 3), assetsOf({"a", "b", "c"}));
  EXPECT_EQ(log.back(), "progress 3 7");
  EXPECT_EQ(entries("begin"), Texts{"begin a b c"});
}

TEST_F(Transaction, stopsBeforeTheFirstBatchWhenProgressSaysFalseAtOnce) {
  stopAt = "progress 0 1";
  EXPECT_EQ(run({"a"}, 1), Assets());
  EXPECT_EQ(log, Texts{"progress 0 1"});
}

TEST_F(TransactionDeathTest, aBatchSizeBelowOneStopsTheProcess) {
  EXPECT_DEATH(run({"a"}, 0), "a batch holds at least one file");
  EXPECT_DEATH(run({}, -1), "a batch holds at least one file");
}

TEST_F(Transaction, recordsAnIncompleteBatchBeforeItFails) {
  notTaken = {"b"};
  try {
    run({"a", "b", "c"}, 2);
    FAIL();
  } catch (const MediaImportError& error) {
    EXPECT_EQ(error.kind(), MediaImportError::Case::incompleteBatch);
    EXPECT_EQ(error.description(), "Photos did not import every file. Check the camera and try again.");
  }
  EXPECT_EQ(log, (Texts{"progress 0 3", "begin a b", "commit a b", "record a=asset-a of a b"}));
}

TEST_F(Transaction, recordsABatchOfWhichNothingWasTakenBeforeItFails) {
  notTaken = {"a"};
  EXPECT_THROW(run({"a"}, 1), MediaImportError);
  EXPECT_EQ(log.back(), "record of a");
}

// Failures of the steps

TEST_F(Transaction, aFailedBeginEndsTheRunBeforeTheLibraryIsTouched) {
  failAt("begin c d", [] { throw UnknownFailure("begin"); });
  EXPECT_THROW(run({"a", "b", "c", "d", "e"}, 2), UnknownFailure);
  EXPECT_EQ(log.back(), "begin c d");
  EXPECT_EQ(entries("commit"), Texts{"commit a b"});
}

TEST_F(Transaction, aDefiniteCommitFailureIsRolledBackAndItsCauseThrown) {
  failAt("commit a", [] {
    throw MediaImportCommitFailure::definiteFailure(std::make_exception_ptr(UnknownFailure("cause")));
  });
  EXPECT_THROW(
      {
        try {
          run({"a", "b"}, 1);
        } catch (const UnknownFailure& failure) {
          EXPECT_STREQ(failure.what(), "cause");
          throw;
        }
      },
      UnknownFailure);
  EXPECT_EQ(log, (Texts{"progress 0 2", "begin a", "commit a", "rollback a"}));
}

TEST_F(Transaction, aFailedRollbackEndsTheRunWithItsOwnError) {
  onEntry = [](const std::string& entry) {
    if (entry == "commit a") {
      throw MediaImportCommitFailure::definiteFailure(std::make_exception_ptr(UnknownFailure("cause")));
    }
    if (entry == "rollback a") {
      throw std::out_of_range("rollback");
    }
  };
  EXPECT_THROW(run({"a"}, 1), std::out_of_range);
  EXPECT_EQ(log.back(), "rollback a");
}

TEST_F(Transaction, anyOtherCommitFailureIsThrownAndLeavesTheMarks) {
  failAt("commit a", [] { throw UnknownFailure("commit"); });
  EXPECT_THROW(run({"a", "b"}, 1), UnknownFailure);
  EXPECT_EQ(log, (Texts{"progress 0 2", "begin a", "commit a"}));
}

TEST_F(Transaction, aCancellationThrownByTheCommitIsNoDefiniteFailure) {
  failAt("commit a", [] { throw CancellationError(); });
  EXPECT_THROW(run({"a"}, 1), CancellationError);
  EXPECT_TRUE(entries("rollback").empty());
}

TEST_F(Transaction, aFailedRecordEndsTheRunAndLeavesTheMarks) {
  failAt("record a=asset-a of a", [] { throw UnknownFailure("record"); });
  EXPECT_THROW(run({"a", "b"}, 1), UnknownFailure);
  EXPECT_EQ(log.back(), "record a=asset-a of a");
  EXPECT_TRUE(entries("rollback").empty());
}

// Cancellation

TEST_F(Transaction, isCancelledBeforeABatchAndNowhereElse) {
  run({"a", "b", "c"}, 1);
  const Texts whole = log;
  for (std::size_t length = 1; length <= whole.size(); ++length) {
    log.clear();
    cancellation = CancellationSource();
    onEntry = [&](const std::string&) {
      if (log.size() == length) {
        cancellation.cancel();
      }
    };
    const auto next = std::find_if(whole.begin() + static_cast<std::ptrdiff_t>(length), whole.end(),
                                   [](const std::string& entry) { return entry.starts_with("begin"); });
    if (next == whole.end()) {
      EXPECT_EQ(run({"a", "b", "c"}, 1), assetsOf({"a", "b", "c"}));
    } else {
      EXPECT_THROW(run({"a", "b", "c"}, 1), CancellationError);
    }
    EXPECT_EQ(log, Texts(whole.begin(), next)) << "cancelled after " << whole[length - 1];
  }
}

// What the death of the process leaves behind, with the steps bound to a real history

class InterruptedImport : public testing::Test {
 protected:
  enum class Death { beforeBeginSaved, beforeCommit, beforeRecordSaved, afterRecordSaved };

  static void dieIf(bool isTime) {
    if (isTime) {
      _exit(0);
    }
  }

  // Imports the card's file in a process that dies at this point.
  void importAndDie(Death death) {
    tests::inChildProcess([&] {
      MediaImportTransaction::Steps steps;
      steps.begin = [&](const Batch& batch) {
        dieIf(death == Death::beforeBeginSaved);
        world.history->beginPreparedImport(batch);
      };
      steps.rollback = [](const Batch&) { FAIL(); };
      steps.commit = [&](const Batch& batch) {
        dieIf(death == Death::beforeCommit);
        return assetsOf(batch);
      };
      steps.record = [&](const Batch&, const Assets& assets) {
        dieIf(death == Death::beforeRecordSaved);
        world.history->record(recordOf(file, assets.at("a")));
      };
      steps.progress = [&](std::int64_t completed, std::int64_t) {
        dieIf(completed == 1);
        return true;
      };
      MediaImportTransaction::run({tests::preparedFile(file)}, 1, steps, {});
      FAIL() << "outlived its death";
    });
    world.history = std::make_shared<SyncHistoryStore>(world.historyFile);
    world.forgetHistoryChanges();
  }

  // The library holds the staged bytes, so a search for them finds the item.
  static LibraryReconciliation itemFound() {
    LibraryReconciliation found;
    found.matches["a"] = tests::matchOf("a");
    found.matches["a"].resourceFingerprint = "a-processed";
    return found;
  }

  const FingerprintedMediaFile file = mediaFile("a");
  CoordinatorWorld world;
};

TEST_F(InterruptedImport, beforeTheMarksAreSavedTheFileIsNew) {
  world.card = {file};
  importAndDie(Death::beforeBeginSaved);
  EXPECT_TRUE(world.history->pendingImportSources().empty());
  EXPECT_EQ(sourcesOf(world.run().imported), Texts{"a"});
}

TEST_F(InterruptedImport, beforeTheLibraryCommitsTheFileStaysPaused) {
  world.card = {file};
  importAndDie(Death::beforeCommit);
  EXPECT_EQ(world.history->pendingProcessedFingerprints(),
            (std::map<std::string, std::string>{{"a", "a-processed"}}));
  for (int attempt = 0; attempt < 2; ++attempt) {
    EXPECT_THROW(world.run(), SyncHistoryError);
    const CameraLibraryReview review = world.review(true);
    EXPECT_EQ(sourcesOf(review.uncertain), Texts{"a"});
    EXPECT_THROW(world.restore(review), SyncHistoryError);
  }
  EXPECT_TRUE(world.entries("import").empty());
  EXPECT_EQ(world.history->pendingProcessedFingerprints().at("a"), "a-processed");
  EXPECT_TRUE(world.history->records().empty());
}

TEST_F(InterruptedImport, beforeTheRecordIsSavedTheItemIsFoundByItsStagedBytes) {
  world.card = {file};
  importAndDie(Death::beforeRecordSaved);
  world.searches = {itemFound()};
  const SyncResult result = world.run();
  EXPECT_TRUE(result.imported.empty());
  EXPECT_EQ(result.recognizedCount, 1);
  EXPECT_EQ(world.searched.at(0).at(0).pendingProcessedFingerprint, "a-processed");
  EXPECT_TRUE(world.searched.at(0).at(0).requiresExactReconciliation);
  EXPECT_EQ(world.record("a").evidence, ImportEvidence::contentConfirmed);
  EXPECT_TRUE(world.history->pendingImportSources().empty());
}

TEST_F(InterruptedImport, anItemThatTheBoundedSearchMissesIsFoundByTheBroaderOne) {
  world.card = {file};
  importAndDie(Death::beforeRecordSaved);
  world.searches = {LibraryReconciliation(), itemFound(), itemFound()};
  EXPECT_THROW(world.run(), SyncHistoryError);
  const CameraLibraryReview review = world.review(true);
  EXPECT_EQ(world.entries("reconcile"), (Texts{"reconcile a", "reconcile a broader"}));
  world.assets = {"asset-a"};
  EXPECT_TRUE(world.restore(review).imported.empty());
  EXPECT_EQ(world.record("a").evidence, ImportEvidence::contentConfirmed);
  EXPECT_TRUE(world.history->pendingImportSources().empty());
}

TEST_F(InterruptedImport, afterTheRecordIsSavedTheFileIsKnown) {
  world.card = {file};
  importAndDie(Death::afterRecordSaved);
  EXPECT_TRUE(world.history->pendingImportSources().empty());
  EXPECT_EQ(world.record("a").photosAssetIdentifier, "asset-a");
  EXPECT_TRUE(world.run().imported.empty());
  EXPECT_EQ(world.entries("reconcile"), Texts{"reconcile"});
}

}  // namespace
}  // namespace tolvander
