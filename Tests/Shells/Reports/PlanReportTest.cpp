#include "Shells/CommandLine/Reports/PlanReport.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <filesystem>

#include "Samples/Bytes.h"
#include "Tests/Support/Machine/TemporaryFolder.h"
#include "TolvanderCore/Files/FileFingerprinter.h"
#include "TolvanderCore/Foundation/SystemErrors.h"
#include "TolvanderCore/MediaProcessingError.h"
#include "TolvanderCore/MediaStagingError.h"

namespace tolvander::app {
namespace {

using Action = MediaProcessingPlan::Action;
using Source = MediaProcessingPlan::CaptureDateSource;

PlanReport wholeReport() {
  return {.fileURL = FileURL("/media/CHARMERA/PICT\n0001.JPG"),
          .plan = {.action = Action::repairJPEG,
                   .processorVersion = 1,
                   .sourceFingerprint = "00ff",
                   .mediaPayloadFingerprint = "jpeg-v2:11ee",
                   .processedFingerprint = "22dd",
                   .captureDate = "2026:11:20 10:30:00",
                   .captureDateSource = Source::embeddedOriginal,
                   .pixelWidth = 1440,
                   .pixelHeight = 1080,
                   .orientation = 6},
          .outputByteCount = 1234};
}

PlanReport smallestReport() {
  return {.fileURL = FileURL("/a/MOVI0001.AVI"),
          .plan = {.action = Action::transcodeCharmeraVideo, .sourceFingerprint = "00ff"}};
}

TEST(PlanReport, tellsPeopleEveryField) {
  EXPECT_EQ(wholeReport().text(),
            "“PICT�0001.JPG” is imported with a new Exif block. Its picture stays the same to the last bit.\n"
            "Processing version   1\n"
            "Output               1,234 bytes\n"
            "Source SHA-256       00ff\n"
            "Picture fingerprint  jpeg-v2:11ee\n"
            "Output SHA-256       22dd\n"
            "Date                 2026:11:20 10:30:00 (when it was taken, by its Exif)\n"
            "Picture size         1440 × 1080 pixels\n"
            "Orientation          6\n");
}

TEST(PlanReport, tellsPeopleNoFieldThatThePlanDoesNotHave) {
  EXPECT_EQ(smallestReport().text(),
            "“MOVI0001.AVI” is rewrapped as a QuickTime movie before it is imported.\n"
            "Source SHA-256       00ff\n");
}

TEST(PlanReport, hasWordsForEveryActionAndEverySourceOfTheDate) {
  PlanReport report = wholeReport();
  const auto says = [&](std::string_view words) { return report.text().find(words) != std::string::npos; };
  report.plan.action = Action::passthrough;
  EXPECT_TRUE(says("” is imported as it is.\n"));
  report.plan.action = Action::unsupportedCharmeraVideo;
  EXPECT_TRUE(says("” is a video that can’t be imported.\n"));
  report.plan.captureDateSource = Source::embeddedDigitized;
  EXPECT_TRUE(says("(when it was digitized, by its Exif)"));
  report.plan.captureDateSource = Source::embeddedModified;
  EXPECT_TRUE(says("(when it was changed, by its Exif)"));
  report.plan.captureDateSource = Source::fileModificationTime;
  EXPECT_TRUE(says("(when the file was modified)"));
}

TEST(PlanReport, tellsProgramsEveryField) {
  EXPECT_EQ(wholeReport().json(), R"({
  "action" : "repairJPEG",
  "processorVersion" : 1,
  "outputData" : 1234,
  "sourceFingerprint" : "00ff",
  "mediaPayloadFingerprint" : "jpeg-v2:11ee",
  "processedFingerprint" : "22dd",
  "captureDate" : "2026:11:20 10:30:00",
  "captureDateSource" : "embeddedOriginal",
  "pixelWidth" : 1440,
  "pixelHeight" : 1080,
  "orientation" : 6
})");
}

TEST(PlanReport, tellsProgramsNoFieldThatThePlanDoesNotHave) {
  EXPECT_EQ(smallestReport().json(), R"({
  "action" : "transcodeCharmeraVideo",
  "sourceFingerprint" : "00ff"
})");
}

