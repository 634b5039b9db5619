#include "TolvanderCore/DiagnosticLog.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/file.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <unistd.h>

#include <chrono>
#include <filesystem>
#include <limits>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include "Samples/Bytes.h"
#include "Tests/Support/Machine/ChildProcess.h"
#include "Tests/Support/Machine/TemporaryFolder.h"
#include "TolvanderCore/Foundation/InternetDateTime.h"
#include "TolvanderCore/JSON/JSONReader.h"

namespace tolvander::tests {

namespace {

using Event = DiagnosticLog::Event;
using Metrics = DiagnosticLog::Metrics;
using StorageError = DiagnosticLog::StorageError;

struct Line {
  std::string event;
  Metrics metrics;
  std::string time;
};

Line parsed(const std::string& text) {
  const JSONDocument document(bytesOf(text));
  const JSONObject object = document.root().object();
  EXPECT_EQ(object.size(), 3U);
  Line line{object.required("event").string(), {}, object.required("time").string()};
  object.required("metrics").object().forEach(
      [&](std::string_view key, const JSONValue& value) { line.metrics.emplace(key, value.integer()); });
  return line;
}

std::vector<std::string> textsOf(const FileURL& file) {
  std::istringstream stream(readFile(file));
  std::vector<std::string> lines;
  for (std::string line; std::getline(stream, line);) {
    lines.push_back(line);
  }
  return lines;
}

mode_t permissionsOf(const FileURL& url) {
  struct stat status {};
  EXPECT_EQ(lstat(url.path().c_str(), &status), 0);
  return status.st_mode & 07777U;
}

std::size_t sizeOf(const FileURL& file) { return std::filesystem::file_size(file.path()); }

// A log in a separate folder that doesn't exist yet.
class DiagnosticLogTest : public testing::Test {
 protected:
  FileURL logs() const { return temporary_ / "Logs/Tolvander"; }
  FileURL file(int index = 0) const {
    return logs().appending(index == 0 ? "Tolvander.log" : "Tolvander." + std::to_string(index) + ".log");
  }
  bool exists(int index) const { return std::filesystem::exists(file(index).path()); }

  // The metrics that are left of these.
  Metrics logged(const Metrics& metrics) const {
    DiagnosticLog log(logs());
    log.record(Event::syncStarted, metrics);
    log.files();
    return parsed(textsOf(file()).back()).metrics;
  }

  void makeFolder() const { std::filesystem::create_directories(logs().path()); }

  // Nothing is written, for this reason, and again for the next line.
  void expectRefusal(StorageError::Case reason) const {
    DiagnosticLog log(logs());
    for (int attempt = 0; attempt < 2; ++attempt) {
      log.record(Event::syncStarted);
      EXPECT_EQ(log.storageFailure(), StorageError(reason));
    }
  }

  TemporaryFolder temporary_;
};

// How long a line of this event without metrics is, its line feed among it.
std::size_t plainLineSize(Event event) {
  return std::string_view(R"({"event":"","metrics":{},"time":"2026-03-14T09:26:53.589Z"})").size() +
         DiagnosticLog::rawValue(event).size() + 1;
}

}  // namespace

TEST_F(DiagnosticLogTest, writesOneObjectALineWithSortedKeys) {
  DiagnosticLog log(logs());
  log.record(Event::recognitionStarted, {{"byte_limit", 536870912}, {"broader", 0}});
  log.record(Event::appTerminated);
  EXPECT_EQ(log.files(), std::vector{file()});
  EXPECT_FALSE(log.storageFailure());

  const std::string content = readFile(file());
  const auto lines = textsOf(file());
  ASSERT_EQ(lines.size(), 2U);
  EXPECT_EQ(content, lines[0] + "\n" + lines[1] + "\n");
  EXPECT_EQ(lines[0],
            R"({"event":"recognitionStarted","metrics":{"broader":0,"byte_limit":536870912},"time":")" +
                parsed(lines[0]).time + "\"}");
  EXPECT_EQ(lines[1], R"({"event":"appTerminated","metrics":{},"time":")" + parsed(lines[1]).time + "\"}");
}

