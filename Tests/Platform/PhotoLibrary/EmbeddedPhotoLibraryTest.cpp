#include "Platform/Linux/PhotoLibrary/EmbeddedPhotoLibrary.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <filesystem>
#include <fstream>
#include <functional>
#include <optional>
#include <set>

#include "Platform/Linux/PhotoLibrary/Database.h"
#include "Platform/Linux/PhotoLibrary/IncomingName.h"
#include "Platform/Linux/PhotoLibrary/LibraryLock.h"
#include "Samples/JPEGBuilder.h"
#include "Tests/Support/Application/EmbeddedLibrary.h"
#include "Tests/Support/Machine/ChildProcess.h"
#include "Tests/Support/Machine/LoopVolume.h"
#include "Tests/Support/Machine/OtherUser.h"
#include "TolvanderCore/Files/FileFingerprinter.h"
#include "TolvanderCore/Files/FileOperations.h"
#include "TolvanderCore/Platform/Calendar.h"
#include "TolvanderCore/Platform/FileSystem.h"

namespace tolvander::tests {
namespace {

namespace fs = std::filesystem;
using app::PhotosAuthorizationStatus;
using platform::linux_::Catalogue;
using platform::linux_::Database;
using platform::linux_::LibraryFolder;
using platform::linux_::LibraryLock;
using Case = app::PhotosPlatformError::Case;

constexpr std::chrono::milliseconds noTimeout(0);

template <typename Operation>
std::optional<Case> caseOfThrown(Operation operation) {
  try {
    operation();
  } catch (const app::PhotosPlatformError&) {
    return caseOf(std::current_exception());
  }
  return std::nullopt;
}

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

std::optional<Case> caseOf(const std::exception_ptr& error) {
  try {
    if (error) {
      std::rethrow_exception(error);
    }
  } catch (const app::PhotosPlatformError& failure) {
    return failure.kind();
  }
  return std::nullopt;
}

std::string dayFolder(Date date) {
  std::string text = exifDateText(date, TimeZone::current()).substr(0, 10);
  std::replace(text.begin(), text.end(), ':', '-');
  return "Originals/" + text.substr(0, 4) + "/" + text;
}

void putLink(const FileURL& link, const FileURL& target) {
  fs::remove(link.path());
  fs::create_symlink(target.path(), link.path());
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
      std::chrono::milliseconds busyTimeout = EmbeddedPhotoLibrary::defaultBusyTimeout) {
    auto library = std::make_unique<EmbeddedPhotoLibrary>(root, busyTimeout);
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
    Database database(root.appending("Library.sqlite"), Database::OpenMode::existing, noTimeout);
    database.run(sql);
  }

  static void lookAtEverything(EmbeddedPhotoLibrary& library) {
    library.fetchAssets(app::PhotosFetchOptions{});
    library.fetchAlbums(std::nullopt);
    library.albumsWithCounts();
    listedFiles(library);
    library.verify();
  }

