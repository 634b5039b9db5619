#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <map>
#include <set>

#include "Platform/Linux/PhotoLibrary/Catalogue.h"
#include "Platform/Linux/PhotoLibrary/Database.h"
#include "Platform/Linux/PhotoLibrary/IncomingName.h"
#include "Tests/Support/Application/EmbeddedLibrary.h"
#include "Tests/Support/Doubles/ManualTimer.h"
#include "TolvanderApp/Library/PhotoLibraryService.h"
#include "TolvanderCore/Files/FileFingerprinter.h"
#include "TolvanderCore/Files/FileOperations.h"

namespace tolvander::tests {
namespace {

namespace fs = std::filesystem;
using platform::linux_::Catalogue;
using platform::linux_::Intent;
using platform::linux_::newIncomingName;
using Contents = std::set<std::string>;

// A library into which a history is about to import two pictures.
class PreparedImport : public testing::Test {
 protected:
  PreparedImport() {
    EmbeddedPhotoLibrary library(root);
    requestAndWait(library);
    changeAndWait(library, [](app::PhotosChanges& changes) { changes.creationRequestForAlbum("Trip"); });
    for (const char* name : {"PICT0001.JPG", "PICT0002.JPG"}) {
      files.push_back(folder / (std::string("Staged/") + name));
      writeFile(files.back(), std::string("picture ") + name);
      pending.insert(FileFingerprinter::sha256(files.back()));
    }
  }

  static app::PhotosImportFile importFile(const FileURL& file) {
    return {.file = file,
            .mediaType = app::PhotosMediaType::image,
            .creationDate = day(0),
            .fingerprint = FileFingerprinter::sha256(file)};
  }

  // What a process does that ends before it carries the change out.
  void prepare(const std::optional<std::string>& album = std::nullopt) const {
    EmbeddedPhotoLibrary library(root);
    prepare(library, album);
  }

  void prepare(EmbeddedPhotoLibrary& library, const std::optional<std::string>& album = std::nullopt) const {
    library.prepareImport({.history = history,
                           .files = {importFile(files[0]), importFile(files[1])},
                           .albumIdentifier = album});
  }

  std::vector<app::PhotosHeldContent> complete(const Contents& marked, const Contents& recorded = {}) const {
    return complete(history, marked, recorded);
  }

  std::vector<app::PhotosHeldContent> complete(const UUID& asking, const Contents& marked,
                                               const Contents& recorded = {}) const {
    EmbeddedPhotoLibrary library(root);
    return library.completeImports(
        {.history = asking, .pendingFingerprints = marked, .isRecorded = [&](const std::string& content) {
           return recorded.contains(content);
         }});
  }

  // What is known to be prepared for the history that asks.
  Contents prepared(const UUID& asking, const Contents& marked) const {
    return EmbeddedPhotoLibrary(root).preparedFingerprints(
        {.history = asking, .pendingFingerprints = marked, .isRecorded = [](const std::string&) {
           return false;
         }});
  }

  Catalogue catalogue() const { return {root.appending("Library.sqlite"), std::chrono::seconds(5)}; }

  std::vector<Intent> intents() const { return catalogue().intents(); }

  // As a process leaves it that ends between the naming of the files and the commit.
  void giveNames() const {
    Catalogue open = catalogue();
    auto transaction = open.change();
    for (const Intent& intent : open.intents()) {
      const FileURL original = root.appending(intent.original.path);
      fs::create_directories(original.deletingLastPathComponent().path());
      fs::rename(incoming(intent).path(), original.path());
      open.markIntent(intent.asset.localIdentifier, true);
    }
    transaction.commit();
  }

  std::vector<FileURL> carryHalf() const {
    std::vector<FileURL> carried;
    for (const Intent& intent : intents()) {
      carried.push_back(root.appending(intent.original.path)
                            .deletingLastPathComponent()
                            .appending("." + intent.temporaryName));
      writeFile(carried.back(), "half of a pic");
    }
    return carried;
  }

  void markIntents() const {
    Catalogue open = catalogue();
    auto transaction = open.change();
    for (const Intent& intent : open.intents()) {
      open.markIntent(intent.asset.localIdentifier, true);
    }
    transaction.commit();
  }

  FileURL incoming(const Intent& intent) const {
    return root.appending("Originals/.incoming").appending(intent.temporaryName);
  }

