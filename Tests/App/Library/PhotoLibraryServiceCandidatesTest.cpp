#include <atomic>
#include <latch>
#include <memory>
#include <optional>
#include <stdexcept>
#include <thread>

#include "Samples/Bytes.h"
#include "Samples/JPEGBuilder.h"
#include "Tests/App/Library/PhotoLibraryServiceTest.h"
#include "TolvanderApp/Concurrency/TimerQueue.h"
#include "TolvanderApp/Platform/PhotosPlatformError.h"
#include "TolvanderCore/CharmeraMediaProcessor.h"
#include "TolvanderCore/Files/FileFingerprinter.h"

namespace tolvander::tests {
namespace {

using namespace tolvander::app;
using namespace std::chrono_literals;
using Event = DiagnosticLog::Event;
using Order = PhotosFetchOptions::Order;
using Resource = ScriptedPhotoLibrary::Resource;
using Resources = std::vector<Resource>;
using Sources = std::set<std::string>;

constexpr Date day{std::chrono::hours(24 * 20'000)};
constexpr auto days = std::chrono::hours(24);
constexpr auto threeDays = 3 * days;

class PhotoLibraryServiceCandidates : public PhotoLibraryServiceTest {
 protected:
  // A camera file that is known by its name.
  static FingerprintedMediaFile file(const std::string& name, std::optional<Date> captureDate) {
    const FileURL volume("/Volumes/CARD");
    return {.file = {.url = volume.appending(name),
                     .volumeURL = volume,
                     .relativePath = name,
                     .filename = name,
                     .byteCount = 1,
                     .modifiedAt = std::nullopt},
            .sourceFingerprint = name,
            .mediaPayloadFingerprint = std::nullopt,
            .captureDate = captureDate,
            .metadata = std::nullopt,
            .pendingProcessedFingerprint = std::nullopt};
  }

  static FingerprintedMediaFile fileOf(const std::string& name, std::string_view content) {
    FingerprintedMediaFile result = file(name, day);
    result.sourceFingerprint = FileFingerprinter::sha256(bytesOf(content));
    return result;
  }

  static Resource photo(const std::string& filename, std::string_view content = "") {
    return {.type = PhotosResourceType::photo, .originalFilename = filename, .content = bytesOf(content)};
  }

  PhotosAsset addAsset(std::optional<Date> date, Resources resources = {}, const std::string& identifier = "",
                       PhotosMediaType mediaType = PhotosMediaType::image) {
    PhotosAsset asset;
    asset.localIdentifier = identifier;
    asset.creationDate = date;
    asset.mediaType = mediaType;
    asset.pixelWidth = 640;
    asset.pixelHeight = 480;
    asset.duration = mediaType == PhotosMediaType::video ? 2 : 0;
    return library.addAsset(asset, std::move(resources));
  }

  // Without any resource, so that they are fetched and never read.
  void addAssets(int count, Date first, Date::duration step = 1s) {
    for (int index = 0; index < count; ++index) {
      addAsset(first + index * step);
    }
  }

  std::vector<std::string> readAssets() const {
    std::vector<std::string> identifiers;
    for (const PhotosAssetResource& resource : library.dataRequests()) {
      identifiers.push_back(resource.assetLocalIdentifier);
    }
    return identifiers;
  }

  // The metrics of the one line of this event.
  DiagnosticLog::Metrics metricsOf(Event event) const {
    std::optional<DiagnosticLog::Metrics> found;
    for (const auto& [recorded, metrics] : events->lines()) {
      if (recorded == event) {
        EXPECT_FALSE(found) << "recorded twice";
        found = metrics;
      }
    }
    EXPECT_TRUE(found) << "not recorded";
    return found.value_or(DiagnosticLog::Metrics());
  }

  std::int64_t finished(const std::string& key) const {
    return metricsOf(Event::recognitionFinished).at(key);
  }

  void expectWindow(const PhotosFetchOptions& fetch, Date from, Date to) const {
    ASSERT_TRUE(fetch.creationDates.has_value());
    EXPECT_EQ(fetch.creationDates->from, from);
    EXPECT_EQ(fetch.creationDates->to, to);
    EXPECT_EQ(fetch.order, Order::creationDateAscending);
    EXPECT_EQ(fetch.fetchLimit, 751);
  }

  void expectRecent(const PhotosFetchOptions& fetch, std::int64_t limit) const {
    EXPECT_FALSE(fetch.creationDates.has_value());
    EXPECT_EQ(fetch.order, Order::creationDateDescending);
    EXPECT_EQ(fetch.fetchLimit, limit);
  }
};

// What is asked, and what is told.

TEST_F(PhotoLibraryServiceCandidates, areNotAskedForWithoutFiles) {
  library.answerAuthorization({PhotosAuthorizationStatus::denied});
  EXPECT_EQ(service.reconcileExisting({}, true), LibraryReconciliation());
  EXPECT_EQ(library.authorizationQuestions(), 0U);
  EXPECT_TRUE(events->lines().empty());
}

TEST_F(PhotoLibraryServiceCandidates, needFullAccess) {
  expectFullAccessNeeded([&] { service.reconcileExisting({file("A.JPG", day)}, false); });
  EXPECT_TRUE(events->lines().empty());
}

TEST_F(PhotoLibraryServiceCandidates, leaveALineAtTheStartAndAtTheEnd) {
  addAsset(day, {photo("A.JPG", "a"), photo("B.JPG", "b")});
  const auto asset = addAsset(day, {photo("C.JPG")});
  library.answerReads(asset.localIdentifier, [&](auto, const auto&, const auto& completion) {
    timer.advance(1'999'999ns);
    completion(nullptr);
  });
  service.reconcileExisting({fileOf("A.JPG", "a"), fileOf("Z.JPG", "z")}, false);
  const auto lines = events->lines();
  ASSERT_EQ(lines.size(), 2U);
  EXPECT_EQ(lines.front().first, Event::recognitionStarted);
  EXPECT_EQ(lines.front().second,
            (DiagnosticLog::Metrics{
                {"camera_files", 2}, {"broader", 0}, {"resource_limit", 256}, {"byte_limit", 536'870'912}}));
  EXPECT_EQ(lines.back().first, Event::recognitionFinished);
  EXPECT_EQ(lines.back().second, (DiagnosticLog::Metrics{{"matched", 1},
                                                         {"metadata_matched", 0},
                                                         {"unchecked", 0},
                                                         {"limit_reached", 0},
                                                         {"candidates", 3},
                                                         {"elapsed_ms", 1}}));
}

TEST_F(PhotoLibraryServiceCandidates, areLimitedByTheScaledPolicy) {
  std::vector<FingerprintedMediaFile> files;
  for (int number = 0; number < 500; ++number) {
    files.push_back(file(std::to_string(number), day));
  }
  service.reconcileExisting(files, false);
  EXPECT_EQ(metricsOf(Event::recognitionStarted).at("resource_limit"), 1000);
}

TEST_F(PhotoLibraryServiceCandidates, areMoreInTheBroaderSearch) {
  service.reconcileExisting({file("A.JPG", day)}, true);
  EXPECT_EQ(
      metricsOf(Event::recognitionStarted),
      (DiagnosticLog::Metrics{
          {"camera_files", 1}, {"broader", 1}, {"resource_limit", 1024}, {"byte_limit", 2'147'483'648}}));
}

// The newest assets.

TEST_F(PhotoLibraryServiceCandidates, areTheNewestWhereNoFileHasADate) {
  const auto older = addAsset(day, {photo("A.JPG", "1")});
  const auto newer = addAsset(day + 1s, {photo("A.JPG", "2")});
  const auto undated = addAsset(std::nullopt, {photo("A.JPG", "3")});
  const auto found =
      service.reconcileExisting({file("A.JPG", std::nullopt), file("B.JPG", std::nullopt)}, false);
  ASSERT_EQ(library.fetches().size(), 1U);
  expectRecent(library.fetches().front(), 1000);
  EXPECT_EQ(readAssets(),
            (std::vector{newer.localIdentifier, older.localIdentifier, undated.localIdentifier}));
  EXPECT_EQ(found, LibraryReconciliation());
}

TEST_F(PhotoLibraryServiceCandidates, areNotTheNewestWhereAllFilesHaveDates) {
  service.reconcileExisting({file("A.JPG", day)}, false);
  ASSERT_EQ(library.fetches().size(), 1U);
  expectWindow(library.fetches().front(), day - threeDays, day + threeDays);
}

TEST_F(PhotoLibraryServiceCandidates, areTheNewestTooWhereAFileHasNoDate) {
  service.reconcileExisting({file("A.JPG", day), file("B.JPG", std::nullopt)}, false);
  ASSERT_EQ(library.fetches().size(), 2U);
  expectRecent(library.fetches().at(0), 1000);
  expectWindow(library.fetches().at(1), day - threeDays, day + threeDays);
}

TEST_F(PhotoLibraryServiceCandidates, areTheNewestTooInTheBroaderSearch) {
  service.reconcileExisting({file("A.JPG", day)}, true);
  ASSERT_EQ(library.fetches().size(), 2U);
  expectRecent(library.fetches().at(0), 3000);
}

TEST_F(PhotoLibraryServiceCandidates, comeNewestFirstFromAllFetches) {
  const auto undated = addAsset(std::nullopt, {photo("3", "3")});
  const auto second = addAsset(day, {photo("1", "1")}, "b");
  const auto first = addAsset(day, {photo("2", "2")}, "a");
  const auto newest = addAsset(day + 1s, {photo("4", "4")});
  service.reconcileExisting({file("X.JPG", std::nullopt), file("Y.JPG", day - 30 * days)}, true);
  EXPECT_EQ(readAssets(), (std::vector{newest.localIdentifier, first.localIdentifier, second.localIdentifier,
                                       undated.localIdentifier}));
}

// Windows.

TEST_F(PhotoLibraryServiceCandidates, areFetchedAroundBothDatesOfAFile) {
  FingerprintedMediaFile twice = file("A.JPG", day);
  twice.file.modifiedAt = day + 20 * days;
  service.reconcileExisting({twice}, false);
  const auto fetches = library.fetches();
  ASSERT_EQ(fetches.size(), 2U);
  expectWindow(fetches.at(0), day - threeDays, day + threeDays);
  expectWindow(fetches.at(1), day + 17 * days, day + 23 * days);
}

TEST_F(PhotoLibraryServiceCandidates, shareAWindowWhenTwoDatesAreSixDaysApart) {
  service.reconcileExisting({file("B.JPG", day + 6 * days), file("A.JPG", day)}, false);
  ASSERT_EQ(library.fetches().size(), 1U);
  expectWindow(library.fetches().front(), day - threeDays, day + 9 * days);
}

TEST_F(PhotoLibraryServiceCandidates, haveWindowsOfTheirOwnWhenTwoDatesAreFurtherApart) {
  service.reconcileExisting({file("A.JPG", day), file("B.JPG", day + 6 * days + 1ns)}, false);
  const auto fetches = library.fetches();
  ASSERT_EQ(fetches.size(), 2U);
  expectWindow(fetches.at(0), day - threeDays, day + threeDays);
  expectWindow(fetches.at(1), day + threeDays + 1ns, day + 9 * days + 1ns);
}

TEST_F(PhotoLibraryServiceCandidates, areFetchedOnceForACardOfOneWeek) {
  std::vector<FingerprintedMediaFile> files;
  for (int number = 0; number < 300; ++number) {
    files.push_back(file(std::to_string(number), day + number * 30min));
  }
  addAsset(day + 1h, {photo("A"), photo("B")});
  service.reconcileExisting(files, false);
  EXPECT_EQ(library.fetches().size(), 1U);
  EXPECT_EQ(library.resourceQuestions().size(), 1U);
  EXPECT_EQ(library.resourceQuestions().begin()->second, 1);
}

TEST_F(PhotoLibraryServiceCandidates, endWhereDatesEnd) {
  service.reconcileExisting({file("A.JPG", Date::min()), file("B.JPG", Date::max())}, false);
  const auto fetches = library.fetches();
  ASSERT_EQ(fetches.size(), 2U);
  expectWindow(fetches.at(0), Date::min(), Date::min() + threeDays);
  expectWindow(fetches.at(1), Date::max() - threeDays, Date::max());
}

TEST_F(PhotoLibraryServiceCandidates, areAllOfAWindowOf750) {
  addAssets(749, day);
  addAsset(day + 1h, {photo("A.JPG", "a")});
  const auto file = fileOf("A.JPG", "a");
  const auto found = service.reconcileExisting({file}, false);
  EXPECT_TRUE(found.matches.contains(file.sourceFingerprint));
  EXPECT_TRUE(found.unchecked.empty());
  EXPECT_EQ(library.resourceQuestions().size(), 750U);
}

TEST_F(PhotoLibraryServiceCandidates, areTheFirst750OfAWindowOf751) {
  addAssets(750, day);
  addAsset(day + 1h, {photo("A.JPG", "a")});
  const auto file = fileOf("A.JPG", "a");
  const auto found = service.reconcileExisting({file}, false);
  EXPECT_TRUE(found.matches.empty());
  EXPECT_EQ(found.unchecked, Sources{file.sourceFingerprint});
  EXPECT_TRUE(found.budgetExceeded);
  EXPECT_EQ(finished("limit_reached"), 1);
  EXPECT_EQ(library.resourceQuestions().size(), 750U);
}

TEST_F(PhotoLibraryServiceCandidates, areTheFirst750OfALargerWindow) {
  addAssets(2000, day);
  EXPECT_EQ(service.reconcileExisting({file("A.JPG", day)}, false).unchecked, Sources{"A.JPG"});
  EXPECT_EQ(library.resourceQuestions().size(), 750U);
}

TEST_F(PhotoLibraryServiceCandidates, areIncompleteOnlyForFilesWithADateInATruncatedWindow) {
  addAssets(751, day);
  FingerprintedMediaFile twice = file("TWICE.JPG", day - 100 * days);
  twice.file.modifiedAt = day + 6 * days;
  const auto found = service.reconcileExisting(
      {file("IN.JPG", day), file("BEFORE.JPG", day - 20 * days), file("AFTER.JPG", day + 20 * days),
       file("EDGE.JPG", day + 6 * days), twice, file("NEVER.JPG", std::nullopt)},
      false);
  EXPECT_EQ(found.unchecked, (Sources{"IN.JPG", "EDGE.JPG", "TWICE.JPG"}));
}

TEST_F(PhotoLibraryServiceCandidates, areNoMoreThanThePolicyAllows) {
  std::vector<FingerprintedMediaFile> files;
  for (int window = 0; window < 5; ++window) {
    files.push_back(file(std::to_string(window), day + window * 30 * days));
    addAssets(window < 2 ? 700 : 750, *files.back().captureDate);
  }
  const auto found = service.reconcileExisting(files, false);
  // 700, 700 and 600 of 750; then not even a question.
  EXPECT_EQ(found.unchecked, (Sources{"2", "3", "4"}));
  EXPECT_EQ(library.fetches().size(), 3U);
  EXPECT_EQ(library.resourceQuestions().size(), 2000U);
}

TEST_F(PhotoLibraryServiceCandidates, areNotIncompleteWhenTheirNumberIsReachedExactly) {
  addAssets(700, day);
  addAssets(700, day + 30 * days);
  addAssets(600, day + 60 * days);
  const auto found = service.reconcileExisting(
      {file("1", day), file("2", day + 30 * days), file("3", day + 60 * days)}, false);
  EXPECT_EQ(found.unchecked, Sources());
  EXPECT_EQ(library.resourceQuestions().size(), 2000U);
}

// 1000 recent ones, of which 500 lie in the second window; 750 in the first; 250 more in the second.
TEST_F(PhotoLibraryServiceCandidates, areNotIncompleteForAssetsThatAreThereAlready) {
  addAssets(750, day);
  addAssets(250, day + 30 * days);
  addAssets(500, day + 31 * days);
  addAssets(500, day + 100 * days);
  const auto found =
      service.reconcileExisting({file("1", day), file("2", day + 30 * days), file("3", std::nullopt)}, false);
  EXPECT_EQ(found.unchecked, Sources());
  EXPECT_EQ(library.resourceQuestions().size(), 2000U);
}

// Resources.

TEST_F(PhotoLibraryServiceCandidates, arePicturesAndMoviesWithTheirIndexAmongAllResources) {
  using enum PhotosResourceType;
  Resources resources;
  for (const PhotosResourceType type : {adjustmentData, photo, audio, fullSizePhoto, alternatePhoto, video,
                                        pairedVideo, other, fullSizeVideo}) {
    resources.push_back(
        {.type = type, .originalFilename = "A.JPG", .content = bytesOf(std::to_string(resources.size()))});
  }
  addAsset(day, resources);
  service.reconcileExisting({file("A.JPG", day)}, false);
  std::vector<std::int64_t> indexes;
  for (const PhotosAssetResource& resource : library.dataRequests()) {
    indexes.push_back(resource.index);
  }
  EXPECT_EQ(indexes, (std::vector<std::int64_t>{1, 3, 5, 8}));
  EXPECT_EQ(finished("candidates"), 4);
}

TEST_F(PhotoLibraryServiceCandidates, matchByTheirBytes) {
  const auto asset = addAsset(day, {photo("OTHER.PNG", "content")});
  const auto file = fileOf("A.PNG", "content");
  const auto found = service.reconcileExisting({file}, false);
  EXPECT_EQ(found.matches.at(file.sourceFingerprint),
            (LibraryMatch{.assetIdentifier = asset.localIdentifier,
                          .resourceFingerprint = file.sourceFingerprint,
                          .mediaPayloadFingerprint = std::nullopt}));
  EXPECT_EQ(timer.durations(), std::vector<std::chrono::nanoseconds>{15s});
  EXPECT_EQ(timer.alarmCount(), 0U);
}

TEST_F(PhotoLibraryServiceCandidates, matchByThePictureOfAJPEGOfAnyCase) {
  const auto picture = [](std::string_view date) {
    return JPEGBuilder()
        .exif(TIFFBuilder().originalDate(date))
        .quantisationTable()
        .huffmanTable()
        .frame(640, 480)
        .scan()
        .endOfImage()
        .build();
  };
  FingerprintedMediaFile wanted = file("A.JPG", day);
  wanted.mediaPayloadFingerprint =
      CharmeraMediaProcessor::jpegMediaPayloadFingerprint(picture("2026:01:31 12:00:00"));
  const Bytes other = picture("2020:01:31 12:00:00");
  addAsset(day, {{.type = PhotosResourceType::photo, .originalFilename = "B.png", .content = other}});
  EXPECT_TRUE(service.reconcileExisting({wanted}, false).matches.empty());
  for (const char* const name : {"B.jpg", "B.JPEG", "b.JpG"}) {
    const auto asset =
        addAsset(day, {{.type = PhotosResourceType::photo, .originalFilename = name, .content = other}});
    EXPECT_TRUE(service.reconcileExisting({wanted}, false).matches.contains("A.JPG")) << name;
    library.removeAsset(asset.localIdentifier);
  }
}

// An original elsewhere proves an item by what the library says of it, where it says anything.
TEST_F(PhotoLibraryServiceCandidates, haveMetadataOfPicturesAndMoviesOnly) {
  const auto searched = [&](PhotosMediaType mediaType, MediaMetadata::Kind kind,
                            std::optional<double> duration) {
    FingerprintedMediaFile wanted = file("A", day);
    wanted.metadata =
        MediaMetadata{.kind = kind, .pixelWidth = 640, .pixelHeight = 480, .duration = duration};
    Resource resource = photo("A");
    resource.isLocal = false;
    const auto asset = addAsset(day, {resource}, "", mediaType);
    const auto found = service.reconcileExisting({wanted}, false);
    library.removeAsset(asset.localIdentifier);
    return found;
  };
  using Kind = MediaMetadata::Kind;
  EXPECT_EQ(searched(PhotosMediaType::image, Kind::image, std::nullopt).metadataMatches.size(), 1U);
  EXPECT_EQ(searched(PhotosMediaType::video, Kind::video, 2.0).metadataMatches.size(), 1U);
  EXPECT_EQ(searched(PhotosMediaType::video, Kind::video, 3.0).metadataMatches.size(), 0U);
  EXPECT_EQ(searched(PhotosMediaType::audio, Kind::image, std::nullopt).unchecked, Sources{"A"});
  EXPECT_EQ(searched(PhotosMediaType::unknown, Kind::image, std::nullopt).unchecked, Sources{"A"});
}

// How a read ends.

class PhotoLibraryServiceReads : public PhotoLibraryServiceCandidates {
 protected:
  // The search for one file among one resource of its name, whose read is answered so.
  LibraryReconciliation searchReading(const ScriptedPhotoLibrary::Read& read,
                                      const CancellationToken& token = {}) {
    const auto asset = addAsset(day, {photo("A.PNG")});
    library.answerReads(asset.localIdentifier, read);
    return service.reconcileExisting({wanted}, false, token);
  }

  const FingerprintedMediaFile wanted = fileOf("A.PNG", "content");
  const std::vector<std::byte> content = bytesOf("content");
};

TEST_F(PhotoLibraryServiceReads, hashAllChunks) {
  const auto found = searchReading([&](auto, const auto& dataReceived, const auto& completion) {
    dataReceived(std::span(content).first(3));
    dataReceived(std::span(content).subspan(3));
    completion(nullptr);
  });
  EXPECT_EQ(found.matches.size(), 1U);
}

TEST_F(PhotoLibraryServiceReads, areCancelledWhenTheirTimeIsUpBeforeTheirIdentifierIsKnown) {
  PhotoLibrary::RequestID asked = 0;
  const auto found = searchReading([&](auto request, const auto&, const auto&) {
    asked = request;
    timer.advance(15s - 1ns);
    EXPECT_EQ(events->lines().size(), 1U);
    timer.advance(1ns);
    EXPECT_TRUE(library.cancelledRequests().empty());
  });
  EXPECT_EQ(library.cancelledRequests(), std::vector{asked});
  EXPECT_EQ(found.unchecked, Sources{wanted.sourceFingerprint});
  EXPECT_FALSE(found.budgetExceeded);
  EXPECT_EQ(metricsOf(Event::operationFailed), (DiagnosticLog::Metrics{{"resource_timeout", 1}}));
}

TEST_F(PhotoLibraryServiceReads, ignoreChunksAndACompletionAfterTheTimeOut) {
  const auto found = searchReading([&](auto, const auto& dataReceived, const auto& completion) {
    dataReceived(std::span(content).first(3));
    timer.advance(15s);
    dataReceived(std::span(content).subspan(3));
    completion(nullptr);
  });
  EXPECT_TRUE(found.matches.empty());
  EXPECT_EQ(found.unchecked, Sources{wanted.sourceFingerprint});
}

TEST_F(PhotoLibraryServiceReads, areNotTimedOutAfterTheirCompletion) {
  const auto found = searchReading([&](auto, const auto& dataReceived, const auto& completion) {
    dataReceived(content);
    completion(nullptr);
    timer.advance(15s);
    completion(std::make_exception_ptr(std::runtime_error("second")));
  });
  EXPECT_EQ(found.matches.size(), 1U);
}

TEST_F(PhotoLibraryServiceReads, ofAnOriginalInTheCloudFetchNothing) {
  Resource cloud = photo("A.PNG", "content");
  cloud.isLocal = false;
  addAsset(day, {cloud});
  FingerprintedMediaFile exact = wanted;
  exact.requiresExactReconciliation = true;
  const auto found = service.reconcileExisting({exact}, false);
  EXPECT_EQ(found.unchecked, Sources{exact.sourceFingerprint});
  EXPECT_FALSE(found.budgetExceeded);
  EXPECT_EQ(metricsOf(Event::operationFailed),
            (DiagnosticLog::Metrics{{"error_code", 3164}, {"photokit", 1}}));
}

// Without the number for the cloud a read is a failure, which leaves a file of another name unchecked too.
TEST_F(PhotoLibraryServiceReads, ofAnOriginalInTheCloudProveNothingOfAnotherName) {
  const auto endingWith = [&](PhotosPlatformError::Case failure) {
    const auto asset = addAsset(day, {photo("B.PNG")});
    library.answerReads(asset.localIdentifier, [&](auto, const auto&, const auto& completion) {
      completion(std::make_exception_ptr(PhotosPlatformError(failure, "failed")));
    });
    const auto found = service.reconcileExisting({wanted}, false);
    library.removeAsset(asset.localIdentifier);
    return found.unchecked.size();
  };
  EXPECT_EQ(endingWith(PhotosPlatformError::Case::networkAccessRequired), 0U);
  EXPECT_EQ(endingWith(PhotosPlatformError::Case::libraryVolumeOffline), 1U);
}

TEST_F(PhotoLibraryServiceReads, thatFailLeaveTheFileUnchecked) {
  const auto found = searchReading([](auto, const auto&, const auto& completion) {
    completion(std::make_exception_ptr(std::runtime_error("the disk is gone")));
  });
  EXPECT_EQ(found.unchecked, Sources{wanted.sourceFingerprint});
  EXPECT_FALSE(found.budgetExceeded);
  EXPECT_EQ(metricsOf(Event::operationFailed).at("other_domain"), 1);
}

TEST_F(PhotoLibraryServiceReads, endAtTheChunkThatGoesBeyondTheAllowance) {
  constexpr std::size_t allowance = 536'870'912;
  // Never looked at, so no page of it is ever there.
  const std::unique_ptr<std::byte[]> memory(new std::byte[allowance + 1]);
  PhotoLibrary::RequestID asked = 0;
  const auto found = searchReading([&](auto request, const auto& dataReceived, const auto& completion) {
    asked = request;
    dataReceived(std::span(memory.get(), allowance + 1));
    dataReceived(content);
    completion(nullptr);
  });
  EXPECT_EQ(library.cancelledRequests(), std::vector{asked});
  EXPECT_EQ(found.unchecked, Sources{wanted.sourceFingerprint});
  EXPECT_TRUE(found.budgetExceeded);
  EXPECT_EQ(finished("limit_reached"), 1);
}

TEST_F(PhotoLibraryServiceReads, countTheBytesThatAreReadOfThePassesAllowance) {
  constexpr std::size_t allowance = 536'870'912;
  const std::unique_ptr<std::byte[]> memory(new std::byte[allowance]);
  const auto first = addAsset(day + 1s, {photo("A.PNG")});
  const auto second = addAsset(day, {photo("A.PNG")});
  library.answerReads(first.localIdentifier, [&](auto, const auto& dataReceived, const auto&) {
    dataReceived(std::span(content));
    timer.advance(15s);  // the 7 bytes before it count all the same
  });
  library.answerReads(second.localIdentifier, [&](auto, const auto& dataReceived, const auto& completion) {
    dataReceived(std::span(memory.get(), allowance - 6));
    completion(nullptr);
  });
  service.reconcileExisting({wanted}, false);
  EXPECT_EQ(finished("limit_reached"), 1);
}

TEST_F(PhotoLibraryServiceReads, endWithTheCancellationAndCancelTheirRequest) {
  CancellationSource source;
  PhotoLibrary::RequestID asked = 0;
  EXPECT_THROW(searchReading(
                   [&](auto request, const auto&, const auto&) {
                     asked = request;
                     source.cancel();
                   },
                   source.token()),
               CancellationError);
  EXPECT_EQ(library.cancelledRequests(), std::vector{asked});
  EXPECT_EQ(timer.alarmCount(), 0U);
  EXPECT_EQ(events->lines().size(), 1U);  // the start alone
}

TEST_F(PhotoLibraryServiceReads, endWithACancellationFromTheLibrary) {
  EXPECT_THROW(searchReading([](auto, const auto&, const auto& completion) {
                 completion(std::make_exception_ptr(CancellationError()));
               }),
               CancellationError);
}

TEST(PhotoLibraryService, mayBeGoneWhenTheLibraryCallsLate) {
  const auto events = std::make_shared<RecordedEvents>();
  ManualTimer timer;
  ScriptedPhotoLibrary library;
  PhotosAsset asset{.localIdentifier = "a", .creationDate = day};
  library.addAsset(asset, {{.originalFilename = "A.JPG", .content = {}}});
  PhotoLibrary::DataHandler lateData;
  PhotoLibrary::DataCompletion lateCompletion;
  library.answerReads("a", [&](auto, const auto& dataReceived, const auto& completion) {
    lateData = dataReceived;
    lateCompletion = completion;
    timer.advance(15s);
  });
  {
    PhotoLibraryService service(library, timer, [events](Event event, const DiagnosticLog::Metrics& metrics) {
      events->add(event, metrics);
    });
    service.reconcileExisting({{.file = {.url = FileURL("/CARD/A.JPG"),
                                         .volumeURL = FileURL("/CARD"),
                                         .relativePath = "A.JPG",
                                         .filename = "A.JPG",
                                         .modifiedAt = day},
                                .sourceFingerprint = "A.JPG",
                                .mediaPayloadFingerprint = {},
                                .captureDate = {},
                                .metadata = {},
                                .pendingProcessedFingerprint = {}}},
                              false);
  }
  lateData(bytesOf("late"));
  lateCompletion(std::make_exception_ptr(std::runtime_error("late")));
  EXPECT_EQ(events->lines().back().first, Event::operationFailed);
}

// Data and completion, time-out and cancellation, all at once on threads of their own.
TEST_F(PhotoLibraryServiceReads, endOnceWhoeverWins) {
  const auto asset = addAsset(day, {photo("A.PNG")});
  int matches = 0;
  int timeOuts = 0;
  int cancellations = 0;
  constexpr int rounds = 1000;
  for (int round = 0; round < rounds; ++round) {
    CancellationSource source;
    std::vector<std::thread> threads;
    std::latch start(3);
    const auto together = [&](const std::function<void()>& function) {
      threads.emplace_back([&start, function] {
        start.arrive_and_wait();
        function();
      });
    };
    library.answerReads(asset.localIdentifier, [&](auto, const auto& dataReceived, const auto& completion) {
      together([&, dataReceived, completion] {
        dataReceived(std::span(content).first(3));
        dataReceived(std::span(content).subspan(3));
        completion(nullptr);
      });
      together([&] { timer.advance(15s); });
      together([&] { source.cancel(); });
    });
    try {
      const auto found = service.reconcileExisting({wanted}, false, source.token());
      matches += found.matches.empty() ? 0 : 1;
      timeOuts += found.unchecked.empty() ? 0 : 1;
    } catch (const CancellationError&) {
      ++cancellations;
    }
    for (std::thread& thread : threads) {
      thread.join();
    }
    ASSERT_EQ(timer.alarmCount(), 0U);
  }
  EXPECT_EQ(matches + timeOuts + cancellations, rounds);
}

// The same with the library's own thread and real alarms that ring or don't.
TEST(PhotoLibraryService, readsWithRealAlarmsFromManyThreads) {
  TimerQueue timer;
  ScriptedPhotoLibrary library;
  const Bytes content(200'000, std::byte{0x42});
  library.addAsset({.localIdentifier = "a", .creationDate = day},
                   {{.originalFilename = "A.PNG", .content = content}});
  PhotoLibraryService service(library, timer, [](Event, const DiagnosticLog::Metrics&) {});
  const FingerprintedMediaFile wanted{.file = {.url = FileURL("/CARD/A.PNG"),
                                               .volumeURL = FileURL("/CARD"),
                                               .relativePath = "A.PNG",
                                               .filename = "A.PNG",
                                               .modifiedAt = day},
                                      .sourceFingerprint = FileFingerprinter::sha256(content),
                                      .mediaPayloadFingerprint = {},
                                      .captureDate = {},
                                      .metadata = {},
                                      .pendingProcessedFingerprint = {}};
  std::atomic<int> ended = 0;
  std::vector<std::thread> threads;
  for (int index = 0; index < 4; ++index) {
    threads.emplace_back([&] {
      for (int round = 0; round < 100; ++round) {
        CancellationSource source;
        std::thread canceller([&] { source.cancel(); });
        try {
          EXPECT_EQ(service.reconcileExisting({wanted}, false, source.token()).matches.size(), 1U);
        } catch (const CancellationError&) {
        }
        canceller.join();
        ++ended;
      }
    });
  }
  for (std::thread& thread : threads) {
    thread.join();
  }
  EXPECT_EQ(ended, 400);
}

// Which identifiers still exist.

class ExistingAssetIdentifiers : public PhotoLibraryServiceTest {
 protected:
  static std::vector<std::string> identifiers(int count) {
    std::vector<std::string> result;
    for (int number = 0; number < count; ++number) {
      result.push_back("asset-" + std::to_string(number));
    }
    return result;
  }
};

TEST_F(ExistingAssetIdentifiers, needFullAccess) {
  expectFullAccessNeeded([&] { service.existingAssetIdentifiers({"a"}); });
  expectFullAccessNeeded([&] { service.existingAssetIdentifiers({}); });
}

TEST_F(ExistingAssetIdentifiers, areThoseInTheLibrary) {
  library.addAsset({.localIdentifier = "a", .creationDate = day});
  library.addAsset({.localIdentifier = "c", .creationDate = std::nullopt});
  EXPECT_EQ(service.existingAssetIdentifiers({"a", "b", "a", "c"}), (std::set<std::string>{"a", "c"}));
}

TEST_F(ExistingAssetIdentifiers, areFetchedInRunsOf500) {
  library.addAsset({.localIdentifier = "asset-0", .creationDate = day});
  library.addAsset({.localIdentifier = "asset-500", .creationDate = day});
  library.addAsset({.localIdentifier = "asset-1000", .creationDate = day});
  EXPECT_EQ(service.existingAssetIdentifiers(identifiers(1001)).size(), 3U);
  std::vector<std::size_t> sizes;
  for (const auto& fetch : library.identifierFetches()) {
    sizes.push_back(fetch.size());
  }
  EXPECT_EQ(sizes, (std::vector<std::size_t>{500, 500, 1}));
}

TEST_F(ExistingAssetIdentifiers, areNotFetchedBeyondARunOf500WithoutNeed) {
  EXPECT_TRUE(service.existingAssetIdentifiers(identifiers(500)).empty());
  EXPECT_EQ(library.identifierFetches().size(), 1U);
  EXPECT_TRUE(service.existingAssetIdentifiers({}).empty());
  EXPECT_EQ(library.identifierFetches().size(), 1U);
}

TEST_F(ExistingAssetIdentifiers, looksForACancellationBeforeEachRun) {
  CancellationSource source;
  library.beforeEachIdentifierFetch([&] { source.cancel(); });
  EXPECT_THROW(service.existingAssetIdentifiers(identifiers(501), source.token()), CancellationError);
  EXPECT_EQ(library.identifierFetches().size(), 1U);
  EXPECT_THROW(service.existingAssetIdentifiers(identifiers(1), source.token()), CancellationError);
  EXPECT_EQ(library.identifierFetches().size(), 1U);
}

}  // namespace
}  // namespace tolvander::tests
