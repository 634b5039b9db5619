#include "TolvanderCore/HistoryDatabase.h"

#include <gtest/gtest.h>

#include <fstream>

#include "Tests/Support/Machine/TemporaryFolder.h"
#include "TolvanderCore/Foundation/ISO8601.h"
#include "TolvanderCore/JSON/DecodingError.h"

namespace tolvander {
namespace {

using tests::TemporaryFolder;

std::string written(const HistoryDatabase& database) {
  std::string text;
  writeHistory(database, [&text](std::span<const std::byte> bytes) {
    text.append(reinterpret_cast<const char*>(bytes.data()), bytes.size());
  });
  return text;
}

HistoryDatabase read(std::string_view json) { return readHistory(std::as_bytes(std::span(json))); }

Date date(std::string_view text) { return dateFromISO8601(text).value(); }

ImportRecord fullRecord() {
  ImportRecord record;
  record.sourceFingerprint = "00ff";
  record.mediaPayloadFingerprint = "jpeg-v2:11";
  record.processedFingerprint = "22";
  record.processingVersion = 1;
  record.filename = "PICT0001.JPG";
  record.relativePath = "DCIM/100/PICT0001.JPG";
  record.byteCount = 901234;
  record.importedAt = date("2026-11-15T19:13:17Z") + std::chrono::milliseconds(999);
  record.photosAssetIdentifier = "B84E8479-475C-4727-A4A4-B77AA9980897/L0/001";
  record.wasReconciled = false;
  record.evidence = ImportEvidence::contentConfirmed;
  return record;
}

ImportRecord smallRecord() {
  ImportRecord record;
  record.sourceFingerprint = "0001";
  record.filename = "Ä \"x\"\\.MOV";
  record.relativePath = "DCIM/y.MOV";
  record.byteCount = -1;
  record.importedAt = date("1969-12-31T23:59:59Z");
  record.wasReconciled = true;
  return record;
}

HistoryDatabase sampleDatabase() {
  HistoryDatabase database;
  database.version = 3;
  database.imports = ImportRecords({fullRecord(), smallRecord()});
  database.pendingImports = {"bb", "aa"};
  database.pendingProcessedFingerprints = {{"bb", "cc"}};
  database.trash.push_back({.id = *UUID::fromText("b84e8479-475c-4727-a4a4-b77aa9980897"),
                            .deviceIdentifier = "1234-5678",
                            .volumeName = "CHARMERA",
                            .trashedPath = "/media/c/.Trash-0/files/PICT0001.JPG",
                            .originalFilename = "PICT0001.JPG",
                            .fingerprint = "00ff",
                            .trashedAt = date("2026-11-16T00:00:00Z"),
                            .originalPath = "/media/c/DCIM/PICT0001.JPG",
                            .trashDirectoryPath = "/media/c/.Trash-0/files",
                            .identity = ManagedTrashIdentity{.volumeIdentifier = "v",
                                                             .fileNumber = 18446744073709551615U,
                                                             .birthSeconds = -5,
                                                             .birthNanoseconds = 999999999},
                            .photosAssetIdentifier = "asset"});
  database.trash.push_back({.id = UUID{},
                            .deviceIdentifier = {},
                            .volumeName = "",
                            .trashedPath = "p",
                            .originalFilename = "o",
                            .fingerprint = "f",
                            .trashedAt = date("2026-11-16T00:00:01Z"),
                            .originalPath = {},
                            .trashDirectoryPath = {},
                            .identity = {},
                            .photosAssetIdentifier = {}});
  return database;
}

// Every byte by hand.
constexpr std::string_view goldenSample = R"({
  "imports" : {
    "0001" : {
      "byteCount" : -1,
      "filename" : "Ä \"x\"\\.MOV",
      "importedAt" : "1969-12-31T23:59:59Z",
      "relativePath" : "DCIM\/y.MOV",
      "sourceFingerprint" : "0001",
      "wasReconciled" : true
    },
    "00ff" : {
      "byteCount" : 901234,
      "evidence" : "contentConfirmed",
      "filename" : "PICT0001.JPG",
      "importedAt" : "2026-11-15T19:13:17Z",
      "mediaPayloadFingerprint" : "jpeg-v2:11",
      "photosAssetIdentifier" : "B84E8479-475C-4727-A4A4-B77AA9980897\/L0\/001",
      "processedFingerprint" : "22",
      "processingVersion" : 1,
      "relativePath" : "DCIM\/100\/PICT0001.JPG",
      "sourceFingerprint" : "00ff",
      "wasReconciled" : false
    }
  },
  "pendingImports" : [
    "aa",
    "bb"
  ],
  "pendingProcessedFingerprints" : {
    "bb" : "cc"
  },
  "trash" : [
    {
      "deviceIdentifier" : "1234-5678",
      "fingerprint" : "00ff",
      "id" : "B84E8479-475C-4727-A4A4-B77AA9980897",
      "identity" : {
        "birthNanoseconds" : 999999999,
        "birthSeconds" : -5,
        "fileNumber" : 18446744073709551615,
        "volumeIdentifier" : "v"
      },
      "originalFilename" : "PICT0001.JPG",
      "originalPath" : "\/media\/c\/DCIM\/PICT0001.JPG",
      "photosAssetIdentifier" : "asset",
      "trashDirectoryPath" : "\/media\/c\/.Trash-0\/files",
      "trashedAt" : "2026-11-16T00:00:00Z",
      "trashedPath" : "\/media\/c\/.Trash-0\/files\/PICT0001.JPG",
      "volumeName" : "CHARMERA"
    },
    {
      "fingerprint" : "f",
      "id" : "00000000-0000-0000-0000-000000000000",
      "originalFilename" : "o",
      "trashedAt" : "2026-11-16T00:00:01Z",
      "trashedPath" : "p",
      "volumeName" : ""
    }
  ],
  "version" : 5
})";

