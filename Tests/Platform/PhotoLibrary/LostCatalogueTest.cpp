#include <gtest/gtest.h>
#include <sys/fsuid.h>

#include <array>
#include <filesystem>
#include <functional>

#include "Platform/Linux/PhotoLibrary/IncomingName.h"
#include "Platform/Linux/PhotoLibrary/LostCatalogue.h"
#include "Tests/Support/Application/CatalogueFiles.h"
#include "Tests/Support/Application/EmbeddedLibrary.h"

namespace tolvander::tests {
namespace {

namespace fs = std::filesystem;
using app::PhotosAuthorizationStatus;
using app::PhotosPlatformError;

// A library with one picture.
class LostCatalogue : public testing::Test {
 protected:
  LostCatalogue() {
    writeFile(picture, "picture");
    EmbeddedPhotoLibrary library(root);
    requestAndWait(library);
    importPictures(library, {picture});
  }

  // Why the library refuses to be used; empty where it doesn't.
  std::string refusal() const {
    EmbeddedPhotoLibrary library(root);
    try {
      library.requireCatalogue();
    } catch (const PhotosPlatformError& error) {
      return error.what();
    }
    return {};
  }

  // Whether nothing can be read from it or given to it.
  bool isRefused() const {
    EmbeddedPhotoLibrary library(root);
    EXPECT_FALSE(importPictures(library, {picture}).success);
    EXPECT_THROW(library.verify(), PhotosPlatformError);
    try {
      library.fetchAssets(app::PhotosFetchOptions{});
    } catch (const PhotosPlatformError&) {
      return true;
    }
    return false;
  }