TEST(PlanReport, plansAFileAndWritesItsOutput) {
  const tests::TemporaryFolder folder;
  const FileURL file = folder / "note.txt";
  const std::string content(1'500'000, 'x');
  tests::writeFile(file, content);
  const auto report = PlanReport::of(file, {.isFromCharmera = false}, {});
  EXPECT_EQ(report.plan.action, Action::passthrough);
  EXPECT_EQ(report.plan.sourceFingerprint, FileFingerprinter::sha256(file));
  report.writeOutput(folder / "output", {});
  EXPECT_TRUE(tests::readFile(folder / "output") == content);
}

TEST(PlanReport, holdsOnlyAPictureThatIsRepairedInMemory) {
  const tests::TemporaryFolder folder;
  for (const char* name : {"a.mov", "a.AVI", "a.png"}) {
    tests::writeFile(folder / name, "content");
    const auto report = PlanReport::of(folder / name, {}, {});
    EXPECT_FALSE(report.plan.outputData) << name;
    EXPECT_EQ(report.plan.sourceFingerprint, FileFingerprinter::sha256(tests::bytesOf("content")));
  }
}

TEST(PlanReport, refusesAPictureThatIsTooLargeToRepair) {
  const tests::TemporaryFolder folder;
  tests::writeFile(folder / "a.jpg", "");
  std::filesystem::resize_file((folder / "a.jpg").path(), std::uintmax_t{1} << 40U);
  try {
    PlanReport::of(folder / "a.jpg", {}, {});
    FAIL();
  } catch (const MediaProcessingError& error) {
    EXPECT_EQ(error.kind(), MediaProcessingError::Case::pictureTooLarge);
  }
}

TEST(PlanReport, refusesAFileThatIsNotAsLargeAsItSays) {
  const tests::TemporaryFolder folder;
  for (const char* name : {"a.mov", "a.jpg"}) {
    std::filesystem::create_symlink("/proc/version", (folder / name).path());
    EXPECT_THROW(PlanReport::of(folder / name, {}, {}), MediaStagingError) << name;
  }
}

TEST(PlanReport, writesOnlyTheFileThatWasPlanned) {
  const tests::TemporaryFolder folder;
  tests::writeFile(folder / "a.mov", "planned");
  const auto report = PlanReport::of(folder / "a.mov", {}, {});
  for (const char* content : {"changed", "planned and more", "plan", ""}) {
    tests::writeFile(folder / "a.mov", content);
    EXPECT_THROW(report.writeOutput(folder / "output", {}), MediaStagingError) << content;
    EXPECT_FALSE(std::filesystem::exists((folder / "output").path())) << content;
  }
}

TEST(PlanReport, plansAnEmptyFile) {
  const tests::TemporaryFolder folder;
  tests::writeFile(folder / "empty.txt", "");
  const auto report = PlanReport::of(folder / "empty.txt", {}, {});
  EXPECT_EQ(report.outputByteCount, 0);
}

TEST(PlanReport, stopsWhenCancelled) {
  const tests::TemporaryFolder folder;
  const FileURL file = folder / "note.txt";
  tests::writeFile(file, "x");
  CancellationSource cancellation;
  cancellation.cancel();
  EXPECT_THROW(PlanReport::of(file, {}, cancellation.token()), CancellationError);
  const auto report = PlanReport::of(file, {}, {});
  EXPECT_THROW(report.writeOutput(folder / "output", cancellation.token()), CancellationError);
}

TEST(PlanReport, hasNothingToWriteForAVideoThatIsYetToBeRewrapped) {
  const tests::TemporaryFolder folder;
  EXPECT_THROW(smallestReport().writeOutput(folder / "output", {}), NoPlannedOutputError);
  EXPECT_EQ(NoPlannedOutputError().caseName(), "noPlannedOutput");
}

}  // namespace
}  // namespace tolvander::app
