#include <gtest/gtest.h>

#include <filesystem>
#include <functional>
#include <map>
#include <set>

#include "Samples/SampleCard.h"
#include "Tests/Shells/CommandLine.h"
#include "Tests/Support/Application/CatalogueFiles.h"
#include "Tests/Support/Application/SyncedHome.h"
#include "TolvanderCore/SyncHistoryStore.h"

namespace tolvander::tests {
namespace {

namespace fs = std::filesystem;

// A home into which a card was synced once, and an album with it.
class LibraryRecovery : public CommandLine {
 protected:
  LibraryRecovery() {
    writeSampleCard(card, {.photos = 3, .videos = 1});
    EXPECT_EQ(run({"sync", card.path(), "--yes", "--album", "Summer"}).status, 0);
  }

  std::set<std::string> originals() const {
    std::set<std::string> paths;
    for (const auto& entry : fs::recursive_directory_iterator(library.appending("Originals").path())) {
      if (entry.is_regular_file()) {
        paths.insert(entry.path().string());
      }
    }
    return paths;
  }

  // Identifiers, dates, names and places of everything in the library.
  std::string assets() const { return run({"--json", "library", "assets"}).output; }

  void removeBackups() const {
    fs::remove_all(library.appending("Backups").path());
    fs::remove_all(data.appending("Backups").path());
  }

  FileURL only(const FileURL& parent, const std::string& prefix) const {
    for (const auto& entry : fs::directory_iterator(parent.path())) {
      if (entry.path().filename().string().starts_with(prefix)) {
        return FileURL(entry.path().string());
      }
    }
    throw std::runtime_error(prefix + " isn't there");
  }

  void expectNothingToImport() const {
    const std::set<std::string> before = originals();
    EXPECT_EQ(run({"sync", card.path(), "--yes"}).status, 0);
    const ToolResult restored = run({"restore", "--yes"});
    EXPECT_EQ(restored.status, 0) << restored.errors;
    EXPECT_EQ(originals(), before);
    SyncedHome(home).expectToBeTrue();
  }

