#pragma once

#include <gtest/gtest.h>

#include <functional>
#include <future>
#include <memory>
#include <set>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include "Tests/Support/Application/PhotoLibraryCalls.h"
#include "Tests/Support/Machine/TemporaryFolder.h"
#include "TolvanderApp/Platform/PhotoLibrary.h"
#include "TolvanderCore/Files/FileFingerprinter.h"

// What every answer to the photo library's contract has to do. A test program includes this in one file and
// says what is to be tested:
//
//   INSTANTIATE_TEST_SUITE_P(Embedded, PhotoLibraryContract, testing::Values(PhotoLibraryMaker{…}));

namespace tolvander::tests {

// A library to try, authorised and without assets or albums.
class PhotoLibraryUnderTest {
 public:
  virtual ~PhotoLibraryUnderTest() = default;
  virtual app::PhotoLibrary& library() = 0;
};

using PhotoLibraryMaker = std::function<std::unique_ptr<PhotoLibraryUnderTest>()>;

class PhotoLibraryContract : public testing::TestWithParam<PhotoLibraryMaker> {
 protected:
  using Order = app::PhotosFetchOptions::Order;

  app::PhotoLibrary& library() { return tested_->library(); }

  FileURL file(const std::string& name, const std::string& content = "content") {
    const FileURL url = folder_ / name;
    writeFile(url, content);
    return url;
  }

  // Adds a picture and returns its identifier.
  std::string add(const std::string& name, std::optional<Date> date = day(0),
                  const std::string& content = "content") {
    const FileURL url = file(name, content);
    std::optional<std::string> identifier;
    const ChangeResult result = changeAndWait(library(), [&](app::PhotosChanges& changes) {
      app::PhotosAssetCreationRequest* request = changes.creationRequestForAssetFromImage(url);
      ASSERT_NE(request, nullptr);
      if (date) {
        request->setCreationDate(*date);
      }
      identifier = request->placeholderForCreatedAsset();
    });
    EXPECT_TRUE(result.success);
    EXPECT_FALSE(result.error);
    EXPECT_TRUE(identifier);
    return identifier.value_or("");
  }

  std::vector<std::string> addDays(int count) {
    std::vector<std::string> identifiers;
    for (int number = 0; number < count; ++number) {
      identifiers.push_back(add("PICT" + std::to_string(number) + ".JPG", day(number)));
    }
    return identifiers;
  }

  app::PhotosAlbum addAlbum(const std::string& title) {
    std::string identifier;
    const ChangeResult result = changeAndWait(library(), [&](app::PhotosChanges& changes) {
      app::PhotosAlbumCreationRequest* request = changes.creationRequestForAlbum(title);
      ASSERT_NE(request, nullptr);
      identifier = request->placeholderForCreatedAlbum().value_or("");
    });
    EXPECT_TRUE(result.success);
    return {.localIdentifier = identifier, .localizedTitle = title};
  }

  ChangeResult addToAlbum(const app::PhotosAlbum& album, const std::vector<std::string>& identifiers) {
    const auto members = library().fetchAssets(album);
    return changeAndWait(library(), [&](app::PhotosChanges& changes) {
      app::PhotosAlbumChangeRequest* request = changes.changeRequest(album, members);
      ASSERT_NE(request, nullptr);
      request->addAssets(identifiers);
    });
  }

  std::vector<app::PhotosAsset> all(Order order = Order::creationDateAscending, std::int64_t limit = 0) {
    return library().fetchAssets({.creationDates = {}, .order = order, .fetchLimit = limit});
  }

  std::vector<app::PhotosAsset> window(Date from, Date to, std::int64_t limit = 0,
                                       Order order = Order::creationDateAscending) {
    return library().fetchAssets(
        {.creationDates = {{.from = from, .to = to}}, .order = order, .fetchLimit = limit});
  }

  static std::vector<std::string> identifiers(const std::vector<app::PhotosAsset>& assets) {
    std::vector<std::string> result;
    for (const app::PhotosAsset& asset : assets) {
      result.push_back(asset.localIdentifier);
    }
    return result;
  }

