#include <gtest/gtest.h>
#include <signal.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <filesystem>
#include <functional>
#include <iostream>
#include <iterator>
#include <map>
#include <optional>
#include <set>
#include <sstream>
#include <string>
#include <vector>

#include "Platform/Linux/PhotoLibrary/Catalogue.h"
#include "Shells/CommandLine/CommandLine.h"
#include "Tests/Fault/PowerCut.h"
#include "Tests/Support/Application/EmbeddedLibrary.h"
#include "Tests/Support/Application/SyncedHome.h"
#include "Tests/Support/Fixtures/SmallCard.h"
#include "Tests/Support/Machine/FaultInjection.h"
#include "Tests/Support/Machine/TemporaryFolder.h"
#include "Tests/Support/Machine/Thoroughness.h"
#include "TolvanderCore/Files/FileFingerprinter.h"
#include "TolvanderCore/HistoryDatabase.h"
#include "TolvanderCore/SyncHistoryStore.h"

namespace tolvander::tests {
namespace {

namespace fs = std::filesystem;

using shell::ExitStatus;

// What the program prints, kept instead; and the signals that it takes for itself, given back.
class Aside {
 public:
  Aside() : output_(std::cout.rdbuf(text_.rdbuf())), errors_(std::cerr.rdbuf(text_.rdbuf())) {
    pthread_sigmask(SIG_SETMASK, nullptr, &signals_);
  }
  ~Aside() {
    std::cout.rdbuf(output_);
    std::cerr.rdbuf(errors_);
    pthread_sigmask(SIG_SETMASK, &signals_, nullptr);
  }
  Aside(const Aside&) = delete;
  Aside& operator=(const Aside&) = delete;

  std::string text() const { return text_.str(); }

 private:
  std::ostringstream text_;
  std::streambuf* output_;
  std::streambuf* errors_;
  sigset_t signals_{};
};

// A whole sync of a small card, in two transaction batches, by the command line with a temporary home.
class SyncFaults : public testing::Test {
 protected:
  SyncFaults()
      : SyncFaults(5, [this] {  // the twin's picture is another one's
          addPhotos(4);
          addSmallPhoto(card, "PICT0005.JPG", 1, 30);
          addSmallVideo(card, "MOVI0001.AVI", 1);
        }) {}

  SyncFaults(std::size_t uniqueFiles, const std::function<void()>& addFiles) {
    // No notifications on the desktop of the user who runs the tests.
    setenv("DBUS_SESSION_BUS_ADDRESS", "unix:path=/nonexistent", 1);
    makeSmallCard(card);
    addFiles();
    cardContent = contentOfCard();

    EXPECT_EQ(sync(), ExitStatus::done) << printed;
    for (const ImportRecord& record : home.history().imports) {
      processedOfSource[record.sourceFingerprint] = *record.processedFingerprint;
      everyPicture.insert(*record.processedFingerprint);
    }
    EXPECT_EQ(everyPicture.size(), uniqueFiles);
    EXPECT_EQ(home.pictures(), everyPicture);
    fs::remove_all(home.url().path());
  }

  void addPhotos(unsigned count) const {
    for (unsigned number = 1; number <= count; ++number) {
      addSmallPhoto(card, "PICT000" + std::to_string(number) + ".JPG", number, number);
    }
  }

  // MARK: The program

  ExitStatus run(std::vector<std::string> arguments) {
    arguments.insert(arguments.begin(), {"tolvanderctl", "--home", home.url().path()});
    std::vector<const char*> pointers;
    for (const std::string& argument : arguments) {
      pointers.push_back(argument.c_str());
    }
    const Aside aside;
    const ExitStatus status = shell::runCommandLine(static_cast<int>(pointers.size()), pointers.data());
    printed = aside.text();
    return status;
  }

  ExitStatus sync() { return run({"sync", "--yes", "--album", "Trip", card.path()}); }

  // MARK: What there is

  std::map<std::string, std::string> contentOfCard() const {
    std::map<std::string, std::string> content;
    for (const auto& entry : fs::recursive_directory_iterator(card.path())) {
      content[entry.path().string()] =
          entry.is_regular_file() ? readFile(FileURL(entry.path().string())) : std::string();
    }
    return content;
  }

  // MARK: The proof

