#include "Platform/Linux/PhotoLibrary/CatalogueBackups.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <set>

#include "Platform/Linux/PhotoLibrary/LibraryLock.h"
#include "Tests/Support/Application/CatalogueFiles.h"
#include "Tests/Support/Application/EmbeddedLibrary.h"
#include "TolvanderCore/Files/DayText.h"
#include "TolvanderCore/Files/FileOperations.h"

namespace tolvander::tests {
namespace {

namespace fs = std::filesystem;
using platform::linux_::Catalogue;
using platform::linux_::CatalogueBackups;
using platform::linux_::CatalogueContents;

class CatalogueBackup : public testing::Test {
 protected:
  CatalogueBackup() {
    writeFile(picture, "picture");
    EmbeddedPhotoLibrary library(root);
    requestAndWait(library);
    importPictures(library, {picture});
  }

  // Everything in the folder of the backups.
  std::set<std::string> files() const {
    std::set<std::string> names;
    if (fs::exists(root.appending("Backups").path())) {
      for (const auto& entry : fs::directory_iterator(root.appending("Backups").path())) {
        names.insert(entry.path().filename().string());
      }
    }
    return names;
  }

  static std::string nameOf(int number) {
    return "Library " + dayText(day(number), TimeZone::current()) + ".sqlite";
  }

  const TemporaryFolder folder;
  const FileURL root = folder / "Tolvander";
  const FileURL picture = folder / "Card/PICT0001.JPG";
  const CatalogueBackups backups{root};
};

TEST_F(CatalogueBackup, isMadeOnceADay) {
  backups.makeIfDue(day(0));
  EXPECT_EQ(files(), std::set{nameOf(0)});
  EXPECT_EQ(catalogueContents(*backups.newest()), catalogueContents(catalogueFile(root)));
  EmbeddedPhotoLibrary library(root);
  importPictures(library, {picture});
  backups.makeIfDue(day(0));
  EXPECT_EQ(catalogueContents(*backups.newest()).items.size(), 1U);
  backups.makeIfDue(day(1));
  EXPECT_EQ(files(), (std::set{nameOf(0), nameOf(1)}));
  EXPECT_EQ(catalogueContents(*backups.newest()).items.size(), 2U);
}

TEST_F(CatalogueBackup, isReplacedAfterChangesWhereThatIsAskedFor) {
  const auto itemsOfBackup = [this] { return catalogueContents(*backups.newest()).items.size(); };
  backups.makeIfDue(day(0));
  EmbeddedPhotoLibrary library(root);
  importPictures(library, {picture});
  const FileURL backup = *backups.newest();
  setContentModificationDate(backup, std::chrono::system_clock::now() + std::chrono::hours(1));
  backups.makeIfDue(day(0), BackupRule::afterChanges);
  EXPECT_EQ(itemsOfBackup(), 1U) << "the catalogue is not newer";
  setContentModificationDate(backup, day(0));
  backups.makeIfDue(day(0), BackupRule::afterChanges);
  EXPECT_EQ(itemsOfBackup(), 2U);
}

TEST_F(CatalogueBackup, hasNoIntents) {
  Catalogue catalogue(catalogueFile(root), std::chrono::seconds(5));
  {
    auto transaction = catalogue.change();
    catalogue.insertIntent({.history = std::nullopt,
                            .temporaryName = "waiting.part",
                            .album = std::nullopt,
                            .asset = {.localIdentifier = "asset", .creationDate = std::nullopt},
                            .original = {.originalFilename = "b.jpg", .path = "Originals/b.jpg"}});
    transaction.commit();
  }
  backups.makeIfDue(day(0));
  EXPECT_EQ(catalogueContents(*backups.newest()).intents.size(), 0U);
  EXPECT_EQ(catalogue.intents().size(), 1U);
}

TEST_F(CatalogueBackup, servesAsTheCatalogue) {
  backups.makeIfDue(day(0));
  removeCatalogue(root);
  fs::copy(backups.newest()->path(), catalogueFile(root).path());
  EmbeddedPhotoLibrary library(root);
  EXPECT_TRUE(library.verify().isSound());
  EXPECT_TRUE(importPictures(library, {picture}).success);
}

TEST_F(CatalogueBackup, isKeptForTheLastSevenDaysOfUse) {
  for (const int number : {0, 1, 2, 30, 31, 40, 41, 42, 50}) {
    backups.makeIfDue(day(number));
  }
  EXPECT_EQ(files(),
            (std::set{nameOf(2), nameOf(30), nameOf(31), nameOf(40), nameOf(41), nameOf(42), nameOf(50)}));
  EXPECT_EQ(backups.newest()->lastPathComponent(), nameOf(50));
}

TEST_F(CatalogueBackup, leavesFilesOfOtherNamesAlone) {
  const std::set<std::string> others = {"Library 2020.sqlite", "Library 2020-13-01.sqlite", "notes.txt",
                                        "history 2020-01-01.json", "Library 2020-01-01.sqlite.txt"};
  for (const std::string& name : others) {
    writeFile(root.appending("Backups").appending(name), "the user's");
  }
  for (int number = 0; number < 9; ++number) {
    backups.makeIfDue(day(number));
  }
  EXPECT_EQ(files().size(), 7 + others.size());
  for (const std::string& name : others) {
    EXPECT_EQ(readFile(root.appending("Backups").appending(name)), "the user's");
  }
}

TEST_F(CatalogueBackup, isNotMadeOfADamagedCatalogue) {
  backups.makeIfDue(day(0));
  {
    // Pages with rows, in the middle of the file.
    std::string bytes = readFile(catalogueFile(root));
    std::fill(bytes.begin() + 4096, bytes.begin() + 3 * 4096, 'x');
    removeCatalogue(root);
    writeFile(catalogueFile(root), bytes);
  }
  EXPECT_THROW(backups.makeIfDue(day(1)), Error);
  breakCatalogue(root);
  EXPECT_THROW(backups.makeIfDue(day(2)), Error);
  EXPECT_EQ(files(), std::set{nameOf(0)});
}

TEST_F(CatalogueBackup, isNotMadeWhereNothingIsCatalogued) {
  replaceCatalogueByANewOne(root);
  backups.makeIfDue(day(0));
  removeCatalogue(root);
  backups.makeIfDue(day(0));
  EXPECT_EQ(files(), std::set<std::string>());
}

TEST_F(CatalogueBackup, waitsWhileAnotherProcessChangesTheLibrary) {
  {
    const platform::linux_::LibraryLock lock{platform::linux_::LibraryFolder(root), std::chrono::seconds(0)};
    backups.makeIfDue(day(0));
    EXPECT_EQ(files(), std::set<std::string>());
  }
  backups.makeIfDue(day(0));
  EXPECT_EQ(files(), std::set{nameOf(0)});
}

}  // namespace
}  // namespace tolvander::tests
