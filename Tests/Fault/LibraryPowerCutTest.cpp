#include <gtest/gtest.h>

#include <cerrno>
#include <filesystem>
#include <iostream>
#include <optional>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "Platform/Linux/PhotoLibrary/Catalogue.h"
#include "Platform/Linux/PhotoLibrary/IncomingName.h"
#include "Tests/Fault/PowerCut.h"
#include "Tests/Support/Application/CatalogueFiles.h"
#include "Tests/Support/Application/EmbeddedLibrary.h"
#include "Tests/Support/Machine/Thoroughness.h"
#include "TolvanderCore/Files/FileFingerprinter.h"

// What a power cut leaves of one change of the photo library. Nothing may be lost, and nothing may be left
// that no later change takes away: an incoming file stays for ever once no intent names it.

namespace tolvander::tests {
namespace {

namespace fs = std::filesystem;
using platform::linux_::Catalogue;

class LibraryPowerCuts : public testing::Test {
 protected:
  LibraryPowerCuts() {
    EmbeddedPhotoLibrary library(root);
    requestAndWait(library);
    EXPECT_TRUE(importPictures(library, {file("PICT0001.JPG", "first")}).success);
  }

  FileURL file(const std::string& name, const std::string& content) const {
    writeFile(folder / ("Card/" + name), content);
    return folder / ("Card/" + name);
  }

  static PowerCut::Options options(std::optional<std::string> fat = std::nullopt) {
    return {.leftOut = {"Library.sqlite-shm", "Library.lock"},
            .fat = std::move(fat),
            .opensEvery = stepThrough(9)};
  }
  static PowerCut::Options onFAT() { return options("Library"); }

  // Removes what incomplete changes have left.
  void change() const {
    EmbeddedPhotoLibrary library(root);
    EXPECT_TRUE(changeAndWait(library, [](app::PhotosChanges& changes) {
                  changes.creationRequestForAlbum("Later");
                }).success);
  }

  void complete(const std::set<std::string>& pending) const {
    EmbeddedPhotoLibrary library(root);
    library.completeImports({.history = history,
                             .pendingFingerprints = pending,
                             .isRecorded = [](const std::string&) { return false; }});
  }

  // On another day than the first picture: completing creates a folder.
  void prepare(const FileURL& url, const std::string& fingerprint) const {
    EmbeddedPhotoLibrary(root).prepareImport({.history = history,
                                              .files = {{.file = url,
                                                         .mediaType = app::PhotosMediaType::image,
                                                         .creationDate = day(1),
                                                         .fingerprint = fingerprint}},
                                              .albumIdentifier = {}});
  }

  std::multiset<std::string> pictures() const {
    EmbeddedPhotoLibrary library(root);
    std::multiset<std::string> found;
    for (const std::string& path : listedFiles(library)) {
      found.insert(readFile(FileURL(path)));
    }
    return found;
  }

  // After the next changes. A part of a copy may stay under its name, on a FAT.
  void expectNothingLeft() const {
    complete({});
    change();
    const FileURL incoming = root.appending("Originals/.incoming");
    EXPECT_TRUE(fs::is_empty(incoming.path()));
    const auto verification = EmbeddedPhotoLibrary(root).verify();
    EXPECT_TRUE(verification.isSound());
    EXPECT_EQ(verification.unfinished.size(), 0U);
    for (const FileURL& part : verification.unknown) {
      EXPECT_FALSE(contents.contains(readFile(part))) << part.path() << " is whole, and not catalogued";
    }
  }

  void tell(const std::string& change, const PowerCut::Count& count) const {
    EXPECT_GE(count.states, 5U);
    std::cout << change << ": " << count.states << " states of " << count.moments << " moments, at most "
              << count.longestWindow << " changes undecided, " << count.sampledMoments
              << " moments sampled\n";
  }

