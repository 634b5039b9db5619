#include "Platform/Linux/PhotoLibrary/LibraryRebuild.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <functional>
#include <map>
#include <set>

#include "Platform/Linux/PhotoLibrary/CatalogueBackups.h"
#include "Platform/Linux/PhotoLibrary/CatalogueSchema.h"
#include "Platform/Linux/PhotoLibrary/IncomingName.h"
#include "Platform/Linux/PhotoLibrary/LibraryLock.h"
#include "Samples/JPEGBuilder.h"
#include "Tests/Support/Application/CatalogueFiles.h"
#include "Tests/Support/Application/EmbeddedLibrary.h"
#include "Tests/Support/Machine/OtherUser.h"
#include "TolvanderCore/Files/FileFingerprinter.h"
#include "TolvanderCore/Files/FileOperations.h"
#include "TolvanderCore/Platform/Calendar.h"

namespace tolvander::tests {
namespace {

namespace fs = std::filesystem;
using app::PhotosPlatformError;
using platform::linux_::Catalogue;
using platform::linux_::CatalogueBackups;
using platform::linux_::CatalogueContents;
using platform::linux_::Database;
using platform::linux_::FoundOriginals;
using platform::linux_::KnownImports;
using platform::linux_::LibraryFolder;
using platform::linux_::LibraryLock;
using platform::linux_::LibraryRebuild;
using platform::linux_::RebuildCounts;
using platform::linux_::RebuildPlan;

constexpr std::chrono::seconds busyTimeout(5);

// A library with three pictures, the last two of one content, all in an album.
class Rebuilding : public testing::Test {
 protected:
  Rebuilding() {
    EmbeddedPhotoLibrary library(root);
    requestAndWait(library);
    changeAndWait(library, [](app::PhotosChanges& changes) { changes.creationRequestForAlbum("Trip"); });
    importPictures(
        library, {file("PICT0001.JPG", "first"), file("PICT0002.JPG", "twin"), file("PICT0003.JPG", "twin")},
        library.fetchAlbums("Trip").at(0));
  }

  FileURL file(const std::string& name, const std::string& content) const {
    const FileURL url = folder / ("Card/" + name);
    writeFile(url, content);
    setContentModificationDate(url, day(-50));
    return url;
  }

  static void ignore(const platform::linux_::VerificationProgress&) {}

  RebuildPlan plan(const KnownImports& imports = {}) const {
    return LibraryRebuild(root, imports, busyTimeout).plan({}, ignore);
  }

  RebuildPlan rebuild(const KnownImports& imports = {}) const {
    LibraryRebuild rebuild(root, imports, busyTimeout);
    const RebuildPlan plan = rebuild.plan({}, ignore);
    rebuild.carryOut(day(0));
    return plan;
  }

  CatalogueContents contents() const { return catalogueContents(catalogueFile(root)); }

  const CatalogueContents::Item& itemNamed(const CatalogueContents& contents, const std::string& name) const {
    return *std::ranges::find_if(contents.items, [&](const auto& item) {
      return FileURL("/" + item.original.path).lastPathComponent() == name;
    });
  }

  FileURL original(const std::string& name) const {
    return root.appending(itemNamed(before, name).original.path);
  }

  // In place of the one that is there is another one.
  void replaceCatalogue(const CatalogueContents& contents) const {
    replaceCatalogueByANewOne(root);
    Catalogue catalogue(catalogueFile(root), busyTimeout);
    fill(catalogue, contents);
  }

  std::set<std::string> catalogueNames() const {
    std::set<std::string> names;
    for (const auto& entry : fs::directory_iterator(root.path())) {
      if (entry.path().extension() == ".sqlite") {
        names.insert(entry.path().filename().string());
      }
    }
    return names;
  }

  static std::string hashOf(const std::string& content) {
    const TemporaryFolder folder;
    writeFile(folder / "file", content);
    return FileFingerprinter::sha256(folder / "file");
  }

  bool isSound() const {
    EmbeddedPhotoLibrary library(root);
    const auto verification = library.verify();
    return verification.isSound() && verification.unknown.empty() && verification.unfinished.empty();
  }

  const TemporaryFolder folder;
  const FileURL root = folder / "Tolvander";
  CatalogueContents before;

