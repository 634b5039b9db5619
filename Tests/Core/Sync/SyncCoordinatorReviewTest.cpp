#include <gtest/gtest.h>

#include <filesystem>
#include <optional>

#include "Tests/Support/Fixtures/CoordinatorWorld.h"
#include "TolvanderCore/SyncCoordinator.h"

namespace tolvander {
namespace {

using tests::CoordinatorWorld;
using tests::failureOf;
using tests::matchOf;
using tests::mediaFile;
using tests::recordOf;
using tests::sourcesOf;

using Assets = std::map<std::string, std::string>;
using Texts = std::vector<std::string>;

constexpr auto metadataOnly = ImportEvidence::metadataOnly;

// The lists of a review by the sources of their files, of those that hold any, and the flag.
std::map<std::string, Texts> verdicts(const CameraLibraryReview& review) {
  std::map<std::string, Texts> lists = {{"represented", sourcesOf(review.represented)},
                                        {"missingRecorded", sourcesOf(review.missingRecorded)},
                                        {"newFiles", sourcesOf(review.newFiles)},
                                        {"uncertain", sourcesOf(review.uncertain)},
                                        {"unchecked", sourcesOf(review.unchecked)},
                                        {"metadataRepresented", sourcesOf(review.metadataRepresented)}};
  std::erase_if(lists, [](const auto& list) { return list.second.empty(); });
  return lists;
}

using Verdicts = std::map<std::string, Texts>;

// The verdicts on the files of `world`, of which one search found this.
Verdicts verdictsWith(CoordinatorWorld& world, const LibraryReconciliation& found) {
  world.searches = {found};
  return verdicts(world.review());
}

// A card with one file for each standing and each verdict.
void prepareEveryVerdict(CoordinatorWorld& world) {
  world.card = {mediaFile("new"),       mediaFile("gone"), mediaFile("likely"),    mediaFile("here"),
                mediaFile("twin"),      mediaFile("twin"), mediaFile("newLikely"), mediaFile("newFound"),
                mediaFile("goneFound"), mediaFile("open"), mediaFile("goneOpen"),  mediaFile("broken"),
                mediaFile("moved", "p")};
  world.given(
      {recordOf(mediaFile("gone"), "asset-gone"), recordOf(mediaFile("likely"), "asset-likely", metadataOnly),
       recordOf(mediaFile("here"), "asset-here"), recordOf(mediaFile("goneFound"), "asset-old"),
       recordOf(mediaFile("goneOpen"), {}), recordOf(mediaFile("elsewhere", "p"), "asset-moved")},
      {"broken"});
  world.assets = {"asset-likely", "asset-here", "asset-moved"};
  LibraryReconciliation found;
  found.matches = {{"newFound", matchOf("newFound")}, {"goneFound", matchOf("goneFound")}};
  found.metadataMatches = {{"newLikely", "asset-newLikely"}, {"broken", "asset-broken"}};
  found.unchecked = {"open", "goneOpen", "broken", "newFound", "likely", "newLikely"};
  found.budgetExceeded = true;
  world.searches = {found};
}

const Texts everyVerdictReviewLog = {
    "access",
    "phase fingerprinting",
    "fingerprint DCIM/new.JPG DCIM/gone.JPG DCIM/likely.JPG DCIM/here.JPG DCIM/twin.JPG DCIM/twin.JPG "
    "DCIM/newLikely.JPG DCIM/newFound.JPG DCIM/goneFound.JPG DCIM/open.JPG DCIM/goneOpen.JPG DCIM/broken.JPG "
    "DCIM/moved.JPG",
    "exist asset-gone asset-here asset-likely asset-moved asset-old",
    "access",
    "phase recognizing",
    "reconcile gone goneFound goneOpen new twin newLikely newFound open broken likely"};

// review

TEST(CameraLibraryReview, takesItsStepsInOrderChangesNoHistoryAndEndsWithTheFirstFailure) {
  tests::expectStepsAndFailures(
      prepareEveryVerdict, [](CoordinatorWorld& world) { world.review(); }, everyVerdictReviewLog);
}

TEST(CameraLibraryReview, isCancelledAtItsGatesAndNowhereElse) {
  tests::expectCancellationAtGatesOnly(prepareEveryVerdict, [](CoordinatorWorld& world) { world.review(); });
}

TEST(CameraLibraryReview, sortsEveryFileOfTheCard) {
  CoordinatorWorld world;
  prepareEveryVerdict(world);
  const CameraLibraryReview review = world.review();
  EXPECT_EQ(verdicts(review), (Verdicts{{"represented", {"here", "moved", "goneFound", "newFound"}},
                                        {"missingRecorded", {"gone"}},
                                        {"newFiles", {"new", "twin"}},
                                        {"uncertain", {"broken"}},
                                        {"unchecked", {"goneOpen", "open"}},
                                        {"metadataRepresented", {"newLikely", "likely"}}}));
  EXPECT_TRUE(review.budgetExceeded);
  EXPECT_EQ(review.recognized, world.searches[0].matches);
  EXPECT_EQ(review.metadataRecognized, (Assets{{"newLikely", "asset-newLikely"}}));
}

TEST(CameraLibraryReview, holdsEveryFileOfTheScanWithItsPendingIdentity) {
  CoordinatorWorld world;
  world.card = {mediaFile("a"), mediaFile("a"), mediaFile("b")};
  world.history->beginPreparedImport({tests::preparedFile(world.card[2])});
  const CameraLibraryReview review = world.review();
  EXPECT_EQ(sourcesOf(review.files), (Texts{"a", "a", "b"}));
  EXPECT_FALSE(review.files[0].requiresExactReconciliation);
  EXPECT_TRUE(review.files[2].requiresExactReconciliation);
  EXPECT_EQ(review.files[2].pendingProcessedFingerprint, "b-processed");
  EXPECT_EQ(world.searched.at(0).at(1), review.files[2]);
}

TEST(CameraLibraryReview, handsOnHowBroadlyToSearchAndWhatTheCameraIs) {
  CoordinatorWorld world;
  world.card = {mediaFile("a")};
  world.review(true, true);
  EXPECT_EQ(world.entries("fingerprint"), Texts{"fingerprint DCIM/a.JPG charmera"});
  EXPECT_EQ(world.entries("reconcile"), Texts{"reconcile a broader"});
}

TEST(CameraLibraryReview, ofAnEmptyCardSearchesForNothing) {
  CoordinatorWorld world;
  EXPECT_EQ(world.review(), CameraLibraryReview());
  EXPECT_EQ(world.finishedLog(), (Texts{"access", "phase fingerprinting", "fingerprint", "exist", "access",
                                        "phase recognizing", "reconcile"}));
}

TEST(CameraLibraryReview, stopsAtAnUnreadableHistoryBeforeReadingTheCamera) {
  CoordinatorWorld world;
  tests::writeFile(world.historyFile, "not JSON");
  world.history = std::make_shared<SyncHistoryStore>(world.historyFile);
  EXPECT_EQ(failureOf([&] { world.review(); }), "unreadableHistory");
  EXPECT_EQ(world.finishedLog(), (Texts{"access", "phase fingerprinting"}));
}

TEST(CameraLibraryReview, metadataRecordWhoseAssetIsGoneIsMissing) {
  CoordinatorWorld world;
  world.card = {mediaFile("a")};
  world.given({recordOf(world.card[0], "asset-a", metadataOnly)});
  EXPECT_EQ(verdictsWith(world, {}), (Verdicts{{"missingRecorded", {"a"}}}));
}

TEST(CameraLibraryReview, recordWithoutAnAssetIsMissing) {
  CoordinatorWorld world;
  world.card = {mediaFile("a")};
  world.given({recordOf(world.card[0], {})});
  EXPECT_EQ(verdictsWith(world, {}), (Verdicts{{"missingRecorded", {"a"}}}));
}

TEST(CameraLibraryReview, confirmedRecordWhoseAssetExistsIsRepresentedAndNeverSearchedFor) {
  CoordinatorWorld world;
  world.card = {mediaFile("a")};
  world.given({recordOf(world.card[0], "asset-a")});
  world.assets = {"asset-a"};
  EXPECT_EQ(verdictsWith(world, {}), (Verdicts{{"represented", {"a"}}}));
  EXPECT_EQ(world.entries("reconcile"), Texts{"reconcile"});
}

TEST(CameraLibraryReview, confirmedRecordOfAnotherSourceWithThePayloadRepresents) {
  CoordinatorWorld world;
  world.card = {mediaFile("a", "p")};
  world.given({recordOf(world.card[0], "asset-gone"), recordOf(mediaFile("x", "p"), "asset-x"),
               recordOf(mediaFile("y", "p"), "asset-gone")});
  world.assets = {"asset-x"};
  EXPECT_EQ(verdictsWith(world, {}), (Verdicts{{"represented", {"a"}}}));
}

TEST(CameraLibraryReview, confirmedRecordOutweighsAMetadataRecordOfTheSameFile) {
  CoordinatorWorld world;
  world.card = {mediaFile("a", "p")};
  world.given({recordOf(world.card[0], "asset-a", metadataOnly), recordOf(mediaFile("x", "p"), "asset-x")});
  world.assets = {"asset-a", "asset-x"};
  EXPECT_EQ(verdictsWith(world, {}), (Verdicts{{"represented", {"a"}}}));
}

TEST(CameraLibraryReview, confirmedRecordWhoseAssetIsGoneLeavesTheMetadataRecordInForce) {
  CoordinatorWorld world;
  world.card = {mediaFile("a", "p")};
  world.given({recordOf(world.card[0], "asset-a", metadataOnly), recordOf(mediaFile("x", "p"), "asset-x")});
  world.assets = {"asset-a"};
  EXPECT_EQ(verdictsWith(world, {}), (Verdicts{{"metadataRepresented", {"a"}}}));
}

TEST(CameraLibraryReview, recordOfTheSamePayloadWithoutAnAssetMakesAFileMissingNotNew) {
  CoordinatorWorld world;
  world.card = {mediaFile("a", "p")};
  world.given({recordOf(mediaFile("x", "p"), "asset-x")});
  EXPECT_EQ(verdictsWith(world, {}), (Verdicts{{"missingRecorded", {"a"}}}));
}

TEST(CameraLibraryReview, onlyRepetitionsWithinTheCardDropOut) {
  CoordinatorWorld world;
  world.card = {mediaFile("a", "p"), mediaFile("b", "p"), mediaFile("a"), mediaFile("c", "q")};
  world.given({recordOf(world.card[0], {}), recordOf(mediaFile("c"), {})});
  EXPECT_EQ(verdictsWith(world, {}), (Verdicts{{"missingRecorded", {"a", "c"}}}));
}

TEST(CameraLibraryReview, metadataRepresentedFileFoundByContentStandsInBothLists) {
  CoordinatorWorld world;
  world.card = {mediaFile("a")};
  world.given({recordOf(world.card[0], "asset-a", metadataOnly)});
  world.assets = {"asset-a"};
  LibraryReconciliation found;
  found.matches["a"] = matchOf("a");
  EXPECT_EQ(verdictsWith(world, found), (Verdicts{{"represented", {"a"}}, {"metadataRepresented", {"a"}}}));
}

TEST(CameraLibraryReview, newFileFoundBothWaysCountsByContentAlone) {
  CoordinatorWorld world;
  world.card = {mediaFile("a")};
  world.searches.resize(1);
  world.searches[0].matches["a"] = matchOf("a");
  world.searches[0].metadataMatches["a"] = "asset-a";
  const CameraLibraryReview review = world.review();
  EXPECT_EQ(verdicts(review), (Verdicts{{"represented", {"a"}}}));
  EXPECT_EQ(review.metadataRecognized, Assets());
}

TEST(CameraLibraryReview, pendingFileWithAConfirmedRecordWhoseAssetExistsIsRepresentedAndKeepsItsMark) {
  CoordinatorWorld world;
  world.card = {mediaFile("a")};
  world.given({recordOf(world.card[0], "asset-a")}, {"a"});
  world.assets = {"asset-a"};
  EXPECT_EQ(verdictsWith(world, {}), (Verdicts{{"represented", {"a"}}}));
  EXPECT_EQ(world.history->pendingImportSources(), std::set<std::string>{"a"});
}

TEST(CameraLibraryReview, pendingFileFoundByMetadataOnlyIsUncertainAndItsMatchIsDropped) {
  CoordinatorWorld world;
  world.card = {mediaFile("a")};
  world.given({}, {"a"});
  world.searches.resize(1);
  world.searches[0].metadataMatches["a"] = "asset-a";
  const CameraLibraryReview review = world.review();
  EXPECT_EQ(verdicts(review), (Verdicts{{"uncertain", {"a"}}}));
  EXPECT_EQ(review.metadataRecognized, Assets());
}

TEST(CameraLibraryReview, pendingFileOfEveryStandingIsUncertainUntilItIsFoundByContent) {
  for (const auto& record : {std::optional<ImportRecord>(), std::optional(recordOf(mediaFile("a"), {})),
                             std::optional(recordOf(mediaFile("a"), "asset-a", metadataOnly))}) {
    CoordinatorWorld world;
    world.card = {mediaFile("a")};
    world.given(record ? std::vector{*record} : std::vector<ImportRecord>(), {"a"});
    world.assets = {"asset-a"};
    LibraryReconciliation unchecked;
    unchecked.unchecked = {"a"};
    LibraryReconciliation found;
    found.matches["a"] = matchOf("a");
    world.searches = {{}, unchecked, found};
    EXPECT_EQ(verdicts(world.review()), (Verdicts{{"uncertain", {"a"}}}));
    EXPECT_EQ(verdicts(world.review()), (Verdicts{{"uncertain", {"a"}}}));
    EXPECT_EQ(verdicts(world.review()), (Verdicts{{"represented", {"a"}}}));
  }
}

TEST(CameraLibraryReview, searchThatReachesItsLimitIsNoFailure) {
  CoordinatorWorld world;
  world.card = {mediaFile("a"), mediaFile("b")};
  world.searches.resize(1);
  world.searches[0].unchecked = {"b"};
  world.searches[0].budgetExceeded = true;
  const CameraLibraryReview review = world.review();
  EXPECT_TRUE(review.budgetExceeded);
  EXPECT_EQ(verdicts(review), (Verdicts{{"newFiles", {"a"}}, {"unchecked", {"b"}}}));
}

// rememberRecognizedImports

CameraLibraryReview reviewWithEveryMatch() {
  CameraLibraryReview review;
  review.files = {mediaFile("likely"), mediaFile("found", "p"), mediaFile("left"), mediaFile("likelyLeft"),
                  mediaFile("broken")};
  review.files[4].requiresExactReconciliation = true;
  review.recognized = {{"found", matchOf("found")}, {"left", matchOf("left")}};
  review.metadataRecognized = {
      {"likely", "asset-likely"}, {"likelyLeft", "asset-likelyLeft"}, {"broken", "asset-broken"}};
  return review;
}

void prepareRemembering(CoordinatorWorld& world) {
  world.given({}, {"found"});
  world.assets = {"asset-found", "asset-likely", "asset-broken"};
}

TEST(RememberRecognizedImports, recordsWhatIsStillInTheLibraryAndEndsWithTheFirstFailure) {
  tests::expectStepsAndFailures(prepareRemembering,
                                [](CoordinatorWorld& world) { world.remember(reviewWithEveryMatch()); },
                                {"access", "phase checkingAccess",
                                 "exist asset-found asset-left asset-broken asset-likely asset-likelyLeft",
                                 "record found content", "record likely metadata", "unmark found"});
}

TEST(RememberRecognizedImports, isCancelledAtItsGateAndNowhereElse) {
  tests::expectCancellationAtGatesOnly(
      prepareRemembering, [](CoordinatorWorld& world) { world.remember(reviewWithEveryMatch()); });
}

TEST(RememberRecognizedImports, recordsContentWithItsIdentitiesBeforeMetadataWithout) {
  CoordinatorWorld world;
  prepareRemembering(world);
  world.remember(reviewWithEveryMatch());
  EXPECT_EQ(world.record("found").mediaPayloadFingerprint, "p");
  EXPECT_EQ(world.record("found").processedFingerprint, "found-resource");
  EXPECT_EQ(world.record("likely").evidence, metadataOnly);
  EXPECT_LT(world.record("found").importedAt, world.record("likely").importedAt);
}

TEST(RememberRecognizedImports, withoutMatchesStillAsksForNoneAndSavesNothing) {
  CoordinatorWorld world;
  world.remember({});
  EXPECT_EQ(world.finishedLog(), (Texts{"access", "phase checkingAccess", "exist"}));
  EXPECT_FALSE(std::filesystem::exists(world.historyFile.path()));
}

// restore

const Texts restoreLog = {"access",
                          "phase checkingAccess",
                          "exist asset-oldFound",
                          "record oldFound content",
                          "access",
                          "phase fingerprinting",
                          "fingerprint DCIM/new.JPG DCIM/gone.JPG DCIM/broken.JPG DCIM/likely.JPG "
                          "DCIM/newLikely.JPG DCIM/oldFound.JPG DCIM/new.JPG charmera",
                          "exist asset-likely asset-old asset-oldFound",
                          "access",
                          "phase recognizing",
                          "reconcile gone new broken newLikely likely broader",
                          "record broken content",
                          "record newLikely metadata",
                          "unmark broken",
                          "access",
                          "phase preparing",
                          "import gone new charmera",
                          "record gone content",
                          "record new content",
                          "access",
                          "phase album",
                          "album Trip: asset-broken asset-gone asset-likely asset-new asset-newLikely "
                          "asset-oldFound",
                          "phase finished"};

void prepareRestoration(CoordinatorWorld& world) {
  world.card = {mediaFile("new"),       mediaFile("gone"),     mediaFile("broken"), mediaFile("likely"),
                mediaFile("newLikely"), mediaFile("oldFound"), mediaFile("new")};
  world.given(
      {recordOf(mediaFile("gone"), "asset-old"), recordOf(mediaFile("likely"), "asset-likely", metadataOnly)},
      {"broken"});
  world.assets = {"asset-likely", "asset-oldFound"};
  world.searches.resize(1);
  world.searches[0].matches["broken"] = matchOf("broken");
  world.searches[0].metadataMatches["newLikely"] = "asset-newLikely";
}

SyncResult restoreIntoAlbum(CoordinatorWorld& world) {
  CameraLibraryReview review;
  review.files = world.card;
  review.recognized["oldFound"] = matchOf("oldFound");
  return world.restore(review, "Trip", true);
}

// A review of the world's card as old as can be: it knows the files and nothing else.
SyncResult restoreCard(CoordinatorWorld& world) {
  CameraLibraryReview review;
  review.files = world.card;
  return world.restore(review);
}

std::string failureOfRestoration(CoordinatorWorld& world) {
  return failureOf([&] { restoreCard(world); });
}

TEST(Restore, takesItsStepsInOrderAndEndsWithTheFirstFailure) {
  tests::expectStepsAndFailures(prepareRestoration, restoreIntoAlbum, restoreLog);
}

TEST(Restore, isCancelledAtItsGatesAndNowhereElse) {
  tests::expectCancellationAtGatesOnly(prepareRestoration, restoreIntoAlbum);
}

TEST(Restore, countsWhatBecameOfTheCard) {
  CoordinatorWorld world;
  prepareRestoration(world);
  const SyncResult result = restoreIntoAlbum(world);
  EXPECT_EQ(result.scannedCount, 7);
  EXPECT_EQ(result.recognizedCount, 1);
  EXPECT_EQ(sourcesOf(result.imported), (Texts{"gone", "new"}));
  EXPECT_EQ(result.metadataMatchedCount, 2);
  ASSERT_EQ(result.metadataMatchedFiles.size(), 2U);
  EXPECT_EQ(result.metadataMatchedFiles[0].filename, "newLikely.JPG");
  EXPECT_EQ(result.metadataMatchedFiles[1].filename, "likely.JPG");
}

TEST(Restore, importsNothingWhereNothingIsMissingAndReportsEveryPhase) {
  CoordinatorWorld world;
  EXPECT_EQ(restoreCard(world), SyncResult());
  EXPECT_EQ(world.entries("phase"),
            (Texts{"phase checkingAccess", "phase fingerprinting", "phase recognizing", "phase preparing",
                   "phase album", "phase finished"}));
  EXPECT_TRUE(world.entries("import").empty());
  EXPECT_TRUE(world.entries("album").empty());
}

TEST(Restore, judgesByTheFreshReviewAndNotByTheOldOne) {
  CoordinatorWorld world;
  world.card = {mediaFile("a")};
  world.searches.resize(1);
  world.searches[0].matches["a"] = matchOf("a");
  CameraLibraryReview old;
  old.files = world.card;
  old.newFiles = world.card;
  old.uncertain = world.card;
  old.unchecked = world.card;
  EXPECT_TRUE(world.restore(old).imported.empty());
  EXPECT_TRUE(world.entries("import").empty());
}

TEST(Restore, itemThatTheFreshSearchFindsIsRecordedEvenIfTheRestorationFails) {
  CoordinatorWorld world;
  world.card = {mediaFile("a"), mediaFile("b"), mediaFile("c")};
  world.given({}, {"a", "b"});
  world.searches.resize(1);
  world.searches[0].matches["a"] = matchOf("a");
  EXPECT_EQ(failureOfRestoration(world), "unresolvedImport");
  EXPECT_EQ(world.history->pendingImportSources(), std::set<std::string>{"b"});
  EXPECT_EQ(world.record("a").evidence, ImportEvidence::contentConfirmed);
  EXPECT_TRUE(world.entries("phase preparing").empty());
}

TEST(Restore, uncheckedFileStopsTheImportOfTheWholeCard) {
  for (const bool budgetExceeded : {false, true}) {
    CoordinatorWorld world;
    world.card = {mediaFile("a"), mediaFile("b")};
    world.searches.resize(1);
    world.searches[0].unchecked = {"b"};
    world.searches[0].budgetExceeded = budgetExceeded;
    EXPECT_EQ(failureOfRestoration(world), budgetExceeded ? "budgetExceeded" : "resourceUnavailable");
    EXPECT_TRUE(world.entries("phase preparing").empty());
  }
}

TEST(Restore, uncertainFileComesBeforeAnUncheckedOne) {
  CoordinatorWorld world;
  world.card = {mediaFile("a"), mediaFile("b")};
  world.given({}, {"a"});
  world.searches.resize(1);
  world.searches[0].unchecked = {"b"};
  EXPECT_EQ(failureOfRestoration(world), "unresolvedImport");
}

TEST(Restore, pendingFileFoundByMetadataOnlyStopsTheRestoration) {
  CoordinatorWorld world;
  world.card = {mediaFile("a")};
  world.given({recordOf(world.card[0], "asset-a", metadataOnly)}, {"a"});
  world.assets = {"asset-a"};
  EXPECT_EQ(failureOfRestoration(world), "unresolvedImport");
  EXPECT_EQ(world.history->pendingImportSources(), std::set<std::string>{"a"});
}

// The mark is on the file that isn't looked at, the same picture is on the card a second time.
TEST(Restore, pendingFileHiddenByTheFileToBeImportedStopsTheRestoration) {
  CoordinatorWorld world;
  world.card = {mediaFile("a", "p"), mediaFile("b", "p"), mediaFile("c")};
  world.given({}, {"b"});
  EXPECT_EQ(failureOfRestoration(world), "unresolvedImport");
  EXPECT_TRUE(world.entries("import").empty());
}

TEST(Restore, pendingFileHiddenByAFileInTheLibraryHoldsNothingUp) {
  CoordinatorWorld world;
  world.card = {mediaFile("a", "p"), mediaFile("b", "p"), mediaFile("c")};
  world.given({}, {"b"});
  world.searches.resize(1);
  world.searches[0].matches["a"] = matchOf("a");
  EXPECT_EQ(sourcesOf(restoreCard(world).imported), Texts{"c"});
  EXPECT_EQ(world.history->pendingImportSources(), std::set<std::string>{"b"});
}

TEST(Restore, fileThatWasPendingWhenItWasReadIsNotImportedWhenItsMarkVanishes) {
  CoordinatorWorld world;
  world.card = {mediaFile("a")};
  world.given({}, {"a"});
  world.onEntry = [&](const std::string& entry) {
    if (entry == "exist" && world.entries("exist").size() == 2) {
      world.history->abandonFailedImport({"a"});
    }
  };
  EXPECT_EQ(failureOfRestoration(world), "unresolvedImport");
  EXPECT_TRUE(world.entries("import").empty());
}

TEST(Restore, stopsAtAnUnreadableHistory) {
  CoordinatorWorld world;
  tests::writeFile(world.historyFile, "not JSON");
  world.history = std::make_shared<SyncHistoryStore>(world.historyFile);
  EXPECT_EQ(failureOfRestoration(world), "unreadableHistory");
  EXPECT_EQ(world.entries("phase").back(), "phase fingerprinting");
}

TEST(SyncCoordinatorReview, whatOnlyLooksCompletesNothing) {
  CoordinatorWorld world;
  world.card = {mediaFile("a")};
  world.held.emplace();
  world.review(true);
  EXPECT_TRUE(world.entries("complete").empty());
}

TEST(SyncCoordinatorReview, whatIsToChangeSomethingCompletesFirst) {
  CoordinatorWorld world;
  world.card = {mediaFile("a", "p"), mediaFile("b", "p")};
  world.history->beginPreparedImport({tests::preparedFile(mediaFile("b"))});
  world.forgetHistoryChanges();
  world.held = {"b-processed"};
  const auto review = world.coordinator().reviewBeforeChange(world.cameraFiles(), false, {});
  EXPECT_EQ(world.entries("complete").size(), 1U);
  EXPECT_EQ(sourcesOf(review.uncertain), std::vector<std::string>{"b"}) << "and not its sibling";
  world.remember(review);
  EXPECT_EQ(world.entries("complete").size(), 2U);
  EXPECT_THROW(world.restore(review), SyncHistoryError);
  EXPECT_EQ(world.entries("complete").size(), 3U);
}

}  // namespace
}  // namespace tolvander