TEST_F(DiagnosticLogTest, tellsTheTimeOfWritingInMilliseconds) {
  using namespace std::chrono;
  DiagnosticLog log(logs());
  const auto before = floor<milliseconds>(system_clock::now());
  log.record(Event::appLaunched);
  log.files();
  const auto after = system_clock::now();
  const std::string time = parsed(textsOf(file()).at(0)).time;
  EXPECT_EQ(time.size(), std::string("2026-03-14T09:26:53.589Z").size());
  const auto date = dateFromInternetDateTimeWithFractionalSeconds(time);
  ASSERT_TRUE(date);
  EXPECT_LE(before, *date);
  EXPECT_LE(*date, after);
}

TEST(DiagnosticLogEvent, hasTheNameOfItsCase) {
  const std::vector<std::string> names = {"appLaunched",
                                          "appTerminated",
                                          "permissionsChanged",
                                          "setupCompleted",
                                          "setupSuspended",
                                          "syncStarted",
                                          "syncFinished",
                                          "syncCancelled",
                                          "operationFailed",
                                          "syncPhaseChanged",
                                          "recognitionStarted",
                                          "recognitionFinished",
                                          "reviewFinished",
                                          "albumUpdated",
                                          "ejectFinished",
                                          "cleanupFinished",
                                          "cameraConnectionChanged",
                                          "reportOpened",
                                          "windowPresentationChanged",
                                          "permissionFocusRecovery",
                                          "permissionPromptStarted"};
  for (std::size_t index = 0; index < names.size(); ++index) {
    EXPECT_EQ(DiagnosticLog::rawValue(static_cast<Event>(index)), names[index]);
  }
  EXPECT_EQ(DiagnosticLog::rawValue(Event::permissionPromptStarted), names.back());
}

TEST(DiagnosticLogStorageError, hasItsWords) {
  EXPECT_EQ(StorageError(StorageError::Case::unavailable).description(),
            "Local diagnostics could not be saved.");
  EXPECT_EQ(StorageError(StorageError::Case::unsafeLocation).description(),
            "The diagnostics folder contains an unexpected file or link.");
  EXPECT_EQ(StorageError(StorageError::Case::unsafeLocation).code(), 1);
  EXPECT_NE(StorageError(StorageError::Case::unavailable), StorageError(StorageError::Case::unsafeLocation));
  EXPECT_NE(std::hash<StorageError>()(StorageError(StorageError::Case::unavailable)),
            std::hash<StorageError>()(StorageError(StorageError::Case::unsafeLocation)));
}

TEST(DiagnosticLogDirectory, belongsToTheHome) {
  EXPECT_EQ(DiagnosticLog::standardDirectory(StandardDirectories::below(FileURL("/home/ada"))),
            FileURL("/home/ada/logs/Tolvander"));
  EXPECT_FALSE(
      DiagnosticLog::standardDirectory({.applicationSupport = std::nullopt, .temporary = FileURL("/tmp")}));
}

TEST_F(DiagnosticLogTest, dropsMetricsWithKeysThatCouldBeText) {
  const std::string longest(32, 'k');
  EXPECT_EQ(logged({{"", 1},
                    {"1a", 1},
                    {"a-b", 1},
                    {"_a", 1},
                    {"a.b", 1},
                    {"a b", 1},
                    {"é", 1},
                    {"aé", 1},
                    {longest + "k", 1},
                    {std::string("a\0b", 3), 1}}),
            Metrics());
  EXPECT_EQ(logged({{"a_1", 2}, {"Z9_", -3}, {longest, 4}, {"a", 5}}),
            (Metrics{{"a_1", 2}, {"Z9_", -3}, {longest, 4}, {"a", 5}}));
}

TEST_F(DiagnosticLogTest, keepsTheEightValidKeysThatSortFirst) {
  const Metrics eight = {{"a", 1}, {"b", 2}, {"c", 3}, {"d", 4}, {"e", 5}, {"f", 6}, {"g", 7}, {"h", 8}};
  Metrics more = eight;
  more.insert({{"0", 0}, {"i", 9}, {"a-", 0}});
  EXPECT_EQ(logged(more), eight);
  EXPECT_EQ(logged({{"a", 1}, {"B", 2}}), (Metrics{{"B", 2}, {"a", 1}}));
}

