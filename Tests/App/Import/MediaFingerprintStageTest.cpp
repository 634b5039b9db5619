#include "TolvanderApp/Import/MediaFingerprintStage.h"

#include <gtest/gtest.h>

#include <chrono>
#include <filesystem>
#include <string>
#include <thread>
#include <vector>

#include "Samples/Bytes.h"
#include "Samples/JPEGBuilder.h"
#include "Samples/PictureFiles.h"
#include "Samples/TestClip.h"
#include "Tests/Support/Machine/TemporaryFolder.h"
#include "TolvanderCore/CharmeraMediaProcessor.h"
#include "TolvanderCore/CharmeraVideoProcessingError.h"
#include "TolvanderCore/Files/FileFingerprinter.h"
#include "TolvanderCore/Foundation/SystemErrors.h"
#include "TolvanderCore/MediaStagingError.h"
#include "TolvanderCore/Platform/Movie.h"

namespace tolvander::tests {
namespace {

using namespace std::chrono_literals;
using app::MediaFingerprintStage;

constexpr Date modified = std::chrono::sys_days(std::chrono::year(2026) / 5 / 4) + 3h;

class MediaFingerprintStageTest : public testing::Test {
 protected:
  CameraMediaFile fileNamed(const std::string& name) const {
    return {.url = folder / name,
            .volumeURL = folder.url(),
            .relativePath = name,
            .filename = name,
            .byteCount = 1,
            .modifiedAt = modified};
  }
  CameraMediaFile file(const std::string& name, std::string_view content) const {
    writeFile(folder / name, content);
    return fileNamed(name);
  }
  CameraMediaFile file(const std::string& name, const Bytes& content) const {
    return file(name, std::string_view(reinterpret_cast<const char*>(content.data()), content.size()));
  }
  CameraMediaFile clip(const std::string& name, std::uint32_t seed = 1) const {
    writeClip(folder / name, {.frames = 3, .seed = seed});
    return fileNamed(name);
  }
  CameraMediaFile movie(const std::string& name, const std::optional<std::string>& date) const {
    writeClip(folder / "source.avi", {.frames = 30});
    platformMovieExporter()->exportMovie(
        Movie(folder / "source.avi"),
        {.destination = folder / name, .creationDate = date.value_or(""), .fileLengthLimit = 1'000'000}, {});
    return fileNamed(name);
  }

  static Bytes picture(int number, const std::string& date = "2026:11:20 12:00:00") {
    return JPEGBuilder()
        .exif(TIFFBuilder().originalDate(date))
        .quantisationTable()
        .huffmanTable()
        .frame(640, 480)
        .scan(entropyCodedData(100, static_cast<std::uint32_t>(number)))
        .endOfImage()
        .build();
  }

  static std::vector<FingerprintedMediaFile> run(const std::vector<CameraMediaFile>& files,
                                                 bool isCharmera = true) {
    return MediaFingerprintStage::fingerprint(files, isCharmera, {}, TimeZone::utc());
  }
  static FingerprintedMediaFile runOne(const CameraMediaFile& file, bool isCharmera = true) {
    return run({file}, isCharmera).at(0);
  }