  // After the sync that met the fault: a sync without one, and what must hold then. `first` is what the
  // faulty one said, where it could.
  void syncAgainAndVerify(std::optional<ExitStatus> first) {
    if (first == ExitStatus::done) {
      EXPECT_EQ(home.pictures(), everyPicture) << "it said that it was done";
    }
    const std::size_t marked = home.history().pendingImports.size();
    markedRuns += marked > 0 ? 1 : 0;
    markedFiles += marked;
    const ExitStatus second = sync();
    const HistoryDatabase database = home.history();
    const auto pictures = home.pictures();
    std::multiset<std::string> recorded;
    for (const ImportRecord& record : database.imports) {
      recorded.insert(processedOfSource.at(record.sourceFingerprint));
    }
    EXPECT_EQ(pictures, recorded) << "the library and the history tell different stories";
    home.expectToBeTrue();
    EXPECT_EQ(contentOfCard(), cardContent);
    EXPECT_EQ(database.pendingImports, std::set<std::string>()) << "paused";
    EXPECT_EQ(second, ExitStatus::done) << printed;
    EXPECT_EQ(pictures, everyPicture) << "every file once";
  }

  void tryEveryPoint(const std::string& name, const Fault& fault, std::size_t step) {
    const auto begin = std::chrono::steady_clock::now();
    std::optional<ExitStatus> status;
    const std::size_t points = forEachFaultPoint(
        fault,
        [&] {
          fs::remove_all(home.url().path());
          status.reset();
        },
        [&] { status = sync(); }, [&](const FaultOutcome&) { syncAgainAndVerify(status); }, step);
    EXPECT_GT(points, fewestPoints / step);
    const std::chrono::duration<double> time = std::chrono::steady_clock::now() - begin;
    std::cout << name << ": " << points << " points hit, " << markedRuns << " syncs left marks of "
              << markedFiles << " files in all, " << time.count() << " s\n";
  }

  // MARK: The Trash stage

  ExitStatus syncIntoTrash() { return run({"sync", "--yes", "--trash", "yes", card.path()}); }

  // Whatever has no info file there is no item.
  std::size_t countInTrash() const {
    const fs::path files = card.appending(".Trash-" + std::to_string(geteuid()) + "/files").path();
    const fs::directory_iterator end;
    return fs::exists(files) ? static_cast<std::size_t>(std::distance(fs::directory_iterator(files), end))
                             : 0;
  }

  std::size_t countListed() {
    run({"trash", "list"});
    std::size_t count = 0;
    std::istringstream lines(printed);
    for (std::string line; std::getline(lines, line);) {
      count += line.ends_with(".JPG") || line.ends_with(".AVI") ? 1 : 0;
    }
    return count;
  }

  // Every moved file is listed, and comes back.
  void listAndRestoreEveryMovedFile() {
    EXPECT_EQ(countListed(), countInTrash()) << printed;
    EXPECT_EQ(run({"trash", "restore", "--yes"}), ExitStatus::done) << printed;
    EXPECT_EQ(countInTrash(), 0U);
    auto content = contentOfCard();
    std::erase_if(content,
                  [](const auto& entry) { return entry.first.find("/.Trash-") != std::string::npos; });
    EXPECT_EQ(content, cardContent);
    fs::remove_all(card.appending(".Trash-" + std::to_string(geteuid())).path());
  }

  static constexpr std::size_t fewestPoints = 200;