TEST(HistoryDatabase, isWrittenInOneFormToTheByte) { EXPECT_EQ(written(sampleDatabase()), goldenSample); }

TEST(HistoryDatabase, isWrittenEmptyToTheByte) {
  EXPECT_EQ(written({}), R"({
  "imports" : {

  },
  "pendingImports" : [

  ],
  "pendingProcessedFingerprints" : {

  },
  "trash" : [

  ],
  "version" : 5
})");
}

TEST(HistoryDatabase, readsBackWhatItWroteAtWholeSeconds) {
  HistoryDatabase expected = sampleDatabase();
  expected.version = 5;
  ImportRecord record = fullRecord();
  record.importedAt = date("2026-11-15T19:13:17Z");
  expected.imports.insertOrAssign({record});
  EXPECT_EQ(read(goldenSample), expected);
  EXPECT_EQ(written(read(goldenSample)), goldenSample);
}

TEST(HistoryDatabase, readsAnObjectWithoutAnyKeyAsEmpty) { EXPECT_EQ(read("{}"), HistoryDatabase()); }

TEST(HistoryDatabase, readsNullForEveryTopLevelKeyAsAbsent) {
  EXPECT_EQ(read(R"({"version":null,"imports":null,"trash":null,"pendingImports":null,
                     "pendingProcessedFingerprints":null})"),
            HistoryDatabase());
}

TEST(HistoryDatabase, readsVersionsOneToFiveAsTheCurrentOne) {
  for (const char* version : {"1", "2", "3", "4", "5", "5.0", "5e0"}) {
    EXPECT_EQ(read(std::string(R"({"version":)") + version + "}").version, 5) << version;
  }
}