TEST_F(DiagnosticLogTest, keepsTheLargestAndSmallestIntegers) {
  const Metrics metrics = {{"largest", std::numeric_limits<std::int64_t>::max()},
                           {"smallest", std::numeric_limits<std::int64_t>::min()}};
  EXPECT_EQ(logged(metrics), metrics);
}

TEST_F(DiagnosticLogTest, shortensALineFromTheEndOfTheKeyOrderUntilItFits) {
  DiagnosticLog log(logs(), 256);
  Metrics metrics;
  for (const char first : {'a', 'b', 'c', 'd', 'e', 'f', 'g', 'h'}) {
    metrics.emplace(std::string(32, first), std::numeric_limits<std::int64_t>::min());
  }
  log.record(Event::windowPresentationChanged, metrics);
  log.files();
  const auto lines = textsOf(file());
  ASSERT_EQ(lines.size(), 1U);
  const std::size_t oneMetric = 32 + 2 + 1 + 20;  // key, quotes, colon, value
  const std::size_t expected = (256 - plainLineSize(Event::windowPresentationChanged) + 1) / (oneMetric + 1);
  ASSERT_GT(expected, 0U);
  ASSERT_LT(expected, 8U);
  const Metrics kept = parsed(lines[0]).metrics;
  EXPECT_EQ(kept,
            Metrics(metrics.begin(), std::next(metrics.begin(), static_cast<std::ptrdiff_t>(expected))));
  EXPECT_LE(lines[0].size() + 1, 256U);
}

TEST_F(DiagnosticLogTest, clampsItsLimits) {
  const auto limits = [&](std::int64_t bytes, std::int64_t files) {
    const DiagnosticLog log(logs(), bytes, files);
    return std::pair(log.maximumFileBytes(), log.retainedFileCount());
  };
  EXPECT_EQ(limits(10, 0), std::pair(std::int64_t{256}, std::int64_t{1}));
  EXPECT_EQ(limits(16777217, 100), std::pair(std::int64_t{16777216}, std::int64_t{16}));
  EXPECT_EQ(limits(-1, -1), std::pair(std::int64_t{256}, std::int64_t{1}));
  EXPECT_EQ(limits(300, 3), std::pair(std::int64_t{300}, std::int64_t{3}));
  const DiagnosticLog standard(logs());
  EXPECT_EQ(standard.maximumFileBytes(), 524288);
  EXPECT_EQ(standard.retainedFileCount(), 4);
}

TEST_F(DiagnosticLogTest, touchesNothingUntilItIsUsed) {
  { const DiagnosticLog log(logs()); }
  EXPECT_FALSE(std::filesystem::exists(logs().path()));
}

TEST_F(DiagnosticLogTest, givesAnActiveFileEvenBeforeTheFirstLine) {
  const DiagnosticLog log(logs());
  EXPECT_EQ(log.files(), std::vector{file()});
  EXPECT_EQ(readFile(file()), "");
  EXPECT_EQ(permissionsOf(file()), 0600U);
}

TEST_F(DiagnosticLogTest, writesEverythingBeforeItEnds) {
  {
    DiagnosticLog log(logs());
    for (int count = 0; count < 50; ++count) {
      log.record(Event::syncStarted, {{"camera_files", count}});
    }
  }
  const auto lines = textsOf(file());
  ASSERT_EQ(lines.size(), 50U);
  for (int count = 0; count < 50; ++count) {
    EXPECT_EQ(parsed(lines[static_cast<std::size_t>(count)]).metrics.at("camera_files"), count);
  }
}

TEST_F(DiagnosticLogTest, setsPermissionsBackOnEachWrite) {
  DiagnosticLog log(logs());
  log.record(Event::syncStarted);
  log.files();
  EXPECT_EQ(permissionsOf(logs()), 0700U);
  EXPECT_EQ(permissionsOf(logs().deletingLastPathComponent()), 0700U);
  EXPECT_EQ(permissionsOf(file()), 0600U);
  ASSERT_EQ(chmod(logs().path().c_str(), 0755), 0);
  ASSERT_EQ(chmod(file().path().c_str(), 0644), 0);
  log.record(Event::syncStarted);
  EXPECT_FALSE(log.storageFailure());
  EXPECT_EQ(permissionsOf(logs()), 0700U);
  EXPECT_EQ(permissionsOf(file()), 0600U);
}

