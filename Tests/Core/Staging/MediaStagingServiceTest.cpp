#include "TolvanderCore/MediaStagingService.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <filesystem>
#include <functional>
#include <stdexcept>
#include <string>

#include "Samples/Bytes.h"
#include "Samples/JPEGBuilder.h"
#include "Tests/Support/Machine/OtherUser.h"
#include "Tests/Support/Machine/TemporaryFolder.h"
#include "TolvanderCore/CharmeraMediaProcessor.h"
#include "TolvanderCore/Files/FileFingerprinter.h"
#include "TolvanderCore/Files/FileOperations.h"
#include "TolvanderCore/Foundation/ISO8601.h"
#include "TolvanderCore/Foundation/SystemErrors.h"
#include "TolvanderCore/Platform/FileSystem.h"

namespace tolvander::tests {
namespace {

namespace fs = std::filesystem;

Date date(std::string_view text) { return dateFromISO8601(text).value(); }

std::string_view textOf(const Bytes& content) {
  return {reinterpret_cast<const char*>(content.data()), content.size()};
}

Bytes pictureTakenAt(std::string_view originalDate) {
  return JPEGBuilder()
      .jfif()
      .exif(TIFFBuilder().originalDate(originalDate))
      .quantisationTable()
      .huffmanTable()
      .frame(640, 480)
      .scan()
      .endOfImage()
      .build();
}

// Replaces the processing of videos: the movie is the source's text with a word before it.
class FakeVideoProcessor final : public CharmeraVideoProcessing {
 public:
  CharmeraVideoSupportStatus supportStatus() const override { return CharmeraVideoSupportStatus::available; }

  CharmeraVideoProbe probe(const FileURL&, std::optional<Date>, const CancellationToken&) const override {
    return {};
  }

  void transcode(const FileURL& source, const FileURL& destination,
                 const CancellationToken& token) const override {
    sourceDate = fileResourceValues(source).contentModificationDate;
    sourceName = std::string(source.lastPathComponent());
    if (meanwhile) {
      meanwhile();
    }
    token.throwIfCancelled();
    writeFile(destination, "movie of " + readFile(source));
    if (afterwards) {
      afterwards(destination);
    }
  }

  std::function<void()> meanwhile;
  std::function<void(const FileURL& movie)> afterwards;
  mutable std::optional<Date> sourceDate;
  mutable std::string sourceName;
};

class Staging : public testing::Test {
 protected:
  CameraMediaFile cameraFile(const std::string& path, std::string_view content,
                             std::optional<Date> modifiedAt = date("2026-05-01T10:00:00Z")) const {
    const FileURL url = volume.appending(path);
    writeFile(url, content);
    return {.url = url,
            .volumeURL = volume,
            .relativePath = path,
            .filename = std::string(url.lastPathComponent()),
            .byteCount = static_cast<std::int64_t>(content.size()),
            .modifiedAt = modifiedAt};
  }

  CameraMediaFile charmeraJPEG(const std::string& path, const std::string& originalDate) const {
    const Bytes content = pictureTakenAt(originalDate);
    return cameraFile(path, textOf(content));
  }

  PreparedMediaBatch prepare(const std::vector<CameraMediaFile>& files, bool isCharmera = true) {
    return service.prepare(files, isCharmera, TimeZone::utc());
  }

  std::vector<std::string> batchesLeft() const {
    std::vector<std::string> names;
    if (fs::exists(root.path())) {
      for (const auto& entry : fs::directory_iterator(root.path())) {
        names.push_back(entry.path().filename().string());
      }
    }
    return names;
  }

  void expectNothingLeft() const { EXPECT_TRUE(batchesLeft().empty()); }

  MediaStagingError::Case failureOf(const std::function<void()>& operation) const {
    try {
      operation();
    } catch (const MediaStagingError& error) {
      return error.kind();
    }
    ADD_FAILURE() << "no staging error";
    return {};
  }