  std::set<std::string> incomingFiles() const {
    std::set<std::string> names;
    for (const auto& entry : fs::directory_iterator(root.appending("Originals/.incoming").path())) {
      names.insert(entry.path().filename().string());
    }
    return names;
  }

  // The content of every asset, by its name.
  std::map<std::string, std::string> assets() const {
    EmbeddedPhotoLibrary library(root);
    std::map<std::string, std::string> found;
    for (const std::string& original : listedFiles(library)) {
      found.emplace(FileURL(original).lastPathComponent(), readFile(FileURL(original)));
    }
    EXPECT_TRUE(library.verify().isSound());
    return found;
  }

  // The camera's file of which the first picture was made.
  FingerprintedMediaFile interruptedFile() const {
    return {.file = {.url = FileURL("/CARD/PICT0001.JPG"),
                     .volumeURL = FileURL("/CARD"),
                     .relativePath = "PICT0001.JPG",
                     .filename = "PICT0001.JPG",
                     .byteCount = 1,
                     .modifiedAt = day(0)},
            .sourceFingerprint = "source",
            .mediaPayloadFingerprint = std::nullopt,
            .captureDate = day(0),
            .metadata = std::nullopt,
            .pendingProcessedFingerprint = FileFingerprinter::sha256(files[0]),
            .requiresExactReconciliation = true};
  }