  const TemporaryFolder folder = TemporaryFolder::inMemory();
  const FileURL card = folder / "CARD";
  const SyncedHome home{folder / "home"};
  std::map<std::string, std::string> cardContent;
  std::map<std::string, std::string> processedOfSource;
  std::multiset<std::string> everyPicture;  // as fingerprints of what the library gets
  std::string printed;                      // by the last run in this process
  std::size_t markedRuns = 0;
  std::size_t markedFiles = 0;
};

TEST_F(SyncFaults, everyFileArrivesOnceWhereverTheProcessIsKilled) {
  tryEveryPoint("killed", Fault::kill(), stepThrough(13));
  EXPECT_GT(markedRuns, 0U) << "no kill fell between the marks and the records";
}

TEST_F(SyncFaults, everyMovedFileIsListedAndComesBackWhereverTheTrashStageIsKilled) {
  const std::size_t callsBefore = countMutatingCalls([this] { sync(); });
  fs::remove_all(home.url().path());
  constexpr std::size_t callsOfTheAlbum = 40;  // a sync without the Trash stage has an album instead
  const std::size_t step = stepThrough(13);
  std::size_t points = 0;
  std::size_t moved = 0;
  for (std::size_t point = callsBefore - callsOfTheAlbum;; point += step) {
    const FaultOutcome outcome = runWithFault(Fault::kill(), point, [this] { syncIntoTrash(); });
    SCOPED_TRACE("killed at call " + std::to_string(point) + " (" + outcome.call + ")");
    moved += countInTrash();
    points += countInTrash() > 0 ? 1 : 0;
    listAndRestoreEveryMovedFile();
    fs::remove_all(home.url().path());
    if (!outcome.wasHit() || HasFailure()) {
      break;
    }
  }
  std::cout << points << " points with files in the Trash, " << moved << " files in all\n";
  EXPECT_GT(points, 40 / step);
}

TEST_F(SyncFaults, everyFileArrivesOnceWhereverACallFailsOnce) {
  tryEveryPoint("EIO once", Fault::failing(EIO), stepThrough(13));
}

TEST_F(SyncFaults, everyFileArrivesOnceWhereverTheDiskGoesAway) {
  tryEveryPoint("EIO from then on", Fault::failingFromThenOn(EIO), 2 * stepThrough(9));
}

TEST_F(SyncFaults, everyFileArrivesOnceWhereverTheDiskIsFullForAMoment) {
  tryEveryPoint("ENOSPC once", Fault::failing(ENOSPC), 3 * stepThrough(7));
}

TEST_F(SyncFaults, everyFileArrivesOnceWhereverTheDiskFillsUp) {
  tryEveryPoint("ENOSPC from then on", Fault::failingFromThenOn(ENOSPC), 3 * stepThrough(7));
}

TEST_F(SyncFaults, isDoneWhereverAWriteIsShort) {
  tryEveryPoint("short write", Fault::shortWrite(), 3 * stepThrough(7));
  EXPECT_EQ(markedRuns, 0U) << "a short write is no failure";
}

// What a sync left that was killed at some point between its marks and its end, and what others do then.
class KilledSync : public SyncFaults {
 protected:
  // Every third point: before the files have their names, when some have, and before the commit and the
  // records.
  void forEachKill(const std::function<void()>& verify) {
    std::size_t tried = 0;
    for (std::size_t point = 1;; point += 3) {
      fs::remove_all(home.url().path());
      const FaultOutcome outcome = runWithFault(Fault::kill(), point, [&] { sync(); });
      if (!outcome.wasHit()) {
        break;
      }
      if (!home.history().pendingImports.empty()) {
        ++tried;
        SCOPED_TRACE("point " + std::to_string(point) + " " + outcome.call);
        verify();
      }
    }
    EXPECT_GT(tried, 10U);
  }

  std::set<std::string> incomingFiles() const {
    std::set<std::string> names;
    for (const auto& entry :
         fs::directory_iterator(home.libraryFolder().appending("Originals/.incoming").path())) {
      names.insert(entry.path().filename().string());
    }
    return names;
  }