  const FileURL card = folder / "CARD";
  const FileURL library = home.appending("pictures/Tolvander");
  const FileURL data = home.appending("data/Tolvander");
};

TEST_F(LibraryRecovery, aLibraryWithoutAUsableCatalogueIsRefused) {
  const std::string hasPictures = "the photo library has pictures, but its catalogue (Library.sqlite) ";
  const std::vector<std::pair<std::function<void(const FileURL&)>, std::string>> damages = {
      {removeCatalogue, hasPictures + "is missing"},
      {emptyCatalogue, hasPictures + "is empty"},
      {replaceCatalogueByANewOne, hasPictures + "names none of them"},
      {breakCatalogue, "the catalogue of the photo library is damaged: file is not a database"}};
  const std::set<std::string> before = originals();
  for (const auto& [damage, words] : damages) {
    damage(library);
    const bool isThere = fs::exists(catalogueFile(library).path());
    for (const std::vector<std::string>& command : {std::vector<std::string>{"sync", "--yes"},
                                                    {"sync", card.path(), "--yes"},
                                                    {"restore", "--yes"},
                                                    {"library"},
                                                    {"library", "assets"},
                                                    {"library", "verify"},
                                                    {"library", "verify", "--quick"}}) {
      const ToolResult result = run(command);
      EXPECT_EQ(result.status, 1) << words << testing::PrintToString(command);
      if (command.front() != "restore") {
        EXPECT_TRUE(contains(result.errors, "tolvanderctl: " + words + "\n"))
            << testing::PrintToString(command) << result.output << result.errors;
      }
      EXPECT_TRUE(contains(result.errors,
                           "\ntolvanderctl: “tolvanderctl library rebuild” makes the catalogue anew, with "
                           "dates and albums from " +
                               library.appending("Backups/Library ").path()))
          << result.errors;
    }
    EXPECT_TRUE(contains(run({"status"}).output, "(cannot be used: " + words + ")"));
    EXPECT_EQ(originals(), before);
    EXPECT_EQ(fs::exists(catalogueFile(library).path()), isThere) << "nothing was made in its place";
  }
}

TEST_F(LibraryRecovery, theCatalogueIsMadeAnewFromBackupsAndHistory) {
  const std::string before = assets();
  removeCatalogue(library);
  const ToolResult result = run({"library", "rebuild", "--yes"});
  EXPECT_EQ(result.status, 0) << result.errors;
  EXPECT_TRUE(contains(result.output, "4 items: 4 known, 0 new.")) << result.output;
  EXPECT_EQ(assets(), before);
  EXPECT_EQ(run({"library", "albums"}).output, "“Summer”  4 items\n");
  EXPECT_EQ(run({"library", "verify"}).status, 0);
  expectNothingToImport();
}

TEST_F(LibraryRecovery, theHistoryAloneGivesEachPictureItsIdentityAndItsFileTheRest) {
  const std::string before = assets();
  removeBackups();
  breakCatalogue(library);
  const ToolResult result = run({"library", "rebuild", "--yes"});
  EXPECT_EQ(result.status, 0) << result.errors;
  EXPECT_TRUE(contains(result.output,
                       "\nThe one that was there is now " + only(library, "Library before").path() + "\n"))
      << result.output;
  EXPECT_EQ(assets(), before);
  expectNothingToImport();
}

TEST_F(LibraryRecovery, picturesThatWereMovedAreFoundAgain) {
  const std::string moved = *originals().begin();
  fs::create_directories(library.appending("Originals/Best").path());
  fs::rename(moved, library.appending("Originals/Best/one" + fs::path(moved).extension().string()).path());
  EXPECT_EQ(run({"library", "verify"}).status, 3);
  const ToolResult result = run({"library", "rebuild", "--yes"});
  EXPECT_TRUE(contains(result.output, " 1 item was found in another place.")) << result.output;
  EXPECT_EQ(run({"library", "verify"}).status, 0);
  expectNothingToImport();
}

TEST_F(LibraryRecovery, aSecondRebuildChangesNothing) {
  removeCatalogue(library);
  EXPECT_EQ(run({"library", "rebuild", "--yes"}).status, 0);
  const std::string catalogue = readFile(catalogueFile(library));
  const ToolResult result = run({"library", "rebuild"});
  EXPECT_EQ(result.status, 0) << result.errors;
  EXPECT_TRUE(contains(result.output, "The catalogue already says this: nothing was changed.\n"))
      << result.output;
  EXPECT_EQ(readFile(catalogueFile(library)), catalogue);
  const ToolResult forPrograms = run({"--json", "library", "rebuild"});
  const JSONDocument document(bytesOf(forPrograms.output));
  EXPECT_FALSE(document.root().object().required("isDone").boolean());
  EXPECT_EQ(document.root().object().required("items").integer(), 4);
}

TEST_F(LibraryRecovery, nothingIsRebuiltWithoutAnAnswer) {
  breakCatalogue(library);
  const std::string broken = readFile(catalogueFile(library));
  const ToolResult result = run({"library", "rebuild"});
  EXPECT_EQ(result.status, 1);
  EXPECT_TRUE(contains(result.errors, "Pass --yes for “Make Catalogue Anew”.\n")) << result.errors;
  EXPECT_EQ(readFile(catalogueFile(library)), broken);
}

TEST_F(LibraryRecovery, nothingIsRebuiltWithoutTheHistory) {
  removeCatalogue(library);
  writeFile(data.appending("history.json"), "broken");
  expectFailure({"library", "rebuild", "--yes"}, "Tolvander couldn’t read its import history.");
  EXPECT_FALSE(fs::exists(catalogueFile(library).path()));
}

TEST_F(LibraryRecovery, theNewestBackupIsNamedWhereTheHistoryCannotBeRead) {
  const std::string backup = only(data.appending("Backups"), "history ").path();
  const std::string history = readFile(data.appending("history.json"));
  EXPECT_EQ(readFile(FileURL(backup)), history);
  writeFile(data.appending("history.json"), "broken");
  const std::string words =
      "tolvanderctl: Tolvander couldn’t read its import history. Sync is paused to prevent duplicates. "
      "Contact support@tolvander.example for help.\n"
      "tolvanderctl: The newest backup of the import history is " +
      backup + "\n";
  EXPECT_EQ(run({"sync", card.path()}).errors, words);
  EXPECT_EQ(run({"history"}).errors, words);
  fs::copy(backup, data.appending("history.json").path(), fs::copy_options::overwrite_existing);
  expectNothingToImport();
}

TEST_F(LibraryRecovery, aBackupThatFailsStopsNoSyncAndIsLogged) {
  removeBackups();
  writeFile(library.appending("Backups"), "a file");
  writeFile(data.appending("Backups"), "a file");
  writeSampleCard(folder / "OTHER", {.photos = 2, .videos = 0, .seed = 2});
  EXPECT_FALSE(contains(run({"log"}).output, "operationFailed"));
  const ToolResult result = run({"sync", (folder / "OTHER").path(), "--yes"});
  EXPECT_EQ(result.status, 0) << result.errors;
  EXPECT_EQ(result.errors, "");
  EXPECT_EQ(originals().size(), 6U);
  const std::string log = run({"log"}).output;
  const std::size_t first = log.find("operationFailed");
  const std::size_t second = log.find("operationFailed", first + 1);
  EXPECT_NE(second, std::string::npos) << log;
  EXPECT_EQ(log.find("operationFailed", second + 1), std::string::npos) << "one for each backup\n" << log;
}

TEST_F(LibraryRecovery, theBackupOfADayHasTheLastImportOfThatDay) {
  writeSampleCard(folder / "OTHER", {.photos = 2, .videos = 0, .seed = 2});
  EXPECT_EQ(run({"sync", (folder / "OTHER").path(), "--yes"}).status, 0);
  EXPECT_EQ(readFile(only(data.appending("Backups"), "history ")), readFile(data.appending("history.json")));
  EXPECT_EQ(catalogueContents(only(library.appending("Backups"), "Library ")).items.size(), 6U);
}

TEST_F(LibraryRecovery, theHistoryGivesNoIdentityThatWasFoundByNameAndDateOnly) {
  removeBackups();
  removeCatalogue(library);
  const FileURL file = data.appending("history.json");
  std::vector<ImportRecord> records;
  for (const ImportRecord& record : SyncHistoryStore(file).records()) {
    records.push_back(record);
  }
  ASSERT_EQ(records.size(), 4U);
  for (ImportRecord& record : records) {
    record.evidence = ImportEvidence::metadataOnly;
  }
  fs::remove(file.path());
  SyncHistoryStore(file).record(records);
  const ToolResult result = run({"library", "rebuild", "--yes"});
  EXPECT_TRUE(contains(result.output, "4 items: 0 known, 4 new.")) << result.output << result.errors;
}

TEST_F(LibraryRecovery, noRebuildIsAdvisedWhereThePicturesAreNotHere) {
  removeCatalogue(library);
  fs::rename(library.appending("Originals").path(), (folder / "disk").path());
  fs::create_symlink((folder / "gone").path(), library.appending("Originals").path());
  const ToolResult result = run({"library", "verify"});
  EXPECT_EQ(result.status, 1);
  EXPECT_TRUE(contains(result.errors, "are not here")) << result.errors;
  EXPECT_FALSE(contains(result.errors, "library rebuild")) << result.errors;
}

// The library is on a disk that isn't mounted: its folder, or a link to it, is what stays.
TEST_F(LibraryRecovery, aLibraryThatIsKnownIsNotMadeAnewWithoutAQuestion) {
  fs::rename(library.path(), (folder / "disk").path());
  using Command = std::vector<std::string>;
  const Command allCameras = {"sync", "--yes"};
  const Command oneCamera = {"sync", card.path(), "--yes"};
  const auto expectQuestion = [this](const std::vector<Command>& commands) {
    for (const Command& command : commands) {
      const ToolResult result = run(command);
      EXPECT_EQ(result.status, 1) << result.output;
      EXPECT_TRUE(contains(result.errors, "The photo library in “" + library.path() + "” is not here"))
          << result.errors;
      EXPECT_TRUE(contains(result.errors, "No option answers it")) << result.errors;
      EXPECT_FALSE(fs::exists(library.path()));
    }
  };
  expectQuestion({allCameras, oneCamera});
  fs::create_symlink((folder / "gone").path(), library.path());
  expectQuestion({allCameras, oneCamera});
  fs::remove(library.path());

  const std::string history = readFile(data.appending("history.json"));
  fs::remove(data.appending("history.json").path());
  expectQuestion({oneCamera});  // the settings know it

  const FileURL settings = home.appending("config/com.tolvander.app/defaults.json");
  fs::remove(settings.path());
  writeFile(data.appending("history.json"), history);
  expectQuestion({oneCamera});  // the history knows it

  fs::rename((folder / "disk").path(), library.path());
  expectNothingToImport();
}

}  // namespace
}  // namespace tolvander::tests