TEST(HistoryDatabase, refusesEveryOtherVersion) {
  for (const char* version : {"0", "-1", "6", "1e3", "9223372036854775807"}) {
    try {
      read(std::string(R"({"version":)") + version + "}");
      FAIL() << version << " was read";
    } catch (const DecodingError& error) {
      EXPECT_EQ(error.kind(), DecodingError::Case::dataCorrupted);
      EXPECT_EQ(error.key(), "version");
      EXPECT_EQ(error.debugDescription(), "Unsupported history version");
    }
  }
  for (const char* version : {"\"5\"", "4.5", "true", "[]"}) {
    EXPECT_THROW(read(std::string(R"({"version":)") + version + "}"), DecodingError) << version;
  }
}

std::string historyWith(const std::string& record) { return R"({"imports":{"key":)" + record + "}}"; }

const std::string minimalRecord = R"({"sourceFingerprint":"s","filename":"f","relativePath":"r","byteCount":1,
  "importedAt":"2026-11-15T19:13:17Z","wasReconciled":false})";

std::string replacing(std::string json, const std::string& text, const std::string& by) {
  const std::size_t position = json.find(text);
  EXPECT_NE(position, std::string::npos) << text;
  return json.replace(position, text.size(), by);
}

TEST(HistoryDatabase, keysRecordsByTheirOwnFingerprint) {
  const HistoryDatabase database = read(historyWith(minimalRecord));
  EXPECT_EQ(database.imports.size(), 1U);
  EXPECT_TRUE(database.imports.contains("s"));
  EXPECT_FALSE(database.imports.contains("key"));
}

TEST(HistoryDatabase, keepsOneOfTwoRecordsOfOneSource) {
  EXPECT_EQ(read(R"({"imports":{"a":)" + minimalRecord + R"(,"b":)" + minimalRecord + "}}").imports.size(),
            1U);
}

TEST(HistoryDatabase, takesTheEarlierKeyOfAFingerprintWhereTheNewOneIsAbsentOrNull) {
  for (const char* key : {R"("fingerprint":"old")", R"("sourceFingerprint":null,"fingerprint":"old")"}) {
    const HistoryDatabase database =
        read(historyWith(replacing(minimalRecord, R"("sourceFingerprint":"s")", key)));
    ASSERT_TRUE(database.imports.contains("old")) << key;
    EXPECT_NE(written(database).find(R"("sourceFingerprint" : "old")"), std::string::npos);
    EXPECT_EQ(written(database).find(R"("fingerprint")"), std::string::npos);
  }
  EXPECT_TRUE(read(historyWith(replacing(minimalRecord, R"("sourceFingerprint":"s")",
                                         R"("sourceFingerprint":"s","fingerprint":7)")))
                  .imports.contains("s"))
      << "the earlier key isn't looked at";
  EXPECT_THROW(read(historyWith(replacing(minimalRecord, R"("sourceFingerprint":"s",)", ""))), DecodingError);
}

TEST(HistoryDatabase, doesNotLookAtContentIdentitiesOfARecordOnMetadata) {
  const std::string evidence = R"("wasReconciled":true,"evidence":"metadataOnly","mediaPayloadFingerprint":7,
                                  "processedFingerprint":1e400,"processingVersion":99999999999999999999999,
                                  "processingVersion":1)";
  const HistoryDatabase database =
      read(historyWith(replacing(minimalRecord, R"("wasReconciled":false)", evidence)));
  const ImportRecord* record = database.imports.find("s");
  ASSERT_NE(record, nullptr);
  EXPECT_EQ(record->evidence, ImportEvidence::metadataOnly);
  EXPECT_EQ(record->mediaPayloadFingerprint, std::nullopt);
  EXPECT_EQ(record->processedFingerprint, std::nullopt);
  EXPECT_EQ(record->processingVersion, std::nullopt);
  EXPECT_EQ(written(database).find("processedFingerprint"), std::string::npos);
}

