#include <stdexcept>

#include "Tests/App/Library/PhotoLibraryServiceTest.h"
#include "TolvanderApp/Platform/PhotosPlatformError.h"

namespace tolvander::tests {
namespace {

using namespace tolvander::app;
using Identifiers = std::vector<std::string>;

constexpr Date epoch{};

class PhotoLibraryServiceAlbums : public PhotoLibraryServiceTest {
 protected:
  void addAsset(const std::string& identifier, std::optional<Date> date, const std::string& filename = "") {
    PhotosAsset asset;
    asset.localIdentifier = identifier;
    asset.creationDate = date;
    std::vector<ScriptedPhotoLibrary::Resource> resources;
    if (!filename.empty()) {
      resources.push_back({.type = PhotosResourceType::photo, .originalFilename = filename, .content = {}});
      resources.push_back({.type = PhotosResourceType::other, .originalFilename = "0", .content = {}});
    }
    library.addAsset(asset, resources);
  }

  // In the order in which the album is filled.
  Identifiers added(const Identifiers& identifiers) {
    const PhotosAlbum album = library.addAlbum("Camera");
    service.addAssets(identifiers, "Camera");
    return library.members(album.localIdentifier);
  }
};

TEST_F(PhotoLibraryServiceAlbums, needFullAccess) {
  expectFullAccessNeeded([&] { service.albumNames(); });
  expectFullAccessNeeded([&] { service.assetIdentifiers("Camera"); });
  expectFullAccessNeeded([&] { service.createAlbum("Camera"); });
  expectFullAccessNeeded([&] { service.addAssets({"a"}, "Camera"); });
}

// Names.

TEST_F(PhotoLibraryServiceAlbums, areNamedOnceAndAsAFileManagerSorts) {
  for (const char* const title : {"Trip 10", "trip 2", "Holiday", "Trip 10", "Holiday"}) {
    library.addAlbum(title);
  }
  library.addAlbum(std::nullopt);
  EXPECT_EQ(service.albumNames(), (std::vector<std::string>{"Holiday", "trip 2", "Trip 10"}));
}

TEST_F(PhotoLibraryServiceAlbums, areTwoWhenTheirNamesDifferInCase) {
  library.addAlbum("camera");
  library.addAlbum("Camera");
  EXPECT_EQ(service.albumNames().size(), 2U);
}

// Contents.

TEST_F(PhotoLibraryServiceAlbums, haveTheAssetsOfTheFirstAlbumOfThatTitle) {
  addAsset("a", epoch);
  addAsset("b", epoch);
  addAsset("c", epoch);
  library.addAlbum("Camera", {"a", "b"});
  library.addAlbum("Camera", {"c"});
  library.addAlbum("camera", {"c"});
  EXPECT_EQ(service.assetIdentifiers("Camera"), (std::set<std::string>{"a", "b"}));
}

TEST_F(PhotoLibraryServiceAlbums, haveNoAssetsWhereThereIsNoAlbum) {
  library.addAlbum("camera");
  EXPECT_TRUE(service.assetIdentifiers("Camera").empty());
  EXPECT_EQ(library.changeCount(), 0U);
}

// Making one.

TEST_F(PhotoLibraryServiceAlbums, areMadeWithoutWhiteSpaceAtTheEndsOfTheirName) {
  service.createAlbum(" \tMy Camera\n");
  EXPECT_EQ(service.albumNames(), (std::vector<std::string>{"My Camera"}));
}

TEST_F(PhotoLibraryServiceAlbums, areNotMadeTwice) {
  service.createAlbum("Camera");
  service.createAlbum(" Camera ");
  EXPECT_EQ(service.albumNames(), (std::vector<std::string>{"Camera"}));
  EXPECT_EQ(library.changeCount(), 1U);
}

TEST_F(PhotoLibraryServiceAlbums, areNotMadeOfANameOfSpaces) {
  for (const char* const name : {"", "   ", " \n\t", "\xC2\xA0"}) {
    expectFailure(Case::albumCouldNotBeCreated, [&] { service.createAlbum(name); });
  }
  EXPECT_EQ(library.changeCount(), 0U);
}

TEST_F(PhotoLibraryServiceAlbums, cannotBeMadeWhereTheLibraryRefuses) {
  library.refuseAlbumCreation();
  expectFailure(Case::albumCouldNotBeCreated, [&] { service.createAlbum("Camera"); });
}

TEST_F(PhotoLibraryServiceAlbums, cannotBeMadeWhereTheLibraryHasNoPlaceholder) {
  library.withholdAlbumPlaceholder();
  expectFailure(Case::albumCouldNotBeCreated, [&] { service.createAlbum("Camera"); });
}

TEST_F(PhotoLibraryServiceAlbums, cannotBeMadeWhereTheNewAlbumIsGone) {
  library.endNextChange({.isApplied = false});
  expectFailure(Case::albumCouldNotBeCreated, [&] { service.createAlbum("Camera"); });
}

TEST_F(PhotoLibraryServiceAlbums, failWithThePlainErrorOfAChange) {
  library.endNextChange({.success = false, .isApplied = false});
  expectFailure(Case::changeFailed, [&] { service.createAlbum("Camera"); });
  library.endNextChange({.success = false,
                         .error = std::make_exception_ptr(PhotosPlatformError(
                             PhotosPlatformError::Case::notEnoughSpace, "no space is left")),
                         .isApplied = false});
  EXPECT_THROW(service.createAlbum("Camera"), PhotosPlatformError);
  library.endNextChange({.error = std::make_exception_ptr(std::runtime_error("odd"))});
  expectFailure(Case::inconsistentChangeResult, [&] { service.createAlbum("Camera"); });
}

TEST_F(PhotoLibraryServiceAlbums, failWithTheCancellationAloneWhenCancelled) {
  CancellationSource source;
  source.cancel();
  EXPECT_THROW(service.createAlbum("Camera", source.token()), CancellationError);
  EXPECT_EQ(library.changeCount(), 0U);
}

// Adding to one.

TEST_F(PhotoLibraryServiceAlbums, areAskedForNothingWithoutIdentifiers) {
  library.answerAuthorization({PhotosAuthorizationStatus::denied});
  EXPECT_EQ(service.addAssets({}, "Camera"), 0);
  EXPECT_EQ(library.authorizationQuestions(), 0U);
}

TEST_F(PhotoLibraryServiceAlbums, getTheSameListOnce) {
  addAsset("a", epoch);
  addAsset("b", epoch + std::chrono::seconds(1));
  const Identifiers list{"b", "a", "b"};
  EXPECT_EQ(service.addAssets(list, "Camera"), 2);
  EXPECT_EQ(service.addAssets(list, "Camera"), 0);
  EXPECT_EQ(service.assetIdentifiers("Camera"), (std::set<std::string>{"a", "b"}));
  EXPECT_EQ(library.albumAdditions(), (std::vector<Identifiers>{{"a", "b"}}));
  EXPECT_EQ(library.changeCount(), 2U);  // the album's own, and one addition
}

TEST_F(PhotoLibraryServiceAlbums, getOnlyWhatTheyDoNotHave) {
  addAsset("a", epoch);
  addAsset("b", epoch);
  const PhotosAlbum album = library.addAlbum("Camera", {"a"});
  EXPECT_EQ(service.addAssets({"a", "b"}, "Camera"), 1);
  EXPECT_EQ(library.members(album.localIdentifier), (Identifiers{"a", "b"}));
}

TEST_F(PhotoLibraryServiceAlbums, getTheRestOfAListInWhichIdentifiersAreGone) {
  addAsset("a", epoch);
  EXPECT_EQ(service.addAssets({"gone", "a", "lost"}, "Camera"), 1);
  EXPECT_EQ(service.addAssets({"gone", "lost"}, "Camera"), 0);
}

TEST_F(PhotoLibraryServiceAlbums, refuseANameOfSpaces) {
  addAsset("a", epoch);
  expectFailure(Case::albumCouldNotBeCreated, [&] { service.addAssets({"a"}, "  "); });
}

TEST_F(PhotoLibraryServiceAlbums, failWithChangeFailedWhereTheLibraryRefusesTheChangeRequest) {
  addAsset("a", epoch);
  library.addAlbum("Camera");
  library.refuseAlbumChanges();
  expectFailure(Case::changeFailed, [&] { service.addAssets({"a"}, "Camera"); });
}

TEST_F(PhotoLibraryServiceAlbums, failWithThePlainErrorOfAnAddition) {
  addAsset("a", epoch);
  library.addAlbum("Camera");
  library.endNextChange({.success = false, .isApplied = false});
  expectFailure(Case::changeFailed, [&] { service.addAssets({"a"}, "Camera"); });
  library.endNextChange({.error = std::make_exception_ptr(std::runtime_error("odd"))});
  expectFailure(Case::inconsistentChangeResult, [&] { service.addAssets({"a"}, "Camera"); });
}

TEST_F(PhotoLibraryServiceAlbums, failWithAccessDeniedWhenAccessEndsBeforeTheChange) {
  addAsset("a", epoch);
  library.addAlbum("Camera");
  library.answerAuthorization({PhotosAuthorizationStatus::authorized, PhotosAuthorizationStatus::denied});
  expectFailure(Case::accessDenied, [&] { service.addAssets({"a"}, "Camera"); });
  EXPECT_EQ(library.changeCount(), 0U);
}

// The order of capture.

TEST_F(PhotoLibraryServiceAlbums, areFilledByDateAndWithoutDateLast) {
  addAsset("1", std::nullopt, "A.JPG");
  addAsset("2", epoch + std::chrono::seconds(2), "A.JPG");
  addAsset("3", epoch - std::chrono::nanoseconds(1), "Z.JPG");
  addAsset("4", epoch, "B.JPG");
  EXPECT_EQ(added({"1", "2", "3", "4"}), (Identifiers{"3", "4", "2", "1"}));
}

TEST_F(PhotoLibraryServiceAlbums, areFilledByTheNumbersInNamesOfOneDate) {
  addAsset("1", epoch, "PICT10.JPG");
  addAsset("2", epoch, "PICT2.JPG");
  addAsset("3", epoch, "pict1.jpg");
  addAsset("4", epoch);  // no file: before every name
  EXPECT_EQ(added({"1", "2", "3", "4"}), (Identifiers{"4", "3", "2", "1"}));
}

TEST_F(PhotoLibraryServiceAlbums, areFilledByNameWithoutDates) {
  addAsset("1", std::nullopt, "PICT10.JPG");
  addAsset("2", std::nullopt, "PICT2.JPG");
  EXPECT_EQ(added({"1", "2"}), (Identifiers{"2", "1"}));
}

TEST_F(PhotoLibraryServiceAlbums, areFilledByIdentifierWhereNothingElseDecides) {
  for (const char* const identifier : {"b", "a10", "a2", "B"}) {
    addAsset(identifier, epoch, "PICT.JPG");
  }
  EXPECT_EQ(added({"b", "a10", "a2", "B"}), (Identifiers{"B", "a10", "a2", "b"}));
}

TEST_F(PhotoLibraryServiceAlbums, askForNamesOnlyWhereDatesDoNotDecideAndOnce) {
  Identifiers all;
  for (int index = 0; index < 50; ++index) {
    all.push_back("dated-" + std::to_string(index));
    addAsset(all.back(), epoch + std::chrono::seconds(index), "A.JPG");
    all.push_back("together-" + std::to_string(index));
    addAsset(all.back(), epoch - std::chrono::seconds(1), "B" + std::to_string(index) + ".JPG");
  }
  EXPECT_EQ(added(all).size(), 100U);
  const auto questions = library.resourceQuestions();
  EXPECT_EQ(questions.size(), 50U);
  for (const auto& [identifier, count] : questions) {
    EXPECT_TRUE(identifier.starts_with("together-")) << identifier;
    EXPECT_EQ(count, 1);
  }
}

}  // namespace
}  // namespace tolvander::tests
