#include "TolvanderCore/SyncCoordinator.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <optional>

#include "Tests/Support/Fixtures/CoordinatorWorld.h"
#include "TolvanderCore/Foundation/SystemErrors.h"

namespace tolvander {
namespace {

using tests::CoordinatorWorld;
using tests::failureOf;
using tests::matchOf;
using tests::mediaFile;
using tests::recordOf;
using tests::sourcesOf;

using Texts = std::vector<std::string>;

LibraryReconciliation foundByContent(const std::string& source) {
  LibraryReconciliation found;
  found.matches[source] = matchOf(source);
  return found;
}

LibraryReconciliation foundByMetadata(const std::string& source) {
  LibraryReconciliation found;
  found.metadataMatches[source] = "asset-" + source;
  return found;
}

LibraryReconciliation leftUnchecked(const std::set<std::string>& sources, bool budgetExceeded) {
  LibraryReconciliation found;
  found.unchecked = sources;
  found.budgetExceeded = budgetExceeded;
  return found;
}

std::string failureOfRun(CoordinatorWorld& world) {
  return failureOf([&] { world.run(); });
}

Texts namesOf(const std::vector<CameraMediaFile>& files) {
  Texts names;
  for (const CameraMediaFile& file : files) {
    names.push_back(file.filename);
  }
  return names;
}

// A card with one file for each fate, and a search that needs its second pass.
void prepareEveryFate(CoordinatorWorld& world) {
  world.card = {
      mediaFile("known"),  mediaFile("found", "p"), mediaFile("twin", "p"), mediaFile("likely"),
      mediaFile("fresh"),  mediaFile("found2"),     mediaFile("likely2"),   mediaFile("old", "jpeg-v2:new"),
      mediaFile("broken"), mediaFile("likely", "q")};
  world.given({recordOf(mediaFile("known"), "asset-known"), recordOf(mediaFile("old"), "asset-old")},
              {"broken"});
  world.searches.resize(2);
  world.searches[0].matches["found"] = matchOf("found");
  world.searches[0].matches["broken"] = matchOf("broken");
  world.searches[0].metadataMatches["likely"] = "asset-likely";
  world.searches[0].unchecked = {"found", "found2", "likely", "likely2"};
  world.searches[0].budgetExceeded = true;
  world.searches[1].matches["found2"] = matchOf("found2");
  world.searches[1].metadataMatches["likely2"] = "asset-likely2";
}

const Texts everyFateLog = {
    "access",
    "phase checkingAccess",
    "access",
    "phase fingerprinting",
    "fingerprint DCIM/known.JPG DCIM/found.JPG DCIM/twin.JPG DCIM/likely.JPG DCIM/fresh.JPG DCIM/found2.JPG "
    "DCIM/likely2.JPG DCIM/old.JPG DCIM/broken.JPG DCIM/likely.JPG",
    "record old content",
    "access",
    "phase recognizing",
    "reconcile found likely fresh found2 likely2 broken",
    "record broken content",
    "record found content",
    "record likely metadata",
    "unmark broken",
    "access",
    "phase recognizing",
    "reconcile found2 likely2 broader",
    "record found2 content",
    "record likely2 metadata",
    "access",
    "phase preparing",
    "import fresh",
    "record fresh content",
    "access",
    "phase album",
    "album Trip: asset-broken asset-found asset-found2 asset-fresh asset-known asset-likely asset-likely2 "
    "asset-old",
    "phase finished"};

void runIntoAlbum(CoordinatorWorld& world) { world.run("Trip"); }

// The order of things

TEST(SyncCoordinator, takesItsStepsInOrderAndEndsWithTheFirstFailure) {
  tests::expectStepsAndFailures(prepareEveryFate, runIntoAlbum, everyFateLog);
}

TEST(SyncCoordinator, isCancelledAtItsGatesAndNowhereElse) {
  tests::expectCancellationAtGatesOnly(prepareEveryFate, runIntoAlbum);
}

TEST(SyncCoordinator, countsWhatBecameOfTheCard) {
  CoordinatorWorld world;
  prepareEveryFate(world);
  const SyncResult result = world.run();
  EXPECT_EQ(result.scannedCount, 10);
  EXPECT_EQ(result.recognizedCount, 3);
  EXPECT_EQ(sourcesOf(result.imported), Texts{"fresh"});
  EXPECT_EQ(result.metadataMatchedCount, 2);
  EXPECT_EQ(namesOf(result.metadataMatchedFiles), (Texts{"likely.JPG", "likely2.JPG"}));
}

TEST(SyncCoordinator, countsAFileFoundBothWaysAsFoundByContent) {
  CoordinatorWorld world;
  world.card = {mediaFile("a"), mediaFile("b")};
  world.searches = {foundByContent("a")};
  world.searches[0].metadataMatches = {{"a", "asset-a"}, {"b", "asset-b"}};
  const SyncResult result = world.run();
  EXPECT_EQ(result.recognizedCount, 1);
  EXPECT_EQ(result.metadataMatchedCount, 1);
  EXPECT_EQ(namesOf(result.metadataMatchedFiles), Texts{"b.JPG"});
  EXPECT_EQ(world.record("a").evidence, ImportEvidence::contentConfirmed);
}

TEST(SyncCoordinator, emptyCardReportsEveryPhaseSearchesForNothingAndImportsNothing) {
  CoordinatorWorld world;
  EXPECT_EQ(world.run("Trip"), SyncResult());
  EXPECT_EQ(world.finishedLog(),
            (Texts{"access", "phase checkingAccess", "access", "phase fingerprinting", "fingerprint",
                   "access", "phase recognizing", "reconcile", "access", "phase preparing", "access",
                   "phase album", "album Trip:", "phase finished"}));
}

TEST(SyncCoordinator, reportsTheAlbumPhaseWhereNoAlbumIsAskedFor) {
  CoordinatorWorld world;
  world.run();
  const Texts log = world.finishedLog();
  EXPECT_EQ(Texts(log.end() - 3, log.end()), (Texts{"access", "phase album", "phase finished"}));
}

TEST(SyncCoordinator, handsOnWhetherTheCameraIsACharmera) {
  CoordinatorWorld world;
  world.card = {mediaFile("a")};
  world.run({}, true);
  EXPECT_EQ(world.entries("fingerprint"), Texts{"fingerprint DCIM/a.JPG charmera"});
  EXPECT_EQ(world.entries("import"), Texts{"import a charmera"});
}

TEST(SyncCoordinator, failureOfTheThirdGateComesAfterTheUpgradeAndBeforeTheSearch) {
  CoordinatorWorld world;
  world.card = {mediaFile("a", "jpeg-v2:new")};
  world.given({recordOf(mediaFile("a", "jpeg-v1:old"), "asset-a")});
  world.onEntry = [&](const std::string&) {
    if (world.entries("access").size() == 3) {
      throw CancellationError();
    }
  };
  EXPECT_EQ(failureOfRun(world), "cancelled");
  EXPECT_EQ(world.record("a").mediaPayloadFingerprint, "jpeg-v2:new");
  EXPECT_TRUE(world.entries("reconcile").empty());
}

TEST(SyncCoordinator, stopsAtAnUnreadableHistoryBeforeReadingTheCamera) {
  CoordinatorWorld world;
  tests::writeFile(world.historyFile, "not JSON");
  world.history = std::make_shared<SyncHistoryStore>(world.historyFile);
  world.card = {mediaFile("a")};
  EXPECT_EQ(failureOfRun(world), "unreadableHistory");
  EXPECT_EQ(world.finishedLog(), (Texts{"access", "phase checkingAccess"}));
}

TEST(SyncCoordinator, stopsBeforeTheImportWhenWhatItLearnedCannotBeSaved) {
  CoordinatorWorld world;
  world.card = {mediaFile("a"), mediaFile("b")};
  world.searches = {foundByContent("a")};
  const FileURL historyFolder = world.historyFile.deletingLastPathComponent();
  std::filesystem::remove_all(historyFolder.path());
  tests::writeFile(historyFolder, "a file where the folder should be");
  EXPECT_THROW(world.run(), PosixError);
  EXPECT_EQ(world.finishedLog().back(), "reconcile a b");
}

// What is skipped

TEST(SyncCoordinator, recordedFileWithoutAMarkIsNeitherSearchedNorImported) {
  for (const auto evidence : {std::optional<ImportEvidence>(), std::optional(ImportEvidence::metadataOnly),
                              std::optional(ImportEvidence::contentConfirmed)}) {
    CoordinatorWorld world;
    world.card = {mediaFile("a")};
    world.given({recordOf(world.card[0], {}, evidence)});
    EXPECT_TRUE(world.run().imported.empty());
    EXPECT_EQ(world.entries("reconcile"), Texts{"reconcile"});
  }
}

TEST(SyncCoordinator, secondFileOfASourceOrPayloadIsDroppedWithoutARecordAndCounted) {
  CoordinatorWorld world;
  world.card = {mediaFile("a", "p"), mediaFile("a"), mediaFile("b", "p")};
  const SyncResult result = world.run();
  EXPECT_EQ(world.entries("reconcile"), Texts{"reconcile a"});
  EXPECT_EQ(sourcesOf(result.imported), Texts{"a"});
  EXPECT_EQ(result.scannedCount, 3);
  EXPECT_FALSE(world.history->containsSourceFingerprint("b"));
}

TEST(SyncCoordinator, fileWhosePayloadIsRecordedForAnotherSourceIsDropped) {
  CoordinatorWorld world;
  world.card = {mediaFile("a", "p")};
  world.given({recordOf(mediaFile("x", "p"), "asset-x")});
  EXPECT_TRUE(world.run().imported.empty());
  EXPECT_EQ(world.entries("reconcile"), Texts{"reconcile"});
}

// What the history holds of file "a" once it was found in the library.
ImportRecord recordOfFoundFile(const CoordinatorWorld& world, ImportEvidence evidence) {
  ImportRecord record;
  record.sourceFingerprint = "a";
  record.filename = "a.JPG";
  record.relativePath = "DCIM/a.JPG";
  record.byteCount = 1'001;
  record.importedAt = world.now;
  record.photosAssetIdentifier = "asset-a";
  record.wasReconciled = true;
  record.evidence = evidence;
  return record;
}

TEST(SyncCoordinator, fileFoundByContentIsRecordedAndNotImported) {
  CoordinatorWorld world;
  world.card = {mediaFile("a", "p")};
  world.searches = {foundByContent("a")};
  world.searches[0].matches["a"].mediaPayloadFingerprint = "q";
  EXPECT_TRUE(world.run().imported.empty());

  ImportRecord expected = recordOfFoundFile(world, ImportEvidence::contentConfirmed);
  expected.mediaPayloadFingerprint = "p";
  expected.processedFingerprint = "a-resource";
  EXPECT_EQ(world.record("a"), expected);
}

TEST(SyncCoordinator, recordsWhatWasFoundByContentBeforeWhatWasFoundByMetadata) {
  CoordinatorWorld world;
  world.card = {mediaFile("a"), mediaFile("b")};
  world.searches = {foundByMetadata("a")};
  world.searches[0].matches["b"] = matchOf("b");
  world.run();
  EXPECT_LT(world.record("b").importedAt, world.record("a").importedAt);
}

TEST(SyncCoordinator, recordOfAFileWithoutPayloadTakesThatOfItsMatch) {
  CoordinatorWorld world;
  world.card = {mediaFile("a")};
  world.searches = {foundByContent("a")};
  world.searches[0].matches["a"].mediaPayloadFingerprint = "q";
  world.run();
  EXPECT_EQ(world.record("a").mediaPayloadFingerprint, "q");
}

TEST(SyncCoordinator, pendingFileFoundByContentIsRecordedAndItsMarkCleared) {
  CoordinatorWorld world;
  world.card = {mediaFile("a")};
  world.given({}, {"a"});
  world.searches = {foundByContent("a")};
  EXPECT_EQ(world.run().recognizedCount, 1);
  EXPECT_EQ(world.entries("unmark"), Texts{"unmark a"});
  EXPECT_TRUE(world.entries("import").empty());
}

TEST(SyncCoordinator, fileFoundByMetadataOnlyIsRecordedAndNotImported) {
  CoordinatorWorld world;
  world.card = {mediaFile("a", "p")};
  world.searches = {foundByMetadata("a")};
  EXPECT_TRUE(world.run().imported.empty());

  const ImportRecord expected = recordOfFoundFile(world, ImportEvidence::metadataOnly);
  EXPECT_EQ(world.record("a"), expected);
}

TEST(SyncCoordinator, pendingFileFoundByMetadataOnlyIsNotRecordedAndStopsTheRun) {
  CoordinatorWorld world;
  world.card = {mediaFile("a"), mediaFile("b")};
  world.given({}, {"a"});
  world.searches = {foundByMetadata("a")};
  EXPECT_EQ(failureOfRun(world), "unresolvedImport");
  EXPECT_TRUE(world.history->records().empty());
  EXPECT_EQ(world.history->pendingImportSources(), std::set<std::string>{"a"});
  EXPECT_EQ(world.finishedLog().back(), "reconcile a b");
}

TEST(SyncCoordinator, fileThatIsNotFoundIsImported) {
  CoordinatorWorld world;
  world.card = {mediaFile("b"), mediaFile("a")};
  EXPECT_EQ(world.run().imported, world.card);
  EXPECT_EQ(world.entries("import"), Texts{"import b a"});
}

TEST(SyncCoordinator, fileThatStaysUncheckedStopsTheImportOfTheWholeCard) {
  for (const bool budgetExceeded : {false, true}) {
    CoordinatorWorld world;
    world.card = {mediaFile("a"), mediaFile("b"), mediaFile("c")};
    world.searches = {leftUnchecked({"a"}, budgetExceeded), leftUnchecked({"a"}, budgetExceeded)};
    world.searches[0].matches["c"] = matchOf("c");
    EXPECT_EQ(failureOfRun(world), budgetExceeded ? "budgetExceeded" : "resourceUnavailable");
    EXPECT_TRUE(world.entries("phase preparing").empty());
    EXPECT_EQ(world.entries("record"), Texts{"record c content"});
  }
}

TEST(SyncCoordinator, pendingFileNotFoundByContentStopsTheRun) {
  CoordinatorWorld world;
  world.card = {mediaFile("a"), mediaFile("b")};
  world.given({}, {"a"});
  EXPECT_EQ(failureOfRun(world), "unresolvedImport");
  EXPECT_TRUE(world.entries("phase preparing").empty());
  EXPECT_EQ(world.history->pendingImportSources(), std::set<std::string>{"a"});
}

// Files of interrupted imports

TEST(SyncCoordinator, pendingFileWithARecordIsSearchedForAndSettledByContent) {
  CoordinatorWorld world;
  world.card = {mediaFile("a")};
  world.given({recordOf(world.card[0], "asset-old")}, {"a"});
  world.searches = {foundByContent("a")};
  EXPECT_EQ(world.run().recognizedCount, 1);
  EXPECT_EQ(world.record("a").photosAssetIdentifier, "asset-a");
  EXPECT_TRUE(world.history->pendingImportSources().empty());
}

TEST(SyncCoordinator, pendingFileThatIsNotFoundStopsTheRunHoweverGoodItsRecord) {
  CoordinatorWorld world;
  world.card = {mediaFile("a", "jpeg-v2:p")};
  world.given({recordOf(world.card[0], "asset-a", ImportEvidence::contentConfirmed)}, {"a"});
  EXPECT_EQ(failureOfRun(world), "unresolvedImport");
  EXPECT_EQ(world.entries("reconcile"), Texts{"reconcile a"});
}

TEST(SyncCoordinator, uncheckedFileIsTheFailureWhereAnInterruptedImportWouldBeOne) {
  CoordinatorWorld world;
  world.card = {mediaFile("a"), mediaFile("b")};
  world.given({}, {"a"});
  world.searches = {leftUnchecked({"b"}, false)};
  EXPECT_EQ(failureOfRun(world), "resourceUnavailable");
}

TEST(SyncCoordinator, recordOfAPendingFileDoesNotHideAnotherFileWithItsPayload) {
  CoordinatorWorld world;
  world.card = {mediaFile("b", "p"), mediaFile("a")};
  world.given({recordOf(mediaFile("a", "p"), "asset-a")}, {"a"});
  failureOfRun(world);
  EXPECT_EQ(world.entries("reconcile"), Texts{"reconcile b a"});
}

// The upgrade of an old record clears a mark without any content having been found.
TEST(SyncCoordinator, pendingFileWhoseMarkAnUpgradeClearedIsNotImported) {
  for (const LibraryReconciliation& search :
       {LibraryReconciliation(), foundByMetadata("a"), foundByContent("b")}) {
    CoordinatorWorld world;
    world.card = {mediaFile("a", "jpeg-v2:p"), mediaFile("b")};
    world.given({recordOf(mediaFile("a"), "asset-gone")}, {"a"});
    world.searches = {search};
    EXPECT_EQ(failureOfRun(world), "unresolvedImport");
    EXPECT_TRUE(world.history->pendingImportSources().empty());
    EXPECT_TRUE(world.entries("phase preparing").empty());
    EXPECT_TRUE(world.entries("import").empty());
  }
}

TEST(SyncCoordinator, hiddenPendingFileWhoseMarkAnUpgradeClearedStopsTheRun) {
  CoordinatorWorld world;
  world.card = {mediaFile("twin", "jpeg-v2:p"), mediaFile("a", "jpeg-v2:p")};
  world.given({recordOf(mediaFile("a"), "asset-gone")}, {"a"});
  EXPECT_EQ(failureOfRun(world), "unresolvedImport");
  EXPECT_EQ(world.entries("reconcile"), Texts{"reconcile twin"});
  EXPECT_TRUE(world.entries("import").empty());
}

TEST(SyncCoordinator, pendingFileWhoseMarkAnUpgradeClearedIsSettledByContent) {
  CoordinatorWorld world;
  world.card = {mediaFile("a", "jpeg-v2:p"), mediaFile("b")};
  world.given({recordOf(mediaFile("a"), "asset-gone")}, {"a"});
  world.searches = {foundByContent("a")};
  EXPECT_EQ(sourcesOf(world.run().imported), Texts{"b"});
}

TEST(SyncCoordinator, pendingFileHiddenByAnEarlierFileStopsTheRun) {
  CoordinatorWorld world;
  world.card = {mediaFile("a", "p"), mediaFile("b", "p")};
  world.given({}, {"b"});
  EXPECT_EQ(failureOfRun(world), "unresolvedImport");
  EXPECT_EQ(world.entries("reconcile"), Texts{"reconcile a"});
}

TEST(SyncCoordinator, completesInterruptedImportsBeforeItLooksForAnything) {
  CoordinatorWorld world;
  world.card = {mediaFile("a")};
  world.held.emplace();
  world.run();
  const Texts log = world.finishedLog();
  EXPECT_EQ(Texts(log.begin(), log.begin() + 5),
            (Texts{"access", "phase checkingAccess", "complete", "access", "phase fingerprinting"}));
}

TEST(SyncCoordinator, completesNothingForAHistoryThatCannotBeRead) {
  CoordinatorWorld world;
  tests::writeFile(world.historyFile, "{");
  world.history = std::make_shared<SyncHistoryStore>(world.historyFile);
  world.held.emplace();
  EXPECT_THROW(world.coordinator().run(world.cameraFiles(), false, {}, {}), SyncHistoryError);
  EXPECT_TRUE(world.entries("complete").empty());
}

TEST(SyncCoordinator, pendingFileThatTheLibraryHoldsIsHiddenByNoFileOfItsPayload) {
  for (const bool isSiblingRecorded : {false, true}) {
    CoordinatorWorld world;
    world.card = {mediaFile("a", "p"), mediaFile("b", "p"), mediaFile("c"), mediaFile("b", "p")};
    world.history->beginPreparedImport({tests::preparedFile(mediaFile("b"))});
    world.given(isSiblingRecorded ? std::vector{recordOf(mediaFile("a", "p"), "asset-a")}
                                  : std::vector<ImportRecord>());
    world.held = {"b-processed"};
    world.searches = {foundByContent("b")};
    EXPECT_EQ(sourcesOf(world.run().imported), Texts{"c"});
    EXPECT_EQ(world.entries("reconcile"), Texts{"reconcile b c"}) << "in the order of the scan, each once";
    EXPECT_TRUE(world.history->pendingImportSources().empty());
  }
}

TEST(SyncCoordinator, fileThatTheLibraryHoldsAndIsNotPendingMayBeHidden) {
  CoordinatorWorld world;
  world.card = {mediaFile("a", "p"), mediaFile("b", "p")};
  world.held = {"b-processed"};
  world.run();
  EXPECT_EQ(world.entries("reconcile"), Texts{"reconcile a"});
}

TEST(SyncCoordinator, pendingFileThatIsNotOnTheCardBlocksNothing) {
  CoordinatorWorld world;
  world.card = {mediaFile("a")};
  world.given({}, {"elsewhere"});
  EXPECT_EQ(sourcesOf(world.run().imported), Texts{"a"});
  EXPECT_EQ(world.history->pendingImportSources(), std::set<std::string>{"elsewhere"});
}

TEST(SyncCoordinator, readsTheMarksAfreshBeforeItImports) {
  CoordinatorWorld world;
  world.card = {mediaFile("a")};
  world.onEntry = [&](const std::string& entry) {
    if (entry == "reconcile a") {
      world.history->beginImport({"a"});
    }
  };
  EXPECT_EQ(failureOfRun(world), "unresolvedImport");
  EXPECT_TRUE(world.entries("import").empty());
}

TEST(SyncCoordinator, searchesWithWhatTheHistoryHoldsOfInterruptedImportsAlone) {
  CoordinatorWorld world;
  world.card = {mediaFile("a"), mediaFile("b"), mediaFile("c")};
  world.card[2].pendingProcessedFingerprint = "stale";
  world.card[2].requiresExactReconciliation = true;
  world.history->beginPreparedImport({tests::preparedFile(world.card[0])});
  world.given({}, {"b"});
  failureOfRun(world);
  const auto searched = world.searched.at(0);
  EXPECT_EQ(searched.at(0).pendingProcessedFingerprint, "a-processed");
  EXPECT_TRUE(searched.at(0).requiresExactReconciliation);
  EXPECT_EQ(searched.at(1).pendingProcessedFingerprint, std::nullopt);
  EXPECT_TRUE(searched.at(1).requiresExactReconciliation);
  EXPECT_EQ(searched.at(2).pendingProcessedFingerprint, std::nullopt);
  EXPECT_FALSE(searched.at(2).requiresExactReconciliation);
}

// The second pass

TEST(SyncCoordinator, makesNoSecondPassForABudgetFlagWithoutUncheckedFiles) {
  CoordinatorWorld world;
  world.card = {mediaFile("a"), mediaFile("b"), mediaFile("c")};
  world.searches = {leftUnchecked({"a", "b"}, true)};
  world.searches[0].matches["a"] = matchOf("a");
  world.searches[0].metadataMatches["b"] = "asset-b";
  EXPECT_EQ(sourcesOf(world.run().imported), Texts{"c"});
  EXPECT_EQ(world.entries("reconcile"), Texts{"reconcile a b c"});
}

TEST(SyncCoordinator, makesNoSecondPassForUncheckedFilesWithoutABudgetFlag) {
  CoordinatorWorld world;
  world.card = {mediaFile("a")};
  world.searches = {leftUnchecked({"a"}, false)};
  EXPECT_EQ(failureOfRun(world), "resourceUnavailable");
  EXPECT_EQ(world.searched.size(), 1U);
}

TEST(SyncCoordinator, makesOneSecondPassAndNeverMore) {
  CoordinatorWorld world;
  world.card = {mediaFile("b"), mediaFile("c"), mediaFile("a")};
  world.searches = {leftUnchecked({"a", "b"}, true), leftUnchecked({"b"}, true), LibraryReconciliation()};
  EXPECT_EQ(failureOfRun(world), "budgetExceeded");
  EXPECT_EQ(world.entries("reconcile"), (Texts{"reconcile b c a", "reconcile b a broader"}));
}

TEST(SyncCoordinator, secondPassThatClearsTheUncheckedFilesSucceedsWithTheFlagSet) {
  CoordinatorWorld world;
  world.card = {mediaFile("a"), mediaFile("b")};
  world.searches = {leftUnchecked({"a"}, true), leftUnchecked({}, true)};
  EXPECT_EQ(sourcesOf(world.run().imported), (Texts{"a", "b"}));
}

TEST(SyncCoordinator, failureAfterTheSecondPassIsThatOfTheSecondPassAlone) {
  CoordinatorWorld world;
  world.card = {mediaFile("a")};
  world.searches = {leftUnchecked({"a"}, true), leftUnchecked({"a"}, false)};
  EXPECT_EQ(failureOfRun(world), "resourceUnavailable");
}

// What a run leaves behind

TEST(SyncCoordinator, failedRunLeavesItsRecordsAndTheNextSkipsTheirFiles) {
  CoordinatorWorld world;
  world.card = {mediaFile("a"), mediaFile("b"), mediaFile("c")};
  world.searches = {leftUnchecked({"c"}, false)};
  world.searches[0].matches["a"] = matchOf("a");
  world.searches[0].metadataMatches["b"] = "asset-b";
  EXPECT_EQ(failureOfRun(world), "resourceUnavailable");
  EXPECT_EQ(sourcesOf(world.run().imported), Texts{"c"});
  EXPECT_EQ(world.entries("reconcile"), (Texts{"reconcile a b c", "reconcile c"}));
}

TEST(SyncCoordinator, albumGetsEveryRecordedAssetOfTheCardAlsoWhenNothingIsImported) {
  CoordinatorWorld world;
  world.card = {mediaFile("a"), mediaFile("b", "p"), mediaFile("c")};
  world.given({recordOf(world.card[0], "asset-a", ImportEvidence::metadataOnly),
               recordOf(mediaFile("x", "p"), "asset-x"), recordOf(world.card[2], {}),
               recordOf(mediaFile("elsewhere"), "asset-y")});
  world.run("Trip");
  EXPECT_EQ(world.entries("album"), Texts{"album Trip: asset-a asset-x"});
}

TEST(SyncCoordinator, keepsStoppingAtAFailedImportWithoutFillingTheAlbum) {
  CoordinatorWorld world;
  world.card = {mediaFile("a")};
  world.onEntry = [](const std::string& entry) {
    if (entry == "import a") {
      throw CancellationError();
    }
  };
  EXPECT_EQ(failureOf([&] { world.run("Trip"); }), "cancelled");
  EXPECT_TRUE(world.entries("phase album").empty());
}

TEST(SyncPhase, importingCarriesItsCounts) {
  const SyncPhase phase = SyncPhase::importing(2, 5);
  EXPECT_EQ(phase.kind, SyncPhase::Kind::importing);
  EXPECT_EQ(phase.completed, 2);
  EXPECT_EQ(phase.total, 5);
  EXPECT_NE(phase, SyncPhase::importing(3, 5));
  EXPECT_NE(SyncPhase{.kind = SyncPhase::Kind::album}, SyncPhase{.kind = SyncPhase::Kind::finished});
}

}  // namespace
}  // namespace tolvander
