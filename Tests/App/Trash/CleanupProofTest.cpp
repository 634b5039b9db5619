#include "TolvanderApp/Trash/CleanupProof.h"

#include <gtest/gtest.h>

#include <optional>
#include <string>

namespace tolvander::tests {
namespace {

using app::CleanupProof;
using Assets = CleanupProof::Assets;

FingerprintedMediaFile file(const std::string& source) {
  return {.file = {.url = FileURL("/card/" + source),
                   .volumeURL = FileURL("/card"),
                   .relativePath = source,
                   .filename = source,
                   .byteCount = 1,
                   .modifiedAt = {}},
          .sourceFingerprint = source,
          .mediaPayloadFingerprint = {},
          .captureDate = {},
          .metadata = {},
          .pendingProcessedFingerprint = {}};
}

ImportRecord record(const std::string& source, std::optional<std::string> asset,
                    std::optional<ImportEvidence> evidence = std::nullopt) {
  ImportRecord result;
  result.sourceFingerprint = source;
  result.photosAssetIdentifier = std::move(asset);
  result.evidence = evidence;
  return result;
}

ManagedTrashRecord trashRecord(std::optional<std::string> asset) {
  ManagedTrashRecord result;
  result.photosAssetIdentifier = std::move(asset);
  return result;
}

}  // namespace

TEST(CleanupProof, takesTheAssetsThatWereImportedOrFoundByContent) {
  const ImportRecords records({record("a", "asset A"),
                               record("b", "asset B", ImportEvidence::contentConfirmed),
                               record("c", "asset C")});
  EXPECT_EQ(CleanupProof::recordedAssets({file("a"), file("b")}, records),
            (Assets{{"a", "asset A"}, {"b", "asset B"}}));
}

TEST(CleanupProof, metadataMatchIsNoGround) {
  const ImportRecords records({record("a", "asset A", ImportEvidence::metadataOnly)});
  const Assets assets = CleanupProof::recordedAssets({file("a")}, records);
  EXPECT_TRUE(assets.empty());
  EXPECT_FALSE(CleanupProof::allExist({file("a")}, assets, {"asset A"}));
}

TEST(CleanupProof, recordWithoutAnAssetIsNoGround) {
  EXPECT_TRUE(CleanupProof::recordedAssets({file("a")}, ImportRecords({record("a", {})})).empty());
}

TEST(CleanupProof, needsEveryAssetInTheLibrary) {
  const Assets assets{{"a", "asset A"}, {"b", "asset B"}};
  EXPECT_TRUE(CleanupProof::allExist({file("a"), file("b")}, assets, {"asset A", "asset B", "asset C"}));
  EXPECT_FALSE(CleanupProof::allExist({file("a"), file("b")}, assets, {"asset A"}));
  EXPECT_FALSE(CleanupProof::allExist({file("a"), file("c")}, assets, {"asset A", "asset B"}));
}

TEST(CleanupProof, needsAnAssetOfEveryTrashRecord) {
  EXPECT_TRUE(CleanupProof::allExist({trashRecord("asset A")}, {"asset A"}));
  EXPECT_FALSE(CleanupProof::allExist({trashRecord("asset A"), trashRecord({})}, {"asset A"}));
  EXPECT_FALSE(CleanupProof::allExist({trashRecord("asset A")}, {}));
}

TEST(CleanupProof, namesTheAssetsToAskFor) {
  EXPECT_EQ(CleanupProof::identifiers(Assets{{"a", "asset A"}, {"b", "asset B"}}),
            (std::vector<std::string>{"asset A", "asset B"}));
  EXPECT_EQ(CleanupProof::identifiers(std::vector{trashRecord("asset A"), trashRecord({})}),
            (std::vector<std::string>{"asset A"}));
}

TEST(CleanupProof, aTrashedFileRestsOnTheBytesThatWereHandedToTheLibrary) {
  ImportRecord altered = record("a", "asset A");
  altered.processedFingerprint = "repaired a";
  ManagedTrashRecord trashed = trashRecord("asset A");
  trashed.fingerprint = "a";
  EXPECT_EQ(CleanupProof::contentInLibrary(trashed, ImportRecords({altered})), "repaired a");
  EXPECT_EQ(CleanupProof::contentInLibrary(trashed, ImportRecords({record("a", "asset A")})), "a");
}

TEST(CleanupProof, aTrashedFileRestsOnNothingThatTheHistoryDoesNotKnowByItsContent) {
  ManagedTrashRecord trashed = trashRecord("asset A");
  trashed.fingerprint = "a";
  EXPECT_EQ(CleanupProof::contentInLibrary(trashed, ImportRecords({record("b", "asset A")})), std::nullopt);
  EXPECT_EQ(CleanupProof::contentInLibrary(
                trashed, ImportRecords({record("a", "asset A", ImportEvidence::metadataOnly)})),
            std::nullopt);
}

}  // namespace tolvander::tests
