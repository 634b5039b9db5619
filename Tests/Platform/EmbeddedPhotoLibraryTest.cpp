#include "Platform/Linux/PhotoLibrary/EmbeddedPhotoLibrary.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <filesystem>
#include <fstream>
#include <set>

#include "Platform/Linux/PhotoLibrary/Database.h"
#include "Platform/Linux/PhotoLibrary/LibraryLock.h"
#include "Platform/Linux/PhotoLibrary/PlacedFile.h"
#include "Tests/Support/ChildProcess.h"
#include "Tests/Support/EmbeddedLibrary.h"
#include "Tests/Support/JPEGBuilder.h"
#include "Tests/Support/LoopVolume.h"
#include "Tests/Support/OtherUser.h"
#include "TolvanderCore/FileOperations.h"
#include "TolvanderCore/Platform/Calendar.h"
#include "TolvanderCore/Platform/FileSystem.h"

namespace tolvander::tests {
namespace {

namespace fs = std::filesystem;
using app::PhotosAuthorizationStatus;
using platform::linux_::Catalogue;
using platform::linux_::Database;
using platform::linux_::Descriptor;
using platform::linux_::LibraryFolder;
using platform::linux_::LibraryLock;
using platform::linux_::Placement;
using Case = app::PhotosPlatformError::Case;

constexpr std::chrono::milliseconds noPatience(0);

std::string textOf(const std::exception_ptr& error) {
  if (!error) {
    return {};
  }
  try {
    std::rethrow_exception(error);
  } catch (const std::exception& failure) {
    return failure.what();
  }
}

std::string dayFolder(Date date) {
  std::string text = exifDateText(date, TimeZone::current()).substr(0, 10);
  std::replace(text.begin(), text.end(), ':', '-');
  return "Originals/" + text.substr(0, 4) + "/" + text;
}

class EmbeddedLibrary : public testing::Test {
 protected:
  FileURL file(const std::string& name, const std::string& content = "content") {
    const FileURL url = folder_ / ("Card/" + name);
    writeFile(url, content);
    return url;
  }

  // The folder is made with the first one.
  std::unique_ptr<EmbeddedPhotoLibrary> open(
      std::chrono::milliseconds patience = EmbeddedPhotoLibrary::defaultPatience) {
    auto library = std::make_unique<EmbeddedPhotoLibrary>(root, patience);
    EXPECT_EQ(requestAndWait(*library), PhotosAuthorizationStatus::authorized);
    return library;
  }

  // Files and folders below the library's, without the catalogue.
  std::set<std::string> filesOfLibrary() const {
    std::set<std::string> files;
    for (const auto& entry : fs::recursive_directory_iterator(root.path())) {
      const std::string name = entry.path().filename().string();
      if (!entry.is_directory() && !name.starts_with("Library.")) {
        files.insert(entry.path().lexically_relative(root.path()).string());
      }
    }
    return files;
  }

  void changeCatalogue(const std::string& sql) const {
    Database database(root.appending("Library.sqlite"), Database::Opening::existing, noPatience);
    database.run(sql);
  }

  DataResult readOnly(EmbeddedPhotoLibrary& library) {
    const auto assets = library.fetchAssets(app::PhotosFetchOptions{});
    return readAndWait(library, library.assetResources(assets.at(0)).at(0));
  }