  app::PhotosAssetResource resourceOf(const std::string& identifier) {
    const auto assets = library().fetchAssets(std::vector{identifier});
    if (assets.size() != 1) {
      throw std::runtime_error("no such asset");
    }
    return library().assetResources(assets.front()).at(0);
  }

 private:
  TemporaryFolder folder_;
  std::unique_ptr<PhotoLibraryUnderTest> tested_ = GetParam()();
};

TEST_P(PhotoLibraryContract, isAuthorized) {
  EXPECT_EQ(library().authorizationStatus(), app::PhotosAuthorizationStatus::authorized);
}

TEST_P(PhotoLibraryContract, answersARequestForAuthorizationOnce) {
  std::promise<app::PhotosAuthorizationStatus> answer;
  library().requestAuthorization([&](app::PhotosAuthorizationStatus status) { answer.set_value(status); });
  EXPECT_EQ(answer.get_future().get(), app::PhotosAuthorizationStatus::authorized);
}

TEST_P(PhotoLibraryContract, isEmptyAtFirst) {
  EXPECT_TRUE(all().empty());
  EXPECT_TRUE(library().fetchAlbums(std::nullopt).empty());
}

TEST_P(PhotoLibraryContract, runsTheBlockOnceAndOnAThreadOfItsOwn) {
  int runs = 0;
  std::thread::id thread;
  const ChangeResult result = changeAndWait(library(), [&](app::PhotosChanges&) {
    ++runs;
    thread = std::this_thread::get_id();
  });
  EXPECT_TRUE(result.success);
  EXPECT_FALSE(result.error);
  EXPECT_EQ(runs, 1);
  EXPECT_NE(thread, std::this_thread::get_id());
}

TEST_P(PhotoLibraryContract, completesOnAThreadOfItsOwn) {
  std::promise<std::thread::id> thread;
  library().performChanges(
      [](app::PhotosChanges&) {},
      [&](bool, const std::exception_ptr&) { thread.set_value(std::this_thread::get_id()); });
  EXPECT_NE(thread.get_future().get(), std::this_thread::get_id());
}

TEST_P(PhotoLibraryContract, canBeReadAndChangedFromACompletion) {
  std::promise<std::size_t> counted;
  const FileURL url = file("PICT0001.JPG");
  library().performChanges(
      [&](app::PhotosChanges& changes) { changes.creationRequestForAssetFromImage(url); },
      [&](bool, const std::exception_ptr&) {
        const std::size_t count = all().size();
        library().performChanges([](app::PhotosChanges&) {},
                                 [&, count](bool, const std::exception_ptr&) { counted.set_value(count); });
      });
  EXPECT_EQ(counted.get_future().get(), 1U);
}

TEST_P(PhotoLibraryContract, hasAnAssetUnderItsPlaceholderWhenTheChangeIsComplete) {
  const std::string identifier = add("PICT0001.JPG");
  const auto assets = all();
  ASSERT_EQ(assets.size(), 1U);
  EXPECT_EQ(assets[0].localIdentifier, identifier);
  EXPECT_FALSE(identifier.empty());
}

TEST_P(PhotoLibraryContract, tellsPicturesFromFilms) {
  const FileURL picture = file("PICT0001.JPG");
  const FileURL film = file("MOVI0002.MOV");
  std::string pictureIdentifier;
  std::string filmIdentifier;
  changeAndWait(library(), [&](app::PhotosChanges& changes) {
    pictureIdentifier = *changes.creationRequestForAssetFromImage(picture)->placeholderForCreatedAsset();
    filmIdentifier = *changes.creationRequestForAssetFromVideo(film)->placeholderForCreatedAsset();
  });
  EXPECT_EQ(library().fetchAssets(std::vector{pictureIdentifier}).at(0).mediaType,
            app::PhotosMediaType::image);
  EXPECT_EQ(library().fetchAssets(std::vector{filmIdentifier}).at(0).mediaType, app::PhotosMediaType::video);
  EXPECT_EQ(resourceOf(pictureIdentifier).type, app::PhotosResourceType::photo);
  EXPECT_EQ(resourceOf(filmIdentifier).type, app::PhotosResourceType::video);
}

TEST_P(PhotoLibraryContract, showsTheDateThatWasAskedFor) {
  const Date date = day(3) + std::chrono::milliseconds(1500);
  const std::string identifier = add("PICT0001.JPG", date);
  EXPECT_EQ(library().fetchAssets(std::vector{identifier}).at(0).creationDate, date);
}

TEST_P(PhotoLibraryContract, addsAllFilesOfAChange) {
  std::vector<FileURL> files;
  for (int number = 0; number < 4; ++number) {
    files.push_back(file("PICT" + std::to_string(number) + ".JPG"));
  }
  std::set<std::string> expected;
  changeAndWait(library(), [&](app::PhotosChanges& changes) {
    for (const FileURL& url : files) {
      expected.insert(*changes.creationRequestForAssetFromImage(url)->placeholderForCreatedAsset());
    }
  });
  const auto found = identifiers(all());
  EXPECT_EQ(std::set(found.begin(), found.end()), expected);
  EXPECT_EQ(found.size(), 4U);
}

TEST_P(PhotoLibraryContract, keepsTwoFilesOfOneNameApart) {
  const std::string first = add("PICT0001.JPG", day(0), "first");
  const std::string second = add("PICT0001.JPG", day(0), "second");
  EXPECT_NE(first, second);
  EXPECT_EQ(resourceOf(first).originalFilename, "PICT0001.JPG");
  EXPECT_EQ(resourceOf(second).originalFilename, "PICT0001.JPG");
  EXPECT_EQ(readAndWait(library(), resourceOf(first)).bytes, "first");
  EXPECT_EQ(readAndWait(library(), resourceOf(second)).bytes, "second");
}

TEST_P(PhotoLibraryContract, addsOneFileTwiceAsTwoAssets) {
  const FileURL url = file("PICT0001.JPG");
  changeAndWait(library(), [&](app::PhotosChanges& changes) {
    changes.creationRequestForAssetFromImage(url);
    changes.creationRequestForAssetFromImage(url);
  });
  EXPECT_EQ(all().size(), 2U);
}

TEST_P(PhotoLibraryContract, leavesTheFileThatItWasGiven) {
  const FileURL url = file("PICT0001.JPG", "bytes");
  changeAndWait(library(),
                [&](app::PhotosChanges& changes) { changes.creationRequestForAssetFromImage(url); });
  EXPECT_EQ(readFile(url), "bytes");
}

TEST_P(PhotoLibraryContract, doesNotNeedTheFileAfterTheChange) {
  const std::string identifier = add("PICT0001.JPG", day(0), "bytes");
  std::string source;
  file("PICT0001.JPG", "something else");
  EXPECT_EQ(readAndWait(library(), resourceOf(identifier)).bytes, "bytes");
}

TEST_P(PhotoLibraryContract, refusesAFileThatIsNotThere) {
  const FileURL present = file("PICT0001.JPG");
  bool isRefused = false;
  const ChangeResult result = changeAndWait(library(), [&](app::PhotosChanges& changes) {
    isRefused = changes.creationRequestForAssetFromImage(FileURL("/nowhere/PICT0001.JPG")) == nullptr;
    changes.creationRequestForAssetFromImage(present);
  });
  EXPECT_EQ(result.success, isRefused) << "without a request for it, the rest is done; else nothing is";
  EXPECT_EQ(all().size(), isRefused ? 1U : 0U);
}

TEST_P(PhotoLibraryContract, doesNothingOfABlockThatThrows) {
  const FileURL url = file("PICT0001.JPG");
  const ChangeResult result = changeAndWait(library(), [&](app::PhotosChanges& changes) {
    changes.creationRequestForAssetFromImage(url);
    changes.creationRequestForAlbum("Album");
    throw std::runtime_error("changed my mind");
  });
  EXPECT_FALSE(result.success);
  ASSERT_TRUE(result.error);
  EXPECT_THROW(std::rethrow_exception(result.error), std::runtime_error);
  EXPECT_TRUE(all().empty());
  EXPECT_TRUE(library().fetchAlbums(std::nullopt).empty());
}

TEST_P(PhotoLibraryContract, goesOnAfterAFailedChange) {
  changeAndWait(library(), [](app::PhotosChanges&) { throw std::runtime_error("no"); });
  add("PICT0001.JPG");
  EXPECT_EQ(all().size(), 1U);
}

TEST_P(PhotoLibraryContract, makesChangesInTheirOrder) {
  std::vector<std::promise<void>> ended(8);
  std::vector<int> order;
  for (std::size_t number = 0; number < ended.size(); ++number) {
    library().performChanges([&, number](app::PhotosChanges&) { order.push_back(static_cast<int>(number)); },
                             [&, number](bool, const std::exception_ptr&) { ended[number].set_value(); });
  }
  for (auto& promise : ended) {
    promise.get_future().get();
  }
  EXPECT_EQ(order, (std::vector<int>{0, 1, 2, 3, 4, 5, 6, 7}));
}

TEST_P(PhotoLibraryContract, fetchesInTheOrderOfDates) {
  const std::string late = add("b.jpg", day(2));
  const std::string early = add("a.jpg", day(1));
  EXPECT_EQ(identifiers(all(Order::creationDateAscending)), (std::vector{early, late}));
  EXPECT_EQ(identifiers(all(Order::creationDateDescending)), (std::vector{late, early}));
}

TEST_P(PhotoLibraryContract, fetchesNoMoreThanTheLimit) {
  const auto added = addDays(5);
  EXPECT_EQ(identifiers(all(Order::creationDateDescending, 2)), (std::vector{added[4], added[3]}));
  EXPECT_EQ(all(Order::creationDateDescending, 5).size(), 5U);
  EXPECT_EQ(all(Order::creationDateDescending, 6).size(), 5U);
}

TEST_P(PhotoLibraryContract, aWindowHasBothItsEnds) {
  const auto added = addDays(5);
  EXPECT_EQ(identifiers(window(day(1), day(3))), (std::vector{added[1], added[2], added[3]}));
  const std::chrono::nanoseconds instant(1);
  EXPECT_EQ(identifiers(window(day(1) + instant, day(3) - instant)), (std::vector{added[2]}));
  EXPECT_EQ(identifiers(window(day(2), day(2))), (std::vector{added[2]}));
}

TEST_P(PhotoLibraryContract, aWindowCanBeLimitedAndTurnedRound) {
  const auto added = addDays(5);
  EXPECT_EQ(identifiers(window(day(1), day(3), 2)), (std::vector{added[1], added[2]}));
  EXPECT_EQ(identifiers(window(day(1), day(3), 2, Order::creationDateDescending)),
            (std::vector{added[3], added[2]}));
}

TEST_P(PhotoLibraryContract, aWindowThatEndsBeforeItBeginsIsEmpty) {
  addDays(3);
  EXPECT_TRUE(window(day(2), day(0)).empty());
}

TEST_P(PhotoLibraryContract, aWindowCanReachOverAllTime) {
  addDays(3);
  EXPECT_EQ(window(Date::min(), Date::max()).size(), 3U);
}

TEST_P(PhotoLibraryContract, fetchesByIdentifierWhatIsThere) {
  const auto added = addDays(3);
  const auto found =
      identifiers(library().fetchAssets(std::vector<std::string>{added[2], "unknown", added[0], ""}));
  EXPECT_EQ(std::set(found.begin(), found.end()), (std::set{added[0], added[2]}));
  EXPECT_EQ(found.size(), 2U);
}

TEST_P(PhotoLibraryContract, fetchesAnAssetOnceHoweverOftenItIsAskedFor) {
  const std::string identifier = add("a.jpg");
  EXPECT_EQ(library().fetchAssets(std::vector{identifier, identifier}).size(), 1U);
}

TEST_P(PhotoLibraryContract, takesIdentifiersForTextAndNothingElse) {
  add("a.jpg");
  EXPECT_TRUE(library().fetchAssets(std::vector<std::string>{"' OR 1=1 --", "%", "\"", "*"}).empty());
  EXPECT_TRUE(library().fetchAlbums("' OR 1=1 --").empty());
}

TEST_P(PhotoLibraryContract, anAssetThatIsUnknownHasNoResources) {
  EXPECT_TRUE(library().assetResources({.localIdentifier = "unknown", .creationDate = {}}).empty());
}

TEST_P(PhotoLibraryContract, aResourceHasTheNameOfItsFileAndItsPlace) {
  const std::string identifier = add("Ein schönes Bild.jpeg");
  const auto resource = resourceOf(identifier);
  EXPECT_EQ(resource.originalFilename, "Ein schönes Bild.jpeg");
  EXPECT_EQ(resource.assetLocalIdentifier, identifier);
  EXPECT_EQ(resource.index, 0);
}

TEST_P(PhotoLibraryContract, streamsAllBytesInOrder) {
  std::string content;
  for (int number = 0; content.size() < 3'000'000; ++number) {
    content += std::to_string(number) + ",";
  }
  const DataResult result = readAndWait(library(), resourceOf(add("a.jpg", day(0), content)));
  EXPECT_FALSE(result.error);
  EXPECT_TRUE(result.bytes == content);
}

TEST_P(PhotoLibraryContract, streamsAnEmptyFileWithoutAnError) {
  const DataResult result = readAndWait(library(), resourceOf(add("a.jpg", day(0), "")));
  EXPECT_FALSE(result.error);
  EXPECT_TRUE(result.bytes.empty());
}

TEST_P(PhotoLibraryContract, streamsOnAThreadOfItsOwn) {
  const auto resource = resourceOf(add("a.jpg"));
  std::promise<std::thread::id> data;
  std::promise<std::thread::id> end;
  library().requestData(
      resource, [&](std::span<const std::byte>) { data.set_value(std::this_thread::get_id()); },
      [&](const std::exception_ptr&) { end.set_value(std::this_thread::get_id()); });
  EXPECT_NE(data.get_future().get(), std::this_thread::get_id());
  EXPECT_NE(end.get_future().get(), std::this_thread::get_id());
}

TEST_P(PhotoLibraryContract, aResourceThatIsUnknownEndsInAnError) {
  const DataResult result =
      readAndWait(library(), {.assetLocalIdentifier = "unknown", .originalFilename = "a"});
  EXPECT_TRUE(result.error);
  EXPECT_TRUE(result.bytes.empty());
}

TEST_P(PhotoLibraryContract, aRequestThatIsCancelledEndsOnceAndWithAnError) {
  const auto resource = resourceOf(add("a.jpg", day(0), std::string(4'000'000, 'x')));
  std::promise<app::PhotoLibrary::RequestID> known;
  std::shared_future<app::PhotoLibrary::RequestID> request = known.get_future().share();
  std::promise<std::exception_ptr> ended;
  std::size_t received = 0;
  known.set_value(library().requestData(
      resource,
      [&, request](std::span<const std::byte> chunk) {
        received += chunk.size();
        library().cancelDataRequest(request.get());
      },
      [&](std::exception_ptr error) { ended.set_value(std::move(error)); }));
  EXPECT_TRUE(ended.get_future().get());
  EXPECT_LT(received, 4'000'000U);
}

TEST_P(PhotoLibraryContract, cancellingWhatIsFinishedOrUnknownDoesNothing) {
  const auto resource = resourceOf(add("a.jpg"));
  std::promise<void> ended;
  const auto request = library().requestData(
      resource, [](std::span<const std::byte>) {}, [&](const std::exception_ptr&) { ended.set_value(); });
  ended.get_future().get();
  library().cancelDataRequest(request);
  library().cancelDataRequest(request + 1000);
  library().cancelDataRequest(-1);
  EXPECT_FALSE(readAndWait(library(), resource).error);
}

TEST_P(PhotoLibraryContract, requestsHaveDifferentIdentifiers) {
  const auto resource = resourceOf(add("a.jpg"));
  std::set<app::PhotoLibrary::RequestID> requests;
  std::vector<std::promise<void>> ended(4);
  for (auto& promise : ended) {
    requests.insert(library().requestData(
        resource, [](std::span<const std::byte>) {},
        [&](const std::exception_ptr&) { promise.set_value(); }));
  }
  for (auto& promise : ended) {
    promise.get_future().get();
  }
  EXPECT_EQ(requests.size(), 4U);
}

TEST_P(PhotoLibraryContract, hasAnAlbumUnderItsPlaceholderAndTitle) {
  const app::PhotosAlbum album = addAlbum("Ferien");
  EXPECT_EQ(library().fetchAlbums(std::nullopt), std::vector{album});
  EXPECT_EQ(library().fetchAlbums("Ferien"), std::vector{album});
  EXPECT_EQ(library().fetchAlbumsWithLocalIdentifiers({album.localIdentifier, "unknown"}),
            std::vector{album});
}

TEST_P(PhotoLibraryContract, findsAlbumsByTheirExactTitle) {
  const auto upper = addAlbum("Ferien");
  const auto lower = addAlbum("ferien");
  EXPECT_EQ(library().fetchAlbums("ferien"), std::vector{lower});
  EXPECT_TRUE(library().fetchAlbums("FERIEN").empty());
  EXPECT_TRUE(library().fetchAlbums("Ferie%").empty());
  EXPECT_TRUE(library().fetchAlbums("").empty());
}

TEST_P(PhotoLibraryContract, givesAlbumsInTheOrderOfTheirMaking) {
  const auto first = addAlbum("z");
  const auto second = addAlbum("a");
  const auto third = addAlbum("z");
  EXPECT_EQ(library().fetchAlbums(std::nullopt), (std::vector{first, second, third}));
  EXPECT_EQ(library().fetchAlbums("z"), (std::vector{first, third}));
}

TEST_P(PhotoLibraryContract, anAlbumKeepsTheOrderOfAddition) {
  const auto added = addDays(3);
  const auto album = addAlbum("Album");
  EXPECT_TRUE(library().fetchAssets(album).empty());
  EXPECT_TRUE(addToAlbum(album, {added[2], added[0]}).success);
  EXPECT_TRUE(addToAlbum(album, {added[1]}).success);
  EXPECT_EQ(identifiers(library().fetchAssets(album)), (std::vector{added[2], added[0], added[1]}));
}

TEST_P(PhotoLibraryContract, addingAMemberAgainChangesNothing) {
  const auto added = addDays(2);
  const auto album = addAlbum("Album");
  addToAlbum(album, {added[0], added[1]});
  EXPECT_TRUE(addToAlbum(album, {added[1], added[0], added[0]}).success);
  EXPECT_EQ(identifiers(library().fetchAssets(album)), added);
}

TEST_P(PhotoLibraryContract, addingWhatIsNotInTheLibraryAddsTheRest) {
  const auto added = addDays(2);
  const auto album = addAlbum("Album");
  EXPECT_TRUE(addToAlbum(album, {added[0], "unknown", added[1]}).success);
  EXPECT_EQ(identifiers(library().fetchAssets(album)), added);
}

TEST_P(PhotoLibraryContract, addsNewAssetsToAnAlbumInTheSameChange) {
  const auto album = addAlbum("Album");
  const FileURL first = file("a.jpg");
  const FileURL second = file("b.jpg");
  std::vector<std::string> placeholders;
  const ChangeResult result = changeAndWait(library(), [&](app::PhotosChanges& changes) {
    for (const FileURL& url : {second, first}) {
      auto* request = changes.creationRequestForAssetFromImage(url);
      placeholders.push_back(*request->placeholderForCreatedAsset());
    }
    changes.changeRequest(album, {})->addAssets(placeholders);
  });
  EXPECT_TRUE(result.success);
  EXPECT_EQ(identifiers(library().fetchAssets(album)), placeholders);
}

TEST_P(PhotoLibraryContract, oneAssetCanBeInSeveralAlbums) {
  const std::string identifier = add("a.jpg");
  const auto first = addAlbum("1");
  const auto second = addAlbum("2");
  addToAlbum(first, {identifier});
  addToAlbum(second, {identifier});
  EXPECT_EQ(library().fetchAssets(first).size(), 1U);
  EXPECT_EQ(library().fetchAssets(second).size(), 1U);
}

TEST_P(PhotoLibraryContract, anAlbumThatIsGoneHasNoAssetsAndCannotBeChanged) {
  const app::PhotosAlbum gone{.localIdentifier = "gone", .localizedTitle = "Gone"};
  EXPECT_TRUE(library().fetchAssets(gone).empty());
  bool isRefused = false;
  const ChangeResult result = changeAndWait(library(), [&](app::PhotosChanges& changes) {
    app::PhotosAlbumChangeRequest* request = changes.changeRequest(gone, {});
    isRefused = request == nullptr;
    if (request != nullptr) {
      request->addAssets({"a"});
    }
  });
  EXPECT_EQ(result.success, isRefused);
}

TEST_P(PhotoLibraryContract, provesAnOriginalByItsContent) {
  const std::string identifier = add("a.jpg", day(0), "bytes");
  const std::string sha256 = FileFingerprinter::sha256(file("same.jpg", "bytes"));
  EXPECT_TRUE(library().proveOriginal(identifier, sha256, {}));
}

TEST_P(PhotoLibraryContract, provesNothingOfAnAssetThatIsNotThere) {
  add("a.jpg", day(0), "bytes");
  const std::string sha256 = FileFingerprinter::sha256(file("same.jpg", "bytes"));
  EXPECT_FALSE(library().proveOriginal("gone", sha256, {}));
}

TEST_P(PhotoLibraryContract, aProofCanBeCancelled) {
  const std::string identifier = add("a.jpg");
  CancellationSource source;
  source.cancel();
  EXPECT_THROW(library().proveOriginal(identifier, "", source.token()), CancellationError);
}

TEST_P(PhotoLibraryContract, saysOfAnUnchangedOriginalWhatARequestForItGives) {
  const std::string identifier = add("a.jpg", day(0), "bytes");
  const auto unchanged = library().unchangedOriginals({identifier, "gone"});
  if (!unchanged) {
    return;  // it keeps no hashes
  }
  ASSERT_EQ(unchanged->size(), 1U);
  EXPECT_EQ(unchanged->front().resource, resourceOf(identifier));
  EXPECT_EQ(unchanged->front().byteCount, 5);
  EXPECT_EQ(unchanged->front().sha256, FileFingerprinter::sha256(file("same.jpg", "bytes")));
}

TEST_P(PhotoLibraryContract, canBeReadByManyThreadsWhileItIsChanged) {
  const auto album = addAlbum("Album");
  const auto resource = resourceOf(add("a.jpg", day(0), "bytes"));
  std::vector<std::thread> readers;
  readers.reserve(3);
  for (int reader = 0; reader < 3; ++reader) {
    readers.emplace_back([&] {
      std::size_t last = 0;
      for (int round = 0; round < 30; ++round) {
        const std::size_t count = all().size();
        EXPECT_GE(count, last) << "what was there is gone";
        last = count;
        library().fetchAssets(album);
        EXPECT_EQ(readAndWait(library(), resource).bytes, "bytes");
      }
    });
  }
  addDays(6);
  for (std::thread& reader : readers) {
    reader.join();
  }
  EXPECT_EQ(all().size(), 7U);
}

}  // namespace tolvander::tests
