#include "Samples/SampleCard.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <map>
#include <memory>
#include <set>
#include <stdexcept>

#include "Samples/Bytes.h"
#include "Samples/JPEGCodec.h"
#include "Tests/Support/Machine/TemporaryFolder.h"
#include "Tests/Support/Machine/Tool.h"
#include "Tests/Support/Media/IndexHonouringReader.h"
#include "Tests/Support/Media/JPEGSegments.h"
#include "TolvanderCore/CharmeraMediaProcessor.h"
#include "TolvanderCore/Files/FileFingerprinter.h"
#include "TolvanderCore/MountedVolumeMediaSource.h"
#include "TolvanderCore/Picture/JPEGLayout.h"
#include "TolvanderCore/Platform/Movie.h"

namespace tolvander {
namespace {

namespace fs = std::filesystem;
using tests::bytesOf;
using tests::ExifDamage;
using tests::readFile;
using tests::TemporaryFolder;
using tests::writeSampleCard;
using Source = MediaProcessingPlan::CaptureDateSource;

DetectedDevice detected(const FileURL& card) {
  return MountedVolumeMediaSource().detect(card, DeviceProfile::builtIns()).value();
}

// Path, modification time and content of every file on the card, as one text for each.
std::set<std::string> fileTexts(const FileURL& card) {
  std::set<std::string> texts;
  for (const CameraMediaFile& file : detected(card).files) {
    texts.insert(file.relativePath + " " + std::to_string(file.modifiedAt->time_since_epoch().count()) + " " +
                 FileFingerprinter::sha256(file.url) + "\n");
  }
  return texts;
}

std::string fingerprint(const FileURL& card) {
  std::string all;
  for (const std::string& text : fileTexts(card)) {
    all += text;
  }
  return FileFingerprinter::sha256(bytesOf(all));
}

// A card with one photo of each kind of damage and one video of each kind of sound.
class SampleCard : public testing::Test {
 protected:
  static void SetUpTestSuite() {
    folder_ = std::make_unique<TemporaryFolder>();
    writeSampleCard(card(), {.photos = tests::allExifDamage.size(), .videos = 2, .seed = 1});
  }
  static void TearDownTestSuite() { folder_.reset(); }

  static FileURL card() { return *folder_ / "card"; }
  static FileURL photo(ExifDamage damage) {
    const auto turn = std::find(tests::allExifDamage.begin(), tests::allExifDamage.end(), damage);
    const std::string number = std::to_string(turn - tests::allExifDamage.begin() + 1);
    return card().appending("DCIM/100CHRM/PICT" + std::string(4 - number.size(), '0') + number + ".JPG");
  }