  void SetUp() override { before = contents(); }
};

TEST_F(Rebuilding, isNotNeededWhereTheCatalogueNamesWhatIsThere) {
  const RebuildPlan plan = this->plan();
  EXPECT_FALSE(plan.isNeeded);
  EXPECT_EQ(plan.items, 3);
  EXPECT_EQ(plan.counts, (RebuildCounts{.known = 3}));
  EXPECT_EQ(plan.source, catalogueFile(root));
}

TEST_F(Rebuilding, findsPicturesThatWereMovedOrRenamedByTheirContent) {
  fs::rename(original("PICT0001.JPG").path(), root.appending("Originals/Best.jpg").path());
  fs::create_directories(root.appending("Originals/Trip").path());
  fs::rename(original("PICT0002.JPG").path(), root.appending("Originals/Trip/PICT0002.JPG").path());
  EXPECT_EQ(rebuild().counts, (RebuildCounts{.known = 3, .moved = 2}));
  const CatalogueContents after = contents();
  const auto& best = itemNamed(after, "Best.jpg");
  EXPECT_EQ(best.asset, itemNamed(before, "PICT0001.JPG").asset);
  EXPECT_EQ(best.original.originalFilename, "PICT0001.JPG");
  EXPECT_EQ(best.original.path, "Originals/Best.jpg");
  EXPECT_EQ(itemNamed(after, "PICT0002.JPG").asset, itemNamed(before, "PICT0002.JPG").asset);
  EXPECT_EQ(itemNamed(after, "PICT0003.JPG"), itemNamed(before, "PICT0003.JPG"));
  EXPECT_EQ(after.albums, before.albums);
  EXPECT_TRUE(isSound());
  EXPECT_FALSE(plan().isNeeded);
}

// Another picture in a file's place isn't that picture, whatever its size.
TEST_F(Rebuilding, givesWhatHasReplacedAPictureAnIdentityOfItsOwn) {
  const std::string identifier = itemNamed(before, "PICT0001.JPG").asset.localIdentifier;
  for (const char* const other : {"other", "longer than it was"}) {
    writeFile(original("PICT0001.JPG"), other);
    EXPECT_EQ(plan().counts, (RebuildCounts{.known = 2, .added = 1, .dropped = 1})) << other;
  }
  rebuild();
  EXPECT_NE(itemNamed(contents(), "PICT0001.JPG").asset.localIdentifier, identifier);
}

TEST_F(Rebuilding, datesAPictureOfTheUserByItsExifBlock) {
  const auto bytes = JPEGBuilder()
                         .exif(TIFFBuilder().originalDate("2026:11:20 12:00:00"))
                         .quantisationTable()
                         .huffmanTable()
                         .frame(640, 480)
                         .scan(entropyCodedData(20, 1))
                         .endOfImage()
                         .build();
  const FileURL own = root.appending("Originals/own.jpg");
  writeFile(own, {reinterpret_cast<const char*>(bytes.data()), bytes.size()});
  rebuild();
  const auto date = itemNamed(contents(), "own.jpg").asset.creationDate;
  EXPECT_EQ(exifDateText(date.value(), TimeZone::current()), "2026:11:20 12:00:00");
}

TEST_F(Rebuilding, dropsPicturesThatAreGone) {
  fs::remove(original("PICT0001.JPG").path());
  EXPECT_EQ(rebuild().counts, (RebuildCounts{.known = 2, .dropped = 1}));
  EXPECT_EQ(contents().items.size(), 2U);
  EXPECT_EQ(contents().albums.at(0).assets.size(), 2U);
  EXPECT_TRUE(isSound());
}

TEST_F(Rebuilding, takesIdentitiesFromTheHistoryWhereThereIsNoCatalogue) {
  removeCatalogue(root);
  const KnownImports history{.imports = {{hashOf("first"), {"A", "PICT0001.AVI"}},
                                         {hashOf("twin"), {"B", "IMAGE.jpg"}},
                                         {hashOf("twin"), {"C", "PICT0003.JPG"}},
                                         {hashOf("elsewhere"), {"D", "PICT0009.JPG"}}},
                             .pendingFingerprints = {},
                             .history = {}};
  const RebuildPlan done = rebuild(history);
  EXPECT_TRUE(done.isNeeded);
  EXPECT_EQ(done.counts, (RebuildCounts{.known = 3}));
  EXPECT_EQ(done.source, std::nullopt);
  const CatalogueContents after = contents();
  EXPECT_EQ(itemNamed(after, "PICT0001.JPG").asset.localIdentifier, "A");
  EXPECT_EQ(itemNamed(after, "PICT0001.JPG").original.originalFilename, "PICT0001.JPG")
      << "the camera's name with the extension of what was made of it";
  EXPECT_EQ(itemNamed(after, "PICT0002.JPG").asset.localIdentifier, "B");
  EXPECT_EQ(itemNamed(after, "PICT0002.JPG").original.originalFilename, "IMAGE.jpg");
  EXPECT_EQ(itemNamed(after, "PICT0003.JPG").asset.localIdentifier, "C");
  EXPECT_EQ(itemNamed(after, "PICT0003.JPG").original.originalFilename, "PICT0003.JPG");
  EXPECT_EQ(itemNamed(after, "PICT0003.JPG").asset.creationDate, day(-50)) << "the file's own";
  EXPECT_TRUE(isSound());
  EXPECT_FALSE(plan(history).isNeeded);
}

TEST_F(Rebuilding, believesTheHistoryBeforeTheFormerCatalogue) {
  const std::string first = itemNamed(before, "PICT0001.JPG").asset.localIdentifier;
  const std::string third = itemNamed(before, "PICT0003.JPG").asset.localIdentifier;
  const KnownImports history{.imports = {{hashOf("first"), {"A", "a"}},
                                         {hashOf("twin"), {third, "c"}},
                                         {hashOf("twin"), {"B", "b"}}},
                             .pendingFingerprints = {},
                             .history = {}};
  rebuild(history);
  const CatalogueContents after = contents();
  EXPECT_EQ(itemNamed(after, "PICT0001.JPG").asset.localIdentifier, "A");
  EXPECT_EQ(itemNamed(after, "PICT0002.JPG").asset.localIdentifier, "B");
  EXPECT_EQ(itemNamed(after, "PICT0003.JPG").asset.localIdentifier, third) << "both agree on it";
  EXPECT_FALSE(plan(history).isNeeded);
}

TEST_F(Rebuilding, takesInPicturesOfTheUserAndNothingElse) {
  CatalogueBackups(root).makeIfDue(day(0));
  writeFile(root.appending("Originals/own.heic"), "own");
  writeFile(root.appending("Originals/notes.txt"), "notes");
  const RebuildPlan done = rebuild();
  EXPECT_EQ(done.counts, (RebuildCounts{.known = 3, .added = 1}));
  EXPECT_EQ(done.source, catalogueFile(root)) << "no backup names more";
  EXPECT_EQ(contents().items.size(), 4U);
  EXPECT_FALSE(plan().isNeeded);
}

// A person may keep an older library of another program among the originals.
TEST_F(Rebuilding, takesInPicturesWithinAPackage) {
  const FileURL package = root.appending("Originals/Old.photoslibrary");
  writeFile(package.appending("Masters/own.jpg"), "own");
  fs::rename(original("PICT0001.JPG").path(), package.appending("PICT0001.JPG").path());
  EmbeddedPhotoLibrary library(root);
  EXPECT_EQ(library.verify().unknown.size(), 2U);
  EXPECT_EQ(rebuild().counts, (RebuildCounts{.known = 3, .added = 1, .moved = 1}));
  EXPECT_TRUE(isSound());
}

TEST_F(Rebuilding, leavesOutANewPictureWhoseNameDiffersFromAnothersInCaseAlone) {
  writeFile(root.appending("Originals/own.jpg"), "own");
  writeFile(root.appending("Originals/OWN.JPG"), "other");
  writeFile(original("PICT0001.JPG").deletingLastPathComponent().appending("Pict0001.jpg"), "third");
  EXPECT_EQ(rebuild().counts, (RebuildCounts{.known = 3, .added = 1, .leftOut = 2}));
  EXPECT_EQ(itemNamed(contents(), "PICT0001.JPG"), itemNamed(before, "PICT0001.JPG"));
  EXPECT_FALSE(plan().isNeeded);
}

TEST_F(Rebuilding, isRefusedWhereTheNamesOfTwoKnownPicturesDifferInCaseAlone) {
  writeFile(root.appending("Originals/own.jpg"), "own");
  writeFile(root.appending("Originals/OWN.JPG"), "other");
  const KnownImports history{
      .imports = {{hashOf("own"), {"A", "own.jpg"}}, {hashOf("other"), {"B", "OWN.JPG"}}},
      .pendingFingerprints = {},
      .history = {}};
  try {
    plan(history);
    FAIL();
  } catch (const PhotosPlatformError& error) {
    EXPECT_NE(std::string(error.what()).find("Originals/own.jpg"), std::string::npos) << error.what();
    EXPECT_NE(std::string(error.what()).find("Originals/OWN.JPG"), std::string::npos) << error.what();
  }
}

TEST_F(Rebuilding, takesAPictureOnceThatLinksGiveFurtherNames) {
  const FileURL picture = original("PICT0001.JPG");
  fs::create_symlink(picture.deletingLastPathComponent().path(), root.appending("Originals/0 best").path());
  fs::create_symlink(picture.path(), root.appending("Originals/0.jpg").path());
  const RebuildPlan plan = this->plan();
  EXPECT_FALSE(plan.isNeeded);
  EXPECT_EQ(plan.counts, (RebuildCounts{.known = 3}));
}

TEST_F(Rebuilding, takesAlbumsAndDatesFromTheNewestBackupWhereTheCatalogueIsLost) {
  const CatalogueBackups backups(root);
  backups.makeIfDue(day(0));
  {
    EmbeddedPhotoLibrary library(root);
    changeAndWait(library, [](app::PhotosChanges& changes) { changes.creationRequestForAlbum("Later"); });
  }
  backups.makeIfDue(day(1));
  const CatalogueContents expected = contents();
  for (const auto& damage : {removeCatalogue, breakCatalogue, emptyCatalogue, replaceCatalogueByANewOne}) {
    damage(root);
    const RebuildPlan done = rebuild();
    EXPECT_TRUE(done.isNeeded);
    EXPECT_EQ(done.source, backups.newest());
    EXPECT_EQ(contents(), expected);
    EXPECT_TRUE(isSound());
    for (const auto& entry : fs::directory_iterator(root.path())) {
      if (entry.path().filename().string().starts_with("Library before")) {
        fs::remove(entry.path());
      }
    }
  }
}

TEST_F(Rebuilding, keepsTheFormerCatalogueUnderAnotherName) {
  breakCatalogue(root);
  const std::string broken = readFile(catalogueFile(root));
  LibraryRebuild rebuild(root, {}, busyTimeout);
  rebuild.plan({}, ignore);
  const auto aside = rebuild.carryOut(day(0));
  ASSERT_TRUE(aside.has_value());
  EXPECT_EQ(readFile(*aside), broken);
  rebuild.plan({}, ignore);
  const auto second = rebuild.carryOut(day(0));
  EXPECT_NE(second, aside);
  EXPECT_EQ(readFile(*aside), broken);
}

TEST_F(Rebuilding, keepsASoundFormerCatalogueAsOneFile) {
  writeFile(root.appending("Originals/own.jpg"), "own");
  LibraryRebuild rebuild(root, {}, busyTimeout);
  rebuild.plan({}, ignore);
  const auto aside = rebuild.carryOut(day(0));
  ASSERT_TRUE(aside.has_value());
  EXPECT_FALSE(fs::exists(aside->path() + "-wal"));
  EXPECT_FALSE(fs::exists(aside->path() + "-shm"));
  EXPECT_EQ(catalogueContents(*aside), before);
}

// As after a catalogue was lost, and a new one has been in use for a while.
TEST_F(Rebuilding, takesTheCatalogueThatNamesMostOfThePictures) {
  CatalogueBackups(root).makeIfDue(day(0));
  writeFile(root.appending("Originals/later.jpg"), "later");
  CatalogueContents::Item again = itemNamed(before, "PICT0001.JPG");
  again.asset.localIdentifier = "again";
  CatalogueContents::Item later = again;
  later.asset = {.localIdentifier = "later", .creationDate = day(7)};
  later.original = {.originalFilename = "LATER.JPG", .path = "Originals/later.jpg", .byteCount = 5};
  CatalogueContents fewer;
  fewer.items = {again, later};
  fewer.albums = {{.album = {"new album", "Later"}, .assets = {"again", "later"}}};
  replaceCatalogue(fewer);
  const RebuildPlan done = rebuild();
  EXPECT_EQ(done.source, CatalogueBackups(root).newest());
  EXPECT_EQ(done.counts, (RebuildCounts{.known = 4}));
  const CatalogueContents after = contents();
  for (const char* const name : {"PICT0001.JPG", "PICT0002.JPG", "PICT0003.JPG"}) {
    EXPECT_EQ(itemNamed(after, name), itemNamed(before, name));
  }
  EXPECT_EQ(itemNamed(after, "later.jpg").asset, later.asset) << "only the present one knows it";
  ASSERT_EQ(after.albums.size(), 2U);
  EXPECT_EQ(after.albums.at(0), before.albums.at(0));
  EXPECT_EQ(after.albums.at(1).assets, std::vector<std::string>{"later"});
  EXPECT_FALSE(plan().isNeeded);
}

TEST_F(Rebuilding, countsAPictureThatWasNeverHashedByItsPathAndSize) {
  CatalogueContents one = before;
  one.items.resize(1);
  one.albums.clear();
  replaceCatalogue(one);
  CatalogueBackups(root).makeIfDue(day(0));
  CatalogueContents unhashed = before;
  for (CatalogueContents::Item& item : unhashed.items) {
    item.original.content = std::nullopt;
  }
  replaceCatalogue(unhashed);
  EXPECT_EQ(plan().source, catalogueFile(root));
}

TEST_F(Rebuilding, takesTheNewestOfTheCataloguesThatNameEquallyMany) {
  CatalogueBackups(root).makeIfDue(day(0));
  setContentModificationDate(*CatalogueBackups(root).newest(), day(1));
  const FileURL aside = root.appending("Library before 2026-01-01 000000.sqlite");
  fs::rename(catalogueFile(root).path(), aside.path());
  setContentModificationDate(aside, day(2));
  EXPECT_EQ(plan().source, aside);
  setContentModificationDate(aside, day(0));
  EXPECT_EQ(plan().source, CatalogueBackups(root).newest());
}

// It may be the one that knows every date and album.
TEST_F(Rebuilding, isRefusedWhereAnEarlierCatalogueCannotBeRead) {
  removeCatalogue(root);
  fs::create_directory(root.appending("Library before 2026-01-01 000000.sqlite").path());
  EXPECT_THROW(plan(), platform::linux_::DatabaseError);
}

TEST_F(Rebuilding, usesWhatAnEarlierRebuildHasSetAside) {
  fs::rename(catalogueFile(root).path(), root.appending("Library before 2026-01-01 000000.sqlite").path());
  EXPECT_EQ(rebuild().source, root.appending("Library before 2026-01-01 000000.sqlite"));
  EXPECT_EQ(contents(), before);
}

TEST_F(Rebuilding, takesNoLogOfTheFormerCatalogueIntoTheNewOne) {
  fs::create_directories((folder / "saved").path());
  {
    Database database(catalogueFile(root), Database::OpenMode::existing, busyTimeout);
    database.run("DELETE FROM assets");
    fs::copy(catalogueFile(root).path() + "-wal", (folder / "saved/wal").path());
  }
  breakCatalogue(root);
  fs::copy((folder / "saved/wal").path(), catalogueFile(root).path() + "-wal");
  ASSERT_GT(fs::file_size(catalogueFile(root).path() + "-wal"), 0U);
  rebuild();
  EXPECT_EQ(contents().items.size(), 3U);
  EXPECT_TRUE(isSound());
}

TEST_F(Rebuilding, replacesACatalogueWithDamagedIndexes) {
  {
    Database database(catalogueFile(root), Database::OpenMode::existing, busyTimeout);
    database.run("PRAGMA writable_schema=ON");
    EXPECT_EQ(contents(), before);
  }
  std::string bytes;
  {
    Database database(catalogueFile(root), Database::OpenMode::existing, busyTimeout);
    database.checkpointOnClose();
    database.run("PRAGMA wal_checkpoint(TRUNCATE)");
    auto rows = database.query("SELECT rootpage FROM sqlite_schema WHERE name = 'resources_by_sha256'");
    ASSERT_TRUE(rows.next());
    const auto page = static_cast<std::size_t>(rows.integer(0));
    bytes = readFile(catalogueFile(root));
    std::fill_n(bytes.begin() + static_cast<std::ptrdiff_t>(page * 4096 - 60), 40, '7');
  }
  writeFile(catalogueFile(root), bytes);
  EXPECT_TRUE(plan().isNeeded);
  rebuild();
  EXPECT_EQ(contents(), before);
  EXPECT_FALSE(plan().isNeeded);
}

// A history that was about to import two more pictures when its process ended.
class RebuildingInterrupted : public Rebuilding {
 protected:
  RebuildingInterrupted() {
    EmbeddedPhotoLibrary library(root);
    const std::string album = library.fetchAlbums("Trip").at(0).localIdentifier;
    library.prepareImport(
        {.history = history,
         .files = {importFile(file("PICT0004.JPG", "fourth")), importFile(file("PICT0005.JPG", "fifth"))},
         .albumIdentifier = album});
  }

