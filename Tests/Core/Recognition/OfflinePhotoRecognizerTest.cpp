#include "TolvanderCore/OfflinePhotoRecognizer.h"

#include <gtest/gtest.h>

#include <functional>
#include <limits>
#include <map>
#include <set>
#include <stdexcept>
#include <string>
#include <vector>

namespace tolvander::tests {

namespace {

using namespace std::chrono_literals;
using Candidate = OfflinePhotoRecognizer::Candidate;
using Instant = OfflinePhotoRecognizer::Instant;
using ReadResult = OfflinePhotoRecognizer::ReadResult;
using Kind = MediaMetadata::Kind;
using Texts = std::vector<std::string>;

constexpr Date shot{1'750'000'000s};
constexpr MediaMetadata picture{.kind = Kind::image, .pixelWidth = 640, .pixelHeight = 480, .duration = {}};
constexpr MediaMetadata film{.kind = Kind::video, .pixelWidth = 640, .pixelHeight = 480, .duration = 5.0};

// A camera file shot at `shot`, without metadata, with its name for its fingerprint.
FingerprintedMediaFile cameraFile(const std::string& filename) {
  return {.file = {.url = FileURL("/card/DCIM/" + filename),
                   .volumeURL = FileURL("/card"),
                   .relativePath = "DCIM/" + filename,
                   .filename = filename,
                   .modifiedAt = {}},
          .sourceFingerprint = filename,
          .mediaPayloadFingerprint = {},
          .captureDate = shot,
          .metadata = {},
          .pendingProcessedFingerprint = {}};
}

FingerprintedMediaFile cameraFilm(const std::string& filename) {
  FingerprintedMediaFile file = cameraFile(filename);
  file.metadata = film;
  return file;
}

FingerprintedMediaFile exact(FingerprintedMediaFile file) {
  file.requiresExactReconciliation = true;
  return file;
}

FingerprintedMediaFile undated(FingerprintedMediaFile file) {
  file.captureDate.reset();
  return file;
}

// A resource of the asset "asset of ID", without metadata.
Candidate candidate(const std::string& id, const std::string& filename,
                    std::optional<Date> creationDate = shot) {
  return {.id = id,
          .assetIdentifier = "asset of " + id,
          .filename = filename,
          .creationDate = creationDate,
          .metadata = {}};
}

Candidate libraryFilm(const std::string& id, const std::string& filename,
                      std::optional<Date> creationDate = shot) {
  Candidate result = candidate(id, filename, creationDate);
  result.metadata = film;
  return result;
}

ReadResult bytesOf(const std::string& source, std::optional<std::string> payload = {}) {
  return ReadResult::available({.sourceFingerprint = source, .mediaPayloadFingerprint = std::move(payload)},
                               1);
}

ReadResult otherBytes() { return bytesOf("other"); }

RecognitionPolicy unbounded() {
  constexpr std::int64_t most = std::numeric_limits<std::int64_t>::max();
  return {.maximumResources = most,
          .maximumBytes = most,
          .maximumCandidates = most,
          .nearbyCandidatesPerFile = most,
          .recentCandidateLimit = most,
          .resourceTimeout = std::chrono::nanoseconds::max(),
          .passTimeout = std::chrono::nanoseconds::max()};
}

class OfflinePhotoRecognizerTest : public testing::Test {
 protected:
  struct Call {
    std::string id;
    std::int64_t maximumBytes;
    std::chrono::nanoseconds timeout;
  };

  LibraryReconciliation reconcile(const std::vector<FingerprintedMediaFile>& files,
                                  const std::vector<Candidate>& candidates) {
    return OfflinePhotoRecognizer::reconcile(
        files, candidates, policy, broader, truncatedSources, [this] { return time; },
        [this](const std::string& id, std::int64_t maximumBytes, std::chrono::nanoseconds timeout) {
          calls.push_back({id, maximumBytes, timeout});
          if (whenReading) {
            whenReading(id);
          }
          return results.contains(id) ? results.at(id) : otherBytes();
        },
        cancellation.token());
  }

  Texts readIds() const {
    Texts ids;
    for (const Call& call : calls) {
      ids.push_back(call.id);
    }
    return ids;
  }

  RecognitionPolicy policy = unbounded();
  bool broader = false;
  std::set<std::string> truncatedSources;
  Instant time;                               // what the clock shows
  std::map<std::string, ReadResult> results;  // of the candidates' reads; otherBytes() of any other
  std::function<void(const std::string&)> whenReading;
  std::vector<Call> calls;
  CancellationSource cancellation;
};

const LibraryReconciliation nothing;

LibraryReconciliation uncheckedAre(const std::set<std::string>& sources, bool budgetExceeded) {
  return {.matches = {},
          .unchecked = sources,
          .budgetExceeded = budgetExceeded,
          .metadataMatches = {},
          .limited = budgetExceeded ? sources : std::set<std::string>()};
}

LibraryReconciliation foundByMetadata(const std::string& source, const std::string& id) {
  return {.matches = {},
          .unchecked = {},
          .budgetExceeded = false,
          .metadataMatches = {{source, "asset of " + id}},
          .limited = {}};
}

LibraryReconciliation foundByContent(const std::string& source, const std::string& id) {
  return {.matches = {{source,
                       {.assetIdentifier = "asset of " + id,
                        .resourceFingerprint = source,
                        .mediaPayloadFingerprint = {}}}},
          .unchecked = {},
          .budgetExceeded = false,
          .metadataMatches = {},
          .limited = {}};
}

Candidate known(Candidate candidate, const std::string& source, std::optional<std::string> payload = {}) {
  candidate.identity = {.sourceFingerprint = source, .mediaPayloadFingerprint = std::move(payload)};
  return candidate;
}

}  // namespace

TEST_F(OfflinePhotoRecognizerTest, readsNothingWithoutFiles) {
  truncatedSources = {"PICT0001.JPG"};
  EXPECT_EQ(reconcile({}, {candidate("c", "PICT0001.JPG")}), nothing);
  EXPECT_EQ(readIds(), Texts());
}

TEST_F(OfflinePhotoRecognizerTest, findsNothingWithoutCandidates) {
  EXPECT_EQ(reconcile({cameraFile("PICT0001.JPG")}, {}), nothing);
}

// Content.

TEST_F(OfflinePhotoRecognizerTest, findsAFileByItsBytes) {
  results.emplace("c", bytesOf("PICT0001.JPG"));
  EXPECT_EQ(reconcile({cameraFile("PICT0001.JPG")}, {candidate("c", "PICT0001.JPG")}),
            foundByContent("PICT0001.JPG", "c"));
}

TEST_F(OfflinePhotoRecognizerTest, findsAFileByItsPayloadAndTellsWhatItRead) {
  FingerprintedMediaFile file = cameraFile("PICT0001.JPG");
  file.mediaPayloadFingerprint = "payload";
  results.emplace("c", bytesOf("repaired", "payload"));
  const LibraryReconciliation found = reconcile({file}, {candidate("c", "PICT0001.JPG")});
  EXPECT_EQ(found.matches.at("PICT0001.JPG"), (LibraryMatch{.assetIdentifier = "asset of c",
                                                            .resourceFingerprint = "repaired",
                                                            .mediaPayloadFingerprint = "payload"}));
}

TEST_F(OfflinePhotoRecognizerTest, findsAnInterruptedImportByItsProcessedBytes) {
  FingerprintedMediaFile file = exact(cameraFile("PICT0001.JPG"));
  file.pendingProcessedFingerprint = "processed";
  results.emplace("c", bytesOf("processed"));
  EXPECT_EQ(
      reconcile({file}, {candidate("c", "PICT0001.JPG")}).matches.at("PICT0001.JPG").resourceFingerprint,
      "processed");
}

TEST_F(OfflinePhotoRecognizerTest, takesTwoAbsentPayloadsForNoAgreement) {
  EXPECT_EQ(reconcile({cameraFile("PICT0001.JPG")}, {candidate("c", "PICT0001.JPG")}), nothing);
  FingerprintedMediaFile withPayload = cameraFile("PICT0001.JPG");
  withPayload.mediaPayloadFingerprint = "payload";
  EXPECT_EQ(reconcile({withPayload}, {candidate("c", "PICT0001.JPG")}), nothing);
}

TEST_F(OfflinePhotoRecognizerTest, stopsAtTheFirstCandidateThatSettlesAFile) {
  results.emplace("b", bytesOf("PICT0001.JPG"));
  const auto file = cameraFile("PICT0001.JPG");
  EXPECT_EQ(reconcile({file}, {candidate("a", "pict0001.jpg"), candidate("b", "PICT0001.jpg"),
                               candidate("c", "PICT0001.JPG")}),
            foundByContent("PICT0001.JPG", "b"));
  EXPECT_EQ(readIds(), Texts({"a", "b"}));
}

TEST_F(OfflinePhotoRecognizerTest, readsAResourceThatTwoFilesWantOnce) {
  FingerprintedMediaFile first = cameraFile("PICT0001.JPG");
  FingerprintedMediaFile second = cameraFile("PICT0001.JPG");
  second.sourceFingerprint = "second";
  results.emplace("c", bytesOf("second"));
  EXPECT_EQ(reconcile({first, second}, {candidate("c", "PICT0001.JPG")}), foundByContent("second", "c"));
  EXPECT_EQ(readIds(), Texts({"c"}));
}

TEST_F(OfflinePhotoRecognizerTest, readsAResourceThatIsListedTwiceOnce) {
  const auto item = candidate("c", "PICT0001.JPG");
  EXPECT_EQ(reconcile({cameraFile("PICT0001.JPG"), cameraFile("PICT0002.JPG")}, {item, item}), nothing);
  EXPECT_EQ(readIds(), Texts({"c"}));
}

TEST_F(OfflinePhotoRecognizerTest, searchesForEqualFilesOnce) {
  results.emplace("c", bytesOf("PICT0001.JPG"));
  const auto file = cameraFile("PICT0001.JPG");
  EXPECT_EQ(reconcile({file, file}, {candidate("c", "PICT0001.JPG"), candidate("d", "PICT0001.JPG")}),
            foundByContent("PICT0001.JPG", "c"));
  EXPECT_EQ(readIds(), Texts({"c"}));
}

// Names.

TEST_F(OfflinePhotoRecognizerTest, comparesNamesWithoutRegardToCaseInTheOrderOfTheList) {
  policy.nearbyCandidatesPerFile = 0;
  reconcile({cameraFile("Ärger.JPG")}, {candidate("z", "äRGER.jpg"), candidate("n", "Arger.jpg"),
                                        candidate("a", "ärger.jpg", std::nullopt)});
  EXPECT_EQ(readIds(), Texts({"z", "a"}));
}

TEST_F(OfflinePhotoRecognizerTest, takesVideosOfAnyExtensionForNamesakes) {
  policy.nearbyCandidatesPerFile = 0;
  FingerprintedMediaFile file = exact(cameraFilm("PICT0001.AVI"));
  reconcile({file}, {libraryFilm("mp4", "pict0001.mp4"), libraryFilm("mov", "PICT0001.MOV"),
                     libraryFilm("avi", "Pict0001.Avi"), libraryFilm("m4v", "PICT0001.m4v"),
                     libraryFilm("bare", "PICT0001"), candidate("unknown kind", "PICT0001.AVI")});
  EXPECT_EQ(readIds(), Texts({"mp4", "mov", "avi"}));
}

TEST_F(OfflinePhotoRecognizerTest, keepsTheExtensionOfWhatIsNoVideo) {
  policy.nearbyCandidatesPerFile = 0;
  FingerprintedMediaFile image = cameraFile("PICT0001.AVI");
  image.metadata = picture;
  Candidate sameName = candidate("same", "pict0001.avi");
  sameName.metadata = picture;
  reconcile({image, cameraFile("PICT0001.AVI")},
            {libraryFilm("video", "PICT0001.AVI"), candidate("mov", "PICT0001.MOV"), sameName});
  EXPECT_EQ(readIds(), Texts({"same"}));
}

// The two passes.

TEST_F(OfflinePhotoRecognizerTest, comparesAllFilesByNameBeforeAnyByDate) {
  reconcile({cameraFile("PICT0001.JPG"), cameraFile("PICT0002.JPG")},
            {candidate("near", "IMG_1.JPG"), candidate("second", "PICT0002.JPG"),
             candidate("first", "PICT0001.JPG")});
  EXPECT_EQ(readIds(), Texts({"first", "second", "near"}));
}

TEST_F(OfflinePhotoRecognizerTest, exactPassKnowsNoCapAndNoDates) {
  policy.nearbyCandidatesPerFile = 1;
  std::vector<Candidate> namesakes;
  for (int index = 0; index < 5; ++index) {
    namesakes.push_back(candidate(std::to_string(index), "PICT0001.JPG", shot + index * 1'000h));
  }
  EXPECT_EQ(reconcile({cameraFile("PICT0001.JPG")}, namesakes), nothing);
  EXPECT_EQ(calls.size(), 5U);
}

TEST_F(OfflinePhotoRecognizerTest, nearbyPassSettlesWhatTheExactPassLeftUnchecked) {
  results.emplace("namesake", ReadResult::unavailable(0));
  results.emplace("near", bytesOf("PICT0001.JPG"));
  EXPECT_EQ(reconcile({cameraFile("PICT0001.JPG")},
                      {candidate("near", "IMG_1.JPG"), candidate("namesake", "PICT0001.JPG")}),
            foundByContent("PICT0001.JPG", "near"));
}

TEST_F(OfflinePhotoRecognizerTest, takesTheNearestCandidatesFirst) {
  reconcile({cameraFile("PICT0001.JPG")},
            {candidate("after 3", "A", shot + 3h), candidate("before 2", "B", shot - 2h),
             candidate("after 1", "C", shot + 1h), candidate("before 4", "D", shot - 4h)});
  EXPECT_EQ(readIds(), Texts({"after 1", "before 2", "after 3", "before 4"}));
}

TEST_F(OfflinePhotoRecognizerTest, takesCandidatesAtEqualDistanceByTheirIds) {
  reconcile({cameraFile("PICT0001.JPG")},
            {candidate("c", "A", shot + 1h), candidate("a", "B", shot + 1h), candidate("d", "C", shot - 1h),
             candidate("b", "D", shot - 1h), candidate("10", "E", shot - 1h), candidate("9", "F", shot + 1h),
             candidate("B", "G", shot - 1h)});
  EXPECT_EQ(readIds(), Texts({"10", "9", "B", "a", "b", "c", "d"}));
}

TEST_F(OfflinePhotoRecognizerTest, measuresFromTheNearerOfTwoDates) {
  FingerprintedMediaFile file = cameraFile("PICT0001.JPG");
  file.file.modifiedAt = shot + 10h;
  reconcile({file}, {candidate("middle", "A", shot + 5h), candidate("6", "B", shot + 6h),
                     candidate("3", "C", shot + 3h), candidate("-2", "D", shot - 2h),
                     candidate("11", "E", shot + 11h), candidate("also middle", "F", shot + 5h)});
  EXPECT_EQ(readIds(), Texts({"11", "-2", "3", "6", "also middle", "middle"}));
}

TEST_F(OfflinePhotoRecognizerTest, searchesThreeDaysFromEitherDateAndNoNanosecondMore) {
  FingerprintedMediaFile file = cameraFile("PICT0001.JPG");
  file.file.modifiedAt = shot + 30 * 24h;
  const auto edge = 259'200s;
  reconcile({file},
            {candidate("a", "A", shot - edge), candidate("-", "B", shot - edge - 1ns),
             candidate("b", "C", shot + edge), candidate("-", "D", shot + edge + 1ns),
             candidate("c", "E", *file.file.modifiedAt - edge),
             candidate("-", "F", *file.file.modifiedAt - edge - 1ns),
             candidate("d", "G", *file.file.modifiedAt + edge),
             candidate("-", "H", *file.file.modifiedAt + edge + 1ns), candidate("-", "I", std::nullopt)});
  EXPECT_EQ(readIds(), Texts({"a", "b", "c", "d"}));
}

TEST_F(OfflinePhotoRecognizerTest, datesAtTheEndsOfTimeAreDatesLikeOthers) {
  FingerprintedMediaFile file = cameraFile("PICT0001.JPG");
  file.captureDate = Date::min();
  file.file.modifiedAt = Date::max();
  reconcile({file}, {candidate("last", "A", Date::max()), candidate("first", "B", Date::min()),
                     candidate("-", "C", shot), candidate("near the first", "D", Date::min() + 1s)});
  EXPECT_EQ(readIds(), Texts({"first", "last", "near the first"}));
}

TEST_F(OfflinePhotoRecognizerTest, keepsTheNearestUpToTheCapAndLeavesTheFileUnchecked) {
  policy.nearbyCandidatesPerFile = 2;
  const std::vector<Candidate> three{candidate("far", "A", shot + 3h), candidate("b", "B", shot - 1h),
                                     candidate("a", "C", shot + 1h)};
  EXPECT_EQ(reconcile({cameraFile("PICT0001.JPG")}, three), uncheckedAre({"PICT0001.JPG"}, true));
  EXPECT_EQ(readIds(), Texts({"a", "b"}));
}

TEST_F(OfflinePhotoRecognizerTest, asManyCandidatesAsTheCapAreNotTooMany) {
  policy.nearbyCandidatesPerFile = 2;
  EXPECT_EQ(reconcile({cameraFile("PICT0001.JPG")},
                      {candidate("a", "A"), candidate("b", "B"), candidate("too far", "C", shot + 80h)}),
            nothing);
  EXPECT_EQ(readIds(), Texts({"a", "b"}));
}

TEST_F(OfflinePhotoRecognizerTest, namesakesDoNotCountAmongTheNeighbours) {
  policy.nearbyCandidatesPerFile = 1;
  EXPECT_EQ(reconcile({cameraFile("PICT0001.JPG")},
                      {candidate("a", "PICT0001.JPG"), candidate("b", "B"), candidate("c", "PICT0001.JPG")}),
            nothing);
}

TEST_F(OfflinePhotoRecognizerTest, aMatchWithinTheCapSettlesAFileWithTooManyNeighbours) {
  policy.nearbyCandidatesPerFile = 1;
  results.emplace("a", bytesOf("PICT0001.JPG"));
  EXPECT_EQ(reconcile({cameraFile("PICT0001.JPG")}, {candidate("b", "B"), candidate("a", "A")}),
            foundByContent("PICT0001.JPG", "a"));
}

TEST_F(OfflinePhotoRecognizerTest, aKnownMatchBeyondTheCapSettlesNothing) {
  policy.nearbyCandidatesPerFile = 1;
  results.emplace("b", bytesOf("PICT0002.JPG"));
  const LibraryReconciliation found =
      reconcile({cameraFile("B"), cameraFile("PICT0002.JPG")}, {candidate("b", "B"), candidate("a", "A")});
  EXPECT_EQ(found, uncheckedAre({"PICT0002.JPG"}, true));
  EXPECT_EQ(readIds(), Texts({"b", "a"}));
}

TEST_F(OfflinePhotoRecognizerTest, aFileWithoutDatesHasNoNeighboursInAutomaticMode) {
  EXPECT_EQ(reconcile({undated(cameraFile("PICT0001.JPG"))}, {candidate("a", "A"), candidate("b", "B")}),
            nothing);
  EXPECT_EQ(readIds(), Texts());
}

TEST_F(OfflinePhotoRecognizerTest, aFileWithoutDatesIsComparedWithTheFirstOfOtherNamesInBroaderMode) {
  broader = true;
  policy.nearbyCandidatesPerFile = 2;
  const std::vector<Candidate> newestFirst{candidate("z", "A", std::nullopt),
                                           candidate("own", "PICT0001.JPG"), candidate("y", "B", shot - 999h),
                                           candidate("a", "C")};
  EXPECT_EQ(reconcile({undated(cameraFile("PICT0001.JPG"))}, newestFirst),
            uncheckedAre({"PICT0001.JPG"}, true));
  EXPECT_EQ(readIds(), Texts({"own", "z", "y"}));
}

TEST_F(OfflinePhotoRecognizerTest, aFileWithADateIsComparedByItAlsoInBroaderMode) {
  broader = true;
  EXPECT_EQ(reconcile({cameraFile("PICT0001.JPG")},
                      {candidate("far", "A", shot + 80h), candidate("undated", "B", std::nullopt),
                       candidate("near", "C", shot + 70h)}),
            nothing);
  EXPECT_EQ(readIds(), Texts({"near"}));
}

// Budgets.

TEST_F(OfflinePhotoRecognizerTest, readsNothingWithoutReadsLeft) {
  policy.maximumResources = 0;
  EXPECT_EQ(reconcile({cameraFile("PICT0001.JPG"), cameraFile("PICT0002.JPG"),
                       undated(cameraFile("without candidates"))},
                      {candidate("c", "PICT0001.JPG")}),
            uncheckedAre({"PICT0001.JPG", "PICT0002.JPG"}, true));
  EXPECT_EQ(readIds(), Texts());
}

TEST_F(OfflinePhotoRecognizerTest, readsNothingWithoutBytesLeft) {
  policy.maximumBytes = 0;
  EXPECT_EQ(reconcile({cameraFile("PICT0001.JPG")}, {candidate("c", "PICT0001.JPG")}),
            uncheckedAre({"PICT0001.JPG"}, true));
  EXPECT_EQ(readIds(), Texts());
}

TEST_F(OfflinePhotoRecognizerTest, settlesVideosByTheirMetadataWithoutAnyRead) {
  policy.maximumResources = 0;
  EXPECT_EQ(reconcile({cameraFilm("PICT0001.AVI")}, {libraryFilm("c", "PICT0001.MOV")}),
            foundByMetadata("PICT0001.AVI", "c"));
  policy = unbounded();
  policy.maximumBytes = 0;
  EXPECT_EQ(reconcile({cameraFilm("PICT0001.AVI")}, {libraryFilm("c", "PICT0001.MOV")}),
            foundByMetadata("PICT0001.AVI", "c"));
  EXPECT_EQ(readIds(), Texts());
}

TEST_F(OfflinePhotoRecognizerTest, makesTheLastPermittedReadAndNoOther) {
  policy.maximumResources = 2;
  results.emplace("b", bytesOf("B"));
  const LibraryReconciliation found =
      reconcile({cameraFile("A"), cameraFile("B"), cameraFile("C")},
                {candidate("a", "A"), candidate("b", "B"), candidate("c", "C")});
  EXPECT_EQ(readIds(), Texts({"a", "b"}));
  EXPECT_TRUE(found.matches.contains("B"));
  EXPECT_EQ(found.unchecked, std::set<std::string>({"A", "C"}));
  EXPECT_TRUE(found.budgetExceeded);
}

TEST_F(OfflinePhotoRecognizerTest, everyReadCountsWhateverItsEnd) {
  policy.maximumResources = 4;
  results = {{"a", ReadResult::unavailable(0)},
             {"b", ReadResult::notLocal(0)},
             {"c", ReadResult::budgetExceeded(0)},
             {"d", otherBytes()}};
  reconcile({cameraFile("P")}, {candidate("a", "P"), candidate("b", "P"), candidate("c", "P"),
                                candidate("d", "P"), candidate("e", "P")});
  EXPECT_EQ(readIds(), Texts({"a", "b", "c", "d"}));
}

TEST_F(OfflinePhotoRecognizerTest, givesEachReadTheBytesThatAreLeft) {
  policy.maximumBytes = 10;
  results = {{"a", ReadResult::unavailable(4)},
             {"b", ReadResult::unavailable(-7)},
             {"c", ReadResult::unavailable(5)},
             {"d", ReadResult::unavailable(1)}};
  reconcile({cameraFile("P")}, {candidate("a", "P"), candidate("b", "P"), candidate("c", "P"),
                                candidate("d", "P"), candidate("e", "P")});
  std::vector<std::int64_t> allowances;
  for (const Call& call : calls) {
    allowances.push_back(call.maximumBytes);
  }
  EXPECT_EQ(allowances, std::vector<std::int64_t>({10, 6, 6, 1}));
}

TEST_F(OfflinePhotoRecognizerTest, aReadThatReportsMoreBytesThanRemainLeavesNone) {
  policy.maximumBytes = 10;
  results.emplace("a", ReadResult::unavailable(std::numeric_limits<std::int64_t>::max()));
  EXPECT_EQ(reconcile({cameraFile("P")}, {candidate("a", "P"), candidate("b", "P")}),
            uncheckedAre({"P"}, true));
  EXPECT_EQ(readIds(), Texts({"a"}));
}

TEST_F(OfflinePhotoRecognizerTest, aReadThatReportsFewerThanNoBytesSpendsNothing) {
  policy.maximumBytes = 1;
  results.emplace("a", ReadResult::unavailable(std::numeric_limits<std::int64_t>::min()));
  reconcile({cameraFile("P")}, {candidate("a", "P"), candidate("b", "P")});
  ASSERT_EQ(readIds(), Texts({"a", "b"}));
  EXPECT_EQ(calls[1].maximumBytes, 1);
}

TEST_F(OfflinePhotoRecognizerTest, aStoredResultCostsNothingWhateverItsCase) {
  policy.maximumResources = 1;
  for (const ReadResult& result :
       {ReadResult::unavailable(1), ReadResult::budgetExceeded(1), ReadResult::notLocal(1), otherBytes()}) {
    FingerprintedMediaFile second = exact(cameraFile("P"));
    second.sourceFingerprint = "second";
    calls.clear();
    results = {{"a", result}};
    const LibraryReconciliation found = reconcile({cameraFile("P"), second}, {candidate("a", "P")});
    EXPECT_EQ(readIds(), Texts({"a"}));
    EXPECT_EQ(found.budgetExceeded, result.kind == ReadResult::Case::budgetExceeded);
    EXPECT_EQ(found.unchecked.contains("second"), result.kind != ReadResult::Case::available);
  }
}

TEST_F(OfflinePhotoRecognizerTest, aStoredMatchSettlesAFileWhenTheBudgetIsGone) {
  policy.maximumResources = 1;
  results.emplace("a", bytesOf("PICT0002.JPG"));
  const LibraryReconciliation found =
      reconcile({cameraFile("A"), cameraFile("PICT0002.JPG")}, {candidate("a", "A"), candidate("b", "B")});
  EXPECT_TRUE(found.matches.contains("PICT0002.JPG"));
  EXPECT_EQ(found.unchecked, std::set<std::string>({"A"}));
  EXPECT_EQ(readIds(), Texts({"a"}));
}

TEST_F(OfflinePhotoRecognizerTest, nearbyPassSpendsWhatTheExactPassLeft) {
  policy.maximumResources = 3;
  EXPECT_EQ(reconcile({cameraFile("A"), cameraFile("B")},
                      {candidate("b", "B"), candidate("a", "A"), candidate("near", "C", shot + 1s),
                       candidate("far", "D", shot + 2s)}),
            uncheckedAre({"A", "B"}, true));
  EXPECT_EQ(readIds(), Texts({"a", "b", "near"}));
}

TEST_F(OfflinePhotoRecognizerTest, resourcesThatFailedLeaveAFileUncheckedWithoutALimit) {
  results.emplace("near", ReadResult::unavailable(0));
  EXPECT_EQ(reconcile({cameraFile("A"), cameraFile("B")}, {candidate("near", "C")}),
            uncheckedAre({"A", "B"}, false));
  EXPECT_EQ(readIds(), Texts({"near"}));
}

TEST_F(OfflinePhotoRecognizerTest, aReadStoppedByItsAllowanceIsALimit) {
  results.emplace("c", ReadResult::budgetExceeded(0));
  EXPECT_EQ(reconcile({cameraFile("P")}, {candidate("c", "P")}), uncheckedAre({"P"}, true));
}

// Time.

TEST_F(OfflinePhotoRecognizerTest, givesEachReadTheShorterOfItsOwnTimeAndTheTimeLeft) {
  policy.passTimeout = 60s;
  policy.resourceTimeout = 15s;
  whenReading = [this](const std::string&) { time += 20s; };
  reconcile({cameraFile("P")},
            {candidate("a", "P"), candidate("b", "P"), candidate("c", "P"), candidate("d", "P")});
  ASSERT_EQ(calls.size(), 3U);
  EXPECT_EQ(calls[0].timeout, 15s);
  EXPECT_EQ(calls[1].timeout, 15s);
  EXPECT_EQ(calls[2].timeout, 15s);
  calls.clear();
  policy.resourceTimeout = 50s;
  reconcile({cameraFile("P")},
            {candidate("a", "P"), candidate("b", "P"), candidate("c", "P"), candidate("d", "P")});
  ASSERT_EQ(calls.size(), 3U);
  EXPECT_EQ(calls[0].timeout, 50s);
  EXPECT_EQ(calls[1].timeout, 40s);
  EXPECT_EQ(calls[2].timeout, 20s);
}

TEST_F(OfflinePhotoRecognizerTest, readsInTheLastNanosecondAndNotAtTheDeadline) {
  policy.passTimeout = 60s;
  whenReading = [this](const std::string& id) { time += id == "a" ? 60s - 1ns : 1ns; };
  EXPECT_EQ(reconcile({cameraFile("P")}, {candidate("a", "P"), candidate("b", "P"), candidate("c", "P")}),
            uncheckedAre({"P"}, true));
  ASSERT_EQ(readIds(), Texts({"a", "b"}));
  EXPECT_EQ(calls[1].timeout, 1ns);
}

TEST_F(OfflinePhotoRecognizerTest, readsNothingWithoutTime) {
  policy.passTimeout = 0s;
  EXPECT_EQ(reconcile({cameraFile("P")}, {candidate("c", "P")}), uncheckedAre({"P"}, true));
  EXPECT_EQ(readIds(), Texts());
}

TEST_F(OfflinePhotoRecognizerTest, aReadThatFailsExactlyAtTheDeadlineMetALimit) {
  policy.passTimeout = 60s;
  results.emplace("c", ReadResult::unavailable(0));
  whenReading = [this](const std::string&) { time += 60s; };
  EXPECT_EQ(reconcile({cameraFile("P")}, {candidate("c", "P")}), uncheckedAre({"P"}, true));
}

TEST_F(OfflinePhotoRecognizerTest, aReadThatFailsBeforeTheDeadlineFailed) {
  policy.passTimeout = 60s;
  results.emplace("c", ReadResult::unavailable(0));
  whenReading = [this](const std::string&) { time += 60s - 1ns; };
  EXPECT_EQ(reconcile({cameraFile("P")}, {candidate("c", "P")}), uncheckedAre({"P"}, false));
}

TEST_F(OfflinePhotoRecognizerTest, aReadThatEndsWellAfterTheDeadlineCounts) {
  policy.passTimeout = 60s;
  results.emplace("c", bytesOf("P"));
  whenReading = [this](const std::string&) { time += 61s; };
  EXPECT_EQ(reconcile({cameraFile("P")}, {candidate("c", "P")}), foundByContent("P", "c"));
}

TEST_F(OfflinePhotoRecognizerTest, timeIsMeasuredFromTheStartOfTheSearch) {
  policy.passTimeout = 60s;
  time += 1'000h;
  reconcile({cameraFile("P")}, {candidate("c", "P")});
  ASSERT_EQ(calls.size(), 1U);
  EXPECT_EQ(calls[0].timeout, 60s);
}

// Candidates that were not all fetched.

TEST_F(OfflinePhotoRecognizerTest, aTruncatedFileThatIsFoundIsSettled) {
  truncatedSources = {"P"};
  results.emplace("c", bytesOf("P"));
  EXPECT_EQ(reconcile({cameraFile("P")}, {candidate("c", "P")}), foundByContent("P", "c"));
}

TEST_F(OfflinePhotoRecognizerTest, aTruncatedFileThatIsNotFoundMetALimit) {
  truncatedSources = {"P"};
  EXPECT_EQ(reconcile({cameraFile("P"), cameraFile("Q")}, {candidate("c", "P")}), uncheckedAre({"P"}, true));
}

TEST_F(OfflinePhotoRecognizerTest, truncatedSourcesOfNoFileAreIgnored) {
  truncatedSources = {"of another card"};
  EXPECT_EQ(reconcile({cameraFile("P")}, {candidate("c", "P")}), nothing);
}

TEST_F(OfflinePhotoRecognizerTest, aLimitThatOnlyASettledFileMetIsNone) {
  policy.nearbyCandidatesPerFile = 1;
  truncatedSources = {"A"};
  results = {{"a", bytesOf("A")}, {"b", ReadResult::unavailable(0)}};
  const LibraryReconciliation found =
      reconcile({cameraFile("A"), undated(cameraFile("B"))}, {candidate("a", "A"), candidate("b", "B")});
  EXPECT_EQ(found.unchecked, std::set<std::string>({"B"}));
  EXPECT_FALSE(found.budgetExceeded);
}

// Videos by their metadata.

TEST_F(OfflinePhotoRecognizerTest, findsAVideoByItsMetadataWhateverTheReadSays) {
  for (const ReadResult& result :
       {ReadResult::unavailable(0), ReadResult::budgetExceeded(0), ReadResult::notLocal(0), otherBytes()}) {
    results = {{"c", result}};
    Candidate item = libraryFilm("c", "pict0001.MOV", shot + 2s);
    item.metadata->duration = 5.1;
    EXPECT_EQ(reconcile({cameraFilm("PICT0001.AVI")}, {item}), foundByMetadata("PICT0001.AVI", "c"));
    std::swap(item.metadata->pixelWidth, item.metadata->pixelHeight);
    EXPECT_EQ(reconcile({cameraFilm("PICT0001.AVI")}, {item}), foundByMetadata("PICT0001.AVI", "c"));
  }
}

TEST_F(OfflinePhotoRecognizerTest, prefersContentToMetadataOfTheSameVideo) {
  results.emplace("c", bytesOf("PICT0001.AVI"));
  EXPECT_EQ(reconcile({cameraFilm("PICT0001.AVI")}, {libraryFilm("c", "PICT0001.MOV")}),
            foundByContent("PICT0001.AVI", "c"));
}

TEST_F(OfflinePhotoRecognizerTest, neverFindsAPendingVideoByItsMetadata) {
  results.emplace("c", ReadResult::unavailable(0));
  EXPECT_EQ(reconcile({exact(cameraFilm("PICT0001.AVI"))}, {libraryFilm("c", "pict0001.MOV")}),
            uncheckedAre({"PICT0001.AVI"}, false));
  policy.maximumResources = 0;
  EXPECT_EQ(reconcile({exact(cameraFilm("PICT0001.AVI"))}, {libraryFilm("c", "pict0001.MOV")}),
            uncheckedAre({"PICT0001.AVI"}, true));
}

TEST_F(OfflinePhotoRecognizerTest, videosAgreeUpToTwoSecondsApart) {
  const auto file = cameraFilm("PICT0001.AVI");
  for (const auto gap : {2s, -2s}) {
    EXPECT_EQ(reconcile({file}, {libraryFilm("c", "PICT0001.MOV", shot + gap)}),
              foundByMetadata("PICT0001.AVI", "c"));
  }
  for (const auto gap : {2s + 1ns, -2s - 1ns}) {
    EXPECT_EQ(reconcile({file}, {libraryFilm("c", "PICT0001.MOV", shot + gap)}), nothing);
  }
}

TEST_F(OfflinePhotoRecognizerTest, aVideosDateIsItsCaptureDateAndElseItsModificationDate) {
  FingerprintedMediaFile file = cameraFilm("PICT0001.AVI");
  file.file.modifiedAt = shot + 1h;
  EXPECT_EQ(reconcile({file}, {libraryFilm("c", "PICT0001.MOV", shot + 1h)}), nothing);
  EXPECT_EQ(reconcile({undated(file)}, {libraryFilm("c", "PICT0001.MOV", shot + 1h)}),
            foundByMetadata("PICT0001.AVI", "c"));
}

TEST_F(OfflinePhotoRecognizerTest, videosWithoutADateOrAKindNeverAgree) {
  FingerprintedMediaFile image = cameraFilm("PICT0001.MOV");
  image.metadata = picture;
  Candidate libraryImage = candidate("c", "PICT0001.MOV");
  libraryImage.metadata = picture;
  EXPECT_EQ(reconcile({undated(cameraFilm("PICT0001.MOV"))}, {libraryFilm("c", "PICT0001.MOV")}), nothing);
  EXPECT_EQ(reconcile({cameraFilm("PICT0001.MOV")}, {libraryFilm("c", "PICT0001.MOV", std::nullopt)}),
            nothing);
  EXPECT_EQ(reconcile({cameraFile("PICT0001.MOV")}, {libraryFilm("c", "PICT0001.MOV")}), nothing);
  EXPECT_EQ(reconcile({cameraFilm("PICT0001.MOV")}, {candidate("c", "PICT0001.MOV")}), nothing);
  EXPECT_EQ(reconcile({image}, {libraryImage}), nothing);
  EXPECT_EQ(reconcile({cameraFilm("PICT0001.MOV")}, {libraryFilm("c", "PICT0002.MOV")}), nothing);
}

TEST_F(OfflinePhotoRecognizerTest, metadataThatMeasuresNothingNeverAgrees) {
  using Change = std::function<void(MediaMetadata&)>;
  for (const Change& change :
       {Change([](MediaMetadata& it) { it.pixelWidth = 0; }),
        Change([](MediaMetadata& it) { it.pixelHeight = 0; }),
        Change([](MediaMetadata& it) { it.duration = 0; }),
        Change([](MediaMetadata& it) { it.duration.reset(); }),
        Change([](MediaMetadata& it) { it.duration = std::numeric_limits<double>::infinity(); })}) {
    FingerprintedMediaFile file = cameraFilm("PICT0001.AVI");
    Candidate item = libraryFilm("c", "PICT0001.MOV");
    change(*file.metadata);
    change(*item.metadata);
    results = {{"c", otherBytes()}};
    EXPECT_EQ(reconcile({file}, {item}), nothing);
    results = {{"c", ReadResult::notLocal(0)}};
    item.filename = file.file.filename;
    EXPECT_EQ(reconcile({file}, {item}), nothing);
  }
}

// Originals that are not on this computer.

TEST_F(OfflinePhotoRecognizerTest, findsAnImageInTheCloudByNameDateAndSize) {
  FingerprintedMediaFile file = cameraFile("PICT0001.JPG");
  file.metadata = picture;
  Candidate item = candidate("c", "pict0001.jpg", shot + 2s);
  item.metadata = picture;
  results.emplace("c", ReadResult::notLocal(0));
  EXPECT_EQ(reconcile({file}, {item}), foundByMetadata("PICT0001.JPG", "c"));
  item.metadata->pixelWidth = 641;
  EXPECT_EQ(reconcile({file}, {item}), nothing);
}

TEST_F(OfflinePhotoRecognizerTest, anItemInTheCloudOfAnotherNameOrDateProvesNothing) {
  FingerprintedMediaFile file = cameraFile("PICT0001.JPG");
  file.metadata = picture;
  Candidate item = candidate("c", "PICT0001.JPG");
  item.metadata = picture;
  results.emplace("c", ReadResult::notLocal(0));
  Candidate otherName = item;
  otherName.filename = "PICT0002.JPG";
  EXPECT_EQ(reconcile({file}, {otherName}), nothing);
  for (const std::optional<Date>& other :
       {std::optional(shot + 2s + 1ns), std::optional(shot - 2s - 1ns), std::optional<Date>()}) {
    Candidate otherDate = item;
    otherDate.creationDate = other;
    EXPECT_EQ(reconcile({file}, {otherDate}), nothing);
  }
  EXPECT_EQ(reconcile({undated(file)}, {item}), nothing);
}

TEST_F(OfflinePhotoRecognizerTest, anItemInTheCloudWithoutMetadataLeavesItsFileUnchecked) {
  FingerprintedMediaFile described = cameraFile("PICT0001.JPG");
  described.metadata = picture;
  Candidate describedItem = candidate("c", "PICT0001.JPG");
  describedItem.metadata = picture;
  results.emplace("c", ReadResult::notLocal(0));
  const auto unchecked = uncheckedAre({"PICT0001.JPG"}, false);
  EXPECT_EQ(reconcile({described}, {candidate("c", "PICT0001.JPG")}), unchecked);
  EXPECT_EQ(reconcile({cameraFile("PICT0001.JPG")}, {describedItem}), unchecked);
  EXPECT_EQ(reconcile({cameraFile("PICT0001.JPG")}, {candidate("c", "PICT0001.JPG")}), unchecked);
}

TEST_F(OfflinePhotoRecognizerTest, anyItemInTheCloudLeavesAPendingFileUnchecked) {
  FingerprintedMediaFile file = exact(cameraFile("PICT0001.JPG"));
  file.metadata = picture;
  Candidate item = candidate("c", "PICT0001.JPG");
  item.metadata = picture;
  results.emplace("c", ReadResult::notLocal(0));
  results.emplace("near", ReadResult::notLocal(0));
  EXPECT_EQ(reconcile({file}, {item}), uncheckedAre({"PICT0001.JPG"}, false));
  EXPECT_EQ(reconcile({file}, {candidate("near", "IMG_1.JPG", shot + 70h)}),
            uncheckedAre({"PICT0001.JPG"}, false));
}

// One of them tells its kind and so has another key than its namesake; the cloud road compares plain names.
TEST_F(OfflinePhotoRecognizerTest, comparesPlainNamesWithTheNeighboursInTheCloud) {
  results.emplace("c", ReadResult::notLocal(0));
  const std::vector<FingerprintedMediaFile> files{cameraFile("PICT0009.JPG"), cameraFilm("PICT0001.AVI")};
  for (const auto gap : {0s, 2s, -2s}) {
    calls.clear();
    EXPECT_EQ(reconcile(files, {candidate("c", "pict0001.avi", shot + gap)}),
              uncheckedAre({"PICT0001.AVI"}, false));
    EXPECT_EQ(readIds(), Texts({"c"}));
  }
  for (const auto gap : {2s + 1ns, -2s - 1ns}) {
    EXPECT_EQ(reconcile(files, {candidate("c", "pict0001.avi", shot + gap)}), nothing);
  }
}

TEST_F(OfflinePhotoRecognizerTest, judgesEachListingOfAResource) {
  results.emplace("c", ReadResult::notLocal(0));
  EXPECT_EQ(reconcile({cameraFilm("PICT0001.AVI")},
                      {candidate("c", "IMG_1.AVI"), candidate("c", "pict0001.avi", shot + 1s)}),
            uncheckedAre({"PICT0001.AVI"}, false));
  EXPECT_EQ(readIds(), Texts({"c"}));
}

// What ends a search.

TEST_F(OfflinePhotoRecognizerTest, isCancelledBeforeTheFirstFile) {
  cancellation.cancel();
  EXPECT_EQ(reconcile({}, {candidate("c", "P")}), nothing);
  EXPECT_THROW(reconcile({cameraFile("P")}, {}), CancellationError);
  EXPECT_THROW(reconcile({cameraFile("P")}, {candidate("c", "P")}), CancellationError);
  EXPECT_EQ(readIds(), Texts());
}

TEST_F(OfflinePhotoRecognizerTest, isCancelledBetweenTwoCandidates) {
  whenReading = [this](const std::string&) { cancellation.cancel(); };
  EXPECT_THROW(reconcile({cameraFile("P")}, {candidate("a", "P"), candidate("b", "P")}), CancellationError);
  EXPECT_EQ(readIds(), Texts({"a"}));
}

TEST_F(OfflinePhotoRecognizerTest, isCancelledBetweenTwoNeighbours) {
  whenReading = [this](const std::string&) { cancellation.cancel(); };
  EXPECT_THROW(reconcile({cameraFile("P")}, {candidate("a", "A"), candidate("b", "B")}), CancellationError);
  EXPECT_EQ(readIds(), Texts({"a"}));
}

TEST_F(OfflinePhotoRecognizerTest, isCancelledBetweenTwoFiles) {
  whenReading = [this](const std::string&) { cancellation.cancel(); };
  results.emplace("a", bytesOf("A"));
  EXPECT_THROW(reconcile({cameraFile("A"), cameraFile("B")}, {candidate("a", "A")}), CancellationError);
}

TEST_F(OfflinePhotoRecognizerTest, isCancelledBeforeACandidateWhoseResultIsStored) {
  FingerprintedMediaFile second = cameraFile("PICT0002.JPG");
  second.mediaPayloadFingerprint = "payload";
  const std::vector<Candidate> library{candidate("stored", "PICT0001.JPG", shot + 2h),
                                       candidate("nearer", "IMG_1.JPG", shot + 1h)};
  results.emplace("stored", bytesOf("PICT0001.JPG", "payload"));
  EXPECT_TRUE(reconcile({cameraFile("PICT0001.JPG"), second}, library).matches.contains("PICT0002.JPG"));
  whenReading = [this](const std::string& id) {
    if (id == "nearer") {
      cancellation.cancel();
    }
  };
  EXPECT_THROW(reconcile({cameraFile("PICT0001.JPG"), second}, library), CancellationError);
}

TEST_F(OfflinePhotoRecognizerTest, isNotCancelledOnceNothingIsLeftToCompare) {
  whenReading = [this](const std::string&) { cancellation.cancel(); };
  results.emplace("c", bytesOf("P"));
  EXPECT_EQ(reconcile({cameraFile("P")}, {candidate("c", "P")}), foundByContent("P", "c"));
}

TEST_F(OfflinePhotoRecognizerTest, endsWithTheErrorThatAReadThrows) {
  whenReading = [](const std::string&) { throw std::runtime_error("the library is gone"); };
  EXPECT_THROW(reconcile({cameraFile("P")}, {candidate("a", "P")}), std::runtime_error);
  whenReading = [](const std::string&) { throw CancellationError(); };
  EXPECT_THROW(reconcile({cameraFile("P")}, {candidate("a", "P")}), CancellationError);
}

// Candidates of known identity.

TEST_F(OfflinePhotoRecognizerTest, findsAKnownContentWithoutAReadWhateverItsNameAndDate) {
  policy.maximumResources = 0;
  const FingerprintedMediaFile file = cameraFile("PICT0001.JPG");
  EXPECT_EQ(reconcile({file}, {known(candidate("c", "Other.JPG", std::nullopt), file.sourceFingerprint)}),
            foundByContent(file.sourceFingerprint, "c"));
  EXPECT_TRUE(calls.empty());
}

TEST_F(OfflinePhotoRecognizerTest, findsAKnownContentByPayloadAndByTheBytesOfAnInterruptedImport) {
  FingerprintedMediaFile file = cameraFile("PICT0001.JPG");
  file.mediaPayloadFingerprint = "payload";
  file.pendingProcessedFingerprint = "processed";
  const auto match = [&](Candidate library) {
    return reconcile({file}, {std::move(library)}).matches.at(file.sourceFingerprint);
  };
  EXPECT_EQ(match(known(candidate("c", "A.JPG"), "other", "payload")),
            (LibraryMatch{"asset of c", "other", "payload"}));
  EXPECT_EQ(match(known(candidate("c", "A.JPG"), "processed")),
            (LibraryMatch{"asset of c", "processed", std::nullopt}));
}

TEST_F(OfflinePhotoRecognizerTest, aKnownContentOfAnotherKindLeavesNoDoubt) {
  policy.maximumResources = 0;
  EXPECT_EQ(reconcile({cameraFile("PICT0001.JPG")}, {known(candidate("c", "PICT0001.JPG"), "other")}),
            nothing);
}

TEST_F(OfflinePhotoRecognizerTest, knownContentsTakeNoPlaceAmongTheNearbyCandidates) {
  policy.nearbyCandidatesPerFile = 1;
  std::vector<Candidate> library{candidate("unknown", "U.JPG")};
  for (int number = 0; number < 5; ++number) {
    const std::string name = "K" + std::to_string(number);
    library.push_back(known(candidate(name, name + ".JPG"), name));
  }
  EXPECT_EQ(reconcile({cameraFile("PICT0001.JPG")}, library), nothing);
  EXPECT_EQ(readIds(), Texts{"unknown"});
  broader = true;
  FingerprintedMediaFile dateless = cameraFile("PICT0001.JPG");
  dateless.captureDate = std::nullopt;
  dateless.file.modifiedAt = std::nullopt;
  EXPECT_EQ(reconcile({dateless}, library), nothing);
}

TEST_F(OfflinePhotoRecognizerTest, saysWhichUncheckedFilesMetALimit) {
  policy.maximumResources = 1;
  results = {{"a", ReadResult::unavailable(1)}};
  FingerprintedMediaFile failing = cameraFile("A.JPG");
  failing.captureDate = std::nullopt;  // so that it has no nearby candidates
  failing.file.modifiedAt = std::nullopt;
  const LibraryReconciliation found =
      reconcile({failing, cameraFile("B.JPG")}, {candidate("a", "A.JPG"), candidate("b", "B.JPG")});
  EXPECT_EQ(found.unchecked, (std::set<std::string>{"A.JPG", "B.JPG"}));
  EXPECT_EQ(found.limited, std::set<std::string>{"B.JPG"});
}

}  // namespace tolvander::tests