 private:
  inline static std::unique_ptr<TemporaryFolder> folder_;
};

TEST_F(SampleCard, isTheSameToTheByteOnEveryMachine) {
  EXPECT_EQ(fingerprint(card()), "2f2fedfdbf8715c0e197f60448a6297bbd49c7c85c5ce94b56eabc871df1414e");
}

TEST_F(SampleCard, beginsAsALargerCardOfTheSameSeed) {
  const TemporaryFolder folder;
  writeSampleCard(folder / "small", {.photos = 1, .videos = 1, .seed = 1});
  const std::set<std::string> large = fileTexts(card());
  const std::set<std::string> small = fileTexts(folder / "small");
  EXPECT_EQ(small.size(), 2U);
  EXPECT_TRUE(std::includes(large.begin(), large.end(), small.begin(), small.end()));
}

TEST_F(SampleCard, hasOtherPicturesAndTimesForAnotherSeed) {
  const TemporaryFolder folder;
  writeSampleCard(folder / "other", {.photos = 1, .videos = 1, .seed = 2});
  std::map<std::string, CameraMediaFile> files;
  for (const CameraMediaFile& file : detected(card()).files) {
    files.emplace(file.relativePath, file);
  }
  const std::vector<CameraMediaFile> others = detected(folder / "other").files;
  ASSERT_EQ(others.size(), 2U);
  for (const CameraMediaFile& other : others) {
    const CameraMediaFile& file = files.at(other.relativePath);
    EXPECT_NE(FileFingerprinter::sha256(other.url), FileFingerprinter::sha256(file.url));
    EXPECT_NE(other.modifiedAt, file.modifiedAt);
  }
}

TEST_F(SampleCard, isRecognisedAsACharmeraWithItsFilesInOrder) {
  const DetectedDevice device = detected(card());
  EXPECT_EQ(device.profile, DeviceProfile::charmera());
  std::vector<std::string> paths;
  for (const CameraMediaFile& file : device.files) {
    paths.push_back(file.relativePath);
  }
  EXPECT_EQ(paths,
            (std::vector<std::string>{
                "DCIM/100CHRM/MOVI0001.AVI", "DCIM/100CHRM/MOVI0002.AVI", "DCIM/100CHRM/PICT0001.JPG",
                "DCIM/100CHRM/PICT0002.JPG", "DCIM/100CHRM/PICT0003.JPG", "DCIM/100CHRM/PICT0004.JPG",
                "DCIM/100CHRM/PICT0005.JPG", "DCIM/100CHRM/PICT0006.JPG", "DCIM/100CHRM/PICT0007.JPG",
                "DCIM/100CHRM/PICT0008.JPG", "DCIM/100CHRM/PICT0009.JPG", "DCIM/100CHRM/PICT0010.JPG"}));
}

TEST_F(SampleCard, isRecognisedByItsPhotosAlone) {
  const std::string otherEvidence = card().appending("SPIDCIM").path();
  fs::remove(otherEvidence);
  EXPECT_TRUE(MountedVolumeMediaSource::matches(card(), DeviceProfile::charmera()));
  fs::create_directory(otherEvidence);
  for (const ExifDamage damage : tests::allExifDamage) {
    EXPECT_LE(readFile(photo(damage)).find("GPEncoder"), 512 - std::string_view("GPEncoder").size());
  }
}

TEST_F(SampleCard, hasPhotosOfTheCamerasSizeThatDecodeAndDiffer) {
  std::set<std::string> pictures;
  for (const ExifDamage damage : tests::allExifDamage) {
    const std::vector<std::byte> file = bytesOf(readFile(photo(damage)));
    EXPECT_GE(file.size(), 600'000U);
    EXPECT_LE(file.size(), 1'400'000U);
    const tests::RGBImage image = tests::decodeJPEG(file);
    EXPECT_EQ(image.width, 1440U);
    EXPECT_EQ(image.height, 1080U);
    pictures.insert(CharmeraMediaProcessor::jpegMediaPayloadFingerprint(file));
  }
  EXPECT_EQ(pictures.size(), tests::allExifDamage.size());
}

TEST_F(SampleCard, keepsTimesAsFATDoesInItsYearAndOrder) {
  std::map<std::string, Date> lastOfKind;
  for (const CameraMediaFile& file : detected(card()).files) {
    const Date time = file.modifiedAt.value();
    EXPECT_EQ(time.time_since_epoch() % std::chrono::seconds(2), Date::duration::zero());
    const std::chrono::year_month_day day(std::chrono::floor<std::chrono::days>(time));
    EXPECT_EQ(static_cast<int>(day.year()), 2026);
    Date& last = lastOfKind[file.filename.substr(0, 4)];
    EXPECT_GT(time, last);
    last = time;
  }
}

// Where a photo's date comes from, and what is to be seen of the damage in its structure.
struct DamageCase {
  ExifDamage damage;
  Source dateSource;
  int exifBlocks;
  bool hasTrailingBytes;
};

TEST_F(SampleCard, hasEveryKindOfExifDamage) {
  const std::vector<DamageCase> cases{
      {ExifDamage::none, Source::embeddedOriginal, 1, false},
      {ExifDamage::missing, Source::fileModificationTime, 0, false},
      {ExifDamage::wrongByteOrder, Source::fileModificationTime, 1, false},
      {ExifDamage::valuesOutsideBlock, Source::fileModificationTime, 1, false},
      {ExifDamage::directoryLoop, Source::embeddedModified, 1, false},
      {ExifDamage::zeroDates, Source::fileModificationTime, 1, false},
      {ExifDamage::colonBeforeTime, Source::embeddedOriginal, 1, false},
      {ExifDamage::contradictingBlocks, Source::embeddedOriginal, 2, false},
      {ExifDamage::trailingBytes, Source::embeddedOriginal, 1, true},
      {ExifDamage::truncatedBlock, Source::embeddedModified, 1, false},
  };
  ASSERT_EQ(cases.size(), tests::allExifDamage.size());
  std::map<std::string, Date> times;
  for (const CameraMediaFile& file : detected(card()).files) {
    times.emplace(file.url.path(), file.modifiedAt.value());
  }
  for (const DamageCase& expected : cases) {
    const FileURL url = photo(expected.damage);
    SCOPED_TRACE(url.path());
    const std::vector<std::byte> file = bytesOf(readFile(url));
    const JPEGLayout layout = JPEGLayout::parse(file);
    EXPECT_EQ(std::ranges::count_if(tests::segmentsOf(file), &JPEGSegment::isExif), expected.exifBlocks);
    EXPECT_EQ(layout.scanRange.end < file.size(), expected.hasTrailingBytes);

    const Date written = times.at(url.path());
    const MediaProcessingPlan plan =
        CharmeraMediaProcessor::plan(file, "JPG", true, written, TimeZone::utc());
    EXPECT_EQ(plan.captureDateSource, expected.dateSource);
    const Date captured = written - std::chrono::seconds(2);
    EXPECT_EQ(plan.captureDate,
              CharmeraMediaProcessor::fallbackDateString(
                  expected.dateSource == Source::fileModificationTime ? written : captured, TimeZone::utc()));
  }
}

TEST_F(SampleCard, writesTheWrongDatesAsTheDamageSays) {
  const auto exifOf = [](ExifDamage damage) {
    return JPEGLayout::parse(bytesOf(readFile(photo(damage)))).exifMetadata;
  };
  EXPECT_EQ(exifOf(ExifDamage::zeroDates).originalDate, "0000:00:00 00:00:00");
  EXPECT_EQ(exifOf(ExifDamage::colonBeforeTime).originalDate.value().at(10), ':');
  EXPECT_EQ(exifOf(ExifDamage::wrongByteOrder), ExifMetadata{});
  const std::string contradicting = readFile(photo(ExifDamage::contradictingBlocks)).substr(0, 1000);
  EXPECT_LT(contradicting.find("2026:"), contradicting.find("2025:"));
  EXPECT_NE(contradicting.find("2025:"), std::string::npos);
}

TEST_F(SampleCard, hasVideosWithPCMAndADPCMSoundByTurns) {
  constexpr std::uint32_t motionJPEG = 0x6A706567;                  // "jpeg"
  const std::vector<std::uint32_t> sounds{0x736F7774, 0x6D730011};  // "sowt", and "ms" with the number 0x11
  for (std::size_t index = 0; index < sounds.size(); ++index) {
    const Movie movie(card().appending("DCIM/100CHRM/MOVI000" + std::to_string(index + 1) + ".AVI"));
    ASSERT_EQ(movie.tracks(MediaType::video).size(), 1U);
    ASSERT_EQ(movie.tracks(MediaType::audio).size(), 1U);
    const MovieTrack& video = movie.tracks(MediaType::video).front();
    const MovieTrack& audio = movie.tracks(MediaType::audio).front();
    EXPECT_EQ(video.codecs, std::vector{motionJPEG});
    EXPECT_EQ(audio.codecs, std::vector{sounds[index]});
    EXPECT_GE(video.duration, 1.0);
    EXPECT_LE(video.duration, 2.0);
    EXPECT_NEAR(audio.duration, video.duration, 0.1);

    std::set<std::string> frames;
    movie.readSamples(MediaType::video, 0, [&](const MovieSampleBuffer& sample) {
      if (frames.insert(FileFingerprinter::sha256(sample.bytes)).second) {
        const tests::RGBImage image = tests::decodeJPEG(sample.bytes);
        EXPECT_EQ(image.width, 640U);
        EXPECT_EQ(image.height, 480U);
      }
    });
    EXPECT_EQ(frames.size(), 6U);
  }
}

TEST_F(SampleCard, hasASecondVideoThatRepeatsFramesByItsIndex) {
  const auto shownIn = [](const std::string& name) {
    const auto played = tests::playedAVI(readFile(card().appending("DCIM/100CHRM").appending(name)));
    return played.value().streams.at(0).shown;
  };
  const std::vector<std::string> first = shownIn("MOVI0001.AVI");
  EXPECT_EQ(std::adjacent_find(first.begin(), first.end()), first.end());
  const std::vector<std::string> second = shownIn("MOVI0002.AVI");
  for (const std::size_t repeated : {5U, 6U, 12U, 13U, 19U, 20U, 26U, 27U}) {
    EXPECT_TRUE(second.at(repeated) == second.at(repeated - 1)) << repeated;
  }
  const Movie movie(card().appending("DCIM/100CHRM/MOVI0002.AVI"));
  EXPECT_NEAR(movie.tracks(MediaType::video).front().duration, static_cast<double>(second.size()) / 30, 1e-6);
}

TEST(EmptySampleCard, isRecognisedAndHoldsNothing) {
  const TemporaryFolder folder;
  writeSampleCard(folder / "card", {.photos = 0, .videos = 0});
  const DetectedDevice device = detected(folder / "card");
  EXPECT_EQ(device.profile, DeviceProfile::charmera());
  EXPECT_TRUE(device.files.empty());
}

TEST(SampleCardFolder, isLeftAloneWhenItHoldsSomething) {
  const TemporaryFolder folder;
  tests::writeFile(folder / "card/letter.txt", "dear");
  EXPECT_THROW(writeSampleCard(folder / "card", {.photos = 1}), std::runtime_error);
  EXPECT_THROW(writeSampleCard(folder / "card/letter.txt", {.photos = 1}), std::runtime_error);
  EXPECT_EQ(readFile(folder / "card/letter.txt"), "dear");
  EXPECT_EQ(std::distance(fs::recursive_directory_iterator(folder.url().path()), {}), 2);
}

TEST(SampleCardFolder, isNotMadeForMoreFilesThanNumbersReach) {
  const TemporaryFolder folder;
  EXPECT_THROW(writeSampleCard(folder / "card", {.photos = 10'000}), std::runtime_error);
  EXPECT_THROW(writeSampleCard(folder / "card", {.videos = 10'000}), std::runtime_error);
  EXPECT_FALSE(fs::exists((folder / "card").path()));
}

class SampleCardProgram : public testing::Test {
 protected:
  static tests::ToolResult run(std::vector<std::string> arguments) {
    arguments.insert(arguments.begin(), TOLVANDER_SAMPLECARD);
    return tests::runTool(arguments);
  }
  FileURL card() const { return folder_ / "card"; }

 private:
  TemporaryFolder folder_;
};

TEST_F(SampleCardProgram, makesWhatItsArgumentsSay) {
  const tests::ToolResult result = run({card().path() + "/", "--photos", "1", "--videos=0", "--seed", "7"});
  EXPECT_EQ(result.status, 0) << result.errors;
  const TemporaryFolder folder;
  writeSampleCard(folder / "same", {.photos = 1, .videos = 0, .seed = 7});
  EXPECT_EQ(fileTexts(card()), fileTexts(folder / "same"));
}

TEST_F(SampleCardProgram, refusesAFolderThatIsNotEmpty) {
  tests::writeFile(card().appending("letter.txt"), "dear");
  const tests::ToolResult result = run({card().path()});
  EXPECT_EQ(result.status, 1);
  EXPECT_EQ(result.errors, "tolvander-samplecard: " + card().path() + " is not empty\n");
}

TEST_F(SampleCardProgram, exitsWithTwoForWrongUsage) {
  for (const std::vector<std::string>& rest : std::vector<std::vector<std::string>>{
           {"--photos", "many"}, {"--photos", "-1"}, {"--videos", "10000"}, {"--seed"}, {"--colour"}}) {
    std::vector<std::string> arguments{card().path()};
    arguments.insert(arguments.end(), rest.begin(), rest.end());
    EXPECT_EQ(run(arguments).status, 2) << rest.front();
    EXPECT_FALSE(fs::exists(card().path()));
  }
  EXPECT_EQ(run({}).status, 2);
}

}  // namespace
}  // namespace tolvander
