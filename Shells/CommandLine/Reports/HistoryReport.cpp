#include "Shells/CommandLine/Reports/HistoryReport.h"

#include <algorithm>
#include <functional>
#include <vector>

#include "TolvanderApp/Presentation/Wording.h"
#include "TolvanderCore/Counted.h"
#include "TolvanderCore/Foundation/ISO8601.h"
#include "TolvanderCore/ImportHistorySummary.h"

namespace tolvander::app {

namespace {

std::string_view evidenceWord(const ImportRecord& record) {
  if (!record.isContentConfirmed()) {
    return "recognized by name and date";
  }
  return record.wasReconciled ? "found in the library" : "imported";
}

std::string line(const ImportRecord& record) {
  return iso8601Text(record.importedAt) + "  " + printable(record.relativePath) + "  (" +
         byteCountText(record.byteCount) + ", " + std::string(evidenceWord(record)) + ")\n";
}

template <typename Container>
std::int64_t countOf(const Container& container) {
  return static_cast<std::int64_t>(container.size());
}

}  // namespace

HistoryReport HistoryReport::of(SyncHistoryStore& store) {
  HistoryReport report{.fileURL = store.fileURL(), .database = {}};
  report.database.imports = store.records();
  report.database.trash = store.trashRecords();
  report.database.pendingImports = store.pendingImportSources();
  report.database.pendingProcessedFingerprints = store.pendingProcessedFingerprints();
  return report;
}

std::string HistoryReport::text() const {
  const auto summary = ImportHistorySummary::of(database.imports);
  std::string text = "Import history: " + printable(fileURL.path()) + "\n" +
                     counted(summary.uniquePhotoCount, "photo", "photos") + " and " +
                     counted(summary.uniqueVideoCount, "video", "videos") + " in the library, " +
                     counted(countOf(database.pendingImports), "unresolved import", "unresolved imports") +
                     ", " + counted(countOf(database.trash), "file", "files") + " in the Trash\n";
  std::vector<const ImportRecord*> records;
  for (const ImportRecord& record : database.imports) {
    records.push_back(&record);
  }
  std::ranges::stable_sort(records, std::ranges::greater(),
                           [](const ImportRecord* record) { return record->importedAt; });
  for (const ImportRecord* record : records) {
    text += line(*record);
  }
  return text;
}

std::string HistoryReport::json() const {
  std::string text;
  writeHistory(database, [&text](std::span<const std::byte> bytes) {
    text.append(reinterpret_cast<const char*>(bytes.data()), bytes.size());
  });
  return text;
}

}  // namespace tolvander::app
