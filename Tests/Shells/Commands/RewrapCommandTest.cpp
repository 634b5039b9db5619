#include <gtest/gtest.h>

#include <filesystem>
#include <string>

#include "Samples/AVIWriter.h"
#include "Samples/Bytes.h"
#include "Samples/JPEGFrame.h"
#include "Samples/TestClip.h"
#include "Tests/Shells/CommandLine.h"
#include "Tests/Support/Fixtures/KnownSystems.h"
#include "TolvanderCore/CharmeraVideoProcessingError.h"
#include "TolvanderCore/Files/FileFingerprinter.h"
#include "TolvanderCore/Foundation/ISO8601.h"
#include "TolvanderCore/JSON/JSONReader.h"
#include "TolvanderCore/Platform/FileSystem.h"

namespace tolvander::tests {
namespace {

namespace fs = std::filesystem;

using Case = CharmeraVideoProcessingError::Case;

class RewrapCommand : public CommandLine {
 protected:
  void expectProcessingFailure(Case expected) const {
    expectFailure({"rewrap", source.path(), movie.path()},
                  CharmeraVideoProcessingError(expected).describe(linuxDesktop));
    EXPECT_FALSE(fs::exists(movie.path()));
  }

  const FileURL source = folder / "MOVI0001.AVI";
  const FileURL movie = folder / "MOVI0001.mov";
};

TEST_F(RewrapCommand, explainsItself) {
  const ToolResult help = run({"rewrap", "--help"});
  EXPECT_EQ(help.status, 0);
  EXPECT_TRUE(contains(help.output, "AVI"));
  EXPECT_TRUE(contains(help.output, "MOV"));
}

TEST_F(RewrapCommand, answersWrongUsageWithStatusTwo) {
  expectWrongUsage({"rewrap"});
  expectWrongUsage({"rewrap", source.path()});
  expectWrongUsage({"rewrap", source.path(), movie.path(), "third"});
  expectWrongUsage({"rewrap", "--unknown", source.path(), movie.path()});
}

TEST_F(RewrapCommand, tellsPeopleWhatItProved) {
  writeClip(source, {});
  const ToolResult result = run({"rewrap", source.path(), movie.path()});
  EXPECT_EQ(result.status, 0) << result.errors;
  EXPECT_TRUE(
      result.output.starts_with("“MOVI0001.mov” holds every sample of “MOVI0001.AVI”.\n"
                                "Picture size         64 × 48 pixels\n"
                                "Duration             1 s\n"
                                "Frame rate           30 frames a second\n"))
      << result.output;
  EXPECT_TRUE(contains(result.output, "Video                jpeg, 30 samples, ")) << result.output;
  EXPECT_TRUE(contains(result.output, "Sound                sowt, 7,980 samples, 15,960 bytes, "))
      << result.output;
}

TEST_F(RewrapCommand, tellsProgramsWhatItProved) {
  const TestClipContent content = writeClip(source, {});
  const ToolResult result = run({"--json", "rewrap", source.path(), movie.path()});
  EXPECT_EQ(result.status, 0) << result.errors;
  const JSONDocument document(bytesOf(result.output));
  const JSONObject report = document.root().object();
  EXPECT_EQ(report.required("source").string(), source.path());
  EXPECT_EQ(report.required("movie").string(), movie.path());
  EXPECT_EQ(report.required("pixelWidth").integer(), 64);
  EXPECT_EQ(report.required("pixelHeight").integer(), 48);
  EXPECT_EQ(report.required("duration").integer(), 1);
  EXPECT_EQ(report.required("frameRate").integer(), 30);
  EXPECT_EQ(report.required("captureDate").string(),
            iso8601Text(*fileResourceValues(source).contentModificationDate));

  const auto tracks = report.required("tracks").array();
  ASSERT_EQ(tracks.size(), 2U);
  const JSONObject video = tracks[0].object();
  EXPECT_EQ(video.required("type").string(), "video");
  EXPECT_EQ(video.required("codecs").array().at(0).string(), "jpeg");
  EXPECT_EQ(video.required("sampleCount").integer(), 30);
  EXPECT_EQ(video.required("byteCount").integer(), static_cast<std::int64_t>(content.video[0].size()));
  EXPECT_EQ(video.required("sha256").string(), FileFingerprinter::sha256(bytesOf(content.video[0])));
  const JSONObject audio = tracks[1].object();
  EXPECT_EQ(audio.required("type").string(), "audio");
  EXPECT_EQ(audio.required("codecs").array().at(0).string(), "sowt");
  EXPECT_EQ(audio.required("sampleCount").integer(), 7980);
  EXPECT_EQ(audio.required("byteCount").integer(), 15960);
  EXPECT_EQ(audio.required("sha256").string(), FileFingerprinter::sha256(bytesOf(content.audio[0])));
  EXPECT_TRUE(fs::exists(movie.path()));
}

TEST_F(RewrapCommand, tellsProgramsTheCaseOfAFailure) {
  const std::vector<std::string> rewrap = {"rewrap", source.path(), movie.path()};
  expectFailureForPrograms(rewrap, "ENOENT");
  writeFile(source, "no video");
  expectFailureForPrograms(rewrap, "invalidVideo");
  writeClip(source, {.header = {.videoCodec = "MP42"}});
  expectFailureForPrograms(rewrap, "nativeExportUnavailable");
  writeClip(source, {});
  expectFailureForPrograms({"rewrap", source.path(), source.path()}, "invalidDestination");
  expectFailureForPrograms({"rewrap", source.path(), (folder / "missing/a.mov").path()}, "exportFailed");
}

TEST_F(RewrapCommand, readsWhatALinkLeadsTo) {
  writeClip(source, {});
  const FileURL link = folder / "link.avi";
  fs::create_symlink(source.path(), link.path());
  EXPECT_EQ(run({"rewrap", link.path(), movie.path()}).status, 0);
  EXPECT_TRUE(fs::exists(movie.path()));
}

TEST_F(RewrapCommand, failsForWhatIsNoVideo) {
  writeFile(source, "no video");
  expectProcessingFailure(Case::invalidVideo);
}

TEST_F(RewrapCommand, failsForATruncatedVideo) {
  writeClip(source, {.header = {.index = AVIIndex::none}});
  truncateFile(source, 10);
  expectProcessingFailure(Case::invalidVideo);
}

TEST_F(RewrapCommand, failsForAnEncodingThatCannotBeRewrapped) {
  writeClip(source, {.header = {.videoCodec = "MP42"}});
  expectProcessingFailure(Case::nativeExportUnavailable);
}

TEST_F(RewrapCommand, failsWhereTheMovieCannotBeMade) {
  writeClip(source, {});
  expectFailure({"rewrap", source.path(), (folder / "missing/a.mov").path()},
                CharmeraVideoProcessingError(Case::exportFailed).describe(linuxDesktop));
}

TEST_F(RewrapCommand, failsForAVideoThatIsNotThere) {
  expectFailure({"rewrap", source.path(), movie.path()}, "No such file or directory");
  EXPECT_FALSE(fs::exists(movie.path()));
}

TEST_F(RewrapCommand, writesOverNothing) {
  writeClip(source, {});
  writeFile(movie, "precious");
  const std::string before = readFile(source);
  const std::string words = CharmeraVideoProcessingError(Case::invalidDestination).describe(linuxDesktop);
  expectFailure({"rewrap", source.path(), movie.path()}, words);
  expectFailure({"rewrap", source.path(), source.path()}, words);
  EXPECT_EQ(readFile(movie), "precious");
  EXPECT_TRUE(readFile(source) == before);
}

TEST_F(RewrapCommand, leavesNothingBehindAtCtrlC) {
  AVIWriter writer(source, {.width = 1440, .height = 1080});
  const std::string frame = jpegFrame(1440, 1080, 1);
  while (writer.position() < 200'000'000) {
    writer.video(frame);
  }
  writer.finish();
  const ToolResult result =
      runToolInterruptedWhenItMakes(movie, commandLine({"rewrap", source.path(), movie.path()}));
  EXPECT_EQ(result.status, 130) << result.errors;
  EXPECT_TRUE(result.output.empty());
  EXPECT_TRUE(contains(result.errors, "Stopping at the next safe point")) << result.errors;
  EXPECT_FALSE(fs::exists(movie.path()));
}

}  // namespace
}  // namespace tolvander::tests
