#include "Platform/Linux/PhotoLibrary/Catalogue.h"

#include <gtest/gtest.h>

#include <filesystem>

#include "Platform/Linux/PhotoLibrary/CatalogueSchema.h"
#include "Platform/Linux/PhotoLibrary/Database.h"
#include "Tests/Support/Application/EmbeddedLibrary.h"
#include "TolvanderCore/Files/FileFingerprinter.h"
#include "TolvanderCore/Files/FileOperations.h"

namespace tolvander::tests {
namespace {

namespace fs = std::filesystem;
using namespace platform::linux_;
using Case = app::PhotosPlatformError::Case;

constexpr std::chrono::milliseconds noTimeout(0);

class CatalogueFile : public testing::Test {
 protected:
  // What a fetch says; empty where it fails without the library's own error.
  std::string refusal() {
    EmbeddedPhotoLibrary library(root, noTimeout);
    EXPECT_EQ(library.authorizationStatus(), app::PhotosAuthorizationStatus::authorized);
    try {
      library.fetchAssets(app::PhotosFetchOptions{});
      ADD_FAILURE() << "it was opened";
    } catch (const app::PhotosPlatformError& error) {
      EXPECT_EQ(error.kind(), Case::internalError);
      const ChangeResult result = importPictures(library, {picture});
      EXPECT_FALSE(result.success);
      EXPECT_EQ(caseOf(result.error), Case::internalError);
      return error.what();
    }
    return {};
  }

  void make(int version) {
    fs::create_directories(root.path());
    Database database(file, Database::OpenMode::existingOrNew, noTimeout);
    upgradeCatalogue(database, version);
    database.checkpointOnClose();
  }

  void change(const std::string& sql) {
    Database database(file, Database::OpenMode::existing, noTimeout);
    database.run(sql);
    database.checkpointOnClose();
  }

  CatalogueFile() { writeFile(picture, "picture"); }