  static app::PhotosImportFile importFile(const FileURL& file) {
    return {.file = file,
            .mediaType = app::PhotosMediaType::image,
            .creationDate = day(0),
            .fingerprint = FileFingerprinter::sha256(file)};
  }

  // The contents of what the library has after the history asked for the end of its imports.
  std::multiset<std::string> completed() const {
    EmbeddedPhotoLibrary library(root);
    library.completeImports({.history = history,
                             .pendingFingerprints = marked().pendingFingerprints,
                             .isRecorded = [](const std::string&) { return false; }});
    std::multiset<std::string> found;
    for (const std::string& path : listedFiles(library)) {
      found.insert(readFile(FileURL(path)));
    }
    EXPECT_TRUE(isSound());
    return found;
  }

  // As on a FAT, where the incoming files and their intents are removed after the import is catalogued.
  void importWithoutRemovingTheIncomingFiles() const {
    Catalogue catalogue(catalogueFile(root), busyTimeout);
    auto transaction = catalogue.change();
    for (const auto& intent : before.intents) {
      const FileURL placed = root.appending(intent.original.path);
      fs::copy(incomingFile(intent).path(), placed.path());
      setContentModificationDate(placed, intent.original.content->modified);
      catalogue.insertAsset(intent.asset, intent.original);
      catalogue.addToAlbum(intent.album.value(), {intent.asset.localIdentifier});
    }
    transaction.commit();
  }

