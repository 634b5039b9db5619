#include <gtest/gtest.h>
#include <signal.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <filesystem>
#include <iostream>
#include <iterator>
#include <map>
#include <optional>
#include <set>
#include <sstream>
#include <string>
#include <vector>

#include "Shells/CommandLine/CommandLine.h"
#include "Shells/CommandLine/Session.h"
#include "Shells/CommandLine/SetupFlow.h"
#include "Tests/Support/FaultInjection.h"
#include "Tests/Support/SmallCard.h"
#include "Tests/Support/SyncedHome.h"
#include "Tests/Support/TemporaryFolder.h"
#include "Tests/Support/Thoroughness.h"
#include "TolvanderCore/HistoryDatabase.h"

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

// A whole sync of a small card, of two transaction batches, by the command line on a home of its own.
class SyncFaults : public testing::Test {
 protected:
  static constexpr std::size_t uniqueFiles = 5;  // the twin's picture is another one's

  SyncFaults() {
    // The desktop of whoever runs the tests sees no notification of them.
    setenv("DBUS_SESSION_BUS_ADDRESS", "unix:path=/nonexistent", 1);
    makeSmallCard(card);
    for (unsigned number = 1; number <= 4; ++number) {
      addSmallPhoto(card, "PICT000" + std::to_string(number) + ".JPG", number, number);
    }
    addSmallPhoto(card, "PICT0005.JPG", 1, 30);
    addSmallVideo(card, "MOVI0001.AVI", 1);
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

  // The check that a paused sync asks for; the sources of the files that stay uncertain.
  std::set<std::string> uncertainAfterCheck() {
    const Aside aside;
    const CancellationSource never;
    shell::Session session({.home = home.url(), .json = false, .cancellation = never.token()},
                           {.volumes = {card}, .settings = {}, .answers = {}, .notified = {}});
    std::set<std::string> uncertain;
    session.run([&](shell::Session& running) { return check(&running, &uncertain); });
    return uncertain;
  }

  static app::Task<ExitStatus> check(shell::Session* session, std::set<std::string>* uncertain) {
    app::AppModel& model = session->model();
    auto starting = shell::startUp(session);
    co_await starting;
    model.verifyCameraInPhotos();
    auto beginning = session->untilBegun();
    co_await beginning;
    auto ending = session->until([&model] { return model.isIdle(); });
    co_await ending;
    EXPECT_FALSE(model.lastError->has_value()) << *model.lastError.value();
    for (const app::DeviceLibraryReview& review : model.libraryReviews.value()) {
      for (const FingerprintedMediaFile& file : review.review.uncertain) {
        uncertain->insert(file.sourceFingerprint);
      }
    }
    co_return ExitStatus::done;
  }

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
    if (database.pendingImports.empty()) {
      EXPECT_EQ(second, ExitStatus::done) << printed;
      EXPECT_EQ(pictures, everyPicture) << "every file once";
    } else {
      EXPECT_EQ(second, ExitStatus::incomplete) << printed;
      expectPaused(database);
    }
  }

  // Nothing is imported while it is unknown whether some files are in the library, and the check names them.
  void expectPaused(const HistoryDatabase& database) {
    ++pausedRuns;
    pausedFiles += database.pendingImports.size();
    for (const std::string& source : database.pendingImports) {
      EXPECT_TRUE(processedOfSource.contains(source));
      EXPECT_TRUE(database.pendingProcessedFingerprints.contains(source));
    }
    const auto before = home.pictures();
    EXPECT_EQ(uncertainAfterCheck(), database.pendingImports);
    EXPECT_EQ(home.pictures(), before);
    EXPECT_EQ(home.history(), database);
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
    std::cout << name << ": " << points << " points hit, " << pausedRuns << " syncs ended paused with "
              << pausedFiles << " files in all, " << time.count() << " s\n";
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
  std::size_t pausedRuns = 0;
  std::size_t pausedFiles = 0;
};

TEST_F(SyncFaults, everyFileArrivesOnceOrIsPausedWhereverTheProcessIsKilled) {
  tryEveryPoint("killed", Fault::kill(), stepThrough(13));
  EXPECT_GT(pausedRuns, 0U) << "no kill fell between the marks and the library's commit";
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

TEST_F(SyncFaults, everyFileArrivesOnceOrIsPausedWhereverACallFailsOnce) {
  tryEveryPoint("EIO once", Fault::failing(EIO), stepThrough(13));
}

TEST_F(SyncFaults, everyFileArrivesOnceOrIsPausedWhereverTheDiskGoesAway) {
  tryEveryPoint("EIO from then on", Fault::failingFromThenOn(EIO), 2 * stepThrough(9));
}

TEST_F(SyncFaults, everyFileArrivesOnceOrIsPausedWhereverTheDiskIsFullForAMoment) {
  tryEveryPoint("ENOSPC once", Fault::failing(ENOSPC), 3 * stepThrough(7));
}

TEST_F(SyncFaults, everyFileArrivesOnceOrIsPausedWhereverTheDiskFillsUp) {
  tryEveryPoint("ENOSPC from then on", Fault::failingFromThenOn(ENOSPC), 3 * stepThrough(7));
}

TEST_F(SyncFaults, isDoneWhereverAWriteIsShort) {
  tryEveryPoint("short write", Fault::shortWrite(), 3 * stepThrough(7));
  EXPECT_EQ(pausedRuns, 0U) << "a short write is no failure";
}

}  // namespace
}  // namespace tolvander::tests