TEST_F(DiagnosticLogTest, rotatesOnlyWhenALineNoLongerFits) {
  const std::size_t lineSize = plainLineSize(Event::syncStarted);
  const auto recordFiveLines = [&](std::size_t maximumFileBytes) {
    std::filesystem::remove_all(logs().path());
    DiagnosticLog log(logs(), static_cast<std::int64_t>(maximumFileBytes));
    for (int count = 0; count < 5; ++count) {
      log.record(Event::syncStarted);
    }
    return log.files();
  };
  ASSERT_GT(5 * lineSize - 1, 256U);  // which the log would make of less

  EXPECT_EQ(recordFiveLines(5 * lineSize), std::vector{file()});
  EXPECT_EQ(sizeOf(file()), 5 * lineSize);

  EXPECT_EQ(recordFiveLines(5 * lineSize - 1), (std::vector{file(0), file(1)}));
  EXPECT_EQ(sizeOf(file(0)), lineSize);
  EXPECT_EQ(sizeOf(file(1)), 4 * lineSize);
}

TEST_F(DiagnosticLogTest, keepsTheNewestFilesAndGivesThemNewestFirst) {
  DiagnosticLog log(logs(), 256, 4);  // two lines of this kind a file
  for (int count = 0; count < 20; ++count) {
    log.record(Event::recognitionFinished, {{"elapsed_ms", count}});
  }
  const auto files = log.files();
  EXPECT_EQ(files, (std::vector{file(0), file(1), file(2), file(3)}));
  EXPECT_FALSE(exists(4));
  std::int64_t newest = 19;
  for (const FileURL& url : files) {
    const auto lines = textsOf(url);
    EXPECT_LE(sizeOf(url), 256U);
    for (auto line = lines.rbegin(); line != lines.rend(); ++line) {
      EXPECT_EQ(parsed(*line).metrics.at("elapsed_ms"), newest--);
    }
  }
  EXPECT_EQ(newest, 11);
}

TEST_F(DiagnosticLogTest, deletesTheActiveFileAtEachRotationWhenItKeepsOne) {
  DiagnosticLog log(logs(), 256, 1);
  for (int count = 0; count < 5; ++count) {
    log.record(Event::recognitionFinished, {{"elapsed_ms", count}});
  }
  EXPECT_EQ(log.files(), std::vector{file()});
  EXPECT_EQ(textsOf(file()).size(), 1U);
  EXPECT_EQ(parsed(textsOf(file()).at(0)).metrics.at("elapsed_ms"), 4);
  EXPECT_FALSE(exists(1));
}

TEST_F(DiagnosticLogTest, passesOverAMissingFileWhenItRotates) {
  DiagnosticLog log(logs(), 256, 4);
  makeFolder();
  writeFile(file(0), std::string(256, 'n'));
  writeFile(file(2), "old");
  log.record(Event::syncStarted);
  EXPECT_EQ(log.files(), (std::vector{file(0), file(1), file(3)}));
  EXPECT_EQ(readFile(file(3)), "old");
  EXPECT_EQ(readFile(file(1)), std::string(256, 'n'));
}

TEST_F(DiagnosticLogTest, leavesFilesBeyondItsOwnAlone) {
  makeFolder();
  writeFile(file(2), "beyond");
  symlink("/nowhere", file(3).path().c_str());
  DiagnosticLog log(logs(), 256, 2);
  for (int count = 0; count < 20; ++count) {
    log.record(Event::recognitionFinished, {{"elapsed_ms", count}});
  }
  EXPECT_FALSE(log.storageFailure());
  EXPECT_EQ(readFile(file(2)), "beyond");
  EXPECT_TRUE(std::filesystem::is_symlink(file(3).path()));
}

TEST_F(DiagnosticLogTest, stopsForALinkAmongItsFilesAndKeepsIt) {
  makeFolder();
  writeFile(temporary_ / "target", "mine");
  ASSERT_EQ(symlink((temporary_ / "target").path().c_str(), file(2).path().c_str()), 0);
  expectRefusal(StorageError::Case::unsafeLocation);
  EXPECT_TRUE(std::filesystem::is_symlink(file(2).path()));
  EXPECT_FALSE(exists(0));
  EXPECT_EQ(readFile(temporary_ / "target"), "mine");
  EXPECT_THROW(DiagnosticLog(logs()).files(), StorageError);
}