  FileURL incomingFile(const platform::linux_::Intent& intent) const {
    return root.appending("Originals/.incoming").appending(intent.temporaryName);
  }

  KnownImports marked() const {
    return {.imports = {}, .pendingFingerprints = {hashOf("fourth"), hashOf("fifth")}, .history = history};
  }

  const UUID history = UUID::random();
  const std::multiset<std::string> all = {"first", "twin", "twin", "fourth", "fifth"};
};

TEST_F(RebuildingInterrupted, keepsWhatIsPreparedWhereTheCatalogueTellsOfIt) {
  EXPECT_FALSE(plan(marked()).isNeeded);
  EXPECT_EQ(plan(marked()).counts, (RebuildCounts{.known = 3, .waiting = 2}));
  EXPECT_EQ(completed(), all);
}

TEST_F(RebuildingInterrupted, prepareAnewWhatTheHistoryHasMarkedWhereTheCatalogueIsLost) {
  removeCatalogue(root);
  EXPECT_EQ(rebuild(marked()).counts, (RebuildCounts{.added = 3, .waiting = 2}));
  EXPECT_FALSE(plan(marked()).isNeeded);
  // An older state of the history, without the marks, drops none of them.
  EmbeddedPhotoLibrary(root).completeImports({.history = history,
                                              .pendingFingerprints = {},
                                              .isRecorded = [](const std::string&) { return false; }});
  EXPECT_EQ(completed(), all);
}

TEST_F(RebuildingInterrupted, keepsWhatIsPreparedWhereABackupNamesMorePictures) {
  CatalogueBackups(root).makeIfDue(day(0));
  CatalogueContents fewer;
  fewer.intents = before.intents;
  replaceCatalogue(fewer);
  const RebuildPlan done = rebuild(marked());
  EXPECT_EQ(done.source, CatalogueBackups(root).newest());
  EXPECT_EQ(done.counts, (RebuildCounts{.known = 3, .waiting = 2}));
  EXPECT_EQ(contents(), before);
  EXPECT_EQ(completed(), all);
}

TEST_F(RebuildingInterrupted, leavesIncomingFilesAloneThatNothingMarks) {
  removeCatalogue(root);
  EXPECT_EQ(rebuild().counts, (RebuildCounts{.added = 3}));
  EmbeddedPhotoLibrary library(root);
  EXPECT_EQ(library.verify().unfinished.size(), 2U);
}

TEST_F(RebuildingInterrupted, letsTheNextSyncRemoveAnIncomingFileWhosePictureIsThere) {
  importWithoutRemovingTheIncomingFiles();
  removeCatalogue(root);
  EXPECT_EQ(rebuild(marked()).counts, (RebuildCounts{.added = 5, .waiting = 2}));
  EXPECT_FALSE(plan(marked()).isNeeded);
  EXPECT_EQ(completed(), all);
  EXPECT_TRUE(fs::is_empty(root.appending("Originals/.incoming").path()));
}

TEST_F(RebuildingInterrupted, putsAPictureIntoNoOtherAlbumThanItsOwn) {
  {
    EmbeddedPhotoLibrary library(root);
    changeAndWait(library, [](app::PhotosChanges& changes) { changes.creationRequestForAlbum("Later"); });
  }
  for (const auto& intent : before.intents) {
    fs::rename(incomingFile(intent).path(), root.appending(intent.original.path).path());
  }
  rebuild(marked());
  const CatalogueContents after = contents();
  ASSERT_EQ(after.albums.size(), 2U);
  EXPECT_EQ(after.albums.at(0).assets.size(), 5U);
  EXPECT_EQ(after.albums.at(1).assets.size(), 0U);
}

TEST_F(RebuildingInterrupted, cataloguesWhatHasGotItsNameAsItWasMeant) {
  std::map<std::string, app::PhotosAsset> meant;
  for (const auto& intent : before.intents) {
    meant.emplace(intent.original.path, intent.asset);
    fs::rename(root.appending("Originals/.incoming").appending(intent.temporaryName).path(),
               root.appending(intent.original.path).path());
  }
  rebuild(marked());
  const CatalogueContents after = contents();
  EXPECT_EQ(after.items.size(), 5U);
  EXPECT_EQ(after.intents.size(), 0U);
  EXPECT_EQ(after.albums.at(0).assets.size(), 5U);
  for (const auto& [path, asset] : meant) {
    EXPECT_EQ(itemNamed(after, std::string(FileURL("/" + path).lastPathComponent())).asset, asset);
  }
  EXPECT_EQ(completed(), all);
}

TEST_F(RebuildingInterrupted, keepsTheNameOfTheCameraWhereAFileWasMovedBeforeItWasCatalogued) {
  const auto& intent = before.intents.at(0);
  fs::rename(incomingFile(intent).path(), root.appending("Originals/Best.jpg").path());
  rebuild(marked());
  const auto item = itemNamed(contents(), "Best.jpg");
  EXPECT_EQ(item.asset, intent.asset);
  EXPECT_EQ(item.original.originalFilename, intent.original.originalFilename);
}

TEST_F(RebuildingInterrupted, putsAPictureIntoItsAlbumOnceWhoseIntentIsStillThere) {
  importWithoutRemovingTheIncomingFiles();
  rebuild(marked());
  EXPECT_EQ(contents().albums.at(0).assets.size(), 5U);
  EXPECT_EQ(completed(), all);
}

TEST_F(RebuildingInterrupted, placesNoPictureAgainThatWasDeletedWhileItsIntentWasThere) {
  importWithoutRemovingTheIncomingFiles();
  for (const auto& intent : before.intents) {
    fs::remove(root.appending(intent.original.path).path());
  }
  EmbeddedPhotoLibrary library(root);
  EXPECT_NO_THROW(library.completeImports({.history = history,
                                           .pendingFingerprints = marked().pendingFingerprints,
                                           .isRecorded = [](const std::string&) { return false; }}));
  EXPECT_EQ(contents().intents.size(), 0U);
  for (const auto& intent : before.intents) {
    EXPECT_FALSE(fs::exists(incomingFile(intent).path()));
    EXPECT_FALSE(fs::exists(root.appending(intent.original.path).path()));
  }
}

TEST_F(RebuildingInterrupted, takesInNoPartOfAFileThatIsStillToBeCopied) {
  writeFile(root.appending(before.intents.at(0).original.path), "four");
  const RebuildPlan plan = this->plan(marked());
  EXPECT_FALSE(plan.isNeeded);
  EXPECT_EQ(plan.counts, (RebuildCounts{.known = 3, .waiting = 2}));
}

TEST_F(Rebuilding, isRefusedWhereNothingIsThereThatTheHistoryKnows) {
  removeCatalogue(root);
  fs::remove_all(root.appending("Originals").path());
  fs::create_directories(root.appending("Originals").path());
  const KnownImports history{
      .imports = {{hashOf("first"), {"A", "PICT0001.JPG"}}}, .pendingFingerprints = {}, .history = {}};
  EXPECT_THROW(plan(history), PhotosPlatformError);
  EXPECT_NO_THROW(plan());
}

TEST_F(Rebuilding, isRefusedWhereNoPictureIsThere) {
  fs::remove_all(root.appending("Originals").path());
  EXPECT_THROW(plan(), PhotosPlatformError);
  fs::create_directories(root.appending("Originals").path());
  EXPECT_THROW(plan(), PhotosPlatformError);
  EXPECT_EQ(contents(), before);
}

TEST_F(Rebuilding, isRefusedWhereALinkLeadsNowhere) {
  fs::create_symlink((folder / "gone").path(), root.appending("Originals/2019").path());
  EXPECT_THROW(plan(), PosixError);
}

// The pictures in it would be dropped from the catalogue.
TEST_F(Rebuilding, isRefusedWhereAFolderCannotBeRead) {
  const FileURL year = root.appending("Originals/2019");
  fs::create_directory(year.path());
  fs::permissions(year.path(), fs::perms::none);
  for (const FileURL& open : {folder / ".", root, root.appending("Originals")}) {
    fs::permissions(open.path(), fs::perms::all);
  }
  {
    const OtherUser nobody;
    EXPECT_THROW(FoundOriginals(LibraryFolder(root), {}, ignore).originals(), PosixError);
  }
  fs::permissions(year.path(), fs::perms::all);
  EXPECT_NO_THROW(plan());
}

TEST_F(Rebuilding, followsLinksToFolders) {
  const FileURL day0 = original("PICT0001.JPG").deletingLastPathComponent();
  fs::rename(day0.path(), (folder / "disk").path());
  fs::create_symlink((folder / "disk").path(), day0.path());
  EXPECT_FALSE(plan().isNeeded);
}

TEST_F(Rebuilding, isRefusedWhereANewerVersionMadeTheCatalogue) {
  {
    Database database(catalogueFile(root), Database::OpenMode::existing, busyTimeout);
    database.run("PRAGMA user_version=17");
  }
  EXPECT_THROW(plan(), PhotosPlatformError);
}

TEST_F(Rebuilding, isRefusedWhileAnotherProcessChangesTheLibrary) {
  breakCatalogue(root);
  LibraryRebuild rebuild(root, {}, std::chrono::milliseconds(0));
  rebuild.plan({}, ignore);
  const LibraryLock other(LibraryFolder(root), busyTimeout);
  EXPECT_THROW(rebuild.carryOut(day(0)), PhotosPlatformError);
  EXPECT_THROW(rebuild.plan({}, ignore), PhotosPlatformError);
  EXPECT_EQ(catalogueNames(), std::set<std::string>{"Library.sqlite"});
}

// The answer of a person can take hours.
TEST_F(Rebuilding, letsOthersChangeTheLibraryWhileAPersonIsAsked) {
  breakCatalogue(root);
  LibraryRebuild rebuild(root, {}, busyTimeout);
  rebuild.plan({}, ignore);
  EXPECT_TRUE(LibraryLock::ifFree(LibraryFolder(root)));
  rebuild.carryOut(day(0));
  EXPECT_TRUE(LibraryLock::ifFree(LibraryFolder(root)));
}

TEST_F(Rebuilding, isNotCarriedOutWhereTheLibraryHasChangedSinceThePlan) {
  const FileURL own = root.appending("Originals/own.jpg");
  const FileURL incoming =
      root.appending("Originals/.incoming").appending(platform::linux_::newIncomingName());
  const std::vector<std::pair<std::string, std::function<void()>>> changes = {
      {"a file is new", [&] { writeFile(own, "own"); }},
      {"a file is longer", [&] { writeFile(own, "owned"); }},
      {"a file has another date", [&] { setContentModificationDate(own, day(3)); }},
      {"a file is longer and has its old date",
       [&] {
         writeFile(own, "owned by a person");
         setContentModificationDate(own, day(3));
       }},
      {"a file is gone", [&] { fs::remove(own.path()); }},
      {"an incoming file is new", [&] { writeFile(incoming, "half"); }},
      {"an incoming file is longer", [&] { writeFile(incoming, "whole"); }},
      {"an album is new", [&] {
         EmbeddedPhotoLibrary library(root);
         changeAndWait(library, [](app::PhotosChanges& made) { made.creationRequestForAlbum("Later"); });
       }}};
  for (const auto& [name, change] : changes) {
    LibraryRebuild rebuild(root, {}, busyTimeout);
    rebuild.plan({}, ignore);
    change();
    EXPECT_THROW(rebuild.carryOut(day(0)), PhotosPlatformError) << name;
    EXPECT_EQ(catalogueNames(), std::set<std::string>{"Library.sqlite"}) << name;
  }
}

TEST_F(Rebuilding, canBeCancelled) {
  CancellationSource source;
  source.cancel();
  EXPECT_THROW(LibraryRebuild(root, {}, busyTimeout).plan(source.token(), ignore), CancellationError);
}

}  // namespace
}  // namespace tolvander::tests
