#pragma once

#include <string>

#include "TolvanderCore/Foundation/FileURL.h"
#include "TolvanderCore/HistoryDatabase.h"
#include "TolvanderCore/SyncHistoryStore.h"

namespace tolvander::app {

// What the import history knows.
struct HistoryReport {
  FileURL fileURL;
  HistoryDatabase database;

  // Throws SyncHistoryError where the history is unreadable.
  static HistoryReport of(SyncHistoryStore& store);

  // For people, with line ends: the sums, then a line a record, newest first.
  std::string text() const;

  // For programs: the history in the form of its file.
  std::string json() const;
};

}  // namespace tolvander::app