TEST_F(DiagnosticLogTest, stopsForALinkInThePlaceOfItsActiveFile) {
  makeFolder();
  writeFile(temporary_ / "target", "mine");
  ASSERT_EQ(symlink((temporary_ / "target").path().c_str(), file().path().c_str()), 0);
  expectRefusal(StorageError::Case::unsafeLocation);
  EXPECT_EQ(readFile(temporary_ / "target"), "mine");
}

TEST_F(DiagnosticLogTest, stopsForAFileWithASecondName) {
  makeFolder();
  writeFile(temporary_ / "other", "mine");
  ASSERT_EQ(link((temporary_ / "other").path().c_str(), file(1).path().c_str()), 0);
  expectRefusal(StorageError::Case::unsafeLocation);
  EXPECT_EQ(readFile(temporary_ / "other"), "mine");
  EXPECT_FALSE(exists(0));
}

TEST_F(DiagnosticLogTest, stopsForAnotherUsersFile) {
  if (geteuid() != 0) {
    GTEST_SKIP() << "giving a file away needs root";
  }
  makeFolder();
  writeFile(file(3), "theirs");
  ASSERT_EQ(chown(file(3).path().c_str(), 65534, 65534), 0);
  expectRefusal(StorageError::Case::unsafeLocation);
  EXPECT_FALSE(exists(0));
}

TEST_F(DiagnosticLogTest, stopsForAnotherUsersFolder) {
  if (geteuid() != 0) {
    GTEST_SKIP() << "giving a folder away needs root";
  }
  makeFolder();
  ASSERT_EQ(chown(logs().path().c_str(), 65534, 65534), 0);
  ASSERT_EQ(chmod(logs().path().c_str(), 0755), 0);
  expectRefusal(StorageError::Case::unavailable);
  EXPECT_EQ(permissionsOf(logs()), 0755U);
  EXPECT_FALSE(exists(0));
}

TEST_F(DiagnosticLogTest, stopsForAFolderAPipeOrASocketFileInThePlaceOfAFile) {
  makeFolder();
  std::filesystem::create_directory(file().path());
  expectRefusal(StorageError::Case::unsafeLocation);
  EXPECT_TRUE(std::filesystem::is_directory(file().path()));
  std::filesystem::remove(file().path());

  ASSERT_EQ(mkfifo(file().path().c_str(), 0600), 0);
  expectRefusal(StorageError::Case::unsafeLocation);
  EXPECT_TRUE(std::filesystem::is_fifo(file().path()));
}

TEST_F(DiagnosticLogTest, stopsForALinkOrAFileInThePlaceOfItsFolder) {
  std::filesystem::create_directories((temporary_ / "Logs").path());
  std::filesystem::create_directories((temporary_ / "elsewhere").path());
  ASSERT_EQ(symlink((temporary_ / "elsewhere").path().c_str(), logs().path().c_str()), 0);
  expectRefusal(StorageError::Case::unsafeLocation);
  EXPECT_TRUE(std::filesystem::is_empty((temporary_ / "elsewhere").path()));
  std::filesystem::remove(logs().path());

  writeFile(logs(), "a file");
  expectRefusal(StorageError::Case::unsafeLocation);
  EXPECT_EQ(readFile(logs()), "a file");
}

TEST_F(DiagnosticLogTest, isUnavailableWhereItsFolderCannotBeMade) {
  writeFile(temporary_ / "Logs", "a file");
  expectRefusal(StorageError::Case::unavailable);
  EXPECT_THROW(DiagnosticLog(logs()).files(), StorageError);
}

TEST_F(DiagnosticLogTest, triesAgainWithTheNextLine) {
  makeFolder();
  ASSERT_EQ(symlink("/nowhere", file(2).path().c_str()), 0);
  DiagnosticLog log(logs());
  log.record(Event::syncStarted);
  EXPECT_TRUE(log.storageFailure());
  std::filesystem::remove(file(2).path());
  log.record(Event::syncFinished);
  EXPECT_FALSE(log.storageFailure());
  ASSERT_EQ(textsOf(file()).size(), 1U);
  EXPECT_EQ(parsed(textsOf(file())[0]).event, "syncFinished");
}