  TemporaryFolder folder_;
  const FileURL root = folder_ / "Tolvander";
  const FileURL file = root.appending("Library.sqlite");
  const FileURL picture = folder_ / "a.jpg";
};

TEST_F(CatalogueFile, ofTheFirstVersionIsUpgradedWithAllItHolds) {
  make(1);
  change(
      "INSERT INTO assets VALUES (7, 'asset', 1, 1000000000, 640, 480, 0.0);"
      "INSERT INTO resources VALUES (7, 0, 0, 'a.jpg', 'Originals/a.jpg', 'originals/a.jpg', 5);"
      "INSERT INTO albums VALUES (3, 'album', 'Album'); INSERT INTO memberships VALUES (1, 3, 7);");
  writeFile(root.appending("Originals/a.jpg"), "12345");
  const std::string before = readFile(file);
  EmbeddedPhotoLibrary library(root, noTimeout);
  const app::PhotosAsset expected{.localIdentifier = "asset",
                                  .creationDate = dateSince1970(1),
                                  .mediaType = app::PhotosMediaType::image,
                                  .pixelWidth = 640,
                                  .pixelHeight = 480};
  EXPECT_EQ(library.fetchAssets(app::PhotosFetchOptions{}), std::vector{expected});
  EXPECT_EQ(library.fetchAssets(library.fetchAlbums("Album").at(0)), std::vector{expected});
  EXPECT_EQ(readAndWait(library, library.assetResources(expected).at(0)).bytes, "12345");
  EXPECT_EQ(readFile(file), before) << "looking changes nothing";
  EXPECT_TRUE(importPictures(library, {picture}).success);
  Database database(file, Database::OpenMode::existing, noTimeout);
  EXPECT_EQ(catalogueVersion(database), newestCatalogueVersion);
}

TEST_F(CatalogueFile, ofTheSecondVersionIsUpgradedWithoutHashesOfItsOriginals) {
  make(2);
  change(
      "INSERT INTO assets VALUES (7, 'asset', 1, 1000000000, 640, 480, 0.0);"
      "INSERT INTO resources VALUES (7, 0, 0, 'b.jpg', 'Originals/b.jpg', 'originals/b.jpg', 5);");
  writeFile(root.appending("Originals/b.jpg"), "12345");
  EmbeddedPhotoLibrary library(root, noTimeout);
  ASSERT_TRUE(importPictures(library, {picture}).success);
  Catalogue catalogue(file, noTimeout);
  EXPECT_EQ(catalogue.resource("asset", 0), (CataloguedResource{.type = app::PhotosResourceType::photo,
                                                                .originalFilename = "b.jpg",
                                                                .path = "Originals/b.jpg",
                                                                .byteCount = 5}));
}

TEST_F(CatalogueFile, keepsTheHashOfEachOriginalAndItsDateAtThatTime) {
  make(newestCatalogueVersion);
  EmbeddedPhotoLibrary library(root, noTimeout);
  // Longer than what is copied at a time.
  writeFile(picture, std::string(3'000'000, 'x') + "end");
  setContentModificationDate(picture, day(-100));
  ASSERT_TRUE(importPictures(library, {picture}).success);
  const auto asset = library.fetchAssets(app::PhotosFetchOptions{}).at(0);
  Catalogue catalogue(file, noTimeout);
  EXPECT_EQ(catalogue.resource(asset.localIdentifier, 0).value().content,
            (CataloguedContent{.sha256 = FileFingerprinter::sha256(picture), .modified = day(-100)}));
}

TEST_F(CatalogueFile, thatIsEmptyIsMade) {
  writeFile(file, "");
  EmbeddedPhotoLibrary library(root, noTimeout);
  EXPECT_TRUE(library.fetchAssets(app::PhotosFetchOptions{}).empty());
  EXPECT_TRUE(importPictures(library, {picture}).success);
}

TEST_F(CatalogueFile, ofANewerVersionIsRefusedAndLeftAsItIs) {
  make(newestCatalogueVersion);
  change("PRAGMA user_version=17");
  const std::string before = readFile(file);
  EXPECT_EQ(refusal(), "the photo library has version 17, and this program knows versions up to " +
                           std::to_string(newestCatalogueVersion));
  EXPECT_EQ(readFile(file), before);
}

TEST_F(CatalogueFile, ofANewerVersionKeepsItsLog) {
  make(newestCatalogueVersion);
  {
    Database database(file, Database::OpenMode::existing, noTimeout);
    database.run("PRAGMA user_version=17");
  }
  const std::string before = readFile(file);
  const std::string log = readFile(root.appending("Library.sqlite-wal"));
  EXPECT_FALSE(log.empty());
  refusal();
  EXPECT_EQ(readFile(file), before);
  EXPECT_EQ(readFile(root.appending("Library.sqlite-wal")), log);
}

TEST_F(CatalogueFile, ofAnotherProgramIsRefusedAndLeftAsItIs) {
  fs::create_directories(root.path());
  {
    Database database(file, Database::OpenMode::existingOrNew, noTimeout);
    database.run("CREATE TABLE assets (name); PRAGMA user_version=1");
  }
  const std::string before = readFile(file);
  EXPECT_EQ(refusal(), "Library.sqlite is not the catalogue of a photo library of this program");
  EXPECT_EQ(readFile(file), before);
}

TEST_F(CatalogueFile, thatIsNoDatabaseIsRefusedAndLeftAsItIs) {
  const std::string text(5000, '?');
  writeFile(file, text);
  EXPECT_TRUE(refusal().starts_with("the catalogue of the photo library is damaged")) << refusal();
  EXPECT_EQ(readFile(file), text);
}

TEST_F(CatalogueFile, thatIsCutIsRefusedAndLeftAsItIs) {
  make(newestCatalogueVersion);
  fs::resize_file(file.path(), 5000);
  const std::string before = readFile(file);
  EXPECT_TRUE(refusal().starts_with("the catalogue of the photo library is damaged")) << refusal();
  EXPECT_EQ(readFile(file), before);
}

TEST_F(CatalogueFile, thatIsALinkIsNotFollowed) {
  make(newestCatalogueVersion);
  fs::rename(file.path(), (folder_ / "elsewhere.sqlite").path());
  fs::create_symlink((folder_ / "elsewhere.sqlite").path(), file.path());
  EXPECT_FALSE(refusal().empty());
}

TEST_F(CatalogueFile, withDamagedPagesFailsWhereTheyAreRead) {
  make(newestCatalogueVersion);
  {
    EmbeddedPhotoLibrary library(root, noTimeout);
    importPictures(library, {picture});
  }
  std::string bytes = readFile(file);
  std::fill(bytes.begin() + 8192, bytes.end(), '\xA5');
  writeFile(file, bytes);
  EmbeddedPhotoLibrary library(root, noTimeout);
  try {
    EXPECT_FALSE(library.verify().isSound());
  } catch (const app::PhotosPlatformError& error) {
    EXPECT_EQ(error.kind(), Case::internalError);
  }
  EXPECT_FALSE(importPictures(library, {picture}).success);
}

TEST_F(CatalogueFile, keepsNamesThatAreNoText) {
  make(newestCatalogueVersion);
  EmbeddedPhotoLibrary library(root);
  const FileURL odd = folder_ / "a\xFF.jpg";
  writeFile(odd, "x");
  ASSERT_TRUE(importPictures(library, {odd}).success);
  const auto asset = library.fetchAssets(app::PhotosFetchOptions{}).at(0);
  EXPECT_EQ(library.assetResources(asset).at(0).originalFilename, "a\xFF.jpg");
  EXPECT_TRUE(listedFiles(library).at(0).ends_with("/a_.jpg"));
}

TEST_F(CatalogueFile, assetsWithoutADateAreOlderThanAllOthersAndInNoWindow) {
  make(newestCatalogueVersion);
  Catalogue catalogue(file, noTimeout);
  auto transaction = catalogue.change();
  for (const auto& [identifier, date] : std::vector<std::pair<std::string, std::optional<Date>>>{
           {"first", Date::min()}, {"none", std::nullopt}, {"last", Date::max()}}) {
    catalogue.insertAsset({.localIdentifier = identifier, .creationDate = date},
                          {.originalFilename = identifier, .path = "Originals/" + identifier});
  }
  transaction.commit();
  using Order = app::PhotosFetchOptions::Order;
  const auto areThere = [](const std::string&, std::int64_t) { return true; };
  const auto inOrder = [&](Order order) {
    std::string names;
    for (const auto& asset : catalogue.assets({.creationDates = {}, .order = order}, areThere)) {
      names += asset.localIdentifier + " ";
    }
    return names;
  };
  EXPECT_EQ(inOrder(Order::creationDateAscending), "none first last ");
  EXPECT_EQ(inOrder(Order::creationDateDescending), "last first none ");
  EXPECT_EQ(catalogue.assets({.creationDates = {{.from = Date::min(), .to = Date::max()}}}, areThere).size(),
            2U);
}

// A picture each day.
class CatalogueOfDays : public CatalogueFile {
 protected:
  CatalogueOfDays() {
    make(newestCatalogueVersion);
    catalogue.emplace(file, noTimeout);
    auto transaction = catalogue->change();
    for (int number = 0; number < 6; ++number) {
      const std::string name = std::to_string(number);
      catalogue->insertAsset({.localIdentifier = name, .creationDate = day(number)},
                             {.originalFilename = name, .path = "Originals/" + name});
    }
    transaction.commit();
  }