  TemporaryFolder folder_;
  const FileURL root = folder_ / "Pictures/Tolvander";
};

TEST_F(EmbeddedLibrary, isNotDeterminedUntilTheUserHasSaidYes) {
  {
    EmbeddedPhotoLibrary library(root);
    EXPECT_EQ(library.authorizationStatus(), PhotosAuthorizationStatus::notDetermined);
    EXPECT_FALSE(fs::exists(root.path())) << "asking changes nothing";
    EXPECT_EQ(requestAndWait(library), PhotosAuthorizationStatus::authorized);
  }
  EmbeddedPhotoLibrary later(root);
  EXPECT_EQ(later.authorizationStatus(), PhotosAuthorizationStatus::authorized);
}

TEST_F(EmbeddedLibrary, isClosedUntilTheUserHasSaidYes) {
  EmbeddedPhotoLibrary library(root);
  int runs = 0;
  const FileURL url = file("a.jpg");
  const ChangeResult result = changeAndWait(library, [&](app::PhotosChanges& changes) {
    ++runs;
    changes.creationRequestForAssetFromImage(url);
  });
  EXPECT_FALSE(result.success);
  EXPECT_EQ(caseOf(result.error), Case::accessUserDenied);
  EXPECT_EQ(runs, 1);
  EXPECT_THROW(library.fetchAlbums(std::nullopt), app::PhotosPlatformError);
  EXPECT_FALSE(fs::exists(root.path()));
}

TEST_F(EmbeddedLibrary, isDeniedWhereItCannotBeMade) {
  writeFile(folder_ / "Pictures", "a file");
  EmbeddedPhotoLibrary library(root);
  EXPECT_EQ(requestAndWait(library), PhotosAuthorizationStatus::denied);
}

TEST_F(EmbeddedLibrary, isDeniedWhereItCannotBeChanged) {
  const auto library = open();
  fs::permissions(folder_.url().path(), fs::perms::owner_all | fs::perms::others_exec);
  fs::permissions(root.path(), fs::perms::owner_all | fs::perms::others_exec);
  if (getuid() != 0) {
    fs::permissions(root.path(), fs::perms::owner_exec);
  }
  const OtherUser other;
  EXPECT_EQ(library->authorizationStatus(), PhotosAuthorizationStatus::denied);
}

TEST_F(EmbeddedLibrary, liesAmongTheUsersPictures) {
  EXPECT_EQ(EmbeddedPhotoLibrary::folderOfUser(StandardDirectories::below(FileURL("/home"))),
            FileURL("/home/pictures/Tolvander"));
  EXPECT_FALSE(EmbeddedPhotoLibrary::folderOfUser({.applicationSupport = {}, .temporary = FileURL("/tmp")}));
}

TEST_F(EmbeddedLibrary, keepsOrdinaryFilesByTheDayOnWhichTheyWereTaken) {
  const auto library = open();
  importPictures(*library, {file("PICT0001.JPG", "picture")});
  const std::string path = dayFolder(day(0)) + "/PICT0001.JPG";
  EXPECT_EQ(filesOfLibrary(), std::set{path});
  EXPECT_EQ(readFile(root.appending(path)), "picture");
}

TEST_F(EmbeddedLibrary, aFileKeepsItsModificationDate) {
  const auto library = open();
  const FileURL source = file("a.jpg");
  setContentModificationDate(source, day(-100));
  importPictures(*library, {source});
  EXPECT_EQ(fileResourceValues(FileURL(listedFiles(*library).at(0))).contentModificationDate, day(-100));
}

TEST_F(EmbeddedLibrary, neverSharesAFileWithItsSource) {
  const auto library = open();
  const FileURL source = file("a.jpg", "before");
  importPictures(*library, {source});
  std::fstream(source.path(), std::ios::in | std::ios::out) << "AFTER!";
  EXPECT_EQ(readFile(FileURL(listedFiles(*library).at(0))), "before");
}

TEST_F(EmbeddedLibrary, numbersTakenNames) {
  const auto library = open();
  const std::vector<FileURL> files = {file("1/PICT0001.JPG", "1"), file("2/PICT0001.JPG", "2"),
                                      file("3/pict0001.jpg", "3")};
  importPictures(*library, files);
  importPictures(*library, {files[0]});
  const std::string day0 = dayFolder(day(0));
  EXPECT_EQ(filesOfLibrary(), (std::set{day0 + "/PICT0001.JPG", day0 + "/PICT0001 2.JPG",
                                        day0 + "/pict0001 3.jpg", day0 + "/PICT0001 4.JPG"}));
  EXPECT_EQ(readFile(root.appending(day0 + "/pict0001 3.jpg")), "3");
}

TEST_F(EmbeddedLibrary, neverReplacesAFileOfTheUser) {
  const auto library = open();
  const FileURL own = root.appending(dayFolder(day(0)) + "/PICT0001.JPG");
  writeFile(own, "the user's");
  fs::create_symlink("/nowhere", root.appending(dayFolder(day(0)) + "/PICT0001 2.JPG").path());
  importPictures(*library, {file("PICT0001.JPG", "new")});
  EXPECT_EQ(readFile(own), "the user's");
  EXPECT_EQ(readFile(root.appending(dayFolder(day(0)) + "/PICT0001 3.JPG")), "new");
}

TEST_F(EmbeddedLibrary, theNameOfAFileThatTheUserMovedAwayStaysTaken) {
  const auto library = open();
  importPictures(*library, {file("PICT0001.JPG")});
  fs::rename(root.appending(dayFolder(day(0)) + "/PICT0001.JPG").path(), (folder_ / "away.jpg").path());
  importPictures(*library, {file("PICT0001.JPG")});
  EXPECT_EQ(filesOfLibrary(), std::set{dayFolder(day(0)) + "/PICT0001 2.JPG"});
}

TEST_F(EmbeddedLibrary, anOriginalThatIsNotThereIsNotLocal) {
  const auto library = open();
  importPictures(*library, {file("PICT0001.JPG")});
  const FileURL original(listedFiles(*library).at(0));
  fs::remove(original.path());
  const DataResult deleted = readOnly(*library);
  EXPECT_EQ(caseOf(deleted.error), Case::networkAccessRequired);
  EXPECT_TRUE(deleted.bytes.empty());
  fs::rename(root.appending("Originals").path(), (folder_ / "Elsewhere").path());
  EXPECT_EQ(caseOf(readOnly(*library).error), Case::networkAccessRequired);
}

TEST_F(EmbeddedLibrary, theCodeOfWhatIsNotLocalIsTheOneThatTheProgramKnows) {
  const app::PhotosPlatformError error(Case::networkAccessRequired, "");
  EXPECT_EQ(error.domain(), "PHPhotosErrorDomain");
  EXPECT_EQ(error.code(), 3164);
}

TEST_F(EmbeddedLibrary, anOriginalThatTheUserEditedReadsAsItIsNow) {
  const auto library = open();
  importPictures(*library, {file("PICT0001.JPG", "before")});
  writeFile(FileURL(listedFiles(*library).at(0)), "and after the edit");
  const DataResult result = readOnly(*library);
  EXPECT_FALSE(result.error);
  EXPECT_EQ(result.bytes, "and after the edit");
}

TEST_F(EmbeddedLibrary, streamsInChunksOfAQuarterMebibyte) {
  const auto library = open();
  importPictures(*library, {file("a.jpg", std::string(600 * 1024, 'x'))});
  const DataResult result = readOnly(*library);
  EXPECT_EQ(result.chunks, 3U);
  EXPECT_EQ(result.bytes.size(), 600U * 1024);
}

// A catalogue that somebody else has made up reaches nothing outside the library.
class HostileCatalogue : public EmbeddedLibrary, public testing::WithParamInterface<const char*> {};

TEST_P(HostileCatalogue, reachesNothing) {
  const auto library = open();
  writeFile(folder_ / "Pictures/secret", "secret");
  writeFile(root.appending("secret"), "secret");
  importPictures(*library, {file("a.jpg")});
  fs::create_symlink((folder_ / "Pictures/secret").path(), root.appending("Originals/link").path());
  fs::create_directory_symlink((folder_ / "Pictures").path(), root.appending("Originals/folder").path());
  ASSERT_EQ(mkfifo(root.appending("Originals/pipe").path().c_str(), 0600), 0);
  changeCatalogue("UPDATE resources SET path = '" + std::string(GetParam()) + "'");
  const DataResult result = readOnly(*library);
  EXPECT_TRUE(result.error);
  EXPECT_TRUE(result.bytes.empty()) << result.bytes;
  EXPECT_TRUE(library->verify().missing.size() == 1);
}

INSTANTIATE_TEST_SUITE_P(, HostileCatalogue,
                         testing::Values("../secret", "../../secret", "/etc/passwd", "secret",
                                         "Library.sqlite", "Originals/../../secret", "Originals/../secret",
                                         "Originals/link", "Originals/folder/secret", "Originals/pipe",
                                         "Originals", "Originals/", "Originals//secret", "Originals/.", "",
                                         "/", ".", ".."),
                         [](const auto& path) { return "path" + std::to_string(path.index); });

TEST_F(EmbeddedLibrary, triggersOfAHostileCatalogueDoNotRun) {
  open();
  changeCatalogue("CREATE TRIGGER evil AFTER INSERT ON resources BEGIN DELETE FROM assets; END");
  const auto library = open();
  importPictures(*library, {file("a.jpg")});
  EXPECT_EQ(library->fetchAssets(app::PhotosFetchOptions{}).size(), 1U);
}

TEST_F(EmbeddedLibrary, valuesOfAHostileCatalogueAreTakenForWhatTheyAre) {
  const auto library = open();
  importPictures(*library, {file("a.jpg")});
  changeCatalogue(
      "UPDATE assets SET media_type = 4711, creation_date = -9223372036854775808, pixel_width = -5;"
      "UPDATE resources SET type = -3");
  const auto assets = library->fetchAssets(app::PhotosFetchOptions{});
  EXPECT_EQ(assets.at(0).mediaType, app::PhotosMediaType::unknown);
  EXPECT_EQ(assets.at(0).creationDate, Date::min());
  EXPECT_EQ(library->assetResources(assets.at(0)).at(0).type, app::PhotosResourceType::other);
}

TEST_F(EmbeddedLibrary, aLinkInPlaceOfTheOriginalsIsNotFollowed) {
  const auto library = open();
  fs::remove_all(root.appending("Originals").path());
  fs::create_directory((folder_ / "Elsewhere").path());
  fs::create_directory_symlink((folder_ / "Elsewhere").path(), root.appending("Originals").path());
  const ChangeResult result = importPictures(*library, {file("a.jpg")});
  EXPECT_FALSE(result.success);
  EXPECT_TRUE(result.error);
  EXPECT_TRUE(fs::is_empty((folder_ / "Elsewhere").path()));
}

TEST_F(EmbeddedLibrary, theFolderItselfMayBeALink) {
  fs::create_directories((folder_ / "Disk").path());
  fs::create_directory_symlink((folder_ / "Disk").path(), (folder_ / "Pictures").path());
  const auto library = open();
  EXPECT_TRUE(importPictures(*library, {file("a.jpg", "bytes")}).success);
  EXPECT_EQ(readOnly(*library).bytes, "bytes");
}

TEST_F(EmbeddedLibrary, readsDatesAndSizesFromTheFiles) {
  const Bytes picture = JPEGBuilder()
                            .exif(TIFFBuilder().originalDate("2026:07:01 12:00:00"))
                            .quantisationTable()
                            .huffmanTable()
                            .frame(640, 480)
                            .scan()
                            .endOfImage()
                            .build();
  const FileURL url = file("a.jpg", {reinterpret_cast<const char*>(picture.data()), picture.size()});
  const auto library = open();
  changeAndWait(*library,
                [&](app::PhotosChanges& changes) { changes.creationRequestForAssetFromImage(url); });
  const app::PhotosAsset asset = library->fetchAssets(app::PhotosFetchOptions{}).at(0);
  EXPECT_EQ(asset.creationDate, dateFromExifText("2026:07:01 12:00:00", TimeZone::current()));
  EXPECT_EQ(asset.pixelWidth, 640);
  EXPECT_EQ(asset.pixelHeight, 480);
  EXPECT_EQ(asset.duration, 0);
  EXPECT_EQ(filesOfLibrary(), std::set<std::string>{"Originals/2026/2026-07-01/a.jpg"});
}

TEST_F(EmbeddedLibrary, aPictureWithoutDateHasThatOfItsFile) {
  const FileURL url = file("a.jpg", "no picture at all");
  setContentModificationDate(url, day(-7));
  const auto library = open();
  changeAndWait(*library,
                [&](app::PhotosChanges& changes) { changes.creationRequestForAssetFromImage(url); });
  const app::PhotosAsset asset = library->fetchAssets(app::PhotosFetchOptions{}).at(0);
  EXPECT_EQ(asset.creationDate, day(-7));
  EXPECT_EQ(asset.pixelWidth, 0);
}

TEST_F(EmbeddedLibrary, aChangeWhoseFileVanishesIsUndoneAsAWhole) {
  const auto library = open();
  const FileURL first = file("a.jpg");
  const FileURL second = file("b.jpg");
  const ChangeResult result = changeAndWait(*library, [&](app::PhotosChanges& changes) {
    changes.creationRequestForAssetFromImage(first);
    changes.creationRequestForAssetFromImage(second);
    changes.creationRequestForAlbum("Album");
    fs::remove(second.path());
  });
  EXPECT_FALSE(result.success);
  EXPECT_TRUE(result.error);
  EXPECT_TRUE(library->fetchAssets(app::PhotosFetchOptions{}).empty());
  EXPECT_TRUE(library->fetchAlbums(std::nullopt).empty());
  EXPECT_TRUE(filesOfLibrary().empty());
}

TEST_F(EmbeddedLibrary, aChangeOfAnAlbumThatVanishesIsUndoneAsAWhole) {
  const auto library = open();
  changeAndWait(*library, [](app::PhotosChanges& changes) { changes.creationRequestForAlbum("Album"); });
  const auto album = library->fetchAlbums("Album").at(0);
  const FileURL url = file("a.jpg");
  const ChangeResult result = changeAndWait(*library, [&](app::PhotosChanges& changes) {
    auto* request = changes.creationRequestForAssetFromImage(url);
    changes.changeRequest(album, {})->addAssets({*request->placeholderForCreatedAsset()});
    changeCatalogue("DELETE FROM albums");
  });
  EXPECT_FALSE(result.success);
  EXPECT_EQ(caseOf(result.error), Case::identifierNotFound);
  EXPECT_TRUE(filesOfLibrary().empty());
}

TEST_F(EmbeddedLibrary, importsMoreFilesAtOnceThanAProcessMayHaveOpen) {
  const auto library = open();
  const std::vector<FileURL> files(1500, file("a.jpg", "x"));
  EXPECT_TRUE(importPictures(*library, files).success);
  EXPECT_EQ(filesOfLibrary().size(), 1500U);
}

TEST_F(EmbeddedLibrary, leavesFilesAloneThatItDidNotPutThere) {
  const std::vector<FileURL> foreign = {
      root.appending("notes.txt"), root.appending("Originals/a.jpg"), root.appending("Originals/2026/b.jpg"),
      root.appending("Originals/.incoming/mine.part"), root.appending("Originals/.incoming/c.jpg")};
  for (const FileURL& url : foreign) {
    writeFile(url, "the user's");
  }
  const auto library = open();
  importPictures(*library, {file("a.jpg")});
  changeAndWait(*library, [](app::PhotosChanges&) { throw std::runtime_error("no"); });
  open();
  for (const FileURL& url : foreign) {
    EXPECT_EQ(readFile(url), "the user's") << url.path();
  }
}

TEST_F(EmbeddedLibrary, sweepsFilesWithoutNamesThatACrashLeft) {
  open();
  const FileURL leftover =
      root.appending("Originals/.incoming").appending(platform::linux_::newIncomingName());
  writeFile(leftover, "half a pict");
  open()->fetchAlbums(std::nullopt);
  EXPECT_FALSE(fs::exists(leftover.path()));
}

// As a crash between the naming of a file and the commit of its asset leaves it.
class PlacementLeft : public EmbeddedLibrary {
 protected:
  PlacementLeft() {
    open();
    writeFile(original, "ours");
    const Descriptor opened(::open(original.path().c_str(), O_RDONLY | O_CLOEXEC));
    Catalogue catalogue(root.appending("Library.sqlite"), noPatience);
    auto transaction = catalogue.change();
    catalogue.insertPlacement(platform::linux_::placementOf(opened, path));
    transaction.commit();
  }

