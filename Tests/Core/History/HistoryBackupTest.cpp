#include "TolvanderCore/HistoryBackup.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <set>

#include "Tests/Support/Machine/TemporaryFolder.h"
#include "TolvanderCore/Files/DailyBackups.h"
#include "TolvanderCore/Files/DayText.h"
#include "TolvanderCore/Files/FileOperations.h"
#include "TolvanderCore/SyncHistoryStore.h"

namespace tolvander {
namespace {

namespace fs = std::filesystem;
using tests::readFile;
using tests::TemporaryFolder;
using tests::writeFile;

class HistoryBackup : public testing::Test {
 protected:
  HistoryBackup() { importFile("first"); }

  void importFile(const std::string& fingerprint) const {
    SyncHistoryStore(file).record(
        ImportRecord::make(fingerprint, "PICT0001.JPG", "DCIM/PICT0001.JPG", 1, {}, "asset", false));
  }

  static Date day(int number) { return Date(std::chrono::hours(24 * (20'000 + number))); }

  static std::string nameOf(int number) {
    return "history " + dayText(day(number), TimeZone::current()) + ".json";
  }

  std::set<std::string> files() const {
    std::set<std::string> names;
    if (fs::exists((folder / "Backups").path())) {
      for (const auto& entry : fs::directory_iterator((folder / "Backups").path())) {
        names.insert(entry.path().filename().string());
      }
    }
    return names;
  }

  const TemporaryFolder folder;
  const FileURL file = folder / "history.json";
};

TEST_F(HistoryBackup, isMadeOnceADay) {
  const std::string first = readFile(file);
  backUpHistory(file, day(0));
  importFile("second");
  backUpHistory(file, day(0));
  EXPECT_EQ(files(), std::set{nameOf(0)});
  EXPECT_EQ(readFile(DailyBackups(file).newest().value()), first);
  backUpHistory(file, day(1));
  EXPECT_EQ(readFile(DailyBackups(file).newest().value()), readFile(file));
}

TEST_F(HistoryBackup, isReplacedAfterChangesWhereThatIsAskedFor) {
  backUpHistory(file, day(0));
  const FileURL backup = DailyBackups(file).ofDay(day(0));
  writeFile(backup, "untouched");
  setContentModificationDate(file, day(0));
  setContentModificationDate(backup, day(0));
  backUpHistory(file, day(0), BackupRule::afterChanges);
  EXPECT_EQ(readFile(backup), "untouched");
  setContentModificationDate(file, day(1));
  backUpHistory(file, day(0), BackupRule::afterChanges);
  EXPECT_EQ(readFile(backup), readFile(file));
}

TEST_F(HistoryBackup, isKeptForTheLastSevenDaysOfUse) {
  for (int number = 0; number < 20; number += 2) {
    backUpHistory(file, day(number));
  }
  EXPECT_EQ(files(),
            (std::set{nameOf(6), nameOf(8), nameOf(10), nameOf(12), nameOf(14), nameOf(16), nameOf(18)}));
}

TEST_F(HistoryBackup, isKeptWhereTheClockWasAheadOnceAndReplacesThoseOfThatTime) {
  const Date now = std::chrono::system_clock::now();
  for (int number = 0; number < 7; ++number) {
    backUpHistory(file, day(1000 + number));
    setContentModificationDate((folder / "Backups").appending(nameOf(1000 + number)),
                               now + std::chrono::hours(24 * (number + 1)));
  }
  for (int number = 0; number < 7; ++number) {
    backUpHistory(file, day(number));
    EXPECT_TRUE(files().contains(nameOf(number)));
    EXPECT_EQ(files().size(), 7U);
  }
  EXPECT_EQ(files(), (std::set{nameOf(0), nameOf(1), nameOf(2), nameOf(3), nameOf(4), nameOf(5), nameOf(6)}));
}

TEST_F(HistoryBackup, isNotMadeOfAHistoryThatCannotBeRead) {
  backUpHistory(file, day(0));
  const std::string whole = readFile(file);
  for (const std::string& broken :
       {std::string("broken"), whole.substr(0, whole.size() / 2), std::string()}) {
    writeFile(file, broken);
    EXPECT_THROW(backUpHistory(file, day(1)), Error);
  }
  EXPECT_EQ(files(), std::set{nameOf(0)});
}

TEST_F(HistoryBackup, isNotMadeWhereNothingIsInTheHistory) {
  fs::remove(file.path());
  backUpHistory(file, day(0));
  SyncHistoryStore(file).record(std::vector<ImportRecord>());
  backUpHistory(file, day(0));
  EXPECT_EQ(files(), std::set<std::string>());
}

}  // namespace
}  // namespace tolvander