  static std::string namesOf(const std::vector<app::PhotosAsset>& assets) {
    std::string names;
    for (const auto& asset : assets) {
      names += asset.localIdentifier;
    }
    return names;
  }

  // Passes all but the first two, and notes what it was asked about.
  Catalogue::OriginalTest test() {
    asked.clear();
    return [this](const std::string& path, std::int64_t) {
      asked += path.back();
      return path.back() > '1';
    };
  }

  std::optional<Catalogue> catalogue;
  std::string asked;
};

TEST_F(CatalogueOfDays, aLimitCountsOnlyAssetsThatAreThere) {
  EXPECT_EQ(namesOf(catalogue->assets({.creationDates = {}, .fetchLimit = 2}, test())), "23");
  EXPECT_EQ(asked, "0123") << "nothing else is looked at";
  EXPECT_EQ(namesOf(catalogue->assets({.creationDates = {{.from = day(1), .to = day(4)}}, .fetchLimit = 3},
                                      test())),
            "234");
  EXPECT_EQ(asked, "1234");
  EXPECT_EQ(namesOf(catalogue->assets({.creationDates = {},
                                       .order = app::PhotosFetchOptions::Order::creationDateDescending,
                                       .fetchLimit = 3},
                                      test())),
            "543");
  EXPECT_EQ(asked, "543");
}

TEST_F(CatalogueOfDays, onlyTheAssetsThatAreAskedForAreLookedAt) {
  EXPECT_EQ(namesOf(catalogue->assets(std::vector<std::string>{"4", "0", "4", "none"}, test())), "4");
  EXPECT_EQ(asked, "40");
  catalogue->albumsWithCounts(test());
  EXPECT_EQ(asked, "");
}

}  // namespace
}  // namespace tolvander::tests