  std::size_t placements() const {
    return Catalogue(root.appending("Library.sqlite"), noPatience).placements().size();
  }

  const std::string path = "Originals/2026/2026-11-20/PICT0001.JPG";
  const FileURL original = root.appending(path);
};

TEST_F(PlacementLeft, theFileIsSweptWhenTheLibraryIsOpened) {
  open()->fetchAlbums(std::nullopt);
  EXPECT_FALSE(fs::exists(original.path()));
  EXPECT_EQ(placements(), 0U);
}

TEST_F(PlacementLeft, theFileIsSweptByTheNextChange) {
  const auto library = open();
  {
    const LibraryLock lock{LibraryFolder(root), noPatience};
    library->fetchAlbums(std::nullopt);
    EXPECT_TRUE(fs::exists(original.path())) << "another process may be at work on it";
  }
  importPictures(*library, {file("a.jpg")});
  EXPECT_FALSE(fs::exists(original.path()));
}

TEST_F(PlacementLeft, anotherFileOfThatNameStays) {
  fs::rename(original.path(), (folder_ / "moved").path());
  writeFile(original, "user");  // as long as ours
  open()->fetchAlbums(std::nullopt);
  EXPECT_EQ(readFile(original), "user");
  EXPECT_EQ(readFile(folder_ / "moved"), "ours");
  EXPECT_EQ(placements(), 0U);
}

TEST_F(PlacementLeft, theFileIsSweptAlsoWhereAPowerLossHasTakenItsEnd) {
  const Date modified = fileResourceValues(original).contentModificationDate.value();
  fs::resize_file(original.path(), 1);
  setContentModificationDate(original, modified);
  open()->fetchAlbums(std::nullopt);
  EXPECT_FALSE(fs::exists(original.path()));
}

TEST_F(PlacementLeft, aFileThatTheUserHasEditedSinceStays) {
  writeFile(original, "ours, and more");
  open()->fetchAlbums(std::nullopt);
  EXPECT_EQ(readFile(original), "ours, and more");
}

TEST_F(PlacementLeft, aFileStaysWhereAHostileCatalogueHasADateAtTheBeginningOfTime) {
  changeCatalogue("UPDATE placements SET modified = -9223372036854775808");
  open()->fetchAlbums(std::nullopt);
  EXPECT_EQ(readFile(original), "ours");
}

TEST_F(EmbeddedLibrary, noticesThatTheLibraryWasReplaced) {
  const auto library = open();
  importPictures(*library, {file("a.jpg")});
  EXPECT_EQ(library->fetchAssets(app::PhotosFetchOptions{}).size(), 1U);
  fs::rename(root.path(), (folder_ / "old").path());
  EXPECT_EQ(library->authorizationStatus(), PhotosAuthorizationStatus::notDetermined);
  open();
  EXPECT_TRUE(library->fetchAssets(app::PhotosFetchOptions{}).empty());
  EXPECT_TRUE(importPictures(*library, {file("b.jpg")}).success);
  EXPECT_EQ(filesOfLibrary().size(), 1U);
}

// Both ends of a pipe, for two processes that take turns.
class Signal {
 public:
  Signal() { EXPECT_EQ(pipe(ends_.data()), 0); }
  void give() const { EXPECT_EQ(write(ends_[1], "x", 1), 1); }
  void await() const {
    char character = 0;
    EXPECT_EQ(read(ends_[0], &character, 1), 1);
  }

