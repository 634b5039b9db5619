#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <ctime>
#include <filesystem>
#include <string>

#include "Samples/Bytes.h"
#include "Samples/JPEGBuilder.h"
#include "Samples/TestClip.h"
#include "Tests/Shells/CommandLine.h"
#include "TolvanderCore/CharmeraMediaProcessor.h"
#include "TolvanderCore/Files/FileFingerprinter.h"
#include "TolvanderCore/JSON/JSONReader.h"
#include "TolvanderCore/Platform/FileSystem.h"

namespace tolvander::tests {
namespace {

namespace fs = std::filesystem;

class PlanCommand : public CommandLine {
 protected:
  PlanCommand() {
    write(dated, TIFFBuilder().orientation(6).originalDate("2026:11:20 10:30:00"));
    write(undated, TIFFBuilder());
    setModificationDate(undated, 1'794'769'997);  // 2026-11-15T19:13:17Z
  }

  static void write(const FileURL& url, const TIFFBuilder& exif) {
    const Bytes bytes = JPEGBuilder()
                            .exif(exif)
                            .quantisationTable()
                            .frame(640, 480)
                            .huffmanTable()
                            .scan(entropyCodedData(5000, 1))
                            .endOfImage()
                            .build();
    writeFile(url, {reinterpret_cast<const char*>(bytes.data()), bytes.size()});
  }

  static void setModificationDate(const FileURL& url, std::time_t seconds) {
    const timespec times[2] = {{.tv_sec = 0, .tv_nsec = UTIME_OMIT}, {.tv_sec = seconds, .tv_nsec = 0}};
    ASSERT_EQ(utimensat(AT_FDCWD, url.path().c_str(), times, 0), 0);
  }

  std::string captureDate(std::vector<std::string> arguments) const {
    arguments.insert(arguments.begin(), {"--json", "plan", undated.path()});
    const ToolResult result = run(arguments);
    EXPECT_EQ(result.status, 0) << result.errors;
    return JSONDocument(bytesOf(result.output)).root().object().required("captureDate").string();
  }

  const FileURL dated = folder / "PICT0001.JPG";
  const FileURL undated = folder / "PICT0002.jpg";
  const FileURL output = folder / "output.jpg";
};

TEST_F(PlanCommand, explainsItself) {
  const ToolResult help = run({"plan", "--help"});
  EXPECT_EQ(help.status, 0);
  for (const char* word : {"FILE", "--not-charmera", "--zone", "--modified", "--output"}) {
    EXPECT_TRUE(contains(help.output, word)) << word;
  }
}

TEST_F(PlanCommand, answersWrongUsageWithStatusTwo) {
  expectWrongUsage({"plan"});
  expectWrongUsage({"plan", dated.path(), undated.path()});
  expectWrongUsage({"plan", dated.path(), "--zone", "Europe/Nowhere"});
  expectWrongUsage({"plan", dated.path(), "--zone", "CEST"});
  expectWrongUsage({"plan", dated.path(), "--zone", ""});
  expectWrongUsage({"plan", dated.path(), "--zone"});
  expectWrongUsage({"plan", dated.path(), "--modified", "yesterday"});
  expectWrongUsage({"plan", dated.path(), "--modified", "2026-02-30T00:00:00Z"});
  expectWrongUsage({"plan", dated.path(), "--modified", "2026-11-15"});
  expectWrongUsage({"plan", dated.path(), "--modified", "2400-01-01T00:00:00Z"});
  expectWrongUsage({"plan", dated.path(), "--output"});
}

TEST_F(PlanCommand, tellsPeopleThePlan) {
  const ToolResult result = run({"plan", dated.path()});
  EXPECT_EQ(result.status, 0) << result.errors;
  EXPECT_TRUE(result.output.starts_with("“PICT0001.JPG” is imported with a new Exif block."))
      << result.output;
  EXPECT_TRUE(contains(result.output, "2026:11:20 10:30:00"));
}

TEST_F(PlanCommand, tellsProgramsThePlan) {
  const ToolResult result = run({"plan", dated.path(), "--json", "--zone", "UTC"});
  EXPECT_EQ(result.status, 0) << result.errors;
  const JSONDocument document(bytesOf(result.output));
  const JSONObject plan = document.root().object();
  EXPECT_EQ(plan.size(), 11U);
  EXPECT_EQ(plan.required("action").string(), "repairJPEG");
  EXPECT_EQ(plan.required("processorVersion").integer(), 1);
  EXPECT_EQ(plan.required("sourceFingerprint").string(), FileFingerprinter::sha256(dated));
  EXPECT_EQ(plan.required("mediaPayloadFingerprint").string(),
            CharmeraMediaProcessor::jpegMediaPayloadFingerprint(bytesOf(readFile(dated))));
  EXPECT_EQ(plan.required("captureDate").string(), "2026:11:20 10:30:00");
  EXPECT_EQ(plan.required("captureDateSource").string(), "embeddedOriginal");
  EXPECT_EQ(plan.required("pixelWidth").integer(), 640);
  EXPECT_EQ(plan.required("pixelHeight").integer(), 480);
  EXPECT_EQ(plan.required("orientation").integer(), 6);
}

TEST_F(PlanCommand, writesTheOutput) {
  const ToolResult result = run({"plan", dated.path(), "--json", "--output", output.path()});
  EXPECT_EQ(result.status, 0) << result.errors;
  const JSONDocument document(bytesOf(result.output));
  const JSONObject plan = document.root().object();
  EXPECT_EQ(plan.required("outputData").integer(), static_cast<std::int64_t>(fs::file_size(output.path())));
  EXPECT_EQ(plan.required("processedFingerprint").string(), FileFingerprinter::sha256(output));
  EXPECT_NE(plan.required("sourceFingerprint").string(), FileFingerprinter::sha256(output));
}

TEST_F(PlanCommand, altersNothingOfAnotherCamera) {
  const ToolResult result =
      run({"--json", "plan", dated.path(), "--not-charmera", "--output", output.path()});
  EXPECT_EQ(result.status, 0) << result.errors;
  const JSONDocument document(bytesOf(result.output));
  const JSONObject plan = document.root().object();
  EXPECT_EQ(plan.required("action").string(), "passthrough");
  EXPECT_EQ(plan.size(), 4U);
  EXPECT_TRUE(readFile(output) == readFile(dated));
}

TEST_F(PlanCommand, tellsProgramsTheCaseOfAFailure) {
  expectFailureForPrograms({"plan", (folder / "missing.JPG").path()}, "ENOENT");
  expectFailureForPrograms({"plan", folder.url().path()}, "EISDIR");
  expectFailureForPrograms({"plan", dated.path(), "--output", dated.path()}, "EEXIST");
  const FileURL video = folder / "MOVI0003.AVI";
  writeFile(video, "video");
  expectFailureForPrograms({"plan", video.path(), "--output", output.path()}, "noPlannedOutput");
  writeFile(dated, "no picture");
  expectFailureForPrograms({"plan", dated.path()}, "malformedJPEG");
  fs::resize_file(dated.path(), CharmeraMediaProcessor::maximumRepairBytes + 1);
  expectFailureForPrograms({"plan", dated.path()}, "pictureTooLarge");
  fs::remove(dated.path());
  fs::create_symlink("/proc/version", dated.path());
  expectFailureForPrograms({"plan", dated.path()}, "sourceChanged");
}

TEST_F(PlanCommand, takesTheFilesDateInTheZone) {
  EXPECT_EQ(captureDate({"--zone", "Asia/Tokyo"}), "2026:11:16 04:13:17");
  EXPECT_EQ(captureDate({"--zone", "America/New_York"}), "2026:11:15 14:13:17");
}

TEST_F(PlanCommand, takesTheUsersZoneOtherwise) {
  const ToolResult result = runTool({"env", "TZ=Asia/Tokyo", TOLVANDERCTL, "plan", undated.path()});
  EXPECT_EQ(result.status, 0) << result.errors;
  EXPECT_TRUE(contains(result.output, "2026:11:16 04:13:17")) << result.output;
}

TEST_F(PlanCommand, takesTheDateThatIsGiven) {
  EXPECT_EQ(captureDate({"--zone", "UTC", "--modified", "2025-01-02T03:04:05Z"}), "2025:01:02 03:04:05");
  EXPECT_EQ(captureDate({"--zone", "UTC", "--modified", "2025-01-02T03:04:05+02:00"}), "2025:01:02 01:04:05");
  EXPECT_EQ(captureDate({"--zone", "UTC", "--modified", "2025-01-02T03:04:05.75Z"}), "2025:01:02 03:04:05");
}

TEST_F(PlanCommand, readsWhatALinkLeadsToAndItsDate) {
  const FileURL link = folder / "link.JPG";
  fs::create_symlink(undated.path(), link.path());
  const ToolResult result = run({"plan", link.path(), "--zone", "UTC"});
  EXPECT_EQ(result.status, 0) << result.errors;
  EXPECT_TRUE(contains(result.output, "2026:11:15 19:13:17")) << result.output;
}

TEST_F(PlanCommand, plansAVideoButHasNothingToWrite) {
  const FileURL video = folder / "MOVI0003.AVI";
  writeClip(video, {});
  const ToolResult result = run({"--json", "plan", video.path()});
  EXPECT_EQ(result.status, 0) << result.errors;
  const JSONDocument document(bytesOf(result.output));
  EXPECT_EQ(document.root().object().required("action").string(), "transcodeCharmeraVideo");
  EXPECT_FALSE(document.root().object().optional("outputData"));
  expectFailure({"plan", video.path(), "--output", output.path()}, "There is nothing to write");
  EXPECT_FALSE(fs::exists(output.path()));
}

TEST_F(PlanCommand, writesOverNothing) {
  writeFile(output, "precious");
  const FileURL link = folder / "link.jpg";
  fs::create_symlink("nowhere", link.path());
  const std::string before = readFile(dated);
  for (const FileURL& taken : {output, link, dated, folder.url()}) {
    expectFailure({"plan", dated.path(), "--output", taken.path()}, "File exists");
  }
  EXPECT_EQ(readFile(output), "precious");
  EXPECT_TRUE(readFile(dated) == before);
  EXPECT_TRUE(fs::is_symlink(link.path()));
  EXPECT_FALSE(fs::exists(folder.url().appending("nowhere").path()));
}

TEST_F(PlanCommand, leavesNothingBehindWhenWritingFails) {
  // A limit of one block on every file: enough for messages, not for the picture. A write beyond it fails
  // with an error instead of a signal.
  const std::string command = "trap '' XFSZ; ulimit -f 1; exec " + std::string(TOLVANDERCTL) + " plan '" +
                              dated.path() + "' --output '" + output.path() + "'";
  for (const char* option : {"", " --not-charmera"}) {
    const ToolResult result = runTool({"sh", "-c", command + option});
    EXPECT_EQ(result.status, 1);
    EXPECT_TRUE(contains(result.errors, "File too large")) << result.errors;
    EXPECT_FALSE(fs::exists(output.path()));
  }
}

TEST_F(PlanCommand, failsWhereTheOutputsFolderIsMissing) {
  expectFailure({"plan", dated.path(), "--output", (folder / "missing/output.jpg").path()},
                "No such file or directory");
}

TEST_F(PlanCommand, failsForWhatIsNoFile) {
  expectFailure({"plan", (folder / "missing.JPG").path()}, "No such file or directory");
  expectFailure({"plan", folder.url().path()}, "Is a directory");
  expectFailure({"plan", "/dev/zero"}, "Invalid argument");
}

TEST_F(PlanCommand, saysInPlainWordsWhyThereIsNoPlan) {
  writeFile(dated, "no picture");
  expectFailure({"plan", dated.path()}, "it doesn’t have the structure of a JPEG");
  expectFailure({"plan", dated.path(), "--output", output.path()}, "This picture is damaged");
  EXPECT_FALSE(fs::exists(output.path()));

  const auto withoutFrame = JPEGBuilder().quantisationTable().scan().endOfImage().build();
  writeFile(dated, {reinterpret_cast<const char*>(withoutFrame.data()), withoutFrame.size()});
  expectFailure({"plan", dated.path()}, "it doesn’t say how large it is");
}

TEST_F(PlanCommand, saysThatAPictureHasNoDate) {
  setModificationDate(undated, 13'569'465'600);  // in the year 2400, which a Date can't reach
  if (fileResourceValues(undated).contentModificationDate) {
    GTEST_SKIP() << "this file system can't hold a date in the year 2400";
  }
  expectFailure({"plan", undated.path()}, "Neither the picture nor its file says when it was taken.");
}

}  // namespace
}  // namespace tolvander::tests