  void expectDone() {
    EXPECT_EQ(sync(), ExitStatus::done) << printed;
    EXPECT_EQ(home.pictures(), everyPicture);
    EXPECT_TRUE(home.history().pendingImports.empty());
    home.expectToBeTrue();
  }
};

TEST_F(KilledSync, isLeftAloneByAnUnreadableHistoryAndCompletedWhenThatIsBack) {
  forEachKill([this] {
    const auto before = incomingFiles();
    const std::string history = readFile(home.historyFile());
    writeFile(home.historyFile(), "{ broken");
    EXPECT_NE(sync(), ExitStatus::done);
    EXPECT_EQ(incomingFiles(), before);
    writeFile(home.historyFile(), history);
    expectDone();
  });
}

TEST_F(KilledSync, isCompletedByRestoreAndByRemember) {
  forEachKill([this] {
    EXPECT_EQ(run({"remember", card.path()}), ExitStatus::done) << printed;
    EXPECT_TRUE(home.history().pendingImports.empty());
    EXPECT_EQ(run({"restore", "--yes", card.path()}), ExitStatus::done) << printed;
    EXPECT_EQ(home.pictures(), everyPicture);
    home.expectToBeTrue();
  });
}

TEST_F(KilledSync, isNotTouchedByACheck) {
  forEachKill([this] {
    const auto before = incomingFiles();
    run({"check", card.path()});
    EXPECT_EQ(incomingFiles(), before);
    EXPECT_FALSE(home.history().pendingImports.empty());
    expectDone();
  });
}

// Two homes with one library, as of two users of a computer.
TEST_F(KilledSync, isLeftAloneByAnotherHistoryOfTheSameLibrary) {
  const FileURL otherCard = folder / "OTHER";
  makeSmallCard(otherCard);
  addSmallPhoto(otherCard, "PICT0001.JPG", 9, 9);
  const SyncedHome other(folder / "other");
  forEachKill([&] {
    const auto before = incomingFiles();
    fs::remove_all(other.url().path());
    fs::create_directories(other.url().appending("pictures").path());
    fs::create_directory_symlink(home.libraryFolder().path(), other.libraryFolder().path());
    const Aside aside;
    const std::vector<std::string> arguments = {"tolvanderctl", "--home", other.url().path(),
                                                "sync",         "--yes",  otherCard.path()};
    std::vector<const char*> pointers;
    for (const std::string& argument : arguments) {
      pointers.push_back(argument.c_str());
    }
    EXPECT_EQ(shell::runCommandLine(static_cast<int>(pointers.size()), pointers.data()), ExitStatus::done);
    EXPECT_EQ(incomingFiles(), before);
    EXPECT_EQ(sync(), ExitStatus::done) << printed;
    EXPECT_EQ(home.pictures().size(), everyPicture.size() + 1);
    EXPECT_TRUE(home.history().pendingImports.empty());
    home.expectToBeTrue();
  });
}

// A history that was restored from a time before the import, and then the right one again.
TEST_F(KilledSync, keepsItsFilesWhereAnOlderHistoryIsPutBackAfterTheyWereToGetTheirNames) {
  std::size_t kept = 0;
  forEachKill([&] {
    platform::linux_::Catalogue catalogue(home.libraryFolder().appending("Library.sqlite"),
                                          std::chrono::seconds(1));
    const auto intents = catalogue.intents();
    if (intents.empty() || !intents.front().isMarked) {
      return;
    }
    ++kept;
    const auto before = incomingFiles();
    const std::string history = readFile(home.historyFile());
    fs::remove(home.historyFile().path());
    run({"remember", card.path()});
    EXPECT_EQ(incomingFiles(), before);
    writeFile(home.historyFile(), history);
    expectDone();
  });
  EXPECT_GT(kept, 0U);
}

// Nothing can tell then whether the library has them.
TEST_F(KilledSync, isPausedWhereItsIncomingFilesWereDeletedByHand) {
  forEachKill([this] {
    const auto incoming = incomingFiles();
    for (const std::string& name : incoming) {
      fs::remove(home.libraryFolder().appending("Originals/.incoming/" + name).path());
    }
    if (!incoming.empty()) {
      EXPECT_EQ(sync(), ExitStatus::incomplete) << printed;
      EXPECT_FALSE(home.history().pendingImports.empty());
    }
  });
}

// A first sync of one batch, and the sync after a power cut. History, settings, library, and what else lies
// in the home are on one disk, so that every order of their changes is tried.
class SyncPowerCuts : public SyncFaults {
 protected:
  SyncPowerCuts() : SyncFaults(2, [this] { addPhotos(2); }) { fs::create_directories(home.url().path()); }

  // What is not made durable, and is of no matter afterwards, would be undecided for ever.
  static PowerCut::Options options() {
    return {.leftOut = {"Media Staging", "Library.sqlite-shm", "logs", "lock", "Library.lock"},
            .opensEvery = stepThrough(9)};
  }

  void recordSync(PowerCut& cut) {
    cut.record([&] {
      EXPECT_EQ(sync(), ExitStatus::done) << printed;
      cut.promise();
    });
  }

  std::size_t paused = 0;  // marked files of all states that the library couldn't complete

  bool hasCatalogue() const {
    const fs::path file = home.libraryFolder().appending("Library.sqlite").path();
    return fs::exists(file) && fs::file_size(file) > 0;
  }

  // What is catalogued is whole and there once, and what is recorded is catalogued.
  void expectTruth(EmbeddedPhotoLibrary& library, const HistoryDatabase& database) const {
    EXPECT_TRUE(library.verify().isSound());
    const std::vector<std::string> files = listedFiles(library);
    std::set<std::string> pictures;
    for (const std::string& file : files) {
      const std::string fingerprint = FileFingerprinter::sha256(FileURL(file));
      EXPECT_TRUE(everyPicture.contains(fingerprint)) << file;
      EXPECT_TRUE(pictures.insert(fingerprint).second) << file << " is there twice";
      EXPECT_EQ(fs::hard_link_count(file), 1U) << "removing the other name frees the blocks of " << file;
    }
    for (const ImportRecord& record : database.imports) {
      EXPECT_TRUE(pictures.contains(processedOfSource.at(record.sourceFingerprint))) << record.relativePath;
    }
  }