 private:
  std::array<int, 2> ends_{};
};

TEST_F(EmbeddedLibrary, aSecondProcessReadsWhileAnotherOneWritesAndIsRefusedToWrite) {
  open();
  const FileURL url = file("a.jpg");
  const Signal writing;
  const Signal done;
  inTwoChildProcesses(
      [&] {
        const LibraryLock lock{LibraryFolder(root), noPatience};
        Catalogue catalogue(root.appending("Library.sqlite"), noPatience);
        const auto transaction = catalogue.change();
        writing.give();
        done.await();
      },
      [&] {
        writing.await();
        EmbeddedPhotoLibrary library(root, noPatience);
        EXPECT_TRUE(library.fetchAssets(app::PhotosFetchOptions{}).empty());
        const ChangeResult result = importPictures(library, {url});
        EXPECT_FALSE(result.success);
        EXPECT_EQ(textOf(result.error), "another program is changing the photo library");
        done.give();
      });
  EXPECT_TRUE(filesOfLibrary().empty());
}

TEST_F(EmbeddedLibrary, aSecondProcessWaitsForItsTurn) {
  open();
  const FileURL url = file("a.jpg");
  const Signal writing;
  inTwoChildProcesses(
      [&] {
        const LibraryLock lock{LibraryFolder(root), noPatience};
        writing.give();
      },
      [&] {
        writing.await();
        EmbeddedPhotoLibrary library(root, std::chrono::minutes(1));
        EXPECT_TRUE(importPictures(library, {url}).success);
      });
  EXPECT_EQ(filesOfLibrary().size(), 1U);
}

TEST_F(EmbeddedLibrary, twoProcessesImportAtTheSameTime) {
  open();
  const auto import = [&](const std::string& name) {
    const FileURL url = file(name + "/PICT0001.JPG", name);
    EmbeddedPhotoLibrary library(root, std::chrono::minutes(1));
    for (int round = 0; round < 8; ++round) {
      EXPECT_TRUE(importPictures(library, {url, url}).success);
    }
  };
  inTwoChildProcesses([&] { import("one"); }, [&] { import("other"); });
  const auto library = open();
  EXPECT_EQ(filesOfLibrary().size(), 32U);
  EXPECT_EQ(library->fetchAssets(app::PhotosFetchOptions{}).size(), 32U);
  EXPECT_TRUE(library->verify().isSound());
}

TEST_F(EmbeddedLibrary, anotherProgramThatLocksTheCatalogueIsADefiniteFailure) {
  const auto library = open(noPatience);
  Database other(root.appending("Library.sqlite"), Database::Opening::existing, noPatience);
  other.run("BEGIN IMMEDIATE");
  const ChangeResult result = importPictures(*library, {file("a.jpg")});
  EXPECT_FALSE(result.success);
  EXPECT_EQ(textOf(result.error), "another program is changing the photo library");
  other.run("ROLLBACK");
  EXPECT_TRUE(filesOfLibrary().empty());
}

TEST_F(EmbeddedLibrary, completesWhatWasAskedForBeforeItIsGone) {
  auto library = open();
  const FileURL url = file("a.jpg");
  int completions = 0;
  for (int round = 0; round < 5; ++round) {
    library->performChanges(
        [&](app::PhotosChanges& changes) { changes.creationRequestForAssetFromImage(url); },
        [&](bool success, const std::exception_ptr&) { completions += success ? 1 : 0; });
  }
  library.reset();
  EXPECT_EQ(completions, 5);
}

TEST_F(EmbeddedLibrary, endsOpenRequestsWhenItIsGone) {
  auto library = open();
  importPictures(*library, {file("a.jpg", std::string(8'000'000, 'x'))});
  const auto resource = library->assetResources(library->fetchAssets(app::PhotosFetchOptions{}).at(0)).at(0);
  int completions = 0;
  for (int round = 0; round < 20; ++round) {
    library->requestData(
        resource, [](std::span<const std::byte>) {}, [&](const std::exception_ptr&) { ++completions; });
  }
  library.reset();
  EXPECT_EQ(completions, 20);
}

TEST_F(EmbeddedLibrary, listsFilesAndAlbums) {
  const auto library = open();
  changeAndWait(*library, [](app::PhotosChanges& changes) { changes.creationRequestForAlbum("Album"); });
  importPictures(*library, {file("a.jpg", "12345"), file("b.jpg")}, library->fetchAlbums("Album").at(0));
  std::vector<platform::linux_::ListedAsset> assets;
  library->forEachAsset([&](const platform::linux_::ListedAsset& asset) {
    assets.push_back(asset);
    return assets.size() < 1;
  });
  ASSERT_EQ(assets.size(), 1U) << "it goes on for as long as it is told to";
  EXPECT_EQ(assets[0].originals, (std::vector<platform::linux_::ListedOriginal>{
                                     {root.appending(dayFolder(day(0)) + "/a.jpg"), "a.jpg", 5}}));
  const auto albums = library->albumsWithCounts();
  ASSERT_EQ(albums.size(), 1U);
  EXPECT_EQ(albums[0].album.localizedTitle, "Album");
  EXPECT_EQ(albums[0].assetCount, 2);
}

TEST_F(EmbeddedLibrary, verifyingTellsWhatIsMissingChangedAndUnknown) {
  const auto library = open();
  importPictures(*library, {file("a.jpg"), file("b.jpg"), file("c.jpg")});
  EXPECT_TRUE(library->verify().isSound());
  const FileURL day0 = root.appending(dayFolder(day(0)));
  fs::remove(day0.appending("a.jpg").path());
  writeFile(day0.appending("b.jpg"), "longer than it was");
  writeFile(day0.appending("d.jpg"), "the user's");
  const auto found = library->verify();
  EXPECT_EQ(found.assets, 3);
  EXPECT_EQ(found.originals, 3);
  EXPECT_EQ(found.missing, std::vector{day0.appending("a.jpg")});
  EXPECT_EQ(found.changed, std::vector{day0.appending("b.jpg")});
  EXPECT_EQ(found.unknown, std::vector{day0.appending("d.jpg")});
  EXPECT_TRUE(found.catalogueProblems.empty());
  EXPECT_FALSE(found.isSound());
}

TEST_F(EmbeddedLibrary, verifyingCanBeCancelled) {
  const auto library = open();
  importPictures(*library, {file("a.jpg")});
  CancellationSource source;
  source.cancel();
  EXPECT_THROW(library->verify(source.token()), CancellationError);
}

// exFAT has no renaming without replacing, no hard links and no lasting inode numbers.
TEST_F(EmbeddedLibrary, livesOnAnExfatDisk) {
  if (const auto reason = reasonAgainstPrivateMounts()) {
    GTEST_SKIP() << *reason;
  }
  if (const auto reason = LoopVolume::reasonAgainst(LoopVolume::Format::exfat)) {
    GTEST_SKIP() << *reason;
  }
  const FileURL url = file("PICT0001.JPG", "picture");
  inPrivateMountNamespace([&] {
    LoopVolume volume(LoopVolume::Format::exfat, "PICTURES");
    const FileURL disk = volume.mountPoint().appending("Tolvander");
    {
      EmbeddedPhotoLibrary library(disk);
      ASSERT_EQ(requestAndWait(library), PhotosAuthorizationStatus::authorized);
      const ChangeResult result = importPictures(library, {url, url});
      EXPECT_TRUE(result.success) << textOf(result.error);
    }
    volume.remount();
    EmbeddedPhotoLibrary library(disk);
    EXPECT_EQ(library.fetchAssets(app::PhotosFetchOptions{}).size(), 2U);
    EXPECT_EQ(readOnly(library).bytes, "picture");
    EXPECT_TRUE(library.verify().isSound());
    volume.unplug();
    EXPECT_NE(library.authorizationStatus(), PhotosAuthorizationStatus::authorized);
  });
}

}  // namespace
}  // namespace tolvander::tests