TEST_F(DiagnosticLogTest, keepsWholeLinesWhenTheDiskIsFull) {
  if (const auto reason = reasonAgainstPrivateMounts()) {
    GTEST_SKIP() << *reason;
  }
  makeFolder();
  inPrivateMountNamespace([&] {
    ASSERT_EQ(mount("none", logs().path().c_str(), "tmpfs", 0, "size=16384,mode=0700"), 0);
    DiagnosticLog log(logs(), 1 << 20);
    bool wasFull = false;
    for (int count = 0; count < 1000 && !wasFull; ++count) {
      log.record(Event::recognitionFinished, {{"elapsed_ms", count}});
      wasFull = log.storageFailure() == StorageError(StorageError::Case::unavailable);
    }
    ASSERT_TRUE(wasFull);
    EXPECT_TRUE(readFile(file()).ends_with("}\n"));
    for (const std::string& line : textsOf(file())) {
      EXPECT_EQ(parsed(line).event, "recognitionFinished");
    }
  });
}

TEST_F(DiagnosticLogTest, takesLinesOfManyThreads) {
  constexpr int threadCount = 4;
  constexpr int linesEach = 100;
  {
    DiagnosticLog log(logs());
    std::vector<std::thread> threads;
    for (int thread = 0; thread < threadCount; ++thread) {
      threads.emplace_back([&log, thread] {
        for (int count = 0; count < linesEach; ++count) {
          log.record(Event::syncStarted, {{"thread", thread}, {"count", count}});
          if (count % 25 == 0) {
            EXPECT_FALSE(log.storageFailure());
            EXPECT_EQ(log.files().size(), 1U);
          }
        }
      });
    }
    for (std::thread& thread : threads) {
      thread.join();
    }
  }
  std::vector<int> nextOf(threadCount, 0);
  for (const std::string& text : textsOf(file())) {
    const Metrics metrics = parsed(text).metrics;
    EXPECT_EQ(metrics.at("count"), nextOf.at(static_cast<std::size_t>(metrics.at("thread")))++);
  }
  EXPECT_EQ(nextOf, std::vector<int>(threadCount, linesEach));
}

TEST_F(DiagnosticLogTest, losesNoLineOfTwoProcessesThatRotate) {
  constexpr int linesEach = 200;
  const auto write = [&](int process) {
    DiagnosticLog log(logs(), 8192, 16);  // the last line of a process keeps the others in reach
    for (int count = 0; count < linesEach; ++count) {
      log.record(Event::syncStarted, {{"process", process}, {"count", count}});
      ASSERT_FALSE(log.storageFailure());
    }
  };
  inTwoChildProcesses([&] { write(0); }, [&] { write(1); });
  std::vector<int> nextOf(2, 0);
  const auto files = DiagnosticLog(logs(), 8192, 16).files();
  EXPECT_GT(files.size(), 2U);
  for (auto url = files.rbegin(); url != files.rend(); ++url) {
    EXPECT_LE(sizeOf(*url), 8192U);
    for (const std::string& text : textsOf(*url)) {
      const Metrics metrics = parsed(text).metrics;
      EXPECT_EQ(metrics.at("count"), nextOf.at(static_cast<std::size_t>(metrics.at("process")))++);
    }
  }
  EXPECT_EQ(nextOf, std::vector<int>(2, linesEach));
}

TEST_F(DiagnosticLogTest, givesUpOnALineWhileAnotherProcessHoldsTheFolderForEver) {
  makeFolder();
  const int folder = open(logs().path().c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
  ASSERT_EQ(flock(folder, LOCK_EX), 0);
  DiagnosticLog log(logs());
  log.record(Event::syncStarted);
  EXPECT_EQ(log.storageFailure(), StorageError(StorageError::Case::unavailable));
  EXPECT_FALSE(exists(0));
  close(folder);
  log.record(Event::syncStarted);
  EXPECT_FALSE(log.storageFailure());
}

}  // namespace tolvander::tests