TEST(HistoryDatabase, refusesMalformedRecords) {
  for (const auto& [text, by] : std::vector<std::pair<std::string, std::string>>{
           {R"("filename":"f",)", ""},
           {R"("relativePath":"r",)", ""},
           {R"("byteCount":1,)", ""},
           {R"("importedAt":"2026-11-15T19:13:17Z",)", ""},
           {R"(,"wasReconciled":false)", ""},
           {R"("filename":"f")", R"("filename":null)"},
           {R"("filename":"f")", R"("filename":"f","filename":"f")"},
           {R"("byteCount":1)", R"("byteCount":1.5)"},
           {R"("byteCount":1)", R"("byteCount":9223372036854775808)"},
           {R"("wasReconciled":false)", R"("wasReconciled":0)"},
           {R"("wasReconciled":false)", R"("wasReconciled":false,"evidence":"ContentConfirmed")"},
           {R"("wasReconciled":false)", R"("wasReconciled":false,"evidence":1)"},
           {R"("wasReconciled":false)", R"("wasReconciled":false,"mediaPayloadFingerprint":7)"},
           {R"("wasReconciled":false)", R"("wasReconciled":false,"processingVersion":"1")"},
           {"19:13:17Z", "19:13:17.5Z"},
           {"19:13:17Z", "19:13:17+00:00"},
           {"2026-11-15T19:13:17Z", "2026-02-30T19:13:17Z"},
           {R"("2026-11-15T19:13:17Z")", "1763234000"},
       }) {
    EXPECT_THROW(read(historyWith(replacing(minimalRecord, text, by))), DecodingError)
        << text << " -> " << by;
  }
  EXPECT_THROW(read(R"({"imports":{"key":null}})"), DecodingError);
  EXPECT_THROW(read(R"({"imports":[]})"), DecodingError);
  EXPECT_THROW(read(R"({"imports":{},"imports":{}})"), DecodingError)
      << "one reader would take the other half";
}

TEST(HistoryDatabase, readsDatesThatNoClockShowsAsTheNearestItCanKeep) {
  const HistoryDatabase database =
      read(historyWith(replacing(minimalRecord, "2026-11-15T19:13:17Z", "9999-12-31T23:59:59Z")));
  EXPECT_EQ(database.imports.find("s")->importedAt, date("2262-04-11T23:47:16Z"));
  EXPECT_EQ(read(written(database)), database);
}

TEST(HistoryDatabase, takesNumbersSpeltAsFractionsOrExponents) {
  EXPECT_EQ(read(historyWith(replacing(minimalRecord, R"("byteCount":1)", R"("byteCount":1e3)")))
                .imports.find("s")
                ->byteCount,
            1000);
}

TEST(HistoryDatabase, ignoresKeysItDoesNotKnowHoweverDeepTheyAre) {
  const std::string deep = std::string(100, '[') + std::string(100, ']');
  EXPECT_EQ(read(R"({"future":)" + deep + R"(,"imports":{"k":)" +
                 replacing(minimalRecord, "{", R"({"note":)" + deep + ",") + "}}")
                .imports.size(),
            1U);
}

TEST(HistoryDatabase, dropsProcessedFingerprintsThatAreNotPending) {
  const HistoryDatabase database =
      read(R"({"pendingImports":["a","a"],"pendingProcessedFingerprints":{"a":"1","b":"2"}})");
  EXPECT_EQ(database.pendingImports, (std::set<std::string>{"a"}));
  EXPECT_EQ(database.pendingProcessedFingerprints, (std::map<std::string, std::string>{{"a", "1"}}));
}

TEST(HistoryDatabase, refusesMalformedMarksAndTrash) {
  for (const char* json : {
           R"({"pendingImports":[1]})",
           R"({"pendingImports":[null]})",
           R"({"pendingImports":{}})",
           R"({"pendingProcessedFingerprints":{"a":null}})",
           R"({"pendingProcessedFingerprints":{"a":"1","a":"1"}})",
           R"({"pendingProcessedFingerprints":[]})",
           R"({"trash":{}})",
           R"({"trash":[{}]})",
           R"([])",
           R"(null)",
       }) {
    EXPECT_THROW(read(json), DecodingError) << json;
  }
}

