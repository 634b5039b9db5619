#include <fcntl.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cerrno>
#include <filesystem>
#include <functional>
#include <iostream>
#include <set>
#include <string>

#include "Platform/Linux/PhotoLibrary/RenameToFreeName.h"
#include "Tests/Fault/PowerCut.h"
#include "Tests/Support/Application/EmbeddedLibrary.h"
#include "Tests/Support/Machine/FaultInjection.h"
#include "Tests/Support/Machine/Thoroughness.h"
#include "TolvanderCore/Files/FileFingerprinter.h"
#include "TolvanderCore/Files/FileOperations.h"
#include "TolvanderCore/Platform/FileSystem.h"

namespace tolvander::tests {
namespace {

namespace fs = std::filesystem;

class EmbeddedLibraryFaults : public testing::Test {
 protected:
  static constexpr std::size_t batch = 4;

  EmbeddedLibraryFaults() {
    for (std::size_t number = 0; number < batch; ++number) {
      files.push_back(folder_ / ("Card/" + std::to_string(number) + "/PICT0001.JPG"));
      writeFile(files.back(), "picture " + std::to_string(number) + std::string(100'000, 'x'));
    }
    EmbeddedPhotoLibrary library(pristine);
    requestAndWait(library);
    changeAndWait(library, [](app::PhotosChanges& changes) { changes.creationRequestForAlbum("Album"); });
    importPictures(library, {files[0]});
    writeFile(pristine.appending("Originals/the user's.jpg"), "untouched");
  }

  // A library with one asset outside of its only album, and with a file of the user.
  void setUp() {
    fs::remove_all(root.path());
    fs::copy(pristine.path(), root.path(), fs::copy_options::recursive);
    result = {};
  }

  void importBatch() {
    EmbeddedPhotoLibrary library(root);
    std::optional<app::PhotosAlbum> album;
    try {
      album = library.fetchAlbums("Album").at(0);
    } catch (const app::PhotosPlatformError&) {
      return;  // what opens the library fails, and nothing is asked for
    }
    result = importPictures(library, files, album);
  }

  std::multiset<std::string> filesInFolder() const {
    std::multiset<std::string> found;
    for (const auto& entry : fs::recursive_directory_iterator(root.path())) {
      const std::string name = entry.path().filename().string();
      if (!entry.is_directory() && !name.starts_with("Library.")) {
        found.insert(entry.path().string());
      }
    }
    return found;
  }

  // All or nothing of the batch is there, the catalogue and the folder agree, and what was there before is
  // there. Returns whether it is all.
  bool isAllThere() {
    EmbeddedPhotoLibrary library(root);
    // Sweeps what was left.
    EXPECT_TRUE(changeAndWait(library, [](app::PhotosChanges& changes) {
                  changes.creationRequestForAlbum("Later");
                }).success);
    const std::size_t count = library.fetchAssets(app::PhotosFetchOptions{}).size();
    EXPECT_TRUE(count == 1 || count == 1 + batch) << count << " assets";
    EXPECT_EQ(library.fetchAssets(library.fetchAlbums("Album").at(0)).size(), count - 1);
    const auto listed = listedFiles(library);
    std::multiset<std::string> expected(listed.begin(), listed.end());
    // Files that got their names are never removed after a crash.
    for (const FileURL& file : library.verify().unfinished) {
      EXPECT_EQ(file.path().find(".incoming"), std::string::npos) << "not swept";
      expected.insert(file.path());
    }
    expected.insert(root.appending("Originals/the user's.jpg").path());
    EXPECT_EQ(filesInFolder(), expected);
    std::multiset<std::string> contents;
    for (const std::string& file : listed) {
      contents.insert(readFile(FileURL(file)).substr(0, 9));
    }
    EXPECT_EQ(contents, count == 1 ? std::multiset<std::string>{"picture 0"}
                                   : (std::multiset<std::string>{"picture 0", "picture 0", "picture 1",
                                                                 "picture 2", "picture 3"}));
    EXPECT_EQ(readFile(root.appending("Originals/the user's.jpg")), "untouched");
    EXPECT_TRUE(library.verify().isSound());
    return count > 1;
  }

  // Whether the completion told the truth about what the next opening finds.
  void expectTruth(bool isAll) const {
    if (result.success) {
      EXPECT_TRUE(isAll || result.error) << "told as done, and it isn't";
    } else {
      EXPECT_FALSE(isAll) << "told as failed, and it is done";
    }
  }

  // And that the user can go on.
  void expectUsable() {
    EmbeddedPhotoLibrary library(root);
    EXPECT_TRUE(importPictures(library, {files[0]}).success);
    EXPECT_TRUE(library.verify().isSound());
  }

  std::size_t tryEveryPoint(const Fault& fault) {
    return forEachFaultPoint(
        fault, [this] { setUp(); }, [this] { importBatch(); },
        [this](const FaultOutcome&) {
          expectTruth(isAllThere());
          expectUsable();
        },
        stepThrough(7));
  }

  void killAtEveryPoint() {
    std::size_t complete = 0;
    const std::size_t points = forEachFaultPoint(
        Fault::kill(), [this] { setUp(); }, [this] { importBatch(); },
        [&](const FaultOutcome&) {
          complete += isAllThere() ? 1 : 0;
          expectUsable();
        },
        stepThrough(7));
    EXPECT_GT(points, 40 / stepThrough(7));
    EXPECT_GT(complete, 0U);
    EXPECT_LE(complete, points);
  }

  TemporaryFolder folder_;
  const FileURL pristine = folder_ / "Pristine";
  const FileURL root = folder_ / "Library";
  std::vector<FileURL> files;
  ChangeResult result;
};

constexpr std::size_t fewestPoints = 40 / stepThrough(7);

TEST_F(EmbeddedLibraryFaults, allOrNothingIsImportedWhereACallFails) {
  for (const int error : {EIO, ENOSPC}) {
    EXPECT_GT(tryEveryPoint(Fault::failing(error)), fewestPoints);
  }
}

TEST_F(EmbeddedLibraryFaults, allOrNothingIsImportedOnADiskThatGoesAway) {
  EXPECT_GT(tryEveryPoint(Fault::failingFromThenOn(EIO)), fewestPoints);
}

TEST_F(EmbeddedLibraryFaults, allOrNothingIsImportedWhereRenamingKnowsNoFlags) {
  EXPECT_GT(tryEveryPoint(Fault::failing(EINVAL)), fewestPoints);
}

// Where files get their names as copies.
TEST_F(EmbeddedLibraryFaults, allOrNothingIsImportedOnAFATWhereACallFails) {
  const PretendedFAT fat(root);
  EXPECT_GT(tryEveryPoint(Fault::failing(EIO)), fewestPoints);
  EXPECT_GT(tryEveryPoint(Fault::failingFromThenOn(EIO)), fewestPoints);
}

TEST_F(EmbeddedLibraryFaults, aShortWriteChangesNothing) {
  forEachFaultPoint(
      Fault::shortWrite(), [this] { setUp(); }, [this] { importBatch(); },
      [this](const FaultOutcome&) {
        const bool isAll = isAllThere();
        expectTruth(isAll);
      },
      stepThrough(7));
}

TEST_F(EmbeddedLibraryFaults, allOrNothingIsImportedWhenTheProcessDies) { killAtEveryPoint(); }

TEST_F(EmbeddedLibraryFaults, allOrNothingIsImportedOnAFATWhenTheProcessDies) {
  const PretendedFAT fat(root);
  killAtEveryPoint();
}

TEST_F(EmbeddedLibraryFaults, aFailureThatIsUndoneLeavesNothingBehindAtOnce) {
  // Without opening the library anew: the change itself cleans up where the disk is well again.
  setUp();
  const auto before = filesInFolder();
  std::size_t failures = 0;
  forEachFaultPoint(
      Fault::failing(ENOSPC), [this] { setUp(); }, [this] { importBatch(); },
      [&](const FaultOutcome& outcome) {
        if (outcome.wasHit() && !result.success && result.error && !outcome.call.starts_with("unlink")) {
          ++failures;
          EXPECT_EQ(filesInFolder(), before) << outcome.call;
        }
      },
      stepThrough(7));
  EXPECT_GT(failures, fewestPoints / 2);
}

TEST_F(EmbeddedLibraryFaults, aLibraryIsMadeOrNotMade) {
  for (const Fault& fault : {Fault::failing(EIO), Fault::kill()}) {
    forEachFaultPoint(
        fault, [this] { fs::remove_all(root.path()); },
        [this] {
          EmbeddedPhotoLibrary library(root);
          requestAndWait(library);
        },
        [this](const FaultOutcome&) {
          EmbeddedPhotoLibrary library(root);
          EXPECT_EQ(requestAndWait(library), app::PhotosAuthorizationStatus::authorized);
          EXPECT_TRUE(importPictures(library, {files[0]}).success);
          EXPECT_EQ(library.fetchAssets(app::PhotosFetchOptions{}).size(), 1U);
        },
        stepThrough(7));
  }
}

// SQLite passes over a folder that it can't sync, and the catalogue's name may be lost then.
TEST_F(EmbeddedLibraryFaults, aLibraryIsNotSaidToBeMadeWhereItsFolderCannotBeSynced) {
  fs::remove_all(root.path());
  EmbeddedPhotoLibrary library(root);
  std::size_t failures = 0;
  const auto failure = [&](const FileCall& call) {
    const fs::path link = "/proc/self/fd/" + std::to_string(call.descriptor);
    const bool fails = call.name.ends_with("sync") && fs::exists(root.appending("Library.sqlite").path()) &&
                       fs::read_symlink(link) == fs::path(root.path());
    failures += fails ? 1 : 0;
    return fails ? EIO : 0;
  };
  runWatched(failure,
             [&] { EXPECT_EQ(requestAndWait(library), app::PhotosAuthorizationStatus::notDetermined); });
  EXPECT_GT(failures, 1U) << "SQLite's own and the last one";
  EXPECT_TRUE(library.requestFailure());
}

// Deleting the lock file during a change lets another process in.
TEST_F(EmbeddedLibraryFaults, allOrNothingIsImportedWhereTheLockFileIsDeletedDuringTheChange) {
  setUp();
  const std::vector<std::string> calls = mutatingCalls([this] { importBatch(); });
  std::size_t refused = 0;
  for (std::size_t index = 0; index < calls.size(); ++index) {
    if (calls[index] != "futimens" && calls[index] != "renameat2") {
      continue;  // within the database, where the other one would wait for this one's mutex
    }
    setUp();
    runWithInterruption(
        index + 1,
        [this] {
          fs::remove(root.appending("Library.lock").path());
          EmbeddedPhotoLibrary other(root);
          EXPECT_TRUE(importPictures(other, {}).success);
          other.fetchAlbums(std::nullopt);
        },
        [this] { importBatch(); });
    refused += result.success ? 0 : 1;
    expectTruth(isAllThere());
    expectUsable();
  }
  EXPECT_EQ(refused, 2 * batch);
}

// Between the naming and the commit, which fails.
TEST_F(EmbeddedLibraryFaults, aFileOfTheUserUnderTheNameOfOneIsNotTakenBack) {
  setUp();
  const std::vector<std::string> calls = mutatingCalls([this] { importBatch(); });
  const auto lastRename = std::find(calls.rbegin(), calls.rend(), "renameat2").base();
  const auto afterNaming = static_cast<std::size_t>(lastRename - calls.begin()) + 1;
  setUp();
  std::vector<FileURL> replaced;
  runWithInterruption(
      afterNaming,
      [&] {
        fs::remove(root.appending("Library.lock").path());
        for (const auto& entry : fs::recursive_directory_iterator(root.appending("Originals").path())) {
          const FileURL file(entry.path().string());
          if (entry.is_regular_file() && readFile(file).starts_with("picture") &&
              file.lastPathComponent() != "PICT0001.JPG") {
            replaced.push_back(file);
          }
        }
        for (const FileURL& file : replaced) {
          const auto date = fileResourceValues(file).contentModificationDate.value();
          const std::string picture = readFile(file);
          fs::rename(file.path(), file.path() + ".moved");
          writeFile(file, "THE USER'S" + picture.substr(10));
          setContentModificationDate(file, date);
        }
      },
      [this] { importBatch(); });
  EXPECT_FALSE(result.success);
  ASSERT_EQ(replaced.size(), batch);
  for (const FileURL& file : replaced) {
    EXPECT_TRUE(readFile(file).starts_with("THE USER'S")) << file.path();
  }
}

// A file system without the flag gets an empty file that keeps the name.
TEST_F(EmbeddedLibraryFaults, renamingReplacesNothingWhereItKnowsNoFlags) {
  writeFile(root.appending("a"), "new");
  writeFile(root.appending("b"), "the user's");
  const OwnedDescriptor open(::open(root.path().c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  bool isRenamed = true;
  const FaultOutcome outcome = runWithFault(Fault::failing(EINVAL), 1, [&] {
    isRenamed = platform::linux_::renameToFreeName(open, "a", open, "b", root);
  });
  EXPECT_EQ(outcome.call, "renameat2");
  EXPECT_FALSE(isRenamed);
  EXPECT_EQ(readFile(root.appending("b")), "the user's");
  EXPECT_EQ(readFile(root.appending("a")), "new");
}

// Sweeping what a crash left can itself be cut short.
TEST_F(EmbeddedLibraryFaults, sweepingCanBeCutShortAndDoneAgain) {
  setUp();
  const auto calls = mutatingCalls([this] { importBatch(); });
  const std::size_t firstRename =
      static_cast<std::size_t>(std::find(calls.begin(), calls.end(), "renameat2") - calls.begin());
  for (const Fault& fault : {Fault::failing(EIO), Fault::kill()}) {
    const std::size_t points = forEachFaultPoint(
        fault,
        [&] {
          setUp();
          runWithFault(Fault::kill(), firstRename + 1, [this] { importBatch(); });
        },
        [this] {
          EmbeddedPhotoLibrary library(root);
          changeAndWait(library,
                        [](app::PhotosChanges& changes) { changes.creationRequestForAlbum("Swept"); });
        },
        [this](const FaultOutcome&) { EXPECT_FALSE(isAllThere()); }, stepThrough(7));
    EXPECT_GT(points, batch / stepThrough(2));
  }
}

bool isSync(const FileCall& call) { return call.name == "fsync" || call.name == "fdatasync"; }

bool isOfTheLog(const FileCall& call) {
  const fs::path link = "/proc/self/fd/" + std::to_string(call.descriptor);
  return call.descriptor >= 0 && fs::read_symlink(link).filename() == "Library.sqlite-wal";
}

// The marks are withdrawn then, and the next sync imports the files once more.
TEST_F(EmbeddedLibraryFaults, aChangeThatWasToldAsFailedDoesNotComeBackAfterAPowerCut) {
  setUp();
  const auto calls = mutatingCalls([this] { importBatch(); });
  const auto syncs =
      std::ranges::count_if(calls, [](const std::string& name) { return isSync({.name = name}); });
  std::size_t failures = 0;
  std::size_t states = 0;
  for (std::ptrdiff_t failing = 1; failing <= syncs; ++failing) {
    SCOPED_TRACE("sync " + std::to_string(failing));
    setUp();
    PowerCut cut(root, {.leftOut = {"Library.sqlite-shm"}, .opensEvery = stepThrough(9)});
    std::ptrdiff_t seen = 0;
    cut.record(
        [&] {
          importBatch();
          cut.promise();
        },
        [&](const FileCall& call) {
          if (!isSync(call) || ++seen != failing) {
            return 0;
          }
          cut.promise();
          return EIO;
        });
    if (result.success || !result.error) {
      continue;
    }
    ++failures;
    const auto verify = [this](std::size_t promises) {
      EmbeddedPhotoLibrary library(root);
      const std::size_t count = library.fetchAssets(app::PhotosFetchOptions{}).size();
      EXPECT_TRUE(count == 1 || (promises == 1 && count == 1 + batch)) << count << " after " << promises;
      EXPECT_TRUE(library.verify().isSound());
    };
    states += cut.forEachState(verify, 1).states;
  }
  std::cout << "failed changes: " << states << " states of " << failures << " failures\n";
  EXPECT_GT(failures, 5U);
}

// The commit of a prepared import fails, and so does the renaming that would take the files' names back.
class FailedRollback : public EmbeddedLibraryFaults {
 protected:
  FailedRollback() {
    setUp();
    for (const FileURL& file : files) {
      writeFile(file, "new " + readFile(file));  // the library has the first one already
      fingerprints.insert(FileFingerprinter::sha256(file));
    }
  }

  // From the commit on, `isFailing` says which further calls fail.
  void importWithFailingCommit(const std::function<bool(const FileCall&)>& isFailing) {
    EmbeddedPhotoLibrary library(root);
    app::PhotosImportPreparation preparation{.history = history, .files = {}, .albumIdentifier = {}};
    for (const FileURL& file : files) {
      preparation.files.push_back({.file = file,
                                   .mediaType = app::PhotosMediaType::image,
                                   .creationDate = day(0),
                                   .fingerprint = FileFingerprinter::sha256(file)});
    }
    library.prepareImport(preparation);
    std::size_t named = 0;
    bool hasFailed = false;
    const auto failure = [&](const FileCall& call) {
      named += call.name == "renameat2" ? 1 : 0;
      const bool isCommit = !hasFailed && named == batch && isSync(call) && isOfTheLog(call);
      const bool fails = isCommit || (hasFailed && isFailing(call));
      hasFailed = hasFailed || isCommit;
      return fails ? EIO : 0;
    };
    runWatched(failure, [&] { result = importPictures(library, files); });
    EXPECT_TRUE(hasFailed);
    EXPECT_TRUE(result.error);
  }

  void complete(const std::set<std::string>& pending) const {
    EmbeddedPhotoLibrary library(root);
    library.completeImports({.history = history,
                             .pendingFingerprints = pending,
                             .isRecorded = [](const auto&) { return false; }});
  }

  // What the library lists of them.
  std::multiset<std::string> imported() const {
    EmbeddedPhotoLibrary library(root);
    EXPECT_TRUE(library.verify().isSound());
    std::multiset<std::string> found;
    for (const std::string& file : listedFiles(library)) {
      found.insert(FileFingerprinter::sha256(FileURL(file)));
    }
    std::erase_if(found, [&](const std::string& fingerprint) { return !fingerprints.contains(fingerprint); });
    return found;
  }

  std::size_t unfinished() const { return EmbeddedPhotoLibrary(root).verify().unfinished.size(); }

  const UUID history = UUID::random();
  std::multiset<std::string> fingerprints;
};

bool isRenaming(const FileCall& call) { return call.name == "renameat2"; }

TEST_F(FailedRollback, isToldAndLeavesEveryFileWhereItCanBeCompleted) {
  importWithFailingCommit(isRenaming);
  EXPECT_FALSE(result.success);
  EXPECT_TRUE(imported().empty());
  EXPECT_EQ(unfinished(), batch);

  // The history's own rollback has failed as well, so that the marks are there.
  complete({fingerprints.begin(), fingerprints.end()});
  EXPECT_EQ(imported(), fingerprints);
  EXPECT_EQ(unfinished(), 0U);
}

TEST_F(FailedRollback, removesNothingWhereTheMarksAreWithdrawnAndTheFilesAreImportedAgain) {
  importWithFailingCommit(isRenaming);
  complete({});
  EXPECT_TRUE(imported().empty());
  EXPECT_EQ(unfinished(), batch);

  EmbeddedPhotoLibrary library(root);
  EXPECT_TRUE(importPictures(library, files).success);
  EXPECT_EQ(imported(), fingerprints);
  EXPECT_EQ(unfinished(), batch) << "what has its name stays, and is listed";
}

TEST_F(FailedRollback, isUnknownWhereTheDiskIsGoneAndIsCompletedWhenItIsBack) {
  importWithFailingCommit([](const FileCall&) { return true; });
  EXPECT_TRUE(result.success);
  complete({fingerprints.begin(), fingerprints.end()});
  EXPECT_EQ(imported(), fingerprints);
  EXPECT_EQ(unfinished(), 0U);
}

}  // namespace
}  // namespace tolvander::tests