  const TemporaryFolder folder;
  const FileURL root = folder / "Tolvander";
  const FileURL picture = folder / "Card/PICT0001.JPG";
};

TEST_F(LostCatalogue, isNotMadeAnewWhereThereArePictures) {
  removeCatalogue(root);
  EmbeddedPhotoLibrary library(root);
  EXPECT_EQ(library.folderOfNewLibrary(), std::nullopt);
  EXPECT_EQ(requestAndWait(library), PhotosAuthorizationStatus::notDetermined);
  ASSERT_TRUE(library.requestFailure());
  EXPECT_THROW(std::rethrow_exception(library.requestFailure()), PhotosPlatformError);
  EXPECT_FALSE(fs::exists(catalogueFile(root).path()));
  EXPECT_EQ(refusal(), "the photo library has pictures, but its catalogue (Library.sqlite) is missing");
  EXPECT_TRUE(isRefused());
}

TEST_F(LostCatalogue, isNotMadeAnewWhereThereIsOnlyAnIncomingFile) {
  removeCatalogue(root);
  fs::remove_all(root.appending("Originals/1970").path());
  for (const auto& entry : fs::directory_iterator(root.appending("Originals").path())) {
    if (entry.path().filename() != ".incoming") {
      fs::remove_all(entry.path());
    }
  }
  EXPECT_EQ(refusal(), "");
  writeFile(root.appending("Originals/.incoming").appending(platform::linux_::newIncomingName()), "picture");
  EXPECT_NE(refusal(), "");
}

TEST_F(LostCatalogue, isNotMadeAnewWhereThePicturesAreOnADiskThatIsNotThere) {
  removeCatalogue(root);
  fs::rename(root.appending("Originals").path(), (folder / "disk").path());
  fs::create_symlink((folder / "gone").path(), root.appending("Originals").path());
  EXPECT_TRUE(refusal().starts_with("the pictures of the photo library are not here: ")) << refusal();
}

TEST_F(LostCatalogue, isNotMadeAnewWhereALinkAmongTheOriginalsLeadsNowhere) {
  const FileURL year = root.appending("Originals/2025");
  for (const FileURL& target : {folder / "a disk that is not here", year}) {
    fs::remove_all(root.appending("Originals").path());
    fs::create_directories(root.appending("Originals").path());
    fs::create_symlink(target.path(), year.path());
    for (const auto& damage : {removeCatalogue, emptyCatalogue, replaceCatalogueByANewOne}) {
      damage(root);
      EXPECT_TRUE(refusal().starts_with("the photo library has pictures")) << target.path();
    }
  }
}

TEST_F(LostCatalogue, isNotMadeAnewWhereAFolderOfOriginalsCanNotBeRead) {
  constexpr uid_t nobody = 65534;
  removeCatalogue(root);
  for (const auto& entry : fs::directory_iterator(root.appending("Originals").path())) {
    fs::remove_all(entry.path());
  }
  const FileURL year = root.appending("Originals/2025");
  for (const FileURL& open : {folder / ".", root, root.appending("Originals")}) {
    fs::permissions(open.path(), fs::perms(0755));
  }
  fs::create_directory(year.path());
  EXPECT_NO_THROW(platform::linux_::requireNoPictures(platform::linux_::LibraryFolder(root), "missing"));
  fs::permissions(year.path(), fs::perms::none);
  const int self = setfsuid(nobody);  // of this thread: root can read every folder
  EXPECT_THROW(platform::linux_::requireNoPictures(platform::linux_::LibraryFolder(root), "missing"),
               PhotosPlatformError);
  setfsuid(static_cast<uid_t>(self));
  fs::permissions(year.path(), fs::perms(0755));
}

TEST_F(LostCatalogue, isRefusedWhereItIsEmpty) {
  emptyCatalogue(root);
  EXPECT_EQ(refusal(), "the photo library has pictures, but its catalogue (Library.sqlite) is empty");
  EXPECT_TRUE(isRefused());
  EXPECT_EQ(fs::file_size(catalogueFile(root).path()), 0U);
}

TEST_F(LostCatalogue, isRefusedWhereItNamesNoneOfThePictures) {
  replaceCatalogueByANewOne(root);
  EXPECT_EQ(refusal(),
            "the photo library has pictures, but its catalogue (Library.sqlite) names none of them");
  EXPECT_TRUE(isRefused());
}

TEST_F(LostCatalogue, isRefusedWhereItIsNoDatabase) {
  breakCatalogue(root);
  EXPECT_EQ(refusal(), "the catalogue of the photo library is damaged: file is not a database");
  EXPECT_TRUE(isRefused());
}

TEST_F(LostCatalogue, isNoMatterWhereThereAreNoPictures) {
  for (const auto& damage : {removeCatalogue, emptyCatalogue, replaceCatalogueByANewOne}) {
    fs::remove_all(root.appending("Originals").path());
    writeFile(root.appending("Originals/notes.txt"), "the user's");
    damage(root);
    EmbeddedPhotoLibrary library(root);
    EXPECT_EQ(requestAndWait(library), PhotosAuthorizationStatus::authorized);
    EXPECT_TRUE(importPictures(library, {picture}).success);
  }
}

TEST_F(LostCatalogue, isToldFromOneThatCanNotBeReadNow) {
  const auto isLost = [this] {
    return platform::linux_::isCatalogueLost(platform::linux_::LibraryFolder(root), std::chrono::seconds(5));
  };
  EXPECT_FALSE(isLost());
  for (const auto& damage : {removeCatalogue, emptyCatalogue, replaceCatalogueByANewOne, breakCatalogue}) {
    damage(root);
    EXPECT_TRUE(isLost());
  }
  removeCatalogue(root);
  fs::create_directory(catalogueFile(root).path());
  EXPECT_FALSE(isLost()) << refusal();
  fs::remove(catalogueFile(root).path());
  fs::rename(root.appending("Originals").path(), (folder / "disk").path());
  fs::create_symlink((folder / "gone").path(), root.appending("Originals").path());
  EXPECT_FALSE(isLost()) << refusal();
}

TEST_F(LostCatalogue, isNotWhatAnInterruptedFirstImportLeaves) {
  replaceCatalogueByANewOne(root);
  platform::linux_::Catalogue catalogue(catalogueFile(root), std::chrono::seconds(5));
  {
    auto transaction = catalogue.change();
    for (const auto& entry : fs::recursive_directory_iterator(root.appending("Originals").path())) {
      if (entry.is_regular_file()) {
        catalogue.insertIntent({.history = std::nullopt,
                                .temporaryName = platform::linux_::newIncomingName(),
                                .album = std::nullopt,
                                .asset = {.localIdentifier = "asset", .creationDate = std::nullopt},
                                .original = {.originalFilename = "PICT0001.JPG",
                                             .path = entry.path().string().substr(root.path().size() + 1)}});
      }
    }
    transaction.commit();
  }
  EXPECT_EQ(refusal(), "");
}

}  // namespace
}  // namespace tolvander::tests