const std::string minimalTrash =
    R"({"id":"B84E8479-475C-4727-A4A4-B77AA9980897","volumeName":"v","trashedPath":"t",
  "originalFilename":"o","fingerprint":"f","trashedAt":"2026-11-15T19:13:17Z"})";

TEST(HistoryDatabase, readsTrashWithEveryOptionalKeyAbsentAndWithAnIdentity) {
  const std::string identity = R"(,"identity":{"volumeIdentifier":"v","fileNumber":1,"birthSeconds":2,
                                               "birthNanoseconds":3}})";
  const HistoryDatabase database = read(R"({"trash":[)" + minimalTrash + "," +
                                        minimalTrash.substr(0, minimalTrash.size() - 1) + identity + "]}");
  ASSERT_EQ(database.trash.size(), 2U);
  EXPECT_EQ(database.trash[0].identity, std::nullopt);
  EXPECT_EQ(database.trash[1].identity,
            (ManagedTrashIdentity{
                .volumeIdentifier = "v", .fileNumber = 1, .birthSeconds = 2, .birthNanoseconds = 3}));
}

TEST(HistoryDatabase, refusesMalformedTrash) {
  for (const auto& [text, by] : std::vector<std::pair<std::string, std::string>>{
           {R"("id":"B84E8479-475C-4727-A4A4-B77AA9980897",)", ""},
           {R"("volumeName":"v",)", ""},
           {R"("trashedPath":"t",)", ""},
           {R"("originalFilename":"o",)", ""},
           {R"("fingerprint":"f",)", ""},
           {R"(,"trashedAt":"2026-11-15T19:13:17Z")", ""},
           {"B84E8479", "X84E8479"},
           {"B84E8479-", "B84E8479"},
           {R"("fingerprint":"f")", R"("fingerprint":"f","identity":{"volumeIdentifier":"v"})"},
           {R"("fingerprint":"f")", R"("fingerprint":"f","identity":{"volumeIdentifier":"v","fileNumber":-1,
                                       "birthSeconds":1,"birthNanoseconds":1})"},
           {R"("fingerprint":"f")", R"("fingerprint":"f","originalPath":1)"},
       }) {
    EXPECT_THROW(read(R"({"trash":[)" + replacing(minimalTrash, text, by) + "]}"), DecodingError) << by;
  }
}

TEST(HistoryDatabase, refusesAFileThatEndsInTheMiddleWhereverThatIs) {
  for (std::size_t length = 0; length < goldenSample.size(); ++length) {
    ASSERT_THROW(read(goldenSample.substr(0, length)), DecodingError) << length;
  }
}

TEST(HistoryDatabase, writesNamesThatAreNoUTF8SoThatTheyCanBeReadAgain) {
  ImportRecord record = smallRecord();
  record.filename = "\xFF.JPG";
  HistoryDatabase database;
  database.imports.insertOrAssign({record});
  EXPECT_EQ(read(written(database)).imports.find("0001")->filename, "\uFFFD.JPG");
}

TEST(HistoryDatabase, readsAFileOfTwoHundredMegabytes) {
  const TemporaryFolder folder;
  constexpr std::size_t minimumSize = 200'000'000;
  std::size_t records = 0;
  std::size_t size = 0;
  {
    std::ofstream stream((folder / "history.json").path(), std::ios::binary);
    stream << R"({"version":5,"imports":{)";
    for (; size < minimumSize; ++records) {
      const std::string source = std::string(56, '0') + std::to_string(10'000'000 + records);
      const std::string record =
          (records == 0 ? "\"" : ",\"") + source + R"(":{"sourceFingerprint":")" + source +
          R"(","filename":"f","relativePath":")" + std::string(800, 'r') +
          R"(","byteCount":1,"importedAt":"2026-11-15T19:13:17Z","wasReconciled":false})";
      stream << record;
      size += record.size();
    }
    stream << "}}";
  }
  EXPECT_EQ(readHistory(folder / "history.json").imports.size(), records);
}

}  // namespace
}  // namespace tolvander