  const TemporaryFolder folder = TemporaryFolder::inMemory();
  const FileURL disk = folder / "disk";
  const FileURL root = disk.appending("Library");
  const UUID history = UUID::random();
  const std::set<std::string> contents = {"first", "second", "third"};
};

TEST_F(LibraryPowerCuts, leaveALibraryThatWasMade) {
  fs::remove_all(root.path());
  PowerCut cut(disk, options());
  cut.record([&] {
    EmbeddedPhotoLibrary library(root);
    EXPECT_EQ(requestAndWait(library), app::PhotosAuthorizationStatus::authorized);
    cut.promise();
  });
  tell("making a library", cut.forEachState([&](std::size_t promises) {
    EmbeddedPhotoLibrary library(root);
    if (promises == 1) {
      EXPECT_EQ(library.authorizationStatus(), app::PhotosAuthorizationStatus::authorized);
    }
    EXPECT_EQ(requestAndWait(library), app::PhotosAuthorizationStatus::authorized);
    EXPECT_TRUE(importPictures(library, {folder / "Card/PICT0001.JPG"}).success);
  }));
}

TEST_F(LibraryPowerCuts, leaveNoIncomingFileOfAChangeThatFailed) {
  const FileURL changed = file("PICT0002.JPG", "second");
  PowerCut cut(disk, options());
  cut.record([&] { EXPECT_THROW(prepare(changed, "of what it was"), app::PhotosPlatformError); });
  tell("a failed change", cut.forEachState([&](std::size_t) {
    expectNothingLeft();
    EXPECT_EQ(pictures(), std::multiset<std::string>{"first"});
  }));
}

TEST_F(LibraryPowerCuts, leaveNoIncomingFileThatWasSwept) {
  const FileURL incoming =
      root.appending("Originals/.incoming").appending(platform::linux_::newIncomingName());
  {
    Catalogue catalogue(catalogueFile(root), std::chrono::seconds(5));
    auto transaction = catalogue.change();
    catalogue.insertIntent(
        {.history = std::nullopt,
         .temporaryName = std::string(incoming.lastPathComponent()),
         .album = std::nullopt,
         .asset = {.localIdentifier = "asset", .creationDate = std::nullopt},
         .original = {.originalFilename = "PICT0002.JPG", .path = "Originals/2026/2026-11-20/PICT0002.JPG"}});
    transaction.commit();
  }
  writeFile(incoming, "half a pict");
  PowerCut cut(disk, options());
  cut.record([&] { change(); });
  tell("sweeping", cut.forEachState([&](std::size_t) { expectNothingLeft(); }));
}

TEST_F(LibraryPowerCuts, leaveNoIncomingFileThatWasDropped) {
  const FileURL second = file("PICT0002.JPG", "second");
  prepare(second, FileFingerprinter::sha256(second));
  PowerCut cut(disk, options());
  cut.record([&] { complete({}); });
  tell("dropping", cut.forEachState([&](std::size_t) { expectNothingLeft(); }));
}

// The history marks prepared files as pending. One that is lost can't be completed, and pauses its card.
TEST_F(LibraryPowerCuts, leaveEveryFileThatWasPrepared) {
  const FileURL second = file("PICT0002.JPG", "second");
  const std::string fingerprint = FileFingerprinter::sha256(second);
  PowerCut cut(disk, options());
  cut.record([&] {
    prepare(second, fingerprint);
    cut.promise();
  });
  tell("preparing", cut.forEachState([&](std::size_t promises) {
    complete({fingerprint});
    EXPECT_TRUE(promises == 0 || pictures() == (std::multiset<std::string>{"first", "second"}));
    expectNothingLeft();
  }));
}

// The process that copied it was killed before it made the copy durable.
TEST_F(LibraryPowerCuts, leaveAFileWholeThatWasCopiedByAKilledProcess) {
  const FileURL second = file("PICT0002.JPG", "second");
  const std::string fingerprint = FileFingerprinter::sha256(second);
  prepare(second, fingerprint);
  const FileURL copy =
      root.appending(Catalogue(catalogueFile(root), std::chrono::seconds(5)).intents().at(0).original.path);
  fs::create_directories(copy.deletingLastPathComponent().path());
  PowerCut cut(disk, onFAT());
  cut.record([&] {
    writeFile(copy, "second");
    complete({fingerprint});
    cut.promise();
  });
  tell("completing a copy", cut.forEachState([&](std::size_t promises) {
    if (promises == 0) {
      complete({fingerprint});
    }
    EXPECT_EQ(pictures(), (std::multiset<std::string>{"first", "second"}));
    expectNothingLeft();
  }));
}

TEST_F(LibraryPowerCuts, leaveEveryFileThatWasCompleted) {
  const FileURL second = file("PICT0002.JPG", "second");
  const std::string fingerprint = FileFingerprinter::sha256(second);
  prepare(second, fingerprint);
  for (const PowerCut::Options& disks : {options(), onFAT()}) {
    const fs::path kept = (folder / "kept").path();
    fs::copy(disk.path(), kept, fs::copy_options::recursive);
    PowerCut cut(disk, disks);
    cut.record([&] {
      complete({fingerprint});
      cut.promise();
    });
    tell("completing", cut.forEachState([&](std::size_t promises) {
      if (promises == 0) {
        complete({fingerprint});
      }
      EXPECT_EQ(pictures(), (std::multiset<std::string>{"first", "second"}));
      expectNothingLeft();
    }));
    fs::remove_all(disk.path());
    fs::rename(kept, disk.path());
  }
}

TEST_F(LibraryPowerCuts, leaveNoIncomingFileOfAnImportToAFAT) {
  const std::vector<FileURL> files = {file("PICT0002.JPG", "second"), file("PICT0003.JPG", "third")};
  PowerCut cut(disk, onFAT());
  cut.record([&] {
    EmbeddedPhotoLibrary library(root);
    EXPECT_TRUE(importPictures(library, files).success);
    cut.promise();
  });
  const auto verify = [&](std::size_t) {
    expectNothingLeft();
    EXPECT_EQ(pictures(), (std::multiset<std::string>{"first", "second", "third"}));
  };
  tell("an import to a FAT", cut.forEachState(verify, 1));
}

// The folder of a day is a link to another disk.
TEST_F(LibraryPowerCuts, leaveAFileWholeThatWasCarriedToAnotherDisk) {
  const std::vector<FileURL> files = {file("PICT0002.JPG", "second"), file("PICT0003.JPG", "third")};
  std::size_t renames = 0;
  PowerCut cut(disk, options());
  cut.record(
      [&] {
        EmbeddedPhotoLibrary library(root);
        EXPECT_TRUE(importPictures(library, files).success);
        cut.promise();
      },
      [&](const FileCall& call) {
        const bool isFromIncoming = call.name == "renameat2" && renames++ % 2 == 0;
        return isFromIncoming ? EXDEV : 0;
      });
  EXPECT_EQ(renames, 2 * files.size());
  const auto verify = [&](std::size_t) {
    EXPECT_EQ(pictures(), (std::multiset<std::string>{"first", "second", "third"}));
    expectNothingLeft();
  };
  tell("carrying over", cut.forEachState(verify, 1));
}

// The commit fails after the files have got their names.
class FailedCommitPowerCuts : public LibraryPowerCuts {
 protected:
  void failToImport(const PowerCut::Options& disks) {
    const std::vector<FileURL> files = {file("PICT0002.JPG", "second"), file("PICT0003.JPG", "third")};
    bool isFailing = false;
    PowerCut cut(disk, disks);
    cut.record(
        [&] {
          EmbeddedPhotoLibrary library(root);
          EXPECT_FALSE(importPictures(library, files).success);
          EXPECT_TRUE(isFailing);
          cut.promise();
        },
        [&](const FileCall& call) {
          if (isFailing || !areNamed(files.size()) || !isCommit(call)) {
            return 0;
          }
          isFailing = true;
          return EIO;
        });
    const auto verify = [&](std::size_t) {
      expectNothingLeft();
      EXPECT_EQ(pictures(), std::multiset<std::string>{"first"});
    };
    tell("a failed commit", cut.forEachState(verify, 1));
  }

  // Whether so many files have got their names.
  bool areNamed(std::size_t count) const {
    std::size_t named = 0;
    for (const auto& entry : fs::recursive_directory_iterator(root.appending("Originals").path())) {
      named += entry.path().extension() == ".JPG" ? 1 : 0;
    }
    return named == 1 + count;
  }

  static bool isCommit(const FileCall& call) {
    if ((call.name != "fsync" && call.name != "fdatasync") || call.descriptor < 0) {
      return false;
    }
    const fs::path link = "/proc/self/fd/" + std::to_string(call.descriptor);
    return fs::read_symlink(link).filename() == "Library.sqlite-wal";
  }
};

TEST_F(FailedCommitPowerCuts, leaveNoFileUnderItsName) { failToImport(options()); }

TEST_F(FailedCommitPowerCuts, leaveNoCopyUnderItsNameOnAFAT) { failToImport(onFAT()); }

}  // namespace
}  // namespace tolvander::tests
