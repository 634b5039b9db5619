#include "TolvanderCore/ImportHistorySummary.h"

#include <gtest/gtest.h>

#include <algorithm>

namespace tolvander {
namespace {

ImportRecord photo(std::string source, std::optional<std::string> payload = {},
                   std::optional<std::string> asset = {}, std::string filename = "PICT0001.JPG") {
  ImportRecord record;
  record.sourceFingerprint = std::move(source);
  record.mediaPayloadFingerprint = std::move(payload);
  record.photosAssetIdentifier = std::move(asset);
  record.filename = std::move(filename);
  return record;
}

ImportHistorySummary summary(std::vector<ImportRecord> records) {
  return ImportHistorySummary::of(ImportRecords(std::move(records)));
}

TEST(ImportHistorySummary, ofNothingIsZero) {
  EXPECT_EQ(summary({}), (ImportHistorySummary{.uniquePhotoCount = 0, .uniqueVideoCount = 0}));
}

TEST(ImportHistorySummary, countsPhotosAndVideosApartByTheirExtension) {
  EXPECT_EQ(summary({photo("a"), photo("b", {}, {}, "M.AVI"), photo("c", {}, {}, "m.mov"),
                     photo("d", {}, {}, "m.Mp4"), photo("e", {}, {}, "m.m4v"), photo("f", {}, {}, "avi"),
                     photo("g", {}, {}, "")}),
            (ImportHistorySummary{.uniquePhotoCount = 4, .uniqueVideoCount = 3}));
}

TEST(ImportHistorySummary, countsRecordsThatShareAPayloadOrAnAssetAsOneItem) {
  EXPECT_EQ(summary({photo("a", "p"), photo("b", "p"), photo("c", "q")}).uniquePhotoCount, 2);
  EXPECT_EQ(summary({photo("a", {}, "x"), photo("b", {}, "x"), photo("c", {}, "y")}).uniquePhotoCount, 2);
}

TEST(ImportHistorySummary, joinsRecordsThroughOthers) {
  EXPECT_EQ(
      summary({photo("a", "p"), photo("b", "p", "x"), photo("c", {}, "x"), photo("d")}).uniquePhotoCount, 2);
}

TEST(ImportHistorySummary, keepsTheKindsOfIdentityApart) {
  EXPECT_EQ(summary({photo("a", "b"), photo("b", "c"), photo("c", {}, "a")}).uniquePhotoCount, 3);
}

TEST(ImportHistorySummary, neverJoinsAPhotoAndAVideo) {
  EXPECT_EQ(summary({photo("a", {}, "x"), photo("b", {}, "x", "b.mov")}),
            (ImportHistorySummary{.uniquePhotoCount = 1, .uniqueVideoCount = 1}));
}

TEST(ImportHistorySummary, takesEmptyTextsForNoIdentity) {
  EXPECT_EQ(summary({photo("a", "", ""), photo("b", "", ""), photo("", "", "")}).uniquePhotoCount, 3);
}

TEST(ImportHistorySummary, joinsALongChain) {
  std::vector<ImportRecord> records;
  for (int index = 0; index < 10'000; ++index) {
    records.push_back(
        photo(std::to_string(index), "p" + std::to_string(index / 2), "x" + std::to_string((index + 1) / 2)));
  }
  EXPECT_EQ(summary(std::move(records)).uniquePhotoCount, 1);
}

TEST(ImportRecords, keepTheLastOfSeveralRecordsOfOneSource) {
  const ImportRecords records({photo("b", "1"), photo("a"), photo("b", "2"), photo("b", "3")});
  ASSERT_EQ(records.size(), 2U);
  EXPECT_EQ(records.begin()->sourceFingerprint, "a");
  EXPECT_EQ(records.find("b")->mediaPayloadFingerprint, "3");
  EXPECT_EQ(records.find("c"), nullptr);
}

TEST(ImportRecords, keepNoContentIdentitiesOnMetadataAlone) {
  ImportRecord record = photo("a", "payload");
  record.evidence = ImportEvidence::metadataOnly;
  record.processedFingerprint = "processed";
  record.processingVersion = 1;
  ImportRecords inserted;
  inserted.insertOrAssign({record});
  for (const ImportRecords& records : {ImportRecords({record}), inserted}) {
    EXPECT_EQ(records.find("a")->mediaPayloadFingerprint, std::nullopt);
    EXPECT_EQ(records.find("a")->processedFingerprint, std::nullopt);
    EXPECT_EQ(records.find("a")->processingVersion, std::nullopt);
  }
}

TEST(ImportRecord, ofTheEarlierShapeHasNoIdentitiesAndNoEvidence) {
  ImportRecord expected;
  expected.sourceFingerprint = "f";
  expected.filename = "n";
  expected.relativePath = "r";
  expected.byteCount = 7;
  expected.importedAt = Date(std::chrono::seconds(9));
  expected.photosAssetIdentifier = "asset";
  expected.wasReconciled = true;
  const ImportRecord record =
      ImportRecord::make("f", "n", "r", 7, Date(std::chrono::seconds(9)), "asset", true);
  EXPECT_EQ(record, expected);
  EXPECT_EQ(record.fingerprint(), "f");
  EXPECT_TRUE(record.isContentConfirmed());
}

TEST(ImportRecords, addManyAtOnceInOrderAndReplaceWhatIsKnown) {
  ImportRecords records({photo("c"), photo("e", "old"), photo("g")});
  records.insertOrAssign({photo("h"), photo("e", "new"), photo("a", "first"), photo("d"), photo("b"),
                          photo("a", "last"), photo("f")});
  EXPECT_EQ(records, ImportRecords({photo("a", "last"), photo("b"), photo("c"), photo("d"), photo("e", "new"),
                                    photo("f"), photo("g"), photo("h")}));
  EXPECT_TRUE(std::ranges::is_sorted(records, {}, &ImportRecord::sourceFingerprint));
  EXPECT_EQ(records.size(), 8U);
  records.insertOrAssign({});
  EXPECT_EQ(records.size(), 8U);
}

TEST(ImportRecords, compareByTheContentOfEachRecord) {
  const ImportRecords records({photo("a", "1"), photo("b", "2")});
  EXPECT_EQ(records, ImportRecords({photo("b", "2"), photo("a", "1")}));
  EXPECT_NE(records, ImportRecords({photo("a", "1"), photo("b", "3")}));
  EXPECT_NE(records, ImportRecords({photo("a", "1"), photo("c", "2")}));
  EXPECT_NE(records, ImportRecords({photo("a", "1")}));
}

TEST(ImportRecords, areValues) {
  ImportRecords original({photo("a", "old")});
  ImportRecords copy = original;
  copy.insertOrAssign({photo("a", "new")});
  copy.insertOrAssign({photo("0")});
  EXPECT_EQ(original.find("a")->mediaPayloadFingerprint, "old");
  EXPECT_EQ(original.size(), 1U);
  EXPECT_EQ(copy.find("a")->mediaPayloadFingerprint, "new");
  EXPECT_EQ(copy.begin()->sourceFingerprint, "0");
  EXPECT_NE(original, copy);
  EXPECT_EQ(original, ImportRecords({photo("a", "old")}));
}

}  // namespace
}  // namespace tolvander