  const std::map<std::string, std::string> bothPictures = {{"PICT0001.JPG", "picture PICT0001.JPG"},
                                                           {"PICT0002.JPG", "picture PICT0002.JPG"}};
  const UUID history = UUID::random();
  const TemporaryFolder folder;
  const FileURL root = folder / "Tolvander";
  std::vector<FileURL> files;
  Contents pending;  // of both files
};

TEST_F(PreparedImport, isInNoFetchAndListedByAVerification) {
  prepare();
  EmbeddedPhotoLibrary library(root);
  EXPECT_TRUE(library.fetchAssets(app::PhotosFetchOptions{}).empty());
  EXPECT_EQ(library.verify().unfinished.size(), 2U);
  EXPECT_TRUE(library.verify().isSound());
}

TEST_F(PreparedImport, becomesWhatTheChangeAsksForWithoutAnotherLookAtTheFile) {
  EmbeddedPhotoLibrary library(root);
  prepare(library);
  writeFile(files[0], "altered since");
  EXPECT_TRUE(importPictures(library, files, library.fetchAlbums("Trip").at(0)).success);
  EXPECT_EQ(assets(), bothPictures);
  EXPECT_EQ(library.fetchAssets(library.fetchAlbums("Trip").at(0)).size(), 2U);
  EXPECT_TRUE(intents().empty());
  EXPECT_EQ(incomingFiles(), std::set<std::string>());
}

TEST_F(PreparedImport, isRefusedOfAFileWithOtherContentAndLeavesNothing) {
  EmbeddedPhotoLibrary library(root);
  app::PhotosImportFile other = importFile(files[1]);
  other.fingerprint[0] = other.fingerprint[0] == '0' ? '1' : '0';
  EXPECT_THROW(library.prepareImport(
                   {.history = history, .files = {importFile(files[0]), other}, .albumIdentifier = {}}),
               app::PhotosPlatformError);
  EXPECT_TRUE(intents().empty());
  EXPECT_EQ(incomingFiles(), std::set<std::string>());
}

TEST_F(PreparedImport, isCompletedWithAllThatTheChangeWouldHaveWritten) {
  EmbeddedPhotoLibrary library(root);
  const app::PhotosAlbum album = library.fetchAlbums("Trip").at(0);
  prepare(album.localIdentifier);
  const auto held = complete(pending);
  EXPECT_EQ(held.size(), 2U);
  EXPECT_EQ(assets(), bothPictures);
  const auto members = library.fetchAssets(album);
  ASSERT_EQ(members.size(), 2U);
  for (const app::PhotosAsset& asset : members) {
    EXPECT_EQ(asset.creationDate, day(0));
    EXPECT_EQ(asset.mediaType, app::PhotosMediaType::image);
  }
  EXPECT_TRUE(intents().empty());
  EXPECT_EQ(incomingFiles(), std::set<std::string>());
  EXPECT_EQ(complete(pending), held) << "what is held is told again, and nothing is made twice";
  EXPECT_EQ(assets(), bothPictures);
}

// As a process leaves it that ends while it carries the files to another disk.
TEST_F(PreparedImport, hasNoHalfCarriedFilesAfterItsCompletion) {
  prepare();
  markIntents();
  const std::vector<FileURL> halfCarried = carryHalf();
  EmbeddedPhotoLibrary library(root);
  const auto unfinished = library.verify().unfinished;
  for (const FileURL& file : halfCarried) {
    EXPECT_EQ(std::ranges::count(unfinished, file), 1) << file.path();
  }
  complete(pending);
  EXPECT_EQ(assets(), bothPictures);
  EXPECT_TRUE(library.verify().unfinished.empty());
  for (const FileURL& file : halfCarried) {
    EXPECT_FALSE(fs::exists(file.path())) << file.path();
  }
}

TEST_F(PreparedImport, hasNoHalfCarriedFilesAfterItIsSwept) {
  prepare();
  const std::vector<FileURL> halfCarried = carryHalf();
  {
    Catalogue open = catalogue();
    auto transaction = open.change();
    for (Intent intent : open.intents()) {
      open.removeIntent(intent.asset.localIdentifier);
      intent.history = std::nullopt;  // as of a change that wasn't prepared
      open.insertIntent(intent);
    }
    transaction.commit();
  }
  EmbeddedPhotoLibrary library(root);
  changeAndWait(library, [](app::PhotosChanges& changes) { changes.creationRequestForAlbum("Swept"); });
  EXPECT_TRUE(intents().empty());
  for (const FileURL& file : halfCarried) {
    EXPECT_FALSE(fs::exists(file.path())) << file.path();
  }
}

TEST_F(PreparedImport, isCompletedWhereTheAlbumIsGone) {
  prepare("no such album");
  complete(pending);
  EXPECT_EQ(assets(), bothPictures);
}

TEST_F(PreparedImport, isCompletedWhereTheFilesHaveTheirNamesAlready) {
  prepare();
  giveNames();
  EXPECT_EQ(complete(pending).size(), 2U);
  EXPECT_EQ(assets(), bothPictures);
  EXPECT_TRUE(intents().empty());
}

TEST_F(PreparedImport, isCompletedUnderAnotherNameWhereTheNameWasTakenMeanwhile) {
  prepare();
  const FileURL users = root.appending(intents().at(0).original.path);
  writeFile(users, "the user's");
  complete(pending);
  EXPECT_EQ(readFile(users), "the user's");
  EXPECT_EQ(assets().size(), 2U);
}

TEST_F(PreparedImport, isDroppedWhereTheHistoryNeverMarkedIt) {
  prepare();
  EXPECT_TRUE(complete({}).empty());
  EXPECT_TRUE(assets().empty());
  EXPECT_TRUE(intents().empty());
  EXPECT_EQ(incomingFiles(), std::set<std::string>());
}

TEST_F(PreparedImport, isKnownBeforeItIsCompletedWhereverItsFilesAre) {
  EXPECT_EQ(prepared(history, pending), Contents());
  prepare();
  EXPECT_EQ(prepared(history, pending), pending);
  EXPECT_EQ(prepared(history, {}), Contents());
  EXPECT_EQ(prepared(UUID::random(), pending), Contents());
  EXPECT_EQ(intents().size(), 2U) << "nothing is changed by the look";
  EXPECT_TRUE(assets().empty());
  giveNames();
  EXPECT_EQ(prepared(history, pending), pending);
  EXPECT_TRUE(assets().empty());
  complete(pending);
  EXPECT_EQ(prepared(history, pending), pending);
  EXPECT_EQ(prepared(UUID::random(), pending), pending) << "an asset holds it";
}

TEST_F(PreparedImport, isKnownNoMoreOnceItsFilesAreGoneOrAltered) {
  prepare();
  const Intent gone = intents().at(0);
  fs::remove(incoming(gone).path());
  EXPECT_EQ(prepared(history, pending), Contents{intents().at(1).original.content->sha256});
  writeFile(incoming(intents().at(1)), "something else");
  EXPECT_EQ(prepared(history, pending), Contents());
}

TEST_F(PreparedImport, isKnownNoMoreOnceTheAssetsOfItsContentAreGone) {
  prepare();
  complete(pending);
  EmbeddedPhotoLibrary library(root);
  for (const std::string& original : listedFiles(library)) {
    fs::remove(original);
  }
  EXPECT_EQ(prepared(history, pending), Contents());
}

TEST_F(PreparedImport, isLeftToTheHistoryThatPreparedIt) {
  prepare();
  EXPECT_TRUE(complete(UUID::random(), pending).empty());
  EXPECT_TRUE(complete(UUID::random(), {}).empty());
  EXPECT_TRUE(assets().empty());
  EXPECT_EQ(complete(pending).size(), 2U);
}

TEST_F(PreparedImport, isLeftByAnOlderStateOfItsHistoryOnceItWasMarked) {
  prepare();
  markIntents();
  EXPECT_TRUE(complete({}).empty());
  EXPECT_EQ(incomingFiles().size(), 2U);
  EXPECT_EQ(complete(pending).size(), 2U);
  EXPECT_EQ(assets(), bothPictures);
}

TEST_F(PreparedImport, isNeverRemovedOnceItHasItsName) {
  prepare();
  giveNames();
  EXPECT_TRUE(complete({}).empty());
  Catalogue open = catalogue();
  {
    auto transaction = open.change();
    for (const Intent& intent : open.intents()) {
      open.markIntent(intent.asset.localIdentifier, false);
    }
    transaction.commit();
  }
  EXPECT_TRUE(complete({}).empty());
  for (const Intent& intent : intents()) {
    EXPECT_TRUE(fs::exists(root.appending(intent.original.path).path()));
  }
  EmbeddedPhotoLibrary library(root);
  EXPECT_EQ(library.verify().unfinished.size(), 2U);
}

TEST_F(PreparedImport, isNotCompletedFromAFileOfOtherContent) {
  prepare();
  for (const Intent& intent : intents()) {
    writeFile(incoming(intent), "something else");
  }
  EXPECT_TRUE(complete(pending).empty());
  EXPECT_TRUE(assets().empty());
  EXPECT_EQ(intents().size(), 2U) << "left, for a verification to list";
}

TEST_F(PreparedImport, isNotCompletedFromAFileOfOtherContentUnderItsName) {
  prepare();
  giveNames();
  for (const Intent& intent : intents()) {
    writeFile(root.appending(intent.original.path), "the user's");
  }
  EXPECT_TRUE(complete(pending).empty());
  EXPECT_TRUE(assets().empty());
}

TEST_F(PreparedImport, isCompletedOnceThoughItWasPreparedTwice) {
  prepare();
  prepare();
  EXPECT_EQ(complete(pending).size(), 2U);
  Contents contents;
  for (const auto& [name, content] : assets()) {
    EXPECT_TRUE(contents.insert(content).second) << name;
  }
  EXPECT_EQ(contents.size(), 2U);
  EXPECT_TRUE(intents().empty());
  EXPECT_EQ(incomingFiles(), std::set<std::string>());
}

TEST_F(PreparedImport, isCompletedThoughAnAssetOfItsContentWasDeleted) {
  EmbeddedPhotoLibrary library(root);
  importPictures(library, files);
  for (const std::string& original : listedFiles(library)) {
    fs::remove(original);
  }
  prepare();
  complete(pending);
  EXPECT_EQ(library.fetchAssets(app::PhotosFetchOptions{}).size(), 2U);
}

// A copy of the catalogue that was made during an import, and put back when it was long over.
TEST_F(PreparedImport, isCataloguedAgainByItsRecordWhereAnOlderCatalogueWasPutBack) {
  std::set<std::string> identifiers;
  {
    EmbeddedPhotoLibrary library(root);
    prepare(library);
    for (const Intent& intent : intents()) {
      identifiers.insert(intent.asset.localIdentifier);
    }
  }
  fs::copy(root.appending("Library.sqlite").path(), (folder / "copy").path());
  complete(pending);
  EXPECT_EQ(assets(), bothPictures);
  fs::remove(root.appending("Library.sqlite-wal").path());
  fs::remove(root.appending("Library.sqlite-shm").path());
  fs::copy((folder / "copy").path(), root.appending("Library.sqlite").path(),
           fs::copy_options::overwrite_existing);
  ASSERT_EQ(intents().size(), 2U);

  complete({});  // nothing is known of them
  EXPECT_TRUE(fs::exists(root.appending(intents().at(0).original.path).path()));
  complete(Contents(), pending);
  EXPECT_EQ(assets(), bothPictures);
  EmbeddedPhotoLibrary library(root);
  for (const app::PhotosAsset& asset : library.fetchAssets(app::PhotosFetchOptions{})) {
    EXPECT_TRUE(identifiers.contains(asset.localIdentifier)) << "the record's asset is another one";
  }
}

TEST_F(PreparedImport, waitsAgainAfterAChangeThatFailed) {
  EmbeddedPhotoLibrary library(root);
  prepare(library);
  const ChangeResult result = changeAndWait(library, [&](app::PhotosChanges& changes) {
    auto* request = changes.creationRequestForAssetFromImage(files[0]);
    changes.changeRequest(library.fetchAlbums("Trip").at(0), {})
        ->addAssets({*request->placeholderForCreatedAsset()});
    platform::linux_::Database(root.appending("Library.sqlite"),
                               platform::linux_::Database::OpenMode::existing, std::chrono::seconds(5))
        .run("DELETE FROM albums");
  });
  EXPECT_FALSE(result.success);
  EXPECT_TRUE(assets().empty());
  EXPECT_EQ(incomingFiles().size(), 2U);
  for (const Intent& intent : intents()) {
    EXPECT_FALSE(intent.isMarked) << "its marks are about to be withdrawn";
  }
  EXPECT_EQ(complete(pending).size(), 2U) << "unless they could not be";
  EXPECT_EQ(assets(), bothPictures);
}

TEST_F(PreparedImport, isMarkedFromTheMomentThatItIsToGetItsName) {
  EmbeddedPhotoLibrary library(root);
  prepare(library);
  for (const Intent& intent : intents()) {
    EXPECT_FALSE(intent.isMarked);
    fs::remove(incoming(intent).path());  // so that it can't get it
  }
  const ChangeResult result = changeAndWait(library, [&](app::PhotosChanges& changes) {
    changes.creationRequestForAssetFromImage(files[0]);
    changes.creationRequestForAssetFromImage(files[1]);
  });
  EXPECT_FALSE(result.success);
  EXPECT_TRUE(assets().empty());
}

TEST_F(PreparedImport, isFoundFirstAndOutsideEveryLimitOfTheSearch) {
  EmbeddedPhotoLibrary library(root);
  const FileURL other = folder / "Other/PICT0001.JPG";
  writeFile(other, "another picture");
  importPictures(library, std::vector<FileURL>(760, other));  // all of that day
  prepare();
  ManualTimer timer;
  app::PhotoLibraryService service(library, timer,
                                   [](DiagnosticLog::Event, const DiagnosticLog::Metrics&) {});
  const FingerprintedMediaFile file = interruptedFile();
  EXPECT_FALSE(service.reconcileExisting({file}, false).matches.contains("source"));
  EXPECT_EQ(service.completeInterruptedImports({.history = history,
                                                .pendingFingerprints = pending,
                                                .isRecorded = [](const std::string&) { return false; }}),
            pending);
  const LibraryReconciliation found = service.reconcileExisting({file}, false);
  ASSERT_TRUE(found.matches.contains("source"));
  EXPECT_EQ(found.matches.at("source").resourceFingerprint, file.pendingProcessedFingerprint);
  EXPECT_TRUE(found.unchecked.empty());
  EXPECT_FALSE(found.budgetExceeded);
}

// The catalogue's word for what an asset holds is no content.
TEST_F(PreparedImport, isNotFoundInAnAssetThatHoldsSomethingElseByNow) {
  EmbeddedPhotoLibrary library(root);
  prepare();
  ManualTimer timer;
  app::PhotoLibraryService service(library, timer,
                                   [](DiagnosticLog::Event, const DiagnosticLog::Metrics&) {});
  service.completeInterruptedImports({.history = history,
                                      .pendingFingerprints = pending,
                                      .isRecorded = [](const std::string&) { return false; }});
  for (const std::string& original : listedFiles(library)) {
    writeFile(FileURL(original), std::string(readFile(FileURL(original)).size(), 'x'));
  }
  const FingerprintedMediaFile file = interruptedFile();
  EXPECT_TRUE(service.reconcileExisting({file}, false).matches.empty());
}

}  // namespace
}  // namespace tolvander::tests