  TemporaryFolder folder;
  const FileURL volume = folder / "CARD";
  const FileURL root = folder / "Application Support/Media Staging";
  const std::shared_ptr<FakeVideoProcessor> videos = std::make_shared<FakeVideoProcessor>();
  MediaStagingService service{root, videos};
};

std::vector<std::string> namesOf(const PreparedMediaBatch& batch) {
  std::vector<std::string> names;
  for (const PreparedMediaFile& file : batch.files) {
    names.push_back(file.sourceFile.relativePath);
  }
  return names;
}

using Names = std::vector<std::string>;

TEST_F(Staging, anEmptyListIsABatchWithoutFilesAndAnExistingFolder) {
  const PreparedMediaBatch batch = prepare({});
  EXPECT_TRUE(batch.files.empty());
  EXPECT_EQ(batch.directoryURL, root.appending(batch.id.text()));
  EXPECT_TRUE(fs::is_directory(batch.directoryURL.path()));
  EXPECT_EQ(fs::status(batch.directoryURL.path()).permissions(), fs::perms::owner_all);
}

TEST_F(Staging, copiesAnUnalteredFileExactlyAndKeepsItsDate) {
  const CameraMediaFile file = cameraFile("DCIM/a.png", "not really a picture", date("2026-05-01T10:00:01Z"));
  const PreparedMediaBatch batch = prepare({file});
  ASSERT_EQ(batch.files.size(), 1U);
  const PreparedMediaFile& staged = batch.files[0];
  EXPECT_EQ(readFile(staged.importURL), "not really a picture");
  EXPECT_EQ(fileResourceValues(staged.importURL).contentModificationDate, file.modifiedAt);
  EXPECT_EQ(staged.importURL.lastPathComponent(), "a.png");
  EXPECT_TRUE(UUID::fromText(staged.importURL.deletingLastPathComponent().lastPathComponent()));
  EXPECT_EQ(staged.importURL.deletingLastPathComponent().deletingLastPathComponent(), batch.directoryURL);
  EXPECT_EQ(staged, (PreparedMediaFile{.sourceFile = file,
                                       .importURL = staged.importURL,
                                       .sourceFingerprint = FileFingerprinter::sha256(file.url),
                                       .mediaPayloadFingerprint = {},
                                       .processedFingerprint = FileFingerprinter::sha256(file.url),
                                       .processingVersion = {},
                                       .isStagedCopy = true,
                                       .captureDate = file.modifiedAt}));
}

TEST_F(Staging, datesAnUnalteredPictureByItsExifInTheGivenZone) {
  const Bytes content = pictureTakenAt("2026:07:01 12:00:00");
  const CameraMediaFile file = cameraFile("DCIM/a.jpg", textOf(content));
  const auto berlin = TimeZone::named("Europe/Berlin").value();
  const PreparedMediaBatch batch = service.prepare({file}, false, berlin);
  EXPECT_EQ(batch.files[0].captureDate, date("2026-07-01T10:00:00Z"));
  EXPECT_EQ(readFile(batch.files[0].importURL), textOf(content));
  EXPECT_EQ(batch.files[0].processingVersion, std::nullopt);
}

TEST_F(Staging, repairsACharmerasJPEGInAFolderNamedAfterTheResult) {
  const CameraMediaFile file = charmeraJPEG("DCIM/PICT0001.JPG", "2026:07:01 12:00:00");
  const PreparedMediaBatch batch = prepare({file});
  const PreparedMediaFile& staged = batch.files.at(0);
  const auto plan = CharmeraMediaProcessor::plan(bytesOf(readFile(file.url)), "JPG", true, file.modifiedAt,
                                                 TimeZone::utc());
  EXPECT_EQ(readFile(staged.importURL), textOf(*plan.outputData));
  EXPECT_EQ(staged.importURL,
            batch.directoryURL.appending(*plan.processedFingerprint + "-p1").appending("PICT0001.JPG"));
  EXPECT_EQ(staged.sourceFingerprint, plan.sourceFingerprint);
  EXPECT_EQ(staged.mediaPayloadFingerprint, plan.mediaPayloadFingerprint);
  EXPECT_EQ(staged.processedFingerprint, FileFingerprinter::sha256(staged.importURL));
  EXPECT_EQ(staged.processingVersion, 1);
  EXPECT_EQ(staged.captureDate, date("2026-07-01T12:00:00Z"));
}

TEST_F(Staging, datesARepairedFileByTheOffsetBeforeTheChangeWhereTheZoneSkipsItsTime) {
  const CameraMediaFile file = charmeraJPEG("DCIM/PICT0001.JPG", "2026:03:29 02:30:00");
  const auto berlin = TimeZone::named("Europe/Berlin").value();
  EXPECT_EQ(service.prepare({file}, true, berlin).files.at(0).captureDate, date("2026-03-29T01:30:00Z"));
}

TEST_F(Staging, rewrapsACharmerasVideoOnACopyThatCarriesItsDate) {
  const CameraMediaFile file = cameraFile("DCIM/MOVI0001.AVI", "frames");
  const PreparedMediaBatch batch = prepare({file});
  const PreparedMediaFile& staged = batch.files.at(0);
  EXPECT_EQ(readFile(staged.importURL), "movie of frames");
  EXPECT_EQ(videos->sourceDate, file.modifiedAt);
  EXPECT_EQ(videos->sourceName, "source.avi");
  EXPECT_FALSE(fs::exists(staged.importURL.deletingLastPathComponent().appending("source.avi").path()));
  EXPECT_EQ(staged, (PreparedMediaFile{.sourceFile = file,
                                       .importURL = staged.importURL,
                                       .sourceFingerprint = FileFingerprinter::sha256(file.url),
                                       .mediaPayloadFingerprint = {},
                                       .processedFingerprint = FileFingerprinter::sha256(staged.importURL),
                                       .processingVersion = 2,
                                       .isStagedCopy = true,
                                       .captureDate = file.modifiedAt}));
  EXPECT_EQ(staged.importURL.lastPathComponent(), "MOVI0001.mov");
}

TEST_F(Staging, datesAVideoWithoutAKnownDateByItsFile) {
  CameraMediaFile file = cameraFile("DCIM/MOVI0001.AVI", "frames", std::nullopt);
  setContentModificationDate(file.url, date("2026-02-03T04:05:06Z"));
  EXPECT_EQ(prepare({file}).files.at(0).captureDate, date("2026-02-03T04:05:06Z"));
}

TEST_F(Staging, leavesMoviesAndOtherCamerasVideosAsTheyAre) {
  for (const char* name : {"DCIM/a.MOV", "DCIM/b.mp4"}) {
    EXPECT_EQ(readFile(prepare({cameraFile(name, "movie")}).files.at(0).importURL), "movie");
  }
  const PreparedMediaBatch batch = prepare({cameraFile("DCIM/c.avi", "video")}, false);
  EXPECT_EQ(readFile(batch.files.at(0).importURL), "video");
  EXPECT_EQ(batch.files.at(0).processingVersion, std::nullopt);
}

TEST_F(Staging, copiesAnUnalteredFileThatIsReadInManyParts) {
  std::string content(3'000'001, '\0');
  for (std::size_t index = 0; index < content.size(); ++index) {
    content[index] = static_cast<char>(index * 31 + index / 4099);
  }
  const CameraMediaFile file = cameraFile("DCIM/a.mov", content);
  const PreparedMediaBatch batch = prepare({file});
  const PreparedMediaFile& staged = batch.files.at(0);
  EXPECT_TRUE(readFile(staged.importURL) == content);
  EXPECT_EQ(staged.sourceFingerprint, FileFingerprinter::sha256(bytesOf(content)));
  EXPECT_EQ(staged.processedFingerprint, staged.sourceFingerprint);
}

TEST_F(Staging, datesAVideoByItsFileWhateverItBeginsWith) {
  const Bytes content = pictureTakenAt("2026:07:01 12:00:00");
  const CameraMediaFile file = cameraFile("DCIM/a.mov", textOf(content));
  EXPECT_EQ(prepare({file}).files.at(0).captureDate, file.modifiedAt);
}

TEST_F(Staging, repairsAPictureOfTheGreatestSize) {
  CameraMediaFile file = charmeraJPEG("DCIM/PICT0001.JPG", "2026:07:01 12:00:00");
  fs::resize_file(file.url.path(), CharmeraMediaProcessor::maximumRepairBytes);
  const PreparedMediaBatch batch = prepare({file});
  EXPECT_EQ(batch.files.at(0).processingVersion, 1);
  EXPECT_GT(fs::file_size(batch.files.at(0).importURL.path()),
            CharmeraMediaProcessor::maximumRepairBytes / 2);
}

TEST_F(Staging, copiesAPictureOfAnotherCameraThatIsTooLargeToRepairAndDatesItByItsExif) {
  CameraMediaFile file = charmeraJPEG("DCIM/a.jpg", "2026:07:01 12:00:00");
  fs::resize_file(file.url.path(), CharmeraMediaProcessor::maximumRepairBytes + 1);
  const PreparedMediaBatch batch = prepare({file}, false);
  const PreparedMediaFile& staged = batch.files.at(0);
  EXPECT_EQ(fs::file_size(staged.importURL.path()), CharmeraMediaProcessor::maximumRepairBytes + 1);
  EXPECT_EQ(staged.sourceFingerprint, FileFingerprinter::sha256(staged.importURL));
  EXPECT_EQ(staged.captureDate, date("2026-07-01T12:00:00Z"));
}

TEST_F(Staging, keepsFilesOfOneNameApart) {
  const PreparedMediaBatch batch =
      prepare({cameraFile("DCIM/100/a.png", "1"), cameraFile("DCIM/101/a.png", "2")});
  EXPECT_EQ(readFile(batch.files.at(0).importURL), "1");
  EXPECT_EQ(readFile(batch.files.at(1).importURL), "2");
}

TEST_F(Staging, stagesTwoCharmeraFilesThatBecomeTheSameBytes) {
  const PreparedMediaBatch batch = prepare({charmeraJPEG("DCIM/100/PICT0001.JPG", "2026:07:01 12:00:00"),
                                            charmeraJPEG("DCIM/101/PICT0001.JPG", "2026:07:01 12:00:00"),
                                            charmeraJPEG("DCIM/102/PICT0002.JPG", "2026:07:01 12:00:00")});
  ASSERT_EQ(batch.files.size(), 3U);
  for (const PreparedMediaFile& file : batch.files) {
    EXPECT_EQ(FileFingerprinter::sha256(file.importURL), file.processedFingerprint);
  }
}

TEST_F(Staging, sortsByDateThenByPathAndPutsUndatedFilesLast) {
  const auto undated = [&](const std::string& path) { return cameraFile(path, path, std::nullopt); };
  const auto dated = [&](const std::string& path, std::string_view text) {
    return cameraFile(path, path, date(text));
  };
  const PreparedMediaBatch batch =
      prepare({undated("DCIM/u10.png"), undated("DCIM/u9.png"), dated("DCIM/b10.png", "2026-01-02T00:00:00Z"),
               dated("DCIM/b9.png", "2026-01-02T00:00:00Z"), dated("DCIM/z.png", "2026-01-01T00:00:00Z")});
  EXPECT_EQ(namesOf(batch),
            (Names{"DCIM/z.png", "DCIM/b9.png", "DCIM/b10.png", "DCIM/u9.png", "DCIM/u10.png"}));
}

// Refusals; each leaves nothing behind

TEST_F(Staging, aBadThirdFileTakesTheFirstTwoCopiesWithIt) {
  EXPECT_THROW(prepare({cameraFile("DCIM/a.png", "1"), cameraFile("DCIM/b.png", "2"),
                        cameraFile("DCIM/PICT0003.JPG", "no JPEG")}),
               MediaProcessingError);
  expectNothingLeft();
}

TEST_F(Staging, refusesVideosThatAreEmptyOrTooLargeOrNoFiles) {
  MediaStagingService small(root, videos, 8);
  const auto isRefused = [&](const CameraMediaFile& file) {
    try {
      small.prepare({file}, true, TimeZone::utc());
      return false;
    } catch (const CharmeraVideoProcessingError& error) {
      expectNothingLeft();
      return error.kind() == CharmeraVideoProcessingError::Case::invalidVideo;
    }
  };
  EXPECT_TRUE(isRefused(cameraFile("DCIM/a.avi", "")));
  EXPECT_TRUE(isRefused(cameraFile("DCIM/b.avi", "123456789")));
  CameraMediaFile directory = cameraFile("DCIM/c.avi/file", "x");
  directory.url = directory.url.deletingLastPathComponent();
  EXPECT_TRUE(isRefused(directory));
  EXPECT_FALSE(isRefused(cameraFile("DCIM/d.avi", "12345678")));
  static_assert(NativeCharmeraVideoProcessor::maximumSourceBytes == 8'589'934'592);
}

// A time further away than a Date reaches, in the year 2264, is none.
TEST_F(Staging, refusesAVideoWithoutAnyDate) {
  const CameraMediaFile file = cameraFile("DCIM/a.avi", "x", std::nullopt);
  timespec times[2] = {{.tv_sec = 0, .tv_nsec = UTIME_OMIT}, {.tv_sec = 9'300'000'000, .tv_nsec = 0}};
  ASSERT_EQ(utimensat(AT_FDCWD, file.url.path().c_str(), times, 0), 0);
  ASSERT_EQ(fileResourceValues(file.url).contentModificationDate, std::nullopt);
  try {
    prepare({file});
    FAIL() << "a video without a date was staged";
  } catch (const CharmeraVideoProcessingError& error) {
    EXPECT_EQ(error.kind(), CharmeraVideoProcessingError::Case::invalidVideo);
  }
  expectNothingLeft();
}

TEST_F(Staging, refusesACharmerasPictureThatIsTooLargeToRepair) {
  CameraMediaFile file = charmeraJPEG("DCIM/PICT0001.JPG", "2026:07:01 12:00:00");
  for (const std::uint64_t size : {CharmeraMediaProcessor::maximumRepairBytes + 1, std::uint64_t{1} << 40U}) {
    fs::resize_file(file.url.path(), size);
    try {
      prepare({file});
      FAIL() << size;
    } catch (const MediaProcessingError& error) {
      EXPECT_EQ(error.kind(), MediaProcessingError::Case::pictureTooLarge);
    }
    expectNothingLeft();
  }
}

// The kernel's own files have other sizes than they say.
TEST_F(Staging, refusesAFileThatIsNotAsLargeAsItSays) {
  for (const char* target : {"/proc/version", "/sys/devices/system/cpu/online"}) {
    for (const char* name : {"DCIM/a.png", "DCIM/a.mov", "DCIM/PICT0001.JPG"}) {
      const CameraMediaFile file = cameraFile(name, "");
      fs::remove(file.url.path());
      fs::create_symlink(target, file.url.path());
      EXPECT_EQ(failureOf([&] { prepare({file}); }), MediaStagingError::Case::sourceChanged) << name;
      expectNothingLeft();
    }
  }
}

TEST_F(Staging, writesNothingOfAFileForWhichThereIsNoRoom) {
  const CameraMediaFile file = cameraFile("DCIM/a.mov", "x");
  fs::resize_file(file.url.path(), fs::space(folder.url().path()).available + (std::uintmax_t{1} << 32U));
  try {
    prepare({file});
    FAIL();
  } catch (const PosixError& error) {
    EXPECT_EQ(error.code(), ENOSPC);
  }
  expectNothingLeft();
}

TEST_F(Staging, passesOnTheSystemsErrorForAFileThatVanished) {
  for (const char* name : {"DCIM/a.png", "DCIM/PICT0001.JPG", "DCIM/a.avi"}) {
    const CameraMediaFile file = cameraFile(name, "x");
    fs::remove(file.url.path());
    try {
      prepare({file});
      FAIL() << name;
    } catch (const PosixError& error) {
      EXPECT_EQ(error.code(), ENOENT);
    }
    expectNothingLeft();
  }
}

TEST_F(Staging, passesOnWhatTheVideoRoadThrows) {
  videos->meanwhile = [] {
    throw CharmeraVideoProcessingError(CharmeraVideoProcessingError::Case::exportTimedOut);
  };
  EXPECT_THROW(prepare({cameraFile("DCIM/a.avi", "x")}), CharmeraVideoProcessingError);
  expectNothingLeft();
}

TEST_F(Staging, stopsWhenCancelledBeforeAFileAndDuringAVideo) {
  CancellationSource before;
  before.cancel();
  EXPECT_THROW(service.prepare({}, true, TimeZone::utc(), before.token()), CancellationError);
  EXPECT_FALSE(fs::exists(root.path())) << "a cancelled call makes nothing";

  CancellationSource during;
  videos->meanwhile = [&] { during.cancel(); };
  EXPECT_THROW(service.prepare({cameraFile("DCIM/a.avi", "x")}, true, TimeZone::utc(), during.token()),
               CancellationError);
  expectNothingLeft();
}

TEST_F(Staging, doesNotLookAtTheMovieOfAVideoThatWasCancelled) {
  CancellationSource cancellation;
  videos->afterwards = [&](const FileURL& movie) {
    cancellation.cancel();
    fs::remove(movie.path());  // looking at it would be an error
  };
  EXPECT_THROW(service.prepare({cameraFile("DCIM/a.avi", "x")}, true, TimeZone::utc(), cancellation.token()),
               CancellationError);
  expectNothingLeft();
}

TEST_F(Staging, refusesARootThatIsALinkOrAFile) {
  fs::create_directories((folder / "elsewhere").path());
  fs::create_directories(root.deletingLastPathComponent().path());
  fs::create_symlink((folder / "elsewhere").path(), root.path());
  EXPECT_EQ(failureOf([&] { prepare({}); }), MediaStagingError::Case::invalidStagingLocation);
  EXPECT_EQ(failureOf([&] { service.cleanupAbandoned(std::chrono::seconds(0), Date::max()); }),
            MediaStagingError::Case::invalidStagingLocation);
  EXPECT_TRUE(fs::is_empty((folder / "elsewhere").path()));
  fs::remove(root.path());
  writeFile(root, "a file");
  EXPECT_EQ(failureOf([&] { prepare({}); }), MediaStagingError::Case::invalidStagingLocation);
}

// Turns

TEST_F(Staging, isOpenToOthersWhileAVideoIsRewrapped) {
  const CameraMediaFile other = cameraFile("DCIM/b.png", "other");
  std::optional<PreparedMediaBatch> made;
  videos->meanwhile = [&] {
    made = prepare({other});
    service.cleanup(*made);
  };
  EXPECT_EQ(prepare({cameraFile("DCIM/a.avi", "x")}).files.size(), 1U);
  ASSERT_TRUE(made);
  EXPECT_EQ(made->files.size(), 1U);
}

// Using a batch

TEST_F(Staging, givesABatchAndRemovesItAfterItsUse) {
  const CameraMediaFile file = cameraFile("DCIM/a.png", "x");
  const std::string read =
      service.withPreparedBatch({file}, true, TimeZone::utc(), [&](const PreparedMediaBatch& batch) {
        prepare({});  // the turn is open
        return readFile(batch.files.at(0).importURL);
      });
  EXPECT_EQ(read, "x");
  EXPECT_EQ(batchesLeft().size(), 1U) << "the other batch";
}

TEST_F(Staging, removesTheBatchOfAnOperationThatFailsAndPassesItsErrorOn) {
  const auto fails = [](const PreparedMediaBatch&) { throw std::runtime_error("the operation's own"); };
  EXPECT_THROW(service.withPreparedBatch({cameraFile("DCIM/a.png", "x")}, true, TimeZone::utc(), fails),
               std::runtime_error);
  expectNothingLeft();
}

TEST_F(Staging, removesNothingAboveOrBesideTheRoot) {
  PreparedMediaBatch batch = prepare({});
  for (const FileURL& elsewhere : {root, root.deletingLastPathComponent(), root.appending("../sibling"),
                                   FileURL(root.path() + "2/x"), volume}) {
    fs::create_directories(elsewhere.path());
    batch.directoryURL = elsewhere;
    EXPECT_EQ(failureOf([&] { service.cleanup(batch); }), MediaStagingError::Case::invalidStagingLocation);
    EXPECT_TRUE(fs::exists(elsewhere.path()));
  }
}

TEST_F(Staging, removesABatchOnceAndThenDoesNothing) {
  const PreparedMediaBatch batch = prepare({cameraFile("DCIM/a.png", "x")});
  service.cleanup(batch);
  expectNothingLeft();
  EXPECT_NO_THROW(service.cleanup(batch));
}

// What a crash left

TEST_F(Staging, removesAbandonedBatchesFromTheirExactAgeOn) {
  const PreparedMediaBatch batch = prepare({cameraFile("DCIM/a.png", "x")});
  writeFile(root.appending("a file"), "stays");
  const Date changed = fileResourceValues(batch.directoryURL).contentModificationDate.value();
  const std::chrono::seconds day(86400);
  EXPECT_EQ(service.cleanupAbandoned(day, changed + day - std::chrono::seconds(1)), 0);
  EXPECT_EQ(batchesLeft().size(), 2U);
  EXPECT_EQ(service.cleanupAbandoned(day, changed + day), 1);
  EXPECT_EQ(batchesLeft(), Names{"a file"});
}

TEST_F(Staging, findsNothingAbandonedWithoutARoot) {
  EXPECT_EQ(service.cleanupAbandoned(std::chrono::seconds(0), Date::max()), 0);
}

TEST_F(Staging, neverFollowsALinkWhenItRemovesWhatIsAbandoned) {
  const PreparedMediaBatch batch = prepare({});
  writeFile(folder / "precious/file", "x");
  fs::create_directory_symlink((folder / "precious").path(), batch.directoryURL.appending("link").path());
  fs::create_directory_symlink((folder / "precious").path(), root.appending("link").path());
  EXPECT_EQ(service.cleanupAbandoned(std::chrono::seconds(0), Date::max()), 1);
  EXPECT_EQ(readFile(folder / "precious/file"), "x");
}

// What was examined and what was staged

TEST_F(Staging, acceptsExactlyWhatWasExamined) {
  const CameraMediaFile one = cameraFile("DCIM/a.png", "1");
  const CameraMediaFile two = cameraFile("DCIM/b.png", "2");
  const PreparedMediaBatch batch = prepare({one, two});
  const auto examined = [](const CameraMediaFile& file, std::string fingerprint) {
    return FingerprintedMediaFile{.file = file,
                                  .sourceFingerprint = std::move(fingerprint),
                                  .mediaPayloadFingerprint = {},
                                  .captureDate = {},
                                  .metadata = {},
                                  .pendingProcessedFingerprint = {}};
  };
  const FingerprintedMediaFile first = examined(one, FileFingerprinter::sha256(one.url));
  const FingerprintedMediaFile second = examined(two, FileFingerprinter::sha256(two.url));
  const auto validate = [&](const std::vector<FingerprintedMediaFile>& files) {
    MediaStagingService::validateSourceIdentities(batch, files);
  };
  EXPECT_NO_THROW(validate({second, first}));
  EXPECT_EQ(failureOf([&] { validate({first}); }), MediaStagingError::Case::sourceChanged);
  EXPECT_EQ(failureOf([&] { validate({first, second, second}); }), MediaStagingError::Case::sourceChanged);
  EXPECT_EQ(failureOf([&] { validate({first, first}); }), MediaStagingError::Case::sourceChanged);
  const PreparedMediaBatch twice{.id = {}, .files = {batch.files[0], batch.files[0]}, .directoryURL = root};
  const FingerprintedMediaFile other = examined(one, "another fingerprint");
  EXPECT_NO_THROW(MediaStagingService::validateSourceIdentities(twice, {first, other}))
      << "the first entry counts";
  EXPECT_EQ(failureOf([&] {
              MediaStagingService::validateSourceIdentities(twice, {other, first});
            }),
            MediaStagingError::Case::sourceChanged);
  EXPECT_EQ(failureOf([&] {
              validate({first, examined(two, "changed since")});
            }),
            MediaStagingError::Case::sourceChanged);
}

TEST(MediaStaging, liesInTheUsersApplicationDataOrElseAmongTemporaryFiles) {
  StandardDirectories directories{.applicationSupport = FileURL("/data"), .temporary = FileURL("/tmp")};
  EXPECT_EQ(MediaStagingService::defaultRootDirectory(directories).path(),
            "/data/com.tolvander.app/Media Staging");
  directories.applicationSupport.reset();
  EXPECT_EQ(MediaStagingService::defaultRootDirectory(directories).path(),
            "/tmp/com.tolvander.app/Media Staging");
}

}  // namespace
}  // namespace tolvander::tests