  static void change(EmbeddedPhotoLibrary& library) {
    const ChangeResult result =
        changeAndWait(library, [](app::PhotosChanges& changes) { changes.creationRequestForAlbum("Later"); });
    EXPECT_TRUE(result.success);
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
    EXPECT_EQ(library.folderOfNewLibrary(), root);
    EXPECT_FALSE(fs::exists(root.path())) << "asking changes nothing";
    EXPECT_EQ(requestAndWait(library), PhotosAuthorizationStatus::authorized);
    EXPECT_EQ(library.folderOfNewLibrary(), std::nullopt);
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

TEST_F(EmbeddedLibrary, isNotDeterminedWhereTheDiskIsFullWhileItIsMade) {
  if (const auto reason = reasonAgainstPrivateMounts()) {
    GTEST_SKIP() << *reason;
  }
  const std::string place = folder_.url().path();
  inPrivateMountNamespace([&] {
    for (const char* const size : {"size=12k", "size=16k", "size=32k", "size=40k", "size=64k", "size=4k"}) {
      ASSERT_EQ(mount("tmpfs", place.c_str(), "tmpfs", 0, size), 0);
      EmbeddedPhotoLibrary library(root);
      EXPECT_EQ(requestAndWait(library), PhotosAuthorizationStatus::notDetermined) << size;
      EXPECT_EQ(caseOf(library.requestFailure()), Case::notEnoughSpace) << size;
      EXPECT_EQ(library.authorizationStatus(), PhotosAuthorizationStatus::notDetermined) << size;
      ASSERT_EQ(mount("tmpfs", place.c_str(), "tmpfs", MS_REMOUNT, "size=10m"), 0);
      EXPECT_EQ(requestAndWait(library), PhotosAuthorizationStatus::authorized) << size;
      EXPECT_FALSE(library.requestFailure()) << size;
    }
  });
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
  importPictures(*library, {file("a.jpg")});
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

TEST_F(EmbeddedLibrary, theCodeOfWhatIsNotLocalIsTheOneThatTheProgramKnows) {
  const app::PhotosPlatformError error(Case::networkAccessRequired, "");
  EXPECT_EQ(error.domain(), "PHPhotosErrorDomain");
  EXPECT_EQ(error.code(), 3164);
}

// Two pictures in an album; then people do something to the file of one of them.
class Presence : public EmbeddedLibrary {
 protected:
  using Edit = std::function<void(const FileURL& original)>;

  Presence() {
    changeAndWait(*library, [](app::PhotosChanges& changes) { changes.creationRequestForAlbum("Album"); });
    album = library->fetchAlbums("Album").at(0);
    importPictures(*library, {file("a.jpg", "picture"), file("b.jpg", "another")}, album);
    assets = library->fetchAssets(album);
    resource = library->assetResources(assets.at(0)).at(0);
  }

  // Every way of asking, each of which has to give the same answer.
  void expectInLibrary(const std::vector<app::PhotosAsset>& expected) {
    std::vector<std::string> identifiers;
    for (const auto& asset : expected) {
      identifiers.push_back(asset.localIdentifier);
    }
    EXPECT_EQ(library->fetchAssets(app::PhotosFetchOptions{}), expected);
    EXPECT_EQ(library->fetchAssets({.creationDates = {{.from = day(-1), .to = day(1)}}}), expected);
    EXPECT_EQ(library->fetchAssets(std::vector{assets.at(0).localIdentifier, assets.at(1).localIdentifier}),
              expected);
    EXPECT_EQ(library->fetchAssets(album), expected);
    EXPECT_EQ(library->albumsWithCounts().at(0).assetCount, static_cast<std::int64_t>(expected.size()));
    std::vector<app::PhotosAsset> listed;
    library->forEachAsset([&](const platform::linux_::ListedAsset& asset) {
      listed.push_back(asset.asset);
      return true;
    });
    EXPECT_EQ(listed, expected);
  }

  DataResult read() { return readAndWait(*library, resource); }

  const std::unique_ptr<EmbeddedPhotoLibrary> library = open();
  app::PhotosAlbum album;
  std::vector<app::PhotosAsset> assets;
  app::PhotosAssetResource resource;  // of the first
  const FileURL day0 = root.appending(dayFolder(day(0)));
  const FileURL original = day0.appending("a.jpg");
};

// The original is no longer what was imported.
struct Loss {
  const char* name;
  std::function<void(const FileURL& original)> happen;
};

class LostOriginal : public Presence, public testing::WithParamInterface<Loss> {};

TEST_P(LostOriginal, isNoLongerInTheLibrary) {
  expectInLibrary(assets);
  GetParam().happen(original);
  expectInLibrary({assets.at(1)});
  const DataResult result = read();
  EXPECT_EQ(caseOf(result.error), Case::identifierNotFound);
  EXPECT_TRUE(result.bytes.empty());
}

INSTANTIATE_TEST_SUITE_P(
    , LostOriginal,
    testing::Values(Loss{"deleted", [](const FileURL& url) { fs::remove(url.path()); }},
                    Loss{"cutToNothing", [](const FileURL& url) { fs::resize_file(url.path(), 0); }},
                    Loss{"cutByAByte", [](const FileURL& url) { fs::resize_file(url.path(), 6); }},
                    Loss{"longer", [](const FileURL& url) { writeFile(url, "picture, edited"); }},
                    Loss{"renamed", [](const FileURL& url) { fs::rename(url.path(), url.path() + "~"); }},
                    Loss{"aFolder",
                         [](const FileURL& url) {
                           fs::remove(url.path());
                           fs::create_directory(url.path());
                         }},
                    Loss{"aPipe",
                         [](const FileURL& url) {
                           fs::remove(url.path());
                           ASSERT_EQ(mkfifo(url.path().c_str(), 0600), 0);
                         }},
                    Loss{"aLinkToAFileOfAnotherSize",
                         [](const FileURL& url) {
                           writeFile(FileURL(url.path() + ".other"), "other");
                           putLink(url, FileURL(url.path() + ".other"));
                         }},
                    Loss{"aLinkToAFolder", [](const FileURL& url) { putLink(url, FileURL("/tmp")); }}),
    [](const auto& loss) { return loss.param.name; });

TEST_F(Presence, endsWithTheFolderOfTheOriginal) {
  fs::remove_all(day0.path());
  expectInLibrary({});
  writeFile(day0, "a file where the folder was");
  expectInLibrary({});
}

TEST_F(Presence, comesBackWithTheOriginal) {
  fs::rename(original.path(), (folder_ / "away.jpg").path());
  expectInLibrary({assets.at(1)});
  fs::rename((folder_ / "away.jpg").path(), original.path());
  expectInLibrary(assets);
}

TEST_F(Presence, needsEveryOriginalOfTheAsset) {
  changeCatalogue(
      "INSERT INTO resources (asset, position, type, original_filename, path, path_key, byte_count)"
      " SELECT asset, 1, type, 'c.jpg', 'Originals/c.jpg', 'originals/c.jpg', 5 FROM resources"
      " WHERE original_filename = 'a.jpg'");
  expectInLibrary({assets.at(1)});
  writeFile(root.appending("Originals/c.jpg"), "12345");
  expectInLibrary(assets);
  fs::remove(original.path());
  expectInLibrary({assets.at(1)});
}

TEST_F(Presence, ofAnEmptyOriginalEndsWhereSomethingElseIsEmptyToo) {
  changeCatalogue("UPDATE resources SET byte_count = 0 WHERE original_filename = 'a.jpg'");
  writeFile(original, "");
  expectInLibrary(assets);
  fs::remove(original.path());
  ASSERT_EQ(mkfifo(original.path().c_str(), 0600), 0);
  expectInLibrary({assets.at(1)});
}

TEST_F(Presence, ofAnOriginalThatWasEditedWithoutChangingItsSizeRemains) {
  writeFile(original, "PICTURE");
  expectInLibrary(assets);
  EXPECT_EQ(read().bytes, "PICTURE");
}

TEST_F(Presence, isSeenThroughALinkInTheOriginalsPlace) {
  fs::rename(original.path(), (folder_ / "elsewhere.jpg").path());
  putLink(original, folder_ / "elsewhere.jpg");
  expectInLibrary(assets);
  EXPECT_EQ(read().bytes, "picture");
}

TEST_F(Presence, isSeenThroughLinkedFolders) {
  fs::create_directory((folder_ / "Disk").path());
  for (const std::string& name : {dayFolder(day(0)), std::string("Originals")}) {
    const FileURL moved = folder_ / ("Disk/" + std::to_string(name.size()));
    fs::rename(root.appending(name).path(), moved.path());
    fs::create_directory_symlink(moved.path(), root.appending(name).path());
    expectInLibrary(assets);
    EXPECT_EQ(read().bytes, "picture");
  }
}

TEST_F(Presence, isNotLocalWhereALinkLeadsNowhere) {
  putLink(original, FileURL("/nowhere/a.jpg"));
  expectInLibrary(assets);
  EXPECT_EQ(caseOf(read().error), Case::networkAccessRequired);
  putLink(original, original);
  expectInLibrary(assets);
  EXPECT_EQ(caseOf(read().error), Case::invalidResource) << "a link to itself";
}

TEST_F(Presence, isNotLocalWhereTheFolderIsALinkThatLeadsNowhere) {
  fs::remove_all(day0.path());
  fs::create_directory_symlink("/nowhere", day0.path());
  expectInLibrary(assets);
  EXPECT_EQ(caseOf(read().error), Case::networkAccessRequired);
}

TEST_F(Presence, isNotToldWhereTheFolderOfOriginalsCannotBeRead) {
  const FileURL originals = root.appending("Originals");
  fs::rename(originals.path(), (folder_ / "Elsewhere").path());
  for (const bool isLink : {false, true}) {
    if (isLink) {
      fs::create_directory_symlink("/nowhere", originals.path());
    }
    EXPECT_EQ(caseOfThrown([&] { library->fetchAssets(app::PhotosFetchOptions{}); }),
              Case::networkAccessRequired);
    EXPECT_EQ(caseOfThrown([&] { library->fetchAssets(std::vector{assets.at(0).localIdentifier}); }),
              Case::networkAccessRequired);
    EXPECT_EQ(caseOfThrown([&] { library->fetchAssets(album); }), Case::networkAccessRequired);
    EXPECT_EQ(caseOf(read().error), Case::networkAccessRequired);
    EXPECT_TRUE(library->fetchAssets({.creationDates = {{.from = day(5), .to = day(6)}}}).empty());
    const ChangeResult result = importPictures(*library, {file("c.jpg")});
    EXPECT_FALSE(result.success);
    EXPECT_EQ(caseOf(result.error), Case::networkAccessRequired);
    EXPECT_FALSE(fs::exists(originals.path())) << "or all pictures would count as deleted";
  }
  fs::remove(originals.path());
  fs::create_directory(originals.path());  // says that they were deleted on purpose
  expectInLibrary({});
  EXPECT_TRUE(importPictures(*library, {file("c.jpg")}).success);
}

TEST_F(Presence, isProvenByTheContentOfTheOriginalAlone) {
  const std::string& asset = assets.at(0).localIdentifier;
  const std::string sha256 = FileFingerprinter::sha256(file("same.jpg", "picture"));
  EXPECT_TRUE(library->proveOriginal(asset, sha256, {}));
  EXPECT_FALSE(library->proveOriginal(assets.at(1).localIdentifier, sha256, {}));
  writeFile(original, "PICTURE");
  EXPECT_FALSE(library->proveOriginal(asset, sha256, {}));
  writeFile(original, "picture");
  EXPECT_TRUE(library->proveOriginal(asset, sha256, {}));
  fs::remove(original.path());
  EXPECT_FALSE(library->proveOriginal(asset, sha256, {}));
}

TEST_F(Presence, isNotProvenThroughLinks) {
  const std::string& asset = assets.at(0).localIdentifier;
  const std::string sha256 = FileFingerprinter::sha256(file("same.jpg", "picture"));
  putLink(original, folder_ / "Card/same.jpg");
  expectInLibrary(assets);
  EXPECT_FALSE(library->proveOriginal(asset, sha256, {})) << "it may be the file that is to be deleted";
  fs::remove(original.path());
  writeFile(original, "picture");
  EXPECT_TRUE(library->proveOriginal(asset, sha256, {}));
  fs::rename(day0.path(), (folder_ / "moved").path());
  fs::create_directory_symlink((folder_ / "moved").path(), day0.path());
  expectInLibrary(assets);
  EXPECT_FALSE(library->proveOriginal(asset, sha256, {}));
}

// A forged catalogue gives access to nothing outside the library.
class HostileCatalogue : public EmbeddedLibrary, public testing::WithParamInterface<const char*> {};

TEST_P(HostileCatalogue, reachesNothing) {
  const auto library = open();
  writeFile(folder_ / "Pictures/secret", "secret");
  writeFile(root.appending("secret"), "secret");
  importPictures(*library, {file("a.jpg")});
  const auto resource = library->assetResources(library->fetchAssets(app::PhotosFetchOptions{}).at(0)).at(0);
  ASSERT_EQ(mkfifo(root.appending("Originals/pipe").path().c_str(), 0600), 0);
  changeCatalogue("UPDATE resources SET byte_count = 6, path = '" + std::string(GetParam()) + "'");
  EXPECT_TRUE(library->fetchAssets(app::PhotosFetchOptions{}).empty());
  const DataResult result = readAndWait(*library, resource);
  EXPECT_TRUE(result.error);
  EXPECT_TRUE(result.bytes.empty()) << result.bytes;
  const auto found = library->verify();
  EXPECT_EQ(found.missing.size() + found.changed.size(), 1U);
}

INSTANTIATE_TEST_SUITE_P(, HostileCatalogue,
                         testing::Values("../secret", "../../secret", "/etc/passwd", "secret",
                                         "Library.sqlite", "Originals/../../secret", "Originals/../secret",
                                         "Originals/pipe", "Originals", "Originals/", "Originals//secret",
                                         "Originals/.", "Originals/..", "", "/", ".", ".."),
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

TEST_F(EmbeddedLibrary, importsIntoALinkedFolder) {
  const auto library = open();
  const std::string year = "Originals/" + dayFolder(day(0)).substr(10, 4);
  fs::create_directories((folder_ / "Elsewhere").path());
  fs::create_directory_symlink((folder_ / "Elsewhere").path(), root.appending(year).path());
  EXPECT_TRUE(importPictures(*library, {file("a.jpg", "picture")}).success);
  EXPECT_EQ(readFile(folder_ / ("Elsewhere/" + dayFolder(day(0)).substr(15) + "/a.jpg")), "picture");
  EXPECT_TRUE(library->verify().isSound());
}

TEST_F(EmbeddedLibrary, aLinkInPlaceOfTheFolderForIncomingFilesIsNotFollowed) {
  const auto library = open();
  const FileURL incoming = root.appending("Originals/.incoming");
  const FileURL foreign = folder_ / ("Elsewhere/" + platform::linux_::newIncomingName());
  writeFile(foreign, "not the library's");
  fs::remove_all(incoming.path());
  fs::create_directory_symlink((folder_ / "Elsewhere").path(), incoming.path());
  EXPECT_FALSE(importPictures(*library, {file("a.jpg")}).success);
  EXPECT_TRUE(fs::exists(foreign.path()));
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
  const auto library = open();
  importPictures(*library, {file("a.jpg")});
  for (const FileURL& url : foreign) {
    writeFile(url, "the user's");
  }
  importPictures(*library, {file("a.jpg")});
  changeAndWait(*library, [](app::PhotosChanges&) { throw std::runtime_error("no"); });
  open();
  for (const FileURL& url : foreign) {
    EXPECT_EQ(readFile(url), "the user's") << url.path();
  }
}

TEST_F(EmbeddedLibrary, leavesAnIncomingFileThatNoIntentNamesAndListsIt) {
  open();
  const FileURL leftover =
      root.appending("Originals/.incoming").appending(platform::linux_::newIncomingName());
  writeFile(leftover, "half a pict");
  change(*open());
  EXPECT_EQ(readFile(leftover), "half a pict");
  EXPECT_EQ(open()->verify().unfinished, std::vector{leftover});
}

// As a crash leaves a change that no history had prepared.
class IntentLeft : public EmbeddedLibrary {
 protected:
  IntentLeft() {
    open();
    Catalogue catalogue(root.appending("Library.sqlite"), noTimeout);
    auto transaction = catalogue.change();
    catalogue.insertIntent({.history = std::nullopt,
                            .temporaryName = std::string(incoming.lastPathComponent()),
                            .album = std::nullopt,
                            .asset = {.localIdentifier = "asset", .creationDate = std::nullopt},
                            .original = {.originalFilename = "PICT0001.JPG", .path = path}});
    transaction.commit();
  }

  std::size_t intents() const {
    return Catalogue(root.appending("Library.sqlite"), noTimeout).intents().size();
  }

  const std::string path = "Originals/2026/2026-11-20/PICT0001.JPG";
  const FileURL original = root.appending(path);
  const FileURL incoming =
      root.appending("Originals/.incoming").appending(platform::linux_::newIncomingName());
};

TEST_F(IntentLeft, theIncomingFileIsSweptByTheNextChange) {
  writeFile(incoming, "half a pict");
  const auto library = open();
  lookAtEverything(*library);
  EXPECT_TRUE(fs::exists(incoming.path())) << "looking changes nothing";
  change(*library);
  EXPECT_FALSE(fs::exists(incoming.path()));
  EXPECT_EQ(intents(), 0U);
}

TEST_F(IntentLeft, theFileThatHasItsNameStaysAndIsListed) {
  writeFile(original, "ours");
  change(*open());
  EXPECT_EQ(readFile(original), "ours");
  EXPECT_EQ(intents(), 1U);
  const auto verification = open()->verify();
  EXPECT_EQ(verification.unfinished, std::vector{original});
  EXPECT_EQ(verification.unknown, std::vector<FileURL>());
}

TEST_F(IntentLeft, theNameIsNotGivenToAnotherFile) {
  changeCatalogue("UPDATE intents SET path = '" + dayFolder(day(0)) + "/PICT0001.JPG', path_key = lower('" +
                  dayFolder(day(0)) + "/PICT0001.JPG'), history = 'another'");
  importPictures(*open(), {file("PICT0001.JPG")});
  EXPECT_EQ(filesOfLibrary(), std::set{dayFolder(day(0)) + "/PICT0001 2.JPG"});
}

TEST_F(IntentLeft, aHostileCatalogueReachesNothingByIt) {
  changeCatalogue("UPDATE intents SET history = 'another'");
  importPictures(*open(), {file("PICT0001.JPG")});
  changeCatalogue("UPDATE intents SET history = NULL");
  for (const std::string name : {"../../secret", "../PICT0001.JPG", "c.jpg"}) {
    writeFile(root.appending("secret"), "secret");
    writeFile(root.appending("Originals/.incoming/c.jpg"), "secret");
    writeFile(root.appending("Originals/PICT0001.JPG"), "secret");
    changeCatalogue("UPDATE intents SET temporary_name = '" + name + "'");
    change(*open());
    EXPECT_TRUE(fs::exists(root.appending("secret").path()));
    EXPECT_TRUE(fs::exists(root.appending("Originals/.incoming/c.jpg").path()));
    EXPECT_TRUE(fs::exists(root.appending("Originals/PICT0001.JPG").path()));
  }
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
        const LibraryLock lock{LibraryFolder(root), noTimeout};
        Catalogue catalogue(root.appending("Library.sqlite"), noTimeout);
        const auto transaction = catalogue.change();
        writing.give();
        done.await();
      },
      [&] {
        writing.await();
        EmbeddedPhotoLibrary library(root, noTimeout);
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
        const LibraryLock lock{LibraryFolder(root), noTimeout};
        writing.give();
      },
      [&] {
        writing.await();
        EmbeddedPhotoLibrary library(root, std::chrono::minutes(1));
        EXPECT_TRUE(importPictures(library, {url}).success);
      });
  EXPECT_EQ(filesOfLibrary().size(), 1U);
}

TEST_F(EmbeddedLibrary, aLockWhoseFileWasDeletedIsNoLongerHeld) {
  open();
  const LibraryLock first{LibraryFolder(root), noTimeout};
  EXPECT_NO_THROW(first.requireHeld());
  fs::remove(root.appending("Library.lock").path());
  EXPECT_THROW(first.requireHeld(), app::PhotosPlatformError);
  const LibraryLock second{LibraryFolder(root), noTimeout};
  EXPECT_NO_THROW(second.requireHeld());
  EXPECT_THROW(first.requireHeld(), app::PhotosPlatformError);
}

TEST_F(EmbeddedLibrary, aSecondProcessWaitsForTheHolderOfTheNewLockFile) {
  open();
  const LibraryLock first{LibraryFolder(root), noTimeout};
  fs::remove(root.appending("Library.lock").path());
  const LibraryLock second{LibraryFolder(root), noTimeout};
  EXPECT_THROW((LibraryLock{LibraryFolder(root), noTimeout}), app::PhotosPlatformError);
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
  const auto library = open(noTimeout);
  Database other(root.appending("Library.sqlite"), Database::OpenMode::existing, noTimeout);
  other.run("BEGIN IMMEDIATE");
  const ChangeResult result = importPictures(*library, {file("a.jpg")});
  EXPECT_FALSE(result.success);
  EXPECT_EQ(textOf(result.error), "another program is changing the photo library");
  other.run("ROLLBACK");
  EXPECT_TRUE(filesOfLibrary().empty());
}

// Originals whose content is known without a read.

class UnchangedOriginals : public EmbeddedLibrary {
 protected:
  UnchangedOriginals() {
    importPictures(*library, {file("PICT0001.JPG", content)});
    identifier = library->fetchAssets(app::PhotosFetchOptions{}).at(0).localIdentifier;
    original = FileURL(listedFiles(*library).at(0));
    modified = *fileResourceValues(original).contentModificationDate;
  }

  std::vector<app::PhotosUnchangedOriginal> unchanged() { return *library->unchangedOriginals({identifier}); }

  const std::string content = "content";
  const std::unique_ptr<EmbeddedPhotoLibrary> library = open();
  std::string identifier;
  FileURL original{"/"};
  Date modified;
};

TEST_F(UnchangedOriginals, areToldWithTheirHashAndSize) {
  const app::PhotosUnchangedOriginal expected{.resource = {.assetLocalIdentifier = identifier,
                                                           .index = 0,
                                                           .type = app::PhotosResourceType::photo,
                                                           .originalFilename = "PICT0001.JPG"},
                                              .byteCount = 7,
                                              .sha256 = FileFingerprinter::sha256(original)};
  EXPECT_EQ(unchanged(), std::vector{expected});
  EXPECT_EQ(library->unchangedOriginals({identifier, "unknown", identifier}), std::vector{expected});
  EXPECT_EQ(library->unchangedOriginals({}), std::vector<app::PhotosUnchangedOriginal>());
}

TEST_F(UnchangedOriginals, areNotThoseThatWereEditedInPlace) {
  writeFile(original, "CONTENT");
  setContentModificationDate(original, modified + std::chrono::nanoseconds(1));
  EXPECT_TRUE(unchanged().empty());
}

TEST_F(UnchangedOriginals, areNotThoseOfAnotherSizeWhateverTheirDate) {
  writeFile(original, "longer content");
  setContentModificationDate(original, modified);
  EXPECT_TRUE(unchanged().empty());
  writeFile(original, content);
  setContentModificationDate(original, modified);
  EXPECT_EQ(unchanged().size(), 1U);
}

TEST_F(UnchangedOriginals, areNotThoseThatAreGoneOrReplaced) {
  fs::rename(original.path(), original.path() + "x");
  EXPECT_TRUE(unchanged().empty());
  fs::create_directory(original.path());
  EXPECT_TRUE(unchanged().empty());
}

TEST_F(UnchangedOriginals, areNotThoseOfAnAssetOfSeveralFiles) {
  changeCatalogue(
      "INSERT INTO resources SELECT asset, 1, type, 'B.JPG', path || 'x', path_key || 'x', byte_count, "
      "sha256,"
      " modified FROM resources");
  EXPECT_TRUE(unchanged().empty());
}

TEST_F(UnchangedOriginals, areNotThoseThatWereNeverHashed) {
  changeCatalogue("UPDATE resources SET sha256 = NULL, modified = NULL");
  EXPECT_TRUE(unchanged().empty());
}

TEST_F(UnchangedOriginals, areNotReadForThat) {
  fs::permissions(original.path(), fs::perms::none);
  EXPECT_EQ(unchanged().size(), 1U);
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

// Of a library with a picture of eight bytes, and others as a test wants them.
class Verifying : public EmbeddedLibrary {
 protected:
  Verifying() { importPictures(*library, {file("a.jpg", "picture.")}); }

  static std::vector<FileURL> filesOf(const std::vector<platform::linux_::FaultyOriginal>& originals) {
    std::vector<FileURL> files;
    for (const auto& original : originals) {
      files.push_back(original.file);
    }
    return files;
  }

  // What the catalogue knows of the content of the first picture.
  std::optional<platform::linux_::CataloguedContent> content() {
    Catalogue catalogue(root.appending("Library.sqlite"), noTimeout);
    return catalogue.originals(asset).at(0).content;
  }

  void forgetContents() { changeCatalogue("UPDATE resources SET sha256 = NULL, modified = NULL"); }

  const std::unique_ptr<EmbeddedPhotoLibrary> library = open();
  const std::string asset = (importPictures(*library, {file("0.jpg", "first")}),
                             library->fetchAssets(app::PhotosFetchOptions{}).at(0).localIdentifier);
  const FileURL day0 = root.appending(dayFolder(day(0)));
  const FileURL first = day0.appending("0.jpg");
};

TEST_F(Verifying, tellsWhatIsWrongWithEachFileAndWhatIsNotOurs) {
  importPictures(*library, {file("b.jpg"), file("c.jpg"), file("d.jpg"), file("e.jpg")});
  EXPECT_TRUE(library->verify().isSound());
  fs::remove(first.path());
  writeFile(day0.appending("b.jpg"), "longer than it was");
  writeFile(day0.appending("c.jpg"), "CONTENT");
  putLink(day0.appending("d.jpg"), FileURL("/nowhere/d.jpg"));
  fs::remove(day0.appending("e.jpg").path());
  fs::create_directory(day0.appending("e.jpg").path());
  writeFile(day0.appending("f.jpg"), "the user's");
  const auto found = library->verify();
  EXPECT_EQ(found.assets, 6);
  EXPECT_EQ(found.originals, 6);
  EXPECT_EQ(filesOf(found.missing), std::vector{first});
  EXPECT_EQ(found.missing.at(0).assetIdentifier, asset);
  EXPECT_EQ(filesOf(found.changed), (std::vector{day0.appending("b.jpg"), day0.appending("e.jpg")}));
  EXPECT_EQ(found.changed.at(0).reason, "18 bytes instead of 7");
  EXPECT_EQ(found.changed.at(1).reason, "not a file");
  EXPECT_EQ(filesOf(found.damaged), std::vector{day0.appending("c.jpg")});
  EXPECT_EQ(filesOf(found.unreadable), std::vector{day0.appending("d.jpg")});
  EXPECT_EQ(found.unknown, std::vector{day0.appending("f.jpg")});
  EXPECT_TRUE(found.catalogueProblems.empty());
  EXPECT_FALSE(found.isSound());
}

TEST_F(Verifying, readsNothingWhereOnlySizesAreAskedFor) {
  writeFile(first, "FIRST");
  forgetContents();
  const auto found = library->verify(
      {}, {.readsContent = false, .progress = [](const auto& progress) { EXPECT_EQ(progress.bytes, 0); }});
  EXPECT_TRUE(found.isSound());
  EXPECT_EQ(content(), std::nullopt);
}

TEST_F(Verifying, keepsHashesThatItLearns) {
  const auto before = content();
  ASSERT_TRUE(before);
  forgetContents();
  EXPECT_EQ(library->verify().hashedForTheFirstTime, 2);
  EXPECT_EQ(content(), before);
  EXPECT_EQ(library->verify().hashedForTheFirstTime, 0);
  writeFile(first, "FIRST");
  EXPECT_EQ(filesOf(library->verify().damaged), std::vector{first});
  EXPECT_EQ(content(), before) << "a damaged file teaches nothing";
}

TEST_F(Verifying, keepsTheNewDateOfAnOriginalThatHoldsWhatItDid) {
  setContentModificationDate(first, day(-200));
  EXPECT_TRUE(library->verify().isSound());
  EXPECT_EQ(content().value().modified, day(-200));
}

TEST_F(Verifying, keepsNothingWhileAnotherProcessChangesTheLibrary) {
  forgetContents();
  const LibraryLock lock{LibraryFolder(root), noTimeout};
  EXPECT_EQ(library->verify().hashedForTheFirstTime, 2);
  EXPECT_EQ(content(), std::nullopt);
}

TEST_F(Verifying, believesTheHistoryOfAnOriginalThatWasNeverHashed) {
  const auto before = content();
  forgetContents();
  EXPECT_EQ(library->verify({}, {.knownContents = {{asset, before->sha256}}}).hashedForTheFirstTime, 1);
  EXPECT_EQ(content(), before);
  forgetContents();
  const auto found = library->verify({}, {.knownContents = {{asset, std::string(64, '0')}}});
  EXPECT_EQ(filesOf(found.damaged), std::vector{first});
  EXPECT_EQ(content(), std::nullopt);
}

TEST_F(Verifying, goesThroughMoreOriginalsThanItAsksForAtATime) {
  importPictures(*library, std::vector<FileURL>(450, file("x.jpg")));
  fs::remove(day0.appending("x 450.jpg").path());
  platform::linux_::VerificationProgress last;
  const auto found = library->verify({}, {.progress = [&last](const auto& progress) { last = progress; }});
  EXPECT_EQ(found.originals, 452);
  EXPECT_EQ(filesOf(found.missing), std::vector{day0.appending("x 450.jpg")});
  EXPECT_EQ(last.originals, 452);
  EXPECT_EQ(last.originalsInAll, 452);
  EXPECT_EQ(last.bytesInAll, 450 * 7 + 13);
  EXPECT_EQ(last.bytes, last.bytesInAll - 7) << "one was not there to be read";
}

TEST_F(Verifying, looksThroughLinkedFoldersOnce) {
  fs::rename(day0.path(), (folder_ / "Elsewhere").path());
  fs::create_directory_symlink((folder_ / "Elsewhere").path(), day0.path());
  fs::create_directory_symlink(root.appending("Originals").path(), (folder_ / "Elsewhere/back").path());
  writeFile(folder_ / "Elsewhere/own.txt", "the user's");
  const auto found = library->verify();
  EXPECT_TRUE(found.isSound());
  EXPECT_EQ(found.unknown, std::vector{day0.appending("own.txt")});
}

TEST_F(Verifying, canBeCancelled) {
  CancellationSource source;
  source.cancel();
  EXPECT_THROW(library->verify(source.token()), CancellationError);
}

TEST_F(Verifying, canBeCancelledWithinAFile) {
  importPictures(*library, {file("x.jpg", std::string(3'000'000, 'x'))});
  CancellationSource source;
  std::int64_t most = 0;
  const auto cancelEarly = [&](const platform::linux_::VerificationProgress& progress) {
    most = progress.bytes;
    if (progress.bytes > 1'000'000) {
      source.cancel();
    }
  };
  EXPECT_THROW(library->verify(source.token(), {.progress = cancelEarly}), CancellationError);
  EXPECT_LT(most, 2'000'000);
}

// As when a year is moved to another disk and linked to.
TEST_F(EmbeddedLibrary, importsIntoAFolderOnAnotherDisk) {
  if (const auto reason = reasonAgainstPrivateMounts()) {
    GTEST_SKIP() << *reason;
  }
  if (const auto reason = LoopVolume::reasonAgainst(LoopVolume::Format::ext4)) {
    GTEST_SKIP() << *reason;
  }
  const FileURL url = file("a.jpg", "picture");
  inPrivateMountNamespace([&] {
    LoopVolume volume(LoopVolume::Format::ext4, "PICTURES");
    const auto library = open();
    const FileURL day0 = root.appending(dayFolder(day(0)));
    fs::create_directories(day0.deletingLastPathComponent().path());
    fs::create_directory_symlink(volume.mountPoint().path(), day0.path());
    const ChangeResult result = importPictures(*library, {url, url});
    EXPECT_TRUE(result.success) << textOf(result.error);
    EXPECT_EQ(library->fetchAssets(app::PhotosFetchOptions{}).size(), 2U);
    EXPECT_TRUE(library->verify().isSound());
    EXPECT_TRUE(fs::is_empty(root.appending("Originals/.incoming").path()));
    std::set<std::string> names;
    for (const auto& entry : fs::directory_iterator(volume.mountPoint().path())) {
      names.insert(entry.path().filename().string());
    }
    names.erase("lost+found");
    EXPECT_EQ(names, (std::set<std::string>{"a.jpg", "a 2.jpg"}));
    EXPECT_EQ(readFile(volume.mountPoint().appending("a 2.jpg")), "picture");
    change(*library);
    const app::PhotosAlbum album = library->fetchAlbums("Later").at(0);
    const ChangeResult failed = changeAndWait(*library, [&](app::PhotosChanges& changes) {
      auto* request = changes.creationRequestForAssetFromImage(url);
      request->setCreationDate(day(0));
      changes.changeRequest(album, {})->addAssets({*request->placeholderForCreatedAsset()});
      changeCatalogue("DELETE FROM albums");
    });
    EXPECT_FALSE(failed.success);
    EXPECT_FALSE(fs::exists(volume.mountPoint().appending("a 3.jpg").path())) << "it is taken back";
    volume.unplug();
  });
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