  // What the next sync does first. Returns how many marked files the library can't complete.
  static std::size_t complete(EmbeddedPhotoLibrary& library, SyncHistoryStore& history) {
    std::set<std::string> pending;
    for (const auto& [source, processed] : history.pendingProcessedFingerprints()) {
      pending.insert(processed);
    }
    std::set<std::string> held;
    for (const auto& content :
         library.completeImports({.history = history.identity(),
         .pendingFingerprints = pending,
         .isRecorded = [&](const auto& bytes) { return history.containsProcessedFingerprint(bytes); }})) {
      held.insert(content.fingerprint);
    }
    EXPECT_EQ(history.pendingImportSources().size(), pending.size());
    return pending.size() - held.size();
  }

  void verifyState(std::size_t promises) {
    SyncHistoryStore history(home.historyFile());
    ASSERT_NO_THROW(history.ensureAvailable());
    const HistoryDatabase database = home.history();
    EXPECT_TRUE(database.imports.empty() || hasCatalogue());
    EXPECT_TRUE(promises == 0 || database.imports.size() == everyPicture.size());
    if (hasCatalogue()) {
      EmbeddedPhotoLibrary library(home.libraryFolder());
      expectTruth(library, database);
      paused += complete(library, history);
      expectTruth(library, database);
    }
  }

  // A file that was being copied to its name stays under it in part, and is listed.
  void syncToTheFATAgain() {
    EXPECT_EQ(sync(), ExitStatus::done) << printed;
    const HistoryDatabase database = home.history();
    EXPECT_TRUE(database.pendingImports.empty());
    EXPECT_EQ(home.pictures(), everyPicture);
    EmbeddedPhotoLibrary library(home.libraryFolder());
    expectTruth(library, database);
    const auto verification = library.verify();
    EXPECT_TRUE(verification.unfinished.empty());
    for (const FileURL& file : verification.unknown) {
      EXPECT_FALSE(everyPicture.contains(FileFingerprinter::sha256(file))) << file.path();
    }
  }

  // Every file of the home, with its size.
  std::string listing() const {
    std::set<std::string> lines;
    for (const auto& entry : fs::recursive_directory_iterator(home.url().path())) {
      lines.insert(entry.path().string() +
                   (entry.is_directory() ? "" : " " + std::to_string(entry.file_size())));
    }
    std::string text;
    for (const std::string& line : lines) {
      text += line.substr(home.url().path().size()) + "\n";
    }
    return text;
  }

  // In full for some of the states, because a sync takes its time.
  void verifyStates(const std::string& name, const PowerCut& cut, const std::function<void()>& syncAgain) {
    constexpr std::size_t syncsEvery = 40;
    std::size_t number = 0;  // of those opened
    tell(name, cut.forEachState([&](std::size_t promises) {
      ++number;
      if (HasFailure()) {
        return;
      }
      const testing::ScopedTrace trace(__FILE__, __LINE__,
                                       "state " + std::to_string(number) + "\n" + listing());
      verifyState(promises);
      if (number % syncsEvery == 0) {
        syncAgain();
      }
    }));
  }

  void tell(const std::string& name, const PowerCut::Count& count) const {
    EXPECT_GT(count.states, 500U);
    std::cout << name << ": " << count.states << " states of " << count.moments << " moments, at most "
              << count.longestWindow << " changes undecided, " << count.sampledMoments << " moments sampled, "
              << markedRuns << " synced again with marks, " << paused << " files paused\n";
  }
};

TEST_F(SyncPowerCuts, leaveNoFileThatTheLibraryHasNotWholeAndOnce) {
  PowerCut cut(home.url(), options());
  recordSync(cut);
  verifyStates("sync", cut, [this] { syncAgainAndVerify(std::nullopt); });
  EXPECT_EQ(paused, 0U);
}

TEST_F(SyncPowerCuts, leaveNoFileThatALibraryOnAFATHasNotWholeAndOnce) {
  PowerCut::Options onFAT = options();
  onFAT.fat = "pictures";
  PowerCut cut(home.url(), onFAT);
  recordSync(cut);
  verifyStates("sync to a FAT", cut, [this] { syncToTheFATAgain(); });
  EXPECT_EQ(paused, 0U);
}

}  // namespace
}  // namespace tolvander::tests