  TemporaryFolder folder;
};

}  // namespace

// Every kind of file

TEST_F(MediaFingerprintStageTest, knowsAPictureOfACharmeraByItsBytesAndItsPayload) {
  const Bytes bytes = picture(1);
  for (const char* const name : {"A.JPG", "B.jpeg"}) {
    const CameraMediaFile source = file(name, bytes);
    EXPECT_EQ(runOne(source),
              (FingerprintedMediaFile{
                  .file = source,
                  .sourceFingerprint = FileFingerprinter::sha256(bytes),
                  .mediaPayloadFingerprint = CharmeraMediaProcessor::jpegMediaPayloadFingerprint(bytes),
                  .captureDate = std::chrono::sys_days(std::chrono::year(2026) / 11 / 20) + 12h,
                  .metadata = MediaMetadata{.kind = MediaMetadata::Kind::image,
                                            .pixelWidth = 640,
                                            .pixelHeight = 480,
                                            .duration = std::nullopt},
                  .pendingProcessedFingerprint = std::nullopt}));
  }
}

TEST_F(MediaFingerprintStageTest, givesNoPayloadToAPictureOfAnotherCamera) {
  EXPECT_FALSE(runOne(file("A.JPG", picture(1)), false).mediaPayloadFingerprint);
}

TEST_F(MediaFingerprintStageTest, keepsAPictureThatCannotBeReadByItsBytesAlone) {
  const CameraMediaFile source = file("A.JPG", "no picture");
  EXPECT_EQ(runOne(source),
            (FingerprintedMediaFile{.file = source,
                                    .sourceFingerprint = FileFingerprinter::sha256(bytesOf("no picture")),
                                    .mediaPayloadFingerprint = {},
                                    .captureDate = {},
                                    .metadata = {},
                                    .pendingProcessedFingerprint = {}}));
}

// What is repaired ends exactly there.
TEST_F(MediaFingerprintStageTest, knowsAPictureThatIsTooLargeToRepairByItsBytesAndItsHeaders) {
  const CameraMediaFile source = file("A.JPG", picture(1));
  const auto knownAt = [&](std::uint64_t size) {
    std::filesystem::resize_file(source.url.path(), size);
    return runOne(source);
  };
  const auto largest = knownAt(CharmeraMediaProcessor::maximumRepairBytes);
  EXPECT_EQ(largest.mediaPayloadFingerprint, CharmeraMediaProcessor::jpegMediaPayloadFingerprint(picture(1)));
  const auto larger = knownAt(CharmeraMediaProcessor::maximumRepairBytes + 1);
  EXPECT_FALSE(larger.mediaPayloadFingerprint);
  EXPECT_EQ(larger.sourceFingerprint, FileFingerprinter::sha256(source.url));
  EXPECT_EQ(larger.metadata, largest.metadata);
  EXPECT_EQ(larger.captureDate, largest.captureDate);
}

// The kernel's own files have other sizes than they say.
TEST_F(MediaFingerprintStageTest, refusesAFileThatIsNotAsLargeAsItSays) {
  for (const char* const name : {"A.JPG", "B.heic", "C.mov"}) {
    std::filesystem::create_symlink("/proc/version", (folder / name).path());
    EXPECT_THROW(runOne(fileNamed(name)), MediaStagingError) << name;
  }
}

TEST_F(MediaFingerprintStageTest, readsTheCaptureDateInTheTimeZone) {
  const auto files = std::vector{file("A.JPG", picture(1, "2026:07:01 12:00:00"))};
  const auto berlin = TimeZone::named("Europe/Berlin");
  ASSERT_TRUE(berlin);
  EXPECT_EQ(MediaFingerprintStage::fingerprint(files, true, {}, *berlin).at(0).captureDate,
            Date(std::chrono::sys_days(std::chrono::year(2026) / 7 / 1) + 10h));
}

TEST_F(MediaFingerprintStageTest, datesAnAVIByTheFile) {
  const auto result = runOne(clip("A.AVI"));
  EXPECT_EQ(result.sourceFingerprint, FileFingerprinter::sha256(folder / "A.AVI"));
  EXPECT_FALSE(result.mediaPayloadFingerprint);
  EXPECT_EQ(result.captureDate, modified);
  EXPECT_EQ(result.metadata,
            (MediaMetadata{
                .kind = MediaMetadata::Kind::video, .pixelWidth = 64, .pixelHeight = 48, .duration = 0.1}));
}

TEST_F(MediaFingerprintStageTest, datesAMovieByWhatItSaysElseByTheFile) {
  EXPECT_EQ(runOne(movie("A.MOV", "2026-11-20T12:00:00+00:00")).captureDate,
            Date(std::chrono::sys_days(std::chrono::year(2026) / 11 / 20) + 12h));
  // An AVI under another name is a movie that holds no date.
  const auto undated = runOne(clip("B.mp4"));
  EXPECT_EQ(undated.captureDate, modified);
  EXPECT_TRUE(undated.metadata);
}

TEST_F(MediaFingerprintStageTest, keepsAMovieThatCannotBeOpenedByItsBytesAlone) {
  for (const char* const name : {"A.MOV", "B.mp4"}) {
    const CameraMediaFile source = file(name, "no movie");
    EXPECT_EQ(runOne(source),
              (FingerprintedMediaFile{.file = source,
                                      .sourceFingerprint = FileFingerprinter::sha256(bytesOf("no movie")),
                                      .mediaPayloadFingerprint = {},
                                      .captureDate = {},
                                      .metadata = {},
                                      .pendingProcessedFingerprint = {}}));
  }
}

TEST_F(MediaFingerprintStageTest, refusesACardWithAnAVIThatCannotBeOpened) {
  EXPECT_THROW(run({file("A.JPG", picture(1)), file("B.avi", "no movie")}), CharmeraVideoProcessingError);
}

TEST_F(MediaFingerprintStageTest, knowsAnyOtherFileByItsBytesAlone) {
  const CameraMediaFile source = file("A.PNG", pngWith(pictureData + pngEnd));
  EXPECT_EQ(runOne(source),
            (FingerprintedMediaFile{.file = source,
                                    .sourceFingerprint = FileFingerprinter::sha256(source.url),
                                    .mediaPayloadFingerprint = {},
                                    .captureDate = {},
                                    .metadata = {},
                                    .pendingProcessedFingerprint = {}}));
}

TEST_F(MediaFingerprintStageTest, givesNothingForNothing) { EXPECT_TRUE(run({}).empty()); }

TEST_F(MediaFingerprintStageTest, needsEveryFile) {
  EXPECT_THROW(run({fileNamed("missing.JPG")}), PosixError);
  EXPECT_THROW(run({fileNamed("missing.heic")}), PosixError);
}

// Two threads

TEST_F(MediaFingerprintStageTest, givesTheSameAsOneFileAfterTheOther) {
  std::vector<CameraMediaFile> files;
  for (int number = 0; number < 40; ++number) {
    const std::string name = "PICT" + std::to_string(number);
    files.push_back(number % 4 == 0   ? clip(name + ".AVI", static_cast<std::uint32_t>(number))
                    : number % 4 == 1 ? file(name + ".heic", name)
                                      : file(name + ".JPG", picture(number)));
  }
  std::vector<FingerprintedMediaFile> oneByOne;
  for (const CameraMediaFile& source : files) {
    oneByOne.push_back(runOne(source));
  }
  EXPECT_EQ(run(files), oneByOne);
}

// The second failure is found much sooner than the first one.
TEST_F(MediaFingerprintStageTest, failsWithTheFirstFailureInTheOrderOfTheFiles) {
  const CameraMediaFile slow = file("slow.avi", std::string(1'000'000, 'x'));
  for (int round = 0; round < 100; ++round) {
    EXPECT_THROW(run({slow, fileNamed("missing.heic"), fileNamed("missing.JPG")}),
                 CharmeraVideoProcessingError);
    EXPECT_THROW(run({fileNamed("missing.heic"), slow}), PosixError);
  }
}

// Whichever thread fails, the other one still ends the file that it has taken.
TEST_F(MediaFingerprintStageTest, losesNoFileBeforeAFailure) {
  std::vector<CameraMediaFile> files(8, file("A.heic", "content"));
  files.push_back(fileNamed("missing.heic"));
  for (int round = 0; round < 200; ++round) {
    EXPECT_THROW(run(files), PosixError);
  }
}

// Cancellation

TEST_F(MediaFingerprintStageTest, readsNothingWhenItIsCancelled) {
  CancellationSource source;
  source.cancel();
  EXPECT_THROW(MediaFingerprintStage::fingerprint({fileNamed("missing.JPG")}, true, source.token()),
               CancellationError);
}

// Reading all of it would take minutes.
TEST_F(MediaFingerprintStageTest, stopsInTheMiddleOfALargeFile) {
  const CameraMediaFile large = file("A.heic", "");
  const CameraMediaFile picture = file("A.JPG", "");
  for (const CameraMediaFile& source : {large, picture}) {
    std::filesystem::resize_file(source.url.path(), std::uintmax_t{1} << 40U);
    CancellationSource cancellation;
    std::thread user([&] { cancellation.cancel(); });
    EXPECT_THROW(MediaFingerprintStage::fingerprint({source, source}, true, cancellation.token()),
                 CancellationError);
    user.join();
  }
}

}  // namespace tolvander::tests
