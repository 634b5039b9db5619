#include "Shells/CommandLine/Reports/HistoryReport.h"

#include <gtest/gtest.h>

#include "Samples/Bytes.h"
#include "Tests/Support/Machine/TemporaryFolder.h"
#include "TolvanderCore/Foundation/ISO8601.h"
#include "TolvanderCore/SyncHistoryError.h"

namespace tolvander::app {
namespace {

ImportRecord recordOf(std::string source, std::string path, std::string_view importedAt) {
  ImportRecord record;
  record.sourceFingerprint = std::move(source);
  record.filename = path.substr(path.rfind('/') + 1);
  record.relativePath = std::move(path);
  record.byteCount = 901'234;
  record.importedAt = dateFromISO8601(importedAt).value();
  return record;
}

TEST(HistoryReport, tellsPeopleTheSumsAndEveryRecordNewestFirst) {
  ImportRecord metadata = recordOf("c", "DCIM/c.jpg", "2026-11-15T19:13:18Z");
  metadata.evidence = ImportEvidence::metadataOnly;
  ImportRecord found = recordOf("b", "DCIM/b.mov", "2026-11-15T19:13:19Z");
  found.wasReconciled = true;
  HistoryReport report{.fileURL = FileURL("/home/u/history.json"), .database = {}};
  report.database.imports =
      ImportRecords({recordOf("a", "DCIM/a.jpg", "2026-11-15T19:13:17Z"), found, metadata});
  report.database.pendingImports = {"x"};
  EXPECT_EQ(report.text(),
            "Import history: /home/u/history.json\n"
            "2 photos and 1 video in the library, 1 unresolved import, 0 files in the Trash\n"
            "2026-11-15T19:13:19Z  DCIM/b.mov  (901 KB, found in the library)\n"
            "2026-11-15T19:13:18Z  DCIM/c.jpg  (901 KB, recognized by name and date)\n"
            "2026-11-15T19:13:17Z  DCIM/a.jpg  (901 KB, imported)\n");
}

TEST(HistoryReport, givesProgramsTheHistoryInTheFormOfItsFile) {
  const tests::TemporaryFolder folder;
  SyncHistoryStore store(folder / "history.json");
  store.record(recordOf("a", "DCIM/a.jpg", "2026-11-15T19:13:17Z"));
  store.beginImport({"x"});
  store.addTrash({ManagedTrashRecord{}});
  EXPECT_EQ(HistoryReport::of(store).json(), tests::readFile(folder / "history.json"));
}

TEST(HistoryReport, failsWhereTheHistoryIsUnreadable) {
  const tests::TemporaryFolder folder;
  tests::writeFile(folder / "history.json", "broken");
  SyncHistoryStore store(folder / "history.json");
  EXPECT_THROW(HistoryReport::of(store), SyncHistoryError);
}

}  // namespace
}  // namespace tolvander::app
