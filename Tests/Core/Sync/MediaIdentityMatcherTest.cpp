#include "TolvanderCore/Sync/MediaIdentityMatcher.h"

#include <gtest/gtest.h>

#include "Tests/Support/Fixtures/CoordinatorWorld.h"

namespace tolvander {
namespace {

using tests::mediaFile;
using tests::recordOf;
using tests::sourcesOf;

using Texts = std::vector<std::string>;
using Files = std::vector<FingerprintedMediaFile>;

TEST(MediaIdentityMatcher, equalSourcesMatchWhateverTheirPayloads) {
  EXPECT_TRUE(MediaIdentityMatcher::matches("a", {}, "a", {}));
  EXPECT_TRUE(MediaIdentityMatcher::matches("a", "p", "a", {}));
  EXPECT_TRUE(MediaIdentityMatcher::matches("a", "p", "a", "q"));
}

TEST(MediaIdentityMatcher, differentSourcesMatchByEqualPresentPayloads) {
  EXPECT_TRUE(MediaIdentityMatcher::matches("a", "p", "b", "p"));
  EXPECT_FALSE(MediaIdentityMatcher::matches("a", "p", "b", "q"));
}

TEST(MediaIdentityMatcher, anAbsentPayloadMatchesNothingNotEvenAnAbsentOne) {
  EXPECT_FALSE(MediaIdentityMatcher::matches("a", {}, "b", {}));
  EXPECT_FALSE(MediaIdentityMatcher::matches("a", "p", "b", {}));
  EXPECT_FALSE(MediaIdentityMatcher::matches("a", {}, "b", "p"));
}

TEST(MediaIdentityMatcher, aSourceIsNoPayload) {
  EXPECT_FALSE(MediaIdentityMatcher::matches("a", "p", "p", {}));
  EXPECT_FALSE(MediaIdentityMatcher::matches("a", "p", "b", "a"));
}

TEST(MediaIdentityMatcher, keepsTheFirstOfEachSourceAndPayloadInOrder) {
  const Files files = {mediaFile("d"),      mediaFile("a", "p"), mediaFile("b", "p"),
                       mediaFile("a", "q"), mediaFile("c", "q"), mediaFile("d")};
  EXPECT_EQ(sourcesOf(MediaIdentityMatcher::uniqueUnrecorded(files, {}, {})), (Texts{"d", "a", "c"}));
}

TEST(MediaIdentityMatcher, keepsTheWholeFilesOfSeveralWithoutPayload) {
  const Files files = {mediaFile("a"), mediaFile("b")};
  EXPECT_EQ(MediaIdentityMatcher::uniqueUnrecorded(files, {}, {}), files);
}

TEST(MediaIdentityMatcher, dropsWhatIsRecordedBySourceOrPayload) {
  const Files files = {mediaFile("a"), mediaFile("b", "p"), mediaFile("c", "q"), mediaFile("p"),
                       mediaFile("d", "a")};
  EXPECT_EQ(sourcesOf(MediaIdentityMatcher::uniqueUnrecorded(files, {"a"}, {"p"})), (Texts{"c", "p", "d"}));
}

TEST(MediaIdentityMatcher, aFileDroppedByItsPayloadStillStandsForItsSource) {
  const Files files = {mediaFile("a", "p"), mediaFile("a"), mediaFile("a", "q"), mediaFile("b", "q")};
  EXPECT_EQ(sourcesOf(MediaIdentityMatcher::uniqueUnrecorded(files, {}, {"p"})), Texts{"b"});
}

TEST(MediaIdentityMatcher, aFileDroppedByItsSourceDoesNotStandForItsPayload) {
  const Files files = {mediaFile("a", "p"), mediaFile("b", "p")};
  EXPECT_EQ(sourcesOf(MediaIdentityMatcher::uniqueUnrecorded(files, {"a"}, {})), Texts{"b"});
}

TEST(MediaIdentityMatcher, findsAssetsBySourceAndByPayloadEachOnce) {
  const ImportRecords records({recordOf(mediaFile("a"), "asset-1"), recordOf(mediaFile("x", "p"), "asset-2"),
                               recordOf(mediaFile("y", "p"), "asset-1"),
                               recordOf(mediaFile("z", "q"), "asset-3"),
                               recordOf(mediaFile("p", "a"), "asset-4")});
  EXPECT_EQ(MediaIdentityMatcher::recordedAssetIdentifiers({mediaFile("a"), mediaFile("b", "p")}, records),
            (Texts{"asset-1", "asset-2"}));
}

TEST(MediaIdentityMatcher, findsAssetsWhateverTheirEvidenceAndSkipsRecordsWithoutOne) {
  const ImportRecords records({recordOf(mediaFile("a"), "asset-1", ImportEvidence::metadataOnly),
                               recordOf(mediaFile("b"), "asset-2", ImportEvidence::contentConfirmed),
                               recordOf(mediaFile("c"), {})});
  EXPECT_EQ(MediaIdentityMatcher::recordedAssetIdentifiers({mediaFile("a"), mediaFile("b"), mediaFile("c")},
                                                           records),
            (Texts{"asset-1", "asset-2"}));
}

TEST(MediaIdentityMatcher, absentPayloadsFindNoAssets) {
  const ImportRecords records({recordOf(mediaFile("a"), "asset-1")});
  EXPECT_EQ(MediaIdentityMatcher::recordedAssetIdentifiers({mediaFile("b")}, records), Texts());
}

}  // namespace
}  // namespace tolvander
